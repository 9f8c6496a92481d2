// The kernel's clock: the creation dates written into PostScript and
// metafile headers come from here, so tests can pin the time and compare
// outputs byte for byte.
#include <array>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

#include "zor/gks_dev.h"

namespace zor::gks {
namespace {

struct ClockState {
  std::optional<std::time_t> fixed;
};

ClockState& clock_state() {
  static ClockState s;
  return s;
}

}  // namespace

std::time_t clock_now() {
  const auto& s = clock_state();
  return s.fixed ? *s.fixed : std::time(nullptr);
}

void set_fixed_time(std::time_t t) { clock_state().fixed = t; }
void clear_fixed_time() { clock_state().fixed.reset(); }

std::string clock_ctime() {
  // UTC rather than local time: the package works in UTC throughout and a
  // header should not depend on the TZ of the machine that wrote it.
  const std::time_t t = clock_now();
  std::tm tm{};
  gmtime_r(&t, &tm);
  static constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  char buf[64];
  std::snprintf(buf, sizeof buf, "%s %s %2d %02d:%02d:%02d %d\n", kDays[tm.tm_wday % 7], kMonths[tm.tm_mon % 12],
                tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, tm.tm_year + 1900);
  return buf;
}

}  // namespace zor::gks
