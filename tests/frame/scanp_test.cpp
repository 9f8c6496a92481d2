#include "zor/scanp.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

// What a format stores.
struct Out {
  int i[3] = {0, 0, 0};
  char w[8] = {};
  char id[4] = {};
  char c = 0;
  float f = 0.0f;
};

// One format tried on one text: the conversions matched, whether the format
// matched to its end, where the cursor lands after scanp_inc, and the values.
struct Case {
  const char* text;
  const char* format;
  int (*call)(Scanp* p, const char* fmt, Out& o);
  int n;
  bool whole;
  int end;
  Out want;
};

int none(Scanp* p, const char* fmt, Out&) { return scanp(p, fmt); }
int one_int(Scanp* p, const char* fmt, Out& o) { return scanp(p, fmt, &o.i[0]); }
int two_ints(Scanp* p, const char* fmt, Out& o) { return scanp(p, fmt, &o.i[0], &o.i[1]); }
int int_word(Scanp* p, const char* fmt, Out& o) { return scanp(p, fmt, &o.i[0], o.w); }
int word(Scanp* p, const char* fmt, Out& o) { return scanp(p, fmt, o.w); }
int storm(Scanp* p, const char* fmt, Out& o) { return scanp(p, fmt, o.id, o.w, &o.i[0], &o.i[1]); }
int vad(Scanp* p, const char* fmt, Out& o) { return scanp(p, fmt, &o.i[0], &o.c, &o.i[1], &o.i[2]); }
int top(Scanp* p, const char* fmt, Out& o) { return scanp(p, fmt, &o.i[0], &o.c); }
int real(Scanp* p, const char* fmt, Out& o) { return scanp(p, fmt, &o.f); }

const Case kCases[] = {
    {"1234 ROBUU 0320   /NEXRAA", "%*d %*s %*d ", none, 3, true, 18, {}},
    {"/NEXRAA 0320", "%*(/NEXRAA) ", none, 1, true, 8, {}}, {"/NEXRBB 0320", "%*(/NEXRAA) ", none, 0, false, 0, {}},
    {"UNEDITED /MD", "%*(EDITED|UNEDITED) ", none, 1, true, 9, {}},
    {"EDITED /MD", "%*(EDITED|UNEDITED) ", none, 1, true, 7, {}},
    {"0201150217 U", "%2D%2D", two_ints, 2, true, 4, {.i = {2, 1}}}, {"0 201", "%2D", one_int, 0, false, 0, {}},
    {"/NI1003:  HMN", "%*(/NI)%d: ", one_int, 2, true, 10, {.i = {1003}}},
    {"/NI1003 HMN", "%*(/NI)%d: ", one_int, 2, false, 7, {.i = {1003}}},
    {"/MT330:GOL ", "%*(/MT)%d:%3s ", int_word, 3, true, 11, {.i = {330}, .w = "GOL"}},
    {"CM4LOB 260051, CZ", "%*(C)%2s%3s %3d%3d, ", storm, 5, true, 15, {.i = {260, 51}, .w = "LOB", .id = "M4"}},
    {"010C075013,030A", "%d%c%3d%3d, ", vad, 4, true, 11, {.i = {10, 75, 13}, .c = 'C'}},
    {"S089HN,", "%*(S)%3d%*(H)%c, ", top, 4, true, 7, {.i = {89}, .c = 'N'}},
    {"01  33.172", "%*2D%8F", real, 2, true, 10, {.f = 33.172f}},
    {"01  33.1x2", "%*2D%8F", real, 1, false, 2, {}},
    {"/MDCLAR /SC", "%*(/MD)%4s ", word, 2, true, 8, {.w = "CLAR"}},
    {"", "%d", one_int, 0, false, 0, {}},
    {"abc", "%*(abcd)", none, 0, false, 0, {}},
};

TEST(Scanp, FormatsMatchAsTheCodedTextUsesThem) {
  for (const auto& c : kCases) {
    SCOPED_TRACE(std::string(c.format) + " on \"" + c.text + "\"");
    Scanp p;
    scanp_set(&p, c.text);
    Out o;
    EXPECT_EQ(c.call(&p, c.format, o), c.n);
    EXPECT_EQ(p.whole, c.whole);
    EXPECT_EQ(p.pos, 0u) << "scanp does not move the cursor";
    scanp_inc(&p);
    EXPECT_EQ(static_cast<int>(p.pos), c.end);
    if (!c.whole) continue;
    auto values = [](const Out& v) {
      return std::tuple(v.i[0], v.i[1], v.i[2], std::string(v.w), std::string(v.id), v.c, v.f);
    };
    EXPECT_EQ(values(o), values(c.want));
  }
}

TEST(Scanp, CursorMovesAndStopsAtTheEnd) {
  Scanp p;
  scanp_set(&p, "JLK12C,");
  EXPECT_EQ(scanp_char(&p, 0), 'J');
  scanp_inc_off(&p, 3);
  EXPECT_STREQ(scanp_str(&p), "12C,");
  scanp_inc_off(&p, 100);
  EXPECT_EQ(scanp_char(&p, 0), 0);
  EXPECT_STREQ(scanp_str(&p), "");
  EXPECT_EQ(zor::scanp::conversions("%*(C)%2s%3s %3d%3d, "), 5);
  EXPECT_EQ(zor::scanp::conversions("100%% %d"), 1);
}

}  // namespace
