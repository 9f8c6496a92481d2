// A full super-resolution sweep drawn through the kernel: 720 radials of
// 0.5 degrees by 1832 gates, each gate a filled five-point polygon as the
// NIDS plotter draws it (1.32 million), then the picture captured and
// written as PNG. Once on the in-memory raster device, once on an X11
// window of an Xvfb server (skipped when the X11 device or Xvfb is missing).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "../tests/common/xvfb.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/gks_dev.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/img.h"

namespace {

constexpr int kRadials = 720;
constexpr int kGates = 1832;
constexpr float kPi = 3.14159265f;

struct Quad {
  Gpt pts[5];
  int colour;
};

// The sweep's cells in world units (the unit square), centred, with a
// reflectivity-like level pattern over 15 colours.
const std::vector<Quad>& sweep() {
  static const std::vector<Quad> quads = [] {
    std::vector<Quad> q;
    q.reserve(static_cast<std::size_t>(kRadials) * kGates);
    const float gate = 0.5f / kGates;
    for (int r = 0; r < kRadials; ++r) {
      const float a0 = r * 0.5f * kPi / 180.0f, a1 = (r + 1) * 0.5f * kPi / 180.0f;
      const float s0 = std::sin(a0), c0 = std::cos(a0), s1 = std::sin(a1), c1 = std::cos(a1);
      for (int g = 0; g < kGates; ++g) {
        const float d0 = g * gate, d1 = (g + 1) * gate;
        Quad cell;
        cell.pts[0] = {0.5f + d0 * s0, 0.5f + d0 * c0};
        cell.pts[1] = {0.5f + d1 * s0, 0.5f + d1 * c0};
        cell.pts[2] = {0.5f + d1 * s1, 0.5f + d1 * c1};
        cell.pts[3] = {0.5f + d0 * s1, 0.5f + d0 * c1};
        cell.pts[4] = cell.pts[0];
        cell.colour = 2 + ((g / 40 + r / 24) % 15);
        q.push_back(cell);
      }
    }
    return q;
  }();
  return quads;
}

void set_colours() {
  for (int i = 0; i < 17; ++i) {
    const float t = static_cast<float>(i) / 16.0f;
    Gcolr_rep c{t, 1.0f - t, 0.5f * t};
    gset_colr_rep(1, i, &c);
  }
}

void draw_and_write(benchmark::State& state, const char* png_name) {
  const auto& quads = sweep();
  for (auto _ : state) {
    gclear_ws(1, GALWAYS);
    for (const auto& q : quads) {
      gset_fill_colr_ind(q.colour);
      gfill_area(5, q.pts);
    }
    IMG_report image;
    if (gget_image(&image) != 1) {
      state.SkipWithError("capture failed");
      return;
    }
    const int written = PNG_write(png_name, &image);
    IMG_free(&image);
    if (written != 1) {
      state.SkipWithError("PNG not written");
      return;
    }
  }
  state.counters["quads"] = static_cast<double>(quads.size());
  state.counters["quads_per_s"] =
      benchmark::Counter(static_cast<double>(quads.size()), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_SweepInMemory(benchmark::State& state) {
  sweep();
  zor::gks::register_device(GWS_WINDOW, "memory", zor::gks::make_memory_device);
  gopen_gks(nullptr, 0);
  if (gopen_ws(1, "", GWS_WINDOW) != 0) {
    state.SkipWithError("memory device did not open");
    return;
  }
  set_colours();
  draw_and_write(state, "raster_bench_mem.png");
  gclose_ws(1);
  gclose_gks();
  zor::gks::unregister_device(GWS_WINDOW);
  // The next workstation starts from a clean kernel and colour model.
  zor::gks::kernel().reset();
  zor::gks::reset_color_model();
}
BENCHMARK(BM_SweepInMemory)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_SweepOnXvfb(benchmark::State& state) {
  sweep();
  if (zor::gks::find_device(GWS_WINDOW) == nullptr) {
    state.SkipWithError("no X11 window device in this build");
    return;
  }
  zor::test::Xvfb server;
  if (!server.start()) {
    state.SkipWithError("Xvfb could not be started");
    return;
  }
  FLAG_set(19, 0);
  gopen_gks(nullptr, 0);
  if (gopen_ws(1, server.display().c_str(), GWS_WINDOW) != 0) {
    state.SkipWithError("X11 window did not open");
    return;
  }
  set_colours();
  draw_and_write(state, "raster_bench_x11.png");
  gclose_ws(1);
  gclose_gks();
}
BENCHMARK(BM_SweepOnXvfb)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
