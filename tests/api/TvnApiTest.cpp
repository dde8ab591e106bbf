// Every source variant converted to raw floats and held to the generator's values, the other read
// paths (handle API, Data File Access, binary descriptors) against that conversion, recordings
// beyond 4 GiB and 2^32 scans read where they end, and handles on several threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "api/ApiTestKit.h"
#include "support/LittleEndian.h"

namespace travune::apitest {
namespace {

// guessed: opened with its type guessed; dfa: read through Data File Access too; binDescHeader:
// the size of its description's header when the binary-descriptor functions take it (0: they are
// not tried); flags: the conversion's (other paths read only variants without flags); first and
// count: a scan range converted as well (count 0: none).
struct Variant {
  const char* name;
  samples::SampleSpec sample;
  bool guessed = false;
  bool dfa = false;
  size_t binDescHeader = 0;
  uint32_t flags = 0;
  uint32_t first = 0, count = 0;
};

// Every source type, Data File Access type and their variants; the long ones cross several
// 64 KiB blocks, packed blocks and ranges start inside six-byte groups. Data File Access reads
// Tarquil with 9 channels, as a 7-channel Tarquil description has exactly the size of a Morvane one.
const Variant kVariants[] = {
    {"morvane", SampleOf(TRAVUNE_SRC_MORVANE, 700, 50), true, true, 32, 0, 333, 200},
    {"tarquil", SampleOf(TRAVUNE_SRC_TARQUIL, 650), true},
    {"brenlow", SampleOf(TRAVUNE_SRC_BRENLOW, 600, 20, 0, false, true), true, true},
    // The Brenlow variants share Brenlow's layout: they are named, not guessed.
    {"vexmoor", SampleOf(TRAVUNE_SRC_VEXMOOR, 600, 10, 6)},
    {"threnix", SampleOf(TRAVUNE_SRC_THRENIX, 500, 10, 0, false, true)},
    {"quillon", SampleOf(TRAVUNE_SRC_QUILLON, 640, 40), true, true},
    {"quillon7", SampleOf(TRAVUNE_SRC_QUILLON, 500, 0, 7)},
    {"celdrin", SampleOf(TRAVUNE_SRC_CELDRIN, 610, 30, 0, false, true), true, true},
    {"celdrin9", SampleOf(TRAVUNE_SRC_CELDRIN, 800, 0, 9)},
    {"morvane18", SampleOf(TRAVUNE_SRC_MORVANE, 700, 0, 18), false, true},
    {"tarquil9", SampleOf(TRAVUNE_SRC_TARQUIL, 1200, 100, 9), false, true},
    {"tarquilPacked7", SampleOf(TRAVUNE_SRC_TARQUIL, 1001, 50, 0, true), false, false, 0, 0, 1, 999},
    {"tarquilPacked", SampleOf(TRAVUNE_SRC_TARQUIL, 1001, 50, 9, true), false, true, 0, 0, 5, 17},
    {"packedLong", SampleOf(TRAVUNE_SRC_TARQUIL, 20003, 0, 9, true), false, true, 26},
    {"brenlowUntimed", SampleOf(TRAVUNE_SRC_BRENLOW, 1200, 100), false, true},
    {"brenlowOwnStamps", SampleOf(TRAVUNE_SRC_BRENLOW, 1200, 0, 7, false, true), false, false, 0,
     TRAVUNE_FLAG_OWN_STAMPS},
    {"celdrinUntimed", SampleOf(TRAVUNE_SRC_CELDRIN, 1200, 100), false, true},
    {"celdrinOwnStamps", SampleOf(TRAVUNE_SRC_CELDRIN, 1200, 100, 0, false, true), false, false, 0,
     TRAVUNE_FLAG_OWN_STAMPS, 99, 300},
    {"celdrinLong", SampleOf(TRAVUNE_SRC_CELDRIN, 9000, 0, 0, false, true), false, true},
};

class TvnApi : public ::testing::Test {
 protected:
  // Scans [first, first + count) (count 0: every scan) through the exported functions into the
  // file name; 0 or the first failing status.
  int32_t ConvertWithCvt(const Variant& v, const std::vector<std::string>& files, int32_t format,
                         const std::string& name, uint32_t first = 0, uint32_t count = 0) const {
    CvtSteps steps(files, scratch_.File(name + ".hdr"), scratch_.File(name), format);
    steps.type = v.sample.type;
    steps.flags = v.flags;
    steps.blockBytes = 0;
    steps.first = first;
    steps.count = count;
    return steps.Whole();
  }

  Scratch scratch_;
  const fs::path dir_ = scratch_.Root();
};

// Each converted float against the plain value of its scan and channel. The channel's tolerance
// is what the raw encoding loses (half a code step of its range, one step of packed 12-bit
// samples, half a tenth of a degree from the driver); the output adds one float32 rounding,
// at most 2^-24 of the value.
void ExpectPlainValues(const samples::SampleSpec& sample, int64_t first, int64_t count, const std::string& bytes) {
  const samples::PlainValues plain = samples::PlainValuesOf(sample, first, count);
  ASSERT_EQ(bytes.size(), 4 * plain.values.size());
  for (size_t i = 0; i < plain.values.size(); ++i) {
    const size_t chan = i % static_cast<size_t>(plain.chans);
    const double expected = plain.values[i];
    ASSERT_NEAR(le::F32(&bytes[4 * i]), expected, plain.tolerances[chan] + std::ldexp(std::fabs(expected), -24))
        << "scan " << first + static_cast<int64_t>(i) / plain.chans << " channel " << chan;
  }
}

// The exported functions' counts and the times of the first and trigger scans. 1e-9 days is
// 86 µs: far below any scan interval, far above double rounding.
void CheckCvtFacts(const Variant& v, const std::vector<std::string>& files) {
  ASSERT_GE(cvtReadBinDescFile(files[0].c_str(), files[1].c_str(), v.sample.type), 0);
  EXPECT_EQ(cvtGetNumScans(), v.sample.scans);
  EXPECT_EQ(cvtGetNumChansUser(), samples::NumChannels(v.sample));
  for (const int64_t scan : {int64_t{0}, v.sample.preTrig}) {
    double days = 0.0;
    ASSERT_EQ(tvnGetScanTime(static_cast<uint32_t>(scan), &days), 0) << "scan " << scan;
    EXPECT_NEAR(days, samples::ExpectedScanTime(v.sample, scan), 1e-9) << "scan " << scan;
  }
  cvtReleaseResources();
}

bool SameFloats(const std::vector<float>& values, const std::string& bytes) {
  return values.size() * 4 == bytes.size() && std::memcmp(values.data(), bytes.data(), bytes.size()) == 0;
}

// The handle API's facts and its read of every value; the data file is found beside the
// description. (Channel picks and refused reads: python/tests/test_acquisition.py.)
void CheckHandleApiRead(const Variant& v, const std::vector<std::string>& files, const std::string& converted) {
  tvnAcq* acq = nullptr;
  ASSERT_EQ(tvnAcqOpen(files[0].c_str(), nullptr, v.guessed ? 0 : v.sample.type, &acq), TVN_OK);
  tvnAcqInfo info;
  ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
  EXPECT_EQ(info.sourceType, v.sample.type);
  EXPECT_EQ(info.scans, v.sample.scans);
  EXPECT_EQ(info.preTrigScans, v.sample.preTrig);
  std::vector<float> all(converted.size() / 4);
  EXPECT_EQ(tvnAcqReadFloat32(acq, 0, v.sample.scans, nullptr, 0, all.data()), TVN_OK);
  EXPECT_TRUE(SameFloats(all, converted));
  tvnAcqClose(acq);
}

std::vector<float> DfaRead(int32_t h, uint32_t first, uint32_t count, int32_t chan, int32_t chans) {
  std::vector<float> values(static_cast<size_t>(count) * static_cast<size_t>(chan == csAllChans ? chans : 1));
  uint32_t delivered = 0;
  EXPECT_EQ(dfaGetData(h, values.data(), first, count, &delivered, chan), errNoError);
  EXPECT_EQ(delivered, count);
  return values;
}

// Data File Access's scan times of the first, trigger and last scans: in days for sources with
// dates (an absolute time after 1900), refused for the others; in seconds from the trigger scan
// for both.
void CheckDfaScanTimes(int32_t h, const samples::SampleSpec& sample) {
  const double triggerDays = samples::ExpectedScanTime(sample, sample.preTrig);
  const bool dated = samples::ExpectedScanTime(sample, 0) > 1.0;
  for (const int32_t scan : {int32_t{0}, static_cast<int32_t>(sample.preTrig), static_cast<int32_t>(sample.scans - 1)}) {
    SCOPED_TRACE(scan);
    const double days = samples::ExpectedScanTime(sample, scan);
    double value = 0.0;
    if (dated) {
      ASSERT_EQ(dfaGetAcqInfo(h, acqScanTimeAbs, scan, &value), errNoError);
      EXPECT_NEAR(value, days, 1e-9);
    } else {
      EXPECT_EQ(dfaGetAcqInfo(h, acqScanTimeAbs, scan, &value), errInvalidOption);
    }
    ASSERT_EQ(dfaGetAcqInfo(h, acqScanTimeRel, scan, &value), errNoError);
    EXPECT_NEAR(value, (days - (dated ? triggerDays : 0.0)) * 86400.0, dated ? 1e-4 : 1e-6);
    EXPECT_EQ(dfaGetLastErrorCode(h), errNoError);  // a time delivered clears the last error
  }
}

// Data File Access: every scan read in pieces of odd sizes, then channel by channel.
void CheckDfaReads(const Variant& v, const std::vector<std::string>& files, const std::string& converted) {
  const int32_t h = dfaOpen(files[0].c_str(), v.sample.type);
  ASSERT_GE(h, 0);
  const int32_t chans = samples::NumChannels(v.sample);
  const uint32_t scans = static_cast<uint32_t>(v.sample.scans);
  const uint32_t pieces[] = {1, 7, 333, 4096, 1, 5};
  std::vector<float> all;
  for (uint32_t first = 0, i = 0; first < scans; ++i) {
    const uint32_t count = std::min(pieces[i % std::size(pieces)], scans - first);
    const std::vector<float> part = DfaRead(h, first, count, csAllChans, chans);
    all.insert(all.end(), part.begin(), part.end());
    first += count;
  }
  EXPECT_TRUE(SameFloats(all, converted));
  for (int32_t chan = 0; chan < chans; ++chan) {
    std::vector<float> column;
    for (size_t i = static_cast<size_t>(chan); i < all.size(); i += static_cast<size_t>(chans)) column.push_back(all[i]);
    EXPECT_TRUE(DfaRead(h, 0, scans, chan, chans) == column) << "channel " << chan;
  }
  CheckDfaScanTimes(h, v.sample);
  EXPECT_EQ(dfaClose(h), 1);
}

// The binary-descriptor functions: the description's header in memory, the raw block converted
// in place of the file, the caller's raw bytes untouched and nothing written past the values.
void CheckBinDescBlock(const Variant& v, const std::vector<std::string>& files, const std::string& converted) {
  const std::string desc = Contents(files[0]);
  const std::string raw = Contents(files[1]);
  const auto* descBytes = reinterpret_cast<const uint8_t*>(desc.data());
  ASSERT_EQ(cvtSetBinDesc(v.sample.type, descBytes, descBytes + v.binDescHeader), 0);
  std::string rawAfter = raw;
  std::vector<float> values(converted.size() / 4 + 1, -777.0f);
  ASSERT_EQ(cvtCvtBinData(0, static_cast<int32_t>(v.sample.scans), rawAfter.data(), values.data()), 0);
  EXPECT_TRUE(rawAfter == raw);
  EXPECT_EQ(values.back(), -777.0f);
  values.pop_back();
  EXPECT_TRUE(SameFloats(values, converted));
}

// The raw-float conversion through the exported functions, of every scan and of a range, holds
// the generator's values, and every other way of reading the same scans gives its bits.
TEST_F(TvnApi, EveryPathReadsTheGeneratorsValues) {
  for (const Variant& v : kVariants) {
    SCOPED_TRACE(v.name);
    const std::vector<std::string> files = scratch_.Sample(v.sample, v.name);
    CheckCvtFacts(v, files);
    ASSERT_EQ(ConvertWithCvt(v, files, TRAVUNE_FMT_FLOAT32, "all.f32"), 0);
    const std::string converted = Contents(dir_ / "all.f32");
    ExpectPlainValues(v.sample, 0, v.sample.scans, converted);
    if (v.count > 0) {
      ASSERT_EQ(ConvertWithCvt(v, files, TRAVUNE_FMT_FLOAT32, "part.f32", v.first, v.count), 0);
      ExpectPlainValues(v.sample, v.first, v.count, Contents(dir_ / "part.f32"));
    }
    if (v.flags != 0) continue;
    CheckHandleApiRead(v, files, converted);
    if (v.dfa) CheckDfaReads(v, files, converted);
    if (v.binDescHeader > 0) CheckBinDescBlock(v, files, converted);
  }
}

// A progress callback that cancels once it has seen a block.
int32_t CancelAfterFirstBlock(int64_t done, int64_t total, void* seen) {
  *static_cast<int64_t*>(seen) = done;
  return done < total ? 1 : 0;
}

TEST_F(TvnApi, RecordingsBeyondFourGiBAndTwoToTheThirtyTwoScans) {
  // One counter channel (value = raw word) of 2-byte scans: a sparse file of 2^33 + 6 bytes holds
  // 2^32 + 3 scans, and its zeros scale to 0.
  Store(dir_ / "big.DSC", CounterDescription(1, 10, 1000.0f));
  const int64_t scans = (int64_t{1} << 32) + 3;
  Store(dir_ / "big.BIN", std::string());
  fs::resize_file(dir_ / "big.BIN", static_cast<uintmax_t>(2 * scans));
  // The last scan holds 7: a value that only a read of the right offset gives.
  std::fstream(dir_ / "big.BIN", std::ios::in | std::ios::out | std::ios::binary).seekp(2 * (scans - 1)).put(7);

  tvnAcq* acq = nullptr;
  ASSERT_EQ(tvnAcqOpen((dir_ / "big.DSC").c_str(), nullptr, TRAVUNE_SRC_MORVANE, &acq), TVN_OK);  // found as .BIN
  tvnAcqInfo info;
  ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
  EXPECT_EQ(info.scans, scans);
  double tail[4] = {-1, -1, -1, -1};
  ASSERT_EQ(tvnAcqReadFloat64(acq, scans - 4, 4, nullptr, 0, tail), TVN_OK);
  EXPECT_EQ(tail[0], 0.0);
  EXPECT_EQ(tail[3], 7.0);

  // A conversion of the last 1000 scans announces and writes exactly those.
  const std::string out = (dir_ / "tail.f32").string();
  tvnConvOptions options = ConvOptions(TRAVUNE_FMT_FLOAT32, out);
  options.first = scans - 1000;
  options.count = 1000;
  ASSERT_EQ(ConvertWithHandles(acq, options), TVN_OK);
  const std::string bytes = Contents(out);
  ASSERT_EQ(bytes.size(), 4000u);
  EXPECT_EQ(le::F32(reinterpret_cast<const uint8_t*>(&bytes[3996])), 7.0f);
  EXPECT_EQ(le::F32(reinterpret_cast<const uint8_t*>(&bytes[0])), 0.0f);

  // A conversion of more than one block is cancelled by its progress callback after the first.
  options.first = scans - 20000000;
  options.count = 20000000;
  tvnConv* conv = nullptr;
  ASSERT_EQ(tvnConvOpen(acq, &options, &conv), TVN_OK);
  int64_t seen = 0;
  EXPECT_EQ(tvnConvRun(conv, CancelAfterFirstBlock, &seen), TVN_ERR_CANCELLED);
  EXPECT_GT(seen, 0);
  EXPECT_LT(seen, scans);
  tvnConvClose(conv);
  tvnAcqClose(acq);
}

// One acquisition of each source type converted on as many threads at once gives exactly what
// it gives alone (run under ThreadSanitizer by the test command).
TEST_F(TvnApi, HandlesOnDifferentThreadsAreIndependent) {
  std::vector<const Variant*> variants;
  std::vector<std::vector<std::string>> files;
  std::vector<std::string> alone;
  std::set<int> types;
  for (const Variant& v : kVariants) {
    if (!types.insert(v.sample.type).second) continue;
    variants.push_back(&v);
    files.push_back(scratch_.Sample(v.sample, v.name));
    ASSERT_EQ(ConvertWithCvt(v, files.back(), TRAVUNE_FMT_ASCII, "alone"), 0);
    alone.push_back(Contents(dir_ / "alone"));
  }
  std::vector<int32_t> results(variants.size(), -1);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < variants.size(); ++i) {
    threads.emplace_back([&, i] {
      const std::string out = scratch_.File(std::string(variants[i]->name) + ".together");
      results[i] = ConvertWithHandles(files[i], variants[i]->sample.type, ConvOptions(TRAVUNE_FMT_ASCII, out));
    });
  }
  for (std::thread& t : threads) t.join();
  for (size_t i = 0; i < variants.size(); ++i) {
    EXPECT_EQ(results[i], TVN_OK) << variants[i]->name;
    EXPECT_TRUE(Contents(dir_ / (std::string(variants[i]->name) + ".together")) == alone[i]) << variants[i]->name;
  }
}

}  // namespace
}  // namespace travune::apitest
