// Product-code tables: names, geometry, threshold and value rules, label
// pieces. Each table row lists the codes it applies to; `rules(code)` folds
// the rows into one record per product code.
#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "nids_products.h"

namespace zor::nids {

namespace {

using Codes = std::vector<int>;

// Expands "a-b" style ranges written as pairs {a, b} next to single codes.
std::vector<int> span_codes(std::initializer_list<std::pair<int, int>> ranges) {
  std::vector<int> v;
  for (auto [a, b] : ranges)
    for (int c = a; c <= b; ++c) v.push_back(c);
  return v;
}

struct Geometry {
  Codes codes;
  float res;
  float range;
};
// Site products: bin size and range in nautical miles.
const Geometry kSiteGeometry[] = {
    {{22, 25, 28}, 0.135f, 31},
    {{23, 26, 29}, 0.27f, 62},
    {{16, 19, 24, 27, 30, 32, 56}, 0.54f, 124},
    {{94, 134}, 0.54f, 248},
    // Super-resolution products: quarter-kilometre bins to 460 km
    // (reflectivity) or 300 km (velocity, width, correlation).
    {{153}, 0.135f, 248},
    {{154, 155, 167}, 0.135f, 162},
    {{135}, 0.54f, 186},
    {{55}, 0.27f, 27},
    {{99, 163, 166, 170, 172, 174, 175, 176, 177}, 0.135f, 124},
    {{159, 161, 165}, 0.135f, 162},
    {{17, 20}, 1.08f, 248},
    {{18, 21, 36, 38, 67}, 2.16f, 248},
    {{41, 57, 65, 66, 90}, 2.16f, 124},
    {{35, 37, 141}, 0.54f, 124},
    {{78, 79, 80, 220, 221, 222, 138, 169, 171}, 1.08f, 124},
    {{180, 181, 182}, 0.08f, 48},
    {{186}, 0.16f, 224},
    {{81}, 0.047596f, 124},
};

struct MosaicCell {
  Codes codes;
  float km;
};
const MosaicCell kMosaicCells[] = {
    {{199, 203, 209, 210, 211, 212}, 1},
    {{137, 138, 139, 140, 180, 200, 105, 106}, 2},
    {{6, 30, 103, 95, 148, 90, 101, 102, 141, 201}, 4},
    {{91, 96, 107, 108, 142, 149, 202}, 8},
};

struct Name {
  std::vector<int> codes;
  const char* name;
};
const Name kSiteNames[] = {
    {span_codes({{16, 21}, {94, 94}, {153, 153}, {180, 181}, {186, 186}}), "Base reflectivity (Dbz)"},
    {span_codes({{22, 27}, {99, 99}, {154, 154}, {182, 182}}), "Base velocity (knt)"},
    {span_codes({{28, 30}, {155, 155}}), "Base spectrum width (knt)"},
    {{32}, "Digital hyb reflectivity (Dbz)"},
    {span_codes({{35, 38}}), "Comp reflectivity (Dbz)"},
    {{41}, "Echo tops (1000 ft)"},
    {{135}, "Enh Echo tops (1000 ft)"},
    {{48}, "VAD wind profile (knt)"},
    {{55, 56}, "Stm rel mn rad velocity (knt)"},
    {{57}, "Vert int liquid (kg/m^3)"},
    {{134}, "Digital vert int liquid (kg/m^3)"},
    {{65}, "Layer 1 comp refl (max Dbz)"},
    {{66}, "Layer 2 comp refl (max Dbz)"},
    {{90}, "Layer 3 comp refl (max Dbz)"},
    {{67}, "Comp refl APR (Dbz)"},
    {{78, 220}, "Sfc 1 hr rainfall acc. (in)"},
    {{79, 221}, "Sfc 3 hr rainfall acc. (in)"},
    {{80, 222}, "Sfc storm total rainfall acc. (in)"},
    {{81}, "Digital precip array (in)"},
    {{138}, "Digital storm precip (in)"},
    {{141}, "Mesocyclone detection"},
    {{159}, "Digital diff refl (dBZ)"},
    {{161, 167}, "Digital correl coeff"},
    {{163}, "Digital spec diff phase (Deg/km)"},
    {{165}, "Digital hydro class"},
    {{166}, "Melting layer"},
    {{169}, "1 hr accum"},
    {{170}, "Digital accum array (in)"},
    {{171}, "Storm total accum"},
    {{172}, "Digital storm total accum (in)"},
    {{174}, "Digital 1 hr diff accum (in)"},
    {{175}, "Digital storm total diff accum (in)"},
    {{176}, "Digital instant prec rate (in/hr)"},
    {{177}, "Hybrid hydro class"},
};
const Name kMosaicNames[] = {
    {span_codes({{137, 144}, {180, 180}}), "Base reflectivity (Dbz)"},
    {{199, 200}, "Winter reflectivity (Dbz)"},
    {{203}, "Reflectivity at Lowest Alt (Dbz)"},
    {span_codes({{28, 65}, {103, 104}, {211, 211}}), "Composite reflectivity (Dbz)"},
    {{6}, "WARP Comp reflectivity (Dbz)"},
    {{90, 91}, "Sfc 1 hr precipitation (in)"},
    {{101, 105, 107}, "Sfc precipitation since 12Z (in)"},
    {{102, 106, 108}, "Sfc 24 hr precipitation (in)"},
    {{148, 149, 209}, "Vert int liquid (kg/m^3)"},
    {{95, 96}, "Echo tops (ft)"},
    {{210}, "Echo tops-18dBZ (ft)"},
    {{212}, "Echo tops-30dBZ (ft)"},
};

struct ThresRow {
  std::vector<int> codes;
  ThresRule rule;
};
const ThresRow kThresRules[] = {
    // 16-level velocity: no data and range folding are told apart.
    {span_codes({{22, 27}}), ThresRule::velocity16},
    {{32, 94, 153, 180, 182}, ThresRule::tenths},
    {{99, 154, 155}, ThresRule::tenths_knots},
    {{81}, ThresRule::thousandths},
    {{134}, ThresRule::dvil},
    {{135}, ThresRule::eet},
    {{138}, ThresRule::hundredths},
    {span_codes({{159, 159}, {161, 161}, {163, 163}, {165, 165}, {167, 167}, {170, 170}, {172, 177}}),
     ThresRule::float32},
    {{186}, ThresRule::generic_fixed},
    // Clutter filter control: the levels are filter states, no quantities.
    {{34}, ThresRule::level_index},
};

struct ElevRow {
  std::vector<int> codes;
  ElevMax rule;
};
const ElevRow kElevRules[] = {
    {span_codes({{16, 21}, {30, 30}, {94, 94}, {161, 161}, {163, 163}, {165, 165}, {167, 167}, {181, 181}}),
     ElevMax::elev_only},
    {span_codes({{22, 27}, {55, 56}, {99, 99}, {154, 154}, {182, 182}}), ElevMax::elev_p4_p5},
    {{153, 155, 180}, ElevMax::elev_p4},
    {{158, 159}, ElevMax::elev_p4_p5_tenths},
    {{175}, ElevMax::p7_p4_hundredths},
    {span_codes({{78, 81}, {169, 174}, {220, 222}}), ElevMax::p4_tenths},
    {{138}, ElevMax::p4_hundredths},
};

struct MaxRow {
  std::vector<int> codes;
  MaxText text;
};
const MaxRow kMaxText[] = {
    {span_codes({{22, 27}, {55, 56}, {99, 99}, {154, 154}, {182, 182}}), MaxText::min_max_0},
    {{158, 159, 161, 167}, MaxText::min_max_1},
    {{175}, MaxText::min_max_2},
    {span_codes({{78, 81}, {169, 174}, {220, 222}}), MaxText::max_1},
    {{138}, MaxText::max_2},
    {{165, 177}, MaxText::none},
};

const std::vector<int> kElevLabel =
    span_codes({{16, 27}, {55, 56}, {94, 94}, {99, 99}, {153, 155}, {158, 159}, {161, 161}, {163, 163},
                {165, 165}, {167, 167}, {180, 182}});
const std::vector<int> kCompressed = {32,  94,  99,  134, 135, 138, 153, 154, 155, 159, 161, 163,
                                      165, 167, 170, 172, 173, 174, 175, 176, 177, 180, 182, 186};
const std::vector<int> kDigitalScaled =
    span_codes({{159, 159}, {161, 161}, {163, 163}, {165, 165}, {167, 167}, {170, 170}, {172, 177}});

// 8-bit velocity and width: code 1 marks range folding.
const std::vector<int> kFoldedCode1 = {99, 154, 155, 182};
const std::vector<int> kIcdFromTwo = {32, 94, 99, 153, 154, 182, 186};

template <typename C>
bool has(const C& codes, int code) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

std::array<ProductRules, kMaxCode + 1> build() {
  std::array<ProductRules, kMaxCode + 1> t{};
  for (int c = 0; c <= kMaxCode; ++c) {
    ProductRules& p = t[static_cast<std::size_t>(c)];
    for (const auto& g : kSiteGeometry)
      if (has(g.codes, c)) {
        p.in_site_table = true;
        p.site_res = g.res;
        p.site_range = g.range;
      }
    for (const auto& m : kMosaicCells)
      if (has(m.codes, c)) p.mosaic_km = m.km;
    for (const auto& n : kSiteNames)
      if (has(n.codes, c)) p.site_name = n.name;
    for (const auto& n : kMosaicNames)
      if (has(n.codes, c)) p.mosaic_name = n.name;
    for (const auto& r : kThresRules)
      if (has(r.codes, c)) p.thres = r.rule;
    for (const auto& r : kElevRules)
      if (has(r.codes, c)) p.elev = r.rule;
    for (const auto& r : kMaxText)
      if (has(r.codes, c)) p.max_text = r.text;
    p.label_elev = has(kElevLabel, c);
    p.symb_compressed = has(kCompressed, c);
    p.begin = (c == 80 || c == 222)                           ? BeginText::p5_p6
              : (c == 138 || c == 171 || c == 172 || c == 175) ? BeginText::p1_p2
                                                                : BeginText::none;
    p.storm_motion = c == 55 || c == 56;
    p.layer = (c >= 63 && c <= 66) || (c >= 89 && c <= 90);
    p.digital = c == 134                   ? DigitalRule::dvil
                : c == 135                 ? DigitalRule::eet
                : has(kDigitalScaled, c)   ? DigitalRule::scaled_offset
                : c == 155                 ? DigitalRule::width
                                           : DigitalRule::linear;
    p.divide_by_100 = c >= 170 && c <= 175;
    p.folded_code1 = has(kFoldedCode1, c);
    p.icd_from_two = has(kIcdFromTwo, c);
    p.icd_knots = c == 182;
    p.text_pages = c == 62;
  }
  return t;
}

const ProductRules kUnknown{};

}  // namespace

const ProductRules& rules(int code) {
  static const std::array<ProductRules, kMaxCode + 1> table = build();
  if (code < 0 || code > kMaxCode) return kUnknown;
  return table[static_cast<std::size_t>(code)];
}

// Every code listed once per table: a duplicate would silently shadow a rule.
bool product_tables_consistent() {
  auto unique = [](auto& rows) {
    std::vector<int> all;
    for (const auto& r : rows) all.insert(all.end(), r.codes.begin(), r.codes.end());
    std::sort(all.begin(), all.end());
    return std::adjacent_find(all.begin(), all.end()) == all.end();
  };
  return unique(kSiteGeometry) && unique(kMosaicCells) && unique(kSiteNames) &&
         unique(kMosaicNames) && unique(kThresRules) && unique(kElevRules) && unique(kMaxText);
}

DigitalRule digital_rule(int code) { return rules(code).digital; }
bool divide_by_100(int code) { return rules(code).divide_by_100; }

}  // namespace zor::nids
