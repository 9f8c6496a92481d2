// Fill lists of every form (colour runs, explicit and interpolated levels,
// level files), value to colour at the boundaries, interval rounding and the
// contour keywords.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
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
}

TEST_F(ContTest, StepsWithoutLevelsBetweenTwoLevelsAreInterpolated) {
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

TEST_F(ContTest, ASingleItemIsALevelFileFoundAlongTheFilePath) {
  RES_put("file_path", data_dir().c_str());
  ASSERT_EQ(CONT_set_fill_colors("refl.lvl", 1), 0);
  EXPECT_EQ(levels(), (std::vector<float>{5, 10, 15}));
  EXPECT_EQ(colour(11), CLR_get_ind("lblue"));
  EXPECT_STREQ(CONT_get_label(2), "Mod");
}

TEST_F(ContTest, AMissingLevelFileWarnsAndLeavesNoSteps) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(CONT_set_fill_colors("no_such_levels.lvl", 1), 0);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("CONT_set_fill_colors: Unable to read contour level file: no_such_levels.lvl\n"),
            std::string::npos)
      << err;
  EXPECT_EQ(CONT_get_num_cont(), 0);
  EXPECT_EQ(colour(5), -1);
}

TEST_F(ContTest, TheFillListIsBuiltOncePerPlot) {
  ASSERT_EQ(CONT_set_fill_colors("5:blue,10:red", 1), 0);
  EXPECT_EQ(CONT_set_fill_colors("1:green,2:cyan,3:red", 1), -1);
  EXPECT_EQ(CONT_get_num_cont(), 2);
  float v[] = {1, 2};
  EXPECT_EQ(CONT_set_values(v, 2), -1);
  CONT_reset_fill_set();
  EXPECT_EQ(CONT_set_fill_colors("1:green,2:cyan,3:red", 1), 0);
  EXPECT_EQ(CONT_get_num_cont(), 3);
}

TEST_F(ContTest, ColourFillResourceReplacesThePlotsListUnlessDefault) {
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
  EXPECT_FLOAT_EQ(CONT_calc_intrvl(100, 0, 15), 7.0f);
  EXPECT_FLOAT_EQ(CONT_calc_intrvl(60, 0, 15), 4.0f);
  EXPECT_NEAR(CONT_calc_intrvl(1, 0, 3), 0.4f, 1e-6);
  EXPECT_NEAR(CONT_calc_intrvl(0.05f, 0, 1), 0.05f, 1e-6);
  EXPECT_NEAR(CONT_calc_intrvl(0.0123f, 0, 2), 0.007f, 1e-6);
  EXPECT_NEAR(CONT_calc_intrvl(0.00012f, 0, 1), 0.0002f, 1e-7);
  EXPECT_FLOAT_EQ(CONT_calc_intrvl(5, 5, 3), 1.0f);
  EXPECT_FLOAT_EQ(CONT_calc_intrvl(30, 0, 0), 30.0f);    // 0 steps count as 1
  EXPECT_FLOAT_EQ(CONT_calc_intrvl(0, 10, 2), -5.0f);    // negative: unchanged
  EXPECT_NEAR(CONT_calc_intrvl(1e-5f, 0, 1), 1e-5f, 1e-9);  // too small: unchanged
}

TEST_F(ContTest, ContourKeywordsOfThePlotParameters) {
  RES_put("plot_param", "conmin:10,conmax:40,fill:2,nobar");
  CONT_param_decode();
  ASSERT_EQ(CONT_set_fill_colors("0:blue,20:red", 1), 0);
  EXPECT_EQ(colour(9), -1);
  EXPECT_EQ(colour(41), -1);
  Gattribs a;
  CONT_get_fill_attrib(25, &a);
  EXPECT_EQ(a.fill_pat, 2);  // the common pattern applies to every step
  EXPECT_EQ(CONT_get_fill_pat(), 2);
}

TEST_F(ContTest, TypeFiftyTwoIsStoredAsFilled) {
  CONT_set_type(52);
  EXPECT_EQ(CONT_get_type(), 15);
  CONT_set_type(12);
  EXPECT_EQ(CONT_get_type(), 12);
}

}  // namespace
