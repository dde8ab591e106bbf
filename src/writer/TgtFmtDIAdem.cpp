// DIAdem header (.DAT) and data (.R32) files. The header names the data file and says where each
// channel's float sits in a scan; a uniform rate makes the time channel implicit (start and step),
// any other time base stores each scan's time in seconds in front of its values.
#include "writer/TgtFmtDIAdem.h"

#include <cstring>
#include <string>

#include "support/FilePath.h"
#include "support/LittleEndian.h"
#include "support/NumberText.h"
#include "support/TextUtil.h"
#include "support/Time.h"

namespace travune {

namespace {

// Key 111 declares this value as "no value": a scan whose time cannot be had gets it.
constexpr float kNoValue = 9.9e34f;

std::string GlobalHeader(const char* appTitle, const platform::LocalTime& now) {
  // The date and time as the "C" locale's %x and %X print them: MM/DD/YY and HH:MM:SS.
  return FormatC(
      "DIAEXTENDED {@:ENGLISH\r\n\r\n#BEGINGLOBALHEADER\r\n  1,Windows\r\n  2,{@R:200\r\n101,%s data\r\n102,\r\n"
      "103,\r\n104,%02d/%02d/%02d\r\n105,%02d:%02d:%02d\r\n111,9.9000000E+34\r\n112,High -> Low\r\n"
      "#ENDGLOBALHEADER\r\n\r\n",
      appTitle, now.month, now.day, now.year % 100, now.hour, now.minute, now.second);
}

// A uniform time base: start and step, time 0 on the trigger scan. Untimed sources count scans.
std::string ImplicitTimeHeader(const SrcFmt& source, int64_t totalScans) {
  const double rate = source.GetPreTrigRate();
  const double step = 1.0 / (rate == 0.0 ? 1.0 : rate);
  const double start = -(static_cast<double>(source.GetPreTrigCount()) * step);
  const bool timed = source.NativeTimeFormat().timed != 0;
  const char* name = timed ? "Time" : "Counts";
  const char* unit = timed ? "s" : "scans";
  return FormatC(
      "#BEGINCHANNELHEADER\r\n200,%s\r\n201,%s (%s)\r\n202,%s\r\n210,IMPLICIT\r\n220,%lld\r\n240,%g\r\n241,%g\r\n"
      "252,No\r\n253,increasing\r\n260,Numeric\r\n#ENDCHANNELHEADER\r\n\r\n",
      name, name, unit, unit, static_cast<long long>(totalScans), start, step);
}

// A channel stored in the data file: position (from 1) of its float among valuesPerScan.
std::string ExplicitChannelHeader(const std::string& label, const std::string& longName, const std::string& unit,
                                  const FilePath& data, int64_t totalScans, int position, int valuesPerScan) {
  return FormatC(
      "#BEGINCHANNELHEADER\r\n200,%s\r\n201,%s\r\n202,%s\r\n210,EXPLICIT\r\n211,%s%s\r\n213,BLOCK\r\n214,REAL32\r\n"
      "220,%lld\r\n221,%d\r\n222,%d\r\n240,0\r\n241,1\r\n252,No\r\n253,not monotone\r\n260,Numeric\r\n"
      "#ENDCHANNELHEADER\r\n\r\n",
      label.c_str(), longName.c_str(), unit.c_str(), data.BaseName(), data.Extension(),
      static_cast<long long>(totalScans), position, valuesPerScan);
}

std::string Trimmed(const char* text) {
  std::string copy(text != nullptr ? text : "");
  copy.resize(std::strlen(Trim(copy.data(), kWhiteSpace, kWhiteSpace)));
  return copy;
}

}  // namespace

TgtFmtDIAdem::TgtFmtDIAdem(SrcFmt* source) : TgtFmt(source) {
  outputBytesPerScan_ = 4 * static_cast<int64_t>(NumChans()) + 4;
  headerFile_ = true;
  ok_ = true;
}

bool TgtFmtDIAdem::PreConvert(const char* dataName, platform::File*, platform::File* headerFile, int64_t totalScans) {
  headerWritten_ = false;
  if (headerFile == nullptr || dataName == nullptr) return false;
  // Key 211 names the data file as it lies beside the header: no directory.
  const char* slash = platform::LastPathSeparator(dataName);
  FilePath data;
  if (data.Compose(slash != nullptr ? slash + 1 : dataName) == nullptr) return false;

  const int chans = NumChans();
  const bool timeValues = HasTimeValues();
  const int valuesPerScan = chans + (timeValues ? 1 : 0);
  std::string header = GlobalHeader(source_->GetAppTitle(), platform::CurrentLocalTime());
  int position = 1;
  if (timeValues) {
    header += ExplicitChannelHeader("Time", "t (s)", "s", data, totalScans, position++, valuesPerScan);
  } else {
    header += ImplicitTimeHeader(*source_, totalScans);
  }
  for (int c = 0; c < chans; ++c) {
    header += ExplicitChannelHeader(Trimmed(source_->GetChanLabel(c)), "", Trimmed(source_->GetChanUnits(c)), data,
                                    totalScans, position++, valuesPerScan);
  }
  headerWritten_ = headerFile->Write(header.data(), header.size());
  return headerWritten_;
}

int64_t TgtFmtDIAdem::ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) {
  if (!headerWritten_) return -1;
  if (scans <= 0) return 0;
  const size_t chans = static_cast<size_t>(NumChans());
  // Without a time channel the file holds the raw-float rows alone.
  if (!HasTimeValues()) {
    const bool appended = AppendFloat32Block(firstScan, scans, out) != nullptr;
    return appended ? static_cast<int64_t>(4 * static_cast<size_t>(scans) * chans) : -1;
  }
  const size_t bytes = static_cast<size_t>(scans) * 4 * (chans + 1);
  const double* values = ScaleBlock(firstScan, scans);
  uint8_t* p = out.Extend(bytes);
  if (values == nullptr || p == nullptr) return -1;
  // Relative times in the source's own terms: seconds (days × 86400), or scan counts × 86400.
  TimeFormat request = source_->NativeTimeFormat();
  request.absolute = 0;
  for (int64_t scan = firstScan; scan < firstScan + scans; ++scan) {
    double days = 0.0;
    const bool known = source_->GetScanTime(scan, &days, &request);
    le::PutF32(p, known ? static_cast<float>(DaysToSeconds(days)) : kNoValue);
    p += 4;
    for (size_t c = 0; c < chans; ++c, p += 4) le::PutF32(p, static_cast<float>(*values++));
  }
  return static_cast<int64_t>(bytes);
}

}  // namespace travune
