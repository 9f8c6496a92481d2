// Scan conversion for the in-memory raster device; the rules are those of the
// X server's frame buffer code, listed in raster_canvas.h.
#include "raster_canvas.h"

#include <algorithm>
#include <cmath>

namespace zor::gks::raster {

Canvas::Canvas(int width, int height, std::uint32_t fill)
    : width_(std::max(width, 0)),
      height_(std::max(height, 0)),
      pixels_(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_), fill) {}

void Canvas::fill_all(std::uint32_t pixel) { std::fill(pixels_.begin(), pixels_.end(), pixel); }

void Canvas::fill_rect(int x, int y, int width, int height, std::uint32_t pixel) {
  const int x0 = std::max(x, 0), y0 = std::max(y, 0);
  const int x1 = std::min(x + std::max(width, 0), width_), y1 = std::min(y + std::max(height, 0), height_);
  for (int r = y0; r < y1; ++r) std::fill(row(r) + x0, row(r) + std::max(x0, x1), pixel);
}

void Canvas::copy_from(const Canvas& other) {
  // Pixmaps of one device share a size; a smaller one copies its overlap.
  const int w = std::min(width_, other.width_);
  const int h = std::min(height_, other.height_);
  for (int y = 0; y < h; ++y) std::copy_n(other.row(y), w, row(y));
}

void Canvas::span(int y, int x0, int x1, const Paint& paint) {
  if (y < paint.clip.y_min || y > paint.clip.y_max || y < 0 || y >= height_) return;
  x0 = std::max({x0, paint.clip.x_min, 0});
  x1 = std::min({x1, paint.clip.x_max + 1, width_});
  if (x0 >= x1) return;
  std::uint32_t* r = row(y);
  if (!paint.stipple) {
    std::fill(r + x0, r + x1, paint.pixel);
    return;
  }
  const unsigned bits = paint.stipple[y & 7];
  if (bits == 0) return;
  for (int x = x0; x < x1; ++x)
    if ((bits >> (x & 7)) & 1U) r[x] = paint.pixel;
}

void Canvas::point(int x, int y, const Paint& paint) {
  if (x < paint.clip.x_min || x > paint.clip.x_max || y < paint.clip.y_min || y > paint.clip.y_max)
    return;
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return;
  if (paint.stipple && !((paint.stipple[y & 7] >> (x & 7)) & 1U)) return;
  row(y)[x] = paint.pixel;
}

namespace {

// Smallest integer not below n / d for d > 0.
long long ceil_div(long long n, long long d) {
  long long q = n / d;
  if ((n % d != 0) && ((n > 0) == (d > 0))) ++q;
  return q;
}

// Paints the spans of one scan line from the sorted crossings.
void emit_spans(Canvas& c, int y, std::vector<std::pair<double, int>>& xs, const Paint& paint,
                FillRule rule) {
  std::sort(xs.begin(), xs.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  if (rule == FillRule::even_odd) {
    for (std::size_t i = 0; i + 1 < xs.size(); i += 2)
      c.span(y, static_cast<int>(xs[i].first), static_cast<int>(xs[i + 1].first), paint);
    return;
  }
  int winding = 0;
  double start = 0.0;
  for (const auto& [x, dir] : xs) {
    const int before = winding;
    winding += dir;
    if (before == 0 && winding != 0) start = x;
    else if (before != 0 && winding == 0)
      c.span(y, static_cast<int>(start), static_cast<int>(x), paint);
  }
}

// Paints a scan line range [y0, y1] of the edges in `scratch`; the
// crossing of an edge with row y is already a whole number (its left-most
// pixel at or right of the edge).
template <typename CrossingAt>
void scan_edges(Canvas& c, int y0, int y1, const Paint& paint, FillRule rule,
                PolygonScratch& scratch, CrossingAt crossing_at) {
  y0 = std::max({y0, paint.clip.y_min, 0});
  y1 = std::min({y1, paint.clip.y_max, c.height() - 1});
  for (int y = y0; y <= y1; ++y) {
    scratch.xs.clear();
    for (const auto& e : scratch.edges) {
      double x = 0.0;
      if (crossing_at(e, y, &x)) scratch.xs.emplace_back(x, e.dir);
    }
    if (scratch.xs.size() >= 2) emit_spans(c, y, scratch.xs, paint, rule);
  }
}

}  // namespace

void fill_polygon(Canvas& c, std::span<const IntPoint> pts, const Paint& paint, FillRule rule,
                  PolygonScratch& scratch) {
  scratch.edges.clear();
  if (pts.size() < 3) return;
  int y_lo = pts[0].y, y_hi = pts[0].y;
  for (std::size_t i = 0; i < pts.size(); ++i) {
    const IntPoint a = pts[i];
    const IntPoint b = pts[(i + 1) % pts.size()];
    if (a.y == b.y) continue;  // horizontal edges cross no scan line
    const bool down = a.y < b.y;
    const IntPoint top = down ? a : b, bot = down ? b : a;
    scratch.edges.push_back({static_cast<double>(top.x), static_cast<double>(top.y),
                             static_cast<double>(bot.x), static_cast<double>(bot.y),
                             down ? 1 : -1});
    y_lo = std::min(y_lo, top.y);
    y_hi = std::max(y_hi, bot.y);
  }
  // An edge covers the rows from its top to the one above its bottom; its
  // crossing is the exact x rounded up, in integers so that no rounding of
  // the slope can move a pixel.
  scan_edges(c, y_lo, y_hi - 1, paint, rule, scratch,
             [](const PolygonScratch::Edge& e, int y, double* x) {
               const int yt = static_cast<int>(e.y_top), yb = static_cast<int>(e.y_bot);
               if (y < yt || y >= yb) return false;
               const long long xt = static_cast<long long>(e.x_top);
               const long long dx = static_cast<long long>(e.x_bot) - xt;
               *x = static_cast<double>(xt + ceil_div(dx * (y - yt), yb - yt));
               return true;
             });
}

void fill_polygon(Canvas& c, std::span<const RealPoint> pts, const Paint& paint, FillRule rule,
                  PolygonScratch& scratch) {
  scratch.edges.clear();
  if (pts.size() < 3) return;
  double y_lo = pts[0].y, y_hi = pts[0].y;
  for (std::size_t i = 0; i < pts.size(); ++i) {
    const RealPoint a = pts[i];
    const RealPoint b = pts[(i + 1) % pts.size()];
    if (a.y == b.y) continue;
    const bool down = a.y < b.y;
    const RealPoint top = down ? a : b, bot = down ? b : a;
    scratch.edges.push_back({top.x, top.y, bot.x, bot.y, down ? 1 : -1});
    y_lo = std::min(y_lo, top.y);
    y_hi = std::max(y_hi, bot.y);
  }
  constexpr double kEps = 1e-9;
  scan_edges(c, static_cast<int>(std::ceil(y_lo - kEps)), static_cast<int>(std::ceil(y_hi - kEps)) - 1,
             paint, rule, scratch, [](const PolygonScratch::Edge& e, int y, double* x) {
               if (y < e.y_top - kEps || y >= e.y_bot - kEps) return false;
               const double t = (y - e.y_top) / (e.y_bot - e.y_top);
               *x = std::ceil(e.x_top + (e.x_bot - e.x_top) * t - kEps);
               return true;
             });
}

// ---- Zero-width lines ---------------------------------------------------

namespace {

// Octant bits of the server's line code. A screen may bias the octants in
// which a tie in the error term steps the minor axis late; the reference
// server sets no bias, so every tie steps at once.
constexpr int kXDecreasing = 4;
constexpr int kYDecreasing = 2;
constexpr int kYMajor = 1;
constexpr unsigned kZeroLineBias = 0;

// Position in a dash list.
struct DashState {
  const Dashes* dashes = nullptr;
  std::size_t index = 0;
  int left = 0;
  void start(const Dashes& d) {
    dashes = &d;
    index = 0;
    left = d.solid() ? 0 : d.lengths[0];
  }
  bool on() const { return dashes->solid() || index % 2 == 0; }
  void advance(int n) {
    if (dashes->solid()) return;
    while (n > 0) {
      const int step = std::min(n, left);
      left -= step;
      n -= step;
      if (left == 0) {
        index = (index + 1) % dashes->lengths.size();
        left = dashes->lengths[index];
        if (left <= 0) left = 1;
      }
    }
  }
};

void bresenham(Canvas& c, IntPoint a, IntPoint b, bool draw_last, const Paint& paint,
               DashState& dash) {
  int adx = b.x - a.x, ady = b.y - a.y;
  int sx = 1, sy = 1;
  int octant = 0;
  if (adx < 0) {
    adx = -adx;
    sx = -1;
    octant |= kXDecreasing;
  }
  if (ady < 0) {
    ady = -ady;
    sy = -1;
    octant |= kYDecreasing;
  }
  const bool x_major = adx > ady;
  // e1 for a step along the major axis alone, e2 for a diagonal step; the
  // minor axis steps when the error is not negative.
  int e1, e2, e, len;
  if (x_major) {
    e1 = ady << 1;
    e2 = e1 - (adx << 1);
    e = e1 - adx;
    len = adx;
  } else {
    e1 = adx << 1;
    e2 = e1 - (ady << 1);
    e = e1 - ady;
    octant |= kYMajor;
    len = ady;
  }
  e -= static_cast<int>((kZeroLineBias >> octant) & 1U);
  if (draw_last) ++len;
  int x = a.x, y = a.y;
  const bool solid = dash.dashes->solid();
  for (int i = 0; i < len; ++i) {
    if (solid || dash.on()) c.point(x, y, paint);
    if (!solid) dash.advance(1);
    const bool minor = e >= 0;
    e += minor ? e2 : e1;
    if (x_major) {
      x += sx;
      if (minor) y += sy;
    } else {
      y += sy;
      if (minor) x += sx;
    }
  }
}

}  // namespace

void thin_polyline(Canvas& c, std::span<const IntPoint> pts, const Paint& paint,
                   const Dashes& dashes) {
  if (pts.empty()) return;
  DashState dash;
  dash.start(dashes);
  if (pts.size() == 1) {
    c.point(pts[0].x, pts[0].y, paint);
    return;
  }
  for (std::size_t i = 0; i + 1 < pts.size(); ++i)
    bresenham(c, pts[i], pts[i + 1], i + 2 == pts.size(), paint, dash);
}

// ---- Wide lines ---------------------------------------------------------

namespace {

struct Segment {
  RealPoint a, b;
  double ux = 0.0, uy = 0.0;  // unit direction
  double len = 0.0;
};

// The rectangle of a segment piece from distance s0 to s1 along it.
void fill_piece(Canvas& c, const Segment& s, double s0, double s1, double half, bool cap_start,
                bool cap_end, const Paint& paint, PolygonScratch& scratch) {
  if (cap_start) s0 -= half;
  if (cap_end) s1 += half;
  const double nx = -s.uy * half, ny = s.ux * half;
  const RealPoint p0{s.a.x + s.ux * s0, s.a.y + s.uy * s0};
  const RealPoint p1{s.a.x + s.ux * s1, s.a.y + s.uy * s1};
  const RealPoint quad[4] = {{p0.x + nx, p0.y + ny}, {p1.x + nx, p1.y + ny}, {p1.x - nx, p1.y - ny},
                             {p0.x - nx, p0.y - ny}};
  fill_polygon(c, std::span<const RealPoint>(quad, 4), paint, FillRule::even_odd, scratch);
}

// Fills the wedge on the outer side of the vertex between two segments.
void fill_join(Canvas& c, const Segment& in, const Segment& out, double half, Join join,
               const Paint& paint, PolygonScratch& scratch) {
  const double cross = in.ux * out.uy - in.uy * out.ux;
  if (std::fabs(cross) < 1e-12 && in.ux * out.ux + in.uy * out.uy > 0) return;  // straight on
  // The outer side is to the left of the turn for a right turn and so on.
  const double side = cross > 0 ? -1.0 : 1.0;
  const RealPoint v = in.b;
  const RealPoint p{v.x - in.uy * half * side, v.y + in.ux * half * side};
  const RealPoint q{v.x - out.uy * half * side, v.y + out.ux * half * side};
  if (join == Join::miter) {
    // Mitre point where the two outer edges meet; the server's limit turns
    // joins sharper than about 11 degrees into bevels.
    const double cos_theta = -(in.ux * out.ux + in.uy * out.uy);
    const double limit = std::cos(11.0 * 3.14159265358979 / 180.0);
    if (cos_theta < limit) {
      const double bx = (p.x - v.x) + (q.x - v.x), by = (p.y - v.y) + (q.y - v.y);
      const double blen = std::hypot(bx, by);
      if (blen > 1e-12) {
        const double dot = ((p.x - v.x) * bx + (p.y - v.y) * by) / blen;  // = half * cos(a/2)
        const double dist = half * half / dot;
        const RealPoint m{v.x + bx / blen * dist, v.y + by / blen * dist};
        const RealPoint quad[4] = {v, p, m, q};
        fill_polygon(c, std::span<const RealPoint>(quad, 4), paint, FillRule::even_odd, scratch);
        return;
      }
    }
  }
  const RealPoint tri[3] = {v, p, q};
  fill_polygon(c, std::span<const RealPoint>(tri, 3), paint, FillRule::even_odd, scratch);
}

}  // namespace

void wide_polyline(Canvas& c, std::span<const IntPoint> pts, int width, const Paint& paint,
                   const Dashes& dashes, Join join, Cap cap, PolygonScratch& scratch) {
  if (pts.size() < 2 || width < 1) return;
  const double half = width / 2.0;
  std::vector<Segment> segs;
  segs.reserve(pts.size());
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
    Segment s;
    s.a = {static_cast<double>(pts[i].x), static_cast<double>(pts[i].y)};
    s.b = {static_cast<double>(pts[i + 1].x), static_cast<double>(pts[i + 1].y)};
    s.len = std::hypot(s.b.x - s.a.x, s.b.y - s.a.y);
    if (s.len == 0.0) continue;  // a zero-length segment draws nothing with butt caps
    s.ux = (s.b.x - s.a.x) / s.len;
    s.uy = (s.b.y - s.a.y) / s.len;
    segs.push_back(s);
  }
  if (segs.empty()) {
    if (cap == Cap::projecting) {
      const double x = pts[0].x, y = pts[0].y;
      const RealPoint sq[4] = {{x - half, y - half}, {x + half, y - half}, {x + half, y + half},
                               {x - half, y + half}};
      fill_polygon(c, std::span<const RealPoint>(sq, 4), paint, FillRule::even_odd, scratch);
    }
    return;
  }
  // A closed outline is joined where it closes and has no caps. The end cap
  // belongs to the last segment only when that one has a length.
  const bool self_join = pts.size() > 2 && pts.front().x == pts.back().x &&
                         pts.front().y == pts.back().y;
  const bool projecting = cap == Cap::projecting && !self_join;
  const bool last_has_length =
      pts[pts.size() - 2].x != pts.back().x || pts[pts.size() - 2].y != pts.back().y;
  if (dashes.solid()) {
    for (std::size_t i = 0; i < segs.size(); ++i) {
      fill_piece(c, segs[i], 0.0, segs[i].len, half, projecting && i == 0,
                 projecting && last_has_length && i + 1 == segs.size(), paint, scratch);
      if (i + 1 < segs.size()) fill_join(c, segs[i], segs[i + 1], half, join, paint, scratch);
    }
    if (self_join && segs.size() > 1) fill_join(c, segs.back(), segs.front(), half, join, paint, scratch);
    return;
  }
  // Dash lengths are measured along the line; each "on" piece is capped
  // like a line.
  std::size_t index = 0;
  double left = dashes.lengths[0];
  for (std::size_t i = 0; i < segs.size(); ++i) {
    const Segment& s = segs[i];
    double pos = 0.0;
    while (pos < s.len) {
      const double step = std::min(left, s.len - pos);
      if (index % 2 == 0 && step > 0.0)
        fill_piece(c, s, pos, pos + step, half, projecting, projecting, paint, scratch);
      pos += step;
      left -= step;
      if (left <= 1e-9) {
        index = (index + 1) % dashes.lengths.size();
        left = std::max(dashes.lengths[index], 1);
      }
    }
    // The server carries a whole number of dash pixels over a vertex.
    left = std::floor(left + 1e-9);
    if (left <= 0.0) {
      index = (index + 1) % dashes.lengths.size();
      left = std::max(dashes.lengths[index], 1);
    }
    // A dash running on over the vertex is joined there.
    if (index % 2 == 0 && i + 1 < segs.size()) fill_join(c, s, segs[i + 1], half, join, paint, scratch);
  }
}

std::uint32_t stored_pixel(const unsigned char* row, int x, int bits, bool msb_first) {
  const auto b = [row](std::size_t i) { return std::uint32_t{row[i]}; };
  const auto ux = static_cast<std::size_t>(x);
  switch (bits) {
    case 32: {
      const std::size_t i = 4 * ux;
      return msb_first ? b(i) << 24 | b(i + 1) << 16 | b(i + 2) << 8 | b(i + 3)
                       : b(i + 3) << 24 | b(i + 2) << 16 | b(i + 1) << 8 | b(i);
    }
    case 24: {
      const std::size_t i = 3 * ux;
      return msb_first ? b(i) << 16 | b(i + 1) << 8 | b(i + 2) : b(i + 2) << 16 | b(i + 1) << 8 | b(i);
    }
    case 16: {
      const std::size_t i = 2 * ux;
      return msb_first ? b(i) << 8 | b(i + 1) : b(i + 1) << 8 | b(i);
    }
    case 8: return b(ux);
    case 4: return ux % 2 == 0 ? b(ux / 2) >> 4 : b(ux / 2) & 0x0Fu;
    case 1: return (b(ux / 8) >> (ux % 8)) & 1u;
    default: return 0;
  }
}

}  // namespace zor::gks::raster
