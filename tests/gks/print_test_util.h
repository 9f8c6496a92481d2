// Helpers of the print-device tests: a fixed scene drawn through the kernel,
// file reading, and PostScript rendered by Ghostscript into an RGB raster.
#pragma once

#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "../common/files.h"
#include "zor/clr.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"

namespace zor::test {

// Output files go to the test process's own scratch folder.
inline std::string out_path(const std::string& name) { return scratch(name); }

// Every print test starts from a pinned clock and fresh device states.
inline void reset_devices() {
  zor::gks::set_fixed_time(1700000000);  // Tue Nov 14 22:13:20 2023 UTC
  zor::gks::reset_ps();
  zor::gks::reset_hpgl();
  zor::gks::reset_meta();
  zor::gks::reset_color_model();
  zor::clr::reset();
}

// Opens a workstation of `type` on `conn` and sets it up as the plot
// framework does: whole-display transformation 1 (world = NDC) and the
// bundled colour table.
inline bool open_ws(Gws_type type, const std::string& conn) {
  if (gopen_gks(nullptr, 0) != 0) return false;
  if (gopen_ws(1, conn.c_str(), type) != 0) {
    gclose_gks();
    return false;
  }
  CLR_read_table(nullptr);
  Glim offset;
  GPH_reset(1, type, 0.0f, &offset);
  gsel_norm_tran(1);
  return true;
}

inline void close_ws() {
  gclose_ws(1);
  gclose_gks();
}

// Where the scene puts things, in NDC of transformation 1.
struct Scene {
  static constexpr float fill_x0 = 0.10f, fill_x1 = 0.30f, fill_y0 = 0.10f, fill_y1 = 0.30f;
  static constexpr float line_x0 = 0.50f, line_x1 = 0.90f, line_y = 0.20f;
  static constexpr float mark_x = 0.50f, mark_y = 0.50f;
  static constexpr float text_x = 0.10f, text_y = 0.55f, text_h = 0.06f;
  static constexpr float blank_x = 0.75f, blank_y = 0.60f;
};

// Lines, a fill area, markers and text in the bundled colours.
inline void draw_scene() {
  GPH_set_color(40, 1.0f, 0.0f, 0.0f);  // a pure red of our own
  GPH_set_color(41, 0.0f, 0.0f, 1.0f);  // and a pure blue
  gset_fill_int_style(GSOLID);
  gset_fill_colr_ind(41);
  GPH_frect(Scene::fill_x0, Scene::fill_y0, Scene::fill_x1, Scene::fill_y1);

  gset_line_colr_ind(40);
  gset_linewidth(10.0f);
  GPH_line(Scene::line_x0, Scene::line_y, Scene::line_x1, Scene::line_y);
  gset_linewidth(1.0f);
  gset_linetype(2);
  GPH_rect(0.05f, 0.05f, 0.95f, 0.70f);
  gset_linetype(1);

  gset_marker_colr_ind(41);
  gset_marker_type(2);
  gset_marker_size(3.0f);
  gset_marker_width(4.0f);
  const Gpt marks[3] = {{Scene::mark_x, Scene::mark_y}, {Scene::mark_x + 0.1f, Scene::mark_y},
                        {Scene::mark_x + 0.2f, Scene::mark_y}};
  gpolymarker(3, marks);

  gset_text_colr_ind(40);
  gset_char_ht(Scene::text_h);
  gset_text_width(4.0f);
  const Gpt at{Scene::text_x, Scene::text_y};
  gtext(&at, "ZOR");
}

// An RGB raster read back with libpng.
struct Raster {
  int width = 0;
  int height = 0;
  std::vector<unsigned char> rgb;
  const unsigned char* at(int x, int y) const { return &rgb[(static_cast<std::size_t>(y) * width + x) * 3]; }
  // 0xRRGGBB.
  std::uint32_t pixel(int x, int y) const {
    const unsigned char* p = at(x, y);
    return static_cast<std::uint32_t>(p[0]) << 16 | static_cast<std::uint32_t>(p[1]) << 8 | p[2];
  }
  int count(int x0, int y0, int x1, int y1, std::uint32_t c) const {
    int n = 0;
    for (int y = std::max(y0, 0); y < std::min(y1, height); ++y)
      for (int x = std::max(x0, 0); x < std::min(x1, width); ++x) n += pixel(x, y) == c;
    return n;
  }
  bool is_white(int x, int y) const { return at(x, y)[0] > 240 && at(x, y)[1] > 240 && at(x, y)[2] > 240; }
  // Dark or coloured pixels in a box around (x, y).
  int inked_near(int x, int y, int r) const {
    int n = 0;
    for (int j = y - r; j <= y + r; ++j)
      for (int i = x - r; i <= x + r; ++i)
        if (i >= 0 && j >= 0 && i < width && j < height && !is_white(i, j)) ++n;
    return n;
  }
};

// A plot's white frame: the first white pixels from the picture's edges
// along the middle row and a column clear of the labels and the bar. Any
// picture with width, height and pixel(x, y) as 0xRRGGBB.
struct FrameBox {
  int left = -1, right = -1, top = -1, bottom = -1;
  int cx() const { return (left + right) / 2; }
  int cy() const { return (top + bottom) / 2; }
  bool found() const { return left >= 0 && right > left + 100 && top >= 0 && bottom > top + 100; }
  bool operator==(const FrameBox&) const = default;
};

template <class Picture>
FrameBox frame_of(const Picture& p) {
  FrameBox b;
  const int y = p.height / 2, x = p.width * 3 / 5;
  for (int i = 0; i < p.width && b.left < 0; ++i)
    if (p.pixel(i, y) == 0xFFFFFF) b.left = i;
  for (int i = p.width - 1; i >= 0 && b.right < 0; --i)
    if (p.pixel(i, y) == 0xFFFFFF) b.right = i;
  for (int j = 0; j < p.height && b.top < 0; ++j)
    if (p.pixel(x, j) == 0xFFFFFF) b.top = j;
  for (int j = p.height - 1; j >= 0 && b.bottom < 0; --j)
    if (p.pixel(x, j) == 0xFFFFFF) b.bottom = j;
  return b;
}

inline bool read_png(const std::string& path, Raster& out) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
  image.format = PNG_FORMAT_RGB;
  out.width = static_cast<int>(image.width);
  out.height = static_cast<int>(image.height);
  out.rgb.assign(PNG_IMAGE_SIZE(image), 0);
  const bool ok = png_image_finish_read(&image, nullptr, out.rgb.data(), 0, nullptr) != 0;
  png_image_free(&image);
  return ok;
}

inline bool have_ghostscript() { return std::system("gs --version > /dev/null 2>&1") == 0; }

// Renders a PostScript or EPS file on a letter page at 72 dpi, so one
// pixel is one point.
inline int render(const std::string& ps, const std::string& png) {
  std::remove(png.c_str());
  const std::string cmd = "gs -q -dSAFER -dBATCH -dNOPAUSE -sPAPERSIZE=letter -sDEVICE=png16m -r72 -sOutputFile=" + png + " " + ps +
                          " > " + png + ".log 2>&1";
  return std::system(cmd.c_str());
}

}  // namespace zor::test
