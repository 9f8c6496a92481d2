// Decoding of real Level III products and of small hand-made ones: headers,
// geometry, thresholds, every item kind, graphic pages and the conversions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <tuple>

#include "../common/expect.h"
#include "nids_test_util.h"
#include "../../src/radar/nids_products.h"

using namespace nids_test;

namespace {

const char* const kProducts[] = {
    "KBMX_SDUS54_N0RBMX_201501020205", "KBMX_SDUS54_N0QBMX_201501020205",
    "KBMX_SDUS34_NVWBMX_201501020205", "KBMX_SDUS34_NSTBMX_201501020205",
    "KBMX_SDUS54_NVLBMX_201501020205", "KBMX_SDUS74_EETBMX_201501020205",
    "KBMX_SDUS54_DVLBMX_201501020205", "KBMX_SDUS84_DODBMX_201501020205",
    "KBMX_SDUS54_DPABMX_201501020205", "KBMX_SDUS54_NCRBMX_201501020205",
    "KLOT_SDUS53_TZLORD_201501150003", "N0R_20041119_2147",
    "NVL_20041130_1946",               "DPA_20041123_1709",
    "NIDS_DYX_NST_NST_20200522_0222",  "NVW_20041117_1657",
};

// Every copied file, whatever it is: the products above decode with items,
// the rest decode cleanly or are refused with a reason that says why.
TEST(NidsAllFiles, DecodeOrRefuseClearly) {
  int files = 0, products = 0;
  for (const auto& e : std::filesystem::directory_iterator(data_path(""))) {
    const std::string name = e.path().filename().string();
    if (e.path().extension() == ".nc") continue;
    ++files;
    const Listing l = dump_file(name);
    if (std::find(std::begin(kProducts), std::end(kProducts), name) != std::end(kProducts)) {
      ++products;
      EXPECT_EQ(l.status, 0) << name << ": " << l.error;
      EXPECT_GT(l.lines.size(), 6u) << name << ": header only";
    }
    if (name.find("NXUS") != std::string::npos) {  // a status message
      EXPECT_NE(l.error.find("not a product"), std::string::npos) << name << ": " << l.error;
    }
    if (l.status == 0) {
      EXPECT_EQ(l.error, "") << name;
      continue;
    }
    const bool clear = l.error.find("encrypted") != std::string::npos ||
                       l.error.find("not a product") != std::string::npos;
    EXPECT_TRUE(clear) << name << ": status " << l.status << " \"" << l.error << "\"";
  }
  EXPECT_GE(files, 17);
  EXPECT_EQ(products, static_cast<int>(std::size(kProducts)));
}

TEST(NidsRefusal, EncryptedEmptyAndMissingFiles) {
  Builder b;
  b.text("SDUS54 KBMX 020205\r\r\nN0RBMX\r\r\n").text("R3").i32(12345678).i32(0);
  const Listing l = dump_bytes(b.b);
  EXPECT_EQ(l.status, 1);
  EXPECT_NE(l.error.find("encrypted"), std::string::npos) << l.error;
  EXPECT_EQ(dump_bytes({}).status, 1);
  NIDS_info info;
  EXPECT_EQ(NIDS_get_header(nullptr, &info), 0);
  EXPECT_EQ(NIDS_packet(nullptr, nullptr), 0);
  EXPECT_EQ(NIDS_read(nullptr, 4, nullptr), 0);
}

TEST(NidsHeader, BaseReflectivityRadial) {
  NIDS_info info;
  ASSERT_EQ(header_of("KBMX_SDUS54_N0RBMX_201501020205", &info), 1);
  EXPECT_STREQ(info.info, "Base reflectivity (Dbz)");
  EXPECT_EQ(std::tuple(info.code, info.type, info.src, info.mode), std::tuple(19, NIDS_PKT_RADIAL, 320, 2));
  EXPECT_EQ(std::tuple(info.date.year, info.date.month, info.date.day, info.date.hour, info.date.min, info.date.sec),
            std::tuple(2015, 1, 2, 2, 5, 28));
  EXPECT_TRUE(zor::test::floats_eq({info.res, info.range, info.elev, info.domain.clat, info.domain.plon},
                                   {0.54f, 124.0f, 0.5f, 33.172f, -86.77f}));
  EXPECT_NEAR(info.alt, 759 * 0.3048, 1e-3);
  // 230 bins: a 460-point image on a 691 x 461 point site domain.
  EXPECT_EQ(std::tuple(info.nx, info.ny, info.domain.proj, info.domain.nx, info.domain.ny),
            std::tuple(460, 460, 1, 691, 461));
  EXPECT_GT(info.domain.dx, 0.0f);
  // Level 0 is "no data" (-90 by the coded-threshold rule), then 5 dBZ steps.
  EXPECT_FLOAT_EQ(info.thres[0], -90.0f);
  for (int i = 1; i < 16; ++i) EXPECT_FLOAT_EQ(info.thres[i], 5.0f * i);
}

TEST(NidsHeader, LabelTexts) {
  // Mode, range (resolution), elevation and maxima as each product carries them.
  const std::pair<const char*, const char*> cases[] = {
      {"KBMX_SDUS54_N0QBMX_201501020205", "Md=pr Rng=248(0.5) El=0.5"},
      {"KBMX_SDUS54_NCRBMX_201501020205", "Md=pr Rng=124(0.5) Mx=52"},
      {"KBMX_SDUS74_EETBMX_201501020205", "Md=pr Rng=186(0.5) Mx=30"},
      {"KBMX_SDUS84_DODBMX_201501020205", "Md=pr Rng=124(0.1) Mx=0.2"},
      {"KBMX_SDUS54_DPABMX_201501020205", "Md=pr Rng=124(0.0) Mx=10.0"},
      {"KBMX_SDUS34_NVWBMX_201501020205", "Md=pr Mx=69"},
      {"KLOT_SDUS53_TZLORD_201501150003", "Md=pr Rng=224(0.2) Mx=56"},
  };
  for (const auto& [file, label] : cases) {
    NIDS_info info;
    ASSERT_EQ(header_of(file, &info), 1) << file;
    EXPECT_STREQ(info.misc, label) << file;
  }
}

TEST(NidsHeader, BzipRadialPrecipitationArrayAndWindProfile) {
  NIDS_info q, p, w;
  ASSERT_EQ(header_of("KBMX_SDUS54_N0QBMX_201501020205", &q), 1);
  ASSERT_EQ(header_of("KBMX_SDUS54_DPABMX_201501020205", &p), 1);
  ASSERT_EQ(header_of("KBMX_SDUS34_NVWBMX_201501020205", &w), 1);
  // 460 bins give a 920-point image and a 1381 x 921 point domain.
  EXPECT_EQ(std::tuple(q.code, q.type, q.nx, q.domain.nx, q.domain.ny),
            std::tuple(94, NIDS_PKT_DIGITAL_RADIAL, 920, 1381, 921));
  EXPECT_TRUE(zor::test::floats_eq({q.thres[0], q.thres[1], q.range}, {-32.0f, 0.5f, 248.0f}));
  // The precipitation array lies on the polar grid of the summaries.
  EXPECT_EQ(std::tuple(p.code, p.type, p.nx), std::tuple(81, NIDS_PKT_PRECIP_ARRAY, 131));
  EXPECT_TRUE(zor::test::floats_eq({p.domain.plat, p.domain.plon, p.domain.dx}, {90.0f, -105.0f, 0.047596f}));
  EXPECT_STREQ(p.info, "Digital precip array (in)");
  // The wind profile is a graph.
  EXPECT_EQ(std::tuple(w.code, w.domain.proj), std::tuple(48, 99));
  EXPECT_TRUE(zor::test::floats_eq({w.domain.dx, w.res}, {511.0f, 512.0f}));
  EXPECT_STREQ(w.info, "VAD wind profile (knt)");
}

TEST(NidsItems, RadialsAndArrayRowsHoldOneValuePerBin) {
  const struct {
    const char* file;
    const char* prefix;
    int words;  // before the values: start and width of a radial
    int values, rows;
  } cases[] = {{"KBMX_SDUS54_N0RBMX_201501020205", "R ", 2, 230, 360},
               {"KBMX_SDUS54_DPABMX_201501020205", "W ", 1, 131, 131}};
  for (const auto& c : cases) {
    const Listing l = dump_file(c.file);
    ASSERT_EQ(l.status, 0) << c.file;
    int rows = 0;
    for (const auto& s : l.lines) {
      if (s.rfind(c.prefix, 0) != 0) continue;
      ++rows;
      EXPECT_EQ(std::count(s.begin(), s.end(), ' ') - c.words, c.values) << s.substr(0, 40);
    }
    EXPECT_EQ(rows, c.rows) << c.file;
  }
}

TEST(NidsItems, WindBarbsTextsAndVectorsOfWindProfile) {
  const Listing l = dump_file("KBMX_SDUS34_NVWBMX_201501020205");
  ASSERT_EQ(l.status, 0);
  int barbs = 0, texts = 0, vectors = 0;
  for (const auto& s : l.lines) {
    texts += s.rfind("T ", 0) == 0;
    vectors += s.rfind("V ", 0) == 0;
    if (s.rfind("B ", 0) != 0) continue;
    ++barbs;
    // Barb speeds and directions are plausible knots and degrees.
    float val, x, y, dir, spd;
    ASSERT_EQ(std::sscanf(s.c_str(), "B %f %f %f %f %f", &val, &x, &y, &dir, &spd), 5);
    EXPECT_TRUE(dir >= 0.0f && dir <= 360.0f && spd >= 0.0f && spd < 300.0f) << s;
  }
  EXPECT_GT(std::min({barbs, texts, vectors}), 0) << barbs << " " << texts << " " << vectors;
}

TEST(NidsItems, HandMadeLayerWithEveryItemKind) {
  Builder b;
  Builder layer;
  const std::string long_text(120, 'a');
  layer.i16(8).i16(6 + 120).i16(3).i16(10).i16(20).text(long_text);    // text, level 3
  layer.i16(1).i16(4 + 2).i16(-5).i16(7).text("ok");                   // text, level 0
  layer.i16(8).i16(6 + 1).i16(40).i16(0).i16(0).text("x");             // level out of range
  layer.i16(10).i16(2 + 16).i16(9).i16(1).i16(2).i16(3).i16(4).i16(5).i16(6).i16(7).i16(8);
  layer.i16(7).i16(8).i16(-1).i16(-2).i16(-3).i16(-4);
  layer.i16(4).i16(10).i16(15).i16(100).i16(200).i16(270).i16(35);
  layer.i16(5).i16(4).i32(0);    // skipped packet
  layer.i16(0x4242).i16(0);      // unknown: ends the layer
  b.headers(58).symbology(16 + static_cast<long>(layer.b.size()));
  b.b.insert(b.b.end(), layer.b.begin(), layer.b.end());
  const Listing l = dump_bytes(b.b);
  EXPECT_EQ(l.status, 0) << l.error;
  const std::vector<std::string> items(l.lines.begin() + 6, l.lines.end());
  const std::vector<std::string> expected = {
      "T 10 20 15 " + std::string(99, 'a'),
      "T -5 7 -100 ok",
      "T 0 0 -9999 x",
      "V 9 1 2 3 4",
      "V 9 5 6 7 8",
      "V 0 -1 -2 -3 -4",
      "B 75 100 200 270 35",
  };
  EXPECT_EQ(items, expected);
  EXPECT_NE(l.lines[0].find("Not supported - 58"), std::string::npos) << l.lines[0];
}

TEST(NidsItems, EveryTextHeaderFormDecodesAlike) {
  const Bytes file = read_file(data_path("KBMX_SDUS54_N0RBMX_201501020205"));
  const Bytes body(file.begin() + 30, file.end());  // from the message header on
  const Listing reference = dump_file("KBMX_SDUS54_N0RBMX_201501020205");
  ASSERT_EQ(reference.status, 0);
  const std::string forms[] = {
      "",                                                         // none
      "\x01\r\r\n123\r\r\nSDUS54 KBMX 020205\r\r\nN0RBMX\r\r\n",  // SOH CR
      "**** 0000000123 ****\nSDUS54 KBMX 020205\r\r\n",             // archive separator
      "\n**** 0000000123 ****\nSDUS54 KBMX 020205\r\r\n",           // LF "*"
      "DSUS54 KBMX 020205\r\r\nN0RBMX\r\r\n",                      // "DS"
      "\x40\x0c line one\nline two\n",                               // 0x400C
  };
  for (const std::string& head : forms) {
    Builder b;
    b.text(head);
    b.b.insert(b.b.end(), body.begin(), body.end());
    EXPECT_EQ(dump_bytes(b.b).lines, reference.lines) << "header form: " << head;
  }
}

TEST(NidsItems, ConcatenatedProductSelectedByExtension) {
  const Bytes n0r = read_file(data_path("KBMX_SDUS54_N0RBMX_201501020205"));
  const Bytes nvl = read_file(data_path("KBMX_SDUS54_NVLBMX_201501020205"));
  ASSERT_GT(n0r.size(), 30u);
  Builder b;
  for (const Bytes* p : {&n0r, &nvl}) {
    b.text("** SDUS97 KBMX 020205\r\n").text("NXXBMX\r\n").text("\r\n").text("Z");
    b.b.insert(b.b.end(), p->begin() + 30, p->end());  // without their own text header
    b.text("\r\r\n");  // the bulletin end, so the next header starts a line
  }
  NIDS_set_ext_info("#1");
  const Listing second = dump_bytes(b.b);
  NIDS_set_ext_info("#0");
  const Listing first = dump_bytes(b.b);
  NIDS_set_ext_info("#5");
  const Listing missing = dump_bytes(b.b);
  NIDS_set_ext_info("");
  EXPECT_EQ(second.status, 0) << second.error;
  EXPECT_EQ(second.lines, dump_file("KBMX_SDUS54_NVLBMX_201501020205").lines);
  EXPECT_EQ(first.status, 0) << first.error;
  EXPECT_EQ(first.lines, dump_file("KBMX_SDUS54_N0RBMX_201501020205").lines);
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(NIDS_set_ext_info(std::string(30, '9').c_str()), -1);
  NIDS_set_ext_info("");
}

TEST(NidsValues, ThresholdWordsAndProductRules) {
  const std::pair<int, float> cases[] = {{0x8000, -100.0f}, {0x8001, -90.0f}, {0x8003, -90.0f},
                                         {0x2032, 2.5f},    {0x1032, 5.0f},   {0x0105, -5.0f},
                                         {0x0832, 50.01f},  {0x0432, 49.99f}, {0x0232, 50.0f}};
  for (const auto& [word, value] : cases) EXPECT_FLOAT_EQ(zor::nids::generic_threshold(word), value) << word;
  // Products with rules of their own.
  std::array<float, 16> t{};
  zor::nids::decode_thresholds(99, {0xFF9C, 5, 254}, t);  // -10.0 m/s, 0.5 m/s
  EXPECT_NEAR(t[0], -19.44f, 1e-4);
  EXPECT_NEAR(t[1], 0.972f, 1e-4);
  EXPECT_FLOAT_EQ(t[2], 254.0f);
  zor::nids::decode_thresholds(186, {}, t);
  EXPECT_TRUE(zor::test::floats_eq({t[0], t[1], t[2]}, {-32.0f, 0.5f, 256.0f}));
  zor::nids::decode_thresholds(170, {0x4120, 0, 0, 0}, t);  // scale 10.0, offset 0
  EXPECT_FLOAT_EQ(t[0], 10.0f);
  zor::nids::decode_thresholds(170, {}, t);  // a zero scale would divide by zero
  EXPECT_FLOAT_EQ(t[0], 1.0f);
}

TEST(NidsValues, DigitalProductsScale) {
  // DOD (174): scaled, offset and divided by 100 (inches, not hundredths);
  // the digital VIL (134) uses its linear and logarithmic pieces; echo tops
  // in thousands of feet. No value may be NaN or infinite.
  const std::tuple<const char*, float, float> cases[] = {{"KBMX_SDUS84_DODBMX_201501020205", -20.0f, 20.0f},
                                                         {"KBMX_SDUS54_DVLBMX_201501020205", -1e9f, 1e9f},
                                                         {"KBMX_SDUS74_EETBMX_201501020205", -2.0f, 80.0f}};
  for (const auto& [name, floor, ceiling] : cases) {
    const Listing l = dump_file(name);
    ASSERT_EQ(l.status, 0) << name;
    float lo = 1e9f, hi = -1e9f, v = 0;
    for (const auto& s : l.lines) {
      if (s.rfind("R ", 0) != 0) continue;
      std::istringstream in(s.substr(2));
      in >> v >> v;  // start, width
      while (in >> v) {
        ASSERT_TRUE(std::isfinite(v)) << name;
        if (v != -9999.0f) lo = std::min(lo, v), hi = std::max(hi, v);
      }
      ASSERT_TRUE(in.eof()) << name << ": a value that is no number in " << s.substr(0, 40);
    }
    EXPECT_LT(lo, hi) << name;
    EXPECT_GE(lo, floor) << name;
    EXPECT_LT(hi, ceiling) << name;
  }
}

TEST(NidsValues, HalfAndSingleFloats) {
  // 0x0200 has exponent 0: 2 x 512 / 1024.
  EXPECT_TRUE(zor::test::floats_eq({NIDS_float16(0x0000), NIDS_float16(0x4000), NIDS_float16(0x8400),
                                    NIDS_float16(0x0200), NIDS_float32(0x4120, 0x0000), NIDS_float32(0xBF80, 0x0000)},
                                   {0.0f, 1.0f, -std::ldexp(1.0f, -15), 1.0f, 10.0f, -1.0f}));
}

TEST(NidsValues, DatesAndTimes) {
  struct Case {
    int days, y, m, d;
  };
  for (const Case c : {Case{1, 1970, 1, 1}, Case{365, 1970, 12, 31}, Case{366, 1971, 1, 1},
                       Case{790, 1972, 2, 29}, Case{16438, 2015, 1, 2}}) {
    int y, m, d;
    EXPECT_EQ(NIDS_julian_date(c.days, &y, &m, &d), 0);
    EXPECT_EQ(std::tuple(y, m, d), std::tuple(c.y, c.m, c.d)) << c.days;
  }
  int h, mi, s;
  NIDS_dec_time(3600, &h, &mi, &s);
  EXPECT_EQ(h * 10000 + mi * 100 + s, 10000);
  NIDS_dec_time(86399, &h, &mi, &s);
  EXPECT_EQ(h * 10000 + mi * 100 + s, 235959);
}

TEST(NidsTables, EveryCodeListedOnce) { EXPECT_TRUE(zor::nids::product_tables_consistent()); }

}  // namespace
