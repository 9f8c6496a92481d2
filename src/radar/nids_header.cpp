// NIDS headers: text header forms, concatenated products, message header,
// product description with its thresholds, symbology block and first layer,
// and the NIDS_info record built from them.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <string>

#include "nids_products.h"
#include "zor/byte_reader.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/map.h"
#include "zor/mess.h"

namespace zor::nids {

namespace {

constexpr std::size_t kExtInfoMax = 29;
constexpr int kMaxTextPages = 1000;

// Lines of bulletin text before the message header, keyed by the first two
// bytes of the file.
struct TextHeaderForm {
  int first;
  int lines;
};
constexpr TextHeaderForm kTextHeaders[] = {
    {0x010D, 4},  // SOH CR: start line, sequence, heading, product identifier
    {0x2A2A, 2},  // "**": archive separator and heading
    {0x0A2A, 2},  // LF "*"
    {0x5344, 2},  // "SD": heading and product identifier
    {0x4453, 2},  // "DS"
    {0x400C, 2},
    {0x4E58, 2},  // "NX": status message heading and identifier
    {0x4E4F, 2},  // "NO": free-text message heading and identifier
};

// Messages that travel with products but are not products themselves.
struct MessageKind {
  int code;
  const char* what;
};
constexpr MessageKind kMessages[] = {
    {2, "general status message"},
    {3, "request response message"},
    {75, "free text message"},
};

// Printable text at the start of a file, up to its first line end or other
// control byte; "" when there are fewer than four such characters.
std::string leading_text(const std::string& lead) {
  std::string t;
  for (char c : lead) {
    if (c < 0x20 || c > 0x7E) break;
    t.push_back(c);
  }
  return t.size() >= 4 ? t : std::string();
}

// Why the headers just read are not those of a product; "" when they are.
std::string non_product_reason(const State& s, bool have_desc) {
  const int code = s.mess.code;
  for (const auto& m : kMessages)
    if (m.code == code) return std::string(m.what) + " (message code " + std::to_string(code) + ")";
  if (!have_desc || s.pr_desc.divider != -1) {
    const std::string text = leading_text(s.lead);
    if (text.rfind("AR2V", 0) == 0 || text.rfind("ARCHIVE2", 0) == 0)
      return "a Level II volume (\"" + text.substr(0, 12) + "\")";
    if (!text.empty()) return "text \"" + text.substr(0, 40) + "\" where a message header belongs";
    if (!have_desc) return "the file ends before a product description block";
    return "no product description block divider, message code " + std::to_string(code);
  }
  if (code < 16) return "message code " + std::to_string(code) + " is not a product code";
  if (s.pr_desc.code != code)
    return "product description code " + std::to_string(s.pr_desc.code) + " differs from message code " +
           std::to_string(code);
  return {};
}

int text_header_lines(int first) {
  for (const auto& f : kTextHeaders)
    if (f.first == first) return f.lines;
  return 0;
}

// Reads one bulletin line to its end, keeping its first 40 characters.
int read_text_line(FILE* f, std::string& kept) {
  kept.clear();
  unsigned char c = 0;
  int stat;
  while ((stat = NIDS_read(&c, 1, f)) == 1 && c != '\n')
    if (kept.size() < 40) kept.push_back(static_cast<char>(c));
  return stat;
}

// "BMX N0Q" from a product identifier line "N0QBMX" (category, then radar);
// "" for any other line.
std::string ident_of(std::string line) {
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
  if (line.size() != 6) return {};
  for (char c : line)
    if (!std::isupper(static_cast<unsigned char>(c)) && !std::isdigit(static_cast<unsigned char>(c))) return {};
  return line.substr(3) + " " + line.substr(0, 3);
}

int read_u16(FILE* f, int* out) {
  std::uint8_t raw[2];
  const int stat = NIDS_read(raw, 2, f);
  if (stat == 1) *out = ByteReader(raw, 2).u16();
  return stat;
}

// Reads one line of at most `max` characters through the reader.
bool read_line(FILE* f, std::string& line, std::size_t max) {
  line.clear();
  unsigned char c = 0;
  while (line.size() < max) {
    if (NIDS_read(&c, 1, f) != 1) return !line.empty();
    line.push_back(static_cast<char>(c));
    if (c == '\n') break;
  }
  return true;
}

// Positions the reader at the product selected by the extension string in a
// file of products each introduced by a "** SDUS97" line.
bool select_concatenated(FILE* f, const std::string& ext) {
  if (ext.size() < 2) return true;
  const char* digits = ext.c_str() + 1;
  char* end = nullptr;
  const long n = std::strtol(digits, &end, 10);
  if (end == digits || n < 0) return true;
  std::string line;
  long seen = 0;
  while (seen < n + 1) {
    if (!read_line(f, line, 199)) return false;
    if (line.rfind("** SDUS97", 0) == 0) ++seen;
  }
  MESS_print(M_OUT4, "HDR: %s\n", line.c_str());
  if (!read_line(f, line, 49)) return false;
  MESS_print(M_OUT4, "HDR2: %s\n", line.c_str());
  if (!read_line(f, line, 49)) return false;
  unsigned char c;
  return NIDS_read(&c, 1, f) == 1;
}

float signed_word(std::uint16_t t) { return static_cast<float>(static_cast<std::int16_t>(t)); }

// Appends a label piece when it fits the record's field; a piece that does
// not fit is left out whole rather than cut.
void append_label(std::string& label, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
void append_label(std::string& label, const char* fmt, ...) {
  char piece[64];
  va_list ap;
  va_start(ap, fmt);
  const int n = std::vsnprintf(piece, sizeof piece, fmt, ap);
  va_end(ap);
  if (n < 0 || static_cast<std::size_t>(n) >= sizeof piece ||
      label.size() + static_cast<std::size_t>(n) >= sizeof(NIDS_info::misc)) {
    MESS_print(M_DEBUG, "NIDS label piece left out: %s\n", piece);
    return;
  }
  label += piece;
}

void copy_text(char* dst, std::size_t size, const std::string& src) {
  const std::size_t n = std::min(size - 1, src.size());
  std::memcpy(dst, src.data(), n);
  dst[n] = '\0';
}

void build_label(const State& s, const ProductRules& pr, bool mosaic, NIDS_info& info) {
  static const char* const kModes[] = {"Md=mt", "Md=cl", "Md=pr"};
  const ProdDesc& d = s.pr_desc;
  const int code = s.mess.code;
  std::string label;
  if (d.op_mode >= 0 && d.op_mode <= 2) label = kModes[d.op_mode];
  if (mosaic)
    append_label(label, " Res=%3.1f", info.res);
  else if (code != 48 && code != 55 && code != 56)
    append_label(label, " Rng=%3.0f(%3.1f)", info.range, info.res);
  if (pr.label_elev) append_label(label, " El=%.1f", info.elev);
  if (pr.begin != BeginText::none) {
    const int days = pr.begin == BeginText::p5_p6 ? d.p5 : d.p1;
    const int mins = pr.begin == BeginText::p5_p6 ? d.p6 : d.p2;
    int y, m, day;
    NIDS_julian_date(days, &y, &m, &day);
    append_label(label, " B=%d/%.2d:%.2d", day, mins / 60, mins % 60);
  }
  if (pr.storm_motion) append_label(label, " Stm=%.0f-%.0f", d.p9 / 10.0, d.p8 / 10.0);
  if (pr.layer) append_label(label, " Lyr=%d-%d", d.p5, d.p6);
  // A product that carries no maximum shows none rather than a made-up one.
  const bool have_max = info.max != ZOR_MISSING_F;
  const bool have_both = have_max && info.nmax != ZOR_MISSING_F;
  switch (pr.max_text) {
    case MaxText::min_max_0:
      if (have_both) append_label(label, " Mn,Mx=%.0f,%.0f", info.nmax, info.max);
      break;
    case MaxText::min_max_1:
      if (have_both) append_label(label, " Mn,Mx=%.1f,%.1f", info.nmax, info.max);
      break;
    case MaxText::min_max_2:
      if (have_both) append_label(label, " Mn,Mx=%.2f,%.2f", info.nmax, info.max);
      break;
    case MaxText::max_1:
      if (have_max) append_label(label, " Mx=%.1f", info.max);
      break;
    case MaxText::max_2:
      if (have_max) append_label(label, " Mx=%.2f", info.max);
      break;
    case MaxText::none: break;
    case MaxText::max_0:
      if (have_max) append_label(label, " Mx=%.0f", info.max);
      break;
  }
  copy_text(info.misc, sizeof info.misc, label);
}

void set_elevation(const ProdDesc& d, ElevMax rule, NIDS_info& info) {
  switch (rule) {
    case ElevMax::elev_only: info.elev = d.p3 / 10.0f; break;
    case ElevMax::elev_p4:
      info.elev = d.p3 / 10.0f;
      info.max = static_cast<float>(d.p4);
      break;
    case ElevMax::elev_p4_p5:
      info.elev = d.p3 / 10.0f;
      info.nmax = static_cast<float>(d.p4);
      info.max = static_cast<float>(d.p5);
      break;
    case ElevMax::elev_p4_p5_tenths:
      info.elev = d.p3 / 10.0f;
      info.nmax = d.p4 / 10.0f;
      info.max = d.p5 / 10.0f;
      break;
    case ElevMax::p7_p4_hundredths:
      info.nmax = d.p7 / 100.0f;
      info.max = d.p4 / 100.0f;
      break;
    case ElevMax::p4_tenths: info.max = d.p4 / 10.0f; break;
    case ElevMax::p4_hundredths: info.max = d.p4 / 100.0f; break;
    case ElevMax::none: info.max = static_cast<float>(d.p4); break;
  }
}

void set_geometry(State& s, const ProductRules& pr, bool mosaic, NIDS_info& info) {
  const int code = s.mess.code;
  Domain& dom = info.domain;
  DOM_init(&dom);
  dom.proj = 1;
  dom.clat = s.pr_desc.lat / 1000.0f;
  dom.clon = s.pr_desc.lon / 1000.0f;
  info.alt = s.pr_desc.height * 0.3048f;
  info.res = 0.0f;
  info.range = 0.0f;
  if (pr.in_site_table) {
    info.res = pr.site_res;
    info.range = pr.site_range;
    dom.dx = pr.site_res;
    if (code == 81) dom.dy = pr.site_res;
  }
  if (mosaic) {
    info.range = 0.0f;
    dom.proj = 4;
    if (pr.mosaic_km != ZOR_MISSING_F) dom.dx = pr.mosaic_km;
    dom.dy = dom.dx;
    info.res = dom.dx;
  }
  if (code == 48) {
    info.res = 512.0f;
    info.range = 1.0f;
  }
  // Image size from the first packet.
  int size = 460;
  if (info.type == NIDS_PKT_RASTER || info.type == NIDS_PKT_PRECIP_ARRAY)
    size = s.ras_hdr.nrows;
  else if (info.type == NIDS_PKT_RADIAL || info.type == NIDS_PKT_DIGITAL_RADIAL)
    size = 2 * s.rad_hdr.nrange;
  info.nx = info.ny = dom.nx = dom.ny = size;
  if (mosaic) info.nx = dom.nx = s.pr_desc.p10;

  if (code == 48) {
    dom.proj = 99;
    dom.clat = dom.clon = 0.0f;
    dom.dx = dom.dy = 511.0f;
  } else if (mosaic) {
    dom.proj = 4;
    dom.plat = 90.0f;
    dom.plon = dom.clon;
    if (dom.dx != ZOR_MISSING_F) dom.dx /= 100.0f;
    if (dom.dy != ZOR_MISSING_F) dom.dy /= 100.0f;
    dom.param[0] = 33.0f;
    dom.param[1] = 45.0f;
    dom.param[2] = 1.0f;
  } else if (code == 81) {
    dom.proj = 1;
    dom.plat = 90.0f;
    dom.plon = -105.0f;
    dom.dx = dom.dy = 0.047596f;
  } else {
    dom.proj = 1;
    dom.plat = dom.clat;
    dom.plon = dom.clon;
    dom.nx = info.ny * 3 / 2 + 1;
    dom.ny = info.ny + 1;
    // The scale factor belongs to the product's own stereographic domain, not
    // to whichever domain happens to be current while the header is read.
    Domain saved;
    MAP_get_domain(&saved);
    dom.dx = dom.dy = 1.0f;
    MAP_domain(&dom);
    const float factor = MAP_factor(dom.clat);
    if (saved.proj == ZOR_MISSING) MAP_domain(nullptr);
    else MAP_domain(&saved);
    dom.dx = dom.dy = info.res * 1.852f * factor / 100.0f;
  }
}

}  // namespace

float generic_threshold(std::uint16_t t) {
  float v = static_cast<float>(t & 0xFF);
  if (t & 0x8000) {
    v = (t & 0xFF) == 0 ? -100.0f : -90.0f;
    MESS_print(M_DEBUG, "THRES: %d MISS-%2X\n", t & 0xFF, t & 0xFF);
  }
  if (v == -100.0f) return v;
  if (t & 0x2000) v /= 20.0f;
  if (t & 0x1000) v /= 10.0f;
  if (t & 0x0800) v += 0.01f;
  if (t & 0x0400) v -= 0.01f;
  if (t & 0x0100) v = -v;
  return v;
}

void decode_thresholds(int code, const std::array<std::uint16_t, 16>& t, std::array<float, 16>& out) {
  out.fill(0.0f);
  for (int i = 0; i < 16; ++i) MESS_print(M_DEBUG, "THRES #%d: %2X\n", i, t[static_cast<std::size_t>(i)]);
  auto generic = [&] {
    for (std::size_t i = 0; i < 16; ++i) out[i] = generic_threshold(t[i]);
  };
  switch (rules(code).thres) {
    case ThresRule::generic: generic(); break;
    case ThresRule::velocity16:
      // Flag codes 1 and 2 (below threshold, no data) are no data; only 3
      // is range folding and keeps -90.
      generic();
      for (std::size_t i = 0; i < 16; ++i)
        if ((t[i] & 0x8000) != 0 && ((t[i] & 0xFF) == 1 || (t[i] & 0xFF) == 2)) out[i] = -100.0f;
      break;
    case ThresRule::tenths:
    case ThresRule::tenths_knots:
    case ThresRule::thousandths:
    case ThresRule::hundredths: {
      const ThresRule r = rules(code).thres;
      const float div = r == ThresRule::thousandths ? 1000.0f : r == ThresRule::hundredths ? 100.0f : 10.0f;
      out[0] = signed_word(t[0]) / div;
      out[1] = t[1] / div;
      out[2] = t[2];
      if (r == ThresRule::tenths_knots || (rules(code).icd_knots && icd_values()))
        for (std::size_t i = 0; i < 2; ++i)
          if (out[i] != ZOR_MISSING_F) out[i] *= 1.944f;
      MESS_print(M_DEBUG, "THRES: %.1f %.1f %.0f\n", out[0], out[1], out[2]);
      break;
    }
    case ThresRule::dvil:
      out[0] = NIDS_float16(t[0]);
      out[1] = NIDS_float16(t[1]);
      out[2] = t[2];
      out[3] = NIDS_float16(t[3]);
      out[4] = NIDS_float16(t[4]);
      MESS_print(M_DEBUG, "THRES: %.1f %.1f - %.0f - %.1f %.1f \n", out[0], out[1], out[2], out[3], out[4]);
      break;
    case ThresRule::eet:
      for (std::size_t i = 0; i < 4; ++i) out[i] = t[i];
      MESS_print(M_DEBUG, "THRES: Mask: %X - %.0f %.0f - %X\n", t[0], out[1], out[2], t[3]);
      break;
    case ThresRule::float32:
      out[0] = NIDS_float32(t[0], t[1]);
      if (out[0] == 0.0f) out[0] = 1.0f;
      out[2] = NIDS_float32(t[2], t[3]);
      MESS_print(M_DEBUG, "THRES: %f %f\n", out[0], out[2]);
      break;
    case ThresRule::level_index:
      for (std::size_t i = 0; i < 16; ++i) out[i] = static_cast<float>(i);
      break;
    case ThresRule::generic_fixed:
      generic();
      out[0] = -32.0f;
      out[1] = 0.5f;
      out[2] = 256.0f;
      break;
  }
}

}  // namespace zor::nids

using namespace zor::nids;
using zor::ByteReader;

int NIDS_set_ext_info(const char* str) {
  State& s = state();
  s.ext_info.clear();
  if (str == nullptr) return 0;
  if (std::strlen(str) > kExtInfoMax) {
    MESS_print(M_WARN, "NIDS_set_ext_info: extension \"%s\" is longer than %zu characters, ignored\n",
               str, kExtInfoMax);
    return -1;
  }
  s.ext_info = str;
  return 0;
}

int NIDS_mess_header(FILE* ifile) {
  if (ifile == nullptr) return 0;
  State& s = state();
  int code = 0;
  int stat = read_u16(ifile, &code);
  if (stat != 1) return -1;
  if (const int lines = text_header_lines(code); lines > 0) {
    // The last line names the product ("N0QBMX").
    std::string line;
    for (int i = 0; i < lines; ++i)
      if (read_text_line(ifile, line) != 1) return -1;
    s.ident = ident_of(line);
    s.rd.comp_test = true;
    if (read_u16(ifile, &code) != 1) return -1;
    if (s.rd.file_type == FileType::zlib) {
      // The compressed stream repeats the 54-byte bulletin text.
      if (!skip_bytes(ifile, 52) || read_u16(ifile, &code) != 1) return -1;
    }
  }
  std::uint8_t raw[16];
  if (!read_bytes(ifile, raw, sizeof raw)) return -1;
  ByteReader b(raw, sizeof raw);
  MessHeader& m = s.mess;
  m.code = static_cast<std::int16_t>(code);
  m.date = b.i16();    // 2-3 days since 1970
  m.time = b.i32();    // 4-7 seconds after midnight
  m.len = b.i32();     // 8-11 message length
  m.src = b.i16();     // 12-13 source
  m.dest = b.i16();    // 14-15 destination
  m.nblock = b.i16();  // 16-17 number of blocks
  MESS_print(M_OUT4, "Message code: %d date: %d time: %d len: %d src: %d dest: %d blocks: %d\n",
             m.code, m.date, m.time, m.len, m.src, m.dest, m.nblock);
  return 1;
}

int NIDS_prod_desc(FILE* ifile) {
  if (ifile == nullptr) return 0;
  State& s = state();
  std::uint8_t raw[102];
  if (!read_bytes(ifile, raw, sizeof raw)) {
    s.not_product = non_product_reason(s, false);
    set_error("NIDS: not a product: " + s.not_product);
    return -1;
  }
  ByteReader b(raw, sizeof raw);
  ProdDesc& d = s.pr_desc;
  d.divider = b.i16();        // 18
  d.lat = b.i32();            // 20
  d.lon = b.i32();            // 24
  d.height = b.i16();         // 28
  d.code = b.i16();           // 30
  d.op_mode = b.i16();        // 32
  d.vol_cov_pat = b.i16();    // 34
  d.seq_num = b.i16();        // 36
  d.vol_scan_num = b.i16();   // 38
  d.vol_scan_date = b.i16();  // 40
  d.vol_scan_time = b.i32();  // 42
  d.prod_gen_date = b.i16();  // 46
  d.prod_gen_time = b.i32();  // 48
  d.p1 = b.i16();             // 52
  d.p2 = b.i16();             // 54
  d.elev = b.i16();           // 56
  d.p3 = b.i16();             // 58
  for (auto& t : d.thres) t = b.u16();  // 60-91
  d.p4 = b.i16();             // 92
  d.p5 = b.i16();
  d.p6 = b.i16();
  d.p7 = b.i16();
  d.p8 = b.i16();
  d.p9 = b.i16();
  d.p10 = b.i16();            // 104
  d.nmaps = b.i16();          // 106
  d.off_symb = b.i32();       // 108
  d.off_graph = b.i32();      // 112
  d.off_tab = b.i32();        // 116
  MESS_print(M_OUT4, "Product: %d lat: %d lon: %d height: %d mode: %d\n", d.code, d.lat, d.lon,
             d.height, d.op_mode);
  decode_thresholds(s.mess.code, d.thres, s.thres);
  // Decoding goes on as the format says, but the reason is kept for callers
  // that want to tell a status message or a bulletin from a product.
  s.not_product = non_product_reason(s, true);
  if (!s.not_product.empty()) set_error("NIDS: not a product: " + s.not_product);
  return 1;
}

int NIDS_prod_symb(FILE* ifile) {
  if (ifile == nullptr) return 0;
  State& s = state();
  s.layer_open = false;
  if (s.pr_desc.off_symb == 0) return 0;
  // Newer products compress their symbology too, so every product is
  // tested by content; a plain block starts with its -1 divider, which is
  // neither a bzip2 nor a zlib header.
  s.rd.comp_test = true;
  std::uint8_t raw[10];
  // The position is taken after the read so that a stream detected here
  // counts from its first decompressed byte.
  if (!read_bytes(ifile, raw, 4)) return -1;
  s.symb_start = s.rd.total - 4;
  ProdSymb& p = s.pr_symb;
  p.divider = ByteReader(raw, 4).i16();
  p.id = ByteReader(raw + 2, 2).i16();
  if (p.id != 1 && p.divider == -1 && rules(s.mess.code).text_pages) {
    // No symbology: the divider and page count of the product's pages of
    // text lines, read as its graphic pages.
    s.symb_start = -1;
    s.text_pages = std::clamp(p.id, 0, kMaxTextPages);
    MESS_print(M_OUT4, "Text pages: %d\n", p.id);
    return 0;
  }
  if (!read_bytes(ifile, raw + 4, 6)) return -1;
  ByteReader b(raw + 4, 6);
  p.len = b.i32();
  p.nlayer = b.i16();
  MESS_print(M_OUT4, "Symbology: id %d len %ld layers %d\n", p.id, p.len, p.nlayer);
  if (p.id != 1) {
    s.symb_start = -1;
    return 0;
  }
  return 1;
}

int NIDS_prod_symb_layer(FILE* ifile) {
  if (ifile == nullptr) return 0;
  State& s = state();
  if (s.symb_start < 0) return 0;
  std::uint8_t raw[6];
  if (!read_bytes(ifile, raw, sizeof raw)) return -1;
  ByteReader b(raw, sizeof raw);
  s.pr_symb_lyr.divider = b.u16();
  s.pr_symb_lyr.len = b.i32();
  MESS_print(M_OUT4, "Layer: len %ld\n", s.pr_symb_lyr.len);
  if (s.pr_symb_lyr.divider != 0xFFFF) return 0;
  s.layer_open = true;
  return 1;
}

int NIDS_get_header(FILE* ifile, NIDS_info* info) {
  if (ifile == nullptr || info == nullptr) return 0;
  State& s = state();
  std::rewind(ifile);
  const std::string ext = s.ext_info;
  s.reset();
  s.ext_info = ext;
  // The first bytes, read apart from the reader, describe a file that turns
  // out not to be a product.
  char lead[64];
  s.lead.assign(lead, std::fread(lead, 1, sizeof lead, ifile));
  std::rewind(ifile);
  if (!select_concatenated(ifile, s.ext_info)) {
    set_error("NIDS: product " + s.ext_info + " not found in the file");
    return 0;
  }
  if (NIDS_mess_header(ifile) != 1) {
    if (const std::string text = leading_text(s.lead); !text.empty()) {
      s.not_product = "text \"" + text.substr(0, 40) + "\" and no message header";
      set_error("NIDS: not a product: " + s.not_product);
    }
    if (s.error.empty()) set_error("NIDS: no message header");
    return 0;
  }
  NIDS_prod_desc(ifile);
  NIDS_prod_symb(ifile);
  NIDS_prod_symb_layer(ifile);
  int first = 0;
  NIDS_packet(ifile, &first);

  *info = NIDS_info{};
  const int code = s.mess.code;
  const ProductRules& pr = rules(code);
  const bool mosaic = s.mess.src > 9999;
  info->src = s.mess.src;
  info->code = code;
  info->mode = s.pr_desc.op_mode;
  info->type = s.packet_code == NIDS_PKT_RASTER_OLD ? NIDS_PKT_RASTER : s.packet_code;
  set_geometry(s, pr, mosaic, *info);
  set_elevation(s.pr_desc, pr.elev, *info);
  for (std::size_t i = 0; i < 16; ++i) info->thres[i] = s.thres[i];
  const char* name = mosaic ? pr.mosaic_name : pr.site_name;
  if (name != nullptr)
    copy_text(info->info, sizeof info->info, name);
  else
    std::snprintf(info->info, sizeof info->info, "Not supported - %d", code);
  build_label(s, pr, mosaic, *info);

  const ProdDesc& d = s.pr_desc;
  MESS_print(M_DEBUG, "P: %hd %hd %hd %hd %hd %hd %hd %hd %hd\n", static_cast<short>(d.p1),
             static_cast<short>(d.p2), static_cast<short>(d.p3), static_cast<short>(d.p4),
             static_cast<short>(d.p5), static_cast<short>(d.p6), static_cast<short>(d.p7),
             static_cast<short>(d.p8), static_cast<short>(d.p9));
  MESS_print(M_OUT4, "Volume Scan date: %d\n", d.vol_scan_date);
  MESS_print(M_OUT4, "Volume Scan time: %d\n", d.vol_scan_time);
  DATE_init(&info->date);
  NIDS_julian_date(d.vol_scan_date, &info->date.year, &info->date.month, &info->date.day);
  NIDS_dec_time(d.vol_scan_time, &info->date.hour, &info->date.min, &info->date.sec);
  return 1;
}

float NIDS_float16(int val) {
  const int sign = (val >> 15) & 1;
  const int e = (val >> 10) & 0x1F;
  const int f = val & 0x3FF;
  float v = e == 0 ? 2.0f * f / 1024.0f : std::ldexp(1.0f + f / 1024.0f, e - 16);
  return sign ? -v : v;
}

float NIDS_float32(int val1, int val2) {
  const std::uint8_t raw[4] = {static_cast<std::uint8_t>(val1 >> 8), static_cast<std::uint8_t>(val1),
                               static_cast<std::uint8_t>(val2 >> 8), static_cast<std::uint8_t>(val2)};
  return ByteReader(raw, 4).f32();
}

int NIDS_julian_date(int julian, int* year, int* month, int* day) {
  static constexpr int kMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int y = 1970;
  int rest = julian;
  // A date far outside the radar era would only spin here; clamp the years.
  while (y < 9999 && rest > (DATE_is_leap(y) ? 366 : 365)) {
    rest -= DATE_is_leap(y) ? 366 : 365;
    ++y;
  }
  int m = 0;
  while (m < 11) {
    const int len = kMonthDays[m] + (m == 1 && DATE_is_leap(y) ? 1 : 0);
    if (rest <= len) break;
    rest -= len;
    ++m;
  }
  if (year) *year = y;
  if (month) *month = m + 1;
  if (day) *day = rest;
  MESS_print(M_DEBUG, "%d %d %d\n", y, m + 1, rest);
  return 0;
}

int NIDS_dec_time(int secs, int* hour, int* min, int* sec) {
  const int h = secs / 3600;
  const int m = (secs % 3600) / 60;
  const int sc = secs % 60;
  if (hour) *hour = h;
  if (min) *min = m;
  if (sec) *sec = sc;
  MESS_print(M_DEBUG, "%d %d %d\n", h, m, sc);
  return 0;
}
