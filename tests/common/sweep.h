// Robustness sweeps over a reader: every prefix of a real file (in steps for
// large ones) and seeded random mutations of it, each handed to `read`, which
// must simply return. Run under ASan/UBSan, any out-of-bounds access, leak or
// undefined behaviour ends the test; the count of inputs read is returned so callers can check the sweep ran.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

namespace zor::test {

using SweepBytes = std::vector<std::uint8_t>;
using SweepRead = std::function<void(const std::uint8_t*, std::size_t)>;

// At most `max_prefixes` prefixes, evenly spaced, the whole file last.
inline int sweep_prefixes(const SweepBytes& whole, const SweepRead& read, std::size_t max_prefixes = 2000) {
  const std::size_t step = std::max<std::size_t>(1, whole.size() / max_prefixes);
  int n = 0;
  for (std::size_t len = 0; len <= whole.size(); len += step, ++n) {
    SweepBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(len));
    read(cut.data(), cut.size());  // a copy of exactly len bytes, so overreads are caught
  }
  return n;
}

// `count` mutants of `whole`: one to eight bytes replaced by random or
// boundary values (0, 0x7F, 0x80, 0xFF), or a run of bytes cut out.
inline int sweep_mutations(const SweepBytes& whole, const SweepRead& read, int count, unsigned seed) {
  if (whole.empty()) return 0;
  std::mt19937 rng(seed);
  static constexpr std::uint8_t kEdges[] = {0x00, 0x7F, 0x80, 0xFF};
  for (int i = 0; i < count; ++i) {
    SweepBytes m = whole;
    const int edits = 1 + static_cast<int>(rng() % 8);
    for (int e = 0; e < edits && !m.empty(); ++e) {
      const std::size_t at = rng() % m.size();
      switch (rng() % 4) {
        case 0: m[at] = static_cast<std::uint8_t>(rng()); break;
        case 1: m[at] = kEdges[rng() % 4]; break;
        case 2: m[at] ^= static_cast<std::uint8_t>(1u << (rng() % 8)); break;
        default: m.erase(m.begin() + static_cast<std::ptrdiff_t>(at),
                         m.begin() + static_cast<std::ptrdiff_t>(std::min(m.size(), at + 1 + rng() % 16)));
      }
    }
    read(m.data(), m.size());
  }
  return count;
}

}  // namespace zor::test
