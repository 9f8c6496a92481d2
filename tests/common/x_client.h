// A second client of the test's X server that sends one window the events
// a person at the keyboard and mouse would, and reads its title. Include
// after the test framework: Xlib defines None.
#pragma once

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <string>

namespace zor::test {

class XClient {
 public:
  explicit XClient(unsigned long window = 0) : dpy_(XOpenDisplay(nullptr)), win_(window) {}
  ~XClient() {
    if (dpy_ != nullptr) XCloseDisplay(dpy_);
  }
  XClient(const XClient&) = delete;
  XClient& operator=(const XClient&) = delete;

  Display* dpy() const { return dpy_; }
  Window window() const { return win_; }
  void set_window(Window w) { win_ = w; }
  bool ok() const { return dpy_ != nullptr && win_ != 0; }

  // The newest top-level window of the server, 0 if none.
  Window newest_top_level() const {
    Window root = 0, parent = 0, *children = nullptr, found = 0;
    unsigned n = 0;
    XQueryTree(dpy_, DefaultRootWindow(dpy_), &root, &parent, &children, &n);
    if (n > 0) found = children[n - 1];
    if (children != nullptr) XFree(children);
    return found;
  }

  XEvent event(int type, int x = 0, int y = 0, unsigned state = 0) const {
    XEvent ev{};
    ev.xkey.type = type;
    ev.xkey.display = dpy_;
    ev.xkey.window = win_;
    ev.xkey.root = DefaultRootWindow(dpy_);
    ev.xkey.same_screen = True;
    ev.xkey.x = x, ev.xkey.y = y;
    ev.xkey.state = state;
    return ev;
  }
  void send(XEvent& ev, long mask) {
    XSendEvent(dpy_, win_, True, mask, &ev);
    XSync(dpy_, False);
  }
  void key(KeySym sym, unsigned state = 0, int x = 10, int y = 10) {
    XEvent ev = event(KeyPress, x, y, state);
    ev.xkey.keycode = XKeysymToKeycode(dpy_, sym);
    send(ev, KeyPressMask);
  }
  void button(bool press, unsigned button, int x, int y, unsigned state = 0) {
    XEvent ev = event(press ? ButtonPress : ButtonRelease, x, y, state);
    ev.xbutton.button = button;
    send(ev, press ? ButtonPressMask : ButtonReleaseMask);
  }
  void motion(int x, int y, unsigned state = Button1Mask) {
    XEvent ev = event(MotionNotify, x, y, state);
    send(ev, ButtonMotionMask);
  }
  void configure(int width, int height) {
    XEvent ev{};
    ev.xconfigure.type = ConfigureNotify;
    ev.xconfigure.display = dpy_;
    ev.xconfigure.event = ev.xconfigure.window = win_;
    ev.xconfigure.width = width, ev.xconfigure.height = height;
    send(ev, StructureNotifyMask);
  }
  // The message another loop window sends (the kind of change in its first byte).
  void loop_message(int what) {
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.display = dpy_;
    ev.xclient.window = win_;
    ev.xclient.message_type = XA_NOTICE;
    ev.xclient.format = 8;
    ev.xclient.data.b[0] = static_cast<char>(what);
    send(ev, NoEventMask);
  }
  std::string window_name() const {
    char* name = nullptr;
    XFetchName(dpy_, win_, &name);
    std::string s = name != nullptr ? name : "";
    if (name != nullptr) XFree(name);
    return s;
  }

 private:
  Display* dpy_;
  Window win_;
};

}  // namespace zor::test
