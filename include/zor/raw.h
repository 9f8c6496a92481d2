// Point value plotting: one point record (position, plot type, attributes,
// format words, a text and two values) drawn as a number, text, marker,
// cloud or weather symbol, wind barb, arrow, track or line, offset by a
// position word and coloured from its value through the fill levels.
#pragma once

#include "zor/types.h"

// Plot type codes of RAW_data::type (also the variable descriptions').
enum RAW_type_code : int {
  RAW_DATA = 1,
  RAW_VALUE = 2,
  RAW_TEXT = 3,
  RAW_MARK = 4,
  RAW_INT = 5,
  RAW_TRACK = 23,
  RAW_CLOUD = 31,
  RAW_WBARB = 32,
  RAW_CBARB = 33,
  RAW_DBARB = 34,
  RAW_VBARB = 35,
  RAW_SYMB = 36,
  RAW_LINE = 37,
};

// One point to plot.
struct RAW_data {
  float x = -9999.0f;  // plot position, world coordinates of the current plot
  float y = -9999.0f;
  int type = 1;        // plot type code
  Gattribs attr;       // -9999 fields leave the base attributes in force
  char format[80] = {};  // format words separated by ':'
  char data[40] = {};    // text, marker or symbol name, cloud code, "pre"/"post"
  // The value; direction and speed (knots) for the wind types; for type 5
  // the 32 bits of value[0] hold a signed integer. -9999 when missing.
  float value[2] = {-9999.0f, -9999.0f};
};

// Attributes of the plotter: a base copy per plot and a working copy per point.
struct RAW_attribs {
  Gattribs attrib;
  float intrvl = -9999.0f;  // colour interval
  float scale = 1.0f;       // size scale
  float base = 0.0f;        // colour base
  float min = -9999.0f;     // accepted value range (-9999: no limit)
  float max = -9999.0f;
  int type = 1;             // plot type
  char symbol[40] = {};     // symbol file
  char text[10] = {};       // fixed text drawn instead of the value
  char format[60] = {};     // number format
  int bar = -9999;          // bar base in world y (-9999: off)
  int marker = 0;           // marker type (1001: empty station circle)
  int hor = 2;              // text alignment
  int vert = 3;
  float x = 0.0f;           // text offset, fractions of the plot height
  float y = 0.0f;
  int line = 0;             // connect successive points
  int skip = 1;             // skip factor
};

// Marker type meaning "empty station circle".
inline constexpr int RAW_MARK_CIRCLE = 1001;

int RAW_init_attrib(RAW_attribs* attr);
// Base record for a plot from the data attributes and a size scale; -1 when
// nothing is to be plotted (plot component 12 off or plot type 99).
int RAW_plot_init(const Gattribs* attrib, float sc);
// The record's attributes made current on the graphics kernel.
int RAW_set_attribs(RAW_attribs* attr);
// Applies ':'-separated format words; returns the plot type they select, or 0.
int RAW_parse_format(RAW_attribs* attr, const char* fmt);
// Words of the plot_param resource applied to the base record.
int RAW_plot_param();
// Draws one point; -1 when not drawn (plot components or value range).
int RAW_plot_data(RAW_data* data);
// Position and values missing, texts empty, attributes unset.
int RAW_data_init(RAW_data* data);
// Only the values missing and the text empty.
int RAW_data_init_val(RAW_data* data);

// The plotter's current record (set changes the base record as well, so the
// setting holds for the points that follow).
int RAW_set_scale(float scale);
float RAW_get_scale();
int RAW_set_off(float xoff, float yoff);
int RAW_set_format(const char* format);
const char* RAW_get_format();

// Plots every point of a text file of points, one a line:
// "lat lon type value1 value2 data format" ("-" for an empty data or format);
// returns the number of points drawn, or -1 when the file does not open.
int RAW_plot_file(const char* filename);

namespace zor::raw {
// Fresh-process state: base and working records initial, no line points.
void reset();
// The base and working records (tests).
const RAW_attribs& base_record();
const RAW_attribs& working_record();
}  // namespace zor::raw
