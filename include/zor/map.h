// Map projections: the one current projection of the process, the
// transformations between latitude/longitude, projection coordinates and grid
// indices, and the direction and distance helpers built on them.
#pragma once

#include "zor/types.h"

// Projection-coordinate rectangle of the current domain's grid.
struct MAP_limits {
  float x_min = 0.0f;
  float x_max = 0.0f;
  float y_min = 0.0f;
  float y_max = 0.0f;
};

struct EarthPoint {
  float lat = 0.0f;
  float lon = 0.0f;
};

// Projection constants shared with the callers that need them.
inline constexpr float MAP_EARTH_RAD = 63.7122f;   // sphere radius, 100 km units
inline constexpr float MAP_EARTH_MAJ = 63.781368f; // ellipsoid semi-major axis
inline constexpr float MAP_EARTH_MIN = 63.56752f;  // ellipsoid semi-minor axis
inline constexpr float MAP_KM_PER_DEG = 111.195f;

// Current projection.
int MAP_domain(const Domain* dom);
Domain* MAP_get_domain(Domain* dom);
int MAP_proj(int proj);
int MAP_get_proj();
int MAP_coord(float rlat, float rlon);
int MAP_proj_coord(const float* value);
float MAP_get_clat();
float MAP_get_clon();
int MAP_proj_str(const char* proj);
int MAP_print_domain();

// Transformations.
int MAP_tran(float lat, float lon, float* x, float* y);
int MAP_untran(float x, float y, float* lat, float* lon);
int MAP_tran_ep(const EarthPoint* ep, Gpt* pt);
int MAP_tran_pe(const Gpt* pt, EarthPoint* ep);
int MAP_tran_center(float* x, float* y);

// Limits and grid.
int MAP_set_limits();
int MAP_get_limits(MAP_limits* lim);
int MAP_set_view(const MAP_limits* view);
int MAP_get_up_left(float* x, float* y);
int MAP_in_domain(float x, float y);
int MAP_in_grid_domain(float x, float y);
int MAP_grid_tran(float gx, float gy, float* x, float* y);
int MAP_grid_untran(float x, float y, float* gx, float* gy);
int MAP_domain_tran(const Domain* d1, const Domain* d2, float x1, float y1, float* x2, float* y2);

// Distances and directions.
int MAP_offset(float xi, float yi, float dir, float rad, float* xf, float* yf);
float MAP_factor(float lat);
float MAP_dir_adj(float dir, float x, float y);
float MAP_undir_adj(float dir, float x, float y);
float MAP_dir(float x1, float y1, float x2, float y2);

// Station-crowding grid: a point is accepted only while its cell is empty.
int MAP_set_plot_limit(int val);
int MAP_plot_grid_init();
int MAP_plot_grid(float x, float y);

namespace zor::map {
// Back to the state of a fresh process (no current projection); for tests.
void reset();
}  // namespace zor::map
