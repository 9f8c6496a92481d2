// File-name conventions: templates of path, product and date keys held in the
// name-convention file; names built from dates, typed names read back into
// dates, the latest existing file, listings and series of files by date.
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "file_internal.h"
#include "zor/data_dir.h"
#include "zor/date.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace zor::file {
namespace {

constexpr M_type kPrint = 15;
constexpr M_type kError = 48;
constexpr M_type kWarn = 192;
constexpr M_type kMess = 3840;
constexpr M_type kOut4 = 0x10000000;
constexpr M_type kTrace = 0x40000000;
constexpr M_type kKeys = 0x80000000;
constexpr M_type kDebug = 0xF0000000;

constexpr int kUnset = ZOR_MISSING;
constexpr int kMaxSearch = 500;

struct State {
  std::string conv, hconv, ext, ext_info, filename;
  int filename_type = 0;
  int file_type = 0;
  bool header = false;
  Date set{}, file_date{};
  int late_off = 3600;
  int min_size = 0, rmin_size = 0;
  std::array<std::string, 256> keys{};
  bool keys_cleared = false;
  std::vector<std::string> files;
  int file_ind = 0;
  Date first_date{};
  int num_hour = 0, skip = 0, offset = 0, secs = 0, nsecs = 0;
  int def_hours = 0;
  int retry = 4;
  std::string sconv, shconv, sfilename;
  int sfilename_type = 0, slate_off = 3600;

  void reset() { *this = State{}; }
};

State& st() {
  static State s;
  return s;
}

bool ieq(const std::string& a, const char* b) { return strcasecmp(a.c_str(), b) == 0; }
bool istarts(const std::string& s, const std::string& prefix) {
  return s.size() >= prefix.size() && strncasecmp(s.c_str(), prefix.c_str(), prefix.size()) == 0;
}
bool set_field(int v) { return v != kUnset && v >= 0; }
bool step_field(int v) { return v != kUnset && v < 0; }

std::string resource(const char* name) {
  const char* v = RES_get(name);
  return v ? std::string(v) : std::string();
}

// ---- templates ------------------------------------------------------------

struct Token {
  enum Kind { Lit, Key, Res, Open, Close } kind = Lit;
  char c = 0;         // literal character or key letter
  int step = 1;       // N of "%N<key>"
  bool has_step = false;
  std::string name;   // resource of "%{name}"
};

Token make_token(Token::Kind kind, char c) {
  Token t;
  t.kind = kind;
  t.c = c;
  return t;
}

std::vector<Token> tokenize(const std::string& t) {
  std::vector<Token> out;
  for (std::size_t i = 0; i < t.size(); ++i) {
    char ch = t[i];
    if (ch == '{' || ch == '}') {
      out.push_back(make_token(ch == '{' ? Token::Open : Token::Close, ch));
      continue;
    }
    if (ch != '%' || i + 1 >= t.size()) {
      out.push_back(make_token(Token::Lit, ch == ' ' ? '_' : ch));
      continue;
    }
    Token k = make_token(Token::Key, 0);
    std::size_t j = i + 1;
    if (std::isdigit(static_cast<unsigned char>(t[j]))) {
      k.step = 0;
      k.has_step = true;
      while (j < t.size() && std::isdigit(static_cast<unsigned char>(t[j])))
        k.step = std::min(k.step * 10 + (t[j++] - '0'), 100000);
      if (k.step < 1) k.step = 1;
    }
    if (j >= t.size()) {  // "%12" at the end: keep it as text
      for (std::size_t m = i; m < t.size(); ++m) out.push_back(make_token(Token::Lit, t[m]));
      break;
    }
    k.c = t[j];
    if (k.c == '%') {
      out.push_back(make_token(Token::Lit, '%'));
    } else if (k.c == '{') {
      std::size_t close = t.find('}', j);
      if (close == std::string::npos) close = t.size();
      k.kind = Token::Res;
      k.name = t.substr(j + 1, close - j - 1);
      out.push_back(k);
      j = close;
    } else {
      out.push_back(k);
    }
    i = j;
  }
  return out;
}

struct PathKey {
  char key;
  const char* resource;
};
constexpr PathKey kPathKeys[] = {
    {'C', "con_path"},   {'D', "data_path"},  {'F', "file_path"}, {'R', "raw_path"},
    {'G', "grid_path"},  {'I', "image_path"}, {'W', "watch_path"}, {'T', "text_path"},
    {'M', "model_path"}, {'S', "sat_path"},
};

const char* path_resource(char c) {
  for (const auto& p : kPathKeys)
    if (p.key == c) return p.resource;
  return nullptr;
}

bool is_date_key(char c) { return c != '\0' && std::strchr("Yymbdjhn", c) != nullptr; }

// Width of a date key in a name.
int date_width(char c) {
  switch (c) {
    case 'Y': return 4;
    case 'j':
    case 'b': return 3;
    default: return 2;
  }
}

// A path resource's value without its trailing "/": templates give their own
// separators.
std::string path_value(char c) {
  std::string v = resource(path_resource(c));
  if (v.empty()) return ".";
  while (v.size() > 1 && v.back() == '/') v.pop_back();
  return v;
}

std::string user_key(char c, const Token& t) {
  const std::string& v = st().keys[static_cast<unsigned char>(c)];
  if (v.empty()) return "0";
  return t.has_step ? v.substr(0, static_cast<std::size_t>(t.step)) : v;
}

// The file interval a template implies under the time specification `set`:
// the smallest interval among its time keys, unset when it has none.
int template_interval(const std::vector<Token>& toks) {
  const Date& s = st().set;
  int best = kUnset;
  auto take = [&](int v) {
    if (v > 0 && (best == kUnset || v < best)) best = v;
  };
  for (const auto& t : toks) {
    if (t.kind != Token::Key) continue;
    switch (t.c) {
      case 'd':
      case 'j': take(step_field(s.day) ? -s.day * 86400 : t.step * 86400); break;
      case 'h': take(step_field(s.hour) ? (-s.hour % 100) * 3600 : t.step * 3600); break;
      case 'n': take(step_field(s.min) ? (-s.min % 100) * 60 : t.step * 60); break;
      default: break;
    }
  }
  return best;
}

int round_down(int v, int step) { return step > 1 ? (v / step) * step : v; }
// Days and months count from 1.
int round_down1(int v, int step) { return step > 1 ? ((v - 1) / step) * step + 1 : v; }
// A negative field of `set` packs -(offset * 100 + step).
int packed(int date_v, int spec) {
  int p = -spec;
  int step = p % 100, off = p / 100;
  if (step < 1) step = 1;
  return round_down(date_v, step) + off;
}

// Completes month/day from the day of year and the other way round.
void complete(Date& d) {
  if (d.year < 0) return;
  if (set_field(d.month) && set_field(d.day) && !set_field(d.jday)) {
    int j = 0;
    DATE_monday_julian(d.year, d.month, d.day, &j);
    d.jday = j;
  } else if (set_field(d.jday) && (!set_field(d.month) || !set_field(d.day))) {
    int m = 0, dd = 0;
    DATE_julian_monday(d.year, d.jday, &m, &dd);
    d.month = m;
    d.day = dd;
  }
}

std::string fmt(const char* f, int v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, f, v);
  return buf;
}

const std::string& active_template() { return st().header ? st().hconv : st().conv; }

// Directory of the last literal full-path name, cut before its k-th "/"
// from the end, standing in for every path key of this build.
std::optional<std::string> extracted_path(const std::string& tmpl) {
  State& s = st();
  if (s.filename_type != 1 || !FILE_fullpath(s.filename.c_str())) return std::nullopt;
  long k = std::count(tmpl.begin(), tmpl.end(), '/');
  if (k <= 0) return std::nullopt;
  std::vector<std::size_t> seps;
  for (std::size_t i = 0; i < s.filename.size(); ++i)
    if (s.filename[i] == '/' || (i == 1 && s.filename[i] == ':')) seps.push_back(i);
  if (static_cast<long>(seps.size()) < k) return std::nullopt;
  std::size_t cut = seps[seps.size() - static_cast<std::size_t>(k)];
  if (s.filename[cut] == ':') ++cut;  // keep the drive letter's ":"
  std::string dir = s.filename.substr(0, cut);
  MESS_print(kTrace, "Extracted path: %s\n", dir.c_str());
  return dir;
}

// Builds a name for `d` by template `tmpl`, storing the written date fields
// into file_date and the interval into late_off.
std::string build(const std::string& tmpl, const Date& d_in) {
  State& s = st();
  Date d = d_in;
  complete(d);
  const Date& set = s.set;
  std::vector<Token> toks = tokenize(tmpl);
  std::optional<std::string> xpath = extracted_path(tmpl);
  std::string out;
  for (const auto& t : toks) {
    if (t.kind == Token::Lit) {
      out += t.c;
      continue;
    }
    if (t.kind == Token::Open || t.kind == Token::Close) continue;
    if (t.kind == Token::Res) {
      out += xpath ? *xpath : resource(t.name.c_str());
      continue;
    }
    const int n = t.step;
    int v = kUnset;
    switch (t.c) {
      case 'Y':
      case 'y':
        v = set_field(set.year) ? set.year : d.year;
        if (v < 0) {
          out += t.c == 'Y' ? "0000" : "00";
          break;
        }
        v = round_down(v, n);
        s.file_date.year = v;
        out += t.c == 'Y' ? fmt("%4.4d", v) : fmt("%2.2d", v % 100);
        break;
      case 'm':
      case 'b':
        v = set_field(set.month) ? set.month : d.month;
        if (v < 1 || v > 12) {
          out += t.c == 'm' ? "00" : "xxx";
          break;
        }
        v = round_down1(v, n);
        s.file_date.month = v;
        out += t.c == 'm' ? fmt("%2.2d", v) : std::string(DATE_month_lower(v));
        break;
      case 'd':
        if (set_field(set.day)) v = set.day;
        else if (d.day >= 0) v = round_down1(d.day, step_field(set.day) ? -set.day : n);
        if (v < 0) {
          out += "00";
          break;
        }
        s.file_date.day = v;
        out += fmt("%2.2d", v);
        break;
      case 'j':
        v = d.jday;
        if (v < 0) {
          out += "000";
          break;
        }
        v = round_down1(v, n);
        s.file_date.jday = v;
        out += fmt("%3.3d", v);
        break;
      case 'h':
        if (set_field(set.hour)) v = round_down(set.hour, n);
        else if (d.hour >= 0) v = step_field(set.hour) ? packed(d.hour, set.hour) : round_down(d.hour, n);
        if (v < 0) {
          out += "00";
          break;
        }
        s.file_date.hour = v;
        out += fmt("%2.2d", v);
        break;
      case 'n':
        if (set_field(set.min)) v = round_down(set.min, n);
        else if (d.min >= 0) v = step_field(set.min) ? packed(d.min, set.min) : round_down(d.min, n);
        if (v < 0) {
          out += "00";
          break;
        }
        s.file_date.min = v;
        out += fmt("%2.2d", v);
        break;
      case 'e': out += s.ext; break;
      default:
        if (const char* res = path_resource(t.c)) {
          (void)res;
          out += xpath ? *xpath : path_value(t.c);
        } else {
          out += user_key(t.c, t);
        }
    }
  }
  s.late_off = template_interval(toks);
  return out;
}

// The listing pattern of a template, for the shell.
std::string listing_pattern(const std::string& tmpl) {
  std::string out;
  for (const auto& t : tokenize(tmpl)) {
    switch (t.kind) {
      case Token::Lit: out += t.c; continue;
      case Token::Open:
      case Token::Close: continue;
      case Token::Res: {
        std::string v = resource(t.name.c_str());
        out += v.empty() ? "*" : v;
        continue;
      }
      case Token::Key: break;
    }
    switch (t.c) {
      case 'Y': out += "?[0-9]??"; break;
      case 'j': out += "?[0-9]?"; break;
      case 'b': out += "?[a-z]?"; break;
      case 'y':
      case 'm':
      case 'd':
      case 'h':
      case 'n': out += "[0-9]?"; break;
      case 'e': out += st().ext.empty() ? "*" : st().ext; break;
      default:
        if (path_resource(t.c)) {
          out += path_value(t.c);
        } else {
          const std::string& v = st().keys[static_cast<unsigned char>(t.c)];
          if (!v.empty()) out += t.has_step ? v.substr(0, static_cast<std::size_t>(t.step)) : v;
          else if (t.has_step) out += std::string(static_cast<std::size_t>(t.step), '?');
          else out += "*";
        }
    }
  }
  return out;
}

// "YYYYMMDDhhmm" as far as digits follow. Missing month and day are 1 (the
// start of the period), missing hour and minute 0.
Date parse_digits(const char* p, int* used = nullptr) {
  Date d;
  d.year = d.month = d.day = d.hour = d.min = kUnset;
  const int widths[] = {4, 2, 2, 2, 2};
  int* fields[] = {&d.year, &d.month, &d.day, &d.hour, &d.min};
  int pos = 0;
  for (int f = 0; f < 5; ++f) {
    int v = 0, k = 0;
    while (k < widths[f] && std::isdigit(static_cast<unsigned char>(p[pos + k]))) v = v * 10 + (p[pos + k++] - '0');
    if (k < widths[f]) break;
    *fields[f] = v;
    pos += k;
  }
  if (used) *used = pos;
  return d;
}

Date now_date() {
  long secs = DATE_get_time(nullptr);
  Date d;
  DATE_get_gmdate(&secs, &d);
  return d;
}

Date from_secs(long secs) {
  Date d;
  DATE_get_gmdate(&secs, &d);
  return d;
}

long to_secs(Date d) {
  d.sec = d.sec < 0 ? 0 : d.sec;
  return DATE_num_sec(&d);
}

// "+"/"-"/none, then "D" "d" H ":" M, or H ":" M. Returns the seconds with
// their sign (none means backward); `forward` tells a bare "+".
long parse_offset(const std::string& s, std::size_t& p, bool& plus) {
  plus = false;
  if (p >= s.size()) return 0;
  char c = s[p];
  if (c != '+' && c != '-' && c != ':' && !std::isdigit(static_cast<unsigned char>(c))) return 0;
  int sign = -1;
  if (c == '+' || c == '-') {
    plus = c == '+';
    sign = plus ? 1 : -1;
    ++p;
  }
  auto number = [&]() {
    long v = 0;
    while (p < s.size() && std::isdigit(static_cast<unsigned char>(s[p]))) v = std::min(v * 10 + (s[p++] - '0'), 1000000L);
    return v;
  };
  long days = 0, hours = number(), mins = 0;
  if (p < s.size() && (s[p] == 'd' || s[p] == 'D')) {
    ++p;
    days = hours;
    hours = number();
  }
  if (p < s.size() && s[p] == ':') {
    ++p;
    mins = number();
  }
  return sign * (days * 86400 + hours * 3600 + mins * 60);
}

// Moves the reference date by the fixed fields of the time specification.
Date apply_set(Date r) {
  const Date& s = st().set;
  if (set_field(s.month) && s.month >= 1 && s.month <= 12) {
    if (s.month > r.month) --r.year;
    r.month = s.month;
  }
  if (set_field(s.day) && s.day >= 1) {
    if (s.day > r.day) {
      if (--r.month < 1) {
        r.month = 12;
        --r.year;
      }
    }
    r.day = s.day;
  }
  long secs = to_secs(r);
  r = from_secs(secs);
  if (set_field(s.hour)) {
    if (s.hour > r.hour) r = from_secs(to_secs(r) - 86400);
    r.hour = s.hour;
    r = from_secs(to_secs(r));
  }
  if (set_field(s.min)) {
    if (s.min > r.min) r = from_secs(to_secs(r) - 3600);
    r.min = s.min;
    r = from_secs(to_secs(r));
  }
  return r;
}

std::string build_for(const Date& d) {
  State& s = st();
  const std::string& tmpl = active_template();
  if (tmpl.empty() || FILE_is_stdio(tmpl.c_str())) {
    FILE_set_date(const_cast<Date*>(&d), nullptr, 0);
    return s.filename;
  }
  s.file_date.year = s.file_date.month = s.file_date.day = s.file_date.jday = kUnset;
  s.file_date.hour = s.file_date.min = kUnset;
  std::string name = build(tmpl, d);
  s.filename = name;
  s.filename_type = 0;
  return name;
}

std::vector<std::string> split_names(const std::string& v) {
  std::vector<std::string> out;
  std::istringstream in(v);
  std::string w;
  while (in >> w) out.push_back(w);
  return out;
}

// Series length and step from the `num_hour` resource ("H:M" or ":M", with
// an optional "-" and ",H:M" step), in seconds.
void read_num_hour() {
  State& s = st();
  std::string v = resource("num_hour");
  s.num_hour = s.def_hours * 3600;
  s.skip = s.late_off;
  if (v.empty()) return;
  auto parse_hm = [](const std::string& t) {
    bool neg = !t.empty() && t[0] == '-';
    std::string u = neg ? t.substr(1) : t;
    long h = 0, m = 0;
    std::size_t colon = u.find(':');
    h = std::atol(u.substr(0, colon).c_str());
    if (colon != std::string::npos) m = std::atol(u.substr(colon + 1).c_str());
    long secs = std::clamp(h * 3600 + m * 60, 0L, 100L * 366 * 86400);
    return static_cast<int>(neg ? -secs : secs);
  };
  std::size_t comma = v.find(',');
  s.num_hour = parse_hm(v.substr(0, comma));
  if (comma != std::string::npos) {
    int step = parse_hm(v.substr(comma + 1));
    if (step > 0) s.skip = step;
  }
}

}  // namespace

void reset() {
  st().reset();
  reset_streams();
}

}  // namespace zor::file

using zor::file::st;

// ---- conventions ----------------------------------------------------------

int FILE_set_name(const char* type_in) {
  using namespace zor::file;
  State& s = st();
  s.filename.clear();
  s.filename_type = 0;
  if (!s.keys_cleared) {
    for (auto& k : s.keys) k.clear();
    s.keys_cleared = true;
  }
  std::string type = type_in ? type_in : "";
  s.ext.clear();
  s.hconv.clear();
  s.min_size = 0;
  if (ieq(type, "none")) {
    s.conv.clear();
    return 0;
  }
  if (!type.empty() && type[0] == '@') {
    s.conv = type.substr(1);
    s.late_off = template_interval(tokenize(s.conv));
    return 1;
  }
  // Key suffixes ":c=text".
  std::size_t colon = type.find(':');
  if (colon != std::string::npos) {
    std::string rest = type.substr(colon);
    type.erase(colon);
    std::size_t p = 0;
    while (p + 2 < rest.size() && rest[p] == ':' && rest[p + 2] == '=') {
      std::size_t end = rest.find(':', p + 3);
      std::string text = rest.substr(p + 3, end == std::string::npos ? std::string::npos : end - p - 3);
      FILE_set_key(rest[p + 1], text.c_str());
      MESS_print(kKeys, "KEY: %c = %s\n", rest[p + 1], text.c_str());
      if (end == std::string::npos) break;
      p = end;
    }
  }
  // The convention file: the `name_conv` resource (relative to `file_path`),
  // else "name_conv" along `file_path`, else the bundled one.
  std::string file_path = resource("file_path");
  std::string conv_file;
  std::string named = resource("name_conv");
  if (!named.empty()) {
    conv_file = add_path(file_path.c_str(), named.c_str());
  } else {
    conv_file = add_path(file_path.c_str(), "name_conv");
    if (!FILE_exist(conv_file.c_str())) {
      if (auto bundled = zor::find_data_file("name_conv")) conv_file = *bundled;
    }
  }
  std::ifstream in(expand_user(conv_file));
  if (!in) {
    MESS_print(kWarn, "FILE_set_name: No file name convention file: %s\n", conv_file.c_str());
    s.conv = type;
    s.late_off = template_interval(tokenize(s.conv));
    return 0;
  }
  MESS_print(kOut4, "Opening name convention file: %s\n", conv_file.c_str());
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string ltype, lconv, lhconv;
    int lmin = 0;
    if (!(fields >> ltype >> lconv)) continue;
    if (!(fields >> lhconv)) lhconv = "-";
    if (!(fields >> lmin)) lmin = 0;
    s.conv = lconv;
    s.hconv = lhconv == "-" ? "" : lhconv;
    s.min_size = std::max(lmin, 0);
    if (ieq(type, ltype.c_str())) {
      MESS_print(kOut4, "File name match for: %s\n", type.c_str());
    } else if (istarts(type, ltype)) {
      std::size_t us = type.find_last_of('_');
      s.ext = us == std::string::npos ? "" : type.substr(us + 1);
      MESS_print(kOut4, "File name partial match for: %s-%s ext: %s\n", type.c_str(), ltype.c_str(),
                 s.ext.c_str());
    } else {
      continue;
    }
    s.late_off = template_interval(tokenize(s.conv));
    if (s.late_off == kUnset) s.late_off = 3600;
    return 1;
  }
  s.conv = type;
  s.hconv.clear();
  s.min_size = 0;
  s.late_off = 3600;
  MESS_print(kOut4, "No file name conversion for: %s\n", type.c_str());
  return 0;
}

int FILE_set_key(char key, const char* str) {
  std::string v = str ? std::string(str).substr(0, 29) : "";
  std::replace(v.begin(), v.end(), ' ', '_');
  st().keys[static_cast<unsigned char>(key)] = v;
  return 0;
}

int FILE_set_type(int type) {
  st().file_type = type;
  return 0;
}

char* FILE_get_ext_info() { return st().ext_info.data(); }

int FILE_set_ext_info(const char* str) {
  st().ext_info = str ? std::string(str).substr(0, 39) : "";
  return 0;
}

int FILE_set_time(Date* datim) {
  st().set = datim ? *datim : Date{};
  return 0;
}

int FILE_reset_time() {
  st().set = Date{};
  return 0;
}

int FILE_set_late_off(int val) {
  st().late_off = val;
  return 0;
}
int FILE_get_late_off() { return st().late_off; }
int FILE_set_min_size(int val) {
  st().rmin_size = val < 1 ? 0 : val;
  return 0;
}
int FILE_get_offset() { return st().late_off > 0 ? st().late_off : 100000; }

int FILE_set_filename(const char* str) {
  st().filename = str ? str : "";
  st().filename_type = 1;
  return 0;
}

char* FILE_get_filename(char* str, std::size_t size) {
  if (str && !zor::file::copy_out(st().filename, str, size, "FILE_get_filename")) return nullptr;
  return st().filename.data();
}

int FILE_save_name_conv() {
  auto& s = st();
  s.sconv = s.conv;
  s.shconv = s.hconv;
  s.sfilename = s.filename;
  s.sfilename_type = s.filename_type;
  s.slate_off = s.late_off;
  return 0;
}

int FILE_restore_name_conv() {
  auto& s = st();
  s.conv = s.sconv;
  s.hconv = s.shconv;
  s.filename = s.sfilename;
  s.filename_type = s.sfilename_type;
  s.late_off = s.slate_off;
  return 0;
}

int FILE_set_header(int on) {
  st().header = on != 0;
  return 0;
}

int FILE_get_date(Date* date) {
  if (!date) return -1;
  *date = st().file_date;
  return 0;
}

// ---- names from dates -----------------------------------------------------

int FILE_set_date(Date* datim, char* out_file, std::size_t size) {
  using namespace zor::file;
  State& s = st();
  const std::string& tmpl = active_template();
  if (tmpl.empty()) {
    if (s.filename.empty()) s.filename = "filename";
    s.filename_type = 1;
    return copy_out(s.filename, out_file, size, "FILE_set_date") ? 1 : -1;
  }
  if (FILE_is_stdio(tmpl.c_str())) {
    s.filename = "-";
    s.filename_type = 1;
    return copy_out(s.filename, out_file, size, "FILE_set_date") ? 1 : -1;
  }
  Date d = datim ? *datim : s.file_date;
  if (datim) {
    s.file_date.year = s.file_date.month = s.file_date.day = kUnset;
    s.file_date.hour = s.file_date.min = kUnset;
    s.file_date.jday = kUnset;
  }
  if (d.year < 0 && !set_field(s.set.year) && !s.filename.empty()) {
    s.filename_type = 1;
    return copy_out(s.filename, out_file, size, "FILE_set_date") ? 1 : -1;
  }
  std::string name = build(tmpl, d);
  s.filename = name;
  s.filename_type = 0;
  return copy_out(name, out_file, size, "FILE_set_date") ? 0 : -1;
}

int FILE_set_date_off(Date* datim, int offset, char* out_file, std::size_t size) {
  using namespace zor::file;
  Date d = datim ? *datim : st().file_date;
  Date moved = from_secs(to_secs(d) + offset);
  FILE_set_date(&moved, out_file, size);
  int per = st().late_off > 0 ? st().late_off : 100000;
  return offset / per;
}

long FILE_set_current(const char* cur_in, char* filename, std::size_t size) {
  using namespace zor::file;
  State& s = st();
  std::string cur = cur_in ? cur_in : "la";
  std::size_t p = 0;
  Date ref;
  if (!cur.empty() && cur[0] == '#') {
    int used = 0;
    ref = parse_digits(cur.c_str() + 1, &used);
    p = 1 + static_cast<std::size_t>(used);
  } else if (const char* env = std::getenv("zorcurtime"); env && *env) {
    ref = parse_digits(env[0] == '#' ? env + 1 : env);
  } else {
    ref = now_date();
  }
  if (ref.year < 0) ref = now_date();
  if (ref.month < 1) ref.month = 1;
  if (ref.day < 1) ref.day = 1;
  if (ref.hour < 0) ref.hour = 0;
  if (ref.min < 0) ref.min = 0;
  ref.sec = 0;
  ref = apply_set(from_secs(to_secs(ref)));
  long secs = to_secs(ref);

  bool plus = false;
  secs += parse_offset(cur, p, plus);
  if (p < cur.size() && (cur[p] == 'l' || cur[p] == 'L')) {
    ++p;
    if (p < cur.size() && (cur[p] == 'a' || cur[p] == 'A')) ++p;
    int count = kMaxSearch;
    if (p < cur.size() && cur[p] == '#') {
      ++p;
      int c = 0;
      while (p < cur.size() && std::isdigit(static_cast<unsigned char>(cur[p]))) c = std::min(c * 10 + (cur[p++] - '0'), kMaxSearch);
      count = c;
    }
    const long threshold = s.rmin_size > 0 ? s.rmin_size : s.min_size;
    for (int i = 0;; ++i) {
      std::string name = build_for(from_secs(secs));
      if (FILE_size(name.c_str()) > threshold) break;
      if (i >= count || s.late_off <= 0) break;
      secs += plus ? s.late_off : -s.late_off;
    }
    bool plus2 = false;
    secs += parse_offset(cur, p, plus2);
  }
  build_for(from_secs(secs));
  if (!copy_out(s.filename, filename, size, "FILE_set_current")) return -1;
  return s.late_off > 0 ? (secs / s.late_off) * s.late_off : secs;
}

// ---- typed names ----------------------------------------------------------

namespace {
bool regular_file(const std::string& name) {
  struct stat st {};
  return !name.empty() && stat(name.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}
}  // namespace

int FILE_set_file(const char* file_in, char* out_file, std::size_t size) {
  using namespace zor::file;
  State& s = st();
  std::string name = file_in ? file_in : "";
  const std::string typed = name;
  bool info_cut = false;
  if (s.file_type == 0) {
    std::size_t hash = name.find('#', 1);
    if (hash != std::string::npos && name.size() > 1) {
      Date spec = parse_digits(name.c_str() + hash + 1);
      if (spec.year >= 0) s.set = spec;
      name.erase(hash);
    }
  } else if (s.file_type == 1 && name.size() > 3 && name[0] != '@') {
    // Extra product information follows the name, never a folder of its
    // path; a literal "@" name is taken whole (real-time chunk names and
    // folders hold dashes).
    const std::size_t slash = name.rfind('/');
    const std::size_t from = slash == std::string::npos ? 3 : std::max<std::size_t>(3, slash + 1);
    std::size_t cut = name.find_first_of("#-+:", from);
    if (cut != std::string::npos) {
      s.ext_info = name.substr(cut, 39);
      name.erase(cut);
      info_cut = true;
    }
  }
  s.file_date = s.set;
  if (ieq(name, "exit")) ZOR_exit(0);

  const std::string& tmpl = active_template();
  auto literal = [&](const std::string& v) {
    s.filename = v;
    s.filename_type = 1;
    return copy_out(v, out_file, size, "FILE_set_file") ? 1 : -1;
  };
  // A name that is an existing file, whole, stands for itself when what the
  // convention (or the extension cut) makes of it does not exist.
  auto as_typed = [&](const std::string& made) -> std::optional<std::string> {
    if (regular_file(made)) return std::nullopt;
    const std::string whole = !typed.empty() && typed[0] == '@' ? typed.substr(1) : typed;
    if (info_cut && regular_file(whole)) {
      s.ext_info.clear();
      return whole;
    }
    if (!name.empty() && name[0] != '@' && regular_file(name)) return name;
    return std::nullopt;
  };
  if (!name.empty() && name[0] == '@') return literal(as_typed(name.substr(1)).value_or(name.substr(1)));
  if (FILE_is_stdio(name.c_str())) return literal(name);
  if (!tmpl.empty() && FILE_is_stdio(tmpl.c_str())) return literal("-");
  if (tmpl.empty()) return literal(name);
  if (name[0] == '#' || istarts(name, "cu") || istarts(name, "la")) {
    std::string spec = istarts(name, "cu") ? name.substr(2) : name;
    if (FILE_set_current(spec.c_str(), nullptr, 0) < 0) return -1;
    MESS_print(kMess, "Current filename: %s\n", s.filename.c_str());
    return copy_out(s.filename, out_file, size, "FILE_set_file") ? 0 : -1;
  }
  if (FILE_fullpath(tmpl.c_str()) && FILE_fullpath(name.c_str())) return literal(as_typed(name).value_or(name));

  // Walk template and typed name together.
  std::vector<Token> toks = tokenize(tmpl);
  const bool name_full = FILE_fullpath(name.c_str());
  const bool name_has_slash = name.find('/') != std::string::npos;
  std::string out;
  std::size_t j = 0;
  int state = 0;
  bool in_brace = false;
  auto rest = [&]() {
    out += name.substr(std::min(j, name.size()));
    j = name.size();
  };
  auto slashes_after = [&](std::size_t i) {
    long n = 0;
    for (std::size_t k = i + 1; k < toks.size(); ++k) n += toks[k].kind == Token::Lit && toks[k].c == '/';
    return n;
  };
  bool done = false;
  for (std::size_t i = 0; i < toks.size() && !done; ++i) {
    const Token& t = toks[i];
    if (t.kind == Token::Open) {
      in_brace = true;
      continue;
    }
    if (t.kind == Token::Close) {
      in_brace = false;
      state = 1;
      continue;
    }
    if (in_brace) {  // the optional part is written, not matched
      if (t.kind == Token::Lit) out += t.c;
      else if (t.kind == Token::Res) out += resource(t.name.c_str());
      else if (path_resource(t.c)) out += path_value(t.c);
      else if (!is_date_key(t.c)) out += t.c == 'e' ? s.ext : user_key(t.c, t);
      continue;
    }
    if (t.kind == Token::Lit) {
      const char ch = t.c;
      const bool more = j < name.size();
      if (state > 0 && more && name[j] == ch) {
        out += ch;
        ++j;
        if (j >= name.size()) state = 3;
      } else if ((state == 2 && more) || (state == 0 && (!more || name[j] != ch))) {
        rest();
        done = true;
      } else {
        out += ch;
        if ((state == 2 || !name_has_slash) && more) ++j;
      }
      continue;
    }
    const bool path_key = t.kind == Token::Key && path_resource(t.c);
    if (path_key) {
      if (name_full) {
        long keep = slashes_after(i);
        std::vector<std::size_t> seps;
        for (std::size_t k = j; k < name.size(); ++k)
          if (name[k] == '/') seps.push_back(k);
        std::size_t cut = j;
        if (keep > 0 && static_cast<long>(seps.size()) >= keep) cut = seps[seps.size() - static_cast<std::size_t>(keep)];
        else if (keep == 0) cut = name.size();
        out += name.substr(j, cut - j);
        j = cut;
      } else {
        out += path_value(t.c);
        if (i + 1 < toks.size() && toks[i + 1].kind == Token::Lit && toks[i + 1].c == '/') {
          out += '/';
          ++i;
        }
      }
      state = 1;
      continue;
    }
    if (t.kind == Token::Key && is_date_key(t.c)) {
      const std::size_t w = static_cast<std::size_t>(date_width(t.c));
      std::string part = j < name.size() ? name.substr(j, w) : "";
      bool ok = part.size() == w;
      int v = 0;
      if (ok && t.c == 'b') {
        v = DATE_decode_month(part.c_str());
        ok = v > 0;
      } else if (ok) {
        ok = std::all_of(part.begin(), part.end(), [](unsigned char c) { return std::isdigit(c); });
        if (ok) v = std::atoi(part.c_str());
      }
      if (!ok) {
        rest();
        done = true;
        continue;
      }
      out += part;
      j += w;
      Date& fd = s.file_date;
      switch (t.c) {
        case 'Y': fd.year = v; break;
        case 'y': fd.year = v < 50 ? 2000 + v : 1900 + v; break;
        case 'm':
        case 'b': fd.month = v; break;
        case 'd': fd.day = v; break;
        case 'j':
          fd.jday = v;
          if (fd.year >= 0) {
            int m = 0, dd = 0;
            DATE_julian_monday(fd.year, v, &m, &dd);
            fd.month = m;
            fd.day = dd;
          }
          break;
        case 'h': fd.hour = v; break;
        case 'n': fd.min = v; break;
        default: break;
      }
      state = 2;
      continue;
    }
    // User keys, the extension and resource values.
    std::string v;
    bool unset = false;
    if (t.kind == Token::Res) {
      v = resource(t.name.c_str());
      unset = v.empty();
    } else if (t.c == 'e') {
      v = s.ext;
      unset = v.empty();
    } else {
      const std::string& k = s.keys[static_cast<unsigned char>(t.c)];
      unset = k.empty();
      v = t.has_step ? k.substr(0, static_cast<std::size_t>(t.step)) : k;
    }
    if (unset) {
      rest();
      done = true;
      continue;
    }
    out += v;
    j = std::min(name.size(), j + v.size());
  }
  s.late_off = template_interval(toks);
  if (s.late_off == kUnset) s.late_off = 3600;
  MESS_print(kKeys, "FILES:%s:%s:%d\n", name.c_str(), out.c_str(), state);
  if (auto whole = as_typed(out)) {
    MESS_print(kMess, "Using the name as typed: %s\n", whole->c_str());
    return literal(*whole);
  }
  s.filename = out;
  s.filename_type = 0;
  return copy_out(out, out_file, size, "FILE_set_file") ? 0 : -1;
}

int FILE_list_file() {
  using namespace zor::file;
  const std::string& tmpl = active_template();
  if (tmpl.empty()) return -1;
  std::string cmd = "ls -x " + listing_pattern(tmpl);
  MESS_print(kDebug, "SEARCH: %s\n", cmd.c_str());
  std::fflush(stdout);
  int rc = std::system(cmd.c_str());
  return rc == 0 ? 0 : -1;
}

int FILE_get_file(const char* prompt, char* outfile, std::size_t size) {
  using namespace zor::file;
  State& s = st();
  std::vector<std::string> names = split_names(resource("filename"));
  if (!names.empty()) {
    if (ieq(names[0], "list")) {
      FILE_list_file();
      ZOR_exit(0);
    }
    if (FILE_set_file(names[0].c_str(), outfile, size) < 0) return 0;
    return FILE_exist(s.filename.c_str());
  }
  const char* current = RES_get("current");
  if (current || FLAG_batch()) {
    std::string spec = current && *current ? current : "la";
    if (istarts(spec, "cu")) spec.erase(0, 2);
    if (spec.empty()) spec = "la";
    if (FILE_set_current(spec.c_str(), outfile, size) < 0) ZOR_exit(10);
    if (FILE_exist(s.filename.c_str())) {
      MESS_print(kMess, "Current filename: %s\n", s.filename.c_str());
      return 1;
    }
    MESS_print(kWarn, "File not found: %s\n", s.filename.c_str());
    ZOR_exit(10);
  }
  MESS_print(kPrint, "List of available files:\n");
  FILE_list_file();
  MESS_print(kPrint, "\n");
  for (int attempt = 0; attempt < s.retry; ++attempt) {
    char answer[80] = "";
    if (!ZOR_prompts(prompt ? prompt : "Enter the filename: ", answer, 79)) break;
    std::string a = answer;
    if (ieq(a, "exit")) ZOR_exit(0);
    if (ieq(a, "list")) {
      FILE_list_file();
      --attempt;  // a listing is not a failed attempt
      continue;
    }
    int rc;
    if (!a.empty() && (a[0] == '#' || istarts(a, "cu") || istarts(a, "la"))) {
      rc = FILE_set_current(istarts(a, "cu") ? a.c_str() + 2 : a.c_str(), outfile, size) < 0 ? -1 : 0;
      if (rc == 0) MESS_print(kPrint, "Current filename: %s\n", s.filename.c_str());
    } else {
      rc = FILE_set_file(a.c_str(), outfile, size);
    }
    if (rc >= 0 && FILE_exist(s.filename.c_str())) return 1;
    MESS_print(kPrint, "File not found: %s\n", s.filename.c_str());
    MESS_print(kPrint, "(a name starting with @ is taken as it stands, e.g. @./myfile; others go through the file-name convention)\n");
  }
  ZOR_exit(10);
}

// ---- series ---------------------------------------------------------------

int FILE_first(Date* datim) {
  using namespace zor::file;
  State& s = st();
  s.files = split_names(resource("filename"));
  if (!s.files.empty() && (istarts(s.files[0], "la") || istarts(s.files[0], "cu"))) s.files.clear();
  s.file_ind = 0;
  s.first_date = datim ? *datim : s.file_date;
  read_num_hour();
  s.offset = FILE_get_offset();
  if (s.skip > 0 && s.skip / s.offset >= 1) s.offset *= s.skip / s.offset;
  s.secs = s.num_hour < 0 ? s.offset * ((s.num_hour - s.offset + 1) / s.offset) : 0;
  s.nsecs = s.secs;
  return 0;
}

int FILE_get_next(char* file, std::size_t size) {
  using namespace zor::file;
  State& s = st();
  const int n = static_cast<int>(s.files.size());
  if (n > 0 && !(n == 1 && s.num_hour != 0)) {
    if (s.file_ind >= n) return 0;
    return FILE_set_file(s.files[static_cast<std::size_t>(s.file_ind++)].c_str(), file, size) < 0 ? 0 : 1;
  }
  if ((s.num_hour < 0 && s.secs > 0) || (s.num_hour >= 0 && s.secs > s.num_hour)) return 0;
  s.nsecs = s.secs;
  if (s.num_hour == 0) {
    if (!copy_out(s.filename, file, size, "FILE_get_next")) return 0;
  } else {
    FILE_set_date_off(&s.first_date, s.secs, file, size);
    MESS_print(kDebug | kTrace, "NEXT: %d %d %d %d %d %s\n", s.num_hour, s.skip, s.offset, s.secs,
               s.nsecs, s.filename.c_str());
  }
  if (s.offset <= 0) s.offset = 3600;
  s.secs += s.offset;
  return 1;
}

int FILE_get_num_file() {
  using namespace zor::file;
  State& s = st();
  std::vector<std::string> names = split_names(resource("filename"));
  if (!names.empty() && (istarts(names[0], "la") || istarts(names[0], "cu"))) names.clear();
  read_num_hour();
  const int n = static_cast<int>(names.size());
  if (n == 1 && s.num_hour != 0) return s.num_hour;
  if (n > 0) return n - 1;
  return s.num_hour;
}

int FILE_num_hour() { return st().num_hour; }
int FILE_get_skip() { return st().skip; }
int FILE_get_nsecs() { return st().nsecs; }
int FILE_set_nsecs(int val) {
  st().nsecs = val;
  return 0;
}
int FILE_set_def_hours(int val) {
  st().def_hours = val;
  return 0;
}
