// Pixel-replication zoom on the X11 window under Xvfb and the memory raster;
// unzooming gives the picture back.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "../common/capture.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "gks_zoom.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"

using namespace zor::gks;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

using Picture = zor::test::Capture;

class Zoom : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    gset_win_size(200, 160);
    zor::test::open_window_ws(GetParam());
    dev = current_device();
    // About one world unit a pixel.
    const Glim win{0.0f, 199.0f, 0.0f, 159.0f};
    const Glim ws{0.0f, 1.0f, 0.0f, 0.8f};
    gset_ws_win(1, &ws);
    const Glim vp{0.0f, 1.0f, 0.0f, 0.8f};
    gset_vp(1, &vp);
    gset_win(1, &win);
    gsel_norm_tran(1);
  }
  void TearDown() override {
    greset_zoom();
    zor::test::close_window_ws(GetParam());
  }
  static void box(float x0, float y0, float x1, float y1, int ind) { zor::test::box(x0, y0, x1, y1, ind); }
  void grab(Picture* pic) {
    ASSERT_TRUE(dev->set_draw_target(0));
    ASSERT_EQ(dev->capture(pic->img), 1);
  }
  // A picture with detail at single-pixel scale: stripes and boxes.
  void draw_picture() {
    box(20, 20, 90, 70, 2);
    box(100, 30, 180, 120, 3);
    for (int x = 30; x < 170; x += 3) {
      const Gpt line[] = {{static_cast<float>(x), 80}, {static_cast<float>(x), 150}};
      gset_line_colr_ind(4 + (x / 3) % 2);
      gpolyline(2, line);
    }
  }
  Device* dev = nullptr;
};

TEST_P(Zoom, PixelsAreReplicatedAroundThePointAndUnzoomRestores) {
  draw_picture();
  Picture before;
  grab(&before);
  const int w = before.img.width, h = before.img.height;
  ASSERT_EQ(before.rgb(55, h - 1 - 45), 0xff0000u);  // the picture is there
  ASSERT_EQ(before.rgb(140, h - 1 - 75), 0x00ff00u);
  ASSERT_EQ(gget_zoom(), 1);
  EXPECT_EQ(gzoom(GFRAME_CURRENT, 60, 50, 1, 1), 0);  // flag: only when zoomed

  ASSERT_EQ(gzoom(GFRAME_CURRENT, 60, 50, -2, 0), 1);
  EXPECT_EQ(gget_zoom(), 2);
  Picture z2;
  grab(&z2);
  // The region of half the size centred on (60, 50) fills the window.
  const int left = 60 - w / 4, top = 50 - h / 4;
  EXPECT_FLOAT_EQ(xZ_p(0), static_cast<float>(left));
  EXPECT_FLOAT_EQ(yZ_p(10), static_cast<float>(top + 5));
  int wrong = 0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) wrong += z2.rgb(x, y) != before.rgb(left + x / 2, top + y / 2);
  EXPECT_EQ(wrong, 0);

  // Doubled again about the same centre.
  ASSERT_EQ(gzoom(GFRAME_CURRENT, -1, -1, -2, 0), 1);
  EXPECT_EQ(gget_zoom(), 4);
  EXPECT_FLOAT_EQ(xZ_p(0), static_cast<float>(60 - w / 8));

  ASSERT_EQ(gunzoom(), 1);
  EXPECT_EQ(gget_zoom(), 1);  // nothing left to undo
  EXPECT_EQ(gunzoom(), 0);
  Picture after;
  grab(&after);
  EXPECT_TRUE(after.same_as(before));

  // Near a corner the region is held inside the picture.
  ASSERT_EQ(gzoom(GFRAME_CURRENT, w - 5, 5, 2, 0), 1);
  EXPECT_FLOAT_EQ(xZ_p(0), static_cast<float>(w / 2));
  EXPECT_FLOAT_EQ(yZ_p(0), 0.0f);
  Picture corner;
  grab(&corner);
  EXPECT_EQ(corner.rgb(w - 1, 0), before.rgb(w - 1, 0));
  EXPECT_EQ(corner.rgb(0, h - 1), before.rgb(w / 2, h / 2 - 1));
}

TEST_P(Zoom, ZoomedFramesAreShownMagnified) {
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(gcreate_frame(-1), i);
    ASSERT_EQ(gselect_frame(i), 1);
    box(0, 0, 199, 159, 2 + i);
    box(90, 70, 109, 89, 4 + i);  // a 20 x 20 centre square
  }
  ASSERT_EQ(gselect_frame(GFRAME_BASE), 1);
  ASSERT_EQ(gdisplay_frame(0), 1);
  ASSERT_EQ(gzoom(0, 100, 80, 4, 0), 1);
  ASSERT_EQ(gdisplay_frame(1), 1);  // the next frame at the same zoom
  Picture pic;
  grab(&pic);
  // The centre square now covers 80 x 80 pixels around the middle.
  EXPECT_EQ(pic.rgb(100, 80), 0xffff00u);
  EXPECT_EQ(pic.rgb(65, 45), 0xffff00u);
  EXPECT_EQ(pic.rgb(50, 30), 0x00ff00u);
  ASSERT_EQ(gunzoom(), 1);  // no saved picture: the current frame again
  Picture back;
  grab(&back);
  EXPECT_EQ(back.rgb(50, 30), 0x00ff00u);
  EXPECT_EQ(back.rgb(85, 65), 0x00ff00u);
  EXPECT_EQ(back.rgb(95, 75), 0xffff00u);
}

INSTANTIATE_TEST_SUITE_P(WindowAndMemory, Zoom, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "memory" : "window"; });

// Replication by itself, for every pixel size a server may use.
TEST(ReplicatePixels, EveryPixelSize) {
  for (int bits : {1, 4, 8, 16, 24, 32}) {
    SCOPED_TRACE(bits);
    const int w = 7, h = 5, line = ((w * bits + 31) / 32) * 4;
    std::vector<unsigned char> data(static_cast<std::size_t>(line * h));
    // Pixel value of (x, y), within the pixel size.
    const unsigned long mask = bits == 32 ? 0xffffffffUL : (1UL << bits) - 1;
    auto value = [&](int x, int y) { return (static_cast<unsigned long>(x * 37 + y * 101) * 2654435761UL >> 7) & mask; };
    auto put = [&](std::vector<unsigned char>& d, int ln, int x, int y, unsigned long v) {
      unsigned char* row = d.data() + y * ln;
      if (bits == 1) row[x / 8] = static_cast<unsigned char>(row[x / 8] | (v << (x % 8)));
      else if (bits == 4) row[x / 2] = static_cast<unsigned char>(row[x / 2] | (x % 2 == 0 ? v << 4 : v));
      else
        for (int b = 0; b < bits / 8; ++b) row[x * (bits / 8) + b] = static_cast<unsigned char>(v >> (8 * b));
    };
    auto get = [&](const unsigned char* d, int ln, int x, int y) -> unsigned long {
      const unsigned char* row = d + y * ln;
      if (bits == 1) return (row[x / 8] >> (x % 8)) & 1U;
      if (bits == 4) return x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 0x0FU;
      unsigned long v = 0;
      for (int b = 0; b < bits / 8; ++b) v |= static_cast<unsigned long>(row[x * (bits / 8) + b]) << (8 * b);
      return v;
    };
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) put(data, line, x, y, value(x, y));
    IMG_report src;
    src.width = w, src.height = h, src.bits_pixel = bits, src.bytes_line = line, src.data = data.data();
    IMG_report out;
    ASSERT_TRUE(replicate_pixels(src, 2, 1, 3, 13, 11, &out));
    ASSERT_EQ(out.width, 13);
    ASSERT_EQ(out.height, 11);
    int wrong = 0;
    for (int y = 0; y < 11; ++y)
      for (int x = 0; x < 13; ++x) {
        const int sx = std::min(2 + x / 3, w - 1), sy = std::min(1 + y / 3, h - 1);
        wrong += get(out.data, out.bytes_line, x, y) != value(sx, sy);
      }
    EXPECT_EQ(wrong, 0);
    std::free(out.data);
  }
  IMG_report odd;
  std::vector<unsigned char> two(8);
  odd.width = odd.height = 1, odd.bits_pixel = 12, odd.bytes_line = 4, odd.data = two.data();
  IMG_report out;
  EXPECT_FALSE(replicate_pixels(odd, 0, 0, 2, 2, 2, &out));
}

}  // namespace
