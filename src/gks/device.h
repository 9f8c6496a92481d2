// The device interface of the graphics kernel. The kernel has already checked
// every call, transformed world coordinates to the device's own units and
// clipped them to the current viewport; a device only draws what it is given.
//
// Adding a device: derive from zor::gks::Device, define its factory with the
// name declared at the end of this file, and the kernel's device table
// (gks_devices.cpp) finds it by workstation type.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zor/gks.h"
#include "zor/img.h"

namespace zor::gks {

// A position in device units (X11 pixels already rounded to whole numbers;
// PostScript points, HPGL plotter units, metafile units as floats).
struct DevPoint {
  float x = 0.0f;
  float y = 0.0f;
};

// Which way a device's coordinates run.
enum class DeviceUnits {
  pixels,  // origin top-left, y downwards, whole-number positions, +-30000
  print,   // origin bottom-left, y upwards, +-100000
};

// Device class codes of the per-primitive initialisers.
inline constexpr int kClassNone = -1;
inline constexpr int kClassX11 = 0;
inline constexpr int kClassX11Again = 1;  // after a redraw or resize
inline constexpr int kClassPostScript = 2;
inline constexpr int kClassHpgl = 3;
inline constexpr int kClassMetafile = 4;
inline constexpr int kClassResized = 10;

// Drawing state of a stroke: colour index (500..508 are the fixed print
// shades), its device colour as the colour model realised it (gget_color_ind;
// -1 when not realised), width in kernel width units and the dash type.
struct Pen {
  int color_ind = 1;
  int pixel = -1;
  float width = 1.0f;
  int line_type = 1;      // 1 solid, 2..5 the dash lists, others keep the last
  int print_bold = 1;
  bool shadow = false;    // a drop-shadow copy: draw in the device's black
};

// The 8 x 8 stipple of a fill pattern: one byte per row from the top, least
// significant bit = leftmost pixel.
using FillPattern = std::uint8_t[8];

struct FillStyle {
  int color_ind = 1;
  int pixel = -1;
  int interior = GSOLID;  // Gfill_int_style
  int pattern = 1;        // 0..19, see pattern()
  bool print_solid = false;
};

// What a group of strokes draws, so print devices can annotate their output
// ("%%PM:", "%%TE:") and set their attributes once for the group.
enum class GroupKind { markers, text };
struct GroupInfo {
  GroupKind kind = GroupKind::markers;
  int count = 0;            // number of markers
  Gpt world_pos;            // text position in world coordinates
  std::string_view text;    // the string being drawn
};

struct DeviceSize {
  int width = 0;
  int height = 0;
  int x_offset = 0;
  int y_offset = 0;
};

// The clip rectangle in device units (the current viewport's image).
struct DevRect {
  float x_min = 0.0f;
  float y_min = 0.0f;
  float x_max = 0.0f;
  float y_max = 0.0f;
};

struct OpenRequest {
  Gws_type ws_type = GWS_WINDOW;
  std::string conn_id;             // the whole connection id
  std::vector<std::string> items;  // conn_id split at commas
};

class Device {
 public:
  virtual ~Device() = default;

  // Opens the output (window, file, pipe). Reports its own failure through
  // gerr_printf("gopen_ws", ...) and returns -1; 0 on success.
  virtual int open(const OpenRequest& request) = 0;
  // Writes any trailer and releases the output; -1 when nothing was open.
  virtual int close() = 0;

  // Class code handed to the per-primitive initialisers (kClass*).
  virtual int init_class() const = 0;
  virtual DeviceUnits units() const = 0;
  // Device units per unit of marker size (X11 10, PostScript 7.2, HPGL 101.5).
  virtual float marker_scale() const { return 10.0f; }
  virtual DeviceSize size() const = 0;
  // Called by ginit_plot for the classes 0 and 1 (contexts, events); -1
  // when the display reported an error meanwhile (the device says so).
  virtual int reinit(int /*dev_class*/) { return 0; }

  // Drawing, in device units.
  virtual void clear(int /*background_pixel*/) {}
  virtual void set_clip(const DevRect& /*clip*/) {}
  virtual void polyline(std::span<const DevPoint> pts, const Pen& pen) = 0;
  // The outline is open: the last point is joined to the first only when the
  // caller repeats it.
  virtual void fill_area(std::span<const DevPoint> pts, const FillStyle& fill) = 0;
  // Markers and stroke text are drawn as groups of connected strokes.
  virtual void begin_group(const GroupInfo& /*info*/, const Pen& /*pen*/) {}
  virtual void stroke(std::span<const DevPoint> pts, const Pen& pen) = 0;
  virtual void end_group() {}

  // Native (server) fonts, for font names beginning with "#". Load returns
  // false when the device has none or the font is unknown.
  virtual bool load_native_font(std::string_view /*name*/) { return false; }
  // Width, ascent and descent of a string in device units.
  virtual bool native_text_extent(std::string_view /*text*/, int* /*width*/, int* /*ascent*/,
                                  int* /*descent*/) {
    return false;
  }
  virtual void native_text(const DevPoint& /*pos*/, std::string_view /*text*/,
                           const Pen& /*pen*/) {}

  // Realises a colour for an index; returns the device colour (X11 pixel) or
  // -2 when the device keeps only the fractions.
  virtual int set_color_rep(int /*ind*/, float /*r*/, float /*g*/, float /*b*/) { return -2; }

  // A metafile writes the kernel's records (one text line each, newline
  // included); other devices ignore them.
  virtual void record(std::string_view /*line*/) {}

  virtual void begin_page() {}
  virtual void end_page() {}
  // Makes what was drawn visible (copies a back pixmap to the window).
  virtual void flush() {}
  // The interactive wait of a display device; returns at once elsewhere.
  virtual int hold() { return 0; }
  virtual void set_title(std::string_view /*title*/) {}

  // ---- Raster devices (X11 window, foreign drawable, in-memory) ---------
  // Frames (pixmaps the size of the picture) are named by non-zero ids that
  // the device hands out; id 0 is the base window's own back pixmap.
  // Creates a pixmap cleared to the background; 0 when the device has none.
  virtual unsigned long create_pixmap() { return 0; }
  virtual void free_pixmap(unsigned long /*id*/) {}
  // Makes a pixmap (0 = the back pixmap) the target of further drawing.
  virtual bool set_draw_target(unsigned long /*id*/) { return false; }
  virtual unsigned long draw_target() const { return 0; }
  // Copies one pixmap onto another (0 = the back pixmap).
  virtual bool copy_pixmap(unsigned long /*from*/, unsigned long /*to*/) { return false; }
  // Shows a pixmap in the window (copies it to the visible picture).
  virtual bool show_pixmap(unsigned long /*id*/) { return false; }
  // Captures the current drawing target into `image` (the record's layout
  // as an X11 ZPixmap image would give it); 1, or 0 with a message.
  virtual int capture(IMG_report& /*image*/) { return 0; }
  // Puts device pixels (one device pixel value per image pixel, already
  // mapped) at (x, y) of the drawing target where `mask` (one bit per
  // pixel, rows padded to bytes, least significant bit first) is set.
  virtual bool put_pixels(const IMG_report& /*image*/, const std::uint8_t* /*mask*/, int /*x*/,
                          int /*y*/) {
    return false;
  }
  // True for a raster device drawing into memory without a display.
  virtual bool headless() const { return false; }

  // ---- Frames, zoom and region clears (defaults through the calls above) --
  // Fills a whole pixmap with a device colour; the drawing target stays.
  virtual void fill_pixmap(unsigned long id, int pixel) {
    const unsigned long was = draw_target();
    if (!set_draw_target(id)) return;
    clear(pixel);
    set_draw_target(was);
  }
  // Fills a rectangle of the drawing target (device pixels, width and height
  // counted in pixels) with a device colour.
  virtual void fill_rect(int x, int y, int width, int height, int pixel) {
    if (width <= 0 || height <= 0) return;
    const float x0 = static_cast<float>(x), y0 = static_cast<float>(y);
    const float x1 = static_cast<float>(x + width - 1), y1 = static_cast<float>(y + height - 1);
    const DevPoint box[] = {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}, {x0, y0}};
    FillStyle fill;
    fill.pixel = pixel;
    fill_area(box, fill);
  }
  // Exchanges the pictures behind two pixmap ids (0 = the back pixmap); a
  // drawing target follows its picture. False when the device cannot.
  virtual bool swap_pixmaps(unsigned long /*a*/, unsigned long /*b*/) { return false; }
  // The server's id of a pixmap (X11), 0 when the device has none.
  virtual unsigned long native_pixmap(unsigned long /*id*/) const { return 0; }
  // Makes a server pixmap created elsewhere the picture of `id` (a new id
  // when 0); returns the id, or 0 when the device cannot.
  virtual unsigned long adopt_pixmap(unsigned long /*id*/, unsigned long /*native*/) { return 0; }
};

using DeviceFactory = std::unique_ptr<Device> (*)();

struct DeviceEntry {
  Gws_type ws_type;
  const char* name;
  DeviceFactory make;
};

// Adds or replaces the device of a workstation type (tests install their own).
void register_device(Gws_type ws_type, const char* name, DeviceFactory make);
// Removes a device registered with register_device; the built-in ones return.
void unregister_device(Gws_type ws_type);
// The device of a workstation type, or nullptr when none is available.
const DeviceEntry* find_device(Gws_type ws_type);

// The open device, or nullptr.
Device* current_device();

// The fill pattern `index` (0..19).
const FillPattern& pattern(int index);

// ---- Object recording hook ----------------------------------------------
// Every attribute change and primitive is offered to the object list (frames
// and redraw); the list installs its recorder here. `kind` is the object kind,
// `value` a count or value, `data` an owned-by-caller copy of the arguments.
using ObjectRecorder = void (*)(int kind, int value, std::span<const std::byte> data);
void set_object_recorder(ObjectRecorder recorder);

// ---- Built-in device factories -------------------------------------------
// Defined by the device files; the device table refers to them by these names.
std::unique_ptr<Device> make_window_device();      // type 1
std::unique_ptr<Device> make_pixmap_device();      // type 6
std::unique_ptr<Device> make_postscript_device();  // type 4
std::unique_ptr<Device> make_hpgl_device();        // type 5
std::unique_ptr<Device> make_metafile_device();    // type 3
// The in-memory raster device that stands in for a window without a display.
std::unique_ptr<Device> make_memory_device();

// ---- Recording device for tests ------------------------------------------
// Keeps every call it receives, in device units, for tests to inspect.
struct RecordedCall {
  enum class Op { clear, clip, polyline, fill, begin_group, stroke, end_group, native_text, record };
  Op op;
  std::vector<DevPoint> pts;
  Pen pen;
  FillStyle fill;
  DevRect clip;
  std::string text;
};

class RecordingDevice : public Device {
 public:
  struct Options {
    DeviceUnits units = DeviceUnits::pixels;
    int width = 640;
    int height = 512;
    int init_class = kClassX11;
    float marker_scale = 10.0f;
  };
  RecordingDevice() = default;
  explicit RecordingDevice(const Options& options) : options_(options) {}

  int open(const OpenRequest& request) override;
  int close() override;
  int init_class() const override { return options_.init_class; }
  DeviceUnits units() const override { return options_.units; }
  float marker_scale() const override { return options_.marker_scale; }
  DeviceSize size() const override { return {options_.width, options_.height, 0, 0}; }
  void clear(int background_pixel) override;
  void set_clip(const DevRect& clip) override;
  void polyline(std::span<const DevPoint> pts, const Pen& pen) override;
  void fill_area(std::span<const DevPoint> pts, const FillStyle& fill) override;
  void begin_group(const GroupInfo& info, const Pen& pen) override;
  void stroke(std::span<const DevPoint> pts, const Pen& pen) override;
  void end_group() override;
  int set_color_rep(int ind, float r, float g, float b) override;
  void record(std::string_view line) override;

  const std::vector<RecordedCall>& calls() const { return calls_; }
  const OpenRequest& request() const { return request_; }
  bool is_open() const { return open_; }
  void clear_calls() { calls_.clear(); }

 private:
  Options options_;
  OpenRequest request_;
  bool open_ = false;
  std::vector<RecordedCall> calls_;
};

// Registers the recording device (with these options) for a workstation type.
void use_recording_device(Gws_type ws_type, const RecordingDevice::Options& options = {});
// The recording device most recently created through the registry, for tests
// that open it with gopen_ws and then look at what it received.
RecordingDevice* last_recording_device();

}  // namespace zor::gks
