// A whole batch plot scene dumped to PNG and read back: coastline, borders,
// lat/lon lines and a range ring where geography puts them (watch boxes on
// the same batch plot are read back in watch_test).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "../common/batch_plot.h"
#include "../common/capture.h"
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

namespace {

// KTLX, Oklahoma City.
constexpr float kRadarLat = 35.333f;
constexpr float kRadarLon = -97.278f;

using zor::test::rgb_of;

// The PNG read back, with look-ups around points of the plot's world
// coordinates (taken while the map's transformation is current).
struct Picture {
  zor::test::Raster raster;
  std::uint32_t at(int x, int y) const {
    if (x < 0 || y < 0 || x >= raster.width || y >= raster.height) return 0xFFFFFFFFu;
    const unsigned char* p = raster.at(x, y);
    return static_cast<std::uint32_t>(p[0]) << 16 | static_cast<std::uint32_t>(p[1]) << 8 | p[2];
  }
  int near_px(int px, int py, std::uint32_t c, int r) const {
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

// A place and whether the colour is drawn within r pixels of it.
struct Spot {
  Point p;
  const char* colour;
  int r;
  bool drawn;
};

std::ostream& operator<<(std::ostream& o, const Spot& s) { return o << s.colour << " at " << s.p.x << "," << s.p.y; }

class PlotSceneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::reset_all();
    for (const auto& [name, value] :
         {std::pair<const char*, std::string>{"color_map", "white"}, {"color_cmap", "white"},
          {"color_line", "magenta:s1"}, {"image_path", zor::test::scratch_dir().path().string()}})
      RES_put(name, value.c_str());
    batch_.emplace();
  }
  void TearDown() override {
    batch_.reset();
    zor::reset_all();
  }

  // Opens the plot on the domain as a radar plot does before its first frame.
  void open(Domain d, float latlon_spacing) {
    domain_ = d;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    ASSERT_EQ(PLT_open(DOM_aspect(&domain_)), 0);
    ASSERT_TRUE(zor::gks::current_device()->headless());
    MAP_setup(&domain_);
    MAP_fill_cont(0);
    MAP_latlon(latlon_spacing, latlon_spacing, 0, 0);
    testing::internal::GetCapturedStderr();
    testing::internal::GetCapturedStdout();
  }

  // One frame in the radar plots' order: map below, bar, map above, range
  // ring, labels; then the PNG dump, read back.
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
  const Spot spots[] = {
      {ll_px(30.0f, -83.0f), "white", 1, false},   // inland Florida
      {ll_px(41.0f, -106.0f), "white", 1, true},   // Colorado-Wyoming: a straight state border
      {ll_px(49.0f, -105.0f), "white", 1, true},   // a straight national border
      {ll_px(38.5f, -98.5f), "white", 3, false},   // Kansas: no line nearby
      {ll_px(40.0f, -95.0f), "magenta", 1, true},  // 40N between meridians
      {ll_px(35.0f, -100.0f), "magenta", 1, true}, // 100W between circles
      {ll_px(38.5f, -98.5f), "magenta", 3, false},
  };

  const Picture pic = draw_and_dump("scene_us.png");
  int on_coast = 0;
  for (const Point& p : coast) on_coast += pic.near_px(p.x, p.y, rgb_of("white"), 0);
  EXPECT_GT(on_coast, 0);
  for (const Spot& s : spots) EXPECT_EQ(pic.near_px(s.p.x, s.p.y, rgb_of(s.colour), s.r) > 0, s.drawn) << s;
}

TEST_F(PlotSceneTest, RadarCentredDomainOf250Km) {
  // Lines every 1.5 degrees keep clear of the straight borders at 37N and 100W.
  open(zor::test::radar_domain(kRadarLat, kRadarLon, 250), 1.5f);
  float x0 = 0, y0 = 0;
  MAP_tran(kRadarLat, kRadarLon, &x0, &y0);
  std::vector<Spot> spots = {
      {ll_px(37.0f, -97.5f), "white", 1, true},   // Oklahoma-Kansas, 37N
      {ll_px(35.7f, -100.0f), "white", 1, true},  // Texas panhandle's east edge
      {ll_px(35.6f, -97.8f), "white", 2, false},  // middle of Oklahoma
      {ll_px(36.0f, -96.5f), "magenta", 1, true},
      {world_px(x0, y0), "cyan", 3, false},        // the site, inside its ring
  };
  for (float dir : {0.0f, 90.0f, 180.0f, 270.0f}) {
    float x = 0, y = 0;
    MAP_offset(x0, y0, dir, 230.0f, &x, &y);
    spots.push_back({world_px(x, y), "cyan", 1, true});
  }

  const Picture pic = draw_and_dump("scene_ktlx.png");
  for (const Spot& s : spots) EXPECT_EQ(pic.near_px(s.p.x, s.p.y, rgb_of(s.colour), s.r) > 0, s.drawn) << s;
}

}  // namespace
