// Converted radar report test files: the text files of tests/data/cvt and
// netCDF files of both kinds made with ncgen at test time from the CDL
// templates there.
#pragma once

#include <cstdlib>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "../common/files.h"

namespace cvt_test {

inline std::string cvt_path(const std::string& name) { return std::string(ZOR_TEST_DATA_DIR) + "/cvt/" + name; }

// Summary cells: column, row, value.
using Cells = std::vector<std::tuple<int, int, int>>;

// The summary values of an nx x 90 grid as CDL data, rows outermost or
// columns outermost; -127 (the byte fill value) where no cell is given.
inline std::string summary_data(const Cells& cells, bool rows_outer, int nx, int ny = 90) {
  std::vector<int> v(static_cast<std::size_t>(nx * ny), -127);
  for (const auto& [c, r, val] : cells) v[static_cast<std::size_t>(rows_outer ? r * nx + c : c * ny + r)] = val;
  std::string s;
  for (std::size_t i = 0; i < v.size(); ++i) s += (i ? "," : "") + std::to_string(v[i]);
  return s;
}

struct NcOptions {
  Cells cells;
  int nx = 120;          // mdr_x size
  bool summary = true;   // write the summary variable
  bool stations = true;  // write the station variables
};

// A CDL template filled in: lines marked "//S " (station variables) and
// "//M " (the summary) kept when `o` asks for them, the grid width and the
// summary values (@ROWS@ rows outermost, @COLS@ columns outermost) put in.
inline std::string cdl_of(const std::string& name, const NcOptions& o) {
  std::string out;
  for (std::string line : zor::test::lines_of(zor::test::slurp(cvt_path(name)))) {
    const bool s = line.rfind("//S ", 0) == 0, m = line.rfind("//M ", 0) == 0;
    if ((s && !o.stations) || (m && !o.summary)) continue;
    if (s || m) line.erase(0, 3);  // the space after the mark stays
    if (const auto at = line.find("@NX@"); at != std::string::npos) line.replace(at, 4, std::to_string(o.nx));
    for (const bool rows : {true, false})
      if (const auto at = line.find(rows ? "@ROWS@" : "@COLS@"); at != std::string::npos)
        line.replace(at, 6, summary_data(o.cells, rows, o.nx));
    out += line + "\n";
  }
  return out;
}

// A converted file with a "station" dimension (kind 11).
inline std::string station_cdl(const NcOptions& o) { return cdl_of("station.cdl", o); }
// A decoded-report file without one (kind 12), its summary "mdr" laid out
// columns outermost.
inline std::string report_cdl(const NcOptions& o) { return cdl_of("report.cdl", o); }

// Writes `cdl` and makes a netCDF file of it with ncgen; the path, or ""
// when ncgen fails. In this process's scratch folder.
inline std::string make_nc(const std::string& cdl, const std::string& name, const char* kind = "classic") {
  const std::string base = zor::test::scratch(name);
  std::ofstream(base + ".cdl") << cdl;
  const std::string cmd = "ncgen -k '" + std::string(kind) + "' -o '" + base + ".nc' '" + base + ".cdl' 2>/dev/null";
  return std::system(cmd.c_str()) == 0 ? base + ".nc" : std::string();
}

}  // namespace cvt_test
