// Converted radar report test files: the text files of tests/data/cvt and
// netCDF files of both kinds made from CDL with ncgen at test time.
#pragma once

#include <unistd.h>

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

// The summary values of a 120 x 90 grid as CDL data, rows outermost or
// columns outermost; -127 (the byte fill value) where no cell is given.
inline std::string summary_data(const Cells& cells, bool rows_outer, int nx = 120, int ny = 90) {
  std::vector<int> v(static_cast<std::size_t>(nx * ny), -127);
  for (const auto& [c, r, val] : cells)
    v[static_cast<std::size_t>(rows_outer ? r * nx + c : c * ny + r)] = val;
  std::string s;
  for (std::size_t i = 0; i < v.size(); ++i) s += (i ? "," : "") + std::to_string(v[i]);
  return s;
}

struct NcOptions {
  Cells cells;
  int nx = 120;                // mdr_x size
  bool summary = true;         // write the summary variable
  bool stations = true;        // write the station variables
};

// A converted file with a "station" dimension (kind 11).
inline std::string station_cdl(const NcOptions& o) {
  std::string s =
      "netcdf t11 {\ndimensions:\n station = 3 ; mdr_x = " + std::to_string(o.nx) +
      " ; mdr_y = 90 ; string_len = 8 ; reports = 3 ;\nvariables:\n";
  if (o.stations)
    s += " char id(station, string_len) ; char region(station, string_len) ;\n"
         " float mdr_x(station) ; float mdr_y(station) ; int type(station) ;\n"
         " char config(station, string_len) ; char prec(station, reports, string_len) ;\n"
         " char trend(station, string_len) ; char move_type(station, reports) ;\n"
         " int move_dir(station, reports) ; int move_spd(station, reports) ;\n"
         " int max_tops(station) ; int max_tops_dir(station) ; int max_tops_rad(station) ;\n";
  if (o.summary) s += " byte summary(mdr_y, mdr_x) ;\n";
  s += " :datetime = \"2335Z 12 MAY 95\" ; :version = \"1.0\" ;\n :missing_val_i = -999 ; :missing_val_f = -999.f ;\n"
       "data:\n";
  if (o.stations)
    s += " id = \"TLX\", \"AMA\", \"ZZZ\" ; region = \"SW\", \"SW\", \"\" ;\n"
         " mdr_x = 58.85, 48.93, -999 ; mdr_y = 57.43, 58.67, -999 ; type = 1, 1, 1 ;\n"
         " config = \"AREA\", \"NA\", \"\" ;\n"
         " prec = \"TRW+\", \"RW-\", \"\", \"S\", \"\", \"\", \"\", \"\", \"\" ;\n"
         " trend = \"NEW\", \"*\", \"\" ; move_type = \"AC*\", \"L\", \"\" ;\n"
         " move_dir = 250, 200, -999, 90, -999, -999, -999, -999, -999 ;\n"
         " move_spd = 15, 30, -999, 20, -999, -999, -999, -999, -999 ;\n"
         " max_tops = 450, -999, -999 ; max_tops_dir = 270, 0, 0 ; max_tops_rad = 15, 0, 0 ;\n";
  if (o.summary) s += " summary = " + summary_data(o.cells, true, o.nx) + " ;\n";
  return s + "}\n";
}

// A decoded-report file without a "station" dimension (kind 12); its
// summary "mdr" is laid out columns outermost.
inline std::string report_cdl(const NcOptions& o) {
  std::string s =
      "netcdf t12 {\ndimensions:\n mdr_x = " + std::to_string(o.nx) +
      " ; mdr_y = 90 ; id_len = 4 ; radar_len = 4 ; time_len = 16 ; rpt_type_len = 4 ;\n"
      " maxprecip = 3 ; maxcover = 3 ; maxazran = 2 ; maxwidth = 2 ; maxmove = 2 ; maxheight = 2 ; report = 2 ;\n"
      "variables:\n char mdr_time(time_len) ; float lon(report) ; float lat(report) ;\n";
  if (o.summary) s += " byte mdr(mdr_x, mdr_y) ;\n";
  if (o.stations)
    s += " char id(report, id_len) ; int opstat(report) ; int object(report) ;\n"
         " int nprecip(report) ; int precip_type(report, maxprecip) ; int intensity(report, maxprecip) ;\n"
         " int trend(report) ; int nazran(report) ; float azimuth(report, maxazran) ; float range(report, maxazran) ;\n"
         " int nmove(report) ; float move_dir(report, maxmove) ; float move_speed(report, maxmove) ;\n"
         " int nheight(report) ; float height(report, maxheight) ;\n";
  s += "data:\n mdr_time = \"199505122335\" ; lat = 35.33, 35.23 ; lon = -97.28, -101.71 ;\n";
  if (o.summary) s += " mdr = " + summary_data(o.cells, false, o.nx) + " ;\n";
  if (o.stations)
    s += " id = \"TLX\", \"AMA\" ; opstat = 0, 3 ; object = 1, 3 ;\n"
         " nprecip = 2, 0 ; precip_type = 97, 3, 0, 0, 0, 0 ; intensity = 3, 2, 0, 0, 0, 0 ;\n"
         " trend = 4, 1 ; nazran = 1, 0 ; azimuth = 269.995, 0, 0, 0 ; range = 28, 0, 0, 0 ;\n"
         " nmove = 1, 0 ; move_dir = 250, 0, 0, 0 ; move_speed = 10, 0, 0, 0 ;\n"
         " nheight = 1, 0 ; height = 10000, 0, 0, 0 ;\n";
  return s + "}\n";
}

// Writes `cdl` and makes a netCDF file of it with ncgen; the path, or ""
// when ncgen fails. In this process's scratch folder.
inline std::string make_nc(const std::string& cdl, const std::string& name) {
  const std::string base = zor::test::scratch(name);
  std::ofstream(base + ".cdl") << cdl;
  const std::string cmd = "ncgen -o '" + base + ".nc' '" + base + ".cdl' 2>/dev/null";
  return std::system(cmd.c_str()) == 0 ? base + ".nc" : std::string();
}

}  // namespace cvt_test
