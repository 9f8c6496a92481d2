// hershey2fnt: converts a Hershey font in ".jhf" form (one glyph per record:
// a 5-digit number, a 3-digit vertex count, then letter-coded coordinate
// pairs relative to 'R', " R" lifting the pen) into the kernel's stroke font
// file, for the printable ASCII characters the record order stands for.
//
//   hershey2fnt INPUT.jhf OUTPUT.fnt [NAME]
//
// Font units: y 0 is the bottom of the descenders, 35 the baseline, 140 the
// cap height; a glyph's strokes start at x 0 and x stays below 126 so a pen
// move (x + 128) never collides with the markers 254 and 255.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Vertex {
  int x;
  int y;
  bool pen_up;  // move to this vertex without drawing
};

struct Glyph {
  std::vector<Vertex> vertices;
};

constexpr int kFirstChar = 32;
constexpr int kLastChar = 126;
// Hershey roman capitals run from y -12 to the baseline at 9.
constexpr int kHersheyBaseline = 9;
constexpr int kHersheyCapHeight = 21;
constexpr int kBaseline = 35;
constexpr int kCapHeight = 105;
constexpr int kMaxX = 125;
constexpr int kMaxY = 253;

bool read_glyphs(const std::string& text, std::vector<Glyph>& glyphs, std::string& err) {
  // Records may continue over several lines; line breaks carry no meaning.
  std::string flat;
  std::vector<std::size_t> record_starts;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    flat += line;
  }
  std::size_t pos = 0;
  while (pos < flat.size()) {
    if (pos + 8 > flat.size()) {
      err = "truncated record header";
      return false;
    }
    int count = 0;
    try {
      count = std::stoi(flat.substr(pos + 5, 3));
    } catch (...) {
      err = "bad vertex count at offset " + std::to_string(pos);
      return false;
    }
    pos += 8;
    if (count < 1 || pos + 2 * static_cast<std::size_t>(count) > flat.size()) {
      err = "bad vertex count " + std::to_string(count);
      return false;
    }
    Glyph g;
    bool pen_up = true;
    for (int i = 1; i < count; ++i) {  // the first pair holds the side bearings
      const char cx = flat[pos + 2 * static_cast<std::size_t>(i)];
      const char cy = flat[pos + 2 * static_cast<std::size_t>(i) + 1];
      if (cx == ' ' && cy == 'R') {
        pen_up = true;
        continue;
      }
      g.vertices.push_back({cx - 'R', cy - 'R', pen_up});
      pen_up = false;
    }
    pos += 2 * static_cast<std::size_t>(count);
    glyphs.push_back(std::move(g));
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s INPUT.jhf OUTPUT.fnt [NAME]\n", argv[0]);
    return 2;
  }
  std::ifstream in(argv[1]);
  if (!in) {
    std::fprintf(stderr, "hershey2fnt: cannot read %s\n", argv[1]);
    return 1;
  }
  std::stringstream ss;
  ss << in.rdbuf();
  std::vector<Glyph> glyphs;
  std::string err;
  if (!read_glyphs(ss.str(), glyphs, err)) {
    std::fprintf(stderr, "hershey2fnt: %s: %s\n", argv[1], err.c_str());
    return 1;
  }
  const std::size_t n = std::min<std::size_t>(glyphs.size(), kLastChar - kFirstChar + 1);

  // One scale for the whole font: the Hershey cap height becomes 105 units,
  // unless the widest glyph would then not fit below x 126.
  int widest = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const auto& v = glyphs[i].vertices;
    if (v.empty()) continue;
    auto [lo, hi] = std::minmax_element(v.begin(), v.end(), [](auto& a, auto& b) { return a.x < b.x; });
    widest = std::max(widest, hi->x - lo->x);
  }
  double scale = static_cast<double>(kCapHeight) / kHersheyCapHeight;
  if (widest > 0 && widest * scale > kMaxX) scale = static_cast<double>(kMaxX) / widest;

  std::vector<int> db{255};
  std::vector<int> index(256, -1);
  std::vector<std::size_t> glyph_starts;  // db offsets of each glyph's 255 marker
  std::vector<int> glyph_codes;
  int clamped = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const auto& v = glyphs[i].vertices;
    if (v.empty()) continue;
    const int code = kFirstChar + static_cast<int>(i);
    int minx = v[0].x;
    for (const auto& p : v) minx = std::min(minx, p.x);
    if (!glyph_starts.empty()) db.push_back(255);
    glyph_starts.push_back(db.size() - 1);
    glyph_codes.push_back(code);
    index[static_cast<std::size_t>(code)] = static_cast<int>(db.size());
    for (const auto& p : v) {
      int x = static_cast<int>((p.x - minx) * scale + 0.5);
      int y = kBaseline + static_cast<int>((kHersheyBaseline - p.y) * scale + (p.y <= kHersheyBaseline ? 0.5 : -0.5));
      if (y < 0 || y > kMaxY) {
        ++clamped;
        y = std::clamp(y, 0, kMaxY);
      }
      x = std::clamp(x, 0, kMaxX);
      db.push_back(p.pen_up ? x + 128 : x);
      db.push_back(y);
    }
  }
  db.push_back(254);

  std::ofstream out(argv[2]);
  if (!out) {
    std::fprintf(stderr, "hershey2fnt: cannot write %s\n", argv[2]);
    return 1;
  }
  const std::string name = argc > 3 ? argv[3] : "font";
  out << glyph_codes.size() << ' ' << name << '\n';
  // The stream, one glyph per line, each 255 followed by the glyph's label.
  std::size_t g = 0;
  for (std::size_t i = 0; i < db.size(); ++i) {
    if (g < glyph_starts.size() && i == glyph_starts[g]) {
      if (i != 0) out << '\n';
      out << "255 c" << glyph_codes[g] << ' ';
      ++g;
      continue;
    }
    out << db[i] << (i + 1 == db.size() ? "\n" : " ");
  }
  for (int c = 0; c < 256; ++c) out << index[static_cast<std::size_t>(c)] << ((c % 16 == 15) ? '\n' : ' ');
  if (!out) {
    std::fprintf(stderr, "hershey2fnt: write error on %s\n", argv[2]);
    return 1;
  }
  if (clamped) std::fprintf(stderr, "hershey2fnt: %s: %d points clamped to the font box\n", argv[1], clamped);
  return 0;
}
