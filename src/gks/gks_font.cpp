// Stroke fonts: the font list ("zor.fnl", a "fi:" list file, or a comma
// separated list), the font file reader and font selection.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "gks_kernel.h"
#include "zor/data_dir.h"
#include "zor/res.h"

namespace zor::gks {
namespace {

constexpr std::size_t kMaxFonts = 40;
constexpr std::size_t kMaxListFileFonts = 10;

// A data file as named (relative to the working directory or absolute),
// else the bundled copy.
std::optional<std::string> locate(const std::string& name) {
  std::error_code ec;
  if (!name.empty() && std::filesystem::is_regular_file(name, ec)) return name;
  if (name.find('/') == std::string::npos) return zor::find_data_file(name);
  return std::nullopt;
}

std::string trim(std::string s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.pop_back();
  std::size_t b = 0;
  while (b < s.size() && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
  return s.substr(b);
}

// Reads "abbr name" lines; with `rest_of_line` the name runs to the end of
// the line (trailing blanks trimmed), else it is one word.
bool read_list_file(const std::string& path, std::size_t max, bool rest_of_line,
                    std::vector<FontEntry>& out) {
  std::ifstream in(path);
  if (!in) return false;
  std::string line;
  while (out.size() < max && std::getline(in, line)) {
    std::istringstream ls(line);
    FontEntry e;
    if (!(ls >> e.abbr)) continue;
    if (rest_of_line) {
      std::getline(ls, e.name);
      e.name = trim(e.name);
    } else {
      ls >> e.name;
    }
    if (e.name.empty()) continue;
    out.push_back(std::move(e));
  }
  return true;
}

// A word of the font text read as strtol would (an optional sign, clamped
// on overflow) but without its locale work: a font file is thousands of
// numbers, read at every start.
bool parse_int(std::string_view tok, long& v) {
  if (tok.empty()) return false;
  const char* p = tok.data();
  const char* const last = p + tok.size();
  const bool plus = *p == '+' && p + 1 < last && *(p + 1) != '-';
  const char* digits = plus ? p + 1 : p;
  const auto [end, ec] = std::from_chars(digits, last, v);
  const char* stop = end;
  if (ec == std::errc::invalid_argument) {
    v = 0;
    stop = p;
  } else if (ec == std::errc::result_out_of_range) {
    v = *digits == '-' ? LONG_MIN : LONG_MAX;
  }
  return stop == last || *stop == '\0';  // a NUL ends a word's number, as in a C string
}

// The white-space separated words of a font file, as views into its text.
std::vector<std::string_view> words(const std::string& text) {
  auto space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  std::vector<std::string_view> out;
  const char* p = text.c_str();
  const char* end = p + text.size();
  while (p < end) {
    while (p < end && space(*p)) ++p;
    const char* w = p;
    while (p < end && !space(*p)) ++p;
    if (p > w) out.emplace_back(w, static_cast<std::size_t>(p - w));
  }
  return out;
}

}  // namespace

// Parses a font file's text into `font`; false on any malformed content.
bool parse_font(const std::string& text, FontState& font) {
  const std::vector<std::string_view> tok = words(text);
  std::size_t i = 0;
  long v = 0;
  if (tok.empty() || !parse_int(tok[0], v)) return false;
  bool commented = false;
  if (v != 255) {
    commented = true;
    i = 2;  // header: a number and a word
  }
  std::vector<std::uint8_t> db;
  bool ended = false;
  while (i < tok.size()) {
    if (!parse_int(tok[i++], v) || v < 0 || v > 255) return false;
    if (v == 254) {
      db.push_back(255);
      ended = true;
      break;
    }
    db.push_back(static_cast<std::uint8_t>(v));
    if (v == 255 && commented) ++i;  // the character's label
  }
  if (!ended) return false;
  std::array<int, 256> index{};
  for (int c = 0; c < 256; ++c) {
    if (i >= tok.size() || !parse_int(tok[i++], v)) return false;
    if (v < -1 || v >= static_cast<long>(db.size())) return false;
    index[static_cast<std::size_t>(c)] = static_cast<int>(v);
  }
  std::array<std::uint8_t, 256> size{};
  for (int c = 0; c < 256; ++c) {
    int start = index[static_cast<std::size_t>(c)];
    if (start < 0) continue;
    // Every glyph must end on its own 255 at a pair boundary.
    int maxx = 0;
    bool closed = false;
    for (std::size_t p = static_cast<std::size_t>(start); p < db.size(); p += 2) {
      int x = db[p];
      if (x == 255) {
        closed = true;
        break;
      }
      if (p + 1 >= db.size() || db[p + 1] == 255) return false;
      if (x >= 128) x -= 128;
      maxx = std::max(maxx, x);
    }
    if (!closed) return false;
    size[static_cast<std::size_t>(c)] = static_cast<std::uint8_t>(maxx);
  }
  size[' '] = 40;
  font.db = std::move(db);
  font.index = index;
  font.size = size;
  return true;
}

}  // namespace zor::gks

using namespace zor::gks;

int gset_font_list(const char* str) {
  auto& f = kernel().font;
  f.font_list = str ? str : "";
  f.font_list_set = str != nullptr;
  return 0;
}

int gsetup_fonts() {
  Kernel& k = kernel();
  FontState& f = k.font;
  f.fonts.clear();
  std::string list;
  bool have_list = false;
  if (f.font_list_set) {
    list = f.font_list;
    have_list = true;
  } else if (const char* res = RES_get("font_list")) {
    list = res;
    have_list = true;
  }
  if (have_list && list.rfind("fi:", 0) == 0) {
    const std::string name = list.substr(3);
    auto path = locate(name);
    if (!path || !read_list_file(*path, kMaxListFileFonts, false, f.fonts))
      gerr_printf("gsetup_fonts", "unable to load font list file: %s\n", name.c_str());
  } else if (have_list && !list.empty()) {
    std::size_t start = 0;
    while (start <= list.size() && f.fonts.size() < kMaxFonts) {
      std::size_t comma = list.find(',', start);
      std::string name = trim(list.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
      if (!name.empty()) f.fonts.push_back({"", name});
      if (comma == std::string::npos) break;
      start = comma + 1;
    }
  } else if (auto path = locate("zor.fnl")) {
    read_list_file(*path, kMaxFonts, true, f.fonts);
  }
  if (f.fonts.empty()) return read_font("modern.fnt");
  int ind = f.font_ind;
  if (ind < 1 || ind > static_cast<int>(f.fonts.size())) ind = 1;
  return read_font(f.fonts[static_cast<std::size_t>(ind - 1)].name.c_str());
}

int read_font(const char* name) {
  Kernel& k = kernel();
  if (!k.ws_open) return -1;
  FontState& f = k.font;
  f.clear_glyphs();
  const std::string n = name ? name : "";
  if (!n.empty() && n[0] == '#') {
    if (!k.device->load_native_font(n.substr(1)))
      return gerr_printf("read_font", "unable to load font: %s\n", n.substr(1).c_str());
    f.font_type = 2;
    return 0;
  }
  f.font_type = 1;
  auto path = locate(n);
  std::string text;
  if (path) {
    if (const auto it = f.files.find(*path); it != f.files.end()) {
      text = it->second;
    } else {
      std::ifstream in(*path);
      std::ostringstream ss;
      ss << in.rdbuf();
      if (in) text = ss.str();
      if (!text.empty()) f.files.emplace(*path, text);
    }
  }
  if (text.empty() || !parse_font(text, f)) {
    f.clear_glyphs();
    f.size[' '] = 40;
    return gerr_printf("read_font", "unable to load font file: %s\n", n.c_str());
  }
  return 0;
}

int gset_fontprec(const Gfontprec* fp) {
  Kernel& k = kernel();
  if (!fp) return gerr_printf("gset_fontprec", "no font given\n");
  if (!k.ws_open) return gerr_printf("gset_fontprec", "GKS not opened\n");
  FontState& f = k.font;
  if (fp->font == f.font_ind) return 0;
  f.font_ind = fp->font;
  if (is_meta()) {
    meta_printf("TE_FNT %d %d\n", fp->font, static_cast<int>(fp->prec));
    return 0;
  }
  record_object(59, 0, fp, sizeof *fp);
  if (f.fonts.empty()) return 0;
  if (fp->font >= 1 && fp->font <= static_cast<int>(f.fonts.size()))
    return read_font(f.fonts[static_cast<std::size_t>(fp->font - 1)].name.c_str()) < 0 ? -1 : 0;
  return gerr_printf("gset_fontprec", "invalid font id: %d\n", fp->font);
}

int gget_font_index(const char* str) {
  if (!str || !*str) return 1;
  if (std::isdigit(static_cast<unsigned char>(str[0]))) return std::atoi(str);
  const auto& fonts = kernel().font.fonts;
  for (std::size_t i = 0; i < fonts.size(); ++i) {
    const auto& a = fonts[i].abbr;
    if (a.size() == std::strlen(str) &&
        std::equal(a.begin(), a.end(), str, [](char x, char y) {
          return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
        }))
      return static_cast<int>(i) + 1;
  }
  return 1;
}
