// Runs of the real program: outputs read back (EPS, CGM, grey PostScript),
// every writer under a full disk or an unwritable name, and honest exits.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "../common/files.h"
#include "../gks/print_test_util.h"
#include "../gks/print_checks.h"

namespace fs = std::filesystem;
using zor::test::count_of;
using zor::test::slurp;

namespace {

// A folder holding the product as "kbmx" and as "a-b/kbmx" (a folder name
// with a dash), with no resource files and no display.
class Outputs : public ::testing::Test {
 protected:
  void SetUp() override {
    const fs::path product = fs::path(ZOR_TEST_DATA_DIR) / "level3" / "KBMX_SDUS54_N0QBMX_201501020205";
    fs::create_directories(dir_.path() / "a-b");
    fs::copy_file(product, dir_.path() / "kbmx");
    fs::copy_file(product, dir_.path() / "a-b" / "kbmx");
  }
  // A batch run, or with `typed` the lines answered at the prompts.
  zor::test::ProgramRun radar(const std::string& args, const std::string& typed = "") {
    zor::test::write_file(path("in.txt"), typed);
    return zor::test::run_radar(dir_.path(), "", (typed.empty() ? "-ba " : "") + std::string("-inp nids ") + args,
                                "in.txt");
  }
  std::string path(const std::string& name) const { return dir_ / name; }
  zor::test::TempDir dir_{"outputs"};
};

TEST_F(Outputs, LandscapeEpsPageHoldsTheWholePlot) {
  if (!zor::test::have_ghostscript()) GTEST_SKIP() << "Ghostscript not installed";
  const auto r = radar("-de p,x.eps,eps @kbmx");
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_NE(slurp(path("x.eps")).find("%%BoundingBox: 0 0 576 756\n"), std::string::npos);
  // Where Ghostscript finds ink: inside the declared box (the colour bar
  // runs along its left edge) and filling most of it.
  std::FILE* gs = ::popen(("gs -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=bbox '" + path("x.eps") + "' 2>&1").c_str(), "r");
  ASSERT_NE(gs, nullptr);
  std::string found;
  for (char line[256]; std::fgets(line, sizeof line, gs);) found += line;
  ::pclose(gs);
  float x0 = -1, y0 = -1, x1 = -1, y1 = -1;
  const std::size_t at = found.find("%%HiResBoundingBox:");
  ASSERT_NE(at, std::string::npos) << found;
  ASSERT_EQ(std::sscanf(found.c_str() + at, "%%%%HiResBoundingBox: %f %f %f %f", &x0, &y0, &x1, &y1), 4);
  EXPECT_TRUE(x0 >= 0 && y0 >= 0 && x1 <= 576 && y1 <= 756) << found;
  EXPECT_TRUE(x1 - x0 > 500 && y1 - y0 > 700) << found;
}

TEST_F(Outputs, CgmOfANidsPlotHoldsColouredCellsAndLabels) {
  const auto r = radar("-de m,x.cgm,cgm @kbmx");
  ASSERT_EQ(r.status, 0) << r.err;
  bool whole = false;
  const auto els = zor::test::cgm_elements(slurp(path("x.cgm")), &whole);
  ASSERT_TRUE(whole) << "the elements do not add up to the file";
  ASSERT_GT(els.size(), 10u);
  EXPECT_EQ(els.back().cls * 100 + els.back().id, 2);  // END METAFILE

  std::map<int, std::vector<int>> table;  // CGM index -> RGB
  std::set<std::vector<int>> cell_colours;
  std::vector<std::string> texts;
  int fill = -1, polygons = 0;
  for (const auto& e : els) {
    const auto& q = e.params;
    if (e.cls == 5 && e.id == 34) table[q[0]] = {q[1], q[2], q[3]};
    if (e.cls == 5 && e.id == 23) fill = q[0];
    if (e.cls == 4 && e.id == 7) {
      ++polygons;
      ASSERT_TRUE(table.count(fill)) << "polygon before its colour";
      cell_colours.insert(table[fill]);
      for (std::size_t i = 0; i + 3 < q.size(); i += 4) {
        const int x = (q[i] << 8) | q[i + 1], y = (q[i + 2] << 8) | q[i + 3];
        ASSERT_TRUE(x <= 10000 && y <= 8000) << x << "," << y;  // inside the VDC extent (no negatives either)
      }
    }
    if (e.cls == 4 && e.id == 4) texts.emplace_back(q.begin() + 7, q.begin() + 7 + q[6]);
  }
  EXPECT_GT(polygons, 10000);  // one per radar cell
  EXPECT_GE(cell_colours.size(), 10u);
  for (const char* label : {"Base reflectivity (Dbz)", "0205Z  2 JAN 15", "Md=pr Rng=248(0.5) El=0.5", "80"})
    EXPECT_NE(std::find(texts.begin(), texts.end(), label), texts.end()) << label;
}

TEST_F(Outputs, GreyPostScriptDarkensWithEveryFillLevel) {
  if (!zor::test::have_ghostscript()) GTEST_SKIP() << "Ghostscript not installed";
  const auto r = radar("-de p,x.ps,gray @kbmx");
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(zor::test::render(path("x.ps"), path("x.png")), 0);
  zor::test::Raster ras;
  ASSERT_TRUE(zor::test::read_png(path("x.png"), ras));
  const int w = ras.width, h = ras.height;
  auto grey = [&](int x, int y) {
    const unsigned char* p = ras.at(x, y);
    return p[0] == p[1] && p[1] == p[2] && p[0] > 10 && p[0] < 250 ? p[0] : -1;
  };
  // The landscape page turns the colour bar into a column near the right
  // edge, weakest level at the bottom: the column with most grey pixels.
  int bar_x = -1, most = 0;
  for (int x = w * 3 / 4; x < w; ++x) {
    int n = 0;
    for (int y = 0; y < h; ++y) n += grey(x, y) >= 0;
    if (n > most) most = n, bar_x = x;
  }
  ASSERT_GE(bar_x, 0);
  std::vector<int> shades;
  for (int y = h - 1; y >= 0; --y)
    if (const int g = grey(bar_x, y); g >= 0 && (shades.empty() || g != shades.back())) shades.push_back(g);
  ASSERT_GE(shades.size(), 12u);
  for (std::size_t i = 1; i < shades.size(); ++i) EXPECT_LT(shades[i], shades[i - 1]) << "level " << i;
}

// Writes fail past 4 KB in the runs started inside its scope, as on a full
// disk (SIGXFSZ ignored, so writes fail with EFBIG instead of killing).
struct FullDisk {
  rlimit old{};
  FullDisk() {
    ::getrlimit(RLIMIT_FSIZE, &old);
    rlimit small = old;
    small.rlim_cur = 4096;
    ::setrlimit(RLIMIT_FSIZE, &small);
    std::signal(SIGXFSZ, SIG_IGN);
  }
  ~FullDisk() {
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, SIG_DFL);
  }
};

TEST_F(Outputs, AFailedWriteLeavesNoHalfFileAndExitsNonZero) {
  // {option with %s for the file name, the file name}
  const std::pair<const char*, const char*> rows[] = {{"-of png:@%s", "x.png"}, {"-pp gif:@%s", "x.gif"}, {"-pp xwd:@%s", "x.xwd"},
                      {"-pp img:@%s", "x.img"}, {"-de p,%s", "x.ps"},     {"-de h,%s", "x.hpgl"},
                      {"-de m,%s,cgm", "x.cgm"}, {"-de m,%s", "x.meta"}};
  auto args = [](const char* option, const std::string& name) {
    char buf[128];
    std::snprintf(buf, sizeof buf, option, name.c_str());
    return std::string(buf) + " @kbmx";
  };
  const std::set<std::string> own = {"kbmx", "a-b", "in.txt", "out.txt", "err.txt"};
  for (const auto& [option, name] : rows) {
    SCOPED_TRACE(option);
    // A full disk: the earlier file of that name stays as it was.
    zor::test::write_file(path(name), "earlier");
    zor::test::ProgramRun r;
    {
      FullDisk full;
      r = radar(args(option, name));
    }
    EXPECT_EQ(r.status, 12) << r.err;
    EXPECT_NE(r.err.find(name), std::string::npos) << r.err;
    EXPECT_EQ(slurp(path(name)), "earlier");
    fs::remove(path(name));
    for (const auto& e : fs::directory_iterator(dir_.path()))
      EXPECT_TRUE(own.count(e.path().filename().string())) << "left behind: " << e.path();
    // A device that refuses every byte, and a name in no folder at all.
    r = radar(args(option, "/dev/full"));
    EXPECT_EQ(r.status, 12) << r.err;
    EXPECT_NE(r.err.find("/dev/full"), std::string::npos) << r.err;
    r = radar(args(option, std::string("kbmx/") + name));
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.err.find(std::string("kbmx/") + name), std::string::npos) << r.err;
  }
}

// A run that cannot do what was asked says so once, exits accordingly, and
// leaves no file pretending to be a result.
TEST_F(Outputs, EachRunSaysWhatWentWrongAndExitsAccordingly) {
  // {arguments, status, message once on either stream or "", file written
  // in the run's folder or "", text that must not appear or ""}
  const std::tuple<const char*, int, const char*, const char*, const char*> rows[] = {
      {"@kbmx", 2, "without an output file: nothing would be written", "", ""},
      {"-of pgn:x.png @kbmx", 2, "unknown output file type in -of (out_file): pgn:x.png", "", ""},
      {"-of xwd:x.xwd @kbmx", 2, "use -pp xwd:NAME", "", ""},
      {"-of png:@/proc/x.png @kbmx", 12, "1 of 1 image files could not be written (last: /proc/x.png)", "", ""},
      {"-pp gif:@/proc/x.gif @kbmx", 12, "could not be written (last: /proc/x.gif)", "", ""},
      {"-of png:@/dev/full @kbmx", 12, "could not be written (last: /dev/full)", "", ""},
      {"-de p,/proc/x.ps @kbmx", 4, "gopen_ws: cannot create /proc/x.ps", "", ""},
      {"-de p,/dev/full @kbmx", 12, "the PostScript file could not be written: /dev/full", "", ""},
      // A region that would ask for its centre: batch runs ask nothing.
      {"-re var -of png:@var.png @kbmx", 0, "region var asks for its centre", "var.png", "Enter the central"},
      // Drawing switched off: one line, not one per drawing call.
      {"-pl none -of png:@n.png @kbmx", 2, "nothing is drawn (-pl none)", "", "GKS not opened"},
      {"-dr none -of png:@n.png @kbmx", 2, "nothing is drawn (-dr none)", "", "GKS not opened"},
      {"-of png:@m.png @nosuch", 10, "Unable to open file:nosuch", "", ""},
      // Names as typed: a plain existing name, and a literal one whose folder
      // holds a dash (otherwise read as a NIDS extension).
      {"-of png:@plain.png kbmx", 0, "", "plain.png", "Unable"},
      {"-of png:@dash.png @a-b/kbmx", 0, "", "dash.png", "Unable"},
      // No watch asked for: no watch bulletins looked for.
      {"-of png:@w.png @kbmx", 0, "", "w.png", "WATCH_decode_file"},
  };
  for (const auto& [args, status, message, file, absent] : rows) {
    SCOPED_TRACE(args);
    for (const char* f : {"x.png", "n.png", "m.png", file})
      if (*f) fs::remove(dir_ / f);
    const zor::test::ProgramRun r = radar(args);
    EXPECT_EQ(r.status, status) << r.err;
    if (*message) { EXPECT_EQ(count_of(r.err + r.out, message), 1) << r.out << r.err; }
    if (*file) { EXPECT_TRUE(fs::exists(dir_ / file) && fs::file_size(dir_ / file) > 1000u) << file; }
    for (const char* f : {"x.png", "n.png", "m.png"}) EXPECT_FALSE(fs::exists(dir_ / f)) << f;
    if (*absent) { EXPECT_EQ(count_of(r.err + r.out, absent), 0) << r.out << r.err; }
  }
}

// At the file prompt: a name the convention cannot place is told with a hint
// at @, and a name that is an existing file is used as typed.
TEST_F(Outputs, TypedNamesAndLiteralProductsGiveCompleteOutputs) {
  zor::test::ProgramRun r = radar("", "nosuchfile\nkbmx\np\n");
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(count_of(r.out, "File not found: "), 1) << r.out;
  EXPECT_EQ(count_of(r.out, "(a name starting with @ is taken as it stands"), 1) << r.out;
  EXPECT_EQ(count_of(r.out, "Using the name as typed: kbmx"), 1) << r.out;
  EXPECT_GT(fs::file_size(dir_ / "zor.ps"), 10000u);

  // A product named as it stands still dates the output name and labels, and
  // the own image header is filled from the labels and the domain.
  r = radar("-la ur:%y%m%d/%h%n -of png:@%Y%m%d_%h%n.png @kbmx");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(fs::exists(dir_ / "20150102_0205.png"));

  r = radar("-la ur:%y%m%d/%h%n -pp img:@a.img @kbmx");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto head = zor::test::lines_of(slurp(dir_ / "a.img"));
  ASSERT_GE(head.size(), 4u);
  const std::string &info = head[2], &domain = head[3];
  EXPECT_EQ(head[0] + " " + head[1], "ZORIMGZ 150102/0205");
  EXPECT_EQ(info.rfind("Base reflectivity", 0), 0u) << info;
  EXPECT_NE(info.find(" [Md="), std::string::npos) << info;
  float clat = 0, clon = 0, dx = 0, dy = 0;
  int nx = 0, ny = 0;
  ASSERT_EQ(std::sscanf(domain.c_str(), "PS %f %f %f %f %d %d", &clat, &clon, &dx, &dy, &nx, &ny), 6) << domain;
  EXPECT_TRUE(std::fabs(clat - 33.17f) < 0.01f && std::fabs(clon + 86.77f) < 0.01f) << domain;
  EXPECT_TRUE(nx > 100 && ny > 100) << domain;
}

}  // namespace
