// The object list: while recording is on, every attribute change and
// primitive offered by the kernel is kept so that the picture can be drawn
// again (into the window after a resize, another frame or pixmap, a
// PostScript file or a metafile) by replaying it.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <string>
#include <vector>

#include "device.h"
#include "gks_kernel.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/gks_win.h"
#include "zor/mess.h"

namespace zor::gks {
namespace {

inline constexpr int kCheckRecorded = 500;  // objects between event checks while drawing
inline constexpr int kCheckReplayed = 200;  // and while replaying
inline constexpr int kKindMessage = 5;
inline constexpr int kKindSegOpen = 81;
inline constexpr int kKindSegClose = 82;
inline constexpr int kKindCallback = 999;
inline constexpr int kPrintWidth = 757;
inline constexpr int kPrintHeight = 577;

using RedrawFunc = void (*)(void*);

struct Object {
  int kind = 0;
  int value = 0;
  std::vector<std::byte> data;
  RedrawFunc func = nullptr;  // kind 999
  void* func_data = nullptr;
};

struct ObjectList {
  std::vector<Object> objects;
  long num_objects = 0;  // offered, recorded or not
  bool redraw = false;
  int action = 0;  // the cache flag
  bool redrawn = false;
  bool replaying = false;
  bool installed = false;
};

ObjectList& objs() {
  static ObjectList list;
  return list;
}

// Counts an object and keeps it when recording; null when not kept.
Object* new_obj(int kind, int value) {
  ObjectList& l = objs();
  if (++l.num_objects % kCheckRecorded == 0 && !l.replaying) gcheck_event();
  if (!l.redraw || l.replaying || !gtype_is_WIN()) return nullptr;
  l.objects.push_back({kind, value, {}, nullptr, nullptr});
  return &l.objects.back();
}

void recorder(int kind, int value, std::span<const std::byte> data) {
  if (Object* o = new_obj(kind, value)) o->data.assign(data.begin(), data.end());
}

void install() {
  if (!objs().installed) {
    set_object_recorder(recorder);
    objs().installed = true;
  }
}

template <typename T>
bool as(const Object& o, T* v) {
  if (o.data.size() < sizeof(T)) return false;
  std::memcpy(v, o.data.data(), sizeof(T));
  return true;
}

std::vector<Gpt> as_points(const Object& o) {
  std::vector<Gpt> pts(o.data.size() / sizeof(Gpt));
  if (!pts.empty()) std::memcpy(pts.data(), o.data.data(), pts.size() * sizeof(Gpt));
  return pts;
}

// Setters replayed with the stored value as their single argument.
struct IntEntry {
  int kind;
  int (*set)(int);
};
struct FloatEntry {
  int kind;
  int (*set)(float);
};
struct PrimEntry {
  int kind;
  int (*draw)(int, const Gpt*);
};
struct LimEntry {
  int kind;
  int (*set)(Gint, const Glim*);
  bool by_value;  // the number is the stored value, else workstation 1
};

constexpr IntEntry kIntSetters[] = {
    {15, gsel_norm_tran},      {33, gset_linetype},       {35, gset_line_colr_ind},
    {36, gset_line_print_bold}, {43, gset_marker_type},   {45, gset_marker_colr_ind},
    {56, gset_text_colr_ind},  {73, gset_fill_int_style}, {74, gset_fill_style_ind},
    {75, gset_fill_colr_ind},  {76, gset_fill_print_solid},
};
constexpr FloatEntry kFloatSetters[] = {
    {34, gset_linewidth}, {44, gset_marker_size}, {46, gset_marker_width}, {53, gset_space},
    {54, gset_char_space}, {55, gset_expan},      {57, gset_char_ht},      {61, gset_text_width},
};
constexpr PrimEntry kPrims[] = {{30, gpolyline}, {40, gpolymarker}, {70, gfill_area}};
constexpr LimEntry kLimSetters[] = {
    {10, gset_ws_vp, false}, {11, gset_ws_win, false}, {16, gset_vp, true}, {17, gset_win, true}};

void replay_special(const Object& o) {
  switch (o.kind) {
    case kKindMessage:
      if (!o.data.empty()) gmessage(1, reinterpret_cast<const char*>(o.data.data()));
      break;
    case 20: {
      float rgb[3];
      if (!as(o, &rgb)) break;
      const Gcolr_rep c{rgb[0], rgb[1], rgb[2]};
      gset_colr_rep(1, o.value, &c);
      break;
    }
    case 25: {
      Glim lim;
      if (as(o, &lim)) gclear_region(&lim);
      break;
    }
    case 50: {
      float xy[2];
      if (o.data.size() <= sizeof xy || !as(o, &xy)) break;
      // The string follows the position, its terminator included.
      const std::string text(reinterpret_cast<const char*>(o.data.data()) + sizeof xy,
                             o.data.size() - sizeof xy - 1);
      const Gpt pos{xy[0], xy[1]};
      gtext(&pos, text.c_str());
      break;
    }
    case 58: {
      float up[2];
      if (!as(o, &up)) break;
      const Gpt v{up[0], up[1]};
      gset_char_up_vec(&v);
      break;
    }
    case 59: {
      Gfontprec fp;
      if (as(o, &fp)) gset_fontprec(&fp);
      break;
    }
    case 60: {
      Gtext_align a;
      if (as(o, &a)) gset_text_align(&a);
      break;
    }
    case kKindCallback:
      if (o.func != nullptr) o.func(o.func_data);
      break;
    default:  // segment brackets and unknown kinds
      break;
  }
}

void replay(const Object& o) {
  for (const auto& e : kIntSetters)
    if (e.kind == o.kind) {
      e.set(o.value);
      return;
    }
  for (const auto& e : kFloatSetters)
    if (e.kind == o.kind) {
      float v = 0.0f;
      if (as(o, &v)) e.set(v);
      return;
    }
  for (const auto& e : kPrims)
    if (e.kind == o.kind) {
      const auto pts = as_points(o);
      e.draw(static_cast<int>(pts.size()), pts.data());
      return;
    }
  for (const auto& e : kLimSetters)
    if (e.kind == o.kind) {
      Glim lim;
      if (as(o, &lim)) e.set(e.by_value ? o.value : 1, &lim);
      return;
    }
  replay_special(o);
}

// Replays every object with recording off; with `check`, events are handled
// every few objects and a redraw started by a handler ends this one.
// False when it was cut short.
bool replay_all(bool check) {
  ObjectList& l = objs();
  const bool was = l.replaying;
  l.replaying = true;
  bool complete = true;
  for (std::size_t i = 0; i < l.objects.size(); ++i) {
    // A copy: a callback may change the list.
    const Object o = l.objects[i];
    replay(o);
    if (check && (i + 1) % kCheckReplayed == 0) {
      gcheck_event();
      if (l.redrawn) {
        complete = false;
        break;
      }
    }
  }
  l.replaying = was;
  return complete;
}

// Replays the list on another device (PostScript, metafile) of the given
// size, then gives the window back its device, size and colours.
int replay_elsewhere(std::unique_ptr<Device> other, Gws_type type_of_other, const std::string& file,
                     int dev_class, int width, int height) {
  OpenRequest req;
  req.ws_type = type_of_other;
  req.conn_id = file;
  req.items = {file};
  Kernel& k = kernel();
  const int old_cursor = gset_cursor(8);
  const int was_redraw = gset_redraw(0);
  const int w = k.win_width, h = k.win_height;
  if (other->open(req) != 0) {
    gset_redraw(was_redraw);
    gset_cursor(old_cursor);
    return -1;
  }
  std::unique_ptr<Device> window = std::move(k.device);
  const Gws_type type = k.ws_type;
  k.device = std::move(other);
  k.ws_type = req.ws_type;
  k.win_width = width > 0 ? width : k.device->size().width;
  k.win_height = height > 0 ? height : k.device->size().height;
  ginit_plot(dev_class);
  replay_all(false);
  k.device->close();
  k.device = std::move(window);
  k.ws_type = type;
  k.win_width = w;
  k.win_height = h;
  ginit_plot(kClassX11Again);
  // The colours were realised on the other device: realise them again.
  objs().replaying = true;
  for (const Object& o : std::vector<Object>(objs().objects))
    if (o.kind == 20) replay_special(o);
  objs().replaying = false;
  gset_redraw(was_redraw);
  gset_cursor(old_cursor);
  return 0;
}

}  // namespace
}  // namespace zor::gks

using zor::gks::objs;

int ginit_objs() {
  zor::gks::install();
  objs().objects.clear();
  const char* env = std::getenv("zorredraw");
  if (env == nullptr) env = gget_xdefault("redraw");
  if (env != nullptr && strcasecmp(env, "no") == 0) objs().redraw = false;
  return 1;
}

void* gnew_obj(int type, int values, int size, const void* data) {
  zor::gks::install();
  zor::gks::Object* o = zor::gks::new_obj(type, values);
  if (o == nullptr || size <= 0) return nullptr;
  o->data.resize(static_cast<std::size_t>(size));
  if (data != nullptr) std::memcpy(o->data.data(), data, static_cast<std::size_t>(size));
  return o->data.data();
}

int gclear_objs() {
  objs().objects.clear();
  return 1;
}

int gdel_seg_objs(int seg) {
  auto& v = objs().objects;
  auto first = std::find_if(v.begin(), v.end(), [seg](const zor::gks::Object& o) {
    return o.kind == zor::gks::kKindSegOpen && o.value == seg;
  });
  if (first == v.end()) return 0;
  auto last = std::find_if(first, v.end(), [](const zor::gks::Object& o) { return o.kind == zor::gks::kKindSegClose; });
  v.erase(first, last == v.end() ? v.end() : last + 1);
  return 1;
}

int gset_redraw(int on) {
  zor::gks::install();
  const int was = objs().redraw ? 1 : 0;
  objs().redraw = on != 0;
  return was;
}

int gget_redraw() { return objs().redraw ? 1 : 0; }

int gset_cache(int val) {
  objs().action = val;
  return 1;
}
int gget_cache() { return objs().action; }

int gset_redraw_func(void (*func)(void*), void* data) {
  zor::gks::install();
  if (func == nullptr) return 0;
  zor::gks::Object* o = zor::gks::new_obj(zor::gks::kKindCallback, 0);
  if (o == nullptr) return 0;
  o->func = func;
  o->func_data = data;
  return 1;
}

long gget_num_objects() { return objs().num_objects; }

int gget_num_recorded() { return static_cast<int>(objs().objects.size()); }

int gobj_replay() {
  if (objs().objects.empty()) return 0;
  zor::gks::replay_all(false);
  return 1;
}

int gobj_redraw_plot() {
  auto& l = objs();
  if (!l.redraw) return -1;
  gresize_window(0, 0);
  ginit_plot(1);
  l.redraw = false;
  l.redrawn = false;
  zor::gks::replay_all(true);
  l.redraw = true;
  l.redrawn = true;
  gupdate_window();
  return 0;
}

int gobj_print_plot() {
  using namespace zor::gks;
  if (objs().objects.empty()) {
    MESS_print(M_WARN, "gobj_print_plot: No redraw data to make Postscript file from\n");
    return -1;
  }
  const char* env = std::getenv("zorps_print");
  if (env == nullptr || *env == '\0') env = std::getenv("PSPRINT");
  const std::string name = env != nullptr && *env != '\0' ? env : "zor.ps";
  if (replay_elsewhere(make_postscript_device(), GWS_PS, name, kClassPostScript, kPrintWidth, kPrintHeight) != 0) {
    gerr_printf("gprint_plot", "unable to open postscript file\n");
    return -1;
  }
  gbell(50);
  return 0;
}

int gobj_print_meta() {
  using namespace zor::gks;
  if (objs().objects.empty()) {
    MESS_print(M_WARN, "gobj_print_meta: No redraw data to make metafile from\n");
    return -1;
  }
  const char* env = std::getenv("METAOUT");
  const std::string name = env != nullptr && *env != '\0' ? env : "zor.meta";
  if (replay_elsewhere(make_metafile_device(), GWS_META, name, kClassMetafile, 0, 0) != 0) {
    gerr_printf("gprint_meta", "unable to open metafile\n");
    return -1;
  }
  gcheck_event();
  gbell(50);
  objs().redrawn = true;
  return 0;
}
