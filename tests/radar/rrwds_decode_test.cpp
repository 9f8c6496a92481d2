// RRWDS decoding from bytes: header digits and their bounds, the bit layout
// of a group, short files.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "zor/rrwds.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// OAX, range 200, 19:35, elevation 12.5, 24 November.
const Bytes kHeader = {'O', 'A', 'X', 0x00, 0, 0x64, 0x35, 0, 0x01, 0x25, 0x24, 0x11};

TEST(RrwdsDecode, HeaderDigitsAndTheirBounds) {
  struct Case {
    std::size_t at;
    std::uint8_t byte;
    int range, hour, minute;
    float elev;
    const char* error;  // nullptr: decodes
  };
  const Case cases[] = {
      {0, 'O', 200, 19, 35, 12.5f, nullptr},   {3, 0x80, 100, 19, 35, 12.5f, nullptr},
      {3, 0x7F, 200, 19, 35, 12.5f, nullptr},  {6, 0xB5, 200, 19, 35, -12.5f, nullptr},
      {5, 0x8F, 200, 23, 35, 12.5f, nullptr},  {5, 0x03, 200, 0, 35, 12.5f, nullptr},
      {9, 0x99, 200, 19, 35, 19.9f, nullptr},  {5, 0xA8, 0, 0, 0, 0, "hour out of range (byte 5 = 0xA8)"},
      {5, 0x90, 0, 0, 0, 0, "hour out of range"}, {6, 0x60, 0, 0, 0, 0, "minute out of range"},
      {6, 0x3A, 0, 0, 0, 0, "minute out of range"}, {9, 0x1A, 0, 0, 0, 0, "elevation out of range"},
      {9, 0xA0, 0, 0, 0, 0, "elevation out of range"}, {10, 0x00, 0, 0, 0, 0, "day out of range"},
      {10, 0x32, 0, 0, 0, 0, "day out of range"},  {11, 0x13, 0, 0, 0, 0, "month out of range"},
      {0, 0x00, 0, 0, 0, 0, "station identifier"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "byte " << c.at << " = " << int{c.byte});
    Bytes h = kHeader;
    h[c.at] = c.byte;
    zor::rrwds::Header out;
    std::string error;
    ASSERT_EQ(zor::rrwds::decode_header(h, &out, &error), c.error == nullptr) << error;
    if (c.error != nullptr) {
      EXPECT_NE(error.find(c.error), std::string::npos) << error;
      continue;
    }
    EXPECT_STREQ(out.station, "OAX");
    EXPECT_FLOAT_EQ(out.elev, c.elev);
    EXPECT_EQ(std::tuple(out.range, out.hour, out.minute, out.day, out.month),
              std::tuple(c.range, c.hour, c.minute, 24, 11));
  }
}

TEST(RrwdsDecode, GroupBitsAndFileLengths) {
  // One level in each bin of the first group, bytes as the layout places
  // them; then a full group of 7s and the shortest non-zero group.
  struct Group {
    std::uint8_t b[3];
    std::vector<int> levels;
  };
  const Group groups[] = {
      {{0x07, 0x00, 0x00}, {7, 0, 0, 0, 0, 0, 0, 0}}, {{0x10, 0x00, 0x00}, {0, 2, 0, 0, 0, 0, 0, 0}},
      {{0x80, 0x01, 0x00}, {0, 0, 6, 0, 0, 0, 0, 0}}, {{0x00, 0x0A, 0x00}, {0, 0, 0, 5, 0, 0, 0, 0}},
      {{0x00, 0x10, 0x00}, {0, 0, 0, 0, 1, 0, 0, 0}}, {{0x00, 0x80, 0x01}, {0, 0, 0, 0, 0, 3, 0, 0}},
      {{0x00, 0x00, 0x18}, {0, 0, 0, 0, 0, 0, 6, 0}}, {{0x00, 0x00, 0x80}, {0, 0, 0, 0, 0, 0, 0, 4}},
      {{0xFF, 0xFF, 0xFF}, {7, 7, 7, 7, 7, 7, 7, 7}}, {{0x01, 0x00, 0x00}, {1, 0, 0, 0, 0, 0, 0, 0}},
  };
  for (const Group& g : groups) {
    std::array<std::uint8_t, zor::rrwds::kRecordLen> rec{};
    std::copy(g.b, g.b + 3, rec.begin() + 4 + 3 * 24);  // the last group: bins 192-199
    const auto levels = zor::rrwds::unpack_radial(rec);
    for (int k = 0; k < 8; ++k) EXPECT_EQ(levels[192 + k], g.levels[k]) << "bin " << k << " of " << int{g.b[0]};
    EXPECT_EQ(std::count(levels.begin(), levels.begin() + 192, 0), 192);
  }

  // Whole files: the complete radials of a short file, none past 360.
  struct Length {
    std::size_t bytes;
    bool ok;
    std::size_t radials;
    const char* error;
  };
  const Length lengths[] = {{0, false, 0, "shorter than the 12-byte header"},
                            {11, false, 0, "shorter than the 12-byte header"},
                            {12 + 79, false, 0, "holds no complete radial"},
                            {12 + 80 + 40, true, 1, "ends after 1 of 360 radials"},
                            {zor::rrwds::kFileLen - 1, true, 359, "ends after 359 of 360 radials"},
                            {zor::rrwds::kFileLen, true, 360, ""},
                            {zor::rrwds::kFileLen + 500, true, 360, ""}};
  for (const Length& l : lengths) {
    Bytes file = kHeader;
    file.resize(l.bytes, 0xFF);
    zor::rrwds::Image img;
    std::string error;
    EXPECT_EQ(zor::rrwds::decode(file, &img, &error), l.ok) << l.bytes;
    EXPECT_EQ(img.radials.size(), l.radials) << l.bytes;
    EXPECT_NE(error.find(l.error), std::string::npos) << l.bytes << ": " << error;
  }
}

}  // namespace
