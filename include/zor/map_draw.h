// Map background: map lists with region boxes and scale conditions, map files
// (text or big-endian binary polylines of latitude/longitude points),
// latitude/longitude lines with labels, image and metafile overlays, and the
// range circles of the radar plots.
#pragma once

#include <cstdio>

#include "zor/types.h"

// Make the domain current and select transformation 2 on its limits.
int MAP_setup(Domain* domain);

// Draw the map items selected by flag (bit 1 "-" items, bit 2 "+" items,
// bit 4 plain items) and the latitude/longitude lines; returns 0.
int MAP_draw(int flag);

// One map-list item: 0 when handled, -1 when empty, a region box, skipped or
// failed.
int MAP_process(char* str);

// Draw one open map file: 0 at the end marker, -1 at end of file (or damaged
// data), 1 when the projection is not an earth projection.
int MAP_map(FILE* map_file);

// Latitude/longitude lines every dlat/dlon degrees, with labels.
int MAP_lines(float dlat, float dlon);

// Spacing and options of the lines MAP_draw adds; no lines when lat <= 0.
int MAP_latlon(float lat, float lon, int dt, int ex);
int MAP_get_latlon(float* lat, float* lon);

// Map list used when the map_file resource is not set.
int MAP_file(char* file);

// Attribute string for map files whose list item gives none.
int MAP_set_format(char* str);

// Data are colour-filled: the default map colour comes from color_cmap.
int MAP_fill_cont(int value);

// Height and width of window 2 in projection units (the scale measure of the
// map list), and the whole window.
float MAP_get_vert();
float MAP_get_hor();
int MAP_get_window(Glim* win);

// A 49-point circle of rad km around projection point (x, y).
int MAP_draw_circle(float x, float y, float rad);

// Standard pointer callback: values, zoom, resize.
int MAP_callback(int type, char* str, float x, float y);

namespace zor::map_draw {
// Back to the state of a fresh process (no list, no format, no lines); for tests.
void reset();
}  // namespace zor::map_draw
