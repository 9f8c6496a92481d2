// RRWDS frames of generated files: each level's wedges where the file puts them
// on two domains, the clutter radius, a short file, marker and range ring.
#include <algorithm>

#include "frame_test.h"
#include "mosaic_gen.h"
#include "zor/img.h"
#include "zor/rrwds.h"

namespace {

constexpr double kLat = 41.3204, kLon = -96.3668;  // OAX in rad.cty
constexpr std::uint32_t kBlack = 0x000000, kWhite = 0xFFFFFF;

struct Point {
  double az, nm;
  int level;  // -1 white (marker, ring)
};

struct Case {
  const char* name;
  int range;
  const char* plot_param;
  const char* domain;  // "": the file's own; "zoom": its own, 8 times closer
  std::size_t bytes;   // file length (0: whole)
  std::vector<const char*> sectors;
  std::vector<Point> points;
};

// One sector of each level, 1 to 7, and points inside and between them.
const std::vector<const char*> kLevels = {
    "sector:41.3204:-96.3668:10:50:20:50:1",    "sector:41.3204:-96.3668:100:140:60:90:2",
    "sector:41.3204:-96.3668:190:230:80:110:3", "sector:41.3204:-96.3668:280:320:20:50:4",
    "sector:41.3204:-96.3668:60:80:90:110:5",   "sector:41.3204:-96.3668:240:260:30:50:6",
    "sector:41.3204:-96.3668:150:170:30:50:7"};
const std::vector<Point> kLevelPoints = {{30, 35, 1},  {120, 75, 2}, {210, 95, 3}, {300, 35, 4}, {70, 100, 5},
                                         {250, 40, 6}, {160, 40, 0}, {30, 60, 0},  {120, 50, 0}, {5, 35, 0},
                                         {55, 35, 0},  {210, 115, 0}};
const std::vector<const char*> kDisk = {"sector:41.3204:-96.3668:0:360:0:30:1"};

const Case kCases[] = {
    {"levels on the site's domain", 200, "", "", 0, kLevels, kLevelPoints},
    {"levels on latitude-longitude", 200, "", "ll,41.3,-96.4,61,41,0.1,0.1", 0, kLevels, kLevelPoints},
    {"levels at range 100", 100, "", "", 0, kLevels, {{30, 35, 1}, {300, 35, 4}, {160, 40, 0}, {30, 60, 0}}},
    // Bins whose outer edge is below 10 nm are level 0: 9 at range 200, 19 at 100.
    {"clutter at range 200", 200, "clutter=10", "zoom", 0, kDisk, {{45, 5, 0}, {45, 8.5, 0}, {45, 9.5, 1}, {45, 20, 1}}},
    {"clutter at range 100", 100, "clutter=10", "zoom", 0, kDisk, {{45, 5, 0}, {45, 9.25, 0}, {45, 9.75, 1}}},
    // Radials 0 to 179 complete, 180 cut short.
    {"short file", 200, "", "", 12 + 180 * 80 + 40, kLevels, {{30, 35, 1}, {120, 75, 2}, {210, 95, 0}, {300, 35, 0}}},
    {"marker and ring", 200, "site,dist=75", "", 0, {}, {{0, 0, -1}, {45, 75, -1}, {200, 75, -1}, {45, 60, 0}}},
};

// Draws the image of a generated file and captures the frame.
void plot(const Case& c, const std::string& path, Capture& cap, std::string& err) {
  zor::mosaicgen::Options o;
  o.range = c.range;
  zor::mosaicgen::Pattern p;
  for (const char* s : c.sectors) ASSERT_TRUE(p.parse(s, nullptr)) << s;
  ASSERT_TRUE(zor::mosaicgen::write_file("rrwds", p, o, path, nullptr));
  if (c.bytes > 0) std::filesystem::resize_file(path, c.bytes);
  std::string name = path;
  RES_put("plot_param", c.plot_param);
  testing::internal::CaptureStderr();
  RRWDS_plot_param();
  Domain dom;
  DOM_init(&dom);
  if (*c.domain == '\0' || std::string(c.domain) == "zoom") {
    RRWDS_open_file(name.data());
    RRWDS_domain(&dom);
    if (*c.domain != '\0') dom.dx /= 8.0f, dom.dy /= 8.0f;
  } else {
    DOM_decode(c.domain, &dom);
  }
  zor::test::open_frame(dom);
  const int opened = RRWDS_open_file(name.data());
  RRWDS_plot_data();
  RRWDS_close_file();
  err = testing::internal::GetCapturedStderr();
  ASSERT_EQ(opened, 1);
  ASSERT_TRUE(zor::test::grab(cap));
}

// The colours in the 3 x 3 pixels around a point at `az` and `nm` from the
// site (0xFFFFFFFF off the picture).
std::vector<std::uint32_t> around(const Capture& cap, double az, double nm) {
  double lat = kLat, lon = kLon;
  zor::mosaicgen::destination(kLat, kLon, az, nm, &lat, &lon);
  float x = 0, y = 0;
  std::vector<std::uint32_t> out;
  if (!MAP_tran(static_cast<float>(lat), static_cast<float>(lon), &x, &y)) return out;
  const int px = static_cast<int>(std::floor(xW_p(x))), py = static_cast<int>(std::floor(yW_p(y)));
  for (int j = py - 1; j <= py + 1; ++j)
    for (int i = px - 1; i <= px + 1; ++i) out.push_back(cap.pixel(i, j));
  return out;
}

class RrwdsFrame : public zor::test::RadarFrameTest {};

TEST_F(RrwdsFrame, EachLevelWhereTheFilePutsIt) {
  const zor::test::TempDir dir("rrwds_plot");
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    restart();
    Capture cap;
    std::string err;
    ASSERT_NO_FATAL_FAILURE(plot(c, dir / "oax.rrwds", cap, err));
    EXPECT_EQ(err.find("ends after 180 of 360 radials") != std::string::npos, c.bytes > 0) << err;
    EXPECT_EQ(zor::rrwds::fill_calls() > 0, !c.sectors.empty());
    for (const Point& p : c.points) {
      const std::vector<std::uint32_t> px = around(cap, p.az, p.nm);
      ASSERT_EQ(px.size(), 9u) << p.az << "/" << p.nm;
      const std::uint32_t want = p.level < 0 ? kWhite : p.level == 0 ? kBlack : fill_rgb(static_cast<float>(p.level));
      EXPECT_EQ(want == kBlack, p.level == 0);
      // Wedges fill all nine pixels; a one-pixel line crosses the middle.
      const auto hits =
          std::count_if(px.begin(), px.end(), [want](std::uint32_t c) { return near(c, want); });
      EXPECT_GE(hits, p.level < 0 ? 1 : 9) << p.az << " deg " << p.nm << " nm: " << std::hex << px[4];
    }
  }
}

}  // namespace
