// Converted radar report files read back: kinds, dates and summary grids of
// text and netCDF files, MDR and RCM reports, report variables, bad input.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "cvt_test_util.h"
#include "zor/dom.h"
#include "zor/map.h"
#include "zor/rad.h"
#include "zor/res.h"

using namespace cvt_test;

namespace {

// C strings compared by value inside tuples.
std::string str(const char* s) { return s; }

// An open file with its information, closed at the end of the scope.
struct Open {
  int fd = -1;
  std::unique_ptr<RAD_info> info = std::make_unique<RAD_info>();
  int got = -2;
  explicit Open(const std::string& path) {
    int type = 0;
    fd = RAD_open(path.c_str(), 0, &type);
    if (fd >= 0) got = RAD_getinfo(fd, info.get());
  }
  ~Open() {
    if (fd >= 0) RAD_close(fd);
  }
  int at(int c, int r) const { return info->summary[c][r]; }
  std::vector<int> row(int c, int r, int n) const {
    std::vector<int> v;
    for (int i = 0; i < n; ++i) v.push_back(at(c + i, r));
    return v;
  }
};

class RadRead : public ::testing::Test {
 protected:
  void SetUp() override { zor::rad::reset(); }
  void TearDown() override {
    zor::rad::reset();
    zor::map::reset();
    RES_put("plot_param", "");
  }
  static std::string nc11(const NcOptions& o = {}) { return make_nc(station_cdl(o), "rad11"); }
  static std::string nc12(const NcOptions& o = {}) { return make_nc(report_cdl(o), "rad12"); }
};

TEST_F(RadRead, FirstCharacterTellsTheKind) {
  const std::string n11 = nc11(), n12 = nc12();
  ASSERT_FALSE(n11.empty());
  ASSERT_FALSE(n12.empty());
  const std::pair<std::string, int> cases[] = {
      {cvt_path("mdr.txt"), RAD_TEXT},   {cvt_path("rcm.txt"), RAD_TEXT_HEADER}, {cvt_path("nodate.txt"), RAD_TEXT_NODATE},
      {cvt_path("bad.txt"), -1},         {cvt_path("missing.txt"), -1},          {n11, RAD_NC_STATION},
      {n12, RAD_NC_REPORT},
  };
  for (const auto& [path, type] : cases) {
    EXPECT_EQ(RAD_chktype(path.c_str()), type) << path;
    int t = 0;
    const int fd = RAD_open(path.c_str(), 0, &t);
    EXPECT_EQ(fd >= 0, type > 0) << path;
    if (fd >= 0) {
      EXPECT_EQ(t, type);
      RAD_close(fd);
    }
  }
  int t = 0;
  EXPECT_EQ(RAD_open(cvt_path("mdr.txt").c_str(), 1, &t), -1);  // no writing here
}

TEST_F(RadRead, MdrTextGridRowsFromTheStartLine) {
  const Open f(cvt_path("mdr.txt"));
  ASSERT_EQ(f.got, 0);
  EXPECT_EQ(f.info->type, RAD_SUM_MDR);
  EXPECT_STREQ(f.info->datim, "1935Z 12 MAY 95");
  EXPECT_EQ(std::tuple(f.info->date.year, f.info->date.month, f.info->date.hour, f.info->date.min),
            std::tuple(1995, 5, 19, 35));
  // "+ 10 20": the first row line is row 11 from column 20.
  EXPECT_EQ(f.row(20, 11, 4), (std::vector{0, 0, 1, 2}));
  EXPECT_EQ(f.row(20, 12, 4), (std::vector{9, 0, 3, 4}));
  // Nothing before or after (the closing '+' line); the second section
  // reaches past the last column and row: left out.
  EXPECT_EQ(std::tuple(f.at(20, 10), f.at(20, 13)), std::tuple(-1, -1));
  EXPECT_EQ(std::tuple(f.at(470, 359), f.at(478, 359), f.at(479, 359)), std::tuple(1, 9, 0));
}

TEST_F(RadRead, RcmTextRowsContinueAndClamp) {
  const Open f(cvt_path("rcm.txt"));
  ASSERT_EQ(f.got, 0);
  // The minutes of a label without them: 35.
  EXPECT_EQ(std::tuple(f.info->type, f.info->date.hour, f.info->date.min), std::tuple(RAD_SUM_RCM, 21, 35));
  EXPECT_EQ(f.row(0, 5, 7), (std::vector{1, 1, 1, 2, 6, 0, -1}));  // "17=" then "8B0"
  // "+400" is row 359, whose 485 characters end on the last column; "+-3" is row 0.
  EXPECT_EQ(std::tuple(f.at(0, 359), f.at(479, 359), f.at(0, 0)), std::tuple(1, 1, 6));

  // Row and column numbers far beyond the grid: nothing written, no overflow.
  const Open far(cvt_path("far.txt"));
  ASSERT_EQ(far.got, 0);
  EXPECT_EQ(far.at(0, 359), 1);
  int set = 0;
  for (int c = 0; c < RAD_NX; ++c)
    for (int r = 0; r < RAD_NY; ++r) set += far.at(c, r) >= 0;
  EXPECT_EQ(set, 1);

  const Open n(cvt_path("nodate.txt"));
  ASSERT_EQ(n.got, 0);
  EXPECT_STREQ(n.info->datim, "");
  EXPECT_EQ(std::tuple(n.info->date.year, n.at(0, 1), n.at(2, 1)), std::tuple(ZOR_MISSING, 1, 3));
}

TEST_F(RadRead, MdrStationTable) {
  const Open f(cvt_path("mdr.txt"));
  MDR_report r;
  ASSERT_EQ(MDR_read(f.fd, &r, 0, 0), 0);
  EXPECT_EQ(std::tuple(str(r.id), str(r.config), r.numprec, str(r.prec[0].type), r.prec[0].intens, str(r.trend)),
            std::tuple("TLX", "AREA", 1, "TRW", 3, "+"));
  EXPECT_EQ(std::tuple(r.tops.h, r.tops.dir, r.tops.rad), std::tuple(450, 270, 15));
  EXPECT_EQ(std::tuple(r.move[0].type, r.move[0].dir, r.move[0].spd, r.move[1].type, r.move[1].dir, r.move[2].type),
            std::tuple('A', 250, 15, 'C', 200, ' '));

  ASSERT_EQ(MDR_read(f.fd, &r, 0, 2), 0);
  // "XX" is intensity 6; no tops.
  EXPECT_EQ(std::tuple(str(r.id), r.prec[0].intens, r.tops.h, r.move[0].type, r.move[1].type, r.move[1].dir),
            std::tuple("ICT", 6, ZOR_MISSING, ' ', 'C', 180));
  // A line cut short after the configuration.
  ASSERT_EQ(MDR_read(f.fd, &r, 0, 3), 0);
  EXPECT_EQ(std::tuple(str(r.config), r.numprec, r.move[0].dir), std::tuple("NE", 0, ZOR_MISSING));
  ASSERT_EQ(MDR_read(f.fd, &r, 0, 4), 0);
  EXPECT_EQ(std::tuple(str(r.prec[0].type), r.prec[0].intens, r.tops.h, r.tops.rad), std::tuple(" ", 9, 120, 0));
  // The blank line ends the table; earlier reports read again.
  EXPECT_EQ(MDR_read(f.fd, &r, 0, 5), -1);
  ASSERT_EQ(MDR_read(f.fd, &r, 1, 1), 0);
  EXPECT_EQ(std::tuple(str(r.id), str(r.config)), std::tuple("AMA", ""));  // identifier only
  ASSERT_EQ(MDR_read(f.fd, &r, 0, 1), 0);
  EXPECT_EQ(std::tuple(str(r.config), r.move[0].type), std::tuple("LINE", 'L'));

  const Open n(cvt_path("nodate.txt"));
  EXPECT_EQ(MDR_read(n.fd, &r, 0, 0), -1);
}

TEST_F(RadRead, RcmReportsUpToTheNextHeader) {
  const Open f(cvt_path("rcm.txt"));
  auto r = std::make_unique<RCM_report>();
  ASSERT_EQ(RCM_read(f.fd, r.get()), 1);
  EXPECT_EQ(std::tuple(str(r->id), r->num, r->mode, r->maxt), std::tuple("TLX", 12, 1, 450));
  EXPECT_FLOAT_EQ(r->maxt_x, 35.6f);
  ASSERT_EQ(r->num_storm, 2);
  EXPECT_EQ(std::tuple(str(r->storm[1].id), r->storm[1].dir, r->storm[1].hail, r->num_meso), std::tuple("B2", 250, 1, 1));
  ASSERT_EQ(RCM_read(f.fd, r.get()), 1);
  EXPECT_EQ(std::tuple(str(r->id), r->mode, r->status), std::tuple("AMA", 2, -1));
  EXPECT_EQ(r->num_tvs, RCM_MAX_TVS);  // twelve given
  EXPECT_EQ(r->num_storm, 0);          // its storm line is cut short
  EXPECT_EQ(r->maxt, ZOR_MISSING);     // cleared between reports
  ASSERT_EQ(RCM_read(f.fd, r.get()), 1);
  EXPECT_EQ(r->status, 2);
  EXPECT_EQ(RCM_read(f.fd, r.get()), -1);
  RAD_rewind(f.fd);
  ASSERT_EQ(RCM_read(f.fd, r.get()), 1);
  EXPECT_STREQ(r->id, "TLX");
}

TEST_F(RadRead, NetcdfStationKind) {
  NcOptions o;
  o.cells = {{5, 7, 3}, {119, 89, 9}};
  const Open f(nc11(o));
  ASSERT_EQ(f.got, 0);
  EXPECT_EQ(std::tuple(f.info->type, f.info->date.hour, f.info->date.min), std::tuple(RAD_SUM_MDR, 23, 35));
  EXPECT_EQ(std::tuple(f.at(5, 7), f.at(119, 89), f.at(120, 0)), std::tuple(3, 9, -1));
  EXPECT_LT(f.at(7, 5), 0);
  MDR_report r;
  ASSERT_EQ(MDR_read(f.fd, &r, 0, 0), 0);
  EXPECT_EQ(std::tuple(str(r.id), str(r.region), r.numprec, str(r.prec[0].type), r.prec[0].intens, r.prec[1].intens),
            std::tuple("TLX", "SW", 2, "TRW", 3, 1));
  EXPECT_EQ(std::tuple(str(r.trend), r.move[1].type, r.move[1].spd, r.tops.dir), std::tuple("NEW", 'C', 30, 270));
  EXPECT_NEAR(r.x, 35.33f, 0.3f);  // the station's box, as latitude and longitude
  EXPECT_NEAR(r.y, -97.28f, 0.3f);
  ASSERT_EQ(MDR_read(f.fd, &r, 0, 1), 0);
  // The file's missing value for the tops.
  EXPECT_EQ(std::tuple(r.numprec, str(r.prec[0].type), r.prec[0].intens, str(r.trend), r.tops.h),
            std::tuple(1, "S", 2, " ", ZOR_MISSING));
  ASSERT_EQ(MDR_read(f.fd, &r, 0, 2), 0);
  EXPECT_EQ(r.x, ZOR_MISSING_F);
  EXPECT_EQ(MDR_read(f.fd, &r, 0, 3), -1);
}

TEST_F(RadRead, NetcdfReportKindIsConverted) {
  NcOptions o;
  o.cells = {{5, 7, 3}, {6, 7, 11}};
  const Open f(nc12(o));
  ASSERT_EQ(f.got, 0);
  EXPECT_EQ(std::tuple(f.info->date.year, f.info->date.min), std::tuple(1995, 35));
  // Columns outermost in this file; 11 and above are missing.
  EXPECT_EQ(std::tuple(f.at(5, 7), f.at(6, 7)), std::tuple(3, -1));
  MDR_report r;
  ASSERT_EQ(MDR_read(f.fd, &r, 0, 0), 0);
  EXPECT_EQ(std::tuple(str(r.config), str(r.prec[0].type), r.prec[0].intens, str(r.prec[1].type), str(r.trend)),
            std::tuple("AREA", "TRW", 3, "S", "NEW"));
  EXPECT_EQ(std::tuple(r.loc[0].dir, r.loc[0].rad, r.move[0].dir, r.move[0].spd, r.tops.h),
            std::tuple(270, 15, 250, 19, 328));
  EXPECT_FLOAT_EQ(r.x, 35.33f);
  ASSERT_EQ(MDR_read(f.fd, &r, 0, 1), 0);
  EXPECT_EQ(std::tuple(str(r.config), str(r.trend)), std::tuple("NA", "+"));
  EXPECT_EQ(MDR_read(f.fd, &r, 0, 2), -1);
}

TEST_F(RadRead, BadNetcdfFilesAreRefused) {
  NcOptions no_summary;
  no_summary.summary = false;
  NcOptions narrow;
  narrow.nx = 100;
  NcOptions no_stations;
  no_stations.stations = false;
  for (const NcOptions* o : {&no_summary, &narrow})
    EXPECT_EQ(std::tuple(Open(nc11(*o)).got, Open(nc12(*o)).got), std::tuple(-1, -1));
  const Open f(nc11(no_stations));
  EXPECT_EQ(f.got, 0);
  MDR_report r;
  EXPECT_EQ(MDR_read(f.fd, &r, 0, 0), -1);
  EXPECT_EQ(Open(cvt_path("bad.txt")).got, -2);
  // The header check passes every classic layout and refuses a count larger
  // than the file (gigabytes asked of the library otherwise).
  for (const char* kind : {"64-bit offset", "cdf5"}) {
    const Open f(make_nc(station_cdl({}), "kind", kind));
    EXPECT_EQ(f.got, 0) << kind;
  }
  EXPECT_LT(Open(cvt_path("../crashers/cvt/header_count_oom.nc")).got, 0);
}

// Oklahoma on the summary grids' projection as the map's domain.
void map_oklahoma() {
  Domain d;
  ASSERT_GE(DOM_decode("ps:90:-105,35,-97,101,101,0.05,0.05", &d), 1);
  ASSERT_EQ(d.proj, DOM_PSTEREO);
  MAP_domain(&d);
}

VAR_data var(const char* name) {
  VAR_data v;
  std::snprintf(v.name, sizeof v.name, "%s", name);
  return v;
}

TEST_F(RadRead, MdrVariables) {
  map_oklahoma();
  const Open f(cvt_path("mdr.txt"));
  struct Case {
    int report;
    const char* var;
    const char* text;
    float v0, v1;
    bool moved;
  };
  const Case cases[] = {
      {0, "city", "TLX", -9999, -9999, false},  {0, "stat", "", -9999, -9999, false},
      {0, "pr_typ", "TRW+", -9999, -9999, false}, {0, "pr_tt-b", "TRW/", -9999, -9999, false},
      {0, "pr_tnd", "+", -9999, -9999, false},  {0, "pr_amv", "", 250, 15, false},
      {0, "PR_CMV", "", 200, 30, false},        {0, "echtop", "450", -9999, -9999, true},
      {1, "pr_tt", "RW-", -9999, -9999, false}, {1, "pr_amv", "", 200, 10, false},
      {2, "pr_typ", "TRWxx", -9999, -9999, false}, {2, "pr_tt", "TRW*", -9999, -9999, false},
      {2, "echtop", "", -9999, -9999, false},   {3, "stat", "NE", -9999, -9999, false},
      {3, "pr_typ", "", -9999, -9999, false},   {4, "echtop", "120*", -9999, -9999, false},
      {4, "stat", "OM", -9999, -9999, false},   {0, "other", "", -9999, -9999, false},
  };
  for (const Case& c : cases) {
    MDR_report r;
    ASSERT_EQ(MDR_read(f.fd, &r, 0, c.report), 0);
    VAR_data v = var(c.var);
    RAW_data data;
    data.x = 1.0f;
    data.y = 2.0f;
    EXPECT_EQ(MDR_get_data(&r, &v, &data), 1);
    EXPECT_EQ(std::tuple(str(data.data), data.value[0], data.value[1], data.x != 1.0f),
              std::tuple(c.text, c.v0, c.v1, c.moved))
        << c.var;
  }
}

TEST_F(RadRead, RcmVariablesWalkTheirEntries) {
  map_oklahoma();
  const Open f(cvt_path("rcm.txt"));
  auto tlx = std::make_unique<RCM_report>(), ama = std::make_unique<RCM_report>();
  ASSERT_EQ(RCM_read(f.fd, tlx.get()), 1);
  ASSERT_EQ(RCM_read(f.fd, ama.get()), 1);
  struct Case {
    RCM_report* r;
    const char* var;
    int ind;
    int ret;
    const char* text;
    float v0, v1;
  };
  const Case cases[] = {
      {tlx.get(), "city", 0, 1, "TLX", -9999, -9999}, {tlx.get(), "city", 1, 0, "", -9999, -9999},
      {tlx.get(), "mode", 0, 1, "P", -9999, -9999},   {ama.get(), "mode", 0, 1, "C", -9999, -9999},
      {ama.get(), "stat", 0, 1, "NA", -9999, -9999},  {tlx.get(), "echotop", 0, 1, "", 450, -9999},
      {tlx.get(), "id", 1, 1, "B2", 1, -9999},        {tlx.get(), "id", 2, 0, "", -9999, -9999},
      {tlx.get(), "hail", 0, 1, "*", 2, -9999},       {tlx.get(), "hail", 1, 1, "+", 1, -9999},
      {tlx.get(), "top", 0, 1, "", 450, -9999},       {tlx.get(), "spd-x", 1, 1, "", 30, -9999},
      {tlx.get(), "mvmt", 0, 1, "", 240, 25},         {tlx.get(), "tvs", 0, 0, "", -9999, -9999},
      {tlx.get(), "meso", 0, 1, "M", 1, -9999},       {ama.get(), "tvs", 9, 1, "T", 1, -9999},
      {ama.get(), "tvs", 10, 0, "", -9999, -9999},    {tlx.get(), "other", 0, 0, "", -9999, -9999},
  };
  for (const Case& c : cases) {
    VAR_data v = var(c.var);
    RAW_data data;
    const int ret = RCM_get_data(c.r, c.ind, &v, &data);
    EXPECT_EQ(std::tuple(ret, str(data.data), data.value[0], data.value[1]), std::tuple(c.ret, c.text, c.v0, c.v1))
        << c.var << c.ind;
  }
  // Entries carry their own positions.
  VAR_data meso = var("meso");
  RAW_data at;
  RCM_get_data(tlx.get(), 0, &meso, &at);
  float x = 0, y = 0;
  MAP_tran(35.4f, -97.4f, &x, &y);
  EXPECT_FLOAT_EQ(at.x, x);
  EXPECT_FLOAT_EQ(at.y, y);
  // Clear-air reports give nothing with "noclar".
  RES_put("plot_param", "noclar");
  RAD_plot_param();
  VAR_data tvs = var("tvs");
  RAW_data none;
  EXPECT_EQ(RCM_get_data(ama.get(), 0, &tvs, &none), 1);
  EXPECT_EQ(none.value[0], -9999.0f);
}

}  // namespace
