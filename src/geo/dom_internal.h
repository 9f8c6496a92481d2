// State and helpers shared by the domain parser and the region menu.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "zor/dom.h"

namespace zor::dom {

// Number of region-table slots: entry 0, up to 19 regions, the terminator and spare.
inline constexpr int kRegionSlots = 23;
inline constexpr int kMaxFileRegions = 19;
inline constexpr int kMaxAbbr = 5;
inline constexpr int kMaxDesc = 20;

struct State {
  std::array<MENU_item, kRegionSlots> regions{};
  // Text of entries read from a region file; the table points into these.
  std::array<std::string, kRegionSlots> names;
  std::array<std::string, kRegionSlots> abbrs;
  int num_regs = 0;          // entries read from the region file; 0 until read
  bool menu_cleared = false;  // the built-in entries go on the first read
  int reg_menu_type = 0;
  int prompt_region = 1;
  int priority = 3;
  int loc_prior = 4;
  int decode_depth = 0;  // region strings may name other regions

  State() { reset(); }
  void reset();
  void load_builtin_menu();
};

State& state();

bool iequals(std::string_view a, std::string_view b);
bool istarts_with(std::string_view s, std::string_view prefix);
std::vector<std::string> split(std::string_view s, char delim);
std::vector<std::string> split_words(std::string_view s);

}  // namespace zor::dom
