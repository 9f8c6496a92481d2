// Pixel-replication zoom of the window's picture: a region of the picture
// (or of the frame being shown) is captured, every pixel blown up into a
// zoom x zoom block and the result put into the base window. Written against
// the raster interface, so the in-memory device zooms as the window does.
#include "gks_zoom.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "device.h"
#include "zor/gks.h"
#include "zor/gks_win.h"
#include "zor/img.h"
#include "zor/mess.h"

namespace zor::gks {
namespace {

struct ZoomState {
  int zoom = 1;
  int zoom_x = 0;  // centre of the magnified region, unzoomed pixels
  int zoom_y = 0;
  int left = 0;  // its top-left corner
  int top = 0;
  IMG_report base_image;  // the unzoomed picture, data null when none
};

ZoomState& zs() {
  static ZoomState s;
  return s;
}

void free_base() {
  // Captures of colormap screens carry a colour table as well as pixels.
  IMG_free(&zs().base_image);
  zs().base_image = IMG_report{};
}

// Bytes of one pixel row, padded to 32 bits as the server pads them.
int row_bytes(int width, int bits) { return ((width * bits + 31) / 32) * 4; }

// Captures a pixmap of the device; the drawing target stays.
bool capture_pixmap(Device& dev, unsigned long id, IMG_report* img) {
  const unsigned long was = dev.draw_target();
  if (!dev.set_draw_target(id)) return false;
  const bool ok = dev.capture(*img) == 1;
  dev.set_draw_target(was);
  return ok;
}

bool put_base(Device& dev, const IMG_report& img) {
  const unsigned long was = dev.draw_target();
  dev.set_draw_target(0);
  const bool ok = dev.put_pixels(img, nullptr, 0, 0);
  dev.set_draw_target(was);
  return ok;
}

}  // namespace

bool replicate_pixels(const IMG_report& src, int x0, int y0, int zoom, int width, int height,
                      IMG_report* out) {
  const int bits = src.bits_pixel;
  if (src.data == nullptr || src.width <= 0 || src.height <= 0 || zoom < 1 || width <= 0 || height <= 0)
    return false;
  if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) return false;
  const int line = row_bytes(width, bits);
  auto* data = static_cast<unsigned char*>(
      std::calloc(static_cast<std::size_t>(line) * static_cast<std::size_t>(height), 1));
  if (data == nullptr) return false;
  const int bytes = bits / 8;
  for (int y = 0; y < height; ++y) {
    const int sy = std::clamp(y0 + y / zoom, 0, src.height - 1);
    const unsigned char* srow = src.data + static_cast<std::size_t>(sy) * static_cast<std::size_t>(src.bytes_line);
    unsigned char* orow = data + static_cast<std::size_t>(y) * static_cast<std::size_t>(line);
    for (int x = 0; x < width; ++x) {
      const int sx = std::clamp(x0 + x / zoom, 0, src.width - 1);
      if (bytes > 0) {
        std::memcpy(orow + x * bytes, srow + sx * bytes, static_cast<std::size_t>(bytes));
      } else if (bits == 4) {
        const unsigned v = (sx % 2 == 0) ? srow[sx / 2] >> 4 : srow[sx / 2] & 0x0FU;
        orow[x / 2] = static_cast<unsigned char>(orow[x / 2] | (x % 2 == 0 ? v << 4 : v));
      } else {
        const unsigned v = (srow[sx / 8] >> (sx % 8)) & 1U;
        orow[x / 8] = static_cast<unsigned char>(orow[x / 8] | (v << (x % 8)));
      }
    }
  }
  *out = src;
  out->colors = nullptr;
  out->num_colors = 0;
  out->width = width;
  out->height = height;
  out->bytes_line = line;
  out->data = data;
  return true;
}

}  // namespace zor::gks

using zor::gks::zs;

int gzoom(int ind, int x, int y, int factor, int flag) {
  using namespace zor::gks;
  Device* dev = current_device();
  if (dev == nullptr || gtype_is_PIX() || dev->units() != DeviceUnits::pixels) return 0;
  ZoomState& s = zs();
  if (flag != 0 && s.zoom < 2) return 0;
  const DeviceSize size = dev->size();
  const int width = size.width, height = size.height;

  // Source: the frame asked for when there are frames, else the unzoomed
  // picture (saved before the first zoom).
  IMG_report src;
  unsigned long frame = 0;
  const bool from_frame = gget_num_images() > 0 && frame_pixmap(ind, &frame);
  if (from_frame) {
    if (!capture_pixmap(*dev, frame, &src)) return 0;
  } else if (s.base_image.data == nullptr && !capture_pixmap(*dev, 0, &s.base_image)) {
    return 0;
  }
  const IMG_report& picture = from_frame ? src : s.base_image;

  const int old_zoom = s.zoom;
  if (factor >= 0) s.zoom = std::max(1, factor);
  else if (factor < -1) s.zoom = std::min(s.zoom * -factor, std::max(1, std::min(width, height)));
  if (x != -1) {
    if (old_zoom > 1) {
      // A point of the magnified picture: back to picture pixels.
      x = (x - width / 2) / old_zoom + s.zoom_x;
      y = (y - height / 2) / old_zoom + s.zoom_y;
    }
    s.zoom_x = x;
    s.zoom_y = y;
  } else if (old_zoom < 2) {
    s.zoom_x = width / 2;
    s.zoom_y = height / 2;
  }
  const int sw = std::max(1, width / s.zoom), sh = std::max(1, height / s.zoom);
  s.left = std::clamp(s.zoom_x - sw / 2, 0, std::max(0, width - sw));
  s.top = std::clamp(s.zoom_y - sh / 2, 0, std::max(0, height - sh));
  s.zoom_x = s.left + sw / 2;
  s.zoom_y = s.top + sh / 2;

  IMG_report zoomed;
  const bool ok = replicate_pixels(picture, s.left, s.top, s.zoom, width, height, &zoomed);
  if (from_frame) IMG_free(&src);
  if (!ok) {
    gerr_printf("gzoom", "unable to magnify the picture\n");
    return 0;
  }
  const bool put = put_base(*dev, zoomed);
  IMG_free(&zoomed);
  if (!put) return 0;
  dev->flush();
  MESS_print(M_DEBUG, "Zoom: %d at %d %d\n", s.zoom, s.zoom_x, s.zoom_y);
  return 1;
}

int gunzoom() {
  using namespace zor::gks;
  Device* dev = current_device();
  ZoomState& s = zs();
  if (dev == nullptr || gtype_is_PIX() || s.zoom < 2) return 0;
  s.zoom = 1;
  s.zoom_x = s.zoom_y = s.left = s.top = 0;
  if (s.base_image.data != nullptr) {
    put_base(*dev, s.base_image);
    zor::gks::free_base();
    dev->flush();
  } else {
    gdisplay_frame(GFRAME_CURRENT);
  }
  return 1;
}

int greset_zoom() {
  auto& s = zs();
  s.zoom = 1;
  s.zoom_x = s.zoom_y = s.left = s.top = 0;
  zor::gks::free_base();
  return 1;
}

int gget_zoom() { return zs().zoom; }

// Picture pixel under a window pixel: the magnified region starts at its
// top-left corner.
float xZ_p(float px) {
  const auto& s = zs();
  return s.zoom < 2 ? px : px / static_cast<float>(s.zoom) + static_cast<float>(s.left);
}

float yZ_p(float py) {
  const auto& s = zs();
  return s.zoom < 2 ? py : py / static_cast<float>(s.zoom) + static_cast<float>(s.top);
}
