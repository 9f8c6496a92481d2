// Plot domains: the domain-string syntax, the predefined regions (built-in
// and the region file "zor.reg"), the region menu, printing and comparison,
// and the station plotting priorities derived from the domain size.
#pragma once

#include <optional>
#include <string>

#include "zor/types.h"

// Projection codes of Domain::proj.
inline constexpr int DOM_PSTEREO = 1;
inline constexpr int DOM_LATLON = 2;
inline constexpr int DOM_MERC = 3;
inline constexpr int DOM_LAMB = 4;
inline constexpr int DOM_ORTHO = 5;
inline constexpr int DOM_GNOM = 6;
inline constexpr int DOM_MOLL = 7;
inline constexpr int DOM_LAMBAZ = 8;
inline constexpr int DOM_SAT = 9;
inline constexpr int DOM_ZOOM = 50;
inline constexpr int DOM_SIZE = 51;
inline constexpr int DOM_PIXEL = 99;

// Field kinds of a domain-string template (DOM_set_params).
inline constexpr int DOM_F_PROJ = 1;
inline constexpr int DOM_F_PLON = 3;
inline constexpr int DOM_F_STATION = 4;
inline constexpr int DOM_F_CLAT = 5;
inline constexpr int DOM_F_CLON = 6;
inline constexpr int DOM_F_NX = 7;
inline constexpr int DOM_F_NY = 8;
inline constexpr int DOM_F_DX = 9;
inline constexpr int DOM_F_DY = 10;
inline constexpr int DOM_F_REGION = 11;

// Longest region-file line read; longer lines are refused.
inline constexpr int DOM_MAX_LINE = 500;
// Size of the answer buffer MENU_process writes (a prompt word or an abbreviation).
inline constexpr int MENU_STR_LEN = 81;

// One entry of a numbered menu. A null name ends the menu; a name beginning
// with "-" is a separator line. Entry 0 is the "0" choice and never listed.
struct MENU_item {
  const char* name = nullptr;
  const char* abbr = nullptr;
  int index = 0;
  int disp[10] = {};
};

int DOM_init(Domain* domain);
int DOM_decode(const char* str, Domain* domain);
int DOM_get_region(Domain* domain, int flag);
int DOM_prompt_region(Domain* domain, int flag);
int DOM_set_prompt_region(int val);
int DOM_get_def_region(const char* region, Domain* domain);
int DOM_proj_str(const char* proj);
int DOM_set_params(int paramc, char** paramv, Domain* domain, int i1, int i2 = 0, int i3 = 0,
                   int i4 = 0, int i5 = 0, int i6 = 0, int i7 = 0, int i8 = 0);
int DOM_print(M_type mess, const Domain* domain);
float DOM_aspect(const Domain* domain);
int DOM_comp(const Domain* dom1, const Domain* dom2);
int DOM_comp_proj(const Domain* dom1, const Domain* dom2);

// Region file: returns the number of regions kept in the menu (0 when the
// file cannot be opened).
int DOM_read_menu(const char* file);
// Finds region `str` (any region when null or empty) in region file `file`
// and copies its domain string into `domstr`, which must hold DOM_MAX_LINE + 1
// characters. 1 found, 0 not found, -1 file not readable.
int DOM_search_file(const char* file, const char* str, char* domstr);
int DOM_print_file(const char* file);

int DOM_set_base_prior(float size);
int DOM_get_prior();
int DOM_set_prior(int val);
int DOM_set_loc_prior(int val);
int DOM_get_loc_prior();

int MENU_print(const char* title, const MENU_item* menu, int menu_num, int flag);
// `string` must hold MENU_STR_LEN characters; it receives the chosen
// abbreviation or the text typed.
int MENU_process(const char* title, const MENU_item* menu, int menu_num, const char* prompt,
                 char* string, int flag);
int MENU_search(const char* item, const MENU_item* menu);
const char* MENU_get_abbr(int index, const MENU_item* menu);
int MENU_check(int index, const MENU_item* menu, int menu_num);

namespace zor::dom {

// The domain string DOM_print writes, without the trailing newline.
std::string format(const Domain& domain);

// Full path of a region file: a full path as is, else along the resource
// `file_path` (or the working directory), else the bundled data file.
std::optional<std::string> locate_region_file(const std::string& file);

// The region table as the menu shows it.
const MENU_item* region_menu();

// Back to the start-up state: built-in regions, priorities 3 and 4,
// prompting on; for tests.
void reset();

}  // namespace zor::dom
