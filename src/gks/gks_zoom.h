// Pixel replication of captured pictures, shared by the zoom and its tests.
#pragma once

#include "zor/img.h"

namespace zor::gks {

// A width x height picture in the layout of `src` (1, 4, 8, 16, 24 or 32
// bits per pixel) in which every source pixel from (x0, y0) on becomes a
// zoom x zoom block; pixels past the source's edge repeat its last column
// and row. The result's data is malloc'ed; false for an unknown layout or
// no memory.
bool replicate_pixels(const IMG_report& src, int x0, int y0, int zoom, int width, int height,
                      IMG_report* out);

// Device pixmap id of a frame selector (gks_frame.cpp); false when none.
bool frame_pixmap(int ind, unsigned long* id);

}  // namespace zor::gks
