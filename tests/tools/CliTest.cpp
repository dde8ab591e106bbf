// Runs the built travune tool in a temporary directory: exit codes, type and format names, output
// naming, what info --json and dump print, and damaged, cut, misnamed and locked recordings and
// outputs that must not be lost (exit status, messages, the files afterwards and their bytes).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "api/ApiTestKit.h"

namespace travune::apitest {
namespace {

struct RunResult {
  int exitCode = -1;  // -1 when ended by a signal
  int signal = 0;
  std::string out;
  std::string err;
};

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

RunResult FromWaitStatus(int status) {
  RunResult result;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  return result;
}

// Float32 output of a Morvane sample: 15 channels of 4 bytes per scan.
constexpr size_t kMorvaneScanOut = 15 * 4;

// Public throughout: the table cases below prepare and check through it.
class CliTest : public ::testing::Test {
 public:
  void TearDown() override { fs::permissions(scratch_.Root(), fs::perms::owner_all, fs::perm_options::add); }

 public:
  // Runs "travune args" in the temporary directory; prefix runs before it in the same shell.
  RunResult Run(const std::string& args, const std::string& prefix = "") const {
    const std::string command = "cd '" + scratch_.Root().string() + "' && " + prefix + " '" TRAVUNE_CLI_PATH "' " +
                                args + " > .stdout 2> .stderr < /dev/null";
    RunResult result = FromWaitStatus(std::system(command.c_str()));
    result.out = Contents(scratch_ / ".stdout");
    result.err = Contents(scratch_ / ".stderr");
    return result;
  }
  void Sample(const std::string& args) const { ASSERT_EQ(Run("sample " + args).exitCode, 0) << args; }
  std::string Text(const std::string& name) const { return Contents(scratch_ / name); }
  void Write(const std::string& name, const std::string& text) const { Store(scratch_ / name, text); }

  // Starts a conversion of big.DSC into out.f32, sends sig once the output has data, waits.
  RunResult KillMidWay(int sig) const {
    const pid_t child = fork();
    if (child == 0) {
      if (chdir(scratch_.Root().c_str()) != 0) _exit(127);
      const int quiet = open("/dev/null", O_WRONLY);
      dup2(quiet, STDOUT_FILENO);
      dup2(quiet, STDERR_FILENO);
      execl(TRAVUNE_CLI_PATH, "travune", "convert", "big.DSC", "--to", "Float32", "-o", "out.f32",
            static_cast<char*>(nullptr));
      _exit(127);
    }
    std::error_code ec;
    for (int i = 0; i < 6000 && fs::file_size(scratch_ / "out.f32", ec) < 100000; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    kill(child, sig);
    int status = 0;
    waitpid(child, &status, 0);
    return FromWaitStatus(status);
  }

  // Hidden backups in the temporary directory.
  int Backups() const {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(scratch_.Root())) count += Contains(entry.path().string(), "travune-backup");
    return count;
  }

  Scratch scratch_;
};

// Arguments and names the tool accepts or refuses: exit codes, what it says, and inputs it must
// not overwrite.
TEST_F(CliTest, ArgumentsGiveTheirExitCodesAndMessages) {
  Sample("--type morvane --scans 1000 run");
  const std::string data = Text("run.bin");
  const std::string desc = Text("run.DSC");
  fs::create_hard_link(scratch_ / "run.bin", scratch_ / "alias.f32");
  const std::string viaParent = "../" + scratch_.Root().filename().string() + "/run.bin";
  const std::vector<const char*> none;
  // A refused source type lists every accepted name.
  const std::vector<const char*> typeNames = {"morvane", "tarquil", "brenlow", "vexmoor", "threnix", "quillon",
                                              "celdrin"};
  const struct {
    std::string args;
    int exitCode;
    std::vector<const char*> errHas, outHas;
  } cases[] = {
      {"", 2, none, none}, {"frobnicate", 2, none, none}, {"--help", 0, none, none}, {"formats", 0, none, none},
      {"convert run.DSC", 2, none, none}, {"convert run.DSC --to nosuch", 2, none, none},
      {"convert run.DSC --to Float32 --scans 5:0", 2, none, none},
      {"convert run.DSC --to Float32 --scans -1:5", 2, none, none},
      {"convert missing.DSC --to Float32 --type morvane", 1, none, none},
      {"dump run.DSC --chan 15", 1, none, none}, {"dump run.DSC --scans 1001:1", 1, none, none},
      // Source types by name in any case or by id; "bin", the registry's short name of two
      // source types, is not accepted.
      {"info run.DSC --type MorVane", 0, none, {"Morvane"}}, {"info run.DSC --type 3", 0, none, {"Morvane"}},
      {"convert run.DSC --to Float32 --type bin", 2, typeNames, none},
      {"convert run.DSC --to Float32 --type 9", 2, typeNames, none},
      // Target formats by short name in any case or by id.
      {"convert run.DSC --to FLOAT32 -o out.f32", 0, none, none}, {"convert run.DSC --to 9 -o out.f32", 0, none, none},
      // An input is never the output, by any name.
      {"convert run.DSC --to Float32 -o run.bin", 1, {"refusing"}, none},
      {"convert run.DSC --to Float32 -o ./run.DSC", 1, {"refusing"}, none},
      {"convert run.DSC --to Float32 -o " + viaParent, 1, {"refusing"}, none},
      {"convert run.DSC --to Float32 -o alias.f32", 1, {"refusing"}, none},
      // Samples a type cannot hold are refused before anything is written.
      {"sample --type quillon --stamps x", 2, none, none}, {"sample --type morvane --packed x", 2, none, none},
      {"sample --type morvane --scans 10 --pretrig 11 x", 2, none, none},
      {"sample --type morvane --chans 257 x", 2, none, none}, {"sample --type morvane --scans many x", 2, none, none},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("travune " + c.args);
    const RunResult r = Run(c.args);
    EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
    for (const char* part : c.errHas) EXPECT_TRUE(Contains(r.err, part)) << "wanted '" << part << "' in: " << r.err;
    for (const char* part : c.outHas) EXPECT_TRUE(Contains(r.out, part)) << "wanted '" << part << "' in: " << r.out;
  }
  EXPECT_EQ(Text("run.bin"), data);
  EXPECT_EQ(Text("run.DSC"), desc);
  EXPECT_FALSE(fs::exists(scratch_ / "x.DSC"));
}

TEST_F(CliTest, InfoAsJson) {
  Sample("--type morvane --scans 1000 --pretrig 100 run");
  const RunResult r = Run("info run.DSC --json --type morvane");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1);
  for (const char* field : {"\"scans\":1000,", "\"preTrigScans\":100,",
                            "{\"label\":\"Sine\",\"units\":\"V\",\"lower\":-5,\"upper\":5,\"precision\":4}"}) {
    EXPECT_TRUE(Contains(r.out, field)) << field << " in " << r.out;
  }
  // 1000 scans/s: scan 0 lies 0.1 s before the trigger scan, scan 999 0.899 s after it.
  const auto number = [&](const std::string& key) {
    const size_t at = r.out.find("\"" + key + "\":");
    return at == std::string::npos ? 1e9 : std::strtod(r.out.c_str() + at + key.size() + 3, nullptr);
  };
  EXPECT_NEAR(number("firstScanTime"), -0.1, 1e-9);
  EXPECT_NEAR(number("lastScanTime"), 0.899, 1e-9);
  size_t channels = 0;
  for (size_t at = r.out.find("\"label\":"); at != std::string::npos; at = r.out.find("\"label\":", at + 1)) ++channels;
  EXPECT_EQ(channels, 15u);
}

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

// The printed values read back to the very floats a Float32 conversion writes.
TEST_F(CliTest, DumpPrintsTheConvertedFloats) {
  Sample("--type morvane --scans 1000 run");
  ASSERT_EQ(Run("convert run.DSC --to Float32 -o all.f32").exitCode, 0);
  const std::string all = Text("all.f32");
  const RunResult r = Run("dump run.DSC --scans 990:20 --time");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const std::vector<std::vector<std::string>> rows = TableRows(r.out);
  ASSERT_EQ(rows.size(), 11u);  // clipped at the 1000th scan
  EXPECT_EQ(std::vector<std::string>(rows[0].begin(), rows[0].begin() + 3),
            (std::vector<std::string>{"scan", "time [s]", "Sine [V]"}));
  for (size_t i = 0; i < rows.size(); ++i) {
    ASSERT_EQ(rows[i].size(), 17u) << i;
    if (i == 0) continue;
    const size_t scan = 989 + i;
    EXPECT_EQ(rows[i][0], std::to_string(scan));
    EXPECT_NEAR(std::stod(rows[i][1]), static_cast<double>(scan) / 1000.0, 1e-9);  // 1000 scans/s, no pre-trigger
    for (size_t c = 0; c < 15; ++c) {
      const float printed = std::strtof(rows[i][2 + c].c_str(), nullptr);
      EXPECT_EQ(std::memcmp(&printed, all.data() + 4 * (scan * 15 + c), 4), 0) << "scan " << scan << " channel " << c;
    }
  }
  const RunResult one = Run("dump run.DSC --chan 7 --scans 0:3");
  ASSERT_EQ(one.exitCode, 0) << one.err;
  EXPECT_EQ(TableRows(one.out)[0], (std::vector<std::string>{"scan", "Ramp [V]"}));
}

struct Case {
  const char* name;
  std::function<void(CliTest&)> prepare;
  const char* args;
  int exitCode;
  std::vector<const char*> errHas;
  std::function<void(const CliTest&, const RunResult&)> check;
};

// Output naming, damaged, cut and misnamed recordings, and outputs that must not be lost.
TEST_F(CliTest, OutputsOfNamedDamagedAndProtectedFiles) {
  Sample("--type morvane --scans 1000 run");
  ASSERT_EQ(Run("convert run.DSC --to Float32 -o whole.f32").exitCode, 0);
  const std::string whole = Text("whole.f32");
  ASSERT_EQ(whole.size(), 1000 * kMorvaneScanOut);
  const std::string runBin = Text("run.bin");
  const auto absent = [](const char* name) {
    return [name](const CliTest& t, const RunResult&) { EXPECT_FALSE(fs::exists(t.scratch_ / name)) << name; };
  };
  const auto holds = [](const char* name, const std::string& text) {
    return [name, text](const CliTest& t, const RunResult&) { EXPECT_TRUE(t.Text(name) == text) << name; };
  };
  const auto nothing = [](CliTest&) {};

  const std::vector<Case> cases = {
      {"a relative name converts beside it", nothing, "convert run.DSC --to Float32", 0, {},
       [whole](const CliTest& t, const RunResult& r) {
         EXPECT_TRUE(t.Text("run.F32") == whole);
         EXPECT_TRUE(Contains(r.out, "run.F32")) << r.out;
       }},
      {"-o takes an exact path, --scans a first scan and a count",
       [](CliTest& t) { fs::create_directory(t.scratch_ / "sub"); },
       "convert run.DSC --to Float32 -o sub/values.raw --scans 10:20", 0, {},
       [whole](const CliTest& t, const RunResult& r) {
         EXPECT_TRUE(t.Text("sub/values.raw") == whole.substr(10 * kMorvaneScanOut, 20 * kMorvaneScanOut));
         EXPECT_TRUE(Contains(r.out, "sub/values.raw")) << r.out;
       }},
      {"-o names a directory: usage error, directory untouched",
       [](CliTest& t) {
         fs::create_directory(t.scratch_ / "outdir");
         t.Write("outdir/keep", "kept");
       },
       "convert run.DSC --to Float32 -o outdir", 2, {"directory"}, holds("outdir/keep", "kept")},
      {"an output path that is a pipe is refused, not moved aside and replaced by a file",
       [](CliTest& t) { ASSERT_EQ(mkfifo((t.scratch_ / "pipe.f32").c_str(), 0600), 0); },
       "convert run.DSC --to Float32 -o pipe.f32", 1, {"pipe.f32", "pipe"},
       [](const CliTest& t, const RunResult&) { EXPECT_TRUE(fs::is_fifo(t.scratch_ / "pipe.f32")); }},
      {"--type morvane on a Tarquil description of a Morvane size is refused",
       [](CliTest& t) {
         t.Sample("--type tarquil --chans 31 tq");
         // 30-byte header + 31 records of 38 bytes = 32-byte header + 21 records of 56 bytes.
         ASSERT_EQ(t.Text("tq.DSC").size(), 1208u);
       },
       "convert tq.DSC --type morvane --to Float32 -o tq.f32", 1, {"tq.DSC", "--type"}, absent("tq.f32")},
      {"a Celdrin description cut to half is refused",
       [](CliTest& t) {
         t.Sample("--type celdrin cel");
         ASSERT_EQ(t.Text("cel.HX$").size(), 316u);
         t.Write("cel.HX$", t.Text("cel.HX$").substr(0, 158));
       },
       "convert 'cel.HX$' --to Float32 -o cel.f32", 1, {"cel.HX$", "range", "--force"}, absent("cel.f32")},
      {"an empty data file fails and keeps the existing output",
       [](CliTest& t) {
         t.Write("run.bin", "");
         t.Write("out.f32", "precious");
       },
       "convert run.DSC --to Float32 -o out.f32", 1, {"empty"}, holds("out.f32", "precious")},
      {"a partial last scan is named and the whole scans converted",
       [runBin](CliTest& t) { t.Write("run.bin", runBin + "12345"); }, "convert run.DSC --to Float32 -o part.f32",
       0, {"partial", "5 bytes"}, holds("part.f32", whole)},
      {"a data file with fewer scans than programmed: the scans present are converted",
       [runBin](CliTest& t) { t.Write("run.bin", runBin.substr(0, 600 * 36)); },
       "convert run.DSC --to Float32 -o cut.f32", 0, {"600 of the 1000", "400 are missing"},
       holds("cut.f32", whole.substr(0, 600 * kMorvaneScanOut))},
      {"a read-only output is not replaced",
       [runBin](CliTest& t) {
         t.Write("run.bin", runBin);
         t.Write("ro.f32", "read-only");
         fs::permissions(t.scratch_ / "ro.f32", fs::perms::owner_read);
       },
       "convert run.DSC --to Float32 -o ro.f32", 1, {"ro.f32", "read-only", "--force"}, holds("ro.f32", "read-only")},
      {"a data file named M2.BIN is found",
       [](CliTest& t) {
         t.Sample("--type morvane --scans 1000 M2");
         fs::rename(t.scratch_ / "M2.bin", t.scratch_ / "M2.BIN");
       },
       "convert M2.DSC --to Float32 -o m2.f32", 0, {}, holds("m2.f32", whole)},
      {"a missing data file names what was tried and suggests --data",
       [](CliTest& t) { fs::rename(t.scratch_ / "M2.BIN", t.scratch_ / "elsewhere.raw"); },
       "convert M2.DSC --to Float32 --type morvane -o m3.f32", 1, {"M2.bin", "any letter case", "--data"},
       absent("m3.f32")},
      {"-o - writes a text format to standard output", nothing, "convert run.DSC --to ASCII --scans 0:3 -o -", 0, {},
       [](const CliTest& t, const RunResult& r) {
         EXPECT_FALSE(fs::exists(t.scratch_ / "-"));
         EXPECT_TRUE(r.out.rfind("Sine\t", 0) == 0) << r.out;
         // A header line of labels, one of units, then one line per scan.
         EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 5) << r.out;
       }},
      {"--chans picks channels by number, range and label in the order given", nothing,
       "convert run.DSC --to Float32 --chans Ramp,0-1 -o ch.f32", 0, {},
       [whole](const CliTest& t, const RunResult&) {
         const std::string picked = t.Text("ch.f32");
         ASSERT_EQ(picked.size(), 1000u * 3 * 4);
         for (size_t s = 0; s < 1000; ++s) {
           const std::string row = whole.substr(s * kMorvaneScanOut, kMorvaneScanOut);
           // "Ramp" is channel 7 of the Morvane sample.
           ASSERT_EQ(picked.substr(s * 12, 12), row.substr(7 * 4, 4) + row.substr(0, 8)) << "scan " << s;
         }
       }},
      {"a batch converts what it can, one line per file, and fails as a whole",
       [](CliTest& t) { fs::create_directory(t.scratch_ / "batch"); },
       "convert run.DSC M2.DSC missing.DSC --to Float32 -d batch -j 2", 1, {"missing.DSC"},
       [whole](const CliTest& t, const RunResult& r) {
         EXPECT_TRUE(t.Text("batch/run.F32") == whole);
         EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
       }},
      {"a sample whose data file name is taken leaves no description behind",
       [](CliTest& t) { fs::create_directory(t.scratch_ / "busy.bin"); }, "sample --type morvane busy", 1,
       {"busy.bin"}, absent("busy.DSC")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    c.prepare(*this);
    const RunResult r = Run(c.args);
    EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
    for (const char* part : c.errHas) EXPECT_TRUE(Contains(r.err, part)) << "wanted '" << part << "' in: " << r.err;
    c.check(*this, r);
  }
}

TEST_F(CliTest, DataFileHeldByAnotherProcessIsSaidSo) {
  Sample("--type morvane --scans 100 run");
  const int fd = open((scratch_ / "run.bin").c_str(), O_RDONLY);
  ASSERT_EQ(flock(fd, LOCK_EX | LOCK_NB), 0);
  const RunResult r = Run("convert run.DSC --to Float32 --type morvane");
  close(fd);
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_TRUE(Contains(r.err, "held by another process")) << r.err;
}

TEST_F(CliTest, SignalsAndFileSizeLimitsRestoreThePreviousOutput) {
  Sample("--type morvane --scans 400000 big");
  for (const int sig : {SIGTERM, SIGHUP, SIGINT}) {
    SCOPED_TRACE(sig);
    Write("out.f32", "precious");
    EXPECT_EQ(KillMidWay(sig).signal, sig);
    EXPECT_EQ(Text("out.f32"), "precious");
    EXPECT_EQ(Backups(), 0);
  }
  // A 64 KiB file-size limit, with SIGXFSZ fatal (handled by the tool) and ignored (writes fail).
  for (const char* prefix : {"ulimit -f 128;", "trap '' XFSZ; ulimit -f 128;"}) {
    SCOPED_TRACE(prefix);
    Write("out.f32", "precious");
    EXPECT_NE(Run("convert big.DSC --to Float32 -o out.f32", prefix).exitCode, 0);
    EXPECT_EQ(Text("out.f32"), "precious");
    EXPECT_EQ(Backups(), 0);
  }
}

}  // namespace
}  // namespace travune::apitest
