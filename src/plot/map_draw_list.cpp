// Map lists: which map items a plot draws, chosen by the list in use, the
// region boxes and scale conditions of its items, and whether the call draws
// underlay ("-") or overlay ("+") items.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "map_draw_internal.h"
#include "zor/attrib.h"
#include "zor/file.h"
#include "zor/file_io.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/img.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/plt.h"
#include "zor/raw.h"
#include "zor/res.h"

namespace zor::map_draw {
namespace {

constexpr int kMapComponent = 8;

bool istarts(std::string_view s, std::string_view prefix) {
  if (s.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(s[i])) != std::tolower(static_cast<unsigned char>(prefix[i])))
      return false;
  }
  return true;
}

// Text height of map labels as a fraction of the plot height.
float label_height() { return (earth_projection() ? 0.018f : 0.015f) * MAP_get_vert(); }

// Line and text attributes of latitude/longitude lines: the given string, or
// the color_line resource over the projection's default. False when the
// colour switches them off.
bool lalo_attributes(const char* given) {
  Gattribs attr;
  if (given != nullptr && *given != '\0') ATTRIB_parse(given, &attr);
  else ATTRIB_get("color_line", earth_projection() ? "magenta:s4" : "red", &attr);
  if (attr.color == -1) return false;
  GPH_line_attr(&attr);
  GPH_text_attr(&attr, label_height());
  return true;
}

// Reads a float at s; advances s past it. False when none is there.
bool read_float(const char*& s, float& value) {
  char* end = nullptr;
  const float v = std::strtof(s, &end);
  if (end == s) return false;
  value = v;
  s = end;
  return true;
}

// ---- region boxes ----------------------------------------------------------

int region_box(const char* item) {
  auto& st = state();
  if (st.reg_found == 2 || st.reg_found == -1) {
    // Only the first matching box of a list counts.
    st.reg_found = -1;
    return -1;
  }
  float v[5] = {0.0f, 0.0f, 0.0f, 0.0f, 1000.0f};
  int n = 0;
  const char* p = item + 1;
  while (n < 5 && read_float(p, v[n])) {
    ++n;
    while (*p == ' ' || *p == ',') ++p;
  }
  bool match = true;
  if (n >= 4) {
    const float clat = MAP_get_clat();
    const float clon = MAP_get_clon();
    const float height = MAP_get_vert();
    match = clat >= std::min(v[0], v[1]) && clat <= std::max(v[0], v[1]) &&
            clon >= std::min(v[2], v[3]) && clon <= std::max(v[2], v[3]) && height <= v[4];
  }
  if (match) st.reg_found = 2;
  else if (st.reg_found == 1) st.reg_found = 0;
  return -1;
}

// ---- scale conditions --------------------------------------------------------

enum class Cond { kAtLeastS, kGreater, kAtMostS, kLess };

// The order in which conditions are recognised at the front of an item.
constexpr Cond kCondOrder[] = {Cond::kAtLeastS, Cond::kGreater, Cond::kAtMostS,
                               Cond::kLess,     Cond::kAtLeastS, Cond::kGreater};

// Tests the condition `c` when the item starts with it: moves p past its
// ":" and sets `pass`. False when the item does not start with it.
bool scale_condition(Cond c, const char*& p, float height, bool& pass) {
  const char* s = p;
  bool at_least = false;
  switch (c) {
    case Cond::kAtLeastS:
      if (!istarts(s, "s+")) return false;
      s += 2;
      at_least = true;
      break;
    case Cond::kAtMostS:
      if (!istarts(s, "s-")) return false;
      s += 2;
      break;
    case Cond::kGreater:
      if (*s != '>') return false;
      ++s;
      at_least = true;
      break;
    case Cond::kLess:
      if (*s != '<') return false;
      ++s;
      break;
  }
  float n = 0.0f;
  if (!read_float(s, n)) return false;
  pass = at_least ? height >= n : height <= n;
  // ">N<M" and "<N>M" bound the other side as well.
  const char other = at_least ? '<' : '>';
  if ((c == Cond::kGreater || c == Cond::kLess) && *s == other) {
    const char* t = s + 1;
    float m = 0.0f;
    if (read_float(t, m)) {
      pass = pass && (at_least ? height <= m : height >= m);
      s = t;
    }
  }
  if (*s != ':') return false;
  p = s + 1;
  return true;
}

// ---- items -----------------------------------------------------------------

int image_item(const char* rest, bool full_window) {
  // FILE[:NAME:A:B] or FILE[::A:B]
  const char* colon = std::strchr(rest, ':');
  const std::string file = colon ? std::string(rest, colon) : std::string(rest);
  char name[256] = "";
  int a = 0;
  int b = 0;
  bool have_name = false;
  if (colon != nullptr) {
    if (std::sscanf(colon, ":%255[^:]:%d:%d", name, &a, &b) >= 1) have_name = true;
    else std::sscanf(colon, "::%d:%d", &a, &b);
  }
  char path[FILE_NAME_MAX];
  if (FILE_add_path(RES_get("image_path"), file.c_str(), path, sizeof path) == nullptr) return -1;
  PLT_mess("Map-image: %s", path);
  if (full_window) GPH_trans(1);
  goverlay_image_file(path, have_name ? name : nullptr, a, b);
  if (full_window) GPH_trans(2);
  return 0;
}

int metafile_item(const char* file) {
  const auto found = find_file(file);
  const std::string name = found ? *found : std::string(file);
  PLT_mess("Map-metafile: %s", name.c_str());
  gread_metafile(name.c_str());
  GPH_trans(2);
  return 0;
}

int raw_item(const char* file) {
  PLT_mess("Map-rawfile: %s", file);
  RAW_plot_file(file);  // looks along file_path itself
  GPH_trans(2);
  return 0;
}

int lalo_item(const char* rest) {
  // lalo[DLAT[:DLON]][:ATTRIBUTES]
  float dlat = 5.0f;
  const char* p = rest;
  const bool have_lat = read_float(p, dlat);
  float dlon = dlat;
  if (have_lat && *p == ':') {
    const char* q = p + 1;
    if (read_float(q, dlon) && (*q == ':' || *q == '\0')) p = q;
    else dlon = dlat;
  }
  if (!have_lat) p = rest;
  const char* attrs = *p == ':' ? p + 1 : nullptr;
  if (dlat <= 0.0f || dlon <= 0.0f) {
    MESS_print(M_WARN, "MAP_process: Bad latitude/longitude spacing: %s\n", rest);
    return -1;
  }
  if (!lalo_attributes(attrs)) return 0;
  MAP_lines(dlat, dlon);
  return 0;
}

int map_file_item(const char* item) {
  auto& st = state();
  const char* colon = std::strchr(item, ':');
  const std::string file = colon ? std::string(item, colon) : std::string(item);
  Gattribs attr;
  if (colon != nullptr && colon[1] != '\0') ATTRIB_parse(colon + 1, &attr);
  else if (!st.format.empty()) ATTRIB_parse(st.format.c_str(), &attr);
  else if (st.fill_cont) ATTRIB_get("color_cmap", "black", &attr);
  else ATTRIB_get("color_map", "red", &attr);

  PLT_mess("Map: %s", file.c_str());
  GPH_line_attr(&attr);
  st.fill = attr.fill_pat != ZOR_MISSING ? 1 : 0;
  if (st.fill) GPH_fill_attr(&attr);

  const auto found = find_file(file);
  if (!found) {
    MESS_print(M_WARN, "MAP_process: Map file not found: %s\n", file.c_str());
    return -1;
  }
  if (attr.color == -1) return 0;
  if (draw_map_file(*found) == -2) {
    MESS_print(M_WARN, "MAP_process: Map file not found: %s\n", file.c_str());
    return -1;
  }
  st.fill = 0;
  return 0;
}

// The words of a list file, separated by white space.
std::vector<std::string> list_file_words(const std::string& name) {
  std::vector<std::string> words;
  const auto found = find_file(name);
  std::ifstream in;
  if (found) in.open(*found);
  if (!found || !in) {
    MESS_print(M_WARN, "MAP_draw: Unable to open map list file: %s\n", name.c_str());
    return words;
  }
  for (std::string w; in >> w;) words.push_back(w);
  return words;
}

std::string default_list() {
  const float clat = MAP_get_clat();
  const float clon = MAP_get_clon();
  if (clat > 25.0f && clat < 80.0f && clon > -160.0f && clon < -65.0f && MAP_get_vert() < 75.0f)
    return "zor.map";
  return "cont.map,country.map";
}

}  // namespace
}  // namespace zor::map_draw

using namespace zor::map_draw;

int MAP_process(char* str) {
  auto& st = state();
  if (str == nullptr || *str == '\0') return -1;
  const char* item = str;
  int bit = 4;
  if (*item == '-') bit = 1, ++item;
  else if (*item == '+') bit = 2, ++item;
  if (*item == '[') return region_box(item);
  if (st.reg_found < 1 || (st.over & bit) == 0 || *item == '\0') return -1;

  const float height = MAP_get_vert();
  for (Cond c : kCondOrder) {
    bool pass = true;
    if (scale_condition(c, item, height, pass) && !pass) return -1;
  }
  if (istarts(item, "im:")) return image_item(item + 3, false);
  if (istarts(item, "if:")) return image_item(item + 3, true);
  if (istarts(item, "mf:")) return metafile_item(item + 3);
  if (istarts(item, "rf:")) return raw_item(item + 3);
  if (istarts(item, "lalo")) return lalo_item(item + 4);
  return map_file_item(item);
}

int MAP_draw(int flag) {
  auto& st = state();
  if (FLAG_getplot(kMapComponent) == 0) return 0;
  st.over = flag;
  GPH_trans(2);
  GPH_line_attr(nullptr);
  // The kernel numbers fonts from 1; the first is the default font.
  const Gfontprec font{1, GSTROKE_PREC};
  gset_fontprec(&font);

  std::string list;
  if (const char* res = RES_get("map_file"); res != nullptr && *res != '\0') {
    st.map_name = res;
    list = res;
  } else if (!st.map_name.empty()) {
    list = st.map_name;
  } else {
    list = default_list();
  }

  st.reg_found = 1;
  std::size_t start = 0;
  while (start <= list.size()) {
    std::size_t comma = list.find(',', start);
    if (comma == std::string::npos) comma = list.size();
    std::string item = list.substr(start, comma - start);
    start = comma + 1;
    if (istarts(item, "fi:")) {
      for (std::string& w : list_file_words(item.substr(3))) MAP_process(w.data());
    } else {
      MAP_process(item.data());
    }
  }

  if (st.latln > 0.0f && lalo_attributes(nullptr)) MAP_lines(st.latln, st.lonln);
  return 0;
}
