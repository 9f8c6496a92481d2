// One record of decoding rules per NIDS product code.
#pragma once

#include <vector>

#include "nids_internal.h"

namespace zor::nids {

inline constexpr int kMaxCode = 255;

enum class ThresRule { generic, velocity16, tenths, tenths_knots, thousandths, dvil, eet, hundredths, float32, generic_fixed, level_index };
enum class ElevMax { none, elev_only, elev_p4, elev_p4_p5, elev_p4_p5_tenths, p7_p4_hundredths, p4_tenths, p4_hundredths };
enum class MaxText { max_0, min_max_0, min_max_1, min_max_2, max_1, max_2, none };
enum class BeginText { none, p5_p6, p1_p2 };

struct ProductRules {
  bool in_site_table = false;
  float site_res = 0.0f;        // nautical miles
  float site_range = 0.0f;      // nautical miles
  float mosaic_km = -9999.0f;   // mosaic cell size
  const char* site_name = nullptr;
  const char* mosaic_name = nullptr;
  ThresRule thres = ThresRule::generic;
  ElevMax elev = ElevMax::none;
  MaxText max_text = MaxText::max_0;
  bool label_elev = false;
  BeginText begin = BeginText::none;
  bool storm_motion = false;
  bool layer = false;
  bool symb_compressed = false;  // known to compress; detection itself is by content
  DigitalRule digital = DigitalRule::linear;
  bool divide_by_100 = false;
  bool folded_code1 = false;  // 8-bit code 1 is range folded (-90)
  bool icd_from_two = false;  // with icd values: min + (b - 2) x increment
  bool icd_knots = false;     // with icd values: thresholds in m/s turned into knots
  bool text_pages = false;    // pages of text lines may stand in the symbology's place
};

const ProductRules& rules(int code);
bool product_tables_consistent();

}  // namespace zor::nids
