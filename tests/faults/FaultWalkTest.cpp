// Injected failures: the Nth call of each kind fails in a conversion into each format, a Data File Access
// session and a handle-API conversion; each run gives a documented status, leaves no descriptor, lock or
// temporary file, never reports success with other bytes, and the next run is right. Then the free-space check.
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "platform/FaultInjection.h"
#include "platform/ProcessTraces.h"

namespace travune::apitest {
namespace {

using platform::FaultKind;

// How a run ended. Filled without allocating, because allocations may be failing meanwhile.
struct Outcome {
  const char* undocumentedCall = nullptr;  // the first call whose result is not documented
  int32_t undocumentedStatus = 0;
  bool succeeded = false;

  // Notes the call when its status is not among the documented ones; true when it is.
  bool Check(const char* call, int32_t status, bool documented) {
    if (!documented && undocumentedCall == nullptr) {
      undocumentedCall = call;
      undocumentedStatus = status;
    }
    return documented;
  }
};

bool OneOf(int32_t status, std::initializer_list<int32_t> documented) {
  return std::find(documented.begin(), documented.end(), status) != documented.end();
}

// Enough scans for three blocks of the smallest size, so that later blocks fail too.
constexpr int64_t kScans = 1500;
// Enough for three handle-API blocks, whose reads and writes overlap the formatting.
constexpr int64_t kOverlappedScans = 50000;

// Every input and output name, made before a fault is armed, and what a Data File Access run reads.
struct RunFiles {
  std::vector<std::string> input;
  CvtSteps steps;
  std::vector<float> values;
};

// The conversion functions, with the statuses each may give (a percentage from a block).
Outcome ConvertWithCvt(RunFiles& f) {
  Outcome o;
  const int32_t size = f.steps.Read();
  int32_t opened = -1;
  int32_t percent = -1;
  if (o.Check("cvtReadBinDescFile", size, size >= 0 || OneOf(size, {-1, -1001, -1002, -1005, -1006, -1007})) &&
      size >= 0) {
    opened = f.steps.Init();
    o.Check("cvtInitDataFileEx", opened, OneOf(opened, {0, -1, -1000, -1003, -1004}));
  }
  for (int calls = 0; opened == 0 && calls < 1000 && percent != 100; ++calls) {
    percent = f.steps.Block();
    o.Check("cvtConvertBinData", percent, (percent >= 0 && percent <= 100) || OneOf(percent, {-1, -1002}));
    if (percent < 0) break;
  }
  const int32_t closed = f.steps.Close();
  o.Check("cvtCloseDataFile", closed, OneOf(closed, {0, -1003}));
  o.succeeded = size >= 0 && opened == 0 && percent == 100 && closed == 0;
  return o;
}

// A Data File Access session: open, queries, every value of every channel, close.
Outcome ReadWithDfa(RunFiles& f) {
  Outcome o;
  const int32_t handle = f.steps.DfaOpen();
  o.Check("dfaOpen", handle, handle >= 0 || OneOf(handle, {-1, -2, -11, -12, -13}));
  if (handle < 0) return o;
  int32_t scans = 0;
  char text[64];
  double seconds = 0.0;
  uint32_t delivered = 0;
  bool allOk = true;
  for (const int32_t status : {
           dfaGetAcqInfo(handle, acqNumScans, 0, &scans),
           dfaGetAcqInfo(handle, acqAppTitle, sizeof text, text),
           dfaGetChanInfo(handle, 0, chnLabel, sizeof text, text),
           dfaGetAcqInfo(handle, acqScanTimeRel, 1, &seconds),
           dfaGetData(handle, f.values.data(), 0, static_cast<uint32_t>(kScans), &delivered, csAllChans),
       }) {
    o.Check("a Data File Access query", status, status <= errNoError && status >= errBadHeaderFormat);
    allOk = allOk && status == errNoError;
  }
  const int32_t closed = f.steps.DfaClose();
  o.Check("dfaClose", closed, closed == 1);
  o.succeeded = allOk && scans == kScans && delivered == static_cast<uint32_t>(kScans);
  return o;
}

// A handle-API conversion into the UFF 58 text form, whose channels pass through temporary files.
Outcome ConvertWithTvn(RunFiles& f) {
  Outcome o;
  int32_t opened = TVN_OK;
  const tvnConvOptions options = ConvOptions(f.steps.format, f.steps.output, f.steps.header.c_str());
  const int32_t status = ConvertWithHandles(f.input, f.steps.type, options, &opened);
  o.Check(opened == TVN_OK ? "a handle-API conversion" : "tvnAcqOpen", status,
          status >= TVN_OK && status < TVN_ERR_FAILED);
  o.succeeded = status == TVN_OK;
  return o;
}

struct Session {
  const char* name;
  Outcome (*run)(RunFiles&);
  int32_t format;
  // The ME'scope file is written by the block-writer library, which reports its own failures
  // (allocations inside it fail too) with a message, and the conversion still closes with
  // success: for this writer a success does not promise the whole file.
  bool failureShownAsMessage;
  int64_t scans = kScans;
};

std::vector<Session> AllSessions() {
  std::vector<Session> sessions;
  for (const NamedFormat& f : kEveryFormat) sessions.push_back({f.name, ConvertWithCvt, f.id, f.id == TRAVUNE_FMT_MESCOPE});
  sessions.push_back({"DataFileAccess", ReadWithDfa, 0, false});
  sessions.push_back({"HandleApiUff58Ascii", ConvertWithTvn, TRAVUNE_FMT_UFF58_ASCII, false});
  sessions.push_back({"HandleApiOverlappedFloat32", ConvertWithTvn, TRAVUNE_FMT_FLOAT32, false, kOverlappedScans});
  return sessions;
}

// The kinds of call, in the order of FaultKind.
const char* const kKindNames[] = {"Open", "Read", "Write", "Seek", "Size", "TempFile", "Allocation"};
static_assert(std::size(kKindNames) == static_cast<size_t>(FaultKind::kAllocation) + 1);

// The session's name in test listings, instead of the bytes of the record.
void PrintTo(const Session& session, std::ostream* os) { *os << session.name; }

// Far more calls of one kind than any of these runs makes: a walk that gets here is stuck.
constexpr uint64_t kMostCalls = 100000;

class FaultWalk : public ::testing::TestWithParam<std::tuple<Session, int>> {
 protected:
  void SetUp() override {
    fs::create_directories(scratch_ / "out");
    files_.input = scratch_.Sample(SampleOf(TRAVUNE_SRC_MORVANE, std::get<0>(GetParam()).scans), "RUN");
    ASSERT_EQ(files_.input.size(), 2u);
    files_.steps = CvtSteps(files_.input, (scratch_ / "out" / "result.hdr").string(),
                            (scratch_ / "out" / "result.dat").string(), std::get<0>(GetParam()).format);
    files_.values.resize(static_cast<size_t>(kScans * samples::NumChannels(SampleOf(TRAVUNE_SRC_MORVANE, kScans))));
  }
  void TearDown() override { platform::DisarmFault(); }

  // A run from cleared values.
  Outcome Run() {
    std::fill(files_.values.begin(), files_.values.end(), 0.0f);
    return std::get<0>(GetParam()).run(files_);
  }

  // What a run produced: the output files, or the values a Data File Access run read.
  std::map<std::string, std::string> Result() const {
    std::map<std::string, std::string> result = FilesBelow(scratch_ / "out");
    const auto* values = reinterpret_cast<const char*>(files_.values.data());
    result["values"] = std::string(values, files_.values.size() * sizeof(float));
    return result;
  }

  // No descriptor, lock or temporary file of the run is left.
  void ExpectNothingLeft(int descriptorsBefore) const {
    EXPECT_EQ(CountOpenFileDescriptors(), descriptorsBefore) << "a file descriptor leaked";
    for (const std::string& input : {files_.steps.desc, files_.steps.data}) {
      EXPECT_TRUE(platform::File::OpenRead(input.c_str()).IsOpen()) << input << " is still held";
    }
    for (const auto& [name, bytes] : FilesBelow(scratch_ / "out")) {
      EXPECT_TRUE(platform::File::OpenReadWrite((scratch_ / "out" / name).string().c_str()).IsOpen())
          << name << " is still held";
    }
    EXPECT_EQ(scratch_.TempFilesLeft(), 0) << "temporary files were left";
  }

  Scratch scratch_;
  RunFiles files_;
};

TEST_P(FaultWalk, EveryFailingCallGivesADocumentedStatusAndLeavesNothingBehind) {
  const auto& [session, kind] = GetParam();
  ASSERT_TRUE(Run().succeeded);
  const std::map<std::string, std::string> reference = Result();
  const int descriptors = CountOpenFileDescriptors();

  uint64_t n = 1;
  for (; n < kMostCalls; ++n) {
    SCOPED_TRACE(std::string(kKindNames[kind]) + " call " + std::to_string(n) + " fails");
    platform::ArmFault(static_cast<FaultKind>(kind), n);
    const Outcome faulted = Run();
    const bool fired = platform::FaultFired();
    platform::DisarmFault();

    EXPECT_EQ(faulted.undocumentedCall, nullptr)
        << faulted.undocumentedCall << " gave the undocumented status " << faulted.undocumentedStatus;
    ExpectNothingLeft(descriptors);
    // A failure the library absorbed must not have changed what it produced.
    if (faulted.succeeded && !session.failureShownAsMessage) {
      EXPECT_TRUE(Result() == reference) << "reported success with other output";
    }
    if (!fired) {
      EXPECT_TRUE(faulted.succeeded) << "no call failed, yet the run did not succeed";
      break;
    }
    EXPECT_TRUE(Run().succeeded) << "the next run failed";
    EXPECT_TRUE(Result() == reference) << "the next run produced other output";
    if (::testing::Test::HasFailure()) break;  // one failing position is enough to report
  }
  EXPECT_LT(n, kMostCalls);
  RecordProperty("positions", static_cast<int>(n));
}

constexpr int kKinds = static_cast<int>(std::size(kKindNames));

INSTANTIATE_TEST_SUITE_P(AllSessions, FaultWalk,
                         ::testing::Combine(::testing::ValuesIn(AllSessions()), ::testing::Range(0, kKinds)),
                         [](const ::testing::TestParamInfo<std::tuple<Session, int>>& info) {
                           return std::string(std::get<0>(info.param).name) + "_" + kKindNames[std::get<1>(info.param)];
                         });

// A conversion needing more than is free is refused with -1000 (TVN_ERR_DISK_SPACE in the handle
// API) before any output file is touched; one byte more than it needs is enough.
TEST(FreeSpace, AConversionNeedingMoreThanIsFreeIsRefusedAndTouchesNoFile) {
  constexpr int64_t scans = 1000;
  const Scratch scratch;
  const samples::SampleSpec sample = SampleOf(TRAVUNE_SRC_MORVANE, scans);
  const std::vector<std::string> input = scratch.Sample(sample, "RUN");
  const std::string output = scratch.File("out.dat");
  // Opens a conversion with freeBytes free and closes it again; the open's status.
  const auto openWith = [&](uint64_t freeBytes, int32_t format) {
    const CvtSteps steps(input, scratch.File("fmt.hdr"), output, format);
    EXPECT_GE(steps.Read(), 0);
    platform::SetFreeBytes(freeBytes);
    const int32_t opened = steps.Init();
    platform::ClearFreeBytes();
    steps.Close();
    return opened;
  };
  const int entries = EntriesBelow(scratch.Root()) + 1;  // the earlier output below
  for (const NamedFormat& format : kEveryFormat) {
    SCOPED_TRACE(format.name);
    Store(output, std::string("an earlier file"));
    EXPECT_EQ(openWith(0, format.id), TRAVUNE_ERR_DISK_SPACE);
    EXPECT_EQ(Contents(output), "an earlier file");
    EXPECT_EQ(EntriesBelow(scratch.Root()), entries) << "an output file was created beside the acquisition";
  }
  // Raw floats need four bytes per value: every scan of every channel; one byte more is enough.
  const uint64_t needed = static_cast<uint64_t>(scans) * 4u * static_cast<uint64_t>(samples::NumChannels(sample));
  EXPECT_EQ(openWith(needed, TRAVUNE_FMT_FLOAT32), TRAVUNE_ERR_DISK_SPACE);
  EXPECT_EQ(Contents(output), "an earlier file");
  EXPECT_EQ(openWith(needed + 1, TRAVUNE_FMT_FLOAT32), 0);

  // The handle API sizes its conversion itself.
  fs::remove(output);
  platform::SetFreeBytes(0);
  const int32_t status = ConvertWithHandles(input, TRAVUNE_SRC_MORVANE, ConvOptions(TRAVUNE_FMT_FLOAT32, output));
  platform::ClearFreeBytes();
  EXPECT_EQ(status, TVN_ERR_DISK_SPACE);
  EXPECT_FALSE(fs::exists(output));
}

}  // namespace
}  // namespace travune::apitest
