// The memory device's scan converter against the X server: the same random
// shapes drawn with Xlib and into a canvas, compared pixel for pixel. (Wide
// dashes are compared through the devices in mem_xvfb_test.)
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>
#include <random>
#include <vector>

#include "../common/xvfb.h"
#include "raster_canvas.h"

using namespace zor::gks::raster;

namespace {

constexpr int kW = 200;
constexpr int kH = 160;
constexpr unsigned long kWhite = 0xFFFFFF;

class RasterVsServerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    server_ = new zor::test::Xvfb;
    if (server_->start()) display_ = XOpenDisplay(server_->display().c_str());
  }
  static void TearDownTestSuite() {
    if (display_ != nullptr) XCloseDisplay(display_);
    display_ = nullptr;
    delete server_;
    server_ = nullptr;
  }
  void SetUp() override {
    if (display_ == nullptr) GTEST_SKIP() << "needs an Xvfb server";
    pixmap_ = XCreatePixmap(display_, DefaultRootWindow(display_), kW, kH, 24);
    gc_ = XCreateGC(display_, pixmap_, 0, nullptr);
    paint_.pixel = kWhite;
    paint_.clip = {0, 0, kW - 1, kH - 1};
  }
  void TearDown() override {
    if (display_ == nullptr) return;
    XFreeGC(display_, gc_);
    XFreePixmap(display_, pixmap_);
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
  // Random points, as XPoints and canvas points.
  void random_points(int n, int lo_x, int hi_x, int lo_y, int hi_y) {
    xp_.resize(static_cast<std::size_t>(n));
    ip_.resize(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) {
      ip_[k] = {std::uniform_int_distribution<int>(lo_x, hi_x)(rng_),
                std::uniform_int_distribution<int>(lo_y, hi_y)(rng_)};
      xp_[k] = {static_cast<short>(ip_[k].x), static_cast<short>(ip_[k].y)};
    }
  }
  int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
  void report(const char* what, long diff, long cases) {
    std::printf("%-28s %ld differing pixels in %ld pictures of %d\n", what, diff, cases, kW * kH);
  }

  static zor::test::Xvfb* server_;
  static Display* display_;
  Pixmap pixmap_ = 0;
  GC gc_ = nullptr;
  Canvas canvas_;
  Paint paint_;
  PolygonScratch scratch_;
  std::mt19937 rng_{7};
  std::vector<XPoint> xp_;
  std::vector<IntPoint> ip_;
};

zor::test::Xvfb* RasterVsServerTest::server_ = nullptr;
Display* RasterVsServerTest::display_ = nullptr;

TEST_F(RasterVsServerTest, PolygonsMatchExactly) {
  long diff = 0;
  for (int i = 0; i < 300; ++i) {
    // Half of them small cells, half large self-crossing outlines off the edges.
    if (i % 2) random_points(4, 90, 98, 70, 78);
    else random_points(pick(3, 8), -10, kW + 10, -10, kH + 10);
    begin(0, LineSolid, CapButt, JoinBevel);
    XFillPolygon(display_, pixmap_, gc_, xp_.data(), static_cast<int>(xp_.size()), Nonconvex,
                 CoordModeOrigin);
    fill_polygon(canvas_, ip_, paint_, FillRule::even_odd, scratch_);
    diff += differing();
  }
  report("polygons (even-odd)", diff, 300);
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
    XDrawLines(display_, pixmap_, gc_, xp_.data(), static_cast<int>(xp_.size()), CoordModeOrigin);
    thin_polyline(canvas_, ip_, paint_, dashed ? Dashes{{6, 6, 3, 6}} : Dashes{});
    diff += differing();
  }
  report("zero-width lines", diff, 300);
  EXPECT_EQ(diff, 0);
}

TEST_F(RasterVsServerTest, StippledFillsMatchExactly) {
  static const std::uint8_t bits[8] = {0x24, 0x11, 0x82, 0x48, 0x42, 0x11, 0x28, 0x84};
  Pixmap stipple = XCreateBitmapFromData(display_, pixmap_, reinterpret_cast<const char*>(bits), 8, 8);
  Paint stippled = paint_;
  stippled.stipple = bits;
  long diff = 0;
  for (int i = 0; i < 100; ++i) {
    random_points(pick(3, 6), 0, kW, 0, kH);
    begin(0, LineSolid, CapButt, JoinBevel);
    XSetStipple(display_, gc_, stipple);
    XSetFillStyle(display_, gc_, FillStippled);
    XFillPolygon(display_, pixmap_, gc_, xp_.data(), static_cast<int>(xp_.size()), Nonconvex,
                 CoordModeOrigin);
    XDrawLines(display_, pixmap_, gc_, xp_.data(), static_cast<int>(xp_.size()), CoordModeOrigin);
    fill_polygon(canvas_, ip_, stippled, FillRule::even_odd, scratch_);
    thin_polyline(canvas_, ip_, stippled, Dashes{});
    diff += differing();
  }
  XFreePixmap(display_, stipple);
  report("stippled fills", diff, 100);
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
      XDrawLines(display_, pixmap_, gc_, xp_.data(), static_cast<int>(xp_.size()), CoordModeOrigin);
      wide_polyline(canvas_, ip_, width, paint_, Dashes{}, st.our_join, st.our_cap, scratch_);
      diff += differing();
      for (auto v : canvas_.pixels()) painted += v != 0;
    }
    report(st.name, diff, 150);
    // An odd pixel at the tip of a sharp join at most.
    EXPECT_LT(static_cast<double>(diff), 1e-3 * static_cast<double>(painted)) << st.name;
  }
}

}  // namespace
