// Images drawn over the picture of a raster device: colours mapped onto the
// workstation's colours, a see-through mask, placement in the viewport.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "device.h"
#include "raster_canvas.h"
#include "zor/clr.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/img.h"
#include "zor/mess.h"

namespace {

std::uint32_t source_pixel(const IMG_report& im, int row, int col) {
  const unsigned char* p = im.data + static_cast<std::size_t>(row) * static_cast<std::size_t>(im.bytes_line);
  return zor::gks::raster::stored_pixel(p, col, im.bits_pixel, im.byte_order != 0);
}

// Device pixel of a colour allocated (or reused) in the colour table.
// galloc_colr answers with a pixel on X11 and with a status elsewhere, so
// the pixel is taken from the index now holding the colour.
long alloc_pixel(float r, float g, float b, long fallback) {
  if (galloc_colr(-1, r, g, b) < 0) return fallback;
  long pixel = fallback;
  for (int i = 0; i < 256; ++i)
    if (gis_color_near(i, r, g, b, 0) && gget_color_ind(i) >= 0) pixel = gget_color_ind(i);
  return pixel;
}

// One colour channel of a direct-colour pixel through its mask.
struct Channel {
  unsigned shift = 0;
  std::uint32_t max = 0;  // the channel's full value; 0 = no such channel
  explicit Channel(std::uint32_t mask) {
    if (mask == 0) return;
    shift = static_cast<unsigned>(std::countr_zero(mask));
    max = mask >> shift;
  }
  // 16-bit intensity (full = 65535), as X11 colour requests take it.
  unsigned value16(std::uint32_t pixel) const {
    if (max == 0) return 0;
    const std::uint64_t v = (pixel >> shift) & max;
    return static_cast<unsigned>(v * 65535u / max);
  }
};

// Maps the colours of a direct-colour image (channels by the record's masks,
// or grey levels of its depth when it has none) to device pixels. On a
// TrueColor visual each colour is made exactly from the visual's masks and
// the colour table stays untouched (an RGB picture may hold thousands of
// colours); otherwise each distinct colour is allocated as the entries of an
// indexed image are, until the table is full.
class DirectColours {
 public:
  DirectColours(const IMG_report& im, long see_pixel) : see_pixel_(see_pixel) {
    if (im.red == 0 && im.grn == 0 && im.blu == 0) {
      const int bits = im.depth >= 1 && im.depth <= 8 ? im.depth : 8;
      const std::uint32_t grey = (1u << bits) - 1u;
      red_ = grn_ = blu_ = Channel(grey);
    } else {
      red_ = Channel(im.red);
      grn_ = Channel(im.grn);
      blu_ = Channel(im.blu);
    }
    true_colour_ = gget_color_rgb_Xval(0xFFFF, 0xFFFF, 0xFFFF) != 0;
  }

  long pixel(std::uint32_t v) {
    auto [it, fresh] = map_.try_emplace(v, see_pixel_);
    if (!fresh) return it->second;
    const unsigned r16 = red_.value16(v), g16 = grn_.value16(v), b16 = blu_.value16(v);
    const float r = static_cast<float>(r16) / 65535.0f, g = static_cast<float>(g16) / 65535.0f,
                b = static_cast<float>(b16) / 65535.0f;
    if (gis_color_near(static_cast<int>(see_pixel_), r, g, b, 1)) return it->second;
    if (true_colour_) {
      it->second = static_cast<long>(gget_color_rgb_Xval(static_cast<int>(r16), static_cast<int>(g16),
                                                         static_cast<int>(b16)));
    } else if (!table_full_) {
      it->second = alloc_pixel(r, g, b, -1);
      if (it->second < 0) {
        table_full_ = true;
        MESS_print(M_WARN, "goverlay_image: Too many image colours, the rest see-through\n");
        it->second = see_pixel_;
      }
    }
    return it->second;
  }

 private:
  long see_pixel_;
  Channel red_{0}, grn_{0}, blu_{0};
  bool true_colour_ = false;
  bool table_full_ = false;
  std::unordered_map<std::uint32_t, long> map_;
};

// Stores a device pixel as a 32-bit image pixel, least significant byte first.
void put_device_pixel(unsigned char* p, long pixel) {
  for (int b = 0; b < 4; ++b) p[b] = static_cast<unsigned char>((pixel >> (8 * b)) & 0xff);
}

// See-through pixel for a colour name: a colour-table entry, "#rrggbb", or
// the background.
long see_through_pixel(const char* background) {
  if (background && *background) {
    const int ind = CLR_get_ind(background);
    if (ind >= 0) return gget_color_ind(ind);
    unsigned r = 0, g = 0, b = 0;
    if (std::sscanf(background, "#%2x%2x%2x", &r, &g, &b) == 3) {
      return alloc_pixel(r / 255.0f, g / 255.0f, b / 255.0f, gget_color_ind(-1));
    }
    MESS_print(M_WARN, "goverlay_image: Unknown colour: %s\n", background);
  }
  return gget_color_ind(-1);
}

}  // namespace

// Replaces the pixels of an image by device pixels, 32 bits each (least
// significant byte first); the device converts them to its own layout.
// Indexed images (8, 4 or 1 bits) map their table's entries; direct-colour
// images (32, 24 or 16 bits through their masks, 8 bits of grey) their
// distinct colours.
int gsetup_image_colors(IMG_report* image, long see_pixel) {
  IMG_report& im = *image;
  if (!im.data || im.width <= 0 || im.height <= 0 || im.bytes_line <= 0) return 0;
  const bool indexed = im.color_type == 1;
  if (indexed && (!im.colors || (im.bits_pixel != 8 && im.bits_pixel != 4 && im.bits_pixel != 1))) return 0;
  if (!indexed) {
    const bool masked = im.red != 0 || im.grn != 0 || im.blu != 0;
    const bool ok = masked ? im.bits_pixel == 32 || im.bits_pixel == 24 || im.bits_pixel == 16
                           : im.bits_pixel == 8;
    if (!ok) return 0;
  }
  if (static_cast<long long>(im.bytes_line) * 8 < static_cast<long long>(im.width) * im.bits_pixel) return 0;
  std::vector<long> map(static_cast<std::size_t>(indexed ? im.num_colors : 0), -2);
  DirectColours direct(im, see_pixel);
  const int bytes_line = im.width * 4;
  auto* out = static_cast<unsigned char*>(std::calloc(static_cast<std::size_t>(bytes_line) * im.height, 1));
  if (!out) return 0;
  for (int row = 0; row < im.height; ++row)
    for (int col = 0; col < im.width; ++col) {
      const std::uint32_t v = source_pixel(im, row, col);
      unsigned char* p = out + static_cast<std::size_t>(row) * bytes_line + col * 4;
      if (!indexed) {
        put_device_pixel(p, direct.pixel(v));
        continue;
      }
      long pixel = see_pixel;
      if (v < static_cast<std::uint32_t>(std::max(im.num_colors, 0))) {
        if (map[v] == -2) {
          const IMG_color& k = im.colors[v];
          if (gis_color_near(static_cast<int>(see_pixel), k.red, k.grn, k.blu, 1)) {
            map[v] = see_pixel;
          } else {
            map[v] = alloc_pixel(k.red, k.grn, k.blu, see_pixel);
          }
        }
        pixel = map[v];
      }
      put_device_pixel(p, pixel);
    }
  std::free(im.data);
  im.data = out;
  im.bits_pixel = 32;
  im.depth = 24;
  im.bytes_line = bytes_line;
  im.byte_order = 0;
  // Device pixels now: on a TrueColor visual they are direct colours of its
  // masks (so a record can be overlaid again), elsewhere colour cells.
  im.color_type = 0;
  im.red = static_cast<unsigned>(gget_color_rgb_Xval(0xFFFF, 0, 0));
  im.grn = static_cast<unsigned>(gget_color_rgb_Xval(0, 0xFFFF, 0));
  im.blu = static_cast<unsigned>(gget_color_rgb_Xval(0, 0, 0xFFFF));
  return 1;
}

int goverlay_image(IMG_report* image, const char* background, int x, int y) {
  zor::gks::Device* dev = zor::gks::current_device();
  if (!dev || !image || !image->data) return 0;
  const long see = see_through_pixel(background);
  if (!gsetup_image_colors(image, see)) {
    MESS_print(M_WARN, "goverlay_image: Unsupported image layout\n");
    return 0;
  }
  Gxrect view;
  gget_xviewport(&view);
  const int vw = view.width, vh = view.height;
  const int px = x >= 0 ? view.x + x : view.x + vw - image->width + x;
  const int py = y >= 0 ? view.y + y : view.y + vh - image->height + y;
  // One bit per pixel where the image is not see-through, inside the viewport size.
  const std::size_t mask_line = static_cast<std::size_t>((image->width + 7) / 8);
  std::vector<std::uint8_t> mask(mask_line * image->height, 0);
  for (int row = 0; row < image->height && row < vh; ++row) {
    for (int col = 0; col < image->width && col < vw; ++col) {
      // Device pixels of 32 bits, the top byte unused.
      const long v = static_cast<long>(source_pixel(*image, row, col) & 0xffffffu);
      if (v != (see & 0xffffff))
        mask[row * mask_line + col / 8] = static_cast<std::uint8_t>(mask[row * mask_line + col / 8] | (1 << (col % 8)));
    }
  }
  return dev->put_pixels(*image, mask.data(), px, py) ? 1 : 0;
}

int goverlay_image_file(const char* filename, const char* background, int x, int y) {
  IMG_report image;
  if (IMG_read(filename, &image, 0) <= 0) return 0;
  const int ok = goverlay_image(&image, background, x, y);
  IMG_free(&image);
  return ok;
}
