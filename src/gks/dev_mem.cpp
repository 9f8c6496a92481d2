// The in-memory raster device: stands in for the X11 window when no display
// can be reached, so that batch runs on servers still draw and capture
// images. Its pixels are 32-bit TrueColor values laid out as an X server at
// depth 24 keeps them, and it draws by the server's rules (raster_canvas.h),
// so a capture here matches one from a window pixel for pixel.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "device.h"
#include "gks_kernel.h"
#include "raster_canvas.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace zor::gks {
namespace {

using raster::Canvas;
using raster::IntPoint;
using raster::Paint;

// What an Xvfb screen of depth 24 offers: TrueColor with 8 bits a channel.
constexpr unsigned kRedMask = 0xFF0000;
constexpr unsigned kGreenMask = 0x00FF00;
constexpr unsigned kBlueMask = 0x0000FF;
constexpr std::uint32_t kBlackPixel = 0x000000;
constexpr int kDefaultWidth = 640;
constexpr int kDefaultHeight = 512;

// The on/off lengths of line types 2 to 5.
const raster::Dashes kDashLists[4] = {{{6, 6}}, {{3, 6}}, {{6, 6, 3, 6}}, {{2, 2}}};
const raster::Dashes kSolid{};

// A 16-bit colour channel as the server's TrueColor map realises it: the
// nearest of its 256 levels (level i stands for i * 257).
unsigned channel16(float fraction) {
  const float f = std::clamp(fraction, 0.0f, 1.0f);
  return static_cast<unsigned>(f * 65535.0f);
}

class MemoryDevice final : public Device {
 public:
  int open(const OpenRequest& request) override;
  int close() override;
  int init_class() const override { return kClassX11; }
  DeviceUnits units() const override { return DeviceUnits::pixels; }
  DeviceSize size() const override { return {width_, height_, 0, 0}; }

  void clear(int background_pixel) override;
  void set_clip(const DevRect& clip) override;
  void polyline(std::span<const DevPoint> pts, const Pen& pen) override;
  void fill_area(std::span<const DevPoint> pts, const FillStyle& fill) override;
  void begin_group(const GroupInfo& info, const Pen& pen) override;
  void stroke(std::span<const DevPoint> pts, const Pen& pen) override;
  void end_group() override { group_ = Group::none; }
  int set_color_rep(int ind, float r, float g, float b) override;
  void set_title(std::string_view title) override { title_ = title; }

  unsigned long create_pixmap() override;
  void free_pixmap(unsigned long id) override;
  bool set_draw_target(unsigned long id) override;
  unsigned long draw_target() const override { return target_id_; }
  bool copy_pixmap(unsigned long from, unsigned long to) override;
  bool show_pixmap(unsigned long id) override;
  int capture(IMG_report& image) override;
  bool put_pixels(const IMG_report& image, const std::uint8_t* mask, int x, int y) override;
  bool headless() const override { return true; }
  void fill_pixmap(unsigned long id, int pixel) override;
  void fill_rect(int x, int y, int width, int height, int pixel) override;
  bool swap_pixmaps(unsigned long a, unsigned long b) override;
  unsigned long native_pixmap(unsigned long id) const override;

 private:
  enum class Group { none, markers, text };

  // A picture and the name it goes by outside the device (as a server
  // pixmap's id): the name travels with the picture when frames exchange
  // pictures, so callers can follow which one is where.
  struct Picture {
    Canvas canvas;
    unsigned long handle = 0;
  };

  Picture* picture(unsigned long id);
  const Picture* picture(unsigned long id) const;
  Canvas* canvas(unsigned long id) {
    Picture* p = picture(id);
    return p == nullptr ? nullptr : &p->canvas;
  }
  Canvas& target() { return *canvas(target_id_); }
  std::vector<IntPoint>& to_ints(std::span<const DevPoint> pts);
  const raster::Dashes& dashes_for(int line_type);
  void draw_lines(std::span<const DevPoint> pts, const Pen& pen, raster::Cap cap);
  std::uint32_t background() const;

  bool open_ = false;
  int width_ = kDefaultWidth;
  int height_ = kDefaultHeight;
  std::string title_;
  Picture back_;
  std::map<unsigned long, Picture> pixmaps_;
  unsigned long next_id_ = 1;
  unsigned long next_handle_ = 1;
  unsigned long target_id_ = 0;
  raster::ClipRect clip_;
  std::uint32_t last_background_ = kBlackPixel;
  // Line types beyond 5 keep the dash list last installed, as a GC does.
  int last_dash_list_ = 0;
  // Hollow and hatch interiors leave the fill context as it was.
  bool fill_stippled_ = false;
  int fill_pattern_ = 1;
  Group group_ = Group::none;
  std::vector<IntPoint> ints_;
  raster::PolygonScratch scratch_;
};

int MemoryDevice::open(const OpenRequest& /*request*/) {
  // The picture size: one set before opening (gset_win_size), else the
  // `geometry` resource's size, else the window default.
  const Kernel& k = kernel();
  if (k.win_width > 0 && k.win_height > 0) {
    width_ = k.win_width;
    height_ = k.win_height;
  } else if (const char* geo = RES_get("geometry"); geo != nullptr) {
    // Each side is held to kMaxSide, so a picture stays within a few hundred
    // megabytes whatever the resource says.
    constexpr int kMaxSide = 8192;
    int w = 0, h = 0;
    if (std::sscanf(geo, "%dx%d", &w, &h) == 2 && w > 0 && h > 0) {
      if (w > kMaxSide || h > kMaxSide)
        MESS_print(M_WARN, "Picture size %dx%d held to %d pixels a side\n", w, h, kMaxSide);
      width_ = std::min(w, kMaxSide);
      height_ = std::min(h, kMaxSide);
    }
  }
  gset_visual_masks(kRedMask, kGreenMask, kBlueMask);
  ginit_xcolr();
  pixmaps_.clear();
  next_id_ = 1;
  back_ = Picture{Canvas(width_, height_, kBlackPixel), next_handle_++};
  target_id_ = 0;
  clip_ = {0, 0, width_ - 1, height_ - 1};
  if (title_.empty()) title_ = k.win_title;
  open_ = true;
  return 0;
}

int MemoryDevice::close() {
  if (!open_) return -1;
  open_ = false;
  pixmaps_.clear();
  back_ = Picture{};
  return 0;
}

MemoryDevice::Picture* MemoryDevice::picture(unsigned long id) {
  if (id == 0) return &back_;
  auto it = pixmaps_.find(id);
  return it == pixmaps_.end() ? nullptr : &it->second;
}

const MemoryDevice::Picture* MemoryDevice::picture(unsigned long id) const {
  if (id == 0) return &back_;
  auto it = pixmaps_.find(id);
  return it == pixmaps_.end() ? nullptr : &it->second;
}

std::uint32_t MemoryDevice::background() const {
  const int bg = gget_back_color();
  return bg >= 0 ? static_cast<std::uint32_t>(bg) : last_background_;
}

void MemoryDevice::clear(int background_pixel) {
  if (!open_) return;
  if (background_pixel >= 0) last_background_ = static_cast<std::uint32_t>(background_pixel);
  target().fill_all(last_background_);
  // As on the window: clearing its picture starts a new one, nothing to redraw.
  if (target_id_ == 0) gclear_objs();
}

void MemoryDevice::set_clip(const DevRect& clip) {
  clip_ = {static_cast<int>(std::floor(clip.x_min)), static_cast<int>(std::floor(clip.y_min)),
           static_cast<int>(std::floor(clip.x_max)), static_cast<int>(std::floor(clip.y_max))};
}

std::vector<IntPoint>& MemoryDevice::to_ints(std::span<const DevPoint> pts) {
  ints_.clear();
  // Positions travel as 16-bit X points; they arrive whole already, so a
  // plain rounding (half away from zero) serves.
  auto whole = [](float v) {
    v = std::clamp(v, -32768.0f, 32767.0f);
    return static_cast<int>(v + (v < 0.0f ? -0.5f : 0.5f));
  };
  for (const auto& p : pts) ints_.push_back({whole(p.x), whole(p.y)});
  return ints_;
}

const raster::Dashes& MemoryDevice::dashes_for(int line_type) {
  if (line_type == 1) return kSolid;
  if (line_type >= 2 && line_type <= 5) last_dash_list_ = line_type - 2;
  return kDashLists[last_dash_list_];
}

void MemoryDevice::draw_lines(std::span<const DevPoint> pts, const Pen& pen, raster::Cap cap) {
  if (!open_ || pts.empty()) return;
  if (!pen.shadow && pen.pixel < 0) return;  // colour never realised
  Paint paint;
  paint.pixel = pen.shadow ? kBlackPixel : static_cast<std::uint32_t>(pen.pixel);
  paint.clip = clip_;
  const auto& ints = to_ints(pts);
  const raster::Dashes& dashes = group_ == Group::none ? dashes_for(pen.line_type) : kSolid;
  // As the window device sets its context: widths up to 1 draw thin lines,
  // wider ones their rounded width with mitred joins.
  const int width = pen.width <= 1.0f ? 0 : static_cast<int>(std::lround(pen.width));
  if (width <= 0 || ints.size() == 1)
    raster::thin_polyline(target(), ints, paint, dashes);
  else
    raster::wide_polyline(target(), ints, width, paint, dashes, raster::Join::miter, cap, scratch_);
}

void MemoryDevice::polyline(std::span<const DevPoint> pts, const Pen& pen) {
  draw_lines(pts, pen, raster::Cap::butt);
}

void MemoryDevice::begin_group(const GroupInfo& info, const Pen& /*pen*/) {
  group_ = info.kind == GroupKind::text ? Group::text : Group::markers;
}

void MemoryDevice::stroke(std::span<const DevPoint> pts, const Pen& pen) {
  // Glyph strokes have projecting caps, as the text context of a window.
  draw_lines(pts, pen, group_ == Group::text ? raster::Cap::projecting : raster::Cap::butt);
}

void MemoryDevice::fill_area(std::span<const DevPoint> pts, const FillStyle& fill) {
  if (!open_ || pts.empty() || fill.pixel < 0) return;
  if (fill.interior == GSOLID) {
    fill_stippled_ = false;
  } else if (fill.interior == GPAT) {
    fill_stippled_ = true;
    fill_pattern_ = fill.pattern;
  }
  Paint paint;
  paint.pixel = static_cast<std::uint32_t>(fill.pixel);
  paint.stipple = fill_stippled_ ? pattern(fill_pattern_) : nullptr;
  paint.clip = clip_;
  const auto& ints = to_ints(pts);
  // The interior, then the open outline with the same context.
  raster::fill_polygon(target(), ints, paint, raster::FillRule::even_odd, scratch_);
  raster::thin_polyline(target(), ints, paint, kSolid);
}

int MemoryDevice::set_color_rep(int /*ind*/, float r, float g, float b) {
  return static_cast<int>(gget_color_rgb_Xval(static_cast<int>(channel16(r)),
                                              static_cast<int>(channel16(g)),
                                              static_cast<int>(channel16(b))));
}

unsigned long MemoryDevice::create_pixmap() {
  if (!open_) return 0;
  const unsigned long id = next_id_++;
  pixmaps_.emplace(id, Picture{Canvas(width_, height_, background()), next_handle_++});
  return id;
}

void MemoryDevice::fill_pixmap(unsigned long id, int pixel) {
  Canvas* c = canvas(id);
  if (!open_ || c == nullptr) return;
  c->fill_all(pixel >= 0 ? static_cast<std::uint32_t>(pixel) : background());
}

void MemoryDevice::fill_rect(int x, int y, int width, int height, int pixel) {
  // Unclipped, as the window fills through its root context.
  if (!open_ || width <= 0 || height <= 0) return;
  target().fill_rect(x, y, width, height, pixel >= 0 ? static_cast<std::uint32_t>(pixel) : background());
}

bool MemoryDevice::swap_pixmaps(unsigned long a, unsigned long b) {
  Picture* pa = picture(a);
  Picture* pb = picture(b);
  if (!open_ || a == b || pa == nullptr || pb == nullptr) return false;
  std::swap(*pa, *pb);
  // The drawing target is a picture: it follows the exchange.
  if (target_id_ == a)
    target_id_ = b;
  else if (target_id_ == b)
    target_id_ = a;
  return true;
}

unsigned long MemoryDevice::native_pixmap(unsigned long id) const {
  const Picture* p = picture(id);
  return open_ && p != nullptr ? p->handle : 0;
}

void MemoryDevice::free_pixmap(unsigned long id) {
  if (id == 0) return;
  pixmaps_.erase(id);
  if (target_id_ == id) target_id_ = 0;
}

bool MemoryDevice::set_draw_target(unsigned long id) {
  if (!open_ || canvas(id) == nullptr) return false;
  target_id_ = id;
  return true;
}

bool MemoryDevice::copy_pixmap(unsigned long from, unsigned long to) {
  Canvas* src = canvas(from);
  Canvas* dst = canvas(to);
  if (!open_ || src == nullptr || dst == nullptr) return false;
  if (src != dst) dst->copy_from(*src);
  return true;
}

bool MemoryDevice::show_pixmap(unsigned long id) {
  // There is no screen: showing changes no pixmap, as copying to a window
  // leaves the drawables that captures read untouched.
  return open_ && canvas(id) != nullptr;
}

int MemoryDevice::capture(IMG_report& image) {
  if (!open_) return 0;
  const Canvas& c = target();
  const std::size_t bytes_line = static_cast<std::size_t>(c.width()) * 4;
  const std::size_t total = bytes_line * static_cast<std::size_t>(c.height());
  auto* data = static_cast<unsigned char*>(std::malloc(total > 0 ? total : 1));
  if (data == nullptr) {
    MESS_print(M_WARN, "gget_image: Unable to allocate data buffer.\n");
    return 0;
  }
  // 32-bit pixels, least significant byte first, the top byte unused.
  unsigned char* out = data;
  for (std::uint32_t v : c.pixels()) {
    out[0] = static_cast<unsigned char>(v);
    out[1] = static_cast<unsigned char>(v >> 8);
    out[2] = static_cast<unsigned char>(v >> 16);
    out[3] = 0;
    out += 4;
  }
  std::free(image.data);
  image.data = data;
  image.width = c.width();
  image.height = c.height();
  image.depth = 24;
  image.bits_pixel = 32;
  image.bytes_line = static_cast<int>(bytes_line);
  image.byte_order = 0;
  image.color_type = 0;
  image.num_colors = 0;
  image.red = kRedMask;
  image.grn = kGreenMask;
  image.blu = kBlueMask;
  const std::string info = title_.empty() ? std::string("xwdump") : title_;
  std::snprintf(image.info, sizeof image.info, "%s", info.c_str());
  return 1;
}

bool MemoryDevice::put_pixels(const IMG_report& image, const std::uint8_t* mask, int x, int y) {
  if (!open_ || image.data == nullptr || image.width <= 0 || image.height <= 0) return false;
  Canvas& c = target();
  const std::size_t mask_line = static_cast<std::size_t>((image.width + 7) / 8);
  for (int iy = 0; iy < image.height; ++iy) {
    const int ty = y + iy;
    if (ty < 0 || ty >= c.height()) continue;
    const unsigned char* row = image.data + static_cast<std::size_t>(iy) * image.bytes_line;
    std::uint32_t* out = c.row(ty);
    for (int ix = 0; ix < image.width; ++ix) {
      const int tx = x + ix;
      if (tx < 0 || tx >= c.width()) continue;
      if (mask != nullptr && !((mask[iy * mask_line + ix / 8] >> (ix % 8)) & 1U)) continue;
      out[tx] = raster::stored_pixel(row, ix, image.bits_pixel, image.byte_order != 0);
    }
  }
  return true;
}

}  // namespace

std::unique_ptr<Device> make_memory_device() { return std::make_unique<MemoryDevice>(); }

}  // namespace zor::gks
