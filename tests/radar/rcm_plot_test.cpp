// Radar coded message frames on the in-memory raster: echo cells in their
// colours, the symbols and barbs of a bulletin, and the station prompt.
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "frame_test.h"
#include "zor/clr.h"
#include "zor/cty.h"
#include "zor/date.h"
#include "zor/file.h"
#include "zor/rcm.h"

namespace {

const std::string kDir = std::string(ZOR_TEST_DATA_DIR) + "/rcm/";
constexpr float kCell = 0.11899f;

Domain polar(float lat, float lon, int n, float step) {
  Domain d;
  DOM_init(&d);
  d.proj = DOM_PSTEREO;
  d.plat = 90.0f;
  d.plon = -105.0f;
  d.clat = lat;
  d.clon = lon;
  d.nx = d.ny = n;
  d.dx = d.dy = step;
  return d;
}

class RcmFrameTest : public zor::test::RadarFrameTest {
 protected:
  void SetUp() override {
    RadarFrameTest::SetUp();
    FLAG_setplot(7, 0);
  }

  // One frame of `station` from `path` on `dom` (the site's own 100 x 100
  // quarter-box area when its projection is missing).
  void plot(const std::string& path, const char* station, Capture& cap, Domain dom = Domain{}) {
    zor::rcm::set_station(station);
    RCM_plot_param();
    zor::rcm::locate_site();
    CTY_get_loc("rad.cty", station, &lat_, &lon_);
    if (dom.proj == ZOR_MISSING) dom = polar(lat_, lon_, 100, kCell);
    testing::internal::CaptureStdout();
    ASSERT_TRUE(zor::test::open_frame(dom));
    std::vector<char> name(path.begin(), path.end());
    name.push_back('\0');
    const int found = zor::rcm::open_station(name.data());
    RCM_plot_frame();
    RCM_close_file();
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(found, 1) << path;
    dom_ = dom;
    ASSERT_TRUE(zor::test::grab(cap));
  }

  // The plot point of the centre of quarter-box (col, row), worked out from
  // the LFM grid independently of the plotter.
  Gpt cell_centre(float col, float row) const {
    Domain lfm = polar(39.7642f, -97.1467f, 113, 0.47596f);
    lfm.nx = 113;
    lfm.ny = 89;
    MAP_domain(&lfm);
    float x = 0, y = 0, i = 0, j = 0, xx = 0, yy = 0;
    MAP_tran(lat_, lon_, &x, &y);
    MAP_grid_untran(x, y, &i, &j);
    MAP_grid_tran(std::floor(i - 12), std::floor(j - 12), &xx, &yy);
    Gpt p{xx + (col + 0.5f) * kCell, yy - (row + 0.5f) * kCell};
    MAP_domain_tran(&lfm, &dom_, p.x, p.y, &p.x, &p.y);
    MAP_domain(&dom_);
    return p;
  }

  bool pixel_at(const Gpt& p, int* px, int* py, const Capture& cap) const {
    return zor::test::plot_pixel(cap, p.x, p.y, px, py, 0.01f, 3);
  }

  Domain dom_;
  float lat_ = 0.0f;
  float lon_ = 0.0f;
};

TEST_F(RcmFrameTest, EveryEchoCellOfARealMessageHasItsCategoryColour) {
  struct Case {
    const char* file;
    const char* id;
    bool own_pole;  // a projection of its own: cells go through latitude and longitude
  };
  for (const Case& k : {Case{"KBMX_SDUS44_RCMBMX_201501020217", "BMX", false},
                        Case{"KOKX_SDUS41_RCMOKX_201108280716", "OKX", false},
                        Case{"KBMX_SDUS44_RCMBMX_201501020217", "BMX", true}}) {
    SCOPED_TRACE(std::string(k.file) + (k.own_pole ? " own pole" : ""));
    Domain dom;
    if (k.own_pole) {
      float lat = 0, lon = 0;
      ASSERT_EQ(CTY_get_loc("rad.cty", k.id, &lat, &lon), 1);
      dom = polar(lat, lon, 100, kCell);
      dom.plat = lat;
      dom.plon = lon;
    }
    Capture cap;
    plot(kDir + k.file, k.id, cap, dom);
    const RCM_report& r = zor::rcm::report();
    std::uint32_t colour[7];
    for (int v = 0; v <= 6; ++v) colour[v] = zor::test::fill_rgb(static_cast<float>(v));
    EXPECT_EQ(colour[0], rgb_of_index(gget_back_color())) << "category 0 is not drawn";
    int checked = 0, wrong = 0, echoes = 0;
    for (int c = 0; c < RCM_GRID; ++c) {
      for (int row = 0; row < RCM_GRID; ++row) {
        int px = 0, py = 0;
        if (!pixel_at(cell_centre(static_cast<float>(c), static_cast<float>(row)), &px, &py, cap))
          continue;
        const int v = r.echo[c][row] > 6 ? 0 : r.echo[c][row];
        ++checked;
        echoes += v > 0;
        if (!near(cap.pixel(px, py), colour[v])) ++wrong;
      }
    }
    EXPECT_GT(checked, 8000);
    EXPECT_GT(echoes, 500);
    EXPECT_EQ(wrong, 0);
  }
}

TEST_F(RcmFrameTest, StormsMesocyclonesAndTvsStandWhereTheMessageSays) {
  // A bulletin for the Birmingham site: one hail storm at JLK moving from
  // the west at 40 knots, a mesocyclone at JJJ and a TVS at KKA.
  const std::string path = testing::TempDir() + "rcm_storms_" + std::to_string(getpid()) + ".txt";
  std::ofstream(path)
      << "RCMBMX\n1234 ROBUU 0101\n/NEXRAA 0101 0201150217 EDITED\n/MDPCPN /SC\n"
         "/NCEN01: CA1JLK 270040\n/ENDAA\n/NEXRCC 0101 0201150217\n/NTVS01: TVSB1KKA\n"
         "/NMES01: MC1JJJ\n/NCEN01: CA1JLK S350HH\n";
  FLAG_setplot(7, 1);
  RES_put("variable", "comp");
  RES_put("plot_param", "nobar");
  Capture cap;
  plot(path, "BMX", cap);
  std::remove(path.c_str());
  ASSERT_EQ(zor::rcm::report().num_storm, 1);
  const float h = MAP_get_vert();
  struct Mark {
    float col, row;
    const char* colour;
  };
  for (const Mark& m : {Mark{46, 38, "lgreen"}, Mark{38, 37, "yellow"}, Mark{40, 40, "lred"}}) {
    int px = 0, py = 0;
    ASSERT_TRUE(pixel_at(cell_centre(m.col, m.row), &px, &py, cap)) << m.colour;
    int hits = 0;
    for (int j = -3; j <= 3; ++j)
      for (int i = -3; i <= 3; ++i)
        hits += near(cap.pixel(px + i, py + j), rgb_of_index(CLR_get_ind(m.colour)));
    EXPECT_GE(hits, 3) << m.colour;
  }
  // The barb's staff runs from the storm toward the west, where the wind
  // comes from; the east side at the same height stays dark.
  const Gpt storm = cell_centre(46, 38);
  int px = 0, py = 0;
  const std::uint32_t back = rgb_of_index(gget_back_color());
  ASSERT_TRUE(pixel_at(Gpt{storm.x - 0.05f * h, storm.y}, &px, &py, cap));
  EXPECT_LT(cap.count_near(px, py, back), 25);
  ASSERT_TRUE(pixel_at(Gpt{storm.x + 0.05f * h, storm.y - 0.01f * h}, &px, &py, cap));
  EXPECT_EQ(cap.count_near(px, py, back), 25);
  EXPECT_EQ(CONT_get_bar(), -2) << "nobar";
}

TEST_F(RcmFrameTest, RefreshDrawsTheNextMinutesFile) {
  const zor::test::TempDir dir("rcm_refresh");
  std::filesystem::copy_file(kDir + "KBMX_SDUS44_RCMBMX_201501020217", dir / "201501020217.rcm");
  const std::string first = dir / "first.txt";
  zor::test::write_file(first, "RCMBMX\n1234 ROBUU 0101\n/NEXRAA 0101 0201150216 EDITED\n/ENDAA\n");
  ASSERT_EQ(FILE_set_name(("@" + dir.path().string() + "/%Y%m%d%h%n.rcm").c_str()), 1);
  char name[FILE_NAME_MAX] = {};
  FILE_set_date(DATE_to_struct(2015, 1, 2, 2, 16), name, sizeof name);
  Capture cap;
  plot(first, "BMX", cap);
  ASSERT_EQ(zor::rcm::report().num, 101);
  testing::internal::CaptureStdout();
  EXPECT_EQ(RCM_plot_nextfile(), 0);
  const int num = zor::rcm::report().num;
  EXPECT_EQ(RCM_plot_nextfile(), 0);  // nothing a minute later
  const std::string out = testing::internal::GetCapturedStdout();
  zor::file::reset();
  EXPECT_EQ(num, 320) << "the message of 02:17 was read";
  EXPECT_EQ(zor::rcm::report().num, 320);
  EXPECT_NE(out.find("File: " + (dir / "201501020217.rcm") + "\n"), std::string::npos) << out;
  EXPECT_NE(out.find("201501020218.rcm"), std::string::npos) << out;
}

// The station prompt in a child process reading `input`.
struct Child {
  int status;
  std::string station;
};
Child prompt_with(const std::string& input) {
  const std::string in = zor::test::scratch("rcm_prompt_in"), out = zor::test::scratch("rcm_prompt_out");
  zor::test::write_file(in, input);
  std::remove(out.c_str());
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    alarm(20);
    if (!std::freopen(in.c_str(), "r", stdin) || !std::freopen("/dev/null", "w", stdout)) _exit(90);
    FLAG_set(19, 0);
    RCM_prompt_id();
    zor::test::write_file(out, zor::rcm::station());
    _exit(3);
  }
  int st = 0;
  waitpid(pid, &st, 0);
  return {WIFEXITED(st) ? WEXITSTATUS(st) : -1, zor::test::slurp(out)};
}

TEST(RcmPrompt, StationAnswers) {
  EXPECT_EQ(prompt_with("okx\n").station, "OKX");
  EXPECT_EQ(prompt_with("12\nlongest\n1ab\nbmx\n").station, "BMX");
  const Child tired = prompt_with("1\n22\n4444\n555\nab\nokx\n");
  EXPECT_EQ(tired.status, 3);
  EXPECT_EQ(tired.station, "AB") << "after five unusable answers the last is kept";
  EXPECT_EQ(prompt_with("exit\n").status, 0);
  RES_put("identifier", "lot");
  RCM_prompt_id();
  EXPECT_STREQ(zor::rcm::station(), "LOT");
  RES_put("identifier", "");
}

}  // namespace
