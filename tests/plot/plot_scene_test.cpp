// A whole batch plot scene dumped to PNG and read back: coastline, borders,
// lat/lon lines, a range ring and a watch box where geography puts them (the
// bar and labels are checked on their own in the batch plot test).
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "../common/batch_plot.h"
#include "../gks/print_test_util.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/dom.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/plt.h"
#include "zor/res.h"
#include "zor/reset.h"
#include "zor/watch.h"

namespace {

// KTLX, Oklahoma City.
constexpr float kRadarLat = 35.333f;
constexpr float kRadarLon = -97.278f;

struct Rgb {
  int r = 0, g = 0, b = 0;
  bool operator==(const Rgb&) const = default;
};

// A named colour as the raster devices store it (16-bit X colour values
// cut to 8 bits, which rounds the fraction).
Rgb rgb_of(const char* name) {
  float r = 0, g = 0, b = 0;
  CLR_get_rgb(CLR_get_ind(name), &r, &g, &b);
  auto c = [](float v) { return static_cast<int>(v * 255.0f + 0.5f); };
  return {c(r), c(g), c(b)};
}

// The PNG read back, with look-ups around points of the plot's world
// coordinates (taken while the map's transformation is current).
struct Picture {
  zor::test::Raster raster;
  Rgb at(int x, int y) const {
    if (x < 0 || y < 0 || x >= raster.width || y >= raster.height) return {-1, -1, -1};
    const unsigned char* p = raster.at(x, y);
    return {p[0], p[1], p[2]};
  }
  int near_px(int px, int py, Rgb c, int r) const {
    int n = 0;
    for (int j = py - r; j <= py + r; ++j)
      for (int i = px - r; i <= px + r; ++i) n += at(i, j) == c;
    return n;
  }
};

struct Point {
  int x = 0, y = 0;
};

Point world_px(float x, float y) {
  return {static_cast<int>(std::lround(xW_p(x))), static_cast<int>(std::lround(yW_p(y)))};
}

Point ll_px(float lat, float lon) {
  float x = 0, y = 0;
  EXPECT_TRUE(MAP_tran(lat, lon, &x, &y)) << lat << "," << lon;
  return world_px(x, y);
}

// The public end points of the one decoded watch: each station moved by
// its bearing and distance.
struct Watch_end_points {
  Point pts[2];
};

Watch_end_points watch_end_points() {
  Watch_end_points e;
  const watch& w = zor::watch::table()[0];
  for (int i = 0; i < 2; ++i) {
    float x = 0, y = 0, xe = 0, ye = 0;
    EXPECT_TRUE(MAP_tran(w.lat[i], w.lon[i], &x, &y));
    MAP_offset(x, y, w.ang[i], w.dist[i], &xe, &ye);
    e.pts[i] = world_px(xe, ye);
  }
  return e;
}

class PlotSceneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::reset_all();
    RES_put("watch_path", ZOR_TEST_DATA_DIR "/watch");
    RES_put("color_map", "white");
    RES_put("color_cmap", "white");
    RES_put("color_line", "magenta:s1");
    RES_put("color_watch", "red,red");
    RES_put("image_path", zor::test::scratch_dir().path().c_str());
    batch_.emplace();
  }
  void TearDown() override {
    batch_.reset();
    zor::reset_all();
  }

  // Opens the plot on the domain and makes its projection current, as a
  // radar plot does before its first frame; the watches of the plot time
  // (21 May 2024 12 UTC: severe thunderstorm watch 153, Dalhart to
  // Chandler) are decoded.
  void open(Domain d, float latlon_spacing) {
    domain_ = d;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    ASSERT_EQ(PLT_open(DOM_aspect(&domain_)), 0);
    ASSERT_TRUE(zor::gks::current_device()->headless());
    MAP_setup(&domain_);
    MAP_fill_cont(0);
    MAP_latlon(latlon_spacing, latlon_spacing, 0, 0);
    Date when;
    std::tie(when.year, when.month, when.day, when.hour, when.min, when.sec) = std::tuple(2024, 5, 21, 12, 0, 0);
    EXPECT_EQ(WATCH_decode(&when), 0);
    testing::internal::GetCapturedStderr();
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(zor::watch::count(), 1);
  }

  // One frame in the radar plots' order: map below, bar, map above, range
  // ring, watch boxes, labels; then the PNG dump, read back.
  Picture draw_and_dump(const std::string& name) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(MAP_draw(1), 0);
    EXPECT_EQ(CONT_set_fill_colors("5:blue,10:green,15:yellow,20:orange", 1), 0);
    CONT_set_bar(1);
    GPH_trans(1);
    EXPECT_EQ(CONT_draw_bar(1, "dBZ"), 0);
    GPH_trans(2);
    EXPECT_EQ(MAP_draw(6), 0);
    float x0 = 0, y0 = 0;
    MAP_tran(kRadarLat, kRadarLon, &x0, &y0);
    GPH_line_attr(nullptr);
    gset_line_colr_ind(CLR_get_ind("cyan"));
    MAP_draw_circle(x0, y0, 230.0f);
    EXPECT_EQ(WATCH_plot(), 0);
    PLT_label_up_left("KTLX scene");
    PLT_label_up_right("21 May 2024 12:00");
    EXPECT_EQ(PLT_labels(), 0);
    GPH_trans(2);
    PLT_set_dump(PLT_DUMP_PNG, name.c_str());
    EXPECT_EQ(PLT_dump(0), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "");
    const std::string path = zor::test::scratch(name);
    EXPECT_NE(out.find("Wrote PNG file: " + path), std::string::npos) << out;
    Picture pic;
    EXPECT_TRUE(zor::test::read_png(path, pic.raster)) << path;
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    EXPECT_EQ(pic.raster.width, w);
    EXPECT_EQ(pic.raster.height, h);
    return pic;
  }

  Domain domain_;
  std::optional<zor::test::BatchPlot> batch_;
};

TEST_F(PlotSceneTest, UsDomain) {
  Domain us;
  ASSERT_EQ(DOM_get_def_region("us", &us), 1);
  open(us, 10.0f);
  // Places in the map's coordinates, taken while its transformation holds.
  std::vector<Point> coast;  // 30N crosses the Florida Atlantic coast here
  for (float lon = -81.6f; lon <= -81.0f; lon += 0.05f) coast.push_back(ll_px(30.0f, lon));
  const Point inland_florida = ll_px(30.0f, -83.0f);
  const Point colorado_wyoming = ll_px(41.0f, -106.0f);  // straight state border
  const Point canada = ll_px(49.0f, -105.0f);            // straight national border
  const Point kansas = ll_px(38.5f, -98.5f);             // no line nearby
  const Point lat40 = ll_px(40.0f, -95.0f);              // between meridians
  const Point lon100 = ll_px(35.0f, -100.0f);            // between circles
  const Watch_end_points ends = watch_end_points();

  const Picture pic = draw_and_dump("scene_us.png");
  const Rgb white = rgb_of("white"), magenta = rgb_of("magenta"), red = rgb_of("red");
  int on_coast = 0;
  for (const Point& p : coast) on_coast += pic.near_px(p.x, p.y, white, 0);
  EXPECT_GT(on_coast, 0);
  EXPECT_EQ(pic.near_px(inland_florida.x, inland_florida.y, white, 1), 0);
  EXPECT_GT(pic.near_px(colorado_wyoming.x, colorado_wyoming.y, white, 1), 0);
  EXPECT_GT(pic.near_px(canada.x, canada.y, white, 1), 0);
  EXPECT_EQ(pic.near_px(kansas.x, kansas.y, white, 3), 0);
  EXPECT_GT(pic.near_px(lat40.x, lat40.y, magenta, 1), 0);
  EXPECT_GT(pic.near_px(lon100.x, lon100.y, magenta, 1), 0);
  EXPECT_EQ(pic.near_px(kansas.x, kansas.y, magenta, 3), 0);
  for (const Point& p : ends.pts) EXPECT_GT(pic.near_px(p.x, p.y, red, 1), 0) << p.x << "," << p.y;
}

TEST_F(PlotSceneTest, RadarCentredDomainOf250Km) {
  // Lines every 1.5 degrees keep clear of the straight borders at 37N and 100W.
  open(zor::test::radar_domain(kRadarLat, kRadarLon, 250), 1.5f);
  const Point kansas_border = ll_px(37.0f, -97.5f);  // Oklahoma-Kansas, 37N
  const Point panhandle = ll_px(35.7f, -100.0f);     // Texas panhandle's east edge
  const Point middle = ll_px(35.6f, -97.8f);         // middle of Oklahoma
  const Point lat36 = ll_px(36.0f, -96.5f);
  float x0 = 0, y0 = 0;
  MAP_tran(kRadarLat, kRadarLon, &x0, &y0);
  std::vector<Point> ring;
  for (float dir : {0.0f, 90.0f, 180.0f, 270.0f}) {
    float x = 0, y = 0;
    MAP_offset(x0, y0, dir, 230.0f, &x, &y);
    ring.push_back(world_px(x, y));
  }
  const Point site = world_px(x0, y0);
  const Watch_end_points ends = watch_end_points();

  const Picture pic = draw_and_dump("scene_ktlx.png");
  const Rgb white = rgb_of("white"), magenta = rgb_of("magenta"), cyan = rgb_of("cyan"), red = rgb_of("red");
  EXPECT_GT(pic.near_px(kansas_border.x, kansas_border.y, white, 1), 0);
  EXPECT_GT(pic.near_px(panhandle.x, panhandle.y, white, 1), 0);
  EXPECT_EQ(pic.near_px(middle.x, middle.y, white, 2), 0);
  EXPECT_GT(pic.near_px(lat36.x, lat36.y, magenta, 1), 0);
  for (const Point& p : ring) EXPECT_GT(pic.near_px(p.x, p.y, cyan, 1), 0) << p.x << "," << p.y;
  EXPECT_EQ(pic.near_px(site.x, site.y, cyan, 3), 0);
  // Chandler's end of the watch lies 100 km north-east of the site: inside.
  EXPECT_GT(pic.near_px(ends.pts[1].x, ends.pts[1].y, red, 1), 0);
}

}  // namespace
