// ME'scope writer with the WrtBlk32 block-writer library: block files written by hand, infinite
// spacing, and every message and failure path (through the library's test build, which fails on demand).
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "qulix.h"
#include "source/SrcFmt.h"
#include "writer/WriterRuns.h"
#include "writer/FakeSource.h"
#include "writer/TgtFmtMEscope.h"
#include "writer/decoders/Decoders.h"

namespace travune {
namespace {

using testing::BlockFile;
using testing::FakeChannel;
using testing::FakeSource;
using testing::ReadBlockFile;

// The test build of the library, held open for the whole test so that an injected failure stays
// in force while the writer loads and unloads the library by name.
class FailingLibrary {
 public:
  FailingLibrary() : module_(platform::LoadModule("wrtblk32_failing")) {}
  ~FailingLibrary() {
    Inject(nullptr, 0, 0, false);
    platform::FreeModule(module_);
  }
  FailingLibrary(const FailingLibrary&) = delete;
  FailingLibrary& operator=(const FailingLibrary&) = delete;

  bool IsLoaded() const { return module_ != nullptr; }
  // After `successes` good calls of entry, it returns result (or throws when raise).
  void Inject(const char* entry, int32_t successes, int16_t result, bool raise) {
    using InjectEntry = void (*)(const char*, int32_t, int16_t, int16_t);
    const auto inject = reinterpret_cast<InjectEntry>(platform::FindSymbol(module_, "WRTBLK32INJECTFAILURE"));
    ASSERT_NE(inject, nullptr);
    inject(entry, successes, result, raise ? 1 : 0);
  }

 private:
  void* module_;
};

// What one writer run did, as the session would see it.
struct WriterRun {
  bool preConverted = false;
  bool tookDataFile = false;
  bool dataFileClosed = false;
  std::vector<int64_t> blocks;  // ConvertDataBlock's results
  std::string messages;         // what the writer showed, one line each
  std::string file;             // the data file after PostConvert; "<missing>" when there is none
};

// Creates the data file, then PreConvert, blocks of at most blockScans over [first, first +
// count), beforeOutput, PostConvert and the close of a data file the writer left open.
WriterRun RunWriter(TgtFmtMEscope& writer, const std::string& dataPath, int64_t first, int64_t count,
                    int64_t blockScans, const std::function<void()>& beforeOutput = [] {}) {
  WriterRun run;
  ::testing::internal::CaptureStderr();
  {
    platform::File data = platform::File::Create(dataPath.c_str());
    EXPECT_TRUE(data.IsOpen());
    EXPECT_TRUE(writer.PrepareBlocks(blockScans));
    run.preConverted = writer.PreConvert(dataPath.c_str(), &data, nullptr, count);
    run.tookDataFile = writer.TookDataFile();
    run.dataFileClosed = !data.IsOpen();
    std::vector<uint8_t> area(static_cast<size_t>(blockScans * writer.OutputBytesPerScan()));
    for (int64_t scan = first; scan < first + count; scan += blockScans) {
      OutputArea out(area.data(), area.size());
      run.blocks.push_back(writer.ConvertDataBlock(std::min(blockScans, first + count - scan), out, scan));
      EXPECT_EQ(out.Size(), 0u);
    }
    beforeOutput();
    EXPECT_TRUE(writer.PostConvert());
  }
  run.messages = ::testing::internal::GetCapturedStderr();
  run.file = std::filesystem::exists(dataPath) ? testing::FileBytes(dataPath) : "<missing>";
  return run;
}

// Two channels whose labels and units carry blanks to be trimmed, three scans.
FakeSource TwoChannelSource() {
  return FakeSource({{" Volts \t", "V "}, {"\r\nTemp", "\tdegC\n"}},
                    {1.5, -2.0, 0.1, 1.0 / 3.0, 1e8, 1e-10});
}

TEST(TgtFmtMEscope, BlockFilesAsTheCallsDescribeThem) {
  // Units and labels trimmed at both ends.
  const auto header = [](const std::string& label, const std::string& spacing) {
    return "Measurement Type\tTime Waveform\r\nLabel\t" + label + "\r\nX Axis Spacing\t" + spacing +
           "\r\nX Axis Units\tSeconds\r\nY Axis Units\tV\tdegC\r\nTrace Labels\tVolts\tTemp\r\n";
  };
  struct Case {
    const char* name;
    const char* dataName;
    bool twoTimeBases;
    int64_t first, count;
    std::string expected;
  };
  const Case cases[] = {
      // Rate 100/s: increment float(0.01); start 1 (the pre-trigger scans), so sample n lies at
      // (n - 1 - 1) * 0.01 s. Values are the nearest floats in their shortest text: 1/3 is
      // 0.333333343..., 1e-10 is the float closest to it.
      {"uniform", "run.blk", false, 0, 3,
       header("RUN", "Uniform") +
           "-0.01\t1.5\t-2\r\n"
           "0\t0.1\t0.33333334\r\n"
           "0.01\t1e+08\t1e-10\r\n"},
      // Only scan 1 converted: the samples of the other scans keep the block's zeros.
      {"scan range", "run.blk", false, 1, 1,
       header("RUN", "Uniform") +
           "-0.01\t0\t0\r\n"
           "0\t0.1\t0.33333334\r\n"
           "0.01\t0\t0\r\n"},
      // 100/s before the trigger at scan 2, 200/s from it: each scan's own time, -0.02, -0.01,
      // 0 and 0.005 s; the label is the base name upper-cased, the file keeps its name.
      {"two time bases", "Mixed.Blk", true, 0, 3,
       header("MIXED", "Non-Uniform") +
           "-0.02\t1.5\t-2\r\n"
           "-0.01\t0.1\t0.33333334\r\n"
           "0\t1e+08\t1e-10\r\n"},
  };
  for (const Case& c : cases) {
    for (const int64_t blockScans : {int64_t{1}, int64_t{2}, int64_t{3}}) {
      SCOPED_TRACE(std::string(c.name) + ", block of " + std::to_string(blockScans));
      FakeSource source = TwoChannelSource();
      if (c.twoTimeBases) source.SetRates(100.0, 200.0);
      source.SetPreTrigCount(c.twoTimeBases ? 2 : 1);
      TgtFmtMEscope writer(&source);
      ASSERT_TRUE(writer.IsOk());
      testing::ScratchDir dir;
      // It takes the data file silently: the "written" and "time refused" rows below.
      EXPECT_EQ(RunWriter(writer, dir.File(c.dataName), c.first, c.count, blockScans).file, c.expected);
    }
  }
}

TEST(TgtFmtMEscope, ScanRateZeroGivesInfiniteSpacingWithoutFailing) {
  // 1 / 0 is +inf: sample n lies at (n - 1) * inf, so 0 * inf (not a number) for the first and
  // +inf after it; the values are untouched.
  FakeSource source = TwoChannelSource();
  source.SetRates(0.0, 0.0);
  TgtFmtMEscope writer(&source);
  testing::ScratchDir dir;
  const WriterRun run = RunWriter(writer, dir.File("zero.blk"), 0, 3, 3);
  EXPECT_TRUE(run.preConverted);
  const BlockFile file = ReadBlockFile(dir.File("zero.blk"));
  ASSERT_TRUE(file.ok) << file.error;
  ASSERT_EQ(file.x.size(), 3u);
  EXPECT_TRUE(std::isnan(file.x[0]));
  EXPECT_EQ(file.x[1], std::numeric_limits<double>::infinity());
  EXPECT_EQ(file.x[2], std::numeric_limits<double>::infinity());
  EXPECT_EQ(file.values[5], static_cast<double>(1e-10f));
}

// How the source is set up, or what happens to the output before it is written.
enum class Scene { kUniform, kTwoRates, kTwoRatesUntimed, kTooManyScans, kDirectoryGone };
// A result that makes the failing library's entry throw instead of returning.
constexpr int16_t kFault = std::numeric_limits<int16_t>::min();

// The file the Qulix driver library was loaded from: a module that has none of the entry points.
std::string QulixLibraryPath() {
  Dl_info info{};
  return ::dladdr(reinterpret_cast<void*>(&QlxRtd), &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
}

TEST(TgtFmtMEscope, EveryMessageAndFailurePath) {
  const std::string load = "Error: Failed to load Vibrant Technologies WrtBlk32 DLL.\n";
  const std::string version = "Error: Vibrant Technologies WrtBlk32 DLL must be version 3.0 or later.\n";
  const std::string timeBases =
      "Error: Selected data uses multiple timebases, but relative time data not supported.\n";
  const std::string tooLarge = "Error: Data set selected for conversion is too large for available PC memory.\n";
  const std::string call = "Error: Failed call to Vibrant Technologies WrtBlk32 DLL.\n";
  const std::string write = "Error: Failed to write converted data disk.\n";
  const double none = 0.0;  // a sample the library never received
  constexpr const char* kReal = "wrtblk32";
  constexpr const char* kFailing = "wrtblk32_failing";
  constexpr const char* kAbsent = "wrtblk32_absent";
  using enum Scene;
  struct Case {
    const char* name;
    const char* module;  // nullptr: a library without the entry points
    Scene scene;
    const char* failingEntry;  // with wrtblk32_failing
    int32_t successes;
    int16_t result;  // or kFault
    bool preConverted;
    std::vector<int64_t> blocks;  // one scan per block
    std::string messages;
    std::vector<double> values;  // the block file's values, when one is written
  };
  const std::vector<double> all = {1.5, -2.0, 0.1f, 1.0f / 3.0f, 1e8, 1e-10f};
  const std::vector<int64_t> ok = {0, 0, 0};
  const std::vector<int64_t> refused = {-1, -1, -1};
  const Case cases[] = {
      {"written", kReal, kUniform, nullptr, 0, 0, true, ok, "", all},
      {"version 3 accepted", kFailing, kUniform, "GETWRTBLOCKVERSION", 0, 3, true, ok, "", all},
      // A failed PreConvert leaves the session's file open: the library cannot write over it,
      // and with no block described it has nothing to write either. Values are refused (-1)
      // once the block was reset.
      {"no library", kAbsent, kUniform, nullptr, 0, 0, false, ok, load, {}},
      {"version 2", kFailing, kUniform, "GETWRTBLOCKVERSION", 0, 2, false, refused, version + write, {}},
      // Times that are scan counts cannot place two rates on one axis. The blocks then stop at
      // the refused x value with 0.
      {"two rates, no times", kReal, kTwoRatesUntimed, nullptr, 0, 0, false, ok, timeBases + write, {}},
      {"too many samples", kReal, kTooManyScans, nullptr, 0, 0, false, refused, tooLarge + write, {}},
      {"too many samples, refused", kFailing, kUniform, "SETDATABLOCKNUMBEROFSAMPLES", 0, 2, false, refused,
       tooLarge + write, {}},
      // Refusals of the block's description end PreConvert without a message of their own.
      {"spacing refused", kFailing, kUniform, "SETDATABLOCKXAXISSPACING", 0, 1, false, refused, write, {}},
      {"data format refused", kFailing, kUniform, "SETDATABLOCKTRACEDATAFORMAT", 0, 1, false, refused, write, {}},
      {"traces refused", kFailing, kUniform, "SETDATABLOCKNUMBEROFTRACES", 0, 1, false, refused, write, {}},
      {"second trace label refused", kFailing, kUniform, "SETTRACELABEL", 1, 1, false, ok, write, {}},
      {"trace units refused", kFailing, kUniform, "SETTRACEMEASUREMENTUNITS", 0, 1, false, ok, write, {}},
      // Results the writer does not rely on.
      {"label refused", kFailing, kUniform, "SETDATABLOCKLABEL", 0, 1, true, ok, "", all},
      {"peak/RMS refused", kFailing, kUniform, "SETDATABLOCKPEAKRMS", 0, 1, true, ok, "", all},
      // A fault inside the library resets the block (so later values are refused) and is
      // reported as a failed call.
      {"fault in trace label", kFailing, kUniform, "SETTRACELABEL", 1, kFault, false, refused, call + write, {}},
      {"fault in version", kFailing, kUniform, "GETWRTBLOCKVERSION", 0, kFault, false, refused, call + write, {}},
      // No INITIALIZEWRTBLOCK: nothing to reset, and no OUTPUTDATABLOCK: no output, no message.
      {"no entry points", nullptr, kUniform, nullptr, 0, 0, false, ok, call, {}},
      // The third value is refused: its block fails, and so does every later one.
      {"value refused", kFailing, kUniform, "SETTRACESAMPLEVALUE", 2, 1, true, {0, -1, -1}, "",
       {1.5, -2.0, none, none, none, none}},
      {"fault in value", kFailing, kUniform, "SETTRACESAMPLEVALUE", 3, kFault, true, ok, "",
       {1.5, -2.0, 0.1f, none, none, none}},
      // A refused time ends its block before its values, with 0.
      {"time refused", kFailing, kTwoRates, "SETDATABLOCKXAXISVALUE", 1, 1, true, ok, "",
       {1.5, -2.0, none, none, none, none}},
      {"output refused", kFailing, kUniform, "OUTPUTDATABLOCK", 0, 3, true, ok, write, {}},
      {"fault in output", kFailing, kUniform, "OUTPUTDATABLOCK", 0, kFault, true, ok, write, {}},
      {"directory gone", kReal, kDirectoryGone, nullptr, 0, 0, true, ok, write, {}},
  };
  FailingLibrary failing;
  ASSERT_TRUE(failing.IsLoaded());
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source = TwoChannelSource();
    source.SetPreTrigCount(1);
    if (c.scene == kTwoRates || c.scene == kTwoRatesUntimed) source.SetRates(100.0, 200.0);
    if (c.scene == kTwoRatesUntimed) source.SetUntimed();
    // 2^27 scans of two traces: with the x values 3 * 2^27 floats, more than a block holds.
    if (c.scene == kTooManyScans) source.SetDataFileSize(16.0 * (1 << 27));
    failing.Inject(c.failingEntry, c.successes, c.result == kFault ? 0 : c.result, c.result == kFault);

    testing::ScratchDir dir;
    const std::filesystem::path subdirectory = dir.File("sub");
    std::filesystem::create_directory(subdirectory);
    const std::string dataPath = (subdirectory / "acq.blk").string();
    TgtFmtMEscope writer(&source, c.module != nullptr ? c.module : QulixLibraryPath());
    const WriterRun run = RunWriter(writer, dataPath, 0, 3, 1, [&] {
      if (c.scene == kDirectoryGone) std::filesystem::remove_all(subdirectory);
    });
    failing.Inject(nullptr, 0, 0, false);

    EXPECT_EQ(run.preConverted, c.preConverted);
    EXPECT_EQ(run.tookDataFile, c.preConverted);
    EXPECT_EQ(run.dataFileClosed, c.preConverted);
    EXPECT_EQ(run.blocks, c.blocks);
    EXPECT_EQ(run.messages, c.messages);
    if (c.scene == kDirectoryGone) {
      EXPECT_EQ(run.file, "<missing>");
    } else if (c.values.empty()) {
      EXPECT_EQ(run.file, "");  // the empty file the session created, never written
    } else {
      const BlockFile file = ReadBlockFile(dataPath);
      ASSERT_TRUE(file.ok) << file.error;
      EXPECT_EQ(file.values, c.values);
    }
  }
}

}  // namespace
}  // namespace travune
