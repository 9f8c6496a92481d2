// In-place string edits, case-insensitive comparison, splitting, number
// formatting for labels and the text-file line readers.
#include "zor/text.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

int lower(char c) { return std::tolower(static_cast<unsigned char>(c)); }

// Removes every character for which `drop` is true, keeping the order.
template <class Pred>
void remove_if_chars(char* s, Pred drop) {
  char* out = s;
  for (char* in = s; *in != '\0'; ++in)
    if (!drop(*in)) *out++ = *in;
  *out = '\0';
}

void trim_trailing(char* s, char c) {
  std::size_t n = std::strlen(s);
  while (n > 0 && s[n - 1] == c) s[--n] = '\0';
}

}  // namespace

int fill_string(char* string, char tar, char fill) {
  if (string == nullptr) return 0;
  for (char* p = string; *p != '\0'; ++p)
    if (*p == tar) *p = fill;
  return 0;
}

int strip_string(char* string, char tar) {
  if (string == nullptr) return 0;
  remove_if_chars(string, [tar](char c) { return c == tar; });
  return 0;
}

int wstrim_string(char* string) {
  if (string == nullptr) return 0;
  remove_if_chars(string, [](char c) { return c == '\r' || c == '\n'; });
  trim_trailing(string, ' ');
  return 1;
}

int trim_string(char* string) {
  if (string != nullptr) trim_trailing(string, ' ');
  return 0;
}

int trim_cr_string(char* string) {
  if (string != nullptr) trim_trailing(string, '\r');
  return 0;
}

int strip_escape(char* string) {
  if (string == nullptr) return 0;
  char* out = string;
  for (char* in = string; *in != '\0'; ++in) {
    // The escaped character is kept even when it is itself a backslash.
    if (*in == '\\') {
      ++in;
      if (*in == '\0') break;
    }
    *out++ = *in;
  }
  *out = '\0';
  return 0;
}

int up_string(char* string) {
  if (string == nullptr || *string == '\0') return 0;
  for (char* p = string; *p != '\0'; ++p)
    if (*p >= 'a' && *p <= 'z') *p = static_cast<char>(*p - 'a' + 'A');
  return 1;
}

int low_string(char* string) {
  if (string == nullptr || *string == '\0') return 0;
  for (char* p = string; *p != '\0'; ++p)
    if (*p >= 'A' && *p <= 'Z') *p = static_cast<char>(*p - 'A' + 'a');
  return 1;
}

int string_is_num(const char* string) {
  if (string == nullptr) return 0;
  if (*string == '-') ++string;
  if (*string == '\0') return 0;
  for (; *string != '\0'; ++string)
    if (!std::isdigit(static_cast<unsigned char>(*string))) return 0;
  return 1;
}

int stricmp(const char* s1, const char* s2) {
  if (s1 == nullptr || s2 == nullptr) return 1;
  for (;; ++s1, ++s2) {
    int d = lower(*s1) - lower(*s2);
    if (d != 0 || *s1 == '\0') return d;
  }
}

int strnicmp(const char* s1, const char* s2, int n) {
  if (s1 == nullptr || s2 == nullptr) return 1;
  for (int i = 0; i < n; ++i, ++s1, ++s2) {
    int d = lower(*s1) - lower(*s2);
    if (d != 0 || *s1 == '\0') return d;
  }
  return 0;
}

int parse_string(const char* string, char delim, int* argc, char*** argv) {
  if (argc != nullptr) *argc = 0;
  if (argv != nullptr) *argv = nullptr;
  if (string == nullptr || *string == '\0' || argc == nullptr || argv == nullptr) return -1;

  std::size_t len = std::strlen(string);
  // One copy holds every item; argv[0] always points at its start, which is
  // what free_parsed_array releases.
  char* copy = new (std::nothrow) char[len + 1];
  if (copy == nullptr) return -1;
  std::memcpy(copy, string, len + 1);
  if (delim != '\0') trim_trailing(copy, delim);

  int count = 1;
  for (char* p = copy; *p != '\0'; ++p)
    if (*p == delim) ++count;

  char** items = new (std::nothrow) char*[count];
  if (items == nullptr) {
    delete[] copy;
    return -1;
  }
  int n = 0;
  items[n++] = copy;
  for (char* p = copy; *p != '\0' && delim != '\0'; ++p) {
    if (*p == delim) {
      *p = '\0';
      items[n++] = p + 1;
    }
  }
  *argc = count;
  *argv = items;
  return 0;
}

int free_parsed_array(int argc, char** argv) {
  if (argc <= 0 || argv == nullptr) return 0;
  delete[] argv[0];
  delete[] argv;
  return 0;
}

char* set_num(char* str, const char* format, float x) {
  if (str == nullptr) return nullptr;
  int width = 0, sig = 3, min_dec = 0;
  if (format != nullptr) std::sscanf(format, "%d.%d.%d", &width, &sig, &min_dec);
  // Bounds keep the printed text short enough for a label buffer.
  if (sig < 1) sig = 1;
  if (sig > 9) sig = 9;
  if (min_dec < 0) min_dec = 0;
  if (min_dec > 9) min_dec = 9;

  double v = x;
  if (std::fabs(v) < 0.00001) v = 0.0;
  int expo = v == 0.0 ? 2 : static_cast<int>(std::floor(std::log10(std::fabs(v))));

  if (width < 1) width = sig + 1;
  if (width > 9) width = 9;
  int dec = sig - expo - 1;
  if (dec < min_dec) dec = min_dec;
  if (dec < 0) dec = 0;
  if (width < dec) width = dec;
  // Largest float is 39 digits before the point; 64 holds any result.
  char buf[64];
  std::snprintf(buf, sizeof buf, "%*.*f", width, dec, v);
  std::strcpy(str, buf);
  return str;
}

namespace {

// Reads at most `len` characters of the rest of the line into `string`,
// after skipping one line end left by the previous read. Returns the number
// read, 0 for an empty line, -1 at end of file with nothing read.
int read_line(FILE* ifile, char* string, int len) {
  if (string != nullptr) string[0] = '\0';
  if (ifile == nullptr || string == nullptr || len < 0) return -1;
  int c = std::getc(ifile);
  if (c == '\n') c = std::getc(ifile);
  if (c == EOF) return -1;
  int n = 0;
  while (c != EOF && c != '\n' && n < len) {
    string[n++] = static_cast<char>(c);
    c = std::getc(ifile);
  }
  if (c != EOF) std::ungetc(c, ifile);
  string[n] = '\0';
  return n;
}

}  // namespace

int fgetline(FILE* ifile, char* string) { return read_line(ifile, string, 160); }

int fskipline(FILE* ifile) {
  if (ifile == nullptr) return -1;
  int c;
  while ((c = std::getc(ifile)) != EOF && c != '\n') {
  }
  return c == EOF ? -1 : 0;
}

int fgetnline(FILE* ifile, char* string, int len) { return read_line(ifile, string, len); }

int fgetstring(FILE* ifile, char* string, int len) {
  int n = read_line(ifile, string, len);
  return n < 0 ? -1 : (n > 0 ? 1 : 0);
}

int fswap(float* x, float* y) {
  if (x == nullptr || y == nullptr) return -1;
  float t = *x;
  *x = *y;
  *y = t;
  return 0;
}

namespace zor {

bool get_bounded_line(std::istream& in, std::string& line, std::size_t keep, bool& too_long, std::size_t& budget) {
  line.clear();
  too_long = false;
  std::streambuf* buf = in.rdbuf();
  bool any = false;
  while (budget > 0) {
    const int c = buf->sbumpc();
    if (c == std::char_traits<char>::eof()) break;
    --budget;
    any = true;
    if (c == '\n') break;
    if (line.size() <= keep) line.push_back(static_cast<char>(c));
  }
  // Nothing left, or the budget ran out with more to come: a line cut
  // there is not a line.
  if (!any || (budget == 0 && buf->sgetc() != std::char_traits<char>::eof())) {
    in.setstate(std::ios::eofbit);
    return false;
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  too_long = line.size() > keep;
  if (too_long) line.resize(keep);
  return true;
}

}  // namespace zor
