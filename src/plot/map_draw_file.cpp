// Map files: polylines of latitude/longitude points, in text or big-endian
// binary form, projected and broken wherever they leave the visible part of
// the earth or cross the seam of the projection.
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "map_draw_internal.h"
#include "zor/byte_reader.h"
#include "zor/file_io.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"

namespace zor::map_draw {
namespace {

// Consecutive points further apart than this in x have crossed the seam.
constexpr float kSeamJump = 20.0f;
// Segments are gathered in a buffer of this size unless they are longer.
constexpr std::size_t kBufferPoints = 1000;

// ---- reading -----------------------------------------------------------

// One source of segments. next() gives the point count of the next segment
// and fills `pts`; 0 at the end marker, -1 at the end of the data, -2 when the
// data are damaged (with `error` set).
class SegmentSource {
 public:
  virtual ~SegmentSource() = default;
  virtual int next(std::vector<LatLon>& pts) = 0;
  std::string error;
};

// "%hd %f %f %f %f %ld" headers and "%f %f" points.
class TextSource final : public SegmentSource {
 public:
  explicit TextSource(const std::string& text) : p_(text.c_str()), end_(text.c_str() + text.size()) {}

  // Whether the data start with a complete six-value header.
  bool header_ahead() const {
    const char* p = p_;
    long count = 0;
    long id = 0;
    float v = 0.0f;
    if (!read_long(p, count) || count < INT16_MIN || count > INT16_MAX) return false;
    for (int i = 0; i < 4; ++i)
      if (!read_float(p, v)) return false;
    return read_long(p, id);
  }

  int next(std::vector<LatLon>& pts) override {
    pts.clear();
    long count = 0;
    if (!read_long(p_, count)) {
      if (at_end()) return -1;
      error = "unreadable segment header";
      return -2;
    }
    float bound = 0.0f;
    long id = 0;
    bool ok = count >= INT16_MIN && count <= INT16_MAX;
    for (int i = 0; ok && i < 4; ++i) ok = read_float(p_, bound);
    if (!ok || !read_long(p_, id)) {
      error = "unreadable segment header";
      return -2;
    }
    if (count == 0) return 0;
    if (count < 0) {
      error = "negative point count " + std::to_string(count);
      return -2;
    }
    for (long i = 0; i < count; ++i) {
      LatLon ll{};
      if (!read_float(p_, ll.lat) || !read_float(p_, ll.lon)) {
        error = "segment of " + std::to_string(count) + " points ends after " + std::to_string(i);
        return -2;
      }
      pts.push_back(ll);
    }
    return static_cast<int>(count);
  }

 private:
  bool at_end() const {
    const char* p = p_;
    while (p < end_ && std::isspace(static_cast<unsigned char>(*p))) ++p;
    return p >= end_;
  }
  static bool read_long(const char*& p, long& v) {
    char* e = nullptr;
    errno = 0;
    v = std::strtol(p, &e, 10);
    if (e == p || errno == ERANGE) return false;
    p = e;
    return true;
  }
  static bool read_float(const char*& p, float& v) {
    char* e = nullptr;
    v = std::strtof(p, &e);
    if (e == p) return false;
    p = e;
    return std::isfinite(v);
  }

  const char* p_;
  const char* end_;
};

// 16-bit count, four floats and a 32-bit identifier, then latitude/longitude
// pairs of floats, all big-endian.
class BinarySource final : public SegmentSource {
 public:
  explicit BinarySource(const std::vector<std::uint8_t>& data) : r_(data.data(), data.size()) {}

  int next(std::vector<LatLon>& pts) override {
    constexpr std::size_t kHeader = 2 + 4 * 4 + 4;
    pts.clear();
    if (r_.empty()) return -1;
    if (r_.remaining() < kHeader) {
      error = "segment header cut off at byte " + std::to_string(r_.pos());
      return -2;
    }
    const int count = r_.i16();
    r_.skip(4 * 4 + 4);  // bounding values and identifier
    if (count == 0) return 0;
    if (count < 0) {
      error = "negative point count " + std::to_string(count);
      return -2;
    }
    const std::size_t need = static_cast<std::size_t>(count) * 8;
    if (r_.remaining() < need) {
      error = "segment of " + std::to_string(count) + " points ends after " +
              std::to_string(r_.remaining() / 8);
      return -2;
    }
    for (int i = 0; i < count; ++i) {
      LatLon ll{};
      ll.lat = r_.f32();
      ll.lon = r_.f32();
      if (!std::isfinite(ll.lat) || !std::isfinite(ll.lon)) {
        error = "point " + std::to_string(i) + " of a segment is not a number";
        return -2;
      }
      pts.push_back(ll);
    }
    return count;
  }

 private:
  ByteReader r_;
};

// ---- drawing -----------------------------------------------------------

// Width of the seam at height y: what a point that jumped across it is moved
// by; 0 when the projection has no seam to undo.
float seam_width(int proj, float y) {
  switch (proj) {
    case 2: return 360.0f;
    case 3: return 400.31555892808814f;
    case 4: return 1000.0f;
    case 7: {
      const float r = y / 63.713f;
      return r < 1.0f && r > -1.0f ? 254.852f * std::sqrt(1.0f - r * r) : 0.0f;
    }
    default: return 0.0f;
  }
}

// Draws segments as pieces, and keeps the pieces when `keep` is given.
class PieceDrawer {
 public:
  PieceDrawer(bool fill, CachedMap* keep) : fill_(fill), keep_(keep) { piece_.reserve(kBufferPoints); }

  void draw_segment(const LatLon* pts, std::size_t n) {
    const int proj = MAP_get_proj();
    piece_.clear();
    for (const LatLon& ll : std::span(pts, n)) {
      Gpt p;
      if (MAP_tran(ll.lat, ll.lon, &p.x, &p.y) == 0 || p.x == ZOR_MISSING_F) {
        flush();  // an invisible point ends the piece
        continue;
      }
      if (!piece_.empty() && std::fabs(p.x - piece_.back().x) > kSeamJump) {
        const Gpt prev = piece_.back();
        const float w = seam_width(proj, p.y);
        const float toward = p.x > prev.x ? -w : w;
        piece_.push_back(Gpt{p.x + toward, p.y});
        flush();
        // The rest starts across the seam, from where the line came in;
        // Lambert conformal has no straight edge to come in from.
        if (proj != 4) piece_.push_back(Gpt{prev.x - toward, prev.y});
      }
      piece_.push_back(p);
    }
    flush();
  }

 private:
  void flush() {
    if (piece_.size() >= 2) {
      const int n = static_cast<int>(piece_.size());
      if (fill_) gfill_area(n, piece_.data());
      else gpolyline(n, piece_.data());
      if (keep_ != nullptr) {
        keep_->piece_points.insert(keep_->piece_points.end(), piece_.begin(), piece_.end());
        keep_->piece_counts.push_back(n);
      }
    }
    piece_.clear();
  }

  bool fill_;
  CachedMap* keep_;
  std::vector<Gpt> piece_;
};

std::vector<std::uint8_t> read_rest(FILE* fp) {
  std::vector<std::uint8_t> data;
  std::uint8_t buf[65536];
  for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, fp)) > 0;) data.insert(data.end(), buf, buf + n);
  return data;
}

// Reads every segment of a map file's data, up to its end or the damage.
CachedMap read_map(const std::vector<std::uint8_t>& data) {
  const std::string text(data.begin(), data.end());
  TextSource text_source(text);
  BinarySource binary_source(data);
  SegmentSource& source =
      text_source.header_ahead() ? static_cast<SegmentSource&>(text_source) : binary_source;
  CachedMap m;
  std::vector<LatLon> pts;
  pts.reserve(kBufferPoints);
  for (;;) {
    const int n = source.next(pts);
    if (n <= 0) {
      m.end = n < -1 ? -2 : n;
      m.error = source.error;
      return m;
    }
    m.points.insert(m.points.end(), pts.begin(), pts.end());
    m.counts.push_back(n);
  }
}

bool same_domain(const Domain& a, const Domain& b) {
  // All 32-bit fields, no padding: equal bytes are the same projection.
  static_assert(sizeof(Domain) == 15 * 4);
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// Draws a map as read; `keep` collects the pieces for drawing it again.
int draw_map(CachedMap& m, bool keep) {
  const bool fill = state().fill != 0;
  Domain dom;
  MAP_get_domain(&dom);
  if (m.projected && same_domain(m.domain, dom)) {
    std::size_t at = 0;
    for (int n : m.piece_counts) {
      if (fill) gfill_area(n, m.piece_points.data() + at);
      else gpolyline(n, m.piece_points.data() + at);
      at += static_cast<std::size_t>(n);
    }
  } else {
    m.projected = false;
    m.piece_points.clear();
    m.piece_counts.clear();
    PieceDrawer drawer(fill, keep ? &m : nullptr);
    std::size_t at = 0;
    for (int n : m.counts) {
      drawer.draw_segment(m.points.data() + at, static_cast<std::size_t>(n));
      at += static_cast<std::size_t>(n);
    }
    if (keep) {
      m.projected = true;
      m.domain = dom;
    }
  }
  if (m.end == 0) return 0;
  if (m.end == -2) MESS_print(M_WARN, "MAP_map: Damaged map file: %s\n", m.error.c_str());
  return -1;
}

}  // namespace

int draw_map_file(const std::string& path) {
  auto& maps = state().maps;
  auto it = maps.find(path);
  if (it == maps.end()) {
    const File fp = open_file(path.c_str(), "rb");
    if (!fp) return -2;
    if (!earth_projection()) return 1;
    it = maps.emplace(path, read_map(read_rest(fp.get()))).first;
  }
  if (!earth_projection()) return 1;
  return draw_map(it->second, true);
}

}  // namespace zor::map_draw

int MAP_map(FILE* map_file) {
  using namespace zor::map_draw;
  if (!earth_projection()) return 1;
  if (map_file == nullptr) return -1;
  CachedMap m = read_map(read_rest(map_file));
  return draw_map(m, false);
}
