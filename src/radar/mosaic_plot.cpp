// Mosaic plotting: NOWRad and KAVRAD files on the shared plot sequence, one
// frame per file, their cells filled in the colours of the reflectivity fill
// table, with watches, colour bar, labels and the pointer read-out.
//
// A fine KAVRAD grid holds about 30 million cells, so the image is drawn a
// line at a time as it is decoded: the cells of a line that share a fill
// become one span, and a span one rectangle on the product's own projection
// or one outline polygon (vertices about two pixels apart) on any other,
// with each edge between two lines converted once. Memory is
// that of one line whatever the grid.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "mosaic_internal.h"
#include "zor/cont.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/mosaic.h"
#include "zor/plt.h"
#include "zor/plt_seq.h"
#include "zor/res.h"
#include "zor/text.h"
#include "zor/watch.h"

namespace zor::mosaic {

namespace {

constexpr const char* kFillTable =
    "-100:off,5:blue,10:lblue,15:cyan,20:lcyan,25:green,30:lgreen,35:brown,40:yellow,45:red,50:lred,"
    "55:magenta,60:lmagenta,65:dgray,70:lgray,75:white";
constexpr int kCompSummary = 10;
constexpr int kNoFileStatus = 10;

// What one format's plot keeps between its steps.
struct FormatState {
  FILE* ifile = nullptr;
  char datim[40] = {};
  Date file_date;  // the product's date, for the watches
  Date base_date;  // where the file list starts
};

struct State {
  FormatState nowrad;
  FormatState kavrad;
  NOWRad_info nowrad_info;
  KAVRAD_info kavrad_info;
  int run_len = 0;
  long fill_calls = 0;
};

State& state() {
  static State s;
  return s;
}

bool ieq(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strnicmp(a.data(), b.data(), static_cast<int>(a.size())) == 0;
}

bool wants_watches() {
  ResValues words("variable");
  for (int i = 0; i < words.n; ++i)
    if (ieq(words[i], "watch")) return true;
  return false;
}

// Fill attributes of each value, looked up once per distinct value.
class FillCache {
 public:
  const Gattribs& get(float value) {
    if (last_ != nullptr && value == last_value_) return *last_;
    std::uint32_t key;
    std::memcpy(&key, &value, sizeof key);
    auto [it, fresh] = cache_.try_emplace(key);
    if (fresh) {
      CONT_get_fill_attrib(value, &it->second);
      if (const int pat = CONT_get_fill_pat(); pat != ZOR_MISSING) it->second.fill_pat = pat;
    }
    last_value_ = value;
    last_ = &it->second;
    return *last_;
  }

 private:
  std::unordered_map<std::uint32_t, Gattribs> cache_;
  float last_value_ = 0.0f;
  const Gattribs* last_ = nullptr;
};

bool same_fill(const Gattribs& a, const Gattribs& b) { return a.color == b.color && a.fill_pat == b.fill_pat; }

// Collects the spans of one grid line and fills them when the line ends.
// On another projection the corners along a line's edges are converted
// once: the bottom edge of a line is the top edge of the next, so each edge
// is kept (one line's worth of points) until the line below has used it.
class LineDrawer {
 public:
  // `left` and `top` are the left and top edges of the grid in product
  // coordinates (longitude and latitude for a latitude-longitude product).
  LineDrawer(const Domain& product, double left, double top) : product_(product), left_(left) {
    MAP_get_domain(&plot_);
    latlon_ = product.proj == DOM_LATLON;
    same_ = DOM_comp_proj(&product_, &plot_) != 0;
    run_len_ = state().run_len;
    if (!same_ && run_len_ == 0) edge_step_ = vertex_spacing(top - product.ny / 2 * product.dy);
  }

  void begin(double top, double bottom) {
    end();
    top_ = top;
    bottom_ = bottom;
    if (same_ || run_len_ > 0) return;
    const auto n = static_cast<std::size_t>(product_.nx) + 1;
    if (edges_[1 - top_edge_].y == top) {
      top_edge_ = 1 - top_edge_;
    } else {
      edges_[top_edge_].reset(top, n);
    }
    edges_[1 - top_edge_].reset(bottom, n);
  }

  // A run of `n` cells from column `col`; the cells past the line's end are
  // counted, not drawn.
  void run(int col, int n, float value) {
    if (n <= 0) return;
    const int to = std::min(col + n, product_.nx);
    if (to < col + n) clipped_ += col + n - std::max(col, to);
    if (col >= to) return;
    const Gattribs& a = fills_.get(value);
    if (a.color < 0) return;
    if (!spans_.empty() && spans_.back().to == col && same_fill(*spans_.back().attr, a)) spans_.back().to = to;
    else spans_.push_back({col, to, &a});
  }

  void end() {
    if (!spans_.empty()) {
      if (same_ || run_len_ > 0) draw_rectangles();
      else draw_outlines();
    }
    spans_.clear();
  }

  long clipped() const { return clipped_; }

 private:
  struct Span {
    int from;
    int to;
    const Gattribs* attr;
  };

  // Plot points of one edge of a line by column boundary; `at[k]` equal to
  // `stamp` marks a point converted for this edge.
  struct Edge {
    double y = ZOR_MISSING;
    int stamp = 0;
    std::vector<int> at;
    std::vector<Gpt> pt;
    void reset(double edge_y, std::size_t n) {
      y = edge_y;
      ++stamp;
      if (at.size() != n) {
        at.assign(n, 0);
        pt.resize(n);
      }
    }
  };

  Gpt corner(int k, double y) const { return {static_cast<float>(left_ + k * product_.dx), static_cast<float>(y)}; }

  // Cells between outline vertices: about two pixels apart, at least one
  // cell, at most kMaxEdgeStep.
  int vertex_spacing(double y) {
    constexpr int kProbe = 16;
    const int k = product_.nx / 2;
    pts_ = {corner(k, y), corner(k + kProbe, y)};
    to_plot();
    if (pts_[0].x == ZOR_MISSING_F || pts_[1].x == ZOR_MISSING_F) return 1;
    const double px = std::hypot(xW_p(pts_[1].x) - xW_p(pts_[0].x), yW_p(pts_[1].y) - yW_p(pts_[0].y));
    if (!(px > 0.0)) return 1;
    return std::clamp(static_cast<int>(2.0 * kProbe / px), 1, kMaxEdgeStep);
  }

  // Product coordinates to plot coordinates in place; a point that does not
  // convert gets x = -9999. The plot domain is current before and after.
  void to_plot() {
    if (same_ && !latlon_) return;
    if (latlon_) {
      for (Gpt& p : pts_)
        if (!MAP_tran(p.y, p.x, &p.x, &p.y)) p.x = ZOR_MISSING_F;
      return;
    }
    MAP_domain(&product_);
    for (Gpt& p : pts_)
      if (!MAP_untran(p.x, p.y, &p.y, &p.x)) p.x = ZOR_MISSING_F;
    MAP_domain(&plot_);
    for (Gpt& p : pts_)
      if (p.x == ZOR_MISSING_F || !MAP_tran(p.y, p.x, &p.x, &p.y)) p.x = ZOR_MISSING_F;
  }

  void fill(const Gattribs* attr, const Gpt* poly, std::size_t n) {
    if (std::any_of(poly, poly + n, [](const Gpt& p) { return p.x == ZOR_MISSING_F; })) return;
    if (cur_ == nullptr || !same_fill(*cur_, *attr)) {
      GPH_fill_attr(attr);
      cur_ = attr;
    }
    gfill_area(static_cast<int>(n), poly);
    ++state().fill_calls;
  }

  // Rectangles of at most `run_len` cells, or one a span on the product's
  // own projection.
  void draw_rectangles() {
    pts_.clear();
    for (const Span& sp : spans_) {
      const int step = run_len_ > 0 ? run_len_ : sp.to - sp.from;
      for (int k = sp.from; k < sp.to; k += step) {
        const int k2 = std::min(k + step, sp.to);
        const Gpt r[5] = {corner(k, top_), corner(k2, top_), corner(k2, bottom_), corner(k, bottom_), corner(k, top_)};
        pts_.insert(pts_.end(), r, r + 5);
      }
    }
    to_plot();
    std::size_t at = 0;
    for (const Span& sp : spans_) {
      const int step = run_len_ > 0 ? run_len_ : sp.to - sp.from;
      for (int k = sp.from; k < sp.to; k += step, at += 5) fill(sp.attr, pts_.data() + at, 5);
    }
  }

  // Vertex columns of a span: its ends and the multiples of the vertex
  // spacing between them, so that neighbouring lines share their vertices.
  template <class F>
  void vertices(int from, int to, F f) const {
    f(from);
    for (int k = (from / edge_step_ + 1) * edge_step_; k < to; k += edge_step_) f(k);
    f(to);
  }

  // One outline polygon a span, its vertices along the line's top and
  // bottom edges.
  void draw_outlines() {
    Edge& top = edges_[top_edge_];
    Edge& bottom = edges_[1 - top_edge_];
    pts_.clear();
    missing_.clear();
    auto need = [&](Edge& e, int k) {
      const auto i = static_cast<std::size_t>(k);
      if (e.at[i] == e.stamp) return;
      e.at[i] = e.stamp;
      pts_.push_back(corner(k, e.y));
      missing_.push_back({&e, i});
    };
    for (const Span& sp : spans_) {
      vertices(sp.from, sp.to, [&](int k) {
        need(top, k);
        need(bottom, k);
      });
    }
    to_plot();
    for (std::size_t i = 0; i < missing_.size(); ++i) missing_[i].first->pt[missing_[i].second] = pts_[i];
    for (const Span& sp : spans_) {
      cols_.clear();
      vertices(sp.from, sp.to, [&](int k) { cols_.push_back(static_cast<std::size_t>(k)); });
      poly_.clear();
      for (std::size_t k : cols_) poly_.push_back(top.pt[k]);
      for (auto it = cols_.rbegin(); it != cols_.rend(); ++it) poly_.push_back(bottom.pt[*it]);
      poly_.push_back(poly_.front());
      fill(sp.attr, poly_.data(), poly_.size());
    }
  }

  static constexpr int kMaxEdgeStep = 32;

  Domain product_;
  Domain plot_;
  double left_;
  bool latlon_ = false;
  bool same_ = true;
  int run_len_ = 0;
  int edge_step_ = 1;
  double top_ = 0.0;
  double bottom_ = 0.0;
  FillCache fills_;
  const Gattribs* cur_ = nullptr;
  std::vector<Span> spans_;
  std::vector<Gpt> pts_;
  std::vector<Gpt> poly_;
  std::vector<std::size_t> cols_;
  std::vector<std::pair<Edge*, std::size_t>> missing_;
  Edge edges_[2];
  int top_edge_ = 0;
  long clipped_ = 0;
};

// Labels and fill levels of a mosaic frame.
void setup_frame(const char* label) {
  GPH_trans(2);
  PLT_label_up_left(label);
  PLT_label_low_right("");
  CONT_param_decode();
  CONT_reset_fill_set();
  CONT_reset_values();
  CONT_set_base(0.0f);
  CONT_set_intrvl(5.0f);
  CONT_set_range(76.0f, 0.0f);
  CONT_set_fill_colors(kFillTable, 0);
  CONT_set_type(15);
  state().fill_calls = 0;
}

// Top and left edges of the grid in product coordinates.
void grid_origin(const Domain& d, double* top, double* left) {
  if (d.proj == DOM_LATLON) {
    *top = d.clat + (d.ny - 1) / 2.0 * d.dy;
    *left = d.clon - (d.nx - 1) / 2.0 * d.dx;
    return;
  }
  Domain plot;
  MAP_get_domain(&plot);
  Domain product = d;
  MAP_domain(&product);
  float x = 0.0f, y = 0.0f;
  MAP_get_up_left(&x, &y);
  if (plot.proj == ZOR_MISSING) MAP_domain(nullptr);
  else MAP_domain(&plot);
  *top = y;
  *left = x;
}

bool drawable(const Domain& d) {
  return d.proj != ZOR_MISSING && d.nx > 0 && d.ny > 0 && d.dx > 0.0f && d.dy > 0.0f;
}

void report_clipped(const char* who, long clipped) {
  if (clipped > 0) MESS_print(M_WARN, "%s: %ld cells past the end of their lines not drawn\n", who, clipped);
}

int draw_nowrad() {
  auto& s = state();
  const Domain& d = s.nowrad_info.domain;
  if (s.nowrad.ifile == nullptr || !drawable(d)) return 0;
  double top = 0.0, left = 0.0;
  grid_origin(d, &top, &left);
  LineDrawer lines(d, left, top);
  int rows = 0, line = 0;
  NOWRad_packet p;
  while (rows < d.ny && NOWRad_line(s.nowrad.ifile, &line)) {
    lines.begin(top, top - d.dy);
    int col = 0;
    while (NOWRad_get_packet(s.nowrad.ifile, &p)) {
      lines.run(col, p.run, p.value);
      // Past the line's end only the count of cells matters; the column
      // stops there so that no run of runs can overflow it.
      col = std::min(col + p.run, d.nx + 1);
    }
    top -= d.dy;
    ++rows;
  }
  lines.end();
  if (rows == d.ny && NOWRad_line(s.nowrad.ifile, &line))
    MESS_print(M_WARN, "NOWRad_plot_summary: lines past the grid's %d rows not drawn\n", d.ny);
  if (nowrad_error()[0] != '\0') MESS_print(M_WARN, "NOWRad_plot_summary: %s\n", nowrad_error());
  else if (rows < d.ny) MESS_print(M_WARN, "NOWRad_plot_summary: file ends after %d of %d lines\n", rows, d.ny);
  report_clipped("NOWRad_plot_summary", lines.clipped());
  return 0;
}

int draw_kavrad() {
  auto& s = state();
  const Domain& d = s.kavrad_info.domain;
  if (s.kavrad.ifile == nullptr || !drawable(d)) return 0;
  double top = 0.0, left = 0.0;
  grid_origin(d, &top, &left);
  LineDrawer lines(d, left, top);
  int col = 0, row = 0, open_row = -1;
  KAVRAD_packet p;
  while (row < d.ny && KAVRAD_get_packet(s.kavrad.ifile, &p)) {
    if (row != open_row) {
      // The first image row lies one row below the grid's top.
      lines.begin(top - (row + 1) * d.dy, top - (row + 2) * d.dy);
      open_row = row;
    }
    int run = p.run;
    if (run == -1) {
      if (col == 0) continue;
      run = d.nx - col;
    }
    lines.run(col, run, p.value);
    col += run;
    if (col >= d.nx - 1) {
      col = 0;
      ++row;
    }
  }
  lines.end();
  if (row == d.ny && KAVRAD_get_packet(s.kavrad.ifile, &p))
    MESS_print(M_WARN, "KAVRAD_plot_summary: image rows past the grid's %d rows not drawn\n", d.ny);
  if (kavrad_error()[0] != '\0') MESS_print(M_WARN, "KAVRAD_plot_summary: %s\n", kavrad_error());
  report_clipped("KAVRAD_plot_summary", lines.clipped());
  return 0;
}

// `run`, or `run=N`: cells per filled rectangle.
int plot_param() {
  auto& s = state();
  s.run_len = 0;
  ResValues words("plot_param");
  for (int i = 0; i < words.n; ++i) {
    const std::string_view w = words[i];
    if (w.size() < 3 || strnicmp(w.data(), "run", 3) != 0) continue;
    s.run_len = w.size() > 3 ? std::atoi(std::string(w.substr(std::min<std::size_t>(4, w.size()))).c_str()) : 1;
    if (s.run_len < 1) s.run_len = 1;
  }
  return 0;
}

void close(FormatState& f) {
  if (f.ifile != nullptr) FILE_close(f.ifile);
  f.ifile = nullptr;
}

// What opening a file does for either format once its header is read.
void announce(FormatState& f, const char* label, const Date& date, const Domain& dom, const char* error,
              const char* who, const char* filename) {
  Date d = date;
  if (d.year != ZOR_MISSING && d.month != ZOR_MISSING && d.day != ZOR_MISSING) DATE_make_label(&d, f.datim);
  else f.datim[0] = '\0';
  f.file_date = date;
  if (error[0] != '\0') MESS_print(M_WARN, "%s: %s: %s\n", who, filename, error);
  MESS_print(M_MESS, "Product domain: ");
  DOM_print(M_MESS, &dom);
  MESS_print(M_MESS, "Product type: %s\n", label);
  MESS_print(M_MESS, "Product date: %s\n", f.datim);
  PLT_label_up_right(f.datim);
  if (CONT_get_bar() != -2) CONT_set_bar(1);
}

// The first file's own domain when none was given.
void own_domain(FormatState& f, Domain* domain, int (*open)(char*), int (*close_file)(), const Domain& (*dom)()) {
  if (domain->proj != ZOR_MISSING) return;
  char name[FILE_NAME_MAX] = {};
  FILE_set_date(&f.base_date, name, sizeof name);
  if (open(name)) {
    *domain = dom();
    close_file();
  }
}

void plot_frame(int (*summary)(), const Date& file_date) {
  Date d = file_date;
  if (wants_watches()) WATCH_decode(&d);
  MAP_draw(1);
  summary();
  if (CONT_get_bar() > 0) {
    GPH_trans(1);
    CONT_draw_bar(1, "");
    GPH_trans(2);
  }
  MAP_draw(6);
  PLT_labels();
}

void read_out(char* str, float x, float y) {
  PLT_print_location(str, x, y);
  PLT_plot_zoom(str, x, y);
  PLT_plot_resize(str, x, y);
  CONT_flash_value(str, x, y);
}

int plot(const PLT_format& format, Domain* domain, FormatState& f, const char* who) {
  if (domain == nullptr) return -1;
  if (gchk_graphics() == 0) {
    format.prepare(domain);
    if (domain->proj == ZOR_MISSING) {
      MESS_print(M_ERROR, "%s: no plot domain: none was given and the file has none\n", who);
      return -1;
    }
  }
  PLT_format rest = format;
  rest.prepare = nullptr;
  return PLT_plot_files(rest, domain, &f.base_date);
}

const PLT_format kNowrad = {
    .prepare =
        [](Domain* d) {
          NOWRad_plot_param();
          own_domain(state().nowrad, d, NOWRad_open_file, NOWRad_close_file, nowrad_domain);
        },
    .open_file = NOWRad_open_file,
    .plot_frame = [] {
      plot_frame(NOWRad_plot_summary, state().nowrad.file_date);
      return 0;
    },
    .close_file = NOWRad_close_file,
    .replot = NOWRad_plot,
    .callback = NOWRad_callback,
    .no_file_status = kNoFileStatus,
};

const PLT_format kKavrad = {
    .prepare =
        [](Domain* d) {
          KAVRAD_plot_param();
          own_domain(state().kavrad, d, KAVRAD_open_file, KAVRAD_close_file, kavrad_domain);
        },
    .open_file = KAVRAD_open_file,
    .plot_frame = [] {
      plot_frame(KAVRAD_plot_summary, state().kavrad.file_date);
      return 0;
    },
    .close_file = KAVRAD_close_file,
    .replot = KAVRAD_plot,
    .callback = KAVRAD_callback,
    .no_file_status = kNoFileStatus,
};

}  // namespace

const NOWRad_info& nowrad_info() { return state().nowrad_info; }
const KAVRAD_info& kavrad_info() { return state().kavrad_info; }
const Domain& nowrad_domain() { return state().nowrad_info.domain; }
const Domain& kavrad_domain() { return state().kavrad_info.domain; }
int run_len() { return state().run_len; }
long fill_calls() { return state().fill_calls; }

void reset() {
  auto& s = state();
  close(s.nowrad);
  close(s.kavrad);
  s = State{};
  reset_nowrad_decoder();
  reset_kavrad_decoder();
}

}  // namespace zor::mosaic

using zor::mosaic::state;

// ---- NOWRad -----------------------------------------------------------------

int NOWRad_set_date(Date* datim) {
  auto& f = state().nowrad;
  if (datim != nullptr) f.base_date = *datim;
  else FILE_get_date(&f.base_date);
  return 0;
}

int NOWRad_open_file(char* filename) {
  auto& s = state();
  if (filename == nullptr) return 0;
  zor::mosaic::close(s.nowrad);
  s.nowrad.ifile = FILE_open(filename, "r");
  if (s.nowrad.ifile == nullptr) {
    MESS_print(M_WARN, "NOWRad_open_file: Unable to open file: %s\n", filename);
    return 0;
  }
  s.nowrad_info = NOWRad_info{};
  NOWRad_header(s.nowrad.ifile, &s.nowrad_info);
  const NOWRad_info& i = s.nowrad_info;
  zor::mosaic::announce(s.nowrad, i.label, i.date, i.domain, zor::mosaic::nowrad_error(), "NOWRad_open_file",
                        filename);
  return 1;
}

int NOWRad_rewind_file() { return NOWRad_rewind(state().nowrad.ifile); }

int NOWRad_close_file() {
  auto& f = state().nowrad;
  if (f.ifile == nullptr) return 0;
  zor::mosaic::close(f);
  return 1;
}

int NOWRad_plot_param() { return zor::mosaic::plot_param(); }

int NOWRad_plot_summary() {
  if (FLAG_getplot(zor::mosaic::kCompSummary) == 0) return -1;
  zor::mosaic::setup_frame(state().nowrad_info.label);
  PLT_mess("NOWRad Sum");
  zor::mosaic::draw_nowrad();
  if (zor::mosaic::wants_watches()) WATCH_plot();
  return 0;
}

int NOWRad_plot(Domain* domain) {
  if (gchk_graphics() != 0) NOWRad_rewind_file();
  return zor::mosaic::plot(zor::mosaic::kNowrad, domain, state().nowrad, "NOWRad_plot");
}

void NOWRad_callback(int type, char* str, float x, float y) {
  (void)type;
  zor::mosaic::read_out(str, x, y);
}

// ---- KAVRAD -----------------------------------------------------------------

int KAVRAD_set_date(Date* datim) {
  auto& f = state().kavrad;
  if (datim != nullptr) f.base_date = *datim;
  else FILE_get_date(&f.base_date);
  return 0;
}

int KAVRAD_open_file(char* filename) {
  auto& s = state();
  if (filename == nullptr) return 0;
  zor::mosaic::close(s.kavrad);
  s.kavrad.ifile = FILE_open(filename, "r");
  if (s.kavrad.ifile == nullptr) {
    MESS_print(M_WARN, "KAVRAD_open_file: Unable to open file: %s\n", filename);
    return 0;
  }
  s.kavrad_info = KAVRAD_info{};
  KAVRAD_header(s.kavrad.ifile, &s.kavrad_info);
  const KAVRAD_info& i = s.kavrad_info;
  zor::mosaic::announce(s.kavrad, i.label, i.date, i.domain, zor::mosaic::kavrad_error(), "KAVRAD_open_file",
                        filename);
  return 1;
}

int KAVRAD_rewind_file() { return KAVRAD_rewind(state().kavrad.ifile); }

int KAVRAD_close_file() {
  auto& f = state().kavrad;
  if (f.ifile == nullptr) return 0;
  zor::mosaic::close(f);
  return 1;
}

int KAVRAD_plot_param() { return zor::mosaic::plot_param(); }

int KAVRAD_plot_summary() {
  if (FLAG_getplot(zor::mosaic::kCompSummary) == 0) return -1;
  zor::mosaic::setup_frame(state().kavrad_info.label);
  PLT_mess("KAVRAD Sum");
  zor::mosaic::draw_kavrad();
  if (zor::mosaic::wants_watches()) WATCH_plot();
  return 0;
}

int KAVRAD_plot(Domain* domain) {
  if (gchk_graphics() != 0) KAVRAD_rewind_file();
  return zor::mosaic::plot(zor::mosaic::kKavrad, domain, state().kavrad, "KAVRAD_plot");
}

void KAVRAD_callback(int type, char* str, float x, float y) {
  (void)type;
  zor::mosaic::read_out(str, x, y);
}
