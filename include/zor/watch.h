// Severe-weather watch boxes: watch bulletins ("AWW") read from the files of
// the "wat_dat" name convention for the hours before the plot time, decoded
// into a table of the watches valid at that time and drawn as boxes with
// their number and end time.
#pragma once

#include "zor/types.h"

inline constexpr int WATCH_MAX = 20;

struct watch {
  int num = 0;              // watch number
  char type[15] = {};       // "TORNADO", "SEVERE", ...
  int sday = 0, shour = 0, smin = 0;  // start, UTC
  int eday = 0, ehour = 0, emin = 0;  // end, UTC
  long start = 0;           // seconds (DATE_num_sec)
  long end = 0;             // 0: cancelled or replaced
  float width = 0.0f;       // half width of the box, km
  int w_dir = 1;            // 1 either side of the line, 2 east-west, 3 north-south
  char id[4][4] = {};       // stations: 0, 1 public end points; 2, 3 aviation
  float lat[4] = {-9999.0f, -9999.0f, -9999.0f, -9999.0f};
  float lon[4] = {-9999.0f, -9999.0f, -9999.0f, -9999.0f};
  float ang[4] = {-9999.0f, -9999.0f, -9999.0f, -9999.0f};   // degrees from station
  float dist[4] = {-9999.0f, -9999.0f, -9999.0f, -9999.0f};  // km from station
};

// Rebuilds the watch table for the plot time; 0.
int WATCH_decode(Date* datim);
// Adds the watches of one bulletin file valid at cur_time (seconds); 1, or 0
// when the file or the station database cannot be opened.
int WATCH_decode_file(const char* filename, Date* datim, long int cur_time);
// Draws the valid watches on the current map; 0.
int WATCH_plot();
// 0 short labels ("T123", "to 17Z"), non-zero long labels.
int WATCH_set_label(int i);

namespace zor::watch {
// Empty table, short labels (tests).
void reset();
// The table (tests and callers that list the watches).
int count();
const ::watch* table();
}  // namespace zor::watch
