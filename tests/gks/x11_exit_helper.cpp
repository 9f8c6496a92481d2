// Opens the X11 window, prints "ready", then provokes 25 protocol errors
// ("errors") or breaks its connection ("fatal"); 0 means it survived.
#include <X11/Xlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "zor/gks.h"
#include "zor/gks_win.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  if (gopen_gks(nullptr, 0) != 0 || gopen_ws(1, "", GWS_WINDOW) != 0) return 3;
  auto* dpy = reinterpret_cast<Display*>(gget_display_id());
  if (dpy == nullptr) return 3;
  gcreate_frame(-1);  // a frame whose pixmap the handlers release
  std::printf("ready\n");
  std::fflush(stdout);
  if (std::strcmp(argv[1], "errors") == 0) {
    // An id in no client's range names no pixmap: each free is a BadPixmap.
    for (int i = 0; i < 40; ++i) {
      XFreePixmap(dpy, 0x1fffffffUL);
      XSync(dpy, False);
    }
  } else if (std::strcmp(argv[1], "fatal") == 0) {
    // The connection breaks under the program: nothing more comes from the server.
    shutdown(ConnectionNumber(dpy), SHUT_RD);
    XSync(dpy, False);
  } else {
    return 2;
  }
  std::printf("survived\n");
  return 0;
}
