// The radar program plotting radar coded messages end to end (input type
// 35, "-inp rcmsite") without a display: the PNG read back with libpng, the
// printed report, and the exit status of a station that is not there.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "../gks/print_test_util.h"

namespace fs = std::filesystem;

namespace {

const std::string kDir = std::string(ZOR_TEST_DATA_DIR) + "/rcm/";

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

int count_colour(const zor::test::Raster& r, unsigned rgb) {
  int n = 0;
  for (int y = 0; y < r.height; ++y)
    for (int x = 0; x < r.width; ++x) {
      const unsigned char* p = r.at(x, y);
      n += (static_cast<unsigned>(p[0]) << 16 | static_cast<unsigned>(p[1]) << 8 | p[2]) == rgb;
    }
  return n;
}

class RcmProgramTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("rcm_program_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  ProgramRun radar(const std::string& args) {
    const std::string cmd = "cd '" + dir_.string() + "' && env -u DISPLAY zordefault='" +
                            (dir_ / "none").string() + "' '" + ZOR_RADAR_BINARY +
                            "' -ba -inp rcmsite " + args + " </dev/null >out.txt 2>err.txt";
    ProgramRun r;
    const int rc = std::system(cmd.c_str());
    r.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    r.out = slurp(dir_ / "out.txt");
    r.err = slurp(dir_ / "err.txt");
    return r;
  }

  fs::path dir_;
};

TEST_F(RcmProgramTest, RealMessagePlotsItsEchoesAndPrintsItsReport) {
  const ProgramRun r = radar("-id okx -me mess,out2 -va comp -of png:@okx.png @" + kDir +
                             "KOKX_SDUS41_RCMOKX_201108280716");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("ID: OKX\nNum: 515\nLoc: 40.865 -72.864\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Max Top: 620  55, 67\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("STRM: L6  56, 62 160-072 116 0\n"), std::string::npos) << r.out;
  zor::test::Raster img;
  ASSERT_TRUE(zor::test::read_png((dir_ / "okx.png").string(), img)) << r.out << r.err;
  // Categories 1 to 4 of the message in their table colours, and the
  // mesocyclones' yellow markers.
  EXPECT_GT(count_colour(img, 0x0000FF), 300);
  EXPECT_GT(count_colour(img, 0x00CCCC), 300);
  EXPECT_GT(count_colour(img, 0x00BF00), 100);
  EXPECT_GT(count_colour(img, 0xFFFF00), 20);
}

TEST_F(RcmProgramTest, StationsThatCannotBePlottedEndTheProgram) {
  struct Case {
    const char* args;
    int status;
    const char* message;
  };
  const std::string okx = "@" + kDir + "KOKX_SDUS41_RCMOKX_201108280716";
  const Case cases[] = {
      {"-id bmx", 10, "no message of station BMX"},
      {"-id", 10, "no station to plot"},
      {"-id xxa", 11, "unknown radar station: XXA"},
  };
  for (const auto& c : cases) {
    const std::string file =
        std::string(c.args) == "-id xxa" ? "@" + kDir + "plain_sites.txt" : okx;
    const ProgramRun r = radar(std::string(c.args) + " -of png:@x.png " + file);
    EXPECT_EQ(r.status, c.status) << c.args << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << r.err;
  }
  const ProgramRun missing = radar("-id okx -of png:@x.png @no_such_file");
  EXPECT_EQ(missing.status, 10) << missing.err;
}

}  // namespace
