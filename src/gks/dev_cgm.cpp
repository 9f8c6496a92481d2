// Minimal binary CGM (ISO 8632-3 binary encoding, big-endian): a metafile
// header, one picture with its clip rectangle, polylines and line types.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "meta_state.h"
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
