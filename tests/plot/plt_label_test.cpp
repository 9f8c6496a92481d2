// Corner labels: the format language with dates, overlays in both label
// modes, the `label` resource, and the drawing of the block around the plot.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "zor/date.h"
#include "zor/plt.h"
#include "zor/reset.h"

namespace {

Date march_5_2024() {
  Date d;
  std::tie(d.year, d.month, d.day, d.jday, d.wday, d.hour, d.min, d.sec) = std::tuple(2024, 3, 5, 65, 2, 14, 7, 0);
  return d;
}

std::string format(const char* form) {
  char out[PLT_LABEL_LEN] = {};
  PLT_label_format(form, out);
  return out;
}

class LabelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::reset_all();
    Date d = march_5_2024();
    PLT_label_date(&d);
  }
  void TearDown() override { zor::reset_all(); }
};

TEST_F(LabelTest, FormatCodesWriteTheLabelAndValidDates) {
  EXPECT_EQ(format("%y%m%d/%h%n"), "240305/1407");
  // The month as the date module names it, first three letters.
  EXPECT_EQ(format("Radar_%b_%d"), "Radar " + std::string(DATE_month(3)).substr(0, 3) + " 05");
  EXPECT_EQ(format("100%%"), "100%");
  EXPECT_EQ(format("a%qb"), "ab");  // unknown codes write nothing
  EXPECT_EQ(format("end%"), "end");
  char want[64] = {};
  Date d = march_5_2024();
  DATE_make_label(&d, want);
  EXPECT_EQ(format("%D"), want);
  // Long formats are cut at the buffer, not overrun.
  char out[8] = {};
  EXPECT_EQ(PLT_label_format("abcdefghijk", out, sizeof out), -1);
  EXPECT_STREQ(out, "abcdefg");

  // Valid-time codes add the forecast hour.
  PLT_label_for_time(12);
  DATE_make_label_valid_time(12, &d, want);
  EXPECT_EQ(format("%V"), want);
  char fh[64] = {};
  EXPECT_EQ(format("%f"), DATE_fhour_label(fh, 12, 0));
  EXPECT_EQ(format("%F"), DATE_fhour_label(fh, 12, 1));
  // %W drops the hour for good.
  d.hour = ZOR_MISSING;
  DATE_make_label_valid_time(12, &d, want);
  EXPECT_EQ(format("%W"), want);
  EXPECT_EQ(format("%h"), "-9999");
}

TEST_F(LabelTest, EachOverlayTakesTheNextLineUpToSixAndNumbersAreCapped) {
  PLT_label_low_right("KTLX");
  for (int i = 0; i < PLT_NUM_OVER; ++i) {
    PLT_label_up_center(("line" + std::to_string(i)).c_str());
    if (i < PLT_NUM_OVER - 1) {
      EXPECT_EQ(PLT_next_overlay(), i + 1);
    }
  }
  EXPECT_EQ(PLT_next_overlay(), -1);
  for (int i = 0; i < PLT_NUM_OVER; ++i) EXPECT_EQ(PLT_get_label(1, i), "line" + std::to_string(i));
  EXPECT_STREQ(PLT_get_label(5, 0), "KTLX");
  EXPECT_EQ(PLT_get_num_over(), PLT_NUM_OVER);
  // Closing clears every text.
  PLT_init_labels();
  EXPECT_EQ(std::string(PLT_get_label(1, 0)) + PLT_get_label(1, 5) + PLT_get_label(5, 0), "");
  EXPECT_EQ(PLT_get_num_over(), 0);
  // Overlay numbers are capped and raise the line count.
  PLT_set_overlay(9);
  EXPECT_EQ(std::pair(PLT_get_overlay(), PLT_get_num_over()), std::pair(5, 5));
  PLT_set_num_overlay(3);  // never lowers the count; a negative number sets it
  EXPECT_EQ(PLT_get_num_over(), 5);
  PLT_set_num_overlay(-2);
  EXPECT_EQ(PLT_get_num_over(), 2);
  PLT_set_overlay_base(7);
  EXPECT_EQ(PLT_get_overlay_base(), 5);
}

TEST_F(LabelTest, CombinedModeAppendsEachOverlayToTheFirstLine) {
  PLT_set_label_type(-1);
  PLT_label_up_left("Refl");
  PLT_next_overlay();
  EXPECT_EQ(PLT_get_label_type(), -2);
  PLT_label_up_left("first");
  PLT_label_up_left("Vel");  // replaces the piece appended in this overlay
  EXPECT_STREQ(PLT_get_label(0, 0), "Refl Vel");
  EXPECT_STREQ(PLT_get_label(0, 1), "");
  PLT_next_overlay();
  PLT_label_up_left("SW");
  EXPECT_STREQ(PLT_get_label(0, 0), "Refl Vel SW");
}

TEST_F(LabelTest, TextsTooLongAreLeftOut) {
  PLT_label_up_left("kept");
  EXPECT_EQ(PLT_label_strcpy(0, std::string(69, 'x').c_str()), -1);
  EXPECT_STREQ(PLT_get_label(0, 0), "kept");
  EXPECT_EQ(PLT_label_strcpy(0, std::string(68, 'y').c_str()), 0);
  EXPECT_EQ(std::string(PLT_get_label(0, 0)), std::string(68, 'y'));
  PLT_init_labels();
  PLT_set_label_type(-1);
  PLT_label_up_left(std::string(50, 'a').c_str());
  PLT_next_overlay();
  EXPECT_EQ(PLT_label_strcat(0, std::string(10, 'b').c_str()), -1);  // 50 + 10 > 59
  EXPECT_EQ(PLT_label_strcat(0, std::string(9, 'b').c_str()), 0);
}

}  // namespace
