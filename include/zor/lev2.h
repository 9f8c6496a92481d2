// NEXRAD Level II base-data volumes: the volume header, then the messages one
// at a time, parsed in place in a bounded buffer (plain volumes, or volumes of
// bzip2-compressed records, told apart by content), and the sweep plot of one
// elevation cut of one moment. One volume is read at a time.
#pragma once

#include <cstddef>
#include <cstdio>
#include <span>
#include <string_view>

#include "zor/types.h"

// The volume header.
struct LEV2_info {
  char id[10] = {};  // three-letter site identifier
  float lat = 0.0f;  // site position
  float lon = 0.0f;
  Date date;  // volume date and time
};

// One message (a radial for types 1 and 31).
struct LEV2_data {
  char id[5] = {};
  float lat = -9999.0f;
  float lon = -9999.0f;
  int elev = -9999;  // site height, metres
  int code = 0;
  int type = 0;  // message type
  int seq = 0;
  int date = 0;
  int time = 0;
  int num_seg = 0;
  int seg_num = 0;
  int coll_time = 0;
  int mod_date = 0;
  float range = -9999.0f;   // unambiguous range, km
  float rad_az = 0.0f;      // azimuth, degrees
  int rad_num = 0;
  int rad_status = 0;
  int rad_len = 0;
  float az_space = 1.0f;    // radial spacing, degrees
  int comp = 0;
  float elev_ang = 0.0f;    // degrees
  int elev_num = 0;
  int rad_blank = 0;
  int az_index = 0;
  int blk_count = 0;
  float first_refl = -9999.0f;  // km
  float first_vel = -9999.0f;
  float refl_size = -9999.0f;
  float vel_size = -9999.0f;
  int num_refl = -9999;
  int num_vel = -9999;
  int sector_num = 0;
  int refl_ptr = 0;
  int vel_ptr = 0;
  int spect_ptr = 0;
  int vol_ptr = 0;
  int elev_ptr = 0;
  int rad_ptr = 0;
  float vel_res = 0.0f;
  int cov_patt = 0;
  float nyquist_vel = -9999.0f;
  float atmos_atten = -9999.0f;
  float threshold_param = -9999.0f;
};

int LEV2_set_compress(int val);
int LEV2_set_date(Date* datim);
int LEV2_open_file(char* filename);
int LEV2_close_file();
int LEV2_rewind_file();
int LEV2_print_info();
int LEV2_get_header(LEV2_info* info);
int LEV2_get_block(LEV2_data* data);
int LEV2_next_block();
int LEV2_set_data_type(int type);
float LEV2_get_data();

int LEV2_get_domain(float clat, float clon, float range, Domain* domain);
int LEV2_plot(Domain* domain);
int LEV2_plot_frame();
int LEV2_plot_nextfile();
int LEV2_plot_summary();
int LEV2_plot_param();
void LEV2_callback(int type, char* str, float x, float y);

namespace zor::lev2 {

// Moments by the type numbers LEV2_set_data_type takes: the three base
// moments, then the dual-polarisation ones and the clutter filter power.
enum Moment { kRef = 0, kVel, kSw, kZdr, kPhi, kRho, kCfp, kNumMoments };

// Three-letter name ("REF" ... "CFP"); nullptr outside the range.
const char* moment_name(int m);
// Moment of a three-letter block name; -1 when unknown.
int moment_of(std::string_view name);

// One moment of the current radial.
struct MomentInfo {
  bool present = false;
  int gates = 0;          // gates the message holds
  float first_km = 0.0f;  // range to the first gate's centre
  float gate_km = 0.0f;
  int bits = 8;           // 8 or 16 per gate
  float scale = 1.0f;     // value = (code - offset) / scale
  float offset = 0.0f;
};
const MomentInfo& moment(int m);

// The raw gate codes of moment `m` of the current radial (empty when
// absent); each code is one byte, or a big-endian pair for 16-bit moments.
std::span<const unsigned char> codes(int m);
// Physical value of a gate code: -100 for 0 (below threshold), -90 for 1
// (range folded).
float decode(const MomentInfo& mi, unsigned code);

// True after a read or decompression error ended the volume early, or when
// it ended without its last record; the text says why.
bool damaged();
const char* problem();

// Whether the last volume header's site was found in "rad.cty".
bool site_found();

// Prints one line per cut and moment of volume `path` (the lev2dump tool):
// "cut <elev_num> <elev_deg> <MOMENT> <radials> <gates> <first_km> <gate_km>
// <max>". Returns 0, 2 when the volume is damaged (what was read is printed)
// or 1 when nothing could be read.
int dump_volume(const char* path, std::FILE* out);

// Reads the plot parameters, opens volume `path` for plotting (header, date
// label, colour bar) and makes the radar-centred domain from its site, as the
// first file of a plot does; the volume stays open for LEV2_plot_frame.
const Domain& begin_volume(const char* path);

// The last sweep drawn: fill areas (one per run of one fill along a radial)
// and radials; the radar-centred domain of the plot.
long fill_calls();
int sweep_radials();
const Domain& radar_domain();

// Empties the reader and the plot settings (tests).
void reset();

}  // namespace zor::lev2
