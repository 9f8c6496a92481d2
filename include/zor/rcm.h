// Radar coded messages: the report record of one site's message (echo
// intensities on quarter boxes of the LFM grid, maximum top, storms, vortex
// signatures, mesocyclones and VAD winds). Converted radar report files hold
// station reports of the same record.
#pragma once

#include <cstdint>

#include "zor/types.h"

inline constexpr int RCM_GRID = 104;
inline constexpr int RCM_MAX_STORM = 40;
inline constexpr int RCM_MAX_TVS = 10;
inline constexpr int RCM_MAX_MESO = 20;
inline constexpr int RCM_MAX_VAD = 20;

struct RCM_storm {
  char id[3] = {};
  float x = -9999.0f;  // quarter-box column (converted files: latitude)
  float y = -9999.0f;  // quarter-box row (converted files: longitude)
  int hgt = -9999;     // top
  int dir = -9999;     // degrees
  int spd = -9999;     // knots
  int hail = 0;        // -1 unknown, 0 none, 1 probable, 2 hail
};

struct RCM_point {
  char id[3] = {};
  float x = -9999.0f;
  float y = -9999.0f;
};

struct RCM_vad {
  int hgt = -9999;
  int dir = -9999;
  int spd = -9999;
  int rms = 0;
};

// A default-constructed record is the cleared record (RCM_init).
struct RCM_report {
  char id[5] = {};
  int num = -9999;
  float lat = -9999.0f;
  float lon = -9999.0f;
  float elev = -9999.0f;
  Date date;
  int mode = -9999;    // 1 precipitation ("PCPN"), 2 clear air ("CLAR")
  int status = -9999;  // 0 normal, 1 no echoes, 2 out for maintenance
  // Intensity category per quarter box, [column][row]; 255 not reported.
  std::uint8_t echo[RCM_GRID][RCM_GRID];
  int maxt = -9999;
  float maxt_x = -9999.0f;
  float maxt_y = -9999.0f;
  RCM_storm storm[RCM_MAX_STORM];
  int num_storm = 0;
  RCM_point tvs[RCM_MAX_TVS];
  int num_tvs = 0;
  RCM_point meso[RCM_MAX_MESO];
  int num_meso = 0;
  RCM_vad vad[RCM_MAX_VAD];
  int num_vad = 0;

  RCM_report() {
    for (auto& col : echo)
      for (auto& c : col) c = 255;
  }
};
