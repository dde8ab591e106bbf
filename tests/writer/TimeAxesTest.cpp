// The time axes of generated acquisitions of every source type (rates, stamps, own stamps, dates)
// in every writer that writes one, read back by the format's decoder against the generator's clock.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "samples/Calendar.h"
#include "samples/Samples.h"
#include "writer/WriterRuns.h"
#include "writer/decoders/Decoders.h"

namespace travune::testing {
namespace {

// The times a file holds, one per scan written, in seconds: each scan's native time (days
// since 30 December 1899 for dated sources, else from the trigger) or from the trigger scan.
struct Axis {
  std::vector<double> seconds;
  bool native = true;
  bool everyScan = false;  // a scan range keeps every scan of the acquisition, 0 outside it
  double absTolerance = 2e-6;  // dates near 45000 days carry about a microsecond
  double relTolerance = 0.0;
};

// The spreadsheet's time column: "+hhh:mm:ss" from the trigger or clock time and date, with
// milliseconds ("000") or microseconds ("000.000") when printed, to half their unit.
Axis SheetAxis(const std::string& data, const std::string&) {
  Axis axis;
  const TextSheet sheet = ReadTextSheet(data);
  if (!sheet.ok || sheet.timeFields == 0) return axis;
  const bool dated = sheet.units[0] == "hh:mm:ss";
  const bool fraction = sheet.timeFields == (dated ? 3 : 2);
  const double unit = !fraction || sheet.times.empty() ? 1.0 : sheet.times[0][1].size() == 3 ? 1e-3 : 1e-6;
  axis.absTolerance += 0.5 * unit;
  for (const auto& fields : sheet.times) axis.seconds.push_back(TimeFieldsValue(fields) * (dated ? 86400.0 : 1.0));
  return axis;
}

// The time channel, implicit or explicit, in seconds from the trigger as floats.
Axis DIAdemAxis(const std::string& data, const std::string& header) {
  return {DecodeDIAdemTimes(data, header), false, false, 2e-6, 1.2e-7};
}

// Clock stamps: the calendar fields of each scan's date.
Axis HalvardAxis(const std::string& data, const std::string& header) {
  Axis axis;
  const double unixEpoch = static_cast<double>(samples::AutomationDay(1970, 1, 1)) * 86400.0;
  for (const HalvardStamp& s : DecodeHalvardStamps(data, header)) {
    const samples::CivilTime t{1900 + s.year, s.month, s.day, s.hour, s.minute, s.second,
                               s.microsecond};
    axis.seconds.push_back(unixEpoch + static_cast<double>(samples::MicrosecondsFromCivil(t)) / 1e6);
  }
  return axis;
}

// Unevenly spaced channels: every channel's times (six digits or floats) from the trigger.
Axis UffAxis(const std::string& data, const std::string&) {
  Axis axis;
  axis.native = false;
  axis.relTolerance = 6e-6;
  const UffContents file = ReadUff(data);
  EXPECT_TRUE(file.ok) << file.error;
  for (const UffChannelData& channel : file.channels) {
    EXPECT_EQ(channel.times, file.channels[0].times) << "channel " << channel.label;
  }
  if (file.ok && !file.channels.empty()) axis.seconds = file.channels[0].times;
  return axis;
}

// The block file's x values: seconds from the trigger at one rate, else each scan's native time
// in seconds, as floats.
Axis BlockAxis(const std::string& data, const std::string&) {
  Axis axis;
  const BlockFile file = ReadBlockFile(data);
  EXPECT_TRUE(file.ok) << file.error;
  axis.seconds = file.x;
  axis.native = file.spacing == "Non-Uniform";
  axis.everyScan = true;
  axis.relTolerance = 1e-6;
  return axis;
}

// When a writer writes times at all.
enum class Present { kAlways, kDatedSources, kNever, kAfterPreTriggerScans };

struct TimedWriter {
  const char* name;
  int32_t format;
  uint32_t flags;
  Axis (*read)(const std::string& data, const std::string& header);
  Present present;
  bool ranges;  // also converted for a scan range
};

const TimedWriter kWriters[] = {
    {"spreadsheet", TRAVUNE_FMT_ASCII, TRAVUNE_FLAG_SCAN_TIMES, SheetAxis, Present::kAlways, true},
    {"DIAdem", TRAVUNE_FMT_DIADEM, 0, DIAdemAxis, Present::kAlways, false},
    {"Halvard", TRAVUNE_FMT_HALVARD, TRAVUNE_FLAG_SCAN_TIMES, HalvardAxis, Present::kDatedSources, false},
    {"Halvard without times", TRAVUNE_FMT_HALVARD, 0, HalvardAxis, Present::kNever, false},
    {"UFF text", TRAVUNE_FMT_UFF58_ASCII, 0, UffAxis, Present::kAfterPreTriggerScans, true},
    {"UFF binary", TRAVUNE_FMT_UFF58_BINARY, 0, UffAxis, Present::kAfterPreTriggerScans, true},
    {"ME'scope", TRAVUNE_FMT_MESCOPE, 0, BlockAxis, Present::kAlways, true},
};

struct Variant {
  const char* name;
  samples::SampleSpec sample;
  uint32_t flags;
};

const Variant kVariants[] = {
    {"morvane", SampleOf(TRAVUNE_SRC_MORVANE, 600, 100), 0},
    {"morvane untriggered", SampleOf(TRAVUNE_SRC_MORVANE, 600, 0), 0},
    {"tarquil", SampleOf(TRAVUNE_SRC_TARQUIL, 600, 30), 0},
    {"tarquil packed", SampleOf(TRAVUNE_SRC_TARQUIL, 501, 50, false, true), 0},
    {"brenlow stamps", SampleOf(TRAVUNE_SRC_BRENLOW, 600, 60, true), 0},
    {"brenlow own stamps", SampleOf(TRAVUNE_SRC_BRENLOW, 600, 60, true), TRAVUNE_FLAG_OWN_STAMPS},
    {"vexmoor", SampleOf(TRAVUNE_SRC_VEXMOOR, 500, 10), 0},
    {"threnix stamps", SampleOf(TRAVUNE_SRC_THRENIX, 500, 10, true), 0},
    {"quillon", SampleOf(TRAVUNE_SRC_QUILLON, 600, 100), 0},
    {"celdrin", SampleOf(TRAVUNE_SRC_CELDRIN, 600, 100), 0},
    {"celdrin own stamps", SampleOf(TRAVUNE_SRC_CELDRIN, 600, 50, true), TRAVUNE_FLAG_OWN_STAMPS},
};

bool WritesTimes(const TimedWriter& w, const samples::SampleSpec& sample) {
  switch (w.present) {
    case Present::kAlways: return true;
    case Present::kDatedSources: return samples::ExpectedScanTime(sample, 0) > 1.0;
    case Present::kNever: return false;
    case Present::kAfterPreTriggerScans: return sample.preTrig > 0;
  }
  return false;
}

// The axis of scans [first, first + count) against the generator's times of those scans.
void ExpectTimes(const Axis& axis, const samples::SampleSpec& sample, int64_t first, int64_t count) {
  const int64_t offset = axis.everyScan ? first : 0;
  ASSERT_EQ(static_cast<int64_t>(axis.seconds.size()), axis.everyScan ? sample.scans : count);
  if (axis.everyScan && axis.native) {
    for (int64_t s = 0; s < sample.scans; ++s) {
      const bool converted = s >= first && s < first + count;
      ASSERT_TRUE(converted || axis.seconds[static_cast<size_t>(s)] == 0.0) << "scan " << s;
    }
  }
  const double reference = axis.native ? 0.0 : samples::ExpectedScanTime(sample, sample.preTrig);
  int failures = 0;
  for (int64_t s = 0; s < count && failures < 5; ++s) {
    const double expected = (samples::ExpectedScanTime(sample, first + s) - reference) * 86400.0;
    const double seconds = axis.seconds[static_cast<size_t>(offset + s)];
    if (!(std::fabs(seconds - expected) <= axis.absTolerance + axis.relTolerance * std::fabs(expected))) {
      ++failures;
      ADD_FAILURE() << "scan " << first + s << ": " << seconds << " s for " << expected << " s";
    }
  }
}

TEST(TimeAxes, EveryTimedWriterFollowsTheSourcesClock) {
  ScratchDir dir;
  ConversionRequest r;
  r.header = dir.File("out.hdr");
  r.data = dir.File("out.dat");
  for (const Variant& v : kVariants) {
    r.files = WriteSampleFiles(v.sample, dir, "acq");
    ASSERT_EQ(r.files.size(), 2u);
    r.sourceType = v.sample.type;
    for (const TimedWriter& w : kWriters) {
      SCOPED_TRACE(std::string(v.name) + " into " + w.name);
      r.format = w.format;
      r.flags = v.flags | w.flags;
      for (const int64_t first : {0, 37}) {  // every scan, then 301 scans from scan 37
        if (first > 0 && !w.ranges) break;
        const int64_t count = first > 0 ? 301 : v.sample.scans;
        r.firstScan = static_cast<uint32_t>(first);
        r.scanCount = first > 0 ? 301 : 0;
        ASSERT_EQ(Convert(r), 0);
        ExpectTimes(w.read(r.data, r.header), v.sample, first, WritesTimes(w, v.sample) ? count : 0);
      }
    }
  }
}

}  // namespace
}  // namespace travune::testing
