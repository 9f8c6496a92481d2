// The X11 devices: an own top-level window with a back pixmap that all
// drawing goes to (type 1), or a drawable of another program named by an id
// string (type 6); frames as further pixmaps, captures read back with
// XGetImage, cursors, titles and the X error handlers.
#include "dev_x11.h"

#include <X11/Xatom.h>
#include <X11/cursorfont.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>

#include "gks_kernel.h"
#include "raster_canvas.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace zor::gks::x11 {
namespace {

inline constexpr int kIconSize = 48;
inline constexpr int kIconBytes = kIconSize * kIconSize / 8;
inline constexpr int kMaxErrors = 25;
inline constexpr int kDefaultWidth = 640;
inline constexpr int kDefaultHeight = 512;
inline constexpr int kDefaultPos = 100;

// The cursor-font shapes of the cursor numbers 0..8.
constexpr unsigned kCursorShapes[kNumCursors] = {XC_X_cursor, XC_left_ptr, XC_fleur,
                                                 XC_exchange, XC_dot,      XC_pencil,
                                                 XC_tcross,   XC_xterm,    XC_watch};

// The package's icon: a "Z" in a frame, one bit per pixel, rows of 6 bytes,
// least significant bit leftmost (X bitmap layout).
std::array<unsigned char, kIconBytes> default_icon() {
  std::array<unsigned char, kIconBytes> bits{};
  auto set = [&bits](int x, int y) {
    bits[static_cast<std::size_t>(y * (kIconSize / 8) + x / 8)] |= static_cast<unsigned char>(1U << (x % 8));
  };
  for (int i = 0; i < kIconSize; ++i) {
    set(i, 0), set(i, kIconSize - 1), set(0, i), set(kIconSize - 1, i);
  }
  for (int x = 8; x < 40; ++x)
    for (int t = 0; t < 4; ++t) set(x, 8 + t), set(x, 36 + t);
  for (int y = 12; y < 36; ++y)
    for (int t = 0; t < 4; ++t) set(std::clamp(39 - (y - 12) * 31 / 23 - t, 8, 39), y);
  return bits;
}

// Settings that exist before a window opens, and the X error counters.
struct X11Settings {
  std::string geometry;  // gset_geometry
  bool iconic = false;
  bool fixed_size = false;
  std::array<unsigned char, kIconBytes> icon_bits = default_icon();
  int pix_mode = 0;
  int cursor_type = 0;
  bool xerror = false;
  bool xerror_print = true;
  int num_error = 0;
  // The program is ending from an error handler: no more requests.
  bool leaving = false;
};

X11Settings& settings() {
  static X11Settings s;
  return s;
}

int Xerror_handler(Display* dpy, XErrorEvent* ev) {
  X11Settings& s = settings();
  s.xerror = true;
  if (s.xerror_print) {
    char text[160] = {}, request[160] = {}, number[16];
    XGetErrorText(dpy, ev->error_code, text, sizeof text);
    std::snprintf(number, sizeof number, "%d", ev->request_code);
    XGetErrorDatabaseText(dpy, "XRequest", number, number, request, sizeof request);
    MESS_print(M_ERROR, "X11 error: %s in %s\n", text, request);
  }
  if (++s.num_error >= kMaxErrors) {
    MESS_print(M_ERROR, "X11 error: too many errors\n");
    if (window_device() != nullptr) gdelete_all_frames();
    s.leaving = true;
    ZOR_exit(4);
  }
  return 0;
}

int XerrorIO_handler(Display* /*dpy*/) {
  // The connection is gone: the frames' pixmaps went with it.
  if (window_device() != nullptr) gforget_frames();
  settings().leaving = true;
  MESS_print(M_ERROR, "Fatal X11 Error\n");
  ZOR_exit(4);
}

unsigned channel16(float fraction) {
  return static_cast<unsigned>(std::clamp(fraction, 0.0f, 1.0f) * 65535.0f);
}

std::string geometry_string(Display* dpy) {
  if (!settings().geometry.empty()) return settings().geometry;
  if (const char* res = RES_get("geometry"); res != nullptr && *res != '\0') return res;
  const char* prog = gget_prog_name();
  if (const char* def = XGetDefault(dpy, *prog ? prog : "X11_Graph", "geometry"); def != nullptr) return def;
  return {};
}

bool ieq(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

// The id string of a foreign drawable: given, or read as the first word of
// an id file ("w<n>" → "zorloop.<n>", "w" → "zorloop.win").
bool id_string(const OpenRequest& req, std::string* id) {
  std::string s = req.items.size() > 1 ? req.items[1] : std::string();
  if (s.empty()) {
    const char* env = std::getenv("zorwindow");
    if (env == nullptr) env = std::getenv("WINDOW");
    if (env == nullptr || *env == '\0') {
      gerr_printf("gopen_ws", "window parameters not specified\n");
      return false;
    }
    s = env;
  }
  if (!std::isdigit(static_cast<unsigned char>(s[0])) && s[0] != '+') {
    std::string file = s;
    if (s[0] == 'w' || s[0] == 'W')
      file = s.size() > 1 && std::isdigit(static_cast<unsigned char>(s[1]))
                 ? "zorloop." + std::to_string(std::atoi(s.c_str() + 1))
                 : std::string("zorloop.win");
    std::ifstream in(file);
    if (!in || !(in >> s)) {
      gerr_printf("gopen_ws", "unable to open window id file\n");
      return false;
    }
  }
  *id = s;
  return true;
}

struct ForeignId {
  unsigned long root = 0;
  unsigned long pixmap = 0;
  int width = kDefaultWidth;
  int height = kDefaultHeight;
  unsigned long colormap = 0;
  bool user_cmap = false;
};

ForeignId parse_id(const std::string& s) {
  ForeignId id;
  unsigned long root = 0, pm = 0, cmap = 0;
  int w = 0, h = 0, n = 0;
  if (s[0] == '+') {
    n = std::sscanf(s.c_str() + 1, "%lu:%lu:%dx%d:%lu", &root, &pm, &w, &h, &cmap);
    if (n >= 1) id.root = root;
    if (n >= 2) id.pixmap = pm;
    if (n >= 4) id.width = w, id.height = h;
    if (n >= 5) id.colormap = cmap, id.user_cmap = true;
  } else {
    const bool hex = s.size() > 1 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    n = hex ? std::sscanf(s.c_str() + 2, "%lx:%dx%d:%lu", &pm, &w, &h, &cmap)
            : std::sscanf(s.c_str(), "%lu:%dx%d:%lu", &pm, &w, &h, &cmap);
    if (n >= 1) id.pixmap = pm;
    if (n >= 3) id.width = w, id.height = h;
    if (n >= 4) id.colormap = cmap, id.user_cmap = true;
  }
  if (id.root == 0) id.root = id.pixmap;
  return id;
}

// Window name without an extra part after " [" (the frame number).
std::string base_name(Display* dpy, Window w) {
  char* name = nullptr;
  const bool print = std::exchange(settings().xerror_print, false);
  XFetchName(dpy, w, &name);
  XSync(dpy, False);
  settings().xerror_print = print;
  std::string s = name != nullptr ? name : "";
  if (name != nullptr) XFree(name);
  if (auto pos = s.find(" ["); pos != std::string::npos) s.resize(pos);
  return s;
}

}  // namespace

X11Device* device() {
  return dynamic_cast<X11Device*>(current_device());
}

X11Device* window_device() {
  X11Device* d = device();
  return d != nullptr && d->type() == GWS_WINDOW ? d : nullptr;
}

int X11Device::open(const OpenRequest& request) {
  XSetErrorHandler(Xerror_handler);
  XSetIOErrorHandler(XerrorIO_handler);
  const std::string name = !request.items.empty() ? request.items[0] : std::string();
  // An item that names no display (a device keyword) leaves the default.
  const bool named = name.find(':') != std::string::npos;
  dpy_ = XOpenDisplay(named ? name.c_str() : nullptr);
  if (dpy_ == nullptr) {
    gerr_printf("gopen_ws", "unable to connect to display\n");
    return -1;
  }
  const int screen = DefaultScreen(dpy_);
  depth_ = DefaultDepth(dpy_, screen);
  visual_ = DefaultVisual(dpy_, screen);
  gset_def_cmap(DefaultColormap(dpy_, screen));
  gset_visual_masks(visual_->red_mask, visual_->green_mask, visual_->blue_mask);
  cells_.fill(Cell{});
  settings().num_error = 0;
  const int rc = type_ == GWS_PIXMAP ? open_foreign(request) : open_window(request);
  if (rc != 0) {
    XCloseDisplay(dpy_);
    dpy_ = nullptr;
  }
  return rc;
}

int X11Device::open_window(const OpenRequest& /*request*/) {
  const int screen = DefaultScreen(dpy_);
  gset_cache(1);
  const Kernel& k = kernel();
  int x = kDefaultPos, y = kDefaultPos;
  unsigned w = kDefaultWidth, h = kDefaultHeight;
  if (k.win_width > 0 && k.win_height > 0) w = static_cast<unsigned>(k.win_width), h = static_cast<unsigned>(k.win_height);
  XSizeHints hints{};
  hints.flags = PPosition | PSize;
  if (const std::string geo = geometry_string(dpy_); !geo.empty()) {
    int gx = 0, gy = 0;
    unsigned gw = 0, gh = 0;
    const int flags = XParseGeometry(geo.c_str(), &gx, &gy, &gw, &gh);
    if ((flags & WidthValue) && (flags & HeightValue) && gw > 0 && gh > 0) {
      w = gw, h = gh;
      hints.flags = (hints.flags & ~PSize) | USSize;
    }
    if ((flags & XValue) && (flags & YValue)) {
      x = gx, y = gy;
      if (flags & XNegative) x += DisplayWidth(dpy_, screen) - static_cast<int>(w);
      if (flags & YNegative) y += DisplayHeight(dpy_, screen) - static_cast<int>(h);
      hints.flags = (hints.flags & ~PPosition) | USPosition;
    }
  }
  hints.x = x, hints.y = y;
  hints.width = static_cast<int>(w), hints.height = static_cast<int>(h);
  if (settings().fixed_size) {
    hints.flags |= PMinSize | PMaxSize;
    hints.min_width = hints.max_width = hints.width;
    hints.min_height = hints.max_height = hints.height;
  }
  if (std::getenv("zorinverse") != nullptr) gset_inverse(1);
  const unsigned long black = BlackPixel(dpy_, screen), white = WhitePixel(dpy_, screen);
  background_ = gget_inverse() ? white : black;
  const unsigned long foreground = gget_inverse() ? black : white;

  XSetWindowAttributes attr{};
  attr.background_pixel = background_;
  attr.border_pixel = foreground;
  attr.backing_store = Always;
  attr.colormap = DefaultColormap(dpy_, screen);
  if (gget_local_colormap() != 0) {
    // A colormap of its own, so that other programs' colours stay free.
    own_cmap_ = XCreateColormap(dpy_, RootWindow(dpy_, screen), visual_, AllocNone);
    gset_user_cmap(own_cmap_);
    attr.colormap = own_cmap_;
  }
  attr.event_mask = KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask | EnterWindowMask |
                    LeaveWindowMask | ButtonMotionMask | ExposureMask | StructureNotifyMask |
                    FocusChangeMask;
  settings().xerror = false;
  win_ = XCreateWindow(dpy_, RootWindow(dpy_, screen), x, y, w, h, 5, depth_, InputOutput, visual_,
                       CWBackPixel | CWBorderPixel | CWBackingStore | CWColormap | CWEventMask, &attr);
  XSync(dpy_, False);
  if (win_ == None || settings().xerror) {
    gerr_printf("gopen_ws", "unable to open window\n");
    win_ = None;
    return -1;
  }
  title_ = k.win_title.empty() ? std::string("X11_Graph") : k.win_title;
  std::replace(title_.begin(), title_.end(), '_', ' ');
  XSetStandardProperties(dpy_, win_, title_.c_str(), title_.c_str(), None, nullptr, 0, &hints);

  XWMHints wm{};
  wm.flags = InputHint | StateHint | IconPixmapHint;
  wm.input = True;
  const char* prog = gget_prog_name();
  const char* iconic = XGetDefault(dpy_, *prog ? prog : "X11_Graph", "iconic");
  const char* icon_res = RES_get("icon");
  const bool icon_set = icon_res != nullptr && !ieq(icon_res, "no") && !ieq(icon_res, "off");
  const bool start_iconic = settings().iconic || icon_set || (iconic != nullptr && ieq(iconic, "on"));
  wm.initial_state = start_iconic ? IconicState : NormalState;
  icon_ = XCreatePixmapFromBitmapData(dpy_, win_, reinterpret_cast<char*>(settings().icon_bits.data()),
                                      kIconSize, kIconSize, black, white, 1);
  wm.icon_pixmap = icon_;
  XSetWMHints(dpy_, win_, &wm);
  std::string res_name = *prog ? prog : "X11_Graph";
  std::string res_class = "Zor";
  XClassHint cls{res_name.data(), res_class.data()};
  XSetClassHint(dpy_, win_, &cls);

  gc_ = XCreateGC(dpy_, win_, 0, nullptr);
  // Copies to the window would queue a NoExpose each, ending expose series.
  XSetGraphicsExposures(dpy_, gc_, False);
  width_ = static_cast<int>(w), height_ = static_cast<int>(h);
  back_ = XCreatePixmap(dpy_, win_, w, h, static_cast<unsigned>(depth_));
  target_id_ = 0;
  XMapWindow(dpy_, win_);
  XSync(dpy_, False);
  XEvent ev;
  XWindowEvent(dpy_, win_, ExposureMask | StructureNotifyMask, &ev);
  reset_events(nullptr, true);  // a context of an earlier connection is gone with it

  ginit_xcolr();
  XWindowAttributes wa{};
  if (XGetWindowAttributes(dpy_, win_, &wa) != 0 && (wa.width != width_ || wa.height != height_)) {
    XFreePixmap(dpy_, back_);
    width_ = wa.width, height_ = wa.height;
    back_ = XCreatePixmap(dpy_, win_, static_cast<unsigned>(width_), static_cast<unsigned>(height_),
                          static_cast<unsigned>(depth_));
  }
  XClearWindow(dpy_, win_);
  fill_all(back_, background_);
  for (int i = 0; i < kNumCursors; ++i) cursors_[static_cast<std::size_t>(i)] = XCreateFontCursor(dpy_, kCursorShapes[i]);
  XSync(dpy_, False);
  set_cursor(8);
  return 0;
}

int X11Device::open_foreign(const OpenRequest& request) {
  gset_redraw(0);
  // The foreign program owns its colormap's writable cells.
  gset_rw_colors(0);
  std::string id_text;
  if (!id_string(request, &id_text)) return -1;
  const ForeignId id = parse_id(id_text);
  if (id.pixmap == 0) {
    gerr_printf("gopen_ws", "window id not specified\n");
    return -1;
  }
  win_ = id.root;
  back_ = id.pixmap;
  own_back_ = false;
  width_ = std::max(1, id.width), height_ = std::max(1, id.height);
  if (id.user_cmap) gset_user_cmap(id.colormap);
  title_ = base_name(dpy_, win_);  // the root may be the pixmap itself: no name
  settings().xerror = false;
  gc_ = XCreateGC(dpy_, back_, 0, nullptr);
  XSetGraphicsExposures(dpy_, gc_, False);
  XSync(dpy_, False);
  if (settings().xerror) {
    gerr_printf("gopen_ws", "unable to use window id %s\n", id_text.c_str());
    return -1;
  }
  background_ = gget_inverse() ? WhitePixel(dpy_, DefaultScreen(dpy_)) : BlackPixel(dpy_, DefaultScreen(dpy_));
  if (settings().pix_mode == 2) {
    // Ask the loop window to file the last picture; it marks its title with
    // "+" until it has.
    send_loop_message(*this, 2);
    for (int i = 0; i < 50; ++i) {
      char* name = nullptr;
      const bool print = std::exchange(settings().xerror_print, false);
      XFetchName(dpy_, win_, &name);
      XSync(dpy_, False);
      settings().xerror_print = print;
      const bool marked = name != nullptr && std::strchr(name, '+') != nullptr;
      if (name != nullptr) XFree(name);
      if (!marked) break;
      ZOR_sleep(0.2f);
    }
  }
  ginit_xcolr();
  const std::string geo = geometry_string(dpy_);
  if (!geo.empty() && (geo[0] == 'P' || geo[0] == 'p')) {
    // A panel: sizes above 1 count panels, offsets count panels from the top.
    float fw = 1, fh = 1, fx = 0, fy = 0;
    std::sscanf(geo.c_str() + 1, "%fx%f+%f+%f", &fw, &fh, &fx, &fy);
    if (fw > 1) fw = 1.0f / std::clamp(fw, 1.0f, 8.0f);
    if (fh > 1) fh = 1.0f / std::clamp(fh, 1.0f, 8.0f);
    const int pw = static_cast<int>(static_cast<float>(width_) * fw);
    const int ph = static_cast<int>(static_cast<float>(height_) * fh);
    x_off_ = static_cast<int>(fx * static_cast<float>(pw));
    y_off_ = static_cast<int>(fy * static_cast<float>(ph));
    width_ = std::max(1, pw), height_ = std::max(1, ph);
  } else if (!geo.empty()) {
    int gw = 0, gh = 0, gx = 0, gy = 0;
    const int n = std::sscanf(geo.c_str(), "%dx%d+%d+%d", &gw, &gh, &gx, &gy);
    if (n >= 2 && gw > 0 && gh > 0) width_ = std::min(width_, gw), height_ = std::min(height_, gh);
    if (n == 4) x_off_ = gx, y_off_ = gy;
  }
  target_id_ = 0;
  return 0;
}

int X11Device::reinit(int /*dev_class*/) {
  if (dpy_ == nullptr) return -1;
  XSync(dpy_, False);
  return 0;
}

int X11Device::close() {
  if (dpy_ == nullptr) return -1;
  // On the way out of an error handler (exit runs the kernel's destructor)
  // the handler's caller still holds the connection waiting for a reply, so
  // a request would wait for ever, and on a broken connection it would fail
  // again: the server releases this client's resources when the process ends.
  if (!settings().leaving) release_server_side();
  pixmaps_.clear();
  own_cmap_ = None;
  dpy_ = nullptr;
  gc_ = nullptr;
  font_ = nullptr;
  back_ = win_ = icon_ = None;
  cursors_.fill(None);
  return 0;
}

void X11Device::release_server_side() {
  if (type_ == GWS_WINDOW) {
    gdelete_all_frames();
    greset_zoom();
    gclear_objs();
    reset_events(dpy_, false);
  }
  for (auto& [id, pm] : pixmaps_) XFreePixmap(dpy_, pm);
  if (font_ != nullptr) XFreeFont(dpy_, font_);
  if (gc_ != nullptr) XFreeGC(dpy_, gc_);
  if (own_back_ && back_ != None) XFreePixmap(dpy_, back_);
  if (type_ == GWS_WINDOW && win_ != None) {
    XUnmapWindow(dpy_, win_);
    XDestroyWindow(dpy_, win_);
  }
  if (icon_ != None) XFreePixmap(dpy_, icon_);
  for (Cursor c : cursors_)
    if (c != None) XFreeCursor(dpy_, c);
  if (own_cmap_ != None) {
    XFreeColormap(dpy_, own_cmap_);
    gset_user_cmap(0);
  }
  if (type_ == GWS_PIXMAP && settings().pix_mode == 9) send_loop_message(*this, 9);
  XSync(dpy_, False);
  XCloseDisplay(dpy_);
}

void X11Device::fill_all(Drawable d, unsigned long pixel) {
  XSetClipMask(dpy_, gc_, None);
  XSetFunction(dpy_, gc_, GXcopy);
  XSetFillStyle(dpy_, gc_, FillSolid);
  XSetForeground(dpy_, gc_, pixel);
  XFillRectangle(dpy_, d, gc_, x_off_, y_off_, static_cast<unsigned>(width_), static_cast<unsigned>(height_));
}

void X11Device::clear(int background_pixel) {
  if (dpy_ == nullptr) return;
  if (background_pixel >= 0) background_ = static_cast<unsigned long>(background_pixel);
  fill_all(target(), background_);
  // Clearing the window's picture starts a new one: nothing to redraw.
  if (target_id_ == 0 && type_ == GWS_WINDOW) gclear_objs();
}

void X11Device::fill_pixmap(unsigned long id, int pixel) {
  const Pixmap pm = pixmap(id);
  if (dpy_ == nullptr || pm == None) return;
  fill_all(pm, pixel >= 0 ? static_cast<unsigned long>(pixel) : background_);
}

void X11Device::fill_rect(int x, int y, int width, int height, int pixel) {
  if (dpy_ == nullptr || width <= 0 || height <= 0) return;
  XSetClipMask(dpy_, gc_, None);
  XSetFillStyle(dpy_, gc_, FillSolid);
  XSetForeground(dpy_, gc_, pixel >= 0 ? static_cast<unsigned long>(pixel) : background_);
  XFillRectangle(dpy_, target(), gc_, x, y, static_cast<unsigned>(width), static_cast<unsigned>(height));
}

void X11Device::set_clip(const DevRect& clip) {
  if (dpy_ == nullptr) return;
  XRectangle r;
  r.x = static_cast<short>(std::lround(clip.x_min));
  r.y = static_cast<short>(std::lround(clip.y_min));
  r.width = static_cast<unsigned short>(std::max(0L, std::lround(clip.x_max - clip.x_min) + 1));
  r.height = static_cast<unsigned short>(std::max(0L, std::lround(clip.y_max - clip.y_min) + 1));
  XSetClipRectangles(dpy_, gc_, 0, 0, &r, 1, Unsorted);
}

std::vector<XPoint>& X11Device::to_points(std::span<const DevPoint> pts) {
  xpts_.clear();
  for (const DevPoint& p : pts)
    xpts_.push_back({static_cast<short>(std::lround(std::clamp(p.x, -30000.0f, 30000.0f))),
                     static_cast<short>(std::lround(std::clamp(p.y, -30000.0f, 30000.0f)))});
  return xpts_;
}

namespace {
// On/off lengths of the line types 2..5.
struct DashList {
  char len[4];
  int n;
};
constexpr DashList kDashLists[4] = {{{6, 6}, 2}, {{3, 6}, 2}, {{6, 6, 3, 6}, 4}, {{2, 2}, 2}};
}  // namespace

void X11Device::polyline(std::span<const DevPoint> pts, const Pen& pen) { draw_lines(pts, pen, CapButt); }

void X11Device::draw_lines(std::span<const DevPoint> pts, const Pen& pen, int cap) {
  if (dpy_ == nullptr || pts.empty()) return;
  if (!pen.shadow && pen.pixel < 0) return;  // colour never realised
  XSetForeground(dpy_, gc_,
                 pen.shadow ? BlackPixel(dpy_, DefaultScreen(dpy_)) : static_cast<unsigned long>(pen.pixel));
  // Widths up to 1 draw thin lines, wider ones their rounded width.
  const int width = pen.width <= 1.0f ? 0 : static_cast<int>(std::lround(pen.width));
  int style = LineSolid;
  if (group_ == Group::none && pen.line_type != 1) {
    if (pen.line_type >= 2 && pen.line_type <= 5) last_dash_list_ = pen.line_type - 2;
    const DashList& d = kDashLists[last_dash_list_];
    XSetDashes(dpy_, gc_, 0, d.len, d.n);
    style = LineOnOffDash;
  }
  XSetLineAttributes(dpy_, gc_, static_cast<unsigned>(width), style, cap, JoinMiter);
  XSetFillStyle(dpy_, gc_, FillSolid);
  auto& xp = to_points(pts);
  if (xp.size() == 1)
    XDrawPoint(dpy_, target(), gc_, xp[0].x, xp[0].y);
  else
    XDrawLines(dpy_, target(), gc_, xp.data(), static_cast<int>(xp.size()), CoordModeOrigin);
}

void X11Device::fill_area(std::span<const DevPoint> pts, const FillStyle& fill) {
  if (dpy_ == nullptr || pts.empty() || fill.pixel < 0) return;
  XSetForeground(dpy_, gc_, static_cast<unsigned long>(fill.pixel));
  XSetLineAttributes(dpy_, gc_, 0, LineSolid, CapButt, JoinMiter);
  Pixmap stipple = None;
  if (fill.interior == GPAT) {
    const FillPattern& pat = pattern(fill.pattern);
    stipple = XCreateBitmapFromData(dpy_, target(), reinterpret_cast<const char*>(pat), 8, 8);
    XSetStipple(dpy_, gc_, stipple);
    XSetFillStyle(dpy_, gc_, FillStippled);
  } else {
    XSetFillStyle(dpy_, gc_, FillSolid);
  }
  auto& xp = to_points(pts);
  const int n = static_cast<int>(xp.size());
  XSetFillRule(dpy_, gc_, EvenOddRule);
  if (n >= 3) XFillPolygon(dpy_, target(), gc_, xp.data(), n, Complex, CoordModeOrigin);
  if (n >= 2) XDrawLines(dpy_, target(), gc_, xp.data(), n, CoordModeOrigin);
  XSetFillStyle(dpy_, gc_, FillSolid);
  if (stipple != None) XFreePixmap(dpy_, stipple);
}

bool X11Device::load_native_font(std::string_view name) {
  if (dpy_ == nullptr || name.empty()) return false;
  const std::string n(name);
  XFontStruct* f = XLoadQueryFont(dpy_, n.c_str());
  if (f == nullptr) return false;
  if (font_ != nullptr) XFreeFont(dpy_, font_);
  font_ = f;
  XSetFont(dpy_, gc_, font_->fid);
  return true;
}

bool X11Device::native_text_extent(std::string_view text, int* width, int* ascent, int* descent) {
  if (dpy_ == nullptr || font_ == nullptr) return false;
  *width = XTextWidth(font_, text.data(), static_cast<int>(text.size()));
  *ascent = font_->ascent;
  *descent = font_->descent;
  return true;
}

void X11Device::native_text(const DevPoint& pos, std::string_view text, const Pen& pen) {
  if (dpy_ == nullptr || font_ == nullptr) return;
  if (!pen.shadow && pen.pixel < 0) return;
  XSetForeground(dpy_, gc_,
                 pen.shadow ? BlackPixel(dpy_, DefaultScreen(dpy_)) : static_cast<unsigned long>(pen.pixel));
  XSetFillStyle(dpy_, gc_, FillSolid);
  XDrawString(dpy_, target(), gc_, static_cast<int>(std::lround(pos.x)), static_cast<int>(std::lround(pos.y)),
              text.data(), static_cast<int>(text.size()));
}

int X11Device::set_color_rep(int ind, float r, float g, float b) {
  if (dpy_ != nullptr && visual_ != nullptr && visual_->c_class != TrueColor && ind >= 0 &&
      ind < static_cast<int>(cells_.size()))
    return alloc_cell(ind, r, g, b);
  return static_cast<int>(gget_color_rgb_Xval(static_cast<int>(channel16(r)), static_cast<int>(channel16(g)),
                                              static_cast<int>(channel16(b))));
}

int X11Device::alloc_cell(int ind, float r, float g, float b) {
  const Colormap cmap = gget_colormap();
  Cell& cell = cells_[static_cast<std::size_t>(ind)];
  const bool fresh = cell.pixel < 0;
  XColor c{};
  c.red = static_cast<unsigned short>(channel16(r));
  c.green = static_cast<unsigned short>(channel16(g));
  c.blue = static_cast<unsigned short>(channel16(b));
  c.flags = DoRed | DoGreen | DoBlue;
  // The background takes a shared cell, like the screen's black and white.
  if (fresh && ind != static_cast<int>(cells_.size()) - 1 && gget_rw_colors() != 0) {
    unsigned long pixel = 0;
    if (XAllocColorCells(dpy_, cmap, False, nullptr, 0, &pixel, 1) != 0) {
      cell = {static_cast<long>(pixel), true};
    } else {
      gset_rw_colors(0);  // a full colormap stays full: shared cells from now on
      MESS_print(M_DEBUG, "Allocated RW Cells: %d\n", 0);
    }
  }
  const char* what = nullptr;
  if (cell.rw) {
    // Everything already drawn with this cell changes colour with it.
    c.pixel = static_cast<unsigned long>(cell.pixel);
    XStoreColor(dpy_, cmap, &c);
    XQueryColor(dpy_, cmap, &c);
    what = fresh ? "Stored new RW Cells" : "Stored RW Cells";
  } else {
    // An earlier shared cell of the index is kept: pictures already drawn
    // with it (frames of a loop among them) keep their colours.
    const XColor want = c;
    if (XAllocColor(dpy_, cmap, &c) == 0) {
      c.pixel = nearest_cell(cmap, want);
      XQueryColor(dpy_, cmap, &c);
    }
    cell = {static_cast<long>(c.pixel), false};
    what = fresh ? "Allocated new RW Cells" : "Allocated RW Cells";
  }
  MESS_print(M_DEBUG, "%s: %d %d (%.2f %.2f %.2f) (%5d %5d %5d)\n", what, ind, static_cast<int>(c.pixel), r, g, b,
             c.red, c.green, c.blue);
  XSync(dpy_, False);
  return static_cast<int>(cell.pixel);
}

unsigned long X11Device::nearest_cell(Colormap cmap, const XColor& want) const {
  std::vector<XColor> cells(static_cast<std::size_t>(std::max(visual_->map_entries, 1)));
  for (std::size_t i = 0; i < cells.size(); ++i) cells[i].pixel = i;
  XQueryColors(dpy_, cmap, cells.data(), static_cast<int>(cells.size()));
  auto dist = [&want](const XColor& c) {
    const double dr = c.red - want.red, dg = c.green - want.green, db = c.blue - want.blue;
    return dr * dr + dg * dg + db * db;
  };
  const auto best = std::min_element(cells.begin(), cells.end(),
                                     [&dist](const XColor& a, const XColor& b) { return dist(a) < dist(b); });
  MESS_print(M_DEBUG, "No free color cell: nearest %d\n", static_cast<int>(best->pixel));
  return best->pixel;
}

void X11Device::flush() {
  if (dpy_ == nullptr) return;
  if (type_ == GWS_WINDOW) show_pixmap(0);
  XSync(dpy_, False);
}

void X11Device::set_title(std::string_view title) {
  title_ = title;
  std::replace(title_.begin(), title_.end(), '_', ' ');
  if (dpy_ == nullptr || type_ != GWS_WINDOW) return;
  XStoreName(dpy_, win_, title_.c_str());
  XSetIconName(dpy_, win_, title_.c_str());
  extra_.clear();
}

void X11Device::set_title_extra(const std::string& extra) {
  extra_ = extra;
  if (dpy_ == nullptr || type_ != GWS_WINDOW) return;
  const std::string name = extra.empty() ? title_ : title_ + " " + extra;
  XStoreName(dpy_, win_, name.c_str());
  XFlush(dpy_);
}

int X11Device::set_cursor(int type) {
  const int was = cursor_;
  if (dpy_ == nullptr || type_ != GWS_WINDOW || type < 0 || type >= kNumCursors) return was;
  cursor_ = type;
  if (cursors_[static_cast<std::size_t>(type)] != None)
    XDefineCursor(dpy_, win_, cursors_[static_cast<std::size_t>(type)]);
  XSync(dpy_, False);
  return was;
}

bool X11Device::query_size(int* width, int* height) const {
  if (dpy_ == nullptr || type_ != GWS_WINDOW) return false;
  XWindowAttributes wa{};
  if (XGetWindowAttributes(dpy_, win_, &wa) == 0) return false;
  *width = wa.width, *height = wa.height;
  return true;
}

void X11Device::resize(int width, int height, bool set_window) {
  if (dpy_ == nullptr || width <= 0 || height <= 0) return;
  XClearWindow(dpy_, win_);
  if (set_window) XResizeWindow(dpy_, win_, static_cast<unsigned>(width), static_cast<unsigned>(height));
  const Pixmap pm = XCreatePixmap(dpy_, win_, static_cast<unsigned>(width), static_cast<unsigned>(height),
                                  static_cast<unsigned>(depth_));
  const int old_w = width_, old_h = height_;
  width_ = width, height_ = height;
  fill_all(pm, background_);
  XCopyArea(dpy_, back_, pm, gc_, 0, 0, static_cast<unsigned>(std::min(old_w, width)),
            static_cast<unsigned>(std::min(old_h, height)), 0, 0);
  XFreePixmap(dpy_, back_);
  back_ = pm;
  target_id_ = 0;
  XSync(dpy_, False);
}

unsigned long X11Device::create_pixmap() {
  if (dpy_ == nullptr) return 0;
  const Pixmap pm = XCreatePixmap(dpy_, win_, static_cast<unsigned>(width_ + x_off_),
                                  static_cast<unsigned>(height_ + y_off_), static_cast<unsigned>(depth_));
  fill_all(pm, background_);
  const unsigned long id = next_id_++;
  pixmaps_.emplace(id, pm);
  return id;
}

void X11Device::free_pixmap(unsigned long id) {
  auto it = pixmaps_.find(id);
  if (it == pixmaps_.end()) return;
  XFreePixmap(dpy_, it->second);
  pixmaps_.erase(it);
  if (target_id_ == id) target_id_ = 0;
}

unsigned long X11Device::adopt_pixmap(unsigned long id, unsigned long native) {
  if (dpy_ == nullptr || native == None) return 0;
  if (id == 0) id = next_id_++;
  // The frame's own pixmap makes way; the new one is released with the frame.
  if (auto it = pixmaps_.find(id); it != pixmaps_.end() && it->second != native) XFreePixmap(dpy_, it->second);
  pixmaps_[id] = native;
  return id;
}

bool X11Device::swap_pixmaps(unsigned long a, unsigned long b) {
  if (dpy_ == nullptr || a == b) return false;
  if (a != 0 && b != 0) {
    auto ia = pixmaps_.find(a), ib = pixmaps_.find(b);
    if (ia == pixmaps_.end() || ib == pixmaps_.end()) return false;
    std::swap(ia->second, ib->second);
  } else {
    const unsigned long other = a == 0 ? b : a;
    auto it = pixmaps_.find(other);
    if (it == pixmaps_.end() || !own_back_) return false;
    std::swap(it->second, back_);
  }
  // The drawing target is a picture: it follows the exchange.
  if (target_id_ == a) target_id_ = b;
  else if (target_id_ == b) target_id_ = a;
  return true;
}

bool X11Device::set_draw_target(unsigned long id) {
  if (dpy_ == nullptr || pixmap(id) == None) return false;
  target_id_ = id;
  return true;
}

bool X11Device::copy_pixmap(unsigned long from, unsigned long to) {
  const Pixmap src = pixmap(from), dst = pixmap(to);
  if (dpy_ == nullptr || src == None || dst == None) return false;
  XSetClipMask(dpy_, gc_, None);
  XSetFunction(dpy_, gc_, GXcopy);
  XCopyArea(dpy_, src, dst, gc_, x_off_, y_off_, static_cast<unsigned>(width_), static_cast<unsigned>(height_),
            x_off_, y_off_);
  return true;
}

bool X11Device::show_pixmap(unsigned long id) {
  const Pixmap src = pixmap(id);
  if (dpy_ == nullptr || src == None) return false;
  if (type_ != GWS_WINDOW) {
    // The foreign program shows its drawable itself.
    if (id != 0) copy_pixmap(id, 0);
    XFlush(dpy_);
    return true;
  }
  XSetClipMask(dpy_, gc_, None);
  XSetFunction(dpy_, gc_, GXcopy);
  XCopyArea(dpy_, src, win_, gc_, 0, 0, static_cast<unsigned>(width_), static_cast<unsigned>(height_), 0, 0);
  XFlush(dpy_);
  return true;
}

int X11Device::capture(IMG_report& image) {
  if (dpy_ == nullptr) return 0;
  XSync(dpy_, False);
  XImage* xi = XGetImage(dpy_, target(), x_off_, y_off_, static_cast<unsigned>(width_),
                         static_cast<unsigned>(height_), AllPlanes, ZPixmap);
  if (xi == nullptr) {
    MESS_print(M_WARN, "gget_image: Unable to get image at %dx%d+%d+%d\n", width_, height_, x_off_, y_off_);
    return 0;
  }
  const std::size_t total = static_cast<std::size_t>(xi->bytes_per_line) * static_cast<std::size_t>(xi->height);
  auto* data = static_cast<unsigned char*>(std::malloc(total > 0 ? total : 1));
  if (data == nullptr) {
    XDestroyImage(xi);
    MESS_print(M_WARN, "gget_image: Unable to allocate data buffer.\n");
    return 0;
  }
  std::memcpy(data, xi->data, total);
  std::free(image.data);
  image.data = data;
  image.width = xi->width;
  image.height = xi->height;
  image.depth = xi->depth;
  image.bits_pixel = xi->bits_per_pixel;
  image.bytes_line = xi->bytes_per_line;
  image.byte_order = xi->byte_order == MSBFirst ? 1 : 0;
  image.color_type = 0;
  image.num_colors = 0;
  image.red = static_cast<unsigned>(xi->red_mask);
  image.grn = static_cast<unsigned>(xi->green_mask);
  image.blu = static_cast<unsigned>(xi->blue_mask);
  const std::string info = title_.empty() ? std::string("xwdump") : title_;
  std::snprintf(image.info, sizeof image.info, "%s", info.c_str());
  XDestroyImage(xi);
  if (!capture_colors(image)) {
    std::free(image.data);
    image.data = nullptr;
    return 0;
  }
  XFlush(dpy_);
  return 1;
}

bool X11Device::capture_colors(IMG_report& image) const {
  const Colormap cmap = gget_colormap();
  if (cmap == 0 || visual_ == nullptr) return true;
  if (visual_->c_class == TrueColor) {
    if (image.red == 0 && image.grn == 0 && image.blu == 0) {
      image.red = static_cast<unsigned>(visual_->red_mask);
      image.grn = static_cast<unsigned>(visual_->green_mask);
      image.blu = static_cast<unsigned>(visual_->blue_mask);
    }
    return true;
  }
  const int n = visual_->map_entries;
  if (n <= 0) return true;
  std::vector<XColor> cells(static_cast<std::size_t>(n));
  if (visual_->c_class == DirectColor) {
    // Pixel i has i in every channel: each channel counts in steps of its
    // lowest mask bit and wraps to 0 past its mask.
    const unsigned long masks[3] = {visual_->red_mask, visual_->green_mask, visual_->blue_mask};
    unsigned long count[3] = {0, 0, 0};
    for (auto& c : cells) {
      c.pixel = count[0] | count[1] | count[2];
      for (int k = 0; k < 3; ++k) {
        count[k] += masks[k] & (~masks[k] + 1);
        if (count[k] > masks[k]) count[k] = 0;
      }
    }
  } else {
    for (std::size_t i = 0; i < cells.size(); ++i) cells[i].pixel = i;
  }
  XQueryColors(dpy_, cmap, cells.data(), n);
  auto* colors = static_cast<IMG_color*>(std::malloc(static_cast<std::size_t>(n) * sizeof(IMG_color)));
  if (colors == nullptr) {
    MESS_print(M_WARN, "gget_image: Unable to allocate memory for colors\n");
    return false;
  }
  auto fraction = [](unsigned short v) {
    const float f = static_cast<float>(v) / 65535.0f;
    return f > 0.99f ? 1.0f : f;
  };
  for (int i = 0; i < n; ++i) {
    const XColor& c = cells[static_cast<std::size_t>(i)];
    colors[i] = IMG_color{fraction(c.red), fraction(c.green), fraction(c.blue)};
  }
  std::free(image.colors);
  image.colors = colors;
  image.num_colors = n;
  image.color_type = 1;
  return true;
}

bool X11Device::put_pixels(const IMG_report& image, const std::uint8_t* mask, int x, int y) {
  if (dpy_ == nullptr || image.data == nullptr || image.width <= 0 || image.height <= 0) return false;
  // The record's pixels go through an image in the server's own layout.
  XImage* xi = XCreateImage(dpy_, visual_, static_cast<unsigned>(depth_), ZPixmap, 0, nullptr,
                            static_cast<unsigned>(image.width), static_cast<unsigned>(image.height), 32, 0);
  if (xi == nullptr) return false;
  xi->data = static_cast<char*>(std::malloc(static_cast<std::size_t>(xi->bytes_per_line) *
                                            static_cast<std::size_t>(image.height)));
  if (xi->data == nullptr) {
    XDestroyImage(xi);
    return false;
  }
  for (int iy = 0; iy < image.height; ++iy) {
    const unsigned char* row = image.data + static_cast<std::size_t>(iy) * static_cast<std::size_t>(image.bytes_line);
    for (int ix = 0; ix < image.width; ++ix)
      XPutPixel(xi, ix, iy, raster::stored_pixel(row, ix, image.bits_pixel, image.byte_order != 0));
  }
  Pixmap clip = None;
  if (mask != nullptr) {
    clip = XCreateBitmapFromData(dpy_, win_, reinterpret_cast<const char*>(mask),
                                 static_cast<unsigned>(image.width), static_cast<unsigned>(image.height));
    XSetClipMask(dpy_, gc_, clip);
    XSetClipOrigin(dpy_, gc_, x, y);
  } else {
    XSetClipMask(dpy_, gc_, None);
  }
  XSetFunction(dpy_, gc_, GXcopy);
  XPutImage(dpy_, target(), gc_, xi, 0, 0, x, y, static_cast<unsigned>(image.width),
            static_cast<unsigned>(image.height));
  XSetClipMask(dpy_, gc_, None);
  XSetClipOrigin(dpy_, gc_, 0, 0);
  if (clip != None) XFreePixmap(dpy_, clip);
  XDestroyImage(xi);
  return true;
}

int X11Device::hold() {
  if (dpy_ == nullptr || type_ != GWS_WINDOW) return 0;
  return run_hold(*this);
}

void send_loop_message(X11Device& dev, int what) {
  Display* dpy = dev.display();
  if (dpy == nullptr) return;
  XEvent ev{};
  ev.xclient.type = ClientMessage;
  ev.xclient.display = dpy;
  ev.xclient.window = dev.window();
  ev.xclient.message_type = XA_NOTICE;
  ev.xclient.format = 8;
  ev.xclient.data.b[0] = static_cast<char>(what);
  const bool print = std::exchange(settings().xerror_print, false);
  XSendEvent(dpy, dev.window(), True, NoEventMask, &ev);
  XSync(dpy, False);
  settings().xerror_print = print;
}

}  // namespace zor::gks::x11

namespace zor::gks {
std::unique_ptr<Device> make_window_device() { return std::make_unique<x11::X11Device>(GWS_WINDOW); }
std::unique_ptr<Device> make_pixmap_device() { return std::make_unique<x11::X11Device>(GWS_PIXMAP); }
}  // namespace zor::gks

using zor::gks::x11::settings;

int gset_geometry(const char* geometry) {
  settings().geometry = geometry != nullptr ? geometry : "";
  return 1;
}
int gset_iconic(int val) {
  settings().iconic = val != 0;
  return 1;
}
int gset_fixed_size(int val) {
  settings().fixed_size = val != 0;
  return 1;
}
int gset_icon_bitmap(const unsigned char* bits) {
  if (bits == nullptr) return 0;
  std::memcpy(settings().icon_bits.data(), bits, settings().icon_bits.size());
  return 1;
}
int gset_pix_mode(int val) {
  settings().pix_mode = val;
  return 1;
}
int gget_pix_mode() { return settings().pix_mode; }
int gset_xerror_print(int val) {
  const int was = settings().xerror_print ? 1 : 0;
  settings().xerror_print = val != 0;
  return was;
}
int gget_xerror() { return settings().xerror ? 1 : 0; }
int gget_num_xerrors() { return settings().num_error; }
int gclear_xerror() {
  settings().xerror = false;
  return 1;
}

int gset_cursor(int type) {
  zor::gks::x11::X11Device* dev = zor::gks::x11::window_device();
  if (dev == nullptr) return settings().cursor_type;
  return dev->set_cursor(type);
}
int gset_cursor_type(int type) {
  settings().cursor_type = type;
  return gset_cursor(type);
}
int gget_cursor_type() {
  zor::gks::x11::X11Device* dev = zor::gks::x11::window_device();
  return dev != nullptr ? dev->cursor() : settings().cursor_type;
}

int gbell(int len) {
  zor::gks::x11::X11Device* dev = zor::gks::x11::window_device();
  if (dev == nullptr) return 0;
  XBell(dev->display(), len == 0 ? 50 : len);
  XFlush(dev->display());
  return 1;
}

int gsync() {
  zor::gks::x11::X11Device* dev = zor::gks::x11::device();
  if (dev == nullptr || dev->display() == nullptr) return 0;
  XSync(dev->display(), False);
  return 1;
}

int gset_win_title_extra(const char* str) {
  zor::gks::x11::X11Device* dev = zor::gks::x11::window_device();
  if (dev == nullptr) return 0;
  dev->set_title_extra(str != nullptr ? str : "");
  return 1;
}

int gget_win_title_extra(char* str, int size) {
  zor::gks::x11::X11Device* dev = zor::gks::x11::window_device();
  if (str == nullptr || size <= 0) return 0;
  const std::string extra = dev != nullptr ? dev->title_extra() : std::string();
  if (static_cast<int>(extra.size()) >= size) {
    str[0] = '\0';
    return gerr_printf("gget_win_title_extra", "buffer of %d too small\n", size);
  }
  std::snprintf(str, static_cast<std::size_t>(size), "%s", extra.c_str());
  return 1;
}

int gresize_window(int width, int height) {
  zor::gks::x11::X11Device* dev = zor::gks::x11::window_device();
  if (dev == nullptr) return 0;
  if (width > 0 && height > 0) {
    dev->resize(width, height, true);
  } else {
    int w = 0, h = 0;
    if (!dev->query_size(&w, &h) || (w == dev->width() && h == dev->height())) return 0;
    dev->resize(w, h, false);
  }
  greset_zoom();
  gdelete_all_frames();
  gset_win_size(dev->width(), dev->height());
  return 1;
}

int gget_root_size(int* width, int* height) {
  zor::gks::x11::X11Device* dev = zor::gks::x11::device();
  if (dev == nullptr) return 0;
  if (width != nullptr) *width = dev->width();
  if (height != nullptr) *height = dev->height();
  return 1;
}

unsigned long gget_display_id() {
  zor::gks::x11::X11Device* dev = zor::gks::x11::device();
  return dev != nullptr ? reinterpret_cast<unsigned long>(dev->display()) : 0;
}
unsigned long gget_root_window() {
  zor::gks::x11::X11Device* dev = zor::gks::x11::device();
  return dev != nullptr ? dev->window() : 0;
}
unsigned long gget_base_window() {
  // Any raster device: the in-memory one names its pictures as well.
  const zor::gks::Device* dev = zor::gks::current_device();
  return dev != nullptr ? dev->native_pixmap(0) : 0;
}

const char* gget_xdefault(const char* option) {
  zor::gks::x11::X11Device* dev = zor::gks::x11::device();
  if (dev == nullptr || dev->display() == nullptr || option == nullptr) return nullptr;
  const char* prog = gget_prog_name();
  return XGetDefault(dev->display(), *prog ? prog : "X11_Graph", option);
}
