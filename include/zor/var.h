// Variable descriptions: the variable model of the data being plotted.
#pragma once

// The model word ("mdr", "rcm") that selects the variable descriptions of
// converted radar reports. An empty or null text clears it.
int VAR_set_model_str(const char* str);
// The current model word; "" when none is set. Valid until the next set.
const char* VAR_get_model_str();

namespace zor::var {
// Forgets the model word (tests).
void reset();
}  // namespace zor::var
