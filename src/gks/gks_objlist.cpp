// The object list: while recording is on, every attribute change and
// primitive offered by the kernel is kept so that the picture can be drawn
// again (into another frame, pixmap or device) by replaying it.
#include <cstring>
#include <vector>

#include "device.h"
#include "zor/gks.h"
#include "zor/gks_win.h"

namespace zor::gks {
namespace {

struct Object {
  int kind = 0;
  int value = 0;
  std::vector<std::byte> data;
};

struct ObjectList {
  std::vector<Object> objects;
  long num_objects = 0;  // offered, recorded or not
  bool redraw = false;
  bool replaying = false;
  bool installed = false;
};

ObjectList& objs() {
  static ObjectList list;
  return list;
}

void recorder(int kind, int value, std::span<const std::byte> data) {
  ObjectList& l = objs();
  ++l.num_objects;
  if (!l.redraw || l.replaying) return;
  l.objects.push_back({kind, value, {data.begin(), data.end()}});
}

void install() {
  if (!objs().installed) {
    set_object_recorder(recorder);
    objs().installed = true;
  }
}

float as_float(const Object& o) {
  float v = 0.0f;
  if (o.data.size() >= sizeof v) std::memcpy(&v, o.data.data(), sizeof v);
  return v;
}

std::vector<Gpt> as_points(const Object& o) {
  std::vector<Gpt> pts(o.data.size() / sizeof(Gpt));
  if (!pts.empty()) std::memcpy(pts.data(), o.data.data(), pts.size() * sizeof(Gpt));
  return pts;
}

using IntSetter = int (*)(int);
using FloatSetter = int (*)(float);
using PointPrim = int (*)(int, const Gpt*);

struct IntEntry {
  int kind;
  IntSetter set;
};
struct FloatEntry {
  int kind;
  FloatSetter set;
};
struct PrimEntry {
  int kind;
  PointPrim draw;
};

constexpr IntEntry kIntSetters[] = {
    {33, gset_linetype},        {35, gset_line_colr_ind},    {36, gset_line_print_bold},
    {43, gset_marker_type},     {45, gset_marker_colr_ind},  {56, gset_text_colr_ind},
    {73, gset_fill_int_style},  {74, gset_fill_style_ind},   {75, gset_fill_colr_ind},
    {76, gset_fill_print_solid},
};
constexpr FloatEntry kFloatSetters[] = {
    {34, gset_linewidth}, {44, gset_marker_size}, {46, gset_marker_width},
    {54, gset_char_space}, {55, gset_expan},      {57, gset_char_ht},
};
constexpr PrimEntry kPrims[] = {{30, gpolyline}, {40, gpolymarker}, {70, gfill_area}};

void replay(const Object& o) {
  for (const auto& e : kIntSetters)
    if (e.kind == o.kind) {
      e.set(o.value);
      return;
    }
  for (const auto& e : kFloatSetters)
    if (e.kind == o.kind) {
      e.set(as_float(o));
      return;
    }
  for (const auto& e : kPrims)
    if (e.kind == o.kind) {
      const auto pts = as_points(o);
      e.draw(static_cast<int>(pts.size()), pts.data());
      return;
    }
  if (o.kind == 20 && o.data.size() >= 3 * sizeof(float)) {
    float rgb[3];
    std::memcpy(rgb, o.data.data(), sizeof rgb);
    const Gcolr_rep c{rgb[0], rgb[1], rgb[2]};
    gset_colr_rep(1, o.value, &c);
  }
}

}  // namespace
}  // namespace zor::gks

using zor::gks::objs;

int ginit_objs() {
  zor::gks::install();
  objs().objects.clear();
  return 1;
}

int gclear_objs() {
  objs().objects.clear();
  return 1;
}

int gset_redraw(int on) {
  zor::gks::install();
  const int was = objs().redraw ? 1 : 0;
  objs().redraw = on != 0;
  return was;
}

int gget_redraw() { return objs().redraw ? 1 : 0; }

long gget_num_objects() { return objs().num_objects; }

int gget_num_recorded() { return static_cast<int>(objs().objects.size()); }

int gobj_replay() {
  auto& l = objs();
  if (l.objects.empty()) return 0;
  l.replaying = true;
  for (const auto& o : l.objects) zor::gks::replay(o);
  l.replaying = false;
  return 1;
}
