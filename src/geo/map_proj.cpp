// Map projections: one current domain per process, forward and inverse rules
// per projection code, grid conversions and the direction helpers.
#include "zor/map.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "zor/dom.h"
#include "zor/mess.h"

namespace zor::map {
namespace {

constexpr double kRad = 63.7122;        // earth_rad
constexpr double kMaj = 63.781368;      // earth_maj
constexpr double kMin = 63.56752;       // earth_min
constexpr double kD = 0.017453292519943334;  // degrees to radians
constexpr double kR2D = 57.295779513082195;
constexpr double kKmDeg = 111.195;
constexpr double kPi = 3.1415926535898;  // the value the Mollweide rule uses
constexpr double kSatDefault = 421.61;
constexpr float kMiss = -9999.0f;

bool missing(double v) { return v == -9999.0; }

double wrap180(double lon) {
  if (!std::isfinite(lon)) return lon;
  if (std::fabs(lon) > 1080.0) lon = std::fmod(lon, 360.0);
  while (lon > 180.0) lon -= 360.0;
  while (lon < -180.0) lon += 360.0;
  return lon;
}

struct State {
  Domain domain{};
  bool have_domain = false;  // false: projection -9999, identity transform
  MAP_limits limits{};
  MAP_limits view{0.0f, 1.0f, 0.0f, 1.0f};
  double tlat1 = 60.0, tlat2 = 60.0;
  double sat_rad = kSatDefault, sat_rad2 = 0, sat_rad4 = 0, sat2_earth2 = 0;
  double earth_ratio2 = (kMin * kMin) / (kMaj * kMaj);
  // Lazily computed constants; -9999 marks "not yet computed".
  double xfactor = -9999, yfactor = -9999, scale = -9999, mult = -9999;
  double sat_ratio = -9999, earth_ratio = -9999;
  bool skew_cleared = false;  // while computing diagram limits
  int plot_limit = 1;
  int pg_nx = 0, pg_ny = 0;
  double pg_fx = 1, pg_fy = 1;
  std::vector<std::uint8_t> plot_grid;

  void reset() { *this = State{}; domain.proj = -9999; }
  void reset_lazy() {
    xfactor = sat_ratio = -9999;
  }
};

State& st() {
  static State s = [] { State v; v.domain.proj = -9999; return v; }();
  return s;
}

bool earth_proj(int p) { return p >= 1 && p <= 9; }

// The per-projection constants, computed on the first transform after a change.
void ensure_constants() {
  State& s = st();
  if (s.xfactor != -9999 && s.sat_ratio != -9999) return;
  const Domain& d = s.domain;
  switch (d.proj) {
    case 1: {
      double sgn = d.plat >= 0 ? -1.0 : 1.0;
      s.scale = kRad * (1.0 - sgn * std::sin(s.tlat1 * kD));
      break;
    }
    case 4: {
      // Cone constants from the magnitudes of the parallels, so that a southern
      // cone given with negative parallels works like its northern mirror.
      double t1 = std::fabs(s.tlat1), t2 = std::fabs(s.tlat2);
      double n;
      if (t1 != t2) {
        n = (std::log(std::cos(t1 * kD)) - std::log(std::cos(t2 * kD))) /
            (std::log(std::tan((45.0 - t1 / 2.0) * kD)) - std::log(std::tan((45.0 - t2 / 2.0) * kD)));
      } else {
        n = std::cos((90.0 - t1) * kD);
      }
      if (!std::isfinite(n) || n <= 0.0 || n > 1.0) {
        // Parallels at the equator or a pole give no usable cone.
        MESS_print(M_WARN, "MAP_tran: Unusable standard parallels %g %g, using 30 60\n", s.tlat1, s.tlat2);
        t1 = s.tlat1 = 30.0;
        t2 = s.tlat2 = 60.0;
        n = (std::log(std::cos(t1 * kD)) - std::log(std::cos(t2 * kD))) /
            (std::log(std::tan((45.0 - t1 / 2.0) * kD)) - std::log(std::tan((45.0 - t2 / 2.0) * kD)));
      }
      s.mult = n;
      s.scale = std::cos(t1 * kD) / (n * std::pow(std::tan((45.0 - t1 / 2.0) * kD), n));
      break;
    }
    case 20: case 24: case 25:
      s.xfactor = (d.dx != 0) ? d.nx / static_cast<double>(d.dx) : 1.0;
      s.yfactor = (d.dy != 0) ? d.ny / static_cast<double>(d.dy) : 1.0;
      break;
    case 40: {
      double vw = s.view.x_max - s.view.x_min, vh = s.view.y_max - s.view.y_min;
      double lw = s.limits.x_max - s.limits.x_min, lh = s.limits.y_max - s.limits.y_min;
      s.mult = (vw != 0 && lh != 0) ? ((vh / vw) * lw) / lh : 0.0;
      break;
    }
    default:
      break;
  }
  if (s.xfactor == -9999) s.xfactor = 1.0;
  if (s.yfactor == -9999) s.yfactor = 1.0;
  s.earth_ratio = kMin / kMaj;
  s.sat_ratio = kRad / s.sat_rad;
}

double skew_k() { return st().skew_cleared ? 0.0 : st().mult; }

// Potential temperature of (T in Celsius, p in hPa); negative when undefined.
double theta_of(double t_c, double p) {
  double tk = t_c + 273.15;
  if (tk <= 0 || p <= 0) return -1;
  return tk * std::pow(1000.0 / p, 0.286);
}

constexpr double kTephiScale = 100.0;  // K of temperature per unit of ln(theta)

int fail(double* x, double* y) {
  *x = kMiss;
  *y = kMiss;
  return 0;
}

int forward(double lat, double lon, double* x, double* y) {
  State& s = st();
  const Domain& d = s.domain;
  const int p = s.have_domain ? d.proj : -9999;
  if (p == -9999) { *x = lat; *y = lon; return 1; }
  ensure_constants();
  if (earth_proj(p)) lon = wrap180(lon);
  const double plat = d.plat, plon = d.plon;
  double dl = lon - plon;
  switch (p) {
    case 1: {
      double sg = plat >= 0 ? -1.0 : 1.0;
      if (sg * lat > 75.0) lat = 75.0 * sg;  // far hemisphere pulled back
      double r = s.scale * std::tan((sg * lat + 90.0) * kD / 2.0);
      *x = r * std::sin(dl * kD);
      *y = sg * r * std::cos(dl * kD);
      return 1;
    }
    case 2:
      *x = wrap180(dl);
      *y = lat;
      return 1;
    case 3: {
      double xx = kRad * dl * kD;
      if (xx > kRad * 180.0 * kD) xx -= kRad * 360.0 * kD;
      else if (xx < -kRad * 180.0 * kD) xx += kRad * 360.0 * kD;
      if (lat > 89.9) lat = 89.9;
      if (lat < -89.9) lat = -89.9;
      *x = xx;
      *y = -kRad * std::log(std::tan((45.0 - lat / 2.0) * kD));
      return 1;
    }
    case 4: {
      double sg = plat >= 0 ? 1.0 : -1.0;
      if (sg > 0 && lat < -89.0) lat = -89.0;
      if (sg < 0 && lat > 89.0) lat = 89.0;
      dl = wrap180(dl);
      double n = s.mult;
      double rho = kRad * s.scale * std::pow(std::tan((45.0 - sg * lat / 2.0) * kD), n);
      *x = rho * std::sin(n * dl * kD);
      *y = -sg * rho * std::cos(n * dl * kD);
      return 1;
    }
    case 5: {
      double p0 = missing(plat) ? 0.0 : plat;
      double cosc = std::sin(lat * kD) * std::sin(p0 * kD) +
                    std::cos(lat * kD) * std::cos(p0 * kD) * std::cos(dl * kD);
      if (cosc < 0) return fail(x, y);
      *x = kRad * std::cos(lat * kD) * std::sin(dl * kD);
      *y = kRad * (std::cos(p0 * kD) * std::sin(lat * kD) -
                   std::sin(p0 * kD) * std::cos(lat * kD) * std::cos(dl * kD));
      return 1;
    }
    case 6: {
      // Gnomonic: great circles are straight lines; only the near hemisphere.
      double p0 = missing(plat) ? 0.0 : plat;
      double cosc = std::sin(lat * kD) * std::sin(p0 * kD) +
                    std::cos(lat * kD) * std::cos(p0 * kD) * std::cos(dl * kD);
      if (cosc <= 1e-6) return fail(x, y);
      *x = kRad * std::cos(lat * kD) * std::sin(dl * kD) / cosc;
      *y = kRad * (std::cos(p0 * kD) * std::sin(lat * kD) -
                   std::sin(p0 * kD) * std::cos(lat * kD) * std::cos(dl * kD)) / cosc;
      return 1;
    }
    case 7: {
      double th = lat * kD;
      double target = kPi * std::sin(lat * kD);
      for (int i = 0; i < 15; ++i) {
        double den = 1.0 + std::cos(th);
        if (den < 1e-12) break;  // at the poles the solution is already ±pi
        double delta = -(th + std::sin(th) - target) / den;
        th += delta;
        if (std::fabs(delta) < 1e-10) break;
      }
      th /= 2.0;
      dl = wrap180(dl);
      *x = std::fabs(lat) > 89.99 ? 0.0 : kRad * (dl / 90.0) * std::cos(th);
      *y = kRad * std::sin(th);
      return 1;
    }
    case 8: {
      double cosc = std::sin(plat * kD) * std::sin(lat * kD) +
                    std::cos(plat * kD) * std::cos(lat * kD) * std::cos(dl * kD);
      if (cosc <= -1.0 + 1e-12) return fail(x, y);
      double k = kRad * std::sqrt(2.0 / (1.0 + cosc));
      *x = k * std::cos(lat * kD) * std::sin(dl * kD);
      *y = k * (std::cos(plat * kD) * std::sin(lat * kD) -
                std::sin(plat * kD) * std::cos(lat * kD) * std::cos(dl * kD));
      return 1;
    }
    case 9: {
      double phc = lat * kD, re = kRad;
      if (d.ellipse) {
        phc = std::atan(s.earth_ratio2 * std::tan(lat * kD));
        re = kMin / std::sqrt(1.0 - (1.0 - s.earth_ratio2) * std::cos(phc) * std::cos(phc));
      }
      double cl = std::cos(phc) * std::cos(dl * kD);
      if (s.sat_ratio > cl) return fail(x, y);
      double dd = s.sat_rad - re * cl;
      double h = re * std::sin(dl * kD) * std::cos(phc);
      double xx = h / dd;
      double yy = re * std::sin(phc) / std::sqrt(dd * dd + h * h);
      if (d.param[1] == 1.0f) { xx = std::atan(xx); yy = std::atan(yy); }
      *x = xx * s.sat_rad;
      *y = yy * s.sat_rad;
      return 1;
    }
    case 99: *x = lat; *y = -lon; return 1;
    case 20: case 24:
      *x = (lat - s.limits.x_min) * s.xfactor + s.limits.x_min;
      *y = (lon - s.limits.y_min) * s.yfactor + s.limits.y_min;
      return 1;
    case 25:
      *x = (lat - s.limits.x_min) * s.xfactor + s.limits.x_min;
      *y = (s.limits.y_min - lon) * s.yfactor + s.limits.y_min;
      return 1;
    case 22: case 42:
      if (lon <= 0) return fail(x, y);
      *x = lat;
      *y = -std::log(lon);
      return 1;
    case 23:
      *x = lon * std::sin(lat * kD);
      *y = lon * std::cos(lat * kD);
      return 1;
    case 40: {
      if (lon <= 0) return fail(x, y);
      double yy = -std::log(lon);
      *x = lat + (yy - s.limits.y_min) * skew_k();
      *y = yy;
      return 1;
    }
    case 41:
      if (lon < 0) return fail(x, y);
      *x = lat;
      *y = -std::pow(lon, 0.285714);
      return 1;
    case 43: {
      double th = theta_of(lat, lon);
      if (th <= 0) return fail(x, y);
      double v = std::log(th) * kTephiScale;
      // Isotherms and dry adiabats cross at right angles, turned 45 degrees.
      *x = (lat + v) / std::sqrt(2.0);
      *y = (v - lat) / std::sqrt(2.0);
      return 1;
    }
    case 44: {
      double th = theta_of(lat, lon);
      if (th <= 0) return fail(x, y);
      *x = lat;
      *y = std::log(th);
      return 1;
    }
    default:
      return 1;  // outputs untouched
  }
}

int inverse(double x, double y, double* lat, double* lon) {
  State& s = st();
  const Domain& d = s.domain;
  const int p = s.have_domain ? d.proj : -9999;
  if (p == -9999) { *lat = x; *lon = y; return 1; }
  ensure_constants();
  const double plat = d.plat, plon = d.plon;
  switch (p) {
    case 1: {
      double sg = plat >= 0 ? -1.0 : 1.0;
      double r = std::hypot(x, y);
      *lat = sg * (2.0 * std::atan(r / s.scale) * kR2D - 90.0);
      *lon = (x == 0 && y == 0) ? plon : wrap180(plon + std::atan2(x, sg * y) * kR2D);
      return 1;
    }
    case 2:
      *lat = y;
      *lon = wrap180(x + plon);
      return 1;
    case 3:
      *lon = wrap180(x / (kRad * kD) + plon);
      *lat = 90.0 - 2.0 * std::atan(1.0 / std::exp(y / kRad)) * kR2D;
      return 1;
    case 4: {
      double sg = plat >= 0 ? 1.0 : -1.0;
      double n = s.mult;
      double rho = std::hypot(x, y);
      *lat = sg * 90.0 - 2.0 * sg * std::atan(std::pow(rho / (s.scale * kRad), 1.0 / n)) * kR2D;
      *lon = (x == 0 && y == 0) ? plon : wrap180(plon + std::atan2(x, -sg * y) * kR2D / n);
      return 1;
    }
    case 5: case 6: {
      double p0 = missing(plat) ? 0.0 : plat;
      double rho = std::hypot(x, y);
      double c;
      if (p == 5) {
        if (kRad * kRad - rho * rho < 0) return fail(lat, lon);
        c = std::asin(std::min(1.0, rho / kRad));
      } else {
        c = std::atan(rho / kRad);
      }
      if (rho < 1e-10) { *lat = p0; *lon = plon; return 1; }
      *lat = std::asin(std::cos(c) * std::sin(p0 * kD) + y * std::sin(c) * std::cos(p0 * kD) / rho) * kR2D;
      *lon = wrap180(plon + std::atan2(x * std::sin(c), rho * std::cos(p0 * kD) * std::cos(c) -
                                                        y * std::sin(p0 * kD) * std::sin(c)) * kR2D);
      return 1;
    }
    case 7: {
      double sy = y / kRad;
      if (std::fabs(sy) > 1) return fail(lat, lon);
      double th = std::asin(sy);
      double sp = (2.0 * th + std::sin(2.0 * th)) / kPi;
      if (std::fabs(sp) > 1) return fail(lat, lon);
      *lat = std::asin(sp) * kR2D;
      double ct = std::cos(th);
      double dl = ct > 1e-12 ? 90.0 * x / (kRad * ct) : 0.0;
      *lon = wrap180(plon + dl);
      return 1;
    }
    case 8: {
      double rho = std::hypot(x, y);
      if (rho / (2.0 * kRad) > 1) return fail(lat, lon);
      if (rho < 1e-10) { *lat = plat; *lon = plon; return 0; }
      double c = 2.0 * std::asin(rho / (2.0 * kRad));
      double la = std::asin(std::cos(c) * std::sin(plat * kD) + y * std::sin(c) * std::cos(plat * kD) / rho);
      *lat = la * kR2D;
      if (std::fabs(std::fabs(plat) - 90.0) < 1e-10) {
        *lon = plat > 0 ? plon + std::atan2(x, -y) * kR2D : plon - std::atan2(-x, y) * kR2D;
      } else {
        double den = rho * std::cos(plat * kD) * std::cos(c) - y * std::sin(plat * kD) * std::sin(c);
        *lon = (x == 0 && den == 0) ? plon : plon + std::atan2(x * std::sin(c), den) * kR2D;
      }
      *lon = wrap180(*lon);
      return 1;
    }
    case 9: {
      const double S = s.sat_rad;
      double ax, ay;  // scan angles
      if (d.param[1] == 1.0f) { ax = x / S; ay = y / S; }
      else { ax = std::atan(x / S); ay = std::atan(y / S); }
      // Line of sight from the satellite at (S, 0, 0), turned ax about the
      // polar axis and then ay out of the equatorial plane.
      double ux = -std::cos(ay) * std::cos(ax), uy = std::cos(ay) * std::sin(ax), uz = std::sin(ay);
      double wz = d.ellipse ? 1.0 / s.earth_ratio2 : 1.0;  // polar axis weight (a/b)^2
      double ra = d.ellipse ? kMaj : kRad;
      double A = ux * ux + uy * uy + wz * uz * uz;
      double B = 2.0 * S * ux;
      double C = S * S - ra * ra;
      double disc = B * B - 4.0 * A * C;
      if (disc < 0) return fail(lat, lon);
      double t = (-B - std::sqrt(disc)) / (2.0 * A);
      double px = S + t * ux, py = t * uy, pz = t * uz;
      double horiz = std::hypot(px, py);
      if (d.ellipse) *lat = std::atan2(wz * pz, horiz) * kR2D;  // geodetic latitude
      else *lat = std::atan2(pz, horiz) * kR2D;
      *lon = wrap180(plon + std::atan2(py, px) * kR2D);
      return 1;
    }
    case 99: *lat = x; *lon = -y; return 1;
    case 20: case 24:
      *lat = (x - s.limits.x_min) / s.xfactor + s.limits.x_min;
      *lon = (y - s.limits.y_min) / s.yfactor + s.limits.y_min;
      return 1;
    case 25:
      *lat = (x - s.limits.x_min) / s.xfactor + s.limits.x_min;
      *lon = s.limits.y_min - (y - s.limits.y_min) / s.yfactor;
      return 1;
    case 22: case 42:
      *lat = x;
      *lon = std::exp(-y);
      return 1;
    case 23: {
      double a = std::atan2(x, y) * kR2D;
      if (a < 0) a += 360.0;
      *lat = a;
      *lon = std::hypot(x, y);
      return 1;
    }
    case 40:
      *lon = std::exp(-y);
      *lat = x - (y - s.limits.y_min) * skew_k();
      return 1;
    case 41:
      if (y > 0) return fail(lat, lon);
      *lat = x;
      *lon = std::pow(-y, 1.0 / 0.285714);
      return 1;
    case 43: {
      double t = (x - y) / std::sqrt(2.0);
      double v = (x + y) / std::sqrt(2.0) / kTephiScale;
      double th = std::exp(v);
      double tk = t + 273.15;
      if (tk <= 0) return fail(lat, lon);
      *lat = t;
      *lon = 1000.0 * std::pow(tk / th, 3.5);
      return 1;
    }
    case 44: {
      double th = std::exp(y);
      double tk = x + 273.15;
      if (tk <= 0) return fail(lat, lon);
      *lat = x;
      *lon = 1000.0 * std::pow(tk / th, 3.5);
      return 1;
    }
    default:
      return 1;
  }
}

int tran_f(float lat, float lon, float* x, float* y) {
  double dx = *x, dy = *y;
  int r = forward(lat, lon, &dx, &dy);
  *x = static_cast<float>(dx);
  *y = static_cast<float>(dy);
  return r;
}

int untran_f(float x, float y, float* lat, float* lon) {
  double a = *lat, o = *lon;
  int r = inverse(x, y, &a, &o);
  *lat = static_cast<float>(a);
  *lon = static_cast<float>(o);
  return r;
}

void set_projection_params() {
  State& s = st();
  Domain& d = s.domain;
  if (missing(d.plat)) d.plat = d.clat;
  if (missing(d.plon)) d.plon = d.clon;
  if (d.proj == 1) {
    s.tlat1 = d.plat < 0 ? -60.0 : 60.0;
    if (!missing(d.param[0])) s.tlat1 = d.param[0];
  } else if (d.proj == 4) {
    s.tlat1 = 30.0;
    s.tlat2 = 60.0;
    if (!missing(d.param[0])) {
      s.tlat1 = d.param[0];
      s.tlat2 = missing(d.param[1]) ? d.param[0] : d.param[1];
    }
  } else if (d.proj == 9) {
    s.sat_rad = missing(d.param[0]) || d.param[0] <= kMaj ? kSatDefault : d.param[0];
    s.sat_rad2 = s.sat_rad * s.sat_rad;
    s.sat_rad4 = s.sat_rad2 * s.sat_rad2;
    s.sat2_earth2 = s.sat_rad2 - kMaj * kMaj;
  }
  s.earth_ratio2 = (kMin * kMin) / (kMaj * kMaj);
  s.reset_lazy();
}

double hemi(const State& s) { return s.domain.plat >= 0 ? 1.0 : -1.0; }

}  // namespace

void reset() { st().reset(); }

}  // namespace zor::map

using namespace zor::map;

int MAP_domain(const Domain* dom) {
  State& s = st();
  if (dom == nullptr) {
    s.domain = Domain{};
    s.domain.proj = -9999;
    s.have_domain = false;
    s.reset_lazy();
    return -1;
  }
  s.domain = *dom;
  s.have_domain = true;
  set_projection_params();
  MAP_set_limits();
  return 0;
}

Domain* MAP_get_domain(Domain* dom) {
  if (dom == nullptr) return &st().domain;
  *dom = st().domain;
  return dom;
}

int MAP_proj(int proj) {
  State& s = st();
  s.domain.proj = proj;
  s.have_domain = true;
  set_projection_params();
  return 0;
}

int MAP_get_proj() { return st().have_domain ? st().domain.proj : -9999; }

int MAP_coord(float rlat, float rlon) {
  State& s = st();
  s.domain.plat = rlat;
  s.domain.plon = rlon;
  set_projection_params();
  return 0;
}

int MAP_proj_coord(const float* value) {
  State& s = st();
  if (value == nullptr || s.domain.proj != 4) return -1;
  s.tlat1 = value[0];
  s.tlat2 = value[1];
  s.reset_lazy();
  return 0;
}

float MAP_get_clat() { return st().domain.clat; }
float MAP_get_clon() { return st().domain.clon; }

int MAP_proj_str(const char* proj) { return DOM_proj_str(proj); }

int MAP_print_domain() { return DOM_print(M_PRINT, &st().domain); }

int MAP_tran(float lat, float lon, float* x, float* y) {
  if (x == nullptr || y == nullptr) return 0;
  return tran_f(lat, lon, x, y);
}

int MAP_untran(float x, float y, float* lat, float* lon) {
  if (lat == nullptr || lon == nullptr) return 0;
  return untran_f(x, y, lat, lon);
}

int MAP_tran_ep(const EarthPoint* ep, Gpt* pt) {
  if (ep == nullptr || pt == nullptr) return 0;
  return MAP_tran(ep->lat, ep->lon, &pt->x, &pt->y);
}

int MAP_tran_pe(const Gpt* pt, EarthPoint* ep) {
  if (ep == nullptr || pt == nullptr) return 0;
  return MAP_untran(pt->x, pt->y, &ep->lat, &ep->lon);
}

int MAP_tran_center(float* x, float* y) {
  return MAP_tran(st().domain.clat, st().domain.clon, x, y);
}

int MAP_set_limits() {
  State& s = st();
  const Domain& d = s.domain;
  double x1 = 0, y1 = 0, x2 = 0, y2 = 0;
  const int p = s.have_domain ? d.proj : -9999;
  if (earth_proj(p)) {
    double cx = 0, cy = 0;
    forward(d.clat, d.clon, &cx, &cy);
    double hx = (d.nx - 1) / 2.0 * d.dx, hy = (d.ny - 1) / 2.0 * d.dy;
    x1 = cx - hx; x2 = cx + hx; y1 = cy - hy; y2 = cy + hy;
  } else if (p == 23) {
    x1 = d.clat; x2 = d.clat + d.dx; y1 = d.clon; y2 = d.clon + d.dy;
  } else if (p == 20 || p == 24 || p == 25) {
    s.xfactor = d.dx != 0 ? d.nx / static_cast<double>(d.dx) : 1.0;
    s.yfactor = d.dy != 0 ? d.ny / static_cast<double>(d.dy) : 1.0;
    double y0 = p == 25 ? -d.clon : d.clon;
    x1 = d.clat; x2 = d.clat + d.nx; y1 = y0; y2 = y0 + d.ny;
  } else {
    // Diagram and pixel codes: the corners are the transforms of the two
    // given corners, with the skew left out while the limits are unknown.
    s.skew_cleared = true;
    x1 = d.clat; y1 = d.clon; x2 = d.clat + d.dx; y2 = d.clon + d.dy;
    double ax = x1, ay = y1, bx = x2, by = y2;
    forward(d.clat, d.clon, &ax, &ay);
    forward(d.clat + d.dx, d.clon + d.dy, &bx, &by);
    x1 = ax; y1 = ay; x2 = bx; y2 = by;
    s.skew_cleared = false;
    if (p == 40) s.sat_ratio = -9999;  // recompute the skew with the new limits
  }
  s.limits.x_min = static_cast<float>(std::min(x1, x2));
  s.limits.x_max = static_cast<float>(std::max(x1, x2));
  s.limits.y_min = static_cast<float>(std::min(y1, y2));
  s.limits.y_max = static_cast<float>(std::max(y1, y2));
  return 0;
}

int MAP_get_limits(MAP_limits* lim) {
  if (lim == nullptr) return -1;
  *lim = st().limits;
  return 0;
}

int MAP_set_view(const MAP_limits* view) {
  if (view == nullptr) return -1;
  st().view = *view;
  st().sat_ratio = -9999;  // the skew-T factor depends on the view
  return 0;
}

int MAP_get_up_left(float* x, float* y) {
  if (x == nullptr || y == nullptr) return -1;
  *x = st().limits.x_min;
  *y = st().limits.y_max;
  return 0;
}

int MAP_in_domain(float x, float y) {
  const State& s = st();
  if (MAP_get_proj() == -9999) return 1;
  return x >= s.limits.x_min && x <= s.limits.x_max && y >= s.limits.y_min && y <= s.limits.y_max;
}

int MAP_in_grid_domain(float x, float y) {
  const State& s = st();
  if (MAP_get_proj() == -9999) return 1;
  double mx = 3.0 * s.domain.dx, my = 3.0 * s.domain.dy;
  return x >= s.limits.x_min - mx && x <= s.limits.x_max + mx && y >= s.limits.y_min - my &&
         y <= s.limits.y_max + my;
}

int MAP_grid_tran(float gx, float gy, float* x, float* y) {
  if (x == nullptr || y == nullptr) return -1;
  const State& s = st();
  if (gx == kMiss) { *x = *y = kMiss; return -1; }
  *x = s.limits.x_min + s.domain.dx * gx;
  *y = s.limits.y_max - s.domain.dy * gy;
  return 0;
}

int MAP_grid_untran(float x, float y, float* gx, float* gy) {
  if (gx == nullptr || gy == nullptr) return -1;
  const State& s = st();
  if (x == kMiss || s.domain.dx == 0 || s.domain.dy == 0) { *gx = *gy = kMiss; return -1; }
  *gx = (x - s.limits.x_min) / s.domain.dx;
  *gy = (s.limits.y_max - y) / s.domain.dy;
  return 0;
}

int MAP_domain_tran(const Domain* d1, const Domain* d2, float x1, float y1, float* x2, float* y2) {
  if (d1 == nullptr || d2 == nullptr || x2 == nullptr || y2 == nullptr) return -1;
  if (DOM_comp(d1, d2)) {
    *x2 = x1;
    *y2 = y1;
    return 1;
  }
  State saved = st();
  MAP_domain(d1);
  float lat = kMiss, lon = kMiss;
  int r = MAP_untran(x1, y1, &lat, &lon);
  if (r) {
    MAP_domain(d2);
    r = MAP_tran(lat, lon, x2, y2);
  } else {
    *x2 = *y2 = kMiss;
  }
  st() = saved;
  return r;
}

int MAP_offset(float xi, float yi, float dir, float rad, float* xf, float* yf) {
  if (xf == nullptr || yf == nullptr) return 0;
  float lat = kMiss, lon = kMiss;
  if (!MAP_untran(xi, yi, &lat, &lon)) { *xf = *yf = kMiss; return 0; }
  double la = lat + rad * std::cos(dir * kD) / kKmDeg;
  const double c = std::cos(lat * kD);
  double lo = std::fabs(c) < 1e-9 ? lon : lon + rad * std::sin(dir * kD) / (c * kKmDeg);  // no east at a pole
  return MAP_tran(static_cast<float>(la), static_cast<float>(lo), xf, yf);
}

float MAP_factor(float lat) {
  const State& s = st();
  switch (MAP_get_proj()) {
    case 1: {
      // Scale relative to the true latitude, on the domain's own hemisphere.
      double h = hemi(s);
      return static_cast<float>((1.0 + std::sin(std::fabs(s.tlat1) * kD)) / (1.0 + h * std::sin(lat * kD)));
    }
    case 4:
      return s.domain.param[2];
    default:
      return 1.0f;
  }
}

namespace {

// Bearing from north of the plot's up axis at (x, y), for the conformal
// projections whose north direction depends only on position.
bool conformal_north(float x, float y, double* off) {
  const State& s = st();
  const double h = hemi(s);
  switch (MAP_get_proj()) {
    case 1:
      if (x == 0 && y == 0) *off = h > 0 ? s.domain.plon : -s.domain.plon;
      else *off = h > 0 ? std::atan2(x, -y) * kR2D : -std::atan2(x, y) * kR2D;
      return true;
    case 4:
      *off = std::atan2(x, -h * y) * kR2D;
      return true;
    default:
      return false;
  }
}

}  // namespace

float MAP_dir_adj(float dir, float x, float y) {
  double off = 0;
  if (conformal_north(x, y, &off)) return static_cast<float>(dir - off);
  if (MAP_get_proj() != 9) return dir;
  float lat = kMiss, lon = kMiss, x2 = kMiss, y2 = kMiss;
  if (!MAP_untran(x, y, &lat, &lon)) return kMiss;
  double la = lat + std::cos(dir * kD) / kKmDeg;
  double lo = lon + std::sin(dir * kD) / (std::cos(lat * kD) * kKmDeg);
  float xa = kMiss, ya = kMiss;
  if (!MAP_tran(lat, lon, &xa, &ya)) return kMiss;
  if (!MAP_tran(static_cast<float>(la), static_cast<float>(lo), &x2, &y2)) return kMiss;
  return static_cast<float>(std::atan2(x2 - xa, y2 - ya) * kR2D);
}

float MAP_undir_adj(float dir, float x, float y) {
  double off = 0;
  if (conformal_north(x, y, &off)) return static_cast<float>(dir + off);
  if (MAP_get_proj() != 9) return dir;
  // Step a small distance along the plot direction and read the true bearing.
  constexpr double step = 0.01;  // 1 km
  float la1 = kMiss, lo1 = kMiss, la2 = kMiss, lo2 = kMiss;
  if (!MAP_untran(x, y, &la1, &lo1)) return kMiss;
  float x2 = static_cast<float>(x + step * std::sin(dir * kD));
  float y2 = static_cast<float>(y + step * std::cos(dir * kD));
  if (!MAP_untran(x2, y2, &la2, &lo2)) return kMiss;
  double dlon = zor::map::wrap180(static_cast<double>(lo2) - lo1);
  return static_cast<float>(std::atan2(dlon * std::cos(la1 * kD), static_cast<double>(la2) - la1) * kR2D);
}

float MAP_dir(float x1, float y1, float x2, float y2) {
  double dir = std::atan2(x2 - x1, y2 - y1) * kR2D;
  if (MAP_get_proj() == 1) {
    if (hemi(st()) > 0) dir += std::atan2(x1, -y1) * kR2D;
    else dir -= std::atan2(x1, y1) * kR2D;
  }
  return static_cast<float>(dir);
}

int MAP_set_plot_limit(int val) {
  st().plot_limit = val;
  return 0;
}

int MAP_plot_grid_init() {
  State& s = st();
  int nx = std::max(1, s.domain.nx), ny = std::max(1, s.domain.ny);
  double f = 1.0;
  if (s.plot_limit > 1) f = s.plot_limit;
  else if (s.plot_limit < -1) f = 1.0 / -s.plot_limit;
  // Keep the count grid to a sane size whatever the refinement asked for.
  constexpr double kMaxCells = 1 << 24;
  if (static_cast<double>(nx) * ny * f * f > kMaxCells) f = std::sqrt(kMaxCells / (static_cast<double>(nx) * ny));
  s.pg_nx = std::max(1, static_cast<int>(std::ceil(nx * f)));
  s.pg_ny = std::max(1, static_cast<int>(std::ceil(ny * f)));
  s.pg_fx = static_cast<double>(s.pg_nx) / nx;
  s.pg_fy = static_cast<double>(s.pg_ny) / ny;
  s.plot_grid.assign(static_cast<std::size_t>(s.pg_nx) * s.pg_ny, 0);
  return 0;
}

int MAP_plot_grid(float x, float y) {
  State& s = st();
  if (s.plot_grid.empty()) MAP_plot_grid_init();
  float gx = 0, gy = 0;
  if (MAP_grid_untran(x, y, &gx, &gy) != 0) return 0;
  int ix = static_cast<int>(std::floor((gx + 0.5) * s.pg_fx));
  int iy = static_cast<int>(std::floor((gy + 0.5) * s.pg_fy));
  if (ix < 0 || iy < 0 || ix >= s.pg_nx || iy >= s.pg_ny) return 0;
  std::uint8_t& cell = s.plot_grid[static_cast<std::size_t>(iy) * s.pg_nx + ix];
  if (cell) return 0;
  cell = 1;
  return 1;
}
