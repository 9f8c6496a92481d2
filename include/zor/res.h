// Resource database, command line and resource (defaults) files.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "zor/res_keys.h"
#include "zor/text.h"
#include "zor/types.h"

// Longest line of a resource file; longer lines are refused with a warning.
inline constexpr int DEF_LINE_MAX = 249;
// Key and resource names take part in full names with at most this many
// characters; the program name and title with at most DEF_PROG_MAX.
inline constexpr int DEF_NAME_MAX = 40;
inline constexpr int DEF_PROG_MAX = 29;
// Most entries of a program's key table, the terminating one included.
inline constexpr int RES_MAX_KEYS = 75;
// Longest option name on the command line; longer options are refused.
inline constexpr int RES_OPTION_MAX = 49;
// Capacity assumed for the text a CV_strcpy conversion writes into; a longer
// value is refused, not cut.
inline constexpr std::size_t RES_STRCPY_MAX = 256;

int RES_init(int argc, char** argv, const res_type* res_key, const res_type* res_pos);
int RES_decode(const char* progname, const char* cls, int argc, char** argv, RES_defobj* def_table);
int RES_enter(RES_defobj* obj, res_type key);
int RES_fill_obj(RES_defobj* obj, const char* def, const char* env, const char* cmd, int cmd_pos,
                 DEF_convert cvt, char* out, int* num);
int RES_new(int index, const char* name, const char* data, DEF_convert cvt);
int RES_append(int index, const char* name, const char* data, DEF_convert cvt);
int RES_put(const char* name, const char* value);
// The stored value ("" when given without value), or null when absent. The
// pointer stays valid until the resource is stored again.
char* RES_get(const char* name);
int RES_getval(const char* name, char* data, DEF_convert cvt);
int RES_getvals(const char* name, int* paramc, char*** paramv);
int RES_conv_data(const char* data, char* out, DEF_convert cvt);
// Region and domain values (CV_region, CV_domain) are decoded by the domain
// layer's decoder, handed down at start-up; without one they do not convert.
using RES_domain_decoder = int (*)(const char* str, Domain* domain);
void RES_set_domain_decoder(RES_domain_decoder decode);
int RES_list();
int RES_setCL(int argc, char** argv);
char* RES_get_prog();
// Writes the program's base name into `prog` (capacity `size`); a name that
// does not fit is refused and "ZOR" written instead. With a null `prog` the
// result lives in the module and must not be freed.
char* RES_get_progname(char* prog, std::size_t size = 40);
int RES_set_device(const char* str);
int RES_help_print(const char* name, const res_type* res_key, const res_type* res_pos);

int DEF_open(const char* filename);
int DEF_close();
// `resrc` and `value` must hold DEF_LINE_MAX + 1 characters.
int DEF_get(char* resrc, char* value);
int DEF_cmp(const char* resrc, const char* string);
int DEF_valid(const char* string);
// `ostr` must hold DEF_NAME_MAX + 1 characters.
int DEF_parse_name(const char* str, char* ostr);
// `value` must hold DEF_LINE_MAX + 1 characters; a longer variable is refused.
int DEF_env(const char* resrc, const char* env, char* value);
int DEF_prog();
int DEF_name(const char* name);
int DEF_title(const char* title);
int DEF_clr_tag();
int DEF_tag(const char* str);

namespace zor::res {

// Description of one resource key.
struct KeyDesc {
  res_type key;
  const char* def;  // resource name
  const char* cmd;  // option without "-", null for positional keys
  int cmd_pos;      // positional keys: 1 first argument, 10 all
  const char* env;  // the key's own environment variable
  DEF_convert cvt;
  const char* synopsis;      // help synopsis; null: no help line
  const char* help;          // help text; null: the synopsis stands alone
  const char* const* extra;  // further help lines, null-terminated
};

std::span<const KeyDesc> key_table();
const KeyDesc* find_key(res_type key);

// The Date an `hour` resource text describes (fields not named stay -9999).
Date decode_hour(const char* text);

// Empties the resource list and forgets the command line (tests).
void reset();

}  // namespace zor::res

namespace zor::def {

// One line of a resource file that applies to this program.
struct Line {
  std::string name;
  std::string value;
};

// The next resource line of the open file; nullopt at the end.
std::optional<Line> get();
// Full name of a key: prog_title.key, prog_name.title.key or prog_name.key.
std::string full_name(const std::string& key);
bool cmp(const std::string& pattern, const std::string& key);
std::string parse_name(const std::string& pattern);
bool valid(const std::string& pattern);
std::optional<std::string> env(const std::string& resrc, const char* own_env);

// Back to the start-up state: no file, name "Zor", no title or tags (tests).
void reset();

}  // namespace zor::def

namespace zor {

// The values of a list resource (RES_getvals), freed on scope exit.
struct ResValues {
  int n = 0;
  char** v = nullptr;
  explicit ResValues(const char* name) { RES_getvals(name, &n, &v); }
  ~ResValues() { free_parsed_array(n, v); }
  ResValues(const ResValues&) = delete;
  ResValues& operator=(const ResValues&) = delete;
  std::string_view operator[](int i) const { return v[i] != nullptr ? v[i] : ""; }
};

}  // namespace zor
