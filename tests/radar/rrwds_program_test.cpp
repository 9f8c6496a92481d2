// The radar program plotting RRWDS files: the levels land in their colours;
// bad files end with a message and their exit status.
#include "mosaic_gen.h"
#include "radar_test_util.h"
#include "zor/dom.h"
#include "zor/map.h"
#include "zor/rrwds.h"

namespace {

const std::string kFile = std::string(ZOR_TEST_DATA_DIR) + "/rrwds/oax_levels.rrwds";
constexpr double kLat = 41.3204, kLon = -96.3668;

using zor::test::near;

TEST(RrwdsProgram, LevelsLandInTheirColoursOnTheSiteDomain) {
  const zor::test::TempDir dir("rrwds_program");
  const auto r = zor::test::run_radar(dir.path(), "", "-ba -inp rrwds -me mess -of png:@oax.png @" + kFile);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_NE(r.out.find("Product type: Reflectivity for OAX"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Product location: 41.32 -96.37"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Product date: 1935Z 24 NOV"), std::string::npos) << r.out;
  zor::test::Raster img;
  ASSERT_TRUE(zor::test::read_png(dir / "oax.png", img));

  const zor::test::FrameBox b = zor::test::frame_of(img);  // the plot's white border
  ASSERT_GT(b.right, b.left + 300);
  ASSERT_GT(b.bottom, b.top + 200);

  std::string file = kFile;
  ASSERT_EQ(RRWDS_open_file(file.data()), 1);
  Domain d;
  DOM_init(&d);
  ASSERT_EQ(RRWDS_domain(&d), 0);
  RRWDS_close_file();
  MAP_domain(&d);
  // Level colours of "None,Blue,Cyan,Green,Yellow,Red,Magenta,Off" in zor.clr.
  const struct {
    double az, nm;
    std::uint32_t colour;
  } points[] = {{30, 35, 0x0000FF}, {120, 75, 0x00CCCC}, {210, 95, 0x00BF00}, {300, 35, 0xFFFF00},
                {70, 100, 0xFF0000}, {250, 40, 0xD900D9}, {160, 40, 0x000000}, {30, 60, 0x000000}};
  for (const auto& p : points) {
    double lat = 0, lon = 0;
    zor::mosaicgen::destination(kLat, kLon, p.az, p.nm, &lat, &lon);
    const std::uint32_t got = zor::test::map_pixel(img, b, lat, lon);
    EXPECT_TRUE(near(got, p.colour)) << p.az << " deg " << p.nm << " nm: " << std::hex << got;
  }
  MAP_domain(nullptr);
}

TEST(RrwdsProgram, BadFilesEndWithAMessageAndTheirStatus) {
  struct Case {
    const char* name;
    std::size_t keep;  // bytes of the good file kept (0: all)
    std::size_t at;    // a byte replaced (12: none)
    const char* bytes;
    int status;
    const char* message;
  };
  const Case cases[] = {
      {"five", 5, 12, "", 10, "RRWDS_open_file: five: file of 5 bytes is shorter than the 12-byte header"},
      {"half", 12 + 180 * 80 + 7, 12, "", 0, "ends after 180 of 360 radials"},
      {"hour", 0, 5, "\xFC", 10, "hour out of range (byte 5 = 0xFC)"},
      {"station", 0, 0, "ZZZ", 11, "RRWDS_get_header: Station not found"},
      {"missing", 0, 12, nullptr, 10, "RRWDS_open_file: Unable to open file:missing"},
  };
  const std::string good = zor::test::slurp(kFile);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const zor::test::TempDir dir("rrwds_bad");
    if (c.bytes != nullptr) {
      std::string bytes = good.substr(0, c.keep > 0 ? c.keep : good.size());
      if (*c.bytes != '\0') bytes.replace(c.at, std::string(c.bytes).size(), c.bytes);
      zor::test::write_file(dir / c.name, bytes);
    }
    const auto r = zor::test::run_radar(dir.path(), "", std::string("-ba -inp site -of png:@x.png @") + c.name);
    EXPECT_EQ(r.status, c.status) << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_EQ(std::filesystem::exists(dir / "x.png"), c.status == 0);
  }
}

}  // namespace
