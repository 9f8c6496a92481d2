// Decoding speed of every product in the shared jjhelmus Level III set:
// headers, every item of the first layer and the graphic pages, without
// formatting any output.
#include <benchmark/benchmark.h>
#include <bzlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "zor/nids.h"

namespace {

struct FileCloser {
  void operator()(FILE* f) const { std::fclose(f); }
};

// The regular files under `dir`, all levels down when `deep`, in name order.
std::vector<std::string> product_files(const std::filesystem::path& dir, bool deep = false) {
  std::vector<std::string> files;
  std::error_code ec;
  if (deep) {
    for (const auto& e : std::filesystem::recursive_directory_iterator(dir, ec))
      if (e.is_regular_file()) files.push_back(e.path().string());
  } else {
    for (const auto& e : std::filesystem::directory_iterator(dir, ec))
      if (e.is_regular_file()) files.push_back(e.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

const std::filesystem::path kLevel3 = std::filesystem::path(ZOR_SHARED_DATA_DIR) / "level3";

// Walks the items of the current packet; returns how many values came out.
long walk_packet(FILE* f, int code) {
  long n = 0;
  NIDS_data d;
  switch (code) {
    case NIDS_PKT_RADIAL:
    case NIDS_PKT_DIGITAL_RADIAL:
    case NIDS_PKT_GENERIC: {
      // A whole radial at a time, as the plot and the dump read them.
      float a, w;
      std::vector<NIDS_data> runs;
      while (NIDS_get_radial(f, &a, &w) == 1) {
        if (zor::nids::get_radial_runs(f, runs) < 0) break;
        for (const NIDS_data& r : runs) n += static_cast<long>(r.run);
      }
      break;
    }
    case NIDS_PKT_RASTER:
    case NIDS_PKT_RASTER_OLD:
    case NIDS_PKT_PRECIP_ARRAY:
      while (NIDS_get_rastor(f) == 1)
        while (NIDS_get_data(f, &d) == 1) n += static_cast<long>(d.run);
      break;
    case NIDS_PKT_TEXT:
    case NIDS_PKT_TEXT_VALUE: {
      NIDS_text_data t;
      n += NIDS_get_text(f, &t) == 1;
      break;
    }
    case NIDS_PKT_VECTOR:
    case NIDS_PKT_VECTOR_VALUE: {
      NIDS_vector_data v;
      while (NIDS_get_vector(f, &v) == 1) ++n;
      break;
    }
    case NIDS_PKT_WIND_BARB: {
      NIDS_wind_data w;
      while (NIDS_get_wind(f, &w) == 1) ++n;
      break;
    }
    default: break;
  }
  return n;
}

long decode(FILE* f) {
  NIDS_info info;
  if (NIDS_get_header(f, &info) != 1) return 0;
  long n = 0;
  int code = info.type;
  do {
    n += walk_packet(f, code);
  } while (NIDS_packet(f, &code) == 1);
  if (NIDS_graphic(f) == 1)
    while (NIDS_graphic_layer(f) > 0)
      while (NIDS_packet(f, &code) == 1) n += walk_packet(f, code);
  return n;
}

void decode_files(benchmark::State& state, const std::vector<std::string>& files) {
  if (files.empty()) {
    state.SkipWithError("no products under " ZOR_SHARED_DATA_DIR "/level3");
    return;
  }
  long values = 0;
  for (auto _ : state) {
    for (const auto& name : files) {
      std::unique_ptr<FILE, FileCloser> f(std::fopen(name.c_str(), "rb"));
      if (f) values += decode(f.get());
    }
  }
  benchmark::DoNotOptimize(values);
  state.counters["files_per_second"] = benchmark::Counter(
      static_cast<double>(files.size()) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["files"] = static_cast<double>(files.size());
}

// One sample of each product (jjhelmus).
void BM_DecodeAllProducts(benchmark::State& state) { decode_files(state, product_files(kLevel3 / "jjhelmus")); }
// Every Level III file of the shared data.
void BM_DecodeAllLevel3(benchmark::State& state) { decode_files(state, product_files(kLevel3, true)); }

// What bzip2 alone costs over the same files: every bzip2 stream found in
// them decompressed in memory, nothing decoded. No reader of these products
// can be faster than this.
void BM_Bzip2OnlyAllLevel3(benchmark::State& state) {
  std::vector<std::string> data;
  for (const auto& name : product_files(kLevel3, true)) {
    std::ifstream in(name, std::ios::binary);
    data.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  static constexpr char kMagic[] = "\x31\x41\x59\x26\x53\x59";  // first block's signature
  std::vector<char> out(1 << 16);
  long bytes = 0;
  for (auto _ : state) {
    for (const std::string& d : data) {
      for (std::size_t at = d.find("BZh"); at != std::string::npos; at = d.find("BZh", at + 1)) {
        if (at + 10 > d.size() || d.compare(at + 4, 6, kMagic, 6) != 0) continue;
        bz_stream bz{};
        if (BZ2_bzDecompressInit(&bz, 0, 0) != BZ_OK) continue;
        bz.next_in = const_cast<char*>(d.data() + at);
        bz.avail_in = static_cast<unsigned>(d.size() - at);
        int rc = BZ_OK;
        while (rc == BZ_OK) {
          bz.next_out = out.data();
          bz.avail_out = static_cast<unsigned>(out.size());
          rc = BZ2_bzDecompress(&bz);
          bytes += static_cast<long>(out.size() - bz.avail_out);
          if (rc == BZ_OK && bz.avail_in == 0 && bz.avail_out != 0) break;
        }
        BZ2_bzDecompressEnd(&bz);
      }
    }
  }
  benchmark::DoNotOptimize(bytes);
  state.counters["files_per_second"] = benchmark::Counter(
      static_cast<double>(data.size()) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["files"] = static_cast<double>(data.size());
}

BENCHMARK(BM_DecodeAllProducts)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeAllLevel3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bzip2OnlyAllLevel3)->Unit(benchmark::kMillisecond);

}  // namespace
