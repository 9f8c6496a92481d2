// The memory device against the X server under Xvfb: its scan converter on
// random shapes drawn with Xlib and into a canvas, and whole drawings through
// the memory and the X11 devices.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "../common/capture.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "raster_canvas.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"

// After the test framework: Xlib defines None.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

using namespace zor::gks;
using namespace zor::gks::raster;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

constexpr int kW = 200;
constexpr int kH = 160;
constexpr unsigned long kWhite = 0xFFFFFF;

class RasterVsServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    display_ = XOpenDisplay(nullptr);
    ASSERT_NE(display_, nullptr);
    pixmap_ = XCreatePixmap(display_, DefaultRootWindow(display_), kW, kH, 24);
    gc_ = XCreateGC(display_, pixmap_, 0, nullptr);
    paint_.pixel = kWhite;
    paint_.clip = {0, 0, kW - 1, kH - 1};
  }
  void TearDown() override {
    if (display_ == nullptr) return;
    XFreeGC(display_, gc_);
    XFreePixmap(display_, pixmap_);
    XCloseDisplay(display_);
  }
  // Clears both pictures and sets the server's pen.
  void begin(int width, int line_style, int cap, int join) {
    XSetFillStyle(display_, gc_, FillSolid);
    XSetForeground(display_, gc_, 0);
    XFillRectangle(display_, pixmap_, gc_, 0, 0, kW, kH);
    XSetForeground(display_, gc_, kWhite);
    XSetLineAttributes(display_, gc_, static_cast<unsigned>(width), line_style, cap, join);
    canvas_ = Canvas(kW, kH, 0);
  }
  // Pixels where the server's picture and the canvas differ.
  long differing() {
    XImage* im = XGetImage(display_, pixmap_, 0, 0, kW, kH, AllPlanes, ZPixmap);
    long n = 0;
    for (int y = 0; y < kH; ++y)
      for (int x = 0; x < kW; ++x) n += (XGetPixel(im, x, y) & 0xFFFFFF) != canvas_.at(x, y);
    XDestroyImage(im);
    return n;
  }
  int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
  // Random points, as XPoints and canvas points.
  void random_points(int n, int lo_x, int hi_x, int lo_y, int hi_y) {
    xp_.resize(static_cast<std::size_t>(n));
    ip_.resize(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) {
      ip_[k] = {pick(lo_x, hi_x), pick(lo_y, hi_y)};
      xp_[k] = {static_cast<short>(ip_[k].x), static_cast<short>(ip_[k].y)};
    }
  }
  // The same outline drawn or filled by the server.
  void server_lines() { XDrawLines(display_, pixmap_, gc_, xp_.data(), static_cast<int>(xp_.size()), CoordModeOrigin); }
  void server_fill() {
    XFillPolygon(display_, pixmap_, gc_, xp_.data(), static_cast<int>(xp_.size()), Nonconvex, CoordModeOrigin);
  }

  Display* display_ = nullptr;
  Pixmap pixmap_ = 0;
  GC gc_ = nullptr;
  Canvas canvas_;
  Paint paint_;
  PolygonScratch scratch_;
  std::mt19937 rng_{7};
  std::vector<XPoint> xp_;
  std::vector<IntPoint> ip_;
};

// Every third one stippled, with its outline drawn in the stipple too.
TEST_F(RasterVsServerTest, PlainAndStippledPolygonsMatchExactly) {
  static const std::uint8_t bits[8] = {0x24, 0x11, 0x82, 0x48, 0x42, 0x11, 0x28, 0x84};
  Pixmap stipple = XCreateBitmapFromData(display_, pixmap_, reinterpret_cast<const char*>(bits), 8, 8);
  Paint stippled = paint_;
  stippled.stipple = bits;
  long diff = 0;
  for (int i = 0; i < 400; ++i) {
    // Half of them small cells, half large self-crossing outlines off the edges.
    if (i % 2) random_points(4, 90, 98, 70, 78);
    else random_points(pick(3, 8), -10, kW + 10, -10, kH + 10);
    begin(0, LineSolid, CapButt, JoinBevel);
    if (i % 3 == 0) {
      XSetStipple(display_, gc_, stipple);
      XSetFillStyle(display_, gc_, FillStippled);
      server_lines();
      thin_polyline(canvas_, ip_, stippled, Dashes{});
    }
    server_fill();
    fill_polygon(canvas_, ip_, i % 3 == 0 ? stippled : paint_, FillRule::even_odd, scratch_);
    diff += differing();
  }
  XFreePixmap(display_, stipple);
  EXPECT_EQ(diff, 0);
}

TEST_F(RasterVsServerTest, ThinLinesAndDashesMatchExactly) {
  long diff = 0;
  const char dash_list[4] = {6, 6, 3, 6};
  for (int i = 0; i < 300; ++i) {
    random_points(pick(2, 5), -20, kW + 20, -20, kH + 20);
    const bool dashed = i % 3 == 0;
    begin(0, dashed ? LineOnOffDash : LineSolid, CapButt, JoinBevel);
    if (dashed) XSetDashes(display_, gc_, 0, dash_list, 4);
    server_lines();
    thin_polyline(canvas_, ip_, paint_, dashed ? Dashes{{6, 6, 3, 6}} : Dashes{});
    diff += differing();
  }
  EXPECT_EQ(diff, 0);
}

TEST_F(RasterVsServerTest, WideLinesMatchNearlyExactly) {
  struct Style {
    const char* name;
    int cap, join;
    Cap our_cap;
    Join our_join;
  };
  const Style styles[] = {{"wide, butt, bevel", CapButt, JoinBevel, Cap::butt, Join::bevel},
                          {"wide, projecting, bevel", CapProjecting, JoinBevel, Cap::projecting, Join::bevel},
                          {"wide, butt, miter", CapButt, JoinMiter, Cap::butt, Join::miter}};
  for (const auto& st : styles) {
    long diff = 0, painted = 0;
    for (int i = 0; i < 150; ++i) {
      random_points(pick(2, 4), 0, kW, 0, kH);
      const int width = 1 + i % 5;
      begin(width, LineSolid, st.cap, st.join);
      server_lines();
      wide_polyline(canvas_, ip_, width, paint_, Dashes{}, st.our_join, st.our_cap, scratch_);
      diff += differing();
      for (auto v : canvas_.pixels()) painted += v != 0;
    }
    // An odd pixel at the tip of a sharp join at most.
    EXPECT_LT(static_cast<double>(diff), 1e-3 * static_cast<double>(painted)) << st.name;
  }
}

using Drawing = std::function<void()>;

Gpt at(float px, float py) { return {px / 511.0f, 1.0f - py / 511.0f}; }

void palette() {
  for (int i = 0; i < 20; ++i) {
    const float t = static_cast<float>(i) / 19.0f;
    Gcolr_rep c{t, std::fmod(t * 3.0f, 1.0f), 1.0f - t};
    gset_colr_rep(1, i, &c);
  }
  Gcolr_rep shade{0.7f, 0.35f, 0.1f};  // between two 8-bit levels
  gset_colr_rep(1, 20, &shade);
}

// Opens a window workstation on the device in use, draws and captures.
void draw_on(const Drawing& drawing, zor::test::Capture* out) {
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
  palette();
  gset_linewidth(0.0f);
  drawing();
  EXPECT_EQ(current_device()->capture(out->img), 1);
  zor::test::close_window_ws(false);
}

// Share of identical pixels between the window and the memory picture.
double identical_share(const Drawing& drawing, const char* name) {
  zor::test::Capture window, memory;
  unregister_device(GWS_WINDOW);
  draw_on(drawing, &window);
  register_device(GWS_WINDOW, "memory", make_memory_device);
  draw_on(drawing, &memory);
  unregister_device(GWS_WINDOW);
  const IMG_report &w = window.img, &m = memory.img;
  if (w.data == nullptr || m.data == nullptr || w.bits_pixel != 32 || m.bits_pixel != 32 || w.width != m.width ||
      w.height != m.height) {
    ADD_FAILURE() << name << ": pictures differ in layout";
    return 0.0;
  }
  long same = 0, painted = 0;
  for (int y = 0; y < w.height; ++y)
    for (int x = 0; x < w.width; ++x) {
      same += window.pixel(x, y) == memory.pixel(x, y);
      painted += window.pixel(x, y) != 0 || memory.pixel(x, y) != 0;
    }
  const double share = static_cast<double>(same) / (w.width * w.height);
  EXPECT_GT(painted, 1000) << name << ": the drawing drew nothing";
  return share;
}

std::mt19937& rng() {
  static std::mt19937 r;
  return r;
}
float uniform(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(rng()); }

// Each drawing, with the share of pixels the memory raster must draw as
// the window does.
struct Case {
  const char* name;
  double min_share;
  Drawing drawing;
};

const Case kCases[] = {
    {"Dashes", 0.998, [] {
      rng().seed(13);
      for (int i = 0; i < 120; ++i) {
        std::vector<Gpt> p;
        for (int k = 0; k < 2 + i % 3; ++k) p.push_back(at(uniform(0, 511), uniform(0, 511)));
        gset_linetype(2 + i % 4);
        gset_linewidth(i % 3 == 0 ? 2.0f : 0.0f);
        gset_line_colr_ind(1 + i % 20);
        gpolyline(static_cast<int>(p.size()), p.data());
      }
    }},
    {"Stipples", 0.999, [] {
      gset_fill_int_style(GPAT);
      for (int i = 0; i < 20; ++i) {
        const float x = 10.0f + (i % 5) * 100.0f, y = 10.0f + (i / 5) * 120.0f;
        const Gpt p[5] = {at(x, y), at(x + 90, y + 7), at(x + 80, y + 100), at(x + 3, y + 90), at(x, y)};
        gset_fill_style_ind(i);
        gset_fill_colr_ind(1 + i);
        gfill_area(5, p);
      }
    }},
    {"Markers", 0.999, [] {
      for (int type = 1; type <= 9; ++type)
        for (int k = 0; k < 6; ++k) {
          gset_marker_type(type);
          gset_marker_size(0.5f + k * 0.6f);
          gset_marker_width(static_cast<float>(k % 3));
          gset_marker_colr_ind(1 + (type + k) % 20);
          const Gpt p = at(30.0f + k * 80.0f, 30.0f + type * 50.0f);
          gpolymarker(1, &p);
        }
    }},
};

class MemoryVsXvfbTest : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    if (find_device(GWS_WINDOW) == nullptr) GTEST_SKIP() << "needs the X11 device";
  }
};

TEST_P(MemoryVsXvfbTest, DrawsAsTheWindowDoes) {
  EXPECT_GE(identical_share(GetParam().drawing, GetParam().name), GetParam().min_share);
}

INSTANTIATE_TEST_SUITE_P(Drawings, MemoryVsXvfbTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
