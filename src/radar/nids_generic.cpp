// Generic data (packet 28): an XDR-encoded product whose first component,
// when it is radial, is handed out like a digital radial packet. XDR puts
// every number in four big-endian bytes and pads strings to four; a list is
// its count field and, when the count is not zero, the array's own count and
// elements.
#include <string>

#include "nids_internal.h"
#include "zor/byte_reader.h"
#include "zor/mess.h"

namespace zor::nids {

namespace {

constexpr int kRadialComponent = 1;
constexpr std::uint32_t kMaxItems = 1u << 20;  // more radials, bins or parameters is corruption

void skip_string(ByteReader& b) {
  const std::uint32_t n = b.u32();
  b.skip((static_cast<std::size_t>(n) + 3) / 4 * 4);
}

std::string read_string(ByteReader& b) {
  const std::uint32_t n = b.u32();
  std::string s = b.text(n);
  b.skip((4 - n % 4) % 4);
  return s;
}

// The array that follows a count field: nothing for 0, else its own count,
// which must agree.
std::uint32_t array_count(ByteReader& b) {
  const std::uint32_t n = b.u32();
  if (n == 0) return 0;
  if (n > kMaxItems || b.u32() != n) throw DecodeError("list count out of range");
  return n;
}

// Parameters: an identifier and an attribute string each.
void skip_params(ByteReader& b) {
  for (std::uint32_t i = array_count(b); i > 0; --i) {
    skip_string(b);
    skip_string(b);
  }
}

}  // namespace

bool parse_generic(std::span<const std::uint8_t> data, Generic& out) {
  out = Generic{};
  try {
    ByteReader b(data);
    skip_string(b);  // name
    skip_string(b);  // description
    b.skip(3 * 4);   // product id, type, generation time
    skip_string(b);  // radar name
    // Position, volume and elevation times, elevation, volume number,
    // operational mode, pattern, elevation number, compression, size.
    b.skip(12 * 4);
    skip_params(b);
    if (array_count(b) == 0 || b.u32() == 0) return false;  // first component present
    if (b.i32() != kRadialComponent) return false;
    skip_string(b);  // description
    out.bin_size = b.f32();
    b.f32();  // range to the first bin's centre
    skip_params(b);
    const std::uint32_t nradial = array_count(b);
    for (std::uint32_t r = 0; r < nradial; ++r) {
      GenericRadial rad;
      rad.azimuth = b.f32();
      b.f32();  // elevation
      rad.width = b.f32();
      b.u32();  // bins
      const std::string attrs = read_string(b);
      const bool floats = attrs.find("float") != std::string::npos;
      const std::uint32_t n = b.u32();
      if (n > kMaxItems) throw DecodeError("bin count out of range");
      rad.first = out.values.size();
      rad.bins = static_cast<int>(n);
      for (std::uint32_t i = 0; i < n; ++i)
        out.values.push_back(floats ? b.f32() : static_cast<float>(b.i32()));
      out.radials.push_back(rad);
    }
  } catch (const DecodeError& e) {
    MESS_print(M_DEBUG, "Generic data: %s\n", e.what());
    out = Generic{};
    return false;
  }
  MESS_print(M_OUT4, "Generic data: %zu radials, bin %g m\n", out.radials.size(), static_cast<double>(out.bin_size));
  return true;
}

}  // namespace zor::nids
