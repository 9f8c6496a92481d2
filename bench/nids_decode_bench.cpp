// Decoding speed of every product in the shared jjhelmus Level III set:
// headers, every item of the first layer and the graphic pages, without
// formatting any output.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "zor/nids.h"

namespace {

struct FileCloser {
  void operator()(FILE* f) const { std::fclose(f); }
};

std::vector<std::string> product_files() {
  std::vector<std::string> files;
  const std::filesystem::path dir = std::filesystem::path(ZOR_SHARED_DATA_DIR) / "level3" / "jjhelmus";
  std::error_code ec;
  for (const auto& e : std::filesystem::directory_iterator(dir, ec))
    if (e.is_regular_file()) files.push_back(e.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

// Walks the items of the current packet; returns how many values came out.
long walk_packet(FILE* f, int code) {
  long n = 0;
  NIDS_data d;
  switch (code) {
    case NIDS_PKT_RADIAL:
    case NIDS_PKT_DIGITAL_RADIAL: {
      float a, w;
      while (NIDS_get_radial(f, &a, &w) == 1)
        while (NIDS_get_data(f, &d) == 1) n += static_cast<long>(d.run);
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

void BM_DecodeAllProducts(benchmark::State& state) {
  const std::vector<std::string> files = product_files();
  if (files.empty()) {
    state.SkipWithError("no products under " ZOR_SHARED_DATA_DIR "/level3/jjhelmus");
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

BENCHMARK(BM_DecodeAllProducts)->Unit(benchmark::kMillisecond);

}  // namespace
