// Radar coded messages: finding a site's message in a file, taking the text
// out of its product form, and decoding the coded text (parts A, B and C)
// into one RCM_report.
#include <cctype>
#include <cstdarg>
#include <cstring>
#include <string>

#include "rcm_internal.h"
#include "zor/byte_reader.h"
#include "zor/date.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/nids.h"
#include "zor/res.h"
#include "zor/scanp.h"
#include "zor/text.h"

namespace zor::rcm {

State& state() {
  static State s;
  return s;
}

const char* last_warning() { return state().warning.c_str(); }

namespace {

constexpr std::size_t kBuffer = 5000;  // a line, and the message text
constexpr int kMaxCells = RCM_GRID * RCM_GRID;
constexpr M_type kTraceB = 0x20000000;       // debug sub-level b: every echo cell
constexpr M_type kTraceC = 0x40000000;       // debug sub-level c: the grid map
constexpr std::size_t kProductHeader = 120;  // message header and description block
constexpr int kProductCode = 74;

void warn(const std::string& w) {
  auto& s = state();
  if (!s.warning.empty()) s.warning += "; ";
  s.warning += w;
  MESS_print(M_WARN, "RCM_read_site: %s\n", w.c_str());
}

// Bytes from the carried-over line first, then from the file.
class Source {
 public:
  explicit Source(FILE* f) : f_(f) {
    auto& s = state();
    if (s.carry_file == f && s.carry_pos == std::ftell(f)) pending_ = s.carry;
    s.carry.clear();
    s.carry_file = nullptr;
  }
  int get() {
    if (next_ < pending_.size()) return static_cast<unsigned char>(pending_[next_++]);
    return std::getc(f_);
  }
  // Puts bytes back in front of the rest.
  void unget(const std::string& b) {
    pending_ = b + pending_.substr(next_ < pending_.size() ? next_ : pending_.size());
    next_ = 0;
  }
  // Hands a line back for the next call.
  void carry(const std::string& line) {
    auto& s = state();
    s.carry = line;
    s.carry_file = f_;
    s.carry_pos = std::ftell(f_);
  }
  // One line with its end of line, at most kBuffer characters kept; false
  // at the end of the file.
  bool line(std::string& out, bool& cut) {
    out.clear();
    cut = false;
    int c = get();
    if (c == EOF) return false;
    for (; c != EOF; c = get()) {
      if (out.size() < kBuffer)
        out.push_back(static_cast<char>(c));
      else
        cut = true;
      if (c == '\n') break;
    }
    return true;
  }
  // Up to n bytes.
  std::string bytes(std::size_t n) {
    std::string out;
    for (int c; out.size() < n && (c = get()) != EOF;) out.push_back(static_cast<char>(c));
    return out;
  }

 private:
  FILE* f_;
  std::string pending_;
  std::size_t next_ = 0;
};

std::string trimmed(const std::string& s) {
  std::size_t a = 0, b = s.size();
  while (a < b && std::isspace(static_cast<unsigned char>(s[a]))) ++a;
  while (b > a && std::isspace(static_cast<unsigned char>(s[b - 1]))) --b;
  return s.substr(a, b - a);
}

bool rcm_line(const std::string& t) { return t.size() >= 3 && strnicmp(t.c_str(), "RCM", 3) == 0; }

// The text of the plain form, and of the old packet form: the lines up to
// the next site's product line, trimmed and joined with line feeds (packets
// are binary and kept as they stand).
std::string text_lines(Source& src, bool raw) {
  std::string text;
  std::string line;
  bool cut = false;
  bool full = false;
  while (src.line(line, cut)) {
    if (cut) warn("a line longer than 5000 characters was cut");
    const std::string t = trimmed(line);
    if (rcm_line(t)) {
      src.carry(line);
      break;
    }
    if (full) continue;
    if (raw) {
      text += line;
    } else {
      if (!text.empty()) text.push_back('\n');
      text += t;
    }
    if (text.size() > kBuffer) {
      text.resize(kBuffer);
      full = true;
      warn("message longer than 5000 characters; the rest is not read");
    }
  }
  return text;
}

// Product 74: message header and product description, then the text.
// Returns the coded text; the site position and volume time go to `r`.
std::string product_text(Source& src, std::string head, RCM_report& r) {
  head += src.bytes(kProductHeader - head.size());
  if (head.size() < kProductHeader) {
    warn("product header cut short");
    return {};
  }
  ByteReader b(reinterpret_cast<const std::uint8_t*>(head.data()), head.size());
  const int code = b.i16();  // 0-1 message code
  b.skip(6);
  const std::int32_t len = b.i32();  // 8-11 message length
  b.seek(18);
  const int divider = b.i16();       // 18
  const std::int32_t lat = b.i32();  // 20
  const std::int32_t lon = b.i32();  // 24
  const int height = b.i16();        // 28 feet
  b.seek(40);
  const int vdate = b.i16();           // 40 volume scan date
  const std::int32_t vtime = b.i32();  // 42 volume scan time
  if (code != kProductCode || divider != -1) {
    warn("not a radar coded message product (code " + std::to_string(code) + ")");
    return {};
  }
  r.lat = static_cast<float>(lat) / 1000.0f;
  r.lon = static_cast<float>(lon) / 1000.0f;
  r.elev = static_cast<float>(height) * 0.3048f;
  NIDS_julian_date(vdate, &r.date.year, &r.date.month, &r.date.day);
  NIDS_dec_time(vtime, &r.date.hour, &r.date.min, &r.date.sec);
  const long want = static_cast<long>(len) - static_cast<long>(kProductHeader);
  if (want <= 0) {
    warn("product holds no text");
    return {};
  }
  std::size_t n = static_cast<std::size_t>(want);
  if (n > kBuffer) {
    warn("message longer than 5000 characters; the rest is not read");
    n = kBuffer;
  }
  std::string text = src.bytes(n);
  if (text.size() < n) warn("product cut short");
  return text;
}

// The old packet chain: number, location packet, then the text packet.
// Returns the offset of the coded text, or npos when there is none.
std::size_t packet_text(const std::string& buf, RCM_report& r) {
  ByteReader b(reinterpret_cast<const std::uint8_t*>(buf.data()), buf.size());
  std::size_t at = 0;
  int index = 0;
  while (at + 4 <= buf.size()) {
    b.seek(at);
    const int b0 = b.u8(), b1 = b.u8(), t0 = b.u8(), t1 = b.u8();
    const std::size_t len = static_cast<std::size_t>((b0 & 15) * 256 + b1) * 2;
    MESS_print(M_DEBUG, "PKT: %X %X %d %X\n", t0, t1, static_cast<int>(len / 2), b0);
    const std::string body = buf.substr(at + 4, len > 4 ? len - 4 : 0);
    Scanp p;
    scanp_set(&p, body.c_str());
    if (index == 0) {
      if (t0 != 1 || t1 != 1) return std::string::npos;
      ::scanp(&p, "%3d", &r.num);
    } else if (t0 == 1 && t1 == 16) {
      float lat = 0, lon = 0, elev = 0;
      int y = 0, mo = 0, d = 0, h = 0, mi = 0;
      if (::scanp(&p, "%*2D%8F%10F%4F", &lat, &lon, &elev) == 4) {
        r.lat = lat;
        r.lon = lon;
        r.elev = elev * 0.3048f;
        scanp_inc(&p);
        if (::scanp(&p, "%4D%2D%2D%2D%2D", &y, &mo, &d, &h, &mi) == 5) {
          r.date.year = y;
          r.date.month = mo;
          r.date.day = d;
          r.date.hour = h;
          r.date.min = mi;
        }
      }
    } else if (t0 == 5 && t1 == 4) {
      return at + 4;
    } else if (!((t0 == 4 && t1 == 16) || (t0 == 1 && t1 == 4) || index == 1)) {
      return std::string::npos;
    }
    if (len < 4) return std::string::npos;
    at += len;
    ++index;
  }
  return std::string::npos;
}

// ---- The coded text --------------------------------------------------------

// Matches a whole format at the cursor and steps past it.
bool take(Scanp& p, const char* fmt, ...) {
  std::va_list args;
  va_start(args, fmt);
  vscanp(&p, fmt, args);
  va_end(args);
  if (!p.whole) return false;
  scanp_inc(&p);
  return true;
}

void skip_to_slash(Scanp& p) {
  while (scanp_char(&p, 0) != 0 && scanp_char(&p, 0) != '/') scanp_inc_off(&p, 1);
}

// The separator after a list entry; the last entry has none.
void separator(Scanp& p) { take(p, " , "); }

void set_point(RCM_point& pt, const char* id, const char* loc) {
  std::snprintf(pt.id, sizeof pt.id, "%s", id);
  int c = 0, r = 0;
  if (location(loc, &c, &r)) {
    pt.x = static_cast<float>(c);
    pt.y = static_cast<float>(r);
  } else {
    warn(std::string("location code ") + loc + " is outside the grid");
  }
}

bool upper(int c) { return c >= 'A' && c <= 'Z'; }

void grid_map(const RCM_report& r) {
  for (int row = 0; row < RCM_GRID; ++row) {
    std::string line;
    for (int col = 20; col < RCM_GRID; ++col) {
      const int v = r.echo[col][row];
      line.push_back(v == RCM_NO_ECHO ? '.' : static_cast<char>('0' + (v % 10)));
    }
    MESS_print(kTraceC, "%3d %s\n", row, line.c_str());
  }
}

// Intensity groups after "/NI": a location code, then digits (one cell each,
// moving right) and repeat letters.
void intensity(Scanp& p, RCM_report& r) {
  int cells = 0;
  bool edge = false;
  while (cells < kMaxCells && std::isalpha(scanp_char(&p, 0))) {
    const char code[4] = {static_cast<char>(scanp_char(&p, 0)),
                          static_cast<char>(scanp_char(&p, 1)),
                          static_cast<char>(scanp_char(&p, 2)), 0};
    int col = 0, row = 0;
    if (!location(code, &col, &row)) {
      warn(std::string("location code ") + code + " is outside the grid");
      while (scanp_char(&p, 0) != 0 && scanp_char(&p, 0) != ',' && scanp_char(&p, 0) != '/')
        scanp_inc_off(&p, 1);
    } else {
      scanp_inc_off(&p, 3);
      int last = -1;
      auto set = [&](int v, const char* what) {
        if (col >= RCM_GRID) {
          edge = true;
        } else {
          r.echo[col][row] = static_cast<std::uint8_t>(v);
          ++cells;
          MESS_print(kTraceB, "%s: %d %d %d = %d\n", what, cells, col, row, v);
        }
        ++col;
      };
      for (int ch = scanp_char(&p, 0); ch != 0; ch = scanp_char(&p, 0)) {
        if (std::isdigit(ch)) {
          last = ch - '0';
          set(last, "ECHO");
        } else if (upper(ch) && last >= 0) {
          for (int k = 0; k <= ch - 'A'; ++k) set(last, "ECHO-REP");
        } else if (!std::isspace(ch)) {
          break;
        }
        scanp_inc_off(&p, 1);
      }
    }
    while (scanp_char(&p, 0) == ',' || std::isspace(scanp_char(&p, 0))) scanp_inc_off(&p, 1);
  }
  if (edge) warn("intensity runs past the east edge of the grid");
  MESS_print(M_DEBUG, "END: %d\n", cells);
  grid_map(r);
}

void part_a_storms(Scanp& p, RCM_report& r) {
  int n = 0;
  if (!take(p, "%*(/NCEN)%d: ", &n)) return;
  if (n > RCM_MAX_STORM) warn("more than 40 storms; the rest are not read");
  for (int k = 0; k < n && r.num_storm < RCM_MAX_STORM; ++k) {
    char id[3] = {}, loc[4] = {};
    int dir = 0, spd = 0;
    if (!take(p, "%*(C)%2s%3s %3d%3d", id, loc, &dir, &spd)) break;
    separator(p);
    RCM_storm& st = r.storm[r.num_storm++];
    RCM_point pt;
    set_point(pt, id, loc);
    std::memcpy(st.id, pt.id, sizeof st.id);
    st.x = pt.x;
    st.y = pt.y;
    st.dir = dir;
    st.spd = spd;
  }
  skip_to_slash(p);
}

void part_b(Scanp& p, RCM_report& r) {
  if (!take(p, "%*(/NEXRBB) %*d %*d ")) return;
  static constexpr char kLetters[] = "ABCDEFG";
  static constexpr int kRms[] = {2, 4, 6, 8, 10, 12, 15};
  while (scanp_char(&p, 0) != '/' && scanp_char(&p, 0) != 0) {
    int hgt = 0, dir = 0, spd = 0;
    char q = 0;
    if (!take(p, "%d%c%3d%3d", &hgt, &q, &dir, &spd)) break;
    separator(p);
    if (r.num_vad >= RCM_MAX_VAD) {
      warn("more than 20 VAD winds; the rest are not read");
      break;
    }
    RCM_vad& v = r.vad[r.num_vad++];
    v.hgt = hgt;
    v.dir = dir;
    v.spd = spd;
    const char* at = q != 0 ? std::strchr(kLetters, q) : nullptr;
    if (at != nullptr) v.rms = kRms[at - kLetters];
  }
  skip_to_slash(p);
  take(p, "%*(/ENDBB) ");
}

// A list of identified points ("/NTVS", "/NMES").
void point_list(Scanp& p, const char* head, const char* entry, RCM_point* pts, int& num, int max,
                const char* what) {
  int n = 0;
  if (!take(p, head, &n)) return;
  if (n > max) warn(std::string("more ") + what + " than the record holds; the rest are not read");
  for (int k = 0; k < n && num < max; ++k) {
    char id[3] = {}, loc[4] = {};
    if (!take(p, entry, id, loc)) break;
    separator(p);
    set_point(pts[num++], id, loc);
  }
  skip_to_slash(p);
}

void part_c_storms(Scanp& p, RCM_report& r) {
  int n = 0;
  if (!take(p, "%*(/NCEN)%d: ", &n)) return;
  for (int k = 0; k < n; ++k) {
    char id[3] = {}, loc[4] = {}, hail = 0;
    int hgt = 0;
    if (!take(p, "%*(C)%2s%3s ", id, loc)) break;
    if (!take(p, "%*(S)%3d%*(H)%c", &hgt, &hail)) break;
    separator(p);
    RCM_storm* st = nullptr;
    for (int i = 0; i < r.num_storm && st == nullptr; ++i)
      if (std::strcmp(r.storm[i].id, id) == 0) st = &r.storm[i];
    if (st == nullptr) {
      if (r.num_storm >= RCM_MAX_STORM) {
        warn("more than 40 storms; the rest are not read");
        continue;
      }
      st = &r.storm[r.num_storm++];
      RCM_point pt;
      set_point(pt, id, loc);
      std::memcpy(st->id, pt.id, sizeof st->id);
      st->x = pt.x;
      st->y = pt.y;
    }
    st->hgt = hgt;
    static constexpr char kHail[] = "UNPH";
    const char* at = hail != 0 ? std::strchr(kHail, hail) : nullptr;
    st->hail = at != nullptr ? static_cast<int>(at - kHail) - 1 : -1;
  }
  skip_to_slash(p);
}

int year4(int y) { return y < 50 ? y + 2000 : (y < 200 ? y + 1900 : y); }

int decode(const char* text, RCM_report& r) {
  Scanp p;
  scanp_set(&p, text);
  take(p, "%*d %*s %*d ");
  if (!take(p, "%*(/NEXRAA) ")) return 0;
  int num = 0, day = 0, mon = 0, yr = 0, hr = 0, mi = 0;
  if (take(p, "%d %2D%2D%2D%2D%2D ", &num, &day, &mon, &yr, &hr, &mi)) {
    r.num = num;
    r.date.year = year4(yr);
    r.date.month = mon;
    r.date.day = day;
    r.date.hour = hr;
    r.date.min = mi;
    r.date.sec = 0;
    r.date.jday = r.date.wday = ZOR_MISSING;
  }
  take(p, "%*(EDITED|UNEDITED) ");
  if (take(p, "%*(RADNE) "))
    r.status = 1;
  else if (take(p, "%*(RADOM) "))
    r.status = 2;
  char mode[5] = {};
  if (take(p, "%*(/MD)%4s ", mode)) {
    if (std::strcmp(mode, "PCPN") == 0)
      r.mode = 1;
    else if (std::strcmp(mode, "CLAR") == 0)
      r.mode = 2;
  }
  if (!take(p, "%*(/SC)%*d ")) take(p, "%*(/SC) ");
  int groups = 0;
  if (take(p, "%*(/NI)%d: ", &groups)) {
    MESS_print(M_DEBUG, "NUM: %d\n", groups);
    intensity(p, r);
    skip_to_slash(p);
  }
  int maxt = 0;
  char loc[4] = {};
  if (take(p, "%*(/MT)%d:%3s ", &maxt, loc)) {
    r.maxt = maxt;
    int c = 0, row = 0;
    if (location(loc, &c, &row)) {
      r.maxt_x = static_cast<float>(c);
      r.maxt_y = static_cast<float>(row);
    }
    skip_to_slash(p);
  }
  part_a_storms(p, r);
  skip_to_slash(p);
  take(p, "%*(/ENDAA) ");
  part_b(p, r);
  if (take(p, "%*(/NEXRCC) %*d %*d ")) {
    point_list(p, "%*(/NTVS)%d: ", "%*(TVS)%2s%3s", r.tvs, r.num_tvs, RCM_MAX_TVS, "TVS");
    point_list(p, "%*(/NMES)%d: ", "%*(M)%2s%3s", r.meso, r.num_meso, RCM_MAX_MESO, "mesocyclones");
    part_c_storms(p, r);
  }
  take(p, " ");
  return 1;
}

}  // namespace

bool location(const char* code, int* col, int* row) {
  if (code == nullptr || !upper(code[0]) || !upper(code[1]) || !upper(code[2])) return false;
  const int l0 = code[0] - 'A', l1 = code[1] - 'A', l2 = code[2] - 'A';
  const int c = 4 * l1 + l2 / 4, r = 4 * l0 + l2 % 4;
  if (c >= RCM_GRID || r >= RCM_GRID) return false;
  if (col != nullptr) *col = c;
  if (row != nullptr) *row = r;
  return true;
}

}  // namespace zor::rcm

using zor::rcm::state;

int RCM_init(RCM_report* report) {
  if (report == nullptr) return -1;
  RCM_report& r = *report;
  std::memset(r.id, 0, sizeof r.id);
  r.num = r.mode = r.status = r.maxt = ZOR_MISSING;
  r.lat = r.lon = r.elev = ZOR_MISSING_F;
  r.date = Date{};
  std::memset(r.echo, RCM_NO_ECHO, sizeof r.echo);
  r.maxt_x = r.maxt_y = ZOR_MISSING_F;
  for (auto& s : r.storm) s = RCM_storm{};
  for (auto& t : r.tvs) t = RCM_point{};
  for (auto& m : r.meso) m = RCM_point{};
  for (auto& v : r.vad) v = RCM_vad{};
  r.num_storm = r.num_tvs = r.num_meso = r.num_vad = 0;
  return 0;
}

int RCM_read_site(FILE* ifile, RCM_report* report) {
  using namespace zor::rcm;
  if (ifile == nullptr || report == nullptr) return -1;
  RCM_init(report);
  state().warning.clear();
  Source src(ifile);
  std::string line, t;
  bool cut = false;
  for (;;) {
    if (!src.line(line, cut)) return -1;
    t = trimmed(line);
    if (rcm_line(t)) break;
  }
  if (cut) warn("the product line is longer than 5000 characters");
  std::snprintf(report->id, sizeof report->id, "%s", trimmed(t.substr(3)).c_str());

  // The form shows in the first bytes after the product line.
  const std::string head = src.bytes(4);
  std::string text;
  std::size_t start = 0;
  const auto byte = [&](std::size_t i) {
    return i < head.size() ? static_cast<unsigned char>(head[i]) : 0;
  };
  if (byte(0) == 0 && byte(1) == kProductCode) {
    text = product_text(src, head, *report);
  } else if (head.size() == 4 && byte(2) == 1 && byte(3) == 1) {
    src.unget(head);
    text = text_lines(src, true);
    start = packet_text(text, *report);
    if (start == std::string::npos) return 1;
  } else {
    src.unget(head);
    text = text_lines(src, false);
    const std::size_t at = text.find("1234");
    if (at == std::string::npos) return 0;
    start = at;
  }
  if (start >= text.size()) return 0;
  // The text may hold NUL bytes from a damaged product; decoding stops there.
  return decode(text.c_str() + start, *report);
}

int RCM_print(M_type level, RCM_report* report) {
  if (report == nullptr) return -1;
  const RCM_report& r = *report;
  auto f = [](float v) { return static_cast<double>(v); };
  MESS_print(level, "ID: %s\n", r.id);
  MESS_print(level, "Num: %d\n", r.num);
  MESS_print(level, "Loc: %.3f %.3f\n", f(r.lat), f(r.lon));
  char label[64] = {};
  Date d = r.date;
  DATE_make_label(&d, label);
  MESS_print(level, "Date: %s\n", label);
  if (r.status == 1)
    MESS_print(level, "Status: no echos\n");
  else if (r.status == 2)
    MESS_print(level, "Status: out for maintenance\n");
  MESS_print(level, "Max Top: %d %3.0f,%3.0f\n", r.maxt, f(r.maxt_x), f(r.maxt_y));
  for (int i = 0; i < r.num_tvs; ++i)
    MESS_print(level, "TVS:  %2s %3.0f,%3.0f\n", r.tvs[i].id, f(r.tvs[i].x), f(r.tvs[i].y));
  for (int i = 0; i < r.num_meso; ++i)
    MESS_print(level, "MESO: %2s %3.0f,%3.0f\n", r.meso[i].id, f(r.meso[i].x), f(r.meso[i].y));
  for (int i = 0; i < r.num_storm; ++i) {
    const RCM_storm& s = r.storm[i];
    MESS_print(level, "STRM: %2s %3.0f,%3.0f %3.3d-%3.3d %3d %d\n", s.id, f(s.x), f(s.y), s.dir,
               s.spd, s.hgt, s.hail);
  }
  return 0;
}

int RCM_prompt_id() {
  auto& s = state();
  const char* res = RES_get("identifier");
  if (res != nullptr && *res != '\0') {
    std::snprintf(s.station, sizeof s.station, "%.5s", res);
    up_string(s.station);
    return 0;
  }
  if (FLAG_get(19) != 0) {
    MESS_print(M_WARN, "RCM_prompt_id: no station given (resource identifier)\n");
    return 0;
  }
  constexpr int kTries = 5;
  char answer[8] = {};
  for (int i = 0; i < kTries; ++i) {
    answer[0] = '\0';
    ZOR_prompts("Enter station to be used in the analysis: ", answer, 6);
    if (stricmp(answer, "exit") == 0) ZOR_exit(0);
    up_string(answer);
    std::snprintf(s.station, sizeof s.station, "%s", answer);
    if (std::strlen(answer) == 3 && std::isalpha(static_cast<unsigned char>(answer[0]))) break;
  }
  return 0;
}
