// An Xvfb server (1280x1024, depth 24 unless asked otherwise; depth 8 gives
// a PseudoColor default visual) on a free display number for a test
// suite: started on demand, DISPLAY pointed at it, killed at teardown. It
// does not reset when its last client leaves: a reset refuses connections
// for a moment, and tests open and close their windows one after another.
#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace zor::test {

class Xvfb {
 public:
  Xvfb() = default;
  Xvfb(const Xvfb&) = delete;
  Xvfb& operator=(const Xvfb&) = delete;
  ~Xvfb() { stop(); }

  // Starts a server on a display number Xvfb picks itself (-displayfd), so
  // that test processes started in parallel never race for one; true once
  // it accepts connections and DISPLAY names it.
  bool start(int depth = 24) {
    const std::string screen = "1280x1024x" + std::to_string(depth);
    int fds[2];
    if (pipe(fds) != 0) return false;
    pid_ = fork();
    if (pid_ < 0) {
      close(fds[0]);
      close(fds[1]);
      return false;
    }
    if (pid_ == 0) {
      close(fds[0]);
      // The server goes with the test process, however that ends (an exit
      // from inside the program under test skips destructors).
      const pid_t parent = getppid();
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      if (getppid() != parent) _exit(0);
      const std::string fd = std::to_string(fds[1]);
      execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", screen.c_str(), "-nolisten", "tcp",
             "-noreset", static_cast<char*>(nullptr));
      _exit(127);
    }
    close(fds[1]);
    // Xvfb writes the number once it is ready to accept connections.
    std::string number;
    pollfd in{fds[0], POLLIN, 0};
    char c = 0;
    while (poll(&in, 1, 20000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n') number += c;
    close(fds[0]);
    if (number.empty()) {
      stop();
      return false;
    }
    display_ = ":" + number;
    setenv("DISPLAY", display_.c_str(), 1);
    return true;
  }

  void stop() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
    pid_ = -1;
  }

  const std::string& display() const { return display_; }

 private:
  pid_t pid_ = -1;
  std::string display_;
};

}  // namespace zor::test
