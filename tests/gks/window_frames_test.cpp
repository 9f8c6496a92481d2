// The window workstation on the X11 device under Xvfb and on the memory
// raster: frames, clears, loop stepping, zoom, put pixels and PNG overlays;
// the memory device by itself and against the X server.
#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "../common/capture.h"
#include "../common/files.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "gks_zoom.h"
#include "raster_canvas.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"

// After the test framework: Xlib defines None.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

using namespace zor::gks;
using namespace zor::gks::raster;
using zor::test::box;
using zor::test::kColour;
using zor::test::make_frames;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();
using Picture = zor::test::Capture;

class Window : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    gset_win_size(200, 160);
    zor::test::open_window_ws(GetParam());
  }
  void TearDown() override {
    greset_zoom();
    zor::test::close_window_ws(GetParam());
  }
  // The picture of frame selector `ind`; the drawing target put back.
  static void grab(Picture* pic, int ind = GFRAME_BASE) {
    Device* dev = current_device();
    unsigned long id = 0;
    const unsigned long was = dev->draw_target();
    ASSERT_TRUE(frame_pixmap(ind, &id) && dev->set_draw_target(id));
    ASSERT_EQ(dev->capture(pic->img), 1);
    ASSERT_EQ(pic->img.bits_pixel, 32);
    dev->set_draw_target(was);
  }
  // Colour inside the unit square (left of the middle) of a frame's picture.
  static unsigned shown(int ind = GFRAME_BASE) {
    Picture pic;
    grab(&pic, ind);
    return pic.img.data ? pic.pixel(pic.img.width / 4, pic.img.height / 2) : 0xdeadu;
  }
  // About one world unit a pixel.
  static void pixel_world() {
    const Glim win{0.0f, 199.0f, 0.0f, 159.0f}, ws{0.0f, 1.0f, 0.0f, 0.8f};
    gset_ws_win(1, &ws);
    gset_vp(1, &ws);
    gset_win(1, &win);
    gsel_norm_tran(1);
  }
};

TEST_P(Window, FrameDelaysDisplayAndStepping) {
  make_frames(4);
  EXPECT_EQ(std::tuple(gget_num_images(), gget_frame_delay(0), gget_frame_delay(3)),
            std::tuple(4, 0.5f, 1.0f));  // the last waits longer
  for (int i : {2, 0, 1}) {
    ASSERT_EQ(gdisplay_frame(i), 1);
    EXPECT_EQ(gget_cur_frame(), i);
    EXPECT_EQ(shown(), kColour[i]) << "frame " << i;
  }
  // Forward and backward wrap; rocking (3 forward, 2 backward) turns at the ends.
  const struct {
    int direct, from, next, direct_after;
  } steps[] = {{1, 3, 0, 1}, {0, 0, 3, 0}, {3, 3, 2, 2}, {2, 0, 1, 3}};
  for (const auto& k : steps) {
    gset_loop_direct(k.direct);
    ASSERT_EQ(gdisplay_frame(k.from), 1);
    EXPECT_EQ(ginc_frame(0), k.next) << k.direct;
    EXPECT_EQ(gget_loop_direct(), k.direct_after) << k.direct;
  }
  gset_loop_direct(1);
  gset_loop_range(1, 2);
  ASSERT_EQ(gdisplay_frame(2), 1);
  EXPECT_EQ(ginc_frame(0), 1);
  gset_loop_range(-1, -1);
}

TEST_P(Window, CopyDeleteSwitchAndFrameData) {
  make_frames(3);
  ASSERT_EQ(gswitch_frame(0, GFRAME_LAST), 1);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(shown(), kColour[2]);
  EXPECT_EQ(shown(2), kColour[0]);
  ASSERT_EQ(gcopy_frame(0, 2), 1);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(shown(), kColour[0]);
  ASSERT_EQ(gdisplay_frame(1), 1);
  ASSERT_EQ(gdelete_frame(GFRAME_CURRENT), 1);
  EXPECT_EQ(gget_num_images(), 2);
  EXPECT_EQ(shown(), kColour[0]);  // the old frame 2 moved into place
  EXPECT_EQ(gdelete_frame(200), 0);
  EXPECT_EQ(gswitch_frame(0, 5), 0);  // no such frame
  const unsigned char data[51] = {9, 8, 7};
  EXPECT_EQ(gset_image_data(GFRAME_CURRENT, data, 51), 0);  // 50 bytes at most
  ASSERT_EQ(gset_image_data(GFRAME_CURRENT, data, 3), 1);
  unsigned char got[50] = {};
  EXPECT_EQ(gget_image_data(1, got), 3);
  EXPECT_EQ(got[0], 9);
  EXPECT_EQ(gget_image_data(0, got), 0);
  ginc_loop_delay(-1.0f);
  EXPECT_EQ(std::pair(gget_loop_delay(), gget_frame_delay(0)), std::pair(0.0f, 0.0f));
  ASSERT_EQ(gset_loop_delay(GFRAME_CURRENT, 0.0f), 1);
  EXPECT_EQ(gloop_sleep(), 0);  // a frame whose time is up does not wait
  EXPECT_EQ(gset_loop_delay(128, 1.0f), 0);
  // Deleting the last frames blanks the base window.
  for (int i : {0, 0}) ASSERT_EQ(gdelete_frame(i), 1);
  EXPECT_EQ(std::pair(gget_num_images(), shown()), std::pair(0, 0u));
}

TEST_P(Window, RecordedObjectsReplayIntoAnotherFrame) {
  EXPECT_EQ(gget_redraw(), 0);  // recording starts off
  ginit_objs();
  EXPECT_EQ(gset_redraw(1), 0);
  box(0, 0, 1, 1, 5);
  EXPECT_GE(gget_num_recorded(), 2);
  ASSERT_EQ(gcreate_frame(-1), 0);
  const int recorded = gget_num_recorded();
  ASSERT_EQ(gselect_frame(0), 1);
  EXPECT_EQ(gget_redraw(), 0);  // frames are not redrawn from objects
  gset_fill_colr_ind(2);        // replay must set the colour again
  ASSERT_EQ(gobj_replay(), 1);
  EXPECT_EQ(gget_num_recorded(), recorded);
  ASSERT_EQ(gselect_frame(GFRAME_BASE), 1);
  box(0, 0, 1, 1, 2);
  EXPECT_EQ(shown(), kColour[0]);
  EXPECT_EQ(shown(0), kColour[3]);
  gclear_objs();
  EXPECT_EQ(gobj_replay(), 0);
}

TEST_P(Window, ExchangeWithTheBaseWindowMovesPicturesIdsAndTheTarget) {
  make_frames(2);
  box(0, 0, 1, 1, 5);  // the base window's own picture
  const unsigned long base = gget_base_window(), one = gget_frame_id(1);
  ASSERT_TRUE(base != 0 && one != 0 && base != one);
  ASSERT_EQ(gswitch_frame(1, GFRAME_BASE), 1);
  EXPECT_EQ(std::tuple(shown(), shown(1), shown(0)), std::tuple(kColour[1], kColour[3], kColour[0]));
  EXPECT_EQ(std::pair(gget_base_window(), gget_frame_id(1)), std::pair(one, base));  // the pictures changed places
  ASSERT_EQ(gswitch_frame(GFRAME_BASE, 1), 1);  // either order; back to where it was
  EXPECT_EQ(std::pair(gget_base_window(), shown()), std::pair(base, kColour[3]));
  EXPECT_EQ(gswitch_frame(GFRAME_BASE, GFRAME_BASE), 1);
  EXPECT_EQ(gswitch_frame(GFRAME_BASE, 4), 0);
  // Drawing goes where the selected frame's picture went.
  ASSERT_EQ(gselect_frame(0), 1);
  ASSERT_EQ(gswitch_frame(0, GFRAME_BASE), 1);
  box(0.25f, 0.25f, 0.75f, 0.75f, 4);
  EXPECT_EQ(std::pair(shown(), shown(0)), std::pair(kColour[2], kColour[3]));
}

TEST_P(Window, ClearsReachOnlyTheirOwnPicture) {
  make_frames(2);
  box(0, 0, 1, 1, 5);
  ASSERT_EQ(gclear_frame(1), 1);  // while the base window is the target
  EXPECT_EQ(std::tuple(shown(1), shown(0), shown()), std::tuple(0u, kColour[0], kColour[3]));
  ASSERT_EQ(gcreate_frame(0), 0);  // re-creating a frame clears it
  EXPECT_EQ(std::pair(shown(0), gget_num_images()), std::pair(0u, 2));
  ASSERT_EQ(gselect_frame(1), 1);  // the workstation clear: the selected frame only
  box(0, 0, 1, 1, 4);
  gclear_ws(1, GALWAYS);
  EXPECT_EQ(std::pair(shown(1), shown()), std::pair(0u, kColour[3]));
  // A region clear ignores the viewport clip: it reaches the right half.
  ASSERT_EQ(gselect_frame(GFRAME_BASE), 1);
  const Glim vp = {0.0f, 0.5f, 0.0f, 1.0f}, win = {0.0f, 1.0f, 0.0f, 1.0f}, region = {0.5f, 2.0f, 0.25f, 0.75f};
  gset_vp(1, &vp);
  gset_win(1, &win);
  gsel_norm_tran(1);
  gclear_region(&region);
  Picture pic;
  grab(&pic);
  const int mid = pic.img.height / 2, side = pic.img.height - 1;  // the unit square's pixels
  // Cleared beyond the viewport too.
  EXPECT_EQ(std::tuple(pic.pixel(side * 3 / 4, mid), pic.pixel(side - 1, mid), pic.pixel(side / 4, mid),
                       pic.pixel(side - 1, 2)),
            std::tuple(0u, 0u, kColour[3], kColour[3]));
}

TEST_P(Window, ZoomReplicatesPixelsAroundThePointAndUnzoomRestores) {
  pixel_world();
  box(20, 20, 90, 70, 2);
  box(100, 30, 180, 120, 3);
  for (int x = 30; x < 170; x += 3) {  // detail at single-pixel scale
    const Gpt line[] = {{static_cast<float>(x), 80}, {static_cast<float>(x), 150}};
    gset_line_colr_ind(4 + (x / 3) % 2);
    gpolyline(2, line);
  }
  Picture before;
  grab(&before);
  const int w = before.img.width, h = before.img.height;
  ASSERT_EQ(before.pixel(55, h - 1 - 45), 0xff0000u);
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
    for (int x = 0; x < w; ++x) wrong += z2.pixel(x, y) != before.pixel(left + x / 2, top + y / 2);
  EXPECT_EQ(wrong, 0);
  ASSERT_EQ(gzoom(GFRAME_CURRENT, -1, -1, -2, 0), 1);  // doubled again about the same centre
  EXPECT_EQ(std::pair(gget_zoom(), xZ_p(0)), std::pair(4, static_cast<float>(60 - w / 8)));
  ASSERT_EQ(gunzoom(), 1);
  EXPECT_EQ(gget_zoom(), 1);  // nothing left to undo
  EXPECT_EQ(gunzoom(), 0);
  Picture after;
  grab(&after);
  EXPECT_TRUE(after.same_as(before));
  // Near a corner the region is held inside the picture.
  ASSERT_EQ(gzoom(GFRAME_CURRENT, w - 5, 5, 2, 0), 1);
  EXPECT_EQ(std::pair(xZ_p(0), yZ_p(0)), std::pair(static_cast<float>(w / 2), 0.0f));
  Picture corner;
  grab(&corner);
  EXPECT_EQ(corner.pixel(w - 1, 0), before.pixel(w - 1, 0));
  EXPECT_EQ(corner.pixel(0, h - 1), before.pixel(w / 2, h / 2 - 1));
}

TEST_P(Window, ZoomedFramesAreShownMagnified) {
  pixel_world();
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
  EXPECT_EQ(std::pair(pic.pixel(65, 45), pic.pixel(50, 30)), std::pair(0xffff00u, 0x00ff00u));
  ASSERT_EQ(gunzoom(), 1);  // no saved picture: the current frame again
  Picture back;
  grab(&back);
  EXPECT_EQ(std::pair(back.pixel(85, 65), back.pixel(95, 75)), std::pair(0x00ff00u, 0xffff00u));
}

// Writes a PNG of `channels` samples a pixel (1 grey, 3 RGB, 4 RGBA) at
// `bits` (8 or 16) per sample; `samples` holds 16-bit values row by row.
bool write_png(const std::string& path, int width, int height, int channels, int bits,
               const std::vector<unsigned>& samples) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  // The inputs are the test's own: a libpng error would abort the test.
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, f);
  const int type = channels == 1 ? PNG_COLOR_TYPE_GRAY : channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGBA;
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), bits, type,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  std::vector<png_byte> row;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    row.push_back(static_cast<png_byte>(samples[i] >> 8));
    if (bits == 16) row.push_back(static_cast<png_byte>(samples[i] & 0xff));
    if ((i + 1) % static_cast<std::size_t>(width * channels) == 0) {
      png_write_row(png, row.data());
      row.clear();
    }
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return std::fclose(f) == 0;
}

// An 8-bit sample as the 16-bit value the writer takes.
constexpr unsigned s8(unsigned v) { return v * 257u; }

TEST_P(Window, RgbPngOverlaysArrivePixelExact) {
  box(0, 0, 1, 1, 2);  // all red, so see-through pixels show red
  Gxrect view{};
  gget_xviewport(&view);
  // 4 x 2: black (the background: see-through), green, an odd colour, white;
  // then blue, the odd colour again, dark grey, black.
  const std::vector<unsigned> rgb = {
      0, 0, 0, 0, s8(255), 0, s8(10), s8(200), s8(30), s8(255), s8(255), s8(255),
      0, 0, s8(255), s8(10), s8(200), s8(30), s8(40), s8(40), s8(40), 0, 0, 0,
  };
  ASSERT_TRUE(write_png(zor::test::scratch("rgb8.png"), 4, 2, 3, 8, rgb));
  ASSERT_EQ(goverlay_image_file(zor::test::scratch("rgb8.png").c_str(), nullptr, 5, 7), 1);
  // RGBA at 16 bits a sample in the lower right: the alpha is dropped, the low bytes too.
  const std::vector<unsigned> rgba = {0x1234, 0xABCD, 0x5678, 0x0000, 0x0A0B, 0x0C0D, 0x0E0F, 0xFFFF};
  ASSERT_TRUE(write_png(zor::test::scratch("rgba16.png"), 2, 1, 4, 16, rgba));
  ASSERT_EQ(goverlay_image_file(zor::test::scratch("rgba16.png").c_str(), nullptr, -1, -1), 1);
  const std::vector<unsigned> grey = {s8(0x80), 0, s8(0xFF)};
  ASSERT_TRUE(write_png(zor::test::scratch("grey.png"), 3, 1, 1, 8, grey));
  ASSERT_EQ(goverlay_image_file(zor::test::scratch("grey.png").c_str(), nullptr, 0, 0), 1);
  Picture pic;
  ASSERT_EQ(gget_image(&pic.img), 1);
  // The fifth column is beside the image.
  const unsigned want[2][5] = {{0xFF0000u, 0x00FF00u, 0x0AC81Eu, 0xFFFFFFu, 0xFF0000u},
                               {0x0000FFu, 0x0AC81Eu, 0x282828u, 0xFF0000u, 0xFF0000u}};
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 5; ++c) EXPECT_EQ(pic.pixel(view.x + 5 + c, view.y + 7 + r), want[r][c]) << r << "," << c;
  const int xr = view.x + view.width - 3, yr = view.y + view.height - 2;
  EXPECT_EQ(std::pair(pic.pixel(xr, yr), pic.pixel(xr + 1, yr)), std::pair(0x12AB56u, 0x0A0C0Eu));
  // Grey, black (see-through), white.
  EXPECT_EQ(std::tuple(pic.pixel(view.x, view.y), pic.pixel(view.x + 1, view.y), pic.pixel(view.x + 2, view.y)),
            std::tuple(0x808080u, 0xFF0000u, 0xFFFFFFu));
}

TEST_P(Window, ManyOverlayColoursLeaveTheColourTableAlone) {
  Gxrect view{};
  gget_xviewport(&view);
  // 300 distinct colours: more than the colour table could hold.
  constexpr int kW = 20, kH = 15;
  auto colour = [](int i) { return static_cast<unsigned>(i % 256) << 16 | (i / 256 + 1) << 8 | (255 - i % 200); };
  std::vector<unsigned> rgb;
  for (int i = 0; i < kW * kH; ++i)
    for (int shift : {16, 8, 0}) rgb.push_back(s8(colour(i) >> shift & 0xFF));
  const std::string path = zor::test::scratch("many.png");
  ASSERT_TRUE(write_png(path, kW, kH, 3, 8, rgb));
  IMG_report im;
  ASSERT_EQ(IMG_read(path.c_str(), &im, 0), 1);
  EXPECT_EQ(im.color_type, 0);
  ASSERT_EQ(goverlay_image(&im, nullptr, 0, 0), 1);
  ASSERT_EQ(goverlay_image(&im, nullptr, kW, 0), 1);  // the record holds device pixels now
  IMG_free(&im);
  Picture pic;
  ASSERT_EQ(gget_image(&pic.img), 1);
  int wrong = 0, indexed = 0;
  for (int i = 0; i < kW * kH; ++i) {
    const int x = view.x + i % kW, y = view.y + i / kW;
    wrong += pic.pixel(x, y) != colour(i) || pic.pixel(x + kW, y) != colour(i);
  }
  for (int ind = 0; ind < 256; ++ind)
    for (int k : {100, 150, 299}) {
      auto part = [&](int shift) { return static_cast<float>(colour(k) >> shift & 0xFF) / 255.0f; };
      indexed += gis_color_near(ind, part(16), part(8), part(0), 0);
    }
  EXPECT_EQ(std::pair(wrong, indexed), std::pair(0, 0));  // none of the image's colours took a colour index
  // Layouts that cannot be direct colour are refused.
  IMG_init(&im);
  im.width = 2, im.height = 1, im.red = 0xF00, im.grn = 0x0F0, im.blu = 0x00F;
  im.bits_pixel = 12, im.bytes_line = 4;
  im.data = static_cast<unsigned char*>(std::calloc(4, 1));
  EXPECT_EQ(goverlay_image(&im, nullptr, 0, 0), 0);
  im.bits_pixel = 24, im.bytes_line = 2;  // rows shorter than their pixels
  EXPECT_EQ(goverlay_image(&im, nullptr, 0, 0), 0);
  IMG_free(&im);
}

// Device pixels put where the mask says (bit 0 leftmost, rows of two bytes),
// the rest of the picture kept.
TEST_P(Window, PutPixelsThroughAMask) {
  box(0, 0, 1, 1, 4);
  // 10 x 2 pixels, 32 bits least significant byte first: red, then green.
  std::vector<unsigned char> data(10 * 2 * 4);
  for (int i = 0; i < 20; ++i)
    for (int b = 0; b < 4; ++b) data[4 * i + b] = static_cast<unsigned char>(gget_color_ind(i < 10 ? 2 : 3) >> (8 * b));
  IMG_report img;
  img.width = 10, img.height = 2, img.depth = 24, img.bits_pixel = 32, img.bytes_line = 40, img.byte_order = 0;
  img.data = data.data();
  const std::uint8_t mask[] = {0x0F, 0x02, 0x55, 0x01};
  ASSERT_TRUE(current_device()->put_pixels(img, mask, 30, 40));
  Picture pic;
  grab(&pic);
  for (int x = 0; x <= 10; ++x) {  // the last beyond the image
    EXPECT_EQ(pic.pixel(30 + x, 40), x < 4 || x == 9 ? kColour[0] : kColour[2]) << x;
    EXPECT_EQ(pic.pixel(30 + x, 41), x % 2 == 0 && x < 10 ? kColour[1] : kColour[2]) << x;
  }
  ASSERT_TRUE(current_device()->put_pixels(img, nullptr, 0, 0));
  img.data = nullptr;
  Picture all;
  grab(&all);
  EXPECT_EQ(std::pair(all.pixel(1, 0), all.pixel(9, 1)), std::pair(kColour[0], kColour[1]));  // no mask: every pixel
}

INSTANTIATE_TEST_SUITE_P(WindowAndMemory, Window, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "memory" : "window"; });

TEST(MemFrameIds, MemoryPicturesHaveNamesButTakeNoForeignPixmap) {
  zor::test::open_window_ws(true);
  ASSERT_EQ(gcreate_frame(-1), 0);
  const unsigned long base = gget_base_window(), zero = gget_frame_id(0);
  EXPECT_TRUE(base != 0 && zero != 0 && base != zero);
  EXPECT_EQ(gprint_frame_ids(), 1);
  EXPECT_EQ(gset_frame_id(0, 12345), 0);  // no server whose pixmaps a frame could take over
  EXPECT_EQ(gget_frame_id(0), zero);
  zor::test::close_window_ws(true);
  EXPECT_EQ(gget_base_window(), 0u);
}

// Replication by itself, for every pixel size a server may use.
TEST(ReplicatePixels, EveryPixelSize) {
  for (int bits : {1, 4, 8, 16, 24, 32}) {
    SCOPED_TRACE(bits);
    const int w = 7, h = 5, line = ((w * bits + 31) / 32) * 4;
    std::vector<unsigned char> data(static_cast<std::size_t>(line * h));
    const unsigned long mask = bits == 32 ? 0xffffffffUL : (1UL << bits) - 1;
    auto value = [&](int x, int y) { return (static_cast<unsigned long>(x * 37 + y * 101) * 2654435761UL >> 7) & mask; };
    auto get = [&](const unsigned char* d, int ln, int x, int y) -> unsigned long {
      const unsigned char* row = d + y * ln;
      if (bits == 1) return (row[x / 8] >> (x % 8)) & 1U;
      if (bits == 4) return x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 0x0FU;
      unsigned long v = 0;
      for (int b = 0; b < bits / 8; ++b) v |= static_cast<unsigned long>(row[x * (bits / 8) + b]) << (8 * b);
      return v;
    };
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        unsigned char* row = data.data() + y * line;
        const unsigned long v = value(x, y);
        if (bits == 1) row[x / 8] = static_cast<unsigned char>(row[x / 8] | (v << (x % 8)));
        else if (bits == 4) row[x / 2] = static_cast<unsigned char>(row[x / 2] | (x % 2 == 0 ? v << 4 : v));
        else
          for (int b = 0; b < bits / 8; ++b) row[x * (bits / 8) + b] = static_cast<unsigned char>(v >> (8 * b));
      }
    IMG_report src;
    src.width = w, src.height = h, src.bits_pixel = bits, src.bytes_line = line, src.data = data.data();
    IMG_report out;
    ASSERT_TRUE(replicate_pixels(src, 2, 1, 3, 13, 11, &out));
    ASSERT_EQ(std::pair(out.width, out.height), std::pair(13, 11));
    int wrong = 0;
    for (int y = 0; y < 11; ++y)
      for (int x = 0; x < 13; ++x)
        wrong += get(out.data, out.bytes_line, x, y) != value(std::min(2 + x / 3, w - 1), std::min(1 + y / 3, h - 1));
    EXPECT_EQ(wrong, 0);
    std::free(out.data);
  }
  IMG_report odd;
  std::vector<unsigned char> two(8);
  odd.width = odd.height = 1, odd.bits_pixel = 12, odd.bytes_line = 4, odd.data = two.data();
  IMG_report out;
  EXPECT_FALSE(replicate_pixels(odd, 0, 0, 2, 2, 2, &out));
}

constexpr std::uint32_t kRed = kColour[0], kGreen = kColour[1], kBlue = kColour[2];

// A world point for pixel (px, py): the default mapping puts the unit square
// on pixels 0..511 with y upwards.
Gpt at(float px, float py) { return {px / 511.0f, 1.0f - py / 511.0f}; }

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

// The memory device against the X server: its scan converter on random
// shapes drawn with Xlib and into a canvas, and whole drawings.
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

// Opens a window workstation on the device in use, draws with a palette
// of 21 colours (one between two 8-bit levels) and captures.
void draw_on(const std::function<void()>& drawing, zor::test::Capture* out) {
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
  for (int i = 0; i <= 20; ++i) {
    const float t = static_cast<float>(i) / 19.0f;
    const Gcolr_rep c = i < 20 ? Gcolr_rep{t, std::fmod(t * 3.0f, 1.0f), 1.0f - t} : Gcolr_rep{0.7f, 0.35f, 0.1f};
    gset_colr_rep(1, i, &c);
  }
  gset_linewidth(0.0f);
  drawing();
  EXPECT_EQ(current_device()->capture(out->img), 1);
  zor::test::close_window_ws(false);
}

// Each drawing, with the share of pixels the memory raster must draw as the
// window does.
TEST(MemoryVsXvfb, DrawsAsTheWindowDoes) {
  if (find_device(GWS_WINDOW) == nullptr) GTEST_SKIP() << "needs the X11 device";
  std::mt19937 rng;
  auto uniform = [&rng] { return std::uniform_real_distribution<float>(0, 511)(rng); };
  const struct {
    const char* name;
    double min_share;
    std::function<void()> drawing;
  } cases[] = {
      {"dashes", 0.998, [&] {
         rng.seed(13);
         for (int i = 0; i < 120; ++i) {
           std::vector<Gpt> p;
           for (int k = 0; k < 2 + i % 3; ++k) p.push_back(at(uniform(), uniform()));
           gset_linetype(2 + i % 4);
           gset_linewidth(i % 3 == 0 ? 2.0f : 0.0f);
           gset_line_colr_ind(1 + i % 20);
           gpolyline(static_cast<int>(p.size()), p.data());
         }
       }},
      {"stipples", 0.999, [] {
         gset_fill_int_style(GPAT);
         for (int i = 0; i < 20; ++i) {
           const float x = 10.0f + (i % 5) * 100.0f, y = 10.0f + (i / 5) * 120.0f;
           const Gpt p[5] = {at(x, y), at(x + 90, y + 7), at(x + 80, y + 100), at(x + 3, y + 90), at(x, y)};
           gset_fill_style_ind(i);
           gset_fill_colr_ind(1 + i);
           gfill_area(5, p);
         }
       }},
      {"markers", 0.999, [] {
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
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    zor::test::Capture window, memory;
    unregister_device(GWS_WINDOW);
    draw_on(c.drawing, &window);
    register_device(GWS_WINDOW, "memory", make_memory_device);
    draw_on(c.drawing, &memory);
    unregister_device(GWS_WINDOW);
    const IMG_report &w = window.img, &m = memory.img;
    ASSERT_TRUE(w.data && m.data);
    ASSERT_EQ(std::tuple(w.bits_pixel, w.width, w.height), std::tuple(32, m.width, m.height));
    ASSERT_EQ(m.bits_pixel, 32);
    long same = 0, painted = 0;
    for (int y = 0; y < w.height; ++y)
      for (int x = 0; x < w.width; ++x) {
        same += window.pixel(x, y) == memory.pixel(x, y);
        painted += window.pixel(x, y) != 0 || memory.pixel(x, y) != 0;
      }
    EXPECT_GT(painted, 1000) << "the drawing drew nothing";
    EXPECT_GE(static_cast<double>(same) / (w.width * w.height), c.min_share);
  }
}

}  // namespace
