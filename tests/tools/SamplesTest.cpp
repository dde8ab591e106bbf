// The sample generator behind `travune sample`: requests a type cannot hold are refused before
// anything is written, and no partial acquisition is left behind when a file cannot be written.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "samples/Samples.h"

namespace travune::samples {
namespace {

namespace fs = std::filesystem;

TEST(SampleGenerator, RejectsWhatTheTypeCannotHold) {
  const struct { const char* name; SampleSpec request; } cases[] = {
      // Fields: type, scans, channels, packed, stamps, pre-trigger scans.
      {"unknown type", {9, 10}},
      {"no scans", {3, 0}},
      {"packed Morvane", {3, 10, 0, true}},
      {"stamped Quillon", {5, 10, 0, false, true}},
      {"trigger past the end", {3, 10, 0, false, false, 11}},
      {"too many channels", {3, 10, 257}},
  };
  for (const auto& c : cases) {
    std::string error;
    EXPECT_FALSE(CheckSpec(c.request, &error)) << c.name;
    EXPECT_FALSE(error.empty()) << c.name;
  }
}

TEST(SampleGenerator, RemovesPartialFilesWhenAWriteFails) {
  std::string pattern = (fs::temp_directory_path() / "travune-samples-XXXXXX").string();
  const fs::path dir = mkdtemp(pattern.data());
  SampleSpec request;
  request.type = 3;
  request.scans = 10;
  // The data file's name is taken by a directory: the description written first is removed.
  fs::create_directory(dir / "busy.bin");
  std::string error;
  EXPECT_FALSE(WriteSample(request, (dir / "busy").string(), nullptr, &error));
  EXPECT_NE(error.find("busy.bin"), std::string::npos) << error;
  EXPECT_FALSE(fs::exists(dir / "busy.DSC"));
  EXPECT_TRUE(fs::is_directory(dir / "busy.bin"));
  // A directory that does not exist: nothing is written.
  EXPECT_FALSE(WriteSample(request, (dir / "missing/run").string(), nullptr, &error));
  EXPECT_NE(error.find("missing/run.DSC"), std::string::npos) << error;
  // A full device (when the machine has one): the data file cannot be written completely.
  if (fs::exists("/dev/full")) {
    fs::create_symlink("/dev/full", dir / "full.bin");
    request.scans = 100000;
    EXPECT_FALSE(WriteSample(request, (dir / "full").string(), nullptr, &error));
    EXPECT_NE(error.find("full.bin"), std::string::npos) << error;
    EXPECT_FALSE(fs::exists(dir / "full.DSC"));
  }
  fs::remove_all(dir);
}

}  // namespace
}  // namespace travune::samples
