// Mosaic file writers: NOWRad (latitude-longitude and Lambert) and KAVRAD
// (fine and coarse grid) from a pattern, and RRWDS site images.
#include "mosaic_gen.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "zor/dom.h"
#include "zor/map.h"

namespace zor::mosaicgen {

namespace {

constexpr double kRadPerDeg = 0.017453292519943334;
constexpr double kKmPerDeg = 111.195;
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

using Bytes = std::vector<std::uint8_t>;

void put(Bytes& b, std::string_view s) { b.insert(b.end(), s.begin(), s.end()); }

bool flush(const Bytes& b, std::FILE* out) { return std::fwrite(b.data(), 1, b.size(), out) == b.size(); }

// ---- NOWRad ---------------------------------------------------------------------

void tag(Bytes& b, std::uint8_t t) { b.insert(b.end(), {0x00, 0xF0, t}); }

int colour_of(float dbz) {
  if (dbz < 0.0f) return 0;
  return std::clamp(static_cast<int>(std::lround(dbz / 5.0f)), 0, 15);
}

// A run of `n` cells of colour `c` in the shortest packets; never a packet
// that begins with 0x00, which the reader checks for a tag.
void nowrad_run(Bytes& b, int c, int n) {
  while (n > 0) {
    if (n <= 13 && !(c == 0 && n == 1)) {
      b.push_back(static_cast<std::uint8_t>((n - 1) << 4 | c));
      return;
    }
    if (n <= 256) {
      b.insert(b.end(), {static_cast<std::uint8_t>(0xE0 | c), static_cast<std::uint8_t>(n - 1)});
      return;
    }
    const int part = std::min(n, 65536);
    b.insert(b.end(), {static_cast<std::uint8_t>(0xD0 | c), static_cast<std::uint8_t>((part - 1) & 0xFF),
                       static_cast<std::uint8_t>((part - 1) >> 8)});
    n -= part;
  }
}

// Encodes rows of colours given by `colour(i, j)`.
template <class F>
void nowrad_lines(Bytes& b, int nx, int ny, F colour) {
  for (int j = 0; j < ny; ++j) {
    tag(b, 0x0C);
    b.insert(b.end(), {static_cast<std::uint8_t>(j & 0xFF), static_cast<std::uint8_t>(j >> 8 & 0xFF)});
    int i = 0;
    while (i < nx) {
      const int c = colour(i, j);
      int k = i + 1;
      while (k < nx && colour(k, j) == c) ++k;
      nowrad_run(b, c, k - i);
      i = k;
    }
  }
}

void nowrad_head(Bytes& b, const Options& o, int nx, int ny, const char* product, int date_at) {
  tag(b, 0x09);
  const std::string id = "mosaicgen test file";
  b.push_back(static_cast<std::uint8_t>(id.size()));
  put(b, id);
  b.push_back(0x01);
  tag(b, 0x0A);
  put(b, std::to_string(ny) + " " + std::to_string(nx));
  tag(b, 0x03);
  char text[81];
  std::memset(text, ' ', sizeof text);
  std::memcpy(text, product, std::strlen(product));
  char when[40];
  const int m = o.date.month >= 1 && o.date.month <= 12 ? o.date.month - 1 : 0;
  const int n = std::snprintf(when, sizeof when, "%02d:%02d %d-%s-%04d", o.date.hour, o.date.min, o.date.day,
                              kMonths[m], o.date.year);
  std::memcpy(text + date_at, when, static_cast<std::size_t>(n));
  b.insert(b.end(), text, text + 80);
}

std::string radians(std::initializer_list<double> degrees) {
  std::string s;
  char buf[40];
  for (double d : degrees) {
    std::snprintf(buf, sizeof buf, "%s%.9f", s.empty() ? "" : " ", d * kRadPerDeg);
    s += buf;
  }
  return s;
}

bool write_nowrad_latlon(const Pattern& p, const Options& o, std::FILE* out) {
  Bytes b;
  nowrad_head(b, o, o.nx, o.ny, "NOWrad Master", 20);
  tag(b, 0x0B);
  b.push_back('C');
  put(b, radians({o.clon, o.top, 0.0, o.dy, o.dx}));
  const double left = o.clon - (o.nx - 1) / 2.0 * o.dx;
  nowrad_lines(b, o.nx, o.ny, [&](int i, int j) {
    return colour_of(p.value(o.top - (j + 0.5) * o.dy, left + (i + 0.5) * o.dx));
  });
  return flush(b, out);
}

// Cell centres of a grid on a projection, one row at a time.
class ProjectedGrid {
 public:
  explicit ProjectedGrid(const Domain& d) : d_(d) {
    MAP_get_domain(&saved_);
    MAP_domain(&d_);
    MAP_get_up_left(&x0_, &y0_);
  }
  ~ProjectedGrid() {
    if (saved_.proj == ZOR_MISSING) MAP_domain(nullptr);
    else MAP_domain(&saved_);
  }
  ProjectedGrid(const ProjectedGrid&) = delete;
  ProjectedGrid& operator=(const ProjectedGrid&) = delete;

  void centre(int i, int j, float* lat, float* lon) const {
    MAP_untran(static_cast<float>(x0_ + (i + 0.5) * d_.dx), static_cast<float>(y0_ - (j + 0.5) * d_.dy), lat, lon);
  }

 private:
  Domain d_;
  Domain saved_;
  float x0_ = 0.0f, y0_ = 0.0f;
};

bool write_nowrad_lambert(const Pattern& p, const Options& o, std::FILE* out) {
  Bytes b;
  nowrad_head(b, o, o.lambert_nx, o.lambert_ny, "USRAD Hi", 23);
  tag(b, 0x0B);
  b.push_back('L');
  // The centre and spacing written are ignored by the reader.
  put(b, radians({o.std_lat1, o.std_lat2, o.plat, o.plon, -96.0, 38.0, 0.1, 0.1}));
  const Domain d = nowrad_lambert_domain(o);
  ProjectedGrid grid(d);
  std::vector<int> row(static_cast<std::size_t>(d.nx));
  int row_at = -1;
  nowrad_lines(b, d.nx, d.ny, [&](int i, int j) {
    if (j != row_at) {
      for (int k = 0; k < d.nx; ++k) {
        float lat = 0, lon = 0;
        grid.centre(k, j, &lat, &lon);
        row[static_cast<std::size_t>(k)] = lat == ZOR_MISSING_F ? 0 : colour_of(p.value(lat, lon));
      }
      row_at = j;
    }
    return row[static_cast<std::size_t>(i)];
  });
  return flush(b, out);
}

// ---- KAVRAD ---------------------------------------------------------------------

struct KavradGrid {
  int nx, ny;
  double dx, dy;
  std::uint8_t res;
};
constexpr KavradGrid kFine{5120, 5760, 0.0128906, 0.0085937, 5};
constexpr KavradGrid kCoarse{2560, 2880, 0.0257812, 0.0171874, 10};

// The code of a value of product kind 0 (dBZ 0-75, none, 100-275).
int kavrad_code(float v) {
  const int n = static_cast<int>(std::lround(v));
  if (n < 0) return 16;
  if (n <= 75) return n / 5;
  if (n < 100) return 15;
  if (n == 100) return 32;
  if (n <= 175) return (n - 20) / 5;
  if (n < 200) return 31;
  if (n == 200) return 48;
  return std::min((n - 40) / 5, 47);
}

// Writes the image of one row. A row ends for the reader when its column
// count reaches nx - 1, so the last run is always the rest of the row ('#');
// `cur` is the reader's current value code.
void kavrad_row(Bytes& b, const std::vector<int>& codes, int& cur) {
  const int nx = static_cast<int>(codes.size());
  const int last = nx - 1;  // cells 0 .. nx-2 are written, the last follows
  int i = 0;
  while (i < last) {
    const int k = codes[static_cast<std::size_t>(i)];
    int e = i + 1;
    while (e < last && codes[static_cast<std::size_t>(e)] == k) ++e;
    int n = e - i;
    int col = i;
    if (e == last) {
      // The rest of the row in the current value; a value is set with one
      // cell first when it differs (or when a '#' would stand at the start).
      if (k != cur || col == 0) {
        b.push_back(static_cast<std::uint8_t>(1 << 6 | k));
        cur = k;
        ++col;
      }
      if (col < last) b.push_back('#');
      return;
    }
    if (k != cur) {
      const int first = std::min(n, 3);
      b.push_back(static_cast<std::uint8_t>(first << 6 | k));
      cur = k;
      n -= first;
    }
    while (n > 0) {
      if (n <= 31) {
        b.push_back(static_cast<std::uint8_t>(n));
        n = 0;
      } else {
        const int part = std::min(n, 255);
        b.insert(b.end(), {static_cast<std::uint8_t>('$'), static_cast<std::uint8_t>(part)});
        n -= part;
      }
    }
    i = e;
  }
}

bool write_kavrad(const Pattern& p, const Options& o, const KavradGrid& g, std::FILE* out) {
  Bytes b(2048, ' ');
  std::uint8_t* h = b.data() + 1996;
  h[14] = static_cast<std::uint8_t>(o.kavrad_kind);  // 14 product kind
  char when[32];
  auto two = [](int v) { return v < 0 ? 0 : v % 100; };
  std::snprintf(when, sizeof when, "%02d%02d%02d%02d%02d%02d", two(o.date.hour), two(o.date.min), two(o.date.sec),
                two(o.date.day), two(o.date.month), two(o.date.year));
  std::memcpy(h + 16, when, 12);  // 16-27 hhmmssddmmyy
  h[38] = g.res;                  // 38 resolution
  h[42] = 0;                      // 42-43 start, 44-45 end
  h[43] = 1;
  h[44] = static_cast<std::uint8_t>(g.ny >> 8);
  h[45] = static_cast<std::uint8_t>(g.ny & 0xFF);
  if (!flush(b, out)) return false;

  // Row r is drawn one row below the grid top: its centre lies 1.5 rows
  // below the top latitude.
  const double top = 39.0 + (g.ny - 1) / 2.0 * g.dy;
  const double left = -96.0 - (g.nx - 1) / 2.0 * g.dx;
  std::vector<int> codes(static_cast<std::size_t>(g.nx));
  int cur = -1;
  for (int r = 0; r < g.ny; ++r) {
    const double lat = top - (r + 1.5) * g.dy;
    for (int i = 0; i < g.nx; ++i) codes[static_cast<std::size_t>(i)] = kavrad_code(p.value(lat, left + (i + 0.5) * g.dx));
    b.clear();
    kavrad_row(b, codes, cur);
    if (!flush(b, out)) return false;
  }
  return std::fputc('!', out) != EOF;
}

// ---- RRWDS ---------------------------------------------------------------------

constexpr double kKmPerNm = 1.852;
constexpr double kEarthKm = 6371.22;

std::uint8_t bcd(int v) { return static_cast<std::uint8_t>((v / 10 % 10) << 4 | v % 10); }

// The 12-byte header: station, range bit, packed decimal hour, minute
// (with the elevation's sign), elevation, day and month.
void rrwds_header(Bytes& b, const Options& o) {
  auto field = [](int v, int lo, int hi) { return v < lo || v > hi ? lo : v; };
  const int hour = field(o.date.hour, 0, 23), min = field(o.date.min, 0, 59);
  const int day = field(o.date.day, 1, 31), month = field(o.date.month, 1, 12);
  const int tenths = static_cast<int>(std::lround(std::fabs(o.elev) * 10.0)) % 800;
  std::uint8_t h[12] = {};
  std::memcpy(h, o.station, 3);
  h[3] = o.range == 100 ? 0x80 : 0x00;
  h[5] = static_cast<std::uint8_t>((hour / 10) << 6 | (hour % 10) << 2);
  h[6] = static_cast<std::uint8_t>((o.elev < 0.0 ? 0x80 : 0) | (min / 10) << 4 | min % 10);
  h[8] = static_cast<std::uint8_t>(tenths / 100);
  h[9] = static_cast<std::uint8_t>((tenths / 10 % 10) << 4 | tenths % 10);
  h[10] = bcd(day);
  h[11] = bcd(month);
  b.insert(b.end(), h, h + 12);
}

// 360 records of 80 bytes: 4 unused, 25 groups of eight 3-bit levels (least
// significant bits first), 1 unused. A bin's level is the pattern's value
// at its centre: half a degree clockwise of the radial's azimuth, half a
// bin out.
bool write_rrwds(const Pattern& p, const Options& o, std::FILE* out) {
  Bytes b;
  rrwds_header(b, o);
  const double bin_nm = (o.range == 100 ? 100.0 : 200.0) / 200.0;
  for (int a = 0; a < 360; ++a) {
    b.insert(b.end(), 4, 0);
    for (int g = 0; g < 25; ++g) {
      std::uint32_t bits = 0;
      for (int k = 0; k < 8; ++k) {
        double lat = 0.0, lon = 0.0;
        destination(o.site_lat, o.site_lon, a + 0.5, (8 * g + k + 0.5) * bin_nm, &lat, &lon);
        const float v = p.value(lat, lon);
        const auto level = static_cast<std::uint32_t>(v < 0.0f ? 0 : std::min(7L, std::lround(v)));
        bits |= level << (3 * k);
      }
      b.insert(b.end(), {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
                         static_cast<std::uint8_t>(bits >> 16)});
    }
    b.push_back(0);
  }
  return flush(b, out);
}

const Format kFormats[] = {
    {"nowrad", "NOWRad master composite on its latitude-longitude grid", write_nowrad_latlon},
    {"nowrad-lambert", "NOWRad US composite on its Lambert conformal grid", write_nowrad_lambert},
    {"kavrad", "KAVRAD mosaic on the fine grid (5120 x 5760)",
     [](const Pattern& p, const Options& o, std::FILE* out) { return write_kavrad(p, o, kFine, out); }},
    {"kavrad-coarse", "KAVRAD mosaic on the coarse grid (2560 x 2880)",
     [](const Pattern& p, const Options& o, std::FILE* out) { return write_kavrad(p, o, kCoarse, out); }},
    {"rrwds", "RRWDS site image (360 radials of 200 bins of levels 0-7)", write_rrwds},
};

std::vector<double> numbers(std::string_view s) {
  std::vector<double> v;
  std::string buf(s);
  char* at = buf.data();
  while (*at != '\0') {
    char* end = nullptr;
    v.push_back(std::strtod(at, &end));
    if (end == at) return {};
    at = end;
    if (*at == ':') ++at;
    else if (*at != '\0') return {};
  }
  return v;
}

}  // namespace

bool Pattern::parse(std::string_view text, std::string* error) {
  struct Kind {
    const char* word;
    Shape::Kind kind;
    std::size_t count;
  };
  static const Kind kinds[] = {{"block", Shape::Kind::Block, 5},
                               {"ring", Shape::Kind::Ring, 5},
                               {"gradient", Shape::Kind::Gradient, 6},
                               {"sector", Shape::Kind::Sector, 7}};
  const std::size_t colon = text.find(':');
  for (const Kind& k : kinds) {
    if (text.substr(0, colon) != k.word) continue;
    const std::vector<double> v = colon == std::string_view::npos ? std::vector<double>{} : numbers(text.substr(colon + 1));
    if (v.size() != k.count) break;
    Shape s;
    s.kind = k.kind;
    std::copy(v.begin(), v.begin() + 4, s.a);
    if (k.kind == Shape::Kind::Sector) {
      s.nm[0] = v[4];
      s.nm[1] = v[5];
      s.dbz = s.dbz_east = static_cast<float>(v[6]);
    } else {
      s.dbz = static_cast<float>(v[4]);
      s.dbz_east = k.count > 5 ? static_cast<float>(v[5]) : s.dbz;
    }
    add(s);
    return true;
  }
  if (error) *error = "bad shape \"" + std::string(text) + "\" (block:S:N:W:E:DBZ, ring:LAT:LON:IN_KM:OUT_KM:DBZ, "
                      "gradient:S:N:W:E:DBZ_W:DBZ_E, sector:LAT:LON:AZ_FROM:AZ_TO:NM_IN:NM_OUT:DBZ)";
  return false;
}

float Pattern::value(double lat, double lon) const {
  for (auto it = shapes_.rbegin(); it != shapes_.rend(); ++it) {
    const Shape& s = *it;
    if (s.kind == Shape::Kind::Ring) {
      const double dy = (lat - s.a[0]) * kKmPerDeg;
      const double dx = (lon - s.a[1]) * kKmPerDeg * std::cos(s.a[0] * kRadPerDeg);
      const double r = std::hypot(dx, dy);
      if (r >= s.a[2] && r < s.a[3]) return s.dbz;
      continue;
    }
    if (s.kind == Shape::Kind::Sector) {
      double az = 0.0, nm = 0.0;
      bearing(s.a[0], s.a[1], lat, lon, &az, &nm);
      // Azimuths from a[2] clockwise to a[3], across north when a[3] < a[2].
      const double from = std::fmod(s.a[2] + 360.0, 360.0);
      const double span = s.a[3] - s.a[2] >= 360.0 ? 360.0 : std::fmod(s.a[3] - s.a[2] + 720.0, 360.0);
      if (nm >= s.nm[0] && nm < s.nm[1] && std::fmod(az - from + 360.0, 360.0) < span) return s.dbz;
      continue;
    }
    if (lat < s.a[0] || lat >= s.a[1] || lon < s.a[2] || lon >= s.a[3]) continue;
    if (s.kind == Shape::Kind::Block) return s.dbz;
    const double f = (lon - s.a[2]) / (s.a[3] - s.a[2]);
    const double v = s.dbz + f * (s.dbz_east - s.dbz);
    return static_cast<float>(5.0 * std::floor(v / 5.0));
  }
  return kNone;
}

std::span<const Format> formats() { return kFormats; }

const Format* find_format(std::string_view name) {
  for (const Format& f : kFormats)
    if (name == f.name) return &f;
  return nullptr;
}

Domain nowrad_lambert_domain(const Options& o) {
  // Numbers pass through the file as radians in text, as the reader gets them.
  auto through = [](double deg) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.9f", deg * kRadPerDeg);
    return static_cast<float>(std::strtof(buf, nullptr) * 57.295779513082195);
  };
  Domain d;
  DOM_init(&d);
  d.proj = DOM_LAMB;
  d.param[1] = through(o.std_lat1);
  d.param[0] = through(o.std_lat2);
  d.param[2] = 1.0f;
  d.plat = through(o.plat);
  d.plon = through(o.plon);
  d.clat = 38.69f;
  d.clon = -96.03f;
  d.dx = 0.0722f;
  d.dy = 0.0859f;
  d.nx = o.lambert_nx;
  d.ny = o.lambert_ny;
  return d;
}

void destination(double lat, double lon, double az, double nm, double* lat2, double* lon2) {
  const double d = nm * kKmPerNm / kEarthKm, p1 = lat * kRadPerDeg, t = az * kRadPerDeg;
  const double p2 = std::asin(std::sin(p1) * std::cos(d) + std::cos(p1) * std::sin(d) * std::cos(t));
  const double dl = std::atan2(std::sin(t) * std::sin(d) * std::cos(p1), std::cos(d) - std::sin(p1) * std::sin(p2));
  *lat2 = p2 / kRadPerDeg;
  *lon2 = lon + dl / kRadPerDeg;
}

void bearing(double lat, double lon, double lat2, double lon2, double* az, double* nm) {
  const double p1 = lat * kRadPerDeg, p2 = lat2 * kRadPerDeg, dl = (lon2 - lon) * kRadPerDeg;
  const double a = std::sin((p2 - p1) / 2) * std::sin((p2 - p1) / 2) +
                   std::cos(p1) * std::cos(p2) * std::sin(dl / 2) * std::sin(dl / 2);
  *nm = 2.0 * std::atan2(std::sqrt(a), std::sqrt(1.0 - a)) * kEarthKm / kKmPerNm;
  const double t = std::atan2(std::sin(dl) * std::cos(p2), std::cos(p1) * std::sin(p2) - std::sin(p1) * std::cos(p2) * std::cos(dl));
  *az = std::fmod(t / kRadPerDeg + 360.0, 360.0);
}

bool write_file(std::string_view format, const Pattern& pattern, const Options& options, const std::string& path,
                std::string* error) {
  const Format* f = find_format(format);
  if (f == nullptr) {
    if (error) *error = "unknown format \"" + std::string(format) + "\"";
    return false;
  }
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen(path.c_str(), "wb"), std::fclose);
  if (!out) {
    if (error) *error = "cannot write " + path;
    return false;
  }
  if (!f->write(pattern, options, out.get())) {
    if (error) *error = "write failed: " + path;
    return false;
  }
  return true;
}

}  // namespace zor::mosaicgen
