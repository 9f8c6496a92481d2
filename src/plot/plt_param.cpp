// Plot-parameter words shared by the radar-site plots.
#include "zor/plt_param.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "zor/res.h"
#include "zor/text.h"

namespace zor::plt {

namespace {

bool ieq(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strnicmp(a.data(), b.data(), static_cast<int>(a.size())) == 0;
}
bool iprefix(std::string_view s, std::string_view p) {
  return s.size() >= p.size() && strnicmp(s.data(), p.data(), static_cast<int>(p.size())) == 0;
}
// The text after the first `skip` characters of a word.
std::string after(std::string_view w, std::size_t skip) {
  return skip < w.size() ? std::string(w.substr(skip)) : std::string();
}

struct Word {
  bool (*match)(std::string_view w);
  void (*act)(SiteParams& p, std::string_view w);
};

// Tried in order; the first match acts.
constexpr Word kWords[] = {
    {[](std::string_view w) { return ieq(w, "site"); }, [](SiteParams& p, std::string_view) { p.plt_site = 1; }},
    {[](std::string_view w) { return ieq(w, "dist"); }, [](SiteParams& p, std::string_view) { p.plt_dist[0] = 100.0f; }},
    {[](std::string_view w) { return w.size() >= 5 && iprefix(w, "dist"); },
     [](SiteParams& p, std::string_view w) {
       float d[4] = {0.0f, 0.0f, 0.0f, 0.0f};
       std::sscanf(after(w, 5).c_str(), "%f:%f:%f:%f", &d[0], &d[1], &d[2], &d[3]);
       for (int i = 0; i < 4; ++i) p.plt_dist[i] = d[i];
     }},
    {[](std::string_view w) { return ieq(w, "nodist"); }, [](SiteParams& p, std::string_view) { p.plt_dist[0] = 0.0f; }},
    {[](std::string_view w) { return ieq(w, "graph"); }, [](SiteParams& p, std::string_view) { p.plt_graph = 1; }},
    {[](std::string_view w) { return ieq(w, "nograph"); }, [](SiteParams& p, std::string_view) { p.plt_graph = 0; }},
    {[](std::string_view w) { return ieq(w, "refresh"); }, [](SiteParams& p, std::string_view) { p.refresh = 1; }},
    {[](std::string_view w) { return ieq(w, "clutter"); }, [](SiteParams& p, std::string_view) { p.clutter_rad = 25; }},
    {[](std::string_view w) { return iprefix(w, "clutter"); },
     [](SiteParams& p, std::string_view w) { p.clutter_rad = static_cast<int>(std::atof(after(w, 8).c_str())); }},
    {[](std::string_view w) { return ieq(w, "noclutter"); }, [](SiteParams& p, std::string_view) { p.clutter_rad = 0; }},
};

}  // namespace

bool site_param(SiteParams& p, std::string_view word) {
  for (const auto& w : kWords) {
    if (w.match(word)) {
      w.act(p, word);
      return true;
    }
  }
  return false;
}

void for_each_plot_param(const std::function<void(std::string_view)>& fn) {
  ResValues words("plot_param");
  for (int i = 0; i < words.n; ++i) fn(words[i]);
}

}  // namespace zor::plt
