// Colour-fill levels: the level set that maps a data value to a fill colour,
// the colour bar that explains it under the plot, and the bar look-up for the
// pointer read-out.
#include "zor/cont.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "zor/attrib.h"
#include "zor/clr.h"
#include "zor/data_dir.h"
#include "zor/gks.h"
#include "zor/mess.h"
#include "zor/plt.h"
#include "zor/res.h"
#include "zor/text.h"

namespace {

constexpr float kMiss = ZOR_MISSING_F;
constexpr int kMaxBarBoxes = 200;

bool missing(float v) { return v == kMiss; }

using zor::ResValues;

struct ContState {
  // One more entry than steps: the entry after the last step ends the list.
  std::array<Gattribs, CONT_MAX_LEVELS + 1> fill_attrib{};
  std::array<float, CONT_MAX_LEVELS + 1> cont_value{};
  std::array<std::array<char, CONT_LABEL_LEN>, CONT_MAX_LEVELS + 1> cont_label{};
  bool values_given = false;  // levels came from CONT_set_values, not the fill list
  int num_cont = 0;
  int color_num = 0;
  int color_fill_set = 0;
  float intrvl = kMiss;
  float base = kMiss;
  float cbase = kMiss;
  float grid_min = kMiss, grid_max = kMiss;
  float bar_min = kMiss, bar_max = kMiss;
  float min_cut = kMiss, max_cut = kMiss;
  float conlo = kMiss, conhi = kMiss;
  int plt_bar = 0;
  int cont_type = ZOR_MISSING;
  int fill_pat = ZOR_MISSING;
  Glim bar_lim{};
  bool bar_drawn = false;
  float bar_inc = 0.0f;
  int bar_boxes = 0;  // boxes of the last bar drawn, for look-ups
  // Contour-line keywords; kept for the grid contouring that shares them.
  int lab_skip = 1, lab_radius = 0, lab_xspace = 2, lab_yspace = 2;
  int lab_rotate = 0;
  float max_line = kMiss;
  int draw_grid = 0;
  int map_over = 0;
  int skip_x = 1, skip_y = 1;
  float off_x = 0.0f, off_y = 0.0f;

  ContState() {
    cont_value.fill(kMiss);
    for (auto& l : cont_label) l.fill('\0');
  }
  void reset() { *this = ContState(); }
};

ContState& state() {
  static ContState s;
  return s;
}

bool ieq_prefix(std::string_view s, std::string_view p) {
  if (s.size() < p.size()) return false;
  for (std::size_t i = 0; i < p.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(s[i])) != std::tolower(static_cast<unsigned char>(p[i]))) return false;
  return true;
}

bool ieq(std::string_view a, std::string_view b) { return a.size() == b.size() && ieq_prefix(a, b); }

std::string trim_left(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  return std::string(s);
}

std::string strip_blanks(std::string_view s) {
  std::string out;
  for (char c : s)
    if (!std::isspace(static_cast<unsigned char>(c))) out += c;
  return out;
}

std::vector<std::string> split(std::string_view s, char delim) {
  std::vector<std::string> out;
  std::size_t start = 0;
  while (true) {
    std::size_t p = s.find(delim, start);
    out.emplace_back(s.substr(start, p == std::string_view::npos ? std::string_view::npos : p - start));
    if (p == std::string_view::npos) break;
    start = p + 1;
  }
  return out;
}

// A level value: the whole text must be a number (so colour names never are).
bool parse_level(std::string_view s, float* value) {
  if (s.empty()) return false;
  const char c = s.front();
  if (!(std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '+' || c == '.')) return false;
  std::string t(s);
  char* end = nullptr;
  const float v = std::strtof(t.c_str(), &end);
  if (end == t.c_str()) return false;
  *value = v;
  return true;
}

void set_label(int step, std::string_view text) {
  auto& lab = state().cont_label[static_cast<std::size_t>(step)];
  lab.fill('\0');
  const std::size_t n = std::min(text.size(), lab.size() - 1);
  std::memcpy(lab.data(), text.data(), n);
}

// Adds one step; false when the list is full.
bool add_step(const Gattribs& attrib, float level, std::string_view label) {
  auto& s = state();
  if (s.num_cont >= CONT_MAX_LEVELS) return false;
  const auto i = static_cast<std::size_t>(s.num_cont);
  s.fill_attrib[i] = attrib;
  if (!missing(level)) s.cont_value[i] = level;
  set_label(s.num_cont, label);
  ++s.num_cont;
  return true;
}

// Reads a level file found along `file_path`, the working directory or the
// bundled data; empty result when it cannot be read.
bool read_level_file(const std::string& name, std::vector<std::string>* items) {
  namespace fs = std::filesystem;
  std::error_code ec;
  std::vector<std::string> candidates;
  const bool full = !name.empty() && (name[0] == '/' || name[0] == '.');
  if (!full) {
    const char* path = RES_get("file_path");
    if (path != nullptr && *path != '\0') {
      std::string p(path);
      if (p.back() != '/') p += '/';
      candidates.push_back(p + name);
    }
  }
  candidates.push_back(name);
  if (!full) {
    if (auto f = zor::find_data_file(name)) candidates.push_back(*f);
  }
  for (const auto& c : candidates) {
    if (!fs::is_regular_file(c, ec)) continue;
    std::ifstream in(c);
    if (!in) continue;
    std::string line;
    while (std::getline(in, line) && items->size() < CONT_MAX_LEVELS) {
      if (line.size() > 80) line.resize(80);
      if (line.empty() || line[0] == '@' || line[0] == '#') continue;
      std::string item = strip_blanks(line);
      if (!item.empty()) items->push_back(item);
    }
    return true;
  }
  return false;
}

// Interpolates the levels of steps lying between two steps with levels.
void interpolate_levels() {
  auto& s = state();
  int a = -1;
  for (int i = 0; i < s.num_cont; ++i) {
    if (missing(s.cont_value[static_cast<std::size_t>(i)])) continue;
    if (a >= 0 && i - a > 1) {
      const float la = s.cont_value[static_cast<std::size_t>(a)];
      const float lb = s.cont_value[static_cast<std::size_t>(i)];
      for (int k = a + 1; k < i; ++k)
        s.cont_value[static_cast<std::size_t>(k)] = la + (lb - la) * static_cast<float>(k - a) / static_cast<float>(i - a);
    }
    a = i;
  }
}

constexpr std::array<const char*, 15> kDefaultColors = {"Magenta", "LMagenta", "Blue",   "LBlue",  "Cyan",
                                                        "LCyan",   "Green",    "LGreen", "Brown",  "Yellow",
                                                        "Red",     "LRed",     "DGray",  "LGray",  "White"};

bool explicit_levels() { return !missing(state().cont_value[0]); }

float floor_div(float a, float b) { return std::floor(a / b); }

int positive_mod(int k, int n) {
  if (n <= 0) return 0;
  int m = k % n;
  return m < 0 ? m + n : m;
}

// Reads the con_base resource: ">X" lower end and base, "<X" upper end,
// a plain number the base.
void apply_con_base(float* min, float* max, bool bar_range) {
  auto& s = state();
  ResValues rv("con_base");
  const int n = rv.n;
  char** vals = rv.v;
  for (int i = 0; i < n; ++i) {
    const char* v = vals[i];
    if (v == nullptr || *v == '\0') continue;
    float x = 0;
    if (v[0] == '>') {
      if (!bar_range && parse_level(v + 1, &x)) {
        *min = x;
        s.base = x;
      }
    } else if (v[0] == '<') {
      if (!bar_range && parse_level(v + 1, &x)) *max = x;
    } else if (parse_level(v, &x)) {
      s.base = x;
    }
  }
}

void default_text_attr(const char* resrc, Gattribs* a) {
  *a = Gattribs{};
  ATTRIB_get(resrc, gget_inverse() ? "black" : "white", a);
}

// The value at the top edge of the last box of an explicit level set: one
// more step of the last spacing (the first spacing may be an "off" step).
float top_level() {
  const auto& s = state();
  const auto n = static_cast<std::size_t>(s.num_cont);
  if (n == 0) return kMiss;
  if (n == 1) return s.cont_value[0] + (missing(s.intrvl) ? 0.0f : s.intrvl);
  return 2 * s.cont_value[n - 1] - s.cont_value[n - 2];
}

}  // namespace

namespace zor::cont {
// Start-up state for tests.
void reset() { state().reset(); }
}  // namespace zor::cont

int CONT_init() {
  auto& s = state();
  s.cont_type = ZOR_MISSING;
  s.intrvl = s.base = s.cbase = kMiss;
  s.min_cut = s.max_cut = kMiss;
  s.grid_min = s.grid_max = s.bar_min = s.bar_max = kMiss;
  s.cont_value.fill(kMiss);
  s.values_given = false;
  for (auto& l : s.cont_label) l.fill('\0');
  s.color_fill_set = 0;
  s.lab_xspace = s.lab_yspace = 2;
  s.lab_skip = 1;
  s.fill_pat = ZOR_MISSING;
  return 0;
}

int CONT_set_bar(int val) { state().plt_bar = val; return 0; }
int CONT_get_bar() { return state().plt_bar; }
int CONT_set_intrvl(float val) { state().intrvl = val; return 0; }
float CONT_get_intrvl() { return state().intrvl; }
int CONT_set_base(float val) { state().base = val; return 0; }
float CONT_get_base() { return state().base; }
int CONT_set_range(float max, float min) {
  state().grid_max = max;
  state().grid_min = min;
  return 0;
}
int CONT_set_bar_range(float max, float min) {
  state().bar_max = max;
  state().bar_min = min;
  return 0;
}
int CONT_set_type(int val) {
  state().cont_type = val == 52 ? 15 : val;
  return 0;
}
int CONT_get_type() { return state().cont_type; }
int CONT_set_fill_pat(int val) { state().fill_pat = val; return 0; }
int CONT_get_fill_pat() { return state().fill_pat; }
int CONT_reset_fill_set() { state().color_fill_set = 0; return 0; }
int CONT_get_num_cont() { return state().num_cont; }
const char* CONT_get_label(int i) {
  if (i < 0 || i >= CONT_MAX_LEVELS) return "";
  return state().cont_label[static_cast<std::size_t>(i)].data();
}
int CONT_set_skip(int x, int y) {
  state().skip_x = x;
  state().skip_y = y;
  return 0;
}
int CONT_set_plot_offset(float x, float y) {
  state().off_x = x;
  state().off_y = y;
  return 0;
}

int CONT_set_cutoff(float max, float min) {
  if (!missing(max)) state().max_cut = max;
  if (!missing(min)) state().min_cut = min;
  return 0;
}

int CONT_set_values(const float* values, int num) {
  auto& s = state();
  if (s.color_fill_set) return -1;
  if (values == nullptr || num <= 0) return -1;
  s.cont_value.fill(kMiss);
  int n = 0;
  while (n < num && n < CONT_MAX_LEVELS && !missing(values[n])) {
    s.cont_value[static_cast<std::size_t>(n)] = values[n];
    ++n;
  }
  s.num_cont = n;
  s.values_given = n > 0;
  s.intrvl = n > 1 ? values[1] - values[0] : kMiss;
  s.grid_min = values[0];
  s.grid_max = values[num - 1];
  return 0;
}

int CONT_reset_values() {
  auto& s = state();
  s.cont_value.fill(kMiss);
  s.values_given = false;
  s.intrvl = s.grid_min = s.grid_max = kMiss;
  return 0;
}

int CONT_get_values(float* values) {
  const auto& s = state();
  if (!explicit_levels()) return 0;
  int n = 0;
  while (n < CONT_MAX_LEVELS && !missing(s.cont_value[static_cast<std::size_t>(n)])) {
    if (values != nullptr) values[n] = s.cont_value[static_cast<std::size_t>(n)];
    ++n;
  }
  return n;
}

int CONT_decode_fill_color(const char* str) {
  if (str == nullptr) return -1;
  const std::string item = trim_left(str);
  if (item.empty()) return -1;
  const std::size_t dash = item.find('-');
  const std::size_t colon = item.find(':');
  // A run of colour-table indices "A-B".
  if (dash != std::string::npos && dash > 0) {
    Gattribs first;
    ATTRIB_parse(item.substr(0, dash).c_str(), &first);
    Gattribs last;
    ATTRIB_parse(item.substr(dash + 1).c_str(), &last);
    if (first.color < 0 || last.color < 0) {
      MESS_print(M_WARN, "CONT_decode_fill_color: Bad colour run: %s\n", item.c_str());
      return -1;
    }
    const int step = first.color <= last.color ? 1 : -1;
    for (int c = first.color;; c += step) {
      Gattribs a = first;
      a.color = c;
      if (!add_step(a, kMiss, "")) return -1;
      if (c == last.color) break;
    }
    return 0;
  }
  float level = kMiss;
  std::string label;
  std::string attr_text = item;
  if (colon != std::string::npos && parse_level(std::string_view(item).substr(0, colon), &level)) {
    label = item.substr(0, colon);
    attr_text = item.substr(colon + 1);
  }
  // A ":la=" field names the step on the bar; it is no drawing attribute.
  std::string attrs;
  for (const auto& f : split(attr_text, ':')) {
    if (ieq_prefix(f, "la=")) {
      label = f.substr(3);
      continue;
    }
    if (!attrs.empty() || !f.empty()) {
      if (!attrs.empty()) attrs += ':';
      attrs += f;
    }
  }
  Gattribs a;
  ATTRIB_parse(attrs.c_str(), &a);
  return add_step(a, level, label) ? 0 : -1;
}

namespace {

// On grey print output a colour's grey follows its brightness, which rises
// and falls along a radar colour scale (yellow is lighter than green). The
// drawn steps are shaded by their rank instead: the weakest light, the
// strongest dark, whatever their colours.
void shade_steps_for_print() {
  const auto& s = state();
  gclear_fill_print_gray();
  std::vector<int> colors;
  for (int i = 0; i < s.num_cont; ++i) {
    const int c = s.fill_attrib[static_cast<std::size_t>(i)].color;
    if (c >= 0 && c <= 256 && std::find(colors.begin(), colors.end(), c) == colors.end())
      colors.push_back(c);
  }
  constexpr float kLightest = 0.85f, kDarkest = 0.1f;
  const std::size_t n = colors.size();
  for (std::size_t j = 0; j < n; ++j) {
    const float t = n > 1 ? static_cast<float>(j) / static_cast<float>(n - 1) : 0.5f;
    gset_fill_print_gray(colors[j], kLightest - (kLightest - kDarkest) * t);
  }
}

}  // namespace

int CONT_set_fill_colors(const char* string, int flag) {
  auto& s = state();
  if (s.color_fill_set) return -1;
  std::string list = string != nullptr ? string : "";
  if (flag == 0) {
    const char* res = RES_get("color_fill");
    if (res != nullptr && *res != '\0' && !ieq(res, "miss") && !ieq_prefix(res, "def")) list = res;
  }
  s.num_cont = 0;
  if (!s.values_given) s.cont_value.fill(kMiss);
  for (auto& l : s.cont_label) l.fill('\0');
  for (auto& a : s.fill_attrib) a = Gattribs{};
  s.color_fill_set = 1;

  std::vector<std::string> items;
  if (!list.empty()) {
    items = split(list, ',');
  } else if (int n = CLR_get_num_fill(); n > 0) {
    for (int i = 0; i < n && i < CONT_MAX_LEVELS; ++i) {
      Gattribs a;
      a.color = i;
      add_step(a, kMiss, "");
    }
    s.color_num = s.num_cont;
    s.fill_attrib[static_cast<std::size_t>(s.num_cont)].color = -2;
    shade_steps_for_print();
    return -1;
  } else {
    items.assign(kDefaultColors.begin(), kDefaultColors.end());
  }

  if (items.size() == 1 && items[0].find('-') == std::string::npos) {
    const std::string name = strip_blanks(items[0]);
    items.clear();
    if (!read_level_file(name, &items)) {
      MESS_print(M_WARN, "CONT_set_fill_colors: Unable to read contour level file: %s\n", name.c_str());
      s.color_num = 0;
      s.fill_attrib[0].color = -2;
      shade_steps_for_print();
      return 0;
    }
  }
  for (const auto& it : items) {
    if (s.num_cont >= CONT_MAX_LEVELS) break;
    CONT_decode_fill_color(it.c_str());
  }
  const auto end = static_cast<std::size_t>(s.num_cont);
  s.fill_attrib[end] = Gattribs{};
  s.fill_attrib[end].color = -2;
  s.cont_value[end] = kMiss;
  interpolate_levels();
  s.color_num = s.num_cont;
  if (explicit_levels() && s.num_cont > 0) {
    s.intrvl = s.num_cont > 1 ? s.cont_value[1] - s.cont_value[0] : kMiss;
    s.grid_min = s.cont_value[0];
    int last = s.num_cont - 1;
    while (last > 0 && missing(s.cont_value[static_cast<std::size_t>(last)])) --last;
    s.grid_max = s.cont_value[static_cast<std::size_t>(last)];
  }
  shade_steps_for_print();
  return 0;
}

int CONT_get_fill_attrib(float value, Gattribs* attrib) {
  auto& s = state();
  if (attrib == nullptr) return -1;
  *attrib = Gattribs{};
  attrib->color = -1;
  if (missing(value) || (!missing(s.min_cut) && value < s.min_cut) || (!missing(s.max_cut) && value > s.max_cut))
    return -1;
  if (s.color_num <= 0) return -1;
  if (missing(s.cbase)) s.cbase = s.base;
  int step = 0;
  if (!explicit_levels()) {
    const float b = missing(s.cbase) ? 0.0f : s.cbase;
    if (missing(s.intrvl) || s.intrvl == 0.0f) return -1;
    const int k = static_cast<int>(std::floor((value - b) / s.intrvl + 0.01f));
    step = positive_mod(k, s.color_num);
  } else {
    if (value < s.cont_value[0]) return -1;
    step = s.num_cont - 1;
    for (int i = 0; i + 1 < s.num_cont; ++i) {
      const float next = s.cont_value[static_cast<std::size_t>(i) + 1];
      if (missing(next)) break;
      if (value < next) {
        step = i;
        break;
      }
    }
  }
  *attrib = s.fill_attrib[static_cast<std::size_t>(step)];
  if (attrib->fill_pat == ZOR_MISSING && s.fill_pat != ZOR_MISSING) attrib->fill_pat = s.fill_pat;
  return step;
}

float CONT_calc_intrvl(float max, float min, int num) {
  if (num == 0) num = 1;
  const float s = (max - min) / static_cast<float>(num);
  if (s == 0.0f) return 1.0f;
  // Rounded up to the decade of the step, so the levels read well on the bar.
  struct Round {
    float low;
    float unit;
  };
  static constexpr std::array<Round, 5> kRounds = {
      {{1.0f, 1.0f}, {0.1f, 0.1f}, {0.01f, 0.01f}, {0.001f, 0.001f}, {0.0001f, 0.0001f}}};
  for (const auto& r : kRounds) {
    if (s >= r.low) {
      // A tiny tolerance keeps an exact multiple from being raised a step.
      return std::ceil(s / r.unit - 1e-4f) * r.unit;
    }
  }
  return s;
}

int CONT_draw_bar(int orient, const char* label) {
  auto& s = state();
  (void)orient;  // only the horizontal bar under the plot is drawn
  Gattribs text_attr;
  default_text_attr("color_text", &text_attr);
  Gattribs line_attr;
  default_text_attr("color_cont", &line_attr);

  const bool bar_range = !missing(s.bar_max);
  float max = bar_range ? s.bar_max : s.grid_max;
  float min = bar_range ? s.bar_min : s.grid_min;
  if (missing(s.intrvl)) {
    const char* v = RES_get("con_interval");
    float x = 0;
    if (v != nullptr && parse_level(v, &x)) s.intrvl = x;
  }
  apply_con_base(&min, &max, bar_range);

  const bool expl = explicit_levels();
  int boxes = 0;
  int con_off = 0;
  if (!expl) {
    if (missing(max)) return -1;
    if (missing(s.intrvl) || s.intrvl <= 0.0f) {
      if (missing(min)) return -1;
      s.intrvl = CONT_calc_intrvl(max, min, s.color_num - 1);
    }
    const float b = missing(s.base) ? 0.0f : s.base;
    if (missing(min)) min = b;
    s.conlo = floor_div(min - b, s.intrvl) * s.intrvl + b;
    s.conhi = std::floor((max - b) / s.intrvl + 1.0f) * s.intrvl + b;
    if (max - b == s.conhi) s.conhi += s.intrvl;
    const float n = std::floor((s.conhi - s.conlo + 0.01f) / s.intrvl);
    boxes = n > 1e6f ? kMaxBarBoxes + 1 : static_cast<int>(n);
    con_off = positive_mod(static_cast<int>(std::floor((s.conlo - b) / s.intrvl + 0.01f)), s.color_num);
  } else {
    s.conlo = s.cont_value[0];
    boxes = s.num_cont;
  }
  if (boxes <= 0 || boxes > kMaxBarBoxes || missing(s.intrvl) || s.intrvl == 0.0f || s.color_num <= 0) return -1;

  Glim vp;
  PLT_get_view(&vp);
  Glim dis;
  GPH_get_view_size(&dis);
  const bool inside = PLT_get_full_lab() != 0;
  float h = inside ? 0.035f : std::min(vp.y_min - dis.y_min, 0.035f);
  if (h < 0.01f) return -1;
  const float w = vp.x_max - vp.x_min;
  const float left = vp.x_min + 0.03f * w;
  const float right = (vp.x_min + vp.x_max) / 2.0f;
  const float top = inside ? vp.y_min + h : vp.y_min - 0.15f * h;
  const float bottom = inside ? vp.y_min + 0.15f * h : vp.y_min - h;
  // Boxes take the upper part of the bar (0.4 of its height) and the level
  // labels (0.35 high) the lower part, with a gap so the box edges never
  // cut the tops of the digits.
  const float box_bottom = top - 0.4f * h;
  const float inc = (right - left) / static_cast<float>(boxes);
  s.bar_lim = Glim{left, right, bottom, top};
  s.bar_inc = inc;
  s.bar_boxes = boxes;
  s.bar_drawn = true;
  s.num_cont = expl ? s.num_cont : boxes;

  GPH_trans(1);
  const bool lines = s.cont_type == 12;
  for (int i = 0; i < boxes; ++i) {
    Gattribs a = s.fill_attrib[static_cast<std::size_t>(positive_mod(con_off + i, s.color_num))];
    const float x0 = left + static_cast<float>(i) * inc;
    if (lines) {
      GPH_line_attr(&a);
      GPH_line(x0, (top + box_bottom) / 2, x0 + inc, (top + box_bottom) / 2);
      continue;
    }
    if (a.color < 0) continue;
    if (s.fill_pat != ZOR_MISSING) a.fill_pat = s.fill_pat;
    GPH_fill_attr(&a);
    GPH_frect(x0, box_bottom, x0 + inc, top);
  }
  GPH_line_attr(&line_attr);
  GPH_rect(left, box_bottom, right, top);
  for (int i = 1; i < boxes; ++i) {
    const float x = left + static_cast<float>(i) * inc;
    GPH_line(x, box_bottom, x, top);
  }

  text_attr.height = 0.35f * h;
  GPH_text_attr(&text_attr, 1.0f);
  gset_char_ht(0.35f * h);
  GPH_text_align(GCENTER_HOR, GBASE_VERT);
  const int every = boxes / 15 + 1;
  for (int i = 0; i <= boxes; ++i) {
    if (i % every != 0 && i != boxes) continue;
    char text[32] = {};
    const char* own = expl && i < s.num_cont ? s.cont_label[static_cast<std::size_t>(i)].data() : "";
    if (*own != '\0') {
      std::snprintf(text, sizeof text, "%s", own);
    } else {
      float v = kMiss;
      if (!expl) v = s.conlo + static_cast<float>(i) * s.intrvl;
      else if (i < s.num_cont) v = s.cont_value[static_cast<std::size_t>(i)];
      else v = top_level();
      set_num(text, "2.2.0", v);
    }
    const Gpt p{left + static_cast<float>(i) * inc, bottom + 0.05f * h};
    GPH_pprint(&p, text);
  }
  if (label != nullptr && *label != '\0') {
    GPH_text_align(GRIGHT_HOR, GCAP_VERT);
    const Gpt p{vp.x_max, vp.y_min - 0.01f};
    GPH_pprint(&p, label);
  }
  return 0;
}

float CONT_get_bar_value(float x, float y) {
  const auto& s = state();
  if (!s.bar_drawn || s.bar_inc <= 0.0f) return kMiss;
  if (x < s.bar_lim.x_min || x >= s.bar_lim.x_max || y < s.bar_lim.y_min || y > s.bar_lim.y_max) return kMiss;
  const int i = static_cast<int>(std::floor((x - s.bar_lim.x_min) / s.bar_inc));
  if (i < 0 || i >= s.bar_boxes) return kMiss;
  if (!explicit_levels()) return s.conlo + static_cast<float>(i) * s.intrvl;
  return s.cont_value[static_cast<std::size_t>(i)];
}

int CONT_flash_value(char* event, float x, float y) {
  if (event == nullptr || std::strncmp(event, "f-Al", 4) != 0) return 0;
  // Events carry projection coordinates; the bar lives in normalised ones.
  const float value = CONT_get_bar_value(xW_NDC(x), yW_NDC(y));
  if (missing(value)) return -1;
  Gattribs a;
  if (CONT_get_fill_attrib(value, &a) < 0 || a.color < 0) return -1;
  float r = 0, g = 0, b = 0;
  if (gget_color_rgb(a.color, &r, &g, &b) < 0) return -1;
  for (int i = 0; i < 4; ++i) {
    GPH_set_color(a.color, 0.0f, 0.0f, 0.0f);
    gupdate_window();
    ZOR_sleep(0.5f);
    GPH_set_color(a.color, r, g, b);
    gupdate_window();
    ZOR_sleep(0.5f);
  }
  return 0;
}

int CONT_param_decode() {
  auto& s = state();
  ResValues rv("plot_param");
  const int n = rv.n;
  char** vals = rv.v;
  for (int i = 0; i < n; ++i) {
    const std::string_view v = vals[i] != nullptr ? vals[i] : "";
    auto arg = [&](std::size_t at) { return at < v.size() ? std::string(v.substr(at)) : std::string(); };
    if (ieq_prefix(v, "fill")) {
      if (v.size() > 5) CONT_set_fill_pat(ATTR_parse_fill_pat(arg(5).c_str()));
    } else if (ieq_prefix(v, "lab")) {
      int a[4] = {0, 0, 0, 0};
      const std::string t = arg(4);
      int got = std::sscanf(t.c_str(), "%d:%d:%d:%d", &a[0], &a[1], &a[2], &a[3]);
      if (got < 2) {
        const int dots = std::sscanf(t.c_str(), "%d.%d.%d.%d", &a[0], &a[1], &a[2], &a[3]);
        got = std::max(got, dots);
      }
      if (got == 1) {
        s.lab_skip = a[0] / 10;
        s.lab_radius = a[0] % 10;
      } else if (got >= 2) {
        s.lab_skip = a[0];
        s.lab_radius = a[1];
      }
      if (got >= 3) s.lab_xspace = s.lab_yspace = a[2];
      if (got >= 4) s.lab_yspace = a[3];
    } else if (ieq(v, "rlab")) {
      s.lab_rotate = 1;
    } else if (ieq(v, "hlab")) {
      s.lab_rotate = 0;
    } else if (ieq_prefix(v, "maxl")) {
      float x = 0;
      if (parse_level(arg(5), &x)) s.max_line = x;
    } else if (ieq_prefix(v, "conmin")) {
      float x = 0;
      if (parse_level(arg(7), &x)) s.min_cut = x;
    } else if (ieq_prefix(v, "conmax")) {
      float x = 0;
      if (parse_level(arg(7), &x)) s.max_cut = x;
    } else if (ieq(v, "grid")) {
      s.draw_grid = 1;
    } else if (ieq(v, "mapcon")) {
      s.map_over = 1;
    } else if (ieq(v, "conmap")) {
      s.map_over = 0;
    }
  }
  return 0;
}
