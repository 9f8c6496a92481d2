// PostScript and EPS output: framing, attributes, options, pipes, appending,
// and pages rendered by Ghostscript and checked by pixel.
#include <cstdlib>
#include <string>
#include <tuple>

#include "../common/capture.h"
#include "device.h"
#include "print_test_util.h"
#include "print_checks.h"

namespace {

using zor::test::count_of;
using zor::test::out_path;
using zor::test::Raster;
using zor::test::Scene;
using zor::test::slurp;

struct DevXY {
  float x = 0.0f;
  float y = 0.0f;
};

// A scene position in page pixels of a 72 dpi letter-size rendering.
struct PagePoint {
  int col = 0;
  int row = 0;
};

class PsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::reset_devices();
    unsetenv("zorps_param");
    unsetenv("PSCOLOR");
    gset_win_title("radar test");
  }
  void TearDown() override {
    if (gchk_graphics()) zor::test::close_ws();
    zor::gks::clear_fixed_time();
  }

  // Device position of an NDC point, while the workstation is open.
  static DevXY device(float x, float y) { return {xW_ps(x), yW_ps(y)}; }

  // Landscape pages are turned 90 degrees and moved by ".25 inch -8.25 inch
  // translate": device y runs right to left from page x 594, device x runs
  // up from page y 18; image rows count down from the page top (792).
  static PagePoint landscape(const DevXY& d) {
    return {static_cast<int>(594.0f - d.y), static_cast<int>(792.0f - 18.0f - d.x)};
  }
};

TEST_F(PsTest, GreyLandscapeLetterFramesThePageAndRendersTheDrawing) {
  const std::string ps = out_path("grey.ps");
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, ps));
  EXPECT_EQ(zor::test::win_size(), std::pair(756, 576));  // letter landscape, in points
  zor::test::draw_scene();
  const PagePoint fill = landscape(device(0.2f, 0.2f));
  const PagePoint line = landscape(device(0.7f, Scene::line_y));
  const PagePoint mark = landscape(device(Scene::mark_x, Scene::mark_y));
  const PagePoint text0 = landscape(device(Scene::text_x, Scene::text_y));
  const PagePoint text1 = landscape(device(Scene::text_x + 0.1f, Scene::text_y + Scene::text_h));
  const PagePoint blank = landscape(device(Scene::blank_x, Scene::blank_y));
  zor::test::close_ws();

  const std::string text = slurp(ps);
  EXPECT_EQ(text.rfind("%!PS-Adobe-1.0\n%%Title: ZOR Graphics Display: radar test\n%%Creator: ZOR Postscript "
                       "Processor-2.0\n%%CreationDate: Tue Nov 14 22:13:20 2023\n%%EndComments\n", 0), 0u);
  EXPECT_EQ(zor::test::lines_of(text).at(6), "30 dict begin");
  EXPECT_NE(text.find("90 rotate\n.25 inch -8.25 inch translate\n0 setgray\n2 setlinejoin\n"), std::string::npos);
  EXPECT_NE(text.find("%%Begin plot\n%%ZOR Plot: radar test\n"), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - 49), "%%End of plot\nsaveobj restore\nshowpage\nend\n%%EOF\n");
  // Grey output: lines black, the blue fill at its grey level (0.8 / 2.7).
  EXPECT_EQ(count_of(text, "setrgbcolor"), 0);
  EXPECT_NE(text.find("cp\n0.296 setgray\nfill\n"), std::string::npos);
  EXPECT_NE(text.find("%%PL: 2\n10.0 dot lw\n0 setgray\n"), std::string::npos);  // width 10, in 0.33-point dots
  EXPECT_EQ(count_of(text, "[6] 0 setdash\n"), 1);
  EXPECT_NE(text.find("%%PM: 3\n"), std::string::npos);
  EXPECT_NE(text.find("%%TE: 0.100000 0.550000 ZOR\n"), std::string::npos);

  if (!zor::test::have_ghostscript()) GTEST_SKIP() << "Ghostscript not installed";
  const std::string png = out_path("grey.png");
  ASSERT_EQ(zor::test::render(ps, png), 0) << slurp(png + ".log");
  Raster r;
  ASSERT_TRUE(zor::test::read_png(png, r));
  ASSERT_EQ(std::pair(r.width, r.height), std::pair(612, 792));
  const unsigned char* f = r.at(fill.col, fill.row);
  EXPECT_NEAR(f[0], 75, 8);
  EXPECT_TRUE(f[0] == f[1] && f[1] == f[2]);
  const unsigned char* l = r.at(line.col, line.row);
  EXPECT_LT(l[0] + l[1] + l[2], 60);
  EXPECT_GT(r.inked_near(mark.col, mark.row, 2), 3);
  int inked = 0;
  for (int row = text1.row; row <= text0.row; ++row)
    for (int col = text1.col; col <= text0.col; ++col) inked += !r.is_white(col, row);
  EXPECT_GT(inked, 20) << "the text left no ink";
  EXPECT_EQ(r.inked_near(blank.col, blank.row, 3), 0);
}

TEST_F(PsTest, ColourEpsHasABoundingBoxNoDictionaryAndRendersInColour) {
  const std::string eps = out_path("colour.eps");
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, eps + ",eps,color"));
  EXPECT_EQ(gget_inverse(), 1);
  zor::test::draw_scene();
  // EPS landscape is translated by the picture height (576 points), so the
  // picture fills its bounding box exactly.
  auto page = [](DevXY d) { return PagePoint{static_cast<int>(576.0f - d.y), static_cast<int>(792.0f - d.x)}; };
  const PagePoint fill = page(device(0.2f, 0.2f));
  const PagePoint line = page(device(0.7f, Scene::line_y));
  const PagePoint blank = page(device(Scene::blank_x, Scene::blank_y));
  zor::test::close_ws();

  const std::string text = slurp(eps);
  EXPECT_EQ(text.rfind("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 576 756\n", 0), 0u);
  EXPECT_EQ(count_of(text, "30 dict begin"), 0);
  EXPECT_EQ(count_of(text, "saveobj"), 0);
  EXPECT_NE(text.find("90 rotate\n0. inch -8.00 inch translate\n0 0 0 setrgbcolor\n"), std::string::npos);
  EXPECT_NE(text.find("1.00 0.00 0.00 setrgbcolor\n"), std::string::npos);
  EXPECT_EQ(count_of(text, "0.00 0.00 1.00 setrgbcolor\n"), 2);  // the fill, then the markers
  EXPECT_EQ(text.substr(text.size() - 20), "%%End of plot\n%%EOF\n");

  if (!zor::test::have_ghostscript()) GTEST_SKIP() << "Ghostscript not installed";
  const std::string png = out_path("colour.png");
  ASSERT_EQ(zor::test::render(eps, png), 0) << slurp(png + ".log");
  Raster r;
  ASSERT_TRUE(zor::test::read_png(png, r));
  EXPECT_TRUE(zor::test::near(r.pixel(fill.col, fill.row), 0x0000FF, 20));
  EXPECT_TRUE(zor::test::near(r.pixel(line.col, line.row), 0xFF0000, 20));
  EXPECT_EQ(r.inked_near(blank.col, blank.row, 3), 0);
}

TEST_F(PsTest, PortraitEpsKeepsTheDeviceUpright) {
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("portrait.eps") + ",port,eps"));
  zor::test::close_ws();
  const std::string text = slurp(out_path("portrait.eps"));
  EXPECT_NE(text.find("%%BoundingBox: 0 0 756 576\n"), std::string::npos);
  EXPECT_EQ(count_of(text, "rotate") + count_of(text, "translate"), 0);
}

TEST_F(PsTest, OptionsSetPaperScaleAndWidthsFromEnvironmentAndConnection) {
  setenv("zorps_param", "a4,lwidth=2", 1);
  const std::string ps = out_path("options.ps");
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, ps + ",scale=1.5,port"));
  EXPECT_EQ(zor::test::win_size(), std::pair(static_cast<int>((11.69f - 0.5f) * 72.0f), static_cast<int>((8.26f - 0.5f) * 72.0f)));
  // Reserved print shades: 502 is black at four times the base width.
  gset_line_colr_ind(502);
  gset_linewidth(2.0f);
  GPH_line(0.1f, 0.1f, 0.2f, 0.2f);
  GPH_line(0.1f, 0.2f, 0.2f, 0.3f);
  gset_line_colr_ind(505);
  GPH_line(0.1f, 0.3f, 0.2f, 0.4f);
  zor::test::close_ws();
  unsetenv("zorps_param");

  const std::string text = slurp(ps);
  EXPECT_NE(text.find(".25 inch .25 inch translate\n"), std::string::npos);
  EXPECT_NE(text.find("1.50 1.50 scale\n"), std::string::npos);
  EXPECT_EQ(count_of(text, "16 dot lw\n"), 1);  // trunc(4 x base 2 x width 2), written once
  EXPECT_EQ(count_of(text, "1 setgray\n"), 1);
  EXPECT_EQ(count_of(text, "%%PL: 2\n"), 3);

  // "sz" takes a free size; the size in inches is kept for the page.
  zor::gks::reset_ps();
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("size.ps") + ",sz=20x10"));
  EXPECT_EQ(zor::test::win_size(), std::pair(1404, 684));
  zor::test::close_ws();
}

TEST_F(PsTest, PipesAndAppendsWriteWhereTheNameSays) {
  const std::string target = out_path("piped.ps");
  std::remove(target.c_str());
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, "|cat > " + target));
  GPH_line(0.1f, 0.1f, 0.9f, 0.1f);
  zor::test::close_ws();
  const std::string piped = slurp(target);
  EXPECT_EQ(piped.rfind("%!PS-Adobe-1.0\n", 0), 0u);
  EXPECT_EQ(piped.substr(piped.size() - 6), "%%EOF\n");

  const std::size_t first_size = piped.size();
  zor::gks::reset_ps();
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, "+" + target));
  GPH_line(0.1f, 0.2f, 0.9f, 0.2f);
  zor::test::close_ws();
  const std::string both = slurp(target);
  ASSERT_GT(both.size(), first_size);
  const std::string appended = both.substr(first_size);
  EXPECT_EQ(appended.rfind("0 setgray\n1 dot lw\n[] 0 setdash\n%%ZOR Plot: radar test\n", 0), 0u);
  EXPECT_EQ(count_of(appended, "%!PS"), 0);
  EXPECT_EQ(count_of(appended, "showpage"), 0);
  EXPECT_EQ(appended.substr(appended.size() - 14), "%%End of plot\n");
}

TEST_F(PsTest, UnopenableFileFailsTheOpen) {
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  EXPECT_EQ(gopen_ws(1, "/nonexistent-dir/x.ps", GWS_PS), -1);
  EXPECT_EQ(gchk_graphics(), 0);
  EXPECT_EQ(gps_close_file(), -1);
  gclose_gks();
}

// Grey levels as written are checked in the scene above; here the reverse.
TEST(PsGrey, ReverseTurnsTheLevelsRound) {
  zor::gks::reset_ps();
  gps_set_reverse(1);
  gps_set_color_rep(5, 0.0f, 0.0f, 1.0f);
  EXPECT_NEAR(gps_get_gray(5), 1.0f - 0.8f / 2.7f, 1e-6);
  EXPECT_EQ(gps_set_color_rep(300, 1, 1, 1), -1);
  zor::gks::reset_ps();
}

// ----- the colour model behind the print shades -----

class ColourModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::reset_devices();
    gset_background("");
  }
  void TearDown() override {
    if (gchk_graphics()) zor::test::close_ws();
    zor::gks::unregister_device(GWS_WINDOW);
    gset_background("");
    gset_inverse(0);
    zor::gks::reset_color_model();
  }

  // A display stand-in: realises index i as pixel i.
  static zor::gks::RecordingDevice*& display() {
    static zor::gks::RecordingDevice* d = nullptr;
    return d;
  }
  static void open_display() {
    zor::gks::register_device(GWS_WINDOW, "test display", [] {
      auto dev = std::make_unique<zor::gks::RecordingDevice>();
      display() = dev.get();
      return std::unique_ptr<zor::gks::Device>(std::move(dev));
    });
    ASSERT_EQ(gopen_gks(nullptr, 0), 0);
    ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
  }
  static bool cleared() {
    for (const auto& c : display()->calls())
      if (c.op == zor::gks::RecordedCall::Op::clear) return true;
    return false;
  }
  static void define(int ind, float r, float g, float b) {
    const Gcolr_rep c{r, g, b};
    ASSERT_EQ(gset_colr_rep(1, ind, &c), 0);
  }
};

TEST_F(ColourModelTest, IndicesAreCheckedAndReservedShadesAreFixed) {
  const Gcolr_rep grey{0.5f, 0.5f, 0.5f};
  EXPECT_EQ(gset_colr_rep(1, 3, &grey), -1);  // nothing open
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("colours.ps")));
  for (int bad : {257, -2, 499}) EXPECT_EQ(gset_colr_rep(1, bad, &grey), -1) << bad;
  EXPECT_EQ(gset_colr_rep(1, 503, &grey), 0);
  float r = 0, g = 0, b = 0;
  gget_color_rgb(503, &r, &g, &b);
  EXPECT_FLOAT_EQ(r + g + b, 3.0f);  // still white
  EXPECT_EQ(std::tuple(gis_valid_colr(508), gis_valid_colr(509)), std::tuple(1, 0));
  // Paper is white; index 256 (and -1) is the background and can be redefined.
  gget_color_rgb(-1, &r, &g, &b);
  EXPECT_FLOAT_EQ(r, 1.0f);
  define(256, 0.5f, 0.5f, 0.5f);
  gget_color_rgb(-1, &r, &g, &b);
  EXPECT_FLOAT_EQ(g, 0.5f);
  int r8 = 0, g8 = 0, b8 = 0;
  gget_color_rgb256(256, &r8, &g8, &b8);
  EXPECT_EQ(g8, 127);
  // Print devices keep fractions only: the index is defined without a pixel.
  EXPECT_EQ(gget_color_ind(1), -2);
  EXPECT_NEAR(gps_get_gray(256), 0.5f * 2.7f / 2.7f, 1e-6);
}

TEST_F(ColourModelTest, NearnessIsASumOfAbsoluteDifferencesBelowOnePercent) {
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("near.ps")));
  ASSERT_STREQ(CLR_get_name(0), "black");
  EXPECT_EQ(std::tuple(gis_color_near(0, 0.004f, 0.004f, 0.0f, 0), gis_color_near(0, 0.005f, 0.005f, 0.0f, 0),
                       gis_color_near(-1, 1.0f, 1.0f, 1.0f, 0), gis_color_near(600, 0.0f, 0.0f, 0.0f, 0)),
            std::tuple(1, 0, 0, 0));
}

TEST_F(ColourModelTest, AllocatingAnyIndexReusesTheHighestMatchOrTakesTheNext) {
  open_display();
  define(2, 1.0f, 0.0f, 0.0f);
  define(3, 1.0f, 0.0f, 0.004f);
  define(5, 0.0f, 0.0f, 1.0f);
  EXPECT_EQ(std::tuple(gget_color_ind(5), gget_max_colr()), std::tuple(5, 5));
  EXPECT_EQ(galloc_colr(-1, 1.0f, 0.0f, 0.0f), 3);  // 2 and 3 match: the higher one
  EXPECT_EQ(gget_max_colr(), 5);
  EXPECT_EQ(galloc_colr(-1, 0.3f, 0.3f, 0.3f), 6);  // no match: a new index
  EXPECT_EQ(gget_max_colr(), 6);
  // By pixel value; no index has pixel 77.
  EXPECT_EQ(std::tuple(gis_color_near(3, 1.0f, 0.0f, 0.0f, 1), gis_color_near(77, 1.0f, 0.0f, 0.0f, 1)), std::tuple(1, 0));
  // Redefinition takes effect for later drawing.
  define(2, 0.0f, 1.0f, 0.0f);
  float r = 0, g = 0, b = 0;
  gget_color_rgb(2, &r, &g, &b);
  EXPECT_FLOAT_EQ(g, 1.0f);
  EXPECT_EQ(gget_color_ind(2), 2);
}

TEST_F(ColourModelTest, DisplayBackgroundComesFromTheNameOrInverseAndClears) {
  CLR_read_table(nullptr);
  gset_background("lgray");
  open_display();
  float r = 0, g = 0, b = 0;
  gget_color_rgb(-1, &r, &g, &b);
  EXPECT_FLOAT_EQ(r, 0.75f);
  EXPECT_EQ(gget_back_color(), 256);
  EXPECT_TRUE(cleared());
  zor::test::close_ws();

  gset_background("NONE");
  gset_inverse(1);
  open_display();
  gget_color_rgb(-1, &r, &g, &b);
  EXPECT_FLOAT_EQ(b, 1.0f);  // inverse: white
  EXPECT_FALSE(cleared());
}

}  // namespace
