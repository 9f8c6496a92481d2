// NOWRad and KAVRAD decoding from bytes laid out by hand, and damaged input
// (cut generated files are swept in robust_test).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "../common/expect.h"
#include "../common/files.h"
#include "zor/mosaic.h"

namespace {

using zor::test::Bytes;
using Stream = zor::test::FilePtr;

// A stream over a copy of `b` (kept alive by the caller).
Stream over(Bytes& b) { return Stream(fmemopen(b.data(), b.size(), "rb")); }

void tag(Bytes& b, std::uint8_t t) { b.insert(b.end(), {0x00, 0xF0, t}); }
void text(Bytes& b, const std::string& s) { b.insert(b.end(), s.begin(), s.end()); }

// A NOWRad header: first record, size, 80 bytes of product text, projection,
// then the first line tag.
Bytes nowrad_header(const std::string& product, char proj, const std::string& numbers,
                    const std::string& size = "2 600") {
  Bytes b;
  tag(b, 0x09);
  b.insert(b.end(), {3, 'a', 'b', 'c', 0x01});
  tag(b, 0x0A);
  text(b, size);
  tag(b, 0x03);
  std::string p = product;
  p.resize(80, ' ');
  text(b, p);
  tag(b, 0x0B);
  b.push_back(static_cast<std::uint8_t>(proj));
  text(b, numbers);
  tag(b, 0x0C);
  return b;
}

// -98 E, 53 N top, 0.08 by 0.1 degrees, in radians.
const std::string kLatLon = "-1.710422667 0.925024504 0 0.001396263 0.001745329";
const std::string kMaster = "NOWrad Master       13:45 5-Sep-2003";

struct Packet {
  int run;
  float value;
  int mask;
  bool operator==(const Packet&) const = default;
};

// Every line of a NOWRad file as (line number, packets).
std::vector<std::pair<int, std::vector<Packet>>> nowrad_lines(Bytes& b) {
  zor::mosaic::reset();
  Stream f = over(b);
  NOWRad_info info;
  std::vector<std::pair<int, std::vector<Packet>>> out;
  if (NOWRad_header(f.get(), &info) != 1) return out;
  int line = 0;
  NOWRad_packet p;
  while (NOWRad_line(f.get(), &line) == 1) {
    out.push_back({line, {}});
    while (NOWRad_get_packet(f.get(), &p) == 1) out.back().second.push_back({p.run, p.value, p.mask});
  }
  return out;
}

TEST(NowradPackets, ByteExamplesDecodeToTheirRuns) {
  struct Case {
    Bytes line;  // after the line number
    std::vector<Packet> runs;
  };
  const Case cases[] = {
      {{0x35}, {{4, 25, 0}}},
      {{0xE7, 0x09}, {{10, 35, 0}}},
      {{0xD3, 0x00, 0x01}, {{257, 15, 0}}},
      {{0x00, 0x12}, {{1, 0, 0}, {2, 10, 0}}},
      // A zero tag byte is no tag: one cell of 0, then 0xF0 0x00 is a mask record.
      {{0x00, 0xF0, 0x00, 0x12}, {{1, 0, 0}, {0, 0, 0}, {2, 10, 0}}},
      {{0xF5, 0x12}, {{0, 0, 5}, {2, 10, 5}}},
      {{0xF0, 0x00, 0x35}, {{0, 0, 0}, {4, 25, 0}}},
      {{0xCF}, {{13, 75, 0}}},
  };
  for (const Case& c : cases) {
    Bytes b = nowrad_header(kMaster, 'C', kLatLon);
    b.insert(b.end(), {7, 0});
    b.insert(b.end(), c.line.begin(), c.line.end());
    const auto lines = nowrad_lines(b);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].first, 7);
    EXPECT_EQ(lines[0].second, c.runs) << "first byte " << int(c.line[0]);
  }
  // A tag ends a line; the next line number is little-endian.
  Bytes b = nowrad_header(kMaster, 'C', kLatLon);
  b.insert(b.end(), {0, 0, 0x35});
  tag(b, 0x0C);
  b.insert(b.end(), {0x01, 0x01, 0xE7, 0x09});
  const auto lines = nowrad_lines(b);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].second, (std::vector<Packet>{{4, 25, 0}}));
  EXPECT_EQ(lines[1].first, 257);
  EXPECT_EQ(lines[1].second, (std::vector<Packet>{{10, 35, 0}}));
}

TEST(NowradHeader, ProductsDatesAndProjections) {
  zor::mosaic::reset();
  Bytes b = nowrad_header(kMaster, 'C', kLatLon);
  Stream f = over(b);
  NOWRad_info info;
  ASSERT_EQ(NOWRad_header(f.get(), &info), 1) << zor::mosaic::nowrad_error();
  EXPECT_STREQ(info.label, "NOWRad Radar Master Composite (Dbz)");
  EXPECT_EQ(std::tuple(info.date.year, info.date.month, info.date.day, info.date.hour, info.date.min),
            std::tuple(2003, 9, 5, 13, 45));
  const Domain& d = info.domain;
  EXPECT_EQ(std::tuple(d.proj, d.nx, d.ny), std::tuple(2, 600, 2));
  // The centre latitude is the top row's less half the rows.
  const float dg[] = {d.clon, d.plon, d.dx, d.dy, d.clat}, dw[] = {-98, -98, 0.1f, 0.08f, 53 - 0.5f * 0.08f};
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(dg[i], dw[i], 1e-4) << i;

  // The US product dates from character 23; a Lambert grid keeps its fixed
  // centre and spacing whatever the file says.
  b = nowrad_header("USRAD Hi               07:05 28-Jul-1999", 'L',
                    "0.785398 0.575959 0.680678 -1.675516 -1.6 0.6 0.1 0.2");
  f = over(b);
  ASSERT_EQ(NOWRad_header(f.get(), &info), 1) << zor::mosaic::nowrad_error();
  EXPECT_STREQ(info.label, "NOWRad Radar US Composite (Dbz)");
  EXPECT_EQ(std::tuple(info.date.year, info.date.month, info.date.day, info.date.hour, info.domain.proj),
            std::tuple(1999, 7, 28, 7, 4));
  const Domain& l = info.domain;
  const float got[] = {l.param[0], l.param[1], l.param[2], l.plat, l.plon}, want[] = {33, 45, 1, 39, -96};
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(got[i], want[i], 1e-3) << i;
  EXPECT_TRUE(zor::test::floats_eq({l.clat, l.clon, l.dx, l.dy}, {38.69f, -96.03f, 0.0722f, 0.0859f}));

  const std::pair<const char*, int> months[] = {{"Jan", 1}, {"Sep", 9}, {"Dec", 12}, {"Xyz", 0}, {"Ju", 0}};
  for (const auto& [name, month] : months) EXPECT_EQ(zor::mosaic::nowrad_month(name), month) << name;
}

// A KAVRAD file: the header fields at 1996 and the image from 2048.
Bytes kavrad(const std::string& image, char kind = 'R', const char* when = "134500051203", int res = 5) {
  Bytes b(2048, ' ');
  b[1996 + 14] = static_cast<std::uint8_t>(kind);
  std::memcpy(b.data() + 1996 + 16, when, std::strlen(when));
  b[1996 + 38] = static_cast<std::uint8_t>(res);
  for (int i = 0; i < 4; ++i) b[1996 + 42 + i] = static_cast<std::uint8_t>(i + 1);  // start 0x0102, end 0x0304
  text(b, image);
  return b;
}

std::vector<KAVRAD_packet> kavrad_packets(Bytes& b, KAVRAD_info* info = nullptr) {
  Stream f = over(b);
  KAVRAD_info own;
  if (!info) info = &own;
  std::vector<KAVRAD_packet> out;
  if (KAVRAD_header(f.get(), info) != 1) return out;
  KAVRAD_packet p;
  while (KAVRAD_get_packet(f.get(), &p) == 1) out.push_back(p);
  return out;
}

TEST(KavradPackets, ByteExamplesAndHeader) {
  zor::mosaic::reset();
  KAVRAD_info info;
  Bytes b = kavrad("E\x05$\xC8#\"\x20P!ignored");
  const auto p = kavrad_packets(b, &info);
  const std::vector<std::pair<int, float>> want = {{1, 25},   {5, 25},  {200, 25}, {-1, 25},
                                                   {-1, 25},  {0, 100}, {1, -100}};
  std::vector<std::pair<int, float>> got;
  for (const KAVRAD_packet& k : p) got.emplace_back(k.run, k.value);
  EXPECT_EQ(got, want);
  EXPECT_STREQ(zor::mosaic::kavrad_error(), "");
  EXPECT_EQ(std::tuple(info.type, info.date.year, info.date.month, info.date.day, info.date.hour, info.date.min,
                       info.date.sec, info.start, info.end),
            std::tuple(0, 2003, 12, 5, 13, 45, 0, 0x0102, 0x0304));
  EXPECT_EQ(std::tuple(info.domain.proj, info.domain.nx, info.domain.ny), std::tuple(2, 5120, 5760));
  EXPECT_FLOAT_EQ(info.domain.clat, 39.0f);
  EXPECT_FLOAT_EQ(info.domain.clon, -96.0f);

  // Kind 0 values by code, then kind 1 ('C'), the coarse grid and a
  // twentieth-century year. The value carries over from the last file.
  struct Code {
    int code;
    float kind0, kind1;
  };
  // Kind 1 leaves codes 7 and up alone: they keep the -100 of code 0.
  const Code codes[] = {{0, 0, -100},    {15, 75, -100},  {16, -100, -100}, {17, 105, -100}, {31, 175, -100},
                        {32, 100, -100}, {33, 205, -100}, {47, 275, -100},  {48, 200, -100}, {49, 200, -100},
                        {1, 5, 20},      {3, 15, 40},     {4, 20, 45},      {6, 30, 55}};
  for (char kind : {'R', 'C'}) {
    for (const Code& c : codes) {
      Bytes k = kavrad(std::string(1, static_cast<char>(64 + c.code)), kind);
      const auto q = kavrad_packets(k);
      ASSERT_EQ(q.size(), 1u);
      EXPECT_FLOAT_EQ(q[0].value, kind == 'C' ? c.kind1 : c.kind0) << kind << " code " << c.code;
    }
  }
  b = kavrad("!", 'C', "000000311299", 10);
  kavrad_packets(b, &info);
  EXPECT_EQ(std::tuple(info.type, info.date.year, info.domain.nx, info.domain.ny), std::tuple(1, 1999, 2560, 2880));
  EXPECT_FLOAT_EQ(info.domain.dx, 0.0257812f);
}

TEST(MosaicBadInput, DamagedHeadersAndImagesSayWhy) {
  struct Case {
    Bytes bytes;
    bool kav;
    const char* says;
  };
  Bytes no_size = nowrad_header(kMaster, 'C', kLatLon);
  no_size[10] = 0x0D;  // the size record's tag
  Bytes short_text = nowrad_header(kMaster, 'C', kLatLon);
  short_text.resize(40);
  const Case cases[] = {
      {{'j', 'u', 'n', 'k'}, false, "no first tag"},
      {no_size, false, "where the size tag"},
      {short_text, false, "shorter than 80 bytes"},
      {nowrad_header(kMaster, 'C', kLatLon, "x y"), false, "grid size does not parse"},
      {nowrad_header(kMaster, 'C', kLatLon, "0 600"), false, "grid size does not parse"},
      {nowrad_header("NOWrad Master       25:99 5-Sep-2003", 'C', kLatLon), false, "date does not parse"},
      {nowrad_header(kMaster, 'Q', kLatLon), false, "unknown projection"},
      {nowrad_header(kMaster, 'L', "1 2 3"), false, "Lambert numbers"},
      {Bytes(100, 'x'), true, "shorter than its 2048-byte header"},
      {kavrad("E$"), true, "after a '$'"},
      {kavrad("E\x05"), true, "without its end byte"},
      {kavrad("!", 'R', "ab3400xx1203"), true, "date does not parse"},
  };
  for (const Case& c : cases) {
    zor::mosaic::reset();
    Bytes b = c.bytes;
    if (c.kav) {
      kavrad_packets(b);
      EXPECT_NE(std::string(zor::mosaic::kavrad_error()).find(c.says), std::string::npos)
          << c.says << ": " << zor::mosaic::kavrad_error();
    } else {
      nowrad_lines(b);
      EXPECT_NE(std::string(zor::mosaic::nowrad_error()).find(c.says), std::string::npos)
          << c.says << ": " << zor::mosaic::nowrad_error();
    }
  }
}

}  // namespace
