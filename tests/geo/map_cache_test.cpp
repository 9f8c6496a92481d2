// Map files are read once per process and redrawn from their projected pieces:
// the pictures are those of a first drawing.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "../common/batch_plot.h"
#include "../common/capture.h"
#include "zor/data_dir.h"
#include "zor/dom.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/plt.h"
#include "zor/res.h"

namespace {

using zor::test::Capture;

class MapCacheTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::map_draw::reset();
    batch_.emplace();
    // A copy of a bundled map, so that it can be spoiled after the first read.
    const auto states = zor::find_data_file("states.map");
    ASSERT_TRUE(states);
    zor::test::write_file(zor::test::scratch("cached.map"), zor::test::slurp(*states));
    RES_put("file_path", zor::test::scratch_dir().path().c_str());
    RES_put("map_file", "cached.map");
  }
  void TearDown() override {
    batch_.reset();
    zor::map_draw::reset();
    RES_put("file_path", "");
    RES_put("map_file", "");
  }

  // Draws the map on `d` on a cleared picture and returns its warnings.
  std::string draw(Domain d, Capture& into) {
    domain_ = d;
    MAP_setup(&domain_);
    gclear_ws(1, GALWAYS);
    testing::internal::CaptureStderr();
    EXPECT_EQ(MAP_draw(7), 0);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(gget_image(&into.img), 1);
    return err;
  }

  Domain domain_;
  std::optional<zor::test::BatchPlot> batch_;
};

TEST_F(MapCacheTest, RedrawnAsFirstDrawnWithoutReadingAgain) {
  const Domain ok = zor::test::radar_domain(35.333f, -97.278f, 250);  // Oklahoma
  const Domain al = zor::test::radar_domain(33.172f, -86.770f, 250);  // Alabama
  domain_ = ok;
  ASSERT_EQ(PLT_open(DOM_aspect(&domain_)), 0);
  Capture first_ok, first_al;
  EXPECT_EQ(draw(ok, first_ok), "");
  EXPECT_GT(first_ok.count(zor::test::rgb_of("red")), 500);
  // The file spoiled: drawn again, the map is the one read first.
  zor::test::write_file(zor::test::scratch("cached.map"), "damaged");
  Capture again_ok, then_al, back_ok;
  EXPECT_EQ(draw(ok, again_ok), "");
  EXPECT_TRUE(again_ok.same_as(first_ok));
  EXPECT_EQ(draw(al, then_al), "");
  EXPECT_EQ(draw(ok, back_ok), "");
  EXPECT_TRUE(back_ok.same_as(first_ok));
  // A new process state reads the spoiled file: nothing but the warning.
  zor::map_draw::reset();
  Capture spoiled;
  EXPECT_NE(draw(ok, spoiled), "");
  EXPECT_EQ(spoiled.count(zor::test::rgb_of("red")), 0);
  // The Alabama picture as drawn from the file for that domain first.
  const auto states = zor::find_data_file("states.map");
  zor::test::write_file(zor::test::scratch("cached.map"), zor::test::slurp(*states));
  zor::map_draw::reset();
  EXPECT_EQ(draw(al, first_al), "");
  EXPECT_TRUE(then_al.same_as(first_al));
  EXPECT_FALSE(then_al.same_as(first_ok));
}

}  // namespace
