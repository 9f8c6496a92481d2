// Mosaic overlays on the in-memory raster: a real watch bulletin's box drawn
// over a generated mosaic on the mosaic's own grid, and the pointer read-out
// (location at a known cell, the flash of that cell's level on the bar).
#include <unistd.h>

#include "frame_test.h"
#include "mosaic_gen.h"
#include "zor/mosaic.h"
#include "zor/watch.h"

namespace {

namespace fs = std::filesystem;

enum class Kind { Nowrad, Kavrad };

struct Format {
  const char* name;
  Kind kind;
};
constexpr Format kFormats[] = {{"nowrad", Kind::Nowrad}, {"nowrad-lambert", Kind::Nowrad}, {"kavrad", Kind::Kavrad}};

class MosaicOverlayTest : public zor::test::RadarFrameTest {
 protected:
  void SetUp() override {
    RadarFrameTest::SetUp();
    RES_put("variable", "watch");
    RES_put("watch_path", (std::string(ZOR_TEST_DATA_DIR) + "/watch").c_str());
    RES_put("color_watch", "red,yellow");
    RES_put("color_data", "white");
  }
  void TearDown() override {
    RadarFrameTest::TearDown();
    fs::remove(path_);
  }

  // A 35 dBZ block over Kansas and Oklahoma, dated inside watch 153, drawn
  // with its colour bar on its own grid.
  void draw(const Format& f, Capture& cap) {
    zor::mosaicgen::Pattern p;
    ASSERT_TRUE(p.parse("block:33:40:-101:-95:35", nullptr));
    zor::mosaicgen::Options o;
    o.date.year = 2024, o.date.month = 5, o.date.day = 21, o.date.hour = 12, o.date.min = 0;
    path_ = fs::temp_directory_path() / ("mosaic_overlay_" + std::to_string(::getpid()) + "." + f.name);
    std::string error;
    ASSERT_TRUE(zor::mosaicgen::write_file(f.name, p, o, path_.string(), &error)) << error;
    std::string name = path_.string();
    const bool now = f.kind == Kind::Nowrad;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int opened = now ? NOWRad_open_file(name.data()) : KAVRAD_open_file(name.data());
    Domain d = now ? zor::mosaic::nowrad_info().domain : zor::mosaic::kavrad_info().domain;
    zor::test::open_frame(d);
    Date date = now ? zor::mosaic::nowrad_info().date : zor::mosaic::kavrad_info().date;  // the header's
    WATCH_decode(&date);
    now ? NOWRad_plot_summary() : KAVRAD_plot_summary();
    GPH_trans(1);
    const int bar = CONT_draw_bar(1, "");
    GPH_trans(2);
    now ? NOWRad_close_file() : KAVRAD_close_file();
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    ASSERT_EQ(opened, 1);
    ASSERT_EQ(bar, 0);
    ASSERT_EQ(zor::gks::current_device()->capture(cap.img), 1);
  }

  static void callback(Kind k, const char* event, float x, float y, std::string* out) {
    std::string e = event;
    testing::internal::CaptureStdout();
    (k == Kind::Nowrad ? NOWRad_callback : KAVRAD_callback)(2, e.data(), x, y);
    *out = testing::internal::GetCapturedStdout();
  }

  fs::path path_;
};

TEST_F(MosaicOverlayTest, WatchBoxReadOutAndFlashOverEachFormat) {
  for (const Format& f : kFormats) {
    SCOPED_TRACE(f.name);
    Capture cap;
    draw(f, cap);
    ASSERT_EQ(zor::watch::count(), 1);
    const watch& w = zor::watch::table()[0];
    EXPECT_EQ(w.num, 153);
    // Each end point is its station moved by bearing and distance, in the
    // middle of a short side: red there, over or beside the 35 dBZ cells.
    for (int i = 0; i < 2; ++i) {
      float x = 0, y = 0, ex = 0, ey = 0;
      ASSERT_TRUE(MAP_tran(w.lat[i], w.lon[i], &x, &y));
      MAP_offset(x, y, w.ang[i], w.dist[i], &ex, &ey);
      EXPECT_TRUE(cap.count_near(xW_p(ex), yW_p(ey), rgb_of("red"))) << i << ": " << xW_p(ex) << "," << yW_p(ey);
    }
    // Away from the box, in the middle of Kansas, the data shows; "v-Alt"
    // there names the place, other keys print nothing.
    float x = 0, y = 0;
    ASSERT_TRUE(MAP_tran(38.5f, -98.0f, &x, &y));
    Gattribs a;
    ASSERT_GE(CONT_get_fill_attrib(35.0f, &a), 0);
    EXPECT_TRUE(near(cap.pixel(static_cast<int>(xW_p(x)), static_cast<int>(yW_p(y))), rgb_of_index(a.color)));
    std::string out;
    callback(f.kind, "v-Alt", x, y, &out);
    char want[128];
    std::snprintf(want, sizeof want, "Lat: %6.2f Lon: %7.2f XY: %6.2f %6.2f", 38.5, -98.0, x, y);
    EXPECT_EQ(out.rfind(want, 0), 0u) << out;
    callback(f.kind, "q-Alt", x, y, &out);
    EXPECT_EQ(out, "");

    // The bar box of that cell's level, found in normalised coordinates.
    float bx = -1, by = -1;
    for (int j = 0; j < 200 && bx < 0; ++j)
      for (int i = 0; i < 500 && bx < 0; ++i)
        if (CONT_get_bar_value(i / 500.0f, j / 1000.0f) == 35.0f) bx = i / 500.0f + 0.004f, by = j / 1000.0f + 0.004f;  // off the edges
    ASSERT_EQ(CONT_get_bar_value(bx, by), 35.0f) << "no 35 dBZ box on the bar";
    const float wx = xp_W(xNDC_p(bx)), wy = yp_W(yNDC_p(by));
    // The flash blinks the level's colour (4 s) and puts it back, once is
    // enough; on the data cells, away from the bar, it does nothing.
    EXPECT_EQ(CONT_flash_value(const_cast<char*>("f-Alt"), x, y), -1);
    if (f.kind == Kind::Kavrad) {
      float r0 = 0, g0 = 0, b0 = 0, r = 0, g = 0, b = 0;
      ASSERT_GE(gget_color_rgb(a.color, &r0, &g0, &b0), 0);
      EXPECT_EQ(CONT_flash_value(const_cast<char*>("f-Alt"), wx, wy), 0);
      ASSERT_GE(gget_color_rgb(a.color, &r, &g, &b), 0);
      EXPECT_EQ(std::tie(r, g, b), std::tie(r0, g0, b0));
    }
    restart();
  }
}

}  // namespace
