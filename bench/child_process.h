// Running the built programs from a benchmark: straight, without a shell, so
// that a timing holds the program's own start-up and nothing else.
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace zor_bench {

// CPU time of all waited-for children so far, which a busy machine disturbs
// much less than the wall time.
inline double child_cpu_seconds() {
  rusage u{};
  getrusage(RUSAGE_CHILDREN, &u);
  return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
         static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// Runs argv[0] in `dir` with no display, no resource files and no terminal
// output; its exit status, or -1.
inline int run_program(const std::vector<std::string>& argv, const std::filesystem::path& dir) {
  std::vector<char*> args;
  for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  const pid_t pid = ::fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    const int null = ::open("/dev/null", O_RDWR);
    if (null < 0 || ::chdir(dir.c_str()) != 0) ::_exit(127);
    ::dup2(null, 0);
    ::dup2(null, 1);
    ::dup2(null, 2);
    ::unsetenv("DISPLAY");
    ::setenv("zordefault", "none", 1);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
  int st = 0;
  if (::waitpid(pid, &st, 0) != pid) return -1;
  return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

// The program named by environment variable `env`, else the built one.
inline std::string binary(const char* env, const char* built) {
  const char* e = std::getenv(env);
  return e != nullptr && *e != '\0' ? e : built;
}

}  // namespace zor_bench
