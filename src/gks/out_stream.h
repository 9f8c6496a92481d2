// The one owner of the print devices' output streams: a file created or
// appended to, or a pipe into a command ("|cmd"), closed the right way.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace zor::gks {

class OutStream {
 public:
  enum class Mode { create, append, pipe };

  // Opens by the device naming rule: "|cmd" pipes, "+name" appends, any
  // other name is created. False when it cannot be opened.
  bool open(const std::string& spec, const char* binary_suffix = "");
  void close();
  bool is_open() const { return fp_ != nullptr; }
  bool appending() const { return mode_ == Mode::append; }
  Mode mode() const { return mode_; }
  // The name without its "|" or "+" marker.
  const std::string& target() const { return target_; }
  std::FILE* get() const { return fp_.get(); }

 private:
  struct Closer {
    Mode mode = Mode::create;
    void operator()(std::FILE* f) const;
  };
  std::unique_ptr<std::FILE, Closer> fp_{nullptr, Closer{}};
  Mode mode_ = Mode::create;
  std::string target_;
};

}  // namespace zor::gks
