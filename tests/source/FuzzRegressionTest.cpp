// The fuzz targets' inputs replayed through the targets' own code: the seeds under
// fuzz/corpus/<target>/ and the findings kept as tests/data/fuzz/<target>-<hash>. Each must be
// handled without hanging, crashing, reading out of bounds or breaking a checked promise.
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace travune
