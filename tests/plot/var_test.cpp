// Variable descriptions: type words, the bundled "nids.var" and "rad.var",
// the selection of the `variable` resource and the variable menu.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <tuple>
#include <utility>

#include "../common/files.h"
#include "../frame/captured.h"
#include "zor/flag.h"
#include "zor/res.h"
#include "zor/var.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using zor::test::stderr_of;

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

TEST_F(VarTest, TypeWordsAndBundledFiles) {
  // Words compare without regard to case; a code's name is its first word.
  for (const auto& [word, code] : {std::pair{"VALUE", 2}, {"comp", 0}, {"", 0}})
    EXPECT_EQ(VAR_dec_type(word), code) << word;
  EXPECT_EQ(VAR_dec_type(nullptr), 0);
  EXPECT_EQ(std::string(VAR_print_type(23)) + "|" + VAR_print_type(99), "strm|");

  // The bundled files describe what the overlays need.
  int n = 0;
  EXPECT_EQ(stderr_of([&] { n = VAR_open_file("nids.var"); }), "");  // every line well formed
  ASSERT_GT(n, 0);
  VAR_setup("nids.var", "comp,track,top,mvmt");
  EXPECT_EQ(std::tuple(var("comp")->type, var("track")->type, var("top")->type, var("mvmt")->type),
            std::tuple(0, 23, 2, 32));
  EXPECT_STREQ(var("top")->format, "%1.0f:tr");
  EXPECT_STREQ(var("top")->units, "kft");

  EXPECT_EQ(stderr_of([] { EXPECT_GT(VAR_open_file("rad.var"), 0); }), "");
  VAR_setup("rad.var", "pr_amv");
  EXPECT_EQ(std::pair(VAR_get_vars()[0].type, VAR_get_vars()[0].flag), std::pair(35, 1));
  EXPECT_STREQ(VAR_get_vars()[0].label, "Area movement");
}

TEST_F(VarTest, SelectionWithVariantsExtraFormatsAndUnknownNames) {
  EXPECT_EQ(VAR_setup("nids.var", "COMP, top-ul,hsize:co=red:sc=2 ,posh-mk,spd-lr:lr,storm"), 6);
  ASSERT_EQ(VAR_get_num(), 6);
  // COMP is found without regard to case; top-ul has its own description;
  // spd-lr, without one, takes its base name's; storm, unknown, stays a plain value.
  const VAR_data* v = VAR_get_vars();
  const std::tuple<std::string, int, int, std::string> want[] = {
      {"COMP", 0, 1, v[0].format}, {"top-ul", 2, 1, "%1.0f:ul"}, {"hsize", v[2].type, 1, "%z.2f:br:co=red:sc=2"},
      {"posh-mk", 3, 1, v[3].format}, {"spd-lr", v[4].type, 1, "%1.0f:br:lr"}, {"storm", 2, 0, v[5].format}};
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(std::tuple(std::string(VAR_get_name(i)), v[i].type, v[i].flag, std::string(v[i].format)), want[i]) << i;
  EXPECT_EQ(std::string(VAR_get_name(6)) + VAR_get_name(-1), "");

  // Without a description file every name is a value with its own format.
  EXPECT_EQ(VAR_setup(nullptr, "comp,watch:co=red"), 2);
  EXPECT_EQ(std::pair(VAR_get_vars()[0].type, VAR_get_vars()[0].flag), std::pair(2, 0));
  EXPECT_STREQ(VAR_get_vars()[1].format, "co=red");
  EXPECT_EQ(VAR_setup(nullptr, nullptr), 0);
  EXPECT_EQ(VAR_get_num(), 0);
}

TEST_F(VarTest, OverlongNamesAndFormatsAreRefusedNotCut) {
  const std::string long_name(25, 'a');
  const std::string long_fmt = "top:" + std::string(120, 'x');
  EXPECT_THAT(stderr_of([&] { EXPECT_EQ(VAR_setup("nids.var", (long_name + ",top," + long_fmt).c_str()), 1); }),
              HasSubstr("VAR_setup: variable too long: " + long_name));
  EXPECT_STREQ(VAR_get_name(0), "top");
  // More than VAR_MAX names: the rest are left out with a warning.
  std::string many;
  for (int i = 0; i < VAR_MAX + 5; ++i) many += "v" + std::to_string(i) + ",";
  EXPECT_THAT(stderr_of([&] { EXPECT_EQ(VAR_setup(nullptr, many.c_str()), VAR_MAX); }), HasSubstr("too many variables"));
}

TEST_F(VarTest, BadDescriptionLinesAreSkippedWithAWarning) {
  const std::string path = write("bad.var",
                                 "# comment\n\n"
                                 "good   value  %1.1f  m  A good one\r\n"
                                 "short  value\n"
                                 "odd    blob   -      -  Unknown type\n"
                                 "waytoolongnameforthefield value - -\n"
                                 "plain  text   -\n");
  EXPECT_THAT(stderr_of([&] { EXPECT_EQ(VAR_open_file(path.c_str()), 2); }),
              AllOf(HasSubstr("line 4: name, type and format expected"), HasSubstr("line 5: unknown plot type blob"),
                    HasSubstr("line 6: field too long")));
  EXPECT_STREQ(VAR_get_desc(0)->label, "A good one");
  EXPECT_STREQ(VAR_get_desc(0)->units, "m");
  EXPECT_STREQ(VAR_get_desc(1)->format, "");
  EXPECT_EQ(VAR_get_desc(2), nullptr);

  EXPECT_THAT(stderr_of([] { EXPECT_EQ(VAR_open_file("no_such.var"), -1); }),
              HasSubstr("VAR_open_file: variable file not found: no_such.var"));
  // A missing description file still selects the names.
  stderr_of([] { EXPECT_EQ(VAR_setup("no_such.var", "top"), 1); });
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
