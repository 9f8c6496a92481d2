// Builds the bundled city databases from public station tables:
//   rad.cty  NEXRAD and TDWR radar sites (NCEI nexrad-stations.txt)
//   sao.cty  surface stations (GEMPAK sfstns.tbl) merged with the upper-air
//            stations (GEMPAK snstns.tbl), which carry the WMO numbers
// Usage: make_cty [-s source_dir] [-o output_dir]
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "zor/cty.h"

namespace {

std::string trim(std::string_view s) {
  std::size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string_view::npos) return {};
  std::size_t e = s.find_last_not_of(" \t\r");
  return std::string(s.substr(b, e - b + 1));
}

std::string col(const std::string& line, std::size_t pos, std::size_t len) {
  return pos >= line.size() ? std::string() : trim(std::string_view(line).substr(pos, len));
}

template <std::size_t N>
void put(char (&dst)[N], const std::string& src) {
  std::snprintf(dst, N, "%s", src.c_str());
}

std::vector<std::string> read_lines(const std::string& path) {
  std::ifstream in(path);
  if (!in) {
    std::fprintf(stderr, "make_cty: Unable to open %s\n", path.c_str());
    std::exit(1);
  }
  std::vector<std::string> lines;
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

bool write_all(const std::string& path, const std::vector<CTY_data>& rows) {
  int fd = CTY_open(path.c_str(), 1, 0);
  if (fd < 0) {
    std::fprintf(stderr, "make_cty: Unable to write %s\n", path.c_str());
    return false;
  }
  for (const CTY_data& c : rows) CTY_write(fd, &c);
  CTY_close(fd);
  std::printf("make_cty: %zu stations written to %s\n", rows.size(), path.c_str());
  return true;
}

// Radar sites from the fixed-column NCEI table; each site also appears under
// its three-letter identifier, the form the site's products and messages use.
std::vector<CTY_data> radar_sites(const std::string& dir) {
  std::vector<CTY_data> out, alias;
  std::set<std::string> ids;
  for (const std::string& l : read_lines(dir + "/nexrad-stations.txt")) {
    if (l.size() < 140 || l[0] < '0' || l[0] > '9') continue;
    const std::string icao = col(l, 9, 4), name = col(l, 20, 30), st = col(l, 72, 2);
    const std::string type = col(l, 140, 50);
    CTY_data c;
    put(c.name, name.substr(0, 20));
    put(c.state, st.empty() ? "--" : st);
    put(c.region, "US");
    put(c.id, icao);
    c.prior = type == "NEXRAD" ? 1 : 2;
    c.lat = std::strtof(col(l, 106, 9).c_str(), nullptr);
    c.lon = std::strtof(col(l, 116, 10).c_str(), nullptr);
    c.el = std::round(std::strtof(col(l, 127, 6).c_str(), nullptr) * 0.3048f);  // feet
    c.wmo = 99999;
    out.push_back(c);
    ids.insert(icao);
  }
  for (CTY_data c : out) {
    std::string three = std::string(c.id).substr(1);
    if (three.size() != 3 || ids.count(three)) continue;
    ids.insert(three);
    put(c.id, three);
    alias.push_back(c);
  }
  out.insert(out.end(), alias.begin(), alias.end());
  return out;
}

// One GEMPAK station line: STID STNM NAME ST CO LAT LON ELEV PRI, positions
// in hundredths of a degree.
struct Gempak {
  std::string id, name, st, co;
  long stnm = -1;
  float lat = 0, lon = 0, el = -9999;
  int pri = 0;
};

bool parse_gempak(const std::string& l, Gempak* g) {
  if (l.size() < 70 || l[0] == '!') return false;
  g->id = col(l, 0, 9);
  const std::string num = col(l, 9, 7);
  g->stnm = num.empty() ? -1 : std::strtol(num.c_str(), nullptr, 10);
  g->name = col(l, 16, 32);
  g->st = col(l, 49, 2);
  g->co = col(l, 52, 2);
  int lat = 0, lon = 0, el = 0, pri = 0;
  if (std::sscanf(l.c_str() + 54, "%d %d %d %d", &lat, &lon, &el, &pri) < 3) return false;
  g->lat = lat / 100.0f;
  g->lon = lon / 100.0f;
  g->el = el == -9999 ? -9999.0f : static_cast<float>(el);
  g->pri = pri;
  return true;
}

CTY_data to_city(const Gempak& g, int wmo) {
  CTY_data c;
  put(c.name, g.name.substr(0, 20));
  put(c.state, g.st.empty() || g.st == "--" ? "--" : g.st);
  put(c.region, g.co.empty() ? "--" : g.co);
  put(c.id, g.id.empty() ? "--" : g.id.substr(0, 9));
  c.lat = g.lat;
  c.lon = g.lon;
  c.el = g.el;
  c.wmo = wmo;
  // Flagged stations first, then North American stations, then the rest.
  c.prior = g.pri != 0 ? 1 : (g.co == "US" || g.co == "CN") ? 3 : 5;
  return c;
}

std::vector<CTY_data> surface_stations(const std::string& dir) {
  std::vector<CTY_data> out;
  std::map<int, std::size_t> by_wmo;
  std::map<std::string, std::size_t> by_id;
  for (const std::string& l : read_lines(dir + "/gempak_sfstns.tbl")) {
    Gempak g;
    if (!parse_gempak(l, &g)) continue;
    int wmo = (g.stnm > 0 && g.stnm != 999999 && g.stnm % 10 == 0) ? static_cast<int>(g.stnm / 10) : 99999;
    if (wmo != 99999 && by_wmo.count(wmo)) wmo = 99999;  // keep WMO numbers unique
    out.push_back(to_city(g, wmo));
    if (wmo != 99999) by_wmo[wmo] = out.size() - 1;
    if (!g.id.empty() && !by_id.count(g.id)) by_id[g.id] = out.size() - 1;
  }
  // Upper-air stations: mark the matching surface station, else add them.
  for (const std::string& l : read_lines(dir + "/gempak_snstns.tbl")) {
    Gempak g;
    if (!parse_gempak(l, &g)) continue;
    const int wmo = (g.stnm > 0 && g.stnm < 100000) ? static_cast<int>(g.stnm) : 99999;
    std::size_t idx = out.size();
    if (wmo != 99999 && by_wmo.count(wmo)) idx = by_wmo[wmo];
    else if (!g.id.empty() && by_id.count(g.id)) idx = by_id[g.id];
    if (idx < out.size() && std::fabs(out[idx].lat - g.lat) < 0.5f && std::fabs(out[idx].lon - g.lon) < 0.5f) {
      CTY_data& c = out[idx];
      c.ua = '*';
      c.prior = 1;
      if (c.wmo == 99999 && wmo != 99999 && !by_wmo.count(wmo)) {
        c.wmo = wmo;
        by_wmo[wmo] = idx;
      }
      continue;
    }
    CTY_data c = to_city(g, wmo != 99999 && by_wmo.count(wmo) ? 99999 : wmo);
    c.ua = '*';
    c.prior = 1;
    out.push_back(c);
    if (c.wmo != 99999) by_wmo[c.wmo] = out.size() - 1;
  }
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  std::string src = ZOR_MAKE_CTY_SOURCE_DIR, dst = ".";
  for (int i = 1; i < argc; ++i) {
    std::string_view a = argv[i];
    if (a == "-s" && i + 1 < argc) src = argv[++i];
    else if (a == "-o" && i + 1 < argc) dst = argv[++i];
    else {
      std::fprintf(stderr, "Usage: %s [-s source_dir] [-o output_dir]\n", argv[0]);
      return 2;
    }
  }
  bool ok = write_all(dst + "/rad.cty", radar_sites(src));
  ok = write_all(dst + "/sao.cty", surface_stations(src)) && ok;
  return ok ? 0 : 1;
}
