// The bundled map files parse to their end marker and carry no mark of a bad
// conversion (retraced lines, stretches drawn twice, chords where no border is).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
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

std::vector<Seg> read_text(const std::string& name) {
  std::ifstream in(kData + "/" + name);
  EXPECT_TRUE(in) << name;
  std::vector<Seg> out;
  int n = 0, id = 0;
  Seg s;
  while (in >> n >> s.bounds[0] >> s.bounds[1] >> s.bounds[2] >> s.bounds[3] >> id && n > 0) {
    s.pts.assign(static_cast<std::size_t>(n), P{});
    for (P& p : s.pts) in >> p.lat >> p.lon;
    EXPECT_TRUE(in) << name << " segment " << out.size();
    out.push_back(s);
  }
  EXPECT_EQ(n, 0) << name << ": no end marker";
  return out;
}

double dist(const P& a, const P& b) { return std::hypot(a.lat - b.lat, a.lon - b.lon); }

double seg_dist(const P& p, const P& a, const P& b) {
  const double dx = b.lon - a.lon, dy = b.lat - a.lat, len2 = dx * dx + dy * dy;
  const double t = len2 > 0 ? std::clamp(((p.lon - a.lon) * dx + (p.lat - a.lat) * dy) / len2, 0.0, 1.0) : 0.0;
  return std::hypot(a.lon + t * dx - p.lon, a.lat + t * dy - p.lat);
}

std::string at(std::size_t seg, std::size_t i, const P& p) {
  std::ostringstream s;
  s << "segment " << seg << " point " << i << " (" << p.lat << ", " << p.lon << ")";
  return s.str();
}

// Points are stored to three decimals: closer than this is the same place.
constexpr double kSame = 0.0015;

// A to B and straight back to A.
std::vector<std::string> retraces(const std::vector<Seg>& segs) {
  std::vector<std::string> found;
  for (std::size_t s = 0; s < segs.size(); ++s) {
    const auto& p = segs[s].pts;
    for (std::size_t i = 0; i + 2 < p.size(); ++i)
      if (dist(p[i], p[i + 2]) <= kSame) found.push_back(at(s, i, p[i]));
  }
  return found;
}

// Runs of three edges (each longer than the overlap distance many times
// over) whose middles lie on another edge of the file, not a neighbour in
// the same segment.
std::vector<std::string> stretches_drawn_twice(const std::vector<Seg>& segs) {
  constexpr double kTol = 0.003, kMinEdge = 0.02, kCell = 0.25;
  using Cell = std::pair<long, long>;
  auto cell = [&](double lat, double lon) { return Cell{std::lround(std::floor(lat / kCell)), std::lround(std::floor(lon / kCell))}; };
  std::map<Cell, std::vector<std::pair<std::size_t, std::size_t>>> grid;
  for (std::size_t s = 0; s < segs.size(); ++s) {
    const auto& p = segs[s].pts;
    for (std::size_t i = 0; i + 1 < p.size(); ++i) {
      const auto [y0, x0] = cell(std::min(p[i].lat, p[i + 1].lat) - kTol, std::min(p[i].lon, p[i + 1].lon) - kTol);
      const auto [y1, x1] = cell(std::max(p[i].lat, p[i + 1].lat) + kTol, std::max(p[i].lon, p[i + 1].lon) + kTol);
      for (long y = y0; y <= y1; ++y)
        for (long x = x0; x <= x1; ++x) grid[{y, x}].emplace_back(s, i);
    }
  }
  std::vector<std::string> found;
  for (std::size_t s = 0; s < segs.size(); ++s) {
    const auto& p = segs[s].pts;
    int run = 0;
    for (std::size_t i = 0; i + 1 < p.size(); ++i) {
      if (dist(p[i], p[i + 1]) < kMinEdge) {
        run = 0;
        continue;
      }
      const P mid{(p[i].lat + p[i + 1].lat) / 2, (p[i].lon + p[i + 1].lon) / 2};
      bool twice = false;
      if (auto it = grid.find(cell(mid.lat, mid.lon)); it != grid.end())
        for (const auto& [t, j] : it->second) {
          if (t == s && (j + 3 >= i && j <= i + 3)) continue;
          const auto& q = segs[t].pts;
          if (seg_dist(mid, q[j], q[j + 1]) <= kTol) {
            twice = true;
            break;
          }
        }
      run = twice ? run + 1 : 0;
      if (run == 3) found.push_back(at(s, i, p[i]));
    }
  }
  return found;
}

// Straight borders that are not parallels or meridians, end to end.
struct Straight {
  P a, b;
  const char* what;
};
constexpr Straight kStraight[] = {
    {{32.49, -114.81}, {31.33, -111.07}, "United States - Mexico"},
    {{39.00, -120.00}, {35.00, -114.63}, "California - Nevada"},
    {{34.90, -88.10}, {31.90, -88.49}, "Mississippi - Alabama"},
    {{48.31, -88.37}, {46.90, -84.86}, "Lake Superior water boundary"},
    {{53.35, 77.80}, {50.76, 80.08}, "Russia - Kazakhstan"},
    {{19.50, 24.00}, {23.50, 16.00}, "Libya - Chad"},
    {{32.06, 40.00}, {30.73, 42.98}, "Saudi Arabia - Iraq"},
    {{19.00, 52.00}, {20.00, 55.00}, "Saudi Arabia - Yemen - Oman"},
    {{22.50, 55.00}, {23.00, 52.00}, "Saudi Arabia - United Arab Emirates"},
    {{16.51, -5.60}, {25.00, -6.58}, "Mauritania - Mali"},
    {{25.00, -4.81}, {27.29, -8.67}, "Algeria - Mauritania"},
    {{25.00, -4.81}, {21.83, 0.00}, "Algeria - Mali"},
    {{-1.00, 34.02}, {-3.00, 37.60}, "Kenya - Tanzania"},
    {{4.90, 44.95}, {8.00, 47.99}, "Ethiopia - Somalia"},
    {{8.00, 47.00}, {9.01, 44.01}, "Ethiopia - Somaliland"},
    {{-4.22, -69.95}, {-1.18, -69.38}, "Colombia - Brazil"},
    {{-14.98, 30.21}, {-14.01, 33.22}, "Zambia - Mozambique"},
    {{-17.48, 24.24}, {-18.04, 20.81}, "Namibia - Botswana (Caprivi)"},
    {{21.10, 1.17}, {25.00, -4.81}, "Algeria - Mali"},
    {{20.85, 7.45}, {23.52, 11.99}, "Algeria - Niger"},
};

bool known_straight(const P& a, const P& b) {
  constexpr double kNear = 0.1;
  for (const auto& s : kStraight)
    if (seg_dist(a, s.a, s.b) <= kNear && seg_dist(b, s.a, s.b) <= kNear) return true;
  return false;
}

// A straight edge longer than a degree is densified to one-degree steps, so
// four or more equal steps in a row are an edge longer than three degrees.
// Such runs are fine along parallels and meridians, on the known straight
// borders, and poleward of 60 degrees, where the coarse shorelines have long
// straight edges.
std::vector<std::string> unknown_straight_runs(const std::vector<Seg>& segs) {
  constexpr int kMinSteps = 4;
  constexpr double kStepTol = 0.002, kMinStep = 0.3, kAxisSlope = 0.02, kPolar = 60.0;
  std::vector<std::string> found;
  for (std::size_t s = 0; s < segs.size(); ++s) {
    const auto& p = segs[s].pts;
    for (std::size_t i = 0; i + 1 < p.size();) {
      const double dlat = p[i + 1].lat - p[i].lat, dlon = p[i + 1].lon - p[i].lon;
      std::size_t j = i + 1;
      while (j + 1 < p.size() && std::fabs(p[j + 1].lat - p[j].lat - dlat) <= kStepTol &&
             std::fabs(p[j + 1].lon - p[j].lon - dlon) <= kStepTol)
        ++j;
      const P& a = p[i];
      const P& b = p[j];
      const double run_lat = std::fabs(b.lat - a.lat), run_lon = std::fabs(b.lon - a.lon);
      const double len = std::hypot(run_lat, run_lon);
      const bool axis = run_lat <= kAxisSlope * len || run_lon <= kAxisSlope * len;
      const bool polar = std::fabs(a.lat) >= kPolar && std::fabs(b.lat) >= kPolar;
      if (static_cast<int>(j - i) >= kMinSteps && std::hypot(dlat, dlon) > kMinStep && !axis && !polar &&
          !known_straight(a, b))
        found.push_back(at(s, i, a) + " to (" + std::to_string(b.lat) + ", " + std::to_string(b.lon) + ")");
      i = j;
    }
  }
  return found;
}

std::string first(const std::vector<std::string>& v) {
  std::string out;
  for (std::size_t i = 0; i < v.size() && i < 5; ++i) out += "\n  " + v[i];
  return out;
}

const std::array<const char*, 4> kBinary = {"zor.map", "cont.map", "country.map", "states.map"};

TEST(MapData, FilesParseToTheirEndMarkerWithPointsInsideTheirBounds) {
  constexpr double kSlack = 0.001;  // bounds are kept unrounded, points to three decimals
  for (const char* name : kBinary) {
    const auto segs = read_binary(name);
    EXPECT_GT(segs.size(), 100u) << name;
    for (std::size_t s = 0; s < segs.size(); ++s) {
      const auto& b = segs[s].bounds;
      for (std::size_t i = 0; i < segs[s].pts.size(); ++i) {
        const P& p = segs[s].pts[i];
        ASSERT_TRUE(p.lat >= b[0] - kSlack && p.lat <= b[1] + kSlack && p.lon >= b[2] - kSlack &&
                    p.lon <= b[3] + kSlack)
            << name << " " << at(s, i, p);
        // Straight edges are densified to steps of at most a degree; only a
        // step across the date line is longer.
        if (i > 0 && std::fabs(p.lon - segs[s].pts[i - 1].lon) < 180.0) { ASSERT_LE(dist(p, segs[s].pts[i - 1]), 1.0 + kSlack) << name << " jumps at " << at(s, i, p); }
      }
    }
  }
  // The text form of the state lines holds the same points.
  const auto bin = read_binary("states.map");
  const auto text = read_text("states_text.map");
  ASSERT_EQ(bin.size(), text.size());
  for (std::size_t s = 0; s < bin.size(); ++s) {
    ASSERT_EQ(bin[s].pts.size(), text[s].pts.size()) << "segment " << s;
    for (std::size_t i = 0; i < bin[s].pts.size(); ++i)
      ASSERT_LE(dist(bin[s].pts[i], text[s].pts[i]), 1e-4) << at(s, i, bin[s].pts[i]);
  }
}

TEST(MapData, NoLineTurnsBackOnItselfOrRunsStraightWhereNoBorderIs) {
  for (const char* name : kBinary) {
    const auto segs = read_binary(name);
    const auto back = retraces(segs);
    EXPECT_TRUE(back.empty()) << name << ": " << back.size() << " points where a line turns back" << first(back);
    const auto straight = unknown_straight_runs(segs);
    EXPECT_TRUE(straight.empty()) << name << ": " << straight.size() << " straight runs on no known border"
                                  << first(straight);
  }
  const auto text = read_text("states_text.map");
  EXPECT_TRUE(retraces(text).empty());
  EXPECT_TRUE(unknown_straight_runs(text).empty());
}

// Each state outline is whole in states.map, so the line two states share is
// there twice by design; the other files draw every stretch once.
TEST(MapData, NoStretchIsDrawnTwice) {
  for (const char* name : {"zor.map", "cont.map", "country.map"}) {
    const auto twice = stretches_drawn_twice(read_binary(name));
    EXPECT_TRUE(twice.empty()) << name << ": " << twice.size() << " stretches drawn twice" << first(twice);
  }
}

// A segment as the pairing of twin border pieces once made it: from the
// 100W corner a chord straight to 95W, the river back west, and the river
// east again.
TEST(MapData, ChecksCatchAChordAndARiverRunOutAndBack) {
  const P west{34.581, -100.001}, east{33.854, -95.011};
  Seg bad;
  for (int k = 0; k <= 6; ++k) {  // the chord, densified
    const double t = k / 6.0;
    bad.pts.push_back({west.lat + t * (east.lat - west.lat), west.lon + t * (east.lon - west.lon)});
  }
  std::vector<P> river;  // a meandering river between the same ends
  for (int k = 1; k < 40; ++k) {
    const double t = k / 40.0;
    river.push_back({east.lat + t * (west.lat - east.lat) + 0.08 * std::sin(k * 1.3),
                     east.lon + t * (west.lon - east.lon)});
  }
  bad.pts.insert(bad.pts.end(), river.begin(), river.end());
  bad.pts.push_back(west);
  bad.pts.insert(bad.pts.end(), river.rbegin(), river.rend());
  const std::vector<Seg> segs{bad};
  EXPECT_FALSE(unknown_straight_runs(segs).empty());
  EXPECT_EQ(retraces(segs).size(), 1u);  // at the western turn
  EXPECT_FALSE(stretches_drawn_twice(segs).empty());

  // The same river once, and 49N densified, pass.
  Seg good;
  good.pts = river;
  for (int k = 0; k <= 25; ++k) good.pts.push_back({49.0, -120.0 + k});
  const std::vector<Seg> fine{good};
  EXPECT_TRUE(unknown_straight_runs(fine).empty());
  EXPECT_TRUE(retraces(fine).empty());
  EXPECT_TRUE(stretches_drawn_twice(fine).empty());
}

}  // namespace
