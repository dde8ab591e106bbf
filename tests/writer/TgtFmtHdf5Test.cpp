// The HDF5 writer read back through the HDF5 C library: every value equals the raw-float
// conversion, times equal the handle API's, attributes describe the channels and the file, and
// blocks, channel subsets, scan ranges and compression keep the values where they belong.
#include <gtest/gtest.h>
#include <hdf5.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/LittleEndian.h"
#include "writer/FakeSource.h"
#include "writer/TgtFmtHdf5.h"
#include "writer/WriterRuns.h"

namespace travune::testing {
namespace {

// Reading helpers: each opens what it reads and closes it again; failures give empty results.
struct Dataset {
  std::vector<hsize_t> dims;
  std::vector<double> values;  // every element, converted by HDF5 to double
};

Dataset ReadDataset(const std::string& path, const char* name) {
  Dataset result;
  const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
  if (file < 0) return result;
  const hid_t dataset = H5Lexists(file, name, H5P_DEFAULT) > 0 ? H5Dopen2(file, name, H5P_DEFAULT) : -1;
  if (dataset >= 0) {
    const hid_t space = H5Dget_space(dataset);
    result.dims.resize(static_cast<size_t>(H5Sget_simple_extent_ndims(space)));
    H5Sget_simple_extent_dims(space, result.dims.data(), nullptr);
    result.values.resize(static_cast<size_t>(H5Sget_simple_extent_npoints(space)));
    if (H5Dread(dataset, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, result.values.data()) < 0) {
      result.values.clear();
    }
    H5Sclose(space);
    H5Dclose(dataset);
  }
  H5Fclose(file);
  return result;
}

// The attribute of the object at objectPath ("/" or "data") as doubles, or its texts.
std::vector<double> NumberAttribute(const std::string& path, const char* objectPath, const char* name) {
  std::vector<double> values;
  const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
  const hid_t attribute = H5Aopen_by_name(file, objectPath, name, H5P_DEFAULT, H5P_DEFAULT);
  if (attribute >= 0) {
    const hid_t space = H5Aget_space(attribute);
    values.resize(static_cast<size_t>(H5Sget_simple_extent_npoints(space)));
    H5Aread(attribute, H5T_NATIVE_DOUBLE, values.data());
    H5Sclose(space);
    H5Aclose(attribute);
  }
  H5Fclose(file);
  return values;
}

std::vector<std::string> TextAttribute(const std::string& path, const char* objectPath, const char* name) {
  std::vector<std::string> texts;
  const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
  const hid_t attribute = H5Aopen_by_name(file, objectPath, name, H5P_DEFAULT, H5P_DEFAULT);
  if (attribute >= 0) {
    const hid_t space = H5Aget_space(attribute);
    const hid_t type = H5Aget_type(attribute);
    std::vector<char*> pointers(static_cast<size_t>(H5Sget_simple_extent_npoints(space)));
    if (H5Aread(attribute, type, pointers.data()) >= 0) {
      for (char* p : pointers) texts.emplace_back(p ? p : "");
      H5Dvlen_reclaim(type, space, H5P_DEFAULT, pointers.data());
    }
    H5Tclose(type);
    H5Sclose(space);
    H5Aclose(attribute);
  }
  H5Fclose(file);
  return texts;
}

bool IsDeflated(const std::string& path) {
  const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
  const hid_t dataset = H5Dopen2(file, "data", H5P_DEFAULT);
  const hid_t layout = H5Dget_create_plist(dataset);
  bool deflated = false;
  for (int i = 0; i < H5Pget_nfilters(layout); ++i) {
    deflated = deflated || H5Pget_filter2(layout, static_cast<unsigned>(i), nullptr, nullptr, nullptr, 0, nullptr,
                                          nullptr) == H5Z_FILTER_DEFLATE;
  }
  H5Pclose(layout);
  H5Dclose(dataset);
  H5Fclose(file);
  return deflated;
}

std::vector<float> FloatsOf(const std::string& bytes) {
  std::vector<float> values(bytes.size() / 4);
  for (size_t i = 0; i < values.size(); ++i) values[i] = le::F32(bytes.data() + 4 * i);
  return values;
}

// Converts acq into path with options (format set here); the status of the first failing step.
int32_t ConvertTo(tvnAcq* acq, int32_t format, const std::string& path, tvnConvOptions options) {
  options.format = format;
  options.dataName = path.c_str();
  return apitest::ConvertWithHandles(acq, options);
}

struct SourceCase {
  int type;
  bool stamps;
  bool compress;
};

const SourceCase kSourceCases[] = {
    {TRAVUNE_SRC_MORVANE, false, false}, {TRAVUNE_SRC_TARQUIL, false, true}, {TRAVUNE_SRC_BRENLOW, true, false},
    {TRAVUNE_SRC_VEXMOOR, false, true},  {TRAVUNE_SRC_THRENIX, false, false}, {TRAVUNE_SRC_QUILLON, false, true},
    {TRAVUNE_SRC_CELDRIN, true, false},
};

TEST(TgtFmtHdf5, EverySourceReadsBackEqualToTheRawFloatConversionWithTimesAndAttributes) {
  for (const SourceCase& c : kSourceCases) {
    SCOPED_TRACE(tvnFormatName(c.type, 1));
    ScratchDir dir;
    const std::vector<std::string> files = WriteSampleFiles(SampleOf(c.type, 530, 25, c.stamps), dir, "run");
    ASSERT_EQ(files.size(), 2u);
    tvnAcq* acq = nullptr;
    ASSERT_EQ(tvnAcqOpen(files[0].c_str(), files[1].c_str(), c.type, &acq), TVN_OK);
    tvnAcqInfo info;
    ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
    tvnConvOptions options{};
    options.count = -1;
    ASSERT_EQ(ConvertTo(acq, TRAVUNE_FMT_FLOAT32, dir.File("run.f32"), options), TVN_OK);
    options.flags = TRAVUNE_FLAG_SCAN_TIMES | (c.compress ? TRAVUNE_FLAG_COMPRESS : 0);
    const std::string h5 = dir.File("run.h5");
    ASSERT_EQ(ConvertTo(acq, TRAVUNE_FMT_HDF5, h5, options), TVN_OK);

    const std::vector<float> expected = FloatsOf(FileBytes(dir.File("run.f32")));
    const Dataset data = ReadDataset(h5, "data");
    ASSERT_EQ(data.dims, (std::vector<hsize_t>{530, static_cast<hsize_t>(info.channels)}));
    ASSERT_EQ(data.values.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(static_cast<float>(data.values[i]), expected[i]) << i;
    EXPECT_EQ(IsDeflated(h5), c.compress);

    std::vector<double> times(530);
    ASSERT_EQ(tvnAcqGetScanTimes(acq, 0, 530, times.data()), TVN_OK);
    EXPECT_EQ(ReadDataset(h5, "time").values, times);

    EXPECT_EQ(NumberAttribute(h5, "/", "pre_trigger_scans"), std::vector<double>{25});
    EXPECT_EQ(NumberAttribute(h5, "/", "post_trigger_rate"), std::vector<double>{info.postTrigRate});
    EXPECT_EQ(TextAttribute(h5, "/", "description_file"),
              std::vector<std::string>{std::filesystem::path(files[0]).filename().string()});
    const std::vector<std::string> labels = TextAttribute(h5, "data", "label");
    const std::vector<std::string> units = TextAttribute(h5, "data", "units");
    const std::vector<double> ranges = NumberAttribute(h5, "data", "range");
    ASSERT_EQ(labels.size(), static_cast<size_t>(info.channels));
    ASSERT_EQ(units.size(), labels.size());
    ASSERT_EQ(ranges.size(), 2 * labels.size());
    for (int32_t ch = 0; ch < info.channels; ++ch) {
      tvnChanInfo chan;
      ASSERT_EQ(tvnAcqGetChanInfo(acq, ch, &chan), TVN_OK);
      EXPECT_EQ(labels[static_cast<size_t>(ch)], chan.label);
      EXPECT_EQ(units[static_cast<size_t>(ch)], chan.units);
      EXPECT_EQ(ranges[2 * static_cast<size_t>(ch)], chan.lower);
      EXPECT_EQ(ranges[2 * static_cast<size_t>(ch) + 1], chan.upper);
    }
    tvnAcqClose(acq);
  }
}

TEST(TgtFmtHdf5, ChannelSubsetAndScanRangeKeepTheirPlaceInTheFile) {
  ScratchDir dir;
  const std::vector<std::string> files = WriteSampleFiles(SampleOf(TRAVUNE_SRC_QUILLON, 600, 40), dir, "run");
  tvnAcq* acq = nullptr;
  ASSERT_EQ(tvnAcqOpen(files[0].c_str(), files[1].c_str(), 0, &acq), TVN_OK);
  tvnAcqInfo info;
  ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
  const int32_t last = info.channels - 1;
  const int32_t pick[] = {last, 0};
  tvnConvOptions options{};
  options.first = 100;
  options.count = 250;
  options.chans = pick;
  options.numChans = 2;
  options.flags = TRAVUNE_FLAG_COMPRESS;
  const std::string h5 = dir.File("part.h5");
  ASSERT_EQ(ConvertTo(acq, TRAVUNE_FMT_HDF5, h5, options), TVN_OK);

  std::vector<float> all(600 * static_cast<size_t>(info.channels));
  ASSERT_EQ(tvnAcqReadFloat32(acq, 0, 600, nullptr, 0, all.data()), TVN_OK);
  const Dataset data = ReadDataset(h5, "data");
  ASSERT_EQ(data.dims, (std::vector<hsize_t>{250, 2}));
  for (size_t s = 0; s < 250; ++s) {
    const size_t row = (100 + s) * static_cast<size_t>(info.channels);
    ASSERT_EQ(static_cast<float>(data.values[2 * s]), all[row + static_cast<size_t>(last)]) << s;
    ASSERT_EQ(static_cast<float>(data.values[2 * s + 1]), all[row]) << s;
  }
  // The trigger scan 40 lies 100 scans before the first one written; no time dataset unasked.
  EXPECT_EQ(NumberAttribute(h5, "/", "pre_trigger_scans"), std::vector<double>{-60});
  EXPECT_TRUE(ReadDataset(h5, "time").dims.empty());
  tvnChanInfo lastChan;
  ASSERT_EQ(tvnAcqGetChanInfo(acq, last, &lastChan), TVN_OK);
  EXPECT_EQ(TextAttribute(h5, "data", "label").at(0), lastChan.label);
  tvnAcqClose(acq);
}

// 2024-03-05 06:07:08.250, 45356 days after 30 December 1899.
constexpr double kStartDays = 45356.0 + (6 * 3600 + 7 * 60 + 8.25) / 86400.0;

TEST(TgtFmtHdf5, SmallBlocksFillEveryRowAndDateTheTrigger) {
  const int64_t scans = 100;
  std::vector<double> values;
  for (int64_t s = 0; s < scans; ++s) {
    for (int c = 0; c < 3; ++c) values.push_back(0.37 * static_cast<double>(s) - 1.5 * c + 1e-3);
  }
  FakeSource source({{"Load", "kN"}, {"Strain", "ue"}, {"Temp", "degC"}}, values);
  source.SetRates(100.0, 100.0);
  source.SetPreTrigCount(10);
  source.SetAbsolute(kStartDays);
  WriterContext context;
  context.flags = TRAVUNE_FLAG_SCAN_TIMES;
  TgtFmtHdf5 writer(&source, context);
  ASSERT_TRUE(writer.IsOk());
  ScratchDir dir;
  const std::string h5 = dir.File("blocks.h5");
  RunWriter(writer, h5, dir.File("unused.hdr"), scans, 0, scans, 7);

  const Dataset data = ReadDataset(h5, "data");
  ASSERT_EQ(data.dims, (std::vector<hsize_t>{100, 3}));
  for (size_t i = 0; i < values.size(); ++i) {
    ASSERT_EQ(static_cast<float>(data.values[i]), static_cast<float>(values[i])) << i;
  }
  const Dataset time = ReadDataset(h5, "time");
  ASSERT_EQ(time.values.size(), 100u);
  // Scan s lies (s - 10) / 100 seconds from the trigger, which lies 0.1 s after scan 0.
  for (int64_t s = 0; s < scans; ++s) {
    EXPECT_NEAR(time.values[static_cast<size_t>(s)], kStartDays + static_cast<double>(s) / 100.0 / 86400.0, 1e-10);
  }
  EXPECT_EQ(TextAttribute(h5, "/", "trigger_time"), std::vector<std::string>{"2024-03-05T06:07:08.350000"});
  EXPECT_EQ(TextAttribute(h5, "/", "source_type"), std::vector<std::string>{"Fake"});
  EXPECT_EQ(TextAttribute(h5, "time", "units"), std::vector<std::string>{"days since 1899-12-30 00:00:00"});
}

TEST(TgtFmtHdf5, AnOutputThatCannotBeCreatedFailsAndLeavesOtherFilesAlone) {
  ScratchDir dir;
  const std::vector<std::string> files = WriteSampleFiles(SampleOf(TRAVUNE_SRC_MORVANE, 50, 0), dir, "run");
  const std::string before = FileBytes(files[1]);
  tvnAcq* acq = nullptr;
  ASSERT_EQ(tvnAcqOpen(files[0].c_str(), files[1].c_str(), 0, &acq), TVN_OK);
  tvnConvOptions options{};
  options.count = -1;
  EXPECT_EQ(ConvertTo(acq, TRAVUNE_FMT_HDF5, dir.File("missing/run.h5"), options), TVN_ERR_OUTPUT_CREATE);
  tvnAcqClose(acq);
  EXPECT_EQ(FileBytes(files[1]), before);
  EXPECT_FALSE(std::filesystem::exists(dir.File("missing")));
}

TEST(TgtFmtHdf5, OnlyTheHandleApiKnowsTheFormat) {
  EXPECT_EQ(cvtGetMaxFormats(), 14);
  EXPECT_EQ(cvtGetFormatById(TRAVUNE_FMT_HDF5, 0, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(tvnFormatIdFromName("hdf5", 0), TRAVUNE_FMT_HDF5);
  EXPECT_STREQ(tvnFormatName(TRAVUNE_FMT_HDF5, 0), "HDF5");
  int32_t id = 0;
  char ext1[16] = {};
  EXPECT_EQ(tvnGetFormatByIndex(14, 0, nullptr, ext1, nullptr, nullptr, nullptr, &id), 1);
  EXPECT_EQ(id, TRAVUNE_FMT_HDF5);
  EXPECT_STREQ(ext1, "H5");
  EXPECT_EQ(tvnGetFormatByIndex(15, 0, nullptr, nullptr, nullptr, nullptr, nullptr, &id), -1);
}

}  // namespace
}  // namespace travune::testing
