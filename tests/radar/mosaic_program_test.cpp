// The radar program plotting generated mosaics in batch mode: a block of
// 35 dBZ over Kansas lands over Kansas in its colour in the PNG, on the
// default region and on a latitude-longitude domain; damaged and missing
// files end with a message.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "../gks/print_test_util.h"
#include "mosaic_gen.h"
#include "zor/dom.h"
#include "zor/map.h"

namespace fs = std::filesystem;

namespace {

struct ProgramRun {
  int status = -1;
  std::string out, err;
};

std::string slurp(const fs::path& p) {
  std::ifstream in(p);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

class MosaicProgramTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("mosaic_program_" + std::to_string(::getpid()) + "_" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  ProgramRun radar(const std::string& args) {
    const std::string cmd = "cd '" + dir_.string() + "' && env -u DISPLAY zordefault='" + (dir_ / "none").string() +
                            "' '" + ZOR_RADAR_BINARY + "' -ba " + args + " </dev/null >out.txt 2>err.txt";
    ProgramRun r;
    const int rc = std::system(cmd.c_str());
    r.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    r.out = slurp(dir_ / "out.txt");
    r.err = slurp(dir_ / "err.txt");
    return r;
  }

  std::string make(const char* format, const char* name) {
    zor::mosaicgen::Pattern p;
    EXPECT_TRUE(p.parse("block:37:40:-101:-95:35", nullptr));
    const std::string path = (dir_ / name).string();
    EXPECT_TRUE(zor::mosaicgen::write_file(format, p, {}, path, nullptr));
    return path;
  }

  fs::path dir_;
};

std::uint32_t rgb(const zor::test::Raster& r, int x, int y) {
  const unsigned char* p = r.at(x, y);
  return static_cast<std::uint32_t>(p[0]) << 16 | static_cast<std::uint32_t>(p[1]) << 8 | p[2];
}

bool near(std::uint32_t a, std::uint32_t b) {
  for (int shift : {0, 8, 16})
    if (std::abs(static_cast<int>(a >> shift & 0xFF) - static_cast<int>(b >> shift & 0xFF)) > 2) return false;
  return true;
}

// The plot's white frame along the middle row and column.
struct Frame {
  int left = -1, right = -1, top = -1, bottom = -1;
};
Frame frame_of(const zor::test::Raster& r) {
  Frame b;
  const int y = r.height / 2, x = r.width * 3 / 5;
  for (int i = 0; i < r.width && b.left < 0; ++i)
    if (rgb(r, i, y) == 0xFFFFFF) b.left = i;
  for (int i = r.width - 1; i >= 0 && b.right < 0; --i)
    if (rgb(r, i, y) == 0xFFFFFF) b.right = i;
  for (int j = 0; j < r.height && b.top < 0; ++j)
    if (rgb(r, x, j) == 0xFFFFFF) b.top = j;
  for (int j = r.height - 1; j >= 0 && b.bottom < 0; --j)
    if (rgb(r, x, j) == 0xFFFFFF) b.bottom = j;
  return b;
}

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
    const Frame f = frame_of(img);
    ASSERT_GT(f.right, f.left + 100);
    ASSERT_GT(f.bottom, f.top + 100);
    Domain d;
    DOM_init(&d);
    ASSERT_GE(DOM_decode(c.region, &d), 1);
    MAP_domain(&d);
    MAP_limits lim;
    MAP_get_limits(&lim);
    auto pixel = [&](double lat, double lon) {
      float x = 0, y = 0;
      MAP_tran(static_cast<float>(lat), static_cast<float>(lon), &x, &y);
      const int px = f.left + static_cast<int>((x - lim.x_min) / (lim.x_max - lim.x_min) * (f.right - f.left));
      const int py = f.top + static_cast<int>((lim.y_max - y) / (lim.y_max - lim.y_min) * (f.bottom - f.top));
      return rgb(img, px, py);
    };
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
