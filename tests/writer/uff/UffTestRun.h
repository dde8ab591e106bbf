// Runs a UFF writer the way the conversion session does, in blocks of a chosen size, with the
// clock fixed at 2 January 2003 14:30:05 and a private temporary-files directory per test.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "writer/TgtFmt.h"

namespace travune::testing {

inline std::string ReadFileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
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

class UffWriterTest : public ::testing::Test {
 protected:
  static platform::LocalTime FixedClock() { return {2003, 1, 2, 14, 30, 5, 250}; }

  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "travune-uff-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    std::filesystem::create_directory(dir_ / "tmp");
    // Temporary files of the writers go to a directory of this test only, so that what they
    // leave behind can be seen.
    const char* previous = getenv("TMPDIR");
    hadTmpDir_ = previous != nullptr;
    if (hadTmpDir_) previousTmpDir_ = previous;
    setenv("TMPDIR", TempDir().c_str(), 1);
    platform::SetClock(FixedClock);
  }
  void TearDown() override {
    platform::SetClock(nullptr);
    if (hadTmpDir_) {
      setenv("TMPDIR", previousTmpDir_.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  std::string TempDir() const { return (dir_ / "tmp").string(); }

  // PreConvert, scans [first, first + count) in blocks of at most blockScans, PostConvert.
  // Returns the output file; *postConverted receives PostConvert's result when given.
  std::string Run(TgtFmt& writer, int64_t blockScans, int64_t first, int64_t count, const std::string& name = "out.unv",
                  bool* postConverted = nullptr) {
    const std::string path = Path(name);
    bool finished = false;
    {
      platform::File data = platform::File::Create(path.c_str());
      EXPECT_TRUE(data.IsOpen());
      EXPECT_TRUE(writer.PrepareBlocks(blockScans));
      writer.PreConvert(path.c_str(), &data, nullptr, count);
      std::vector<uint8_t> area(static_cast<size_t>(std::max<int64_t>(1, blockScans * writer.OutputBytesPerScan())));
      for (int64_t scan = first; scan < first + count; scan += blockScans) {
        OutputArea out(area.data(), area.size());
        EXPECT_EQ(writer.ConvertDataBlock(std::min(blockScans, first + count - scan), out, scan), 0);
      }
      finished = writer.PostConvert();
    }
    if (postConverted != nullptr) {
      *postConverted = finished;
    } else {
      EXPECT_TRUE(finished);
    }
    return ReadFileText(path);
  }

  std::filesystem::path dir_;

 private:
  bool hadTmpDir_ = false;
  std::string previousTmpDir_;
};

}  // namespace travune::testing
