// Dataset 164: unit code 9 ("US: USER_DEFINED"), temperature mode 1, all factors 1.0.
#include "writer/uff/UffUnitsRecord.h"

#include "support/NumberText.h"

namespace travune {

bool UffUnitsRecord::WriteUnits(platform::File& output) {
  const char expLetter = binary_ ? 'E' : 'D';
  WriteLine("    -1");
  WriteLine("   164");
  WriteLine(FormatC("%10d%-20s%10d", 9, "US: USER_DEFINED", 1));
  WriteNumberLine({1.0, 1.0, 1.0}, UffNumberForm::kWide, expLetter);
  WriteNumberLine({1.0}, UffNumberForm::kWide, expLetter);
  WriteLine("    -1");
  return FlushLinesTo(output);
}

}  // namespace travune
