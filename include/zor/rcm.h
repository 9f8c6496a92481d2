// Radar coded messages (RCM): the coded bulletin of one radar site with its
// echo intensities on a quarter-box grid of the LFM grid, the maximum echo
// top, storm centroids, VAD winds, tornado vortex signatures and
// mesocyclones. A file may hold the messages of many sites, in the plain
// coded form or as Level III product 74 (product header, then the text).
#pragma once

#include <cstdint>
#include <cstdio>

#include "zor/mess.h"
#include "zor/plt_param.h"
#include "zor/types.h"

inline constexpr int RCM_GRID = 104;  // quarter-boxes each way
inline constexpr int RCM_MAX_STORM = 40;
inline constexpr int RCM_MAX_TVS = 10;
inline constexpr int RCM_MAX_MESO = 20;
inline constexpr int RCM_MAX_VAD = 20;
inline constexpr std::uint8_t RCM_NO_ECHO = 255;  // cell not reported

struct RCM_storm {
  char id[3] = {};
  float x = -9999.0f;  // quarter-box column
  float y = -9999.0f;  // quarter-box row
  int hgt = -9999;     // echo top
  int dir = -9999;     // degrees
  int spd = -9999;     // knots
  int hail = 0;        // -1 unknown, 0 none, 1 probable, 2 hail
};

struct RCM_point {
  char id[3] = {};
  float x = -9999.0f;
  float y = -9999.0f;
};

struct RCM_vad {
  int hgt = -9999;
  int dir = -9999;
  int spd = -9999;
  int rms = 0;
};

// A default-constructed record is the cleared record (as RCM_init leaves
// it); converted radar report files hold station reports of the same record,
// with latitude in x and longitude in y.
struct RCM_report {
  char id[5] = {};
  int num = -9999;
  float lat = -9999.0f, lon = -9999.0f;  // site position (product form only)
  float elev = -9999.0f;                 // metres (product form only)
  Date date;
  int mode = -9999;                       // 1 precipitation, 2 clear air
  int status = -9999;                     // 0 normal, 1 no echoes, 2 out for maintenance
  std::uint8_t echo[RCM_GRID][RCM_GRID];  // [column][row]
  int maxt = -9999;
  float maxt_x = -9999.0f, maxt_y = -9999.0f;
  RCM_storm storm[RCM_MAX_STORM];
  int num_storm = 0;
  RCM_point tvs[RCM_MAX_TVS];
  int num_tvs = 0;
  RCM_point meso[RCM_MAX_MESO];
  int num_meso = 0;
  RCM_vad vad[RCM_MAX_VAD];
  int num_vad = 0;

  RCM_report() {
    for (auto& col : echo)
      for (auto& c : col) c = RCM_NO_ECHO;
  }
};

int RCM_init(RCM_report* report);
// Reads the next site's message: -1 at the end of the file, 0 when the
// message has no part A, 1 otherwise.
int RCM_read_site(FILE* ifile, RCM_report* report);
int RCM_print(M_type level, RCM_report* report);
// The station to plot: the `identifier` resource or the user's answer.
int RCM_prompt_id();

int RCM_open_file(char* filename);
int RCM_close_file();
int RCM_rewind_file();
int RCM_set_date(Date* datim);
int RCM_plot(Domain* domain);
int RCM_plot_frame();
int RCM_plot_nextfile();
int RCM_plot_summary();
int RCM_plot_data(RCM_report* report);
int RCM_plot_param();
void RCM_callback(int type, char* str, float x, float y);

namespace zor::rcm {

// Column and row of a three-letter location code; false when it is not
// three capital letters.
bool location(const char* code, int* col, int* row);

// Why the last RCM_read_site stopped short or cut something ("" when it read
// cleanly).
const char* last_warning();

// The station asked for and the report of the current file (tests).
const char* station();
void set_station(const char* id);
const RCM_report& report();

// Finds the station's position (the radar site file "rad.cty", else the
// message of the first file); ends the program with status 11 when neither
// knows it. The plot does this before it opens.
void locate_site();
// The plot's step for one file: opens it and reads sites up to the
// station's message; 1 when found.
int open_station(char* filename);

// Plot parameters as RCM_plot_param read them.
using Params = plt::SiteParams;
Params params();

// Back to the start-up state (tests).
void reset();

}  // namespace zor::rcm
