// Image records, capture from the current raster device and the GIF, PNG
// and XWD writers.
#include <png.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "device.h"
#include "out_stream.h"
#include "zor/gks.h"
#include "zor/img.h"
#include "zor/mess.h"
#include <zlib.h>

namespace {

struct ImgWriteState {
  int use_inter = 0;  // next GIF interlaced
  int trans = 0;      // next GIF with a transparent background
  // Plot labels and frame that IMG_dump writes with the picture.
  std::string label_title, label_name, label_datim;
  Domain dump_domain;
};
ImgWriteState img_state;

// Gives a written image its final name; a failed write leaves nothing.
int finish(zor::gks::SafeFile& f, const char* filename) {
  if (f.commit()) return 1;
  MESS_print(M_WARN, "Unable to write image file: %s\n", filename);
  return 0;
}

// Pixels per stored row, padding included.
int row_pixels(const IMG_report& im) {
  if (im.bits_pixel == 32) return im.bytes_line / 4;
  int bits = im.bits_pixel > 0 ? im.bits_pixel : im.depth;
  if (bits <= 0) return 0;
  return im.bytes_line * 8 / bits;
}

int pixel_bits(const IMG_report& im) {
  if (im.bits_pixel == 32) return 32;
  if (im.depth > 16 || im.bits_pixel == 24) return 24;
  if (im.bits_pixel == 16 || im.depth > 8) return 16;
  if (im.bits_pixel == 8 || im.depth > 4) return 8;
  if (im.bits_pixel == 4 || im.depth > 1) return 4;
  return 1;
}

unsigned long get_pixel(const IMG_report& im, int bits, int row, int col) {
  const unsigned char* p = im.data + static_cast<std::size_t>(row) * im.bytes_line;
  const bool msb = im.byte_order == 1;
  switch (bits) {
    case 32: {
      const unsigned char* q = p + col * 4 + (msb ? 1 : 0);
      return msb ? (q[0] << 16) | (q[1] << 8) | q[2] : (q[2] << 16) | (q[1] << 8) | q[0];
    }
    case 24: {
      const unsigned char* q = p + col * 3;
      return msb ? (q[0] << 16) | (q[1] << 8) | q[2] : (q[2] << 16) | (q[1] << 8) | q[0];
    }
    case 16: {
      const unsigned char* q = p + col * 2;
      return msb ? (q[0] << 8) | q[1] : (q[1] << 8) | q[0];
    }
    case 8: return p[col];
    case 4: return (col % 2 == 0) ? (p[col / 2] >> 4) & 0x0f : p[col / 2] & 0x0f;
    default: return (p[col / 8] >> (col % 8)) & 1;
  }
}

// Stores a palette index in the pixel's place (low byte, nibble or bit).
void put_index(IMG_report& im, int bits, int row, int col, int ind) {
  unsigned char* p = im.data + static_cast<std::size_t>(row) * im.bytes_line;
  const bool msb = im.byte_order == 1;
  switch (bits) {
    case 32: p[col * 4 + (msb ? 3 : 0)] = static_cast<unsigned char>(ind); break;
    case 24: p[col * 3 + (msb ? 2 : 0)] = static_cast<unsigned char>(ind); break;
    case 16: p[col * 2 + (msb ? 1 : 0)] = static_cast<unsigned char>(ind); break;
    case 8: p[col] = static_cast<unsigned char>(ind); break;
    case 4:
      if (col % 2 == 0)
        p[col / 2] = static_cast<unsigned char>((p[col / 2] & 0x0f) | ((ind & 0x0f) << 4));
      else
        p[col / 2] = static_cast<unsigned char>((p[col / 2] & 0xf0) | (ind & 0x0f));
      break;
    default:
      if (ind & 1)
        p[col / 8] = static_cast<unsigned char>(p[col / 8] | (1 << (col % 8)));
      else
        p[col / 8] = static_cast<unsigned char>(p[col / 8] & ~(1 << (col % 8)));
  }
}

// Reads back a palette index written by put_index.
int get_index(const IMG_report& im, int bits, int row, int col) {
  const unsigned char* p = im.data + static_cast<std::size_t>(row) * im.bytes_line;
  const bool msb = im.byte_order == 1;
  switch (bits) {
    case 32: return p[col * 4 + (msb ? 3 : 0)];
    case 24: return p[col * 3 + (msb ? 2 : 0)];
    case 16: return p[col * 2 + (msb ? 1 : 0)];
    default: return static_cast<int>(get_pixel(im, bits, row, col));
  }
}

struct Channel {
  unsigned long mask = 0;
  int shift = 0;
  int width = 0;
  explicit Channel(unsigned long m) : mask(m) {
    if (m == 0) return;
    while (!((m >> shift) & 1)) ++shift;
    while ((m >> (shift + width)) & 1) ++width;
  }
  int value(unsigned long pixel) const {
    if (width == 0) return 0;
    unsigned long v = (pixel & mask) >> shift;
    return width <= 8 ? static_cast<int>(v << (8 - width)) : static_cast<int>(v >> (width - 8));
  }
};

struct PaletteEntry {
  long value = -1;
  int red = 0, grn = 0, blu = 0;
};

struct Palette {
  std::array<PaletteEntry, 256> entry{};
  int count = 0;
  int background = 0;  // entry of the background pixel: the transparent index
};

// One stored row's pixel values, padding columns included; the switch on the
// pixel layout is taken once per row rather than once per pixel.
void read_row(const IMG_report& im, int bits, int row, std::vector<unsigned long>& vals) {
  const unsigned char* p = im.data + static_cast<std::size_t>(row) * im.bytes_line;
  const int n = static_cast<int>(vals.size());
  const bool msb = im.byte_order == 1;
  switch (bits) {
    case 32:
      // Pad byte first (MSB first) or last: one 32-bit load per pixel.
      for (int c = 0; c < n; ++c) {
        std::uint32_t w;
        std::memcpy(&w, p + static_cast<std::size_t>(c) * 4, sizeof w);
        if constexpr (std::endian::native == std::endian::little) w = msb ? __builtin_bswap32(w) : w;
        else w = msb ? w : __builtin_bswap32(w);
        vals[c] = w & 0xffffffu;
      }
      break;
    case 8:
      for (int c = 0; c < n; ++c) vals[c] = p[c];
      break;
    default:
      for (int c = 0; c < n; ++c) vals[c] = get_pixel(im, bits, row, c);
  }
}

// Pixel value -> palette entry. Values in the palette are distinct, so a hash
// over them finds the same entry as a scan in order; a picture rarely has
// more than a few dozen colours, and long runs of one value hit `last`.
class PaletteLookup {
 public:
  PaletteLookup() { slot_.fill(kEmpty); }
  int find(long v) {
    if (v == last_value_) return last_index_;
    for (std::size_t h = hash(v);; h = (h + 1) & (kSlots - 1)) {
      if (slot_[h].index < 0) return -1;
      if (slot_[h].value == v) {
        last_value_ = v;
        last_index_ = slot_[h].index;
        return last_index_;
      }
    }
  }
  void add(long v, int index) {
    std::size_t h = hash(v);
    while (slot_[h].index >= 0) h = (h + 1) & (kSlots - 1);
    slot_[h] = {v, index};
  }

 private:
  struct Slot {
    long value;
    int index;
  };
  static constexpr std::size_t kSlots = 1024;  // four times the palette's 256 entries
  static constexpr Slot kEmpty{-1, -1};
  static std::size_t hash(long v) {
    return (static_cast<unsigned long>(v) * 0x9E3779B97F4A7C15ul) >> 54;
  }
  std::array<Slot, kSlots> slot_;
  long last_value_ = -2;  // no pixel value is negative
  int last_index_ = -1;
};

// Converts every pixel to a palette index; `out` (when given) receives one
// byte per pixel of width x height, else the indices go back into the image.
Palette build_palette(IMG_report& im, std::vector<unsigned char>* out) {
  Palette pal;
  const int bits = pixel_bits(im);
  const int npix = row_pixels(im);
  const Channel rc(im.red), gc(im.grn), bc(im.blu);
  const long bg = gget_color_ind(-1);
  if (out) out->assign(static_cast<std::size_t>(im.width) * im.height, 0);
  PaletteLookup lookup;
  std::vector<unsigned long> vals(static_cast<std::size_t>(std::max(npix, 0)));
  for (int row = 0; row < im.height; ++row) {
    read_row(im, bits, row, vals);
    unsigned char* dst = out ? out->data() + static_cast<std::size_t>(row) * im.width : nullptr;
    for (int col = 0; col < npix; ++col) {
      const long v = col < im.width ? static_cast<long>(vals[col]) : 0;
      int ind = lookup.find(v);
      if (ind < 0) {
        if (pal.count < 256) {
          PaletteEntry& e = pal.entry[pal.count];
          e.value = v;
          if (im.color_type == 1) {
            if (im.colors && v >= 0 && v < im.num_colors) {
              e.red = static_cast<int>(im.colors[v].red * 255);
              e.grn = static_cast<int>(im.colors[v].grn * 255);
              e.blu = static_cast<int>(im.colors[v].blu * 255);
            }
          } else {
            e.red = rc.value(v);
            e.grn = gc.value(v);
            e.blu = bc.value(v);
          }
          if (v == bg) pal.background = pal.count;
          ind = pal.count++;
          lookup.add(v, ind);
        } else {
          ind = 0;
        }
      }
      if (col >= im.width) continue;
      if (dst)
        dst[col] = static_cast<unsigned char>(ind);
      else
        put_index(im, bits, row, col, ind);
    }
  }
  return pal;
}

// LZW code output in GIF data sub-blocks.
class GifCodeWriter {
 public:
  explicit GifCodeWriter(std::FILE* f) : f_(f) {}
  void emit(int code, int width) {
    acc_ |= static_cast<unsigned long>(code) << nbits_;
    nbits_ += width;
    while (nbits_ >= 8) {
      byte(static_cast<unsigned char>(acc_ & 0xff));
      acc_ >>= 8;
      nbits_ -= 8;
    }
  }
  void finish() {
    if (nbits_ > 0) byte(static_cast<unsigned char>(acc_ & 0xff));
    acc_ = 0;
    nbits_ = 0;
    flush();
  }

 private:
  void byte(unsigned char b) {
    block_[count_++] = b;
    if (count_ >= 254) flush();
  }
  void flush() {
    if (count_ == 0) return;
    std::fputc(count_, f_);
    std::fwrite(block_.data(), 1, count_, f_);
    count_ = 0;
  }
  std::FILE* f_;
  std::array<unsigned char, 1000> block_{};
  int count_ = 0;
  unsigned long acc_ = 0;
  int nbits_ = 0;
};

// The string table: 4096 buckets of one key each, overflow chained through
// a pool of 4096 nodes.
class LzwTable {
 public:
  static constexpr int kSize = 4096;
  void reset() {
    bucket_.fill(Node{});
    pool_used_ = 0;
  }
  int find(long key, int bucket) const {
    const Node* n = &bucket_[bucket];
    if (n->key < 0) return -1;
    while (true) {
      if (n->key == key) return n->code;
      if (n->next < 0) return -1;
      n = &pool_[n->next];
    }
  }
  bool pool_full() const { return pool_used_ >= kSize; }
  void enter(long key, int bucket, int code) {
    Node* n = &bucket_[bucket];
    if (n->key < 0) {
      n->key = key;
      n->code = code;
      return;
    }
    while (n->next >= 0) n = &pool_[n->next];
    n->next = pool_used_;
    pool_[pool_used_++] = Node{key, code, -1};
  }

 private:
  struct Node {
    long key = -1;
    int code = 0;
    int next = -1;
  };
  std::array<Node, kSize> bucket_{};
  std::array<Node, kSize> pool_{};
  int pool_used_ = 0;
};

void put16(std::FILE* f, int v) {
  std::fputc(v & 0xff, f);
  std::fputc((v >> 8) & 0xff, f);
}

void put32be(std::FILE* f, unsigned long v) {
  std::fputc(static_cast<int>((v >> 24) & 0xff), f);
  std::fputc(static_cast<int>((v >> 16) & 0xff), f);
  std::fputc(static_cast<int>((v >> 8) & 0xff), f);
  std::fputc(static_cast<int>(v & 0xff), f);
}

std::vector<int> row_order(int height, bool interlace) {
  std::vector<int> rows;
  if (!interlace) {
    for (int r = 0; r < height; ++r) rows.push_back(r);
    return rows;
  }
  static constexpr int start[4] = {0, 4, 2, 1};
  static constexpr int step[4] = {8, 8, 4, 2};
  for (int pass = 0; pass < 4; ++pass)
    for (int r = start[pass]; r < height; r += step[pass]) rows.push_back(r);
  return rows;
}

using Writer = int (*)(const char*, IMG_report*);

int dump_with(const char* filename, Writer write) {
  IMG_report image;
  if (!gget_image(&image)) {
    IMG_free(&image);
    return 0;
  }
  const int ok = write(filename, &image);
  IMG_free(&image);
  return ok;
}

}  // namespace

void IMG_init(IMG_report* image) {
  *image = IMG_report{};
  image->domain.proj = -9999;
}

void IMG_free(IMG_report* image) {
  std::free(image->colors);
  std::free(image->data);
  image->colors = nullptr;
  image->data = nullptr;
}

int gget_image(IMG_report* image) {
  IMG_init(image);
  zor::gks::Device* dev = zor::gks::current_device();
  if (!dev) return 0;
  return dev->capture(*image);
}

int GIF_interlace(int val) {
  img_state.use_inter = val;
  return val;
}

int GIF_transparent(int val) {
  img_state.trans = val;
  return val;
}

int GIF_write(const char* filename, IMG_report* image) {
  zor::gks::SafeFile f(filename != nullptr ? filename : "");
  if (!f) {
    MESS_print(M_WARN, "Unable to open GIF file\n");
    return 0;
  }
  IMG_report& im = *image;
  const Palette pal = build_palette(im, nullptr);
  int bits = 1;
  while ((1 << bits) < pal.count) ++bits;
  const int code_size = bits < 2 ? 2 : bits;
  const int clear = 1 << code_size;
  const int end = clear + 1;

  std::FILE* fp = f.get();
  std::fputs("GIF89a", fp);
  put16(fp, im.width);
  put16(fp, im.height);
  std::fputc(0x80 | ((bits - 1) << 4) | (bits - 1), fp);
  std::fputc(0, fp);
  std::fputc(0, fp);
  for (int i = 0; i < (1 << bits); ++i) {
    std::fputc(pal.entry[i].red, fp);
    std::fputc(pal.entry[i].grn, fp);
    std::fputc(pal.entry[i].blu, fp);
  }
  if (img_state.trans) {
    const unsigned char gce[] = {0x21, 0xF9, 0x04, 0x01, 0x0A, 0x00,
                                 static_cast<unsigned char>(pal.background), 0x00};
    std::fwrite(gce, 1, sizeof gce, fp);
  }
  std::fputc(0x2C, fp);
  put16(fp, 0);
  put16(fp, 0);
  put16(fp, im.width);
  put16(fp, im.height);
  std::fputc(img_state.use_inter ? 0x40 : 0, fp);
  std::fputc(code_size, fp);

  auto table = std::make_unique<LzwTable>();
  GifCodeWriter out(fp);
  int width = code_size + 1;
  int next = end + 1;
  auto emit = [&](int code) {
    out.emit(code, width);
    if (next > (1 << width) - 1 && width < 12) ++width;
  };
  table->reset();
  emit(clear);
  const int pbits = pixel_bits(im);
  int p = -1;
  for (int row : row_order(im.height, img_state.use_inter != 0)) {
    for (int col = 0; col < im.width; ++col) {
      const int c = get_index(im, pbits, row, col);
      if (p < 0) {
        p = c;
        continue;
      }
      const long key = (static_cast<long>(c) << 12) + p;
      const int bucket = (p ^ (c << 4)) & (LzwTable::kSize - 1);
      const int code = table->find(key, bucket);
      if (code >= 0) {
        p = code;
        continue;
      }
      emit(p);
      p = c;
      if (next >= LzwTable::kSize || table->pool_full()) {
        emit(clear);
        table->reset();
        width = code_size + 1;
        next = end + 1;
      } else {
        table->enter(key, bucket, next++);
      }
    }
  }
  if (p >= 0) emit(p);
  emit(end);
  out.finish();
  std::fputc(0x00, fp);
  std::fputc(0x3B, fp);
  return finish(f, filename);
}

int PNG_write(const char* filename, IMG_report* image) {
  zor::gks::SafeFile f(filename != nullptr ? filename : "");
  if (!f) {
    MESS_print(M_WARN, "Unable to open PNG file\n");
    return 0;
  }
  IMG_report& im = *image;
  std::vector<unsigned char> pixels;
  const Palette pal = build_palette(im, &pixels);

  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  if (!png) return 0;
  png_infop info = png_create_info_struct(png);
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    return 0;
  }
  std::vector<png_bytep> rows(static_cast<std::size_t>(im.height));
  for (int r = 0; r < im.height; ++r) rows[r] = pixels.data() + static_cast<std::size_t>(r) * im.width;
  std::array<png_color, 256> plte{};
  for (int i = 0; i < pal.count; ++i) {
    plte[i].red = static_cast<png_byte>(pal.entry[i].red);
    plte[i].green = static_cast<png_byte>(pal.entry[i].grn);
    plte[i].blue = static_cast<png_byte>(pal.entry[i].blu);
  }
  const char* wt = gget_win_title();
  std::string title = wt ? wt : "";
  std::string software = "ZOR - Nimbrel v5.0";
  char when[64] = {};
  const std::time_t now = std::time(nullptr);
  std::tm tmv{};
  gmtime_r(&now, &tmv);
  std::strftime(when, sizeof when, "%d %b %Y %H:%M:%S GMT", &tmv);
  std::string k1 = "Title", k2 = "Software", k3 = "Creation Time";
  std::array<png_text, 3> text{};
  text[0].key = k1.data();
  text[0].text = title.data();
  text[1].key = k2.data();
  text[1].text = software.data();
  text[2].key = k3.data();
  text[2].text = when;
  for (auto& t : text) t.compression = PNG_TEXT_COMPRESSION_NONE;

  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return 0;
  }
  png_init_io(png, f.get());
  png_set_IHDR(png, info, im.width, im.height, 8, PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_PLTE(png, info, plte.data(), 256);
  png_set_text(png, info, text.data(), 3);
  png_write_info(png, info);
  png_write_image(png, rows.data());
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return finish(f, filename);
}

int XWD_write(const char* filename, IMG_report* image) {
  zor::gks::SafeFile f(filename != nullptr ? filename : "");
  if (!f) {
    std::fputs("Unable to open dump file\n", stderr);
    return 0;
  }
  const IMG_report& im = *image;
  std::FILE* fp = f.get();
  const std::size_t name_len = std::strlen(im.info) + 1;
  const unsigned long header[25] = {
      100 + name_len, 7, 2, static_cast<unsigned long>(im.depth),
      static_cast<unsigned long>(im.width), static_cast<unsigned long>(im.height), 0,
      static_cast<unsigned long>(im.byte_order), 32, static_cast<unsigned long>(im.byte_order), 32,
      static_cast<unsigned long>(im.bits_pixel), static_cast<unsigned long>(im.bytes_line),
      im.color_type == 1 ? 3ul : 4ul, im.red, im.grn, im.blu, 8,
      static_cast<unsigned long>(im.num_colors), static_cast<unsigned long>(im.num_colors),
      static_cast<unsigned long>(im.width), static_cast<unsigned long>(im.height), 0, 0, 0};
  for (unsigned long v : header) put32be(fp, v);
  if (std::ferror(fp)) {
    std::fputs("Unable to write dump file header\n", stderr);
    return 0;
  }
  if (std::fwrite(im.info, 1, name_len, fp) != name_len) {
    std::fputs("Unable to write window name to dump file.\n", stderr);
    return 0;
  }
  for (int i = 0; i < im.num_colors && im.colors; ++i) {
    put32be(fp, static_cast<unsigned long>(i));
    const float ch[3] = {im.colors[i].red, im.colors[i].grn, im.colors[i].blu};
    for (float c : ch) {
      const int v = static_cast<int>(c * 65535);
      std::fputc((v >> 8) & 0xff, fp);
      std::fputc(v & 0xff, fp);
    }
    std::fputc(7, fp);
    std::fputc(0, fp);
  }
  if (std::ferror(fp)) {
    std::fputs("Unable to write color map to dump file.\n", stderr);
    return 0;
  }
  const std::size_t n = static_cast<std::size_t>(im.height) * im.bytes_line;
  if (n && std::fwrite(im.data, 1, n, fp) != n) {
    std::fputs("Unable to write to XWD file.\n", stderr);
    return 0;
  }
  return finish(f, filename);
}

int GIF_dump(const char* filename) { return dump_with(filename, GIF_write); }
int PNG_dump(const char* filename) { return dump_with(filename, PNG_write); }
int XWD_dump(const char* filename) { return dump_with(filename, XWD_write); }

namespace {

bool set(float v) { return v != -9999.0f; }

std::string domain_tag(const Domain& d) {
  char buf[200] = {};
  switch (d.proj) {
    case 2: return "LL ";
    case 3: return "ME ";
    case 1:
      if (set(d.plon) && d.plon != d.clon) {
        std::snprintf(buf, sizeof buf, "PS:%f ", d.plon);
        return buf;
      }
      return "PS ";
    case 4:
      if (set(d.param[0]))
        std::snprintf(buf, sizeof buf, "LC:%f:%f:%f:%f:%f ", d.plat, d.plon, d.param[0],
                      d.param[1], d.param[2]);
      else if (set(d.plon))
        std::snprintf(buf, sizeof buf, "LC:%f ", d.plon);
      else
        return "LC ";
      return buf;
    case 9:
      std::snprintf(buf, sizeof buf, "SAT:%f:%f", d.plat, d.plon);
      if (set(d.param[0])) std::snprintf(buf + std::strlen(buf), 40, ":%f", d.param[0]);
      return std::string(buf) + " ";
    default: return "";
  }
}

// Appends `bytes` to the file, deflated in pieces of 10000 when `packed`.
bool write_pixels(std::FILE* f, const std::vector<unsigned char>& bytes, bool packed) {
  if (!packed) return std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  std::vector<unsigned char> out(12000);
  for (std::size_t at = 0; at < bytes.size(); at += 10000) {
    const std::size_t n = std::min<std::size_t>(10000, bytes.size() - at);
    z_stream z{};
    if (deflateInit(&z, Z_DEFAULT_COMPRESSION) != Z_OK) return false;
    z.next_in = const_cast<Bytef*>(bytes.data() + at);
    z.avail_in = static_cast<uInt>(n);
    int rc = Z_OK;
    while (rc != Z_STREAM_END) {
      z.next_out = out.data();
      z.avail_out = static_cast<uInt>(out.size());
      rc = deflate(&z, Z_FINISH);
      if (rc == Z_STREAM_ERROR) break;
      std::fwrite(out.data(), 1, out.size() - z.avail_out, f);
    }
    deflateEnd(&z);
    if (rc != Z_STREAM_END) return false;
  }
  return true;
}

}  // namespace

void IMG_set_dump_labels(const char* title, const char* name, const char* datim) {
  img_state.label_title = title ? title : "";
  img_state.label_name = name ? name : "";
  img_state.label_datim = datim ? datim : "";
}

void IMG_set_dump_domain(const Domain* domain) {
  img_state.dump_domain = domain ? *domain : Domain{};
}

int IMG_write(const char* filename, IMG_report* image, int type) {
  zor::gks::SafeFile f(filename != nullptr ? filename : "");
  if (!f) {
    MESS_print(M_WARN, "Unable to open image file: %s\n", filename);
    return 0;
  }
  IMG_report& im = *image;
  std::FILE* fp = f.get();
  std::fputs(type == 1 ? "ZORIMGZ\n" : "ZORIMG\n", fp);
  std::fprintf(fp, "%s\n%s\n", im.datim, im.info);
  const Domain& d = im.domain;
  const std::string tag = domain_tag(d);
  if (d.proj == -9999 || tag.empty())
    std::fprintf(fp, "%d %d\n", im.width, im.height);
  else
    std::fprintf(fp, "%s%f %f %f %f %d %d\n", tag.c_str(), d.clat, d.clon, d.dx, d.dy, d.nx,
                 d.ny);
  // One byte per pixel, padding columns dropped so the reader gets width x height.
  std::vector<unsigned char> bytes;
  bytes.reserve(static_cast<std::size_t>(im.width) * im.height);
  const int bits = pixel_bits(im);
  for (int row = 0; row < im.height; ++row)
    for (int col = 0; col < im.width; ++col) {
      const unsigned long v = get_pixel(im, bits, row, col);
      unsigned char b;
      if (bits == 32)
        b = static_cast<unsigned char>((((v >> 16) & 0xff) + ((v >> 8) & 0xff) + (v & 0xff)) / 3);
      else if (bits == 24)
        b = static_cast<unsigned char>(v >> 16);
      else if (bits == 16)
        b = static_cast<unsigned char>(v >> 8);
      else
        b = static_cast<unsigned char>(v);
      bytes.push_back(b);
    }
  if (!write_pixels(fp, bytes, type == 1) || std::ferror(fp)) {
    MESS_print(M_WARN, "Unable to write image file: %s\n", filename);
    return 0;
  }
  return finish(f, filename);
}

int IMG_dump(const char* filename) {
  IMG_report image;
  if (!gget_image(&image)) {
    IMG_free(&image);
    return 0;
  }
  std::snprintf(image.info, sizeof image.info, "%s [%s]", img_state.label_title.c_str(),
                img_state.label_name.c_str());
  std::snprintf(image.datim, sizeof image.datim, "%s", img_state.label_datim.c_str());
  image.domain = img_state.dump_domain;
  if (image.domain.proj != -9999 && image.domain.nx > 0 && image.domain.ny > 0) {
    // The grid spacing scales to the captured picture's size.
    image.domain.dx *= static_cast<float>(image.domain.nx) / image.width;
    image.domain.dy *= static_cast<float>(image.domain.ny) / image.height;
    image.domain.nx = image.width;
    image.domain.ny = image.height;
  }
  const int ok = IMG_write(filename, &image, 1);
  IMG_free(&image);
  return ok;
}
