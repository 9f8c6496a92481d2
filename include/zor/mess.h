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

namespace zor::mess {
// Back to the start-up state (level, counts, sinks closed); for tests.
void reset();
// Lines counted since the last hold, the paging mode and the output mode.
int lines();
int page();
int out();
}  // namespace zor::mess

const char* ZOR_version();
// Exit statuses beside 0 (normal end), 4 (graphics could not open), 10 (no
// input file) and 11 (unknown radar station): a command line that asks for
// something the program cannot do, and an output file that could not be
// written.
inline constexpr int ZOR_EXIT_USAGE = 2;
inline constexpr int ZOR_EXIT_OUTPUT = 12;
[[noreturn]] void ZOR_exit(int status);
int ZOR_back_proc();
int ZOR_set_command(const char* string);
// ZOR_promptl and ZOR_prompts write into `str` (20 and `length`
// characters); with no `str` they return a new buffer the caller releases
// with delete[]. End of input at a prompt ends the program with status 0.
char* ZOR_promptl(const char* prompt, char* str);
char* ZOR_prompts(const char* prompt, char* str, int length);
float ZOR_promptf(const char* prompt);
int ZOR_promptd(const char* prompt);
int ZOR_sleep(float secs);
int ZOR_init_time();
float ZOR_elapse_time();
int ZOR_get_pid();

namespace zor::util {
// Clears the elapsed-time clock and the sleep total; for tests.
void reset();
}  // namespace zor::util
