// The X11 devices (own window, type 1; drawable of another program, type 6)
// as the event dispatcher, the wait and the loop-window handshake see them.
// Private to the kernel; Xlib stays out of the public headers.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <array>
#include <map>
#include <string>
#include <vector>

#include "device.h"

namespace zor::gks::x11 {

inline constexpr int kNumCursors = 9;

class X11Device : public Device {
 public:
  explicit X11Device(Gws_type type) : type_(type) {}
  ~X11Device() override { close(); }

  int open(const OpenRequest& request) override;
  int close() override;
  int init_class() const override { return kClassX11; }
  DeviceUnits units() const override { return DeviceUnits::pixels; }
  DeviceSize size() const override { return {width_, height_, x_off_, y_off_}; }
  int reinit(int dev_class) override;

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
  bool load_native_font(std::string_view name) override;
  bool native_text_extent(std::string_view text, int* width, int* ascent, int* descent) override;
  void native_text(const DevPoint& pos, std::string_view text, const Pen& pen) override;
  int set_color_rep(int ind, float r, float g, float b) override;
  void flush() override;
  void set_title(std::string_view title) override;
  int hold() override;

  unsigned long create_pixmap() override;
  void free_pixmap(unsigned long id) override;
  bool set_draw_target(unsigned long id) override;
  unsigned long draw_target() const override { return target_id_; }
  bool copy_pixmap(unsigned long from, unsigned long to) override;
  bool show_pixmap(unsigned long id) override;
  int capture(IMG_report& image) override;
  bool put_pixels(const IMG_report& image, const std::uint8_t* mask, int x, int y) override;
  void fill_pixmap(unsigned long id, int pixel) override;
  void fill_rect(int x, int y, int width, int height, int pixel) override;
  bool swap_pixmaps(unsigned long a, unsigned long b) override;
  unsigned long native_pixmap(unsigned long id) const override { return pixmap(id); }
  unsigned long adopt_pixmap(unsigned long id, unsigned long native) override;

  Gws_type type() const { return type_; }
  Display* display() const { return dpy_; }
  // The top-level window (type 6: the foreign window).
  Window window() const { return win_; }
  Pixmap back() const { return back_; }
  GC gc() const { return gc_; }
  int width() const { return width_; }
  int height() const { return height_; }
  unsigned long background() const { return background_; }
  // Window name without the extra text.
  const std::string& title() const { return title_; }
  void set_title_extra(const std::string& extra);
  const std::string& title_extra() const { return extra_; }
  // Sets the cursor (0..8); returns the previous number.
  int set_cursor(int type);
  int cursor() const { return cursor_; }
  // New window size: picture kept in a back pixmap of the new size.
  void resize(int width, int height, bool set_window);
  // Reads the window's current size; false when it has no window.
  bool query_size(int* width, int* height) const;
  Pixmap pixmap(unsigned long id) const {
    if (id == 0) return back_;
    auto it = pixmaps_.find(id);
    return it == pixmaps_.end() ? None : it->second;
  }

 private:
  int open_window(const OpenRequest& request);
  int open_foreign(const OpenRequest& request);
  // Frees what the device holds on the server and closes the connection.
  void release_server_side();
  Drawable target() const { return pixmap(target_id_); }
  std::vector<XPoint>& to_points(std::span<const DevPoint> pts);
  void draw_lines(std::span<const DevPoint> pts, const Pen& pen, int cap);
  void fill_all(Drawable d, unsigned long pixel);
  // Colour cells of visuals with a colormap (PseudoColor and the like).
  int alloc_cell(int ind, float r, float g, float b);
  unsigned long nearest_cell(Colormap cmap, const XColor& want) const;
  // The colour table of a capture on a visual that is not TrueColor.
  bool capture_colors(IMG_report& image) const;
  enum class Group { none, markers, text };
  Group group_ = Group::none;
  // Line types beyond 5 keep the dash list last installed in the context.
  int last_dash_list_ = 0;

  Gws_type type_;
  Display* dpy_ = nullptr;
  Window win_ = None;
  Pixmap back_ = None;
  bool own_back_ = true;  // the foreign drawable belongs to its program
  GC gc_ = nullptr;
  int width_ = 640;
  int height_ = 512;
  int x_off_ = 0;
  int y_off_ = 0;
  int depth_ = 24;
  Visual* visual_ = nullptr;
  unsigned long background_ = 0;
  std::map<unsigned long, Pixmap> pixmaps_;
  unsigned long next_id_ = 1;
  unsigned long target_id_ = 0;
  std::vector<XPoint> xpts_;
  std::string title_;
  std::string extra_;
  std::array<Cursor, kNumCursors> cursors_{};
  int cursor_ = 0;
  XFontStruct* font_ = nullptr;
  Pixmap icon_ = None;
  Colormap own_cmap_ = None;  // a private colormap (gset_local_colormap)
  // The cell realising each colour index (256 = background) on a visual
  // with a colormap: read-write cells change in place, shared ones are
  // replaced by another shared cell.
  struct Cell {
    long pixel = -1;
    bool rw = false;
  };
  std::array<Cell, 257> cells_{};
};

// The open X11 device of either type, or nullptr.
X11Device* device();
// The open type 1 window, or nullptr.
X11Device* window_device();

// Events of the window (gks_event.cpp).
int process_event(XEvent& event);
// The interactive wait on the window.
int run_hold(X11Device& dev);
// Resets the event state when a window opens (mapped) or closes.
void reset_events(Display* dpy, bool mapped);
// Sends the loop window a client message (2 new frame, 9 end).
void send_loop_message(X11Device& dev, int what);

}  // namespace zor::gks::x11
