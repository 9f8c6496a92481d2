// Input-type selection (`input`, `in_file`) and the table of entry steps per
// input type.
#include "rad_dispatch.h"

#include <cstring>
#include <vector>

#include "zor/dom.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/lev2.h"
#include "zor/mess.h"
#include "zor/mosaic.h"
#include "zor/nids.h"
#include "zor/rad.h"
#include "zor/rcm.h"
#include "zor/res.h"
#include "zor/rrwds.h"
#include "zor/text.h"
#include "zor/types.h"
#include "zor/var.h"

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

// Plots once per region the menu (or the resources) give. An answer that
// names no domain (-9999) plots the file on its own grid.
void for_each_region(Domain& d, int (*plot)(Domain*)) {
  int got;
  while ((got = DOM_prompt_region(&d, 1)) >= 1 || got == ZOR_MISSING) {
    if (got == ZOR_MISSING) DOM_init(&d);
    plot(&d);
  }
}

// One input type: the prompt for its file, the name of its format, whether
// the file layer selects files of this kind, and the steps after the file is
// chosen (null while the format is not part of the program). Adding a format
// is one row here and its module under src/radar.
struct InputType {
  int code;
  const char* format;
  const char* prompt;
  bool file_type;
  void (*run)(Domain& domain);
};

const InputType kInputTypes[] = {
    {RAD_IN_NIDS, "NIDS", "Enter the NIDS filename: ", true,
     [](Domain& d) {
       NIDS_set_ext_info(FILE_get_ext_info());
       NIDS_set_date(nullptr);
       DOM_get_region(&d, 3);
       NIDS_plot(&d);
     }},
    {RAD_IN_LEV2, "Level II", "Enter the Level 2 filename: ", true,
     [](Domain& d) {
       LEV2_set_date(nullptr);
       DOM_get_region(&d, 3);
       LEV2_plot(&d);
     }},
    {RAD_IN_LEV2Z, "compressed Level II", "Enter the Level 2 filename: ", true,
     [](Domain& d) {
       LEV2_set_date(nullptr);
       LEV2_set_compress(1);
       DOM_get_region(&d, 3);
       LEV2_plot(&d);
     }},
    {RAD_IN_RRWDS, "RRWDS", "Enter the RRWDS filename: ", false,
     [](Domain& d) {
       RRWDS_set_date(nullptr);
       DOM_get_region(&d, 3);
       RRWDS_plot(&d);
     }},
    {RAD_IN_NOWRAD, "NOWRad", "Enter the NOWRad filename: ", false,
     [](Domain& d) {
       NOWRad_set_date(nullptr);
       for_each_region(d, NOWRad_plot);
     }},
    {RAD_IN_KAVRAD, "KAVRAD", "Enter the KAVRAD filename: ", false,
     [](Domain& d) {
       KAVRAD_set_date(nullptr);
       for_each_region(d, KAVRAD_plot);
     }},
    {RAD_IN_RCM, "RCM", "Enter the RCM filename: ", false,
     [](Domain& d) {
       RCM_set_date(nullptr);
       DOM_get_region(&d, 3);
       RCM_prompt_id();
       RCM_plot(&d);
     }},
    {RAD_IN_CONVERTED, "converted radar report", "Enter the radar filename: ", false,
     [](Domain& d) {
       RAD_set_date(nullptr);
       while (DOM_prompt_region(&d, 1) >= 1) {
         RAD_set_prompt_variable(1);
         while (RAD_prompt_variable()) RAD_plot(&d);
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
  if (type->run == nullptr) {
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
