// Level II plotting: the plot sequence over the selected volumes, one frame
// per volume, the sweep of one elevation cut and moment drawn as coloured
// gate wedges around the radar, the plot parameters, the refresh that
// replaces the newest frame, and the pointer read-out.
//
// A super-resolution sweep holds over a million gates, so neighbouring gates
// of a radial that share a fill are drawn as one wedge piece, and the fill of
// each gate code is looked up once per sweep.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "zor/attrib.h"
#include "zor/cont.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_win.h"
#include "zor/lev2.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/nids.h"
#include "zor/plt.h"
#include "zor/plt_param.h"
#include "zor/plt_seq.h"
#include "zor/res.h"
#include "zor/text.h"

namespace zor::lev2 {

void reset_reader();

namespace {

constexpr M_type kTrace = 0x10000000;
constexpr int kCompSummary = 10;
constexpr int kNoFileStatus = 10;
constexpr int kSiteSearch = 400;  // messages searched for a site position (the metadata comes first)

// The clutter radius is in kilometres here.
struct Params : plt::SiteParams {
  int superres = 0;  // wedges as wide as the radial spacing
  float range = 460.0f;  // km
};

struct PlotState {
  LEV2_info info;
  char datim[40] = {};
  char misc[40] = {};
  Date file_date;
  Date base_date;
  Domain pdomain;
  int scan_num = 1;
  int scan_type = kRef;
  Params p;
  long fsecs = 0;
  float elev_ang = ZOR_MISSING_F;  // of the drawn sweep
  long fill_calls = 0;
  int radials = 0;
};

PlotState& state() {
  static PlotState s;
  return s;
}

bool ieq(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strnicmp(a.data(), b.data(), static_cast<int>(a.size())) == 0;
}
bool iprefix(std::string_view s, std::string_view p) {
  return s.size() >= p.size() && strnicmp(s.data(), p.data(), static_cast<int>(p.size())) == 0;
}
std::string after(std::string_view w, std::size_t skip) {
  return skip < w.size() ? std::string(w.substr(skip)) : std::string();
}

constexpr const char* kRefFill =
    "-50:off,5:blue,10:lblue,15:cyan,20:lcyan,25:green,30:lgreen,35:brown,40:yellow,45:red,50:lred,55:magenta,"
    "60:lmagenta,65:dgray,70:lgray,75:white";
constexpr const char* kVelFill =
    "-70:blue,-63:lblue,-49:cyan,-35:lcyan,-25:green,-19:lgreen,-9:dgray,0:off,1:lgray,10:yellow,20:brown,26:lred,"
    "36:red,50:lmagenta,64:magenta";

// The sweeps the `variable` resource can ask for, by prefix.
struct SweepKind {
  const char* prefix;
  int moment;
  const char* title;
  const char* fill;
  bool label_max;  // the label gives the maximum, else the range of values
};
constexpr SweepKind kSweeps[] = {
    {"ref", kRef, "Reflectivity (Dbz)", kRefFill, true},
    {"vel", kVel, "Velocity (m/s)", kVelFill, false},
    {"spect", kSw, "Spectrum width (m/s)", kVelFill, false},
    {"sw", kSw, "Spectrum width (m/s)", kVelFill, false},
    {"zdr", kZdr, "Differential reflectivity (dB)",
     "-4:dgray,-2:blue,-1:lblue,-.5:cyan,0:lcyan,.25:green,.5:lgreen,1:brown,1.5:yellow,2:red,2.5:lred,3:magenta,"
     "4:lmagenta,5:lgray,6:white",
     false},
    {"phi", kPhi, "Differential phase (deg)",
     "0:blue,30:lblue,60:cyan,90:lcyan,120:green,150:lgreen,180:brown,210:yellow,240:red,270:lred,300:magenta,"
     "330:lmagenta",
     false},
    {"rho", kRho, "Correlation coefficient",
     ".2:dgray,.45:blue,.6:lblue,.7:cyan,.75:lcyan,.8:green,.85:lgreen,.9:brown,.93:yellow,.95:red,.96:lred,"
     ".97:magenta,.98:lmagenta,.99:lgray,1.01:white",
     false},
    {"cfp", kCfp, "Clutter filter power removed (dB)",
     "0:blue,5:lblue,10:cyan,15:lcyan,20:green,25:lgreen,30:brown,35:yellow,40:red,45:lred,50:magenta,55:lmagenta",
     false},
};

const SweepKind& sweep_kind(int moment) {
  for (const auto& k : kSweeps)
    if (k.moment == moment) return k;
  return kSweeps[0];
}

using ParamAction = void (*)(Params& p, std::string_view w);
struct ParamWord {
  bool (*match)(std::string_view w);
  ParamAction act;
};

// Plot-parameter words, tried in order; the first match acts.
constexpr ParamWord kParamWords[] = {
    {[](std::string_view w) { return iprefix(w, "range"); },
     [](Params& p, std::string_view w) {
       const int r = std::atoi(after(w, 6).c_str());
       if (r > 0) p.range = static_cast<float>(r);
     }},
    {[](std::string_view w) { return ieq(w, "superres"); }, [](Params& p, std::string_view) { p.superres = 1; }},
};

// The sweep the `variable` resource asks for: moment and elevation number.
void choose_sweep(PlotState& s) {
  ResValues words("variable");
  for (int i = 0; i < words.n; ++i) {
    const std::string_view w = words[i];
    for (const auto& k : kSweeps) {
      if (!iprefix(w, k.prefix)) continue;
      s.scan_type = k.moment;
      s.scan_num = std::atoi(after(w, std::strlen(k.prefix)).c_str());
      break;
    }
  }
}

void fill_missing_date(Date& to, const Date& from) {
  if (to.year == ZOR_MISSING) to.year = from.year;
  if (to.month == ZOR_MISSING) to.month = from.month;
  if (to.day == ZOR_MISSING) to.day = from.day;
  if (to.hour == ZOR_MISSING) to.hour = from.hour;
  if (to.min == ZOR_MISSING) to.min = from.min;
}

// Opens a volume for plotting: its header, date label and the colour bar.
int open_volume(char* filename) {
  auto& s = state();
  if (LEV2_open_file(filename) != 1) return 0;
  LEV2_get_header(&s.info);
  if (!site_found() && s.pdomain.proj != ZOR_MISSING) {
    s.info.lat = s.pdomain.clat;  // as placed by the first volume
    s.info.lon = s.pdomain.clon;
  }
  DATE_make_label(&s.info.date, s.datim);
  fill_missing_date(s.file_date, s.info.date);
  if (CONT_get_bar() != -2) CONT_set_bar(1);
  return 1;
}

// Fill of each gate code of the sweep's moment, looked up once.
class CodeFills {
 public:
  const Gattribs& get(const MomentInfo& mi, unsigned code) {
    if (mi.scale != scale_ || mi.offset != offset_ || mi.bits != bits_) {
      known_.assign(mi.bits == 16 ? 65536 : 256, 0);
      fills_.resize(known_.size());
      scale_ = mi.scale;
      offset_ = mi.offset;
      bits_ = mi.bits;
    }
    if (!known_[code]) {
      CONT_get_fill_attrib(decode(mi, code), &fills_[code]);
      if (const int pat = CONT_get_fill_pat(); pat != ZOR_MISSING) fills_[code].fill_pat = pat;
      known_[code] = 1;
    }
    return fills_[code];
  }

 private:
  std::vector<unsigned char> known_;
  std::vector<Gattribs> fills_;
  float scale_ = std::nanf("");
  float offset_ = 0.0f;
  int bits_ = 0;
};

// One wedge piece waiting to be drawn: its corners and fill.
struct Piece {
  Gpt pts[5];
  const Gattribs* attr;
};

struct Sweep {
  Domain plot;
  bool same = true;
  float x0 = 0.0f, y0 = 0.0f;
  float max = -100.0f, min = 100.0f;
  bool clear_air = false;
  CodeFills fills;
  std::vector<Piece> pieces;
  std::vector<EarthPoint> tmp;
  Gattribs cur;
  bool have_cur = false;
};

// Draws the pieces of one radial, reprojected when the plot is on another
// projection.
void flush(Sweep& w) {
  auto& s = state();
  if (w.pieces.empty()) return;
  if (!w.same) {
    MAP_domain(&s.pdomain);
    w.tmp.resize(w.pieces.size() * 4);
    for (std::size_t i = 0; i < w.pieces.size(); ++i)
      for (int k = 0; k < 4; ++k) {
        EarthPoint& e = w.tmp[i * 4 + k];
        if (!MAP_untran(w.pieces[i].pts[k].x, w.pieces[i].pts[k].y, &e.lat, &e.lon)) e.lat = ZOR_MISSING_F;
      }
    MAP_domain(&w.plot);
    for (std::size_t i = 0; i < w.pieces.size(); ++i)
      for (int k = 0; k < 4; ++k) {
        const EarthPoint& e = w.tmp[i * 4 + k];
        Gpt& p = w.pieces[i].pts[k];
        if (e.lat == ZOR_MISSING_F || !MAP_tran(e.lat, e.lon, &p.x, &p.y)) p.x = ZOR_MISSING_F;
      }
  }
  for (Piece& pc : w.pieces) {
    bool ok = true;
    for (int k = 0; k < 4; ++k) ok = ok && pc.pts[k].x != ZOR_MISSING_F;
    if (!ok) continue;
    pc.pts[4] = pc.pts[0];
    if (!w.have_cur || pc.attr->color != w.cur.color || pc.attr->fill_pat != w.cur.fill_pat) {
      GPH_fill_attr(pc.attr);
      w.cur = *pc.attr;
      w.have_cur = true;
    }
    gfill_area(5, pc.pts);
    ++s.fill_calls;
  }
  w.pieces.clear();
}

// Gates of the current radial as wedge pieces, one per run of one fill.
void radial(Sweep& w, const LEV2_data& d, int m) {
  auto& s = state();
  const MomentInfo& mi = moment(m);
  const auto c = codes(m);
  constexpr double kDeg = M_PI / 180.0;
  const double width = s.p.superres ? d.az_space : 1.0;
  const double a = (MAP_dir_adj(d.rad_az, w.x0, w.y0) - width / 2.0) * kDeg;
  const double b = a + (width + 0.01) * kDeg;
  const float s1 = static_cast<float>(std::sin(a)), c1 = static_cast<float>(std::cos(a));
  const float s2 = static_cast<float>(std::sin(b)), c2 = static_cast<float>(std::cos(b));
  const float unit = s.pdomain.dx;  // projection units per kilometre
  const int step = mi.bits / 8;
  int run_from = -1;
  const Gattribs* run_attr = nullptr;
  auto close_run = [&](int to) {
    if (run_from < 0) return;
    const float r1 = std::max(0.0f, (mi.first_km + (static_cast<float>(run_from) - 0.5f) * mi.gate_km)) * unit;
    const float r2 = (mi.first_km + (static_cast<float>(to) - 0.5f) * mi.gate_km) * unit;
    if (r2 > r1) {
      Piece pc{{{w.x0 + r1 * s1, w.y0 + r1 * c1},
                {w.x0 + r2 * s1, w.y0 + r2 * c1},
                {w.x0 + r2 * s2, w.y0 + r2 * c2},
                {w.x0 + r1 * s2, w.y0 + r1 * c2},
                {}},
               run_attr};
      w.pieces.push_back(pc);
    }
    run_from = -1;
  };
  for (int i = 0; i < mi.gates; ++i) {
    unsigned code = c[static_cast<std::size_t>(i * step)];
    if (step == 2) code = code << 8 | c[static_cast<std::size_t>(i * step + 1)];
    const float v = decode(mi, code);
    if (v > w.max) w.max = v;
    if (v > -90.0f && v < w.min) w.min = v;
    const Gattribs& at = w.fills.get(mi, code);
    const float start_km = mi.first_km + (static_cast<float>(i) - 0.5f) * mi.gate_km;
    const bool drawn = at.color != -1 && start_km >= static_cast<float>(s.p.clutter_rad) &&
                       start_km + mi.gate_km > 0.0f;
    if (!drawn) {
      close_run(i);
      continue;
    }
    if (run_from >= 0 && (at.color != run_attr->color || at.fill_pat != run_attr->fill_pat)) close_run(i);
    if (run_from < 0) {
      run_from = i;
      run_attr = &at;
    }
  }
  close_run(mi.gates);
  flush(w);
}

}  // namespace

void reset() {
  reset_reader();
  state() = PlotState{};
}

}  // namespace zor::lev2

using zor::lev2::state;

int LEV2_set_date(Date* datim) {
  auto& s = state();
  if (datim != nullptr) s.base_date = *datim;
  else FILE_get_date(&s.base_date);
  return 0;
}

int LEV2_get_domain(float clat, float clon, float range, Domain* domain) {
  if (domain == nullptr) return 0;
  DOM_init(domain);
  domain->proj = DOM_PSTEREO;
  domain->plat = clat;
  domain->plon = clon;
  domain->clat = clat;
  domain->clon = clon;
  domain->ny = static_cast<int>(2.0f * range + 1.0f);
  domain->nx = static_cast<int>(3.0f * range + 1.0f);
  Domain saved;
  MAP_get_domain(&saved);
  MAP_domain(domain);
  domain->dx = domain->dy = 0.54f * 1.852f * MAP_factor(clat) / 100.0f;
  if (saved.proj == ZOR_MISSING) MAP_domain(nullptr);
  else MAP_domain(&saved);
  return 1;
}

int LEV2_plot_param() {
  state().p = zor::plt::read_site_params<zor::lev2::Params>(zor::lev2::kParamWords);
  return 0;
}

int LEV2_plot_summary() {
  using namespace zor::lev2;
  auto& s = state();
  PLT_set_callback(LEV2_callback);
  choose_sweep(s);
  if (FLAG_getplot(kCompSummary) == 0) return 0;
  GPH_trans(2);
  CONT_param_decode();
  CONT_reset_fill_set();
  Sweep w;
  MAP_get_domain(&w.plot);
  MAP_domain(&s.pdomain);
  MAP_tran(s.pdomain.clat, s.pdomain.clon, &w.x0, &w.y0);
  MAP_domain(&w.plot);
  const SweepKind& kind = sweep_kind(s.scan_type);
  CONT_reset_values();
  CONT_set_fill_colors(kind.fill, 0);
  CONT_set_type(15);
  PLT_mess("LEV2 Sum");
  w.same = DOM_comp_proj(&s.pdomain, &w.plot) != 0;
  s.fill_calls = 0;
  s.radials = 0;
  s.elev_ang = ZOR_MISSING_F;
  int last_elev = -1;
  LEV2_data d;
  while (LEV2_get_block(&d) == 1) {
    if (d.type == 1 || d.type == 31) {
      MESS_print(d.elev_num != last_elev ? M_OUT1 : M_OUT3, "El#=%d El=%.1f Az=%.1f Ptr=%d,%d,%d Num=%d,%d\n",
                 d.elev_num, static_cast<double>(d.elev_ang), static_cast<double>(d.rad_az), d.refl_ptr, d.vel_ptr,
                 d.spect_ptr, d.num_refl, d.num_vel);
      last_elev = d.elev_num;
      // Elevation numbers rise through a volume: once the sweep is drawn,
      // the rest of the volume need not be decompressed.
      if (s.radials > 0 && d.elev_num > s.scan_num) break;
      if (d.elev_num == s.scan_num && LEV2_set_data_type(s.scan_type) == 1) {
        s.elev_ang = d.elev_ang;
        w.clear_air = d.cov_patt >= 30 && d.cov_patt <= 39;
        radial(w, d, s.scan_type);
        ++s.radials;
      }
    }
    LEV2_next_block();
  }
  if (damaged()) MESS_print(M_WARN, "LEV2_plot_summary: drawn as far as the volume could be read: %s\n", problem());

  Gattribs data;
  ATTRIB_get("color_data", gget_inverse() ? "black" : "white", &data);
  GPH_line_attr(&data);
  GPH_mark_attr(&data, 1.0f);
  if (s.p.plt_site) GPH_mark(w.x0, w.y0);
  if (s.p.plt_dist[0] != 0.0f)
    for (int i = 0; i < 4; ++i)
      if (s.p.plt_dist[i] != 0.0f) MAP_draw_circle(w.x0, w.y0, s.p.plt_dist[i] * 1.852f);

  const char* mode = w.clear_air ? "cl" : "pr";
  const double el = s.elev_ang == ZOR_MISSING_F ? 0.0 : static_cast<double>(s.elev_ang);
  if (kind.label_max)
    std::snprintf(s.misc, sizeof s.misc, "Md=%s Sc=%d El=%.1f Mx=%.0f", mode, s.scan_num, el,
                  static_cast<double>(w.max));
  else
    std::snprintf(s.misc, sizeof s.misc, "Md=%s Sc=%d El=%.1f Rng=%.0f,%.0f", mode, s.scan_num, el,
                  static_cast<double>(w.min), static_cast<double>(w.max));
  PLT_label_up_left(kind.title);
  PLT_label_low_right(s.misc);
  PLT_label_up_right(s.datim);
  return 0;
}

int LEV2_plot_frame() {
  MAP_draw(1);
  LEV2_print_info();
  LEV2_plot_summary();
  if (CONT_get_bar() > 0) {
    GPH_trans(1);
    CONT_draw_bar(1, "");
    GPH_trans(2);
  }
  MAP_draw(6);
  PLT_labels();
  return 0;
}

void LEV2_callback(int type, char* str, float x, float y) {
  (void)type;
  const auto& s = state();
  NIDS_print_loc_elev(str, x, y, s.info.lat, s.info.lon, s.elev_ang);
  PLT_print_location(str, x, y);
  PLT_plot_zoom(str, x, y);
  PLT_plot_resize(str, x, y);
  CONT_flash_value(str, x, y);
}

namespace zor::lev2 {
namespace {

// The first volume tells the radar's own domain.
void prepare(Domain* domain) {
  auto& s = state();
  char name[FILE_NAME_MAX] = {};
  FILE_set_date(&s.base_date, name, sizeof name);
  begin_volume(name);
  LEV2_close_file();
  if (domain->proj == ZOR_MISSING) *domain = s.pdomain;
  MESS_print(M_OUT2, "Product domain: ");
  DOM_print(M_OUT1, &s.pdomain);
}

void file_opened() {
  state().fsecs = PLT_file_secs();
}

const PLT_format kFormat = {
    .prepare = prepare,
    .open_file = open_volume,
    .file_opened = file_opened,
    .plot_frame = LEV2_plot_frame,
    .close_file = LEV2_close_file,
    .replot = LEV2_plot,
    .callback = LEV2_callback,
    .nextfile = LEV2_plot_nextfile,
    .refresh = [] { return state().p.refresh != 0; },
    .no_file_status = kNoFileStatus,
};

}  // namespace

const Domain& begin_volume(const char* path) {
  auto& s = state();
  LEV2_plot_param();
  std::string name = path != nullptr ? path : "";
  if (!open_volume(name.data())) {
    LEV2_get_header(&s.info);  // the default position
  } else if (!site_found()) {
    // A site missing from the site file, or a chunk without the volume
    // header: the position the radials themselves carry, when they do.
    LEV2_data d;
    for (int i = 0; i < kSiteSearch && LEV2_get_block(&d) == 1; ++i, LEV2_next_block()) {
      if (d.type != 31 || d.lat == ZOR_MISSING_F) continue;
      MESS_print(M_WARN, "LEV2: site placed at %.4f, %.4f as its radials give it\n", static_cast<double>(d.lat),
                 static_cast<double>(d.lon));
      s.info.lat = d.lat;
      s.info.lon = d.lon;
      break;
    }
    const LEV2_info keep = s.info;
    LEV2_rewind_file();
    s.info.lat = keep.lat;
    s.info.lon = keep.lon;
  }
  LEV2_get_domain(s.info.lat, s.info.lon, s.p.range, &s.pdomain);
  return s.pdomain;
}

long fill_calls() { return state().fill_calls; }
int sweep_radials() { return state().radials; }
const Domain& radar_domain() { return state().pdomain; }

}  // namespace zor::lev2

int LEV2_plot(Domain* domain) { return PLT_plot_files(zor::lev2::kFormat, domain, &state().base_date); }

int LEV2_plot_nextfile() {
  auto& s = state();
  char file[FILE_NAME_MAX] = {};
  const long secs = FILE_set_current(nullptr, file, sizeof file);
  MESS_print(zor::lev2::kTrace, "File: %d %s\n", static_cast<int>(secs), file);
  if (secs == s.fsecs) return 0;
  if (!zor::lev2::open_volume(file)) return 0;
  LEV2_set_date(nullptr);
  s.fsecs = secs;
  return PLT_plot_newest(LEV2_plot_frame, LEV2_close_file);
}
