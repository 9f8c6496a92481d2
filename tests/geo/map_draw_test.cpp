// The map background drawn by a batch plot on the memory raster: map files,
// lists, damaged files, latitude/longitude lines and rings where they belong.
#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "../common/batch_plot.h"
#include "../common/capture.h"
#include "../gks/print_test_util.h"
#include "device.h"
#include "gks_kernel.h"
#include "map_draw_internal.h"
#include "zor/clr.h"
#include "zor/data_dir.h"
#include "zor/dom.h"
#include "zor/file_io.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/img.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/plt.h"
#include "zor/res.h"

using namespace zor::gks;

namespace {

const std::string kMaps = std::string(ZOR_TEST_DATA_DIR) + "/maps";

// The pixel value a named colour has on the open workstation.
std::uint32_t rgb_of(const char* name) { return zor::test::rgb_of_index(CLR_get_ind(name)); }

// The open workstation's picture, taken at construction.
struct Capture : zor::test::Capture {
  Capture() { EXPECT_EQ(gget_image(&img), 1); }
  // Pixels of `rgb` within r pixels of the projection point (x, y).
  int near(float x, float y, std::uint32_t rgb, int r = 1) const {
    return count_near(static_cast<int>(std::lround(xW_p(x))), static_cast<int>(std::lround(yW_p(y))), rgb, r);
  }
  int near_ll(float lat, float lon, std::uint32_t rgb, int r = 1) const {
    float x = 0, y = 0;
    if (MAP_tran(lat, lon, &x, &y) == 0) return -1;
    return near(x, y, rgb, r);
  }
};

using zor::test::slurp;

std::string write_bytes(const std::string& name, const std::string& data) {
  const std::string path = zor::test::scratch(name);
  zor::test::write_file(path, data);
  return path;
}

using zor::test::radar_domain;

// A polar stereographic domain centred at (lat, lon) whose plot height is
// `height` projection units.
Domain sized_domain(float lat, float lon, float height) {
  Domain d;
  DOM_init(&d);
  d.proj = DOM_PSTEREO, d.plat = 90.0f, d.plon = lon, d.clat = lat, d.clon = lon, d.nx = 25, d.ny = 17;
  d.dx = d.dy = height / 16.0f;
  return d;
}

// The whole earth on latitude/longitude, 5 degrees a cell.
Domain globe() {
  Domain d;
  DOM_init(&d);
  d.proj = DOM_LATLON;
  d.plon = d.clat = d.clon = 0.0f;
  d.nx = 73, d.ny = 37;
  d.dx = d.dy = 5.0f;
  return d;
}

class MapDrawTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* r : kResources) RES_put(r, "");
    zor::map_draw::reset();
    batch_.emplace();
  }
  void TearDown() override {
    batch_.reset();
    zor::map_draw::reset();
    for (const char* r : kResources) RES_put(r, "");
  }

  // Opens the plot for the domain and makes it the map's.
  void open(Domain d) {
    domain_ = d;
    testing::internal::CaptureStdout();
    ASSERT_EQ(PLT_open(DOM_aspect(&domain_)), 0);
    testing::internal::GetCapturedStdout();
    ASSERT_NE(current_device(), nullptr);
    ASSERT_TRUE(current_device()->headless());
    MAP_setup(&domain_);
  }

  // Clears the picture and makes `d` the map's domain.
  void redo(Domain d) {
    gclear_ws(1, GALWAYS);
    domain_ = d;
    MAP_setup(&domain_);
  }

  // MAP_draw with the given list, its warnings returned.
  std::string draw(const char* list, int flag = 7) {
    RES_put("map_file", list);
    testing::internal::CaptureStderr();
    EXPECT_EQ(MAP_draw(flag), 0);
    return testing::internal::GetCapturedStderr();
  }

  static constexpr const char* kResources[] = {"map_file",   "color_map", "color_cmap", "color_line",
                                               "file_path",  "image_path", "plot_param", "label",
                                               "color_text", "device"};
  Domain domain_;
  std::optional<zor::test::BatchPlot> batch_;
};

// ---- bundled maps on known places ---------------------------------------------

TEST_F(MapDrawTest, DefaultMapOfTheUsDomain) {
  Domain us;
  ASSERT_EQ(DOM_get_def_region("us", &us), 1);
  open(us);
  ASSERT_LT(MAP_get_vert(), 75.0f);
  EXPECT_EQ(draw(""), "");
  Capture cap;
  const std::uint32_t red = rgb_of("red");
  // Coasts and borders of this map are checked on the whole plot in
  // plot_scene_test; here the large lakes the default list adds. Lake
  // Michigan's shores: 43N crosses it between 87.9W and 86.2W.
  int lake = 0;
  for (float lon = -88.1f; lon <= -87.7f; lon += 0.05f) lake += cap.near_ll(43.0f, lon, red, 0);
  EXPECT_GT(lake, 0);
  EXPECT_EQ(cap.near_ll(43.0f, -87.0f, red, 1), 0);  // the open lake
  EXPECT_GT(cap.count(red), 2000);
}

TEST_F(MapDrawTest, WorldMapsAndTheDefaultListByPlace) {
  // 40N 100W, height 50: the North American map, state borders included.
  open(sized_domain(40.0f, -100.0f, 50.0f));
  EXPECT_EQ(draw(""), "");
  {
    Capture cap;
    EXPECT_GT(cap.near_ll(41.0f, -106.0f, rgb_of("red")), 0);
  }
  // Height 80, and a centre in Europe: continents and countries only.
  redo(sized_domain(40.0f, -100.0f, 80.0f));
  EXPECT_EQ(draw(""), "");
  {
    Capture cap;
    EXPECT_EQ(cap.near_ll(41.0f, -106.0f, rgb_of("red"), 2), 0);
    EXPECT_GT(cap.near_ll(49.0f, -105.0f, rgb_of("red"), 2), 0);  // Canada: a country border
  }
  redo(sized_domain(50.0f, 10.0f, 50.0f));
  EXPECT_EQ(draw(""), "");
  Capture cap;
  // The Baltic coast near Rostock (54.1N 12.1E) is drawn, the middle of
  // Germany is not.
  int baltic = 0;
  for (float la = 53.9f; la <= 54.3f; la += 0.05f) baltic += cap.near_ll(la, 12.1f, rgb_of("red"), 0);
  EXPECT_GT(baltic, 0);
  EXPECT_EQ(cap.near_ll(51.0f, 10.0f, rgb_of("red"), 2), 0);
}

// ---- map files ---------------------------------------------------------------------

TEST_F(MapDrawTest, TextAndBinaryFilesDrawAlike) {
  open(sized_domain(38.0f, -95.0f, 20.0f));
  RES_put("color_map", "green");
  draw("states_text.map");
  Capture text;
  EXPECT_GT(text.count(rgb_of("green")), 1000);
  gclear_ws(1, GALWAYS);
  draw("states.map");
  Capture binary;
  EXPECT_TRUE(text.same_as(binary));
}

TEST_F(MapDrawTest, DamagedFilesAreReportedNotFatal) {
  open(sized_domain(38.0f, -95.0f, 20.0f));
  const auto bin = zor::find_data_file("states.map");
  ASSERT_TRUE(bin);
  const std::string data = slurp(*bin);
  ASSERT_GT(data.size(), 5000u);
  struct Case {
    const char* name;
    std::string bytes;
    int result;
    const char* message;
  };
  std::string negative = data;
  negative[0] = static_cast<char>(0xFF);  // count -1 in the first header
  const Case cases[] = {
      {"cut_header.map", data.substr(0, 10), -1, "segment header cut off at byte 0"},
      {"cut_points.map", data.substr(0, 4001), -1, "ends after"},
      {"negative.map", negative, -1, "negative point count"},
      {"no_end.map", data.substr(0, data.size() - 22), -1, nullptr},
      {"empty.map", "", -1, nullptr},
      {"whole.map", data, 0, nullptr},
  };
  for (const Case& c : cases) {
    const std::string path = write_bytes(c.name, c.bytes);
    zor::File fp = zor::open_file(path.c_str(), "rb");
    ASSERT_TRUE(fp);
    testing::internal::CaptureStderr();
    EXPECT_EQ(MAP_map(fp.get()), c.result) << c.name;
    const std::string err = testing::internal::GetCapturedStderr();
    if (c.message) {
      EXPECT_NE(err.find("MAP_map: Damaged map file: "), std::string::npos) << c.name << ": " << err;
      EXPECT_NE(err.find(c.message), std::string::npos) << c.name << ": " << err;
    } else {
      EXPECT_EQ(err, "") << c.name;
    }
  }
  // Text files: a bad number inside a segment; no end marker.
  for (const auto& [name, result, damaged] : {std::tuple{"damaged.map", -1, true}, {"noend.map", -1, false},
                                              {"world.map", 0, false}}) {
    zor::File fp = zor::open_file((kMaps + "/" + name).c_str(), "r");
    ASSERT_TRUE(fp);
    testing::internal::CaptureStderr();
    EXPECT_EQ(MAP_map(fp.get()), result) << name;
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err.find("MAP_map: Damaged map file: segment of 3 points ends after 2") != std::string::npos, damaged)
        << name << ": " << err;
  }
  // Every prefix of the first segments, binary and text, ends cleanly
  // without the end marker.
  const auto txt = zor::find_data_file("states_text.map");
  ASSERT_TRUE(txt);
  for (const std::string& whole : {data, slurp(*txt)}) {
    for (std::size_t n = 0; n < 1500; n += 7) {
      const std::string path = write_bytes("prefix.map", whole.substr(0, n));
      zor::File fp = zor::open_file(path.c_str(), "rb");
      testing::internal::CaptureStderr();
      EXPECT_EQ(MAP_map(fp.get()), -1) << n;
      testing::internal::GetCapturedStderr();
    }
  }
  // A missing map file in a list.
  RES_put("file_path", kMaps.c_str());
  EXPECT_EQ(draw("nosuch.map"), "MAP_process: Map file not found: nosuch.map\n");
  EXPECT_EQ(draw("fi:nosuch.lst"), "MAP_draw: Unable to open map list file: nosuch.lst\n");
}

// The pieces of a segment cut at the date line: MapMetafileTest.SeamCrossingByProjection.
TEST_F(MapDrawTest, WorldMapsCrossTheDateLineWithoutLinesAcrossTheOceans) {
  open(globe());
  RES_put("color_map", "white");
  const std::uint32_t white = rgb_of("white");
  EXPECT_EQ(draw("cont.map,country.map"), "");
  {
    Capture world;
    EXPECT_GT(world.count(white), 3000);
    for (const auto& [lat, lon] : {std::pair{-40.0f, -120.0f}, {-17.0f, 0.0f}, {30.0f, -40.0f}, {-50.0f, 90.0f}, {65.0f, -30.0f}})
      EXPECT_EQ(world.near_ll(lat, lon, white, 1), 0) << lat << "," << lon;
    // Chukotka's south coast meets the date line at 65N: drawn up to both
    // edges.
    EXPECT_GT(world.near_ll(65.0f, 179.7f, white, 1), 0);
    EXPECT_GT(world.near_ll(65.0f, -179.7f, white, 1), 0);
  }
  // Non-earth projections draw no map files.
  Domain page;
  DOM_init(&page);
  page.proj = DOM_PIXEL;
  page.clat = page.clon = 0.0f;
  page.nx = page.ny = 512;
  page.dx = page.dy = 511.0f;
  MAP_setup(&page);
  zor::File fp = zor::open_file((kMaps + "/world.map").c_str(), "r");
  EXPECT_EQ(MAP_map(fp.get()), 1);
  // No domain sets up nothing.
  testing::internal::CaptureStderr();
  EXPECT_EQ(MAP_setup(nullptr), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// ---- map lists ---------------------------------------------------------------------

TEST_F(MapDrawTest, RegionBoxesAndSignsOfAListFile) {
  RES_put("file_path", kMaps.c_str());
  std::vector<std::string> words = {"-county.map:gray", "[20,50,-130,-60,20]", "states.map",
                                    "[0,90,-180,180]", "world.map"};
  // What MAP_process draws (0) for each word, as MAP_draw feeds them.
  auto run = [&](Domain d, int over) {
    Domain dom = d;
    MAP_setup(&dom);
    auto& st = zor::map_draw::state();
    st.reg_found = 1, st.over = over;
    std::string drawn;
    for (std::string w : words) {
      if (MAP_process(w.data()) == 0) drawn += w.substr(0, w.find('.')) + " ";
    }
    return drawn;
  };
  open(sized_domain(40.0f, -100.0f, 16.0f));
  EXPECT_EQ(run(sized_domain(40.0f, -100.0f, 16.0f), 7), "-county states ");
  EXPECT_EQ(run(sized_domain(40.0f, -100.0f, 16.0f), 6), "states ");
  EXPECT_EQ(run(sized_domain(40.0f, -100.0f, 16.0f), 1), "-county ");
  EXPECT_EQ(run(sized_domain(50.0f, -60.0f, 16.0f), 4), "states ");  // edges included
  EXPECT_EQ(run(sized_domain(40.0f, -100.0f, 30.0f), 4), "world ");   // too large
  EXPECT_EQ(run(sized_domain(50.0f, 10.0f, 16.0f), 4), "world ");     // not in the box
  EXPECT_EQ(run(sized_domain(-30.0f, 20.0f, 16.0f), 4), "");          // in no box
  EXPECT_EQ(run(sized_domain(-30.0f, 20.0f, 16.0f), 1), "-county ");  // before any box
  // A box with fewer than four numbers always matches.
  words = {"[1,2]", "world.map", "[20,50,-130,-60]", "county.map"};
  EXPECT_EQ(run(sized_domain(-30.0f, 20.0f, 16.0f), 4), "world ");

  // The same list file through MAP_draw: the pixels of world.map (26N,
  // 93W-87W) and county.map (35N, 128W-124W, gray, underlay only).
  redo(sized_domain(35.0f, -105.0f, 30.0f));
  RES_put("color_map", "white");
  EXPECT_EQ(draw("fi:regions.lst", 4), "");
  {
    Capture cap;
    EXPECT_GT(cap.near_ll(26.0f, -90.0f, rgb_of("white")), 0);
    EXPECT_EQ(cap.near_ll(35.0f, -126.0f, rgb_of("gray"), 2), 0);
  }
  EXPECT_EQ(draw("fi:regions.lst", 1), "");
  Capture cap;
  EXPECT_GT(cap.near_ll(35.0f, -126.0f, rgb_of("gray")), 0);
}

TEST_F(MapDrawTest, ScaleConditions) {
  RES_put("file_path", kMaps.c_str());
  open(sized_domain(40.0f, -100.0f, 8.0f));
  auto drawn = [&](float height, const char* item) {
    Domain d = sized_domain(40.0f, -100.0f, height);
    MAP_setup(&d);
    auto& st = zor::map_draw::state();
    st.reg_found = 1, st.over = 7;
    std::string w = item;
    return MAP_process(w.data()) == 0;
  };
  // Several conditions apply in their order; a sign may come before them.
  const struct {
    float height;
    const char* item;
    bool drawn;
  } cases[] = {
      {10.0f, "s-10:world.map", true}, {12.0f, "s-10:world.map", false}, {12.0f, "S+10:world.map", true},
      {8.0f, "s+10:world.map", false}, {15.0f, ">10<20:world.map", true}, {25.0f, ">10<20:world.map", false},
      {5.0f, ">10:world.map", false}, {15.0f, "<20>10:world.map", true}, {5.0f, "<20>10:world.map", false},
      {15.0f, "s+10:s-20:world.map", true}, {25.0f, "s+10:s-20:world.map", false},
      {15.0f, "s-20:s+10:world.map", true}, {5.0f, "s-20:s+10:world.map", false}, {5.0f, "+s-10:world.map", true},
      {12.0f, "+s-10:world.map", false},
  };
  for (const auto& c : cases) EXPECT_EQ(drawn(c.height, c.item), c.drawn) << c.item << " at " << c.height;
  EXPECT_EQ(MAP_process(nullptr), -1);
  char empty[] = "";
  EXPECT_EQ(MAP_process(empty), -1);
}

TEST_F(MapDrawTest, AttributesOfMapItems) {
  RES_put("file_path", kMaps.c_str());
  open(sized_domain(30.0f, -95.0f, 12.0f));
  const std::uint32_t red = rgb_of("red"), green = rgb_of("green"), blue = rgb_of("blue"),
                      yellow = rgb_of("yellow"), black = rgb_of("black");
  struct Step {
    const char* color_map;
    const char* color_cmap;
    int fill_cont;
    const char* format;
    const char* list;
    std::uint32_t expect;
  };
  const Step steps[] = {
      {"", "", 0, "", "world.map", red},              // color_map's default
      {"blue", "", 0, "", "world.map", blue},         // color_map
      {"blue", "", 1, "", "world.map", black},        // filled data: color_cmap's default
      {"blue", "yellow", 1, "", "world.map", yellow}, // color_cmap
      {"blue", "", 0, "green", "world.map", green},   // the format
      {"blue", "", 0, "green", "world.map:yellow", yellow},  // the item's own
  };
  for (const Step& s : steps) {
    gclear_ws(1, GALWAYS);
    RES_put("color_map", s.color_map);
    RES_put("color_cmap", s.color_cmap);
    MAP_fill_cont(s.fill_cont);
    std::string f = s.format;
    MAP_set_format(f.data());
    draw(s.list);
    Capture cap;
    EXPECT_GT(cap.near_ll(26.0f, -90.0f, s.expect), 0) << s.list << " " << s.format;
  }
  // Colour -1 draws nothing; the plot's map switch turns everything off.
  gclear_ws(1, GALWAYS);
  MAP_set_format(nullptr);
  MAP_fill_cont(0);
  draw("world.map:-1");
  RES_put("color_map", "white");
  FLAG_setplot(8, 0);
  draw("world.map");
  FLAG_setplot(8, 1);
  Capture cap;
  EXPECT_EQ(cap.count(rgb_of("white")), 0);
  EXPECT_EQ(cap.count(red), 0);
  // A map name set with MAP_file is used while map_file is unset.
  char name[] = "world.map:green";
  MAP_file(name);
  RES_put("map_file", "");
  MAP_draw(4);
  Capture named;
  EXPECT_GT(named.near_ll(26.0f, -90.0f, green), 0);
}

TEST_F(MapDrawTest, FilledMapItem) {
  RES_put("file_path", kMaps.c_str());
  open(sized_domain(38.0f, -95.0f, 20.0f));
  draw("states.map:blue:fi=sol");
  Capture cap;
  // Kansas' interior is filled.
  EXPECT_GT(cap.near_ll(38.5f, -98.5f, rgb_of("blue"), 2), 20);
}

// ---- latitude/longitude lines --------------------------------------------------------

TEST_F(MapDrawTest, LatitudeLongitudeLinesAndLabels) {
  RES_put("file_path", kMaps.c_str());
  Domain us;
  ASSERT_EQ(DOM_get_def_region("us", &us), 1);
  open(us);
  EXPECT_EQ(draw("lalo10:green", 4), "");
  Capture cap;
  const std::uint32_t green = rgb_of("green");
  // 40N between meridians, 100W between circles.
  EXPECT_GT(cap.near_ll(40.0f, -95.0f, green), 0);
  EXPECT_GT(cap.near_ll(35.0f, -100.0f, green), 0);
  EXPECT_EQ(cap.near_ll(35.0f, -95.0f, green, 3), 0);
  // The "40N" label near the left edge, the "100W" label on the bottom edge.
  Glim win;
  MAP_get_window(&win);
  float x = 0, y = 0;
  const float xl = win.x_min + 0.01f * (win.x_max - win.x_min);
  MAP_tran(40.0f, -120.0f, &x, &y);  // roughly where 40N meets the left side
  int label = 0;
  for (int i = 0; i < 30; ++i)
    for (int j = -20; j <= 20; ++j)
      if (cap.pixel(static_cast<int>(xW_p(xl)) + i, static_cast<int>(yW_p(y)) + j) == green) ++label;
  EXPECT_GT(label, 10);
  EXPECT_EQ(draw("lalo0", 4), "MAP_process: Bad latitude/longitude spacing: 0\n");

  // MAP_latlon lines in MAP_draw: color_line's colour, solid once its style
  // is given, labels repeated every 20 degrees.
  gclear_ws(1, GALWAYS);
  RES_put("color_line", "yellow:s1");
  MAP_latlon(5.0f, 5.0f, 0, 20);
  float lat = 0, lon = 0;
  MAP_get_latlon(&lat, &lon);
  EXPECT_EQ(lat, 5.0f);
  EXPECT_EQ(lon, 5.0f);
  EXPECT_EQ(draw("world.map:-1", 4), "");
  Capture lines;
  const std::uint32_t yellow = rgb_of("yellow");
  EXPECT_GT(lines.near_ll(45.0f, -97.5f, yellow), 0);
  EXPECT_GT(lines.near_ll(42.5f, -95.0f, yellow), 0);
  // A repeated "40N" between meridians at 102.5W (start -177.5, every 20).
  EXPECT_GT(lines.near_ll(40.0f, -97.5f, yellow, 6), 6);
  RES_put("color_line", "-1");
  gclear_ws(1, GALWAYS);
  EXPECT_EQ(draw("world.map:-1", 4), "");
  Capture none;
  EXPECT_EQ(none.count(yellow), 0);
}

// ---- image, metafile and point-data items -------------------------------------------

// A 20x10 palette PNG: white left half, blue right half.
std::string write_overlay_png() {
  const std::string path = zor::test::scratch("overlay.png");
  std::vector<unsigned char> index(20 * 10, 0);
  for (int y = 0; y < 10; ++y)
    for (int x = 10; x < 20; ++x) index[y * 20 + x] = 1;
  const unsigned char palette[] = {255, 255, 255, 0, 0, 255};
  png_image image{};
  image.version = PNG_IMAGE_VERSION, image.width = 20, image.height = 10;
  image.format = PNG_FORMAT_RGB_COLORMAP, image.colormap_entries = 2;
  EXPECT_NE(png_image_write_to_file(&image, path.c_str(), 0, index.data(), 0, palette), 0);
  return path;
}

TEST_F(MapDrawTest, ImageOverlayItems) {
  open(sized_domain(38.0f, -95.0f, 20.0f));
  write_overlay_png();
  RES_put("image_path", zor::test::scratch_dir().path().c_str());
  const std::uint32_t white = rgb_of("white"), blue = rgb_of("blue");
  Gxrect view;
  gget_xviewport(&view);
  EXPECT_EQ(draw("im:overlay.png::5:7", 4), "");
  {
    Capture cap;
    EXPECT_EQ(cap.pixel(view.x + 5 + 3, view.y + 7 + 5), white);
    EXPECT_EQ(cap.pixel(view.x + 5 + 15, view.y + 7 + 5), blue);
    EXPECT_EQ(cap.pixel(view.x + 5 + 25, view.y + 7 + 5), 0u);
  }
  // Negative offsets count from the right and bottom; a named colour is
  // see-through.
  gclear_ws(1, GALWAYS);
  EXPECT_EQ(draw("im:overlay.png:white:-5:-7", 4), "");
  {
    Capture cap;
    const int x0 = view.x + view.width - 20 - 5, y0 = view.y + view.height - 10 - 7;
    EXPECT_EQ(cap.pixel(x0 + 3, y0 + 5), 0u);
    EXPECT_EQ(cap.pixel(x0 + 15, y0 + 5), blue);
  }
  // "if:" places the image in the whole-page transformation and comes back
  // to the map's.
  gclear_ws(1, GALWAYS);
  GPH_trans(1);
  Gxrect page;
  gget_xviewport(&page);
  GPH_trans(2);
  ASSERT_TRUE(page.x != view.x || page.y != view.y);
  EXPECT_EQ(draw("if:overlay.png::0:0", 4), "");
  Capture cap;
  EXPECT_EQ(cap.pixel(page.x + 15, page.y + 5), blue);
  Gint err = 0, tran = 0;
  ginq_cur_norm_tran_num(&err, &tran);
  EXPECT_EQ(tran, 2);
}

TEST_F(MapDrawTest, MetafileAndPointDataItems) {
  RES_put("file_path", kMaps.c_str());
  open(sized_domain(38.0f, -95.0f, 20.0f));
  // A metafile line in map coordinates from (36N, 100W) to (40N, 90W).
  float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
  MAP_tran(36.0f, -100.0f, &x1, &y1);
  MAP_tran(40.0f, -90.0f, &x2, &y2);
  const std::string meta = zor::test::scratch("line.meta");
  {
    std::ofstream out(meta);
    out << "ZORMETA\n#Title: test\nPL_CLR " << CLR_get_ind("green") << "\nPL 2 " << x1 << "," << y1 << " " << x2
        << "," << y2 << "\n";
  }
  EXPECT_EQ(draw(("mf:" + meta).c_str(), 4), "");
  const std::uint32_t green = rgb_of("green");
  {
    Capture cap;
    EXPECT_GT(cap.near((x1 + x2) / 2, (y1 + y2) / 2, green), 0);
    EXPECT_EQ(cap.near(x1, y2, green, 3), 0);
  }
  // A point-data file: the text "ZOR" at 38N 95W.
  gclear_ws(1, GALWAYS);
  EXPECT_EQ(draw("rf:points.raw", 4), "");
  Capture cap;
  float x = 0, y = 0;
  MAP_tran(38.0f, -95.0f, &x, &y);
  int inked = 0;
  for (int j = -15; j <= 15; ++j)
    for (int i = -25; i <= 25; ++i)
      if (cap.pixel(static_cast<int>(xW_p(x)) + i, static_cast<int>(yW_p(y)) + j) != 0) ++inked;
  EXPECT_GT(inked, 10);
}

// ---- exact geometry through the text metafile --------------------------------------

// The points of each polyline record ("PL n x,y ...") of a text metafile.
std::vector<std::vector<Gpt>> polylines(const std::string& file) {
  std::vector<std::vector<Gpt>> out;
  bool in_record = false;
  for (const std::string& line : zor::test::lines_of(zor::test::slurp(file))) {
    std::istringstream in(line);
    std::string tok;
    while (in >> tok) {
      Gpt p;
      if (tok.find(',') != std::string::npos) {
        if (in_record && std::sscanf(tok.c_str(), "%f,%f", &p.x, &p.y) == 2) out.back().push_back(p);
        continue;
      }
      in_record = tok == "PL";
      if (!in_record) break;
      out.emplace_back();
      in >> tok;  // the point count
    }
  }
  return out;
}

TEST(MapMetafileTest, RangeRingPoints) {
  zor::test::reset_devices();
  zor::map::reset();
  zor::map_draw::reset();
  FLAG_resetplot(1);
  const std::string file = zor::test::out_path("map_draw.meta");
  ASSERT_TRUE(zor::test::open_ws(GWS_META, file));

  // A 230-km ring around KTLX: 49 points every 7.5 degrees, closed.
  Domain radar = radar_domain(35.333f, -97.278f, 250);
  ASSERT_EQ(MAP_setup(&radar), 0);
  float x0 = 0, y0 = 0;
  MAP_tran(35.333f, -97.278f, &x0, &y0);
  std::vector<Gpt> ring(49);
  for (int i = 0; i < 49; ++i) MAP_offset(x0, y0, 7.5f * static_cast<float>(i), 230.0f, &ring[i].x, &ring[i].y);
  const float factor = MAP_factor(35.333f);  // km to projection units here
  MAP_draw_circle(x0, y0, 230.0f);
  zor::test::close_ws();

  const auto recs = polylines(file);
  ASSERT_EQ(recs.size(), 1u);
  ASSERT_EQ(recs[0].size(), 49u);
  for (int i = 0; i < 49; ++i) {
    EXPECT_NEAR(recs[0][i].x, ring[i].x, 1e-3f) << i;
    EXPECT_NEAR(recs[0][i].y, ring[i].y, 1e-3f) << i;
  }
  EXPECT_NEAR(recs[0][0].x, recs[0][48].x, 1e-4f);
  EXPECT_NEAR(recs[0][0].y, recs[0][48].y, 1e-4f);
  EXPECT_NEAR(std::hypot(ring[12].x - x0, ring[12].y - y0), 2.3f * factor, 0.01f);
  zor::map::reset();
}

struct SeamCase {
  const char* name;
  int proj;
  float (*width)(float y);  // seam width at the new point's height
  bool back;                // the second piece starts from the previous point moved back
};

const SeamCase kSeamCases[] = {
    {"latlon", DOM_LATLON, [](float) { return 360.0f; }, true},
    {"mercator", DOM_MERC, [](float) { return 400.31555892808814f; }, true},
    {"mollweide", DOM_MOLL, [](float y) { return 254.852f * std::sqrt(1.0f - (y / 63.713f) * (y / 63.713f)); }, true},
    {"lambert", DOM_LAMB, [](float) { return 1000.0f; }, false},
};

TEST(MapMetafileTest, SeamCrossingByProjection) {
  // One segment along 40N across the date line.
  const std::string map = zor::test::out_path("seam.map");
  std::ofstream(map) << "4 40 40 170 -170 7\n40 170\n40 179\n40 -179\n40 -170\n0 0 0 0 0 0\n";
  const float lons[] = {170.0f, 179.0f, -179.0f, -170.0f};
  for (const SeamCase& c : kSeamCases) {
    SCOPED_TRACE(c.name);
    zor::test::reset_devices();
    zor::map::reset();
    zor::map_draw::reset();
    FLAG_resetplot(1);
    RES_put("map_file", map.c_str());
    const std::string file = zor::test::out_path(std::string("seam_") + c.name + ".meta");
    ASSERT_TRUE(zor::test::open_ws(GWS_META, file));
    Domain d;
    DOM_init(&d);
    d.proj = c.proj, d.plat = 90.0f, d.plon = 0.0f;
    // Wide enough to hold both sides of the seam, or the kernel drops the
    // pieces outside.
    const bool ll = c.proj == DOM_LATLON;
    d.clat = ll ? 0.0f : 40.0f;
    d.clon = 0.0f, d.nx = ll ? 73 : 25, d.ny = ll ? 37 : 17;
    d.dx = d.dy = ll ? 5.0f : 20.0f;
    ASSERT_EQ(MAP_setup(&d), 0);
    Gpt p[4];
    for (int i = 0; i < 4; ++i) ASSERT_EQ(MAP_tran(40.0f, lons[i], &p[i].x, &p[i].y), 1);
    ASSERT_GT(std::fabs(p[2].x - p[1].x), 20.0f);
    EXPECT_EQ(MAP_draw(4), 0);
    zor::test::close_ws();
    RES_put("map_file", "");

    const float toward = p[2].x > p[1].x ? -c.width(p[2].y) : c.width(p[2].y);
    std::vector<Gpt> first = {p[0], p[1], {p[2].x + toward, p[2].y}};
    std::vector<Gpt> second = {p[2], p[3]};
    if (c.back) second.insert(second.begin(), Gpt{p[1].x - toward, p[1].y});
    const auto recs = polylines(file);
    ASSERT_EQ(recs.size(), 2u);
    for (const auto& [got, want] : {std::pair{recs[0], first}, {recs[1], second}}) {
      ASSERT_EQ(got.size(), want.size());
      for (std::size_t i = 0; i < want.size(); ++i) {
        EXPECT_NEAR(got[i].x, want[i].x, 2e-3f) << i;
        EXPECT_NEAR(got[i].y, want[i].y, 2e-3f) << i;
      }
    }
  }
  zor::map::reset();
}

}  // namespace
