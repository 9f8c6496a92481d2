// Messages with levels and sinks, terminal prompts and process utilities.
#pragma once

#include "zor/types.h"

int MESS_print(M_type type, const char* mess, ...) __attribute__((format(printf, 2, 3)));
int MESS_hold(M_type type, const char* mess);
int MESS_print_prog(const char* string);
int MESS_set(int oper, M_type level);
int MESS_set_str(const char* str);
M_type MESS_get();
int MESS_check(M_type level);
int MESS_check_set();
int MESS_file(const char* filename, const char* access);
int MESS_file_close();
int MESS_set_out(int val);
int MESS_set_page(int val);
int MESS_get_max_lines();

const char* ZOR_version();
[[noreturn]] void ZOR_exit(int status);
int ZOR_back_proc();
int ZOR_set_command(const char* string);
char* ZOR_promptl(const char* prompt, char* str);
char* ZOR_prompts(const char* prompt, char* str, int length);
float ZOR_promptf(const char* prompt);
int ZOR_promptd(const char* prompt);
int ZOR_sleep(float secs);
int ZOR_init_time();
float ZOR_elapse_time();
int ZOR_get_pid();
