// Watch boxes from real "SPC AWW" bulletins: what is decoded, cancellations,
// replacements and corrections, and boxes drawn where their end points project.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <tuple>

#include "../common/capture.h"
#include "../common/batch_plot.h"
#include "../common/meta_records.h"
#include "../gks/print_test_util.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/plt.h"
#include "zor/res.h"
#include "zor/reset.h"
#include "zor/watch.h"

namespace {

constexpr float kMile = 1.60934f;
const std::string kDir = std::string(ZOR_TEST_DATA_DIR) + "/watch";

Date at(int year, int month, int day, int hour, int min) {
  Date d;
  d.year = year, d.month = month, d.day = day, d.hour = hour, d.min = min, d.sec = 0;
  return d;
}

long secs(int year, int month, int day, int hour, int min) {
  Date d = at(year, month, day, hour, min);
  return DATE_num_sec(&d);
}

const watch* find(int num) {
  for (int i = 0; i < zor::watch::count(); ++i) {
    if (zor::watch::table()[i].num == num) return &zor::watch::table()[i];
  }
  return nullptr;
}

class WatchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::reset_all();
    RES_put("watch_path", kDir.c_str());
    testing::internal::CaptureStderr();
  }
  void TearDown() override {
    testing::internal::GetCapturedStderr();
    zor::reset_all();
  }
  static void decode(int year, int month, int day, int hour, int min) {
    Date d = at(year, month, day, hour, min);
    EXPECT_EQ(WATCH_decode(&d), 0);
  }
};

TEST_F(WatchTest, EitherSideWatchWithPublicAndAviationEndPoints) {
  decode(2024, 5, 21, 12, 0);
  ASSERT_EQ(zor::watch::count(), 1);
  const watch& w = zor::watch::table()[0];
  EXPECT_EQ(std::pair(w.num, std::string(w.type)), std::pair(153, std::string("SEVERE")));
  EXPECT_EQ(std::tuple(w.sday, w.shour, w.smin, w.eday, w.ehour, w.emin, w.start, w.end),
            std::tuple(21, 9, 15, 21, 17, 0, secs(2024, 5, 21, 9, 15), secs(2024, 5, 21, 17, 0)));
  EXPECT_EQ(std::pair(w.width, w.w_dir), std::pair(60 * kMile, 1));
  // 20WNW DHT - 35S CQB; aviation 67NNE TCC - 40ESE OKC.
  const std::tuple<const char*, float, float, float, float> ends[] = {{"DHT", 292.5f, 20, 36.02f, -102.55f},
                                                                      {"CQB", 180.0f, 35, 35.72f, -96.82f},
                                                                      {"TCC", 22.5f, 67, 35.18f, -103.60f},
                                                                      {"OKC", 112.5f, 40, 35.40f, -97.60f}};
  for (int i = 0; i < 4; ++i) {
    const auto& [id, ang, dist, lat, lon] = ends[i];
    EXPECT_STREQ(w.id[i], id);
    EXPECT_EQ(std::pair(w.ang[i], w.dist[i]), std::pair(ang, dist * kMile)) << id;
    EXPECT_NEAR(w.lat[i], lat, 1e-4f) << id;
    EXPECT_NEAR(w.lon[i], lon, 1e-4f) << id;
  }
}

TEST_F(WatchTest, NorthSouthWatchTakesTheAviationStationForAnUnknownOne) {
  decode(2024, 5, 10, 5, 0);
  const std::string err = testing::internal::GetCapturedStderr();
  testing::internal::CaptureStderr();
  ASSERT_EQ(zor::watch::count(), 1);
  const watch& w = zor::watch::table()[0];
  EXPECT_EQ(std::tuple(w.num, w.w_dir, w.width), std::tuple(503, 3, 65 * kMile));
  EXPECT_STREQ(w.id[0], "MHN");
  EXPECT_STREQ(w.id[2], "BFF");  // MHN unknown: BFF's place, the public offset
  EXPECT_TRUE(std::fabs(w.lat[0] - 41.87f) < 1e-4f && std::fabs(w.lon[0] + 103.60f) < 1e-4f)
      << w.lat[0] << "," << w.lon[0];
  EXPECT_EQ(std::pair(w.ang[0], w.dist[0]), std::pair(270.0f, 75 * kMile));
  EXPECT_NE(err.find("WATCH_decode_file: Station 1 not found: MHN in watch 503"), std::string::npos) << err;
  EXPECT_NE(err.find("Using: BFF"), std::string::npos);
}

TEST_F(WatchTest, NotYetStartedAndCancelledWatches) {
  // Issued 0329 for 0335: not in force at 0330.
  decode(2024, 5, 10, 3, 30);
  EXPECT_EQ(zor::watch::count(), 0);
  // Cancelled at 0531: still drawn at 0500, marked ended at 0600.
  for (const auto& [hour, ended] : {std::pair{5, false}, {6, true}}) {
    decode(2024, 5, 10, hour, 0);
    ASSERT_EQ(zor::watch::count(), 1);
    EXPECT_EQ(zor::watch::table()[0].end == 0, ended) << hour;
  }
  // Nothing of the cancellation of an unknown watch.
  decode(2024, 6, 2, 6, 0);
  EXPECT_EQ(zor::watch::count(), 0);
}

TEST_F(WatchTest, TornadoWatchReplacesTheEarlierOne) {
  decode(2024, 5, 5, 12, 0);
  ASSERT_EQ(zor::watch::count(), 2);
  const watch* old = find(595);
  const watch* tor = find(596);
  ASSERT_TRUE(old != nullptr && tor != nullptr);
  EXPECT_EQ(old->end, 0);
  EXPECT_STREQ(tor->type, "TORNADO");
  EXPECT_EQ(std::tuple(tor->w_dir, tor->width, tor->end), std::tuple(2, 50 * kMile, secs(2024, 5, 5, 20, 0)));
  for (const auto& [i, id, ang] : {std::tuple{0, "PIE", 112.5f}, {1, "SSI", 0.0f}, {3, "SAV", 225.0f}})
    EXPECT_EQ(std::tuple(std::string(tor->id[i]), tor->ang[i]), std::tuple(std::string(id), ang));
  // Before the new watch starts the old one stays in force.
  decode(2024, 5, 5, 9, 30);
  ASSERT_EQ(zor::watch::count(), 1);
  EXPECT_TRUE(zor::watch::table()[0].num == 595 && zor::watch::table()[0].end != 0);
}

TEST_F(WatchTest, CorrectionReplacesTheEntryInsteadOfAddingOne) {
  decode(2024, 5, 29, 3, 0);
  ASSERT_EQ(zor::watch::count(), 1);
  const watch& w = zor::watch::table()[0];
  EXPECT_EQ(std::tuple(w.num, w.ehour, std::string(w.id[3]), w.lat[3]), std::tuple(399, 8, "BAE", -9999.0f))
      << "the corrected end; BAE is unknown, and not needed";
  EXPECT_NEAR(w.lat[1], 42.95f, 1e-4f);
  // File by file: the original, then its correction in the same entry.
  zor::watch::reset();
  Date d = at(2024, 5, 29, 0, 0);
  WATCH_decode_file((kDir + "/24052900.wat").c_str(), &d, secs(2024, 5, 29, 2, 0));
  ASSERT_EQ(zor::watch::count(), 1);
  EXPECT_EQ(zor::watch::table()[0].ehour, 7);
  d.hour = 1;
  WATCH_decode_file((kDir + "/24052901.wat").c_str(), &d, secs(2024, 5, 29, 2, 0));
  ASSERT_EQ(zor::watch::count(), 1);
  EXPECT_EQ(std::pair(zor::watch::table()[0].ehour, zor::watch::table()[0].end), std::pair(8, secs(2024, 5, 29, 8, 0)));
  // Valid only through the correction.
  decode(2024, 5, 29, 7, 30);
  EXPECT_EQ(zor::watch::count(), 1);
}

TEST_F(WatchTest, FileDaysTableLimitAndMissingFiles) {
  // A day after the valid day is the month before's: the watch moves a month on.
  const std::string file = kDir + "/24052900.wat";
  Date june30 = at(2024, 6, 30, 0, 0);
  EXPECT_EQ(WATCH_decode_file(file.c_str(), &june30, secs(2024, 6, 29, 3, 0)), 1);
  EXPECT_EQ(zor::watch::count(), 0);
  EXPECT_EQ(WATCH_decode_file(file.c_str(), &june30, secs(2024, 7, 29, 3, 0)), 1);
  ASSERT_EQ(zor::watch::count(), 1);
  EXPECT_EQ(zor::watch::table()[0].start, secs(2024, 7, 29, 0, 15));
  // The table holds twenty.
  Date d = at(2024, 5, 29, 0, 0);
  for (int i = 0; i < 25; ++i) WATCH_decode_file(file.c_str(), &d, secs(2024, 5, 29, 3, 0));
  EXPECT_EQ(zor::watch::count(), WATCH_MAX);
  // A missing file is reported and skipped.
  EXPECT_EQ(WATCH_decode_file((kDir + "/nothing.wat").c_str(), &d, secs(2024, 5, 29, 3, 0)), 0);
  const std::string err = testing::internal::GetCapturedStderr();
  testing::internal::CaptureStderr();
  EXPECT_NE(err.find("WATCH_decode_file: file not found: " + kDir + "/nothing.wat"), std::string::npos) << err;
  EXPECT_EQ(zor::watch::count(), WATCH_MAX);
}

TEST_F(WatchTest, TruncatedBulletinsNeitherCrashNorKeepHalfWatches) {
  const std::string text = zor::test::slurp(kDir + "/24052109.wat");
  ASSERT_GT(text.size(), 300u);
  const std::string cut = zor::test::scratch("cut.wat");
  Date d = at(2024, 5, 21, 9, 0);
  for (std::size_t n = 0; n < text.size(); n += 7) {
    zor::watch::reset();
    zor::test::write_file(cut, text.substr(0, n));
    EXPECT_EQ(WATCH_decode_file(cut.c_str(), &d, secs(2024, 5, 21, 12, 0)), 1) << n;
    ASSERT_LE(zor::watch::count(), 1);
    // A watch is kept once its times are read; its stations come later.
    if (zor::watch::count() == 1) {
      EXPECT_EQ(zor::watch::table()[0].num, 153);
    }
  }
}

using zor::test::Capture;
using zor::test::rgb_of;

// 800 by 600 km around Oklahoma, polar stereographic.
Domain oklahoma() {
  return {.proj = 1, .plat = 90, .plon = -105, .clat = 35.8f, .clon = -99.6f, .dx = 0.1f, .dy = 0.1f, .nx = 81, .ny = 61};
}

class WatchDrawTest : public WatchTest {
 protected:
  void SetUp() override {
    WatchTest::SetUp();
    RES_put("color_watch", "red,yellow");
    RES_put("color_data", "white");
    batch_.emplace();
  }
  void TearDown() override {
    batch_.reset();
    WatchTest::TearDown();
  }
  std::optional<zor::test::BatchPlot> batch_;
};

TEST_F(WatchDrawTest, BoxPixelsWhereTheEndPointsProject) {
  decode(2024, 5, 21, 12, 0);
  ASSERT_EQ(zor::watch::count(), 1);
  const watch& w = zor::watch::table()[0];

  Domain d = oklahoma();
  ASSERT_EQ(PLT_open(DOM_aspect(&d)), 0);
  ASSERT_TRUE(zor::gks::current_device()->headless());
  MAP_setup(&d);
  EXPECT_EQ(WATCH_plot(), 0);
  Capture cap;
  ASSERT_EQ(zor::gks::current_device()->capture(cap.img), 1);

  // The end points: each station moved by its bearing and distance. They
  // lie in the middle of the box's short sides.
  float x = 0, y = 0, x1 = 0, y1 = 0, x2 = 0, y2 = 0;
  ASSERT_TRUE(MAP_tran(w.lat[0], w.lon[0], &x, &y));
  MAP_offset(x, y, w.ang[0], w.dist[0], &x1, &y1);
  ASSERT_TRUE(MAP_tran(w.lat[1], w.lon[1], &x, &y));
  MAP_offset(x, y, w.ang[1], w.dist[1], &x2, &y2);
  const std::uint32_t red = rgb_of("red");
  EXPECT_TRUE(cap.count_near(xW_p(x1), yW_p(y1), red)) << xW_p(x1) << "," << yW_p(y1);
  EXPECT_TRUE(cap.count_near(xW_p(x2), yW_p(y2), red)) << xW_p(x2) << "," << yW_p(y2);

  // Halfway along, the long sides are the half width (96.6 km) either side
  // of the axis; the box is not filled inside.
  const float mx = 0.5f * (x1 + x2), my = 0.5f * (y1 + y2);
  const float len = std::hypot(x2 - x1, y2 - y1);
  const float nx = -(y2 - y1) / len, ny = (x2 - x1) / len;  // left of the axis
  const float half = w.width / 100.0f * MAP_factor(35.8f);
  EXPECT_TRUE(cap.count_near(xW_p(mx + nx * half), yW_p(my + ny * half), red, 3));
  EXPECT_TRUE(cap.count_near(xW_p(mx - nx * half), yW_p(my - ny * half), red, 3));
  EXPECT_FALSE(cap.count_near(xW_p(mx + 0.6f * nx * half), yW_p(my + 0.6f * ny * half), red, 3));
  EXPECT_FALSE(cap.count_near(xW_p(mx + 2.0f * nx * half), yW_p(my + 2.0f * ny * half), red, 3));
  // The short label "S153" over "to 17Z", in the watch colour, at the middle.
  EXPECT_GT(cap.count_near(xW_p(mx), yW_p(my), red, 15), 20);
}

TEST_F(WatchDrawTest, NothingWithTheDataComponentOffOrWithoutPositions) {
  decode(2024, 5, 21, 12, 0);
  Domain d = oklahoma();
  ASSERT_EQ(PLT_open(DOM_aspect(&d)), 0);
  MAP_setup(&d);
  FLAG_setplot(7, 0);
  EXPECT_EQ(WATCH_plot(), 0);
  FLAG_setplot(7, 1);
  RES_put("color_data", "none");
  EXPECT_EQ(WATCH_plot(), 0);
  Capture cap;
  ASSERT_EQ(zor::gks::current_device()->capture(cap.img), 1);
  EXPECT_EQ(cap.count(rgb_of("red")), 0);
}

// Labels and fill read back from the text metafile.
TEST_F(WatchTest, LabelsShortAndLongAndFilledBoxes) {
  zor::test::reset_devices();
  const std::string file = zor::test::out_path("watch_labels.meta");
  ASSERT_TRUE(zor::test::open_ws(GWS_META, file));
  RES_put("color_watch", "red:fi=sol,yellow");
  RES_put("color_data", "white");
  DATE_set_TZ("CST:-6");
  Domain d = oklahoma();
  d.clat = 32.0f;
  d.clon = -92.0f;
  d.nx = d.ny = 301;  // Oklahoma and Florida both
  MAP_setup(&d);
  for (int day : {21, 5}) {  // severe thunderstorm 153, ends 17Z; tornado 596, ends 20Z
    decode(2024, 5, day, 12, 0);
    for (int label : {0, 1}) {
      WATCH_set_label(label);
      EXPECT_EQ(WATCH_plot(), 0);
    }
  }
  zor::test::close_ws();

  const auto recs = zor::test::meta::records(file);
  const std::vector<std::string> want = {"S153", "to 17Z", "SEV TSTORM WATCH", "to 11 AM  CST",
                                         "T596", "to 20Z", "TORNADO WATCH",    "to 2 PM  CST"};
  EXPECT_EQ(zor::test::meta::texts(recs), want);
  // Boxes: the severe watch filled (its colour has a pattern), the tornado one outlined.
  auto boxes = [&](const char* kind) {
    int n = 0;
    for (const auto& r : zor::test::meta::only(recs, kind)) n += r.pts.size() == 5;
    return n;
  };
  EXPECT_EQ(std::pair(boxes("FA"), boxes("PL")), std::pair(2, 2));
}

}  // namespace
