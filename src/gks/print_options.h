// Page sizes and option items shared by the PostScript and HPGL devices.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::gks::print {

struct PaperSize {
  float width = 0.0f;  // inches, landscape order
  float height = 0.0f;
};

// A named page size ("letter", "a4", ...); nullopt for other words.
std::optional<PaperSize> page_size(std::string_view name);

// "%fx%f" as given after "sz=".
std::optional<PaperSize> parse_size(std::string_view text);

// Comma-separated items, blanks trimmed, empty items dropped.
std::vector<std::string> split_items(std::string_view text);

bool ieq(std::string_view a, std::string_view b);
bool istarts(std::string_view s, std::string_view prefix);

// The value of an item of the form keyword, one separator character, value
// ("scale=2"); nullopt when the item is not that keyword.
std::optional<std::string> keyed_value(std::string_view item, std::string_view keyword);

}  // namespace zor::gks::print
