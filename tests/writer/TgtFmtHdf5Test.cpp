// The HDF5 writer read back through the HDF5 C library: every value is the float of the scaled
// value, times equal the handle API's, attributes describe the channels and the file, and
// blocks, channel subsets, scan ranges and compression keep the values where they belong.
#include <gtest/gtest.h>
#include <hdf5.h>

#include <string>
#include <vector>

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

// Hands the attribute of the object at objectPath ("/" or "data") to read(attribute, type,
// space, elements) when it exists.
template <class Read>
void WithAttribute(const std::string& path, const char* objectPath, const char* name, Read read) {
  const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
  const hid_t attribute = H5Aopen_by_name(file, objectPath, name, H5P_DEFAULT, H5P_DEFAULT);
  if (attribute >= 0) {
    const hid_t space = H5Aget_space(attribute);
    const hid_t type = H5Aget_type(attribute);
    read(attribute, type, space, static_cast<size_t>(H5Sget_simple_extent_npoints(space)));
    H5Tclose(type);
    H5Sclose(space);
    H5Aclose(attribute);
  }
  H5Fclose(file);
}

std::vector<double> NumberAttribute(const std::string& path, const char* objectPath, const char* name) {
  std::vector<double> values;
  WithAttribute(path, objectPath, name, [&values](hid_t attribute, hid_t, hid_t, size_t elements) {
    values.resize(elements);
    H5Aread(attribute, H5T_NATIVE_DOUBLE, values.data());
  });
  return values;
}

std::vector<std::string> TextAttribute(const std::string& path, const char* objectPath, const char* name) {
  std::vector<std::string> texts;
  WithAttribute(path, objectPath, name, [&texts](hid_t attribute, hid_t type, hid_t space, size_t elements) {
    std::vector<char*> pointers(elements);
    if (H5Aread(attribute, type, pointers.data()) < 0) return;
    for (char* p : pointers) texts.emplace_back(p ? p : "");
    H5Dvlen_reclaim(type, space, H5P_DEFAULT, pointers.data());
  });
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

// Converts acq into path with options (format set here); the status of the first failing step.
int32_t ConvertTo(tvnAcq* acq, const std::string& path, tvnConvOptions options) {
  options.format = TRAVUNE_FMT_HDF5;
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

// Every value is the float of the scaled value; then the last and the first channel of scans
// 100 to 349 keep their place in a file of their own.
TEST(TgtFmtHdf5, EverySourceReadsBackAsItsScaledFloatsWithTimesAndAttributes) {
  for (const SourceCase& c : kSourceCases) {
    SCOPED_TRACE(tvnFormatName(c.type, 1));
    ScratchDir dir;
    const std::vector<std::string> files = WriteSampleFiles(SampleOf(c.type, 530, 25, c.stamps), dir, "run");
    ASSERT_EQ(files.size(), 2u);
    tvnAcq* acq = nullptr;
    ASSERT_EQ(tvnAcqOpen(files[0].c_str(), files[1].c_str(), c.type, &acq), TVN_OK);
    tvnAcqInfo info;
    ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
    const size_t chans = static_cast<size_t>(info.channels);
    std::vector<float> expected(530 * chans);
    ASSERT_EQ(tvnAcqReadFloat32(acq, 0, 530, nullptr, 0, expected.data()), TVN_OK);
    tvnConvOptions options{};
    options.count = -1;
    options.flags = TRAVUNE_FLAG_SCAN_TIMES | (c.compress ? TRAVUNE_FLAG_COMPRESS : 0);
    const std::string h5 = dir.File("run.h5");
    ASSERT_EQ(ConvertTo(acq, h5, options), TVN_OK);

    const Dataset data = ReadDataset(h5, "data");
    ASSERT_EQ(data.dims, (std::vector<hsize_t>{530, chans}));
    for (size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(static_cast<float>(data.values[i]), expected[i]) << i;
    EXPECT_EQ(IsDeflated(h5), c.compress);

    std::vector<double> times(530);
    ASSERT_EQ(tvnAcqGetScanTimes(acq, 0, 530, times.data()), TVN_OK);
    EXPECT_EQ(ReadDataset(h5, "time").values, times);

    EXPECT_EQ(NumberAttribute(h5, "/", "pre_trigger_scans"), std::vector<double>{25});
    EXPECT_EQ(NumberAttribute(h5, "/", "post_trigger_rate"), std::vector<double>{info.postTrigRate});
    EXPECT_EQ(TextAttribute(h5, "/", "description_file"),
              std::vector<std::string>{std::filesystem::path(files[0]).filename().string()});
    std::vector<std::string> labels, units;
    std::vector<double> ranges;
    for (int32_t ch = 0; ch < info.channels; ++ch) {
      tvnChanInfo chan;
      ASSERT_EQ(tvnAcqGetChanInfo(acq, ch, &chan), TVN_OK);
      labels.push_back(chan.label);
      units.push_back(chan.units);
      ranges.insert(ranges.end(), {chan.lower, chan.upper});
    }
    EXPECT_EQ(TextAttribute(h5, "data", "label"), labels);
    EXPECT_EQ(TextAttribute(h5, "data", "units"), units);
    EXPECT_EQ(NumberAttribute(h5, "data", "range"), ranges);

    const int32_t pick[] = {info.channels - 1, 0};
    tvnConvOptions part{};
    part.first = 100;
    part.count = 250;
    part.chans = pick;
    part.numChans = 2;
    part.flags = TRAVUNE_FLAG_COMPRESS;
    const std::string partH5 = dir.File("part.h5");
    ASSERT_EQ(ConvertTo(acq, partH5, part), TVN_OK);
    tvnAcqClose(acq);
    const Dataset partData = ReadDataset(partH5, "data");
    ASSERT_EQ(partData.dims, (std::vector<hsize_t>{250, 2}));
    for (size_t s = 0; s < 250; ++s) {
      const size_t row = (100 + s) * chans;
      ASSERT_EQ(static_cast<float>(partData.values[2 * s]), expected[row + chans - 1]) << s;
      ASSERT_EQ(static_cast<float>(partData.values[2 * s + 1]), expected[row]) << s;
    }
    // The trigger scan 25 lies 75 scans before the first one written; no time dataset unasked.
    EXPECT_EQ(NumberAttribute(partH5, "/", "pre_trigger_scans"), std::vector<double>{-75});
    EXPECT_TRUE(ReadDataset(partH5, "time").dims.empty());
    EXPECT_EQ(TextAttribute(partH5, "data", "label"), (std::vector<std::string>{labels.back(), labels.front()}));
  }
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
  EXPECT_EQ(ConvertTo(acq, dir.File("missing/run.h5"), options), TVN_ERR_OUTPUT_CREATE);
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
