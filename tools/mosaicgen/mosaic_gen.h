// Mosaic files made from a described pattern of reflectivity (blocks, rings,
// gradients over the map), laid out byte for byte as the program reads them.
// No real NOWRad or KAVRAD file is public, so tests and benchmarks draw these.
//
// Each output format is one row of the format table: a name and a writer
// that walks its grid cell by cell, asks the pattern for the value at the
// cell's centre and encodes the rows. The RRWDS writer asks for the value at
// the centre of each range bin of each radial around its site instead.
#pragma once

#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zor/types.h"

namespace zor::mosaicgen {

// No echo.
inline constexpr float kNone = -100.0f;

struct Shape {
  enum class Kind { Block, Ring, Gradient, Sector };
  Kind kind = Kind::Block;
  // Block and gradient: south, north, west, east edges in degrees; ring:
  // centre latitude and longitude in a[0], a[1], inner and outer radius in
  // kilometres in a[2], a[3]; sector: centre latitude and longitude in
  // a[0], a[1], azimuths from and to (clockwise from north, degrees) in
  // a[2], a[3], and inner and outer distance in nautical miles in nm[0], nm[1].
  double a[4] = {};
  double nm[2] = {};
  float dbz = 0.0f;
  float dbz_east = 0.0f;  // gradient: dbz at the west edge, this at the east, in 5 dBZ steps
};

class Pattern {
 public:
  void add(const Shape& s) { shapes_.push_back(s); }
  // "block:S:N:W:E:DBZ", "ring:LAT:LON:INNER_KM:OUTER_KM:DBZ",
  // "gradient:S:N:W:E:DBZ_WEST:DBZ_EAST",
  // "sector:LAT:LON:AZ_FROM:AZ_TO:NM_IN:NM_OUT:DBZ"; false with `error` set
  // otherwise. For RRWDS files a shape's value is the 3-bit level (0-7).
  bool parse(std::string_view text, std::string* error);
  // The value at a point: the last shape holding it, else kNone.
  float value(double lat, double lon) const;

 private:
  std::vector<Shape> shapes_;
};

struct Options {
  Date date = [] {
    Date d;
    d.year = 2003;
    d.month = 9;
    d.day = 5;
    d.hour = 13;
    d.min = 45;
    d.sec = 0;
    return d;
  }();
  // NOWRad latitude-longitude grid: size, top latitude, centre longitude
  // and spacing in degrees.
  int nx = 700;
  int ny = 350;
  double top = 53.0;
  double clon = -98.0;
  double dx = 0.1;
  double dy = 0.08;
  // NOWRad Lambert grid: size and projection (the centre and spacing are
  // fixed by the format).
  int lambert_nx = 600;
  int lambert_ny = 400;
  double std_lat1 = 45.0;  // written first
  double std_lat2 = 33.0;
  double plat = 39.0;
  double plon = -96.0;
  // KAVRAD product kind byte ('C' kind 1, anything else kind 0).
  char kavrad_kind = 'R';
  // RRWDS: the station identifier (three characters) and its position, as
  // the site database has it (Omaha by default), range (100 or 200 nautical
  // miles) and elevation angle in degrees.
  char station[4] = "OAX";
  double site_lat = 41.3204;
  double site_lon = -96.3668;
  int range = 200;
  double elev = 0.5;
};

struct Format {
  const char* name;
  const char* about;
  bool (*write)(const Pattern& pattern, const Options& options, std::FILE* out);
};

std::span<const Format> formats();
const Format* find_format(std::string_view name);

// Writes `path` in `format`; false with `error` set when it cannot.
bool write_file(std::string_view format, const Pattern& pattern, const Options& options, const std::string& path,
                std::string* error);

// The domain a NOWRad Lambert file of `options` describes, as the reader
// builds it.
Domain nowrad_lambert_domain(const Options& options);

// The point `nm` nautical miles from (lat, lon) towards azimuth `az` on the
// sphere, and back: distance and azimuth of (lat2, lon2) from (lat, lon).
void destination(double lat, double lon, double az, double nm, double* lat2, double* lon2);
void bearing(double lat, double lon, double lat2, double lon2, double* az, double* nm);

}  // namespace zor::mosaicgen
