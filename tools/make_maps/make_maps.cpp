// make_maps: builds the bundled map files from the GSHHG shorelines and
// borders and the DCW country outlines.
//
// Regenerating data/*.map (the results are committed; this only needs to run
// when the selection below changes):
//   ZOR_SETUP_MAPS=1 bash scripts/setup        # gmt-gshhg-low, gmt-dcw
//   cmake --build <build> --target make_maps
//   <build>/tools/make_maps /usr/share/gmt-gshhg /usr/share/gmt-dcw data
//
// GSHHG "binned" files hold, per 10-degree bin, segments of points stored as
// 16-bit offsets from the bin's south-west corner (1/65535 of the bin size);
// bins run west to east from longitude 0 and north to south from 90N.
// Shoreline segments carry a level (1 coast, 2 lake, 3 island in a lake,
// 4 pond, 5 Antarctic ice front, 6 Antarctic grounding line) and the id of
// their polygon, whose area is listed; border segments a level (1 national,
// 2 internal, 3 maritime). DCW stores each outline as 16-bit offsets from its
// minimum, scaled per variable; a longitude of 65535 starts a new polygon.
//
// Border stretches held twice (once with each neighbour) are kept once,
// segments cut at bin edges are joined again, thinned (Douglas-Peucker) and
// written as map files: a header (point count, latitude and longitude bounds,
// identifier) and latitude/longitude pairs, big-endian binary or text, ended
// by a header with count 0.
#include <netcdf.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Pt {
  double lat;
  double lon;
};

struct Line {
  std::vector<Pt> pts;
  int id = 0;
};

// ---- netCDF ---------------------------------------------------------------

class NcFile {
 public:
  explicit NcFile(const std::string& name) : name_(name) {
    if (nc_open(name.c_str(), NC_NOWRITE, &id_) != NC_NOERR) throw std::runtime_error("cannot open " + name);
  }
  ~NcFile() { nc_close(id_); }
  NcFile(const NcFile&) = delete;
  NcFile& operator=(const NcFile&) = delete;

  bool has(const std::string& var) const {
    int v = 0;
    return nc_inq_varid(id_, var.c_str(), &v) == NC_NOERR;
  }
  template <typename T>
  std::vector<T> get(const std::string& var) const {
    const int v = varid(var);
    int ndims = 0;
    nc_inq_varndims(id_, v, &ndims);
    std::size_t n = 1;
    if (ndims > 0) {
      std::vector<int> dims(static_cast<std::size_t>(ndims));
      nc_inq_vardimid(id_, v, dims.data());
      for (int d : dims) {
        std::size_t len = 0;
        nc_inq_dimlen(id_, d, &len);
        n *= len;
      }
    }
    std::vector<T> out(n);
    int rc = NC_NOERR;
    if constexpr (std::is_same_v<T, int>) rc = nc_get_var_int(id_, v, out.data());
    else if constexpr (std::is_same_v<T, short>) rc = nc_get_var_short(id_, v, out.data());
    else if constexpr (std::is_same_v<T, unsigned short>) rc = nc_get_var_ushort(id_, v, out.data());
    else if constexpr (std::is_same_v<T, double>) rc = nc_get_var_double(id_, v, out.data());
    else if constexpr (std::is_same_v<T, signed char>) rc = nc_get_var_schar(id_, v, out.data());
    if (rc != NC_NOERR) throw std::runtime_error("cannot read " + var + " in " + name_);
    return out;
  }
  double att(const std::string& var, const char* name) const {
    double v = 0.0;
    if (nc_get_att_double(id_, varid(var), name, &v) != NC_NOERR)
      throw std::runtime_error("no attribute " + var + ":" + name);
    return v;
  }

 private:
  int varid(const std::string& var) const {
    int v = 0;
    if (nc_inq_varid(id_, var.c_str(), &v) != NC_NOERR) throw std::runtime_error("no variable " + var + " in " + name_);
    return v;
  }
  std::string name_;
  int id_ = -1;
};

// ---- GSHHG binned files -----------------------------------------------------

struct BinnedSegment {
  Line line;
  int level = 0;
  double area = 0.0;  // km2 of the polygon it belongs to (shorelines)
};

struct BinGeometry {
  double size = 10.0;  // degrees
  int nx = 36;
};

// The offsets are stored as signed shorts but mean 0..65535.
std::vector<unsigned short> offsets(const NcFile& nc, const char* var) {
  const auto raw = nc.get<short>(var);
  std::vector<unsigned short> out(raw.size());
  std::transform(raw.begin(), raw.end(), out.begin(), [](short v) { return static_cast<unsigned short>(v); });
  return out;
}

Pt bin_point(const BinGeometry& g, int bin, unsigned short dlon, unsigned short dlat) {
  const double lon0 = (bin % g.nx) * g.size;
  const double lat0 = 90.0 - (bin / g.nx + 1) * g.size;
  double lon = lon0 + dlon * g.size / 65535.0;
  if (lon > 180.0) lon -= 360.0;
  return {lat0 + dlat * g.size / 65535.0, lon};
}

// What shoreline and border files share: the bin layout, the segments of
// each bin and the points' offsets.
struct BinTable {
  explicit BinTable(const NcFile& nc)
      : first_seg(nc.get<int>("Id_of_first_segment_in_a_bin")),
        nseg(nc.get<short>("N_segments_in_a_bin")),
        dx(offsets(nc, "Relative_longitude_from_SW_corner_of_bin")),
        dy(offsets(nc, "Relative_latitude_from_SW_corner_of_bin")) {
    g.size = nc.get<int>("Bin_size_in_minutes")[0] / 60.0;
    g.nx = nc.get<int>("N_bins_in_360_longitude_range")[0];
  }
  Pt point(std::size_t bin, std::size_t k) const {
    if (k >= dx.size() || k >= dy.size()) throw std::runtime_error("point index outside the file");
    return bin_point(g, static_cast<int>(bin), dx[k], dy[k]);
  }
  BinGeometry g;
  std::vector<int> first_seg;
  std::vector<short> nseg;
  std::vector<unsigned short> dx;
  std::vector<unsigned short> dy;
};

std::vector<BinnedSegment> read_shore(const std::string& name) {
  NcFile nc(name);
  const BinTable bins(nc);
  const auto info = nc.get<int>("Embedded_npts_levels_exit_entry_for_a_segment");
  const auto first_pt = nc.get<int>("Id_of_first_point_in_a_segment");
  const auto poly = nc.get<int>("Id_of_GSHHS_ID");
  const auto area = nc.get<double>("The_km_squared_area_of_polygons");
  const int npoints = nc.get<int>("N_points_in_file")[0];

  std::vector<BinnedSegment> out;
  long total = 0;
  for (std::size_t b = 0; b < bins.first_seg.size(); ++b) {
    for (int s = bins.first_seg[b]; s < bins.first_seg[b] + bins.nseg[b]; ++s) {
      const int n = info[static_cast<std::size_t>(s)] >> 9;
      BinnedSegment seg;
      seg.level = (info[static_cast<std::size_t>(s)] >> 6) & 7;
      const int p = poly[static_cast<std::size_t>(s)];
      seg.area = p >= 0 && static_cast<std::size_t>(p) < area.size() ? area[static_cast<std::size_t>(p)] : 0.0;
      seg.line.id = p;
      for (int i = 0; i < n; ++i) {
        const auto k = static_cast<std::size_t>(first_pt[static_cast<std::size_t>(s)] + i);
        seg.line.pts.push_back(bins.point(b, k));
      }
      total += n;
      out.push_back(std::move(seg));
    }
  }
  if (total != npoints)
    throw std::runtime_error(name + ": segment counts add up to " + std::to_string(total) + " points, not " +
                             std::to_string(npoints));
  return out;
}

std::vector<BinnedSegment> read_border(const std::string& name) {
  NcFile nc(name);
  const BinTable bins(nc);
  const auto npts = nc.get<short>("N_points_for_a_segment");
  const auto level = nc.get<short>("Hierarchial_level_of_a_segment");
  const auto first_pt = nc.get<int>("Id_of_first_point_in_a_segment");

  std::vector<BinnedSegment> out;
  for (std::size_t b = 0; b < bins.first_seg.size(); ++b) {
    for (int s = bins.first_seg[b]; s < bins.first_seg[b] + bins.nseg[b]; ++s) {
      const auto si = static_cast<std::size_t>(s);
      BinnedSegment seg;
      seg.level = level[si];
      for (int i = 0; i < npts[si]; ++i) {
        const auto k = static_cast<std::size_t>(first_pt[si] + i);
        seg.line.pts.push_back(bins.point(b, k));
      }
      out.push_back(std::move(seg));
    }
  }
  return out;
}

// ---- DCW outlines -------------------------------------------------------------

std::vector<Line> read_dcw(const NcFile& nc, const std::string& code) {
  const std::string vlon = code + "_lon";
  const std::string vlat = code + "_lat";
  const auto lon = nc.get<unsigned short>(vlon);
  const auto lat = nc.get<unsigned short>(vlat);
  const double lon_min = nc.att(vlon, "min"), lon_scale = nc.att(vlon, "scale");
  const double lat_min = nc.att(vlat, "min"), lat_scale = nc.att(vlat, "scale");
  std::vector<Line> out;
  for (std::size_t i = 0; i < lon.size() && i < lat.size(); ++i) {
    if (lon[i] == 65535) {
      out.emplace_back();
      continue;
    }
    if (out.empty()) out.emplace_back();
    double x = lon_min + lon[i] / lon_scale;
    if (x > 180.0) x -= 360.0;
    out.back().pts.push_back({lat_min + lat[i] / lat_scale, x});
  }
  std::erase_if(out, [](const Line& l) { return l.pts.size() < 2; });
  return out;
}

struct Box {
  double lat0, lat1, lon0, lon1;
  bool contains(const Pt& p, double margin = 0.0) const {
    return p.lat >= lat0 - margin && p.lat <= lat1 + margin && p.lon >= lon0 - margin && p.lon <= lon1 + margin;
  }
};

// ---- geometry -------------------------------------------------------------------

// Ends closer than this are one point: bin cuts of the same line differ by
// the 16-bit offsets' rounding, and neighbouring pieces of a border by a few
// metres where their sources met.
constexpr double kJoinTol = 2e-3;

double dist(const Pt& a, const Pt& b) { return std::hypot(a.lat - b.lat, a.lon - b.lon); }
bool same(const Pt& a, const Pt& b) { return dist(a, b) <= kJoinTol; }

// Joins lines that end where another begins (bin cuts), reversing where
// needed: each end takes the nearest free end within tol. Ends are found
// through a grid of tol cells, searching the neighbouring cells too, so two
// ends a hair apart across a cell edge still meet.
std::vector<Line> join(std::vector<Line> lines, double tol = kJoinTol) {
  using Cell = std::pair<long, long>;
  auto cell = [tol](const Pt& p) { return Cell{std::lround(std::floor(p.lat / tol)), std::lround(std::floor(p.lon / tol))}; };
  std::vector<bool> used(lines.size(), false);
  std::multimap<Cell, std::size_t> by_end;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    by_end.emplace(cell(lines[i].pts.front()), i);
    by_end.emplace(cell(lines[i].pts.back()), i);
  }
  struct Match {
    std::size_t line;
    bool at_front;  // the match is the line's first point
  };
  auto take = [&](const Pt& at) -> std::optional<Match> {
    std::optional<Match> best;
    double best_d = tol;
    const Cell c = cell(at);
    for (long dy = -1; dy <= 1; ++dy)
      for (long dx = -1; dx <= 1; ++dx) {
        auto range = by_end.equal_range({c.first + dy, c.second + dx});
        for (auto it = range.first; it != range.second; ++it) {
          if (used[it->second]) continue;
          const Line& l = lines[it->second];
          for (bool front : {true, false}) {
            const double d = dist(at, front ? l.pts.front() : l.pts.back());
            if (d <= best_d) best_d = d, best = Match{it->second, front};
          }
        }
      }
    return best;
  };
  std::vector<Line> out;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (used[i]) continue;
    used[i] = true;
    Line cur = lines[i];
    for (bool forward : {true, false}) {
      for (;;) {
        if (same(cur.pts.front(), cur.pts.back()) && cur.pts.size() > 2) break;  // closed
        const auto m = take(forward ? cur.pts.back() : cur.pts.front());
        if (!m) break;
        used[m->line] = true;
        std::vector<Pt> add = lines[m->line].pts;
        if (forward) {
          if (!m->at_front) std::reverse(add.begin(), add.end());
          cur.pts.insert(cur.pts.end(), add.begin() + 1, add.end());
        } else {
          if (m->at_front) std::reverse(add.begin(), add.end());
          cur.pts.insert(cur.pts.begin(), add.begin(), add.end() - 1);
        }
      }
    }
    out.push_back(std::move(cur));
  }
  return out;
}

double seg_dist(const Pt& p, const Pt& a, const Pt& b) {
  const double dx = b.lon - a.lon, dy = b.lat - a.lat;
  const double len2 = dx * dx + dy * dy;
  double t = len2 > 0 ? ((p.lon - a.lon) * dx + (p.lat - a.lat) * dy) / len2 : 0.0;
  t = std::clamp(t, 0.0, 1.0);
  const double ex = a.lon + t * dx - p.lon, ey = a.lat + t * dy - p.lat;
  return std::sqrt(ex * ex + ey * ey);
}

// ---- repeated borders -----------------------------------------------------------

// The border files hold many stretches twice, once with each neighbour and
// digitised apart by up to some 700 m, often reversed (the Red River between
// Oklahoma and Texas, the 100th meridian north of it), or once in each of the
// two bins a border along a bin edge touches (60N in Canada). Joined, such
// twins run out and back over the same border, and pairing one twin's end
// with the other's draws a straight chord between them. The longest pieces
// are kept first; of every further piece only the edges that do not lie along
// a kept one remain, and of those only the runs that stray farther from the
// kept lines than twins do.
constexpr double kTwinTol = 0.01;   // degrees; along a kept line
constexpr double kStrayTol = 0.03;  // degrees; a twin's own detours stay within this

// Kept edges by grid cell, each listed in every cell within kStrayTol of it.
// A point is near an edge within the tolerance; with `beside`, only where it
// lies beside the kept line, not beyond one of its ends: a piece that links
// two kept lines end to end is no twin's detour.
class KeptEdges {
 public:
  void add(const Line& l) {
    for (std::size_t i = 0; i + 1 < l.pts.size(); ++i) {
      const Edge e{l.pts[i], l.pts[i + 1], i == 0, i + 2 == l.pts.size()};
      const auto [y0, x0] = cell({std::min(e.a.lat, e.b.lat) - kStrayTol, std::min(e.a.lon, e.b.lon) - kStrayTol});
      const auto [y1, x1] = cell({std::max(e.a.lat, e.b.lat) + kStrayTol, std::max(e.a.lon, e.b.lon) + kStrayTol});
      for (long y = y0; y <= y1; ++y)
        for (long x = x0; x <= x1; ++x) cells_[{y, x}].push_back(e);
    }
  }
  bool near(const Pt& p, double tol, bool beside) const {
    const auto it = cells_.find(cell(p));
    if (it == cells_.end()) return false;
    return std::any_of(it->second.begin(), it->second.end(), [&](const Edge& e) {
      if (seg_dist(p, e.a, e.b) > tol) return false;
      if (!beside) return true;
      const double dx = e.b.lon - e.a.lon, dy = e.b.lat - e.a.lat, len2 = dx * dx + dy * dy;
      const double t = len2 > 0 ? ((p.lon - e.a.lon) * dx + (p.lat - e.a.lat) * dy) / len2 : 0.0;
      return !(t < 0.0 && e.first) && !(t > 1.0 && e.last);
    });
  }
  // True when the whole edge, sampled finer than the tolerance, is near.
  bool near(const Pt& a, const Pt& b, double tol, bool beside) const {
    const int n = static_cast<int>(std::ceil(dist(a, b) / kTwinTol));
    for (int k = 0; k <= n; ++k) {
      const double t = n > 0 ? static_cast<double>(k) / n : 0.0;
      if (!near({a.lat + t * (b.lat - a.lat), a.lon + t * (b.lon - a.lon)}, tol, beside)) return false;
    }
    return true;
  }
  bool near(const Line& l, double tol, bool beside) const {
    for (std::size_t i = 0; i + 1 < l.pts.size(); ++i)
      if (!near(l.pts[i], l.pts[i + 1], tol, beside)) return false;
    return true;
  }

 private:
  struct Edge {
    Pt a, b;
    bool first, last;  // of its line
  };
  static constexpr double kCell = 0.5;  // degrees
  static std::pair<long, long> cell(const Pt& p) {
    return {std::lround(std::floor(p.lat / kCell)), std::lround(std::floor(p.lon / kCell))};
  }
  std::map<std::pair<long, long>, std::vector<Edge>> cells_;
};

double length(const Line& l) {
  double s = 0.0;
  for (std::size_t i = 0; i + 1 < l.pts.size(); ++i) s += dist(l.pts[i], l.pts[i + 1]);
  return s;
}

std::vector<Line> drop_twins(std::vector<Line> lines) {
  std::vector<std::pair<double, std::size_t>> order;
  for (std::size_t i = 0; i < lines.size(); ++i) order.emplace_back(-length(lines[i]), i);
  std::sort(order.begin(), order.end());
  KeptEdges kept;
  std::vector<Line> out;
  for (const auto& [neg_len, idx] : order) {
    const Line& l = lines[idx];
    // Runs of edges that are not repeats become pieces of their own.
    std::vector<Line> pieces;
    bool open = false;
    for (std::size_t i = 0; i + 1 < l.pts.size(); ++i) {
      if (kept.near(l.pts[i], l.pts[i + 1], kTwinTol, false)) {
        open = false;
        continue;
      }
      if (!open) {
        pieces.emplace_back();
        pieces.back().id = l.id;
        pieces.back().pts.push_back(l.pts[i]);
        open = true;
      }
      pieces.back().pts.push_back(l.pts[i + 1]);
    }
    for (Line& p : pieces) {
      if (kept.near(p, kStrayTol, true)) continue;
      kept.add(p);
      out.push_back(std::move(p));
    }
  }
  return out;
}

void simplify(const std::vector<Pt>& in, std::size_t i0, std::size_t i1, double tol, std::vector<bool>& keep) {
  // Iterative so long coastlines cannot exhaust the stack.
  std::vector<std::pair<std::size_t, std::size_t>> todo{{i0, i1}};
  while (!todo.empty()) {
    auto [a, b] = todo.back();
    todo.pop_back();
    double best = -1.0;
    std::size_t at = a;
    for (std::size_t i = a + 1; i < b; ++i) {
      const double d = seg_dist(in[i], in[a], in[b]);
      if (d > best) best = d, at = i;
    }
    if (best > tol) {
      keep[at] = true;
      todo.emplace_back(a, at);
      todo.emplace_back(at, b);
    }
  }
}

Line thin(const Line& l, double tol) {
  if (l.pts.size() < 3 || tol <= 0.0) return l;
  std::vector<bool> keep(l.pts.size(), false);
  keep.front() = keep.back() = true;
  // A closed line is thinned as two halves so its far side survives.
  const std::size_t mid = l.pts.size() / 2;
  keep[mid] = true;
  simplify(l.pts, 0, mid, tol, keep);
  simplify(l.pts, mid, l.pts.size() - 1, tol, keep);
  Line out;
  out.id = l.id;
  for (std::size_t i = 0; i < l.pts.size(); ++i)
    if (keep[i]) out.pts.push_back(l.pts[i]);
  return out;
}

// A line that returns to where it was two points before draws a spike of no
// width: the two banks of a river inlet a few hundred metres wide, thinned
// to one point each. Such a tip is dropped, nested ones too.
constexpr double kSpikeTol = 3e-3;

Line drop_spikes(const Line& l) {
  Line out;
  out.id = l.id;
  for (const Pt& p : l.pts) {
    const std::size_t n = out.pts.size();
    if (n >= 2 && dist(out.pts[n - 2], p) <= kSpikeTol) {
      out.pts.pop_back();
      continue;
    }
    out.pts.push_back(p);
  }
  return out;
}

// Long straight runs (borders along parallels) get intermediate points so
// they follow the parallel on conic and azimuthal projections too.
Line densify(const Line& l, double max_deg) {
  Line out;
  out.id = l.id;
  for (std::size_t i = 0; i < l.pts.size(); ++i) {
    if (i > 0) {
      const Pt& a = l.pts[i - 1];
      const Pt& b = l.pts[i];
      // A step across the date line is left to the plot's seam handling.
      const double len = std::fabs(b.lon - a.lon) > 180.0 ? 0.0 : std::hypot(b.lat - a.lat, b.lon - a.lon);
      const int parts = static_cast<int>(std::ceil(len / max_deg));
      for (int k = 1; k < parts; ++k) {
        const double t = static_cast<double>(k) / parts;
        out.pts.push_back({a.lat + t * (b.lat - a.lat), a.lon + t * (b.lon - a.lon)});
      }
    }
    out.pts.push_back(l.pts[i]);
  }
  return out;
}

// The parts of a line inside the box (one point of overlap kept at each cut
// so the lines reach the box edge).
std::vector<Line> clip(const Line& l, const Box& box) {
  std::vector<Line> out;
  Line cur;
  cur.id = l.id;
  for (std::size_t i = 0; i < l.pts.size(); ++i) {
    const bool in = box.contains(l.pts[i]);
    const bool near = in || (i > 0 && box.contains(l.pts[i - 1])) ||
                      (i + 1 < l.pts.size() && box.contains(l.pts[i + 1]));
    if (near) {
      cur.pts.push_back(l.pts[i]);
    } else if (!cur.pts.empty()) {
      out.push_back(cur);
      cur.pts.clear();
    }
  }
  if (cur.pts.size() >= 2) out.push_back(cur);
  std::erase_if(out, [](const Line& x) { return x.pts.size() < 2; });
  return out;
}

// ---- output ---------------------------------------------------------------------

constexpr std::size_t kMaxPoints = 32767;  // 16-bit count

// Three decimals (about 100 m) are kept; the binary form holds the same
// values as the text form so both draw alike.
float quantize(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3f", v);
  return std::strtof(buf, nullptr);
}

void put16(std::FILE* f, int v) {
  const unsigned u = static_cast<unsigned>(v) & 0xFFFFu;
  std::fputc(static_cast<int>(u >> 8), f);
  std::fputc(static_cast<int>(u & 0xFF), f);
}
void put32(std::FILE* f, std::uint32_t u) {
  for (int s = 24; s >= 0; s -= 8) std::fputc(static_cast<int>((u >> s) & 0xFF), f);
}
void putf(std::FILE* f, float v) {
  std::uint32_t u = 0;
  std::memcpy(&u, &v, sizeof u);
  put32(f, u);
}

struct Stats {
  std::size_t lines = 0;
  std::size_t points = 0;
};

Stats write_map(const std::string& name, const std::vector<Line>& lines, bool text) {
  std::FILE* f = std::fopen(name.c_str(), text ? "w" : "wb");
  if (!f) throw std::runtime_error("cannot write " + name);
  Stats st;
  int id = 0;
  auto header = [&](std::size_t n, float la0, float la1, float lo0, float lo1) {
    if (text) std::fprintf(f, "%zu %.3f %.3f %.3f %.3f %d\n", n, la0, la1, lo0, lo1, id);
    else {
      put16(f, static_cast<int>(n));
      putf(f, la0), putf(f, la1), putf(f, lo0), putf(f, lo1);
      put32(f, static_cast<std::uint32_t>(id));
    }
  };
  for (const Line& l : lines) {
    for (std::size_t start = 0; start + 1 < l.pts.size(); start += kMaxPoints - 1) {
      const std::size_t n = std::min(kMaxPoints, l.pts.size() - start);
      float la0 = 90, la1 = -90, lo0 = 180, lo1 = -180;
      for (std::size_t i = start; i < start + n; ++i) {
        la0 = std::min(la0, static_cast<float>(l.pts[i].lat));
        la1 = std::max(la1, static_cast<float>(l.pts[i].lat));
        lo0 = std::min(lo0, static_cast<float>(l.pts[i].lon));
        lo1 = std::max(lo1, static_cast<float>(l.pts[i].lon));
      }
      ++id;
      header(n, la0, la1, lo0, lo1);
      for (std::size_t i = start; i < start + n; ++i) {
        const float la = quantize(l.pts[i].lat), lo = quantize(l.pts[i].lon);
        if (text) std::fprintf(f, "%.3f %.3f\n", la, lo);
        else putf(f, la), putf(f, lo);
      }
      ++st.lines;
      st.points += n;
    }
  }
  id = 0;
  header(0, 0, 0, 0, 0);
  std::fclose(f);
  std::printf("%-28s %6zu lines %8zu points\n", name.c_str(), st.lines, st.points);
  return st;
}

// ---- selections -------------------------------------------------------------------

template <typename Pred>
std::vector<Line> pick(const std::vector<BinnedSegment>& segs, Pred pred) {
  std::vector<Line> out;
  for (const auto& s : segs)
    if (s.line.pts.size() >= 2 && pred(s)) out.push_back(s.line);
  return out;
}

std::vector<Line> prepare(std::vector<Line> lines, double tol, const Box* box = nullptr) {
  lines = join(std::move(lines));
  std::vector<Line> out;
  for (const Line& l : lines) {
    Line t = densify(drop_spikes(thin(l, tol)), 1.0);
    if (t.pts.size() < 2) continue;
    if (box == nullptr) {
      out.push_back(std::move(t));
      continue;
    }
    for (Line& c : clip(t, *box)) out.push_back(std::move(c));
  }
  return out;
}

// Border segments of the chosen levels, each stretch once. Where the kept
// twin changes (at a bin edge, or where one twin strays), the two pieces'
// ends lie up to kStrayTol apart: once ends that meet are joined, such ends
// are linked too.
template <typename Pred>
std::vector<Line> pick_borders(const std::vector<BinnedSegment>& segs, Pred pred) {
  return join(join(drop_twins(pick(segs, pred))), kStrayTol);
}

template <typename T>
void append(std::vector<T>& to, std::vector<T> from) {
  to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s GSHHG-DIR DCW-DIR OUT-DIR\n", argv[0]);
    return 2;
  }
  const std::string gshhg = argv[1], dcw = argv[2], out = std::string(argv[3]) + "/";
  try {
    const auto shore_l = read_shore(gshhg + "/binned_GSHHS_l.nc");
    const auto shore_i = read_shore(gshhg + "/binned_GSHHS_i.nc");
    const auto border_l = read_border(gshhg + "/binned_border_l.nc");
    const auto border_i = read_border(gshhg + "/binned_border_i.nc");
    const NcFile dcw_nc(dcw + "/dcw-gmt.nc");

    // World: continents and the largest lakes; national borders.
    // Islands smaller than min_km2 only clutter the smaller scales.
    auto coast = [](double min_km2) {
      return [min_km2](const BinnedSegment& s) { return (s.level == 1 || s.level == 5) && s.area >= min_km2; };
    };
    auto lake = [](double km2) {
      return [km2](const BinnedSegment& s) { return s.level == 2 && s.area >= km2; };
    };
    auto cont = prepare(pick(shore_l, coast(2000.0)), 0.08);
    append(cont, prepare(pick(shore_l, lake(20000.0)), 0.08));
    write_map(out + "cont.map", cont, false);
    write_map(out + "country.map", prepare(pick_borders(border_l, [](const BinnedSegment& s) { return s.level == 1; }), 0.08),
              false);

    // US states from DCW (their coasts coincide with the shorelines).
    static const char* const kStates[] = {
        "AL", "AK", "AZ", "AR", "CA", "CO", "CT", "DE", "DC", "FL", "GA", "HI", "ID", "IL", "IN", "IA", "KS",
        "KY", "LA", "ME", "MD", "MA", "MI", "MN", "MS", "MO", "MT", "NE", "NV", "NH", "NJ", "NM", "NY", "NC",
        "ND", "OH", "OK", "OR", "PA", "RI", "SC", "SD", "TN", "TX", "UT", "VT", "VA", "WA", "WV", "WI", "WY"};
    std::vector<Line> states;
    for (const char* st : kStates) {
      const std::string code = std::string("US") + st;
      if (!dcw_nc.has(code + "_lon")) throw std::runtime_error("DCW has no " + code);
      append(states, read_dcw(dcw_nc, code));
    }
    // Tiny islands only clutter a state map.
    std::erase_if(states, [](const Line& l) {
      double la0 = 90, la1 = -90, lo0 = 180, lo1 = -180;
      for (const Pt& p : l.pts) la0 = std::min(la0, p.lat), la1 = std::max(la1, p.lat), lo0 = std::min(lo0, p.lon), lo1 = std::max(lo1, p.lon);
      return la1 - la0 < 0.15 && lo1 - lo0 < 0.15;
    });
    states = prepare(states, 0.02);
    write_map(out + "states.map", states, false);
    write_map(out + "states_text.map", states, true);

    // North America in more detail: shorelines, large lakes, national and
    // internal borders.
    const Box na{10.0, 85.0, -170.0, -50.0};
    auto zor = prepare(pick(shore_i, coast(300.0)), 0.03, &na);
    append(zor, prepare(pick(shore_i, lake(1500.0)), 0.03, &na));
    append(zor, prepare(pick_borders(border_i, [](const BinnedSegment& s) { return s.level == 1 || s.level == 2; }), 0.03, &na));
    write_map(out + "zor.map", zor, false);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "make_maps: %s\n", e.what());
    return 1;
  }
  return 0;
}
