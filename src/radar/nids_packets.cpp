// The packets of the first symbology layer and of the graphic alphanumeric
// pages, handed out one item at a time. One table row per packet kind says
// how its header is read; item readers never pass a packet's declared length.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "nids_internal.h"
#include "nids_products.h"
#include "zor/byte_reader.h"
#include "zor/mess.h"

namespace zor::nids {

namespace {

// Limits well above anything a radar product carries; beyond them the
// header is corrupt.
constexpr int kMaxRadials = 3600;
constexpr int kMaxBins = 4096;
constexpr int kMaxRows = 4096;
constexpr int kMaxPages = 1000;
constexpr long kMaxGeneric = 64L << 20;

int read_header(FILE* f, std::uint8_t* raw, int n) {
  const int stat = NIDS_read(raw, n, f);
  if (stat != 1) set_error("NIDS: product ends inside a packet header");
  return stat == 1 ? 1 : -1;
}

int radial_header(FILE* f, State& s) {
  std::uint8_t raw[12];
  if (read_header(f, raw, 12) != 1) return -1;
  ByteReader b(raw, 12);
  RadHdr& h = s.rad_hdr;
  h.irange = b.i16();
  h.nrange = b.i16();
  h.icenter = b.i16();
  h.jcenter = b.i16();
  h.scale = b.i16();
  h.nradial = b.i16();
  MESS_print(M_OUT4, "First bin: %d bins: %d centre: %d %d scale: %d radials: %d\n", h.irange,
             h.nrange, h.icenter, h.jcenter, h.scale, h.nradial);
  if (h.nradial < 0 || h.nradial > kMaxRadials || h.nrange < 0 || h.nrange > kMaxBins) {
    set_error("NIDS: radial packet with " + std::to_string(h.nradial) + " radials of " +
              std::to_string(h.nrange) + " bins is out of range");
    return -1;
  }
  s.cur_radial = 0;
  s.in_radial = false;
  return 1;
}

int raster_header(FILE* f, State& s) {
  std::uint8_t raw[20];
  if (read_header(f, raw, 20) != 1) return -1;
  ByteReader b(raw, 20);
  b.skip(4);  // operation flags
  RasHdr& h = s.ras_hdr;
  h.istart = b.i16();
  h.jstart = b.i16();
  h.xscale = b.i16();
  h.xscale_dec = b.i16();
  h.yscale = b.i16();
  h.yscale_dec = b.i16();
  h.nrows = b.i16();
  h.pack = b.i16();
  MESS_print(M_OUT4, "Start: %d %d scale: %d %d rows: %d pack: %d\n", h.istart, h.jstart,
             h.xscale, h.yscale, h.nrows, h.pack);
  if (h.nrows < 0 || h.nrows > kMaxRows) {
    set_error("NIDS: raster packet with " + std::to_string(h.nrows) + " rows is out of range");
    return -1;
  }
  s.cur_row = 0;
  s.in_row = false;
  return 1;
}

int precip_header(FILE* f, State& s) {
  std::uint8_t raw[8];
  if (read_header(f, raw, 8) != 1) return -1;
  ByteReader b(raw, 8);
  b.skip(4);  // spare words
  const int boxes = b.i16();
  MESS_print(M_OUT4, "Number of LFM boxes in row: %d\n", boxes);
  s.ras_hdr = RasHdr{};
  s.ras_hdr.nrows = b.i16();
  if (s.ras_hdr.nrows < 0 || s.ras_hdr.nrows > kMaxRows || boxes < 0 || boxes > kMaxRows) {
    set_error("NIDS: precipitation array of " + std::to_string(s.ras_hdr.nrows) + " rows of " +
              std::to_string(boxes) + " boxes is out of range");
    return -1;
  }
  s.cur_row = 0;
  s.in_row = false;
  return 1;
}

int text_header(FILE* f, State& s, bool with_value) {
  const int n = with_value ? 8 : 6;
  std::uint8_t raw[8];
  if (read_header(f, raw, n) != 1) return -1;
  ByteReader b(raw, static_cast<std::size_t>(n));
  TextHdr& h = s.text_hdr;
  h.len = b.u16();
  h.val = with_value ? b.i16() : 0;
  h.i = b.i16();
  h.j = b.i16();
  const int fixed = with_value ? 6 : 4;
  if (h.len < fixed) {
    set_error("NIDS: text packet of " + std::to_string(h.len) + " bytes is too short");
    return -1;
  }
  s.item_bytes = h.len - fixed;
  s.text_done = false;
  return 1;
}

int vector_header(FILE* f, State& s, bool with_value) {
  std::uint8_t raw[4];
  if (read_header(f, raw, with_value ? 4 : 2) != 1) return -1;
  ByteReader b(raw, with_value ? 4 : 2);
  s.vect_hdr.len = b.u16();
  s.vect_hdr.val = with_value ? b.i16() : 0;
  s.item_bytes = s.vect_hdr.len - (with_value ? 2 : 0);
  if (s.item_bytes < 0) {
    set_error("NIDS: vector packet of " + std::to_string(s.vect_hdr.len) + " bytes is too short");
    return -1;
  }
  s.cur_vector = 0;
  return 1;
}

int length_header(FILE* f, State& s) {
  std::uint8_t raw[2];
  if (read_header(f, raw, 2) != 1) return -1;
  s.vect_hdr.len = ByteReader(raw, 2).u16();
  s.item_bytes = s.vect_hdr.len;
  s.cur_vector = 0;
  return 1;
}

// A line through points: packets 6 and 9 (length, value for 9, start
// point, points) and the linked contour 0x0E03 (0x8000, start point, length
// of the points).
int linked_header(FILE* f, State& s, int code) {
  std::uint8_t raw[8];
  const int n = code == 9 ? 8 : code == 6 ? 6 : 8;
  if (read_header(f, raw, n) != 1) return -1;
  ByteReader b(raw, static_cast<std::size_t>(n));
  if (code == 0x0E03) {
    b.skip(2);  // initial point indicator
    s.line_x = b.i16();
    s.line_y = b.i16();
    s.vect_hdr.len = b.u16();
    s.item_bytes = s.vect_hdr.len;
    s.line_val = s.contour_val;
  } else {
    s.vect_hdr.len = b.u16();
    s.line_val = code == 9 ? static_cast<float>(b.i16()) : 0.0f;
    s.line_x = b.i16();
    s.line_y = b.i16();
    s.item_bytes = s.vect_hdr.len - (code == 9 ? 6 : 4);
  }
  s.cur_vector = 0;
  if (s.item_bytes < 0) {
    set_error("NIDS: line packet of " + std::to_string(s.vect_hdr.len) + " bytes is too short");
    return -1;
  }
  return 1;
}

// 0x0802: value indicator (2), then the value of the contours that follow.
int contour_colour_header(FILE* f, State& s) {
  std::uint8_t raw[4];
  if (read_header(f, raw, 4) != 1) return -1;
  ByteReader b(raw, 4);
  b.skip(2);
  s.contour_val = b.i16();
  return 1;
}

// Bytes of one symbol by packet code: position first, then what the symbol
// carries (storm id, hail probabilities, feature type, circle radius).
struct SymbolLayout {
  int code;
  int size;
};
constexpr SymbolLayout kSymbols[] = {
    {12, 4},   // tornado vortex signature
    {26, 4},   // elevated tornado vortex signature
    {15, 6},   // storm identifier: two characters
    {19, 10},  // hail: probability, severe probability, maximum size
    {20, 8},   // point feature: type, attribute
    {25, 6},   // storm track circle: radius
};

int symbol_size(int code) {
  for (const auto& l : kSymbols)
    if (l.code == code) return l.size;
  return 0;
}

struct PacketKind {
  int code;
  Kind kind;
  const char* trace;  // with the packet length, when it has one
};

constexpr PacketKind kPackets[] = {
    {0xAF1F, Kind::radial, nullptr},
    {16, Kind::digital_radial, nullptr},
    {0xBA0F, Kind::raster, nullptr},
    {0xBA07, Kind::raster, nullptr},
    {17, Kind::precip_array, nullptr},
    {1, Kind::text, "Uniform Text Data:%d\n"},
    {8, Kind::text, "Uniform Text Data:%d\n"},
    {7, Kind::vector, "Unlinked Vector Data:%d\n"},
    {10, Kind::vector, "Unlinked Vector Data:%d\n"},
    {4, Kind::barb, "Wind Barb Data:%d\n"},
    {5, Kind::skipped, "Vector Arrow Data:%d\n"},
    {18, Kind::skipped, "Supplemental Precipitation Data:%d\n"},
    {6, Kind::linked, "Linked Vector Data:%d\n"},
    {9, Kind::linked, "Linked Vector Data:%d\n"},
    {0x0E03, Kind::linked, "Linked Contour Vectors:%d\n"},
    {0x3501, Kind::vector, "Unlinked Contour Vectors:%d\n"},
    {0x0802, Kind::contour_colour, nullptr},
    {2, Kind::text, "Special Text Symbol:%d\n"},
    {3, Kind::skipped, "Special Symbolic Graphic Data:%d\n"},
    {11, Kind::skipped, "Special Symbolic Graphic Data:%d\n"},
    {13, Kind::skipped, "Special Symbolic Graphic Data:%d\n"},
    {14, Kind::skipped, "Special Symbolic Graphic Data:%d\n"},
    {12, Kind::symbol, "Special Symbolic Graphic Data:%d\n"},
    {15, Kind::symbol, "Special Symbolic Graphic Data:%d\n"},
    {19, Kind::symbol, "Hail Data:%d\n"},
    {20, Kind::symbol, "Point Feature Data:%d\n"},
    {25, Kind::symbol, "Storm Track Circle Data:%d\n"},
    {26, Kind::symbol, "Special Symbolic Graphic Data:%d\n"},
    {28, Kind::generic, "Generic Data:%ld\n"},
    {23, Kind::container, "Storm Track Past Data:%d\n"},
    {24, Kind::container, "Storm Track Forecast Data:%d\n"},
};

const PacketKind* find_packet(int code) {
  for (const auto& p : kPackets)
    if (p.code == code) return &p;
  return nullptr;
}

int read_packet_header(FILE* f, State& s, const PacketKind& p) {
  switch (p.kind) {
    case Kind::radial:
      MESS_print(M_OUT4, "Radial Data\n");
      return radial_header(f, s);
    case Kind::digital_radial: return radial_header(f, s);
    case Kind::raster:
      MESS_print(M_OUT4, "Rastor Data\n");
      return raster_header(f, s);
    case Kind::precip_array: {
      const int stat = precip_header(f, s);
      MESS_print(M_OUT4, "Digital Precipitation Array Data:%d\n", s.ras_hdr.nrows);
      return stat;
    }
    case Kind::text: {
      const int stat = text_header(f, s, p.code == 8);
      MESS_print(M_OUT4, p.trace, s.text_hdr.len);
      return stat;
    }
    case Kind::vector: {
      const int stat = vector_header(f, s, p.code == 10);
      MESS_print(M_OUT4, p.trace, s.vect_hdr.len);
      return stat;
    }
    case Kind::barb: {
      const int stat = length_header(f, s);
      MESS_print(M_OUT4, p.trace, s.vect_hdr.len);
      return stat;
    }
    case Kind::linked: {
      const int stat = linked_header(f, s, p.code);
      MESS_print(M_OUT4, p.trace, s.vect_hdr.len);
      return stat;
    }
    case Kind::contour_colour: return contour_colour_header(f, s);
    case Kind::generic: {
      // Two spare bytes and a 32-bit length of XDR-encoded product, read
      // whole when it is of a size a product can have, else stepped over.
      std::uint8_t raw[6];
      if (read_header(f, raw, 6) != 1) return -1;
      ByteReader b(raw, 6);
      b.skip(2);
      const long n = b.u32();
      MESS_print(M_OUT4, p.trace, n);
      s.generic = Generic{};
      if (n > kMaxGeneric) {
        if (!skip_bytes(f, n)) {
          set_error("NIDS: product ends inside a packet");
          return -1;
        }
        return 1;
      }
      // Grown as the bytes arrive, so a false length costs no more memory
      // than the file holds.
      std::vector<std::uint8_t> data;
      std::uint8_t chunk[4096];
      for (long at = 0; at < n;) {
        const int want = static_cast<int>(std::min<long>(n - at, sizeof chunk));
        if (!read_bytes(f, chunk, want)) {
          set_error("NIDS: product ends inside a packet");
          return -1;
        }
        data.insert(data.end(), chunk, chunk + want);
        at += want;
      }
      parse_generic(data, s.generic);
      return 1;
    }
    case Kind::symbol:
    case Kind::container: {
      if (length_header(f, s) != 1) return -1;
      MESS_print(M_OUT4, p.trace, s.vect_hdr.len);
      s.symbol_size = symbol_size(p.code);
      return 1;
    }
    case Kind::skipped: {
      if (length_header(f, s) != 1) return -1;
      MESS_print(M_OUT4, p.trace, s.vect_hdr.len);
      if (!skip_bytes(f, s.item_bytes)) {
        set_error("NIDS: product ends inside a packet");
        return -1;
      }
      return 1;
    }
    case Kind::generic_radial:
    case Kind::none: break;
  }
  return 0;
}

// Reading `n` item bytes that the header promised; running out is a
// truncated product.
[[gnu::noinline]] bool item_read_refill(FILE* f, std::uint8_t* raw, int n) {
  if (read_bytes(f, raw, n)) return true;
  set_error("NIDS: product ends inside a packet");
  return false;
}

// Inline, so that a per-bin read of a constant count is a load or two.
inline bool item_read(FILE* f, std::uint8_t* raw, int n) {
  return read_buffered(raw, n) || item_read_refill(f, raw, n);
}

bool skip_item(FILE* f, long n) {
  if (n <= 0 || skip_bytes(f, n)) return true;
  set_error("NIDS: product ends inside a packet");
  return false;
}

bool radial_kind(Kind k) { return k == Kind::radial || k == Kind::digital_radial; }
bool row_kind(Kind k) { return k == Kind::raster || k == Kind::precip_array; }

// Consumes what the caller left of the current packet, so the next packet
// header is read from the right place.
bool finish_packet(FILE* f, State& s) {
  if (radial_kind(s.kind)) {
    float a, b;
    while (true) {
      const int stat = NIDS_get_radial(f, &a, &b);
      if (stat == 0) return true;
      if (stat < 0) return false;
    }
  }
  if (row_kind(s.kind)) {
    while (true) {
      const int stat = NIDS_get_rastor(f);
      if (stat == 0) return true;
      if (stat < 0) return false;
    }
  }
  if (s.kind == Kind::text && !s.text_done) {
    s.text_done = true;
    return skip_item(f, s.item_bytes);
  }
  if (s.kind == Kind::vector || s.kind == Kind::barb || s.kind == Kind::linked || s.kind == Kind::symbol) {
    const int left = s.item_bytes - s.cur_vector;
    s.cur_vector = s.item_bytes;
    return skip_item(f, left);
  }
  return true;
}

float level_value(const State& s, int level) {
  if (level < 0 || level > 15) return ZOR_MISSING_F;
  return s.thres[static_cast<std::size_t>(level)];
}

// Levels of the spectrum width codes: 129 is zero width, as in the base data.
constexpr int kWidthZero = 129;

float digital_value(const State& s, int b) {
  const int code = s.mess.code;
  const ProductRules& pr = rules(code);
  const bool icd = icd_values();
  if (b == 0) return ZOR_MISSING_F;
  if (b == 1) {
    if (pr.folded_code1 && s.fold_code1) return -90.0f;
    if (!(icd && pr.divide_by_100)) return ZOR_MISSING_F;
  }
  const auto& t = s.thres;
  float v = 0.0f;
  switch (pr.digital) {
    case DigitalRule::dvil:
      v = b < t[2] ? (b - t[1]) / t[0] : std::exp((b - t[4]) / t[3]);
      break;
    case DigitalRule::eet:
      v = ((b & s.pr_desc.thres[0]) / t[1]) - t[2];
      break;
    case DigitalRule::scaled_offset: v = (b - t[2]) / t[0]; break;
    case DigitalRule::width:
      if (b < kWidthZero) return ZOR_MISSING_F;
      v = t[0] + (b - kWidthZero) * t[1];
      break;
    case DigitalRule::linear: v = t[0] + (icd && pr.icd_from_two ? b - 2 : b) * t[1]; break;
  }
  if (pr.divide_by_100) v /= 100.0f;
  return v;
}

// A generic radial's raw value in the product's units: scale and offset
// from the thresholds where the product has them.
inline float generic_value(const State& s, const ProductRules& pr, float raw) {
  float v = raw;
  if (pr.digital == DigitalRule::scaled_offset) v = (raw - s.thres[2]) / s.thres[0];
  if (pr.divide_by_100) v /= 100.0f;
  return v;
}

// The next symbol of a symbol packet as a text at its position: the storm
// id, "TVS", "ETVS", hail "H<probability>/<severe probability>", a point
// feature "F<type>", a track circle "O" (radius as the value).
int next_symbol(FILE* f, State& s, NIDS_text_data* text) {
  const int n = s.symbol_size;
  if (n <= 0 || s.item_bytes - s.cur_vector < n) {
    if (!skip_item(f, s.item_bytes - s.cur_vector)) return -1;
    s.cur_vector = s.item_bytes;
    return 0;
  }
  std::uint8_t raw[10];
  if (!item_read(f, raw, n)) return -1;
  s.cur_vector += n;
  ByteReader b(raw, static_cast<std::size_t>(n));
  text->x = b.i16();
  text->y = b.i16();
  text->val = 0.0f;
  switch (s.packet_code) {
    case 12: std::snprintf(text->data, sizeof text->data, "TVS"); break;
    case 26: std::snprintf(text->data, sizeof text->data, "ETVS"); break;
    case 15: {
      const char id[3] = {static_cast<char>(raw[4]), static_cast<char>(raw[5]), '\0'};
      std::snprintf(text->data, sizeof text->data, "%s", id);
      break;
    }
    case 19: {
      const int poh = b.i16(), posh = b.i16();
      text->val = b.i16();  // maximum size
      std::snprintf(text->data, sizeof text->data, "H%d/%d", poh, posh);
      break;
    }
    case 20: {
      const int type = b.i16();
      text->val = b.i16();  // attribute
      std::snprintf(text->data, sizeof text->data, "F%d", type);
      break;
    }
    default:
      text->val = b.i16();  // radius
      std::snprintf(text->data, sizeof text->data, "O");
      break;
  }
  MESS_print(M_OUT4, "SYMBOL: %s\n", text->data);
  return 1;
}

// Height of a line of text on a page, in the page's 0-511 space.
constexpr int kLineStep = 10;
constexpr int kMaxLine = 200;

// The next line of a page of text lines, handed out as a text packet at the
// line's place; 0 at the page's end (-1).
int text_line(FILE* f, State& s, int* code) {
  if (s.page_end) return 0;
  std::uint8_t raw[2];
  if (!read_bytes(f, raw, 2)) {
    set_error("NIDS: product ends inside a page");
    return -1;
  }
  const int n = ByteReader(raw, 2).i16();
  if (n == -1) {
    s.page_end = true;
    return 0;
  }
  if (n < 0 || n > kMaxLine) {
    set_error("NIDS: text line of " + std::to_string(n) + " characters is out of range");
    return -1;
  }
  s.packet_code = NIDS_PKT_TEXT;
  if (code) *code = NIDS_PKT_TEXT;
  s.text_hdr = TextHdr{n, 0, 0, kLineStep * ++s.page_lines};
  s.item_bytes = n;
  s.text_done = false;
  s.kind = Kind::text;
  return 1;
}

}  // namespace

bool icd_values() { return state().icd; }

void State::reset() {
  const std::string keep_ext = ext_info;
  const bool keep_icd = icd, keep_fold = fold_code1;
  rd.reset();
  rd.isize = -1;
  mess = {};
  pr_desc = {};
  pr_symb = {};
  pr_symb_lyr = {};
  gr_alpha = {};
  gr_alpha_lyr = {};
  rad_hdr = {};
  rad_data_hdr = {};
  ras_hdr = {};
  ras_data_hdr = {};
  text_hdr = {};
  vect_hdr = {};
  thres.fill(0.0f);
  packet_code = 0;
  kind = Kind::none;
  cur_radial = cur_radius = radial_bytes = 0;
  cur_row = cur_column = row_bytes = 0;
  cur_vector = item_bytes = 0;
  line_x = line_y = line_val = contour_val = 0.0f;
  symbol_size = 0;
  generic = Generic{};
  in_radial = in_row = text_done = false;
  digital_ready = false;
  layer_open = false;
  symb_start = -1;
  graphic_open = false;
  pages_read = 0;
  in_page = false;
  text_pages = page_lines = 0;
  page_end = false;
  error.clear();
  not_product.clear();
  lead.clear();
  ident.clear();
  ext_info = keep_ext;
  icd = keep_icd;
  fold_code1 = keep_fold;
}

void set_error(const std::string& why) {
  State& s = state();
  if (!s.error.empty()) return;
  s.error = why;
  MESS_print(M_DEBUG, "%s\n", why.c_str());
}

}  // namespace zor::nids

using namespace zor::nids;
using zor::ByteReader;

const char* NIDS_last_error() { return state().error.c_str(); }

const char* NIDS_not_product() { return state().not_product.c_str(); }

const char* NIDS_product_ident() { return state().ident.c_str(); }

void NIDS_reset() {
  State& s = state();
  s.reset();
  s.ext_info.clear();
  s.icd = false;
  s.fold_code1 = false;
}

void NIDS_set_icd(int on) {
  state().icd = on != 0;
  state().digital_ready = false;
}

int NIDS_get_icd() { return state().icd ? 1 : 0; }

int NIDS_packet(FILE* ifile, int* code) {
  if (ifile == nullptr) return 0;
  State& s = state();
  if (s.in_page) {
    if (s.text_pages == 0 && s.rd.bytes >= s.rd.nbytes) return 0;
  } else if (!s.layer_open) {
    return 0;
  }
  if (!finish_packet(ifile, s)) return -1;
  s.kind = Kind::none;
  s.digital_ready = false;
  if (s.in_page && s.text_pages > 0) return text_line(ifile, s, code);
  const PacketKind* p = nullptr;
  while (p == nullptr) {
    if (s.in_page && s.rd.bytes >= s.rd.nbytes) return 0;
    std::uint8_t raw[2];
    if (NIDS_read(raw, 2, ifile) != 1) {
      // Running out between packets is the plain end of the data.
      s.layer_open = false;
      return -1;
    }
    const int pc = ByteReader(raw, 2).u16();
    s.packet_code = pc;
    if (code) *code = pc;
    p = find_packet(pc);
    if (p != nullptr) break;
    // 0xFFFF is the next layer's or block's divider.
    if (pc == 0xFFFF) {
      s.layer_open = false;
      return 0;
    }
    // Any other packet is stepped over by its length, which follows the
    // code in every packet that is not a radial or raster, as long as it
    // stays inside the layer or page; beyond that it is not a packet.
    const long layer_end = s.symb_start + 16 + s.pr_symb_lyr.len;
    const bool room = s.in_page ? s.rd.bytes + 2 <= s.rd.nbytes : s.symb_start >= 0 && s.rd.total + 2 <= layer_end;
    if (!room || NIDS_read(raw, 2, ifile) != 1) {
      MESS_print(M_DEBUG, "Unknown packet code: %d\n", pc);
      s.layer_open = false;
      return 0;
    }
    const int n = ByteReader(raw, 2).u16();
    if (s.in_page ? s.rd.bytes + n > s.rd.nbytes : s.rd.total + n > layer_end) {
      MESS_print(M_DEBUG, "Unknown packet code: %d\n", pc);
      s.layer_open = false;
      return 0;
    }
    MESS_print(M_DEBUG, "Unknown packet code: %d, %d bytes skipped\n", pc, n);
    if (!skip_item(ifile, n)) {
      s.layer_open = false;
      return -1;
    }
  }
  const int stat = read_packet_header(ifile, s, *p);
  if (stat != 1) {
    s.layer_open = false;
    return stat;
  }
  s.kind = p->kind == Kind::generic && !s.generic.radials.empty() ? Kind::generic_radial : p->kind;
  s.cur_radial = 0;
  s.in_radial = false;
  return 1;
}

int NIDS_get_radial(FILE* ifile, float* sangle, float* dangle) {
  if (ifile == nullptr) return 0;
  State& s = state();
  if (s.kind == Kind::generic_radial) {
    if (s.cur_radial >= static_cast<int>(s.generic.radials.size())) return 0;
    const GenericRadial& r = s.generic.radials[static_cast<std::size_t>(s.cur_radial++)];
    if (sangle) *sangle = r.azimuth;
    if (dangle) *dangle = r.width;
    s.cur_radius = 0;
    s.in_radial = true;
    return 1;
  }
  if (!radial_kind(s.kind)) return 0;
  if (s.in_radial && !skip_item(ifile, s.radial_bytes - s.cur_radius)) return -1;
  s.in_radial = false;
  if (s.cur_radial >= s.rad_hdr.nradial) return 0;
  std::uint8_t raw[6];
  if (!item_read(ifile, raw, 6)) return -1;
  ByteReader b(raw, 6);
  RadDataHdr& h = s.rad_data_hdr;
  h.len = b.u16();
  h.sangle = b.i16();
  h.dangle = b.i16();
  s.radial_bytes = s.kind == Kind::radial ? 2 * h.len : h.len;
  s.cur_radius = 0;
  s.in_radial = true;
  ++s.cur_radial;
  if (sangle) *sangle = h.sangle / 10.0f;
  if (dangle) *dangle = h.dangle / 10.0f;
  MESS_print(M_DEBUG, "Start angle: %.1f\n", h.sangle / 10.0);
  MESS_print(M_DEBUG, "Angle delta: %.1f\n", h.dangle / 10.0);
  return 1;
}

int NIDS_get_rastor(FILE* ifile) {
  if (ifile == nullptr) return 0;
  State& s = state();
  if (!row_kind(s.kind)) return 0;
  if (s.in_row && !skip_item(ifile, s.row_bytes - s.cur_column)) return -1;
  s.in_row = false;
  if (s.cur_row >= s.ras_hdr.nrows) return 0;
  std::uint8_t raw[2];
  if (!item_read(ifile, raw, 2)) return -1;
  s.ras_data_hdr.len = ByteReader(raw, 2).u16();
  int n = s.ras_data_hdr.len;
  // Rows are padded to whole 16-bit words, except byte-pair packed rasters.
  if (s.kind == Kind::precip_array || s.ras_hdr.pack != 1) n += n & 1;
  s.row_bytes = n;
  s.cur_column = 0;
  s.in_row = true;
  MESS_print(M_DEBUG, "Row: %d\n", s.cur_row);
  MESS_print(M_DEBUG, "Length: %d\n", s.ras_data_hdr.len);
  ++s.cur_row;
  return 1;
}

namespace {

[[gnu::noinline]] void build_digital_table(State& s) {
  for (int b = 0; b < 256; ++b) s.digital[static_cast<std::size_t>(b)] = digital_value(s, b);
  s.digital_ready = true;
}

// The values of the 256 codes of a digital radial, computed once per packet;
// the check stays inline, as it runs for every bin read alone.
inline const std::array<float, 256>& digital_table(State& s) {
  if (!s.digital_ready) build_digital_table(s);
  return s.digital;
}

// One byte of a radial: a run of a 16-level value, or one 8-bit bin.
inline NIDS_data radial_bin(State& s, std::uint8_t c) {
  if (s.kind == Kind::radial) return {static_cast<float>(c >> 4), s.thres[c & 15]};
  return {1.0f, digital_table(s)[c]};
}

}  // namespace

namespace zor::nids {

void set_fold_code1(bool on) {
  State& s = state();
  if (s.fold_code1 != on) s.digital_ready = false;
  s.fold_code1 = on;
}

namespace {

// The rest of the current radial's bytes in one read; false on a read error.
bool rest_of_radial(FILE* f, State& s, std::vector<std::uint8_t>& bytes) {
  bytes.clear();
  if (!s.in_radial || s.cur_radius >= s.radial_bytes) return true;
  bytes.resize(static_cast<std::size_t>(s.radial_bytes - s.cur_radius));
  if (!item_read(f, bytes.data(), static_cast<int>(bytes.size()))) return false;
  s.cur_radius = s.radial_bytes;
  return true;
}

}  // namespace

bool radial_codes_available() { return state().kind == Kind::digital_radial; }

const std::array<float, 256>& radial_code_values() { return digital_table(state()); }

int get_radial_codes(FILE* ifile, std::vector<std::uint8_t>& codes) {
  codes.clear();
  State& s = state();
  if (ifile == nullptr || s.kind != Kind::digital_radial) return 0;
  return rest_of_radial(ifile, s, codes) ? 0 : -1;
}

int get_radial_runs(FILE* ifile, std::vector<NIDS_data>& runs) {
  runs.clear();
  if (ifile == nullptr) return 0;
  State& s = state();
  if (s.kind == Kind::generic_radial) {
    // Already decoded with the packet: only scaled, the rule looked up once.
    if (!s.in_radial || s.cur_radial < 1) return 0;
    const GenericRadial& r = s.generic.radials[static_cast<std::size_t>(s.cur_radial - 1)];
    if (s.cur_radius >= r.bins) return 0;
    const ProductRules& pr = rules(s.mess.code);
    const float* raw = s.generic.values.data() + r.first;
    runs.resize(static_cast<std::size_t>(r.bins - s.cur_radius));
    for (NIDS_data& d : runs) d = {1.0f, generic_value(s, pr, raw[s.cur_radius++])};
    return 0;
  }
  if (s.kind != Kind::radial && s.kind != Kind::digital_radial) return 0;
  if (!rest_of_radial(ifile, s, s.radial_buf)) return -1;
  runs.resize(s.radial_buf.size());
  if (s.kind == Kind::radial) {
    for (std::size_t i = 0; i < runs.size(); ++i) runs[i] = radial_bin(s, s.radial_buf[i]);
  } else {
    const auto& table = digital_table(s);  // once per radial, not per bin
    for (std::size_t i = 0; i < runs.size(); ++i) runs[i] = {1.0f, table[s.radial_buf[i]]};
  }
  return 0;
}

}  // namespace zor::nids

int NIDS_get_data(FILE* ifile, NIDS_data* data) {
  if (ifile == nullptr || data == nullptr) return 0;
  State& s = state();
  std::uint8_t raw[2];
  switch (s.kind) {
    case Kind::radial:
    case Kind::digital_radial:
      if (!s.in_radial || s.cur_radius >= s.radial_bytes) return 0;
      if (!item_read(ifile, raw, 1)) return -1;
      ++s.cur_radius;
      *data = radial_bin(s, raw[0]);
      return 1;
    case Kind::generic_radial: {
      if (!s.in_radial || s.cur_radial < 1) return 0;
      const GenericRadial& r = s.generic.radials[static_cast<std::size_t>(s.cur_radial - 1)];
      if (s.cur_radius >= r.bins) return 0;
      data->run = 1.0f;
      const float raw = s.generic.values[r.first + static_cast<std::size_t>(s.cur_radius++)];
      data->val = generic_value(s, rules(s.mess.code), raw);
      return 1;
    }
    case Kind::raster:
    case Kind::precip_array: {
      if (!s.in_row || s.cur_column >= s.row_bytes) return 0;
      const bool pairs = s.kind == Kind::precip_array || s.ras_hdr.pack == 1;
      if (!pairs) {
        if (!item_read(ifile, raw, 1)) return -1;
        ++s.cur_column;
        data->run = static_cast<float>(raw[0] >> 4);
        data->val = s.thres[raw[0] & 15];
        return 1;
      }
      if (s.row_bytes - s.cur_column < 2) {
        // An odd byte count cannot hold another pair.
        if (!skip_item(ifile, s.row_bytes - s.cur_column)) return -1;
        s.cur_column = s.row_bytes;
        return 0;
      }
      if (!item_read(ifile, raw, 2)) return -1;
      s.cur_column += 2;
      data->run = raw[0];
      if (s.kind == Kind::precip_array)
        data->val = raw[1] == 255 ? ZOR_MISSING_F : s.thres[0] + raw[1] * s.thres[1];
      else
        data->val = s.thres[raw[1] & 15] + 100.0f * (raw[1] >> 4);
      return 1;
    }
    default: return 1;
  }
}

int NIDS_get_vector(FILE* ifile, NIDS_vector_data* vect_data) {
  if (ifile == nullptr || vect_data == nullptr) return 0;
  State& s = state();
  if (s.kind == Kind::linked) {
    if (s.item_bytes - s.cur_vector < 4) {
      if (!skip_item(ifile, s.item_bytes - s.cur_vector)) return -1;
      s.cur_vector = s.item_bytes;
      return 0;
    }
    std::uint8_t raw[4];
    if (!item_read(ifile, raw, 4)) return -1;
    s.cur_vector += 4;
    ByteReader b(raw, 4);
    vect_data->val = s.line_val;
    vect_data->x1 = s.line_x;
    vect_data->y1 = s.line_y;
    vect_data->x2 = s.line_x = b.i16();
    vect_data->y2 = s.line_y = b.i16();
    return 1;
  }
  if (s.kind != Kind::vector) return 0;
  if (s.item_bytes - s.cur_vector < 8) {
    // A short tail is not a vector; step over it.
    if (!skip_item(ifile, s.item_bytes - s.cur_vector)) return -1;
    s.cur_vector = s.item_bytes;
    return 0;
  }
  std::uint8_t raw[8];
  if (!item_read(ifile, raw, 8)) return -1;
  s.cur_vector += 8;
  ByteReader b(raw, 8);
  vect_data->val = s.packet_code == NIDS_PKT_VECTOR_VALUE ? static_cast<float>(s.vect_hdr.val)
                    : s.packet_code == 0x3501            ? s.contour_val
                                                         : 0.0f;
  vect_data->x1 = b.i16();
  vect_data->y1 = b.i16();
  vect_data->x2 = b.i16();
  vect_data->y2 = b.i16();
  return 1;
}

int NIDS_get_wind(FILE* ifile, NIDS_wind_data* wind) {
  if (ifile == nullptr || wind == nullptr) return 0;
  State& s = state();
  if (s.kind != Kind::barb) return 0;
  if (s.item_bytes - s.cur_vector < 10) {
    if (!skip_item(ifile, s.item_bytes - s.cur_vector)) return -1;
    s.cur_vector = s.item_bytes;
    return 0;
  }
  std::uint8_t raw[10];
  if (!item_read(ifile, raw, 10)) return -1;
  s.cur_vector += 10;
  ByteReader b(raw, 10);
  const int level = b.i16();
  wind->x = b.i16();
  wind->y = b.i16();
  wind->dir = b.i16();
  wind->spd = b.i16();
  wind->val = level_value(s, level);
  MESS_print(M_DEBUG, "WIND: %7.2f %7.2f = %7.2f %7.2f = %7.2f\n", wind->x, wind->y, wind->dir,
             wind->spd, wind->val);
  return 1;
}

int NIDS_get_text(FILE* ifile, NIDS_text_data* text) {
  if (ifile == nullptr || text == nullptr) return 0;
  State& s = state();
  if (s.kind == Kind::symbol) return next_symbol(ifile, s, text);
  if (s.kind != Kind::text || s.text_done) return 0;
  s.text_done = true;
  const int keep = std::min(s.item_bytes, static_cast<int>(sizeof text->data) - 1);
  std::uint8_t raw[sizeof text->data];
  if (keep > 0 && !item_read(ifile, raw, keep)) return -1;
  std::memcpy(text->data, raw, static_cast<std::size_t>(std::max(keep, 0)));
  text->data[std::max(keep, 0)] = '\0';
  text->val = level_value(s, s.packet_code == NIDS_PKT_TEXT ? 0 : s.text_hdr.val);
  text->x = static_cast<float>(s.text_hdr.i);
  text->y = static_cast<float>(s.text_hdr.j);
  MESS_print(M_OUT4, "TEXT: %s\n", text->data);
  if (!skip_item(ifile, s.item_bytes - keep)) return -1;
  return 1;
}

namespace {

// The next page of text lines: whatever the caller left of the last one is
// read to its end first.
int next_text_page(FILE* f, State& s) {
  if (!s.graphic_open) return 0;
  if (s.in_page) {
    int code;
    int stat;
    while ((stat = NIDS_packet(f, &code)) == 1) {
    }
    s.in_page = false;
    if (stat < 0) {
      s.graphic_open = false;
      return 0;
    }
  }
  if (s.pages_read >= s.text_pages) return 0;
  ++s.pages_read;
  MESS_print(M_OUT4, "Number: %d\n", s.pages_read);
  s.in_page = true;
  s.page_end = false;
  s.page_lines = 0;
  s.kind = Kind::none;
  return s.pages_read;
}

}  // namespace

int NIDS_graphic(FILE* ifile) {
  if (ifile == nullptr) return 0;
  State& s = state();
  s.graphic_open = false;
  if (s.text_pages > 0) {
    s.gr_alpha = GrAlpha{-1, 2, 0, s.text_pages};
    s.kind = Kind::none;
    s.graphic_open = true;
    s.pages_read = 0;
    return 1;
  }
  if (s.pr_desc.off_graph == 0) return 0;
  const bool divider_read = s.packet_code == 0xFFFF && s.kind == Kind::none;
  // The symbology block's own length says where the graphic block starts;
  // step over any layers after the first.
  if (s.symb_start >= 0 && s.pr_symb.len > 0) {
    const long end = s.symb_start + s.pr_symb.len;
    const long here = s.rd.total - (divider_read ? 2 : 0);
    if (here < end && !skip_item(ifile, end - s.rd.total)) return -1;
  }
  const bool have_divider = divider_read && (s.symb_start < 0 || s.pr_symb.len <= 0 ||
                                             s.rd.total - 2 >= s.symb_start + s.pr_symb.len);
  std::uint8_t raw[10];
  const int n = have_divider ? 8 : 10;
  if (NIDS_read(raw, n, ifile) != 1) return 0;
  ByteReader b(raw, static_cast<std::size_t>(n));
  GrAlpha& g = s.gr_alpha;
  g.divider = have_divider ? -1 : b.i16();
  g.id = b.i16();
  g.len = b.i32();
  g.npages = b.i16();
  s.kind = Kind::none;
  s.layer_open = false;
  MESS_print(M_OUT4, "Graphic Alphanumeric: %d\n", g.id);
  MESS_print(M_OUT4, "Number of Pages: %d\n", g.npages);
  if (g.id != 2 || g.npages < 0 || g.npages > kMaxPages) return 0;
  s.graphic_open = true;
  s.pages_read = 0;
  return 1;
}

int NIDS_graphic_layer(FILE* ifile) {
  if (ifile == nullptr) return 0;
  State& s = state();
  if (s.text_pages > 0) return next_text_page(ifile, s);
  if (s.pr_desc.off_graph == 0 || !s.graphic_open) return 0;
  if (s.in_page) {
    // Whatever the caller left of the last page.
    s.kind = Kind::none;
    if (s.rd.bytes < s.rd.nbytes && !skip_item(ifile, s.rd.nbytes - s.rd.bytes)) return 0;
    s.in_page = false;
  }
  if (s.pages_read >= s.gr_alpha.npages) return 0;
  std::uint8_t raw[4];
  if (NIDS_read(raw, 4, ifile) != 1) return 0;
  ByteReader b(raw, 4);
  GrAlphaLayer& l = s.gr_alpha_lyr;
  l.number = b.i16();
  l.len = b.u16();
  MESS_print(M_OUT4, "Graphic Alphanumeric Layer: %d\n", l.len);
  MESS_print(M_OUT4, "Number: %d\n", l.number);
  if (l.number < 1 || l.number > s.gr_alpha.npages) {
    s.graphic_open = false;
    return 0;
  }
  ++s.pages_read;
  s.rd.nbytes = l.len;
  s.rd.bytes = 0;
  s.in_page = true;
  s.kind = Kind::none;
  return l.number;
}
