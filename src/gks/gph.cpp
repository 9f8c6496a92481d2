// The GPH_* convenience layer: workstation setup and teardown for the plot
// framework, panels, attribute helpers and small drawing helpers.
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <string>

#include "gks_kernel.h"
#include "zor/attrib.h"
#include "zor/clr.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"

using namespace zor::gks;

namespace {

constexpr int kDeviceFlag = 2;
constexpr float kDegToRad = 0.017453292519943334f;

bool set(float v) { return v != ZOR_MISSING_F; }
bool set(int v) { return v != ZOR_MISSING; }

std::string vformat(const char* format, va_list ap) {
  va_list ap2;
  va_copy(ap2, ap);
  int n = std::vsnprintf(nullptr, 0, format, ap);
  std::string s;
  if (n > 0) {
    s.resize(static_cast<std::size_t>(n) + 1);
    std::vsnprintf(s.data(), s.size(), format, ap2);
    s.resize(static_cast<std::size_t>(n));
  }
  va_end(ap2);
  return s;
}

int circle(float x, float y, float rad, bool fill) {
  Gpt pts[37];
  for (int i = 0; i <= 36; ++i) {
    const float a = static_cast<float>(10 * i) * kDegToRad;
    pts[i] = {x + rad * std::cos(a), y + rad * std::sin(a)};
  }
  return fill ? gfill_area(37, pts) : gpolyline(37, pts);
}

void rect_points(float x1, float y1, float x2, float y2, Gpt (&p)[5]) {
  p[0] = {x1, y1};
  p[1] = {x2, y1};
  p[2] = {x2, y2};
  p[3] = {x1, y2};
  p[4] = {x1, y1};
}

}  // namespace

int GPH_setup(Gint* ws_id, Gws_type* ws_type, float asp_ratio, Glim* offset) {
  char* device = RES_get("device");
  std::string conn;
  if (device) {
    std::string d = device;
    std::size_t comma = d.find(',');
    if (comma != std::string::npos) conn = d.substr(comma + 1);
  }
  Gws_type type = FLAG_get(kDeviceFlag);
  if (type < 1) type = FLAG_batch() ? GWS_WINDOW : GWS_ASK;
  GPH_set_win_title();
  CLR_read_table(nullptr);
  RES_get("draw");
  Gint id = 1;
  GPH_begin(&id, conn.c_str(), &type);
  if (ws_id) *ws_id = id;
  if (ws_type) *ws_type = type;
  return GPH_reset(id, type, asp_ratio, offset);
}

int GPH_set_win_title() {
  char* name = RES_get("name");
  char* title = RES_get("title");
  char own[256] = {};
  RES_get_progname(own, sizeof own);
  std::string prog = name && *name ? name : own;
  std::string win;
  if (title && *title) win = title;
  else if (name && *name) win = name[0] == '+' ? name + 1 : name;
  else win = own;
  gset_prog_name(prog.c_str());
  gset_win_title(win.c_str());
  return 0;
}

int GPH_begin(Gint* ws_id, Gconn_id conn_id, Gws_type* ws_type) {
  std::error_code ec;
  std::filesystem::remove("zorgks.err", ec);
  if (ws_id) *ws_id = 1;
  Gws_type type = ws_type ? *ws_type : GWS_WINDOW;
  auto& tool = kernel().tool;
  tool.wk_itype = type;
  if (type == GWS_ASK) {
    char answer[11] = {};
    ZOR_prompts("Display (D) or Postscript (P): ", answer, 10);
    Gconn_id ignored = nullptr;
    type = gdevice_setup(answer, &ignored);
    RES_set_device(answer);
    FLAG_set(kDeviceFlag, type);
  }
  if (ws_type) *ws_type = type;
  if (!tool.ws_open) {
    if (gopen_gks(nullptr, 10000) != 0) {
      MESS_print(M_ERROR, "GPH_begin: Error opening Kernel System\n");
      gemergency_close_gks();
      ZOR_exit(4);
    }
    if (gopen_ws(1, conn_id, type) != 0) {
      MESS_print(M_ERROR, "GPH_begin: Error opening workstation\n");
      ZOR_exit(4);
    }
  }
  tool.ws_open = true;
  tool.wk_type = type;
  gactivate_ws(1);
  return 0;
}

int GPH_end(Gint ws_id) {
  gdeactivate_ws(ws_id);
  // A file device reports here whether its file was completed.
  const int closed = gclose_ws(ws_id);
  gclose_gks();
  auto& tool = kernel().tool;
  const bool was_open = tool.ws_open;
  tool.ws_open = false;
  FLAG_set(kDeviceFlag, tool.wk_itype);
  return was_open && closed < 0 ? -1 : 0;
}

int GPH_hold(Gint) {
  gupdate_window();
  if (gtype_is_WIN()) ghold();
  return 0;
}

int ginq_maxview(Gws_type ws_type, float* xvp, float* yvp) {
  Gint err = 0;
  Gdsp_size dsp;
  ginq_disp_space_size(ws_type, &err, &dsp);
  if (err < 0 || dsp.coord_size.x <= 0 || dsp.coord_size.y <= 0) {
    *xvp = 1.0f;
    *yvp = 1.0f;
    return err < 0 ? err : -1;
  }
  if (dsp.coord_size.x > dsp.coord_size.y) {
    *xvp = 1.0f;
    *yvp = dsp.coord_size.y / dsp.coord_size.x;
  } else {
    *xvp = dsp.coord_size.x / dsp.coord_size.y;
    *yvp = 1.0f;
  }
  return 0;
}

int GPH_reset(Gint ws_id, Gws_type ws_type, float asp_ratio, Glim* offset) {
  auto& tool = kernel().tool;
  gclear_ws(ws_id, GALWAYS);
  ginq_maxview(ws_type, &tool.xvp, &tool.yvp);
  const Glim l{0.0f, tool.xvp, 0.0f, tool.yvp};
  gset_ws_win(ws_id, &l);
  gset_vp(1, &l);
  gset_win(1, &l);
  GPH_panel(ws_id, ws_type, asp_ratio, offset);
  for (int i = 0; i < CLR_get_num(); ++i) {
    Gcolr_rep rgb;
    CLR_get_rgb(i, &rgb.red, &rgb.green, &rgb.blue);
    gset_colr_rep(ws_id, i, &rgb);
  }
  GPH_text_font(nullptr);
  return 0;
}

int GPH_panel(Gint, Gws_type, float asp_ratio, Glim* offset) {
  const auto& t = kernel().tool;
  const Glim off = offset ? *offset : Glim{};
  Glim p;
  p.x_min = (off.x_min * t.sizex + t.offx) * t.xvp;
  p.x_max = (t.offx + t.sizex - off.x_max * t.sizex) * t.xvp;
  p.y_min = (off.y_min * t.sizey + t.offy) * t.yvp;
  p.y_max = (t.offy + t.sizey - off.y_max * t.sizey) * t.yvp;
  Gaspect asp = asp_ratio != 0 ? Gaspect{asp_ratio, 1.0f} : Gaspect{t.xvp * t.sizex, t.yvp * t.sizey};
  Gcenter centre{2, 2};
  Glim v;
  gset_aspect(&p, &v, &asp, &centre);
  for (int tr : {2, 3}) {
    gset_vp(tr, &v);
    gset_win(tr, &v);
  }
  GPH_line_attr(nullptr);
  GPH_fill_attr(nullptr);
  GPH_mark_attr(nullptr, 1.0f);
  GPH_text_attr(nullptr, 1.0f);
  if (offset) *offset = v;
  return 0;
}

int GPH_set_view_size(float sx, float sy, float ox, float oy) {
  auto& t = kernel().tool;
  t.sizex = sx;
  t.sizey = sy;
  t.offx = ox;
  t.offy = oy;
  return 0;
}

int GPH_get_view_size(Glim* lim) {
  const auto& t = kernel().tool;
  if (lim) *lim = {t.xvp * t.offx, (t.offx + t.sizex) * t.xvp, t.yvp * t.offy, (t.offy + t.sizey) * t.yvp};
  return 0;
}

float GPH_get_vert_win_size() { return kernel().tool.yvp; }

int GPH_trans(int trans) { return gsel_norm_tran(trans); }
int GPH_win(int trans, const Glim* lim) { return gset_win(trans, lim); }
int GPH_view(int trans, const Glim* lim) { return gset_vp(trans, lim); }

int GPH_get_win(int trans, Glim* lim) {
  Gint err = 0;
  Gtran t;
  if (ginq_norm_tran(trans, &err, &t) < 0) return -1;
  if (lim) *lim = t.win;
  return 0;
}

int GPH_get_view(int trans, Glim* lim) {
  Gint err = 0;
  Gtran t;
  if (ginq_norm_tran(trans, &err, &t) < 0) return -1;
  if (lim) *lim = t.vp;
  return 0;
}

int GPH_print_view(const Glim* lim) {
  if (!lim) return -1;
  MESS_print(M_PRINT, "%5.2f %5.2f %5.2f %5.2f\n", lim->x_min, lim->x_max, lim->y_min, lim->y_max);
  return 0;
}

int GPH_line_attr(const Gattribs* a) {
  if (!a) {
    gset_linetype(1);
    gset_linewidth(0.0f);
    return 0;
  }
  if (set(a->color) && a->color >= 0) gset_line_colr_ind(a->color);
  if (set(a->style)) gset_linetype(a->style);
  if (set(a->width)) gset_linewidth(a->width);
  return 0;
}

int GPH_fill_attr(const Gattribs* a) {
  if (!a) {
    gset_fill_int_style(GSOLID);
    return 0;
  }
  if (set(a->color) && a->color >= 0) gset_fill_colr_ind(a->color);
  if (a->fill_pat == 0) {
    gset_fill_int_style(GSOLID);
  } else if (set(a->fill_pat)) {
    gset_fill_int_style(GPAT);
    gset_fill_style_ind(a->fill_pat);
  }
  return 0;
}

int GPH_mark_attr(const Gattribs* a, float scale) {
  if (!a) {
    gset_marker_width(0.0f);
    return 0;
  }
  if (set(a->color) && a->color >= 0) gset_marker_colr_ind(a->color);
  if (set(a->style)) gset_marker_type(a->style);
  if (set(a->height)) gset_marker_size(a->height * scale);
  else if (scale > 0) gset_marker_size(scale);
  if (set(a->width)) gset_marker_width(a->width);
  return 0;
}

int GPH_text_attr(const Gattribs* a, float scale) {
  if (!a) {
    gset_text_width(0.0f);
    gset_expan(1.0f);
    return -1;
  }
  if (set(a->color) && a->color >= 0) gset_text_colr_ind(a->color);
  if (set(a->height)) gset_char_ht(a->height * scale);
  else gset_char_ht(scale);
  if (set(a->width)) gset_text_width(a->width);
  if (set(a->expan)) gset_expan(a->expan);
  if (set(a->font)) {
    Gfontprec fp{a->font, GSTROKE_PREC};
    gset_fontprec(&fp);
  }
  gset_space(0.25f);
  return 0;
}

int GPH_set_color(int ind, float r, float g, float b) {
  Gcolr_rep rgb{r, g, b};
  return gset_colr_rep(1, ind, &rgb);
}

int GPH_text_font(const char* str) {
  Gfontprec fp{gget_font_index(str ? str : kernel().tool.font_name.c_str()), GSTROKE_PREC};
  return gset_fontprec(&fp);
}

int GPH_set_def_font(const char* str) {
  kernel().tool.font_name = str ? str : "";
  return 0;
}

int GPH_text_align(int x, int y) {
  if (x < GNORMAL_HOR || x > GRIGHT_HOR || y < GNORMAL_VERT || y > GBOTTOM_VERT)  // no enum value: no cast
    return gerr_printf("gset_text_align", "invalid text alignment: %d %d\n", x, y);
  Gtext_align a{static_cast<Gtext_hor>(x), static_cast<Gtext_ver>(y)};
  return gset_text_align(&a);
}

int GPH_get_text_align(int* x, int* y) {
  Gint err = 0;
  Gtext_align a;
  ginq_text_align(&err, &a);
  if (x) *x = a.hor;
  if (y) *y = a.vert;
  return 0;
}

int GPH_text_rotate(float deg) {
  const float th = deg * kDegToRad;
  Gpt up{std::sin(th), std::cos(th)};
  return gset_char_up_vec(&up);
}

int GPH_line(float x1, float y1, float x2, float y2) {
  Gpt p[2] = {{x1, y1}, {x2, y2}};
  return gpolyline(2, p);
}

int GPH_mark(float x, float y) {
  Gpt p{x, y};
  return gpolymarker(1, &p);
}

int GPH_border(const Glim* lim) {
  if (!lim) return -1;
  return GPH_rect(lim->x_min, lim->y_min, lim->x_max, lim->y_max);
}

int GPH_rect(float x1, float y1, float x2, float y2) {
  Gpt p[5];
  rect_points(x1, y1, x2, y2, p);
  return gpolyline(5, p);
}

int GPH_frect(float x1, float y1, float x2, float y2) {
  Gpt p[5];
  rect_points(x1, y1, x2, y2, p);
  return gfill_area(5, p);
}

int GPH_circle(float x, float y, float rad) { return circle(x, y, rad, false); }
int GPH_fcircle(float x, float y, float rad) { return circle(x, y, rad, true); }

int GPH_pprint(const Gpt* pt, const char* str) { return gtext(pt, str); }

int GPH_pprintf(const Gpt* pt, const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  std::string s = vformat(format, ap);
  va_end(ap);
  return gtext(pt, s.c_str());
}

int GPH_printf(float x, float y, const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  std::string s = vformat(format, ap);
  va_end(ap);
  Gpt pt{x, y};
  return gtext(&pt, s.c_str());
}
