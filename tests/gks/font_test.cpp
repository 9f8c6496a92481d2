// Stroke fonts: the bundled font files and list, the font file reader on bad
// input, text extents, alignment, up vector and drop shadow as drawn.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "../common/files.h"
#include "device.h"
#include "gks_kernel.h"
#include "zor/data_dir.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"

using namespace zor::gks;

namespace {

using zor::test::slurp;

struct Box {
  float x_min = 1e9f, x_max = -1e9f, y_min = 1e9f, y_max = -1e9f;
  int strokes = 0;
};

class FontTest : public ::testing::Test {
 protected:
  void SetUp() override {
    RecordingDevice::Options o;  // 640 x 512 pixels
    use_recording_device(GWS_WINDOW, o);
    gopen_gks(nullptr, 0);
    ASSERT_EQ(gopen_ws(1, "", GWS_WINDOW), 0);
    dev = last_recording_device();
    // One world unit per pixel over the whole device, y upwards.
    const Glim ws{0.0f, 1.0f, 0.0f, 511.0f / 639.0f};
    gset_ws_win(1, &ws);
    const Glim win{0.0f, 639.0f, 0.0f, 511.0f};
    gset_win(1, &win);
    gset_vp(1, &ws);
    gsel_norm_tran(1);
    Gcolr_rep c{1, 1, 1};
    gset_colr_rep(1, 1, &c);
    gset_char_ht(105.0f);  // one font unit per world unit
    dev->clear_calls();
  }
  void TearDown() override {
    gclose_ws(1);
    gclose_gks();
    unregister_device(GWS_WINDOW);
    kernel().reset();
    reset_color_model();
  }
  // Device-space bounding box of everything the last text drew.
  Box drawn() const {
    Box b;
    for (const auto& c : dev->calls()) {
      if (c.op != RecordedCall::Op::stroke) continue;
      ++b.strokes;
      for (const auto& p : c.pts) {
        b.x_min = std::min(b.x_min, p.x), b.x_max = std::max(b.x_max, p.x), b.y_min = std::min(b.y_min, p.y);
        b.y_max = std::max(b.y_max, p.y);
      }
    }
    return b;
  }
  Box draw(const char* s, float x = 100.0f, float y = 200.0f) {
    dev->clear_calls();
    const Gpt p{x, y};
    EXPECT_EQ(gtext(&p, s), 0);
    return drawn();
  }
  RecordingDevice* dev = nullptr;
};

TEST(FontFiles, EveryListedFontLoads) {
  auto list = zor::find_data_file("zor.fnl");
  ASSERT_TRUE(list);
  std::istringstream in(slurp(*list));
  std::string abbr, name;
  int fonts = 0;
  while (in >> abbr >> name) {
    auto path = zor::find_data_file(name);
    ASSERT_TRUE(path) << name;
    FontState f;
    f.clear_glyphs();
    ASSERT_TRUE(parse_font(slurp(*path), f)) << name;
    EXPECT_EQ(f.size[' '], 40) << name;
    ++fonts;
  }
  EXPECT_GE(fonts, 4);
}

TEST(FontFiles, ModernFontHasPrintableAsciiInFontUnits) {
  auto path = zor::find_data_file("modern.fnt");
  ASSERT_TRUE(path);
  FontState f;
  f.clear_glyphs();
  ASSERT_TRUE(parse_font(slurp(*path), f));
  for (int c = 33; c < 127; ++c) EXPECT_GE(f.index[c], 0) << c;
  EXPECT_EQ(std::tuple(f.index[' '], f.index[200]), std::tuple(-1, -1));
  // Capital H: from the baseline (35) to the cap height (140).
  int y_min = 255, y_max = 0;
  for (std::size_t p = static_cast<std::size_t>(f.index['H']); f.db[p] != 255; p += 2) {
    y_min = std::min<int>(y_min, f.db[p + 1]);
    y_max = std::max<int>(y_max, f.db[p + 1]);
  }
  EXPECT_EQ(std::tuple(y_min, y_max), std::tuple(35, 140));
}

TEST(FontFiles, MalformedFontFilesAreRefused) {
  std::string index;
  for (int i = 0; i < 256; ++i) index += i == 65 ? "1 " : "-1 ";
  const std::string good = "255 10 35 20 140 254 " + index;
  FontState f;
  f.clear_glyphs();
  ASSERT_TRUE(parse_font(good, f));
  EXPECT_EQ(f.size['A'], 20);
  // The commented form: header words and a label after every 255.
  ASSERT_TRUE(parse_font("1 tiny 255 cA 10 35 20 140 254 " + index, f));
  EXPECT_EQ(f.index['A'], 1);

  std::string short_index;
  for (int i = 0; i < 200; ++i) short_index += "-1 ";
  std::string far_index = index;
  far_index.replace(far_index.find("1 "), 1, "99");
  const struct {
    const char* name;
    std::string text;
  } bad[] = {
      {"empty", ""},
      {"no terminator", "255 10 35 20 140"},
      {"short index", "255 10 35 20 140 254 " + short_index},
      {"index past data", "255 10 35 20 140 254 " + far_index},
      {"byte out of range", "255 10 35 300 140 254 " + index},
      {"not a number", "255 10 x 20 140 254 " + index},
      {"odd stroke data", "255 10 35 20 254 " + index},
  };
  for (const auto& b : bad) {
    FontState g;
    g.clear_glyphs();
    EXPECT_FALSE(parse_font(b.text, g)) << b.name;
    EXPECT_TRUE(g.db.empty()) << b.name;
  }
}

TEST_F(FontTest, ExtentFollowsAdvancesSpacingAndExpansion) {
  const auto& f = kernel().font;
  ASSERT_FALSE(f.db.empty());
  const int a = f.size['A'], b = f.size['B'];
  float w = 0, h = 0;
  ASSERT_EQ(ginq_text_extent("AB", &w, &h), 0);
  EXPECT_FLOAT_EQ(w, static_cast<float>(a + 25 + b));
  EXPECT_FLOAT_EQ(h, 105.0f);
  gset_expan(1.5f);
  ginq_text_extent("AB", &w, &h);
  EXPECT_FLOAT_EQ(w, std::trunc(static_cast<float>(a + 25 + b) * 1.5f));
  // Fixed pitch: every character but the last takes (25 + 100) * pitch.
  gset_expan(1.0f);
  gset_char_space(0.8f);
  ginq_text_extent("ABC", &w, &h);
  EXPECT_FLOAT_EQ(w, 2 * 100.0f + 80.0f);
}

TEST_F(FontTest, HorizontalAlignmentShiftsByTheWidth) {
  const auto& f = kernel().font;
  const int a = f.size['A'], b = f.size['B'];
  const int width = a + 25 + b;
  const Box left = draw("AB", 300.0f);
  ASSERT_GT(left.strokes, 0);
  GPH_text_align(GCENTER_HOR, GNORMAL_VERT);
  const Box centre = draw("AB", 300.0f);
  GPH_text_align(GRIGHT_HOR, GNORMAL_VERT);
  const Box right = draw("AB", 300.0f);
  EXPECT_FLOAT_EQ(left.x_min - centre.x_min, static_cast<float>(width / 2));
  EXPECT_FLOAT_EQ(left.x_min - right.x_min, static_cast<float>(width));
  // Left aligned text starts at its position ('A' has ink at x 0).
  EXPECT_FLOAT_EQ(left.x_min, 300.0f);
}

TEST_F(FontTest, VerticalAlignmentMovesTheBaseline) {
  // Normal alignment puts the baseline (font y 35) on the position: the
  // bottom of 'H' is at world y 200, pixel row 511 - 200.
  const Box base = draw("H");
  EXPECT_FLOAT_EQ(base.y_max, 311.0f);
  EXPECT_FLOAT_EQ(base.y_min, 311.0f - 105.0f);
  GPH_text_align(GNORMAL_HOR, GCAP_VERT);  // cap line on the position
  const Box cap = draw("H");
  EXPECT_FLOAT_EQ(cap.y_min, 311.0f);
  GPH_text_align(GNORMAL_HOR, GBOTTOM_VERT);  // descender line on it
  const Box bottom = draw("H");
  EXPECT_FLOAT_EQ(bottom.y_max, 311.0f - 35.0f);
}

TEST_F(FontTest, UpVectorRotatesTheText) {
  const Box flat = draw("HHHH");
  GPH_text_rotate(90.0f);  // up to the right: the text runs downwards
  const Box turned = draw("HHHH", 100.0f, 450.0f);
  EXPECT_NEAR(turned.x_max - turned.x_min, flat.y_max - flat.y_min, 1.0f);
  EXPECT_NEAR(turned.y_max - turned.y_min, flat.x_max - flat.x_min, 1.0f);
  EXPECT_NEAR(turned.y_min, 61.0f, 1.0f);  // starts at the position, going down
  EXPECT_FLOAT_EQ(turned.x_min, 100.0f);       // the baseline runs through it,
  EXPECT_FLOAT_EQ(turned.x_max, 205.0f);       // the capitals stand to its right
}

TEST_F(FontTest, LongStrokesAreSplitForTheDisplay) {
  // A glyph of one 40-point stroke: sent as 30 points, then the remaining
  // 10 continuing from the last point sent.
  std::string text = "255 128 35";
  for (int i = 1; i < 40; ++i) text += " " + std::to_string(i) + " " + std::to_string(35 + i);
  text += " 254";
  for (int c = 0; c < 256; ++c) text += c == 'Z' ? " 1" : " -1";
  ASSERT_TRUE(parse_font(text, kernel().font));
  draw("Z");
  std::vector<std::size_t> sizes;
  for (const auto& c : dev->calls()) {
    if (c.op == RecordedCall::Op::stroke) sizes.push_back(c.pts.size());
  }
  EXPECT_EQ(sizes, (std::vector<std::size_t>{30, 11}));
}

TEST_F(FontTest, TextOutsideTheViewportIsClipped) {
  const Box b = draw("WWWWWWWWWWWWWWWW", 600.0f, 200.0f);
  ASSERT_GT(b.strokes, 0);
  EXPECT_LE(b.x_max, 639.0f);
  EXPECT_GE(b.x_min, 600.0f);
}

TEST_F(FontTest, FontListSelectionAndErrors) {
  EXPECT_EQ(std::tuple(gget_font_index("rom"), gget_font_index("ROM"), gget_font_index("3"), gget_font_index("nosuch")),
            std::tuple(2, 2, 3, 1));
  const std::size_t modern_size = kernel().font.db.size();
  Gfontprec fp{2, GSTROKE_PREC};
  ASSERT_EQ(gset_fontprec(&fp), 0);
  EXPECT_NE(kernel().font.db.size(), modern_size);
  ::testing::internal::CaptureStderr();
  fp.font = 99;
  EXPECT_EQ(gset_fontprec(&fp), -1);
  std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("gset_fontprec: invalid font id: 99\n"), std::string::npos);

  // A comma-separated list replaces zor.fnl.
  gset_font_list("roman.fnt,modern.fnt");
  ASSERT_EQ(gsetup_fonts(), 0);
  EXPECT_EQ(kernel().font.fonts.size(), 2u);
  ::testing::internal::CaptureStderr();
  gset_font_list("fi:no_such_list");
  gsetup_fonts();
  err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("gsetup_fonts: unable to load font list file: no_such_list\n"), std::string::npos);
}

TEST_F(FontTest, MissingFontDrawsNothingButBlanksAdvance) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(read_font("nosuch.fnt"), -1);
  std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("read_font: unable to load font file: nosuch.fnt\n"), std::string::npos);
  const Box b = draw("A B");
  EXPECT_EQ(b.strokes, 0);
  EXPECT_EQ(kernel().font.size[' '], 40);
  // A device without its own fonts refuses "#" names.
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(read_font("#fixed"), -1);
  err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("read_font: unable to load font: fixed\n"), std::string::npos);
}

// The converter on a two-glyph Hershey file whose second record continues
// on a second line: a blank and a capital A.
TEST(Hershey2Fnt, ConvertsGlyphsIntoFontUnits) {
  const std::string dir = zor::test::scratch_dir().path().string();
  const std::string jhf = dir + "/tiny.jhf", fnt = dir + "/tiny.fnt";
  zor::test::write_file(jhf, "12345  1JZ\n  501  9H\\RFJ[ RRF\nZ[ RMTWT\n");
  const std::string cmd = std::string(HERSHEY2FNT) + " " + jhf + " " + fnt + " tiny";
  ASSERT_EQ(std::system(cmd.c_str()), 0);
  FontState f;
  f.clear_glyphs();
  ASSERT_TRUE(parse_font(slurp(fnt), f));
  EXPECT_EQ(f.index[' '], -1);  // a blank has no strokes
  ASSERT_GE(f.index['!'], 0);   // the second record stands for '!'
  // Apex (R,F) is a move to x 40, y 140 (cap height); J[ a line to the
  // baseline at x 0; the crossbar (M,T)-(W,T) at y 70.
  const std::vector<int> expected = {168, 140, 0, 35, 168, 140, 80, 35, 143, 70, 65, 70, 255};
  std::vector<int> got;
  for (std::size_t p = static_cast<std::size_t>(f.index['!']); p < f.db.size(); ++p) {
    got.push_back(f.db[p]);
    if (f.db[p] == 255 && got.size() % 2 == 1) break;
  }
  EXPECT_EQ(got, expected);
  EXPECT_EQ(f.size['!'], 80);

  // A truncated record is refused.
  zor::test::write_file(jhf, "  501  9H\\RFJ[\n");
  EXPECT_NE(std::system((cmd + " 2>/dev/null").c_str()), 0);
}

}  // namespace
