// The point plotter drawn onto the text metafile and read back: plot types,
// number formats, format words, value ranges and plot parameters.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "../common/expect.h"
#include "../common/meta_records.h"
#include "../frame/captured.h"
#include "../gks/print_test_util.h"
#include "zor/attrib.h"
#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/flag.h"
#include "zor/map.h"
#include "zor/raw.h"
#include "zor/res.h"
#include "zor/reset.h"


namespace {

using namespace zor::test::meta;
using zor::test::stderr_of;

RAW_data point(int type, float v0, float v1 = -9999.0f, const char* text = "", const char* format = "",
               float x = 0.5f, float y = 0.4f) {
  RAW_data d;
  RAW_data_init(&d);
  d.x = x, d.y = y, d.type = type, d.value[0] = v0, d.value[1] = v1;
  std::snprintf(d.data, sizeof d.data, "%s", text);
  std::snprintf(d.format, sizeof d.format, "%s", format);
  return d;
}

constexpr float kVert = 0.8f;  // height of window 2

// A metafile point at (x, y), to within `tol`.
::testing::AssertionResult at(const Gpt& p, float x, float y, float tol = 1e-5f) {
  if (std::fabs(p.x - x) <= tol && std::fabs(p.y - y) <= tol) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "(" << p.x << ", " << p.y << "), not (" << x << ", " << y << ")";
}

class RawTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::reset_devices();
    zor::reset_all();
    FLAG_resetplot(1);
    FLAG_set(11, 0);
    file_ = zor::test::out_path(std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) +
                                ".meta");
    ASSERT_TRUE(zor::test::open_ws(GWS_META, file_));
    // Latitude/longitude projection: lat 0.4, lon 170.5 lies at (0.5, 0.4).
    const Domain d{.proj = 2, .plat = 0, .plon = 170, .clat = 0, .clon = 170, .dx = 0.1f, .dy = 0.1f, .nx = 11, .ny = 11};
    MAP_domain(&d);
    // World coordinates of window 2 are the metafile's own.
    const Glim lim{0.0f, 1.0f, 0.0f, kVert};
    gset_win(2, &lim);
    gset_vp(2, &lim);
  }
  void TearDown() override {
    if (gchk_graphics()) zor::test::close_ws();
    zor::reset_all();
  }
  void init(float scale = 1.0f) {
    Gattribs a;
    ASSERT_EQ(RAW_plot_init(&a, scale), 0);
  }
  // Every record of the metafile, once it is closed.
  std::vector<Record> drawn() {
    zor::test::close_ws();
    return records(file_);
  }
  int plot(RAW_data d) { return RAW_plot_data(&d); }
  std::string file_;
};

TEST_F(RawTest, TextTypesAndNumberFormats) {
  init();
  const float M = -9999.0f;
  RAW_data i = point(RAW_INT, 0.0f);
  const std::int32_t n = -42;
  std::memcpy(&i.value[0], &n, sizeof n);
  // A missing value draws its text, or nothing; grid types (11) draw nothing;
  // a type word in the format replaces the point's type.
  for (const RAW_data& d :
       {point(RAW_DATA, M, M, "ABC"), point(RAW_TEXT, 3.0f, M, "txt"), point(RAW_VALUE, 7.6f),
        point(RAW_VALUE, 0.5f, M, "", "%z.1f"), point(RAW_VALUE, -0.5f, M, "", "%z.1f"),
        point(RAW_VALUE, 12.5f, M, "", "%z.1f"), point(RAW_VALUE, 3.14159f, M, "", "%5.2f"),
        point(RAW_VALUE, 2.0f, M, "", "fm=%.1f"), point(RAW_VALUE, M, M, "M"), point(RAW_VALUE, M), i,
        point(RAW_SYMB, M, M, "RA"), point(11, 5.0f, 5.0f, "cont"), point(RAW_VALUE, 5.0f, M, "word", "text")})
    EXPECT_EQ(plot(d), 0) << d.type << " " << d.format;
  const std::vector<std::string> want = {"ABC", "txt",  "8",   ".5",  "-.5", "12.5", " 3.14",
                                         "2.0", "M",    "-42", "RA",  "word"};
  EXPECT_EQ(texts(drawn()), want);
}

TEST_F(RawTest, MarkersCloudsAndWindTypes) {
  init();
  // Half-covered cloud: a sector and a circle; calm wbarb a small circle, a
  // negative direction nothing; calm cbarb the station circle only; dbarb a
  // dot, staff and barb; vbarb shaft and head; track 4 ticks and a head.
  for (const RAW_data& d :
       {point(RAW_MARK, -9999.0f, -9999.0f, "+"), point(RAW_MARK, -9999.0f, -9999.0f, "itri"),
        point(RAW_CLOUD, -9999.0f, -9999.0f, "4"), point(RAW_WBARB, 270.0f, 0.0f), point(RAW_WBARB, -10.0f, 20.0f),
        point(RAW_WBARB, 270.0f, 25.0f), point(RAW_CBARB, 270.0f, 0.0f), point(RAW_CBARB, 270.0f, 10.0f),
        point(RAW_DBARB, 270.0f, 10.0f), point(RAW_VBARB, 270.0f, 20.0f), point(RAW_TRACK, 270.0f, 10.0f)})
    ASSERT_EQ(plot(d), 0) << d.type;
  const auto recs = drawn();
  std::vector<std::string> kinds;
  for (const auto& r : recs)
    if (r.kind == "PL" || r.kind == "FA" || r.kind == "PM") kinds.push_back(r.kind + std::to_string(r.pts.size()));
  const std::vector<std::string> want = {"PM1", "PM1", "FA27", "PL37", "PL37", "PL2",  "PL2", "PL2", "PL2",
                                         "PL37", "PL2", "PL2", "PL37", "PL2",  "PL2",  "PL2", "PL2", "PL2",
                                         "PL2", "PL2", "PL2", "PL2",  "PL2",  "PL2",  "PL2"};
  EXPECT_EQ(kinds, want);
  // Marker types: "+" is 2, "itri" 9.
  const auto types = only(recs, "PM_TYPE");
  ASSERT_GE(types.size(), 2u);
  EXPECT_EQ(types[types.size() - 2].text + types.back().text, "29");
  // Wind from the west: staffs point west. The cbarb staff starts 0.01 of
  // the height away from the station; the calm circle has radius 0.013.
  const auto pl = only(recs, "PL");
  ASSERT_EQ(pl.size(), 22u);
  EXPECT_NEAR(pl[6].pts[0].x - 0.5f, 0.013f * kVert, 1e-4f);
  EXPECT_NEAR(pl[7].pts[0].x, 0.5f - 0.01f * kVert, 1e-4f);
  EXPECT_NEAR(pl[7].pts[1].x, 0.5f - 0.05f * kVert, 1e-4f);
  EXPECT_NEAR(pl[9].pts[0].x - 0.5f, 0.003f * kVert, 1e-4f);  // dbarb dot
  EXPECT_NEAR(pl[10].pts[0].x, 0.5f - 0.003f * kVert, 1e-4f);
  // The arrow covers one hour at 20 knots: 0.3704 projection units east.
  EXPECT_NEAR(pl[12].pts[1].x - pl[12].pts[0].x, 20.0f * 1.852f / 100.0f, 1e-4f);
  // The track covers two hours at 10 knots, ticks 0.1 x height long.
  const float track = 2.0f * MAP_factor(MAP_get_clat()) * 10.0f * 1.852f / 100.0f;
  EXPECT_NEAR(pl[15].pts[1].x - pl[15].pts[0].x, track, 1e-4f);
  EXPECT_NEAR(pl[16].pts[0].y - pl[16].pts[1].y, 2.0f * 0.2f * 0.1f * kVert, 1e-4f);
}

TEST_F(RawTest, LineSegmentsBetweenRememberedPoints) {
  init();
  const float M = -9999.0f;
  ASSERT_EQ(plot(point(RAW_LINE, 0.2f, 170.1f, "start", "", 0.5f, 0.5f)), 0);  // to lat 0.2, lon 170.1
  ASSERT_EQ(plot(point(RAW_LINE, M, M, "post", "", 0.6f, 0.6f)), 0);  // pending: drawn at the next point
  ASSERT_EQ(plot(point(RAW_TEXT, M, M, "n", "", 0.7f, 0.3f)), 0);
  ASSERT_EQ(plot(point(RAW_LINE, M, M, "pre", "", 0.2f, 0.2f)), 0);
  const auto pl = only(drawn(), "PL");
  ASSERT_EQ(pl.size(), 3u);
  // post: from the previous to the new point; pre: the last two points.
  EXPECT_TRUE(at(pl[0].pts[0], 0.5f, 0.5f) && at(pl[0].pts[1], 0.1f, 0.2f, 1e-4f));
  EXPECT_TRUE(at(pl[1].pts[0], 0.6f, 0.6f) && at(pl[1].pts[1], 0.7f, 0.3f));
  EXPECT_TRUE(at(pl[2].pts[0], 0.7f, 0.3f) && at(pl[2].pts[1], 0.2f, 0.2f));
}

TEST_F(RawTest, PositionAndKeyedWordsOnlyForTheirPoint) {
  init();
  ASSERT_EQ(plot(point(RAW_VALUE, 1.0f, -9999.0f, "", "ur:co=red:sc=2")), 0);
  const auto w = [] { return zor::raw::working_record(); };
  EXPECT_EQ(std::tuple(w().hor, w().vert, w().scale, w().attrib.color), std::tuple(1, 3, 2.0f, CLR_get_ind("red")));
  ASSERT_EQ(plot(point(RAW_VALUE, 2.0f)), 0);  // color_data's default colour
  EXPECT_EQ(std::tuple(w().x, w().scale, w().attrib.color), std::tuple(0.0f, 1.0f, CLR_get_ind("green")));
  ASSERT_EQ(plot(point(RAW_VALUE, 3.0f, -9999.0f, "", "ll:tx=Q:sc=5000")), 0);
  EXPECT_EQ(std::tuple(w().scale, w().hor), std::tuple(1.0f, 3));
  ASSERT_EQ(plot(point(RAW_VALUE, 4.0f, -9999.0f, "", "xy=-2 1:ta=rb")), 0);
  EXPECT_EQ(std::tuple(w().hor, w().vert), std::tuple(3, 5));
  const auto te = only(drawn(), "TE");
  ASSERT_EQ(te.size(), 4u);
  EXPECT_EQ(te[0].text + te[2].text, "1Q");  // fixed text instead of the value
  EXPECT_TRUE(at(te[0].pts[0], 0.5f + kVert * 0.012f * 2.0f, 0.4f + kVert * 0.02f * 2.0f));
  EXPECT_TRUE(at(te[1].pts[0], 0.5f, 0.4f));
  EXPECT_TRUE(at(te[2].pts[0], 0.5f - kVert * 0.012f, 0.4f - kVert * 0.02f));
  EXPECT_TRUE(at(te[3].pts[0], 0.5f - kVert * 0.024f, 0.4f + kVert * 0.02f));
}

TEST_F(RawTest, ParseFormatResults) {
  RAW_attribs a;
  RAW_init_attrib(&a);
  EXPECT_EQ(RAW_parse_format(&a, "%4.1f"), 2);
  EXPECT_STREQ(a.format, "%4.1f");
  EXPECT_EQ(RAW_parse_format(&a, "wbarb:cl"), 32);
  EXPECT_FLOAT_EQ(a.x, -0.012f);  // the format word "cl" is nearer than the parameter
  EXPECT_EQ(a.hor, 3);
  EXPECT_EQ(RAW_parse_format(&a, "mk=star:mn=5:mx=50:sk=3:wi=2:hi=1.5:te=0.8:sf=wx.sym"), 0);
  EXPECT_EQ(std::tuple(a.marker, a.skip), std::tuple(3, 3));
  EXPECT_TRUE(zor::test::floats_eq({a.min, a.max, a.attrib.width, a.attrib.height, a.attrib.expan}, {5, 50, 2, 1.5f, 0.8f}));
  EXPECT_STREQ(a.symbol, "wx.sym");
  EXPECT_EQ(RAW_parse_format(&a, "bogus:zz=1:"), 0);
  EXPECT_EQ(RAW_parse_format(&a, nullptr), 0);
  // Text that does not fit its field is refused, not cut.
  EXPECT_NE(stderr_of([&] { EXPECT_EQ(RAW_parse_format(&a, "tx=much_too_long_text"), 0); }).find("too long"),
            std::string::npos);
  EXPECT_STREQ(a.text, "");
}

TEST_F(RawTest, ValueRangeFromPlotFormatAndConBase) {
  RES_put("con_base", ">10");
  RES_put("plot_format", "mx=20");
  init();
  EXPECT_TRUE(zor::test::floats_eq({zor::raw::base_record().min, zor::raw::base_record().base}, {10, 10}));
  EXPECT_EQ(plot(point(RAW_VALUE, 5.0f)), -1);
  EXPECT_EQ(plot(point(RAW_VALUE, 15.0f)), 0);
  EXPECT_EQ(plot(point(RAW_VALUE, -9999.0f, -9999.0f, "M")), 0);  // missing values pass
  EXPECT_EQ(plot(point(RAW_VALUE, 30.0f)), -1);
  EXPECT_EQ(plot(point(RAW_VALUE, 20.0f)), 0);
  // A point's own range words come after its range test.
  EXPECT_EQ(plot(point(RAW_VALUE, 19.0f, -9999.0f, "", "mx=5")), 0);
  const std::vector<std::string> want = {"15", "M", "20", "19"};
  EXPECT_EQ(texts(drawn()), want);
}

TEST_F(RawTest, ColourFromTheFillLevels) {
  RES_put("con_interval", "10");
  init();
  EXPECT_FLOAT_EQ(zor::raw::base_record().intrvl, 10.0f);
  CONT_reset_fill_set();
  ASSERT_EQ(CONT_set_fill_colors("10:blue,20:yellow,30:red", 1), 0);
  ASSERT_EQ(plot(point(RAW_VALUE, 25.0f)), 0);
  Gattribs want;
  CONT_get_fill_attrib(25.0f, &want);
  EXPECT_EQ(zor::raw::working_record().attrib.color, want.color);
  // Wind types take the speed.
  ASSERT_EQ(plot(point(RAW_WBARB, 5.0f, 15.0f)), 0);
  CONT_get_fill_attrib(15.0f, &want);
  EXPECT_EQ(zor::raw::working_record().attrib.color, want.color);
}

TEST_F(RawTest, PlotParameters) {
  RES_put("plot_param", "ur,skip=2,text=X,mark=cld,line,yba=5,nonsense");
  init();
  const RAW_attribs& b = zor::raw::base_record();
  EXPECT_TRUE(zor::test::floats_eq({b.x, b.y}, {0.012f, 0.02f}));
  EXPECT_STREQ(b.text, "X");
  // The alignment follows the offset.
  EXPECT_EQ(std::tuple(b.hor, b.skip, b.marker, b.line, b.bar), std::tuple(1, 2, RAW_MARK_CIRCLE, 1, 5));
  RES_put("plot_param", "cl,xy=2:-1,mark=star,yba");
  zor::raw::reset();
  init();
  EXPECT_TRUE(zor::test::floats_eq({b.x, b.y}, {0.024f, -0.02f}));
  EXPECT_EQ(std::tuple(b.marker, b.bar), std::tuple(3, 0));
  RES_put("plot_param", "cl");
  init();
  EXPECT_TRUE(zor::test::floats_eq({b.x}, {-0.015f}));  // the parameter's centre row is wider
  EXPECT_EQ(b.hor, 3);
}

TEST_F(RawTest, FixedTextMarkerAndBarTakePrecedence) {
  RES_put("plot_param", "mark=cld");
  init();
  ASSERT_EQ(plot(point(RAW_VALUE, 1.0f)), 0);   // the station circle
  ASSERT_EQ(plot(point(RAW_VALUE, -9999.0f)), 0);  // nothing to mark
  RES_put("plot_param", "yba=0");
  init();
  ASSERT_EQ(plot(point(RAW_VALUE, 1.0f)), 0);  // a bar down to y = 0
  const auto pl = only(drawn(), "PL");
  ASSERT_EQ(pl.size(), 2u);
  EXPECT_EQ(pl[0].pts.size(), 37u);
  EXPECT_NEAR(pl[0].pts[0].x - 0.5f, 0.01f * kVert, 1e-5f);
  ASSERT_EQ(pl[1].pts.size(), 2u);
  EXPECT_NEAR(pl[1].pts[1].y, 0.0f, 1e-6f);
}

TEST_F(RawTest, ComponentsAndPlotTypeSwitchPlottingOffScaleAndFormatHold) {
  FLAG_setplot(12, 0);
  Gattribs a;
  EXPECT_EQ(RAW_plot_init(&a, 1.0f), -1);
  FLAG_setplot(12, 1);
  FLAG_set(11, 99);
  EXPECT_EQ(RAW_plot_init(&a, 1.0f), -1);
  FLAG_set(11, 0);
  init();
  FLAG_setplot(7, 0);
  EXPECT_EQ(plot(point(RAW_VALUE, 1.0f)), -1);
  FLAG_setplot(7, 1);
  FLAG_set(11, 99);
  EXPECT_EQ(plot(point(RAW_VALUE, 1.0f)), -1);
  // Scale, format and offset set hold for the points that follow.
  FLAG_set(11, 0);
  RAW_set_scale(3.0f);
  RAW_set_format("%3.1f");
  RAW_set_off(0.012f, 0.0f);
  ASSERT_EQ(plot(point(RAW_VALUE, 1.0f)), 0);
  const auto te = only(drawn(), "TE");
  ASSERT_EQ(te.size(), 1u);  // only the last point was drawn
  EXPECT_EQ(te[0].text, "1.0");
  EXPECT_TRUE(at(te[0].pts[0], 0.5f + kVert * 0.012f * 3.0f, 0.4f));
}

TEST_F(RawTest, PointFile) {
  const std::string path = zor::test::out_path("points.raw");
  std::ofstream(path) << "# lat lon type value value data format\n"
                         "0.4 170.5 value 12 -9999 - %1.0f\n"
                         "0.3 170.2 text -9999 -9999 KOUN -\n"
                         "bad line\n";
  init();
  EXPECT_NE(stderr_of([&] { EXPECT_EQ(RAW_plot_file(path.c_str()), 2); }).find("line 4"), std::string::npos);
  EXPECT_NE(stderr_of([] { EXPECT_EQ(RAW_plot_file("no_such.raw"), -1); }).find("RAW_plot_file: file not found: no_such.raw"),
            std::string::npos);
  const auto te = only(drawn(), "TE");
  ASSERT_EQ(te.size(), 2u);
  EXPECT_EQ(te[0].text + "|" + te[1].text, "12|KOUN");
  EXPECT_TRUE(at(te[0].pts[0], 0.5f, 0.4f, 1e-4f));
}

}  // namespace
