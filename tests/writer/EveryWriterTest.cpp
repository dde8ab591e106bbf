// Every source type into every writer, each output read back by an independent decoder of its
// format: the values are the scaled values (to what the format holds), a channel subset gives
// exactly the full output's columns, a scan range exactly its rows, and the bytes do not depend
// on the blocks (the exported functions in tiny blocks against the handle API in one block or
// in several), on the process locale, nor on a decimal mark the format does not print.
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "samples/Samples.h"
#include "travune/travune.h"
#include "writer/WriterRuns.h"
#include "writer/decoders/Code16.h"
#include "writer/decoders/Decoders.h"

namespace travune::testing {
namespace {

namespace fs = std::filesystem;

// How a decoded value stands to the scaled value x of its channel. Formats of 16-bit codes hold
// values inside the channel's range only (outside it the codes wrap, as their writers' own tests
// show): kInRange compares those.
enum class Holds { kFloat32, kPrinted, kCode16, kInRange };

struct Writer {
  int32_t format;
  Decoded (*decode)(const std::string& data, const std::string& header);
  Holds holds;
  bool printsMark;  // numbers in the user's decimal mark; the others ignore it
};

// Raw floats, read back with nothing but the byte order.
Decoded DecodeFloat32(const std::string& data, const std::string&) {
  const std::string bytes = FileContents(data);
  Decoded d;
  for (size_t i = 0; i + 4 <= bytes.size(); i += 4) d.values.push_back(LittleEndianFloat(&bytes[i]));
  d.ok = true;
  return d;
}

const Writer kWriters[] = {
    {TRAVUNE_FMT_FLOAT32, DecodeFloat32, Holds::kFloat32, false},
    {TRAVUNE_FMT_MESCOPE, DecodeBlock, Holds::kFloat32, false},
    {TRAVUNE_FMT_TEXT, DecodeText, Holds::kPrinted, true},
    {TRAVUNE_FMT_ASCII, DecodeAscii, Holds::kPrinted, true},
    {TRAVUNE_FMT_DADISP, DecodeDADiSP, Holds::kFloat32, false},
    {TRAVUNE_FMT_SNAPMASTER, DecodeSnapMaster, Holds::kFloat32, false},
    {TRAVUNE_FMT_DASYLAB, DecodeDASYLab, Holds::kInRange, false},
    {TRAVUNE_FMT_DIADEM, DecodeDIAdem, Holds::kFloat32, false},
    {TRAVUNE_FMT_MATLAB, DecodeMatlab, Holds::kPrinted, false},
    {TRAVUNE_FMT_HALVARD, DecodeHalvard, Holds::kInRange, true},
    {TRAVUNE_FMT_WAV, DecodeWav, Holds::kCode16, false},
    {TRAVUNE_FMT_UFF58_ASCII, DecodeUff, Holds::kPrinted, true},
    {TRAVUNE_FMT_UFF58_BINARY, DecodeUff, Holds::kFloat32, true},
};

struct Source {
  const char* name;
  int type;
  bool stamps;
  bool packed;
  bool manyBlocks;  // also converted long enough for the handle API to take several blocks
};

const Source kSources[] = {
    {"morvane", TRAVUNE_SRC_MORVANE, false, false, true}, {"tarquil", TRAVUNE_SRC_TARQUIL, false, false, false},
    {"tarquilPacked", TRAVUNE_SRC_TARQUIL, false, true, true}, {"brenlow", TRAVUNE_SRC_BRENLOW, true, false, true},
    {"vexmoor", TRAVUNE_SRC_VEXMOOR, false, false, false}, {"threnix", TRAVUNE_SRC_THRENIX, false, false, false},
    {"quillon", TRAVUNE_SRC_QUILLON, false, false, true},  {"celdrin", TRAVUNE_SRC_CELDRIN, true, false, true},
};

platform::LocalTime FixedClock() { return {2026, 11, 23, 12, 0, 0, 0}; }

class EveryWriter : public ::testing::Test {
 protected:
  // Converts through the handle API block by block (*blocks receives how many); the data and
  // header file names, or empty on failure.
  std::pair<std::string, std::string> Convert(tvnAcq* acq, int32_t format, const std::string& stem,
                                              const std::vector<int32_t>& chans, int64_t first = 0,
                                              int64_t count = -1, int64_t* blocks = nullptr) {
    char ext1[16], ext2[16];
    EXPECT_EQ(cvtGetFormatById(format, 0, nullptr, ext1, ext2, nullptr, nullptr), 1);
    // Formats share extensions: the stem names the format too.
    const std::string name = stem + std::to_string(format);
    const std::string data = (dir_ / (name + "." + ext1)).string();
    const std::string header = *ext2 ? (dir_ / (name + "." + ext2)).string() : "";
    tvnConvOptions options = apitest::ConvOptions(format, data);
    options.first = first;
    options.count = count;
    options.chans = chans.empty() ? nullptr : chans.data();
    options.numChans = static_cast<int32_t>(chans.size());
    tvnAcqInfo info;
    tvnAcqGetInfo(acq, &info);
    const int64_t total = count < 0 ? info.scans - first : count;
    tvnConv* conv = nullptr;
    int32_t status = tvnConvOpen(acq, &options, &conv);
    int64_t steps = 0;
    for (int64_t done = 0; status == TVN_OK && done < total; ++steps) status = tvnConvStep(conv, &done);
    if (blocks != nullptr) *blocks = steps;
    if (status == TVN_OK) status = tvnConvFinish(conv);
    tvnConvClose(conv);
    EXPECT_EQ(status, TVN_OK) << tvnStatusText(status);
    return status == TVN_OK ? std::make_pair(data, header) : std::make_pair(std::string(), std::string());
  }

  apitest::Scratch scratch_{FixedClock};
  const fs::path dir_ = scratch_.Root();
};

// A decoder of raw floats knows no channel count: give it the acquisition's.
void Shape(Decoded* d, int32_t chans) {
  d->chans = chans;
  d->scans = static_cast<int64_t>(d->values.size()) / chans;
}

// The value a format holds for x, and how far a decoded value may lie from it.
bool Matches(Holds holds, const Decoded& d, double decoded, double x, const tvnChanInfo& chan) {
  switch (holds) {
    case Holds::kFloat32:
      return decoded == static_cast<double>(static_cast<float>(x)) || (std::isnan(decoded) && std::isnan(x));
    case Holds::kCode16:
      return decoded == ExpectedCode16(x, chan.lower, chan.upper);
    case Holds::kInRange:
      if (!(x >= std::min(chan.lower, chan.upper) && x <= std::max(chan.lower, chan.upper))) return true;
      break;
    case Holds::kPrinted:
      break;
  }
  if (std::isnan(x)) return std::isnan(decoded);
  return std::fabs(decoded - x) <= d.absTolerance + d.relTolerance * std::fabs(x);
}

// A converted file read back; raw floats take their shape from the channels converted.
Decoded Decode(const Writer& writer, const std::string& data, const std::string& header, int32_t chans) {
  Decoded d = data.empty() ? Decoded{} : writer.decode(data, header);
  if (writer.decode == DecodeFloat32) Shape(&d, chans);
  return d;
}

// part holds exactly the rows first .. first + count - 1 of full, columns in the order given.
void ExpectRowsOf(const Decoded& full, const Decoded& part, int64_t first, int64_t count,
                  const std::vector<int32_t>& columns) {
  ASSERT_TRUE(part.ok);
  ASSERT_EQ(part.scans, count);
  ASSERT_EQ(part.chans, static_cast<int32_t>(columns.size()));
  for (int64_t s = 0; s < count; ++s) {
    for (size_t k = 0; k < columns.size(); ++k) {
      const double expected = full.values[static_cast<size_t>((first + s) * full.chans + columns[k])];
      const double got = part.values[static_cast<size_t>(s) * columns.size() + k];
      ASSERT_TRUE(got == expected || (std::isnan(got) && std::isnan(expected)))
          << "scan " << first + s << " column " << k << ": " << got << " vs " << expected;
    }
  }
}

// A range near the end of the 257 scans.
constexpr int64_t kRangeFirst = 211;
constexpr int64_t kRangeCount = 40;

// The exported functions in blocks of blockBytes raw bytes into the names of a handle-API
// conversion, whose bytes they must give again: under a process locale that prints decimal
// commas (where installed) and, for formats that print no decimal mark, with the user's mark ','.
void ExpectTheBytesOfExportedBlocks(const std::vector<std::string>& files, const Source& source,
                                    const Writer& writer, const std::string& data, const std::string& header,
                                    int64_t blockBytes) {
  const std::string dataBytes = FileContents(data);
  const std::string headerBytes = header.empty() ? "" : FileContents(header);
  fs::remove(data);
  if (!header.empty()) fs::remove(header);
  ConversionRequest blocks;
  blocks.files = files;
  blocks.sourceType = source.type;
  blocks.format = writer.format;
  blocks.blockBytes = blockBytes;
  blocks.mark = writer.printsMark ? platform::UserNumberConventions().decimalMark : ',';
  blocks.data = data;
  blocks.header = header.empty() ? data : header;
  const std::string previous = std::setlocale(LC_ALL, nullptr);
  std::setlocale(LC_ALL, "de_DE.UTF-8");
  const int32_t status = testing::Convert(blocks);
  std::setlocale(LC_ALL, previous.c_str());
  ASSERT_EQ(status, 0);
  EXPECT_TRUE(FileContents(data) == dataBytes) << "data bytes differ";
  EXPECT_TRUE(header.empty() || FileContents(header) == headerBytes) << "header differs";
}

TEST_F(EveryWriter, HoldsTheScaledValuesInAnySubsetRangeAndBlockSize) {
  for (const Source& source : kSources) {
    const samples::SampleSpec sample = apitest::SampleOf(source.type, 257, 17, 0, source.packed, source.stamps);
    const std::vector<std::string> files = scratch_.Sample(sample, source.name);
    ASSERT_EQ(files.size(), 2u);
    tvnAcq* acq = nullptr;
    ASSERT_EQ(tvnAcqOpen(files[0].c_str(), files[1].c_str(), source.type, &acq), TVN_OK);
    tvnAcqInfo info;
    ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
    const size_t chans = static_cast<size_t>(info.channels);
    std::vector<tvnChanInfo> channel(chans);
    for (size_t c = 0; c < chans; ++c) ASSERT_EQ(tvnAcqGetChanInfo(acq, static_cast<int32_t>(c), &channel[c]), TVN_OK);
    std::vector<double> scaled(static_cast<size_t>(info.scans) * chans);
    ASSERT_EQ(tvnAcqReadFloat64(acq, 0, info.scans, nullptr, 0, scaled.data()), TVN_OK);
    // The last channel, then the first: a subset that also reorders.
    const std::vector<int32_t> subset = {info.channels - 1, 0};
    struct FullFiles {
      const Writer* writer;
      std::string data, header;
    };
    std::vector<FullFiles> fullFiles;
    std::vector<int32_t> every(chans);
    for (size_t c = 0; c < chans; ++c) every[c] = static_cast<int32_t>(c);

    for (const Writer& writer : kWriters) {
      SCOPED_TRACE(std::string(source.name) + " into " + tvnFormatName(writer.format, 0));
      const auto [data, header] = Convert(acq, writer.format, "full", {});
      ASSERT_FALSE(data.empty());
      const Decoded full = Decode(writer, data, header, info.channels);
      ASSERT_TRUE(full.ok);
      ASSERT_EQ(full.scans, info.scans);
      ASSERT_EQ(full.chans, info.channels);
      int misses = 0;
      for (size_t i = 0; i < scaled.size() && misses < 5; ++i) {
        if (!Matches(writer.holds, full, full.values[i], scaled[i], channel[i % chans])) {
          ++misses;
          ADD_FAILURE() << "scan " << i / chans << " channel " << i % chans << ": decoded " << full.values[i]
                        << ", scaled " << scaled[i];
        }
      }

      const auto [subData, subHeader] = Convert(acq, writer.format, "subset", subset);
      ExpectRowsOf(full, Decode(writer, subData, subHeader, 2), 0, info.scans, subset);
      const auto [rangeData, rangeHeader] = Convert(acq, writer.format, "range", {}, kRangeFirst, kRangeCount);
      ExpectRowsOf(full, Decode(writer, rangeData, rangeHeader, info.channels), kRangeFirst, kRangeCount, every);

      fullFiles.push_back({&writer, data, header});
      for (const std::string& name : {subData, subHeader, rangeData, rangeHeader}) {
        if (!name.empty()) fs::remove(name);
      }
    }
    tvnAcqClose(acq);
    // The exported functions (which open the files themselves) in blocks of a few scans.
    for (const FullFiles& full : fullFiles) {
      SCOPED_TRACE(std::string(source.name) + " in small blocks into " + tvnFormatName(full.writer->format, 0));
      ExpectTheBytesOfExportedBlocks(files, source, *full.writer, full.data, full.header, 97);
    }
  }
}

// Large acquisitions, which the handle API cuts into several blocks (it keeps a block's scaled
// values within a few MiB), against the exported functions' blocks of 4096 raw bytes.
TEST_F(EveryWriter, HandleApiBlocksGiveTheBytesOfSmallExportedBlocks) {
  for (const Source& source : kSources) {
    if (!source.manyBlocks) continue;
    const samples::SampleSpec sample = apitest::SampleOf(source.type, 20000, 17, 16, source.packed, source.stamps);
    const std::vector<std::string> files = scratch_.Sample(sample, source.name);
    ASSERT_EQ(files.size(), 2u);
    // The handle API first: the exported functions open the acquisition once it is closed.
    tvnAcq* acq = nullptr;
    ASSERT_EQ(tvnAcqOpen(files[0].c_str(), files[1].c_str(), source.type, &acq), TVN_OK);
    std::vector<std::pair<std::string, std::string>> outputs;
    for (const Writer& writer : kWriters) {
      SCOPED_TRACE(std::string(source.name) + " into " + tvnFormatName(writer.format, 0));
      int64_t blocks = 0;
      outputs.push_back(Convert(acq, writer.format, "long", {}, 0, -1, &blocks));
      EXPECT_GT(blocks, 1) << "the acquisition fits one block: nothing is compared";
    }
    tvnAcqClose(acq);
    for (size_t w = 0; w < outputs.size(); ++w) {
      SCOPED_TRACE(std::string(source.name) + " in small blocks into " + tvnFormatName(kWriters[w].format, 0));
      const auto& [data, header] = outputs[w];
      ASSERT_FALSE(data.empty());
      ExpectTheBytesOfExportedBlocks(files, source, kWriters[w], data, header, 4096);
      fs::remove(data);
      if (!header.empty()) fs::remove(header);
    }
  }
}

}  // namespace
}  // namespace travune::testing
