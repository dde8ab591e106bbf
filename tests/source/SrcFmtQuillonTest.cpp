// Tests of the Quillon source: signature and hostile descriptions (counts, cut counted texts,
// truncation), channel fields, clamping to the channel range and dated scan times.
#include "source/SrcFmtQuillon.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/LittleEndian.h"

namespace travune {
namespace {

struct QChan {
  int32_t type = 1;
  float upper = 10.0f;
  std::string label = "Temp";
  float lower = -10.0f;
  std::string units = "degC";
  std::string third = "xyz";
  std::optional<uint32_t> labelClaim;  // a length word other than the text's size
  std::optional<uint32_t> thirdClaim;
};

struct QDesc {
  std::string app = "Quillon";
  std::optional<uint32_t> appClaim;
  uint32_t versionMajor = 3;
  uint32_t versionMinor = 14;
  std::string kind = "DSC File";
  std::optional<int16_t> numChans;  // the number of records when not set
  uint32_t progScans = 500;
  int32_t preTrigCount = 100;
  double scanRate = 4.0;
  double triggerDate = 37623.5;
  std::vector<QChan> channels = {QChan{}, QChan{}};
};

void PutU32(std::vector<uint8_t>& out, uint32_t v) {
  uint8_t b[4];
  le::PutU32(b, v);
  out.insert(out.end(), b, b + 4);
}

void PutF32(std::vector<uint8_t>& out, float v) {
  uint8_t b[4];
  le::PutF32(b, v);
  out.insert(out.end(), b, b + 4);
}

void PutF64(std::vector<uint8_t>& out, double v) {
  uint8_t b[8];
  le::PutF64(b, v);
  out.insert(out.end(), b, b + 8);
}

void PutText(std::vector<uint8_t>& out, const std::string& text, std::optional<uint32_t> claim) {
  PutU32(out, claim.value_or(static_cast<uint32_t>(text.size())));
  out.insert(out.end(), text.begin(), text.end());
}

std::vector<uint8_t> Image(const QDesc& d) {
  std::vector<uint8_t> out;
  PutText(out, d.app, d.appClaim);
  PutU32(out, d.versionMajor);
  PutU32(out, d.versionMinor);
  PutU32(out, 0x11111111u);
  PutText(out, d.kind, std::nullopt);
  const int16_t numChans = d.numChans.value_or(static_cast<int16_t>(d.channels.size()));
  out.push_back(static_cast<uint8_t>(numChans));
  out.push_back(static_cast<uint8_t>(static_cast<uint16_t>(numChans) >> 8));
  PutU32(out, d.progScans);
  PutU32(out, static_cast<uint32_t>(d.preTrigCount));
  PutU32(out, 0x22222222u);
  PutF64(out, d.scanRate);
  PutF64(out, d.triggerDate);
  for (const QChan& c : d.channels) {
    PutU32(out, static_cast<uint32_t>(c.type));
    PutF32(out, c.upper);
    PutText(out, c.label, c.labelClaim);
    PutF32(out, c.lower);
    for (int i = 0; i < 4; ++i) PutU32(out, 0x33333333u);
    PutText(out, c.units, std::nullopt);
    PutU32(out, 0x44444444u);
    PutU32(out, 0x55555555u);
    PutText(out, c.third, c.thirdClaim);
  }
  return out;
}

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
      {"application name with a terminator", [](QDesc& d) { d.app = std::string("Quillon", 8); }, false, false, 0},
      {"file kind differs in case", [](QDesc& d) { d.kind = "DSC file"; }, false, false, 0},
      {"file kind one byte longer", [](QDesc& d) { d.kind = "DSC File "; }, false, false, 0},
      {"huge application name length", [](QDesc& d) { d.appClaim = 0xFFFFFFFFu; }, false, false, 0},
      {"negative channel count", [](QDesc& d) { d.numChans = -1; }, true, false, 0},
      {"channel count no records can hold", [](QDesc& d) { d.numChans = 32767; }, true, false, 0},
      {"one record missing", [](QDesc& d) { d.numChans = 3; }, true, false, 0},
      {"no channels", [](QDesc& d) { d.numChans = 0; }, true, true, 0},
      {"huge label length", [](QDesc& d) { d.channels[0].labelClaim = 0xFFFFFFFFu; }, true, false, 0},
      {"huge last text cut to the end", [](QDesc& d) { d.channels[1].thirdClaim = 0x7FFFFFFFu; }, true, true, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    QDesc d;
    c.change(d);
    const std::vector<uint8_t> image = Image(d);
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
  const std::vector<uint8_t> full = Image(QDesc{});
  for (size_t size = 0; size < full.size(); ++size) {
    const SrcFmtQuillon source(full.data(), size);
    EXPECT_EQ(source.GetStatus(), size >= full.size() - 3 ? 0 : -1) << size;
  }
  std::vector<uint8_t> padded = full;
  padded.resize(full.size() + 17, 0xEE);
  EXPECT_EQ(SrcFmtQuillon(padded.data(), padded.size()).GetStatus(), 0);
  EXPECT_EQ(SrcFmtQuillon(nullptr, 100).GetStatus(), -1);
}

TEST(SrcFmtQuillonTest, ChannelFields) {
  QDesc d;
  d.channels.assign(5, QChan{});
  const int32_t types[] = {5, 7, 8, 1, 0};
  for (size_t i = 0; i < 5; ++i) d.channels[i].type = types[i];
  d.channels[0].label = std::string(300, 'L');
  d.channels[1].units = "";
  d.channels[2].upper = -1.0f;  // upper below lower: the two are exchanged
  d.channels[2].lower = 5.0f;
  const std::vector<uint8_t> image = Image(d);
  SrcFmtQuillon source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  EXPECT_STREQ(source.GetAppTitle(), "Quillon");
  EXPECT_STREQ(source.GetDescVersion(), "3.14");
  EXPECT_EQ(source.GetNumProgScans(), 500);
  EXPECT_EQ(source.GetScanSize(), 20);
  EXPECT_EQ(source.GetSampleSize(), 4);
  source.SetDataFileSize(100.0);
  EXPECT_EQ(source.GetNumScans(), 5);
  EXPECT_TRUE(source.HasUniformRate());
  EXPECT_EQ(source.GetPreTrigRate(), 4.0);
  EXPECT_EQ(source.GetPostTrigRate(), 4.0);
  EXPECT_EQ(source.GetPreTrigCount(), 100);
  EXPECT_EQ(std::string(source.GetChanLabel(0)), std::string(300, 'L'));
  EXPECT_STREQ(source.GetChanUnits(0), "degC");
  EXPECT_STREQ(source.GetChanUnits(1), "");
  EXPECT_STREQ(source.GetChanLabel(5), "<err>");
  EXPECT_STREQ(source.GetChanUnits(5), "<err>");
  const int32_t precisions[] = {0, 0, 0, 6, 6};
  for (int32_t chan = 0; chan < 5; ++chan) EXPECT_EQ(source.GetChanPrecision(chan), precisions[chan]) << chan;
  EXPECT_EQ(source.GetChanPrecision(5), -1);
  double lower = 0.0, upper = 0.0;
  ASSERT_TRUE(source.GetChanRange(2, &lower, &upper));
  EXPECT_EQ(lower, -1.0);
  EXPECT_EQ(upper, 5.0);
  EXPECT_FALSE(source.GetChanRange(5, &lower, &upper));

  QDesc none;
  none.numChans = 0;
  const std::vector<uint8_t> empty = Image(none);
  const SrcFmtQuillon noChannels(empty.data(), empty.size());
  ASSERT_EQ(noChannels.GetStatus(), 0);
  EXPECT_FALSE(noChannels.GetChanRange(0, &lower, &upper));
  EXPECT_EQ(noChannels.GetChanPrecision(0), -1);
  EXPECT_EQ(noChannels.ScaleSample(0, kZeroSample), 0.0);
}

TEST(SrcFmtQuillonTest, SamplesAreClampedToTheChannelRange) {
  QDesc d;
  d.channels[0].lower = -2.0f;
  d.channels[0].upper = 3.0f;
  d.channels[1].upper = 1.0f;  // exchanged: 1 ... 5
  d.channels[1].lower = 5.0f;
  const std::vector<uint8_t> image = Image(d);
  const SrcFmtQuillon source(image.data(), image.size());
  ASSERT_EQ(source.GetStatus(), 0);
  struct Case {
    int32_t chan;
    float raw;
    double user;
  };
  const Case cases[] = {
      {0, -5.0f, -2.0}, {0, -2.0f, -2.0}, {0, 0.25f, 0.25}, {0, 3.0f, 3.0}, {0, 1e30f, 3.0},
      {1, 0.0f, 1.0},   {1, 6.0f, 5.0},   {1, 2.5f, 2.5},   {2, 2.5f, 0.0}, {-1, 2.5f, 0.0},
  };
  for (const Case& c : cases) {
    uint8_t raw[4];
    le::PutF32(raw, c.raw);
    EXPECT_EQ(source.ScaleSample(c.chan, raw), c.user) << "chan " << c.chan << " raw " << c.raw;
  }
  // Two scans of two channels in a raw block.
  uint8_t block[16];
  const float values[] = {-7.0f, 4.0f, 1.5f, 0.5f};
  for (int i = 0; i < 4; ++i) le::PutF32(block + 4 * i, values[i]);
  SrcFmtQuillon reader(image.data(), image.size());
  double v = 0.0;
  reader.GetScaledValue(3, 1, &v);
  EXPECT_EQ(v, 1.0);  // no block yet: a raw zero, clamped
  reader.SetRawBlock(block, 2, 3);
  const double expected[] = {-2.0, 4.0, 1.5, 1.0};
  for (int i = 0; i < 4; ++i) {
    reader.GetScaledValue(3 + i / 2, i % 2, &v);
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
      {"first scan", 4.0, 100, 0, -25.0},
      {"trigger scan", 4.0, 100, 100, 0.0},
      {"after the trigger", 4.0, 100, 104, 1.0},
      {"rate 0 counts one second per scan", 0.0, 100, 103, 3.0},
      {"rate 0 before the trigger", 0.0, 100, 97, -3.0},
      {"largest pre-trigger count", 1.0, 2147483647, 0, -2147483647.0},
      {"beyond 32-bit scans", 1000.0, 0, 5000000000, 5000000.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    QDesc d;
    d.scanRate = c.scanRate;
    d.preTrigCount = c.preTrigCount;
    const std::vector<uint8_t> image = Image(d);
    SrcFmtQuillon source(image.data(), image.size());
    ASSERT_EQ(source.GetStatus(), 0);
    EXPECT_EQ(source.NativeTimeFormat().absolute, 1);
    EXPECT_EQ(source.NativeTimeFormat().timed, 1);
    double t = 0.0;
    ASSERT_TRUE(source.GetNativeScanTime(c.scan, &t));
    EXPECT_DOUBLE_EQ(t, 37623.5 + c.seconds / 86400.0);
    // Relative to the trigger, the same distance in days.
    const TimeFormat relative{1, 0, 0, kRefTrigger, 0};
    double trig = 0.0;
    ASSERT_TRUE(source.GetScanTime(c.preTrigCount, &trig));
    double r = 0.0;
    ASSERT_TRUE(source.GetScanTime(c.scan, &r, &relative));
    EXPECT_NEAR(r * 86400.0, c.seconds, 1e-5);
  }
  QDesc fast;
  fast.scanRate = 2000.0;
  const std::vector<uint8_t> image = Image(fast);
  EXPECT_EQ(SrcFmtQuillon(image.data(), image.size()).NativeTimeFormat().digits, 6u);
}

}  // namespace
}  // namespace travune
