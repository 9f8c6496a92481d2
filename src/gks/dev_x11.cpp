// The X11 window device: a window with a back pixmap that all drawing goes
// to, frames as further pixmaps, captures read back with XGetImage.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <poll.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "device.h"
#include "gks_kernel.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/mess.h"

namespace zor::gks {
namespace {

unsigned channel16(float fraction) {
  return static_cast<unsigned>(std::clamp(fraction, 0.0f, 1.0f) * 65535.0f);
}

class X11Device : public Device {
 public:
  ~X11Device() override { close(); }

  int open(const OpenRequest& request) override;
  int close() override;
  int init_class() const override { return kClassX11; }
  DeviceUnits units() const override { return DeviceUnits::pixels; }
  DeviceSize size() const override { return {width_, height_, 0, 0}; }

  void clear(int background_pixel) override;
  void set_clip(const DevRect& clip) override;
  void polyline(std::span<const DevPoint> pts, const Pen& pen) override;
  void fill_area(std::span<const DevPoint> pts, const FillStyle& fill) override;
  void begin_group(const GroupInfo& info, const Pen& /*pen*/) override {
    group_ = info.kind == GroupKind::text ? Group::text : Group::markers;
  }
  void stroke(std::span<const DevPoint> pts, const Pen& pen) override {
    draw_lines(pts, pen, group_ == Group::text ? CapProjecting : CapButt);
  }
  void end_group() override { group_ = Group::none; }
  int set_color_rep(int ind, float r, float g, float b) override;
  void flush() override { show_pixmap(target_id_); }
  void set_title(std::string_view title) override;
  int hold() override;

  unsigned long create_pixmap() override;
  void free_pixmap(unsigned long id) override;
  bool set_draw_target(unsigned long id) override;
  unsigned long draw_target() const override { return target_id_; }
  bool copy_pixmap(unsigned long from, unsigned long to) override;
  bool show_pixmap(unsigned long id) override;
  int capture(IMG_report& image) override;

  Display* display() const { return dpy_; }
  Window window() const { return win_; }

 private:
  Pixmap pixmap(unsigned long id) const {
    if (id == 0) return back_;
    auto it = pixmaps_.find(id);
    return it == pixmaps_.end() ? None : it->second;
  }
  Drawable target() const { return pixmap(target_id_); }
  bool handle(XEvent& ev);
  bool wait_for_event(int timeout_ms);
  std::vector<XPoint>& to_points(std::span<const DevPoint> pts);
  void draw_lines(std::span<const DevPoint> pts, const Pen& pen, int cap);
  enum class Group { none, markers, text };
  Group group_ = Group::none;
  // Line types beyond 5 keep the dash list last installed in the context.
  int last_dash_list_ = 0;

  Display* dpy_ = nullptr;
  Window win_ = None;
  Pixmap back_ = None;
  GC gc_ = nullptr;
  int width_ = 640;
  int height_ = 512;
  int depth_ = 24;
  unsigned long background_ = 0;
  std::map<unsigned long, Pixmap> pixmaps_;
  unsigned long next_id_ = 1;
  unsigned long target_id_ = 0;
  std::vector<XPoint> xpts_;
  std::string title_;
};

int X11Device::open(const OpenRequest& /*request*/) {
  dpy_ = XOpenDisplay(nullptr);
  if (dpy_ == nullptr) {
    gerr_printf("gopen_ws", "Unable to open display \"%s\"\n", XDisplayName(nullptr));
    return -1;
  }
  const Kernel& k = kernel();
  if (k.win_width > 0 && k.win_height > 0) {
    width_ = k.win_width;
    height_ = k.win_height;
  }
  const int screen = DefaultScreen(dpy_);
  Visual* visual = DefaultVisual(dpy_, screen);
  depth_ = DefaultDepth(dpy_, screen);
  gset_visual_masks(visual->red_mask, visual->green_mask, visual->blue_mask);
  ginit_xcolr();
  background_ = BlackPixel(dpy_, screen);
  win_ = XCreateSimpleWindow(dpy_, RootWindow(dpy_, screen), 0, 0, static_cast<unsigned>(width_),
                             static_cast<unsigned>(height_), 0, background_, background_);
  back_ = XCreatePixmap(dpy_, win_, static_cast<unsigned>(width_), static_cast<unsigned>(height_),
                        static_cast<unsigned>(depth_));
  gc_ = XCreateGC(dpy_, back_, 0, nullptr);
  XSetForeground(dpy_, gc_, background_);
  XFillRectangle(dpy_, back_, gc_, 0, 0, static_cast<unsigned>(width_),
                 static_cast<unsigned>(height_));
  title_ = k.win_title;
  if (!title_.empty()) XStoreName(dpy_, win_, title_.c_str());
  XSelectInput(dpy_, win_, ExposureMask | KeyPressMask | ButtonPressMask | StructureNotifyMask);
  XMapWindow(dpy_, win_);
  XSync(dpy_, False);
  target_id_ = 0;
  return 0;
}

int X11Device::close() {
  if (dpy_ == nullptr) return -1;
  for (auto& [id, pm] : pixmaps_) XFreePixmap(dpy_, pm);
  pixmaps_.clear();
  if (gc_ != nullptr) XFreeGC(dpy_, gc_);
  if (back_ != None) XFreePixmap(dpy_, back_);
  if (win_ != None) XDestroyWindow(dpy_, win_);
  XCloseDisplay(dpy_);
  dpy_ = nullptr;
  gc_ = nullptr;
  back_ = win_ = None;
  return 0;
}

void X11Device::clear(int background_pixel) {
  if (dpy_ == nullptr) return;
  if (background_pixel >= 0) background_ = static_cast<unsigned long>(background_pixel);
  XSetClipMask(dpy_, gc_, None);
  XSetForeground(dpy_, gc_, background_);
  XFillRectangle(dpy_, target(), gc_, 0, 0, static_cast<unsigned>(width_),
                 static_cast<unsigned>(height_));
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

// On/off lengths of the line types 2..5.
struct DashList {
  char len[4];
  int n;
};
constexpr DashList kDashLists[4] = {{{6, 6}, 2}, {{3, 6}, 2}, {{6, 6, 3, 6}, 4}, {{2, 2}, 2}};

void X11Device::polyline(std::span<const DevPoint> pts, const Pen& pen) {
  draw_lines(pts, pen, CapButt);
}

void X11Device::draw_lines(std::span<const DevPoint> pts, const Pen& pen, int cap) {
  if (dpy_ == nullptr || pts.empty()) return;
  if (!pen.shadow && pen.pixel < 0) return;  // colour never realised
  XSetForeground(dpy_, gc_, pen.shadow ? BlackPixel(dpy_, DefaultScreen(dpy_))
                                       : static_cast<unsigned long>(pen.pixel));
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

int X11Device::set_color_rep(int /*ind*/, float r, float g, float b) {
  return static_cast<int>(gget_color_rgb_Xval(static_cast<int>(channel16(r)),
                                              static_cast<int>(channel16(g)),
                                              static_cast<int>(channel16(b))));
}

void X11Device::set_title(std::string_view title) {
  title_ = title;
  if (dpy_ != nullptr) XStoreName(dpy_, win_, title_.c_str());
}

unsigned long X11Device::create_pixmap() {
  if (dpy_ == nullptr) return 0;
  const Pixmap pm = XCreatePixmap(dpy_, win_, static_cast<unsigned>(width_),
                                  static_cast<unsigned>(height_), static_cast<unsigned>(depth_));
  XSetClipMask(dpy_, gc_, None);
  XSetForeground(dpy_, gc_, background_);
  XFillRectangle(dpy_, pm, gc_, 0, 0, static_cast<unsigned>(width_),
                 static_cast<unsigned>(height_));
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

bool X11Device::set_draw_target(unsigned long id) {
  if (dpy_ == nullptr || pixmap(id) == None) return false;
  target_id_ = id;
  return true;
}

bool X11Device::copy_pixmap(unsigned long from, unsigned long to) {
  const Pixmap src = pixmap(from), dst = pixmap(to);
  if (dpy_ == nullptr || src == None || dst == None) return false;
  XSetClipMask(dpy_, gc_, None);
  XCopyArea(dpy_, src, dst, gc_, 0, 0, static_cast<unsigned>(width_),
            static_cast<unsigned>(height_), 0, 0);
  return true;
}

bool X11Device::show_pixmap(unsigned long id) {
  const Pixmap src = pixmap(id);
  if (dpy_ == nullptr || src == None) return false;
  XSetClipMask(dpy_, gc_, None);
  XCopyArea(dpy_, src, win_, gc_, 0, 0, static_cast<unsigned>(width_),
            static_cast<unsigned>(height_), 0, 0);
  XFlush(dpy_);
  return true;
}

int X11Device::capture(IMG_report& image) {
  if (dpy_ == nullptr) return 0;
  XSync(dpy_, False);
  XImage* xi = XGetImage(dpy_, target(), 0, 0, static_cast<unsigned>(width_),
                         static_cast<unsigned>(height_), AllPlanes, ZPixmap);
  if (xi == nullptr) {
    MESS_print(M_WARN, "gget_image: Unable to get image.\n");
    return 0;
  }
  const std::size_t total = static_cast<std::size_t>(xi->bytes_per_line) *
                            static_cast<std::size_t>(xi->height);
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
  return 1;
}

// Blocks until an event is queued or `timeout_ms` passed (-1: no limit).
bool X11Device::wait_for_event(int timeout_ms) {
  if (XPending(dpy_) > 0) return true;
  pollfd fd{ConnectionNumber(dpy_), POLLIN, 0};
  return poll(&fd, 1, timeout_ms) > 0 && XPending(dpy_) > 0;
}

// One event of the interactive wait; true when it finishes the wait.
bool X11Device::handle(XEvent& ev) {
  if (ev.type == Expose && ev.xexpose.count == 0) {
    show_pixmap(0);
    return false;
  }
  if (ev.type != KeyPress) return false;
  char text[80] = {};
  KeySym sym = NoSymbol;
  XLookupString(&ev.xkey, text, sizeof text - 1, &sym, nullptr);
  if (sym == XK_Return) return true;
  if ((ev.xkey.state & Mod1Mask) == 0) return false;
  switch (text[0]) {
    case 'q':
      return true;
    case 'l':
      gtoggle_loop(-1);
      break;
    case 'd':
      gdelete_frame(GFRAME_CURRENT);
      break;
    case ']':
      if (gget_looping()) ginc_loop_delay(gget_loop_delay() <= 0.11f ? -0.05f : -0.1f);
      else if (gget_num_images() > 0) gdisplay_frame(ginc_frame(1));
      break;
    case '[':
      if (gget_looping()) ginc_loop_delay(gget_loop_delay() < 0.09f ? 0.05f : 0.1f);
      else if (gget_num_images() > 0) gdisplay_frame(ginc_frame(-1));
      break;
    default:
      break;
  }
  return false;
}

int X11Device::hold() {
  if (dpy_ == nullptr) return 0;
  show_pixmap(0);
  XSync(dpy_, False);
  for (bool done = false; !done;) {
    const bool animate = gget_looping() != 0 && gget_num_images() >= 2;
    if (animate) {
      // Shows each frame for its delay, handling events meanwhile.
      const int ms = static_cast<int>(gget_frame_delay(GFRAME_CURRENT) * 1000.0f);
      if (!wait_for_event(std::max(ms, 0))) {
        gdisplay_frame(ginc_frame(0));
        continue;
      }
    } else {
      wait_for_event(-1);
    }
    while (!done && XPending(dpy_) > 0) {
      XEvent ev;
      XNextEvent(dpy_, &ev);
      done = handle(ev);
    }
  }
  XBell(dpy_, 50);
  XSync(dpy_, False);
  return 0;
}

}  // namespace

std::unique_ptr<Device> make_window_device() { return std::make_unique<X11Device>(); }

}  // namespace zor::gks
