// The display's fatal conditions (25 protocol errors, a broken connection) end
// a helper program, run as a child against its own Xvfb, with status 4.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "../common/files.h"
#include "../common/xvfb.h"

namespace {

std::string out_path(const std::string& name) {
  return zor::test::scratch("x11_exit_" + name) + ".out";
}

// Starts the helper in `mode`, standard output and error into `out`.
// The file is emptied before the child starts, so that what an earlier run
// wrote there is never taken for this one's.
pid_t spawn(const char* mode, const std::string& out) {
  const int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return -1;
  // Ending from a handler leaves the connection's client-side records to the
  // process's end on purpose: a leak check would only change the status.
  const char* asan = std::getenv("ASAN_OPTIONS");
  if (asan == nullptr || std::strstr(asan, "detect_leaks=0") == nullptr)
    setenv("ASAN_OPTIONS", (std::string(asan != nullptr ? asan : "") + ":detect_leaks=0").c_str(), 1);
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(fd, 1);
    dup2(fd, 2);
    close(fd);
    execl(X11_EXIT_HELPER, X11_EXIT_HELPER, mode, static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fd);
  return pid;
}

using zor::test::slurp;

// Waits up to `seconds` for the child; its wait status, or -1 after killing
// a child that did not end.
int wait_exit(pid_t pid, int seconds) {
  int status = 0;
  for (int i = 0; i < seconds * 10; ++i) {
    if (waitpid(pid, &status, WNOHANG) == pid) return status;
    usleep(100000);
  }
  kill(pid, SIGKILL);
  waitpid(pid, &status, 0);
  return -1;
}

// Waits until the child has written `text`, or has ended.
bool wait_text(pid_t pid, const std::string& path, const std::string& text, int seconds) {
  for (int i = 0; i < seconds * 10; ++i) {
    if (slurp(path).find(text) != std::string::npos) return true;
    if (waitpid(pid, nullptr, WNOHANG) == pid) return false;
    usleep(100000);
  }
  return false;
}

int count_lines(const std::string& text, const std::string& begin, const std::string& end) {
  int n = 0;
  for (const std::string& line : zor::test::lines_of(text)) n += line.starts_with(begin) && line.ends_with(end);
  return n;
}

// Checks that the helper ended by itself with status 4 after printing
// `message`, and did not survive what it provoked.
void expect_exit_4(pid_t pid, const std::string& out, const std::string& message) {
  const int status = wait_exit(pid, 30);
  const std::string text = slurp(out);
  ASSERT_NE(status, -1) << "the helper did not end\n" << text;
  ASSERT_TRUE(WIFEXITED(status)) << text;
  EXPECT_EQ(WEXITSTATUS(status), 4) << text;
  EXPECT_NE(text.find("ready\n"), std::string::npos) << text;
  EXPECT_NE(text.find(message), std::string::npos) << text;
  EXPECT_EQ(text.find("survived"), std::string::npos) << text;
}

TEST(X11Exit, TwentyFiveProtocolErrorsEndTheProgramWithStatus4) {
  zor::test::Xvfb xvfb;
  ASSERT_TRUE(xvfb.start()) << "Xvfb did not start";
  const std::string out = out_path("errors");
  const pid_t pid = spawn("errors", out);
  ASSERT_GT(pid, 0);
  expect_exit_4(pid, out, "X11 error: too many errors\n");
  // Every error is reported, the 25th too.
  EXPECT_EQ(count_lines(slurp(out), "X11 error: ", " in X_FreePixmap"), 25);
}

TEST(X11Exit, ABrokenConnectionEndsTheProgramWithStatus4) {
  zor::test::Xvfb xvfb;
  ASSERT_TRUE(xvfb.start()) << "Xvfb did not start";
  const std::string out = out_path("fatal");
  const pid_t pid = spawn("fatal", out);
  ASSERT_GT(pid, 0);
  if (!wait_text(pid, out, "ready\n", 30)) {
    wait_exit(pid, 1);
    FAIL() << "the helper did not open its window\n" << slurp(out);
  }
  xvfb.stop();  // the connection breaks under the helper
  expect_exit_4(pid, out, "Fatal X11 Error\n");
}

}  // namespace
