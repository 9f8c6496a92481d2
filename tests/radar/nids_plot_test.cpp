// NIDS plotting inside the process: tables, storm lines, plot parameters, and
// frames of real products whose pixels are checked where the data put them.
#include <algorithm>
#include <cstring>
#include <functional>
#include <set>

#include "../common/expect.h"
#include "frame_test.h"
#include "nids_test_util.h"
#include "zor/file.h"
#include "zor/raw.h"
#include "zor/var.h"

using namespace nids_test;

namespace {


// A storm's position, flags, hail, VIL, maximum, top and motion.
std::vector<float> fields(const NIDS_report& s) {
  return {s.ang, s.rad, float(s.tvs), float(s.meso), float(s.shail), float(s.hail), s.hsize, s.vil,
          s.max_dbz, s.max_dbz_z, s.tops, s.dir, s.spd};
}

TEST(NidsStormTable, HeaderLinesChooseTheLayoutAndLinesParseByColumnsOrWords) {
  using zor::nids_plot::storm_table_type;
  EXPECT_EQ(storm_table_type("  STM ID  AZ/RAN TVS  MDA  POSH/POH/MX SIZE VIL DBZM", 0), 2);
  EXPECT_EQ(storm_table_type(" STM  AZ RAN TVS MESO HAIL DBZM HT VLOW TOP", 0), 1);
  EXPECT_EQ(storm_table_type("VLOW and VIL", 0), 2);
  EXPECT_EQ(storm_table_type("    V3   44/ 19 NONE NONE", 2), 2);
  NIDS_report st;
  ASSERT_TRUE(zor::nids_plot::parse_storm_line(
      "    O8  157/ 86 NONE    2   10/ 60/ 1.25    17  53  9.7  16.9  162/ 66  ", 2, &st));
  EXPECT_STREQ(st.id, "O8");
  EXPECT_TRUE(zor::test::floats_eq(fields(st), {157, 86, 0, 2, 10, 60, 1.25f, 17, 53, 9.7f, 16.9f, 162, 66}));

  ASSERT_TRUE(zor::nids_plot::parse_storm_line(
      "    A1  200/ 30  TVS MESO   80/100<0.50    60  65 20.1  45.0    NEW    ", 2, &st));
  // '<' before the size: a quarter inch; "NEW": no motion.
  EXPECT_TRUE(zor::test::floats_eq(fields(st), {200, 30, 1, 1, 80, 100, 0.25f, 60, 65, 20.1f, 45, -9999, -9999}));

  for (const auto& [line, layout] :
       {std::pair{" STM ID  AZ/RAN TVS  MDA  POSH/POH/MX SIZE VIL DBZM  HT  TOP  FCST MVMT ", 2},
        {"NO STORMS DETECTED", 2}, {"    X1  NEW", 2}, {"    V3   44/ 19 NONE NONE", 0}, {" garbage", 1}})
    EXPECT_FALSE(zor::nids_plot::parse_storm_line(line, layout, &st)) << line;
  // The old layout, by words.
  ASSERT_TRUE(zor::nids_plot::parse_storm_line(" K4 245 62 YES NO POS 58 12.4 3.0 >35.0 250 30", 1, &st));
  EXPECT_STREQ(st.id, "K4");
  EXPECT_FLOAT_EQ(st.vlow, 3.0f);
  const float hail = static_cast<float>(st.hail);  // no hail probability in this layout
  EXPECT_TRUE(zor::test::floats_eq(fields(st), {245, 62, 1, 0, 100, hail, st.hsize, st.vil, 58, 12.4f, 35, 250, 30}));
  ASSERT_TRUE(zor::nids_plot::parse_storm_line(" B2 10 5 NO YES PRO 50 1 1 20 90 10", 1, &st));
  EXPECT_EQ(st.meso, 1);
  EXPECT_EQ(st.shail, 50);
  // A longer identifier is cut to the record's three characters, not overrun.
  ASSERT_TRUE(zor::nids_plot::parse_storm_line(" ABCDEFG 10 5 NO NO NO 50 1 1 20 90 10", 1, &st));
  EXPECT_STREQ(st.id, "ABC");
}

TEST(NidsStormValues, VariablesSelectTheStormField) {
  NIDS_report st;
  std::strcpy(st.id, "Q3");
  st.shail = 76;
  st.tvs = 1;
  st.vil = 12.0f;
  st.dir = 250.0f;
  st.spd = 30.0f;
  // Text after '-' only tells variants apart; nullptr: no text checked,
  // NAN: no second value checked.
  const struct {
    const char* var;
    int hail;
    float v0, v1;
    const char* text;
  } rows[] = {{"posh", 51, 76, NAN, "*"},        {"poh-big", 51, 51, NAN, "X"},   {"poh", 50, 50, NAN, ""},
              {"id", 50, -9999, NAN, "Q3"},      {"tvs", 50, 1, NAN, "TVS"},      {"meso", 50, -9999, NAN, ""},
              {"vil", 50, 12, NAN, nullptr},     {"hsize", 50, -9999, NAN, nullptr}, {"mvmt", 50, 250, 30, nullptr},
              {"other", 50, -9999, -9999, nullptr}};
  for (const auto& r : rows) {
    SCOPED_TRACE(r.var);
    st.hail = r.hail;
    VAR_data v;
    std::snprintf(v.name, sizeof v.name, "%s", r.var);
    RAW_data data;
    NIDS_get_plot_data(&st, &v, &data);
    if (std::strcmp(r.var, "id") != 0) {
      EXPECT_FLOAT_EQ(data.value[0], r.v0);
    }
    if (!std::isnan(r.v1)) {
      EXPECT_FLOAT_EQ(data.value[1], r.v1);
    }
    if (r.text) {
      EXPECT_STREQ(data.data, r.text);
    }
  }
}

TEST(NidsPlotParam, WordsSetTheSettingsAndTheOutFileAsksForAGrid) {
  // The shared site words and NIDS's own; later words override earlier ones.
  using T = std::tuple<int, float, float, float, int, int, int, int, int>;  // clutter, 3 rings, site .. numplt
  const std::pair<const char*, T> cases[] = {
      {"clutter", {25, 0, 0, 0, 0, 0, 0, 0, 0}},          {"CLUTTER=12.7", {12, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"clutter,noclutter", {0, 0, 0, 0, 0, 0, 0, 0, 0}}, {"dist", {0, 100, 0, 0, 0, 0, 0, 0, 0}},
      {"dist=50:100:150", {0, 50, 100, 150, 0, 0, 0, 0, 0}}, {"dist,nodist", {0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"site,graph,strong,refresh,numplt=5", {0, 0, 0, 0, 1, 1, 1, 1, 5}},
      {"graph,nograph,unknown", {0, 0, 0, 0, 0, 0, 0, 0, 0}}, {"", {0, 0, 0, 0, 0, 0, 0, 0, 0}}};
  for (const auto& [words, want] : cases) {
    RES_put("plot_param", words);
    NIDS_plot_param();
    const auto p = zor::nids_plot::params();
    EXPECT_EQ(T(p.clutter_rad, p.plt_dist[0], p.plt_dist[1], p.plt_dist[2], p.plt_site, p.plt_graph, p.plt_strong,
                p.refresh, p.num_plt),
              want)
        << words;
  }
  // A grid is asked for by the output file.
  for (const auto& [out, grid] : {std::pair{"png,gif", 0}, {"png,ZOR", 1}, {"zor=@/tmp/x.grd", 1}}) {
    RES_put("out_file", out);
    EXPECT_EQ(NIDS_grd_out_file(), grid) << out;
  }
  RES_put("out_file", "");
}


class NidsFrameTest : public zor::test::RadarFrameTest {
 protected:
  void SetUp() override {
    RadarFrameTest::SetUp();
    FLAG_setplot(7, 0);  // only the symbology unless a test asks for more
  }

  // Draws one frame of `path` on `dom` (the product's own domain when its
  // projection is missing) and captures it; transformation 2 stays selected.
  void plot(const std::string& path, Domain dom, Capture& cap) {
    std::vector<char> name(path.begin(), path.end());
    name.push_back('\0');
    NIDS_plot_param();
    if (dom.proj == ZOR_MISSING) dom = decode(path).info.domain;
    ASSERT_NE(dom.proj, ZOR_MISSING) << path;
    testing::internal::CaptureStdout();
    ASSERT_TRUE(zor::test::open_frame(dom));
    const int opened = NIDS_open_file(name.data());
    NIDS_plot_frame();
    NIDS_close_file();
    summary_ = testing::internal::GetCapturedStdout();
    ASSERT_EQ(opened, 1) << path;
    plot_domain_ = dom;
    ASSERT_TRUE(zor::test::grab(cap));
  }

  // The product's own projection on a window of n x 2n/3 bins around the
  // radar, so that bins span several pixels.
  static Domain zoomed(const std::string& path, int n = 120) {
    Domain d = decode(path).info.domain;
    d.nx = n + 1;
    d.ny = n * 2 / 3 + 1;
    return d;
  }

  // Sets the fill levels of `info` as the plot does, for expected colours.
  static void levels_of(const NIDS_info& info) {
    const auto t = zor::nids_plot::fill_table(info.code);
    CONT_reset_fill_set();
    CONT_reset_values();
    if (t.levels) CONT_set_values(info.thres, 16);
    if (t.base_interval) {
      CONT_set_base(0);
      CONT_set_intrvl(4);
      CONT_set_range(16, 0);
    }
    CONT_set_fill_colors(t.colours, 0);
  }

  // The radar in product coordinates; the plot domain stays current.
  Gpt radar_xy(const NIDS_info& info) const {
    Domain product = info.domain;
    MAP_domain(&product);
    Gpt p;
    MAP_tran(product.clat, product.clon, &p.x, &p.y);
    MAP_domain(&plot_domain_);
    return p;
  }

  // The pixel of plot point (x, y); false outside the plot's window.
  bool pixel_at(float x, float y, int* px, int* py, const Capture& cap) const {
    return zor::test::plot_pixel(cap, x, y, px, py, 0.01f);
  }

  struct BinCheck {
    int checked = 0;
    int wrong = 0;
    std::set<int> colours;
    std::string first_wrong;
  };

  // Checks the centre pixel of every bin that is large enough and whose
  // neighbours along the radial share its colour. `to_plot` turns product
  // coordinates into plot coordinates.
  BinCheck check_radials(const Decoded& d, const Capture& cap, int clutter,
                         const std::function<bool(float&, float&)>& to_plot) {
    BinCheck bc;
    levels_of(d.info);
    const Domain product = d.info.domain;
    const Gpt site = radar_xy(d.info);
    const float x0 = site.x, y0 = site.y;
    const double r = product.dx;
    for (std::size_t i = 0; i < d.radials.size(); i += 2) {
      const Radial& rad = d.radials[i];
      const double a = (rad.start + rad.width / 2) * M_PI / 180.0;
      for (std::size_t b = std::max<std::size_t>(1, static_cast<std::size_t>(clutter) + 1); b + 1 < rad.bins.size(); ++b) {
        const int c = colour_of(rad.bins[b]);
        if (c < 0) continue;
        if (strict_ && (colour_of(rad.bins[b - 1]) != c || colour_of(rad.bins[b + 1]) != c)) continue;
        // Radials may overlap their neighbours: those must agree as well.
        auto side = [&](std::size_t k) {
          const auto& o = d.radials[k % d.radials.size()].bins;
          return b < o.size() && colour_of(o[b]) == c;
        };
        if (strict_ && (!side(i + 1) || !side(i + d.radials.size() - 1))) continue;
        float x = static_cast<float>(x0 + (b + 0.5) * r * std::sin(a));
        float y = static_cast<float>(y0 + (b + 0.5) * r * std::cos(a));
        // Big enough: the three bins span 4 pixels or more, the radial's
        // width 3 pixels or more.
        const double len = std::fabs(xW_p(static_cast<float>(x0 + r)) - xW_p(x0));
        const double arc = len * (b + 0.5) * rad.width * M_PI / 180.0;
        if ((strict_ ? 3 : 1) * len < 4 || arc < 3) continue;
        if (!to_plot(x, y)) continue;
        int px = 0, py = 0;
        if (!pixel_at(x, y, &px, &py, cap)) continue;
        ++bc.checked;
        bc.colours.insert(c);
        if (near(cap.pixel(px, py), rgb_of_index(c))) continue;
        if (bc.wrong++ == 0) bc.first_wrong = "radial " + std::to_string(i) + " bin " + std::to_string(b);
      }
    }
    return bc;
  }

  Domain plot_domain_;
  bool strict_ = true;  // angular neighbours must share a checked bin's colour
  std::string summary_;
};

TEST_F(NidsFrameTest, RadialProductsColourEveryBinByTheirTable) {
  struct Case {
    const char* file;
    int zoom;  // bins across the plot
    int min_colours;
    bool sparse = false;  // scattered echoes: a tenth of the checks may hit a neighbour
  };
  const Case cases[] = {
      {"KBMX_SDUS54_N0RBMX_201501020205", 120, 4},  // 4-bit reflectivity
      {"KBMX_SDUS54_N0QBMX_201501020205", 120, 4},  // 8-bit reflectivity, bzip2 symbology
      {"KBMX_SDUS54_N0VBMX_201501020205", 120, 3},  // velocity
      {"KBMX_SDUS54_N0SBMX_201501020205", 120, 3},  // storm-relative velocity
      {"KBMX_SDUS74_EETBMX_201501020205", 120, 3},  // enhanced echo tops
      {"KBMX_SDUS54_DVLBMX_201501020205", 120, 1},  // digital VIL
      {"KBMX_SDUS54_NTPBMX_201501020205", 120, 2},  // storm total precipitation
      {"KBMX_SDUS54_DSPBMX_201501020205", 120, 2},  // digital storm total precipitation
      {"KBMX_SDUS84_N0HBMX_201501020205", 120, 3},  // dual-pol hydrometeor class
      {"KLOT_SDUS53_TZLORD_201501150003", 140, 1, true},  // TDWR 8-bit reflectivity
      {"KLOT_SDUS53_TR0ORD_201501150004", 100, 2, true},  // TDWR 4-bit reflectivity
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    strict_ = !c.sparse;
    const Decoded d = decode(data_path(c.file));
    Capture cap;
    plot(data_path(c.file), zoomed(data_path(c.file), c.zoom), cap);
    const BinCheck bc = check_radials(d, cap, 0, [](float&, float&) { return true; });
    EXPECT_GT(bc.checked, 20);
    EXPECT_LE(bc.wrong, c.sparse ? bc.checked / 10 : 0) << bc.first_wrong;
    EXPECT_GE(static_cast<int>(bc.colours.size()), c.min_colours);
    EXPECT_NE(summary_.find("Threshold values: "), std::string::npos);
    EXPECT_GT(zor::nids_plot::fill_calls(), 0);
    restart();
  }
}

TEST_F(NidsFrameTest, ClutterRadiusLeavesTheInnerBinsEmptyAndRunsFillOnce) {
  const std::string name = "KBMX_SDUS54_N0QBMX_201501020205";
  const Decoded d = decode(data_path(name));
  RES_put("plot_param", "clutter=60");
  Capture cap;
  plot(data_path(name), zoomed(data_path(name), 140), cap);
  // Bins beyond the radius keep their colours.
  const BinCheck outer = check_radials(d, cap, 60, [](float&, float&) { return true; });
  EXPECT_GT(outer.checked, 20);
  EXPECT_EQ(outer.wrong, 0) << outer.first_wrong;
  // Inside it, wherever the product has an echo, the background shows.
  levels_of(d.info);
  const Gpt site = radar_xy(d.info);
  const std::uint32_t back = rgb_of_index(gget_back_color());
  int echoes = 0, blank = 0;
  for (const Radial& rad : d.radials) {
    for (std::size_t b = 30; b < 55; b += 5) {
      int px = 0, py = 0;
      if (b >= rad.bins.size() || colour_of(rad.bins[b]) < 0) continue;
      const double a = (rad.start + rad.width / 2) * M_PI / 180.0, r = (b + 0.5) * d.info.domain.dx;
      const float x = static_cast<float>(site.x + r * std::sin(a)), y = static_cast<float>(site.y + r * std::cos(a));
      if (!pixel_at(x, y, &px, &py, cap)) continue;
      ++echoes;
      if (cap.pixel(px, py) == back) ++blank;
    }
  }
  EXPECT_GT(echoes, 10);
  EXPECT_EQ(blank, echoes);
  // One polygon for each run of bins of one colour beyond the radius.
  long runs = 0;
  for (const Radial& r : d.radials) {
    int prev = -1;
    for (std::size_t i = 60; i < r.bins.size(); ++i) {
      const int c = colour_of(r.bins[i]);
      runs += c >= 0 && c != prev;
      prev = c;
    }
  }
  EXPECT_EQ(zor::nids_plot::fill_calls(), runs);
  EXPECT_GT(runs, 5000);
}

TEST_F(NidsFrameTest, RasterProductsColourEveryCell) {
  for (const char* name : {"KBMX_SDUS54_DPABMX_201501020205", "DPA_20041123_1709", "KBMX_SDUS54_NCRBMX_201501020205",
                           "KBMX_SDUS54_NVLBMX_201501020205"}) {
    SCOPED_TRACE(name);
    const Decoded d = decode(data_path(name));
    ASSERT_FALSE(d.rows.empty());
    Capture cap;
    plot(data_path(name), d.info.code == 81 ? Domain{} : zoomed(data_path(name)), cap);
    levels_of(d.info);
    const Gpt site = radar_xy(d.info);
    const double cx = d.info.domain.dx;
    const double xl = site.x - (d.info.nx - 1) / 2.0 * cx;
    const double yt = site.y + (d.info.ny - 1) / 2.0 * cx;
    ASSERT_GE(std::fabs(xW_p(static_cast<float>(xl + cx)) - xW_p(static_cast<float>(xl))), 3);
    int checked = 0, wrong = 0;
    std::set<int> colours;
    for (std::size_t i = 1; i + 1 < d.rows.size(); ++i) {
      for (std::size_t j = 1; j + 1 < d.rows[i].size(); ++j) {
        float v = d.rows[i][j];
        if (v == ZOR_MISSING_F) continue;
        if (d.info.code == 81) v = static_cast<float>(std::pow(10.0, v / 10.0) / 100.0);
        const int c = colour_of(v);
        if (c < 0) continue;
        int px = 0, py = 0;
        if (!pixel_at(static_cast<float>(xl + (j + 0.5) * cx), static_cast<float>(yt - (i + 0.5) * cx), &px, &py, cap))
          continue;
        ++checked;
        colours.insert(c);
        if (!near(cap.pixel(px, py), rgb_of_index(c))) ++wrong;
      }
    }
    EXPECT_GT(checked, 50);
    EXPECT_EQ(wrong, 0);
    EXPECT_GE(colours.size(), 2u);
    restart();
  }
}

TEST_F(NidsFrameTest, OtherProjectionReprojectsEveryBin) {
  const std::string name = "KBMX_SDUS54_N0RBMX_201501020205";
  const Decoded d = decode(data_path(name));
  // A Mercator domain of 241 x 161 cells of 0.5 km around the radar.
  const double lon = d.info.domain.clon, lat = d.info.domain.clat;
  char str[120];
  std::snprintf(str, sizeof str, "merc:0:%.2f,%.3f,%.3f,241,161,0.005,0.005", lon, lat, lon);
  Domain merc;
  ASSERT_GE(DOM_decode(str, &merc), 0) << str;
  ASSERT_EQ(merc.proj, DOM_MERC);
  ASSERT_EQ(DOM_comp_proj(&merc, &d.info.domain), 0);
  Capture cap;
  plot(data_path(name), merc, cap);
  Domain product = d.info.domain;
  const BinCheck bc = check_radials(d, cap, 0, [&](float& x, float& y) {
    float lat = 0, lon = 0;
    MAP_domain(&product);
    const bool ok = MAP_untran(x, y, &lat, &lon) != 0;
    MAP_domain(&plot_domain_);
    return ok && MAP_tran(lat, lon, &x, &y) != 0;
  });
  EXPECT_GT(bc.checked, 20);
  EXPECT_EQ(bc.wrong, 0) << bc.first_wrong;
}

TEST_F(NidsFrameTest, SiteMarkerAndRangeRing) {
  const std::string name = "KBMX_SDUS54_N0RBMX_201501020205";
  const Decoded d = decode(data_path(name));
  FLAG_setplot(7, 1);
  FLAG_setplot(10, 0);  // no symbology: only the overlays
  RES_put("plot_param", "site,dist=50");
  Capture cap;
  plot(data_path(name), Domain{}, cap);
  float x0 = 0, y0 = 0;
  MAP_tran(d.info.domain.clat, d.info.domain.clon, &x0, &y0);
  int px = 0, py = 0;
  ASSERT_TRUE(pixel_at(x0, y0, &px, &py, cap));
  EXPECT_GT(cap.count_near(px, py, rgb_of("white"), 1), 0);
  // The ring passes 50 nautical miles from the site every way; halfway to it
  // nothing is drawn.
  for (const auto& [ang, nm] : {std::pair{0.0f, 50.0f}, {90.0f, 50.0f}, {180.0f, 50.0f}, {270.0f, 50.0f}, {45.0f, 25.0f}}) {
    float x = 0, y = 0;
    MAP_offset(x0, y0, ang, nm * 1.852f, &x, &y);
    ASSERT_TRUE(pixel_at(x, y, &px, &py, cap));
    const int blank = cap.count_near(px, py, rgb_of_index(gget_back_color()));
    EXPECT_EQ(blank < 25, nm == 50.0f) << ang << " degrees, " << nm << " nm: " << blank << " of 25 blank";
  }
}

TEST_F(NidsFrameTest, PointerReadsDistanceAndBeamHeight) {
  const Decoded d = decode(data_path("KBMX_SDUS54_N0RBMX_201501020205"));
  Domain dom = d.info.domain;
  MAP_domain(&dom);
  float x0 = 0, y0 = 0, x = 0, y = 0;
  MAP_tran(dom.clat, dom.clon, &x0, &y0);
  MAP_offset(x0, y0, 90.0f, 100.0f, &x, &y);  // 100 km east
  char event[] = "v-Alt";
  testing::internal::CaptureStdout();
  NIDS_print_loc_elev(event, x, y, dom.clat, dom.clon, 0.5f);
  char other[] = "b1";
  NIDS_print_loc_elev(other, x, y, dom.clat, dom.clon, 0.5f);
  const std::string out = testing::internal::GetCapturedStdout();
  // 100 km is 54.0 nautical miles; a 0.5 degree beam is 0.87 km up from its
  // slope and 0.78 km from the earth's curvature there: about 5450 ft.
  float lat = 0, lon = 0, nm = 0, ft = 0;
  ASSERT_EQ(std::sscanf(out.c_str(), "Lat: %f Lon: %f Dist: %fnm Alt: %fft", &lat, &lon, &nm, &ft), 4) << out;
  EXPECT_NEAR(nm, 54.0f, 0.1f);
  EXPECT_NEAR(ft, 5450.0f, 40.0f);
  EXPECT_NEAR(lat, dom.clat, 0.05f);
  EXPECT_GT(lon, dom.clon + 1.0f);
  EXPECT_EQ(out.find("Lat:", 5), std::string::npos) << "only v-Alt reads out";
}

TEST_F(NidsFrameTest, RefreshPlotsTheNewestFileOnce) {
  const zor::test::TempDir dir("nids_refresh");
  std::filesystem::copy_file(data_path("KBMX_SDUS54_N0RBMX_201501020205"), dir / "201501020205.nids");
  const zor::test::EnvVar now("zorcurtime", "201501020300");
  ASSERT_EQ(FILE_set_name(("@" + dir.path().string() + "/%Y%m%d%h%n.nids").c_str()), 1);
  Capture cap;
  plot(data_path("KBMX_SDUS54_N0QBMX_201501020205"), zoomed(data_path("KBMX_SDUS54_N0QBMX_201501020205")), cap);
  testing::internal::CaptureStdout();
  EXPECT_EQ(NIDS_plot_nextfile(), 0);
  const long fills = zor::nids_plot::fill_calls();
  EXPECT_EQ(NIDS_plot_nextfile(), 0);  // no newer file: nothing drawn
  const std::string out = testing::internal::GetCapturedStdout();
  zor::file::reset();
  // The newest file (the 4-bit product) was drawn once.
  EXPECT_EQ(zor::test::count_of(out, "Product type:"), 1) << out;
  EXPECT_GT(fills, 1000);
  EXPECT_EQ(zor::nids_plot::info().code, 19);
}

TEST_F(NidsFrameTest, TruncatedProductsEndTheirFramesCleanly) {
  // Every prefix (in steps) of a radial, a raster and a paged product is
  // drawn as far as it goes: no crash, no hang, a warning where it stops.
  FLAG_setplot(7, 1);
  RES_put("variable", "comp");
  RES_put("plot_param", "graph");
  Capture cap;
  plot(data_path("KBMX_SDUS54_NCRBMX_201501020205"), Domain{}, cap);
  int drawn = 0;
  for (const char* name : {"KBMX_SDUS54_N0RBMX_201501020205", "KBMX_SDUS54_NCRBMX_201501020205",
                           "KBMX_SDUS34_NVWBMX_201501020205"}) {
    const Bytes full = read_file(data_path(name));
    for (std::size_t n = 1; n < full.size(); n += 331) {
      std::string path = zor::test::scratch("nids_plot_cut");
      zor::test::write_file(path, std::string(full.begin(), full.begin() + static_cast<long>(n)));
      testing::internal::CaptureStdout();
      testing::internal::CaptureStderr();
      if (NIDS_open_file(path.data()) == 1) {
        EXPECT_EQ(NIDS_plot_frame(), 0);
        NIDS_close_file();
        ++drawn;
      }
      testing::internal::GetCapturedStdout();
      testing::internal::GetCapturedStderr();
    }
  }
  EXPECT_GT(drawn, 50);
}

TEST_F(NidsFrameTest, StormOverlaysStandWhereTheTableSays) {
  // The composite reflectivity's storm table: V3 at 44/19 (degrees /
  // nautical miles) moving from 246 degrees at 60 knots, then B4 at 227/70.
  const std::string path = data_path("KBMX_SDUS54_NCRBMX_201501020205");
  const Decoded d = decode(path);
  const std::uint32_t white = rgb_of("white");
  for (const auto& [var, param] : {std::pair{"comp", ""}, {"track", ""}, {"id", "numplt=1"}}) {
    SCOPED_TRACE(var);
    restart();
    FLAG_setplot(7, 1);
    FLAG_setplot(10, 0);  // the overlay alone
    RES_put("variable", var);
    RES_put("plot_param", param);
    Capture cap;
    plot(path, Domain{}, cap);
    const std::uint32_t back = rgb_of_index(gget_back_color());
    // Pixels of `colour` (not the background when 0) within r pixels of the
    // point `km` from (x, y) towards `ang`; -1 off the plot.
    auto count = [&](Gpt from, float ang, float km, int r, std::uint32_t colour = 0) {
      float x = 0, y = 0;
      int px = 0, py = 0;
      if (MAP_offset(from.x, from.y, ang, km, &x, &y) != 1 || !pixel_at(x, y, &px, &py, cap)) return -1;
      return colour ? cap.count_near(px, py, colour, r) : (2 * r + 1) * (2 * r + 1) - cap.count_near(px, py, back, r);
    };
    const Gpt site = radar_xy(d.info);
    const float nm = 1.852f;
    const std::string v = var;
    if (v == "comp") {  // a white mark at each storm
      EXPECT_GE(count(site, 44, 19 * nm, 1, white), 3);
      EXPECT_GE(count(site, 227, 70 * nm, 1, white), 3);
    } else if (v == "track") {  // two hours downwind, nothing upwind
      Gpt v3;
      ASSERT_EQ(MAP_offset(site.x, site.y, 44, 19 * nm, &v3.x, &v3.y), 1);
      for (float km : {40.0f, 80.0f, 120.0f}) {
        EXPECT_GT(count(v3, 66, km, 2), 0) << km << " km along the track";
        EXPECT_EQ(count(v3, 246, km, 2), 0) << km << " km upwind";
      }
    } else {  // the identifier of the first storm only
      EXPECT_GT(count(site, 44, 19 * nm, 15), 5);
      EXPECT_EQ(count(site, 227, 70 * nm, 15), 0);
    }
  }
}

}  // namespace
