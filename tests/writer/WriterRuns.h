// Helpers of the writer tests on top of the API tests' kit: writer runs the way the session does
// them, conversions through the exported functions, and fixtures with the conversion clock fixed.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "api/CvtSession.h"
#include "platform/Platform.h"
#include "samples/Samples.h"
#include "travune/travune.h"
#include "writer/OutputArea.h"
#include "writer/TgtFmt.h"

namespace travune::testing {

using apitest::ScratchDir;
// The file reader under the name the writer and interoperability tests give it.
inline constexpr auto& FileBytes = apitest::Contents;

// "00 80 FF 7F": bytes as upper-case hex pairs, for readable golden data.
inline std::string Hex(const std::string& bytes) {
  static const char digits[] = "0123456789ABCDEF";
  std::string text;
  for (unsigned char b : bytes) {
    if (!text.empty()) text += ' ';
    text += digits[b >> 4];
    text += digits[b & 15];
  }
  return text;
}

struct WrittenFiles {
  std::string data;
  std::string header;
};

// Scans [first, first + count) in blocks of at most blockScans, totalScans handed to PreConvert;
// the header file is created only when the writer wants one.
inline WrittenFiles RunWriter(TgtFmt& writer, const std::string& dataPath, const std::string& headerPath,
                              int64_t totalScans, int64_t first, int64_t count, int64_t blockScans) {
  WrittenFiles files;
  {
    platform::File data = platform::File::Create(dataPath.c_str());
    platform::File header;
    if (writer.WantsHeaderFile()) header = platform::File::Create(headerPath.c_str());
    EXPECT_TRUE(data.IsOpen());
    EXPECT_TRUE(writer.PrepareBlocks(blockScans));
    EXPECT_TRUE(writer.PreConvert(dataPath.c_str(), &data, header.IsOpen() ? &header : nullptr, totalScans));
    uint64_t offset = static_cast<uint64_t>(data.Size());
    std::vector<uint8_t> area(static_cast<size_t>(std::max<int64_t>(1, blockScans * writer.OutputBytesPerScan())));
    for (int64_t scan = first; scan < first + count; scan += blockScans) {
      const int64_t scans = std::min(blockScans, first + count - scan);
      OutputArea out(area.data(), area.size());
      const int64_t produced = writer.ConvertDataBlock(scans, out, scan);
      EXPECT_GE(produced, 0);
      if (produced <= 0) continue;
      EXPECT_TRUE(data.WriteAt(offset, area.data(), static_cast<size_t>(produced)));
      offset += static_cast<uint64_t>(produced);
    }
    EXPECT_TRUE(writer.PostConvert());
  }
  files.data = FileBytes(dataPath);
  if (writer.WantsHeaderFile()) files.header = FileBytes(headerPath);
  return files;
}

// Every scan from scan 0 in one block, into out.dat (and out.hdr) of dir.
inline WrittenFiles RunWriter(TgtFmt& writer, int64_t scans, const ScratchDir& dir) {
  return RunWriter(writer, dir.File("out.dat"), dir.File("out.hdr"), scans, 0, scans, scans);
}

struct ChannelRange {
  double lower = 0.0;
  double upper = 0.0;
};

// One conversion of an acquisition's files into format.
struct ConversionRequest {
  std::vector<std::string> files;  // description, data
  int32_t sourceType = 0;
  int32_t format = TRAVUNE_FMT_TEXT;
  uint32_t flags = 0;
  std::string header;  // output header file (used when the format has one)
  std::string data;    // output data file
  std::string output;  // when set, the one output file, passed as both header and data
  char mark = '.';     // the user's decimal mark
  int64_t blockBytes = 0;  // start block size; 0 for the session's own choice
  uint32_t firstScan = 0;
  uint32_t scanCount = 0;  // 0: every scan
};

// Runs the conversion to the end. Returns 0 or the first failing status; ranges receives the
// channel ranges the source reports when given. The session's decimal mark is restored afterwards.
inline int32_t Convert(const ConversionRequest& r, std::vector<ChannelRange>* ranges = nullptr) {
  apitest::CvtSteps steps(r.files, r.output.empty() ? r.header : r.output, r.output.empty() ? r.data : r.output,
                          r.format);
  steps.type = r.sourceType;
  steps.flags = r.flags;
  steps.blockBytes = r.blockBytes;
  steps.first = r.firstScan;
  steps.count = r.scanCount;
  if (ranges != nullptr) {
    const int32_t size = steps.Read();
    ranges->assign(static_cast<size_t>(size < 0 ? 0 : cvtGetNumChansUser()), ChannelRange{});
    for (size_t c = 0; c < ranges->size(); ++c) {
      tvnGetChanInfo(static_cast<int32_t>(c), nullptr, 0, nullptr, 0, &(*ranges)[c].lower, &(*ranges)[c].upper,
                     nullptr);
    }
    cvtReleaseResources();
  }
  TheCvtSession().SetDecimalMark(r.mark);
  const int32_t status = steps.Whole();
  TheCvtSession().SetDecimalMark('.');
  return status;
}

// Writes the sample into dir under name: the description and data paths.
inline std::vector<std::string> WriteSampleFiles(const samples::SampleSpec& sample, const ScratchDir& dir,
                                                 const std::string& name) {
  return dir.Sample(sample, name);
}

// Every scaled value of an acquisition's files (scan after scan) through the handle API, whose
// reads the source tests hold to hand-derived formulas; empty on failure.
inline std::vector<double> ScaledValues(const std::vector<std::string>& files, int32_t sourceType) {
  tvnAcq* acq = nullptr;
  std::vector<double> values;
  tvnAcqInfo info;
  if (tvnAcqOpen(files[0].c_str(), files[1].c_str(), sourceType, &acq) == TVN_OK &&
      tvnAcqGetInfo(acq, &info) == TVN_OK) {
    values.resize(static_cast<size_t>(info.scans * info.channels));
    if (tvnAcqReadFloat64(acq, 0, info.scans, nullptr, 0, values.data()) != TVN_OK) values.clear();
  }
  tvnAcqClose(acq);
  EXPECT_FALSE(values.empty()) << "the acquisition cannot be read";
  return values;
}

// A generated sample with time stamps and packing in the order the writer tests list them.
inline samples::SampleSpec SampleOf(int type, int64_t scans, int64_t preTrig, bool stamps = false,
                                    bool packed = false) {
  return apitest::SampleOf(type, scans, preTrig, 0, packed, stamps);
}

// A scratch directory for one test (TMPDIR inside it), the conversion clock fixed at
// 2 January 2003 14:30:05 and Millis milliseconds.
template <int Millis>
class FixedClockWriterTest : public ::testing::Test {
 protected:
  static platform::LocalTime FixedClock() { return {2003, 1, 2, 14, 30, 5, Millis}; }
  std::string Path(const std::string& name) const { return scratch_.File(name); }

  apitest::Scratch scratch_{FixedClock};
};
using HeaderedWriterTest = FixedClockWriterTest<678>;

// A UFF writer test: what the writers' temporary files leave behind shows in
// scratch_.TempFilesLeft().
class UffWriterTest : public FixedClockWriterTest<250> {
 protected:
  // Scans [first, first + count) in blocks of at most blockScans into out.unv; its bytes.
  std::string Run(TgtFmt& writer, int64_t blockScans, int64_t first, int64_t count) {
    return RunWriter(writer, Path("out.unv"), "", count, first, count, blockScans).data;
  }
};

}  // namespace travune::testing
