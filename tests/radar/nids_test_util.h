// Helpers shared by the NIDS tests: real product files, listings of their
// decode, and products built in memory.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../common/files.h"
#include "zor/nids.h"

namespace nids_test {

using zor::test::Bytes;
using zor::test::FilePtr;
using zor::test::read_file;

inline std::string data_path(const std::string& name) {
  return std::string(ZOR_TEST_DATA_DIR) + "/level3/" + name;
}


struct Listing {
  int status = -1;
  std::vector<std::string> lines;
  std::string error;
};

inline Listing dump(FILE* f) {
  Listing l;
  l.status = zor::nids::dump_product(f, [&](const std::string& s) { l.lines.push_back(s); });
  l.error = NIDS_last_error();
  return l;
}

// Through an anonymous temporary file holding `b`.
inline Listing dump_bytes(const Bytes& b) {
  FilePtr f(std::tmpfile());
  if (!b.empty()) std::fwrite(b.data(), 1, b.size(), f.get());
  std::rewind(f.get());
  return dump(f.get());
}

inline Listing dump_file(const std::string& name) {
  FilePtr f(std::fopen(data_path(name).c_str(), "rb"));
  if (!f) return {};
  return dump(f.get());
}

// Every bin of a listing's radials, in order.
inline std::vector<float> bins(const Listing& l) {
  std::vector<float> v;
  for (const auto& line : l.lines) {
    if (line.rfind("R ", 0) != 0) continue;
    std::istringstream in(line.substr(2));
    float angle, width, b;
    in >> angle >> width;
    while (in >> b) v.push_back(b);
  }
  return v;
}

// Reads the header of a real product; NIDS_get_header's status, 0 when
// the file cannot be opened.
inline int header_of(const std::string& name, NIDS_info* info) {
  FilePtr f(std::fopen(data_path(name).c_str(), "rb"));
  return f ? NIDS_get_header(f.get(), info) : 0;
}

// One radial of a decoded product: its angles and one value per bin.
struct Radial {
  float start = 0, width = 0;
  std::vector<float> bins;
};
// One raster row: one value per cell.
using Row = std::vector<float>;

struct Decoded {
  NIDS_info info;
  std::vector<Radial> radials;
  std::vector<Row> rows;
};

inline Decoded decode(const std::string& path) {
  Decoded d;
  NIDS_reset();
  FilePtr f(std::fopen(path.c_str(), "rb"));
  EXPECT_TRUE(f) << path;
  if (!f || NIDS_get_header(f.get(), &d.info) != 1) return d;
  int code = d.info.type;
  do {
    if (code == NIDS_PKT_RADIAL || code == NIDS_PKT_DIGITAL_RADIAL) {
      Radial r;
      while (NIDS_get_radial(f.get(), &r.start, &r.width) == 1) {
        r.bins.clear();
        NIDS_data v;
        while (NIDS_get_data(f.get(), &v) == 1)
          for (int i = 0; i < static_cast<int>(v.run); ++i) r.bins.push_back(v.val);
        d.radials.push_back(r);
      }
    } else if (code == NIDS_PKT_RASTER || code == NIDS_PKT_PRECIP_ARRAY) {
      while (NIDS_get_rastor(f.get()) == 1) {
        Row row;
        NIDS_data v;
        while (NIDS_get_data(f.get(), &v) == 1)
          for (int i = 0; i < static_cast<int>(v.run); ++i) row.push_back(v.val);
        d.rows.push_back(row);
      }
    }
  } while (NIDS_packet(f.get(), &code) == 1);
  NIDS_reset();
  // The header as the plotter holds it (its domain is the one plotted).
  std::vector<char> name(path.begin(), path.end());
  name.push_back('\0');
  EXPECT_EQ(NIDS_open_file(name.data()), 1);
  d.info = zor::nids_plot::info();
  NIDS_close_file();
  return d;
}

// Big-endian product builder for hand-made inputs.
struct Builder {
  Bytes b;
  Builder& u8(int v) {
    b.push_back(static_cast<std::uint8_t>(v));
    return *this;
  }
  Builder& i16(int v) { return u8(v >> 8).u8(v); }
  Builder& i32(long v) { return i16(static_cast<int>(v >> 16)).i16(static_cast<int>(v & 0xFFFF)); }
  Builder& text(const std::string& s) {
    for (char c : s) u8(static_cast<unsigned char>(c));
    return *this;
  }
  // Message header, product description (generic thresholds 0..15 as
  // plain numbers, level 0 below threshold) and symbology block headers.
  Builder& headers(int code, long off_graph = 0) {
    i16(code).i16(16438).i32(7200).i32(0).i16(320).i16(0).i16(3);
    i16(-1).i32(33172).i32(-86770).i16(759).i16(code).i16(2).i16(221).i16(1).i16(1);
    i16(16438).i32(7328).i16(16438).i32(7332);
    i16(0).i16(0).i16(1).i16(5);  // p1 p2 elev p3
    i16(0x8000);
    for (int t = 1; t < 16; ++t) i16(t * 5);
    for (int p = 0; p < 7; ++p) i16(0);
    i16(0).i32(60).i32(off_graph).i32(0);
    return *this;
  }
  Builder& symbology(long len) { return i16(-1).i16(1).i32(len).i16(1).i16(-1).i32(len - 16); }
};

}  // namespace nids_test
