// Reads the plain text and spreadsheet files back: tab-separated fields, every line ending in a
// tab and CR LF, values with a '.' or ',' decimal mark, and the spreadsheet's two header lines
// and time column.
#pragma once

#include <string>
#include <vector>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

// The spreadsheet file's parts besides the values.
struct TextSheet {
  std::vector<std::string> titles;  // header line 1, one entry per field
  std::vector<std::string> units;   // header line 2
  int timeFields = 0;               // 0, or 1 to 3 fields of the time column in front
  std::vector<std::vector<std::string>> times;  // each line's time fields
  bool ok = false;
};

// Values of a file without header lines. headerPath is not used (the format has no header file).
Decoded DecodeText(const std::string& dataPath, const std::string& headerPath);
// Values of a spreadsheet file, its header lines and time column skipped.
Decoded DecodeAscii(const std::string& dataPath, const std::string& headerPath);
// Each value's own tolerance, scan after scan: half a unit of its last printed digit (0 for a
// value that is not a finite number). sheet: the file has the spreadsheet's header lines.
std::vector<double> TextTolerances(const std::string& dataPath, bool sheet);
// The spreadsheet's header lines and time fields.
TextSheet ReadTextSheet(const std::string& dataPath);

// A time column's fields read back: seconds for a relative time ("+hhh:mm:ss", fraction), a
// day count since 30 December 1899 for a date ("hh:mm:ss", fraction, "MM-DD-YYYY"), or the
// scan count itself. NaN when the fields do not have one of these forms.
double TimeFieldsValue(const std::vector<std::string>& fields);

}  // namespace travune::testing
