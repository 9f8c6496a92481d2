// nidsdump [-icd] FILE: lists a NEXRAD Level III product as the decoder reads it.
#include <cstdio>
#include <cstring>
#include <memory>

#include "zor/nids.h"

namespace {
struct FileCloser {
  void operator()(FILE* f) const { std::fclose(f); }
};
}  // namespace

int main(int argc, char** argv) {
  // -icd: values as the interface control document gives them.
  const bool icd = argc == 3 && std::strcmp(argv[1], "-icd") == 0;
  if (argc != 2 && !icd) {
    std::fprintf(stderr, "usage: %s [-icd] FILE\n", argv[0]);
    return 2;
  }
  const char* path = argv[argc - 1];
  NIDS_set_icd(icd ? 1 : 0);
  std::unique_ptr<FILE, FileCloser> f(std::fopen(path, "rb"));
  if (!f) {
    std::fprintf(stderr, "%s: cannot open %s\n", argv[0], path);
    return 1;
  }
  // Whole blocks to stdout whether it is a terminal, a pipe or a file.
  static char out_buf[1 << 16];
  std::setvbuf(stdout, out_buf, _IOFBF, sizeof out_buf);
  const int stat = zor::nids::dump_product(f.get(), [](const std::string& s) {
    std::fwrite(s.data(), 1, s.size(), stdout);
    std::fputc('\n', stdout);
  });
  if (stat != 0) {
    const char* why = NIDS_last_error();
    std::fprintf(stderr, "%s: %s: %s\n", argv[0], path, why[0] ? why : "not a NIDS product");
  }
  return stat;
}
