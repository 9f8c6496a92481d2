// The image writers on records of every pixel layout, read back with an
// independent LZW decoder, giflib's gif2rgb and libpng; the readers on round
// trips and on damaged files.
#include <gtest/gtest.h>
#include <png.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "../common/files.h"
#include "zor/img.h"

namespace {

const auto tmp_path = zor::test::scratch;
using zor::test::slurp;
const auto spit = zor::test::write_file;

std::vector<unsigned char> bytes_of(const std::string& path) {
  const std::string s = slurp(path);
  return {s.begin(), s.end()};
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

// The PNG read with libpng itself: its format flags, palette size and pixels.
struct Png {
  png_uint_32 format = 0, num_palette = 0;
  std::vector<Rgb> pixels;
};

Png read_png(const std::string& path) {
  Png out;
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) return out;
  out.format = image.format, out.num_palette = image.colormap_entries;
  image.format = PNG_FORMAT_RGB;
  std::vector<unsigned char> rgb(PNG_IMAGE_SIZE(image));
  if (png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr) == 0) return out;
  for (std::size_t i = 0; i + 2 < rgb.size(); i += 3) out.pixels.push_back({rgb[i], rgb[i + 1], rgb[i + 2]});
  return out;
}

struct Layout {
  int bits, order, pad;
};

TEST(ImgWrite, EveryLayoutGivesThePicturesColoursInGifAndPng) {
  for (Layout l : {Layout{1, 0, 0}, Layout{4, 0, 1}, Layout{8, 0, 3}, Layout{16, 0, 2}, Layout{16, 1, 2},
                   Layout{24, 0, 0}, Layout{24, 1, 0}, Layout{32, 0, 0}, Layout{32, 1, 0}}) {
    SCOPED_TRACE(l.bits * 10 + l.order);
    const bool direct = l.bits >= 24;
    const int ncol = l.bits == 1 ? 2 : 12;
    auto value = [&](int r, int c) { return (r * 3 + c) % ncol; };
    auto colour = [](int r, int c) { return Rgb{(r * 40) % 256, (c * 20) % 256, 200}; };
    auto make = [&] {
      return direct ? make_direct(13, 9, l.bits, l.order, colour) : make_indexed(13, 9, l.bits, l.order, l.pad, ncol, value);
    };
    std::vector<Rgb> want;
    for (int r = 0; r < 9; ++r)
      for (int c = 0; c < 13; ++c) want.push_back(direct ? colour(r, c) : expected_indexed(value(r, c)));
    IMG_report im = make();
    ASSERT_EQ(PNG_write(tmp_path("layout.png").c_str(), &im), 1);
    IMG_free(&im);
    Png p = read_png(tmp_path("layout.png"));
    EXPECT_EQ(std::tuple(p.format & PNG_FORMAT_FLAG_COLORMAP, p.num_palette, p.pixels),
              std::tuple(PNG_FORMAT_FLAG_COLORMAP, 256u, want));
    const std::string file = slurp(tmp_path("layout.png"));
    for (const char* key : {"tEXtTitle", "tEXtSoftware", "tEXtCreation Time"}) EXPECT_NE(file.find(key), std::string::npos);
    im = make();
    ASSERT_EQ(GIF_write(tmp_path("layout.gif").c_str(), &im), 1);
    IMG_free(&im);
    EXPECT_EQ(gif_rgb(decode_gif(bytes_of(tmp_path("layout.gif")))), want);
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
    Gif g = decode_gif(bytes_of(tmp_path("table.gif")));
    ASSERT_FALSE(g.codes.empty());
    EXPECT_EQ(std::tuple(g.flags, g.table, g.code_size, g.codes.front(), g.pixels.size()),
              std::tuple(k.flags, k.table, k.code_size, 1 << k.code_size, 400u));
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
  Gif g = decode_gif(bytes_of(tmp_path("noise.gif")));
  ASSERT_GE(g.table_at_clear.size(), 2u);
  for (int n : g.table_at_clear) EXPECT_EQ(n, 4096);
  EXPECT_EQ(std::tuple(g.codes.front(), g.pixels.size(), g.codes.back()), std::tuple(4, 1000u * 1000u, 5));
}

TEST(ImgWrite, InterlacedAndTransparent) {
  GIF_interlace(1);
  GIF_transparent(1);
  IMG_report im = make_indexed(5, 19, 8, 0, 0, 4, [](int r, int) { return r % 4; });
  ASSERT_EQ(GIF_write(tmp_path("inter.gif").c_str(), &im), 1);
  IMG_free(&im);
  GIF_interlace(0);
  GIF_transparent(0);
  Gif g = decode_gif(bytes_of(tmp_path("inter.gif")));
  EXPECT_TRUE(g.has_gce);
  ASSERT_EQ(g.pixels.size(), 95u);
  // Rows in the file come pass by pass: 0, 8, 16, then 4, 12, ...
  const int order[] = {0, 8, 16, 4, 12, 2, 6, 10, 14, 18, 1, 3, 5, 7, 9, 11, 13, 15, 17};
  for (int i = 0; i < 19; ++i)
    EXPECT_EQ(g.palette[g.pixels[i * 5]], expected_indexed(order[i] % 4)) << i;
  // gif2rgb puts the rows back in place.
  const std::string out = tmp_path("inter.rgb");
  ASSERT_EQ(std::system(("gif2rgb -1 -o " + out + " " + tmp_path("inter.gif")).c_str()), 0);
  const auto rgb = bytes_of(out);
  ASSERT_EQ(rgb.size(), 95u * 3u);
  for (int r = 0; r < 19; ++r)
    EXPECT_EQ((Rgb{rgb[r * 15], rgb[r * 15 + 1], rgb[r * 15 + 2]}), expected_indexed(r % 4));
}

TEST(ImgWrite, XwdHeaderColoursAndPixels) {
  IMG_report im = make_indexed(10, 3, 8, 1, 2, 5, [](int r, int c) { return (r + c) % 5; });
  std::strcpy(im.info, "xwdump");
  ASSERT_EQ(XWD_write(tmp_path("a.xwd").c_str(), &im), 1);
  const auto f = bytes_of(tmp_path("a.xwd"));
  auto be32 = [&](std::size_t o) {
    return static_cast<unsigned>(f[o] << 24 | f[o + 1] << 16 | f[o + 2] << 8 | f[o + 3]);
  };
  ASSERT_EQ(f.size(), 107u + 5 * 12 + 3 * 12);
  // Header size, version, visual class (PseudoColor), colours; colour 2's entry.
  EXPECT_EQ(std::tuple(be32(0), be32(4), be32(13 * 4), be32(18 * 4)), std::tuple(107u, 7u, 3u, 5u));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&f[100])), "xwdump");
  EXPECT_EQ(std::tuple(be32(107 + 12 * 2), f[107 + 12 * 2 + 10]), std::tuple(2u, 7));
  EXPECT_EQ(std::memcmp(&f[107 + 60], im.data, 36), 0);
  IMG_free(&im);
  for (auto* write : {XWD_write, GIF_write, PNG_write}) EXPECT_EQ(write("/nonexistent/dir/a", &im), 0);
}

// An 8-bit indexed picture of `ncol` colours with padded rows.
IMG_report picture(int width, int height, int ncol, int pad) {
  return make_indexed(width, height, 8, 0, pad, ncol, [&](int r, int c) { return (r * 5 + c * c) % ncol; });
}

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

TEST(ImgRead, GifPngAndXwdRoundTrips) {
  using Writer = int (*)(const char*, IMG_report*);
  const struct {
    const char* file;
    Writer write;
    int interlace;
  } cases[] = {{"rt.gif", GIF_write, 0}, {"rt.gif", GIF_write, 1}, {"rt.png", PNG_write, 0}, {"rt.xwd", XWD_write, 0}};
  for (const auto& k : cases) {
    SCOPED_TRACE(std::string(k.file) + (k.interlace ? " interlaced" : ""));
    IMG_report im = picture(37, 23, 40, 3);
    std::strcpy(im.info, "radar window");
    const auto want = colours(im);  // the writers may remap the record
    GIF_interlace(k.interlace);
    ASSERT_EQ(k.write(tmp_path(k.file).c_str(), &im), 1);
    GIF_interlace(0);
    IMG_report back;
    ASSERT_EQ(IMG_read(tmp_path(k.file).c_str(), &back, 0), 1);
    EXPECT_EQ(std::tuple(back.width, back.height), std::tuple(37, 23));
    EXPECT_EQ(colours(back), want);
    if (k.write == GIF_write) { EXPECT_STREQ(back.info, "GIF"); }
    if (k.write == PNG_write) { EXPECT_EQ(std::tuple(back.color_type, back.num_colors), std::tuple(1, 256)); }
    if (k.write == XWD_write) {  // the pixels and the table as they were
      EXPECT_EQ(std::tuple(std::string(back.info), back.bytes_line, back.num_colors), std::tuple("radar window", 40, 40));
      EXPECT_EQ(std::memcmp(back.data, im.data, 40 * 23), 0);
    }
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
