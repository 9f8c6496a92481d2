// Latitude circles and meridians with their labels.
#include <cmath>
#include <cstdio>
#include <vector>

#include "map_draw_internal.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/plt.h"

namespace zor::map_draw {
namespace {

// Latitude circles whose points jump further than this in x cross the seam.
constexpr float kCircleJump = 50.0f;

float circle_seam(int proj) {
  switch (proj) {
    case 2: return 360.0f;
    case 3: return 400.31555892808814f;
    default: return 1000.0f;
  }
}

struct Visible {
  bool ok = false;
  Gpt p;
};

Visible project(float lat, float lon) {
  Visible v;
  v.ok = MAP_tran(lat, lon, &v.p.x, &v.p.y) != 0 && v.p.x != ZOR_MISSING_F;
  return v;
}

void text_at(float x, float y, int hor, int vert, const char* str) {
  GPH_text_align(hor, vert);
  const Gpt pt{x, y};
  gtext(&pt, str);
}

bool inside(const Glim& w, float x, float y) {
  return x >= w.x_min && x <= w.x_max && y >= w.y_min && y <= w.y_max;
}

// Draws the visible points in order as polylines, broken at invisible points
// and, when `seam` > 0, split in two halves where they jump across the seam.
class Polyline {
 public:
  explicit Polyline(float seam) : seam_(seam) {}
  ~Polyline() { flush(); }
  Polyline(const Polyline&) = delete;
  Polyline& operator=(const Polyline&) = delete;

  void add(const Visible& v) {
    if (!v.ok) {
      flush();
      return;
    }
    if (!pts_.empty() && std::fabs(v.p.x - pts_.back().x) > kCircleJump) {
      const Gpt prev = pts_.back();
      if (seam_ > 0.0f) {
        const float shift = v.p.x < prev.x ? seam_ : -seam_;
        pts_.push_back(Gpt{v.p.x + shift, v.p.y});
        flush();
        pts_.push_back(Gpt{prev.x - shift, prev.y});
      } else {
        flush();
      }
    }
    pts_.push_back(v.p);
  }

  void flush() {
    if (pts_.size() >= 2) gpolyline(static_cast<int>(pts_.size()), pts_.data());
    pts_.clear();
  }

 private:
  float seam_;
  std::vector<Gpt> pts_;
};

void lat_label(float lat, char* buf, std::size_t size) {
  if (lat > 0.0f) std::snprintf(buf, size, "%1.0fN", lat);
  else if (lat < 0.0f) std::snprintf(buf, size, "%1.0fS", -lat);
  else std::snprintf(buf, size, "EQ");
}

void lon_label(float lon, char* buf, std::size_t size) {
  if (lon == 0.0f) std::snprintf(buf, size, "PM");
  else if (std::fabs(lon) == 180.0f) std::snprintf(buf, size, "DL");
  else if (lon > 0.0f) std::snprintf(buf, size, "%1.0fE", lon);
  else std::snprintf(buf, size, "%1.0fW", -lon);
}

// Longitudes of a latitude circle: -180, then -175 to 180 every 2.5 degrees.
std::vector<float> circle_longitudes() {
  std::vector<float> lons{-180.0f};
  for (int i = 0; i <= 142; ++i) lons.push_back(-175.0f + 2.5f * static_cast<float>(i));
  return lons;
}

void latitude_circle(float lat, float dlon, const Glim& win, float offset) {
  const auto& st = state();
  const int proj = MAP_get_proj();
  const float xl = win.x_min + offset;
  Polyline line(circle_seam(proj));
  Visible prev;
  bool labelled = false;
  char label[16];
  lat_label(lat, label, sizeof label);
  for (float lon : circle_longitudes()) {
    const Visible v = project(lat, lon);
    if (v.ok && prev.ok && !labelled && std::fabs(v.p.x - prev.p.x) <= kCircleJump &&
        (prev.p.x - xl) * (v.p.x - xl) <= 0.0f && v.p.x != prev.p.x) {
      // Where the circle crosses the labelling line near the left edge.
      const float t = (xl - prev.p.x) / (v.p.x - prev.p.x);
      const float y = prev.p.y + t * (v.p.y - prev.p.y);
      if (y >= win.y_min && y <= win.y_max) {
        text_at(xl, y, GLEFT_HOR, GHALF_VERT, label);
        labelled = true;
      }
    }
    line.add(v);
    prev = v;
  }
  line.flush();
  if (st.extra > 0) {
    // Between meridians, so repeated labels do not sit on a line.
    const float start = std::floor(-180.0f / dlon) * dlon + dlon / 2.0f;
    for (float lon = start; lon < 180.0f; lon += static_cast<float>(st.extra)) {
      const Visible v = project(lat, lon);
      if (v.ok && inside(win, v.p.x, v.p.y)) text_at(v.p.x, v.p.y, GCENTER_HOR, GHALF_VERT, label);
    }
  }
}

void meridian(float lon, float dlat, float south, float north, const Glim& win) {
  const auto& st = state();
  Polyline line(0.0f);
  Visible prev;
  bool labelled = false;
  char label[16];
  lon_label(lon, label, sizeof label);
  const int steps = static_cast<int>(std::lround((north - south) / dlat));
  for (int i = 0; i <= steps; ++i) {
    const float lat = south + dlat * static_cast<float>(i);
    const Visible v = project(lat, lon);
    if (v.ok && prev.ok && !labelled && (prev.p.y - win.y_min) * (v.p.y - win.y_min) <= 0.0f &&
        v.p.y != prev.p.y) {
      // Where the meridian crosses the bottom edge.
      const float t = (win.y_min - prev.p.y) / (v.p.y - prev.p.y);
      const float x = prev.p.x + t * (v.p.x - prev.p.x);
      if (x >= win.x_min && x <= win.x_max) {
        text_at(x, win.y_min, GCENTER_HOR, GBASE_VERT, label);
        labelled = true;
      }
    }
    line.add(v);
    prev = v;
  }
  line.flush();
  if (st.extra > 0) {
    // Between latitude circles, so repeated labels do not sit on a line.
    const float start = std::floor(-89.0f / dlat) * dlat + dlat / 2.0f;
    for (float lat = start; lat < 90.0f; lat += static_cast<float>(st.extra)) {
      const Visible v = project(lat, lon);
      if (v.ok && inside(win, v.p.x, v.p.y)) text_at(v.p.x, v.p.y, GCENTER_HOR, GHALF_VERT, label);
    }
  }
}

}  // namespace
}  // namespace zor::map_draw

int MAP_lines(float dlat, float dlon) {
  using namespace zor::map_draw;
  if (!earth_projection() || !(dlat > 0.0f) || !(dlon > 0.0f)) return -1;
  PLT_mess("Map-lalo: %.1f,%.1f", dlat, dlon);
  Glim win;
  MAP_get_window(&win);
  const float offset = 0.01f * (win.x_max - win.x_min);

  for (float lat = 0.0f; lat < 90.0f; lat += dlat) latitude_circle(lat, dlon, win, offset);
  for (float lat = -dlat; lat > -90.0f; lat -= dlat) latitude_circle(lat, dlon, win, offset);

  // The pole is a singular point of the conic and azimuthal views.
  const int proj = MAP_get_proj();
  float north = 90.0f;
  if (proj == 1 || proj == 4 || proj == 9) north = std::floor(89.0f / dlat) * dlat;
  for (float lon = 0.0f; lon <= 180.0f; lon += dlon) meridian(lon, dlat, -north, north, win);
  for (float lon = -dlon; lon > -180.0f; lon -= dlon) meridian(lon, dlat, -north, north, win);
  return 0;
}
