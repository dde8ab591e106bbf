// Text decoding for the writer tests: splits lines and fields, parses numbers written with
// either decimal mark, and tells from the printed digits how precise each value is.
#include "writer/decoders/Decoders.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>

namespace travune::testing {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct Lines {
  std::vector<std::vector<std::string>> fields;  // per line, the fields before the final tab
  bool ok = false;
};

// Every line must end in a tab and CR LF; the fields are what the tabs separate.
Lines SplitLines(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  Lines lines;
  if (!in) return lines;
  std::vector<std::string> text = Split(std::string(std::istreambuf_iterator<char>(in), {}), "\r\n");
  if (!text.back().empty()) return lines;  // the last line without its CR LF
  text.pop_back();
  for (const std::string& line : text) {
    if (line.empty() || line.back() != '\t') return lines;
    lines.fields.push_back(Split(line.substr(0, line.size() - 1), "\t"));
  }
  lines.ok = true;
  return lines;
}

double ParseDouble(std::string text, bool* ok) {
  if (!text.empty() && text[0] == ' ') text.erase(0, 1);
  std::replace(text.begin(), text.end(), ',', '.');
  double value = kNan;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  *ok = !text.empty() && result.ec == std::errc() && result.ptr == text.data() + text.size();
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

// Values of lines [first, end), skipping timeFields fields in front of each.
Decoded DecodeValues(const Lines& lines, size_t first, int timeFields) {
  Decoded decoded;
  if (!lines.ok || lines.fields.size() < first) return decoded;
  decoded.scans = static_cast<int64_t>(lines.fields.size() - first);
  if (decoded.scans > 0) decoded.chans = static_cast<int32_t>(lines.fields[first].size()) - timeFields;
  for (size_t line = first; line < lines.fields.size(); ++line) {
    const std::vector<std::string>& fields = lines.fields[line];
    if (static_cast<int32_t>(fields.size()) != decoded.chans + timeFields) return decoded;
    for (size_t f = static_cast<size_t>(timeFields); f < fields.size(); ++f) {
      // A value too wide for its column is written as asterisks: unknown, but not malformed.
      if (fields[f].find_first_not_of('*') == std::string::npos) {
        decoded.values.push_back(kNan);
        continue;
      }
      bool ok = false;
      decoded.values.push_back(ParseDouble(fields[f], &ok));
      if (!ok) return decoded;
      AddTolerance(fields[f], &decoded);
    }
  }
  decoded.ok = true;
  return decoded;
}

int TimeFieldsOf(const std::vector<std::string>& titles) {
  if (titles.empty() || titles[0] != "Time") return 0;
  int fields = 1;
  if (fields < static_cast<int>(titles.size()) && titles[fields] == "ms") ++fields;
  if (fields < static_cast<int>(titles.size()) && titles[fields] == "Date") ++fields;
  return fields;
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
  unsigned month = 0, day = 0;
  int year = 0;
  char extra = 0;
  if (std::sscanf(text.c_str(), "%2u-%2u-%4d%c", &month, &day, &year, &extra) != 3) return kNan;
  using namespace std::chrono;
  const year_month_day date{std::chrono::year{year}, std::chrono::month{month}, std::chrono::day{day}};
  if (!date.ok()) return kNan;
  const year_month_day epoch{std::chrono::year{1899}, December, std::chrono::day{30}};
  return static_cast<double>((sys_days{date} - sys_days{epoch}).count());
}

}  // namespace

Decoded DecodeText(const std::string& dataPath, const std::string&) { return DecodeValues(SplitLines(dataPath), 0, 0); }

Decoded DecodeAscii(const std::string& dataPath, const std::string&) {
  const Lines lines = SplitLines(dataPath);
  if (!lines.ok || lines.fields.size() < 2) return Decoded{};
  return DecodeValues(lines, 2, TimeFieldsOf(lines.fields[0]));
}

TextSheet ReadTextSheet(const std::string& dataPath) {
  const Lines lines = SplitLines(dataPath);
  TextSheet sheet;
  if (!lines.ok || lines.fields.size() < 2) return sheet;
  sheet.units = lines.fields[1];
  sheet.timeFields = TimeFieldsOf(lines.fields[0]);
  for (size_t line = 2; line < lines.fields.size(); ++line) {
    const std::vector<std::string>& fields = lines.fields[line];
    if (static_cast<int>(fields.size()) < sheet.timeFields) return sheet;
    sheet.times.emplace_back(fields.begin(), fields.begin() + sheet.timeFields);
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

}  // namespace travune::testing
