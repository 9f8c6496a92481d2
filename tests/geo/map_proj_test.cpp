// Projections against values worked out by hand (earth radius 63.7122 units),
// round trips, and the grid, limit and direction helpers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "../common/expect.h"
#include "zor/map.h"

namespace {

Domain make(int proj, float plat, float plon, float clat, float clon, int nx = 21, int ny = 21, float dx = 1.0f,
            float dy = 1.0f, float p0 = -9999.0f, float p1 = -9999.0f, int ellipse = 0) {
  return {proj, plat, plon, {p0, p1, -9999, -9999, -9999}, clat, clon, dx, dy, nx, ny, ellipse};
}

// Two values each within `tol` of theirs.
::testing::AssertionResult near2(float a, float b, float want_a, float want_b, double tol) {
  if (std::fabs(a - want_a) <= tol && std::fabs(b - want_b) <= tol) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "(" << a << ", " << b << "), not (" << want_a << ", " << want_b << ")";
}

class MapProj : public ::testing::Test {
 protected:
  void SetUp() override { zor::map::reset(); }
  void TearDown() override { zor::map::reset(); }
};

struct Known {
  const char* what;
  Domain dom;
  float lat, lon, x, y, tol;
};

TEST_F(MapProj, ForwardAndInverseMatchHandComputedValues) {
  Domain south = make(1, -90, 0, -70, 0);
  Domain sat_e = make(9, 0, -75, 0, -75);
  const std::vector<Known> table = {
      {"pstereo pole", make(1, 90, -105, 40, -100), 90, 33, 0, 0, 1e-4f},
      {"pstereo true latitude", make(1, 90, -105, 40, -100), 60, -105, 0, -31.8561f, 1e-3f},
      {"pstereo 50N 90W", make(1, 90, -105, 40, -100), 50, -90, 11.19959f, -41.79745f, 1e-3f},
      {"pstereo south", south, -50, 30, 21.63595f, 37.47457f, 1e-3f},
      {"latlon", make(2, 0, 170, 0, 170), 10, -170, 20, 10, 1e-4f},
      {"mercator lon", make(3, 0, 0, 0, 0), 0, 10, 11.11988f, 0, 1e-3f},
      {"mercator lat", make(3, 0, 0, 0, 0), 45, 0, 0, 56.15425f, 1e-3f},
      {"lambert 30/60", make(4, 40, -100, 40, -100), 40, -90, 8.24366f, -65.66385f, 2e-3f},
      {"orthographic", make(5, 40, -100, 40, -100), 50, -90, 7.11149f, 11.46343f, 1e-3f},
      {"gnomonic", make(6, 0, 0, 0, 0), 0, 45, 63.7122f, 0, 1e-3f},
      {"mollweide", make(7, 0, 0, 0, 0), 45, 90, 51.34613f, 37.72028f, 1e-3f},
      {"lambert azimuthal", make(8, 45, 0, 45, 0), 30, 20, 19.21562f, -14.39484f, 1e-3f},
      {"satellite x", make(9, 0, -75, 0, -75), 0, -65, 12.99786f, 0, 1e-3f},
      {"satellite y", make(9, 0, -75, 0, -75), 30, -75, 0, 36.65289f, 1e-3f},
      {"satellite nadir", sat_e, 0, -75, 0, 0, 1e-4f},
  };
  for (const Known& k : table) {
    SCOPED_TRACE(k.what);
    ASSERT_EQ(MAP_domain(&k.dom), 0);
    float x = 0, y = 0;
    EXPECT_EQ(MAP_tran(k.lat, k.lon, &x, &y), 1);
    EXPECT_TRUE(near2(x, y, k.x, k.y, k.tol));
    float lat = 0, lon = 0;
    EXPECT_EQ(MAP_untran(k.x, k.y, &lat, &lon), 1);
    EXPECT_NEAR(lat, k.lat, 1e-3);
    if (std::fabs(k.lat) < 89.99f) { EXPECT_NEAR(lon, k.lon, 1e-3); }
  }
}

struct Trip {
  const char* what;
  Domain dom;
  std::vector<EarthPoint> pts;
};

TEST_F(MapProj, RoundTripsHoldInsideEachValidArea) {
  const std::vector<EarthPoint> america = {{40, -100}, {25, -80}, {55, -130}, {33.3f, -97.2f}, {48, -70}};
  const float M = -9999.0f;
  const Domain sat_ell = make(9, 0, -75, 0, -75, 21, 21, 1, 1, M, M, 1);
  const Domain sat_ang = make(9, 0, -75, 0, -75, 21, 21, 1, 1, M, 1);
  const Domain sat_ell_ang = make(9, 0, -75, 0, -75, 21, 21, 1, 1, M, 1, 1);
  const Domain lamb_south = make(4, -35, 145, -35, 145, 21, 21, 1, 1, -20, -50);
  const Domain lamb_tangent = make(4, 45, 10, 45, 10, 21, 21, 1, 1, 45, 45);
  const std::vector<Trip> trips = {
      {"pstereo north", make(1, 90, -105, 40, -100), america},
      {"pstereo south", make(1, -90, 0, -70, 0), {{-60, 0}, {-75, 120}, {-40, -170}, {-89.5f, 45}}},
      {"latlon", make(2, 0, 170, 0, 170), {{10, -170}, {-45, 175}, {80, 0}}},
      {"mercator", make(3, 0, -100, 0, -100), {{40, -100}, {-60, 170}, {85, -10}}},
      {"lambert", make(4, 40, -100, 40, -100), america},
      {"lambert tangent", lamb_tangent, {{45, 10}, {60, 30}, {30, -10}}},
      {"lambert south", lamb_south, {{-35, 145}, {-20, 120}, {-50, 170}}},
      {"orthographic", make(5, 40, -100, 40, -100), america}, {"gnomonic", make(6, 40, -100, 40, -100), america},
      {"mollweide", make(7, 0, 0, 0, 0), {{45, 90}, {-30, -150}, {80, 170}, {0, 0}}},
      {"lambert azimuthal", make(8, 45, -100, 45, -100), america},
      {"lambert azimuthal pole", make(8, 90, -100, 60, -100), {{60, -100}, {30, 10}, {70, 170}}},
      {"satellite", make(9, 0, -75, 0, -75), america}, {"satellite scan angles", sat_ang, america},
      {"satellite ellipsoid", sat_ell, america}, {"satellite ellipsoid angles", sat_ell_ang, america},
  };
  for (const Trip& t : trips) {
    SCOPED_TRACE(t.what);
    ASSERT_EQ(MAP_domain(&t.dom), 0);
    for (const EarthPoint& p : t.pts) {
      Gpt g;
      ASSERT_EQ(MAP_tran_ep(&p, &g), 1) << p.lat << " " << p.lon;
      EarthPoint back;
      ASSERT_EQ(MAP_tran_pe(&g, &back), 1) << p.lat << " " << p.lon;
      EXPECT_TRUE(near2(back.lat, back.lon, p.lat, p.lon, 1e-4));
    }
  }
}

TEST_F(MapProj, DiagramAndPixelCodesRoundTrip) {
  struct Case {
    const char* what;
    Domain dom;
    float a, b;
  };
  const std::vector<Case> cases = {
      {"pixel", make(99, 0, 0, 0, 0, 1, 1, 640, 480), 100, 200},
      {"scaled 20", make(20, 0, 0, 0, 0, 100, 50, 10, 5), 3.5f, 2.5f},
      {"scaled 25", make(25, 0, 0, 0, 0, 100, 50, 10, 5), 3.5f, 2.5f},
      {"log pressure", make(22, 0, 0, -40, 1000, 1, 1, 80, -900), 10, 500},
      {"polar diagram", make(23, 0, 0, 0, 0, 1, 1, 360, 100), 225, 40}, {"skew-T", make(40, 0, 0, -40, 1050, 1, 1, 80, -950), -10, 700},
      {"stuve", make(41, 0, 0, -40, 1000, 1, 1, 80, -900), 5, 850},
      {"emagram", make(42, 0, 0, -40, 1000, 1, 1, 80, -900), 5, 850}, {"tephigram", make(43, 0, 0, -40, 1050, 1, 1, 80, -950), -20, 500},
      {"rotated tephigram", make(44, 0, 0, -40, 1000, 1, 1, 80, -900), -20, 500},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_EQ(MAP_domain(&c.dom), 0);
    float x = 0, y = 0, a = 0, b = 0;
    ASSERT_EQ(MAP_tran(c.a, c.b, &x, &y), 1);
    ASSERT_EQ(MAP_untran(x, y, &a, &b), 1);
    EXPECT_NEAR(a, c.a, 1e-3 * std::max(1.0f, std::fabs(c.a)));
    EXPECT_NEAR(b, c.b, 1e-3 * std::max(1.0f, std::fabs(c.b)));
  }
  // The pixel domain's rectangle is its first column and row plus its size.
  Domain px = make(99, 0, 0, 10, 20, 1, 1, 640, 480);
  MAP_domain(&px);
  MAP_limits lim;
  MAP_get_limits(&lim);
  EXPECT_TRUE(zor::test::floats_eq({lim.x_min, lim.x_max, lim.y_min, lim.y_max}, {10, 650, -500, -20}));
}

TEST_F(MapProj, PointsThatCannotBeDrawn) {
  const Domain ortho = make(5, 40, -100, 40, -100), sat = make(9, 0, -75, 0, -75), laea = make(8, 45, 0, 45, 0);
  const struct {
    Domain dom;
    bool forward;
    float a, b;
  } cases[] = {{ortho, true, -40, 80}, {ortho, false, 70, 0},  {sat, true, 20, 100},
               {sat, false, 200, 200},  // line of sight misses the earth
               {laea, false, 130, 0},   {laea, true, -45, 180},  // antipode
               {make(7, 0, 0, 0, 0), false, 0, 64}};
  float x = 0, y = 0;
  for (const auto& c : cases) {
    MAP_domain(&c.dom);
    EXPECT_EQ(c.forward ? MAP_tran(c.a, c.b, &x, &y) : MAP_untran(c.a, c.b, &x, &y), 0) << c.a << "," << c.b;
    EXPECT_TRUE(zor::test::floats_eq({x, y}, {-9999, -9999})) << c.a << "," << c.b;
  }
  // Points far into the other hemisphere are drawn as if at 75 degrees.
  Domain ps = make(1, 90, -105, 40, -100);
  MAP_domain(&ps);
  float x75 = 0, y75 = 0;
  MAP_tran(-80, 0, &x, &y);
  MAP_tran(-75, 0, &x75, &y75);
  EXPECT_TRUE(zor::test::floats_eq({x, y}, {x75, y75}));
}

TEST_F(MapProj, DegenerateInputsReturnCleanly) {
  Domain ps = make(1, 90, -105, 60, -105);
  MAP_domain(&ps);
  float x = 0, y = 0;
  EXPECT_EQ(MAP_offset(0, 0, 180, 100, &x, &y), 1);  // no east at the pole: no division by 0
  EXPECT_TRUE(near2(x, y, 0, -0.9331f, 1e-3));  // K tan(0.4497 deg)
  EXPECT_EQ(MAP_tran(10, 1e30f, &x, &y), 1);  // absurd longitude: no hang
  EXPECT_EQ(MAP_untran(-9999, -9999, &x, &y), 1);

  Domain lc = make(4, 40, -100, 40, -100, 21, 21, 1, 1, 0, 0);  // no cone: falls back to 30/60
  MAP_domain(&lc);
  EXPECT_EQ(MAP_tran(45, -90, &x, &y), 1);
  EXPECT_TRUE(std::isfinite(x) && std::isfinite(y));

  Domain big = make(2, 0, 0, 0, 0, 100000, 100000, 0.001f, 0.001f);
  MAP_domain(&big);
  MAP_set_plot_limit(1000);
  EXPECT_EQ(MAP_plot_grid_init(), 0);
  EXPECT_EQ(MAP_plot_grid(0, 0), 1);
}

TEST_F(MapProj, NullDomainMakesTheIdentityAndACopyFillsAMissingPole) {
  EXPECT_EQ(MAP_domain(nullptr), -1);
  EXPECT_EQ(MAP_get_proj(), -9999);
  float x = 0, y = 0;
  EXPECT_EQ(MAP_tran(12.5f, -99, &x, &y), 1);
  EXPECT_TRUE(zor::test::floats_eq({x, y}, {12.5f, -99}));
  EXPECT_EQ(MAP_in_domain(1e6f, -1e6f), 1);
  Domain d = make(1, -9999, -9999, 45, -95);
  MAP_domain(&d);
  Domain got;
  MAP_get_domain(&got);
  EXPECT_TRUE(zor::test::floats_eq({got.plat, got.plon}, {45, -95}));
  x = y = 1;
  MAP_tran_center(&x, &y);
  EXPECT_NEAR(x, 0, 1e-5);
}

TEST_F(MapProj, LimitsAndGridConversions) {
  Domain d = make(1, 90, -105, 40, -100, 25, 17, 2.3f, 2.3f);
  MAP_domain(&d);
  float cx = 0, cy = 0;
  MAP_tran_center(&cx, &cy);
  MAP_limits lim;
  MAP_get_limits(&lim);
  EXPECT_TRUE(near2(lim.x_min, lim.x_max, cx - 12 * 2.3f, cx + 12 * 2.3f, 1e-4));
  EXPECT_TRUE(near2(lim.y_min, lim.y_max, cy - 8 * 2.3f, cy + 8 * 2.3f, 1e-4));

  float x = 0, y = 0, gx = 0, gy = 0;
  EXPECT_EQ(MAP_grid_tran(0, 0, &x, &y), 0);
  EXPECT_TRUE(zor::test::floats_eq({x, y}, {lim.x_min, lim.y_max}));  // the upper left
  MAP_grid_untran(cx, cy, &gx, &gy);
  EXPECT_TRUE(near2(gx, gy, 12, 8, 1e-4));
  EXPECT_EQ((std::pair{MAP_grid_tran(-9999, 3, &x, &y), x}), std::pair(-1, -9999.0f));
  EXPECT_EQ((std::pair{MAP_grid_untran(-9999, 3, &gx, &gy), gy}), std::pair(-1, -9999.0f));

  EXPECT_EQ(MAP_in_domain(lim.x_max, lim.y_min), 1);  // edges included
  EXPECT_EQ(MAP_in_domain(lim.x_max + 0.01f, cy), 0);
  EXPECT_EQ(MAP_in_grid_domain(lim.x_max + 2.5f * 2.3f, cy), 1);
  EXPECT_EQ(MAP_in_grid_domain(lim.x_max + 3.5f * 2.3f, cy), 0);
  EXPECT_EQ(MAP_in_grid_domain(cx, lim.y_min - 2.5f * 2.3f), 1);
  EXPECT_EQ(MAP_in_grid_domain(cx, lim.y_min - 3.5f * 2.3f), 0);
}

TEST_F(MapProj, OffsetFactorAndDirections) {
  Domain ll = make(2, 0, 0, 40, -100);
  MAP_domain(&ll);
  float x = 0, y = 0, xf = 0, yf = 0;
  MAP_tran(40, -100, &x, &y);
  MAP_offset(x, y, 0, 111.195f, &xf, &yf);
  EXPECT_TRUE(near2(xf, yf, -100, 41, 1e-4));
  MAP_offset(x, y, 90, 111.195f, &xf, &yf);
  EXPECT_NEAR(xf, -100 + 1 / std::cos(40 * 0.0174532925), 1e-4);
  EXPECT_FLOAT_EQ(MAP_factor(40), 1.0f);
  EXPECT_FLOAT_EQ(MAP_dir_adj(33, x, y), 33.0f);

  Domain ps = make(1, 90, -105, 40, -100);
  MAP_domain(&ps);
  EXPECT_NEAR(MAP_factor(60), 1.0, 1e-4);
  EXPECT_NEAR(MAP_factor(90), 1.866 / 2, 1e-3);
  // Due east of the pole on the plot, north points left (west on the plot).
  MAP_tran(50, -15, &x, &y);
  EXPECT_NEAR(MAP_dir_adj(0, x, y), -90, 1e-3);
  EXPECT_NEAR(MAP_undir_adj(-90, x, y), 0, 1e-3);
  EXPECT_NEAR(MAP_dir_adj(10, 0, 0), 115, 1e-4);  // at the pole: dir - plon
  // A point 100 km north lies at bearing 0 seen from the start point.
  MAP_tran(45, -80, &x, &y);
  MAP_offset(x, y, 0, 100, &xf, &yf);
  EXPECT_NEAR(MAP_dir(x, y, xf, yf), 0, 1e-2);
  MAP_offset(x, y, 90, 100, &xf, &yf);
  EXPECT_NEAR(MAP_dir(x, y, xf, yf), 90, 1.0);  // chord against the parallel

  Domain lc = make(4, 40, -100, 40, -100);
  lc.param[0] = 30, lc.param[1] = 60, lc.param[2] = 0.75f;
  MAP_domain(&lc);
  EXPECT_FLOAT_EQ(MAP_factor(40), 0.75f);
  MAP_tran(40, -100, &x, &y);
  EXPECT_NEAR(MAP_dir_adj(45, x, y), 45, 1e-3);  // on the central meridian
  MAP_tran(40, -80, &x, &y);
  float adj = MAP_dir_adj(0, x, y);
  EXPECT_LT(adj, 0);  // east of the centre, north leans left
  EXPECT_NEAR(MAP_undir_adj(adj, x, y), 0, 1e-3);

  Domain sat = make(9, 0, -75, 0, -75);
  MAP_domain(&sat);
  MAP_tran(0, -75, &x, &y);
  EXPECT_NEAR(MAP_dir_adj(0, x, y), 0, 1e-2);
  MAP_tran(40, -60, &x, &y);
  adj = MAP_dir_adj(30, x, y);
  EXPECT_NEAR(MAP_undir_adj(adj, x, y), 30, 0.1);
  EXPECT_EQ(MAP_dir_adj(0, 500, 500), -9999.0f);
}

TEST_F(MapProj, LazyConstantsFollowProjectionChanges) {
  Domain lc = make(4, 40, -100, 40, -100);
  MAP_domain(&lc);
  float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
  MAP_tran(50, -80, &x1, &y1);
  const float tangent[2] = {45, 45};
  EXPECT_EQ(MAP_proj_coord(tangent), 0);
  MAP_tran(50, -80, &x2, &y2);
  EXPECT_GT(std::fabs(x2 - x1), 0.01);
  MAP_coord(40, -80);  // central meridian through the point
  MAP_tran(50, -80, &x2, &y2);
  EXPECT_NEAR(x2, 0, 1e-4);
  EXPECT_EQ(MAP_proj(2), 0);
  EXPECT_EQ(MAP_get_proj(), 2);
  MAP_tran(50, -70, &x2, &y2);
  EXPECT_NEAR(x2, 10, 1e-4);
}

TEST_F(MapProj, DomainTranConvertsAndRestores) {
  Domain ps = make(1, 90, -105, 40, -100);
  Domain ll = make(2, 0, -100, 40, -100);
  Domain cur = make(3, 0, 0, 0, 0);
  MAP_domain(&cur);
  float x1 = 0, y1 = 0;
  MAP_domain(&ps);
  MAP_tran(45, -90, &x1, &y1);
  MAP_domain(&cur);
  float x2 = 0, y2 = 0;
  EXPECT_EQ(MAP_domain_tran(&ps, &ll, x1, y1, &x2, &y2), 1);
  EXPECT_TRUE(near2(x2, y2, 10, 45, 1e-3));
  EXPECT_EQ(MAP_get_proj(), 3);  // the current projection is back
  EXPECT_EQ(MAP_domain_tran(&ps, &ps, 1.5f, 2.5f, &x2, &y2), 1);
  EXPECT_EQ(std::pair(x2, y2), std::pair(1.5f, 2.5f));
}

TEST_F(MapProj, CrowdingGridAcceptsOnePointPerCell) {
  Domain d = make(2, 0, 0, 0, 0, 11, 11, 1, 1);
  MAP_domain(&d);
  MAP_set_plot_limit(1);
  MAP_plot_grid_init();
  EXPECT_EQ(MAP_plot_grid(0.1f, 0.1f), 1);
  EXPECT_EQ(MAP_plot_grid(-0.2f, 0.2f), 0);  // same cell
  EXPECT_EQ(MAP_plot_grid(1.0f, 0.0f), 1);
  EXPECT_EQ(MAP_plot_grid(40.0f, 0.0f), 0);  // outside the grid
  MAP_set_plot_limit(-4);                    // coarser: 4 grid cells per cell
  MAP_plot_grid_init();
  EXPECT_EQ(MAP_plot_grid(0.1f, 0.1f), 1);
  EXPECT_EQ(MAP_plot_grid(1.0f, 0.0f), 0);
}

}  // namespace
