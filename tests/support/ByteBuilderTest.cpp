// Tests of the little-endian byte builder: every field's bytes, written out by hand, and the
// fixed-size and counted texts.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/ByteBuilder.h"

namespace travune {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(ByteBuilderTest, EachFieldLowByteFirst) {
  struct Case {
    const char* what;
    std::function<void(ByteBuilder&)> append;
    Bytes expected;
  };
  const Case cases[] = {
      {"U8", [](ByteBuilder& b) { b.U8(0xAB); }, {0xAB}},
      {"U16", [](ByteBuilder& b) { b.U16(0x1234); }, {0x34, 0x12}},
      {"I16 -2", [](ByteBuilder& b) { b.I16(-2); }, {0xFE, 0xFF}},
      {"U32", [](ByteBuilder& b) { b.U32(0x89ABCDEF); }, {0xEF, 0xCD, 0xAB, 0x89}},
      {"I32 -32768", [](ByteBuilder& b) { b.I32(-32768); }, {0x00, 0x80, 0xFF, 0xFF}},
      {"U64", [](ByteBuilder& b) { b.U64(0x0102030405060708ull); }, {8, 7, 6, 5, 4, 3, 2, 1}},
      // 1.5f: sign 0, exponent 127, fraction 0x400000 -> 0x3FC00000.
      {"F32 1.5", [](ByteBuilder& b) { b.F32(1.5f); }, {0x00, 0x00, 0xC0, 0x3F}},
      // -2.0: sign 1, exponent 1024 -> 0xC000000000000000.
      {"F64 -2", [](ByteBuilder& b) { b.F64(-2.0); }, {0, 0, 0, 0, 0, 0, 0x00, 0xC0}},
      // 0.1: 0x3FB999999999999A.
      {"F64 0.1", [](ByteBuilder& b) { b.F64(0.1); }, {0x9A, 0x99, 0x99, 0x99, 0x99, 0x99, 0xB9, 0x3F}},
      {"Zeros", [](ByteBuilder& b) { b.Zeros(3); }, {0, 0, 0}},
      {"Text has no terminator", [](ByteBuilder& b) { b.Text("AB"); }, {'A', 'B'}},
      {"FixedText padded", [](ByteBuilder& b) { b.FixedText("AB", 5); }, {'A', 'B', 0, 0, 0}},
      {"FixedText cut to size - 1", [](ByteBuilder& b) { b.FixedText("ABCDEF", 4); }, {'A', 'B', 'C', 0}},
      {"FixedText size 0", [](ByteBuilder& b) { b.FixedText("AB", 0); }, {}},
      {"CountedText", [](ByteBuilder& b) { b.CountedText("xyz"); }, {3, 0, 0, 0, 'x', 'y', 'z'}},
      {"CountedText empty", [](ByteBuilder& b) { b.CountedText(""); }, {0, 0, 0, 0}},
  };
  for (const Case& c : cases) {
    ByteBuilder b;
    c.append(b);
    EXPECT_EQ(b.Size(), c.expected.size()) << c.what;
    EXPECT_EQ(b.Take(), c.expected) << c.what;
  }
}

TEST(ByteBuilderTest, FieldsFollowOneAnotherAndTakeEmptiesTheBuilder) {
  ByteBuilder b;
  b.U8(1);
  b.U16(0x0302);
  b.FixedText("Q", 2);
  b.I32(-1);
  EXPECT_EQ(b.Take(), (Bytes{1, 2, 3, 'Q', 0, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(b.Size(), 0u);
  b.U16(7);
  EXPECT_EQ(b.Take(), (Bytes{7, 0}));
}

}  // namespace
}  // namespace travune
