// National radar mosaics: NOWRad (tagged header, run-length lines on a
// latitude-longitude or Lambert conformal grid) and KAVRAD (a printable
// command image on a fixed latitude-longitude grid). Both are read packet by
// packet from an open stream and drawn line by line, so a plot needs no more
// memory than one line of the grid whatever its size.
#pragma once

#include <cstdio>

#include "zor/types.h"

// ---- NOWRad ----------------------------------------------------------------

struct NOWRad_info {
  char label[40] = {};
  Date date;
  Domain domain;
};

struct NOWRad_packet {
  int run = 0;        // cells (0 for a mask record)
  float value = 0.0f; // dBZ
  int mask = 0;       // current column mask
};

int NOWRad_header(FILE* ifile, NOWRad_info* info);
int NOWRad_line(FILE* ifile, int* line);
int NOWRad_get_packet(FILE* ifile, NOWRad_packet* packet);
int NOWRad_rewind(FILE* ifile);

int NOWRad_set_date(Date* datim);
int NOWRad_open_file(char* filename);
int NOWRad_rewind_file();
int NOWRad_close_file();
int NOWRad_plot(Domain* domain);
int NOWRad_plot_summary();
int NOWRad_plot_param();
void NOWRad_callback(int type, char* str, float x, float y);

// ---- KAVRAD ----------------------------------------------------------------

struct KAVRAD_info {
  char label[40] = {};
  Date date;
  Domain domain;
  int start = 0;
  int end = 0;
  int type = 0;  // product kind: 1 for 'C', else 0
};

struct KAVRAD_packet {
  int run = 0;  // cells; -1 the rest of the row
  float value = 0.0f;
};

int KAVRAD_header(FILE* ifile, KAVRAD_info* info);
int KAVRAD_get_packet(FILE* ifile, KAVRAD_packet* packet);
int KAVRAD_rewind(FILE* ifile);

int KAVRAD_set_date(Date* datim);
int KAVRAD_open_file(char* filename);
int KAVRAD_rewind_file();
int KAVRAD_close_file();
int KAVRAD_plot(Domain* domain);
int KAVRAD_plot_summary();
int KAVRAD_plot_param();
void KAVRAD_callback(int type, char* str, float x, float y);

namespace zor::mosaic {

// Why the last header or image stopped early ("" when it read cleanly):
// a missing tag, a short product text, a date that does not parse, a
// truncated file.
const char* nowrad_error();
const char* kavrad_error();

// The month of a three-letter month name as NOWRad headers write it; 0 for
// a name that is not one.
int nowrad_month(const char* name);

// The header of the open file, as plotted.
const NOWRad_info& nowrad_info();
const KAVRAD_info& kavrad_info();

// Cells per filled rectangle from plot_param (0: automatic).
int run_len();
// Fill areas drawn by the last frame (tests and the benchmark).
long fill_calls();

// Back to the start-up state: decoders, open files, settings (tests).
void reset();

}  // namespace zor::mosaic
