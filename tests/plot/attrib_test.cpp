// Colour tables ("zor.clr" and friends), colour names, attribute strings, fill-pattern and marker names.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>
#include <utility>

#include "../common/expect.h"
#include "zor/attrib.h"
#include "zor/clr.h"
#include "zor/data_dir.h"
#include "zor/res.h"

namespace {

std::string data(const std::string& name) { return std::string(ZOR_TEST_DATA_DIR) + "/clr/" + name; }

struct Rgb {
  float r, g, b;
};

Rgb rgb(int ind) {
  Rgb c{};
  CLR_get_rgb(ind, &c.r, &c.g, &c.b);
  return c;
}

class ClrTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::clr::reset();
    RES_put("color_table", "");
  }
  void TearDown() override {
    RES_put("color_table", "");
    zor::clr::reset();
  }
};

TEST_F(ClrTest, EndLineSeparatesFillColoursOnlyWhenReadFromTheResource) {
  RES_put("color_table", data("fill_end.clr").c_str());
  ASSERT_EQ(CLR_read_table(nullptr), 0);
  EXPECT_EQ(std::pair(CLR_get_num(), CLR_get_num_fill()), std::pair(3, 2));
  EXPECT_STREQ(CLR_get_name(2), "red");

  zor::clr::reset();
  ASSERT_EQ(CLR_read_table(data("fill_end.clr").c_str()), 0);
  EXPECT_EQ(std::pair(CLR_get_num(), CLR_get_num_fill()), std::pair(3, 0));  // an explicit name: no fill count
  // A list continues the numbering and skips files it cannot read.
  zor::clr::reset();
  const std::string list = data("fill_end.clr") + ",/nonexistent/none.clr," + data("second.clr");
  RES_put("color_table", list.c_str());
  ASSERT_EQ(CLR_read_table(nullptr), 0);
  EXPECT_EQ(std::tuple(CLR_get_num(), CLR_get_num_fill(), CLR_get_ind("blue"), CLR_get_ind("cyan")),
            std::tuple(5, 2, 3, 4));
}

TEST_F(ClrTest, ReadsAllFourEntryFormsAndKeepsASlotForABadLine) {
  ASSERT_EQ(CLR_read_table(data("forms.clr").c_str()), 0);
  ASSERT_EQ(CLR_get_num(), 6);
  // Green's leading index is ignored; an unparsable line is an empty name, black.
  EXPECT_EQ(
      (std::vector<std::string>{CLR_get_name(0), CLR_get_name(1), CLR_get_name(2), CLR_get_name(3), CLR_get_name(4)}),
      (std::vector<std::string>{"red", "orange", "green", "navy", ""}));
  EXPECT_TRUE(zor::test::floats_eq({rgb(1).r, rgb(1).g, rgb(1).b, rgb(2).g, rgb(3).b, rgb(4).r + rgb(4).g + rgb(4).b},
                                   {1.0f, 165.0f / 255.0f, 0.0f, 1.0f, 128.0f / 255.0f, 0.0f}));
  // Names compare case-insensitively and the lowest index wins.
  EXPECT_EQ(std::pair(CLR_get_ind("RED"), CLR_get_ind("Orange")), std::pair(0, 1));
}

TEST_F(ClrTest, ColourNamesIndicesAndColourTexts) {
  ASSERT_EQ(CLR_read_table(data("fill_end.clr").c_str()), 0);
  const std::pair<const char*, int> cases[] = {
      {nullptr, -1}, {"", -1},      {"END", -2},   {"none", -1}, {"Off", -1},  {"back", -1},   {"pblk", 500},
      {"ptgry", 508}, {"white", 1}, {"12", 12},    {"200", 200}, {"purple", -1}, {"#12", -1}, {"#GG0000", -1},
  };
  for (const auto& [name, index] : cases) EXPECT_EQ(CLR_get_ind(name), index) << (name ? name : "(null)");
  // Indices past the end read the last entry; the table is bounded.
  EXPECT_FLOAT_EQ(rgb(999).r, 1.0f);
  EXPECT_STREQ(CLR_get_name(999), "red");
  // Hex and decimal colour texts add an entry once.
  const int hex = CLR_get_ind("#FF0000");
  ASSERT_EQ(hex, 3);
  EXPECT_STREQ(CLR_get_name(hex), "#FF0000");
  EXPECT_TRUE(zor::test::floats_eq({rgb(hex).r, rgb(hex).g}, {1.0f, 0.0f}));
  EXPECT_EQ(CLR_get_ind("#ff0000"), hex);  // found again, not added twice
  EXPECT_EQ(CLR_get_num(), 4);
  const int dec = CLR_get_ind("#000128255");
  ASSERT_EQ(dec, 4);
  EXPECT_TRUE(zor::test::floats_eq({rgb(dec).g, rgb(dec).b}, {128.0f / 255.0f, 1.0f}));
  EXPECT_EQ(CLR_get_ind("#000999000"), -1);  // components above 255 are refused
  for (int i = CLR_get_num(); i < CLR_MAX_COLORS; ++i) ASSERT_EQ(CLR_add("x", 0, 0, 0), i);
  EXPECT_EQ(CLR_add("one too many", 0, 0, 0), -1);
  EXPECT_EQ(CLR_get_num(), CLR_MAX_COLORS);
  CLR_clear_table();
  EXPECT_EQ(CLR_get_num(), 0);
}

class AttribTest : public ClrTest {
 protected:
  void SetUp() override {
    ClrTest::SetUp();
    ASSERT_EQ(CLR_read_table(nullptr), 0);
  }
};

TEST_F(AttribTest, ParsesColourAndFields) {
  const int yellow = CLR_get_ind("yellow");
  const int red = CLR_get_ind("red");
  const int blue = CLR_get_ind("blue");
  const std::pair<const char*, Gattribs> cases[] = {
      {"yellow:wi=2:st=dsh", {yellow, 2.0f, -9999.0f, -9999.0f, 2, -9999, -9999}},
      {"red:fM", {red, -9999.0f, -9999.0f, -9999.0f, -9999, -9999, -9999}},
      {"st=7", {-9999, -9999.0f, -9999.0f, -9999.0f, 7, -9999, -9999}},
      {"co=blue:sc=0.5:te=1.2:fo=3", {blue, -9999.0f, 0.5f, 1.2f, -9999, -9999, 3}},
      {":w3:s4:h0.2:e1.5:f9:t2", {-9999, 3.0f, 0.2f, 1.5f, 4, 9, 2}},
      // A first field without "=" is always a colour name.
      {"w3:s4", {-1, -9999.0f, -9999.0f, -9999.0f, 4, -9999, -9999}},
      {":wi=3:hi=0.1:st=lsdsh", {-9999, 3.0f, 0.1f, -9999.0f, 3, -9999, -9999}},
      {"none:fi=hat", {-1, -9999.0f, -9999.0f, -9999.0f, -9999, 9, -9999}},
      {"off:fp=//:st=LLSDSH", {-1, -9999.0f, -9999.0f, -9999.0f, 4, 7, -9999}},
      {"red:zz=4:q:wide:s", {red, -9999.0f, -9999.0f, -9999.0f, -9999, -9999, -9999}},
      {"st=dot:st=sol", {-9999, -9999.0f, -9999.0f, -9999.0f, 1, -9999, -9999}},
      {"", {-9999, -9999.0f, -9999.0f, -9999.0f, -9999, -9999, -9999}},
  };
  auto fields = [](const Gattribs& g) {
    return std::tuple(g.color, g.width, g.height, g.expan, g.style, g.fill_pat, g.font);
  };
  for (const auto& [text, want] : cases) {
    Gattribs a;
    ATTRIB_init(&a);
    ASSERT_EQ(ATTRIB_parse(text, &a), 0);
    EXPECT_EQ(fields(a), fields(want)) << text;
  }
}

TEST_F(AttribTest, FillMissingUpdateAndGet) {
  Gattribs a;
  ATTRIB_init(&a);
  ATTRIB_parse("red:f5", &a);
  EXPECT_EQ(a.fill_pat, 5);
  ATTRIB_parse("red:fM", &a);
  EXPECT_EQ(a.fill_pat, -9999);

  Gattribs base;
  ATTRIB_init(&base);
  ATTRIB_parse("white:wi=1:st=2:h0.3", &base);
  Gattribs over;
  ATTRIB_init(&over);
  ATTRIB_parse("co=blue:wi=4", &over);
  ATTRIB_update(&base, &over);
  EXPECT_EQ(std::tuple(base.color, base.width, base.style), std::tuple(CLR_get_ind("blue"), 4.0f, 2));
  EXPECT_FLOAT_EQ(base.height, 0.3f);

  // ATTRIB_get parses the default, then the resource over it.
  ATTRIB_init(&a);
  RES_put("color_text", "");
  EXPECT_EQ(ATTRIB_get("color_text", "white:wi=2", &a), 0);
  EXPECT_EQ(std::tuple(a.color, a.width), std::tuple(CLR_get_ind("white"), 2.0f));

  RES_put("color_text", "red:st=dsh");
  ATTRIB_init(&a);
  EXPECT_EQ(ATTRIB_get("color_text", "white:wi=2", &a), 1);
  EXPECT_EQ(std::tuple(a.color, a.width, a.style), std::tuple(CLR_get_ind("red"), 2.0f, 2));
  RES_put("color_text", "");
}

// Fill patterns by name, slant or percentage; markers match on the first letters in order.
TEST(AttrNames, FillPatternsAndMarkers) {
  const std::pair<const char*, int> fills[] = {
      {"SOL", 0}, {"lst", 4}, {"||", 5},  {"\\\\", 6}, {"hat", 9},  {"xx", 9},
      {"0%", 10}, {"9%", 19}, {"17", 17}, {"stx", 0},  {"bogus", 0},
  };
  for (const auto& [word, code] : fills) EXPECT_EQ(ATTR_parse_fill_pat(word), code) << word;
  const std::pair<const char*, int> markers[] = {
      {".", 1},  {"plus", 2}, {"circle", 4}, {"open", 4}, {"X", 5},  {"square", 6},
      {"^", 7},  {"itri", 9},  {"v", 9},      {"DOT", 8},  {"3", 3},  {"12", 12},
  };
  for (const auto& [word, code] : markers) EXPECT_EQ(ATTR_parse_marker(word), code) << word;
}

}  // namespace
