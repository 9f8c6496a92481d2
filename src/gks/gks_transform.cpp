// Normalisation transformations, the workstation window/viewport mapping,
// point conversions and the clip region.
#include <algorithm>
#include <cmath>

#include "gks_kernel.h"
#include "zor/mess.h"

namespace zor::gks {
namespace {

constexpr float kPixelLimit = 30000.0f;
constexpr float kPrintLimit = 100000.0f;

void set_corners(Gcoords& c, float x_min, float y_min, float x_max, float y_max) {
  c.x_min = x_min;
  c.y_min = y_min;
  c.x_max = x_max;
  c.y_max = y_max;
  c.x_ext = x_max - x_min;
  c.y_ext = y_max - y_min;
}

void set_from_lim(Gcoords& c, const Glim& l) { set_corners(c, l.x_min, l.y_min, l.x_max, l.y_max); }

Glim to_lim(const Gcoords& c) { return {c.x_min, c.x_max, c.y_min, c.y_max}; }

float clampf(float v, float lim) { return std::clamp(v, -lim, lim); }

bool valid_tran(int n) { return n >= 0 && n < 6; }

void update_wn_vp() {
  auto& t = kernel().tr;
  t.wn_vp.x = t.cur_vp.x_ext / t.cur_wn.x_ext;
  t.wn_vp.y = t.cur_vp.y_ext / t.cur_wn.y_ext;
}

// Aspect-preserving image of the workstation window in the device area,
// anchored at its top-left corner (after the device offset).
void compute_plt() {
  auto& k = kernel();
  auto& t = k.tr;
  const float ox = static_cast<float>(k.win_x);
  const float oy = static_cast<float>(k.win_y);
  t.plt.x_min = t.wkvp.x_min + ox;
  t.plt.y_min = t.wkvp.y_min + oy;
  if (t.wkvp.x_ext / t.wkwn.x_ext > t.wkvp.y_ext / t.wkwn.y_ext) {
    t.plt.x_ext = t.wkvp.y_ext * t.wkwn.x_ext / t.wkwn.y_ext;
    t.plt.y_ext = t.wkvp.y_ext;
  } else {
    t.plt.x_ext = t.wkvp.x_ext;
    t.plt.y_ext = t.wkvp.x_ext * t.wkwn.y_ext / t.wkwn.x_ext;
  }
  t.plt.x_max = t.plt.x_min + t.plt.x_ext;
  t.plt.y_max = t.plt.y_min + t.plt.y_ext;
  t.wkwn_plt.x = t.plt.x_ext / t.wkwn.x_ext;
  t.wkwn_plt.y = t.plt.y_ext / t.wkwn.y_ext;
}

}  // namespace

void update_mapping() {
  compute_plt();
  update_wn_vp();
  update_clip();
}

void update_clip() {
  Kernel& k = kernel();
  auto& t = k.tr;
  const float x = std::trunc(xNDC_p(t.cur_vp.x_min) + 0.5f);
  const float w = std::trunc(xNDC_p(t.cur_vp.x_max) - x + 1.5f);
  const float y = std::trunc(yNDC_p(t.cur_vp.y_max) + 0.5f);
  const float h = std::trunc(yNDC_p(t.cur_vp.y_min) - y + 1.5f);
  t.clip_rect.x = static_cast<std::int16_t>(x);
  t.clip_rect.y = static_cast<std::int16_t>(y);
  t.clip_rect.width = static_cast<std::uint16_t>(std::max(0.0f, w));
  t.clip_rect.height = static_cast<std::uint16_t>(std::max(0.0f, h));
  Device* dev = current_device();
  if (dev && dev->units() == DeviceUnits::pixels) {
    t.clip_dev = {x, y, x + w - 1.0f, y + h - 1.0f};
  } else {
    t.clip_dev = {xNDC_ps(t.cur_vp.x_min), yNDC_ps(t.cur_vp.y_min), xNDC_ps(t.cur_vp.x_max),
                  yNDC_ps(t.cur_vp.y_max)};
  }
  if (dev) dev->set_clip(t.clip_dev);
}

DevPoint to_device(float x, float y) {
  Device* dev = current_device();
  if (dev && dev->units() == DeviceUnits::print) return {xW_ps(x), yW_ps(y)};
  return {std::trunc(xW_p(x) + 0.5f), std::trunc(yW_p(y) + 0.5f)};
}

void to_device_n(int n, const Gpt* pts, DevPoint* out) {
  Device* dev = current_device();
  if (dev && dev->units() == DeviceUnits::print) {
    for (int i = 0; i < n; ++i) out[i] = {xW_ps(pts[i].x), yW_ps(pts[i].y)};
    return;
  }
  // The expressions of xW_p and yW_p, in the same order, so that every
  // point lands on the pixel to_device gives it.
  const auto& t = kernel().tr;
  for (int i = 0; i < n; ++i) {
    const float nx = (pts[i].x - t.cur_wn.x_min) * t.wn_vp.x + t.cur_vp.x_min;
    const float ny = (pts[i].y - t.cur_wn.y_min) * t.wn_vp.y + t.cur_vp.y_min;
    const float px = clampf((nx - t.wkwn.x_min) * t.wkwn_plt.x + t.plt.x_min, kPixelLimit);
    const float py = clampf((t.wkwn.y_max - ny) * t.wkwn_plt.y + t.plt.y_min, kPixelLimit);
    // Clamped to +-30000, so the integer conversion is trunc without a call.
    out[i] = {static_cast<float>(static_cast<int>(px + 0.5f)), static_cast<float>(static_cast<int>(py + 0.5f))};
  }
}

}  // namespace zor::gks

using zor::gks::kernel;

int ginit_tran(int dev_class) {
  using namespace zor::gks;
  Kernel& k = kernel();
  auto& t = k.tr;
  const float w = static_cast<float>(k.win_width);
  const float h = static_cast<float>(k.win_height);
  if (dev_class != kClassResized) set_corners(t.wkwn, 0, 0, 1, 1);
  set_corners(t.wkvp, 0, 0, w - 1, h - 1);
  if (dev_class != kClassResized) {
    for (int i = 0; i < 6; ++i) {
      set_corners(t.wn[i], 0, 0, 1, 1);
      set_corners(t.vp[i], 0, 0, 1, 1);
    }
    t.cur_trans = 0;
    t.cur_wn = t.wn[0];
    t.cur_vp = t.vp[0];
  }
  update_mapping();
  return 0;
}

int gsel_norm_tran(Gint n) {
  using namespace zor::gks;
  auto& t = kernel().tr;
  if (!valid_tran(n)) return gerr_printf("gsel_norm_tran", "invalid transformation number: %d\n", n);
  if (n == t.cur_trans) return 0;
  meta_printf("TR %d\n", n);
  record_object(15, n, nullptr, 0);
  t.cur_trans = n;
  t.cur_wn = t.wn[n];
  t.cur_vp = t.vp[n];
  update_wn_vp();
  update_clip();
  return 0;
}

int gset_win(Gint n, const Glim* lim) {
  using namespace zor::gks;
  auto& t = kernel().tr;
  if (!valid_tran(n)) return gerr_printf("gset_win", "invalid transformation number: %d\n", n);
  if (!lim) return gerr_printf("gset_win", "no window given\n");
  if (lim->x_max == lim->x_min || lim->y_max == lim->y_min)
    return gerr_printf("gset_win", "empty window: %f %f %f %f\n", lim->x_min, lim->x_max, lim->y_min,
                       lim->y_max);
  meta_printf("WIN %d %f %f %f %f\n", n, lim->x_min, lim->y_min, lim->x_max, lim->y_max);
  record_object(17, n, lim, sizeof *lim);
  set_from_lim(t.wn[n], *lim);
  if (n == t.cur_trans) {
    t.cur_wn = t.wn[n];
    update_wn_vp();
  }
  return 0;
}

int gset_vp(Gint n, const Glim* lim) {
  using namespace zor::gks;
  auto& t = kernel().tr;
  if (!valid_tran(n)) return gerr_printf("gset_vp", "invalid transformation number: %d\n", n);
  if (!lim) return gerr_printf("gset_vp", "no viewport given\n");
  meta_printf("VP %d %f %f %f %f\n", n, lim->x_min, lim->y_min, lim->x_max, lim->y_max);
  record_object(16, n, lim, sizeof *lim);
  set_from_lim(t.vp[n], *lim);
  if (n == t.cur_trans) {
    t.cur_vp = t.vp[n];
    update_wn_vp();
    update_clip();
  }
  return 0;
}

int gset_ws_win(Gint ws_id, const Glim* lim) {
  using namespace zor::gks;
  if (!lim) return gerr_printf("gset_ws_win", "no window given\n");
  if (lim->x_max == lim->x_min || lim->y_max == lim->y_min)
    return gerr_printf("gset_ws_win", "empty window: %f %f %f %f\n", lim->x_min, lim->x_max,
                       lim->y_min, lim->y_max);
  meta_printf("WS_WIN %d %f %f %f %f\n", ws_id, lim->x_min, lim->y_min, lim->x_max, lim->y_max);
  record_object(11, ws_id, lim, sizeof *lim);
  set_from_lim(kernel().tr.wkwn, *lim);
  update_mapping();
  return 0;
}

int gset_ws_vp(Gint ws_id, const Glim* lim) {
  using namespace zor::gks;
  if (!lim) return gerr_printf("gset_ws_vp", "no viewport given\n");
  meta_printf("WS_VP %d %f %f %f %f\n", ws_id, lim->x_min, lim->y_min, lim->x_max, lim->y_max);
  record_object(10, ws_id, lim, sizeof *lim);
  set_from_lim(kernel().tr.wkvp, *lim);
  update_mapping();
  return 0;
}

int ginq_norm_tran(Gint n, Gint* err, Gtran* tran) {
  using namespace zor::gks;
  if (!valid_tran(n)) return -1;
  if (err) *err = 0;
  if (tran) {
    tran->win = to_lim(kernel().tr.wn[n]);
    tran->vp = to_lim(kernel().tr.vp[n]);
  }
  return 0;
}

int ginq_cur_norm_tran_num(Gint* err, Gint* n) {
  if (err) *err = 0;
  if (n) *n = kernel().tr.cur_trans;
  return 0;
}

int ginq_disp_space_size(Gws_type, Gint* err, Gdsp_size* dsp) {
  int w = 0, h = 0;
  gget_win_size(&w, &h);
  if (dsp) {
    dsp->coord_units = GOTHER_UNIT;
    dsp->coord_size = {static_cast<float>(w - 1), static_cast<float>(h - 1)};
    dsp->ras_size = {w, h};
  }
  if (err) *err = 0;
  return 0;
}

int gpts_in_win(int num_pt, const Gpt* pts) {
  if (num_pt <= 0 || !pts) return 0;
  float x_min = pts[0].x, x_max = pts[0].x, y_min = pts[0].y, y_max = pts[0].y;
  for (int i = 1; i < num_pt; ++i) {
    x_min = std::min(x_min, pts[i].x);
    x_max = std::max(x_max, pts[i].x);
    y_min = std::min(y_min, pts[i].y);
    y_max = std::max(y_max, pts[i].y);
  }
  const auto& w = kernel().tr.cur_wn;
  // A window may run either way (x_min above x_max flips the picture).
  const float wx0 = std::min(w.x_min, w.x_max), wx1 = std::max(w.x_min, w.x_max);
  const float wy0 = std::min(w.y_min, w.y_max), wy1 = std::max(w.y_min, w.y_max);
  if (x_max < wx0 || x_min > wx1 || y_max < wy0 || y_min > wy1) return 0;
  return 1;
}

int gget_xviewport(Gxrect* rect) {
  if (rect) *rect = kernel().tr.clip_rect;
  return 0;
}

int gget_gviewport(Grectangle* rect) {
  using namespace zor::gks;
  if (!rect) return -1;
  const auto& t = kernel().tr;
  if (gtype_is_WIN_PIX()) {
    *rect = {t.clip_rect.x, t.clip_rect.y, t.clip_rect.width, t.clip_rect.height};
  } else if (gtype_is_PS() || gtype_is_HPGL()) {
    rect->x = static_cast<int>(std::trunc(xNDC_ps(t.cur_vp.x_min)));
    rect->y = static_cast<int>(std::trunc(yNDC_ps(t.cur_vp.y_min)));
    rect->width = static_cast<int>(std::trunc(xNDC_ps(t.cur_vp.x_max) - rect->x + 1.5f));
    rect->height = static_cast<int>(std::trunc(yNDC_ps(t.cur_vp.y_max) - rect->y + 1.5f));
  }
  return 0;
}

int gset_aspect(const Glim* vin, Glim* vout, const Gaspect* asp, const Gcenter* center) {
  if (!vin || !vout || !asp || !center) return -1;
  const float dx = vin->x_max - vin->x_min;
  const float dy = vin->y_max - vin->y_min;
  float w, h;
  if (asp->y / dy > asp->x / dx) {
    w = asp->x * dy / asp->y;
    h = dy;
  } else {
    w = dx;
    h = asp->y * dx / asp->x;
  }
  Glim out;
  switch (center->horizontal) {
    case 2:
      out.x_min = vin->x_min + dx / 2 - w / 2;
      out.x_max = vin->x_min + dx / 2 + w / 2;
      break;
    case 3:
      out.x_min = vin->x_max - w;
      out.x_max = vin->x_max;
      break;
    default:
      out.x_min = 0;
      out.x_max = w;
  }
  switch (center->vertical) {
    case 2:
      out.y_min = vin->y_min + dy / 2 - h / 2;
      out.y_max = vin->y_min + dy / 2 + h / 2;
      break;
    case 3:
      out.y_min = vin->y_max - h;
      out.y_max = vin->y_max;
      break;
    default:
      out.y_min = 0;
      out.y_max = h;
  }
  *vout = out;
  return 0;
}

int gprint_win() {
  const auto& t = kernel().tr;
  MESS_print(M_PRINT, "C-%d: %7.3f %7.3f %7.3f %7.3f\n", t.cur_trans, t.cur_wn.x_min, t.cur_wn.x_max,
             t.cur_wn.y_min, t.cur_wn.y_max);
  for (int i = 0; i < 4; ++i)
    MESS_print(M_PRINT, "W-%d: %7.3f %7.3f %7.3f %7.3f\n", i, t.wn[i].x_min, t.wn[i].x_max,
               t.wn[i].y_min, t.wn[i].y_max);
  return 0;
}

float xW_NDC(float x) {
  const auto& t = kernel().tr;
  return (x - t.cur_wn.x_min) * t.wn_vp.x + t.cur_vp.x_min;
}

float yW_NDC(float y) {
  const auto& t = kernel().tr;
  return (y - t.cur_wn.y_min) * t.wn_vp.y + t.cur_vp.y_min;
}

float xNDC_p(float x) {
  const auto& t = kernel().tr;
  return zor::gks::clampf((x - t.wkwn.x_min) * t.wkwn_plt.x + t.plt.x_min, zor::gks::kPixelLimit);
}

float yNDC_p(float y) {
  const auto& t = kernel().tr;
  return zor::gks::clampf((t.wkwn.y_max - y) * t.wkwn_plt.y + t.plt.y_min, zor::gks::kPixelLimit);
}

float xNDC_ps(float x) {
  const auto& t = kernel().tr;
  return zor::gks::clampf((x - t.wkwn.x_min) * t.wkwn_plt.x + t.plt.x_min, zor::gks::kPrintLimit);
}

float yNDC_ps(float y) {
  const auto& t = kernel().tr;
  return zor::gks::clampf((y - t.wkwn.y_min) * t.wkwn_plt.y + t.plt.y_min, zor::gks::kPrintLimit);
}

float xW_p(float x) { return xNDC_p(xW_NDC(x)); }
float yW_p(float y) { return yNDC_p(yW_NDC(y)); }
float xW_ps(float x) { return xNDC_ps(xW_NDC(x)); }
float yW_ps(float y) { return yNDC_ps(yW_NDC(y)); }

float xp_W(float px) {
  const auto& t = kernel().tr;
  const float ndc = (px - t.plt.x_min) / t.wkwn_plt.x + t.wkwn.x_min;
  return (ndc - t.cur_vp.x_min) / t.wn_vp.x + t.cur_wn.x_min;
}

float yp_W(float py) {
  const auto& t = kernel().tr;
  const float ndc = t.wkwn.y_max - (py - t.plt.y_min) / t.wkwn_plt.y;
  return (ndc - t.cur_vp.y_min) / t.wn_vp.y + t.cur_wn.y_min;
}

float xW_trans(float x, int t1, int t2) {
  using namespace zor::gks;
  if (!valid_tran(t1) || !valid_tran(t2)) return x;
  const auto& t = kernel().tr;
  const float n = (x - t.wn[t1].x_min) * t.vp[t1].x_ext / t.wn[t1].x_ext + t.vp[t1].x_min;
  return (n - t.vp[t2].x_min) / t.vp[t2].x_ext * t.wn[t2].x_ext + t.wn[t2].x_min;
}

float yW_trans(float y, int t1, int t2) {
  using namespace zor::gks;
  if (!valid_tran(t1) || !valid_tran(t2)) return y;
  const auto& t = kernel().tr;
  const float n = (y - t.wn[t1].y_min) * t.vp[t1].y_ext / t.wn[t1].y_ext + t.vp[t1].y_min;
  return (n - t.vp[t2].y_min) / t.vp[t2].y_ext * t.wn[t2].y_ext + t.wn[t2].y_min;
}
