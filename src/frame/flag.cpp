// Process-wide switches (the flag table) and the plot-component table.
#include "zor/flag.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace zor::flag {

inline constexpr int kNumFlags = 30;
inline constexpr int kNumPlot = 13;

struct State {
  std::array<long, kNumFlags> flags;
  std::array<int, kNumPlot> plot_it;
  State() { reset(); }
  void reset() {
    flags.fill(-9999);
    plot_it.fill(1);  // every component drawn until the draw resource says otherwise
  }
};

State& state() {
  static State s;
  return s;
}

void reset() { state().reset(); }

}  // namespace zor::flag

using zor::flag::kNumFlags;
using zor::flag::kNumPlot;
using zor::flag::state;

namespace {
bool valid_flag(int flag) { return flag >= 0 && flag < kNumFlags; }
bool valid_plot(int type) { return type >= 0 && type < kNumPlot; }
}  // namespace

long FLAG_getl(int flag) { return valid_flag(flag) ? state().flags[flag] : 0; }
int FLAG_get(int flag) { return static_cast<int>(FLAG_getl(flag)); }

int FLAG_setl(int flag, long value) {
  if (!valid_flag(flag)) return -1;
  state().flags[flag] = value;
  return 0;
}
int FLAG_set(int flag, int value) { return FLAG_setl(flag, value); }

int FLAG_resetl(long value) {
  state().flags.fill(value);
  return 0;
}
int FLAG_reset(int value) { return FLAG_resetl(value); }

int FLAG_batch() { return state().flags[19] > 0 ? 1 : 0; }
int FLAG_set_batch(int val) { return FLAG_set(19, val); }
int FLAG_help() { return state().flags[20] > 0 ? 1 : 0; }

int FLAG_setplot(int type, int val) {
  // Callers pass constants; an index outside the table is ignored rather than
  // written past the end.
  if (!valid_plot(type)) return -1;
  auto& p = state().plot_it;
  p[type] = val;
  if (type == 12) std::fill(p.begin(), p.begin() + 12, val);
  if (type == 0) std::fill(p.begin(), p.begin() + 7, val);
  // Slot 0 sums the corner texts and slot 12 everything, so readers can test
  // "any text" or "anything" with one look-up.
  p[0] = std::accumulate(p.begin() + 1, p.begin() + 7, 0);
  p[12] = std::accumulate(p.begin(), p.begin() + 12, 0);
  return 0;
}

int FLAG_getplot(int type) { return valid_plot(type) ? state().plot_it[type] : 0; }

int FLAG_resetplot(int val) {
  state().plot_it.fill(val);
  return 0;
}
