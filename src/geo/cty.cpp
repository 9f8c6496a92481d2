// City and site database: the text file of stations, look-ups in it, the
// keyed station table of a plot domain and the nearest-station search.
#include "zor/cty.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zor/data_dir.h"
#include "zor/map.h"
#include "zor/mess.h"
#include "zor/res.h"
#include "cty_file.h"

namespace zor::cty {
namespace {

constexpr int kMaxEstimate = 4000;
constexpr int kBytesPerRecord = 59;

struct State {
  TAB_table table{};
  bool table_made = false;
  int store = 0;      // 1 full records, 2/3 position records with 2/3 keys
  int id_type = 0;
  int user_size = 0;
  CTY_enter_fn enter_fn = nullptr;
  std::vector<std::string> keys;  // key 1 of every stored station, in order

  void clear_table() {
    if (table_made) TAB_clear(&table);
    table = TAB_table{};
    keys.clear();
    table_made = false;
    store = 0;
  }
  void reset() {
    clear_table();
    reset_file();
    id_type = 0;
    user_size = 0;
    enter_fn = nullptr;
  }
};

State& st() {
  static State s;
  return s;
}

bool ieq(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

bool istarts(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && ieq(s.substr(0, prefix.size()), prefix);
}

// Names compare with blanks and underscores alike, as the file writes blanks as "_".
std::string name_key(std::string_view s) {
  std::string r(s);
  for (char& c : r) c = (c == '_') ? ' ' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return r;
}

template <std::size_t N>
void copy_field(char (&dst)[N], std::string_view src) {
  std::size_t n = std::min(src.size(), N - 1);
  std::memcpy(dst, src.data(), n);
  dst[n] = '\0';
}

bool has_id(const CTY_data& c) { return c.id[0] != '\0' && !(c.id[1] == '-'); }

bool is_buoy(const CTY_data& c) { return std::strcmp(c.region, "B_") == 0; }

std::string wmo_text(const CTY_data& c) {
  char buf[16];
  std::snprintf(buf, sizeof buf, is_buoy(c) ? "b%05d" : "%05d", c.wmo);
  return buf;
}

// Sized to its text: a damaged file's huge coordinates must not be cut
// into another cell's key.
std::string cell_key(double a, double o) {
  const int n = std::snprintf(nullptr, 0, "%5.0f%6.0f", a, o);
  std::string key(static_cast<std::size_t>(std::max(n, 0)), '\0');
  std::snprintf(key.data(), key.size() + 1, "%5.0f%6.0f", a, o);
  return key;
}

bool all_digits(std::string_view s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

// The database file: the city_file resource first, then the argument, then
// "sao.cty"; looked for along file_path and then among the bundled data.
std::optional<std::string> locate_file(const char* city_file, std::string* shown) {
  std::string name;
  const char* res = RES_get("city_file");
  if (res != nullptr && *res != '\0') name = res;
  else if (city_file != nullptr && *city_file != '\0') name = city_file;
  else name = "sao.cty";
  *shown = name;
  if (ieq(name, "none")) return std::nullopt;
  return zor::find_runtime_file(name);
}

// ----- identifier specifications -----

bool num_cmp(char op, double a, double b) {
  switch (op) {
    case '=': return std::fabs(a - b) < 1e-3;
    case '<': return a <= b;
    case '>': return a >= b;
    default: return false;
  }
}

std::optional<double> number(std::string_view s) {
  std::string t(s);
  char* end = nullptr;
  double v = std::strtod(t.c_str(), &end);
  if (end == t.c_str()) return std::nullopt;
  return v;
}

bool state_match(const CTY_data& c, std::string_view v) {
  if (v.find('_') != std::string_view::npos) return ieq(v, std::string(c.state) + "_" + c.region);
  return ieq(v, c.state);
}

// Evaluates the condition fields[i] (consuming any value fields it takes).
bool condition(const std::vector<std::string>& f, std::size_t& i, const CTY_data& c) {
  const std::string& w = f[i];
  auto next = [&]() -> std::string_view { return i + 1 < f.size() ? std::string_view(f[++i]) : std::string_view(); };
  if (istarts(w, "Name=")) {
    std::string_view t = std::string_view(w).substr(5);
    while (!t.empty() && (t.front() == '"' || t.front() == '\'' || t.front() == ' ')) t.remove_prefix(1);
    if (t.empty()) return false;
    return istarts(name_key(c.name), name_key(t));
  }
  if (istarts(w, "Elev") && w.size() > 4) {
    auto v = number(std::string_view(w).substr(5));
    return v && c.el != -9999.0f && num_cmp(w[4], c.el, *v);
  }
  if ((istarts(w, "Lat") || istarts(w, "Lon")) && w.size() > 3) {
    auto v = number(std::string_view(w).substr(4));
    double val = istarts(w, "Lat") ? c.lat : c.lon;
    return v && num_cmp(w[3], val, *v);
  }
  if (istarts(w, "WMO") && w.size() > 3) {
    if (w[3] == '=') return ieq(std::string_view(w).substr(4), wmo_text(c));
    auto v = number(std::string_view(w).substr(4));
    return v && (w[3] == '<' || w[3] == '>') && num_cmp(w[3], c.wmo, *v);
  }
  if (istarts(w, "RA<")) {
    auto d = number(std::string_view(w).substr(3));
    auto la = number(next());
    auto lo = number(next());
    if (!d || !la || !lo) return false;
    return calc_earth_dist(static_cast<float>(*la), static_cast<float>(*lo), c.lat, c.lon) <= *d;
  }
  if (istarts(w, "ST")) {
    if (w.size() == 2) return state_match(c, next());
    return w[2] == '=' && state_match(c, std::string_view(w).substr(3));
  }
  if (istarts(w, "CN")) {
    if (w.size() == 2) return ieq(next(), c.region);
    return w[2] == '=' && ieq(std::string_view(w).substr(3), c.region);
  }
  if (istarts(w, "ID=")) return ieq(std::string_view(w).substr(3), c.id);
  if (istarts(w, "P") && w.size() > 1) {
    auto v = number(std::string_view(w).substr(2));
    return v && num_cmp(w[1], c.prior, *v);
  }
  return false;  // an unknown condition selects nothing
}

bool spec_match(std::string_view spec, const CTY_data& c) {
  if (spec.empty()) return false;
  if (spec.size() == 5 && ieq(spec, wmo_text(c))) return true;
  if (has_id(c) && ieq(spec, c.id)) return true;
  if (spec.size() >= 5 && istarts(name_key(c.name), name_key(spec))) return true;
  std::vector<std::string> fields;
  std::size_t start = 0;
  while (true) {
    std::size_t colon = spec.find(':', start);
    fields.emplace_back(spec.substr(start, colon == std::string_view::npos ? std::string_view::npos : colon - start));
    if (colon == std::string_view::npos) break;
    start = colon + 1;
  }
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (!condition(fields, i, c)) return false;
  }
  return true;
}

// ----- station table -----

std::size_t record_size(int store) { return store == 1 ? sizeof(CTY_data) : sizeof(CTY_locate); }

std::string shown_id(const CTY_data& c, int id_type) {
  switch (id_type) {
    case 1:
      return c.wmo != 99999 ? wmo_text(c) : std::string(c.id);
    case 2: {
      if (has_id(c)) return c.id;
      if (is_buoy(c)) return wmo_text(c);
      char buf[16] = {};
      wmo_to_id(buf, c.wmo);
      return buf;
    }
    default:
      return has_id(c) ? std::string(c.id) : wmo_text(c);
  }
}

std::string upper(std::string_view s) {
  std::string r(s);
  for (char& ch : r) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
  return r;
}

char* lookup(const char* id) {
  State& s = st();
  if (!s.table_made || id == nullptr) return nullptr;
  std::string_view v(id);
  if (v.size() == 5 && all_digits(v)) return TAB_search(&s.table, 2, id);
  if (v.size() == 6 && v[0] == 'b') return TAB_search(&s.table, 2, id);
  if (v.size() == 5 && std::isupper(static_cast<unsigned char>(v[0])) && all_digits(v.substr(2))) {
    int wmo = 99999;
    id_to_wmo(id, &wmo);
    char buf[16];
    std::snprintf(buf, sizeof buf, "%5.5d", wmo);
    if (char* r = TAB_search(&s.table, 2, buf)) return r;
  }
  if (char* r = TAB_search(&s.table, 1, id)) return r;
  std::string up = upper(v);
  return TAB_search(&s.table, 1, up.c_str());
}

}  // namespace

void reset() { st().reset(); }

}  // namespace zor::cty

using namespace zor::cty;

int CTY_open_file(const char* city_file, int* num_stats) {
  std::string shown;
  auto path = locate_file(city_file, &shown);
  if (!path) {
    if (!ieq(shown, "none")) MESS_print(M_WARN, "CTY_open_file: Database file not found: %s\n", shown.c_str());
    return -1;
  }
  int fd = CTY_open(path->c_str(), 0, 0);
  if (fd < 0) {
    MESS_print(M_WARN, "CTY_open_file: Database file not found: %s\n", shown.c_str());
    return -1;
  }
  if (num_stats != nullptr) {
    std::error_code ec;
    auto size = std::filesystem::file_size(*path, ec);
    long est = ec ? kMaxEstimate : static_cast<long>(size / kBytesPerRecord);
    *num_stats = static_cast<int>(std::clamp(est, 1L, static_cast<long>(kMaxEstimate)));
  }
  return fd;
}

int CTY_get(const char* city_file, const char* id, CTY_data* data) {
  if (id == nullptr || *id == '\0') return 0;
  int fd = CTY_open_file(city_file, nullptr);
  if (fd < 0) return 0;
  MESS_print(M_MESS, "Searching the city database file for: %s ...\n", id);
  const std::string key = name_key(id);
  CTY_data c;
  int found = 0;
  while (CTY_read(fd, &c) >= 0) {
    char wmo[16];
    std::snprintf(wmo, sizeof wmo, "%05d", c.wmo);
    if ((has_id(c) && ieq(id, c.id)) || key == name_key(c.name) || (c.wmo != 99999 && ieq(id, wmo))) {
      if (data != nullptr) *data = c;
      found = 1;
      break;
    }
  }
  CTY_close(fd);
  return found;
}

int CTY_get_loc(const char* city_file, const char* id, float* lat, float* lon) {
  CTY_data c;
  if (!CTY_get(city_file, id, &c)) return 0;
  if (lat != nullptr) *lat = c.lat;
  if (lon != nullptr) *lon = c.lon;
  return 1;
}

int CTY_store(const char* city_file, int type, const Domain* domain, int prior) {
  if (type < 1 || type > 3) return 0;
  State& s = st();
  int num = 0;
  int fd = CTY_open_file(city_file, &num);
  if (fd < 0) return 0;
  MAP_domain(domain);
  MESS_print(M_MESS, "Reading the city database file...\n");

  int idc = 0;
  char** idv = nullptr;
  idc = RES_getvals("identifier", &idc, &idv);
  if (idc == 1 && ieq(idv[0], "all")) {
    free_parsed_array(idc, idv);
    idc = 0;
    idv = nullptr;
  }
  if (prior == -9999) prior = CTY_get_prior();

  s.clear_table();
  const std::size_t rec = record_size(type);
  const std::size_t dsize = rec + static_cast<std::size_t>(s.user_size);
  TAB_init(&s.table);
  if (TAB_create(&s.table, num, static_cast<int>(dsize), type == 3 ? 3 : 2) != 0) {
    if (idv) free_parsed_array(idc, idv);
    CTY_close(fd);
    return 0;
  }
  s.table_made = true;
  s.store = type;

  std::vector<char> block(dsize);
  CTY_data c;
  while (CTY_read(fd, &c) >= 0) {
    if (c.prior > prior) continue;
    if (CTY_data_cmp(idc, idv, &c) == -1) continue;
    float x = -9999.0f, y = -9999.0f;
    if (!MAP_tran(c.lat, c.lon, &x, &y) || !MAP_in_grid_domain(x, y)) continue;
    const std::string key1 = shown_id(c, s.id_type);
    const std::string key2 = wmo_text(c);
    std::fill(block.begin(), block.end(), 0);
    if (type == 1) {
      std::memcpy(block.data(), &c, sizeof c);
    } else {
      CTY_locate loc;
      copy_field(loc.id, key1);
      loc.wmo = c.wmo;
      loc.x = x;
      loc.y = y;
      loc.el = c.el;
      loc.pr = c.prior;
      std::memcpy(block.data(), &loc, sizeof loc);
    }
    if (s.user_size > 0 && s.enter_fn != nullptr) s.enter_fn(block.data() + rec, &c);
    const std::string k1 = upper(key1);
    int r;
    if (type == 3) {
      const std::string key3 = cell_key(c.lat * 10.0, c.lon * 10.0);
      r = TAB_enter(&s.table, block.data(), k1.c_str(), key2.c_str(), key3.c_str());
    } else {
      r = TAB_enter(&s.table, block.data(), k1.c_str(), key2.c_str());
    }
    if (r == 0) s.keys.push_back(k1);
    if (r != 0) {
      MESS_print(M_ERROR, "CTY_store: Out of memory for the station table\n");
      break;
    }
  }
  if (idv) free_parsed_array(idc, idv);
  CTY_rewind(fd);
  return fd;
}

int CTY_search(const char* id, void* data) {
  char* rec = lookup(id);
  if (rec == nullptr) return 0;
  if (data != nullptr) std::memcpy(data, rec, record_size(st().store));
  return 1;
}

char* CTY_get_data(const char* id) {
  if (st().user_size <= 0) return nullptr;
  char* rec = lookup(id);
  return rec == nullptr ? nullptr : rec + record_size(st().store);
}

int CTY_search_loc(float lat, float lon, CTY_locate* data) {
  State& s = st();
  if (!s.table_made || s.store != 3) return 0;
  const double a = lat * 10.0, o = lon * 10.0;
  for (int r = 0; r < 50; ++r) {
    for (int k = (r == 0 ? 0 : 1 - r); k <= r; ++k) {
      const double cells[4][2] = {{a + r, o + k}, {a + k, o + r}, {a - r, o + k}, {a + k, o - r}};
      for (const auto& cell : cells) {
        const std::string key = cell_key(cell[0], cell[1]);
        if (char* rec = TAB_search(&s.table, 3, key.c_str())) {
          if (data != nullptr) std::memcpy(data, rec, sizeof(CTY_locate));
          return 1;
        }
      }
    }
  }
  return 0;
}

int CTY_get_prior() {
  const char* v = RES_get("stat_prior");
  if (v == nullptr || *v == '\0') return 10;
  char* end = nullptr;
  long p = std::strtol(v, &end, 10);
  return end == v ? 10 : static_cast<int>(p);
}

int CTY_set_id_type(int type) {
  if (type < 0 || type > 2) return -1;
  st().id_type = type;
  return 0;
}

int CTY_data_size(int size) {
  if (size < 0) return -1;
  st().user_size = size;
  return 0;
}

int CTY_enter_func(CTY_enter_fn func) {
  st().enter_fn = func;
  return 0;
}

int CTY_data_init(CTY_data* city) {
  if (city == nullptr) return -1;
  *city = CTY_data{};
  return 0;
}

int CTY_clear_data(int val) {
  State& s = st();
  if (!s.table_made || s.user_size <= 0) return 0;
  const std::size_t rec = record_size(s.store);
  int n = 0;
  for (const std::string& k : s.keys) {
    char* data = TAB_search(&s.table, 1, k.c_str());
    if (data == nullptr) continue;
    std::memset(data + rec, val, static_cast<std::size_t>(s.user_size));
    ++n;
  }
  return n;
}

int CTY_clear() {
  st().clear_table();
  return 0;
}

TAB_table* CTY_get_table() { return st().table_made ? &st().table : nullptr; }

int CTY_data_cmp(int numid, char** ids, const CTY_data* data) {
  if (numid <= 0 || ids == nullptr) return 1;
  if (data == nullptr) return -1;
  for (int i = 0; i < numid; ++i) {
    if (ids[i] != nullptr && spec_match(ids[i], *data)) return i;
  }
  return -1;
}

float calc_earth_dist(float lat1, float lon1, float lat2, float lon2) {
  constexpr double d = 0.017453292519943334;
  const double p1 = lat1 * d, p2 = lat2 * d;
  const double dp = p2 - p1, dl = (lon2 - lon1) * d;
  const double h = std::sin(dp / 2) * std::sin(dp / 2) + std::cos(p1) * std::cos(p2) * std::sin(dl / 2) * std::sin(dl / 2);
  return static_cast<float>(2.0 * 6371.22 * std::asin(std::min(1.0, std::sqrt(h))));
}
