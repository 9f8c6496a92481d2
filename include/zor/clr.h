// The colour table: named colours loaded from "zor.clr" style files, looked
// up by name when attribute strings are parsed.
#pragma once

// One colour-table entry.
struct RGB {
  char name[20] = {};
  float red = 0.0f;
  float grn = 0.0f;
  float blu = 0.0f;
};

// Highest number of entries the table holds.
inline constexpr int CLR_MAX_COLORS = 256;

int CLR_read_table(const char* filename);
int CLR_add(const char* name, float red, float grn, float blu);
int CLR_get_ind(const char* name);
const char* CLR_get_name(int ind);
int CLR_get_rgb(int ind, float* red, float* grn, float* blu);
int CLR_get_num();
int CLR_get_num_fill();
int CLR_clear_table();

namespace zor::clr {
// Empties the table completely (names, colours and counts); for tests.
void reset();
}  // namespace zor::clr
