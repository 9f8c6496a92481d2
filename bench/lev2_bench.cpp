// Level II volume decoding and plotting, on the 51 MB (decompressed) volume
// KLOT20220317_000842_V06:
// - libbz2 alone decompressing the volume's records through a fixed buffer
//   (the floor any reader of the volume pays);
// - lev2dump's whole-volume summary (every message parsed, every gate of
//   every moment looked at) in this process;
// - the radar program plotting the lowest reflectivity sweep to PNG in batch
//   mode, as a user runs it, with the child's peak resident size.
#include <benchmark/benchmark.h>
#include <bzlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "child_process.h"
#include "zor/lev2.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

const std::string kVolume = std::string(ZOR_SHARED_DATA_DIR) + "/level2/KLOT20220317_000842_V06";

Bytes read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void BM_Bzip2Records(benchmark::State& state) {
  const Bytes f = read_file(kVolume);
  if (f.size() < 28) {
    state.SkipWithError("volume missing");
    return;
  }
  std::vector<char> out(300000);
  std::size_t total = 0;
  for (auto _ : state) {
    total = 0;
    std::size_t pos = 24;
    while (pos + 4 <= f.size()) {
      const std::int32_t w = static_cast<std::int32_t>(std::uint32_t{f[pos]} << 24 | std::uint32_t{f[pos + 1]} << 16 |
                                                       std::uint32_t{f[pos + 2]} << 8 | f[pos + 3]);
      const std::size_t n = static_cast<std::size_t>(w < 0 ? -static_cast<long>(w) : w);
      pos += 4;
      bz_stream bz{};
      BZ2_bzDecompressInit(&bz, 0, 0);
      bz.next_in = const_cast<char*>(reinterpret_cast<const char*>(f.data() + pos));
      bz.avail_in = static_cast<unsigned>(std::min(n, f.size() - pos));
      int rc = BZ_OK;
      while (rc == BZ_OK) {
        bz.next_out = out.data();
        bz.avail_out = static_cast<unsigned>(out.size());
        rc = BZ2_bzDecompress(&bz);
        total += out.size() - bz.avail_out;
      }
      BZ2_bzDecompressEnd(&bz);
      pos += n;
    }
    benchmark::DoNotOptimize(total);
  }
  state.counters["MB_out"] = static_cast<double>(total) / 1e6;
}
BENCHMARK(BM_Bzip2Records)->Unit(benchmark::kMillisecond);

void BM_Lev2Dump(benchmark::State& state) {
  std::FILE* sink = std::fopen("/dev/null", "w");
  for (auto _ : state) {
    const int rc = zor::lev2::dump_volume(kVolume.c_str(), sink);
    if (rc != 0) state.SkipWithError("dump failed");
  }
  std::fclose(sink);
  struct rusage ru {};
  getrusage(RUSAGE_SELF, &ru);
  state.counters["self_maxrss_MB"] = static_cast<double>(ru.ru_maxrss) / 1024.0;
}
BENCHMARK(BM_Lev2Dump)->Unit(benchmark::kMillisecond);

void BM_PlotLowestReflectivity(benchmark::State& state) {
  const fs::path dir = fs::temp_directory_path() / ("lev2_bench_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  fs::copy_file(kVolume, dir / "klot.v06", fs::copy_options::overwrite_existing);
  const std::vector<std::string> argv{ZOR_RADAR_BINARY, "-ba", "-inp", "lev2", "-var", "ref1", "-of", "png:@out.png",
                                      "@klot.v06"};
  for (auto _ : state) {
    if (zor_bench::run_program(argv, dir) != 0) state.SkipWithError("radar failed");
  }
  struct rusage ru {};
  getrusage(RUSAGE_CHILDREN, &ru);
  state.counters["child_maxrss_MB"] = static_cast<double>(ru.ru_maxrss) / 1024.0;
  // Processor time of the runs, apart from the wall time a busy machine adds.
  const double cpu = static_cast<double>(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
                     static_cast<double>(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1e6;
  state.counters["child_cpu_s_per_run"] = cpu / static_cast<double>(state.iterations());
  fs::remove_all(dir);
}
BENCHMARK(BM_PlotLowestReflectivity)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
