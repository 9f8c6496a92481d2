#include "zor/byte_reader.h"

#include <gtest/gtest.h>

#include <array>

using zor::ByteReader;
using zor::DecodeError;

TEST(ByteReader, ReadsBigEndianValuesAndRefusesReadsPastTheEnd) {
  const std::array<std::uint8_t, 14> b = {0xFF, 0xFE, 0x12, 0x34, 0x80, 0x00, 0x00, 0x01,
                                          0x3F, 0x80, 0x00, 0x00, 0x41, 0x42};
  ByteReader r(b);
  EXPECT_EQ(r.i16(), -2);
  EXPECT_EQ(r.u16(), 0x1234);
  EXPECT_EQ(r.u32(), 0x80000001u);
  EXPECT_FLOAT_EQ(r.f32(), 1.0f);
  EXPECT_EQ(r.text(2), "AB");
  EXPECT_TRUE(r.empty());

  // Reads past the end of the data or of a sub-block are refused.
  const std::array<std::uint8_t, 3> b3 = {1, 2, 3};
  ByteReader s(b3);
  EXPECT_THROW(s.u32(), DecodeError);
  EXPECT_EQ(s.pos(), 0u);  // a failed read consumes nothing
  EXPECT_EQ(s.u16(), 0x0102);
  EXPECT_THROW(s.u16(), DecodeError);
  EXPECT_THROW(s.seek(4), DecodeError);
  EXPECT_THROW(s.window(2, 2), DecodeError);
  EXPECT_THROW(s.window(SIZE_MAX, 2), DecodeError);
  // A sub-reader is limited to its block.
  const std::array<std::uint8_t, 6> b2 = {0, 2, 0xAA, 0xBB, 0xCC, 0xDD};
  ByteReader parent(b2);
  ByteReader block = parent.sub(parent.u16());
  EXPECT_EQ(block.u16(), 0xAABB);
  EXPECT_THROW(block.u8(), DecodeError);
  EXPECT_EQ(parent.u16(), 0xCCDD);  // the parent moved past the whole block
}

