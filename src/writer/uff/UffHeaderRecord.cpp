// Dataset 151: where the data came from and when; dates are file times and the clock's time.
#include "writer/uff/UffHeaderRecord.h"

#include "support/NumberText.h"

namespace travune {

namespace {

// GetDataFileName's buffer: longer names are cut to 127 characters.
constexpr size_t kDataNameBuffer = 128;

}  // namespace

bool UffHeaderRecord::WriteHeader(platform::File& output) {
  platform::FileInformation info;
  source_->GetDataFileInfo(&info);
  char dataName[kDataNameBuffer] = {};
  source_->GetDataFileName(dataName, sizeof dataName);
  const std::string title = source_->GetAppTitle();

  WriteLine("    -1");
  WriteLine("   151");
  WriteLine(dataName);
  WriteLine("Raw binary data file.");
  WriteLine(title + " data file.");
  WriteLine(FormatDate(FileTimeToSystemTime(info.creationLow, info.creationHigh)) + FormatC("%10d%10d%10d", 0, 0, 0));
  WriteLine(FormatDate(FileTimeToSystemTime(info.lastWriteLow, info.lastWriteHigh)));
  WriteLine(title);
  WriteLine(FormatDate(CurrentSystemTime()) + FormatC("%5d%5d%5d%5d%5d", 1, 1, 10, 0, 0));
  WriteLine("    -1");
  return FlushLinesTo(output);
}

}  // namespace travune
