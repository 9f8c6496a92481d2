// Finding the bundled runtime data (maps, fonts, colour tables, site tables,
// name conventions) without any configuration.
#pragma once

#include <optional>
#include <string>

namespace zor {

// The directory holding the bundled data: $ZOR_DATA_DIR when set, else the
// "data" (or "share/zor") directory next to or above the running executable,
// else the source tree's data directory compiled into the program.
const std::string& data_dir();

// Full path of a bundled data file, when it exists.
std::optional<std::string> find_data_file(const std::string& name);

// A runtime file as every module looks for one: a bare name along the
// file_path resource first, then as given, then among the bundled data; a
// name starting with '/', '.' or '~' only as given.
std::optional<std::string> find_runtime_file(const std::string& name);

}  // namespace zor
