// Polylines, fill areas and polymarkers with their attribute state, and the
// fill patterns.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "gks_kernel.h"

namespace zor::gks {
namespace {

// The 20 stipple patterns, rows from the top, least significant bit leftmost.
constexpr FillPattern kPatterns[20] = {
    {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}, {0xaa, 0x55, 0xaa, 0x55, 0xaa, 0x55, 0xaa, 0x55},
    {0x55, 0x00, 0x55, 0x00, 0x55, 0x00, 0x55, 0x00}, {0x24, 0x11, 0x82, 0x48, 0x42, 0x11, 0x28, 0x84},
    {0x33, 0x33, 0x00, 0x00, 0xcc, 0xcc, 0x00, 0x00}, {0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33},
    {0x03, 0x06, 0x0c, 0x18, 0x30, 0x60, 0xc0, 0x81}, {0x81, 0xc0, 0x60, 0x30, 0x18, 0x0c, 0x06, 0x03},
    {0xff, 0xff, 0x00, 0x00, 0xff, 0xff, 0x00, 0x00}, {0xc3, 0x66, 0x3c, 0x18, 0x3c, 0x66, 0xc3, 0x81},
    {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, {0x40, 0x10, 0x20, 0x01, 0x00, 0x04, 0x08, 0x02},
    {0x08, 0xa0, 0x44, 0x11, 0x22, 0x10, 0x81, 0x44}, {0x45, 0x28, 0x94, 0x43, 0x50, 0x09, 0x52, 0xa8},
    {0x19, 0xca, 0x34, 0x1a, 0xe1, 0x32, 0xa5, 0xcc}, {0x55, 0xdc, 0x3b, 0xe2, 0x97, 0xaa, 0x65, 0x3e},
    {0x7a, 0xe5, 0x5f, 0xab, 0xf5, 0xeb, 0x5e, 0xb5}, {0xfe, 0xbb, 0xf5, 0x6f, 0xfe, 0xd7, 0xbd, 0xeb},
    {0xfd, 0xff, 0xef, 0x7f, 0xdf, 0xfe, 0xf7, 0xaf}, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff},
};

bool reserved(int ind) { return ind >= 500 && ind <= 508; }

// Shared validation of the colour setters; the index to store, or -1.
int check_color(const char* func, int ind, bool check_open = true) {
  if (check_open && !kernel().ws_open) return gerr_printf(func, "GKS not opened\n");
  if (!gis_valid_colr(ind)) return gerr_printf(func, "invalid color index: %d\n", ind);
  if (is_x11() && reserved(ind)) ind = 1;
  // A metafile only records indices; it realises no colours of its own.
  if (!reserved(ind) && !is_meta() && gget_color_ind(ind) == -1)
    return gerr_printf(func, "color index not initialized\n");
  return ind;
}

// Metafile point list: "%f,%f " pairs, four to a line.
std::string meta_points(const char* key, int n, const Gpt* pts, bool break_after_last) {
  std::string s = std::string(key) + " " + std::to_string(n) + " ";
  char buf[64];
  for (int i = 0; i < n; ++i) {
    std::snprintf(buf, sizeof buf, "%f,%f ", pts[i].x, pts[i].y);
    s += buf;
    if ((i + 1) % 4 == 0 && (break_after_last || i + 1 < n)) s += "\n   ";
  }
  if (break_after_last) {
    if (n % 4 != 0) s += "\n";
  } else {
    s += "\n";
  }
  return s;
}

std::vector<DevPoint> to_device_all(int n, const Gpt* pts) {
  std::vector<DevPoint> out(static_cast<std::size_t>(n));
  to_device_n(n, pts, out.data());
  return out;
}

bool pixel_device() {
  Device* d = current_device();
  return d && d->units() == DeviceUnits::pixels;
}

// Marker strokes around (x, y) in device units, h = half the size.
std::vector<std::vector<DevPoint>> marker_strokes(int type, float x, float y, float size) {
  const float h = std::trunc(size / 2);
  const bool pix = pixel_device();
  auto P = [&](float px, float py) -> DevPoint {
    return pix ? DevPoint{std::trunc(px), std::trunc(py)} : DevPoint{px, py};
  };
  switch (type) {
    case 1: return {{P(x, y), P(x + 1, y), P(x + 1, y + 1), P(x, y + 1), P(x, y)}};
    case 2: return {{P(x - h, y), P(x + h, y)}, {P(x, y + h), P(x, y - h)}};
    case 3:
      return {{P(x - h, y), P(x + h, y)},
              {P(x - h, y - h), P(x + h, y + h)},
              {P(x, y + h), P(x, y - h)},
              {P(x + h, y - h), P(x - h, y + h)}};
    case 4: {
      const float a = 0.866f * h, b = 0.5f * h;
      return {{P(x - h, y), P(x - a, y + b), P(x - b, y + a), P(x, y + h), P(x + b, y + a),
               P(x + a, y + b), P(x + h, y), P(x + a, y - b), P(x + b, y - a), P(x, y - h),
               P(x - b, y - a), P(x - a, y - b), P(x - h, y)}};
    }
    case 5: return {{P(x - h, y - h), P(x + h, y + h)}, {P(x + h, y - h), P(x - h, y + h)}};
    case 6: return {{P(x - h, y + h), P(x + h, y + h), P(x + h, y - h), P(x - h, y - h), P(x - h, y + h)}};
    case 7: return {{P(x - h, y + h), P(x + h, y + h), P(x, y - h), P(x - h, y + h)}};
    case 8: return {{P(x, y)}};
    case 9: return {{P(x - h, y - h), P(x + h, y - h), P(x, y + h), P(x - h, y - h)}};
    default: return {};
  }
}

}  // namespace

const FillPattern& pattern(int index) {
  return kPatterns[index >= 0 && index < 20 ? index : 0];
}

Pen line_pen() {
  const auto& l = kernel().line;
  Pen p;
  p.color_ind = l.color;
  p.pixel = gget_color_ind(l.color);
  p.width = l.width;
  p.line_type = l.type;
  p.print_bold = l.print_bold;
  return p;
}

Pen marker_pen() {
  const auto& m = kernel().marker;
  Pen p;
  p.color_ind = m.color;
  p.pixel = gget_color_ind(m.color);
  p.width = m.width;
  p.line_type = 1;
  p.print_bold = kernel().line.print_bold;
  return p;
}

void draw_stroke(std::span<const DevPoint> pts, const Pen& pen) {
  Device* dev = current_device();
  if (!dev || pts.empty()) return;
  const DevRect& r = kernel().tr.clip_dev;
  if (pts.size() == 1) {
    if (inside(r, pts[0])) dev->stroke(pts, pen);
    return;
  }
  for (const auto& piece : clip_polyline(pts, r, dev->units() == DeviceUnits::pixels))
    dev->stroke(piece, pen);
}

}  // namespace zor::gks

using namespace zor::gks;

// ---- Line attributes ------------------------------------------------------

int greset_line() {
  kernel().line = LineState{};
  return 0;
}

int ginit_line(int) { return 0; }

int gset_line_colr_ind(int ind) {
  ind = check_color("gset_line_colr_ind", ind);
  if (ind < 0) return -1;
  auto& l = kernel().line;
  if (ind == l.color) return 0;
  l.color = ind;
  if (is_meta()) meta_printf("PL_CLR %d\n", ind);
  else record_object(35, ind, nullptr, 0);
  return 0;
}

int gset_linetype(int type) {
  if (!kernel().ws_open) return gerr_printf("gset_linetype", "GKS not opened\n");
  if (type < 0) return gerr_printf("gset_linetype", "invalid line type: %d\n", type);
  auto& l = kernel().line;
  if (type == l.type) return 0;
  l.type = type;
  if (is_meta()) meta_printf("PL_TYPE %d\n", type);
  else record_object(33, type, nullptr, 0);
  return 0;
}

int gset_linewidth(float width) {
  if (!kernel().ws_open) return gerr_printf("gset_linewidth", "GKS not opened\n");
  if (width < 0) return gerr_printf("gset_linewidth", "invalid line width: %f\n", width);
  if (is_ps() && width == 0.0f) width = 1.0f;
  auto& l = kernel().line;
  if (width == l.width) return 0;
  l.width = width;
  if (is_meta()) meta_printf("PL_LW %f\n", width);
  else record_object(34, 0, &width, sizeof width);
  return 0;
}

int gset_line_print_bold(int val) {
  val = std::max(val, 1);
  auto& l = kernel().line;
  if (val == l.print_bold) return 0;
  l.print_bold = val;
  record_object(36, val, nullptr, 0);
  return 0;
}

int gset_line_gc_func(int func) {
  kernel().line.gc_function = func;
  return 0;
}

int gget_line_colr() { return kernel().line.color; }
int gget_line_type() { return kernel().line.type; }
float gget_line_width() { return kernel().line.width; }
int gget_line_gc_func() { return kernel().line.gc_function; }
int gget_line_print_bold() { return kernel().line.print_bold; }

// ---- Fill attributes ------------------------------------------------------

int greset_fill() {
  kernel().fill = FillState{};
  return 0;
}

int ginit_fill(int) { return 0; }

int gset_fill_colr_ind(int ind) {
  auto& f = kernel().fill;
  // The fill setter compares before checking that a workstation is open.
  if (ind == f.color) return 0;
  ind = check_color("gset_fill_colr_ind", ind);
  if (ind < 0) return -1;
  if (ind == f.color) return 0;
  f.color = ind;
  if (is_meta()) meta_printf("FA_CLR %d\n", ind);
  else record_object(75, ind, nullptr, 0);
  return 0;
}

int gset_fill_int_style(int style) {
  if (!kernel().ws_open) return gerr_printf("gset_fill_int_style", "GKS not opened\n");
  if (style < GHOLLOW || style > GHATCH)
    return gerr_printf("gset_fill_int_style", "invalid interior style: %d\n", style);
  auto& f = kernel().fill;
  if (style == f.inter_style) return 0;
  f.inter_style = style;
  if (is_meta()) meta_printf("FA_INT %d\n", style);
  else record_object(73, style, nullptr, 0);
  return 0;
}

int gset_fill_style_ind(int ind) {
  if (!kernel().ws_open) return gerr_printf("gset_fill_style_ind", "GKS not opened\n");
  if (ind < 0 || ind > 19) return gerr_printf("gset_fill_style_ind", "invalid style index: %d\n", ind);
  auto& f = kernel().fill;
  if (ind == f.inter_index) return 0;
  if (is_meta()) {
    meta_printf("FA_ST %d\n", ind);
    return 0;
  }
  f.inter_index = ind;
  record_object(74, ind, nullptr, 0);
  return 0;
}

int gset_fill_print_solid(int val) {
  auto& f = kernel().fill;
  if (val == f.print_solid) return 0;
  f.print_solid = val;
  record_object(76, val, nullptr, 0);
  return 0;
}

int gget_fill_colr() { return kernel().fill.color; }
int gget_fill_int_style() { return kernel().fill.inter_style; }
int gget_fill_style_ind() { return kernel().fill.inter_index; }
int gget_fill_print_solid() { return kernel().fill.print_solid; }
// The patterns are constant tables; a display device keeps its own bitmaps.
int gdel_fill_pat() { return 0; }

int gfill_test(int pat, int x, int y) {
  if (pat < 0 || pat > 19) return 0;
  const auto& p = kPatterns[pat];
  return (p[((y % 8) + 8) % 8] >> (((x % 8) + 8) % 8)) & 1;
}

// ---- Marker attributes ----------------------------------------------------

int greset_marker() {
  kernel().marker = MarkerState{};
  return 0;
}

int ginit_marker(int) { return 0; }

int gset_marker_colr_ind(int ind) {
  ind = check_color("gset_marker_colr_ind", ind);
  if (ind < 0) return -1;
  auto& m = kernel().marker;
  if (ind == m.color) return 0;
  m.color = ind;
  if (is_meta()) meta_printf("PM_CLR %d\n", ind);
  else record_object(45, ind, nullptr, 0);
  return 0;
}

int gset_marker_type(int type) {
  if (!kernel().ws_open) return gerr_printf("gset_marker_type", "GKS not opened\n");
  if (type < 0) return gerr_printf("gset_marker_type", "invalid marker type: %d\n", type);
  auto& m = kernel().marker;
  if (type == m.type) return 0;
  m.type = type;
  if (is_meta()) meta_printf("PM_TYPE %d\n", type);
  else record_object(43, type, nullptr, 0);
  return 0;
}

int gset_marker_size(float size) {
  if (!kernel().ws_open) return gerr_printf("gset_marker_size", "GKS not opened\n");
  if (size < 0) return gerr_printf("gset_marker_size", "invalid marker size: %f\n", size);
  auto& m = kernel().marker;
  if (size == m.height) return 0;
  m.height = size;
  if (is_meta()) meta_printf("PM_SIZE %f\n", size);
  else record_object(44, 0, &size, sizeof size);
  return 0;
}

int gset_marker_width(float width) {
  if (!kernel().ws_open) return gerr_printf("gset_marker_width", "GKS not opened\n");
  if (width < 0) return gerr_printf("gset_marker_width", "invalid marker width: %f\n", width);
  if (is_ps() && width == 0.0f) width = 1.0f;
  auto& m = kernel().marker;
  if (width == m.width) return 0;
  m.width = width;
  if (is_meta()) meta_printf("PM_WDTH %f\n", width);
  else record_object(46, 0, &width, sizeof width);
  return 0;
}

int gget_marker_colr() { return kernel().marker.color; }
int gget_marker_type() { return kernel().marker.type; }
float gget_marker_size() { return kernel().marker.height; }
float gget_marker_width() { return kernel().marker.width; }

// ---- Primitives -----------------------------------------------------------

int gpolyline(int n, const Gpt* pts) {
  if (!kernel().ws_open) return gerr_printf("gpolyline", "GKS not opened\n");
  if (n < 2 || !pts) return gerr_printf("gpolyline", "invalid number of points: %d\n", n);
  if (!gpts_in_win(n, pts)) return 0;
  Device* dev = current_device();
  auto dpts = to_device_all(n, pts);
  const Pen pen = line_pen();
  const bool pix = dev->units() == DeviceUnits::pixels;
  if (is_meta()) {
    meta_printf("%s", meta_points("PL", n, pts, false).c_str());
    // A binary CGM draws the polyline itself; a text metafile ignores it.
    for (const auto& piece : clip_polyline(dpts, kernel().tr.clip_dev, pix)) dev->polyline(piece, pen);
    return 1;
  }
  record_object(30, n, pts, sizeof(Gpt) * static_cast<std::size_t>(n));
  for (const auto& piece : clip_polyline(dpts, kernel().tr.clip_dev, pix)) dev->polyline(piece, pen);
  return 0;
}

int gfill_area(int n, const Gpt* pts) {
  if (!kernel().ws_open) return gerr_printf("gfill_area", "GKS not opened\n");
  if (n < 1 || !pts) return gerr_printf("gfill_area", "invalid number of points: %d\n", n);
  if (!gpts_in_win(n, pts)) return 0;
  // A metafile keeps its record; its binary CGM form also draws the area.
  const bool meta = is_meta();
  if (meta)
    meta_printf("%s", meta_points("FA", n, pts, true).c_str());
  else
    record_object(70, n, pts, sizeof(Gpt) * static_cast<std::size_t>(n));
  Device* dev = current_device();
  // Radar cells come here a million times a picture: the device points go
  // into a buffer kept between calls, and cells inside the clip rectangle
  // (nearly all of them) are drawn without a clipped copy.
  thread_local std::vector<DevPoint> dpts;
  dpts.resize(static_cast<std::size_t>(n));
  to_device_n(n, pts, dpts.data());
  std::vector<DevPoint> clipped;
  std::span<const DevPoint> shape = dpts;
  if (!polygon_inside(dpts, kernel().tr.clip_dev)) {
    clipped = clip_polygon(dpts, kernel().tr.clip_dev, dev->units() == DeviceUnits::pixels);
    if (clipped.empty()) return meta ? 1 : 0;
    shape = clipped;
  }
  const auto& f = kernel().fill;
  FillStyle style;
  style.color_ind = f.color;
  style.pixel = gget_color_ind(f.color);
  style.interior = f.inter_style;
  style.pattern = f.inter_index;
  style.print_solid = f.print_solid != 0;
  dev->fill_area(shape, style);
  return meta ? 1 : 0;
}

int gpolymarker(int n, const Gpt* pts) {
  if (!kernel().ws_open) return gerr_printf("gpolyline", "GKS not opened\n");
  if (n < 1 || !pts) return gerr_printf("gpolymarker", "invalid number of points: %d\n", n);
  if (is_meta())
    meta_printf("%s", meta_points("PM", n, pts, true).c_str());
  else
    record_object(40, n, pts, sizeof(Gpt) * static_cast<std::size_t>(n));
  Device* dev = current_device();
  const auto& m = kernel().marker;
  const float size = m.height * dev->marker_scale();
  Pen pen = marker_pen();
  Pen shadow = pen;
  shadow.shadow = true;
  GroupInfo info;
  info.kind = GroupKind::markers;
  info.count = n;
  dev->begin_group(info, pen);
  const int drop = kernel().text.drop_shadow;
  for (int i = 0; i < n; ++i) {
    const DevPoint c = to_device(pts[i].x, pts[i].y);
    for (int d = 0; d < drop; ++d)
      for (const auto& s : marker_strokes(m.type, c.x + static_cast<float>(d), c.y + static_cast<float>(d), size))
        draw_stroke(s, shadow);
    for (const auto& s : marker_strokes(m.type, c.x, c.y, size)) draw_stroke(s, pen);
  }
  dev->end_group();
  return 0;
}
