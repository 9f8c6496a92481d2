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

struct LatLon {
  float lat;
  float lon;
};

// Where a line is labelled: the first place it crosses x = at (vertical) or
// y = at, when the crossing lies between lo and hi on the other axis.
struct LabelPlace {
  bool vertical;
  float at;
  float lo;
  float hi;
  int hor;
  int vert;
};

// One latitude circle or meridian through `pts`, labelled once at `place`
// and again, centred, at each of `repeats` inside the window.
void graticule_line(const std::vector<LatLon>& pts, float seam, const char* label, const LabelPlace& place,
                    const std::vector<LatLon>& repeats, const Glim& win) {
  Polyline line(seam);
  Visible prev;
  bool labelled = false;
  for (const LatLon& ll : pts) {
    const Visible v = project(ll.lat, ll.lon);
    if (v.ok && prev.ok && !labelled && std::fabs(v.p.x - prev.p.x) <= kCircleJump) {
      const float a0 = place.vertical ? prev.p.x : prev.p.y, a1 = place.vertical ? v.p.x : v.p.y;
      const float b0 = place.vertical ? prev.p.y : prev.p.x, b1 = place.vertical ? v.p.y : v.p.x;
      if ((a0 - place.at) * (a1 - place.at) <= 0.0f && a0 != a1) {
        const float b = b0 + (place.at - a0) / (a1 - a0) * (b1 - b0);
        if (b >= place.lo && b <= place.hi) {
          if (place.vertical) text_at(place.at, b, place.hor, place.vert, label);
          else text_at(b, place.at, place.hor, place.vert, label);
          labelled = true;
        }
      }
    }
    line.add(v);
    prev = v;
  }
  line.flush();
  for (const LatLon& ll : repeats) {
    const Visible v = project(ll.lat, ll.lon);
    if (v.ok && inside(win, v.p.x, v.p.y)) text_at(v.p.x, v.p.y, GCENTER_HOR, GHALF_VERT, label);
  }
}

void latitude_circle(float lat, float dlon, const Glim& win, float offset) {
  const int extra = state().extra;
  std::vector<LatLon> pts;
  for (float lon : circle_longitudes()) pts.push_back({lat, lon});
  std::vector<LatLon> repeats;
  if (extra > 0) {
    // Between meridians, so repeated labels do not sit on a line.
    const float start = std::floor(-180.0f / dlon) * dlon + dlon / 2.0f;
    for (float lon = start; lon < 180.0f; lon += static_cast<float>(extra)) repeats.push_back({lat, lon});
  }
  char label[16];
  lat_label(lat, label, sizeof label);
  // Labelled near the left edge.
  const LabelPlace place{true, win.x_min + offset, win.y_min, win.y_max, GLEFT_HOR, GHALF_VERT};
  graticule_line(pts, circle_seam(MAP_get_proj()), label, place, repeats, win);
}

void meridian(float lon, float dlat, float south, float north, const Glim& win) {
  const int extra = state().extra;
  std::vector<LatLon> pts;
  const int steps = static_cast<int>(std::lround((north - south) / dlat));
  for (int i = 0; i <= steps; ++i) pts.push_back({south + dlat * static_cast<float>(i), lon});
  std::vector<LatLon> repeats;
  if (extra > 0) {
    // Between latitude circles, so repeated labels do not sit on a line.
    const float start = std::floor(-89.0f / dlat) * dlat + dlat / 2.0f;
    for (float lat = start; lat < 90.0f; lat += static_cast<float>(extra)) repeats.push_back({lat, lon});
  }
  char label[16];
  lon_label(lon, label, sizeof label);
  // Labelled on the bottom edge.
  const LabelPlace place{false, win.y_min, win.x_min, win.x_max, GCENTER_HOR, GBASE_VERT};
  graticule_line(pts, 0.0f, label, place, repeats, win);
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
