// HP-GL/2 device (workstation type 5), optionally wrapped for PCL printers.
// Device units are plotter units (1015 to the inch), origin bottom-left.
#include <array>
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

namespace zor::gks::hpgl {
namespace {

constexpr int kNumGray = 257;
constexpr float kUnitsPerInch = 1015.0f;
constexpr float kUnknown = -1000.0f;  // nothing written yet

struct HpglState {
  OutStream out;
  int pcl = 1;  // 0 none, 1 PCL wrapper, 2 wrapper for a LaserJet page turned 90 degrees
  std::array<float, kNumGray> gray{};
  float gray_level = kUnknown;  // line shading written last (SV)
  float fill_level = kUnknown;  // fill shading written last (FT)
  int col_ind = -9999;
  float base_width = 0.2f;
  float line_width = kUnknown;
  int line_type = 1;
  int pr_color = 0;
  int pr_rev = 0;
  int pr_rot = 0;
  float pr_scale = 1.0f;
  float sx = 10.5f;
  float sy = 8.0f;
  DeviceSize size{10150, 7612, 10, 10};

  void reset() { *this = HpglState{}; }
};

HpglState& state() {
  static HpglState s;
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
int gray_index(int ind) { return ind < 0 || ind > 256 ? 256 : ind; }

// Line shading: reserved white and grey print as shaded pens, everything
// else as the plain pen.
void line_color(int ind) {
  auto& s = state();
  float level = 0.0f;
  const char* text = "SV;\n";
  if (ind >= 503 && ind <= 505) {
    level = 1.0f;
    text = "SV1,0;\n";
  } else if (ind >= 506 && ind <= 508) {
    level = 0.7f;
    text = "SV1,30;\n";
  }
  if (s.gray_level == level) return;
  s.gray_level = level;
  put(text);
}

void fill_color(int ind, bool print_solid) {
  auto& s = state();
  if (print_solid) {
    if (s.fill_level == -1.0f) return;
    s.fill_level = -1.0f;
    put("FT1;\n");
    return;
  }
  float level = 1.0f;  // the background prints as no shading
  if (reserved(ind))
    level = ind <= 502 ? 0.0f : (ind <= 505 ? 1.0f : 0.7f);
  else if (const float g = gget_fill_print_gray(ind); g >= 0.0f)
    level = s.pr_rev ? 1.0f - g : g;
  else if (ind >= 0)
    level = s.gray[gray_index(ind)];
  if (s.fill_level == level) return;
  s.fill_level = level;
  if (ind == -1)
    put("FT10,0;\n");
  else
    putf("FT10,%.0f;\n", 100.0f - 100.0f * level);
}

void set_width(int ind, float w, int print_bold) {
  auto& s = state();
  if (w == 0.0f) w = 1.0f;
  float eff = 0.0f;
  if (ind == 501 || ind == 504 || ind == 507)
    eff = 2.0f * s.base_width * w;
  else if (ind == 502 || ind == 505 || ind == 508)
    eff = 4.0f * s.base_width * w;
  else
    eff = static_cast<float>(print_bold < 1 ? 1 : print_bold) * w * s.base_width;
  if (s.line_width == eff) return;
  s.line_width = eff;
  putf("PW%.1f;\n", eff);
}

constexpr std::array<const char*, 5> kTypes = {"LT;\n", "LT2,5,1;\n", "LT5,8,1;\n", "LT6,10,1;\n", "LT2,1,1;\n"};

void set_type(int type) {
  auto& s = state();
  if (type < 1 || type > 5 || type == s.line_type) return;
  s.line_type = type;
  put(kTypes[type - 1]);
}

void apply_geometry(DeviceSize& size) {
  const char* geo = RES_get("geometry");
  if (geo == nullptr || *geo == '\0') geo = std::getenv("zorhp_geometry");
  if (geo == nullptr || *geo == '\0') return;
  float fx = 0, fy = 0, fox = 0, foy = 0;
  int w = 0, h = 0, x = 0, y = 0;
  if ((geo[0] == 'P' || geo[0] == 'p') && std::sscanf(geo + 1, "%fx%f+%f+%f", &fx, &fy, &fox, &foy) == 4) {
    GPH_set_view_size(fx, fy, fox, foy);
  } else if (std::sscanf(geo, "%dx%d+%d+%d", &w, &h, &x, &y) == 4) {
    size = {static_cast<int>(w * 10.15f), static_cast<int>(h * 10.15f), static_cast<int>(x * 10.15f) + 10,
            static_cast<int>(y * 10.15f) + 10};
  }
}

class HpglDevice final : public Device {
 public:
  int open(const OpenRequest& request) override {
    std::string name;
    if (!request.items.empty() && !request.items[0].empty()) name = request.items[0];
    if (name.empty()) {
      const char* env = std::getenv("zorhp_out");
      name = (env != nullptr && *env != '\0') ? env : "zor.hpgl";
    }
    if (ghpgl_open_file(name.c_str()) != 0) {
      gerr_printf("gopen_ws", "unable to open HPGL file\n");
      MESS_print(M_ERROR, "gopen_ws: cannot create %s\n", name.c_str());
      return -1;
    }
    auto& s = state();
    s.sx = 10.5f;
    s.sy = 8.0f;
    ghpgl_init();
    if (const char* env = std::getenv("zorhp_param"); env != nullptr) ghpgl_options(env);
    for (std::size_t i = 1; i < request.items.size(); ++i) ghpgl_options(request.items[i].c_str());
    s.size = {static_cast<int>((s.sx - 0.5f) * kUnitsPerInch), static_cast<int>((s.sy - 0.5f) * kUnitsPerInch),
              10, 10};
    apply_geometry(s.size);
    ghpgl_init_file();
    return 0;
  }
  int close() override { return ghpgl_close_file(); }
  int init_class() const override { return kClassHpgl; }
  DeviceUnits units() const override { return DeviceUnits::print; }
  float marker_scale() const override { return 101.5f; }
  DeviceSize size() const override { return state().size; }

  void set_clip(const DevRect& c) override {
    putf("IW %.0f,%.0f,%.0f,%.0f;\n", c.x_min - 0.1f, c.y_min - 0.1f, c.x_max + 0.1f, c.y_max + 0.1f);
  }

  void polyline(std::span<const DevPoint> pts, const Pen& pen) override {
    if (pts.empty()) return;
    set_width(pen.color_ind, pen.width, pen.print_bold);
    line_color(pen.color_ind);
    set_type(pen.line_type);
    putf("PU%.0f,%.0f;", pts[0].x, pts[0].y);
    // Long lines are broken after every tenth point to keep records short.
    for (std::size_t i = 1; i < pts.size(); ++i) {
      putf("PD%.0f,%.0f;", pts[i].x, pts[i].y);
      if (i % 10 == 0 && i + 1 < pts.size()) put("\n");
    }
    put("\n");
  }

  void fill_area(std::span<const DevPoint> pts, const FillStyle& fill) override {
    if (pts.empty()) return;
    fill_color(fill.color_ind, fill.print_solid);
    putf("PU%.0f,%.0f;", pts[0].x, pts[0].y);
    put("PM0;");
    for (std::size_t i = 1; i < pts.size(); ++i) putf("PD%.0f,%.0f;", pts[i].x, pts[i].y);
    put("PM1;PM2;FP;\n");
  }

  void begin_group(const GroupInfo&, const Pen& pen) override {
    set_width(pen.color_ind, pen.width, pen.print_bold);
    line_color(pen.color_ind);
    set_type(1);
  }

  void stroke(std::span<const DevPoint> pts, const Pen& pen) override {
    if (pts.empty()) return;
    line_color(pen.shadow ? 500 : pen.color_ind);
    putf("PU%.0f,%.0f;", pts[0].x, pts[0].y);
    for (std::size_t i = 1; i < pts.size(); ++i) putf("PD%.0f,%.0f;", pts[i].x, pts[i].y);
    put("\n");
  }
};

}  // namespace
}  // namespace zor::gks::hpgl

namespace zor::gks {
void reset_hpgl() { hpgl::state().reset(); }
std::unique_ptr<Device> make_hpgl_device() { return std::make_unique<hpgl::HpglDevice>(); }
}  // namespace zor::gks

using zor::gks::hpgl::put;
using zor::gks::hpgl::putf;
using zor::gks::hpgl::state;

int ghpgl_open_file(const char* name) {
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

int ghpgl_close_file() {
  auto& s = state();
  if (!s.out.is_open()) return -1;
  if (!s.out.appending()) {
    put("SP;PG;");
    if (s.pcl != 0) put("\x1b%0A\x1b" "E");
    put("\n");
  }
  const std::string name = s.out.target();
  if (!s.out.close()) {
    MESS_print(M_ERROR, "Unable to write HPGL file: %s\n", name.c_str());
    return -1;
  }
  MESS_print(M_MESS, "Created HPGL file\n");
  return 0;
}

const char* ghpgl_failed_file() {
  auto& s = state();
  return s.out.failed() ? s.out.target().c_str() : nullptr;
}

int ghpgl_init() {
  auto& s = state();
  s.gray_level = zor::gks::hpgl::kUnknown;
  s.fill_level = zor::gks::hpgl::kUnknown;
  s.col_ind = -9999;
  s.line_width = zor::gks::hpgl::kUnknown;
  s.line_type = 1;
  return 0;
}

int ghpgl_init_file() {
  auto& s = state();
  if (!s.out.is_open()) return -1;
  if (!s.out.appending()) {
    if (s.pcl != 0) put("\x1b" "E\x1b%1B\x1b&l1O\n");
    put("IN;SP1;PA;\n");
    if (s.pcl == 2) put("RO90;\n");
    if (s.pr_rot == 90)
      put("RO90;\n");
    else if (s.pr_rot == 180)
      put("RO180;\n");
    else if (s.pr_rot == 270)
      put("RO270;\n");
  }
  putf("PW%.1f;SV;LT;\n", s.base_width);
  // The framing leaves the base pen width, plain pen and solid lines set.
  s.line_width = s.base_width;
  s.gray_level = 0.0f;
  s.line_type = 1;
  s.fill_level = zor::gks::hpgl::kUnknown;
  return 0;
}

int ghpgl_options(const char* items) {
  if (items == nullptr) return 0;
  namespace pr = zor::gks::print;
  for (const auto& item : pr::split_items(items)) {
    if (pr::ieq(item, "port")) {
      ghpgl_set_rotate(90);
    } else if (pr::ieq(item, "land")) {
      ghpgl_set_rotate(0);
    } else if (pr::ieq(item, "pcl")) {
      ghpgl_set_pcl(1);
    } else if (pr::ieq(item, "nopcl")) {
      ghpgl_set_pcl(0);
    } else if (pr::ieq(item, "lj")) {
      ghpgl_set_pcl(2);
    } else if (pr::ieq(item, "color")) {
      ghpgl_set_colorPS(1);
    } else if (pr::ieq(item, "gray")) {
      ghpgl_set_colorPS(0);
    } else if (auto v = pr::keyed_value(item, "scale")) {
      ghpgl_set_scale(static_cast<float>(std::atof(v->c_str())));
    } else if (auto v = pr::keyed_value(item, "lwidth")) {
      ghpgl_set_base_width(static_cast<float>(std::atof(v->c_str())));
    } else if (auto v = pr::keyed_value(item, "rot")) {
      ghpgl_set_rotate(std::atoi(v->c_str()));
    } else if (auto v = pr::keyed_value(item, "roll")) {
      const float w = static_cast<float>(std::atof(v->c_str()));
      if (w > 0.5f) {
        state().sx = w;
        state().sy = 23.5f;
      }
    } else if (auto v = pr::keyed_value(item, "sz")) {
      if (auto p = pr::parse_size(*v)) {
        state().sx = p->width;
        state().sy = p->height;
      }
    } else if (auto p = pr::page_size(item)) {
      state().sx = p->width;
      state().sy = p->height;
    }
  }
  return 0;
}

int ghpgl_get_size(float* width, float* height) {
  if (width != nullptr) *width = state().sx;
  if (height != nullptr) *height = state().sy;
  return 0;
}

int ghpgl_move(float x, float y) {
  putf("PU%.0f,%.0f;", xW_ps(x), yW_ps(y));
  return 0;
}
int ghpgl_line(float x, float y) {
  putf("PD%.0f,%.0f;", xW_ps(x), yW_ps(y));
  return 0;
}
int ghpgl_move_abs(float x, float y) {
  putf("PU%.0f,%.0f;", x, y);
  return 0;
}
int ghpgl_line_abs(float x, float y) {
  putf("PD%.0f,%.0f;", x, y);
  return 0;
}

int ghpgl_printf(const char* format, ...) {
  std::FILE* f = zor::gks::hpgl::fp();
  if (f == nullptr || format == nullptr) return 0;
  va_list ap;
  va_start(ap, format);
  std::vfprintf(f, format, ap);
  va_end(ap);
  return 0;
}

int ghpgl_set_color(int ind) {
  zor::gks::hpgl::line_color(ind);
  return 0;
}
int ghpgl_set_fill_color(int ind) {
  zor::gks::hpgl::fill_color(ind, gget_fill_print_solid() != 0);
  return 0;
}
int ghpgl_set_width(int ind, float width) {
  zor::gks::hpgl::set_width(ind, width, gget_line_print_bold());
  return 0;
}
int ghpgl_set_type(int type) {
  zor::gks::hpgl::set_type(type);
  return 0;
}
int ghpgl_set_base_width(float width) {
  if (width > 0.0f) state().base_width = width;
  return 0;
}
int ghpgl_set_pcl(int val) {
  state().pcl = val < 0 || val > 2 ? 1 : val;
  return 0;
}
int ghpgl_set_rotate(int deg) {
  state().pr_rot = deg;
  return 0;
}
int ghpgl_set_scale(float scale) {
  if (scale > 0.0f) state().pr_scale = scale;
  return 0;
}
int ghpgl_set_colorPS(int val) {
  state().pr_color = val != 0;
  return 0;
}
int ghpgl_set_reverse(int val) {
  state().pr_rev = val != 0;
  return 0;
}

int ghpgl_set_color_rep(int ind, float r, float g, float b) {
  if (ind < 0 || ind > 256) return -1;
  auto& s = state();
  float level = (0.9f * r + g + 0.8f * b) / 2.7f;
  if (s.pr_rev) level = 1.0f - level;
  s.gray[ind] = level;
  return 0;
}

int ghpgl_is_open() { return state().out.is_open(); }
