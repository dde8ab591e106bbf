// The conversion functions end to end on files in a temp dir: statuses, percent steps, ranges
// past the end, the files left behind, and writers held to their contract.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "api/ApiTestKit.h"

namespace travune::apitest {
namespace {

class CvtSessionTest : public ::testing::Test {
 protected:
  void SetUp() override { cvtReleaseResources(); }
  void TearDown() override { cvtReleaseResources(); }

  std::string Path(const char* name) const { return scratch_.File(name); }
  // numChans counter channels of scale 1 over a data file of dataBytes zeros (sparse).
  void WriteAcquisition(int32_t numChans, int64_t dataBytes) {
    Store(Path("a.DSC"), CounterDescription(numChans, 10, 100.0f));
    Store(Path("a.bin"), std::string());
    fs::resize_file(Path("a.bin"), static_cast<uintmax_t>(dataBytes));
  }
  int32_t Open() { return cvtReadBinDescFile(Path("a.DSC").c_str(), Path("a.bin").c_str(), TRAVUNE_SRC_MORVANE); }
  int32_t Init(int32_t format = TRAVUNE_FMT_FLOAT32, const char* name = "out.F32") {
    return cvtInitDataFileEx(Path("hdr").c_str(), Path(name).c_str(), format, 0);
  }

  Scratch scratch_;
};

TEST_F(CvtSessionTest, ReportsEveryOpeningFailureAndTakesANullHeaderName) {
  EXPECT_EQ(cvtGetNumScans(), -1);
  EXPECT_EQ(Init(), TRAVUNE_ERR_SOURCE);
  WriteAcquisition(1, 20);
  Store(Path("bad.DSC"), std::vector<uint8_t>{1, 2, 3});
  struct Case { const char* name; std::string desc, data; int32_t type; int32_t expected; };
  const Case cases[] = {
      {"missing description", Path("none.DSC"), Path("a.bin"), 3, TRAVUNE_ERR_DESC_OPEN},
      {"missing data file", Path("a.DSC"), Path("none.bin"), 3, TRAVUNE_ERR_SOURCE},
      {"unknown source type", Path("a.DSC"), Path("a.bin"), 9, TRAVUNE_ERR_SOURCE},
      {"description not accepted", Path("bad.DSC"), Path("a.bin"), 3, TRAVUNE_ERR_DESC_INVALID},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(cvtReadBinDescFile(c.desc.c_str(), c.data.c_str(), c.type), c.expected);
    EXPECT_EQ(cvtGetNumScans(), -1);
    // Both input files were closed again: they can be opened exclusively.
    EXPECT_TRUE(platform::File::OpenRead(Path("a.bin").c_str()).IsOpen());
    EXPECT_TRUE(platform::File::OpenRead(Path("a.DSC").c_str()).IsOpen());
  }
  ASSERT_GE(Open(), 0);
  for (int32_t id : {1, 16, -1}) EXPECT_EQ(Init(id), TRAVUNE_ERR_BAD_FORMAT_ID) << id;
  EXPECT_EQ(cvtConvertBinData(TRAVUNE_FMT_FLOAT32), TRAVUNE_ERR_DATA_CREATE);
  // A null header name serves formats without a header file; DIAdem, which writes one, fails.
  EXPECT_EQ(cvtInitDataFileEx(nullptr, Path("out.F32").c_str(), TRAVUNE_FMT_FLOAT32, 0), 0);
  EXPECT_EQ(cvtCloseDataFile(TRAVUNE_FMT_FLOAT32), 0);
  EXPECT_EQ(cvtInitDataFileEx(nullptr, Path("out.R32").c_str(), TRAVUNE_FMT_DIADEM, 0), TRAVUNE_ERR_WRITER);
  cvtCloseDataFile(TRAVUNE_FMT_DIADEM);
}

TEST_F(CvtSessionTest, PercentAdvancesInStepsOfOne) {
  // 16,000,000 bytes of 16-byte scans: 160,000-byte blocks of 10,000 scans each.
  WriteAcquisition(8, 16'000'000);
  ASSERT_EQ(Open(), 16'000'000);
  EXPECT_EQ(cvtGetNumChansUser(), 8);
  EXPECT_EQ(cvtGetScanSize(), 16);
  EXPECT_EQ(cvtGetNumScans(), 1'000'000);
  ASSERT_EQ(Init(), 0);
  for (int32_t p = 1; p <= 100; ++p) ASSERT_EQ(cvtConvertBinData(TRAVUNE_FMT_FLOAT32), p);
  // A call after the last block answers 100 again and writes nothing more.
  EXPECT_EQ(cvtConvertBinData(TRAVUNE_FMT_FLOAT32), 100);
  ASSERT_EQ(cvtCloseDataFile(TRAVUNE_FMT_FLOAT32), 0);
  EXPECT_EQ(fs::file_size(Path("out.F32")), 32'000'000u);
}

TEST_F(CvtSessionTest, ARangePastTheEndFailsAtTheBlockThatReachesIt) {
  WriteAcquisition(1, 2 * 2048);
  ASSERT_GE(Open(), 0);
  ASSERT_EQ(Init(), 0);
  // Blocks hold 2048 scans; the range [1900, 3900) reaches past scan 2047 in its first block.
  cvtSetBinDataBlock(1900, 2000, 0);
  EXPECT_EQ(cvtConvertBinData(TRAVUNE_FMT_FLOAT32), TRAVUNE_ERR_DATA_READ);
  cvtCloseDataFile(TRAVUNE_FMT_FLOAT32);
  // The range [0, 2049) fails in its second block; the first block's output stays written.
  ASSERT_EQ(Init(), 0);
  cvtSetBinDataBlock(0, 2049, 0);
  EXPECT_EQ(cvtConvertBinData(TRAVUNE_FMT_FLOAT32), 99);
  EXPECT_EQ(cvtConvertBinData(TRAVUNE_FMT_FLOAT32), TRAVUNE_ERR_DATA_READ);
  cvtCloseDataFile(TRAVUNE_FMT_FLOAT32);
  EXPECT_EQ(fs::file_size(Path("out.F32")), 4u * 2048);
}

TEST_F(CvtSessionTest, DataFilesOfTwoGigabytesAndMore) {
  // From 2 GiB the size reads negative and the data file is given up; the source stays.
  WriteAcquisition(1, (int64_t{1} << 31) + 2);
  EXPECT_EQ(Open(), static_cast<int32_t>(0x80000002u));
  EXPECT_EQ(cvtGetNumChansUser(), 1);
  EXPECT_TRUE(platform::File::OpenRead(Path("a.bin").c_str()).IsOpen());
  cvtReleaseResources();
  // 4 GiB and more is refused.
  fs::resize_file(Path("a.bin"), uintmax_t{1} << 32);
  EXPECT_EQ(Open(), TRAVUNE_ERR_DATA_READ);
  EXPECT_EQ(cvtGetNumChansUser(), -1);
  EXPECT_TRUE(platform::File::OpenRead(Path("a.bin").c_str()).IsOpen());
}

TEST_F(CvtSessionTest, NeverOverwritesTheInputAndLeavesOutputsOnFailure) {
  WriteAcquisition(1, 0);
  Store(Path("a.bin"), std::string("twenty bytes of data"));
  ASSERT_GE(Open(), 0);
  // The data file is held by the session: creating the output over it fails, leaving it whole.
  EXPECT_EQ(Init(TRAVUNE_FMT_FLOAT32, "a.bin"), TRAVUNE_ERR_DATA_CREATE);
  EXPECT_EQ(Contents(Path("a.bin")), "twenty bytes of data");
  EXPECT_EQ(cvtCloseDataFile(TRAVUNE_FMT_FLOAT32), 0);
}

// Writers injected through the session's writer maker, each breaking one rule of the contract.
enum class Misbehaviour { kFailsConstruction, kNegativeBlock, kFailsFinish, kTakesDataFile, kLiesAboutSize, kHeader };

class ScriptedWriter : public TgtFmt {
 public:
  ScriptedWriter(SrcFmt* source, Misbehaviour how) : TgtFmt(source), how_(how) {
    outputBytesPerScan_ = 2;
    headerFile_ = how == Misbehaviour::kHeader;
    ok_ = how != Misbehaviour::kFailsConstruction;
  }
  bool PreConvert(const char*, platform::File* data, platform::File* header, int64_t) override {
    if (header != nullptr) header->WriteAt(0, "H", 1);
    if (how_ == Misbehaviour::kHeader) data->WriteAt(0, "pre", 3);  // blocks must follow these bytes
    if (how_ == Misbehaviour::kTakesDataFile) {
      data->Close();
      tookDataFile_ = true;
    }
    return true;
  }
  bool PostConvert() override { return how_ != Misbehaviour::kFailsFinish; }
  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t) override {
    if (how_ == Misbehaviour::kNegativeBlock) return -5;
    if (how_ == Misbehaviour::kTakesDataFile) return 0;  // it places its data itself
    // A liar fills one byte more than two per scan, as a text writer that under-estimated would.
    const size_t bytes = static_cast<size_t>(scans) * 2 + (how_ == Misbehaviour::kLiesAboutSize ? 1 : 0);
    if (uint8_t* p = out.Extend(bytes)) std::memset(p, 'x', bytes);
    return static_cast<int64_t>(bytes);
  }

 private:
  Misbehaviour how_;
};

Misbehaviour gScript = Misbehaviour::kNegativeBlock;

std::unique_ptr<TgtFmt> MakeScripted(int32_t, SrcFmt* source, const WriterContext&) {
  return std::make_unique<ScriptedWriter>(source, gScript);
}

TEST_F(CvtSessionTest, HoldsEveryWriterToItsContract) {
  struct Case {
    Misbehaviour how;
    int32_t init, convert, close;
    const char* data;    // the output data file afterwards ("-" when absent)
    const char* header;  // the header file afterwards ("-" when absent)
  };
  const Case cases[] = {
      {Misbehaviour::kFailsConstruction, TRAVUNE_ERR_WRITER, TRAVUNE_ERR_DATA_CREATE, 0, "-", "-"},
      {Misbehaviour::kNegativeBlock, 0, TRAVUNE_ERR_FAILED, 0, "", "-"},
      {Misbehaviour::kFailsFinish, 0, 100, TRAVUNE_ERR_WRITER, "xxxxxxxxxxxxxxxxxxxx", "-"},
      {Misbehaviour::kLiesAboutSize, 0, TRAVUNE_ERR_FAILED, 0, "", "-"},
      {Misbehaviour::kTakesDataFile, 0, 100, 0, "", "-"},
      {Misbehaviour::kHeader, 0, 100, 0, "prexxxxxxxxxxxxxxxxxxxx", "H"},
  };
  // Ten scans fit the first 4096-byte block: a good conversion answers 100 at once.
  WriteAcquisition(1, 20);
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.how));
    fs::remove(Path("out.F32"));
    fs::remove(Path("hdr"));
    gScript = c.how;
    TheCvtSession().SetWriterMaker(MakeScripted);
    ASSERT_EQ(Open(), 20);
    EXPECT_EQ(Init(), c.init);
    EXPECT_EQ(cvtConvertBinData(TRAVUNE_FMT_FLOAT32), c.convert);
    EXPECT_EQ(cvtCloseDataFile(TRAVUNE_FMT_FLOAT32), c.close);
    cvtReleaseResources();
    TheCvtSession().SetWriterMaker(nullptr);
    const auto text = [&](const char* name) { return fs::exists(Path(name)) ? Contents(Path(name)) : "-"; };
    // The construction failure leaves no file: the writer is refused before any is created.
    EXPECT_EQ(text("out.F32"), c.data);
    EXPECT_EQ(text("hdr"), c.header);
  }
}

}  // namespace
}  // namespace travune::apitest
