// Source-type guessing: descriptions that two recognisers accept are settled by the evidence,
// and a description nothing accepts is refused with the types tried.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/ApiTestKit.h"
#include "api/SourceGuess.h"
#include "support/LittleEndian.h"

namespace travune::apitest {
namespace {

// A form-3 Morvane description of 7 voltage channels: 16 + 40 * 7 = 296 bytes, the size of a
// 7-channel Tarquil description (30 + 38 * 7), and its first word is 7 as Tarquil's would be.
std::vector<uint8_t> SevenChannelMorvane() {
  std::vector<uint8_t> d(16 + 40 * 7, 0);
  le::PutI16(&d[0], 7);
  le::PutU32(&d[2], 500);
  le::PutF32(&d[12], 100.0f);
  for (int i = 0; i < 7; ++i) {
    uint8_t* p = &d[16 + 40 * static_cast<size_t>(i)];
    le::PutF32(p, 1.0f);
    le::PutF32(p + 10, 1.0f);
    p[20] = 'v';
  }
  return d;
}

TEST(SourceGuessTest, SettlesDescriptionsThatTwoRecognisersAcceptAndNamesTheTypesTried) {
  Scratch scratch;
  // The generator's Tarquil sample has 7 channels: the Morvane recogniser accepts it as well.
  scratch.Sample(SampleOf(TRAVUNE_SRC_TARQUIL, 100), "t");
  std::string why;
  EXPECT_EQ(GuessSourceType(scratch.File("t.DSC").c_str(), &why), TRAVUNE_SRC_TARQUIL);
  EXPECT_NE(why.find("morvane"), std::string::npos) << why;
  EXPECT_NE(why.find("tarquil"), std::string::npos) << why;
  Store(scratch / "m.DSC", SevenChannelMorvane());
  Store(scratch / "m.bin", std::vector<uint8_t>(14 * 50, 0));
  EXPECT_EQ(GuessSourceType(scratch.File("m.DSC").c_str(), &why), TRAVUNE_SRC_MORVANE) << why;

  Store(scratch / "x.DSC", std::vector<uint8_t>{1, 2, 3, 4, 5});
  char text[256] = "";
  EXPECT_EQ(tvnGuessSourceType(scratch.File("x.DSC").c_str(), text, sizeof text), -1);
  for (const char* name : {"morvane", "quillon", "tarquil", "celdrin", "brenlow"}) {
    EXPECT_NE(std::string(text).find(name), std::string::npos) << text;
  }
  EXPECT_EQ(tvnGuessSourceType(scratch.File("none.DSC").c_str(), text, sizeof text), -1);
}

}  // namespace
}  // namespace travune::apitest
