// Text attributes and text output: stroke fonts drawn by the kernel as
// polylines, or a device's own (server) font.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "gks_kernel.h"

namespace zor::gks {
namespace {

// Vertical offsets of the alignment codes, font units (baseline at 35).
constexpr int kVertOffset[] = {-35, -160, -140, -85, -35, 0};

float advance(const TextState& t, const FontState& f, unsigned char c) {
  if (t.char_space > 0) return (t.space * 100 + 100) * t.char_space;
  return static_cast<float>(f.size[c]) + t.space * 100;
}

// Total width of a string in font units, expansion included.
int string_width(const TextState& t, const FontState& f, std::string_view s) {
  if (s.empty()) return 0;
  float sum = 0;
  for (std::size_t i = 0; i + 1 < s.size(); ++i)
    sum = std::trunc(sum + advance(t, f, static_cast<unsigned char>(s[i])));
  const auto last = static_cast<unsigned char>(s.back());
  sum += t.char_space > 0 ? t.char_space * 100 : static_cast<float>(f.size[last]);
  // Absurd sizes or expansions from a damaged metafile must not overflow.
  const float w = std::trunc(sum * t.expan);
  if (!std::isfinite(w)) return 0;
  return static_cast<int>(std::clamp(w, -1.0e9f, 1.0e9f));
}

int horiz_offset(int align, int w) {
  switch (align) {
    case GCENTER_HOR: return -w / 2;
    case GRIGHT_HOR: return -w;
    default: return 0;
  }
}

int vert_offset(int align) { return align >= 0 && align <= 5 ? kVertOffset[align] : -35; }

// Collects the points of one pen-down stroke and hands it on in pieces a
// display can take in one request.
class StrokeBuffer {
 public:
  StrokeBuffer(const Pen& pen, bool limit) : pen_(pen), limit_(limit) {}
  void move(DevPoint p) {
    flush();
    pts_.push_back(p);
  }
  void draw(DevPoint p) {
    pts_.push_back(p);
    if (limit_ && pts_.size() >= kMaxPoints) {
      draw_stroke(pts_, pen_);
      const DevPoint last = pts_.back();
      pts_.clear();
      pts_.push_back(last);
    }
  }
  void flush() {
    if (pts_.size() >= 2) draw_stroke(pts_, pen_);
    pts_.clear();
  }

 private:
  static constexpr std::size_t kMaxPoints = 30;
  Pen pen_;
  bool limit_;
  std::vector<DevPoint> pts_;
};

// Draws a string in the loaded stroke font with its reference point at
// world (ox, oy).
void stroke_text(float ox, float oy, std::string_view s, const Pen& pen) {
  const Kernel& k = kernel();
  const TextState& t = k.text;
  const FontState& f = k.font;
  const int w = string_width(t, f, s);
  // The pen position in whole font units, kept as a float: absurd sizes or
  // expansions from a damaged metafile must not overflow an int.
  float xo = static_cast<float>(horiz_offset(t.horiz_align, w));
  const int yo = vert_offset(t.vert_align);
  const float scale = t.height / 105.0f;
  Device* dev = current_device();
  StrokeBuffer buf(pen, dev->units() == DeviceUnits::pixels);
  for (char ch : s) {
    const auto c = static_cast<unsigned char>(ch);
    const int start = f.index[c];
    if (start < 0) {
      if (c == ' ') {
        const float pitch = t.char_space > 0 ? (t.space * 100 + 100) * t.char_space : t.space * 100 + 40;
        xo += std::trunc(pitch * t.expan);
      }
      continue;
    }
    for (std::size_t p = static_cast<std::size_t>(start); p + 1 < f.db.size(); p += 2) {
      const int x = f.db[p];
      if (x == 255) break;
      const int y = f.db[p + 1];
      const bool move = x >= 128;
      const float xv = static_cast<float>(move ? x - 128 : x);
      const float fx = (xv * t.expan + xo) * scale;
      const float fy = (static_cast<float>(y + yo)) * scale;
      const float wx = ox + t.upy * fx + t.upx * fy;
      const float wy = oy - t.upx * fx + t.upy * fy;
      const DevPoint d = to_device(wx, wy);
      if (move) buf.move(d);
      else buf.draw(d);
    }
    xo += std::trunc(advance(t, f, c) * t.expan);
    buf.flush();
  }
}

// A device font: alignment from the device's own metrics.
void native_text(float x, float y, std::string_view s, const Pen& pen) {
  Device* dev = current_device();
  int w = 0, ascent = 0, descent = 0;
  if (!dev->native_text_extent(s, &w, &ascent, &descent)) return;
  const auto& t = kernel().text;
  float px = std::trunc(xW_p(x) + 0.5f);
  float py = std::trunc(yW_p(y) + 0.5f);
  if (t.horiz_align == GCENTER_HOR) px -= static_cast<float>(w / 2);
  else if (t.horiz_align == GRIGHT_HOR) px -= static_cast<float>(w);
  switch (t.vert_align) {
    case GTOP_VERT:
    case GCAP_VERT: py += static_cast<float>(ascent); break;
    case GHALF_VERT: py += static_cast<float>(ascent / 2); break;
    case GBOTTOM_VERT: py -= static_cast<float>(descent); break;
    default: break;
  }
  Pen shadow = pen;
  shadow.shadow = true;
  for (int i = 0; i < t.drop_shadow; ++i)
    dev->native_text({px + static_cast<float>(i), py + static_cast<float>(i)}, s, shadow);
  dev->native_text({px, py}, s, pen);
}

}  // namespace

Pen text_pen() {
  const auto& t = kernel().text;
  Pen p;
  p.color_ind = t.color;
  p.pixel = gget_color_ind(t.color);
  p.width = t.width;
  p.line_type = 1;
  p.print_bold = kernel().line.print_bold;
  return p;
}

}  // namespace zor::gks

using namespace zor::gks;

namespace {

bool reserved(int ind) { return ind >= 500 && ind <= 508; }

// Shared checks of the float setters: open workstation, non-negative value.
bool check_float(const char* func, float v, const char* what) {
  if (!kernel().ws_open) {
    gerr_printf(func, "GKS not opened\n");
    return false;
  }
  if (v < 0) {
    gerr_printf(func, "invalid %s: %f\n", what, v);
    return false;
  }
  return true;
}

// Stores a float attribute and writes its record; 0 in every case.
int set_float(float& field, float v, const char* meta_key, int kind) {
  if (v == field) return 0;
  field = v;
  if (is_meta()) meta_printf("%s %f\n", meta_key, v);
  else record_object(kind, 0, &v, sizeof v);
  return 0;
}

}  // namespace

int greset_text() {
  kernel().text = TextState{};
  return 0;
}

int ginit_text(int) { return 0; }

int gset_text_colr_ind(int ind) {
  if (!kernel().ws_open) return gerr_printf("gset_text_colr_ind", "GKS not opened\n");
  if (!gis_valid_colr(ind)) return gerr_printf("gset_text_colr_ind", "invalid color index: %d\n", ind);
  if (is_x11() && reserved(ind)) ind = 1;
  if (!reserved(ind) && !is_meta() && gget_color_ind(ind) == -1)
    return gerr_printf("gset_text_colr_ind", "color index not initialized\n");
  auto& t = kernel().text;
  if (ind == t.color) return 0;
  t.color = ind;
  if (is_meta()) meta_printf("TE_CLR %d\n", ind);
  else record_object(56, ind, nullptr, 0);
  return 0;
}

int gset_char_ht(float height) {
  if (!check_float("gset_char_ht", height, "character height")) return -1;
  return set_float(kernel().text.height, height, "TE_HGHT", 57);
}

int gset_expan(float expan) {
  if (!check_float("gset_expan", expan, "expansion factor")) return -1;
  return set_float(kernel().text.expan, expan, "TE_EXP", 55);
}

int gset_text_width(float width) {
  if (!check_float("gset_text_width", width, "text width")) return -1;
  if (is_ps() && width == 0.0f) width = 1.0f;
  return set_float(kernel().text.width, width, "TE_WDTH", 61);
}

int gset_space(float space) {
  if (!kernel().ws_open) return gerr_printf("gset_space", "GKS not opened\n");
  return set_float(kernel().text.space, space, "TE_SPC", 53);
}

int gset_char_space(float space) {
  if (!check_float("gset_char_space", space, "character spacing")) return -1;
  return set_float(kernel().text.char_space, space, "TE_CSPC", 54);
}

int gset_char_up_vec(const Gpt* up) {
  if (!kernel().ws_open) return gerr_printf("gset_char_up_vec", "GKS not opened\n");
  if (!up) return gerr_printf("gset_char_up_vec", "no up vector given\n");
  const float len = std::sqrt(up->x * up->x + up->y * up->y);
  if (!(len > 0)) return gerr_printf("gset_char_up_vec", "invalid up vector: %f,%f\n", up->x, up->y);
  auto& t = kernel().text;
  const float ux = up->x / len, uy = up->y / len;
  if (ux == t.upx && uy == t.upy) return 0;
  t.upx = ux;
  t.upy = uy;
  if (is_meta()) {
    meta_printf("TE_UP %f,%f\n", up->x, up->y);
    return 0;
  }
  const float v[2] = {ux, uy};
  record_object(58, 0, v, sizeof v);
  return 0;
}

int gset_text_align(const Gtext_align* align) {
  if (!kernel().ws_open) return gerr_printf("gset_text_align", "GKS not opened\n");
  if (!align) return gerr_printf("gset_text_align", "no alignment given\n");
  if (align->hor < GNORMAL_HOR || align->hor > GRIGHT_HOR || align->vert < GNORMAL_VERT ||
      align->vert > GBOTTOM_VERT)
    return gerr_printf("gset_text_align", "invalid text alignment: %d %d\n", align->hor, align->vert);
  auto& t = kernel().text;
  if (align->hor == t.horiz_align && align->vert == t.vert_align) return 0;
  t.horiz_align = align->hor;
  t.vert_align = align->vert;
  if (is_meta()) meta_printf("TE_ALGN %d %d\n", align->hor, align->vert);
  else record_object(60, 0, align, sizeof *align);
  return 0;
}

int ginq_text_align(Gint* err, Gtext_align* align) {
  if (err) *err = 0;
  if (align) {
    align->hor = static_cast<Gtext_hor>(kernel().text.horiz_align);
    align->vert = static_cast<Gtext_ver>(kernel().text.vert_align);
  }
  return 0;
}

int gset_text_path(Gtext_path) { return 0; }

int gset_font_drop(int n) {
  if (n < 0) return gerr_printf("gset_font_drop", "invalid drop shadow count: %d\n", n);
  kernel().text.drop_shadow = n;
  return 0;
}
int gget_font_drop() { return kernel().text.drop_shadow; }
int gset_font_drop_color(int ind) {
  kernel().text.drop_color = ind;
  return 0;
}
int gget_font_drop_color() { return kernel().text.drop_color; }
int gget_text_colr() { return kernel().text.color; }
float gget_char_ht() { return kernel().text.height; }

int ginq_text_extent(const char* str, float* width, float* height) {
  const auto& k = kernel();
  if (k.font.font_type != 1 || k.font.db.empty()) return -1;
  const int w = string_width(k.text, k.font, str ? str : "");
  if (width) *width = static_cast<float>(w) * k.text.height / 105.0f;
  if (height) *height = k.text.height;
  return 0;
}

int gtext(const Gpt* pos, const char* str) {
  Kernel& k = kernel();
  if (!k.ws_open) return gerr_printf("gtext", "GKS not opened\n");
  if (!pos || !str || !*str) return 0;
  if (is_meta()) {
    meta_printf("TE %f,%f %s\n", pos->x, pos->y, str);
  } else {
    const std::size_t len = std::strlen(str) + 1;
    std::vector<char> data(sizeof(float) * 2 + len);
    std::memcpy(data.data(), &pos->x, sizeof(float));
    std::memcpy(data.data() + sizeof(float), &pos->y, sizeof(float));
    std::memcpy(data.data() + 2 * sizeof(float), str, len);
    record_object(50, 0, data.data(), data.size());
  }
  Device* dev = k.device.get();
  const Pen pen = text_pen();
  GroupInfo info;
  info.kind = GroupKind::text;
  info.count = 1;
  info.world_pos = *pos;
  info.text = str;
  dev->begin_group(info, pen);
  if (k.font.font_type == 2) {
    native_text(pos->x, pos->y, str, pen);
  } else {
    const int drop = k.text.drop_shadow;
    if (drop > 0) {
      // One device pixel in world units, in each direction.
      const float dxp = xW_p(pos->x + 1) - xW_p(pos->x);
      const float dyp = yW_p(pos->y + 1) - yW_p(pos->y);
      const float px = dxp != 0 ? 1 / dxp : 0;
      const float py = dyp != 0 ? 1 / dyp : 0;
      Pen shadow = pen;
      shadow.shadow = true;
      for (int i = 0; i < drop; ++i)
        stroke_text(pos->x + static_cast<float>(i) * px, pos->y + static_cast<float>(i) * py, str, shadow);
    }
    stroke_text(pos->x, pos->y, str, pen);
  }
  dev->end_group();
  return 0;
}
