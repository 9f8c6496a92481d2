// State shared by the two metafile forms (text metafile and binary CGM),
// which write to the same output stream.
#pragma once

#include <array>
#include <map>

#include "out_stream.h"
#include "zor/gks.h"

namespace zor::gks::meta {

struct MetaState {
  OutStream out;
  int meta_type = 0;  // 0 text metafile, 1 binary CGM
  int line_type = 0;  // last CGM line type written, 0 = none yet
  std::string title;
  // CGM colour table: kernel colour index -> CGM index and the RGB bytes
  // it was defined with (redefined when the kernel's colour changes).
  struct CgmColour {
    int slot = 0;
    std::array<int, 3> rgb{};
  };
  std::map<int, CgmColour> cgm_colours;
  int cgm_next_slot = 1;
  int cgm_line_colour = -1, cgm_fill_colour = -1, cgm_text_colour = -1;  // CGM indices in force
  bool cgm_solid = false;  // INTERIOR STYLE solid written
  // Stroke text is collected as the box of its strokes and written as one
  // TEXT element when the group ends.
  bool in_text = false;
  std::string text;
  float text_x0 = 0, text_y0 = 0, text_x1 = 0, text_y1 = 0;
  bool text_inked = false;
  Gpt text_pos;  // world position, for text drawn without strokes

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
// A solid POLYGON (partitioned when it exceeds the element size).
void cgm_polygon_device(const float* xy, std::size_t n);
// LINE, FILL and TEXT COLOUR of a kernel colour index (500..508 the fixed
// print shades), defining its colour-table entry on first use.
void cgm_line_colour(int ind);
void cgm_fill_colour(int ind);
void cgm_text_colour(int ind);
// A TEXT element: the string with its lower-left corner at (x, y) and a
// character height, in metafile device units.
void cgm_text(float x, float y, float height, std::string_view text);

}  // namespace zor::gks::meta
