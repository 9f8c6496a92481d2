// The memory raster against the X11 device under Xvfb on drawings whose dashes,
// stipples and marker widths each realises its own way (fills: mem_raster_test).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "../common/capture.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/img.h"

using namespace zor::gks;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

using Drawing = std::function<void()>;

Gpt at(float px, float py) { return {px / 511.0f, 1.0f - py / 511.0f}; }

void palette() {
  for (int i = 0; i < 20; ++i) {
    const float t = static_cast<float>(i) / 19.0f;
    Gcolr_rep c{t, std::fmod(t * 3.0f, 1.0f), 1.0f - t};
    gset_colr_rep(1, i, &c);
  }
  Gcolr_rep shade{0.7f, 0.35f, 0.1f};  // between two 8-bit levels
  gset_colr_rep(1, 20, &shade);
}

struct Picture {
  std::vector<std::uint32_t> pixels;
  int width = 0, height = 0;
};

// Opens a window workstation on the device in use, draws and captures.
bool draw_on(const Drawing& drawing, Picture* out) {
  if (gopen_gks(nullptr, 0) != 0) return false;
  if (gopen_ws(1, "", GWS_WINDOW) != 0) return false;
  palette();
  gset_linewidth(0.0f);
  drawing();
  zor::test::Capture cap;
  const bool ok = current_device()->capture(cap.img) == 1 && cap.img.bits_pixel == 32;
  out->width = cap.img.width;
  out->height = cap.img.height;
  for (int y = 0; ok && y < out->height; ++y)
    for (int x = 0; x < out->width; ++x) out->pixels.push_back(cap.pixel(x, y));
  gclose_ws(1);
  gclose_gks();
  kernel().reset();
  reset_color_model();
  return ok;
}

// Share of identical pixels between the window and the memory picture.
double identical_share(const Drawing& drawing, const char* name) {
  Picture window, memory;
  unregister_device(GWS_WINDOW);
  EXPECT_TRUE(draw_on(drawing, &window)) << name << ": window";
  register_device(GWS_WINDOW, "memory", make_memory_device);
  EXPECT_TRUE(draw_on(drawing, &memory)) << name << ": memory";
  unregister_device(GWS_WINDOW);
  if (window.pixels.size() != memory.pixels.size() || window.pixels.empty()) {
    ADD_FAILURE() << name << ": sizes differ " << window.width << "x" << window.height << " vs "
                  << memory.width << "x" << memory.height;
    return 0.0;
  }
  std::size_t same = 0, painted = 0;
  for (std::size_t i = 0; i < window.pixels.size(); ++i) {
    same += window.pixels[i] == memory.pixels[i];
    painted += window.pixels[i] != 0 || memory.pixels[i] != 0;
  }
  const double share = static_cast<double>(same) / static_cast<double>(window.pixels.size());
  std::printf("%-16s identical %8.4f%% of all pixels, %zu drawn\n", name, 100.0 * share, painted);
  EXPECT_GT(painted, 1000u) << name << ": the drawing drew nothing";
  return share;
}

std::mt19937& rng() {
  static std::mt19937 r;
  return r;
}
float uniform(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(rng()); }

// Each drawing, with the share of pixels the memory raster must draw as
// the window does.
struct Case {
  const char* name;
  double min_share;
  Drawing drawing;
};

const Case kCases[] = {
    {"Dashes", 0.998, [] {
      rng().seed(13);
      for (int i = 0; i < 120; ++i) {
        std::vector<Gpt> p;
        for (int k = 0; k < 2 + i % 3; ++k) p.push_back(at(uniform(0, 511), uniform(0, 511)));
        gset_linetype(2 + i % 4);
        gset_linewidth(i % 3 == 0 ? 2.0f : 0.0f);
        gset_line_colr_ind(1 + i % 20);
        gpolyline(static_cast<int>(p.size()), p.data());
      }
    }},
    {"Stipples", 0.999, [] {
      gset_fill_int_style(GPAT);
      for (int i = 0; i < 20; ++i) {
        const float x = 10.0f + (i % 5) * 100.0f, y = 10.0f + (i / 5) * 120.0f;
        const Gpt p[5] = {at(x, y), at(x + 90, y + 7), at(x + 80, y + 100), at(x + 3, y + 90), at(x, y)};
        gset_fill_style_ind(i);
        gset_fill_colr_ind(1 + i);
        gfill_area(5, p);
      }
    }},
    {"Markers", 0.999, [] {
      for (int type = 1; type <= 9; ++type)
        for (int k = 0; k < 6; ++k) {
          gset_marker_type(type);
          gset_marker_size(0.5f + k * 0.6f);
          gset_marker_width(static_cast<float>(k % 3));
          gset_marker_colr_ind(1 + (type + k) % 20);
          const Gpt p = at(30.0f + k * 80.0f, 30.0f + type * 50.0f);
          gpolymarker(1, &p);
        }
    }},
};

class MemoryVsXvfbTest : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    if (find_device(GWS_WINDOW) == nullptr) GTEST_SKIP() << "needs the X11 device";
  }
};

TEST_P(MemoryVsXvfbTest, DrawsAsTheWindowDoes) {
  EXPECT_GE(identical_share(GetParam().drawing, GetParam().name), GetParam().min_share);
}

INSTANTIATE_TEST_SUITE_P(Drawings, MemoryVsXvfbTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
