// End-to-end time of the radar program plotting a super-resolution 8-bit
// reflectivity product (720 radials of 1832 bins, about 1.3 million gates)
// to a PNG file in batch mode, the way a user runs it.
//
// The product is built from the bundled 8-bit reflectivity product: each of
// its radials becomes two half-degree radials and each bin four quarter
// bins, so the runs of values and their colours are those of real weather.
#include <benchmark/benchmark.h>
#include <bzlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "../tests/radar/nids_test_util.h"
#include "child_process.h"
#include "zor/nids.h"

namespace {

namespace fs = std::filesystem;
using nids_test::Bytes;
using nids_test::read_file;

// Length of the first `lines` text lines of a product (its bulletin header).
std::size_t after_lines(const Bytes& b, int lines) {
  std::size_t pos = 0;
  for (int i = 0; i < lines; ++i)
    pos = static_cast<std::size_t>(std::find(b.begin() + static_cast<long>(pos), b.end(), '\n') - b.begin()) + 1;
  return pos;
}

// The bzip2 stream of a product's symbology, unpacked whole.
Bytes bunzip(const std::uint8_t* in, std::size_t n) {
  Bytes out(1 << 16);
  std::size_t used = 0;
  bz_stream bz{};
  if (BZ2_bzDecompressInit(&bz, 0, 0) != BZ_OK) return {};
  bz.next_in = reinterpret_cast<char*>(const_cast<std::uint8_t*>(in));
  bz.avail_in = static_cast<unsigned>(n);
  int stat = BZ_OK;
  while (stat == BZ_OK) {
    if (used == out.size()) out.resize(out.size() * 2);
    bz.next_out = reinterpret_cast<char*>(out.data() + used);
    bz.avail_out = static_cast<unsigned>(out.size() - used);
    stat = BZ2_bzDecompress(&bz);
    used = out.size() - bz.avail_out;
  }
  BZ2_bzDecompressEnd(&bz);
  out.resize(used);
  return out;
}

constexpr int kRadials = 720;
constexpr int kBins = 1832;

void put16(Bytes& b, std::size_t at, int v) {
  b[at] = static_cast<std::uint8_t>(v >> 8 & 0xFF);
  b[at + 1] = static_cast<std::uint8_t>(v & 0xFF);
}
void put32(Bytes& b, std::size_t at, long v) {
  put16(b, at, static_cast<int>(v >> 16 & 0xFFFF));
  put16(b, at + 2, static_cast<int>(v & 0xFFFF));
}
void add16(Bytes& b, int v) {
  b.push_back(static_cast<std::uint8_t>(v >> 8 & 0xFF));
  b.push_back(static_cast<std::uint8_t>(v & 0xFF));
}
void add32(Bytes& b, long v) {
  add16(b, static_cast<int>(v >> 16 & 0xFFFF));
  add16(b, static_cast<int>(v & 0xFFFF));
}

// Builds the super-resolution product; empty when the source is missing.
Bytes super_resolution_product() {
  const Bytes src = read_file(fs::path(ZOR_TEST_DATA_DIR) / "level3" / "KBMX_SDUS54_N0QBMX_201501020205");
  if (src.empty()) return {};
  const std::size_t msg = after_lines(src, 2);  // message header after two bulletin lines
  const std::size_t symb = msg + 120;
  const Bytes body = bunzip(src.data() + symb, src.size() - symb);
  // Source packet 16: its radials start 30 bytes into the block.
  constexpr std::size_t kPacket = 16, kRadialsAt = kPacket + 14;
  if (body.size() < kRadialsAt || (body[kPacket] << 8 | body[kPacket + 1]) != 16) return {};
  const int src_bins = body[kPacket + 4] << 8 | body[kPacket + 5];
  const int src_radials = body[kPacket + 12] << 8 | body[kPacket + 13];
  std::vector<std::vector<std::uint8_t>> radials;
  std::vector<int> starts;
  std::size_t at = kRadialsAt;
  for (int r = 0; r < src_radials && at + 6 <= body.size(); ++r) {
    const int n = body[at] << 8 | body[at + 1];
    starts.push_back(body[at + 2] << 8 | body[at + 3]);
    at += 6;
    if (at + static_cast<std::size_t>(n) > body.size()) return {};
    radials.emplace_back(body.begin() + static_cast<long>(at), body.begin() + static_cast<long>(at + n));
    at += static_cast<std::size_t>(n);
  }
  if (radials.empty()) return {};

  Bytes out(src.begin(), src.begin() + static_cast<long>(symb));
  const std::size_t layer_start = out.size();
  add16(out, -1);  // block divider
  add16(out, 1);   // block id
  add32(out, 0);   // block length, set below
  add16(out, 1);   // one layer
  add16(out, -1);  // layer divider
  add32(out, 0);   // layer length, set below
  const std::size_t packet_start = out.size();
  add16(out, 16);
  add16(out, 0);      // first bin
  add16(out, kBins);  // bins per radial
  add16(out, 0);
  add16(out, 0);
  add16(out, 250);  // range scale
  add16(out, kRadials);
  for (int r = 0; r < kRadials; ++r) {
    const auto& from = radials[static_cast<std::size_t>(r / 2 % static_cast<int>(radials.size()))];
    add16(out, kBins);
    add16(out, (starts[static_cast<std::size_t>(r / 2 % static_cast<int>(starts.size()))] + (r % 2) * 5) % 3600);
    add16(out, 5);  // half a degree
    for (int b = 0; b < kBins; ++b) {
      const std::size_t k = static_cast<std::size_t>(b * src_bins / kBins);
      out.push_back(k < from.size() ? from[k] : 0);
    }
  }
  const long layer_len = static_cast<long>(out.size() - packet_start);
  put32(out, layer_start + 4, static_cast<long>(out.size() - layer_start));
  put32(out, layer_start + 12, layer_len);
  // Message length, no compression, no graphic or tabular blocks.
  put32(out, msg + 8, static_cast<long>(out.size() - msg));
  for (std::size_t h : {std::size_t{100}, std::size_t{102}, std::size_t{104}}) put16(out, msg + h, 0);
  put32(out, msg + 112, 0);
  put32(out, msg + 116, 0);
  return out;
}

struct Setup {
  fs::path dir;
  fs::path product;
  bool ok = false;
  Setup() {
    dir = fs::temp_directory_path() / ("nids_plot_bench_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    const Bytes p = super_resolution_product();
    product = dir / "KBMX_SDUS54_N0QBMX_SUPERRES";
    std::ofstream(product, std::ios::binary).write(reinterpret_cast<const char*>(p.data()),
                                                   static_cast<std::streamsize>(p.size()));
    ok = !p.empty();
  }
  // NIDS_PLOT_BENCH_KEEP keeps the product and the picture for a look.
  ~Setup() {
    if (std::getenv("NIDS_PLOT_BENCH_KEEP") == nullptr) fs::remove_all(dir);
  }
};

Setup& setup() {
  static Setup s;
  return s;
}

using zor_bench::child_cpu_seconds;

int run_radar(const std::vector<std::string>& options) {
  // ZOR_BENCH_RADAR times another build's program.
  std::vector<std::string> argv{zor_bench::binary("ZOR_BENCH_RADAR", ZOR_RADAR_BINARY), "-ba", "-inp", "nids"};
  argv.insert(argv.end(), options.begin(), options.end());
  return zor_bench::run_program(argv, setup().dir);
}

void plot_to_png(benchmark::State& state, std::vector<std::string> args) {
  if (!setup().ok) {
    state.SkipWithError("cannot build the super-resolution product");
    return;
  }
  std::string product = setup().product.string();
  product.insert(0, 1, '@');  // not "@" + ...: GCC 12 warns falsely about it
  args.insert(args.end(), {"-of", "png:@bench.png", product});
  const double cpu0 = child_cpu_seconds();
  for (auto _ : state) {
    if (run_radar(args) != 0) {
      state.SkipWithError("radar failed");
      return;
    }
  }
  state.counters["gates"] = kRadials * kBins;
  // CPU time of the program, which a busy machine disturbs less than the wall time.
  state.counters["child_cpu_ms"] = (child_cpu_seconds() - cpu0) * 1000.0 / static_cast<double>(state.iterations());
}

// On the product's own domain: cells drawn as they are.
void BM_PlotSuperResolutionToPng(benchmark::State& state) { plot_to_png(state, {}); }
// On a region of another projection: cells reprojected.
void BM_PlotSuperResolutionOnRegionToPng(benchmark::State& state) { plot_to_png(state, {"-re", "se"}); }
BENCHMARK(BM_PlotSuperResolutionToPng)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(15);
BENCHMARK(BM_PlotSuperResolutionOnRegionToPng)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(15);

}  // namespace
