// The radar program plotting radar coded messages end to end (input type
// 35, "-inp rcmsite") without a display: the PNG read back with libpng, the
// printed report, and the exit status of a station that is not there.
#include "radar_test_util.h"

namespace {

const std::string kDir = std::string(ZOR_TEST_DATA_DIR) + "/rcm/";

using zor::test::ProgramRun;

class RcmProgramTest : public zor::test::ProgramTest {
 protected:
  RcmProgramTest() : ProgramTest("rcm_program", "-ba -inp rcmsite ") {}
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
  for (const auto& [rgb, least] : {std::pair{0x0000FFu, 300}, {0x00CCCCu, 300}, {0x00BF00u, 100}, {0xFFFF00u, 20}})
    EXPECT_GT(img.count(0, 0, img.width, img.height, rgb), least) << std::hex << rgb;
}

TEST_F(RcmProgramTest, StationsThatCannotBePlottedEndTheProgram) {
  struct Case {
    std::string args;
    int status;
    const char* message;
  };
  const Case cases[] = {
      {"-id bmx -of png:@x.png @" + kDir + "KOKX_SDUS41_RCMOKX_201108280716", 10, "no message of station BMX"},
      {"-id -of png:@x.png @" + kDir + "KOKX_SDUS41_RCMOKX_201108280716", 10, "no station to plot"},
      {"-id xxa -of png:@x.png @" + kDir + "plain_sites.txt", 11, "unknown radar station: XXA"},
      {"-id okx -of png:@x.png @no_such_file", 10, ""},
  };
  for (const auto& c : cases) {
    const ProgramRun r = radar(c.args);
    EXPECT_EQ(r.status, c.status) << c.args << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << r.err;
  }
}

}  // namespace
