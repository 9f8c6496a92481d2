// KAVRAD mosaic decoding: the 52-byte header at offset 1996 and the image of
// printable command bytes from offset 2048, one byte at a time.
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "mosaic_internal.h"
#include "zor/byte_reader.h"
#include "zor/dom.h"
#include "zor/mosaic.h"

namespace zor::mosaic {

namespace {

constexpr long kHeaderAt = 1996;
constexpr std::size_t kHeaderLen = 52;
constexpr int kCoarse = 10;

struct Grid {
  int nx, ny;
  float dx, dy;
};
constexpr Grid kCoarseGrid{2560, 2880, 0.0257812f, 0.0171874f};
constexpr Grid kFineGrid{5120, 5760, 0.0128906f, 0.0085937f};

// Value of a code by product kind; kKeep leaves the current value.
constexpr float kKeep = -1.0e30f;

float kind0(int k) {
  if (k <= 15) return 5.0f * k;
  if (k == 16) return -100.0f;
  if (k <= 31) return 5.0f * k + 20.0f;
  if (k == 32) return 100.0f;
  if (k <= 47) return 5.0f * k + 40.0f;
  if (k == 48) return 200.0f;
  return kKeep;
}

float kind1(int k) {
  if (k == 0) return -100.0f;
  if (k <= 3) return 10.0f * (k + 1);
  if (k <= 6) return 5.0f * k + 25.0f;
  return kKeep;
}

// The value of every code of both kinds, worked out once.
struct CodeTable {
  std::array<std::array<float, 64>, 2> v{};
  CodeTable() {
    for (int k = 0; k < 64; ++k) {
      v[0][static_cast<std::size_t>(k)] = kind0(k);
      v[1][static_cast<std::size_t>(k)] = kind1(k);
    }
  }
};

struct Decoder {
  int type = 0;
  float value = 0.0f;  // carried from byte to byte and from file to file
  int run = 0;
  bool ended = false;
  std::string error;
};

Decoder& dec() {
  static Decoder d;
  return d;
}

}  // namespace

const char* kavrad_error() { return dec().error.c_str(); }

void reset_kavrad_decoder() { dec() = Decoder{}; }

}  // namespace zor::mosaic

using zor::mosaic::dec;

int KAVRAD_header(FILE* ifile, KAVRAD_info* info) {
  using namespace zor::mosaic;
  if (ifile == nullptr || info == nullptr) return 0;
  Decoder& d = dec();
  d.error.clear();
  d.ended = false;
  std::uint8_t raw[kHeaderLen] = {};
  if (std::fseek(ifile, kHeaderAt, SEEK_SET) != 0 || std::fread(raw, 1, kHeaderLen, ifile) != kHeaderLen) {
    d.error = "file shorter than its 2048-byte header";
    d.ended = true;
    return 0;
  }
  zor::ByteReader r(raw);
  r.seek(14);
  d.type = info->type = r.u8() == 'C' ? 1 : 0;  // 14 product kind
  r.seek(16);
  const std::string when = r.text(12);           // 16-27 hhmmssddmmyy
  r.seek(38);
  const int res = r.u8();                        // 38 resolution
  r.seek(42);
  info->start = r.u16();                         // 42-43
  info->end = r.u16();                           // 44-45

  int f[6] = {};
  Date& dt = info->date;
  if (std::sscanf(when.c_str(), "%2d%2d%2d%2d%2d%2d", &f[0], &f[1], &f[2], &f[3], &f[4], &f[5]) == 6 && f[0] >= 0 &&
      f[0] <= 23 && f[1] >= 0 && f[1] <= 59 && f[2] >= 0 && f[2] <= 60 && f[3] >= 1 && f[3] <= 31 && f[4] >= 1 &&
      f[4] <= 12 && f[5] >= 0) {
    dt.hour = f[0];
    dt.min = f[1];
    dt.sec = f[2];
    dt.day = f[3];
    dt.month = f[4];
    dt.year = f[5] < 50 ? f[5] + 2000 : (f[5] < 200 ? f[5] + 1900 : f[5]);
  } else {
    std::string shown;
    for (char c : when) shown += (c >= ' ' && c < 127) ? c : '?';
    d.error = "header date does not parse: \"" + shown + "\"";
  }

  const Grid& g = res == kCoarse ? kCoarseGrid : kFineGrid;
  Domain& dom = info->domain;
  DOM_init(&dom);
  dom.proj = DOM_LATLON;
  dom.plat = dom.clat = 39.0f;
  dom.plon = dom.clon = -96.0f;
  dom.nx = g.nx;
  dom.ny = g.ny;
  dom.dx = g.dx;
  dom.dy = g.dy;
  std::snprintf(info->label, sizeof info->label, "%s", "KAV Radar Master Grid (Dbz)");
  std::fseek(ifile, 2048, SEEK_SET);
  return 1;
}

int KAVRAD_get_packet(FILE* ifile, KAVRAD_packet* packet) {
  using namespace zor::mosaic;
  static const CodeTable kCodes;
  if (ifile == nullptr || packet == nullptr) return 0;
  Decoder& d = dec();
  if (d.ended) return 0;
  const int c = std::getc(ifile);
  switch (c) {
    case EOF:
      d.ended = true;
      if (d.error.empty()) d.error = "image ends without its end byte '!'";
      return 0;
    case '!':
      d.ended = true;
      return 0;
    case '"': break;  // the previous run again
    case '#': d.run = -1; break;
    case '$': {
      const int n = std::getc(ifile);
      if (n == EOF) {
        d.ended = true;
        if (d.error.empty()) d.error = "image ends after a '$' without its run length";
        return 0;
      }
      d.run = n;
      break;
    }
    default:
      if (c < 32) {
        d.run = c;
      } else {
        d.run = c >> 6;
        const float v = kCodes.v[static_cast<std::size_t>(d.type)][static_cast<std::size_t>(c & 63)];
        if (v != kKeep) d.value = v;
      }
  }
  packet->run = d.run;
  packet->value = d.value;
  return 1;
}

int KAVRAD_rewind(FILE* ifile) {
  if (ifile == nullptr) return 0;
  std::rewind(ifile);
  KAVRAD_info scratch;
  return KAVRAD_header(ifile, &scratch);
}
