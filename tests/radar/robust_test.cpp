// Readers of outside data against prefixes and mutations of real files and the
// inputs the fuzzers once broke them with; ASan and UBSan catch the rest.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "entries.h"
#include "../common/files.h"
#include "../common/sweep.h"

namespace {

namespace fs = std::filesystem;
using zor::test::SweepBytes;

SweepBytes bytes_of(const fs::path& p) {
  const std::string s = zor::test::slurp(p.string());
  return {s.begin(), s.end()};
}

const std::string kData = ZOR_TEST_DATA_DIR;
const std::string kSeeds = ZOR_FUZZ_CORPUS_DIR;

struct Sweep {
  const char* reader;
  std::string file;
  bool prefixes;  // false where the format's own tests cut it already
  std::size_t max_prefixes;
  int mutations;
};

const Sweep kSweeps[] = {
    {"lev2", kData + "/level2/pyart_example_nexrad_archive_msg31_compressed.ar2v", false, 0, 60},
    {"lev2", kData + "/level2/chunks/20210729-123848-001-S", true, 100, 100},
    {"nowrad", kSeeds + "/nowrad/ring.nowrad", false, 0, 300},
    {"nowrad", kSeeds + "/nowrad/lambert.nowrad", true, 2000, 300},
    {"kavrad", kSeeds + "/kavrad/block.kavrad", true, 2000, 300},
    {"kavrad", kSeeds + "/kavrad/coarse.kavrad", true, 2000, 300},
    {"nids", kData + "/level3/NVL_20041130_1946", true, 2000, 300},
    {"nids", kData + "/level3/KBMX_SDUS54_NVLBMX_201501020205", true, 2000, 300},
    {"nids", kData + "/level3/KBMX_SDUS34_NSTBMX_201501020205", true, 2000, 300},
    {"nids", kData + "/level3/KBMX_SDUS74_EETBMX_201501020205", true, 100, 100},
    {"rcm", kData + "/rcm/KBMX_SDUS44_RCMBMX_201501020217", false, 0, 300},
    {"rcm", kData + "/rcm/KOKX_SDUS41_RCMOKX_201108280716", true, 2000, 300},
    {"rcm", kData + "/rcm/plain_sites.txt", true, 2000, 300},
    {"rrwds", kData + "/rrwds/oax_levels.rrwds", false, 0, 300},
    {"gif", kSeeds + "/gif/small.gif", true, 2000, 300},
    {"gif", kSeeds + "/gif/interlaced.gif", true, 2000, 300},
    {"png", kSeeds + "/png/small.png", true, 2000, 300},
    {"xwd", kSeeds + "/xwd/small.xwd", true, 2000, 300},
    {"zorimg", kSeeds + "/zorimg/plain.img", true, 2000, 300},
    {"zorimg", kSeeds + "/zorimg/deflated.img", true, 2000, 300},
    {"meta", kSeeds + "/meta/scene.meta", true, 2000, 300},
    {"meta", kData + "/meta/bad_points.meta", true, 2000, 300},
    {"map", kSeeds + "/map/country.map", true, 100, 100},
};

// Names the file in test listings instead of the record's raw bytes.
void PrintTo(const Sweep& s, std::ostream* os) { *os << s.reader << ' ' << s.file; }

class ReaderSweep : public ::testing::TestWithParam<Sweep> {};

TEST_P(ReaderSweep, PrefixesAndMutationsEndCleanly) {
  zor::fuzz::quiet();
  const Sweep& s = GetParam();
  const zor::fuzz::Entry read = zor::fuzz::find(s.reader);
  ASSERT_NE(read, nullptr) << s.reader;
  const SweepBytes whole = bytes_of(s.file);
  ASSERT_FALSE(whole.empty()) << s.file;
  const int n = (s.prefixes ? zor::test::sweep_prefixes(whole, read, s.max_prefixes) : 0) +
                zor::test::sweep_mutations(whole, read, s.mutations, static_cast<unsigned>(whole.size()));
  EXPECT_GE(n, s.mutations) << s.file;
}

INSTANTIATE_TEST_SUITE_P(Files, ReaderSweep, ::testing::ValuesIn(kSweeps), [](const auto& info) {
  return std::string(info.param.reader) + std::to_string(info.index);
});

TEST(ReaderRobustness, KnownCrashersEndCleanly) {
  zor::fuzz::quiet();
  const fs::path root = kData + "/crashers";
  int replayed = 0;
  for (const auto& folder : fs::directory_iterator(root)) {
    const zor::fuzz::Entry read = zor::fuzz::find(folder.path().filename().string());
    ASSERT_NE(read, nullptr) << "no reader for " << folder.path();
    for (const auto& f : fs::directory_iterator(folder.path())) {
      SCOPED_TRACE(f.path().string());
      const SweepBytes b = bytes_of(f.path());
      read(b.data(), b.size());
      ++replayed;
    }
  }
  EXPECT_GT(replayed, 0);
}

}  // namespace

// Absurd option and resource values through the real program: each ends on
// its own within the time limit with a status of its own (no signal, no
// sanitizer report), drawing what it can or refusing the value.
TEST(AbsurdValues, EndCleanlyThroughTheProgram) {
  const zor::test::TempDir dir("absurd");
  const std::string product = kData + "/level3/KBMX_SDUS54_N0RBMX_201501020205";
  const std::string huge(100000, 'x');
  struct Case {
    const char* what;
    std::string env, args;
  };
  const Case cases[] = {
      {"billions of points", "", "-pd ps,33,-87,2000000000,2000000000,0.01,0.01"},
      {"grid spacing 1e-7", "", "-pd ps,33,-87 -pp lalo=1e-7"},
      {"huge window", "", "-ge 30000x30000+0+0"},
      {"overlays at the limit", "", "-pp over=2147483647:2147483647"},
      {"negative overlays", "", "-pp over=-2147483648:-2147483648"},
      {"panels at the limit", "", "-pp vp_size=2147483647x2147483647+2147483647+2147483647"},
      {"window number at the limit", "", "-wn 2147483647"},
      {"defaults file /dev/zero", "zordefault=/dev/zero", ""},
      {"map file /dev/zero", "", "-mf /dev/zero"},
      {"colour table /dev/zero", "", "-ct /dev/zero"},
      {"long title", "", "-ti " + huge},
      {"long plot_param", "", "-pp " + huge},
  };
  for (const Case& c : cases) {
    const zor::test::ProgramRun r =
        zor::test::run_radar(dir.path(), c.env + " timeout -s KILL 60",
                             "-ba -inp nids -of png:@out.png " + c.args + " " + product);
    EXPECT_TRUE(r.status >= 0 && r.status < 124) << c.what << ": status " << r.status << "\n" << r.err.substr(0, 2000);
    EXPECT_EQ(r.err.find("runtime error"), std::string::npos) << c.what << "\n" << r.err.substr(0, 2000);
    EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << c.what << "\n" << r.err.substr(0, 2000);
  }
}

// A watch bulletin that never ends, as /dev/zero or as a FIFO whose writer
// keeps writing bulletin words: read up to the text limit with a warning, and
// the plot is still made. The writer gives up on its own, so a reader that
// never opens the FIFO leaves nothing behind.
TEST(AbsurdValues, EndlessWatchBulletinIsCutAtTheLimit) {
  const zor::test::TempDir dir("endless_watch");
  const fs::path watch = dir.path() / "watch";
  const fs::path bulletin = watch / "15010202.wat";  // the product's hour
  const std::string product = kData + "/level3/KBMX_SDUS54_N0RBMX_201501020205";
  const std::string args = "-ba -inp nids -va watch -wp '" + watch.string() + "' -of png:@out.png " + product;
  for (const bool fifo : {false, true}) {
    SCOPED_TRACE(fifo ? "FIFO" : "/dev/zero");
    fs::create_directories(watch);
    fs::remove(bulletin);
    fs::remove(dir.path() / "out.png");
    if (fifo) {
      ASSERT_EQ(mkfifo(bulletin.c_str(), 0600), 0);
      const std::string writer = "timeout -s KILL 60 sh -c \"yes 'AWW WW 600 TORNADO' >'" + bulletin.string() +
                                 "'\" >/dev/null 2>&1 &";
      ASSERT_EQ(std::system(writer.c_str()), 0);
    } else {
      fs::create_symlink("/dev/zero", bulletin);
    }
    const zor::test::ProgramRun r = zor::test::run_radar(dir.path(), "timeout -s KILL 60", args);
    EXPECT_EQ(r.status, 0) << r.err.substr(0, 2000);
    EXPECT_NE(r.err.find("the rest ignored"), std::string::npos) << r.err.substr(0, 2000);
    EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << r.err.substr(0, 2000);
    EXPECT_TRUE(fs::is_regular_file(dir.path() / "out.png"));
  }
}
