// Level II volume reading. The messages are parsed in place in one bounded
// output buffer: whenever the current message is not wholly buffered, the
// buffer is compacted so that the message starts at its front and refilled,
// from the file for plain volumes or through the bzip2 decompressor for
// volumes of compressed records. Compressed records are themselves read in
// slices of a bounded input buffer, so neither the volume nor a record is
// ever held whole. Every field is read through a ByteReader limited to its
// message, and block pointers and gate counts are checked against it.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "zor/byte_reader.h"
#include "zor/cty.h"
#include "zor/date.h"
#include "zor/decompress.h"
#include "zor/file.h"
#include "zor/file_io.h"
#include "zor/lev2.h"
#include "zor/mess.h"

namespace zor::lev2 {

namespace {

constexpr std::size_t kBufSize = 300000;  // output and input buffers
constexpr std::size_t kRefill = 200000;   // plain reads fill to this much past the message start
constexpr std::size_t kChannel = 12;      // channel header before every message
constexpr std::size_t kMsgHeader = 16;
constexpr std::size_t kFixedBody = 2420;  // every message type but 31
constexpr std::size_t kVolHeader = 24;
constexpr M_type kTrace = 0x40000000;

struct MomentRow {
  const char* name;
};
constexpr std::array<MomentRow, kNumMoments> kMoments = {{{"REF"}, {"VEL"}, {"SW "}, {"ZDR"}, {"PHI"}, {"RHO"}, {"CFP"}}};

enum class Source { plain, records };

struct Reader {
  File file;
  std::string name;
  int compress = 0;  // asked for by the input type
  Source source = Source::plain;
  bool headerless = false;  // a record stream without the volume header
  unsigned char header[kVolHeader] = {};
  std::vector<unsigned char> out;
  std::vector<unsigned char> in;
  std::size_t osize = 0;  // bytes held in out
  std::size_t optr = 0;   // read position
  std::size_t blk_off = 0;  // start of the current message (its channel header)
  std::size_t blk_size = 0;  // its length after the channel header
  int msg_type = 0;
  bool have_msg = false;
  // Compressed records.
  std::unique_ptr<Decompressor> bz;  // records only
  bool stream_open = false;
  long rec_left = 0;  // bytes of the current record still in the file
  bool last_record = false;
  long records = 0;
  // State of the volume.
  bool err = false;    // decoding stopped on an error
  bool ended = false;  // no more data
  std::string problem;
  // Current radial.
  std::array<MomentInfo, kNumMoments> mom{};
  std::array<std::size_t, kNumMoments> mom_off{};  // gate data in out
  int sel = -1;
  std::size_t gpos = 0;
  int gleft = 0;
  bool warned_gates = false;
  bool site_found = false;  // the header's site is in rad.cty
};

Reader& rd() {
  static Reader r;
  return r;
}

void fail(Reader& r, const std::string& why) {
  if (!r.err) MESS_print(M_WARN, "LEV2: %s: %s\n", r.name.c_str(), why.c_str());
  r.err = true;
  if (r.problem.empty()) r.problem = why;
}

void damage(Reader& r, const std::string& why) {
  MESS_print(M_WARN, "LEV2: %s: %s\n", r.name.c_str(), why.c_str());
  if (r.problem.empty()) r.problem = why;
}

bool is_bzip2(const unsigned char* p) { return p[0] == 'B' && p[1] == 'Z' && p[2] == 'h'; }

// Starts the next compressed record; false at the end of the file.
bool next_record(Reader& r) {
  if (r.last_record) return false;
  unsigned char w[4];
  const std::size_t got = std::fread(w, 1, 4, r.file.get());
  if (got == 0) {
    damage(r, "the volume ends without its last record (truncated)");
    return false;
  }
  if (got < 4) {
    fail(r, "the volume ends inside a record's control word");
    return false;
  }
  const std::int32_t n = static_cast<std::int32_t>(std::uint32_t{w[0]} << 24 | std::uint32_t{w[1]} << 16 |
                                                   std::uint32_t{w[2]} << 8 | std::uint32_t{w[3]});
  if (n < 0) r.last_record = true;
  r.rec_left = n < 0 ? -static_cast<long>(n) : n;
  r.bz->restart();
  r.stream_open = true;
  ++r.records;
  MESS_print(kTrace, "Record: %ld %ld\n", r.records, r.rec_left);
  return true;
}

// Decompresses into out[osize, limit); the produced count, 0 at the end of
// data or after an error.
std::size_t produce_records(Reader& r, std::size_t limit) {
  for (;;) {
    if (!r.stream_open && !next_record(r)) return 0;
    if (r.bz->pending() == 0 && !r.bz->ended()) {
      if (r.rec_left <= 0) {
        fail(r, "a compressed record ends inside its bzip2 stream (record " + std::to_string(r.records) + ")");
        return 0;
      }
      const std::size_t want = std::min<std::size_t>(r.in.size(), static_cast<std::size_t>(r.rec_left));
      const std::size_t got = std::fread(r.in.data(), 1, want, r.file.get());
      if (got == 0) {
        fail(r, "the volume ends inside a compressed record (truncated)");
        return 0;
      }
      r.rec_left -= static_cast<long>(got);
      r.bz->feed({r.in.data(), got});
    }
    std::size_t produced = 0;
    const auto st = r.bz->read({r.out.data() + r.osize, limit - r.osize}, &produced);
    if (st == Decompressor::Status::error) {
      fail(r, r.bz->error() + " in record " + std::to_string(r.records));
      return 0;
    }
    if (st == Decompressor::Status::stream_end) {
      // Whatever follows the stream inside its record is not data.
      if (r.rec_left > 0 && std::fseek(r.file.get(), r.rec_left, SEEK_CUR) != 0) r.last_record = true;
      r.rec_left = 0;
      r.stream_open = false;
    }
    if (produced > 0) return produced;
  }
}

// Makes `need` bytes from the current message start available; false when
// the data end first.
bool fill(Reader& r, std::size_t need) {
  if (r.osize - r.blk_off >= need) return true;
  if (r.err || r.ended) return false;
  if (need > r.out.size()) {
    fail(r, "a message of " + std::to_string(need) + " bytes exceeds the buffer");
    return false;
  }
  if (r.blk_off > 0) {
    std::memmove(r.out.data(), r.out.data() + r.blk_off, r.osize - r.blk_off);
    r.osize -= r.blk_off;
    r.optr -= r.blk_off;
    r.blk_off = 0;
  }
  while (r.osize < need) {
    std::size_t got = 0;
    if (r.source == Source::plain) {
      const std::size_t limit = std::max(need, kRefill);
      got = std::fread(r.out.data() + r.osize, 1, limit - r.osize, r.file.get());
    } else {
      got = produce_records(r, r.out.size());
    }
    MESS_print(kTrace, "Read: %zu %zu - %zu\n", got, r.osize, need);
    if (got == 0) {
      r.ended = true;
      return false;
    }
    r.osize += got;
  }
  return true;
}

std::size_t buffered(const Reader& r) { return r.osize - r.blk_off; }

// The current message after its channel header.
ByteReader message(const Reader& r) { return ByteReader(r.out.data() + r.blk_off + kChannel, r.blk_size); }

void set_moment(Reader& r, int m, std::size_t data_at, int gates, float first_km, float gate_km, int bits,
                float scale, float offset) {
  if (!(scale != 0.0f) || !std::isfinite(scale) || !std::isfinite(offset) || (bits != 8 && bits != 16)) {
    damage(r, std::string("moment ") + kMoments[m].name + " has an unusable scale or word size; skipped");
    return;
  }
  const std::size_t bytes_per = static_cast<std::size_t>(bits / 8);
  const std::size_t room = data_at < r.blk_size ? (r.blk_size - data_at) / bytes_per : 0;
  if (gates < 0) gates = 0;
  if (static_cast<std::size_t>(gates) > room) {
    if (!r.warned_gates)
      damage(r, std::string("moment ") + kMoments[m].name + " claims " + std::to_string(gates) +
                    " gates, its message holds " + std::to_string(room));
    r.warned_gates = true;
    gates = static_cast<int>(room);
  }
  MomentInfo& mi = r.mom[m];
  mi = MomentInfo{true, gates, first_km, gate_km, bits, scale, offset};
  r.mom_off[m] = r.blk_off + kChannel + data_at;
}

void parse_type1(Reader& r, ByteReader& b, LEV2_data* d) {
  d->coll_time = b.i32();
  d->mod_date = b.i16();
  d->range = static_cast<float>(b.i16()) / 10.0f;
  constexpr float kAngle = 0.0439453125f / 8.0f;
  d->rad_az = static_cast<float>(b.u16()) * kAngle;  // coded angles are unsigned
  d->rad_num = b.i16();
  d->rad_status = b.i16();
  d->elev_ang = static_cast<float>(b.u16()) * kAngle;
  d->elev_num = b.i16();
  const int first_refl = b.i16(), first_vel = b.i16(), refl_size = b.i16(), vel_size = b.i16();
  d->first_refl = static_cast<float>(first_refl) / 1000.0f;
  d->first_vel = static_cast<float>(first_vel) / 1000.0f;
  d->refl_size = static_cast<float>(refl_size) / 1000.0f;
  d->vel_size = static_cast<float>(vel_size) / 1000.0f;
  d->num_refl = b.i16();
  d->num_vel = b.i16();
  d->sector_num = b.i16();
  b.skip(4);
  d->refl_ptr = b.i16();
  d->vel_ptr = b.i16();
  d->spect_ptr = b.i16();
  const int res = b.i16();
  d->vel_res = res == 2 ? 0.5f : 1.0f;
  d->cov_patt = b.i16();
  b.skip(16);
  d->nyquist_vel = static_cast<float>(b.i16()) / 100.0f;
  d->atmos_atten = static_cast<float>(b.i16()) / 1000.0f;
  d->threshold_param = static_cast<float>(b.i16()) / 10.0f;
  d->az_space = 1.0f;
  // Pointers count from the end of the message header; the data of the three
  // moments fill the 2300 bytes after the 100-byte radial header.
  const float vel_scale = res == 2 ? 2.0f : 1.0f;
  struct Row {
    int m, ptr, gates;
    float first, size, scale, offset;
  };
  const Row rows[] = {
      {kRef, d->refl_ptr, d->num_refl, d->first_refl, d->refl_size, 2.0f, 66.0f},
      {kVel, d->vel_ptr, d->num_vel, d->first_vel, d->vel_size, vel_scale, 129.0f},
      {kSw, d->spect_ptr, d->num_vel, d->first_vel, d->vel_size, 2.0f, 129.0f},
  };
  for (const Row& row : rows) {
    if (row.ptr <= 0) continue;
    set_moment(r, row.m, kMsgHeader + static_cast<std::size_t>(row.ptr), row.gates, row.first, row.size, 8,
               row.scale, row.offset);
  }
}

void parse_type31(Reader& r, ByteReader& b, LEV2_data* d) {
  const std::string id = b.text(4);
  std::snprintf(d->id, sizeof d->id, "%s", id.c_str());
  d->coll_time = b.i32();
  d->mod_date = b.i16();
  d->rad_num = b.u16();
  d->rad_az = b.f32();
  d->comp = b.u8();
  b.skip(1);
  d->rad_len = b.u16();
  d->az_space = b.u8() == 1 ? 0.5f : 1.0f;
  d->rad_status = b.u8();
  d->elev_num = b.u8();
  d->sector_num = b.u8();
  d->elev_ang = b.f32();
  d->rad_blank = b.u8();
  d->az_index = b.u8();
  d->blk_count = b.u16();
  // Blocks are found by their names, not by their places: cuts without
  // velocity shift the dual-polarisation moments forward.
  const int nptr = std::min(d->blk_count, 10);
  for (int i = 0; i < nptr && b.remaining() >= 4; ++i) {
    const std::uint32_t ptr = b.u32();
    if (ptr == 0) continue;
    const std::size_t at = kMsgHeader + ptr;
    if (ptr > r.blk_size || at + 4 > r.blk_size) {
      damage(r, "a data block pointer (" + std::to_string(ptr) + ") lies outside its message of " +
                    std::to_string(r.blk_size) + " bytes");
      continue;
    }
    ByteReader blk = message(r);
    blk.seek(at);
    const unsigned char kind = blk.u8();
    const std::string name = blk.text(3);
    try {
      if (kind == 'R' && name == "VOL") {
        d->vol_ptr = static_cast<int>(ptr);
        ByteReader v = message(r).window(at, 44);
        v.seek(8);
        d->lat = v.f32();
        d->lon = v.f32();
        d->elev = v.i16();
        v.seek(40);
        d->cov_patt = v.i16();
      } else if (kind == 'R' && name == "ELV") {
        d->elev_ptr = static_cast<int>(ptr);
        ByteReader v = message(r).window(at, 8);
        v.seek(6);
        d->atmos_atten = static_cast<float>(v.i16()) / 1000.0f;
      } else if (kind == 'R' && name == "RAD") {
        d->rad_ptr = static_cast<int>(ptr);
        ByteReader v = message(r).window(at, 18);
        v.seek(16);
        d->nyquist_vel = static_cast<float>(v.i16()) / 100.0f;
      } else if (kind == 'D') {
        const int m = moment_of(name);
        if (m < 0) continue;
        ByteReader v = message(r).window(at, 28);
        v.seek(8);
        const int gates = v.u16();
        const float first = static_cast<float>(v.i16()) / 1000.0f;
        const float size = static_cast<float>(v.u16()) / 1000.0f;
        v.seek(19);
        const int bits = v.u8();
        const float scale = v.f32(), offset = v.f32();
        set_moment(r, m, at + 28, gates, first, size, bits, scale, offset);
        if (m == kRef) {
          d->refl_ptr = static_cast<int>(ptr);
          d->num_refl = r.mom[m].gates;
          d->first_refl = first;
          d->refl_size = size;
        } else if (m == kVel) {
          d->vel_ptr = static_cast<int>(ptr);
          d->num_vel = r.mom[m].gates;
          d->first_vel = first;
          d->vel_size = size;
        } else if (m == kSw) {
          d->spect_ptr = static_cast<int>(ptr);
        }
        MESS_print(M_DEBUG, "bits: %d\nscale: %f\noffset: %f\n", bits, static_cast<double>(scale),
                   static_cast<double>(offset));
      }
    } catch (const DecodeError&) {
      damage(r, "data block " + name + " runs past the end of its message");
    }
  }
}

}  // namespace

const char* moment_name(int m) { return m >= 0 && m < kNumMoments ? (m == kSw ? "SW" : kMoments[m].name) : nullptr; }

int moment_of(std::string_view name) {
  for (int m = 0; m < kNumMoments; ++m)
    if (name == kMoments[m].name || (m == kSw && name == "SW")) return m;
  return -1;
}

const MomentInfo& moment(int m) {
  static const MomentInfo none;
  return m >= 0 && m < kNumMoments ? rd().mom[m] : none;
}

std::span<const unsigned char> codes(int m) {
  const Reader& r = rd();
  if (m < 0 || m >= kNumMoments || !r.have_msg || !r.mom[m].present) return {};
  const std::size_t n = static_cast<std::size_t>(r.mom[m].gates) * static_cast<std::size_t>(r.mom[m].bits / 8);
  return {r.out.data() + r.mom_off[m], n};
}

float decode(const MomentInfo& mi, unsigned code) {
  if (code == 0) return -100.0f;
  if (code == 1) return -90.0f;
  return (static_cast<float>(code) - mi.offset) / mi.scale;
}

bool damaged() { return !rd().problem.empty(); }
bool site_found() { return rd().site_found; }
const char* problem() { return rd().problem.c_str(); }

void reset_reader() {
  Reader& r = rd();
  const int compress = r.compress;
  // The buffers outlive the volume: the next one reuses them rather than
  // allocating and clearing 600 KB again. Reads are bounded by osize, so
  // nothing of the old volume is seen.
  std::vector<unsigned char> out = std::move(r.out);
  std::vector<unsigned char> in = std::move(r.in);
  r = Reader{};
  r.compress = compress;
  r.out = std::move(out);
  r.in = std::move(in);
}

}  // namespace zor::lev2

using zor::lev2::rd;

int LEV2_set_compress(int val) {
  rd().compress = val;
  return 0;
}

int LEV2_close_file() {
  auto& r = rd();
  if (!r.file) return 0;
  zor::lev2::reset_reader();
  return 1;
}

int LEV2_open_file(char* filename) {
  using namespace zor::lev2;
  if (filename == nullptr) return 0;
  LEV2_close_file();
  auto& r = rd();
  r.file = zor::open_file(filename, "rb");
  if (!r.file) {
    MESS_print(M_WARN, "LEV2_open_file: Unable to open file:%s\n", filename);
    return 0;
  }
  r.name = filename;
  // Identify the file by its first bytes: a volume header, or a bare
  // real-time record (a chunk without the start chunk).
  unsigned char head[kVolHeader + 8] = {};
  const std::size_t got = std::fread(head, 1, sizeof head, r.file.get());
  const bool named = got >= kVolHeader && (std::memcmp(head, "AR2V", 4) == 0 || std::memcmp(head, "ARCHIVE2", 8) == 0);
  const char* kind = nullptr;
  if (got >= 2 && head[0] == 0x1F && head[1] == 0x8B) kind = "is gzip-compressed as a whole; gunzip it first";
  else if (got >= 3 && is_bzip2(head)) kind = "is bzip2-compressed as a whole; bunzip2 it first";
  else if (got >= 7 && is_bzip2(head + 4) && !named) {
    r.headerless = true;
    r.source = Source::records;
    MESS_print(M_WARN, "LEV2_open_file: %s has no volume header (a real-time chunk without its start chunk?); "
                       "its records are read without site and time\n", filename);
  } else if (!named) {
    kind = "is not a Level II volume (no volume header)";
  }
  if (kind != nullptr) {
    MESS_print(M_WARN, "LEV2_open_file: %s %s\n", filename, kind);
    r.file.reset();
    return 0;
  }
  if (!r.headerless) {
    std::memcpy(r.header, head, kVolHeader);
    const bool bz = got >= kVolHeader + 7 && is_bzip2(head + kVolHeader + 4);
    r.source = bz ? Source::records : Source::plain;
    if (bz != (r.compress != 0))
      MESS_print(M_OUT3, "LEV2_open_file: %s holds %s; read as such\n", filename,
                 bz ? "bzip2-compressed records" : "plain messages");
  }
  std::fseek(r.file.get(), r.headerless ? 0 : static_cast<long>(kVolHeader), SEEK_SET);
  r.out.resize(kBufSize);
  if (r.source == Source::records) {
    r.in.resize(kBufSize);
    r.bz = std::make_unique<zor::Decompressor>(zor::Decompressor::Kind::bzip2);
  }
  return 1;
}

int LEV2_rewind_file() {
  auto& r = rd();
  if (!r.file) return 0;
  std::string name = r.name;
  return LEV2_open_file(name.data());
}

int LEV2_print_info() {
  MESS_print(M_MESS, "\n");
  return 0;
}

int LEV2_get_header(LEV2_info* info) {
  auto& r = rd();
  if (info == nullptr) return -1;
  *info = LEV2_info{};
  DATE_init(&info->date);
  info->lat = 38.98f;
  info->lon = -77.48f;
  if (!r.file || r.headerless) return 0;
  zor::ByteReader b(r.header, zor::lev2::kVolHeader);
  b.skip(12);
  const std::int32_t days = b.i32();
  const std::int32_t ms = b.i32();
  b.skip(1);
  const std::string id = b.text(3);
  long secs = (static_cast<long>(days) - 1) * 86400L + ms / 1000;
  DATE_get_gmdate(&secs, &info->date);
  bool printable = true;
  for (char c : id) printable = printable && c > ' ' && c < 127;
  if (printable) {
    std::snprintf(info->id, sizeof info->id, "%s", id.c_str());
    r.site_found = CTY_get_loc("rad.cty", info->id, &info->lat, &info->lon) != 0;
    if (!r.site_found) MESS_print(M_WARN, "LEV2_get_header: site %s not in rad.cty\n", info->id);
  }
  return 0;
}

int LEV2_get_block(LEV2_data* data) {
  using namespace zor::lev2;
  auto& r = rd();
  if (data == nullptr || !r.file) return 0;
  r.have_msg = false;
  r.sel = -1;
  r.mom = {};
  r.blk_off = r.optr;
  if (r.err) return 0;
  if (!fill(r, kChannel + kMsgHeader)) {
    if (buffered(r) > 0 && !r.err) damage(r, "the volume ends inside a message header (truncated)");
    return 0;
  }
  zor::ByteReader h(r.out.data() + r.blk_off + kChannel, kMsgHeader);
  *data = LEV2_data{};
  const int size = h.u16();
  h.skip(1);
  r.msg_type = h.u8();
  data->type = r.msg_type;
  data->seq = h.u16();
  data->date = h.i16();
  data->time = h.i32();
  data->num_seg = h.i16();
  data->seg_num = h.i16();
  r.blk_size = r.msg_type == 31 ? 2 * static_cast<std::size_t>(size) : kFixedBody;
  MESS_print(M_OUT4, "Block-type: %d size: %d seq: %d seg: %d nseg: %d\n", r.msg_type, static_cast<int>(r.blk_size),
             data->seq, data->seg_num, data->num_seg);
  if (r.msg_type == 31 && r.blk_size < kMsgHeader + 32) {
    fail(r, "a radial message claims a size of " + std::to_string(r.blk_size) + " bytes");
    return 0;
  }
  if (!fill(r, kChannel + r.blk_size)) {
    if (!r.err)
      damage(r, "the volume ends inside a message (" + std::to_string(buffered(r)) + " of " +
                    std::to_string(kChannel + r.blk_size) + " bytes; truncated)");
    return 0;
  }
  r.have_msg = true;
  r.optr = r.blk_off + kChannel + kMsgHeader;
  zor::ByteReader b = message(r);
  b.skip(kMsgHeader);
  try {
    if (r.msg_type == 1) parse_type1(r, b, data);
    else if (r.msg_type == 31) parse_type31(r, b, data);
  } catch (const zor::DecodeError& e) {
    damage(r, std::string("a radial message is cut short: ") + e.what());
  }
  return 1;
}

int LEV2_next_block() {
  auto& r = rd();
  if (!r.file || !r.have_msg) return 0;
  r.optr = r.blk_off + zor::lev2::kChannel + r.blk_size;
  r.have_msg = false;
  return 1;
}

int LEV2_set_data_type(int type) {
  auto& r = rd();
  r.sel = -1;
  if (type < 0 || type >= zor::lev2::kNumMoments || !r.have_msg || !r.mom[type].present) return 0;
  r.sel = type;
  r.gpos = r.mom_off[type];
  r.gleft = r.mom[type].gates;
  return 1;
}

float LEV2_get_data() {
  auto& r = rd();
  if (r.sel < 0 || r.gleft <= 0) return -100.0f;
  const auto& mi = r.mom[r.sel];
  unsigned code = r.out[r.gpos++];
  if (mi.bits == 16) code = code << 8 | r.out[r.gpos++];
  --r.gleft;
  return zor::lev2::decode(mi, code);
}
