// Runs the built travune tool in a temporary directory: exit codes, type and format names,
// output naming, refusal to overwrite inputs, and what info --json and dump print.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct RunResult {
  int exitCode = -1;
  std::string out;
  std::string err;
};

std::string ReadText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class CliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-cli-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Runs "travune args" with the temporary directory as working directory.
  RunResult Run(const std::string& args) const {
    const std::string command =
        "cd '" + dir_.string() + "' && '" TRAVUNE_CLI_PATH "' " + args + " > .stdout 2> .stderr < /dev/null";
    const int status = std::system(command.c_str());
    RunResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = ReadText(dir_ / ".stdout");
    result.err = ReadText(dir_ / ".stderr");
    return result;
  }

  // A 1000-scan Morvane sample "run.DSC" + "run.bin" in the temporary directory.
  void MakeMorvaneSample() const { ASSERT_EQ(Run("sample --type morvane --scans 1000 run").exitCode, 0); }

  fs::path dir_;
};

TEST_F(CliTest, ExitCodes) {
  MakeMorvaneSample();
  const struct { const char* args; int exitCode; } cases[] = {
      {"", 2},
      {"frobnicate", 2},
      {"--help", 0},
      {"formats", 0},
      {"convert run.DSC", 2},
      {"convert run.DSC --to nosuch", 2},
      {"convert run.DSC --to Float32 --scans 5:0", 2},
      {"convert run.DSC --to Float32 --scans -1:5", 2},
      {"convert missing.DSC --to Float32 --type morvane", 1},
      {"info run.DSC", 0},
      {"sample --type quillon --stamps x", 2},
      {"sample --type morvane --scans many x", 2},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Run(c.args).exitCode, c.exitCode) << "travune " << c.args;
  }
}

TEST_F(CliTest, SourceTypeNamesAreCaseInsensitiveAndBadOnesListTheAcceptedNames) {
  MakeMorvaneSample();
  for (const char* name : {"MorVane", "3"}) {
    const RunResult r = Run(std::string("info run.DSC --type ") + name);
    EXPECT_EQ(r.exitCode, 0) << name << ": " << r.err;
    EXPECT_NE(r.out.find("Morvane"), std::string::npos) << name;
  }
  // "bin" is the registry's short name of two source types: it is not accepted.
  for (const char* name : {"bin", "9"}) {
    const RunResult r = Run(std::string("convert run.DSC --to Float32 --type ") + name);
    EXPECT_EQ(r.exitCode, 2) << name;
    for (const char* accepted : {"morvane", "tarquil", "brenlow", "vexmoor", "threnix", "quillon", "celdrin"}) {
      EXPECT_NE(r.err.find(accepted), std::string::npos) << name << " lacks " << accepted << ": " << r.err;
    }
  }
  // Target formats by short name in any case or by id.
  for (const char* format : {"FLOAT32", "9"}) {
    EXPECT_EQ(Run(std::string("convert run.DSC --to ") + format + " -o out.f32").exitCode, 0) << format;
  }
}

TEST_F(CliTest, ConvertsARelativeNameBesideItAndToAnExactOutputPath) {
  MakeMorvaneSample();
  const RunResult beside = Run("convert run.DSC --to Float32");
  ASSERT_EQ(beside.exitCode, 0) << beside.err;
  EXPECT_EQ(fs::file_size(dir_ / "run.F32"), 1000u * 15u * 4u);
  EXPECT_NE(beside.out.find("run.F32"), std::string::npos);

  fs::create_directory(dir_ / "sub");
  const RunResult exact = Run("convert run.DSC --to Float32 -o sub/values.raw --scans 10:20");
  ASSERT_EQ(exact.exitCode, 0) << exact.err;
  EXPECT_EQ(fs::file_size(dir_ / "sub/values.raw"), 20u * 15u * 4u);
  EXPECT_NE(exact.out.find("sub/values.raw"), std::string::npos);
  // The exact range is the beside file's scans 10..29.
  const std::string all = ReadText(dir_ / "run.F32");
  EXPECT_EQ(ReadText(dir_ / "sub/values.raw"), all.substr(10 * 60, 20 * 60));
}

TEST_F(CliTest, RefusesToOverwriteAnInputFile) {
  MakeMorvaneSample();
  const std::string data = ReadText(dir_ / "run.bin");
  const std::string desc = ReadText(dir_ / "run.DSC");
  fs::create_hard_link(dir_ / "run.bin", dir_ / "alias.f32");
  const std::string viaParent = "../" + dir_.filename().string() + "/run.bin";
  for (const std::string& target :
       {std::string("run.bin"), std::string("./run.DSC"), viaParent, std::string("alias.f32")}) {
    const RunResult r = Run("convert run.DSC --to Float32 -o " + target);
    EXPECT_EQ(r.exitCode, 1) << target;
    EXPECT_NE(r.err.find("refusing"), std::string::npos) << target << ": " << r.err;
  }
  EXPECT_EQ(ReadText(dir_ / "run.bin"), data);
  EXPECT_EQ(ReadText(dir_ / "run.DSC"), desc);
}

// ---- info and dump through Data File Access ---------------------------------------------

std::vector<std::vector<std::string>> TableRows(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::vector<std::string> cells;
    std::istringstream fields(line);
    for (std::string cell; std::getline(fields, cell, '\t');) cells.push_back(cell);
    rows.push_back(cells);
  }
  return rows;
}

TEST_F(CliTest, InfoAsJson) {
  ASSERT_EQ(Run("sample --type morvane --scans 1000 --pretrig 100 run").exitCode, 0);
  const RunResult r = Run("info run.DSC --json --type morvane");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1);
  for (const char* field : {"\"scans\":1000,", "\"preTrigScans\":100,",
                            "{\"label\":\"Sine\",\"units\":\"V\",\"lower\":-5,\"upper\":5,\"precision\":4}"}) {
    EXPECT_NE(r.out.find(field), std::string::npos) << field << " in " << r.out;
  }
  // 1000 scans/s: scan 0 lies 0.1 s before the trigger scan, scan 999 0.899 s after it.
  const auto number = [&](const std::string& key) {
    const size_t at = r.out.find("\"" + key + "\":");
    return at == std::string::npos ? 1e9 : std::strtod(r.out.c_str() + at + key.size() + 3, nullptr);
  };
  EXPECT_NEAR(number("firstScanTime"), -0.1, 1e-9);
  EXPECT_NEAR(number("lastScanTime"), 0.899, 1e-9);
  const std::string labels = "\"label\":";
  size_t channels = 0;
  for (size_t at = r.out.find(labels); at != std::string::npos; at = r.out.find(labels, at + 1)) ++channels;
  EXPECT_EQ(channels, 15u);
}

// The printed values read back to the very floats a Float32 conversion writes.
TEST_F(CliTest, DumpPrintsTheConvertedFloats) {
  MakeMorvaneSample();
  ASSERT_EQ(Run("convert run.DSC --to Float32 -o all.f32").exitCode, 0);
  const std::string all = ReadText(dir_ / "all.f32");
  const RunResult r = Run("dump run.DSC --scans 990:20 --time");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const std::vector<std::vector<std::string>> rows = TableRows(r.out);
  ASSERT_EQ(rows.size(), 11u);  // clipped at the 1000th scan
  ASSERT_EQ(rows[0].size(), 17u);
  EXPECT_EQ(rows[0][0], "scan");
  EXPECT_EQ(rows[0][1], "time [s]");
  EXPECT_EQ(rows[0][2], "Sine [V]");
  for (size_t i = 1; i < rows.size(); ++i) {
    ASSERT_EQ(rows[i].size(), 17u) << i;
    const size_t scan = 989 + i;
    EXPECT_EQ(rows[i][0], std::to_string(scan));
    EXPECT_NEAR(std::stod(rows[i][1]), static_cast<double>(scan) / 1000.0, 1e-9);  // 1000 scans/s, no pre-trigger
    for (size_t c = 0; c < 15; ++c) {
      float expected = 0.0f;
      std::memcpy(&expected, all.data() + 4 * (scan * 15 + c), 4);
      const float printed = std::strtof(rows[i][2 + c].c_str(), nullptr);
      EXPECT_EQ(std::memcmp(&printed, &expected, 4), 0) << "scan " << scan << " channel " << c;
    }
  }
  const RunResult one = Run("dump run.DSC --chan 7 --scans 0:3");
  ASSERT_EQ(one.exitCode, 0) << one.err;
  EXPECT_EQ(TableRows(one.out)[0], (std::vector<std::string>{"scan", "Ramp [V]"}));
  EXPECT_EQ(Run("dump run.DSC --chan 15").exitCode, 1);
  EXPECT_EQ(Run("dump run.DSC --scans 1001:1").exitCode, 1);
}

}  // namespace
