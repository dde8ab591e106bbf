// Runs the built travune tool against damaged, cut, misnamed and locked recordings and against
// outputs that must not be lost: exit status, messages, the files present afterwards and their
// bytes, one table row per case.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

namespace {

namespace fs = std::filesystem;

struct RunResult {
  int exitCode = -1;  // -1 when ended by a signal
  int signal = 0;
  std::string out;
  std::string err;
};

std::string ReadText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteText(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Float32 output of a Morvane sample: 15 channels of 4 bytes per scan.
constexpr size_t kMorvaneScanOut = 15 * 4;

class ConvertCliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-convert-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
  }
  void TearDown() override {
    fs::permissions(dir_, fs::perms::owner_all, fs::perm_options::add);
    fs::remove_all(dir_);
  }

  // Runs "travune args" in the temporary directory; prefix runs before it in the same shell.
  RunResult Run(const std::string& args, const std::string& prefix = "") const {
    const std::string command = "cd '" + dir_.string() + "' && " + prefix + " '" TRAVUNE_CLI_PATH "' " + args +
                                " > .stdout 2> .stderr < /dev/null";
    const int status = std::system(command.c_str());
    RunResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = ReadText(dir_ / ".stdout");
    result.err = ReadText(dir_ / ".stderr");
    return result;
  }

  // Starts a conversion of big.DSC into out.f32, sends sig once the output has data, waits.
  RunResult KillMidWay(int sig) const {
    const pid_t child = fork();
    if (child == 0) {
      if (chdir(dir_.c_str()) != 0) _exit(127);
      const int quiet = open("/dev/null", O_WRONLY);
      dup2(quiet, STDOUT_FILENO);
      dup2(quiet, STDERR_FILENO);
      execl(TRAVUNE_CLI_PATH, "travune", "convert", "big.DSC", "--to", "Float32", "-o", "out.f32",
            static_cast<char*>(nullptr));
      _exit(127);
    }
    std::error_code ec;
    for (int i = 0; i < 6000 && fs::file_size(dir_ / "out.f32", ec) < 100000; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    kill(child, sig);
    int status = 0;
    waitpid(child, &status, 0);
    RunResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return result;
  }

 public:
  void Sample(const std::string& args) const { ASSERT_EQ(Run("sample " + args).exitCode, 0) << args; }

 protected:
  // Hidden backups in the temporary directory.
  int Backups() const {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(dir_)) count += Contains(entry.path().string(), "travune-backup");
    return count;
  }

  fs::path dir_;
};

struct Case {
  const char* name;
  std::function<void(ConvertCliTest&, const fs::path&)> prepare;
  const char* args;
  int exitCode;
  std::vector<const char*> errHas;
  std::function<void(const fs::path&, const RunResult&)> check;
};

TEST_F(ConvertCliTest, DamagedInputsAndProtectedOutputs) {
  const fs::path d = dir_;
  Sample("--type morvane --scans 1000 run");
  ASSERT_EQ(Run("convert run.DSC --to Float32 -o whole.f32").exitCode, 0);
  const std::string whole = ReadText(d / "whole.f32");
  ASSERT_EQ(whole.size(), 1000 * kMorvaneScanOut);
  const std::string runBin = ReadText(d / "run.bin");
  auto restoreRun = [runBin](ConvertCliTest&, const fs::path& dir) { WriteText(dir / "run.bin", runBin); };

  const std::vector<Case> cases = {
      {"-o names a directory: usage error, directory untouched",
       [](ConvertCliTest&, const fs::path& dir) {
         fs::create_directory(dir / "outdir");
         WriteText(dir / "outdir/keep", "kept");
       },
       "convert run.DSC --to Float32 -o outdir", 2, {"directory"},
       [](const fs::path& dir, const RunResult&) {
         EXPECT_TRUE(fs::is_directory(dir / "outdir"));
         EXPECT_EQ(ReadText(dir / "outdir/keep"), "kept");
       }},
      {"--type morvane on a Tarquil description of a Morvane size is refused",
       [](ConvertCliTest& t, const fs::path& dir) {
         t.Sample("--type tarquil --chans 31 tq");
         // 30-byte header + 31 records of 38 bytes = 32-byte header + 21 records of 56 bytes.
         ASSERT_EQ(fs::file_size(dir / "tq.DSC"), 1208u);
       },
       "convert tq.DSC --type morvane --to Float32 -o tq.f32", 1, {"tq.DSC", "--type"},
       [](const fs::path& dir, const RunResult&) { EXPECT_FALSE(fs::exists(dir / "tq.f32")); }},
      {"a Celdrin description cut to half is refused",
       [](ConvertCliTest& t, const fs::path& dir) {
         t.Sample("--type celdrin cel");
         ASSERT_EQ(fs::file_size(dir / "cel.HX$"), 316u);
         fs::resize_file(dir / "cel.HX$", 158);
       },
       "convert 'cel.HX$' --to Float32 -o cel.f32", 1, {"cel.HX$", "range", "--force"},
       [](const fs::path& dir, const RunResult&) { EXPECT_FALSE(fs::exists(dir / "cel.f32")); }},
      {"an empty data file fails and keeps the existing output",
       [](ConvertCliTest&, const fs::path& dir) {
         WriteText(dir / "run.bin", "");
         WriteText(dir / "out.f32", "precious");
       },
       "convert run.DSC --to Float32 -o out.f32", 1, {"empty"},
       [](const fs::path& dir, const RunResult&) { EXPECT_EQ(ReadText(dir / "out.f32"), "precious"); }},
      {"a partial last scan is named and the whole scans converted",
       [runBin](ConvertCliTest&, const fs::path& dir) { WriteText(dir / "run.bin", runBin + "12345"); },
       "convert run.DSC --to Float32 -o part.f32", 0, {"partial", "5 bytes"},
       [whole](const fs::path& dir, const RunResult&) { EXPECT_EQ(ReadText(dir / "part.f32"), whole); }},
      {"a data file with fewer scans than programmed: the scans present are converted",
       [runBin](ConvertCliTest&, const fs::path& dir) {
         WriteText(dir / "run.bin", runBin.substr(0, 600 * 36));
       },
       "convert run.DSC --to Float32 -o cut.f32", 0, {"600 of the 1000", "400 are missing"},
       [whole](const fs::path& dir, const RunResult&) {
         EXPECT_EQ(ReadText(dir / "cut.f32"), whole.substr(0, 600 * kMorvaneScanOut));
       }},
      {"a read-only output is not replaced",
       [restoreRun](ConvertCliTest& t, const fs::path& dir) {
         restoreRun(t, dir);
         WriteText(dir / "ro.f32", "read-only");
         fs::permissions(dir / "ro.f32", fs::perms::owner_read);
       },
       "convert run.DSC --to Float32 -o ro.f32", 1, {"ro.f32", "read-only", "--force"},
       [](const fs::path& dir, const RunResult&) { EXPECT_EQ(ReadText(dir / "ro.f32"), "read-only"); }},
      {"a data file named M2.BIN is found",
       [](ConvertCliTest& t, const fs::path& dir) {
         t.Sample("--type morvane --scans 1000 M2");
         fs::rename(dir / "M2.bin", dir / "M2.BIN");
       },
       "convert M2.DSC --to Float32 -o m2.f32", 0, {},
       [whole](const fs::path& dir, const RunResult&) { EXPECT_EQ(ReadText(dir / "m2.f32"), whole); }},
      {"a missing data file names what was tried and suggests --data",
       [](ConvertCliTest&, const fs::path& dir) { fs::rename(dir / "M2.BIN", dir / "elsewhere.raw"); },
       "convert M2.DSC --to Float32 --type morvane -o m3.f32", 1, {"M2.bin", "any letter case", "--data"},
       [](const fs::path& dir, const RunResult&) { EXPECT_FALSE(fs::exists(dir / "m3.f32")); }},
      {"-o - writes a text format to standard output", [](ConvertCliTest&, const fs::path&) {},
       "convert run.DSC --to ASCII --scans 0:3 -o -", 0, {},
       [](const fs::path& dir, const RunResult& r) {
         EXPECT_FALSE(fs::exists(dir / "-"));
         EXPECT_TRUE(r.out.rfind("Sine\t", 0) == 0) << r.out;
         // A header line of labels, one of units, then one line per scan.
         EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 5) << r.out;
       }},
      {"--chans picks channels by number, range and label in the order given",
       [](ConvertCliTest&, const fs::path&) {}, "convert run.DSC --to Float32 --chans Ramp,0-1 -o ch.f32", 0, {},
       [whole](const fs::path& dir, const RunResult&) {
         const std::string picked = ReadText(dir / "ch.f32");
         ASSERT_EQ(picked.size(), 1000u * 3 * 4);
         for (size_t s = 0; s < 1000; ++s) {
           const std::string row = whole.substr(s * kMorvaneScanOut, kMorvaneScanOut);
           // "Ramp" is channel 7 of the Morvane sample.
           ASSERT_EQ(picked.substr(s * 12, 12), row.substr(7 * 4, 4) + row.substr(0, 8)) << "scan " << s;
         }
       }},
      {"a batch converts what it can, one line per file, and fails as a whole",
       [](ConvertCliTest&, const fs::path& dir) { fs::create_directory(dir / "batch"); },
       "convert run.DSC M2.DSC missing.DSC --to Float32 -d batch -j 2", 1, {"missing.DSC"},
       [whole](const fs::path& dir, const RunResult& r) {
         EXPECT_EQ(ReadText(dir / "batch/run.F32"), whole);
         EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    c.prepare(*this, d);
    const RunResult r = Run(c.args);
    EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
    for (const char* part : c.errHas) EXPECT_TRUE(Contains(r.err, part)) << "wanted '" << part << "' in: " << r.err;
    if (c.check) c.check(d, r);
  }
}

TEST_F(ConvertCliTest, DataFileHeldByAnotherProcessIsSaidSo) {
  Sample("--type morvane --scans 100 run");
  const int fd = open((dir_ / "run.bin").c_str(), O_RDONLY);
  ASSERT_EQ(flock(fd, LOCK_EX | LOCK_NB), 0);
  const RunResult r = Run("convert run.DSC --to Float32 --type morvane");
  close(fd);
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_TRUE(Contains(r.err, "held by another process")) << r.err;
}

TEST_F(ConvertCliTest, SignalsAndFileSizeLimitsRestoreThePreviousOutput) {
  Sample("--type morvane --scans 400000 big");
  for (const int sig : {SIGTERM, SIGHUP, SIGINT}) {
    SCOPED_TRACE(sig);
    WriteText(dir_ / "out.f32", "precious");
    const RunResult r = KillMidWay(sig);
    EXPECT_EQ(r.signal, sig);
    EXPECT_EQ(ReadText(dir_ / "out.f32"), "precious");
    EXPECT_EQ(Backups(), 0);
  }
  // A 64 KiB file-size limit, with SIGXFSZ fatal (handled by the tool) and ignored (writes fail).
  for (const char* prefix : {"ulimit -f 128;", "trap '' XFSZ; ulimit -f 128;"}) {
    SCOPED_TRACE(prefix);
    WriteText(dir_ / "out.f32", "precious");
    const RunResult r = Run("convert big.DSC --to Float32 -o out.f32", prefix);
    EXPECT_NE(r.exitCode, 0);
    EXPECT_EQ(ReadText(dir_ / "out.f32"), "precious");
    EXPECT_EQ(Backups(), 0);
  }
}

}  // namespace
