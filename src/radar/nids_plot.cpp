// NIDS plotting: the plot sequence over the selected files, one frame per
// file, the header summary, the plot parameters, the refresh that replaces the
// newest frame, and the pointer read-out of distance and beam height.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "nids_plot_internal.h"
#include "zor/attrib.h"
#include "zor/cont.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/gks.h"
#include "zor/gks_win.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/nids.h"
#include "zor/plt.h"
#include "zor/plt_param.h"
#include "zor/plt_seq.h"
#include "zor/res.h"
#include "zor/text.h"
#include "zor/watch.h"

namespace zor::nids_plot {

PlotState& state() {
  static PlotState s;
  return s;
}

Params params() { return state().p; }
const NIDS_info& info() { return state().nids_info; }
long fill_calls() { return state().fill_calls; }

void reset() {
  auto& s = state();
  if (s.ifile != nullptr) FILE_close(s.ifile);
  s = PlotState{};
}

Gattribs data_attrib() {
  Gattribs a;
  ATTRIB_get("color_data", gget_inverse() ? "black" : "white", &a);
  return a;
}

Gattribs grid_attrib() {
  Gattribs a;
  ATTRIB_get("color_grid", "red", &a);
  return a;
}

namespace {

constexpr M_type kTrace = 0x10000000;
constexpr M_type kReadOut = 8;  // a "print" sub-level: the pointer read-out
constexpr int kNoFileStatus = 10;

bool ieq(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strnicmp(a.data(), b.data(), static_cast<int>(a.size())) == 0;
}
bool iprefix(std::string_view s, std::string_view p) {
  return s.size() >= p.size() && strnicmp(s.data(), p.data(), static_cast<int>(p.size())) == 0;
}

using zor::ResValues;

// The text after the first `skip` characters of a word.
std::string after(std::string_view w, std::size_t skip) {
  return skip < w.size() ? std::string(w.substr(skip)) : std::string();
}

using ParamAction = void (*)(Params& p, std::string_view w);
struct ParamWord {
  bool (*match)(std::string_view w);
  ParamAction act;
};

// Plot-parameter words, tried in order; the first match acts.
constexpr ParamWord kParamWords[] = {
    {[](std::string_view w) { return ieq(w, "strong"); }, [](Params& p, std::string_view) { p.plt_strong = 1; }},
    {[](std::string_view w) { return iprefix(w, "numplt"); },
     [](Params& p, std::string_view w) { p.num_plt = std::atoi(after(w, 7).c_str()); }},
    {[](std::string_view w) { return ieq(w, "icd"); }, [](Params& p, std::string_view) { p.icd = 1; }},
};

// Fills the fields of `to` that are not set from `from`.
void fill_missing_date(Date& to, const Date& from) {
  if (to.year == ZOR_MISSING) to.year = from.year;
  if (to.month == ZOR_MISSING) to.month = from.month;
  if (to.day == ZOR_MISSING) to.day = from.day;
  if (to.hour == ZOR_MISSING) to.hour = from.hour;
  if (to.min == ZOR_MISSING) to.min = from.min;
}

// Bin size of a product without bins (storm tables, text products): the
// base products' 0.54 nautical miles, so that their domain is the area of a
// 124 nautical mile base product around the radar.
constexpr float kDefaultRes = 0.54f;

// The header's bin size of a site product is scaled with whatever projection
// was current when it was read; the product domain's own projection is the
// one its bins are laid out in, so the size is taken again from that one.
void own_scale(NIDS_info& info) {
  Domain& d = info.domain;
  if (d.proj != DOM_PSTEREO || d.plat != d.clat || d.plon != d.clon) return;
  const float res = info.res > 0.0f ? info.res : kDefaultRes;
  Domain saved;
  MAP_get_domain(&saved);
  MAP_domain(&d);
  const float factor = MAP_factor(d.clat);
  if (saved.proj == ZOR_MISSING) MAP_domain(nullptr);
  else MAP_domain(&saved);
  d.dx = d.dy = res * 1.852f * factor / 100.0f;
}

bool wants_watches() {
  ResValues words("variable");
  for (int i = 0; i < words.n; ++i)
    if (ieq(words[i], "watch")) return true;
  return false;
}

}  // namespace

}  // namespace zor::nids_plot

using zor::nids_plot::state;

int NIDS_set_date(Date* datim) {
  auto& s = state();
  if (datim != nullptr) s.base_date = *datim;
  else FILE_get_date(&s.base_date);
  return 0;
}

int NIDS_open_file(char* filename) {
  auto& s = state();
  if (filename == nullptr) return 0;
  if (s.ifile != nullptr && !s.kept.empty() && s.kept == filename) {
    s.kept.clear();
    s.nids_info = s.kept_info;
  } else {
    if (s.ifile != nullptr) NIDS_close_file();
    s.ifile = FILE_open(filename, "r");
    if (s.ifile == nullptr) {
      // The first file is opened twice (for its domain, then to plot it).
      if (s.unopened != filename) MESS_print(M_WARN, "NIDS_open_file: Unable to open file:%s\n", filename);
      s.unopened = filename;
      return 0;
    }
    s.unopened.clear();
    s.nids_info = NIDS_info{};
    const bool read = NIDS_get_header(s.ifile, &s.nids_info) == 1;
    if (const char* why = NIDS_not_product(); why[0] != '\0') {
      // Said once, though the first file is opened twice.
      if (s.refused != filename) MESS_print(M_WARN, "NIDS_open_file: %s is not a NIDS product: %s\n", filename, why);
      s.refused = filename;
      NIDS_close_file();
      return 0;
    }
    s.refused.clear();
    if (!read) {
      MESS_print(M_WARN, "NIDS_open_file: Unable to read file:%s\n", filename);
      NIDS_close_file();
      return 0;
    }
    s.kept_info = s.nids_info;
  }
  zor::nids_plot::own_scale(s.nids_info);
  DATE_make_label(&s.nids_info.date, s.datim);
  zor::nids_plot::fill_missing_date(s.file_date, s.nids_info.date);
  PLT_label_date(&s.nids_info.date);
  if (CONT_get_bar() != -2) CONT_set_bar(1);
  return 1;
}

int NIDS_close_file() {
  auto& s = state();
  if (s.ifile == nullptr) return 0;
  FILE_close(s.ifile);
  s.ifile = nullptr;
  s.kept.clear();
  return 1;
}

int NIDS_rewind_file() {
  auto& s = state();
  if (s.ifile == nullptr) return 0;
  std::rewind(s.ifile);
  return NIDS_get_header(s.ifile, &s.nids_info) == 1 ? 1 : 0;
}

int NIDS_print_info() {
  const auto& s = state();
  const NIDS_info& info = s.nids_info;
  MESS_print(M_MESS, "Product type: %s\n", info.info);
  MESS_print(M_MESS, "Product date: %s\n", s.datim);
  MESS_print(M_MESS, "Product location: %5.2f %5.2f\n", static_cast<double>(info.domain.clat),
             static_cast<double>(info.domain.clon));
  MESS_print(M_MESS, "Product domain: ");
  DOM_print(M_MESS, &info.domain);
  // Four thresholds to a group, eight to a line.
  std::string line = "Threshold values: ";
  char buf[64];
  for (int i = 0; i < 16; ++i) {
    const char* fmt = i % 8 == 7 ? "%.1f\n                  " : (i % 4 == 3 ? "%.1f|" : "%.1f ");
    std::snprintf(buf, sizeof buf, fmt, static_cast<double>(info.thres[i]));
    line += buf;
  }
  line += "\n";
  MESS_print(M_MESS, "%s", line.c_str());
  return 0;
}

int NIDS_plot_param() {
  state().p = zor::plt::read_site_params<zor::nids_plot::Params>(zor::nids_plot::kParamWords);
  NIDS_set_icd(state().p.icd);
  return 0;
}

int NIDS_grd_out_file() {
  zor::ResValues words("out_file");
  int want = 0;
  for (int i = 0; i < words.n; ++i) {
    const std::string_view w = words[i];
    if (!zor::nids_plot::iprefix(w, "zor")) continue;
    want = 1;
    FILE_set_name(w.size() > 3 ? zor::nids_plot::after(w, 4).c_str() : "nids_grd_zor");
  }
  return want;
}

int NIDS_plot_frame() {
  MAP_draw(1);
  NIDS_print_info();
  NIDS_plot_summary();
  if (CONT_get_bar() > 0) {
    GPH_trans(1);
    CONT_draw_bar(1, "");
    GPH_trans(2);
  }
  MAP_draw(6);
  NIDS_plot_data();
  PLT_labels();
  return 0;
}

namespace zor::nids_plot {
namespace {

// The first file only tells the product's own domain, and its date the time
// of the watches.
void prepare(Domain* domain) {
  auto& s = state();
  NIDS_plot_param();
  char name[FILE_NAME_MAX] = {};
  FILE_set_date(&s.base_date, name, sizeof name);
  if (NIDS_open_file(name)) {
    const Domain product = s.nids_info.domain;
    s.kept = name;  // left open: usually the first file plotted
    if (domain->proj == ZOR_MISSING) *domain = product;
  }
  if (wants_watches()) WATCH_decode(&s.file_date);
}

void file_opened() {
  state().fsecs = PLT_file_secs();
}

const PLT_format kFormat = {
    .prepare = prepare,
    .open_file = NIDS_open_file,
    .file_opened = file_opened,
    .plot_frame = NIDS_plot_frame,
    .close_file = NIDS_close_file,
    .replot = NIDS_plot,
    .callback = NIDS_callback,
    .nextfile = NIDS_plot_nextfile,
    .refresh = [] { return state().p.refresh != 0; },
    .no_file_status = kNoFileStatus,
};

}  // namespace
}  // namespace zor::nids_plot

int NIDS_plot(Domain* domain) {
  return PLT_plot_files(zor::nids_plot::kFormat, domain, &state().base_date);
}

int NIDS_plot_nextfile() {
  auto& s = state();
  char file[FILE_NAME_MAX] = {};
  const long secs = FILE_set_current(nullptr, file, sizeof file);
  MESS_print(zor::nids_plot::kTrace, "File: %d %s\n", static_cast<int>(secs), file);
  if (secs == s.fsecs) return 0;
  if (!NIDS_open_file(file)) return 0;
  NIDS_set_date(nullptr);
  s.fsecs = secs;
  return PLT_plot_newest(NIDS_plot_frame, NIDS_close_file);
}

int NIDS_print_loc_elev(char* str, float x, float y, float slat, float slon, float selev) {
  if (str == nullptr || std::strcmp(str, "v-Alt") != 0) return 0;
  float xr = ZOR_MISSING_F, yr = ZOR_MISSING_F, lat = ZOR_MISSING_F, lon = ZOR_MISSING_F;
  MAP_tran(slat, slon, &xr, &yr);
  MAP_untran(x, y, &lat, &lon);
  double d = ZOR_MISSING, h = ZOR_MISSING;
  const float factor = MAP_factor(slat);
  if (xr != ZOR_MISSING_F && factor > 0.0f) {
    d = std::hypot(static_cast<double>(x - xr), static_cast<double>(y - yr)) / factor;
    if (selev != ZOR_MISSING_F) {
      // Beam height over a spherical earth of radius R (units of 100 km).
      constexpr double kR = 63.713;
      const double c = std::cos((selev + 90.0) * M_PI / 180.0);
      h = std::sqrt(d * d + 4059.346369 - 2.0 * kR * d * c) - kR;
    }
  }
  const double nm = d == ZOR_MISSING ? ZOR_MISSING : 100.0 * d * 0.53996;
  const double ft = h == ZOR_MISSING ? ZOR_MISSING : 100.0 * h * 0.53996 * 6076.22;
  MESS_print(zor::nids_plot::kTrace, "Str: %s Pos: %6.2f,%6.2f Lat: %6.2f Lon: %6.2f\n", str,
             static_cast<double>(x), static_cast<double>(y), static_cast<double>(lat),
             static_cast<double>(lon));
  MESS_print(zor::nids_plot::kReadOut, "Lat: %6.2f Lon: %6.2f Dist: %5.1fnm Alt: %5.0fft\n", static_cast<double>(lat),
             static_cast<double>(lon), nm, ft);
  return 0;
}

void NIDS_callback(int type, char* str, float x, float y) {
  (void)type;
  const NIDS_info& info = state().nids_info;
  NIDS_print_loc_elev(str, x, y, info.domain.clat, info.domain.clon, info.elev);
  PLT_plot_zoom(str, x, y);
  PLT_plot_resize(str, x, y);
  CONT_flash_value(str, x, y);
}
