// The in-memory raster device against the real X11 device on an Xvfb server:
// the same drawings through the kernel on both, captured and compared pixel
// for pixel. Prints the share of identical pixels of each drawing.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
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
  std::size_t same = 0, painted = 0, painted_same = 0;
  for (std::size_t i = 0; i < window.pixels.size(); ++i) {
    const bool eq = window.pixels[i] == memory.pixels[i];
    same += eq;
    if (window.pixels[i] != 0 || memory.pixels[i] != 0) {
      ++painted;
      painted_same += eq;
    }
  }
  const double share = static_cast<double>(same) / static_cast<double>(window.pixels.size());
  std::printf("%-16s identical %8.4f%% of all pixels, %8.4f%% of %zu drawn\n", name, 100.0 * share,
              painted ? 100.0 * static_cast<double>(painted_same) / static_cast<double>(painted) : 100.0,
              painted);
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
    {"Fills", 0.999, [] {
      rng().seed(11);
      for (int i = 0; i < 300; ++i) {
        const int n = 3 + i % 6;
        std::vector<Gpt> p;
        const float cx = uniform(0, 511), cy = uniform(0, 511), r = uniform(2, 60);
        for (int k = 0; k < n; ++k) p.push_back(at(cx + uniform(-r, r), cy + uniform(-r, r)));
        gset_fill_colr_ind(1 + i % 20);
        gfill_area(n, p.data());
      }
    }},
    {"ThinAndWideLines", 0.999, [] {
      rng().seed(12);
      for (int i = 0; i < 200; ++i) {
        std::vector<Gpt> p;
        for (int k = 0; k < 2 + i % 4; ++k) p.push_back(at(uniform(-20, 530), uniform(-20, 530)));
        gset_linewidth(static_cast<float>(i % 5));
        gset_line_colr_ind(1 + i % 20);
        gpolyline(static_cast<int>(p.size()), p.data());
      }
    }},
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
    {"StrokeText", 0.999, [] {
      const char* lines[] = {"RADAR DATA PLOTTING", "KTLX 0.5 deg Reflectivity", "12:34 UTC 23 NOV",
                             "dBZ -30 5 20 35 50 65", "Range 230 km"};
      for (int i = 0; i < 5; ++i) {
        gset_char_ht(0.02f + 0.01f * i);
        gset_text_width(static_cast<float>(i % 3));
        gset_text_colr_ind(2 + 3 * i);
        const Gpt up{std::sin(0.2f * i), std::cos(0.2f * i)};
        gset_char_up_vec(&up);
        const Gpt p = at(20.0f, 60.0f + 90.0f * i);
        gtext(&p, lines[i]);
      }
    }},
    {"ClippedDrawing", 0.999, [] {
      const Glim vp{0.2f, 0.7f, 0.3f, 0.8f};
      gset_vp(1, &vp);
      gset_win(1, &vp);
      gsel_norm_tran(1);
      rng().seed(14);
      for (int i = 0; i < 150; ++i) {
        std::vector<Gpt> p;
        for (int k = 0; k < 4; ++k) p.push_back(at(uniform(0, 511), uniform(0, 511)));
        gset_fill_colr_ind(1 + i % 20);
        gset_line_colr_ind(1 + (i + 7) % 20);
        gset_linewidth(static_cast<float>(i % 4));
        if (i % 2) gfill_area(4, p.data());
        else gpolyline(4, p.data());
      }
    }},
    {"RadarSweep", 0.999, [] {
      const float pi = 3.14159265f;
      for (int r = 0; r < 360; ++r) {
        const float a0 = r * pi / 180.0f, a1 = (r + 1) * pi / 180.0f;
        for (int g = 0; g < 230; ++g) {
          const float d0 = g * 1.1f, d1 = (g + 1) * 1.1f;
          const Gpt p[5] = {at(255 + d0 * std::sin(a0), 255 - d0 * std::cos(a0)),
                            at(255 + d1 * std::sin(a0), 255 - d1 * std::cos(a0)),
                            at(255 + d1 * std::sin(a1), 255 - d1 * std::cos(a1)),
                            at(255 + d0 * std::sin(a1), 255 - d0 * std::cos(a1)),
                            at(255 + d0 * std::sin(a0), 255 - d0 * std::cos(a0))};
          gset_fill_colr_ind(1 + (g / 12 + r / 20) % 20);
          gfill_area(5, p);
        }
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
