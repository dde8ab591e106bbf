// Injected failures walked through whole sessions: for every kind of platform call and every
// position N, the Nth call fails during a conversion into each format, a Data File Access session
// and a handle-API conversion. Each run must answer with a documented status, leave no
// descriptor, lock or temporary file behind, never report success with other bytes than a clean
// run, and leave the library able to do the next run correctly.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "api/CvtSession.h"
#include "platform/FaultInjection.h"
#include "platform/Platform.h"
#include "platform/ProcessTraces.h"
#include "samples/Samples.h"
#include "travune/travune.h"

namespace travune::testing {
namespace {

namespace fs = std::filesystem;
using platform::FaultKind;

// How a run ended. Filled without allocating, because allocations may be failing meanwhile.
struct Outcome {
  const char* undocumentedCall = nullptr;  // the first call whose result is not documented
  int32_t undocumentedStatus = 0;
  bool succeeded = false;
};

bool OneOf(int32_t status, std::initializer_list<int32_t> documented) {
  return std::find(documented.begin(), documented.end(), status) != documented.end();
}

void Check(Outcome* outcome, const char* call, int32_t status, bool documented) {
  if (!documented && outcome->undocumentedCall == nullptr) {
    outcome->undocumentedCall = call;
    outcome->undocumentedStatus = status;
  }
}

// Every input and output name, made before a fault is armed.
struct RunFiles {
  std::string desc;
  std::string data;
  std::string outHeader;
  std::string outData;
  int32_t format = 0;
  std::vector<float>* values = nullptr;  // what a Data File Access run reads
};

constexpr int32_t kSourceType = TRAVUNE_SRC_MORVANE;
// Enough scans for three blocks of the smallest size, so that later blocks fail too.
constexpr int64_t kScans = 1500;
constexpr int64_t kBlockBytes = 4096;

// The conversion functions, with the statuses each may give (a percentage from a block).
Outcome ConvertWithCvt(const RunFiles& f) {
  Outcome o;
  const int32_t size = cvtReadBinDescFile(f.desc.c_str(), f.data.c_str(), kSourceType);
  Check(&o, "cvtReadBinDescFile", size, size >= 0 || OneOf(size, {-1, -1001, -1002, -1005, -1006, -1007}));
  int32_t percent = -1;
  int32_t opened = -1;
  if (size >= 0) {
    TheCvtSession().SetStartBlockBytes(kBlockBytes);
    opened = cvtInitDataFileEx(f.outHeader.c_str(), f.outData.c_str(), f.format, 0);
    TheCvtSession().SetStartBlockBytes(0);
    Check(&o, "cvtInitDataFileEx", opened, OneOf(opened, {0, -1, -1000, -1003, -1004}));
  }
  for (int calls = 0; opened == 0 && calls < 1000; ++calls) {
    percent = cvtConvertBinData(f.format);
    Check(&o, "cvtConvertBinData", percent, (percent >= 0 && percent <= 100) || OneOf(percent, {-1, -1002}));
    if (percent < 0 || percent == 100) break;
  }
  const int32_t closed = cvtCloseDataFile(f.format);
  Check(&o, "cvtCloseDataFile", closed, OneOf(closed, {0, -1003}));
  cvtReleaseResources();
  o.succeeded = size >= 0 && opened == 0 && percent == 100 && closed == 0;
  return o;
}

bool IsDfaError(int32_t status) { return status <= errNoError && status >= errBadHeaderFormat; }

// A Data File Access session: open, queries, every value of every channel, close.
Outcome ReadWithDfa(const RunFiles& f) {
  Outcome o;
  const int32_t handle = dfaOpen(f.desc.c_str(), sdMorvane);
  Check(&o, "dfaOpen", handle, handle >= 0 || OneOf(handle, {-1, -2, -11, -12, -13}));
  if (handle < 0) return o;
  int32_t scans = 0;
  char title[64];
  char label[64];
  double seconds = 0.0;
  uint32_t delivered = 0;
  const int32_t statuses[] = {
      dfaGetAcqInfo(handle, acqNumScans, 0, &scans),
      dfaGetAcqInfo(handle, acqAppTitle, sizeof title, title),
      dfaGetChanInfo(handle, 0, chnLabel, sizeof label, label),
      dfaGetAcqInfo(handle, acqScanTimeRel, 1, &seconds),
      dfaGetData(handle, f.values->data(), 0, static_cast<uint32_t>(kScans), &delivered, csAllChans),
  };
  bool allOk = true;
  for (int32_t status : statuses) {
    Check(&o, "a Data File Access query", status, IsDfaError(status));
    allOk = allOk && status == errNoError;
  }
  const int32_t closed = dfaClose(handle);
  Check(&o, "dfaClose", closed, closed == 1);
  o.succeeded = allOk && scans == kScans && delivered == static_cast<uint32_t>(kScans);
  return o;
}

bool IsTvnStatus(int32_t status) { return status >= TVN_OK && status <= TVN_ERR_FAILED; }

// A handle-API conversion into the UFF 58 text form, whose channels pass through temporary files.
Outcome ConvertWithTvn(const RunFiles& f) {
  Outcome o;
  tvnAcq* acq = nullptr;
  const int32_t opened = tvnAcqOpen(f.desc.c_str(), f.data.c_str(), kSourceType, &acq);
  Check(&o, "tvnAcqOpen", opened, IsTvnStatus(opened) && opened != TVN_ERR_FAILED);
  if (opened != TVN_OK) return o;
  tvnConvOptions options{};
  options.format = f.format;
  options.dataName = f.outData.c_str();
  options.headerName = f.outHeader.c_str();
  options.count = -1;
  tvnConv* conv = nullptr;
  int32_t status = tvnConvOpen(acq, &options, &conv);
  Check(&o, "tvnConvOpen", status, IsTvnStatus(status) && status != TVN_ERR_FAILED);
  if (status == TVN_OK) {
    status = tvnConvRun(conv, nullptr, nullptr);
    Check(&o, "tvnConvRun", status, IsTvnStatus(status) && status != TVN_ERR_FAILED);
    const int32_t finished = tvnConvFinish(conv);
    Check(&o, "tvnConvFinish", finished, IsTvnStatus(finished) && finished != TVN_ERR_FAILED);
    if (status == TVN_OK) status = finished;
  }
  tvnConvClose(conv);
  tvnAcqClose(acq);
  o.succeeded = status == TVN_OK;
  return o;
}

using Run = Outcome (*)(const RunFiles&);

struct Session {
  const char* name;
  Run run;
  int32_t format;
  // The ME'scope file is written by the block-writer library, which reports its own failures
  // (allocations inside it fail too) with a message, and the conversion still closes with
  // success: for this writer a success does not promise the whole file.
  bool failureShownAsMessage = false;
};

const Session kSessions[] = {
    {"Halvard", ConvertWithCvt, TRAVUNE_FMT_HALVARD},
    {"Ascii", ConvertWithCvt, TRAVUNE_FMT_ASCII},
    {"SnapMaster", ConvertWithCvt, TRAVUNE_FMT_SNAPMASTER},
    {"DADiSP", ConvertWithCvt, TRAVUNE_FMT_DADISP},
    {"DASYLab", ConvertWithCvt, TRAVUNE_FMT_DASYLAB},
    {"DIAdem", ConvertWithCvt, TRAVUNE_FMT_DIADEM},
    {"Matlab", ConvertWithCvt, TRAVUNE_FMT_MATLAB},
    {"Float32", ConvertWithCvt, TRAVUNE_FMT_FLOAT32},
    {"Text", ConvertWithCvt, TRAVUNE_FMT_TEXT},
    {"Uff58Ascii", ConvertWithCvt, TRAVUNE_FMT_UFF58_ASCII},
    {"Uff58Binary", ConvertWithCvt, TRAVUNE_FMT_UFF58_BINARY},
    {"Wav", ConvertWithCvt, TRAVUNE_FMT_WAV},
    {"MEscope", ConvertWithCvt, TRAVUNE_FMT_MESCOPE, true},
    {"Pernix", ConvertWithCvt, TRAVUNE_FMT_PERNIX},
    {"DataFileAccess", ReadWithDfa, 0},
    {"HandleApiUff58Ascii", ConvertWithTvn, TRAVUNE_FMT_UFF58_ASCII},
};

struct Kind {
  const char* name;
  FaultKind kind;
};

const Kind kKinds[] = {
    {"Open", FaultKind::kOpen},         {"Read", FaultKind::kRead},
    {"Write", FaultKind::kWrite},       {"Seek", FaultKind::kSeek},
    {"Size", FaultKind::kSize},         {"TempFile", FaultKind::kTempFile},
    {"Allocation", FaultKind::kAllocation},
};

// Names for test listings, instead of the bytes of the records.
void PrintTo(const Session& session, std::ostream* os) { *os << session.name; }
void PrintTo(const Kind& kind, std::ostream* os) { *os << kind.name; }

// Far more calls of one kind than any of these runs makes: a walk that gets here is stuck.
constexpr uint64_t kMostCalls = 100000;

platform::LocalTime FixedClock() { return {2003, 1, 2, 14, 30, 5, 250}; }

class FaultWalk : public ::testing::TestWithParam<std::tuple<Session, Kind>> {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-faults-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    fs::create_directories(root_ / "in");
    fs::create_directories(root_ / "out");
    fs::create_directories(root_ / "tmp");
    // UFF channel files go to a directory of this test only, so that leftovers show.
    const char* previous = getenv("TMPDIR");
    if (previous != nullptr) previousTmpDir_ = previous;
    hadTmpDir_ = previous != nullptr;
    setenv("TMPDIR", (root_ / "tmp").c_str(), 1);
    platform::SetClock(FixedClock);

    samples::SampleSpec sample;
    sample.type = kSourceType;
    sample.scans = kScans;
    std::vector<std::string> written;
    std::string error;
    ASSERT_TRUE(samples::WriteSample(sample, (root_ / "in" / "RUN").string(), &written, &error)) << error;
    values_.assign(static_cast<size_t>(kScans * samples::NumChannels(sample)), 0.0f);
    files_.desc = written[0];
    files_.data = written[1];
    files_.outHeader = (root_ / "out" / "result.hdr").string();
    files_.outData = (root_ / "out" / "result.dat").string();
    files_.format = std::get<0>(GetParam()).format;
    files_.values = &values_;
  }

  void TearDown() override {
    platform::DisarmFault();
    platform::SetClock(nullptr);
    if (hadTmpDir_) {
      setenv("TMPDIR", previousTmpDir_.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  // What a run produced: the output files, or the values a Data File Access run read.
  std::map<std::string, std::string> Result() const {
    std::map<std::string, std::string> result = FilesBelow(root_ / "out");
    result["values"] = std::string(reinterpret_cast<const char*>(values_.data()), values_.size() * sizeof(float));
    return result;
  }

  // No descriptor, lock or temporary file of the run is left.
  void ExpectNothingLeft(int descriptorsBefore) const {
    EXPECT_EQ(CountOpenFileDescriptors(), descriptorsBefore) << "a file descriptor leaked";
    for (const std::string& input : {files_.desc, files_.data}) {
      EXPECT_TRUE(platform::File::OpenRead(input.c_str()).IsOpen()) << input << " is still held";
    }
    for (const auto& [name, bytes] : FilesBelow(root_ / "out")) {
      EXPECT_TRUE(platform::File::OpenReadWrite((root_ / "out" / name).c_str()).IsOpen()) << name << " is still held";
    }
    EXPECT_EQ(EntriesBelow(root_ / "tmp"), 0) << "temporary files were left";
  }

  fs::path root_;
  RunFiles files_;
  std::vector<float> values_;
  bool hadTmpDir_ = false;
  std::string previousTmpDir_;
};

TEST_P(FaultWalk, EveryFailingCallGivesADocumentedStatusAndLeavesNothingBehind) {
  const auto& [session, kind] = GetParam();
  const Outcome clean = session.run(files_);
  ASSERT_TRUE(clean.succeeded);
  const std::map<std::string, std::string> reference = Result();
  const int descriptors = CountOpenFileDescriptors();

  uint64_t n = 1;
  for (; n < kMostCalls; ++n) {
    SCOPED_TRACE(std::string(kind.name) + " call " + std::to_string(n) + " fails");
    std::fill(values_.begin(), values_.end(), 0.0f);
    platform::ArmFault(kind.kind, n);
    const Outcome faulted = session.run(files_);
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
    std::fill(values_.begin(), values_.end(), 0.0f);
    EXPECT_TRUE(session.run(files_).succeeded) << "the next run failed";
    EXPECT_TRUE(Result() == reference) << "the next run produced other output";
    if (::testing::Test::HasFailure()) break;  // one failing position is enough to report
  }
  EXPECT_LT(n, kMostCalls);
  RecordProperty("positions", static_cast<int>(n));
}

std::string WalkName(const ::testing::TestParamInfo<std::tuple<Session, Kind>>& info) {
  return std::string(std::get<0>(info.param).name) + "_" + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(AllSessions, FaultWalk,
                         ::testing::Combine(::testing::ValuesIn(kSessions), ::testing::ValuesIn(kKinds)), WalkName);

}  // namespace
}  // namespace travune::testing
