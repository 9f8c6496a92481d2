// State shared by the RCM reader and plotter: one station, one open file and
// one report per process.
#pragma once

#include <cstdio>
#include <string>

#include "zor/rcm.h"

namespace zor::rcm {

struct State {
  // Reader: a product line read ahead of the next call, with the file and
  // the position it belongs to, and why the last message was cut.
  FILE* carry_file = nullptr;
  long carry_pos = -1;
  std::string carry;
  std::string warning;

  // Plotter.
  char station[8] = {};
  FILE* ifile = nullptr;
  RCM_report report{};
  bool found = false;   // the report of the station is in `report`
  char datim[64] = {};  // date label of the current frame
  Date base_date;
  Date file_date;
  Params p;
  float slat = -9999.0f;  // site position from the site file
  float slon = -9999.0f;
  long fsecs = 0;
};

State& state();

}  // namespace zor::rcm
