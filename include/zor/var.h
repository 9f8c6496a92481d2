// Variable descriptions: the variable model of the data being plotted, the
// variable description files ("nids.var", "rad.var") with a plot type and a
// format per name, and the selected variables of the `variable` resource.
#pragma once

#include <cstddef>

// The model word ("mdr", "rcm") that selects the variable descriptions of
// converted radar reports. An empty or null text clears it.
int VAR_set_model_str(const char* str);
// The current model word; "" when none is set. Valid until the next set.
const char* VAR_get_model_str();

// Most variables selected at once, and most descriptions in a file.
inline constexpr int VAR_MAX = 40;
inline constexpr int VAR_MAX_DESC = 200;

// One variable: a description file entry or a selected variable.
struct VAR_data {
  int type = 2;           // plot type code (VAR_dec_type)
  char name[20] = {};     // name; text after a '-' only tells variants apart
  char units[20] = {};    // units of the value, "" when none
  char label[60] = {};    // label put on the plot, "" when none
  char format[101] = {};  // format words of the point plotter
  int flag = 0;           // 1 when the name was found in the description file
};

// The selected variables (VAR_get_num of them); the array stays in place.
VAR_data* VAR_get_vars();
int VAR_get_num();
// Name of selected variable i; "" when out of range.
const char* VAR_get_name(int i);

// Selects the variables of var_str (names separated by ',' or blanks, each
// optionally followed by ':' and format words that are added to its
// description's format), described by the file filename (null: no file;
// every name is then a value with an empty format). Returns the number of
// variables selected, or -1 when the file is given and cannot be read.
int VAR_setup(const char* filename, const char* var_str);

// Reads a description file (along file_path, then the bundled data) into
// the menu; the number of descriptions, or -1 when it does not open.
int VAR_open_file(const char* filename);
// The menu read by VAR_open_file.
int VAR_get_num_desc();
const VAR_data* VAR_get_desc(int i);
// Shows the menu (title, one numbered line per description) and asks with
// prompt; the answer (a number or names) is copied into var_str. Returns the
// number chosen (1 ... n), n + 1 for names typed, 0 for an empty answer,
// -1 for "q"/"quit", and -9999 in batch mode without a `variable` resource.
int VAR_menu(const char* title, const char* prompt, char* var_str, std::size_t size);

// Plot type code of a type word ("value", "wbarb", ...); 0 when unknown.
int VAR_dec_type(const char* word);
// Name of a plot type code; "" when unknown.
const char* VAR_print_type(int type);

namespace zor::var {
// Forgets the model word, the selection and the menu (tests).
void reset();
}  // namespace zor::var
