// The colour bar on paper: a colour PostScript plot rendered by Ghostscript
// shows the boxes side by side in their colours, equally wide.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../gks/print_test_util.h"
#include "zor/cont.h"
#include "zor/flag.h"
#include "zor/plt.h"
#include "zor/res.h"

namespace zor::plt {
void reset();
}
namespace zor::cont {
void reset();
}

namespace {

struct Box {
  int x0 = 1 << 30, x1 = -1, y0 = 1 << 30, y1 = -1;
  int n = 0;
};

// Pixels close to an RGB colour.
Box find_colour(const zor::test::Raster& r, int cr, int cg, int cb) {
  Box b;
  for (int y = 0; y < r.height; ++y)
    for (int x = 0; x < r.width; ++x) {
      const unsigned char* p = r.at(x, y);
      if (std::abs(p[0] - cr) < 20 && std::abs(p[1] - cg) < 20 && std::abs(p[2] - cb) < 20) {
        b.x0 = std::min(b.x0, x);
        b.x1 = std::max(b.x1, x);
        b.y0 = std::min(b.y0, y);
        b.y1 = std::max(b.y1, y);
        ++b.n;
      }
    }
  return b;
}

TEST(PlotPostScript, ColourBarBoxesRenderSideBySide) {
  if (!zor::test::have_ghostscript()) GTEST_SKIP() << "Ghostscript not installed";
  zor::test::reset_devices();
  zor::plt::reset();
  zor::cont::reset();
  CONT_init();
  const std::string ps = zor::test::out_path("plot_bar.ps");
  const std::string png = zor::test::out_path("plot_bar.png");
  std::remove(ps.c_str());
  RES_put("device", ("ps," + ps).c_str());
  RES_put("plot_param", "pscolor");
  FLAG_resetplot(1);
  FLAG_set(2, GWS_PS);
  ASSERT_EQ(PLT_open(1.25f), 0);
  ASSERT_EQ(CONT_set_fill_colors("5:blue,10:green,15:yellow,20:red", 1), 0);
  ASSERT_EQ(CONT_draw_bar(1, "dBZ"), 0);
  PLT_label_up_left("Reflectivity");
  CONT_set_bar(1);
  PLT_labels();
  GPH_end(1);
  FLAG_set(2, 0);
  RES_put("device", "");
  RES_put("plot_param", "");
  gset_inverse(0);
  gps_set_colorPS(0);
  PLT_init_labels();

  ASSERT_EQ(zor::test::render(ps, png), 0) << zor::test::slurp(png + ".log");
  zor::test::Raster r;
  ASSERT_TRUE(zor::test::read_png(png, r));
  const Box blue = find_colour(r, 0, 0, 255);
  const Box green = find_colour(r, 0, 191, 0);
  const Box yellow = find_colour(r, 255, 255, 0);
  const Box red = find_colour(r, 255, 0, 0);
  const Box* boxes[] = {&blue, &green, &yellow, &red};
  for (const Box* b : boxes) ASSERT_GT(b->n, 20);
  // The plot lies across the landscape page: the bar runs up the page from
  // the lowest level, along the plot's right-hand edge.
  const int length = blue.y1 - blue.y0;
  for (int i = 1; i < 4; ++i) {
    // Each box starts where the previous one ends, on the same band.
    EXPECT_NEAR(boxes[i]->y1, boxes[i - 1]->y0, 2) << i;
    EXPECT_NEAR(boxes[i]->y1 - boxes[i]->y0, length, 2) << i;
    EXPECT_NEAR(boxes[i]->x0, blue.x0, 1) << i;
    EXPECT_NEAR(boxes[i]->x1, blue.x1, 1) << i;
  }
  EXPECT_GT(length, 10);
  EXPECT_LT(blue.x1 - blue.x0, length);  // a flat bar
  zor::test::reset_devices();
  zor::cont::reset();
  zor::plt::reset();
}

}  // namespace
