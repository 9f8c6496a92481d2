// Wind barbs, arrows and tracks read back from the text metafile: lines and
// pennants per speed, where their ends lie, and the _map variants' grid north.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "../common/meta_records.h"
#include "../gks/print_test_util.h"
#include "zor/map.h"
#include "zor/wind.h"

namespace {

using zor::test::meta::Record;

// Polylines and fill areas of a text metafile.
std::vector<Record> primitives(const std::string& file) {
  std::vector<Record> out;
  for (const Record& r : zor::test::meta::records(file))
    if (r.kind == "PL" || r.kind == "FA") out.push_back(r);
  return out;
}

int count(const std::vector<Record>& recs, const char* kind) {
  return static_cast<int>(zor::test::meta::only(recs, kind).size());
}

bool near(Gpt a, float x, float y) { return std::fabs(a.x - x) < 2e-4f && std::fabs(a.y - y) < 2e-4f; }
// A two-point line from (x0, y0) to (x1, y1).
bool line(const Record& r, float x0, float y0, float x1, float y1) {
  return r.pts.size() >= 2 && near(r.pts[0], x0, y0) && near(r.pts[1], x1, y1);
}

class WindTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::reset_devices();
    zor::map::reset();
    file_ = zor::test::out_path(std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) +
                                ".meta");
    ASSERT_TRUE(zor::test::open_ws(GWS_META, file_));
  }
  void TearDown() override {
    if (gchk_graphics()) zor::test::close_ws();
    zor::map::reset();
  }
  std::vector<Record> finish() {
    zor::test::close_ws();
    return primitives(file_);
  }
  std::string file_;
};

TEST_F(WindTest, BarbCountsFollowTheSpeedRoundedToFiveKnots) {
  // {knots, lines (staff, barbs, pennant outlines), filled pennants}; one
  // metafile per barb, so the records counted are that barb's.
  const std::tuple<float, int, int> cases[] = {{3, 2, 0},  {5, 2, 0},  {7, 2, 0},  {10, 2, 0}, {15, 3, 0},
                                               {48, 2, 1}, {65, 4, 1}, {400, 7, 6}, {300, 7, 6}, {103, 4, 2}};
  zor::test::close_ws();
  for (const auto& [knots, lines, pennants] : cases) {
    ASSERT_TRUE(zor::test::open_ws(GWS_META, file_));
    EXPECT_EQ(WIND_barb(0.5f, 0.2f, 0.0f, knots, 0.5f, 0.0f), 0);
    const auto recs = finish();
    EXPECT_EQ(count(recs, "PL"), lines) << knots << " knots";
    EXPECT_EQ(count(recs, "FA"), pennants) << knots << " knots";
  }
}

TEST_F(WindTest, BarbGeometryAlongAStaffFromTheNorth) {
  // Wind from the north: the staff points up, features stick out to the east.
  EXPECT_EQ(WIND_barb(0.2f, 0.2f, 0.0f, 3.0f, 0.5f, 0.1f), 0);   // lone half barb
  EXPECT_EQ(WIND_barb(0.5f, 0.2f, 0.0f, 15.0f, 0.5f, 0.0f), 0);  // full and half
  EXPECT_EQ(WIND_barb(0.8f, 0.2f, 0.0f, 65.0f, 0.5f, 0.0f), 0);  // pennant, full, half
  const auto recs = finish();
  ASSERT_EQ(recs.size(), 2u + 3u + 5u);
  // 3 knots: staff from the offset to the tip; the half barb stands back.
  EXPECT_TRUE(line(recs[0], 0.2f, 0.3f, 0.2f, 0.7f));
  EXPECT_TRUE(line(recs[1], 0.2f, 0.2f + 0.88f * 0.5f, 0.2f + 0.25f * 0.5f, 0.2f + 0.94f * 0.5f));
  // 15 knots: the full barb leaves the tip and slants out to 1.12.
  EXPECT_TRUE(line(recs[3], 0.5f, 0.7f, 0.75f, 0.2f + 1.12f * 0.5f));
  EXPECT_TRUE(line(recs[4], 0.5f, 0.2f + 0.88f * 0.5f, 0.5f + 0.125f, 0.2f + 0.94f * 0.5f));
  // 65 knots: the pennant fills the top 0.12, barbs continue below it.
  ASSERT_EQ(recs[6].kind, "FA");
  ASSERT_EQ(recs[6].pts.size(), 4u);
  EXPECT_TRUE(line(recs[6], 0.8f, 0.7f, 1.05f, 0.7f));
  EXPECT_TRUE(near(recs[6].pts[2], 0.8f, 0.2f + 0.88f * 0.5f));
  EXPECT_EQ(recs[7].kind, "PL");  // the same triangle outlined
  EXPECT_TRUE(line(recs[8], 0.8f, 0.2f + 0.76f * 0.5f, 1.05f, 0.2f + 0.88f * 0.5f));
  EXPECT_TRUE(line(recs[9], 0.8f, 0.2f + 0.64f * 0.5f, 0.925f, 0.2f + 0.70f * 0.5f));
}

TEST_F(WindTest, NothingForCalmOrMissingValuesAndPennantsOnAZeroStaff) {
  const float M = -9999.0f;
  const std::vector<int> got = {
      WIND_barb(0.5f, 0.5f, 90.0f, 0.0f, 0.2f, 0.0f), WIND_barb(0.5f, 0.5f, M, 20.0f, 0.2f, 0.0f),
      WIND_barb(0.5f, 0.5f, 90.0f, M, 0.2f, 0.0f),    WIND_barb_map(0.5f, 0.5f, M, 20.0f, 0.2f, 0.0f),
      WIND_vect(0.5f, 0.5f, 90.0f, 0.0f, 0.2f, 1.0f), WIND_vect(0.5f, 0.5f, M, 5.0f, 0.2f, 1.0f),
      WIND_vect_map(0.5f, 0.5f, 90.0f, M, 0.2f, 1.0f), WIND_track(0.5f, 0.5f, 90.0f, 0.0f, 0.1f, 4, 0),
      WIND_track(0.5f, 0.5f, M, 0.2f, 0.1f, 4, 0),    WIND_track(0.5f, 0.5f, 90.0f, M, 0.1f, 4, 0)};
  EXPECT_EQ(got, std::vector<int>(10, -1));
  // Only this barb is drawn: a zero-length staff still carries its pennants.
  EXPECT_EQ(WIND_barb(0.5f, 0.2f, 0.0f, 100.0f, 0.5f, 0.5f), 0);
  const auto recs = finish();
  EXPECT_EQ(count(recs, "FA"), 2);
  ASSERT_FALSE(recs.empty());
  EXPECT_TRUE(line(recs[0], 0.5f, 0.7f, 0.5f, 0.7f));
}

TEST_F(WindTest, ArrowPointsDownwindWithAHeadThatGrowsWithTheSpeed) {
  // From the west at 10: east, 10 x 0.02 long.
  EXPECT_EQ(WIND_vect(0.4f, 0.5f, 270.0f, 10.0f, 0.02f, 1.0f), 0);
  EXPECT_EQ(WIND_vect(0.4f, 0.3f, 270.0f, 10.0f, 0.02f, 0.0f), 0);  // shaft only
  const auto recs = finish();
  ASSERT_EQ(recs.size(), 4u);
  EXPECT_TRUE(line(recs[0], 0.4f, 0.5f, 0.6f, 0.5f));
  // Head: 0.2 x arrow x size x speed back and to either side.
  EXPECT_TRUE(near(recs[1].pts[1], 0.56f, 0.46f) && near(recs[2].pts[1], 0.56f, 0.54f));
  EXPECT_TRUE(near(recs[3].pts[1], 0.6f, 0.3f));
}

TEST_F(WindTest, TrackTicksFromTheStartAndAFixedHead) {
  // A storm moving east (from 270), 0.4 long with four ticks.
  EXPECT_EQ(WIND_track(0.4f, 0.5f, 270.0f, 0.4f, 0.1f, 4, 0), 0);
  EXPECT_EQ(WIND_track(0.4f, 0.2f, 270.0f, 0.4f, 0.1f, 0, 0), 0);  // no ticks
  const auto recs = finish();
  ASSERT_EQ(recs.size(), 7u + 3u);
  EXPECT_TRUE(near(recs[0].pts[1], 0.8f, 0.5f));
  for (int i = 0; i < 4; ++i) {
    const float x = 0.4f + 0.1f * static_cast<float>(i);
    EXPECT_TRUE(line(recs[1 + i], x, 0.52f, x, 0.48f)) << i;
  }
  EXPECT_TRUE(near(recs[5].pts[1], 0.78f, 0.48f) && near(recs[6].pts[1], 0.78f, 0.52f));  // the head
  EXPECT_TRUE(near(recs[7].pts[1], 0.8f, 0.2f) && near(recs[8].pts[1], 0.78f, 0.18f));
}

// Angle clockwise from grid north of the vector a -> b.
float grid_angle(Gpt a, Gpt b) { return std::atan2(b.x - a.x, b.y - a.y) * 57.29578f; }

TEST_F(WindTest, MapVariantsTurnTrueNorthToGridNorth) {
  // Polar stereographic over North America, window and viewport square, so
  // directions in the metafile are directions on the grid.
  const Domain d{.proj = 1, .plat = 90, .plon = -105, .clat = 40, .clon = -100, .dx = 1, .dy = 1, .nx = 41, .ny = 41};
  MAP_domain(&d);
  ASSERT_EQ(MAP_get_proj(), 1);
  MAP_limits lim;
  MAP_get_limits(&lim);
  const Glim win{lim.x_min, lim.x_max, lim.y_min, lim.y_max};
  const Glim vp{0.0f, 1.0f, 0.0f, 1.0f};
  gset_win(2, &win);
  gset_vp(2, &vp);
  gsel_norm_tran(2);

  // East of the pole longitude true north leans to the west of grid north.
  float x = 0, y = 0, xn = 0, yn = 0;
  ASSERT_TRUE(MAP_tran(42.0f, -85.0f, &x, &y));
  ASSERT_TRUE(MAP_tran(42.5f, -85.0f, &xn, &yn));
  const float north = grid_angle({x, y}, {xn, yn});
  ASSERT_LT(north, -10.0f);

  EXPECT_EQ(WIND_barb_map(x, y, 0.0f, 10.0f, 5.0f, 0.0f), 0);  // staff towards north
  EXPECT_EQ(WIND_vect_map(x, y, 180.0f, 10.0f, 0.5f, 0.0f), 0);  // arrow towards north
  EXPECT_EQ(WIND_barb(x, y, 0.0f, 10.0f, 5.0f, 0.0f), 0);      // grid north
  const auto recs = finish();
  ASSERT_EQ(recs.size(), 2u + 1u + 2u);
  EXPECT_NEAR(grid_angle(recs[0].pts[0], recs[0].pts[1]), north, 0.5f);
  EXPECT_NEAR(grid_angle(recs[2].pts[0], recs[2].pts[1]), north, 0.5f);
  EXPECT_NEAR(grid_angle(recs[3].pts[0], recs[3].pts[1]), 0.0f, 0.01f);
}

}  // namespace
