// State shared by the NIDS reader, header and packet units. One product is
// read at a time, so the whole decoder lives in one process-wide record.
#pragma once

#include <array>
#include <cstring>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "zor/decompress.h"
#include "zor/nids.h"

namespace zor::nids {

inline constexpr int kBufSize = 10000;

enum class FileType { plain = 0, zlib = 1, encrypted = 2, bzip2 = 3 };

// The forward-only reader: file -> `in` -> (copy or decompress) -> `out`.
struct Reader {
  std::array<std::uint8_t, kBufSize> in{};
  std::array<std::uint8_t, kBufSize> out{};
  int isize = -1;  // -1: reset before the next read
  int iptr = 0;
  int iavail = 0;
  int osize = 0;
  int optr = 0;
  int oavail = 0;
  FileType file_type = FileType::plain;
  bool comp_test = false;
  bool stream_end = false;   // the last decompressor call finished its stream
  bool out_was_full = false; // the decompressor may still hold output
  bool eof = false;
  Decompressor zlib{Decompressor::Kind::zlib};
  Decompressor bzip2{Decompressor::Kind::bzip2};
  int zstat = 0;  // the decompression library's last status
  long bytes = 0;   // bytes handed out since the last page start
  long nbytes = 0;  // length of the current graphic page
  long total = 0;   // bytes handed out since the reader was reset

  void end_streams();
  void reset();
};

struct MessHeader {
  int code = 0, date = 0, time = 0, len = 0, src = 0, dest = 0, nblock = 0;
};

struct ProdDesc {
  int divider = 0, lat = 0, lon = 0, height = 0, code = 0, op_mode = 0, vol_cov_pat = 0;
  int seq_num = 0, vol_scan_num = 0, vol_scan_date = 0, vol_scan_time = 0;
  int prod_gen_date = 0, prod_gen_time = 0;
  int p1 = 0, p2 = 0, elev = 0, p3 = 0;
  std::array<std::uint16_t, 16> thres{};
  int p4 = 0, p5 = 0, p6 = 0, p7 = 0, p8 = 0, p9 = 0, p10 = 0;
  int nmaps = 0;
  long off_symb = 0, off_graph = 0, off_tab = 0;
};

struct ProdSymb {
  int divider = 0, id = 0;
  long len = 0;
  int nlayer = 0;
};

struct SymbLayer {
  int divider = 0;
  long len = 0;
};

struct GrAlpha {
  int divider = 0, id = 0;
  long len = 0;
  int npages = 0;
};

struct GrAlphaLayer {
  int number = 0, len = 0;
};

struct RadHdr {
  int irange = 0, nrange = 0, icenter = 0, jcenter = 0, scale = 0, nradial = 0;
};
struct RadDataHdr {
  int len = 0, sangle = 0, dangle = 0;
};
struct RasHdr {
  int istart = 0, jstart = 0, xscale = 0, xscale_dec = 0, yscale = 0, yscale_dec = 0;
  int nrows = 0, pack = 0;
};
struct RasDataHdr {
  int len = 0;
};
struct TextHdr {
  int len = 0, val = 0, i = 0, j = 0;
};
struct VectHdr {
  int len = 0, val = 0;
};

// What kind of items the current packet hands out.
enum class Kind {
  none, radial, digital_radial, raster, precip_array, text, vector, barb, skipped,
  linked,      // a line through points, handed out as vectors
  contour_colour,  // sets the value of the contours that follow
  container,   // storm positions: the packets inside follow as packets
  symbol,      // storm and feature symbols, handed out as texts
  generic,     // generic data (28) without radials: nothing to hand out
  generic_radial,  // generic data holding radials, read whole
};

// The radials of a generic data packet, their bins' raw values in `values`.
struct GenericRadial {
  float azimuth = 0.0f;
  float width = 0.0f;
  std::size_t first = 0;
  int bins = 0;
};
struct Generic {
  std::vector<float> values;
  std::vector<GenericRadial> radials;
  float bin_size = 0.0f;  // metres
};
// Reads the XDR-encoded product of a generic data packet; false (and `out`
// empty) unless its first component is radial and reads whole.
bool parse_generic(std::span<const std::uint8_t> data, Generic& out);

struct State {
  Reader rd;
  MessHeader mess;
  ProdDesc pr_desc;
  ProdSymb pr_symb;
  SymbLayer pr_symb_lyr;
  GrAlpha gr_alpha;
  GrAlphaLayer gr_alpha_lyr;
  RadHdr rad_hdr;
  RadDataHdr rad_data_hdr;
  RasHdr ras_hdr;
  RasDataHdr ras_data_hdr;
  TextHdr text_hdr;
  VectHdr vect_hdr;
  std::array<float, 16> thres{};

  int packet_code = 0;
  Kind kind = Kind::none;
  int cur_radial = 0;
  int cur_radius = 0;   // bytes of the current radial read
  int radial_bytes = 0; // bytes of the current radial
  bool in_radial = false;
  int cur_row = 0;
  int cur_column = 0;   // bytes of the current row read
  int row_bytes = 0;
  bool in_row = false;
  int cur_vector = 0;   // bytes of the current vector or barb packet read
  int item_bytes = 0;   // bytes of vectors, barbs or text characters
  bool text_done = false;
  // Values of the 256 levels of the current digital packet, filled on its
  // first bin so that the rule and its maths run once per packet.
  std::array<float, 256> digital{};
  bool digital_ready = false;
  std::vector<std::uint8_t> radial_buf;  // one radial's bytes, for the bulk reader
  float line_x = 0.0f, line_y = 0.0f;  // the last point of a linked line
  float line_val = 0.0f;               // value of the current line
  float contour_val = 0.0f;            // value set by the last contour colour
  int symbol_size = 0;                 // bytes per symbol of a symbol packet
  Generic generic;                     // the last generic data packet's radials

  bool layer_open = false;   // the first symbology layer may be walked
  long symb_start = -1;      // reader position of the symbology block
  bool graphic_open = false;
  int pages_read = 0;
  bool in_page = false;
  // Pages of lines standing where the symbology belongs (storm structure):
  // their number, the lines of the current page read, and its end seen.
  int text_pages = 0;
  int page_lines = 0;
  bool page_end = false;

  std::string ext_info;
  std::string error;
  std::string not_product;  // why the file is not a product, "" for a product
  std::string lead;         // the file's first bytes, to describe a non-product
  std::string ident;        // "BMX N0Q": radar and mnemonic from the bulletin's product line

  // Settings of the caller, kept across products: interface-document values
  // (NIDS_set_icd), and code 1 of the 8-bit velocities handed out as range
  // folded (-90) rather than missing, which the plot asks for to draw it.
  bool icd = false;
  bool fold_code1 = false;

  // Clears everything but the caller's extension string and settings.
  void reset();
};

// Inline so that the per-bin readers reach it without a call.
inline State& state() {
  static State s;
  return s;
}

// Records why decoding stopped (the first reason wins) and traces it.
void set_error(const std::string& why);

// Reads exactly n bytes through the reader; false on failure.
bool read_bytes(FILE* f, std::uint8_t* data, int n);
// The common case of `read_bytes`, inline for the per-bin readers: a few
// bytes out of a full output buffer. False means "take the general path".
inline bool read_buffered(std::uint8_t* data, int n) {
  Reader& r = state().rd;
  if (n < 0 || n > r.oavail || r.isize == -1 || r.comp_test || r.file_type == FileType::encrypted) return false;
  std::memcpy(data, r.out.data() + r.optr, static_cast<std::size_t>(n));
  r.optr += n;
  r.oavail -= n;
  r.bytes += n;
  r.total += n;
  return true;
}
// Consumes n bytes through the reader in chunks; false on failure.
bool skip_bytes(FILE* f, long n);

// Product-code rules used by the header and packet units.
enum class DigitalRule { linear, dvil, eet, scaled_offset, width };
// Set by NIDS_set_icd.
bool icd_values();
DigitalRule digital_rule(int code);
bool divide_by_100(int code);
void decode_thresholds(int code, const std::array<std::uint16_t, 16>& t, std::array<float, 16>& out);
float generic_threshold(std::uint16_t t);

}  // namespace zor::nids
