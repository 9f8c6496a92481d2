// Input-type selection (`input`, `in_file`) and the table of entry steps per
// input type.
#include "rad_dispatch.h"

#include <cstring>
#include <vector>

#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"
#include "zor/text.h"
#include "zor/types.h"
#include "zor/var.h"

// Entry points of the formats. They are weak so that the program links while
// a format is not part of the build; the dispatch table checks them before
// use (the radar library is linked whole, so every format present resolves).
#define ZOR_WEAK __attribute__((weak))
int NIDS_set_ext_info(const char* str) ZOR_WEAK;
int NIDS_set_date(Date* datim) ZOR_WEAK;
int NIDS_plot(Domain* domain) ZOR_WEAK;
int LEV2_set_date(Date* datim) ZOR_WEAK;
int LEV2_set_compress(int val) ZOR_WEAK;
int LEV2_plot(Domain* domain) ZOR_WEAK;
int RRWDS_set_date(Date* datim) ZOR_WEAK;
int RRWDS_plot(Domain* domain) ZOR_WEAK;
int NOWRad_set_date(Date* datim) ZOR_WEAK;
int NOWRad_plot(Domain* domain) ZOR_WEAK;
int KAVRAD_set_date(Date* datim) ZOR_WEAK;
int KAVRAD_plot(Domain* domain) ZOR_WEAK;
int RCM_set_date(Date* datim) ZOR_WEAK;
int RCM_prompt_id() ZOR_WEAK;
int RCM_plot(Domain* domain) ZOR_WEAK;
int RAD_set_date(Date* datim) ZOR_WEAK;
int RAD_set_prompt_variable(int val) ZOR_WEAK;
int RAD_prompt_variable() ZOR_WEAK;
int RAD_plot(Domain* domain) ZOR_WEAK;
#undef ZOR_WEAK

namespace zor::radar_entry {

namespace {

bool prefix3(const std::string& v, const char* p) { return strnicmp(v.c_str(), p, 3) == 0; }
bool is(const std::string& v, const char* w) { return stricmp(v.c_str(), w) == 0; }
bool has(const std::string& v, const char* w) { return v.find(w) != std::string::npos; }

// `input` chooses the data type; returns whether the value named one.
bool apply_input(const std::string& v, InputChoice& c) {
  struct Row {
    bool (*test)(const std::string&);
    int type;  // 0: unchanged
    const char* name_conv;
    const char* model;
  };
  static const Row rows[] = {
      {[](const std::string& s) { return prefix3(s, "raw"); }, 0, "rad_dat", nullptr},
      {[](const std::string& s) { return prefix3(s, "cvt") || is(s, "conv"); }, 0, nullptr,
       nullptr},
      {[](const std::string& s) { return is(s, "site") || is(s, "rrwds"); }, RAD_IN_RRWDS, "rrwds",
       nullptr},
      {[](const std::string& s) { return is(s, "nids"); }, RAD_IN_NIDS, "nids", nullptr},
      {[](const std::string& s) { return is(s, "lev2z"); }, RAD_IN_LEV2Z, "lev2", nullptr},
      {[](const std::string& s) { return is(s, "lev2"); }, RAD_IN_LEV2, "lev2", nullptr},
      {[](const std::string& s) { return is(s, "nowrad"); }, RAD_IN_NOWRAD, "nowrad", nullptr},
      {[](const std::string& s) { return is(s, "kavrad"); }, RAD_IN_KAVRAD, "kavrad", nullptr},
      {[](const std::string& s) { return is(s, "rcmsite"); }, RAD_IN_RCM, "rcm_dat", nullptr},
      {[](const std::string& s) { return is(s, "rcm"); }, RAD_IN_CONVERTED, "rcm_cvt", "rcm"},
      {[](const std::string& s) { return has(s, "rad"); }, 0, nullptr, nullptr},
      {[](const std::string& s) { return is(s, "mdr"); }, RAD_IN_CONVERTED, "rad_raw", nullptr},
  };
  for (const auto& r : rows) {
    if (!r.test(v)) continue;
    if (r.type) c.type = r.type;
    if (r.name_conv) c.name_conv = r.name_conv;
    if (r.model) c.model = r.model;
    return true;
  }
  return false;
}

// `in_file` always chooses the convention and the type only when `input`
// did not. A null convention in a row means the value itself.
void apply_in_file(const std::string& v, bool marked, InputChoice& c) {
  struct Row {
    bool (*test)(const std::string&);
    int type;  // 0: unchanged
    const char* name_conv;
    const char* model;
  };
  static const Row rows[] = {
      {[](const std::string& s) { return prefix3(s, "raw"); }, 0, "rad_raw", nullptr},
      {[](const std::string& s) { return prefix3(s, "cvt") || is(s, "conv"); }, 0, "rad_cvt",
       nullptr},
      {[](const std::string& s) { return is(s, "site"); }, RAD_IN_RRWDS, "rrwds", nullptr},
      {[](const std::string& s) { return has(s, "rrwds"); }, RAD_IN_RRWDS, nullptr, nullptr},
      {[](const std::string& s) { return has(s, "nids"); }, RAD_IN_NIDS, nullptr, nullptr},
      {[](const std::string& s) { return has(s, "lev2z"); }, RAD_IN_LEV2Z, nullptr, nullptr},
      {[](const std::string& s) { return has(s, "lev2"); }, RAD_IN_LEV2, nullptr, nullptr},
      {[](const std::string& s) { return has(s, "nowrad"); }, RAD_IN_NOWRAD, nullptr, nullptr},
      {[](const std::string& s) { return is(s, "kavrad"); }, RAD_IN_KAVRAD, nullptr, nullptr},
      {[](const std::string& s) { return has(s, "rad"); }, 0, nullptr, nullptr},
      {[](const std::string& s) { return is(s, "mdr"); }, RAD_IN_CONVERTED, "rad_raw", "mdr"},
      {[](const std::string& s) { return is(s, "rcmsite"); }, RAD_IN_RCM, "rcm_dat", nullptr},
      {[](const std::string& s) { return is(s, "rcm"); }, RAD_IN_CONVERTED, "rcm_cvt", "rcm"},
  };
  for (const auto& r : rows) {
    if (!r.test(v)) continue;
    if (r.type && !marked) c.type = r.type;
    c.name_conv = r.name_conv ? r.name_conv : v;
    if (r.model) c.model = r.model;
    return;
  }
  c.name_conv = v;
}

std::vector<std::string> resource_items(const char* name) {
  int n = 0;
  char** items = nullptr;
  RES_getvals(name, &n, &items);
  std::vector<std::string> out(items, items + n);
  free_parsed_array(n, items);
  return out;
}

// One input type: the prompt for its file, the name of its format, whether
// the file layer selects files of this kind, and the steps after the file
// is chosen.
struct InputType {
  int code;
  const char* format;
  const char* prompt;
  bool file_type;
  bool (*available)();
  void (*run)(Domain& domain);
};

void run_lev2(Domain& domain, bool compressed) {
  LEV2_set_date(nullptr);
  if (compressed) LEV2_set_compress(1);
  DOM_get_region(&domain, 3);
  LEV2_plot(&domain);
}

const InputType kInputTypes[] = {
    {RAD_IN_NIDS, "NIDS", "Enter the NIDS filename: ", true,
     [] { return NIDS_set_ext_info && NIDS_set_date && NIDS_plot; },
     [](Domain& d) {
       NIDS_set_ext_info(FILE_get_ext_info());
       NIDS_set_date(nullptr);
       DOM_get_region(&d, 3);
       NIDS_plot(&d);
     }},
    {RAD_IN_LEV2, "Level II", "Enter the Level 2 filename: ", true,
     [] { return LEV2_set_date && LEV2_plot; }, [](Domain& d) { run_lev2(d, false); }},
    {RAD_IN_LEV2Z, "compressed Level II", "Enter the Level 2 filename: ", true,
     [] { return LEV2_set_date && LEV2_set_compress && LEV2_plot; },
     [](Domain& d) { run_lev2(d, true); }},
    {RAD_IN_RRWDS, "RRWDS", "Enter the RRWDS filename: ", false,
     [] { return RRWDS_set_date && RRWDS_plot; },
     [](Domain& d) {
       RRWDS_set_date(nullptr);
       DOM_get_region(&d, 3);
       RRWDS_plot(&d);
     }},
    {RAD_IN_NOWRAD, "NOWRad", "Enter the NOWRad filename: ", false,
     [] { return NOWRad_set_date && NOWRad_plot; },
     [](Domain& d) {
       NOWRad_set_date(nullptr);
       while (DOM_prompt_region(&d, 1) >= 1) NOWRad_plot(&d);
     }},
    {RAD_IN_KAVRAD, "KAVRAD", "Enter the KAVRAD filename: ", false,
     [] { return KAVRAD_set_date && KAVRAD_plot; },
     [](Domain& d) {
       KAVRAD_set_date(nullptr);
       while (DOM_prompt_region(&d, 1) >= 1) KAVRAD_plot(&d);
     }},
    {RAD_IN_RCM, "RCM", "Enter the RCM filename: ", false,
     [] { return RCM_set_date && RCM_prompt_id && RCM_plot; },
     [](Domain& d) {
       RCM_set_date(nullptr);
       DOM_get_region(&d, 3);
       RCM_prompt_id();
       RCM_plot(&d);
     }},
    {RAD_IN_CONVERTED, "converted radar report", "Enter the radar filename: ", false,
     [] { return RAD_set_date && RAD_set_prompt_variable && RAD_prompt_variable && RAD_plot; },
     [](Domain& d) {
       RAD_set_date(nullptr);
       while (DOM_prompt_region(&d, 1) >= 1) {
         RAD_set_prompt_variable(1);
         while (RAD_prompt_variable() != 0) RAD_plot(&d);
       }
     }},
};

}  // namespace

InputChoice choose_input(std::span<const std::string> input, std::span<const std::string> in_file) {
  InputChoice c;
  bool marked = false;
  for (const auto& v : input) marked = apply_input(v, c) || marked;
  for (const auto& v : in_file) apply_in_file(v, marked, c);
  return c;
}

int dispatch() {
  const int code = FLAG_get(14);
  const InputType* type = nullptr;
  for (const auto& t : kInputTypes)
    if (t.code == code) type = &t;
  if (!type) return 0;
  if (!type->available()) {
    MESS_print(M_ERROR,
               "radar: plotting of %s data (input type %d) is not available in this program\n",
               type->format, code);
    return 1;
  }
  // Large enough for any name the file layer returns, so none is cut.
  char temp_str[FILE_NAME_MAX] = {};
  Domain plot_domain;
  if (type->file_type) FILE_set_type(1);
  FILE_get_file(type->prompt, temp_str, sizeof temp_str);
  type->run(plot_domain);
  return 0;
}

}  // namespace zor::radar_entry

int RAD_cvt_in_file() {
  using namespace zor::radar_entry;
  auto input = resource_items("input");
  auto in_file = resource_items("in_file");
  InputChoice c = choose_input(input, in_file);
  FLAG_set(14, c.type);
  FILE_set_name(c.name_conv.c_str());
  VAR_set_model_str(c.model.c_str());
  return 0;
}
