// lev2dump FILE: one line per elevation cut and moment of a Level II volume.
#include <cstdio>

#include "zor/lev2.h"
#include "zor/mess.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FILE\n", argc > 0 ? argv[0] : "lev2dump");
    return 1;
  }
  return zor::lev2::dump_volume(argv[1], stdout);
}
