// Print and metafile outputs of a real plot read back (EPS through
// Ghostscript, binary CGM element by element, grey PostScript rendered),
// and every writer under a full disk or an unwritable name.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "../common/files.h"

namespace fs = std::filesystem;
using zor::test::slurp;

namespace {

bool have_gs() { return std::system("gs --version >/dev/null 2>&1") == 0; }

class Outputs : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::copy_file(fs::path(ZOR_TEST_DATA_DIR) / "level3" / "KBMX_SDUS54_N0QBMX_201501020205", dir_.path() / "kbmx");
  }
  zor::test::ProgramRun radar(const std::string& args) {
    return zor::test::run_radar(dir_.path(), "", "-ba -inp nids " + args + " @kbmx");
  }
  std::string path(const std::string& name) const { return dir_ / name; }
  zor::test::TempDir dir_{"outputs"};
};

TEST_F(Outputs, LandscapeEpsPageHoldsTheWholePlot) {
  if (!have_gs()) GTEST_SKIP() << "Ghostscript not installed";
  const auto r = radar("-de p,x.eps,eps");
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
  EXPECT_GE(x0, 0.0f);
  EXPECT_GE(y0, 0.0f);
  EXPECT_LE(x1, 576.0f);
  EXPECT_LE(y1, 756.0f);
  EXPECT_GT(x1 - x0, 500.0f);
  EXPECT_GT(y1 - y0, 700.0f);
}

// A binary CGM element: class, id and parameter bytes (long form and
// partitions joined).
struct Element {
  int cls = 0, id = 0;
  std::vector<std::uint8_t> params;
};

std::vector<Element> elements(const std::string& bytes, bool* whole) {
  std::vector<Element> out;
  std::size_t p = 0;
  auto u16 = [&](std::size_t at) { return (static_cast<std::uint8_t>(bytes[at]) << 8) | static_cast<std::uint8_t>(bytes[at + 1]); };
  *whole = false;
  while (p + 2 <= bytes.size()) {
    const int head = u16(p);
    p += 2;
    Element e{head >> 12, (head >> 5) & 0x7F, {}};
    int len = head & 31;
    bool more = false;
    do {
      if (len == 31 || more) {
        if (p + 2 > bytes.size()) return out;
        more = (u16(p) & 0x8000) != 0;
        len = u16(p) & 0x7FFF;
        p += 2;
      }
      if (p + static_cast<std::size_t>(len) > bytes.size()) return out;
      e.params.insert(e.params.end(), bytes.begin() + static_cast<long>(p), bytes.begin() + static_cast<long>(p + len));
      p += static_cast<std::size_t>(len + (len & 1));
    } while (more);
    out.push_back(std::move(e));
  }
  *whole = p == bytes.size();
  return out;
}

TEST_F(Outputs, CgmOfANidsPlotHoldsColouredCellsAndLabels) {
  const auto r = radar("-de m,x.cgm,cgm");
  ASSERT_EQ(r.status, 0) << r.err;
  bool whole = false;
  const auto els = elements(slurp(path("x.cgm")), &whole);
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

// Reads an 8-bit RGB PNG rendering.
bool read_rgb(const std::string& file, int* w, int* h, std::vector<std::uint8_t>* rgb) {
  png_image im{};
  im.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&im, file.c_str())) return false;
  im.format = PNG_FORMAT_RGB;
  *w = static_cast<int>(im.width);
  *h = static_cast<int>(im.height);
  rgb->assign(PNG_IMAGE_SIZE(im), 0);
  const bool ok = png_image_finish_read(&im, nullptr, rgb->data(), 0, nullptr) != 0;
  png_image_free(&im);
  return ok;
}

TEST_F(Outputs, GreyPostScriptDarkensWithEveryFillLevel) {
  if (!have_gs()) GTEST_SKIP() << "Ghostscript not installed";
  const auto r = radar("-de p,x.ps,gray");
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string png = path("x.png");
  ASSERT_EQ(std::system(("gs -q -dSAFER -dBATCH -dNOPAUSE -sPAPERSIZE=letter -sDEVICE=png16m -r72 -sOutputFile='" + png +
                         "' '" + path("x.ps") + "' >/dev/null 2>&1").c_str()), 0);
  int w = 0, h = 0;
  std::vector<std::uint8_t> rgb;
  ASSERT_TRUE(read_rgb(png, &w, &h, &rgb));
  auto grey = [&](int x, int y) {
    const std::uint8_t* p = &rgb[(static_cast<std::size_t>(y) * w + x) * 3];
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
  struct Row {
    const char* option;  // with %s for the file name
    const char* name;
  };
  const Row rows[] = {{"-of png:@%s", "x.png"}, {"-pp gif:@%s", "x.gif"}, {"-pp xwd:@%s", "x.xwd"},
                      {"-pp img:@%s", "x.img"}, {"-de p,%s", "x.ps"},     {"-de h,%s", "x.hpgl"},
                      {"-de m,%s,cgm", "x.cgm"}, {"-de m,%s", "x.meta"}};
  auto args = [](const Row& row, const std::string& name) {
    char buf[128];
    std::snprintf(buf, sizeof buf, row.option, name.c_str());
    return std::string(buf);
  };
  const std::set<std::string> own = {"kbmx", "out.txt", "err.txt"};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.option);
    // A full disk: the earlier file of that name stays as it was.
    zor::test::write_file(path(row.name), "earlier");
    zor::test::ProgramRun r;
    {
      FullDisk full;
      r = radar(args(row, row.name));
    }
    EXPECT_EQ(r.status, 12) << r.err;
    EXPECT_NE(r.err.find(row.name), std::string::npos) << r.err;
    EXPECT_EQ(slurp(path(row.name)), "earlier");
    fs::remove(path(row.name));
    for (const auto& e : fs::directory_iterator(dir_.path()))
      EXPECT_TRUE(own.count(e.path().filename().string())) << "left behind: " << e.path();
    // A device that refuses every byte, and a name in no folder at all.
    r = radar(args(row, "/dev/full"));
    EXPECT_EQ(r.status, 12) << r.err;
    EXPECT_NE(r.err.find("/dev/full"), std::string::npos) << r.err;
    r = radar(args(row, std::string("kbmx/") + row.name));
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.err.find(std::string("kbmx/") + row.name), std::string::npos) << r.err;
  }
}

}  // namespace
