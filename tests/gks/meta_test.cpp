// The text metafile written through the kernel and read back onto a second
// metafile and onto PostScript; the binary CGM walked element by element.
#include <cmath>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "print_test_util.h"
#include "print_checks.h"

namespace {

using zor::test::count_of;
using zor::test::lines_of;
using zor::test::out_path;
using zor::test::slurp;

std::string data(const std::string& name) { return std::string(ZOR_TEST_DATA_DIR) + "/meta/" + name; }

class MetaTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::test::reset_devices();
    unsetenv("zormeta_out");
    gset_win_title("radar test");
  }
  void TearDown() override {
    if (gchk_graphics()) zor::test::close_ws();
    zor::gks::clear_fixed_time();
  }

  // The scene plus a nine-point polyline (continued over three lines), as a
  // text metafile.
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

TEST_F(MetaTest, TextMetafileHasItsHeaderAndOneRecordPerCall) {
  const std::string file = out_path("scene.meta");
  write_scene(file);
  const std::string text = slurp(file);
  EXPECT_EQ(text.rfind("ZORMETA\n#Title: ZOR Graphics Display: radar test\n#Creator: ZOR Metafile Processor-1.0\n"
                       "#CreationDate: Tue Nov 14 22:13:20 2023\n", 0), 0u);
  EXPECT_NE(text.find("CLR 1 40 1.000000 0.000000 0.000000\n"), std::string::npos);
  EXPECT_NE(text.find("PL 2 0.500000,0.200000 0.900000,0.200000 \n"), std::string::npos);
  EXPECT_NE(text.find("TE 0.100000,0.550000 ZOR\n"), std::string::npos);
  EXPECT_NE(text.find("PM 3 "), std::string::npos);
  EXPECT_NE(text.find("FA 5 "), std::string::npos);
}

TEST_F(MetaTest, ReadingBackOntoASecondMetafileReproducesTheRecords) {
  const std::string first = out_path("first.meta");
  const std::string second = out_path("second.meta");
  write_scene(first);

  zor::gks::reset_color_model();
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  ASSERT_EQ(gopen_ws(1, second.c_str(), GWS_META), 0);
  EXPECT_EQ(gread_metafile(first.c_str()), 0);
  zor::test::close_ws();

  const auto a = records(first);
  const auto b = records(second);
  ASSERT_GT(a.size(), 20u);
  EXPECT_EQ(a, b);
}

TEST_F(MetaTest, ReadingBackOntoPostScriptDrawsThePrimitives) {
  const std::string meta = out_path("replay.meta");
  write_scene(meta);
  zor::gks::reset_color_model();
  zor::clr::reset();
  const std::string ps = out_path("replay.ps");
  ASSERT_EQ(gopen_gks(nullptr, 0), 0);
  ASSERT_EQ(gopen_ws(1, ps.c_str(), GWS_PS), 0);
  gread_metafile(meta.c_str());
  zor::test::close_ws();
  const std::string text = slurp(ps);
  EXPECT_EQ(count_of(text, "%%FA: "), 1);
  EXPECT_EQ(count_of(text, "%%PM: 3"), 1);
  EXPECT_EQ(count_of(text, "%%TE: 0.100000 0.550000 ZOR"), 1);
  EXPECT_GE(count_of(text, "%%PL: "), 3);
  EXPECT_NE(text.find("0.296 setgray\nfill\n"), std::string::npos);  // the colour came with the CLR record
}

TEST_F(MetaTest, BadOrMissingInputEndsTheReadCleanly) {
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

// ----- binary CGM -----

using Element = zor::test::CgmElement;
const auto elements = [](const std::string& bytes) { return zor::test::cgm_elements(bytes); };

int word(const std::vector<std::uint8_t>& p, std::size_t i) {
  return static_cast<std::int16_t>((p[2 * i] << 8) | p[2 * i + 1]);
}

TEST_F(MetaTest, BinaryCgmHasHeaderPictureAndPolylines) {
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

  const auto els = elements(slurp(file));
  ASSERT_GE(els.size(), 12u);
  const int head[8][2] = {{0, 1}, {1, 1}, {1, 2}, {1, 11}, {1, 9}, {2, 6}, {0, 3}, {0, 4}};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(std::tuple(els[i].cls, els[i].id), std::tuple(head[i][0], head[i][1])) << i;
  EXPECT_EQ(word(els[1].params, 0), 1);
  EXPECT_EQ(std::string(els[2].params.begin() + 1, els[2].params.begin() + 11), "ZORCGM-1.0");
  EXPECT_EQ(std::tuple(word(els[5].params, 2), word(els[5].params, 3)), std::tuple(10000, 8000));
  EXPECT_EQ(std::tuple(els[els.size() - 2].cls, els[els.size() - 2].id), std::tuple(0, 5));  // END PICTURE
  EXPECT_EQ(els.back().id, 2);           // END METAFILE

  std::vector<const Element*> lines;
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

TEST_F(MetaTest, AppendedCgmGetsNoSecondHeaderAndNoEndPicture) {
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
  const auto added = elements(slurp(file).substr(first));
  ASSERT_FALSE(added.empty());
  int polylines = 0;
  for (const auto& e : added) {
    EXPECT_FALSE(e.cls == 0) << "picture or metafile delimiter " << e.id << " in the appended part";
    polylines += e.cls == 4 && e.id == 1;
  }
  EXPECT_EQ(polylines, 1);
}

}  // namespace
