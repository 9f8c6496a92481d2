// The radar program itself: help output, input-type selection and the dispatch to the formats.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "../common/files.h"
#include "rad_dispatch.h"

namespace fs = std::filesystem;

namespace {

using zor::test::ProgramRun;
using zor::test::slurp;

// Runs the program in an empty folder of its own with no resource files.
ProgramRun run_radar(const std::string& env, const std::string& args) {
  const zor::test::TempDir dir("radar_program");
  return zor::test::run_radar(dir.path(), env, args);
}

TEST(RadarProgram, HelpTextIsExactAndEveryInputTypeEndsCleanly) {
  std::string expected = slurp(fs::path(ZOR_TEST_DATA_DIR) / "res" / "radar_help.txt");
  ASSERT_FALSE(expected.empty());
  // Help comes before the input type is looked at, and may come from the environment.
  for (const auto& [env, args] : {std::pair{"", "-h"}, {"zorhelp=1", "-inp nids"}}) {
    const ProgramRun r = run_radar(env, args);
    EXPECT_EQ(std::tuple(r.status, r.out, r.err), std::tuple(0, expected, "")) << args;
  }
  // In batch mode with no files a type either has no plotting in this build
  // (status 1) or finds no file (status 10); both say why on standard error.
  for (const char* type :
       {"nids", "lev2", "lev2z", "rrwds", "nowrad", "kavrad", "rcmsite", "rcm", "cvt"}) {
    ProgramRun r = run_radar("", std::string("-ba -inp ") + type);
    EXPECT_NE(r.status, 0) << type;
    EXPECT_FALSE(r.err.empty()) << type;
    if (r.status == 1) { EXPECT_NE(r.err.find("not available in this program"), std::string::npos) << type; }
  }
}

TEST(RadarInputChoice, InputChoosesTypeInFileChoosesConvention) {
  using Words = std::vector<std::string>;
  // {input, in_file, input type, name convention, model}
  const std::tuple<Words, Words, int, const char*, const char*> cases[] = {
      {{}, {}, 31, "rad_cvt", "mdr"}, {{"nids"}, {"nowrad"}, 33, "nowrad", "mdr"},
      {{}, {"lev2z_west"}, 38, "lev2z_west", "mdr"}, {{}, {"lev2_west"}, 37, "lev2_west", "mdr"},
      {{"lev2z"}, {}, 38, "lev2", "mdr"}, {{"LEV2"}, {}, 37, "lev2", "mdr"}, {{"Kavrad"}, {}, 36, "kavrad", "mdr"},
      {{}, {"Kavrad"}, 36, "Kavrad", "mdr"}, {{}, {"my_kavrad"}, 31, "my_kavrad", "mdr"},
      {{"rcm"}, {}, 31, "rcm_cvt", "rcm"}, {{"rcmsite"}, {}, 35, "rcm_dat", "mdr"},
      {{"site"}, {}, 32, "rrwds", "mdr"}, {{"Rawdata"}, {}, 31, "rad_dat", "mdr"},
      {{"raw"}, {"nids_west"}, 31, "nids_west", "mdr"},  // marked: in_file keeps the type
      {{"radar"}, {"nowrad"}, 31, "nowrad", "mdr"}, {{"nowrad"}, {"mdr"}, 34, "rad_raw", "mdr"},
      {{}, {"rcm"}, 31, "rcm_cvt", "rcm"}, {{}, {"RcmSite"}, 35, "rcm_dat", "mdr"},
      {{}, {"CVTx"}, 31, "rad_cvt", "mdr"}, {{}, {"site"}, 32, "rrwds", "mdr"}, {{}, {"other"}, 31, "other", "mdr"},
      {{"nids", "lev2"}, {"a", "b"}, 37, "b", "mdr"},
      {{"bogus"}, {"NIDS"}, 31, "NIDS", "mdr"},  // contains-tests are case-sensitive
  };
  for (const auto& [input, in_file, type, name_conv, model] : cases) {
    auto got = zor::radar_entry::choose_input(input, in_file);
    EXPECT_EQ(std::tuple(got.type, got.name_conv, got.model), std::tuple(type, name_conv, model))
        << (input.empty() ? "-" : input[0]) << "/" << (in_file.empty() ? "-" : in_file[0]);
  }
}

}  // namespace
