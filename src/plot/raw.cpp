// Point value plotting: one point record drawn as a number, text, marker,
// symbol, wind barb, arrow, track or line, from a per-plot base record of
// which every point gets a fresh working copy.
#include "zor/raw.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "zor/attrib.h"
#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/data_dir.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/res.h"
#include "zor/var.h"
#include "zor/wind.h"

namespace zor::raw {

namespace {

constexpr float kMiss = -9999.0f;
constexpr int kFlagPlotType = 11;
constexpr int kPlotData = 7;
constexpr int kPlotAny = 12;

struct State {
  RAW_attribs base;
  RAW_attribs work;
  Gpt prev{kMiss, kMiss};  // remembered line points
  Gpt last{kMiss, kMiss};
  bool post_pending = false;
  std::string symbol_file;  // symbol file loaded last
  void reset() { *this = State{}; }
};

State& state() {
  static State s;
  return s;
}

bool missing(float v) { return v == kMiss; }

bool ieq(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

bool istarts(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && ieq(s.substr(0, prefix.size()), prefix);
}

template <std::size_t N>
void copy_field(char (&dst)[N], std::string_view src, const char* what) {
  if (src.size() >= N) {
    MESS_print(M_WARN, "RAW: %s too long, left out: %.*s\n", what, static_cast<int>(src.size()), src.data());
    return;
  }
  std::memcpy(dst, src.data(), src.size());
  dst[src.size()] = '\0';
}

float to_float(std::string_view s) {
  const std::string t(s);
  return std::strtof(t.c_str(), nullptr);
}

int to_int(std::string_view s) {
  const std::string t(s);
  return std::atoi(t.c_str());
}

std::vector<std::string_view> split(std::string_view s, char delim) {
  std::vector<std::string_view> out;
  while (true) {
    const std::size_t end = s.find(delim);
    std::string_view w = s.substr(0, end);
    while (!w.empty() && (w.front() == ' ' || w.front() == '\t')) w.remove_prefix(1);
    while (!w.empty() && (w.back() == ' ' || w.back() == '\t' || w.back() == '\n' || w.back() == '\r')) w.remove_suffix(1);
    if (!w.empty()) out.push_back(w);
    if (end == std::string_view::npos) break;
    s.remove_prefix(end + 1);
  }
  return out;
}

// Position words: rows u(pper), t(op), c(entre), b(ottom), l(ower); columns
// l(eft), c(entre), r(ight).
struct Position {
  float x, y;
};
std::optional<Position> position_word(std::string_view w, float centre_side) {
  if (w.size() != 2) return std::nullopt;
  float y = 0.0f;
  float side = 0.012f;
  switch (std::tolower(static_cast<unsigned char>(w[0]))) {
    case 'u': y = 0.02f; break;
    case 't': y = 0.012f; break;
    case 'c': y = 0.0f; side = centre_side; break;
    case 'b': y = -0.012f; break;
    case 'l': y = -0.02f; break;
    default: return std::nullopt;
  }
  switch (std::tolower(static_cast<unsigned char>(w[1]))) {
    case 'l': return Position{-side, y};
    case 'c': return Position{0.0f, y};
    case 'r': return Position{side, y};
    default: return std::nullopt;
  }
}

// Marker names of the "mk=" format word and of type 4 points.
struct MarkerName {
  const char* name;
  int code;
};
constexpr std::array<MarkerName, 17> kMarkers{{
    {"dot", 8}, {"pnt", 1}, {".", 1}, {"plus", 2}, {"+", 2}, {"star", 3}, {"*", 3},
    {"crcl", 4}, {"circle", 4}, {"o", 4}, {"x", 5}, {"sqr", 6}, {"square", 6}, {"#", 6},
    {"tri", 7}, {"^", 7}, {"itri", 9},
}};

// Marker number of a name; `symbols` admits the one-character names.
int marker_code(std::string_view name, bool symbols) {
  for (const auto& m : kMarkers) {
    if (!symbols && std::strlen(m.name) == 1 && m.name[0] != 'x') continue;
    if (ieq(name, m.name)) return m.code;
  }
  if (symbols && ieq(name, "v")) return 9;
  return to_int(name);
}

// Sky-cover symbol: a circle filled by the eighths of its code ('0' empty,
// '8' or 'X' full), drawn with the current line and fill attributes.
void draw_cloud(float x, float y, float size, char code) {
  if (size <= 0.0f) return;
  int eighths = 0;
  if (code >= '0' && code <= '8') eighths = code - '0';
  else if (code == 'X' || code == 'x') eighths = 8;
  if (eighths >= 8) {
    GPH_fcircle(x, y, size);
  } else if (eighths > 0) {
    // The covered part as a sector clockwise from north.
    constexpr int kSteps = 24;
    std::vector<Gpt> pts{{x, y}};
    const float sweep = 6.2831853f * static_cast<float>(eighths) / 8.0f;
    for (int i = 0; i <= kSteps; ++i) {
      const float a = sweep * static_cast<float>(i) / kSteps;
      pts.push_back({x + size * std::sin(a), y + size * std::cos(a)});
    }
    pts.push_back({x, y});
    gfill_area(static_cast<int>(pts.size()), pts.data());
  }
  GPH_circle(x, y, size);
}

// Named weather symbol: drawn as its name at the symbol's size.
void draw_symbol(float x, float y, const char* name, float size) {
  if (name == nullptr || *name == '\0' || size <= 0.0f) return;
  gset_char_ht(size);
  GPH_printf(x, y, "%s", name);
}

int draw_line_segment() {
  const auto& s = state();
  if (missing(s.prev.x) || missing(s.prev.y) || missing(s.last.x) || missing(s.last.y)) return 0;
  return GPH_line(s.prev.x, s.prev.y, s.last.x, s.last.y);
}

// A value with its format: "%z..." drops the leading zero.
std::string format_value(const char* fmt, float value) {
  char buf[128];
  if (fmt == nullptr || *fmt == '\0') {
    std::snprintf(buf, sizeof buf, "%1.0f", static_cast<double>(value));
    return buf;
  }
  if (fmt[0] == '%' && fmt[1] == 'z') {
    const std::string f = std::string("%") + (fmt + 2);
    std::snprintf(buf, sizeof buf, f.c_str(), static_cast<double>(value));
    std::string out(buf);
    if (out.rfind("-0", 0) == 0) out.erase(1, 1);
    else if (out.rfind("0", 0) == 0 && out.size() > 1) out.erase(0, 1);
    return out;
  }
  std::snprintf(buf, sizeof buf, fmt, static_cast<double>(value));
  return buf;
}

// Format words that take a key of three characters.
void keyed_word(RAW_attribs* attr, std::string_view key, std::string_view rest, int* result) {
  const std::string r(rest);
  if (ieq(key, "rs=")) {
    Gattribs found;
    if (ATTRIB_get(r.c_str(), "green", &found) == 1) ATTRIB_update(&attr->attrib, &found);
  } else if (ieq(key, "co=")) {
    attr->attrib.color = CLR_get_ind(r.c_str());
  } else if (ieq(key, "fm=")) {
    copy_field(attr->format, rest, "format");
    *result = RAW_VALUE;
  } else if (ieq(key, "hi=")) {
    attr->attrib.height = to_float(rest);
  } else if (ieq(key, "sc=")) {
    const float sc = to_float(rest);
    attr->scale = (sc < 0.01f || sc > 1000.0f) ? 1.0f : sc;
  } else if (ieq(key, "wi=")) {
    attr->attrib.width = to_float(rest);
  } else if (ieq(key, "fo=")) {
    attr->attrib.font = gget_font_index(r.c_str());
  } else if (ieq(key, "te=")) {
    attr->attrib.expan = to_float(rest);
  } else if (ieq(key, "tx=")) {
    copy_field(attr->text, rest, "text");
  } else if (ieq(key, "ta=")) {
    const char h = rest.empty() ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(rest[0])));
    const char v = rest.size() < 2 ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(rest[1])));
    attr->hor = h == 'l' ? 1 : h == 'r' ? 3 : 2;
    attr->vert = v == 't' ? 1 : v == 'c' ? 2 : v == 's' ? 4 : v == 'b' ? 5 : 3;
  } else if (ieq(key, "mk=")) {
    attr->marker = marker_code(rest, false);
  } else if (ieq(key, "sf=") || ieq(key, "wf=")) {
    copy_field(attr->symbol, rest, "symbol file");
  } else if (ieq(key, "mn=")) {
    attr->min = to_float(rest);
  } else if (ieq(key, "mx=")) {
    attr->max = to_float(rest);
  } else if (ieq(key, "sk=")) {
    attr->skip = to_int(rest);
  }
}

// Types whose colour follows the speed (value[1]) rather than value[0].
bool colour_by_speed(int type) {
  switch (type) {
    case 21: case 22: case 23: case 32: case 33: case 34: case 35: return true;
    default: return false;
  }
}

bool plotting_off() { return FLAG_getplot(kPlotData) == 0 || FLAG_get(kFlagPlotType) == 99; }

void draw_by_type(const RAW_data& d, const RAW_attribs& w, int type, float px, float py) {
  const float h = MAP_get_vert();
  const float dir = d.value[0];
  const float spd = d.value[1];
  switch (type) {
    case RAW_DATA:
    case RAW_TEXT:
      if (d.data[0] != '\0') GPH_printf(px, py, "%s", d.data);
      break;
    case RAW_VALUE:
      if (!missing(d.value[0])) {
        GPH_printf(px, py, "%s", format_value(w.format, d.value[0]).c_str());
      } else if (d.data[0] != '\0') {
        GPH_printf(px, py, "%s", d.data);
      }
      break;
    case RAW_INT: {
      std::int32_t iv = 0;
      std::memcpy(&iv, &d.value[0], sizeof iv);
      char buf[64];
      std::snprintf(buf, sizeof buf, w.format[0] ? w.format : "%d", static_cast<int>(iv));
      GPH_printf(px, py, "%s", buf);
      break;
    }
    case RAW_MARK:
      gset_marker_type(marker_code(d.data, true));
      GPH_mark(px, py);
      break;
    case RAW_CLOUD:
      draw_cloud(px, py, h * 0.01f * w.scale, d.data[0]);
      break;
    case RAW_WBARB:
      if (spd == 0.0f) draw_cloud(px, py, h * 0.003f * w.scale, '0');
      else if (dir >= 0.0f) WIND_barb_map(px, py, dir, spd, h * 0.05f * w.scale, 0.0f);
      break;
    case RAW_CBARB:
      if (spd == 0.0f) draw_cloud(px, py, h * 0.013f * w.scale, '0');
      else if (dir >= 0.0f) WIND_barb_map(px, py, dir, spd, h * 0.05f * w.scale, h * 0.01f * w.scale);
      break;
    case RAW_DBARB:
      draw_cloud(px, py, h * 0.003f * w.scale, '0');
      if (spd == 0.0f) draw_cloud(px, py, h * 0.006f * w.scale, '0');
      else if (dir >= 0.0f) WIND_barb_map(px, py, dir, spd, h * 0.05f * w.scale, h * 0.003f * w.scale);
      break;
    case RAW_VBARB:
      if (spd > 0.0f) WIND_vect_map(px, py, dir, spd * 1.852f / 100.0f, w.scale, 1.0f);
      break;
    case RAW_TRACK:
      if (spd > 0.0f) {
        WIND_track(px, py, dir, 2.0f * MAP_factor(MAP_get_clat()) * spd * 1.852f / 100.0f, h * w.scale * 0.1f, 4, 0);
      }
      break;
    case RAW_SYMB:
      draw_symbol(px, py, d.data, h * 0.03f * w.scale);
      break;
    case RAW_LINE: {
      auto& s = state();
      if (ieq(d.data, "pre")) {
        draw_line_segment();
      } else if (ieq(d.data, "post")) {
        s.post_pending = true;
      } else {
        s.prev = {d.x, d.y};
        s.last = {kMiss, kMiss};
        if (!missing(d.value[0]) && !missing(d.value[1])) {
          float x2 = kMiss, y2 = kMiss;
          MAP_tran(d.value[0], d.value[1], &x2, &y2);
          s.last = {x2, y2};
        }
        draw_line_segment();
      }
      break;
    }
    default:
      break;
  }
}

}  // namespace

void reset() { state().reset(); }
const RAW_attribs& base_record() { return state().base; }
const RAW_attribs& working_record() { return state().work; }

}  // namespace zor::raw

using zor::raw::state;

int RAW_init_attrib(RAW_attribs* attr) {
  if (attr == nullptr) return -1;
  *attr = RAW_attribs{};
  ATTRIB_init(&attr->attrib);
  return 0;
}

int RAW_plot_param() {
  auto& b = state().base;
  const char* param = RES_get("plot_param");
  if (param == nullptr) return 0;
  for (std::string_view w : zor::raw::split(param, ',')) {
    using zor::raw::ieq;
    using zor::raw::istarts;
    if (istarts(w, "skip")) {
      b.skip = w.size() > 5 ? zor::raw::to_int(w.substr(5)) : b.skip;
    } else if (istarts(w, "text")) {
      if (w.size() > 5) zor::raw::copy_field(b.text, w.substr(5), "text");
    } else if (istarts(w, "mark")) {
      const std::string_view name = w.size() > 5 ? w.substr(5) : std::string_view{};
      if (ieq(name, "cld")) b.marker = RAW_MARK_CIRCLE;
      else if (!name.empty()) b.marker = ATTR_parse_marker(std::string(name).c_str());
    } else if (ieq(w, "line")) {
      b.line = 1;
    } else if (istarts(w, "yba")) {
      b.bar = w.size() > 4 ? zor::raw::to_int(w.substr(4)) : 0;
    } else if (istarts(w, "xy=")) {
      float x = 0.0f, y = 0.0f;
      if (std::sscanf(std::string(w.substr(3)).c_str(), "%f:%f", &x, &y) == 2) {
        b.x = x * 0.012f;
        b.y = y * 0.02f;
      }
    } else if (auto p = zor::raw::position_word(w, 0.015f)) {
      b.x = p->x;
      b.y = p->y;
    }
  }
  return 0;
}

int RAW_parse_format(RAW_attribs* attr, const char* fmt) {
  if (attr == nullptr || fmt == nullptr) return 0;
  int result = 0;
  for (std::string_view w : zor::raw::split(fmt, ':')) {
    const std::string word(w);
    if (w.front() == '%') {
      zor::raw::copy_field(attr->format, w, "format");
      result = RAW_VALUE;
    } else if (const int t = VAR_dec_type(word.c_str()); t != 0) {
      result = t;
    } else if (auto p = zor::raw::position_word(w, 0.012f)) {
      attr->x = p->x;
      attr->y = p->y;
      attr->vert = 3;
      const char col = static_cast<char>(std::tolower(static_cast<unsigned char>(w[1])));
      attr->hor = col == 'l' ? 3 : col == 'c' ? 2 : 1;
    } else if (zor::raw::istarts(w, "xy=")) {
      float x = 0.0f, y = 0.0f;
      if (std::sscanf(word.c_str() + 3, "%f%f", &x, &y) == 2) {
        attr->x = x * 0.012f;
        attr->y = y * 0.02f;
        attr->vert = 3;
        attr->hor = attr->x < 0.0f ? 3 : attr->x == 0.0f ? 2 : 1;
      }
    } else if (w.size() >= 3 && w[2] == '=') {
      zor::raw::keyed_word(attr, w.substr(0, 3), w.substr(3), &result);
    }
  }
  return result;
}

int RAW_set_attribs(RAW_attribs* attr) {
  if (attr == nullptr) return -1;
  if (attr->attrib.color == ZOR_MISSING) {
    // The data attributes, with what the record sets kept.
    Gattribs data;
    ATTRIB_get("color_data", "green", &data);
    ATTRIB_update(&data, &attr->attrib);
    attr->attrib = data;
  }
  GPH_text_attr(&attr->attrib, MAP_get_vert() * attr->scale * 0.018f);
  GPH_text_align(attr->hor, attr->vert);
  GPH_line_attr(&attr->attrib);
  Gattribs mark = attr->attrib;
  mark.style = ZOR_MISSING;  // the marker type comes with each point
  mark.height = ZOR_MISSING_F;
  GPH_mark_attr(&mark, attr->scale);
  GPH_fill_attr(&attr->attrib);
  if (attr->symbol[0] != '\0') state().symbol_file = attr->symbol;
  return 0;
}

int RAW_plot_init(const Gattribs* attrib, float sc) {
  if (FLAG_getplot(zor::raw::kPlotAny) == 0 || FLAG_get(zor::raw::kFlagPlotType) == 99) return -1;
  auto& s = state();
  RAW_init_attrib(&s.base);
  s.prev = s.last = {zor::raw::kMiss, zor::raw::kMiss};
  s.post_pending = false;
  s.base.scale = sc;
  if (attrib != nullptr) s.base.attrib = *attrib;
  RAW_plot_param();

  greset_text();
  greset_line();
  greset_marker();
  greset_fill();
  gset_char_ht(1.0f);
  gset_linewidth(1.0f);
  gset_marker_size(1.0f);
  GPH_trans(2);
  CONT_init();
  CONT_set_fill_colors(nullptr, 0);
  if (CONT_get_type() == ZOR_MISSING) CONT_set_type(15);

  if (const char* fmt = RES_get("plot_format"); fmt != nullptr && *fmt != '\0') {
    if (const int t = RAW_parse_format(&s.base, fmt); t != 0) s.base.type = t;
  }
  if (const char* cb = RES_get("con_base"); cb != nullptr && *cb != '\0') {
    for (std::string_view item : zor::raw::split(cb, ',')) {
      if (item.front() == '>') {
        s.base.min = zor::raw::to_float(item.substr(1));
        s.base.base = s.base.min;
      } else if (item.front() == '<') {
        s.base.max = zor::raw::to_float(item.substr(1));
      } else {
        s.base.base = zor::raw::to_float(item);
      }
    }
    CONT_set_base(s.base.base);
    CONT_set_cutoff(s.base.max, s.base.min);
  }
  if (const char* ci = RES_get("con_interval"); ci != nullptr && *ci != '\0') {
    s.base.intrvl = std::strtof(ci, nullptr);
    CONT_set_intrvl(s.base.intrvl);
  }
  RAW_set_attribs(&s.base);
  s.base.hor = s.base.x < 0.0f ? 3 : s.base.x > 0.0f ? 1 : 2;
  GPH_text_align(s.base.hor, s.base.vert);
  s.work = s.base;
  return 0;
}

int RAW_plot_data(RAW_data* data) {
  if (data == nullptr || zor::raw::plotting_off()) return -1;
  using zor::raw::missing;
  auto& s = state();
  s.work = s.base;
  RAW_attribs& w = s.work;

  if (data->x != s.last.x || data->y != s.last.y) {
    s.prev = s.last;
    s.last = {data->x, data->y};
  }
  if (s.post_pending) {
    zor::raw::draw_line_segment();
    s.post_pending = false;
  }
  ATTRIB_update(&w.attrib, &data->attr);

  int type = data->type;
  if (CONT_get_values(nullptr) != 0 || !missing(w.intrvl)) {
    const float v = zor::raw::colour_by_speed(type) ? data->value[1] : data->value[0];
    Gattribs fill;
    CONT_get_fill_attrib(v, &fill);
    ATTRIB_update(&w.attrib, &fill);
  }
  const float value = data->value[0];
  if (!missing(w.min) && !missing(value) && value < w.min) return -1;
  if (!missing(w.max) && !missing(value) && value > w.max) return -1;

  if (const int t = RAW_parse_format(&w, data->format); t != 0) type = t;
  RAW_set_attribs(&w);

  const float h = MAP_get_vert();
  const float px = data->x + h * w.x * w.scale;
  const float py = data->y + h * w.y * w.scale;
  MESS_print(M_DEBUG, "PLOT: %8.3f %8.3f %-5s %-10s %-10s %8.3f\n", static_cast<double>(px), static_cast<double>(py),
             VAR_print_type(type), data->format, data->data, static_cast<double>(value));

  if (w.text[0] != '\0') {
    GPH_printf(px, py, "%s", w.text);
    return 0;
  }
  if (w.marker != 0) {
    if (data->data[0] != '\0' || !missing(value)) {
      if (w.marker == RAW_MARK_CIRCLE) {
        zor::raw::draw_cloud(px, py, h * w.scale * 0.01f, '0');
      } else {
        gset_marker_type(w.marker);
        GPH_mark(px, py);
      }
    }
    return 0;
  }
  if (w.line != 0) {
    zor::raw::draw_line_segment();
    return 0;
  }
  if (w.bar != ZOR_MISSING) {
    GPH_line(px, py, px, static_cast<float>(w.bar));
    return 0;
  }
  zor::raw::draw_by_type(*data, w, type, px, py);
  return 0;
}

int RAW_data_init(RAW_data* data) {
  if (data == nullptr) return -1;
  data->x = data->y = zor::raw::kMiss;
  data->value[0] = data->value[1] = zor::raw::kMiss;
  data->data[0] = '\0';
  data->format[0] = '\0';
  ATTRIB_init(&data->attr);
  return 0;
}

int RAW_data_init_val(RAW_data* data) {
  if (data == nullptr) return -1;
  data->value[0] = data->value[1] = zor::raw::kMiss;
  data->data[0] = '\0';
  return 0;
}

int RAW_set_scale(float scale) {
  state().base.scale = scale;
  state().work.scale = scale;
  return 0;
}

float RAW_get_scale() { return state().work.scale; }

int RAW_set_off(float xoff, float yoff) {
  auto& s = state();
  s.base.x = s.work.x = xoff;
  s.base.y = s.work.y = yoff;
  return 0;
}

int RAW_set_format(const char* format) {
  auto& s = state();
  const std::string_view f = format ? format : "";
  zor::raw::copy_field(s.base.format, f, "format");
  zor::raw::copy_field(s.work.format, f, "format");
  return 0;
}

const char* RAW_get_format() { return state().work.format; }

int RAW_plot_file(const char* filename) {
  if (filename == nullptr) return -1;
  const auto path = zor::find_runtime_file(filename);
  std::ifstream in;
  if (path) in.open(*path);
  if (!in.is_open()) {
    MESS_print(M_WARN, "RAW_plot_file: file not found: %s\n", filename);
    return -1;
  }
  int drawn = 0;
  std::string line;
  int line_no = 0;
  while (std::getline(in, line)) {
    ++line_no;
    const auto first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos || line[first] == '#') continue;
    std::istringstream words(line);
    float lat = 0.0f, lon = 0.0f, v1 = 0.0f, v2 = 0.0f;
    std::string type, text, format;
    if (!(words >> lat >> lon >> type >> v1 >> v2)) {
      MESS_print(M_WARN, "RAW_plot_file: %s line %d: lat lon type value value expected\n", filename, line_no);
      continue;
    }
    words >> text >> format;
    RAW_data d;
    RAW_data_init(&d);
    d.type = VAR_dec_type(type.c_str());
    if (d.type == 0) d.type = std::atoi(type.c_str());
    d.value[0] = v1;
    d.value[1] = v2;
    if (text != "-") zor::raw::copy_field(d.data, text, "text");
    if (format != "-") zor::raw::copy_field(d.format, format, "format");
    if (MAP_tran(lat, lon, &d.x, &d.y) < 0 || d.x == zor::raw::kMiss) continue;
    if (RAW_plot_data(&d) == 0) ++drawn;
  }
  return drawn;
}
