// mosaicgen: writes a NOWRad or KAVRAD mosaic file, or an RRWDS site image,
// from a described pattern.
//
//   mosaicgen FORMAT OUTPUT [-date YYYYMMDDHHMM] [-station ID] [-range NM]
//             [-elev DEG] SHAPE...
//
// Shapes are painted in order, later over earlier:
//   block:S:N:W:E:DBZ            a rectangle of latitude and longitude
//   ring:LAT:LON:IN_KM:OUT_KM:DBZ a ring around a point
//   gradient:S:N:W:E:DBZ_W:DBZ_E values rising west to east in 5 dBZ steps
//   sector:LAT:LON:AZ0:AZ1:NM0:NM1:V azimuths AZ0 to AZ1, NM0 to NM1 nautical miles
// For RRWDS a shape's value is the level 0-7, the station is looked up in
// the site database "rad.cty" (default OAX) and the range is 100 or 200.
// Examples: mosaicgen kavrad ks.kavrad block:37:40:-101:-95:35
//           mosaicgen rrwds oax.rrwds -station OAX sector:41.3204:-96.3668:90:180:20:60:3
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "mosaic_gen.h"
#include "zor/cty.h"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: mosaicgen FORMAT OUTPUT [-date YYYYMMDDHHMM] [-station ID] [-range NM] [-elev DEG] "
               "SHAPE...\nformats:\n");
  for (const auto& f : zor::mosaicgen::formats()) std::fprintf(stderr, "  %-15s %s\n", f.name, f.about);
  std::fprintf(stderr,
               "shapes:\n  block:S:N:W:E:DBZ\n  ring:LAT:LON:IN_KM:OUT_KM:DBZ\n  gradient:S:N:W:E:DBZ_W:DBZ_E\n"
               "  sector:LAT:LON:AZ_FROM:AZ_TO:NM_IN:NM_OUT:DBZ\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return usage();
  zor::mosaicgen::Pattern pattern;
  zor::mosaicgen::Options options;
  for (int i = 3; i < argc; ++i) {
    if (std::strcmp(argv[i], "-date") == 0 && i + 1 < argc) {
      Date& d = options.date;
      if (std::sscanf(argv[++i], "%4d%2d%2d%2d%2d", &d.year, &d.month, &d.day, &d.hour, &d.min) != 5) {
        std::fprintf(stderr, "mosaicgen: bad date %s\n", argv[i]);
        return 2;
      }
      continue;
    }
    if (std::strcmp(argv[i], "-station") == 0 && i + 1 < argc) {
      const char* id = argv[++i];
      float lat = 0.0f, lon = 0.0f;
      if (std::strlen(id) != 3 || !CTY_get_loc("rad.cty", id, &lat, &lon)) {
        std::fprintf(stderr, "mosaicgen: station %s is not in rad.cty\n", id);
        return 2;
      }
      std::memcpy(options.station, id, 4);
      options.site_lat = lat;
      options.site_lon = lon;
      continue;
    }
    if (std::strcmp(argv[i], "-range") == 0 && i + 1 < argc) {
      options.range = std::atoi(argv[++i]);
      if (options.range != 100 && options.range != 200) {
        std::fprintf(stderr, "mosaicgen: range must be 100 or 200\n");
        return 2;
      }
      continue;
    }
    if (std::strcmp(argv[i], "-elev") == 0 && i + 1 < argc) {
      options.elev = std::atof(argv[++i]);
      if (!(options.elev > -80.0 && options.elev < 80.0)) {
        std::fprintf(stderr, "mosaicgen: elevation must lie between -79.9 and 79.9 degrees\n");
        return 2;
      }
      continue;
    }
    std::string error;
    if (!pattern.parse(argv[i], &error)) {
      std::fprintf(stderr, "mosaicgen: %s\n", error.c_str());
      return 2;
    }
  }
  if (zor::mosaicgen::find_format(argv[1]) == nullptr) return usage();
  std::string error;
  if (!zor::mosaicgen::write_file(argv[1], pattern, options, argv[2], &error)) {
    std::fprintf(stderr, "mosaicgen: %s\n", error.c_str());
    return 1;
  }
  return 0;
}
