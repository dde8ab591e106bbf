// Checks of the sample generator against hand-computed file sizes, bytes, stamps and values,
// independent of the library's readers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "samples/Calendar.h"
#include "samples/QuillonSample.h"
#include "samples/Samples.h"
#include "samples/TarquilSample.h"

namespace travune::samples {
namespace {

namespace fs = std::filesystem;

class TempDir {
 public:
  TempDir() {
    std::string pattern = (fs::temp_directory_path() / "travune-samples-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempDir() { fs::remove_all(path_); }
  std::string operator/(const std::string& name) const { return (fs::path(path_) / name).string(); }

 private:
  std::string path_;
};

std::vector<uint8_t> ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

uint16_t WordAt(const std::vector<uint8_t>& bytes, size_t offset) {
  return static_cast<uint16_t>(bytes[offset] | (bytes[offset + 1] << 8));
}

SampleSpec Request(int type, int64_t scans, int chans = 0, bool packed = false, bool stamps = false, int64_t preTrig = 0) {
  SampleSpec request;
  request.type = type;
  request.scans = scans;
  request.chans = chans;
  request.packed = packed;
  request.stamps = stamps;
  request.preTrig = preTrig;
  return request;
}

struct SizeCase {
  const char* name;
  SampleSpec request;
  const char* descExt;
  const char* dataExt;
  int64_t descBytes;  // -1: not checked (text description)
  int64_t dataBytes;
  int channels;
};

TEST(SampleGenerator, WritesBothFilesWithTheLayoutSizes) {
  const SizeCase cases[] = {
      // 32-byte header + 56 per channel; 14 one-word channels + 4 RTD words = 36 bytes a scan.
      {"morvane", Request(3, 10), "DSC", "bin", 32 + 56 * 15, 10 * 36, 15},
      {"morvane16", Request(3, 10, 16), "DSC", "bin", 32 + 56 * 16, 10 * 38, 16},
      // 30 + 38 per channel; 2 bytes per sample.
      {"tarquil", Request(4, 10), "DSC", "bin", 30 + 38 * 7, 10 * 14, 7},
      // 70 samples in 18 groups of six bytes (the last padded).
      {"packed", Request(4, 10, 0, true), "DSC", "bin", 30 + 38 * 7, 18 * 6, 7},
      {"brenlow", Request(2, 10), "DSC", "bin", 56 + 112 * 5, 10 * 20, 5},
      {"stamped", Request(2, 10, 0, false, true), "DSC", "bin", 56 + 112 * 8, 10 * 32, 5},
      {"threnix", Request(8, 10, 6), "DSC", "bin", 56 + 112 * 6, 10 * 24, 6},
      // 65 bytes of signature and header; each channel 62 bytes plus its label and units.
      {"quillon", Request(5, 10), "DSC", "bin", 65 + 62 * 4 + (4 + 1) + (5 + 3) + (7 + 3) + (6 + 1), 10 * 16, 4},
      {"celdrin", Request(6, 10), "HX$", "hxt", -1, 10 * 12, 6},
      {"celdrinStamped", Request(6, 10, 0, false, true), "HX$", "hxt", -1, 10 * 22, 6},
  };
  TempDir dir;
  for (const SizeCase& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string prefix = dir / c.name;
    std::vector<std::string> written;
    std::string error;
    ASSERT_TRUE(WriteSample(c.request, prefix, &written, &error)) << error;
    ASSERT_EQ(written, (std::vector<std::string>{prefix + "." + c.descExt, prefix + "." + c.dataExt}));
    if (c.descBytes >= 0) {
      EXPECT_EQ(static_cast<int64_t>(fs::file_size(written[0])), c.descBytes);
    }
    EXPECT_EQ(static_cast<int64_t>(fs::file_size(written[1])), c.dataBytes);
    EXPECT_EQ(DataFileBytes(c.request), c.dataBytes);
    EXPECT_EQ(NumChannels(c.request), c.channels);
  }
}

TEST(SampleGenerator, MorvaneScanExchangesFirstChannelsAndPutsRtdWordsLast) {
  TempDir dir;
  std::vector<std::string> written;
  std::string error;
  ASSERT_TRUE(WriteSample(Request(3, 2), dir / "m", &written, &error)) << error;
  const std::vector<uint8_t> data = ReadAll(written[1]);
  // Scan 0: channel 1 (reference, sine around 40760) comes first, channel 0 (sine around
  // 32768) second; channel 2 (ramp from 33300) keeps word 2.
  EXPECT_EQ(WordAt(data, 0), 40760);
  EXPECT_EQ(WordAt(data, 2), 32768);
  EXPECT_EQ(WordAt(data, 4), 33300);
  // The RTD's words close the scan: 100 ohm = 10000 hundredths above sLo 1000; rHi, rLo.
  EXPECT_EQ(WordAt(data, 28), 11000);
  EXPECT_EQ(WordAt(data, 30), 1000);
  EXPECT_EQ(WordAt(data, 32), 41000);
  EXPECT_EQ(WordAt(data, 34), 1000);
  // Channel 3's neighbour in the table, channel 4 (type 4), takes word 3.
  EXPECT_EQ(WordAt(data, 6), 30000);
}

TEST(SampleGenerator, TarquilPacksFourTwelveBitSamplesIntoSixBytes) {
  const uint16_t samples[4] = {0x123, 0x456, 0x789, 0xABC};
  uint8_t bytes[6] = {};
  TarquilSample::PackGroup(samples, bytes);
  const uint8_t expected[6] = {0x23, 0x61, 0x45, 0x89, 0xC7, 0xAB};
  EXPECT_TRUE(std::equal(bytes, bytes + 6, expected));
  // The reader's unpacking rule gives the samples back.
  EXPECT_EQ(bytes[0] | (bytes[1] & 0x0F) << 8, 0x123);
  EXPECT_EQ(bytes[1] >> 4 | bytes[2] << 4, 0x456);
  EXPECT_EQ(bytes[3] | (bytes[4] & 0x0F) << 8, 0x789);
  EXPECT_EQ(bytes[4] >> 4 | bytes[5] << 4, 0xABC);

  // Scan 0 of the packed sample: codes 0, −32768, 20000, 0 keep their top 12 bits:
  // 0x000, 0x800, 0x4E2, 0x000.
  TempDir dir;
  std::vector<std::string> written;
  std::string error;
  ASSERT_TRUE(WriteSample(Request(4, 4, 0, true), dir / "t", &written, &error)) << error;
  const std::vector<uint8_t> data = ReadAll(written[1]);
  const std::vector<uint8_t> firstGroup{0x00, 0x00, 0x80, 0xE2, 0x04, 0x00};
  EXPECT_EQ(std::vector<uint8_t>(data.begin(), data.begin() + 6), firstGroup);
}

TEST(SampleGenerator, StampsHoldTheDocumentedClockTimes) {
  TempDir dir;
  std::vector<std::string> written;
  std::string error;
  // Brenlow: 15 March 2024 12:00 is 9935.5 days = 858427200 s after 1 January 1997:
  // f1 = 13098, f0 = 858427200 − 13098·65536 = 36672; scan 1 adds 2/256 s.
  ASSERT_TRUE(WriteSample(Request(2, 130, 0, false, true), dir / "b", &written, &error)) << error;
  std::vector<uint8_t> data = ReadAll(written[1]);
  const auto floatAt = [&](size_t offset) {
    const uint32_t u =
        data[offset] | data[offset + 1] << 8 | data[offset + 2] << 16 | static_cast<uint32_t>(data[offset + 3]) << 24;
    float f;
    std::memcpy(&f, &u, 4);
    return f;
  };
  EXPECT_EQ(floatAt(20), 36672.0f);
  EXPECT_EQ(floatAt(24), 13098.0f);
  EXPECT_EQ(floatAt(28), 0.0f);
  EXPECT_EQ(floatAt(32 + 28), 2.0f);
  EXPECT_EQ(floatAt(128 * 32 + 20), 36673.0f);  // scan 128: one second later
  EXPECT_DOUBLE_EQ(ExpectedScanTime(Request(2, 130, 0, false, true), 0), 45366.5);

  // Celdrin, 100 scans, trigger at scan 10, post-stop from scan 90: scan 0 is 100 ms before
  // the trigger (11:59:59.900000), scan 95 is 80 ms + 50 ms after it (12:00:00.130000).
  ASSERT_TRUE(WriteSample(Request(6, 100, 0, false, true, 10), dir / "c", &written, &error)) << error;
  data = ReadAll(written[1]);
  const auto stampOf = [&](size_t scan) {
    return std::vector<uint8_t>(data.begin() + scan * 22, data.begin() + scan * 22 + 10);
  };
  EXPECT_EQ(stampOf(0), (std::vector<uint8_t>{11, 59, 59, 0xA0, 0xBB, 0x0D, 0x00, 3, 15, 24}));
  EXPECT_EQ(stampOf(10), (std::vector<uint8_t>{12, 0, 0, 0, 0, 0, 0, 3, 15, 24}));
  EXPECT_EQ(stampOf(95), (std::vector<uint8_t>{12, 0, 0, 0xD0, 0xFB, 0x01, 0x00, 3, 15, 24}));
}

TEST(SampleGenerator, CalendarAndTriggerDate) {
  EXPECT_EQ(DaysFromCivil(1970, 1, 1), 0);
  EXPECT_EQ(AutomationDay(1997, 1, 1), 35431);
  EXPECT_EQ(AutomationDay(2000, 1, 1), 36526);
  EXPECT_DOUBLE_EQ(QuillonSample::TriggerDate(), 45366.5);
  const CivilTime t = CivilFromMicroseconds(-1);  // one microsecond before 1970
  EXPECT_EQ(t.year, 1969);
  EXPECT_EQ(t.month, 12);
  EXPECT_EQ(t.day, 31);
  EXPECT_EQ(t.second, 59);
  EXPECT_EQ(t.microsecond, 999999);
}

struct ValueCase {
  const char* name;
  SampleSpec request;
  int64_t scan;
  int chan;
  double value;
  double tolerance;
};

TEST(SampleGenerator, ExpectedValuesMatchHandComputation) {
  const ValueCase cases[] = {
      // Code 32768 on ±5 V: 32768 × 10 / 65535 − 5 = 5 / 65535.
      {"morvaneSine", Request(3, 10), 0, 0, 5.0 / 65535.0, 1e-12},
      {"morvaneDig8", Request(3, 400), 300, 8, 44.0, 0.0},
      // 100.00 ohm is 0 °C.
      {"morvaneRtd", Request(3, 10), 0, 3, 0.0, 0.0},
      // Code 65535 × scale 2 + offset −1.
      {"morvaneHsdi", Request(3, 10), 0, 10, 131069.0, 0.0},
      // T thermocouple at 0 mV with the junction at 0 °C: 0 °C = 32 °F.
      {"morvaneTcT", Request(3, 10), 0, 14, 32.0, 1e-6},
      // Digital factor 0.5 floors 3.5.
      {"tarquilDigital", Request(4, 10), 7, 3, 3.0, 0.0},
      // Packed keeps the top 12 bits: code 7 becomes 0.
      {"tarquilPackedDigital", Request(4, 12, 0, true), 7, 3, 0.0, 0.0},
      // Reciprocal: 1 / (1000 × 0.0001) = 10 Hz.
      {"tarquilFreq", Request(4, 10), 0, 5, 10.0, 1e-5},
      // Bipolar gain 1: code 0 is 0 V.
      {"tarquilBipolar", Request(4, 10), 0, 0, 0.0, 0.0},
      // Unipolar gain 2 (0..5 V), code −32768 is 0 V; × 2.5 − 1.
      {"tarquilUnipolar", Request(4, 10), 0, 1, -1.0, 1e-12},
      // Ramp −1.5 clamps to −1, its end 1.5 to 1.
      {"brenlowClampLow", Request(2, 400), 0, 1, -1.0, 0.0},
      {"brenlowClampHigh", Request(2, 400), 299, 1, 1.0, 0.0},
      {"brenlowCount", Request(2, 2000), 1234, 2, 234.0, 0.0},
      // Written upper −1, lower 1: the range is −1..1, and −1.25 clamps to −1.
      {"quillonSwapped", Request(5, 10), 0, 2, -1.0, 0.0},
      // Sine at its zero crossing: gain 2 × 0 + offset 0.5.
      {"celdrinVolts", Request(6, 10), 0, 0, 0.5, 0.0},
      // −100 tenths = −10 °C = 14 °F.
      {"celdrinDegF", Request(6, 10), 0, 2, 14.0, 1e-12},
      // 250 tenths (sine mid) = 25 °C = 298.15 K.
      {"celdrinDegK", Request(6, 10), 0, 3, 298.15, 1e-9},
      {"celdrinDigital", Request(6, 10), 5, 5, 5.0, 0.0},
  };
  for (const ValueCase& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_NEAR(ExpectedValue(c.request, c.scan, c.chan), c.value, c.tolerance);
  }
}

TEST(SampleGenerator, TemperatureCodesAreAcceptedByTheDriver) {
  // A driver refusal would show as −3276.8 °C (or its °F equivalent); every temperature
  // channel must stay within its documented band over whole periods.
  const SampleSpec request = Request(3, 4200);
  struct Band {
    int chan;
    double low;
    double high;
  };
  const Band bands[] = {{2, 40.0, 300.0}, {3, 0.0, 100.0}, {13, 0.0, 200.0}, {14, 32.0, 400.0}};
  for (const Band& band : bands) {
    for (int64_t scan = 0; scan < request.scans; scan += 7) {
      const double value = ExpectedValue(request, scan, band.chan);
      ASSERT_GE(value, band.low) << "channel " << band.chan << " scan " << scan;
      ASSERT_LE(value, band.high) << "channel " << band.chan << " scan " << scan;
    }
  }
}

TEST(SampleGenerator, RejectsWhatTheTypeCannotHold) {
  const struct {
    const char* name;
    SampleSpec request;
  } cases[] = {
      {"unknownType", Request(9, 10)},
      {"noScans", Request(3, 0)},
      {"packedMorvane", Request(3, 10, 0, true)},
      {"stampedQuillon", Request(5, 10, 0, false, true)},
      {"preTrigPastEnd", Request(3, 10, 0, false, false, 11)},
      {"tooManyChannels", Request(3, 10, 257)},
  };
  TempDir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string error;
    EXPECT_FALSE(CheckSpec(c.request, &error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(WriteSample(c.request, dir / c.name, nullptr, &error));
    EXPECT_FALSE(fs::exists(dir / (std::string(c.name) + ".DSC")));
  }
}

TEST(SampleGenerator, RemovesPartialFilesWhenAWriteFails) {
  TempDir dir;
  // The data file's name is taken by a directory: the description written first is removed.
  fs::create_directory(dir / "busy.bin");
  std::string error;
  EXPECT_FALSE(WriteSample(Request(3, 10), dir / "busy", nullptr, &error));
  EXPECT_NE(error.find("busy.bin"), std::string::npos) << error;
  EXPECT_FALSE(fs::exists(dir / "busy.DSC"));
  EXPECT_TRUE(fs::is_directory(dir / "busy.bin"));
  // A directory that does not exist: nothing is written.
  EXPECT_FALSE(WriteSample(Request(3, 10), dir / "missing/run", nullptr, &error));
  EXPECT_NE(error.find("missing/run.DSC"), std::string::npos) << error;
  // A full device (when the machine has one): the data file cannot be written completely.
  if (fs::exists("/dev/full")) {
    fs::create_symlink("/dev/full", dir / "full.bin");
    EXPECT_FALSE(WriteSample(Request(3, 100000), dir / "full", nullptr, &error));
    EXPECT_NE(error.find("full.bin"), std::string::npos) << error;
    EXPECT_FALSE(fs::exists(dir / "full.DSC"));
  }
}

}  // namespace
}  // namespace travune::samples
