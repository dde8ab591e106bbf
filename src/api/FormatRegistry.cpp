// The format registry: the constant table and the exported queries that describe it, report
// the library's version and adjust output file names to a format's naming rules.
#include "api/FormatRegistry.h"

#include <cstring>

#include "platform/Platform.h"
#include "support/TextUtil.h"
#include "travune/travune.h"

namespace travune {

namespace {

constexpr FormatRow kSourceRows[kNumSourceRows] = {
    {3, "Morvane Raw Binary", "BIN", "DSC", "bin", kKindSource},
    {4, "Tarquil Raw Binary", "BIN", "DSC", "bin", kKindSource},
    {2, "Brenlow Raw Binary", "BIN", "DSC", "data", kKindSource},
    {5, "Quillon Raw Binary", "BIN", "DSC", "data", kKindSource},
    {6, "Celdrin Binary", "HXT", "HX$", "", kKindSource},
    {7, "Vexmoor", "BIN", "DSC", "", kKindSource},
    {8, "Threnix", "BIN", "DSC", "", kKindSource},
};

constexpr FormatRow kTargetRows[kNumTargetRows] = {
    {7, "DIAdem", "R32", "DAT", "DIAdem", kKindTarget},
    {3, "ASCII Text (Spreadsheet)", "TXT", "", "ASCII", kKindTarget},
    {5, "DADiSP", "DAT", "HED", "DADiSP", kKindTarget},
    {6, "DASYLab", "DDF", "", "DASYLab", kKindTarget},
    {8, "MATLAB", "MAT", "DSC", "Matlab", kKindTarget},
    {2, "Halvard", "HXT", "HX$", "Halvard", kKindTarget},
    {4, "Snap-Master", "SMA", "DAT", "SM", kKindTarget},
    {11, "UFF 58 ASCII", "UNV", "", "UnvASCII", kKindTarget},
    {12, "UFF 58 Binary", "BUNV", "", "UnvBinary", kKindTarget},
    {13, ".WAV", "WAV", "", "Wav", kKindTarget},
    {14, "ME'scope .BLK data", "BLK", "", "MEscope", kKindTarget},
    {15, "Pernix (NUL File)", "NUL", "", "Pernix", kKindTarget},
    {9, "reserved 1", "F32", "", "Float32", kKindReservedTarget},
    {10, "reserved 2", "TXT", "", "Text", kKindReservedTarget},
};

constexpr const char* kVersionText = "2.5.6";
constexpr int32_t kVersionNumber = 0x00060502;

const FormatRow* SectionRows(FormatSection section, int32_t* count) {
  if (section == FormatSection::kSource) {
    *count = kNumSourceRows;
    return kSourceRows;
  }
  *count = kNumTargetRows;
  return kTargetRows;
}

FormatSection SectionOfFlags(int32_t flags) { return (flags & 1) ? FormatSection::kSource : FormatSection::kTarget; }

void CopyIfGiven(char* buffer, const char* text) {
  if (buffer != nullptr) std::strcpy(buffer, text);
}

void ReplaceAll(char* text, char from, char to) {
  for (; *text; ++text) {
    if (*text == from) *text = to;
  }
}

}  // namespace

int32_t FindFormat(FormatSection section, int32_t id) {
  int32_t count = 0;
  const FormatRow* rows = SectionRows(section, &count);
  for (int32_t i = 0; i < count; ++i) {
    if (rows[i].id == id) return i;
  }
  return -1;
}

const FormatRow* FormatAt(FormatSection section, int32_t position) {
  int32_t count = 0;
  const FormatRow* rows = SectionRows(section, &count);
  if (position < 0 || position >= count) return nullptr;
  return &rows[position];
}

}  // namespace travune

using travune::FormatAt;
using travune::FormatRow;
using travune::FormatSection;

TRAVUNE_API(int32_t) cvtGetVersion(char* buffer, int32_t size) {
  if (buffer != nullptr && size > 0) {
    // A bounded copy that pads with zero bytes up to size and leaves short buffers unterminated.
    std::strncpy(buffer, travune::kVersionText, static_cast<size_t>(size));
  }
  return travune::kVersionNumber;
}

TRAVUNE_API(int32_t) cvtGetMaxFormats(void) { return travune::kNumTargetRows; }

TRAVUNE_API(int32_t) cvtGetFormatById(int32_t id, int32_t flags, char* displayName, char* ext1, char* ext2,
                                      char* shortName, int32_t* kind) {
  const FormatSection section = travune::SectionOfFlags(flags);
  const FormatRow* row = FormatAt(section, travune::FindFormat(section, id));
  if (row == nullptr) return -1;
  travune::CopyIfGiven(displayName, row->displayName);
  travune::CopyIfGiven(ext1, row->ext1);
  travune::CopyIfGiven(ext2, row->ext2);
  travune::CopyIfGiven(shortName, row->shortName);
  if (kind != nullptr) *kind = row->kind;
  return 1;
}

TRAVUNE_API(int32_t) cvtGetFormatByIndex(int32_t index, int32_t flags, char* displayName, char* ext1, char* ext2,
                                         char* shortName, int32_t* kind, int32_t* id) {
  const FormatRow* row = FormatAt(travune::SectionOfFlags(flags), index);
  if (row == nullptr) return -1;
  if (id != nullptr) *id = row->id;
  return cvtGetFormatById(row->id, flags, displayName, ext1, ext2, shortName, kind);
}

TRAVUNE_API(char*) cvtGetFmtFileName(int32_t formatId, char* fileName) {
  if (fileName == nullptr) return fileName;
  char* lastComponent = std::strrchr(fileName, travune::platform::kPathSeparator);
  lastComponent = lastComponent ? lastComponent + 1 : fileName;
  if (formatId == TRAVUNE_FMT_DADISP) {
    travune::ReplaceAll(lastComponent, ' ', '_');
    travune::ReplaceAll(lastComponent, '-', '_');
    travune::ReplaceAll(lastComponent, '#', 'n');
  } else if (formatId == TRAVUNE_FMT_MATLAB) {
    travune::ReplaceAll(lastComponent, ' ', '_');
  }
  return fileName;
}
