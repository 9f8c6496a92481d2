// Whole-process times of the programs as users run them: nidsdump over every
// Level III file, a batch plot of the bundled 8-bit reflectivity product to
// PNG, the program's start-up alone, and a loop of 16 products to GIF files
// against one. Programs are started straight, not through a shell. Besides
// the wall time each run reports the CPU time of the child processes, which a
// busy machine disturbs much less.
//
// ZOR_BENCH_RADAR and ZOR_BENCH_NIDSDUMP name other binaries to time, such as
// those of an older build.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "child_process.h"

namespace {

namespace fs = std::filesystem;

using zor_bench::binary;
using zor_bench::child_cpu_seconds;

// A working folder per process, with the product linked in under 16 names.
struct Setup {
  fs::path dir = fs::temp_directory_path() / ("zor_process_bench_" + std::to_string(::getpid()));
  std::string product = "KBMX_SDUS54_N0QBMX_201501020205";
  std::vector<std::string> level3;
  Setup() {
    fs::create_directories(dir);
    const fs::path src = fs::path(ZOR_SOURCE_DIR) / "examples" / product;
    std::error_code ec;
    for (int i = 0; i < 16; ++i) {
      std::string name = std::to_string(i);
      name.insert(0, 1, 'p');  // not "p" + ...: GCC 12 warns falsely about it
      fs::create_symlink(src, dir / name, ec);
    }
    fs::create_symlink(src, dir / product, ec);
    for (const auto& e : fs::recursive_directory_iterator(fs::path(ZOR_SHARED_DATA_DIR) / "level3", ec))
      if (e.is_regular_file()) level3.push_back(e.path().string());
    std::sort(level3.begin(), level3.end());
  }
  ~Setup() { fs::remove_all(dir); }
};

Setup& setup() {
  static Setup s;
  return s;
}

using Command = std::vector<std::vector<std::string>>;  // programs run one after another

// The radar program in batch mode on NIDS input.
Command radar(std::vector<std::string> args) {
  args.insert(args.begin(), {binary("ZOR_BENCH_RADAR", ZOR_RADAR_BINARY), "-ba", "-inp", "nids"});
  return {args};
}

constexpr int kAnyStatus = -1;  // a program that ends by itself, with any status

// Times `cmd` (each program must end with status `want`); `per` runs of a
// program make one iteration.
void time_command(benchmark::State& state, const Command& cmd, int want, int per = 1) {
  const double cpu0 = child_cpu_seconds();
  for (auto _ : state) {
    for (const auto& argv : cmd) {
      const int status = zor_bench::run_program(argv, setup().dir);
      if (status < 0 || (want != kAnyStatus && status != want)) {
        state.SkipWithError(("failed: " + argv[0] + (argv.size() > 1 ? " " + argv.back() : "")).c_str());
        return;
      }
    }
  }
  const double runs = static_cast<double>(state.iterations()) * per;
  state.counters["child_cpu_ms"] = (child_cpu_seconds() - cpu0) * 1000.0 / runs;
}

void BM_NidsdumpEveryLevel3File(benchmark::State& state) {
  const auto& files = setup().level3;
  if (files.empty()) return state.SkipWithError("no files under " ZOR_SHARED_DATA_DIR "/level3");
  Command cmd;
  for (const auto& f : files) cmd.push_back({binary("ZOR_BENCH_NIDSDUMP", ZOR_NIDSDUMP_BINARY), f});
  // Some files are not products, and nidsdump says so in its status.
  time_command(state, cmd, kAnyStatus, static_cast<int>(files.size()));
  state.counters["files"] = static_cast<double>(files.size());  // the time per file: Time / files
}

void BM_PlotN0QToPng(benchmark::State& state) {
  time_command(state, radar({"-of", "png:@one.png", "@" + setup().product}), 0);
}

// Resources, name conventions, data folder, input type, fonts and the
// drawing surface, up to looking for the input file (here a missing one,
// status 10); maps and site tables are read later, when first drawn.
void BM_StartUp(benchmark::State& state) {
  time_command(state, radar({"-of", "png:@none.png", "@no_such_product"}), 10);
}

void BM_OneProductToGif(benchmark::State& state) { time_command(state, radar({"-of", "gif:@one_%i.gif", "@p0"}), 0); }

void BM_LoopOf16ProductsToGif(benchmark::State& state) {
  std::vector<std::string> args{"-of", "gif:@loop_%i.gif"};
  for (int i = 0; i < 16; ++i) args.push_back("@p" + std::to_string(i));
  time_command(state, radar(args), 0);
}

BENCHMARK(BM_NidsdumpEveryLevel3File)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(5);
BENCHMARK(BM_PlotN0QToPng)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(15);
BENCHMARK(BM_StartUp)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(15);
BENCHMARK(BM_OneProductToGif)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(9);
BENCHMARK(BM_LoopOf16ProductsToGif)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(9);

}  // namespace
