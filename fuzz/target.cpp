// A libFuzzer target for the reader named by ZOR_FUZZ_READER.
#include <cstdlib>

#include "entries.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  zor::fuzz::quiet();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const zor::fuzz::Entry entry = zor::fuzz::find(ZOR_FUZZ_READER);
  if (entry == nullptr) std::abort();
  entry(data, size);
  return 0;
}
