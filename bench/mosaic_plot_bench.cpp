// End-to-end time of the radar program plotting a full fine-grid KAVRAD
// mosaic (5120 x 5760 cells, 29.5 million) to a PNG file in batch mode, on
// the mosaic's own latitude-longitude grid and on the default region (polar
// stereographic, cells reprojected).
//
// The mosaic is generated: light echo over the whole United States, cut by
// eighty storm rings of 45 to 65 dBZ, so that rows hold many runs of many
// colours. The file is made once, before the timing.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "mosaic_gen.h"

namespace {

namespace fs = std::filesystem;

struct Setup {
  fs::path dir;
  fs::path file;
  bool ok = false;
  Setup() {
    dir = fs::temp_directory_path() / ("mosaic_plot_bench_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    file = dir / "us_fine.kavrad";
    zor::mosaicgen::Pattern p;
    ok = p.parse("gradient:25:49:-124:-67:5:40", nullptr);
    for (int i = 0; i < 80; ++i) {
      char ring[120];
      const double lat = 28.0 + (i * 7 % 19), lon = -120.0 + (i * 13 % 48);
      std::snprintf(ring, sizeof ring, "ring:%.1f:%.1f:%d:%d:%d", lat, lon, 10 + i % 20, 40 + i % 50, 45 + 5 * (i % 5));
      ok = ok && p.parse(ring, nullptr);
    }
    ok = ok && zor::mosaicgen::write_file("kavrad", p, {}, file.string(), nullptr);
  }
  // MOSAIC_PLOT_BENCH_KEEP keeps the file and the picture for a look.
  ~Setup() {
    if (std::getenv("MOSAIC_PLOT_BENCH_KEEP") == nullptr) fs::remove_all(dir);
  }
};

Setup& setup() {
  static Setup s;
  return s;
}

void plot_to_png(benchmark::State& state, const std::string& options) {
  if (!setup().ok) {
    state.SkipWithError("cannot write the mosaic");
    return;
  }
  const std::string cmd = "cd '" + setup().dir.string() + "' && env -u DISPLAY zordefault=none '" +
                          ZOR_RADAR_BINARY + "' -ba -inp kavrad " + options + " -of png:@bench.png @" +
                          setup().file.string() + " </dev/null >/dev/null 2>&1";
  // The machine may be shared: the program's own processor time is counted
  // beside the wall-clock time.
  auto child_cpu = [] {
    rusage u{};
    getrusage(RUSAGE_CHILDREN, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
  };
  const double cpu0 = child_cpu();
  for (auto _ : state) {
    const int rc = std::system(cmd.c_str());
    if (!WIFEXITED(rc) || WEXITSTATUS(rc) != 0) {
      state.SkipWithError("radar failed");
      return;
    }
  }
  state.counters["program_cpu_ms"] =
      benchmark::Counter(1e3 * (child_cpu() - cpu0) / static_cast<double>(state.iterations()));
  state.counters["cells"] = 5120.0 * 5760.0;
  state.counters["file_MB"] = static_cast<double>(fs::file_size(setup().file)) / 1e6;
}

// On the mosaic's own grid (the whole grid, latitude-longitude).
void BM_KavradFineOwnGridToPng(benchmark::State& state) {
  plot_to_png(state, "-pd ll,39,-96,513,577,0.128906,0.085937");
}
// On the default region (polar stereographic): cells reprojected.
void BM_KavradFineUsRegionToPng(benchmark::State& state) { plot_to_png(state, ""); }

BENCHMARK(BM_KavradFineOwnGridToPng)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(10);
BENCHMARK(BM_KavradFineUsRegionToPng)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(10);

}  // namespace
