// HDF5 writer read back through the HDF5 C library: small blocks, dated times, a channel subset and
// scan range, an output that cannot be created (every source read back: python/tests/test_hdf5.py).
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

// The last and the first channel of scans 100 to 349 keep their place and labels, with the
// trigger placed from the first scan written; then an output in a missing directory fails
// without creating it or touching the acquisition.
TEST(TgtFmtHdf5, SubsetAndRangeKeepTheirPlaceAndAMissingDirectoryFails) {
  ScratchDir dir;
  const std::vector<std::string> files = WriteSampleFiles(SampleOf(TRAVUNE_SRC_MORVANE, 530, 25), dir, "run");
  ASSERT_EQ(files.size(), 2u);
  const std::string before = FileBytes(files[1]);
  tvnAcq* acq = nullptr;
  ASSERT_EQ(tvnAcqOpen(files[0].c_str(), files[1].c_str(), TRAVUNE_SRC_MORVANE, &acq), TVN_OK);
  tvnAcqInfo info;
  ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
  const size_t chans = static_cast<size_t>(info.channels);
  ASSERT_GE(chans, 2u);
  std::vector<float> expected(530 * chans);
  ASSERT_EQ(tvnAcqReadFloat32(acq, 0, 530, nullptr, 0, expected.data()), TVN_OK);
  tvnChanInfo first, last;
  ASSERT_EQ(tvnAcqGetChanInfo(acq, 0, &first), TVN_OK);
  ASSERT_EQ(tvnAcqGetChanInfo(acq, info.channels - 1, &last), TVN_OK);

  const int32_t pick[] = {info.channels - 1, 0};
  const std::string h5 = dir.File("part.h5");
  tvnConvOptions part = apitest::ConvOptions(TRAVUNE_FMT_HDF5, h5);
  part.first = 100;
  part.count = 250;
  part.chans = pick;
  part.numChans = 2;
  part.flags = TRAVUNE_FLAG_COMPRESS;
  ASSERT_EQ(apitest::ConvertWithHandles(acq, part), TVN_OK);
  const Dataset data = ReadDataset(h5, "data");
  ASSERT_EQ(data.dims, (std::vector<hsize_t>{250, 2}));
  for (size_t s = 0; s < 250; ++s) {
    const size_t row = (100 + s) * chans;
    ASSERT_EQ(static_cast<float>(data.values[2 * s]), expected[row + chans - 1]) << s;
    ASSERT_EQ(static_cast<float>(data.values[2 * s + 1]), expected[row]) << s;
  }
  // The trigger scan 25 lies 75 scans before the first one written; no time dataset unasked.
  EXPECT_EQ(NumberAttribute(h5, "/", "pre_trigger_scans"), std::vector<double>{-75});
  EXPECT_TRUE(ReadDataset(h5, "time").dims.empty());
  EXPECT_EQ(TextAttribute(h5, "data", "label"), (std::vector<std::string>{last.label, first.label}));

  const std::string missing = dir.File("missing/run.h5");
  EXPECT_EQ(apitest::ConvertWithHandles(acq, apitest::ConvOptions(TRAVUNE_FMT_HDF5, missing)), TVN_ERR_OUTPUT_CREATE);
  tvnAcqClose(acq);
  EXPECT_EQ(FileBytes(files[1]), before);
  EXPECT_FALSE(std::filesystem::exists(dir.File("missing")));
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
  EXPECT_EQ(NumberAttribute(h5, "/", "post_trigger_rate"), std::vector<double>{100.0});
  EXPECT_EQ(TextAttribute(h5, "time", "units"), std::vector<std::string>{"days since 1899-12-30 00:00:00"});
}

// The exported functions list fourteen formats without it; the handle API lists it fifteenth
// (its name there and in the tool: python/tests/test_acquisition.py and test_hdf5.py).
TEST(TgtFmtHdf5, OnlyTheHandleApiKnowsTheFormat) {
  EXPECT_EQ(cvtGetMaxFormats(), 14);
  EXPECT_EQ(cvtGetFormatById(TRAVUNE_FMT_HDF5, 0, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
  int32_t id = 0;
  char ext1[16] = {};
  EXPECT_EQ(tvnGetFormatByIndex(14, 0, nullptr, ext1, nullptr, nullptr, nullptr, &id), 1);
  EXPECT_EQ(id, TRAVUNE_FMT_HDF5);
  EXPECT_STREQ(ext1, "H5");
}

}  // namespace
}  // namespace travune::testing
