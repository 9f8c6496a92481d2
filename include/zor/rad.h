// Converted radar report files (input type 31): a national radar summary
// grid (from manually digitised radar reports, MDR, or radar coded
// messages, RCM) with a table of station reports, in text or netCDF form.
// Reading, the summary drawn through the fill levels with its intensity
// bar, the report variables through the point plotter, level flashing and
// refresh.
#pragma once

#include <cstdint>

#include "zor/raw.h"
#include "zor/rcm.h"
#include "zor/types.h"
#include "zor/var.h"

inline constexpr int RAD_NX = 480;
inline constexpr int RAD_NY = 360;

// File kinds (RAD_chktype).
inline constexpr int RAD_TEXT_NODATE = 1;  // first character '*'
inline constexpr int RAD_TEXT = 2;         // ' ', '0', '1', '2': date line first
inline constexpr int RAD_TEXT_HEADER = 3;  // 'W': one header line, then the date
inline constexpr int RAD_NC_STATION = 11;  // 'C' with a "station" dimension
inline constexpr int RAD_NC_REPORT = 12;   // 'C' without

// Summary kinds (RAD_info::type).
inline constexpr int RAD_SUM_MDR = 1;
inline constexpr int RAD_SUM_RCM = 2;

struct RAD_info {
  char datim[40] = {};
  char* cmdline = nullptr;  // not used by the reader
  Date date;
  int type = 0;
  // Summary values 0-9 per [column][row]; negative for missing.
  std::int8_t summary[RAD_NX][RAD_NY];
};

struct MDR_prec {
  int area_cov = -9999;
  char type[5] = {};  // precipitation letters
  int intens = -9999;
};
struct MDR_loc {
  int dir = -9999;  // degrees
  int rad = -9999;  // nautical miles
};
struct MDR_move {
  char type = ' ';
  int dir = -9999;  // degrees
  int spd = -9999;  // knots
};
struct MDR_tops {
  int h = -9999;  // hundreds of feet
  int dir = -9999;
  int rad = -9999;
};

// One MDR station report; a default-constructed record is cleared.
struct MDR_report {
  char id[11] = {};
  char region[11] = {};
  float x = -9999.0f;  // position when the file gives one (latitude)
  float y = -9999.0f;  // (longitude)
  int type = -9999;
  int time = -9999;
  char config[10] = {};
  MDR_prec prec[3];
  int numprec = 0;
  char trend[4] = {};
  MDR_loc loc[5];
  MDR_move move[3];
  MDR_tops tops;
  char rem[20] = {};
};

// ---- Reading -----------------------------------------------------------------
int RAD_chktype(const char* filename);
// Opens for reading (f_access 0); *f_type 0 detects the kind. The writers
// belong to the decoders: f_access 1 is refused. Descriptor or -1.
int RAD_open(const char* filename, int f_access, int* f_type);
// Date and summary grid; 0 when a grid was read, -1 otherwise. `info` is
// filled as far as the file allows either way.
int RAD_getinfo(int cvt_fd, RAD_info* info);
int RAD_rewind(int cvt_fd);
int RAD_close(int cvt_fd);
// Kind of an open file; -1 for a descriptor that is not open.
int RAD_get_type(int cvt_fd);
// MDR station report number `statnum` (0 the first); rep_type 1 reads only
// the identifier. 0, or -1 at the end of the table (and for files without
// one).
int MDR_read(int cvt_fd, MDR_report* report, int rep_type, int statnum);
// Next RCM station report of a text file: 1, or -1 at the end.
int RCM_read(int cvt_fd, RCM_report* report);

// ---- Report values -----------------------------------------------------------
// The value of variable `var` for a report, into `data` (whose position is
// the station's); MDR_get_data always 1, RCM_get_data 0 when the report has
// no entry `ind` for the variable.
int MDR_get_data(MDR_report* report, VAR_data* var, RAW_data* data);
int RCM_get_data(RCM_report* report, int ind, VAR_data* var, RAW_data* data);

// ---- Plotting ----------------------------------------------------------------
int RAD_open_file(char* filename);
int RAD_close_file();
int RAD_rewind_file();
int RAD_set_date(Date* datim);
int RAD_set_prompt_variable(int val);
int RAD_prompt_variable();
int RAD_plot(Domain* domain);
int RAD_plot_frame();
int RAD_plot_summary();
int RAD_plot_data();
int RAD_draw_label();
int RAD_draw_bar();
int RAD_flash_levels(char* str, float x, float y);
int RAD_plot_param();
int RAD_plot_nextfile();
void RAD_callback(int type, char* str, float x, float y);

namespace zor::rad {
// Plot parameters (RAD_plot_param).
struct Params {
  float plt_dist = 0.0f;  // range rings, nautical miles (drawn from 10 on)
  int plt_site = 0;
  int plt_status = 1;
  int num_plt = RCM_MAX_STORM;  // entries of an RCM report plotted
  int noclar = 0;
  int refresh = 0;
};
Params params();
// The information of the open plot file.
const RAD_info& info();
// Intensity bar origin (page coordinates of its first label) and the row it
// occupies; -9999 before a bar is drawn.
struct Bar {
  float x0 = -9999.0f, y0 = -9999.0f, y1 = -9999.0f;
  float x_lab = 0.0f, y_lab = 0.0f;
};
Bar bar();
// Closes every file and forgets the plot state (tests).
void reset();
}  // namespace zor::rad
