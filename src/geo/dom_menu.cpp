// Predefined regions: the region file "zor.reg", the generic numbered menu and
// the region menu through which main obtains the domain of each plot.
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "dom_internal.h"
#include "zor/data_dir.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"
#include "zor/text.h"

namespace zor::dom {

namespace {

constexpr const char* kRegionFile = "zor.reg";
constexpr int kMaxAttempts = 5;

struct MenuSeed {
  const char* name;
  const char* abbr;
};

// The menu shown before any region file has been read.
constexpr MenuSeed kBuiltinMenu[] = {
    {"Return to previous menu", "back"}, {"Contiguous US", "us"}, {"New England", "ne"},
    {"Atlantic", "at"},   {"Southeastern", "se"},    {"Midwestern", "mw"},
    {"Southern Plains", "sp"}, {"Northwestern", "nw"}, {"Southwestern", "sw"},
    {"Variable", "var"},
};

// One parsed line of a region file.
struct RegionLine {
  std::vector<std::string> words;
  bool has_flag = false;
  int flag = 0;
};

RegionLine parse_line(const std::string& line) {
  RegionLine r;
  r.words = split_words(line);
  if (r.words.size() >= 3 && string_is_num(r.words[2].c_str())) {
    r.has_flag = true;
    r.flag = std::atoi(r.words[2].c_str());
  }
  return r;
}

// Reads the next line; false at the end. Overlong lines are reported and
// returned empty-flagged so that callers skip them rather than cut them.
// Region files are read to a limit (`budget` bytes), so an endless one still ends.
bool next_line(std::ifstream& in, std::string& line, bool& too_long, const std::string& path, std::size_t& budget) {
  if (!zor::get_bounded_line(in, line, static_cast<std::size_t>(DOM_MAX_LINE), too_long, budget)) return false;
  if (too_long)
    MESS_print(M_WARN, "Region file %s: line longer than %d characters skipped\n", path.c_str(),
               DOM_MAX_LINE);
  return true;
}

bool is_comment_or_blank(const std::string& line) {
  const auto pos = line.find_first_not_of(" \t");
  return pos == std::string::npos || line[pos] == '#';
}

// Menu position of the n-th shown entry (1-based), or 0.
int shown_entry(const MENU_item* menu, int menu_num, int n) {
  int count = 0;
  for (int i = 1; menu[i].name != nullptr; ++i) {
    if (menu[i].disp[menu_num] && ++count == n) return i;
  }
  return 0;
}

int count_shown(const MENU_item* menu, int menu_num) {
  int count = 0;
  for (int i = 1; menu[i].name != nullptr; ++i)
    if (menu[i].disp[menu_num]) ++count;
  return count;
}

bool valid_menu_num(int menu_num) { return menu_num >= 0 && menu_num < 10; }

const char* text_or_empty(const char* s) { return s != nullptr ? s : ""; }

void print_entry(int number, const MENU_item& item, bool ends_line) {
  const char* name = text_or_empty(item.name);
  if (name[0] == '-') {
    MESS_print(M_PRINT, ends_line ? " --------------------               \n"
                                  : " --------------------               ");
  } else {
    MESS_print(M_PRINT, ends_line ? " %2d: %-30s\n" : " %2d: %-30s ", number, name);
  }
}

bool copy_answer(char* string, const char* text) {
  if (string == nullptr) return true;
  const size_t len = std::strlen(text);
  if (len >= static_cast<size_t>(MENU_STR_LEN)) {
    MESS_print(M_ERROR, "MENU_process: Menu abbreviation too long: %s\n", text);
    return false;
  }
  std::memcpy(string, text, len + 1);
  return true;
}

// Decodes a domain from a resource; an invalid one ends the program.
int decode_resource(const char* value, Domain* domain) {
  const int res = DOM_decode(value, domain);
  if (res == -1) {
    MESS_print(M_ERROR, "Invalid domain\n");
    ZOR_exit(43);
  }
  return res;
}

const char* resource(const char* name) {
  const char* v = RES_get(name);
  return (v != nullptr && *v != '\0') ? v : nullptr;
}

}  // namespace

void State::load_builtin_menu() {
  regions.fill(MENU_item{});
  for (size_t i = 0; i < std::size(kBuiltinMenu); ++i) {
    regions[i].name = kBuiltinMenu[i].name;
    regions[i].abbr = kBuiltinMenu[i].abbr;
    regions[i].index = i == 0 ? 0 : 1;
    regions[i].disp[0] = 1;
  }
}

void State::reset() {
  load_builtin_menu();
  for (auto& s : names) s.clear();
  for (auto& s : abbrs) s.clear();
  num_regs = 0;
  menu_cleared = false;
  reg_menu_type = 0;
  prompt_region = 1;
  priority = 3;
  loc_prior = 4;
  decode_depth = 0;
}

State& state() {
  static State s;
  return s;
}

void reset() { state().reset(); }

const MENU_item* region_menu() { return state().regions.data(); }

bool iequals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

bool istarts_with(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && iequals(s.substr(0, prefix.size()), prefix);
}

std::vector<std::string> split(std::string_view s, char delim) {
  std::vector<std::string> out;
  size_t start = 0;
  for (;;) {
    const size_t pos = s.find(delim, start);
    if (pos == std::string_view::npos) {
      out.emplace_back(s.substr(start));
      return out;
    }
    out.emplace_back(s.substr(start, pos - start));
    start = pos + 1;
  }
}

std::vector<std::string> split_words(std::string_view s) {
  std::vector<std::string> out;
  size_t i = 0;
  while (i < s.size()) {
    while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
    const size_t start = i;
    while (i < s.size() && !std::isspace(static_cast<unsigned char>(s[i]))) ++i;
    if (i > start) out.emplace_back(s.substr(start, i - start));
  }
  return out;
}

std::optional<std::string> locate_region_file(const std::string& file) {
  if (file.empty()) return std::nullopt;
  std::error_code ec;
  std::vector<char> buf(PATH_MAX);
  if (FILE_fullpath(file.c_str())) {
    if (FILE_add_user_path(file.c_str(), buf.data(), buf.size()) == nullptr) return std::nullopt;
    const std::string full = buf.data();
    if (std::filesystem::is_regular_file(full, ec)) return full;
    return std::nullopt;
  }
  if (FILE_add_path(resource("file_path"), file.c_str(), buf.data(), buf.size()) != nullptr &&
      std::filesystem::is_regular_file(buf.data(), ec))
    return std::string(buf.data());
  return zor::find_data_file(file);
}

}  // namespace zor::dom

using namespace zor::dom;

int DOM_read_menu(const char* file) {
  State& s = state();
  if (!s.menu_cleared) {
    for (int i = 1; i <= kMaxFileRegions; ++i) s.regions[i] = MENU_item{};
    s.menu_cleared = true;
  }
  const std::string name = text_or_empty(file);
  const auto path = locate_region_file(name);
  std::ifstream in;
  if (path) in.open(*path);
  if (!path || !in) {
    MESS_print(M_DEBUG, "Unable to open region file: %s\n", path ? path->c_str() : name.c_str());
    // Without a file the built-in regions remain selectable rather than an empty menu.
    s.load_builtin_menu();
    return 0;
  }
  int entry = 1;
  std::string line;
  bool too_long = false;
  std::size_t budget = zor::kTextFileMax;
  while (entry <= kMaxFileRegions && next_line(in, line, too_long, *path, budget)) {
    if (too_long || is_comment_or_blank(line)) continue;
    const RegionLine r = parse_line(line);
    if (!r.has_flag || r.flag == 0) continue;
    if (r.words[0].size() > static_cast<size_t>(kMaxAbbr)) {
      MESS_print(M_WARN, "Region file %s: abbreviation longer than %d characters skipped: %s\n",
                 path->c_str(), kMaxAbbr, r.words[0].c_str());
      continue;
    }
    std::string desc = r.words[1].substr(0, kMaxDesc);
    for (char& c : desc)
      if (c == '_') c = ' ';
    s.abbrs[entry] = r.words[0];
    s.names[entry] = desc;
    MENU_item& item = s.regions[entry];
    item = MENU_item{};
    item.name = s.names[entry].c_str();
    item.abbr = s.abbrs[entry].c_str();
    item.index = entry;
    item.disp[0] = 1;
    ++entry;
  }
  s.regions[entry] = MENU_item{};
  s.num_regs = entry;
  return entry - 1;
}

int DOM_search_file(const char* file, const char* str, char* domstr) {
  if (domstr == nullptr) return -1;
  const auto path = locate_region_file(text_or_empty(file));
  std::ifstream in;
  if (path) in.open(*path);
  if (!path || !in) {
    MESS_print(M_DEBUG, "Unable to open region file: %s\n", path ? path->c_str() : text_or_empty(file));
    return -1;
  }
  const bool any = str == nullptr || *str == '\0';
  std::string line;
  bool too_long = false;
  std::size_t budget = zor::kTextFileMax;
  while (next_line(in, line, too_long, *path, budget)) {
    if (too_long || (!line.empty() && line[0] == '#')) continue;
    const RegionLine r = parse_line(line);
    if (r.words.empty()) return 0;
    if (r.words.size() == 1 || !r.has_flag) {
      std::strcpy(domstr, r.words[0].c_str());  // bounded by the line limit
      return 1;
    }
    if (r.words.size() < 4) continue;
    if (any || iequals(r.words[0], str)) {
      std::strcpy(domstr, r.words[3].c_str());
      return 1;
    }
  }
  return 0;
}

int DOM_print_file(const char* file) {
  const auto path = locate_region_file(text_or_empty(file));
  std::ifstream in;
  if (path) in.open(*path);
  if (!path || !in) {
    MESS_print(M_DEBUG, "Unable to open region file: %s\n", path ? path->c_str() : text_or_empty(file));
    return -1;
  }
  MESS_print(M_PRINT, " Abbr    Description\n");
  std::string line;
  bool too_long = false;
  std::size_t budget = zor::kTextFileMax;
  while (next_line(in, line, too_long, *path, budget)) {
    if (too_long || is_comment_or_blank(line)) continue;
    const RegionLine r = parse_line(line);
    MESS_print(M_PRINT, "%-8s %-50s\n", r.words[0].c_str(), r.words.size() > 1 ? r.words[1].c_str() : "");
  }
  return 0;
}

int MENU_print(const char* title, const MENU_item* menu, int menu_num, int flag) {
  if (menu == nullptr || !valid_menu_num(menu_num)) return -1;
  MESS_print(M_PRINT, "%s\n", text_or_empty(title));
  const int n = count_shown(menu, menu_num);
  if (n < 13) {
    for (int k = 1; k <= n; ++k) print_entry(k, menu[shown_entry(menu, menu_num, k)], true);
  } else {
    const int half = (n + 1) / 2;
    for (int k = 1; k <= half; ++k) {
      const bool right = k + half <= n;
      print_entry(k, menu[shown_entry(menu, menu_num, k)], !right);
      if (right) print_entry(k + half, menu[shown_entry(menu, menu_num, k + half)], true);
    }
  }
  if (flag & 4) MESS_print(M_PRINT, " 99: Help                          \n");
  const char* back = text_or_empty(menu[0].name);
  if ((flag & 3) == 3) {
    MESS_print(M_PRINT, n >= 13 ? "  0: %-30s " : "  0: %-30s\n", back);
    MESS_print(M_PRINT, " -1: Exit program                  \n");
  } else if (flag & 1) {
    MESS_print(M_PRINT, "  0: Exit program                  \n");
  } else if (flag & 2) {
    MESS_print(M_PRINT, "  0: %-30s\n", back);
  }
  MESS_print(M_PRINT, "\n");
  return 0;
}

int MENU_process(const char* title, const MENU_item* menu, int menu_num, const char* prompt,
                 char* string, int flag) {
  if (menu == nullptr || !valid_menu_num(menu_num)) return -9999;
  MENU_print(title, menu, menu_num, flag);
  char answer[MENU_STR_LEN];
  for (;;) {
    answer[0] = '\0';
    ZOR_promptl(text_or_empty(prompt), answer);
    if (std::strcmp(answer, "?") != 0) break;
    std::string abbrs = text_or_empty(menu[0].abbr);
    for (int i = 1; menu[i].name != nullptr; ++i)
      if (menu[i].disp[menu_num]) abbrs += std::string(",") + text_or_empty(menu[i].abbr);
    MESS_print(M_PRINT, "%s\n\n", abbrs.c_str());
  }
  if (!copy_answer(string, answer)) return -9999;

  const bool exit_choice = flag & 1;
  const bool back_choice = flag & 2;
  const bool is_exit = std::strcmp(answer, "Exit program") == 0 || iequals(answer, "exit");
  const bool is_main = std::strcmp(answer, "Return to main menu") == 0 || iequals(answer, "main");
  if (exit_choice && back_choice) {
    if (is_exit) return -1;
    if (is_main) return 0;
  } else if (exit_choice) {
    if (is_exit) return 0;
  } else if (back_choice) {
    if (is_main) return 0;
  }

  const int n = count_shown(menu, menu_num);
  if (string_is_num(answer)) {
    const int low = exit_choice ? -1 : (back_choice ? 0 : 1);
    const long value = std::strtol(answer, nullptr, 10);
    if (value >= low && value <= n) {
      if (value <= 0) return static_cast<int>(value);
      const MENU_item& item = menu[shown_entry(menu, menu_num, static_cast<int>(value))];
      if (!copy_answer(string, text_or_empty(item.abbr))) return -9999;
      return item.index;
    }
  }
  auto matches = [&](const MENU_item& item) {
    return (item.abbr != nullptr && iequals(answer, item.abbr)) ||
           (item.name != nullptr && iequals(answer, item.name));
  };
  for (int i = 0; i == 0 || menu[i].name != nullptr; ++i) {
    if (i > 0 && !menu[i].disp[menu_num]) continue;
    if (matches(menu[i])) {
      if (!copy_answer(string, text_or_empty(menu[i].abbr))) return -9999;
      return menu[i].index;
    }
  }
  return -9999;
}

int MENU_search(const char* item, const MENU_item* menu) {
  if (item == nullptr || menu == nullptr) return -9999;
  for (int i = 0; i == 0 || menu[i].name != nullptr; ++i) {
    if ((menu[i].abbr != nullptr && iequals(item, menu[i].abbr)) ||
        (menu[i].name != nullptr && iequals(item, menu[i].name)))
      return menu[i].index;
  }
  return -9999;
}

const char* MENU_get_abbr(int index, const MENU_item* menu) {
  if (menu == nullptr) return nullptr;
  for (int i = 0; i == 0 || menu[i].name != nullptr; ++i)
    if (menu[i].index == index) return menu[i].abbr;
  return nullptr;
}

int MENU_check(int index, const MENU_item* menu, int menu_num) {
  if (menu == nullptr || !valid_menu_num(menu_num)) return 0;
  for (int i = 0; i == 0 || menu[i].name != nullptr; ++i)
    if (menu[i].index == index) return menu[i].disp[menu_num] ? 1 : 0;
  return 0;
}

int DOM_set_prompt_region(int val) {
  state().prompt_region = val;
  return val;
}

int DOM_get_region(Domain* domain, int flag) {
  if (domain == nullptr) return -1;
  if (flag == 1 || flag == 3 || flag == 4) {
    if (const char* pd = resource("plot_domain")) return DOM_decode(pd, domain);
  }
  if (const char* reg = resource("region")) return DOM_decode(reg, domain);
  if (flag == 4) {
    char domstr[DOM_MAX_LINE + 1];
    if (DOM_search_file(kRegionFile, nullptr, domstr) == 1) return DOM_decode(domstr, domain);
  }
  DOM_init(domain);
  return 0;
}

int DOM_prompt_region(Domain* domain, int flag) {
  State& s = state();
  if (domain == nullptr || s.prompt_region == 0) return 0;
  if (flag == 1) {
    if (const char* pd = resource("plot_domain")) {
      const int res = decode_resource(pd, domain);
      s.prompt_region = 0;
      if (res >= 1) return res;
    }
  }
  if (const char* reg = resource("region")) {
    const int res = decode_resource(reg, domain);
    s.prompt_region = 0;
    if (res >= 1) return res;
  }
  if (s.num_regs == 0) DOM_read_menu(kRegionFile);
  if (FLAG_batch()) {
    const std::string first = text_or_empty(s.regions[1].abbr);
    const int res = decode_resource(first.c_str(), domain);
    s.prompt_region = 0;
    return res;
  }
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    char answer[MENU_STR_LEN] = {};
    const int res = MENU_process("\n        Region Menu\n", s.regions.data(), s.reg_menu_type,
                                 "Enter the region: ", answer, 3);
    if (iequals(answer, "list")) {
      DOM_print_file(kRegionFile);
      continue;
    }
    if (res == -1) ZOR_exit(0);
    if (res == 0) return 0;
    const int dres = DOM_decode(answer, domain);
    if (dres == ZOR_MISSING || dres >= 1) return dres;
    MESS_print(M_WARN, "Invalid domain\n");
  }
  return -1;
}
