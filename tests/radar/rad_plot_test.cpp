// Converted radar report plots: summary cells, stations and the intensity bar
// where the files put them, and the program on good and bad files.
#include <unistd.h>

#include "../gks/print_test_util.h"
#include "cvt_test_util.h"
#include "frame_test.h"
#include "zor/cty.h"
#include "zor/file.h"
#include "zor/rad.h"
#include "zor/var.h"

using namespace cvt_test;
namespace fs = std::filesystem;

namespace {

Domain domain(const char* str) {
  Domain d;
  EXPECT_GE(DOM_decode(str, &d), 1) << str;
  return d;
}
// Southern Plains on the summary grids' own projection: every MDR box is
// tens of pixels wide.
Domain plains() { return domain("ps:90:-105,35.5,-98,61,41,0.1,0.1"); }
Domain summary_grid(int type) {
  return domain(type == RAD_SUM_MDR ? "ps:90:-105,40.027382,-96.106903,120,90,0.47596,0.47596"
                                    : "ps:90:-105,39.711208,-97.094521,449,353,0.11899,0.11899");
}

class RadFrame : public zor::test::RadarFrameTest {
 protected:
  void SetUp() override {
    RadarFrameTest::SetUp();
    // Only the summary unless a test asks for more; no frame around the plot.
    FLAG_setplot(7, 0);
    FLAG_setplot(11, 0);
  }

  // One frame of `file` on the plains, captured; the map transformation
  // stays selected.
  void plot(const std::string& file, Capture& cap) {
    dom_ = plains();
    RAD_plot_param();
    if (const char* v = RES_get("variable"); v && *v) VAR_setup("rad.var", v);
    ASSERT_TRUE(zor::test::open_frame(dom_));
    CTY_store("rad.cty", 2, &dom_, ZOR_MISSING);
    std::string name = file;
    ASSERT_EQ(RAD_open_file(name.data()), 1);
    RAD_plot_frame();
    RAD_close_file();
    ASSERT_TRUE(zor::test::grab(cap));
  }

  bool pixel_at(float x, float y, int* px, int* py, const Capture& cap) const {
    return zor::test::plot_pixel(cap, x, y, px, py, 0.0f, 3);
  }

  // Plot position of the centre of box (i, j) of the file's summary grid.
  Gpt box_centre(int type, int i, int j) const {
    Domain g = summary_grid(type);
    MAP_domain(&g);
    Gpt p;
    MAP_grid_tran(static_cast<float>(i), static_cast<float>(j), &p.x, &p.y);
    MAP_domain(&dom_);
    return p;
  }

  Domain dom_;
};

TEST_F(RadFrame, SummaryBoxesTakeTheColoursOfTheirLevels) {
  for (const char* file : {"line_mdr.txt", "line_rcm.txt"}) {
    Capture cap;
    plot(cvt_path(file), cap);
    const RAD_info& info = zor::rad::info();
    const Domain g = summary_grid(info.type);
    int checked = 0, coloured = 0, wrong = 0;
    std::string first;
    for (int j = 0; j < g.ny; ++j) {
      for (int i = 0; i < g.nx; ++i) {
        const Gpt p = box_centre(info.type, i, j);
        int px = 0, py = 0;
        if (!pixel_at(p.x, p.y, &px, &py, cap)) continue;
        const int v = info.summary[i][j];
        const std::uint32_t want = zor::test::fill_rgb(v == 8 || v == 9 ? 1.0f : (v < 0 ? 0.0f : static_cast<float>(v)));
        ++checked;
        coloured += v > 0;
        if (!near(cap.pixel(px, py), want)) {
          if (wrong++ == 0) first = std::to_string(i) + "," + std::to_string(j);
        }
      }
    }
    EXPECT_GT(coloured, 40) << file;
    EXPECT_GT(checked, coloured) << file;
    EXPECT_EQ(wrong, 0) << file << ": first at box " << first;
    restart();
  }
}

TEST_F(RadFrame, PlotType51DrawsLinesBetweenTheBoxes) {
  FLAG_set(11, 51);
  Capture cap;
  plot(cvt_path("line_mdr.txt"), cap);
  EXPECT_EQ(FLAG_get(11), 51);  // restored after the summary
  EXPECT_FLOAT_EQ(CONT_get_intrvl(), 2.0f);
  const std::uint32_t back = rgb_of_index(gget_back_color());
  const RAD_info& info = zor::rad::info();
  int centres = 0, filled = 0;
  for (int j = 0; j < 90; ++j) {
    for (int i = 0; i < 120; ++i) {
      int px = 0, py = 0;
      const Gpt p = box_centre(RAD_SUM_MDR, i, j);
      if (info.summary[i][j] < 5 || !pixel_at(p.x, p.y, &px, &py, cap)) continue;
      ++centres;
      filled += cap.pixel(px, py) != back;
    }
  }
  EXPECT_GT(centres, 3);
  EXPECT_EQ(filled, 0);
  int lit = 0;
  for (int y = 0; y < cap.img.height / 2; ++y)
    for (int x = 0; x < cap.img.width; ++x) lit += cap.pixel(x, y) != back;
  EXPECT_GT(lit, 100);
}

TEST_F(RadFrame, StationsAndTheirValuesWhereTheSitesAre) {
  FLAG_setplot(7, 1);
  FLAG_setplot(10, 0);
  RES_put("variable", "city");
  RES_put("plot_param", "site,dist=50");
  Capture cap;
  plot(cvt_path("line_mdr.txt"), cap);
  const std::uint32_t back = rgb_of_index(gget_back_color());
  float lat = 0, lon = 0;
  ASSERT_TRUE(CTY_get_loc("rad.cty", "KTLX", &lat, &lon));
  float x = 0, y = 0;
  MAP_tran(lat, lon, &x, &y);
  int px = 0, py = 0;
  ASSERT_TRUE(pixel_at(x, y, &px, &py, cap));
  int text = 0;
  for (int j = -25; j <= 0; ++j)
    for (int i = -40; i <= 0; ++i) text += cap.pixel(px + i, py + j) != back;
  EXPECT_GE(9 - cap.count_near(px, py, back, 1), 3);  // the marker
  EXPECT_GT(text, 20);  // "TLX" up and left of the site
  // The ring 50 nautical miles out; nothing halfway.
  MAP_offset(x, y, 180.0f, 50 * 1.852f, &x, &y);
  ASSERT_TRUE(pixel_at(x, y, &px, &py, cap));
  EXPECT_LT(cap.count_near(px, py, back), 25);
  MAP_tran(lat, lon, &x, &y);
  MAP_offset(x, y, 135.0f, 25 * 1.852f, &x, &y);
  ASSERT_TRUE(pixel_at(x, y, &px, &py, cap));
  EXPECT_EQ(cap.pixel(px, py), back);
}

TEST_F(RadFrame, IntensityBarBoxesAndFlashing) {
  Capture cap;
  plot(cvt_path("line_mdr.txt"), cap);
  const zor::rad::Bar b = zor::rad::bar();
  ASSERT_GT(b.y_lab, 0.0f);
  GPH_trans(1);
  const float ym = (b.y0 + 0.15f * (b.y1 - b.y0) + b.y1 - 0.1f * (b.y1 - b.y0)) / 2.0f;
  for (int level = 1; level <= 6; ++level) {
    const float xm = b.x0 + static_cast<float>(level - 1) * 4.0f * b.y_lab + 2.85f * b.y_lab;
    Gattribs a;
    CONT_get_fill_attrib(static_cast<float>(level), &a);
    const int px = static_cast<int>(xW_p(xm)), py = static_cast<int>(yW_p(ym));
    EXPECT_TRUE(near(cap.pixel(px, py), rgb_of_index(a.color))) << level;
  }
  // The pointer on box 3 names level 3 (and blinks it); off the bar, none.
  const float x3 = xW_trans(b.x0 + 2.0f * 4.0f * b.y_lab + 2.5f * b.y_lab, 1, 2);
  const float yb = yW_trans(ym, 1, 2);
  GPH_trans(2);
  char flash[] = "f-Alt", other[] = "v-Alt";
  EXPECT_EQ(RAD_flash_levels(other, x3, yb), 0);
  EXPECT_EQ(RAD_flash_levels(flash, x3, yW_trans(b.y1 + 0.05f, 1, 2)), 0);
  EXPECT_EQ(RAD_flash_levels(flash, x3, yb), 3);
}

TEST_F(RadFrame, RefreshDrawsTheNewestFileOnce) {
  const zor::test::TempDir dir("rad_refresh");
  fs::copy_file(cvt_path("line_mdr.txt"), dir / "199505122335.cvt");
  const zor::test::EnvVar now("zorcurtime", "199505130000");
  ASSERT_EQ(FILE_set_name(("@" + dir.path().string() + "/%Y%m%d%h%n.cvt").c_str()), 1);
  Capture cap;
  plot(cvt_path("nodate.txt"), cap);
  testing::internal::CaptureStdout();
  EXPECT_EQ(RAD_plot_nextfile(), 0);
  EXPECT_EQ(RAD_plot_nextfile(), 0);  // no newer file: nothing drawn
  const std::string out = testing::internal::GetCapturedStdout();
  zor::file::reset();
  EXPECT_EQ(zor::test::count_of(out, "Date: "), 1) << out;
  EXPECT_STREQ(zor::rad::info().datim, "2335Z 12 MAY 95");
}

TEST_F(RadFrame, PlotParametersAndTheVariableMenu) {
  struct Case {
    const char* words;
    zor::rad::Params want;
  };
  const Case cases[] = {
      {"", {}},
      {"site,dist", {.plt_dist = 100.0f, .plt_site = 1}},
      {"DIST=60,nostatus", {.plt_dist = 60.0f, .plt_status = 0}},
      {"dist=5", {.plt_dist = 5.0f}},  // kept, but too small to draw
      {"dist,nodist,noclar,refresh", {.noclar = 1, .refresh = 1}},
      {"numplt=3", {.num_plt = 3}},
  };
  for (const Case& c : cases) {
    RES_put("plot_param", c.words);
    RAD_plot_param();
    auto fields = [](const zor::rad::Params& p) {
      return std::tuple(p.plt_dist, p.plt_site, p.plt_status, p.num_plt, p.noclar, p.refresh);
    };
    EXPECT_EQ(fields(zor::rad::params()), fields(c.want)) << c.words;
  }
  RES_put("plot_param", "nobar");
  RAD_plot_param();
  EXPECT_EQ(CONT_get_bar(), -2);

  // A `variable` resource is taken once; in batch without one the menu
  // gives one plot of the summary alone.
  RES_put("variable", "city,pr_amv");
  RAD_set_prompt_variable(1);
  EXPECT_EQ(RAD_prompt_variable(), 1);
  EXPECT_EQ(VAR_get_num(), 2);
  EXPECT_EQ(VAR_get_vars()[1].type, RAW_VBARB);
  EXPECT_EQ(RAD_prompt_variable(), 0);
  RES_put("variable", "");
  RAD_set_prompt_variable(1);
  EXPECT_NE(RAD_prompt_variable(), 0);
  EXPECT_EQ(VAR_get_num(), 0);
  EXPECT_EQ(RAD_prompt_variable(), 0);
}


using zor::test::ProgramRun;

class RadProgram : public zor::test::ProgramTest {
 protected:
  RadProgram() : ProgramTest("rad_program", "-ba ") {}
};

TEST_F(RadProgram, EveryKindPlotsAndBadFilesEndWithAMessage) {
  NcOptions cells;
  cells.cells = {{57, 57, 6}, {58, 57, 5}};
  NcOptions no_summary;
  no_summary.summary = false;
  NcOptions narrow;
  narrow.nx = 100;
  struct Case {
    std::string file;
    const char* input;
    int status;
  };
  const Case cases[] = {
      {cvt_path("line_mdr.txt"), "", 0},
      {cvt_path("line_rcm.txt"), "-inp rcm ", 0},
      {cvt_path("nodate.txt"), "", 0},
      {make_nc(station_cdl(cells), "prog11"), "", 0},
      {make_nc(report_cdl(cells), "prog12"), "", 0},
      {cvt_path("bad.txt"), "", 10},
      {cvt_path("no_such_file.txt"), "", 10},
      {make_nc(station_cdl(no_summary), "prog11_nosum"), "", 10},
      {make_nc(report_cdl(narrow), "prog12_narrow"), "", 10},
  };
  const std::uint32_t magenta = zor::test::rgb_of("magenta");
  for (const Case& c : cases) {
    fs::remove(dir_ / "p.png");
    const ProgramRun r = radar(std::string(c.input) + "-pd 35.5,-98,61,41,0.1,0.1 -va city -of png:@p.png @" + c.file);
    EXPECT_EQ(r.status, c.status) << c.file << "\n" << r.err;
    if (c.status != 0) {
      EXPECT_NE(r.err.find("Unable to open file:"), std::string::npos) << c.file << "\n" << r.err;
      continue;
    }
    zor::test::Raster img;
    ASSERT_TRUE(zor::test::read_png((dir_ / "p.png").string(), img)) << c.file;
    const int strong = zor::test::count_pixels(img, [&](std::uint32_t v) { return near(v, magenta); });
    // Level 6 boxes (and the bar's box) in magenta; the nodate file has none.
    EXPECT_GT(strong, c.file.find("nodate") == std::string::npos ? 200 : 10) << c.file;
  }
}

}  // namespace
