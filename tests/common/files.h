// Files of a test process: a scratch folder of its own (ctest -j runs the
// tests of one binary as parallel processes, so a fixed name in a shared
// folder is a race), file reading and writing, environment variables put
// back at scope end, and the radar program run as a child.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace zor::test {

// A fresh folder made with mkdtemp under `parent`, removed with everything
// in it at scope end by the process that made it (a forked child that
// exits through the code under test leaves it alone).
class TempDir {
 public:
  explicit TempDir(const std::string& stem = "zor",
                   const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string tmpl = (parent / (stem + "_XXXXXX")).string();
    if (mkdtemp(tmpl.data()) == nullptr) std::abort();
    path_ = tmpl;
  }
  ~TempDir() {
    std::error_code ec;
    if (getpid() == owner_) std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
  pid_t owner_ = getpid();
};

// This process's scratch folder in the test build folder.
inline const TempDir& scratch_dir() {
  static const TempDir dir("scratch", ZOR_TEST_BINARY_DIR);
  return dir;
}

// A file name in this process's scratch folder.
inline std::string scratch(const std::string& name) { return scratch_dir() / name; }

inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

using Bytes = std::vector<std::uint8_t>;

inline Bytes read_file(const std::string& path) {
  const std::string s = slurp(path);
  return {s.begin(), s.end()};
}

struct FileCloser {
  void operator()(FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

inline void write_file(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

// Sets (or, given nullptr, unsets) an environment variable and puts the old value back at scope end.
class EnvVar {
 public:
  EnvVar(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    if (value) setenv(name, value, 1);
    else unsetenv(name);
  }
  ~EnvVar() {
    if (had_) setenv(name_.c_str(), old_.c_str(), 1);
    else unsetenv(name_.c_str());
  }
  EnvVar(const EnvVar&) = delete;
  EnvVar& operator=(const EnvVar&) = delete;

 private:
  std::string name_, old_;
  bool had_ = false;
};

inline std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) out.push_back(line);
  return out;
}

inline int count_of(const std::string& text, const std::string& what) {
  int n = 0;
  for (std::size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + what.size())) ++n;
  return n;
}

struct ProgramRun {
  int status = -1;
  std::string out, err;
};

// Runs the radar program in `dir` with no resource files, no display and
// standard input from `in` (closed by default); `env` holds extra assignments ("a=1 b=2").
inline ProgramRun run_radar(const std::filesystem::path& dir, const std::string& env, const std::string& args,
                            const std::string& in = "/dev/null") {
  const std::string cmd = "cd '" + dir.string() + "' && env -u DISPLAY zordefault='" + (dir / "none").string() +
                          "' " + env + " '" + ZOR_RADAR_BINARY + "' " + args + " <'" + in + "' >out.txt 2>err.txt";
  ProgramRun r;
  const int rc = std::system(cmd.c_str());
  r.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
  r.out = slurp((dir / "out.txt").string());
  r.err = slurp((dir / "err.txt").string());
  return r;
}

}  // namespace zor::test
