// What the radar program tells a user when a run cannot do what was asked:
// one clear message, an exit status that says so, and no file pretending to
// be a result. Each row is one run of the real program on a real product.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "../common/files.h"

namespace fs = std::filesystem;

namespace {

using zor::test::count_of;
using zor::test::slurp;
using zor::test::ProgramRun;

// A fresh directory holding the product as "kbmx" (and as "a-b/kbmx", a
// folder whose name holds a dash) with no resource files and no display.
class HonestExits : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(dir_ / "a-b");
    const fs::path product = fs::path(ZOR_TEST_DATA_DIR) / "level3" / "KBMX_SDUS54_N0QBMX_201501020205";
    fs::copy_file(product, dir_ / "kbmx");
    fs::copy_file(product, dir_ / "a-b" / "kbmx");
  }

  // A batch run, or with `typed` the lines answered at the prompts.
  ProgramRun radar(const std::string& args, const std::string& typed = "") {
    std::ofstream(dir_ / "in.txt") << typed;
    return zor::test::run_radar(dir_, "", (typed.empty() ? "-ba " : "") + std::string("-inp nids ") + args, "in.txt");
  }

  zor::test::TempDir tmp_{"honest_exits"};
  const fs::path& dir_ = tmp_.path();
};

struct Row {
  const char* args;
  int status;
  const char* message;  // once, on standard error or output, or ""
  const char* file;     // written (relative to the run's directory), or ""
  const char* absent;   // text that must not appear, or ""
};

TEST_F(HonestExits, EachRunSaysWhatWentWrongAndExitsAccordingly) {
  const Row rows[] = {
      // Nothing requested and nothing to show it on.
      {"@kbmx", 2, "without an output file: nothing would be written", "", ""},
      // Output options that name nothing this program writes.
      {"-of pgn:x.png @kbmx", 2, "unknown output file type in -of (out_file): pgn:x.png", "", ""},
      {"-of xwd:x.xwd @kbmx", 2, "use -pp xwd:NAME", "", ""},
      // Image files that cannot be written.
      {"-of png:@/proc/x.png @kbmx", 12, "1 of 1 image files could not be written (last: /proc/x.png)", "", ""},
      {"-pp gif:@/proc/x.gif @kbmx", 12, "could not be written (last: /proc/x.gif)", "", ""},
      {"-of png:@/dev/full @kbmx", 12, "could not be written (last: /dev/full)", "", ""},
      {"-de p,/proc/x.ps @kbmx", 4, "gopen_ws: cannot create /proc/x.ps", "", ""},
      {"-de p,/dev/full @kbmx", 12, "the PostScript file could not be written: /dev/full", "", ""},
      // A region that would ask for its centre: batch runs ask nothing.
      {"-re var -of png:@var.png @kbmx", 0, "region var asks for its centre", "var.png", "Enter the central"},
      // Drawing switched off: one line, not one per drawing call.
      {"-pl none -of png:@n.png @kbmx", 2, "nothing is drawn (-pl none)", "", "GKS not opened"},
      {"-dr none -of png:@n.png @kbmx", 2, "nothing is drawn (-dr none)", "", "GKS not opened"},
      // A missing input file is reported once.
      {"-of png:@m.png @nosuch", 10, "Unable to open file:nosuch", "", ""},
      // Names as typed: a plain existing name, and a literal one whose folder
      // holds a dash (otherwise read as a NIDS extension).
      {"-of png:@plain.png kbmx", 0, "", "plain.png", "Unable"},
      {"-of png:@dash.png @a-b/kbmx", 0, "", "dash.png", "Unable"},
      // No watch asked for: no watch bulletins looked for.
      {"-of png:@w.png @kbmx", 0, "", "w.png", "WATCH_decode_file"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.args);
    for (const char* f : {"x.png", "n.png", "m.png", row.file})
      if (*f) fs::remove(dir_ / f);
    const ProgramRun r = radar(row.args);
    EXPECT_EQ(r.status, row.status) << r.err;
    if (*row.message) {
      EXPECT_EQ(count_of(r.err + r.out, row.message), 1) << r.out << r.err;
    }
    if (*row.file) {
      EXPECT_TRUE(fs::exists(dir_ / row.file) && fs::file_size(dir_ / row.file) > 1000u) << row.file;
    }
    for (const char* f : {"x.png", "n.png", "m.png"}) EXPECT_FALSE(fs::exists(dir_ / f)) << f;
    if (*row.absent) {
      EXPECT_EQ(count_of(r.err + r.out, row.absent), 0) << r.out << r.err;
    }
  }
}

// At the file prompt: a name the convention cannot place is told with a hint
// at @, and a name that is an existing file is used as typed.
TEST_F(HonestExits, TypedNamesAtThePromptAreUsedAsTyped) {
  const ProgramRun r = radar("", "nosuchfile\nkbmx\np\n");
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(count_of(r.out, "File not found: "), 1) << r.out;
  EXPECT_EQ(count_of(r.out, "(a name starting with @ is taken as it stands"), 1) << r.out;
  EXPECT_EQ(count_of(r.out, "Using the name as typed: kbmx"), 1) << r.out;
  EXPECT_GT(fs::file_size(dir_ / "zor.ps"), 10000u);
}

// Outputs complete for a product named as it stands: its date in the
// output name and the labels, the own image header filled from the labels
// and the domain.
TEST_F(HonestExits, OutputsOfALiteralProductAreComplete) {
  ProgramRun r = radar("-la ur:%y%m%d/%h%n -of png:@%Y%m%d_%h%n.png @kbmx");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(fs::exists(dir_ / "20150102_0205.png"));

  r = radar("-la ur:%y%m%d/%h%n -pp img:@a.img @kbmx");
  ASSERT_EQ(r.status, 0) << r.err;
  std::istringstream img(slurp(dir_ / "a.img"));
  std::string magic, datim, info, domain;
  std::getline(img, magic);
  std::getline(img, datim);
  std::getline(img, info);
  std::getline(img, domain);
  EXPECT_EQ(magic, "ZORIMGZ");
  EXPECT_EQ(datim, "150102/0205");
  EXPECT_EQ(info.rfind("Base reflectivity", 0), 0u) << info;
  EXPECT_NE(info.find(" [Md="), std::string::npos) << info;
  float clat = 0, clon = 0, dx = 0, dy = 0;
  int nx = 0, ny = 0;
  ASSERT_EQ(std::sscanf(domain.c_str(), "PS %f %f %f %f %d %d", &clat, &clon, &dx, &dy, &nx, &ny), 6) << domain;
  EXPECT_NEAR(clat, 33.17, 0.01);
  EXPECT_NEAR(clon, -86.77, 0.01);
  EXPECT_GT(nx, 100);
  EXPECT_GT(ny, 100);
}

}  // namespace
