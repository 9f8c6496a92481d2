// Kernel core: transformations, clipping, primitives, attribute validation
// and metafile records; stroke fonts as read and drawn; the Hershey converter;
// the print devices; the image writers and readers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "../common/capture.h"
#include "../common/expect.h"
#include "../common/files.h"
#include "../frame/captured.h"
#include "device.h"
#include "gks_kernel.h"
#include "print_checks.h"
#include "print_test_util.h"
#include "zor/data_dir.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/img.h"

using namespace zor::gks;

namespace {

using zor::test::floats_eq;
using zor::test::slurp;

template <class Rect>
std::vector<float> lim(const Rect& l) {
  return {l.x_min, l.x_max, l.y_min, l.y_max};
}

// Transformation 1: the unit square on the lower left quarter of NDC.
void lower_left_quarter() {
  const Glim vp{0.0f, 0.5f, 0.0f, 0.5f};
  const Glim win{0.0f, 1.0f, 0.0f, 1.0f};
  gset_vp(1, &vp);
  gset_win(1, &win);
  gsel_norm_tran(1);
}

int current_tran() {
  Gint err = -1, cur = -1;
  ginq_cur_norm_tran_num(&err, &cur);
  return cur;
}

std::vector<int> g_kinds;
void count_objects(int kind, int, std::span<const std::byte>) { g_kinds.push_back(kind); }

class KernelTest : public ::testing::Test {
 protected:
  void open(int width = 640, int height = 512, Gws_type type = GWS_WINDOW,
            DeviceUnits units = DeviceUnits::pixels, int cls = kClassX11) {
    RecordingDevice::Options o;
    o.width = width, o.height = height, o.units = units, o.init_class = cls;
    use_recording_device(type, o);
    ASSERT_EQ(gopen_gks(nullptr, 0), 0);
    ASSERT_EQ(gopen_ws(1, "", type), 0);
    dev = last_recording_device();
    ASSERT_NE(dev, nullptr);
    for (int i = 0; i < 8; ++i) {
      Gcolr_rep c{0.1f * static_cast<float>(i), 0.5f, 0.5f};
      gset_colr_rep(1, i, &c);
    }
    dev->clear_calls();
  }
  void TearDown() override {
    gclose_ws(1);
    gclose_gks();
    set_object_recorder(nullptr);
    unregister_device(GWS_WINDOW);
    unregister_device(GWS_META);
    kernel().reset();
    reset_color_model();
    g_kinds.clear();
  }
  std::vector<RecordedCall> calls(RecordedCall::Op op) const {
    std::vector<RecordedCall> out;
    for (const auto& c : dev->calls())
      if (c.op == op) out.push_back(c);
    return out;
  }
  // Every point of the calls of `op`, as x, y, x, y, ...
  std::vector<float> coords(RecordedCall::Op op) const {
    std::vector<float> out;
    for (const auto& c : calls(op))
      for (const auto& p : c.pts) out.insert(out.end(), {p.x, p.y});
    return out;
  }
  RecordingDevice* dev = nullptr;
};

TEST_F(KernelTest, WideDeviceAndPanelAspect) {
  open(801, 401);
  float xvp = 0, yvp = 0;
  ginq_maxview(GWS_WINDOW, &xvp, &yvp);
  EXPECT_TRUE(floats_eq({xvp, yvp}, {1.0f, 0.5f}));
  Glim offset{};
  ASSERT_EQ(GPH_reset(1, GWS_WINDOW, 1.0f, &offset), 0);
  // Transformation 1 is the whole display, 2 and 3 the square panel.
  Glim w1, v2, w3;
  GPH_get_win(1, &w1);
  GPH_get_view(2, &v2);
  GPH_get_win(3, &w3);
  EXPECT_TRUE(floats_eq({w1.x_max, w1.y_max, w3.x_min, offset.x_min}, {1.0f, 0.5f, 0.25f, 0.25f}));
  EXPECT_TRUE(floats_eq(lim(v2), {0.25f, 0.75f, 0.0f, 0.5f}));
  GPH_trans(1);
  EXPECT_FLOAT_EQ(xW_p(1.0f), 800.0f);
  EXPECT_FLOAT_EQ(yW_p(0.0f), 400.0f);
  // A panel on the right half of the display with 10% margins left and right.
  GPH_set_view_size(0.5f, 1.0f, 0.5f, 0.0f);
  offset = {0.1f, 0.1f, 0.0f, 0.0f};
  GPH_reset(1, GWS_WINDOW, 0.0f, &offset);
  // Panel [0.55, 0.95] x [0, 0.5], aspect of the half display (0.5 : 0.5).
  EXPECT_TRUE(floats_eq(lim(offset), {0.55f, 0.95f, 0.05f, 0.45f}));
  Glim view;
  GPH_get_view_size(&view);
  EXPECT_TRUE(floats_eq({view.x_min, view.x_max, GPH_get_vert_win_size()}, {0.5f, 1.0f, 0.5f}));
}

TEST_F(KernelTest, AspectPlacementCodes) {
  const Gaspect square{1.0f, 1.0f};
  const Glim wide{0.0f, 1.0f, 0.0f, 0.5f}, tall{0.0f, 0.5f, 0.0f, 1.0f};
  const struct {
    Glim in;
    Gcenter centre;
    Glim expect;
  } cases[] = {{wide, {2, 2}, {0.25f, 0.75f, 0.0f, 0.5f}}, {wide, {3, 3}, {0.5f, 1.0f, 0.0f, 0.5f}},
               {wide, {0, 0}, {0.0f, 0.5f, 0.0f, 0.5f}}, {tall, {2, 2}, {0.0f, 0.5f, 0.25f, 0.75f}}};
  for (const auto& c : cases) {
    Glim out;
    gset_aspect(&c.in, &out, &square, &c.centre);
    EXPECT_TRUE(floats_eq(lim(out), lim(c.expect)));
  }
}

TEST_F(KernelTest, WorldNdcPixelAndBetweenTransformations) {
  open();
  const Glim win{10.0f, 20.0f, 100.0f, 200.0f};
  const Glim vp{0.5f, 1.0f, 0.0f, 0.5f};
  gset_win(2, &win);
  gset_vp(2, &vp);
  // Not current yet: nothing changes until it is selected.
  EXPECT_FLOAT_EQ(xW_NDC(0.5f), 0.5f);
  ASSERT_EQ(gsel_norm_tran(2), 0);
  EXPECT_TRUE(floats_eq({xW_NDC(15.0f), yW_NDC(150.0f), xW_p(15.0f), yW_p(150.0f)},
                        {0.75f, 0.25f, 0.75f * 511.0f, 0.75f * 511.0f}));
  EXPECT_NEAR(xp_W(xW_p(17.5f)), 17.5f, 1e-4);
  EXPECT_NEAR(yp_W(yW_p(120.0f)), 120.0f, 1e-3);
  // World of 2 into world of 0 (the unit square) is NDC.
  EXPECT_TRUE(floats_eq({xW_trans(15.0f, 2, 0), yW_trans(0.25f, 0, 2)}, {0.75f, 150.0f}));
  // Far outside the device, pixels are clamped to what X11 can carry.
  EXPECT_TRUE(floats_eq({xW_p(1.0e9f), yW_p(1.0e9f)}, {30000.0f, -30000.0f}));
  ASSERT_EQ(gset_win_size(1001, 1001), 0);
  Gxrect r;
  gget_xviewport(&r);
  EXPECT_EQ(std::tuple(current_tran(), xW_p(20.0f), r.width), std::tuple(2, 1000.0f, 501));  // half the width
}

TEST_F(KernelTest, SelectingCurrentTransformationRecordsNothing) {
  open();
  set_object_recorder(count_objects);
  gsel_norm_tran(0);
  EXPECT_TRUE(g_kinds.empty());
  gsel_norm_tran(1);
  EXPECT_EQ(g_kinds, std::vector<int>{15});
  // Unchanged attribute values record nothing either.
  g_kinds.clear();
  gset_linetype(1);
  gset_line_colr_ind(1);
  EXPECT_TRUE(g_kinds.empty());
  gset_linetype(2);
  gset_line_colr_ind(3);
  EXPECT_EQ(g_kinds, (std::vector<int>{33, 35}));
}

TEST_F(KernelTest, PointsInWindowCountTouchingAsInside) {
  open();
  const Gpt touching[] = {{1.0f, 0.5f}, {2.0f, 0.5f}};
  const Gpt outside[] = {{1.01f, 0.5f}, {2.0f, 0.7f}};
  const Gpt spanning[] = {{-1.0f, -1.0f}, {2.0f, 2.0f}};
  EXPECT_EQ(std::tuple(gpts_in_win(2, touching), gpts_in_win(2, outside), gpts_in_win(2, spanning)), std::tuple(1, 0, 1));
}

TEST_F(KernelTest, PolylineIsClippedToTheViewport) {
  open();
  lower_left_quarter();
  const auto clips = calls(RecordedCall::Op::clip);
  ASSERT_FALSE(clips.empty());
  // Viewport [0,0.5]^2 on 511 pixels: columns 0..256, rows 256..511.
  EXPECT_TRUE(floats_eq(lim(clips.back().clip), {0, 256, 256, 511}));
  dev->clear_calls();

  // From inside to far right: cut at the right edge.
  const Gpt across[] = {{0.25f, 0.5f}, {1.0f, 0.5f}};
  EXPECT_EQ(gpolyline(2, across), 0);
  // trunc(127.75 * 0.5 + 0.5), trunc(383.25 + 0.5)
  EXPECT_TRUE(floats_eq(coords(RecordedCall::Op::polyline), {64, 383, 256, 383}));

  // Out and back in: two pieces, both inside.
  dev->clear_calls();
  const Gpt zigzag[] = {{0.2f, 0.2f}, {1.8f, 0.2f}, {1.8f, 0.4f}, {0.2f, 0.4f}};
  gpolyline(4, zigzag);
  const auto lines = calls(RecordedCall::Op::polyline);
  ASSERT_EQ(lines.size(), 2u);
  for (const auto& l : lines)
    for (const auto& p : l.pts) EXPECT_TRUE(p.x <= 256.0f && p.y >= 256.0f) << p.x << "," << p.y;

  // Wholly outside the world window: nothing reaches the device.
  dev->clear_calls();
  // The second's bounding box overlaps the window but the line passes outside it.
  const Gpt away[] = {{2.0f, 2.0f}, {3.0f, 3.0f}}, high[] = {{-1.0f, 0.5f}, {0.5f, 2.0f}};
  EXPECT_EQ(gpolyline(2, away), 0);
  gpolyline(2, high);
  EXPECT_TRUE(calls(RecordedCall::Op::polyline).empty());
}

TEST_F(KernelTest, FillAreaIsClippedAndClosed) {
  open();
  lower_left_quarter();
  gset_fill_colr_ind(3);
  gset_fill_int_style(GPAT);
  gset_fill_style_ind(12);
  dev->clear_calls();
  // Wholly inside: passed as given (open outline, four points).
  const Gpt inside_sq[] = {{0.1f, 0.1f}, {0.3f, 0.1f}, {0.3f, 0.3f}, {0.1f, 0.3f}};
  gfill_area(4, inside_sq);
  const Gpt wide[] = {{0.25f, 0.1f}, {1.75f, 0.1f}, {1.75f, 0.3f}, {0.25f, 0.3f}};
  gfill_area(4, wide);
  auto fills = calls(RecordedCall::Op::fill);
  ASSERT_EQ(fills.size(), 2u);
  const auto& fill = fills[0].fill;
  EXPECT_EQ(std::tuple(fills[0].pts.size(), fill.color_ind, fill.interior, fill.pattern), std::tuple(4u, 3, GPAT, 12));
  const auto& clipped = fills[1].pts;
  ASSERT_EQ(clipped.size(), 5u);
  EXPECT_TRUE(floats_eq({clipped.front().x, clipped.front().y}, {clipped.back().x, clipped.back().y}));
  float max_x = 0;
  for (const auto& p : clipped) max_x = std::max(max_x, p.x);
  EXPECT_FLOAT_EQ(max_x, 256.0f);
}

TEST_F(KernelTest, FillPatternsFollowTheirBitmaps) {
  // Pattern 1 is a checkerboard repeating every 8 pixels.
  EXPECT_EQ(std::tuple(gfill_test(1, 1, 0), gfill_test(1, 0, 0), gfill_test(1, 0, 1), gfill_test(1, 9, 8)),
            std::tuple(1, 0, 1, 1));
  auto ink = [](int p) {
    int n = 0;
    for (int i = 0; i < 64; ++i) n += gfill_test(p, i % 8, i / 8);
    return n;
  };
  EXPECT_EQ(std::tuple(ink(0), ink(19), ink(10), ink(20)), std::tuple(64, 64, 0, 0));  // solid, empty, none
  for (int p = 12; p <= 18; ++p) EXPECT_GT(ink(p), ink(p - 1)) << "grey levels of rising density";
}

TEST_F(KernelTest, MarkersAreStrokesInDeviceUnitsWithShadows) {
  open();
  gset_marker_type(6);
  gset_marker_size(1.0f);  // 10 pixels
  dev->clear_calls();
  const Gpt p{0.5f, 0.5f};  // pixel (256, 256)
  gpolymarker(1, &p);
  ASSERT_EQ(calls(RecordedCall::Op::stroke).size(), 1u);
  EXPECT_TRUE(floats_eq(coords(RecordedCall::Op::stroke), {251, 261, 261, 261, 261, 251, 251, 251, 251, 261}));
  // Size 0.1 gives h = 0: a single-pixel figure.
  gset_marker_size(0.1f);
  dev->clear_calls();
  gpolymarker(1, &p);
  EXPECT_TRUE(floats_eq(coords(RecordedCall::Op::stroke), {256, 256, 256, 256, 256, 256, 256, 256, 256, 256}));
  gset_marker_type(10);  // unknown: nothing
  dev->clear_calls();
  gpolymarker(1, &p);
  EXPECT_TRUE(calls(RecordedCall::Op::stroke).empty());
  gset_marker_type(2);
  gset_marker_size(1.0f);
  gset_font_drop(2);
  dev->clear_calls();
  std::vector<Gpt> pts;
  for (int i = 0; i < 10; ++i) pts.push_back({0.3f + 0.04f * static_cast<float>(i), 0.5f});
  gpolymarker(10, pts.data());
  auto groups = calls(RecordedCall::Op::begin_group);
  ASSERT_EQ(groups.size(), 1u);
  EXPECT_EQ(groups[0].fill.pattern, 10);  // the marker count
  const auto strokes = calls(RecordedCall::Op::stroke);
  ASSERT_EQ(strokes.size(), 10u * 3u * 2u);  // (2 shadows + marker) x 2 strokes
  EXPECT_EQ(std::count_if(strokes.begin(), strokes.end(), [](const auto& s) { return s.pen.shadow; }), 40);
  // The second shadow copy is one pixel right and down of the first.
  EXPECT_TRUE(floats_eq({strokes[2].pts[0].x, strokes[2].pts[0].y}, {strokes[0].pts[0].x + 1, strokes[0].pts[0].y + 1}));
}

TEST_F(KernelTest, LineAttributesReachTheDevice) {
  open();
  gset_line_colr_ind(4);
  gset_linetype(3);
  gset_linewidth(2.5f);
  const Gpt two_same[] = {{0.5f, 0.5f}, {0.5f, 0.5f}};
  EXPECT_EQ(gpolyline(2, two_same), 0);
  auto lines = calls(RecordedCall::Op::polyline);
  ASSERT_EQ(lines.size(), 1u);
  const auto& pen = lines[0].pen;
  EXPECT_EQ(std::tuple(pen.color_ind, pen.line_type, pen.pixel, pen.width), std::tuple(4, 3, gget_color_ind(4), 2.5f));
  // Reserved print shades become colour 1 on a display.
  EXPECT_EQ(gset_line_colr_ind(505), 0);
  EXPECT_EQ(gget_line_colr(), 1);
}

TEST_F(KernelTest, AttributeValidationMessages) {
  struct Case {
    const char* name;
    int (*call)();
    const char* message;
  };
  const Case cases[] = {
      {"one point", [] { Gpt p{0, 0}; return gpolyline(1, &p); }, "gpolyline: invalid number of points: 1\n"},
      {"line width", [] { return gset_linewidth(-1.0f); }, "gset_linewidth: invalid line width: -1.000000\n"},
      {"marker width", [] { return gset_marker_width(-2.0f); }, "invalid marker width: -2.000000\n"},
      {"text width", [] { return gset_text_width(-1.0f); }, "invalid text width: -1.000000\n"},
      {"marker size", [] { return gset_marker_size(-1.0f); }, "invalid marker size: -1.000000\n"},
      {"char height", [] { return gset_char_ht(-0.5f); }, "invalid character height: -0.500000\n"},
      {"expansion", [] { return gset_expan(-1.0f); }, "invalid expansion factor: -1.000000\n"},
      {"line type", [] { return gset_linetype(-3); }, "gset_linetype: invalid line type: -3\n"},
      {"style index", [] { return gset_fill_style_ind(20); }, "gset_fill_style_ind: invalid style index: 20\n"},
      {"colour range", [] { return gset_line_colr_ind(300); }, "gset_line_colr_ind: invalid color index: 300\n"},
      {"colour unset", [] { return gset_marker_colr_ind(200); }, "gset_marker_colr_ind: color index not initialized\n"},
      {"text colour", [] { return gset_text_colr_ind(499); }, "invalid color index: 499\n"},
      {"select", [] { return gsel_norm_tran(6); }, "gsel_norm_tran: invalid transformation number: 6\n"},
      {"window", [] { Glim w{0, 5, 0, 5}; return gset_win(-1, &w); }, "invalid transformation number: -1"},
      {"inquire", [] { Gint e = 0; Gtran t; return ginq_norm_tran(6, &e, &t); }, ""},
  };
  open();
  lower_left_quarter();
  const float width = gget_line_width();
  for (const auto& c : cases) {
    int rc = 0;
    std::string err = zor::test::stderr_of([&] { rc = c.call(); });
    EXPECT_EQ(rc, -1) << c.name;
    EXPECT_NE(err.find(c.message), std::string::npos) << c.name << ": " << err;
  }
  // A rejected value leaves the state alone.
  EXPECT_EQ(std::tuple(gget_line_width(), gget_fill_style_ind(), current_tran()), std::tuple(width, 1, 1));
}

TEST_F(KernelTest, NothingWorksBeforeOpeningOrWithoutADevice) {
  std::string err = zor::test::stderr_of([] {
    const Gpt p[2] = {{0, 0}, {1, 1}};
    EXPECT_EQ(gpolyline(2, p), -1);
    EXPECT_EQ(gset_linetype(2), -1);
    EXPECT_EQ(gpolymarker(1, p), -1);
    EXPECT_EQ(gtext(p, "x"), -1);
    EXPECT_EQ(gclose_ws(1), -1);
    gopen_gks(nullptr, 0);
    EXPECT_EQ(gopen_ws(1, "", static_cast<Gws_type>(99)), -1);  // a type the built-in table lacks
  });
  for (const char* m : {"gpolyline: GKS not opened\n", "gset_linetype: GKS not opened\n", "gtext: GKS not opened\n",
                        "gopen_ws: no device available for workstation type 99\n"})
    EXPECT_NE(err.find(m), std::string::npos) << m;
  EXPECT_EQ(gchk_graphics(), 0);
}

TEST_F(KernelTest, DeviceStringsSelectWorkstationTypes) {
  struct Case {
    const char* str;
    Gws_type type;
    const char* conn;
  } cases[] = {
      {"d", GWS_WINDOW, ""},         {"ps,out.ps,eps", GWS_PS, "out.ps,eps"},
      {"Meta,x.meta,zor", GWS_META, "x.meta,zor"}, {"hpgl", GWS_HPGL, ""},
      {"q,plot.hp", GWS_HPGL, "plot.hp"}, {"w,:0", GWS_PIXMAP, ":0"},
      {"", GWS_WINDOW, ""},          {"xyz", GWS_WINDOW, ""},
  };
  for (const auto& c : cases) {
    Gconn_id conn = nullptr;
    EXPECT_EQ(gdevice_setup(c.str, &conn), c.type) << c.str;
    EXPECT_STREQ(conn, c.conn) << c.str;
  }
}

class MetafileTest : public KernelTest {
 protected:
  void SetUp() override { open(1000, 800, GWS_META, DeviceUnits::print, kClassMetafile); }
  std::string records() const {
    std::string s;
    for (const auto& c : dev->calls())
      if (c.op == RecordedCall::Op::record) s += c.text;
    return s;
  }
};

TEST_F(MetafileTest, PolylineAndFillRecordsBreakEveryFourPoints) {
  const Gpt pts[] = {{0.1f, 0.1f}, {0.2f, 0.2f}, {0.3f, 0.3f}, {0.4f, 0.4f}, {1, 1}};
  const std::string four = "0.100000,0.100000 0.200000,0.200000 0.300000,0.300000 0.400000,0.400000 \n";
  EXPECT_EQ(gpolyline(4, pts), 1);
  EXPECT_EQ(gfill_area(4, pts), 1);
  EXPECT_EQ(gpolyline(5, pts), 1);
  EXPECT_EQ(records(), "PL 4 " + four + "FA 4 " + four + "   PL 5 " + four + "   1.000000,1.000000 \n");
}

TEST_F(MetafileTest, KernelCallsWriteTheirRecords) {
  const Glim lim{0.0f, 1.0f, 0.0f, 0.5f};
  gsel_norm_tran(0);  // already current: nothing
  gsel_norm_tran(2);
  gset_win(2, &lim);
  gset_vp(2, &lim);
  gset_line_colr_ind(3);
  gset_linewidth(2.0f);
  gset_fill_style_ind(4);
  const Gpt up{1.0f, 0.0f};
  gset_char_up_vec(&up);
  const Gtext_align al{GCENTER_HOR, GHALF_VERT};
  gset_text_align(&al);
  const Gpt pos{0.5f, 0.25f};
  gtext(&pos, "Hello");
  gpolymarker(1, &pos);
  EXPECT_EQ(records(),
            "TR 2\n"
            "WIN 2 0.000000 0.000000 1.000000 0.500000\n"
            "VP 2 0.000000 0.000000 1.000000 0.500000\n"
            "PL_CLR 3\n"
            "PL_LW 2.000000\n"
            "FA_ST 4\n"
            "TE_UP 1.000000,0.000000\n"
            "TE_ALGN 2 3\n"
            "TE 0.500000,0.250000 Hello\n"
            "PM 1 0.500000,0.250000 \n");
  // On a metafile the fill style index is written but not kept.
  EXPECT_EQ(gget_fill_style_ind(), 1);
}

TEST_F(KernelTest, ShapesAreClosedPolylinesAndFills) {
  open();
  GPH_rect(0.1f, 0.1f, 0.3f, 0.2f);
  auto lines = calls(RecordedCall::Op::polyline);
  ASSERT_EQ(lines.size(), 1u);
  ASSERT_EQ(lines[0].pts.size(), 5u);
  EXPECT_TRUE(floats_eq({lines[0].pts[0].x, lines[0].pts[1].x}, {lines[0].pts[4].x, std::trunc(0.3f * 511.0f + 0.5f)}));
  dev->clear_calls();
  GPH_fcircle(0.5f, 0.5f, 0.1f);
  auto fills = calls(RecordedCall::Op::fill);
  ASSERT_EQ(fills.size(), 1u);
  EXPECT_EQ(fills[0].pts.size(), 37u);
  for (const auto& p : fills[0].pts) {
    const float dx = p.x - 255.5f, dy = p.y - 255.5f;
    EXPECT_NEAR(std::sqrt(dx * dx + dy * dy), 51.1f, 1.0f);
  }
  dev->clear_calls();
  GPH_printf(0.2f, 0.2f, "%d-%s", 42, "x");
  auto groups = calls(RecordedCall::Op::begin_group);
  ASSERT_EQ(groups.size(), 1u);
  EXPECT_EQ(groups[0].text, "42-x");  // formatted
}

TEST_F(KernelTest, AttributeHelpersLeaveUnsetFieldsAlone) {
  open();
  Gattribs a;  // everything -9999
  a.color = 3;
  a.style = 2;
  GPH_line_attr(&a);
  EXPECT_EQ(std::tuple(gget_line_colr(), gget_line_type(), gget_line_width()), std::tuple(3, 2, 1.0f));
  GPH_line_attr(nullptr);  // the defaults
  EXPECT_EQ(std::tuple(gget_line_type(), gget_line_width()), std::tuple(1, 0.0f));
  a.fill_pat = 7;
  GPH_fill_attr(&a);
  EXPECT_EQ(std::tuple(gget_fill_int_style(), gget_fill_style_ind()), std::tuple(GPAT, 7));
  a.height = ZOR_MISSING_F;
  GPH_mark_attr(&a, 3.0f);  // no height: the scale alone
  EXPECT_FLOAT_EQ(gget_marker_size(), 3.0f);
  a.height = 0.02f;
  EXPECT_EQ(GPH_text_attr(&a, 2.0f), 0);
  EXPECT_FLOAT_EQ(gget_char_ht(), 0.04f);
  EXPECT_EQ(GPH_text_attr(nullptr, 1.0f), -1);
}

struct Box {
  float x_min = 1e9f, x_max = -1e9f, y_min = 1e9f, y_max = -1e9f;
  int strokes = 0;
};

class FontTest : public KernelTest {
 protected:
  void SetUp() override {
    open();  // 640 x 512 pixels
    // One world unit per pixel over the whole device, y upwards.
    const Glim ws{0.0f, 1.0f, 0.0f, 511.0f / 639.0f}, win{0.0f, 639.0f, 0.0f, 511.0f};
    gset_ws_win(1, &ws);
    gset_win(1, &win);
    gset_vp(1, &ws);
    gsel_norm_tran(1);
    gset_char_ht(105.0f);  // one font unit per world unit
    dev->clear_calls();
  }
  // Device-space bounding box of everything the text drew.
  Box draw(const char* s, float x = 100.0f, float y = 200.0f) {
    dev->clear_calls();
    const Gpt p{x, y};
    EXPECT_EQ(gtext(&p, s), 0);
    Box b;
    for (const auto& c : dev->calls()) {
      if (c.op != RecordedCall::Op::stroke) continue;
      ++b.strokes;
      for (const auto& p : c.pts) {
        b.x_min = std::min(b.x_min, p.x), b.x_max = std::max(b.x_max, p.x), b.y_min = std::min(b.y_min, p.y);
        b.y_max = std::max(b.y_max, p.y);
      }
    }
    return b;
  }
};

TEST(FontFiles, EveryListedFontLoadsAndModernHasPrintableAscii) {
  auto list = zor::find_data_file("zor.fnl");
  ASSERT_TRUE(list);
  std::istringstream in(slurp(*list));
  std::string abbr, name;
  int fonts = 0;
  FontState f;
  while (in >> abbr >> name) {
    auto path = zor::find_data_file(name);
    ASSERT_TRUE(path) << name;
    f.clear_glyphs();
    ASSERT_TRUE(parse_font(slurp(*path), f)) << name;
    EXPECT_EQ(f.size[' '], 40) << name;
    ++fonts;
  }
  EXPECT_GE(fonts, 4);
  f.clear_glyphs();
  ASSERT_TRUE(parse_font(slurp(*zor::find_data_file("modern.fnt")), f));
  for (int c = 33; c < 127; ++c) EXPECT_GE(f.index[c], 0) << c;
  EXPECT_EQ(std::tuple(f.index[' '], f.index[200]), std::tuple(-1, -1));
}

TEST(FontFiles, MalformedFontFilesAreRefused) {
  std::string index;
  for (int i = 0; i < 256; ++i) index += i == 65 ? "1 " : "-1 ";
  const std::string good = "255 10 35 20 140 254 " + index;
  FontState f;
  f.clear_glyphs();
  ASSERT_TRUE(parse_font(good, f));
  EXPECT_EQ(f.size['A'], 20);
  // The commented form: header words and a label after every 255.
  ASSERT_TRUE(parse_font("1 tiny 255 cA 10 35 20 140 254 " + index, f));
  EXPECT_EQ(f.index['A'], 1);

  const std::string short_index = index.substr(index.size() - 600);
  std::string far_index = index;
  far_index.replace(far_index.find("1 "), 1, "99");
  const struct {
    const char* name;
    std::string text;
  } bad[] = {
      {"empty", ""},
      {"no terminator", "255 10 35 20 140"},
      {"short index", "255 10 35 20 140 254 " + short_index},
      {"index past data", "255 10 35 20 140 254 " + far_index},
      {"byte out of range", "255 10 35 300 140 254 " + index},
      {"not a number", "255 10 x 20 140 254 " + index},
      {"odd stroke data", "255 10 35 20 254 " + index},
  };
  for (const auto& b : bad) {
    FontState g;
    g.clear_glyphs();
    EXPECT_FALSE(parse_font(b.text, g)) << b.name;
    EXPECT_TRUE(g.db.empty()) << b.name;
  }
}

TEST_F(FontTest, ExtentFollowsAdvancesSpacingAndExpansion) {
  const auto& f = kernel().font;
  ASSERT_FALSE(f.db.empty());
  const int a = f.size['A'], b = f.size['B'];
  float w = 0, h = 0;
  ASSERT_EQ(ginq_text_extent("AB", &w, &h), 0);
  EXPECT_FLOAT_EQ(w, static_cast<float>(a + 25 + b));
  EXPECT_FLOAT_EQ(h, 105.0f);
  gset_expan(1.5f);
  ginq_text_extent("AB", &w, &h);
  EXPECT_FLOAT_EQ(w, std::trunc(static_cast<float>(a + 25 + b) * 1.5f));
  // Fixed pitch: every character but the last takes (25 + 100) * pitch.
  gset_expan(1.0f);
  gset_char_space(0.8f);
  ginq_text_extent("ABC", &w, &h);
  EXPECT_FLOAT_EQ(w, 2 * 100.0f + 80.0f);
}

TEST_F(FontTest, AlignmentShiftsByTheWidthAndMovesTheBaseline) {
  const int width = kernel().font.size['A'] + 25 + kernel().font.size['B'];
  const Box left = draw("AB", 300.0f);
  ASSERT_GT(left.strokes, 0);
  EXPECT_FLOAT_EQ(left.x_min, 300.0f);  // 'A' has ink at x 0
  GPH_text_align(GCENTER_HOR, GNORMAL_VERT);
  EXPECT_FLOAT_EQ(left.x_min - draw("AB", 300.0f).x_min, static_cast<float>(width / 2));
  GPH_text_align(GRIGHT_HOR, GNORMAL_VERT);
  EXPECT_FLOAT_EQ(left.x_min - draw("AB", 300.0f).x_min, static_cast<float>(width));
  // Normal alignment puts the baseline (font y 35) on the position: the
  // bottom of 'H' is at world y 200, pixel row 511 - 200.
  GPH_text_align(GNORMAL_HOR, GNORMAL_VERT);
  const Box base = draw("H");
  EXPECT_FLOAT_EQ(base.y_max, 311.0f);
  EXPECT_FLOAT_EQ(base.y_min, 311.0f - 105.0f);
  GPH_text_align(GNORMAL_HOR, GCAP_VERT);  // cap line on the position
  const Box cap = draw("H");
  EXPECT_FLOAT_EQ(cap.y_min, 311.0f);
  GPH_text_align(GNORMAL_HOR, GBOTTOM_VERT);  // descender line on it
  const Box bottom = draw("H");
  EXPECT_FLOAT_EQ(bottom.y_max, 311.0f - 35.0f);
}

TEST_F(FontTest, UpVectorRotatesTheText) {
  const Box flat = draw("HHHH");
  GPH_text_rotate(90.0f);  // up to the right: the text runs downwards
  const Box turned = draw("HHHH", 100.0f, 450.0f);
  EXPECT_NEAR(turned.x_max - turned.x_min, flat.y_max - flat.y_min, 1.0f);
  EXPECT_NEAR(turned.y_max - turned.y_min, flat.x_max - flat.x_min, 1.0f);
  EXPECT_NEAR(turned.y_min, 61.0f, 1.0f);  // starts at the position, going down
  EXPECT_FLOAT_EQ(turned.x_min, 100.0f);       // the baseline runs through it,
  EXPECT_FLOAT_EQ(turned.x_max, 205.0f);       // the capitals stand to its right
}

TEST_F(FontTest, LongStrokesAreSplitAndClippedForTheDisplay) {
  // A glyph of one 40-point stroke: sent as 30 points, then the remaining
  // 10 continuing from the last point sent.
  std::string text = "255 128 35";
  for (int i = 1; i < 40; ++i) text += " " + std::to_string(i) + " " + std::to_string(35 + i);
  text += " 254";
  for (int c = 0; c < 256; ++c) text += c == 'Z' ? " 1" : " -1";
  ASSERT_TRUE(parse_font(text, kernel().font));
  draw("Z");
  std::vector<std::size_t> sizes;
  for (const auto& c : dev->calls())
    if (c.op == RecordedCall::Op::stroke) sizes.push_back(c.pts.size());
  EXPECT_EQ(sizes, (std::vector<std::size_t>{30, 11}));
  const Box b = draw("ZZZZZZZZZZZZZZZZ", 600.0f, 200.0f);
  ASSERT_GT(b.strokes, 0);
  EXPECT_LE(b.x_max, 639.0f);
  EXPECT_GE(b.x_min, 600.0f);
}

TEST_F(FontTest, FontListSelectionAndErrors) {
  EXPECT_EQ(std::tuple(gget_font_index("rom"), gget_font_index("ROM"), gget_font_index("3"), gget_font_index("nosuch")),
            std::tuple(2, 2, 3, 1));
  const std::size_t modern_size = kernel().font.db.size();
  Gfontprec fp{2, GSTROKE_PREC};
  ASSERT_EQ(gset_fontprec(&fp), 0);
  EXPECT_NE(kernel().font.db.size(), modern_size);
  gset_font_list("roman.fnt,modern.fnt");  // a comma-separated list replaces zor.fnl
  ASSERT_EQ(gsetup_fonts(), 0);
  EXPECT_EQ(kernel().font.fonts.size(), 2u);
  ::testing::internal::CaptureStderr();
  fp.font = 99;
  EXPECT_EQ(gset_fontprec(&fp), -1);
  gset_font_list("fi:no_such_list");
  gsetup_fonts();
  EXPECT_EQ(read_font("nosuch.fnt"), -1);
  EXPECT_EQ(draw("A B").strokes, 0);  // a missing font draws nothing, but blanks still advance
  EXPECT_EQ(kernel().font.size[' '], 40);
  EXPECT_EQ(read_font("#fixed"), -1);  // a device without fonts of its own
  const std::string err = ::testing::internal::GetCapturedStderr();
  for (const char* m : {"gset_fontprec: invalid font id: 99\n", "gsetup_fonts: unable to load font list file: no_such_list\n",
                        "read_font: unable to load font file: nosuch.fnt\n", "read_font: unable to load font: fixed\n"})
    EXPECT_NE(err.find(m), std::string::npos) << m;
}

// The converter on a two-glyph Hershey file whose second record continues
// on a second line: a blank and a capital A.
TEST(Hershey2Fnt, ConvertsGlyphsIntoFontUnits) {
  const std::string dir = zor::test::scratch_dir().path().string();
  const std::string jhf = dir + "/tiny.jhf", fnt = dir + "/tiny.fnt";
  zor::test::write_file(jhf, "12345  1JZ\n  501  9H\\RFJ[ RRF\nZ[ RMTWT\n");
  const std::string cmd = std::string(HERSHEY2FNT) + " " + jhf + " " + fnt + " tiny";
  ASSERT_EQ(std::system(cmd.c_str()), 0);
  FontState f;
  f.clear_glyphs();
  ASSERT_TRUE(parse_font(slurp(fnt), f));
  EXPECT_EQ(f.index[' '], -1);  // a blank has no strokes
  ASSERT_GE(f.index['!'], 0);   // the second record stands for '!'
  // Apex (R,F) is a move to x 40, y 140 (cap height); J[ a line to the
  // baseline at x 0; the crossbar (M,T)-(W,T) at y 70.
  const std::vector<int> expected = {168, 140, 0, 35, 168, 140, 80, 35, 143, 70, 65, 70, 255};
  std::vector<int> got;
  for (std::size_t p = static_cast<std::size_t>(f.index['!']); p < f.db.size(); ++p) {
    got.push_back(f.db[p]);
    if (f.db[p] == 255 && got.size() % 2 == 1) break;
  }
  EXPECT_EQ(got, expected);
  EXPECT_EQ(f.size['!'], 80);

  // A truncated record is refused.
  zor::test::write_file(jhf, "  501  9H\\RFJ[\n");
  EXPECT_NE(std::system((cmd + " 2>/dev/null").c_str()), 0);
}

// The print devices through the kernel: PostScript and EPS (pages rendered by
// Ghostscript and checked by pixel), HP-GL/2, metafiles and the print colours.
using zor::test::cgm_elements;
using zor::test::count_of;
using zor::test::lines_of;
using zor::test::out_path;
using zor::test::Raster;
using zor::test::Scene;

const std::string kEsc = "\x1b";

std::string data(const std::string& name) { return std::string(ZOR_TEST_DATA_DIR) + "/meta/" + name; }

// A scene position in page pixels of a 72 dpi letter-size rendering.
struct PagePoint {
  int col = 0;
  int row = 0;
};

class PrintTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::reset_devices();
    for (const char* v : {"zorps_param", "PSCOLOR", "zorhp_param", "zormeta_out"}) unsetenv(v);
    gset_win_title("radar test");
  }
  void TearDown() override {
    if (gchk_graphics()) zor::test::close_ws();
    zor::gks::clear_fixed_time();
  }

  // Where an NDC point lands on a landscape page (turned 90 degrees, moved by
  // ".25 inch -8.25 inch translate"; EPS by the picture height: 576, 0); image
  // rows count down from the page top (792).
  static PagePoint landscape(float x, float y, float right = 594.0f, float lift = 18.0f) {
    return {static_cast<int>(right - yW_ps(y)), static_cast<int>(792.0f - lift - xW_ps(x))};
  }

  // The scene plus a nine-point polyline (over three lines), as a text metafile.
  static void write_scene(const std::string& file) {
    ASSERT_TRUE(zor::test::open_ws(GWS_META, file));
    zor::test::draw_scene();
    Gpt zigzag[9];
    for (int i = 0; i < 9; ++i) zigzag[i] = {0.1f + 0.05f * i, (i % 2) ? 0.65f : 0.6f};
    gpolyline(9, zigzag);
    zor::test::close_ws();
  }

  // Records of a metafile: everything after the four header lines, without
  // the workstation window and viewport, which a reader does not replay.
  static std::vector<std::string> records(const std::string& file) {
    std::vector<std::string> out;
    const auto all = lines_of(slurp(file));
    for (std::size_t i = 4; i < all.size(); ++i)
      if (all[i].rfind("WS_WIN ", 0) != 0 && all[i].rfind("WS_VP ", 0) != 0) out.push_back(all[i]);
    return out;
  }
};

TEST_F(PrintTest, GreyLandscapeLetterFramesThePageAndRendersTheDrawing) {
  const std::string ps = out_path("grey.ps");
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, ps));
  EXPECT_EQ(zor::test::win_size(), std::pair(756, 576));  // letter landscape, in points
  zor::test::draw_scene();
  const PagePoint fill = landscape(0.2f, 0.2f);
  const PagePoint line = landscape(0.7f, Scene::line_y);
  const PagePoint mark = landscape(Scene::mark_x, Scene::mark_y);
  const PagePoint text0 = landscape(Scene::text_x, Scene::text_y);
  const PagePoint text1 = landscape(Scene::text_x + 0.1f, Scene::text_y + Scene::text_h);
  const PagePoint blank = landscape(Scene::blank_x, Scene::blank_y);
  zor::test::close_ws();

  const std::string text = slurp(ps);
  EXPECT_EQ(text.rfind("%!PS-Adobe-1.0\n%%Title: ZOR Graphics Display: radar test\n%%Creator: ZOR Postscript "
                       "Processor-2.0\n%%CreationDate: Tue Nov 14 22:13:20 2023\n%%EndComments\n", 0), 0u);
  EXPECT_EQ(zor::test::lines_of(text).at(6), "30 dict begin");
  // Grey: lines black, the blue fill at 0.8 / 2.7, width 10 in 0.33-point dots.
  for (const char* want : {"90 rotate\n.25 inch -8.25 inch translate\n0 setgray\n2 setlinejoin\n",
                           "%%Begin plot\n%%ZOR Plot: radar test\n", "cp\n0.296 setgray\nfill\n",
                           "%%PL: 2\n10.0 dot lw\n0 setgray\n", "%%PM: 3\n", "%%TE: 0.100000 0.550000 ZOR\n"})
    EXPECT_NE(text.find(want), std::string::npos) << want;
  EXPECT_EQ(text.substr(text.size() - 49), "%%End of plot\nsaveobj restore\nshowpage\nend\n%%EOF\n");
  EXPECT_EQ(std::pair(count_of(text, "setrgbcolor"), count_of(text, "[6] 0 setdash\n")), std::pair(0, 1));

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

TEST_F(PrintTest, ColourEpsHasABoundingBoxNoDictionaryAndRendersInColour) {
  const std::string eps = out_path("colour.eps");
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, eps + ",eps,color"));
  EXPECT_EQ(gget_inverse(), 1);
  zor::test::draw_scene();
  // Translated by the picture height: the picture fills its bounding box.
  const PagePoint fill = landscape(0.2f, 0.2f, 576.0f, 0.0f);
  const PagePoint line = landscape(0.7f, Scene::line_y, 576.0f, 0.0f);
  const PagePoint blank = landscape(Scene::blank_x, Scene::blank_y, 576.0f, 0.0f);
  zor::test::close_ws();

  const std::string text = slurp(eps);
  EXPECT_EQ(text.rfind("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 576 756\n", 0), 0u);
  // No dictionary or save; red for the line and the text, blue for the fill and the markers.
  EXPECT_EQ(std::tuple(count_of(text, "30 dict begin"), count_of(text, "saveobj"),
                       count_of(text, "90 rotate\n0. inch -8.00 inch translate\n0 0 0 setrgbcolor\n"),
                       count_of(text, "1.00 0.00 0.00 setrgbcolor\n"), count_of(text, "0.00 0.00 1.00 setrgbcolor\n")),
            std::tuple(0, 0, 1, 2, 2));
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

TEST_F(PrintTest, OptionsSetPaperScaleAndWidthsFromEnvironmentAndConnection) {
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
  // The width trunc(4 x base 2 x width 2) written once.
  EXPECT_EQ(std::tuple(count_of(text, ".25 inch .25 inch translate\n"), count_of(text, "1.50 1.50 scale\n"),
                       count_of(text, "16 dot lw\n"), count_of(text, "1 setgray\n"), count_of(text, "%%PL: 2\n")),
            std::tuple(1, 1, 1, 1, 3));

  // "sz" takes a free size; the size in inches is kept for the page.
  zor::gks::reset_ps();
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("size.ps") + ",sz=20x10"));
  EXPECT_EQ(zor::test::win_size(), std::pair(1404, 684));
  zor::test::close_ws();
  // Portrait EPS keeps the device upright.
  zor::gks::reset_ps();
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("portrait.eps") + ",port,eps"));
  zor::test::close_ws();
  const std::string eps = slurp(out_path("portrait.eps"));
  EXPECT_NE(eps.find("%%BoundingBox: 0 0 756 576\n"), std::string::npos);
  EXPECT_EQ(count_of(eps, "rotate") + count_of(eps, "translate"), 0);
}

// The first PostScript file is written through a pipe. Appended to ("+name"),
// a file gets one more plot: no second header or page end, the pen set again.
TEST_F(PrintTest, PipesAndAppendsWriteWhereTheNameSays) {
  const struct {
    Gws_type type;
    const char *name, *first, *opts, *first_end, *start, *end, *mark, *absent[2];
  } cases[] = {
      {GWS_PS, "piped.ps", "|cat > ", "", "%%EOF\n", "0 setgray\n1 dot lw\n[] 0 setdash\n%%ZOR Plot: radar test\n",
       "%%End of plot\n", "%%PL: ", {"%!PS", "showpage"}},
      {GWS_HPGL, "append.hpgl", "", "", "E\n", "PW0.2;SV;LT;\n", "", "PD", {"IN;", "PG;"}},
      {GWS_META, "append.cgm", "", ",cgm", "", "", "", "", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string file = out_path(c.name);
    std::remove(file.c_str());
    std::size_t first = 0;
    for (const std::string& conn : {c.first + file, "+" + file}) {
      zor::test::reset_devices();
      ASSERT_TRUE(zor::test::open_ws(c.type, conn + c.opts));
      GPH_line(0.1f, 0.2f, 0.9f, 0.2f);
      zor::test::close_ws();
      if (conn[0] != '+') first = slurp(file).size();
    }
    const std::string whole = slurp(file), added = whole.substr(first);
    if (c.type == GWS_META) {
      int delimiters = 0, polylines = 0;
      for (const auto& e : cgm_elements(added)) delimiters += e.cls == 0, polylines += e.cls == 4 && e.id == 1;
      EXPECT_EQ(std::pair(delimiters, polylines), std::pair(0, 1));
      continue;
    }
    EXPECT_EQ(whole.substr(first - std::strlen(c.first_end), std::strlen(c.first_end)), c.first_end);
    EXPECT_EQ(added.rfind(c.start, 0), 0u);
    if (*c.end) { EXPECT_EQ(added.substr(added.size() - std::strlen(c.end)), c.end); }
    EXPECT_EQ(std::tuple(count_of(added, c.mark), count_of(added, c.absent[0]), count_of(added, c.absent[1])),
              std::tuple(1, 0, 0));
  }
}

TEST_F(PrintTest, UnopenableFilesFailTheOpen) {
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  EXPECT_EQ(gopen_ws(1, "/nonexistent-dir/x.ps", GWS_PS), -1);
  EXPECT_EQ(gopen_ws(1, "/nonexistent-dir/x.hpgl", GWS_HPGL), -1);
  EXPECT_EQ(gchk_graphics(), 0);
  EXPECT_EQ(std::tuple(gps_close_file(), ghpgl_close_file()), std::tuple(-1, -1));
  gclose_gks();
}

TEST_F(PrintTest, SceneIsFramedForPclWithPensShadingAndPaths) {
  const std::string file = out_path("scene.hpgl");
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, file));
  int ox = 0, oy = 0;
  gget_win_offset(&ox, &oy);
  EXPECT_EQ(std::tuple(zor::test::win_size(), ox, oy), std::tuple(std::pair(10150, 7612), 10, 10));
  zor::test::draw_scene();
  zor::test::close_ws();

  const std::string text = slurp(file);
  EXPECT_EQ(text.rfind(kEsc + "E" + kEsc + "%1B" + kEsc + "&l1O\nIN;SP1;PA;\nPW0.2;SV;LT;\n", 0), 0u);
  EXPECT_EQ(text.substr(text.size() - 13), "SP;PG;" + kEsc + "%0A" + kEsc + "E\n");
  EXPECT_GE(count_of(text, "IW "), 1);
  // The blue fill: grey level 0.8 / 2.7, printed as 70% shading; line width 10 x base 0.2.
  EXPECT_EQ(std::tuple(count_of(text, "FT10,70;\nPU"), count_of(text, "PM1;PM2;FP;\n"), count_of(text, "PW2.0;\n"),
                       count_of(text, "LT2,5,1;\n")),
            std::tuple(1, 1, 1, 1));
  // Three plus markers of two strokes each, and the three glyphs of "ZOR".
  EXPECT_GE(count_of(text, "PU"), 1 + 5 + 6 + 3);
}

TEST_F(PrintTest, RepeatedAttributesAreWrittenOnceAndLongLinesAreBroken) {
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
  // Shades written once each; 507 doubles the base width.
  EXPECT_EQ(std::tuple(count_of(text, kEsc), count_of(text, "SV1,0;\n"), count_of(text, "SV1,30;\n"),
                       count_of(text, "PW0.4;\n")),
            std::tuple(0, 1, 1, 1));
  // 25 points: a break after points 10 and 20, and the closing one.
  const std::size_t start = text.rfind("PU");
  const std::string last = text.substr(start, text.find("SP;PG;") - start);
  EXPECT_EQ(std::pair(count_of(last, "PD"), count_of(last, "\n")), std::pair(24, 3));
}

TEST_F(PrintTest, OptionsSetRollPaperRotationAndLaserJetWrapper) {
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

// A text metafile has its header and one record per call. Read back onto a
// second metafile the records come out the same; onto PostScript, the
// primitives are drawn in the colours the CLR records bring.
TEST_F(PrintTest, TextMetafileRecordsAndReadingThemBack) {
  const std::string first = out_path("first.meta"), second = out_path("second.meta"), ps = out_path("replay.ps");
  write_scene(first);
  const std::string meta = slurp(first);
  EXPECT_EQ(meta.rfind("ZORMETA\n#Title: ZOR Graphics Display: radar test\n#Creator: ZOR Metafile Processor-1.0\n"
                       "#CreationDate: Tue Nov 14 22:13:20 2023\n", 0), 0u);
  for (const char* want : {"CLR 1 40 1.000000 0.000000 0.000000\n", "PL 2 0.500000,0.200000 0.900000,0.200000 \n",
                           "TE 0.100000,0.550000 ZOR\n", "PM 3 ", "FA 5 "})
    EXPECT_NE(meta.find(want), std::string::npos) << want;
  for (const auto& [out, type] : {std::pair(second, GWS_META), std::pair(ps, GWS_PS)}) {
    zor::gks::reset_color_model();
    zor::clr::reset();
    ASSERT_EQ(gopen_gks(nullptr, 0), 0);
    ASSERT_EQ(gopen_ws(1, out.c_str(), type), 0);
    EXPECT_EQ(gread_metafile(first.c_str()), 0);
    zor::test::close_ws();
  }
  const auto a = records(first);
  ASSERT_GT(a.size(), 20u);
  EXPECT_EQ(a, records(second));
  const std::string text = slurp(ps);
  EXPECT_EQ(std::tuple(count_of(text, "%%FA: "), count_of(text, "%%PM: 3"), count_of(text, "%%TE: 0.100000 0.550000 ZOR")),
            std::tuple(1, 1, 1));
  EXPECT_GE(count_of(text, "%%PL: "), 3);
  EXPECT_NE(text.find("0.296 setgray\nfill\n"), std::string::npos);
}

TEST_F(PrintTest, BadOrMissingInputEndsTheReadCleanly) {
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  const std::string out = out_path("bad_replay.meta");
  ASSERT_EQ(gopen_ws(1, out.c_str(), GWS_META), 0);
  EXPECT_EQ(gread_metafile("/nonexistent/none.meta"), 0);
  EXPECT_EQ(gread_metafile(data("bad_points.meta").c_str()), 0);
  EXPECT_EQ(gread_metafile(data("unknown_records.meta").c_str()), 0);
  zor::test::close_ws();
  const auto rec = records(out);
  // The records before the damaged one and the known ones among strangers.
  const std::vector<std::string> want = {"PL_CLR 3",
                                         "PL 2 0.100000,0.100000 0.200000,0.200000 ",
                                         "PL_TYPE 2",
                                         "PL 2 0.300000,0.300000 0.400000,0.400000 "};
  EXPECT_EQ(rec, want);
}

int word(const std::vector<std::uint8_t>& p, std::size_t i) {
  return static_cast<std::int16_t>((p[2 * i] << 8) | p[2 * i + 1]);
}

TEST_F(PrintTest, BinaryCgmHasHeaderPictureAndPolylines) {
  const std::string file = out_path("lines.cgm");
  ASSERT_TRUE(zor::test::open_ws(GWS_META, file + ",cgm"));
  EXPECT_EQ(gmeta_get_type(), 1);
  gset_linetype(2);
  GPH_line(0.1f, 0.2f, 0.9f, 0.2f);
  const int x0 = static_cast<int>(std::trunc(xW_ps(0.1f) * 10.0f));
  const int y0 = static_cast<int>(std::trunc(yW_ps(0.2f) * 10.0f));
  const int x1 = static_cast<int>(std::trunc(xW_ps(0.9f) * 10.0f));
  Gpt many[3000];
  for (int i = 0; i < 3000; ++i) many[i] = {0.1f + 0.0002f * i, 0.5f};
  gpolyline(3000, many);
  // A fill after the lines (written as a polygon).
  GPH_frect(0.1f, 0.1f, 0.2f, 0.2f);
  zor::test::close_ws();

  const auto els = cgm_elements(slurp(file));
  ASSERT_GE(els.size(), 12u);
  const int head[8][2] = {{0, 1}, {1, 1}, {1, 2}, {1, 11}, {1, 9}, {2, 6}, {0, 3}, {0, 4}};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(std::tuple(els[i].cls, els[i].id), std::tuple(head[i][0], head[i][1])) << i;
  EXPECT_EQ(word(els[1].params, 0), 1);
  EXPECT_EQ(std::string(els[2].params.begin() + 1, els[2].params.begin() + 11), "ZORCGM-1.0");
  EXPECT_EQ(std::tuple(word(els[5].params, 2), word(els[5].params, 3)), std::tuple(10000, 8000));
  EXPECT_EQ(std::tuple(els[els.size() - 2].cls, els[els.size() - 2].id), std::tuple(0, 5));  // END PICTURE
  EXPECT_EQ(els.back().id, 2);           // END METAFILE

  std::vector<const zor::test::CgmElement*> lines;
  int clips = 0, types = 0;
  for (const auto& e : els) {
    if (e.cls == 4 && e.id == 1) lines.push_back(&e);
    if (e.cls == 3 && e.id == 5) ++clips;
    if (e.cls == 5 && e.id == 2) ++types;
  }
  EXPECT_GE(clips, 1);
  EXPECT_EQ(types, 1);
  ASSERT_EQ(lines.size(), 2u);
  ASSERT_EQ(lines[0]->params.size(), 8u);
  EXPECT_EQ(std::tuple(word(lines[0]->params, 0), word(lines[0]->params, 1), word(lines[0]->params, 2)),
            std::tuple(x0, y0, x1));
  EXPECT_EQ(lines[1]->params.size(), 3000u * 4u);  // long form, every point kept
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
  static void open_display() {
    zor::gks::use_recording_device(GWS_WINDOW);
    ASSERT_EQ(gopen_gks(nullptr, 0), 0);
    ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
  }
  static bool cleared() {
    for (const auto& c : zor::gks::last_recording_device()->calls())
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

// The image writers on records of every pixel layout, read back with an
// independent LZW decoder and libpng; the image readers.
const auto spit = zor::test::write_file;

std::vector<unsigned char> bytes_of(const std::string& path) {
  const std::string s = slurp(path);
  return {s.begin(), s.end()};
}

// Table colour i as the writers turn it into bytes, 0xRRGGBB.
float part(int v) { return static_cast<float>(v % 256) / 255.0f; }
unsigned expected_indexed(int i) {
  auto byte = [](int v) { return static_cast<unsigned>(part(v) * 255); };
  return byte(i * 37) << 16 | byte(i * 91) << 8 | byte(i);
}

// A record whose pixel (r, c) is value(r, c) at `bits` per pixel: an index
// into `ncolors` table colours, or (no table) 0xRRGGBB at 24 or 32 bits.
IMG_report make_record(int width, int height, int bits, int order, int pad, int ncolors,
                       const std::function<unsigned(int, int)>& value) {
  IMG_report im;
  IMG_init(&im);
  im.width = width, im.height = height, im.bits_pixel = bits, im.depth = bits == 32 ? 24 : bits;
  im.bytes_line = (width * bits + 7) / 8 + pad, im.byte_order = order, im.color_type = ncolors > 0;
  im.num_colors = ncolors;
  if (ncolors == 0) im.red = 0xff0000, im.grn = 0x00ff00, im.blu = 0x0000ff;
  else im.colors = static_cast<IMG_color*>(std::calloc(ncolors, sizeof(IMG_color)));
  for (int i = 0; i < ncolors; ++i) im.colors[i] = {part(i * 37), part(i * 91), part(i)};
  im.data = static_cast<unsigned char*>(std::calloc(im.bytes_line * height, 1));
  for (int r = 0; r < height; ++r)
    for (int c = 0; c < width; ++c) {
      const unsigned v = value(r, c);
      unsigned char* p = im.data + r * im.bytes_line;
      switch (bits) {
        case 1: p[c / 8] |= (v & 1) << (c % 8); break;
        case 4: p[c / 2] |= (c % 2 == 0) ? (v & 15) << 4 : (v & 15); break;
        case 8: p[c] = v; break;
        case 16: p[2 * c + order] = v & 0xff, p[2 * c + 1 - order] = v >> 8; break;
        default:  // blue first, or red first after the pad byte
          p += c * bits / 8 + (bits == 32 && order == 1);
          for (int k = 0; k < 3; ++k) p[k] = v >> (order ? 16 - 8 * k : 8 * k);
      }
    }
  return im;
}

struct Gif {
  int flags = 0, table = 0, code_size = 0;
  std::vector<unsigned> palette;
  std::vector<int> codes;  // every code in the data, in order
  std::vector<int> pixels;
  std::vector<int> table_at_clear;  // decoder's table size at each later clear code
  bool has_gce = false;
  std::vector<unsigned> rgb() const {
    std::vector<unsigned> out;
    for (int p : pixels) out.push_back(palette.at(p));
    return out;
  }
};

// An independent GIF decoder for what the writer produces.
Gif decode_gif(const std::vector<unsigned char>& f) {
  Gif g;
  EXPECT_GE(f.size(), 13u);
  EXPECT_EQ(std::string(f.begin(), f.begin() + 6), "GIF89a");
  g.flags = f[10], g.table = 1 << ((g.flags & 7) + 1);
  std::size_t i = 13;
  for (int k = 0; k < g.table; ++k, i += 3) g.palette.push_back(f[i] << 16 | f[i + 1] << 8 | f[i + 2]);
  g.has_gce = f[i] == 0x21 && f[i + 1] == 0xF9;
  i += g.has_gce ? 8 : 0;
  EXPECT_EQ(f[i], 0x2C);
  i += 10;
  g.code_size = f[i++];
  std::vector<unsigned char> data;
  for (int n; (n = f[i++]) != 0; i += n) data.insert(data.end(), f.begin() + i, f.begin() + i + n);
  EXPECT_EQ(f[i], 0x3B);
  const int clear = 1 << g.code_size, end = clear + 1;
  std::vector<std::vector<int>> dict;
  auto reset = [&] {
    dict.assign(clear + 2, {});
    for (int k = 0; k < clear; ++k) dict[k] = {k};
  };
  reset();
  int width = g.code_size + 1, prev = -1;
  for (std::size_t bitpos = 0; bitpos + width <= data.size() * 8;) {
    int code = 0;
    for (int b = 0; b < width; ++b, ++bitpos) code |= ((data[bitpos / 8] >> (bitpos % 8)) & 1) << b;
    g.codes.push_back(code);
    if (code == clear) {
      if (prev >= 0) g.table_at_clear.push_back(static_cast<int>(dict.size()));
      reset();
      width = g.code_size + 1, prev = -1;
      continue;
    }
    if (code == end) break;
    std::vector<int> entry = code < static_cast<int>(dict.size()) ? dict[code] : dict[prev];
    if (code >= static_cast<int>(dict.size())) entry.push_back(entry[0]);
    if (prev >= 0) {
      auto n = dict[prev];
      n.push_back(entry[0]);
      dict.push_back(n);
    }
    g.pixels.insert(g.pixels.end(), entry.begin(), entry.end());
    prev = code;
    if (static_cast<int>(dict.size()) == (1 << width) && width < 12) ++width;
  }
  return g;
}

TEST(ImgWrite, EveryLayoutGivesThePicturesColoursInGifAndPng) {
  struct Layout {
    int bits, order, pad;
  };
  for (Layout l : {Layout{1, 0, 0}, Layout{4, 0, 1}, Layout{8, 0, 3}, Layout{16, 0, 2}, Layout{16, 1, 2},
                   Layout{24, 0, 0}, Layout{24, 1, 0}, Layout{32, 0, 0}, Layout{32, 1, 0}}) {
    SCOPED_TRACE(l.bits * 10 + l.order);
    const int ncol = l.bits >= 24 ? 0 : l.bits == 1 ? 2 : 12;
    auto value = [&](int r, int c) -> unsigned {
      return ncol ? (r * 3 + c) % ncol : (r * 40) % 256 << 16 | (c * 20) % 256 << 8 | 200;
    };
    std::vector<unsigned> want;
    for (int r = 0; r < 9; ++r)
      for (int c = 0; c < 13; ++c) want.push_back(ncol ? expected_indexed(value(r, c)) : value(r, c));
    IMG_report im = make_record(13, 9, l.bits, l.order, l.pad, ncol, value);
    ASSERT_EQ(PNG_write(out_path("layout.png").c_str(), &im), 1);
    IMG_free(&im);
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&png, out_path("layout.png").c_str()), 0);
    EXPECT_EQ(std::tuple(png.format & PNG_FORMAT_FLAG_COLORMAP, png.colormap_entries),
              std::tuple(PNG_FORMAT_FLAG_COLORMAP, 256u));
    png_image_free(&png);
    zor::test::Raster back;
    ASSERT_TRUE(zor::test::read_png(out_path("layout.png"), back));
    std::vector<unsigned> got;
    for (int i = 0; i < 13 * 9; ++i) got.push_back(back.pixel(i % 13, i / 13));
    EXPECT_EQ(got, want);
    const std::string file = slurp(out_path("layout.png"));
    for (const char* key : {"tEXtTitle", "tEXtSoftware", "tEXtCreation Time"}) EXPECT_NE(file.find(key), std::string::npos);
    im = make_record(13, 9, l.bits, l.order, l.pad, ncol, value);
    ASSERT_EQ(GIF_write(out_path("layout.gif").c_str(), &im), 1);
    IMG_free(&im);
    EXPECT_EQ(decode_gif(bytes_of(out_path("layout.gif"))).rgb(), want);
  }
}

// The colour table's size and flags, the code size; a picture of noise
// fills the table soon, which restarts with a clear code when full.
TEST(ImgWrite, GifTablesAndClearCodes) {
  struct Case {
    int ncol, table, flags, code_size;
  };
  for (Case k : {Case{1, 2, 0x80, 2}, Case{3, 4, 0x91, 2}, Case{200, 256, 0xF7, 8}}) {
    SCOPED_TRACE(k.ncol);
    IMG_report im = make_record(20, 20, 8, 0, 0, k.ncol, [&](int r, int c) { return (r * 20 + c) % k.ncol; });
    ASSERT_EQ(GIF_write(out_path("table.gif").c_str(), &im), 1);
    IMG_free(&im);
    Gif g = decode_gif(bytes_of(out_path("table.gif")));
    ASSERT_FALSE(g.codes.empty());
    EXPECT_EQ(std::tuple(g.flags, g.table, g.code_size, g.codes.front(), g.pixels.size()),
              std::tuple(k.flags, k.table, k.code_size, 1 << k.code_size, 400u));
  }
  IMG_report im = make_record(1000, 1000, 8, 0, 0, 2, [](int r, int c) {
    return ((r * 7919u + c * 104729u) * 2654435761u) >> 31;
  });
  ASSERT_EQ(GIF_write(out_path("noise.gif").c_str(), &im), 1);
  IMG_free(&im);
  Gif g = decode_gif(bytes_of(out_path("noise.gif")));
  ASSERT_GE(g.table_at_clear.size(), 2u);
  for (int n : g.table_at_clear) EXPECT_EQ(n, 4096);
  EXPECT_EQ(std::tuple(g.codes.front(), g.pixels.size(), g.codes.back()), std::tuple(4, 1000u * 1000u, 5));
}

// Reading interlaced files back in place: ImgRead.GifPngAndXwdRoundTrips.
TEST(ImgWrite, InterlacedAndTransparent) {
  GIF_interlace(1);
  GIF_transparent(1);
  IMG_report im = make_record(5, 19, 8, 0, 0, 4, [](int r, int) { return r % 4; });
  ASSERT_EQ(GIF_write(out_path("inter.gif").c_str(), &im), 1);
  IMG_free(&im);
  GIF_interlace(0);
  GIF_transparent(0);
  Gif g = decode_gif(bytes_of(out_path("inter.gif")));
  EXPECT_TRUE(g.has_gce);
  ASSERT_EQ(g.pixels.size(), 95u);
  // Rows in the file come pass by pass: 0, 8, 16, then 4, 12, ...
  const int order[] = {0, 8, 16, 4, 12, 2, 6, 10, 14, 18, 1, 3, 5, 7, 9, 11, 13, 15, 17};
  for (int i = 0; i < 19; ++i) EXPECT_EQ(g.palette[g.pixels[i * 5]], expected_indexed(order[i] % 4)) << i;
}

TEST(ImgWrite, XwdHeaderColoursAndPixels) {
  IMG_report im = make_record(10, 3, 8, 1, 2, 5, [](int r, int c) { return (r + c) % 5; });
  std::strcpy(im.info, "xwdump");
  ASSERT_EQ(XWD_write(out_path("a.xwd").c_str(), &im), 1);
  const auto f = bytes_of(out_path("a.xwd"));
  auto be32 = [&](std::size_t o) {
    return static_cast<unsigned>(f[o] << 24 | f[o + 1] << 16 | f[o + 2] << 8 | f[o + 3]);
  };
  ASSERT_EQ(f.size(), 107u + 5 * 12 + 3 * 12);
  // Header size, version, visual class (PseudoColor), colours; colour 2's entry.
  EXPECT_EQ(std::tuple(be32(0), be32(4), be32(13 * 4), be32(18 * 4)), std::tuple(107u, 7u, 3u, 5u));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&f[100])), "xwdump");
  EXPECT_EQ(std::tuple(be32(107 + 12 * 2), f[107 + 12 * 2 + 10]), std::tuple(2u, 7));
  EXPECT_EQ(std::memcmp(&f[107 + 60], im.data, 36), 0);
  IMG_free(&im);
  for (auto* write : {XWD_write, GIF_write, PNG_write}) EXPECT_EQ(write("/nonexistent/dir/a", &im), 0);
}

// An 8-bit indexed picture of `ncol` colours with padded rows.
IMG_report picture(int width, int height, int ncol, int pad) {
  return make_record(width, height, 8, 0, pad, ncol, [&](int r, int c) { return (r * 5 + c * c) % ncol; });
}

// Colour of every pixel of an 8-bit indexed record.
std::vector<unsigned> colours(const IMG_report& im) {
  std::vector<unsigned> out;
  auto byte = [](float v) { return static_cast<unsigned>(v * 255 + 0.5f); };
  for (int i = 0; i < im.width * im.height; ++i) {
    const IMG_color& k = im.colors[im.data[i / im.width * im.bytes_line + i % im.width]];
    out.push_back(byte(k.red) << 16 | byte(k.grn) << 8 | byte(k.blu));
  }
  return out;
}

TEST(ImgRead, GifPngAndXwdRoundTrips) {
  using Writer = int (*)(const char*, IMG_report*);
  const struct {
    const char* file;
    Writer write;
    int interlace;
  } cases[] = {{"rt.gif", GIF_write, 0}, {"rt.gif", GIF_write, 1}, {"rt.png", PNG_write, 0}, {"rt.xwd", XWD_write, 0}};
  for (const auto& k : cases) {
    SCOPED_TRACE(std::string(k.file) + (k.interlace ? " interlaced" : ""));
    IMG_report im = picture(37, 23, 40, 3);
    std::strcpy(im.info, "radar window");
    const auto want = colours(im);  // the writers may remap the record
    GIF_interlace(k.interlace);
    ASSERT_EQ(k.write(out_path(k.file).c_str(), &im), 1);
    GIF_interlace(0);
    IMG_report back;
    ASSERT_EQ(IMG_read(out_path(k.file).c_str(), &back, 0), 1);
    EXPECT_EQ(std::tuple(back.width, back.height), std::tuple(37, 23));
    EXPECT_EQ(colours(back), want);
    if (k.write == GIF_write) { EXPECT_STREQ(back.info, "GIF"); }
    if (k.write == PNG_write) { EXPECT_EQ(std::tuple(back.color_type, back.num_colors), std::tuple(1, 256)); }
    if (k.write == XWD_write) {  // the pixels and the table as they were
      EXPECT_EQ(std::tuple(std::string(back.info), back.bytes_line, back.num_colors), std::tuple("radar window", 40, 40));
      EXPECT_EQ(std::memcmp(back.data, im.data, 40 * 23), 0);
    }
    IMG_free(&back);
    IMG_free(&im);
  }
}

TEST(ImgRead, GifSizeQueryAndStarLine) {
  IMG_report im = picture(9, 4, 3, 0);
  ASSERT_EQ(GIF_write(out_path("s.gif").c_str(), &im), 1);
  spit(out_path("star.gif"), "** produced elsewhere\n" + slurp(out_path("s.gif")));
  IMG_report back;
  ASSERT_EQ(IMG_read(out_path("star.gif").c_str(), &back, 1), 1);
  EXPECT_EQ(std::tuple(back.width, back.height, back.data), std::tuple(9, 4, nullptr));
  IMG_free(&back);
  ASSERT_EQ(IMG_read(out_path("star.gif").c_str(), &back, 0), 1);
  EXPECT_EQ(std::memcmp(back.data, im.data, 36), 0);  // 3 colours in first-seen order 0, 1, 2
  IMG_free(&back);
  IMG_free(&im);
}

TEST(ImgRead, OwnFormatPlainAndCompressedWithAndWithoutDomain) {
  for (int type : {0, 1})
    for (bool with_dom : {false, true}) {
      SCOPED_TRACE(type * 10 + with_dom);
      IMG_report im = picture(300, 90, 200, 4);  // 27000 bytes: three deflate pieces
      std::strcpy(im.info, "Base reflectivity [KTLX]");
      std::strcpy(im.datim, "12:30 3 May 1999");
      if (with_dom) {
        im.domain.proj = 1, im.domain.plon = -105.0f, im.domain.clat = 35.3f, im.domain.clon = -97.3f;
        im.domain.dx = 0.01f, im.domain.dy = 0.01f, im.domain.nx = 300, im.domain.ny = 90;
      }
      ASSERT_EQ(IMG_write(out_path("own.img").c_str(), &im, type), 1);
      const std::string file = slurp(out_path("own.img"));
      EXPECT_EQ(file.substr(0, type ? 8 : 7), type ? "ZORIMGZ\n" : "ZORIMG\n");
      if (with_dom) { EXPECT_NE(file.find("\nPS:-105.000000 35.299999 "), std::string::npos); }
      IMG_report back;
      ASSERT_EQ(IMG_read(out_path("own.img").c_str(), &back, 0), 1);
      EXPECT_EQ(std::tuple(back.source, std::string(back.info), std::string(back.datim), back.domain.proj),
                std::tuple(50, "Base reflectivity [KTLX]", "12:30 3 May 1999", with_dom ? 1 : -9999));
      ASSERT_EQ(std::pair(back.width, back.height), std::pair(300, 90));
      if (with_dom) { EXPECT_FLOAT_EQ(back.domain.plon, -105.0f); }
      bool same = true;
      for (int r = 0; r < 90; ++r)
        same = same && std::memcmp(back.data + r * 300, im.data + r * 304, 300) == 0;
      EXPECT_TRUE(same);
      IMG_free(&back);
      IMG_free(&im);
    }
}

TEST(ImgRead, OwnFormatVersionFourWithDomainLine) {
  std::string pixels(25 * 17, '\0');
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<char>(i % 251);
  spit(out_path("v4.img"),
       "ZORIMG4\n12:00 1 Jan 2000\nv4 test\n"
       "pstereo:39.000:-97.000:::,39.000,-97.000,25,17,2.3000,2.3000\n\n" + pixels);
  IMG_report back;
  ASSERT_EQ(IMG_read(out_path("v4.img").c_str(), &back, 0), 1);
  EXPECT_EQ(std::tuple(back.width, back.height, back.domain.proj), std::tuple(25, 17, 1));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(back.data), pixels.size()), pixels);
  IMG_free(&back);
}

TEST(ImgRead, DamagedFilesFailCleanly) {
  IMG_set_read_retry(0, 0);
  IMG_report im = picture(64, 64, 100, 0);
  ASSERT_EQ(GIF_write(out_path("d.gif").c_str(), &im), 1);
  ASSERT_EQ(PNG_write(out_path("d.png").c_str(), &im), 1);
  ASSERT_EQ(XWD_write(out_path("d.xwd").c_str(), &im), 1);
  ASSERT_EQ(IMG_write(out_path("d.img").c_str(), &im, 1), 1);
  IMG_free(&im);
  for (const char* name : {"d.gif", "d.png", "d.xwd"}) {
    const std::string whole = slurp(out_path(name));
    for (std::size_t cut : {std::size_t{3}, std::size_t{20}, whole.size() / 2, whole.size() - 20}) {
      spit(out_path("cut"), whole.substr(0, cut));
      IMG_report back;
      EXPECT_EQ(IMG_read(out_path("cut").c_str(), &back, 0), 0) << name << " cut at " << cut;
      EXPECT_TRUE(back.data == nullptr && back.colors == nullptr);
    }
    // Garbage in the image data.
    std::string bad = whole;
    for (std::size_t i = bad.size() / 3; i < bad.size() - 10; i += 7) bad[i] = static_cast<char>(0xff);
    spit(out_path("bad"), bad);
    IMG_report back;
    const int rc = IMG_read(out_path("bad").c_str(), &back, 0);
    if (rc != 1) { EXPECT_EQ(back.data, nullptr); }
    IMG_free(&back);
  }
  // A short own-format file gives what it has once the retries are spent.
  const std::string whole = slurp(out_path("d.img"));
  spit(out_path("short.img"), whole.substr(0, whole.size() - 40));
  IMG_report back;
  EXPECT_EQ(IMG_read(out_path("short.img").c_str(), &back, 0), 1);
  EXPECT_NE(back.data, nullptr);
  IMG_free(&back);
  spit(out_path("hdr.img"), "ZORIMG\nx\ny\n");
  EXPECT_EQ(IMG_read(out_path("hdr.img").c_str(), &back, 0), -1);
  spit(out_path("huge.img"), "ZORIMG\nx\ny\n99999999 99999999\n");
  EXPECT_EQ(IMG_read(out_path("huge.img").c_str(), &back, 0), -1);
  EXPECT_EQ(IMG_read(out_path("missing.img").c_str(), &back, 0), 0);
  EXPECT_EQ(IMG_read_zor(out_path("d.gif").c_str(), &back, 0), -1);
  IMG_free(&back);
  IMG_set_read_retry(10, 1000);
}

// A 16-bit grey PNG keeps its samples in file order, most significant byte
// first, and says so.
TEST(ImgRead, SixteenBitGreyPngIsMostSignificantByteFirst) {
  const std::string path = out_path("grey16.png");
  const std::uint16_t samples[4] = {0x1234, 0xABCD, 0x0001, 0xFF00};
  png_image image{};
  image.version = PNG_IMAGE_VERSION, image.width = 2, image.height = 2, image.format = PNG_FORMAT_LINEAR_Y;
  ASSERT_NE(png_image_write_to_file(&image, path.c_str(), 0, samples, 0, nullptr), 0);
  IMG_report im;
  ASSERT_EQ(IMG_read(path.c_str(), &im, 0), 1);
  EXPECT_EQ(std::tuple(im.depth, im.bits_pixel, im.byte_order), std::tuple(16, 16, 1));
  ASSERT_NE(im.data, nullptr);
  // libpng writes linear samples through the sRGB curve: only the order of
  // the bytes is checked, against the file's own first row.
  png_image back{};
  back.version = PNG_IMAGE_VERSION;
  ASSERT_NE(png_image_begin_read_from_file(&back, path.c_str()), 0);
  back.format = PNG_FORMAT_LINEAR_Y;
  std::uint16_t got[4] = {};
  ASSERT_NE(png_image_finish_read(&back, nullptr, got, 0, nullptr), 0);
  for (int i = 0; i < 2; ++i) {
    const unsigned v = static_cast<unsigned>(im.data[2 * i]) << 8 | im.data[2 * i + 1];
    EXPECT_NEAR(static_cast<double>(v), static_cast<double>(got[i]), 1.0) << i;
  }
  IMG_free(&im);
}

}  // namespace
