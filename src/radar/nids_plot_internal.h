// State shared by the NIDS plotting units. One product plot runs per process,
// so the plotter's whole state lives in one process-wide record.
#pragma once

#include <cstdio>
#include <string>

#include "zor/nids.h"
#include "zor/types.h"

namespace zor::nids_plot {

struct PlotState {
  FILE* ifile = nullptr;     // the open product file
  std::string unopened;      // the last file that could not be opened, said once
  std::string refused;       // the last file refused as not a product, said once
  NIDS_info nids_info;       // header of the current file
  char datim[40] = {};       // date label of the current file
  Date file_date;            // date handed to the watch decoder
  Date base_date;            // date the file list starts from
  Params p;                  // settings from plot_param
  int run_len = 0;           // raster cells per rectangle (0: automatic)
  long fsecs = 0;            // time of the newest plotted file
  NIDS_report storm;         // the storm being parsed
  int storm_type = 0;        // storm table layout (1 "VLOW", 2 "VIL")
  long fill_calls = 0;       // fill areas of the last symbology layer
  // The first file, left open by the domain look-up with its header read:
  // plotting it next goes on from there instead of decompressing it again.
  std::string kept;
  NIDS_info kept_info;       // its header as read, before own_scale
};

PlotState& state();

// Plot component switches.
inline constexpr int kCompData = 7;
inline constexpr int kCompSummary = 10;

// Data and grid attributes of the overlays (color_data, color_grid).
Gattribs data_attrib();
Gattribs grid_attrib();

}  // namespace zor::nids_plot
