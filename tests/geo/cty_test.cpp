// City database: the file format, the bundled databases, a domain's station
// table and the nearest station.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "../common/expect.h"
#include "../common/files.h"
#include "zor/cty.h"
#include "zor/map.h"

namespace {

const std::string kData = ZOR_TEST_DATA_DIR;
const std::string kSmall = kData + "/cty/test.cty";

class Cty : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::cty::reset();
    zor::map::reset();
  }
  void TearDown() override {
    zor::cty::reset();
    zor::map::reset();
  }
};

std::vector<CTY_data> read_all(const std::string& file) {
  std::vector<CTY_data> out;
  int fd = CTY_open(file.c_str(), 0, 7);
  if (fd < 0) return out;
  CTY_data c;
  while (CTY_read(fd, &c) >= 0) out.push_back(c);
  CTY_close(fd);
  return out;
}

TEST_F(Cty, ReadsEveryFieldOfTheLineFormat) {
  const auto rows = read_all(kSmall);
  ASSERT_EQ(rows.size(), 5u);  // the blank line is skipped
  const CTY_data& a = rows[0];
  EXPECT_EQ(std::tuple(std::string(a.name), std::string(a.state), std::string(a.region), std::string(a.id)),
            std::tuple("ALPHA TOWN", "CO", "US", "ALP"));
  EXPECT_TRUE(zor::test::floats_eq({a.lat, a.lon, a.el, rows[3].el}, {40, -100, 1500, -9999}));  // 9999: none
  // Priority, MOS and upper-air marks, WMO number.
  EXPECT_EQ(std::tuple(a.prior, a.mos, a.ua, a.wmo), std::tuple(1, '*', '*', 72001));
  EXPECT_EQ(std::tuple(rows[1].prior, rows[1].mos, rows[1].ua), std::tuple(3, ' ', ' '));
  EXPECT_EQ(std::tuple(rows[4].prior, rows[4].mos, rows[4].ua, rows[4].wmo), std::tuple(4, '*', ' ', 1384));
}

TEST_F(Cty, WriterAndReaderAgree) {
  const auto rows = read_all(kSmall);
  const std::string out = zor::test::scratch("cty_roundtrip.cty");
  int fd = CTY_open(out.c_str(), 1, 0);
  ASSERT_GE(fd, 0);
  CTY_info info;
  info.dtype = -1;
  EXPECT_EQ(CTY_getinfo(fd, &info), 0);
  EXPECT_EQ(info.dtype, 0);
  for (const auto& c : rows) EXPECT_EQ(CTY_write(fd, &c), 0);
  EXPECT_EQ(CTY_read(fd, nullptr), -1);  // a file opened for writing is not read
  CTY_close(fd);
  const auto back = read_all(out);
  ASSERT_EQ(back.size(), rows.size());
  auto fields = [](const CTY_data& c) {
    return std::tuple(std::string(c.name), std::string(c.id), std::string(c.region), c.prior, c.mos, c.ua, c.wmo);
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(fields(back[i]), fields(rows[i])) << i;
    EXPECT_TRUE(zor::test::floats_eq({back[i].lat, back[i].el}, {rows[i].lat, rows[i].el})) << i;
  }
}

TEST_F(Cty, DescriptorsAndBadFiles) {
  EXPECT_EQ(CTY_open((kData + "/cty/no-such.cty").c_str(), 0, 0), -1);
  EXPECT_EQ(CTY_open(kSmall.c_str(), 2, 0), -1);
  int fd = CTY_open(kSmall.c_str(), 0, 0);
  ASSERT_GE(fd, 0);
  CTY_data c;
  EXPECT_EQ(CTY_read(fd + 1, &c), -1);  // not the open file
  EXPECT_EQ((std::tuple{CTY_read(fd, &c), CTY_rewind(fd), CTY_read(fd, &c)}), std::tuple(10, 0, 10));  // in order
  EXPECT_STREQ(c.id, "ALP");
  int fd2 = CTY_open(kSmall.c_str(), 0, 0);  // one open file: the first is closed
  EXPECT_EQ(CTY_read(fd, &c), -1);
  EXPECT_EQ((std::pair{CTY_close(fd2), CTY_close(fd2)}), std::pair(0, -1));  // closed once

  EXPECT_EQ(CTY_open_file("no-such-city-file.cty", nullptr), -1);
  float lat = 0, lon = 0;
  EXPECT_EQ((std::tuple{CTY_get_loc("no-such-city-file.cty", "DEN", &lat, &lon),
                        CTY_store("no-such-city-file.cty", 3, nullptr, -9999), CTY_search("DEN", nullptr)}),
            std::tuple(0, 0, 0));
  EXPECT_EQ(CTY_get_prior(), 10);
}

TEST_F(Cty, IdentifierWmoNumberAndNameFindTheSameStation) {
  CTY_data by_id, by_wmo, by_name;
  ASSERT_EQ(CTY_get("sao.cty", "DEN", &by_id), 1);
  ASSERT_EQ(CTY_get("sao.cty", "72565", &by_wmo), 1);
  ASSERT_EQ(CTY_get("sao.cty", by_id.name, &by_name), 1);
  EXPECT_EQ(std::string(by_wmo.id) + std::string(by_name.id), "DENDEN");
  EXPECT_TRUE(std::fabs(by_id.lat - 39.87f) < 0.01f && std::fabs(by_id.lon + 104.67f) < 0.01f);
  CTY_data lower;
  EXPECT_EQ(CTY_get("sao.cty", "den", &lower), 1);  // case does not matter
  EXPECT_EQ(CTY_get("sao.cty", "NO-SUCH-PLACE", &lower), 0);
}

TEST_F(Cty, StationTableKeysAndLookups) {
  ASSERT_GT(CTY_store(kSmall.c_str(), 1, nullptr, -9999), 0);
  CTY_data c;
  auto name = [&c](const char* key) { return CTY_search(key, &c) == 1 ? std::string(c.name) : std::string("none"); };
  // Five digits look up a WMO number; a buoy without identifier has a "b%05d" key.
  EXPECT_EQ(name("ALP"), "ALPHA TOWN");
  EXPECT_EQ(name("72001"), "ALPHA TOWN");
  EXPECT_EQ(name("b41001"), "BUOY ONE");
  EXPECT_EQ(name("41001"), "none");
  EXPECT_EQ(CTY_search("hip", &c), 1);
  EXPECT_NE(CTY_get_table(), nullptr);

  // Identifier type 1: the WMO text, or the identifier without a WMO number.
  CTY_set_id_type(1);
  ASSERT_GT(CTY_store(kSmall.c_str(), 2, nullptr, 3), 0);
  CTY_locate loc;
  ASSERT_EQ(CTY_search("BRV", &loc), 1);
  EXPECT_STREQ(loc.id, "BRV");
  ASSERT_EQ(CTY_search("ALP", &loc), 0);
  ASSERT_EQ(CTY_search("72001", &loc), 1);
  EXPECT_STREQ(loc.id, "72001");
  EXPECT_EQ(CTY_search("ENGM", &loc), 0);  // priority 4 is above the limit 3
  CTY_clear();
  EXPECT_EQ(CTY_get_table(), nullptr);
  EXPECT_EQ(CTY_search("BRV", &loc), 0);
}

TEST_F(Cty, StoreKeepsOnlyStationsOfTheDomain) {
  Domain d{.proj = 2, .plat = 0, .plon = 0, .clat = 40, .clon = -100, .dx = 0.1f, .dy = 0.1f, .nx = 5, .ny = 5};
  ASSERT_GT(CTY_store(kSmall.c_str(), 2, &d, -9999), 0);
  CTY_locate loc;
  ASSERT_EQ(CTY_search("ALP", &loc), 1);
  EXPECT_TRUE(zor::test::floats_eq({loc.x, loc.y}, {-100.0f, 40.0f}));
  EXPECT_EQ(loc.pr, 1);
  EXPECT_EQ(CTY_search("BRV", &loc), 0);  // 1 degree away: outside grid + 3 spacings
}

int fill_user(char* user, const CTY_data* city) {
  std::snprintf(user, 8, "%.7s", city->id);
  return 0;
}

TEST_F(Cty, UserDataTravelsWithEachStation) {
  CTY_data_size(8);
  CTY_enter_func(fill_user);
  ASSERT_GT(CTY_store(kSmall.c_str(), 3, nullptr, -9999), 0);
  char* u = CTY_get_data("HIP");
  ASSERT_NE(u, nullptr);
  EXPECT_STREQ(u, "HIP");
  EXPECT_EQ(CTY_clear_data(0), 5);
  EXPECT_EQ(u[0], '\0');
  EXPECT_EQ(CTY_get_data("NONE"), nullptr);
}

TEST_F(Cty, NearestStationSearch) {
  ASSERT_GT(CTY_store(kSmall.c_str(), 3, nullptr, -9999), 0);
  CTY_locate loc;
  auto nearest = [&loc](float lat, float lon) {
    return CTY_search_loc(lat, lon, &loc) == 1 ? std::string(loc.id) : std::string("none");
  };
  EXPECT_EQ(nearest(40.0f, -99.75f), "ALP");  // 0.25 degree east
  EXPECT_EQ(nearest(40.8f, -100.1f), "BRV");
  EXPECT_EQ(CTY_search_loc(50.0f, -100.0f, &loc), 0);  // nothing within 4.9 degrees
  CTY_store(kSmall.c_str(), 2, nullptr, -9999);
  EXPECT_EQ(CTY_search_loc(40.0f, -100.0f, &loc), 0);  // needs the position key

  // Known points against the bundled radar sites.
  ASSERT_GT(CTY_store("rad.cty", 3, nullptr, 1), 0);
  EXPECT_EQ(nearest(35.30f, -97.30f), "KTLX");   // Norman, Oklahoma
  EXPECT_EQ(nearest(39.70f, -104.50f), "KFTG");  // east of Denver
}

TEST_F(Cty, IdentifierSpecifications) {
  const auto rows = read_all(kSmall);
  ASSERT_EQ(rows.size(), 5u);
  const CTY_data& alp = rows[0];
  const CTY_data& oslo = rows[4];
  struct Case {
    const char* spec;
    bool alp, oslo;
  };
  const Case cases[] = {
      {"ALP", true, false},          {"72001", true, false},       {"alpha", true, false},
      {"ST=CO", true, false},        {"ST=co_us", true, false},    {"ST:CO", true, false},
      {"CN=NO", false, true},        {"CN:US", true, false},       {"ID=ENGM", false, true},
      {"P=1", true, false},          {"P<4", true, true},          {"P>2", false, true},
      {"Lat>50", false, true},       {"Lon<0", true, false},       {"Elev<300", false, true},
      {"WMO=01384", false, true},    {"WMO<2000", false, true},    {"WMO>2000", true, false},
      {"Name=Oslo", false, true},    {"RA<50:40.2:-100", true, false},
      {"ST=CO:P>2", false, false},   {"Bogus=1", false, false},
  };
  for (const Case& c : cases) {
    char* spec[1] = {const_cast<char*>(c.spec)};
    EXPECT_EQ(CTY_data_cmp(1, spec, &alp) == 0, c.alp) << c.spec;
    EXPECT_EQ(CTY_data_cmp(1, spec, &oslo) == 0, c.oslo) << c.spec;
  }
  char* two[2] = {const_cast<char*>("CN=XX"), const_cast<char*>("ALP")};
  EXPECT_EQ(CTY_data_cmp(2, two, &alp), 1);
  EXPECT_EQ(CTY_data_cmp(0, nullptr, &alp), 1);  // no specification selects all
  EXPECT_NEAR(calc_earth_dist(0, 0, 0, 1), 111.195, 0.01);
}

}  // namespace
