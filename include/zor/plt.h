// The plot frame every radar plot shares: opening, resetting and closing the
// workstation, plot parameters, image dumps, the interactive handlers the
// event loop calls back, and the corner labels drawn around the viewport.
#pragma once

#include <cstddef>

#include "zor/gks.h"
#include "zor/types.h"

// Replot function supplied by a radar plot (zoom, resize, refresh).
using PLT_plot_func = int (*)(Domain*);
// Refresh function of a radar plot that loads its next file by itself.
using PLT_next_func = int (*)();
// Pointer callback of a radar plot (for example NIDS_callback): event kind
// (2 keys and window size, 3 mouse buttons), event name and the pointer in
// projection coordinates.
using PLT_mouse_func = void (*)(int type, char* str, float x, float y);

// Image output types for PLT_set_dump.
inline constexpr int PLT_DUMP_NONE = 0;
inline constexpr int PLT_DUMP_XWD = 1;
inline constexpr int PLT_DUMP_GIF = 2;
inline constexpr int PLT_DUMP_IMG = 3;
inline constexpr int PLT_DUMP_PNG = 4;
// PLT_dump frame value: write every animation image in turn.
inline constexpr int PLT_DUMP_ALL = -4;

// ---- Setup and close -----------------------------------------------------
int PLT_open(float aspect);
int PLT_reset(float aspect);
int PLT_panel(float aspect);
int PLT_close();
int PLT_exit(int val);
int PLT_mess(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
int PLT_border(int val);
int PLT_get_border();
int PLT_get_view(Glim* lim);
int PLT_get_work_type();
int PLT_get_full_lab();
int PLT_set_view_offset(float offset);
int PLT_set_view_offsets(float xn, float xx, float yn, float yx);
float PLT_get_view_offset();
int PLT_get_view_offsets(Glim* lim);

// ---- Plot parameters and image output ------------------------------------
int PLT_param_decode();
int PLT_panel_decode(const char* str);
int PLT_set_dump(int type, const char* filename);
int PLT_get_dump();
const char* PLT_get_dump_file();
int PLT_dump(int frame);
// Batch runs without a display: ends the run (status ZOR_EXIT_USAGE) when no
// output file, grid file or print device was asked for; else 0.
int PLT_check_output();

// ---- Interactive handlers --------------------------------------------------
int PLT_set_callback(PLT_mouse_func func);
int PLT_set_zoom_func(PLT_plot_func func);
int PLT_set_resize_func(PLT_plot_func func);
int PLT_set_refresh_func(int sec, PLT_plot_func func);
int PLT_set_refresh_func(int sec, PLT_next_func func);
int PLT_plot_zoom(char* event, float x, float y);
int PLT_plot_resize(char* event, float x, float y);
int PLT_plot_refresh();
int PLT_print_location(char* event, float x, float y);
int PLT_print_values(char* event, float x, float y);
int PLT_set_zoom(int val);
int PLT_get_zoom();
int PLT_set_bar(int val);
int PLT_bar();

// ---- Corner labels and overlays ------------------------------------------
// Positions: 0 upper-left, 1 upper-centre, 2 upper-right, 3 lower-left,
// 4 lower-centre, 5 lower-right; overlays 0-5.
inline constexpr int PLT_NUM_LABEL = 6;
inline constexpr int PLT_NUM_OVER = 6;
inline constexpr int PLT_LABEL_LEN = 70;

int PLT_init_labels();
int PLT_set_overlay(int ind);
int PLT_get_overlay();
int PLT_set_overlay_base(int ind);
int PLT_get_overlay_base();
int PLT_set_num_overlay(int ind);
int PLT_get_num_over();
int PLT_next_overlay();
int PLT_get_label_type();
int PLT_set_label_type(int val);
int PLT_label_strcpy(int lab, const char* str);
int PLT_label_strcat(int lab, const char* str);
int PLT_label_up_left(const char* str);
int PLT_label_up_center(const char* str);
int PLT_label_up_right(const char* str);
int PLT_label_low_left(const char* str);
int PLT_label_low_center(const char* str);
int PLT_label_low_right(const char* str);
const char* PLT_get_label(int lab, int over);
int PLT_label_date(const Date* datim);
// The date the label codes use: that of the product being plotted.
int PLT_get_label_date(Date* datim);
int PLT_label_for_time(long val);
// Expands `form` into `str` (at most `size` bytes with the null).
int PLT_label_format(const char* form, char* str, std::size_t size = PLT_LABEL_LEN);
int PLT_labels();
