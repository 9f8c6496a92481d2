// PostScript and Encapsulated PostScript device (workstation type 4). The
// kernel hands over points already in device units: PostScript points inside
// a quarter-inch margin, origin bottom-left.
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "device.h"
#include "out_stream.h"
#include "print_options.h"
#include "zor/gks_dev.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace zor::gks::ps {
namespace {

constexpr int kNumGray = 257;
constexpr float kUnknown = -2.0f;  // no grey level written yet

struct PsState {
  OutStream out;
  std::array<float, kNumGray> gray{};
  float gray_level = kUnknown;  // -1 marks RGB mode
  int ps_col_ind = -9999;
  float base_width = 1.0f;
  float line_width = 1.0f;
  int line_type = 1;
  int pr_color = 0;
  int pr_rev = 0;
  int pr_port = 0;
  int pr_eps = 0;
  float pr_scale = 1.0f;
  float sx = 11.0f;
  float sy = 8.5f;
  std::string title;
  DeviceSize size{756, 576, 0, 0};

  void reset() { *this = PsState{}; }
};

PsState& state() {
  static PsState s;
  return s;
}

std::FILE* fp() { return state().out.get(); }

void put(const char* text) {
  if (std::FILE* f = fp()) std::fputs(text, f);
}

void putf(const char* format, ...) __attribute__((format(printf, 1, 2)));
void putf(const char* format, ...) {
  std::FILE* f = fp();
  if (f == nullptr) return;
  va_list ap;
  va_start(ap, format);
  std::vfprintf(f, format, ap);
  va_end(ap);
}

bool reserved(int ind) { return ind >= 500 && ind <= 508; }

// The fixed print shades of the reserved indices: black, white, 70% grey.
float reserved_gray(int ind) {
  if (ind <= 502) return 0.0f;
  if (ind <= 505) return 1.0f;
  return 0.7f;
}

void write_gray(float level) {
  auto& s = state();
  if (s.gray_level == level) return;
  s.gray_level = level;
  if (level == 0.0f)
    put("0 setgray\n");
  else if (level == 1.0f)
    put("1 setgray\n");
  else if (level == 0.7f)
    put(".7 setgray\n");
  else
    putf("%3.3f setgray\n", level);
}

void write_rgb(int ind) {
  auto& s = state();
  if (s.gray_level == -1.0f && s.ps_col_ind == ind) return;
  float r = 0, g = 0, b = 0;
  gget_color_rgb(ind, &r, &g, &b);
  putf("%4.2f %4.2f %4.2f setrgbcolor\n", r, g, b);
  s.ps_col_ind = ind;
  s.gray_level = -1.0f;
}

int gray_index(int ind) { return ind < 0 || ind > 256 ? 256 : ind; }

void fill_color(int ind, bool print_solid) {
  auto& s = state();
  if (reserved(ind)) {
    write_gray(reserved_gray(ind));
  } else if (s.pr_color) {
    write_rgb(ind);
  } else if (print_solid) {
    write_gray(0.0f);
  } else if (ind < 0) {
    write_gray(1.0f);
  } else {
    float level = s.gray[gray_index(ind)];
    if (const float g = gget_fill_print_gray(ind); g >= 0.0f) level = s.pr_rev ? 1.0f - g : g;
    if (s.gray_level == level) return;
    s.gray_level = level;
    putf("%3.3f setgray\n", level);
  }
}

void set_width(int ind, float w, int print_bold) {
  auto& s = state();
  if (w <= 0.0f) w = 1.0f;  // a zero width means the thinnest visible line
  const bool doubled = ind == 501 || ind == 504 || ind == 507;
  const bool quadrupled = ind == 502 || ind == 505 || ind == 508;
  if (doubled || quadrupled) {
    const int dots = static_cast<int>((doubled ? 2.0f : 4.0f) * s.base_width * w);
    if (s.line_width == static_cast<float>(dots)) return;
    s.line_width = static_cast<float>(dots);
    putf("%d dot lw\n", dots);
    return;
  }
  const float eff = static_cast<float>(print_bold < 1 ? 1 : print_bold) * (s.base_width * w);
  if (s.line_width == eff) return;
  s.line_width = eff;
  putf("%2.1f dot lw\n", eff);
}

constexpr std::array<const char*, 5> kDashes = {"[] 0 setdash\n", "[6] 0 setdash\n", "[3 6] 0 setdash\n",
                                                "[6 6 3 6] 0 setdash\n", "[2] 0 setdash\n"};

void set_type(int type) {
  auto& s = state();
  if (type < 1 || type > 5 || type == s.line_type) return;  // other types keep the last dashes
  s.line_type = type;
  put(kDashes[type - 1]);
}

void path(std::span<const DevPoint> pts) {
  putf("%3.2f %3.2f mv\n", pts[0].x, pts[0].y);
  for (std::size_t i = 1; i < pts.size(); ++i) putf("%3.2f %3.2f ln\n", pts[i].x, pts[i].y);
}

// Geometry of the picture on the page: a panel fraction ("P...") or a
// window-style geometry in screen pixels, scaled to points.
void apply_geometry(DeviceSize& size) {
  const char* geo = RES_get("geometry");
  if (geo == nullptr || *geo == '\0') geo = std::getenv("zorps_geometry");
  if (geo == nullptr || *geo == '\0') geo = std::getenv("PSGEOMETRY");
  if (geo == nullptr || *geo == '\0') return;
  float fx = 0, fy = 0, fox = 0, foy = 0;
  int w = 0, h = 0, x = 0, y = 0;
  if ((geo[0] == 'P' || geo[0] == 'p') && std::sscanf(geo + 1, "%fx%f+%f+%f", &fx, &fy, &fox, &foy) == 4) {
    GPH_set_view_size(fx, fy, fox, foy);
  } else if (std::sscanf(geo, "%dx%d+%d+%d", &w, &h, &x, &y) == 4) {
    size = {static_cast<int>(w * 0.72f), static_cast<int>(h * 0.72f), static_cast<int>(x * 0.72f),
            static_cast<int>(y * 0.72f)};
  } else if (std::sscanf(geo, "%dx%d", &w, &h) == 2) {
    size.width = static_cast<int>(w * 0.72f);
    size.height = static_cast<int>(h * 0.72f);
  } else if (std::sscanf(geo, "+%d+%d", &x, &y) == 2) {
    size.x_offset = static_cast<int>(x * 0.72f);
    size.y_offset = static_cast<int>(y * 0.72f);
  }
}

class PostScriptDevice final : public Device {
 public:
  int open(const OpenRequest& request) override {
    std::string name;
    if (!request.items.empty() && !request.items[0].empty()) name = request.items[0];
    if (name.empty()) {
      const char* env = std::getenv("zorps_print");
      if (env == nullptr || *env == '\0') env = std::getenv("PSPRINT");
      name = (env != nullptr && *env != '\0') ? env : "zor.ps";
    }
    if (gps_open_file(name.c_str()) != 0) {
      gerr_printf("gopen_ws", "unable to open postscript file\n");
      MESS_print(M_ERROR, "gopen_ws: cannot create %s\n", name.c_str());
      return -1;
    }
    gps_set_size(11.0f, 8.5f);
    gps_init();
    if (const char* env = std::getenv("zorps_param"); env != nullptr) gps_options(env);
    for (std::size_t i = 1; i < request.items.size(); ++i) gps_options(request.items[i].c_str());
    auto& s = state();
    s.size = {static_cast<int>((s.sx - 0.5f) * 72.0f), static_cast<int>((s.sy - 0.5f) * 72.0f), 0, 0};
    apply_geometry(s.size);
    if (const char* t = gget_win_title(); t != nullptr) s.title = t;
    gps_init_file();
    return 0;
  }
  int close() override { return gps_close_file(); }
  int init_class() const override { return kClassPostScript; }
  DeviceUnits units() const override { return DeviceUnits::print; }
  float marker_scale() const override { return 7.2f; }
  DeviceSize size() const override { return state().size; }

  void set_clip(const DevRect& c) override {
    put("initclip\n");
    put("np\n");
    const float xl = c.x_min - 0.1f, xh = c.x_max + 0.1f, yl = c.y_min - 0.1f, yh = c.y_max + 0.1f;
    putf("%3.2f %3.2f mv\n", xl, yl);
    putf("%3.2f %3.2f ln\n", xl, yh);
    putf("%3.2f %3.2f ln\n", xh, yh);
    putf("%3.2f %3.2f ln\n", xh, yl);
    put("cp\n");
    put("clip\n");
  }

  void polyline(std::span<const DevPoint> pts, const Pen& pen) override {
    if (pts.empty()) return;
    putf("%%%%PL: %d\n", static_cast<int>(pts.size()));
    set_width(pen.color_ind, pen.width, pen.print_bold);
    stroke_color(pen);
    set_type(pen.line_type);
    put("np\n");
    path(pts);
    put("stroke\n");
  }

  void fill_area(std::span<const DevPoint> pts, const FillStyle& fill) override {
    // Patterns have no PostScript form; only solid interiors are printed.
    if (pts.empty() || fill.interior != GSOLID) return;
    putf("%%%%FA: %d\n", static_cast<int>(pts.size()));
    put("np\n");
    path(pts);
    put("cp\n");
    fill_color(fill.color_ind, fill.print_solid);
    put("fill\n");
  }

  void begin_group(const GroupInfo& info, const Pen& pen) override {
    if (info.kind == GroupKind::markers)
      putf("%%%%PM: %d\n", info.count);
    else
      putf("%%%%TE: %f %f %.*s\n", info.world_pos.x, info.world_pos.y, static_cast<int>(info.text.size()),
           info.text.data());
    set_width(pen.color_ind, pen.width, pen.print_bold);
    stroke_color(pen);
    set_type(1);
  }

  void stroke(std::span<const DevPoint> pts, const Pen& pen) override {
    if (pts.empty()) return;
    stroke_color(pen);
    put("np\n");
    path(pts);
    put("stroke\n");
  }

  void set_title(std::string_view title) override { state().title = std::string(title); }

 private:
  static void stroke_color(const Pen& pen) {
    if (pen.shadow)
      write_gray(0.0f);
    else
      gps_set_color(pen.color_ind);
  }
};

}  // namespace

}  // namespace zor::gks::ps

namespace zor::gks {
void reset_ps() { ps::state().reset(); }
std::unique_ptr<Device> make_postscript_device() { return std::make_unique<ps::PostScriptDevice>(); }
}  // namespace zor::gks

using zor::gks::ps::put;
using zor::gks::ps::putf;
using zor::gks::ps::state;

int gps_open_file(const char* name) {
  auto& s = state();
  if (name == nullptr || *name == '\0') return -1;
  if (!s.out.open(name)) return -1;
  switch (s.out.mode()) {
    case zor::gks::OutStream::Mode::pipe: MESS_print(M_MESS, "Spooling to: %s\n", s.out.target().c_str()); break;
    case zor::gks::OutStream::Mode::append: MESS_print(M_MESS, "Appending to: %s\n", s.out.target().c_str()); break;
    case zor::gks::OutStream::Mode::create: MESS_print(M_MESS, "Creating: %s\n", s.out.target().c_str()); break;
  }
  if (std::getenv("PSCOLOR") != nullptr) s.pr_color = 1;
  return 0;
}

int gps_close_file() {
  auto& s = state();
  if (!s.out.is_open()) return -1;
  put("%%End of plot\n");
  if (!s.out.appending()) {
    if (s.pr_eps) {
      // An EPS prologue opens no dictionary and saves no state, so its
      // trailer must not restore or end one.
      put("%%EOF\n");
    } else {
      put("saveobj restore\n");
      put("showpage\n");
      put("end\n");
      put("%%EOF\n");
    }
  }
  const std::string name = s.out.target();
  if (!s.out.close()) {
    MESS_print(M_ERROR, "Unable to write PostScript file: %s\n", name.c_str());
    return -1;
  }
  MESS_print(M_MESS, "Created Postscript file\n");
  return 0;
}

int gps_init() {
  auto& s = state();
  s.gray_level = zor::gks::ps::kUnknown;
  s.ps_col_ind = -9999;
  s.line_width = 1.0f;
  s.line_type = 1;
  return 0;
}

int gps_init_file() {
  auto& s = state();
  if (!s.out.is_open()) return -1;
  const char* title = s.title.c_str();
  if (s.out.appending()) {
    put(s.pr_color ? "0 0 0 setrgbcolor\n" : "0 setgray\n");
    put("1 dot lw\n");
    put("[] 0 setdash\n");
  } else {
    if (s.pr_eps) {
      put("%!PS-Adobe-3.0 EPSF-3.0\n");
      if (s.pr_port)
        putf("%%%%BoundingBox: 0 0 %d %d\n", s.size.width, s.size.height);
      else
        putf("%%%%BoundingBox: 0 0 %d %d\n", s.size.height, s.size.width);
    } else {
      put("%!PS-Adobe-1.0\n");
    }
    putf("%%%%Title: ZOR Graphics Display: %s\n", title);
    put("%%Creator: ZOR Postscript Processor-2.0\n");
    putf("%%%%CreationDate: %s", zor::gks::clock_ctime().c_str());
    put("%%EndComments\n");
    put("%%Postscript initialization\n");
    if (!s.pr_eps) {
      put("30 dict begin\n");
      put("/saveobj save def\n");
    }
    put("/inch {72 mul} def\n");
    put("/dot {.33 mul} def\n");
    put("/mv {moveto} def\n");
    put("/ln {lineto} def\n");
    put("/lw {setlinewidth} def\n");
    put("/np {newpath} def\n");
    put("/cp {closepath} def\n");
    if (!s.pr_port) {
      put("90 rotate\n");
      // An EPS picture is exactly as high as its bounding box is wide; the
      // paper height would push its bottom strip (colour bar included) out.
      if (s.pr_eps)
        putf("0. inch -%.2f inch translate\n", static_cast<float>(s.size.height) / 72.0f);
      else
        putf(".25 inch -%.2f inch translate\n", s.sy - 0.25f);
    } else if (!s.pr_eps) {
      put(".25 inch .25 inch translate\n");
    }
    put(s.pr_color ? "0 0 0 setrgbcolor\n" : "0 setgray\n");
    put("2 setlinejoin\n");
    put("1 dot lw\n");
    put("[] 0 setdash\n");
    if (s.pr_scale != 1.0f) putf("%.2f %.2f scale\n", s.pr_scale, s.pr_scale);
    put("%%Begin plot\n");
  }
  putf("%%%%ZOR Plot: %s\n", title);
  // The prologue leaves black, width 1 and solid lines selected.
  s.gray_level = s.pr_color ? -1.0f : 0.0f;
  s.ps_col_ind = -9999;
  s.line_width = 1.0f;
  s.line_type = 1;
  return 0;
}

int gps_options(const char* items) {
  if (items == nullptr) return 0;
  namespace pr = zor::gks::print;
  for (const auto& item : pr::split_items(items)) {
    if (pr::ieq(item, "port")) {
      gps_set_orient(1);
    } else if (pr::ieq(item, "land")) {
      gps_set_orient(0);
    } else if (pr::ieq(item, "eps")) {
      gps_set_EPS(1);
    } else if (pr::ieq(item, "noeps")) {
      gps_set_EPS(0);
    } else if (pr::ieq(item, "color")) {
      gps_set_colorPS(1);
      gset_inverse(1);
    } else if (pr::ieq(item, "gray")) {
      gps_set_colorPS(0);
    } else if (auto v = pr::keyed_value(item, "scale")) {
      gps_set_scale(static_cast<float>(std::atof(v->c_str())));
    } else if (auto v = pr::keyed_value(item, "lwidth")) {
      gps_set_base_width(static_cast<float>(std::atoi(v->c_str())));
    } else if (auto v = pr::keyed_value(item, "sz")) {
      if (auto p = pr::parse_size(*v)) gps_set_size(p->width, p->height);
    } else if (auto p = pr::page_size(item)) {
      gps_set_size(p->width, p->height);
    }
  }
  return 0;
}

int gps_set_size(float width, float height) {
  auto& s = state();
  s.sx = width;
  s.sy = height;
  return 0;
}

int gps_get_size(float* width, float* height) {
  if (width != nullptr) *width = state().sx;
  if (height != nullptr) *height = state().sy;
  return 0;
}

int gps_move(float x, float y) {
  putf("%3.2f %3.2f mv\n", xW_ps(x), yW_ps(y));
  return 0;
}
int gps_line(float x, float y) {
  putf("%3.2f %3.2f ln\n", xW_ps(x), yW_ps(y));
  return 0;
}
int gps_move_abs(float x, float y) {
  putf("%3.2f %3.2f mv\n", x, y);
  return 0;
}
int gps_line_abs(float x, float y) {
  putf("%3.2f %3.2f ln\n", x, y);
  return 0;
}

int gps_printf(const char* format, ...) {
  std::FILE* f = zor::gks::ps::fp();
  if (f == nullptr || format == nullptr) return 0;
  va_list ap;
  va_start(ap, format);
  std::vfprintf(f, format, ap);
  va_end(ap);
  return 0;
}

int gps_set_color(int ind) {
  auto& s = state();
  if (zor::gks::ps::reserved(ind))
    zor::gks::ps::write_gray(zor::gks::ps::reserved_gray(ind));
  else if (s.pr_color)
    zor::gks::ps::write_rgb(ind);
  else
    zor::gks::ps::write_gray(0.0f);  // grey output draws every line black
  return 0;
}

int gps_set_fill_color(int ind) {
  zor::gks::ps::fill_color(ind, gget_fill_print_solid() != 0);
  return 0;
}

int gps_set_width(int ind, float width) {
  zor::gks::ps::set_width(ind, width, gget_line_print_bold());
  return 0;
}

int gps_set_type(int type) {
  zor::gks::ps::set_type(type);
  return 0;
}

int gps_set_base_width(float width) {
  if (width > 0.0f) state().base_width = width;
  return 0;
}

int gps_set_EPS(int val) {
  state().pr_eps = val != 0;
  return 0;
}
int gps_get_EPS() { return state().pr_eps; }

int gps_set_orient(int port) {
  state().pr_port = port != 0;
  return 0;
}
int gps_get_orient() { return state().pr_port; }

int gps_set_scale(float scale) {
  if (scale > 0.0f) state().pr_scale = scale;
  return 0;
}

int gps_set_colorPS(int val) {
  state().pr_color = val != 0;
  return 0;
}
int gps_get_colorPS() { return state().pr_color; }

int gps_set_reverse(int val) {
  state().pr_rev = val != 0;
  return 0;
}

const char* gps_failed_file() {
  auto& s = state();
  // Buffered text reaches the file (or fails to, on a full disk) here.
  return s.out.failed() ? s.out.target().c_str() : nullptr;
}

float gps_get_gray(int ind) { return state().gray[zor::gks::ps::gray_index(ind)]; }

int gps_set_color_rep(int ind, float r, float g, float b) {
  if (ind < 0 || ind > 256) return -1;
  auto& s = state();
  float level = (0.9f * r + g + 0.8f * b) / 2.7f;
  if (s.pr_rev) level = 1.0f - level;
  s.gray[ind] = level;
  return 0;
}

int gps_is_open() { return state().out.is_open(); }

int gps_set_title(const char* title) {
  state().title = title != nullptr ? title : "";
  return 0;
}
