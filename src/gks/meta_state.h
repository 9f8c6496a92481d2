// State shared by the two metafile forms (text metafile and binary CGM),
// which write to the same output stream.
#pragma once

#include "out_stream.h"

namespace zor::gks::meta {

struct MetaState {
  OutStream out;
  int meta_type = 0;  // 0 text metafile, 1 binary CGM
  int line_type = 0;  // last CGM line type written, 0 = none yet
  std::string title;

  void reset() { *this = MetaState{}; }
};

MetaState& state();

// Metafile device units; the CGM picture is written at ten times this
// resolution, filling its VDC extent of 10000 x 8000.
inline constexpr int kMetaWidth = 1000;
inline constexpr int kMetaHeight = 800;
inline constexpr float kCgmScale = 10.0f;

// The CGM picture header and trailer (dev_cgm.cpp).
void cgm_write_header();
void cgm_write_trailer();
// A POLYLINE element (split into several when it exceeds the element size).
void cgm_polyline_device(const float* xy, std::size_t n);

}  // namespace zor::gks::meta
