// Domain records and the domain-string syntax: projection words, templates of
// field kinds tried in a fixed order, printing, comparison and the station
// plotting priority that follows from the domain size.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "dom_internal.h"
#include "zor/cty.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace zor::dom {

namespace {

constexpr float kMiss = ZOR_MISSING_F;
constexpr int kDefNx = 25;
constexpr int kDefNy = 17;
constexpr float kDefSpacing = 1.2f;
// Region strings may refer to other regions; this bounds a cycle in a region file.
constexpr int kMaxDecodeDepth = 8;

bool missing(float v) { return v == kMiss; }

// Strict number readers: the whole field must be the number.
bool parse_float(const std::string& text, float& out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  const double v = std::strtod(text.c_str(), &end);
  if (end == text.c_str() || errno == ERANGE || !std::isfinite(v)) return false;
  while (*end == ' ' || *end == '\t') ++end;
  if (*end != '\0') return false;
  out = static_cast<float>(v);
  return true;
}

bool parse_int(const std::string& text, int& out) {
  float v = 0.0f;
  if (!parse_float(text, v) || v < static_cast<float>(INT_MIN) || v > static_cast<float>(INT_MAX))
    return false;
  out = static_cast<int>(v);  // a fractional count is cut, as "%d" would read it
  return true;
}

// Optional number: an empty part leaves the field missing.
bool parse_opt(const std::string& text, float& out) {
  if (text.empty()) return true;
  return parse_float(text, out);
}

struct ProjWord {
  const char* word;
  int code;
  bool whole;  // must be the entire word rather than a prefix
};

// Order matters: the first word that is a prefix of the input wins.
constexpr ProjWord kProjWords[] = {
    {"ll", 2, false},    {"lat", 2, false},    {"polar", 1, false}, {"ps", 1, false},
    {"sat", 9, false},   {"lamb", 4, false},   {"lc", 4, false},    {"la", 8, false},
    {"gn", 6, false},    {"or", 5, false},     {"mo", 7, false},    {"me", 3, false},
    {"pix", 99, false},  {"xy", 20, false},    {"xlogy", 22, false}, {"xlogp", 22, false},
    {"cat", 24, false},  {"skewt", 40, false}, {"ema", 42, false},  {"teph", 43, false},
    {"rteph", 44, false}, {"therm", 40, false}, {"stuve", 41, false}, {"hodo", 23, false},
    {"vert", 22, false}, {"xp", 25, true},     {"zoom", 50, false}, {"size", 51, false},
};

struct ProjName {
  int code;
  const char* name;
};

constexpr ProjName kProjNames[] = {
    {1, "pstereo"}, {2, "latlon"}, {3, "merc"},  {4, "lamb"},   {5, "ortho"},
    {6, "gnom"},    {7, "moll"},   {8, "lambaz"}, {9, "sat"},   {20, "xy"},
    {21, "xz"},     {22, "xlogp"}, {23, "polar"}, {24, "cat"},  {40, "skewt"},
    {41, "stuve"},  {42, "ema"},   {50, "zoom"},  {99, "pixel"},
};

const char* proj_name(int code) {
  for (const auto& p : kProjNames)
    if (p.code == code) return p.name;
  return "";
}

struct BuiltinRegion {
  const char* name;
  float clat;
  float clon;
  float spacing;
};

constexpr BuiltinRegion kBuiltinRegions[] = {
    {"us", 39.0f, -97.0f, 2.3f}, {"ne", 42.0f, -76.0f, 0.9f},   {"at", 37.0f, -82.0f, 0.9f},
    {"se", 31.0f, -88.0f, 1.1f}, {"mw", 43.0f, -93.0f, 1.1f},   {"sp", 32.5f, -100.0f, 1.2f},
    {"nw", 44.0f, -112.0f, 1.0f}, {"sw", 37.0f, -112.0f, 1.0f}, {"var", kMiss, kMiss, 1.2f},
};

// Projection field: word[:e][:plat[:plon[:p0[:p1[:p2[:p3]]]]]], or word:plon.
bool parse_proj_field(const std::string& field, Domain& d) {
  const int code = DOM_proj_str(field.c_str());
  if (code < 0) {
    d.proj = 1;
    return false;
  }
  d.proj = code;
  const auto parts = split(field, ':');
  if (parts.size() == 2) {
    if (iequals(parts[1], "e")) {
      d.ellipse = 1;
      return true;
    }
    return parse_opt(parts[1], d.plon);
  }
  size_t i = 1;
  if (i < parts.size() && iequals(parts[i], "e")) {
    d.ellipse = 1;
    ++i;
  }
  float* slots[] = {&d.plat, &d.plon, &d.param[0], &d.param[1], &d.param[2], &d.param[3]};
  if (parts.size() - i > std::size(slots)) return false;
  for (size_t k = 0; i < parts.size(); ++i, ++k)
    if (!parse_opt(parts[i], *slots[k])) return false;
  return true;
}

// id:STN or id:FILE:STN.
bool parse_station_field(const std::string& field, Domain& d) {
  if (!istarts_with(field, "id:")) return false;
  const std::string rest = field.substr(3);
  std::string file = "sao.cty";
  std::string stn = rest;
  if (const auto colon = rest.rfind(':'); colon != std::string::npos) {
    file = rest.substr(0, colon);
    stn = rest.substr(colon + 1);
  }
  if (stn.empty() || file.empty()) return false;
  float lat = kMiss;
  float lon = kMiss;
  if (CTY_get_loc(file.c_str(), stn.c_str(), &lat, &lon) != 1) return false;
  d.clat = lat;
  d.clon = lon;
  return true;
}

// Decodes a domain string taken from a region file into `d`.
bool decode_region_string(const std::string& domstr, Domain& d) {
  State& s = state();
  if (s.decode_depth >= kMaxDecodeDepth) {
    MESS_print(M_WARN, "DOM_decode: Region definitions nest too deeply: %s\n", domstr.c_str());
    return false;
  }
  ++s.decode_depth;
  const int res = DOM_decode(domstr.c_str(), &d);
  --s.decode_depth;
  return res != -1;
}

// NAME, FILE:NAME, FILE: or fi:FILE.
bool parse_region_field(const std::string& field, Domain& d) {
  if (field.empty()) return false;
  std::string domstr(DOM_MAX_LINE + 1, '\0');
  auto found = [&](const char* file, const char* name) {
    if (DOM_search_file(file, name, domstr.data()) != 1) return false;
    domstr.resize(std::strlen(domstr.c_str()));
    return true;
  };
  if (istarts_with(field, "fi:")) {
    const std::string file = field.substr(3);
    return !file.empty() && found(file.c_str(), nullptr) && decode_region_string(domstr, d);
  }
  if (const auto colon = field.find(':'); colon != std::string::npos) {
    const std::string file = field.substr(0, colon);
    const std::string name = field.substr(colon + 1);
    if (file.empty()) return false;
    if (name.empty()) {
      // Loads another region menu; the domain itself stays missing.
      return DOM_read_menu(file.c_str()) > 0;
    }
    return found(file.c_str(), name.c_str()) && decode_region_string(domstr, d);
  }
  // A file entry that names itself (such as "var") stands for the built-in region.
  if (found("zor.reg", field.c_str()) && !iequals(domstr, field))
    return decode_region_string(domstr, d);
  return DOM_get_def_region(field.c_str(), &d) == 1;
}

bool parse_field(int kind, const std::string& field, Domain& d) {
  switch (kind) {
    case DOM_F_PROJ: return parse_proj_field(field, d);
    case DOM_F_PLON: return parse_float(field, d.plon);
    case DOM_F_STATION: return parse_station_field(field, d);
    case DOM_F_CLAT: return parse_float(field, d.clat);
    case DOM_F_CLON: return parse_float(field, d.clon);
    case DOM_F_NX: return parse_int(field, d.nx);
    case DOM_F_NY: return parse_int(field, d.ny);
    case DOM_F_DX: return parse_float(field, d.dx);
    case DOM_F_DY: return parse_float(field, d.dy);
    case DOM_F_REGION: return parse_region_field(field, d);
    default: return false;
  }
}

// Defaults a template leaves to be filled in after it matched.
enum Fill : unsigned {
  kNone = 0,
  kProj1 = 1u << 0,     // proj = 1
  kGrid = 1u << 1,      // nx = 25, ny = 17
  kDyFromDx = 1u << 2,  // dy = dx
  kSpacing = 1u << 3,   // dx = dy = 1.2
  kTry11 = 1u << 4,     // depends on the projection
};

struct Template {
  std::vector<int> kinds;
  unsigned fill;
  const char* debug;
  int result;
};

const std::vector<Template>& templates() {
  static const std::vector<Template> t = {
      {{1, 3, 5, 6, 7, 8, 9, 10}, kNone, "%2d proj,plon,clat,clon,nx,ny,dx,dy\n", 1},
      {{1, 5, 6, 7, 8, 9, 10}, kNone, "%2d proj,clat,clon,nx,ny,dx,dy\n", 1},
      {{1, 3, 5, 6, 9, 10}, kGrid, "%2d proj,plon,clat,clon,dx,dy\n", 1},
      {{1, 5, 6, 7, 8, 9}, kDyFromDx, "%2d proj,clat,clon,nx,ny,dx\n", 1},
      {{5, 6, 7, 8, 9, 10}, kProj1, "%2d clat,clon,nx,ny,dx,dy\n", 1},
      {{1, 5, 6, 9, 10}, kGrid, "%2d proj,clat,clon,dx,dy\n", 1},
      {{5, 6, 7, 8, 9}, kProj1 | kDyFromDx, "%2d clat,clon,nx,ny,dx\n", 1},
      {{1, 5, 6, 9}, kGrid | kDyFromDx, "%2d proj,clat,clon,dx\n", 1},
      {{5, 6, 7, 8}, kProj1 | kSpacing, "%2d clat,clon,nx,ny\n", 1},
      {{5, 6, 9}, kProj1 | kGrid | kDyFromDx, "%2d clat,clon,dx\n", 1},
      {{1, 5, 6}, kTry11, "%2d proj,clat,clon\n", 1},
      {{5, 6}, kProj1 | kGrid | kSpacing, "%2d clat,clon\n", 1},
      {{4}, kProj1 | kGrid | kSpacing, "%2d id:###\n", 1},
      {{11}, kNone, "%2d reg:REG\n", 2},
  };
  return t;
}

void apply_fill(unsigned fill, Domain& d) {
  if (fill & kProj1) d.proj = 1;
  if (fill & kGrid) {
    d.nx = kDefNx;
    d.ny = kDefNy;
  }
  if (fill & kSpacing) d.dx = d.dy = kDefSpacing;
  if (fill & kDyFromDx) d.dy = d.dx;
  if (fill & kTry11) {
    if (d.proj == DOM_SIZE) {
      d.nx = missing(d.clat) ? ZOR_MISSING : static_cast<int>(d.clat);
      d.ny = missing(d.clon) ? ZOR_MISSING : static_cast<int>(d.clon);
      d.clat = d.clon = kMiss;
      return;
    }
    d.dx = d.dy = (d.proj == DOM_ZOOM) ? 1.0f : kDefSpacing;
    d.nx = kDefNx;
    d.ny = kDefNy;
  }
}

int set_params(const std::vector<char*>& fields, Domain* d, std::vector<int> kinds) {
  return DOM_set_params(static_cast<int>(fields.size()), const_cast<char**>(fields.data()), d,
                        kinds.size() > 0 ? kinds[0] : 0, kinds.size() > 1 ? kinds[1] : 0,
                        kinds.size() > 2 ? kinds[2] : 0, kinds.size() > 3 ? kinds[3] : 0,
                        kinds.size() > 4 ? kinds[4] : 0, kinds.size() > 5 ? kinds[5] : 0,
                        kinds.size() > 6 ? kinds[6] : 0, kinds.size() > 7 ? kinds[7] : 0);
}

int finish_decode(const char* str, const Domain& d, int result) {
  FLAG_set(5, result);
  FILE_set_key('r', str);
  if (d.ny != ZOR_MISSING && !missing(d.dy)) DOM_set_base_prior(static_cast<float>(d.ny - 1) * d.dy);
  return result;
}

}  // namespace

std::string format(const Domain& d) {
  std::string out = proj_name(d.proj);
  if (d.ellipse) out += ":e";
  char buf[64];
  for (float v : {d.plat, d.plon, d.param[0], d.param[1], d.param[2]}) {
    if (missing(v)) {
      out += ":";
    } else {
      std::snprintf(buf, sizeof buf, ":%3.3f", v);
      out += buf;
    }
  }
  char tail[160];
  std::snprintf(tail, sizeof tail, ",%3.3f,%3.3f,%d,%d,%4.4f,%4.4f", d.clat, d.clon, d.nx, d.ny,
                d.dx, d.dy);
  return out + tail;
}

}  // namespace zor::dom

using namespace zor::dom;

int DOM_init(Domain* domain) {
  if (domain != nullptr) *domain = Domain{};
  return 0;
}

int DOM_proj_str(const char* proj) {
  if (proj == nullptr || *proj == '\0') return -1;
  const std::string_view in(proj);
  if (iequals(in, "miss")) return ZOR_MISSING;
  for (const auto& w : kProjWords) {
    if (w.whole ? iequals(in, w.word) : istarts_with(in, w.word)) return w.code;
  }
  return -1;
}

int DOM_set_params(int paramc, char** paramv, Domain* domain, int i1, int i2, int i3, int i4, int i5,
                   int i6, int i7, int i8) {
  if (domain == nullptr || paramc < 0 || (paramc > 0 && paramv == nullptr)) return -1;
  std::vector<int> kinds;
  for (int k : {i1, i2, i3, i4, i5, i6, i7, i8}) {
    if (k == 0) break;
    kinds.push_back(k);
  }
  // A station in the centre-latitude slot stands for the whole centre.
  for (size_t i = 0; i < kinds.size(); ++i) {
    if (kinds[i] == DOM_F_CLAT && static_cast<int>(i) < paramc && paramv[i] != nullptr &&
        istarts_with(paramv[i], "id:")) {
      kinds[i] = DOM_F_STATION;
      if (i + 1 < kinds.size() && kinds[i + 1] == DOM_F_CLON) kinds.erase(kinds.begin() + i + 1);
    }
  }
  if (static_cast<int>(kinds.size()) != paramc) return -1;
  DOM_init(domain);
  if (paramc > 0 && (iequals(paramv[0], "miss") || iequals(paramv[0], "none"))) return 0;
  for (int i = 0; i < paramc; ++i) {
    const std::string field = paramv[i] != nullptr ? paramv[i] : "";
    if (!parse_field(kinds[i], field, *domain)) return kinds[i];
  }
  return 0;
}

int DOM_decode(const char* str, Domain* domain) {
  if (domain == nullptr) return -1;
  DOM_init(domain);
  if (str == nullptr || *str == '\0' || iequals(str, "miss")) {
    FLAG_set(5, ZOR_MISSING);
    return ZOR_MISSING;
  }
  // "var" asks for its centre, and a batch run asks nothing: the default
  // region is used instead.
  if (FLAG_batch() > 0 && iequals(str, "var")) {
    MESS_print(M_WARN, "DOM_decode: region var asks for its centre, which a batch run does not; the default region is used\n");
    FLAG_set(5, ZOR_MISSING);
    return ZOR_MISSING;
  }
  const std::string input(str);  // the region look-ups below may reuse the caller's buffer
  std::string body = input;
  while (!body.empty() && body.back() == ',') body.pop_back();  // "40,-100," has two fields
  auto items = split(body, ',');
  std::vector<char*> fields;
  for (auto& it : items) fields.push_back(it.data());
  MESS_print(M_DEBUG, "******** PARSING DOMAIN: %d %s\n", static_cast<int>(fields.size()), input.c_str());

  if (!fields.empty() && DOM_proj_str(fields[0]) == DOM_SIZE) {
    const int code = set_params(fields, domain, {DOM_F_PROJ, DOM_F_NX, DOM_F_NY});
    if (code == 0) {
      MESS_print(M_DEBUG, "%2d proj,nx,ny\n", code);
      return finish_decode(input.c_str(), *domain, 1);
    }
  }
  for (const auto& t : templates()) {
    const int code = set_params(fields, domain, t.kinds);
    if (code != 0) continue;
    apply_fill(t.fill, *domain);
    MESS_print(M_DEBUG, t.debug, code);
    return finish_decode(input.c_str(), *domain, t.result);
  }
  DOM_init(domain);
  MESS_print(M_WARN, "DOM_decode: Invalid plot domain\n");
  return finish_decode(input.c_str(), *domain, -1);
}

int DOM_get_def_region(const char* region, Domain* domain) {
  if (region == nullptr || domain == nullptr) return 0;
  for (const auto& r : kBuiltinRegions) {
    if (!iequals(region, r.name)) continue;
    DOM_init(domain);
    domain->proj = DOM_PSTEREO;
    domain->nx = kDefNx;
    domain->ny = kDefNy;
    domain->clat = r.clat;
    domain->clon = r.clon;
    if (missing(r.clat)) {
      domain->clat = ZOR_promptf("Enter the central latitude: ");
      domain->clon = ZOR_promptf("Enter the central longitude: ");
    }
    domain->plon = domain->clon;
    domain->dx = domain->dy = r.spacing;
    FLAG_set(5, 1);
    DOM_set_base_prior(static_cast<float>(domain->ny - 1) * domain->dy);
    return 1;
  }
  return 0;
}

int DOM_print(M_type mess, const Domain* domain) {
  if (domain == nullptr || !MESS_check(mess)) return 0;
  MESS_print(mess, "%s\n", format(*domain).c_str());
  return 0;
}

float DOM_aspect(const Domain* domain) {
  if (domain == nullptr || domain->nx < 2 || domain->ny < 2) return 1.0f;
  return static_cast<float>(domain->nx - 1) / static_cast<float>(domain->ny - 1);
}

namespace {

// A missing projection latitude or longitude stands for the other domain's centre.
bool same_pole(const Domain& a, const Domain& b) {
  const float alat = missing(a.plat) ? b.clat : a.plat;
  const float blat = missing(b.plat) ? a.clat : b.plat;
  const float alon = missing(a.plon) ? b.clon : a.plon;
  const float blon = missing(b.plon) ? a.clon : b.plon;
  return alat == blat && alon == blon;
}

bool same_projection(const Domain& a, const Domain& b) {
  return a.proj == b.proj && a.ellipse == b.ellipse &&
         std::equal(std::begin(a.param), std::end(a.param), std::begin(b.param)) && same_pole(a, b);
}

}  // namespace

int DOM_comp(const Domain* dom1, const Domain* dom2) {
  if (dom1 == nullptr || dom2 == nullptr) return 0;
  const Domain& a = *dom1;
  const Domain& b = *dom2;
  return same_projection(a, b) && a.clat == b.clat && a.clon == b.clon && a.dx == b.dx &&
         a.dy == b.dy && a.nx == b.nx && a.ny == b.ny;
}

int DOM_comp_proj(const Domain* dom1, const Domain* dom2) {
  if (dom1 == nullptr || dom2 == nullptr) return 0;
  return same_projection(*dom1, *dom2) ? 1 : 0;
}

int DOM_set_base_prior(float size) {
  int prior = 6;
  constexpr struct {
    float above;
    int prior;
  } kSteps[] = {{50.0f, 1}, {25.0f, 2}, {12.5f, 3}, {6.25f, 4}, {3.0f, 5}};
  for (const auto& st : kSteps) {
    if (size > st.above) {
      prior = st.prior;
      break;
    }
  }
  if (const char* adj = RES_get("stat_prior"); adj != nullptr) {
    if ((adj[0] == '+' || adj[0] == '-') && std::isdigit(static_cast<unsigned char>(adj[1]))) {
      prior += (adj[0] == '+' ? 1 : -1) * (adj[1] - '0');
    } else if (std::isdigit(static_cast<unsigned char>(adj[0]))) {
      prior = adj[0] - '0';
    }
  }
  state().priority = prior;
  return prior;
}

int DOM_get_prior() { return state().priority; }

int DOM_set_prior(int val) {
  state().priority = val;
  return val;
}

int DOM_set_loc_prior(int val) {
  state().loc_prior = val;
  return val;
}

int DOM_get_loc_prior() { return state().loc_prior; }
