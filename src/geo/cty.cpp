// City and site database.
#include "zor/cty.h"

int CTY_open(const char*, int, int) { return -1; }
int CTY_rewind(int) { return -1; }
int CTY_close(int) { return -1; }
int CTY_getinfo(int, CTY_info*) { return -1; }
int CTY_read(int, CTY_data*) { return -1; }
int CTY_write(int, const CTY_data*) { return -1; }
int CTY_open_file(const char*, int*) { return -1; }
int CTY_get(const char*, const char*, CTY_data*) { return 0; }
int CTY_get_loc(const char*, const char*, float*, float*) { return 0; }
int CTY_store(const char*, int, const Domain*, int) { return 0; }
int CTY_search(const char*, void*) { return 0; }
char* CTY_get_data(const char*) { return nullptr; }
int CTY_search_loc(float, float, CTY_locate*) { return 0; }
int CTY_get_prior() { return 10; }
int CTY_set_id_type(int) { return 0; }
int CTY_data_size(int) { return 0; }
int CTY_enter_func(CTY_enter_fn) { return 0; }
int CTY_data_init(CTY_data* c) { if (c) *c = CTY_data{}; return 0; }
int CTY_clear_data(int) { return 0; }
int CTY_clear() { return 0; }
TAB_table* CTY_get_table() { return nullptr; }
int CTY_data_cmp(int, char**, const CTY_data*) { return 1; }
float calc_earth_dist(float, float, float, float) { return -9999.0f; }
namespace zor::cty { void reset() {} }
