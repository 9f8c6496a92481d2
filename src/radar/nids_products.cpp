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

// Row by row, each row's codes set: a later row wins, as the tables are
// written (and start-up does not scan every table for every code).
using Table = std::array<ProductRules, kMaxCode + 1>;

template <typename Rows, typename Set>
void apply(Table& t, const Rows& rows, Set set) {
  for (const auto& r : rows)
    for (int c : r.codes)
      if (c >= 0 && c <= kMaxCode) set(t[static_cast<std::size_t>(c)], r);
}

void flag(Table& t, const std::vector<int>& codes, bool ProductRules::*f) {
  for (int c : codes)
    if (c >= 0 && c <= kMaxCode) t[static_cast<std::size_t>(c)].*f = true;
}

Table build() {
  Table t{};
  apply(t, kSiteGeometry, [](ProductRules& p, const Geometry& g) {
    p.in_site_table = true;
    p.site_res = g.res;
    p.site_range = g.range;
  });
  apply(t, kMosaicCells, [](ProductRules& p, const MosaicCell& m) { p.mosaic_km = m.km; });
  apply(t, kSiteNames, [](ProductRules& p, const auto& n) { p.site_name = n.name; });
  apply(t, kMosaicNames, [](ProductRules& p, const auto& n) { p.mosaic_name = n.name; });
  apply(t, kThresRules, [](ProductRules& p, const auto& r) { p.thres = r.rule; });
  apply(t, kElevRules, [](ProductRules& p, const auto& r) { p.elev = r.rule; });
  apply(t, kMaxText, [](ProductRules& p, const MaxRow& r) { p.max_text = r.text; });
  flag(t, kElevLabel, &ProductRules::label_elev);
  flag(t, kCompressed, &ProductRules::symb_compressed);
  flag(t, kFoldedCode1, &ProductRules::folded_code1);
  flag(t, kIcdFromTwo, &ProductRules::icd_from_two);
  for (int c : kDigitalScaled) t[static_cast<std::size_t>(c)].digital = DigitalRule::scaled_offset;
  t[155].digital = DigitalRule::width;
  t[134].digital = DigitalRule::dvil;
  t[135].digital = DigitalRule::eet;
  for (int c : {80, 222}) t[static_cast<std::size_t>(c)].begin = BeginText::p5_p6;
  for (int c : {138, 171, 172, 175}) t[static_cast<std::size_t>(c)].begin = BeginText::p1_p2;
  for (int c : {55, 56}) t[static_cast<std::size_t>(c)].storm_motion = true;
  for (int c : {63, 64, 65, 66, 89, 90}) t[static_cast<std::size_t>(c)].layer = true;
  for (int c = 170; c <= 175; ++c) t[static_cast<std::size_t>(c)].divide_by_100 = true;
  t[182].icd_knots = true;
  t[62].text_pages = true;
  return t;
}

const ProductRules kUnknown{};

}  // namespace

const ProductRules& rules(int code) {
  static const Table table = build();
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
