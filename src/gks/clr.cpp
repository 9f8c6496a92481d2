// The colour table: up to 256 named colours read from text files, looked up
// by name (case-insensitively) when attribute strings are parsed.
#include "zor/clr.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zor/data_dir.h"
#include "zor/gks.h"
#include "zor/res.h"
#include "zor/text.h"

namespace zor::clr {
namespace {

struct ClrState {
  std::array<RGB, CLR_MAX_COLORS> table{};
  int num_colors = 0;
  int num_fill = 0;
  void reset() { *this = ClrState{}; }
};

ClrState& state() {
  static ClrState s;
  return s;
}

bool ieq(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

void set_name(RGB& e, std::string_view name) {
  // Names hold at most 19 characters; longer names are cut here on purpose,
  // as the table format defines them ("%19s").
  const std::size_t n = std::min(name.size(), sizeof(e.name) - 1);
  std::memcpy(e.name, name.data(), n);
  e.name[n] = '\0';
}

std::string trim(std::string s) {
  while (!s.empty() && (s.back() == '\r' || s.back() == '\n' || std::isspace(static_cast<unsigned char>(s.back()))))
    s.pop_back();
  std::size_t b = 0;
  while (b < s.size() && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
  return s.substr(b);
}

// Decodes one entry line in any of the four forms; false when none matches
// (the slot is still taken, with an empty name and black).
bool parse_entry(const std::string& line, RGB& e) {
  char name[20] = {};
  float r = 0, g = 0, b = 0;
  unsigned hr = 0, hg = 0, hb = 0;
  const bool indexed = std::isdigit(static_cast<unsigned char>(line[0])) != 0;
  const char* fr = indexed ? "%*d %19s %f %f %f" : "%19s %f %f %f";
  const char* fh = indexed ? "%*d %19s #%2X%2X%2X" : "%19s #%2X%2X%2X";
  if (std::sscanf(line.c_str(), fr, name, &r, &g, &b) == 4) {
    set_name(e, name);
    e.red = r;
    e.grn = g;
    e.blu = b;
    return true;
  }
  if (std::sscanf(line.c_str(), fh, name, &hr, &hg, &hb) == 4) {
    set_name(e, name);
    e.red = static_cast<float>(hr) / 255.0f;
    e.grn = static_cast<float>(hg) / 255.0f;
    e.blu = static_cast<float>(hb) / 255.0f;
    return true;
  }
  return false;
}

std::vector<std::string> split_commas(const std::string& s) {
  std::vector<std::string> out;
  std::size_t start = 0;
  while (start <= s.size()) {
    std::size_t end = s.find(',', start);
    if (end == std::string::npos) end = s.size();
    std::string item = trim(s.substr(start, end - start));
    if (!item.empty()) out.push_back(item);
    start = end + 1;
  }
  return out;
}

// Reads one table file into slots from `first`; returns the next free slot
// and the number of entries before an "END" line (or -1 without one).
struct FileResult {
  int next = 0;
  int before_end = -1;
};

std::optional<FileResult> read_file(const std::string& name, int first) {
  auto path = zor::find_runtime_file(name);
  if (!path) return std::nullopt;
  std::ifstream in(*path);
  if (!in) return std::nullopt;
  auto& s = state();
  FileResult res{first, -1};
  std::string raw;
  while (std::getline(in, raw)) {
    const std::string line = trim(raw);
    if (line.empty() || line[0] == '#') continue;
    if (ieq(line, "END")) {
      if (res.before_end < 0) res.before_end = res.next - first;
      continue;
    }
    if (res.next >= CLR_MAX_COLORS) continue;  // lines beyond entry 255 are ignored
    RGB e{};
    parse_entry(line, e);
    s.table[res.next++] = e;
  }
  return res;
}

bool all_hex(std::string_view s) {
  return std::all_of(s.begin(), s.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
}
bool all_digits(std::string_view s) {
  return std::all_of(s.begin(), s.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
}

// Colour names that never come from the table.
struct FixedName {
  const char* name;
  int index;
};
constexpr std::array<FixedName, 13> kFixedNames = {{
    {"end", -2},     {"none", -1},    {"off", -1},     {"back", -1},    {"pblk", 500},
    {"pbblk", 501},  {"ptblk", 502},  {"pwht", 503},   {"pbwht", 504},  {"ptwht", 505},
    {"pgry", 506},   {"pbgry", 507},  {"ptgry", 508},
}};

}  // namespace

void reset() { state().reset(); }

}  // namespace zor::clr

using zor::clr::state;

int CLR_read_table(const char* filename) {
  auto& s = state();
  std::string list;
  bool from_resource = false;
  if (filename != nullptr && *filename != '\0') {
    list = filename;
  } else {
    from_resource = true;
    const char* res = RES_get("color_table");
    list = (res != nullptr && *res != '\0') ? res : "zor.clr";
  }
  for (int i = 16; i < CLR_MAX_COLORS; ++i) s.table[i].name[0] = '\0';

  int next = 0;
  int highest = -1;
  bool first_file = true;
  for (const auto& name : zor::clr::split_commas(list)) {
    auto res = zor::clr::read_file(name, next);
    if (!res) continue;  // unreadable files are skipped
    if (res->next > next) highest = res->next - 1;
    if (from_resource && first_file) {
      // Without an END line the design takes the highest slot reached as the
      // fill count, i.e. every entry of the first file but its last one.
      s.num_fill = res->before_end >= 0 ? res->before_end : std::max(highest, 0);
    }
    next = res->next;
    first_file = false;
  }
  s.num_colors = highest + 1;
  return 0;
}

int CLR_add(const char* name, float red, float grn, float blu) {
  auto& s = state();
  if (s.num_colors >= CLR_MAX_COLORS) return -1;
  const int ind = s.num_colors++;
  RGB& e = s.table[ind];
  zor::clr::set_name(e, name != nullptr ? name : "");
  e.red = red;
  e.grn = grn;
  e.blu = blu;
  // Colours added while a workstation is open become drawable at once.
  if (gchk_graphics()) GPH_set_color(ind, red, grn, blu);
  return ind;
}

int CLR_get_ind(const char* name) {
  if (name == nullptr || *name == '\0') return -1;
  for (const auto& f : zor::clr::kFixedNames)
    if (zor::clr::ieq(name, f.name)) return f.index;
  auto& s = state();
  for (int i = 0; i < s.num_colors; ++i)
    if (zor::clr::ieq(name, s.table[i].name)) return i;
  const std::string_view v(name);
  if (v[0] == '#') {
    const std::string_view digits = v.substr(1);
    unsigned r = 0, g = 0, b = 0;
    if (digits.size() == 6 && zor::clr::all_hex(digits) && std::sscanf(name + 1, "%2x%2x%2x", &r, &g, &b) == 3)
      return CLR_add(name, r / 255.0f, g / 255.0f, b / 255.0f);
    if (digits.size() == 9 && zor::clr::all_digits(digits) && std::sscanf(name + 1, "%3u%3u%3u", &r, &g, &b) == 3) {
      if (r > 255 || g > 255 || b > 255) return -1;
      return CLR_add(name, r / 255.0f, g / 255.0f, b / 255.0f);
    }
    return -1;
  }
  if (std::isdigit(static_cast<unsigned char>(v[0]))) return std::atoi(name);
  return -1;
}

namespace {
// Indices at or beyond the end of the table read the last entry; a negative
// index or an empty table has no entry.
const RGB* entry(int ind) {
  auto& s = state();
  if (ind < 0 || s.num_colors <= 0) return nullptr;
  return &s.table[std::min(ind, s.num_colors - 1)];
}
}  // namespace

const char* CLR_get_name(int ind) {
  const RGB* e = entry(ind);
  return e != nullptr ? e->name : "";
}

int CLR_get_rgb(int ind, float* red, float* grn, float* blu) {
  const RGB* e = entry(ind);
  const RGB none{};
  if (e == nullptr) e = &none;
  if (red != nullptr) *red = e->red;
  if (grn != nullptr) *grn = e->grn;
  if (blu != nullptr) *blu = e->blu;
  return e == &none ? -1 : 0;
}

int CLR_get_num() { return state().num_colors; }
int CLR_get_num_fill() { return state().num_fill; }

int CLR_clear_table() {
  state().num_colors = 0;
  return 0;
}
