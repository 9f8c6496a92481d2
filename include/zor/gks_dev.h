// The kernel's print and file devices: PostScript/EPS, HP-GL/2, the text
// metafile and binary CGM writers, the colour model, and the clock whose
// time goes into file headers.
#pragma once

#include <cstdio>
#include <ctime>
#include <string>

#include "zor/gks.h"

// ----- colour model (the rest is declared in zor/gks.h) -----
int gset_rw_colors(int val);
int gget_rw_colors();
int gset_local_colormap(int val);
// Whether a private colormap is wanted (flag or LOCAL_CMAP/zorlocal_cmap).
int gget_local_colormap();
// X11 colormaps (XIDs), kept here for the display device.
int gset_def_cmap(unsigned long map);
unsigned long gget_def_cmap();
int gset_user_cmap(unsigned long map);
unsigned long gget_user_cmap();
unsigned long gget_colormap();
int gquery_xcolor(int ind);
// TrueColor pixels from 16-bit channels, by the visual's channel masks.
int gset_visual_masks(unsigned long red_mask, unsigned long green_mask, unsigned long blue_mask);
unsigned long gget_color_rgb_Xval(int r, int g, int b);

// ----- PostScript -----
int gps_open_file(const char* name);
int gps_close_file();
int gps_init();
int gps_init_file();
int gps_options(const char* items);
int gps_set_size(float width, float height);
int gps_get_size(float* width, float* height);
int gps_move(float x, float y);
int gps_line(float x, float y);
int gps_move_abs(float x, float y);
int gps_line_abs(float x, float y);
int gps_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
int gps_set_color(int ind);
int gps_set_fill_color(int ind);
int gps_set_width(int ind, float width);
int gps_set_type(int type);
int gps_set_base_width(float width);
int gps_set_EPS(int val);
int gps_get_EPS();
int gps_set_orient(int port);
int gps_get_orient();
int gps_set_scale(float scale);
int gps_set_colorPS(int val);
int gps_get_colorPS();
int gps_set_reverse(int val);
float gps_get_gray(int ind);
// The name of the open PostScript, HPGL or metafile output when writing to
// it has failed (buffered output is flushed to find out), else null.
const char* gps_failed_file();
const char* ghpgl_failed_file();
const char* gmeta_failed_file();
int gps_set_color_rep(int ind, float r, float g, float b);
int gps_is_open();
int gps_set_title(const char* title);

// ----- HPGL -----
int ghpgl_open_file(const char* name);
int ghpgl_close_file();
int ghpgl_init();
int ghpgl_init_file();
int ghpgl_options(const char* items);
int ghpgl_get_size(float* width, float* height);
int ghpgl_move(float x, float y);
int ghpgl_line(float x, float y);
int ghpgl_move_abs(float x, float y);
int ghpgl_line_abs(float x, float y);
int ghpgl_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
int ghpgl_set_color(int ind);
int ghpgl_set_fill_color(int ind);
int ghpgl_set_width(int ind, float width);
int ghpgl_set_type(int type);
int ghpgl_set_base_width(float width);
int ghpgl_set_pcl(int val);
int ghpgl_set_rotate(int deg);
int ghpgl_set_scale(float scale);
int ghpgl_set_colorPS(int val);
int ghpgl_set_reverse(int val);
int ghpgl_set_color_rep(int ind, float r, float g, float b);
int ghpgl_is_open();

// ----- metafiles -----
int gmeta_set_type(int type);
int gmeta_get_type();
std::FILE* gmeta_open_file(const char* name);
int gmeta_init_file();
int gmeta_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
int gmeta_close_file();
int gmeta_is_open();
int gmeta_set_title(const char* title);
int gcgm_control(int cls, int id, int length, int param);
int gcgm_point(float x, float y);
int gcgm_ps_point(float x, float y);
int gcgm_set_color(int ind);
int gcgm_set_fill_color(int ind);
int gcgm_set_width(float width);
int gcgm_set_type(int type);
int gread_metafile(const char* name);

namespace zor::gks {

// Current time for file headers; a fixed time makes outputs reproducible.
std::time_t clock_now();
void set_fixed_time(std::time_t t);
void clear_fixed_time();
// The `ctime`-style text of clock_now() in UTC, with its trailing newline.
std::string clock_ctime();

// Resets the colour model and the device writers' state; for tests.
void reset_color_model();
void reset_ps();
void reset_hpgl();
void reset_meta();

}  // namespace zor::gks
