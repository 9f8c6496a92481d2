// File-name conventions and file selection over a directory of real NIDS
// products named by a convention, with fixed reference times.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "../common/files.h"
#include "captured.h"
#include "zor/date.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/res.h"

namespace fs = std::filesystem;
using ::testing::HasSubstr;

namespace {

const fs::path kProduct = fs::path(ZOR_TEST_DATA_DIR) / "file" / "KOKX_SDUS61_NMLOKX_201108280702";

Date make_date(int y, int mo, int d, int h, int mi) {
  Date t;
  t.year = y, t.month = mo, t.day = d, t.hour = h, t.min = mi, t.sec = 0;
  int j = 0;
  DATE_monday_julian(y, mo, d, &j);
  t.jday = j;
  return t;
}

class FileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::file::reset();
    unsetenv("zorcurtime");
    for (const auto& [name, value] : {std::pair<const char*, std::string>{"file_path", dir_.string()},
                                      {"data_path", dir_.string()}, {"raw_path", "/raw"}, {"name_conv", ""},
                                      {"filename", ""}, {"num_hour", ""}, {"identifier", "OKX"}})
      put(name, value);
    FLAG_set_batch(0);
    // The real product's own naming: station, bulletin, product and time.
    std::ofstream(dir_ / "name_conv") << "# test conventions\n"
                                         "okx   %D/KOKX_SDUS61_NMLOKX_%Y%m%d%h02   -  100\n"
                                         "nids  %D/nids/%e/%{identifier}_%y%m%d%h%n   -  0\n"
                                         "hrs   %D/%y%m%d%h.nids   -  0\n"
                                         "stdo  -   -  0\n";
  }
  void TearDown() override { unsetenv("zorcurtime"); }

  static void put(const char* name, const std::string& value) { RES_put(name, value.c_str()); }
  // A copy of the real product under the name of time `stamp`.
  void product_at(const std::string& stamp) {
    fs::copy_file(kProduct, dir_ / ("KOKX_SDUS61_NMLOKX_" + stamp), fs::copy_options::overwrite_existing);
  }
  std::string at(const std::string& stamp) const { return (dir_ / ("KOKX_SDUS61_NMLOKX_" + stamp)).string(); }
  static std::tuple<int, int, int, int> date_read() {
    Date got;
    FILE_get_date(&got);
    return std::tuple(got.year, got.month, got.day, got.hour);
  }

  zor::test::TempDir tmp_{"file_test"};
  const fs::path& dir_ = tmp_.path();
};

// Every template key, built from 2024-03-05 18:40 (day 65).
TEST_F(FileTest, TemplateKeysExpand) {
  for (const auto& [name, value] : {std::pair{"con_path", "/con/"}, {"grid_path", "/grid"}, {"image_path", "/img"},
                                    {"watch_path", "/wat"}, {"text_path", "/txt"}, {"model_path", "/mod"},
                                    {"sat_path", "/sat"}, {"product", "N0R"}})
    put(name, value);
  FILE_set_name("@first");  // the first convention clears the user keys
  FILE_set_key('s', "TLX site");
  const std::string d = dir_.string();
  const std::tuple<const char*, std::string, int> cases[] = {
      {"%D/%y%m%d%h.nids", d + "/24030518.nids", 3600}, {"%D/%y%m%d%3h.nids", d + "/24030518.nids", 10800},
      {"%D/%y%m%d%3h%30n.nids", d + "/2403051830.nids", 1800}, {"%Y-%b-%j %%", "2024-mar-065_%", 86400},
      {"%C|%F|%R|%G|%I|%W|%T|%M|%S", "/con|" + d + "|/raw|/grid|/img|/wat|/txt|/mod|/sat", -9999},
      {"%s_%2s_%q_%{product}_%{nosuch}.x", "TLX_site_TL_0_N0R_.x", -9999}, {"a{%h}b%15n", "a18b30", 900},
      {"%5d", "01", 5 * 86400},
  };
  for (const auto& [tmpl, expect, late_off] : cases) {
    ASSERT_EQ(FILE_set_name((std::string("@") + tmpl).c_str()), 1);
    Date t = make_date(2024, 3, 5, 18, 40);
    char out[FILE_NAME_MAX];
    EXPECT_EQ(FILE_set_date(&t, out), 0) << tmpl;
    EXPECT_EQ(std::string(out), expect) << tmpl;
    EXPECT_EQ(FILE_get_late_off(), late_off) << tmpl;
  }
  // Unset fields have their placeholders.
  ASSERT_EQ(FILE_set_name("@%Y%y%m%b%d%h%n"), 1);
  Date part;
  part.year = 2024;
  char out[FILE_NAME_MAX];
  FILE_set_date(&part, out);
  EXPECT_STREQ(out, "20242400xxx000000");
}

TEST_F(FileTest, HourSpecificationOverridesDate) {
  ASSERT_EQ(FILE_set_name("@%y%m%d%h"), 1);
  Date spec;
  spec.hour = -612;  // every 12 hours from 06
  FILE_set_time(&spec);
  char out[FILE_NAME_MAX];
  Date t = make_date(2024, 3, 5, 18, 40);
  FILE_set_date(&t, out);
  EXPECT_STREQ(out, "24030518");
  t.hour = 11;
  FILE_set_date(&t, out);
  EXPECT_STREQ(out, "24030506");
  EXPECT_EQ(FILE_get_late_off(), 12 * 3600);
  Date got;
  FILE_get_date(&got);
  EXPECT_EQ(std::tuple(got.hour, got.day), std::tuple(6, 5));

  spec = Date{};
  spec.hour = 0;  // a fixed hour
  FILE_set_time(&spec);
  FILE_set_date(&t, out);
  EXPECT_STREQ(out, "24030500");
  FILE_reset_time();
  FILE_set_date(&t, out);
  EXPECT_STREQ(out, "24030511");
}

TEST_F(FileTest, ConventionFileMatches) {
  EXPECT_EQ(FILE_set_name("okx"), 1);
  EXPECT_EQ(FILE_get_late_off(), 3600);
  // Partial match: the extension comes from the type's last "_" part, keys from ":c=" suffixes.
  EXPECT_EQ(FILE_set_name("nids_n0r:s=TLX"), 1);
  Date t = make_date(2024, 3, 5, 18, 40);
  char out[FILE_NAME_MAX];
  auto name = [&] {
    FILE_set_date(&t, out);
    return std::string(out);
  };
  EXPECT_EQ(name(), dir_.string() + "/nids/n0r/OKX_2403051840");
  EXPECT_EQ(FILE_set_name("@%s"), 1);
  EXPECT_EQ(name(), "TLX");
  // No line: the type is the template.
  EXPECT_EQ(FILE_set_name("zor.gif"), 0);
  EXPECT_EQ(name(), "zor.gif");
  // "none": no convention, the last name stands.
  EXPECT_EQ(FILE_set_name("none"), 0);
  FILE_set_filename("given.nids");
  EXPECT_EQ(FILE_set_date(&t, out), 1);
  EXPECT_STREQ(out, "given.nids");
  // A standard-stream convention.
  EXPECT_EQ(FILE_set_name("stdo"), 1);
  EXPECT_EQ(FILE_set_date(&t, out), 1);
  EXPECT_STREQ(out, "-");
  // A named convention file, relative to file_path; a missing one warns and falls back to the type.
  std::ofstream(dir_ / "other_conv") << "okx  %D/other_%h  -  0\n";
  put("name_conv", "other_conv");
  EXPECT_EQ(FILE_set_name("okx"), 1);
  EXPECT_EQ(name(), dir_.string() + "/other_18");
  put("name_conv", "missing_conv");
  EXPECT_EQ(FILE_set_name("okx"), 0);
  // The bundled conventions cover every input type.
  put("name_conv", "");
  put("file_path", (dir_ / "empty").string());
  for (const char* type : {"nids", "lev2", "lev2z", "nowrad", "kavrad", "rrwds", "rcm_dat", "rcm_cvt", "rad_cvt",
                           "rad_raw", "rad_dat", "wat_dat", "nids_grd_zor"}) {
    EXPECT_EQ(FILE_set_name(type), 1) << type;
    EXPECT_GT(FILE_get_offset(), 0) << type;
  }
  // The grid convention is not taken for the plain nids one.
  FILE_set_name("nids_grd_zor");
  EXPECT_THAT(name(), HasSubstr(".grd"));
}

TEST_F(FileTest, LatestFileWithinWindow) {
  product_at("201108280502");
  std::ofstream(at("201108280602")) << "ten bytes.";  // below the convention's minimum size of 100
  product_at("201108280702");
  std::ofstream(dir_ / "unrelated.txt") << "x";
  ASSERT_EQ(FILE_set_name("okx"), 1);
  EXPECT_THAT(zor::test::stdout_of(FILE_list_file),
              ::testing::AllOf(HasSubstr("NMLOKX_201108280502"), HasSubstr("NMLOKX_201108280702"),
                               ::testing::Not(HasSubstr("unrelated"))));
  char out[FILE_NAME_MAX];
  long t = FILE_set_current("#201108280930la", out);
  EXPECT_EQ(std::string(out), at("201108280702"));
  Date seven = make_date(2011, 8, 28, 7, 0);
  EXPECT_EQ(t, DATE_num_sec(&seven));
  EXPECT_EQ(date_read(), std::tuple(2011, 8, 28, 7));

  FILE_set_current("#201108280650la", out);  // skips the too-small file
  EXPECT_EQ(std::string(out), at("201108280502"));
  FILE_set_min_size(5);  // a lower floor set by the caller wins
  FILE_set_current("#201108280650la", out);
  EXPECT_EQ(std::string(out), at("201108280602"));
  FILE_set_min_size(0);

  // A bounded search leaves the last name tried; offsets before and after the search; forward search.
  const std::pair<const char*, const char*> searches[] = {
      {"#201108281000la#2", "201108280802"},    {"#201108281000la#3", "201108280702"},
      {"#201108281000-2la", "201108280702"},    {"#201108280930la-1", "201108280602"},
      {"#201108280300+la", "201108280502"},     {"#201108272000+1d6:30", "201108290202"},
      {"#201108280400+0d1la", "201108280502"},
  };
  for (const auto& [spec, file] : searches) {
    FILE_set_current(spec, out);
    EXPECT_EQ(std::string(out), at(file)) << spec;
  }

  // The reference time from the environment.
  setenv("zorcurtime", "#201108280815", 1);
  FILE_set_current("la", out);
  EXPECT_EQ(std::string(out), at("201108280702"));
  FILE_set_current(nullptr, out);
  EXPECT_EQ(std::string(out), at("201108280702"));
  // A fixed hour in the time specification goes back a day when later.
  Date spec;
  spec.hour = 23;
  FILE_set_time(&spec);
  FILE_set_current("", out);
  EXPECT_EQ(std::string(out), at("201108272302"));
}

TEST_F(FileTest, TypedNamesReadBackIntoDates) {
  product_at("201108280702");
  char out[FILE_NAME_MAX];
  // Only the date typed: path and suffix from the template.
  ASSERT_EQ(FILE_set_name("hrs"), 1);
  EXPECT_EQ(FILE_set_file("24030518", out), 0);
  EXPECT_EQ(std::string(out), dir_.string() + "/24030518.nids");
  EXPECT_EQ(date_read(), std::tuple(2024, 3, 5, 18));
  // Text that is not a date is kept whole after the path.
  FILE_set_file("notadate", out);
  EXPECT_EQ(std::string(out), dir_.string() + "/notadate");

  // The real product's base name, and a full path that keeps its directory.
  ASSERT_EQ(FILE_set_name("okx"), 1);
  EXPECT_EQ(FILE_set_file("KOKX_SDUS61_NMLOKX_201108280702", out), 0);
  EXPECT_EQ(std::string(out), at("201108280702"));
  EXPECT_TRUE(FILE_exist(out));
  EXPECT_EQ(date_read(), std::tuple(2011, 8, 28, 7));
  EXPECT_EQ(FILE_set_file("/elsewhere/x/KOKX_SDUS61_NMLOKX_201108280702", out), 0);
  EXPECT_STREQ(out, "/elsewhere/x/KOKX_SDUS61_NMLOKX_201108280702");
  // Literal and standard-stream names.
  for (const auto& [typed, want] : {std::pair{"@my.file", "my.file"}, {"-", "-"}}) {
    EXPECT_EQ(FILE_set_file(typed, out), 1);
    EXPECT_STREQ(out, want);
  }
  // "la" and "#time" go through the latest-file search.
  setenv("zorcurtime", "201108281200", 1);
  FILE_set_file("la", out);
  EXPECT_EQ(std::string(out), at("201108280702"));
  FILE_set_file("#2011082807", out);
  EXPECT_EQ(std::string(out), at("201108280702"));

  // Month names and days of the year read back.
  ASSERT_EQ(FILE_set_name("@%D/%Y%b%d.%j"), 1);
  FILE_set_file("2024mar05.065", out);
  Date got;
  FILE_get_date(&got);
  EXPECT_EQ(std::tuple(got.month, got.day, got.jday), std::tuple(3, 5, 65));

  // NIDS: "#2" after the name selects a product of a concatenated file.
  FILE_set_type(1);
  ASSERT_EQ(FILE_set_name("okx"), 1);
  FILE_set_file("KOKX_SDUS61_NMLOKX_201108280702#2", out);
  EXPECT_STREQ(FILE_get_ext_info(), "#2");
  EXPECT_EQ(std::string(out), at("201108280702"));
  // Dashes of folders and of literal names are part of the name.
  FILE_set_file("/data/wt-1/KOKX_SDUS61_NMLOKX_201108280702#2", out);
  EXPECT_STREQ(FILE_get_ext_info(), "#2");
  FILE_set_file("@/data/wt-1/KLOT-001-S", out);
  EXPECT_EQ(std::string(out), "/data/wt-1/KLOT-001-S");
}

TEST_F(FileTest, SeriesOverSeveralHours) {
  ASSERT_EQ(FILE_set_name("okx"), 1);
  Date start = make_date(2011, 8, 28, 7, 0);
  auto series = [&]() {
    std::vector<std::string> names;
    FILE_first(&start);
    char out[FILE_NAME_MAX];
    while (FILE_get_next(out)) {
      names.emplace_back(out);
      if (names.size() > 50) break;
    }
    return names;
  };
  put("num_hour", "-3:00");
  EXPECT_EQ(FILE_get_num_file(), -3 * 3600);
  EXPECT_THAT(series(), ::testing::ElementsAre(at("201108280402"), at("201108280502"), at("201108280602"),
                                               at("201108280702")));
  put("num_hour", "4,2:00");
  EXPECT_THAT(series(), ::testing::ElementsAre(at("201108280702"), at("201108280902"), at("201108281102")));
  EXPECT_EQ(FILE_get_skip(), 7200);
  put("num_hour", ":30");  // shorter than the interval: the start only
  EXPECT_THAT(series(), ::testing::ElementsAre(at("201108280702")));

  // Without a length the series is the last file chosen.
  put("num_hour", "");
  char out[FILE_NAME_MAX];
  FILE_set_file("KOKX_SDUS61_NMLOKX_201108280702", out);
  EXPECT_THAT(series(), ::testing::ElementsAre(at("201108280702")));
  EXPECT_EQ(FILE_get_num_file(), 0);

  // Explicit names step through the list.
  put("filename",
      "KOKX_SDUS61_NMLOKX_201108280502\nKOKX_SDUS61_NMLOKX_201108280602\nKOKX_SDUS61_NMLOKX_201108280702");
  EXPECT_EQ(FILE_get_num_file(), 2);
  EXPECT_THAT(series(), ::testing::ElementsAre(at("201108280502"), at("201108280602"), at("201108280702")));
}

TEST_F(FileTest, GetFileBatchAndCurrent) {
  product_at("201108280702");
  ASSERT_EQ(FILE_set_name("okx"), 1);
  setenv("zorcurtime", "201108281200", 1);
  FLAG_set_batch(1);
  char out[FILE_NAME_MAX];
  EXPECT_EQ(FILE_get_file("Enter the NIDS filename: ", out), 1);
  EXPECT_EQ(std::string(out), at("201108280702"));
  // Given names and the `current` resource are tried in children, so that
  // the resources they set do not reach the other tests.
  FLAG_set_batch(0);
  auto with = [&](const char* name, const char* value) {
    RES_put(name, value);
    std::exit(FILE_get_file("prompt", out) == 1 ? 3 : 4);
  };
  EXPECT_EXIT(with("current", "-6la"), ::testing::ExitedWithCode(10), "File not found");
  EXPECT_EXIT(with("current", "-3la"), ::testing::ExitedWithCode(3), "");
  EXPECT_EXIT(with("current", "cu-3la"), ::testing::ExitedWithCode(3), "");
  EXPECT_EXIT(with("filename", "KOKX_SDUS61_NMLOKX_201108280702"), ::testing::ExitedWithCode(3), "");
  EXPECT_EXIT(with("filename", "KOKX_SDUS61_NMLOKX_201108280802"), ::testing::ExitedWithCode(4), "");
  // A batch run that finds nothing ends with status 10.
  FLAG_set_batch(1);
  setenv("zorcurtime", "201001010000", 1);
  EXPECT_EXIT(FILE_get_file("prompt", out), ::testing::ExitedWithCode(10), "File not found");

  // Answers typed at the prompt: a missing name, then a good one.
  FLAG_set_batch(0);
  const fs::path answers = dir_ / "answers";
  auto run = [&](const std::string& text) {
    std::ofstream(answers) << text;
    if (!std::freopen(answers.c_str(), "r", stdin)) std::exit(99);
    int rc = FILE_get_file("Enter the NIDS filename: ", out);
    std::exit(rc == 1 && std::string(out) == at("201108280702") ? 3 : 4);
  };
  EXPECT_EXIT(run("KOKX_SDUS61_NMLOKX_201108280802\nKOKX_SDUS61_NMLOKX_201108280702\n"), ::testing::ExitedWithCode(3), "");
  EXPECT_EXIT(run("exit\n"), ::testing::ExitedWithCode(0), "");
  EXPECT_EXIT(run("a\nb\nc\nd\nKOKX_SDUS61_NMLOKX_201108280702\n"), ::testing::ExitedWithCode(10), "");
  // End of input ends the run (the prompt layer may treat it as "exit"), it never hangs or picks a file.
  auto ended = [](int status) { return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 10); };
  EXPECT_EXIT(run(""), ended, "");
}

TEST_F(FileTest, FileSystemHelpers) {
  FILE* in = FILE_open("|echo piped words", "r");
  ASSERT_NE(in, nullptr);
  char line[64] = "";
  ASSERT_NE(std::fgets(line, sizeof line, in), nullptr);
  EXPECT_STREQ(line, "piped words\n");
  EXPECT_EQ(FILE_close(in), 0);
  const std::string piped = (dir_ / "piped.txt").string();
  FILE* out = FILE_open(("|cat > " + piped).c_str(), "w");
  ASSERT_NE(out, nullptr);
  std::fputs("through cat\n", out);
  EXPECT_EQ(FILE_close(out), 0);
  EXPECT_EQ(FILE_size(piped.c_str()), 12);

  // "~" expansion and directory creation on writing.
  std::optional<zor::test::EnvVar> home;
  home.emplace("HOME", dir_.c_str());
  FILE* w = FILE_open("~/deep/er/new.txt", "w");
  ASSERT_NE(w, nullptr);
  std::fputs("abc", w);
  FILE_close(w);
  EXPECT_EQ(FILE_size((dir_ / "deep/er/new.txt").c_str()), 3);
  EXPECT_TRUE(FILE_exist("~/deep/er/new.txt") && FILE_is_dir("~/deep"));
  EXPECT_EQ(FILE_delete("~/deep/er/new.txt"), 0);
  EXPECT_EQ(FILE_size("~/deep/er/new.txt"), -1);
  char buf[FILE_NAME_MAX];
  EXPECT_EQ(std::string(FILE_add_user_path("~/x", buf)), dir_.string() + "/x");
  EXPECT_STREQ(FILE_add_user_path("~root/x", buf), "/root/x");
  EXPECT_STREQ(FILE_add_user_path("~no_such_user_zz/x", buf), "~no_such_user_zz/x");
  home.reset();
  EXPECT_EQ(FILE_make_dir((dir_ / "m1/m2").c_str(), 0), 0);
  EXPECT_TRUE(FILE_is_dir((dir_ / "m1/m2").c_str()));
  EXPECT_EQ(FILE_open((dir_ / "nosuch").c_str(), "r"), nullptr);
  EXPECT_EQ(FILE_open("-", "r"), stdin);
  EXPECT_EQ(FILE_open("STD", "w"), stdout);

  for (const auto& [dir, name, want] : {std::tuple{"/a", "b", "/a/b"}, {"/a/", "b", "/a/b"}, {"/a", "/abs/b", "/abs/b"},
                                       {"/a", "-", "-"}})
    EXPECT_STREQ(FILE_add_path(dir, name, buf), want) << dir << " " << name;
  std::snprintf(buf, sizeof buf, "%s", "/p");
  EXPECT_STREQ(FILE_add_path_delim(buf), "/p/");
  EXPECT_STREQ(FILE_add_path_delim(buf), "/p/");
  buf[0] = '\0';
  EXPECT_STREQ(FILE_add_path_delim(buf), "");
  for (const char* s : {"", "-", "std", "StdN"}) EXPECT_EQ(FILE_is_stdio(s), 1) << s;
  EXPECT_EQ(FILE_is_stdio("stdout"), 0);
  EXPECT_EQ(FILE_fullpath("./x") + FILE_fullpath("/x") + FILE_fullpath("~x"), 3);
  EXPECT_EQ(FILE_fullpath("x/y"), 0);
}

// main hands a 40-character buffer: a longer name is refused, not cut.
TEST_F(FileTest, LongNamesRefusedAndConventionRestored) {
  ASSERT_EQ(FILE_set_name("okx"), 1);
  Date t = make_date(2011, 8, 28, 7, 0);
  char small[40];
  std::memset(small, 'Z', sizeof small);
  EXPECT_EQ(FILE_set_date(&t, small, sizeof small), -1);
  EXPECT_STREQ(small, "");
  char big[FILE_NAME_MAX];
  EXPECT_EQ(FILE_set_date(&t, big, sizeof big), 0);
  EXPECT_EQ(std::string(big), at("201108280702"));
  EXPECT_EQ(FILE_add_path(std::string(300, 'd').c_str(), "f", big), nullptr);
  char tiny[4] = "abc";
  EXPECT_EQ(FILE_add_path_delim(tiny, sizeof tiny), nullptr);
  EXPECT_STREQ(tiny, "abc");

  // The convention saved and restored around another one.
  char out[FILE_NAME_MAX];
  FILE_set_file("KOKX_SDUS61_NMLOKX_201108280702", out);
  FILE_save_name_conv();
  FILE_set_name("wat");
  FILE_set_late_off(60);
  FILE_restore_name_conv();
  EXPECT_EQ(FILE_get_late_off(), 3600);
  EXPECT_EQ(std::string(FILE_get_filename(nullptr)), at("201108280702"));
  t = make_date(2011, 8, 28, 5, 0);
  EXPECT_EQ(FILE_set_date_off(&t, 7200, out), 2);
  EXPECT_EQ(std::string(out), at("201108280702"));
}

}  // namespace
