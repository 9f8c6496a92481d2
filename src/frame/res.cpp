// Resource database (first version: interfaces only).
#include "zor/res.h"

int RES_init(int, char**, const res_type*, const res_type*) { return 1; }
int RES_decode(const char*, const char*, int, char**, RES_defobj*) { return 0; }
int RES_enter(RES_defobj*, res_type) { return 0; }
int RES_new(int, const char*, const char*, DEF_convert) { return -1; }
int RES_append(int, const char*, const char*, DEF_convert) { return -1; }
int RES_put(const char*, const char*) { return -1; }
char* RES_get(const char*) { return nullptr; }
int RES_getval(const char*, char*, DEF_convert) { return 0; }
int RES_getvals(const char*, int* c, char*** v) { if (c) *c = 0; if (v) *v = nullptr; return 0; }
int RES_conv_data(const char*, char*, DEF_convert) { return 0; }
int RES_list() { return 0; }
int RES_setCL(int, char**) { return 0; }
char* RES_get_prog() { return nullptr; }
char* RES_get_progname(char* prog) { return prog; }
int RES_set_device(const char*) { return 1; }
int RES_help_print(const char*, const res_type*, const res_type*) { return 1; }
