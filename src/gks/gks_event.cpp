// Events of the X11 window: the dispatcher with its keys and mouse buttons,
// the user's mouse and refresh callbacks, the rubber band, and the
// interactive wait that animates frames meanwhile.
#include <X11/Xatom.h>
#include <X11/keysym.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "dev_x11.h"
#include "gks_kernel.h"
#include "zor/file.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace zor::gks::x11 {
namespace {

using MouseCallback = void (*)(int, char*, float, float);
using RefreshCallback = void (*)();
using Clock = std::chrono::steady_clock;

constexpr short kNoLimit = -9999;
constexpr int kCursorX = 0, kCursorLoop = 3, kCursorStop = 4, kCursorTcross = 6, kCursorWait = 8;
constexpr int kModeIdle = 0, kModeWaiting = 1, kModeKey = 2, kModeDone = 3;

struct EventState {
  bool mapped = false;
  bool focused = false;
  int expose_cnt = 0;
  MouseCallback mouse_CB = nullptr;
  int input_mode = kModeIdle;
  int user_event = 0;
  // Rubber band: type, constraint, fixed points, limits, anchor.
  int rubber_band = 0;
  int rubber_band_con = 0;
  int rubber_band_num = 0;
  std::array<XPoint, 2> rubber_band_lim{{{kNoLimit, kNoLimit}, {kNoLimit, kNoLimit}}};
  std::array<XPoint, 5> pts{};
  int pt_ind = 0;  // 0 not anchored, 1 anchored, 2 a figure is drawn
  XPoint last{};
  GC xor_gc = nullptr;
  // Refresh callback and its period in seconds (0 none).
  int refresh = 0;
  RefreshCallback refresh_CB = nullptr;
  bool Xserver = false;
};

EventState& ev_state() {
  static EventState s;
  return s;
}

// "-Alt", "-Shft" and "-Cntrl" for the active modifiers.
std::string modifiers(unsigned state) {
  std::string s;
  if (state & Mod1Mask) s += "-Alt";
  if (state & ShiftMask) s += "-Shft";
  if (state & ControlMask) s += "-Cntrl";
  return s;
}

void call_mouse(int kind, std::string label, float x, float y) {
  if (ev_state().mouse_CB == nullptr) return;
  ev_state().mouse_CB(kind, label.data(), x, y);
}

// World coordinates of a window pixel (through the zoom).
float world_x(int px) { return xp_W(xZ_p(static_cast<float>(px))); }
float world_y(int py) { return yp_W(yZ_p(static_cast<float>(py))); }

void slower() {
  ginc_loop_delay(gget_loop_delay() < 0.09f ? 0.05f : 0.1f);
}
void faster() {
  const float d = gget_loop_delay();
  ginc_loop_delay(d <= 0.11f ? -std::min(0.05f, d) : -0.1f);
}
void step_frame(int step) {
  if (gget_num_images() > 0) gdisplay_frame(ginc_frame(step));
}

// Alt-g / Alt-x: the picture (or every frame of a loop) into files named
// from the window title.
void dump_images(X11Device& dev, bool gif) {
  const char* ext = gif ? "gif" : "xwd";
  const char* kind = gif ? "GIF" : "XWD";
  const int old = dev.set_cursor(kCursorWait);
  std::string base = dev.title().substr(0, 5);
  std::replace(base.begin(), base.end(), ' ', '_');
  const char* path = RES_get("image_path");
  auto write = [&](const std::string& name) {
    char full[FILE_NAME_MAX] = {};
    FILE_add_path(path, name.c_str(), full, sizeof full);
    const int ok = gif ? GIF_dump(full) : XWD_dump(full);
    if (ok > 0) MESS_print(M_MESS, "Created %s file: %s\n", kind, full);
    else MESS_print(M_WARN, "gprocess_x11_event: Unable to write %s file: %s\n", kind, full);
  };
  char name[64];
  const int frames = gget_num_images();
  if (frames < 2) {
    std::snprintf(name, sizeof name, "%s.%s", base.c_str(), ext);
    write(name);
  } else if (gget_looping()) {
    MESS_print(M_MESS, "Creating %s files:\n", kind);
    for (int i = 0; i < frames; ++i) {
      std::snprintf(name, sizeof name, "%s-%2.2d.%s", base.c_str(), i, ext);
      if (gselect_frame(i) == 1) write(name);
    }
    gselect_frame(GFRAME_BASE);
  } else {
    const int cur = std::max(0, gget_cur_frame());
    std::snprintf(name, sizeof name, "%s-%2.2d.%s", base.c_str(), cur, ext);
    if (gselect_frame(cur) == 1) write(name);
    gselect_frame(GFRAME_BASE);
  }
  dev.set_cursor(old);
}

GC xor_gc(X11Device& dev) {
  EventState& s = ev_state();
  if (s.xor_gc == nullptr) {
    s.xor_gc = XCreateGC(dev.display(), dev.window(), 0, nullptr);
    XSetFunction(dev.display(), s.xor_gc, GXxor);
    XSetForeground(dev.display(), s.xor_gc,
                   WhitePixel(dev.display(), DefaultScreen(dev.display())) ^ dev.background());
  }
  return s.xor_gc;
}

XPoint clamp_point(int x, int y) {
  const EventState& s = ev_state();
  if (s.rubber_band_lim[0].x != kNoLimit) {
    x = std::clamp(x, static_cast<int>(std::min(s.rubber_band_lim[0].x, s.rubber_band_lim[1].x)),
                   static_cast<int>(std::max(s.rubber_band_lim[0].x, s.rubber_band_lim[1].x)));
    y = std::clamp(y, static_cast<int>(std::min(s.rubber_band_lim[0].y, s.rubber_band_lim[1].y)),
                   static_cast<int>(std::max(s.rubber_band_lim[0].y, s.rubber_band_lim[1].y)));
  }
  if (s.rubber_band_con == 1) x = s.pts[4].x;
  if (s.rubber_band_con == 2) y = s.pts[4].y;
  return {static_cast<short>(x), static_cast<short>(y)};
}

// Draws (or, drawn again, erases) the rubber band to `p`.
void draw_band(X11Device& dev, XPoint p) {
  EventState& s = ev_state();
  Display* dpy = dev.display();
  GC gc = xor_gc(dev);
  const XPoint a = s.pts[4];
  switch (s.rubber_band) {
    case 1:
      XDrawLine(dpy, dev.window(), gc, a.x, a.y, p.x, p.y);
      break;
    case 2:
      XDrawRectangle(dpy, dev.window(), gc, std::min(a.x, p.x), std::min(a.y, p.y),
                     static_cast<unsigned>(std::abs(p.x - a.x)), static_cast<unsigned>(std::abs(p.y - a.y)));
      break;
    case 3:
      for (int i = 0; i < s.rubber_band_num; ++i)
        XDrawLine(dpy, dev.window(), gc, s.pts[static_cast<std::size_t>(i)].x, s.pts[static_cast<std::size_t>(i)].y,
                  p.x, p.y);
      break;
    default:
      break;
  }
}

void erase_band(X11Device& dev) {
  EventState& s = ev_state();
  if (s.pt_ind == 2) draw_band(dev, s.last);
  if (s.pt_ind == 2) s.pt_ind = 1;
}

int on_key(X11Device& dev, XKeyEvent& key) {
  EventState& s = ev_state();
  if (s.input_mode != kModeWaiting && s.input_mode != kModeKey) return 0;
  s.input_mode = kModeKey;
  char text[81] = {};
  KeySym sym = NoSymbol;
  XLookupString(&key, text, 80, &sym, nullptr);
  std::string label = text;
  bool callback = !label.empty();
  if (sym == XK_Return) {
    s.input_mode = kModeDone;
    label = "Ret";
    callback = true;
  } else if ((key.state & Mod1Mask) != 0 && label.size() == 1) {
    switch (label[0]) {
      case 'q': s.input_mode = kModeDone; break;
      case 'd': gdelete_frame(GFRAME_CURRENT); break;
      case 'z': gzoom(GFRAME_CURRENT, key.x, key.y, -2, 0); break;
      case 'u': {
        const bool zoomed = gget_zoom() > 1;
        gunzoom();
        if (zoomed) callback = false;
        break;
      }
      case 'm': gobj_print_meta(); break;
      case 'g': dump_images(dev, true); break;
      case 'x': dump_images(dev, false); break;
      case 'l': gtoggle_loop(-1); break;
      case ']':
        if (gget_looping()) faster();
        else step_frame(1);
        break;
      case '[':
        if (gget_looping()) slower();
        else step_frame(-1);
        break;
      default: break;
    }
  }
  if (callback) {
    Window root = 0, child = 0;
    int rx = 0, ry = 0, wx = key.x, wy = key.y;
    unsigned mask = 0;
    XQueryPointer(dev.display(), dev.window(), &root, &child, &rx, &ry, &wx, &wy, &mask);
    call_mouse(2, label + modifiers(key.state), world_x(wx), world_y(wy));
  }
  return 1;
}

int on_button_press(X11Device& dev, XButtonEvent& b) {
  EventState& s = ev_state();
  if ((b.state & Mod1Mask) == 0) {
    switch (b.button) {
      case Button1:
        if (gget_looping()) slower();
        else step_frame(-1);
        break;
      case Button2: gtoggle_loop(-1); break;
      case Button3:
        if (gget_looping()) faster();
        else step_frame(1);
        break;
      default: break;
    }
  }
  s.pts[4] = {static_cast<short>(b.x), static_cast<short>(b.y)};
  s.pt_ind = 1;
  char label[16];
  std::snprintf(label, sizeof label, "B%u-P", b.button);
  call_mouse(3, label + modifiers(b.state), world_x(b.x), world_y(b.y));
  (void)dev;
  return 1;
}

int on_button_release(X11Device& dev, XButtonEvent& b) {
  EventState& s = ev_state();
  XPoint p{static_cast<short>(b.x), static_cast<short>(b.y)};
  if (s.rubber_band != 0 && s.pt_ind > 0) {
    erase_band(dev);
    p = clamp_point(b.x, b.y);
  }
  s.rubber_band = 0;
  s.pt_ind = 0;
  char label[16];
  std::snprintf(label, sizeof label, "B%u-R", b.button);
  call_mouse(3, label + modifiers(b.state), world_x(p.x), world_y(p.y));
  return 1;
}

void on_motion(X11Device& dev, XMotionEvent& m) {
  EventState& s = ev_state();
  XEvent later;
  while (XCheckTypedEvent(dev.display(), MotionNotify, &later)) m = later.xmotion;
  if (s.rubber_band == 0 || s.pt_ind == 0) return;
  erase_band(dev);
  s.last = clamp_point(m.x, m.y);
  draw_band(dev, s.last);
  s.pt_ind = 2;
  XFlush(dev.display());
}

void on_configure(X11Device& dev) {
  if (gresize_window(-1, -1) == 0) return;
  const int old = dev.set_cursor(kCursorWait);
  ginit_plot(1);
  call_mouse(2, "size", static_cast<float>(dev.width()), static_cast<float>(dev.height()));
  if (window_device() == &dev) dev.set_cursor(old);
}

void on_client_message(X11Device& dev, XClientMessageEvent& c) {
  if (c.format != 8) return;
  if (c.data.b[0] == 2) {
    // Another program drew a picture: keep it in the frame list and give it
    // a clean drawable again.
    dev.set_title_extra("+");
    if (gget_num_images() > 0) {
      const int prev = gget_num_images() - 1;
      const int n = gcreate_frame(-1);
      gcopy_frame(n, prev);
      gswitch_frame(n, prev);
      gclear_frame(n);
    } else {
      gcreate_frame(0);
      gset_looping(1);
      gswitch_frame(0, GFRAME_BASE);
    }
    dev.set_title_extra("");
  } else if (c.data.b[0] == 9) {
    ev_state().input_mode = kModeDone;
    dev.set_title_extra("");
  }
}

// Sleeps up to `ms` milliseconds, waking early when an event arrives.
void nap(X11Device& dev, int ms) {
  if (XPending(dev.display()) > 0) return;
  pollfd fd{ConnectionNumber(dev.display()), POLLIN, 0};
  poll(&fd, 1, ms);
}

}  // namespace

void reset_events(Display* dpy, bool mapped) {
  EventState& s = ev_state();
  if (s.xor_gc != nullptr && dpy != nullptr) XFreeGC(dpy, s.xor_gc);
  s.xor_gc = nullptr;
  s.mapped = mapped;
  s.focused = false;
  s.expose_cnt = 0;
  s.input_mode = kModeIdle;
  s.rubber_band = 0;
  s.pt_ind = 0;
}

int process_event(XEvent& event) {
  X11Device* dev = window_device();
  if (dev == nullptr || event.xany.window != dev->window()) return 0;
  EventState& s = ev_state();
  if (event.type != Expose && event.type != ConfigureNotify) s.expose_cnt = 0;
  switch (event.type) {
    case Expose:
      if (s.expose_cnt++ == 0) gupdate_window();
      return 0;
    case MapNotify: s.mapped = true; return 0;
    case UnmapNotify: s.mapped = false; return 0;
    case FocusIn: s.focused = true; return 0;
    case FocusOut: s.focused = false; return 0;
    case ConfigureNotify: on_configure(*dev); return 0;
    case ClientMessage: on_client_message(*dev, event.xclient); return 0;
    case KeyPress: return on_key(*dev, event.xkey);
    case ButtonPress: return on_button_press(*dev, event.xbutton);
    case ButtonRelease: return on_button_release(*dev, event.xbutton);
    case MotionNotify: on_motion(*dev, event.xmotion); return 0;
    default: return 0;
  }
}

int run_hold(X11Device& dev) {
  EventState& s = ev_state();
  gcheck_event();
  XSync(dev.display(), False);
  if (gget_looping()) ZOR_init_time();
  gset_input_mode(1);
  auto next_refresh = Clock::now() + std::chrono::seconds(s.refresh);
  int quiet = 0;  // naps since the last event
  auto waiting = [&] {
    return window_device() == &dev && (s.input_mode == kModeWaiting || s.input_mode == kModeKey);
  };
  while (waiting()) {
    const int frames = gget_num_images();
    const bool animate = frames >= 2 && gget_looping();
    int events = 0;
    if (animate) {
      dev.set_cursor(kCursorLoop);
      gloop_sleep();
      if (!waiting()) break;
      // A loop stopped during the delay shows no further frame: a step key
      // pressed meanwhile has already chosen the frame to show.
      if (s.mapped && gget_looping()) gdisplay_frame(ginc_frame(0));
      ZOR_init_time();
      events = gcheck_event();
    } else if (s.refresh > 0) {
      dev.set_cursor(frames >= 2 ? kCursorStop : kCursorTcross);
      nap(dev, quiet < 50 ? 100 : 500);
      ++quiet;
      events = gcheck_event();
    } else {
      dev.set_cursor(frames >= 2 ? kCursorStop : kCursorTcross);
      events = gwait_event();
    }
    if (events > 0) quiet = 0;
    if (s.refresh > 0 && s.refresh_CB != nullptr && waiting() && Clock::now() >= next_refresh) {
      next_refresh += std::chrono::seconds(s.refresh);
      s.refresh_CB();
    }
  }
  if (window_device() != &dev) return 0;
  s.input_mode = kModeIdle;
  gbell(50);
  dev.set_cursor(kCursorX);
  XSync(dev.display(), False);
  return 0;
}

}  // namespace zor::gks::x11

using zor::gks::x11::ev_state;

int gcheck_event() {
  zor::gks::x11::X11Device* dev = zor::gks::x11::window_device();
  if (dev == nullptr || dev->display() == nullptr || gget_cache() == 0) return 0;
  int users = 0;
  while (XPending(dev->display()) > 0) {
    XEvent ev;
    XNextEvent(dev->display(), &ev);
    users += zor::gks::x11::process_event(ev);
    // A handler may have closed the window.
    if (zor::gks::x11::window_device() != dev) break;
  }
  ev_state().user_event += users;
  return users;
}

int gwait_event() {
  zor::gks::x11::X11Device* dev = zor::gks::x11::window_device();
  if (dev == nullptr || dev->display() == nullptr) return 0;
  XEvent ev;
  XPeekEvent(dev->display(), &ev);
  return gcheck_event();
}

int ginit_event(int cls) {
  auto& s = ev_state();
  s.rubber_band = 0;
  s.pt_ind = 0;
  s.rubber_band_lim[0] = s.rubber_band_lim[1] = {zor::gks::x11::kNoLimit, zor::gks::x11::kNoLimit};
  if (cls == 0) s.input_mode = zor::gks::x11::kModeIdle;
  const char* server = std::getenv("XSERVER");
  s.Xserver = server != nullptr && std::strcmp(server, "AIX_3005") == 0;
  return 1;
}

int gset_input_mode(int val) {
  ev_state().input_mode = val == 1 ? zor::gks::x11::kModeWaiting : zor::gks::x11::kModeIdle;
  return 1;
}

int gget_input_mode() {
  const int m = ev_state().input_mode;
  return m == zor::gks::x11::kModeWaiting || m == zor::gks::x11::kModeKey ? 1 : 0;
}

int gis_mapped() { return ev_state().mapped ? 1 : 0; }

int gset_mouse_callback(void (*func)(int, char*, float, float)) {
  ev_state().mouse_CB = func;
  return 1;
}

int gset_refresh_callback(int seconds, void (*func)()) {
  ev_state().refresh = std::max(0, seconds);
  ev_state().refresh_CB = func;
  return 1;
}

int gset_rubber_band(int type) {
  auto& s = ev_state();
  s.rubber_band = type >= 0 && type <= 3 ? type : 0;
  return 1;
}

int gset_rubber_band_points(const Gpt* pts, int n, int constraint) {
  auto& s = ev_state();
  if (n < 0 || n > 4 || (n > 0 && pts == nullptr)) return gerr_printf("gset_rubber_band_points", "invalid number of points: %d\n", n);
  for (int i = 0; i < n; ++i)
    s.pts[static_cast<std::size_t>(i)] = {static_cast<short>(pts[i].x), static_cast<short>(pts[i].y)};
  s.rubber_band_num = n;
  s.rubber_band_con = constraint;
  return 1;
}

int gset_rubber_band_limits(const Gpt* pts) {
  auto& s = ev_state();
  if (pts == nullptr) {
    s.rubber_band_lim[0] = s.rubber_band_lim[1] = {zor::gks::x11::kNoLimit, zor::gks::x11::kNoLimit};
    return 1;
  }
  for (int i = 0; i < 2; ++i)
    s.rubber_band_lim[static_cast<std::size_t>(i)] = {static_cast<short>(pts[i].x), static_cast<short>(pts[i].y)};
  return 1;
}

int gclear_region(const Glim* lim) {
  using namespace zor::gks;
  if (lim == nullptr) return gerr_printf("gclear_region", "no region given\n");
  if (!kernel().ws_open) return gerr_printf("gclear_region", "GKS not opened\n");
  if (is_meta()) {
    meta_printf("CLR_REG %f %f %f %f\n", static_cast<double>(lim->x_min), static_cast<double>(lim->y_min),
                static_cast<double>(lim->x_max), static_cast<double>(lim->y_max));
    return 0;
  }
  record_object(25, 0, lim, sizeof *lim);
  Device* dev = current_device();
  if (dev->units() == DeviceUnits::pixels) {
    const int x = static_cast<int>(std::lround(xW_p(lim->x_min)));
    const int y = static_cast<int>(std::lround(yW_p(lim->y_max)));
    const int w = static_cast<int>(std::lround(xW_p(lim->x_max) - xW_p(lim->x_min)));
    const int h = static_cast<int>(std::lround(yW_p(lim->y_min) - yW_p(lim->y_max)));
    dev->fill_rect(x, y, w, h, gget_back_color());
  } else if (is_ps()) {
    gps_printf("%%%%CLR\nnp\n");
    gps_move(lim->x_min, lim->y_min);
    gps_line(lim->x_max, lim->y_min);
    gps_line(lim->x_max, lim->y_max);
    gps_line(lim->x_min, lim->y_max);
    gps_printf("cp\n");
    gps_set_fill_color(-1);
    gps_printf("fill\n");
  }
  return 0;
}

int gmessage(Gint /*ws*/, const char* text) {
  using namespace zor::gks;
  if (text == nullptr || !kernel().ws_open) return 0;
  record_object(5, 0, text, std::strlen(text) + 1);
  if (is_meta()) meta_printf("ME %s\n", text);
  else if (is_ps()) gps_printf("%%%%Message: %s\n", text);
  return 0;
}
