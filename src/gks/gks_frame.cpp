// Frames (pictures of an animation, each in a pixmap of the raster device)
// and the loop state that steps through them. Written against the device's
// raster interface so that the in-memory device loops as the window does.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "device.h"
#include "gks_zoom.h"
#include "zor/gks.h"
#include "zor/gks_win.h"
#include "zor/mess.h"

namespace zor::gks {
namespace {

inline constexpr int kMaxFrames = 128;

inline constexpr int kDataSize = 50;
inline constexpr float kMaxNap = 0.2f;  // longest sleep between event checks

struct Frame {
  char filename[kDataSize] = {};
  unsigned char data[kDataSize] = {};
  int data_size = 0;
  unsigned long pixmap = 0;  // device pixmap id, 0 = none
  float delay = 0.5f;
  int flag = 1;
};

struct LoopState {
  std::array<Frame, kMaxFrames> frames{};
  const Device* owner = nullptr;  // the device whose pixmap ids these are
  int num_images = 0;
  int cur_image = -1;
  int looping = 0;
  int loop_direct = 1;
  float loop_delay = 0.5f;
  float loop_pause = 1.0f;
  int loop_start = -1;
  int loop_end = -1;
  int loop_title = 1;
};

LoopState& loop() {
  static LoopState state;
  return state;
}

// The open raster device; frames of a device since closed are forgotten.
Device* raster() {
  Device* dev = current_device();
  LoopState& s = loop();
  if (dev != s.owner) {
    const int direct = s.loop_direct;
    s = LoopState{};
    s.loop_direct = direct;
    s.owner = dev;
  }
  return dev;
}

// A selector as a frame number (-1 last, -2 current); -3 stays; -9 invalid.
int resolve(int ind) {
  const LoopState& s = loop();
  if (ind == GFRAME_LAST) return s.num_images - 1;
  if (ind == GFRAME_CURRENT) return s.cur_image;
  if (ind == GFRAME_BASE) return GFRAME_BASE;
  if (ind < 0 || ind >= kMaxFrames) return -9;
  return ind;
}

// The device pixmap of a selector (0 = the base window's back pixmap);
// false when the frame has none.
bool pixmap_of(int ind, unsigned long* id) {
  const int n = resolve(ind);
  if (n == GFRAME_BASE) {
    *id = 0;
    return true;
  }
  if (n < 0) return false;
  *id = loop().frames[static_cast<std::size_t>(n)].pixmap;
  return *id != 0;
}

}  // namespace
}  // namespace zor::gks

using zor::gks::loop;
using zor::gks::raster;

int ginit_loop() {
  zor::gks::LoopState& s = loop();
  if (zor::gks::Device* dev = zor::gks::current_device(); dev != nullptr && dev == s.owner)
    for (auto& f : s.frames)
      if (f.pixmap != 0) dev->free_pixmap(f.pixmap);
  const zor::gks::Device* owner = zor::gks::current_device();
  s = zor::gks::LoopState{};
  s.owner = owner;
  return 1;
}

int gcreate_frame(int ind) {
  zor::gks::Device* dev = raster();
  if (dev == nullptr || ind >= zor::gks::kMaxFrames) return 0;
  auto& s = loop();
  const bool append = ind < 0 || ind >= s.num_images;
  if (ind < 0) ind = s.num_images;
  if (ind >= zor::gks::kMaxFrames) return 0;
  auto& f = s.frames[static_cast<std::size_t>(ind)];
  if (f.pixmap == 0) {
    f.pixmap = dev->create_pixmap();
    if (f.pixmap == 0) return 0;
  } else {
    dev->fill_pixmap(f.pixmap, gget_back_color());
  }
  if (ind > 0) s.frames[static_cast<std::size_t>(ind - 1)].delay = s.loop_delay;
  const int last = append ? ind : s.num_images - 1;
  s.frames[static_cast<std::size_t>(last)].delay = s.loop_pause;
  gsync();
  MESS_print(M_DEBUG, "Created frame: %d-%ld\n", ind, static_cast<long>(f.pixmap));
  if (append) s.num_images = ind + 1;
  return ind;
}

int gselect_frame(int ind) {
  zor::gks::Device* dev = raster();
  unsigned long id = 0;
  if (dev == nullptr || !zor::gks::pixmap_of(ind, &id)) return 0;
  gset_redraw(0);  // frames are not redrawn from objects
  if (!dev->set_draw_target(id)) return 0;
  MESS_print(M_DEBUG, "Selected frame: %d\n", ind);
  return 1;
}

int gclear_frame(int ind) {
  zor::gks::Device* dev = raster();
  unsigned long id = 0;
  if (dev == nullptr || !zor::gks::pixmap_of(ind, &id)) return 0;
  dev->fill_pixmap(id, gget_back_color());
  return 1;
}

int gcopy_frame(int dest, int src) {
  zor::gks::Device* dev = raster();
  unsigned long to = 0, from = 0;
  if (dev == nullptr || !zor::gks::pixmap_of(dest, &to) || !zor::gks::pixmap_of(src, &from))
    return 0;
  MESS_print(M_DEBUG, "Copy frame: %d->%d\n", src, dest);
  return dev->copy_pixmap(from, to) ? 1 : 0;
}

int gdisplay_frame(int ind) {
  zor::gks::Device* dev = raster();
  if (dev == nullptr) return 0;
  auto& s = loop();
  if (s.cur_image < 0) s.cur_image = 0;
  if (ind < 0) ind = s.cur_image;
  if (gget_zoom() < 2) {
    if (gcopy_frame(GFRAME_BASE, ind) == 0) return 0;
  } else if (gzoom(ind, -1, -1, -1, 1) == 0) {
    return 0;
  }
  dev->flush();
  if (s.loop_title != 0 && s.num_images > 0) {
    char extra[16];
    std::snprintf(extra, sizeof extra, "[%d]", ind);
    gset_win_title_extra(extra);
  }
  MESS_print(M_DEBUG, "Display frame: %d\n", ind);
  s.cur_image = ind;
  return 1;
}

int gdelete_frame(int ind) {
  zor::gks::Device* dev = raster();
  if (dev == nullptr) return 0;
  auto& s = loop();
  const int n = zor::gks::resolve(ind);
  if (n < 0 || n >= zor::gks::kMaxFrames) return 0;
  auto& slot = s.frames[static_cast<std::size_t>(n)];
  if (n >= s.num_images && n != 0) {
    if (slot.pixmap != 0) dev->free_pixmap(slot.pixmap);
    slot.pixmap = 0;
    return 1;
  }
  if (s.num_images == 0) return 1;
  const bool was_last = n == s.num_images - 1;
  if (slot.pixmap != 0) dev->free_pixmap(slot.pixmap);
  std::move(s.frames.begin() + n + 1, s.frames.begin() + s.num_images, s.frames.begin() + n);
  s.frames[static_cast<std::size_t>(s.num_images - 1)].pixmap = 0;
  if (was_last && s.num_images > 1) {
    s.frames[static_cast<std::size_t>(s.num_images - 2)].delay = s.loop_pause;
    s.frames[static_cast<std::size_t>(s.num_images - 1)].delay = s.loop_delay;
  }
  --s.num_images;
  if (s.num_images == 0) {
    dev->fill_pixmap(0, gget_back_color());
    dev->show_pixmap(0);
  }
  const bool deleted_current = s.cur_image == n;
  if (s.cur_image == s.num_images) --s.cur_image;
  if (s.num_images > 0 && deleted_current) gdisplay_frame(s.cur_image);
  return 1;
}

int gdelete_all_frames() {
  zor::gks::Device* dev = raster();
  for (auto& f : loop().frames) {
    if (dev != nullptr && f.pixmap != 0) dev->free_pixmap(f.pixmap);
    f.pixmap = 0;
  }
  return 1;
}

int gset_looping(int on) {
  loop().looping = on != 0;
  gset_cursor(on ? 3 : 4);
  MESS_print(M_DEBUG, on ? "Looping initiated\n" : "Looping stopped\n");
  return 1;
}

int gtoggle_loop(int val) {
  gset_looping(val == 0 || val == 1 ? val : !loop().looping);
  gsync();
  return 1;
}

int gget_looping() { return loop().looping; }

int gset_loop_delay(int ind, float delay) {
  auto& s = loop();
  if (ind == GFRAME_ALL_BUT_LAST) {
    for (int i = 0; i + 1 < s.num_images; ++i) s.frames[static_cast<std::size_t>(i)].delay = delay;
    return 1;
  }
  const int n = zor::gks::resolve(ind);
  if (n < 0 || n >= zor::gks::kMaxFrames) return 0;
  s.frames[static_cast<std::size_t>(n)].delay = delay;
  return 1;
}

int ginc_loop_delay(float inc) {
  auto& s = loop();
  s.loop_delay = std::max(0.0f, s.loop_delay + inc);
  for (int i = 0; i + 1 < s.num_images; ++i)
    s.frames[static_cast<std::size_t>(i)].delay = s.loop_delay;
  MESS_print(M_DEBUG, inc >= 0 ? "Loop delay incremented to: %2.2f\n"
                               : "Loop delay decremented to: %2.2f\n",
             static_cast<double>(s.loop_delay));
  return 1;
}

float gget_loop_delay() { return loop().loop_delay; }

float gget_frame_delay(int ind) {
  const int n = zor::gks::resolve(ind);
  if (n < 0 || n >= zor::gks::kMaxFrames) return 0.0f;
  return loop().frames[static_cast<std::size_t>(n)].delay;
}

int ginc_frame(int step) {
  auto& s = loop();
  if (s.num_images <= 0) return -1;
  int cand = 0;
  if (s.cur_image >= 0) {
    if (step == 0)
      cand = s.cur_image + ((s.loop_direct % 2) != 0 ? 1 : -1);
    else
      cand = s.cur_image + step;
  }
  MESS_print(M_DEBUG, "INC: %d-%d %d-%d\n", step, s.loop_direct, s.cur_image, cand);
  const int start = s.loop_start >= 0 ? s.loop_start : 0;
  const int end = s.loop_end >= 0 ? s.loop_end : s.num_images - 1;
  if (cand > end) {
    if (s.loop_direct >= 2) {
      cand = end - 1;
      s.loop_direct = 2;
    } else {
      cand = start;
    }
  } else if (cand < start) {
    if (s.loop_direct >= 2) {
      cand = start + 1;
      s.loop_direct = 3;
    } else {
      cand = end;
    }
  }
  return cand;
}

int gget_num_images() { return loop().num_images; }
int gget_cur_frame() { return loop().cur_image; }

int gset_loop_direct(int mode) {
  loop().loop_direct = mode;
  return 1;
}
int gget_loop_direct() { return loop().loop_direct; }

int gset_loop_range(int start, int end) {
  loop().loop_start = start;
  loop().loop_end = end;
  return 1;
}

int gset_loop_title(int val) {
  loop().loop_title = val;
  return 1;
}

namespace zor::gks {
bool frame_pixmap(int ind, unsigned long* id) { return raster() != nullptr && pixmap_of(ind, id); }
}  // namespace zor::gks

int gswitch_frame(int a, int b) {
  zor::gks::Device* dev = raster();
  unsigned long ida = 0, idb = 0;
  if (dev == nullptr || !zor::gks::pixmap_of(a, &ida) || !zor::gks::pixmap_of(b, &idb)) return 0;
  if (ida == idb) return 1;
  if (ida == 0 || idb == 0) {
    // The base window's picture changes hands on the device itself.
    return dev->swap_pixmaps(ida, idb) ? 1 : 0;
  }
  auto& s = loop();
  std::swap(s.frames[static_cast<std::size_t>(zor::gks::resolve(a))].pixmap,
            s.frames[static_cast<std::size_t>(zor::gks::resolve(b))].pixmap);
  return 1;
}

int gloop_sleep() {
  const auto& s = loop();
  if (s.cur_image < 0 || s.cur_image >= s.num_images) return -1;
  const float delay = s.frames[static_cast<std::size_t>(s.cur_image)].delay;
  for (float left = delay - ZOR_elapse_time(); left > 0.0f; left = delay - ZOR_elapse_time()) {
    gcheck_event();
    ZOR_sleep(std::min(left, zor::gks::kMaxNap));
  }
  return 0;
}

int gset_image_data(int ind, const unsigned char* data, int size) {
  const int n = zor::gks::resolve(ind);
  if (n < 0 || size < 0 || (size > 0 && data == nullptr)) return 0;
  if (size > zor::gks::kDataSize) {
    gerr_printf("gset_image_data", "%d bytes do not fit in %d\n", size, zor::gks::kDataSize);
    return 0;
  }
  auto& f = loop().frames[static_cast<std::size_t>(n)];
  if (size > 0) std::memcpy(f.data, data, static_cast<std::size_t>(size));
  f.data_size = size;
  return 1;
}

int gget_image_data(int ind, unsigned char* data) {
  const int n = zor::gks::resolve(ind);
  if (n < 0 || data == nullptr) return 0;
  const auto& f = loop().frames[static_cast<std::size_t>(n)];
  std::memcpy(data, f.data, static_cast<std::size_t>(f.data_size));
  return f.data_size;
}

unsigned long gget_frame_id(int ind) {
  zor::gks::Device* dev = raster();
  unsigned long id = 0;
  if (dev == nullptr || !zor::gks::pixmap_of(ind, &id)) return 0;
  return dev->native_pixmap(id);
}

int gset_frame_id(int ind, unsigned long pixmap) {
  zor::gks::Device* dev = raster();
  const int n = zor::gks::resolve(ind);
  if (dev == nullptr || n < 0) return 0;
  auto& f = loop().frames[static_cast<std::size_t>(n)];
  const unsigned long id = dev->adopt_pixmap(f.pixmap, pixmap);
  if (id == 0) return 0;
  f.pixmap = id;
  return 1;
}

int gprint_frame_ids() {
  zor::gks::Device* dev = raster();
  if (dev == nullptr) return 0;
  MESS_print(M_PRINT, "ROOT: %d\n", static_cast<int>(gget_root_window()));
  MESS_print(M_PRINT, " WIN: %d\n", static_cast<int>(dev->native_pixmap(0)));
  const auto& s = loop();
  for (int i = 0; i < s.num_images; ++i)
    MESS_print(M_PRINT, "%4d: %d\n", i,
               static_cast<int>(dev->native_pixmap(s.frames[static_cast<std::size_t>(i)].pixmap)));
  return 1;
}

int gforget_frames() {
  for (auto& f : loop().frames) f.pixmap = 0;
  loop().num_images = 0;
  loop().cur_image = -1;
  return 1;
}
