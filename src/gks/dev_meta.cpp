// Metafile device (workstation type 3): the text metafile "ZORMETA", one
// keyword record per line as the kernel writes them, or a minimal binary
// CGM; and gread_metafile, which plays a text metafile back through the
// kernel onto whatever workstation is open.
#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "device.h"
#include "gks_kernel.h"
#include "meta_state.h"
#include "print_options.h"
#include "zor/gks_dev.h"
#include "zor/mess.h"

namespace zor::gks::meta {

MetaState& state() {
  static MetaState s;
  return s;
}

namespace {

std::vector<float> flat(std::span<const DevPoint> pts) {
  std::vector<float> xy;
  xy.reserve(pts.size() * 2);
  for (const auto& p : pts) {
    xy.push_back(p.x);
    xy.push_back(p.y);
  }
  return xy;
}

bool is_text() { return state().meta_type == 0 && state().out.is_open(); }

class MetafileDevice final : public Device {
 public:
  int open(const OpenRequest& request) override {
    namespace pr = zor::gks::print;
    for (std::size_t i = 1; i < request.items.size(); ++i) {
      if (pr::ieq(request.items[i], "cgm")) gmeta_set_type(1);
      if (pr::ieq(request.items[i], "zor")) gmeta_set_type(0);
    }
    std::string name;
    if (!request.items.empty()) name = request.items[0];
    if (name.empty()) {
      const char* env = std::getenv("zormeta_out");
      name = (env != nullptr && *env != '\0') ? env : (gmeta_get_type() == 1 ? "zor.cgm" : "zor.meta");
    }
    if (gmeta_open_file(name.c_str()) == nullptr) {
      gerr_printf("gopen_ws", "unable to open metafile\n");
      MESS_print(M_ERROR, "gopen_ws: cannot create %s\n", name.c_str());
      return -1;
    }
    if (const char* t = gget_win_title(); t != nullptr) state().title = t;
    gmeta_init_file();
    return 0;
  }
  int close() override { return gmeta_close_file(); }
  int init_class() const override { return kClassMetafile; }
  DeviceUnits units() const override { return DeviceUnits::print; }
  DeviceSize size() const override { return {kMetaWidth, kMetaHeight, 0, 0}; }

  // The text form is made of the kernel's own records.
  void record(std::string_view line) override {
    if (!is_text()) return;
    std::fwrite(line.data(), 1, line.size(), state().out.get());
  }

  // The binary form draws clips, polylines, solid fill areas, markers (as
  // their strokes) and text (one TEXT element per string).
  void set_clip(const DevRect& c) override {
    if (state().meta_type != 1) return;
    gcgm_control(3, 5, 8, 0);
    gcgm_ps_point(c.x_min, c.y_min);
    gcgm_ps_point(c.x_max, c.y_max);
  }
  void polyline(std::span<const DevPoint> pts, const Pen& pen) override {
    if (state().meta_type != 1) return;
    gcgm_set_type(pen.line_type);
    cgm_line_colour(pen.shadow ? 500 : pen.color_ind);
    const auto xy = flat(pts);
    cgm_polyline_device(xy.data(), pts.size());
  }
  void fill_area(std::span<const DevPoint> pts, const FillStyle& fill) override {
    // Patterns have no form here; as on paper, only solid interiors are kept.
    if (state().meta_type != 1 || fill.interior != GSOLID) return;
    cgm_fill_colour(fill.color_ind);
    const auto xy = flat(pts);
    cgm_polygon_device(xy.data(), pts.size());
  }
  void begin_group(const GroupInfo& info, const Pen& pen) override {
    auto& s = state();
    if (s.meta_type != 1) return;
    s.in_text = info.kind == GroupKind::text;
    s.text_inked = false;
    if (!s.in_text) return;
    s.text = std::string(info.text);
    s.text_pos = info.world_pos;
    cgm_text_colour(pen.shadow ? 500 : pen.color_ind);
  }
  void stroke(std::span<const DevPoint> pts, const Pen& pen) override {
    auto& s = state();
    if (s.meta_type != 1 || pts.empty()) return;
    if (!s.in_text) {
      polyline(pts, pen);
      return;
    }
    if (pen.shadow) return;  // the drop shadow would only widen the box
    for (const auto& p : pts) {
      if (!s.text_inked) {
        s.text_x0 = s.text_x1 = p.x;
        s.text_y0 = s.text_y1 = p.y;
        s.text_inked = true;
      }
      s.text_x0 = std::min(s.text_x0, p.x);
      s.text_x1 = std::max(s.text_x1, p.x);
      s.text_y0 = std::min(s.text_y0, p.y);
      s.text_y1 = std::max(s.text_y1, p.y);
    }
  }
  void end_group() override {
    auto& s = state();
    if (s.meta_type != 1 || !s.in_text) return;
    s.in_text = false;
    // The strokes give where the string stands and how high it is drawn.
    // Without strokes (a native font) the string stands at its position in
    // a height of one hundredth of the picture.
    if (s.text_inked)
      cgm_text(s.text_x0, s.text_y0, s.text_y1 - s.text_y0, s.text);
    else
      cgm_text(xW_ps(s.text_pos.x), yW_ps(s.text_pos.y), kMetaHeight / 100.0f, s.text);
  }
  void set_title(std::string_view title) override { state().title = std::string(title); }
};

// ----- reading a text metafile back -----

class Reader {
 public:
  explicit Reader(std::istream& in) : in_(in), handlers_(make_handlers()) {}

  int run() {
    std::string skip;
    std::getline(in_, skip);  // the magic line
    std::string key;
    while (in_ >> key) {
      if (key.size() > 9 || !dispatch(key)) {
        std::getline(in_, skip);  // unknown records and comments end with their line
        continue;
      }
      if (failed_) {
        MESS_print(M_WARN, "gread_metafile: bad %s record\n", key.c_str());
        return 0;
      }
    }
    return 0;
  }

 private:
  template <typename T>
  T get() {
    T v{};
    if (!(in_ >> v)) failed_ = true;
    return v;
  }

  Gpt point() {
    std::string tok;
    Gpt p;
    if (!(in_ >> tok) || std::sscanf(tok.c_str(), "%f,%f", &p.x, &p.y) != 2) failed_ = true;
    return p;
  }

  std::vector<Gpt> points() {
    const int n = get<int>();
    std::vector<Gpt> pts;
    if (failed_ || n < 0) {
      failed_ = true;
      return pts;
    }
    for (int i = 0; i < n && !failed_; ++i) pts.push_back(point());
    return pts;
  }

  // Window and viewport records are written x_min, y_min, x_max, y_max.
  Glim lim() {
    Glim l;
    l.x_min = get<float>();
    l.y_min = get<float>();
    l.x_max = get<float>();
    l.y_max = get<float>();
    return l;
  }

  using Handlers = std::unordered_map<std::string, std::function<void()>>;

  Handlers make_handlers() {
    return {
        {"WS_WIN", [this] {
           get<int>();
           lim();
         }},
        {"VP", [this] { const int t = get<int>(); const Glim l = lim(); if (!failed_) gset_vp(t, &l); }},
        {"WIN", [this] { const int t = get<int>(); const Glim l = lim(); if (!failed_) gset_win(t, &l); }},
        {"TR", [this] { const int t = get<int>(); if (!failed_) gsel_norm_tran(t); }},
        {"PL", [this] { auto p = points(); if (!failed_) gpolyline(static_cast<int>(p.size()), p.data()); }},
        {"FA", [this] { auto p = points(); if (!failed_) gfill_area(static_cast<int>(p.size()), p.data()); }},
        {"PM", [this] { auto p = points(); if (!failed_) gpolymarker(static_cast<int>(p.size()), p.data()); }},
        {"TE", [this] { text(); }},
        {"CLR", [this] {
           get<int>();
           const int ind = get<int>();
           Gcolr_rep c;
           c.red = get<float>();
           c.green = get<float>();
           c.blue = get<float>();
           if (!failed_) gset_colr_rep(1, ind, &c);
         }},
        {"PL_CLR", [this] { const int v = get<int>(); if (!failed_) gset_line_colr_ind(v); }},
        {"PL_TYPE", [this] { const int v = get<int>(); if (!failed_) gset_linetype(v); }},
        {"PL_LW", [this] { const float v = get<float>(); if (!failed_) gset_linewidth(v); }},
        {"PM_CLR", [this] { const int v = get<int>(); if (!failed_) gset_marker_colr_ind(v); }},
        {"PM_TYPE", [this] { const int v = get<int>(); if (!failed_) gset_marker_type(v); }},
        {"PM_SIZE", [this] { const float v = get<float>(); if (!failed_) gset_marker_size(v); }},
        {"PM_WDTH", [this] { const float v = get<float>(); if (!failed_) gset_marker_width(v); }},
        {"FA_CLR", [this] { const int v = get<int>(); if (!failed_) gset_fill_colr_ind(v); }},
        {"FA_INT", [this] { const int v = get<int>(); if (!failed_) gset_fill_int_style(v); }},
        {"FA_ST", [this] { const int v = get<int>(); if (!failed_) gset_fill_style_ind(v); }},
        {"TE_CLR", [this] { const int v = get<int>(); if (!failed_) gset_text_colr_ind(v); }},
        {"TE_HGHT", [this] { const float v = get<float>(); if (!failed_) gset_char_ht(v); }},
        {"TE_EXP", [this] { const float v = get<float>(); if (!failed_) gset_expan(v); }},
        {"TE_WDTH", [this] { const float v = get<float>(); if (!failed_) gset_text_width(v); }},
        {"TE_SPC", [this] { const float v = get<float>(); if (!failed_) gset_space(v); }},
        {"TE_CSPC", [this] { const float v = get<float>(); if (!failed_) gset_char_space(v); }},
        {"TE_UP", [this] { const Gpt v = point(); if (!failed_) gset_char_up_vec(&v); }},
        {"TE_ALGN", [this] {
           // As plain ints: the checked setter refuses codes outside the enums.
           const int h = get<int>(), v = get<int>();
           if (!failed_) GPH_text_align(h, v);
         }},
        {"TE_FNT", [this] {
           Gfontprec f;
           f.font = get<int>();
           const int prec = get<int>();
           if (failed_) return;
           if (prec < GSTRING_PREC || prec > GSTROKE_PREC) {
             gerr_printf("gset_fontprec", "invalid text precision: %d\n", prec);
             return;
           }
           f.prec = static_cast<Gtext_prec>(prec);
           gset_fontprec(&f);
         }},
    };
  }

  bool dispatch(const std::string& key) {
    auto it = handlers_.find(key);
    if (it == handlers_.end()) return false;
    it->second();
    return true;
  }

  // "TE x,y text": the text runs to the end of the line after one blank.
  void text() {
    const Gpt p = point();
    std::string rest;
    std::getline(in_, rest);
    if (failed_) return;
    if (!rest.empty() && rest[0] == ' ') rest.erase(0, 1);
    if (!rest.empty() && rest.back() == '\r') rest.pop_back();
    gtext(&p, rest.c_str());
  }

  std::istream& in_;
  bool failed_ = false;
  Handlers handlers_;
};

}  // namespace
}  // namespace zor::gks::meta

namespace zor::gks {
void reset_meta() { meta::state().reset(); }
std::unique_ptr<Device> make_metafile_device() { return std::make_unique<meta::MetafileDevice>(); }
}  // namespace zor::gks

using zor::gks::meta::state;

int gmeta_set_type(int type) {
  state().meta_type = type == 1 ? 1 : 0;
  return 0;
}

int gmeta_get_type() { return state().meta_type; }

std::FILE* gmeta_open_file(const char* name) {
  auto& s = state();
  if (name == nullptr || *name == '\0') return nullptr;
  MESS_print(M_MESS, "Creating metafile: %s\n", name);
  if (!s.out.open(name, s.meta_type == 1 ? "b" : "")) return nullptr;
  // A new file defines its colours and attributes afresh.
  zor::gks::meta::MetaState fresh;
  fresh.out = std::move(s.out);
  fresh.meta_type = s.meta_type;
  fresh.title = std::move(s.title);
  s = std::move(fresh);
  return s.out.get();
}

int gmeta_init_file() {
  auto& s = state();
  std::FILE* f = s.out.get();
  if (f == nullptr) return -1;
  // An appended file gets its header only when it starts out empty, so the
  // result is always a complete metafile.
  if (s.out.appending()) {
    std::fseek(f, 0, SEEK_END);
    if (std::ftell(f) > 0) return 0;
  }
  if (s.meta_type == 1) {
    zor::gks::meta::cgm_write_header();
    return 0;
  }
  std::fprintf(f, "ZORMETA\n");
  std::fprintf(f, "#Title: ZOR Graphics Display: %s\n", s.title.c_str());
  std::fprintf(f, "#Creator: ZOR Metafile Processor-1.0\n");
  std::fprintf(f, "#CreationDate: %s", zor::gks::clock_ctime().c_str());
  return 0;
}

int gmeta_printf(const char* format, ...) {
  auto& s = state();
  if (s.meta_type != 0 || !s.out.is_open() || format == nullptr) return 0;
  va_list ap;
  va_start(ap, format);
  std::vfprintf(s.out.get(), format, ap);
  va_end(ap);
  return 0;
}

int gmeta_close_file() {
  auto& s = state();
  if (!s.out.is_open()) return -1;
  if (s.meta_type == 1 && !s.out.appending()) zor::gks::meta::cgm_write_trailer();
  const std::string name = s.out.target();
  if (!s.out.close()) {
    MESS_print(M_ERROR, "Unable to write metafile: %s\n", name.c_str());
    return -1;
  }
  MESS_print(M_MESS, "Created metafile\n");
  return 0;
}

const char* gmeta_failed_file() {
  auto& s = state();
  return s.out.failed() ? s.out.target().c_str() : nullptr;
}

int gmeta_is_open() { return state().out.is_open(); }

int gmeta_set_title(const char* title) {
  state().title = title != nullptr ? title : "";
  return 0;
}

int gread_metafile(const char* name) {
  std::ifstream in(name != nullptr ? name : "");
  if (!in) {
    MESS_print(M_WARN, "gread_metafile: Unable to open image file: %s\n", name != nullptr ? name : "");
    return 0;
  }
  zor::gks::meta::Reader reader(in);
  return reader.run();
}
