// Mosaic frames of generated files on the in-memory raster: patterns where
// they belong, on the product's projection and another, and damaged grids.
#include "frame_test.h"
#include "mosaic_gen.h"
#include "zor/file.h"
#include "zor/mosaic.h"

namespace {

namespace fs = std::filesystem;

enum class Kind { Nowrad, Kavrad };

Kind kind_of(const std::string& format) { return format.rfind("kavrad", 0) == 0 ? Kind::Kavrad : Kind::Nowrad; }

class MosaicFrameTest : public zor::test::RadarFrameTest {
 protected:
  std::string temp(const std::string& ext) { return zor::test::scratch("mosaic_" + std::to_string(files_++) + ext); }

  std::string make(const std::string& format, std::initializer_list<const char*> shapes,
                   const zor::mosaicgen::Options& o = {}) {
    zor::mosaicgen::Pattern p;
    for (const char* s : shapes) EXPECT_TRUE(p.parse(s, nullptr)) << s;
    const std::string path = temp("." + format);
    std::string error;
    EXPECT_TRUE(zor::mosaicgen::write_file(format, p, o, path, &error)) << error;
    return path;
  }

  std::string make_raw(const std::vector<std::uint8_t>& bytes) {
    const std::string path = temp(".raw");
    zor::test::write_file(path, std::string(bytes.begin(), bytes.end()));
    return path;
  }

  static int open(Kind k, const std::string& path) {
    std::vector<char> name(path.begin(), path.end());
    name.push_back('\0');
    return k == Kind::Nowrad ? NOWRad_open_file(name.data()) : KAVRAD_open_file(name.data());
  }
  static Domain product(Kind k) {
    return k == Kind::Nowrad ? zor::mosaic::nowrad_info().domain : zor::mosaic::kavrad_info().domain;
  }

  // Draws the cells of `path` on `dom` (the product's own domain when its
  // projection is missing) and captures the frame; standard output is kept.
  void plot(Kind k, const std::string& path, Domain dom, Capture& cap) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    if (dom.proj == ZOR_MISSING) {
      open(k, path);
      dom = product(k);
      k == Kind::Nowrad ? NOWRad_close_file() : KAVRAD_close_file();
    }
    zor::test::open_frame(dom);
    const int opened = open(k, path);
    k == Kind::Nowrad ? NOWRad_plot_summary() : KAVRAD_plot_summary();
    k == Kind::Nowrad ? NOWRad_close_file() : KAVRAD_close_file();
    out_ = testing::internal::GetCapturedStdout();
    err_ = testing::internal::GetCapturedStderr();
    ASSERT_EQ(opened, 1);
    ASSERT_TRUE(zor::test::grab(cap));
  }

  // The pixel at a latitude and longitude of the current plot.
  static std::uint32_t at(const Capture& cap, double lat, double lon) {
    float x = 0, y = 0;
    if (!MAP_tran(static_cast<float>(lat), static_cast<float>(lon), &x, &y)) return 0xFF000000u;
    const int px = static_cast<int>(std::floor(xW_p(x))), py = static_cast<int>(std::floor(yW_p(y)));
    if (px < 0 || py < 0 || px >= cap.img.width || py >= cap.img.height) return 0xFF000000u;
    return cap.pixel(px, py);
  }

  static Domain domain(const char* str) {
    Domain d;
    EXPECT_GE(DOM_decode(str, &d), 1) << str;
    return d;
  }

  int files_ = 0;
  std::string out_, err_;
};

// Polar stereographic over the central United States.
constexpr const char* kCentral = "ps:39:-98,38,-95,41,31,0.5,0.5";

TEST_F(MosaicFrameTest, BlockAndRingWhereTheyBelongOnOwnAndOtherProjections) {
  struct Point {
    double lat, lon;
    float value;  // -1: neither colour
  };
  // A block of 35 dBZ over Kansas and a ring of 50 dBZ 100-200 km around a
  // point in Tennessee; points half a degree inside and outside the block's
  // edges, on the ring and inside and outside it.
  const double ring_lat = 35.0, ring_lon = -88.0, deg_lat = 150 / 111.195,
               deg_lon = 150 / (111.195 * std::cos(35.0 * M_PI / 180));
  const Point points[] = {
      {38.5, -98.0, 35},  {37.5, -100.5, 35}, {39.5, -95.5, 35},  {37.5, -95.5, 35},   {39.5, -100.5, 35},
      {36.5, -98.0, -1},  {40.5, -98.0, -1},  {38.5, -101.5, -1}, {38.5, -94.5, -1},   {ring_lat, ring_lon, -1},
      {ring_lat + deg_lat, ring_lon, 50},     {ring_lat - deg_lat, ring_lon, 50},      {ring_lat, ring_lon + deg_lon, 50},
      {ring_lat, ring_lon - deg_lon, 50},     {ring_lat + 2.25, ring_lon, -1},
  };
  for (const char* format : {"nowrad", "nowrad-lambert", "kavrad-coarse", "kavrad"}) {
    const std::string path = make(format, {"block:37:40:-101:-95:35", "ring:35:-88:100:200:50"});
    for (const char* dom : {"", kCentral}) {
      SCOPED_TRACE(std::string(format) + " on " + (*dom ? dom : "its own grid"));
      Domain d;
      if (*dom) d = domain(dom);
      Capture cap;
      plot(kind_of(format), path, d, cap);
      const std::uint32_t brown = fill_rgb(35), lred = fill_rgb(50);
      ASSERT_FALSE(near(brown, lred));
      for (const Point& p : points) {
        const std::uint32_t c = at(cap, p.lat, p.lon);
        if (p.value == 35) EXPECT_TRUE(near(c, brown)) << p.lat << "," << p.lon << ": " << std::hex << c;
        else if (p.value == 50) EXPECT_TRUE(near(c, lred)) << p.lat << "," << p.lon << ": " << std::hex << c;
        else EXPECT_EQ(c, 0u) << p.lat << "," << p.lon << ": " << std::hex << c;
      }
      EXPECT_GT(zor::mosaic::fill_calls(), 0);
      EXPECT_EQ(err_, "");
      restart();
    }
  }
}

TEST_F(MosaicFrameTest, KavradRowCommandsFillTheirCells) {
  // Rows of the coarse grid: 'E' and '#' fill row 0 with 25 dBZ; row 1 starts
  // with a '#' that draws nothing, then no echo; row 2 is 1 + 30 cells ('$')
  // of 35 dBZ; row 3 is 1 + 5 + 5 ('"') cells of 35; row 4 is 'E' and 0x05:
  // 6 cells of 25.
  std::vector<std::uint8_t> b(2048, ' ');
  b[1996 + 38] = 10;
  const std::string rest_none = "P#";
  const std::string image = "E#" + ("#" + rest_none) + "G$\x1e" + rest_none + "G\x05\"" + rest_none + "E\x05" +
                            rest_none + "`\x04" + rest_none + "!";
  b.insert(b.end(), image.begin(), image.end());
  const std::string path = make_raw(b);
  // A latitude-longitude window 80 cells wide and 40 rows high at the grid's
  // top left corner.
  const double dx = 0.0257812, dy = 0.0171874, top = 39.0 + 2879 / 2.0 * dy, left = -96.0 - 2559 / 2.0 * dx;
  char dom[120];
  std::snprintf(dom, sizeof dom, "ll,%f,%f,41,21,%f,%f", top - 20 * dy, left + 40 * dx, 2 * dx, 2 * dy);
  Capture cap;
  plot(Kind::Kavrad, path, domain(dom), cap);
  const std::uint32_t green = fill_rgb(25), brown = fill_rgb(35), white = fill_rgb(75);
  ASSERT_TRUE(near(white, 0xFFFFFF));
  // Row r lies one row below the grid top: its centre 1.5 rows down.
  auto cell = [&](int r, int c) { return at(cap, top - (r + 1.5) * dy, left + (c + 0.5) * dx); };
  struct Expect {
    int row, from, to;
    std::uint32_t colour;
  };
  const Expect rows[] = {{0, 0, 78, green}, {1, 0, 78, 0}, {2, 0, 31, brown}, {2, 31, 78, 0},
                         {3, 0, 11, brown}, {3, 11, 78, 0}, {4, 0, 6, green},  {4, 6, 78, 0},
                         {5, 0, 5, white},  {5, 5, 78, 0}};
  for (const Expect& e : rows)
    for (int c = e.from; c < e.to; ++c)
      EXPECT_TRUE(e.colour == 0 ? cell(e.row, c) == 0 : near(cell(e.row, c), e.colour))
          << "row " << e.row << " col " << c << ": " << std::hex << cell(e.row, c);
}

TEST_F(MosaicFrameTest, RunLengthSetsTheCellsPerRectangle) {
  zor::mosaicgen::Options o;
  o.nx = 100;
  o.ny = 50;
  o.top = 45.0;
  o.dx = 0.2;
  o.dy = 0.2;
  const std::string path = make("nowrad", {"block:37:40:-101:-95:35"}, o);
  // Rows and columns of cells whose centres lie in the block.
  int rows = 0, cols = 0;
  for (int j = 0; j < o.ny; ++j)
    if (const double lat = o.top - (j + 0.5) * o.dy; lat >= 37 && lat < 40) ++rows;
  const double left = o.clon - (o.nx - 1) / 2.0 * o.dx;
  for (int i = 0; i < o.nx; ++i)
    if (const double lon = left + (i + 0.5) * o.dx; lon >= -101 && lon < -95) ++cols;
  ASSERT_GT(rows * cols, 0);
  struct Case {
    const char* param;
    int run;
    long fills;
  };
  const Case cases[] = {{"", 0, rows},
                        {"run", 1, static_cast<long>(rows) * cols},
                        {"run=7", 7, static_cast<long>(rows) * ((cols + 6) / 7)},
                        {"run=0", 1, static_cast<long>(rows) * cols}};
  for (const Case& c : cases) {
    RES_put("plot_param", c.param);
    NOWRad_plot_param();
    EXPECT_EQ(zor::mosaic::run_len(), c.run) << c.param;
    Capture cap;
    plot(Kind::Nowrad, path, Domain{}, cap);
    EXPECT_EQ(zor::mosaic::fill_calls(), c.fills) << c.param;
    EXPECT_TRUE(near(at(cap, 38.5, -98), fill_rgb(35))) << c.param;
  }
}

TEST_F(MosaicFrameTest, RunsAndLinesPastTheGridAreNotDrawn) {
  // A 10 by 3 grid of one-degree cells (top 40 N, centre 98 W) whose first
  // line runs 256 cells and which holds five lines.
  std::vector<std::uint8_t> b = {0x00, 0xF0, 0x09, 0, 0, 0x00, 0xF0, 0x0A, '3', ' ', '1', '0', 0x00, 0xF0, 0x03};
  std::string product = "NOWrad Master       13:45 5-Sep-2003";
  product.resize(80, ' ');
  b.insert(b.end(), product.begin(), product.end());
  const std::string numbers = "C-1.710422667 0.698131701 0 0.017453293 0.017453293";
  b.insert(b.end(), {0x00, 0xF0, 0x0B});
  b.insert(b.end(), numbers.begin(), numbers.end());
  for (int line = 0; line < 5; ++line) {
    b.insert(b.end(), {0x00, 0xF0, 0x0C, static_cast<std::uint8_t>(line), 0});
    if (line == 0) b.insert(b.end(), {0xD5, 0xFF, 0x00});
    else b.insert(b.end(), {0xE5, 0x09});
  }
  const std::string path = make_raw(b);
  Capture cap;
  plot(Kind::Nowrad, path, domain("ll,38.5,-97.5,31,21,1,1"), cap);
  const std::uint32_t green = fill_rgb(25);
  // Cells span 102.5 W to 92.5 W and 40 N to 37 N.
  EXPECT_TRUE(near(at(cap, 39.5, -102), green));
  EXPECT_TRUE(near(at(cap, 37.5, -93), green));
  for (const auto& [lat, lon] : {std::pair{39.5, -92.0}, {39.5, -85.0}, {36.5, -97.5}, {34.0, -97.5}, {40.5, -97.5}})
    EXPECT_EQ(at(cap, lat, lon), 0u) << lat << "," << lon;
  EXPECT_NE(err_.find("246 cells past the end of their lines not drawn"), std::string::npos) << err_;
  EXPECT_NE(err_.find("lines past the grid's 3 rows not drawn"), std::string::npos) << err_;
}

TEST_F(MosaicFrameTest, WithNoDomainTheWholeMosaicIsPlottedOnItsOwnGrid) {
  const std::string path = make("kavrad-coarse", {"block:37:40:-101:-95:35"});
  const std::string png = temp(".png");
  RES_put("out_file", ("png:@" + png).c_str());
  char name[FILE_NAME_MAX] = {};
  FILE_set_file(("@" + path).c_str(), name);
  KAVRAD_set_date(nullptr);
  Domain d;
  testing::internal::CaptureStdout();
  EXPECT_EQ(KAVRAD_plot(&d), 0);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::tuple(d.proj, d.nx, d.ny), std::tuple(2, 2560, 2880));
  EXPECT_TRUE(fs::exists(png)) << out;
  EXPECT_GT(fs::file_size(png), 1000u);
}

}  // namespace
