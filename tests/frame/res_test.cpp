// Resource database: command line, environment, resource files and their
// precedence, name matching, directives and conversions.
#include "../common/files.h"
#include "../frame/captured.h"
#include "zor/res.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/reset.h"
#include "zor/text.h"

namespace fs = std::filesystem;

namespace {

// A cut-down key list in the radar program's style.
const res_type kKeys[] = {RES_help,    RES_batch,     RES_message,    RES_inputg,
                          RES_in_file, RES_plot_type, RES_plot_scale, RES_con_interval,
                          RES_draw,    RES_icon,      RES_region,     RES_file_param,
                          RES_device,  RES_file_path, RES_null};
const res_type kPos[] = {RES_filenames, RES_null};

// Environment variables the tests set; cleared around every test.
const char* const kEnvNames[] = {"zordefault",         "zorplot",           "zorplot_type",
                                 "zorradar.plot_type", "zornids.plot_type", "zorregion"};

class ResTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* e : kEnvNames) unsetenv(e);
    zor::reset_all();
    // No resource file is found unless a test names one.
    setenv("zordefault", (dir_ / "none").c_str(), 1);
  }
  void TearDown() override {
    for (const char* e : kEnvNames) unsetenv(e);
  }

  std::string write(const std::string& name, const std::string& text) {
    fs::path p = dir_ / name;
    fs::create_directories(p.parent_path());
    std::ofstream(p) << text;
    return p.string();
  }

  void decode(std::vector<std::string> args) {
    args.insert(args.begin(), "/usr/local/bin/radar");
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    RES_init(static_cast<int>(args.size()), argv.data(), kKeys, kPos);
  }

  static std::string get(const char* name) {
    const char* v = RES_get(name);
    return v ? v : "<absent>";
  }
  static std::vector<std::string> gets(std::initializer_list<const char*> names) {
    std::vector<std::string> out;
    for (const char* n : names) out.push_back(get(n));
    return out;
  }

  zor::test::TempDir tmp_{"res_test"};
  const fs::path& dir_ = tmp_.path();
};

TEST(ResKeyTable, EveryKeyOnceWithOptionOrPosition) {
  std::set<int> seen;
  for (const auto& k : zor::res::key_table()) {
    EXPECT_TRUE(seen.insert(k.key).second) << k.def;
    EXPECT_TRUE(k.cmd || k.cmd_pos == 1 || k.cmd_pos == 10) << k.def;
    EXPECT_EQ(std::string(k.env).rfind("zor", 0), 0u) << k.def;
  }
  // A key without description is entered empty and its number printed.
  RES_defobj obj;
  EXPECT_EQ(zor::test::stdout_of([&] { RES_enter(&obj, RES_age); }), "1\n");
  EXPECT_STREQ(obj.def, "");
}

TEST_F(ResTest, CommandLineEdgeCases) {
  decode(
      {"-pl", "cf", "-pl", "ln", "-ba", "a.nids", "b.nids", "-in", "-5", "-sc=1.5", "-scale", "2"});
  EXPECT_EQ(std::tuple(get("plot_type"), FLAG_get(11), FLAG_batch()), std::tuple("ln", 12, 1));
  // "scale" is a free resource under the typed name.
  EXPECT_EQ(std::tuple(get("filename"), get("con_interval"), get("plot_scale"), get("scale")),
            std::tuple("a.nids\nb.nids", "-5", "1.5", "2"));
  int n = 0;
  char** items = nullptr;
  EXPECT_EQ(RES_getvals("filename", &n, &items), 2);
  ASSERT_EQ(n, 2);
  EXPECT_STREQ(items[1], "b.nids");
  free_parsed_array(n, items);
  EXPECT_EQ(RES_getvals("absent", &n, &items), 0);
}

TEST_F(ResTest, OptionsWithoutValuesNamesAndPrefixes) {
  decode({"-pl", "--", "--plot_sc", "3", "-INP", "nids", "-NA", "foo", "-ic", "yes", "-draw=map"});
  EXPECT_EQ(get("plot_type"), "");  // given without value: no conversion
  EXPECT_EQ(FLAG_get(11), -9999);
  // A prefix of a name after a double dash; options in any case; -NA names no
  // program and is skipped; a switch gives its argument back.
  EXPECT_EQ(gets({"plot_scale", "input", "name", "icon", "filename"}),
            (std::vector<std::string>{"3", "nids", "<absent>", "", "yes"}));
  EXPECT_EQ(FLAG_getplot(8), 1);
  EXPECT_EQ(FLAG_getplot(7), 0);
}

TEST_F(ResTest, OverlongOptionAndProgramNamesAreRefused) {
  std::string name = "-" + std::string(60, 'x');
  EXPECT_NE(zor::test::stderr_of([&] { decode({name, "value", "-pl", "cf"}); }).find("longer than 49"), std::string::npos);
  EXPECT_EQ(get(name.c_str() + 1), "<absent>");
  EXPECT_EQ(gets({"filename", "plot_type"}), (std::vector<std::string>{"value", "cf"}));
  std::string path = "/opt/" + std::string(50, 'p');
  RES_setCL(1, std::vector<char*>{path.data()}.data());
  char buf[40];
  EXPECT_STREQ(RES_get_progname(buf, sizeof buf), "ZOR");
  EXPECT_EQ(std::string(RES_get_progname(nullptr)), std::string(50, 'p'));
  EXPECT_STREQ(RES_get_prog(), path.c_str());
}

TEST_F(ResTest, ResourceFileNamesAndPrecedence) {
  write("a/.zordef",
        "# comment line\n"
        "radar.plot_type: cf\n"
        "*region us\n"
        "plot_type dln\n"       // bare name: applies to nothing
        "other.plot_scale 9\n"  // another program
        "radar.my_res \"two words\"\n"
        "*.plot_scale 2\n"
        "radar.plot_scale 3\n");             // later line wins
  write("b/zor.cfg", "Radar.Region: ne\n");  // names are lower-cased
  setenv("zordefault",
         ((dir_ / "a").string() + ":" + (dir_ / "b").string() + ":" + (dir_ / "missing").string())
             .c_str(),
         1);
  decode({});
  EXPECT_EQ(get("plot_type"), "cf");
  EXPECT_EQ(FLAG_get(11), 15);
  // The later path element wins for the region.
  EXPECT_EQ(gets({"region", "plot_scale", "my_res"}), (std::vector<std::string>{"ne", "3", "two words"}));
}

TEST_F(ResTest, CommandLineOverEnvironmentOverFiles) {
  std::string file = write("defs", "*plot_type cf\n*region us\n*plot_scale 4\n");
  setenv("zordefault", file.c_str(), 1);
  setenv("zorplot_type", "ln", 1);
  setenv("zorregion", "mw", 1);
  decode({"-re", "se"});
  EXPECT_EQ(gets({"plot_type", "region", "plot_scale"}), (std::vector<std::string>{"ln", "se", "4"}));

  // The three environment names in their order.
  for (const auto& [env, value] : {std::pair{"zorplot", "dln"}, {"zorradar.plot_type", "ndln"}}) {
    zor::res::reset();
    setenv(env, value, 1);
    decode({});
    EXPECT_EQ(get("plot_type"), value);
  }
}

TEST_F(ResTest, ProgramTitleAndDefaultsOption) {
  std::string file =
      write("defs", "radarnids.plot_type cf\nradar.nids.region us\nradar.plot_scale 5\n");
  decode({"-df", file, "-na", "radarnids"});
  // The values of -df and -na are not positional.
  EXPECT_EQ(gets({"name", "plot_type", "region", "plot_scale", "filename"}),
            (std::vector<std::string>{"radarnids", "cf", "<absent>", "<absent>", "<absent>"}));

  zor::res::reset();
  zor::def::reset();
  decode({"-default=" + file, "-n", "+nids"});
  EXPECT_EQ(gets({"region", "plot_type"}), (std::vector<std::string>{"us", "<absent>"}));
}

TEST_F(ResTest, DirectivesAndTags) {
  std::string file =
      write("defs",
            "IF nexrad\n*plot_type cf\nELSE\n*plot_type ln\nEND\n"
            "IF nothere\n*region us\nELIF NEXRAD\n*region ne\nELIF nexrad\n*region mw\nEND\n"
            "DEF local\nIF local\n*plot_scale 2\nEND\n"
            "UNDEF Local\nIF local\n*plot_scale 7\nEND\n"
            "IF nothere\nDEF hidden\nEND\nIF hidden\n*draw map\nEND\n");
  setenv("zordefault", ("+nexrad:" + file).c_str(), 1);
  decode({});
  EXPECT_EQ(gets({"plot_type", "region", "plot_scale", "draw"}),
            (std::vector<std::string>{"cf", "ne", "2", "<absent>"}));

  zor::res::reset();
  setenv("zordefault", file.c_str(), 1);
  decode({});
  EXPECT_EQ(gets({"plot_type", "region"}), (std::vector<std::string>{"ln", "<absent>"}));
}

TEST_F(ResTest, BadFileContentIsReportedAndSkipped) {
  std::string file =
      write("defs", "END\nELSE\nELIF x\n*region " + std::string(300, 'r') + "\n*plot_type cf\n");
  setenv("zordefault", ("#3:" + file + ":" + (dir_ / "unreadable").string()).c_str(), 1);
  const std::string err = zor::test::stderr_of([&] { decode({}); });
  for (const char* m : {"DEF_get: end without an if\n", "DEF_get: else without an if\n",
                        "DEF_get: elif without an if\n",
                        "ZORloop window: 3 not running or no message queue exists\n"})
    EXPECT_NE(err.find(m), std::string::npos) << m;
  // The over-long region line is skipped.
  EXPECT_EQ(gets({"region", "plot_type"}), (std::vector<std::string>{"<absent>", "cf"}));
}

TEST_F(ResTest, DirectoryElementTakesFirstKnownFile) {
  write("d/.zordef", "*region us\n");
  write("d/Zor.res", "*region ne\n");
  ASSERT_EQ(DEF_open((dir_ / "d").c_str()), 0);
  char name[DEF_LINE_MAX + 1], value[DEF_LINE_MAX + 1];
  ASSERT_EQ(DEF_get(name, value), 1);
  EXPECT_STREQ(value, "us");
  EXPECT_EQ(DEF_get(name, value), -1);
  DEF_close();
  write("d/zor.cfg", "*region se\n");
  ASSERT_EQ(DEF_open((dir_ / "d/").c_str()), 0);
  ASSERT_EQ(DEF_get(name, value), 1);
  EXPECT_STREQ(value, "se");
  DEF_close();
  EXPECT_EQ(DEF_open((dir_ / "empty_dir_missing").c_str()), -1);
  EXPECT_EQ(DEF_get(name, value), -1);
}

TEST_F(ResTest, NameMatchingAndTagLimit) {
  RES_setCL(1, std::vector<char*>{const_cast<char*>("/bin/radar")}.data());
  DEF_prog();
  for (const char* p : {"radar.region", "*region", "*.region", "r*.region", "*"})
    EXPECT_EQ(DEF_cmp(p, "region"), 1) << p;
  for (const char* p : {"region", "radar.regio", "nids.region", "*.regions", "*x*"})
    EXPECT_EQ(DEF_cmp(p, "region"), 0) << p;
  EXPECT_EQ(std::tuple(DEF_valid("radar.anything"), DEF_valid("*anything"), DEF_valid("anything"), DEF_valid("nids.anything")),
            std::tuple(1, 1, 0, 0));
  char out[DEF_NAME_MAX + 1];
  DEF_parse_name("radar.level.value", out);
  EXPECT_STREQ(out, "value");
  DEF_parse_name(("*" + std::string(60, 'k')).c_str(), out);
  EXPECT_EQ(std::string(out), std::string(DEF_NAME_MAX, 'k'));  // key names are cut
  DEF_title("+nids");
  EXPECT_EQ(zor::def::full_name("region"), "radar.nids.region");
  DEF_title("a_title_longer_than_twenty_nine_characters");
  EXPECT_EQ(zor::def::full_name("x"), "a_title_longer_than_twenty_ni.x");
  // Ten tags at most.
  for (int i = 0; i < 10; ++i) EXPECT_EQ(DEF_tag(("t" + std::to_string(i)).c_str()), 0);
  EXPECT_FALSE(zor::test::stderr_of([] { EXPECT_EQ(DEF_tag("eleventh"), -1); }).empty());
}

TEST_F(ResTest, Conversions) {
  // Into one int in turn: text that is no number leaves it; no text is "on".
  const std::tuple<const char*, DEF_convert, int> ints[] = {
      {"0x1F", CV_int, 31}, {"-12", CV_int, -12}, {"abc", CV_int, -12},
      {nullptr, CV_bool, 1}, {"OFF", CV_bool, 0},  {"maybe", CV_bool, 0}};
  int i = 42;
  for (const auto& [text, cvt, want] : ints) {
    RES_conv_data(text, reinterpret_cast<char*>(&i), cvt);
    EXPECT_EQ(i, want) << (text ? text : "no text");
  }
  short s = 0;
  long l = 0;
  float f = 0;
  RES_conv_data("-3", reinterpret_cast<char*>(&s), CV_short);  // needs a digit first
  RES_conv_data("123456", reinterpret_cast<char*>(&l), CV_long);
  RES_conv_data("2.5", reinterpret_cast<char*>(&f), CV_float);
  EXPECT_EQ(std::tuple(s, l, f), std::tuple(short{0}, 123456L, 2.5f));
  const char* p = nullptr;
  for (const auto& [text, cvt, want] : {std::tuple{"/data", CV_path, "/data/"}, {"NONE", CV_path, ""},
                                        {"ps,out.ps", CV_device, "out.ps"}}) {
    RES_conv_data(text, reinterpret_cast<char*>(&p), cvt);
    EXPECT_STREQ(p, want) << text;
  }

  // Words that set flags: the device (2), file parameter (15), plot type (11).
  const std::tuple<const char*, DEF_convert, int, int> flags[] = {
      {"ps,x", CV_device, 2, 4},         {"h", CV_device, 2, 5},         {"Q", CV_device, 2, 5},
      {"m", CV_device, 2, 3},            {"w", CV_device, 2, 6},         {"x", CV_device, 2, 1},
      {",name", CV_device, 2, 1},        {"ReUse", CV_file_param, 15, 3}, {"junk", CV_file_param, 15, 3},
      {"STREAM", CV_plot_type, 11, 23}, {"none", CV_plot_type, 11, 99}};
  for (const auto& [text, cvt, flag, want] : flags) {
    RES_conv_data(text, nullptr, cvt);
    EXPECT_EQ(FLAG_get(flag), want) << text;
  }

  // No value, or nowhere to store, converts nothing.
  EXPECT_EQ(RES_conv_data(nullptr, reinterpret_cast<char*>(&i), CV_int), 0);
  EXPECT_EQ(RES_conv_data("5", nullptr, CV_int), 0);
  char small[RES_STRCPY_MAX] = "keep";
  zor::test::stderr_of([&] { RES_conv_data(std::string(RES_STRCPY_MAX, 'z').c_str(), small, CV_strcpy); });
  EXPECT_STREQ(small, "keep");
  RES_conv_data("copied", small, CV_strcpy);
  EXPECT_STREQ(small, "copied");
}

TEST_F(ResTest, BatchMessageLevelListAppendAndGetval) {
  // Batch sets the message level only when none was chosen.
  decode({"-ba"});
  EXPECT_EQ(MESS_get(), 255u);
  zor::res::reset();
  zor::mess::reset();
  decode({"-me", "mess", "-ba"});
  EXPECT_EQ(std::pair(MESS_get(), FLAG_batch()), std::pair(0xFFFu, 1));

  EXPECT_EQ(RES_put("x", "1"), 0);
  EXPECT_EQ(RES_append(-9999, "x", "2", CV_string), 0);
  EXPECT_EQ(get("x"), "1\n2");
  EXPECT_EQ(RES_new(-9999, "y", nullptr, CV_string), 0);
  EXPECT_EQ(get("y"), "");
  EXPECT_EQ(RES_append(-9999, "y", "3", CV_string), 0);
  // Names are case-sensitive.
  EXPECT_EQ(gets({"y", "X"}), (std::vector<std::string>{"3", "<absent>"}));
  int v = 0;
  RES_put("n", "0x10");
  EXPECT_EQ(RES_getval("n", reinterpret_cast<char*>(&v), CV_int), 1);
  EXPECT_EQ(v, 16);
  EXPECT_EQ(RES_getval("absent", reinterpret_cast<char*>(&v), CV_int), 0);
}

TEST(ResHour, TextForms) {
  const int M = -9999;
  const std::pair<const char*, std::tuple<int, int, int, int, int>> cases[] = {
      {"#2024061512", {2024, 6, 15, 12, M}}, {"#202406151230", {2024, 6, 15, 12, 30}}, {"#2024", {2024, M, M, M, M}},
      {"061512", {M, 6, 15, 12, M}},        {"1512", {M, M, 15, 12, M}},             {"512", {M, M, 5, 12, M}},
      {"2d12:30", {M, M, 2, 12, 30}},       {":45", {M, M, M, M, 45}},               {"-:30", {M, M, M, M, -30}},
      {"12:30", {M, M, M, 12, 30}},         {"-3", {M, M, M, -3, M}},                {"-0:30", {M, M, M, M, -30}},
      {"7", {M, M, M, 7, M}},
  };
  for (const auto& [text, want] : cases) {
    const Date d = zor::res::decode_hour(text);
    EXPECT_EQ(std::tuple(d.year, d.month, d.day, d.hour, d.min), want) << text;
  }
}

}  // namespace
