// The reader entries behind the fuzz targets and the robustness tests. Readers
// that take a stream get the bytes through fmemopen; readers that take a file
// name get them through a scratch file of this process.
#include "entries.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "gks_kernel.h"
#include "zor/date.h"
#include "zor/dom.h"
#include "zor/gks.h"
#include "zor/gks_dev.h"
#include "zor/img.h"
#include "zor/lev2.h"
#include "zor/mess.h"
#include "zor/mosaic.h"
#include "zor/ncf.h"
#include "zor/nids.h"
#include "zor/rad.h"
#include "zor/rcm.h"
#include "zor/rrwds.h"
#include "zor/res.h"
#include "zor/clr.h"
#include "zor/cont.h"
#include "zor/cty.h"
#include "zor/file.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/reset.h"
#include "zor/watch.h"

namespace zor::fuzz {
namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using Stream = std::unique_ptr<std::FILE, FileCloser>;

// The bytes as a read-only stream; fmemopen refuses an empty buffer, so an
// empty input reads from /dev/null.
Stream over(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return Stream(std::fopen("/dev/null", "rb"));
  return Stream(fmemopen(const_cast<std::uint8_t*>(data), size, "rb"));
}

// The bytes written to a scratch file of this process, removed at exit.
class Scratch {
 public:
  explicit Scratch(const char* tag = "") {
    const char* dir = std::getenv("TMPDIR");
    path_ = std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/zor_fuzz_" + std::to_string(getpid()) + tag;
  }
  ~Scratch() { std::remove(path_.c_str()); }
  const char* write(const std::uint8_t* data, std::size_t size) {
    std::FILE* f = std::fopen(path_.c_str(), "wb");
    if (f == nullptr) std::abort();
    if (size > 0 && std::fwrite(data, 1, size, f) != size) std::abort();
    std::fclose(f);
    return path_.c_str();
  }

 private:
  std::string path_;
};

const char* scratch(const std::uint8_t* data, std::size_t size) {
  static Scratch s;
  return s.write(data, size);
}

// A stream that swallows what the dump readers print.
std::FILE* sink() {
  static std::FILE* f = std::fopen("/dev/null", "w");
  return f;
}

void nids(const std::uint8_t* data, std::size_t size) {
  NIDS_reset();
  Stream f = over(data, size);
  zor::nids::dump_product(f.get(), nullptr);  // decoded, not listed
}

void lev2(const std::uint8_t* data, std::size_t size) {
  zor::lev2::reset();
  zor::lev2::dump_volume(scratch(data, size), sink());
  LEV2_close_file();
}

void nowrad(const std::uint8_t* data, std::size_t size) {
  zor::mosaic::reset();
  Stream f = over(data, size);
  NOWRad_info info;
  if (NOWRad_header(f.get(), &info) != 1) return;
  int line = 0;
  NOWRad_packet p;
  while (NOWRad_line(f.get(), &line) == 1)
    while (NOWRad_get_packet(f.get(), &p) == 1) {
    }
}

void rrwds(const std::uint8_t* data, std::size_t size) {
  zor::rrwds::Image image;
  std::string error;
  zor::rrwds::decode(std::span<const std::uint8_t>(data, size), &image, &error);
}

void kavrad(const std::uint8_t* data, std::size_t size) {
  zor::mosaic::reset();
  Stream f = over(data, size);
  KAVRAD_info info;
  if (KAVRAD_header(f.get(), &info) != 1) return;
  KAVRAD_packet p;
  while (KAVRAD_get_packet(f.get(), &p) == 1) {
  }
}

void rcm(const std::uint8_t* data, std::size_t size) {
  zor::rcm::reset();
  Stream f = over(data, size);
  auto r = std::make_unique<RCM_report>();
  // A report per call; a reader that stops advancing must still end.
  for (int n = 0; n < 1000 && RCM_read_site(f.get(), r.get()) >= 0; ++n) {
  }
}

void cvt(const std::uint8_t* data, std::size_t size) {
  // The netCDF library allocates its table of open files (half a megabyte)
  // at the first open and frees it at the last close: an empty file kept open
  // spares every input that.
  static constexpr std::uint8_t kEmptyCdf[32] = {'C', 'D', 'F', 1};
  static Scratch empty("_empty.nc");
  static const zor::ncf::File keep(empty.write(kEmptyCdf, sizeof kEmptyCdf));
  if (!keep.is_open()) std::abort();
  zor::rad::reset();
  int type = 0;
  const int fd = RAD_open(scratch(data, size), 0, &type);
  if (fd < 0) return;
  // The records are large: allocated once, as the program does, since the
  // sanitizer maps and unmaps each large allocation afresh.
  static const auto info = std::make_unique<RAD_info>();
  RAD_getinfo(fd, info.get());
  MDR_report mdr;
  for (int n = 0; n < 200 && MDR_read(fd, &mdr, 0, n) == 0; ++n) {
  }
  static const auto r = std::make_unique<RCM_report>();
  for (int n = 0; n < 1000 && RCM_read(fd, r.get()) == 1; ++n) {
  }
  RAD_close(fd);
}

template <int (*Read)(const char*, IMG_report*, int)>
void image(const std::uint8_t* data, std::size_t size) {
  // A domain's "id:" station is looked up by reading the whole city file;
  // the city target fuzzes that file, so images skip the look-up (it made
  // every such input 7 ms).
  [[maybe_unused]] static const int no_city = RES_put("city_file", "none");
  IMG_report img;
  IMG_init(&img);
  Read(scratch(data, size), &img, 0);
  IMG_free(&img);
}

// A fresh graphics kernel (attributes, colours, fonts, metafile state) with a
// metafile workstation that goes nowhere, so that no input sees what an
// earlier one left behind. Only the bundled font files stay read, as they do
// for a whole run of the program.
void fresh_graphics() {
  auto fonts = std::move(zor::gks::kernel().font.files);
  zor::gks::reset_kernel();
  zor::gks::kernel().font.files = std::move(fonts);
  zor::gks::reset_color_model();
  zor::gks::reset_meta();
  if (gopen_gks(nullptr, 0) != 0 || gopen_ws(1, "/dev/null", GWS_META) != 0) std::abort();
}

void close_graphics() {
  gclose_ws(1);
  gclose_gks();
}

void meta(const std::uint8_t* data, std::size_t size) {
  fresh_graphics();
  gread_metafile(scratch(data, size));
  close_graphics();
}

// The whole earth on latitude/longitude, so every point of a map is drawn.
Domain globe() {
  Domain d;
  DOM_init(&d);
  d.proj = DOM_LATLON;
  d.plon = d.clat = d.clon = 0.0f;
  d.nx = 73;
  d.ny = 37;
  d.dx = d.dy = 5.0f;
  return d;
}

// Map files, text or binary (told apart by the reader), drawn on the globe.
void map(const std::uint8_t* data, std::size_t size) {
  zor::map_draw::reset();
  zor::map::reset();
  fresh_graphics();
  Domain d = globe();
  MAP_setup(&d);
  Stream f = over(data, size);
  MAP_map(f.get());
  close_graphics();
}

// A stroke font file loaded and every character drawn with it.
void font(const std::uint8_t* data, std::size_t size) {
  fresh_graphics();
  zor::gks::kernel().font.files.clear();  // this input, not the one before
  if (read_font(scratch(data, size)) == 0) {
    std::array<char, 256> all{};
    for (std::size_t c = 1; c < all.size(); ++c) all[c - 1] = static_cast<char>(c);
    const Gpt at{0.5f, 0.5f};
    gtext(&at, all.data());
  }
  close_graphics();
}

// A fill-level file read as the colour fill and looked up over its range.
void levels(const std::uint8_t* data, std::size_t size) {
  zor::cont::reset();
  CONT_set_fill_colors(scratch(data, size), 0);
  Gattribs a;
  for (float v = -100.0f; v <= 100.0f; v += 12.5f) CONT_get_fill_attrib(v, &a);
  for (int i = 0; i < CONT_get_num_cont(); ++i) CONT_get_label(i);
}

// The name-convention file, matched for a whole and a partial type, and a
// file name made from a date by the convention found.
void name_conv(const std::uint8_t* data, std::size_t size) {
  zor::file::reset();
  RES_put("name_conv", scratch(data, size));
  Date d = *DATE_to_struct(2015, 1, 2, 2, 5);
  for (const char* type : {"nids", "nids_n0r", "lev2:c=x", "wat_dat"}) {
    FILE_set_name(type);
    std::array<char, FILE_NAME_MAX> name{};
    FILE_set_date(&d, name.data(), name.size());
  }
  RES_put("name_conv", "");
  zor::file::reset();
}

// The city database stored for plotting on the globe and searched.
void city(const std::uint8_t* data, std::size_t size) {
  zor::cty::reset();
  zor::map::reset();
  const Domain d = globe();
  const char* path = scratch(data, size);
  for (int type = 1; type <= 3; ++type) CTY_store(path, type, &d, 9);
  // Where the seeds have a station: a search that finds nothing walks 10,000
  // cells, slow and the same for every input.
  CTY_locate loc;
  CTY_search_loc(40.0f, -100.0f, &loc);
  CTY_data c;
  CTY_get(path, "KBMX", &c);
  zor::cty::reset();
}

void watch(const std::uint8_t* data, std::size_t size) {
  zor::watch::reset();
  Date d = *DATE_to_struct(2024, 5, 5, 9, 0);
  WATCH_decode_file(scratch(data, size), &d, DATE_num_sec(&d));
}

void defaults(const std::uint8_t* data, std::size_t size) {
  if (DEF_open(scratch(data, size)) < 0) return;
  std::array<char, DEF_LINE_MAX + 1> name{}, value{};
  for (int n = 0; n < 100000 && DEF_get(name.data(), value.data()) > 0; ++n) {
  }
  DEF_close();
}

void colours(const std::uint8_t* data, std::size_t size) {
  zor::clr::reset();
  CLR_read_table(scratch(data, size));
}

void region(const std::uint8_t* data, std::size_t size) {
  zor::dom::reset();
  DOM_read_menu(scratch(data, size));
}

constexpr Reader kReaders[] = {
    {"nids", nids},
    {"lev2", lev2},
    {"nowrad", nowrad},
    {"kavrad", kavrad},
    {"rcm", rcm},
    {"rrwds", rrwds},
    {"cvt", cvt},
    {"gif", image<GIF_read>},
    {"png", image<PNG_read>},
    {"xwd", image<XWD_read>},
    {"zorimg", image<IMG_read_zor>},
    {"meta", meta},
    {"watch", watch},
    {"defaults", defaults},
    {"colours", colours},
    {"region", region},
    {"map", map},
    {"font", font},
    {"levels", levels},
    {"name_conv", name_conv},
    {"city", city},
};

}  // namespace

std::span<const Reader> readers() { return kReaders; }

Entry find(std::string_view name) {
  for (const Reader& r : kReaders)
    if (name == r.name) return r.run;
  return nullptr;
}

void quiet() {
  MESS_set(0, 0);
  IMG_set_read_retry(0, 0);  // no waiting for an image file still being written
  // Larger sides take the same paths; clearing their pixels only slows the
  // run (a declared 16384 x 16384 screen is 256 MB to zero).
  zor::img::set_max_side(256);
}

}  // namespace zor::fuzz
