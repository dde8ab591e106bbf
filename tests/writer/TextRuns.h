// Test helpers of the text writers: a scratch directory, generated acquisitions, and their
// conversion through the exported functions with a chosen block size, scan range and decimal mark.
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

namespace travune::testing::text {

// A fresh directory under the temporary directory, removed with everything in it.
class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "travune-text-XXXXXX").string();
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

inline samples::SampleSpec SampleOf(int type, int64_t scans, int64_t preTrig, bool stamps = false, bool packed = false) {
  samples::SampleSpec sample;
  sample.type = type;
  sample.scans = scans;
  sample.preTrig = preTrig;
  sample.stamps = stamps;
  sample.packed = packed;
  return sample;
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

// One conversion of a generated acquisition's files into a text format.
struct TextConversion {
  std::vector<std::string> files;  // description, data
  int32_t sourceType = 0;
  int32_t format = TRAVUNE_FMT_TEXT;
  uint32_t flags = 0;
  char mark = '.';          // the user's decimal mark
  int64_t blockBytes = 0;   // start block size; 0 for the session's own choice
  uint32_t firstScan = 0;
  uint32_t scanCount = 0;   // 0: every scan
  std::string output;
};

// Runs the conversion to the end; 0 or the first failing status. The session's block size and
// decimal mark are restored afterwards.
inline int32_t Convert(const TextConversion& c) {
  const int32_t size = cvtReadBinDescFile(c.files[0].c_str(), c.files[1].c_str(), c.sourceType);
  if (size < 0) {
    cvtReleaseResources();
    return size;
  }
  TheCvtSession().SetStartBlockBytes(c.blockBytes);
  TheCvtSession().SetDecimalMark(c.mark);
  int32_t status = cvtInitDataFileEx(c.output.c_str(), c.output.c_str(), c.format, c.flags);
  if (status == 0) {
    if (c.scanCount > 0) cvtSetBinDataBlock(c.firstScan, c.scanCount, 0);
    int32_t percent = 0;
    for (int calls = 0; percent >= 0 && percent < 100 && calls < 1000000; ++calls) percent = cvtConvertBinData(c.format);
    status = percent < 0 ? percent : (percent == 100 ? 0 : -1);
  }
  const int32_t closed = cvtCloseDataFile(c.format);
  cvtReleaseResources();
  TheCvtSession().SetStartBlockBytes(0);
  TheCvtSession().SetDecimalMark('.');
  return status != 0 ? status : closed;
}

}  // namespace travune::testing::text
