// RRWDS plotting: the plot sequence over the selected files, one frame per
// file, the image as wedges around the site in the colours of its eight
// levels, the site marker and range rings, the refresh that replaces the
// newest frame, and the pointer read-out of distance and beam height.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <set>
#include <string>
#include <vector>

#include "zor/attrib.h"
#include "zor/cont.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/plt.h"
#include "zor/plt_seq.h"
#include "zor/rad.h"
#include "zor/rrwds.h"

namespace zor::rrwds {

namespace {

// Levels 0 to 7: 0 (no echo) and 7 are not drawn.
constexpr const char* kFillColours = "None,Blue,Cyan,Green,Yellow,Red,Magenta,Off";
constexpr int kLevels = 8;
constexpr int kCompData = 7;
constexpr int kCompSummary = 10;
constexpr int kNoFileStatus = 10;
constexpr float kKmPerNm = 1.852f;
constexpr double kDeg = M_PI / 180.0;
// A wedge is one degree wide and overlaps the next by a tenth, so that no
// seam shows between radials.
constexpr double kWedgeWidth = 1.1;
// Bins between the vertices of a reprojected radial edge.
constexpr int kEdgeStep = 8;

struct State {
  FILE* ifile = nullptr;
  std::set<std::string> reported;  // files already said to be unusable
  NIDS_info info;
  Image image;
  char datim[40] = {};
  Date base_date;  // the date to plot: where the file list starts
  plt::SiteParams p;
  long fsecs = 0;  // time of the newest plotted file
  long fill_calls = 0;
};

State& state() {
  static State s;
  return s;
}

// Says once per file why it cannot be plotted (the first file is opened
// twice: for its site, then to draw it).
void report(const char* filename, const std::string& why) {
  if (state().reported.insert(filename).second) MESS_print(M_ERROR, "RRWDS_open_file: %s\n", why.c_str());
}

// The site-centred domain of `info`: polar stereographic on the site, 400
// bins high and 600 wide.
Domain site_domain(const NIDS_info& info) {
  Domain d;
  DOM_init(&d);
  d.proj = DOM_PSTEREO;
  d.plat = d.clat = info.domain.clat;
  d.plon = d.clon = info.domain.clon;
  d.ny = 2 * kBins + 1;
  d.nx = 2 * kBins * 3 / 2 + 1;
  Domain saved;
  MAP_get_domain(&saved);
  MAP_domain(&d);
  d.dx = d.dy = MAP_factor(d.clat) * info.res * kKmPerNm / 100.0f;
  if (saved.proj == ZOR_MISSING) MAP_domain(nullptr);
  else MAP_domain(&saved);
  return d;
}

class Painter {
 public:
  void fill(const Gattribs& a, const Gpt* pts, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
      if (pts[i].x == ZOR_MISSING_F) return;
    if (!have_ || a.color != cur_.color || a.fill_pat != cur_.fill_pat) {
      GPH_fill_attr(&a);
      cur_ = a;
      have_ = true;
    }
    gfill_area(static_cast<int>(n), pts);
    ++state().fill_calls;
  }

 private:
  Gattribs cur_;
  bool have_ = false;
};

// Bins [from, to) of one radial that share a drawn level.
struct Span {
  int from;
  int to;
  int level;
};

// The wedges of every radial, computed on the site's own projection and
// converted when the plot is on another. A run of bins of one level is one
// polygon: its edges are straight lines from the site.
void draw_wedges() {
  auto& s = state();
  const NIDS_info& info = s.info;
  const float bin_nm = info.res;
  if (!(bin_nm > 0.0f) || info.domain.clat == ZOR_MISSING_F) return;

  Gattribs fills[kLevels];
  for (int l = 0; l < kLevels; ++l) {
    CONT_get_fill_attrib(static_cast<float>(l), &fills[l]);
    if (const int pat = CONT_get_fill_pat(); pat != ZOR_MISSING) fills[l].fill_pat = pat;
  }

  const Domain product = site_domain(info);
  Domain plot;
  MAP_get_domain(&plot);
  const bool same = DOM_comp_proj(&product, &plot) != 0;
  if (!same) MAP_domain(&product);
  float x0 = 0.0f, y0 = 0.0f;
  MAP_tran(info.domain.clat, info.domain.clon, &x0, &y0);
  const double r = MAP_factor(info.domain.clat) * bin_nm * kKmPerNm / 100.0f;
  std::vector<double> adj(s.image.radials.size());
  for (std::size_t a = 0; a < adj.size(); ++a) adj[a] = MAP_dir_adj(static_cast<float>(a), x0, y0);
  if (!same) MAP_domain(&plot);

  // Levels of bins whose outer edge lies inside the clutter radius are 0.
  int clutter_bins = 0;
  while (clutter_bins < kBins && static_cast<float>(clutter_bins + 1) * bin_nm < static_cast<float>(s.p.clutter_rad))
    ++clutter_bins;

  Painter painter;
  std::vector<Span> spans;
  std::vector<Gpt> pts;
  std::vector<std::pair<float, float>> earth;
  for (std::size_t a = 0; a < s.image.radials.size(); ++a) {
    if (adj[a] == ZOR_MISSING_F) continue;
    const Radial& lev = s.image.radials[a];
    spans.clear();
    for (int b = clutter_bins; b < kBins; ++b) {
      const int l = lev[static_cast<std::size_t>(b)];
      if (fills[l].color < 0) continue;
      if (!spans.empty() && spans.back().to == b && spans.back().level == l) ++spans.back().to;
      else spans.push_back({b, b + 1, l});
    }
    if (spans.empty()) continue;
    const double s1 = r * std::sin(adj[a] * kDeg), c1 = r * std::cos(adj[a] * kDeg);
    const double s2 = r * std::sin((adj[a] + kWedgeWidth) * kDeg), c2 = r * std::cos((adj[a] + kWedgeWidth) * kDeg);
    auto edge1 = [&](int k) { return Gpt{static_cast<float>(x0 + k * s1), static_cast<float>(y0 + k * c1)}; };
    auto edge2 = [&](int k) { return Gpt{static_cast<float>(x0 + k * s2), static_cast<float>(y0 + k * c2)}; };
    if (same) {
      for (const Span& sp : spans) {
        const Gpt quad[5] = {edge1(sp.from), edge1(sp.to), edge2(sp.to), edge2(sp.from), edge1(sp.from)};
        painter.fill(fills[sp.level], quad, 5);
      }
      continue;
    }
    // On another projection the edges bend: a vertex every kEdgeStep bins.
    for (const Span& sp : spans) {
      pts.clear();
      for (int k = sp.from;; k = std::min(k + kEdgeStep, sp.to)) {
        pts.push_back(edge1(k));
        if (k == sp.to) break;
      }
      for (int k = sp.to;; k = std::max(k - kEdgeStep, sp.from)) {
        pts.push_back(edge2(k));
        if (k == sp.from) break;
      }
      pts.push_back(edge1(sp.from));
      MAP_domain(&product);
      earth.resize(pts.size());
      for (std::size_t i = 0; i < pts.size(); ++i)
        if (!MAP_untran(pts[i].x, pts[i].y, &earth[i].first, &earth[i].second)) earth[i].first = ZOR_MISSING_F;
      MAP_domain(&plot);
      for (std::size_t i = 0; i < pts.size(); ++i)
        if (earth[i].first == ZOR_MISSING_F || !MAP_tran(earth[i].first, earth[i].second, &pts[i].x, &pts[i].y))
          pts[i].x = ZOR_MISSING_F;
      painter.fill(fills[sp.level], pts.data(), pts.size());
    }
  }
}

void set_levels() {
  CONT_param_decode();
  CONT_reset_fill_set();
  CONT_reset_values();
  CONT_set_fill_colors(kFillColours, 0);
  CONT_set_type(52);
  CONT_set_base(-0.5f);
  CONT_set_intrvl(1.0f);
  CONT_set_range(static_cast<float>(kLevels - 1), 0.0f);
}

// The first file that opens gives the site of the default domain.
void prepare(Domain* domain) {
  auto& s = state();
  RRWDS_plot_param();
  if (domain->proj != ZOR_MISSING) return;
  FILE_first(&s.base_date);
  char name[FILE_NAME_MAX] = {};
  while (FILE_get_next(name, sizeof name)) {
    if (!RRWDS_open_file(name)) continue;
    RRWDS_domain(domain);
    RRWDS_close_file();
    return;
  }
}

}  // namespace

// Images are real-time products: a file named without a date is taken to be
// from the last twelve months.
int latest_year(int month, int day) {
  long now = std::time(nullptr);
  Date today;
  DATE_get_gmdate(&now, &today);
  return month > today.month || (month == today.month && day > today.day) ? today.year - 1 : today.year;
}

namespace {

void file_opened() { state().fsecs = PLT_file_secs(); }

const PLT_format kFormat = {
    .prepare = prepare,
    .open_file = RRWDS_open_file,
    .file_opened = file_opened,
    .plot_frame = RRWDS_plot_frame,
    .close_file = RRWDS_close_file,
    .replot = RRWDS_plot,
    .callback = RRWDS_callback,
    .nextfile = RRWDS_plot_nextfile,
    .refresh = [] { return state().p.refresh != 0; },
    .no_file_status = kNoFileStatus,
};

}  // namespace

const NIDS_info& info() { return state().info; }
plt::SiteParams params() { return state().p; }
long fill_calls() { return state().fill_calls; }

void reset() {
  auto& s = state();
  if (s.ifile != nullptr) FILE_close(s.ifile);
  s = State{};
}

}  // namespace zor::rrwds

using zor::rrwds::state;

int RRWDS_set_date(Date* datim) {
  auto& s = state();
  if (datim != nullptr) s.base_date = *datim;
  else FILE_get_date(&s.base_date);
  return 0;
}

int RRWDS_open_file(char* filename) {
  using namespace zor::rrwds;
  auto& s = state();
  if (filename == nullptr) return 0;
  RRWDS_close_file();
  s.ifile = FILE_open(filename, "r");
  if (s.ifile == nullptr) {
    report(filename, std::string("Unable to open file:") + filename);
    return 0;
  }
  std::vector<std::uint8_t> bytes(kFileLen);
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), s.ifile));
  std::string why;
  Image image;
  if (!decode(bytes, &image, &why)) {
    report(filename, std::string(filename) + ": " + why);
    RRWDS_close_file();
    return 0;
  }
  s.info = NIDS_info{};
  std::rewind(s.ifile);
  if (RRWDS_get_header(s.ifile, &s.info) != 1) {
    RRWDS_close_file();
    return 0;
  }
  if (!why.empty() && s.reported.insert(filename).second)
    MESS_print(M_WARN, "RRWDS_open_file: %s: %s\n", filename, why.c_str());
  s.image = std::move(image);
  // The header has no year; the file name's date has.
  Date named;
  FILE_get_date(&named);
  s.info.date.year = named.year;
  Date label = s.info.date;
  if (label.year == ZOR_MISSING) label.year = zor::rrwds::latest_year(label.month, label.day);
  DATE_make_label(&label, s.datim);
  MESS_print(M_MESS, "Product type: %s\n", s.info.info);
  MESS_print(M_MESS, "Product date: %s\n", s.datim);
  MESS_print(M_MESS, "Product location: %5.2f %5.2f\n", static_cast<double>(s.info.domain.clat),
             static_cast<double>(s.info.domain.clon));
  if (CONT_get_bar() != -2) CONT_set_bar(1);
  RRWDS_rewind_file();
  return 1;
}

int RRWDS_rewind_file() {
  auto& s = state();
  if (s.ifile == nullptr) return 0;
  return std::fseek(s.ifile, static_cast<long>(zor::rrwds::kHeaderLen), SEEK_SET) == 0 ? 1 : 0;
}

int RRWDS_close_file() {
  auto& s = state();
  if (s.ifile == nullptr) return 0;
  FILE_close(s.ifile);
  s.ifile = nullptr;
  return 1;
}

int RRWDS_domain(Domain* domain) {
  const NIDS_info& info = state().info;
  if (domain == nullptr || domain->proj != ZOR_MISSING || info.domain.clat == ZOR_MISSING_F) return -1;
  *domain = zor::rrwds::site_domain(info);
  MESS_print(M_OUT2, "Domain: ");
  DOM_print(M_OUT1, domain);
  return 0;
}

int RRWDS_plot_param() {
  auto& s = state();
  s.p = zor::plt::SiteParams{};
  zor::plt::for_each_plot_param([&s](std::string_view w) { zor::plt::site_param(s.p, w); });
  return 0;
}

int RRWDS_plot(Domain* domain) {
  return PLT_plot_files(zor::rrwds::kFormat, domain, &state().base_date);
}

int RRWDS_plot_frame() {
  MAP_draw(1);
  RRWDS_plot_data();
  MAP_draw(6);
  PLT_labels();
  RAD_draw_bar();
  return 0;
}

int RRWDS_plot_data() {
  using namespace zor::rrwds;
  auto& s = state();
  const NIDS_info& info = s.info;
  float x0 = ZOR_MISSING_F, y0 = ZOR_MISSING_F;
  MAP_tran(info.domain.clat, info.domain.clon, &x0, &y0);
  GPH_trans(2);
  PLT_label_up_left(info.info);
  PLT_label_up_right(s.datim);
  PLT_label_low_right(info.misc);
  set_levels();
  s.fill_calls = 0;
  if (FLAG_getplot(kCompSummary) != 0) {
    PLT_mess("RRWDS Image");
    draw_wedges();
  }
  if (FLAG_getplot(kCompData) == 0 || x0 == ZOR_MISSING_F) return 0;
  Gattribs data;
  ATTRIB_get("color_data", gget_inverse() ? "black" : "white", &data);
  GPH_line_attr(&data);
  GPH_mark_attr(&data, 1.0f);
  gset_marker_type(2);
  if (s.p.plt_site) GPH_mark(x0, y0);
  if (s.p.plt_dist[0] == 0.0f) return 0;
  for (int i = 0; i < 4; ++i)
    if (s.p.plt_dist[i] != 0.0f) MAP_draw_circle(x0, y0, s.p.plt_dist[i] * kKmPerNm);
  return 0;
}

int RRWDS_plot_nextfile() {
  auto& s = state();
  char file[FILE_NAME_MAX] = {};
  const long secs = FILE_set_current(nullptr, file, sizeof file);
  MESS_print(M_DEBUG, "File: %d %s\n", static_cast<int>(secs), file);
  if (secs == s.fsecs) return 0;
  if (!RRWDS_open_file(file)) return 0;
  RRWDS_set_date(nullptr);
  s.fsecs = secs;
  return PLT_plot_newest(RRWDS_plot_frame, RRWDS_close_file);
}

void RRWDS_callback(int type, char* str, float x, float y) {
  (void)type;
  const NIDS_info& info = state().info;
  NIDS_print_loc_elev(str, x, y, info.domain.clat, info.domain.clon, info.elev);
  PLT_plot_zoom(str, x, y);
  PLT_plot_resize(str, x, y);
  RAD_flash_levels(str, x, y);
}
