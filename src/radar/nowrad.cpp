// NOWRad mosaic decoding: the tagged header (size, product text with its
// date, projection) and the run-length packets of each line. Lines are read
// straight from the stream, a packet at a time, so nothing grows with the
// grid.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "mosaic_internal.h"
#include "zor/dom.h"
#include "zor/mess.h"
#include "zor/mosaic.h"

namespace zor::mosaic {

namespace {

constexpr M_type kTrace = 0x10000000;
constexpr double kDegPerRad = 57.295779513082195;

// Header records are short; anything longer is not a NOWRad header.
constexpr std::size_t kMaxLead = 4096;   // bytes before the first tag
constexpr std::size_t kMaxRecord = 1024; // text of one record
constexpr int kProductText = 80;
constexpr int kMaxSide = 100000;         // rows or columns

enum Tag : int {
  kTagFirst = 0x09,
  kTagSize = 0x0A,
  kTagProduct = 0x03,
  kTagProjection = 0x0B,
  kTagLine = 0x0C,
};

// The stream with a few bytes of look-ahead, the tag that ended the last
// record or line, and where the line reader stands.
struct Decoder {
  FILE* f = nullptr;
  int ahead[3] = {};
  int n_ahead = 0;
  int tag = -1;             // tag byte after 0x00 0xF0; -1 none
  bool check_tag = false;   // the next 0xF0 may begin a tag
  int mask = 0;
  std::string error;

  void attach(FILE* file) {
    if (file != f) n_ahead = 0;
    f = file;
  }
  int get() {
    if (n_ahead > 0) return ahead[--n_ahead];
    return std::getc(f);
  }
  void unget(int b) {
    if (b != EOF && n_ahead < 3) ahead[n_ahead++] = b;
  }
  void fail(const std::string& why) {
    if (error.empty()) error = why;
  }
};

Decoder& dec() {
  static Decoder d;
  return d;
}

// Reads up to the next tag (0x00 0xF0 t, t non-zero); the bytes before it
// go to `text`. Returns the tag byte, or -1 at the end of the file or when
// more than `max` bytes come first.
int read_to_tag(Decoder& d, std::string* text, std::size_t max) {
  std::string buf;
  for (;;) {
    const int b = d.get();
    if (b == EOF) return -1;
    buf.push_back(static_cast<char>(b));
    const std::size_t n = buf.size();
    if (n >= 3 && buf[n - 3] == '\0' && static_cast<unsigned char>(buf[n - 2]) == 0xF0 && b != 0) {
      buf.resize(n - 3);
      if (text) *text = buf;
      return b;
    }
    if (n > max + 3) return -1;
  }
}

bool expect_tag(Decoder& d, std::string* text, std::size_t max, int want, const char* what) {
  const int t = read_to_tag(d, text, max);
  if (t == want) return true;
  char buf[120];
  if (t < 0) std::snprintf(buf, sizeof buf, "no %s tag (0x%02X) in the header", what, want);
  else std::snprintf(buf, sizeof buf, "tag 0x%02X where the %s tag (0x%02X) belongs", t, what, want);
  d.fail(buf);
  return false;
}

struct MonthRule {
  const char* pattern;  // '?' any letter
  int month;
};
// Tried in order; the first pattern that matches the name's start wins.
constexpr MonthRule kMonths[] = {
    {"F", 2},    {"S", 9},    {"O", 10},   {"N", 11},   {"D", 12},   {"Ja", 1},
    {"J?n", 6},  {"J?l", 7},  {"M?r", 3},  {"M?y", 5},  {"A?r", 4},  {"A?g", 8},
};

bool matches(const char* name, const char* pattern) {
  for (; *pattern; ++pattern, ++name) {
    if (*name == '\0') return false;
    if (*pattern != '?' && *pattern != *name) return false;
  }
  return true;
}

struct ProductKind {
  const char* prefix;
  const char* label;
  int date_at;  // character where the date begins
};
constexpr ProductKind kProducts[] = {
    {"NOWrad Master", "NOWRad Radar Master Composite (Dbz)", 20},
    {"USRAD Hi", "NOWRad Radar US Composite (Dbz)", 23},
};

void read_product(Decoder& d, const char* text, NOWRad_info* info) {
  const ProductKind* kind = nullptr;
  for (const auto& k : kProducts)
    if (std::strncmp(text, k.prefix, std::strlen(k.prefix)) == 0) kind = &k;
  if (kind == nullptr) {
    std::snprintf(info->label, sizeof info->label, "%s", "NOWRad Radar Composite (Dbz)");
    d.fail("unknown product text: no date");
    return;
  }
  std::snprintf(info->label, sizeof info->label, "%s", kind->label);
  int hour = 0, min = 0, day = 0, year = 0;
  char mon[4] = {};
  const char* at = text + kind->date_at;
  if (std::sscanf(at, "%d:%d %d-%3[A-Za-z]-%d", &hour, &min, &day, mon, &year) != 5 || hour < 0 || hour > 23 ||
      min < 0 || min > 59 || day < 1 || day > 31 || year < 0) {
    d.fail("product date does not parse: \"" + std::string(at, std::strlen(at) < 20 ? std::strlen(at) : 20) + "\"");
    return;
  }
  if (year < 50) year += 2000;
  else if (year < 200) year += 1900;
  Date& dt = info->date;
  dt.year = year;
  dt.day = day;
  dt.hour = hour;
  dt.min = min;
  dt.sec = 0;
  if (const int m = nowrad_month(mon); m > 0) dt.month = m;
}

bool read_projection(Decoder& d, int proj, const std::string& text, Domain& dom) {
  float v[8] = {};
  if (proj == 'C') {
    if (std::sscanf(text.c_str(), "%f %f %*f %f %f", &v[0], &v[1], &v[2], &v[3]) != 4) {
      d.fail("latitude-longitude numbers do not parse");
      return false;
    }
    dom.proj = DOM_LATLON;
    dom.clon = static_cast<float>(v[0] * kDegPerRad);
    const double top = v[1] * kDegPerRad;
    dom.dy = static_cast<float>(v[2] * kDegPerRad);
    dom.dx = static_cast<float>(v[3] * kDegPerRad);
    dom.clat = static_cast<float>(top - (dom.ny - 1) / 2.0 * dom.dy);
    dom.plon = dom.clon;
    return true;
  }
  if (proj == 'L') {
    if (std::sscanf(text.c_str(), "%f %f %f %f %f %f %f %f", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6],
                    &v[7]) != 8) {
      d.fail("Lambert numbers do not parse");
      return false;
    }
    MESS_print(kTrace, "US SECT: %f %f = %f %f = %f %f = %f %f\n", v[0], v[1], v[2], v[3], v[4], v[5], v[6],
               v[7]);
    dom.proj = DOM_LAMB;
    dom.param[1] = static_cast<float>(v[0] * kDegPerRad);
    dom.param[0] = static_cast<float>(v[1] * kDegPerRad);
    dom.param[2] = 1.0f;
    dom.plat = static_cast<float>(v[2] * kDegPerRad);
    dom.plon = static_cast<float>(v[3] * kDegPerRad);
    // The file's own centre and spacing are not those of its cells.
    dom.clat = 38.69f;
    dom.clon = -96.03f;
    dom.dx = 0.0722f;
    dom.dy = 0.0859f;
    return true;
  }
  char buf[60];
  std::snprintf(buf, sizeof buf, "unknown projection byte 0x%02X", proj & 0xFF);
  d.fail(buf);
  return false;
}

}  // namespace

int nowrad_month(const char* name) {
  if (name == nullptr) return 0;
  for (const auto& r : kMonths)
    if (matches(name, r.pattern)) return r.month;
  return 0;
}

const char* nowrad_error() { return dec().error.c_str(); }

void reset_nowrad_decoder() { dec() = Decoder{}; }

}  // namespace zor::mosaic

using zor::mosaic::dec;

int NOWRad_header(FILE* ifile, NOWRad_info* info) {
  using namespace zor::mosaic;
  if (ifile == nullptr || info == nullptr) return 0;
  Decoder& d = dec();
  d.attach(ifile);
  d.n_ahead = 0;
  d.tag = -1;
  d.error.clear();
  DOM_init(&info->domain);
  Domain& dom = info->domain;

  if (!expect_tag(d, nullptr, kMaxLead, kTagFirst, "first")) return 0;
  const int len = d.get();
  for (int i = 0; i <= len && len != EOF; ++i) d.get();  // the text and one more byte
  std::string text;
  if (!expect_tag(d, nullptr, kMaxRecord, kTagSize, "size")) return 0;
  if (!expect_tag(d, &text, kMaxRecord, kTagProduct, "product")) return 0;
  if (std::sscanf(text.c_str(), "%d %d", &dom.ny, &dom.nx) != 2 || dom.nx < 1 || dom.ny < 1 || dom.nx > kMaxSide ||
      dom.ny > kMaxSide) {
    d.fail("grid size does not parse: \"" + text.substr(0, 40) + "\"");
    dom.nx = dom.ny = ZOR_MISSING;
    return 0;
  }
  char product[kProductText + 1] = {};
  for (int i = 0; i < kProductText; ++i) {
    const int b = d.get();
    if (b == EOF) {
      d.fail("product text shorter than 80 bytes");
      return 0;
    }
    product[i] = static_cast<char>(b);
  }
  read_product(d, product, info);
  if (!expect_tag(d, nullptr, kMaxRecord, kTagProjection, "projection")) return 0;
  const int proj = d.get();
  if (proj == EOF || !expect_tag(d, &text, kMaxRecord, kTagLine, "first line")) {
    if (proj == EOF) d.fail("file ends in the projection record");
    return 0;
  }
  if (!read_projection(d, proj, text, dom)) return 0;
  d.tag = kTagLine;
  return 1;
}

int NOWRad_line(FILE* ifile, int* line) {
  auto& d = dec();
  if (ifile == nullptr) return 0;
  d.attach(ifile);
  if (d.tag != 0x0C) return 0;
  const int lo = d.get();
  const int hi = lo == EOF ? EOF : d.get();
  if (hi == EOF) {
    d.tag = -1;
    d.fail("file ends in a line number");
    return 0;
  }
  const int n = lo | hi << 8;
  if (line) *line = n;
  MESS_print(zor::mosaic::kTrace, "\rLine start:");
  MESS_print(zor::mosaic::kTrace, "%4d\n", n);
  d.tag = -1;
  d.check_tag = true;
  return 1;
}

int NOWRad_get_packet(FILE* ifile, NOWRad_packet* packet) {
  auto& d = dec();
  if (ifile == nullptr || packet == nullptr) return 0;
  d.attach(ifile);
  if (d.tag >= 0) return 0;
  const int b = d.get();
  if (b == EOF) return 0;
  const bool check_tag = d.check_tag;
  d.check_tag = false;
  int colour = 0;
  int run = 0;
  if (b == 0xF0 && check_tag) {
    // After a zero byte (or at the line start) 0xF0 may begin a tag.
    const int t = d.get();
    if (t != 0) {
      d.tag = t == EOF ? -1 : t;
      if (t == EOF) d.fail("file ends inside a line");
      return 0;
    }
    d.mask = 0;
    packet->run = 0;
    packet->mask = 0;
    return 1;
  }
  if (b == 0x00) {
    const int n1 = d.get();
    if (n1 == 0xF0) {
      const int n2 = d.get();
      if (n2 != EOF && n2 != 0) {
        d.tag = n2;
        return 0;
      }
      d.unget(n2);
    }
    d.unget(n1);
    run = 1;
    d.check_tag = true;
  } else if (b >= 0xF0) {
    d.mask = b & 15;
    packet->run = 0;
    packet->mask = d.mask;
    return 1;
  } else if (b >= 0xE0) {
    const int n = d.get();
    if (n == EOF) {
      d.fail("file ends inside a run");
      return 0;
    }
    colour = b & 15;
    run = n + 1;
  } else if (b >= 0xD0) {
    const int lo = d.get();
    const int hi = lo == EOF ? EOF : d.get();
    if (hi == EOF) {
      d.fail("file ends inside a run");
      return 0;
    }
    colour = b & 15;
    run = (lo | hi << 8) + 1;
  } else {
    colour = b & 15;
    run = (b >> 4) + 1;
  }
  packet->run = run;
  packet->value = 5.0f * static_cast<float>(colour);
  packet->mask = d.mask;
  return 1;
}

int NOWRad_rewind(FILE* ifile) {
  if (ifile == nullptr) return 0;
  std::rewind(ifile);
  dec().n_ahead = 0;
  NOWRad_info scratch;
  return NOWRad_header(ifile, &scratch);
}
