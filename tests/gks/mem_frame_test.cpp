// Frame exchanges with the base window and clears, on the memory raster and
// the X11 window under Xvfb (the two agree pixel for pixel: mem_xvfb_test).
#include <gtest/gtest.h>

#include <vector>

#include "../common/capture.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "gks_zoom.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"

using namespace zor::gks;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

using zor::test::box;
using zor::test::kColour;
using zor::test::make_frames;
const auto open_device = zor::test::open_window_ws;
const auto close_device = zor::test::close_window_ws;
constexpr unsigned kBlack = 0x000000u;

// The picture of a frame selector, captured as 0xRRGGBB values; the drawing
// target is restored afterwards.
struct Picture {
  int width = 0;
  int height = 0;
  std::vector<unsigned> pixels;
  unsigned at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
  unsigned centre() const { return at(width / 2, height / 2); }
};

Picture grab(int ind) {
  Picture pic;
  Device* dev = current_device();
  unsigned long id = 0, was = dev->draw_target();
  if (!frame_pixmap(ind, &id) || !dev->set_draw_target(id)) return pic;
  zor::test::Capture cap;
  const int ok = dev->capture(cap.img);
  dev->set_draw_target(was);
  if (ok != 1 || cap.img.data == nullptr || cap.img.bits_pixel != 32) return pic;
  pic.width = cap.img.width, pic.height = cap.img.height;
  for (int y = 0; y < pic.height; ++y)
    for (int x = 0; x < pic.width; ++x) pic.pixels.push_back(cap.pixel(x, y));
  return pic;
}

class MemFrames : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { zor::test::open_window_ws(GetParam()); }
  void TearDown() override { zor::test::close_window_ws(GetParam()); }
};

TEST_P(MemFrames, ExchangeWithTheBaseWindowMovesPicturesAndTheirIds) {
  make_frames(2);
  box(0, 0, 1, 1, 5);  // the base window's own picture
  const unsigned long base = gget_base_window(), one = gget_frame_id(1);
  ASSERT_NE(base, 0u);
  ASSERT_NE(one, 0u);
  ASSERT_NE(base, one);
  ASSERT_EQ(gswitch_frame(1, GFRAME_BASE), 1);
  EXPECT_EQ(grab(GFRAME_BASE).centre(), kColour[1]);
  EXPECT_EQ(grab(1).centre(), kColour[3]);
  EXPECT_EQ(gget_base_window(), one);  // the base window is the other picture now
  EXPECT_EQ(gget_frame_id(1), base);
  EXPECT_EQ(grab(0).centre(), kColour[0]);  // untouched
  // Either order of the selectors; back to where it was.
  ASSERT_EQ(gswitch_frame(GFRAME_BASE, 1), 1);
  EXPECT_EQ(gget_base_window(), base);
  EXPECT_EQ(grab(GFRAME_BASE).centre(), kColour[3]);
  EXPECT_EQ(gswitch_frame(GFRAME_BASE, GFRAME_BASE), 1);  // itself: nothing to do
  EXPECT_EQ(gswitch_frame(GFRAME_BASE, 4), 0);            // no such frame
}

TEST_P(MemFrames, DrawingTargetFollowsItsPictureThroughAnExchange) {
  make_frames(1);
  ASSERT_EQ(gselect_frame(0), 1);
  ASSERT_EQ(gswitch_frame(0, GFRAME_BASE), 1);
  // Frame 0's old picture is the base window's now, and drawing goes there.
  box(0.25f, 0.25f, 0.75f, 0.75f, 4);
  EXPECT_EQ(grab(GFRAME_BASE).centre(), kColour[2]);
  EXPECT_EQ(grab(0).centre(), kBlack);
}

TEST_P(MemFrames, ClearsReachOnlyTheirOwnPicture) {
  make_frames(2);
  box(0, 0, 1, 1, 5);
  // One frame, while the base window is the drawing target.
  ASSERT_EQ(gclear_frame(1), 1);
  EXPECT_EQ(grab(1).centre(), kBlack);
  EXPECT_EQ(grab(0).centre(), kColour[0]);
  EXPECT_EQ(grab(GFRAME_BASE).centre(), kColour[3]);
  // Re-creating a frame clears it.
  ASSERT_EQ(gcreate_frame(0), 0);
  EXPECT_EQ(grab(0).centre(), kBlack);
  EXPECT_EQ(gget_num_images(), 2);
  // The workstation clear reaches the selected frame only.
  ASSERT_EQ(gselect_frame(1), 1);
  box(0, 0, 1, 1, 4);
  gclear_ws(1, GALWAYS);
  EXPECT_EQ(grab(1).centre(), kBlack);
  EXPECT_EQ(grab(GFRAME_BASE).centre(), kColour[3]);
}

TEST_P(MemFrames, RegionClearIgnoresTheViewportClip) {
  box(0, 0, 1, 1, 2);
  // Where the unit square lies: its left, right and top pixels.
  const Picture before = grab(GFRAME_BASE);
  ASSERT_GT(before.width, 0);
  const int mid = before.height / 2;
  int left = -1, right = -1, top = -1;
  for (int x = 0; x < before.width; ++x)
    if (before.at(x, mid) == kColour[0]) {
      if (left < 0) left = x;
      right = x;
    }
  ASSERT_GE(left, 0);
  for (int y = 0; y < before.height && top < 0; ++y)
    if (before.at(left, y) == kColour[0]) top = y;
  // A viewport on the left half clips drawing, not the region clear, which
  // reaches into the right half.
  const Glim vp = {0.0f, 0.5f, 0.0f, 1.0f};
  const Glim win = {0.0f, 1.0f, 0.0f, 1.0f};
  gset_vp(1, &vp);
  gset_win(1, &win);
  gsel_norm_tran(1);
  const Glim region = {0.5f, 2.0f, 0.25f, 0.75f};
  gclear_region(&region);
  const Picture pic = grab(GFRAME_BASE);
  EXPECT_EQ(pic.at((left + right) / 2, mid), kBlack);
  EXPECT_EQ(pic.at(right - 1, mid), kBlack);  // beyond the viewport
  EXPECT_EQ(pic.at(left, mid), kColour[0]);
  EXPECT_EQ(pic.at(right, top), kColour[0]);
}

TEST_P(MemFrames, DeletingTheOnlyFrameBlanksTheBaseWindow) {
  make_frames(1);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(grab(GFRAME_BASE).centre(), kColour[0]);
  ASSERT_EQ(gdelete_frame(0), 1);
  EXPECT_EQ(gget_num_images(), 0);
  EXPECT_EQ(grab(GFRAME_BASE).centre(), kBlack);
}

INSTANTIATE_TEST_SUITE_P(WindowAndMemory, MemFrames, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "memory" : "window"; });

TEST(MemFrameIds, MemoryPicturesHaveNamesButTakeNoForeignPixmap) {
  open_device(true);
  ASSERT_EQ(gcreate_frame(-1), 0);
  const unsigned long base = gget_base_window(), zero = gget_frame_id(0);
  EXPECT_NE(base, 0u);
  EXPECT_NE(zero, 0u);
  EXPECT_NE(base, zero);
  EXPECT_EQ(gprint_frame_ids(), 1);
  // There is no server whose pixmaps a frame could take over.
  EXPECT_EQ(gset_frame_id(0, 12345), 0);
  EXPECT_EQ(gget_frame_id(0), zero);
  close_device(true);
  EXPECT_EQ(gget_base_window(), 0u);
}

}  // namespace
