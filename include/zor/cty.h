// City and site database ("sao.cty", "rad.cty"): reading the text file,
// look-ups by identifier, name or WMO number, the station table of a domain
// and the nearest-station search.
#pragma once

#include "zor/text.h"
#include "zor/types.h"

// One station of the database.
struct CTY_data {
  char name[21] = {};  // "_" in the file stands for a blank
  char state[3] = {};
  char region[3] = {};  // "B_" marks buoy-type stations
  char id[10] = {};     // second character "-": no identifier
  int prior = 9;
  char mos = ' ';  // '*' forecast-guidance site
  char ua = ' ';   // '*' upper-air site
  float lat = -9999.0f;
  float lon = -9999.0f;
  float el = -9999.0f;
  int wmo = 99999;
  int num = 0;
};

// Position record kept in the station table for plotting.
struct CTY_locate {
  char id[11] = {};
  int wmo = 99999;
  float x = -9999.0f;
  float y = -9999.0f;
  float el = -9999.0f;
  int pr = 9;
};

struct CTY_info {
  int dtype = 0;
};

// Called for each stored station with its zeroed user data block.
using CTY_enter_fn = int (*)(char* user_data, const CTY_data* city);

int CTY_open(const char* filename, int f_access, int f_type);
int CTY_rewind(int city_fd);
int CTY_close(int city_fd);
int CTY_getinfo(int city_fd, CTY_info* info);
int CTY_read(int city_fd, CTY_data* city);
int CTY_write(int city_fd, const CTY_data* city);
int CTY_open_file(const char* city_file, int* num_stats);
int CTY_get(const char* city_file, const char* id, CTY_data* data);
int CTY_get_loc(const char* city_file, const char* id, float* lat, float* lon);
int CTY_store(const char* city_file, int type, const Domain* domain, int prior);
int CTY_search(const char* id, void* data);
char* CTY_get_data(const char* id);
int CTY_search_loc(float lat, float lon, CTY_locate* data);
int CTY_get_prior();
int CTY_set_id_type(int type);
int CTY_data_size(int size);
int CTY_enter_func(CTY_enter_fn func);
int CTY_data_init(CTY_data* city);
int CTY_clear_data(int val);
int CTY_clear();
TAB_table* CTY_get_table();
int CTY_data_cmp(int numid, char** ids, const CTY_data* data);

// Great-circle distance in kilometres on the sphere of radius 6371.22 km.
float calc_earth_dist(float lat1, float lon1, float lat2, float lon2);

namespace zor::cty {
// Closes the file and drops the table and settings; for tests.
void reset();
}  // namespace zor::cty
