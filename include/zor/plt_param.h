// Plot-parameter words shared by the plots centred on one radar site
// (NIDS, Level II, RCM): the site marker, range rings, the graph, the
// clutter radius and refresh. Each format adds its own words.
#pragma once

#include <functional>
#include <string_view>

namespace zor::plt {

struct SiteParams {
  int plt_site = 0;
  int plt_graph = 0;
  float plt_dist[5] = {};  // range rings, nautical miles
  int clutter_rad = 0;
  int refresh = 0;
};

// Applies one of the shared words to `p`; false when `word` is not one.
bool site_param(SiteParams& p, std::string_view word);

// Calls `fn` with each word of the plot_param resource, in order.
void for_each_plot_param(const std::function<void(std::string_view)>& fn);

// The plot_param resource read into fresh `Params`: the shared site words,
// then the format's own table of words (entries with `match` and `act`).
template <class Params, class Words>
Params read_site_params(const Words& words) {
  Params p{};
  for_each_plot_param([&](std::string_view w) {
    if (site_param(p, w)) return;
    for (const auto& pw : words) {
      if (pw.match(w)) {
        pw.act(p, w);
        return;
      }
    }
  });
  return p;
}

}  // namespace zor::plt
