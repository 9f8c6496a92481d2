// An Xvfb server (1280x1024, depth 24) on a free display number for a test
// suite: started on demand, DISPLAY pointed at it, killed at teardown. It
// does not reset when its last client leaves: a reset refuses connections
// for a moment, and tests open and close their windows one after another.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
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

  // Tries display numbers from `first` on; true once a server accepts
  // connections and DISPLAY names it.
  bool start(int first = 90, int tries = 40) {
    for (int n = first; n < first + tries; ++n) {
      if (access(("/tmp/.X" + std::to_string(n) + "-lock").c_str(), F_OK) == 0) continue;
      const std::string name = ":" + std::to_string(n);
      pid_ = fork();
      if (pid_ < 0) return false;
      if (pid_ == 0) {
        // The server goes with the test process, however that ends (an exit
        // from inside the program under test skips destructors).
        const pid_t parent = getppid();
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) _exit(0);
        execlp("Xvfb", "Xvfb", name.c_str(), "-screen", "0", "1280x1024x24", "-nolisten", "tcp", "-noreset",
               static_cast<char*>(nullptr));
        _exit(127);
      }
      if (wait_ready(n)) {
        display_ = name;
        setenv("DISPLAY", display_.c_str(), 1);
        return true;
      }
      stop();
    }
    return false;
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
  // The socket file appears before the server listens: connect to be sure.
  bool wait_ready(int n) const {
    const std::string sock = "/tmp/.X11-unix/X" + std::to_string(n);
    for (int i = 0; i < 100; ++i) {
      if (waitpid(pid_, nullptr, WNOHANG) == pid_) return false;  // it gave up
      if (connects(sock)) return true;
      usleep(100000);
    }
    return false;
  }
  static bool connects(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) return false;
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0;
    close(fd);
    return ok;
  }

  pid_t pid_ = -1;
  std::string display_;
};

}  // namespace zor::test
