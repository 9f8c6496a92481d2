// File-name conventions, file selection by date and the small file-system
// helpers used everywhere.
#pragma once

#include <cstddef>
#include <cstdio>

#include "zor/types.h"

// Capacity every output name buffer is assumed to have when no size is
// passed. Callers with smaller buffers pass their size: a name that does not
// fit is refused (empty output, failure status), never truncated.
inline constexpr std::size_t FILE_NAME_MAX = 160;

// Conventions and keys.
int FILE_set_name(const char* type);
int FILE_set_key(char key, const char* str);
int FILE_set_type(int type);
char* FILE_get_ext_info();
int FILE_set_ext_info(const char* str);
int FILE_set_time(Date* datim);
int FILE_reset_time();
int FILE_set_late_off(int val);
int FILE_get_late_off();
int FILE_set_min_size(int val);
int FILE_get_offset();
int FILE_set_filename(const char* str);
char* FILE_get_filename(char* str, std::size_t size = FILE_NAME_MAX);
int FILE_save_name_conv();
int FILE_restore_name_conv();
int FILE_set_header(int on);

// Names from dates and typed names.
int FILE_set_date(Date* datim, char* out_file, std::size_t size = FILE_NAME_MAX);
int FILE_set_date_off(Date* datim, int offset, char* out_file, std::size_t size = FILE_NAME_MAX);
int FILE_set_file(const char* file, char* out_file, std::size_t size = FILE_NAME_MAX);
long FILE_set_current(const char* cur, char* filename, std::size_t size = FILE_NAME_MAX);
int FILE_get_file(const char* prompt, char* outfile, std::size_t size = FILE_NAME_MAX);
int FILE_list_file();
int FILE_get_date(Date* date);

// Series of files.
int FILE_first(Date* datim);
int FILE_get_next(char* file, std::size_t size = FILE_NAME_MAX);
int FILE_get_num_file();
int FILE_num_hour();
int FILE_get_skip();
int FILE_get_nsecs();
int FILE_set_nsecs(int val);
int FILE_set_def_hours(int val);

// File-system helpers.
int FILE_fullpath(const char* filename);
char* FILE_add_path(const char* path, const char* file, char* filename, std::size_t size = FILE_NAME_MAX);
char* FILE_add_path_delim(char* path, std::size_t size = FILE_NAME_MAX);
char* FILE_add_user_path(const char* file, char* filename, std::size_t size = FILE_NAME_MAX);
int FILE_is_stdio(const char* file);
int FILE_exist(const char* file);
int FILE_is_dir(const char* file);
long int FILE_size(const char* file);
int FILE_delete(const char* file);
int FILE_make_dir(const char* dir, int flag);
FILE* FILE_open(const char* file, const char* access);
int FILE_close(FILE* fp);

namespace zor::file {
// Puts the module back into its start-up state (tests).
void reset();
}  // namespace zor::file
