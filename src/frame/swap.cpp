// Byte-order swapping for binary files written in the other byte order.
#include <algorithm>
#include <cstdio>

#include "zor/text.h"

namespace {

struct SwapState {
  bool active = true;
  void reset() { active = true; }
};

SwapState& state() {
  static SwapState s;
  return s;
}

bool host_is_little_endian() {
  const int one = 1;
  return *reinterpret_cast<const unsigned char*>(&one) == 1;
}

int swap_n(unsigned char* ptr, int size, int num) {
  if (!state().active) return -1;
  if (ptr == nullptr || num < 0) return -1;
  for (int i = 0; i < num; ++i) std::reverse(ptr + i * size, ptr + (i + 1) * size);
  return 0;
}

int fread_swap(unsigned char* data, int size, FILE* ifile) {
  if (data == nullptr || ifile == nullptr) return 0;
  int n = static_cast<int>(std::fread(data, static_cast<std::size_t>(size), 1, ifile));
  if (n == 1) swap_n(data, size, 1);
  return n;
}

int fwrite_swap(unsigned char* data, int size, FILE* ofile) {
  if (data == nullptr || ofile == nullptr) return 0;
  swap_n(data, size, 1);
  return static_cast<int>(std::fwrite(data, static_cast<std::size_t>(size), 1, ofile));
}

}  // namespace

int swap_setup(int flag) {
  bool little = host_is_little_endian();
  switch (flag) {
    case -1: state().active = false; break;
    case 1: state().active = little; break;   // data are big-endian
    case 2: state().active = !little; break;  // data are little-endian
    default: state().active = true; break;
  }
  return 0;
}

int swap_long(unsigned char* ptr) { return swap_n(ptr, 4, 1); }
int swap_longs(unsigned char* ptr, int num) { return swap_n(ptr, 4, num); }
int swap_short(unsigned char* ptr) { return swap_n(ptr, 2, 1); }
int swap_shorts(unsigned char* ptr, int num) { return swap_n(ptr, 2, num); }
int swap_double(unsigned char* ptr) { return swap_n(ptr, 8, 1); }

int fread_long_swap(unsigned char* data, FILE* ifile) { return fread_swap(data, 4, ifile); }
int fread_short_swap(unsigned char* data, FILE* ifile) { return fread_swap(data, 2, ifile); }
int fread_double_swap(unsigned char* data, FILE* ifile) { return fread_swap(data, 8, ifile); }
int fwrite_long_swap(unsigned char* data, FILE* ifile) { return fwrite_swap(data, 4, ifile); }
int fwrite_short_swap(unsigned char* data, FILE* ifile) { return fwrite_swap(data, 2, ifile); }
