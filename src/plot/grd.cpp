// Regular grids and their drawing through the fill levels: filled cells, one
// polygon per run of equal colour along a row, or contour lines found cell
// by cell between the grid points.
#include "zor/grd.h"

#include <cmath>
#include <new>

#include "zor/attrib.h"
#include "zor/cont.h"
#include "zor/dom.h"
#include "zor/gks.h"
#include "zor/map.h"

int GRD_init(GRD_report* grid, const Domain* domain) {
  if (grid == nullptr || domain == nullptr || domain->nx < 1 || domain->ny < 1) return -1;
  grid->domain = *domain;
  try {
    grid->data.assign(static_cast<std::size_t>(domain->nx) * static_cast<std::size_t>(domain->ny), ZOR_MISSING_F);
  } catch (const std::bad_alloc&) {
    grid->data.clear();
    return -1;
  }
  return 0;
}

namespace {

// Plot positions of the grid-index points (i + off, j + off), i < nx, j < ny,
// of grid domain `gd` on the current map; ok[k] is 0 where the point has no
// place on the map. The current map domain is current again afterwards.
struct Points {
  int nx = 0, ny = 0;
  std::vector<Gpt> p;
  std::vector<char> ok;
  const Gpt& at(int i, int j) const { return p[static_cast<std::size_t>(j) * nx + i]; }
  bool good(int i, int j) const { return ok[static_cast<std::size_t>(j) * nx + i] != 0; }
};

Points plot_points(const Domain& gd, const Domain& plot, float off, int nx, int ny) {
  Points pts;
  pts.nx = nx;
  pts.ny = ny;
  const std::size_t n = static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny);
  pts.p.resize(n);
  pts.ok.assign(n, 1);
  const bool same = DOM_comp_proj(&gd, &plot) != 0;
  MAP_domain(&gd);
  for (int j = 0; j < ny; ++j) {
    for (int i = 0; i < nx; ++i) {
      const std::size_t k = static_cast<std::size_t>(j) * nx + i;
      Gpt& q = pts.p[k];
      MAP_grid_tran(static_cast<float>(i) + off, static_cast<float>(j) + off, &q.x, &q.y);
      if (same) continue;
      float lat = ZOR_MISSING_F, lon = ZOR_MISSING_F;
      if (!MAP_untran(q.x, q.y, &lat, &lon)) pts.ok[k] = 0;
      q = Gpt{lat, lon};
    }
  }
  MAP_domain(&plot);
  if (same) return pts;
  for (std::size_t k = 0; k < n; ++k) {
    if (!pts.ok[k]) continue;
    const float lat = pts.p[k].x, lon = pts.p[k].y;
    if (!MAP_tran(lat, lon, &pts.p[k].x, &pts.p[k].y)) pts.ok[k] = 0;
  }
  return pts;
}

int colour_of(float v, Gattribs* a) {
  *a = Gattribs{};
  if (v == ZOR_MISSING_F) return -1;
  CONT_get_fill_attrib(v, a);
  return a->color;
}

void fill_cells(const GRD_report& g, const Domain& plot) {
  const int nx = g.domain.nx, ny = g.domain.ny;
  const Points c = plot_points(g.domain, plot, -0.5f, nx + 1, ny + 1);
  std::vector<Gpt> poly;
  gset_fill_int_style(1);
  for (int j = 0; j < ny; ++j) {
    int i = 0;
    while (i < nx) {
      Gattribs a;
      const int colour = colour_of(g.at(i, j), &a);
      int end = i + 1;
      while (end < nx) {
        Gattribs b;
        if (colour_of(g.at(end, j), &b) != colour) break;
        ++end;
      }
      if (colour >= 0) {
        // The run's upper edge west to east, then its lower edge back.
        poly.clear();
        bool ok = true;
        for (int k = i; k <= end; ++k) {
          ok = ok && c.good(k, j);
          poly.push_back(c.at(k, j));
        }
        for (int k = end; k >= i; --k) {
          ok = ok && c.good(k, j + 1);
          poly.push_back(c.at(k, j + 1));
        }
        if (ok) {
          GPH_fill_attr(&a);
          gfill_area(static_cast<int>(poly.size()), poly.data());
        }
      }
      i = end;
    }
  }
}

void draw_lines(const GRD_report& g, const Domain& plot) {
  const int nx = g.domain.nx, ny = g.domain.ny;
  if (nx < 2 || ny < 2) return;
  float vmin = 0.0f, vmax = 0.0f;
  bool any = false;
  for (float v : g.data) {
    if (v == ZOR_MISSING_F) continue;
    if (!any || v < vmin) vmin = v;
    if (!any || v > vmax) vmax = v;
    any = true;
  }
  float step = CONT_get_intrvl();
  float base = CONT_get_base();
  if (!any || !(step > 0.0f) || step == ZOR_MISSING_F) return;
  if (base == ZOR_MISSING_F) base = 0.0f;
  const long k0 = static_cast<long>(std::ceil((vmin - base) / step));
  const long k1 = static_cast<long>(std::floor((vmax - base) / step));
  if (k1 < k0 || k1 - k0 > 200) return;
  const Points p = plot_points(g.domain, plot, 0.0f, nx, ny);
  Gattribs line;
  ATTRIB_get("color_cont", gget_inverse() ? "black" : "white", &line);

  for (long k = k0; k <= k1; ++k) {
    const float level = base + static_cast<float>(k) * step;
    Gattribs a;
    if (colour_of(level + 0.5f * step, &a) < 0) a = line;
    GPH_line_attr(&a);
    for (int j = 0; j + 1 < ny; ++j) {
      for (int i = 0; i + 1 < nx; ++i) {
        // Corners anticlockwise from the north-west; edge e joins corner e
        // and corner e + 1.
        const int ci[4] = {i, i, i + 1, i + 1};
        const int cj[4] = {j, j + 1, j + 1, j};
        float v[4];
        bool ok = true;
        for (int e = 0; e < 4; ++e) {
          v[e] = g.at(ci[e], cj[e]);
          ok = ok && v[e] != ZOR_MISSING_F && p.good(ci[e], cj[e]);
        }
        if (!ok) continue;
        Gpt cross[4];
        int n = 0;
        for (int e = 0; e < 4; ++e) {
          const int f = (e + 1) % 4;
          const bool above_e = v[e] >= level, above_f = v[f] >= level;
          if (above_e == above_f) continue;
          const float t = (level - v[e]) / (v[f] - v[e]);
          const Gpt& a0 = p.at(ci[e], cj[e]);
          const Gpt& a1 = p.at(ci[f], cj[f]);
          cross[n++] = Gpt{a0.x + t * (a1.x - a0.x), a0.y + t * (a1.y - a0.y)};
        }
        for (int s = 0; s + 1 < n; s += 2) gpolyline(2, &cross[s]);
      }
    }
  }
}

bool line_type(int t) { return t == 12 || t == 13 || t == 14 || t == CONT_LINE_TYPE; }

}  // namespace

int CONT_draw_contour(const GRD_report* grid) {
  if (grid == nullptr || grid->domain.nx < 1 || grid->domain.ny < 1 ||
      grid->data.size() != static_cast<std::size_t>(grid->domain.nx) * static_cast<std::size_t>(grid->domain.ny))
    return -1;
  Domain plot;
  MAP_get_domain(&plot);
  if (plot.proj == ZOR_MISSING) return -1;
  const int type = CONT_get_type();
  if (!line_type(type)) fill_cells(*grid, plot);
  if (line_type(type) || type == 16) draw_lines(*grid, plot);
  return 0;
}
