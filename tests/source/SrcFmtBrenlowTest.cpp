// Tests of the Brenlow sources: hand-assembled descriptions accepted or refused, the record
// layout with its time-stamp records, clamping, precision, titles and scan times from the rate
// or from the stamps in the data (a raw block, or the data file itself).
#include "source/SrcFmtBrenlow.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "source/SourceImages.h"
#include "source/SrcFmtBrenlowTitled.h"
#include "support/LittleEndian.h"
#include "support/Time.h"

namespace travune {
namespace {

constexpr int32_t kStamp = 6;
constexpr double kJan1997 = 35431.0;  // 1 January 1997 = 36526 (1 January 2000) - 3 * 365

using Rec = testutil::BrenlowRecord;
using testutil::BrenlowImage;

const Rec kAnalog = {0, -10.0, 10.0, "Volt", "V"};
const Rec kTime = {kStamp, 0.0, 0.0, "Time", "s"};

SrcFmtBrenlow Make(const std::vector<uint8_t>& image) { return SrcFmtBrenlow(image.data(), image.size()); }

// Raw scans of 32-bit floats, one value per record.
std::vector<uint8_t> Scans(const std::vector<std::vector<float>>& scans) {
  std::vector<uint8_t> bytes;
  for (const std::vector<float>& scan : scans) {
    for (float v : scan) {
      uint8_t b[4];
      le::PutF32(b, v);
      bytes.insert(bytes.end(), b, b + 4);
    }
  }
  return bytes;
}

TEST(SrcFmtBrenlowTest, AcceptsOnlyWholeDescriptions) {
  const std::vector<uint8_t> one = BrenlowImage({kAnalog});
  std::vector<uint8_t> longer = one;
  longer.push_back(0);
  const std::vector<uint8_t> headerOnly(one.begin(), one.begin() + 56);
  struct Case { const char* name; std::vector<uint8_t> image; bool sizeRule; int32_t status; };
  const Case cases[] = {
      {"one record", one, true, 0},
      {"fewer records declared than present", BrenlowImage({kAnalog, kAnalog}, {.numRecords = 1}), true, 0},
      {"one byte too many", longer, false, -1},
      {"numRecords 0", BrenlowImage({kAnalog}, {.numRecords = 0}), true, -1},
      {"numRecords negative", BrenlowImage({kAnalog}, {.numRecords = -5}), true, -1},
      {"huge numRecords", BrenlowImage({kAnalog}, {.numRecords = INT32_MAX}), true, -1},
      {"header only, one record declared", headerOnly, true, -1},
      {"24 bytes (size - 56 wraps to a multiple of 112)", std::vector<uint8_t>(24, 1), false, -1},
  };
  for (const Case& c : cases) {
    DescReader reader(c.image.data(), c.image.size());
    EXPECT_EQ(IsBrenlowDescription(reader), c.sizeRule) << c.name;
    EXPECT_EQ(reader.Offset(), 0u) << c.name;
    EXPECT_EQ(Make(c.image).GetStatus(), c.status) << c.name;
    EXPECT_EQ(SrcFmtBrenlowTitled(c.image.data(), c.image.size(), "Vexmoor").GetStatus(), c.status) << c.name;
  }
  EXPECT_STREQ(SrcFmtBrenlowTitled(one.data(), one.size(), "Threnix").GetAppTitle(), "Threnix");
}

// Only the first type-6 record is the time source; later ones are neither channels nor stamps.
// Channel n lies at record GetChanIndex(n); a stamp needs three floats in the scan.
TEST(SrcFmtBrenlowTest, RecordLayoutWithTimeStamps) {
  const Rec pressure = {8, 0.0, 250.0, "ABCDEFGHIJKLMNOP", "unit567890123456789X"};  // texts without terminator
  SrcFmtBrenlow source = Make(BrenlowImage({kAnalog, kTime, kTime, kTime, pressure}, {.progScans = 77}));
  ASSERT_EQ(source.GetStatus(), 0);
  EXPECT_EQ(source.GetNumChans(), 2);
  EXPECT_EQ(source.GetScanSize(), 20);
  EXPECT_EQ(source.GetChanIndex(1), 4);
  EXPECT_EQ(source.GetChanIndex(3), -1);
  EXPECT_STREQ(source.GetChanLabel(1), "ABCDEFGHIJKLMNOP");
  EXPECT_STREQ(source.GetChanUnits(1), "unit567890123456789X");
  EXPECT_EQ(source.GetChanLabel(3), nullptr);
  EXPECT_EQ(source.GetChanPrecision(1), 1);  // type 8
  // Samples are clamped to their record's limits; an unknown channel reads 0.
  std::vector<uint8_t> block = Scans({{1.0f, 0.0f, 1.0f, 128.0f, 300.0f}, {-20.0f, 0.0f, 0.0f, 0.0f, 0.1f}});
  source.SetRawBlock(block.data(), 2, 0);
  const double expected[2][3] = {{1.0, 250.0, 0.0}, {-10.0, static_cast<double>(0.1f), 0.0}};
  for (int32_t chan = 0; chan < 3; ++chan) {
    for (int64_t scan = 0; scan < 2; ++scan) {
      double value = -1.0;
      source.GetScaledValue(scan, chan, &value);
      EXPECT_EQ(value, expected[scan][chan]) << "scan " << scan << " channel " << chan;
    }
  }
  // The stamp (0, 1, 128) from the stamp record's own position: 65536.5 s into 1997.
  double t = 0.0;
  ASSERT_TRUE(source.GetNativeScanTime(0, &t));
  EXPECT_NEAR(t, kJan1997 + SecondsToDays(65536.5), 1e-10);

  // A single stamp record at the end leaves no room for the stamp's other two floats: the
  // channels are read, the stamp is not.
  SrcFmtBrenlow cut = Make(BrenlowImage({kAnalog, kAnalog, kTime}));
  ASSERT_EQ(cut.GetStatus(), 0);
  EXPECT_EQ(cut.GetNumChans(), 2);
  EXPECT_EQ(cut.GetScanSize(), 12);
  EXPECT_EQ(cut.GetChanIndex(2), 2);
  block = Scans({{1.0f, 2.0f, 3.0f}});
  cut.SetRawBlock(block.data(), 1, 0);
  EXPECT_FALSE(cut.GetNativeScanTime(0, &t));
}

TEST(SrcFmtBrenlowTest, TimeFormatFollowsRateAndStamp) {
  struct Case {
    double rate;
    bool stamp;
    uint8_t timed;
    uint8_t absolute;
    uint32_t reference;
    uint32_t digits;
    bool uniform;
    double postRate;
  };
  const Case cases[] = {
      {0.0, true, 1, 1, 2, 6, false, 1.0},   {0.0, false, 0, 0, 2, 6, true, 1.0},
      {500.0, true, 1, 1, 0x80000001u, 3, true, 500.0}, {5000.0, false, 1, 0, 2, 6, true, 5000.0},
  };
  for (const Case& c : cases) {
    std::vector<Rec> records = {kAnalog};
    if (c.stamp) records.insert(records.end(), {kTime, kTime, kTime});
    SrcFmtBrenlow source = Make(BrenlowImage(records, {.rate = c.rate}));
    ASSERT_EQ(source.GetStatus(), 0);
    const TimeFormat& f = source.NativeTimeFormat();
    SCOPED_TRACE(testing::Message() << "rate " << c.rate << " stamp " << c.stamp);
    EXPECT_EQ(f.timed, c.timed);
    EXPECT_EQ(f.absolute, c.absolute);
    EXPECT_EQ(f.stampsInData, c.absolute);
    EXPECT_EQ(f.reference, c.reference);
    EXPECT_EQ(f.digits, c.digits);
    EXPECT_EQ(source.HasUniformRate(), c.uniform);
    EXPECT_EQ(source.GetPostTrigRate(), c.postRate);
    EXPECT_EQ(source.GetPreTrigRate(), c.postRate);
  }
}

// With a rate only scan 0's stamp is read and later scans follow from it; option bit 0 has
// every scan's own stamp read. Stamps (0, 100 s, 0) per scan, rate 10 scans a second: from a raw
// block, scan 5 (unknown before scan 0 is, by default); loaded from the data file (more than one
// 64 KiB block of scans), scan 0 and the trigger scan 2.
TEST(SrcFmtBrenlowTest, StampsWithRateDeriveFromScanZeroUnlessAsked) {
  std::vector<std::vector<float>> scans;
  for (int i = 0; i < 5000; ++i) scans.push_back({0.0f, 100.0f * static_cast<float>(i), 0.0f, 0.0f});
  std::vector<uint8_t> data = Scans(scans);
  const std::string path = testing::TempDir() + "brenlow_stamps.bin";
  ASSERT_TRUE(platform::File::Create(path.c_str()).Write(data.data(), data.size()));
  const std::vector<uint8_t> image = BrenlowImage({kAnalog, kTime, kTime, kTime}, {.rate = 10.0, .preTrig = 2});
  struct Case { uint32_t options; double seconds5, seconds2; };
  for (const Case& c : {Case{0, 0.5, 0.2}, Case{1, 500.0, 200.0}}) {
    SCOPED_TRACE(c.options);
    SrcFmtBrenlow fromBlock = Make(image);
    fromBlock.SetOptions(c.options);
    fromBlock.SetRawBlock(data.data(), 6, 0);
    double t = 0.0;
    EXPECT_EQ(fromBlock.GetNativeScanTime(5, &t), c.options == 1);
    ASSERT_TRUE(fromBlock.GetScanTime(0, &t));
    EXPECT_NEAR(t, kJan1997, 1e-10);
    ASSERT_TRUE(fromBlock.GetScanTime(5, &t));
    EXPECT_NEAR(t, kJan1997 + SecondsToDays(c.seconds5), 1e-10);

    SrcFmtBrenlow fromFile = Make(image);
    fromFile.SetOptions(c.options);
    fromFile.SetDataFileSize(static_cast<double>(data.size()));
    platform::File dataFile = platform::File::OpenRead(path.c_str());
    ASSERT_TRUE(fromFile.LoadTimeStamps(&dataFile));
    EXPECT_NEAR(fromFile.FirstScanTime(), kJan1997, 1e-10);
    ASSERT_TRUE(fromFile.GetScanTime(2, &t));
    EXPECT_NEAR(t, kJan1997 + SecondsToDays(c.seconds2), 1e-10);
  }
  platform::DeleteFile(path.c_str());
}

}  // namespace
}  // namespace travune
