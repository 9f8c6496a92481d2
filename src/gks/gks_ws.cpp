// Kernel state, error reporting, opening and closing the kernel and the one
// workstation, device selection strings and workstation predicates.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "gks_kernel.h"
#include "zor/reset.h"
#include "zor/flag.h"
#include "zor/gks_dev.h"
#include "zor/mess.h"

namespace zor::gks {

void Kernel::reset() {
  if (device) device->close();
  ObjectRecorder keep = recorder;
  *this = Kernel{};
  recorder = keep;
  font.clear_glyphs();
}

void reset_kernel() { kernel().reset(); }

Kernel& kernel() {
  static Kernel k = [] {
    Kernel init;
    init.font.clear_glyphs();
    return init;
  }();
  return k;
}

Device* current_device() { return kernel().ws_open ? kernel().device.get() : nullptr; }

void set_object_recorder(ObjectRecorder recorder) { kernel().recorder = recorder; }

bool is_meta() { return kernel().ws_open && kernel().ws_type == GWS_META; }
bool is_x11() {
  return kernel().ws_open && (kernel().ws_type == GWS_WINDOW || kernel().ws_type == GWS_PIXMAP);
}
bool is_ps() { return kernel().ws_open && kernel().ws_type == GWS_PS; }

void meta_printf(const char* format, ...) {
  Kernel& k = kernel();
  if (!k.ws_open || k.ws_type != GWS_META || !k.device) return;
  va_list ap;
  va_start(ap, format);
  va_list ap2;
  va_copy(ap2, ap);
  int n = std::vsnprintf(nullptr, 0, format, ap);
  va_end(ap);
  if (n > 0) {
    std::string line(static_cast<std::size_t>(n) + 1, '\0');
    std::vsnprintf(line.data(), line.size(), format, ap2);
    line.resize(static_cast<std::size_t>(n));
    k.device->record(line);
  }
  va_end(ap2);
}

void record_object(int kind, int value, const void* data, std::size_t size) {
  Kernel& k = kernel();
  if (!k.recorder || is_meta()) return;
  k.recorder(kind, value, std::span<const std::byte>(static_cast<const std::byte*>(data), size));
}

namespace {

// First letter of a device name → workstation type; anything else is a window.
struct DeviceLetter {
  char letter;
  Gws_type type;
};
constexpr DeviceLetter kDeviceLetters[] = {
    {'m', GWS_META}, {'p', GWS_PS}, {'h', GWS_HPGL}, {'q', GWS_HPGL}, {'w', GWS_PIXMAP},
};

Gws_type type_from_name(const std::string& name) {
  if (name.empty()) return GWS_WINDOW;
  char c = static_cast<char>(std::tolower(static_cast<unsigned char>(name[0])));
  for (const auto& d : kDeviceLetters)
    if (d.letter == c) return d.type;
  return GWS_WINDOW;
}

std::vector<std::string> split_commas(const std::string& s) {
  std::vector<std::string> items;
  std::size_t start = 0;
  while (true) {
    std::size_t comma = s.find(',', start);
    items.push_back(s.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return items;
}

// Batch runs: opens the window device with its complaints held back; when it
// cannot connect, the in-memory raster device takes its place.
std::unique_ptr<Device> open_or_memory(std::unique_ptr<Device> dev, const OpenRequest& req) {
  if (dev) {
    const M_type loud = MESS_get() & (M_WARN | M_ERROR);
    MESS_set(9, M_WARN | M_ERROR);
    const int rc = dev->open(req);
    MESS_set(11, loud);
    if (rc == 0) return dev;
  }
  dev = make_memory_device();
  if (dev->open(req) != 0) return nullptr;
  MESS_print(M_MESS, "Drawing without a display\n");
  return dev;
}

}  // namespace
}  // namespace zor::gks

using zor::gks::kernel;

int gget_headless() {
  const auto& k = kernel();
  return k.ws_open && k.device && k.device->headless() ? 1 : 0;
}

int gset_no_plot(int val) {
  kernel().no_plot = val != 0;
  return 0;
}

int gerr_printf(const char* func, const char* format, ...) {
  if (kernel().no_plot && format != nullptr && std::strcmp(format, "GKS not opened\n") == 0) return -1;
  va_list ap;
  va_start(ap, format);
  char stack[512];
  va_list ap2;
  va_copy(ap2, ap);
  int n = std::vsnprintf(stack, sizeof stack, format, ap);
  va_end(ap);
  std::string text;
  if (n >= static_cast<int>(sizeof stack)) {
    text.resize(static_cast<std::size_t>(n) + 1);
    std::vsnprintf(text.data(), text.size(), format, ap2);
    text.resize(static_cast<std::size_t>(n));
  } else if (n > 0) {
    text = stack;
  }
  va_end(ap2);
  if (text.empty() || text.back() != '\n') text += '\n';
  MESS_print(M_WARN, "%s: %s", func ? func : "gks", text.c_str());
  return -1;
}

int gopen_gks(const char* err_f, long /*mem*/) {
  auto& k = kernel();
  if (err_f && *err_f) {
    // The error file only has to be creatable; messages go through the
    // message layer, which may also log them.
    std::FILE* f = std::fopen(err_f, "w");
    if (!f) return 1;
    std::fclose(f);
    k.err_file = err_f;
  } else {
    k.err_file.clear();
  }
  k.gks_open = true;
  return 0;
}

int gclose_gks() {
  auto& k = kernel();
  k.gks_open = false;
  k.err_file.clear();
  return 0;
}

int gemergency_close_gks() { return 0; }
int gactivate_ws(Gint) { return 0; }
int gdeactivate_ws(Gint) { return 0; }

int gdevice_setup(const char* str, Gconn_id* conn_id) {
  std::string s = str ? str : "";
  std::size_t comma = s.find(',');
  std::string name = s.substr(0, comma);
  std::string& conn = zor::gks::kernel().setup_conn;
  conn = comma == std::string::npos ? std::string() : s.substr(comma + 1);
  if (conn_id) *conn_id = conn.c_str();
  return zor::gks::type_from_name(name);
}

int gopen_ws(Gint /*ws_id*/, Gconn_id conn_id, Gws_type ws_type) {
  using namespace zor::gks;
  Kernel& k = kernel();
  if (k.ws_open) {
    gerr_printf("gopen_ws", "workstation already open\n");
    return -1;
  }
  if (ws_type == GWS_PS) {
    const char* print = std::getenv("zorprint");
    if (print && std::strcmp(print, "hpgl") == 0) ws_type = GWS_HPGL;
  }
  const DeviceEntry* entry = find_device(ws_type);
  // A batch run that cannot reach a display draws into memory instead.
  const bool headless_ok = ws_type == GWS_WINDOW && FLAG_batch() > 0;
  if (!entry && !headless_ok) {
    gerr_printf("gopen_ws", "no device available for workstation type %d\n", ws_type);
    return -1;
  }
  OpenRequest req;
  req.ws_type = ws_type;
  req.conn_id = conn_id ? conn_id : "";
  req.items = split_commas(req.conn_id);
  std::unique_ptr<Device> dev = entry ? entry->make() : nullptr;
  if (!dev && !headless_ok) {
    gerr_printf("gopen_ws", "unable to create the device of workstation type %d\n", ws_type);
    return -1;
  }
  if (headless_ok) {
    dev = open_or_memory(std::move(dev), req);
    if (!dev) return -1;
  } else if (dev->open(req) != 0) {
    return -1;
  }
  k.device = std::move(dev);
  k.ws_open = true;
  k.ws_type = ws_type;
  DeviceSize sz = k.device->size();
  k.win_width = sz.width;
  k.win_height = sz.height;
  k.win_x = sz.x_offset;
  k.win_y = sz.y_offset;
  if (!k.win_title.empty()) k.device->set_title(k.win_title);
  if (ginit_plot(k.device->init_class()) < 0) {
    gclose_ws(1);
    return -1;
  }
  gsetup_fonts();
  ginit_background();
  return 0;
}

int gclose_ws(Gint /*ws_id*/) {
  using namespace zor::gks;
  Kernel& k = kernel();
  if (!k.ws_open) return -1;
  int rc = k.device ? k.device->close() : 0;
  k.device.reset();
  k.ws_open = false;
  k.win_width = 0;
  k.win_height = 0;
  return rc < 0 ? -1 : 0;
}

int gclear_ws(Gint /*ws_id*/, Gclear_flag /*clear_flag*/) {
  using namespace zor::gks;
  Kernel& k = kernel();
  if (!k.ws_open) return gerr_printf("gclear_ws", "GKS not opened\n");
  if (k.ws_type != GWS_WINDOW) return 0;
  k.device->clear(gget_color_ind(-1));
  return 0;
}

int gchk_graphics() { return kernel().ws_open ? 1 : 0; }
int gget_ws_id() { return 1; }
int gget_ws_type() { return kernel().ws_open ? kernel().ws_type : 0; }

int gtype_is_WIN() { return gget_ws_type() == GWS_WINDOW; }
int gtype_is_PIX() { return gget_ws_type() == GWS_PIXMAP; }
int gtype_is_WIN_PIX() { return gtype_is_WIN() || gtype_is_PIX(); }
int gtype_is_META() { return gget_ws_type() == GWS_META; }
int gtype_is_PS() { return gget_ws_type() == GWS_PS; }
int gtype_is_HPGL() { return gget_ws_type() == GWS_HPGL; }

int ginit_plot(int dev_class) {
  using namespace zor::gks;
  if (dev_class == kClassNone) return -1;
  greset_text();
  greset_line();
  greset_marker();
  greset_fill();
  ginit_tran(dev_class);
  ginit_text(dev_class);
  ginit_line(dev_class);
  ginit_marker(dev_class);
  ginit_fill(dev_class);
  if (dev_class == kClassX11 && gtype_is_PIX()) gset_rw_colors(0);
  if ((dev_class == kClassX11 || dev_class == kClassX11Again) && current_device())
    return current_device()->reinit(dev_class) < 0 ? -1 : 0;
  return 0;
}

int gget_win_size(int* width, int* height) {
  if (width) *width = kernel().win_width;
  if (height) *height = kernel().win_height;
  return 0;
}

int gget_win_offset(int* x, int* y) {
  if (x) *x = kernel().win_x;
  if (y) *y = kernel().win_y;
  return 0;
}

int gset_win_size(int width, int height) {
  auto& k = kernel();
  if (width <= 0 || height <= 0) return gerr_printf("gset_win_size", "invalid size: %d x %d\n", width, height);
  k.win_width = width;
  k.win_height = height;
  if (k.ws_open) ginit_tran(zor::gks::kClassResized);
  return 0;
}

int gset_win_offset(int x, int y) {
  kernel().win_x = x;
  kernel().win_y = y;
  return 0;
}

int gset_prog_name(const char* name) {
  kernel().prog_name = name ? name : "";
  return 0;
}
const char* gget_prog_name() { return kernel().prog_name.c_str(); }

int gset_win_title(const char* title) {
  auto& k = kernel();
  k.win_title = title ? title : "";
  if (k.ws_open && k.device) k.device->set_title(k.win_title);
  return 0;
}
const char* gget_win_title() { return kernel().win_title.c_str(); }

int gupdate_window() {
  if (auto* dev = zor::gks::current_device()) dev->flush();
  return 0;
}

int ghold() {
  if (auto* dev = zor::gks::current_device()) return dev->hold();
  return 0;
}
