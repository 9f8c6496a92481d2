// The radar program's NIDS window under Xvfb, driven as a user would: the
// picture against the batch plot, the pointer read-out, zoom, resize, the
// frame loop and the keys that end the program.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <fcntl.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <tuple>
#include <vector>

#include "../common/xvfb_env.h"
#include "../gks/print_test_util.h"
#include "nids_test_util.h"
#include "radar_test_util.h"

// After the test framework: Xlib defines None and Status.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include "../common/x_client.h"

namespace fs = std::filesystem;
using nids_test::data_path;

namespace {

const auto* const g_env = zor::test::add_xvfb_environment();

constexpr const char* kN0Q = "KBMX_SDUS54_N0QBMX_201501020205";
constexpr const char* kN0R = "KBMX_SDUS54_N0RBMX_201501020205";

// Generous limits: the program draws a product in well under a second.
constexpr double kWaitSeconds = 20.0;

// Calls `done` until it holds or `seconds` have passed.
bool poll_until(const std::function<bool()>& done, double seconds = kWaitSeconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    usleep(20000);
  }
  return true;
}

// An RGB picture, 0xRRGGBB per pixel.
struct Picture {
  int width = 0, height = 0;
  std::vector<std::uint32_t> px;
  std::uint32_t pixel(int x, int y) const { return px[static_cast<std::size_t>(y) * width + x]; }
  bool operator==(const Picture& o) const = default;
};

using Box = zor::test::FrameBox;
using zor::test::frame_of;

// The white site marker within two pixels of the plot's centre.
bool site_marked(const Picture& p, const Box& b) {
  for (int y = b.cy() - 2; y <= b.cy() + 2; ++y)
    for (int x = b.cx() - 2; x <= b.cx() + 2; ++x)
      if (p.pixel(x, y) == 0xFFFFFF) return true;
  return false;
}

// Share of equal pixels inside the box, its frame excluded.
template <class Other>
double same_share(const Picture& a, const Other& b, const Box& box) {
  if (a.width != b.width || a.height != b.height) return 0.0;
  long same = 0, all = 0;
  for (int y = box.top + 1; y < box.bottom; ++y)
    for (int x = box.left + 1; x < box.right; ++x, ++all) same += a.pixel(x, y) == b.pixel(x, y);
  return all > 0 ? static_cast<double>(same) / static_cast<double>(all) : 0.0;
}

// Echo pixels inside the frame: not black background, red map or white marks.
long echoes(const Picture& p, const Box& box) {
  long n = 0;
  for (int y = box.top + 1; y < box.bottom; ++y)
    for (int x = box.left + 1; x < box.right; ++x) {
      const std::uint32_t v = p.pixel(x, y);
      n += v != 0 && v != 0xFF0000 && v != 0xFFFFFF;
    }
  return n;
}

// The program as a child process, standard output and error in files.
class Radar {
 public:
  Radar(const fs::path& dir, std::vector<std::string> args) : dir_(dir) {
    args.insert(args.begin(), ZOR_RADAR_BINARY);
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ != 0) return;
    // Child: the test's directory, no resource files, no terminal.
    setenv("zordefault", (dir / "none").c_str(), 1);
    const int in = open("/dev/null", O_RDONLY),
              out = open((dir / "out.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644),
              err = open((dir / "err.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (chdir(dir.c_str()) != 0 || in < 0 || out < 0 || err < 0) _exit(126);
    dup2(in, 0), dup2(out, 1), dup2(err, 2);
    execv(argv[0], argv.data());
    _exit(127);
  }
  Radar(const Radar&) = delete;
  Radar& operator=(const Radar&) = delete;
  ~Radar() { kill_now(); }

  bool running() {
    if (pid_ <= 0) return false;
    int st = 0;
    if (waitpid(pid_, &st, WNOHANG) != pid_) return true;
    status_ = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    pid_ = -1;
    return false;
  }
  // The exit status; -2 (killed) when the program did not end in time.
  int wait_exit(double seconds = kWaitSeconds) {
    if (poll_until([this] { return !running(); }, seconds)) return status_;
    kill_now();
    return -2;
  }
  void kill_now() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
  std::string out() const { return zor::test::slurp((dir_ / "out.txt").string()); }
  std::string err() const { return zor::test::slurp((dir_ / "err.txt").string()); }

 private:
  fs::path dir_;
  pid_t pid_ = -1;
  int status_ = -1;
};

// Lines of the pointer read-out in the program's output.
struct ReadOut {
  double lat = 0, lon = 0, dist = 0, alt = 0;
};
std::vector<ReadOut> read_outs(const std::string& out) {
  std::vector<ReadOut> v;
  for (const std::string& line : zor::test::lines_of(out)) {
    ReadOut r;
    if (std::sscanf(line.c_str(), "Lat: %lf Lon: %lf Dist: %lfnm Alt: %lfft", &r.lat, &r.lon, &r.dist, &r.alt) == 4)
      v.push_back(r);
  }
  return v;
}

// Domains the program printed after `label` ("Product domain: " and the
// like): the grid spacing is the last field.
std::vector<double> spacings_after(const std::string& out, const std::string& label) {
  std::vector<double> v;
  for (const std::string& line : zor::test::lines_of(out))
    if (const std::size_t comma = line.rfind(','); line.rfind(label, 0) == 0 && comma != std::string::npos)
      v.push_back(std::atof(line.c_str() + comma + 1));
  return v;
}

class NidsWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(zor::test::shared_xvfb(), nullptr);
    x_ = std::make_unique<zor::test::XClient>();
    dpy_ = x_->dpy();
    ASSERT_NE(dpy_, nullptr);
  }
  void TearDown() override {
    // A program still running hangs; any X error or warning fails.
    if (radar_ && radar_->running()) {
      radar_->kill_now();
      ADD_FAILURE() << "the program did not end";
    }
    if (radar_) {
      EXPECT_EQ(radar_->err(), "");
    }
    radar_.reset();
    if (dpy_ != nullptr) {
      poll_until([this] { return find_window() == 0; }, 5.0);
      x_.reset();
    }
  }

  std::string product(const char* name) const { return zor::test::linked(dir_, data_path(name)); }

  // The batch plot of the same files, as PNG images named by frame.
  std::vector<zor::test::Raster> batch(const std::vector<std::string>& args, int frames) {
    std::string a = "-ba -inp nids -of png:@batch_%i.png";
    for (const std::string& s : args) a += " " + s;
    const zor::test::ProgramRun r = zor::test::run_radar(dir_, "", a);
    std::vector<zor::test::Raster> out(static_cast<std::size_t>(frames));
    EXPECT_EQ(r.status, 0) << r.err;
    for (int i = 0; i < frames; ++i) {
      char name[32];
      std::snprintf(name, sizeof name, frames > 1 ? "batch_%02d.png" : "batch_win.png", i);
      EXPECT_TRUE(zor::test::read_png((dir_ / name).string(), out[static_cast<std::size_t>(i)])) << name << r.out;
    }
    return out;
  }

  // Starts the program and waits for its window and its first answer to a
  // key (keys are dropped until the picture is complete).
  void start(const std::vector<std::string>& args) {
    std::vector<std::string> a{"-inp", "nids", "-de", "d"};
    a.insert(a.end(), args.begin(), args.end());
    radar_ = std::make_unique<Radar>(dir_, a);
    ASSERT_TRUE(poll_until([this] { return (win_ = find_window()) != 0 || !radar_->running(); }))
        << "no window";
    ASSERT_NE(win_, 0u) << radar_->out() << radar_->err();
    ASSERT_TRUE(poll_until([this] { return viewable(); }));
    // Asked again and again from the window's corner until it answers.
    pointer(0, 0);
    ASSERT_TRUE(poll_until([&] {
      if (!radar_->running()) return true;
      key(XK_v, Mod1Mask);
      return poll_until([this] { return !read_outs(radar_->out()).empty(); }, 0.2);
    })) << "the program does not answer keys";
    ASSERT_TRUE(radar_->running()) << radar_->out() << radar_->err();
    idle_ = read_outs(radar_->out()).front();
    sync_with_program();
  }

  // The top-level window of the program (class "Zor"), 0 when none.
  Window find_window() {
    Window root = 0, parent = 0, *kids = nullptr;
    unsigned n = 0;
    Window found = 0;
    if (!XQueryTree(dpy_, DefaultRootWindow(dpy_), &root, &parent, &kids, &n)) return 0;
    for (unsigned i = 0; i < n && found == 0; ++i) {
      XClassHint hint{};
      if (XGetClassHint(dpy_, kids[i], &hint) == 0) continue;
      if (hint.res_class != nullptr && std::string(hint.res_class) == "Zor") found = kids[i];
      XFree(hint.res_name);
      XFree(hint.res_class);
    }
    if (kids != nullptr) XFree(kids);
    return found;
  }

  bool viewable() {
    XWindowAttributes a{};
    return XGetWindowAttributes(dpy_, win_, &a) != 0 && a.map_state == IsViewable;
  }

  Picture capture() {
    XWindowAttributes a{};
    Picture p;
    if (XGetWindowAttributes(dpy_, win_, &a) == 0) return p;
    XImage* img = XGetImage(dpy_, win_, 0, 0, static_cast<unsigned>(a.width), static_cast<unsigned>(a.height),
                            AllPlanes, ZPixmap);
    if (img == nullptr) return p;
    // The server runs at depth 24: 0xRRGGBB per pixel.
    EXPECT_EQ(std::tuple(img->red_mask, img->green_mask, img->blue_mask), std::tuple(0xFF0000ul, 0xFF00ul, 0xFFul));
    p.width = a.width, p.height = a.height;
    for (int y = 0; y < p.height; ++y)
      for (int x = 0; x < p.width; ++x) p.px.push_back(static_cast<std::uint32_t>(XGetPixel(img, x, y) & 0xFFFFFF));
    XDestroyImage(img);
    return p;
  }

  // The events and title go through a second client aimed at the window.
  zor::test::XClient& x() {
    x_->set_window(win_);
    return *x_;
  }
  std::string title() { return x().window_name(); }
  // The frame number the window title shows ("[n]" at its end), -1 none.
  int title_frame() {
    const std::string t = title();
    const std::size_t open = t.rfind('[');
    if (open == std::string::npos || t.back() != ']') return -1;
    return std::atoi(t.c_str() + open + 1);
  }

  void key(KeySym sym, unsigned state = 0) { x().key(sym, state); }
  void button(bool press, unsigned b, int x, int y, unsigned state = 0) { this->x().button(press, b, x, y, state); }
  void motion(int x, int y) { this->x().motion(x, y, Button1Mask | ShiftMask); }
  void pointer(int x, int y) {
    XWarpPointer(dpy_, 0, win_, 0, 0, 0, 0, x, y);
    XSync(dpy_, False);
  }

  // Alt-v at (x, y): its read-out, which also means every earlier event was
  // handled; late answers to the start-up keys (the corner) are skipped.
  ReadOut read_out_at(int x, int y) {
    pointer(x, y);
    const std::size_t before = read_outs(radar_->out()).size();
    key(XK_v, Mod1Mask);
    ReadOut answer{-9999, -9999, -9999, -9999};
    EXPECT_TRUE(poll_until([&] {
      const std::vector<ReadOut> now = read_outs(radar_->out());
      for (std::size_t i = before; i < now.size(); ++i) {
        if (now[i].lat == idle_.lat && now[i].lon == idle_.lon) continue;
        answer = now[i];
        return true;
      }
      return false;
    })) << "no read-out\n" << radar_->out() << radar_->err();
    return answer;
  }
  void sync_with_program() { read_out_at(5, 5); }

  // Waits for a picture unlike `old` (a new picture is shown in one copy).
  Picture next_picture(const Picture& old) {
    Picture p;
    EXPECT_TRUE(poll_until([&] { return (p = capture()) != old; })) << "the picture did not change";
    return p;
  }

  zor::test::TempDir tmp_{"nids_window"};
  const fs::path& dir_ = tmp_.path();
  std::unique_ptr<zor::test::XClient> x_;
  Display* dpy_ = nullptr;
  Window win_ = 0;
  std::unique_ptr<Radar> radar_;
  ReadOut idle_;  // the read-out at the window's corner
};

// The frame box of the product's own domain: 3:2, site marked, echoes drawn.
Box own_domain(const Picture& p) {
  const Box b = frame_of(p);
  if (!b.found()) {
    ADD_FAILURE() << "no frame";
    return b;
  }
  EXPECT_NEAR(static_cast<double>(b.right - b.left) / (b.bottom - b.top), 1.5, 0.02);
  EXPECT_TRUE(site_marked(p, b));
  EXPECT_GT(echoes(p, b), 5000);
  return b;
}

TEST_F(NidsWindowTest, WindowShowsTheBatchPictureReadsOutThePointerAndResizes) {
  const std::vector<std::string> files{"-pp", "site", product(kN0Q)};
  const std::vector<zor::test::Raster> ref = batch(files, 1);
  ASSERT_NO_FATAL_FAILURE(start(files));
  const Picture pic = capture();
  ASSERT_EQ(std::pair(pic.width, pic.height), std::pair(ref[0].width, ref[0].height));
  const Box b = own_domain(pic);
  ASSERT_TRUE(b.found());
  EXPECT_TRUE(frame_of(ref[0]) == b);
  EXPECT_GE(same_share(pic, ref[0], b), 0.99);

  // Alt-v reads the pointer out: at the site no distance.
  const ReadOut centre = read_out_at(b.cx(), b.cy());
  EXPECT_NEAR(centre.lat, 33.17, 0.03);
  EXPECT_NEAR(centre.lon, -86.77, 0.03);
  EXPECT_LT(centre.dist, 1.5);
  EXPECT_LT(centre.alt, 100.0);
  // A hundred pixels east: farther, the beam higher.
  const ReadOut east = read_out_at(b.cx() + 100, b.cy());
  EXPECT_GT(east.lon, centre.lon + 0.5);
  EXPECT_GT(east.dist, 100.0);
  EXPECT_GT(east.alt, centre.alt + 1000.0);

  // Sizes one after another, as a user dragging the window's corner makes
  // them: each is drawn, the last one stays, fitted by its height.
  for (const auto& [w, h] : {std::pair{700, 560}, {760, 500}, {720, 520}, {800, 480}}) {
    const int drawn = zor::test::count_of(radar_->out(), "Product type: ");
    XResizeWindow(dpy_, win_, static_cast<unsigned>(w), static_cast<unsigned>(h));
    XSync(dpy_, False);
    ASSERT_TRUE(poll_until([&] { return zor::test::count_of(radar_->out(), "Product type: ") > drawn; }));
  }
  sync_with_program();
  const Picture after = capture();
  ASSERT_EQ(std::pair(after.width, after.height), std::pair(800, 480));
  const Box wide = own_domain(after);
  EXPECT_GT(wide.right - wide.left, b.right - b.left);

  key(XK_Return);
  EXPECT_EQ(radar_->wait_exit(), 0) << radar_->err();
}

TEST_F(NidsWindowTest, ShiftDragZoomsToTheBoxAndAltUBringsTheDomainBack) {
  ASSERT_NO_FATAL_FAILURE(start({"-pp", "site", product(kN0Q)}));
  const Picture before = capture();
  const Box b = frame_of(before);
  ASSERT_TRUE(b.found());
  const long data_before = echoes(before, b);
  const std::vector<double> own = spacings_after(radar_->out(), "Product domain: ");
  ASSERT_FALSE(own.empty());
  const ReadOut east_before = read_out_at(b.cx() + 100, b.cy());

  // Button 1 released without Shift first: nothing to zoom.
  button(true, Button1, b.cx() - 80, b.cy() - 50);
  button(false, Button1, b.cx() + 80, b.cy() + 50);
  sync_with_program();
  EXPECT_EQ(capture(), before);
  EXPECT_EQ(radar_->out().find("New domain: "), std::string::npos);

  // A box half the plot's size around the site; the rubber band shows.
  const int hw = (b.right - b.left) / 4, hh = (b.bottom - b.top) / 4;
  button(true, Button1, b.cx() + hw, b.cy() + hh, ShiftMask);
  motion(b.cx() - hw, b.cy() - hh);
  const Picture band = next_picture(before);
  EXPECT_NE(band.pixel(b.cx() - hw, b.cy()), before.pixel(b.cx() - hw, b.cy()));
  EXPECT_EQ(band.pixel(b.cx() - hw + 3, b.cy() + 3), before.pixel(b.cx() - hw + 3, b.cy() + 3));
  button(false, Button1, b.cx() - hw, b.cy() - hh, Button1Mask | ShiftMask);
  Picture zoomed;
  ASSERT_TRUE(poll_until([&] {
    zoomed = capture();
    return zoomed != before && zoomed != band;
  }));
  const std::vector<double> zoom = spacings_after(radar_->out(), "New domain: ");
  ASSERT_EQ(zoom.size(), 1u) << radar_->out();
  EXPECT_NEAR(zoom[0], own[0] / 2, own[0] * 0.02);
  // Same frame, the site still at the centre, the echoes twice as large.
  const Box zb = frame_of(zoomed);
  ASSERT_TRUE(zb.found());
  EXPECT_NEAR(zb.left, b.left, 1);
  EXPECT_NEAR(zb.right, b.right, 1);
  EXPECT_NEAR(zb.cy(), b.cy(), 2);
  EXPECT_TRUE(site_marked(zoomed, zb));
  EXPECT_GT(echoes(zoomed, zb), data_before * 3);
  // The read-out follows the new domain: 100 pixels are half the distance.
  const ReadOut east = read_out_at(zb.cx() + 100, zb.cy());
  EXPECT_NEAR(east.dist, east_before.dist / 2, east_before.dist * 0.02);

  // Alt-r draws the same domain again.
  const int drawn = zor::test::count_of(radar_->out(), "Product type: ");
  key(XK_r, Mod1Mask);
  EXPECT_TRUE(poll_until([&] { return zor::test::count_of(radar_->out(), "Product type: ") == drawn + 1; }));
  sync_with_program();
  EXPECT_EQ(capture(), zoomed);
  EXPECT_EQ(spacings_after(radar_->out(), "New domain: ").size(), 1u);

  // Alt-u: the domain first plotted, the same picture as at the start.
  key(XK_u, Mod1Mask);
  Picture back;
  const bool restored = poll_until([&] { return (back = capture()) == before; });
  EXPECT_TRUE(restored) << "identical plot pixels after unzoom: " << same_share(back, before, b);
  EXPECT_NE(radar_->out().find("Original domain: "), std::string::npos);

  key(XK_q, Mod1Mask);
  EXPECT_EQ(radar_->wait_exit(), 0) << radar_->err();
}

TEST_F(NidsWindowTest, SeveralFilesLoopAndStepWithKeysAndButtons) {
  const std::vector<std::string> files{product(kN0R), product(kN0Q)};
  const std::vector<zor::test::Raster> frames = batch(files, 2);
  ASSERT_NE(frames[0].rgb, frames[1].rgb);
  ASSERT_NO_FATAL_FAILURE(start(files));

  // Looping: the picture changes by itself, the title tells the frame.
  const Picture first = capture();
  const Picture second = next_picture(first);
  EXPECT_NE(first, second);
  EXPECT_GE(title_frame(), 0) << title();

  // Alt-l stops the loop (the running delay may step once more, within a
  // second); each step then shows a frame as the batch run drew it.
  key(XK_l, Mod1Mask);
  sync_with_program();
  const int stopped_at = title_frame();
  poll_until([&] { return title_frame() != stopped_at; }, 1.5);
  int shown = title_frame();
  ASSERT_TRUE(shown == 0 || shown == 1) << title();
  const Box b = frame_of(frames[0]);
  ASSERT_TRUE(b.found());
  // Each step shows the other of the two frames.
  const struct {
    const char* how;
    KeySym key;  // with Alt; 0: the button instead
    unsigned button;
  } steps[] = {{"Alt-l", 0, 0}, {"Alt-]", XK_bracketright, 0}, {"Alt-[", XK_bracketleft, 0},
               {"button 3", 0, Button3}, {"button 1", 0, Button1}};
  for (const auto& step : steps) {
    SCOPED_TRACE(step.how);
    if (step.key != 0) key(step.key, Mod1Mask);
    if (step.button != 0) button(true, step.button, 50, 50);
    if (step.key != 0 || step.button != 0) {
      sync_with_program();
      shown = 1 - shown;
    }
    EXPECT_EQ(title_frame(), shown) << title();
    const Picture p = capture();
    const double share = same_share(p, frames[static_cast<std::size_t>(shown)], b);
    EXPECT_GE(share, 0.99);
    EXPECT_LT(same_share(p, frames[static_cast<std::size_t>(1 - shown)], b), share);
  }

  // Button 2 loops again.
  button(true, Button2, 50, 50);
  sync_with_program();
  const Picture now = capture();
  EXPECT_NE(next_picture(now), now);

  key(XK_Return);
  EXPECT_EQ(radar_->wait_exit(), 0) << radar_->err();
}

}  // namespace
