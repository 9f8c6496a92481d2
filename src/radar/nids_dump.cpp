// Text listing of a NIDS product: the decoder's items exactly as the plotter
// receives them, for inspection and for comparing decodes.
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "zor/nids.h"

namespace zor::nids {

namespace {

// " %g" of a value: to_chars writes printf's text without parsing a format
// (the start and width of every radial go through here).
char* put_value(char* out, char* end, float v) {
  *out++ = ' ';
  return std::to_chars(out, end, static_cast<double>(v), std::chars_format::general, 6).ptr;
}

void add_value(std::string& s, float v) {
  char buf[32];
  s.append(buf, put_value(buf, buf + sizeof buf, v));
}

std::string format(const char* fmt, auto... args) {
  char buf[256];
  std::snprintf(buf, sizeof buf, fmt, args...);
  return buf;
}

// The " %g" text of each value met, so that a product's few distinct
// levels are formatted once rather than once per bin.
class ValueText {
 public:
  void append(std::string& s, float v) {
    const Slot& e = slot(v);
    s.append(e.text, e.len);
  }

  // The values of a whole radial: each bin's text is copied at its slot's
  // full width into a scratch buffer that only grows, and the buffer is
  // appended once, instead of a string append per bin.
  void append(std::string& s, const std::vector<NIDS_data>& runs) {
    std::size_t bins = 0;
    for (const NIDS_data& d : runs) bins += static_cast<std::size_t>(run_length(d));
    char* out = scratch(bins);
    const Slot* last = nullptr;
    float last_val = 0.0f;
    for (const NIDS_data& d : runs) {
      // Neighbouring bins mostly repeat a value (no echo, missing).
      if (last == nullptr || std::memcmp(&d.val, &last_val, sizeof last_val) != 0) {
        last = &slot(d.val);
        last_val = d.val;
      }
      const Slot& e = *last;
      for (int i = run_length(d); i > 0; --i) {
        std::memcpy(out, e.text, sizeof e.text);
        out += e.len;
      }
    }
    s.append(scratch_.data(), static_cast<std::size_t>(out - scratch_.data()));
  }

  // The texts of a digital packet's 256 codes, made once per packet, so that
  // a bin costs a table look-up rather than a look-up by value.
  void use_codes(const std::array<float, 256>& values) {
    for (std::size_t c = 0; c < values.size(); ++c) set(code_text_[c], values[c]);
  }

  void append(std::string& s, std::span<const std::uint8_t> codes) {
    char* out = scratch(codes.size());
    for (std::uint8_t c : codes) {
      const Slot& e = code_text_[c];
      std::memcpy(out, e.text, sizeof e.text);
      out += e.len;
    }
    s.append(scratch_.data(), static_cast<std::size_t>(out - scratch_.data()));
  }

 private:
  static constexpr int kBits = 11;
  static constexpr std::size_t kProbes = 4;
  struct Slot {
    std::uint32_t key = 0;
    bool used = false;
    std::uint32_t len = 0;
    char text[16] = {};  // " -1.23457e+38" at the longest
  };
  std::array<Slot, 256> code_text_;
  std::vector<Slot> slots_;  // made at the first value, not for products without any
  std::vector<char> scratch_;

  static int run_length(const NIDS_data& d) { return d.run > 0.0f ? static_cast<int>(d.run) : 0; }

  static void set(Slot& e, float v) {
    e.len = static_cast<std::uint32_t>(put_value(e.text, e.text + sizeof e.text, v) - e.text);
  }

  // Room for `bins` texts at full width; the buffer only grows.
  char* scratch(std::size_t bins) {
    if (scratch_.size() < bins * sizeof(Slot::text)) scratch_.resize(bins * sizeof(Slot::text));
    return scratch_.data();
  }

  // A few probes, so that two levels sharing a home slot do not evict each
  // other bin after bin (dual-polarisation products have 256 levels).
  const Slot& slot(float v) {
    std::uint32_t key;
    std::memcpy(&key, &v, sizeof key);
    if (slots_.empty()) slots_.resize(std::size_t{1} << kBits);
    const std::size_t home = (key * 2654435761u) >> (32 - kBits);
    Slot* free = nullptr;
    for (std::size_t i = 0; i < kProbes; ++i) {
      Slot& e = slots_[(home + i) & (slots_.size() - 1)];
      if (e.used && e.key == key) return e;
      if (!e.used && free == nullptr) free = &e;
    }
    Slot& e = free != nullptr ? *free : slots_[home];
    set(e, v);
    e.key = key;
    e.used = true;
    return e;
  }
};

// Expands runs into one value per bin or cell; without `text` (nobody reads
// the listing) the runs are only decoded.
int add_runs(FILE* f, std::string& s, ValueText* text) {
  NIDS_data d;
  int stat;
  while ((stat = NIDS_get_data(f, &d)) == 1) {
    if (text == nullptr) continue;
    for (int i = 0; i < static_cast<int>(d.run); ++i) text->append(s, d.val);
  }
  return stat;
}

// Lists the items of the current packet; false when an item read failed.
bool dump_packet(FILE* f, int code, const std::string& prefix,
                 const std::function<void(const std::string&)>& line, ValueText* text) {
  switch (code) {
    case NIDS_PKT_RADIAL:
    case NIDS_PKT_DIGITAL_RADIAL:
    case NIDS_PKT_GENERIC: {
      float start, width;
      int stat;
      std::vector<NIDS_data> runs;
      std::vector<std::uint8_t> codes;
      const bool by_code = text != nullptr && radial_codes_available();
      if (by_code) text->use_codes(radial_code_values());
      while ((stat = NIDS_get_radial(f, &start, &width)) == 1) {
        std::string s = prefix + 'R';
        add_value(s, start);
        add_value(s, width);
        if (by_code) {
          if (get_radial_codes(f, codes) < 0) return false;
          text->append(s, codes);
        } else {
          if (get_radial_runs(f, runs) < 0) return false;
          if (text == nullptr) continue;
          text->append(s, runs);
        }
        line(s);
      }
      return stat == 0;
    }
    case NIDS_PKT_RASTER:
    case NIDS_PKT_RASTER_OLD:
    case NIDS_PKT_PRECIP_ARRAY: {
      int row = 0, stat;
      while ((stat = NIDS_get_rastor(f)) == 1) {
        std::string s = prefix + format("W %d", row++);
        if (add_runs(f, s, text) < 0) return false;
        line(s);
      }
      return stat == 0;
    }
    case NIDS_PKT_TEXT:
    case NIDS_PKT_TEXT_VALUE: {
      NIDS_text_data t;
      const int stat = NIDS_get_text(f, &t);
      if (stat == 1)
        line(prefix + format("T %g %g %g %s", static_cast<double>(t.x), static_cast<double>(t.y),
                             static_cast<double>(t.val), t.data));
      return stat >= 0;
    }
    default:
      if (NIDS_line_packet(code)) return dump_packet(f, NIDS_PKT_VECTOR, prefix, line, text);
      if (NIDS_symbol_packet(code)) {
        NIDS_text_data t;
        int stat;
        while ((stat = NIDS_get_text(f, &t)) == 1)
          line(prefix + format("S %d %g %g %g %s", code, static_cast<double>(t.x), static_cast<double>(t.y),
                               static_cast<double>(t.val), t.data));
        return stat == 0;
      }
      return true;
    case NIDS_PKT_VECTOR:
    case NIDS_PKT_VECTOR_VALUE: {
      NIDS_vector_data v;
      int stat;
      while ((stat = NIDS_get_vector(f, &v)) == 1)
        line(prefix + format("V %g %g %g %g %g", static_cast<double>(v.val), static_cast<double>(v.x1),
                             static_cast<double>(v.y1), static_cast<double>(v.x2),
                             static_cast<double>(v.y2)));
      return stat == 0;
    }
    case NIDS_PKT_WIND_BARB: {
      NIDS_wind_data w;
      int stat;
      while ((stat = NIDS_get_wind(f, &w)) == 1)
        line(prefix + format("B %g %g %g %g %g", static_cast<double>(w.val), static_cast<double>(w.x),
                             static_cast<double>(w.y), static_cast<double>(w.dir),
                             static_cast<double>(w.spd)));
      return stat == 0;
    }
  }
}

}  // namespace

int dump_product(FILE* f, const std::function<void(const std::string&)>& listing) {
  // Without a listing the product is decoded only, the costly text of every
  // bin left out.
  const std::function<void(const std::string&)> line =
      listing ? listing : [](const std::string&) {};
  NIDS_info info;
  if (NIDS_get_header(f, &info) != 1) return 1;
  line(format("product %d \"%s\" src %d mode %d packet 0x%X", info.code, info.info, info.src,
              info.mode, info.type));
  line(format("label \"%s\"", info.misc));
  line(format("date %04d-%02d-%02d %02d:%02d:%02d", info.date.year, info.date.month, info.date.day,
              info.date.hour, info.date.min, info.date.sec));
  line(format("size %d %d res %g range %g alt %g elev %g max %g nmax %g", info.nx, info.ny,
              static_cast<double>(info.res), static_cast<double>(info.range),
              static_cast<double>(info.alt), static_cast<double>(info.elev),
              static_cast<double>(info.max), static_cast<double>(info.nmax)));
  const Domain& d = info.domain;
  line(format("domain proj %d plat %g plon %g clat %g clon %g dx %g dy %g nx %d ny %d", d.proj,
              static_cast<double>(d.plat), static_cast<double>(d.plon), static_cast<double>(d.clat),
              static_cast<double>(d.clon), static_cast<double>(d.dx), static_cast<double>(d.dy), d.nx,
              d.ny));
  std::string th = "thres";
  for (float t : info.thres) add_value(th, t);
  line(th);

  bool ok = true;
  ValueText values;
  ValueText* text = listing ? &values : nullptr;
  int code = info.type;
  do {
    if (!dump_packet(f, code, "", line, text)) {
      ok = false;
      break;
    }
  } while (NIDS_packet(f, &code) == 1);

  if (ok && NIDS_graphic(f) == 1) {
    int page;
    while (ok && (page = NIDS_graphic_layer(f)) > 0) {
      std::string prefix(1, 'P');  // appended: GCC 12 warns falsely about "P" + std::string
      prefix.append(std::to_string(page)).append(1, ' ');
      while (NIDS_packet(f, &code) == 1) {
        if (!dump_packet(f, code, prefix, line, text)) {
          ok = false;
          break;
        }
      }
    }
  }
  return NIDS_last_error()[0] == '\0' && ok ? 0 : 2;
}

}  // namespace zor::nids
