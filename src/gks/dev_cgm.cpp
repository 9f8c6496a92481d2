// Minimal binary CGM (ISO 8632-3 binary encoding, big-endian): a metafile
// header, one picture with its clip rectangle, polylines and line types,
// solid polygons, text, and the colours they use (indexed, through colour
// table entries defined on first use).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

#include "meta_state.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"

namespace zor::gks::meta {
namespace {

bool is_cgm() { return state().meta_type == 1 && state().out.is_open(); }

void put_bytes(std::initializer_list<int> bytes) {
  std::FILE* f = state().out.get();
  if (f == nullptr) return;
  for (int b : bytes) std::fputc(b & 0xFF, f);
}

void put_word(int v) { put_bytes({(v >> 8) & 0xFF, v & 0xFF}); }

// VDC values are 16-bit signed integers.
int to_vdc(float device_units) {
  const float v = std::trunc(device_units * kCgmScale);
  return static_cast<int>(std::clamp(v, -32768.0f, 32767.0f));
}

// The longest point list one long-form element carries: its length word
// has 15 bits.
constexpr std::size_t kMaxPointsPerElement = 32767 / 4;

}  // namespace

void cgm_write_header() {
  gcgm_control(0, 1, 1, 0);  // BEGIN METAFILE, empty name
  put_bytes({0, 0});
  gcgm_control(1, 1, 2, 1);  // METAFILE VERSION 1
  gcgm_control(1, 2, 11, 0);  // METAFILE DESCRIPTION
  put_bytes({10});
  for (char c : std::string_view("ZORCGM-1.0")) put_bytes({c});
  put_bytes({0});
  gcgm_control(1, 11, 6, 1);  // METAFILE ELEMENT LIST: one entry, the drawing set
  put_bytes({0xFF, 0xFF, 0x00, 0x01});
  gcgm_control(1, 9, 1, 0);  // MAXIMUM COLOUR INDEX
  put_bytes({255, 0});
  gcgm_control(2, 6, 8, 0);  // VDC EXTENT
  put_word(0);
  put_word(0);
  put_word(static_cast<int>(kMetaWidth * kCgmScale));
  put_word(static_cast<int>(kMetaHeight * kCgmScale));
  gcgm_control(0, 3, 1, 0);  // BEGIN PICTURE, empty name
  put_bytes({0, 0});
  gcgm_control(0, 4, 0, 0);  // BEGIN PICTURE BODY
}

void cgm_write_trailer() {
  gcgm_control(0, 5, 0, 0);  // END PICTURE
  gcgm_control(0, 2, 0, 0);  // END METAFILE
}

void cgm_polyline_device(const float* xy, std::size_t n) {
  if (!is_cgm() || n < 2) return;
  std::size_t start = 0;
  while (start + 1 < n) {
    // Consecutive elements share their joining point so the line stays whole.
    const std::size_t count = std::min(n - start, kMaxPointsPerElement);
    gcgm_control(4, 1, 31, static_cast<int>(count * 4));
    for (std::size_t i = start; i < start + count; ++i) gcgm_ps_point(xy[2 * i], xy[2 * i + 1]);
    start += count - 1;
  }
}

namespace {

// Writes a point list as one element, in partitions of the long form when
// it is too long for one (bit 15 of the length word: more follows).
void point_element(int cls, int id, const float* xy, std::size_t n) {
  std::size_t start = 0;
  do {
    const std::size_t count = std::min(n - start, kMaxPointsPerElement);
    const bool more = start + count < n;
    gcgm_control(cls, id, 31, static_cast<int>(count * 4) | (more ? 0x8000 : 0));
    for (std::size_t i = start; i < start + count; ++i) gcgm_ps_point(xy[2 * i], xy[2 * i + 1]);
    start += count;
  } while (start < n);
}

int channel(float f) { return static_cast<int>(std::lround(std::clamp(f, 0.0f, 1.0f) * 255.0f)); }

// The CGM index of a kernel colour, defined (or redefined, when the kernel's
// colour changed) through a COLOUR TABLE element. Indices run 1..255 (0 is
// the background); beyond 255 colours the last entry is reused.
int cgm_index(int ind) {
  auto& s = state();
  std::array<int, 3> rgb{};
  if (ind >= 500 && ind <= 508) {
    const int v = ind <= 502 ? 0 : ind <= 505 ? 255 : channel(0.7f);  // black, white, 70% grey
    rgb = {v, v, v};
  } else {
    float r = 0, g = 0, b = 0;
    gget_color_rgb(ind, &r, &g, &b);
    rgb = {channel(r), channel(g), channel(b)};
  }
  auto it = s.cgm_colours.find(ind);
  if (it != s.cgm_colours.end() && it->second.rgb == rgb) return it->second.slot;
  int slot = 0;
  if (it != s.cgm_colours.end()) {
    slot = it->second.slot;
  } else {
    slot = std::min(s.cgm_next_slot, 255);
    if (s.cgm_next_slot <= 255) ++s.cgm_next_slot;
  }
  s.cgm_colours[ind] = {slot, rgb};
  gcgm_control(5, 34, 4, 0);  // COLOUR TABLE: start index, one RGB entry
  put_bytes({slot, rgb[0], rgb[1], rgb[2]});
  // An entry redefined in place changes what the current colour means.
  s.cgm_line_colour = s.cgm_fill_colour = s.cgm_text_colour = -1;
  return slot;
}

void colour_element(int id, int ind, int& in_force) {
  if (!is_cgm()) return;
  const int slot = cgm_index(ind);
  if (slot == in_force) return;
  in_force = slot;
  gcgm_control(5, id, 1, 0);
  put_bytes({slot, 0});  // padded to a whole word
}

}  // namespace

void cgm_polygon_device(const float* xy, std::size_t n) {
  auto& s = state();
  if (!is_cgm() || n < 3) return;
  if (!s.cgm_solid) {
    gcgm_control(5, 22, 2, 0);  // INTERIOR STYLE solid
    put_word(1);
    s.cgm_solid = true;
  }
  point_element(4, 7, xy, n);
}

void cgm_line_colour(int ind) { colour_element(4, ind, state().cgm_line_colour); }
void cgm_fill_colour(int ind) { colour_element(23, ind, state().cgm_fill_colour); }
void cgm_text_colour(int ind) { colour_element(14, ind, state().cgm_text_colour); }

void cgm_text(float x, float y, float height, std::string_view text) {
  if (!is_cgm() || text.empty()) return;
  // Strings of 255 characters and more take the long string form; a
  // 16-bit length bounds them.
  const std::size_t n = std::min<std::size_t>(text.size(), 32767 - 10);
  gcgm_control(5, 15, 2, 0);  // CHARACTER HEIGHT
  put_word(std::max(1, to_vdc(height)));
  const std::size_t count_bytes = n < 255 ? 1 : 3;
  const int length = static_cast<int>(4 + 2 + count_bytes + n);
  if (length < 31)
    gcgm_control(4, 4, length, 0);
  else
    gcgm_control(4, 4, 31, length);
  gcgm_ps_point(x, y);
  put_word(1);  // final text
  if (n < 255)
    put_bytes({static_cast<int>(n)});
  else
    put_bytes({255, static_cast<int>(n >> 8), static_cast<int>(n & 0xFF)});
  for (std::size_t i = 0; i < n; ++i) put_bytes({static_cast<unsigned char>(text[i])});
  if (length % 2 != 0) put_bytes({0});
}

}  // namespace zor::gks::meta

using zor::gks::meta::state;

int gcgm_control(int cls, int id, int length, int param) {
  if (state().meta_type != 1 || !state().out.is_open()) return -1;
  zor::gks::meta::put_bytes({(cls << 4) + (id >> 3), ((id << 5) + (length & 31))});
  if (param >= 1 || length == 31) zor::gks::meta::put_word(param);
  return 0;
}

int gcgm_point(float x, float y) { return gcgm_ps_point(xW_ps(x), yW_ps(y)); }

int gcgm_ps_point(float x, float y) {
  if (state().meta_type != 1 || !state().out.is_open()) return -1;
  zor::gks::meta::put_word(zor::gks::meta::to_vdc(x));
  zor::gks::meta::put_word(zor::gks::meta::to_vdc(y));
  return 0;
}

// Colours, fills and widths have no CGM encoding in this minimal form.
int gcgm_set_color(int) { return 0; }
int gcgm_set_fill_color(int) { return 0; }
int gcgm_set_width(float) { return 0; }

int gcgm_set_type(int type) {
  auto& s = state();
  if (s.meta_type != 1 || !s.out.is_open() || type == s.line_type) return 0;
  // CGM line types: 1 solid, 2 dash, 3 dot, 4 dash-dot, 5 dash-dot-dot.
  static constexpr int kCgmType[6] = {1, 1, 2, 4, 5, 3};
  if (type < 1 || type > 5) return 0;
  s.line_type = type;
  gcgm_control(5, 2, 2, 0);  // LINE TYPE
  zor::gks::meta::put_word(kCgmType[type]);
  return 0;
}
