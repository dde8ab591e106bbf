// DADiSP writer: the header file byte for byte (data set name, rate, series and units lines,
// long lines), a data file of floats only; and the list-line builder the headers share.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "writer/FakeSource.h"
#include "writer/HeaderLines.h"
#include "writer/WriterRuns.h"
#include "writer/TgtFmtDADiSP.h"

namespace travune {
namespace {

using testing::FakeChannel;
using testing::FakeSource;

TEST(HeaderLines, ListLinesGoOutInPiecesOnceTheyHoldMoreThan896Characters) {
  const std::string item(98, 'x');  // with ", " one 100-character item
  const std::vector<std::string> nineItems(9, item + ", ");
  std::vector<std::string> upTo896(8, item + ", ");  // 4 + 8 x 100 + 92 = 896: not more than 896
  upTo896.push_back(std::string(90, 'y') + ", ");
  upTo896.push_back("z, ");
  std::vector<std::string> past896 = nineItems;  // 4 + 9 x 100 = 904 after the ninth item
  past896.push_back("z, ");
  std::vector<std::string> twice = nineItems;  // 904, then 9 x 100 = 900 again, then the rest
  twice.insert(twice.end(), nineItems.begin(), nineItems.end());
  twice.push_back("z, ");
  const struct {
    const char* name;
    std::string head;
    std::vector<std::string> items;
    size_t separator;
    std::vector<size_t> pieceSizes;
  } cases[] = {
      {"no items", "KEY", {}, 2, {5}},
      {"one item loses its separator", "K=", {"a, "}, 2, {5}},
      {"comma only", "SERIES", {" a ,", " b ,"}, 1, {15}},
      {"exactly 896 stays whole", "HEAD", upTo896, 2, {4 + 800 + 92 + 1 + 2}},
      {"more than 896 goes out", "HEAD", past896, 2, {904, 1 + 2}},
      {"each time the line passes 896", "HEAD", twice, 2, {904, 900, 1 + 2}},
      {"never after the last item", "HEAD", {std::string(1000, 'q') + ", "}, 2, {1006}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<std::string> pieces;
    HeaderLines lines([&pieces](std::string_view piece) {
      pieces.emplace_back(piece);
      return true;
    });
    ASSERT_TRUE(lines.WriteList(c.head, c.items, c.separator));
    std::string whole = c.head;
    for (const std::string& i : c.items) whole += i;
    if (!c.items.empty()) whole.resize(whole.size() - c.separator);
    whole += "\r\n";
    std::string joined;
    std::vector<size_t> sizes;
    for (const std::string& p : pieces) {
      joined += p;
      sizes.push_back(p.size());
    }
    EXPECT_EQ(joined, whole);
    EXPECT_EQ(sizes, c.pieceSizes);
    EXPECT_EQ(joined.find("\r\n"), joined.size() - 2);
  }
}

TEST(HeaderLines, AFailingSinkStopsTheList) {
  int calls = 0;
  HeaderLines lines([&calls](std::string_view) { return ++calls > 1 ? true : false; });
  const std::vector<std::string> items(20, std::string(98, 'x') + ", ");
  EXPECT_FALSE(lines.WriteList("HEAD", items, 2));
  EXPECT_EQ(calls, 1);
}

class TgtFmtDADiSPTest : public testing::HeaderedWriterTest {};

TEST_F(TgtFmtDADiSPTest, HeaderFileByteForByte) {
  const struct {
    const char* name;
    std::vector<FakeChannel> chans;
    const char* version;
    double rate;
    const char* file;
    std::string header;
  } cases[] = {
      {"labels lose their dashes, units keep them",
       {{"Volt-A-1", "m-V"}, {"T", "degC"}},
       "1.0",
       1000.0,
       "run_1.dat",
       "DATASET run_1\r\nCOMMENT Fake 1.0\r\nVERSION Next\r\nFILE_TYPE FLOAT\r\nNUM_SERIES 2\r\n"
       "STORAGE_MODE INTERLACED\r\nHORZ_UNITS Secs\r\nRATE 1000.000000\r\n"
       "SERIES Volt_A_1 , T \r\nVERT_UNITS m-V , degC \r\n"},
      {"empty version, fractional rate, one channel",
       {{"x", ""}},
       "",
       12.5,
       "a.b.DAT",
       "DATASET a.b\r\nCOMMENT Fake \r\nVERSION Next\r\nFILE_TYPE FLOAT\r\nNUM_SERIES 1\r\n"
       "STORAGE_MODE INTERLACED\r\nHORZ_UNITS Secs\r\nRATE 12.500000\r\nSERIES x \r\nVERT_UNITS  \r\n"},
      {"rate 0",
       {{"c", "V"}},
       "7",
       0.0,
       "z.dat",
       "DATASET z\r\nCOMMENT Fake 7\r\nVERSION Next\r\nFILE_TYPE FLOAT\r\nNUM_SERIES 1\r\n"
       "STORAGE_MODE INTERLACED\r\nHORZ_UNITS Secs\r\nRATE 0.000000\r\nSERIES c \r\nVERT_UNITS V \r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<double> values;
    for (size_t i = 0; i < 3 * c.chans.size(); ++i) values.push_back(0.5 * static_cast<double>(i));
    FakeSource source(c.chans, values);
    source.SetRates(c.rate, c.rate);
    source.SetTitle("Fake", c.version);
    TgtFmtDADiSP writer(&source);
    const auto files = testing::RunWriter(writer, Path(c.file), Path("h.hed"), 3, 0, 3, 2);
    EXPECT_EQ(files.header, c.header);
    // The data file holds the floats and nothing else: 0.5 is 00 00 00 3F.
    ASSERT_EQ(files.data.size(), 4 * values.size());
    EXPECT_EQ(files.data.substr(4, 4), std::string("\x00\x00\x00\x3F", 4));
  }
}

TEST_F(TgtFmtDADiSPTest, LongSeriesLinesStayOneTextLine) {
  std::vector<FakeChannel> chans;
  std::string series = "SERIES";
  std::string units = "VERT_UNITS";
  for (int i = 0; i < 60; ++i) {
    const std::string n = std::to_string(100 + i);
    chans.push_back({"a-long-channel-label-" + n, "unit-" + n});
    series += " a_long_channel_label_" + n + " ,";
    units += " unit-" + n + " ,";
  }
  series.pop_back();  // the last comma becomes the line end
  units.pop_back();
  FakeSource source(chans, std::vector<double>(60 * 2, 1.0));
  TgtFmtDADiSP writer(&source);
  const auto files = testing::RunWriter(writer, Path("long.dat"), Path("long.hed"), 2, 0, 2, 2);
  const size_t start = files.header.find("\r\nSERIES ");
  ASSERT_NE(start, std::string::npos);
  EXPECT_GT(series.size(), 896u);  // long enough to go out in pieces
  EXPECT_EQ(files.header.substr(start + 2), series + "\r\n" + units + "\r\n");
}

}  // namespace
}  // namespace travune
