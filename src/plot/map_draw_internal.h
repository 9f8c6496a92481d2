// State and helpers shared by the map-background sources.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zor/types.h"

namespace zor::map_draw {

struct LatLon {
  float lat;
  float lon;
};

// A map file as read, once per process, and the pieces it was last drawn as:
// while the domain stays the same they are drawn again without projecting.
struct CachedMap {
  std::vector<LatLon> points;  // the segments' points, one after another
  std::vector<int> counts;     // points per segment
  int end = -1;                // 0 end marker, -1 end of data, -2 damaged
  std::string error;           // what is damaged
  bool projected = false;
  Domain domain;               // the domain the pieces were projected for
  std::vector<Gpt> piece_points;
  std::vector<int> piece_counts;
};

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
  std::map<std::string, CachedMap> maps;  // by path
};

State& state();

// Projections drawn on the earth (codes 1 to 9).
bool earth_projection();

// A map or list file: along file_path, as given, then among the bundled data.
std::optional<std::string> find_file(const std::string& name);

// Draws the map file at `path` like MAP_map, reading it only the first time.
int draw_map_file(const std::string& path);

}  // namespace zor::map_draw
