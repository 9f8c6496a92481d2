// RRWDS: decoding a whole site image from memory, and the radar program
// plotting one to PNG in batch mode on the site's own domain and on a
// latitude-longitude one (wedges reprojected).
//
// The image is the worst case for the plotter: the level changes at every
// bin, so that each of the 72,000 bins is a wedge of its own.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "zor/rrwds.h"

namespace {

namespace fs = std::filesystem;

// OAX, range 200, 19:35, elevation 0.5, 24 November; levels 1 to 6 in turn.
std::vector<std::uint8_t> busy_image() {
  std::vector<std::uint8_t> b = {'O', 'A', 'X', 0x00, 0, 0x64, 0x35, 0, 0x00, 0x05, 0x24, 0x11};
  for (int a = 0; a < zor::rrwds::kRadials; ++a) {
    b.insert(b.end(), 4, 0);
    for (int g = 0; g < 25; ++g) {
      std::uint32_t bits = 0;
      for (int k = 0; k < 8; ++k) bits |= static_cast<std::uint32_t>(1 + (a + 8 * g + k) % 6) << (3 * k);
      b.insert(b.end(), {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
                         static_cast<std::uint8_t>(bits >> 16)});
    }
    b.push_back(0);
  }
  return b;
}

void BM_decode(benchmark::State& state) {
  const auto bytes = busy_image();
  zor::rrwds::Image img;
  for (auto _ : state) {
    benchmark::DoNotOptimize(zor::rrwds::decode(bytes, &img, nullptr));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_decode);

void plot_to_png(benchmark::State& state, const std::string& options) {
  const fs::path dir = fs::temp_directory_path() / ("rrwds_bench_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const auto bytes = busy_image();
  std::ofstream(dir / "oax.rrwds", std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  const std::string cmd = "cd '" + dir.string() + "' && env -u DISPLAY zordefault=none '" + ZOR_RADAR_BINARY +
                          "' -ba -inp rrwds " + options + " -of png:@bench.png @oax.rrwds </dev/null >/dev/null 2>&1";
  for (auto _ : state) {
    const int rc = std::system(cmd.c_str());
    if (!WIFEXITED(rc) || WEXITSTATUS(rc) != 0) {
      state.SkipWithError("radar failed");
      break;
    }
  }
  fs::remove_all(dir);
}

void BM_program_site_domain(benchmark::State& state) { plot_to_png(state, ""); }
void BM_program_latlon(benchmark::State& state) { plot_to_png(state, "-pd ll,41.3,-96.4,61,41,0.1,0.1"); }
BENCHMARK(BM_program_site_domain)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_program_latlon)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
