// Under Xvfb: drawing into another program's pixmap (type 6) named every way,
// and the object list replayed and printed as PostScript and metafile.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "../common/files.h"
#include "../common/window_ws.h"
#include "../common/xvfb_env.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/img.h"

// After the test framework: Xlib defines None.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

using namespace zor::gks;
using zor::test::scratch;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

// The other program: a window named as a loop window and a black pixmap.
class LoopOwner {
 public:
  static constexpr int kWidth = 120, kHeight = 90;
  LoopOwner() : dpy_(XOpenDisplay(nullptr)) {
    if (dpy_ == nullptr) return;
    const int scr = DefaultScreen(dpy_);
    win_ = XCreateSimpleWindow(dpy_, RootWindow(dpy_, scr), 0, 0, kWidth, kHeight, 0, 0, 0);
    XStoreName(dpy_, win_, "Loop [3]");
    pm_ = XCreatePixmap(dpy_, win_, kWidth, kHeight, static_cast<unsigned>(DefaultDepth(dpy_, scr)));
    GC gc = XCreateGC(dpy_, pm_, 0, nullptr);
    XSetForeground(dpy_, gc, BlackPixel(dpy_, scr));
    XFillRectangle(dpy_, pm_, gc, 0, 0, kWidth, kHeight);
    XFreeGC(dpy_, gc);
    cmap_ = DefaultColormap(dpy_, scr);
    XSync(dpy_, False);
  }
  ~LoopOwner() {
    if (dpy_ == nullptr) return;
    XFreePixmap(dpy_, pm_);
    XDestroyWindow(dpy_, win_);
    XCloseDisplay(dpy_);
  }
  LoopOwner(const LoopOwner&) = delete;
  LoopOwner& operator=(const LoopOwner&) = delete;
  bool ok() const { return dpy_ != nullptr; }
  // Its id as "[+window:]pixmap[:WxH]" with `fmt` for the pixmap.
  std::string id(bool window, const char* fmt = "%lu", bool size = true) const {
    char buf[80];
    int n = window ? std::snprintf(buf, sizeof buf, "+%lu:", win_) : 0;
    n += std::snprintf(buf + n, sizeof buf - n, fmt, pm_);
    if (size) std::snprintf(buf + n, sizeof buf - n, ":%dx%d", kWidth, kHeight);
    return buf;
  }
  unsigned long pixmap() const { return pm_; }
  unsigned long colormap() const { return cmap_; }
  // 24-bit colour of a pixel of the pixmap.
  unsigned rgb(int x, int y) {
    XSync(dpy_, False);
    XImage* xi = XGetImage(dpy_, pm_, x, y, 1, 1, AllPlanes, ZPixmap);
    if (xi == nullptr) return 0xdeadu;
    const unsigned v = static_cast<unsigned>(XGetPixel(xi, 0, 0)) & 0xffffffu;
    XDestroyImage(xi);
    return v;
  }
  // The first data byte of each loop message that arrived.
  std::vector<int> messages() {
    XSync(dpy_, False);
    std::vector<int> got;
    XEvent ev;
    while (XCheckTypedWindowEvent(dpy_, win_, ClientMessage, &ev))
      if (ev.xclient.message_type == XA_NOTICE && ev.xclient.format == 8) got.push_back(ev.xclient.data.b[0]);
    return got;
  }

 private:
  Display* dpy_;
  Window win_ = 0;
  Pixmap pm_ = 0;
  unsigned long cmap_ = 0;
};

void shutdown() {
  gclose_ws(1);
  gclose_gks();
  kernel().reset();
  reset_color_model();
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

std::pair<int, int> win_size() {
  int w = 0, h = 0;
  gget_win_size(&w, &h);
  return {w, h};
}

const auto fill = zor::test::box;

const Gcolr_rep kRed{1, 0, 0};

TEST(ForeignDrawable, DrawsIntoTheOtherProgramsPixmap) {
  LoopOwner owner;
  ASSERT_TRUE(owner.ok());
  gset_pix_mode(9);
  ASSERT_EQ(open_pixmap("," + owner.id(true) + ":" + std::to_string(owner.colormap())), 0);
  EXPECT_EQ(gtype_is_PIX(), 1);
  EXPECT_EQ(gget_redraw(), 0);  // nothing recorded for another program
  EXPECT_EQ(win_size(), std::pair(LoopOwner::kWidth, LoopOwner::kHeight));
  EXPECT_EQ(gget_user_cmap(), owner.colormap());
  IMG_report img;
  ASSERT_EQ(current_device()->capture(img), 1);
  EXPECT_STREQ(img.info, "Loop");  // its name up to " ["
  std::free(img.data);
  gset_colr_rep(1, 2, &kRed);
  fill(0, 0, 1, 1, 2);
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
  fill(0, 0, 1, 1, 2);
  shutdown();
  EXPECT_EQ(owner.rgb(90, 20), 0xff0000u);
  EXPECT_EQ(owner.rgb(30, 20), 0u);
  EXPECT_EQ(owner.rgb(90, 70), 0u);
}

TEST(ForeignDrawable, IdFromAFileOrTheEnvironment) {
  LoopOwner owner;
  ASSERT_TRUE(owner.ok());
  const zor::test::TempDir dir("zor_loop");
  const auto cwd = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  std::ofstream(dir / "zorloop.3") << owner.pixmap() << ":60x40 more words\n";
  ASSERT_EQ(open_pixmap(",w3"), 0);
  EXPECT_EQ(win_size(), std::pair(60, 40));
  shutdown();
  std::ofstream(dir / "zorloop.win") << owner.pixmap() << ":50x30\n";
  ASSERT_EQ(open_pixmap(",W"), 0);
  EXPECT_EQ(win_size(), std::pair(50, 30));
  shutdown();
  std::filesystem::current_path(cwd);
  const zor::test::EnvVar env("zorwindow", std::to_string(owner.pixmap()).c_str());
  ASSERT_EQ(open_pixmap(""), 0);
  EXPECT_EQ(win_size(), std::pair(640, 512));  // no size given
  shutdown();
}

TEST(ForeignDrawable, BadIdsAreRefused) {
  unsetenv("zorwindow");
  unsetenv("WINDOW");
  EXPECT_EQ(open_pixmap(""), -1);             // nothing named
  EXPECT_EQ(open_pixmap(",no_such_file"), -1);  // an id file that is not there
  EXPECT_EQ(open_pixmap(",0:100x100"), -1);   // no pixmap
  EXPECT_EQ(open_pixmap(",+"), -1);
  kernel().reset();
}

// ---- Object list --------------------------------------------------------

int g_redraw_calls = 0;
void count_redraw(void* data) { ++*static_cast<int*>(data); }

class ObjectList : public ::testing::Test {
 protected:
  void SetUp() override {
    gset_win_size(200, 160);
    zor::test::open_window_ws(false);  // red, green and blue at 2 to 4
    dev = current_device();
    ginit_objs();
    gset_redraw(1);
  }
  void TearDown() override {
    gset_redraw(0);
    zor::test::close_window_ws(false);
  }
  std::vector<unsigned char> grab() {
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
    fill(-10, -5, 10, 5, 2);
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
  Device* dev = nullptr;
};

TEST_F(ObjectList, ReplayMakesTheSamePicture) {
  draw();
  const auto picture = grab();
  EXPECT_GE(gget_num_recorded(), 20);
  g_redraw_calls = 0;
  ASSERT_EQ(gclear_frame(GFRAME_BASE), 1);
  ASSERT_NE(grab(), picture);
  ASSERT_EQ(gobj_redraw_plot(), 0);
  EXPECT_EQ(g_redraw_calls, 1);
  EXPECT_EQ(grab(), picture);
  EXPECT_EQ(gget_redraw(), 1);  // recording on again
  gclear_ws(1, GALWAYS);       // a new picture: nothing to redraw
  EXPECT_EQ(gget_num_recorded(), 0);
  gset_redraw(0);
  EXPECT_EQ(gobj_redraw_plot(), -1);
}

TEST_F(ObjectList, PrintsAsPostScriptAndMetafile) {
  draw();
  const auto picture = grab();
  g_redraw_calls = 0;
  {
    const zor::test::EnvVar ps("zorps_print", scratch("plot.ps").c_str()), meta("METAOUT", scratch("plot.meta").c_str());
    ASSERT_EQ(gobj_print_plot(), 0);
    ASSERT_EQ(gobj_print_meta(), 0);
  }
  const std::string ps = zor::test::slurp(scratch("plot.ps")), meta = zor::test::slurp(scratch("plot.meta"));
  EXPECT_EQ(ps.rfind("%!", 0), 0u);
  EXPECT_NE(ps.find("%%Message: object list"), std::string::npos);
  EXPECT_NE(ps.find("%%CLR"), std::string::npos);
  EXPECT_NE(meta.find("ME object list"), std::string::npos);
  EXPECT_NE(meta.find("CLR_REG"), std::string::npos);
  EXPECT_EQ(g_redraw_calls, 2);
  // The window draws on as before, in its own colours.
  EXPECT_EQ(gtype_is_WIN(), 1);
  EXPECT_EQ(grab(), picture);
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
  EXPECT_EQ(gget_redraw(), 0);
  EXPECT_EQ(gget_num_recorded(), 0);
  const long counted = gget_num_objects();
  gpolyline(2, line);
  EXPECT_EQ(gget_num_objects(), counted + 1);  // counted, not kept
  EXPECT_EQ(gget_num_recorded(), 0);
}

}  // namespace
