// The GIF, PNG and XWD writers on image records of every pixel layout, read
// back with an independent LZW decoder, giflib's gif2rgb and libpng.
#include <gtest/gtest.h>
#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "../common/files.h"
#include "zor/img.h"

namespace {

std::string tmp_path(const std::string& name) {
  return zor::test::scratch("img_write_" + name);
}

std::vector<unsigned char> slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A record whose pixel (r, c) is value(r, c), stored at `bits` per pixel.
struct Rgb {
  int r, g, b;
  bool operator==(const Rgb&) const = default;
};

IMG_report make_indexed(int width, int height, int bits, int byte_order, int pad_bytes,
                        int ncolors, const std::function<int(int, int)>& value) {
  IMG_report im;
  IMG_init(&im);
  im.width = width, im.height = height, im.bits_pixel = bits, im.depth = bits == 32 ? 24 : bits;
  im.bytes_line = (width * bits + 7) / 8 + pad_bytes, im.byte_order = byte_order, im.color_type = 1;
  im.num_colors = ncolors, im.colors = static_cast<IMG_color*>(std::calloc(ncolors, sizeof(IMG_color)));
  for (int i = 0; i < ncolors; ++i) {
    im.colors[i].red = static_cast<float>((i * 37) % 256) / 255.0f;
    im.colors[i].grn = static_cast<float>((i * 91) % 256) / 255.0f;
    im.colors[i].blu = static_cast<float>(i % 256) / 255.0f;
  }
  im.data = static_cast<unsigned char*>(std::calloc(im.bytes_line * height, 1));
  for (int r = 0; r < height; ++r)
    for (int c = 0; c < width; ++c) {
      unsigned v = static_cast<unsigned>(value(r, c));
      unsigned char* p = im.data + r * im.bytes_line;
      switch (bits) {
        case 1: p[c / 8] |= (v & 1) << (c % 8); break;
        case 4: p[c / 2] |= (c % 2 == 0) ? (v & 15) << 4 : (v & 15); break;
        case 8: p[c] = v; break;
        case 16:
          p[2 * c + (byte_order ? 1 : 0)] = v & 0xff;
          p[2 * c + (byte_order ? 0 : 1)] = v >> 8;
          break;
        default: ADD_FAILURE() << "layout not covered";
      }
    }
  return im;
}

Rgb expected_indexed(int v) {
  return {static_cast<int>(static_cast<float>((v * 37) % 256) / 255.0f * 255),
          static_cast<int>(static_cast<float>((v * 91) % 256) / 255.0f * 255),
          static_cast<int>(static_cast<float>(v % 256) / 255.0f * 255)};
}

// Direct colour, 8 bits a channel, 24 or 32 bits a pixel.
IMG_report make_direct(int width, int height, int bits, int byte_order,
                       const std::function<Rgb(int, int)>& colour) {
  IMG_report im;
  IMG_init(&im);
  im.width = width, im.height = height, im.bits_pixel = bits, im.depth = 24, im.bytes_line = width * bits / 8;
  im.byte_order = byte_order, im.color_type = 0, im.red = 0xff0000, im.grn = 0x00ff00, im.blu = 0x0000ff;
  im.data = static_cast<unsigned char*>(std::calloc(im.bytes_line * height, 1));
  for (int r = 0; r < height; ++r)
    for (int c = 0; c < width; ++c) {
      Rgb k = colour(r, c);
      unsigned char* p = im.data + r * im.bytes_line + c * bits / 8;
      if (bits == 32 && byte_order == 1) ++p;  // pad byte first
      if (byte_order == 1) {
        p[0] = k.r, p[1] = k.g, p[2] = k.b;
      } else {
        p[0] = k.b, p[1] = k.g, p[2] = k.r;
      }
    }
  return im;
}

struct Gif {
  int width = 0, height = 0, flags = 0, table = 0, code_size = 0;
  std::vector<Rgb> palette;
  std::vector<int> codes;  // every code in the data, in order
  std::vector<int> pixels;
  std::vector<int> table_at_clear;  // decoder's table size at each later clear code
  bool has_gce = false;
  int trans_index = -1;
};

// An independent GIF decoder for what the writer produces.
Gif decode_gif(const std::vector<unsigned char>& f) {
  Gif g;
  EXPECT_GE(f.size(), 13u);
  EXPECT_EQ(std::string(f.begin(), f.begin() + 6), "GIF89a");
  g.width = f[6] | f[7] << 8, g.height = f[8] | f[9] << 8, g.flags = f[10];
  g.table = 1 << ((g.flags & 7) + 1);
  std::size_t i = 13;
  for (int k = 0; k < g.table; ++k, i += 3) g.palette.push_back({f[i], f[i + 1], f[i + 2]});
  if (f[i] == 0x21 && f[i + 1] == 0xF9) {
    g.has_gce = true, g.trans_index = f[i + 6];
    i += 8;
  }
  EXPECT_EQ(f[i], 0x2C);
  i += 10;
  g.code_size = f[i++];
  std::vector<unsigned char> data;
  while (f[i] != 0) {
    int n = f[i++];
    data.insert(data.end(), f.begin() + i, f.begin() + i + n);
    i += n;
  }
  EXPECT_EQ(f[i + 1], 0x3B);
  const int clear = 1 << g.code_size, end = clear + 1;
  std::vector<std::vector<int>> dict;
  auto reset = [&] {
    dict.assign(clear + 2, {});
    for (int k = 0; k < clear; ++k) dict[k] = {k};
  };
  reset();
  int width = g.code_size + 1;
  std::size_t bitpos = 0;
  int prev = -1;
  while (bitpos + width <= data.size() * 8) {
    int code = 0;
    for (int b = 0; b < width; ++b, ++bitpos)
      code |= ((data[bitpos / 8] >> (bitpos % 8)) & 1) << b;
    g.codes.push_back(code);
    if (code == clear) {
      if (prev >= 0) g.table_at_clear.push_back(static_cast<int>(dict.size()));
      reset();
      width = g.code_size + 1;
      prev = -1;
      continue;
    }
    if (code == end) break;
    std::vector<int> entry;
    if (code < static_cast<int>(dict.size())) {
      entry = dict[code];
      if (prev >= 0) {
        auto n = dict[prev];
        n.push_back(entry[0]);
        dict.push_back(n);
      }
    } else {
      entry = dict[prev];
      entry.push_back(entry[0]);
      dict.push_back(entry);
    }
    g.pixels.insert(g.pixels.end(), entry.begin(), entry.end());
    prev = code;
    if (static_cast<int>(dict.size()) == (1 << width) && width < 12) ++width;
  }
  return g;
}

std::vector<Rgb> gif_rgb(const Gif& g) {
  std::vector<Rgb> out;
  for (int p : g.pixels) out.push_back(g.palette.at(p));
  return out;
}

// The PNG read with libpng itself.
struct Png {
  int width = 0, height = 0, color_type = -1, num_palette = 0;
  std::vector<Rgb> pixels;
  std::vector<std::string> text_keys;
};

Png read_png(const std::string& path) {
  Png out;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return out;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(f);
    return out;
  }
  png_init_io(png, f);
  png_read_info(png, info);
  out.width = png_get_image_width(png, info), out.height = png_get_image_height(png, info);
  out.color_type = png_get_color_type(png, info);
  png_colorp plte = nullptr;
  png_get_PLTE(png, info, &plte, &out.num_palette);
  png_textp text = nullptr;
  int ntext = 0;
  png_get_text(png, info, &text, &ntext);
  for (int k = 0; k < ntext; ++k) out.text_keys.push_back(text[k].key);
  std::vector<unsigned char> row(out.width);
  for (int r = 0; r < out.height; ++r) {
    png_read_row(png, row.data(), nullptr);
    for (int c = 0; c < out.width; ++c)
      out.pixels.push_back({plte[row[c]].red, plte[row[c]].green, plte[row[c]].blue});
  }
  png_destroy_read_struct(&png, &info, nullptr);
  std::fclose(f);
  return out;
}

struct Layout {
  int bits, order, pad;
};

TEST(ImgWrite, EveryIndexedLayoutGivesThePicturesColoursInGifAndPng) {
  for (Layout l : {Layout{1, 0, 0}, Layout{4, 0, 1}, Layout{8, 0, 3}, Layout{16, 0, 2},
                   Layout{16, 1, 2}}) {
    SCOPED_TRACE(l.bits * 10 + l.order);
    const int ncol = l.bits == 1 ? 2 : 12;
    auto value = [&](int r, int c) { return (r * 3 + c) % ncol; };
    std::vector<Rgb> want;
    for (int r = 0; r < 9; ++r)
      for (int c = 0; c < 13; ++c) want.push_back(expected_indexed(value(r, c)));
    IMG_report im = make_indexed(13, 9, l.bits, l.order, l.pad, ncol, value);
    ASSERT_EQ(PNG_write(tmp_path("layout.png").c_str(), &im), 1);
    IMG_free(&im);
    Png p = read_png(tmp_path("layout.png"));
    EXPECT_EQ(std::tuple(p.color_type, p.num_palette, p.pixels), std::tuple(PNG_COLOR_TYPE_PALETTE, 256, want));
    im = make_indexed(13, 9, l.bits, l.order, l.pad, ncol, value);
    ASSERT_EQ(GIF_write(tmp_path("layout.gif").c_str(), &im), 1);
    IMG_free(&im);
    EXPECT_EQ(gif_rgb(decode_gif(slurp(tmp_path("layout.gif")))), want);
  }
}

TEST(ImgWrite, DirectColourInBothByteOrders) {
  for (Layout l : {Layout{24, 0, 0}, Layout{24, 1, 0}, Layout{32, 0, 0}, Layout{32, 1, 0}}) {
    SCOPED_TRACE(l.bits * 10 + l.order);
    auto colour = [](int r, int c) { return Rgb{(r * 40) % 256, (c * 20) % 256, 200}; };
    std::vector<Rgb> want;
    for (int r = 0; r < 5; ++r)
      for (int c = 0; c < 7; ++c) want.push_back(colour(r, c));
    IMG_report im = make_direct(7, 5, l.bits, l.order, colour);
    ASSERT_EQ(GIF_write(tmp_path("direct.gif").c_str(), &im), 1);
    IMG_free(&im);
    EXPECT_EQ(gif_rgb(decode_gif(slurp(tmp_path("direct.gif")))), want);
    im = make_direct(7, 5, l.bits, l.order, colour);
    ASSERT_EQ(PNG_write(tmp_path("direct.png").c_str(), &im), 1);
    IMG_free(&im);
    Png p = read_png(tmp_path("direct.png"));
    EXPECT_EQ(p.pixels, want);
    EXPECT_EQ(p.text_keys, (std::vector<std::string>{"Title", "Software", "Creation Time"}));
  }
}

TEST(ImgWrite, ColourTableSizeFlagsAndCodeSize) {
  struct Case {
    int ncol, table, flags, code_size;
  };
  for (Case k : {Case{1, 2, 0x80, 2}, Case{3, 4, 0x91, 2}, Case{200, 256, 0xF7, 8}}) {
    SCOPED_TRACE(k.ncol);
    IMG_report im = make_indexed(20, 20, 8, 0, 0, k.ncol,
                                 [&](int r, int c) { return (r * 20 + c) % k.ncol; });
    ASSERT_EQ(GIF_write(tmp_path("table.gif").c_str(), &im), 1);
    IMG_free(&im);
    Gif g = decode_gif(slurp(tmp_path("table.gif")));
    EXPECT_EQ(std::tuple(g.flags, g.table, g.code_size), std::tuple(k.flags, k.table, k.code_size));
    ASSERT_FALSE(g.codes.empty());
    EXPECT_EQ(g.codes.front(), 1 << k.code_size);
    EXPECT_EQ(static_cast<int>(g.pixels.size()), 400);
  }
}

TEST(ImgWrite, LongPicturesRestartTheTableWithClearCodes) {
  // A uniform picture of n pixels builds strings of length 1, 2, 3, ...; with
  // two colours the 4090 free codes are used up after about 8.4 million pixels,
  // so a picture of noise fills the table much sooner: use both.
  IMG_report im = make_indexed(1000, 1000, 8, 0, 0, 2, [](int r, int c) {
    return static_cast<int>(((r * 7919u + c * 104729u) * 2654435761u) >> 31);
  });
  ASSERT_EQ(GIF_write(tmp_path("noise.gif").c_str(), &im), 1);
  IMG_free(&im);
  Gif g = decode_gif(slurp(tmp_path("noise.gif")));
  EXPECT_EQ(g.codes.front(), 4);
  ASSERT_GE(g.table_at_clear.size(), 2u);
  for (int n : g.table_at_clear) EXPECT_EQ(n, 4096);
  EXPECT_EQ(g.pixels.size(), 1000u * 1000u);
  EXPECT_EQ(g.codes.back(), 5);
}

TEST(ImgWrite, InterlacedAndTransparent) {
  GIF_interlace(1);
  GIF_transparent(1);
  IMG_report im = make_indexed(5, 19, 8, 0, 0, 4, [](int r, int) { return r % 4; });
  ASSERT_EQ(GIF_write(tmp_path("inter.gif").c_str(), &im), 1);
  IMG_free(&im);
  GIF_interlace(0);
  GIF_transparent(0);
  Gif g = decode_gif(slurp(tmp_path("inter.gif")));
  EXPECT_TRUE(g.has_gce);
  ASSERT_EQ(g.pixels.size(), 95u);
  // Rows in the file come pass by pass: 0, 8, 16, then 4, 12, ...
  const int order[] = {0, 8, 16, 4, 12, 2, 6, 10, 14, 18, 1, 3, 5, 7, 9, 11, 13, 15, 17};
  for (int i = 0; i < 19; ++i)
    EXPECT_EQ(g.palette[g.pixels[i * 5]], expected_indexed(order[i] % 4)) << i;
  // gif2rgb puts the rows back in place.
  const std::string out = tmp_path("inter.rgb");
  ASSERT_EQ(std::system(("gif2rgb -1 -o " + out + " " + tmp_path("inter.gif")).c_str()), 0);
  const auto rgb = slurp(out);
  ASSERT_EQ(rgb.size(), 95u * 3u);
  for (int r = 0; r < 19; ++r)
    EXPECT_EQ((Rgb{rgb[r * 15], rgb[r * 15 + 1], rgb[r * 15 + 2]}), expected_indexed(r % 4));
}

TEST(ImgWrite, XwdHeaderColoursAndPixels) {
  IMG_report im = make_indexed(10, 3, 8, 1, 2, 5, [](int r, int c) { return (r + c) % 5; });
  std::strcpy(im.info, "xwdump");
  ASSERT_EQ(XWD_write(tmp_path("a.xwd").c_str(), &im), 1);
  const auto f = slurp(tmp_path("a.xwd"));
  auto be32 = [&](std::size_t o) {
    return static_cast<unsigned>(f[o] << 24 | f[o + 1] << 16 | f[o + 2] << 8 | f[o + 3]);
  };
  ASSERT_EQ(f.size(), 107u + 5 * 12 + 3 * 12);
  EXPECT_EQ(be32(0), 107u);
  EXPECT_EQ(be32(4), 7u);
  EXPECT_EQ(be32(13 * 4), 3u);  // PseudoColor
  EXPECT_EQ(be32(18 * 4), 5u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&f[100])), "xwdump");
  EXPECT_EQ(be32(107 + 12 * 2), 2u);
  EXPECT_EQ(f[107 + 12 * 2 + 10], 7);
  EXPECT_EQ(std::memcmp(&f[107 + 60], im.data, 36), 0);
  IMG_free(&im);
  EXPECT_EQ(XWD_write("/nonexistent/dir/a.xwd", &im), 0);
  EXPECT_EQ(GIF_write("/nonexistent/dir/a.gif", &im), 0);
  EXPECT_EQ(PNG_write("/nonexistent/dir/a.png", &im), 0);
}

}  // namespace
