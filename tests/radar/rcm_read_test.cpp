// Radar coded messages read from the real product-74 messages and from the
// plain bulletins written for the tests, the printed report, and bad input.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <tuple>

#include "../common/files.h"
#include "zor/rcm.h"

namespace {

const std::string kDir = std::string(ZOR_TEST_DATA_DIR) + "/rcm/";

struct FileCloser {
  void operator()(FILE* f) const {
    if (f) std::fclose(f);
  }
};
using File = std::unique_ptr<FILE, FileCloser>;

File open(const std::string& name) { return File(std::fopen((kDir + name).c_str(), "rb")); }

// A file holding `text` (its name already gone).
File file_of(const std::string& text) {
  static int n = 0;
  const std::string path = zor::test::scratch("rcm_" + std::to_string(++n));
  zor::test::write_file(path, text);
  File f(std::fopen(path.c_str(), "rb"));
  std::remove(path.c_str());
  return f;
}

int cells_set(const RCM_report& r) {
  int n = 0;
  for (const auto& col : r.echo)
    for (auto v : col) n += v != RCM_NO_ECHO;
  return n;
}

struct Cell {
  int col, row, value;
};

// What a real message sets, checked against the text groups that set it.
struct RealCase {
  const char* file;
  const char* id;
  int num;
  float lat, lon, elev_ft;
  int year, month, day, hour, min;
  int maxt, maxt_x, maxt_y;
  int storms, vads, meso;
  RCM_storm first;
  Cell cells[4];
};

// clang-format off
const RealCase kReal[] = {
    // "HMN1": H row block 7, M column block 12, N = 13 -> column 51, row 29.
    // "HMG1B01B011": column 49, row 30: 1, B repeats it twice, 0, 1, ...
    // "CM4LOB 260051" and "CM4LOB S089HN"; "/MT330:GOL".
    {"KBMX_SDUS44_RCMBMX_201501020217", "BMX", 320, 33.172f, -86.770f, 759.0f, 2015, 1, 2, 2, 17,
     330, 58, 27, 8, 16, 0, {"M4", 56, 45, 89, 260, 51, 0},
     {{51, 29, 1}, {49, 30, 1}, {51, 30, 1}, {52, 30, 0}}},
    // "ENI8": column 54, row 16; "ENJ8B": column 54, row 17, 8 three times.
    // "CL6POC 160072" / "CL6POC S116HN"; "/MT620:QNP"; "/NMES02: M07POD,M06PKB".
    {"KOKX_SDUS41_RCMOKX_201108280716", "OKX", 515, 40.865f, -72.864f, 198.0f, 2011, 8, 28, 7, 17,
     620, 55, 67, 12, 18, 2, {"L6", 56, 62, 116, 160, 72, 0},
     {{54, 16, 8}, {54, 17, 8}, {56, 17, 8}, {57, 17, RCM_NO_ECHO}}},
};
// clang-format on

TEST(RcmRead, RealProductMessages) {
  for (const auto& c : kReal) {
    SCOPED_TRACE(c.file);
    File f = open(c.file);
    ASSERT_TRUE(f);
    RCM_report r;
    ASSERT_EQ(RCM_read_site(f.get(), &r), 1);
    EXPECT_STREQ(zor::rcm::last_warning(), "");
    EXPECT_NEAR(r.lat, c.lat, 1e-4);
    EXPECT_NEAR(r.lon, c.lon, 1e-4);
    EXPECT_NEAR(r.elev, c.elev_ft * 0.3048f, 1e-3);
    EXPECT_EQ(std::tuple(std::string(r.id), r.num, r.date.year, r.date.month, r.date.day, r.date.hour, r.date.min),
              std::tuple(c.id, c.num, c.year, c.month, c.day, c.hour, c.min));
    EXPECT_EQ(std::tuple(r.mode, r.status, r.maxt, r.maxt_x, r.maxt_y, r.num_storm, r.num_vad, r.num_meso, r.num_tvs),
              std::tuple(1, ZOR_MISSING, c.maxt, c.maxt_x, c.maxt_y, c.storms, c.vads, c.meso, 0));
    const RCM_storm& s = r.storm[0];
    EXPECT_EQ(std::tuple(std::string(s.id), s.x, s.y, s.hgt, s.dir, s.spd, s.hail),
              std::tuple(std::string(c.first.id), c.first.x, c.first.y, c.first.hgt, c.first.dir, c.first.spd,
                         c.first.hail));
    for (const auto& cell : c.cells)
      EXPECT_EQ(r.echo[cell.col][cell.row], cell.value) << cell.col << "," << cell.row;
    EXPECT_GT(cells_set(r), 100);
    EXPECT_EQ(RCM_read_site(f.get(), &r), -1) << "one site per product";
  }
}

TEST(RcmRead, PlainBulletinsSiteBySite) {
  File f = open("plain_sites.txt");
  ASSERT_TRUE(f);
  RCM_report r;
  ASSERT_EQ(RCM_read_site(f.get(), &r), 1);
  EXPECT_STREQ(r.id, "XXA");
  EXPECT_EQ(r.num, 101);
  EXPECT_EQ(std::tuple(r.date.year, r.date.month, r.date.day, r.date.hour), std::tuple(1998, 5, 15, 3));
  EXPECT_EQ(r.lat, ZOR_MISSING_F) << "the plain form carries no position";
  // JLK12C: columns 46 and 47 of row 38 are 1 and 2, columns 48-50 are 2.
  // JJJ1A0: columns 38-40 of row 37 are 1, 1, 0.
  EXPECT_EQ(std::tuple(r.echo[46][38], r.echo[47][38], r.echo[50][38], r.echo[51][38]), std::tuple(1, 2, 2, RCM_NO_ECHO));
  EXPECT_EQ(std::tuple(r.echo[0][0], r.echo[38][37], r.echo[39][37], r.echo[40][37]), std::tuple(5, 1, 1, 0));
  EXPECT_EQ(cells_set(r), 9) << "ZZZ lies outside the grid";
  EXPECT_NE(std::string(zor::rcm::last_warning()).find("ZZZ"), std::string::npos);
  EXPECT_EQ(std::tuple(r.maxt, r.maxt_x), std::tuple(350, 46));
  ASSERT_EQ(std::tuple(r.num_vad, r.num_tvs, r.num_meso), std::tuple(3, 1, 2));
  // RMS letter C is 6.
  EXPECT_EQ(std::tuple(r.vad[0].rms, r.vad[2].rms, r.vad[1].dir), std::tuple(6, 15, 230));
  EXPECT_EQ(std::tuple(std::string(r.tvs[0].id), r.tvs[0].x, std::string(r.meso[1].id), r.meso[1].y),
            std::tuple("A1", 46, "01", 37));
  ASSERT_EQ(r.num_storm, 4) << "part C adds the storm part A did not list";
  EXPECT_EQ(std::tuple(r.storm[0].hail, r.storm[1].hail, r.storm[2].hail, r.storm[3].hail), std::tuple(2, 1, -1, 0));
  EXPECT_EQ(std::tuple(r.storm[0].hgt, r.storm[1].hgt, r.storm[2].hgt, r.storm[3].hgt), std::tuple(350, 120, 80, 200));
  EXPECT_EQ(std::tuple(r.storm[3].dir, r.storm[2].spd), std::tuple(ZOR_MISSING, 5));
  // The printed report.
  testing::internal::CaptureStdout();
  RCM_print(M_PRINT, &r);
  const std::string a = testing::internal::GetCapturedStdout();
  EXPECT_NE(a.find("ID: XXA\nNum: 101\nLoc: -9999.000 -9999.000\n"), std::string::npos) << a;
  EXPECT_NE(a.find("Max Top: 350  46, 38\n"), std::string::npos) << a;
  EXPECT_NE(a.find("TVS:  A1  46, 38\n"), std::string::npos) << a;
  EXPECT_NE(a.find("MESO: B2  40, 40\n"), std::string::npos) << a;
  EXPECT_NE(a.find("STRM: A1  46, 38 225-030 350 2\n"), std::string::npos) << a;

  ASSERT_EQ(RCM_read_site(f.get(), &r), 1);
  testing::internal::CaptureStdout();
  RCM_print(M_PRINT, &r);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("Status: out for maintenance\n"), std::string::npos);
  EXPECT_EQ(std::tuple(std::string(r.id), r.status), std::tuple("XXB", 2));
  ASSERT_EQ(RCM_read_site(f.get(), &r), 1);
  EXPECT_EQ(std::tuple(std::string(r.id), r.status, r.mode, cells_set(r)), std::tuple("XXC", 1, 2, 0));
  ASSERT_EQ(RCM_read_site(f.get(), &r), 0) << "no part A";
  EXPECT_STREQ(r.id, "XXD");
  ASSERT_EQ(RCM_read_site(f.get(), &r), 1);
  EXPECT_STREQ(r.id, "XXE");
  EXPECT_EQ(std::tuple(r.num_storm, r.num_tvs, r.num_meso, r.num_vad),
            std::tuple(RCM_MAX_STORM, RCM_MAX_TVS, RCM_MAX_MESO, RCM_MAX_VAD));
  EXPECT_STREQ(r.storm[39].id, "39");
  EXPECT_STREQ(r.meso[19].id, "19");
  EXPECT_EQ(RCM_read_site(f.get(), &r), -1);
}

// The packet form: number packet, location packet, then the coded text.
TEST(RcmRead, PacketForm) {
  auto packet = [](int t0, int t1, std::string body) {
    if (body.size() % 2) body += ' ';
    const std::size_t words = (body.size() + 4) / 2;
    return std::string{static_cast<char>(words >> 8), static_cast<char>(words & 255),
                       static_cast<char>(t0), static_cast<char>(t1)} +
           body;
  };
  // No date in part A: the location packet's stands.
  const std::string text = "1234 ROBUU 0320 /NEXRAA UNEDITED /MDPCPN /NI0001: JLK12C /ENDAA";
  File f = file_of("SDUS44 KBMX 020217\r\r\nRCMBMX\r\r\n" + packet(1, 1, "320") +
                   packet(1, 16, "01  33.172   -86.770 759199912312359") + packet(4, 16, "skipped") +
                   packet(5, 4, text));
  RCM_report r;
  ASSERT_EQ(RCM_read_site(f.get(), &r), 1);
  EXPECT_EQ(std::tuple(std::string(r.id), r.num, r.date.year, r.date.month, r.date.min, r.echo[47][38], r.mode),
            std::tuple("BMX", 320, 1999, 12, 59, 2, 1));
  EXPECT_NEAR(r.lat, 33.172f, 1e-4);
  EXPECT_NEAR(r.lon, -86.770f, 1e-4);
  EXPECT_NEAR(r.elev, 759 * 0.3048f, 1e-3);
}

// Bad input: every outcome is a return value and a message (prefixes of the
// files are swept in robust_test).
TEST(RcmRead, BadInput) {
  const std::string real = zor::test::slurp(kDir + "KOKX_SDUS41_RCMOKX_201108280716");
  ASSERT_FALSE(real.empty());
  struct Bad {
    const char* what;
    std::string text;
    int status;
    const char* warning;
  };
  const Bad cases[] = {
      {"no RCM line", "SDUS40 KWBC 150300\nNOTHING HERE\n", -1, ""},
      {"empty file", "", -1, ""},
      {"line over the buffer",
       "RCMXXA\n1234 ROBUU 0101\n/NEXRAA 0101 1505980300 /NI0001:\nAAA" + std::string(6000, '1') +
           "\n",
       1, "longer than 5000"},
      {"product cut in its header", real.substr(0, 60), 0, "header cut short"},
      {"product cut in its text", real.substr(0, 900), 1, "cut short"},
      {"no description block", real.substr(0, 0x30) + std::string(2, '\0') + real.substr(0x32), 0,
       "not a radar coded"},
      {"counts over the records",
       "RCMXXA\n1234 A 1\n/NEXRAA 1 0101000000\n/NCEN99: CA1JLK 225030\n", 1,
       "more than 40 storms"},
      {"lower-case location", "RCMXXA\n1234 A 1\n/NEXRAA 1 0101000000\n/NI0001:\nhmn1,AAA1\n", 1,
       "hmn"},
      {"run past the grid edge", "RCMXXA\n1234 A 1\n/NEXRAA 1 0101000000\n/NI0001:\nAZP9Z\n", 1,
       "east edge"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    File f = file_of(c.text);
    RCM_report r;
    testing::internal::CaptureStderr();
    EXPECT_EQ(RCM_read_site(f.get(), &r), c.status);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string(zor::rcm::last_warning()).find(c.warning), std::string::npos)
        << zor::rcm::last_warning();
    if (*c.warning != '\0') {
      EXPECT_NE(err.find("RCM_read_site: "), std::string::npos);
    }
    EXPECT_LE(cells_set(r), RCM_GRID * RCM_GRID);
  }
}

TEST(RcmRead, LocationCodes) {
  int c = 0, r = 0;
  ASSERT_TRUE(zor::rcm::location("ZZP", &c, &r));  // the grid's last cell
  EXPECT_EQ(std::pair(c, r), std::pair(103, 103));
  for (const char* bad : {"ZZZ", "jlk", "J1K"}) EXPECT_FALSE(zor::rcm::location(bad, &c, &r)) << bad;
}

}  // namespace
