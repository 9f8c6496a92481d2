// The device table (workstation type → factory) and the recording device
// that tests open in place of a real one.
#include <algorithm>
#include <vector>

#include "gks_kernel.h"

namespace zor::gks {
namespace {

struct Registry {
  std::vector<DeviceEntry> entries;
  RecordingDevice::Options recording_options;
  RecordingDevice* last_recording = nullptr;
};

Registry& registry() {
  static Registry r;
  return r;
}

std::vector<DeviceEntry> builtin_devices() {
  std::vector<DeviceEntry> table;
  const DeviceEntry candidates[] = {
      {GWS_WINDOW, "X11 window", make_window_device},
      {GWS_PIXMAP, "X11 drawable", make_pixmap_device},
      {GWS_PS, "PostScript", make_postscript_device},
      {GWS_HPGL, "HPGL", make_hpgl_device},
      {GWS_META, "metafile", make_metafile_device},
  };
  for (const auto& c : candidates)
    if (c.make) table.push_back(c);
  return table;
}

std::unique_ptr<Device> make_recording() {
  auto dev = std::make_unique<RecordingDevice>(registry().recording_options);
  registry().last_recording = dev.get();
  return dev;
}

}  // namespace

void register_device(Gws_type ws_type, const char* name, DeviceFactory make) {
  auto& e = registry().entries;
  std::erase_if(e, [&](const DeviceEntry& d) { return d.ws_type == ws_type; });
  e.push_back({ws_type, name, make});
}

void unregister_device(Gws_type ws_type) {
  std::erase_if(registry().entries, [&](const DeviceEntry& d) { return d.ws_type == ws_type; });
}

const DeviceEntry* find_device(Gws_type ws_type) {
  for (const auto& d : registry().entries)
    if (d.ws_type == ws_type) return &d;
  static const std::vector<DeviceEntry> builtin = builtin_devices();
  for (const auto& d : builtin)
    if (d.ws_type == ws_type) return &d;
  return nullptr;
}

void use_recording_device(Gws_type ws_type, const RecordingDevice::Options& options) {
  registry().recording_options = options;
  register_device(ws_type, "recording", make_recording);
}

RecordingDevice* last_recording_device() { return registry().last_recording; }

// ---- RecordingDevice -----------------------------------------------------

int RecordingDevice::open(const OpenRequest& request) {
  request_ = request;
  open_ = true;
  return 0;
}

int RecordingDevice::close() {
  if (!open_) return -1;
  open_ = false;
  return 0;
}

void RecordingDevice::clear(int background_pixel) {
  RecordedCall c{RecordedCall::Op::clear, {}, {}, {}, {}, {}};
  c.pen.pixel = background_pixel;
  calls_.push_back(std::move(c));
}

void RecordingDevice::set_clip(const DevRect& clip) {
  RecordedCall c{RecordedCall::Op::clip, {}, {}, {}, clip, {}};
  calls_.push_back(std::move(c));
}

void RecordingDevice::polyline(std::span<const DevPoint> pts, const Pen& pen) {
  calls_.push_back({RecordedCall::Op::polyline, {pts.begin(), pts.end()}, pen, {}, {}, {}});
}

void RecordingDevice::fill_area(std::span<const DevPoint> pts, const FillStyle& fill) {
  calls_.push_back({RecordedCall::Op::fill, {pts.begin(), pts.end()}, {}, fill, {}, {}});
}

void RecordingDevice::begin_group(const GroupInfo& info, const Pen& pen) {
  RecordedCall c{RecordedCall::Op::begin_group, {}, pen, {}, {}, std::string(info.text)};
  c.pts.push_back({info.world_pos.x, info.world_pos.y});
  c.fill.pattern = info.count;
  calls_.push_back(std::move(c));
}

void RecordingDevice::stroke(std::span<const DevPoint> pts, const Pen& pen) {
  calls_.push_back({RecordedCall::Op::stroke, {pts.begin(), pts.end()}, pen, {}, {}, {}});
}

void RecordingDevice::end_group() {
  calls_.push_back({RecordedCall::Op::end_group, {}, {}, {}, {}, {}});
}

int RecordingDevice::set_color_rep(int ind, float, float, float) {
  // Pixel devices realise a colour as a pixel value; the index serves.
  return options_.units == DeviceUnits::pixels ? ind : -2;
}

void RecordingDevice::record(std::string_view line) {
  calls_.push_back({RecordedCall::Op::record, {}, {}, {}, {}, std::string(line)});
}

}  // namespace zor::gks
