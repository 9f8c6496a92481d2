// A batch run without a display: PLT_open falls back to the in-memory raster,
// where the colour bar and labels land on the right pixels in their colours.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "../common/capture.h"
#include "../common/batch_plot.h"
#include "../gks/print_test_util.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/cont.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/plt.h"
#include "zor/res.h"

using namespace zor::gks;

namespace {

using namespace zor::test;

class BatchPlotTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* r : {"plot_param", "label", "color_text", "color_cont", "device"}) RES_put(r, "");
    batch_.emplace();
  }
  void TearDown() override { batch_.reset(); }
  std::optional<zor::test::BatchPlot> batch_;
};

TEST_F(BatchPlotTest, ColourBarAndLabelsOnTheMemoryRaster) {
  testing::internal::CaptureStdout();
  ASSERT_EQ(PLT_open(1.25f), 0);
  testing::internal::GetCapturedStdout();
  ASSERT_NE(current_device(), nullptr);
  ASSERT_TRUE(current_device()->headless());
  int width = 0, height = 0;
  gget_win_size(&width, &height);

  EXPECT_EQ(CONT_get_bar_value(0.5f, 0.01f), ZOR_MISSING_F);  // no bar yet
  ASSERT_EQ(CONT_set_fill_colors("5:blue,10:green,15:yellow,20:red", 1), 0);
  ASSERT_EQ(CONT_draw_bar(1, "dBZ"), 0);
  PLT_label_up_left("KTLX Base Reflectivity");
  CONT_set_bar(1);
  ASSERT_EQ(PLT_labels(), 0);

  Capture cap;
  ASSERT_EQ(current_device()->capture(cap.img), 1);
  ASSERT_EQ(cap.img.width, width);
  ASSERT_EQ(cap.img.height, height);

  Glim vp;
  PLT_get_view(&vp);
  const float h = std::min(vp.y_min, 0.035f);
  const float left = vp.x_min + 0.03f * (vp.x_max - vp.x_min);
  const float inc = ((vp.x_min + vp.x_max) / 2 - left) / 4;
  // The middle of each box's coloured part (the upper part of the bar).
  const int y = static_cast<int>(yNDC_p(vp.y_min - 0.35f * h));
  const char* colours[] = {"blue", "green", "yellow", "red"};
  // The pointer on a box, as the window reports it (world coordinates of
  // the current transformation), finds that box's level.
  for (int i = 0; i < 4; ++i) {
    const int x = static_cast<int>(xNDC_p(left + (static_cast<float>(i) + 0.5f) * inc));
    EXPECT_EQ(cap.pixel(x, y), rgb_of(colours[i])) << colours[i] << " at " << x << "," << y;
    const float wx = xp_W(static_cast<float>(x)), wy = yp_W(static_cast<float>(y));
    EXPECT_FLOAT_EQ(CONT_get_bar_value(xW_NDC(wx), yW_NDC(wy)), 5.0f * static_cast<float>(i + 1)) << i;
  }
  // Left of the bar, and above it in the plot, no level.
  EXPECT_EQ(CONT_get_bar_value(left - 0.001f, vp.y_min - 0.5f * h), ZOR_MISSING_F);
  EXPECT_EQ(CONT_get_bar_value(left + 0.5f * inc, vp.y_min + 0.01f), ZOR_MISSING_F);
  // Nothing left of the bar, and the white frame line at its left edge.
  const int x_left = static_cast<int>(xNDC_p(left));
  EXPECT_EQ(cap.pixel(x_left - 4, y), 0u);
  EXPECT_EQ(cap.pixel(x_left, y), 0xFFFFFFu);
  // The upper-left label is white text somewhere just above the plot.
  const int top = static_cast<int>(yNDC_p(vp.y_max));
  int white = 0;
  for (int yy = top - 14; yy < top; ++yy)
    for (int xx = static_cast<int>(xNDC_p(vp.x_min)); xx < static_cast<int>(xNDC_p(vp.x_min)) + 150; ++xx)
      if (yy >= 0 && cap.pixel(xx, yy) == 0xFFFFFFu) ++white;
  EXPECT_GT(white, 30);

  // Dumped as PNG, "%i" naming the frame (the PNG's pixels are read back in plot_scene_test).
  const std::string dir = zor::test::scratch_dir().path().string();
  RES_put("image_path", dir.c_str());
  EXPECT_EQ(PLT_dump(0), -1);  // none asked for
  PLT_set_dump(PLT_DUMP_PNG, "batch_%i.png");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(PLT_dump(0), 0);
  const std::string out = testing::internal::GetCapturedStdout();
  testing::internal::GetCapturedStderr();
  RES_put("image_path", "");
  const std::string png = dir + "/batch_win.png";
  EXPECT_NE(out.find("Wrote PNG file: " + png), std::string::npos) << out;
  zor::test::Raster r;
  ASSERT_TRUE(zor::test::read_png(png, r));
  EXPECT_EQ(std::pair(r.width, r.height), std::pair(width, height));
}

}  // namespace
