// Inputs the fuzzers once found troublesome, kept under tests/data/fuzz: every source type and
// the keyword parser must take each of them without hanging, crashing or reading out of bounds.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "source/KeywordDesc.h"
#include "source/SourceFactory.h"

namespace travune {
namespace {

TEST(FuzzRegression, EverySavedInputIsHandled) {
  const std::filesystem::path dir = std::filesystem::path(TRAVUNE_TEST_DATA_DIR) / "fuzz";
  int inputs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    std::ifstream in(entry.path(), std::ios::binary);
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), {});
    ++inputs;
    for (int32_t type = 2; type <= 8; ++type) {
      SourceContext context;
      context.dataFileSize = 4096;
      std::unique_ptr<SrcFmt> source = CreateSource(type, bytes.data(), bytes.size(), context);
      ASSERT_NE(source, nullptr);
      if (source->GetStatus() != 0) continue;
      for (int32_t chan = 0; chan < source->GetNumChans(); ++chan) {
        double value = 0.0;
        source->GetScaledValue(0, chan, &value);
      }
    }
    DescReader reader(bytes.data(), bytes.size());
    KeywordHeader header;
    ParseKeywordHeader(reader, &header, ",");
  }
  EXPECT_GE(inputs, 2);
}

}  // namespace
}  // namespace travune
