// The colour model: for each colour index (0..255, 256 = background) the
// colour as red, green and blue fractions and the device colour realising
// it. Display devices return a pixel from Device::set_color_rep; print and
// file devices keep only the fractions, from which PostScript and HPGL
// derive their grey levels.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <strings.h>

#include "device.h"
#include "gks_kernel.h"
#include "zor/clr.h"
#include "zor/gks_dev.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace zor::gks {
namespace {

constexpr int kNumColors = 257;
constexpr int kBackground = 256;
constexpr int kUndefined = -1;
constexpr int kDefinedNoPixel = -2;  // defined on a device without pixels

struct ColorModel {
  std::array<float, kNumColors> red{};
  std::array<float, kNumColors> grn{};
  std::array<float, kNumColors> blu{};
  std::array<int, kNumColors> color_ind{};
  int max_color_ind = 0;
  unsigned long def_colormap = 0;
  unsigned long user_colormap = 0;
  int rw_colors = 1;
  int local_cmap = 0;
  int inverse = 0;
  std::string background;
  unsigned long red_mask = 0xFF0000, green_mask = 0x00FF00, blue_mask = 0x0000FF;

  std::array<float, kNumColors> fill_print_gray{};  // -1: the colour's own grey

  ColorModel() {
    color_ind.fill(kUndefined);
    fill_print_gray.fill(-1.0f);
  }
  void reset() { *this = ColorModel{}; }
};

ColorModel& model() {
  static ColorModel m;
  return m;
}

bool reserved(int ind) { return ind >= 500 && ind <= 508; }

// -1 stands for the background wherever an index is looked up.
int slot(int ind) { return ind == -1 ? kBackground : ind; }
bool in_table(int ind) { return ind >= -1 && ind <= kBackground; }

// Background names meaning "no explicit colour, do not clear".
bool no_background(const std::string& name) {
  for (const char* word : {"none", "def", "over"}) {
    if (name.size() != std::string_view(word).size()) continue;
    bool same = true;
    for (std::size_t i = 0; i < name.size(); ++i)
      if (std::tolower(static_cast<unsigned char>(name[i])) != word[i]) same = false;
    if (same) return true;
  }
  return false;
}

// A background colour name: a colour-table entry or "#RRGGBB".
bool background_rgb(const std::string& name, float* r, float* g, float* b) {
  if (name.empty()) return false;
  unsigned hr = 0, hg = 0, hb = 0;
  if (name[0] == '#' && name.size() == 7 && std::sscanf(name.c_str() + 1, "%2x%2x%2x", &hr, &hg, &hb) == 3) {
    *r = hr / 255.0f;
    *g = hg / 255.0f;
    *b = hb / 255.0f;
    return true;
  }
  // Look the name up without adding entries for "#..." texts.
  for (int i = 0; i < CLR_get_num(); ++i) {
    const char* n = CLR_get_name(i);
    if (n != nullptr && strcasecmp(n, name.c_str()) == 0) {
      CLR_get_rgb(i, r, g, b);
      return true;
    }
  }
  return false;
}

int lowest_bit(unsigned long mask) {
  int shift = 0;
  while (mask != 0 && (mask & 1UL) == 0) {
    mask >>= 1;
    ++shift;
  }
  return shift;
}

int bit_width(unsigned long mask) {
  mask >>= lowest_bit(mask);
  int width = 0;
  while (mask & 1UL) {
    mask >>= 1;
    ++width;
  }
  return width;
}

}  // namespace

void reset_color_model() { model().reset(); }

}  // namespace zor::gks

using zor::gks::model;

int gis_valid_colr(int ind) { return (ind >= -1 && ind <= 256) || (ind >= 500 && ind <= 508) ? 1 : 0; }

int gset_colr_rep(Gint ws_id, Gint colr_ind, const Gcolr_rep* colr_rep) {
  using namespace zor::gks;
  if (!gchk_graphics()) return gerr_printf("gset_colr_rep", "GKS not opened\n");
  if (reserved(colr_ind)) return 0;
  if (!gis_valid_colr(colr_ind)) return gerr_printf("gset_colr_rep", "invalid color index: %d\n", colr_ind);
  if (colr_rep == nullptr) return gerr_printf("gset_colr_rep", "no colour given\n");
  const int ind = slot(colr_ind);
  if (is_meta()) {
    meta_printf("CLR %d %d %f %f %f\n", ws_id, colr_ind, colr_rep->red, colr_rep->green, colr_rep->blue);
    // The metafile keeps the fractions too, so the attribute setters accept
    // the index and readers of the model see the colour.
    auto& m = model();
    m.red[ind] = colr_rep->red;
    m.grn[ind] = colr_rep->green;
    m.blu[ind] = colr_rep->blue;
    if (m.color_ind[ind] < 0) m.color_ind[ind] = kDefinedNoPixel;
    return 0;
  }
  const float rgb[3] = {colr_rep->red, colr_rep->green, colr_rep->blue};
  record_object(20, colr_ind, rgb, sizeof rgb);
  galloc_colr(ind, colr_rep->red, colr_rep->green, colr_rep->blue);
  return 0;
}

int galloc_colr(int ind, float r, float g, float b) {
  using namespace zor::gks;
  auto& m = model();
  if (ind > kBackground) return -1;
  if (ind > m.max_color_ind && ind < kBackground) m.max_color_ind = ind;
  if (ind < 0) {
    int found = -1;
    for (int i = 0; i < m.max_color_ind; ++i)
      if (gis_color_near(i, r, g, b, 0)) found = i;
    if (found >= 0) {
      ind = found;
      MESS_print(M_DEBUG, "Used existing ind: %d (%.2f %.2f %.2f)\n", ind, r, g, b);
    } else {
      if (m.max_color_ind + 1 >= kBackground) {
        gerr_printf("galloc_colr", "no free color index for (%.2f %.2f %.2f)\n", r, g, b);
        return -1;
      }
      ind = ++m.max_color_ind;
      MESS_print(M_DEBUG, "Allocated new ind: %d (%.2f %.2f %.2f)\n", ind, r, g, b);
    }
  }
  m.red[ind] = r;
  m.grn[ind] = g;
  m.blu[ind] = b;
  gps_set_color_rep(ind, r, g, b);
  ghpgl_set_color_rep(ind, r, g, b);

  Device* dev = current_device();
  if (is_x11() && dev != nullptr) {
    // A redefinition takes effect for later drawing: the device returns the
    // pixel now realising the colour (the same cell for read-write cells).
    const int pixel = dev->set_color_rep(ind, r, g, b);
    if (pixel >= 0) m.color_ind[ind] = pixel;
    return pixel;
  }
  if (dev != nullptr) dev->set_color_rep(ind, r, g, b);
  if (m.color_ind[ind] < 0) m.color_ind[ind] = kDefinedNoPixel;
  return 1;
}

int gis_color_near(int ind, float r, float g, float b, int flag) {
  using namespace zor::gks;
  auto& m = model();
  if (ind == -1) return 0;
  if (flag) {
    const int pixel = ind;
    ind = -1;
    for (int i = 0; i <= kBackground; ++i)
      if (m.color_ind[i] == pixel) ind = i;
    if (ind < 0) return 0;
  }
  if (ind < 0 || ind > kBackground) return 0;
  // Summed in single precision, so (0.005, 0.005, 0) sums to exactly 0.01.
  const float d = std::fabs(m.red[ind] - r) + std::fabs(m.grn[ind] - g) + std::fabs(m.blu[ind] - b);
  return d < 0.01f ? 1 : 0;
}

int gget_color_ind(int ind) {
  using namespace zor::gks;
  if (!in_table(ind)) return -1;
  return model().color_ind[slot(ind)];
}

int gget_color_rgb(int ind, float* r, float* g, float* b) {
  using namespace zor::gks;
  float cr = 0, cg = 0, cb = 0;
  int rc = 1;
  if (in_table(ind)) {
    const int s = slot(ind);
    cr = model().red[s];
    cg = model().grn[s];
    cb = model().blu[s];
  } else if (reserved(ind)) {
    const float level = ind <= 502 ? 0.0f : (ind <= 505 ? 1.0f : 0.7f);
    cr = cg = cb = level;
  } else {
    rc = 0;
  }
  if (r != nullptr) *r = cr;
  if (g != nullptr) *g = cg;
  if (b != nullptr) *b = cb;
  return rc;
}

int gget_color_rgb256(int ind, int* r, int* g, int* b) {
  float fr = 0, fg = 0, fb = 0;
  const int rc = gget_color_rgb(ind, &fr, &fg, &fb);
  if (r != nullptr) *r = static_cast<int>(fr * 255.0f);
  if (g != nullptr) *g = static_cast<int>(fg * 255.0f);
  if (b != nullptr) *b = static_cast<int>(fb * 255.0f);
  return rc;
}

int gget_back_color() { return model().color_ind[zor::gks::kBackground]; }
int gget_max_colr() { return model().max_color_ind; }

int ginit_xcolr() {
  model().color_ind.fill(zor::gks::kUndefined);
  return 1;
}

int ginit_background() {
  using namespace zor::gks;
  auto& m = model();
  std::string name;
  if (const char* res = RES_get("background"); res != nullptr) name = res;
  if (!m.background.empty()) name = m.background;
  const bool keep = no_background(name);
  if (keep) name.clear();

  float r = 0, g = 0, b = 0;
  if (is_x11()) {
    if (!background_rgb(name, &r, &g, &b)) {
      if (!name.empty()) MESS_print(M_WARN, "ginit_background: unknown color: %s\n", name.c_str());
      r = g = b = m.inverse ? 1.0f : 0.0f;
    }
  } else {
    r = g = b = 1.0f;  // paper is white
  }
  m.red[kBackground] = r;
  m.grn[kBackground] = g;
  m.blu[kBackground] = b;
  gps_set_color_rep(kBackground, r, g, b);
  ghpgl_set_color_rep(kBackground, r, g, b);
  Device* dev = current_device();
  if (dev != nullptr) {
    const int pixel = dev->set_color_rep(kBackground, r, g, b);
    m.color_ind[kBackground] = is_x11() && pixel >= 0 ? pixel : kDefinedNoPixel;
    if (is_x11()) MESS_print(M_DEBUG, "Allocated BG Color: %d (%5d %5d %5d)\n", pixel,
                             static_cast<int>(r * 65535), static_cast<int>(g * 65535), static_cast<int>(b * 65535));
    if (!keep && gtype_is_WIN()) dev->clear(m.color_ind[kBackground]);
  }
  return 1;
}

int gset_background(const char* name) {
  model().background = name != nullptr ? name : "";
  return 1;
}

int gset_inverse(int val) {
  model().inverse = val != 0;
  return 1;
}
int gget_inverse() { return model().inverse; }

int gset_rw_colors(int val) {
  model().rw_colors = val != 0;
  return 1;
}
int gget_rw_colors() { return model().rw_colors; }

int gset_local_colormap(int val) {
  model().local_cmap = val != 0;
  return 1;
}
int gget_local_colormap() {
  return model().local_cmap || std::getenv("LOCAL_CMAP") != nullptr || std::getenv("zorlocal_cmap") != nullptr;
}

int gset_def_cmap(unsigned long map) {
  model().def_colormap = map;
  return 1;
}
unsigned long gget_def_cmap() { return model().def_colormap; }
int gset_user_cmap(unsigned long map) {
  model().user_colormap = map;
  return 1;
}
unsigned long gget_user_cmap() { return model().user_colormap; }
unsigned long gget_colormap() {
  return model().user_colormap != 0 ? model().user_colormap : model().def_colormap;
}

int gquery_xcolor(int ind) {
  using namespace zor::gks;
  if (!model().rw_colors || !in_table(ind)) return 0;
  const int s = slot(ind);
  auto& m = model();
  MESS_print(M_DEBUG, "Query X Color: %d=%d (%.2f %.2f %.2f) (%5d %5d %5d)\n", ind, m.color_ind[s], m.red[s],
             m.grn[s], m.blu[s], static_cast<int>(m.red[s] * 65535), static_cast<int>(m.grn[s] * 65535),
             static_cast<int>(m.blu[s] * 65535));
  return 1;
}

int gset_visual_masks(unsigned long red_mask, unsigned long green_mask, unsigned long blue_mask) {
  auto& m = model();
  m.red_mask = red_mask;
  m.green_mask = green_mask;
  m.blue_mask = blue_mask;
  return 1;
}

unsigned long gget_color_rgb_Xval(int r, int g, int b) {
  using namespace zor::gks;
  auto& m = model();
  const unsigned long masks[3] = {m.red_mask, m.green_mask, m.blue_mask};
  const int channels[3] = {r, g, b};
  unsigned long pixel = 0;
  int shift[3], width[3];
  for (int i = 0; i < 3; ++i) {
    shift[i] = lowest_bit(masks[i]);
    width[i] = bit_width(masks[i]);
    const unsigned long c = static_cast<unsigned long>(channels[i] & 0xFFFF);
    if (width[i] > 0 && width[i] <= 16) pixel |= (c >> (16 - width[i])) << shift[i];
  }
  MESS_print(M_DEBUG, "mask: %d-%d-%d %d-%d-%d %d-%d-%d\n", static_cast<int>(masks[0]), shift[0], width[0],
             static_cast<int>(masks[1]), shift[1], width[1], static_cast<int>(masks[2]), shift[2], width[2]);
  return pixel;
}

int gset_fill_print_gray(int ind, float level) {
  if (ind < 0 || ind >= static_cast<int>(model().fill_print_gray.size())) return -1;
  model().fill_print_gray[static_cast<std::size_t>(ind)] = level < 0.0f ? -1.0f : std::min(level, 1.0f);
  return 0;
}

int gclear_fill_print_gray() {
  model().fill_print_gray.fill(-1.0f);
  return 0;
}

float gget_fill_print_gray(int ind) {
  if (ind < 0 || ind >= static_cast<int>(model().fill_print_gray.size())) return -1.0f;
  return model().fill_print_gray[static_cast<std::size_t>(ind)];
}
