// Data File Access through its exported functions: handles, opening and detection, every status
// of the queries and reads, and files released on close and at unload (its values and the scan
// times of timed sources: TvnApi.EveryPathReadsTheGeneratorsValues).
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "api/ApiTestKit.h"
#include "api/DfaHandleTable.h"
#include "platform/ProcessTraces.h"

namespace travune::apitest {
namespace {

// Two pages: the first writable, the second read-only. Buffers placed just below the boundary
// are writable for what fits before it and no further.
class GuardedPages {
 public:
  GuardedPages() {
    page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    base_ = static_cast<uint8_t*>(mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base_ + page_, page_, PROT_READ);
  }
  ~GuardedPages() { munmap(base_, 2 * page_); }
  // A pointer with bytes writable bytes before the read-only page.
  void* EndingAfter(size_t bytes) const { return base_ + page_ - bytes; }
  void* ReadOnly() const { return base_ + page_; }

 private:
  size_t page_ = 0;
  uint8_t* base_ = nullptr;
};

class DfaTest : public ::testing::Test {
 protected:
  void TearDown() override {
    const DfaHandleTable* table = TheDfaHandleTable();
    for (int32_t h = 0; table != nullptr && h <= table->MaxHandle(); ++h) dfaClose(h);
  }

  std::vector<std::string> Write(const samples::SampleSpec& sample, const std::string& name) const {
    return scratch_.Sample(sample, name);
  }
  // The sample's description written as name, opened as type.
  int32_t OpenSample(const samples::SampleSpec& sample, const std::string& name, int32_t type) const {
    return dfaOpen(Write(sample, name).at(0).c_str(), type);
  }

  Scratch scratch_;
  const fs::path dir_ = scratch_.Root();
};

int32_t IntAnswer(int32_t h, int32_t request) {
  int32_t value = -12345;
  EXPECT_EQ(dfaGetAcqInfo(h, request, 0, &value), errNoError) << "request " << request;
  return value;
}

// Handles take the lowest free slot and the table grows past sixteen. The load count: only the
// detach that balances the first attach closes every session and releases its files.
TEST_F(DfaTest, HandlesTakeTheLowestFreeSlotAndTheLastDetachClosesThemAll) {
  std::vector<std::vector<std::string>> files;
  for (int i = 0; i < 17; ++i) files.push_back(Write(SampleOf(3, 10), "h" + std::to_string(i)));
  for (int i = 0; i < 17; ++i) EXPECT_EQ(dfaOpen(files[static_cast<size_t>(i)][0].c_str(), sdMorvane), i);
  EXPECT_EQ(dfaGetLastErrorCode(17), errInvalHandle);
  EXPECT_EQ(dfaClose(5), 1);
  EXPECT_EQ(dfaClose(5), 0);
  EXPECT_EQ(dfaGetLastErrorCode(5), errInvalHandle);
  EXPECT_EQ(dfaClose(9), 1);
  EXPECT_EQ(dfaOpen(files[9][0].c_str(), sdMorvane), 5);
  EXPECT_EQ(dfaOpen(files[5][0].c_str(), sdMorvane), 9);
  for (const int32_t bad : {-1, 32, INT32_MIN}) EXPECT_EQ(dfaClose(bad), 0) << bad;

  AttachDataFileAccess();
  DetachDataFileAccess();
  EXPECT_EQ(dfaGetLastErrorCode(16), errNoError);
  EXPECT_FALSE(platform::File::OpenRead(files[16][1].c_str()).IsOpen());
  DetachDataFileAccess();
  EXPECT_EQ(TheDfaHandleTable(), nullptr);
  EXPECT_EQ(dfaGetLastErrorCode(0), errInvalHandle);
  for (const size_t i : {size_t{0}, size_t{16}}) {
    EXPECT_TRUE(platform::File::OpenRead(files[i][0].c_str()).IsOpen()) << i;
    EXPECT_TRUE(platform::File::OpenRead(files[i][1].c_str()).IsOpen()) << i;
  }
  AttachDataFileAccess();
  EXPECT_EQ(dfaOpen(files[0][0].c_str(), sdMorvane), 0);
}

// Opening: each type detected in the recognisers' order and its files held until the close, or
// the failure's code, no handle and no descriptor left.
TEST_F(DfaTest, OpeningDetectsEveryTypeOrGivesTheFailuresCode) {
  const std::vector<std::string> morvane = Write(SampleOf(3, 20), "run");
  const fs::path odd = dir_ / "odd.txt";  // a Morvane description under another extension
  fs::copy_file(morvane[0], odd);
  fs::copy_file(morvane[1], dir_ / "odd.bin");
  const fs::path upper = dir_ / "UP.DSC";  // only an upper-case data file beside it
  fs::copy_file(morvane[0], upper);
  fs::copy_file(morvane[1], dir_ / "UP.BIN");
  const fs::path junk = dir_ / "junk.DSC";
  Store(junk, std::vector<uint8_t>(100, 0xEE));
  fs::copy_file(morvane[1], dir_ / "junk.bin");
  const fs::path noData = dir_ / "lonely.DSC";
  fs::copy_file(morvane[0], noData);
  const std::string tarquil9 = Write(SampleOf(4, 20, 0, 9), "tq")[0];

  const struct { std::string desc; int32_t type; int32_t expected; } cases[] = {
      // Opened: expected is the source data type detected (or named).
      {morvane[0], sdUnknown, sdMorvane},
      {tarquil9, sdUnknown, sdTarquil},
      {Write(SampleOf(8, 20, 0, 0, false, true), "thr")[0], sdUnknown, sdBrenlow},
      {Write(SampleOf(5, 20), "ql")[0], sdUnknown, sdQuillon},
      {Write(SampleOf(6, 20), "RUN")[0], sdUnknown, sdCeldrin},
      // A 7-channel Tarquil description has the size of a Morvane one, whose test comes first.
      {Write(SampleOf(4, 20), "tq7")[0], sdUnknown, sdMorvane},
      {odd.string(), sdMorvane, sdMorvane},  // an explicit type does not look at the extension
      // Refused: expected is the status.
      {(dir_ / "missing.DSC").string(), sdMorvane, errInvalidFileName},
      {morvane[0], 7, errInvalidDataType},
      {junk.string(), sdUnknown, errInvalidDataType},
      {odd.string(), sdUnknown, errInvalidDataType},
      {morvane[0], sdTarquil, errBadHeaderFormat},
      {tarquil9, sdMorvane, errBadHeaderFormat},
      {noData.string(), sdMorvane, errInvalidFileName},
      {upper.string(), sdMorvane, errInvalidFileName},
      // The type is judged before the data file is looked for.
      {noData.string(), 9, errInvalidDataType},
  };
  const int descriptors = CountOpenFileDescriptors();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.desc + " as " + std::to_string(c.type));
    const int32_t h = dfaOpen(c.desc.c_str(), c.type);
    if (c.expected > 0) {
      ASSERT_EQ(h, 0);
      EXPECT_EQ(IntAnswer(h, acqSourceDataType), c.expected);
      EXPECT_EQ(dfaOpen(c.desc.c_str(), c.type), errInvalidFileName);  // the description is held
      EXPECT_EQ(dfaClose(h), 1);
    } else {
      EXPECT_EQ(h, c.expected);
      EXPECT_EQ(dfaGetLastErrorCode(0), errInvalHandle);  // no handle was taken
    }
  }
  EXPECT_EQ(dfaOpen(nullptr, sdMorvane), errInvalidFileName);
  EXPECT_EQ(CountOpenFileDescriptors(), descriptors);
}

// Reads of every status, clipped at the end; a packed block of no scan (a six-byte group past the
// data) and a scan larger than the raw block deliver nothing and succeed.
TEST_F(DfaTest, DataReadStatusesClippingAndCounts) {
  const int32_t m = OpenSample(SampleOf(3, 100), "reads", sdMorvane);  // 15 channels
  const int32_t p = OpenSample(SampleOf(4, 100, 0, 9, true), "packed", sdTarquil);  // 900 samples: 4 | 900
  constexpr int32_t kWide = 33000;  // 66,000-byte scans
  Store(dir_ / "wide.DSC", CounterDescription(kWide, 1, 100.0f));
  Store(dir_ / "wide.bin", std::vector<uint8_t>(2 * kWide, 0));
  const int32_t w = dfaOpen((dir_ / "wide.DSC").string().c_str(), sdMorvane);
  ASSERT_EQ(std::tuple(m, p, w), std::tuple(0, 1, 2));
  EXPECT_EQ(IntAnswer(w, acqNumScans), 1);
  const uint32_t n = 100;
  const GuardedPages pages;
  std::vector<float> big(kWide);
  float* buffer = big.data();
  const auto oneChannelBuffer = [&](size_t floats) { return static_cast<float*>(pages.EndingAfter(4 * floats)); };
  const struct {
    const char* what;
    int32_t h;
    float* out;
    uint32_t first, wanted;
    int32_t chan, status;
    uint32_t count;  // 77777: not touched
  } cases[] = {
      {"all scans", m, buffer, 0, n, csAllChans, errNoError, n},
      {"offset at the end", m, buffer, n, 10, csAllChans, errNoError, 0},
      {"clipped at the end", m, buffer, 90, 50, csAllChans, errNoError, 10},
      {"beyond the end", m, buffer, n + 5, 3, csAllChans, errFileRead, 0},
      {"offset 0xFFFFFFFF", m, buffer, 0xFFFFFFFFu, 1, 0, errInvalidOffset, 0},
      {"channel = count", m, buffer, 0, 1, 15, errInvalidChannel, 77777},
      {"read-only buffer", m, static_cast<float*>(pages.ReadOnly()), 0, 1, 0, errInvalidPointer, 77777},
      {"null buffer, no scan", m, nullptr, 0, 0, 0, errNoError, 0},
      // The buffer is checked for the scans asked for, not the scans there are.
      {"room for the clipped count only", m, oneChannelBuffer(10), 90, 11, 0, errInvalidPointer, 77777},
      {"room for the asked count", m, oneChannelBuffer(11), 90, 11, 0, errNoError, 10},
      {"2^32 bytes asked", m, oneChannelBuffer(16), 0, 0x40000000u, 0, errInvalidPointer, 77777},
      {"0xFFFFFFFF scans of every channel", m, oneChannelBuffer(16), 0, 0xFFFFFFFFu, csAllChans, errInvalidPointer,
       77777},
      {"packed, at the scan count", p, buffer, n, 1, csAllChans, errNoError, 0},
      {"packed, the last scan", p, buffer, n - 1, 1, csAllChans, errNoError, 1},
      {"a scan larger than the block", w, buffer, 0, 1, csAllChans, errNoError, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    uint32_t count = 77777;
    EXPECT_EQ(dfaGetData(c.h, c.out, c.first, c.wanted, &count, c.chan), c.status);
    EXPECT_EQ(count, c.count);
    EXPECT_EQ(dfaGetLastErrorCode(c.h), c.status);
  }
  uint32_t count = 77777;
  EXPECT_EQ(dfaGetData(3, buffer, 0, 1, &count, 0), errInvalHandle);
  EXPECT_EQ(count, 77777u);
  EXPECT_EQ(dfaGetData(m, buffer, 0, 5, nullptr, csAllChans), errNoError);
  // An unwritable count is refused before anything is read.
  EXPECT_EQ(dfaGetData(m, buffer, 0, 5, static_cast<uint32_t*>(pages.ReadOnly()), 0), errInvalidPointer);
}

// The Morvane sample: 15 channels of 4-byte floats, channel 0 a sine of ±5 V with four digits,
// the title "Morvane"; text answers are cut to the buffer and NUL-filled.
TEST_F(DfaTest, AcquisitionChannelAndTextAnswers) {
  const int32_t h = OpenSample(SampleOf(3, 1200, 100), "answers", sdUnknown);
  ASSERT_GE(h, 0);
  const std::pair<int32_t, int32_t> words[] = {
      {acqNumScans, 1200}, {acqScanSize, 4 * 15}, {acqPreTrigCount, 100}, {acqAppTitleLength, 8}};
  for (const auto& [request, expected] : words) EXPECT_EQ(IntAnswer(h, request), expected) << request;
  double lower = 0.0;
  int32_t precision = -9, unitsLength = 0;
  char label[64] = {};
  EXPECT_EQ(dfaGetChanInfo(h, 0, chnRangeLower, 0, &lower), errNoError);
  EXPECT_EQ(dfaGetChanInfo(h, 0, chnPrecision, 0, &precision), errNoError);
  EXPECT_EQ(dfaGetChanInfo(h, 0, chnLabel, sizeof label, label), errNoError);
  EXPECT_EQ(dfaGetChanInfo(h, 0, chnUnitsLength, 0, &unitsLength), errNoError);
  EXPECT_EQ(std::tuple(lower, precision, std::string(label), unitsLength), std::tuple(-5.0, 4, std::string("Sine"), 2));

  const struct { int32_t size; const char* expected; } cuts[] = {{1, ""}, {7, "Morvan"}, {12, "Morvane"}};
  for (const auto& c : cuts) {
    char buffer[16];
    std::memset(buffer, 'x', sizeof buffer);
    ASSERT_EQ(dfaGetAcqInfo(h, acqAppTitle, c.size, buffer), errNoError) << c.size;
    EXPECT_STREQ(buffer, c.expected) << c.size;
    for (int32_t i = static_cast<int32_t>(std::strlen(c.expected)); i < c.size; ++i) EXPECT_EQ(buffer[i], '\0') << i;
    EXPECT_EQ(buffer[c.size], 'x') << "written past " << c.size;
  }
}

// Each failing check returns its code; whether the last error keeps it is part of the contract.
// A Tarquil description with both rates 0 counts scans instead of timing them: it refuses both
// kinds of scan time (the times of timed sources: TvnApi.EveryPathReadsTheGeneratorsValues).
TEST_F(DfaTest, QueryStatusesAndTheLastErrorTheyLeave) {
  const int32_t h = OpenSample(SampleOf(3, 10), "queries", sdMorvane);  // 15 channels, relative times
  const std::vector<std::string> untimed = Write(SampleOf(4, 50, 5, 9), "untimed");
  std::string desc = Contents(untimed[0]);
  desc.replace(10, 8, 8, '\0');
  Store(untimed[0], desc);
  const int32_t u = dfaOpen(untimed[0].c_str(), sdTarquil);
  ASSERT_EQ(std::pair(h, u), std::pair(0, 1));
  const GuardedPages pages;
  int32_t word = 0;
  double number = 0.0;
  char text[8] = {};
  void* readOnly = pages.ReadOnly();
  constexpr int32_t kAcq = -1;        // a dfaGetAcqInfo request, not a channel's
  constexpr int32_t kUntouched = 1;  // the previous last error, errInvalidOption, stays
  const struct {
    const char* what;
    int32_t h, channel, request, option;
    void* buffer;
    int32_t status, lastError;
  } cases[] = {
      {"request -1", h, kAcq, -1, 0, &word, errInvalidRequest, kUntouched},
      {"title into 0 bytes", h, kAcq, acqAppTitle, 0, text, errInvalidOption, kUntouched},
      {"read-only count", h, kAcq, acqNumScans, 0, readOnly, errInvalidPointer, kUntouched},
      {"double 4 bytes before the end", h, kAcq, acqPreTrigRate, 0, pages.EndingAfter(4), errInvalidPointer,
       kUntouched},
      {"title past the end", h, kAcq, acqAppTitle, 8, pages.EndingAfter(7), errInvalidPointer, kUntouched},
      {"absolute time of a relative source", h, kAcq, acqScanTimeAbs, 3, &number, errInvalidOption,
       errInvalidOption},
      {"number of scans", h, kAcq, acqNumScans, 0, &word, errNoError, errNoError},
      {"channel = count, bad request too", h, 15, 99, 0, &word, errInvalidChannel, errNoError},
      {"channel request 7", h, 0, 7, 0, &word, errInvalidRequest, errNoError},
      {"label into 0 bytes", h, 0, chnLabel, 0, text, errInvalidOption, errNoError},
      {"precision", h, 3, chnPrecision, 0, &word, errNoError, errNoError},
      {"absolute time, untimed", u, kAcq, acqScanTimeAbs, 7, &number, errInvalidOption, errInvalidOption},
      {"relative time, untimed", u, kAcq, acqScanTimeRel, 7, &number, errInvalidOption, errInvalidOption},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    // Leave errInvalidOption as the last error first.
    ASSERT_EQ(dfaGetAcqInfo(c.h, acqScanTimeAbs, 0, &number), errInvalidOption);
    number = 42.0;  // no row delivers a double: each leaves it alone
    const int32_t status = c.channel == kAcq ? dfaGetAcqInfo(c.h, c.request, c.option, c.buffer)
                                             : dfaGetChanInfo(c.h, c.channel, c.request, c.option, c.buffer);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(dfaGetLastErrorCode(c.h), c.lastError == kUntouched ? errInvalidOption : c.lastError);
    EXPECT_EQ(number, 42.0);
  }
  ASSERT_EQ(dfaGetAcqInfo(h, acqScanTimeAbs, 0, &number), errInvalidOption);
  EXPECT_EQ(dfaGetAcqInfo(-1, acqNumScans, 0, &word), errInvalHandle);
  EXPECT_EQ(dfaGetChanInfo(99, 0, chnPrecision, 0, &word), errInvalHandle);
  EXPECT_EQ(dfaGetLastErrorCode(h), errInvalidOption);  // an invalid handle touches no session
}

}  // namespace
}  // namespace travune::apitest
