// Small helpers over the netCDF C library for the readers of netCDF files:
// an owned open file, dimension sizes and whole variables read by name.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zor::ncf {

// An open netCDF file, closed with the object.
class File {
 public:
  File() = default;
  explicit File(const char* path);
  ~File();
  File(File&& o) noexcept : id_(o.id_), max_values_(o.max_values_) { o.id_ = -1; }
  File& operator=(File&& o) noexcept;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool is_open() const { return id_ >= 0; }
  int id() const { return id_; }

  // Length of dimension `name`; -1 when the file has none of that name.
  long dim(const char* name) const;
  bool has_var(const char* name) const;
  // Names of the dimensions of variable `name`, outermost first; empty when
  // there is no such variable.
  std::vector<std::string> var_dims(const char* name) const;
  // Number of values of variable `name` (product of its dimensions); -1
  // when there is no such variable, or when it has more values than the
  // file could hold (a byte each, or 16 Mi for a small compressed file).
  long var_size(const char* name) const;
  // A whole variable converted to the element type; false when the variable
  // is missing or cannot be read as that type.
  bool read(const char* name, std::vector<float>& out) const;
  bool read(const char* name, std::vector<int>& out) const;
  bool read(const char* name, std::vector<signed char>& out) const;
  bool read(const char* name, std::vector<char>& out) const;
  // A text attribute of a variable, or of the file when `var` is null; empty
  // when missing.
  std::string text_att(const char* var, const char* name) const;
  // A numeric attribute; `def` when missing.
  double num_att(const char* var, const char* name, double def) const;

 private:
  int id_ = -1;
  long max_values_ = 0;
};

// 1 when the file at `path` opens as netCDF and has dimension `name`, 0
// when it has not, -1 when it does not open.
int has_dim(const char* path, const char* name);

}  // namespace zor::ncf
