// Internal to the city database module.
#pragma once

namespace zor::cty {
// Closes the open city file, if any.
void reset_file();
}  // namespace zor::cty
