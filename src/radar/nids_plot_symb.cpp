// NIDS plotting: the product's own symbology. Radial and raster data are
// drawn as coloured cells through the fill table of the product code, vectors,
// barbs and texts with the overlay attributes; raster products may also be
// written to a "ZORGRID" text grid file. Cells are reprojected through
// latitude and longitude when the plot is not on the product's projection.
//
// Sweeps run to a million and more gates, so neighbouring bins that share a
// colour are filled as one polygon (the outline of the bins it covers) and
// the colour of each value is looked up once.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "nids_plot_internal.h"
#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/mess.h"
#include "zor/nids.h"
#include "zor/plt.h"
#include "zor/wind.h"

namespace zor::nids_plot {

namespace {

constexpr const char* kSixteen =
    "off,blue,lblue,cyan,lcyan,green,lgreen,brown,yellow,red,lred,magenta,lmagenta,dgray,lgray,white";

struct FillRow {
  std::initializer_list<std::pair<int, int>> codes;  // inclusive ranges
  FillTable table;
};

// Fill tables by product code; the first row holding the code wins.
const FillRow kFillRows[] = {
    {{{32, 32}, {186, 186}, {94, 94}, {153, 153}, {180, 180}},
     {"-100:off,5:blue,10:lblue,15:cyan,20:lcyan,25:green,30:lgreen,35:brown,40:yellow,45:red,50:lred,"
      "55:magenta,60:lmagenta,65:dgray,70:lgray,75:white",
      false, false}},
    {{{16, 21}, {181, 181}, {35, 38}, {41, 41}, {65, 66}, {90, 90}, {57, 57}}, {kSixteen, true, false}},
    {{{48, 48}}, {"lblue,lcyan,lgreen,yellow,lred", false, true}},
    {{{81, 81}, {138, 138}},
     {"0.01:blue,.1:lblue,.2:cyan,.5:lcyan,.8:green,1.0:lgreen,1.2:brown,1.5:yellow,1.8:red,2.0:lred,"
      "2.5:magenta,3.0:lmagenta,4.0:dgray,6.0:lgray,8.0:white",
      false, false}},
    {{{55, 56}},
     {"-50:lblue,-40:cyan,-30:lcyan,-22:green,-10:lgreen,-5:dgray,-1:off,0:lgray,5:yellow,10:brown,22:lred,"
      "30:red,40:lmagenta,50:magenta",
      false, false}},
    {{{134, 135}},
     {"-100:off,0:blue,5:lblue,10:cyan,15:lcyan,20:green,25:lgreen,30:brown,35:yellow,40:red,45:lred,"
      "50:magenta,55:lmagenta,60:dgray,65:lgray,70:white",
      false, false}},
    // 16-level velocity: range folding (-90) in purple, no data (-100) undrawn.
    {{{22, 27}},
     {"-90:purple,-89.9:off,-70:blue,-63:lblue,-49:cyan,-35:lcyan,-25:green,-19:lgreen,-9:dgray,0:off,1:lgray,10:yellow,20:brown,"
      "26:lred,36:red,50:lmagenta,64:magenta",
      false, false}},
    // Digital velocity: range folding (-90) in purple; real speeds below the
    // first level stay undrawn.
    {{{182, 182}, {99, 99}, {154, 154}},
     {"-90:purple,-89.9:off,-70:blue,-63:lblue,-49:cyan,-35:lcyan,-25:green,-19:lgreen,-9:dgray,0:off,1:lgray,10:yellow,20:brown,"
      "26:lred,36:red,50:lmagenta,64:magenta",
      false, false}},
    {{{78, 80}}, {kSixteen, true, false}},
    // Digital spectrum width, knots; range folding in purple.
    {{{155, 155}},
     {"-100:off,-90:purple,-89.9:off,2:blue,4:lblue,6:cyan,8:lcyan,10:green,12:lgreen,14:brown,16:yellow,18:red,20:lred,"
      "25:magenta,30:lmagenta,40:dgray,50:lgray,60:white",
      false, false}},
    {{{158, 159}},
     {"-7.0:blue,-6.3:lblue,-4.9:cyan,-3.5:lcyan,-2.5:green,-1.9:lgreen,-.9:dgray,0:off,.1:lgray,1.0:yellow,"
      "2.0:brown,2.6:lred,3.6:red,5.0:lmagenta,6.4:magenta",
      false, false}},
    {{{170, 176}},
     {"-100:off,.01:blue,.05:lblue,.1:cyan,.25:lcyan,.5:green,.75:lgreen,1:brown,1.25:yellow,1.5:red,2:lred,"
      "2.5:magenta,3:lmagenta,4:dgray,6:lgray,8:white",
      false, false}},
    {{{165, 165}, {177, 177}},
     {"-100:off,10:magenta,20:lmagenta,30:cyan,40:blue,50:lblue,60:dgreen,70:green,80:lgreen,90:lcyan,"
      "100:red,140:dgray,150:lgray",
      false, false}},
    {{{161, 161}, {163, 163}, {167, 167}},
     {"-200:off,-1.:blue,-.8:lblue,-.6:cyan,-.4:lcyan,-.2:green,0:yellow,.2:brown,.4:lred,.6:red,"
      ".8:lmagenta,1.:magenta",
      false, false}},
    // Clutter filter control: one colour per filter state.
    {{{34, 34}}, {"0:off,1:blue,2:lblue,3:cyan,4:lcyan", false, false}},
};

constexpr FillTable kOtherCodes{kSixteen, true, false};

// Bar names of flag levels and of hydrometeor classes, by level.
struct BarName {
  float level;
  const char* name;
};
constexpr BarName kFlagNames[] = {{-200.0f, "ND"}, {-100.0f, "ND"}, {-90.0f, "RF"}};
constexpr BarName kClassNames[] = {{10, "BI"}, {20, "GC"}, {30, "IC"},  {40, "DS"},  {50, "WS"},  {60, "RA"},
                                   {70, "HR"}, {80, "BD"}, {90, "GR"}, {100, "HA"}, {140, "UK"}, {150, "RF"}};

// Clutter filter control states: filters off, bypass map in control (no
// clutter there), bypass map with clutter (filtered), filtering forced by
// the operator, all bins filtered.
constexpr BarName kFilterStates[] = {{0, "None"}, {1, "Map"}, {2, "Map+"}, {3, "Force"}, {4, "All"}};

const char* bar_name(std::span<const BarName> names, float level) {
  for (const BarName& n : names)
    if (n.level == level) return n.name;
  return nullptr;
}

}  // namespace

std::string labelled_fill(const char* colours, int code, const float* thres) {
  // Products whose levels are states rather than quantities name them.
  const std::span<const BarName> states = code == 165 || code == 177 ? std::span<const BarName>(kClassNames)
                                          : code == 34                ? std::span<const BarName>(kFilterStates)
                                                                      : std::span<const BarName>();
  std::string out;
  std::size_t step = 0;
  for (std::string_view rest = colours; !rest.empty(); ++step) {
    const std::size_t comma = rest.find(',');
    const std::string_view item = rest.substr(0, comma);
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    if (!out.empty()) out += ',';
    out += item;
    // The step's level: its own prefix, or the product's threshold.
    float level = ZOR_MISSING_F;
    bool have = false;
    if (const std::size_t colon = item.find(':'); colon != std::string_view::npos) {
      const std::string lead(item.substr(0, colon));
      char* end = nullptr;
      level = std::strtof(lead.c_str(), &end);
      have = end != lead.c_str() && *end == '\0';
    }
    if (!have && thres != nullptr && step < 16) {
      level = thres[step];
      have = true;
    }
    if (!have) continue;
    const char* name = bar_name(states, level);
    if (name == nullptr) name = bar_name(kFlagNames, level);
    // -90 stands for every flag code; a product's first level is no data,
    // range folding comes last.
    if (thres != nullptr && step == 0 && level == -90.0f) name = "ND";
    if (name != nullptr) (out += ":la=") += name;
  }
  return out;
}

namespace {

// Sets up the fill levels of the current product.
void setup_fill(const NIDS_info& info) {
  const FillTable t = fill_table(info.code);
  CONT_reset_values();
  if (t.levels) CONT_set_values(info.thres, 16);
  if (t.base_interval) {
    CONT_set_base(0.0f);
    CONT_set_intrvl(4.0f);
    CONT_set_range(16.0f, 0.0f);
  }
  CONT_set_fill_colors(labelled_fill(t.colours, info.code, t.levels ? info.thres : nullptr).c_str(), 0);
  CONT_set_type(15);
}

// Fill attributes of each value, looked up once per distinct value.
class FillCache {
 public:
  const Gattribs& get(float value) {
    if (have_last_ && value == last_value_) return *last_;
    std::uint32_t key;
    std::memcpy(&key, &value, sizeof key);
    auto [it, fresh] = cache_.try_emplace(key);
    if (fresh) {
      CONT_get_fill_attrib(value, &it->second);
      if (const int pat = CONT_get_fill_pat(); pat != ZOR_MISSING) it->second.fill_pat = pat;
    }
    last_value_ = value;
    last_ = &it->second;
    have_last_ = true;
    return *last_;
  }

 private:
  std::unordered_map<std::uint32_t, Gattribs> cache_;
  float last_value_ = 0.0f;
  const Gattribs* last_ = nullptr;
  bool have_last_ = false;
};

bool same_fill(const Gattribs& a, const Gattribs& b) { return a.color == b.color && a.fill_pat == b.fill_pat; }

// Fill areas of one packet, with the fill attributes set only when they
// change (nothing else draws while a packet's cells are filled).
class Painter {
 public:
  void fill(const Gattribs& a, std::span<const Gpt> pts) {
    if (!have_ || !same_fill(a, cur_)) {
      GPH_fill_attr(&a);
      cur_ = a;
      have_ = true;
    }
    gfill_area(static_cast<int>(pts.size()), pts.data());
    ++state().fill_calls;
  }

 private:
  Gattribs cur_;
  bool have_ = false;
};

// Product and plot projections and the radar position in product
// coordinates.
struct Geometry {
  Domain product;
  Domain plot;
  bool same = true;
  float x0 = 0.0f;
  float y0 = 0.0f;

  static Geometry of(const NIDS_info& info) {
    Geometry g;
    g.product = info.domain;
    MAP_get_domain(&g.plot);
    MAP_domain(&g.product);
    MAP_tran(info.domain.clat, info.domain.clon, &g.x0, &g.y0);
    MAP_domain(&g.plot);
    g.same = DOM_comp_proj(&g.product, &g.plot) != 0;
    return g;
  }

  // Turns product-coordinate points into plot coordinates in place (the
  // plot domain is current before and after); a point that does not convert
  // gets x = -9999.
  void to_plot(std::span<Gpt> pts, std::vector<EarthPoint>& tmp) const {
    if (same) return;
    tmp.resize(pts.size());
    MAP_domain(&product);
    for (std::size_t i = 0; i < pts.size(); ++i)
      if (!MAP_untran(pts[i].x, pts[i].y, &tmp[i].lat, &tmp[i].lon)) tmp[i].lat = ZOR_MISSING_F;
    MAP_domain(&plot);
    for (std::size_t i = 0; i < pts.size(); ++i) {
      if (tmp[i].lat == ZOR_MISSING_F || !MAP_tran(tmp[i].lat, tmp[i].lon, &pts[i].x, &pts[i].y))
        pts[i].x = ZOR_MISSING_F;
    }
  }
};

bool all_converted(std::span<const Gpt> pts) {
  return std::none_of(pts.begin(), pts.end(), [](const Gpt& p) { return p.x == ZOR_MISSING_F; });
}

// Bins [from, to) of one radial that share one fill.
struct Span {
  int from;
  int to;
  const Gattribs* attr;
};

constexpr double kDeg = M_PI / 180.0;

// Bins between the vertices of a reprojected radial edge.
constexpr int kEdgeStep = 8;

// Reads one radial's runs into spans of drawn bins; false on a read error.
bool radial_spans(FILE* f, FillCache& fills, int clutter, bool draw, std::vector<NIDS_data>& runs,
                  std::vector<Span>& spans) {
  spans.clear();
  const int stat = zor::nids::get_radial_runs(f, runs);
  int b = 0;
  for (const NIDS_data& d : runs) {
    const int n = static_cast<int>(d.run);
    if (n <= 0) continue;
    if (draw) {
      const Gattribs& a = fills.get(d.val);
      const int from = std::max(b, clutter), to = b + n;
      if (a.color >= 0 && from < to) {
        if (!spans.empty() && spans.back().to == from && same_fill(*spans.back().attr, a)) spans.back().to = to;
        else spans.push_back({from, to, &a});
      }
    }
    b += n;
  }
  return stat == 0;
}

int draw_radials(FILE* f, const Geometry& g, FillCache& fills) {
  Painter painter;
  const auto& s = state();
  // Without a bin size the bins have no place: read them, draw nothing.
  const double r = g.product.dx;
  const bool draw = FLAG_getplot(kCompSummary) != 0 && r > 0.0;
  std::vector<NIDS_data> runs;
  std::vector<Span> spans;
  std::vector<Gpt> pts, poly;
  std::vector<int> at1, at2;  // per bin: its edge vertex in `pts`, or -1
  std::vector<EarthPoint> tmp;
  float start = 0.0f, width = 0.0f;
  int stat;
  while ((stat = NIDS_get_radial(f, &start, &width)) == 1) {
    if (!radial_spans(f, fills, s.p.clutter_rad, draw, runs, spans)) return -1;
    if (spans.empty()) continue;
    if (!g.same) MAP_domain(&g.product);
    const double a = MAP_dir_adj(start, g.x0, g.y0);
    if (!g.same) MAP_domain(&g.plot);
    // Edge steps per bin; the second edge overlaps the next radial slightly
    // so that no seam shows between radials.
    const double s1 = r * std::sin(a * kDeg), c1 = r * std::cos(a * kDeg);
    const double s2 = r * std::sin((a + width + 0.01) * kDeg), c2 = r * std::cos((a + width + 0.01) * kDeg);
    auto edge1 = [&](int k) { return Gpt{static_cast<float>(g.x0 + k * s1), static_cast<float>(g.y0 + k * c1)}; };
    auto edge2 = [&](int k) { return Gpt{static_cast<float>(g.x0 + k * s2), static_cast<float>(g.y0 + k * c2)}; };

    if (g.same) {
      // A span's bins are bounded by two straight edges: one quadrilateral.
      for (const Span& sp : spans) {
        const Gpt quad[5] = {edge1(sp.from), edge1(sp.to), edge2(sp.to), edge2(sp.from), edge1(sp.from)};
        painter.fill(*sp.attr, quad);
      }
      continue;
    }
    // Reprojected: each span's outline along both edges. A radial edge bends
    // so little over a radar's range that a vertex every kEdgeStep bins
    // follows it to well under a pixel. Neighbouring spans share the bins
    // where they meet, so each edge vertex is converted once per radial.
    const std::size_t nk = static_cast<std::size_t>(spans.back().to) + 1;
    if (at1.size() < nk) {
      at1.resize(nk, -1);
      at2.resize(nk, -1);
    }
    // The outline's bins: out along the first edge, back along the second.
    auto outline = [](const Span& sp, auto&& on1, auto&& on2) {
      for (int k = sp.from;; k = std::min(k + kEdgeStep, sp.to)) {
        on1(static_cast<std::size_t>(k));
        if (k == sp.to) break;
      }
      for (int k = sp.to;; k = std::max(k - kEdgeStep, sp.from)) {
        on2(static_cast<std::size_t>(k));
        if (k == sp.from) break;
      }
    };
    pts.clear();
    auto vertex = [&](std::vector<int>& at, std::size_t k, Gpt p) {
      if (at[k] < 0) {
        at[k] = static_cast<int>(pts.size());
        pts.push_back(p);
      }
    };
    for (const Span& sp : spans)
      outline(sp, [&](std::size_t k) { vertex(at1, k, edge1(static_cast<int>(k))); },
              [&](std::size_t k) { vertex(at2, k, edge2(static_cast<int>(k))); });
    g.to_plot(pts, tmp);
    for (const Span& sp : spans) {
      poly.clear();
      outline(sp, [&](std::size_t k) { poly.push_back(pts[static_cast<std::size_t>(at1[k])]); },
              [&](std::size_t k) { poly.push_back(pts[static_cast<std::size_t>(at2[k])]); });
      poly.push_back(poly.front());
      if (all_converted(poly)) painter.fill(*sp.attr, poly);
    }
    for (const Span& sp : spans) {
      std::fill(at1.begin() + sp.from, at1.begin() + sp.to + 1, -1);
      std::fill(at2.begin() + sp.from, at2.begin() + sp.to + 1, -1);
    }
  }
  return stat < 0 ? -1 : 0;
}

// The grid file of a raster product.
class GridFile {
 public:
  GridFile() = default;
  GridFile(const GridFile&) = delete;
  GridFile& operator=(const GridFile&) = delete;
  ~GridFile() {
    if (f_ != nullptr) FILE_close(f_);
  }

  void open_if_wanted(const NIDS_info& info, const char* datim) {
    FILE_save_name_conv();
    if (NIDS_grd_out_file()) {
      Date d = info.date;
      char name[FILE_NAME_MAX] = {};
      if (FILE_set_date(&d, name, sizeof name) >= 0 && name[0] != '\0') f_ = FILE_open(name, "w");
      if (f_ != nullptr) {
        MESS_print(M_MESS, "Opening grid file: %s\n", name);
        write_header(info, datim);
      } else {
        MESS_print(M_WARN, "NIDS_plot_summary: Unable to open grid file: %s\n", name);
      }
    }
    FILE_restore_name_conv();
  }

  void values(int n, float v) {
    if (f_ == nullptr) return;
    for (int i = 0; i < n; ++i) std::fprintf(f_, "%f\n", static_cast<double>(v));
  }

 private:
  void write_header(const NIDS_info& info, const char* datim) {
    const Domain& d = info.domain;
    std::fprintf(f_, "ZORGRID\n%s\n%s\n", datim, info.info);
    auto given = [](float v) { return v != ZOR_MISSING_F; };
    switch (d.proj) {
      case DOM_LATLON: std::fputs("LL ", f_); break;
      case DOM_MERC: std::fputs("ME ", f_); break;
      case DOM_PSTEREO:
        if (given(d.plon) && d.plon != d.clon) std::fprintf(f_, "PS:%f ", static_cast<double>(d.plon));
        else std::fputs("PS ", f_);
        break;
      case DOM_LAMB:
        if (given(d.param[0]))
          std::fprintf(f_, "LC:%f:%f:%f:%f:%f ", static_cast<double>(d.plat), static_cast<double>(d.plon),
                       static_cast<double>(d.param[0]), static_cast<double>(d.param[1]),
                       static_cast<double>(d.param[2]));
        else if (given(d.plon)) std::fprintf(f_, "LC:%f ", static_cast<double>(d.plon));
        else std::fputs("LC ", f_);
        break;
      default: break;
    }
    std::fprintf(f_, "%f %f %f %f %d %d\n", static_cast<double>(d.clat), static_cast<double>(d.clon),
                 static_cast<double>(d.dx), static_cast<double>(d.dy), d.nx, d.ny);
  }

  FILE* f_ = nullptr;
};

// A row's cells [from, to) that share one fill.
struct CellSpan {
  int from;
  int to;
  const Gattribs* attr;
};

int draw_raster(FILE* f, const Geometry& g, FillCache& fills) {
  Painter painter;
  const auto& s = state();
  const NIDS_info& info = s.nids_info;
  const double cx = g.product.dx, cy = g.product.dx;
  const bool draw = FLAG_getplot(kCompSummary) != 0 && cx > 0.0;
  const int step = s.run_len > 0 ? s.run_len : (g.same ? 10 : 1);
  const double xl = g.x0 - (info.nx - 1) / 2.0 * cx;
  double yt = g.y0 + (info.ny - 1) / 2.0 * cy;

  GridFile grid;
  grid.open_if_wanted(info, s.datim);

  std::vector<CellSpan> spans;
  std::vector<Gpt> corners;
  std::vector<EarthPoint> tmp;
  int stat;
  while ((stat = NIDS_get_rastor(f)) == 1) {
    const double yb = yt - cy;
    spans.clear();
    NIDS_data d;
    int c = 0, dstat;
    while ((dstat = NIDS_get_data(f, &d)) == 1) {
      const int n = static_cast<int>(d.run);
      if (n <= 0) continue;
      float v = d.val;
      if (info.code == 81 && v != ZOR_MISSING_F) v = static_cast<float>(std::pow(10.0, v / 10.0) / 100.0);
      grid.values(n, v);
      if (draw && v != ZOR_MISSING_F) {
        const Gattribs& a = fills.get(v);
        if (a.color >= 0) {
          if (!spans.empty() && spans.back().to == c && same_fill(*spans.back().attr, a)) spans.back().to = c + n;
          else spans.push_back({c, c + n, &a});
        }
      }
      c += n;
    }
    if (dstat < 0) return -1;
    if (!spans.empty()) {
      // Row corners along the top and the bottom edge, converted once per row.
      const int ncol = spans.back().to;
      if (!g.same) {
        corners.resize(2 * static_cast<std::size_t>(ncol + 1));
        for (int k = 0; k <= ncol; ++k) {
          const auto x = static_cast<float>(xl + k * cx);
          corners[static_cast<std::size_t>(k)] = {x, static_cast<float>(yt)};
          corners[static_cast<std::size_t>(ncol + 1 + k)] = {x, static_cast<float>(yb)};
        }
        g.to_plot(corners, tmp);
      }
      auto top = [&](int k) {
        return g.same ? Gpt{static_cast<float>(xl + k * cx), static_cast<float>(yt)} : corners[static_cast<std::size_t>(k)];
      };
      auto bottom = [&](int k) {
        return g.same ? Gpt{static_cast<float>(xl + k * cx), static_cast<float>(yb)}
                      : corners[static_cast<std::size_t>(ncol + 1 + k)];
      };
      for (const CellSpan& sp : spans) {
        for (int k = sp.from; k < sp.to; k += step) {
          const int k2 = std::min(k + step, sp.to);
          const Gpt rect[5] = {top(k), top(k2), bottom(k2), bottom(k), top(k)};
          if (all_converted(rect)) painter.fill(*sp.attr, rect);
        }
      }
    }
    yt = yb;
  }
  return stat < 0 ? -1 : 0;
}

int draw_vectors(FILE* f) {
  const bool draw = FLAG_getplot(kCompSummary) != 0;
  const Gattribs grid = grid_attrib();
  GPH_line_attr(&grid);
  NIDS_vector_data v;
  int stat;
  while ((stat = NIDS_get_vector(f, &v)) == 1) {
    if (!draw) continue;
    float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    MAP_tran(v.x1, v.y1, &x1, &y1);
    MAP_tran(v.x2, v.y2, &x2, &y2);
    GPH_line(x1, y1, x2, y2);
  }
  return stat < 0 ? -1 : 0;
}

int draw_barbs(FILE* f, FillCache& fills) {
  const bool draw = FLAG_getplot(kCompSummary) != 0;
  NIDS_wind_data w;
  int stat;
  while ((stat = NIDS_get_wind(f, &w)) == 1) {
    if (!draw) continue;
    float x = 0, y = 0;
    MAP_tran(w.x, w.y, &x, &y);
    const Gattribs& a = fills.get(w.val);
    if (a.color < 0) continue;
    GPH_fill_attr(&a);
    GPH_line_attr(&a);
    WIND_barb(x, y, w.dir, w.spd, 20.0f, 0.0f);
  }
  return stat < 0 ? -1 : 0;
}

int draw_text(FILE* f) {
  NIDS_text_data t;
  const int stat = NIDS_get_text(f, &t);
  if (stat != 1 || FLAG_getplot(kCompSummary) == 0) return stat < 0 ? -1 : 0;
  const Gattribs data = data_attrib();
  float x = 0, y = 0;
  MAP_tran(t.x, t.y, &x, &y);
  GPH_text_attr(&data, 8.0f);
  GPH_text_align(1, 2);
  if (data.color >= 0) {
    const Gpt at{x, y};
    gtext(&at, t.data);
  }
  return 0;
}

// Storm and feature symbols with the markers of the storm overlay: TVS in
// red, hail in green, point features (mesocyclones) in yellow, storm
// identifiers white; each with its text beside it.
int draw_symbols(FILE* f, int code) {
  struct SymbolMark {
    int code;
    const char* colour;
    int type;
  };
  static constexpr SymbolMark kMarks[] = {
      {12, "red", 9}, {26, "red", 9}, {19, "green", 5}, {20, "yellow", 4}, {15, "white", 2}, {25, "white", 4},
  };
  const bool draw = FLAG_getplot(kCompSummary) != 0;
  const SymbolMark* mark = nullptr;
  for (const auto& m : kMarks)
    if (m.code == code) mark = &m;
  const Gattribs data = data_attrib();
  NIDS_text_data t;
  int stat;
  while ((stat = NIDS_get_text(f, &t)) == 1) {
    if (!draw) continue;
    float x = 0, y = 0;
    MAP_tran(t.x, t.y, &x, &y);
    if (mark != nullptr) {
      gset_marker_colr_ind(CLR_get_ind(mark->colour));
      gset_marker_type(mark->type);
      gset_marker_width(2.0f);
      GPH_mark(x, y);
    }
    if (data.color < 0 || code == 25) continue;
    GPH_text_attr(&data, 8.0f);
    GPH_text_align(1, 4);
    const Gpt at{x, y};
    gtext(&at, t.data);
  }
  return stat < 0 ? -1 : 0;
}

}  // namespace

FillTable fill_table(int code) {
  for (const FillRow& row : kFillRows)
    for (const auto& [lo, hi] : row.codes)
      if (code >= lo && code <= hi) return row.table;
  return kOtherCodes;
}

}  // namespace zor::nids_plot

using zor::nids_plot::state;

int NIDS_plot_summary() {
  using namespace zor::nids_plot;
  auto& s = state();
  if (s.ifile == nullptr) return 0;
  const NIDS_info& info = s.nids_info;
  PLT_set_callback(NIDS_callback);
  GPH_trans(2);
  PLT_label_up_left(info.info);
  PLT_label_low_right(info.misc);
  PLT_label_up_right(s.datim);
  PLT_label_up_center(NIDS_product_ident());
  CONT_param_decode();
  CONT_reset_fill_set();

  const Geometry g = Geometry::of(info);
  setup_fill(info);
  PLT_mess("NIDS Sum");
  s.fill_calls = 0;

  FillCache fills;
  // Range folding is drawn (purple) although a dump reads it as missing.
  struct Fold {
    Fold() { zor::nids::set_fold_code1(true); }
    ~Fold() { zor::nids::set_fold_code1(false); }
  } fold;
  int code = info.type;
  do {
    int stat = 0;
    switch (code) {
      case NIDS_PKT_RADIAL:
      case NIDS_PKT_DIGITAL_RADIAL:
      case NIDS_PKT_GENERIC: stat = draw_radials(s.ifile, g, fills); break;
      case NIDS_PKT_RASTER:
      case NIDS_PKT_RASTER_OLD:
      case NIDS_PKT_PRECIP_ARRAY: stat = draw_raster(s.ifile, g, fills); break;
      case NIDS_PKT_VECTOR:
      case NIDS_PKT_VECTOR_VALUE: stat = draw_vectors(s.ifile); break;
      case NIDS_PKT_WIND_BARB: stat = draw_barbs(s.ifile, fills); break;
      case NIDS_PKT_TEXT:
      case NIDS_PKT_TEXT_VALUE: stat = draw_text(s.ifile); break;
      default:
        if (NIDS_line_packet(code)) stat = draw_vectors(s.ifile);
        else if (NIDS_symbol_packet(code)) stat = draw_symbols(s.ifile, code);
        break;
    }
    if (stat < 0) {
      MESS_print(M_WARN, "NIDS_plot_summary: %s\n",
                 NIDS_last_error()[0] != '\0' ? NIDS_last_error() : "damaged symbology");
      break;
    }
  } while (NIDS_packet(s.ifile, &code) > 0);
  return 0;
}

int NIDS_plot_WEDGE(Gpt* pts, WEDGE_info* wedge, float radius, float intens) {
  if (FLAG_getplot(zor::nids_plot::kCompSummary) == 0) return -1;
  if (pts == nullptr || wedge == nullptr) return 0;
  const double rad = radius;
  pts[1].x = static_cast<float>(pts[1].x + rad * wedge->dx1);
  pts[1].y = static_cast<float>(pts[1].y + rad * wedge->dy1);
  pts[2].x = static_cast<float>(pts[2].x + rad * wedge->dx2);
  pts[2].y = static_cast<float>(pts[2].y + rad * wedge->dy2);
  pts[4] = pts[0];
  Gattribs a;
  CONT_get_fill_attrib(intens, &a);
  if (const int pat = CONT_get_fill_pat(); pat != ZOR_MISSING) a.fill_pat = pat;
  if (intens != ZOR_MISSING_F && a.color >= 0) {
    Gpt poly[5] = {pts[0], pts[1], pts[2], pts[3], pts[4]};
    zor::nids_plot::Geometry g;
    g.product = state().nids_info.domain;
    MAP_get_domain(&g.plot);
    g.same = DOM_comp_proj(&g.product, &g.plot) != 0;
    std::vector<EarthPoint> tmp;
    g.to_plot(poly, tmp);
    if (zor::nids_plot::all_converted(poly)) {
      GPH_fill_attr(&a);
      gfill_area(5, poly);
    }
  }
  pts[0].x = static_cast<float>(pts[0].x + rad * wedge->dx1);
  pts[0].y = static_cast<float>(pts[0].y + rad * wedge->dy1);
  pts[3].x = static_cast<float>(pts[3].x + rad * wedge->dx2);
  pts[3].y = static_cast<float>(pts[3].y + rad * wedge->dy2);
  return 0;
}
