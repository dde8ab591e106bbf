// The fuzz targets' inputs replayed through the targets' own code: the seeds under
// fuzz/corpus/<target>/, the findings kept as tests/data/fuzz/<target>-<hash>, and a sample of
// every source type in each acquisition target's layout. Each must be handled without hanging,
// crashing, reading out of bounds or breaking a checked promise.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/BinDescInput.h"
#include "fuzz/ConversionInput.h"
#include "fuzz/DfaInput.h"
#include "fuzz/KeywordDescInput.h"
#include "fuzz/QulixInput.h"
#include "fuzz/SourceDescInput.h"
#include "fuzz/TvnInput.h"
#include "samples/Samples.h"

namespace travune {
namespace {

namespace fs = std::filesystem;

using Exercise = void (*)(const uint8_t*, size_t);

struct Target {
  const char* name;
  // Description inputs go through both description targets: a keyword text is a Celdrin
  // description, and a binary description must not upset the keyword parser.
  std::vector<Exercise> exercises;
  // The acquisition targets' seeds are made from samples when the fuzzers run, not kept.
  bool handSeeds;
};

const Target kTargets[] = {
    {"source_desc", {fuzz::ExerciseSourceDesc, fuzz::ExerciseKeywordDesc}, true},
    {"keyword_desc", {fuzz::ExerciseKeywordDesc, fuzz::ExerciseSourceDesc}, true},
    {"qulix", {fuzz::ExerciseQulix}, true},
    {"conversion", {fuzz::ExerciseConversion}, false},
    {"dfa", {fuzz::ExerciseDfa}, false},
    {"tvn", {fuzz::ExerciseTvn}, false},
    {"bindesc", {fuzz::ExerciseBinDesc}, false},
};

// Runs one input through its target's exercises; false for a target of no known name.
bool Replay(const std::string& target, const fs::path& input) {
  for (const Target& t : kTargets) {
    if (target != t.name) continue;
    std::ifstream in(input, std::ios::binary);
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), {});
    for (const Exercise exercise : t.exercises) exercise(bytes.data(), bytes.size());
    return true;
  }
  return false;
}

TEST(FuzzRegression, EverySavedInputIsHandled) {
  for (const Target& t : kTargets) {
    if (!t.handSeeds) continue;
    int seeds = 0;
    for (const auto& entry : fs::directory_iterator(fs::path(TRAVUNE_FUZZ_CORPUS_DIR) / t.name)) {
      SCOPED_TRACE(entry.path().string());
      ASSERT_TRUE(Replay(t.name, entry.path()));
      ++seeds;
    }
    EXPECT_GE(seeds, 3) << t.name;
  }
  int findings = 0;
  for (const auto& entry : fs::directory_iterator(fs::path(TRAVUNE_TEST_DATA_DIR) / "fuzz")) {
    const std::string name = entry.path().filename().string();
    EXPECT_TRUE(Replay(name.substr(0, name.find('-')), entry.path())) << name << " names no fuzz target";
    ++findings;
  }
  EXPECT_GE(findings, 2);
}

std::vector<uint8_t> FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), {});
}

// An input in the acquisition targets' layout: control bytes, description length, description, data.
std::vector<uint8_t> PackAcquisition(std::vector<uint8_t> control, const std::vector<uint8_t>& desc,
                                     const std::vector<uint8_t>& data) {
  control.resize(fuzz::kControlBytes);
  for (int shift = 0; shift < 32; shift += 8) control.push_back(static_cast<uint8_t>(desc.size() >> shift));
  control.insert(control.end(), desc.begin(), desc.end());
  control.insert(control.end(), data.begin(), data.end());
  return control;
}

// Every sample through every acquisition target: the conversion into each format by both ways,
// Data File Access and the handle API with ranges inside the data, and for Morvane and Tarquil
// the binary descriptors built all three ways.
TEST(FuzzRegression, SamplesOfEverySourceTypeAreHandled) {
  const fs::path dir = fs::temp_directory_path() / ("travune-fuzz-samples-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const samples::SampleSpec kSamples[] = {{3, 12, 6}, {4, 12, 6}, {4, 12, 6, true}, {2, 12, 6}, {2, 12, 6, false, true},
                                       {7, 12, 6, false, true}, {8, 12, 6}, {5, 12, 6, false, false, 3},
                                       {6, 12, 6}, {6, 12, 6, false, true}};
  for (const samples::SampleSpec& sample : kSamples) {
    SCOPED_TRACE(sample.type);
    std::vector<std::string> written;
    std::string error;
    ASSERT_TRUE(samples::WriteSample(sample, (dir / "sample").string(), &written, &error)) << error;
    const std::vector<uint8_t> desc = FileBytes(written[0]);
    const std::vector<uint8_t> data = FileBytes(written[1]);
    const uint8_t type = static_cast<uint8_t>(sample.type - fuzz::kFirstSourceType);
    for (uint8_t format = 0; format < 14; ++format) {
      for (uint8_t api : {0, 1}) {
        const std::vector<uint8_t> in = PackAcquisition({type, format, api}, desc, data);
        fuzz::ExerciseConversion(in.data(), in.size());
      }
    }
    const std::vector<uint8_t> dfa = PackAcquisition({type, 1, 1, 65, 1, 0, 0, 0, 2, 0, 0, 0, 8}, desc, data);
    fuzz::ExerciseDfa(dfa.data(), dfa.size());
    const std::vector<uint8_t> tvn = PackAcquisition({type, 0, 1, 2, 6, 0, 0, 0, 3, 2, 0, 2}, desc, data);
    fuzz::ExerciseTvn(tvn.data(), tvn.size());
    // The exercises leave the library working and nothing in the scratch directory.
    EXPECT_TRUE(fs::is_empty(fuzz::ScratchDir::Instance().Path("")));
    tvnAcq* acq = nullptr;
    ASSERT_EQ(tvnAcqOpen(written[0].c_str(), written[1].c_str(), sample.type, &acq), TVN_OK);
    std::vector<double> values(static_cast<size_t>(sample.scans * samples::NumChannels(sample)));
    EXPECT_EQ(tvnAcqReadFloat64(acq, 0, sample.scans, nullptr, 0, values.data()), TVN_OK);
    const samples::PlainValues last = samples::PlainValuesOf(sample, sample.scans - 1, 1);
    EXPECT_NEAR(values.back(), last.values.back(), last.tolerances.back());
    tvnAcqClose(acq);
    if (sample.type != 3 && sample.type != 4) continue;
    for (uint8_t way : {0, 1, 2, 6}) {
      const std::vector<uint8_t> in = PackAcquisition({static_cast<uint8_t>(sample.type == 4), way, 6, 6, 4, 0x34, 0x12}, desc, data);
      fuzz::ExerciseBinDesc(in.data(), in.size());
    }
  }
  fs::remove_all(dir);
}

}  // namespace
}  // namespace travune
