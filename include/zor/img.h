// Raster image records: pictures captured from a raster device and images
// read from GIF, PNG, XWD and the system's own image files.
#pragma once

#include "zor/types.h"

struct IMG_color {
  float red = 0.0f;
  float grn = 0.0f;
  float blu = 0.0f;
};

// One image; `colors` and `data` are owned by the record (IMG_free).
struct IMG_report {
  int type = 0;
  int source = 0;
  int version = 0;
  char datim[50] = {};
  Date date;
  char info[75] = {};
  int width = 0;
  int height = 0;
  int depth = 0;
  float xres = 0.0f;
  float yres = 0.0f;
  float xoff = 0.0f;
  float yoff = 0.0f;
  int bits_pixel = 0;
  int bytes_line = 0;
  int byte_order = 0;  // 0 least significant byte first, 1 most significant first
  int color_type = 0;  // 1 indices into colors, 0 direct colour through the masks
  int num_colors = 0;
  unsigned int red = 0;
  unsigned int grn = 0;
  unsigned int blu = 0;
  IMG_color* colors = nullptr;
  int trans_color = -1;
  Domain domain;
  unsigned char* data = nullptr;
};

void IMG_init(IMG_report* image);
void IMG_free(IMG_report* image);

// Capture of the current drawing target of a raster workstation.
int gget_image(IMG_report* image);

int GIF_dump(const char* filename);
int PNG_dump(const char* filename);
int XWD_dump(const char* filename);
int IMG_dump(const char* filename);
int GIF_write(const char* filename, IMG_report* image);
int PNG_write(const char* filename, IMG_report* image);
int XWD_write(const char* filename, IMG_report* image);
int IMG_write(const char* filename, IMG_report* image, int type);
int GIF_interlace(int val);
int GIF_transparent(int val);

int IMG_read(const char* filename, IMG_report* image, int type);
int GIF_read(const char* filename, IMG_report* image, int type);
int PNG_read(const char* filename, IMG_report* image, int type);
int XWD_read(const char* filename, IMG_report* image, int type);
int IMG_read_zor(const char* filename, IMG_report* image, int type);

int goverlay_image_file(const char* filename, const char* background, int x, int y);
int goverlay_image(IMG_report* image, const char* background, int x, int y);

// Labels and frame written by IMG_dump: info "title [name]", datim, domain
// (nullptr: none).
void IMG_set_dump_labels(const char* title, const char* name, const char* datim);
void IMG_set_dump_domain(const Domain* domain);
// Waits of the own-format reader for a file still being written (count of
// retries, milliseconds each).
void IMG_set_read_retry(int count, int delay_ms);
namespace zor::img {
// Lowers the largest image side the readers accept (at most the default,
// 16384), so that a fuzzing run does not spend its time clearing gigabytes.
void set_max_side(int side);
}  // namespace zor::img
// Maps an indexed image's colours to device pixels (32 bits each, least
// significant byte first); colours within 0.01 of the see-through pixel's
// colour become that pixel. 1, or 0 for images it cannot map.
int gsetup_image_colors(IMG_report* image, long see_pixel);
