// Clipping in device units: polylines are cut into the pieces inside the
// viewport (Liang-Barsky per segment), polygons clipped against the four
// edges (Sutherland-Hodgman). Devices never see anything outside it.
#include <cmath>
#include <optional>

#include "gks_kernel.h"

namespace zor::gks {
namespace {

DevPoint maybe_round(DevPoint p, bool round_pixels) {
  if (round_pixels) {
    p.x = std::floor(p.x + 0.5f);
    p.y = std::floor(p.y + 0.5f);
  }
  return p;
}

// The part of segment a-b inside r, as parameters t0 <= t1 along it.
std::optional<std::pair<float, float>> clip_segment(DevPoint a, DevPoint b, const DevRect& r) {
  float t0 = 0.0f, t1 = 1.0f;
  const float dx = b.x - a.x, dy = b.y - a.y;
  const float p[4] = {-dx, dx, -dy, dy};
  const float q[4] = {a.x - r.x_min, r.x_max - a.x, a.y - r.y_min, r.y_max - a.y};
  for (int i = 0; i < 4; ++i) {
    if (p[i] == 0.0f) {
      if (q[i] < 0.0f) return std::nullopt;
      continue;
    }
    const float t = q[i] / p[i];
    if (p[i] < 0.0f) {
      if (t > t1) return std::nullopt;
      if (t > t0) t0 = t;
    } else {
      if (t < t0) return std::nullopt;
      if (t < t1) t1 = t;
    }
  }
  return std::make_pair(t0, t1);
}

DevPoint lerp(DevPoint a, DevPoint b, float t) {
  return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}

enum class Edge { left, right, bottom, top };

bool inside_edge(const DevPoint& p, const DevRect& r, Edge e) {
  switch (e) {
    case Edge::left: return p.x >= r.x_min;
    case Edge::right: return p.x <= r.x_max;
    case Edge::bottom: return p.y >= r.y_min;
    case Edge::top: return p.y <= r.y_max;
  }
  return true;
}

DevPoint intersect_edge(const DevPoint& a, const DevPoint& b, const DevRect& r, Edge e) {
  float t = 0.0f;
  switch (e) {
    case Edge::left: t = (r.x_min - a.x) / (b.x - a.x); break;
    case Edge::right: t = (r.x_max - a.x) / (b.x - a.x); break;
    case Edge::bottom: t = (r.y_min - a.y) / (b.y - a.y); break;
    case Edge::top: t = (r.y_max - a.y) / (b.y - a.y); break;
  }
  DevPoint p = lerp(a, b, t);
  // Land exactly on the edge despite rounding in t.
  if (e == Edge::left) p.x = r.x_min;
  if (e == Edge::right) p.x = r.x_max;
  if (e == Edge::bottom) p.y = r.y_min;
  if (e == Edge::top) p.y = r.y_max;
  return p;
}

}  // namespace

bool inside(const DevRect& r, const DevPoint& p) {
  return p.x >= r.x_min && p.x <= r.x_max && p.y >= r.y_min && p.y <= r.y_max;
}

std::vector<std::vector<DevPoint>> clip_polyline(std::span<const DevPoint> pts, const DevRect& r,
                                                 bool round_pixels) {
  std::vector<std::vector<DevPoint>> pieces;
  if (pts.empty()) return pieces;
  bool all_inside = true;
  for (const auto& p : pts)
    if (!inside(r, p)) {
      all_inside = false;
      break;
    }
  if (all_inside) {
    pieces.emplace_back(pts.begin(), pts.end());
    return pieces;
  }
  if (pts.size() == 1) return pieces;
  std::vector<DevPoint> cur;
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
    const DevPoint a = pts[i], b = pts[i + 1];
    auto seg = clip_segment(a, b, r);
    if (!seg) {
      if (cur.size() >= 2) pieces.push_back(std::move(cur));
      cur.clear();
      continue;
    }
    const DevPoint s = seg->first == 0.0f ? a : maybe_round(lerp(a, b, seg->first), round_pixels);
    const DevPoint e = seg->second == 1.0f ? b : maybe_round(lerp(a, b, seg->second), round_pixels);
    if (cur.empty()) {
      cur.push_back(s);
    } else if (seg->first != 0.0f) {
      // Re-entering: the previous piece ended at the boundary.
      if (cur.size() >= 2) pieces.push_back(std::move(cur));
      cur.clear();
      cur.push_back(s);
    }
    cur.push_back(e);
    if (seg->second != 1.0f) {
      if (cur.size() >= 2) pieces.push_back(std::move(cur));
      cur.clear();
    }
  }
  if (cur.size() >= 2) pieces.push_back(std::move(cur));
  return pieces;
}

bool polygon_inside(std::span<const DevPoint> pts, const DevRect& r) {
  for (const auto& p : pts)
    if (!inside(r, p)) return false;
  return true;
}

std::vector<DevPoint> clip_polygon(std::span<const DevPoint> pts, const DevRect& r,
                                   bool round_pixels) {
  if (polygon_inside(pts, r)) return {pts.begin(), pts.end()};
  std::vector<DevPoint> poly(pts.begin(), pts.end());
  // A repeated closing point adds nothing to a closed polygon.
  if (poly.size() > 1 && poly.front().x == poly.back().x && poly.front().y == poly.back().y)
    poly.pop_back();
  for (Edge e : {Edge::left, Edge::right, Edge::bottom, Edge::top}) {
    if (poly.empty()) break;
    std::vector<DevPoint> out;
    out.reserve(poly.size() + 4);
    for (std::size_t i = 0; i < poly.size(); ++i) {
      const DevPoint cur = poly[i];
      const DevPoint prev = poly[(i + poly.size() - 1) % poly.size()];
      const bool cin = inside_edge(cur, r, e), pin = inside_edge(prev, r, e);
      if (cin) {
        if (!pin) out.push_back(intersect_edge(prev, cur, r, e));
        out.push_back(cur);
      } else if (pin) {
        out.push_back(intersect_edge(prev, cur, r, e));
      }
    }
    poly = std::move(out);
  }
  if (poly.size() < 3) return {};
  for (auto& p : poly) p = maybe_round(p, round_pixels);
  poly.push_back(poly.front());
  return poly;
}

}  // namespace zor::gks
