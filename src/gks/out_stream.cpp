#include "out_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace zor::gks {

namespace {

// The permissions a plain fopen would have given the file.
mode_t created_mode() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

}  // namespace

SafeFile::SafeFile(SafeFile&& other) noexcept
    : fp_(std::exchange(other.fp_, nullptr)), name_(std::move(other.name_)), temp_(std::move(other.temp_)) {}

SafeFile& SafeFile::operator=(SafeFile&& other) noexcept {
  if (this != &other) {
    discard();
    fp_ = std::exchange(other.fp_, nullptr);
    name_ = std::move(other.name_);
    temp_ = std::move(other.temp_);
  }
  return *this;
}

bool SafeFile::open(const std::string& name, bool binary) {
  discard();
  if (name.empty()) return false;
  const char* mode = binary ? "wb" : "w";
  struct stat st {};
  if (::lstat(name.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
    fp_ = std::fopen(name.c_str(), mode);
    if (fp_ != nullptr) name_ = name;
    return fp_ != nullptr;
  }
  const std::size_t slash = name.rfind('/');
  const std::string dir = slash == std::string::npos ? "" : name.substr(0, slash + 1);
  const std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
  std::string temp = dir + "." + base + ".XXXXXX";
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) return false;
  ::fchmod(fd, created_mode());
  fp_ = ::fdopen(fd, mode);
  if (fp_ == nullptr) {
    ::close(fd);
    ::unlink(temp.c_str());
    return false;
  }
  name_ = name;
  temp_ = std::move(temp);
  return true;
}

bool SafeFile::failed() {
  if (fp_ == nullptr) return false;
  return std::fflush(fp_) != 0 || std::ferror(fp_) != 0;
}

bool SafeFile::commit() {
  if (fp_ == nullptr) return false;
  bool ok = !failed();
  ok = std::fclose(std::exchange(fp_, nullptr)) == 0 && ok;
  if (!temp_.empty()) {
    if (ok) ok = std::rename(temp_.c_str(), name_.c_str()) == 0;
    if (!ok) ::unlink(temp_.c_str());
    temp_.clear();
  }
  return ok;
}

void SafeFile::discard() {
  if (fp_ != nullptr) std::fclose(std::exchange(fp_, nullptr));
  if (!temp_.empty()) ::unlink(temp_.c_str());
  temp_.clear();
}

OutStream::OutStream(OutStream&& other) noexcept
    : file_(std::move(other.file_)),
      fp_(std::exchange(other.fp_, nullptr)),
      mode_(std::exchange(other.mode_, Mode::create)),
      target_(std::move(other.target_)) {}

OutStream& OutStream::operator=(OutStream&& other) noexcept {
  if (this != &other) {
    close();
    file_ = std::move(other.file_);
    fp_ = std::exchange(other.fp_, nullptr);
    mode_ = std::exchange(other.mode_, Mode::create);
    target_ = std::move(other.target_);
  }
  return *this;
}

bool OutStream::open(const std::string& spec, const char* binary_suffix) {
  close();
  Mode mode = Mode::create;
  std::string name = spec;
  if (!name.empty() && name[0] == '|') {
    mode = Mode::pipe;
    name.erase(0, 1);
  } else if (!name.empty() && name[0] == '+') {
    mode = Mode::append;
    name.erase(0, 1);
  }
  if (name.empty()) return false;
  std::FILE* f = nullptr;
  const bool binary = binary_suffix != nullptr && *binary_suffix != '\0';
  if (mode == Mode::pipe) {
    std::fflush(nullptr);  // keep our own buffered output ahead of the child's
    f = ::popen(name.c_str(), "w");
  } else if (mode == Mode::append) {
    f = std::fopen(name.c_str(), binary ? "ab" : "a");
  } else if (file_.open(name, binary)) {
    f = file_.get();
  }
  if (f == nullptr) return false;
  fp_ = f;
  mode_ = mode;
  target_ = name;
  return true;
}

bool OutStream::failed() {
  if (fp_ == nullptr) return false;
  return std::fflush(fp_) != 0 || std::ferror(fp_) != 0;
}

bool OutStream::close() {
  if (fp_ == nullptr) return true;
  bool ok = true;
  switch (mode_) {
    case Mode::create: ok = file_.commit(); break;
    case Mode::pipe: ok = !failed() && ::pclose(fp_) == 0; break;
    case Mode::append: {
      ok = !failed();
      ok = std::fclose(fp_) == 0 && ok;
      break;
    }
  }
  fp_ = nullptr;
  mode_ = Mode::create;
  target_.clear();
  return ok;
}

}  // namespace zor::gks
