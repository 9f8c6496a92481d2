// NIDS readability: radar and product names, bar names of flags and classes,
// range folding, spectrum widths, and the opt-in values of the ICD.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
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
  for (int code : {154, 27, 155}) {
    const std::string vel = labelled_fill(fill_table(code).colours, code, nullptr);
    EXPECT_NE(vel.find("-90:purple:la=RF,-89.9:off,"), std::string::npos) << vel;
  }
  EXPECT_EQ(labelled_fill(fill_table(34).colours, 34, nullptr),
            "0:off:la=None,1:blue:la=Map,2:lblue:la=Map+,3:cyan:la=Force,4:lcyan:la=All");
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
  std::map<float, int> levels;
  for (float v : bins(l)) ++levels[v];
  EXPECT_EQ(levels, (std::map<float, int>{{1.0f, 52244}, {4.0f, 30556}}));
}

// 16-level velocity flags no data (level 0) apart from range folding (level
// 15); super-resolution width comes out in knots from 0 to its maximum.
TEST(NidsReadability, RangeFoldingAndWidthsDecode) {
  NIDS_info info;
  ASSERT_EQ(header_of("KBMX_SDUS54_N0VBMX_201501020205", &info), 1);
  EXPECT_EQ(info.thres[0], -100.0f);
  EXPECT_EQ(info.thres[15], -90.0f);
  const std::vector<float> vel = bins(dump_file("KBMX_SDUS54_N0VBMX_201501020205"));
  EXPECT_GT(std::count(vel.begin(), vel.end(), -90.0f), 1000);

  const Listing w = dump_file("H0W_20200812_1305");
  ASSERT_EQ(w.status, 0) << w.error;
  EXPECT_EQ(w.lines[1], "label \"Md=pr Rng=162(0.1) El=0.5 Mx=29\"");
  std::map<float, int> widths;
  for (float v : bins(w))
    if (v != -9999.0f && v != -90.0f) ++widths[v];
  ASSERT_FALSE(widths.empty());
  EXPECT_EQ(widths.begin()->first, 0.0f);
  EXPECT_NEAR(widths.rbegin()->first, 29.16f, 0.01f);  // the product's own maximum
  EXPECT_GT(widths[2.916f], widths[15.552f]);          // mostly narrow
}

// With icd values 8-bit levels start at code 2, TDWR velocity turns into
// knots and code 1 of the accumulations is data; the default is unchanged.
TEST(NidsReadability, IcdValuesAreOptIn) {
  const struct {
    const char* file;
    std::function<float(float)> icd;  // from the default value
  } cases[] = {
      {"KBMX_SDUS54_N0QBMX_201501020205", [](float v) { return v - 1.0f; }},
      {"KLOT_SDUS53_TV0ORD_201501150004", [](float v) { return v == -90.0f ? v : (v - 1.0f) * 1.944f; }},
      {"KBMX_SDUS84_DSDBMX_201501020205", [](float v) { return v; }},
  };
  for (const auto& c : cases) {
    NIDS_reset();
    const std::vector<float> plain = bins(dump_file(c.file));
    NIDS_set_icd(1);
    const std::vector<float> icd = bins(dump_file(c.file));
    NIDS_reset();
    ASSERT_EQ(plain.size(), icd.size()) << c.file;
    int compared = 0, gained = 0;
    for (std::size_t i = 0; i < plain.size(); ++i) {
      if (plain[i] == -9999.0f) {
        gained += icd[i] != -9999.0f;
        continue;
      }
      ++compared;
      ASSERT_NEAR(icd[i], c.icd(plain[i]), 0.01f) << c.file << " bin " << i;
    }
    EXPECT_GT(compared, 10000) << c.file;
    EXPECT_EQ(gained > 0, std::string(c.file).find("DSD") != std::string::npos) << c.file;
  }
  EXPECT_EQ(NIDS_get_icd(), 0);
}

}  // namespace
