// The plot sequence every radar format shares: the files to plot are counted
// through the file layer, the plot is opened (or reset when a zoom or resize
// re-enters it), the map is set up for the domain, each file becomes one
// frame drawn by the format, dumped and shown, the frames loop, and the plot
// is closed. A format supplies its steps; null steps are skipped.
#pragma once

#include "zor/plt.h"
#include "zor/types.h"

struct PLT_format {
  // First plot only, before the workstation opens: read the format's plot
  // parameters and, from the first file, its own domain (filled in when the
  // domain's projection is missing) and the date of the watches.
  void (*prepare)(Domain* domain) = nullptr;
  // Opens and decodes one file; 1 when it can be drawn.
  int (*open_file)(char* filename) = nullptr;
  // A file of the list opened; called before its frame is created.
  void (*file_opened)() = nullptr;
  // Draws the open file: map, data, bar, labels.
  int (*plot_frame)() = nullptr;
  int (*close_file)() = nullptr;
  // The format's plot routine, installed as the zoom and resize handler.
  PLT_plot_func replot = nullptr;
  // Pointer read-out.
  PLT_mouse_func callback = nullptr;
  // Loads and draws the newest file; installed (every 60 s) when `refresh`
  // says so after `prepare`.
  PLT_next_func nextfile = nullptr;
  bool (*refresh)() = nullptr;
  // Exit status when the only file asked for cannot be opened.
  int no_file_status = 10;
};

// Runs the sequence over the files from `base_date` on; returns 0.
int PLT_plot_files(const PLT_format& format, Domain* domain, Date* base_date);

// The current file's time (the file layer's date) in seconds, truncated to
// the file layer's interval: what a refresh compares to find a newer file.
long PLT_file_secs();

// Refresh: draws the open file as the newest frame (the loop's frames move
// one back and the last is redrawn; without a loop the base window is
// cleared and drawn), then closes the file.
int PLT_plot_newest(int (*plot_frame)(), int (*close_file)());
