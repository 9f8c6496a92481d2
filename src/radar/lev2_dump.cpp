// Per-cut summary of a Level II volume: for every elevation number and every
// moment present, the radials carrying it, the first radial's gate layout and
// the largest decoded value.
#include <algorithm>
#include <cstdio>
#include <map>
#include <string>

#include "zor/lev2.h"

namespace zor::lev2 {

namespace {

struct CutMoment {
  int radials = 0;
  int gates = 0;
  float first_km = 0.0f;
  float gate_km = 0.0f;
  bool have_max = false;
  float max = 0.0f;
};

struct Cut {
  float elev_deg = 0.0f;
  CutMoment m[kNumMoments];
};

// Largest value of one radial's gates; codes 0 and 1 are flags, not values.
bool radial_max(const MomentInfo& mi, std::span<const unsigned char> c, float* out) {
  unsigned hi = 0, lo = ~0u;
  if (mi.bits == 16) {
    for (std::size_t i = 0; i + 1 < c.size(); i += 2) {
      const unsigned v = static_cast<unsigned>(c[i]) << 8 | c[i + 1];
      if (v < 2) continue;
      hi = std::max(hi, v);
      lo = std::min(lo, v);
    }
  } else {
    for (unsigned char v : c) {
      if (v < 2) continue;
      hi = std::max<unsigned>(hi, v);
      lo = std::min<unsigned>(lo, v);
    }
  }
  if (hi < 2) return false;
  // Values grow with the code for a positive scale.
  *out = decode(mi, mi.scale > 0.0f ? hi : lo);
  return true;
}

}  // namespace

int dump_volume(const char* path, std::FILE* out) {
  std::string name = path ? path : "";
  if (LEV2_open_file(name.data()) != 1) return 1;
  std::map<int, Cut> cuts;
  LEV2_data d;
  long messages = 0;
  while (LEV2_get_block(&d) == 1) {
    ++messages;
    if (d.type == 1 || d.type == 31) {
      auto [it, fresh] = cuts.try_emplace(d.elev_num);
      Cut& cut = it->second;
      if (fresh) cut.elev_deg = d.elev_ang;
      for (int m = 0; m < kNumMoments; ++m) {
        const MomentInfo& mi = moment(m);
        if (!mi.present) continue;
        CutMoment& cm = cut.m[m];
        if (cm.radials++ == 0) {
          cm.gates = mi.gates;
          cm.first_km = mi.first_km;
          cm.gate_km = mi.gate_km;
        }
        float v = 0.0f;
        if (radial_max(mi, codes(m), &v) && (!cm.have_max || v > cm.max)) {
          cm.max = v;
          cm.have_max = true;
        }
      }
    }
    LEV2_next_block();
  }
  const bool hurt = damaged();
  const std::string why = problem();
  LEV2_close_file();
  for (const auto& [num, cut] : cuts) {
    for (int m = 0; m < kNumMoments; ++m) {
      const CutMoment& cm = cut.m[m];
      if (cm.radials == 0) continue;
      char max[32] = "-";
      if (cm.have_max) std::snprintf(max, sizeof max, "%.2f", static_cast<double>(cm.max));
      std::fprintf(out, "cut %d %.2f %s %d %d %.3f %.3f %s\n", num, static_cast<double>(cut.elev_deg),
                   moment_name(m), cm.radials, cm.gates, static_cast<double>(cm.first_km),
                   static_cast<double>(cm.gate_km), max);
    }
  }
  if (messages == 0) return 1;
  return hurt && cuts.empty() ? 1 : (hurt ? 2 : 0);
}

}  // namespace zor::lev2
