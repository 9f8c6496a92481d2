// Plotting of converted radar report files: the plot sequence over a file
// series, the summary grid through the fill levels with its intensity bar,
// the station reports through the point plotter, the variable menu, level
// flashing on the bar, the pointer read-out and refresh.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "zor/attrib.h"
#include "zor/cont.h"
#include "zor/cty.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/grd.h"
#include "zor/gks_win.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/plt.h"
#include "zor/plt_seq.h"
#include "zor/rad.h"
#include "zor/res.h"
#include "zor/text.h"
#include "zor/watch.h"
#include "zor/wind.h"

namespace zor::rad {

namespace {

constexpr M_type kTrace = 0x10000000;
constexpr int kCompText = 0;
constexpr int kCompData = 7;
constexpr int kCompSummary = 10;
constexpr const char* kFillColours = "None,Blue,Cyan,Green,Yellow,Red,Magenta";
constexpr const char* kVarFile = "rad.var";
constexpr const char* kSiteFile = "rad.cty";

struct State {
  int fd = -1;
  std::unique_ptr<RAD_info> info = std::make_unique<RAD_info>();
  Date base_date;
  Date file_date;
  Params p;
  long fsecs = -1;
  Bar bar;
  bool prompt = true;
  bool var_file_read = false;
  bool sites_stored = false;
  Domain sites_domain;

  State() { clear_summary(); }
  // Starts again in a record already allocated: the summary grid is large.
  explicit State(std::unique_ptr<RAD_info> reuse) : info(std::move(reuse)) {
    static_assert(std::is_trivially_destructible_v<RAD_info>);
    ::new (info.get()) RAD_info;
    clear_summary();
  }
  void clear_summary() { std::memset(info->summary, -1, sizeof info->summary); }
};

State& state() {
  static State s;
  return s;
}

bool ieq(std::string_view a, const char* b) {
  return a.size() == std::strlen(b) && strnicmp(a.data(), b, static_cast<int>(a.size())) == 0;
}
bool iprefix(std::string_view s, const char* p) {
  const std::size_t n = std::strlen(p);
  return s.size() >= n && strnicmp(s.data(), p, static_cast<int>(n)) == 0;
}
// The number after a word's first `skip` characters and one separator.
float number_after(std::string_view w, std::size_t skip) {
  return w.size() > skip + 1 ? static_cast<float>(std::atof(std::string(w.substr(skip + 1)).c_str())) : 0.0f;
}

struct ParamWord {
  bool (*match)(std::string_view w);
  void (*act)(Params& p, std::string_view w);
};

// Plot-parameter words, tried in order; the first match acts.
constexpr ParamWord kParamWords[] = {
    {[](std::string_view w) { return ieq(w, "site"); }, [](Params& p, std::string_view) { p.plt_site = 1; }},
    {[](std::string_view w) { return ieq(w, "dist"); }, [](Params& p, std::string_view) { p.plt_dist = 100.0f; }},
    {[](std::string_view w) { return w.size() > 5 && iprefix(w, "dist"); },
     [](Params& p, std::string_view w) { p.plt_dist = number_after(w, 4); }},
    {[](std::string_view w) { return ieq(w, "nodist"); }, [](Params& p, std::string_view) { p.plt_dist = 0.0f; }},
    {[](std::string_view w) { return ieq(w, "nostatus"); }, [](Params& p, std::string_view) { p.plt_status = 0; }},
    {[](std::string_view w) { return w.size() > 7 && iprefix(w, "numplt"); },
     [](Params& p, std::string_view w) { p.num_plt = std::clamp(static_cast<int>(number_after(w, 6)), 0, RCM_MAX_STORM); }},
    {[](std::string_view w) { return ieq(w, "noclar"); }, [](Params& p, std::string_view) { p.noclar = 1; }},
    {[](std::string_view w) { return ieq(w, "refresh"); }, [](Params& p, std::string_view) { p.refresh = 1; }},
    {[](std::string_view w) { return ieq(w, "nobar"); }, [](Params&, std::string_view) { CONT_set_bar(-2); }},
    {[](std::string_view w) { return ieq(w, "slabel"); }, [](Params&, std::string_view) { WATCH_set_label(1); }},
};

float resource_float(const char* name, float def) {
  const char* v = RES_get(name);
  if (v == nullptr || *v == '\0' || !string_is_num(v)) return def;
  return static_cast<float>(std::atof(v));
}

bool is_watch(const VAR_data& v) { return stricmp(v.name, "watch") == 0; }

bool wants_watches() {
  for (int i = 0; i < VAR_get_num(); ++i)
    if (is_watch(VAR_get_vars()[i])) return true;
  return false;
}

// The summary grid of a summary kind.
bool summary_domain(int type, Domain* d) {
  struct Geometry {
    int type;
    float clat, clon;
    int nx, ny;
    float dx;
  };
  static constexpr Geometry kGrids[] = {
      {RAD_SUM_MDR, 40.027382f, -96.106903f, 120, 90, 0.47596f},
      {RAD_SUM_RCM, 39.711208f, -97.094521f, 449, 353, 0.11899f},
  };
  for (const auto& g : kGrids) {
    if (g.type != type) continue;
    DOM_init(d);
    d->proj = DOM_PSTEREO;
    d->plat = 90.0f;
    d->plon = -105.0f;
    d->clat = g.clat;
    d->clon = g.clon;
    d->nx = g.nx;
    d->ny = g.ny;
    d->dx = d->dy = g.dx;
    return true;
  }
  return false;
}

Gattribs text_attrib() {
  Gattribs a;
  ATTRIB_get("color_text", gget_inverse() ? "black" : "white", &a);
  return a;
}

// The station's plot position: the site database of the domain, else the
// position the file gives.
bool locate(const char* id, float lat, float lon, float* x, float* y) {
  CTY_locate loc;
  const std::string k = std::string("K") + id;
  if (CTY_search(id, &loc) || (std::strlen(id) == 3 && CTY_search(k.c_str(), &loc))) {
    *x = loc.x;
    *y = loc.y;
    return true;
  }
  if (lat != ZOR_MISSING_F && lon != ZOR_MISSING_F && MAP_tran(lat, lon, x, y) && MAP_in_domain(*x, *y)) return true;
  MESS_print(M_DEBUG, "Not in database: %s\n", id);
  return false;
}

// Stores the sites of the current map domain unless they are stored already.
void store_sites() {
  auto& s = state();
  Domain cur;
  MAP_get_domain(&cur);
  if (s.sites_stored && DOM_comp(&cur, &s.sites_domain)) return;
  CTY_store(kSiteFile, 2, &cur, ZOR_MISSING);
  s.sites_stored = true;
  s.sites_domain = cur;
}

void plot_var(const VAR_data& v, RAW_data* raw) {
  raw->type = v.type;
  std::snprintf(raw->format, sizeof raw->format, "%s", v.format);
  RAW_plot_data(raw);
}

bool skip_var(const VAR_data& v) {
  return is_watch(v) || (state().p.plt_status == 0 && stricmp(v.name, "stat") == 0);
}

void plot_mdr_reports(const Gattribs& data) {
  auto& s = state();
  const Params& p = s.p;
  VAR_data* vars = VAR_get_vars();
  MDR_report rep;
  for (int n = 0; MDR_read(s.fd, &rep, 0, n) == 0; ++n) {
    float x = 0.0f, y = 0.0f;
    if (!locate(rep.id, rep.x, rep.y, &x, &y)) continue;
    GPH_line_attr(&data);
    if (p.plt_dist >= 10.0f) MAP_draw_circle(x, y, p.plt_dist * 1.852f);
    if (p.plt_site) {
      GPH_mark_attr(&data, 1.0f);
      gset_marker_type(2);
      GPH_mark(x, y);
    }
    for (int i = 0; i < VAR_get_num(); ++i) {
      if (skip_var(vars[i])) continue;
      RAW_data raw;
      RAW_data_init(&raw);
      raw.x = x;
      raw.y = y;
      MDR_get_data(&rep, &vars[i], &raw);
      plot_var(vars[i], &raw);
    }
  }
}

void plot_rcm_reports(const Gattribs& data) {
  auto& s = state();
  VAR_data* vars = VAR_get_vars();
  auto rep = std::make_unique<RCM_report>();
  while (RCM_read(s.fd, rep.get()) == 1) {
    float x = 0.0f, y = 0.0f;
    if (!locate(rep->id, rep->lat, rep->lon, &x, &y)) continue;
    if (s.p.plt_site) {
      GPH_mark_attr(&data, 1.0f);
      gset_marker_type(2);
      GPH_mark(x, y);
    }
    for (int i = 0; i < VAR_get_num(); ++i) {
      if (skip_var(vars[i])) continue;
      for (int ind = 0; ind < s.p.num_plt; ++ind) {
        RAW_data raw;
        RAW_data_init(&raw);
        raw.x = x;
        raw.y = y;
        if (!RCM_get_data(rep.get(), ind, &vars[i], &raw)) break;
        plot_var(vars[i], &raw);
      }
    }
  }
}

// ---- The plot sequence -------------------------------------------------------

void prepare(Domain*) { RAD_plot_param(); }

int open_file(char* filename) {
  GPH_trans(2);
  PLT_set_overlay(0);
  return RAD_open_file(filename);
}

void file_opened() {
  auto& s = state();
  s.fsecs = PLT_file_secs();
  store_sites();
  if (wants_watches()) WATCH_decode(&s.file_date);
  bool first = true;
  for (int i = 0; i < VAR_get_num(); ++i) {
    const VAR_data& v = VAR_get_vars()[i];
    if (v.label[0] == '\0' || is_watch(v)) continue;
    if (!first) PLT_next_overlay();
    PLT_label_up_left(v.label);
    first = false;
  }
}

const PLT_format kFormat = {
    .prepare = prepare,
    .open_file = open_file,
    .file_opened = file_opened,
    .plot_frame = RAD_plot_frame,
    .close_file = RAD_close_file,
    .replot = RAD_plot,
    .callback = RAD_callback,
    .nextfile = RAD_plot_nextfile,
    .refresh = [] { return state().p.refresh != 0; },
    .no_file_status = 10,
};

// The fill levels of the summary: contour type, base and interval.
void summary_levels(int type) {
  CONT_reset_fill_set();
  CONT_reset_values();
  CONT_set_fill_colors(kFillColours, 0);
  CONT_set_type(type);
  CONT_set_base(resource_float("con_base", -0.5f));
  CONT_set_intrvl(resource_float("con_interval", type == CONT_LINE_TYPE ? 2.0f : 1.0f));
  CONT_set_range(6.0f, 0.0f);
}

}  // namespace

Params params() { return state().p; }
const RAD_info& info() { return *state().info; }
Bar bar() { return state().bar; }
int noclar() { return state().p.noclar; }

void close_all();

void reset() {
  close_all();
  auto& s = state();
  s = State{std::move(s.info)};
}

}  // namespace zor::rad

using zor::rad::state;

int RAD_set_date(Date* datim) {
  auto& s = state();
  if (datim != nullptr) s.base_date = *datim;
  else FILE_get_date(&s.base_date);
  return 0;
}

int RAD_open_file(char* filename) {
  auto& s = state();
  RAD_close_file();
  if (filename == nullptr) return 0;
  int type = 0;
  s.fd = RAD_open(filename, 0, &type);
  if (s.fd >= 0 && RAD_getinfo(s.fd, s.info.get()) < 0) {
    MESS_print(M_ERROR, "RAD_open_file: no radar summary in %s\n", filename);
    RAD_close_file();
  }
  if (s.fd < 0) {
    MESS_print(M_ERROR, "Unable to open file:%s\n", filename);
    return 0;
  }
  s.file_date = s.info->date;
  PLT_label_up_right(s.info->datim);
  MESS_print(M_MESS, "Date: %s\n", s.info->datim);
  return 1;
}

int RAD_close_file() {
  auto& s = state();
  if (s.fd < 0) return 0;
  RAD_close(s.fd);
  s.fd = -1;
  return 1;
}

int RAD_rewind_file() {
  auto& s = state();
  return s.fd < 0 ? -1 : RAD_rewind(s.fd);
}

int RAD_set_prompt_variable(int val) {
  state().prompt = val != 0;
  return 0;
}

int RAD_prompt_variable() {
  auto& s = state();
  if (!s.var_file_read) {
    VAR_open_file(zor::rad::kVarFile);
    s.var_file_read = true;
  }
  if (!s.prompt) return 0;
  const char* v = RES_get("variable");
  if (v != nullptr && *v != '\0') {
    s.prompt = false;
    VAR_setup(zor::rad::kVarFile, v);
    return 1;
  }
  char answer[256] = {};
  const int r = VAR_menu("\n        Variable Menu\n", "Enter the variable: ", answer, sizeof answer);
  if (FLAG_batch()) s.prompt = false;
  if (r == 0) return 0;
  if (r < 0 && r != ZOR_MISSING) ZOR_exit(0);
  VAR_setup(zor::rad::kVarFile, answer);
  return r;
}

int RAD_plot_param() {
  auto& s = state();
  s.p = zor::rad::Params{};
  zor::ResValues words("plot_param");
  for (int i = 0; i < words.n; ++i) {
    for (const auto& pw : zor::rad::kParamWords) {
      if (pw.match(words[i])) {
        pw.act(s.p, words[i]);
        break;
      }
    }
  }
  return 0;
}

int RAD_plot(Domain* domain) {
  const int r = PLT_plot_files(zor::rad::kFormat, domain, &state().base_date);
  // The fill levels stay for the pointer and the bar after the plot.
  zor::rad::summary_levels(52);
  return r;
}

int RAD_plot_frame() {
  MAP_draw(1);
  RAD_plot_summary();
  MAP_draw(6);
  RAD_plot_data();
  RAD_draw_label();
  return 0;
}

int RAD_plot_summary() {
  using namespace zor::rad;
  auto& s = state();
  if (FLAG_getplot(kCompSummary) == 0) return -1;
  const int saved = FLAG_get(11);
  const int type = saved < 1 ? 52 : saved;
  Domain d;
  if (!summary_domain(s.info->type, &d)) return -1;
  GRD_report grid;
  if (GRD_init(&grid, &d) < 0) {
    MESS_print(M_ERROR, "No memory for radar summary field\n");
    ZOR_exit(3);
  }
  for (int j = 0; j < d.ny; ++j) {
    for (int i = 0; i < d.nx; ++i) {
      const int v = s.info->summary[i][j];
      grid.at(i, j) = v == 8 || v == 9 ? 1.0f : (v < 0 ? 0.0f : static_cast<float>(v));
    }
  }
  FLAG_set(11, type);
  GPH_trans(2);
  CONT_init();
  CONT_param_decode();
  summary_levels(type);
  CONT_draw_contour(&grid);
  if (type == 52 || type == 55) RAD_draw_bar();
  GPH_trans(2);
  FLAG_set(11, saved);
  return 0;
}

int RAD_plot_data() {
  using namespace zor::rad;
  auto& s = state();
  if (FLAG_getplot(kCompData) == 0) return -1;
  const int nvar = VAR_get_num();
  VAR_data* vars = VAR_get_vars();
  bool watch = false;
  for (int i = 0; i < nvar; ++i)
    if (is_watch(vars[i])) watch = true;
  GPH_trans(2);
  if (watch) WATCH_plot();
  if (s.fd < 0 || (watch && nvar == 1)) return 0;

  Gattribs data;
  ATTRIB_get("color_data", gget_inverse() ? "black" : "white", &data);
  const float scale = resource_float("plot_scale", 1.0f);
  if (RAW_plot_init(&data, scale > 0.0f ? scale : 1.0f) < 0) return -1;
  RAD_rewind(s.fd);
  if (RAD_get_type(s.fd) <= RAD_TEXT_HEADER && s.info->type == RAD_SUM_RCM) plot_rcm_reports(data);
  else plot_mdr_reports(data);
  return 0;
}

int RAD_draw_label() {
  using namespace zor::rad;
  Gattribs text = text_attrib();
  GPH_text_attr(&text, 1.0f);
  PLT_labels();
  if (FLAG_getplot(kCompData) == 0 || VAR_get_num() < 1) return 0;
  const std::string_view first = VAR_get_vars()[0].name;
  if (!(ieq(first, "amv") || ieq(first, "pr_amv"))) return 0;
  if (FLAG_getplot(kCompText) == 0 && CONT_get_bar() <= 0) return 0;
  // A reference arrow of 25 knots, drawn as the point plotter draws the
  // movement arrows (one hour of travel at the plot scale).
  GPH_trans(2);
  Glim win;
  GPH_get_win(2, &win);
  const float w = win.x_max - win.x_min, h = win.y_max - win.y_min;
  const float scale = resource_float("plot_scale", 1.0f);
  const float spd = 25.0f * 1.852f / 100.0f;
  const float x = win.x_max - 0.02f * w - spd * scale, y = win.y_min + 0.03f * h;
  Gattribs line = text;
  GPH_line_attr(&line);
  WIND_vect(x, y, 270.0f, spd, scale > 0.0f ? scale : 1.0f, 1.0f);
  text.height = ZOR_MISSING_F;
  GPH_text_attr(&text, 0.02f * h);
  GPH_text_align(GRIGHT_HOR, GHALF_VERT);
  GPH_printf(x - 0.01f * w, y, "Area Movement: 25 knts");
  return 0;
}

int RAD_draw_bar() {
  using namespace zor::rad;
  auto& s = state();
  if (CONT_get_bar() == -2) return 0;
  if (FLAG_getplot(kCompText) == 0 && CONT_get_bar() <= 0) return 0;
  Glim view, page;
  PLT_get_view(&view);
  GPH_get_view_size(&page);
  const float h = std::min(view.y_min - page.y_min, 0.02f);
  if (h < 0.01f) return -1;
  GPH_trans(1);
  Gattribs text = text_attrib();
  const float expan = text.expan > 0.0f ? text.expan : 1.0f;
  Bar b;
  b.x_lab = 9.5f * h * expan;
  b.y_lab = 0.75f * h;
  // A quarter label height in from the view's edge, so that the first
  // letter is not cut where the view starts at the page's edge.
  const float left = view.x_min + 0.25f * b.y_lab;
  b.x0 = left + b.x_lab;
  b.y0 = view.y_min - h;
  b.y1 = view.y_min;
  text.height = 0.75f * h;
  GPH_text_attr(&text, 1.0f);
  gset_char_ht(0.75f * h);
  GPH_text_align(GLEFT_HOR, GBASE_VERT);
  const float base = b.y0 + 0.2f * h;
  GPH_printf(left, base, "Intensities (Dbz):");
  static constexpr const char* kLabels[] = {"20", "30", "40", "45", "50", "55"};
  for (int i = 0; i < 6; ++i) {
    const float lx = b.x0 + static_cast<float>(i) * 4.0f * b.y_lab;
    GPH_text_attr(&text, 1.0f);
    GPH_printf(lx, base, "%s", kLabels[i]);
    Gattribs a;
    CONT_get_fill_attrib(static_cast<float>(i + 1), &a);
    if (a.color < 0) continue;
    GPH_fill_attr(&a);
    GPH_frect(lx + 2.0f * b.y_lab, b.y0 + 0.15f * h, lx + 3.7f * b.y_lab, b.y1 - 0.1f * h);
  }
  s.bar = b;
  GPH_trans(2);
  return 0;
}

int RAD_flash_levels(char* str, float x, float y) {
  using namespace zor::rad;
  const Bar b = state().bar;
  if (str == nullptr || std::strncmp(str, "f-Al", 4) != 0 || b.y_lab <= 0.0f) return 0;
  const float px = xW_NDC(x), py = yW_NDC(y);
  // One level every four label heights (0.06 of the page with a full bar).
  const int level = static_cast<int>((px - b.x0) / (4.0f * b.y_lab) + 1.01f);
  if (px < b.x0 || level < 1 || level > 6 || py < b.y0 || py > b.y1) return 0;
  Gattribs a;
  CONT_get_fill_attrib(static_cast<float>(level), &a);
  float r = 0, g = 0, bl = 0;
  if (a.color < 0 || gget_color_rgb(a.color, &r, &g, &bl) < 0) return 0;
  for (int i = 0; i < 4; ++i) {
    GPH_set_color(a.color, 0.0f, 0.0f, 0.0f);
    gupdate_window();
    ZOR_sleep(0.5f);
    GPH_set_color(a.color, r, g, bl);
    gupdate_window();
    ZOR_sleep(0.5f);
  }
  return level;
}

int RAD_plot_nextfile() {
  auto& s = state();
  char file[FILE_NAME_MAX] = {};
  const long secs = FILE_set_current(nullptr, file, sizeof file);
  MESS_print(zor::rad::kTrace, "File: %d %s\n", static_cast<int>(secs), file);
  if (secs == s.fsecs) return 0;
  if (!RAD_open_file(file)) return 0;
  s.fsecs = secs;
  return PLT_plot_newest(RAD_plot_frame, RAD_close_file);
}

void RAD_callback(int type, char* str, float x, float y) {
  (void)type;
  PLT_print_location(str, x, y);
  PLT_plot_zoom(str, x, y);
  PLT_plot_resize(str, x, y);
  RAD_flash_levels(str, x, y);
}
