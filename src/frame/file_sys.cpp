// File-system helpers: path joining, home-directory expansion, existence and
// size tests, and the one place where streams are opened and closed.
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <strings.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "zor/file.h"
#include "zor/mess.h"
#include "file_internal.h"

// The user database is reached only where the C library is a shared object.
// A fully static tool (nidsdump, whose start-up is most of its run) leaves a
// "~user" name as it is rather than link the static library's name-service
// code, which needs the shared libraries at run time all the same.
#pragma weak getpwnam
#pragma weak getpwuid

namespace zor::file {
namespace {

// Streams opened through a pipe must be closed with pclose; remember them.
struct StreamState {
  std::vector<FILE*> pipes;
  void reset() { pipes.clear(); }
};

StreamState& streams() {
  static StreamState s;
  return s;
}

int ieq(const char* a, const char* b) { return strcasecmp(a, b) == 0; }

}  // namespace

// A name that does not fit is refused rather than cut: a cut name would
// silently open another file.
bool copy_out(const std::string& s, char* out, std::size_t size, const char* who) {
  if (!out) return true;
  if (size == 0) return false;
  if (s.size() >= size) {
    MESS_print(48, "%s: file name too long (%zu characters, room for %zu): %s\n", who, s.size(),
               size - 1, s.c_str());
    out[0] = '\0';
    return false;
  }
  std::memcpy(out, s.c_str(), s.size() + 1);
  return true;
}

std::string expand_user(const std::string& file) {
  if (file.empty() || file[0] != '~') return file;
  std::size_t slash = file.find('/');
  std::string user = file.substr(1, slash == std::string::npos ? std::string::npos : slash - 1);
  std::string rest = slash == std::string::npos ? std::string() : file.substr(slash);
  const char* home = nullptr;
  if (user.empty()) {
    home = std::getenv("HOME");
    if (!home || !*home) {
      if (const passwd* pw = &getpwuid != nullptr ? getpwuid(getuid()) : nullptr) home = pw->pw_dir;
    }
  } else if (const passwd* pw = &getpwnam != nullptr ? getpwnam(user.c_str()) : nullptr) {
    home = pw->pw_dir;
  }
  if (!home) return file;  // unknown user: leave the name alone
  return std::string(home) + rest;
}

std::string add_path(const char* path, const char* file) {
  std::string f = file ? file : "";
  if (FILE_is_stdio(f.c_str()) || FILE_fullpath(f.c_str()) || !path || !*path) return f;
  std::string p = path;
  if (p.back() != '/') p += '/';
  return p + f;
}

int make_dirs(const std::string& dir) {
  if (dir.empty()) return 0;
  struct stat st {};
  if (stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode) ? 0 : -1;
  std::size_t slash = dir.find_last_of('/');
  if (slash != std::string::npos && slash > 0) {
    if (make_dirs(dir.substr(0, slash)) != 0) return -1;
  }
  if (mkdir(dir.c_str(), 0777) != 0 && errno != EEXIST) return -1;
  return 0;
}

void reset_streams() { streams().reset(); }

}  // namespace zor::file

int FILE_fullpath(const char* filename) {
  if (!filename) return 0;
  return (filename[0] == '/' || filename[0] == '.' || filename[0] == '~') ? 1 : 0;
}

char* FILE_add_path(const char* path, const char* file, char* filename, std::size_t size) {
  if (!filename) return nullptr;
  if (!zor::file::copy_out(zor::file::add_path(path, file), filename, size, "FILE_add_path"))
    return nullptr;
  return filename;
}

char* FILE_add_path_delim(char* path, std::size_t size) {
  if (!path) return nullptr;
  std::size_t len = std::strlen(path);
  if (len == 0 || path[len - 1] == '/') return path;
  if (len + 2 > size) {
    MESS_print(48, "FILE_add_path_delim: no room to add \"/\" to %s\n", path);
    return nullptr;
  }
  path[len] = '/';
  path[len + 1] = '\0';
  return path;
}

char* FILE_add_user_path(const char* file, char* filename, std::size_t size) {
  if (!file || !filename) return nullptr;
  if (!zor::file::copy_out(zor::file::expand_user(file), filename, size, "FILE_add_user_path"))
    return nullptr;
  return filename;
}

int FILE_is_stdio(const char* file) {
  if (!file) return 0;
  if (file[0] == '\0' || std::strcmp(file, "-") == 0) return 1;
  return (zor::file::ieq(file, "std") || zor::file::ieq(file, "stdn")) ? 1 : 0;
}

int FILE_exist(const char* file) {
  if (!file || !*file) return 0;
  struct stat st {};
  return stat(zor::file::expand_user(file).c_str(), &st) == 0 ? 1 : 0;
}

int FILE_is_dir(const char* file) {
  if (!file || !*file) return 0;
  struct stat st {};
  if (stat(zor::file::expand_user(file).c_str(), &st) != 0) return 0;
  return S_ISDIR(st.st_mode) ? 1 : 0;
}

long int FILE_size(const char* file) {
  if (!file || !*file) return -1;
  struct stat st {};
  if (stat(zor::file::expand_user(file).c_str(), &st) != 0) return -1;
  return static_cast<long>(st.st_size);
}

int FILE_delete(const char* file) {
  if (!file || !*file) return -1;
  return std::remove(zor::file::expand_user(file).c_str()) == 0 ? 0 : -1;
}

// flag 0: `dir` is a directory to create; otherwise `dir` is a file name whose
// directory part is created.
int FILE_make_dir(const char* dir, int flag) {
  if (!dir || !*dir) return -1;
  std::string d = zor::file::expand_user(dir);
  if (flag) {
    std::size_t slash = d.find_last_of('/');
    if (slash == std::string::npos || slash == 0) return 0;
    d.erase(slash);
  }
  while (d.size() > 1 && d.back() == '/') d.pop_back();
  if (zor::file::make_dirs(d) != 0) {
    MESS_print(48, "FILE_make_dir: Unable to create directory: %s\n", d.c_str());
    return -1;
  }
  return 0;
}

FILE* FILE_open(const char* file, const char* access) {
  if (!file || !access) return nullptr;
  const bool writing = access[0] == 'w' || access[0] == 'a';
  if (FILE_is_stdio(file)) return writing ? stdout : stdin;
  if (file[0] == '|') {
    FILE* fp = popen(file + 1, writing ? "w" : "r");
    if (fp) zor::file::streams().pipes.push_back(fp);
    return fp;
  }
  std::string name = zor::file::expand_user(file);
  if (writing) FILE_make_dir(name.c_str(), 1);
  return std::fopen(name.c_str(), access);
}

int FILE_close(FILE* fp) {
  if (!fp) return -1;
  if (fp == stdin || fp == stdout || fp == stderr) return std::fflush(fp) == 0 ? 0 : -1;
  auto& pipes = zor::file::streams().pipes;
  for (auto it = pipes.begin(); it != pipes.end(); ++it) {
    if (*it == fp) {
      pipes.erase(it);
      return pclose(fp) == -1 ? -1 : 0;
    }
  }
  return std::fclose(fp) == 0 ? 0 : -1;
}
