// The Data File Access fuzz target's work on one input, shared by the libFuzzer target and the
// regression test: a fuzzed acquisition opened by description name with a fuzzed type, then
// every information request with fuzzed options and channels, reads of fuzzed scan ranges of
// every channel and of one, a second open of the held files, and handles that name nothing.
// Each buffer is as large as the call may use; every answer must be a documented status.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "AcquisitionFiles.h"
#include "DocumentedStatus.h"
#include "Promise.h"
#include "TailBuffer.h"
#include "travune/travune.h"

namespace travune::fuzz {
namespace dfa {

constexpr int32_t kLastAcqRequest = acqSourceDataType;
constexpr int32_t kLastChanRequest = chnUnitsLength;
constexpr int32_t kMaxChannelsAsked = 64;
// The largest read buffer in floats; larger requests are asked with a null buffer.
constexpr uint64_t kMaxReadValues = uint64_t{1} << 18;

struct Choices {
  int32_t sourceType = 0;
  int32_t openType = 0;     // 0 .. 7: the six types, and two that are none
  int32_t handleShift = 0;  // -1, 0, 1: the handle used beside the one opened
  int32_t textSize = 0;     // -1 .. 254
  uint32_t option = 0;      // scan of the time requests
  uint32_t first = 0;
  uint32_t wanted = 0;
  int32_t chan = 0;
};

inline Choices ReadChoices(ByteCursor& control) {
  Choices c;
  c.sourceType = SourceTypeOf(control.Byte());
  c.openType = control.Byte() % 8;
  c.handleShift = control.Byte() % 3 - 1;
  c.textSize = static_cast<int32_t>(control.Byte()) - 1;
  c.option = control.Word();
  c.first = control.Word();
  c.wanted = control.Word();
  c.chan = static_cast<int8_t>(control.Byte());
  return c;
}

// The buffer a request of either table may fill: a double, or textSize text bytes.
inline std::vector<uint8_t> AnswerBuffer(int32_t textSize) {
  return std::vector<uint8_t>(static_cast<size_t>(std::max<int32_t>(textSize, 0)) + sizeof(double));
}

inline void AskAcqFacts(int32_t handle, const Choices& c) {
  std::vector<uint8_t> buffer = AnswerBuffer(c.textSize);
  for (int32_t request = -1; request <= kLastAcqRequest + 1; ++request) {
    const bool timeRequest = request == acqScanTimeAbs || request == acqScanTimeRel;
    const int32_t option = timeRequest ? static_cast<int32_t>(c.option) : c.textSize;
    Expect(IsDfaError(dfaGetAcqInfo(handle, request, option, buffer.data())), "acquisition facts: a documented status");
  }
  Expect(dfaGetAcqInfo(handle, acqNumChans, 0, nullptr) != errNoError, "a null answer buffer is refused");
}

inline void AskChanFacts(int32_t handle, const Choices& c, int32_t chans) {
  std::vector<uint8_t> buffer = AnswerBuffer(c.textSize);
  for (int32_t chan : {-1, chans, c.chan}) {
    Expect(dfaGetChanInfo(handle, chan, chnPrecision, 0, buffer.data()) ==
               (chan >= 0 && chan < chans ? errNoError : errInvalidChannel),
           "channel facts answer exactly the channels there are");
  }
  for (int32_t chan = 0; chan < std::min(chans, kMaxChannelsAsked); ++chan) {
    for (int32_t request = -1; request <= kLastChanRequest + 1; ++request) {
      Expect(IsDfaError(dfaGetChanInfo(handle, chan, request, c.textSize, buffer.data())),
             "channel facts: a documented status");
    }
  }
}

// One read of c.wanted scans from c.first of every channel (csAllChans) or of one.
inline void ReadScans(int32_t handle, const Choices& c, int32_t chans, int32_t chan) {
  const uint64_t perScan = chan == csAllChans ? static_cast<uint64_t>(std::max(chans, 0)) : 1;
  const uint64_t values = perScan * c.wanted;
  static TailBuffer<float> reads(kMaxReadValues);
  float* buffer = values > 0 && values <= kMaxReadValues ? reads.Take(values) : nullptr;
  uint32_t delivered = 0;
  const int32_t status = dfaGetData(handle, buffer, c.first, c.wanted, &delivered, chan);
  Expect(IsDfaError(status), "reads: a documented status");
  Expect(status != errNoError || delivered <= c.wanted, "a read delivers at most the scans asked for");
}

inline void ExerciseSession(int32_t handle, const Choices& c, const AcquisitionFiles& files) {
  int32_t chans = -1;
  Expect(dfaGetAcqInfo(handle, acqNumChans, 0, &chans) == errNoError && chans >= 0, "an open session counts channels");
  AskAcqFacts(handle, c);
  AskChanFacts(handle, c, chans);
  ReadScans(handle, c, chans, csAllChans);
  ReadScans(handle, c, chans, c.chan);
  Expect(IsDfaError(dfaGetLastErrorCode(handle)), "the last error is a documented status");
  const int32_t second = dfaOpen(files.desc.c_str(), c.openType);
  Expect(second < 0 && IsDfaError(second), "held files are not opened a second time");
  if (c.handleShift != 0) Expect(dfaGetData(handle + c.handleShift, nullptr, 0, 0, nullptr, 0) == errInvalHandle,
                                 "a handle that names nothing is refused");
}

}  // namespace dfa

inline void ExerciseDfa(const uint8_t* data, size_t size) {
  AcquisitionImage image = SplitAcquisition(data, size);
  const dfa::Choices choices = dfa::ReadChoices(image.control);
  const ScratchDir& dir = ScratchDir::Instance();
  const AcquisitionFiles files = WriteAcquisition(dir, choices.sourceType, image);
  const int32_t handle = dfaOpen(files.desc.c_str(), choices.openType);
  Expect(handle >= 0 || IsDfaError(handle), "opening gives a handle or a documented status");
  if (handle >= 0) {
    dfa::ExerciseSession(handle, choices, files);
    Expect(dfaClose(handle) == 1, "an open handle closes");
  }
  Expect(dfaClose(handle) == 0, "a closed handle does not close again");
  dir.Clear();
}

}  // namespace travune::fuzz
