// Input-type selection and the per-type entry steps of the radar program.
#pragma once

#include <span>
#include <string>

// Input types (flag 14).
inline constexpr int RAD_IN_CONVERTED = 31;
inline constexpr int RAD_IN_RRWDS = 32;
inline constexpr int RAD_IN_NIDS = 33;
inline constexpr int RAD_IN_NOWRAD = 34;
inline constexpr int RAD_IN_RCM = 35;
inline constexpr int RAD_IN_KAVRAD = 36;
inline constexpr int RAD_IN_LEV2 = 37;
inline constexpr int RAD_IN_LEV2Z = 38;

// Converts the `input` and `in_file` resources into flag 14, the file-name
// convention and the variable model. Returns 0.
int RAD_cvt_in_file();

namespace zor::radar_entry {

// What the input resources choose.
struct InputChoice {
  int type = RAD_IN_CONVERTED;
  std::string name_conv = "rad_cvt";
  std::string model = "mdr";
};

// The choice for the items of the `input` and `in_file` resources.
InputChoice choose_input(std::span<const std::string> input, std::span<const std::string> in_file);

// Asks for the file and region of the input type in flag 14 and plots it.
// Returns the process status: 0 after plotting (or for an unknown type), 1
// when this program has no plotting for the type.
int dispatch();

}  // namespace zor::radar_entry
