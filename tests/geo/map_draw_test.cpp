// The map background drawn by a batch plot on the memory raster: map files,
// lists, damaged files, latitude/longitude lines and rings where they belong.
#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <fstream>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "../common/batch_plot.h"
#include "../common/capture.h"
#include "../common/meta_records.h"
#include "../frame/captured.h"
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

std::uint32_t rgb_of(const char* name) { return zor::test::rgb_of_index(CLR_get_ind(name)); }

struct Capture : zor::test::Capture {
  Capture() { EXPECT_EQ(gget_image(&img), 1); }
  int near(float x, float y, std::uint32_t rgb, int r = 1) const {
    return count_near(static_cast<int>(std::lround(xW_p(x))), static_cast<int>(std::lround(yW_p(y))), rgb, r);
  }
  int near_ll(float lat, float lon, std::uint32_t rgb, int r = 1) const {
    float x = 0, y = 0;
    if (MAP_tran(lat, lon, &x, &y) == 0) return -1;
    return near(x, y, rgb, r);
  }
};

using zor::test::radar_domain;
using zor::test::slurp;

// Polar stereographic, centred at (lat, lon), `height` projection units high.
Domain sized_domain(float lat, float lon, float height) {
  return {.proj = DOM_PSTEREO, .plat = 90, .plon = lon, .clat = lat, .clon = lon, .dx = height / 16, .dy = height / 16,
          .nx = 25, .ny = 17};
}

// The whole earth on latitude/longitude, 5 degrees a cell.
const Domain kGlobe{.proj = DOM_LATLON, .plon = 0, .clat = 0, .clon = 0, .dx = 5, .dy = 5, .nx = 73, .ny = 37};

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

  void open(Domain d) {
    domain_ = d;
    testing::internal::CaptureStdout();
    ASSERT_EQ(PLT_open(DOM_aspect(&domain_)), 0);
    testing::internal::GetCapturedStdout();
    ASSERT_NE(current_device(), nullptr);
    ASSERT_TRUE(current_device()->headless());
    MAP_setup(&domain_);
  }

  void redo(Domain d) {
    gclear_ws(1, GALWAYS);
    domain_ = d;
    MAP_setup(&domain_);
  }

  static int seen(float lat, float lon, const char* colour, int r = 1) {
    return Capture().near_ll(lat, lon, rgb_of(colour), r);
  }

  // MAP_draw with the given list, its warnings returned.
  std::string draw(const char* list, int flag = 7) {
    RES_put("map_file", list);
    testing::internal::CaptureStderr();
    EXPECT_EQ(MAP_draw(flag), 0);
    return testing::internal::GetCapturedStderr();
  }

  static constexpr const char* kResources[] = {"map_file",   "color_map",  "color_cmap", "color_line", "file_path",
                                               "image_path", "plot_param", "label",      "color_text", "device"};
  Domain domain_;
  std::optional<zor::test::BatchPlot> batch_;
};

TEST_F(MapDrawTest, DefaultListByPlace) {
  Domain us;
  ASSERT_EQ(DOM_get_def_region("us", &us), 1);
  open(us);
  ASSERT_LT(MAP_get_vert(), 75.0f);
  EXPECT_EQ(draw(""), "");
  const Capture cap;
  const std::uint32_t red = rgb_of("red");
  // Red pixels on a short line of latitude or longitude.
  auto along = [&](const Capture& c, float lat0, float lon0, float dlat, float dlon) {
    int n = 0;
    for (int i = 0; i <= 8; ++i) n += c.near_ll(lat0 + dlat * i, lon0 + dlon * i, red, 0);
    return n;
  };
  // The lakes the default list adds: 43N crosses Lake Michigan 87.9W-86.2W.
  EXPECT_GT(along(cap, 43.0f, -88.1f, 0, 0.05f), 0);
  EXPECT_EQ(cap.near_ll(43.0f, -87.0f, red, 1), 0);  // the open lake
  EXPECT_GT(cap.count(red), 2000);
  // 40N 100W, height 50: the North American map, state borders included.
  redo(sized_domain(40.0f, -100.0f, 50.0f));
  EXPECT_EQ(draw(""), "");
  EXPECT_GT(seen(41.0f, -106.0f, "red"), 0);
  // Height 80, and a centre in Europe: continents and countries only.
  redo(sized_domain(40.0f, -100.0f, 80.0f));
  EXPECT_EQ(draw(""), "");
  EXPECT_EQ(seen(41.0f, -106.0f, "red", 2), 0);
  EXPECT_GT(seen(49.0f, -105.0f, "red", 2), 0);  // Canada: a country border
  redo(sized_domain(50.0f, 10.0f, 50.0f));
  EXPECT_EQ(draw(""), "");
  const Capture europe;
  // The Baltic coast near Rostock (54.1N 12.1E), not the middle of Germany.
  EXPECT_GT(along(europe, 53.9f, 12.1f, 0.05f, 0), 0);
  EXPECT_EQ(europe.near_ll(51.0f, 10.0f, red, 2), 0);
}

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
      {"no_end.map", data.substr(0, data.size() - 22), -1, nullptr}, {"empty.map", "", -1, nullptr},
      {"whole.map", data, 0, nullptr},
  };
  for (const Case& c : cases) {
    const std::string path = zor::test::scratch(c.name);
    zor::test::write_file(path, c.bytes);
    zor::File fp = zor::open_file(path.c_str(), "rb");
    ASSERT_TRUE(fp);
    const std::string err = zor::test::stderr_of([&] { EXPECT_EQ(MAP_map(fp.get()), c.result) << c.name; });
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
    const std::string err = zor::test::stderr_of([&] { EXPECT_EQ(MAP_map(fp.get()), result) << name; });
    EXPECT_EQ(err.find("MAP_map: Damaged map file: segment of 3 points ends after 2") != std::string::npos, damaged)
        << name << ": " << err;
  }
  // Every prefix of the first segments, binary and text, ends cleanly.
  const auto txt = zor::find_data_file("states_text.map");
  ASSERT_TRUE(txt);
  for (const std::string& whole : {data, slurp(*txt)}) {
    for (std::size_t n = 0; n < 1500; n += 7) {
      const std::string path = zor::test::scratch("prefix.map");
      zor::test::write_file(path, whole.substr(0, n));
      zor::File fp = zor::open_file(path.c_str(), "rb");
      zor::test::stderr_of([&] { EXPECT_EQ(MAP_map(fp.get()), -1) << n; });
    }
  }
  // A missing map file in a list.
  RES_put("file_path", kMaps.c_str());
  EXPECT_EQ(draw("nosuch.map"), "MAP_process: Map file not found: nosuch.map\n");
  EXPECT_EQ(draw("fi:nosuch.lst"), "MAP_draw: Unable to open map list file: nosuch.lst\n");
}

// Where segments are cut at the date line: MapMetafileTest.SeamCrossingByProjection.
TEST_F(MapDrawTest, NoMapsOffTheEarth) {
  open(kGlobe);
  // Non-earth projections draw no map files.
  Domain page{.proj = DOM_PIXEL, .clat = 0, .clon = 0, .dx = 511, .dy = 511, .nx = 512, .ny = 512};
  MAP_setup(&page);
  zor::File fp = zor::open_file((kMaps + "/world.map").c_str(), "r");
  EXPECT_EQ(MAP_map(fp.get()), 1);
  // No domain sets up nothing.
  EXPECT_EQ(zor::test::stderr_of([] { EXPECT_EQ(MAP_setup(nullptr), -1); }), "");
}

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
  EXPECT_GT(seen(26.0f, -90.0f, "white"), 0);
  EXPECT_EQ(seen(35.0f, -126.0f, "gray", 2), 0);
  EXPECT_EQ(draw("fi:regions.lst", 1), "");
  EXPECT_GT(seen(35.0f, -126.0f, "gray"), 0);
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
  EXPECT_EQ(cap.count(rgb_of("white")) + cap.count(red), 0);
  // A map name set with MAP_file is used while map_file is unset.
  char name[] = "world.map:green";
  MAP_file(name);
  RES_put("map_file", "");
  MAP_draw(4);
  EXPECT_GT(seen(26.0f, -90.0f, "green"), 0);
  redo(sized_domain(38.0f, -95.0f, 20.0f));
  draw("states.map:blue:fi=sol");
  EXPECT_GT(seen(38.5f, -98.5f, "blue", 2), 20);  // Kansas' interior is filled
}

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
  MAP_tran(40.0f, -120.0f, &x, &y);  // roughly where 40N meets the left side
  const int xl = static_cast<int>(xW_p(win.x_min + 0.01f * (win.x_max - win.x_min)));
  EXPECT_GT(cap.count_near(xl + 15, static_cast<int>(yW_p(y)), green, 20), 10);
  EXPECT_EQ(draw("lalo0", 4), "MAP_process: Bad latitude/longitude spacing: 0\n");

  // MAP_latlon lines: color_line's colour and style, labels every 20 degrees.
  gclear_ws(1, GALWAYS);
  RES_put("color_line", "yellow:s1");
  MAP_latlon(5.0f, 5.0f, 0, 20);
  EXPECT_EQ(draw("world.map:-1", 4), "");
  EXPECT_GT(seen(45.0f, -97.5f, "yellow"), 0);
  EXPECT_GT(seen(42.5f, -95.0f, "yellow"), 0);
  // A repeated "40N" between meridians at 102.5W (start -177.5, every 20).
  EXPECT_GT(seen(40.0f, -97.5f, "yellow", 6), 6);
  RES_put("color_line", "-1");
  gclear_ws(1, GALWAYS);
  EXPECT_EQ(draw("world.map:-1", 4), "");
  EXPECT_EQ(Capture().count(rgb_of("yellow")), 0);
}

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
  // Pixels 3, 15 and 25 along the middle row of an image placed at (x, y).
  auto row = [](int x, int y) {
    const Capture cap;
    return std::vector<std::uint32_t>{cap.pixel(x + 3, y + 5), cap.pixel(x + 15, y + 5), cap.pixel(x + 25, y + 5)};
  };
  EXPECT_EQ(draw("im:overlay.png::5:7", 4), "");
  EXPECT_EQ(row(view.x + 5, view.y + 7), (std::vector<std::uint32_t>{white, blue, 0u}));
  // Negative offsets count from the right and bottom; a named colour is clear.
  gclear_ws(1, GALWAYS);
  EXPECT_EQ(draw("im:overlay.png:white:-5:-7", 4), "");
  const auto corner = row(view.x + view.width - 25, view.y + view.height - 17);
  EXPECT_EQ(std::pair(corner[0], corner[1]), std::pair(0u, blue));
  // "if:" places it in the whole-page transformation, then back to the map's.
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
  std::ofstream(meta) << "ZORMETA\n#Title: test\nPL_CLR " << CLR_get_ind("green") << "\nPL 2 " << x1 << "," << y1 << " "
                      << x2 << "," << y2 << "\n";
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

// Map files are read once per process and redrawn from their projected
// pieces: the pictures are those of a first drawing, even of a spoiled file.
TEST_F(MapDrawTest, MapsAreRedrawnAsFirstDrawnWithoutReadingAgain) {
  const auto states = zor::find_data_file("states.map");
  ASSERT_TRUE(states);
  const std::string cached = zor::test::scratch("cached.map");
  zor::test::write_file(cached, slurp(*states));
  RES_put("file_path", zor::test::scratch_dir().path().c_str());
  const Domain ok = radar_domain(35.333f, -97.278f, 250);  // Oklahoma
  const Domain al = radar_domain(33.172f, -86.770f, 250);  // Alabama
  open(ok);
  auto redraw = [&](const Domain& d) {
    redo(d);
    return draw("cached.map");
  };
  EXPECT_EQ(redraw(ok), "");
  const Capture first_ok;
  EXPECT_GT(first_ok.count(rgb_of("red")), 500);
  zor::test::write_file(cached, "damaged");
  EXPECT_EQ(redraw(ok), "");
  const Capture again_ok;
  EXPECT_EQ(redraw(al), "");
  const Capture then_al;
  EXPECT_EQ(redraw(ok), "");
  EXPECT_TRUE(again_ok.same_as(first_ok) && Capture().same_as(first_ok));
  // A new process state reads the spoiled file: nothing but the warning.
  zor::map_draw::reset();
  EXPECT_NE(redraw(ok), "");
  EXPECT_EQ(Capture().count(rgb_of("red")), 0);
  // The Alabama picture as drawn from the file for that domain first.
  zor::test::write_file(cached, slurp(*states));
  zor::map_draw::reset();
  EXPECT_EQ(redraw(al), "");
  EXPECT_TRUE(then_al.same_as(Capture()) && !then_al.same_as(first_ok));
}

std::vector<std::vector<Gpt>> polylines(const std::string& file) {
  std::vector<std::vector<Gpt>> out;
  for (const auto& r : zor::test::meta::only(zor::test::meta::records(file), "PL")) out.push_back(r.pts);
  return out;
}

::testing::AssertionResult open_meta(const std::string& file) {
  zor::test::reset_devices();
  zor::map::reset();
  zor::map_draw::reset();
  FLAG_resetplot(1);
  return ::testing::AssertionResult(zor::test::open_ws(GWS_META, file));
}

TEST(MapMetafileTest, RangeRingPoints) {
  const std::string file = zor::test::out_path("map_draw.meta");
  ASSERT_TRUE(open_meta(file));

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
    const std::string file = zor::test::out_path(std::string("seam_") + c.name + ".meta");
    ASSERT_TRUE(open_meta(file));
    RES_put("map_file", map.c_str());
    // Wide enough to hold both sides of the seam, or the kernel drops pieces.
    Domain d{.proj = c.proj, .plat = 90, .plon = 0, .clat = 40, .clon = 0, .dx = 20, .dy = 20, .nx = 25, .ny = 17};
    if (c.proj == DOM_LATLON) d = kGlobe, d.plat = 90;
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
