// Helpers of the radar frame and program tests: plot points as pixels of a
// captured frame, the fill colours of values, and runs of the program in a
// folder of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

#include "../common/capture.h"
#include "../common/files.h"
#include "../gks/print_test_util.h"
#include "zor/cont.h"
#include "zor/gks.h"
#include "zor/map.h"

namespace zor::test {

// The pixel of plot point (x, y) of transformation 2; false off the window
// less `margin` of its size each side, or within `border` pixels of the
// picture's edge.
inline bool plot_pixel(const Capture& cap, float x, float y, int* px, int* py, float margin = 0.0f, int border = 2) {
  Glim win;
  GPH_get_win(2, &win);
  const float mx = margin * (win.x_max - win.x_min), my = margin * (win.y_max - win.y_min);
  if (x < win.x_min + mx || x > win.x_max - mx || y < win.y_min + my || y > win.y_max - my) return false;
  *px = static_cast<int>(std::floor(xW_p(x)));
  *py = static_cast<int>(std::floor(yW_p(y)));
  return *px >= border && *py >= border && *px < cap.img.width - border && *py < cap.img.height - border;
}

// 0xRRGGBB of the fill colour of `v`, the background where nothing is filled.
inline std::uint32_t fill_rgb(float v) {
  Gattribs a;
  CONT_get_fill_attrib(v, &a);
  return rgb_of_index(a.color < 0 ? gget_back_color() : a.color);
}

// `path` linked into `dir` under its own name, as the program's "@" file
// argument: the program reads a '-' in a path as the start of extension
// text, and the checkout's path may hold one.
inline std::string linked(const std::filesystem::path& dir, const std::string& path) {
  const std::filesystem::path link = dir / std::filesystem::path(path).filename();
  if (!std::filesystem::exists(link)) std::filesystem::create_symlink(path, link);
  return "@" + link.string();
}

// Runs of the radar program in a fresh folder of the test's own, every
// argument list starting with `prefix`.
class ProgramTest : public ::testing::Test {
 protected:
  ProgramTest(const char* stem, std::string prefix) : tmp_(stem), prefix_(std::move(prefix)) {}
  ProgramRun radar(const std::string& args) { return run_radar(dir_, "", prefix_ + args); }
  std::string file(const std::string& path) const { return linked(dir_, path); }

  TempDir tmp_;
  const std::filesystem::path& dir_ = tmp_.path();
  std::string prefix_;
};

// Pixels of a picture (width, height, pixel(x, y) as 0xRRGGBB) that `keep`
// accepts.
template <class Picture, class Keep>
int count_pixels(const Picture& p, Keep keep) {
  int n = 0;
  for (int y = 0; y < p.height; ++y)
    for (int x = 0; x < p.width; ++x) n += keep(p.pixel(x, y));
  return n;
}

// The pixel of (lat, lon) in a picture of the current map domain whose plot
// fills `box` (a FrameBox); 0xFFFFFFFF where the point does not project.
template <class Picture, class Box>
std::uint32_t map_pixel(const Picture& p, const Box& box, double lat, double lon) {
  MAP_limits lim;
  MAP_get_limits(&lim);
  float x = 0, y = 0;
  if (!MAP_tran(static_cast<float>(lat), static_cast<float>(lon), &x, &y)) return 0xFFFFFFFFu;
  const int px = box.left + static_cast<int>((x - lim.x_min) / (lim.x_max - lim.x_min) * (box.right - box.left));
  const int py = box.top + static_cast<int>((lim.y_max - y) / (lim.y_max - lim.y_min) * (box.bottom - box.top));
  return p.pixel(px, py);
}

}  // namespace zor::test
