// Domain strings, region files, the region menu and domain printing.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <tuple>
#include <vector>

#include "../common/expect.h"
#include "../common/files.h"
#include "../frame/captured.h"
#include "zor/dom.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace {

namespace fs = std::filesystem;

constexpr float M = ZOR_MISSING_F;
const std::string kData = std::string(ZOR_TEST_DATA_DIR) + "/dom";

// Feeds text to standard input for the prompts, restoring it afterwards.
class StdinFeed {
 public:
  explicit StdinFeed(const std::string& text) {
    const std::string path = zor::test::scratch("dom_test_stdin.txt");
    std::ofstream(path) << text;
    const int fd = open(path.c_str(), O_RDONLY);
    swap_in(fd);
    close(fd);
  }
  ~StdinFeed() {
    swap_in(saved_);
    close(saved_);
  }
  StdinFeed(const StdinFeed&) = delete;
  StdinFeed& operator=(const StdinFeed&) = delete;

 private:
  static void swap_in(int fd) {
    __fpurge(stdin);
    dup2(fd, 0);
    clearerr(stdin);
    std::cin.clear();
  }
  int saved_ = dup(0);
};

using zor::test::stdout_of;

class DomTest : public testing::Test {
 protected:
  void SetUp() override {
    zor::dom::reset();
    for (const char* r : {"plot_domain", "region", "file_path", "stat_prior", "city_file"}) RES_put(r, "");
    FLAG_set_batch(0);
  }
  void TearDown() override { FLAG_set_batch(0); }
  std::string write_file(const std::string& name, const std::string& text) {
    const auto p = tmp_ / name;
    std::ofstream(p) << text;
    return p.string();
  }
  zor::test::TempDir dir_{"dom_test"};
  const fs::path& tmp_ = dir_.path();
};

struct DecodeCase {
  const char* str;
  int result;
  Domain expect;
};

Domain dom(int proj, float plat, float plon, float clat, float clon, int nx, int ny, float dx, float dy,
           std::vector<float> params = {}, int ellipse = 0) {
  Domain d{proj, plat, plon, {}, clat, clon, dx, dy, nx, ny, ellipse};
  for (size_t i = 0; i < 5; ++i) d.param[i] = i < params.size() ? params[i] : -9999.0f;
  return d;
}

void expect_domain(const Domain& got, const Domain& want, const std::string& what) {
  SCOPED_TRACE(what);
  EXPECT_EQ(std::tuple(got.proj, got.nx, got.ny, got.ellipse), std::tuple(want.proj, want.nx, want.ny, want.ellipse));
  auto floats = [](const Domain& d) {
    return std::vector<float>{d.plat,     d.plon,     d.clat,     d.clon,     d.dx,      d.dy,
                              d.param[0], d.param[1], d.param[2], d.param[3], d.param[4]};
  };
  EXPECT_TRUE(zor::test::floats_eq(floats(got), floats(want)));
}

TEST_F(DomTest, EveryDomainStringFormDecodes) {
  const Domain none;
  const DecodeCase cases[] = {
      // try 1 .. 13 by values
      {"ps,-105,40,-100,31,21,0.5,0.6", 1, dom(1, M, -105, 40, -100, 31, 21, 0.5f, 0.6f)},
      {"ps:60:-105,40,-100,25,17,1.2,1.2", 1, dom(1, 60, -105, 40, -100, 25, 17, 1.2f, 1.2f)},
      {"ll,40,-100,31,21,0.5,0.25", 1, dom(2, M, M, 40, -100, 31, 21, 0.5f, 0.25f)},
      {"lc,-100,40,-100,1.0,1.5", 1, dom(4, M, -100, 40, -100, 25, 17, 1.0f, 1.5f)},
      // six fields with a projection read as try 3 before try 4
      {"merc,10,20,31,21,0.5", 1, dom(3, M, 10, 20, 31, 25, 17, 21, 0.5f)},
      {"merc,10,20,31,21,0.5,0.5", 1, dom(3, M, M, 10, 20, 31, 21, 0.5f, 0.5f)},
      {"40,-100,31,21,0.5,0.6", 1, dom(1, M, M, 40, -100, 31, 21, 0.5f, 0.6f)},
      {"laz,40,-100,1.0,1.5", 1, dom(8, M, M, 40, -100, 25, 17, 1.0f, 1.5f)},
      {"40,-100,31,21,0.5", 1, dom(1, M, M, 40, -100, 31, 21, 0.5f, 0.5f)},
      {"sat:e,40,-100,0.5", 1, dom(9, M, M, 40, -100, 25, 17, 0.5f, 0.5f, {}, 1)},
      {"40,-100,31,21", 1, dom(1, M, M, 40, -100, 31, 21, 1.2f, 1.2f)},
      {"40,-100,2.0", 1, dom(1, M, M, 40, -100, 25, 17, 2.0f, 2.0f)},
      {"ps:-105,40,-100", 1, dom(1, M, -105, 40, -100, 25, 17, 1.2f, 1.2f)},
      {"zoom,40,-100", 1, dom(50, M, M, 40, -100, 25, 17, 1.0f, 1.0f)},
      {"size,640.7,480", 1, dom(51, M, M, M, M, 640, 480, M, M)},
      {"40,-100", 1, dom(1, M, M, 40, -100, 25, 17, 1.2f, 1.2f)},
      {"40,-100,", 1, dom(1, M, M, 40, -100, 25, 17, 1.2f, 1.2f)},
      {"id:DEN", 1, dom(1, M, M, 39.87f, -104.67f, 25, 17, 1.2f, 1.2f)},
      {"id:DEN,25,17,1.2,1.2", 1, dom(1, M, M, 39.87f, -104.67f, 25, 17, 1.2f, 1.2f)},
      // projection fields
      {"lamb:e:40:-100:30:60,40,-100", 1, dom(4, 40, -100, 40, -100, 25, 17, 1.2f, 1.2f, {30, 60}, 1)},
      {"lamb:40:-100::45,40,-100", 1, dom(4, 40, -100, 40, -100, 25, 17, 1.2f, 1.2f, {M, 45})},
      {"sat:e:0:-75:421.61:1,0,-75", 1, dom(9, 0, -75, 0, -75, 25, 17, 1.2f, 1.2f, {421.61f, 1}, 1)},
      {"size,640,480", 1, dom(51, M, M, M, M, 640, 480, M, M)},
      // "none" and "miss" as a first field leave only the template's defaults
      {"none", 1, dom(1, M, M, M, M, 25, 17, 1.2f, 1.2f)}, {"miss,1,2,3", 1, dom(-9999, M, M, M, M, 25, 17, M, M)},
      // named regions: the bundled file and the built-in table
      {"us", 2, dom(1, 39, -97, 39, -97, 25, 17, 2.3f, 2.3f)},
      {"NE", 2, dom(1, 42, -76, 42, -76, 25, 17, 0.9f, 0.9f)}, {"glob", 2, dom(2, M, M, 0, 0, 73, 37, 5, 5)},
      // empty and invalid
      {"", -9999, none}, {"miss", -9999, none}, {"bogus", -1, none}, {"foo,40,-100", -1, none}, {"40,abc", -1, none},
      {"ps:1:2:3:4:5:6:7,40,-100", -1, none}, {"id:NOSUCH", -1, none},
  };
  for (const auto& c : cases) {
    Domain d;
    EXPECT_EQ(DOM_decode(c.str, &d), c.result) << c.str;
    expect_domain(d, c.expect, c.str);
    EXPECT_EQ(FLAG_get(5), c.result) << c.str;
  }
}

TEST_F(DomTest, RegionFieldForms) {
  const std::string file = kData + "/regions.reg";
  Domain d;
  EXPECT_EQ(DOM_decode(("fi:" + file).c_str(), &d), 2);
  expect_domain(d, dom(1, 40, -100, 40, -100, 25, 17, 1.5f, 1.5f), "fi:");
  for (const auto& [entry, want] : {std::pair{":HID", dom(1, M, M, 45, -90, 31, 21, 0.5f, 0.5f)},
                                    {":cen", dom(4, 40, -100, 40, -100, 25, 17, 0.8f, 0.8f, {30, 60})}}) {
    EXPECT_EQ(DOM_decode((file + entry).c_str(), &d), 2);
    expect_domain(d, want, entry);
  }
  EXPECT_EQ(DOM_decode((file + ":nothere").c_str(), &d), -1);

  // "FILE:" loads that file as the region menu and leaves the domain missing.
  EXPECT_EQ(DOM_decode((file + ":").c_str(), &d), 2);
  expect_domain(d, Domain{}, "menu load");
  EXPECT_STREQ(zor::dom::region_menu()[1].abbr, "pl");

  // Station fields with a named city file.
  EXPECT_EQ(DOM_decode(("id:" + kData + "/sites.cty:OKC").c_str(), &d), 1);
  EXPECT_TRUE(zor::test::floats_eq({d.clat, d.clon}, {35.39f, -97.6f}));

  // Built-in regions when the region file is not found along file_path.
  RES_put("file_path", tmp_.c_str());
  write_file("zor.reg", "xx Local 1 30,-90\n");
  EXPECT_EQ(DOM_decode("xx", &d), 2);
  EXPECT_FLOAT_EQ(d.clat, 30);
  EXPECT_EQ(DOM_decode("us", &d), 2);
  expect_domain(d, dom(1, M, -97, 39, -97, 25, 17, 2.3f, 2.3f), "built-in us");
  EXPECT_EQ(FLAG_get(5), 2);

  // A region file entry that names itself cannot loop.
  write_file("zor.reg", "aa Loop 1 bb\nbb Loop 1 aa\n");
  EXPECT_EQ(DOM_decode("aa", &d), -1);
}

TEST_F(DomTest, ProjectionWordsAndFieldKinds) {
  // Prefixes of a name, any case; longer words and unknown ones are refused.
  const std::pair<const char*, int> words[] = {
      {"polarst", 1}, {"PS", 1},     {"lambaz", 4},    {"lc", 4},     {"laz", 8}, {"xp", 25},
      {"xpx", -1},    {"Miss", -9999}, {"missing", -1}, {"foo", -1},  {"", -1},
  };
  for (const auto& [w, code] : words) EXPECT_EQ(DOM_proj_str(w), code) << w;
  EXPECT_EQ(DOM_proj_str(nullptr), -1);
  // DOM_set_params reports the kind of the failing field.
  char f0[] = "40", f1[] = "abc", f2[] = "id:DEN", f3[] = "25";
  char* bad[] = {f0, f1};
  Domain d;
  EXPECT_EQ(DOM_set_params(2, bad, &d, DOM_F_CLAT, DOM_F_CLON), DOM_F_CLON);
  EXPECT_EQ(DOM_set_params(2, bad, &d, DOM_F_CLAT, DOM_F_CLON, DOM_F_NX), -1);
  // A station in the latitude slot takes the longitude slot too.
  char* stn[] = {f2, f3, f3};
  EXPECT_EQ(DOM_set_params(3, stn, &d, DOM_F_CLAT, DOM_F_CLON, DOM_F_NX, DOM_F_NY), 0);
  EXPECT_FLOAT_EQ(d.clat, 39.87f);
  EXPECT_EQ(std::tuple(d.nx, d.ny), std::tuple(25, 25));
}

TEST_F(DomTest, PrintFormat) {
  Domain d;
  ASSERT_EQ(DOM_decode("us", &d), 2);
  EXPECT_EQ(zor::dom::format(d), "pstereo:39.000:-97.000:::,39.000,-97.000,25,17,2.3000,2.3000");
  EXPECT_EQ(stdout_of([&] { DOM_print(M_PRINT, &d); }), "pstereo:39.000:-97.000:::,39.000,-97.000,25,17,2.3000,2.3000\n");

  ASSERT_EQ(DOM_decode("lamb:e:40:-100:30:60,40,-100", &d), 1);
  EXPECT_EQ(zor::dom::format(d),
            "lamb:e:40.000:-100.000:30.000:60.000:,40.000,-100.000,25,17,1.2000,1.2000");
  d = Domain{};
  d.proj = 25;  // no printed name
  EXPECT_EQ(zor::dom::format(d), ":::::,-9999.000,-9999.000,-9999,-9999,-9999.0000,-9999.0000");
}

TEST_F(DomTest, AspectAndComparison) {
  Domain a, b;
  DOM_decode("us", &a);  // from the bundled region file: pole given
  RES_put("file_path", tmp_.c_str());
  write_file("zor.reg", "");
  DOM_decode("us", &b);  // built-in: pole missing, stands for the centre
  EXPECT_FLOAT_EQ(DOM_aspect(&a), 1.5f);
  EXPECT_EQ(std::pair(DOM_comp(&a, &b), DOM_comp_proj(&a, &b)), std::pair(1, 1));
  b.nx = 26;
  EXPECT_EQ(std::pair(DOM_comp(&a, &b), DOM_comp_proj(&a, &b)), std::pair(0, 1));
  b.param[0] = 60;
  EXPECT_EQ(DOM_comp_proj(&a, &b), 0);
  b.nx = 1;
  EXPECT_FLOAT_EQ(DOM_aspect(&b), 1.0f);
  Domain c;
  DOM_decode("ps:50:-97,39,-97", &c);
  EXPECT_EQ(DOM_comp_proj(&a, &c), 0);
}

TEST_F(DomTest, StationPriorityFollowsDomainSize) {
  // Smaller domains show lower-priority stations; the edges belong to the larger step.
  const std::pair<float, int> steps[] = {{51, 1}, {50, 2}, {13, 3}, {3, 6}};
  for (const auto& [size, prior] : steps) EXPECT_EQ(DOM_set_base_prior(size), prior) << size;
  for (const auto& [value, prior] : {std::pair{"+2", 5}, {"-1", 2}, {"7", 7}}) {
    RES_put("stat_prior", value);
    EXPECT_EQ(DOM_set_base_prior(13), prior) << value;
  }
  RES_put("stat_prior", "");
  Domain d;
  DOM_decode("us", &d);  // 16 rows of 2.3
  EXPECT_EQ(std::tuple(DOM_get_prior(), DOM_get_loc_prior()), std::tuple(2, 4));
}

TEST_F(DomTest, RegionFileMenuAndSearch) {
  const std::string file = kData + "/regions.reg";
  EXPECT_EQ(DOM_read_menu(file.c_str()), 3);
  const MENU_item* m = zor::dom::region_menu();
  EXPECT_STREQ(m[2].name, "A Very Long Descript");  // cut to the menu's width
  EXPECT_EQ(m[4].name, nullptr);  // the hidden entry is not listed
  EXPECT_EQ(MENU_search("PLAINS", m), 1);
  EXPECT_EQ(MENU_search("hid", m), -9999);
  EXPECT_STREQ(MENU_get_abbr(3, m), "okc");
  EXPECT_EQ(MENU_check(2, m, 0), 1);
  EXPECT_EQ(MENU_check(2, m, 1), 0);

  char buf[DOM_MAX_LINE + 1];
  for (const auto& [name, want] : {std::pair{"hid", "45,-90,31,21,0.5,0.5"},
                                   {static_cast<const char*>(nullptr), "ps:40:-100,40,-100,25,17,1.5,1.5"}}) {
    EXPECT_EQ(DOM_search_file(file.c_str(), name, buf), 1);
    EXPECT_STREQ(buf, want);
  }
  EXPECT_EQ(DOM_search_file(file.c_str(), "zz", buf), 0);
  EXPECT_EQ(DOM_search_file((tmp_ / "missing.reg").c_str(), "us", buf), -1);
  const std::string single = write_file("one.reg", "# one domain\nps,40,-100,1.0\n");
  EXPECT_EQ(DOM_search_file(single.c_str(), "anything", buf), 1);  // a lone domain matches any name

  const std::string out = stdout_of([&] { DOM_print_file(file.c_str()); });
  EXPECT_EQ(out.substr(0, 21), " Abbr    Description\n");
  EXPECT_NE(out.find("hid      Hidden_Region"), std::string::npos);
}

// The classic eight of the bundled region file agree with the built-in table
// the program falls back on.
TEST_F(DomTest, BundledRegionsAgreeWithTheBuiltInTable) {
  for (const char* name : {"us", "ne", "at", "se", "mw", "sp", "nw", "sw"}) {
    Domain from_file, builtin;
    EXPECT_EQ(DOM_decode(name, &from_file), 2) << name;
    ASSERT_EQ(DOM_get_def_region(name, &builtin), 1);
    EXPECT_EQ(DOM_comp(&from_file, &builtin), 1) << name;
  }
}

TEST_F(DomTest, MenuAnswers) {
  const MENU_item* m = zor::dom::region_menu();
  struct Answer {
    const char* input;
    int flag;
    int result;
    const char* string;
  };
  const Answer answers[] = {
      {"3\n", 3, 1, "at"},        {"Atlantic\n", 3, 1, "at"}, {"SE\n", 3, 1, "se"},
      {"main\n", 3, 0, "main"},   {"-1\n", 3, -1, "-1"},     {"0\n", 2, 0, "0"},
      {"-1\n", 2, -9999, "-1"},   {"main\n", 1, -9999, "main"},
      {"back\n", 3, 0, "back"},   {"40,-100\n", 3, -9999, "40,-100"}, {"12\n", 3, -9999, "12"},
  };
  for (const auto& a : answers) {
    StdinFeed feed(a.input);
    char str[MENU_STR_LEN] = {};
    stdout_of([&] { EXPECT_EQ(MENU_process("Menu", m, 0, "Enter: ", str, a.flag), a.result) << a.input; });
    EXPECT_STREQ(str, a.string) << a.input;
  }
  StdinFeed feed("?\nnw\n");
  char str[MENU_STR_LEN] = {};
  EXPECT_NE(stdout_of([&] { EXPECT_EQ(MENU_process("Menu", m, 0, "Enter: ", str, 3), 1); })
                .find("back,us,ne,at,se,mw,sp,nw,sw,var\n\n"),
            std::string::npos);
  EXPECT_STREQ(str, "nw");
}

TEST_F(DomTest, PromptRegionFromResourcesBatchAndInput) {
  Domain d;
  // A resource gives the domain once.
  RES_put("region", "ne");
  EXPECT_EQ(DOM_prompt_region(&d, 1), 2);
  EXPECT_FLOAT_EQ(d.clat, 42);
  EXPECT_EQ(DOM_prompt_region(&d, 1), 0);
  RES_put("region", "");

  // Batch mode takes the first region of the region file, once.
  zor::dom::reset();
  FLAG_set_batch(1);
  EXPECT_EQ(DOM_prompt_region(&d, 1), 2);
  EXPECT_FLOAT_EQ(d.dx, 2.3f);
  EXPECT_EQ(DOM_prompt_region(&d, 1), 0);
  FLAG_set_batch(0);

  // Interactively: an invalid answer is asked again, "list" lists the file.
  zor::dom::reset();
  {
    StdinFeed feed("bogus\nlist\n2\n");
    const std::string out = stdout_of([&] { EXPECT_EQ(DOM_prompt_region(&d, 1), 2); });
    EXPECT_NE(out.find("        Region Menu"), std::string::npos);
    EXPECT_NE(out.find(" Abbr    Description\n"), std::string::npos);
    EXPECT_FLOAT_EQ(d.clat, 42);
  }
  // A domain string; 0 to go back; five bad answers give up.
  const std::pair<const char*, int> answers[] = {{"35,-90\n", 1}, {"0\n", 0}, {"x1\nx2\nx3\nx4\nx5\nus\n", -1}};
  for (const auto& [input, rc] : answers) {
    StdinFeed feed(input);
    stdout_of([&] { EXPECT_EQ(DOM_prompt_region(&d, 1), rc) << input; });
    if (rc == 1) { EXPECT_FLOAT_EQ(d.clat, 35); }
  }
}

TEST_F(DomTest, GetRegionPrecedence) {
  Domain d;
  EXPECT_EQ(DOM_get_region(&d, 3), 0);
  expect_domain(d, Domain{}, "nothing set");
  EXPECT_EQ(DOM_get_region(&d, 4), 1);  // first region of the bundled file
  EXPECT_FLOAT_EQ(d.clat, 39);
  RES_put("region", "sw");
  RES_put("plot_domain", "30,-80");
  EXPECT_EQ(DOM_get_region(&d, 3), 1);
  EXPECT_FLOAT_EQ(d.clat, 30);
  EXPECT_EQ(DOM_get_region(&d, 2), 2);
  EXPECT_FLOAT_EQ(d.clon, -112);
}

}  // namespace
