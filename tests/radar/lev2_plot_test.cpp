// Level II plotting: every gate of a sweep checked where the data put it, the
// sweep chosen by `variable`, and the program on real, cut and foreign files.
#include "../gks/print_test_util.h"
#include "frame_test.h"
#include "lev2_test_util.h"
#include "zor/lev2.h"

using namespace lev2_test;

namespace {

// One radial of the selected cut and moment, as the decoder gives it.
struct Ray {
  float az;
  float first, gate;
  std::vector<float> v;
};

std::vector<Ray> read_cut(const std::string& path, int elev, int moment) {
  std::vector<Ray> rays;
  std::string p = path;
  if (LEV2_open_file(p.data()) != 1) return rays;
  LEV2_data d;
  while (LEV2_get_block(&d) == 1) {
    if ((d.type == 1 || d.type == 31) && d.elev_num == elev && LEV2_set_data_type(moment) == 1) {
      const auto& mi = zor::lev2::moment(moment);
      Ray r{d.rad_az, mi.first_km, mi.gate_km, {}};
      for (int i = 0; i < mi.gates; ++i) r.v.push_back(LEV2_get_data());
      rays.push_back(std::move(r));
    }
    LEV2_next_block();
  }
  LEV2_close_file();
  return rays;
}

class Lev2PlotTest : public zor::test::RadarFrameTest {
 protected:
  // Draws `path` on its radar domain and captures the frame.
  void plot(const std::string& path, Capture& cap) {
    radar_ = zor::lev2::begin_volume(path.c_str());
    Domain dom = radar_;
    testing::internal::CaptureStdout();
    ASSERT_TRUE(zor::test::open_frame(dom));
    LEV2_plot_frame();
    LEV2_close_file();
    testing::internal::GetCapturedStdout();
    ASSERT_TRUE(zor::test::grab(cap));
  }

  struct Check {
    int checked = 0, wrong = 0, inner = 0, blank = 0;
  };

  // The centre pixel of every coloured gate holds its colour or a neighbour's
  // (a pixel each way along the radial, the radials either side); gates inside
  // `clutter_km` stay background. Radials a later one overlaps are left out.
  Check check_gates(const std::vector<Ray>& rays, const Capture& cap, float clutter_km = 0.0f) {
    Check c;
    float x0 = 0, y0 = 0;
    MAP_tran(radar_.clat, radar_.clon, &x0, &y0);
    const std::uint32_t back = rgb_of_index(gget_back_color());
    const float px_per_km = std::fabs(xW_p(x0 + radar_.dx) - xW_p(x0));
    for (std::size_t k = 1; k + 1 < rays.size(); ++k) {
      const Ray& r = rays[k];
      bool overlapped = false;
      for (std::size_t j = k + 10; j < rays.size() && !overlapped; ++j) {
        const float d = std::fabs(std::remainder(rays[j].az - r.az, 360.0f));
        overlapped = d < 1.5f;
      }
      if (overlapped) continue;
      const std::size_t g = static_cast<std::size_t>(std::ceil(1.0f / (r.gate * px_per_km)));
      // Nearer the radar than where radials are a pixel and a half apart,
      // several share each pixel.
      const float spacing = std::fabs(std::remainder(rays[k + 1].az - r.az, 360.0f));
      const float near_km = 1.5f / (spacing * static_cast<float>(M_PI) / 180.0f * px_per_km);
      const double a = MAP_dir_adj(r.az, x0, y0) * M_PI / 180.0;
      for (std::size_t i = g; i + g < r.v.size(); ++i) {
        if (colour_of(r.v[i]) < 0) continue;
        const float km = r.first + static_cast<float>(i) * r.gate;
        if (km < near_km && km >= clutter_km - 1.0f) continue;
        int px = 0, py = 0;
        const float rr = km * radar_.dx;
        const float x = x0 + rr * static_cast<float>(std::sin(a)), y = y0 + rr * static_cast<float>(std::cos(a));
        if (!zor::test::plot_pixel(cap, x, y, &px, &py)) continue;
        ++c.checked;
        const std::uint32_t got = cap.pixel(px, py);
        if (km < clutter_km - 1.0f) {
          ++c.inner;
          c.blank += got == back;
          continue;
        }
        bool ok = false;
        for (std::size_t kk = k - 1; !ok && kk <= k + 1; ++kk)
          for (std::size_t ii = i - g; !ok && ii <= i + g; ++ii)
            ok = ii < rays[kk].v.size() && near(got, zor::test::fill_rgb(rays[kk].v[ii]));
        c.wrong += !ok;
      }
    }
    return c;
  }

  Domain radar_;
};

TEST_F(Lev2PlotTest, SweepsColourEveryGateWhereTheDataPutIt) {
  struct Case {
    std::string path;
    const char* variable;
    const char* params;
    int elev, moment;
    float clutter_km = 0;  // gates inside stay background
  };
  const Case cases[] = {
      {chunk_prefix(3), "ref1", "range=70", 1, zor::lev2::kRef},
      {chunk_prefix(3), "ref1", "range=70,clutter=30", 1, zor::lev2::kRef, 30},
      {chunk_prefix(3), "rho1", "range=150,superres", 1, zor::lev2::kRho},
      {chunk_prefix(3), "phi1", "range=150", 1, zor::lev2::kPhi},
      {legacy_volume(), "vel2", "range=60", 2, zor::lev2::kVel},
      {legacy_volume(), "sw2", "range=60", 2, zor::lev2::kSw},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.variable) + " " + c.params + " " + c.path);
    RES_put("variable", c.variable);
    RES_put("plot_param", c.params);
    const auto rays = read_cut(c.path, c.elev, c.moment);
    ASSERT_GT(rays.size(), 100u);
    Capture cap;
    plot(c.path, cap);
    EXPECT_EQ(zor::lev2::sweep_radials(), static_cast<int>(rays.size()));
    const Check k = check_gates(rays, cap, c.clutter_km);
    EXPECT_GT(k.checked, 100);
    EXPECT_LT(k.wrong, k.checked / 50 + 1) << k.wrong << " of " << k.checked;
    EXPECT_GT(k.inner, c.clutter_km > 0 ? 100 : -1);
    EXPECT_EQ(k.blank, k.inner);
    restart();
  }
}

TEST_F(Lev2PlotTest, VariableAndParametersChooseTheSweepAndDomain) {
  const std::string path = data_path("pyart_example_nexrad_archive_msg31_compressed.ar2v");
  struct Case {
    const char* variable;
    const char* params;
    int radials;  // -1: some
    int nx;
    const char* label;
  };
  const Case cases[] = {
      {"", "", 120, 1381, "Md=pr Sc=1 El=0.5 Mx=44"},
      {"ref", "range=100", 0, 301, "Sc=0"},  // no elevation number 0
      {"vel1", "", 0, 1381, "Rng="},  // no velocity in the surveillance cut
      {"ZDR1", "range=230", 120, 691, "Rng="},
      {"phi1", "range=230", 120, 691, "Rng="},
      {"cfp1", "", 0, 1381, "Sc=1"},  // a 2013 volume has no CFP
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.variable);
    RES_put("variable", c.variable);
    RES_put("plot_param", c.params);
    Capture cap;
    plot(path, cap);
    EXPECT_EQ(zor::lev2::sweep_radials(), c.radials);
    EXPECT_EQ(radar_.nx, c.nx);
    EXPECT_NE(std::string(PLT_get_label(5, 0)).find(c.label), std::string::npos) << PLT_get_label(5, 0);
    restart();
  }
}

TEST_F(Lev2PlotTest, ChunkWithoutHeaderIsPlacedWhereItsRadialsSay) {
  const Domain& d = zor::lev2::begin_volume(data_path("chunks/20210729-123848-034-I").c_str());
  LEV2_close_file();
  EXPECT_NEAR(d.clat, 41.6044f, 0.001f);  // KLOT, from the radials' volume block
  EXPECT_NEAR(d.clon, -88.0844f, 0.001f);
}

class Lev2Program : public zor::test::ProgramTest {
 protected:
  Lev2Program() : ProgramTest("lev2_program", "-ba ") {}
};

TEST_F(Lev2Program, PlotsRealTruncatedAndForeignFiles) {
  // Plain names: the file layer reads a dash in a name as an offset.
  auto copy = [&](const std::string& from, const char* to) {
    fs::copy_file(from, dir_ / to, fs::copy_options::overwrite_existing);
    return std::string("@") + to;
  };
  struct Case {
    std::string args;
    int status;
    bool image;
    const char* err;  // part of standard error
  };
  const Case cases[] = {
      {"-inp lev2 -pp site,range=100 -of png:@a.png " + copy(data_path("KTLX20170101_030027_V06"), "tlx.v06"), 0,
       true, ""},
      // Plain messages under the compressed input type: read by content.
      {"-inp lev2z -var vel2 -of png:@a.png " + copy(legacy_volume(), "abr.lev2"), 0, true, ""},
      {"-inp lev2 -var ref1 -of png:@a.png " + copy(chunk_prefix(3), "part.lev2"), 0, true, "truncated"},
      {"-inp lev2 -of png:@a.png " + copy(data_path("chunks/20210729-123848-034-I"), "mid.lev2"), 0, true,
       "no volume header"},
      {"-inp lev2 -of png:@a.png " + copy(data_path("KABR20050101_000745.gz"), "abr.gz"), 10, false, "gunzip"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args);
    fs::remove(dir_ / "a.png");
    const zor::test::ProgramRun r = radar(c.args);
    EXPECT_EQ(r.status, c.status) << r.err;
    EXPECT_NE(r.err.find(c.err), std::string::npos) << r.err;
    zor::test::Raster img;
    ASSERT_EQ(zor::test::read_png((dir_ / "a.png").string(), img), c.image);
    if (!c.image) continue;
    // Echo colours (anything but the black background, the white labels and
    // the red map) fill part of the picture.
    EXPECT_GT(zor::test::count_pixels(img, [](std::uint32_t v) { return v != 0 && v != 0xFFFFFF && v != 0xFF0000; }),
              1000);
  }
}

}  // namespace
