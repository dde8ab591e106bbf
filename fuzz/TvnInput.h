// The handle-API fuzz target's work on one input, shared by the libFuzzer target and the
// regression test: a fuzzed acquisition opened with a fuzzed or guessed type, its facts, scan
// times and scaled values of fuzzed scan ranges and channel lists (channels out of range and
// repeated included), and a short conversion into the writer a control byte selects. Buffers
// are as large as each call may fill; every answer must be a documented status.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "AcquisitionFiles.h"
#include "DocumentedStatus.h"
#include "Promise.h"
#include "travune/travune.h"

namespace travune::fuzz {
namespace tvn {

constexpr int32_t kMaxChannelsAsked = 64;
constexpr int64_t kMaxReadValues = int64_t{1} << 18;
constexpr int32_t kMaxListedChannels = 8;
constexpr int64_t kConvertedScans = 64;

struct Choices {
  int32_t sourceType = 0;
  bool guessType = false;
  bool dataBeside = false;  // the data file found beside the description
  int64_t first = 0;
  int64_t count = 0;
  int32_t format = 0;
  std::vector<int32_t> chans;  // empty: every channel
};

inline Choices ReadChoices(ByteCursor& control) {
  Choices c;
  c.sourceType = SourceTypeOf(control.Byte());
  const uint8_t mode = control.Byte();
  c.guessType = (mode & 1u) != 0;
  c.dataBeside = (mode & 2u) != 0;
  c.first = static_cast<int8_t>(control.Byte()) * int64_t{control.Byte()};
  c.count = control.SignedWord();
  c.format = TRAVUNE_FMT_HALVARD + control.Byte() % (cvtGetMaxFormats() + 1);  // HDF5 included
  const int32_t listed = control.Byte() % (kMaxListedChannels + 1);
  for (int32_t i = 0; i < listed; ++i) c.chans.push_back(static_cast<int8_t>(control.Byte()));
  return c;
}

inline void AskFacts(tvnAcq* acq, const tvnAcqInfo& info) {
  tvnChanInfo chan{};
  for (int32_t i = -1; i <= info.channels && i <= kMaxChannelsAsked; ++i) {
    const int32_t status = tvnAcqGetChanInfo(acq, i, &chan);
    Expect(status == (i >= 0 && i < info.channels ? TVN_OK : TVN_ERR_ARGUMENT),
           "channel facts answer exactly the channels there are");
  }
  int32_t valid = -1;
  Expect(tvnAcqChannelRecordsValid(acq, &valid) == TVN_OK && (valid == 0 || valid == 1), "record validity is 0 or 1");
}

// Times and values of the chosen range, each read only when its buffer stays small.
inline void ReadRange(tvnAcq* acq, const tvnAcqInfo& info, const Choices& c) {
  const int64_t perScan = c.chans.empty() ? info.channels : static_cast<int64_t>(c.chans.size());
  if (c.count < 0 || c.count > kMaxReadValues) {
    Expect(tvnAcqReadFloat64(acq, c.first, c.count, nullptr, 0, nullptr) != TVN_OK, "a missing buffer is refused");
    return;
  }
  std::vector<double> times(static_cast<size_t>(c.count));
  Expect(IsTvnStatus(tvnAcqGetScanTimes(acq, c.first, c.count, times.data())), "scan times: a documented status");
  if (perScan > 0 && c.count > kMaxReadValues / perScan) return;
  const size_t values = static_cast<size_t>(c.count * perScan);
  const int32_t* list = c.chans.empty() ? nullptr : c.chans.data();
  const int32_t listed = static_cast<int32_t>(c.chans.size());
  std::vector<float> floats(values);
  std::vector<double> doubles(values);
  const int32_t single = tvnAcqReadFloat32(acq, c.first, c.count, list, listed, floats.data());
  const int32_t twice = tvnAcqReadFloat64(acq, c.first, c.count, list, listed, doubles.data());
  Expect(IsTvnStatus(single) && single == twice, "both value reads answer the same status");
}

inline void ConvertSome(tvnAcq* acq, const Choices& c, const ScratchDir& dir) {
  const std::string data = dir.Path("out.dat");
  tvnConvOptions options{};
  options.format = c.format;
  options.dataName = data.c_str();
  options.first = c.first;
  options.count = c.count < 0 ? -1 : c.count % kConvertedScans;
  options.chans = c.chans.empty() ? nullptr : c.chans.data();
  options.numChans = static_cast<int32_t>(c.chans.size());
  tvnConv* conv = nullptr;
  int32_t status = tvnConvOpen(acq, &options, &conv);
  if (status == TVN_OK) {
    int64_t done = 0;
    status = tvnConvStep(conv, &done);
    if (status == TVN_OK) status = tvnConvRun(conv, nullptr, nullptr);
    if (status == TVN_OK) status = tvnConvFinish(conv);
    Expect(tvnConvStep(conv, &done) != TVN_OK || status != TVN_OK, "a finished conversion converts no more");
  }
  Expect(IsTvnStatus(status), "conversions: a documented status");
  tvnConvClose(conv);
}

inline void ExerciseAcquisition(tvnAcq* acq, const Choices& c, const ScratchDir& dir) {
  tvnAcqInfo info{};
  Expect(tvnAcqGetInfo(acq, &info) == TVN_OK, "an open acquisition answers its facts");
  // Tarquil counts its programmed scans, whatever the data file holds: no bound beyond that.
  Expect(info.channels >= 0 && info.scans >= 0 && info.dataBytes >= 0, "the facts are no negative counts");
  AskFacts(acq, info);
  ReadRange(acq, info, c);
  ConvertSome(acq, c, dir);
}

}  // namespace tvn

inline void ExerciseTvn(const uint8_t* data, size_t size) {
  AcquisitionImage image = SplitAcquisition(data, size);
  const tvn::Choices choices = tvn::ReadChoices(image.control);
  const ScratchDir& dir = ScratchDir::Instance();
  const AcquisitionFiles files = WriteAcquisition(dir, choices.sourceType, image);
  tvnAcq* acq = nullptr;
  const int32_t status = tvnAcqOpen(files.desc.c_str(), choices.dataBeside ? nullptr : files.data.c_str(),
                                    choices.guessType ? 0 : choices.sourceType, &acq);
  Expect(IsTvnStatus(status) && (status == TVN_OK) == (acq != nullptr), "opening: a handle exactly with TVN_OK");
  if (acq != nullptr) tvn::ExerciseAcquisition(acq, choices, dir);
  tvnAcqClose(acq);
  Expect(tvnStatusText(status) != nullptr, "every status has words");
  dir.Clear();
}

}  // namespace travune::fuzz
