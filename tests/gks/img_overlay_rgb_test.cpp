// Direct-colour PNG overlays (written here with libpng) on the X11 window
// under Xvfb and on the in-memory raster.
#include <gtest/gtest.h>

#include <unistd.h>
#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "../common/capture.h"
#include "../common/files.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"

using namespace zor::gks;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

const auto tmp_path = zor::test::scratch;

// Writes a PNG of `channels` samples a pixel (1 grey, 3 RGB, 4 RGBA) at
// `bits` (8 or 16) per sample; `samples` holds 16-bit values row by row.
bool write_png(const std::string& path, int width, int height, int channels, int bits,
               const std::vector<unsigned>& samples) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  if (info == nullptr || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    std::fclose(f);
    return false;
  }
  png_init_io(png, f);
  const int type = channels == 1 ? PNG_COLOR_TYPE_GRAY : channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGBA;
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), bits, type,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const int bytes = bits / 8;
  std::vector<png_byte> row(static_cast<std::size_t>(width * channels * bytes));
  for (int y = 0; y < height; ++y) {
    for (int i = 0; i < width * channels; ++i) {
      const unsigned v = samples[static_cast<std::size_t>(y * width * channels + i)];
      if (bytes == 2) {
        row[static_cast<std::size_t>(2 * i)] = static_cast<png_byte>(v >> 8);
        row[static_cast<std::size_t>(2 * i + 1)] = static_cast<png_byte>(v & 0xff);
      } else {
        row[static_cast<std::size_t>(i)] = static_cast<png_byte>(v >> 8);
      }
    }
    png_write_row(png, row.data());
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return std::fclose(f) == 0;
}

// An 8-bit sample as the 16-bit value the writer takes.
constexpr unsigned s8(unsigned v) { return v * 257u; }

// Runs once on the window, once on the memory device.
class RgbOverlay : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    zor::test::open_window_ws(GetParam());
    zor::test::box(0, 0, 1, 1, 2);  // all red, so see-through pixels show red
    gget_xviewport(&view);
  }
  void TearDown() override { zor::test::close_window_ws(GetParam()); }
  void grab() {
    pic.emplace();
    ASSERT_EQ(gget_image(&pic->img), 1);
    ASSERT_EQ(pic->img.bits_pixel, 32);
  }
  unsigned at(int x, int y) const { return pic->pixel(x, y); }

  Gxrect view{};
  std::optional<zor::test::Capture> pic;
};

TEST_P(RgbOverlay, RgbPngColoursArrivePixelExact) {
  // 4 x 2: black (the background: see-through), green, an odd colour, white;
  // then blue, the odd colour again, dark grey, black.
  const std::vector<unsigned> rgb = {
      0, 0, 0, 0, s8(255), 0, s8(10), s8(200), s8(30), s8(255), s8(255), s8(255),
      0, 0, s8(255), s8(10), s8(200), s8(30), s8(40), s8(40), s8(40), 0, 0, 0,
  };
  const std::string path = tmp_path("rgb8.png");
  ASSERT_TRUE(write_png(path, 4, 2, 3, 8, rgb));
  ASSERT_EQ(goverlay_image_file(path.c_str(), nullptr, 5, 7), 1);
  grab();
  // Black is see-through to the red below; the fifth column is beside the image.
  const unsigned want[2][5] = {{0xFF0000u, 0x00FF00u, 0x0AC81Eu, 0xFFFFFFu, 0xFF0000u},
                               {0x0000FFu, 0x0AC81Eu, 0x282828u, 0xFF0000u, 0xFF0000u}};
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 5; ++c) EXPECT_EQ(at(view.x + 5 + c, view.y + 7 + r), want[r][c]) << r << "," << c;
}

TEST_P(RgbOverlay, SixteenBitAlphaAndGreyFiles) {
  // RGBA at 16 bits a sample: the alpha is dropped, the low bytes too.
  const std::vector<unsigned> rgba = {0x1234, 0xABCD, 0x5678, 0x0000, 0x0A0B, 0x0C0D, 0x0E0F, 0xFFFF};
  const std::string path16 = tmp_path("rgba16.png");
  ASSERT_TRUE(write_png(path16, 2, 1, 4, 16, rgba));
  ASSERT_EQ(goverlay_image_file(path16.c_str(), nullptr, -1, -1), 1);
  // Grey: levels of one byte; black, the background, is see-through.
  const std::vector<unsigned> grey = {s8(0x80), 0, s8(0xFF)};
  const std::string pathg = tmp_path("grey.png");
  ASSERT_TRUE(write_png(pathg, 3, 1, 1, 8, grey));
  ASSERT_EQ(goverlay_image_file(pathg.c_str(), nullptr, 0, 0), 1);
  grab();
  const int xr = view.x + view.width - 2 - 1, yr = view.y + view.height - 1 - 1;
  EXPECT_EQ(at(xr, yr), 0x12AB56u);
  EXPECT_EQ(at(xr + 1, yr), 0x0A0C0Eu);
  EXPECT_EQ(at(view.x, view.y), 0x808080u);
  EXPECT_EQ(at(view.x + 1, view.y), 0xFF0000u);  // see-through
  EXPECT_EQ(at(view.x + 2, view.y), 0xFFFFFFu);
}

TEST_P(RgbOverlay, ManyColoursLeaveTheColourTableAlone) {
  // 300 distinct colours: more than the colour table could hold.
  constexpr int kW = 20, kH = 15;
  std::vector<unsigned> rgb;
  for (int i = 0; i < kW * kH; ++i) {
    rgb.push_back(s8(static_cast<unsigned>(i % 256)));
    rgb.push_back(s8(static_cast<unsigned>(i / 256 + 1)));
    rgb.push_back(s8(static_cast<unsigned>(255 - i % 200)));
  }
  const std::string path = tmp_path("many.png");
  ASSERT_TRUE(write_png(path, kW, kH, 3, 8, rgb));
  IMG_report im;
  ASSERT_EQ(IMG_read(path.c_str(), &im, 0), 1);
  EXPECT_EQ(im.color_type, 0);
  ASSERT_EQ(goverlay_image(&im, nullptr, 0, 0), 1);
  // The record holds device pixels now and can be placed again.
  ASSERT_EQ(goverlay_image(&im, nullptr, kW, 0), 1);
  IMG_free(&im);
  grab();
  int wrong = 0;
  for (int i = 0; i < kW * kH; ++i) {
    const unsigned want = static_cast<unsigned>(i % 256) << 16 | static_cast<unsigned>(i / 256 + 1) << 8 |
                          static_cast<unsigned>(255 - i % 200);
    const int x = view.x + i % kW, y = view.y + i / kW;
    if (at(x, y) != want || at(x + kW, y) != want) ++wrong;
  }
  EXPECT_EQ(wrong, 0);
  // None of the image's colours took a colour index.
  int indexed = 0;
  for (int i = 0; i < 256; ++i)
    for (int k : {100, 150, 299}) {
      const float r = static_cast<float>(k % 256) / 255.0f, g = static_cast<float>(k / 256 + 1) / 255.0f,
                  b = static_cast<float>(255 - k % 200) / 255.0f;
      indexed += gis_color_near(i, r, g, b, 0);
    }
  EXPECT_EQ(indexed, 0);
}

TEST_P(RgbOverlay, UnsupportedLayoutsAreReported) {
  IMG_report im;
  IMG_init(&im);
  im.width = 2, im.height = 1, im.red = 0xF00, im.grn = 0x0F0, im.blu = 0x00F;
  im.bits_pixel = 12;  // no such direct-colour layout
  im.bytes_line = 4;
  im.data = static_cast<unsigned char*>(std::calloc(4, 1));
  EXPECT_EQ(goverlay_image(&im, nullptr, 0, 0), 0);
  im.bits_pixel = 24;
  im.bytes_line = 2;  // rows shorter than their pixels
  EXPECT_EQ(goverlay_image(&im, nullptr, 0, 0), 0);
  IMG_free(&im);
}

INSTANTIATE_TEST_SUITE_P(WindowAndMemory, RgbOverlay, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "memory" : "window"; });

}  // namespace
