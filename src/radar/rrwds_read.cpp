// RRWDS decoding: the 12-byte header of packed decimal digits and the 360
// radial records of 25 three-byte groups, each group eight 3-bit levels,
// least significant bits first.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "zor/byte_reader.h"
#include "zor/cty.h"
#include "zor/mess.h"
#include "zor/rrwds.h"
#include "zor/text.h"

namespace zor::rrwds {

namespace {

constexpr std::size_t kGroupsAt = 4;  // bytes 0-3 of a record are not used
constexpr int kGroups = 25;

// One packed decimal number of the header: its digits by bit field, and
// the range the number must lie in. The file has no magic, so these are
// the only test that the bytes are an RRWDS header at all.
struct DigitField {
  const char* name;
  std::size_t byte;
  int tens_shift, tens_mask;
  int units_shift, units_mask;
  int min, max;
};

constexpr DigitField kHour{"hour", 5, 6, 0x3, 2, 0xF, 0, 23};
constexpr DigitField kMinute{"minute", 6, 4, 0x7, 0, 0xF, 0, 59};
constexpr DigitField kDay{"day", 10, 4, 0xF, 0, 0xF, 1, 31};
constexpr DigitField kMonth{"month", 11, 4, 0xF, 0, 0xF, 1, 12};

// The number, or -1 with `error` set when a digit or the number is out of range.
int digits(std::span<const std::uint8_t> h, const DigitField& f, std::string* error) {
  const int b = h[f.byte];
  const int tens = b >> f.tens_shift & f.tens_mask, units = b >> f.units_shift & f.units_mask;
  const int v = 10 * tens + units;
  if (tens > 9 || units > 9 || v < f.min || v > f.max) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "%s out of range (byte %zu = 0x%02X)", f.name, f.byte, static_cast<unsigned>(b));
    *error = buf;
    return -1;
  }
  return v;
}

}  // namespace

bool decode_header(std::span<const std::uint8_t> bytes, Header* header, std::string* error) {
  std::string scratch;
  std::string& err = error ? *error : scratch;
  if (bytes.size() < kHeaderLen) {
    err = "file of " + std::to_string(bytes.size()) + " bytes is shorter than the 12-byte header";
    return false;
  }
  ByteReader r(bytes.first(kHeaderLen));
  const auto h = r.bytes(kHeaderLen);
  Header out;
  for (int i = 0; i < 3; ++i) {
    const int c = h[static_cast<std::size_t>(i)];
    if (!(c >= '0' && c <= '9') && !(c >= 'A' && c <= 'Z') && !(c >= 'a' && c <= 'z')) {
      err = "station identifier is not three letters or digits";
      return false;
    }
    out.station[i] = static_cast<char>(c);
  }
  out.range = (h[3] & 0x80) != 0 ? 100 : 200;
  if ((out.hour = digits(h, kHour, &err)) < 0 || (out.minute = digits(h, kMinute, &err)) < 0 ||
      (out.day = digits(h, kDay, &err)) < 0 || (out.month = digits(h, kMonth, &err)) < 0)
    return false;
  const int units = h[9] >> 4, tenths = h[9] & 0xF;
  if (units > 9 || tenths > 9) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "elevation out of range (byte 9 = 0x%02X)", static_cast<unsigned>(h[9]));
    err = buf;
    return false;
  }
  out.elev = static_cast<float>(10 * (h[8] & 0x7) + units) + static_cast<float>(tenths) / 10.0f;
  if ((h[6] & 0x80) != 0) out.elev = -out.elev;
  if (header) *header = out;
  return true;
}

Radial unpack_radial(std::span<const std::uint8_t, kRecordLen> record) {
  Radial levels{};
  std::size_t bin = 0;
  for (int g = 0; g < kGroups; ++g) {
    const auto at = kGroupsAt + 3 * static_cast<std::size_t>(g);
    // Three bytes, least significant first, are 24 bits of eight levels.
    std::uint32_t bits = std::uint32_t{record[at]} | std::uint32_t{record[at + 1]} << 8 |
                         std::uint32_t{record[at + 2]} << 16;
    for (int k = 0; k < 8; ++k, bits >>= 3) levels[bin++] = static_cast<std::uint8_t>(bits & 0x7);
  }
  return levels;
}

bool decode(std::span<const std::uint8_t> bytes, Image* image, std::string* error) {
  std::string scratch;
  std::string& err = error ? *error : scratch;
  err.clear();
  Image out;
  if (!decode_header(bytes, &out.header, &err)) return false;
  ByteReader r(bytes.first(std::min(bytes.size(), kFileLen)));
  r.seek(kHeaderLen);
  while (r.remaining() >= kRecordLen) out.radials.push_back(unpack_radial(r.bytes(kRecordLen).first<kRecordLen>()));
  if (out.radials.empty()) {
    err = "file of " + std::to_string(bytes.size()) + " bytes holds no complete radial";
    return false;
  }
  if (out.radials.size() < static_cast<std::size_t>(kRadials))
    err = "file of " + std::to_string(bytes.size()) + " bytes ends after " + std::to_string(out.radials.size()) +
          " of 360 radials";
  if (image) *image = std::move(out);
  return true;
}

}  // namespace zor::rrwds

int RRWDS_get_header(FILE* ifile, NIDS_info* info) {
  using namespace zor::rrwds;
  if (ifile == nullptr || info == nullptr) return -1;
  std::uint8_t raw[kHeaderLen] = {};
  const std::size_t got = std::fread(raw, 1, sizeof raw, ifile);
  Header h;
  std::string error;
  if (!decode_header(std::span<const std::uint8_t>(raw, got), &h, &error)) {
    MESS_print(M_ERROR, "RRWDS_get_header: %s\n", error.c_str());
    return -1;
  }
  MESS_print(M_OUT3, "RANGE: %d\n", (raw[3] & 0x80) != 0 ? 1 : 0);
  CTY_data site;
  // Only the site's own entry gives its position, not a match by name.
  if (!CTY_get("rad.cty", h.station, &site) || stricmp(site.id, h.station) != 0) {
    MESS_print(M_ERROR, "RRWDS_get_header: Station not found\n");
    ZOR_exit(11);
  }
  std::snprintf(info->info, sizeof info->info, "Reflectivity for %s", h.station);
  std::snprintf(info->misc, sizeof info->misc, "Range: %3.0f Elev:%2.1f", static_cast<double>(h.range),
                static_cast<double>(h.elev));
  info->range = static_cast<float>(h.range);
  info->res = static_cast<float>(h.range) / kBins;
  info->elev = h.elev;
  info->date = Date{};
  info->date.month = h.month;
  info->date.day = h.day;
  info->date.hour = h.hour;
  info->date.min = h.minute;
  info->date.sec = 0;
  if (site.lat != ZOR_MISSING_F) {
    info->domain.clat = site.lat;
    info->domain.clon = site.lon;
  }
  info->domain.nx = info->domain.ny = 2 * kBins;
  info->domain.dx = info->domain.dy = info->res;
  return 1;
}
