#include "print_options.h"

#include <array>
#include <cctype>
#include <cstdio>

namespace zor::gks::print {
namespace {

struct NamedPage {
  const char* name;
  PaperSize size;
};

constexpr std::array<NamedPage, 12> kPages = {{
    {"letter", {11.0f, 8.5f}},   {"legal", {14.0f, 8.5f}},    {"11x17", {17.0f, 11.0f}},
    {"a4", {11.69f, 8.26f}},     {"a3", {16.54f, 11.69f}},    {"a2", {23.39f, 16.54f}},
    {"a1", {33.11f, 23.39f}},    {"b4", {14.33f, 10.12f}},    {"b3", {20.27f, 14.33f}},
    {"b2", {28.66f, 20.27f}},    {"b1", {40.55f, 28.66f}},    {"ansid", {34.0f, 22.0f}},
}};

}  // namespace

bool ieq(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

bool istarts(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && ieq(s.substr(0, prefix.size()), prefix);
}

std::optional<PaperSize> page_size(std::string_view name) {
  for (const auto& p : kPages)
    if (ieq(name, p.name)) return p.size;
  return std::nullopt;
}

std::optional<PaperSize> parse_size(std::string_view text) {
  const std::string s(text);
  PaperSize p;
  if (std::sscanf(s.c_str(), "%fx%f", &p.width, &p.height) != 2) return std::nullopt;
  if (!(p.width > 0.5f) || !(p.height > 0.5f)) return std::nullopt;  // no room inside the margin
  return p;
}

std::vector<std::string> split_items(std::string_view text) {
  std::vector<std::string> out;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find(',', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view item = text.substr(start, end - start);
    while (!item.empty() && std::isspace(static_cast<unsigned char>(item.front()))) item.remove_prefix(1);
    while (!item.empty() && std::isspace(static_cast<unsigned char>(item.back()))) item.remove_suffix(1);
    if (!item.empty()) out.emplace_back(item);
    start = end + 1;
  }
  return out;
}

std::optional<std::string> keyed_value(std::string_view item, std::string_view keyword) {
  if (item.size() < keyword.size() + 2 || !istarts(item, keyword)) return std::nullopt;
  const char sep = item[keyword.size()];
  if (std::isalnum(static_cast<unsigned char>(sep))) return std::nullopt;  // a longer word, not a separator
  return std::string(item.substr(keyword.size() + 1));
}

}  // namespace zor::gks::print
