// The radar program plotting generated mosaics in batch mode: the block lands
// where it belongs in its colour; damaged and missing files end with a message.
#include <fstream>

#include "mosaic_gen.h"
#include "radar_test_util.h"
#include "zor/dom.h"
#include "zor/map.h"

namespace fs = std::filesystem;

namespace {

using zor::test::ProgramRun;

class MosaicProgramTest : public zor::test::ProgramTest {
 protected:
  MosaicProgramTest() : ProgramTest("mosaic_program", "-ba ") {}

  std::string make(const char* format, const char* name) {
    zor::mosaicgen::Pattern p;
    EXPECT_TRUE(p.parse("block:37:40:-101:-95:35", nullptr));
    const std::string path = (dir_ / name).string();
    EXPECT_TRUE(zor::mosaicgen::write_file(format, p, {}, path, nullptr));
    return path;
  }
};

using zor::test::near;

constexpr std::uint32_t kBrown = 0x996633;  // "brown" of the colour table: 35 dBZ

TEST_F(MosaicProgramTest, KansasBlockLandsOverKansasInItsColour) {
  struct Case {
    const char* format;
    const char* input;
    const char* domain;  // as the program gets it; "" for the default region
    const char* region;  // the same domain for the test's own projection
  };
  const Case cases[] = {
      {"nowrad", "nowrad", "", "ps:39:-97,39,-97,25,17,2.3,2.3"},
      {"nowrad-lambert", "nowrad", "-pd ll,38,-97,41,31,0.5,0.5", "ll,38,-97,41,31,0.5,0.5"},
      {"kavrad-coarse", "kavrad", "-pd ll,38,-97,41,31,0.5,0.5", "ll,38,-97,41,31,0.5,0.5"},
      {"kavrad", "kavrad", "", "ps:39:-97,39,-97,25,17,2.3,2.3"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.format);
    const std::string file = make(c.format, "ks.mosaic");
    const ProgramRun r = radar(std::string("-inp ") + c.input + " -me mess " + c.domain + " -of png:@ks.png @" + file);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    zor::test::Raster img;
    ASSERT_TRUE(zor::test::read_png((dir_ / "ks.png").string(), img)) << r.out;
    const zor::test::FrameBox f = frame_of(img);
    ASSERT_TRUE(f.found());
    Domain d;
    ASSERT_GE(DOM_decode(c.region, &d), 1);
    MAP_domain(&d);
    auto pixel = [&](double lat, double lon) { return zor::test::map_pixel(img, f, lat, lon); };
    for (const auto& [lat, lon] : {std::pair{38.5, -98.0}, {37.7, -100.2}, {39.3, -95.8}})
      EXPECT_TRUE(near(pixel(lat, lon), kBrown)) << lat << "," << lon << ": " << std::hex << pixel(lat, lon);
    for (const auto& [lat, lon] : {std::pair{35.0, -98.0}, {42.0, -98.0}, {38.5, -104.0}, {38.5, -91.0}})
      EXPECT_FALSE(near(pixel(lat, lon), kBrown)) << lat << "," << lon;
    EXPECT_NE(r.out.find("Product date: 1345Z  5 SEP 03"), std::string::npos) << r.out;
    MAP_domain(nullptr);
    fs::remove(dir_ / "ks.png");
  }
}

TEST_F(MosaicProgramTest, DamagedAndMissingFilesEndWithAMessage) {
  std::ofstream(dir_ / "junk.nowrad") << "this is not a mosaic";
  const ProgramRun junk = radar("-inp nowrad -of png:@j.png @" + (dir_ / "junk.nowrad").string());
  EXPECT_EQ(junk.status, 0);
  EXPECT_NE(junk.err.find("NOWRad_open_file: "), std::string::npos) << junk.err;
  EXPECT_NE(junk.err.find("no first tag"), std::string::npos) << junk.err;

  const std::string file = make("kavrad-coarse", "cut.kavrad");
  fs::resize_file(file, fs::file_size(file) - 100);
  const ProgramRun cut = radar("-inp kavrad -of png:@c.png @" + file);
  EXPECT_EQ(cut.status, 0);
  EXPECT_NE(cut.err.find("KAVRAD_plot_summary: image ends without its end byte"), std::string::npos) << cut.err;
  EXPECT_TRUE(fs::exists(dir_ / "c.png"));

  const ProgramRun missing = radar("-inp kavrad -of png:@m.png @" + (dir_ / "absent.kavrad").string());
  EXPECT_NE(missing.status, 0);
  EXPECT_FALSE(missing.err.empty());
}

}  // namespace
