// Source-type guessing: every recogniser that accepts the description is a candidate; the
// candidate whose channel records are valid and whose scan size divides the data file wins,
// else the first candidate in the recognisers' order.
#include "api/SourceGuess.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "api/FormatRegistry.h"
#include "platform/Platform.h"
#include "source/Acquisition.h"
#include "source/DescReader.h"
#include "support/FilePath.h"
#include "travune/travune.h"

namespace travune {

std::vector<const FormatRow*> RecognisersInOrder() {
  std::vector<const FormatRow*> rows;
  for (int32_t order = 1;; ++order) {
    const FormatRow* found = nullptr;
    for (int32_t i = 0; const FormatRow* row = FormatAt(FormatSection::kSource, i); ++i) {
      if (row->recogniserOrder == order) found = row;
    }
    if (found == nullptr) return rows;
    rows.push_back(found);
  }
}

namespace {

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
  Acquisition acquisition;
  if (acquisition.OpenImage(image, size, typeId, context) != Acquisition::Status::kOk) return candidate;
  const SrcFmt& source = *acquisition.Source();
  candidate.validChannels = ChannelsLookValid(source);
  const int64_t scanSize = source.GetScanSize();
  candidate.dataFits = dataSize >= 0 && scanSize > 0 && dataSize % scanSize == 0;
  return candidate;
}

const char* NameOf(int32_t typeId) { return FormatById(FormatSection::kSource, typeId)->name; }

std::string NamesOf(const std::vector<Candidate>& candidates) {
  std::string names;
  for (const Candidate& c : candidates) {
    if (!names.empty()) names += ", ";
    names += NameOf(c.typeId);
  }
  return names;
}

std::string AllRecogniserNames() {
  std::string names;
  for (const FormatRow* row : RecognisersInOrder()) {
    if (!names.empty()) names += ", ";
    names += row->name;
  }
  return names;
}

std::string Explain(const Candidate& chosen, const std::vector<Candidate>& candidates) {
  std::string why = std::string("chose ") + NameOf(chosen.typeId);
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
  if (path.Compose(descName) == nullptr) return "";  // too long a name: the open of "" fails
  path.SetExtension(sourceType == TRAVUNE_SRC_CELDRIN ? ".hxt" : ".bin");
  const char* dataName = path.Compose(nullptr);
  return dataName != nullptr ? dataName : "";
}

int32_t GuessSourceType(const char* descName, std::string* why) {
  platform::File file = platform::File::OpenRead(descName);
  if (!file.IsOpen()) {
    *why = std::string("cannot open the description ") + (descName ? descName : "(null)");
    return -1;
  }
  const int64_t size = file.Size();
  std::vector<uint8_t> image;
  if (size >= 0) image.resize(static_cast<size_t>(size) + 1);
  if (size < 0 || (size > 0 && !file.ReadAt(0, image.data(), static_cast<size_t>(size)))) {
    *why = std::string("cannot read the description ") + descName;
    return -1;
  }
  file.Close();

  FilePath path;
  if (path.Compose(descName) == nullptr) {
    *why = std::string("the name is too long to split into its parts: ") + descName;
    return -1;
  }
  std::vector<Candidate> candidates;
  for (const FormatRow* row : RecognisersInOrder()) {
    DescReader reader(image.data(), static_cast<size_t>(size));
    if (row->recognise(reader, path.Extension())) {
      candidates.push_back(Weigh(row->id, image.data(), static_cast<size_t>(size), descName));
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
