// The scientific form's fast digits against printf at and beside rounding ties and at decade
// changes, for every precision the fast path serves; also on Windows, against its C runtime.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/NumberText.h"

namespace travune {
namespace {

std::string Scientific(double value, int digits) {
  char buffer[kMaxNumberChars];
  return std::string(buffer, AppendScientific(buffer, value, digits, 2));
}

TEST(ScientificText, AgreesWithPrintfAtTiesAndDecades) {
  // Decimal numbers whose digit after the last printed one is 5 (ties in decimal, near-ties in
  // binary), numbers just below a power of ten, and exact binary ties.
  const double bases[] = {1.5, 2.5, 1.25, 0.125, 1.00005, 9.99995, 9.999949999, 9.9999500001, 99999.5, 0.000123455,
                          3.14159265358979, 65535.0, 32767.5, 1.0, 7.0e-5, 4.0e22, 123456789.0};
  for (double base : bases) {
    for (int decade = -25; decade <= 25; ++decade) {
      const double value = base * std::pow(10.0, decade);
      for (double signedValue : {value, -value, std::nextafter(value, 0.0), std::nextafter(value, 1e300)}) {
        for (int precision = 0; precision <= 9; ++precision) {
          ASSERT_EQ(Scientific(signedValue, precision), FormatC("%.*e", precision, signedValue))
              << signedValue << " precision " << precision;
        }
      }
    }
  }
}

}  // namespace
}  // namespace travune
