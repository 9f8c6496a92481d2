// Variable descriptions: the plot type words, the bundled description files
// "nids.var" and "rad.var", the selection of the `variable` resource and the
// variable menu.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <tuple>

#include "../common/files.h"
#include "zor/flag.h"
#include "zor/res.h"
#include "zor/var.h"

namespace {

class VarTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::var::reset();
    RES_put("file_path", "");
  }
  void TearDown() override { zor::var::reset(); }
  static std::string write(const std::string& name, const std::string& text) {
    const std::string path = zor::test::scratch(name);
    std::ofstream(path) << text;
    return path;
  }
  static const VAR_data* var(const char* name) {
    for (int i = 0; i < VAR_get_num(); ++i) {
      if (std::string(VAR_get_vars()[i].name) == name) return &VAR_get_vars()[i];
    }
    return nullptr;
  }
};

TEST_F(VarTest, TypeWordsAndTheirCodes) {
  const struct {
    const char* word;
    int code;
  } table[] = {{"value", 2}, {"mk", 4}, {"wbarb", 32}, {"track", 23}, {"wx", 36}, {"cont", 11}, {"VALUE", 2}};
  for (const auto& t : table) EXPECT_EQ(VAR_dec_type(t.word), t.code) << t.word;
  EXPECT_EQ(VAR_dec_type("comp"), 0);
  EXPECT_EQ(VAR_dec_type(""), 0);
  EXPECT_EQ(VAR_dec_type(nullptr), 0);
  // The name of a code is its first word.
  EXPECT_STREQ(VAR_print_type(4), "mark");
  EXPECT_STREQ(VAR_print_type(23), "strm");
  EXPECT_STREQ(VAR_print_type(99), "");
}

TEST_F(VarTest, BundledFilesDescribeWhatTheOverlaysNeed) {
  testing::internal::CaptureStderr();
  const int n = VAR_open_file("nids.var");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");  // every line well formed
  ASSERT_GT(n, 0);
  // Every storm value of the storm tables, and the plot's own words.
  for (const char* name : {"comp", "track", "watch", "table", "id", "tvs", "meso", "posh", "poh", "hsize", "vil",
                           "dbzm", "dbzht", "top", "dir", "spd", "mvmt"}) {
    ASSERT_EQ(VAR_setup("nids.var", name), 1) << name;
    EXPECT_EQ(VAR_get_vars()[0].flag, 1) << name << " not described";
  }
  VAR_setup("nids.var", "comp,track,top,mvmt");
  EXPECT_EQ(std::tuple(var("comp")->type, var("track")->type, var("top")->type, var("mvmt")->type),
            std::tuple(0, 23, 2, 32));
  EXPECT_STREQ(var("top")->format, "%1.0f:tr");
  EXPECT_STREQ(var("top")->units, "kft");

  testing::internal::CaptureStderr();
  ASSERT_GT(VAR_open_file("rad.var"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  for (const char* name : {"watch", "city", "stat", "pr_typ", "pr_tt", "pr_tnd", "echtop", "pr_amv", "pr_cmv", "mode",
                           "echotop", "tvs", "meso", "id", "top", "hail", "spd", "mvmt"}) {
    ASSERT_EQ(VAR_setup("rad.var", name), 1) << name;
    EXPECT_EQ(VAR_get_vars()[0].flag, 1) << name << " not described";
  }
  VAR_setup("rad.var", "pr_amv");
  EXPECT_EQ(VAR_get_vars()[0].type, 35);
  EXPECT_STREQ(VAR_get_vars()[0].label, "Area movement");
}

TEST_F(VarTest, SelectionWithVariantsExtraFormatsAndUnknownNames) {
  EXPECT_EQ(VAR_setup("nids.var", "COMP, top-ul,hsize:co=red:sc=2 ,posh-mk,spd-lr:lr,storm"), 6);
  ASSERT_EQ(VAR_get_num(), 6);
  EXPECT_STREQ(VAR_get_name(0), "COMP");
  EXPECT_EQ(VAR_get_vars()[0].type, 0);  // found without regard to case
  EXPECT_STREQ(VAR_get_name(1), "top-ul");
  EXPECT_STREQ(VAR_get_vars()[1].format, "%1.0f:ul");  // its own description
  EXPECT_STREQ(VAR_get_vars()[2].format, "%z.2f:br:co=red:sc=2");
  EXPECT_EQ(VAR_get_vars()[3].type, 3);
  // A variant without its own line takes its base name's description.
  EXPECT_STREQ(VAR_get_name(4), "spd-lr");
  EXPECT_STREQ(VAR_get_vars()[4].format, "%1.0f:br:lr");
  EXPECT_EQ(VAR_get_vars()[4].flag, 1);
  // Unknown names stay selected as plain values.
  EXPECT_STREQ(VAR_get_name(5), "storm");
  EXPECT_EQ(VAR_get_vars()[5].type, 2);
  EXPECT_EQ(VAR_get_vars()[5].flag, 0);
  EXPECT_STREQ(VAR_get_name(6), "");
  EXPECT_STREQ(VAR_get_name(-1), "");

  // Without a description file every name is a value with its own format.
  EXPECT_EQ(VAR_setup(nullptr, "comp,watch:co=red"), 2);
  EXPECT_EQ(VAR_get_vars()[0].type, 2);
  EXPECT_EQ(VAR_get_vars()[0].flag, 0);
  EXPECT_STREQ(VAR_get_vars()[1].format, "co=red");
  EXPECT_EQ(VAR_setup(nullptr, nullptr), 0);
  EXPECT_EQ(VAR_get_num(), 0);
}

TEST_F(VarTest, OverlongNamesAndFormatsAreRefusedNotCut) {
  testing::internal::CaptureStderr();
  const std::string long_name(25, 'a');
  const std::string long_fmt = "top:" + std::string(120, 'x');
  EXPECT_EQ(VAR_setup("nids.var", (long_name + ",top," + long_fmt).c_str()), 1);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("VAR_setup: variable too long: " + long_name), std::string::npos) << err;
  EXPECT_STREQ(VAR_get_name(0), "top");
  // More than VAR_MAX names: the rest are left out with a warning.
  std::string many;
  for (int i = 0; i < VAR_MAX + 5; ++i) many += "v" + std::to_string(i) + ",";
  testing::internal::CaptureStderr();
  EXPECT_EQ(VAR_setup(nullptr, many.c_str()), VAR_MAX);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("too many variables"), std::string::npos);
}

TEST_F(VarTest, BadDescriptionLinesAreSkippedWithAWarning) {
  const std::string path = write("bad.var",
                                 "# comment\n\n"
                                 "good   value  %1.1f  m  A good one\r\n"
                                 "short  value\n"
                                 "odd    blob   -      -  Unknown type\n"
                                 "waytoolongnameforthefield value - -\n"
                                 "plain  text   -\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(VAR_open_file(path.c_str()), 2);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("line 4: name, type and format expected"), std::string::npos) << err;
  EXPECT_NE(err.find("line 5: unknown plot type blob"), std::string::npos) << err;
  EXPECT_NE(err.find("line 6: field too long"), std::string::npos) << err;
  EXPECT_STREQ(VAR_get_desc(0)->label, "A good one");
  EXPECT_STREQ(VAR_get_desc(0)->units, "m");
  EXPECT_STREQ(VAR_get_desc(1)->format, "");
  EXPECT_EQ(VAR_get_desc(2), nullptr);

  testing::internal::CaptureStderr();
  EXPECT_EQ(VAR_open_file("no_such.var"), -1);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("VAR_open_file: variable file not found: no_such.var"),
            std::string::npos);
  // A missing description file still selects the names.
  testing::internal::CaptureStderr();
  EXPECT_EQ(VAR_setup("no_such.var", "top"), 1);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(VAR_get_vars()[0].flag, 0);
}

TEST_F(VarTest, MenuAnswersByNumberNameEmptyAndQuit) {
  ASSERT_GT(VAR_open_file("rad.var"), 3);
  const std::string answers = write("menu.txt", "3\nmvmt:co=red\n\nq\n99\n");
  ASSERT_NE(std::freopen(answers.c_str(), "r", stdin), nullptr);
  testing::internal::CaptureStdout();
  char var[64];
  EXPECT_EQ(VAR_menu("\n        Variable Menu\n", "Enter the variable: ", var, sizeof var), 3);
  EXPECT_STREQ(var, VAR_get_desc(2)->name);
  EXPECT_EQ(VAR_menu("", "Enter the variable: ", var, sizeof var), VAR_get_num_desc() + 1);
  EXPECT_STREQ(var, "mvmt:co=red");
  EXPECT_EQ(VAR_menu("", "Enter the variable: ", var, sizeof var), 0);
  EXPECT_EQ(VAR_menu("", "Enter the variable: ", var, sizeof var), -1);
  EXPECT_EQ(VAR_menu("", "Enter the variable: ", var, sizeof var), 0);  // no variable 99
  const std::string shown = testing::internal::GetCapturedStdout();
  EXPECT_NE(shown.find("        Variable Menu"), std::string::npos);
  EXPECT_NE(shown.find("   2  city         Station identifier"), std::string::npos) << shown;
  // In batch mode nobody is asked.
  FLAG_set(19, 1);
  EXPECT_EQ(VAR_menu("", "", var, sizeof var), -9999);
  FLAG_set(19, 0);
}

}  // namespace
