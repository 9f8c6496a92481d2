// The radar program plotting NIDS products without a display: PNG images read
// back, the text grid of a raster product, several files as a loop.
#include <fstream>

#include "nids_test_util.h"
#include "radar_test_util.h"
#include "zor/nids.h"

namespace fs = std::filesystem;
using namespace nids_test;

namespace {

using zor::test::ProgramRun;

class NidsProgramTest : public zor::test::ProgramTest {
 protected:
  NidsProgramTest() : ProgramTest("nids_plot_program", "-ba -inp nids ") {}
  std::string product(const char* name) const { return file(data_path(name)); }
};

using zor::test::FrameBox;

TEST_F(NidsProgramTest, OwnDomainPutsTheRadarAtTheCentreWithMapBarAndLabels) {
  const ProgramRun r = radar("-pp site -of png:@own.png " + product("KBMX_SDUS54_N0QBMX_201501020205"));
  ASSERT_EQ(r.status, 0) << r.err;
  zor::test::Raster img;
  ASSERT_TRUE(zor::test::read_png((dir_ / "own.png").string(), img)) << r.out << r.err;
  const FrameBox b = frame_of(img);
  ASSERT_TRUE(b.found());
  ASSERT_GT(b.top, 0);
  // The site marker at the centre of the plot (the domain's shape is checked
  // on the same picture in the window test).
  const int xc = b.cx(), yc = b.cy();
  EXPECT_GT(img.count(xc - 1, yc - 1, xc + 2, yc + 2, 0xFFFFFF), 0);
  // Echoes of several table colours, red map lines, the colour bar below the
  // plot and the product name above it.
  EXPECT_GT(img.count(b.left, b.top, b.right, b.bottom, 0x00CCCC) +
                img.count(b.left, b.top, b.right, b.bottom, 0x7FFFFF),
            1000);
  EXPECT_GT(img.count(b.left, b.top, b.right, b.bottom, 0xFF0000), 200);
  EXPECT_GT(img.count(b.left, b.bottom + 2, xc, img.height, 0x0000FF), 20);
  EXPECT_GT(img.count(0, 0, xc, b.top, 0xFFFFFF), 30);

  // Without the site parameter nothing white marks the centre.
  const ProgramRun r2 = radar("-of png:@plain.png " + product("KBMX_SDUS54_N0QBMX_201501020205"));
  ASSERT_EQ(r2.status, 0);
  zor::test::Raster plain;
  ASSERT_TRUE(zor::test::read_png((dir_ / "plain.png").string(), plain));
  EXPECT_EQ(plain.count(xc - 1, yc - 1, xc + 2, yc + 2, 0xFFFFFF), 0);
}

TEST_F(NidsProgramTest, HeaderSummaryOnStandardOutput) {
  const ProgramRun r = radar("-me mess -of png:@s.png " + product("KBMX_SDUS54_N0RBMX_201501020205"));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("Product type: Base reflectivity (Dbz)\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Product date: 0205Z  2 JAN 15\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Product location: 33.17 -86.77\n"), std::string::npos);
  EXPECT_NE(r.out.find("Product domain: pstereo:"), std::string::npos);
  EXPECT_NE(r.out.find("Threshold values: -90.0 5.0 10.0 15.0|20.0 25.0 30.0 35.0\n"
                       "                  40.0 45.0 50.0 55.0|60.0 65.0 70.0 75.0\n"),
            std::string::npos)
      << r.out;
}

TEST_F(NidsProgramTest, RasterGridFileHoldsEveryCellOfTheProduct) {
  const std::string name = "KBMX_SDUS54_DPABMX_201501020205";
  const ProgramRun r = radar("-me mess -of zor=@grid_%Y%m%d%h%n.txt " + product(name.c_str()));
  ASSERT_EQ(r.status, 0) << r.err;
  const fs::path grid = dir_ / "grid_201501020205.txt";
  EXPECT_NE(r.out.find("Opening grid file: grid_201501020205.txt"), std::string::npos) << r.out;
  std::ifstream in(grid);
  ASSERT_TRUE(in) << r.out;
  std::string line;
  for (const char* want : {"ZORGRID", "0205Z  2 JAN 15", "Digital precip array (in)",
                           "PS:-105.000000 33.172001 -86.769997 0.047596 0.047596 131 131"}) {
    std::getline(in, line);
    EXPECT_EQ(line, want);
  }

  // The decoder's rows, one value per cell, turned from dBA into inches.
  std::vector<std::string> expected;
  for (const Row& row : decode(data_path(name)).rows)
    for (float v : row) {
      if (v != -9999.0f) v = static_cast<float>(std::pow(10.0, v / 10.0) / 100.0);
      char buf[40];
      std::snprintf(buf, sizeof buf, "%f", static_cast<double>(v));
      expected.push_back(buf);
    }
  ASSERT_EQ(expected.size(), 131u * 131u);
  std::size_t i = 0, missing = 0, wrong = 0;
  while (std::getline(in, line)) {
    ASSERT_LT(i, expected.size());
    wrong += line != expected[i];
    missing += line == "-9999.000000";
    ++i;
  }
  EXPECT_EQ(i, expected.size());
  EXPECT_EQ(wrong, 0u);
  EXPECT_GT(missing, 0u);
  EXPECT_LT(missing, expected.size());

  // Radial products write no grid.
  const ProgramRun r2 = radar("-of zor=@radial.txt " + product("KBMX_SDUS54_N0RBMX_201501020205"));
  EXPECT_EQ(r2.status, 0);
  EXPECT_FALSE(fs::exists(dir_ / "radial.txt"));
}

TEST_F(NidsProgramTest, SeveralFilesMakeOneFramePerFile) {
  const ProgramRun r = radar("-me mess -of png:@loop_%i.png " + product("KBMX_SDUS54_N0RBMX_201501020205") + " " +
                      product("KBMX_SDUS54_N0QBMX_201501020205") + " @missing_file");
  ASSERT_EQ(r.status, 0) << r.err;
  zor::test::Raster a, b;
  ASSERT_TRUE(zor::test::read_png((dir_ / "loop_00.png").string(), a)) << r.out;
  ASSERT_TRUE(zor::test::read_png((dir_ / "loop_01.png").string(), b)) << r.out;
  EXPECT_FALSE(fs::exists(dir_ / "loop_02.png"));
  // A file that does not open is skipped with a warning.
  EXPECT_NE(r.err.find("NIDS_open_file: Unable to open file:missing_file"), std::string::npos) << r.err;
  ASSERT_EQ(a.width, b.width);
  ASSERT_EQ(a.height, b.height);
  // Both frames are on the first product's domain; the 8-bit product has
  // finer steps, so the pictures differ.
  EXPECT_NE(a.rgb, b.rgb);
  // A single file that does not open ends the program.
  const ProgramRun alone = radar("-of png:@x.png @no_such_product");
  EXPECT_EQ(alone.status, 10);
  EXPECT_NE(alone.err.find("NIDS_open_file: Unable to open file:no_such_product"), std::string::npos) << alone.err;
}

TEST_F(NidsProgramTest, GraphAndTableProductsPlot) {
  struct Case {
    const char* file;
    std::uint32_t colour;  // a colour the plot must show
    int min;
  };
  // Wind profile barbs in the colours of their speeds; storm tracking, hail,
  // mesocyclone and TVS tables as page text; storm symbols (white) over
  // composite reflectivity.
  const Case cases[] = {{"KBMX_SDUS34_NVWBMX_201501020205", 0x7FFFFF, 50},
                        {"KBMX_SDUS34_NSTBMX_201501020205", 0xFFFFFF, 300},
                        {"NIDS_DYX_NST_NST_20200522_0222", 0xFFFFFF, 100},
                        {"KBMX_SDUS54_NCRBMX_201501020205", 0xFFFFFF, 300},
                        {"KOKX_SDUS61_NHIOKX_201108280702", 0xFFFFFF, 300},   // hail
                        {"KOKX_SDUS31_NMDOKX_201108280702", 0xFFFFFF, 100},   // mesocyclones
                        {"KOKX_SDUS61_NTVOKX_201108280702", 0xFFFFFF, 30}};  // tornado vortices
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    int counts[2] = {0, 0};
    for (int graph : {0, 1}) {
      const ProgramRun r = radar(std::string("-va comp -pp ") + (graph ? "graph" : "nograph") + " -of png:@g.png " +
                                 product(c.file));
      ASSERT_EQ(r.status, 0) << r.err;
      EXPECT_EQ(r.err.find("gset_win"), std::string::npos) << r.err;
      zor::test::Raster img;
      ASSERT_TRUE(zor::test::read_png((dir_ / "g.png").string(), img));
      const FrameBox b = frame_of(img);
      counts[graph] = img.count(b.left + 1, b.top + 1, b.right, b.bottom, c.colour);
      fs::remove(dir_ / "g.png");
    }
    EXPECT_GE(counts[1], c.min);
    // The pages' texts and lines only with "graph"; barbs of the wind
    // profile are the product's own symbology.
    if (c.colour == 0xFFFFFF) {
      EXPECT_GE(counts[1] - counts[0], c.min / 2);
    } else {
      EXPECT_EQ(counts[1], counts[0]);
    }
  }
}

}  // namespace
