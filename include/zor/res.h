// Resource database, command line and resource (defaults) files.
#pragma once

#include "zor/res_keys.h"

int RES_init(int argc, char** argv, const res_type* res_key, const res_type* res_pos);
int RES_decode(const char* progname, const char* cls, int argc, char** argv, RES_defobj* def_table);
int RES_enter(RES_defobj* obj, res_type key);
int RES_new(int index, const char* name, const char* data, DEF_convert cvt);
int RES_append(int index, const char* name, const char* data, DEF_convert cvt);
int RES_put(const char* name, const char* value);
char* RES_get(const char* name);
int RES_getval(const char* name, char* data, DEF_convert cvt);
int RES_getvals(const char* name, int* paramc, char*** paramv);
int RES_conv_data(const char* data, char* out, DEF_convert cvt);
int RES_list();
int RES_setCL(int argc, char** argv);
char* RES_get_prog();
char* RES_get_progname(char* prog);
int RES_set_device(const char* str);
int RES_help_print(const char* name, const res_type* res_key, const res_type* res_pos);

int DEF_open(const char* filename);
int DEF_close();
int DEF_get(char* resrc, char* value);
int DEF_cmp(const char* resrc, const char* string);
int DEF_valid(const char* string);
int DEF_parse_name(const char* str, char* ostr);
int DEF_env(const char* resrc, const char* env, char* value);
int DEF_prog();
int DEF_name(const char* name);
int DEF_title(const char* title);
int DEF_clr_tag();
int DEF_tag(const char* str);
