// The X11 window under Xvfb: events sent from a second connection (keys,
// buttons, rubber band, resize, loop-window messages, dumps), the wait,
// server fonts, masked pixels and the window's placement and hints.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "../common/capture.h"
#include "../common/expect.h"
#include "../common/files.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "gks_zoom.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"
#include "zor/res.h"

// After the test framework: Xlib defines None.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include "../common/x_client.h"

using namespace zor::gks;
namespace fs = std::filesystem;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

// Another client of the server: sends events to the workstation's window.
struct Client : zor::test::XClient {
  Client() : XClient(gget_root_window()) {}
};

// A window opened without the fixture, closed with everything put back.
void close_plain() {
  gclose_ws(1);
  gclose_gks();
  kernel().reset();
  reset_color_model();
}

// What the mouse callback received.
struct Call {
  int kind;
  std::string label;
  float x, y;
};
std::vector<Call>& calls() {
  static std::vector<Call> c;
  return c;
}
void record_call(int kind, char* label, float x, float y) { calls().push_back({kind, label, x, y}); }

using Picture = zor::test::Capture;

class Events : public ::testing::Test {
 protected:
  void SetUp() override {
    gset_win_size(200, 160);
    zor::test::open_window_ws(false);
    dev = current_device();
    ginit_event(0);
    calls().clear();
    gset_mouse_callback(record_call);
    handle();  // the window's own start-up events
    calls().clear();
  }
  void TearDown() override {
    gset_mouse_callback(nullptr);
    gset_refresh_callback(0, nullptr);
    greset_zoom();
    zor::test::close_window_ws(false);
  }
  // Reads what the other client sent: a round trip puts it in the queue.
  int handle() {
    gsync();
    return gcheck_event();
  }
  static void box(float x0, float y0, float x1, float y1, int ind) { zor::test::box(x0, y0, x1, y1, ind); }
  void grab(Picture* pic, unsigned long target = 0) {
    ASSERT_TRUE(dev->set_draw_target(target));
    ASSERT_EQ(dev->capture(pic->img), 1);
    ASSERT_EQ(pic->img.bits_pixel, 32);
  }
  unsigned centre(unsigned long target = 0) {
    Picture pic;
    grab(&pic, target);
    return pic.img.data ? pic.pixel(pic.img.width / 2, pic.img.height / 2) : 0xdeadu;
  }
  static void make_frames(int n) { zor::test::make_frames(n); }
  Device* dev = nullptr;
};

using zor::test::floats_eq;
using zor::test::kColour;

TEST_F(Events, ButtonsAndKeysReachTheCallback) {
  Client c;
  c.button(true, Button1, 50, 40, ShiftMask);
  c.button(false, Button1, 60, 45);
  EXPECT_EQ(handle(), 2);
  ASSERT_EQ(calls().size(), 2u);
  EXPECT_EQ(std::tuple(calls()[0].kind, calls()[0].label, calls()[1].label), std::tuple(3, "B1-P-Shft", "B1-R"));
  EXPECT_TRUE(floats_eq({calls()[0].x, calls()[0].y, calls()[1].x}, {xp_W(50), yp_W(40), xp_W(60)}));

  // Keys count only while a wait is on.
  calls().clear();
  c.key(XK_v, Mod1Mask);
  EXPECT_EQ(handle(), 0);
  EXPECT_TRUE(calls().empty());
  gset_input_mode(1);
  c.key(XK_v, Mod1Mask | ControlMask);
  c.key(XK_a, 0);
  handle();
  ASSERT_EQ(calls().size(), 2u);
  // Control-v is a control character.
  EXPECT_EQ(std::tuple(calls()[0].kind, calls()[0].label, calls()[1].label), std::tuple(2, "\x16-Alt-Cntrl", "a"));
  EXPECT_EQ(gget_input_mode(), 1);
  c.key(XK_Return, 0);
  handle();
  EXPECT_EQ(calls().back().label, "Ret");
  EXPECT_EQ(gget_input_mode(), 0);  // Return finished the wait
}

// Stepping frames with buttons is exercised through the radar program in
// nids_window_test; here the loop delay that buttons change while looping.
TEST_F(Events, MouseButtonsChangeTheLoopDelay) {
  make_frames(3);
  ASSERT_EQ(gdisplay_frame(0), 1);
  Client c;
  c.button(true, Button2, 5, 5);  // looping on
  handle();
  EXPECT_EQ(gget_looping(), 1);
  ginc_loop_delay(-0.4f);
  EXPECT_FLOAT_EQ(gget_loop_delay(), 0.1f);
  c.button(true, Button3, 5, 5);
  handle();
  EXPECT_NEAR(gget_loop_delay(), 0.05f, 1e-6);
  c.button(true, Button3, 5, 5);
  c.button(true, Button3, 5, 5);
  handle();
  EXPECT_FLOAT_EQ(gget_loop_delay(), 0.0f);  // never negative
  EXPECT_FLOAT_EQ(gget_frame_delay(0), 0.0f);
  c.button(true, Button1, 5, 5);
  handle();
  EXPECT_NEAR(gget_loop_delay(), 0.05f, 1e-6);
  EXPECT_EQ(gget_cur_frame(), 0);  // looping: no stepping
  ASSERT_GE(calls().size(), 5u);
  EXPECT_EQ(calls().back().label, "B1-P");
}

TEST_F(Events, AltKeysZoomStepAndUnzoomWithoutCallback) {
  box(0, 0, 0.5f, 0.5f, 2);
  gupdate_window();
  gset_input_mode(1);
  Client c;
  c.key(XK_z, Mod1Mask, 100, 80);
  handle();
  EXPECT_EQ(gget_zoom(), 2);
  ASSERT_EQ(calls().size(), 1u);
  EXPECT_EQ(calls()[0].label, "z-Alt");
  c.key(XK_u, Mod1Mask);  // undoes the zoom: no callback
  handle();
  EXPECT_EQ(gget_zoom(), 1);
  EXPECT_EQ(calls().size(), 1u);
  c.key(XK_u, Mod1Mask);  // nothing to undo: the plot's unzoom gets it
  handle();
  ASSERT_EQ(calls().size(), 2u);
  EXPECT_EQ(calls()[1].label, "u-Alt");

  make_frames(2);
  ASSERT_EQ(gdisplay_frame(0), 1);
  c.key(XK_l, Mod1Mask);
  handle();
  EXPECT_EQ(gget_looping(), 1);
  c.key(XK_bracketleft, Mod1Mask);  // looping: slower
  handle();
  EXPECT_NEAR(gget_loop_delay(), 0.6f, 1e-6);
  c.key(XK_q, Mod1Mask);
  handle();
  EXPECT_EQ(gget_input_mode(), 0);
}

TEST_F(Events, RubberBandIsClampedAndLeavesThePictureAlone) {
  box(0, 0, 1, 1, 3);
  gupdate_window();
  Picture before;
  grab(&before);
  const Gpt lim[] = {{10, 10}, {100, 100}};
  gset_rubber_band_limits(lim);
  gset_rubber_band(2);
  Client c;
  c.button(true, Button1, 20, 20);
  c.motion(150, 60);
  c.motion(160, 50);
  c.button(false, Button1, 160, 50);
  handle();
  ASSERT_EQ(calls().size(), 2u);
  EXPECT_EQ(calls()[1].label, "B1-R");
  EXPECT_TRUE(floats_eq({calls()[1].x, calls()[1].y}, {xp_W(100), yp_W(50)}));  // held within the limits
  Picture after;
  grab(&after);
  EXPECT_TRUE(after.same_as(before));
  // Off after the release: the next point is not held.
  c.button(true, Button1, 20, 20);
  c.button(false, Button1, 160, 50);
  handle();
  EXPECT_FLOAT_EQ(calls().back().x, xp_W(160));

  // A line that keeps its x.
  const Gpt none[1] = {};
  gset_rubber_band_points(none, 0, 1);
  gset_rubber_band_limits(nullptr);
  gset_rubber_band(1);
  c.button(true, Button1, 30, 30);
  c.motion(80, 90);
  c.button(false, Button1, 80, 90);
  handle();
  EXPECT_TRUE(floats_eq({calls().back().x, calls().back().y}, {xp_W(30), yp_W(90)}));
}

TEST_F(Events, ResizeReachesTheCallbackOnlyWhenTheSizeChanged) {
  make_frames(1);
  Client c;
  c.configure(200, 160);  // the size it has
  handle();
  EXPECT_TRUE(calls().empty());
  EXPECT_EQ(gget_num_images(), 1);
  XResizeWindow(c.dpy(), gget_root_window(), 300, 200);
  XSync(c.dpy(), False);
  handle();
  ASSERT_EQ(calls().size(), 1u);
  EXPECT_EQ(std::tuple(calls()[0].kind, calls()[0].label), std::tuple(2, "size"));
  EXPECT_TRUE(floats_eq({calls()[0].x, calls()[0].y}, {300, 200}));
  int w = 0, h = 0;
  gget_win_size(&w, &h);
  EXPECT_EQ(std::tuple(w, h), std::tuple(300, 200));
  Picture pic;
  grab(&pic);
  EXPECT_EQ(pic.img.width, 300);
  EXPECT_EQ(gget_frame_id(0), 0u);  // the frames' pixmaps went
}

TEST_F(Events, LoopWindowMessagesFileThePictureAndEndTheWait) {
  box(0, 0, 1, 1, 2);
  const unsigned long drawn = gget_base_window();
  gset_input_mode(1);
  Client c;
  c.loop_message(2);
  handle();
  EXPECT_EQ(std::tuple(gget_num_images(), gget_looping()), std::tuple(1, 1));
  EXPECT_EQ(gget_frame_id(0), drawn);  // the picture is frame 0 now
  EXPECT_NE(gget_base_window(), drawn);
  unsigned long frame0 = 0;
  ASSERT_TRUE(frame_pixmap(0, &frame0));
  EXPECT_EQ(centre(frame0), kColour[0]);
  char extra[60];
  ASSERT_EQ(gget_win_title_extra(extra), 1);
  EXPECT_STREQ(extra, "");
  c.loop_message(2);  // with frames: the picture is kept, the drawable cleaned
  handle();
  EXPECT_EQ(gget_num_images(), 2);
  ASSERT_TRUE(frame_pixmap(0, &frame0));
  EXPECT_EQ(centre(frame0), kColour[0]);
  EXPECT_EQ(gget_frame_id(1), drawn);
  unsigned long frame1 = 0;
  ASSERT_TRUE(frame_pixmap(1, &frame1));
  EXPECT_EQ(centre(frame1), 0u);
  EXPECT_EQ(gget_input_mode(), 1);
  c.loop_message(9);
  handle();
  EXPECT_EQ(gget_input_mode(), 0);
}

int g_refreshes = 0;
void refresh_and_stop() {
  ++g_refreshes;
  gset_input_mode(0);
}

TEST_F(Events, WaitEndsFromTheRefreshCallback) {
  g_refreshes = 0;
  gset_refresh_callback(1, refresh_and_stop);
  EXPECT_EQ(ghold(), 0);
  EXPECT_EQ(g_refreshes, 1);
  EXPECT_EQ(gget_cursor_type(), 0);  // X_cursor after the wait
  // Looping frames: the refresh still comes.
  make_frames(2);
  gset_looping(1);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(ghold(), 0);
  EXPECT_EQ(g_refreshes, 2);
}

TEST_F(Events, AltGWritesOneGifPerFrameWhileLooping) {
  const zor::test::TempDir tmp("x11_dump");
  const fs::path& dir = tmp.path();
  RES_put("image_path", dir.c_str());
  gset_win_title("Radar loop");
  make_frames(3);
  gset_looping(1);
  gset_input_mode(1);
  Client c;
  c.key(XK_g, Mod1Mask);
  handle();
  for (int i = 0; i < 3; ++i) {
    const fs::path file = dir / ("Radar-0" + std::to_string(i) + ".gif");
    IMG_report img;
    ASSERT_GT(GIF_read(file.c_str(), &img, 0), 0) << file;
    EXPECT_EQ(img.width, 200);
    IMG_free(&img);
  }
  fs::remove_all(dir);
  fs::create_directories(dir);
  gset_looping(0);
  ASSERT_EQ(gdisplay_frame(1), 1);
  c.key(XK_x, Mod1Mask);  // not looping: the current frame only
  handle();
  EXPECT_TRUE(fs::exists(dir / "Radar-01.xwd"));
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator{}), 1);
  RES_put("image_path", "");
}

TEST_F(Events, FrameNumberInTheTitleAndBoundedFrameData) {
  make_frames(3);
  ASSERT_EQ(gdisplay_frame(2), 1);
  EXPECT_EQ(Client().window_name(), "X11 Graph [2]");
  const std::vector<unsigned char> big(51, 1);
  EXPECT_EQ(gset_image_data(2, big.data(), 51), 0);  // 50 bytes at most
  EXPECT_EQ(gprint_frame_ids(), 1);
}

TEST_F(Events, AFramePictureMadeByAnotherClient) {
  Display* dpy = XOpenDisplay(nullptr);
  ASSERT_NE(dpy, nullptr);
  const Pixmap pm = XCreatePixmap(dpy, DefaultRootWindow(dpy), 200, 160,
                                  static_cast<unsigned>(DefaultDepth(dpy, DefaultScreen(dpy))));
  GC gc = XCreateGC(dpy, pm, 0, nullptr);
  XSetForeground(dpy, gc, static_cast<unsigned long>(gget_color_ind(4)));
  XFillRectangle(dpy, pm, gc, 0, 0, 200, 160);
  XFreeGC(dpy, gc);
  XSync(dpy, False);
  ASSERT_EQ(gcreate_frame(-1), 0);
  ASSERT_EQ(gset_frame_id(0, pm), 1);
  EXPECT_EQ(gget_frame_id(0), pm);
  ASSERT_EQ(gdisplay_frame(0), 1);
  EXPECT_EQ(centre(), kColour[2]);
  ginit_loop();  // released with the frame
  XCloseDisplay(dpy);
}

// Colour of the middle of what the window shows on the screen.
unsigned window_centre() {
  Display* dpy = reinterpret_cast<Display*>(gget_display_id());
  XSync(dpy, False);
  XImage* xi = XGetImage(dpy, gget_root_window(), 100, 80, 1, 1, AllPlanes, ZPixmap);
  if (xi == nullptr) return 0xdeadu;
  const unsigned v = static_cast<unsigned>(XGetPixel(xi, 0, 0)) & 0xffffffu;
  XDestroyImage(xi);
  return v;
}

TEST_F(Events, ExposeShowsTheBackPixmapOncePerSeries) {
  box(0, 0, 1, 1, 3);  // into the back pixmap only
  EXPECT_EQ(window_centre(), 0u);
  Client c;
  XEvent focus{};
  focus.xfocus.type = FocusIn;  // ends the series the window's mapping began
  focus.xfocus.window = gget_root_window();
  XSendEvent(c.dpy(), gget_root_window(), True, FocusChangeMask, &focus);
  XEvent ev{};
  ev.xexpose.type = Expose, ev.xexpose.window = gget_root_window();
  ev.xexpose.width = 10, ev.xexpose.height = 10;
  XSendEvent(c.dpy(), gget_root_window(), True, ExposureMask, &ev);
  XSync(c.dpy(), False);
  handle();
  EXPECT_EQ(window_centre(), kColour[1]);
  box(0, 0, 1, 1, 4);
  XSendEvent(c.dpy(), gget_root_window(), True, ExposureMask, &ev);  // same series
  XSync(c.dpy(), False);
  handle();
  EXPECT_EQ(window_centre(), kColour[1]);
}

TEST_F(Events, AltMWritesTheObjectListAsAMetafile) {
  ginit_objs();
  gset_redraw(1);
  box(0, 0, 0.5f, 0.5f, 2);
  gset_redraw(0);
  const std::string file = zor::test::scratch("altm.meta");
  setenv("METAOUT", file.c_str(), 1);
  gset_input_mode(1);
  Client c;
  c.key(XK_m, Mod1Mask);
  handle();
  unsetenv("METAOUT");
  ASSERT_TRUE(fs::exists(file));
  EXPECT_GT(fs::file_size(file), 20u);
  EXPECT_EQ(gtype_is_WIN(), 1);
  EXPECT_EQ(gget_redraw(), 0);  // as it was
  gclear_objs();
}

TEST_F(Events, XErrorsAreCountedNotFatal) {
  EXPECT_EQ(gloop_sleep(), -1);  // no current frame
  const int was = gset_xerror_print(0);
  gclear_xerror();
  const int before = gget_num_xerrors();
  XFreePixmap(reinterpret_cast<Display*>(gget_display_id()), 0x3fffffff);
  gsync();
  EXPECT_EQ(gget_xerror(), 1);
  EXPECT_EQ(gget_num_xerrors(), before + 1);
  gset_xerror_print(was);
}

// Keys typed before the wait starts are not its input: they are sent from
// the refresh callback, once the wait runs.
void send_wait_keys() {
  Client c;
  for (KeySym sym : {XK_bracketright, XK_d, XK_l}) c.key(sym, Mod1Mask);  // next, delete it, loop
  c.key(XK_Return);
}

TEST_F(Events, WaitHandlesFrameKeysAndEndsOnReturn) {
  make_frames(3);
  ASSERT_EQ(gdisplay_frame(0), 1);
  gset_refresh_callback(1, send_wait_keys);
  EXPECT_EQ(ghold(), 0);
  EXPECT_EQ(std::tuple(gget_num_images(), gget_cur_frame(), gget_looping()), std::tuple(2, 1, 1));
  Picture pic;
  grab(&pic);
  EXPECT_EQ(pic.pixel(pic.img.width / 4, pic.img.height / 2), kColour[2]);  // the last frame moved in
}

// "#" fonts are the server's own.
TEST_F(Events, ServerFontsDrawText) {
  ASSERT_EQ(read_font("#fixed"), 0);
  gset_text_colr_ind(3);
  const Gpt at{0.3f, 0.5f};
  EXPECT_EQ(gtext(&at, "WWWW"), 0);
  Picture pic;
  grab(&pic);
  const int green = pic.count(kColour[1]);
  EXPECT_GT(green, 20);
  EXPECT_LT(green, 400);  // four characters of a small font
  EXPECT_EQ(read_font("#no-such-font-anywhere"), -1);
}

// Device pixels put where the mask says, the rest of the picture kept.
TEST_F(Events, PutPixelsThroughAMask) {
  box(0, 0, 1, 1, 4);
  // 10 x 2 pixels: red on the first row, green on the second, 32 bits each.
  std::vector<unsigned char> data(10 * 2 * 4);
  for (int i = 0; i < 20; ++i)
    for (int b = 0; b < 4; ++b) data[4 * i + b] = static_cast<unsigned char>(gget_color_ind(i < 10 ? 2 : 3) >> (8 * b));
  IMG_report img;
  img.width = 10, img.height = 2, img.depth = 24, img.bits_pixel = 32, img.bytes_line = 40, img.data = data.data();
  const std::uint8_t mask[] = {0x55, 0x01, 0x55, 0x01};  // every other pixel; rows of two bytes
  ASSERT_TRUE(dev->put_pixels(img, mask, 30, 40));
  Picture pic;
  grab(&pic);
  const std::tuple<int, int, unsigned> want[] = {{30, 40, kColour[0]}, {31, 40, kColour[2]}, {38, 40, kColour[0]},
                                                 {39, 40, kColour[2]}, {32, 41, kColour[1]}, {33, 41, kColour[2]},
                                                 {40, 40, kColour[2]}};  // the last beyond the image
  for (const auto& [x, y, c] : want) EXPECT_EQ(pic.pixel(x, y), c) << x << "," << y;
  ASSERT_TRUE(dev->put_pixels(img, nullptr, 0, 0));
  img.data = nullptr;
  Picture all;
  grab(&all);
  EXPECT_EQ(all.pixel(1, 0), kColour[0]);  // without a mask every pixel
}

TEST(WindowPlacement, NegativeOffsetsCountFromTheScreenEdges) {
  gset_geometry("-10-10");
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
  Display* dpy = reinterpret_cast<Display*>(gget_display_id());
  XWindowAttributes wa{};
  ASSERT_NE(XGetWindowAttributes(dpy, gget_root_window(), &wa), 0);
  EXPECT_EQ(std::tuple(wa.width, wa.height, wa.x, wa.y), std::tuple(640, 512, 1280 - 650, 1024 - 522));
  XClassHint cls{};
  ASSERT_NE(XGetClassHint(dpy, gget_root_window(), &cls), 0);
  EXPECT_STREQ(cls.res_class, "Zor");
  XFree(cls.res_name);
  XFree(cls.res_class);
  close_plain();
  gset_geometry("");
}

TEST(WindowPlacement, IconicStartTitleAndFixedSize) {
  gset_iconic(1);
  gset_fixed_size(1);
  gset_win_size(300, 200);
  gset_win_title("Base_Reflectivity");
  gset_local_colormap(1);
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
  Display* dpy = reinterpret_cast<Display*>(gget_display_id());
  XWMHints* wm = XGetWMHints(dpy, gget_root_window());
  ASSERT_NE(wm, nullptr);
  EXPECT_EQ(wm->initial_state, IconicState);
  EXPECT_NE(wm->icon_pixmap, 0u);
  XFree(wm);
  XSizeHints hints{};
  long supplied = 0;
  ASSERT_NE(XGetWMNormalHints(dpy, gget_root_window(), &hints, &supplied), 0);
  EXPECT_TRUE(hints.flags & PMinSize);
  EXPECT_EQ(std::tuple(hints.max_width, hints.min_height), std::tuple(300, 200));
  // Another client reads the name: our requests must have reached the
  // server first, or a loaded machine sees the old title.
  XSync(dpy, False);
  Client c;
  EXPECT_EQ(c.window_name(), "Base Reflectivity");
  gset_win_title_extra("[4]");
  XSync(dpy, False);
  EXPECT_EQ(c.window_name(), "Base Reflectivity [4]");
  char extra[8];
  EXPECT_EQ(gget_win_title_extra(extra, sizeof extra), 1);
  EXPECT_STREQ(extra, "[4]");
  char tiny[2];
  EXPECT_EQ(gget_win_title_extra(tiny, sizeof tiny), -1);  // refused, not cut
  XWindowAttributes wa{};
  ASSERT_NE(XGetWindowAttributes(dpy, gget_root_window(), &wa), 0);
  EXPECT_EQ(wa.colormap, gget_user_cmap());  // a colormap of its own
  EXPECT_NE(wa.colormap, DefaultColormap(dpy, DefaultScreen(dpy)));
  EXPECT_EQ(gset_cursor(6), 8);  // busy after opening
  EXPECT_EQ(gget_cursor_type(), 6);
  close_plain();
  EXPECT_EQ(gget_user_cmap(), 0u);  // freed with the window
  gset_iconic(0);
  gset_fixed_size(0);
  gset_local_colormap(0);
}

TEST(WindowPlacement, DisplayFromTheConnectionId) {
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  ASSERT_EQ(gopen_ws(1, zor::test::shared_xvfb()->display().c_str(), GWS_WINDOW), 0);
  EXPECT_NE(gget_display_id(), 0u);
  gclose_ws(1);
  FLAG_set(19, 0);  // not a batch run: no drawing into memory instead
  EXPECT_EQ(gopen_ws(1, ":299", GWS_WINDOW), -1);  // no server there
  close_plain();
}

}  // namespace
