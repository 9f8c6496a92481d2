// The X11 window under Xvfb: events from a second connection, the wait,
// server fonts, placement and hints, drawing into another program's pixmap
// (type 6), the object list replayed and printed, and fatal display errors.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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
#include "print_checks.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"
#include "zor/res.h"

// After the test framework: Xlib defines None.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include "../common/x_client.h"

using namespace zor::gks;
namespace fs = std::filesystem;
using zor::test::scratch;
using zor::test::win_size;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

struct Client : zor::test::XClient {
  Client() : XClient(gget_root_window()) {}
};

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
  // An event from the other client, then read.
  void key(Client& c, KeySym sym, unsigned state = 0, int x = 10, int y = 10) { c.key(sym, state, x, y); handle(); }
  void button(Client& c, bool press, unsigned b, int x, int y) { c.button(press, b, x, y); handle(); }
  void message(Client& c, int what) { c.loop_message(what); handle(); }
  // Colour of the middle of frame `ind`'s picture.
  unsigned frame_centre(int ind) {
    unsigned long id = 0;
    return frame_pixmap(ind, &id) ? centre(id) : 0xdeadu;
  }
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
  Device* dev = nullptr;
};

using zor::test::box;
using zor::test::floats_eq;
using zor::test::kColour;
using zor::test::make_frames;

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
  key(c, XK_a, 0);
  ASSERT_EQ(calls().size(), 2u);
  // Control-v is a control character.
  EXPECT_EQ(std::tuple(calls()[0].kind, calls()[0].label, calls()[1].label, gget_input_mode()),
            std::tuple(2, "\x16-Alt-Cntrl", "a", 1));
  key(c, XK_Return, 0);
  EXPECT_EQ(std::pair(calls().back().label, gget_input_mode()), std::pair(std::string("Ret"), 0));  // the wait ends
}

// Stepping frames with buttons is exercised through the radar program in
// nids_window_test; here the loop delay that buttons change while looping.
TEST_F(Events, MouseButtonsChangeTheLoopDelay) {
  make_frames(3);
  ASSERT_EQ(gdisplay_frame(0), 1);
  Client c;
  button(c, true, Button2, 5, 5);  // looping on
  EXPECT_EQ(gget_looping(), 1);
  ginc_loop_delay(-0.4f);
  EXPECT_FLOAT_EQ(gget_loop_delay(), 0.1f);
  button(c, true, Button3, 5, 5);
  EXPECT_NEAR(gget_loop_delay(), 0.05f, 1e-6);
  c.button(true, Button3, 5, 5);
  button(c, true, Button3, 5, 5);
  EXPECT_EQ(std::pair(gget_loop_delay(), gget_frame_delay(0)), std::pair(0.0f, 0.0f));  // never negative
  button(c, true, Button1, 5, 5);
  EXPECT_NEAR(gget_loop_delay(), 0.05f, 1e-6);
  EXPECT_EQ(std::pair(gget_cur_frame(), calls().back().label),
            std::pair(0, std::string("B1-P")));  // looping: no stepping
}

TEST_F(Events, AltKeysZoomStepAndUnzoomWithoutCallback) {
  box(0, 0, 0.5f, 0.5f, 2);
  gupdate_window();
  gset_input_mode(1);
  Client c;
  auto labels = [] {
    std::string s;
    for (const auto& k : calls()) s += k.label + " ";
    return s;
  };
  key(c, XK_z, Mod1Mask, 100, 80);
  EXPECT_EQ(std::pair(gget_zoom(), labels()), std::pair(2, std::string("z-Alt ")));
  key(c, XK_u, Mod1Mask);  // undoes the zoom: no callback
  EXPECT_EQ(std::pair(gget_zoom(), labels()), std::pair(1, std::string("z-Alt ")));
  key(c, XK_u, Mod1Mask);  // nothing to undo: the plot's unzoom gets it
  EXPECT_EQ(labels(), "z-Alt u-Alt ");

  make_frames(3);
  ASSERT_EQ(gdisplay_frame(0), 1);
  key(c, XK_d, Mod1Mask);  // deletes the frame shown
  EXPECT_EQ(gget_num_images(), 2);
  key(c, XK_l, Mod1Mask);
  EXPECT_EQ(gget_looping(), 1);
  key(c, XK_bracketleft, Mod1Mask);  // looping: slower
  EXPECT_NEAR(gget_loop_delay(), 0.6f, 1e-6);
  key(c, XK_q, Mod1Mask);
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
  button(c, false, Button1, 160, 50);
  ASSERT_EQ(calls().size(), 2u);
  EXPECT_EQ(calls()[1].label, "B1-R");
  EXPECT_TRUE(floats_eq({calls()[1].x, calls()[1].y}, {xp_W(100), yp_W(50)}));  // held within the limits
  Picture after;
  grab(&after);
  EXPECT_TRUE(after.same_as(before));
  // Off after the release: the next point is not held.
  c.button(true, Button1, 20, 20);
  button(c, false, Button1, 160, 50);
  EXPECT_FLOAT_EQ(calls().back().x, xp_W(160));

  // A line that keeps its x.
  const Gpt none[1] = {};
  gset_rubber_band_points(none, 0, 1);
  gset_rubber_band_limits(nullptr);
  gset_rubber_band(1);
  c.button(true, Button1, 30, 30);
  c.motion(80, 90);
  button(c, false, Button1, 80, 90);
  EXPECT_TRUE(floats_eq({calls().back().x, calls().back().y}, {xp_W(30), yp_W(90)}));
}

TEST_F(Events, ResizeReachesTheCallbackOnlyWhenTheSizeChanged) {
  make_frames(1);
  Client c;
  c.configure(200, 160);  // the size it has
  handle();
  EXPECT_EQ(std::pair(calls().size(), gget_num_images()), std::pair(0ul, 1));
  XResizeWindow(c.dpy(), gget_root_window(), 300, 200);
  XSync(c.dpy(), False);
  handle();
  ASSERT_EQ(calls().size(), 1u);
  EXPECT_EQ(std::tuple(calls()[0].kind, calls()[0].label), std::tuple(2, "size"));
  EXPECT_TRUE(floats_eq({calls()[0].x, calls()[0].y}, {300, 200}));
  Picture pic;
  grab(&pic);
  // The frames' pixmaps went.
  EXPECT_EQ(std::tuple(win_size(), pic.img.width, gget_frame_id(0)), std::tuple(std::pair(300, 200), 300, 0ul));
}

TEST_F(Events, LoopWindowMessagesFileThePictureAndEndTheWait) {
  box(0, 0, 1, 1, 2);
  const unsigned long drawn = gget_base_window();
  gset_input_mode(1);
  Client c;
  message(c, 2);
  // The picture is frame 0 now.
  EXPECT_EQ(std::tuple(gget_num_images(), gget_looping(), gget_frame_id(0)), std::tuple(1, 1, drawn));
  EXPECT_NE(gget_base_window(), drawn);
  EXPECT_EQ(frame_centre(0), kColour[0]);
  char extra[60];
  ASSERT_EQ(gget_win_title_extra(extra), 1);
  EXPECT_STREQ(extra, "");
  message(c, 2);  // with frames: the picture is kept, the drawable cleaned
  EXPECT_EQ(std::tuple(gget_num_images(), gget_frame_id(1), gget_input_mode()), std::tuple(2, drawn, 1));
  EXPECT_EQ(frame_centre(0), kColour[0]);
  EXPECT_EQ(frame_centre(1), 0u);
  message(c, 9);
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
  EXPECT_EQ(std::pair(g_refreshes, gget_cursor_type()), std::pair(1, 0));  // X_cursor after the wait
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
  key(c, XK_g, Mod1Mask);
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
  key(c, XK_x, Mod1Mask);  // not looping: the current frame only
  EXPECT_TRUE(fs::exists(dir / "Radar-01.xwd"));
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator{}), 1);
  RES_put("image_path", "");
}

TEST_F(Events, AFramePictureMadeByAnotherClient) {
  Client c;
  Display* dpy = c.dpy();
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
}

// 24-bit colour of a pixel of a drawable, once the server has drawn it.
unsigned pixel_of(Display* dpy, Drawable d, int x, int y) {
  XSync(dpy, False);
  XImage* xi = XGetImage(dpy, d, x, y, 1, 1, AllPlanes, ZPixmap);
  if (xi == nullptr) return 0xdeadu;
  const unsigned v = static_cast<unsigned>(XGetPixel(xi, 0, 0)) & 0xffffffu;
  XDestroyImage(xi);
  return v;
}

// Colour of the middle of what the window shows on the screen.
unsigned window_centre() { return pixel_of(reinterpret_cast<Display*>(gget_display_id()), gget_root_window(), 100, 80); }

TEST_F(Events, ExposeShowsTheBackPixmapOncePerSeries) {
  box(0, 0, 1, 1, 3);  // into the back pixmap only
  EXPECT_EQ(window_centre(), 0u);
  Client c;
  XEvent focus{};
  focus.xfocus.type = FocusIn;  // ends the series the window's mapping began
  focus.xfocus.window = gget_root_window();
  c.send(focus, FocusChangeMask);
  XEvent ev{};
  ev.xexpose.type = Expose, ev.xexpose.window = gget_root_window();
  ev.xexpose.width = 10, ev.xexpose.height = 10;
  c.send(ev, ExposureMask);
  handle();
  EXPECT_EQ(window_centre(), kColour[1]);
  box(0, 0, 1, 1, 4);
  c.send(ev, ExposureMask);  // same series
  handle();
  EXPECT_EQ(window_centre(), kColour[1]);
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

// The display named by the connection; negative offsets count from the
// screen edges.
TEST(WindowPlacement, DisplayFromTheConnectionAndNegativeOffsets) {
  gset_geometry("-10-10");
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  ASSERT_EQ(gopen_ws(1, zor::test::shared_xvfb()->display().c_str(), GWS_WINDOW), 0);
  Display* dpy = reinterpret_cast<Display*>(gget_display_id());
  ASSERT_NE(dpy, nullptr);
  XWindowAttributes wa{};
  ASSERT_NE(XGetWindowAttributes(dpy, gget_root_window(), &wa), 0);
  EXPECT_EQ(std::tuple(wa.width, wa.height, wa.x, wa.y), std::tuple(640, 512, 1280 - 650, 1024 - 522));
  XClassHint cls{};
  ASSERT_NE(XGetClassHint(dpy, gget_root_window(), &cls), 0);
  EXPECT_STREQ(cls.res_class, "Zor");
  XFree(cls.res_name), XFree(cls.res_class);
  gclose_ws(1);
  gset_geometry("");
  FLAG_set(19, 0);  // not a batch run: no drawing into memory instead
  EXPECT_EQ(gopen_ws(1, ":299", GWS_WINDOW), -1);  // no server there
  zor::test::close_window_ws(false);
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
  EXPECT_TRUE(wm->initial_state == IconicState && wm->icon_pixmap != 0);
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
  char extra[8], tiny[2];
  EXPECT_EQ(gget_win_title_extra(extra, sizeof extra), 1);
  EXPECT_STREQ(extra, "[4]");
  EXPECT_EQ(gget_win_title_extra(tiny, sizeof tiny), -1);  // refused, not cut
  XWindowAttributes wa{};
  ASSERT_NE(XGetWindowAttributes(dpy, gget_root_window(), &wa), 0);
  EXPECT_EQ(wa.colormap, gget_user_cmap());  // a colormap of its own
  EXPECT_NE(wa.colormap, DefaultColormap(dpy, DefaultScreen(dpy)));
  EXPECT_EQ(gset_cursor(6), 8);  // busy after opening
  EXPECT_EQ(gget_cursor_type(), 6);
  zor::test::close_window_ws(false);
  EXPECT_EQ(gget_user_cmap(), 0u);  // freed with the window
  gset_iconic(0), gset_fixed_size(0), gset_local_colormap(0);
}

// The other program: a window named as a loop window and a black pixmap.
class LoopOwner : public zor::test::XClient {
 public:
  static constexpr int kWidth = 120, kHeight = 90;
  LoopOwner() {
    if (dpy() == nullptr) return;
    const int scr = DefaultScreen(dpy());
    set_window(XCreateSimpleWindow(dpy(), RootWindow(dpy(), scr), 0, 0, kWidth, kHeight, 0, 0, 0));
    XStoreName(dpy(), window(), "Loop [3]");
    pm_ = XCreatePixmap(dpy(), window(), kWidth, kHeight, static_cast<unsigned>(DefaultDepth(dpy(), scr)));
    GC gc = XCreateGC(dpy(), pm_, 0, nullptr);
    XSetForeground(dpy(), gc, BlackPixel(dpy(), scr));
    XFillRectangle(dpy(), pm_, gc, 0, 0, kWidth, kHeight);
    XFreeGC(dpy(), gc);
    XSync(dpy(), False);
  }
  ~LoopOwner() {
    if (!ok()) return;
    XFreePixmap(dpy(), pm_);
    XDestroyWindow(dpy(), window());
  }
  // Its id as "[+window:]pixmap[:WxH]" with `fmt` for the pixmap.
  std::string id(bool with_window, const char* fmt = "%lu", bool size = true) const {
    char buf[80];
    int n = with_window ? std::snprintf(buf, sizeof buf, "+%lu:", window()) : 0;
    n += std::snprintf(buf + n, sizeof buf - n, fmt, pm_);
    if (size) std::snprintf(buf + n, sizeof buf - n, ":%dx%d", kWidth, kHeight);
    return buf;
  }
  unsigned long pixmap() const { return pm_; }
  unsigned long colormap() const { return DefaultColormap(dpy(), DefaultScreen(dpy())); }
  unsigned rgb(int x, int y) const { return pixel_of(dpy(), pm_, x, y); }
  // The first data byte of each loop message that arrived.
  std::vector<int> messages() {
    XSync(dpy(), False);
    std::vector<int> got;
    XEvent ev;
    while (XCheckTypedWindowEvent(dpy(), window(), ClientMessage, &ev))
      if (ev.xclient.message_type == XA_NOTICE && ev.xclient.format == 8) got.push_back(ev.xclient.data.b[0]);
    return got;
  }

 private:
  Pixmap pm_ = 0;
};

void shutdown() {
  zor::test::close_window_ws(false);
  gset_pix_mode(0);
  gset_geometry("");
}

// Opens the type 6 workstation on `conn`; the result of gopen_ws.
int open_pixmap(const std::string& conn) {
  if (gopen_gks(nullptr, 0) != 0) return -2;
  const int rc = gopen_ws(1, conn.c_str(), GWS_PIXMAP);
  if (rc != 0) gclose_gks();
  return rc;
}

const Gcolr_rep kRed{1, 0, 0};

TEST(ForeignDrawable, DrawsIntoTheOtherProgramsPixmap) {
  LoopOwner owner;
  ASSERT_TRUE(owner.ok());
  gset_pix_mode(9);
  ASSERT_EQ(open_pixmap("," + owner.id(true) + ":" + std::to_string(owner.colormap())), 0);
  // Nothing recorded for another program.
  EXPECT_EQ(std::tuple(gtype_is_PIX(), gtype_is_WIN_PIX(), gtype_is_PS(), gget_redraw(), gget_user_cmap()),
            std::tuple(1, 1, 0, 0, owner.colormap()));
  EXPECT_EQ(win_size(), std::pair(LoopOwner::kWidth, LoopOwner::kHeight));
  IMG_report img;
  ASSERT_EQ(current_device()->capture(img), 1);
  EXPECT_STREQ(img.info, "Loop");  // its name up to " ["
  std::free(img.data);
  gset_colr_rep(1, 2, &kRed);
  box(0, 0, 1, 1, 2);
  gupdate_window();
  EXPECT_EQ(gzoom(GFRAME_CURRENT, 10, 10, 2, 0), 0);  // no zoom here
  shutdown();
  EXPECT_EQ(owner.rgb(LoopOwner::kWidth / 2, LoopOwner::kHeight / 2), 0xff0000u);
  EXPECT_EQ(owner.messages(), std::vector<int>{9});  // the end message on closing
}

TEST(ForeignDrawable, HexAndDecimalIdsAndPanels) {
  LoopOwner owner;
  ASSERT_TRUE(owner.ok());
  ASSERT_EQ(open_pixmap("," + owner.id(false, "0x%lx")), 0);
  shutdown();
  gset_pix_mode(2);  // asks the loop window for a new frame first
  ASSERT_EQ(open_pixmap("," + owner.id(true, "%lu", false)), 0);
  shutdown();
  EXPECT_EQ(owner.messages(), std::vector<int>{2});
  gset_geometry("P2x2+1+0");  // the upper right of four panels
  ASSERT_EQ(open_pixmap("," + owner.id(false) + ":0"), 0);
  EXPECT_EQ(win_size(), std::pair(LoopOwner::kWidth / 2, LoopOwner::kHeight / 2));
  gset_colr_rep(1, 2, &kRed);
  box(0, 0, 1, 1, 2);
  shutdown();
  EXPECT_EQ(std::tuple(owner.rgb(90, 20), owner.rgb(30, 20), owner.rgb(90, 70)), std::tuple(0xff0000u, 0u, 0u));
}

// Ids from a file the connection names, or from the environment; bad ones.
TEST(ForeignDrawable, IdsFromAFileOrTheEnvironment) {
  LoopOwner owner;
  ASSERT_TRUE(owner.ok());
  const zor::test::TempDir dir("zor_loop");
  const auto cwd = fs::current_path();
  fs::current_path(dir.path());
  const std::string pm = std::to_string(owner.pixmap());
  std::ofstream(dir / "zorloop.3") << pm << ":60x40 more words\n";
  std::ofstream(dir / "zorloop.win") << pm << ":50x30\n";
  unsetenv("WINDOW");
  const struct {
    const char *conn, *env;
    int rc;
    std::pair<int, int> size;
  } cases[] = {{",w3", nullptr, 0, {60, 40}},        {",W", nullptr, 0, {50, 30}},
               {"", pm.c_str(), 0, {640, 512}},  // no size given
               {"", nullptr, -1, {}},             {",no_such_file", nullptr, -1, {}},
               {",0:100x100", nullptr, -1, {}},   {",+", nullptr, -1, {}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.conn);
    const zor::test::EnvVar env("zorwindow", c.env);
    EXPECT_EQ(open_pixmap(c.conn), c.rc);
    if (c.rc == 0 && gchk_graphics()) {
      EXPECT_EQ(win_size(), c.size);
      shutdown();
    }
  }
  fs::current_path(cwd);
  kernel().reset();
}

int g_redraw_calls = 0;
void count_redraw(void* data) { ++*static_cast<int*>(data); }

class ObjectList : public Events {
 protected:
  void SetUp() override {
    Events::SetUp();  // red, green and blue at 2 to 4
    ginit_objs();
    gset_redraw(1);
  }
  void TearDown() override {
    gset_redraw(0);
    Events::TearDown();
  }
  std::vector<unsigned char> bytes() {
    IMG_report img;
    EXPECT_TRUE(dev->set_draw_target(0));
    EXPECT_EQ(dev->capture(img), 1);
    std::vector<unsigned char> v(img.data, img.data + img.bytes_line * img.height);
    std::free(img.data);
    return v;
  }
  // A picture made of every kind of object the list replays.
  void draw() {
    const Glim vp{0.1f, 0.9f, 0.1f, 0.7f};
    const Glim win{-10.0f, 10.0f, -5.0f, 5.0f};
    gset_vp(2, &vp);
    gset_win(2, &win);
    gsel_norm_tran(2);
    box(-10, -5, 10, 5, 2);
    gset_fill_int_style(GPAT);
    gset_fill_style_ind(3);
    gset_fill_colr_ind(4);
    const Gpt tri[] = {{-8, -4}, {0, 4}, {8, -4}};
    gfill_area(3, tri);
    gset_line_colr_ind(3);
    gset_linewidth(3.0f);
    gset_linetype(2);
    const Gpt line[] = {{-9, 4}, {9, -4}, {9, 4}};
    gpolyline(3, line);
    gset_marker_colr_ind(4);
    gset_marker_type(2);
    gset_marker_size(2.0f);
    const Gpt marks[] = {{-5, 0}, {5, 0}};
    gpolymarker(2, marks);
    const Glim hole{2.0f, 4.0f, 1.0f, 3.0f};
    gclear_region(&hole);
    gmessage(1, "object list");
    gset_redraw_func(count_redraw, &g_redraw_calls);
  }
};

TEST_F(ObjectList, PrintsAsPostScriptAndMetafileAndReplaysTheSamePicture) {
  draw();
  const auto picture = bytes();
  EXPECT_GE(gget_num_recorded(), 20);
  g_redraw_calls = 0;
  {
    const zor::test::EnvVar ps("zorps_print", scratch("plot.ps").c_str()), meta("METAOUT", scratch("plot.meta").c_str());
    ASSERT_EQ(gobj_print_plot(), 0);
    gset_input_mode(1);
    Client c;
    key(c, XK_m, Mod1Mask);  // the metafile
  }
  const std::string ps = zor::test::slurp(scratch("plot.ps")), meta = zor::test::slurp(scratch("plot.meta"));
  EXPECT_EQ(ps.rfind("%!", 0), 0u);
  for (const auto& [text, want] :
       {std::pair(ps, "%%Message: object list"), {ps, "%%CLR"}, {meta, "ME object list"}, {meta, "CLR_REG"}})
    EXPECT_NE(text.find(want), std::string::npos) << want;
  EXPECT_EQ(g_redraw_calls, 2);
  // The window draws and records on as before, in its own colours.
  EXPECT_EQ(std::tuple(gtype_is_WIN(), gget_redraw()), std::tuple(1, 1));
  EXPECT_EQ(bytes(), picture);
  ASSERT_EQ(gclear_frame(GFRAME_BASE), 1);
  ASSERT_NE(bytes(), picture);
  ASSERT_EQ(gobj_redraw_plot(), 0);
  EXPECT_EQ(std::pair(g_redraw_calls, gget_redraw()), std::pair(3, 1));  // recording on again
  EXPECT_EQ(bytes(), picture);
  gclear_ws(1, GALWAYS);       // a new picture: nothing to redraw
  EXPECT_EQ(gget_num_recorded(), 0);
  gset_redraw(0);
  EXPECT_EQ(gobj_redraw_plot(), -1);
}

TEST_F(ObjectList, SegmentsAreRemovedAndRecordingCanBeRefused) {
  gnew_obj(81, 7, 0, nullptr);
  const Gpt line[] = {{0, 0}, {1, 1}};
  gpolyline(2, line);
  gnew_obj(82, 7, 0, nullptr);
  gpolyline(2, line);
  EXPECT_EQ(gget_num_recorded(), 4);
  EXPECT_EQ(gdel_seg_objs(7), 1);
  EXPECT_EQ(gget_num_recorded(), 1);
  EXPECT_EQ(gdel_seg_objs(7), 0);
  float* data = static_cast<float*>(gnew_obj(34, 0, sizeof(float), nullptr));
  ASSERT_NE(data, nullptr);  // callers fill it themselves
  *data = 2.0f;
  {
    const zor::test::EnvVar no("zorredraw", "No");
    ginit_objs();
  }
  EXPECT_EQ(std::pair(gget_redraw(), gget_num_recorded()), std::pair(0, 0));
  const long counted = gget_num_objects();
  gpolyline(2, line);
  EXPECT_EQ(std::pair(gget_num_objects(), gget_num_recorded()), std::pair(counted + 1, 0));  // counted, not kept
}

// The display's fatal conditions (25 protocol errors, a broken connection)
// end a helper program, run as a child against the test's Xvfb, with status 4.
TEST(X11Exit, ProtocolErrorsOrABrokenConnectionEndTheProgramWithStatus4) {
  // Ending from a handler leaves the connection's client-side records to the
  // process's end on purpose: a leak check would only change the status.
  const char* asan = std::getenv("ASAN_OPTIONS");
  const std::string env = "ASAN_OPTIONS='" + std::string(asan != nullptr ? asan : "") + ":detect_leaks=0' ";
  const struct {
    const char *mode, *message;
  } cases[] = {{"errors", "X11 error: too many errors\n"}, {"fatal", "Fatal X11 Error\n"}};
  for (const auto& k : cases) {
    SCOPED_TRACE(k.mode);
    const std::string out = zor::test::scratch(std::string("x11_exit_") + k.mode);
    const std::string cmd = env + "timeout 60 '" + X11_EXIT_HELPER + "' " + k.mode + " >'" + out + "' 2>&1";
    const int status = std::system(cmd.c_str());
    const std::string text = zor::test::slurp(out);
    ASSERT_TRUE(WIFEXITED(status)) << text;
    EXPECT_EQ(WEXITSTATUS(status), 4) << text;  // 124: it did not end
    EXPECT_NE(text.find("ready\n"), std::string::npos) << text;
    EXPECT_NE(text.find(k.message), std::string::npos) << text;
    EXPECT_EQ(text.find("survived"), std::string::npos) << text;
  }
  // Every error is reported, the 25th too.
  EXPECT_EQ(zor::test::count_of(zor::test::slurp(zor::test::scratch("x11_exit_errors")), " in X_FreePixmap\n"), 25);
}

}  // namespace
