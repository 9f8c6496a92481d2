// NEXRAD Level III ("NIDS") product decoding: headers into one NIDS_info
// record, then the items of the first symbology layer and of the graphic
// alphanumeric pages one at a time. One product is read at a time.
#pragma once

#include "zor/plt_param.h"

#include <cstdio>

#include "zor/types.h"

// The decoded product header.
struct NIDS_info {
  char info[50] = {};   // product name
  char misc[50] = {};   // label text: mode, range, elevation, maxima
  int src = 0;          // source identifier (above 9999: mosaic producer)
  int mode = 0;         // operational mode
  int code = 0;         // product code
  int type = 0;         // first packet code of the first layer (0xBA07 as 0xBA0F)
  Date date;            // volume scan date and time
  Domain domain;        // map domain of the product
  int nx = 0;           // image columns
  int ny = 0;           // image rows
  float res = 0.0f;     // bin size: nautical miles (sites), kilometres (mosaics)
  float alt = 0.0f;     // radar height, metres
  float thres[16] = {}; // decoded data thresholds
  float elev = -9999.0f;
  float elevt = -9999.0f;
  float range = 0.0f;   // nautical miles, 0 for mosaics
  float max = -9999.0f;
  float nmax = -9999.0f;
  int beg_date = -9999;
  int beg_time = -9999;
  int end_date = -9999;
  int end_time = -9999;
};

// One run of bins (radials) or cells (rows); val -9999 for no data.
struct NIDS_data {
  float run = 0.0f;
  float val = 0.0f;
};

struct NIDS_vector_data {
  float val = 0.0f;
  float x1 = 0.0f;
  float y1 = 0.0f;
  float x2 = 0.0f;
  float y2 = 0.0f;
};

struct NIDS_text_data {
  float val = 0.0f;
  float x = 0.0f;
  float y = 0.0f;
  char data[100] = {};
};

struct NIDS_wind_data {
  float val = 0.0f;
  float x = 0.0f;
  float y = 0.0f;
  float dir = 0.0f;
  float spd = 0.0f;
};

// Packet codes handed out by NIDS_packet.
inline constexpr int NIDS_PKT_RADIAL = 0xAF1F;
inline constexpr int NIDS_PKT_DIGITAL_RADIAL = 16;
inline constexpr int NIDS_PKT_RASTER = 0xBA0F;
inline constexpr int NIDS_PKT_RASTER_OLD = 0xBA07;
inline constexpr int NIDS_PKT_PRECIP_ARRAY = 17;
inline constexpr int NIDS_PKT_TEXT = 1;
inline constexpr int NIDS_PKT_TEXT_VALUE = 8;
inline constexpr int NIDS_PKT_VECTOR = 7;
inline constexpr int NIDS_PKT_VECTOR_VALUE = 10;
inline constexpr int NIDS_PKT_WIND_BARB = 4;
// Generic data: radials of a generic product, handed out as digital radials.
inline constexpr int NIDS_PKT_GENERIC = 28;

// Lines through points (linked vectors 6 and 9, linked contours 0x0E03) and
// unlinked contours (0x3501) hand out their segments through NIDS_get_vector.
inline bool NIDS_line_packet(int code) { return code == 6 || code == 9 || code == 0x0E03 || code == 0x3501; }
// Special text symbols (2) hand out one text; storm and feature symbols
// (TVS 12, ETVS 26, storm id 15, hail 19, point feature 20, track circle
// 25) one text per symbol, each through NIDS_get_text until it returns 0.
inline bool NIDS_symbol_packet(int code) {
  return code == 2 || code == 12 || code == 15 || code == 19 || code == 20 || code == 25 || code == 26;
}

int NIDS_set_ext_info(const char* str);
int NIDS_get_header(FILE* ifile, NIDS_info* info);
int NIDS_mess_header(FILE* ifile);
int NIDS_prod_desc(FILE* ifile);
int NIDS_prod_symb(FILE* ifile);
int NIDS_prod_symb_layer(FILE* ifile);
int NIDS_packet(FILE* ifile, int* code);
int NIDS_get_radial(FILE* ifile, float* sangle, float* dangle);
int NIDS_get_rastor(FILE* ifile);
int NIDS_get_data(FILE* ifile, NIDS_data* data);
int NIDS_get_vector(FILE* ifile, NIDS_vector_data* vect_data);
int NIDS_get_wind(FILE* ifile, NIDS_wind_data* wind);
int NIDS_get_text(FILE* ifile, NIDS_text_data* text);
int NIDS_graphic(FILE* ifile);
int NIDS_graphic_layer(FILE* ifile);
int NIDS_read(unsigned char* data, int dsize, FILE* ifile);
int NIDS_read_short(unsigned char* val, FILE* ifile);
int NIDS_read_long(unsigned char* val, FILE* ifile);
int NIDS_skip_line(FILE* ifile);
float NIDS_float16(int val);
float NIDS_float32(int val1, int val2);
int NIDS_julian_date(int julian, int* year, int* month, int* day);
int NIDS_dec_time(int secs, int* hour, int* min, int* sec);

// Why the last product stopped early ("" when it decoded cleanly or simply
// ran out of packets): encrypted data, a truncated item, a count out of
// range, a decompression failure. Cleared by NIDS_get_header.
const char* NIDS_last_error();
// Why the file read by the last NIDS_get_header is not a product at all (a
// status or free-text message, a Level II volume, other text or data), ""
// for a product. Such a file still yields a header, but nothing to plot.
const char* NIDS_not_product();
// Radar and product mnemonic of the last header read ("BMX N0Q"), taken from
// the bulletin's product identifier line ("N0QBMX"); "" when the file has none.
const char* NIDS_product_ident();
// Values as the interface control document gives them instead of the
// format's long-standing ones: 8-bit levels as min + (b - 2) x increment
// (32, 94, 99, 153, 154, 182, 186), code 1 as data (170-175), TDWR velocity
// (182) in knots. Off by default; kept until changed or NIDS_reset.
void NIDS_set_icd(int on);
int NIDS_get_icd();
// Forget everything about the current product (tests use this between files).
void NIDS_reset();

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zor::nids {

// Writes a text listing of one product, line by line, to `line`: a header
// summary, then one line per item of the first layer ("R" radials with one
// value per bin, "W" rows, "T" texts, "V" vectors, "B" barbs), then the
// graphic pages' items prefixed by "P<page> ". Returns 0 when the product
// decoded cleanly, 1 when no header could be read, 2 when decoding stopped
// early (NIDS_last_error says why). An empty `line` decodes the product
// without listing it.
int dump_product(FILE* ifile, const std::function<void(const std::string&)>& line);

// The rest of the current radial in one read: the runs NIDS_get_data would
// hand out one call at a time, in order. 0 when the radial is done, -1 on a
// read error.
int get_radial_runs(FILE* ifile, std::vector<NIDS_data>& runs);

// The current packet's radials as 8-bit codes (digital radials): the rest of
// the current radial's codes, and the value of each code, which are the
// values get_radial_runs would hand out. A caller that formats or colours a
// value once per code reads these. get_radial_codes returns 0 when read
// (nothing when the packet is not of 8-bit codes), -1 on a read error.
bool radial_codes_available();
int get_radial_codes(FILE* ifile, std::vector<std::uint8_t>& codes);
const std::array<float, 256>& radial_code_values();

// While on, code 1 of the 8-bit velocities (range folded) reads as -90, not
// missing, so that the plot can draw it; dumps keep the decoded value.
void set_fold_code1(bool on);

}  // namespace zor::nids

// ---- Plotting ------------------------------------------------------------
// One product plot per process: the map, the product's symbology coloured by
// the fill table of its product code, a colour bar, labels and the layer built
// from the graphic pages (storm tables, symbols, range rings, site, watches).

struct VAR_data;
struct RAW_data;

// One storm of a storm attribute table.
struct NIDS_report {
  char id[4] = {};       // storm identifier
  float ang = -9999.0f;  // azimuth from the radar, degrees
  float rad = -9999.0f;  // range, nautical miles
  int tvs = 0;           // 1: tornado vortex signature
  int meso = 0;          // 1 or a mesocyclone rank
  int hail = 0;          // probability of hail, percent
  int shail = 0;         // probability of severe hail, percent
  float hsize = 0.0f;    // maximum hail size
  float vil = 0.0f;
  float max_dbz = 0.0f;
  float max_dbz_z = 0.0f;  // height of the maximum
  float vlow = 0.0f;
  float tops = 0.0f;       // echo top
  float dir = -9999.0f;    // direction the storm moves from, degrees
  float spd = -9999.0f;    // knots
  float mw_vol = 0.0f;
};

// Unit edge vectors of a radial wedge.
struct WEDGE_info {
  double dx1 = 0.0;
  double dy1 = 0.0;
  double dx2 = 0.0;
  double dy2 = 0.0;
  float drad = 0.0f;
};

int NIDS_set_date(Date* datim);
int NIDS_open_file(char* filename);
int NIDS_close_file();
int NIDS_rewind_file();
int NIDS_print_info();
int NIDS_plot(Domain* domain);
int NIDS_plot_frame();
int NIDS_plot_nextfile();
int NIDS_plot_summary();
int NIDS_plot_data();
int NIDS_plot_WEDGE(Gpt* pts, WEDGE_info* wedge, float radius, float intens);
int NIDS_get_plot_data(NIDS_report* report, VAR_data* var, RAW_data* data);
int NIDS_plot_param();
int NIDS_grd_out_file();
void NIDS_callback(int type, char* str, float x, float y);
int NIDS_print_loc_elev(char* str, float x, float y, float slat, float slon, float selev);

namespace zor::nids_plot {

// Colour-fill list of a product code; `levels` is set when the
// product's 16 thresholds are given as the fill levels first. Product 48
// (`base_interval`) uses base 0, interval 4 and range 16 instead.
struct FillTable {
  const char* colours;
  bool levels;
  bool base_interval;
};
FillTable fill_table(int code);
// `colours` with bar names added (":la="): ND and RF on the flag levels
// (-200, -100, -90; -90 as the first of
// `thres` is ND), class names on the hydrometeor classes of 165 and
// 177 and state names on the filter states of 34. A step's level is its own prefix, else thres[step] when given.
std::string labelled_fill(const char* colours, int code, const float* thres);

// Storm table layout of a header line: 1 ("VLOW"), 2 ("VIL"), else
// `current`; 3, the storm structure table of product 62, is kept.
int storm_table_type(const char* line, int current);
// Parses one storm line of layout `type`; false for header and "NO STORM"
// lines and lines that do not parse.
bool parse_storm_line(const char* line, int type, NIDS_report* storm);

// Pages of a storm product drawn with "graph", each in a cell `cell` page
// units high and one page wide: the columns that need the page space to
// grow least, and that growth (at least 1; the text shrinks by it).
struct PageLayout {
  int cols;
  float scale;
};
PageLayout page_layout(int pages, float cell);

// The plotter's settings from plot_param, as read by NIDS_plot_param.
struct Params : plt::SiteParams {
  int num_plt = 0;
  int plt_strong = 0;
  int icd = 0;  // values as the interface control document gives them
};
Params params();

// Header of the current (or last) product file, with its domain as plotted.
const NIDS_info& info();

// Fill areas drawn by the last symbology layer (one per colour run), for
// tests and the benchmark.
long fill_calls();

// Back to the start-up state (tests).
void reset();

}  // namespace zor::nids_plot
