// The window workstation of the frame, zoom and event tests: opened on the
// X11 device, or on the memory raster standing in for it, with four pure
// colours at indices 2 to 5; frames filled one colour each; and closed with the kernel and colours put back.
#pragma once

#include <gtest/gtest.h>

#include "device.h"
#include "gks_kernel.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"

namespace zor::test {

// Colour indices 2 to 5 as 0xRRGGBB.
constexpr unsigned kColour[] = {0xff0000u, 0x00ff00u, 0x0000ffu, 0xffff00u};

// Opens the window (memory false) or the memory device in its place.
inline void open_window_ws(bool memory) {
  if (memory) zor::gks::register_device(GWS_WINDOW, "memory", zor::gks::make_memory_device);
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
  ASSERT_NE(zor::gks::current_device(), nullptr);
  ginit_loop();
  const Gcolr_rep colours[] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}};
  for (int i = 0; i < 4; ++i) gset_colr_rep(1, 2 + i, &colours[i]);
}

inline void close_window_ws(bool memory) {
  ginit_loop();
  gclose_ws(1);
  gclose_gks();
  zor::gks::kernel().reset();
  zor::gks::reset_color_model();
  if (memory) zor::gks::unregister_device(GWS_WINDOW);
}

// A box filled with colour index `colour`, in world coordinates.
inline void box(float x0, float y0, float x1, float y1, int colour) {
  const Gpt pts[] = {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
  gset_fill_int_style(GSOLID);
  gset_fill_colr_ind(colour);
  gfill_area(4, pts);
}

// Frames 0 to n-1, frame i filled with colour index 2 + i; the base window selected again.
inline void make_frames(int n) {
  for (int i = 0; i < n; ++i) {
    ASSERT_EQ(gcreate_frame(-1), i);
    ASSERT_EQ(gselect_frame(i), 1);
    box(0, 0, 1, 1, 2 + i);
  }
  ASSERT_EQ(gselect_frame(GFRAME_BASE), 1);
}

}  // namespace zor::test
