// Streaming zlib/gzip and bzip2 decompression over caller-owned buffers.
#include "zor/decompress.h"

#include <bzlib.h>
#include <zlib.h>

#include <climits>
#include <cstdlib>
#include <cstring>

namespace zor {

struct Decompressor::Impl {
  z_stream zs{};
  bz_stream bz{};
  bool open = false;
  const std::uint8_t* in = nullptr;
  std::size_t in_left = 0;

  void close(Kind kind) {
    if (!open) return;
    if (kind == Kind::zlib) inflateEnd(&zs);
    else BZ2_bzDecompressEnd(&bz);
    open = false;
  }
};

namespace {

// Both libraries count in unsigned int; larger buffers go in slices.
constexpr std::size_t kSlice = UINT_MAX / 2;

unsigned slice(std::size_t n) { return static_cast<unsigned>(n < kSlice ? n : kSlice); }

// bzip2 asks for a table of 0.4 to 3.6 MB for every stream, and a Level II
// volume is hundreds of streams. The C library reuses such a block, but the
// sanitizer builds map and unmap it each time, which halved the speed of the
// Level II tests and fuzzing: the last large block freed is kept for the next
// stream. Each block carries its size in front. No destructor: a stream still
// open in a static object may end after this one would be gone.
struct BzipBlocks {
  static constexpr std::size_t kHead = 16;  // keeps the block aligned
  static constexpr std::size_t kKeepFrom = 128 << 10;
  void* kept = nullptr;
  std::size_t kept_size = 0;
};
constinit thread_local BzipBlocks bzip_blocks;

void* bz_alloc(void*, int n, int m) {
  if (n < 0 || m < 0) return nullptr;
  const std::size_t size = static_cast<std::size_t>(n) * static_cast<std::size_t>(m);
  auto& b = bzip_blocks;
  void* block = nullptr;
  if (b.kept != nullptr && b.kept_size == size) {
    block = b.kept;
    b.kept = nullptr;
  } else if ((block = std::malloc(size + BzipBlocks::kHead)) == nullptr) {
    return nullptr;
  }
  std::memcpy(block, &size, sizeof size);
  return static_cast<char*>(block) + BzipBlocks::kHead;
}

void bz_free(void*, void* p) {
  if (p == nullptr) return;
  void* block = static_cast<char*>(p) - BzipBlocks::kHead;
  std::size_t size = 0;
  std::memcpy(&size, block, sizeof size);
  auto& b = bzip_blocks;
  if (size < BzipBlocks::kKeepFrom) return std::free(block);
  std::free(b.kept);
  b.kept = block;
  b.kept_size = size;
}

}  // namespace

Decompressor::Decompressor(Kind kind) : kind_(kind), impl_(std::make_unique<Impl>()) {}

Decompressor::~Decompressor() { impl_->close(kind_); }

void Decompressor::restart() {
  impl_->close(kind_);
  impl_->in = nullptr;
  impl_->in_left = 0;
  ended_ = false;
  status_ = 0;
  total_in_ = total_out_ = 0;
  error_.clear();
}

void Decompressor::feed(std::span<const std::uint8_t> in) {
  impl_->in = in.data();
  impl_->in_left = in.size();
}

std::size_t Decompressor::pending() const { return impl_->in_left; }

Decompressor::Status Decompressor::read(std::span<std::uint8_t> out, std::size_t* produced) {
  Impl& s = *impl_;
  *produced = 0;
  if (!error_.empty()) return Status::error;
  if (ended_) return Status::stream_end;
  if (!s.open) {
    int rc = 0;
    if (kind_ == Kind::zlib) {
      s.zs = z_stream{};
      rc = inflateInit2(&s.zs, 15 + 32) == Z_OK ? 0 : -1;  // +32: zlib or gzip header
    } else {
      s.bz = bz_stream{};
      s.bz.bzalloc = bz_alloc;
      s.bz.bzfree = bz_free;
      rc = BZ2_bzDecompressInit(&s.bz, 0, 0) == BZ_OK ? 0 : -1;
    }
    if (rc != 0) {
      error_ = kind_ == Kind::zlib ? "zlib: cannot start a stream" : "bzip2: cannot start a stream";
      return Status::error;
    }
    s.open = true;
  }
  if (out.empty()) return Status::ok;
  const unsigned in_n = slice(s.in_left), out_n = slice(out.size());
  unsigned in_after = 0, out_after = 0;
  Status st = Status::ok;
  if (kind_ == Kind::zlib) {
    s.zs.next_in = const_cast<Bytef*>(s.in);
    s.zs.avail_in = in_n;
    s.zs.next_out = out.data();
    s.zs.avail_out = out_n;
    const int rc = inflate(&s.zs, Z_NO_FLUSH);
    status_ = rc;
    in_after = s.zs.avail_in;
    out_after = s.zs.avail_out;
    if (rc == Z_STREAM_END) st = Status::stream_end;
    else if (rc == Z_OK) st = Status::ok;
    else if (rc == Z_BUF_ERROR) st = Status::need_input;  // no progress possible without input
    else {
      error_ = std::string("zlib: ") + (s.zs.msg ? s.zs.msg : "corrupt data");
      st = Status::error;
    }
  } else {
    s.bz.next_in = const_cast<char*>(reinterpret_cast<const char*>(s.in));
    s.bz.avail_in = in_n;
    s.bz.next_out = reinterpret_cast<char*>(out.data());
    s.bz.avail_out = out_n;
    const int rc = BZ2_bzDecompress(&s.bz);
    status_ = rc;
    in_after = s.bz.avail_in;
    out_after = s.bz.avail_out;
    if (rc == BZ_STREAM_END) st = Status::stream_end;
    else if (rc == BZ_OK) st = Status::ok;
    else {
      error_ = "bzip2: corrupt data (status " + std::to_string(rc) + ")";
      st = Status::error;
    }
  }
  const std::size_t used = in_n - in_after;
  s.in += used;
  s.in_left -= used;
  *produced = out_n - out_after;
  total_in_ += used;
  total_out_ += *produced;
  if (st == Status::stream_end) {
    ended_ = true;
    s.close(kind_);
  } else if (st == Status::ok && s.in_left == 0 && out_after > 0) {
    st = Status::need_input;  // room left over: every fed byte went in
  }
  return st;
}

}  // namespace zor
