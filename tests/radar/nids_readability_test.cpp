// Plot readability of NIDS products: the radar and product mnemonic from the
// bulletin line, bar names for flag levels and hydrometeor classes, and
// range-folded digital velocity drawn in purple.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

#include "nids_test_util.h"
#include "zor/nids.h"

using namespace nids_test;

namespace {

TEST(NidsReadability, BulletinLineNamesRadarAndProduct) {
  const struct {
    const char* file;
    const char* ident;
  } cases[] = {
      {"KBMX_SDUS54_N0QBMX_201501020205", "BMX N0Q"},  // "SD" heading
      {"N0R_20041119_2147", "FTG N0R"},                // SOH, sequence, heading
      {"Level3_TUL_TZ0_20200811_1804.nids", "TUL TZ0"},
  };
  for (const auto& c : cases) {
    NIDS_info info;
    ASSERT_EQ(header_of(c.file, &info), 1) << c.file;
    EXPECT_STREQ(NIDS_product_ident(), c.ident) << c.file;
  }
}

TEST(NidsReadability, BarNamesFlagsAndClasses) {
  using zor::nids_plot::fill_table;
  using zor::nids_plot::labelled_fill;
  const std::string refl = labelled_fill(fill_table(94).colours, 94, nullptr);
  EXPECT_EQ(refl.rfind("-100:off:la=ND,5:blue,", 0), 0u) << refl;
  const std::string hydro = labelled_fill(fill_table(165).colours, 165, nullptr);
  for (const char* step : {"10:magenta:la=BI,", "60:dgreen:la=RA,", "100:red:la=HA,", "140:dgray:la=UK,"})
    EXPECT_NE(hydro.find(step), std::string::npos) << step << " in " << hydro;
  EXPECT_EQ(hydro.substr(hydro.size() - 16), ",150:lgray:la=RF");
  const std::string vel = labelled_fill(fill_table(154).colours, 154, nullptr);
  EXPECT_EQ(vel.rfind("-90:purple:la=RF,-89.9:off,-70:blue,", 0), 0u) << vel;
  // Levels from the product's thresholds: the first flag is no data.
  NIDS_info info;
  ASSERT_EQ(header_of("KBMX_SDUS54_N0RBMX_201501020205", &info), 1);
  ASSERT_EQ(info.thres[0], -90.0f);
  const std::string lev = labelled_fill(fill_table(info.code).colours, info.code, info.thres);
  EXPECT_EQ(lev.rfind("off:la=ND,blue,lblue,", 0), 0u) << lev;
}

// Clutter filter control carries filter states in its levels, no thresholds:
// the levels come out as themselves, so the map is no longer one colour.
TEST(NidsReadability, ClutterFilterControlKeepsItsLevels) {
  const Listing l = dump_file("KAMA_SDUS64_NC1AMA_201502150549");
  ASSERT_EQ(l.status, 0) << l.error;
  std::map<float, int> bins;
  for (const auto& line : l.lines) {
    if (line.rfind("R ", 0) != 0) continue;
    std::istringstream in(line.substr(2));
    float angle, width, v;
    in >> angle >> width;
    while (in >> v) ++bins[v];
  }
  EXPECT_EQ(bins, (std::map<float, int>{{1.0f, 52244}, {4.0f, 30556}}));
}

}  // namespace
