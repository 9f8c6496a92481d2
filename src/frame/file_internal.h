// Helpers shared by the file-naming and file-system units.
#pragma once

#include <cstddef>
#include <string>

namespace zor::file {

// Copies `s` into a caller buffer of `size` bytes; refuses (empty output,
// false, an error message naming `who`) when it does not fit.
bool copy_out(const std::string& s, char* out, std::size_t size, const char* who);
// "~/x" and "~user/x" to the home directory; unknown users unchanged.
std::string expand_user(const std::string& file);
// `path` + "/" + `file`, unless `file` is a standard stream or a full path.
std::string add_path(const char* path, const char* file);
// mkdir -p.
int make_dirs(const std::string& dir);
void reset_streams();

}  // namespace zor::file
