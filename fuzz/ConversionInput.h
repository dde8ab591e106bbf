// The conversion fuzz target's work on one input, shared by the libFuzzer target and the
// regression test: a fuzzed description and data file converted into the writer a control
// byte selects, either through the exported conversion functions or through the handle API,
// with fuzzed flags, scan range and channel list. Every answer must be a documented status,
// progress must rise to 100 in a bounded number of blocks, and nothing may be left behind.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "AcquisitionFiles.h"
#include "DocumentedStatus.h"
#include "Promise.h"
#include "travune/travune.h"

namespace travune::fuzz {
namespace conversion {

// More blocks than any input of the fuzzer's size can need; a conversion still going after them hangs.
constexpr int kMaxBlocks = 1 << 16;
constexpr int32_t kMaxChannelsAsked = 64;
// The exported functions announce the source's whole scan count to the block-writer library,
// which writes every announced sample at close, read or not: a description programming millions
// of scans over a few bytes of data makes a file of millions of rows, in time proportional to
// the claim. That is the design, not a fault; the target leaves such blocks out.
constexpr int64_t kMaxLibraryBlockValues = int64_t{1} << 22;
// Channels may share their words, so a description of a few lines turns a few kilobytes of data
// into millions of values (400 channels on one 16-bit word: 2 million values, 58 MB of UFF text,
// 0.5 s in a release build and 3 to 6 s instrumented). The library's time stays proportional to
// its output, as it must; the target leaves out conversions of more values than this.
constexpr int64_t kMaxConvertedValues = int64_t{1} << 20;

// Values a conversion of every channel would write for the scans the data file holds.
inline int64_t ValuesBackedByData(int64_t scans, int64_t scanBytes, int64_t dataBytes, int64_t channels) {
  const int64_t held = scanBytes > 0 ? dataBytes / scanBytes + 1 : scans;
  return std::min(scans, held) * channels;
}

struct Choices {
  int32_t sourceType = 0;
  int32_t format = 0;
  bool handleApi = false;
  bool narrow = false;
  uint32_t flags = 0;
  uint32_t first = 0;
  uint32_t count = 0;
  uint8_t channelMask = 0;  // bit i keeps channel i of the first eight; 0 keeps every channel
};

inline Choices ReadChoices(ByteCursor& control) {
  Choices c;
  c.sourceType = SourceTypeOf(control.Byte());
  // One id past the exported formats: HDF5, which only the handle API writes (the exported
  // functions must refuse it, and a build without it must refuse it everywhere).
  c.format = TRAVUNE_FMT_HALVARD + control.Byte() % (cvtGetMaxFormats() + 1);
  const uint8_t mode = control.Byte();
  c.handleApi = (mode & 1u) != 0;
  c.flags = (mode >> 1) & 3u;
  c.narrow = (mode & 8u) != 0;
  c.first = control.Word();
  c.count = control.Word();
  c.channelMask = control.Byte();
  return c;
}

// The facts a front end shows before converting, for every channel (at most kMaxChannelsAsked).
inline void AskSourceFacts() {
  char title[64], version[64], label[64], units[64];
  double pre = 0, post = 0, lower = 0, upper = 0;
  int32_t trigger = 0, programmed = 0, timeKind = 0, precision = 0;
  Expect(tvnGetSourceInfo(title, 64, version, 64, &pre, &post, &trigger, &programmed, &timeKind) == 0,
         "an open source answers its facts");
  const int32_t chans = cvtGetNumChansUser();
  Expect(chans >= 0, "an open source has a channel count");
  for (int32_t chan = -1; chan <= chans && chan <= kMaxChannelsAsked; ++chan) {
    const int32_t status = tvnGetChanInfo(chan, label, 64, units, 64, &lower, &upper, &precision);
    Expect(status == (chan >= 0 && chan < chans ? 0 : -5), "channel facts answer exactly the channels there are");
  }
  static_cast<void>(cvtGetScanSize());
  double days = 0;
  static_cast<void>(tvnGetScanTime(0, &days));
}

// True when the block-writer library would be asked for a block of more than
// kMaxLibraryBlockValues values (every channel and the time axis of every scan).
inline bool AnnouncesHugeLibraryBlock(int32_t format) {
  const int64_t values = static_cast<int64_t>(cvtGetNumScans()) * (int64_t{cvtGetNumChansUser()} + 1);
  return format == TRAVUNE_FMT_MESCOPE && values > kMaxLibraryBlockValues;
}

inline void ConvertThroughExports(const Choices& c, const AcquisitionFiles& files, int64_t dataBytes, const ScratchDir& dir) {
  const int32_t size = cvtReadBinDescFile(files.desc.c_str(), files.data.c_str(), c.sourceType);
  Expect(size >= 0 || IsCvtFailure(size), "opening reports a size or a documented status");
  if (size >= 0) AskSourceFacts();
  const int64_t values = size >= 0 ? ValuesBackedByData(cvtGetNumScans(), cvtGetScanSize(), dataBytes, cvtGetNumChansUser()) : 0;
  if (size >= 0 && !AnnouncesHugeLibraryBlock(c.format) && values <= kMaxConvertedValues) {
    const int32_t init = cvtInitDataFileEx(dir.Path("out.hdr").c_str(), dir.Path("out.dat").c_str(), c.format, c.flags);
    Expect(init == 0 || IsCvtFailure(init), "starting a conversion gives 0 or a documented status");
    if (init == 0) {
      if (c.narrow) Expect(cvtSetBinDataBlock(c.first, c.count, 0) == 0, "narrowing always answers 0");
      int32_t progress = 0;
      for (int block = 0; progress >= 0 && progress < 100; ++block) {
        Expect(block < kMaxBlocks, "a conversion ends");
        const int32_t next = cvtConvertBinData(c.format);
        Expect(next < 0 ? IsCvtFailure(next) : next >= progress && next <= 100, "progress rises to 100");
        progress = next;
      }
      const int32_t closed = cvtCloseDataFile(c.format);
      Expect(closed == 0 || closed == TRAVUNE_ERR_WRITER, "closing gives 0 or -1003");
    }
  }
  Expect(cvtReleaseResources() == 0, "releasing always answers 0");
}

inline std::vector<int32_t> ChosenChannels(uint8_t mask) {
  std::vector<int32_t> chans;
  for (int32_t chan = 0; chan < 8; ++chan) {
    if ((mask >> chan) & 1u) chans.push_back(chan);
  }
  return chans;
}

inline int32_t ConvertThroughHandles(const Choices& c, tvnAcq* acq, const ScratchDir& dir) {
  const std::string data = dir.Path("out.dat");
  const std::vector<int32_t> chans = ChosenChannels(c.channelMask);
  tvnConvOptions options{};
  options.format = c.format;
  options.dataName = data.c_str();
  options.flags = c.flags;
  options.first = c.narrow ? c.first : 0;
  options.count = c.narrow ? static_cast<int32_t>(c.count) : -1;
  options.chans = chans.empty() ? nullptr : chans.data();
  options.numChans = static_cast<int32_t>(chans.size());
  tvnConv* conv = nullptr;
  int32_t status = tvnConvOpen(acq, &options, &conv);
  Expect((status == TVN_OK) == (conv != nullptr), "a conversion handle comes exactly with TVN_OK");
  if (status == TVN_OK) {
    status = tvnConvRun(conv, nullptr, nullptr);
    if (status == TVN_OK) status = tvnConvFinish(conv);
  }
  tvnConvClose(conv);
  return status;
}

inline void ConvertThroughHandleApi(const Choices& c, const AcquisitionFiles& files, const ScratchDir& dir) {
  tvnAcq* acq = nullptr;
  int32_t status = tvnAcqOpen(files.desc.c_str(), files.data.c_str(), c.sourceType, &acq);
  Expect((status == TVN_OK) == (acq != nullptr), "an acquisition handle comes exactly with TVN_OK");
  tvnAcqInfo info{};
  if (status == TVN_OK) status = tvnAcqGetInfo(acq, &info);
  const bool modest = ValuesBackedByData(info.scans, info.scanBytes, info.dataBytes, info.channels) <= kMaxConvertedValues;
  if (status == TVN_OK && modest) status = ConvertThroughHandles(c, acq, dir);
  Expect(IsTvnStatus(status), "the handle API answers a documented status");
  tvnAcqClose(acq);
}

}  // namespace conversion

inline void ExerciseConversion(const uint8_t* data, size_t size) {
  AcquisitionImage image = SplitAcquisition(data, size);
  const conversion::Choices choices = conversion::ReadChoices(image.control);
  const ScratchDir& dir = ScratchDir::Instance();
  const AcquisitionFiles files = WriteAcquisition(dir, choices.sourceType, image);
  if (choices.handleApi) {
    conversion::ConvertThroughHandleApi(choices, files, dir);
  } else {
    conversion::ConvertThroughExports(choices, files, static_cast<int64_t>(image.dataSize), dir);
  }
  dir.Clear();
}

}  // namespace travune::fuzz
