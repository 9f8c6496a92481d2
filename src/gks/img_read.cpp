// Image readers (GIF with its own LZW decoder, PNG through libpng, XWD and
// the system's own format) and the own-format writer.
#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "zor/byte_reader.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/img.h"
#include "zor/mess.h"

namespace {

// Largest image side read: a picture several times any screen, and a bound on
// what a damaged header can make the reader allocate (16384 x 16384 x 3 bytes
// at most).
constexpr int kMaxSide = 16384;

struct ImgReadState {
  int retries = 10;        // waits for a file still being written
  int retry_delay_ms = 1000;
  int max_side = kMaxSide;
};
ImgReadState read_state;

struct FileCloser {
  void operator()(std::FILE* f) const {
    if (f) std::fclose(f);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

bool slurp(const char* path, std::vector<std::uint8_t>& out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  // A read error (a directory named by a damaged image) throws from the
  // stream buffer whatever the stream's exception mask.
  try {
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  } catch (const std::ios_base::failure&) {
    out.clear();
    return false;
  }
  return true;
}

// Offset after an optional "** " first line.
std::size_t skip_star_line(const std::vector<std::uint8_t>& f) {
  if (f.size() >= 3 && f[0] == '*' && f[1] == '*' && f[2] == ' ') {
    std::size_t i = 3;
    while (i < f.size() && f[i] != '\n') ++i;
    return i < f.size() ? i + 1 : i;
  }
  return 0;
}

template <typename T>
T* alloc(std::size_t n) {
  return static_cast<T*>(std::calloc(n ? n : 1, sizeof(T)));
}

void copy_text(char* dst, std::size_t cap, const std::string& s) {
  std::snprintf(dst, cap, "%s", s.c_str());
}

// GIF LZW decoding into one byte per pixel.
bool gif_decode(zor::ByteReader& r, IMG_report& im, bool interlaced) {
  const int code_size = r.u8();
  if (code_size < 2 || code_size > 11) {
    MESS_print(M_WARN, "GIF_read: Bad LZW code size %d\n", code_size);
    return false;
  }
  std::vector<std::uint8_t> data;
  while (true) {
    const int n = r.u8();
    if (n == 0) break;
    auto s = r.sub(n).rest();
    data.insert(data.end(), s.begin(), s.end());
  }
  const int clear = 1 << code_size, end = clear + 1;
  std::vector<int> prefix(4096, -1);
  std::vector<std::uint8_t> suffix(4096, 0);
  for (int i = 0; i < clear; ++i) suffix[i] = static_cast<std::uint8_t>(i);
  std::vector<std::uint8_t> stack;
  stack.reserve(5000);
  int width = code_size + 1, next = end + 1, old = -1;
  std::uint8_t first = 0;
  std::size_t bitpos = 0;
  const std::size_t npix = static_cast<std::size_t>(im.width) * im.height;
  std::size_t out = 0;
  // Rows in file order mapped to image rows.
  std::vector<int> rows;
  if (interlaced) {
    static constexpr int start[4] = {0, 4, 2, 1}, step[4] = {8, 8, 4, 2};
    for (int p = 0; p < 4; ++p)
      for (int y = start[p]; y < im.height; y += step[p]) rows.push_back(y);
  }
  auto put = [&](std::uint8_t v) {
    if (out >= npix) return;
    const std::size_t row = out / im.width, col = out % im.width;
    const std::size_t y = interlaced ? static_cast<std::size_t>(rows[row]) : row;
    im.data[y * im.bytes_line + col] = v;
    ++out;
  };
  while (out < npix && bitpos + width <= data.size() * 8) {
    int code = 0;
    for (int b = 0; b < width; ++b, ++bitpos) code |= ((data[bitpos / 8] >> (bitpos % 8)) & 1) << b;
    if (code == clear) {
      width = code_size + 1;
      next = end + 1;
      old = -1;
      continue;
    }
    if (code == end) break;
    if (old < 0) {
      if (code >= clear) return false;
      first = suffix[code];
      put(first);
      old = code;
      continue;
    }
    int in = code;
    stack.clear();
    if (code >= next) {
      if (code > next) {
        MESS_print(M_WARN, "GIF_read: Bad LZW code %d\n", code);
        return false;
      }
      stack.push_back(first);
      code = old;
    }
    while (code >= clear) {
      if (stack.size() >= 5000 || code >= 4096) return false;
      stack.push_back(suffix[code]);
      code = prefix[code];
    }
    first = suffix[code];
    stack.push_back(first);
    for (auto it = stack.rbegin(); it != stack.rend(); ++it) put(*it);
    if (next < 4096) {
      prefix[next] = old;
      suffix[next] = first;
      ++next;
      if (next >= (1 << width) && width < 12) ++width;
    }
    old = in;
  }
  return true;
}

int gif_read_mem(const std::vector<std::uint8_t>& f, IMG_report* image, int type) {
  const std::size_t start = skip_star_line(f);
  if (f.size() < start + 3 || std::memcmp(&f[start], "GIF", 3) != 0) {
    MESS_print(M_WARN, "GIF_read: Not a GIF file\n");
    return 0;
  }
  IMG_report& im = *image;
  zor::ByteReader r(f.data() + start, f.size() - start);
  r.skip(6);
  im.width = r.u16le();
  im.height = r.u16le();
  const int flags = r.u8();
  r.skip(2);
  im.depth = 8;
  im.bits_pixel = 8;
  im.bytes_line = im.width;
  im.color_type = 1;
  copy_text(im.info, sizeof im.info, "GIF");
  if (flags & 0x80) {
    im.num_colors = 1 << ((flags & 7) + 1);
    im.colors = alloc<IMG_color>(im.num_colors);
    for (int i = 0; i < im.num_colors; ++i) {
      im.colors[i].red = r.u8() / 255.0f;
      im.colors[i].grn = r.u8() / 255.0f;
      im.colors[i].blu = r.u8() / 255.0f;
    }
  }
  if (type == 1) return 1;
  while (true) {
    const int b = r.u8();
    if (b == 0x21) {
      const int label = r.u8();
      if (label == 0xF9) {
        auto g = r.sub(r.u8());
        const int pf = g.u8();
        const int delay = g.u16le();
        const int t = g.u8();
        MESS_print(M_DEBUG, "Graphics Control Extension\n");
        MESS_print(M_DEBUG, "Disposal: %d Input: %d\n", (pf >> 2) & 7, (pf >> 1) & 1);
        if (pf & 1) {
          im.trans_color = t;
          MESS_print(M_DEBUG, "Transparent color index: %d\n", t);
        }
        MESS_print(M_DEBUG, "Delay time: %d %.2f\n", delay, delay / 100.0);
      } else if (label == 0xFE) {
        MESS_print(M_DEBUG, "Comment Data\n");
      } else if (label == 0xFF) {
        MESS_print(M_DEBUG, "Application Extension\n");
      }
      for (int n = r.u8(); n != 0; n = r.u8()) r.skip(n);
      if (label == 0xF9) continue;
    } else if (b == 0x2C) {
      r.skip(8);
      const int iflags = r.u8();
      if (iflags & 0x80) r.skip(3u << ((iflags & 7) + 1));
      if (im.width > read_state.max_side || im.height > read_state.max_side) {
        MESS_print(M_WARN, "GIF_read: Bad image size %d %d\n", im.width, im.height);
        return 0;
      }
      const std::size_t n = static_cast<std::size_t>(im.width) * im.height;
      im.data = alloc<unsigned char>(n);
      if (!gif_decode(r, im, (iflags & 0x40) != 0)) {
        MESS_print(M_WARN, "GIF_read: Damaged image data\n");
        return 0;
      }
      return 1;
    } else {
      MESS_print(M_WARN, "GIF_read: No image in GIF file\n");
      return 0;
    }
  }
}

int xwd_read_mem(const std::vector<std::uint8_t>& f, IMG_report* image) {
  IMG_report& im = *image;
  const std::size_t start = skip_star_line(f);
  zor::ByteReader r(f.data() + start, f.size() - start);
  unsigned h[25];
  for (unsigned& v : h) v = r.u32();
  // Counts are checked as read, unsigned: a colour count above 2^31 would
  // turn negative as an int.
  if (h[1] != 7 || h[0] < 100 || h[12] > (1u << 24) || h[5] > (1u << 16) || h[4] > (1u << 16) ||
      h[19] > 65536 || h[11] > 32 || std::uint64_t{h[4]} * h[11] > std::uint64_t{h[12]} * 8) {
    MESS_print(M_WARN, "XWD_read: Not an XWD file\n");
    return 0;
  }
  auto name = r.sub(h[0] - 100).rest();
  copy_text(im.info, sizeof im.info,
            std::string(name.begin(), std::find(name.begin(), name.end(), 0)));
  im.depth = static_cast<int>(h[3]);
  im.width = static_cast<int>(h[4]);
  im.height = static_cast<int>(h[5]);
  im.byte_order = static_cast<int>(h[7]);
  im.bits_pixel = static_cast<int>(h[11]);
  im.bytes_line = static_cast<int>(h[12]);
  im.color_type = h[13] == 4 || h[13] == 5 ? 0 : 1;
  im.red = h[14];
  im.grn = h[15];
  im.blu = h[16];
  im.num_colors = static_cast<int>(h[19]);
  im.colors = alloc<IMG_color>(im.num_colors);
  for (int i = 0; i < im.num_colors; ++i) {
    r.skip(4);
    im.colors[i].red = r.u16() / 65535.0f;
    im.colors[i].grn = r.u16() / 65535.0f;
    im.colors[i].blu = r.u16() / 65535.0f;
    r.skip(2);
  }
  const std::size_t n = static_cast<std::size_t>(im.height) * im.bytes_line;
  auto px = r.sub(n).rest();
  im.data = alloc<unsigned char>(n);
  std::memcpy(im.data, px.data(), n);
  return 1;
}

std::string next_line(zor::ByteReader& r) {
  std::string s;
  while (!r.empty()) {
    const char c = static_cast<char>(r.u8());
    if (c == '\n') break;
    s += c;
  }
  return s;
}

// Projection tag and grid of an own-format header line.
bool parse_domain_line(const std::string& line, IMG_report& im) {
  Domain d;
  const char* s = line.c_str();
  struct Tag {
    const char* name;
    int proj;
  };
  static constexpr Tag tags[] = {{"LL", 2}, {"ME", 3}, {"PS", 1}, {"LC", 4}, {"SA", 9}};
  int proj = 0;
  for (const Tag& t : tags)
    if (std::strncmp(s, t.name, 2) == 0) proj = t.proj;
  if (proj == 0) {
    int w = 0, h = 0;
    if (std::sscanf(s, "%d %d", &w, &h) != 2) return false;
    im.width = w;
    im.height = h;
    return true;
  }
  d.proj = proj;
  if (proj == 1 && s[2] == ':') std::sscanf(s, "PS:%f", &d.plon);
  if (proj == 4 && s[2] == ':') {
    if (std::sscanf(s, "LC:%f:%f:%f:%f:%f", &d.plat, &d.plon, &d.param[0], &d.param[1],
                    &d.param[2]) == 1) {
      d.plon = d.plat;
      d.plat = -9999.0f;
    }
  }
  if (proj == 9) std::sscanf(s, "SAT:%f:%f:%f", &d.plat, &d.plon, &d.param[0]);
  const char* rest = std::strchr(s, ' ');
  if (!rest || std::sscanf(rest, "%f %f %f %f %d %d", &d.clat, &d.clon, &d.dx, &d.dy, &d.nx,
                           &d.ny) != 6)
    return false;
  im.domain = d;
  im.width = d.nx;
  im.height = d.ny;
  return true;
}

// Inflates `in` into `out` from `filled`; streams restart after each end.
std::size_t inflate_all(const std::uint8_t* in, std::size_t n, unsigned char* out, std::size_t cap) {
  std::size_t filled = 0, used = 0;
  while (used < n && filled < cap) {
    z_stream z{};
    if (inflateInit(&z) != Z_OK) break;
    z.next_in = const_cast<Bytef*>(in + used);
    z.avail_in = static_cast<uInt>(n - used);
    int rc = Z_OK;
    while (rc == Z_OK && filled < cap) {
      z.next_out = out + filled;
      z.avail_out = static_cast<uInt>(std::min<std::size_t>(12000, cap - filled));
      const uInt before = z.avail_out;
      rc = inflate(&z, Z_NO_FLUSH);
      filled += before - z.avail_out;
      if (rc == Z_BUF_ERROR && z.avail_in == 0) break;
    }
    used = n - z.avail_in;
    inflateEnd(&z);
    if (rc != Z_STREAM_END) break;
  }
  return filled;
}

// One attempt at the own format; returns 1 done, 0 short (try again), -1 bad.
int zor_read_mem(const char* filename, const std::vector<std::uint8_t>& f, IMG_report& im) {
  const std::size_t start = skip_star_line(f);
  zor::ByteReader r(f.data() + start, f.size() - start);
  const std::string magic = next_line(r);
  if (magic.compare(0, 6, "ZORIMG") != 0) {
    MESS_print(M_WARN, "IMG_read_zor: Invalid image type\n");
    return -1;
  }
  const std::string fl = magic.substr(6);
  const bool v4 = fl.find('4') != std::string::npos;
  const bool separate = fl.find('*') != std::string::npos;
  const bool packed = fl.find('Z') != std::string::npos;
  im.source = 50;
  copy_text(im.datim, sizeof im.datim, next_line(r));
  DATE_decode_label(im.datim, &im.date);
  copy_text(im.info, sizeof im.info, next_line(r));
  if (v4) {
    const std::string line = next_line(r);
    const int dom_rc = DOM_decode(line.c_str(), &im.domain);
    if (dom_rc != 1 && dom_rc != 2) {
      MESS_print(M_WARN, "IMG_read_zor: Bad domain line\n");
      return -1;
    }
    im.width = im.domain.nx;
    im.height = im.domain.ny;
    if (!r.empty()) r.skip(1);
  } else if (!parse_domain_line(next_line(r), im)) {
    MESS_print(M_WARN, "IMG_read_zor: Bad size line\n");
    return -1;
  }
  if (im.width <= 0 || im.height <= 0 || im.width > read_state.max_side || im.height > read_state.max_side) {
    MESS_print(M_WARN, "IMG_read_zor: Bad image size %d %d\n", im.width, im.height);
    return -1;
  }
  if (fl.find('V') != std::string::npos) r.skip(std::min<std::size_t>(1024, r.remaining()));
  if (fl.find('C') != std::string::npos) {
    r.skip(1);
    const int n = r.u8();
    r.skip(2 + std::size_t(n) * 2);
  }
  im.depth = 8;
  im.bits_pixel = 8;
  im.bytes_line = im.width;
  im.color_type = 0;
  const std::size_t n = static_cast<std::size_t>(im.width) * im.height;
  if (!im.data) im.data = alloc<unsigned char>(n);
  std::vector<std::uint8_t> side;
  auto src = r.rest();
  if (separate) {
    std::string word;
    auto rs = r.rest();
    std::size_t i = 0;
    while (i < rs.size() && std::isspace(rs[i])) ++i;
    while (i < rs.size() && !std::isspace(rs[i])) word += static_cast<char>(rs[i++]);
    if (!slurp(word.c_str(), side)) {
      MESS_print(M_WARN, "Unable to open: %s\n", word.c_str());
      return -1;
    }
    src = std::span<const std::uint8_t>(side);
  }
  std::size_t got;
  if (packed) {
    got = inflate_all(src.data(), src.size(), im.data, n);
  } else {
    got = std::min(n, src.size());
    std::memcpy(im.data, src.data(), got);
  }
  (void)filename;
  return got >= n ? 1 : 0;
}

// Whether every side chunk after the signature lies within the file. libpng
// allocates (and clears) a side chunk's whole declared length before it
// reads it, so a damaged length in a 1 KB file would cost a gigabyte.
bool chunks_fit(std::FILE* f) {
  const long start = std::ftell(f);
  if (start < 0 || std::fseek(f, 0, SEEK_END) != 0) return false;
  const long end = std::ftell(f);
  bool fit = end >= start;
  for (long at = start; fit && at < end;) {
    unsigned char head[8];
    if (std::fseek(f, at, SEEK_SET) != 0 || std::fread(head, 1, 8, f) != 8) break;  // a cut tail: libpng says so
    const std::uint32_t len = zor::ByteReader(head, 4).u32();
    // Image data streams through a small window, so only side chunks count.
    if (std::memcmp(head + 4, "IDAT", 4) != 0 && static_cast<std::uint64_t>(len) + 8 > static_cast<std::uint64_t>(end - at))
      fit = false;
    if (std::memcmp(head + 4, "IEND", 4) == 0) break;
    at += 12 + static_cast<long>(len);
  }
  return std::fseek(f, start, SEEK_SET) == 0 && fit;
}

}  // namespace

void zor::img::set_max_side(int side) { read_state.max_side = side > 0 && side < kMaxSide ? side : kMaxSide; }

void IMG_set_read_retry(int count, int delay_ms) {
  read_state.retries = count;
  read_state.retry_delay_ms = delay_ms;
}

int GIF_read(const char* filename, IMG_report* image, int type) {
  std::vector<std::uint8_t> f;
  if (!slurp(filename, f)) {
    MESS_print(M_WARN, "GIF_read: Unable to open file\n");
    return 0;
  }
  try {
    return gif_read_mem(f, image, type);
  } catch (const zor::DecodeError& e) {
    MESS_print(M_WARN, "GIF_read: Truncated file: %s\n", e.what());
    return 0;
  }
}

int XWD_read(const char* filename, IMG_report* image, int /*type*/) {
  std::vector<std::uint8_t> f;
  if (!slurp(filename, f)) {
    MESS_print(M_WARN, "XWD_read: Unable to open file\n");
    return 0;
  }
  try {
    return xwd_read_mem(f, image);
  } catch (const zor::DecodeError& e) {
    MESS_print(M_WARN, "XWD_read: Truncated file: %s\n", e.what());
    return 0;
  }
}

int PNG_read(const char* filename, IMG_report* image, int type) {
  File f(std::fopen(filename, "rb"));
  if (!f) {
    MESS_print(M_WARN, "PNG_read: Unable to open file\n");
    return 0;
  }
  unsigned char sig[8] = {};
  if (std::fread(sig, 1, 8, f.get()) != 8 || png_sig_cmp(sig, 0, 8)) {
    MESS_print(M_WARN, "PNG_read: Not a PNG file\n");
    return 0;
  }
  if (!chunks_fit(f.get())) {
    MESS_print(M_WARN, "PNG_read: Damaged PNG file\n");
    return 0;
  }
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  if (!png) return 0;
  png_infop info = png_create_info_struct(png);
  if (!info) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    return 0;
  }
  // libpng's errors jump back here: nothing past this point may own
  // anything the jump would skip (the image is the caller's to free).
  IMG_report& im = *image;
  if (setjmp(png_jmpbuf(png))) {
    MESS_print(M_WARN, "PNG_read: Damaged PNG file\n");
    png_destroy_read_struct(&png, &info, nullptr);
    return 0;
  }
  png_init_io(png, f.get());
  png_set_sig_bytes(png, 8);
  png_set_user_limits(png, read_state.max_side, read_state.max_side);
  png_read_info(png, info);
  png_uint_32 w = 0, h = 0;
  int bit_depth = 0, ctype = 0, interlace = 0;
  png_get_IHDR(png, info, &w, &h, &bit_depth, &ctype, &interlace, nullptr, nullptr);
  im.width = static_cast<int>(w);
  im.height = static_cast<int>(h);
  copy_text(im.info, sizeof im.info, "PNG");
  if (ctype == PNG_COLOR_TYPE_PALETTE) {
    png_colorp plte = nullptr;
    int np = 0;
    png_get_PLTE(png, info, &plte, &np);
    im.color_type = 1;
    im.num_colors = np;
    im.colors = alloc<IMG_color>(np);
    for (int i = 0; i < np; ++i) {
      im.colors[i].red = plte[i].red / 255.0f;
      im.colors[i].grn = plte[i].green / 255.0f;
      im.colors[i].blu = plte[i].blue / 255.0f;
    }
    if (bit_depth < 8) png_set_packing(png);
    im.depth = 8;
    im.bits_pixel = 8;
  } else if (ctype == PNG_COLOR_TYPE_GRAY) {
    im.color_type = 0;
    im.depth = bit_depth;
    if (bit_depth < 8) png_set_packing(png);
    im.bits_pixel = bit_depth < 8 ? 8 : bit_depth;
    if (bit_depth == 16) im.byte_order = 1;  // PNG samples are most significant byte first
  } else {
    if (bit_depth == 16) png_set_strip_16(png);
    if (ctype & PNG_COLOR_MASK_ALPHA) png_set_strip_alpha(png);
    if (ctype == PNG_COLOR_TYPE_GRAY_ALPHA) png_set_gray_to_rgb(png);
    im.color_type = 0;
    im.depth = 24;
    im.bits_pixel = 24;
    im.byte_order = 1;
    im.red = 0xff0000;
    im.grn = 0x00ff00;
    im.blu = 0x0000ff;
  }
  im.bytes_line = im.width * im.bits_pixel / 8;
  if (type == 1) {
    png_destroy_read_struct(&png, &info, nullptr);
    return 1;
  }
  const int passes = png_set_interlace_handling(png);
  png_read_update_info(png, info);
  const std::size_t rb = png_get_rowbytes(png, info);
  if (rb > static_cast<std::size_t>(im.bytes_line)) im.bytes_line = static_cast<int>(rb);
  im.data = alloc<unsigned char>(static_cast<std::size_t>(im.bytes_line) * im.height);
  for (int p = 0; p < passes; ++p)
    for (int y = 0; y < im.height; ++y)
      png_read_row(png, im.data + static_cast<std::size_t>(y) * im.bytes_line, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  return 1;
}

int IMG_read_zor(const char* filename, IMG_report* image, int /*type*/) {
  for (int attempt = 0;; ++attempt) {
    std::vector<std::uint8_t> f;
    if (!slurp(filename, f)) {
      MESS_print(M_WARN, "Unable to open: %s\n", filename);
      return -1;
    }
    int rc;
    try {
      rc = zor_read_mem(filename, f, *image);
    } catch (const zor::DecodeError&) {
      rc = 0;
    }
    if (rc != 0) return rc;
    if (attempt >= read_state.retries) return image->data ? 1 : -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(read_state.retry_delay_ms));
  }
}

int IMG_read(const char* filename, IMG_report* image, int type) {
  std::vector<std::uint8_t> f;
  if (!slurp(filename, f)) {
    MESS_print(M_WARN, "IMG_read: Unable to open image file: %s\n", filename);
    return 0;
  }
  IMG_init(image);
  const std::size_t s = skip_star_line(f);
  auto at = [&](std::size_t off, const char* sig) {
    const std::size_t n = std::strlen(sig);
    return f.size() >= s + off + n && std::memcmp(&f[s + off], sig, n) == 0;
  };
  int rc;
  if (at(0, "GIF"))
    rc = GIF_read(filename, image, type);
  else if (at(1, "PNG"))
    rc = s == 0 ? PNG_read(filename, image, type) : 0;
  else if (at(0, "ZOR"))
    rc = IMG_read_zor(filename, image, type);
  else
    rc = XWD_read(filename, image, type);
  if (rc <= 0) IMG_free(image);
  return rc;
}
