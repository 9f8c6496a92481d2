// The colour bar's flash (Alt-f) on a colormap display, watched from a second
// X connection: the level's colour cell, data included, blinks black and back.
#include <gtest/gtest.h>
#include <X11/Xlib.h>

#include <atomic>
#include <string>
#include <thread>

#include "../common/xvfb.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/plt.h"
#include "zor/reset.h"


namespace {

TEST(BarFlash, TheLevelUnderThePointerBlinksBlackAndBack) {
  zor::test::Xvfb server;
  if (!server.start(8)) GTEST_SKIP() << "no Xvfb";
  zor::reset_all();
  CONT_init();
  FLAG_resetplot(1);
  FLAG_set(2, GWS_WINDOW);  // the window, without asking
  FLAG_set(19, 0);
  testing::internal::CaptureStdout();
  ASSERT_EQ(PLT_open(1.25f), 0);
  testing::internal::GetCapturedStdout();
  ASSERT_EQ(CONT_set_fill_colors("5:blue,10:green,15:yellow,20:red", 1), 0);
  ASSERT_EQ(CONT_draw_bar(1, "dBZ"), 0);
  gupdate_window();

  // The third box (15, yellow) in the pointer's world coordinates.
  Glim vp;
  PLT_get_view(&vp);
  const float h = std::min(vp.y_min, 0.035f);
  const float left = vp.x_min + 0.03f * (vp.x_max - vp.x_min);
  const float inc = ((vp.x_min + vp.x_max) / 2 - left) / 4;
  const float wx = xp_W(xNDC_p(left + 2.5f * inc));
  const float wy = yp_W(yNDC_p(vp.y_min - 0.35f * h));
  ASSERT_FLOAT_EQ(CONT_get_bar_value(xW_NDC(wx), yW_NDC(wy)), 15.0f);
  Gattribs a;
  ASSERT_GE(CONT_get_fill_attrib(15.0f, &a), 0);
  const unsigned long cell = static_cast<unsigned long>(gget_color_ind(a.color));

  // A second connection watches the cell while the plot blinks it.
  std::atomic<bool> done{false};
  int black_seen = 0, yellow_seen = 0;
  std::thread watcher([&] {
    Display* d = XOpenDisplay(server.display().c_str());
    if (d == nullptr) return;
    const Colormap map = DefaultColormap(d, DefaultScreen(d));
    while (!done) {
      XColor c{};
      c.pixel = cell;
      XQueryColor(d, map, &c);
      if (c.red == 0 && c.green == 0 && c.blue == 0) ++black_seen;
      else if (c.red > 0xF000 && c.green > 0xF000 && c.blue < 0x1000) ++yellow_seen;
      usleep(20000);
    }
    XCloseDisplay(d);
  });
  char event[] = "f-Alt";
  EXPECT_EQ(CONT_flash_value(event, wx, wy), 0);
  done = true;
  watcher.join();
  EXPECT_GT(black_seen, 5);
  EXPECT_GT(yellow_seen, 5);
  // Off the bar nothing blinks.
  char other[] = "f-Alt";
  EXPECT_EQ(CONT_flash_value(other, xp_W(xNDC_p(vp.x_max)), wy), -1);
  float r = 0, g = 0, b = 0;
  gget_color_rgb(a.color, &r, &g, &b);
  EXPECT_FLOAT_EQ(r, 1.0f);  // the colour is back

  GPH_end(1);
  zor::reset_all();
}

}  // namespace
