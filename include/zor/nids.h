// NEXRAD Level III ("NIDS") product decoding: headers into one NIDS_info
// record, then the items of the first symbology layer and of the graphic
// alphanumeric pages one at a time. One product is read at a time.
#pragma once

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
// Forget everything about the current product (tests use this between files).
void NIDS_reset();

#include <functional>
#include <string>

namespace zor::nids {

// Writes a text listing of one product, line by line, to `line`: a header
// summary, then one line per item of the first layer ("R" radials with one
// value per bin, "W" rows, "T" texts, "V" vectors, "B" barbs), then the
// graphic pages' items prefixed by "P<page> ". Returns 0 when the product
// decoded cleanly, 1 when no header could be read, 2 when decoding stopped
// early (NIDS_last_error says why).
int dump_product(FILE* ifile, const std::function<void(const std::string&)>& line);

}  // namespace zor::nids
