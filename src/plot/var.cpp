// Variable descriptions: the model word chosen by the input type.
#include "zor/var.h"

#include <string>

namespace zor::var {

namespace {
struct State {
  std::string model;
  void reset() { model.clear(); }
};

State& state() {
  static State s;
  return s;
}
}  // namespace

void reset() { state().reset(); }

}  // namespace zor::var

int VAR_set_model_str(const char* str) {
  zor::var::state().model = str ? str : "";
  return 0;
}

const char* VAR_get_model_str() { return zor::var::state().model.c_str(); }
