// The NIDS reader: moves the product through two fixed 10000-byte buffers,
// copying plain data and decompressing zlib or bzip2 streams on the fly, so
// neither a whole product nor a whole decompressed stream is ever held.
#include <algorithm>
#include <cstring>

#include "nids_internal.h"
#include "zor/byte_reader.h"
#include "zor/mess.h"

namespace zor::nids {

namespace {

constexpr M_type kTraceReader = 0x40000000;  // debug sub-level c
constexpr std::uint8_t kTrailer[4] = {13, 13, 10, 3};  // CR CR LF ETX

// Keeps the `iavail` unconsumed input bytes, tops `in` up from the file and
// drops a bulletin trailer at the end of the file. Returns bytes read.
int refill_input(Reader& r, FILE* f) {
  if (r.iavail > 0 && r.iptr > 0)
    std::memmove(r.in.data(), r.in.data() + r.iptr, static_cast<std::size_t>(r.iavail));
  const int want = kBufSize - r.iavail;
  int got = 0;
  if (!r.eof && want > 0) {
    got = static_cast<int>(std::fread(r.in.data() + r.iavail, 1, static_cast<std::size_t>(want), f));
    if (got < want) r.eof = true;
  }
  r.isize = r.iavail + got;
  r.iptr = 0;
  if (got < want && r.isize >= 4 &&
      std::equal(std::begin(kTrailer), std::end(kTrailer), r.in.data() + r.isize - 4))
    r.isize -= 4;
  r.iavail = r.isize;
  MESS_print(kTraceReader, "Read: %d %d\n", got, r.isize);
  return got;
}

// Returns the unread output to the input side, so that a stream detected
// in the middle of plain data starts at the right byte.
void output_to_input(Reader& r, FILE* f) {
  if (r.oavail <= 0) return;
  // Plain data leaves no unconsumed input, so `in` is free to take it.
  std::memmove(r.in.data(), r.out.data() + r.optr, static_cast<std::size_t>(r.oavail));
  r.iavail = r.oavail;
  r.iptr = 0;
  r.oavail = 0;
  r.optr = 0;
  r.osize = 0;
  refill_input(r, f);
}

// A new stream starts on the decompressor's next read.
void start_stream(Reader& r, FileType type) {
  r.end_streams();
  r.file_type = type;
}

// Looks at the next bytes for the start of a compressed stream or of
// encrypted data. Returns -1 for encrypted data, 0 on a failure, 2 when the
// buffers were left as they were, 1 when the output must be filled afresh.
int test_compression(Reader& r, FILE* f) {
  r.comp_test = false;
  // Inside a running stream the bytes are compressed data, not a new header;
  // after a stream ends, what follows is tested once its output is used up.
  if (r.file_type != FileType::plain && (!r.stream_end || r.oavail > 0)) return 2;
  const bool was_plain = r.file_type == FileType::plain;
  if (was_plain) output_to_input(r, f);
  const int n = r.isize - r.iptr;
  const std::uint8_t b0 = n > 0 ? r.in[static_cast<std::size_t>(r.iptr)] : 0;
  const std::uint8_t b1 = n > 1 ? r.in[static_cast<std::size_t>(r.iptr) + 1] : 0;
  r.stream_end = false;
  if (was_plain && b0 == 'R' && b1 == '3') {
    MESS_print(M_DEBUG, "Encrypted data\n");
    r.file_type = FileType::encrypted;
    set_error("NIDS: encrypted product data (\"R3\"), not decoded");
    return -1;
  }
  if (n > 1 && b0 == 'B' && b1 == 'Z') {
    MESS_print(M_OUT4, "BZlib Compressed data\n");
    start_stream(r, FileType::bzip2);
    return 1;
  }
  // zlib header: CMF*256+FLG divisible by 31, deflate method; a plain
  // stream must also start with 'x' so that ordinary data is not mistaken.
  if (n > 1 && (b0 * 256 + b1) % 31 == 0 && (b0 & 0x0F) == 8 && (!was_plain || b0 == 'x')) {
    MESS_print(M_OUT4, "Zlib Compressed data\n");
    start_stream(r, FileType::zlib);
    return 1;
  }
  r.file_type = FileType::plain;
  return 1;
}

void trace_stream(const char* tag, int status, int avail_in, const Decompressor& d, int avail_out) {
  MESS_print(kTraceReader, "%s %d = %d %llu = %d %llu\n", tag, status, avail_in,
             static_cast<unsigned long long>(d.total_in()), avail_out,
             static_cast<unsigned long long>(d.total_out()));
}

// Fills `out` from `in`. Returns 1, 0 on a decompression failure, -1 when
// the input ended before any output.
int fill_output(Reader& r, FILE* f) {
  r.optr = 0;
  if (r.file_type == FileType::plain) {
    const int n = r.isize - r.iptr;
    std::memcpy(r.out.data(), r.in.data() + r.iptr, static_cast<std::size_t>(n));
    r.oavail = r.osize = n;
    r.iavail = 0;
    r.iptr = r.isize;
    r.out_was_full = false;
    return n > 0 ? 1 : -1;
  }
  // Call until output appears, topping the input up from the file.
  const bool zlib = r.file_type == FileType::zlib;
  Decompressor& d = zlib ? r.zlib : r.bzip2;
  for (;;) {
    const int before_in = r.isize - r.iptr;
    d.feed({r.in.data() + r.iptr, static_cast<std::size_t>(before_in)});
    if (zlib) trace_stream("Inflate-", r.zstat, before_in, d, kBufSize);
    std::size_t produced = 0;
    const Decompressor::Status st = d.read({r.out.data(), static_cast<std::size_t>(kBufSize)}, &produced);
    r.zstat = d.status();
    r.oavail = r.osize = static_cast<int>(produced);
    r.iavail = static_cast<int>(d.pending());
    r.iptr = r.isize - r.iavail;
    r.out_was_full = r.oavail == kBufSize;
    trace_stream("Inflate+", r.zstat, r.iavail, d, kBufSize - r.oavail);
    if (st == Decompressor::Status::error) {
      set_error(std::string("NIDS: ") + (zlib ? "zlib" : "bzip2") + " decompression failed (status " +
                std::to_string(r.zstat) + ")");
      return 0;
    }
    if (st == Decompressor::Status::stream_end) r.stream_end = true;
    if (r.oavail > 0) return 1;
    if (r.stream_end) return -1;
    const int got = refill_input(r, f);
    // Nothing consumed, nothing produced and nothing new: the stream is cut.
    if (got == 0 && r.iavail == before_in) return -1;
  }
}

}  // namespace

void Reader::end_streams() {
  zlib.restart();
  bzip2.restart();
}

void Reader::reset() {
  end_streams();
  isize = iptr = iavail = 0;
  osize = optr = oavail = 0;
  file_type = FileType::plain;
  comp_test = stream_end = out_was_full = eof = false;
  zstat = 0;
  bytes = nbytes = total = 0;
}

bool read_bytes(FILE* f, std::uint8_t* data, int n) { return NIDS_read(data, n, f) == 1; }

bool skip_bytes(FILE* f, long n) {
  std::array<std::uint8_t, 512> sink{};
  while (n > 0) {
    const int step = static_cast<int>(std::min<long>(n, static_cast<long>(sink.size())));
    if (!read_bytes(f, sink.data(), step)) return false;
    n -= step;
  }
  return true;
}

}  // namespace zor::nids

using namespace zor::nids;

int NIDS_read(unsigned char* data, int dsize, FILE* ifile) {
  if (ifile == nullptr) return 0;
  Reader& r = state().rd;
  if (r.isize == -1) r.reset();
  if (dsize < 0 || data == nullptr) return -1;
  if (r.file_type == FileType::encrypted) return -1;
  if (read_buffered(data, dsize)) return 1;
  int done = 0;
  while (done < dsize) {
    bool fresh = false;
    if (r.oavail <= 0) {
      refill_input(r, ifile);
      // A decompressor may still hold output when its input is used up.
      const bool pending = r.file_type != FileType::plain && r.out_was_full;
      if (r.isize < 1 && !pending) return -1;
      fresh = true;
      if (r.stream_end) r.comp_test = true;
    }
    if (r.comp_test) {
      const int t = test_compression(r, ifile);
      if (t <= 0) return t;
      if (t == 1) fresh = true;
    }
    if (fresh) {
      const int t = fill_output(r, ifile);
      if (t == 0) return 0;
      if (t < 0) {
        // The stream ended exactly at a buffer edge: look for what follows.
        if (r.stream_end) continue;
        return -1;
      }
    }
    const int n = std::min(dsize - done, r.oavail);
    std::memcpy(data + done, r.out.data() + r.optr, static_cast<std::size_t>(n));
    r.optr += n;
    r.oavail -= n;
    done += n;
  }
  r.bytes += dsize;
  r.total += dsize;
  return 1;
}

int NIDS_read_short(unsigned char* val, FILE* ifile) {
  if (ifile == nullptr) return 0;
  std::uint8_t raw[2];
  const int stat = NIDS_read(raw, 2, ifile);
  if (stat != 1) return stat;
  const std::int16_t v = zor::ByteReader(raw, 2).i16();
  std::memcpy(val, &v, sizeof v);
  return stat;
}

int NIDS_read_long(unsigned char* val, FILE* ifile) {
  if (ifile == nullptr) return 0;
  std::uint8_t raw[4];
  const int stat = NIDS_read(raw, 4, ifile);
  if (stat != 1) return stat;
  const std::int32_t v = zor::ByteReader(raw, 4).i32();
  std::memcpy(val, &v, sizeof v);
  return stat;
}

int NIDS_skip_line(FILE* ifile) {
  if (ifile == nullptr) return 0;
  unsigned char c = 0;
  int stat;
  do {
    stat = NIDS_read(&c, 1, ifile);
  } while (stat == 1 && c != '\n');
  return stat;
}
