// NIDS plotting: the layer built from the product's graphic alphanumeric
// pages. The page texts, vectors and barbs are drawn in the page's own
// 0-511 space; storm attribute table lines are parsed into storms that are
// drawn at their true positions as symbols, motion barbs, tracks or values
// of the selected variables. The radar site, range rings and watch boxes
// belong to this layer as well.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "nids_plot_internal.h"
#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/dom.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/nids.h"
#include "zor/plt.h"
#include "zor/raw.h"
#include "zor/res.h"
#include "zor/text.h"
#include "zor/var.h"
#include "zor/watch.h"
#include "zor/wind.h"

namespace zor::nids_plot {

namespace {

constexpr int kStructureTable = 3;   // storm table layout of product 62
constexpr float kPageRise = 50.0f;  // page content is stacked upward per page
constexpr float kPageSize = 512.0f;  // a page's own space, 0-511 each way
constexpr float kLine = 10.0f;       // a line of page text

// Storm products, whose pages are tables that must not overlap.
constexpr int kStormProducts[] = {58, 59, 61, 62, 141};
bool storm_product(int code) {
  return std::find(std::begin(kStormProducts), std::end(kStormProducts), code) != std::end(kStormProducts);
}

bool word_is(const char* w, const char* s) { return stricmp(w, s) == 0; }

void copy_id(NIDS_report& storm, const char* id) {
  std::snprintf(storm.id, sizeof storm.id, "%s", id);
}

// Storm record before a line is parsed.
NIDS_report cleared_storm() {
  NIDS_report r;
  r.ang = r.rad = r.dir = r.spd = ZOR_MISSING_F;
  return r;
}

bool parse_type1(const char* line, NIDS_report& st) {
  char id[32] = {}, w1[32] = {}, w2[32] = {}, w3[32] = {};
  std::sscanf(line, "%31s %f %f %31s %31s %31s %f %f %f%*[ >]%f %f %f", id, &st.ang, &st.rad, w1, w2, w3,
              &st.max_dbz, &st.max_dbz_z, &st.vlow, &st.tops, &st.dir, &st.spd);
  if (st.ang == ZOR_MISSING_F) return false;
  copy_id(st, id);
  st.tvs = word_is(w1, "YES") ? 1 : 0;
  st.meso = word_is(w2, "YES") ? 1 : 0;
  st.shail = word_is(w3, "POS") ? 100 : (word_is(w3, "PRO") ? 50 : 0);
  return true;
}

bool parse_type2(const char* line, NIDS_report& st) {
  char id[32] = {}, w1[32] = {}, w2[32] = {};
  const int n = std::sscanf(line, "%31s %f/%f %31s %31s", id, &st.ang, &st.rad, w1, w2);
  if (n < 4 || st.ang == ZOR_MISSING_F) return false;
  copy_id(st, id);
  st.tvs = word_is(w1, "YES") || word_is(w1, "TVS") ? 1 : 0;
  if (word_is(w2, "YES") || word_is(w2, "MESO")) st.meso = 1;
  else st.meso = std::max(std::atoi(w2), 0);
  // The rest of the table stands in fixed columns.
  const std::size_t len = std::strlen(line);
  auto at = [&](std::size_t col) { return col < len ? line + col : nullptr; };
  if (const char* p = at(26)) std::sscanf(p, "%d/%d", &st.shail, &st.hail);
  if (const char* p = at(35)) {
    std::sscanf(p, "%f", &st.hsize);
    if (line[34] == '<') st.hsize = 0.25f;
  }
  if (const char* p = at(42)) std::sscanf(p, "%f %f %f %f", &st.vil, &st.max_dbz, &st.max_dbz_z, &st.tops);
  if (const char* p = at(62)) std::sscanf(p, "%f/%f", &st.dir, &st.spd);
  return true;
}

// Storm structure (62): id, azimuth/range, base (a '<' marks a base below
// the lowest elevation), top, cell-based VIL, maximum reflectivity and its
// height. Nothing in it marks a storm as strong.
bool parse_structure(const char* line, NIDS_report& st) {
  char id[32] = {};
  int used = 0;
  if (std::sscanf(line, "%31s %f/%f%n", id, &st.ang, &st.rad, &used) < 3 || st.ang == ZOR_MISSING_F) return false;
  std::string rest(line + used);
  std::replace(rest.begin(), rest.end(), '<', ' ');
  float base = 0.0f;
  if (std::sscanf(rest.c_str(), "%f %f %f %f %f", &base, &st.tops, &st.vil, &st.max_dbz, &st.max_dbz_z) < 5)
    return false;
  copy_id(st, id);
  return true;
}

bool strong_storm(const NIDS_report& st) { return st.tvs != 0 || st.meso != 0 || st.shail > 49; }

void marker(float x, float y, const char* colour, int type) {
  gset_marker_colr_ind(CLR_get_ind(colour));
  gset_marker_type(type);
  gset_marker_width(2.0f);
  GPH_mark(x, y);
}

// Composite storm symbol: hail, mesocyclone and TVS markers, the motion barb,
// the identifier and the echo top.
void plot_comp(const NIDS_report& st, float x, float y, const Gattribs& data) {
  if (st.shail >= 75) marker(x, y, "green", 3);
  else if (st.shail > 49) marker(x, y, "green", 5);
  if (st.meso != 0) marker(x, y, "yellow", 4);
  if (st.tvs != 0) marker(x, y, "red", 9);
  if (st.shail <= 49 && st.meso == 0 && st.tvs == 0) marker(x, y, "white", 2);
  const float h = MAP_get_vert();
  GPH_line_attr(&data);
  if (st.dir != ZOR_MISSING_F) WIND_barb(x, y, MAP_dir_adj(st.dir, x, y), st.spd, 0.075f * h, 0.0f);
  Gattribs text = data;
  text.height = ZOR_MISSING_F;
  GPH_text_attr(&text, 0.02f * h);
  GPH_text_align(3, 4);
  GPH_printf(x - 0.01f * h, y + 0.01f * h, "%s", st.id);
  GPH_text_align(1, 4);
  GPH_printf(x + 0.01f * h, y + 0.01f * h, "%.0f", static_cast<double>(st.tops));
}

void plot_track(const NIDS_report& st, float x, float y, float clat, float scale) {
  if (!(st.spd > 0.0f)) return;
  const float h = MAP_get_vert();
  // Distance covered in two hours, in projection units.
  const float len = st.spd * 1.852f * MAP_factor(clat) * 2.0f / 100.0f;
  WIND_track(x, y, MAP_dir_adj(st.dir, x, y), len, 0.1f * scale * h, 4, 0);
}

// What the extra layer needs while it walks the pages.
struct Layer {
  Domain plot;
  Domain page;
  Gattribs data;
  Gattribs grid;
  float x0 = 0.0f;
  float y0 = 0.0f;
  float scale = 1.0f;
  int storms = 0;
  RAW_data raw;
};

// Plots the storm of one table line, if it is one.
void storm_line(Layer& L, const char* line) {
  auto& s = state();
  s.storm_type = storm_table_type(line, s.storm_type);
  if (std::strncmp(line, " STM", 4) == 0 || std::strncmp(line, "NO STORM", 8) == 0) return;
  MAP_setup(&L.plot);
  const bool ok = parse_storm_line(line, s.storm_type, &s.storm);
  if (ok) {
    const NIDS_report& st = s.storm;
    ++L.storms;
    const bool strong = strong_storm(st);
    float x = ZOR_MISSING_F, y = ZOR_MISSING_F;
    MAP_offset(L.x0, L.y0, st.ang, st.rad * 1.852f, &x, &y);
    RAW_data_init(&L.raw);
    L.raw.x = x;
    L.raw.y = y;
    VAR_data* vars = VAR_get_vars();
    const int nvar = VAR_get_num();
    bool qualifies = false;
    for (int i = 0; i < nvar && x != ZOR_MISSING_F; ++i) {
      if (!qualifies)
        qualifies = (s.p.num_plt != 0 && L.storms <= s.p.num_plt) || (s.p.plt_strong != 0 && strong) ||
                    (s.p.num_plt == 0 && s.p.plt_strong == 0);
      if (!qualifies) continue;
      const char* name = vars[i].name;
      if (word_is(name, "comp")) {
        plot_comp(st, x, y, L.data);
      } else if (word_is(name, "track")) {
        plot_track(st, x, y, s.nids_info.domain.clat, L.scale);
      } else {
        NIDS_get_plot_data(&s.storm, &vars[i], &L.raw);
        L.raw.type = vars[i].type;
        std::snprintf(L.raw.format, sizeof L.raw.format, "%s", vars[i].format);
        RAW_plot_data(&L.raw);
      }
    }
  }
  MAP_setup(&L.page);
}

void page_vectors(FILE* f, const Layer& L, float rise) {
  const bool draw = state().p.plt_graph != 0;
  GPH_line_attr(&L.grid);
  NIDS_vector_data v;
  while (NIDS_get_vector(f, &v) == 1) {
    if (!draw) continue;
    float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    MAP_tran(v.x1, v.y1 + rise, &x1, &y1);
    MAP_tran(v.x2, v.y2 + rise, &x2, &y2);
    GPH_line(x1, y1, x2, y2);
  }
}

void page_barbs(FILE* f) {
  const bool draw = state().p.plt_graph != 0;
  NIDS_wind_data w;
  while (NIDS_get_wind(f, &w) == 1) {
    float x = 0, y = 0;
    MAP_tran(w.x, w.y, &x, &y);
    Gattribs a;
    CONT_get_fill_attrib(w.val, &a);
    if (!draw || a.color < 0) continue;
    GPH_fill_attr(&a);
    GPH_line_attr(&a);
    WIND_barb(x, y, w.dir, w.spd, 20.0f, 0.0f);
  }
}

void draw_page_line(float x1, float y1, float x2, float y2) {
  float ax = 0, ay = 0, bx = 0, by = 0;
  MAP_tran(x1, y1, &ax, &ay);
  MAP_tran(x2, y2, &bx, &by);
  GPH_line(ax, ay, bx, by);
}

// Page text attributes are set whether or not the text is drawn: the storm
// values plotted after it take its marker settings.
void draw_page_text(const Layer& L, const NIDS_text_data& t, float dx, float dy, bool draw) {
  float x = 0, y = 0;
  MAP_tran(t.x + dx, t.y + dy, &x, &y);
  Gattribs a = L.data;
  a.expan = 0.85f;
  GPH_text_attr(&a, 7.0f);
  gset_marker_size(1.5f);
  gset_marker_type(2);
  GPH_text_align(1, 2);
  if (draw && L.data.color >= 0) {
    const Gpt at{x, y};
    gtext(&at, t.data);
  }
}

// The pages of a storm product, kept until all are read so that they can
// be laid out side by side: each page in a cell of its own, the cells in
// as many columns as make the page space least crowded.
struct StormPages {
  struct Item {
    int page;
    bool text;
    NIDS_text_data t;
    NIDS_vector_data v;
  };
  std::vector<Item> items;
  std::vector<float> height;  // of each page, in page units

  void grow(int page, float y) {
    if (static_cast<std::size_t>(page) >= height.size()) height.resize(static_cast<std::size_t>(page) + 1, 0.0f);
    height[static_cast<std::size_t>(page)] = std::max(height[static_cast<std::size_t>(page)], y);
  }

  void draw(const Layer& L) const {
    const int n = static_cast<int>(height.size());
    if (n == 0 || state().p.plt_graph == 0) return;
    // One line below the lowest item, one more between pages.
    float cell = 0.0f;
    for (float h : height) cell = std::max(cell, h + 2.0f * kLine);
    const PageLayout lay = page_layout(n, cell);
    const int cols = lay.cols;
    Domain page = L.page;
    page.dx = page.dy = L.page.dx * lay.scale;
    MAP_setup(&page);
    GPH_line_attr(&L.grid);
    for (const Item& it : items) {
      const float dx = static_cast<float>(it.page % cols) * kPageSize;
      const float dy = static_cast<float>(it.page / cols) * cell;
      if (it.text) {
        draw_page_text(L, it.t, dx, dy, true);
      } else {
        GPH_line_attr(&L.grid);
        draw_page_line(it.v.x1 + dx, it.v.y1 + dy, it.v.x2 + dx, it.v.y2 + dy);
      }
    }
    Domain back = L.page;
    MAP_setup(&back);
  }
};

void page_text(FILE* f, Layer& L, float rise) {
  NIDS_text_data t;
  if (NIDS_get_text(f, &t) != 1) return;
  draw_page_text(L, t, 0.0f, rise, state().p.plt_graph != 0);
  MESS_print(M_OUT2, "%s\n", t.data);
  storm_line(L, t.data);
}

// Keeps one packet of a storm product's page for StormPages; the texts are
// read as storm lines at once.
void collect_page_item(FILE* f, Layer& L, int code, int page, StormPages& pages) {
  pages.grow(page, 0.0f);
  if (code == NIDS_PKT_TEXT || code == NIDS_PKT_TEXT_VALUE) {
    StormPages::Item it{page, true, {}, {}};
    if (NIDS_get_text(f, &it.t) != 1) return;
    draw_page_text(L, it.t, 0.0f, 0.0f, false);
    MESS_print(M_OUT2, "%s\n", it.t.data);
    storm_line(L, it.t.data);
    pages.grow(page, it.t.y);
    pages.items.push_back(it);
  } else if (code == NIDS_PKT_VECTOR || code == NIDS_PKT_VECTOR_VALUE) {
    StormPages::Item it{page, false, {}, {}};
    while (NIDS_get_vector(f, &it.v) == 1) {
      pages.grow(page, std::max(it.v.y1, it.v.y2));
      pages.items.push_back(it);
    }
  } else if (code == NIDS_PKT_WIND_BARB) {
    page_barbs(f);
  }
}

}  // namespace

PageLayout page_layout(int pages, float cell) {
  PageLayout best{1, 1.0f};
  float least = 0.0f;
  for (int c = 1; c <= pages; ++c) {
    const int rows = (pages + c - 1) / c;
    const float scale = std::max(static_cast<float>(c), static_cast<float>(rows) * cell / kPageSize);
    if (least == 0.0f || scale < least) {
      least = scale;
      best = {c, std::max(scale, 1.0f)};
    }
  }
  return best;
}

int storm_table_type(const char* line, int current) {
  // The storm structure table names VIL among its columns too.
  if (line == nullptr || current == kStructureTable) return current;
  int type = current;
  if (std::strstr(line, "VLOW") != nullptr) type = 1;
  if (std::strstr(line, "VIL") != nullptr) type = 2;
  return type;
}

bool parse_storm_line(const char* line, int type, NIDS_report* storm) {
  if (line == nullptr || storm == nullptr) return false;
  if (std::strncmp(line, " STM", 4) == 0 || std::strncmp(line, "NO STORM", 8) == 0) return false;
  *storm = cleared_storm();
  if (type == 1) return parse_type1(line, *storm);
  if (type == 2) return parse_type2(line, *storm);
  if (type == kStructureTable) return parse_structure(line, *storm);
  return false;
}

}  // namespace zor::nids_plot

using zor::nids_plot::state;

int NIDS_get_plot_data(NIDS_report* report, VAR_data* var, RAW_data* data) {
  if (report == nullptr || var == nullptr || data == nullptr) return 0;
  RAW_data_init_val(data);
  const std::string_view full = var->name;
  const std::string name(full.substr(0, full.find('-')));
  auto is = [&](const char* w) { return stricmp(name.c_str(), w) == 0; };
  auto text = [&](const char* t) { std::snprintf(data->data, sizeof data->data, "%s", t); };
  auto positive = [&](float v) {
    if (v > 0.0f) data->value[0] = v;
  };
  auto probability = [&](int p) {
    if (p > 0) data->value[0] = static_cast<float>(p);
    if (p >= 76) text("*");
    else if (p > 50) text("X");
  };
  auto flag = [&](int set, const char* t) {
    if (set == 0) return;
    data->value[0] = 1.0f;
    text(t);
  };
  if (is("id")) text(report->id);
  else if (is("tvs")) flag(report->tvs, "TVS");
  else if (is("meso")) flag(report->meso, "MESO");
  else if (is("posh")) probability(report->shail);
  else if (is("poh")) probability(report->hail);
  else if (is("hsize")) positive(report->hsize);
  else if (is("vil")) positive(report->vil);
  else if (is("dbzm")) positive(report->max_dbz);
  else if (is("dbzht")) positive(report->max_dbz_z);
  else if (is("top")) positive(report->tops);
  else if (is("dir")) positive(report->dir);
  else if (is("spd")) positive(report->spd);
  else if (is("mvmt") || is("track")) {
    if (report->spd > 0.0f) {
      data->value[0] = report->dir;
      data->value[1] = report->spd;
    }
  }
  return 0;
}

int NIDS_plot_data() {
  using namespace zor::nids_plot;
  if (FLAG_getplot(kCompData) == 0) return -1;
  auto& s = state();
  s.storm_type = s.nids_info.code == 62 ? kStructureTable : 0;
  Layer L;
  L.data = data_attrib();
  L.grid = grid_attrib();
  PLT_mess("NIDS Extra");
  MAP_tran(s.nids_info.domain.clat, s.nids_info.domain.clon, &L.x0, &L.y0);
  GPH_line_attr(&L.data);
  GPH_mark_attr(&L.data, 1.0f);
  CONT_reset_values();
  gset_marker_type(2);
  float scale = 0.0f;
  if (RES_getval("plot_scale", reinterpret_cast<char*>(&scale), CV_float) > 0 && scale > 0.0f) L.scale = scale;
  RAW_plot_init(&L.data, L.scale);

  if (s.p.plt_site) GPH_mark(L.x0, L.y0);
  if (s.p.plt_dist[0] != 0.0f) {
    for (int i = 0; i < 4; ++i)
      if (s.p.plt_dist[i] != 0.0f) MAP_draw_circle(L.x0, L.y0, s.p.plt_dist[i] * 1.852f);
  }

  MAP_get_domain(&L.plot);
  L.page.proj = DOM_PIXEL;
  L.page.clat = L.page.clon = 0.0f;
  L.page.nx = L.page.ny = 512;
  L.page.dx = L.page.dy = 511.0f;
  MAP_setup(&L.page);
  const bool pages = s.ifile != nullptr && NIDS_graphic(s.ifile) == 1;
  gset_char_space(1.0f);

  VAR_get_vars();
  if (const char* v = RES_get("variable"); v != nullptr && *v != '\0') VAR_setup("nids.var", v);
  for (int i = 0; i < VAR_get_num(); ++i)
    if (stricmp(VAR_get_name(i), "table") == 0) s.p.plt_graph = 1;

  const bool side_by_side = storm_product(s.nids_info.code);
  StormPages storm_pages;
  for (int p = 0; pages && NIDS_graphic_layer(s.ifile) > 0; ++p) {
    const float rise = kPageRise * static_cast<float>(p);
    int code = 0;
    while (NIDS_packet(s.ifile, &code) > 0) {
      if (side_by_side) {
        collect_page_item(s.ifile, L, code, p, storm_pages);
        continue;
      }
      switch (code) {
        case NIDS_PKT_VECTOR:
        case NIDS_PKT_VECTOR_VALUE: page_vectors(s.ifile, L, rise); break;
        case NIDS_PKT_WIND_BARB: page_barbs(s.ifile); break;
        case NIDS_PKT_TEXT:
        case NIDS_PKT_TEXT_VALUE: page_text(s.ifile, L, rise); break;
        default: break;
      }
    }
  }

  storm_pages.draw(L);
  gset_char_space(0.0f);
  MAP_setup(&L.plot);
  for (int i = 0; i < VAR_get_num(); ++i)
    if (stricmp(VAR_get_name(i), "watch") == 0) WATCH_plot();
  return 0;
}
