// Source-type guessing: every recogniser that accepts the description is a candidate; the
// candidate whose channel records are valid and whose scan size divides the data file wins,
// else the first candidate in the recognisers' order.
#include "api/SourceGuess.h"

#include <cctype>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "platform/Platform.h"
#include "source/DescReader.h"
#include "source/KeywordDesc.h"
#include "source/SourceFactory.h"
#include "source/SrcFmtBrenlow.h"
#include "source/SrcFmtMorvane.h"
#include "source/SrcFmtQuillon.h"
#include "source/SrcFmtTarquil.h"
#include "support/FilePath.h"
#include "travune/travune.h"

namespace travune {

namespace {

constexpr int64_t kMaxDescriptionBytes = int64_t{256} << 20;

struct Recogniser {
  int32_t typeId;
  bool (*accepts)(DescReader& reader, const char* extension);
};

bool ExtensionIs(const char* extension, const char* wanted) {
  for (; *extension && *wanted; ++extension, ++wanted) {
    if (std::tolower(static_cast<unsigned char>(*extension)) != *wanted) return false;
  }
  return *extension == *wanted;
}

// The recognisers in the order the Data File Access opener tries them.
const Recogniser kRecognisers[] = {
    {TRAVUNE_SRC_MORVANE, [](DescReader& r, const char*) { return IsMorvaneDescription(r); }},
    {TRAVUNE_SRC_QUILLON, [](DescReader& r, const char*) { return IsQuillonDescription(r); }},
    {TRAVUNE_SRC_TARQUIL, [](DescReader& r, const char*) { return IsTarquilDescription(r); }},
    {TRAVUNE_SRC_CELDRIN,
     [](DescReader& r, const char* ext) { return ExtensionIs(ext, ".hx$") || IsKeywordDescription(r); }},
    {TRAVUNE_SRC_BRENLOW, [](DescReader& r, const char*) { return IsBrenlowDescription(r); }},
};

bool IsPrintableText(const char* text) {
  if (text == nullptr) return true;
  for (; *text; ++text) {
    const unsigned char c = static_cast<unsigned char>(*text);
    if (c < 0x20 || c == 0x7F) return false;
  }
  return true;
}

// Channel facts that any real description satisfies.
bool ChannelsLookValid(const SrcFmt& source) {
  if (!source.HasValidChannelRecords()) return false;
  for (int32_t chan = 0; chan < source.GetNumChans(); ++chan) {
    double lower = 0.0, upper = 0.0;
    if (!source.GetChanRange(chan, &lower, &upper) || !std::isfinite(lower) || !std::isfinite(upper)) return false;
    if (!IsPrintableText(source.GetChanLabel(chan)) || !IsPrintableText(source.GetChanUnits(chan))) return false;
  }
  return true;
}

struct Candidate {
  int32_t typeId;
  bool validChannels;
  bool dataFits;
  int Score() const { return (validChannels ? 2 : 0) + (dataFits ? 1 : 0); }
};

Candidate Weigh(int32_t typeId, const uint8_t* image, size_t size, const char* descName) {
  Candidate candidate{typeId, false, false};
  const std::string dataName = DataFileNameFor(descName, typeId);
  platform::File data = platform::File::OpenRead(dataName.c_str());
  const int64_t dataSize = data.IsOpen() ? data.Size() : -1;
  SourceContext context;
  context.dataFileSize = dataSize > 0 ? dataSize : 0;
  std::unique_ptr<SrcFmt> source = CreateSource(typeId, image, size, context);
  if (!source || source->GetStatus() != 0) return candidate;
  candidate.validChannels = ChannelsLookValid(*source);
  const int64_t scanSize = source->GetScanSize();
  candidate.dataFits = dataSize >= 0 && scanSize > 0 && dataSize % scanSize == 0;
  return candidate;
}

std::string NamesOf(const std::vector<Candidate>& candidates) {
  std::string names;
  for (const Candidate& c : candidates) {
    if (!names.empty()) names += ", ";
    names += SourceTypeName(c.typeId);
  }
  return names;
}

std::string AllRecogniserNames() {
  std::string names;
  for (const Recogniser& r : kRecognisers) {
    if (!names.empty()) names += ", ";
    names += SourceTypeName(r.typeId);
  }
  return names;
}

std::string Explain(const Candidate& chosen, const std::vector<Candidate>& candidates) {
  std::string why = std::string("chose ") + SourceTypeName(chosen.typeId);
  if (candidates.size() == 1) return why + " (the only type whose description this is)";
  why += " (described as " + NamesOf(candidates) + "; ";
  if (chosen.Score() == 0) return why + "nothing tells them apart, so the first was taken)";
  why += chosen.validChannels ? "its channel records are valid" : "its channel records are not valid";
  why += chosen.dataFits ? " and the data file holds whole scans)" : " and the data file does not hold whole scans)";
  return why;
}

}  // namespace

std::string DataFileNameFor(const char* descName, int32_t sourceType) {
  FilePath path;
  path.Compose(descName);
  path.SetExtension(sourceType == TRAVUNE_SRC_CELDRIN ? ".hxt" : ".bin");
  return path.Compose(nullptr);
}

int32_t GuessSourceType(const char* descName, std::string* why) {
  platform::File file = platform::File::OpenRead(descName);
  if (!file.IsOpen()) {
    *why = std::string("cannot open the description ") + (descName ? descName : "(null)");
    return -1;
  }
  const int64_t size = file.Size();
  if (size < 0 || size > kMaxDescriptionBytes) {
    *why = std::string("cannot read the description ") + descName;
    return -1;
  }
  std::vector<uint8_t> image(static_cast<size_t>(size) + 1);
  if (size > 0 && !file.ReadAt(0, image.data(), static_cast<size_t>(size))) {
    *why = std::string("cannot read the description ") + descName;
    return -1;
  }
  file.Close();

  FilePath path;
  path.Compose(descName);
  std::vector<Candidate> candidates;
  for (const Recogniser& recogniser : kRecognisers) {
    DescReader reader(image.data(), static_cast<size_t>(size));
    if (recogniser.accepts(reader, path.Extension())) {
      candidates.push_back(Weigh(recogniser.typeId, image.data(), static_cast<size_t>(size), descName));
    }
  }
  if (candidates.empty()) {
    *why = std::string("no source type recognises ") + descName + " (tried " + AllRecogniserNames() + ")";
    return -1;
  }
  const Candidate* best = &candidates.front();
  for (const Candidate& c : candidates) {
    if (c.Score() > best->Score()) best = &c;
  }
  *why = Explain(*best, candidates);
  return best->typeId;
}

}  // namespace travune
