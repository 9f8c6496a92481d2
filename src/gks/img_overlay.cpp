// Images drawn over the picture of a raster device: colours mapped onto the
// workstation's colours, a see-through mask, placement in the viewport.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "device.h"
#include "zor/gks.h"
#include "zor/img.h"
#include "zor/mess.h"

// The colour table lives in the plot library, above this one.
int CLR_get_ind(const char* name) __attribute__((weak));

namespace {

int source_pixel(const IMG_report& im, int row, int col) {
  const unsigned char* p = im.data + static_cast<std::size_t>(row) * im.bytes_line;
  switch (im.bits_pixel) {
    case 8: return p[col];
    case 4: return (col % 2 == 0) ? p[col / 2] >> 4 : p[col / 2] & 0x0f;
    case 1: return (p[col / 8] >> (col % 8)) & 1;
    default: return -1;
  }
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

// See-through pixel for a colour name: a colour-table entry, "#rrggbb", or
// the background.
long see_through_pixel(const char* background) {
  if (background && *background) {
    if (CLR_get_ind) {
      const int ind = CLR_get_ind(background);
      if (ind >= 0) return gget_color_ind(ind);
    }
    unsigned r = 0, g = 0, b = 0;
    if (std::sscanf(background, "#%2x%2x%2x", &r, &g, &b) == 3) {
      return alloc_pixel(r / 255.0f, g / 255.0f, b / 255.0f, gget_color_ind(-1));
    }
    MESS_print(M_WARN, "goverlay_image: Unknown colour: %s\n", background);
  }
  return gget_color_ind(-1);
}

}  // namespace

// Replaces the pixels of an indexed image by device pixels, 32 bits each
// (least significant byte first); the device converts them to its own layout.
int gsetup_image_colors(IMG_report* image, long see_pixel) {
  IMG_report& im = *image;
  if (im.color_type != 1 || !im.colors || !im.data) return 0;
  if (im.bits_pixel != 8 && im.bits_pixel != 4 && im.bits_pixel != 1) return 0;
  std::vector<long> map(static_cast<std::size_t>(im.num_colors), -2);
  const int bytes_line = im.width * 4;
  auto* out = static_cast<unsigned char*>(
      std::calloc(static_cast<std::size_t>(bytes_line) * (im.height > 0 ? im.height : 1), 1));
  if (!out) return 0;
  for (int row = 0; row < im.height; ++row)
    for (int col = 0; col < im.width; ++col) {
      const int v = source_pixel(im, row, col);
      long pixel = see_pixel;
      if (v >= 0 && v < im.num_colors) {
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
      unsigned char* p = out + static_cast<std::size_t>(row) * bytes_line + col * 4;
      for (int b = 0; b < 4; ++b) p[b] = static_cast<unsigned char>((pixel >> (8 * b)) & 0xff);
    }
  std::free(im.data);
  im.data = out;
  im.bits_pixel = 32;
  im.depth = 24;
  im.bytes_line = bytes_line;
  im.byte_order = 0;
  return 1;
}

int goverlay_image(IMG_report* image, const char* background, int x, int y) {
  zor::gks::Device* dev = zor::gks::current_device();
  if (!dev || !image || !image->data) return 0;
  const long see = see_through_pixel(background);
  if (image->color_type == 1 && !gsetup_image_colors(image, see)) {
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
    const unsigned char* p = image->data + static_cast<std::size_t>(row) * image->bytes_line;
    for (int col = 0; col < image->width && col < vw; ++col) {
      long v = 0;
      if (image->bits_pixel == 32) {
        const unsigned char* q = p + col * 4;
        v = image->byte_order ? (q[1] << 16 | q[2] << 8 | q[3]) : (q[2] << 16 | q[1] << 8 | q[0]);
      } else if (image->bits_pixel == 8) {
        v = p[col];
      } else {
        continue;
      }
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
