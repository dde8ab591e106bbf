// Snap-Master key header. Every key line is "KEY", length, =value CR LF, the length counting the
// value's characters only; list values are items joined by ", ". Numbers always take a '.'.
#include "writer/TgtFmtSnapMaster.h"

#include <cmath>
#include <string>
#include <vector>

#include "support/NumberText.h"
#include "writer/HeaderLines.h"

namespace travune {

namespace {

constexpr size_t kItemSeparator = 2;  // ", " after every list item
// How many key lines follow the title line before the TR record.
constexpr int kKeyLines = 19;
constexpr char kPointerEnd = 0x1A;
constexpr char kHeaderEnd = static_cast<char>(0xAA);

// Lengths are 16-bit counts in this header.
int Length16(size_t length) { return static_cast<uint16_t>(length); }

std::string KeyLine(const char* key, const std::string& value) {
  return FormatC("\"%s\", %d, =%s\r\n", key, Length16(value.size()), value.c_str());
}

std::string ListHead(const char* key, const std::vector<std::string>& items) {
  return FormatC("\"%s\", %d, =", key, Length16(HeaderLines::ListLength(items, kItemSeparator)));
}

std::string QuotedDate(const platform::LocalTime& t) { return FormatC("\"%d-%d-%d\"", t.month, t.day, t.year); }
std::string QuotedTime(const platform::LocalTime& t) {
  return FormatC("\"%02d:%02d:%02d\"", t.hour, t.minute, t.second);
}

// The acquisition's length in seconds; a rate of 0 (or any rate giving no finite length) gives 0.
double SweepSeconds(int64_t totalScans, double rate) {
  const double sweep = static_cast<double>(totalScans) / rate;
  return std::isfinite(sweep) ? sweep : 0.0;
}

// "(lower,upper), ": three decimals for ranges whose upper limit lies strictly within ±1.
std::string RangeItem(double lower, double upper) {
  return upper > -1.0 && upper < 1.0 ? FormatC("(%.3f,%.3f), ", lower, upper) : FormatC("(%.6f,%.6f), ", lower, upper);
}

std::vector<std::string> Repeated(const char* item, int count) { return std::vector<std::string>(count, item); }

}  // namespace

// The float writer sets the bytes per scan and the ok flag; the header file is this format's own.
TgtFmtSnapMaster::TgtFmtSnapMaster(SrcFmt* source) : TgtFmtFloat32(source) { headerFile_ = true; }

bool TgtFmtSnapMaster::PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                                  int64_t totalScans) {
  const platform::LocalTime now = platform::CurrentLocalTime();
  if (headerFile == nullptr || dataFile == nullptr) return false;
  std::string pointer = "Snap-Master Data File.\r\n";
  pointer += dataName;
  pointer += "\r\n";
  pointer += kPointerEnd;
  if (!headerFile->Write(pointer.data(), pointer.size())) return false;
  return WriteKeyHeader(dataFile, totalScans, now);
}

bool TgtFmtSnapMaster::WriteKeyHeader(platform::File* dataFile, int64_t totalScans, const platform::LocalTime& now) {
  const int chans = static_cast<uint16_t>(NumChans());
  const double rate = source_->GetPreTrigRate();
  std::vector<std::string> ids, units, labels, ranges;
  for (int c = 0; c < chans; ++c) {
    ids.push_back(FormatC("A%d, ", c));
    units.push_back(std::string(source_->GetChanUnits(c)) + ", ");
    labels.push_back(std::string(source_->GetChanLabel(c)) + ", ");
    double lower = 0.0, upper = 0.0;
    source_->GetChanRange(c, &lower, &upper);
    ranges.push_back(RangeItem(lower, upper));
  }
  const std::vector<std::string> polys = Repeated("0 + 1x, ", chans);
  const std::vector<std::string> defaultLabels = Repeated("0, ", chans);
  const std::vector<std::string> types = Repeated("yt, ", chans);

  const std::string opening =
      FormatC("\"Snap-Master Data File\", %d\r\n", kKeyLines) + KeyLine("DATE$", QuotedDate(now)) +
      KeyLine("TIME$", QuotedTime(now)) + KeyLine("ACT.FREQ", FormatC("%f", rate)) +
      KeyLine("ACT.SWEEP", FormatC("%16.5f", SweepSeconds(totalScans, rate))) + KeyLine("NCHAN%", FormatC("%d", chans));
  const std::string storage = KeyLine("NUM.POINTS", FormatC("%10lld", static_cast<long long>(totalScans))) +
                              "\"CLOCK.UNITS$\", 3, =Sec\r\n\"FILE.TYPE$\", 25, =Interleaved Analog Binary\r\n" +
                              KeyLine("INTERLEAVE.FACTOR%", FormatC("%d", chans));
  const std::string closing =
      "\"FFT.BLOCKSIZE%\", 4, =2048\r\n" +
      KeyLine("PRE.TRIGGER.PTS%", FormatC("%lld", static_cast<long long>(source_->GetPreTrigCount()))) +
      KeyLine("DATAINFO$[]", "Model:Corvath\r\nResolution:Floating-Point\r\nData:Scaled") + "\"TR\", 1\r\n" +
      QuotedDate(now) + "," + QuotedTime(now) + ",\r\n" + kHeaderEnd;

  HeaderLines header(HeaderLines::ToFile(dataFile));
  const auto list = [&header](const char* key, const std::vector<std::string>& items) {
    return header.WriteList(ListHead(key, items), items, kItemSeparator);
  };
  return header.Write(opening) && list("CHAN$[]", ids) && header.Write(storage) && list("CONVERSION.POLY$[]", polys) &&
         list("UNITS$[]", units) && list("DEFAULT.LABEL$[]", defaultLabels) && list("CHANNEL.LABEL$[]", labels) &&
         list("CHANNEL.TYPE$[]", types) && list("CHANNEL.RANGES[]", ranges) && header.Write(closing);
}

}  // namespace travune
