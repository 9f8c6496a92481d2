// RRWDS site images: one low-resolution reflectivity scan of one radar site,
// a 12-byte header and 360 one-degree radials of 200 bins of 3-bit levels,
// drawn as coloured wedges around the site with marker and range rings.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "zor/nids.h"
#include "zor/plt_param.h"
#include "zor/types.h"

int RRWDS_set_date(Date* datim);
int RRWDS_open_file(char* filename);
int RRWDS_get_header(FILE* ifile, NIDS_info* info);
int RRWDS_rewind_file();
int RRWDS_close_file();
int RRWDS_plot(Domain* domain);
int RRWDS_plot_frame();
int RRWDS_plot_nextfile();
int RRWDS_domain(Domain* domain);
int RRWDS_plot_data();
int RRWDS_plot_param();
void RRWDS_callback(int type, char* str, float x, float y);

namespace zor::rrwds {

inline constexpr std::size_t kHeaderLen = 12;
inline constexpr std::size_t kRecordLen = 80;
inline constexpr int kRadials = 360;
inline constexpr int kBins = 200;
inline constexpr std::size_t kFileLen = kHeaderLen + kRadials * kRecordLen;

// The 12-byte header, its digits decoded.
struct Header {
  char station[4] = {};
  int range = 0;  // nautical miles: 100 or 200
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  float elev = 0.0f;  // degrees, negative when the sign bit is set
};

using Radial = std::array<std::uint8_t, kBins>;

// A decoded file: the header and the levels of every complete radial.
struct Image {
  Header header;
  std::vector<Radial> radials;  // azimuth 0 first; fewer than 360 when the file is short
};

// Decodes the header; false with `error` set when the bytes are too few or
// a digit is out of range (not an RRWDS header).
bool decode_header(std::span<const std::uint8_t> bytes, Header* header, std::string* error);

// The 200 levels of one 80-byte radial record.
Radial unpack_radial(std::span<const std::uint8_t, kRecordLen> record);

// Decodes a whole file held in memory (the fuzzing entry): false with
// `error` set when the header does not decode or no radial is complete; a
// short last radial is dropped and said in `error` while true is returned.
bool decode(std::span<const std::uint8_t> bytes, Image* image, std::string* error);

// The year of a file whose name gives none: this year, or last year when
// the month and day are still to come.
int latest_year(int month, int day);

// Header of the open (or last) file, as plotted.
const NIDS_info& info();
// Settings from plot_param.
plt::SiteParams params();
// Fill areas drawn by the last frame (tests and the benchmark).
long fill_calls();

// Back to the start-up state (tests).
void reset();

}  // namespace zor::rrwds
