// Test helpers of every writer test: scratch directories, file contents, generated acquisitions
// and their conversion through the exported functions (block size, scan range, decimal mark), and
// writer runs the way the conversion session does them (files created, PreConvert, blocks
// appended after the header, PostConvert) with the conversion clock fixed.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/CvtSession.h"
#include "platform/Platform.h"
#include "samples/Samples.h"
#include "travune/travune.h"
#include "writer/OutputArea.h"
#include "writer/TgtFmt.h"

namespace travune::testing {

// A fresh directory under the temporary directory, removed with everything in it.
class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "travune-writer-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  std::string File(const std::string& name) const { return (path_ / name).string(); }
  const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline std::string FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

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

// Every entry of a directory (the temporary files a conversion may have left).
inline std::vector<std::string> DirectoryEntries(const std::filesystem::path& dir) {
  std::vector<std::string> names;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir, ignored)) {
    names.push_back(entry.path().string());
  }
  return names;
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
using TextConversion = ConversionRequest;

// Runs the conversion to the end. Returns 0 or the first failing status; ranges receives the
// channel ranges the source reports when given. The session's block size and decimal mark are
// restored afterwards.
inline int32_t Convert(const ConversionRequest& r, std::vector<ChannelRange>* ranges = nullptr) {
  const int32_t size = cvtReadBinDescFile(r.files[0].c_str(), r.files[1].c_str(), r.sourceType);
  if (size < 0) {
    cvtReleaseResources();
    return size;
  }
  if (ranges != nullptr) {
    ranges->assign(static_cast<size_t>(cvtGetNumChansUser()), ChannelRange{});
    for (size_t c = 0; c < ranges->size(); ++c) {
      tvnGetChanInfo(static_cast<int32_t>(c), nullptr, 0, nullptr, 0, &(*ranges)[c].lower, &(*ranges)[c].upper,
                     nullptr);
    }
  }
  TheCvtSession().SetStartBlockBytes(r.blockBytes);
  TheCvtSession().SetDecimalMark(r.mark);
  const std::string& header = r.output.empty() ? r.header : r.output;
  const std::string& data = r.output.empty() ? r.data : r.output;
  int32_t status = cvtInitDataFileEx(header.c_str(), data.c_str(), r.format, r.flags);
  if (status == 0) {
    if (r.scanCount > 0) cvtSetBinDataBlock(r.firstScan, r.scanCount, 0);
    int32_t percent = 0;
    for (int calls = 0; percent >= 0 && percent < 100 && calls < 1000000; ++calls) {
      percent = cvtConvertBinData(r.format);
    }
    status = percent < 0 ? percent : (percent == 100 ? 0 : -1);
  }
  const int32_t closed = cvtCloseDataFile(r.format);
  cvtReleaseResources();
  TheCvtSession().SetStartBlockBytes(0);
  TheCvtSession().SetDecimalMark('.');
  return status != 0 ? status : closed;
}

// Writes the sample into dir under name; the description and data paths, or empty on failure.
inline std::vector<std::string> WriteSampleFiles(const samples::SampleSpec& sample, const ScratchDir& dir,
                                                 const std::string& name) {
  std::vector<std::string> files;
  std::string error;
  if (!samples::WriteSample(sample, dir.File(name), &files, &error)) {
    ADD_FAILURE() << error;
    return {};
  }
  return files;
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

inline samples::SampleSpec SampleOf(int type, int64_t scans, int64_t preTrig, bool stamps = false,
                                    bool packed = false) {
  samples::SampleSpec sample;
  sample.packed = packed;
  sample.type = type;
  sample.scans = scans;
  sample.preTrig = preTrig;
  sample.stamps = stamps;
  return sample;
}

// A fresh directory for one test, removed afterwards, and the conversion clock fixed at
// 2 January 2003 14:30:05 and Millis milliseconds.
template <int Millis>
class FixedClockWriterTest : public ::testing::Test {
 protected:
  static platform::LocalTime FixedClock() { return {2003, 1, 2, 14, 30, 5, Millis}; }

  void SetUp() override {
    ASSERT_FALSE(scratch_.Path().empty());
    dir_ = scratch_.Path();
    platform::SetClock(FixedClock);
  }
  void TearDown() override { platform::SetClock(nullptr); }
  std::string Path(const std::string& name) const { return scratch_.File(name); }

  ScratchDir scratch_;
  std::filesystem::path dir_;
};
using HeaderedWriterTest = FixedClockWriterTest<678>;

// A UFF writer test: temporary files of the writers go to a directory of this test only, so that
// what they leave behind can be seen.
class UffWriterTest : public FixedClockWriterTest<250> {
 protected:
  void SetUp() override {
    FixedClockWriterTest<250>::SetUp();
    std::filesystem::create_directory(dir_ / "tmp");
    const char* previous = getenv("TMPDIR");
    hadTmpDir_ = previous != nullptr;
    if (hadTmpDir_) previousTmpDir_ = previous;
    setenv("TMPDIR", TempDir().c_str(), 1);
  }
  void TearDown() override {
    if (hadTmpDir_) {
      setenv("TMPDIR", previousTmpDir_.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
    FixedClockWriterTest<250>::TearDown();
  }

  std::string TempDir() const { return (dir_ / "tmp").string(); }

  // Scans [first, first + count) in blocks of at most blockScans into out.unv; its bytes.
  std::string Run(TgtFmt& writer, int64_t blockScans, int64_t first, int64_t count) {
    return RunWriter(writer, Path("out.unv"), "", count, first, count, blockScans).data;
  }

 private:
  bool hadTmpDir_ = false;
  std::string previousTmpDir_;
};

}  // namespace travune::testing
