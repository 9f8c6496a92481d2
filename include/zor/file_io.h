// RAII ownership of a C stream, for code that must hand a FILE* to the
// C-style interfaces (line readers, byte-swapping readers).
#pragma once

#include <cstdio>
#include <memory>

namespace zor {

struct FileCloser {
  void operator()(std::FILE* f) const noexcept {
    if (f != nullptr) std::fclose(f);
  }
};

using File = std::unique_ptr<std::FILE, FileCloser>;

// An empty File when the stream cannot be opened.
inline File open_file(const char* name, const char* mode) {
  if (name == nullptr || mode == nullptr) return File{};
  return File{std::fopen(name, mode)};
}

}  // namespace zor
