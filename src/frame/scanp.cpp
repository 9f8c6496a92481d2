// The pattern scanner over coded text.
#include "zor/scanp.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

namespace zor::scanp {

namespace {

bool space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool digit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// One conversion as written in the format.
struct Spec {
  bool suppress = false;
  int width = 0;      // 0: none given
  char kind = 0;      // d s c D F (
  std::string words;  // the bar-separated list of "%*(...)"
};

// Reads a conversion after "%"; `f` is left after it. False for a malformed one.
bool parse_spec(const char*& f, Spec& s) {
  if (*f == '*') {
    s.suppress = true;
    ++f;
  }
  while (digit(*f)) s.width = s.width * 10 + (*f++ - '0');
  s.kind = *f;
  if (s.kind == '(') {
    const char* close = std::strchr(f, ')');
    if (close == nullptr) return false;
    s.words.assign(f + 1, close);
    f = close + 1;
    return true;
  }
  if (std::strchr("dscDF", s.kind) == nullptr || s.kind == 0) return false;
  ++f;
  return true;
}

class Matcher {
 public:
  Matcher(const char* str, std::size_t len, std::size_t pos) : s_(str), len_(len), pos_(pos) {}
  std::size_t pos() const { return pos_; }

  void skip_space() {
    while (pos_ < len_ && space(s_[pos_])) ++pos_;
  }

  bool literal(char c) {
    if (pos_ >= len_ || s_[pos_] != c) return false;
    ++pos_;
    return true;
  }

  bool convert(const Spec& sp, std::va_list& args) {
    switch (sp.kind) {
      case 'd':
        return integer(sp, args);
      case 's':
        return word(sp, args);
      case 'c':
        return character(sp, args);
      case 'D':
      case 'F':
        return fixed(sp, args);
      case '(':
        return one_of(sp);
      default:
        return false;
    }
  }

 private:
  std::size_t avail(int width) const {
    const std::size_t rest = len_ - pos_;
    return width > 0 && static_cast<std::size_t>(width) < rest ? static_cast<std::size_t>(width)
                                                               : rest;
  }

  bool integer(const Spec& sp, std::va_list& args) {
    skip_space();
    const std::size_t n = avail(sp.width);
    std::size_t i = 0;
    if (i < n && (s_[pos_] == '-' || s_[pos_] == '+')) ++i;
    const std::size_t first = i;
    while (i < n && digit(s_[pos_ + i])) ++i;
    if (i == first) return false;
    const int v = static_cast<int>(std::strtol(std::string(s_ + pos_, i).c_str(), nullptr, 10));
    pos_ += i;
    if (!sp.suppress) *va_arg(args, int*) = v;
    return true;
  }

  bool word(const Spec& sp, std::va_list& args) {
    skip_space();
    const std::size_t n = avail(sp.width);
    std::size_t i = 0;
    while (i < n && !space(s_[pos_ + i])) ++i;
    if (i == 0) return false;
    if (!sp.suppress) {
      char* out = va_arg(args, char*);
      std::memcpy(out, s_ + pos_, i);
      out[i] = '\0';
    }
    pos_ += i;
    return true;
  }

  bool character(const Spec& sp, std::va_list& args) {
    if (pos_ >= len_) return false;
    if (!sp.suppress) *va_arg(args, char*) = s_[pos_];
    ++pos_;
    return true;
  }

  // Exactly `width` characters: blanks, then an optional sign, then digits
  // (and for F one point) to the last character.
  bool fixed(const Spec& sp, std::va_list& args) {
    if (sp.width <= 0 || len_ - pos_ < static_cast<std::size_t>(sp.width)) return false;
    const std::string field(s_ + pos_, static_cast<std::size_t>(sp.width));
    std::size_t i = 0;
    while (i < field.size() && field[i] == ' ') ++i;
    if (i < field.size() && (field[i] == '-' || field[i] == '+')) ++i;
    bool digits = false, point = false;
    for (; i < field.size(); ++i) {
      if (digit(field[i]))
        digits = true;
      else if (sp.kind == 'F' && field[i] == '.' && !point)
        point = true;
      else
        return false;
    }
    if (!digits) return false;
    pos_ += field.size();
    if (sp.suppress) return true;
    if (sp.kind == 'D')
      *va_arg(args, int*) = static_cast<int>(std::strtol(field.c_str(), nullptr, 10));
    else
      *va_arg(args, float*) = std::strtof(field.c_str(), nullptr);
    return true;
  }

  bool one_of(const Spec& sp) {
    std::size_t from = 0;
    while (from <= sp.words.size()) {
      std::size_t bar = sp.words.find('|', from);
      if (bar == std::string::npos) bar = sp.words.size();
      const std::size_t n = bar - from;
      if (n > 0 && len_ - pos_ >= n && std::memcmp(s_ + pos_, sp.words.data() + from, n) == 0) {
        pos_ += n;
        return true;
      }
      from = bar + 1;
    }
    return false;
  }

  const char* s_;
  std::size_t len_;
  std::size_t pos_;
};

}  // namespace

int conversions(const char* format) {
  int n = 0;
  for (const char* f = format; f != nullptr && *f != '\0';) {
    if (*f++ != '%') continue;
    if (*f == '%') {
      ++f;
      continue;
    }
    Spec sp;
    if (!parse_spec(f, sp)) break;
    ++n;
  }
  return n;
}

}  // namespace zor::scanp

int scanp_set(Scanp* p, const char* str) {
  if (p == nullptr) return -1;
  *p = Scanp{};
  p->str = str != nullptr ? str : "";
  p->len = std::strlen(p->str);
  return 0;
}

int vscanp(Scanp* p, const char* format, std::va_list args) {
  using namespace zor::scanp;
  if (p == nullptr || p->str == nullptr || format == nullptr) return 0;
  p->whole = false;
  Matcher m(p->str, p->len, p->pos);
  std::va_list ap;
  va_copy(ap, args);
  int n = 0;
  bool ok = true;
  for (const char* f = format; ok && *f != '\0';) {
    if (*f == ' ') {
      m.skip_space();
      ++f;
    } else if (*f == '%' && f[1] == '%') {
      ok = m.literal('%');
      f += 2;
    } else if (*f == '%') {
      ++f;
      Spec sp;
      ok = parse_spec(f, sp) && m.convert(sp, ap);
      if (ok) ++n;
    } else {
      ok = m.literal(*f++);
    }
  }
  va_end(ap);
  p->whole = ok;
  p->end = m.pos();
  return n;
}

int scanp(Scanp* p, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int n = vscanp(p, format, args);
  va_end(args);
  return n;
}

int scanp_inc(Scanp* p) {
  if (p == nullptr) return -1;
  if (p->end > p->pos && p->end <= p->len) p->pos = p->end;
  return 0;
}

int scanp_inc_off(Scanp* p, int n) {
  if (p == nullptr || p->str == nullptr) return -1;
  if (n < 0) return 0;
  const std::size_t rest = p->len - p->pos;
  p->pos += static_cast<std::size_t>(n) < rest ? static_cast<std::size_t>(n) : rest;
  return 0;
}

int scanp_char(const Scanp* p, int off) {
  if (p == nullptr || p->str == nullptr || off < 0) return 0;
  const std::size_t at = p->pos + static_cast<std::size_t>(off);
  return at < p->len ? static_cast<unsigned char>(p->str[at]) : 0;
}

const char* scanp_str(const Scanp* p) {
  if (p == nullptr || p->str == nullptr) return "";
  return p->str + p->pos;
}
