// Bounds-checked big-endian reader used by every binary format.
//
// Values are assembled with shifts (never by overlaying structs), and a read
// past the end throws DecodeError instead of touching memory it does not own.
// `sub(len)` hands out a child reader limited to a declared block length, so a
// packet can never read into its neighbour.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>

namespace zor {

class DecodeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class ByteReader {
 public:
  ByteReader() = default;
  explicit ByteReader(std::span<const std::uint8_t> data) : data_(data) {}
  ByteReader(const std::uint8_t* data, std::size_t size) : data_(data, size) {}

  std::size_t size() const { return data_.size(); }
  std::size_t pos() const { return pos_; }
  std::size_t remaining() const { return data_.size() - pos_; }
  bool empty() const { return pos_ >= data_.size(); }
  std::span<const std::uint8_t> data() const { return data_; }
  // The unread part.
  std::span<const std::uint8_t> rest() const { return data_.subspan(pos_); }

  std::uint8_t u8() { return take(1)[0]; }
  std::int8_t i8() { return static_cast<std::int8_t>(u8()); }
  std::uint16_t u16() {
    auto p = take(2);
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
  }
  std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
  std::uint32_t u32() {
    auto p = take(4);
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) |
           (std::uint32_t{p[2]} << 8) | std::uint32_t{p[3]};
  }
  std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
  float f32() {
    std::uint32_t bits = u32();
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
  }
  // Little-endian variants for the few formats that need them.
  std::uint16_t u16le() {
    auto p = take(2);
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
  }
  std::uint32_t u32le() {
    auto p = take(4);
    return std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) |
           (std::uint32_t{p[2]} << 16) | (std::uint32_t{p[3]} << 24);
  }

  std::span<const std::uint8_t> bytes(std::size_t n) { return take(n); }
  std::string text(std::size_t n) {
    auto p = take(n);
    return std::string(reinterpret_cast<const char*>(p.data()), p.size());
  }

  void skip(std::size_t n) { take(n); }
  void seek(std::size_t offset) {
    if (offset > data_.size()) fail("seek", offset - pos_);
    pos_ = offset;
  }
  // Reads the next `len` bytes as a reader of their own.
  ByteReader sub(std::size_t len) { return ByteReader(take(len)); }
  // A reader over [offset, offset+len) without moving this one.
  ByteReader window(std::size_t offset, std::size_t len) const {
    if (offset > data_.size() || len > data_.size() - offset)
      throw DecodeError("block at " + std::to_string(offset) + "+" + std::to_string(len) +
                        " lies outside " + std::to_string(data_.size()) + " bytes");
    return ByteReader(data_.subspan(offset, len));
  }

 private:
  std::span<const std::uint8_t> take(std::size_t n) {
    if (n > remaining()) fail("read", n);
    auto p = data_.subspan(pos_, n);
    pos_ += n;
    return p;
  }
  [[noreturn]] void fail(const char* what, std::size_t n) const {
    throw DecodeError(std::string(what) + " of " + std::to_string(n) + " bytes at offset " +
                      std::to_string(pos_) + " passes the end (" + std::to_string(data_.size()) +
                      " bytes)");
  }

  std::span<const std::uint8_t> data_{};
  std::size_t pos_ = 0;
};

}  // namespace zor
