// Resource (defaults) files (first version: interfaces only).
#include "zor/res.h"

int DEF_open(const char*) { return -1; }
int DEF_close() { return 0; }
int DEF_get(char*, char*) { return -1; }
int DEF_cmp(const char*, const char*) { return 0; }
int DEF_valid(const char*) { return 0; }
int DEF_parse_name(const char*, char*) { return 0; }
int DEF_env(const char*, const char*, char*) { return 0; }
int DEF_prog() { return 0; }
int DEF_name(const char*) { return 0; }
int DEF_title(const char*) { return 0; }
int DEF_clr_tag() { return 0; }
int DEF_tag(const char*) { return 0; }
