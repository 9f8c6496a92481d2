// The pattern scanner: a cursor over a string that coded text readers move
// along piece by piece. A format is tried at the cursor without moving it;
// the reader then steps past what matched.
//
// Formats: a blank matches any run of white space (none included); other
// characters match themselves; conversions are
//   %d        an integer (leading white space skipped); %3d at most 3 characters
//   %s        a word (leading white space skipped); %3s at most 3 characters
//   %c        one character, white space included
//   %2D, %8F  an integer or a float written in exactly that many characters
//   %*(A|B)   one of the literal words, matched at the cursor
// and "*" after "%" suppresses the assignment. %s stores its word and a
// terminating zero, so its buffer needs width + 1 characters.
#pragma once

#include <cstdarg>
#include <cstddef>

struct Scanp {
  const char* str = nullptr;  // the string scanned (not owned)
  std::size_t len = 0;
  std::size_t pos = 0;  // the cursor
  std::size_t end = 0;  // end of the last match
  bool whole = false;   // the last format matched to its end
};

// Starts the scanner at the beginning of `str`. Returns 0.
int scanp_set(Scanp* p, const char* str);
// Matches `format` at the cursor; returns the conversions matched, suppressed
// ones included, up to the first that fails. The cursor does not move.
int scanp(Scanp* p, const char* format, ...);
int vscanp(Scanp* p, const char* format, std::va_list args);
// Moves the cursor past the last match. Returns 0.
int scanp_inc(Scanp* p);
// Moves the cursor `n` characters (not beyond the end). Returns 0.
int scanp_inc_off(Scanp* p, int n);
// The character `off` places after the cursor, 0 at or beyond the end.
int scanp_char(const Scanp* p, int off);
// The rest of the string from the cursor.
const char* scanp_str(const Scanp* p);

namespace zor::scanp {

// Conversions in a format, suppressed ones included: what scanp returns when
// the whole format matches.
int conversions(const char* format);

}  // namespace zor::scanp
