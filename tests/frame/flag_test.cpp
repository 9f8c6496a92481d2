// Flag table and plot-component table, and the draw resource that sets the components.
#include "zor/flag.h"

#include <gtest/gtest.h>

#include "zor/res.h"

#include <array>
#include <tuple>
#include <utility>

namespace {

class FlagTest : public ::testing::Test {
 protected:
  void SetUp() override { zor::flag::reset(); }
};

TEST_F(FlagTest, SlotsOutsideTheTableAndComponentSums) {
  EXPECT_EQ(FLAG_get(0), -9999);
  EXPECT_EQ((std::pair{FLAG_set(29, 7), FLAG_get(29)}), std::pair(0, 7));  // braces: in order
  EXPECT_EQ(std::pair(FLAG_set(30, 7), FLAG_set(-1, 7)), std::pair(-1, -1));
  EXPECT_EQ(std::pair(FLAG_get(30), FLAG_getl(-1)), std::pair(0, 0L));
  EXPECT_EQ((std::pair{FLAG_setl(14, 33L), FLAG_getl(14)}), std::pair(0, 33L));
  FLAG_resetl(5);
  for (int i = 0; i < 30; ++i) EXPECT_EQ(FLAG_get(i), 5) << i;

  // Plot components keep their sums.
  for (int i = 0; i < 13; ++i) EXPECT_EQ(FLAG_getplot(i), 1) << i;
  FLAG_setplot(3, 0);
  EXPECT_EQ(std::pair(FLAG_getplot(0), FLAG_getplot(12)), std::pair(5, 5 + 10));  // sum of the six corner texts
  FLAG_setplot(0, 0);  // all corner texts off, the border stays
  for (int i = 0; i <= 6; ++i) EXPECT_EQ(FLAG_getplot(i), 0) << i;
  EXPECT_EQ(FLAG_getplot(11), 1);
  FLAG_setplot(12, 0);
  for (int i = 0; i < 13; ++i) EXPECT_EQ(FLAG_getplot(i), 0) << i;
  FLAG_setplot(8, 1);
  EXPECT_EQ(std::pair(FLAG_getplot(8), FLAG_getplot(12)), std::pair(1, 1));
  FLAG_resetplot(4);  // no recomputation
  EXPECT_EQ(std::pair(FLAG_getplot(0), FLAG_getplot(12)), std::pair(4, 4));
}

// The draw resource: a first item without sign starts from nothing.
TEST_F(FlagTest, DrawResourceSwitchesComponents) {
  const std::pair<const char*, std::array<int, 13>> cases[] = {
      {"-map", {6, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 16}}, {"map", {0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1}},
      {"map,data", {0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 2}}, {"-text", {0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 0, 4}},
      {"none,+text_ul,+BORD", {1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 3}},
      {"+all,-sum,-grid", {6, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 1, 15}},
      {"bogus", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
  };
  for (const auto& [value, on] : cases) {
    zor::flag::reset();
    EXPECT_EQ(RES_conv_data(value, nullptr, CV_draw), 1);
    for (int i = 0; i < 13; ++i) EXPECT_EQ(FLAG_getplot(i), on[static_cast<std::size_t>(i)]) << value << " slot " << i;
  }
}

}  // namespace
