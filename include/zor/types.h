// Records shared by every subsystem: dates, domains, drawing points and
// rectangles, drawing attributes and the message-class mask.
#pragma once

#include <cstdint>

// Missing values throughout the system.
inline constexpr int ZOR_MISSING = -9999;
inline constexpr float ZOR_MISSING_F = -9999.0f;

// Broken-down UTC date and time; -9999 in a field means "not set".
struct Date {
  std::int32_t year = -9999;
  std::int32_t month = -9999;
  std::int32_t day = -9999;
  std::int32_t jday = -9999;
  std::int32_t wday = -9999;
  std::int32_t hour = -9999;
  std::int32_t min = -9999;
  std::int32_t sec = -9999;
};

// Plot domain: a projection with a rectangular grid laid over it.
struct Domain {
  std::int32_t proj = -9999;
  float plat = -9999.0f;
  float plon = -9999.0f;
  float param[5] = {-9999.0f, -9999.0f, -9999.0f, -9999.0f, -9999.0f};
  float clat = -9999.0f;
  float clon = -9999.0f;
  float dx = -9999.0f;
  float dy = -9999.0f;
  std::int32_t nx = -9999;
  std::int32_t ny = -9999;
  std::int32_t ellipse = 0;
};

// Point and rectangle of every drawing interface.
struct Gpt {
  float x = 0.0f;
  float y = 0.0f;
};

struct Glim {
  float x_min = 0.0f;
  float x_max = 0.0f;
  float y_min = 0.0f;
  float y_max = 0.0f;
};

// Drawing attributes; -9999 in a field means "leave unchanged".
struct Gattribs {
  int color = -9999;
  float width = -9999.0f;
  float height = -9999.0f;
  float expan = -9999.0f;
  int style = -9999;
  int fill_pat = -9999;
  int font = -9999;
};

// Message-class mask: one nibble per class, sub-levels a..d inside a nibble.
using M_type = std::uint32_t;
inline constexpr M_type M_PRINT = 0x0000000F;
inline constexpr M_type M_ERROR = 0x00000030;
inline constexpr M_type M_WARN = 0x000000C0;
inline constexpr M_type M_MESS = 0x00000F00;
inline constexpr M_type M_OUT1 = 0x0000F000;
inline constexpr M_type M_OUT2 = 0x000F0000;
inline constexpr M_type M_OUT3 = 0x00F00000;
inline constexpr M_type M_OUT4 = 0x0F000000;
inline constexpr M_type M_DEBUG = 0xF0000000;
