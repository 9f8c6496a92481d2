// Streaming decompression: zlib, gzip and bzip2 streams read through small
// buffers, several streams in turn through one object, and corrupt input.
#include <gtest/gtest.h>
#include <bzlib.h>
#include <zlib.h>

#include <cstdint>
#include <vector>

#include "zor/decompress.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using zor::Decompressor;

Bytes sample() {
  Bytes b(100000);
  for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<std::uint8_t>((i * i) >> 7);
  return b;
}

Bytes compress(Decompressor::Kind kind, const Bytes& in, bool gzip = false) {
  Bytes out(in.size() + 1024);
  if (kind == Decompressor::Kind::bzip2) {
    unsigned n = static_cast<unsigned>(out.size());
    BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.data()), &n,
                             const_cast<char*>(reinterpret_cast<const char*>(in.data())),
                             static_cast<unsigned>(in.size()), 9, 0, 0);
    out.resize(n);
    return out;
  }
  z_stream zs{};
  deflateInit2(&zs, 6, Z_DEFLATED, gzip ? 31 : 15, 8, Z_DEFAULT_STRATEGY);
  zs.next_in = const_cast<Bytef*>(in.data());
  zs.avail_in = static_cast<uInt>(in.size());
  zs.next_out = out.data();
  zs.avail_out = static_cast<uInt>(out.size());
  deflate(&zs, Z_FINISH);
  out.resize(zs.total_out);
  deflateEnd(&zs);
  return out;
}

// Feeds `in` in slices of `feed` bytes and reads in slices of `room` bytes.
Decompressor::Status run(Decompressor& d, const Bytes& in, std::size_t feed, std::size_t room, Bytes* out) {
  std::size_t pos = 0;
  Bytes buf(room);
  for (int guard = 0; guard < 1000000; ++guard) {
    std::size_t got = 0;
    const auto st = d.read(buf, &got);
    out->insert(out->end(), buf.begin(), buf.begin() + static_cast<long>(got));
    if (st == Decompressor::Status::need_input) {
      if (pos >= in.size()) return st;
      const std::size_t n = std::min(feed, in.size() - pos);
      d.feed({in.data() + pos, n});
      pos += n;
    } else if (st != Decompressor::Status::ok) {
      return st;
    }
  }
  return Decompressor::Status::error;
}

TEST(Decompressor, StreamsThroughSmallBuffersOneAfterAnother) {
  const Bytes plain = sample();
  struct Case {
    Decompressor::Kind kind;
    bool gzip;
  };
  for (const Case& c : {Case{Decompressor::Kind::zlib, false}, Case{Decompressor::Kind::zlib, true},
                        Case{Decompressor::Kind::bzip2, false}}) {
    const Bytes packed = compress(c.kind, plain, c.gzip);
    Decompressor d(c.kind);
    for (int stream = 0; stream < 2; ++stream) {
      d.restart();
      Bytes out;
      EXPECT_EQ(run(d, packed, 333, 1000, &out), Decompressor::Status::stream_end);
      EXPECT_EQ(out, plain);
      EXPECT_TRUE(d.ended());
    }
  }
}

TEST(Decompressor, CorruptAndShortInput) {
  const Bytes plain = sample();
  for (auto kind : {Decompressor::Kind::zlib, Decompressor::Kind::bzip2}) {
    Bytes bad = compress(kind, plain);
    for (std::size_t i = 20; i < 60; ++i) bad[i] ^= 0xA5;
    Decompressor d(kind);
    Bytes out;
    EXPECT_EQ(run(d, bad, 4096, 4096, &out), Decompressor::Status::error);
    EXPECT_FALSE(d.error().empty());
    // A new stream after the error reads normally.
    d.restart();
    const Bytes good = compress(kind, plain);
    out.clear();
    EXPECT_EQ(run(d, good, 4096, 4096, &out), Decompressor::Status::stream_end);
    // A stream cut short asks for more input instead of ending.
    d.restart();
    out.clear();
    EXPECT_EQ(run(d, Bytes(good.begin(), good.begin() + static_cast<long>(good.size() / 2)), 4096, 4096, &out),
              Decompressor::Status::need_input);
    EXPECT_LT(out.size(), plain.size());
  }
}

}  // namespace
