// Frames and loop stepping on the X11 window under Xvfb and on the memory
// raster, checked on the base window's back pixmap.
#include <gtest/gtest.h>

#include "../common/capture.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"

using namespace zor::gks;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

// The test runs once on the window, once on the memory device.
class Frames : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    zor::test::open_window_ws(GetParam());
    dev = current_device();
  }
  void TearDown() override { zor::test::close_window_ws(GetParam()); }
  // Colour at the middle of the base window's picture.
  unsigned shown() {
    EXPECT_TRUE(dev->set_draw_target(0));
    zor::test::Capture pic;
    EXPECT_EQ(dev->capture(pic.img), 1);
    return pic.img.data ? pic.rgb(pic.img.width / 4, pic.img.height / 2) : 0xdeadu;
  }
  Device* dev = nullptr;
};

using zor::test::kColour;
using zor::test::make_frames;

TEST_P(Frames, DefaultDelaysAndDisplayOfEachFrame) {
  make_frames(3);
  EXPECT_EQ(gget_num_images(), 3);
  EXPECT_FLOAT_EQ(gget_frame_delay(0), 0.5f);
  EXPECT_FLOAT_EQ(gget_frame_delay(1), 0.5f);
  EXPECT_FLOAT_EQ(gget_frame_delay(2), 1.0f);
  for (int i : {2, 0, 1}) {
    ASSERT_EQ(gdisplay_frame(i), 1);
    EXPECT_EQ(gget_cur_frame(), i);
    EXPECT_EQ(shown(), kColour[i]) << "frame " << i;
  }
}

TEST_P(Frames, StepsForwardBackwardAndRocking) {
  make_frames(4);
  ASSERT_EQ(gdisplay_frame(3), 1);
  gset_loop_direct(1);
  EXPECT_EQ(ginc_frame(0), 0);  // forward wraps
  gset_loop_direct(0);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(ginc_frame(0), 3);  // backward wraps
  gset_loop_direct(3);
  ASSERT_EQ(gdisplay_frame(3), 1);
  const int next = ginc_frame(0);
  EXPECT_EQ(next, 2);  // rocking turns at the end
  EXPECT_EQ(gget_loop_direct(), 2);
  ASSERT_EQ(gdisplay_frame(next), 1);
  EXPECT_EQ(shown(), kColour[2]);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(ginc_frame(0), 1);  // and at the start
  EXPECT_EQ(gget_loop_direct(), 3);
  gset_loop_direct(1);
  gset_loop_range(1, 2);
  ASSERT_EQ(gdisplay_frame(2), 1);
  EXPECT_EQ(ginc_frame(0), 1);
  gset_loop_range(-1, -1);
}

TEST_P(Frames, CopyAndDeleteShowTheFrameMovingIn) {
  make_frames(3);
  ASSERT_EQ(gcopy_frame(0, 2), 1);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(shown(), kColour[2]);
  ASSERT_EQ(gdisplay_frame(1), 1);
  ASSERT_EQ(gdelete_frame(GFRAME_CURRENT), 1);
  EXPECT_EQ(gget_num_images(), 2);
  EXPECT_EQ(shown(), kColour[2]);  // the old frame 2 moved into place
  EXPECT_EQ(gdelete_frame(200), 0);
  ginc_loop_delay(-1.0f);
  EXPECT_FLOAT_EQ(gget_loop_delay(), 0.0f);
  EXPECT_FLOAT_EQ(gget_frame_delay(0), 0.0f);
}

TEST_P(Frames, RecordedObjectsReplayIntoAnotherFrame) {
  EXPECT_EQ(gget_redraw(), 0);  // recording starts off
  ginit_objs();
  EXPECT_EQ(gset_redraw(1), 0);
  const Gpt pts[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  gset_fill_int_style(GSOLID);
  gset_fill_colr_ind(5);
  gfill_area(4, pts);
  EXPECT_GE(gget_num_recorded(), 2);
  EXPECT_EQ(shown(), kColour[3]);
  // Into a fresh frame, then displayed.
  ASSERT_EQ(gcreate_frame(-1), 0);
  const int recorded = gget_num_recorded();
  ASSERT_EQ(gselect_frame(0), 1);
  EXPECT_EQ(gget_redraw(), 0);  // frames are not redrawn from objects
  gset_fill_colr_ind(2);  // replay must set the colour again
  ASSERT_EQ(gobj_replay(), 1);
  EXPECT_EQ(gget_num_recorded(), recorded);
  ASSERT_EQ(gselect_frame(GFRAME_BASE), 1);
  const Gpt small[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  gset_fill_colr_ind(2);
  gfill_area(4, small);
  EXPECT_EQ(shown(), kColour[0]);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(shown(), kColour[3]);
  gclear_objs();
  EXPECT_EQ(gobj_replay(), 0);
}

TEST_P(Frames, SwitchDataAndSleep) {
  make_frames(3);
  ASSERT_EQ(gswitch_frame(0, GFRAME_LAST), 1);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(shown(), kColour[2]);
  ASSERT_EQ(gdisplay_frame(2), 1);
  EXPECT_EQ(shown(), kColour[0]);
  EXPECT_EQ(gswitch_frame(0, 5), 0);  // no such frame
  const unsigned char data[] = {9, 8, 7};
  ASSERT_EQ(gset_image_data(GFRAME_CURRENT, data, 3), 1);
  unsigned char got[50] = {};
  EXPECT_EQ(gget_image_data(2, got), 3);
  EXPECT_EQ(got[0], 9);
  EXPECT_EQ(gget_image_data(1, got), 0);
  // A frame whose time is up does not wait.
  ASSERT_EQ(gset_loop_delay(GFRAME_CURRENT, 0.0f), 1);
  EXPECT_EQ(gloop_sleep(), 0);
  EXPECT_EQ(gset_loop_delay(128, 1.0f), 0);  // beyond the frames
}

INSTANTIATE_TEST_SUITE_P(WindowAndMemory, Frames, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "memory" : "window"; });

}  // namespace
