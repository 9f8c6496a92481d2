// Helpers shared by the Level II tests: the volumes under tests/data/level2,
// per-process temporary files, and volumes unpacked or assembled there.
#pragma once

#include <unistd.h>
#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "../common/files.h"

namespace lev2_test {

namespace fs = std::filesystem;
using zor::test::Bytes;
using zor::test::read_file;

inline std::string data_path(const std::string& name) { return std::string(ZOR_TEST_DATA_DIR) + "/level2/" + name; }

// A file name in this process's scratch folder, removed at exit.
inline std::string temp_path(const std::string& tag) { return zor::test::scratch("lev2_" + tag); }

inline std::string write_file(const std::string& tag, const Bytes& b) {
  const std::string p = temp_path(tag);
  std::ofstream out(p, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
  return p;
}

// The legacy volume, gunzipped (as users are told to do) once per process.
inline std::string legacy_volume() {
  static const std::string path = [] {
    const std::string p = temp_path("KABR20050101_000745");
    gzFile g = gzopen(data_path("KABR20050101_000745.gz").c_str(), "rb");
    Bytes out;
    char buf[65536];
    for (int n; g != nullptr && (n = gzread(g, buf, sizeof buf)) > 0;) out.insert(out.end(), buf, buf + n);
    if (g != nullptr) gzclose(g);
    write_file("KABR20050101_000745", out);
    return p;
  }();
  return path;
}

// The first `n` real-time chunks concatenated: a truncated volume.
inline std::string chunk_prefix(int n) {
  static const char* kChunks[] = {"20210729-123848-001-S", "20210729-123848-002-I", "20210729-123848-003-I"};
  Bytes all;
  for (int i = 0; i < n && i < 3; ++i) {
    Bytes c = read_file(data_path(std::string("chunks/") + kChunks[i]));
    all.insert(all.end(), c.begin(), c.end());
  }
  return write_file("chunks" + std::to_string(n), all);
}

}  // namespace lev2_test
