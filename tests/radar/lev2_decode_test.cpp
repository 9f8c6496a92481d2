// Level II decoding of real volumes against an independent reading, the
// message types passed over, and damaged or foreign input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "lev2_test_util.h"
#include "zor/decompress.h"
#include "zor/lev2.h"

using namespace lev2_test;

namespace {

std::string dump(const std::string& path, int* rc = nullptr) {
  std::FILE* f = std::tmpfile();
  const int r = zor::lev2::dump_volume(path.c_str(), f);
  if (rc) *rc = r;
  std::rewind(f);
  std::string out;
  char buf[4096];
  for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;) out.append(buf, n);
  std::fclose(f);
  return out;
}

bool open(const std::string& path) {
  std::string p = path;
  return LEV2_open_file(p.data()) == 1;
}

struct Walk {
  std::map<int, int> types;
  int radials = 0;
};

Walk walk() {
  Walk w;
  LEV2_data d;
  while (LEV2_get_block(&d) == 1) {
    ++w.types[d.type];
    if (d.type == 1 || d.type == 31) ++w.radials;
    LEV2_next_block();
  }
  return w;
}

TEST(Lev2Dump, CutsMatchAnIndependentReading) {
  // Lines computed from the files by a separate reader (Python, bz2/struct).
  struct Case {
    std::string path;
    int lines;
    std::vector<const char*> expect;
  };
  const Case cases[] = {
      {legacy_volume(), 15,
       {"cut 1 0.57 REF 367 460 0.000 1.000 43.00\n", "cut 2 0.48 VEL 367 920 -0.375 0.250 33.50\n",
        "cut 7 4.53 SW 367 860 -0.375 0.250 19.00\n", "cut 5 2.50 REF 367 336 0.000 1.000 15.50\n"}},
      {data_path("KTLX20170101_030027_V06"), 32,
       {"cut 1 0.30 REF 720 1832 2.125 0.250 39.00\n", "cut 1 0.30 ZDR 720 1192 2.125 0.250 7.94\n",
        "cut 1 0.30 PHI 720 1192 2.125 0.250 359.65\n", "cut 2 0.53 VEL 720 1192 2.125 0.250 32.50\n",
        "cut 7 4.68 RHO 360 904 2.125 0.250 1.05\n"}},
  };
  for (const Case& c : cases) {
    int rc = -1;
    const std::string out = dump(c.path, &rc);
    EXPECT_EQ(rc, 0) << c.path;
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), c.lines) << out;
    for (const char* line : c.expect) EXPECT_NE(out.find(line), std::string::npos) << line << out;
  }
}

TEST(Lev2Decode, EveryMessageTypeIsPassedOverButRadials) {
  ASSERT_TRUE(open(legacy_volume()));
  Walk w = walk();
  EXPECT_EQ(w.types, (std::map<int, int>{{1, 2569}, {2, 3}, {3, 1}, {5, 1}, {13, 34}, {15, 14}, {18, 6}}));
  EXPECT_FALSE(zor::lev2::damaged()) << zor::lev2::problem();
  // The same volume read under the compressed input type: the content decides.
  LEV2_set_compress(1);
  ASSERT_TRUE(open(legacy_volume()));
  EXPECT_EQ(walk().radials, 2569);
  LEV2_set_compress(0);
  ASSERT_TRUE(open(data_path("KTLX20170101_030027_V06")));
  w = walk();
  EXPECT_EQ(w.types, (std::map<int, int>{{0, 73}, {2, 3}, {3, 1}, {5, 1}, {13, 49}, {15, 5}, {18, 4}, {31, 3960}}));
  LEV2_close_file();
}

TEST(Lev2Decode, RadialsAndGateValues) {
  ASSERT_TRUE(open(data_path("KTLX20170101_030027_V06")));
  LEV2_info info;
  LEV2_get_header(&info);
  EXPECT_STREQ(info.id, "TLX");
  EXPECT_EQ(std::tuple(info.date.year, info.date.hour, info.date.min), std::tuple(2017, 3, 0));
  LEV2_data d;
  int radial = 0;
  auto gates = [](int type, int n) {
    std::vector<float> v;
    if (LEV2_set_data_type(type) != 1) return v;
    for (int i = 0; i < n; ++i) v.push_back(LEV2_get_data());
    return v;
  };
  auto near = [](const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
      if (std::fabs(a[i] - b[i]) > 0.01f) return false;
    return true;
  };
  while (LEV2_get_block(&d) == 1) {
    if (d.type == 31 && radial == 0) {
      EXPECT_NEAR(d.rad_az, 111.242f, 0.001f);
      EXPECT_NEAR(d.elev_ang, 0.302f, 0.001f);
      EXPECT_NEAR(d.lat, 35.3334f, 0.001f);
      EXPECT_EQ(std::tuple(d.elev_num, d.az_space, d.num_refl, d.num_vel), std::tuple(1, 0.5f, 1832, -9999));
      EXPECT_TRUE(near(gates(zor::lev2::kRef, 4), {-27.0f, -25.0f, -100.0f, -100.0f}));
      EXPECT_TRUE(near(gates(zor::lev2::kZdr, 4), {0.875f, 1.1875f, -100.0f, -100.0f}));
      EXPECT_TRUE(near(gates(zor::lev2::kPhi, 4), {54.30f, 55.71f, -100.0f, -100.0f}));  // 16-bit words
      EXPECT_TRUE(gates(zor::lev2::kVel, 1).empty());  // no velocity in this cut
    }
    if (d.type == 31 && radial == 1000) {
      EXPECT_EQ(d.elev_num, 2);
      EXPECT_TRUE(near(gates(zor::lev2::kVel, 4), {3.0f, 3.0f, 3.0f, -100.0f}));
      EXPECT_TRUE(near(gates(zor::lev2::kSw, 4), {19.0f, 11.5f, 14.0f, -100.0f}));
    }
    if (d.type == 31) ++radial;
    LEV2_next_block();
  }
  EXPECT_EQ(radial, 3960);
  LEV2_close_file();
}

// The first radial message of the small message-31 volume, channel header
// included, taken from its second record.
Bytes first_radial() {
  const Bytes f = read_file(data_path("pyart_example_nexrad_archive_msg31_compressed.ar2v"));
  std::size_t pos = 24;
  auto word = [&](std::size_t at) {
    return static_cast<std::int32_t>(std::uint32_t{f[at]} << 24 | std::uint32_t{f[at + 1]} << 16 |
                                     std::uint32_t{f[at + 2]} << 8 | f[at + 3]);
  };
  pos += 4 + static_cast<std::size_t>(std::abs(word(pos)));
  const std::size_t n = static_cast<std::size_t>(std::abs(word(pos)));
  zor::Decompressor bz(zor::Decompressor::Kind::bzip2);
  bz.feed({f.data() + pos + 4, n});
  Bytes out(200000);
  std::size_t got = 0;
  bz.read(out, &got);
  const std::size_t size = 2 * (std::size_t{out[12]} << 8 | out[13]);
  return Bytes(out.begin(), out.begin() + static_cast<long>(12 + size));
}

TEST(Lev2Damaged, BadInputsEndCleanlyKeepingWhatWasRead) {
  Bytes corrupt = read_file(data_path("KTLX20170101_030027_V06"));
  const Bytes header(corrupt.begin(), corrupt.begin() + 24);
  const Bytes radial = first_radial();
  ASSERT_EQ(radial[15], 31);
  auto plain = [&](const Bytes& msg) {
    Bytes v = header;
    v.insert(v.end(), msg.begin(), msg.end());
    return v;
  };
  auto put32 = [](Bytes& b, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
  };
  // Pointers start 12 + 16 + 32 bytes in; the fourth is the REF block.
  Bytes wild_ptr = radial;
  put32(wild_ptr, 12 + 16 + 32, 0xFFFFFF00u);
  Bytes many_gates = radial;
  const std::size_t ref = 12 + 16 + (std::size_t{radial[12 + 16 + 44]} << 24 | std::size_t{radial[12 + 16 + 45]} << 16 |
                                     std::size_t{radial[12 + 16 + 46]} << 8 | radial[12 + 16 + 47]);
  many_gates[ref + 8] = 0xEA;  // 60000 gates
  many_gates[ref + 9] = 0x60;
  Bytes tiny = radial;
  tiny[12] = 0;
  tiny[13] = 4;  // 8 bytes: less than a radial header
  for (std::size_t i = 200000; i < 200064; ++i) corrupt[i] ^= 0x5A;

  struct Case {
    const char* what;
    std::string path;
    bool opens;
    int min_radials, max_radials;
    const char* problem;  // part of the reason given
  };
  const Case cases[] = {
      {"truncated chunks", chunk_prefix(3), true, 240, 240, "truncated"},
      {"middle chunk", data_path("chunks/20210729-123848-034-I"), true, 120, 120, "last record"},
      {"another kind", std::string(ZOR_TEST_DATA_DIR) + "/level3/KBMX_SDUS34_NSTBMX_201501020205", false, 0, 0, ""},
      {"corrupt bzip2", write_file("corrupt", corrupt), true, 1, 3959, "bzip2"},
      {"wild pointer", write_file("ptr", plain(wild_ptr)), true, 1, 1, "pointer"},
      {"absurd gates", write_file("gates", plain(many_gates)), true, 1, 1, "60000 gates"},
      {"tiny size", write_file("tiny", plain(tiny)), true, 0, 0, "size"},
      {"cut message", write_file("cut", plain(Bytes(radial.begin(), radial.end() - 100))), true, 0, 0, "truncated"},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(open(c.path), c.opens) << c.what;
    if (!c.opens) continue;
    const Walk w = walk();
    EXPECT_GE(w.radials, c.min_radials) << c.what;
    EXPECT_LE(w.radials, c.max_radials) << c.what;
    EXPECT_TRUE(zor::lev2::damaged()) << c.what;
    EXPECT_NE(std::string(zor::lev2::problem()).find(c.problem), std::string::npos) << c.what << ": "
                                                                                    << zor::lev2::problem();
  }
  // The absurd gate count is cut to what the message holds.
  ASSERT_TRUE(open(write_file("gates", plain(many_gates))));
  LEV2_data d;
  ASSERT_EQ(LEV2_get_block(&d), 1);
  EXPECT_GE(d.num_refl, 1832);
  EXPECT_LE(static_cast<std::size_t>(d.num_refl), radial.size() - ref - 28);
  LEV2_close_file();
}

TEST(Lev2Damaged, EveryPrefixEndsCleanly) {
  const Bytes f = read_file(data_path("pyart_example_nexrad_archive_msg31_compressed.ar2v"));
  int last = -1;
  std::vector<std::size_t> sizes;
  for (std::size_t n = 0; n < f.size(); n += n < 100 ? 7 : 4999) sizes.push_back(n);
  sizes.push_back(f.size());
  for (std::size_t n : sizes) {
    const std::string p = write_file("prefix", Bytes(f.begin(), f.begin() + static_cast<long>(n)));
    if (!open(p)) {
      EXPECT_LT(n, 31u);  // header and the first record's "BZh" are needed to tell the kind
      continue;
    }
    const int radials = walk().radials;
    EXPECT_GE(radials, last) << n;  // longer prefixes never decode less
    last = radials;
  }
  EXPECT_GT(last, 0);
  LEV2_close_file();
}

}  // namespace
