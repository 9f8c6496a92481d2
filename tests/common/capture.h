// A picture captured from a workstation (memory raster or X window) as a
// 32-bit IMG_report, read as 0xRRGGBB per pixel, and the bundled colours in the same form.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "zor/clr.h"
#include "zor/gks.h"
#include "zor/img.h"

namespace zor::test {

struct Capture {
  IMG_report img;
  Capture() = default;
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  ~Capture() { std::free(img.data); }

  // 0xRRGGBB, in either byte order; 0xFFFFFFFF off the picture.
  std::uint32_t pixel(int x, int y) const {
    if (x < 0 || y < 0 || x >= img.width || y >= img.height) return 0xFFFFFFFFu;
    const unsigned char* p = img.data + static_cast<std::ptrdiff_t>(y) * img.bytes_line + 4 * x;
    const unsigned v = img.byte_order == 0 ? (p[0] | p[1] << 8 | p[2] << 16) : (p[3] | p[2] << 8 | p[1] << 16);
    return v & 0xFFFFFFu;
  }
  std::uint32_t rgb(int x, int y) const { return pixel(x, y); }
  // Pixels of `colour` within r pixels of (x, y).
  int count_near(int x, int y, std::uint32_t colour, int r = 2) const {
    int n = 0;
    for (int j = y - r; j <= y + r; ++j)
      for (int i = x - r; i <= x + r; ++i) n += pixel(i, j) == colour;
    return n;
  }
  int count(std::uint32_t colour) const {
    int n = 0;
    for (int y = 0; y < img.height; ++y)
      for (int x = 0; x < img.width; ++x) n += pixel(x, y) == colour;
    return n;
  }
  bool same_as(const Capture& o) const {
    if (img.width != o.img.width || img.height != o.img.height) return false;
    for (int y = 0; y < img.height; ++y)
      for (int x = 0; x < img.width; ++x)
        if (pixel(x, y) != o.pixel(x, y)) return false;
    return true;
  }
};

// A named colour of the current table as 0xRRGGBB.
inline std::uint32_t rgb_of(const char* name) {
  float r = 0, g = 0, b = 0;
  CLR_get_rgb(CLR_get_ind(name), &r, &g, &b);
  auto c = [](float v) { return static_cast<std::uint32_t>(v * 255.0f + 0.5f); };
  return c(r) << 16 | c(g) << 8 | c(b);
}

// Colour index `ind` of the workstation as 0xRRGGBB.
inline std::uint32_t rgb_of_index(int ind) {
  int r = 0, g = 0, b = 0;
  gget_color_rgb256(ind, &r, &g, &b);
  return static_cast<std::uint32_t>(r) << 16 | static_cast<std::uint32_t>(g) << 8 | static_cast<std::uint32_t>(b);
}

// Colours equal but for `slack` in each channel: devices round the colours they allocate.
inline bool near(std::uint32_t a, std::uint32_t b, int slack = 2) {
  for (int shift : {0, 8, 16})
    if (std::abs(static_cast<int>(a >> shift & 0xFF) - static_cast<int>(b >> shift & 0xFF)) > slack) return false;
  return true;
}

}  // namespace zor::test
