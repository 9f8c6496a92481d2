// Variable descriptions: the model word chosen by the input type, the
// description files and the variables selected for a plot.
//
// A description file holds one variable a line (blank lines and lines
// beginning '#' are skipped), blank-separated:
//   NAME TYPE FORMAT [UNITS [LABEL ...]]
// NAME   as typed in the `variable` resource (case-insensitive; text after a
//        '-' only tells variants of one value apart, as in top-ul);
// TYPE   a plot type word of the point plotter ("value", "wbarb", ...), or
//        "-" for variables the plot routine draws itself (comp, watch, ...);
// FORMAT format words of the point plotter joined by ':', "-" for none;
// UNITS  "-" for none; LABEL the rest of the line.
#include "zor/var.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "zor/data_dir.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"
#include "zor/text.h"

namespace zor::var {

namespace {

struct State {
  std::string model;
  std::string desc_file;           // the description file read last
  std::vector<VAR_data> desc;      // its descriptions (the menu)
  std::array<VAR_data, VAR_MAX> vars{};  // the selection
  int num_vars = 0;
  void reset() { *this = State{}; }
};

State& state() {
  static State s;
  return s;
}

// Plot type words and codes of the point plotter; the first word of a code
// is its name.
struct TypeWord {
  const char* word;
  int code;
};
constexpr std::array<TypeWord, 29> kTypes{{
    {"data", 1},    {"value", 2},  {"text", 3},   {"mark", 4},   {"mk", 4},     {"int", 5},
    {"cont", 11},   {"ln", 12},    {"dln", 13},   {"ndln", 14},  {"cf", 15},    {"lcf", 16},
    {"gvalue", 17}, {"wind", 20},  {"vect", 21},  {"barb", 22},  {"strm", 23},  {"track", 23},
    {"plot", 30},   {"grid", 10},  {"const", 40}, {"cloud", 31}, {"wbarb", 32}, {"cbarb", 33},
    {"dbarb", 34},  {"vbarb", 35}, {"symb", 36},  {"wx", 36},    {"line", 37},
}};

bool ieq(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

std::string_view base_name(std::string_view name) { return name.substr(0, name.find('-')); }

// Copies text into a fixed field; false (nothing copied) when it does not fit.
template <std::size_t N>
bool copy_field(char (&dst)[N], std::string_view src) {
  if (src.size() >= N) return false;
  std::memcpy(dst, src.data(), src.size());
  dst[src.size()] = '\0';
  return true;
}

// One description line; nullopt (with a warning) when it does not fit.
std::optional<VAR_data> parse_line(const std::string& line, const std::string& file, int line_no) {
  std::istringstream in(line);
  std::string name, type, format, units;
  if (!(in >> name >> type >> format)) {
    MESS_print(M_WARN, "VAR_open_file: %s line %d: name, type and format expected\n", file.c_str(), line_no);
    return std::nullopt;
  }
  in >> units;
  std::string label;
  std::getline(in >> std::ws, label);
  VAR_data v;
  v.flag = 1;
  v.type = type == "-" ? 0 : VAR_dec_type(type.c_str());
  if (type != "-" && v.type == 0) {
    MESS_print(M_WARN, "VAR_open_file: %s line %d: unknown plot type %s\n", file.c_str(), line_no, type.c_str());
    return std::nullopt;
  }
  if (format == "-") format.clear();
  if (units == "-") units.clear();
  if (!copy_field(v.name, name) || !copy_field(v.format, format) || !copy_field(v.units, units) ||
      !copy_field(v.label, label)) {
    MESS_print(M_WARN, "VAR_open_file: %s line %d: field too long\n", file.c_str(), line_no);
    return std::nullopt;
  }
  return v;
}

const VAR_data* find_desc(std::string_view name) {
  for (const auto& d : state().desc) {
    if (ieq(d.name, name)) return &d;
  }
  for (const auto& d : state().desc) {
    if (ieq(d.name, base_name(name))) return &d;
  }
  return nullptr;
}

// One selected item "name[:format words]" appended to the selection.
void select_item(std::string_view item) {
  State& s = state();
  const std::size_t colon = item.find(':');
  const std::string_view name = item.substr(0, colon);
  const std::string_view extra = colon == std::string_view::npos ? std::string_view{} : item.substr(colon + 1);
  if (name.empty()) return;
  if (s.num_vars >= VAR_MAX) {
    MESS_print(M_WARN, "VAR_setup: too many variables, %.*s left out\n", static_cast<int>(name.size()), name.data());
    return;
  }
  VAR_data v;
  if (const VAR_data* d = find_desc(name)) v = *d;
  std::string format = v.format;
  if (!extra.empty()) {
    if (!format.empty()) format += ':';
    format += extra;
  }
  if (!copy_field(v.name, name) || !copy_field(v.format, format)) {
    MESS_print(M_WARN, "VAR_setup: variable too long: %.*s\n", static_cast<int>(item.size()), item.data());
    return;
  }
  s.vars[static_cast<std::size_t>(s.num_vars++)] = v;
}

}  // namespace

void reset() { state().reset(); }

}  // namespace zor::var

using zor::var::state;

int VAR_set_model_str(const char* str) {
  state().model = str ? str : "";
  return 0;
}

const char* VAR_get_model_str() { return state().model.c_str(); }

VAR_data* VAR_get_vars() { return state().vars.data(); }

int VAR_get_num() { return state().num_vars; }

const char* VAR_get_name(int i) {
  if (i < 0 || i >= state().num_vars) return "";
  return state().vars[static_cast<std::size_t>(i)].name;
}

int VAR_open_file(const char* filename) {
  auto& s = state();
  if (filename == nullptr || *filename == '\0') return -1;
  const auto path = zor::find_runtime_file(filename);
  std::ifstream in;
  if (path) in.open(*path);
  if (!in.is_open()) {
    MESS_print(M_WARN, "VAR_open_file: variable file not found: %s\n", filename);
    return -1;
  }
  s.desc.clear();
  s.desc_file = filename;
  std::string line;
  int line_no = 0;
  while (std::getline(in, line)) {
    ++line_no;
    const auto first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos || line[first] == '#') continue;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (static_cast<int>(s.desc.size()) >= VAR_MAX_DESC) {
      MESS_print(M_WARN, "VAR_open_file: %s: more than %d variables, the rest left out\n", filename, VAR_MAX_DESC);
      break;
    }
    if (auto v = zor::var::parse_line(line, filename, line_no)) s.desc.push_back(*v);
  }
  return static_cast<int>(s.desc.size());
}

int VAR_get_num_desc() { return static_cast<int>(state().desc.size()); }

const VAR_data* VAR_get_desc(int i) {
  if (i < 0 || i >= VAR_get_num_desc()) return nullptr;
  return &state().desc[static_cast<std::size_t>(i)];
}

int VAR_setup(const char* filename, const char* var_str) {
  auto& s = state();
  if (filename != nullptr && *filename != '\0' && s.desc_file != filename) {
    // Without its descriptions the names are still selected, as values.
    if (VAR_open_file(filename) < 0) {
      s.desc.clear();
      s.desc_file.clear();
    }
  } else if (filename == nullptr || *filename == '\0') {
    s.desc.clear();
    s.desc_file.clear();
  }
  s.num_vars = 0;
  if (var_str == nullptr) return 0;
  std::string_view rest(var_str);
  while (!rest.empty()) {
    const std::size_t end = rest.find_first_of(", \t\n");
    zor::var::select_item(rest.substr(0, end));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return s.num_vars;
}

int VAR_menu(const char* title, const char* prompt, char* var_str, std::size_t size) {
  auto& s = state();
  if (var_str == nullptr || size == 0) return 0;
  var_str[0] = '\0';
  if (FLAG_get(19) > 0) return -9999;  // batch: nobody to ask
  MESS_print(M_PRINT, "%s", title ? title : "");
  for (std::size_t i = 0; i < s.desc.size(); ++i) {
    const VAR_data& d = s.desc[i];
    MESS_print(M_PRINT, "%4d  %-12s %s\n", static_cast<int>(i + 1), d.name, d.label[0] ? d.label : d.name);
  }
  char* answer = ZOR_prompts(prompt ? prompt : "", var_str, static_cast<int>(size));
  if (answer == nullptr) return 0;
  const std::string text(var_str);  // the first word of the answer
  if (text.empty()) return 0;
  if (zor::var::ieq(text, "q") || zor::var::ieq(text, "quit")) return -1;
  if (string_is_num(text.c_str())) {
    const int n = std::atoi(text.c_str());
    if (n < 1 || n > static_cast<int>(s.desc.size())) {
      MESS_print(M_WARN, "VAR_menu: no variable %d\n", n);
      return 0;
    }
    std::snprintf(var_str, size, "%s", s.desc[static_cast<std::size_t>(n - 1)].name);
    return n;
  }
  return static_cast<int>(s.desc.size()) + 1;
}

int VAR_dec_type(const char* word) {
  if (word == nullptr) return 0;
  for (const auto& t : zor::var::kTypes) {
    if (zor::var::ieq(t.word, word)) return t.code;
  }
  return 0;
}

const char* VAR_print_type(int type) {
  for (const auto& t : zor::var::kTypes) {
    if (t.code == type) return t.word;
  }
  return "";
}
