// Runs the built travune tool: exit codes, names, what info --json and dump print, and damaged, cut,
// misnamed and held recordings and outputs that must not be lost (messages, files and their bytes).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

size_t Count(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

RunResult FromWaitStatus(int status) {
  RunResult result;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  return result;
}

// Float32 output of a Morvane sample: 15 channels of 4 bytes per scan.
constexpr size_t kMorvaneScanOut = 15 * 4;

class CliTest;

// One run of the tool: its arguments, exit code, text its standard error and output must hold,
// what is prepared before it and what is checked afterwards.
struct Case {
  std::string args;
  int exitCode;
  std::vector<const char*> errHas = {};
  std::vector<const char*> outHas = {};
  std::function<void(CliTest&)> prepare = nullptr;
  std::function<void(const CliTest&, const RunResult&)> check = nullptr;
};

// Public throughout: the table cases prepare and check through it.
class CliTest : public ::testing::Test {
 public:
  void TearDown() override {
    if (held_ >= 0) close(held_);
    fs::permissions(scratch_.Root(), fs::perms::owner_all, fs::perm_options::add);
  }

  // Runs "travune args" in the temporary directory; prefix runs before it in the same shell.
  RunResult Run(const std::string& args, const std::string& prefix = "") const {
    const std::string command = "cd '" + scratch_.Root().string() + "' && " + prefix + " '" TRAVUNE_CLI_PATH "' " +
                                args + " > .stdout 2> .stderr < /dev/null";
    RunResult result = FromWaitStatus(std::system(command.c_str()));
    result.out = Contents(scratch_ / ".stdout");
    result.err = Contents(scratch_ / ".stderr");
    return result;
  }
  void RunCases(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
      SCOPED_TRACE("travune " + c.args);
      if (c.prepare) c.prepare(*this);
      const RunResult r = Run(c.args);
      EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
      for (const char* part : c.errHas) EXPECT_TRUE(Contains(r.err, part)) << "wanted '" << part << "' in: " << r.err;
      for (const char* part : c.outHas) EXPECT_TRUE(Contains(r.out, part)) << "wanted '" << part << "' in: " << r.out;
      if (c.check) c.check(*this, r);
    }
  }
  void Sample(const std::string& args) const { ASSERT_EQ(Run("sample " + args).exitCode, 0) << args; }
  std::string Text(const std::string& name) const { return Contents(scratch_ / name); }
  void Write(const std::string& name, const std::string& text) const {
    fs::create_directories((scratch_ / name).parent_path());
    Store(scratch_ / name, text);
  }

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
  int held_ = -1;  // a descriptor that holds a lock during a case
};

// Arguments and names the tool accepts or refuses: exit codes, what it says and prints, and
// inputs it must not overwrite.
TEST_F(CliTest, ArgumentsGiveTheirExitCodesAndMessages) {
  Sample("--type morvane --scans 1000 run");
  Sample("--type morvane --scans 1000 --pretrig 100 pre");
  const std::string data = Text("run.bin");
  const std::string desc = Text("run.DSC");
  fs::create_hard_link(scratch_ / "run.bin", scratch_ / "alias.f32");
  const std::string viaParent = "../" + scratch_.Root().filename().string() + "/run.bin";
  // A refused source type lists every accepted name.
  const std::vector<const char*> typeNames = {"morvane", "tarquil", "brenlow", "vexmoor", "threnix", "quillon",
                                              "celdrin"};
  RunCases({
      {"", 2}, {"frobnicate", 2}, {"--help", 0}, {"formats", 0}, {"convert run.DSC", 2},
      {"convert run.DSC --to nosuch", 2}, {"convert run.DSC --to Float32 --scans 5:0", 2},
      {"convert run.DSC --to Float32 --scans -1:5", 2}, {"convert missing.DSC --to Float32 --type morvane", 1},
      {"dump run.DSC --chan 15", 1}, {"dump run.DSC --scans 1001:1", 1},
      {"dump run.DSC --chan 7 --scans 0:3", 0, {}, {"scan\tRamp [V]\n"}},
      // Source types by name in any case or by id; "bin", the registry's short name of two
      // source types, is not accepted.
      {"info run.DSC --type MorVane", 0, {}, {"Morvane"}}, {"info run.DSC --type 3", 0, {}, {"Morvane"}},
      {"convert run.DSC --to Float32 --type bin", 2, typeNames},
      {"convert run.DSC --to Float32 --type 9", 2, typeNames},
      // Target formats by short name in any case or by id.
      {"convert run.DSC --to FLOAT32 -o out.f32", 0}, {"convert run.DSC --to 9 -o out.f32", 0},
      // An input is never the output, by any name.
      {"convert run.DSC --to Float32 -o run.bin", 1, {"refusing"}},
      {"convert run.DSC --to Float32 -o ./run.DSC", 1, {"refusing"}},
      {"convert run.DSC --to Float32 -o " + viaParent, 1, {"refusing"}},
      {"convert run.DSC --to Float32 -o alias.f32", 1, {"refusing"}},
      // Samples a type cannot hold are refused before anything is written.
      {"sample --type quillon --stamps x", 2}, {"sample --type morvane --packed x", 2},
      {"sample --type morvane --scans 10 --pretrig 11 x", 2}, {"sample --type morvane --chans 257 x", 2},
      {"sample --type morvane --scans many x", 2},
      // 1000 scans/s: scan 0 lies 0.1 s before the trigger scan, scan 999 0.899 s after it. One
      // line, with the sample's 15 channels.
      {"info pre.DSC --json --type morvane", 0, {},
       {"\"scans\":1000,", "\"preTrigScans\":100,", "\"firstScanTime\":-0.1,", "\"lastScanTime\":0.899,",
        "{\"label\":\"Sine\",\"units\":\"V\",\"lower\":-5,\"upper\":5,\"precision\":4}"},
       nullptr,
       [](const CliTest&, const RunResult& r) {
         EXPECT_EQ(Count(r.out, "\n"), 1u);
         EXPECT_EQ(Count(r.out, "\"label\":"), 15u);
       }},
  });
  EXPECT_EQ(Text("run.bin"), data);
  EXPECT_EQ(Text("run.DSC"), desc);
  EXPECT_FALSE(fs::exists(scratch_ / "x.DSC"));
}

// The printed values read back to the very floats a Float32 conversion writes.
TEST_F(CliTest, DumpPrintsTheConvertedFloats) {
  Sample("--type morvane --scans 1000 run");
  ASSERT_EQ(Run("convert run.DSC --to Float32 -o all.f32").exitCode, 0);
  const std::string all = Text("all.f32");
  const RunResult r = Run("dump run.DSC --scans 990:20 --time");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  std::istringstream lines(r.out);
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  EXPECT_EQ(line.rfind("scan\ttime [s]\tSine [V]\t", 0), 0u) << line;
  EXPECT_EQ(Count(line, "\t"), 16u);  // scan, time and 15 channels
  size_t scan = 990;
  for (; std::getline(lines, line); ++scan) {
    SCOPED_TRACE(line);
    ASSERT_EQ(Count(line, "\t"), 16u);
    std::istringstream cells(line);
    std::string cell;
    ASSERT_TRUE(cells >> cell && cell == std::to_string(scan));
    ASSERT_TRUE(cells >> cell);
    EXPECT_NEAR(std::stod(cell), static_cast<double>(scan) / 1000.0, 1e-9);  // 1000 scans/s, no pre-trigger
    for (size_t c = 0; c < 15 && cells >> cell; ++c) {
      const float printed = std::strtof(cell.c_str(), nullptr);
      EXPECT_EQ(std::memcmp(&printed, all.data() + 4 * (scan * 15 + c), 4), 0) << "channel " << c;
    }
  }
  EXPECT_EQ(scan, 1000u);  // clipped at the 1000th scan
}

// Output naming, damaged, cut, misnamed and held recordings, and outputs that must not be lost.
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
  const auto makeDir = [](const char* name) { return [name](CliTest& t) { fs::create_directory(t.scratch_ / name); }; };
  const auto writing = [](const std::vector<std::pair<std::string, std::string>>& files) {
    return [files](CliTest& t) { for (const auto& [name, text] : files) t.Write(name, text); };
  };
  RunCases({
      // A relative name converts beside it; -o takes an exact path, --scans a first scan and a count.
      {"convert run.DSC --to Float32", 0, {}, {"run.F32"}, nullptr, holds("run.F32", whole)},
      {"convert run.DSC --to Float32 -o sub/values.raw --scans 10:20", 0, {}, {"sub/values.raw"}, makeDir("sub"),
       holds("sub/values.raw", whole.substr(10 * kMorvaneScanOut, 20 * kMorvaneScanOut))},
      // -o naming a directory is a usage error that leaves the directory alone.
      {"convert run.DSC --to Float32 -o outdir", 2, {"directory"}, {}, writing({{"outdir/keep", "kept"}}),
       holds("outdir/keep", "kept")},
      // An output path that is a pipe is refused, not moved aside and replaced by a file.
      {"convert run.DSC --to Float32 -o pipe.f32", 1, {"pipe.f32", "pipe"}, {},
       [](CliTest& t) { ASSERT_EQ(mkfifo((t.scratch_ / "pipe.f32").c_str(), 0600), 0); },
       [](const CliTest& t, const RunResult&) { EXPECT_TRUE(fs::is_fifo(t.scratch_ / "pipe.f32")); }},
      // --type morvane on a Tarquil description of a Morvane size is refused.
      {"convert tq.DSC --type morvane --to Float32 -o tq.f32", 1, {"tq.DSC", "--type"}, {},
       [](CliTest& t) {
         t.Sample("--type tarquil --chans 31 tq");
         // 30-byte header + 31 records of 38 bytes = 32-byte header + 21 records of 56 bytes.
         ASSERT_EQ(t.Text("tq.DSC").size(), 1208u);
       },
       absent("tq.f32")},
      // A Celdrin description cut to half is refused.
      {"convert 'cel.HX$' --to Float32 -o cel.f32", 1, {"cel.HX$", "range", "--force"}, {},
       [](CliTest& t) {
         t.Sample("--type celdrin cel");
         ASSERT_EQ(t.Text("cel.HX$").size(), 316u);
         t.Write("cel.HX$", t.Text("cel.HX$").substr(0, 158));
       },
       absent("cel.f32")},
      // An empty data file fails and keeps the existing output.
      {"convert run.DSC --to Float32 -o out.f32", 1, {"empty"}, {}, writing({{"run.bin", ""}, {"out.f32", "precious"}}),
       holds("out.f32", "precious")},
      // A partial last scan is named and the whole scans converted; of a data file with fewer
      // scans than programmed the scans present are converted.
      {"convert run.DSC --to Float32 -o part.f32", 0, {"partial", "5 bytes"}, {},
       writing({{"run.bin", runBin + "12345"}}), holds("part.f32", whole)},
      {"convert run.DSC --to Float32 -o cut.f32", 0, {"600 of the 1000", "400 are missing"}, {},
       writing({{"run.bin", runBin.substr(0, 600 * 36)}}),
       holds("cut.f32", whole.substr(0, 600 * kMorvaneScanOut))},
      // A read-only output is not replaced.
      {"convert run.DSC --to Float32 -o ro.f32", 1, {"ro.f32", "read-only", "--force"}, {},
       [runBin](CliTest& t) {
         t.Write("run.bin", runBin);
         t.Write("ro.f32", "read-only");
         fs::permissions(t.scratch_ / "ro.f32", fs::perms::owner_read);
       },
       holds("ro.f32", "read-only")},
      // A data file named M2.BIN is found; when missing, what was tried is named and --data suggested.
      {"convert M2.DSC --to Float32 -o m2.f32", 0, {}, {},
       [](CliTest& t) {
         t.Sample("--type morvane --scans 1000 M2");
         fs::rename(t.scratch_ / "M2.bin", t.scratch_ / "M2.BIN");
       },
       holds("m2.f32", whole)},
      {"convert M2.DSC --to Float32 --type morvane -o m3.f32", 1, {"M2.bin", "any letter case", "--data"}, {},
       [](CliTest& t) { fs::rename(t.scratch_ / "M2.BIN", t.scratch_ / "elsewhere.raw"); }, absent("m3.f32")},
      // -o - writes a text format to standard output: a line of labels, one of units, one per scan.
      {"convert run.DSC --to ASCII --scans 0:3 -o -", 0, {}, {}, nullptr,
       [](const CliTest& t, const RunResult& r) {
         EXPECT_FALSE(fs::exists(t.scratch_ / "-"));
         EXPECT_TRUE(r.out.rfind("Sine\t", 0) == 0) << r.out;
         EXPECT_EQ(Count(r.out, "\n"), 5u) << r.out;
       }},
      // --chans picks channels by number, range and label in the order given.
      {"convert run.DSC --to Float32 --chans Ramp,0-1 -o ch.f32", 0, {}, {}, nullptr,
       [whole](const CliTest& t, const RunResult&) {
         const std::string picked = t.Text("ch.f32");
         ASSERT_EQ(picked.size(), 1000u * 3 * 4);
         for (size_t s = 0; s < 1000; ++s) {
           const std::string row = whole.substr(s * kMorvaneScanOut, kMorvaneScanOut);
           // "Ramp" is channel 7 of the Morvane sample.
           ASSERT_EQ(picked.substr(s * 12, 12), row.substr(7 * 4, 4) + row.substr(0, 8)) << "scan " << s;
         }
       }},
      // A batch converts what it can, one line per file, and fails as a whole.
      {"convert run.DSC M2.DSC missing.DSC --to Float32 -d batch -j 2", 1, {"missing.DSC"}, {}, makeDir("batch"),
       [whole](const CliTest& t, const RunResult& r) {
         EXPECT_TRUE(t.Text("batch/run.F32") == whole);
         EXPECT_EQ(Count(r.out, "\n"), 1u) << r.out;
       }},
      // A sample whose data file name is taken leaves no description behind.
      {"sample --type morvane busy", 1, {"busy.bin"}, {}, makeDir("busy.bin"), absent("busy.DSC")},
      // A data file another process holds is said to be held.
      {"convert run.DSC --to Float32 -o held.f32", 1, {"held by another process"}, {},
       [](CliTest& t) {
         t.held_ = open((t.scratch_ / "run.bin").c_str(), O_RDONLY);
         ASSERT_EQ(flock(t.held_, LOCK_EX | LOCK_NB), 0);
       },
       absent("held.f32")},
  });
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
