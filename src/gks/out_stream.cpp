#include "out_stream.h"

namespace zor::gks {

void OutStream::Closer::operator()(std::FILE* f) const {
  if (f == nullptr) return;
  if (mode == Mode::pipe)
    pclose(f);
  else
    std::fclose(f);
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
  if (mode == Mode::pipe) {
    std::fflush(nullptr);  // keep our own buffered output ahead of the child's
    f = popen(name.c_str(), "w");
  } else {
    std::string access = mode == Mode::append ? "a" : "w";
    access += binary_suffix;
    f = std::fopen(name.c_str(), access.c_str());
  }
  if (f == nullptr) return false;
  fp_ = std::unique_ptr<std::FILE, Closer>(f, Closer{mode});
  mode_ = mode;
  target_ = name;
  return true;
}

void OutStream::close() {
  fp_.reset();
  mode_ = Mode::create;
  target_.clear();
}

}  // namespace zor::gks
