// State and helpers shared by the map-background sources.
#pragma once

#include <optional>
#include <string>

namespace zor::map_draw {

// Process-wide state of the map background.
struct State {
  std::string map_name;  // map list in use
  std::string format;    // attributes for map files that give none
  float latln = 0.0f;    // latitude-line spacing, no lines when <= 0
  float lonln = 0.0f;
  int dot = 0;
  int extra = 0;         // label repeat spacing in degrees
  int over = 0;          // items drawn: 1 "-", 2 "+", 4 plain
  int reg_found = 1;     // region-box state of the list being processed
  int fill_cont = 0;     // data are colour-filled
  int fill = 0;          // current item drawn as filled areas
};

State& state();

// Projections drawn on the earth (codes 1 to 9).
bool earth_projection();

// A map or list file: along file_path, as given, then among the bundled data.
std::optional<std::string> find_file(const std::string& name);

}  // namespace zor::map_draw
