// The plot sequence shared by the radar formats.
#include "zor/plt_seq.h"

#include "zor/date.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/gks.h"
#include "zor/gks_win.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/plt.h"

int PLT_plot_files(const PLT_format& f, Domain* domain, Date* base_date) {
  if (domain == nullptr) return -1;
  // A zoom or resize re-enters with the workstation open: the plot is reset
  // and redrawn, not opened again.
  const bool redraw = gchk_graphics() != 0;
  if (redraw) {
    PLT_reset(DOM_aspect(domain));
  } else {
    if (f.prepare) f.prepare(domain);
    if (PLT_open(DOM_aspect(domain)) == 0) PLT_check_output();
    if (f.callback) PLT_set_callback(f.callback);
    if (f.replot) {
      PLT_set_zoom_func(f.replot);
      PLT_set_resize_func(f.replot);
    }
    if (f.nextfile && f.refresh && f.refresh()) PLT_set_refresh_func(60, f.nextfile);
  }
  MAP_setup(domain);
  MAP_fill_cont(0);
  FILE_first(base_date);

  const bool looping = FILE_get_num_file() != 0;
  int frame = 0;
  char file[FILE_NAME_MAX] = {};
  while (FILE_get_next(file, sizeof file)) {
    if (f.open_file(file)) {
      if (f.file_opened) f.file_opened();
      if (looping) {
        gcreate_frame(frame);
        gselect_frame(frame);
      }
      if (f.plot_frame) f.plot_frame();
      if (f.close_file) f.close_file();
      if (looping) gdisplay_frame(frame);
      PLT_dump(frame);
      ++frame;
    } else if (!looping) {
      PLT_exit(f.no_file_status);
    }
  }
  if (looping) gset_looping(1);
  if (!redraw) PLT_close();
  return 0;
}

long PLT_file_secs() {
  Date d;
  FILE_get_date(&d);
  long secs = DATE_num_sec(&d);
  const int off = FILE_get_late_off();
  if (off > 0) secs -= secs % off;
  return secs;
}

int PLT_plot_newest(int (*plot_frame)(), int (*close_file)()) {
  const int n = gget_num_images();
  if (n > 0) {
    for (int i = 0; i + 1 < n; ++i) gcopy_frame(i, i + 1);
    gcreate_frame(n - 1);
    gselect_frame(n - 1);
  } else {
    gclear_frame(GFRAME_BASE);
  }
  plot_frame();
  close_file();
  if (n > 0) gdisplay_frame(n - 1);
  return 0;
}
