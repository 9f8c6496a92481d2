// Resource (defaults) files: opening along the search path, reading resource
// lines with DEF/UNDEF/IF/ELIF/ELSE/END directives, and matching line names
// against the program's full resource names.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "zor/mess.h"
#include "zor/res.h"
#include "zor/text.h"

namespace zor::def {

namespace {

inline constexpr std::size_t kMaxTags = 10;
inline constexpr std::size_t kMaxDepth = 10;
// Match state of a branch whose condition was already taken.
inline constexpr char kClosed = 'c';

struct State {
  std::ifstream file;
  std::size_t budget = 0;  // bytes the open file may still give
  std::string prog_name;
  std::string prog_title;
  std::vector<std::string> tags;
  std::vector<char> stack;  // 0, 1 or kClosed per open IF
  int overflow = 0;         // IFs nested beyond kMaxDepth, skipped as false
  bool matches = true;

  State() { reset(); }
  void reset() {
    if (file.is_open()) file.close();
    file.clear();
    prog_name = "Zor";
    prog_title.clear();
    tags.clear();
    reset_nesting();
  }
  void reset_nesting() {
    stack.clear();
    overflow = 0;
    matches = true;
  }
  void recompute() {
    matches =
        overflow == 0 && std::all_of(stack.begin(), stack.end(), [](char c) { return c == 1; });
  }
};

State& state() {
  static State s;
  return s;
}

std::string cut(std::string s, std::size_t n) {
  if (s.size() > n) s.resize(n);
  return s;
}

bool ieq(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

bool tag_defined(const std::string& tag) {
  const auto& t = state().tags;
  return std::any_of(t.begin(), t.end(), [&](const std::string& s) { return ieq(s, tag); });
}

bool blank(char c) { return c == ' ' || c == '\t'; }

// Start offsets and texts of the first two blank-separated words.
struct Words {
  std::string first, second;
  std::size_t second_at = std::string::npos;
  int count = 0;
};

Words split_words(const std::string& line) {
  Words w;
  std::size_t i = 0;
  for (int n = 0; n < 2; ++n) {
    while (i < line.size() && blank(line[i])) ++i;
    if (i >= line.size()) break;
    std::size_t start = i;
    while (i < line.size() && !blank(line[i])) ++i;
    (n == 0 ? w.first : w.second) = line.substr(start, i - start);
    if (n == 1) w.second_at = start;
    ++w.count;
  }
  return w;
}

void report(const char* text) { MESS_print(M_WARN, "%s", text); }

// Applies a directive line; false when the line is not a directive.
bool directive(const Words& w) {
  State& s = state();
  const std::string& d = w.first;
  if (d == "DEF" && w.count == 2) {
    if (s.matches) DEF_tag(w.second.c_str());
    return true;
  }
  if (d == "UNDEF" && w.count == 2) {
    if (s.matches) std::erase_if(s.tags, [&](const std::string& t) { return ieq(t, w.second); });
    return true;
  }
  if (d == "IF" && w.count == 2) {
    if (s.overflow > 0 || s.stack.size() >= kMaxDepth) {
      report("DEF_get: too many nested ifs, branch skipped\n");
      ++s.overflow;
    } else {
      s.stack.push_back(tag_defined(w.second) ? 1 : 0);
    }
  } else if (d == "ELIF" && w.count == 2) {
    if (s.overflow > 0) return true;
    if (s.stack.empty()) {
      report("DEF_get: elif without an if\n");
      return true;
    }
    char& top = s.stack.back();
    top = top == 0 ? (tag_defined(w.second) ? 1 : 0) : kClosed;
  } else if (d == "ELSE") {
    if (s.overflow > 0) return true;
    if (s.stack.empty()) {
      report("DEF_get: else without an if\n");
      return true;
    }
    char& top = s.stack.back();
    top = top == 0 ? 1 : kClosed;
  } else if (d == "END") {
    if (s.overflow > 0) {
      --s.overflow;
    } else if (s.stack.empty()) {
      report("DEF_get: end without an if\n");
      return true;
    } else {
      s.stack.pop_back();
    }
  } else {
    return false;
  }
  s.recompute();
  return true;
}

}  // namespace

std::optional<Line> get() {
  State& s = state();
  if (!s.file.is_open()) return std::nullopt;
  std::string line;
  bool too_long = false;
  for (;;) {
    if (!zor::get_bounded_line(s.file, line, DEF_LINE_MAX, too_long, s.budget)) {
      if (s.budget == 0) MESS_print(M_WARN, "DEF_get: file longer than %zu bytes, the rest ignored\n", zor::kTextFileMax);
      s.file.close();  // so the warning comes once
      break;
    }
    if (too_long) {
      MESS_print(M_WARN, "DEF_get: line longer than %d characters skipped\n", DEF_LINE_MAX);
      continue;
    }
    if (line.empty() || line[0] == '#') continue;
    Words w = split_words(line);
    if (w.count == 0 || directive(w)) continue;
    if (w.count < 2 || !s.matches) continue;
    std::string value = w.second;
    if (value[0] == '"') {
      // A quoted value runs to the next quote, so it may hold blanks.
      std::size_t start = w.second_at + 1;
      std::size_t end = line.find('"', start);
      value = line.substr(start, end == std::string::npos ? std::string::npos : end - start);
    }
    std::string name = w.first;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (!name.empty() && name.back() == ':') name.pop_back();
    return Line{std::move(name), std::move(value)};
  }
  return std::nullopt;
}

std::string full_name(const std::string& key) {
  const State& s = state();
  std::string k = cut(key, DEF_NAME_MAX);
  if (s.prog_title.empty()) return s.prog_name + "." + k;
  if (s.prog_title[0] == '+') return s.prog_name + "." + s.prog_title.substr(1) + "." + k;
  return s.prog_title + "." + k;
}

namespace {

// Pattern match where "*" takes the text up to the next "*" as a segment and
// finds its first occurrence in the rest of the name.
bool glob(const std::string& pat, const std::string& name) {
  std::size_t p = 0, n = 0;
  while (p < pat.size()) {
    if (pat[p] == '*') {
      std::size_t next = pat.find('*', p + 1);
      std::size_t seg_end = next == std::string::npos ? pat.size() : next;
      std::string seg = pat.substr(p + 1, seg_end - p - 1);
      if (seg.empty() && seg_end == pat.size()) return true;  // trailing "*" takes the rest
      std::size_t at = name.find(seg, n);
      if (at == std::string::npos) return false;
      n = at + seg.size();
      p = seg_end;
    } else {
      if (n >= name.size() || name[n] != pat[p]) return false;
      ++p;
      ++n;
    }
  }
  return n == name.size();
}

}  // namespace

bool cmp(const std::string& pattern, const std::string& key) {
  return glob(pattern, full_name(key));
}

std::string parse_name(const std::string& pattern) {
  std::size_t at = pattern.find_last_of(".*");
  std::string part = at == std::string::npos ? (pattern.empty() ? pattern : pattern.substr(1))
                                             : pattern.substr(at + 1);
  return cut(part, DEF_NAME_MAX);
}

bool valid(const std::string& pattern) {
  std::string part = parse_name(pattern);
  return !part.empty() && cmp(pattern, part);
}

std::optional<std::string> env(const std::string& resrc, const char* own_env) {
  std::string full = "zor" + full_name(resrc);
  if (const char* v = std::getenv(full.c_str())) return v;
  if (own_env && *own_env)
    if (const char* v = std::getenv(own_env)) return v;
  std::string plain = "zor" + resrc;
  if (const char* v = std::getenv(plain.c_str())) return v;
  return std::nullopt;
}

void reset() { state().reset(); }

}  // namespace zor::def

using zor::def::state;

int DEF_open(const char* filename) {
  namespace fs = std::filesystem;
  auto& s = state();
  DEF_close();
  std::string name = filename && *filename ? filename : ".zordef";
  std::error_code ec;
  if (fs::is_directory(name, ec)) {
    if (name.back() != '/') name += '/';
    std::string found;
    for (const char* f : {"zor.cfg", ".zordef", "Zor.res"}) {
      if (fs::is_regular_file(name + f, ec)) {
        found = name + f;
        break;
      }
    }
    if (found.empty()) return -1;
    name = found;
  }
  s.file.open(name);
  if (!s.file.is_open()) {
    s.file.clear();
    return -1;
  }
  s.budget = zor::kTextFileMax;
  // Each file starts outside any IF; a file's unbalanced IF must not hide
  // the lines of the next.
  s.reset_nesting();
  return 0;
}

int DEF_close() {
  auto& s = state();
  if (s.file.is_open()) s.file.close();
  s.file.clear();
  return 0;
}

int DEF_get(char* resrc, char* value) {
  auto line = zor::def::get();
  if (!line) return -1;
  // Lines are at most DEF_LINE_MAX long, so both words fit the buffers.
  if (resrc) std::snprintf(resrc, DEF_LINE_MAX + 1, "%s", line->name.c_str());
  if (value) std::snprintf(value, DEF_LINE_MAX + 1, "%s", line->value.c_str());
  return 1;
}

int DEF_cmp(const char* resrc, const char* string) {
  if (!resrc || !string) return 0;
  return zor::def::cmp(resrc, string) ? 1 : 0;
}

int DEF_valid(const char* string) { return string && zor::def::valid(string) ? 1 : 0; }

int DEF_parse_name(const char* str, char* ostr) {
  if (!str || !ostr) return -1;
  std::snprintf(ostr, DEF_NAME_MAX + 1, "%s", zor::def::parse_name(str).c_str());
  return 0;
}

int DEF_env(const char* resrc, const char* env, char* value) {
  if (!resrc) return 0;
  auto v = zor::def::env(resrc, env);
  if (!v) return 0;
  if (v->size() > static_cast<std::size_t>(DEF_LINE_MAX)) {
    MESS_print(M_WARN, "DEF_env: value of %s longer than %d characters refused\n", resrc,
               DEF_LINE_MAX);
    return 0;
  }
  if (value) std::snprintf(value, DEF_LINE_MAX + 1, "%s", v->c_str());
  return 1;
}

int DEF_prog() {
  const char* prog = RES_get_prog();
  if (!prog || !*prog) return 0;
  std::string p = prog;
  std::size_t slash = p.find_last_of('/');
  if (slash != std::string::npos) p = p.substr(slash + 1);
  if (!p.empty()) state().prog_name = zor::def::cut(p, DEF_PROG_MAX);
  return 0;
}

int DEF_title(const char* title) {
  state().prog_title = title ? zor::def::cut(title, DEF_PROG_MAX) : std::string();
  return 0;
}

int DEF_name(const char* name) { return DEF_title(name); }

int DEF_clr_tag() {
  state().tags.clear();
  return 0;
}

int DEF_tag(const char* str) {
  if (!str || !*str) return -1;
  auto& tags = state().tags;
  if (tags.size() >= zor::def::kMaxTags) {
    MESS_print(M_WARN, "DEF_tag: more than %zu tags, %s refused\n", zor::def::kMaxTags, str);
    return -1;
  }
  tags.emplace_back(str);
  return 0;
}
