// The X11 window device on an Xvfb server: the wait's keys, server fonts and
// pixels put through a mask, captured back from the server.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "../common/capture.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"

// After the test framework: Xlib defines None.
#include <X11/Xlib.h>
#include <X11/keysym.h>

#include "../common/x_client.h"

using namespace zor::gks;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

using Picture = zor::test::Capture;

class X11Window : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::open_window_ws(false);
    dev = current_device();
  }
  void TearDown() override { zor::test::close_window_ws(false); }
  Device* dev = nullptr;
};

// Key presses sent to the workstation's window from a second connection,
// as another client would; they wait in the queue until the wait reads them.
struct KeySender : zor::test::XClient {
  KeySender() { set_window(newest_top_level()); }  // the only top-level window on this server
  void press(KeySym sym, bool alt) { key(sym, alt ? Mod1Mask : 0, 0, 0); }
};

// Keys typed before the wait starts are not its input: the test's keys are
// sent from the refresh callback, once the wait runs.
std::vector<std::pair<KeySym, bool>>& pending_keys() {
  static std::vector<std::pair<KeySym, bool>> keys;
  return keys;
}
void send_pending_keys() {
  KeySender keys;
  for (const auto& [sym, alt] : pending_keys()) keys.press(sym, alt);
  pending_keys().clear();
}

TEST_F(X11Window, WaitHandlesFrameKeysAndEndsOnReturn) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(gcreate_frame(-1), i);
    ASSERT_EQ(gselect_frame(i), 1);
    zor::test::box(0.0f, 0.0f, 1.0f, 1.0f, 2 + i);
  }
  ASSERT_EQ(gselect_frame(GFRAME_BASE), 1);
  ASSERT_EQ(gdisplay_frame(0), 1);
  ASSERT_TRUE(KeySender().ok());
  pending_keys() = {{XK_bracketright, true},  // next frame
                    {XK_d, true},             // delete it: the last one moves in
                    {XK_l, true},             // looping on
                    {XK_Return, false}};
  gset_refresh_callback(1, send_pending_keys);
  EXPECT_EQ(ghold(), 0);
  gset_refresh_callback(0, nullptr);
  EXPECT_EQ(gget_num_images(), 2);
  EXPECT_EQ(gget_cur_frame(), 1);
  EXPECT_EQ(gget_looping(), 1);
  Picture pic;
  ASSERT_TRUE(dev->set_draw_target(0));
  ASSERT_EQ(dev->capture(pic.img), 1);
  EXPECT_EQ(pic.rgb(pic.img.width / 4, pic.img.height / 2), 0x0000ffu);
  ginit_loop();
}

// "#" fonts are the server's own.
TEST_F(X11Window, ServerFontsDrawText) {
  ASSERT_EQ(read_font("#fixed"), 0);
  gset_text_colr_ind(3);
  const Gpt at{0.3f, 0.5f};
  EXPECT_EQ(gtext(&at, "WWWW"), 0);
  Picture pic;
  ASSERT_TRUE(dev->set_draw_target(0));
  ASSERT_EQ(dev->capture(pic.img), 1);
  int green = 0;
  for (int y = 0; y < pic.img.height; ++y)
    for (int x = 0; x < pic.img.width; ++x) green += pic.rgb(x, y) == 0x00ff00u;
  EXPECT_GT(green, 20);
  EXPECT_LT(green, 400);  // four characters of a small font
  EXPECT_EQ(read_font("#no-such-font-anywhere"), -1);
}

// Device pixels put where the mask says, the rest of the picture kept.
TEST_F(X11Window, PutPixelsThroughAMask) {
  zor::test::box(0.0f, 0.0f, 1.0f, 1.0f, 4);
  const int red = gget_color_ind(2), green = gget_color_ind(3);
  ASSERT_GE(red, 0);
  ASSERT_GE(green, 0);
  // 10 x 2 pixels: red on the first row, green on the second, 32 bits each.
  std::vector<unsigned char> data(10 * 2 * 4);
  for (int i = 0; i < 20; ++i) {
    const unsigned v = static_cast<unsigned>(i < 10 ? red : green);
    for (int b = 0; b < 4; ++b) data[static_cast<std::size_t>(4 * i + b)] = static_cast<unsigned char>(v >> (8 * b));
  }
  IMG_report img;
  img.width = 10, img.height = 2, img.depth = 24, img.bits_pixel = 32, img.bytes_line = 40, img.data = data.data();
  // Every other pixel of each row (bits 0, 2, 4, ...; rows of two bytes).
  const std::uint8_t mask[] = {0x55, 0x01, 0x55, 0x01};
  ASSERT_TRUE(dev->put_pixels(img, mask, 30, 40));
  img.data = nullptr;
  Picture pic;
  ASSERT_EQ(dev->capture(pic.img), 1);
  EXPECT_EQ(pic.rgb(30, 40), 0xff0000u);
  EXPECT_EQ(pic.rgb(31, 40), 0x0000ffu);  // masked: the square stays
  EXPECT_EQ(pic.rgb(38, 40), 0xff0000u);
  EXPECT_EQ(pic.rgb(39, 40), 0x0000ffu);
  EXPECT_EQ(pic.rgb(32, 41), 0x00ff00u);
  EXPECT_EQ(pic.rgb(33, 41), 0x0000ffu);
  EXPECT_EQ(pic.rgb(40, 40), 0x0000ffu);  // beyond the image
  ASSERT_TRUE(dev->put_pixels([&] {
    IMG_report all;
    all.width = 10, all.height = 2, all.bits_pixel = 32, all.bytes_line = 40, all.data = data.data();
    return all;
  }(), nullptr, 0, 0));
  ASSERT_EQ(dev->capture(pic.img), 1);
  EXPECT_EQ(pic.rgb(1, 0), 0xff0000u);  // without a mask every pixel
}

}  // namespace
