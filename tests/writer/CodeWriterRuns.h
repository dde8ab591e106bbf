// Test helpers of the 16-bit code writers (Halvard, WAV, Pernix): one writer run over real
// files, conversions of generated samples through the exported functions with a chosen block
// size and scan range, and file contents.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/CvtSession.h"
#include "samples/Samples.h"
#include "travune/travune.h"
#include "writer/OutputArea.h"
#include "writer/TgtFmt.h"

namespace travune::testing::codes {

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

// The files of one writer run: PreConvert, one block of every scan from scan 0 appended after
// what PreConvert left in the data file (as the session does), PostConvert.
struct WrittenFiles {
  std::string header;
  std::string data;
};
inline WrittenFiles RunWriter(TgtFmt& writer, int64_t scans, const ScratchDir& dir) {
  const std::string headerName = dir.File("out.hdr");
  const std::string dataName = dir.File("out.dat");
  {
    platform::File header = platform::File::Create(headerName.c_str());
    platform::File data = platform::File::Create(dataName.c_str());
    EXPECT_TRUE(writer.PreConvert(dataName.c_str(), &data, &header, scans));
    std::vector<uint8_t> area(static_cast<size_t>(scans * writer.OutputBytesPerScan()));
    OutputArea out(area.data(), area.size());
    const int64_t bytes = writer.ConvertDataBlock(scans, out, 0);
    EXPECT_EQ(bytes, static_cast<int64_t>(area.size()));
    if (bytes > 0) {
      EXPECT_TRUE(data.WriteAt(static_cast<uint64_t>(data.Size()), area.data(), static_cast<size_t>(bytes)));
    }
    EXPECT_TRUE(writer.PostConvert());
  }
  return {FileBytes(headerName), FileBytes(dataName)};
}

struct ChannelRange {
  double lower = 0.0;
  double upper = 0.0;
};

// One conversion of an acquisition's files into format.
struct ConversionRequest {
  std::vector<std::string> files;  // description, data
  int32_t sourceType = 0;
  int32_t format = 0;
  uint32_t flags = 0;
  std::string header;  // output header file (used when the format has one)
  std::string data;    // output data file
  int64_t blockBytes = 0;  // start block size; 0 for the session's own choice
  uint32_t firstScan = 0;
  uint32_t scanCount = 0;  // 0: every scan
};

// Runs the conversion to the end. Returns 0 or the first failing status; ranges receives the
// channel ranges the source reports when given.
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
  int32_t status = cvtInitDataFileEx(r.header.c_str(), r.data.c_str(), r.format, r.flags);
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

}  // namespace travune::testing::codes
