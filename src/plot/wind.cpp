// Wind symbols: barbs, arrows and tracks at a point of the current plot.
#include "zor/wind.h"

#include <array>
#include <cmath>

#include "zor/gks.h"
#include "zor/map.h"

namespace {

constexpr float kDegToRad = 0.017453292519943334f;
constexpr float kMissing = -9999.0f;
constexpr float kMaxBarbSpeed = 300.0f;
// Barb features sit 0.12 of the staff apart; a half barb is half as long.
constexpr float kStep = 0.12f;
constexpr float kFull = 0.5f;
constexpr float kHalf = 0.25f;

bool missing(float v) { return v == kMissing; }

int line(Gpt a, Gpt b) {
  const std::array<Gpt, 2> pts{a, b};
  return gpolyline(2, pts.data());
}

// A barb's staff: points given as fractions of its length, side offsets
// perpendicular to it.
struct Staff {
  float x, y, size, s, c;
  Gpt at(float f) const { return {x + f * size * s, y + f * size * c}; }
  Gpt side(Gpt p, float len) const { return {p.x + len * size * c, p.y - len * size * s}; }
  // A barb from f_start on the staff out to the side at f_end.
  void feather(float f_start, float f_end, float len) const { line(at(f_start), side(at(f_end), len)); }
};

}  // namespace

int WIND_barb(float x, float y, float dir, float spd, float size, float offset) {
  if (missing(dir) || missing(spd)) return -1;
  if (spd > kMaxBarbSpeed) spd = kMaxBarbSpeed;
  if (spd == 0.0f) return -1;
  gset_fill_int_style(GSOLID);
  spd += 0.01f;

  const float rad = dir * kDegToRad;
  const Staff st{x, y, size, std::sin(rad), std::cos(rad)};
  line({x + offset * st.s, y + offset * st.c}, st.at(1.0f));

  // Rounded to the nearest 5 knots.
  const int n50 = static_cast<int>(std::floor((spd + 2.0f) / 50.0f));
  const float rest = spd - 50.0f * static_cast<float>(n50) + 2.0f;
  const int n5 = static_cast<int>(std::floor(rest / 5.0f));
  const int n10 = static_cast<int>(std::floor(rest / 10.0f));
  const bool half = (n5 % 2) != 0;

  if (half && n10 == 0 && n50 == 0) {
    // A lone half barb stands back from the tip.
    st.feather(0.88f, 0.94f, kHalf);
    return 0;
  }
  for (int i = 0; i < n50; ++i) {
    const float f = 1.0f - kStep * static_cast<float>(i);
    const Gpt p1 = st.at(f);
    const std::array<Gpt, 4> tri{p1, st.side(p1, kFull), st.at(f - kStep), p1};
    gfill_area(4, tri.data());
    gpolyline(4, tri.data());
  }
  const int k0 = n50 > 0 ? n50 : -1;
  for (int j = 0; j < n10; ++j) {
    const float k = static_cast<float>(k0 + j);
    st.feather(0.88f - kStep * k, 1.0f - kStep * k, kFull);
  }
  if (half) {
    const float k = static_cast<float>(k0 + n10);
    st.feather(0.88f - kStep * k, 0.94f - kStep * k, kHalf);
  }
  return 0;
}

int WIND_barb_map(float x, float y, float dir, float spd, float size, float offset) {
  if (missing(dir) || missing(spd)) return -1;
  return WIND_barb(x, y, MAP_dir_adj(dir, x, y), spd, size, offset);
}

int WIND_vect(float x, float y, float dir, float spd, float size, float arrow) {
  if (spd == 0.0f || missing(spd) || missing(dir)) return -1;
  const float rad = dir * kDegToRad;
  const float u = std::sin(-rad) * spd;
  const float v = -std::cos(rad) * spd;
  const Gpt tip{x + size * u, y + size * v};
  line({x, y}, tip);
  if (arrow > 0.0f) {
    // The head grows with the speed, as the shaft does.
    const float a = 0.2f * arrow * size;
    line(tip, {tip.x - a * u + a * v, tip.y - a * v - a * u});
    line(tip, {tip.x - a * u - a * v, tip.y - a * v + a * u});
  }
  return 0;
}

int WIND_vect_map(float x, float y, float dir, float spd, float size, float arrow) {
  if (missing(dir) || missing(spd)) return -1;
  return WIND_vect(x, y, MAP_dir_adj(dir, x, y), spd, size, arrow);
}

int WIND_track(float x, float y, float dir, float spd, float arrow, int maj, int /*min*/) {
  if (spd == 0.0f || missing(spd) || missing(dir)) return -1;
  const float rad = dir * kDegToRad;
  const float s = std::sin(-rad);
  const float c = -std::cos(rad);
  const Gpt end{x + spd * s, y + spd * c};
  line({x, y}, end);
  const float t = 0.2f * arrow;
  if (maj > 0) {
    const float d = spd / static_cast<float>(maj);
    for (int i = 0; i < maj; ++i) {
      const Gpt p{x + static_cast<float>(i) * d * s, y + static_cast<float>(i) * d * c};
      line({p.x - t * c, p.y + t * s}, {p.x + t * c, p.y - t * s});
    }
  }
  if (arrow > 0.0f) {
    // A head of fixed size, whatever the track's length.
    line(end, {end.x - t * s + t * c, end.y - t * c - t * s});
    line(end, {end.x - t * s - t * c, end.y - t * c + t * s});
  }
  return 0;
}
