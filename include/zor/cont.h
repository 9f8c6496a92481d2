// Colour-fill levels (value to fill colour), the colour bar under the plot
// and the bar look-up for the pointer.
#pragma once

#include "zor/types.h"

inline constexpr int CONT_MAX_LEVELS = 256;
inline constexpr int CONT_LABEL_LEN = 10;

int CONT_init();
int CONT_set_bar(int val);
int CONT_get_bar();
int CONT_set_intrvl(float val);
float CONT_get_intrvl();
int CONT_set_base(float val);
float CONT_get_base();
int CONT_set_range(float max, float min);
int CONT_set_bar_range(float max, float min);
int CONT_set_type(int val);
int CONT_get_type();
int CONT_set_fill_pat(int val);
int CONT_get_fill_pat();
int CONT_reset_fill_set();
int CONT_set_cutoff(float max, float min);
int CONT_set_values(const float* values, int num);
int CONT_reset_values();
int CONT_get_values(float* values);
int CONT_set_fill_colors(const char* string, int flag);
int CONT_decode_fill_color(const char* str);
int CONT_get_fill_attrib(float value, Gattribs* attrib);
int CONT_draw_bar(int orient, const char* label);
float CONT_get_bar_value(float x, float y);
int CONT_flash_value(char* event, float x, float y);
int CONT_param_decode();
float CONT_calc_intrvl(float max, float min, int num);
int CONT_set_skip(int x, int y);
int CONT_set_plot_offset(float x, float y);
// Number of fill steps and the bar label of step i (empty when none).
int CONT_get_num_cont();
const char* CONT_get_label(int i);
