#include "zor/data_dir.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "zor/res.h"

namespace zor {
namespace {

namespace fs = std::filesystem;

std::string executable_dir() {
  std::error_code ec;
  fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  return ec ? std::string() : exe.parent_path().string();
}

// A directory counts as the data directory when it holds the colour table,
// which every installation ships.
bool looks_like_data(const fs::path& dir) {
  std::error_code ec;
  return fs::is_regular_file(dir / "zor.clr", ec) || fs::is_regular_file(dir / "name_conv", ec);
}

std::string locate() {
  if (const char* env = std::getenv("ZOR_DATA_DIR"); env && *env) return env;
  std::string exe = executable_dir();
  if (!exe.empty()) {
    fs::path base(exe);
    const std::array<fs::path, 5> candidates = {
        base / "data", base / ".." / "data", base / ".." / ".." / "data",
        base / ".." / ".." / ".." / "data", base / ".." / "share" / "zor"};
    for (const auto& c : candidates)
      if (looks_like_data(c)) return fs::weakly_canonical(c).string();
  }
  return ZOR_SOURCE_DATA_DIR;
}

}  // namespace

const std::string& data_dir() {
  static const std::string dir = locate();
  return dir;
}

std::optional<std::string> find_data_file(const std::string& name) {
  std::error_code ec;
  fs::path p = fs::path(data_dir()) / name;
  if (fs::is_regular_file(p, ec)) return p.string();
  return std::nullopt;
}

std::optional<std::string> find_runtime_file(const std::string& name) {
  std::error_code ec;
  const bool full = !name.empty() && (name[0] == '/' || name[0] == '.' || name[0] == '~');
  if (!full) {
    if (const char* path = RES_get("file_path"); path != nullptr && *path != '\0') {
      std::string p(path);
      if (p.back() != '/') p += '/';
      if (fs::is_regular_file(p + name, ec)) return p + name;
    }
  }
  if (fs::is_regular_file(name, ec)) return name;
  if (!full) return find_data_file(name);
  return std::nullopt;
}

}  // namespace zor
