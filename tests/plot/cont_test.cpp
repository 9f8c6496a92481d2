// Fill lists of every form, value to colour at the boundaries, interval rounding and the contour keywords.
#include <gtest/gtest.h>

#include "../frame/captured.h"

#include <cmath>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/data_dir.h"
#include "zor/res.h"
#include "zor/reset.h"


namespace {

std::string data_dir() { return std::string(ZOR_TEST_DATA_DIR) + "/plot"; }

class ContTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::clr::reset();
    // Named explicitly, the table brings no fill colours of its own.
    CLR_read_table(zor::find_data_file("zor.clr").value_or("zor.clr").c_str());
    zor::cont::reset();
    CONT_init();
  }
  void TearDown() override { zor::reset_all(); }
  static int step(float v) {
    Gattribs a;
    return CONT_get_fill_attrib(v, &a);
  }
  static int colour(float v) {
    Gattribs a;
    CONT_get_fill_attrib(v, &a);
    return a.color;
  }
  static std::vector<float> levels() {
    std::vector<float> v(CONT_MAX_LEVELS);
    v.resize(static_cast<std::size_t>(CONT_get_values(v.data())));
    return v;
  }
};

TEST_F(ContTest, EvenlySpacedLevelsCycleThroughTheBuiltInColours) {
  ASSERT_EQ(CONT_set_fill_colors(nullptr, 1), 0);
  ASSERT_EQ(CONT_get_num_cont(), 15);
  CONT_set_base(0);
  CONT_set_intrvl(5);
  // 77 is step 15 modulo 15.
  EXPECT_EQ(std::tuple(step(12), step(77), step(-3)), std::tuple(2, 0, 14));
  EXPECT_EQ(std::tuple(colour(12), colour(77), colour(-3)),
            std::tuple(CLR_get_ind("Blue"), CLR_get_ind("Magenta"), CLR_get_ind("White")));
  // A value a hair under a level still falls on it (0.01 interval slack).
  EXPECT_EQ(step(9.96f), 2);
  EXPECT_EQ(step(9.9f), 1);
  EXPECT_EQ(step(ZOR_MISSING_F), -1);
}

TEST_F(ContTest, ExplicitLevelsPickTheStepAtOrBelowTheValue) {
  ASSERT_EQ(CONT_set_fill_colors("-50:off,5:blue,10:lblue,15:cyan", 1), 0);
  EXPECT_EQ(levels(), (std::vector<float>{-50, 5, 10, 15}));
  EXPECT_FLOAT_EQ(CONT_get_intrvl(), 55.0f);
  EXPECT_EQ(std::tuple(step(-51), step(-50), step(5), step(9.999f), step(10), step(15), step(1000)),
            std::tuple(-1, 0, 1, 1, 2, 3, 3));
  EXPECT_EQ(colour(4.99f), -1);  // "off": drawn nowhere
  EXPECT_EQ(std::pair(colour(5), colour(10)), std::pair(CLR_get_ind("blue"), CLR_get_ind("lblue")));
  EXPECT_STREQ(CONT_get_label(1), "5");
  // Steps without levels between two levels are interpolated.
  CONT_reset_fill_set();
  ASSERT_EQ(CONT_set_fill_colors("5:blue,green,15:red", 1), 0);
  EXPECT_EQ(levels(), (std::vector<float>{5, 10, 15}));
  EXPECT_EQ(colour(12), CLR_get_ind("green"));
  CONT_reset_fill_set();
  ASSERT_EQ(CONT_set_fill_colors("0:blue,cyan,green,yellow,40:red", 1), 0);
  EXPECT_EQ(levels(), (std::vector<float>{0, 10, 20, 30, 40}));
}

TEST_F(ContTest, ColourRunsGiveOneStepPerIndexInEitherDirection) {
  ASSERT_EQ(CONT_set_fill_colors("2:wi=3-5,9-7", 1), 0);
  ASSERT_EQ(CONT_get_num_cont(), 7);
  EXPECT_TRUE(levels().empty());
  CONT_set_intrvl(1);
  CONT_set_base(0);
  const int want[] = {2, 3, 4, 5, 9, 8, 7};
  for (int i = 0; i < 7; ++i) {
    Gattribs a;
    ASSERT_EQ(CONT_get_fill_attrib(static_cast<float>(i), &a), i);
    EXPECT_EQ(a.color, want[i]) << i;
    if (i < 4) {
      EXPECT_FLOAT_EQ(a.width, 3.0f);  // the run's other attributes come from A
    }
  }
}

TEST_F(ContTest, LabelFieldNamesTheStepOnTheBar) {
  ASSERT_EQ(CONT_set_fill_colors("10:red:la=Light:wi=2,20:blue:la=AVeryLongLabel", 1), 0);
  EXPECT_STREQ(CONT_get_label(0), "Light");
  EXPECT_STREQ(CONT_get_label(1), "AVeryLong");  // nine characters at most
  Gattribs a;
  CONT_get_fill_attrib(10, &a);
  EXPECT_EQ(a.color, CLR_get_ind("red"));
  EXPECT_FLOAT_EQ(a.width, 2.0f);
}

TEST_F(ContTest, ASingleItemIsALevelFileFoundAlongTheFilePathOrWarnedAbout) {
  RES_put("file_path", data_dir().c_str());
  ASSERT_EQ(CONT_set_fill_colors("refl.lvl", 1), 0);
  EXPECT_EQ(levels(), (std::vector<float>{5, 10, 15}));
  EXPECT_EQ(colour(11), CLR_get_ind("lblue"));
  EXPECT_STREQ(CONT_get_label(2), "Mod");
  CONT_reset_fill_set();
  const std::string err = zor::test::stderr_of([] { EXPECT_EQ(CONT_set_fill_colors("no_such_levels.lvl", 1), 0); });
  EXPECT_NE(err.find("CONT_set_fill_colors: Unable to read contour level file: no_such_levels.lvl\n"), std::string::npos)
      << err;
  EXPECT_EQ(CONT_get_num_cont(), 0);
  EXPECT_EQ(colour(5), -1);
}

TEST_F(ContTest, TheFillListIsBuiltOncePerPlotFromTheColourFillResourceUnlessDefault) {
  ASSERT_EQ(CONT_set_fill_colors("5:blue,10:red", 1), 0);
  EXPECT_EQ(CONT_set_fill_colors("1:green,2:cyan,3:red", 1), -1);
  EXPECT_EQ(CONT_get_num_cont(), 2);
  float v[] = {1, 2};
  EXPECT_EQ(CONT_set_values(v, 2), -1);
  CONT_reset_fill_set();
  RES_put("color_fill", "def");
  ASSERT_EQ(CONT_set_fill_colors("5:blue,10:red", 0), 0);
  EXPECT_EQ(levels(), (std::vector<float>{5, 10}));
  CONT_reset_fill_set();
  RES_put("color_fill", "0:green,50:cyan,100:red");
  ASSERT_EQ(CONT_set_fill_colors("5:blue,10:red", 0), 0);
  EXPECT_EQ(levels(), (std::vector<float>{0, 50, 100}));
  CONT_reset_fill_set();
  // Flag 1: the plot insists on its own list.
  ASSERT_EQ(CONT_set_fill_colors("5:blue,10:red", 1), 0);
  EXPECT_EQ(levels(), (std::vector<float>{5, 10}));
}

TEST_F(ContTest, ColourTableFillColoursServeWhenNoListIsGiven) {
  zor::clr::reset();
  RES_put("color_table", (std::string(ZOR_TEST_DATA_DIR) + "/clr/fill_end.clr").c_str());
  CLR_read_table(nullptr);
  RES_put("color_table", "");
  ASSERT_EQ(CLR_get_num_fill(), 2);
  EXPECT_EQ(CONT_set_fill_colors(nullptr, 1), -1);
  EXPECT_EQ(CONT_get_num_cont(), 2);
  CONT_set_intrvl(1);
  EXPECT_EQ(colour(1.5f), 1);
}

TEST_F(ContTest, CutoffsHideValuesOutsideThem) {
  ASSERT_EQ(CONT_set_fill_colors("0:blue,10:red,20:green", 1), 0);
  CONT_set_cutoff(ZOR_MISSING_F, 10);
  EXPECT_EQ(colour(9.9f), -1);
  EXPECT_EQ(colour(10), CLR_get_ind("red"));
  CONT_set_cutoff(15, ZOR_MISSING_F);
  EXPECT_EQ(colour(10), CLR_get_ind("red"));  // the lower cut-off stays
  EXPECT_EQ(colour(15.1f), -1);
}

TEST_F(ContTest, ExplicitValuesKeepTheirLevelsUnderAColourList) {
  float v[] = {0, 20, 40, ZOR_MISSING_F, 80};
  ASSERT_EQ(CONT_set_values(v, 5), 0);
  EXPECT_EQ(levels(), (std::vector<float>{0, 20, 40}));
  ASSERT_EQ(CONT_set_fill_colors("blue,green,red", 1), 0);
  EXPECT_EQ(colour(25), CLR_get_ind("green"));
  CONT_reset_values();
  EXPECT_TRUE(levels().empty());
}

TEST_F(ContTest, IntervalsAreRoundedUpWithinTheirDecade) {
  // {high, low, steps, interval}: 0 steps count as 1; a negative or too small interval is left unchanged.
  const float cases[][4] = {{100, 0, 15, 7},       {60, 0, 15, 4},         {1, 0, 3, 0.4f}, {0.05f, 0, 1, 0.05f},
                            {0.0123f, 0, 2, 0.007f}, {0.00012f, 0, 1, 0.0002f}, {5, 5, 3, 1}, {30, 0, 0, 30},
                            {0, 10, 2, -5},        {1e-5f, 0, 1, 1e-5f}};
  for (const auto& c : cases)
    EXPECT_NEAR(CONT_calc_intrvl(c[0], c[1], static_cast<int>(c[2])), c[3], 1e-5 * std::fabs(c[3])) << c[0];
}

TEST_F(ContTest, ContourKeywordsOfThePlotParameters) {
  RES_put("plot_param", "conmin:10,conmax:40,fill:2,nobar");
  CONT_param_decode();
  ASSERT_EQ(CONT_set_fill_colors("0:blue,20:red", 1), 0);
  EXPECT_EQ(std::pair(colour(9), colour(41)), std::pair(-1, -1));
  Gattribs a;
  CONT_get_fill_attrib(25, &a);
  EXPECT_EQ(a.fill_pat, 2);  // the common pattern applies to every step
  CONT_set_type(52);  // stored as filled
  EXPECT_EQ(CONT_get_type(), 15);
}

}  // namespace
