// Data File Access through its exported functions: handles, opening and detection, every status
// of the queries and reads where it arises, values equal to a conversion of the same scans and to
// the generator's own numbers, scan times of absolute, relative and untimed sources, and files
// released on close and at unload.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/DfaHandleTable.h"
#include "platform/Platform.h"
#include "samples/Samples.h"
#include "support/ByteBuilder.h"
#include "support/LittleEndian.h"
#include "travune/travune.h"

namespace travune {
namespace {

namespace fs = std::filesystem;
using samples::SampleSpec;

SampleSpec SampleOf(int type, int64_t scans, int64_t preTrig = 0, int chans = 0, bool packed = false,
                bool stamps = false) {
  SampleSpec sample;
  sample.type = type;
  sample.scans = scans;
  sample.preTrig = preTrig;
  sample.chans = chans;
  sample.packed = packed;
  sample.stamps = stamps;
  return sample;
}

struct Variant {
  const char* name;
  SampleSpec sample;
};

// Every Data File Access type with its variants; Tarquil with 9 channels, as a 7-channel
// Tarquil description has exactly the size of a Morvane one.
const Variant kVariants[] = {
    {"morvane", SampleOf(3, 1200, 100)},
    {"morvane18", SampleOf(3, 700, 0, 18)},
    {"tarquil9", SampleOf(4, 1200, 100, 9)},
    {"tarquilPacked", SampleOf(4, 1001, 50, 9, true)},
    {"brenlow", SampleOf(2, 1200, 100)},
    {"brenlowStamps", SampleOf(2, 1200, 100, 0, false, true)},
    {"quillon", SampleOf(5, 1200, 100)},
    {"celdrin", SampleOf(6, 1200, 100)},
    {"celdrinStamps", SampleOf(6, 1200, 100, 0, false, true)},
};

std::vector<uint8_t> FileBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteBytes(const fs::path& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

int OpenDescriptors() {
  return static_cast<int>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

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
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "travune-dfa-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
  }
  void TearDown() override {
    const DfaHandleTable* table = TheDfaHandleTable();
    for (int32_t h = 0; table != nullptr && h <= table->MaxHandle(); ++h) dfaClose(h);
    fs::remove_all(dir_);
  }

  // Writes the sample at dir/name; its description and data file names.
  std::vector<std::string> Write(const SampleSpec& sample, const std::string& name) const {
    std::vector<std::string> files;
    std::string error;
    EXPECT_TRUE(samples::WriteSample(sample, (dir_ / name).string(), &files, &error)) << error;
    return files;
  }

  // The sample's description written at dir/name; opened as type it must give a handle.
  int32_t OpenSample(const SampleSpec& sample, const std::string& name, int32_t type) const {
    const std::vector<std::string> files = Write(sample, name);
    return files.empty() ? -100 : dfaOpen(files[0].c_str(), type);
  }

  fs::path dir_;
};

int32_t IntAnswer(int32_t h, int32_t request) {
  int32_t value = -12345;
  EXPECT_EQ(dfaGetAcqInfo(h, request, 0, &value), errNoError) << "request " << request;
  return value;
}

std::vector<float> ReadAll(int32_t h, uint32_t first, uint32_t count, int32_t chan, int32_t chans) {
  std::vector<float> values(static_cast<size_t>(count) * static_cast<size_t>(chan == csAllChans ? chans : 1));
  uint32_t delivered = 0;
  EXPECT_EQ(dfaGetData(h, values.data(), first, count, &delivered, chan), errNoError);
  EXPECT_EQ(delivered, count);
  return values;
}

// The raw-float conversion of every scan, through the conversion functions.
std::vector<float> Converted(const std::vector<std::string>& files, int32_t type, const fs::path& output) {
  std::vector<float> values;
  if (cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), type) < 0) return values;
  const std::string out = output.string();
  if (cvtInitDataFileEx(out.c_str(), out.c_str(), TRAVUNE_FMT_FLOAT32, 0) == 0) {
    int32_t percent = 0;
    while (percent >= 0 && percent < 100) percent = cvtConvertBinData(TRAVUNE_FMT_FLOAT32);
    cvtCloseDataFile(TRAVUNE_FMT_FLOAT32);
  }
  cvtReleaseResources();
  const std::vector<uint8_t> bytes = FileBytes(output);
  for (size_t i = 0; i + 4 <= bytes.size(); i += 4) values.push_back(le::F32(&bytes[i]));
  return values;
}

bool SameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// ---- handles ----------------------------------------------------------------------------

TEST_F(DfaTest, HandlesTakeTheLowestFreeSlotAndTheTableGrowsPastSixteen) {
  std::vector<std::string> descs;
  for (int i = 0; i < 17; ++i) descs.push_back(Write(SampleOf(3, 10), "h" + std::to_string(i))[0]);
  for (int i = 0; i < 17; ++i) EXPECT_EQ(dfaOpen(descs[static_cast<size_t>(i)].c_str(), sdMorvane), i);
  for (int32_t h = 17; h <= 32; ++h) EXPECT_EQ(dfaGetLastErrorCode(h), errInvalHandle) << h;
  EXPECT_EQ(dfaGetLastErrorCode(16), errNoError);

  EXPECT_EQ(dfaClose(5), 1);
  EXPECT_EQ(dfaClose(5), 0);
  EXPECT_EQ(dfaGetLastErrorCode(5), errInvalHandle);
  EXPECT_EQ(dfaClose(9), 1);
  EXPECT_EQ(dfaOpen(descs[9].c_str(), sdMorvane), 5);
  EXPECT_EQ(dfaOpen(descs[5].c_str(), sdMorvane), 9);
  EXPECT_EQ(dfaOpen(Write(SampleOf(3, 10), "h17")[0].c_str(), sdMorvane), 17);
  for (const int32_t bad : {-1, 32, 1000, INT32_MIN}) EXPECT_EQ(dfaClose(bad), 0) << bad;
  for (int32_t h = 0; h <= 17; ++h) EXPECT_EQ(dfaClose(h), 1) << h;
  EXPECT_EQ(dfaOpen(descs[3].c_str(), sdMorvane), 0);
}

TEST_F(DfaTest, AHeldAcquisitionCannotBeOpenedAgainUntilClosed) {
  const std::vector<std::string> files = Write(SampleOf(3, 50), "held");
  const int32_t h = dfaOpen(files[0].c_str(), sdMorvane);
  ASSERT_EQ(h, 0);
  EXPECT_EQ(dfaOpen(files[0].c_str(), sdMorvane), errInvalidFileName);
  EXPECT_EQ(dfaOpen(files[0].c_str(), sdUnknown), errInvalidFileName);
  // Both files are held: a conversion can open neither.
  EXPECT_EQ(cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), TRAVUNE_SRC_MORVANE), TRAVUNE_ERR_DESC_OPEN);
  EXPECT_FALSE(platform::File::OpenRead(files[1].c_str()).IsOpen());
  EXPECT_EQ(dfaClose(h), 1);
  EXPECT_EQ(dfaOpen(files[0].c_str(), sdMorvane), 0);
}

TEST_F(DfaTest, NoFileStaysOpenAfterCloseOrAFailedOpen) {
  const std::vector<std::string> good = Write(SampleOf(3, 50), "good");
  const std::vector<std::string> celdrin = Write(SampleOf(6, 50, 0, 0, false, true), "chart");
  const std::vector<std::string> tarquil = Write(SampleOf(4, 50, 0, 9), "tq");
  const std::vector<std::string> noData = Write(SampleOf(3, 50), "nodata");
  fs::remove(noData[1]);
  const int before = OpenDescriptors();
  for (int round = 0; round < 3; ++round) {
    const int32_t a = dfaOpen(good[0].c_str(), sdUnknown);
    const int32_t b = dfaOpen(celdrin[0].c_str(), sdCeldrin);
    EXPECT_GE(a, 0);
    EXPECT_GE(b, 0);
    EXPECT_EQ(dfaOpen(noData[0].c_str(), sdMorvane), errInvalidFileName);
    EXPECT_EQ(dfaOpen(tarquil[0].c_str(), sdMorvane), errBadHeaderFormat);
    EXPECT_EQ(dfaClose(a), 1);
    EXPECT_EQ(dfaClose(b), 1);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

// The load count: only the detach that balances the first attach closes the sessions.
TEST_F(DfaTest, TheLastDetachClosesEveryOpenSession) {
  const std::vector<std::string> files = Write(SampleOf(3, 50), "unload");
  ASSERT_EQ(dfaOpen(files[0].c_str(), sdMorvane), 0);
  AttachDataFileAccess();
  DetachDataFileAccess();
  EXPECT_EQ(dfaGetLastErrorCode(0), errNoError);
  EXPECT_FALSE(platform::File::OpenRead(files[1].c_str()).IsOpen());

  DetachDataFileAccess();
  EXPECT_EQ(TheDfaHandleTable(), nullptr);
  EXPECT_EQ(dfaGetLastErrorCode(0), errInvalHandle);
  EXPECT_TRUE(platform::File::OpenRead(files[1].c_str()).IsOpen());
  EXPECT_TRUE(platform::File::OpenRead(files[0].c_str()).IsOpen());

  AttachDataFileAccess();
  EXPECT_EQ(dfaOpen(files[0].c_str(), sdMorvane), 0);
}

// ---- opening ------------------------------------------------------------------------------

TEST_F(DfaTest, OpenFailuresGiveTheirCodesAndUseNoHandle) {
  const std::vector<std::string> morvane = Write(SampleOf(3, 20), "run");
  const std::vector<std::string> tarquil = Write(SampleOf(4, 20, 0, 9), "tq");
  const fs::path odd = dir_ / "odd.txt";  // a Morvane description under another extension
  fs::copy_file(morvane[0], odd);
  fs::copy_file(morvane[1], dir_ / "odd.bin");
  const fs::path upper = dir_ / "UP.DSC";  // only an upper-case data file beside it
  fs::copy_file(morvane[0], upper);
  fs::copy_file(morvane[1], dir_ / "UP.BIN");
  const fs::path junk = dir_ / "junk.DSC";
  WriteBytes(junk, std::vector<uint8_t>(100, 0xEE));
  fs::copy_file(morvane[1], dir_ / "junk.bin");
  const fs::path noData = dir_ / "lonely.DSC";
  fs::copy_file(morvane[0], noData);
  const std::string longName = (dir_ / (std::string(200, 'n') + ".DSC")).string();
  fs::copy_file(morvane[0], longName);

  const struct {
    std::string desc;
    int32_t type;
    int32_t expected;
  } cases[] = {
      {(dir_ / "missing.DSC").string(), sdMorvane, errInvalidFileName},
      {morvane[0], 0, errInvalidDataType},
      {morvane[0], 7, errInvalidDataType},
      {morvane[0], -1, errInvalidDataType},
      {junk.string(), sdUnknown, errInvalidDataType},
      {odd.string(), sdUnknown, errInvalidDataType},
      {odd.string(), sdMorvane, errNoError},  // an explicit type does not look at the extension
      {tarquil[0], sdMorvane, errBadHeaderFormat},
      {morvane[0], sdTarquil, errBadHeaderFormat},
      {noData.string(), sdMorvane, errInvalidFileName},
      {upper.string(), sdMorvane, errInvalidFileName},
      {longName, sdMorvane, errInvalidFileName},
      // The type is judged before the data file is looked for.
      {noData.string(), 9, errInvalidDataType},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.desc + " as " + std::to_string(c.type));
    const int32_t h = dfaOpen(c.desc.c_str(), c.type);
    if (c.expected == errNoError) {
      EXPECT_EQ(h, 0);
      EXPECT_EQ(dfaClose(h), 1);
    } else {
      EXPECT_EQ(h, c.expected);
      EXPECT_EQ(dfaGetLastErrorCode(0), errInvalHandle);  // no handle was taken
    }
  }
  EXPECT_EQ(dfaOpen(nullptr, sdMorvane), errInvalidFileName);
}

TEST_F(DfaTest, DetectionFindsEveryTypeInItsOrder) {
  const struct {
    const char* name;
    SampleSpec sample;
    int32_t detected;
  } cases[] = {
      {"DATA", SampleOf(3, 20), sdMorvane},        {"tq", SampleOf(4, 20, 0, 9), sdTarquil},
      {"packed", SampleOf(4, 20, 0, 9, true), sdTarquil}, {"br", SampleOf(2, 20), sdBrenlow},
      {"vex", SampleOf(7, 20), sdBrenlow},         {"thr", SampleOf(8, 20, 0, 0, false, true), sdBrenlow},
      {"ql", SampleOf(5, 20), sdQuillon},          {"RUN", SampleOf(6, 20), sdCeldrin},
      // A 7-channel Tarquil description has the size of a Morvane one, whose test comes first.
      {"tq7", SampleOf(4, 20), sdMorvane},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const int32_t h = OpenSample(c.sample, c.name, sdUnknown);
    ASSERT_GE(h, 0);
    EXPECT_EQ(IntAnswer(h, acqSourceDataType), c.detected);
    EXPECT_EQ(dfaClose(h), 1);
  }
  // The Celdrin data file is the description's base name with ".hxt" beside it.
  EXPECT_TRUE(fs::exists(dir_ / "RUN.HX$"));
  EXPECT_TRUE(fs::exists(dir_ / "RUN.hxt"));
}

TEST_F(DfaTest, ARelativeNameOpensItsDataFileInTheWorkingDirectory) {
  Write(SampleOf(3, 20), "rel");
  const fs::path previous = fs::current_path();
  fs::current_path(dir_);
  const int32_t h = dfaOpen("rel.DSC", sdUnknown);
  fs::current_path(previous);
  ASSERT_EQ(h, 0);
  EXPECT_EQ(IntAnswer(h, acqNumScans), 20);
}

// The names "travune sample OUT" writes open for every type that the interface reads.
TEST_F(DfaTest, TheSampleToolsFilesOpenByTheirNames) {
  const struct {
    const char* type;
    const char* desc;
    int32_t sdt;
  } cases[] = {{"brenlow", "b.DSC", sdBrenlow}, {"morvane", "m.DSC", sdMorvane}, {"tarquil", "t.DSC", sdTarquil},
               {"quillon", "q.DSC", sdQuillon}, {"celdrin", "c.HX$", sdCeldrin}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    const std::string prefix(c.desc, 1);
    const std::string command = "cd '" + dir_.string() + "' && '" TRAVUNE_CLI_PATH "' sample --type " + c.type +
                                " --scans 30 " + prefix + " > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const int32_t h = dfaOpen((dir_ / c.desc).string().c_str(), c.sdt);
    ASSERT_GE(h, 0) << h;
    EXPECT_EQ(IntAnswer(h, acqNumScans), 30);
    EXPECT_EQ(dfaClose(h), 1);
  }
}

// ---- values ---------------------------------------------------------------------------------

TEST_F(DfaTest, EveryValueEqualsTheConversionAndTheGeneratorsNumber) {
  for (const Variant& v : kVariants) {
    SCOPED_TRACE(v.name);
    const std::vector<std::string> files = Write(v.sample, v.name);
    const std::vector<float> converted = Converted(files, v.sample.type, dir_ / "out.f32");
    const int32_t h = dfaOpen(files[0].c_str(), v.sample.type);
    ASSERT_GE(h, 0);
    const int32_t chans = samples::NumChannels(v.sample);
    const uint32_t scans = static_cast<uint32_t>(v.sample.scans);
    ASSERT_EQ(IntAnswer(h, acqNumChans), chans);
    const std::vector<float> all = ReadAll(h, 0, scans, csAllChans, chans);
    ASSERT_EQ(all.size(), converted.size());
    int mismatches = 0;
    for (size_t i = 0; i < all.size() && mismatches < 5; ++i) {
      const int64_t scan = static_cast<int64_t>(i) / chans;
      const int chan = static_cast<int>(i % static_cast<size_t>(chans));
      const double expected = samples::ExpectedValue(v.sample, scan, chan);
      // One rounding to float; the generator's formula may differ from the source's in the
      // last bits of the double.
      const bool near = std::fabs(all[i] - expected) <= std::ldexp(std::fabs(expected), -22) + 1e-30;
      if (!SameBits(all[i], converted[i]) || !near) {
        ++mismatches;
        ADD_FAILURE() << "scan " << scan << " channel " << chan << ": read " << all[i] << ", converted "
                      << converted[i] << ", generator " << expected;
      }
    }
    // Each channel alone gives the column of the whole scans, the temperature channels included.
    for (int32_t chan = 0; chan < chans; ++chan) {
      const std::vector<float> one = ReadAll(h, 0, scans, chan, chans);
      for (uint32_t s = 0; s < scans; ++s) {
        if (!SameBits(one[s], all[static_cast<size_t>(s) * static_cast<size_t>(chans) + static_cast<size_t>(chan)])) {
          ADD_FAILURE() << "channel " << chan << " scan " << s;
          break;
        }
      }
    }
    EXPECT_EQ(dfaClose(h), 1);
  }
}

TEST_F(DfaTest, ReadsAcrossBlocksEqualOneRead) {
  // Several 64 KiB blocks each; the packed one has blocks starting inside six-byte groups.
  const Variant variants[] = {{"morvaneLong", SampleOf(3, 5000, 10)}, {"packedLong", SampleOf(4, 20000, 0, 9, true)},
                              {"celdrinLong", SampleOf(6, 9000, 0, 0, false, true)}};
  const uint32_t pieces[] = {1, 7, 333, 4096, 1, 5};
  for (const Variant& v : variants) {
    SCOPED_TRACE(v.name);
    const int32_t h = OpenSample(v.sample, v.name, v.sample.type);
    ASSERT_GE(h, 0);
    const int32_t chans = samples::NumChannels(v.sample);
    const uint32_t scans = static_cast<uint32_t>(v.sample.scans);
    const std::vector<float> whole = ReadAll(h, 0, scans, csAllChans, chans);
    std::vector<float> pieced;
    uint32_t first = 0;
    for (size_t i = 0; first < scans; ++i) {
      const uint32_t count = std::min(pieces[i % std::size(pieces)], scans - first);
      const std::vector<float> part = ReadAll(h, first, count, csAllChans, chans);
      pieced.insert(pieced.end(), part.begin(), part.end());
      first += count;
    }
    EXPECT_TRUE(std::memcmp(whole.data(), pieced.data(), whole.size() * sizeof(float)) == 0);
    // Backwards, one scan at a time for the last channel.
    const int32_t last = chans - 1;
    for (uint32_t s = scans; s-- > scans - 300;) {
      float value = 0.0f;
      ASSERT_EQ(dfaGetData(h, &value, s, 1, nullptr, last), errNoError);
      ASSERT_TRUE(SameBits(value, whole[static_cast<size_t>(s) * static_cast<size_t>(chans) + static_cast<size_t>(last)]))
          << "scan " << s;
    }
  }
}

// Two Morvane sessions with thermocouples read in turns, one forwards and one backwards, give
// what each gives alone.
TEST_F(DfaTest, SessionsReadInTurnsGiveWhatEachGivesAlone) {
  const int32_t a = OpenSample(SampleOf(3, 400, 0), "a", sdMorvane);
  const int32_t b = OpenSample(SampleOf(3, 400, 37, 16), "b", sdMorvane);
  ASSERT_GE(a, 0);
  ASSERT_GE(b, 0);
  const int32_t thermocouple = 2;  // type 1, compensated by the reference channel before it
  const std::vector<float> aloneA = ReadAll(a, 0, 400, thermocouple, 0);
  const std::vector<float> aloneB = ReadAll(b, 0, 400, thermocouple, 0);
  for (uint32_t s = 0; s < 400; ++s) {
    float va = 0.0f;
    float vb = 0.0f;
    ASSERT_EQ(dfaGetData(a, &va, s, 1, nullptr, thermocouple), errNoError);
    ASSERT_EQ(dfaGetData(b, &vb, 399 - s, 1, nullptr, thermocouple), errNoError);
    ASSERT_TRUE(SameBits(va, aloneA[s])) << "scan " << s;
    ASSERT_TRUE(SameBits(vb, aloneB[399 - s])) << "scan " << 399 - s;
  }
}

// ---- data-read statuses -----------------------------------------------------------------

TEST_F(DfaTest, DataReadStatusesClippingAndCounts) {
  const SampleSpec sample = SampleOf(3, 100);  // 15 channels
  const int32_t h = OpenSample(sample, "reads", sdMorvane);
  ASSERT_EQ(h, 0);
  const uint32_t n = 100;
  const GuardedPages pages;
  std::vector<float> big(16 * 200);
  float* buffer = big.data();
  const auto oneChannelBuffer = [&](size_t floats) { return static_cast<float*>(pages.EndingAfter(4 * floats)); };
  const struct {
    const char* what;
    float* out;
    uint32_t first;
    uint32_t wanted;
    int32_t chan;
    int32_t status;
    uint32_t count;  // 77777: not touched
  } cases[] = {
      {"all scans", buffer, 0, n, csAllChans, errNoError, n},
      {"offset at the end", buffer, n, 10, csAllChans, errNoError, 0},
      {"clipped at the end", buffer, 90, 50, csAllChans, errNoError, 10},
      {"no scan wanted", buffer, 3, 0, 0, errNoError, 0},
      {"beyond the end", buffer, n + 5, 3, csAllChans, errFileRead, 0},
      {"offset 0xFFFFFFFF", buffer, 0xFFFFFFFFu, 1, 0, errInvalidOffset, 0},
      {"channel = count", buffer, 0, 1, 15, errInvalidChannel, 77777},
      {"channel -2", buffer, 0, 1, -2, errInvalidChannel, 77777},
      {"read-only buffer", static_cast<float*>(pages.ReadOnly()), 0, 1, 0, errInvalidPointer, 77777},
      {"null buffer", nullptr, 0, 1, 0, errInvalidPointer, 77777},
      {"null buffer, no scan", nullptr, 0, 0, 0, errNoError, 0},
      // The buffer is checked for the scans asked for, not the scans there are.
      {"room for the clipped count only", oneChannelBuffer(10), 90, 11, 0, errInvalidPointer, 77777},
      {"room for the asked count", oneChannelBuffer(11), 90, 11, 0, errNoError, 10},
      {"2^32 bytes asked", oneChannelBuffer(16), 0, 0x40000000u, 0, errInvalidPointer, 77777},
      {"0xFFFFFFFF scans of every channel", oneChannelBuffer(16), 0, 0xFFFFFFFFu, csAllChans, errInvalidPointer,
       77777},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    uint32_t count = 77777;
    EXPECT_EQ(dfaGetData(h, c.out, c.first, c.wanted, &count, c.chan), c.status);
    EXPECT_EQ(count, c.count);
    EXPECT_EQ(dfaGetLastErrorCode(h), c.status);
  }
  uint32_t count = 77777;
  EXPECT_EQ(dfaGetData(h + 1, buffer, 0, 1, &count, 0), errInvalHandle);
  EXPECT_EQ(count, 77777u);
  EXPECT_EQ(dfaGetData(h, buffer, 0, 5, nullptr, csAllChans), errNoError);
  // An unwritable count is refused before anything is read.
  EXPECT_EQ(dfaGetData(h, buffer, 0, 5, static_cast<uint32_t*>(pages.ReadOnly()), 0), errInvalidPointer);
}

// A packed block of no scan names a six-byte group past the data: nothing is read.
TEST_F(DfaTest, APackedReadAtTheScanCountReadsNothing) {
  const SampleSpec sample = SampleOf(4, 100, 0, 9, true);  // 900 samples: a multiple of 4
  const int32_t h = OpenSample(sample, "packedEnd", sdTarquil);
  ASSERT_GE(h, 0);
  float values[9] = {};
  uint32_t count = 5;
  EXPECT_EQ(dfaGetData(h, values, 100, 1, &count, csAllChans), errNoError);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(dfaGetData(h, values, 99, 1, &count, csAllChans), errNoError);
  EXPECT_EQ(count, 1u);
}

// A scan larger than the raw block fits no block: the read delivers nothing and succeeds.
TEST_F(DfaTest, AScanLargerThanTheBlockDeliversNoScan) {
  constexpr int32_t kChans = 33000;
  ByteBuilder desc;
  for (const int32_t word : {5040, kChans, 1, 0, 0, 0, 0}) desc.I32(word);
  desc.F32(100.0f);
  for (int32_t c = 0; c < kChans; ++c) {
    desc.F32(1.0f);
    desc.I32(0);
    desc.I32(0);  // type 0: voltage
    desc.I32(0);
    desc.F32(1.0f);
    desc.F32(0.0f);
    desc.I32(1);
    desc.I32(0);
    desc.FixedText("V", 12);
    desc.FixedText("V", 12);
  }
  WriteBytes(dir_ / "wide.DSC", desc.Take());
  WriteBytes(dir_ / "wide.bin", std::vector<uint8_t>(2 * kChans, 0));
  const int32_t h = dfaOpen((dir_ / "wide.DSC").string().c_str(), sdMorvane);
  ASSERT_GE(h, 0);
  EXPECT_EQ(IntAnswer(h, acqNumScans), 1);
  std::vector<float> values(kChans);
  uint32_t count = 9;
  EXPECT_EQ(dfaGetData(h, values.data(), 0, 1, &count, csAllChans), errNoError);
  EXPECT_EQ(count, 0u);
}

// ---- queries --------------------------------------------------------------------------------

TEST_F(DfaTest, AcquisitionAndChannelAnswers) {
  const struct {
    Variant v;
    const char* title;
  } cases[] = {{kVariants[0], "Morvane"}, {kVariants[2], "Tarquil"}, {kVariants[4], "Brenlow"},
               {kVariants[6], "Quillon"}, {kVariants[7], "Celdrin"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.v.name);
    const int32_t h = OpenSample(c.v.sample, c.v.name, sdUnknown);
    ASSERT_GE(h, 0);
    const int32_t chans = samples::NumChannels(c.v.sample);
    EXPECT_EQ(IntAnswer(h, acqNumChans), chans);
    EXPECT_EQ(IntAnswer(h, acqNumScans), c.v.sample.scans);
    EXPECT_EQ(IntAnswer(h, acqScanSize), 4 * chans);
    EXPECT_EQ(IntAnswer(h, acqSampleSize), 4);
    EXPECT_EQ(IntAnswer(h, acqPreTrigCount), c.v.sample.preTrig);
    EXPECT_EQ(IntAnswer(h, acqSourceDataType), c.v.sample.type);
    EXPECT_EQ(IntAnswer(h, acqAppTitleLength), static_cast<int32_t>(std::strlen(c.title)) + 1);
    char title[32] = {};
    EXPECT_EQ(dfaGetAcqInfo(h, acqAppTitle, sizeof title, title), errNoError);
    EXPECT_STREQ(title, c.title);
    double post = 0.0;
    EXPECT_EQ(dfaGetAcqInfo(h, acqPostTrigRate, 0, &post), errNoError);
    EXPECT_GT(post, 0.0);

    // The channel answers against the handle API's view of the same description.
    tvnAcq* acq = nullptr;
    EXPECT_EQ(dfaClose(h), 1);
    ASSERT_EQ(tvnAcqOpen((dir_ / c.v.name).string().append(c.v.sample.type == 6 ? ".HX$" : ".DSC").c_str(), nullptr,
                         c.v.sample.type, &acq),
              TVN_OK);
    tvnChanInfo expected[64];
    for (int32_t ch = 0; ch < chans; ++ch) ASSERT_EQ(tvnAcqGetChanInfo(acq, ch, &expected[ch]), TVN_OK);
    tvnAcqClose(acq);
    const int32_t again = OpenSample(c.v.sample, c.v.name, sdUnknown);
    ASSERT_GE(again, 0);
    for (int32_t ch = 0; ch < chans; ++ch) {
      double upper = 0.0, lower = 0.0;
      int32_t precision = -9, labelLength = 0, unitsLength = 0;
      char label[64] = {}, units[64] = {};
      EXPECT_EQ(dfaGetChanInfo(again, ch, chnRangeUpper, 0, &upper), errNoError);
      EXPECT_EQ(dfaGetChanInfo(again, ch, chnRangeLower, 0, &lower), errNoError);
      EXPECT_EQ(dfaGetChanInfo(again, ch, chnPrecision, 0, &precision), errNoError);
      EXPECT_EQ(dfaGetChanInfo(again, ch, chnLabel, sizeof label, label), errNoError);
      EXPECT_EQ(dfaGetChanInfo(again, ch, chnUnits, sizeof units, units), errNoError);
      EXPECT_EQ(dfaGetChanInfo(again, ch, chnLabelLength, 0, &labelLength), errNoError);
      EXPECT_EQ(dfaGetChanInfo(again, ch, chnUnitsLength, 0, &unitsLength), errNoError);
      EXPECT_EQ(upper, expected[ch].upper) << ch;
      EXPECT_EQ(lower, expected[ch].lower) << ch;
      EXPECT_EQ(precision, expected[ch].precision) << ch;
      EXPECT_STREQ(label, expected[ch].label) << ch;
      EXPECT_STREQ(units, expected[ch].units) << ch;
      EXPECT_EQ(labelLength, static_cast<int32_t>(std::strlen(expected[ch].label)) + 1) << ch;
      EXPECT_EQ(unitsLength, static_cast<int32_t>(std::strlen(expected[ch].units)) + 1) << ch;
    }
  }
}

TEST_F(DfaTest, TextAnswersAreCutToTheBufferAndNulFilled) {
  const int32_t h = OpenSample(SampleOf(3, 10), "text", sdMorvane);  // title "Morvane", 7 characters
  ASSERT_GE(h, 0);
  const struct {
    int32_t size;
    const char* expected;
  } cases[] = {{1, ""}, {2, "M"}, {7, "Morvan"}, {8, "Morvane"}, {12, "Morvane"}};
  for (const auto& c : cases) {
    char buffer[16];
    std::memset(buffer, 'x', sizeof buffer);
    ASSERT_EQ(dfaGetAcqInfo(h, acqAppTitle, c.size, buffer), errNoError) << c.size;
    EXPECT_STREQ(buffer, c.expected) << c.size;
    for (int32_t i = static_cast<int32_t>(std::strlen(c.expected)); i < c.size; ++i) EXPECT_EQ(buffer[i], '\0') << i;
    EXPECT_EQ(buffer[c.size], 'x') << "written past " << c.size;
  }
  // The label of channel 0 ("Sine") the same way.
  char label[3] = {'x', 'x', 'x'};
  ASSERT_EQ(dfaGetChanInfo(h, 0, chnLabel, 3, label), errNoError);
  EXPECT_EQ(std::string(label, 3), std::string("Si\0", 3));
}

// Each failing check returns its code; whether the last error keeps it is part of the contract.
TEST_F(DfaTest, QueryStatusesAndTheLastErrorTheyLeave) {
  const int32_t h = OpenSample(SampleOf(3, 10), "queries", sdMorvane);  // 15 channels, relative times
  ASSERT_GE(h, 0);
  const GuardedPages pages;
  int32_t word = 0;
  double number = 0.0;
  char text[8] = {};
  void* readOnly = pages.ReadOnly();
  const int32_t kUntouched = 1;  // the previous last error, errInvalidOption, stays
  const struct {
    const char* what;
    bool chan;  // dfaGetChanInfo (channel 0 unless stated) rather than dfaGetAcqInfo
    int32_t channel;
    int32_t request;
    int32_t option;
    void* buffer;
    int32_t status;
    int32_t lastError;  // kUntouched: as before the call
  } cases[] = {
      {"request -1", false, 0, -1, 0, &word, errInvalidRequest, kUntouched},
      {"request 13", false, 0, 13, 0, &word, errInvalidRequest, kUntouched},
      {"title into 0 bytes", false, 0, acqAppTitle, 0, text, errInvalidOption, kUntouched},
      {"read-only count", false, 0, acqNumScans, 0, readOnly, errInvalidPointer, kUntouched},
      {"double 4 bytes before the end", false, 0, acqPreTrigRate, 0, pages.EndingAfter(4), errInvalidPointer,
       kUntouched},
      {"title past the end", false, 0, acqAppTitle, 8, pages.EndingAfter(7), errInvalidPointer, kUntouched},
      {"null title length", false, 0, acqAppTitleLength, 0, nullptr, errInvalidPointer, kUntouched},
      {"absolute time of a relative source", false, 0, acqScanTimeAbs, 3, &number, errInvalidOption,
       errInvalidOption},
      {"number of scans", false, 0, acqNumScans, 0, &word, errNoError, errNoError},
      {"channel = count, bad request too", true, 15, 99, 0, &word, errInvalidChannel, errNoError},
      {"channel -1", true, -1, chnPrecision, 0, &word, errInvalidChannel, errNoError},
      {"channel request 7", true, 0, 7, 0, &word, errInvalidRequest, errNoError},
      {"label into 0 bytes", true, 0, chnLabel, 0, text, errInvalidOption, errNoError},
      {"read-only upper limit", true, 0, chnRangeUpper, 0, readOnly, errInvalidPointer, errNoError},
      {"precision", true, 3, chnPrecision, 0, &word, errNoError, errNoError},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    // Leave errInvalidOption as the last error first.
    ASSERT_EQ(dfaGetAcqInfo(h, acqScanTimeAbs, 0, &number), errInvalidOption);
    const int32_t status = c.chan ? dfaGetChanInfo(h, c.channel, c.request, c.option, c.buffer)
                                  : dfaGetAcqInfo(h, c.request, c.option, c.buffer);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(dfaGetLastErrorCode(h), c.lastError == kUntouched ? errInvalidOption : c.lastError);
  }
  ASSERT_EQ(dfaGetAcqInfo(h, acqScanTimeAbs, 0, &number), errInvalidOption);
  EXPECT_EQ(dfaGetAcqInfo(-1, acqNumScans, 0, &word), errInvalHandle);
  EXPECT_EQ(dfaGetChanInfo(99, 0, chnPrecision, 0, &word), errInvalHandle);
  EXPECT_EQ(dfaGetLastErrorCode(h), errInvalidOption);  // an invalid handle touches no session
}

// Scan times in both forms from sources with absolute, relative and no times.
TEST_F(DfaTest, ScanTimesOfAbsoluteRelativeAndUntimedSources) {
  const struct {
    Variant v;
    bool absolute;
  } cases[] = {{kVariants[0], false}, {kVariants[2], false}, {kVariants[4], false}, {kVariants[7], false},
               {kVariants[5], true},  {kVariants[6], true},  {kVariants[8], true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.v.name);
    const int32_t h = OpenSample(c.v.sample, c.v.name, c.v.sample.type);
    ASSERT_GE(h, 0);
    const int64_t trigger = c.v.sample.preTrig;
    const double triggerDays = samples::ExpectedScanTime(c.v.sample, trigger);
    for (const int64_t scan : {int64_t{0}, trigger, trigger + 1, int64_t{777}, c.v.sample.scans - 1}) {
      const double days = samples::ExpectedScanTime(c.v.sample, scan);
      double value = 0.0;
      if (c.absolute) {
        ASSERT_EQ(dfaGetAcqInfo(h, acqScanTimeAbs, static_cast<int32_t>(scan), &value), errNoError) << scan;
        EXPECT_NEAR(value, days, 1e-9) << scan;
        ASSERT_EQ(dfaGetAcqInfo(h, acqScanTimeRel, static_cast<int32_t>(scan), &value), errNoError) << scan;
        EXPECT_NEAR(value, (days - triggerDays) * 86400.0, 1e-4) << scan;
      } else {
        EXPECT_EQ(dfaGetAcqInfo(h, acqScanTimeAbs, static_cast<int32_t>(scan), &value), errInvalidOption) << scan;
        EXPECT_EQ(dfaGetLastErrorCode(h), errInvalidOption);
        ASSERT_EQ(dfaGetAcqInfo(h, acqScanTimeRel, static_cast<int32_t>(scan), &value), errNoError) << scan;
        EXPECT_NEAR(value, days * 86400.0, 1e-6) << scan;
      }
      EXPECT_EQ(dfaGetLastErrorCode(h), errNoError);
    }
    EXPECT_EQ(dfaClose(h), 1);
  }

  // A Tarquil description with both rates 0 counts scans instead of timing them.
  std::vector<std::string> files = Write(SampleOf(4, 50, 5, 9), "untimed");
  std::vector<uint8_t> desc = FileBytes(files[0]);
  le::PutF32(&desc[10], 0.0f);
  le::PutF32(&desc[14], 0.0f);
  WriteBytes(files[0], desc);
  const int32_t h = dfaOpen(files[0].c_str(), sdTarquil);
  ASSERT_GE(h, 0);
  for (const int32_t request : {acqScanTimeAbs, acqScanTimeRel}) {
    double value = 42.0;
    EXPECT_EQ(dfaGetAcqInfo(h, request, 7, &value), errInvalidOption);
    EXPECT_EQ(value, 42.0);
    EXPECT_EQ(dfaGetLastErrorCode(h), errInvalidOption);
  }
}

#if !defined(__SANITIZE_ADDRESS__)
// Bytes of address space the process has mapped.
rlim_t AddressSpaceInUse() {
  std::ifstream statm("/proc/self/statm");
  rlim_t pages = 0;
  statm >> pages;
  return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

// A description larger than the memory the process may still take: the open reports the
// allocation error, keeps no file and takes no handle. Runs in a child under RLIMIT_AS.
TEST_F(DfaTest, ADescriptionThatCannotBeHeldInMemoryIsAnAllocationError) {
  const fs::path huge = dir_ / "huge.DSC";
  const std::vector<std::string> good = Write(SampleOf(3, 10), "fine");
  fs::copy_file(good[1], dir_ / "huge.bin");
  WriteBytes(huge, {});
  fs::resize_file(huge, uint64_t{8} << 30);  // sparse: takes no disk space
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const rlim_t room = AddressSpaceInUse() + (rlim_t{512} << 20);
    const rlimit limit = {room, room};
    if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(2);
    if (dfaOpen(huge.c_str(), sdMorvane) != errMemoryAllocation) _exit(3);
    if (!platform::File::OpenRead(huge.c_str()).IsOpen()) _exit(4);
    if (!platform::File::OpenRead((dir_ / "huge.bin").c_str()).IsOpen()) _exit(5);
    _exit(dfaOpen(good[0].c_str(), sdMorvane) == 0 ? 0 : 6);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}
#endif

}  // namespace
}  // namespace travune
