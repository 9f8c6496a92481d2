// The print devices through the kernel: PostScript and EPS (pages rendered by
// Ghostscript and checked by pixel), HP-GL/2, the text metafile read back, the
// binary CGM element by element, and the colour model behind print shades.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "../common/capture.h"
#include "device.h"
#include "print_test_util.h"
#include "print_checks.h"

namespace {

using zor::test::count_of;
using zor::test::lines_of;
using zor::test::out_path;
using zor::test::Raster;
using zor::test::Scene;
using zor::test::slurp;

const std::string kEsc = "\x1b";

std::string data(const std::string& name) { return std::string(ZOR_TEST_DATA_DIR) + "/meta/" + name; }

// A scene position in page pixels of a 72 dpi letter-size rendering.
struct PagePoint {
  int col = 0;
  int row = 0;
};

class PrintTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::reset_devices();
    for (const char* v : {"zorps_param", "PSCOLOR", "zorhp_param", "zormeta_out"}) unsetenv(v);
    gset_win_title("radar test");
  }
  void TearDown() override {
    if (gchk_graphics()) zor::test::close_ws();
    zor::gks::clear_fixed_time();
  }

  // Where an NDC point lands on a landscape page (turned 90 degrees, moved by
  // ".25 inch -8.25 inch translate"; EPS by the picture height: 576, 0); image
  // rows count down from the page top (792).
  static PagePoint landscape(float x, float y, float right = 594.0f, float lift = 18.0f) {
    return {static_cast<int>(right - yW_ps(y)), static_cast<int>(792.0f - lift - xW_ps(x))};
  }

  // The scene plus a nine-point polyline (over three lines), as a text metafile.
  static void write_scene(const std::string& file) {
    ASSERT_TRUE(zor::test::open_ws(GWS_META, file));
    zor::test::draw_scene();
    Gpt zigzag[9];
    for (int i = 0; i < 9; ++i) zigzag[i] = {0.1f + 0.05f * i, (i % 2) ? 0.65f : 0.6f};
    gpolyline(9, zigzag);
    zor::test::close_ws();
  }

  // Records of a metafile: everything after the four header lines, without
  // the workstation window and viewport, which a reader does not replay.
  static std::vector<std::string> records(const std::string& file) {
    std::vector<std::string> out;
    const auto all = lines_of(slurp(file));
    for (std::size_t i = 4; i < all.size(); ++i)
      if (all[i].rfind("WS_WIN ", 0) != 0 && all[i].rfind("WS_VP ", 0) != 0) out.push_back(all[i]);
    return out;
  }
};

TEST_F(PrintTest, GreyLandscapeLetterFramesThePageAndRendersTheDrawing) {
  const std::string ps = out_path("grey.ps");
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, ps));
  EXPECT_EQ(zor::test::win_size(), std::pair(756, 576));  // letter landscape, in points
  zor::test::draw_scene();
  const PagePoint fill = landscape(0.2f, 0.2f);
  const PagePoint line = landscape(0.7f, Scene::line_y);
  const PagePoint mark = landscape(Scene::mark_x, Scene::mark_y);
  const PagePoint text0 = landscape(Scene::text_x, Scene::text_y);
  const PagePoint text1 = landscape(Scene::text_x + 0.1f, Scene::text_y + Scene::text_h);
  const PagePoint blank = landscape(Scene::blank_x, Scene::blank_y);
  zor::test::close_ws();

  const std::string text = slurp(ps);
  EXPECT_EQ(text.rfind("%!PS-Adobe-1.0\n%%Title: ZOR Graphics Display: radar test\n%%Creator: ZOR Postscript "
                       "Processor-2.0\n%%CreationDate: Tue Nov 14 22:13:20 2023\n%%EndComments\n", 0), 0u);
  EXPECT_EQ(zor::test::lines_of(text).at(6), "30 dict begin");
  // Grey: lines black, the blue fill at 0.8 / 2.7, width 10 in 0.33-point dots.
  for (const char* want : {"90 rotate\n.25 inch -8.25 inch translate\n0 setgray\n2 setlinejoin\n",
                           "%%Begin plot\n%%ZOR Plot: radar test\n", "cp\n0.296 setgray\nfill\n",
                           "%%PL: 2\n10.0 dot lw\n0 setgray\n", "%%PM: 3\n", "%%TE: 0.100000 0.550000 ZOR\n"})
    EXPECT_NE(text.find(want), std::string::npos) << want;
  EXPECT_EQ(text.substr(text.size() - 49), "%%End of plot\nsaveobj restore\nshowpage\nend\n%%EOF\n");
  EXPECT_EQ(std::pair(count_of(text, "setrgbcolor"), count_of(text, "[6] 0 setdash\n")), std::pair(0, 1));

  if (!zor::test::have_ghostscript()) GTEST_SKIP() << "Ghostscript not installed";
  const std::string png = out_path("grey.png");
  ASSERT_EQ(zor::test::render(ps, png), 0) << slurp(png + ".log");
  Raster r;
  ASSERT_TRUE(zor::test::read_png(png, r));
  ASSERT_EQ(std::pair(r.width, r.height), std::pair(612, 792));
  const unsigned char* f = r.at(fill.col, fill.row);
  EXPECT_NEAR(f[0], 75, 8);
  EXPECT_TRUE(f[0] == f[1] && f[1] == f[2]);
  const unsigned char* l = r.at(line.col, line.row);
  EXPECT_LT(l[0] + l[1] + l[2], 60);
  EXPECT_GT(r.inked_near(mark.col, mark.row, 2), 3);
  int inked = 0;
  for (int row = text1.row; row <= text0.row; ++row)
    for (int col = text1.col; col <= text0.col; ++col) inked += !r.is_white(col, row);
  EXPECT_GT(inked, 20) << "the text left no ink";
  EXPECT_EQ(r.inked_near(blank.col, blank.row, 3), 0);
}

TEST_F(PrintTest, ColourEpsHasABoundingBoxNoDictionaryAndRendersInColour) {
  const std::string eps = out_path("colour.eps");
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, eps + ",eps,color"));
  EXPECT_EQ(gget_inverse(), 1);
  zor::test::draw_scene();
  // Translated by the picture height: the picture fills its bounding box.
  const PagePoint fill = landscape(0.2f, 0.2f, 576.0f, 0.0f);
  const PagePoint line = landscape(0.7f, Scene::line_y, 576.0f, 0.0f);
  const PagePoint blank = landscape(Scene::blank_x, Scene::blank_y, 576.0f, 0.0f);
  zor::test::close_ws();

  const std::string text = slurp(eps);
  EXPECT_EQ(text.rfind("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 576 756\n", 0), 0u);
  EXPECT_EQ(count_of(text, "30 dict begin"), 0);
  EXPECT_EQ(count_of(text, "saveobj"), 0);
  EXPECT_NE(text.find("90 rotate\n0. inch -8.00 inch translate\n0 0 0 setrgbcolor\n"), std::string::npos);
  EXPECT_NE(text.find("1.00 0.00 0.00 setrgbcolor\n"), std::string::npos);
  EXPECT_EQ(count_of(text, "0.00 0.00 1.00 setrgbcolor\n"), 2);  // the fill, then the markers
  EXPECT_EQ(text.substr(text.size() - 20), "%%End of plot\n%%EOF\n");

  if (!zor::test::have_ghostscript()) GTEST_SKIP() << "Ghostscript not installed";
  const std::string png = out_path("colour.png");
  ASSERT_EQ(zor::test::render(eps, png), 0) << slurp(png + ".log");
  Raster r;
  ASSERT_TRUE(zor::test::read_png(png, r));
  EXPECT_TRUE(zor::test::near(r.pixel(fill.col, fill.row), 0x0000FF, 20));
  EXPECT_TRUE(zor::test::near(r.pixel(line.col, line.row), 0xFF0000, 20));
  EXPECT_EQ(r.inked_near(blank.col, blank.row, 3), 0);
}

TEST_F(PrintTest, PortraitEpsKeepsTheDeviceUpright) {
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("portrait.eps") + ",port,eps"));
  zor::test::close_ws();
  const std::string text = slurp(out_path("portrait.eps"));
  EXPECT_NE(text.find("%%BoundingBox: 0 0 756 576\n"), std::string::npos);
  EXPECT_EQ(count_of(text, "rotate") + count_of(text, "translate"), 0);
}

TEST_F(PrintTest, OptionsSetPaperScaleAndWidthsFromEnvironmentAndConnection) {
  setenv("zorps_param", "a4,lwidth=2", 1);
  const std::string ps = out_path("options.ps");
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, ps + ",scale=1.5,port"));
  EXPECT_EQ(zor::test::win_size(), std::pair(static_cast<int>((11.69f - 0.5f) * 72.0f), static_cast<int>((8.26f - 0.5f) * 72.0f)));
  // Reserved print shades: 502 is black at four times the base width.
  gset_line_colr_ind(502);
  gset_linewidth(2.0f);
  GPH_line(0.1f, 0.1f, 0.2f, 0.2f);
  GPH_line(0.1f, 0.2f, 0.2f, 0.3f);
  gset_line_colr_ind(505);
  GPH_line(0.1f, 0.3f, 0.2f, 0.4f);
  zor::test::close_ws();
  unsetenv("zorps_param");

  const std::string text = slurp(ps);
  EXPECT_NE(text.find(".25 inch .25 inch translate\n"), std::string::npos);
  EXPECT_NE(text.find("1.50 1.50 scale\n"), std::string::npos);
  EXPECT_EQ(count_of(text, "16 dot lw\n"), 1);  // trunc(4 x base 2 x width 2), written once
  EXPECT_EQ(count_of(text, "1 setgray\n"), 1);
  EXPECT_EQ(count_of(text, "%%PL: 2\n"), 3);

  // "sz" takes a free size; the size in inches is kept for the page.
  zor::gks::reset_ps();
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("size.ps") + ",sz=20x10"));
  EXPECT_EQ(zor::test::win_size(), std::pair(1404, 684));
  zor::test::close_ws();
}

TEST_F(PrintTest, PipesAndAppendsWriteWhereTheNameSays) {
  const std::string target = out_path("piped.ps");
  std::remove(target.c_str());
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, "|cat > " + target));
  GPH_line(0.1f, 0.1f, 0.9f, 0.1f);
  zor::test::close_ws();
  const std::string piped = slurp(target);
  EXPECT_EQ(piped.rfind("%!PS-Adobe-1.0\n", 0), 0u);
  EXPECT_EQ(piped.substr(piped.size() - 6), "%%EOF\n");

  const std::size_t first_size = piped.size();
  zor::gks::reset_ps();
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, "+" + target));
  GPH_line(0.1f, 0.2f, 0.9f, 0.2f);
  zor::test::close_ws();
  const std::string both = slurp(target);
  ASSERT_GT(both.size(), first_size);
  const std::string appended = both.substr(first_size);
  EXPECT_EQ(appended.rfind("0 setgray\n1 dot lw\n[] 0 setdash\n%%ZOR Plot: radar test\n", 0), 0u);
  EXPECT_EQ(count_of(appended, "%!PS"), 0);
  EXPECT_EQ(count_of(appended, "showpage"), 0);
  EXPECT_EQ(appended.substr(appended.size() - 14), "%%End of plot\n");
}

TEST_F(PrintTest, UnopenableFilesFailTheOpen) {
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  EXPECT_EQ(gopen_ws(1, "/nonexistent-dir/x.ps", GWS_PS), -1);
  EXPECT_EQ(gopen_ws(1, "/nonexistent-dir/x.hpgl", GWS_HPGL), -1);
  EXPECT_EQ(gchk_graphics(), 0);
  EXPECT_EQ(std::tuple(gps_close_file(), ghpgl_close_file()), std::tuple(-1, -1));
  gclose_gks();
}

TEST_F(PrintTest, SceneIsFramedForPclWithPensShadingAndPaths) {
  const std::string file = out_path("scene.hpgl");
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, file));
  int ox = 0, oy = 0;
  gget_win_offset(&ox, &oy);
  EXPECT_EQ(zor::test::win_size(), std::pair(10150, 7612));
  EXPECT_EQ(std::tuple(ox, oy), std::tuple(10, 10));
  zor::test::draw_scene();
  zor::test::close_ws();

  const std::string text = slurp(file);
  EXPECT_EQ(text.rfind(kEsc + "E" + kEsc + "%1B" + kEsc + "&l1O\nIN;SP1;PA;\nPW0.2;SV;LT;\n", 0), 0u);
  EXPECT_EQ(text.substr(text.size() - 13), "SP;PG;" + kEsc + "%0A" + kEsc + "E\n");
  EXPECT_GE(count_of(text, "IW "), 1);
  // The blue fill: grey level 0.8 / 2.7, printed as 70% shading.
  EXPECT_NE(text.find("FT10,70;\nPU"), std::string::npos);
  EXPECT_EQ(count_of(text, "PM1;PM2;FP;\n"), 1);
  EXPECT_NE(text.find("PW2.0;\n"), std::string::npos);  // line width 10 x base 0.2
  EXPECT_EQ(count_of(text, "LT2,5,1;\n"), 1);
  // Three plus markers of two strokes each, and the three glyphs of "ZOR".
  EXPECT_GE(count_of(text, "PU"), 1 + 5 + 6 + 3);
}

TEST_F(PrintTest, RepeatedAttributesAreWrittenOnceAndLongLinesAreBroken) {
  const std::string file = out_path("attrs.hpgl");
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, file + ",nopcl"));
  gset_line_colr_ind(505);
  for (int i = 0; i < 3; ++i) GPH_line(0.1f, 0.1f + 0.1f * i, 0.9f, 0.1f + 0.1f * i);
  gset_line_colr_ind(507);
  GPH_line(0.1f, 0.5f, 0.9f, 0.5f);
  gset_line_colr_ind(1);
  Gpt pts[25];
  for (int i = 0; i < 25; ++i) pts[i] = {0.1f + 0.03f * i, 0.6f + 0.001f * i};
  gpolyline(25, pts);
  zor::test::close_ws();

  const std::string text = slurp(file);
  EXPECT_EQ(text.rfind("IN;SP1;PA;\n", 0), 0u);  // no PCL wrapper
  EXPECT_EQ(count_of(text, kEsc), 0);
  EXPECT_EQ(count_of(text, "SV1,0;\n"), 1);
  EXPECT_EQ(count_of(text, "SV1,30;\n"), 1);
  EXPECT_EQ(count_of(text, "PW0.4;\n"), 1);  // 507 doubles the base width
  // 25 points: a break after points 10 and 20, and the closing one.
  const std::size_t start = text.rfind("PU");
  const std::string last = text.substr(start, text.find("SP;PG;") - start);
  EXPECT_EQ(count_of(last, "PD"), 24);
  EXPECT_EQ(count_of(last, "\n"), 3);
}

TEST_F(PrintTest, OptionsSetRollPaperRotationAndLaserJetWrapper) {
  setenv("zorhp_param", "roll=36", 1);
  const std::string file = out_path("roll.hpgl");
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, file + ",lj,rot=180,lwidth=0.5"));
  EXPECT_EQ(zor::test::win_size(), std::pair(static_cast<int>(35.5f * 1015.0f), static_cast<int>(23.0f * 1015.0f)));
  zor::test::close_ws();
  unsetenv("zorhp_param");
  const std::string text = slurp(file);
  EXPECT_NE(text.find("IN;SP1;PA;\nRO90;\nRO180;\nPW0.5;SV;LT;\n"), std::string::npos);

  zor::gks::reset_hpgl();
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, out_path("a3.hpgl") + ",a3,port"));
  EXPECT_EQ(zor::test::win_size(),
            std::pair(static_cast<int>((16.54f - 0.5f) * 1015.0f), static_cast<int>((11.69f - 0.5f) * 1015.0f)));
  zor::test::close_ws();
  EXPECT_NE(slurp(out_path("a3.hpgl")).find("PA;\nRO90;\nPW"), std::string::npos);
}

TEST_F(PrintTest, AppendingSkipsFramingButSetsThePen) {
  const std::string file = out_path("append.hpgl");
  std::remove(file.c_str());
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, file));
  GPH_line(0.1f, 0.1f, 0.9f, 0.1f);
  zor::test::close_ws();
  const std::size_t first = slurp(file).size();

  zor::gks::reset_hpgl();
  ASSERT_TRUE(zor::test::open_ws(GWS_HPGL, "+" + file));
  GPH_line(0.1f, 0.2f, 0.9f, 0.2f);
  zor::test::close_ws();
  const std::string added = slurp(file).substr(first);
  EXPECT_EQ(added.rfind("PW0.2;SV;LT;\n", 0), 0u);
  EXPECT_EQ(std::tuple(count_of(added, "IN;"), count_of(added, "PG;"), count_of(added, "PD")), std::tuple(0, 0, 1));
}

TEST_F(PrintTest, TextMetafileHasItsHeaderAndOneRecordPerCall) {
  const std::string file = out_path("scene.meta");
  write_scene(file);
  const std::string text = slurp(file);
  EXPECT_EQ(text.rfind("ZORMETA\n#Title: ZOR Graphics Display: radar test\n#Creator: ZOR Metafile Processor-1.0\n"
                       "#CreationDate: Tue Nov 14 22:13:20 2023\n", 0), 0u);
  for (const char* want : {"CLR 1 40 1.000000 0.000000 0.000000\n", "PL 2 0.500000,0.200000 0.900000,0.200000 \n",
                           "TE 0.100000,0.550000 ZOR\n", "PM 3 ", "FA 5 "})
    EXPECT_NE(text.find(want), std::string::npos) << want;
}

// Read back onto a second metafile the records come out the same; onto
// PostScript, the primitives are drawn in the colours the CLR records bring.
TEST_F(PrintTest, ReadingBackReproducesTheRecordsOrDrawsThePrimitives) {
  const std::string first = out_path("first.meta"), second = out_path("second.meta"), ps = out_path("replay.ps");
  write_scene(first);
  for (const auto& [out, type] : {std::pair(second, GWS_META), std::pair(ps, GWS_PS)}) {
    zor::gks::reset_color_model();
    zor::clr::reset();
    ASSERT_EQ(gopen_gks(nullptr, 0), 0);
    ASSERT_EQ(gopen_ws(1, out.c_str(), type), 0);
    EXPECT_EQ(gread_metafile(first.c_str()), 0);
    zor::test::close_ws();
  }
  const auto a = records(first);
  ASSERT_GT(a.size(), 20u);
  EXPECT_EQ(a, records(second));
  const std::string text = slurp(ps);
  EXPECT_EQ(std::tuple(count_of(text, "%%FA: "), count_of(text, "%%PM: 3"), count_of(text, "%%TE: 0.100000 0.550000 ZOR")),
            std::tuple(1, 1, 1));
  EXPECT_GE(count_of(text, "%%PL: "), 3);
  EXPECT_NE(text.find("0.296 setgray\nfill\n"), std::string::npos);
}

TEST_F(PrintTest, BadOrMissingInputEndsTheReadCleanly) {
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  const std::string out = out_path("bad_replay.meta");
  ASSERT_EQ(gopen_ws(1, out.c_str(), GWS_META), 0);
  EXPECT_EQ(gread_metafile("/nonexistent/none.meta"), 0);
  EXPECT_EQ(gread_metafile(data("bad_points.meta").c_str()), 0);
  EXPECT_EQ(gread_metafile(data("unknown_records.meta").c_str()), 0);
  zor::test::close_ws();
  const auto rec = records(out);
  // The records before the damaged one and the known ones among strangers.
  const std::vector<std::string> want = {"PL_CLR 3",
                                         "PL 2 0.100000,0.100000 0.200000,0.200000 ",
                                         "PL_TYPE 2",
                                         "PL 2 0.300000,0.300000 0.400000,0.400000 "};
  EXPECT_EQ(rec, want);
}

using zor::test::cgm_elements;

int word(const std::vector<std::uint8_t>& p, std::size_t i) {
  return static_cast<std::int16_t>((p[2 * i] << 8) | p[2 * i + 1]);
}

TEST_F(PrintTest, BinaryCgmHasHeaderPictureAndPolylines) {
  const std::string file = out_path("lines.cgm");
  ASSERT_TRUE(zor::test::open_ws(GWS_META, file + ",cgm"));
  EXPECT_EQ(gmeta_get_type(), 1);
  gset_linetype(2);
  GPH_line(0.1f, 0.2f, 0.9f, 0.2f);
  const int x0 = static_cast<int>(std::trunc(xW_ps(0.1f) * 10.0f));
  const int y0 = static_cast<int>(std::trunc(yW_ps(0.2f) * 10.0f));
  const int x1 = static_cast<int>(std::trunc(xW_ps(0.9f) * 10.0f));
  Gpt many[3000];
  for (int i = 0; i < 3000; ++i) many[i] = {0.1f + 0.0002f * i, 0.5f};
  gpolyline(3000, many);
  // A fill after the lines (written as a polygon).
  GPH_frect(0.1f, 0.1f, 0.2f, 0.2f);
  zor::test::close_ws();

  const auto els = cgm_elements(slurp(file));
  ASSERT_GE(els.size(), 12u);
  const int head[8][2] = {{0, 1}, {1, 1}, {1, 2}, {1, 11}, {1, 9}, {2, 6}, {0, 3}, {0, 4}};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(std::tuple(els[i].cls, els[i].id), std::tuple(head[i][0], head[i][1])) << i;
  EXPECT_EQ(word(els[1].params, 0), 1);
  EXPECT_EQ(std::string(els[2].params.begin() + 1, els[2].params.begin() + 11), "ZORCGM-1.0");
  EXPECT_EQ(std::tuple(word(els[5].params, 2), word(els[5].params, 3)), std::tuple(10000, 8000));
  EXPECT_EQ(std::tuple(els[els.size() - 2].cls, els[els.size() - 2].id), std::tuple(0, 5));  // END PICTURE
  EXPECT_EQ(els.back().id, 2);           // END METAFILE

  std::vector<const zor::test::CgmElement*> lines;
  int clips = 0, types = 0;
  for (const auto& e : els) {
    if (e.cls == 4 && e.id == 1) lines.push_back(&e);
    if (e.cls == 3 && e.id == 5) ++clips;
    if (e.cls == 5 && e.id == 2) ++types;
  }
  EXPECT_GE(clips, 1);
  EXPECT_EQ(types, 1);
  ASSERT_EQ(lines.size(), 2u);
  ASSERT_EQ(lines[0]->params.size(), 8u);
  EXPECT_EQ(std::tuple(word(lines[0]->params, 0), word(lines[0]->params, 1), word(lines[0]->params, 2)),
            std::tuple(x0, y0, x1));
  EXPECT_EQ(lines[1]->params.size(), 3000u * 4u);  // long form, every point kept
}

TEST_F(PrintTest, AppendedCgmGetsNoSecondHeaderAndNoEndPicture) {
  const std::string file = out_path("append.cgm");
  std::remove(file.c_str());
  ASSERT_TRUE(zor::test::open_ws(GWS_META, file + ",cgm"));
  GPH_line(0.1f, 0.2f, 0.9f, 0.2f);
  zor::test::close_ws();
  const std::size_t first = slurp(file).size();

  zor::gks::reset_meta();
  ASSERT_TRUE(zor::test::open_ws(GWS_META, "+" + file + ",cgm"));
  GPH_line(0.1f, 0.3f, 0.9f, 0.3f);
  zor::test::close_ws();
  const auto added = cgm_elements(slurp(file).substr(first));
  ASSERT_FALSE(added.empty());
  int polylines = 0;
  for (const auto& e : added) {
    EXPECT_FALSE(e.cls == 0) << "picture or metafile delimiter " << e.id << " in the appended part";
    polylines += e.cls == 4 && e.id == 1;
  }
  EXPECT_EQ(polylines, 1);
}

// Grey levels as written are checked in the scene above; here the reverse.
TEST(PsGrey, ReverseTurnsTheLevelsRound) {
  zor::gks::reset_ps();
  gps_set_reverse(1);
  gps_set_color_rep(5, 0.0f, 0.0f, 1.0f);
  EXPECT_NEAR(gps_get_gray(5), 1.0f - 0.8f / 2.7f, 1e-6);
  EXPECT_EQ(gps_set_color_rep(300, 1, 1, 1), -1);
  zor::gks::reset_ps();
}

// ----- the colour model behind the print shades -----

class ColourModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::reset_devices();
    gset_background("");
  }
  void TearDown() override {
    if (gchk_graphics()) zor::test::close_ws();
    zor::gks::unregister_device(GWS_WINDOW);
    gset_background("");
    gset_inverse(0);
    zor::gks::reset_color_model();
  }

  // A display stand-in: realises index i as pixel i.
  static void open_display() {
    zor::gks::use_recording_device(GWS_WINDOW);
    ASSERT_EQ(gopen_gks(nullptr, 0), 0);
    ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
  }
  static bool cleared() {
    for (const auto& c : zor::gks::last_recording_device()->calls())
      if (c.op == zor::gks::RecordedCall::Op::clear) return true;
    return false;
  }
  static void define(int ind, float r, float g, float b) {
    const Gcolr_rep c{r, g, b};
    ASSERT_EQ(gset_colr_rep(1, ind, &c), 0);
  }
};

TEST_F(ColourModelTest, IndicesAreCheckedAndReservedShadesAreFixed) {
  const Gcolr_rep grey{0.5f, 0.5f, 0.5f};
  EXPECT_EQ(gset_colr_rep(1, 3, &grey), -1);  // nothing open
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("colours.ps")));
  for (int bad : {257, -2, 499}) EXPECT_EQ(gset_colr_rep(1, bad, &grey), -1) << bad;
  EXPECT_EQ(gset_colr_rep(1, 503, &grey), 0);
  float r = 0, g = 0, b = 0;
  gget_color_rgb(503, &r, &g, &b);
  EXPECT_FLOAT_EQ(r + g + b, 3.0f);  // still white
  EXPECT_EQ(std::tuple(gis_valid_colr(508), gis_valid_colr(509)), std::tuple(1, 0));
  // Paper is white; index 256 (and -1) is the background and can be redefined.
  gget_color_rgb(-1, &r, &g, &b);
  EXPECT_FLOAT_EQ(r, 1.0f);
  define(256, 0.5f, 0.5f, 0.5f);
  gget_color_rgb(-1, &r, &g, &b);
  EXPECT_FLOAT_EQ(g, 0.5f);
  int r8 = 0, g8 = 0, b8 = 0;
  gget_color_rgb256(256, &r8, &g8, &b8);
  EXPECT_EQ(g8, 127);
  // Print devices keep fractions only: the index is defined without a pixel.
  EXPECT_EQ(gget_color_ind(1), -2);
  EXPECT_NEAR(gps_get_gray(256), 0.5f * 2.7f / 2.7f, 1e-6);
}

TEST_F(ColourModelTest, NearnessIsASumOfAbsoluteDifferencesBelowOnePercent) {
  ASSERT_TRUE(zor::test::open_ws(GWS_PS, out_path("near.ps")));
  ASSERT_STREQ(CLR_get_name(0), "black");
  EXPECT_EQ(std::tuple(gis_color_near(0, 0.004f, 0.004f, 0.0f, 0), gis_color_near(0, 0.005f, 0.005f, 0.0f, 0),
                       gis_color_near(-1, 1.0f, 1.0f, 1.0f, 0), gis_color_near(600, 0.0f, 0.0f, 0.0f, 0)),
            std::tuple(1, 0, 0, 0));
}

TEST_F(ColourModelTest, AllocatingAnyIndexReusesTheHighestMatchOrTakesTheNext) {
  open_display();
  define(2, 1.0f, 0.0f, 0.0f);
  define(3, 1.0f, 0.0f, 0.004f);
  define(5, 0.0f, 0.0f, 1.0f);
  EXPECT_EQ(std::tuple(gget_color_ind(5), gget_max_colr()), std::tuple(5, 5));
  EXPECT_EQ(galloc_colr(-1, 1.0f, 0.0f, 0.0f), 3);  // 2 and 3 match: the higher one
  EXPECT_EQ(gget_max_colr(), 5);
  EXPECT_EQ(galloc_colr(-1, 0.3f, 0.3f, 0.3f), 6);  // no match: a new index
  EXPECT_EQ(gget_max_colr(), 6);
  // By pixel value; no index has pixel 77.
  EXPECT_EQ(std::tuple(gis_color_near(3, 1.0f, 0.0f, 0.0f, 1), gis_color_near(77, 1.0f, 0.0f, 0.0f, 1)), std::tuple(1, 0));
  // Redefinition takes effect for later drawing.
  define(2, 0.0f, 1.0f, 0.0f);
  float r = 0, g = 0, b = 0;
  gget_color_rgb(2, &r, &g, &b);
  EXPECT_FLOAT_EQ(g, 1.0f);
  EXPECT_EQ(gget_color_ind(2), 2);
}

TEST_F(ColourModelTest, DisplayBackgroundComesFromTheNameOrInverseAndClears) {
  CLR_read_table(nullptr);
  gset_background("lgray");
  open_display();
  float r = 0, g = 0, b = 0;
  gget_color_rgb(-1, &r, &g, &b);
  EXPECT_FLOAT_EQ(r, 0.75f);
  EXPECT_EQ(gget_back_color(), 256);
  EXPECT_TRUE(cleared());
  zor::test::close_ws();

  gset_background("NONE");
  gset_inverse(1);
  open_display();
  gget_color_rgb(-1, &r, &g, &b);
  EXPECT_FLOAT_EQ(b, 1.0f);  // inverse: white
  EXPECT_FALSE(cleared());
}

}  // namespace
