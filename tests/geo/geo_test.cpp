// Geography: domain strings, region files and menus, domain printing; the
// city database; map projections.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "../common/expect.h"
#include "../common/files.h"
#include "../frame/captured.h"
#include "zor/cty.h"
#include "zor/dom.h"
#include "zor/flag.h"
#include "zor/map.h"
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

Domain dom(int proj, float plat, float plon, float clat, float clon, int nx = 21, int ny = 21, float dx = 1,
           float dy = 1, std::vector<float> params = {}, int ellipse = 0) {
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
  EXPECT_STREQ(MENU_get_abbr(3, m), "okc");
  EXPECT_EQ(std::tuple(MENU_search("PLAINS", m), MENU_search("hid", m), MENU_check(2, m, 0), MENU_check(2, m, 1)),
            std::tuple(1, -9999, 1, 0));

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

// The bundled region file agrees with the built-in table the program falls back on.
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

// The city database.
const std::string kSmall = std::string(ZOR_TEST_DATA_DIR) + "/cty/test.cty";

class Cty : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::cty::reset();
    zor::map::reset();
  }
  void TearDown() override { SetUp(); }
};

std::vector<CTY_data> read_all(const std::string& file) {
  std::vector<CTY_data> out;
  int fd = CTY_open(file.c_str(), 0, 7);
  if (fd < 0) return out;
  CTY_data c;
  while (CTY_read(fd, &c) >= 0) out.push_back(c);
  CTY_close(fd);
  return out;
}

TEST_F(Cty, ReadsEveryFieldOfTheLineFormatAndWritesItBack) {
  const auto rows = read_all(kSmall);
  ASSERT_EQ(rows.size(), 5u);  // the blank line is skipped
  const CTY_data& a = rows[0];
  EXPECT_EQ(std::tuple(std::string(a.name), std::string(a.state), std::string(a.region), std::string(a.id)),
            std::tuple("ALPHA TOWN", "CO", "US", "ALP"));
  EXPECT_TRUE(zor::test::floats_eq({a.lat, a.lon, a.el, rows[3].el}, {40, -100, 1500, -9999}));  // 9999: none
  // Priority, MOS and upper-air marks, WMO number.
  EXPECT_EQ(std::tuple(a.prior, a.mos, a.ua, a.wmo), std::tuple(1, '*', '*', 72001));
  EXPECT_EQ(std::tuple(rows[1].prior, rows[1].mos, rows[1].ua), std::tuple(3, ' ', ' '));
  EXPECT_EQ(std::tuple(rows[4].prior, rows[4].mos, rows[4].ua, rows[4].wmo), std::tuple(4, '*', ' ', 1384));
  // What the writer writes reads back the same.
  const std::string out = zor::test::scratch("cty_roundtrip.cty");
  int fd = CTY_open(out.c_str(), 1, 0);
  ASSERT_GE(fd, 0);
  CTY_info info;
  info.dtype = -1;
  EXPECT_EQ(CTY_getinfo(fd, &info), 0);
  EXPECT_EQ(info.dtype, 0);
  for (const auto& c : rows) EXPECT_EQ(CTY_write(fd, &c), 0);
  EXPECT_EQ(CTY_read(fd, nullptr), -1);  // a file opened for writing is not read
  CTY_close(fd);
  const auto back = read_all(out);
  ASSERT_EQ(back.size(), rows.size());
  auto fields = [](const CTY_data& c) {
    return std::tuple(std::string(c.name), std::string(c.id), std::string(c.region), c.prior, c.mos, c.ua, c.wmo);
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(fields(back[i]), fields(rows[i])) << i;
    EXPECT_TRUE(zor::test::floats_eq({back[i].lat, back[i].el}, {rows[i].lat, rows[i].el})) << i;
  }
}

TEST_F(Cty, DescriptorsAndBadFiles) {
  EXPECT_EQ(CTY_open((std::string(ZOR_TEST_DATA_DIR) + "/cty/no-such.cty").c_str(), 0, 0), -1);
  EXPECT_EQ(CTY_open(kSmall.c_str(), 2, 0), -1);
  int fd = CTY_open(kSmall.c_str(), 0, 0);
  ASSERT_GE(fd, 0);
  CTY_data c;
  EXPECT_EQ(CTY_read(fd + 1, &c), -1);  // not the open file
  EXPECT_EQ((std::tuple{CTY_read(fd, &c), CTY_rewind(fd), CTY_read(fd, &c)}), std::tuple(10, 0, 10));  // in order
  EXPECT_STREQ(c.id, "ALP");
  int fd2 = CTY_open(kSmall.c_str(), 0, 0);  // one open file: the first is closed
  EXPECT_EQ(CTY_read(fd, &c), -1);
  EXPECT_EQ((std::pair{CTY_close(fd2), CTY_close(fd2)}), std::pair(0, -1));  // closed once

  EXPECT_EQ(CTY_open_file("no-such-city-file.cty", nullptr), -1);
  float lat = 0, lon = 0;
  EXPECT_EQ((std::tuple{CTY_get_loc("no-such-city-file.cty", "DEN", &lat, &lon),
                        CTY_store("no-such-city-file.cty", 3, nullptr, -9999), CTY_search("DEN", nullptr)}),
            std::tuple(0, 0, 0));
  EXPECT_EQ(CTY_get_prior(), 10);
}

TEST_F(Cty, IdentifierWmoNumberAndNameFindTheSameStation) {
  CTY_data by_id, by_wmo, by_name;
  ASSERT_EQ(CTY_get("sao.cty", "DEN", &by_id), 1);
  ASSERT_EQ(CTY_get("sao.cty", "72565", &by_wmo), 1);
  ASSERT_EQ(CTY_get("sao.cty", by_id.name, &by_name), 1);
  EXPECT_EQ(std::string(by_wmo.id) + std::string(by_name.id), "DENDEN");
  EXPECT_TRUE(std::fabs(by_id.lat - 39.87f) < 0.01f && std::fabs(by_id.lon + 104.67f) < 0.01f);
  CTY_data lower;
  EXPECT_EQ(CTY_get("sao.cty", "den", &lower), 1);  // case does not matter
  EXPECT_EQ(CTY_get("sao.cty", "NO-SUCH-PLACE", &lower), 0);
}

TEST_F(Cty, StationTableKeysAndLookups) {
  ASSERT_GT(CTY_store(kSmall.c_str(), 1, nullptr, -9999), 0);
  CTY_data c;
  auto name = [&c](const char* key) { return CTY_search(key, &c) == 1 ? std::string(c.name) : std::string("none"); };
  // Five digits look up a WMO number; a buoy without identifier has a "b%05d" key.
  EXPECT_EQ((std::vector{name("ALP"), name("72001"), name("b41001"), name("41001")}),
            (std::vector<std::string>{"ALPHA TOWN", "ALPHA TOWN", "BUOY ONE", "none"}));
  EXPECT_TRUE(CTY_search("hip", &c) == 1 && CTY_get_table() != nullptr);

  // Identifier type 1: the WMO text, or the identifier without a WMO number.
  CTY_set_id_type(1);
  ASSERT_GT(CTY_store(kSmall.c_str(), 2, nullptr, 3), 0);
  CTY_locate loc;
  auto id = [&loc](const char* key) { return CTY_search(key, &loc) == 1 ? std::string(loc.id) : std::string("none"); };
  // Priority 4 is above the limit 3.
  EXPECT_EQ((std::vector{id("BRV"), id("ALP"), id("72001"), id("ENGM")}),
            (std::vector<std::string>{"BRV", "none", "72001", "none"}));
  CTY_clear();
  EXPECT_TRUE(CTY_get_table() == nullptr && id("BRV") == "none");
}

TEST_F(Cty, StoreKeepsOnlyStationsOfTheDomain) {
  Domain d{.proj = 2, .plat = 0, .plon = 0, .clat = 40, .clon = -100, .dx = 0.1f, .dy = 0.1f, .nx = 5, .ny = 5};
  ASSERT_GT(CTY_store(kSmall.c_str(), 2, &d, -9999), 0);
  CTY_locate loc;
  ASSERT_EQ(CTY_search("ALP", &loc), 1);
  EXPECT_TRUE(zor::test::floats_eq({loc.x, loc.y, static_cast<float>(loc.pr)}, {-100.0f, 40.0f, 1}));
  EXPECT_EQ(CTY_search("BRV", &loc), 0);  // 1 degree away: outside grid + 3 spacings
}

int fill_user(char* user, const CTY_data* city) {
  std::snprintf(user, 8, "%.7s", city->id);
  return 0;
}

TEST_F(Cty, UserDataTravelsWithEachStation) {
  CTY_data_size(8);
  CTY_enter_func(fill_user);
  ASSERT_GT(CTY_store(kSmall.c_str(), 3, nullptr, -9999), 0);
  char* u = CTY_get_data("HIP");
  ASSERT_NE(u, nullptr);
  EXPECT_STREQ(u, "HIP");
  EXPECT_EQ(CTY_clear_data(0), 5);
  EXPECT_TRUE(u[0] == '\0' && CTY_get_data("NONE") == nullptr);
}

TEST_F(Cty, NearestStationSearch) {
  ASSERT_GT(CTY_store(kSmall.c_str(), 3, nullptr, -9999), 0);
  CTY_locate loc;
  auto nearest = [&loc](float lat, float lon) {
    return CTY_search_loc(lat, lon, &loc) == 1 ? std::string(loc.id) : std::string("none");
  };
  EXPECT_EQ(nearest(40.0f, -99.75f), "ALP");  // 0.25 degree east
  EXPECT_EQ(nearest(40.8f, -100.1f), "BRV");
  EXPECT_EQ(CTY_search_loc(50.0f, -100.0f, &loc), 0);  // nothing within 4.9 degrees
  CTY_store(kSmall.c_str(), 2, nullptr, -9999);
  EXPECT_EQ(CTY_search_loc(40.0f, -100.0f, &loc), 0);  // needs the position key

  // Known points against the bundled radar sites.
  ASSERT_GT(CTY_store("rad.cty", 3, nullptr, 1), 0);
  EXPECT_EQ(nearest(35.30f, -97.30f), "KTLX");  // Norman
  EXPECT_EQ(nearest(39.70f, -104.50f), "KFTG");  // east of Denver
}

TEST_F(Cty, IdentifierSpecifications) {
  const auto rows = read_all(kSmall);
  ASSERT_EQ(rows.size(), 5u);
  const CTY_data& alp = rows[0];
  const CTY_data& oslo = rows[4];
  struct Case {
    const char* spec;
    bool alp, oslo;
  };
  const Case cases[] = {
      {"ALP", true, false},          {"72001", true, false},       {"alpha", true, false},
      {"ST=CO", true, false},        {"ST=co_us", true, false},    {"ST:CO", true, false},
      {"CN=NO", false, true},        {"CN:US", true, false},       {"ID=ENGM", false, true},
      {"P=1", true, false},          {"P<4", true, true},          {"P>2", false, true},
      {"Lat>50", false, true},       {"Lon<0", true, false},       {"Elev<300", false, true},
      {"WMO=01384", false, true},    {"WMO<2000", false, true},    {"WMO>2000", true, false},
      {"Name=Oslo", false, true},    {"RA<50:40.2:-100", true, false},
      {"ST=CO:P>2", false, false},   {"Bogus=1", false, false},
  };
  for (const Case& c : cases) {
    char* spec[1] = {const_cast<char*>(c.spec)};
    EXPECT_EQ(CTY_data_cmp(1, spec, &alp) == 0, c.alp) << c.spec;
    EXPECT_EQ(CTY_data_cmp(1, spec, &oslo) == 0, c.oslo) << c.spec;
  }
  char* two[2] = {const_cast<char*>("CN=XX"), const_cast<char*>("ALP")};
  EXPECT_EQ(CTY_data_cmp(2, two, &alp), 1);
  EXPECT_EQ(CTY_data_cmp(0, nullptr, &alp), 1);  // no specification selects all
  EXPECT_NEAR(calc_earth_dist(0, 0, 0, 1), 111.195, 0.01);
}

::testing::AssertionResult near2(float a, float b, float want_a, float want_b, double tol) {
  if (std::fabs(a - want_a) <= tol && std::fabs(b - want_b) <= tol) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "(" << a << ", " << b << "), not (" << want_a << ", " << want_b << ")";
}

class MapProj : public ::testing::Test {
 protected:
  void SetUp() override { zor::map::reset(); }
  void TearDown() override { zor::map::reset(); }
};

// Projections against values worked out by hand (earth radius 63.7122
// units), and round trips inside each projection's valid area.
struct Known {
  float lat, lon, x, y, tol = 1e-3f;
};

struct Trip {
  const char* what;
  Domain dom;
  std::vector<EarthPoint> pts;
  std::vector<Known> known = {};
};

TEST_F(MapProj, HandComputedValuesAndRoundTrips) {
  const std::vector<EarthPoint> america = {{40, -100}, {25, -80}, {55, -130}, {33.3f, -97.2f}, {48, -70}};
  const float M = -9999.0f;
  const std::vector<Trip> trips = {
      {"pstereo north",
       dom(1, 90, -105, 40, -100),
       america,
       {{90, 33, 0, 0, 1e-4f}, {60, -105, 0, -31.8561f}, {50, -90, 11.19959f, -41.79745f}}},
      {"pstereo south",
       dom(1, -90, 0, -70, 0),
       {{-60, 0}, {-75, 120}, {-40, -170}, {-89.5f, 45}},
       {{-50, 30, 21.63595f, 37.47457f}}},
      {"latlon", dom(2, 0, 170, 0, 170), {{-45, 175}, {80, 0}}, {{10, -170, 20, 10, 1e-4f}}},
      {"mercator", dom(3, 0, 0, 0, 0), {}, {{0, 10, 11.11988f, 0}, {45, 0, 0, 56.15425f}}},
      {"mercator off the meridian", dom(3, 0, -100, 0, -100), {{40, -100}, {-60, 170}, {85, -10}}},
      {"lambert", dom(4, 40, -100, 40, -100), america, {{40, -90, 8.24366f, -65.66385f, 2e-3f}}},
      {"lambert tangent", dom(4, 45, 10, 45, 10, 21, 21, 1, 1, {45, 45}), {{45, 10}, {60, 30}, {30, -10}}},
      {"lambert south", dom(4, -35, 145, -35, 145, 21, 21, 1, 1, {-20, -50}), {{-35, 145}, {-20, 120}, {-50, 170}}},
      {"orthographic", dom(5, 40, -100, 40, -100), america, {{50, -90, 7.11149f, 11.46343f}}},
      {"gnomonic", dom(6, 0, 0, 0, 0), {}, {{0, 45, 63.7122f, 0}}},
      {"gnomonic america", dom(6, 40, -100, 40, -100), america},
      {"mollweide", dom(7, 0, 0, 0, 0), {{-30, -150}, {80, 170}, {0, 0}}, {{45, 90, 51.34613f, 37.72028f}}},
      {"lambert azimuthal", dom(8, 45, 0, 45, 0), {}, {{30, 20, 19.21562f, -14.39484f}}},
      {"lambert azimuthal america", dom(8, 45, -100, 45, -100), america},
      {"lambert azimuthal pole", dom(8, 90, -100, 60, -100), {{60, -100}, {30, 10}, {70, 170}}},
      {"satellite",
       dom(9, 0, -75, 0, -75),
       america,
       {{0, -65, 12.99786f, 0}, {30, -75, 0, 36.65289f}, {0, -75, 0, 0, 1e-4f}}},
      {"satellite scan angles", dom(9, 0, -75, 0, -75, 21, 21, 1, 1, {M, 1}), america},
      {"satellite ellipsoid", dom(9, 0, -75, 0, -75, 21, 21, 1, 1, {}, 1), america},
      {"satellite ellipsoid angles", dom(9, 0, -75, 0, -75, 21, 21, 1, 1, {M, 1}, 1), america},
  };
  for (const Trip& t : trips) {
    SCOPED_TRACE(t.what);
    ASSERT_EQ(MAP_domain(&t.dom), 0);
    std::vector<EarthPoint> pts = t.pts;
    for (const Known& k : t.known) {
      Gpt g;
      EXPECT_EQ(MAP_tran(k.lat, k.lon, &g.x, &g.y), 1);
      EXPECT_TRUE(near2(g.x, g.y, k.x, k.y, k.tol)) << k.lat << " " << k.lon;
      pts.push_back({k.lat, k.lon});
    }
    for (const EarthPoint& p : pts) {
      Gpt g;
      ASSERT_EQ(MAP_tran_ep(&p, &g), 1) << p.lat << " " << p.lon;
      EarthPoint back;
      ASSERT_EQ(MAP_tran_pe(&g, &back), 1) << p.lat << " " << p.lon;
      EXPECT_NEAR(back.lat, p.lat, 1e-4) << p.lon;
      if (std::fabs(p.lat) < 89.99f) { EXPECT_NEAR(back.lon, p.lon, 1e-4) << p.lat; }  // any longitude at a pole
    }
  }
}

TEST_F(MapProj, DiagramAndPixelCodesRoundTrip) {
  struct Case {
    const char* what;
    Domain dom;
    float a, b;
  };
  const std::vector<Case> cases = {
      {"pixel", dom(99, 0, 0, 0, 0, 1, 1, 640, 480), 100, 200},
      {"scaled 20", dom(20, 0, 0, 0, 0, 100, 50, 10, 5), 3.5f, 2.5f},
      {"scaled 25", dom(25, 0, 0, 0, 0, 100, 50, 10, 5), 3.5f, 2.5f},
      {"log pressure", dom(22, 0, 0, -40, 1000, 1, 1, 80, -900), 10, 500},
      {"polar diagram", dom(23, 0, 0, 0, 0, 1, 1, 360, 100), 225, 40},
      {"skew-T", dom(40, 0, 0, -40, 1050, 1, 1, 80, -950), -10, 700},
      {"stuve", dom(41, 0, 0, -40, 1000, 1, 1, 80, -900), 5, 850},
      {"emagram", dom(42, 0, 0, -40, 1000, 1, 1, 80, -900), 5, 850},
      {"tephigram", dom(43, 0, 0, -40, 1050, 1, 1, 80, -950), -20, 500},
      {"rotated tephigram", dom(44, 0, 0, -40, 1000, 1, 1, 80, -900), -20, 500},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_EQ(MAP_domain(&c.dom), 0);
    float x = 0, y = 0, a = 0, b = 0;
    ASSERT_EQ(MAP_tran(c.a, c.b, &x, &y), 1);
    ASSERT_EQ(MAP_untran(x, y, &a, &b), 1);
    EXPECT_NEAR(a, c.a, 1e-3 * std::max(1.0f, std::fabs(c.a)));
    EXPECT_NEAR(b, c.b, 1e-3 * std::max(1.0f, std::fabs(c.b)));
  }
  // The pixel domain's rectangle is its first column and row plus its size.
  Domain px = dom(99, 0, 0, 10, 20, 1, 1, 640, 480);
  MAP_domain(&px);
  MAP_limits lim;
  MAP_get_limits(&lim);
  EXPECT_TRUE(zor::test::floats_eq({lim.x_min, lim.x_max, lim.y_min, lim.y_max}, {10, 650, -500, -20}));
}

TEST_F(MapProj, PointsThatCannotBeDrawn) {
  const Domain ortho = dom(5, 40, -100, 40, -100), sat = dom(9, 0, -75, 0, -75), laea = dom(8, 45, 0, 45, 0);
  const struct {
    Domain dom;
    bool forward;
    float a, b;
  } cases[] = {{ortho, true, -40, 80}, {ortho, false, 70, 0},  {sat, true, 20, 100},
               {sat, false, 200, 200},  // line of sight misses the earth
               {laea, false, 130, 0},   {laea, true, -45, 180},  // antipode
               {dom(7, 0, 0, 0, 0), false, 0, 64}};
  float x = 0, y = 0;
  for (const auto& c : cases) {
    MAP_domain(&c.dom);
    EXPECT_EQ(c.forward ? MAP_tran(c.a, c.b, &x, &y) : MAP_untran(c.a, c.b, &x, &y), 0) << c.a << "," << c.b;
    EXPECT_TRUE(zor::test::floats_eq({x, y}, {-9999, -9999})) << c.a << "," << c.b;
  }
  // Points far into the other hemisphere are drawn as if at 75 degrees.
  Domain ps = dom(1, 90, -105, 40, -100);
  MAP_domain(&ps);
  float x75 = 0, y75 = 0;
  MAP_tran(-80, 0, &x, &y);
  MAP_tran(-75, 0, &x75, &y75);
  EXPECT_TRUE(zor::test::floats_eq({x, y}, {x75, y75}));
}

TEST_F(MapProj, DegenerateInputsReturnCleanly) {
  Domain ps = dom(1, 90, -105, 60, -105);
  MAP_domain(&ps);
  float x = 0, y = 0;
  EXPECT_EQ(MAP_offset(0, 0, 180, 100, &x, &y), 1);  // no east at the pole: no division by 0
  EXPECT_TRUE(near2(x, y, 0, -0.9331f, 1e-3));  // K tan(0.4497 deg)
  // An absurd longitude: no hang.
  EXPECT_EQ(std::pair(MAP_tran(10, 1e30f, &x, &y), MAP_untran(-9999, -9999, &x, &y)), std::pair(1, 1));

  Domain lc = dom(4, 40, -100, 40, -100, 21, 21, 1, 1, {0, 0});  // no cone: falls back to 30/60
  MAP_domain(&lc);
  EXPECT_EQ(MAP_tran(45, -90, &x, &y), 1);
  EXPECT_TRUE(std::isfinite(x) && std::isfinite(y));

  Domain big = dom(2, 0, 0, 0, 0, 100000, 100000, 0.001f, 0.001f);
  MAP_domain(&big);
  MAP_set_plot_limit(1000);
  EXPECT_EQ((std::pair{MAP_plot_grid_init(), MAP_plot_grid(0, 0)}), std::pair(0, 1));
}

TEST_F(MapProj, NullDomainMakesTheIdentityAndACopyFillsAMissingPole) {
  EXPECT_EQ(MAP_domain(nullptr), -1);
  float x = 0, y = 0;
  EXPECT_EQ((std::tuple{MAP_get_proj(), MAP_tran(12.5f, -99, &x, &y), MAP_in_domain(1e6f, -1e6f)}),
            std::tuple(-9999, 1, 1));
  EXPECT_TRUE(zor::test::floats_eq({x, y}, {12.5f, -99}));
  Domain d = dom(1, -9999, -9999, 45, -95);
  MAP_domain(&d);
  Domain got;
  MAP_get_domain(&got);
  EXPECT_TRUE(zor::test::floats_eq({got.plat, got.plon}, {45, -95}));
  x = y = 1;
  MAP_tran_center(&x, &y);
  EXPECT_NEAR(x, 0, 1e-5);
}

TEST_F(MapProj, LimitsAndGridConversions) {
  Domain d = dom(1, 90, -105, 40, -100, 25, 17, 2.3f, 2.3f);
  MAP_domain(&d);
  float cx = 0, cy = 0;
  MAP_tran_center(&cx, &cy);
  MAP_limits lim;
  MAP_get_limits(&lim);
  EXPECT_TRUE(near2(lim.x_min, lim.x_max, cx - 12 * 2.3f, cx + 12 * 2.3f, 1e-4));
  EXPECT_TRUE(near2(lim.y_min, lim.y_max, cy - 8 * 2.3f, cy + 8 * 2.3f, 1e-4));

  float x = 0, y = 0, gx = 0, gy = 0;
  EXPECT_EQ(MAP_grid_tran(0, 0, &x, &y), 0);
  EXPECT_TRUE(zor::test::floats_eq({x, y}, {lim.x_min, lim.y_max}));  // the upper left
  MAP_grid_untran(cx, cy, &gx, &gy);
  EXPECT_TRUE(near2(gx, gy, 12, 8, 1e-4));
  EXPECT_EQ((std::pair{MAP_grid_tran(-9999, 3, &x, &y), x}), std::pair(-1, -9999.0f));
  EXPECT_EQ((std::pair{MAP_grid_untran(-9999, 3, &gx, &gy), gy}), std::pair(-1, -9999.0f));

  // Edges included; the grid domain reaches three spacings further.
  EXPECT_EQ(std::tuple(MAP_in_domain(lim.x_max, lim.y_min), MAP_in_domain(lim.x_max + 0.01f, cy)), std::tuple(1, 0));
  EXPECT_EQ(
      std::tuple(MAP_in_grid_domain(lim.x_max + 2.5f * 2.3f, cy), MAP_in_grid_domain(lim.x_max + 3.5f * 2.3f, cy),
                 MAP_in_grid_domain(cx, lim.y_min - 2.5f * 2.3f), MAP_in_grid_domain(cx, lim.y_min - 3.5f * 2.3f)),
      std::tuple(1, 0, 1, 0));
}

TEST_F(MapProj, OffsetFactorAndDirections) {
  Domain ll = dom(2, 0, 0, 40, -100);
  MAP_domain(&ll);
  float x = 0, y = 0, xf = 0, yf = 0;
  MAP_tran(40, -100, &x, &y);
  MAP_offset(x, y, 0, 111.195f, &xf, &yf);
  EXPECT_TRUE(near2(xf, yf, -100, 41, 1e-4));
  MAP_offset(x, y, 90, 111.195f, &xf, &yf);
  EXPECT_NEAR(xf, -100 + 1 / std::cos(40 * 0.0174532925), 1e-4);
  EXPECT_FLOAT_EQ(MAP_factor(40), 1.0f);
  EXPECT_FLOAT_EQ(MAP_dir_adj(33, x, y), 33.0f);

  Domain ps = dom(1, 90, -105, 40, -100);
  MAP_domain(&ps);
  EXPECT_NEAR(MAP_factor(60), 1.0, 1e-4);
  EXPECT_NEAR(MAP_factor(90), 1.866 / 2, 1e-3);
  // Due east of the pole on the plot, north points left (west on the plot).
  MAP_tran(50, -15, &x, &y);
  EXPECT_NEAR(MAP_dir_adj(0, x, y), -90, 1e-3);
  EXPECT_NEAR(MAP_undir_adj(-90, x, y), 0, 1e-3);
  EXPECT_NEAR(MAP_dir_adj(10, 0, 0), 115, 1e-4);  // at the pole: dir - plon
  // A point 100 km north lies at bearing 0 seen from the start point.
  MAP_tran(45, -80, &x, &y);
  MAP_offset(x, y, 0, 100, &xf, &yf);
  EXPECT_NEAR(MAP_dir(x, y, xf, yf), 0, 1e-2);
  MAP_offset(x, y, 90, 100, &xf, &yf);
  EXPECT_NEAR(MAP_dir(x, y, xf, yf), 90, 1.0);  // chord against the parallel

  Domain lc = dom(4, 40, -100, 40, -100);
  lc.param[0] = 30, lc.param[1] = 60, lc.param[2] = 0.75f;
  MAP_domain(&lc);
  EXPECT_FLOAT_EQ(MAP_factor(40), 0.75f);
  MAP_tran(40, -100, &x, &y);
  EXPECT_NEAR(MAP_dir_adj(45, x, y), 45, 1e-3);  // on the central meridian
  MAP_tran(40, -80, &x, &y);
  float adj = MAP_dir_adj(0, x, y);
  EXPECT_LT(adj, 0);  // east of the centre, north leans left
  EXPECT_NEAR(MAP_undir_adj(adj, x, y), 0, 1e-3);

  Domain sat = dom(9, 0, -75, 0, -75);
  MAP_domain(&sat);
  MAP_tran(0, -75, &x, &y);
  EXPECT_NEAR(MAP_dir_adj(0, x, y), 0, 1e-2);
  MAP_tran(40, -60, &x, &y);
  adj = MAP_dir_adj(30, x, y);
  EXPECT_NEAR(MAP_undir_adj(adj, x, y), 30, 0.1);
  EXPECT_EQ(MAP_dir_adj(0, 500, 500), -9999.0f);
}

TEST_F(MapProj, LazyConstantsFollowProjectionChanges) {
  Domain lc = dom(4, 40, -100, 40, -100);
  MAP_domain(&lc);
  float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
  MAP_tran(50, -80, &x1, &y1);
  const float tangent[2] = {45, 45};
  EXPECT_EQ(MAP_proj_coord(tangent), 0);
  MAP_tran(50, -80, &x2, &y2);
  EXPECT_GT(std::fabs(x2 - x1), 0.01);
  MAP_coord(40, -80);  // central meridian through the point
  MAP_tran(50, -80, &x2, &y2);
  EXPECT_NEAR(x2, 0, 1e-4);
  EXPECT_EQ(MAP_proj(2), 0);
  EXPECT_EQ(MAP_get_proj(), 2);
  MAP_tran(50, -70, &x2, &y2);
  EXPECT_NEAR(x2, 10, 1e-4);
}

TEST_F(MapProj, DomainTranConvertsAndRestores) {
  Domain ps = dom(1, 90, -105, 40, -100);
  Domain ll = dom(2, 0, -100, 40, -100);
  Domain cur = dom(3, 0, 0, 0, 0);
  MAP_domain(&cur);
  float x1 = 0, y1 = 0;
  MAP_domain(&ps);
  MAP_tran(45, -90, &x1, &y1);
  MAP_domain(&cur);
  float x2 = 0, y2 = 0;
  EXPECT_EQ(MAP_domain_tran(&ps, &ll, x1, y1, &x2, &y2), 1);
  EXPECT_TRUE(near2(x2, y2, 10, 45, 1e-3));
  EXPECT_EQ(MAP_get_proj(), 3);  // the current projection is back
  EXPECT_EQ(MAP_domain_tran(&ps, &ps, 1.5f, 2.5f, &x2, &y2), 1);
  EXPECT_EQ(std::pair(x2, y2), std::pair(1.5f, 2.5f));
}

TEST_F(MapProj, CrowdingGridAcceptsOnePointPerCell) {
  Domain d = dom(2, 0, 0, 0, 0, 11, 11, 1, 1);
  MAP_domain(&d);
  MAP_set_plot_limit(1);
  MAP_plot_grid_init();
  EXPECT_EQ(MAP_plot_grid(0.1f, 0.1f), 1);
  EXPECT_EQ(MAP_plot_grid(-0.2f, 0.2f), 0);  // same cell
  EXPECT_EQ(MAP_plot_grid(1.0f, 0.0f), 1);
  EXPECT_EQ(MAP_plot_grid(40.0f, 0.0f), 0);  // outside the grid
  MAP_set_plot_limit(-4);                    // coarser: 4 grid cells per cell
  MAP_plot_grid_init();
  EXPECT_EQ(MAP_plot_grid(0.1f, 0.1f), 1);
  EXPECT_EQ(MAP_plot_grid(1.0f, 0.0f), 0);
}

}  // namespace
