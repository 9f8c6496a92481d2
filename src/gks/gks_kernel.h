// Kernel-internal state and helpers shared by the kernel units (workstation,
// transformations, clipping, primitives, text, fonts, GPH layer).
#pragma once

#include <array>
#include <map>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "device.h"
#include "zor/gks.h"

namespace zor::gks {

struct LineState {
  int color = 1;
  int type = 1;
  float width = 1.0f;
  int print_bold = 1;
  int gc_function = 3;  // GXcopy
};

struct FillState {
  int inter_style = GSOLID;
  int inter_index = 1;
  int color = 1;
  int print_solid = 0;
};

struct MarkerState {
  int color = 1;
  int type = 1;
  float width = 1.0f;
  float height = 10.0f;
};

struct FontEntry {
  std::string abbr;
  std::string name;
};

struct TextState {
  int color = 1;
  float width = 1.0f;
  float height = 0.01f;
  float expan = 1.0f;
  float space = 0.25f;
  float char_space = 0.0f;
  int horiz_align = GNORMAL_HOR;
  int vert_align = GNORMAL_VERT;
  float upx = 0.0f;
  float upy = 1.0f;
  int drop_shadow = 0;
  int drop_color = 1;
};

// The loaded stroke font (or the marker of a native font) and the font list.
struct FontState {
  int font_ind = 1;
  int font_type = 1;  // 1 stroke font, 2 device (server) font
  std::vector<FontEntry> fonts;
  std::string font_list;  // set by gset_font_list
  bool font_list_set = false;
  std::vector<std::uint8_t> db;
  std::array<int, 256> index{};
  std::array<std::uint8_t, 256> size{};
  std::map<std::string, std::string> files;  // font files read, by path: once per process
  void clear_glyphs() {
    db.clear();
    index.fill(-1);
    size.fill(0);
  }
};

struct TransformState {
  std::array<Gcoords, 6> wn{};
  std::array<Gcoords, 6> vp{};
  int cur_trans = 0;
  Gcoords cur_wn{};
  Gcoords cur_vp{};
  Gtransform wn_vp{};
  Gcoords wkwn{};
  Gcoords wkvp{};
  Gcoords plt{};
  Gtransform wkwn_plt{};
  Gxrect clip_rect{};
  DevRect clip_dev{};  // the viewport in device units, what the kernel clips to
};

// The convenience layer's workstation state.
struct ToolState {
  bool ws_open = false;
  Gws_type wk_type = 0;
  Gws_type wk_itype = 0;
  float xvp = 1.0f;
  float yvp = 1.0f;
  float sizex = 1.0f;
  float sizey = 1.0f;
  float offx = 0.0f;
  float offy = 0.0f;
  std::string font_name;
};

// Everything the kernel keeps for the process: one workstation at a time.
struct Kernel {
  bool gks_open = false;
  std::string err_file;   // named error file, empty = standard error
  bool ws_open = false;
  Gws_type ws_type = 0;
  std::unique_ptr<Device> device;
  int win_width = 0;
  int win_height = 0;
  int win_x = 0;
  int win_y = 0;
  std::string prog_name;
  std::string win_title;
  std::string setup_conn;  // connection id handed out by gdevice_setup
  TransformState tr;
  ToolState tool;
  LineState line;
  FillState fill;
  MarkerState marker;
  TextState text;
  FontState font;
  ObjectRecorder recorder = nullptr;
  // The plot asked for nothing to be drawn: calls without a workstation are
  // expected then and not reported.
  bool no_plot = false;

  void reset();
};

Kernel& kernel();

// Metafile workstation (records instead of drawing).
bool is_meta();
// X11 workstation (window or foreign drawable).
bool is_x11();
bool is_ps();
// Writes a metafile record line on the open metafile workstation.
void meta_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Offers an object to the object list (not on a metafile).
void record_object(int kind, int value, const void* data, std::size_t size);

// Converts a world point of the current transformation to device units
// (pixels rounded as X11 wants them, or print units).
DevPoint to_device(float x, float y);
// The same for n points at once, the mapping read once: the cell fills of a
// radar sweep go through here a million times per picture.
void to_device_n(int n, const Gpt* pts, DevPoint* out);
// Recomputes the device mapping and clip region after a window/viewport change.
void update_mapping();
void update_clip();

// Clipping in device units.
bool inside(const DevRect& r, const DevPoint& p);
// Splits a polyline into the pieces that lie inside `r`.
std::vector<std::vector<DevPoint>> clip_polyline(std::span<const DevPoint> pts, const DevRect& r,
                                                 bool round_pixels);
// Clips a polygon (Sutherland-Hodgman); the result is closed (first point
// repeated) unless the polygon lay wholly inside, which is returned as it was.
// True when every point lies inside r (the polygon needs no clipping).
bool polygon_inside(std::span<const DevPoint> pts, const DevRect& r);
std::vector<DevPoint> clip_polygon(std::span<const DevPoint> pts, const DevRect& r,
                                   bool round_pixels);

// Draws strokes (markers, glyphs) clipped to the viewport.
void draw_stroke(std::span<const DevPoint> pts, const Pen& pen);

// Pens of the primitives with their current attributes.
Pen line_pen();
Pen marker_pen();
Pen text_pen();

// Parses the text of a font file into `font`; false when it is malformed.
bool parse_font(const std::string& text, FontState& font);

}  // namespace zor::gks
