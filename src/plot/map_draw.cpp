// Map background: the module state, the window of the current domain, the
// range circles and the small setters. Map lists are in map_draw_list.cpp,
// map files in map_draw_file.cpp, latitude/longitude lines in
// map_draw_lines.cpp.
#include "zor/map_draw.h"

#include <array>
#include <cmath>

#include "map_draw_internal.h"
#include "zor/data_dir.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/mess.h"
#include "zor/plt.h"

namespace zor::map_draw {

State& state() {
  static State s;
  return s;
}

void reset() { state() = State{}; }

bool earth_projection() {
  const int proj = MAP_get_proj();
  return proj >= 1 && proj <= 9;
}

// Map files are runtime files like any other.
std::optional<std::string> find_file(const std::string& name) { return zor::find_runtime_file(name); }

}  // namespace zor::map_draw

using zor::map_draw::state;

int MAP_setup(Domain* domain) {
  if (MAP_domain(domain) < 0) return -1;
  MAP_limits lim;
  MAP_get_limits(&lim);
  if (lim.x_max == lim.x_min || lim.y_max == lim.y_min) return -1;  // no grid to show
  const Glim win{lim.x_min, lim.x_max, lim.y_min, lim.y_max};
  gset_win(2, &win);
  gsel_norm_tran(2);
  return 0;
}

int MAP_fill_cont(int value) {
  state().fill_cont = value;
  return 0;
}

int MAP_file(char* file) {
  state().map_name = file != nullptr ? file : "";
  return 0;
}

int MAP_set_format(char* str) {
  state().format = str != nullptr ? str : "";
  return 0;
}

int MAP_latlon(float lat, float lon, int dt, int ex) {
  // Lines closer than this would only blacken the map, and take ages to draw.
  constexpr float kMinSpacing = 0.1f;
  auto bound = [](float v) {
    if (!std::isfinite(v)) return 0.0f;
    if (v == 0.0f || std::fabs(v) >= kMinSpacing) return v;
    MESS_print(M_WARN, "MAP_latlon: line spacing %g too small, %g used\n", v, kMinSpacing);
    return std::copysign(kMinSpacing, v);
  };
  auto& s = state();
  s.latln = bound(lat);
  s.lonln = bound(lon);
  s.dot = dt;
  s.extra = ex;
  return 0;
}

int MAP_get_latlon(float* lat, float* lon) {
  if (lat != nullptr) *lat = state().latln;
  if (lon != nullptr) *lon = state().lonln;
  return 0;
}

int MAP_get_window(Glim* win) {
  Gint err = 0;
  Gtran tran;
  if (ginq_norm_tran(2, &err, &tran) < 0) return -1;
  if (win) *win = tran.win;
  return 0;
}

float MAP_get_vert() {
  Glim win;
  MAP_get_window(&win);
  return win.y_max - win.y_min;
}

float MAP_get_hor() {
  Glim win;
  MAP_get_window(&win);
  return win.x_max - win.x_min;
}

int MAP_draw_circle(float x, float y, float rad) {
  // 7.5-degree steps keep the ring smooth at the sizes range rings are drawn;
  // the last point repeats the first so the ring closes.
  constexpr int kPoints = 49;
  std::array<Gpt, kPoints> pts;
  for (int i = 0; i < kPoints; ++i) {
    MAP_offset(x, y, 7.5f * static_cast<float>(i), rad, &pts[i].x, &pts[i].y);
  }
  gpolyline(kPoints, pts.data());
  return 0;
}

int MAP_callback(int /*type*/, char* str, float x, float y) {
  PLT_print_values(str, x, y);
  PLT_plot_zoom(str, x, y);
  PLT_plot_resize(str, x, y);
  return 0;
}
