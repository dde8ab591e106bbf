// Tests of the Quillon source: signature and hostile descriptions (counts, cut counted texts,
// truncation), channel fields, clamping to the channel range and dated scan times.
#include "source/SrcFmtQuillon.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "source/SourceImages.h"
#include "support/LittleEndian.h"

namespace travune {
namespace {

using QDesc = testutil::QuillonDesc;
using testutil::QuillonImage;

TEST(SrcFmtQuillonTest, SignatureAndHostileDescriptions) {
  struct Case {
    const char* name;
    std::function<void(QDesc&)> change;
    bool signature;
    bool accepted;
    int32_t numChans;
  };
  const Case cases[] = {
      {"good", [](QDesc&) {}, true, true, 2},
      {"application name in lower case", [](QDesc& d) { d.app = "quillon"; }, false, false, 0},
      {"file kind one byte longer", [](QDesc& d) { d.kind = "DSC File "; }, false, false, 0},
      {"huge application name length", [](QDesc& d) { d.appClaim = 0xFFFFFFFFu; }, false, false, 0},
      {"negative channel count", [](QDesc& d) { d.numChans = -1; }, true, false, 0},
      {"one record missing", [](QDesc& d) { d.numChans = 3; }, true, false, 0},
      {"huge label length", [](QDesc& d) { d.channels[0].labelClaim = 0xFFFFFFFFu; }, true, false, 0},
      {"huge last text cut to the end", [](QDesc& d) { d.channels[1].lastClaim = 0x7FFFFFFFu; }, true, true, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    QDesc d;
    c.change(d);
    const std::vector<uint8_t> image = QuillonImage(d);
    DescReader reader(image.data(), image.size());
    reader.Seek(3);
    EXPECT_EQ(IsQuillonDescription(reader), c.signature);
    EXPECT_EQ(reader.Offset(), 0u);
    const SrcFmtQuillon source(image.data(), image.size());
    EXPECT_EQ(source.GetStatus(), c.accepted ? 0 : -1);
    if (c.accepted) {
      EXPECT_EQ(source.GetNumChans(), c.numChans);
    }
  }

  // Cut anywhere before the last counted text's bytes, the description is rejected; inside
  // them, the text is cut and the description still reads.
  const std::vector<uint8_t> full = QuillonImage(QDesc{});
  for (size_t size = 0; size < full.size(); ++size) {
    const SrcFmtQuillon source(full.data(), size);
    EXPECT_EQ(source.GetStatus(), size >= full.size() - 3 ? 0 : -1) << size;
  }
  EXPECT_EQ(SrcFmtQuillon(nullptr, 100).GetStatus(), -1);
}

// Channel 0 a type-5 channel with a 300-byte label on -2 ... 3; channel 1 with its limits given
// the wrong way round (read as 1 ... 5); channel 2 on the default -10 ... 10. Raw floats are
// clamped to the range, alone and in a raw block of two scans.
TEST(SrcFmtQuillonTest, ChannelFieldsAndClampingToTheRange) {
  QDesc d;
  d.channels.resize(3);
  d.channels[0] = {.type = 5, .lower = -2.0f, .upper = 3.0f, .label = std::string(300, 'L')};
  d.channels[1].upper = 1.0f;
  d.channels[1].lower = 5.0f;
  const std::vector<uint8_t> image = QuillonImage(d);
  SrcFmtQuillon source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  EXPECT_STREQ(source.GetDescVersion(), "3.14");
  source.SetDataFileSize(100.0);
  EXPECT_EQ(source.GetNumScans(), 8);  // 12-byte scans
  EXPECT_EQ(std::string(source.GetChanLabel(0)), std::string(300, 'L'));
  EXPECT_STREQ(source.GetChanUnits(3), "<err>");
  EXPECT_EQ(source.GetChanPrecision(0), 0);
  EXPECT_EQ(source.GetChanPrecision(1), 6);
  double lower = 0.0, upper = 0.0;
  ASSERT_TRUE(source.GetChanRange(1, &lower, &upper));
  EXPECT_EQ(lower, 1.0);
  EXPECT_EQ(upper, 5.0);

  struct Case { int32_t chan; float raw; double user; };
  const Case cases[] = {
      {0, -5.0f, -2.0}, {0, 0.25f, 0.25}, {0, 1e30f, 3.0}, {1, 0.0f, 1.0}, {1, 6.0f, 5.0}, {3, 2.5f, 0.0},
  };
  for (const Case& c : cases) {
    uint8_t raw[4];
    le::PutF32(raw, c.raw);
    EXPECT_EQ(source.ScaleSample(c.chan, raw), c.user) << "chan " << c.chan << " raw " << c.raw;
  }
  uint8_t block[24];
  const float values[] = {-7.0f, 4.0f, 9.0f, 1.5f, 0.5f, -11.0f};
  for (int i = 0; i < 6; ++i) le::PutF32(block + 4 * i, values[i]);
  source.SetRawBlock(block, 2, 3);
  const double expected[] = {-2.0, 4.0, 9.0, 1.5, 1.0, -10.0};
  for (int i = 0; i < 6; ++i) {
    double v = 0.0;
    source.GetScaledValue(3 + i / 3, i % 3, &v);
    EXPECT_EQ(v, expected[i]) << i;
  }
}

TEST(SrcFmtQuillonTest, ScanTimesAreDatedFromTheTrigger) {
  struct Case {
    const char* name;
    double scanRate;
    int32_t preTrigCount;
    int64_t scan;
    double seconds;  // from the trigger date
  };
  const Case cases[] = {
      {"ten scans before the trigger", 4.0, 100, 90, -2.5},
      {"after the trigger", 4.0, 100, 104, 1.0},
      {"rate 0 counts one second per scan", 0.0, 100, 97, -3.0},
      {"largest pre-trigger count", 1.0, 2147483647, 0, -2147483647.0},
      {"beyond 32-bit scans", 1000.0, 0, 5000000000, 5000000.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    QDesc d;
    d.scanRate = c.scanRate;
    d.preTrigCount = c.preTrigCount;
    const std::vector<uint8_t> image = QuillonImage(d);
    SrcFmtQuillon source(image.data(), image.size());
    ASSERT_EQ(source.GetStatus(), 0);
    double t = 0.0;
    ASSERT_TRUE(source.GetNativeScanTime(c.scan, &t));
    EXPECT_DOUBLE_EQ(t, 37623.5 + c.seconds / 86400.0);
    // Relative to the trigger, the same distance in days.
    const TimeFormat relative{1, 0, 0, kRefTrigger, 0};
    ASSERT_TRUE(source.GetScanTime(c.scan, &t, &relative));
    EXPECT_NEAR(t * 86400.0, c.seconds, 1e-5);
  }
}

}  // namespace
}  // namespace travune
