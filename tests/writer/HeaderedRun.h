// Runs a writer the way the conversion session does (files created, PreConvert, blocks appended
// after the header, PostConvert) over a test source, and reads both files back.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "writer/TgtFmt.h"

namespace travune::testing {

struct WrittenFiles {
  std::string data;
  std::string header;
};

inline std::string ReadWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Scans [first, first + count) in blocks of at most blockScans, totalScans handed to PreConvert.
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
    std::vector<uint8_t> area(static_cast<size_t>(blockScans * writer.OutputBytesPerScan()));
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
  files.data = ReadWholeFile(dataPath);
  if (writer.WantsHeaderFile()) files.header = ReadWholeFile(headerPath);
  return files;
}

// A fresh directory for one test, removed afterwards; the conversion clock fixed at
// 2 January 2003 14:30:05.
class HeaderedWriterTest : public ::testing::Test {
 protected:
  static platform::LocalTime FixedClock() { return {2003, 1, 2, 14, 30, 5, 678}; }

  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "travune-hdr-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
    platform::SetClock(FixedClock);
  }
  void TearDown() override {
    platform::SetClock(nullptr);
    std::filesystem::remove_all(dir_);
  }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  std::filesystem::path dir_;
};

}  // namespace travune::testing
