// mosaicgen: writes a NOWRad or KAVRAD mosaic file from a described pattern.
//
//   mosaicgen FORMAT OUTPUT [-date YYYYMMDDHHMM] SHAPE...
//
// Shapes are painted in order, later over earlier:
//   block:S:N:W:E:DBZ            a rectangle of latitude and longitude
//   ring:LAT:LON:IN_KM:OUT_KM:DBZ a ring around a point
//   gradient:S:N:W:E:DBZ_W:DBZ_E values rising west to east in 5 dBZ steps
// Example: mosaicgen kavrad ks.kavrad block:37:40:-101:-95:35
#include <cstdio>
#include <cstring>
#include <string>

#include "mosaic_gen.h"

namespace {

int usage() {
  std::fprintf(stderr, "usage: mosaicgen FORMAT OUTPUT [-date YYYYMMDDHHMM] SHAPE...\nformats:\n");
  for (const auto& f : zor::mosaicgen::formats()) std::fprintf(stderr, "  %-15s %s\n", f.name, f.about);
  std::fprintf(stderr,
               "shapes:\n  block:S:N:W:E:DBZ\n  ring:LAT:LON:IN_KM:OUT_KM:DBZ\n  gradient:S:N:W:E:DBZ_W:DBZ_E\n");
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
