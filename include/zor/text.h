// Text utilities, line readers, the keyed table, station numbers and byte order.
#pragma once

#include <cstdio>

int fill_string(char* string, char tar, char fill);
int strip_string(char* string, char tar);
int wstrim_string(char* string);
int trim_string(char* string);
int trim_cr_string(char* string);
int strip_escape(char* string);
int up_string(char* string);
int low_string(char* string);
int string_is_num(const char* string);
int stricmp(const char* s1, const char* s2);
int strnicmp(const char* s1, const char* s2, int n);
int parse_string(const char* string, char delim, int* argc, char*** argv);
int free_parsed_array(int argc, char** argv);
// `format` is "W.S.M" (width, significant digits, minimum decimals; S and M
// are capped at 9). Label values need a few characters; the extreme float
// range needs 51.
char* set_num(char* str, const char* format, float x);

// Line readers leave the line end in the stream; fgetline needs a buffer of
// 161 characters, the others one of len + 1.
int fgetline(FILE* ifile, char* string);
int fskipline(FILE* ifile);
int fgetnline(FILE* ifile, char* string, int len);
int fgetstring(FILE* ifile, char* string, int len);

struct TAB_entry {
  char* key = nullptr;
  char* data = nullptr;
  TAB_entry* link = nullptr;
  TAB_entry* next = nullptr;
};

struct TAB_table {
  int tab_size = 0;
  int data_size = 0;
  TAB_entry* data_ptr = nullptr;
  TAB_entry* head_ptr = nullptr;
  TAB_entry* last_ptr = nullptr;
  int num_entry = 0;
  int numkey = 0;
  TAB_entry* table[4] = {nullptr, nullptr, nullptr, nullptr};
};

int TAB_init(TAB_table* tab);
int TAB_create(TAB_table* tab, int tsize, int dsize, int nkey);
int TAB_enter(TAB_table* tab, const char* data, const char* key1, const char* key2 = nullptr,
              const char* key3 = nullptr, const char* key4 = nullptr);
char* TAB_search(TAB_table* tab, int keynum, const char* key);
// Every record whose key number `keynum` equals `key`, in bucket-chain order;
// at most `max` are stored in `found`. Returns how many were stored.
int TAB_searches(TAB_table* tab, int keynum, const char* key, char** found, int max);
// Insertion-order iteration: TAB_first starts at the first record, TAB_next
// moves on; both return the record or nullptr at the end. `pos` is the
// caller's cursor, so several walks over one table may run side by side.
char* TAB_first(TAB_table* tab, TAB_entry** pos);
char* TAB_next(TAB_entry** pos);
int TAB_clear(TAB_table* tab);

// `id` must hold at least 6 characters.
int wmo_to_id(char* id, int wmo);
int id_to_wmo(const char* id, int* wmo);

int swap_setup(int flag);
int swap_long(unsigned char* ptr);
int swap_longs(unsigned char* ptr, int num);
int swap_short(unsigned char* ptr);
int swap_shorts(unsigned char* ptr, int num);
int swap_double(unsigned char* ptr);
int fread_long_swap(unsigned char* data, FILE* ifile);
int fread_short_swap(unsigned char* data, FILE* ifile);
int fread_double_swap(unsigned char* data, FILE* ifile);
int fwrite_long_swap(unsigned char* data, FILE* ifile);
int fwrite_short_swap(unsigned char* data, FILE* ifile);
int fswap(float* x, float* y);

#include <cstddef>
#include <istream>
#include <string>

namespace zor {

// Most bytes a text input file (defaults, region, watch bulletins) is read
// to: far beyond any real one, so an endless input (/dev/zero, a pipe that
// never closes) still ends.
inline constexpr std::size_t kTextFileMax = std::size_t{16} << 20;

// The next line of `in` without its end (and a trailing CR), at most `keep`
// characters of it kept, `too_long` set when there were more. False at the
// end of the input or once `budget` bytes have been taken from it.
bool get_bounded_line(std::istream& in, std::string& line, std::size_t keep, bool& too_long, std::size_t& budget);

}  // namespace zor
