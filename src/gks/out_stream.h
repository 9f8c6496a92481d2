// The output files of the devices and image writers. A file is written under
// a temporary name in its own folder and renamed to its final name only when
// everything reached the disk, so a full disk or a failed write never leaves
// a half-written file (or a clobbered older one) under the final name.
#pragma once

#include <cstdio>
#include <string>

namespace zor::gks {

// One created file, written through a temporary name. Names that are not
// regular files (devices such as /dev/null, named pipes, symbolic links)
// are written in place, since renaming over them would replace them.
class SafeFile {
 public:
  SafeFile() = default;
  explicit SafeFile(const std::string& name, bool binary = true) { open(name, binary); }
  ~SafeFile() { discard(); }
  SafeFile(const SafeFile&) = delete;
  SafeFile& operator=(const SafeFile&) = delete;
  SafeFile(SafeFile&& other) noexcept;
  SafeFile& operator=(SafeFile&& other) noexcept;

  bool open(const std::string& name, bool binary = true);
  std::FILE* get() const { return fp_; }
  explicit operator bool() const { return fp_ != nullptr; }
  // Whether a write has failed so far (buffered data is flushed to find out).
  bool failed();
  // Flushes, closes and gives the file its final name; false (and nothing
  // left behind) when any of it failed.
  bool commit();
  // Closes and removes the temporary file.
  void discard();
  const std::string& name() const { return name_; }

 private:
  std::FILE* fp_ = nullptr;
  std::string name_;  // final name
  std::string temp_;  // temporary name, empty when writing in place
};

class OutStream {
 public:
  enum class Mode { create, append, pipe };

  OutStream() = default;
  ~OutStream() { close(); }
  OutStream(OutStream&& other) noexcept;
  OutStream& operator=(OutStream&& other) noexcept;

  // Opens by the device naming rule: "|cmd" pipes, "+name" appends, any
  // other name is created (through a temporary name). False when it cannot
  // be opened.
  bool open(const std::string& spec, const char* binary_suffix = "");
  // Ends the output; false when it could not be written completely (a
  // created file is then not left under its name).
  bool close();
  bool is_open() const { return fp_ != nullptr; }
  bool appending() const { return mode_ == Mode::append; }
  Mode mode() const { return mode_; }
  // The name without its "|" or "+" marker.
  const std::string& target() const { return target_; }
  std::FILE* get() const { return fp_; }
  // Whether writing has failed so far.
  bool failed();

 private:
  SafeFile file_;             // created files
  std::FILE* fp_ = nullptr;   // the stream in use (file_'s, a pipe or an appended file)
  Mode mode_ = Mode::create;
  std::string target_;
};

}  // namespace zor::gks
