// HP-GL/2 output: PCL framing, pens, shading, line types, page options and
// appending, from drawings made through the kernel.
#include <cstdlib>
#include <string>
#include <tuple>

#include "print_test_util.h"
#include "print_checks.h"

namespace {

using zor::test::count_of;
using zor::test::out_path;
using zor::test::slurp;

const std::string kEsc = "\x1b";

class HpglTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::reset_devices();
    unsetenv("zorhp_param");
    gset_win_title("radar test");
  }
  void TearDown() override {
    if (gchk_graphics()) zor::test::close_ws();
    zor::gks::clear_fixed_time();
  }
};

TEST_F(HpglTest, SceneIsFramedForPclWithPensShadingAndPaths) {
  const std::string file = out_path("scene.hpgl");
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, file));
  int ox = 0, oy = 0;
  gget_win_offset(&ox, &oy);
  EXPECT_EQ(zor::test::win_size(), std::pair(10150, 7612));
  EXPECT_EQ(std::tuple(ox, oy), std::tuple(10, 10));
  zor::test::draw_scene();
  zor::test::close_ws();

  const std::string text = slurp(file);
  EXPECT_EQ(text.rfind(kEsc + "E" + kEsc + "%1B" + kEsc + "&l1O\nIN;SP1;PA;\nPW0.2;SV;LT;\n", 0), 0u);
  EXPECT_EQ(text.substr(text.size() - 13), "SP;PG;" + kEsc + "%0A" + kEsc + "E\n");
  EXPECT_GE(count_of(text, "IW "), 1);
  // The blue fill: grey level 0.8 / 2.7, printed as 70% shading.
  EXPECT_NE(text.find("FT10,70;\nPU"), std::string::npos);
  EXPECT_EQ(count_of(text, "PM1;PM2;FP;\n"), 1);
  EXPECT_NE(text.find("PW2.0;\n"), std::string::npos);  // line width 10 x base 0.2
  EXPECT_EQ(count_of(text, "LT2,5,1;\n"), 1);
  // Three plus markers of two strokes each, and the three glyphs of "ZOR".
  EXPECT_GE(count_of(text, "PU"), 1 + 5 + 6 + 3);
}

TEST_F(HpglTest, RepeatedAttributesAreWrittenOnceAndLongLinesAreBroken) {
  const std::string file = out_path("attrs.hpgl");
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, file + ",nopcl"));
  gset_line_colr_ind(505);
  for (int i = 0; i < 3; ++i) GPH_line(0.1f, 0.1f + 0.1f * i, 0.9f, 0.1f + 0.1f * i);
  gset_line_colr_ind(507);
  GPH_line(0.1f, 0.5f, 0.9f, 0.5f);
  gset_line_colr_ind(1);
  Gpt pts[25];
  for (int i = 0; i < 25; ++i) pts[i] = {0.1f + 0.03f * i, 0.6f + 0.001f * i};
  gpolyline(25, pts);
  zor::test::close_ws();

  const std::string text = slurp(file);
  EXPECT_EQ(text.rfind("IN;SP1;PA;\n", 0), 0u);  // no PCL wrapper
  EXPECT_EQ(count_of(text, kEsc), 0);
  EXPECT_EQ(count_of(text, "SV1,0;\n"), 1);
  EXPECT_EQ(count_of(text, "SV1,30;\n"), 1);
  EXPECT_EQ(count_of(text, "PW0.4;\n"), 1);  // 507 doubles the base width
  // 25 points: a break after points 10 and 20, and the closing one.
  const std::size_t start = text.rfind("PU");
  const std::string last = text.substr(start, text.find("SP;PG;") - start);
  EXPECT_EQ(count_of(last, "PD"), 24);
  EXPECT_EQ(count_of(last, "\n"), 3);
}

TEST_F(HpglTest, OptionsSetRollPaperRotationAndLaserJetWrapper) {
  setenv("zorhp_param", "roll=36", 1);
  const std::string file = out_path("roll.hpgl");
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, file + ",lj,rot=180,lwidth=0.5"));
  EXPECT_EQ(zor::test::win_size(), std::pair(static_cast<int>(35.5f * 1015.0f), static_cast<int>(23.0f * 1015.0f)));
  zor::test::close_ws();
  unsetenv("zorhp_param");
  const std::string text = slurp(file);
  EXPECT_NE(text.find("IN;SP1;PA;\nRO90;\nRO180;\nPW0.5;SV;LT;\n"), std::string::npos);

  zor::gks::reset_hpgl();
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, out_path("a3.hpgl") + ",a3,port"));
  EXPECT_EQ(zor::test::win_size(),
            std::pair(static_cast<int>((16.54f - 0.5f) * 1015.0f), static_cast<int>((11.69f - 0.5f) * 1015.0f)));
  zor::test::close_ws();
  EXPECT_NE(slurp(out_path("a3.hpgl")).find("PA;\nRO90;\nPW"), std::string::npos);
}

TEST_F(HpglTest, AppendingSkipsFramingButSetsThePen) {
  const std::string file = out_path("append.hpgl");
  std::remove(file.c_str());
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, file));
  GPH_line(0.1f, 0.1f, 0.9f, 0.1f);
  zor::test::close_ws();
  const std::size_t first = slurp(file).size();

  zor::gks::reset_hpgl();
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, "+" + file));
  GPH_line(0.1f, 0.2f, 0.9f, 0.2f);
  zor::test::close_ws();
  const std::string added = slurp(file).substr(first);
  EXPECT_EQ(added.rfind("PW0.2;SV;LT;\n", 0), 0u);
  EXPECT_EQ(std::tuple(count_of(added, "IN;"), count_of(added, "PG;"), count_of(added, "PD")), std::tuple(0, 0, 1));
}

TEST_F(HpglTest, UnopenableFileFailsTheOpen) {
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  EXPECT_EQ(gopen_ws(1, "/nonexistent-dir/x.hpgl", GWS_HPGL), -1);
  EXPECT_EQ(ghpgl_close_file(), -1);
  gclose_gks();
}

}  // namespace
