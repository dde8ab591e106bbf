// DADiSP writer: the header file byte for byte (data set name, rate, series and units lines, long
// lines; its data file of floats is EveryWriter's), and the list-line builder the headers share.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "writer/FakeSource.h"
#include "writer/HeaderLines.h"
#include "writer/TgtFmtDADiSP.h"
#include "writer/WriterRuns.h"

namespace travune {
namespace {

using testing::FakeChannel;
using testing::FakeSource;

// n items of 100 characters with their ", ", then tail.
std::vector<std::string> Items(size_t n, const std::vector<std::string>& tail) {
  std::vector<std::string> items(n, std::string(98, 'x') + ", ");
  items.insert(items.end(), tail.begin(), tail.end());
  return items;
}

// A list line goes out in a piece each time it passes 896 characters. What the pieces hold, items
// and separators, shows in the DADiSP headers below and in the Snap-Master key lines.
TEST(HeaderLines, ListLinesGoOutInPiecesOnceTheyHoldMoreThan896Characters) {
  const struct {
    const char* name;
    std::vector<std::string> items;
    std::vector<size_t> pieceSizes;
  } cases[] = {
      {"no items", {}, {6}},
      {"exactly 896 stays whole", Items(8, {std::string(90, 'y') + ", ", "z, "}), {4 + 800 + 92 + 1 + 2}},
      {"more than 896 goes out", Items(9, {"z, "}), {904, 1 + 2}},
      {"each time the line passes 896", Items(18, {"z, "}), {904, 900, 1 + 2}},
      {"never after the last item", {std::string(1000, 'q') + ", "}, {1006}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<size_t> sizes;
    HeaderLines lines([&sizes](std::string_view piece) {
      sizes.push_back(piece.size());
      return true;
    });
    ASSERT_TRUE(lines.WriteList("HEAD", c.items, 2));
    EXPECT_EQ(sizes, c.pieceSizes);
  }
}

TEST(HeaderLines, AFailingSinkStopsTheList) {
  int calls = 0;
  HeaderLines lines([&calls](std::string_view) { return ++calls > 1; });
  EXPECT_FALSE(lines.WriteList("HEAD", Items(20, {}), 2));
  EXPECT_EQ(calls, 1);
}

class TgtFmtDADiSPTest : public testing::HeaderedWriterTest {};

TEST_F(TgtFmtDADiSPTest, HeaderFileByteForByte) {
  const std::string fixed = "VERSION Next\r\nFILE_TYPE FLOAT\r\n";
  // 60 long labels and units: series and units lines of more than 896 characters, one text line each.
  std::vector<FakeChannel> many;
  std::string series = "SERIES";
  std::string units = "VERT_UNITS";
  for (int i = 0; i < 60; ++i) {
    const std::string n = std::to_string(100 + i);
    many.push_back({"a-long-channel-label-" + n, "unit-" + n});
    series += " a_long_channel_label_" + n + " ,";
    units += " unit-" + n + " ,";
  }
  series.back() = '\r';  // the last comma becomes the line end
  units.back() = '\r';
  const struct {
    const char* name;
    std::vector<FakeChannel> chans;
    const char* version;
    double rate;
    const char* file;
    std::string header;
  } cases[] = {
      {"labels lose their dashes, units keep them", {{"Volt-A-1", "m-V"}, {"T", "degC"}}, "1.0", 1000.0, "run_1.dat",
       "DATASET run_1\r\nCOMMENT Fake 1.0\r\n" + fixed + "NUM_SERIES 2\r\nSTORAGE_MODE INTERLACED\r\n"
       "HORZ_UNITS Secs\r\nRATE 1000.000000\r\nSERIES Volt_A_1 , T \r\nVERT_UNITS m-V , degC \r\n"},
      {"empty version, fractional rate, one channel", {{"x", ""}}, "", 12.5, "a.b.DAT",
       "DATASET a.b\r\nCOMMENT Fake \r\n" + fixed + "NUM_SERIES 1\r\nSTORAGE_MODE INTERLACED\r\n"
       "HORZ_UNITS Secs\r\nRATE 12.500000\r\nSERIES x \r\nVERT_UNITS  \r\n"},
      {"rate 0", {{"c", "V"}}, "7", 0.0, "z.dat",
       "DATASET z\r\nCOMMENT Fake 7\r\n" + fixed + "NUM_SERIES 1\r\nSTORAGE_MODE INTERLACED\r\n"
       "HORZ_UNITS Secs\r\nRATE 0.000000\r\nSERIES c \r\nVERT_UNITS V \r\n"},
      {"long lines", many, "1.0", 100.0, "long.dat",
       "DATASET long\r\nCOMMENT Fake 1.0\r\n" + fixed + "NUM_SERIES 60\r\nSTORAGE_MODE INTERLACED\r\n"
       "HORZ_UNITS Secs\r\nRATE 100.000000\r\n" + series + "\n" + units + "\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source(c.chans, std::vector<double>(3 * c.chans.size(), 0.5));
    source.SetRates(c.rate, c.rate);
    source.SetTitle("Fake", c.version);
    TgtFmtDADiSP writer(&source);
    const auto files = testing::RunWriter(writer, Path(c.file), Path("h.hed"), 3, 0, 3, 2);
    EXPECT_EQ(files.header, c.header);
  }
}

}  // namespace
}  // namespace travune
