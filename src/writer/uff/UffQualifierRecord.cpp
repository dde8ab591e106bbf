// Dataset 1858, written as the first lines of a channel's temporary file.
#include "writer/uff/UffQualifierRecord.h"

#include "support/NumberText.h"

namespace travune {

bool UffQualifierRecord::WriteQualifiers(const std::string& path) {
  platform::File file = platform::File::CreateExclusive(path.c_str());
  WriteLine("    -1");
  WriteLine("  1858");
  WriteLine(FormatC("%12d%12d%12d%12d%12d%12d", 0, 0, 0, 0, 0, 0));
  WriteLine(FormatC("%6d%6d%6d%6d%6d%6d%6d%6d%6d%6d%6d%6d", 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
  WriteNumberLine({0.0, 0.0, 0.0, 0.0, 0.0}, UffNumberForm::kMedium);
  WriteNumberLine({source_->GetPreTrigRate(), source_->GetPostTrigRate(),
                   static_cast<double>(source_->GetPreTrigCount()), 0.0, 0.0},
                  UffNumberForm::kMedium);
  WriteNumberLine({0.0, 0.0, 0.0, 0.0, 0.0}, UffNumberForm::kMedium);
  WriteLine("X+  X+");
  WriteLine(PadTo80("NONE"));
  WriteLine("    -1");
  return FlushLinesTo(file);
}

}  // namespace travune
