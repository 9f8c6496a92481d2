// The in-memory raster device through the kernel: fills, stipples, dashes,
// clipping, lines, frames, pixel put, capture layout and the batch fallback.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "../common/capture.h"
#include "../common/files.h"
#include "../common/window_ws.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/img.h"
#include "zor/mess.h"

using namespace zor::gks;

namespace {

constexpr std::uint32_t kRed = 0xFF0000;
constexpr std::uint32_t kGreen = 0x00FF00;
constexpr std::uint32_t kBlue = 0x0000FF;

// A world point for pixel (px, py): the default mapping puts the unit square
// on pixels 0..511 with y upwards.
Gpt at(int px, int py) {
  return {static_cast<float>(px) / 511.0f, 1.0f - static_cast<float>(py) / 511.0f};
}

// The painted (non-black) pixels inside a box.
struct Capture : zor::test::Capture {
  std::set<std::pair<int, int>> painted(int x0, int y0, int x1, int y1) const {
    std::set<std::pair<int, int>> s;
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x)
        if (pixel(x, y) != 0) s.insert({x, y});
    return s;
  }
};

class MemoryDeviceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::open_window_ws(true);  // red, green and blue at 2 to 4
    dev = current_device();
    gset_linewidth(0.0f);
  }
  void TearDown() override { zor::test::close_window_ws(true); }
  void capture(Capture& c) { ASSERT_EQ(dev->capture(c.img), 1); }
  void fill(std::vector<Gpt> pts, int colour = 2) {
    gset_fill_colr_ind(colour);
    gfill_area(static_cast<int>(pts.size()), pts.data());
  }
  void line(std::vector<Gpt> pts, int colour = 2) {
    gset_line_colr_ind(colour);
    gpolyline(static_cast<int>(pts.size()), pts.data());
  }
  Device* dev = nullptr;
};

TEST_F(MemoryDeviceTest, CaptureHasTheLayoutOfADepth24Screen) {
  const Gcolr_rep grey{0.5f, 0.25f, 1.0f};
  gset_colr_rep(1, 9, &grey);
  // Pixels are 0xRRGGBB; the background black.
  EXPECT_TRUE(dev->headless());
  EXPECT_EQ(std::tuple(gget_color_ind(2), gget_color_ind(-1), gget_color_ind(9)), std::tuple(0xFF0000, 0, 0x7F3FFF));
  fill({at(0, 0), at(3, 0), at(3, 3), at(0, 3)}, 9);

  Capture c;
  capture(c);
  const IMG_report& i = c.img;
  EXPECT_EQ(std::tuple(i.width, i.height, i.depth, i.bits_pixel, i.bytes_line, i.byte_order, i.color_type, i.num_colors),
            std::tuple(640, 512, 24, 32, 640 * 4, 0, 0, 0));
  EXPECT_EQ(std::tuple(i.red, i.grn, i.blu), std::tuple(0xFF0000u, 0x00FF00u, 0x0000FFu));
  EXPECT_STREQ(c.img.info, "xwdump");
  // Least significant byte first: blue, green, red, pad.
  EXPECT_EQ(std::tuple(c.img.data[0], c.img.data[1], c.img.data[2], c.img.data[3]), std::tuple(0xFF, 0x3F, 0x7F, 0));
  EXPECT_EQ(c.pixel(4, 4), 0u);

  gset_win_title("Reflectivity KTLX");
  Capture titled;
  capture(titled);
  EXPECT_STREQ(titled.img.info, "Reflectivity KTLX");
}

TEST_F(MemoryDeviceTest, FillCoversInteriorAndOutline) {
  // The interior leaves the right and bottom edges to the outline, which the
  // fill context draws too: 11 x 11 pixels in all.
  fill({at(10, 10), at(20, 10), at(20, 20), at(10, 20), at(10, 10)});
  // Open outline: the closing left edge belongs to the interior anyway.
  fill({at(40, 10), at(50, 10), at(50, 20), at(40, 20)}, 3);
  Capture c;
  capture(c);
  EXPECT_EQ(c.painted(0, 0, 30, 30).size(), 121u);
  EXPECT_EQ(std::tuple(c.pixel(10, 10), c.pixel(20, 20), c.pixel(21, 20)), std::tuple(kRed, kRed, 0u));
  EXPECT_EQ(c.painted(35, 0, 60, 30).size(), 121u);
  EXPECT_EQ(c.pixel(40, 20), kGreen);
}

TEST_F(MemoryDeviceTest, StipplesAreAnchoredAtTheDrawableOrigin) {
  gset_fill_int_style(GPAT);
  gset_fill_style_ind(3);
  fill({at(101, 203), at(141, 203), at(141, 243), at(101, 243)}, 4);
  gset_fill_int_style(GHOLLOW);  // keeps the context as it was: still stippled
  fill({at(300, 300), at(340, 300), at(340, 340), at(300, 340)}, 4);
  Capture c;
  capture(c);
  int wrong = 0;
  for (int y = 204; y < 243; ++y)
    for (int x = 102; x < 141; ++x) wrong += c.pixel(x, y) != (gfill_test(3, x, y) ? kBlue : 0u);
  for (int x = 302; x < 338; ++x) wrong += (c.pixel(x, 320) != 0) != (gfill_test(3, x, 320) != 0);
  EXPECT_EQ(wrong, 0);
}

TEST_F(MemoryDeviceTest, WideLinesAreButtCappedRectangles) {
  gset_linewidth(1.0f);  // up to 1: a thin line, last point included
  line({at(10, 50), at(20, 50)});
  gset_linewidth(3.0f);
  line({at(10, 60), at(20, 60)});
  gset_linewidth(2.0f);
  line({at(50, 10), at(50, 20)});
  // As the server draws it: a closed 10 x 10 square of width 3 with mitred
  // joins, the closing corner included, is a 13 x 13 frame of 120 pixels.
  gset_linewidth(3.0f);
  line({at(110, 110), at(120, 110), at(120, 120), at(110, 120), at(110, 110)});
  Capture c;
  capture(c);
  EXPECT_EQ(c.painted(0, 45, 30, 55).size(), 11u);
  // Width 3: rows 59..61, columns 10..19; the last point is not part of a
  // butt-capped line.
  EXPECT_EQ(c.painted(0, 56, 30, 66).size(), 30u);
  EXPECT_EQ(std::tuple(c.pixel(10, 59), c.pixel(19, 61), c.pixel(20, 60)), std::tuple(kRed, kRed, 0u));
  // Width 2, vertical: columns 49 and 50.
  EXPECT_EQ(c.painted(45, 5, 55, 25).size(), 20u);
  EXPECT_EQ(std::tuple(c.pixel(49, 10), c.pixel(51, 10)), std::tuple(kRed, 0u));
  EXPECT_EQ(c.painted(100, 100, 130, 130).size(), 120u);
  EXPECT_EQ(std::tuple(c.pixel(109, 109), c.pixel(121, 121), c.pixel(112, 112)), std::tuple(kRed, kRed, 0u));
}

TEST_F(MemoryDeviceTest, DashListsRunOnAcrossVertices) {
  gset_linetype(2);  // 6 on, 6 off
  line({at(0, 100), at(100, 100)});
  gset_linetype(5);  // 2 on, 2 off, over a corner
  line({at(0, 200), at(5, 200), at(5, 210)});
  gset_linetype(7);  // undefined: keeps the list last installed (type 5)
  line({at(0, 300), at(20, 300)});
  Capture c;
  capture(c);
  int wrong = 0;
  for (int x = 0; x <= 100; ++x) wrong += (c.pixel(x, 100) != 0) != (x % 12 < 6);
  // Along the path: x 0..4 at y 200 (pixels 0..4), then y 200..210 at x 5.
  for (int x = 0; x < 5; ++x) wrong += (c.pixel(x, 200) != 0) != (x % 4 < 2);
  for (int y = 200; y <= 210; ++y) wrong += (c.pixel(5, y) != 0) != ((5 + y - 200) % 4 < 2);
  for (int x = 0; x <= 20; ++x) wrong += (c.pixel(x, 300) != 0) != (x % 4 < 2);
  EXPECT_EQ(wrong, 0);
}

TEST_F(MemoryDeviceTest, DrawingStaysInsideTheViewport) {
  const Glim vp{0.25f, 0.5f, 0.25f, 0.5f};
  gset_vp(1, &vp);
  gset_win(1, &vp);
  gsel_norm_tran(1);
  gset_linewidth(5.0f);
  // A wide line along the clip edge and a fill larger than the viewport.
  fill({at(0, 0), at(511, 0), at(511, 511), at(0, 511)});
  line({at(0, 255), at(511, 255)}, 3);
  Capture c;
  capture(c);
  Gxrect r{};
  gget_xviewport(&r);
  ASSERT_GT(r.width, 100);
  int inside = 0;
  for (int y = 0; y < 512; ++y)
    for (int x = 0; x < 640; ++x) {
      if (c.pixel(x, y) == 0) continue;
      EXPECT_TRUE(x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height) << x << "," << y;
      ++inside;
    }
  // Every pixel of the viewport is painted, none outside it.
  EXPECT_EQ(inside, r.width * r.height);
}

// Pictures drawn in frames are checked through the kernel on this device in
// window_frames_test; here a new pixmap's background and unknown pixmaps.
TEST_F(MemoryDeviceTest, FramePixmapsStartEmptyAndUnknownOnesAreRefused) {
  fill({at(0, 0), at(9, 0), at(9, 9), at(0, 9)});
  const unsigned long frame = dev->create_pixmap();
  ASSERT_NE(frame, 0u);
  ASSERT_TRUE(dev->set_draw_target(frame));
  EXPECT_EQ(dev->draw_target(), frame);
  Capture empty;
  capture(empty);
  EXPECT_EQ(empty.painted(0, 0, 639, 511).size(), 0u);  // cleared to the background
  EXPECT_FALSE(dev->set_draw_target(frame + 100));
  EXPECT_FALSE(dev->copy_pixmap(frame + 100, 0));
  dev->free_pixmap(frame);
  EXPECT_EQ(dev->draw_target(), 0u);
  EXPECT_FALSE(dev->set_draw_target(frame));
}

// The image dumps write what the device captures.
TEST_F(MemoryDeviceTest, DumpsWriteTheCapturedPicture) {
  gset_fill_colr_ind(2);
  const Gpt box[] = {{0.0f, 0.0f}, {0.5f, 0.0f}, {0.5f, 0.5f}, {0.0f, 0.5f}};
  gfill_area(4, box);
  GIF_transparent(1);
  ASSERT_EQ(GIF_dump(zor::test::scratch("d.gif").c_str()), 1);
  GIF_transparent(0);
  IMG_set_dump_labels("Reflectivity", "KTLX", "12:00 1 May 1999");
  ASSERT_EQ(IMG_dump(zor::test::scratch("d.img").c_str()), 1);
  IMG_report back;
  ASSERT_EQ(IMG_read(zor::test::scratch("d.gif").c_str(), &back, 0), 1);
  EXPECT_EQ(std::tuple(back.width, back.num_colors), std::tuple(640, 2));  // black and red
  // The transparent index is the black background's entry.
  EXPECT_EQ(back.trans_color, back.colors[0].red == 0.0f ? 0 : 1);
  IMG_free(&back);
  ASSERT_EQ(IMG_read(zor::test::scratch("d.img").c_str(), &back, 0), 1);
  EXPECT_STREQ(back.info, "Reflectivity [KTLX]");  // the labels
  IMG_free(&back);
  EXPECT_EQ(GIF_dump("/nonexistent/dir/x.gif"), 0);
}

class FallbackTest : public ::testing::Test {
 protected:
  void SetUp() override { gopen_gks(nullptr, 0); }
  void TearDown() override {
    FLAG_set(19, 0);
    zor::test::close_window_ws(false);
  }
  // A display that cannot exist: the window device cannot connect.
  zor::test::EnvVar display_{"DISPLAY", ":4097"};
};

// Batch runs draw in memory without a display; interactive runs still fail.
TEST_F(FallbackTest, OnlyBatchRunsDrawInMemoryWithoutADisplay) {
  for (int batch : {0, 1}) {
    FLAG_set(19, batch);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int rc = gopen_ws(1, "", GWS_WINDOW);
    const std::string out = testing::internal::GetCapturedStdout(), err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(out.find("Drawing without a display\n") != std::string::npos, batch == 1) << out;
    EXPECT_EQ(rc, batch ? 0 : -1);
    if (rc != 0) continue;
    EXPECT_TRUE(current_device()->headless() && gtype_is_WIN());
    // The failed connection is not reported as an error on this path.
    EXPECT_EQ(err.find("unable to connect to display"), std::string::npos) << err;
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    EXPECT_EQ(std::tuple(w, h), std::tuple(640, 512));
    gclose_ws(1);
  }
}

}  // namespace
