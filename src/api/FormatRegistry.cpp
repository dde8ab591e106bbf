// The format registry: the constant table and the exported queries that describe it, report
// the library's version and adjust output file names to a format's naming rules.
#include "api/FormatRegistry.h"

#include <charconv>
#include <cstring>
#include <new>
#include <type_traits>

#include "platform/Platform.h"
#include "support/TextUtil.h"
#include "source/KeywordDesc.h"
#include "source/SrcFmtBrenlow.h"
#include "source/SrcFmtBrenlowTitled.h"
#include "source/SrcFmtCeldrin.h"
#include "source/SrcFmtMorvane.h"
#include "source/SrcFmtQuillon.h"
#include "source/SrcFmtTarquil.h"
#include "writer/TgtFmtDADiSP.h"
#include "writer/TgtFmtDASYLab.h"
#include "writer/TgtFmtAscii.h"
#include "writer/TgtFmtDIAdem.h"
#include "writer/TgtFmtFloat32.h"
#include "writer/TgtFmtMEscope.h"
#include "writer/TgtFmtMatlab.h"
#include "writer/TgtFmtText.h"
#include "writer/TgtFmtUff58Ascii.h"
#include "writer/TgtFmtUff58Binary.h"
#include "writer/TgtFmtHalvard.h"
#include "writer/TgtFmtPernix.h"
#include "writer/TgtFmtSnapMaster.h"
#include "writer/TgtFmtWav.h"
#ifdef TRAVUNE_HAVE_HDF5
#include "writer/TgtFmtHdf5.h"
#endif
#include "travune/travune.h"

namespace travune {

namespace {

template <class Source, class... Extra>
std::unique_ptr<SrcFmt> Make(const uint8_t* image, size_t size, Extra... extra) {
  return std::unique_ptr<SrcFmt>(new (std::nothrow) Source(image, size, extra...));
}

// Writers take the conversion context when they need it, else only the source.
template <class Writer>
std::unique_ptr<TgtFmt> MakeWriter(SrcFmt* source, const WriterContext& context) {
  if constexpr (std::is_constructible_v<Writer, SrcFmt*, const WriterContext&>) {
    return std::unique_ptr<TgtFmt>(new (std::nothrow) Writer(source, context));
  } else {
    (void)context;
    return std::unique_ptr<TgtFmt>(new (std::nothrow) Writer(source));
  }
}

void ReplaceAll(char* text, char from, char to) {
  for (; *text; ++text) {
    if (*text == from) *text = to;
  }
}

const FormatRow kSourceRows[kNumSourceRows] = {
    {3, "Morvane Raw Binary", "BIN", "DSC", "bin", kKindSource, "morvane",
     [](const uint8_t* i, size_t n, const SourceContext&) { return Make<SrcFmtMorvane>(i, n); },
     [](DescReader& r, const char*) { return IsMorvaneDescription(r); }, 1},
    {4, "Tarquil Raw Binary", "BIN", "DSC", "bin", kKindSource, "tarquil",
     [](const uint8_t* i, size_t n, const SourceContext&) { return Make<SrcFmtTarquil>(i, n); },
     [](DescReader& r, const char*) { return IsTarquilDescription(r); }, 3},
    {2, "Brenlow Raw Binary", "BIN", "DSC", "data", kKindSource, "brenlow",
     [](const uint8_t* i, size_t n, const SourceContext&) { return Make<SrcFmtBrenlow>(i, n); },
     [](DescReader& r, const char*) { return IsBrenlowDescription(r); }, 5},
    {5, "Quillon Raw Binary", "BIN", "DSC", "data", kKindSource, "quillon",
     [](const uint8_t* i, size_t n, const SourceContext&) { return Make<SrcFmtQuillon>(i, n); },
     [](DescReader& r, const char*) { return IsQuillonDescription(r); }, 2},
    {6, "Celdrin Binary", "HXT", "HX$", "", kKindSource, "celdrin",
     [](const uint8_t* i, size_t n, const SourceContext& c) {
       return Make<SrcFmtCeldrin>(i, n, c.listSeparator, c.dataFileSize);
     },
     [](DescReader& r, const char* ext) { return EqualsIgnoringAsciiCase(ext, ".hx$") || IsKeywordDescription(r); }, 4},
    {7, "Vexmoor", "BIN", "DSC", "", kKindSource, "vexmoor",
     [](const uint8_t* i, size_t n, const SourceContext&) { return Make<SrcFmtBrenlowTitled>(i, n, "Vexmoor"); }},
    {8, "Threnix", "BIN", "DSC", "", kKindSource, "threnix",
     [](const uint8_t* i, size_t n, const SourceContext&) { return Make<SrcFmtBrenlowTitled>(i, n, "Threnix"); }},
};

// File names of DADiSP cannot hold blanks, dashes or number signs; MATLAB's no blanks.
void DadispName(char* name) {
  ReplaceAll(name, ' ', '_');
  ReplaceAll(name, '-', '_');
  ReplaceAll(name, '#', 'n');
}
void MatlabName(char* name) { ReplaceAll(name, ' ', '_'); }

const FormatRow kTargetRows[kNumTargetRows + kNumHandleOnlyTargetRows] = {
    {7, "DIAdem", "R32", "DAT", "DIAdem", kKindTarget, "DIAdem", nullptr, nullptr, 0, MakeWriter<TgtFmtDIAdem>},
    {3, "ASCII Text (Spreadsheet)", "TXT", "", "ASCII", kKindTarget, "ASCII", nullptr, nullptr, 0,
     MakeWriter<TgtFmtAscii>},
    {5, "DADiSP", "DAT", "HED", "DADiSP", kKindTarget, "DADiSP", nullptr, nullptr, 0, MakeWriter<TgtFmtDADiSP>,
     DadispName},
    {6, "DASYLab", "DDF", "", "DASYLab", kKindTarget, "DASYLab", nullptr, nullptr, 0, MakeWriter<TgtFmtDASYLab>},
    {8, "MATLAB", "MAT", "DSC", "Matlab", kKindTarget, "Matlab", nullptr, nullptr, 0, MakeWriter<TgtFmtMatlab>,
     MatlabName},
    {2, "Halvard", "HXT", "HX$", "Halvard", kKindTarget, "Halvard", nullptr, nullptr, 0, MakeWriter<TgtFmtHalvard>},
    {4, "Snap-Master", "SMA", "DAT", "SM", kKindTarget, "SM", nullptr, nullptr, 0, MakeWriter<TgtFmtSnapMaster>},
    {11, "UFF 58 ASCII", "UNV", "", "UnvASCII", kKindTarget, "UnvASCII", nullptr, nullptr, 0,
     MakeWriter<TgtFmtUff58Ascii>},
    {12, "UFF 58 Binary", "BUNV", "", "UnvBinary", kKindTarget, "UnvBinary", nullptr, nullptr, 0,
     MakeWriter<TgtFmtUff58Binary>},
    {13, ".WAV", "WAV", "", "Wav", kKindTarget, "Wav", nullptr, nullptr, 0, MakeWriter<TgtFmtWav>},
    {14, "ME'scope .BLK data", "BLK", "", "MEscope", kKindTarget, "MEscope", nullptr, nullptr, 0,
     MakeWriter<TgtFmtMEscope>},
    {15, "Pernix (NUL File)", "NUL", "", "Pernix", kKindTarget, "Pernix", nullptr, nullptr, 0,
     MakeWriter<TgtFmtPernix>},
    {9, "reserved 1", "F32", "", "Float32", kKindReservedTarget, "Float32", nullptr, nullptr, 0,
     MakeWriter<TgtFmtFloat32>},
    {10, "reserved 2", "TXT", "", "Text", kKindReservedTarget, "Text", nullptr, nullptr, 0, MakeWriter<TgtFmtText>},
#ifdef TRAVUNE_HAVE_HDF5
    {16, "HDF5", "H5", "", "HDF5", kKindTarget, "HDF5", nullptr, nullptr, 0, MakeWriter<TgtFmtHdf5>},
#endif
};

constexpr const char* kVersionText = "2.5.6";
constexpr int32_t kVersionNumber = 0x00060502;

void CopyIfGiven(char* buffer, const char* text) {
  if (buffer != nullptr) std::strcpy(buffer, text);
}

const FormatRow* SectionRows(FormatSection section, int32_t* count) {
  if (section == FormatSection::kSource) {
    *count = kNumSourceRows;
    return kSourceRows;
  }
  *count = section == FormatSection::kTarget ? kNumTargetRows : kNumTargetRows + kNumHandleOnlyTargetRows;
  return kTargetRows;
}

FormatSection SectionOfFlags(int32_t flags) { return (flags & 1) ? FormatSection::kSource : FormatSection::kTarget; }

// The section the handle API's queries use: its targets include the handle-only formats.
FormatSection HandleSectionOfFlags(int32_t flags) {
  return (flags & 1) ? FormatSection::kSource : FormatSection::kHandleTarget;
}

// Fills the texts of a row, each buffer optional.
void DescribeRow(const FormatRow& row, char* displayName, char* ext1, char* ext2, char* shortName, int32_t* kind) {
  CopyIfGiven(displayName, row.displayName);
  CopyIfGiven(ext1, row.ext1);
  CopyIfGiven(ext2, row.ext2);
  CopyIfGiven(shortName, row.shortName);
  if (kind != nullptr) *kind = row.kind;
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

const FormatRow* FormatById(FormatSection section, int32_t id) { return FormatAt(section, FindFormat(section, id)); }

int32_t FormatIdFromName(FormatSection section, const char* text) {
  if (text == nullptr || *text == '\0') return -1;
  int32_t count = 0;
  const FormatRow* rows = SectionRows(section, &count);
  for (int32_t i = 0; i < count; ++i) {
    const FormatRow& row = rows[i];
    if (EqualsIgnoringAsciiCase(text, row.name) || EqualsIgnoringAsciiCase(text, row.displayName) ||
        (section != FormatSection::kSource && EqualsIgnoringAsciiCase(text, row.shortName))) {
      return row.id;
    }
  }
  int32_t id = 0;
  const char* end = text + std::strlen(text);
  const auto parsed = std::from_chars(text, end, id);
  if (parsed.ec != std::errc() || parsed.ptr != end) return -1;
  return FindFormat(section, id) >= 0 ? id : -1;
}

}  // namespace travune

using travune::FormatAt;
using travune::FormatRow;
using travune::FormatSection;

TRAVUNE_API(int32_t) cvtGetVersion(char* buffer, int32_t size) noexcept {
  if (buffer != nullptr && size > 0) {
    // A bounded copy that pads with zero bytes up to size and leaves short buffers unterminated.
    std::strncpy(buffer, travune::kVersionText, static_cast<size_t>(size));
  }
  return travune::kVersionNumber;
}

TRAVUNE_API(int32_t) cvtGetMaxFormats(void) noexcept { return travune::kNumTargetRows; }

TRAVUNE_API(int32_t) cvtGetFormatById(int32_t id, int32_t flags, char* displayName, char* ext1, char* ext2,
                                      char* shortName, int32_t* kind) noexcept {
  const FormatSection section = travune::SectionOfFlags(flags);
  const FormatRow* row = FormatAt(section, travune::FindFormat(section, id));
  if (row == nullptr) return -1;
  travune::DescribeRow(*row, displayName, ext1, ext2, shortName, kind);
  return 1;
}

TRAVUNE_API(int32_t) cvtGetFormatByIndex(int32_t index, int32_t flags, char* displayName, char* ext1, char* ext2,
                                         char* shortName, int32_t* kind, int32_t* id) noexcept {
  const FormatRow* row = FormatAt(travune::SectionOfFlags(flags), index);
  if (row == nullptr) return -1;
  if (id != nullptr) *id = row->id;
  return cvtGetFormatById(row->id, flags, displayName, ext1, ext2, shortName, kind);
}

TRAVUNE_API(char*) cvtGetFmtFileName(int32_t formatId, char* fileName) noexcept {
  if (fileName == nullptr) return fileName;
  const FormatRow* row = travune::FormatById(FormatSection::kTarget, formatId);
  if (row == nullptr || row->adjustName == nullptr) return fileName;
  const char* separator = travune::platform::LastPathSeparator(fileName);
  row->adjustName(separator != nullptr ? fileName + (separator - fileName) + 1 : fileName);
  return fileName;
}

TRAVUNE_API(int32_t) tvnFormatIdFromName(const char* name, int32_t flags) noexcept {
  return travune::FormatIdFromName(travune::HandleSectionOfFlags(flags), name);
}

TRAVUNE_API(const char*) tvnFormatName(int32_t id, int32_t flags) noexcept {
  const FormatRow* row = travune::FormatById(travune::HandleSectionOfFlags(flags), id);
  return row ? row->name : nullptr;
}

TRAVUNE_API(int32_t) tvnGetFormatByIndex(int32_t index, int32_t flags, char* displayName, char* ext1, char* ext2,
                                         char* shortName, int32_t* kind, int32_t* id) noexcept {
  const FormatRow* row = FormatAt(travune::HandleSectionOfFlags(flags), index);
  if (row == nullptr) return -1;
  if (id != nullptr) *id = row->id;
  travune::DescribeRow(*row, displayName, ext1, ext2, shortName, kind);
  return 1;
}
