// Map background: the module state, the window of the current domain and the
// range circles. Map lists and map files are in map_list.cpp and
// map_file.cpp, latitude/longitude lines in map_lines.cpp.
#include "zor/map_draw.h"

#include <array>

#include "map_draw_internal.h"
#include "zor/gks.h"
#include "zor/map.h"

namespace zor::map_draw {

State& state() {
  static State s;
  return s;
}

void reset() { state() = State{}; }

}  // namespace zor::map_draw

using zor::map_draw::state;

int MAP_setup(Domain* domain) {
  MAP_domain(domain);
  MAP_limits lim;
  MAP_get_limits(&lim);
  const Glim win{lim.x_min, lim.x_max, lim.y_min, lim.y_max};
  gset_win(2, &win);
  gsel_norm_tran(2);
  return 0;
}

int MAP_fill_cont(int value) {
  state().fill_cont = value;
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
