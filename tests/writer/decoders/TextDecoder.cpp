// Decoders of the text formats: the plain text and spreadsheet files (numbers in either decimal
// mark, their precision told by the printed digits, the spreadsheet's time column) and the
// block file of the block-writer library.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>

#include "writer/decoders/Decoders.h"

namespace travune::testing {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// Per line, the fields of a text or spreadsheet file: every line must end in a tab and CR LF.
bool TabbedLines(const std::string& path, std::vector<std::vector<std::string>>* fields) {
  std::vector<std::string> lines;
  if (!CrlfLines(path, &lines)) return false;
  for (const std::string& line : lines) {
    if (line.empty() || line.back() != '\t') return false;
    fields->push_back(Split(line.substr(0, line.size() - 1), "\t"));
  }
  return true;
}

// A printed number: one leading blank allowed, '.' or ',' as decimal mark.
double ParseDouble(std::string text, bool* ok) {
  if (!text.empty() && text[0] == ' ') text.erase(0, 1);
  std::replace(text.begin(), text.end(), ',', '.');
  double value = kNan;
  *ok = ParseWhole(text, &value);
  return value;
}

// Widens the file's tolerances to what a printed value leaves open.
void AddTolerance(const std::string& field, Decoded* decoded) {
  const size_t e = field.find('e');
  if (e == std::string::npos) {
    if (field.find_first_of("0123456789") != std::string::npos) decoded->absTolerance = 0.5;
    return;
  }
  const size_t mark = field.find_first_of(".,");
  const int digits = mark == std::string::npos || mark > e ? 0 : static_cast<int>(e - mark - 1);
  // A value that rounded up to the next power of ten lies just below it: a small margin.
  decoded->relTolerance = std::max(decoded->relTolerance, 0.5 * std::pow(10.0, -digits) * 1.001);
}

// How many fields the spreadsheet's time column takes: "Time", then "ms" and "Date" when printed.
int TimeFieldsOf(const std::vector<std::string>& titles) {
  int fields = titles.empty() || titles[0] != "Time" ? 0 : 1;
  for (const char* title : {"ms", "Date"}) {
    if (fields > 0 && fields < static_cast<int>(titles.size()) && titles[fields] == title) ++fields;
  }
  return fields;
}

// Values of the lines from first on, after the spreadsheet's time fields.
Decoded DecodeValues(const std::string& path, size_t first, bool spreadsheet) {
  Decoded decoded;
  std::vector<std::vector<std::string>> lines;
  if (!TabbedLines(path, &lines) || lines.size() < first) return decoded;
  const int timeFields = spreadsheet ? TimeFieldsOf(lines[0]) : 0;
  decoded.scans = static_cast<int64_t>(lines.size() - first);
  if (decoded.scans > 0) decoded.chans = static_cast<int32_t>(lines[first].size()) - timeFields;
  for (size_t line = first; line < lines.size(); ++line) {
    const std::vector<std::string>& fields = lines[line];
    if (static_cast<int32_t>(fields.size()) != decoded.chans + timeFields) return decoded;
    for (size_t f = static_cast<size_t>(timeFields); f < fields.size(); ++f) {
      // A value too wide for its column is written as asterisks: unknown, but not malformed.
      bool ok = !fields[f].empty() && fields[f].find_first_not_of('*') == std::string::npos;
      decoded.values.push_back(ok ? kNan : ParseDouble(fields[f], &ok));
      if (!ok) return decoded;
      AddTolerance(fields[f], &decoded);
    }
  }
  decoded.ok = true;
  return decoded;
}

// "hh:mm:ss" (any number of hour digits) in seconds; NaN when malformed.
double ClockSeconds(const std::string& text) {
  int hour = 0, minute = 0, second = 0;
  char extra = 0;
  if (std::sscanf(text.c_str(), "%d:%2d:%2d%c", &hour, &minute, &second, &extra) != 3) return kNan;
  return hour * 3600.0 + minute * 60.0 + second;
}

// "mmm" or "mmm.uuu" in seconds; NaN when malformed.
double FractionSeconds(const std::string& text) {
  int milli = 0, micro = 0;
  char extra = 0;
  if (text.size() == 3 && std::sscanf(text.c_str(), "%3d%c", &milli, &extra) == 1) return milli / 1000.0;
  if (text.size() == 7 && std::sscanf(text.c_str(), "%3d.%3d%c", &milli, &micro, &extra) == 2) {
    return milli / 1000.0 + micro / 1000000.0;
  }
  return kNan;
}

// "MM-DD-YYYY" as days since 30 December 1899; NaN when malformed.
double DateDays(const std::string& text) {
  using namespace std::chrono;
  unsigned m = 0, d = 0;
  int y = 0;
  char extra = 0;
  if (std::sscanf(text.c_str(), "%2u-%2u-%4d%c", &m, &d, &y, &extra) != 3) return kNan;
  const year_month_day date{year{y}, month{m}, day{d}};
  if (!date.ok()) return kNan;
  return static_cast<double>((sys_days{date} - sys_days{year{1899} / December / 30}).count());
}

BlockFile Failed(BlockFile file, std::string error) {
  file.error = std::move(error);
  return file;
}

}  // namespace

Decoded DecodeText(const std::string& dataPath, const std::string&) { return DecodeValues(dataPath, 0, false); }

Decoded DecodeAscii(const std::string& dataPath, const std::string&) { return DecodeValues(dataPath, 2, true); }

TextSheet ReadTextSheet(const std::string& dataPath) {
  TextSheet sheet;
  std::vector<std::vector<std::string>> lines;
  if (!TabbedLines(dataPath, &lines) || lines.size() < 2) return sheet;
  sheet.units = lines[1];
  sheet.timeFields = TimeFieldsOf(lines[0]);
  for (size_t line = 2; line < lines.size(); ++line) {
    if (static_cast<int>(lines[line].size()) < sheet.timeFields) return sheet;
    sheet.times.emplace_back(lines[line].begin(), lines[line].begin() + sheet.timeFields);
  }
  sheet.ok = true;
  return sheet;
}

double TimeFieldsValue(const std::vector<std::string>& fields) {
  if (fields.empty()) return kNan;
  const std::string& first = fields[0];
  if (first.find(':') == std::string::npos) {
    bool ok = false;
    const double count = ParseDouble(first, &ok);
    return ok ? count : kNan;
  }
  const bool relative = first[0] == '+' || first[0] == '-';
  const bool dated = !relative && fields.size() >= 2;
  const size_t fractionFields = fields.size() - 1 - (dated ? 1 : 0);
  if (fractionFields > 1) return kNan;
  double seconds = ClockSeconds(relative ? first.substr(1) : first);
  if (fractionFields == 1) seconds += FractionSeconds(fields[1]);
  if (relative) return first[0] == '-' ? -seconds : seconds;
  return DateDays(fields.back()) + seconds / 86400.0;
}

// Six header lines "keyword<TAB>cell..." in a fixed order, then one row per sample
// "x<TAB>value..." of numbers in the shortest float text.
BlockFile ReadBlockFile(const std::string& path) {
  BlockFile file;
  std::vector<std::string> lines;
  if (!CrlfLines(path, &lines)) return Failed(std::move(file), "missing, or a line without CR LF");
  // The first four keywords take one cell each; units and labels one per trace.
  const char* keywords[] = {"Measurement Type", "Label", "X Axis Spacing", "X Axis Units", "Y Axis Units",
                            "Trace Labels"};
  std::vector<std::string> header[6];
  for (size_t i = 0; i < 6; ++i) {
    if (i == lines.size()) return Failed(std::move(file), std::string("no line for ") + keywords[i]);
    header[i] = Split(lines[i], "\t");
    if (header[i][0] != keywords[i]) return Failed(std::move(file), "expected " + std::string(keywords[i]));
    if (i < 4 && header[i].size() != 2) return Failed(std::move(file), "one cell expected after " + header[i][0]);
  }
  file.spacing = header[2][1];
  file.traces = header[5].size() - 1;
  if (file.spacing != "Uniform" && file.spacing != "Non-Uniform") return Failed(std::move(file), "bad spacing");
  if (header[4].size() != header[5].size()) return Failed(std::move(file), "units and labels differ");
  for (size_t line = 6; line < lines.size(); ++line) {
    const std::vector<std::string> cells = Split(lines[line], "\t");
    if (cells.size() != file.traces + 1) return Failed(std::move(file), "row of the wrong width: " + lines[line]);
    for (size_t t = 0; t <= file.traces; ++t) {
      // Parsed as the float it is: its text need not name the double nearest the float.
      float number = 0.0f;
      if (!ParseWhole(cells[t], &number)) return Failed(std::move(file), "bad number " + cells[t]);
      (t == 0 ? file.x : file.values).push_back(number);
    }
  }
  file.ok = true;
  return file;
}

Decoded DecodeBlock(const std::string& dataPath, const std::string&) {
  Decoded decoded;
  BlockFile file = ReadBlockFile(dataPath);
  if (!file.ok) return decoded;
  decoded.scans = static_cast<int64_t>(file.x.size());
  decoded.chans = static_cast<int32_t>(file.traces);
  decoded.values = std::move(file.values);
  // Each value is the float nearest the scaled value: half a unit in its last place, 2^-24
  // relative, or half the smallest subnormal near zero.
  decoded.relTolerance = 5.9604645e-8 * 1.000001;
  decoded.absTolerance = 7.1e-46;
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
