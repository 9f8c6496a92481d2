// Converted radar report files: the kind of a file, its date and summary
// grid, and its station reports, from the text forms and both netCDF forms.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zor/date.h"
#include "zor/dom.h"
#include "zor/file.h"
#include "zor/map.h"
#include "zor/mess.h"
#include "zor/ncf.h"
#include "zor/rad.h"
#include "zor/text.h"

namespace zor::rad {

namespace {

constexpr int kMaxOpen = 8;
// The netCDF summary: the MDR grid of 120 x 90 boxes.
constexpr int kNcNx = 120;
constexpr int kNcNy = 90;
// Row and column numbers beyond this are as good as infinitely far.
constexpr long kFar = 1000000;

bool starts(std::string_view s, std::string_view p) { return s.substr(0, p.size()) == p; }

// One station-table variable of a netCDF file: `per` values per station.
template <typename T>
struct Column {
  std::vector<T> v;
  long per = 0;
  bool ok(long k, long j = 0) const { return per > 0 && j < per && static_cast<std::size_t>((k + 1) * per) <= v.size(); }
  T at(long k, long j, T def) const { return ok(k, j) ? v[static_cast<std::size_t>(k * per + j)] : def; }
};

// Text of row k of a character variable (up to its first null or blank end).
std::string text_at(const Column<char>& c, long k, long j = 0, long len = -1) {
  if (!c.ok(k)) return {};
  if (len < 0) len = c.per;
  const long off = k * c.per + j * len;
  if (off + len > static_cast<long>(c.v.size())) return {};
  std::string s(c.v.data() + off, static_cast<std::size_t>(len));
  s = s.substr(0, s.find('\0'));
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

struct OpenFile {
  std::string name;
  int type = 0;
  FILE* fp = nullptr;
  ncf::File nc;
  long table_pos = -1;  // first line of the station table
  // RCM reports: the header line of the next report, when already read.
  std::string pending;
  bool have_pending = false;
  // MDR text table: report number of the next line, and the last line read.
  int cur = 0;
  int last_num = -1;
  long last_pos = -1;
  // netCDF station table, loaded at the first report read.
  bool loaded = false;
  long nstat = 0;
  int miss_i = ZOR_MISSING;
  float miss_f = ZOR_MISSING_F;
  Column<char> id, region, config, trend, prec, move_type;
  Column<int> type_col, move_dir_i, move_spd_i, tops, tops_dir, tops_rad;
  Column<int> opstat, object, nprecip, precip_type, intensity, trend12, nazran, nmove, nheight;
  Column<float> px, py, lat, lon, coverage, azimuth, range, height, move_dir_f, move_spd_f;
  long prec_len = 0;

  ~OpenFile() {
    if (fp != nullptr) std::fclose(fp);
  }
};

std::array<std::unique_ptr<OpenFile>, kMaxOpen>& files() {
  static std::array<std::unique_ptr<OpenFile>, kMaxOpen> f;
  return f;
}

OpenFile* file_of(int fd) {
  if (fd < 0 || fd >= kMaxOpen) return nullptr;
  return files()[static_cast<std::size_t>(fd)].get();
}

// One line without its end (line feed and trailing carriage returns); false
// at the end of the file.
bool read_line(FILE* fp, std::string& line) {
  line.clear();
  int c = 0;
  bool any = false;
  while ((c = std::fgetc(fp)) != EOF) {
    any = true;
    if (c == '\n') break;
    line.push_back(static_cast<char>(c));
  }
  while (!line.empty() && line.back() == '\r') line.pop_back();
  return any;
}

void put(RAD_info* info, int col, int row, int v, bool* outside) {
  if (col < 0 || col >= RAD_NX || row < 0 || row >= RAD_NY) {
    *outside = true;
    return;
  }
  info->summary[col][row] = static_cast<std::int8_t>(v);
}

int mdr_value(char c) { return c >= '1' && c <= '9' ? c - '0' : 0; }

int rcm_value(char c) {
  if (c >= '1' && c <= '6') return c - '0';
  if (c >= '7' && c <= '<') return c - '6';
  if (c >= '=' && c <= 'B') return c - '<';
  return 0;
}

void set_label_date(RAD_info* info, const std::string& label) {
  std::snprintf(info->datim, sizeof info->datim, "%s", label.c_str());
  DATE_decode_label(info->datim, &info->date);
  if (info->date.min == ZOR_MISSING && info->date.hour != ZOR_MISSING) info->date.min = 35;
}

int text_info(OpenFile& f, RAD_info* info) {
  std::rewind(f.fp);
  f.table_pos = -1;
  f.have_pending = false;
  f.cur = 0;
  f.last_num = -1;
  std::string line;
  if (f.type == RAD_TEXT_HEADER) read_line(f.fp, line);
  if (f.type != RAD_TEXT_NODATE) {
    read_line(f.fp, line);
    set_label_date(info, line);
  }
  enum { kNone, kMdr, kRcm } section = kNone;
  int mdr_grid = 0;  // 0 before the first '+' line, 1 in the grid, 2 after
  int row = 0, col = 0, start = 0;
  bool rcm_row = false;
  bool outside = false;
  bool done = false;
  while (!done) {
    const long pos = std::ftell(f.fp);
    if (!read_line(f.fp, line)) break;
    if (starts(line, "SDXX STATION")) {
      f.table_pos = std::ftell(f.fp);
      break;
    }
    if (starts(line, "SDUS")) {
      section = kMdr;
      info->type = RAD_SUM_MDR;
      mdr_grid = 0;
      continue;
    }
    if (starts(line, "RCM")) {
      section = kRcm;
      info->type = RAD_SUM_RCM;
      rcm_row = false;
      continue;
    }
    if (section == kMdr) {
      if (starts(line, "*")) {
        section = kNone;
      } else if (starts(line, "+")) {
        if (mdr_grid == 0) {
          long r = 0, c = 0;
          if (std::sscanf(line.c_str() + 1, "%ld %ld", &r, &c) == 2) {
            // Far-off numbers stay far off the grid without overflowing.
            row = static_cast<int>(std::clamp(r, -kFar, kFar)) + 1;
            start = static_cast<int>(std::clamp(c, -kFar, kFar));
            mdr_grid = 1;
          } else {
            MESS_print(M_WARN, "RAD_getinfo: %s: grid start line without row and column: %s\n", f.name.c_str(),
                       line.c_str());
          }
        } else {
          mdr_grid = 2;
        }
      } else if (mdr_grid == 1) {
        for (std::size_t i = 0; i < line.size(); ++i)
          put(info, start + static_cast<int>(i), row, mdr_value(line[i]), &outside);
        ++row;
      }
    } else if (section == kRcm) {
      if (starts(line, "*")) {
        // The first report's header line, when it is one, opens the table.
        f.table_pos = starts(line, "**") ? pos : std::ftell(f.fp);
        done = true;
      } else if (starts(line, "+")) {
        row = static_cast<int>(std::clamp(std::strtol(line.c_str() + 1, nullptr, 10), 0L, long{RAD_NY - 1}));
        col = 0;
        rcm_row = true;
      } else if (rcm_row) {
        for (char c : line) {
          info->summary[std::min(col, RAD_NX - 1)][row] = static_cast<std::int8_t>(rcm_value(c));
          ++col;
        }
      }
    }
  }
  if (outside)
    MESS_print(M_WARN, "RAD_getinfo: %s: grid values outside the %d x %d grid left out\n", f.name.c_str(), RAD_NX,
               RAD_NY);
  if (f.table_pos >= 0) std::fseek(f.fp, f.table_pos, SEEK_SET);
  return info->type != 0 ? 0 : -1;
}

// The 120 x 90 summary of a netCDF file into the information record; values
// at or above `miss_from` (when positive) count as missing.
bool nc_summary(OpenFile& f, const char* var, int miss_from, RAD_info* info) {
  const char* name = f.name.c_str();
  const long nx = f.nc.dim("mdr_x"), ny = f.nc.dim("mdr_y");
  if (nx != kNcNx || ny != kNcNy) {
    MESS_print(M_ERROR, "RAD_getinfo: %s: summary dimensions mdr_x, mdr_y are %ld x %ld, not %d x %d\n", name, nx,
               ny, kNcNx, kNcNy);
    return false;
  }
  const auto dims = f.nc.var_dims(var);
  std::vector<signed char> v;
  if (dims.size() != 2 || !f.nc.read(var, v) || v.size() != static_cast<std::size_t>(kNcNx * kNcNy)) {
    MESS_print(M_ERROR, "RAD_getinfo: %s: no summary variable \"%s\" (mdr_x, mdr_y)\n", name, var);
    return false;
  }
  // Either order of the two dimensions.
  const bool rows_outer = dims[0] == "mdr_y";
  for (int r = 0; r < kNcNy; ++r) {
    for (int c = 0; c < kNcNx; ++c) {
      int val = rows_outer ? v[static_cast<std::size_t>(r * kNcNx + c)] : v[static_cast<std::size_t>(c * kNcNy + r)];
      if (miss_from > 0 && val >= miss_from) val = -1;
      info->summary[c][r] = static_cast<std::int8_t>(val);
    }
  }
  info->type = RAD_SUM_MDR;
  return true;
}

int nc_info(OpenFile& f, RAD_info* info) {
  if (f.type == RAD_NC_STATION) {
    set_label_date(info, f.nc.text_att(nullptr, "datetime"));
    return nc_summary(f, "summary", 0, info) ? 0 : -1;
  }
  std::vector<char> t;
  if (f.nc.read("mdr_time", t) && !t.empty()) {
    std::string s(t.begin(), t.begin() + static_cast<long>(std::min<std::size_t>(t.size(), 16)));
    s = s.substr(0, s.find('\0'));
    DATE_decode_seq(s.c_str(), &info->date);
    DATE_make_label(&info->date, info->datim);
  } else {
    MESS_print(M_WARN, "RAD_getinfo: %s: no variable \"mdr_time\"\n", f.name.c_str());
  }
  return nc_summary(f, "mdr", 11, info) ? 0 : -1;
}

}  // namespace

void close_all() {
  for (auto& f : files()) f.reset();
}

}  // namespace zor::rad

using namespace zor::rad;

int RAD_chktype(const char* filename) {
  if (filename == nullptr) return -1;
  FILE* fp = std::fopen(filename, "rb");
  if (fp == nullptr) return -1;
  const int c = std::fgetc(fp);
  std::fclose(fp);
  switch (c) {
    case '*': return RAD_TEXT_NODATE;
    case ' ':
    case '0':
    case '1':
    case '2': return RAD_TEXT;
    case 'W': return RAD_TEXT_HEADER;
    case 'C': {
      const int has = zor::ncf::has_dim(filename, "station");
      return has < 0 ? -1 : (has ? RAD_NC_STATION : RAD_NC_REPORT);
    }
    default: return -1;
  }
}

int RAD_open(const char* filename, int f_access, int* f_type) {
  if (filename == nullptr) return -1;
  if (f_access != 0) {
    MESS_print(M_ERROR, "RAD_open: converted radar files are written by the decoders, not here: %s\n", filename);
    return -1;
  }
  int type = f_type != nullptr && *f_type != 0 ? *f_type : RAD_chktype(filename);
  if (type < 0) return -1;
  auto f = std::make_unique<OpenFile>();
  f->name = filename;
  f->type = type;
  if (type >= RAD_NC_STATION) {
    f->nc = zor::ncf::File(filename);
    if (!f->nc.is_open()) return -1;
  } else {
    f->fp = std::fopen(filename, "rb");
    if (f->fp == nullptr) return -1;
  }
  for (int i = 0; i < kMaxOpen; ++i) {
    auto& slot = files()[static_cast<std::size_t>(i)];
    if (slot) continue;
    slot = std::move(f);
    if (f_type != nullptr) *f_type = type;
    return i;
  }
  MESS_print(M_ERROR, "RAD_open: more than %d converted radar files open\n", kMaxOpen);
  return -1;
}

int RAD_get_type(int cvt_fd) {
  const OpenFile* f = file_of(cvt_fd);
  return f ? f->type : -1;
}

int RAD_getinfo(int cvt_fd, RAD_info* info) {
  OpenFile* f = file_of(cvt_fd);
  if (f == nullptr || info == nullptr) return -1;
  info->datim[0] = '\0';
  info->date = Date{};
  info->type = 0;
  std::memset(info->summary, -1, sizeof info->summary);
  return f->type >= RAD_NC_STATION ? nc_info(*f, info) : text_info(*f, info);
}

int RAD_rewind(int cvt_fd) {
  OpenFile* f = file_of(cvt_fd);
  if (f == nullptr) return -1;
  f->cur = 0;
  f->have_pending = false;
  if (f->fp == nullptr) return 0;
  if (f->table_pos < 0) {
    // The table has not been found yet: read the header once.
    auto scratch = std::make_unique<RAD_info>();
    text_info(*f, scratch.get());
  }
  if (f->table_pos >= 0) std::fseek(f->fp, f->table_pos, SEEK_SET);
  f->cur = 0;
  return 0;
}

int RAD_close(int cvt_fd) {
  if (file_of(cvt_fd) == nullptr) return -1;
  files()[static_cast<std::size_t>(cvt_fd)].reset();
  return 0;
}

// ---- Station reports ---------------------------------------------------------

namespace zor::rad {

namespace {

template <std::size_t N>
void copy(char (&to)[N], std::string_view from) {
  const std::size_t n = std::min(from.size(), N - 1);
  std::memcpy(to, from.data(), n);
  to[n] = '\0';
}

// Intensity of a precipitation group from its symbol.
int intensity_of(std::string_view sym) {
  static constexpr struct {
    std::string_view sym;
    int intens;
  } kIntens[] = {{"", 2}, {"-", 1}, {"+", 3}, {"++", 4}, {"X", 5}, {"XX", 6}, {"U", 9}};
  for (const auto& i : kIntens)
    if (i.sym == sym) return i.intens;
  return 2;
}

// Precipitation letters followed directly by an intensity symbol, from *p
// on; the cursor moves past them. False when there are no letters.
bool parse_prec(const char*& p, MDR_prec* prec) {
  while (*p == ' ' || *p == '\t') ++p;
  std::string letters, sym;
  while (*p != '\0' && std::strchr("*TRWSZLPAI", *p) != nullptr) letters.push_back(*p++);
  while (*p != '\0' && std::strchr("-+XU", *p) != nullptr) sym.push_back(*p++);
  if (letters.empty()) return false;
  std::replace(letters.begin(), letters.end(), '*', ' ');
  copy(prec->type, letters);
  prec->intens = intensity_of(sym);
  return true;
}

// Next blank-separated word from *p on; empty at the end of the line.
std::string word(const char*& p) {
  while (*p == ' ' || *p == '\t') ++p;
  const char* b = p;
  while (*p != '\0' && *p != ' ' && *p != '\t') ++p;
  return std::string(b, p);
}

}  // namespace

// One line of the MDR station table; a line cut short leaves the fields it
// does not reach unset.
bool parse_mdr_line(const std::string& line, int rep_type, MDR_report* r) {
  *r = MDR_report{};
  const char* p = line.c_str();
  const std::string id = word(p);
  if (id.empty()) return false;
  copy(r->id, id);
  if (rep_type == 1) return true;
  copy(r->config, word(p));
  if (parse_prec(p, &r->prec[0])) r->numprec = 1;
  std::string trend = word(p);
  if (trend == "*") trend = " ";
  copy(r->trend, trend);
  const std::string tops = word(p);
  if (!tops.empty() && tops != "*") {
    int h = ZOR_MISSING, d = ZOR_MISSING, rad = ZOR_MISSING;
    if (std::sscanf(tops.c_str(), "%d,%3d%3d", &h, &d, &rad) >= 1) r->tops = MDR_tops{h, d, rad};
  }
  for (auto& m : r->move) {
    while (*p == ' ' || *p == '\t') ++p;
    if (*p == '\0') break;
    m.type = *p++;
    if (m.type == '*') {
      m.type = ' ';
      continue;
    }
    int d = 0, s = 0, n = 0;
    if (std::sscanf(p, "%2d%2d%n", &d, &s, &n) == 2) {
      m.dir = d * 10;
      m.spd = s;
      p += n;
    }
  }
  return true;
}

namespace {

bool table_end(const std::string& line) {
  std::size_t b = line.find_first_not_of(" \t");
  return b == std::string::npos || line[b] == '*' || starts(line, "NNNN") || starts(line, "SDUS") ||
         starts(line, "RCM");
}

int mdr_text(OpenFile& f, MDR_report* report, int rep_type, int statnum) {
  if (f.type == RAD_TEXT_NODATE || f.table_pos < 0 || statnum < 0) return -1;
  if (statnum == f.last_num && f.last_pos >= 0) {
    std::fseek(f.fp, f.last_pos, SEEK_SET);
    f.cur = statnum;
  } else if (statnum < f.cur) {
    std::fseek(f.fp, f.table_pos, SEEK_SET);
    f.cur = 0;
  }
  std::string line;
  while (f.cur < statnum) {
    if (!read_line(f.fp, line) || table_end(line)) return -1;
    ++f.cur;
  }
  const long pos = std::ftell(f.fp);
  if (!read_line(f.fp, line) || table_end(line)) return -1;
  f.last_num = statnum;
  f.last_pos = pos;
  f.cur = statnum + 1;
  return parse_mdr_line(line, rep_type, report) ? 0 : -1;
}

template <typename T>
void load(OpenFile& f, const char* name, Column<T>& c, bool required = false) {
  c = Column<T>{};
  if (!f.nc.has_var(name)) {
    MESS_print(required ? M_ERROR : M_WARN, "MDR_read: %s: no variable \"%s\"\n", f.name.c_str(), name);
    return;
  }
  const long n = f.nc.var_size(name);
  if (n <= 0 || n % f.nstat != 0 || !f.nc.read(name, c.v)) {
    MESS_print(M_WARN, "MDR_read: %s: variable \"%s\" does not have one row per station\n", f.name.c_str(), name);
    c.v.clear();
    return;
  }
  c.per = n / f.nstat;
}

// Latitude and longitude of an MDR grid box (column, row).
void mdr_box_latlon(float col, float row, float* lat, float* lon) {
  Domain save;
  MAP_get_domain(&save);
  Domain g;
  DOM_init(&g);
  g.proj = DOM_PSTEREO;
  g.plat = 90.0f;
  g.plon = -105.0f;
  g.clat = 40.027382f;
  g.clon = -96.106903f;
  g.nx = kNcNx;
  g.ny = kNcNy;
  g.dx = g.dy = 0.47596f;
  MAP_domain(&g);
  float x = 0.0f, y = 0.0f;
  MAP_grid_tran(col, row, &x, &y);
  if (!MAP_untran(x, y, lat, lon)) *lat = *lon = ZOR_MISSING_F;
  if (save.proj == ZOR_MISSING) MAP_domain(nullptr);
  else MAP_domain(&save);
}

// A number of the file as an int: missing where it is not a number or lies
// beyond the int range, as a damaged file can have it.
int whole(double v) {
  if (!std::isfinite(v) || std::fabs(v) >= 2.0e9) return ZOR_MISSING;
  return static_cast<int>(v);
}

bool nc_load(OpenFile& f) {
  if (f.loaded) return f.nstat > 0 && f.id.per > 0;
  f.loaded = true;
  const bool st = f.type == RAD_NC_STATION;
  f.nstat = f.nc.dim(st ? "station" : "report");
  if (f.nstat <= 0) return false;
  f.miss_i = whole(f.nc.num_att(nullptr, "missing_val_i", ZOR_MISSING));
  f.miss_f = static_cast<float>(f.nc.num_att(nullptr, "missing_val_f", ZOR_MISSING_F));
  load(f, "id", f.id, true);
  if (st) {
    load(f, "region", f.region);
    load(f, "mdr_x", f.px);
    load(f, "mdr_y", f.py);
    load(f, "type", f.type_col);
    load(f, "config", f.config);
    load(f, "prec", f.prec);
    load(f, "trend", f.trend);
    load(f, "move_type", f.move_type);
    load(f, "move_dir", f.move_dir_i);
    load(f, "move_spd", f.move_spd_i);
    load(f, "max_tops", f.tops);
    load(f, "max_tops_dir", f.tops_dir);
    load(f, "max_tops_rad", f.tops_rad);
    f.prec_len = f.nc.dim("string_len");
  } else {
    load(f, "lat", f.lat);
    load(f, "lon", f.lon);
    load(f, "opstat", f.opstat);
    load(f, "object", f.object);
    load(f, "coverage", f.coverage);
    load(f, "nprecip", f.nprecip);
    load(f, "precip_type", f.precip_type);
    load(f, "intensity", f.intensity);
    load(f, "trend", f.trend12);
    load(f, "nazran", f.nazran);
    load(f, "azimuth", f.azimuth);
    load(f, "range", f.range);
    load(f, "nmove", f.nmove);
    load(f, "move_dir", f.move_dir_f);
    load(f, "move_speed", f.move_spd_f);
    load(f, "nheight", f.nheight);
    load(f, "height", f.height);
  }
  return f.id.per > 0;
}

int int_at(const OpenFile& f, const Column<int>& c, long k, long j = 0) {
  const int v = c.at(k, j, ZOR_MISSING);
  return v == f.miss_i ? ZOR_MISSING : v;
}
float float_at(const OpenFile& f, const Column<float>& c, long k, long j = 0) {
  const float v = c.at(k, j, ZOR_MISSING_F);
  return v == f.miss_f ? ZOR_MISSING_F : v;
}

void station_report(const OpenFile& f, long k, MDR_report* r) {
  copy(r->region, text_at(f.region, k));
  const float col = float_at(f, f.px, k), row = float_at(f, f.py, k);
  if (col != ZOR_MISSING_F && row != ZOR_MISSING_F) mdr_box_latlon(col, row, &r->x, &r->y);
  r->type = int_at(f, f.type_col, k);
  copy(r->config, text_at(f.config, k));
  const long len = f.prec_len > 0 ? f.prec_len : f.prec.per;
  for (long j = 0; len > 0 && j < 3 && (j + 1) * len <= f.prec.per; ++j) {
    const std::string t = text_at(f.prec, k, j, len);
    const char* p = t.c_str();
    if (parse_prec(p, &r->prec[r->numprec])) ++r->numprec;
  }
  std::string trend = text_at(f.trend, k);
  if (trend == "*") trend = " ";
  copy(r->trend, trend);
  for (long j = 0; j < 3; ++j) {
    MDR_move& m = r->move[j];
    const char t = f.move_type.at(k, j, ' ');
    m.type = t == '\0' || t == '*' ? ' ' : t;
    m.dir = int_at(f, f.move_dir_i, k, j);
    m.spd = int_at(f, f.move_spd_i, k, j);
  }
  r->tops = MDR_tops{int_at(f, f.tops, k), int_at(f, f.tops_dir, k), int_at(f, f.tops_rad, k)};
}

// The converted form of a decoded report.
void decoded_report(const OpenFile& f, long k, MDR_report* r) {
  r->x = float_at(f, f.lat, k);
  r->y = float_at(f, f.lon, k);
  static constexpr const char* kStatus[] = {"", "NE", "OM", "NA"};
  static constexpr const char* kObject[] = {"", "AREA", "LINE", "CELL"};
  const int op = int_at(f, f.opstat, k), obj = int_at(f, f.object, k);
  if (op >= 1 && op <= 3) copy(r->config, kStatus[op]);
  else if (obj >= 1 && obj <= 3) copy(r->config, kObject[obj]);
  const int np = std::min(int_at(f, f.nprecip, k), 3);
  for (int j = 0; j < np; ++j) {
    const int bits = int_at(f, f.precip_type, k, j);
    if (bits == ZOR_MISSING) continue;
    std::string letters;
    if (bits & 64) letters += "T";
    if (bits & 128) letters += "Z";
    static constexpr const char* kKind[] = {"", "R", "", "S", "IP", "L", "", ""};
    letters += kKind[bits & 7];
    if (bits & 32) letters += "W";
    MDR_prec& p = r->prec[r->numprec++];
    copy(p.type, letters);
    p.intens = int_at(f, f.intensity, k, j);
    const float cov = float_at(f, f.coverage, k, j);
    p.area_cov = cov == ZOR_MISSING_F ? ZOR_MISSING : whole(cov);
  }
  static constexpr const char* kTrend[] = {"", "+", "-", "NC", "NEW"};
  const int tr = int_at(f, f.trend12, k);
  if (tr >= 1 && tr <= 4) copy(r->trend, kTrend[tr]);
  const int naz = std::min(int_at(f, f.nazran, k), 5);
  for (int j = 0; j < naz; ++j) {
    const float az = float_at(f, f.azimuth, k, j), rg = float_at(f, f.range, k, j);
    r->loc[j].dir = az == ZOR_MISSING_F ? ZOR_MISSING : whole(az + 0.01f);
    r->loc[j].rad = rg == ZOR_MISSING_F ? ZOR_MISSING : whole(rg * 0.53996f);
  }
  // The decoded form has no movement kinds: the object's own.
  const char kind = obj == 3 ? 'C' : (obj == 2 ? 'L' : 'A');
  const int nm = std::min(int_at(f, f.nmove, k), 3);
  for (int j = 0; j < nm; ++j) {
    const float d = float_at(f, f.move_dir_f, k, j), s = float_at(f, f.move_spd_f, k, j);
    r->move[j].type = kind;
    r->move[j].dir = d == ZOR_MISSING_F ? ZOR_MISSING : whole(d + 0.01f);
    r->move[j].spd = s == ZOR_MISSING_F ? ZOR_MISSING : whole((s + 0.1f) * 1.944f);
  }
  if (int_at(f, f.nheight, k) > 0) {
    const float h = float_at(f, f.height, k, 0);
    r->tops.h = h == ZOR_MISSING_F ? ZOR_MISSING : (h < 0.0f ? -99 : whole((h + 1.0f) * 3.2808f / 100.0f));
    r->tops.dir = r->tops.rad = 0;
  }
}

int mdr_nc(OpenFile& f, MDR_report* report, int rep_type, int statnum) {
  if (!nc_load(f) || statnum < 0 || statnum >= f.nstat) return -1;
  *report = MDR_report{};
  copy(report->id, text_at(f.id, statnum));
  if (rep_type == 1) return 0;
  if (f.type == RAD_NC_STATION) station_report(f, statnum, report);
  else decoded_report(f, statnum, report);
  return 0;
}

// RCM report lines after the header.
void rcm_line(const std::string& line, RCM_report* r) {
  char id[16] = {};
  float x = 0.0f, y = 0.0f;
  int d = 0, s = 0, h = 0, hail = 0;
  auto point = [&](RCM_point* list, int* num, int max) {
    if (*num >= max) return;
    RCM_point& p = list[(*num)++];
    copy(p.id, id);
    p.x = x;
    p.y = y;
  };
  switch (line.empty() ? '\0' : line[0]) {
    case 'Z':
      if (std::sscanf(line.c_str(), "Z %d %f %f", &h, &x, &y) == 3) {
        r->maxt = h;
        r->maxt_x = x;
        r->maxt_y = y;
      }
      break;
    case 'T':
      if (std::sscanf(line.c_str(), "T %15s %f %f", id, &x, &y) == 3) point(r->tvs, &r->num_tvs, RCM_MAX_TVS);
      break;
    case 'M':
      if (std::sscanf(line.c_str(), "M %15s %f %f", id, &x, &y) == 3) point(r->meso, &r->num_meso, RCM_MAX_MESO);
      break;
    case 'S':
      if (std::sscanf(line.c_str(), "S %15s %f %f %d %d %d %d", id, &x, &y, &d, &s, &h, &hail) == 7 &&
          r->num_storm < RCM_MAX_STORM) {
        RCM_storm& st = r->storm[r->num_storm++];
        copy(st.id, id);
        st.x = x;
        st.y = y;
        st.dir = d;
        st.spd = s;
        st.hgt = h;
        st.hail = hail;
      }
      break;
    default: break;
  }
}

}  // namespace

}  // namespace zor::rad

int MDR_read(int cvt_fd, MDR_report* report, int rep_type, int statnum) {
  OpenFile* f = file_of(cvt_fd);
  if (f == nullptr || report == nullptr) return -1;
  return f->fp != nullptr ? mdr_text(*f, report, rep_type, statnum) : mdr_nc(*f, report, rep_type, statnum);
}

int RCM_read(int cvt_fd, RCM_report* report) {
  OpenFile* f = file_of(cvt_fd);
  if (f == nullptr || report == nullptr || f->fp == nullptr || f->table_pos < 0) return -1;
  std::string line;
  if (f->have_pending) {
    line = f->pending;
    f->have_pending = false;
  } else {
    do {
      if (!read_line(f->fp, line)) return -1;
    } while (!starts(line, "**"));
  }
  *report = RCM_report{};
  char id[16] = {};
  int num = ZOR_MISSING;
  if (std::sscanf(line.c_str(), "** %15s %d", id, &num) < 1) return -1;
  zor::rad::copy(report->id, id);
  report->num = num;
  // Mode and status words anywhere on the header line.
  static constexpr struct {
    const char* word;
    int* (*field)(RCM_report*);
    int value;
  } kWords[] = {
      {"PCPN", [](RCM_report* r) { return &r->mode; }, 1}, {"CLAR", [](RCM_report* r) { return &r->mode; }, 2},
      {"NA", [](RCM_report* r) { return &r->status; }, -1}, {"NE", [](RCM_report* r) { return &r->status; }, 1},
      {"OM", [](RCM_report* r) { return &r->status; }, 2},
  };
  const std::string rest = line.substr(std::min(line.size(), std::strlen("** ") + std::strlen(id)));
  for (const auto& w : kWords)
    if (rest.find(w.word) != std::string::npos) *w.field(report) = w.value;
  while (read_line(f->fp, line)) {
    if (starts(line, "*")) {
      f->pending = line;
      f->have_pending = true;
      break;
    }
    zor::rad::rcm_line(line, report);
  }
  return 1;
}
