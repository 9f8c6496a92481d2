// The graphics kernel: a small GKS-style drawing layer. The plot code draws in
// world coordinates through one of six normalisation transformations; the
// kernel validates every call, maps world to normalised device coordinates
// (NDC) and NDC to the one open workstation, clips, and hands the result to a
// device (src/gks/device.h). GPH_* is the convenience layer on top.
#pragma once

#include <cstdint>

#include "zor/types.h"

using Gint = std::int32_t;
using Gfloat = float;
using Gchar = char;
using Gws_type = Gint;
using Gconn_id = const char*;

// Transformation-internal rectangle; the extents follow the corners.
struct Gcoords {
  float x_min = 0.0f;
  float y_min = 0.0f;
  float x_max = 0.0f;
  float y_max = 0.0f;
  float x_ext = 0.0f;
  float y_ext = 0.0f;
};

struct Gtransform {
  float x = 1.0f;
  float y = 1.0f;
};

struct Gtran {
  Glim win;
  Glim vp;
};

enum Gcoord_unit { GMETER_UNIT = 0, GOTHER_UNIT = 1 };

struct Gint_pt {
  Gint x_coord = 0;
  Gint y_coord = 0;
};

struct Gdsp_size {
  Gcoord_unit coord_units = GOTHER_UNIT;
  Gpt coord_size;
  Gint_pt ras_size;
};

struct Gaspect {
  float x = 1.0f;
  float y = 1.0f;
};

// Placement codes: 2 centred, 3 flush to the maximum, others at the origin.
struct Gcenter {
  int horizontal = 2;
  int vertical = 2;
};

struct Grectangle {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

// The viewport in X11 pixels, laid out like Xlib's XRectangle (16-bit fields)
// so a display device can hand it to the server as it is; named apart so this
// header does not pull in Xlib.
struct Gxrect {
  std::int16_t x = 0;
  std::int16_t y = 0;
  std::uint16_t width = 0;
  std::uint16_t height = 0;
};

struct Gcolr_rep {
  float red = 0.0f;
  float green = 0.0f;
  float blue = 0.0f;
};

enum Gclear_flag { GCOND = 0, GALWAYS = 1 };
enum Gfill_int_style { GHOLLOW = 0, GSOLID = 1, GPAT = 2, GHATCH = 3 };
enum Gtext_hor { GNORMAL_HOR = 0, GLEFT_HOR = 1, GCENTER_HOR = 2, GRIGHT_HOR = 3 };
enum Gtext_ver {
  GNORMAL_VERT = 0,
  GTOP_VERT = 1,
  GCAP_VERT = 2,
  GHALF_VERT = 3,
  GBASE_VERT = 4,
  GBOTTOM_VERT = 5
};
enum Gtext_path { GRIGHT_PATH = 0, GLEFT_PATH = 1, GUP_PATH = 2, GDOWN_PATH = 3 };
enum Gtext_prec { GSTRING_PREC = 0, GCHAR_PREC = 1, GSTROKE_PREC = 2 };

struct Gfontprec {
  int font = 1;
  Gtext_prec prec = GSTROKE_PREC;
};

struct Gtext_align {
  Gtext_hor hor = GNORMAL_HOR;
  Gtext_ver vert = GNORMAL_VERT;
};

// Workstation types.
inline constexpr Gws_type GWS_ASK = 0;
inline constexpr Gws_type GWS_WINDOW = 1;
inline constexpr Gws_type GWS_META = 3;
inline constexpr Gws_type GWS_PS = 4;
inline constexpr Gws_type GWS_HPGL = 5;
inline constexpr Gws_type GWS_PIXMAP = 6;

// ---- Kernel errors -------------------------------------------------------
int gerr_printf(const char* func, const char* format, ...) __attribute__((format(printf, 2, 3)));

// ---- Kernel and workstation ---------------------------------------------
int gopen_gks(const char* err_f, long mem);
int gclose_gks();
int gemergency_close_gks();
int gopen_ws(Gint ws_id, Gconn_id conn_id, Gws_type ws_type);
int gclose_ws(Gint ws_id);
int gactivate_ws(Gint ws_id);
int gdeactivate_ws(Gint ws_id);
int gclear_ws(Gint ws_id, Gclear_flag clear_flag);
int gchk_graphics();
// 1 when the open workstation draws into memory because no display could be
// reached (a batch run without X11), else 0.
int gget_headless();
// With 1, drawing calls made while no workstation is open (the plot asked for
// nothing to be drawn) are not reported as errors.
int gset_no_plot(int val);
int gget_ws_id();
int gdevice_setup(const char* str, Gconn_id* conn_id);
int ginit_plot(int dev_class);
int ginit_tran(int dev_class);
int gget_ws_type();
int gtype_is_WIN();
int gtype_is_PIX();
int gtype_is_WIN_PIX();
int gtype_is_META();
int gtype_is_PS();
int gtype_is_HPGL();
// Device size in device units (pixels, points, plotter units) and offset.
int gget_win_size(int* width, int* height);
int gget_win_offset(int* x, int* y);
// A new device size keeps the transformations and remaps the device.
int gset_win_size(int width, int height);
int gset_win_offset(int x, int y);
int gset_prog_name(const char* name);
const char* gget_prog_name();
int gset_win_title(const char* title);
const char* gget_win_title();
int gupdate_window();
int ghold();

// ---- Transformations -----------------------------------------------------
int gsel_norm_tran(Gint tran_num);
int gset_win(Gint tran_num, const Glim* win_lim);
int gset_vp(Gint tran_num, const Glim* vp_lim);
int gset_ws_win(Gint ws_id, const Glim* lim);
int gset_ws_vp(Gint ws_id, const Glim* lim);
int ginq_norm_tran(Gint tran_num, Gint* err, Gtran* tran);
int ginq_cur_norm_tran_num(Gint* err, Gint* tran_num);
int ginq_disp_space_size(Gws_type ws_type, Gint* err, Gdsp_size* dsp);
int gpts_in_win(int num_pt, const Gpt* pts);
int gget_xviewport(Gxrect* rect);
int gget_gviewport(Grectangle* rect);
int gset_aspect(const Glim* vin, Glim* vout, const Gaspect* asp, const Gcenter* center);
int gprint_win();
float xW_NDC(float x);
float yW_NDC(float y);
float xW_p(float x);
float yW_p(float y);
float xp_W(float x);
float yp_W(float y);
float xW_ps(float x);
float yW_ps(float y);
float xNDC_p(float x);
float yNDC_p(float y);
float xNDC_ps(float x);
float yNDC_ps(float y);
float xW_trans(float x, int t1, int t2);
float yW_trans(float y, int t1, int t2);

// ---- Output primitives ---------------------------------------------------
int gpolyline(int num_pt, const Gpt* array_pt);
int gfill_area(int num_pt, const Gpt* array_pt);
int gpolymarker(int num_pt, const Gpt* array_pt);
int gtext(const Gpt* text_pos, const char* char_string);

// Line attributes.
int gset_line_colr_ind(int ind);
int gset_linetype(int type);
int gset_linewidth(float width);
int gset_line_print_bold(int val);
int gset_line_gc_func(int func);
int gget_line_colr();
int gget_line_type();
float gget_line_width();
int gget_line_gc_func();
int gget_line_print_bold();
int greset_line();
int ginit_line(int dev_class);

// Fill attributes.
int gset_fill_colr_ind(int ind);
int gset_fill_int_style(int style);
int gset_fill_style_ind(int ind);
int gset_fill_print_solid(int val);
int gget_fill_colr();
int gget_fill_int_style();
int gget_fill_style_ind();
int gget_fill_print_solid();
int gdel_fill_pat();
// Whether pixel (x, y) of fill pattern `pat` is painted.
int gfill_test(int pat, int x, int y);
int greset_fill();
int ginit_fill(int dev_class);

// Marker attributes.
int gset_marker_colr_ind(int ind);
int gset_marker_type(int type);
int gset_marker_size(float size);
int gset_marker_width(float width);
int gget_marker_colr();
int gget_marker_type();
float gget_marker_size();
float gget_marker_width();
int greset_marker();
int ginit_marker(int dev_class);

// Text attributes and fonts.
int gset_text_colr_ind(int ind);
int gset_char_ht(float height);
int gset_expan(float expan);
int gset_text_width(float width);
int gset_space(float space);
int gset_char_space(float space);
int gset_char_up_vec(const Gpt* up);
int gset_text_align(const Gtext_align* align);
int ginq_text_align(Gint* err, Gtext_align* align);
int gset_fontprec(const Gfontprec* fp);
int gset_text_path(Gtext_path path);
int gset_font_drop(int n);
int gget_font_drop();
int gset_font_drop_color(int ind);
int gget_font_drop_color();
int gget_text_colr();
float gget_char_ht();
int gset_font_list(const char* str);
int gsetup_fonts();
int read_font(const char* name);
int gget_font_index(const char* str);
int greset_text();
int ginit_text(int dev_class);
// Width and height of a string in world units with the current text
// attributes (stroke fonts); -1 when no font is loaded.
int ginq_text_extent(const char* str, float* width, float* height);

// ---- Colour model (src/gks colour unit) ----------------------------------
int gset_colr_rep(Gint ws_id, Gint colr_ind, const Gcolr_rep* colr_rep);
int galloc_colr(int ind, float r, float g, float b);
int gis_valid_colr(int ind);
int gis_color_near(int ind, float r, float g, float b, int flag);
int gget_color_ind(int ind);
int gget_color_rgb(int ind, float* r, float* g, float* b);
int gget_color_rgb256(int ind, int* r, int* g, int* b);
// Grey shades of data fills on grey print output: the plot's fill levels set
// one per colour index so the shades follow the levels, not the colours'
// brightness. A level below 0 (or a cleared table) falls back to the
// colour's own grey. gget_fill_print_gray returns -1 when none is set.
int gset_fill_print_gray(int ind, float level);
int gclear_fill_print_gray();
float gget_fill_print_gray(int ind);
int gget_back_color();
int gget_max_colr();
int ginit_xcolr();
int ginit_background();
int gset_background(const char* name);
int gset_inverse(int val);
int gget_inverse();

// ---- Convenience layer ---------------------------------------------------
int GPH_setup(Gint* ws_id, Gws_type* ws_type, float asp_ratio, Glim* offset);
int GPH_set_win_title();
int GPH_begin(Gint* ws_id, Gconn_id conn_id, Gws_type* ws_type);
int GPH_end(Gint ws_id);
int GPH_hold(Gint ws_id);
int GPH_reset(Gint ws_id, Gws_type ws_type, float asp_ratio, Glim* offset);
int GPH_panel(Gint ws_id, Gws_type ws_type, float asp_ratio, Glim* offset);
int ginq_maxview(Gws_type ws_type, float* xvp, float* yvp);
int GPH_set_view_size(float sx, float sy, float ox, float oy);
int GPH_get_view_size(Glim* lim);
float GPH_get_vert_win_size();
int GPH_trans(int trans);
int GPH_win(int trans, const Glim* lim);
int GPH_view(int trans, const Glim* lim);
int GPH_get_win(int trans, Glim* lim);
int GPH_get_view(int trans, Glim* lim);
int GPH_print_view(const Glim* lim);
int GPH_line_attr(const Gattribs* attrib);
int GPH_fill_attr(const Gattribs* attrib);
int GPH_mark_attr(const Gattribs* attrib, float scale);
int GPH_text_attr(const Gattribs* attrib, float scale);
int GPH_set_color(int ind, float r, float g, float b);
int GPH_text_font(const char* str);
int GPH_set_def_font(const char* str);
int GPH_text_align(int x, int y);
int GPH_get_text_align(int* x, int* y);
int GPH_text_rotate(float deg);
int GPH_line(float x1, float y1, float x2, float y2);
int GPH_mark(float x, float y);
int GPH_border(const Glim* lim);
int GPH_rect(float x1, float y1, float x2, float y2);
int GPH_frect(float x1, float y1, float x2, float y2);
int GPH_circle(float x, float y, float rad);
int GPH_fcircle(float x, float y, float rad);
int GPH_pprint(const Gpt* pt, const char* str);
int GPH_pprintf(const Gpt* pt, const char* format, ...) __attribute__((format(printf, 2, 3)));
int GPH_printf(float x, float y, const char* format, ...) __attribute__((format(printf, 3, 4)));
