// Process utilities: version, exit, detaching, terminal prompts with the
// built-in "set" and "exit" commands, sleeping and the elapsed-time clock.
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <thread>

#include "zor/mess.h"
#include "zor/res.h"
#include "zor/text.h"

namespace {

constexpr int kLineMax = 79;   // characters of one typed line that count
constexpr int kNameMax = 19;   // resource name of a "set" command, ZOR_promptl word
constexpr int kWordBuf = 81;   // buffer ZOR_promptl allocates
constexpr M_type kSetTitle = 0x800;  // mess class, sub-level d

struct UtilState {
  timeval start{};
  double slept = 0.0;
  void reset() { *this = UtilState{}; }
};

UtilState& state() {
  static UtilState s;
  return s;
}

bool is_blank(char c) { return c == ' ' || c == '\t'; }

// One typed line, cut to kLineMax characters (the rest of a longer line is
// read and dropped so it cannot leak into the next question), line end and
// trailing blanks removed. Nothing at end of input.
std::optional<std::string> read_line() {
  std::string line;
  int c;
  bool any = false;
  while ((c = std::getchar()) != EOF) {
    any = true;
    if (c == '\n') break;
    if (line.size() < static_cast<std::size_t>(kLineMax)) line.push_back(static_cast<char>(c));
  }
  if (!any) return std::nullopt;
  line.push_back('\0');
  wstrim_string(line.data());
  line.resize(std::strlen(line.c_str()));
  return line;
}

// Asks once; end of input ends the program, as "exit" would.
std::string ask(const char* prompt) {
  MESS_print(M_PRINT, "%s", prompt != nullptr ? prompt : "");
  std::optional<std::string> line = read_line();
  if (!line) {
    MESS_print(M_PRINT, "\n");
    ZOR_exit(0);
  }
  return *line;
}

// The first blank-separated word of `line`, at most `max` characters.
std::string first_word(const std::string& line, std::size_t max) {
  std::size_t b = 0;
  while (b < line.size() && is_blank(line[b])) ++b;
  std::size_t e = b;
  while (e < line.size() && !is_blank(line[e])) ++e;
  return line.substr(b, std::min(e - b, max));
}

char* own_buffer(char* str, int size) {
  if (str != nullptr) return str;
  return new (std::nothrow) char[static_cast<std::size_t>(size)]();
}

}  // namespace

namespace zor::util {
void reset() { state().reset(); }
}  // namespace zor::util

const char* ZOR_version() { return "5.59-LINUX-X11"; }

void ZOR_exit(int status) {
  std::fflush(nullptr);
  std::exit(status);
}

int ZOR_back_proc() {
  // Unflushed output would otherwise be written twice, by both processes.
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid < 0) {
    MESS_print(M_ERROR, "Unable to start background process\n");
    return -1;
  }
  // The parent leaves without running exit handlers, which belong to the child now.
  if (pid > 0) _exit(0);
  std::signal(SIGINT, SIG_DFL);
  close(0);
  close(1);
  close(2);
  int fd = open("/dev/null", O_RDWR);
  if (fd < 0) return 0;
  if (fd != 0) dup2(fd, 0);
  dup2(0, 1);
  dup2(0, 2);
  setpgid(0, 0);
  return 1;
}

int ZOR_set_command(const char* string) {
  if (string == nullptr) return 0;
  const char* p = string;
  while (is_blank(*p)) ++p;
  if (strnicmp(p, "set", 3) == 0) {
    while (*p != '\0' && !is_blank(*p)) ++p;  // the command word
    while (is_blank(*p)) ++p;
    const char* name = p;
    while (*p != '\0' && *p != '=' && !is_blank(*p)) ++p;
    std::size_t len = static_cast<std::size_t>(p - name);
    while (*p == '=' || is_blank(*p)) ++p;
    if (len == 0) {
      MESS_print(kSetTitle, "Set resources\n");
      RES_list();
      MESS_print(kSetTitle, "\n");
      return 1;
    }
    if (len > static_cast<std::size_t>(kNameMax)) {
      MESS_print(M_ERROR, "Resource name too long (at most %d characters): %.*s\n", kNameMax,
                 static_cast<int>(len), name);
      return 1;
    }
    std::string key(name, len);
    RES_put(key.c_str(), p);
    return 1;
  }
  if (strnicmp(p, "exit", 4) == 0) ZOR_exit(0);
  return 0;
}

char* ZOR_prompts(const char* prompt, char* str, int length) {
  if (str != nullptr && length < 1) return nullptr;
  char* out = own_buffer(str, length + 1);
  if (out == nullptr) return nullptr;
  std::size_t width = length > 1 ? static_cast<std::size_t>(length - 1) : 0;
  for (;;) {
    std::string line = ask(prompt);
    if (ZOR_set_command(line.c_str())) continue;
    if (line.empty()) return out;
    std::string word = first_word(line, width);
    std::memcpy(out, word.c_str(), word.size() + 1);
    return out;
  }
}

char* ZOR_promptl(const char* prompt, char* str) {
  char* out = own_buffer(str, kWordBuf);
  if (out == nullptr) return nullptr;
  for (;;) {
    std::string line = ask(prompt);
    if (line.empty()) return out;
    std::string word = first_word(line, kNameMax);
    if (ZOR_set_command(word.c_str())) continue;
    std::memcpy(out, word.c_str(), word.size() + 1);
    return out;
  }
}

float ZOR_promptf(const char* prompt) {
  for (;;) {
    std::string line = ask(prompt);
    if (ZOR_set_command(line.c_str())) continue;
    if (line.empty()) return 0.0f;
    float v = 0.0f;
    if (std::sscanf(line.c_str(), "%f", &v) == 1) return v;
  }
}

int ZOR_promptd(const char* prompt) {
  for (;;) {
    std::string line = ask(prompt);
    if (ZOR_set_command(line.c_str())) continue;
    if (line.empty()) return 0;
    int v = 0;
    if (std::sscanf(line.c_str(), "%d", &v) == 1) return v;
  }
}

int ZOR_sleep(float secs) {
  if (!(secs > 0.0f)) return -1;
  state().slept += secs;
  std::this_thread::sleep_for(std::chrono::microseconds(static_cast<long long>(static_cast<double>(secs) * 1e6)));
  return 0;
}

int ZOR_init_time() {
  UtilState& s = state();
  gettimeofday(&s.start, nullptr);
  s.slept = 0.0;
  return 0;
}

float ZOR_elapse_time() {
  const UtilState& s = state();
  timeval now{};
  gettimeofday(&now, nullptr);
  if (now.tv_usec == 0) return static_cast<float>(s.slept);
  long sec = now.tv_sec - s.start.tv_sec;
  long usec = now.tv_usec - s.start.tv_usec;
  if (usec < 0) {
    --sec;
    usec += 1000000;
  }
  return static_cast<float>(static_cast<double>(sec) + static_cast<double>(usec) * 1e-6);
}

int ZOR_get_pid() { return static_cast<int>(getpid()); }
