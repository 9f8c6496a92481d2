// Streaming decompression of zlib (and gzip) or bzip2 streams through
// bounded buffers: the caller feeds compressed bytes it owns and reads
// decompressed bytes into a buffer of its own, so no whole stream is ever
// held. One object serves any number of streams in turn (`restart`).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace zor {

class Decompressor {
 public:
  enum class Kind { zlib, bzip2 };
  enum class Status {
    ok,          // produced bytes, or room ran out; call again
    need_input,  // every fed byte is used and the stream goes on
    stream_end,  // the stream is complete
    error,       // corrupt data or a library failure; see error()
  };

  // zlib streams are read with or without a gzip wrapper.
  explicit Decompressor(Kind kind);
  ~Decompressor();
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;

  Kind kind() const { return kind_; }
  // Drops the current stream (and any unread input); the next feed starts a
  // new one.
  void restart();
  // Hands over the next compressed bytes; they must stay valid until read()
  // says need_input (or the stream ends). Earlier unused input is replaced.
  void feed(std::span<const std::uint8_t> in);
  // Decompresses into `out`; `*produced` receives the byte count written.
  Status read(std::span<std::uint8_t> out, std::size_t* produced);
  // Fed bytes not consumed yet (after stream_end: bytes that follow it).
  std::size_t pending() const;
  bool ended() const { return ended_; }
  const std::string& error() const { return error_; }
  // The library's own return code of the last read (zlib or bzip2 status),
  // for callers whose messages quote it.
  int status() const { return status_; }
  // Bytes consumed and produced since the stream started.
  std::uint64_t total_in() const { return total_in_; }
  std::uint64_t total_out() const { return total_out_; }

 private:
  struct Impl;
  Kind kind_;
  std::unique_ptr<Impl> impl_;
  bool ended_ = false;
  int status_ = 0;
  std::uint64_t total_in_ = 0;
  std::uint64_t total_out_ = 0;
  std::string error_;
};

}  // namespace zor
