// The window on an 8-bit PseudoColor screen: colormap cells, captures with
// the colour table, cells recoloured in place.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "../common/capture.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "dev_x11.h"
#include "gks_kernel.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"

using namespace zor::gks;
using zor::test::near;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment(8);

constexpr unsigned kRed = 0xFF0000, kGreen = 0x00FF00, kViolet = 0x8040BF, kYellow = 0xFFFF00;

// A capture of the selected picture, freed with the record's own release.
struct Capture {
  IMG_report img;
  Capture() { EXPECT_EQ(gget_image(&img), 1); }
  ~Capture() { IMG_free(&img); }
  int pixel(int x, int y) const { return img.data[y * img.bytes_line + x]; }
  unsigned color(int x, int y) const {
    const IMG_color& c = img.colors[pixel(x, y)];
    auto b = [](float v) { return static_cast<unsigned>(std::lround(v * 255.0f)); };
    return b(c.red) << 16 | b(c.grn) << 8 | b(c.blu);
  }
};

class PseudoColorWindow : public ::testing::Test {
 protected:
  void SetUp() override { open(); }
  void TearDown() override { zor::test::close_window_ws(false); }
  void open() {
    ASSERT_EQ(gopen_gks(nullptr, 0), 0);
    ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
    dev = x11::window_device();
    ASSERT_NE(dev, nullptr);
    define(2, kRed);
    define(3, kGreen);
    define(5, kViolet);
    const DeviceSize sz = dev->size();
    side = std::min(sz.width, sz.height) - 1;
    bottom = sz.height - 1;
  }
  static void define(int ind, unsigned rgb) {
    const Gcolr_rep rep{(rgb >> 16) / 255.0f, (rgb >> 8 & 0xFF) / 255.0f, (rgb & 0xFF) / 255.0f};
    ASSERT_EQ(gset_colr_rep(1, ind, &rep), 0);
  }
  unsigned colour_at(const Capture& c, float x, float y) const { return c.color(px(x), py(y)); }
  int cell_at(const Capture& c, float x, float y) const { return c.pixel(px(x), py(y)); }
  int px(float x) const { return static_cast<int>(std::lround(x * static_cast<float>(side))); }
  int py(float y) const { return bottom - static_cast<int>(std::lround(y * static_cast<float>(side))); }
  // The scene: a red and a violet square, a green line above them.
  static void draw_scene() {
    zor::test::box(0.1f, 0.1f, 0.4f, 0.4f, 2);
    zor::test::box(0.6f, 0.1f, 0.9f, 0.4f, 5);
    gset_line_colr_ind(3);
    gset_linewidth(3);
    const Gpt line[] = {{0.1f, 0.7f}, {0.9f, 0.7f}};
    gpolyline(2, line);
    gupdate_window();
  }

  x11::X11Device* dev = nullptr;
  int side = 0;
  int bottom = 0;
};

TEST_F(PseudoColorWindow, CaptureCarriesTheColormapAndTheDrawnColours) {
  Visual* visual = DefaultVisual(dev->display(), DefaultScreen(dev->display()));
  ASSERT_EQ(visual->c_class, PseudoColor);
  draw_scene();
  Capture cap;
  EXPECT_EQ(std::tuple(cap.img.color_type, cap.img.num_colors, cap.img.depth, cap.img.bits_pixel),
            std::tuple(1, visual->map_entries, 8, 8));
  ASSERT_NE(cap.img.colors, nullptr);
  EXPECT_EQ(colour_at(cap, 0.25f, 0.25f), kRed);  // a channel at full strength is exact
  EXPECT_TRUE(near(colour_at(cap, 0.75f, 0.25f), kViolet, 1));
  EXPECT_EQ(colour_at(cap, 0.5f, 0.7f), kGreen);
  EXPECT_EQ(colour_at(cap, 0.5f, 0.9f), 0u);  // background
  // Each index has its own cell, and the pixels drawn are those cells.
  EXPECT_EQ(cell_at(cap, 0.25f, 0.25f), gget_color_ind(2));
  EXPECT_EQ(cell_at(cap, 0.75f, 0.25f), gget_color_ind(5));
  EXPECT_NE(gget_color_ind(2), gget_color_ind(5));
}

TEST_F(PseudoColorWindow, FramesShareTheCellsAndFollowARecolouring) {
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(gcreate_frame(-1), i);
    ASSERT_EQ(gselect_frame(i), 1);
    zor::test::box(0.0f, 0.0f, 1.0f, 1.0f, i == 0 ? 2 : 5);
  }
  define(5, kYellow);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(gselect_frame(i), 1);
    EXPECT_EQ(colour_at(Capture(), 0.5f, 0.5f), i == 0 ? kRed : kYellow) << "frame " << i;
  }
  ASSERT_EQ(gselect_frame(GFRAME_BASE), 1);
  gdelete_all_frames();
}

TEST_F(PseudoColorWindow, AnIndexedImageOverlaidTakesCellsForItsColours) {
  zor::test::box(0.0f, 0.0f, 1.0f, 1.0f, 2);
  IMG_report im;
  IMG_init(&im);
  im.width = 4, im.height = 2, im.depth = 8, im.bits_pixel = 8, im.bytes_line = 4;
  im.color_type = 1, im.num_colors = 3;
  const IMG_color colours[3] = {{0, 0, 0}, {1, 0.5f, 0}, {0, 0.5f, 1}};  // black, the background: see-through
  const unsigned char pixels[8] = {1, 2, 0, 1, 2, 1, 2, 0};
  im.colors = static_cast<IMG_color*>(std::memcpy(std::malloc(sizeof colours), colours, sizeof colours));
  im.data = static_cast<unsigned char*>(std::memcpy(std::malloc(sizeof pixels), pixels, sizeof pixels));
  ASSERT_EQ(goverlay_image(&im, nullptr, 5, 7), 1);
  IMG_free(&im);
  Gxrect view{};
  gget_xviewport(&view);
  Capture cap;
  constexpr unsigned orange = 0xFF8000, sky = 0x0080FF;
  const unsigned want[2][4] = {{orange, sky, kRed, orange}, {sky, orange, sky, kRed}};
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 4; ++c) EXPECT_TRUE(near(cap.color(view.x + 5 + c, view.y + 7 + r), want[r][c], 1)) << r << c;
}

TEST_F(PseudoColorWindow, RedefiningAnIndexRecoloursInPlaceOrTakesANewSharedCell) {
  for (int rw : {1, 0}) {
    SCOPED_TRACE(rw);
    zor::test::close_window_ws(false);
    gset_rw_colors(rw);
    open();
    ASSERT_EQ(gget_rw_colors(), rw);
    draw_scene();
    const int cell = gget_color_ind(5);
    define(5, kYellow);
    zor::test::box(0.6f, 0.5f, 0.9f, 0.6f, 5);
    gupdate_window();
    Capture cap;
    // Writable cells recolour the old pixels; a shared cell is a new one.
    EXPECT_EQ(gget_color_ind(5) == cell, rw == 1);
    EXPECT_TRUE(near(colour_at(cap, 0.75f, 0.25f), rw ? kYellow : kViolet, 1));
    EXPECT_EQ(colour_at(cap, 0.75f, 0.55f), kYellow);
    EXPECT_EQ(colour_at(cap, 0.25f, 0.25f), kRed);
  }
}

TEST_F(PseudoColorWindow, AFullColormapFallsBackToSharedAndNearestCells) {
  // 256 distinct greys and reds cannot all get a cell of their own.
  for (int i = 0; i < 256; ++i) define(i, i % 2 == 0 ? 0x010101u * i : static_cast<unsigned>(i) << 16);
  EXPECT_EQ(gget_rw_colors(), 0);
  for (int i = 0; i < 256; ++i) EXPECT_TRUE(gget_color_ind(i) >= 0 && gget_color_ind(i) <= 255) << i;
  // The last index still draws, in a colour near its own.
  zor::test::box(0.1f, 0.1f, 0.4f, 0.4f, 255);
  Capture cap;
  EXPECT_TRUE(near(colour_at(cap, 0.25f, 0.25f), 0xFF0000, 50));
  EXPECT_EQ(cell_at(cap, 0.25f, 0.25f), gget_color_ind(255));
}

}  // namespace
