// The window on an 8-bit PseudoColor screen: colormap cells, captures with
// the colour table, cells recoloured in place.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <tuple>

#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "dev_x11.h"
#include "gks_kernel.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"

using namespace zor::gks;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment(8);

struct Rgb {
  float r, g, b;
};

constexpr Rgb kRed{1, 0, 0}, kGreen{0, 1, 0}, kViolet{0.5f, 0.25f, 0.75f}, kYellow{1, 1, 0};

// A capture, freed with the record's own release.
struct Capture {
  IMG_report img;
  ~Capture() { IMG_free(&img); }
  int pixel(int x, int y) const { return img.data[y * img.bytes_line + x]; }
  Rgb color(int x, int y) const {
    const IMG_color& c = img.colors[pixel(x, y)];
    return {c.red, c.grn, c.blu};
  }
};

::testing::AssertionResult near(const Rgb& got, const Rgb& want) {
  const float tol = 1.0f / 255.0f + 1e-6f;
  if (std::fabs(got.r - want.r) <= tol && std::fabs(got.g - want.g) <= tol && std::fabs(got.b - want.b) <= tol)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got (" << got.r << " " << got.g << " " << got.b << "), want (" << want.r
                                       << " " << want.g << " " << want.b << ")";
}

class PseudoColorWindow : public ::testing::Test {
 protected:
  void SetUp() override { open(); }
  void TearDown() override { close(); }
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
  void close() {
    gclose_ws(1);
    gclose_gks();
    kernel().reset();
    reset_color_model();
  }
  static void define(int ind, const Rgb& c) {
    const Gcolr_rep rep{c.r, c.g, c.b};
    ASSERT_EQ(gset_colr_rep(1, ind, &rep), 0);
  }
  static void square(float x0, float y0, float x1, float y1, int ind) { zor::test::box(x0, y0, x1, y1, ind); }
  // Device pixel of a world point of the unit square.
  int px(float x) const { return static_cast<int>(std::lround(x * static_cast<float>(side))); }
  int py(float y) const { return bottom - static_cast<int>(std::lround(y * static_cast<float>(side))); }
  // The scene: a red and a violet square, a green line above them.
  void draw_scene() {
    square(0.1f, 0.1f, 0.4f, 0.4f, 2);
    square(0.6f, 0.1f, 0.9f, 0.4f, 5);
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
  ASSERT_EQ(DefaultDepth(dev->display(), DefaultScreen(dev->display())), 8);
  draw_scene();
  Capture cap;
  ASSERT_EQ(gget_image(&cap.img), 1);
  EXPECT_EQ(std::tuple(cap.img.color_type, cap.img.num_colors, cap.img.depth, cap.img.bits_pixel),
            std::tuple(1, visual->map_entries, 8, 8));
  ASSERT_NE(cap.img.colors, nullptr);
  EXPECT_TRUE(near(cap.color(px(0.25f), py(0.25f)), kRed));
  EXPECT_TRUE(near(cap.color(px(0.75f), py(0.25f)), kViolet));
  EXPECT_TRUE(near(cap.color(px(0.5f), py(0.7f)), kGreen));
  EXPECT_TRUE(near(cap.color(px(0.5f), py(0.9f)), Rgb{0, 0, 0}));  // background
  // Each index has its own cell, and the pixels drawn are those cells.
  EXPECT_EQ(cap.pixel(px(0.25f), py(0.25f)), gget_color_ind(2));
  EXPECT_EQ(cap.pixel(px(0.75f), py(0.25f)), gget_color_ind(5));
  EXPECT_NE(gget_color_ind(2), gget_color_ind(5));
  // A channel at full strength is exactly 1 in the table.
  EXPECT_EQ(cap.color(px(0.25f), py(0.25f)).r, 1.0f);
}

TEST_F(PseudoColorWindow, FramesShareTheCellsAndFollowARecolouring) {
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(gcreate_frame(-1), i);
    ASSERT_EQ(gselect_frame(i), 1);
    square(0.0f, 0.0f, 1.0f, 1.0f, i == 0 ? 2 : 5);
  }
  ASSERT_EQ(gselect_frame(GFRAME_BASE), 1);
  define(5, kYellow);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(gselect_frame(i), 1);
    Capture cap;
    ASSERT_EQ(gget_image(&cap.img), 1);
    EXPECT_TRUE(near(cap.color(px(0.5f), py(0.5f)), i == 0 ? kRed : kYellow)) << "frame " << i;
  }
  ASSERT_EQ(gselect_frame(GFRAME_BASE), 1);
  gdelete_all_frames();
}

TEST_F(PseudoColorWindow, AnIndexedImageOverlaidTakesCellsForItsColours) {
  square(0.0f, 0.0f, 1.0f, 1.0f, 2);
  IMG_report im;
  IMG_init(&im);
  im.width = 4, im.height = 2, im.depth = 8, im.bits_pixel = 8, im.bytes_line = 4;
  im.color_type = 1, im.num_colors = 3;
  im.colors = static_cast<IMG_color*>(std::malloc(3 * sizeof(IMG_color)));
  im.data = static_cast<unsigned char*>(std::malloc(8));
  ASSERT_NE(im.colors, nullptr);
  ASSERT_NE(im.data, nullptr);
  im.colors[0] = {0, 0, 0};  // the background: see-through
  im.colors[1] = {1, 0.5f, 0};
  im.colors[2] = {0, 0.5f, 1};
  const unsigned char pixels[8] = {1, 2, 0, 1, 2, 1, 2, 0};
  std::copy(pixels, pixels + 8, im.data);
  ASSERT_EQ(goverlay_image(&im, nullptr, 5, 7), 1);
  IMG_free(&im);
  Gxrect view{};
  gget_xviewport(&view);
  Capture cap;
  ASSERT_EQ(gget_image(&cap.img), 1);
  const Rgb orange{1, 0.5f, 0}, sky{0, 0.5f, 1};
  const Rgb want[2][4] = {{orange, sky, kRed, orange}, {sky, orange, sky, kRed}};
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 4; ++c)
      EXPECT_TRUE(near(cap.color(view.x + 5 + c, view.y + 7 + r), want[r][c])) << r << " " << c;
}

TEST_F(PseudoColorWindow, RedefiningAnIndexRecoloursWhatIsAlreadyDrawn) {
  ASSERT_EQ(gget_rw_colors(), 1);
  draw_scene();
  const int cell = gget_color_ind(5);
  define(5, kYellow);
  // Same cell, new colour: the violet square turns yellow without a redraw,
  // and the red one next to it stays.
  EXPECT_EQ(gget_color_ind(5), cell);
  Capture cap;
  ASSERT_EQ(gget_image(&cap.img), 1);
  EXPECT_EQ(cap.pixel(px(0.75f), py(0.25f)), cell);
  EXPECT_TRUE(near(cap.color(px(0.75f), py(0.25f)), kYellow));
  EXPECT_TRUE(near(cap.color(px(0.25f), py(0.25f)), kRed));
}

TEST_F(PseudoColorWindow, SharedCellsKeepOldPixelsAndDrawTheNewColourAfterwards) {
  close();
  gset_rw_colors(0);
  open();
  ASSERT_EQ(gget_rw_colors(), 0);
  draw_scene();
  const int old_cell = gget_color_ind(5);
  define(5, kYellow);
  EXPECT_NE(gget_color_ind(5), old_cell);
  square(0.6f, 0.5f, 0.9f, 0.6f, 5);
  gupdate_window();
  Capture cap;
  ASSERT_EQ(gget_image(&cap.img), 1);
  EXPECT_TRUE(near(cap.color(px(0.75f), py(0.25f)), kViolet));
  EXPECT_TRUE(near(cap.color(px(0.75f), py(0.55f)), kYellow));
}

TEST_F(PseudoColorWindow, AFullColormapFallsBackToSharedAndNearestCells) {
  // 256 distinct greys and reds cannot all get a cell of their own.
  for (int i = 0; i < 256; ++i) {
    const float v = static_cast<float>(i) / 255.0f;
    define(i, Rgb{v, i % 2 == 0 ? v : 0.0f, i % 2 == 0 ? v : 0.0f});
  }
  EXPECT_EQ(gget_rw_colors(), 0);
  for (int i = 0; i < 256; ++i) {
    EXPECT_GE(gget_color_ind(i), 0) << i;
    EXPECT_LE(gget_color_ind(i), 255) << i;
  }
  // The last index still draws, in a colour near its own.
  square(0.1f, 0.1f, 0.4f, 0.4f, 255);
  Capture cap;
  ASSERT_EQ(gget_image(&cap.img), 1);
  const Rgb got = cap.color(px(0.25f), py(0.25f));
  EXPECT_GT(got.r, 0.8f);
  EXPECT_LT(got.g, 0.2f);
  EXPECT_EQ(cap.pixel(px(0.25f), py(0.25f)), gget_color_ind(255));
}

}  // namespace
