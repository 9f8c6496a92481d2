// The bundled map files parse to their end marker, points inside their bounds
// and no line turning straight back on itself (a mark of a bad conversion).
// The text form of the state lines draws as the binary one in map_draw_test.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "zor/byte_reader.h"

namespace {

struct P {
  double lat;
  double lon;
};

struct Seg {
  std::array<double, 4> bounds{};  // lat min, lat max, lon min, lon max
  std::vector<P> pts;
};

const std::string kData = ZOR_SOURCE_DATA_DIR;

std::vector<Seg> read_binary(const std::string& name) {
  std::ifstream in(kData + "/" + name, std::ios::binary);
  EXPECT_TRUE(in) << name;
  const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  zor::ByteReader r(bytes.data(), bytes.size());
  std::vector<Seg> out;
  try {
    for (;;) {
      const int n = r.i16();
      Seg s;
      for (double& b : s.bounds) b = r.f32();
      r.i32();  // identifier
      if (n == 0) break;
      EXPECT_GE(n, 2) << name << " segment " << out.size();
      for (int i = 0; i < n; ++i) {
        const double lat = r.f32();
        s.pts.push_back({lat, r.f32()});
      }
      out.push_back(std::move(s));
    }
  } catch (const zor::DecodeError& e) {
    ADD_FAILURE() << name << ": no end marker after " << out.size() << " segments (" << e.what() << ")";
  }
  EXPECT_EQ(r.remaining(), 0u) << name << ": bytes after the end marker";
  return out;
}

double dist(const P& a, const P& b) { return std::hypot(a.lat - b.lat, a.lon - b.lon); }
std::string at(std::size_t seg, std::size_t i, const P& p) {
  std::ostringstream s;
  s << "segment " << seg << " point " << i << " (" << p.lat << ", " << p.lon << ")";
  return s.str();
}

const std::array<const char*, 4> kBinary = {"zor.map", "cont.map", "country.map", "states.map"};

TEST(MapData, FilesParseToTheirEndMarkerWithPointsInsideTheirBounds) {
  constexpr double kSlack = 0.001;  // bounds are kept unrounded, points to three decimals
  for (const char* name : kBinary) {
    const auto segs = read_binary(name);
    EXPECT_GT(segs.size(), 100u) << name;
    for (std::size_t s = 0; s < segs.size(); ++s) {
      const auto& b = segs[s].bounds;
      const auto& p = segs[s].pts;
      for (std::size_t i = 0; i < p.size(); ++i) {
        ASSERT_TRUE(p[i].lat >= b[0] - kSlack && p[i].lat <= b[1] + kSlack && p[i].lon >= b[2] - kSlack &&
                    p[i].lon <= b[3] + kSlack)
            << name << " " << at(s, i, p[i]);
        // Straight edges are densified to steps of at most a degree; only a
        // step across the date line is longer.
        if (i > 0 && std::fabs(p[i].lon - p[i - 1].lon) < 180.0) { ASSERT_LE(dist(p[i], p[i - 1]), 1.0 + kSlack) << name << " jumps at " << at(s, i, p[i]); }
        // A to B and straight back to A (points are kept to three decimals).
        if (i >= 2) { EXPECT_GT(dist(p[i], p[i - 2]), 0.0015) << name << " turns back at " << at(s, i, p[i]); }
      }
    }
  }
}

}  // namespace
