// Messages: a mask of message classes decides what is shown, and where
// (terminal, copy file, log file); long terminal output can be paged.
#include "zor/mess.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "zor/date.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/text.h"

namespace {

constexpr M_type kDefaultLevel = 0x000FFFFF;
constexpr M_type kErrorOrWarn = M_ERROR | M_WARN;
constexpr int kDefaultLines = 22;

// Sinks are opened through the file layer (so "~", "|command" and the
// standard-stream names work) and closed by it.
struct SinkCloser {
  void operator()(std::FILE* f) const noexcept { FILE_close(f); }
};
using Sink = std::unique_ptr<std::FILE, SinkCloser>;

Sink open_sink(const std::string& name, const char* access) { return Sink{FILE_open(name.c_str(), access)}; }

struct MessState {
  M_type level = kDefaultLevel;
  int set_count = 0;
  int out = 1;  // 1 terminal+log, 0 log only, -1 stamped log+terminal, 2 reopened log+terminal
  int page = 1;
  int lines = 0;
  int max_lines = kDefaultLines;
  Sink copy;             // every shown message is copied here
  Sink log;              // log file
  std::string log_name;  // log reopened for every message in mode 2

  void reset() { *this = MessState{}; }
};

// Never destroyed: messages may be printed from other modules' exit paths,
// and the C library flushes and closes the streams at exit anyway.
MessState& state() {
  static MessState& s = *new MessState;
  return s;
}

// All bits from the highest set bit of `mask` down to bit 0.
M_type cumulative(M_type mask) {
  if (mask == 0) return 0;
  M_type top = mask;
  top |= top >> 1;
  top |= top >> 2;
  top |= top >> 4;
  top |= top >> 8;
  top |= top >> 16;
  return top;
}

std::string vformat(const char* fmt, va_list ap) {
  va_list ap2;
  va_copy(ap2, ap);
  char small[512];
  int n = std::vsnprintf(small, sizeof small, fmt, ap);
  std::string out;
  if (n < 0) {
    out.clear();
  } else if (static_cast<std::size_t>(n) < sizeof small) {
    out.assign(small, static_cast<std::size_t>(n));
  } else {
    out.resize(static_cast<std::size_t>(n) + 1);
    std::vsnprintf(out.data(), out.size(), fmt, ap2);
    out.resize(static_cast<std::size_t>(n));
  }
  va_end(ap2);
  return out;
}

void write_text(std::FILE* f, const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), f);
  std::fflush(f);
}

// Reads and drops the rest of the current input line.
void wait_for_return() {
  int c;
  while ((c = std::getchar()) != EOF && c != '\n') {
  }
}

struct ClassWord {
  const char* word;
  M_type mask;
};

// Items of the `message` resource name a class by its leading letters.
constexpr ClassWord kClasses[] = {
    {"none", 0},          {"print", M_PRINT}, {"error", M_ERROR}, {"warn", M_WARN},
    {"mess", M_MESS},     {"out1", M_OUT1},   {"out2", M_OUT2},   {"out3", M_OUT3},
    {"out4", M_OUT4},     {"debug", M_DEBUG},
};

constexpr M_type kSubLevel[] = {0x11111111, 0x22222222, 0x44444444, 0x88888888};

M_type class_mask(std::string_view word) {
  M_type mask = 0;
  for (const ClassWord& c : kClasses) {
    std::size_t n = std::strlen(c.word);
    if (word.size() >= n && strnicmp(word.data(), c.word, static_cast<int>(n)) == 0) {
      mask = c.mask;
      break;
    }
  }
  if (!word.empty()) {
    char last = word.back();
    if (last >= 'A' && last <= 'Z') last = static_cast<char>(last - 'A' + 'a');
    if (last >= 'a' && last <= 'd') mask &= kSubLevel[last - 'a'];
  }
  return mask;
}

// Opens the log file; on failure the sink stays closed and messages keep
// reaching the terminal.
void open_log(const std::string& name, const char* access, int out) {
  MessState& s = state();
  s.log.reset();
  s.log_name.clear();
  s.log = open_sink(name, access);
  if (s.log) {
    s.out = out;
  } else {
    s.out = 1;
    MESS_print(M_WARN, "Unable to open message file %s\n", name.c_str());
  }
}

struct FileItem {
  const char* prefix;
  const char* access;  // nullptr: only remember the name (reopened per message)
  int out;
};

// Longer prefixes first so that "fi" does not swallow "@fi", "+fi" or "dfi".
constexpr FileItem kFileItems[] = {
    {"@fi", "a", -1}, {"+fi", "a", 1}, {"-fi", "w", 1}, {"dfi", nullptr, 2}, {"fi", "a", 0},
};

bool apply_file_item(std::string_view item) {
  for (const FileItem& f : kFileItems) {
    std::size_t n = std::strlen(f.prefix);
    if (item.size() < n || strnicmp(item.data(), f.prefix, static_cast<int>(n)) != 0) continue;
    // The prefix is followed by one separator character, then the name.
    if (item.size() <= n + 1) {
      MESS_print(M_WARN, "Message file name missing in %.*s\n", static_cast<int>(item.size()),
                 item.data());
      return true;
    }
    std::string name(item.substr(n + 1));
    if (f.access == nullptr) {
      MessState& s = state();
      s.log.reset();
      s.log_name = name;
      s.out = f.out;
    } else {
      open_log(name, f.access, f.out);
    }
    return true;
  }
  return false;
}

void apply_item(std::string_view item) {
  MessState& s = state();
  if (item.empty()) return;
  if (apply_file_item(item)) return;
  if (item.size() == 6 && strnicmp(item.data(), "nopage", 6) == 0) {
    s.page = 0;
    return;
  }
  if (item.size() == 4 && strnicmp(item.data(), "page", 4) == 0) {
    s.page = 2;
    return;
  }
  if (item.size() >= 4 && strnicmp(item.data(), "line", 4) == 0) {
    int n = item.size() > 5 ? std::atoi(std::string(item.substr(5)).c_str()) : 0;
    s.max_lines = n < 1 ? kDefaultLines : n;
    return;
  }
  char sign = item.front();
  if (sign == '+' || sign == '-') item.remove_prefix(1);
  M_type mask = class_mask(item);
  if (sign == '+')
    s.level |= mask;
  else if (sign == '-')
    s.level &= ~mask;
  else
    s.level = cumulative(mask);
}

std::string_view trim_blanks(std::string_view v) {
  while (!v.empty() && (v.front() == ' ' || v.front() == '\t')) v.remove_prefix(1);
  while (!v.empty() && (v.back() == ' ' || v.back() == '\t')) v.remove_suffix(1);
  return v;
}

}  // namespace

namespace zor::mess {
void reset() { state().reset(); }
int lines() { return state().lines; }
int page() { return state().page; }
int out() { return state().out; }
}  // namespace zor::mess

int MESS_print(M_type type, const char* mess, ...) {
  MessState& s = state();
  if ((type & s.level) == 0 || mess == nullptr) return 0;

  va_list ap;
  va_start(ap, mess);
  std::string text = vformat(mess, ap);
  va_end(ap);

  if (s.copy) write_text(s.copy.get(), text);
  if (s.out == 2 && !s.log_name.empty()) s.log = open_sink(s.log_name, "a");
  if (s.log) {
    if (s.out == -1) {
      char stamp[64];
      DATE_get_current_str(stamp);
      std::fputs(stamp, s.log.get());
      std::fputs(" -- ", s.log.get());
    }
    write_text(s.log.get(), text);
  }
  if (s.out == 2) s.log.reset();
  if (s.out == 0) return 0;

  write_text((type & kErrorOrWarn) != 0 ? stderr : stdout, text);

  if (s.page == 2) {
    // Lines are counted in the format, so inserted values never add lines.
    for (const char* p = mess; *p != '\0'; ++p)
      if (*p == '\n') ++s.lines;
    if (s.lines > s.max_lines) MESS_hold(type, "Press return to continue\n");
  }
  return 1;
}

int MESS_hold(M_type type, const char* mess) {
  MessState& s = state();
  if ((type & s.level) == 0 || s.out == 0 || FLAG_batch() || s.page == 0) return 0;
  if (mess != nullptr) {
    bool both = (type & M_ERROR) != 0 && (type & M_WARN) != 0;
    write_text(both ? stderr : stdout, mess);
  }
  wait_for_return();
  s.lines = 0;
  return 0;
}

int MESS_print_prog(const char* string) {
  return MESS_print(M_MESS, "      %s (Ver %s)\n\n", string != nullptr ? string : "", ZOR_version());
}

int MESS_set(int oper, M_type level) {
  MessState& s = state();
  if (oper < 5) ++s.set_count;
  if (oper > 15 && s.set_count > 0) return 0;
  switch (oper) {
    case 0: case 10: case 20: s.level = cumulative(level); break;
    case 1: case 11: case 21: s.level |= level; break;
    case -1: case 9: case 19: s.level &= ~level; break;
    default: break;
  }
  return 0;
}

int MESS_set_str(const char* str) {
  MessState& s = state();
  ++s.set_count;
  if (str == nullptr) return -1;
  int argc = 0;
  char** argv = nullptr;
  if (parse_string(str, ',', &argc, &argv) != 0) return -1;
  for (int i = 0; i < argc; ++i) apply_item(trim_blanks(argv[i]));
  free_parsed_array(argc, argv);
  return 0;
}

M_type MESS_get() { return state().level; }

int MESS_check(M_type level) { return (level & state().level) != 0 ? 1 : 0; }

int MESS_check_set() { return state().set_count; }

int MESS_file(const char* filename, const char* access) {
  MessState& s = state();
  s.copy.reset();
  if (filename == nullptr) return -1;
  s.copy = open_sink(filename, access != nullptr ? access : "w");
  if (!s.copy) {
    MESS_print(M_WARN, "Unable to open message copy file %s\n", filename);
    return -1;
  }
  return 0;
}

int MESS_file_close() {
  state().copy.reset();
  return 0;
}

int MESS_set_out(int val) {
  state().out = val;
  return 0;
}

int MESS_set_page(int val) {
  state().page = val;
  return 0;
}

int MESS_get_max_lines() { return state().max_lines; }
