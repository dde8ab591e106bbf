// DADiSP header file: the data set named after the data file, its series and their units.
// Numbers always take a '.' whatever the user's decimal mark.
#include "writer/TgtFmtDADiSP.h"

#include <algorithm>
#include <string>
#include <vector>

#include "support/FilePath.h"
#include "support/NumberText.h"
#include "writer/HeaderLines.h"

namespace travune {

namespace {

// Each series item is a blank, the text, a blank and a comma; the last comma becomes CR LF.
constexpr size_t kSeriesSeparator = 1;

std::string SeriesItem(std::string text) { return " " + std::move(text) + " ,"; }

// Series names cannot hold '-': every one becomes '_'.
std::string SeriesName(const char* label) {
  std::string name = label;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

}  // namespace

// The float writer sets the bytes per scan and the ok flag; the header file is this format's own.
TgtFmtDADiSP::TgtFmtDADiSP(SrcFmt* source) : TgtFmtFloat32(source) { headerFile_ = true; }

bool TgtFmtDADiSP::PreConvert(const char* dataName, platform::File*, platform::File* headerFile, int64_t) {
  if (headerFile == nullptr) return false;
  FilePath path;
  path.Compose(dataName);
  const int32_t chans = NumChans();
  HeaderLines header(HeaderLines::ToFile(headerFile));
  const std::string fixed = FormatC(
      "DATASET %s\r\nCOMMENT %s %s\r\nVERSION Next\r\nFILE_TYPE FLOAT\r\nNUM_SERIES %d\r\n"
      "STORAGE_MODE INTERLACED\r\nHORZ_UNITS Secs\r\nRATE %f\r\n",
      path.BaseName(), source_->GetAppTitle(), source_->GetDescVersion(), chans, source_->GetPreTrigRate());
  if (!header.Write(fixed)) return false;

  std::vector<std::string> series;
  std::vector<std::string> units;
  for (int32_t c = 0; c < chans; ++c) {
    series.push_back(SeriesItem(SeriesName(source_->GetChanLabel(c))));
    units.push_back(SeriesItem(source_->GetChanUnits(c)));
  }
  return header.WriteList("SERIES", series, kSeriesSeparator) &&
         header.WriteList("VERT_UNITS", units, kSeriesSeparator);
}

}  // namespace travune
