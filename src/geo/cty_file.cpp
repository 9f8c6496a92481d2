// The city file itself: one open stream, station lines read and written.
// Kept apart from the look-ups so that the table builder tool can use it alone.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "cty_file.h"
#include "zor/cty.h"

namespace zor::cty {
namespace {

// The one open city file; streams close themselves.
struct CityFile {
  std::ifstream in;
  std::ofstream out;
  int fd = -1;
  int access = 0;
  int dtype = 0;
};

struct FileState {
  std::optional<CityFile> file;
  int next_fd = 3;
};

FileState& fst() {
  static FileState s;
  return s;
}

template <std::size_t N>
void copy_field(char (&dst)[N], std::string_view src) {
  std::size_t n = std::min(src.size(), N - 1);
  std::memcpy(dst, src.data(), n);
  dst[n] = '\0';
}

CityFile* open_file(int fd) {
  FileState& s = fst();
  if (!s.file || s.file->fd != fd) return nullptr;
  return &*s.file;
}

// One station line; returns the number of fields read, -1 at end of file.
int parse_line(const std::string& line, CTY_data* city) {
  char name[21] = {}, state[3] = {}, region[3] = {}, id[10] = {}, pr[16] = {};
  float lat = -9999.0f, lon = -9999.0f, el = -9999.0f;
  int wmo = 99999, num = 0;
  int n = std::sscanf(line.c_str(), "%20s %2s %2s %9s %15s %f %f %f %d %d", name, state, region, id, pr, &lat,
                      &lon, &el, &wmo, &num);
  CTY_data c;
  copy_field(c.name, name);
  for (char* p = c.name; *p; ++p)
    if (*p == '_') *p = ' ';
  copy_field(c.state, state);
  copy_field(c.region, region);
  copy_field(c.id, id);
  const char* p = pr;
  if (*p == '*') { c.mos = '*'; ++p; }
  if (std::isdigit(static_cast<unsigned char>(*p))) { c.prior = *p - '0'; ++p; }
  if (*p == '*') c.ua = '*';
  c.lat = lat;
  c.lon = lon;
  c.el = el > 9000.0f ? -9999.0f : el;
  c.wmo = wmo;
  c.num = num;
  *city = c;
  return n;
}

bool blank_line(const std::string& line) {
  return std::all_of(line.begin(), line.end(), [](char c) { return std::isspace(static_cast<unsigned char>(c)); });
}

}  // namespace

void reset_file() { fst().file.reset(); }

}  // namespace zor::cty

using namespace zor::cty;

int CTY_open(const char* filename, int f_access, int f_type) {
  if (filename == nullptr || *filename == '\0' || (f_access != 0 && f_access != 1)) return -1;
  FileState& s = fst();
  s.file.reset();  // one open city file at a time
  CityFile f;
  if (f_access == 0) {
    f.in.open(filename);
    if (!f.in) return -1;
  } else {
    f.out.open(filename, std::ios::trunc);
    if (!f.out) return -1;
  }
  f.access = f_access;
  f.dtype = f_type;
  f.fd = s.next_fd++;
  s.file = std::move(f);
  return s.file->fd;
}

int CTY_rewind(int city_fd) {
  CityFile* f = open_file(city_fd);
  if (f == nullptr || f->access != 0) return -1;
  f->in.clear();
  f->in.seekg(0);
  return 0;
}

int CTY_close(int city_fd) {
  if (open_file(city_fd) == nullptr) return -1;
  fst().file.reset();
  return 0;
}

int CTY_getinfo(int city_fd, CTY_info* info) {
  CityFile* f = open_file(city_fd);
  if (f == nullptr || info == nullptr) return -1;
  info->dtype = f->dtype;
  return 0;
}

int CTY_read(int city_fd, CTY_data* city) {
  CityFile* f = open_file(city_fd);
  if (f == nullptr || f->access != 0 || city == nullptr) return -1;
  std::string line;
  while (std::getline(f->in, line)) {
    if (blank_line(line)) continue;
    return parse_line(line, city);
  }
  return -1;
}

int CTY_write(int city_fd, const CTY_data* city) {
  CityFile* f = open_file(city_fd);
  if (f == nullptr || f->access != 1 || city == nullptr) return -1;
  auto field = [](const char* v, std::size_t max) {
    std::string r(v, strnlen(v, max));
    for (char& c : r)
      if (c == ' ') c = '_';
    return r.empty() ? std::string("--") : r;
  };
  std::string pr;
  if (city->mos == '*') pr += '*';
  pr += static_cast<char>('0' + std::clamp(city->prior, 0, 9));
  if (city->ua == '*') pr += '*';
  char buf[160];
  std::snprintf(buf, sizeof buf, "%-20s %-2s %-2s %-9s %-3s %8.4f %9.4f %5.0f %05d %d\n", field(city->name, 20).c_str(),
                field(city->state, 2).c_str(), field(city->region, 2).c_str(), field(city->id, 9).c_str(),
                pr.c_str(), city->lat, city->lon, city->el == -9999.0f ? 9999.0f : city->el, city->wmo, city->num);
  f->out << buf;
  return f->out ? 0 : -1;
}

