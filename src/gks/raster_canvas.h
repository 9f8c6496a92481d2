// A 32-bit pixel buffer and the drawing rules of an X server's frame buffer
// code (the reference is Xvfb at depth 24), so that pictures drawn in memory
// come out as they would in an X11 pixmap:
// - polygons: a pixel is painted when its sample point (x, y) lies inside;
//   on an edge, pixels on left and top edges are in, right and bottom out;
//   even-odd or winding rule;
// - zero-width lines: Bresenham with the server's default octant bias, each
//   segment without its last point except the last segment of a polyline;
// - wide lines: each segment a butt-capped rectangle filled by the polygon
//   rule, joins bevelled or mitred, projecting caps for text;
// - dashes: on/off pixel counts along the major axis (thin) or along the
//   length (wide), carried over the vertices of one polyline;
// - stipples: 8 x 8 patterns anchored at the drawable's origin;
// - one clip rectangle.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <vector>

namespace zor::gks::raster {

struct IntPoint {
  int x = 0;
  int y = 0;
};

struct RealPoint {
  double x = 0.0;
  double y = 0.0;
};

// Inclusive pixel rectangle.
struct ClipRect {
  int x_min = 0;
  int y_min = 0;
  int x_max = -1;
  int y_max = -1;
};

// How pixels are painted: a pixel value, an optional stipple (8 rows, bit 0
// leftmost) and the clip rectangle.
struct Paint {
  std::uint32_t pixel = 0;
  const std::uint8_t* stipple = nullptr;
  ClipRect clip;
};

enum class FillRule { even_odd, winding };
enum class Join { miter, round_as_bevel, bevel };
enum class Cap { butt, projecting };

// On/off dash lengths in pixels (an even number of entries); empty = solid.
struct Dashes {
  std::vector<int> lengths;
  bool solid() const { return lengths.empty(); }
};

// Pixel storage of a canvas. A picture's pixels are all written at once when
// it is cleared, so large buffers are mapped with their pages populated in
// one call rather than faulted in one page at a time, which costs a few
// milliseconds per picture.
template <typename T>
struct PopulatedAllocator {
  using value_type = T;
  static constexpr std::size_t kMapFrom = 256 * 1024;  // bytes
  PopulatedAllocator() = default;
  template <typename U>
  PopulatedAllocator(const PopulatedAllocator<U>&) {}
  T* allocate(std::size_t n) {
    const std::size_t bytes = n * sizeof(T);
    if (bytes < kMapFrom) return std::allocator<T>().allocate(n);
    void* p = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    return static_cast<T*>(p);
  }
  void deallocate(T* p, std::size_t n) {
    const std::size_t bytes = n * sizeof(T);
    if (bytes < kMapFrom) std::allocator<T>().deallocate(p, n);
    else ::munmap(p, bytes);
  }
  template <typename U>
  bool operator==(const PopulatedAllocator<U>&) const { return true; }
};

class Canvas {
 public:
  Canvas() = default;
  Canvas(int width, int height, std::uint32_t fill);

  int width() const { return width_; }
  int height() const { return height_; }
  std::uint32_t* row(int y) { return pixels_.data() + static_cast<std::size_t>(y) * width_; }
  const std::uint32_t* row(int y) const {
    return pixels_.data() + static_cast<std::size_t>(y) * width_;
  }
  std::span<const std::uint32_t> pixels() const { return pixels_; }
  std::uint32_t at(int x, int y) const { return row(y)[x]; }

  void fill_all(std::uint32_t pixel);
  // Fills the part of a rectangle (x, y, width, height) inside the canvas,
  // unclipped otherwise.
  void fill_rect(int x, int y, int width, int height, std::uint32_t pixel);
  void copy_from(const Canvas& other);

  // Paints pixels x0 .. x1-1 of row y.
  void span(int y, int x0, int x1, const Paint& paint);
  void point(int x, int y, const Paint& paint);

 private:
  int width_ = 0;
  int height_ = 0;
  std::vector<std::uint32_t, PopulatedAllocator<std::uint32_t>> pixels_;
};

// Reusable work space of the polygon filler, so a stream of small polygons
// allocates nothing after the first.
struct PolygonScratch {
  struct Edge {
    double x_top, y_top, x_bot, y_bot;
    int dir;
  };
  std::vector<Edge> edges;
  std::vector<std::pair<double, int>> xs;
};

// Fills a polygon with whole-number vertices (the outline is closed
// implicitly), exactly as the server's general polygon filler.
void fill_polygon(Canvas& c, std::span<const IntPoint> pts, const Paint& paint, FillRule rule,
                  PolygonScratch& scratch);
// The same for real vertices (the outlines of wide lines).
void fill_polygon(Canvas& c, std::span<const RealPoint> pts, const Paint& paint, FillRule rule,
                  PolygonScratch& scratch);

// Zero-width polyline; `dashes` may be solid.
void thin_polyline(Canvas& c, std::span<const IntPoint> pts, const Paint& paint,
                   const Dashes& dashes);

// Wide polyline of `width` pixels (1 or more).
void wide_polyline(Canvas& c, std::span<const IntPoint> pts, int width, const Paint& paint,
                   const Dashes& dashes, Join join, Cap cap, PolygonScratch& scratch);

// Pixel `x` of one row of a stored raster image, as an X11 image keeps it:
// `bits` per pixel (32, 24, 16, 8, 4 or 1); pixels of several bytes with
// the most significant byte first when `msb_first`; 4-bit pixels high nibble
// first; 1-bit pixels least significant bit first. 0 for other sizes.
std::uint32_t stored_pixel(const unsigned char* row, int x, int bits, bool msb_first);

}  // namespace zor::gks::raster
