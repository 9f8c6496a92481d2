// Radar coded message plots: the station's message found in each file, its
// intensity grid drawn as quarter-boxes of the LFM grid, and the storms,
// mesocyclones and TVS over it, on the shared plot sequence.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "rcm_internal.h"
#include "zor/attrib.h"
#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/cty.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_win.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/plt.h"
#include "zor/plt_param.h"
#include "zor/plt_seq.h"
#include "zor/raw.h"
#include "zor/res.h"
#include "zor/text.h"
#include "zor/var.h"
#include "zor/watch.h"
#include "zor/wind.h"

namespace zor::rcm {

const char* station() { return state().station; }
void set_station(const char* id) {
  std::snprintf(state().station, sizeof state().station, "%s", id ? id : "");
}
const RCM_report& report() { return state().report; }
Params params() { return state().p; }

void reset() {
  auto& s = state();
  if (s.ifile != nullptr) FILE_close(s.ifile);
  s = State{};
}

namespace {

constexpr int kCompData = 7;
constexpr int kCompSummary = 10;
constexpr int kNoFileStatus = 10;
constexpr int kUnknownStation = 11;

// The LFM grid and its quarter-boxes.
constexpr float kPoleLat = 90.0f;
constexpr float kPoleLon = -105.0f;
constexpr float kLfmLat = 39.7642f;
constexpr float kLfmLon = -97.1467f;
constexpr int kLfmNx = 113;
constexpr int kLfmNy = 89;
constexpr float kLfmStep = 0.47596f;
constexpr float kCell = 0.11899f;  // a quarter of the LFM step
constexpr int kSiteGrid = 100;     // default plot: 100 x 100 quarter-boxes

constexpr const char* kFill = "None,Blue,Cyan,Green,Yellow,Red,Magenta";
constexpr int kMaxCategory = 6;

bool ieq(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strnicmp(a.data(), b.data(), static_cast<int>(a.size())) == 0;
}

struct ParamWord {
  bool (*match)(std::string_view w);
  void (*act)(Params& p, std::string_view w);
};

// Plot-parameter words, tried in order; the first match acts.
constexpr ParamWord kParamWords[] = {
    {[](std::string_view w) { return ieq(w, "nobar"); },
     [](Params&, std::string_view) { CONT_set_bar(-2); }},
};

Domain polar(float clat, float clon, int nx, int ny, float step) {
  Domain d;
  DOM_init(&d);
  d.proj = DOM_PSTEREO;
  d.plat = kPoleLat;
  d.plon = kPoleLon;
  d.clat = clat;
  d.clon = clon;
  d.nx = nx;
  d.ny = ny;
  d.dx = d.dy = step;
  return d;
}

Gattribs data_attrib() {
  Gattribs a;
  ATTRIB_get("color_data", gget_inverse() ? "black" : "white", &a);
  return a;
}

// The site's 104 x 104 quarter-box area: its north-west corner in LFM
// projection coordinates, and the way to the plot's coordinates.
class Area {
 public:
  Area() {
    const auto& s = state();
    MAP_get_domain(&plot_);
    lfm_ = polar(kLfmLat, kLfmLon, kLfmNx, kLfmNy, kLfmStep);
    MAP_domain(&lfm_);
    float x = 0, y = 0, i = 0, j = 0;
    MAP_tran(s.slat, s.slon, &x, &y);
    MAP_grid_untran(x, y, &i, &j);
    MAP_grid_tran(static_cast<float>(static_cast<int>(i - 12.0f)),
                  static_cast<float>(static_cast<int>(j - 12.0f)), &xx_, &yy_);
    MAP_domain(&plot_);
    // One projection for both when two corners land where they stand.
    same_ = true;
    for (const Gpt p : {Gpt{xx_, yy_}, Gpt{xx_ + 104 * kCell, yy_ - 104 * kCell}}) {
      float px = 0, py = 0;
      MAP_domain_tran(&lfm_, &plot_, p.x, p.y, &px, &py);
      same_ = same_ && std::fabs(px - p.x) < 1e-4f && std::fabs(py - p.y) < 1e-4f;
    }
  }
  bool same() const { return same_; }
  // Plot point of the corner (col, row) of the area; fractions allowed.
  Gpt at(float col, float row) const {
    Gpt p{xx_ + col * kCell, yy_ - row * kCell};
    if (!same_) MAP_domain_tran(&lfm_, &plot_, p.x, p.y, &p.x, &p.y);
    return p;
  }

 private:
  Domain plot_;
  Domain lfm_;
  float xx_ = 0.0f;
  float yy_ = 0.0f;
  bool same_ = true;
};

void marker(const Gpt& p, const char* colour, int type) {
  gset_marker_colr_ind(CLR_get_ind(colour));
  gset_marker_type(type);
  gset_marker_width(2.0f);
  GPH_mark(p.x, p.y);
}

void plot_storms(const RCM_report& r, const Area& area, const Gattribs& data) {
  const float h = MAP_get_vert();
  for (int i = 0; i < r.num_storm; ++i) {
    const RCM_storm& st = r.storm[i];
    if (st.x == ZOR_MISSING_F) continue;
    const Gpt p = area.at(st.x + 0.5f, st.y + 0.5f);
    if (st.hail == 2)
      marker(p, "lgreen", 3);
    else if (st.hail == 1)
      marker(p, "lgreen", 5);
    else
      marker(p, "white", 2);
    GPH_line_attr(&data);
    if (st.dir != ZOR_MISSING && st.spd != ZOR_MISSING)
      WIND_barb(p.x, p.y, MAP_dir_adj(static_cast<float>(st.dir), p.x, p.y),
                static_cast<float>(st.spd), 0.075f * h, 0.0f);
    Gattribs text = data;
    text.height = ZOR_MISSING_F;
    GPH_text_attr(&text, 0.02f * h);
    GPH_text_align(3, 4);
    GPH_printf(p.x - 0.01f * h, p.y + 0.01f * h, "%s", st.id);
    if (st.hgt != ZOR_MISSING) {
      GPH_text_align(1, 4);
      GPH_printf(p.x + 0.01f * h, p.y + 0.01f * h, "%d", st.hgt);
    }
  }
  for (int i = 0; i < r.num_meso; ++i)
    if (r.meso[i].x != ZOR_MISSING_F)
      marker(area.at(r.meso[i].x + 0.5f, r.meso[i].y + 0.5f), "yellow", 4);
  for (int i = 0; i < r.num_tvs; ++i)
    if (r.tvs[i].x != ZOR_MISSING_F)
      marker(area.at(r.tvs[i].x + 0.5f, r.tvs[i].y + 0.5f), "lred", 7);
}

bool wants_watches() {
  ResValues words("variable");
  for (int i = 0; i < words.n; ++i)
    if (ieq(words[i], "watch")) return true;
  return false;
}

}  // namespace

// Reads the sites of the open file until the station's message.
static bool find_station() {
  auto& s = state();
  s.found = false;
  int stat = 0;
  while ((stat = RCM_read_site(s.ifile, &s.report)) >= 0) {
    if (stat == 1 && stricmp(s.report.id, s.station) == 0) {
      s.found = true;
      return true;
    }
  }
  return false;
}

// One file of the sequence: opened, and drawn only when it holds the station.
int open_station(char* filename) {
  auto& s = state();
  if (!RCM_open_file(filename)) return 0;
  if (!find_station()) {
    MESS_print(M_WARN, "RCM_plot: no message of station %s in %s\n", s.station, filename);
    RCM_close_file();
    return 0;
  }
  RCM_print(M_OUT2, &s.report);
  DATE_make_label(&s.report.date, s.datim);
  return 1;
}

// The site's position: the radar site file, else the message itself.
void locate_site() {
  auto& s = state();
  if (s.station[0] == '\0') {
    MESS_print(M_ERROR, "RCM_plot: no station to plot\n");
    ZOR_exit(kNoFileStatus);
  }
  if (CTY_get_loc("rad.cty", s.station, &s.slat, &s.slon) == 1) return;
  char name[FILE_NAME_MAX] = {};
  FILE_set_date(&s.base_date, name, sizeof name);
  if (RCM_open_file(name)) {
    if (find_station() && s.report.lat != ZOR_MISSING_F) {
      s.slat = s.report.lat;
      s.slon = s.report.lon;
    }
    RCM_close_file();
  }
  if (s.slat == ZOR_MISSING_F) {
    MESS_print(M_ERROR, "RCM_plot: unknown radar station: %s\n", s.station);
    ZOR_exit(kUnknownStation);
  }
}

namespace {

void prepare(Domain* domain) {
  auto& s = state();
  if (wants_watches()) WATCH_decode(&s.base_date);
  RCM_plot_param();
  locate_site();
  if (domain->proj == ZOR_MISSING) *domain = polar(s.slat, s.slon, kSiteGrid, kSiteGrid, kCell);
}

const PLT_format kFormat = {
    .prepare = prepare,
    .open_file = open_station,
    .file_opened = nullptr,
    .plot_frame = RCM_plot_frame,
    .close_file = RCM_close_file,
    .replot = RCM_plot,
    .callback = RCM_callback,
    .nextfile = RCM_plot_nextfile,
    .refresh = [] { return state().p.refresh != 0; },
    .no_file_status = kNoFileStatus,
};

}  // namespace
}  // namespace zor::rcm

using zor::rcm::state;

int RCM_set_date(Date* datim) {
  auto& s = state();
  if (datim != nullptr)
    s.base_date = *datim;
  else
    FILE_get_date(&s.base_date);
  return 0;
}

int RCM_open_file(char* filename) {
  auto& s = state();
  if (filename == nullptr) return 0;
  RCM_close_file();
  s.ifile = FILE_open(filename, "r");
  if (s.ifile == nullptr) {
    MESS_print(M_WARN, "RCM_open_file: Unable to open file:%s\n", filename);
    return 0;
  }
  FILE_get_date(&s.file_date);
  DATE_make_label(&s.file_date, s.datim);
  if (CONT_get_bar() != -2) CONT_set_bar(1);
  return 1;
}

int RCM_close_file() {
  auto& s = state();
  if (s.ifile == nullptr) return 0;
  FILE_close(s.ifile);
  s.ifile = nullptr;
  return 1;
}

int RCM_rewind_file() {
  auto& s = state();
  if (s.ifile == nullptr) return 0;
  std::rewind(s.ifile);
  return 1;
}

int RCM_plot_param() {
  state().p = zor::plt::read_site_params<zor::rcm::Params>(zor::rcm::kParamWords);
  return 0;
}

int RCM_plot(Domain* domain) {
  return PLT_plot_files(zor::rcm::kFormat, domain, &state().base_date);
}

int RCM_plot_frame() {
  MAP_draw(1);
  RCM_plot_summary();
  if (CONT_get_bar() > 0) {
    GPH_trans(1);
    CONT_draw_bar(1, "");
    GPH_trans(2);
  }
  MAP_draw(6);
  RCM_plot_data(&state().report);
  PLT_labels();
  return 0;
}

int RCM_plot_summary() {
  using namespace zor::rcm;
  auto& s = state();
  PLT_set_callback(RCM_callback);
  GPH_trans(2);
  PLT_label_up_left("RCM Base Reflectivity");
  PLT_label_up_right(s.datim);
  CONT_param_decode();
  CONT_reset_fill_set();
  const Area area;
  CONT_reset_values();
  CONT_set_type(52);
  CONT_set_base(-0.5f);
  CONT_set_intrvl(1.0f);
  CONT_set_range(static_cast<float>(kMaxCategory), 0.0f);
  CONT_set_cutoff(static_cast<float>(kMaxCategory), ZOR_MISSING_F);
  CONT_set_fill_colors(kFill, 0);
  const Gattribs data = data_attrib();
  GPH_line_attr(&data);
  PLT_mess("RCM Sum");
  if (FLAG_getplot(kCompSummary) == 0 || !s.found || s.slat == ZOR_MISSING_F) return 0;

  Gattribs fills[kMaxCategory + 1];
  for (int v = 0; v <= kMaxCategory; ++v) CONT_get_fill_attrib(static_cast<float>(v), &fills[v]);
  for (int r = 0; r < RCM_GRID; ++r) {
    for (int c = 0; c < RCM_GRID; ++c) {
      int v = s.report.echo[c][r];
      if (v > kMaxCategory) v = 0;  // not reported
      if (fills[v].color < 0) continue;
      GPH_fill_attr(&fills[v]);
      const auto fc = static_cast<float>(c), fr = static_cast<float>(r);
      const Gpt pts[5] = {area.at(fc, fr), area.at(fc + 1, fr), area.at(fc + 1, fr + 1),
                          area.at(fc, fr + 1), area.at(fc, fr)};
      gfill_area(5, pts);
    }
  }
  return 0;
}

int RCM_plot_data(RCM_report* report) {
  using namespace zor::rcm;
  if (FLAG_getplot(kCompData) == 0) return -1;
  auto& s = state();
  const Gattribs data = data_attrib();
  PLT_mess("RCM Extra");
  float x0 = ZOR_MISSING_F, y0 = ZOR_MISSING_F;
  MAP_tran(s.slat, s.slon, &x0, &y0);
  GPH_line_attr(&data);
  GPH_mark_attr(&data, 1.0f);
  CONT_reset_values();
  gset_marker_type(2);
  float scale = 0.0f;
  if (RES_getval("plot_scale", reinterpret_cast<char*>(&scale), CV_float) <= 0 || !(scale > 0.0f))
    scale = 1.0f;
  RAW_plot_init(&data, scale);
  if (x0 != ZOR_MISSING_F) {
    if (s.p.plt_site) GPH_mark(x0, y0);
    for (float d : s.p.plt_dist)
      if (d != 0.0f) MAP_draw_circle(x0, y0, d * 1.852f);
  }
  const char* vars = RES_get("variable");
  VAR_setup(nullptr, vars != nullptr ? vars : "");
  if (report == nullptr || s.slat == ZOR_MISSING_F) return 0;
  const Area area;
  VAR_data* v = VAR_get_vars();
  for (int i = 0; i < VAR_get_num(); ++i) {
    if (stricmp(v[i].name, "comp") == 0) {
      plot_storms(*report, area, data);
    } else if (stricmp(v[i].name, "watch") == 0) {
      WATCH_plot();
    } else {
      RAW_data raw;
      RAW_data_init(&raw);
      raw.type = v[i].type;
      std::snprintf(raw.format, sizeof raw.format, "%s", v[i].format);
      RAW_plot_data(&raw);
    }
  }
  return 0;
}

int RCM_plot_nextfile() {
  // The file layer's date moves with every name it builds, so each call
  // looks one refresh period later; nsecs keeps the total.
  constexpr int kPeriod = 60;
  char file[FILE_NAME_MAX] = {};
  FILE_set_date_off(nullptr, kPeriod, file, sizeof file);
  FILE_set_nsecs(FILE_get_nsecs() + kPeriod);
  std::printf("File: %s\n", file);
  std::fflush(stdout);
  if (!zor::rcm::open_station(file)) return 0;
  return PLT_plot_newest(RCM_plot_frame, RCM_close_file);
}

void RCM_callback(int type, char* str, float x, float y) {
  (void)type;
  PLT_print_location(str, x, y);
  PLT_plot_zoom(str, x, y);
  PLT_plot_resize(str, x, y);
  CONT_flash_value(str, x, y);
}
