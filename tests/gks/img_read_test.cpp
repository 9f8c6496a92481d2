// Round trips through the image readers and their answers to damaged files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include <png.h>

#include "../common/files.h"
#include "zor/img.h"

namespace {

std::string tmp_path(const std::string& name) { return zor::test::scratch("img_read_" + name); }

using zor::test::slurp;
const auto spit = zor::test::write_file;

// An 8-bit indexed picture of `ncol` colours with padded rows.
IMG_report picture(int width, int height, int ncol, int pad) {
  IMG_report im;
  IMG_init(&im);
  im.width = width, im.height = height, im.depth = 8, im.bits_pixel = 8, im.bytes_line = width + pad;
  im.color_type = 1, im.num_colors = ncol;
  im.colors = static_cast<IMG_color*>(std::calloc(ncol, sizeof(IMG_color)));
  for (int i = 0; i < ncol; ++i) {
    im.colors[i].red = static_cast<float>(i * 255 / ncol) / 255.0f;
    im.colors[i].grn = static_cast<float>(255 - i * 255 / ncol) / 255.0f;
    im.colors[i].blu = static_cast<float>((i * 77) % 256) / 255.0f;
  }
  im.data = static_cast<unsigned char*>(std::calloc(im.bytes_line * height, 1));
  for (int r = 0; r < height; ++r)
    for (int c = 0; c < width; ++c) im.data[r * im.bytes_line + c] = (r * 5 + c * c) % ncol;
  return im;
}

struct Rgb {
  int r, g, b;
  bool operator==(const Rgb&) const = default;
};

// Colour of every pixel of an 8-bit indexed record, as bytes.
std::vector<Rgb> colours(const IMG_report& im) {
  std::vector<Rgb> out;
  for (int r = 0; r < im.height; ++r)
    for (int c = 0; c < im.width; ++c) {
      const IMG_color& k = im.colors[im.data[r * im.bytes_line + c]];
      out.push_back({static_cast<int>(k.red * 255 + 0.5f), static_cast<int>(k.grn * 255 + 0.5f),
                     static_cast<int>(k.blu * 255 + 0.5f)});
    }
  return out;
}

TEST(ImgRead, GifAndPngAndXwdRoundTrips) {
  for (int inter : {0, 1}) {
    IMG_report im = picture(37, 23, 40, 3);
    const auto want = colours(im);
    GIF_interlace(inter);
    ASSERT_EQ(GIF_write(tmp_path("rt.gif").c_str(), &im), 1);
    GIF_interlace(0);
    IMG_free(&im);
    IMG_report back;
    ASSERT_EQ(IMG_read(tmp_path("rt.gif").c_str(), &back, 0), 1);
    EXPECT_EQ(std::tuple(back.width, back.height, std::string(back.info)), std::tuple(37, 23, "GIF"));
    EXPECT_EQ(colours(back), want) << "interlace " << inter;
    IMG_free(&back);
  }
  {
    IMG_report im = picture(37, 23, 40, 3);
    const auto want = colours(im);
    ASSERT_EQ(PNG_write(tmp_path("rt.png").c_str(), &im), 1);
    IMG_free(&im);
    IMG_report back;
    ASSERT_EQ(IMG_read(tmp_path("rt.png").c_str(), &back, 0), 1);
    EXPECT_EQ(std::tuple(back.color_type, back.num_colors), std::tuple(1, 256));
    EXPECT_EQ(colours(back), want);
    IMG_free(&back);
  }
  {
    IMG_report im = picture(37, 23, 40, 3);
    std::strcpy(im.info, "radar window");
    ASSERT_EQ(XWD_write(tmp_path("rt.xwd").c_str(), &im), 1);
    IMG_report back;
    ASSERT_EQ(IMG_read(tmp_path("rt.xwd").c_str(), &back, 0), 1);
    EXPECT_EQ(std::tuple(std::string(back.info), back.bytes_line, back.num_colors), std::tuple("radar window", 40, 40));
    EXPECT_EQ(std::memcmp(back.data, im.data, 40 * 23), 0);
    EXPECT_EQ(colours(back), colours(im));
    IMG_free(&back);
    IMG_free(&im);
  }
}

TEST(ImgRead, GifSizeQueryAndStarLine) {
  IMG_report im = picture(9, 4, 3, 0);
  ASSERT_EQ(GIF_write(tmp_path("s.gif").c_str(), &im), 1);
  spit(tmp_path("star.gif"), "** produced elsewhere\n" + slurp(tmp_path("s.gif")));
  IMG_report back;
  ASSERT_EQ(IMG_read(tmp_path("star.gif").c_str(), &back, 1), 1);
  EXPECT_EQ(std::tuple(back.width, back.height, back.data), std::tuple(9, 4, nullptr));
  IMG_free(&back);
  ASSERT_EQ(IMG_read(tmp_path("star.gif").c_str(), &back, 0), 1);
  EXPECT_EQ(std::memcmp(back.data, im.data, 36), 0);  // 3 colours in first-seen order 0, 1, 2
  IMG_free(&back);
  IMG_free(&im);
}

TEST(ImgRead, OwnFormatPlainAndCompressedWithAndWithoutDomain) {
  for (int type : {0, 1})
    for (bool with_dom : {false, true}) {
      SCOPED_TRACE(type * 10 + with_dom);
      IMG_report im = picture(300, 90, 200, 4);  // 27000 bytes: three deflate pieces
      std::strcpy(im.info, "Base reflectivity [KTLX]");
      std::strcpy(im.datim, "12:30 3 May 1999");
      if (with_dom) {
        im.domain.proj = 1, im.domain.plon = -105.0f, im.domain.clat = 35.3f, im.domain.clon = -97.3f;
        im.domain.dx = 0.01f, im.domain.dy = 0.01f, im.domain.nx = 300, im.domain.ny = 90;
      }
      ASSERT_EQ(IMG_write(tmp_path("own.img").c_str(), &im, type), 1);
      const std::string file = slurp(tmp_path("own.img"));
      EXPECT_EQ(file.substr(0, type ? 8 : 7), type ? "ZORIMGZ\n" : "ZORIMG\n");
      if (with_dom) { EXPECT_NE(file.find("\nPS:-105.000000 35.299999 "), std::string::npos); }
      IMG_report back;
      ASSERT_EQ(IMG_read(tmp_path("own.img").c_str(), &back, 0), 1);
      EXPECT_EQ(std::tuple(back.source, std::string(back.info), std::string(back.datim), back.domain.proj),
                std::tuple(50, "Base reflectivity [KTLX]", "12:30 3 May 1999", with_dom ? 1 : -9999));
      ASSERT_EQ(std::pair(back.width, back.height), std::pair(300, 90));
      if (with_dom) { EXPECT_FLOAT_EQ(back.domain.plon, -105.0f); }
      bool same = true;
      for (int r = 0; r < 90; ++r)
        same = same && std::memcmp(back.data + r * 300, im.data + r * 304, 300) == 0;
      EXPECT_TRUE(same);
      IMG_free(&back);
      IMG_free(&im);
    }
}

TEST(ImgRead, OwnFormatVersionFourWithDomainLine) {
  std::string pixels(25 * 17, '\0');
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<char>(i % 251);
  spit(tmp_path("v4.img"),
       "ZORIMG4\n12:00 1 Jan 2000\nv4 test\n"
       "pstereo:39.000:-97.000:::,39.000,-97.000,25,17,2.3000,2.3000\n\n" + pixels);
  IMG_report back;
  ASSERT_EQ(IMG_read(tmp_path("v4.img").c_str(), &back, 0), 1);
  EXPECT_EQ(std::tuple(back.width, back.height, back.domain.proj), std::tuple(25, 17, 1));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(back.data), pixels.size()), pixels);
  IMG_free(&back);
}

TEST(ImgRead, DamagedFilesFailCleanly) {
  IMG_set_read_retry(0, 0);
  IMG_report im = picture(64, 64, 100, 0);
  ASSERT_EQ(GIF_write(tmp_path("d.gif").c_str(), &im), 1);
  ASSERT_EQ(PNG_write(tmp_path("d.png").c_str(), &im), 1);
  ASSERT_EQ(XWD_write(tmp_path("d.xwd").c_str(), &im), 1);
  ASSERT_EQ(IMG_write(tmp_path("d.img").c_str(), &im, 1), 1);
  IMG_free(&im);
  for (const char* name : {"d.gif", "d.png", "d.xwd"}) {
    const std::string whole = slurp(tmp_path(name));
    for (std::size_t cut : {std::size_t{3}, std::size_t{20}, whole.size() / 2, whole.size() - 20}) {
      spit(tmp_path("cut"), whole.substr(0, cut));
      IMG_report back;
      EXPECT_EQ(IMG_read(tmp_path("cut").c_str(), &back, 0), 0) << name << " cut at " << cut;
      EXPECT_TRUE(back.data == nullptr && back.colors == nullptr);
    }
    // Garbage in the image data.
    std::string bad = whole;
    for (std::size_t i = bad.size() / 3; i < bad.size() - 10; i += 7) bad[i] = static_cast<char>(0xff);
    spit(tmp_path("bad"), bad);
    IMG_report back;
    const int rc = IMG_read(tmp_path("bad").c_str(), &back, 0);
    if (rc != 1) { EXPECT_EQ(back.data, nullptr); }
    IMG_free(&back);
  }
  // A short own-format file gives what it has once the retries are spent.
  const std::string whole = slurp(tmp_path("d.img"));
  spit(tmp_path("short.img"), whole.substr(0, whole.size() - 40));
  IMG_report back;
  EXPECT_EQ(IMG_read(tmp_path("short.img").c_str(), &back, 0), 1);
  EXPECT_NE(back.data, nullptr);
  IMG_free(&back);
  spit(tmp_path("hdr.img"), "ZORIMG\nx\ny\n");
  EXPECT_EQ(IMG_read(tmp_path("hdr.img").c_str(), &back, 0), -1);
  spit(tmp_path("huge.img"), "ZORIMG\nx\ny\n99999999 99999999\n");
  EXPECT_EQ(IMG_read(tmp_path("huge.img").c_str(), &back, 0), -1);
  EXPECT_EQ(IMG_read(tmp_path("missing.img").c_str(), &back, 0), 0);
  EXPECT_EQ(IMG_read_zor(tmp_path("d.gif").c_str(), &back, 0), -1);
  IMG_free(&back);
  IMG_set_read_retry(10, 1000);
}

// A 16-bit grey PNG keeps its samples in file order, most significant byte
// first, and says so.
TEST(ImgRead, SixteenBitGreyPngIsMostSignificantByteFirst) {
  const std::string path = tmp_path("grey16.png");
  const std::uint16_t samples[4] = {0x1234, 0xABCD, 0x0001, 0xFF00};
  png_image image{};
  image.version = PNG_IMAGE_VERSION, image.width = 2, image.height = 2, image.format = PNG_FORMAT_LINEAR_Y;
  ASSERT_NE(png_image_write_to_file(&image, path.c_str(), 0, samples, 0, nullptr), 0);
  IMG_report im;
  ASSERT_EQ(IMG_read(path.c_str(), &im, 0), 1);
  EXPECT_EQ(std::tuple(im.depth, im.bits_pixel, im.byte_order), std::tuple(16, 16, 1));
  ASSERT_NE(im.data, nullptr);
  // libpng writes linear samples through the sRGB curve: only the order of
  // the bytes is checked, against the file's own first row.
  png_image back{};
  back.version = PNG_IMAGE_VERSION;
  ASSERT_NE(png_image_begin_read_from_file(&back, path.c_str()), 0);
  back.format = PNG_FORMAT_LINEAR_Y;
  std::uint16_t got[4] = {};
  ASSERT_NE(png_image_finish_read(&back, nullptr, got, 0, nullptr), 0);
  for (int i = 0; i < 2; ++i) {
    const unsigned v = static_cast<unsigned>(im.data[2 * i]) << 8 | im.data[2 * i + 1];
    EXPECT_NEAR(static_cast<double>(v), static_cast<double>(got[i]), 1.0) << i;
  }
  IMG_free(&im);
}

}  // namespace
