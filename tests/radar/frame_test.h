// Frames of a radar format drawn on the in-memory raster and captured: what
// every such test includes, a frame opened on a domain, the capture, and the
// fill colour index of a value.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "../common/capture.h"
#include "../common/radar_fixture.h"
#include "device.h"
#include "gks_kernel.h"
#include "radar_test_util.h"
#include "zor/cont.h"
#include "zor/dom.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/plt.h"
#include "zor/res.h"

namespace zor::test {

// A new frame on `dom`, its map set up and areas filled without outlines.
inline bool open_frame(Domain dom) {
  if (PLT_open(DOM_aspect(&dom)) != 0) return false;
  MAP_setup(&dom);
  MAP_fill_cont(0);
  return true;
}

// The frame drawn so far; transformation 2 stays selected.
inline bool grab(Capture& cap) {
  GPH_trans(2);
  return zor::gks::current_device()->capture(cap.img) == 1;
}

// The fill colour index of `v`, negative where nothing is filled.
inline int colour_of(float v) {
  Gattribs a;
  CONT_get_fill_attrib(v, &a);
  return a.color;
}

}  // namespace zor::test

using zor::test::Capture;
using zor::test::colour_of;
using zor::test::fill_rgb;
using zor::test::near;
using zor::test::rgb_of;
using zor::test::rgb_of_index;
