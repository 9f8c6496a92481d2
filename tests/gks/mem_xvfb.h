// An Xvfb server at depth 24 on a free display number, started for a test
// suite and stopped with it.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace zor::test {

class XvfbServer {
 public:
  // Tries display numbers from `first` on until a server comes up.
  bool start(int first) {
    for (int n = first; n < first + 30; ++n) {
      if (access(("/tmp/.X" + std::to_string(n) + "-lock").c_str(), F_OK) == 0) continue;
      display_ = ":" + std::to_string(n);
      pid_ = fork();
      if (pid_ == 0) {
        execlp("Xvfb", "Xvfb", display_.c_str(), "-screen", "0", "1024x768x24", "-nolisten", "tcp",
               static_cast<char*>(nullptr));
        _exit(127);
      }
      if (pid_ < 0) return false;
      const std::string sock = "/tmp/.X11-unix/X" + std::to_string(n);
      for (int i = 0; i < 50 && access(sock.c_str(), F_OK) != 0; ++i) {
        if (waitpid(pid_, nullptr, WNOHANG) == pid_) break;  // it gave up
        usleep(100000);
      }
      if (access(sock.c_str(), F_OK) == 0) return true;
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
  ~XvfbServer() { stop(); }

 private:
  pid_t pid_ = -1;
  std::string display_;
};

}  // namespace zor::test
