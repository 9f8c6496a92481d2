// Today's products through the real decoder and the real program: the
// super-resolution and TDWR products whose symbology is compressed without
// being listed, and files that are not products at all.
#include <algorithm>
#include <tuple>

#include "nids_test_util.h"
#include "radar_test_util.h"

namespace fs = std::filesystem;
using namespace nids_test;

namespace {

class NidsFidelityTest : public zor::test::ProgramTest {
 protected:
  NidsFidelityTest() : ProgramTest("nids_fidelity", "-ba -inp nids ") {}
};

// Lines of a listing that start with `prefix`.
int count(const Listing& l, const std::string& prefix) {
  int n = 0;
  for (const auto& line : l.lines) n += line.rfind(prefix, 0) == 0;
  return n;
}

struct NewProduct {
  const char* file;
  const char* header;  // the listing's first line, up to the source
  int radials;
  float lo, hi;        // every decoded value lies in [lo, hi]
};

TEST(NidsNewProducts, DecodeEveryRadialWithinTheirUnits) {
  const NewProduct cases[] = {
      {"AMX_N0B_2026_07_06_15_45_17", "product 153 \"Base reflectivity (Dbz)\"", 720, -32, 95},
      {"H0V_20200812_1309", "product 154 \"Base velocity (knt)\"", 720, -124, 124},
      {"Level3_TUL_TZ0_20200811_1804.nids", "product 180 \"Base reflectivity (Dbz)\"", 360, -32, 95},
  };
  for (const auto& c : cases) {
    const Listing l = dump_file(c.file);
    ASSERT_EQ(l.status, 0) << c.file << ": " << l.error;
    EXPECT_EQ(l.lines[0].rfind(c.header, 0), 0u) << l.lines[0];
    EXPECT_EQ(count(l, "R "), c.radials) << c.file;
    int values = 0;
    for (float v : bins(l)) {
      if (v == -9999.0f) continue;
      ++values;
      ASSERT_TRUE(v >= c.lo && v <= c.hi) << c.file << " " << v;
    }
    EXPECT_GT(values, 10000) << c.file;
  }
  NIDS_info info;
  ASSERT_EQ(header_of("AMX_N0B_2026_07_06_15_45_17", &info), 1);
  EXPECT_EQ(info.nx, 3680);  // 1840 quarter-kilometre bins
  EXPECT_FLOAT_EQ(info.range, 248.0f);
  EXPECT_STREQ(info.misc, "Md=pr Rng=248(0.1) El=0.5 Mx=60");
}

TEST(NidsNewProducts, NonProductsSayWhatTheyAre) {
  const struct {
    std::string path;
    const char* what;
  } cases[] = {
      {data_path("KBMX_NXUS64_GSMBMX_201501020258"), "general status message (message code 2)"},
      {std::string(ZOR_TEST_DATA_DIR) + "/level2/KTLX20170101_030027_V06", "a Level II volume (\"AR2V0006."},
  };
  for (const auto& c : cases) {
    FilePtr f(std::fopen(c.path.c_str(), "rb"));
    ASSERT_TRUE(f) << c.path;
    const Listing l = dump(f.get());
    EXPECT_NE(l.status, 0);
    EXPECT_NE(std::string(NIDS_not_product()).find(c.what), std::string::npos) << NIDS_not_product();
  }
  // Free text where a message header belongs, and a product's own header.
  const Listing text = dump_bytes(Bytes{'N', 'O', 'U', 'S', '6', '4', ' ', 'K', 'O', 'U', 'N', '\r', '\r', '\n',
                                        'F', 'T', 'M', '\r', '\r', '\n', 'h', 'i', '\n'});
  EXPECT_NE(text.status, 0);
  EXPECT_NE(text.error.find("not a product"), std::string::npos) << text.error;
  dump_file("KBMX_SDUS54_N0RBMX_201501020205");
  EXPECT_STREQ(NIDS_not_product(), "");
}

TEST(NidsNewPackets, ContoursSymbolsAndGenericDataDecode) {
  const struct {
    const char* file;
    const char* prefix;  // items the packets hand out
    int at_least;
  } cases[] = {
      {"KBMX_SDUS84_N0MBMX_201501020205", "V 1 ", 100},  // melting layer contours
      {"KOKX_SDUS31_NMDOKX_201108280702", "S 20 ", 1},    // mesocyclone point feature
      {"KOKX_SDUS31_NMDOKX_201108280702", "P1 T ", 3},    // and the pages behind it
      {"KBMX_SDUS34_NSTBMX_201501020205", "S 15 -384 -354 0 B4", 1},  // storm identifier
      {"KBMX_SDUS34_NSTBMX_201501020205", "P1 T ", 5},  // its storm tracking table
      {"KOKX_SDUS61_NHIOKX_201108280702", "S 19 ", 1},    // hail
  };
  for (const auto& c : cases) {
    const Listing l = dump_file(c.file);
    EXPECT_EQ(l.status, 0) << c.file << ": " << l.error;
    EXPECT_GE(count(l, c.prefix), c.at_least) << c.file << " " << c.prefix;
  }
  // Generic data (28) of the rain rate holds 360 radials of 920 bins, in
  // inches per hour up to the product's own maximum (2.311).
  const Listing dpr = dump_file("KBMX_SDUS84_DPRBMX_201501020205");
  EXPECT_EQ(dpr.status, 0) << dpr.error;
  EXPECT_EQ(dpr.lines[0].find("packet 0x1C"), dpr.lines[0].size() - 11) << dpr.lines[0];
  EXPECT_EQ(count(dpr, "S "), 0);
  EXPECT_EQ(count(dpr, "R "), 360);
  const std::vector<float> rain = bins(dpr);
  EXPECT_EQ(rain.size(), 360u * 920u);
  EXPECT_FLOAT_EQ(*std::max_element(rain.begin(), rain.end()), 2.311f);
  EXPECT_GT(std::count_if(rain.begin(), rain.end(), [](float v) { return v >= 0.01f; }), 50000);
}

TEST(NidsNewPackets, UnknownPacketIsSteppedOverByItsLength) {
  Builder layer;
  layer.i16(0x4321).i16(6).i32(0x7F7F7F7F).i16(0x7F7F);  // unknown, 6 bytes
  layer.i16(1).i16(6).i16(10).i16(20).text("AB");         // a text after it
  Builder b;
  b.headers(58).symbology(16 + static_cast<long>(layer.b.size()));
  b.b.insert(b.b.end(), layer.b.begin(), layer.b.end());
  const Listing l = dump_bytes(b.b);
  EXPECT_EQ(l.status, 0) << l.error;
  EXPECT_EQ(count(l, "T 10 20 -100 AB"), 1);
}

// Pixels of any colour but grey and the red of the map lines.
int coloured(const zor::test::Raster& img) {
  return zor::test::count_pixels(img, [](std::uint32_t v) {
    return ((v >> 16) != (v >> 8 & 0xFF) || (v >> 8 & 0xFF) != (v & 0xFF)) && v != 0xFF0000;
  });
}

TEST_F(NidsFidelityTest, SuperResolutionProductIsDrawn) {
  // An empty product (no detections) gives the colours of bar and labels;
  // the rain rate of generic data is drawn as radials.
  zor::test::Raster img, empty, dpr;
  for (auto [name, out, raster] : {std::tuple{"AMX_N0B_2026_07_06_15_45_17", "n0b.png", &img},
                                   std::tuple{"TLX_NMD_2026_07_10_05_08_45", "nmd.png", &empty},
                                   std::tuple{"KBMX_SDUS84_DPRBMX_201501020205", "dpr.png", &dpr}}) {
    const auto r = radar(std::string("-of png:@") + out + " " + file(data_path(name)));
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(zor::test::read_png((dir_ / out).string(), *raster));
  }
  EXPECT_GT(coloured(img), coloured(empty) + 4000) << coloured(empty);
  EXPECT_GT(coloured(dpr), coloured(empty) + 40000) << coloured(empty);
}

TEST_F(NidsFidelityTest, StatusMessageIsRefusedAloneAndSkippedInALoop) {
  const std::string gsm = file(data_path("KBMX_NXUS64_GSMBMX_201501020258"));
  const auto alone = radar("-of png:@a.png " + gsm);
  EXPECT_EQ(alone.status, 10);
  EXPECT_NE(alone.err.find("KBMX_NXUS64_GSMBMX_201501020258 is not a NIDS product: general status message"),
            std::string::npos)
      << alone.err;
  EXPECT_FALSE(fs::exists(dir_ / "a.png"));
  const auto loop = radar("-of png:@l_%i.png " + gsm + " " + file(data_path("KBMX_SDUS54_N0RBMX_201501020205")));
  EXPECT_EQ(loop.status, 0) << loop.err;
  EXPECT_TRUE(fs::exists(dir_ / "l_00.png"));
  EXPECT_FALSE(fs::exists(dir_ / "l_01.png"));
  EXPECT_NE(loop.err.find("is not a NIDS product"), std::string::npos) << loop.err;
}

// Storm structure (62) keeps its pages where the symbology belongs: five
// pages of table lines, whose storms parse with their positions and tops.
TEST(NidsNewPackets, StormStructurePagesAreRead) {
  const Listing l = dump_file("KBMX_SDUS64_NSSBMX_201501020205");
  EXPECT_EQ(l.status, 0) << l.error;
  EXPECT_GE(count(l, "P1 T 0 "), 10);
  EXPECT_GE(count(l, "P5 T 0 "), 1);
  EXPECT_EQ(count(l, "P6 "), 0);
  EXPECT_NE(l.lines[6].find("STORM STRUCTURE"), std::string::npos) << l.lines[6];
  NIDS_report st;
  ASSERT_TRUE(zor::nids_plot::parse_storm_line(
      "     B4      227/ 70    < 7.2    14.0           4             44        7.2     ", 3, &st));
  EXPECT_STREQ(st.id, "B4");
  EXPECT_EQ(std::tuple(st.ang, st.rad, st.tops, st.vil, st.max_dbz), std::tuple(227.0f, 70.0f, 14.0f, 4.0f, 44.0f));
  EXPECT_EQ(st.meso + st.tvs + st.shail, 0);
}

TEST(NidsNewPackets, StormPagesSideBySide) {
  using zor::nids_plot::page_layout;
  const struct {
    int pages;
    float cell;
    int cols;
    float scale;
  } cases[] = {{3, 70, 1, 1.0f}, {2, 180, 1, 1.0f}, {7, 180, 2, 2.0f}, {12, 70, 1, 12 * 70 / 512.0f}, {1, 900, 1, 900 / 512.0f}};
  for (const auto& c : cases) {
    const auto lay = page_layout(c.pages, c.cell);
    EXPECT_EQ(lay.cols, c.cols) << c.pages << " x " << c.cell;
    EXPECT_FLOAT_EQ(lay.scale, c.scale) << c.pages << " x " << c.cell;
  }
}

// Through the program: icd values of TDWR velocity, whose range folding
// stays purple (pages with "graph" and 16-level folding are drawn in
// nids_plot_program_test and nids_plot_test).
TEST_F(NidsFidelityTest, IcdThroughTheProgram) {
  zor::test::Raster img;

  const std::string tv0 = file(data_path("KLOT_SDUS53_TV0ORD_201501150004"));
  const auto plain = radar("-me mess -of png:@a.png " + tv0);
  const auto icd = radar("-me mess -pp icd -of png:@b.png " + tv0);
  EXPECT_NE(plain.out.find("Threshold values: -63.5 0.5 254.0"), std::string::npos) << plain.out;
  EXPECT_NE(icd.out.find("Threshold values: -123.4 1.0 254.0"), std::string::npos) << icd.out;
  // 8-bit range folding (code 1) is drawn purple although it decodes as missing.
  ASSERT_TRUE(zor::test::read_png((dir_ / "a.png").string(), img));
  EXPECT_GT(img.count(0, 0, img.width, img.height, 0x8C00BF), 100);
}

}  // namespace
