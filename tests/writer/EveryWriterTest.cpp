// Every source type into every writer, read back by an independent decoder of each format: the
// scaled values, subsets and ranges of the full output, and bytes that depend neither on the
// blocks, the process locale nor a decimal mark the format does not print.
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
using Files = std::pair<std::string, std::string>;  // data and header (empty when none)

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

// Raw floats, read back with nothing but the byte order; the shape comes from the caller.
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

std::string Trace(const Source& source, const char* how, const Writer& writer) {
  return std::string(source.name) + how + tvnFormatName(writer.format, 0);
}

class EveryWriter : public ::testing::Test {
 protected:
  // The generated acquisition of source (trigger at scan 17) opened; files_ names its files.
  tvnAcq* Open(const Source& source, int64_t scans, int chans) {
    files_ = scratch_.Sample(apitest::SampleOf(source.type, scans, 17, chans, source.packed, source.stamps),
                             source.name);
    tvnAcq* acq = nullptr;
    EXPECT_EQ(files_.size(), 2u);
    if (files_.size() == 2) {
      EXPECT_EQ(tvnAcqOpen(files_[0].c_str(), files_[1].c_str(), source.type, &acq), TVN_OK);
    }
    return acq;
  }

  // Converts through the handle API block by block (*blocks receives how many); the output
  // files, or empty names on failure.
  Files Convert(tvnAcq* acq, int32_t format, const std::string& stem, const std::vector<int32_t>& chans,
                int64_t first = 0, int64_t count = -1, int64_t* blocks = nullptr) {
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
    return status == TVN_OK ? Files(data, header) : Files();
  }

  // The exported functions in blocks of blockBytes raw bytes into the names of each writer's
  // handle-API output, whose bytes they must give again (the files are removed afterwards): under
  // a process locale that prints decimal commas (where installed) and, for formats that print no
  // decimal mark, with the user's mark ','.
  void ExpectExportedBlocksGiveTheBytes(const Source& source, const std::vector<Files>& outputs,
                                        int64_t blockBytes) {
    for (size_t w = 0; w < outputs.size(); ++w) {
      SCOPED_TRACE(Trace(source, " in small blocks into ", kWriters[w]));
      const auto& [data, header] = outputs[w];
      ASSERT_FALSE(data.empty());
      const std::string dataBytes = FileContents(data);
      const std::string headerBytes = header.empty() ? "" : FileContents(header);
      fs::remove(data);
      if (!header.empty()) fs::remove(header);
      ConversionRequest blocks;
      blocks.files = files_;
      blocks.sourceType = source.type;
      blocks.format = kWriters[w].format;
      blocks.blockBytes = blockBytes;
      blocks.mark = kWriters[w].printsMark ? platform::UserNumberConventions().decimalMark : ',';
      blocks.data = data;
      blocks.header = header.empty() ? data : header;
      const std::string previous = std::setlocale(LC_ALL, nullptr);
      std::setlocale(LC_ALL, "de_DE.UTF-8");
      const int32_t status = testing::Convert(blocks);
      std::setlocale(LC_ALL, previous.c_str());
      ASSERT_EQ(status, 0);
      EXPECT_TRUE(FileContents(data) == dataBytes) << "data bytes differ";
      EXPECT_TRUE(header.empty() || FileContents(header) == headerBytes) << "header differs";
      fs::remove(data);
      if (!header.empty()) fs::remove(header);
    }
  }

  apitest::Scratch scratch_{FixedClock};
  const fs::path dir_ = scratch_.Root();
  std::vector<std::string> files_;
};

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
Decoded Decode(const Writer& writer, const Files& files, int32_t chans) {
  Decoded d = files.first.empty() ? Decoded{} : writer.decode(files.first, files.second);
  if (writer.decode == DecodeFloat32) {
    d.chans = chans;
    d.scans = static_cast<int64_t>(d.values.size()) / chans;
  }
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

// 257 scans; the range lies near their end; the exported functions take blocks of 97 bytes.
TEST_F(EveryWriter, HoldsTheScaledValuesInAnySubsetRangeAndBlockSize) {
  for (const Source& source : kSources) {
    tvnAcq* acq = Open(source, 257, 0);
    ASSERT_NE(acq, nullptr);
    tvnAcqInfo info;
    ASSERT_EQ(tvnAcqGetInfo(acq, &info), TVN_OK);
    const size_t chans = static_cast<size_t>(info.channels);
    std::vector<tvnChanInfo> channel(chans);
    std::vector<int32_t> every(chans);
    for (size_t c = 0; c < chans; ++c) {
      ASSERT_EQ(tvnAcqGetChanInfo(acq, static_cast<int32_t>(c), &channel[c]), TVN_OK);
      every[c] = static_cast<int32_t>(c);
    }
    std::vector<double> scaled(static_cast<size_t>(info.scans) * chans);
    ASSERT_EQ(tvnAcqReadFloat64(acq, 0, info.scans, nullptr, 0, scaled.data()), TVN_OK);
    const std::vector<int32_t> subset = {info.channels - 1, 0};  // a subset that also reorders
    std::vector<Files> outputs;
    for (const Writer& writer : kWriters) {
      SCOPED_TRACE(Trace(source, " into ", writer));
      outputs.push_back(Convert(acq, writer.format, "full", {}));
      const Decoded full = Decode(writer, outputs.back(), info.channels);
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
      ExpectRowsOf(full, Decode(writer, Convert(acq, writer.format, "subset", subset), 2), 0, info.scans, subset);
      ExpectRowsOf(full, Decode(writer, Convert(acq, writer.format, "range", {}, 211, 40), info.channels), 211, 40,
                   every);
    }
    tvnAcqClose(acq);  // the exported functions open the files themselves
    ExpectExportedBlocksGiveTheBytes(source, outputs, 97);
  }
}

// Large acquisitions, which the handle API cuts into several blocks (it keeps a block's scaled
// values within a few MiB), against the exported functions' blocks of 4096 raw bytes.
TEST_F(EveryWriter, HandleApiBlocksGiveTheBytesOfSmallExportedBlocks) {
  for (const Source& source : kSources) {
    if (!source.manyBlocks) continue;
    tvnAcq* acq = Open(source, 20000, 16);
    ASSERT_NE(acq, nullptr);
    std::vector<Files> outputs;
    for (const Writer& writer : kWriters) {
      SCOPED_TRACE(Trace(source, " into ", writer));
      int64_t blocks = 0;
      outputs.push_back(Convert(acq, writer.format, "long", {}, 0, -1, &blocks));
      EXPECT_GT(blocks, 1) << "the acquisition fits one block: nothing is compared";
    }
    tvnAcqClose(acq);
    ExpectExportedBlocksGiveTheBytes(source, outputs, 4096);
  }
}

}  // namespace
}  // namespace travune::testing
