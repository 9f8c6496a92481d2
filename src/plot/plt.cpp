// The plot frame shared by every radar plot: plot parameters, opening and
// closing the workstation, image dumps named by the file-name conventions,
// and the zoom, resize, refresh and location handlers of the event loop.
#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <span>
#include <string_view>

#include "zor/cont.h"
#include "zor/cty.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/plt.h"
#include "zor/res.h"
#include "zor/text.h"

namespace {

constexpr int kPlotTypeFlag = 11;
constexpr int kNothingPlotType = 99;
constexpr int kAnythingSlot = 12;
constexpr int kBusyCursor = 8;

struct PltState {
  Gint work_id = 1;
  Gws_type wk_type = 0;
  Glim view_off{0.0f, 0.0f, 0.04f, 0.04f};
  Glim dis_view{};
  int border = 1;
  int zoom = 0;
  int dump = PLT_DUMP_NONE;
  std::string dump_file;
  int full_lab = 0;
  float view_offset = 0.04f;
  int bar = 0;
  // What the run has produced: whether anything is drawn, whether the NIDS
  // grid file was asked for, and the image files written and failed.
  bool drawing = true;
  bool grid_out = false;
  int dumps_written = 0;
  int dumps_failed = 0;
  std::string failed_file;
  PLT_mouse_func callback = nullptr;
  PLT_plot_func zoom_func = nullptr;
  PLT_plot_func resize_func = nullptr;
  PLT_plot_func refresh_func = nullptr;
  PLT_next_func next_func = nullptr;
  // Zoom drag state and the domain before the first zoom.
  float x0 = 0.0f, y0 = 0.0f;
  bool dragging = false;
  Domain unzoomed;
};

PltState& state() {
  static PltState s;
  return s;
}

bool ieq(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}

bool iprefix(std::string_view s, std::string_view p) { return s.size() >= p.size() && ieq(s.substr(0, p.size()), p); }

using zor::ResValues;

bool nothing_to_plot() { return FLAG_getplot(kAnythingSlot) == 0 || FLAG_get(kPlotTypeFlag) == kNothingPlotType; }

int number_at(std::string_view v, std::size_t at, int def) {
  if (at >= v.size()) return def;
  return std::atoi(std::string(v.substr(at)).c_str());
}

std::string text_at(std::string_view v, std::size_t at) { return at < v.size() ? std::string(v.substr(at)) : ""; }

// Dump keywords: "gif", "gif:name" and their like.
void set_dump_from(int type, std::string_view v) { PLT_set_dump(type, text_at(v, 4).c_str()); }

using Action = void (*)(std::string_view v);
struct Keyword {
  const char* word;
  bool prefix;
  Action act;
};

// Plot-parameter keywords, in the order they are tried; the first match acts.
std::span<const Keyword> keywords() {
  static const Keyword k[] = {
      {"full", false, [](std::string_view) { PLT_set_view_offsets(0, 0, 0, 0); }},
      {"fullab", false,
       [](std::string_view) {
         PLT_set_view_offsets(0, 0, 0, 0);
         state().full_lab = 1;
       }},
      {"nopage", false, [](std::string_view) { MESS_set_page(0); }},
      {"page", false, [](std::string_view) { MESS_set_page(1); }},
      {"noredraw", false, [](std::string_view) { gset_redraw(0); }},
      {"id", false, [](std::string_view) { CTY_set_id_type(0); }},
      {"wmo", false, [](std::string_view) { CTY_set_id_type(1); }},
      {"cod_wmo", false, [](std::string_view) { CTY_set_id_type(2); }},
      {"tz", true, [](std::string_view v) { DATE_set_TZ(text_at(v, 3).c_str()); }},
      {"over", true,
       [](std::string_view v) {
         int a = 0, b = 0;
         const int n = std::sscanf(text_at(v, 5).c_str(), "%d:%d", &a, &b);
         if (n >= 1) PLT_set_overlay_base(a);
         if (n >= 2) PLT_set_num_overlay(b);
       }},
      {"lalo", true,
       [](std::string_view v) {
         float lat = 0, lon = 0;
         int dt = 0, ex = 0;
         const int n = std::sscanf(text_at(v, 5).c_str(), "%f:%f:%d:%d", &lat, &lon, &dt, &ex);
         if (n < 1) return;
         if (n < 2) lon = lat;
         MAP_latlon(lat, lon, dt, ex);
       }},
      // Grid-file keywords of the package's grid programs: nothing here.
      {"gridx", true, [](std::string_view) {}},
      {"plt_skip", true,
       [](std::string_view v) {
         int x = 1, y = 1;
         const int n = std::sscanf(text_at(v, 9).c_str(), "%d:%d", &x, &y);
         if (n < 1) return;
         if (n < 2) y = x;
         CONT_set_skip(x, y);
       }},
      {"plt_off", true,
       [](std::string_view v) {
         float x = 0, y = 0;
         const int n = std::sscanf(text_at(v, 8).c_str(), "%f:%f", &x, &y);
         if (n < 1) return;
         if (n < 2) y = x;
         CONT_set_plot_offset(x, y);
       }},
      {"plt_grid", true, [](std::string_view v) { MAP_set_plot_limit(v.size() > 8 ? number_at(v, 9, 1) : 1); }},
      {"loc_pr", true, [](std::string_view v) { if (v.size() > 6) DOM_set_loc_prior(number_at(v, 7, 0)); }},
      {"vp_size", true, [](std::string_view v) { PLT_panel_decode(text_at(v, 8).c_str()); }},
      {"font", true, [](std::string_view v) { GPH_set_def_font(text_at(v, 5).c_str()); }},
      {"gif_inter", false, [](std::string_view) { GIF_interlace(1); }},
      {"gif_norm", false, [](std::string_view) { GIF_interlace(0); }},
      {"gif_trans", false, [](std::string_view) { GIF_transparent(1); }},
      {"inv", false, [](std::string_view) { gset_inverse(1); }},
      {"lcmap", false, [](std::string_view) { gset_local_colormap(1); }},
      {"nolcmap", false, [](std::string_view) { gset_local_colormap(0); }},
      {"rwclr", false, [](std::string_view) { gset_rw_colors(1); }},
      {"norwclr", false, [](std::string_view) { gset_rw_colors(0); }},
      {"nolooptitle", false, [](std::string_view) { gset_loop_title(0); }},
      {"pscolor", false,
       [](std::string_view) {
         gps_set_colorPS(1);
         gset_inverse(1);
       }},
      {"psrev", false, [](std::string_view) { gps_set_reverse(1); }},
      {"clear", false, [](std::string_view) { gset_pix_mode(1); }},
      {"new", false, [](std::string_view) { gset_pix_mode(2); }},
      {"kill", false, [](std::string_view) { gset_pix_mode(9); }},
      {"bar", true,
       [](std::string_view v) {
         CONT_set_bar(2);
         if (v.size() <= 3) return;
         float mx = 0, mn = 0;
         if (std::sscanf(text_at(v, 4).c_str(), "%f:%f", &mx, &mn) == 2) CONT_set_bar_range(mx, mn);
       }},
      {"nobar", false, [](std::string_view) { CONT_set_bar(-2); }},
      {"nohdr", false, [](std::string_view) {}},
      {"shadow", true,
       [](std::string_view v) {
         const int n = number_at(v, 7, 0);
         gset_font_drop(n < 1 ? 4 : n);
       }},
      // The bad-record limit belongs to the GRIB reader of the grid programs.
      {"max_bad", true, [](std::string_view) {}},
      {"min_size", true,
       [](std::string_view v) {
         const int n = number_at(v, 9, 0);
         FILE_set_min_size(n < 1 ? 0 : n);
       }},
      {"grdfmt", true, [](std::string_view) {}},
      {"gif", true, [](std::string_view v) { set_dump_from(PLT_DUMP_GIF, v); }},
      {"png", true, [](std::string_view v) { set_dump_from(PLT_DUMP_PNG, v); }},
      {"img", true, [](std::string_view v) { set_dump_from(PLT_DUMP_IMG, v); }},
      {"xwd", true, [](std::string_view v) { set_dump_from(PLT_DUMP_XWD, v); }},
  };
  return k;
}

const char* default_dump_name(int type) {
  switch (type) {
    case PLT_DUMP_GIF: return "zor.gif";
    case PLT_DUMP_PNG: return "zor.png";
    default: return "zor.xwd";
  }
}

struct Writer {
  int (*write)(const char*);
  const char* ok;
  const char* fail;
};

Writer writer(int type) {
  switch (type) {
    case PLT_DUMP_GIF: return {GIF_dump, "Wrote GIF file: %s\n", "PLT_dump: Unable to write GIF file: %s\n"};
    case PLT_DUMP_IMG: return {IMG_dump, "Wrote IMG file: %s\n", "PLT_dump: Unable to write IMG file: %s\n"};
    case PLT_DUMP_PNG: return {PNG_dump, "Wrote PNG file: %s\n", "PLT_dump: Unable to write PNG file: %s\n"};
    default: return {XWD_dump, "Wrote xdump file: %s\n", "PLT_dump: Unable to write xdump file: %s\n"};
  }
}

// Builds the dump name for frame key `key` and writes the current image.
void write_image(const char* key) {
  auto& s = state();
  FILE_set_key('i', key);
  const char* title = gget_win_title();
  FILE_set_key('p', title != nullptr ? title : "");
  char name[FILE_NAME_MAX] = {};
  char path[FILE_NAME_MAX] = {};
  // The current file date drives the date keys (no date given: it is kept);
  // a file named as it stands has none, and the product's date serves.
  Date file_date;
  Date product_date;
  FILE_get_date(&file_date);
  PLT_get_label_date(&product_date);
  if (file_date.year < 0 && product_date.year >= 0) FILE_set_date(&product_date, name, sizeof name);
  else FILE_set_date(nullptr, name, sizeof name);
  if (FILE_add_path(RES_get("image_path"), name, path, sizeof path) == nullptr) {
    std::snprintf(path, sizeof path, "%s", name);
  }
  if (s.dump == PLT_DUMP_IMG) {
    // The own image format carries the product, its site and date from the
    // labels, and the map frame of the picture.
    IMG_set_dump_labels(PLT_get_label(0, 0), PLT_get_label(5, 0), PLT_get_label(2, 0));
    Domain dom;
    MAP_get_domain(&dom);
    IMG_set_dump_domain(&dom);
  }
  const Writer w = writer(s.dump);
  if (w.write(path) > 0) {
    MESS_print(M_MESS, w.ok, path);
    ++s.dumps_written;
  } else {
    MESS_print(M_WARN, w.fail, path);
    ++s.dumps_failed;
    s.failed_file = path;
  }
}

// The option that switched the drawing off, for the messages.
// The file-writing workstations and how to ask each whether its file failed.
struct PrintOutput {
  Gws_type ws_type;
  const char* what;
  const char* (*failed_file)();
};
constexpr PrintOutput kPrintOutputs[] = {
    {GWS_PS, "PostScript file", gps_failed_file},
    {GWS_HPGL, "HPGL file", ghpgl_failed_file},
    {GWS_META, "metafile", gmeta_failed_file},
};
const PrintOutput* print_output(int ws_type) {
  for (const auto& o : kPrintOutputs)
    if (o.ws_type == ws_type) return &o;
  return nullptr;
}

const char* nothing_option() { return FLAG_get(kPlotTypeFlag) == kNothingPlotType ? "-pl none" : "-dr none"; }

// A value of `out_file` that names no output this program writes ends the
// run: a misspelt type would otherwise be ignored and nothing written.
void check_out_file_word(std::string_view v) {
  if (iprefix(v, "gif") || iprefix(v, "png")) return;
  if (iprefix(v, "zor")) {
    state().grid_out = true;
    return;
  }
  const std::string word(v);
  if (iprefix(v, "xwd") || iprefix(v, "img")) {
    MESS_print(M_ERROR, "radar: -of (out_file) does not write %.3s files: %s; use -pp %.3s:NAME (plot_param)\n",
               word.c_str(), word.c_str(), word.c_str());
  } else {
    MESS_print(M_ERROR, "radar: unknown output file type in -of (out_file): %s; known types: gif:NAME, png:NAME, zor=NAME\n",
               word.c_str());
  }
  ZOR_exit(ZOR_EXIT_USAGE);
}

void replot(PLT_plot_func func, Domain* dom) {
  const int old = gset_cursor(kBusyCursor);
  if (func) func(dom);
  GPH_trans(2);
  gupdate_window();
  gset_cursor(old);
}

bool earth_projection(int proj) { return proj >= 1 && proj <= 9; }

}  // namespace

namespace zor::plt {
// Start-up state for tests.
void reset() { state() = PltState{}; }
}  // namespace zor::plt

// ---- Setup and close ---------------------------------------------------------

int PLT_open(float aspect) {
  auto& s = state();
  PLT_param_decode();
  s.dis_view = s.view_off;
  s.drawing = !nothing_to_plot();
  gset_no_plot(s.drawing ? 0 : 1);
  if (!s.drawing) {
    MESS_print(M_WARN, "radar: nothing is drawn (%s)\n", nothing_option());
    return -1;
  }
  if (aspect <= 0.0f) aspect = 1.0f;
  return GPH_setup(&s.work_id, &s.wk_type, aspect, &s.dis_view) < 0 ? -1 : 0;
}

int PLT_reset(float aspect) {
  auto& s = state();
  s.dis_view = s.view_off;
  const int t = PLT_get_label_type();
  PLT_set_label_type(t < 0 ? -1 : (t > 0 ? 1 : 0));
  s.drawing = !nothing_to_plot();
  gset_no_plot(s.drawing ? 0 : 1);
  if (!s.drawing) return -1;
  if (aspect <= 0.0f) aspect = 1.0f;
  return GPH_reset(s.work_id, s.wk_type, aspect, &s.dis_view) < 0 ? -1 : 0;
}

int PLT_panel(float aspect) {
  auto& s = state();
  if (aspect == 0.0f) {
    Glim v;
    GPH_get_view(2, &v);
    const float h = v.y_max - v.y_min;
    aspect = h > 0 ? (v.x_max - v.x_min) / h : 1.0f;
  }
  s.dis_view = s.view_off;
  return GPH_panel(s.work_id, s.wk_type, aspect, &s.dis_view);
}

int PLT_check_output() {
  const auto& s = state();
  if (!FLAG_batch() || !s.drawing || s.dump != PLT_DUMP_NONE || s.grid_out || !gget_headless()) return 0;
  MESS_print(M_ERROR,
             "radar: batch run without a display and without an output file: nothing would be written; "
             "ask for one with -of png:NAME or gif:NAME, -pp xwd:NAME or img:NAME, or -de p,FILE\n");
  return PLT_exit(ZOR_EXIT_USAGE);
}

int PLT_close() {
  auto& s = state();
  const PrintOutput* file_out = print_output(s.wk_type);
  if (FLAG_batch()) {
    // A batch run detaches below and its parent ends with status 0, so what
    // went wrong is told here, while the caller still waits.
    if (s.dumps_failed > 0) {
      MESS_print(M_ERROR, "radar: %d of %d image files could not be written (last: %s)\n", s.dumps_failed,
                 s.dumps_failed + s.dumps_written, s.failed_file.c_str());
      PLT_exit(ZOR_EXIT_OUTPUT);
    }
    if (const char* name = file_out != nullptr ? file_out->failed_file() : nullptr) {
      MESS_print(M_ERROR, "radar: the %s could not be written: %s\n", file_out->what, name);
      PLT_exit(ZOR_EXIT_OUTPUT);
    }
    if (!s.drawing && !s.grid_out) {
      MESS_print(M_ERROR, "radar: nothing was drawn (%s) and no grid file (-of zor) was asked for: no output\n",
                 nothing_option());
      PLT_exit(ZOR_EXIT_USAGE);
    }
    // A file device is finished (written to its end and given its name)
    // before the run detaches, so the exit status covers all of it and the
    // file is there when the caller goes on.
    if (file_out == nullptr && ZOR_back_proc() < 0) ZOR_exit(1);
  }
  gset_no_plot(0);
  if (FLAG_get(kPlotTypeFlag) == kNothingPlotType) return -1;
  GPH_trans(2);
  if (s.dump == PLT_DUMP_NONE) GPH_hold(s.work_id);
  gclear_ws(s.work_id, GCOND);
  if (GPH_end(s.work_id) != 0 && file_out != nullptr && FLAG_batch()) {
    MESS_print(M_ERROR, "radar: the %s could not be completed\n", file_out->what);
    ZOR_exit(ZOR_EXIT_OUTPUT);
  }
  if (file_out != nullptr && FLAG_batch() && ZOR_back_proc() < 0) ZOR_exit(1);
  PLT_init_labels();
  return 0;
}

int PLT_exit(int val) {
  GPH_end(state().work_id);
  ZOR_exit(val);
}

int PLT_mess(const char* fmt, ...) {
  if (fmt == nullptr) return -1;
  char buf[256];
  va_list ap;
  va_start(ap, fmt);
  std::vsnprintf(buf, sizeof buf, fmt, ap);
  va_end(ap);
  gmessage(state().work_id, buf);
  return 0;
}

int PLT_border(int val) {
  state().border = val;
  return 0;
}
int PLT_get_border() { return state().border; }

int PLT_get_view(Glim* lim) {
  if (lim == nullptr) return -1;
  *lim = state().dis_view;
  return 0;
}

int PLT_get_work_type() { return state().wk_type; }
int PLT_get_full_lab() { return state().full_lab; }

int PLT_set_view_offset(float offset) {
  state().view_off = Glim{0.0f, 0.0f, offset, offset};
  state().view_offset = offset;
  return 0;
}

int PLT_set_view_offsets(float xn, float xx, float yn, float yx) {
  state().view_off = Glim{xn, xx, yn, yx};
  return 0;
}

float PLT_get_view_offset() { return state().view_offset; }

int PLT_get_view_offsets(Glim* lim) {
  if (lim == nullptr) return -1;
  *lim = state().view_off;
  return 0;
}

// ---- Plot parameters and image output ----------------------------------------

int PLT_param_decode() {
  {
    ResValues rv("plot_param");
    for (int i = 0; i < rv.n; ++i) {
      const std::string_view v = rv.v[i] != nullptr ? rv.v[i] : "";
      for (const auto& k : keywords()) {
        if (k.prefix ? iprefix(v, k.word) : ieq(v, k.word)) {
          k.act(v);
          break;
        }
      }
    }
  }
  ResValues out("out_file");
  for (int i = 0; i < out.n; ++i) {
    const std::string_view v = out.v[i] != nullptr ? out.v[i] : "";
    if (v.empty()) continue;
    check_out_file_word(v);
    if (iprefix(v, "gif")) set_dump_from(PLT_DUMP_GIF, v);
    else if (iprefix(v, "png")) set_dump_from(PLT_DUMP_PNG, v);
  }
  return 0;
}

int PLT_panel_decode(const char* str) {
  if (str == nullptr) return -1;
  float w = 1, h = 1, x = 0, y = 0;
  const int n = std::sscanf(str, "%fx%f+%f+%f", &w, &h, &x, &y);
  if (w > 1) {
    w = std::clamp(w, 1.0f, 8.0f);
    h = std::clamp(h, 1.0f, 8.0f);
    x = x / w;
    y = 1.0f - (y + 1.0f) / h;
    w = 1.0f / w;
    h = 1.0f / h;
  }
  if (n != 4) return -1;
  return GPH_set_view_size(w, h, x, y);
}

int PLT_set_dump(int type, const char* filename) {
  auto& s = state();
  s.dump = type;
  s.dump_file = filename != nullptr && *filename != '\0' ? filename : default_dump_name(type);
  return 0;
}

int PLT_get_dump() { return state().dump; }
const char* PLT_get_dump_file() { return state().dump_file.c_str(); }

int PLT_dump(int frame) {
  auto& s = state();
  if (s.dump == PLT_DUMP_NONE) return -1;
  // Nothing drawn: there is no picture to capture (said once at the open).
  if (!s.drawing) return -1;
  FILE_save_name_conv();
  FILE_set_name(s.dump_file.c_str());
  const int images = gget_num_images();
  char key[16];
  if (frame == PLT_DUMP_ALL && images >= 2) {
    for (int k = 0; k < images; ++k) {
      std::snprintf(key, sizeof key, "%2.2d", k);
      gselect_frame(k);
      write_image(key);
    }
  } else if (images > 0) {
    const int cur = gget_cur_frame();
    std::snprintf(key, sizeof key, "%2.2d", cur);
    if (frame >= 0) gselect_frame(frame);
    write_image(key);
  } else {
    write_image("win");
  }
  FILE_restore_name_conv();
  return 0;
}

// ---- Interactive handlers ------------------------------------------------------

int PLT_set_callback(PLT_mouse_func func) {
  state().callback = func;
  if (func != nullptr) gset_mouse_callback(func);
  return 0;
}

int PLT_set_zoom_func(PLT_plot_func func) {
  state().zoom_func = func;
  return 0;
}

int PLT_set_resize_func(PLT_plot_func func) {
  state().resize_func = func;
  return 0;
}

int PLT_set_refresh_func(int sec, PLT_plot_func func) {
  state().refresh_func = func;
  state().next_func = nullptr;
  gset_refresh_callback(sec, [] { PLT_plot_refresh(); });
  return 0;
}

int PLT_set_refresh_func(int sec, PLT_next_func func) {
  state().refresh_func = nullptr;
  state().next_func = func;
  gset_refresh_callback(sec, [] { PLT_plot_refresh(); });
  return 0;
}

int PLT_plot_zoom(char* event, float x, float y) {
  auto& s = state();
  const std::string_view ev = event != nullptr ? event : "";
  if (ev == "B1-P-Shft") {
    s.x0 = x;
    s.y0 = y;
    s.dragging = true;
    gset_rubber_band(2);
    return 0;
  }
  if (ev.starts_with("B1-R") && s.dragging) {
    s.dragging = false;
    if (x == s.x0 || y == s.y0) return -1;
    Domain dom;
    MAP_get_domain(&dom);
    if (s.zoom == 0) s.unzoomed = dom;
    const float w = std::fabs(x - s.x0);
    const float h = std::fabs(y - s.y0);
    if (earth_projection(dom.proj)) {
      float lat = 0, lon = 0;
      MAP_untran((x + s.x0) / 2.0f, (y + s.y0) / 2.0f, &lat, &lon);
      dom.clat = lat;
      dom.clon = lon;
      const float dx = dom.nx > 1 ? w / static_cast<float>(dom.nx - 1) : w;
      const float dy = dom.ny > 1 ? h / static_cast<float>(dom.ny - 1) : h;
      dom.dx = dom.dy = std::max(dx, dy);
      DOM_set_base_prior(h);
    } else {
      const float xl = std::min(x, s.x0), yl = std::min(y, s.y0);
      const float xh = std::max(x, s.x0), yh = std::max(y, s.y0);
      float lat0 = xl, lon0 = yl, lat1 = xh, lon1 = yh;
      if (dom.proj != 23) {
        MAP_untran(xl, yl, &lat0, &lon0);
        MAP_untran(xh, yh, &lat1, &lon1);
      }
      dom.clat = lat0;
      dom.clon = lon0;
      dom.dx = lat1 - lat0;
      dom.dy = lon1 - lon0;
      if (dom.proj == 40) dom.dx = xh - xl;
    }
    ++s.zoom;
    MESS_print(M_MESS, "New domain: ");
    DOM_print(M_MESS, &dom);
    replot(s.zoom_func, &dom);
    return 0;
  }
  if (ev == "u-Alt" && s.zoom > 0 && gget_zoom() == 1) {
    s.dragging = false;
    MESS_print(M_MESS, "Original domain: ");
    Domain dom = s.unzoomed;
    if (earth_projection(dom.proj)) DOM_set_base_prior(dom.dy * static_cast<float>(dom.ny - 1));
    DOM_print(M_MESS, &dom);
    replot(s.zoom_func, &dom);
    s.zoom = 0;
    return 0;
  }
  if (ev == "r-Alt") {
    s.dragging = false;
    Domain dom;
    MAP_get_domain(&dom);
    replot(s.zoom_func, &dom);
    return 0;
  }
  s.dragging = false;
  return 0;
}

int PLT_plot_resize(char* event, float, float) {
  if (event == nullptr || std::strcmp(event, "size") != 0) return 0;
  Domain dom;
  MAP_get_domain(&dom);
  replot(state().resize_func, &dom);
  return 0;
}

int PLT_plot_refresh() {
  auto& s = state();
  Domain dom;
  MAP_get_domain(&dom);
  const int old = gset_cursor(kBusyCursor);
  if (s.refresh_func) s.refresh_func(&dom);
  else if (s.next_func) s.next_func();
  GPH_trans(2);
  gupdate_window();
  gset_cursor(old);
  return 0;
}

int PLT_print_location(char* event, float x, float y) {
  if (event == nullptr || std::strcmp(event, "v-Alt") != 0) return 0;
  float lat = 0, lon = 0;
  MAP_untran(x, y, &lat, &lon);
  MESS_print(M_PRINT, "Lat: %6.2f Lon: %7.2f XY: %6.2f %6.2f Pixel: %6.2f %6.2f\n", lat, lon, x, y, xW_p(x),
             yW_p(y));
  return 1;
}

int PLT_print_values(char* event, float x, float y) {
  if (event == nullptr || std::strcmp(event, "v-Alt") != 0) return 0;
  float lat = 0, lon = 0;
  MAP_untran(x, y, &lat, &lon);
  CTY_locate near{};
  if (CTY_search_loc(lat, lon, &near) >= 0)
    MESS_print(M_PRINT, "Id: %s Lat: %6.2f Lon: %7.2f ", near.id, near.x, near.y);
  MESS_print(M_PRINT, "Lat: %6.2f Lon: %7.2f XY: %6.2f %6.2f Pixel: %6.2f %6.2f\n", lat, lon, x, y, xW_p(x),
             yW_p(y));
  return 1;
}

int PLT_set_zoom(int val) {
  state().zoom = val;
  return 0;
}
int PLT_get_zoom() { return state().zoom; }

int PLT_set_bar(int val) {
  state().bar = val;
  return 0;
}

int PLT_bar() {
  auto& s = state();
  if (s.bar <= 0) return 0;
  s.bar = 0;
  return 1;
}
