// The plot frame on the recording device: plot parameters, panels, the colour
// bar, the corner labels and the zoom drag.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "../common/expect.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/map.h"
#include "zor/plt.h"
#include "zor/res.h"
#include "zor/reset.h"


using namespace zor::gks;

namespace {

// The text of every string drawn, with the leftmost and lowest stroke point
// of its glyphs (device pixels, y downwards).
struct DrawnText {
  std::string text;
  float x_min = 1e9f, x_max = -1e9f, y_min = 1e9f, y_max = -1e9f;
};

class PlotTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::reset_all();
    CONT_init();
    FLAG_set(2, 0);
    FLAG_set(11, 0);
    FLAG_set(19, 1);
    RecordingDevice::Options o;
    o.width = 640;
    o.height = 512;
    use_recording_device(GWS_WINDOW, o);
  }
  void TearDown() override {
    if (opened_) GPH_end(1);
    unregister_device(GWS_WINDOW);
    zor::reset_all();
  }
  void open(float aspect = 1.0f) {
    ASSERT_EQ(PLT_open(aspect), 0);
    opened_ = true;
    dev = last_recording_device();
    ASSERT_NE(dev, nullptr);
    dev->clear_calls();
  }
  std::vector<RecordedCall> calls(RecordedCall::Op op) const {
    std::vector<RecordedCall> out;
    for (const auto& c : dev->calls())
      if (c.op == op) out.push_back(c);
    return out;
  }
  std::vector<DrawnText> texts() const {
    std::vector<DrawnText> out;
    bool in = false;
    for (const auto& c : dev->calls()) {
      if (c.op == RecordedCall::Op::begin_group && !c.text.empty()) {
        // Bar levels are written with a field width; compare the digits.
        std::string t = c.text;
        t.erase(0, t.find_first_not_of(' '));
        out.push_back({t});
        in = true;
      } else if (c.op == RecordedCall::Op::end_group) {
        in = false;
      } else if (in && (c.op == RecordedCall::Op::stroke || c.op == RecordedCall::Op::polyline)) {
        for (const auto& p : c.pts) {
          auto& t = out.back();
          t.x_min = std::min(t.x_min, p.x);
          t.x_max = std::max(t.x_max, p.x);
          t.y_min = std::min(t.y_min, p.y);
          t.y_max = std::max(t.y_max, p.y);
        }
      }
    }
    return out;
  }
  const DrawnText* find_text(const std::string& s) const {
    static std::vector<DrawnText> keep;
    keep = texts();
    for (const auto& t : keep)
      if (t.text == s) return &t;
    return nullptr;
  }
  bool opened_ = false;
  RecordingDevice* dev = nullptr;
};

// Each keyword reaches its module, and its opposite undoes it.
TEST_F(PlotTest, PlotParameterKeywords) {
  RES_put("plot_param", "full,over:2:4,bar:60:-10");
  PLT_param_decode();
  Glim off;
  PLT_get_view_offsets(&off);
  EXPECT_EQ(std::tuple(off.y_min, off.y_max, PLT_get_full_lab()), std::tuple(0.0f, 0.0f, 0));
  EXPECT_EQ(std::tuple(PLT_get_overlay_base(), PLT_get_num_over(), CONT_get_bar()), std::tuple(2, 4, 2));
  RES_put("plot_param", "FULLAB,nobar");
  PLT_param_decode();
  EXPECT_EQ(std::tuple(PLT_get_full_lab(), CONT_get_bar()), std::tuple(1, -2));
  RES_put("plot_param", "shadow");
  PLT_param_decode();
  EXPECT_EQ(gget_font_drop(), 4);
  RES_put("plot_param", "shadow:2,inv,tz:EST");
  PLT_param_decode();
  EXPECT_EQ(std::pair(gget_font_drop(), gget_inverse()), std::pair(2, 1));
  EXPECT_STREQ(DATE_get_tz_str(), " EST");
  RES_put("plot_param", "LCMAP,rwclr,loc_pr:3,pscolor");
  PLT_param_decode();
  // Colour PostScript is drawn dark on light.
  EXPECT_EQ(std::tuple(gget_local_colormap(), gget_rw_colors(), DOM_get_loc_prior(), gps_get_colorPS(), gget_inverse()),
            std::tuple(1, 1, 3, 1, 1));
  RES_put("plot_param", "nolcmap,norwclr,unknown_word,loc_pr");
  PLT_param_decode();
  // "loc_pr" without a number changes nothing.
  EXPECT_EQ(std::tuple(gget_local_colormap(), gget_rw_colors(), DOM_get_loc_prior()), std::tuple(0, 0, 3));
}

TEST_F(PlotTest, DumpKeywordsAndOutFileChooseTypeAndName) {
  const std::tuple<const char*, int, std::string> cases[] = {
      {"gif", PLT_DUMP_GIF, "zor.gif"},           {"png", PLT_DUMP_PNG, "zor.png"},
      {"img", PLT_DUMP_IMG, "zor.xwd"},           {"xwd", PLT_DUMP_XWD, "zor.xwd"},
      {"gif:loop%i.gif", PLT_DUMP_GIF, "loop%i.gif"}, {"png:a.png", PLT_DUMP_PNG, "a.png"},
  };
  for (const auto& [param, type, file] : cases) {
    zor::plt::reset();
    RES_put("plot_param", param);
    PLT_param_decode();
    EXPECT_EQ(std::pair(PLT_get_dump(), std::string(PLT_get_dump_file())), std::pair(type, file)) << param;
  }
  // "gif_inter" is its own keyword, not a dump named "inter".
  zor::plt::reset();
  RES_put("plot_param", "gif_inter");
  PLT_param_decode();
  EXPECT_EQ(PLT_get_dump(), PLT_DUMP_NONE);
  RES_put("plot_param", "");
  RES_put("out_file", "png:radar.png");
  PLT_param_decode();
  EXPECT_EQ(std::pair(PLT_get_dump(), std::string(PLT_get_dump_file())), std::pair(PLT_DUMP_PNG, std::string("radar.png")));
}

TEST_F(PlotTest, PanelSizesCountPanelsOrGiveFractions) {
  GPH_set_view_size(1, 1, 0, 0);
  Glim whole;
  GPH_get_view_size(&whole);
  RES_put("plot_param", "vp_size:2x2+0+1");
  PLT_param_decode();
  Glim v;
  GPH_get_view_size(&v);
  // Lower-left quarter: offset (0, 0), size one half of the display each way.
  EXPECT_TRUE(std::fabs(v.x_max - whole.x_max / 2) < 1e-5 && std::fabs(v.y_max - whole.y_max / 2) < 1e-5);
  EXPECT_EQ(std::pair(v.x_min, v.y_min), std::pair(0.0f, 0.0f));
  EXPECT_EQ(PLT_panel_decode("2x2+1+0"), 0);
  GPH_get_view_size(&v);
  EXPECT_TRUE(v.x_min > 0 && v.y_min > 0);  // upper-right quarter
  EXPECT_NEAR((v.x_max - v.x_min) * 2, v.x_max, 1e-5);
  EXPECT_EQ(PLT_panel_decode("0.5x0.5+0.25+0.25"), 0);
  GPH_get_view_size(&v);
  EXPECT_NEAR(v.x_min * 4, (v.x_max - v.x_min) * 2, 1e-5);
  EXPECT_EQ(PLT_panel_decode("2x2"), -1);  // not all four numbers: no change
}


TEST_F(PlotTest, BarBoxesSitUnderTheViewportInTheirColours) {
  open();
  Glim vp;
  PLT_get_view(&vp);
  ASSERT_GT(vp.y_min, 0.02f);
  ASSERT_EQ(CONT_set_fill_colors("-50:off,5:blue,10:lblue,15:cyan", 1), 0);
  ASSERT_EQ(CONT_draw_bar(1, "dBZ"), 0);
  // Box places and colours are read back as pixels in plt_batch_test; here
  // the "off" step leaves its box empty.
  const auto fills = calls(RecordedCall::Op::fill);
  ASSERT_EQ(fills.size(), 3u);
  const float left = vp.x_min + 0.03f * (vp.x_max - vp.x_min);
  const float inc = ((vp.x_min + vp.x_max) / 2 - left) / 4;
  const int want[] = {CLR_get_ind("blue"), CLR_get_ind("lblue"), CLR_get_ind("cyan")};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(fills[static_cast<std::size_t>(i)].fill.color_ind, want[i]);
  float x0 = 1e9f;
  for (const auto& p : fills[0].pts) x0 = std::min(x0, p.x);
  EXPECT_NEAR(x0, xNDC_p(left + inc), 1.0f);  // after the empty box
  // Level labels on the box edges and the bar's own label.
  for (const char* s : {"-50", "5", "10", "15", "20", "dBZ"}) EXPECT_NE(find_text(s), nullptr) << s;
  const DrawnText* five = find_text("5");
  ASSERT_NE(five, nullptr);
  EXPECT_NEAR((five->x_min + five->x_max) / 2, xNDC_p(left + inc), 3.0f);
}

TEST_F(PlotTest, EvenlySpacedBarStartsOnTheBaseGridAndThinsItsLabels) {
  open();
  ASSERT_EQ(CONT_set_fill_colors("blue,cyan,green,yellow,red", 1), 0);
  CONT_set_base(0);
  auto labels = [&] {
    std::vector<std::string> got;
    for (const auto& t : texts()) got.push_back(t.text);
    return got;
  };
  CONT_set_intrvl(10);
  CONT_set_range(47, 3);
  ASSERT_EQ(CONT_draw_bar(1, ""), 0);
  // conlo 0, conhi 50: five boxes, the first in the colour of level 0.
  const auto fills = calls(RecordedCall::Op::fill);
  ASSERT_EQ(fills.size(), 5u);
  EXPECT_EQ(fills[0].fill.color_ind, CLR_get_ind("blue"));
  EXPECT_EQ(fills[4].fill.color_ind, CLR_get_ind("red"));
  EXPECT_EQ(labels(), (std::vector<std::string>{"0", "10", "20", "30", "40", "50"}));
  // Forty levels: every third edge is labelled (two significant digits), and the top one.
  dev->clear_calls();
  CONT_set_intrvl(1);
  CONT_set_range(39.5f, 0);
  ASSERT_EQ(CONT_draw_bar(1, ""), 0);
  EXPECT_EQ(labels(), (std::vector<std::string>{"0", "3.0", "6.0", "9.0", "12", "15", "18", "21", "24", "27", "30",
                                                "33", "36", "39", "40"}));
}

// Nothing to plot refuses the open; a bar without room or levels is refused.
TEST_F(PlotTest, NothingToPlotOrNoBarRoomIsRefused) {
  FLAG_set(11, 99);  // plot type "none"
  EXPECT_EQ(PLT_open(1.0f), -1);
  FLAG_set(11, 0);
  FLAG_setplot(12, 0);  // every component off
  EXPECT_EQ(PLT_open(1.0f), -1);
  FLAG_resetplot(1);
  open();
  ASSERT_EQ(CONT_set_fill_colors("blue,red", 1), 0);
  EXPECT_EQ(CONT_draw_bar(1, ""), -1);  // no upper value
  CONT_set_range(1000, 0);
  CONT_set_intrvl(1);
  EXPECT_EQ(CONT_draw_bar(1, ""), -1);  // 1001 boxes
  EXPECT_TRUE(calls(RecordedCall::Op::fill).empty());
}

TEST_F(PlotTest, SixCornerTextsAroundTheViewport) {
  open();
  const std::pair<int (*)(const char*), const char*> corners[] = {
      {PLT_label_up_left, "UL"},  {PLT_label_up_center, "UC"},  {PLT_label_up_right, "UR"},
      {PLT_label_low_left, "LL"}, {PLT_label_low_center, "LC"}, {PLT_label_low_right, "LR"}};
  for (const auto& [put, s] : corners) put(s);
  ASSERT_EQ(PLT_labels(), 0);
  Glim vp;
  PLT_get_view(&vp);
  const float left = xNDC_p(vp.x_min), right = xNDC_p(vp.x_max), mid = xNDC_p((vp.x_min + vp.x_max) / 2);
  for (const auto& [put, s] : corners) {
    const DrawnText* t = find_text(s);
    ASSERT_NE(t, nullptr) << s;
    // Upper texts above the plot, lower ones below it (pixels run downwards).
    if (s[0] == 'U') { EXPECT_LT(t->y_max, yNDC_p(vp.y_max)) << s; }
    else { EXPECT_GT(t->y_min, yNDC_p(vp.y_min)) << s << " " << t->y_min << " " << t->y_max; }
  }
  EXPECT_NEAR(find_text("UL")->x_min, left + 0.01f * (right - left), 3.0f);
  EXPECT_NEAR(find_text("UR")->x_max, right - 0.01f * (right - left), 3.0f);
  EXPECT_NEAR((find_text("LC")->x_min + find_text("LC")->x_max) / 2, mid, 3.0f);
  // The border around the plot.
  bool border = false;
  for (const auto& c : calls(RecordedCall::Op::polyline))
    if (c.pts.size() == 5 && std::fabs(c.pts[0].x - left) < 1.5f) border = true;
  EXPECT_TRUE(border);
}

TEST_F(PlotTest, OverlayLinesStackUpwardsAboveThePlot) {
  open();
  PLT_label_up_left("first");
  PLT_next_overlay();
  PLT_label_up_left("second");
  ASSERT_EQ(PLT_labels(), 0);
  ASSERT_TRUE(find_text("first") != nullptr && find_text("second") != nullptr);
  const float first_top = find_text("first")->y_min;
  EXPECT_LT(find_text("second")->y_max, first_top);  // overlay 1 on the line above overlay 0
}

TEST_F(PlotTest, AColourBarTakesTheLowerLeftAndCentre) {
  open();
  CONT_set_bar(1);
  PLT_label_low_left("LL");
  PLT_label_low_center("LC");
  PLT_label_low_right("LR");
  ASSERT_EQ(PLT_labels(), 0);
  EXPECT_TRUE(find_text("LL") == nullptr && find_text("LC") == nullptr && find_text("LR") != nullptr);
}

TEST_F(PlotTest, UserLabelsReplaceAPositionOrFillAnOverlay) {
  open();
  Date d;
  d.year = 2024, d.month = 3, d.day = 5, d.hour = 14, d.min = 7;
  PLT_label_date(&d);
  PLT_label_low_left("plot text");
  PLT_next_overlay();
  PLT_label_low_left("overlay text");
  PLT_set_overlay(0);
  RES_put("label", "ll:My_plot,UR1:%y%m%d/%h%n");
  ASSERT_EQ(PLT_labels(), 0);
  EXPECT_NE(find_text("My plot"), nullptr);
  EXPECT_EQ(find_text("overlay text"), nullptr);  // only the first line at a replaced position
  EXPECT_EQ(find_text("plot text"), nullptr);
  EXPECT_STREQ(PLT_get_label(2, 1), "240305/1407");
  EXPECT_NE(find_text("240305/1407"), nullptr);
}

TEST_F(PlotTest, FullabPutsLabelsAndBarInsideThePlot) {
  RES_put("plot_param", "fullab");
  open();
  Glim vp;
  PLT_get_view(&vp);
  PLT_label_up_left("UL");
  ASSERT_EQ(PLT_labels(), 0);
  const DrawnText* t = find_text("UL");
  ASSERT_NE(t, nullptr);
  EXPECT_GT(t->y_min, yNDC_p(vp.y_max));  // below the top edge (pixels run downwards)
  ASSERT_EQ(CONT_set_fill_colors("5:blue,10:red", 1), 0);
  dev->clear_calls();
  ASSERT_EQ(CONT_draw_bar(1, ""), 0);
  const auto fills = calls(RecordedCall::Op::fill);
  ASSERT_EQ(fills.size(), 2u);
  for (const auto& p : fills[0].pts) {
    EXPECT_LE(p.y, yNDC_p(vp.y_min) + 0.5f);
    EXPECT_GE(p.y, yNDC_p(vp.y_min + 0.035f) - 0.5f);
  }
}

TEST_F(PlotTest, NoRoomBelowTheViewportDrawsNoLabels) {
  RES_put("plot_param", "full");
  open();
  PLT_label_up_left("UL");
  EXPECT_EQ(PLT_labels(), -1);
  EXPECT_EQ(find_text("UL"), nullptr);
}

int g_zooms = 0;
Domain g_last;
int count_zoom(Domain* d) {
  ++g_zooms;
  g_last = *d;
  return 0;
}

TEST_F(PlotTest, ZoomBoxGivesTheSameDomainDraggedEitherWay) {
  Domain d{.proj = 1, .plat = 90, .plon = -100, .param = {60, -9999, -9999, -9999, -9999}, .clat = 40, .clon = -100,
           .dx = 0.5f, .dy = 0.5f, .nx = 41, .ny = 31};
  ASSERT_GE(MAP_domain(&d), 0);
  float cx = 0, cy = 0;
  MAP_tran(40, -100, &cx, &cy);
  PLT_set_zoom_func(count_zoom);
  char press[] = "B1-P-Shft";
  char release[] = "B1-R";
  // A release without a Shift press, and an empty box, zoom nothing.
  EXPECT_EQ(PLT_plot_zoom(release, 1, 1), 0);
  PLT_plot_zoom(press, 1, 1);
  EXPECT_EQ(PLT_plot_zoom(release, 1, 3), -1);
  EXPECT_EQ(std::pair(g_zooms, PLT_get_zoom()), std::pair(0, 0));
  testing::internal::CaptureStdout();
  PLT_plot_zoom(press, cx - 2, cy - 1);
  ASSERT_EQ(PLT_plot_zoom(release, cx + 4, cy + 1), 0);
  const Domain a = g_last;
  EXPECT_EQ(PLT_get_zoom(), 1);
  MAP_domain(&d);
  PLT_plot_zoom(press, cx + 4, cy + 1);
  ASSERT_EQ(PLT_plot_zoom(release, cx - 2, cy - 1), 0);
  testing::internal::GetCapturedStdout();
  const Domain b = g_last;
  EXPECT_TRUE(zor::test::floats_eq({a.clat, a.clon}, {b.clat, b.clon}));
  // The whole 6 x 2 box is shown: the spacing follows the wider side.
  EXPECT_FLOAT_EQ(a.dx, 6.0f / 40.0f);
  EXPECT_FLOAT_EQ(a.dy, a.dx);
  EXPECT_EQ(a.nx, 41);
  float mx = 0, my = 0;
  MAP_tran(a.clat, a.clon, &mx, &my);
  EXPECT_NEAR(mx, cx + 1, 1e-3);
  EXPECT_NEAR(my, cy, 1e-3);
  // Any other event between press and release cancels the drag.
  char other[] = "B2-P";
  g_zooms = 0;
  PLT_plot_zoom(press, cx, cy);
  PLT_plot_zoom(other, cx, cy);
  PLT_plot_zoom(release, cx + 1, cy + 1);
  EXPECT_EQ(g_zooms, 0);
  PLT_set_zoom(0);
}

}  // namespace
