// Drawing-attribute strings ("red:wi=2:st=dsh"), fill-pattern and marker
// names.
#include "zor/attrib.h"

#include <array>
#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "zor/clr.h"
#include "zor/gks.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace zor::attrib {
namespace {

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

bool ieq(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (lower(a[i]) != lower(b[i])) return false;
  return true;
}

bool istarts(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && ieq(s.substr(0, prefix.size()), prefix);
}

// A number may follow a one-letter field ("w2", "s-1", "h.5").
bool numeric_start(std::string_view s) {
  if (s.empty()) return false;
  const char c = s[0];
  return std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '+' || c == '.';
}

float to_float(std::string_view s) { return static_cast<float>(std::atof(std::string(s).c_str())); }
int to_int(std::string_view s) { return std::atoi(std::string(s).c_str()); }

struct Word {
  const char* word;
  int code;
};

constexpr std::array<Word, 5> kLineStyles = {{{"sol", 1}, {"dsh", 2}, {"lsdsh", 3}, {"llsdsh", 4}, {"dot", 5}}};

constexpr std::array<Word, 26> kFillPatterns = {{
    {"sol", 0}, {"st", 1},   {"ost", 2},  {"rst", 3},  {"lst", 4},  {"vln", 5},  {"||", 5},  {"dlr", 6},
    {"\\\\", 6}, {"drl", 7}, {"//", 7},   {"hln", 8},  {"--", 8},   {"hat", 9},  {"XX", 9},  {"clr", 10},
    {"0%", 10}, {"1%", 11},  {"2%", 12},  {"3%", 13},  {"4%", 14},  {"5%", 15},  {"6%", 16},  {"7%", 17},
    {"8%", 18}, {"9%", 19},
}};

// Compared on the word's first letters, in this order (so "itri" must come
// after "tri" and still win only for words beginning with "itri").
constexpr std::array<Word, 18> kMarkers = {{
    {"pnt", 1}, {".", 1},    {"plus", 2},   {"+", 2},   {"star", 3}, {"*", 3}, {"crcl", 4},  {"circle", 4},
    {"o", 4},   {"x", 5},    {"sqr", 6},    {"square", 6}, {"#", 6},  {"tri", 7}, {"^", 7},  {"itri", 9},
    {"v", 9},   {"dot", 8},
}};

int line_style(std::string_view word) {
  for (const auto& w : kLineStyles)
    if (ieq(word, w.word)) return w.code;
  return to_int(word);
}

std::vector<std::string_view> split(std::string_view s, char delim) {
  std::vector<std::string_view> out;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = s.find(delim, start);
    out.push_back(s.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start));
    if (end == std::string_view::npos) break;
    start = end + 1;
  }
  return out;
}

// Applies one "key=value" or one-letter field; unknown fields are ignored.
void apply_field(std::string_view f, Gattribs& a) {
  struct Keyed {
    const char* key;
    void (*set)(std::string_view, Gattribs&);
  };
  static constexpr std::array<Keyed, 9> kKeyed = {{
      {"co=", [](std::string_view v, Gattribs& x) { x.color = CLR_get_ind(std::string(v).c_str()); }},
      {"wi=", [](std::string_view v, Gattribs& x) { x.width = to_float(v); }},
      {"st=", [](std::string_view v, Gattribs& x) { x.style = line_style(v); }},
      {"fo=", [](std::string_view v, Gattribs& x) { x.font = gget_font_index(std::string(v).c_str()); }},
      {"fi=", [](std::string_view v, Gattribs& x) { x.fill_pat = ATTR_parse_fill_pat(std::string(v).c_str()); }},
      {"fp=", [](std::string_view v, Gattribs& x) { x.fill_pat = ATTR_parse_fill_pat(std::string(v).c_str()); }},
      {"sc=", [](std::string_view v, Gattribs& x) { x.height = to_float(v); }},
      {"hi=", [](std::string_view v, Gattribs& x) { x.height = to_float(v); }},
      {"te=", [](std::string_view v, Gattribs& x) { x.expan = to_float(v); }},
  }};
  for (const auto& k : kKeyed) {
    if (istarts(f, k.key)) {
      k.set(f.substr(3), a);
      return;
    }
  }
  if (f.empty()) return;
  const std::string_view rest = f.substr(1);
  const char letter = lower(f[0]);
  if (letter == 'f' && !rest.empty() && (rest[0] == 'M' || rest[0] == 'm')) {
    a.fill_pat = ZOR_MISSING;
    return;
  }
  if (!numeric_start(rest)) return;
  switch (letter) {
    case 'w': a.width = to_float(rest); break;
    case 's': a.style = to_int(rest); break;
    case 't': a.font = to_int(rest); break;
    case 'f': a.fill_pat = to_int(rest); break;
    case 'h': a.height = to_float(rest); break;
    case 'e': a.expan = to_float(rest); break;
    default: break;
  }
}

}  // namespace
}  // namespace zor::attrib

int ATTRIB_init(Gattribs* attrib) {
  if (attrib == nullptr) return -1;
  *attrib = Gattribs{};
  return 0;
}

int ATTRIB_parse(const char* str, Gattribs* attrib) {
  if (str == nullptr || attrib == nullptr) return 0;
  const auto fields = zor::attrib::split(str, ':');
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const std::string_view f = fields[i];
    if (i == 0 && !f.empty() && f.find('=') == std::string_view::npos) {
      attrib->color = CLR_get_ind(std::string(f).c_str());
      continue;
    }
    zor::attrib::apply_field(f, *attrib);
  }
  return 0;
}

int ATTRIB_update(Gattribs* attr1, const Gattribs* attr2) {
  if (attr1 == nullptr || attr2 == nullptr) return -1;
  if (attr2->color != ZOR_MISSING) attr1->color = attr2->color;
  if (attr2->width != ZOR_MISSING_F) attr1->width = attr2->width;
  if (attr2->height != ZOR_MISSING_F) attr1->height = attr2->height;
  if (attr2->expan != ZOR_MISSING_F) attr1->expan = attr2->expan;
  if (attr2->style != ZOR_MISSING) attr1->style = attr2->style;
  if (attr2->fill_pat != ZOR_MISSING) attr1->fill_pat = attr2->fill_pat;
  if (attr2->font != ZOR_MISSING) attr1->font = attr2->font;
  return 0;
}

int ATTRIB_print(const Gattribs* a) {
  if (a == nullptr) return -1;
  MESS_print(M_PRINT, "Color: %d\n", a->color);
  MESS_print(M_PRINT, "Style: %d\n", a->style);
  MESS_print(M_PRINT, "Height: %5.2f\n", a->height);
  MESS_print(M_PRINT, "Width: %5.2f\n", a->width);
  MESS_print(M_PRINT, "Expansion: %5.2f\n", a->expan);
  MESS_print(M_PRINT, "Fill: %d\n", a->fill_pat);
  MESS_print(M_PRINT, "Font: %d\n", a->font);
  return 0;
}

int ATTRIB_get(const char* resrc, const char* def, Gattribs* attrib) {
  if (attrib == nullptr) return 0;
  if (def != nullptr) ATTRIB_parse(def, attrib);
  if (resrc == nullptr) return 0;
  const char* val = RES_get(resrc);
  if (val == nullptr || *val == '\0') return 0;
  ATTRIB_parse(val, attrib);
  return 1;
}

int ATTR_parse_fill_pat(const char* str) {
  if (str == nullptr) return 0;
  for (const auto& w : zor::attrib::kFillPatterns)
    if (zor::attrib::ieq(str, w.word)) return w.code;
  return std::atoi(str);
}

int ATTR_parse_marker(const char* str) {
  if (str == nullptr) return 0;
  for (const auto& w : zor::attrib::kMarkers)
    if (zor::attrib::istarts(str, w.word)) return w.code;
  return std::atoi(str);
}
