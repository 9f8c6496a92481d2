// Resource database: the resource list, the decoding of command line,
// environment and resource files, the conversions and the help text.
#include "zor/res.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <new>
#include <string_view>
#include <vector>

#include "zor/date.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/mq.h"
#include "zor/text.h"

namespace zor::res {

namespace {

inline constexpr int kFree = -9999;  // index of a resource that matches no key
inline constexpr const char* kDefaultPath = ".:/home/zor/etc:/usr/local/zor/etc";

struct Resource {
  int index = kFree;
  std::string name;
  std::optional<std::string> data;
  DEF_convert cvt = CV_string;
};

struct State {
  std::deque<Resource> list;            // deque: references stay valid as it grows
  std::deque<std::string> path_values;  // CV_path results handed out by pointer
  std::vector<std::string> cmd_line;
  std::string progname;  // RES_get_progname without a buffer
  // Domain values are decoded by the domain layer, above this one, which
  // hands its decoder down at start-up.
  RES_domain_decoder decode_domain = nullptr;
  // The loop window reached through the message queues while decoding.
  int loop_q = -1;
  int loop_id = -1;
  bool loop_timed_out = false;
  MQ_timeout_handler loop_saved_func = nullptr;
  void reset() {
    list.clear();
    path_values.clear();
    cmd_line.clear();
    progname.clear();
    loop_q = loop_id = -1;
    loop_timed_out = false;
    loop_saved_func = nullptr;
  }
};

State& state() {
  static State s;
  return s;
}

char g_empty[1] = {'\0'};

Resource* find(std::string_view name) {
  for (auto& r : state().list)
    if (r.name == name) return &r;
  return nullptr;
}

bool iequal(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

bool iprefix(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && iequal(text.substr(0, prefix.size()), prefix);
}

bool is_letter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

// Splits at `delim` the way parse_string does: trailing delimiters dropped,
// empty items between delimiters kept, an empty text gives no items.
std::vector<std::string> split(std::string_view text, char delim) {
  std::vector<std::string> out;
  while (!text.empty() && text.back() == delim) text.remove_suffix(1);
  if (text.empty()) return out;
  std::size_t start = 0;
  for (;;) {
    std::size_t at = text.find(delim, start);
    out.emplace_back(
        text.substr(start, at == std::string_view::npos ? std::string_view::npos : at - start));
    if (at == std::string_view::npos) break;
    start = at + 1;
  }
  return out;
}

// One keyword-to-value row of a flag conversion.
struct Word {
  const char* word;
  int value;
};

constexpr Word kFileParams[] = {{"use", 3},  {"reuse", 3},  {"over", 1},
                                {"calc", 1}, {"recalc", 1}, {"app", 2}};

constexpr Word kPlotTypes[] = {
    {"raw", 0},     {"none", 99},  {"value", 17},  {"gvalue", 17}, {"cf", 15},    {"lcf", 16},
    {"ln", 12},     {"dln", 13},   {"ndln", 14},   {"vect", 21},   {"barb", 22},  {"strm", 23},
    {"stream", 23}, {"an", 54},    {"number", 54}, {"pm", 55},     {"skewt", 62}, {"ema", 63},
    {"teph", 64},   {"rteph", 65}, {"stuve", 61},  {"hodo", 69}};

// Plot components of the draw keywords; -1 all, -2 none, -3 text (slot 0 and
// the border).
constexpr Word kDrawWords[] = {{"none", -2},   {"all", -1},    {"text", -3},   {"text_ul", 1},
                               {"text_uc", 2}, {"text_ur", 3}, {"text_ll", 4}, {"text_lc", 5},
                               {"text_lr", 6}, {"sum", 10},    {"data", 7},    {"grid", 9},
                               {"map", 8},     {"bord", 11}};

std::optional<int> lookup(std::span<const Word> table, std::string_view word) {
  for (const auto& w : table)
    if (iequal(word, w.word)) return w.value;
  return std::nullopt;
}

int set_flag_by_word(std::span<const Word> table, int flag, const char* data) {
  if (auto v = lookup(table, data)) FLAG_set(flag, *v);
  return 1;
}

void convert_draw(const char* data) {
  auto items = split(data, ',');
  for (std::size_t i = 0; i < items.size(); ++i) {
    std::string_view item = items[i];
    int on = 1;
    if (!item.empty() && (item[0] == '+' || item[0] == '-')) {
      on = item[0] == '+' ? 1 : 0;
      item.remove_prefix(1);
    } else if (i == 0) {
      FLAG_resetplot(0);  // a list starting without sign names exactly what is drawn
    }
    auto slot = lookup(kDrawWords, item);
    if (!slot) continue;
    switch (*slot) {
      case -2:
        FLAG_setplot(12, 0);
        break;
      case -1:
        FLAG_setplot(12, 1);
        break;
      case -3:
        FLAG_setplot(0, on);
        FLAG_setplot(11, on);
        break;
      default:
        FLAG_setplot(*slot, on);
        break;
    }
  }
}

// Two digits at `pos` of `s`, when both are there.
std::optional<int> two_digits(std::string_view s, std::size_t pos) {
  if (pos + 2 > s.size()) return std::nullopt;
  if (!std::isdigit(static_cast<unsigned char>(s[pos])) ||
      !std::isdigit(static_cast<unsigned char>(s[pos + 1])))
    return std::nullopt;
  return (s[pos] - '0') * 10 + (s[pos + 1] - '0');
}

void set_if(std::int32_t& field, std::optional<int> v) {
  if (v) field = *v;
}

}  // namespace

Date decode_hour(const char* text) {
  Date d;
  std::string_view s = text;
  bool has_colon = s.find(':') != std::string_view::npos;
  bool first_digit = !s.empty() && std::isdigit(static_cast<unsigned char>(s[0]));
  if (!s.empty() && s[0] == '#') {
    std::string_view rest = s.substr(1);
    std::size_t n = 0;
    while (n < rest.size() && n < 4 && std::isdigit(static_cast<unsigned char>(rest[n]))) ++n;
    if (n == 4) {
      d.year = std::atoi(std::string(rest.substr(0, 4)).c_str());
      std::int32_t* fields[] = {&d.month, &d.day, &d.hour, &d.min};
      std::size_t pos = 4;
      for (auto* f : fields) {
        auto v = two_digits(rest, pos);
        if (!v) break;
        *f = *v;
        pos += 2;
      }
    }
  } else if (s.size() == 6 && !has_colon) {
    set_if(d.month, two_digits(s, 0));
    set_if(d.day, two_digits(s, 2));
    set_if(d.hour, two_digits(s, 4));
  } else if (s.size() == 4 && first_digit && !has_colon) {
    set_if(d.day, two_digits(s, 0));
    set_if(d.hour, two_digits(s, 2));
  } else if (s.size() == 3 && first_digit && !has_colon) {
    d.day = s[0] - '0';
    set_if(d.hour, two_digits(s, 1));
  } else if (s.find('d') != std::string_view::npos) {
    int day = 0, hour = 0, min = 0;
    int n = std::sscanf(text, "%dd%d:%d", &day, &hour, &min);
    if (n >= 1) d.day = day;
    if (n >= 2) d.hour = hour;
    if (n >= 3) d.min = min;
  } else if (!s.empty() && s[0] == ':') {
    d.min = std::atoi(text + 1);
  } else if (s.size() >= 2 && s[0] == '-' && s[1] == ':') {
    d.min = -std::atoi(text + 2);
  } else {
    int hour = 0, min = 0;
    int n = std::sscanf(text, "%d:%d", &hour, &min);
    if (n >= 1) d.hour = hour;
    if (n >= 2) d.min = min;
    // "-0:30" is thirty minutes back: the sign belongs to the minutes.
    if (n >= 1 && !s.empty() && s[0] == '-' && hour == 0) {
      d.hour = -9999;
      if (n >= 2) d.min = -min;
    }
  }
  return d;
}

namespace {

std::optional<std::string> path_value(const char* data) {
  if (iequal(data, "none")) return std::string();
  std::string p = data;
  if (p.empty() || p.back() != '/') p += '/';
  return p;
}

int convert(const char* data, char* out, DEF_convert cvt) {
  switch (cvt) {
    case CV_batch:
      FLAG_set(19, 1);
      if (MESS_check_set() == 0) MESS_set(20, 255);
      return 1;
    case CV_help:
      FLAG_set(20, 1);
      return 1;
    case CV_bool: {
      if (!out) return 0;
      int& v = *reinterpret_cast<int*>(out);
      if (!data) {
        v = 1;
      } else {
        for (const char* t : {"true", "on", "yes"})
          if (iequal(data, t)) v = 1;
        for (const char* f : {"false", "off", "no"})
          if (iequal(data, f)) v = 0;
      }
      return 1;
    }
    default:
      break;
  }
  if (!data) return 0;
  switch (cvt) {
    case CV_mess:
      MESS_set_str(data);
      return 1;
    case CV_hour: {
      Date d = decode_hour(data);
      FILE_set_time(&d);
      return 1;
    }
    case CV_file_param:
      return set_flag_by_word(kFileParams, 15, data);
    case CV_plot_type:
      return set_flag_by_word(kPlotTypes, 11, data);
    case CV_draw:
      convert_draw(data);
      return 1;
    case CV_device: {
      const char* comma = std::strchr(data, ',');
      std::string first = comma ? std::string(data, comma) : std::string(data);
      FLAG_set(2, first.empty() ? 1 : RES_set_device(first.c_str()));
      if (comma && out) *reinterpret_cast<const char**>(out) = comma + 1;
      return 1;
    }
    case CV_none:
    case CV_current:
    case CV_name:
    case CV_ingestor:
    case CV_strings:  // split by RES_getvals or the conversion pass
      return 1;
    default:
      break;
  }
  if (!out) return 0;
  char c0 = data[0];
  bool digit = std::isdigit(static_cast<unsigned char>(c0)) != 0;
  switch (cvt) {
    case CV_int:
      if (digit || c0 == '-' || c0 == '+') {
        bool hex = c0 != '\0' && (data[1] == 'x' || data[1] == 'X');
        *reinterpret_cast<int*>(out) = static_cast<int>(std::strtol(data, nullptr, hex ? 16 : 10));
      }
      return 1;
    case CV_short:
      if (digit) *reinterpret_cast<short*>(out) = static_cast<short>(std::atoi(data));
      return 1;
    case CV_long:
      if (digit) *reinterpret_cast<long*>(out) = std::atol(data);
      return 1;
    case CV_float:
      *reinterpret_cast<float*>(out) = static_cast<float>(std::atof(data));
      return 1;
    case CV_color:
      *reinterpret_cast<int*>(out) = std::atoi(data);
      return 1;
    case CV_string:
      *reinterpret_cast<const char**>(out) = data;
      return 1;
    case CV_strcpy:
      if (std::strlen(data) >= RES_STRCPY_MAX) {
        MESS_print(M_ERROR, "RES_conv_data: value longer than %zu characters refused\n",
                   RES_STRCPY_MAX - 1);
        return 1;
      }
      std::memcpy(out, data, std::strlen(data) + 1);
      return 1;
    case CV_path: {
      auto& kept = state().path_values;
      kept.push_back(*path_value(data));
      *reinterpret_cast<const char**>(out) = kept.back().c_str();
      return 1;
    }
    case CV_region:
    case CV_domain:
      if (state().decode_domain == nullptr) return 0;
      state().decode_domain(data, reinterpret_cast<Domain*>(out));
      return 1;
    default:
      return 1;
  }
}

int store(int index, const char* name, const char* data, DEF_convert cvt, bool append) {
  if (!name) return -1;
  try {
    Resource* r = find(name);
    if (!r) {
      Resource fresh;
      fresh.index = index;
      fresh.name = name;
      if (data) fresh.data = data;
      fresh.cvt = cvt;
      state().list.push_back(std::move(fresh));
      return 0;
    }
    std::optional<std::string> value;
    if (append && r->data && data) {
      value = *r->data + "\n" + data;
    } else if (data) {
      value = data;
    } else if (append) {
      value = r->data;
    }
    r->data = std::move(value);
    r->index = index;
    r->cvt = cvt;
    return 0;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

// One command-line option: name and value, and whether the value was the
// next argument.
struct Option {
  std::string name;
  std::optional<std::string> value;
  bool consumed = false;
  bool too_long = false;
};

// An argument that starts a new option is never taken as a value.
bool starts_option(const char* arg) {
  if (arg[0] != '-') return false;
  if (is_letter(arg[1])) return true;
  return arg[1] == '-' && (arg[2] == '\0' || is_letter(arg[2]));
}

Option read_option(int argc, char** argv, int i, std::size_t dashes) {
  Option o;
  std::string_view arg = argv[i] + dashes;
  std::size_t eq = arg.find('=');
  o.name = std::string(arg.substr(0, eq));
  if (o.name.size() > static_cast<std::size_t>(RES_OPTION_MAX)) o.too_long = true;
  if (eq != std::string_view::npos) {
    o.value = std::string(arg.substr(eq + 1));
  } else if (i + 1 < argc && !starts_option(argv[i + 1])) {
    o.value = argv[i + 1];
    o.consumed = true;
  }
  return o;
}

bool is_name_option(std::string_view name, bool case_sensitive) {
  std::string_view full = "name";
  if (name.empty() || name.size() > full.size()) return false;
  return case_sensitive ? full.substr(0, name.size()) == name : iprefix(full, name);
}

bool is_default_option(std::string_view name, bool case_sensitive) {
  if (case_sensitive) return name.starts_with("default") || name.starts_with("df");
  return iprefix(name, "default") || iprefix(name, "df");
}

bool keyed(const RES_defobj& k) { return k.def && *k.def && k.cmd; }

// The key an option names: by option, by resource name, else by prefix of a
// resource name.
const RES_defobj* match_option(const RES_defobj* table, const std::string& name, bool special) {
  for (auto* k = table; k->def; ++k)
    if (keyed(*k) && iequal(k->cmd, name)) return k;
  for (auto* k = table; k->def; ++k)
    if (keyed(*k) && iequal(k->def, name)) return k;
  if (special) return nullptr;
  for (auto* k = table; k->def; ++k)
    if (keyed(*k) && iprefix(k->def, name)) return k;
  return nullptr;
}

void prescan(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (arg[0] != '-' || !is_letter(arg[1])) continue;
    Option o = read_option(argc, argv, i, 1);
    if (o.too_long) continue;
    if (o.consumed) ++i;
    if (!o.value) continue;
    if (is_name_option(o.name, true)) {
      RES_new(kFree, "name", o.value->c_str(), CV_string);
      DEF_name(o.value->c_str());
    } else if (is_default_option(o.name, true)) {
      RES_new(kFree, "default", o.value->c_str(), CV_string);
    }
  }
}

// --- Loop window -------------------------------------------------------------
// Resources exchanged with a running loop window over the message queues.
// A window that stops answering is given up with a warning; it never ends
// the program.

constexpr int kLoopKeySeconds = 100;  // allowed for the replies to one key

void loop_timeout(int /*sig*/) { state().loop_timed_out = true; }

void loop_close() {
  auto& s = state();
  if (s.loop_q < 0) return;
  MQ_close(s.loop_q);
  MQ_timeout_func(s.loop_saved_func);
  s.loop_q = s.loop_id = -1;
}

void loop_gone() {
  MESS_print(M_WARN, "ZORloop not running!\n");
  loop_close();
}

// Sends one request and reads its one reply; false when the window is gone.
bool loop_request(const std::string& text) {
  auto& s = state();
  if (s.loop_q < 0) return false;
  char item[MQ_TEXT_SIZE];
  return MQ_put(s.loop_q, s.loop_id, "%s", text.c_str()) == 0 &&
         MQ_get(s.loop_q, s.loop_id, item) >= 0;
}

// Tells the window about a resource set on the command line.
void loop_set(const char* name, const std::optional<std::string>& value) {
  if (state().loop_q < 0) return;
  if (!loop_request(std::string("set res ") + name + " " + (value ? *value : ""))) loop_gone();
}

// Reads the reply stream to "query res" for one key; false when the window
// is gone.
bool loop_read_key(const RES_defobj* table, const RES_defobj& key, bool& stored) {
  auto& s = state();
  auto until = std::chrono::steady_clock::now() + std::chrono::seconds(kLoopKeySeconds);
  char item[MQ_TEXT_SIZE];
  for (;;) {
    auto left =
        std::chrono::duration_cast<std::chrono::seconds>(until - std::chrono::steady_clock::now());
    int saved = MQ_timeout(std::max(1, static_cast<int>(left.count())));
    int code = MQ_get(s.loop_q, s.loop_id, item);
    MQ_timeout(saved);
    if (code != MQ_CODE_REPLY) return code >= 0;
    if (item[0] == '\0' || item[0] == '!' || item[0] == '\n') continue;
    std::string value(item);
    value.pop_back();  // the window ends every value with a newline
    RES_new(static_cast<int>(&key - table), key.def, value.c_str(), key.cvt);
    stored = true;
  }
}

void loop_exchange(const std::string& number, const RES_defobj* table) {
  auto& s = state();
  if (s.loop_q >= 0) {  // a later window takes over from an earlier one
    loop_request("quit");
    loop_close();
  }
  long num = number.size() <= 9 ? std::strtol(number.c_str(), nullptr, 10) : -1;
  int q = num >= 0 ? MQ_open(static_cast<int>(num)) : -1;
  if (q < 0) {
    MESS_print(M_WARN, "ZORloop window: %s not running or no message queue exists\n",
               number.c_str());
    return;
  }
  s.loop_timed_out = false;
  s.loop_saved_func = MQ_timeout_func(loop_timeout);
  s.loop_q = q;
  s.loop_id = MQ_connect(q);
  if (s.loop_id < 0) {
    MESS_print(M_WARN, "ZORloop window: %s unable to connect\n", number.c_str());
    loop_close();
    return;
  }
  for (auto* k = table; k->def; ++k)
    if (*k->def && MQ_put(q, s.loop_id, "query res %s", k->def) != 0) return loop_gone();
  int sets = 0;
  for (auto* k = table; k->def; ++k) {
    if (!*k->def) continue;
    bool stored = false;
    if (!loop_read_key(table, *k, stored)) return loop_gone();
    const Resource* r = stored ? nullptr : find(k->def);
    if (r && r->data) {
      if (MQ_put(q, s.loop_id, "set res %s %s", k->def, r->data->c_str()) != 0) return loop_gone();
      ++sets;
    }
  }
  char item[MQ_TEXT_SIZE];
  for (int i = 0; i < sets; ++i)
    if (MQ_get(q, s.loop_id, item) < 0) return loop_gone();
}

void read_files(const RES_defobj* table) {
  const char* given = RES_get("default");
  std::vector<std::string> path = split(given ? given : kDefaultPath, ':');
  if (path.empty()) path.emplace_back();  // an empty search path means the default file
  DEF_clr_tag();
  for (const auto& element : path) {
    if (!element.empty() && element[0] == '+') {
      DEF_tag(element.c_str() + 1);
      continue;
    }
    if (element.size() > 1 && element[0] == '#' &&
        std::all_of(element.begin() + 1, element.end(),
                    [](char c) { return std::isdigit(static_cast<unsigned char>(c)); })) {
      loop_exchange(element.substr(1), table);
      continue;
    }
    if (DEF_open(element.c_str()) != 0) continue;
    while (auto line = zor::def::get()) {
      bool matched = false;
      for (auto* k = table; k->def; ++k) {
        if (!*k->def || !zor::def::cmp(line->name, k->def)) continue;
        MESS_print(0x80000000u, "RESRC: %s=%s\n", line->name.c_str(), line->value.c_str());
        RES_new(static_cast<int>(k - table), k->def, line->value.c_str(), k->cvt);
        matched = true;
      }
      if (!matched && zor::def::valid(line->name))
        RES_new(kFree, zor::def::parse_name(line->name).c_str(), line->value.c_str(), CV_string);
    }
    DEF_close();
  }
}

void read_environment(const RES_defobj* table) {
  for (auto* k = table; k->def; ++k) {
    if (!*k->def) continue;
    if (auto v = zor::def::env(k->def, k->env))
      RES_new(static_cast<int>(k - table), k->def, v->c_str(), k->cvt);
  }
}

void read_command_line(int argc, char** argv, const RES_defobj* table) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (std::strcmp(arg, "--") == 0) continue;
    std::size_t dashes = 0;
    if (arg[0] == '-' && is_letter(arg[1]))
      dashes = 1;
    else if (arg[0] == '-' && arg[1] == '-' && is_letter(arg[2]))
      dashes = 2;
    if (dashes > 0) {
      Option o = read_option(argc, argv, i, dashes);
      if (o.too_long) {
        MESS_print(M_ERROR, "RES_decode: option name longer than %d characters ignored: %.60s...\n",
                   RES_OPTION_MAX, arg);
        continue;  // its would-be value is read again as an argument of its own
      }
      if (o.consumed) ++i;
      bool special = is_name_option(o.name, false) || is_default_option(o.name, false);
      const RES_defobj* key = match_option(table, o.name, special);
      if (special) continue;
      if (key) {
        if ((key->cvt == CV_bool || key->cvt == CV_batch || key->cvt == CV_help) && o.consumed) {
          --i;  // switches take no value: the argument is read again
          o.value.reset();
        }
        RES_new(static_cast<int>(key - table), key->def, o.value ? o.value->c_str() : nullptr,
                key->cvt);
        loop_set(key->def, o.value);
      } else {
        RES_new(kFree, o.name.c_str(), o.value ? o.value->c_str() : nullptr, CV_string);
        loop_set(o.name.c_str(), o.value);
      }
      continue;
    }
    ++count;
    const RES_defobj* key = nullptr;
    for (auto* k = table; k->def && !key; ++k)
      if (*k->def && !k->cmd && k->cmd_pos == count) key = k;
    for (auto* k = table; k->def && !key; ++k)
      if (*k->def && !k->cmd && k->cmd_pos == 10) key = k;
    if (!key) continue;
    int index = static_cast<int>(key - table);
    if (key->cmd_pos == 10 && count >= 2)
      RES_append(index, key->def, arg, key->cvt);
    else
      RES_new(index, key->def, arg, key->cvt);
  }
}

void conversion_pass(const RES_defobj* table) {
  auto& list = state().list;
  // Conversions may store resources themselves, so walk by position.
  for (std::size_t i = 0; i < list.size(); ++i) {
    Resource& r = list[i];
    if (r.index == kFree) continue;
    const RES_defobj& key = table[r.index];
    const char* data = r.data ? r.data->c_str() : nullptr;
    if (key.cvt == CV_strings && key.out) {
      int n = 0;
      parse_string(data, '\n', &n, reinterpret_cast<char***>(key.out));
      if (key.num) *key.num = n;
      continue;
    }
    RES_conv_data(data, key.out, key.cvt);
  }
}

void help_item(const KeyDesc& k) {
  if (!k.synopsis) return;
  if (k.help)
    MESS_print(M_PRINT, " %-10s  %s\n", k.synopsis, k.help);
  else
    MESS_print(M_PRINT, " %-10s\n", k.synopsis);
  if (k.extra)
    for (auto* line = k.extra; *line; ++line) MESS_print(M_PRINT, "%s\n", *line);
}

}  // namespace

void reset() { state().reset(); }

}  // namespace zor::res

using zor::res::state;

int RES_fill_obj(RES_defobj* obj, const char* def, const char* env, const char* cmd, int cmd_pos,
                 DEF_convert cvt, char* out, int* num) {
  if (!obj) return -1;
  obj->def = def;
  obj->env = env;
  obj->cmd = cmd;
  obj->cmd_pos = cmd_pos;
  obj->cvt = cvt;
  obj->out = out;
  obj->num = num;
  return 0;
}

int RES_enter(RES_defobj* obj, res_type key) {
  if (!obj) return -1;
  const auto* k = zor::res::find_key(key);
  if (!k) {
    std::printf("%d\n", static_cast<int>(key));
    return RES_fill_obj(obj, "", "", nullptr, 0, CV_none, nullptr, nullptr);
  }
  return RES_fill_obj(obj, k->def, k->env, k->cmd, k->cmd_pos, k->cvt, nullptr, nullptr);
}

int RES_init(int argc, char** argv, const res_type* res_key, const res_type* res_pos) {
  FLAG_reset(-9999);
  std::vector<RES_defobj> table;
  for (const res_type* list : {res_key, res_pos}) {
    for (const res_type* k = list; k && *k != RES_null; ++k) {
      if (table.size() + 1 >= static_cast<std::size_t>(RES_MAX_KEYS)) {
        MESS_print(M_ERROR, "RES_init: more than %d keys, key %d ignored\n", RES_MAX_KEYS - 1, *k);
        continue;
      }
      RES_enter(&table.emplace_back(), *k);
    }
  }
  table.emplace_back();  // null def ends the table
  const char* prog = argc > 0 && argv && argv[0] ? argv[0] : "";
  RES_decode(prog, "Zor", argc, argv, table.data());
  if (const char* tz = std::getenv("zortz")) DATE_set_TZ(tz);
  return 1;
}

int RES_decode(const char* /*progname*/, const char* /*cls*/, int argc, char** argv,
               RES_defobj* def_table) {
  using namespace zor::res;
  static RES_defobj empty_table[1] = {};
  if (!def_table) def_table = empty_table;
  if (!argv) argc = 0;
  RES_setCL(argc, argv);
  DEF_prog();
  if (const char* d = std::getenv("zordefault")) RES_new(-9999, "default", d, CV_string);
  prescan(argc, argv);
  read_files(def_table);
  read_environment(def_table);
  read_command_line(argc, argv, def_table);
  if (state().loop_q >= 0) {
    loop_request("quit");
    loop_close();
  }
  conversion_pass(def_table);
  return 0;
}

int RES_new(int index, const char* name, const char* data, DEF_convert cvt) {
  return zor::res::store(index, name, data, cvt, false);
}

int RES_append(int index, const char* name, const char* data, DEF_convert cvt) {
  return zor::res::store(index, name, data, cvt, true);
}

int RES_put(const char* name, const char* value) { return RES_new(-9999, name, value, CV_string); }

char* RES_get(const char* name) {
  if (!name) return nullptr;
  auto* r = zor::res::find(name);
  if (!r) return nullptr;
  return r->data ? r->data->data() : zor::res::g_empty;
}

int RES_getval(const char* name, char* data, DEF_convert cvt) {
  if (!name || !data) return 0;
  auto* r = zor::res::find(name);
  if (!r) return 0;
  return RES_conv_data(r->data ? r->data->c_str() : nullptr, data, cvt);
}

int RES_getvals(const char* name, int* paramc, char*** paramv) {
  int n = 0;
  char** v = nullptr;
  auto* r = name ? zor::res::find(name) : nullptr;
  if (r && r->data) parse_string(r->data->c_str(), r->cvt == CV_strings ? '\n' : ',', &n, &v);
  if (paramc) *paramc = n;
  if (paramv)
    *paramv = v;
  else
    free_parsed_array(n, v);
  return n;
}

void RES_set_domain_decoder(RES_domain_decoder decode) { state().decode_domain = decode; }

int RES_conv_data(const char* data, char* out, DEF_convert cvt) {
  return zor::res::convert(data, out, cvt);
}

int RES_list() {
  for (const auto& r : state().list) {
    if (r.data)
      MESS_print(8, "%s: %s\n", r.name.c_str(), r.data->c_str());
    else
      MESS_print(8, "%s:\n", r.name.c_str());
  }
  return 0;
}

int RES_setCL(int argc, char** argv) {
  auto& cl = state().cmd_line;
  cl.clear();
  for (int i = 0; argv && i < argc; ++i) cl.emplace_back(argv[i] ? argv[i] : "");
  return 0;
}

char* RES_get_prog() {
  auto& cl = state().cmd_line;
  return cl.empty() ? nullptr : cl[0].data();
}

char* RES_get_progname(char* prog, std::size_t size) {
  const char* path = RES_get_prog();
  std::string base = path ? path : "";
  std::size_t slash = base.find_last_of('/');
  if (slash != std::string::npos) base = base.substr(slash + 1);
  if (!prog) {
    state().progname = base;
    return state().progname.data();
  }
  if (size == 0) return prog;
  if (base.size() >= size) base = "ZOR";  // refused rather than cut
  std::snprintf(prog, size, "%s", base.c_str());
  return prog;
}

int RES_set_device(const char* str) {
  if (!str) return 1;
  switch (std::tolower(static_cast<unsigned char>(str[0]))) {
    case 'p':
      return 4;
    case 'h':
    case 'q':
      return 5;
    case 'm':
      return 3;
    case 'w':
      return 6;
    default:
      return 1;
  }
}

int RES_help_print(const char* name, const res_type* res_key, const res_type* res_pos) {
  if (!name) name = "";
  MESS_print(M_PRINT, "%s syntax (version:%s)\n", name, ZOR_version());
  MESS_print(M_PRINT, "   %s [options...]\n", name);
  MESS_print(M_PRINT, "Keyed options...\n");
  MESS_print(M_PRINT, " %-10s  Resource/defaults file name\n", "-df file");
  MESS_print(M_PRINT, " %-10s  Program name\n", "-na name");
  for (const res_type* k = res_key; k && *k != RES_null; ++k)
    if (const auto* d = zor::res::find_key(*k)) zor::res::help_item(*d);
  MESS_print(M_PRINT, "Positional options...\n");
  for (const res_type* k = res_pos; k && *k != RES_null; ++k)
    if (const auto* d = zor::res::find_key(*k)) zor::res::help_item(*d);
  return 1;
}
