// Dumps and overlays on the in-memory raster device.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "../common/files.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/img.h"

using namespace zor::gks;

namespace {

std::string tmp_path(const std::string& name) {
  return zor::test::scratch("img_device_" + name);
}

class ImgDeviceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    register_device(GWS_WINDOW, "memory", make_memory_device);
    ASSERT_EQ(gopen_gks(nullptr, 0), 0);
    ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
    dev = current_device();
    ASSERT_NE(dev, nullptr);
    const Gcolr_rep red{1, 0, 0};
    ASSERT_EQ(gset_colr_rep(1, 2, &red), 0);
  }
  void TearDown() override {
    gclose_ws(1);
    gclose_gks();
    unregister_device(GWS_WINDOW);
    kernel().reset();
    reset_color_model();
  }
  std::uint32_t pixel(int x, int y) {
    IMG_report c;
    EXPECT_EQ(gget_image(&c), 1);
    const unsigned char* p = c.data + y * c.bytes_line + 4 * x;
    const std::uint32_t v = p[0] | p[1] << 8 | p[2] << 16;
    IMG_free(&c);
    return v;
  }
  Device* dev = nullptr;
};

TEST_F(ImgDeviceTest, DumpsWriteTheCapturedPicture) {
  gset_fill_colr_ind(2);
  const Gpt box[] = {{0.0f, 0.0f}, {0.5f, 0.0f}, {0.5f, 0.5f}, {0.0f, 0.5f}};
  gfill_area(4, box);
  GIF_transparent(1);
  ASSERT_EQ(GIF_dump(tmp_path("d.gif").c_str()), 1);
  GIF_transparent(0);
  ASSERT_EQ(PNG_dump(tmp_path("d.png").c_str()), 1);
  ASSERT_EQ(XWD_dump(tmp_path("d.xwd").c_str()), 1);
  IMG_set_dump_labels("Reflectivity", "KTLX", "12:00 1 May 1999");
  ASSERT_EQ(IMG_dump(tmp_path("d.img").c_str()), 1);
  IMG_report back;
  ASSERT_EQ(IMG_read(tmp_path("d.gif").c_str(), &back, 0), 1);
  EXPECT_EQ(back.width, 640);
  EXPECT_EQ(back.num_colors, 2);  // black and red
  // The transparent index is the black background's entry.
  EXPECT_EQ(back.trans_color, back.colors[0].red == 0.0f ? 0 : 1);
  IMG_free(&back);
  ASSERT_EQ(IMG_read(tmp_path("d.img").c_str(), &back, 0), 1);
  EXPECT_STREQ(back.info, "Reflectivity [KTLX]");
  IMG_free(&back);
  EXPECT_EQ(GIF_dump("/nonexistent/dir/x.gif"), 0);
}

TEST_F(ImgDeviceTest, OverlayLeavesSeeThroughPixelsAndPlacesFromEdges) {
  IMG_report im;
  IMG_init(&im);
  im.width = 4;
  im.height = 2;
  im.depth = 8;
  im.bits_pixel = 8;
  im.bytes_line = 8;
  im.color_type = 1;
  im.num_colors = 2;
  im.colors = static_cast<IMG_color*>(std::calloc(2, sizeof(IMG_color)));
  im.colors[1] = {0.0f, 1.0f, 0.0f};  // entry 0 black: the background, see-through
  im.data = static_cast<unsigned char*>(std::calloc(16, 1));
  im.data[1] = 1;
  im.data[8 + 3] = 1;
  gset_fill_colr_ind(2);
  const Gpt box[] = {{0.0f, 0.0f}, {1.0f, 0.0f}, {1.0f, 1.0f}, {0.0f, 1.0f}};
  gfill_area(4, box);  // all red, so see-through pixels show red
  Gxrect view;
  gget_xviewport(&view);
  ASSERT_EQ(goverlay_image(&im, nullptr, -2, 3), 1);
  const int x0 = view.x + view.width - 4 - 2, y0 = view.y + 3;
  EXPECT_EQ(pixel(x0 + 0, y0), 0xFF0000u);
  EXPECT_EQ(pixel(x0 + 1, y0), 0x00FF00u);
  EXPECT_EQ(pixel(x0 + 3, y0 + 1), 0x00FF00u);
  EXPECT_EQ(pixel(x0 + 2, y0 + 1), 0xFF0000u);
  IMG_free(&im);
}

}  // namespace
