// The one place that touches bytes of the wire: a reader and a writer that
// hold a position and what is left, and the integer body that integers,
// identifiers and lengths share. All numbers are most significant byte first.
//
// Every access compares with what is left. The first failure sticks: a run of
// reads or writes may be checked once, at its end.

#ifndef OSTREL_SRC_WIRE_H
#define OSTREL_SRC_WIRE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ostrel {

// The room that encoding an integer body needs, even when it takes fewer bytes:
// a length byte and four bytes.
constexpr std::size_t kIntegerRoom = 5;

inline std::uint32_t bigEndian(std::uint32_t number) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  return __builtin_bswap32(number);
#else
  return number;
#endif
}

inline std::uint64_t bigEndian(std::uint64_t number) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  return __builtin_bswap64(number);
#else
  return number;
#endif
}

inline std::uint16_t bigEndian(std::uint16_t number) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  return __builtin_bswap16(number);
#else
  return number;
#endif
}

inline std::uint8_t bigEndian(std::uint8_t number) { return number; }

// Writes an integer body at `to`, where kIntegerRoom bytes are free, and
// touches none of them that it does not use. Returns the place after it.
[[gnu::always_inline]] inline char* storeInteger(char* to,
                                                 std::uint32_t value) {
  if (value - 1 < 0xff) {
    to[0] = 1;
    to[1] = static_cast<char>(value);
    return to + 2;
  }
  if (value - 1 < 0xffff) {
    const std::uint16_t bytes = bigEndian(static_cast<std::uint16_t>(value));
    to[0] = 2;
    std::memcpy(to + 1, &bytes, sizeof bytes);
    return to + 3;
  }
  if (value == 0) {
    to[0] = 0;
    return to + 1;
  }
  const std::uint32_t bytes = bigEndian(value);
  if (value > 0xffffff) {
    to[0] = 4;
    std::memcpy(to + 1, &bytes, sizeof bytes);
    return to + 5;
  }
  const std::uint32_t last = bigEndian(value << 8);
  to[0] = 3;
  std::memcpy(to + 1, &last, 3);
  return to + 4;
}

// Reads an integer body at `from`, where kIntegerRoom bytes can be read.
// Returns the place after it, or null when it claims more than four bytes. Most
// numbers are small.
[[gnu::always_inline]] inline const char* loadInteger(const char* from,
                                                      std::uint32_t* value) {
  const std::size_t count = static_cast<unsigned char>(from[0]);
  if (count == 1) {
    *value = static_cast<unsigned char>(from[1]);
    return from + 2;
  }
  if (count > sizeof *value) return nullptr;
  std::uint32_t bytes;
  std::memcpy(&bytes, from + 1, sizeof bytes);
  *value = static_cast<std::uint32_t>(std::uint64_t{bigEndian(bytes)} >>
                                      (32 - 8 * count));
  return from + 1 + count;
}

class ByteWriter {
 public:
  ByteWriter(char* buffer, std::size_t length)
      : at_(buffer), left_(length), begin_(buffer) {}

  // Whether `bytes` more fit. If not, the writer fails.
  bool room(std::size_t bytes) {
    if (left_ < bytes) fail();
    return ok();
  }

  // A number of fixed width.
  template <class Number>
  void number(Number value) {
    if (left_ < sizeof value) return fail();
    const Number bytes = bigEndian(value);
    std::memcpy(at_, &bytes, sizeof bytes);
    advance(sizeof bytes);
  }

  // An integer body: a length byte and the bytes without leading zeros.
  void integer(std::uint32_t value) {
    if (left_ < kIntegerRoom) return fail();
    moveTo(storeInteger(at_, value));
  }

  void bytes(const void* from, std::size_t count) {
    if (count == 0 || !room(count)) return;
    std::memcpy(at_, from, count);
    advance(count);
  }

  // Takes over the bytes that a value's own encode() wrote; 0 means that it
  // failed.
  void wrote(std::size_t bytes) {
    if (bytes == 0 || left_ < bytes) return fail();
    advance(bytes);
  }

  // After a failure nothing fits any more, and nothing is left.
  void fail() {
    at_ = nullptr;
    left_ = 0;
  }
  bool ok() const { return at_ != nullptr; }
  char* at() const { return at_; }

  // Goes on after the bytes that were written at at().
  void moveTo(char* behind) { wrote(static_cast<std::size_t>(behind - at_)); }
  unsigned left() const { return static_cast<unsigned>(left_); }

  // Bytes written, 0 after a failure.
  unsigned used() const {
    return ok() ? static_cast<unsigned>(at_ - begin_) : 0;
  }

 private:
  void advance(std::size_t bytes) {
    at_ += bytes;
    left_ -= bytes;
  }

  char* at_;
  std::size_t left_;
  char* begin_;
};

class ByteReader {
 public:
  ByteReader(const char* buffer, std::size_t length)
      : at_(buffer), left_(length), begin_(buffer) {}

  // Whether `bytes` more are left. If not, the reader fails.
  bool has(std::size_t bytes) {
    if (left_ < bytes) fail();
    return ok();
  }

  // A number of fixed width; 0 after a failure.
  template <class Number>
  Number number() {
    if (left_ < sizeof(Number)) return fail(), Number{};
    Number bytes;
    std::memcpy(&bytes, at_, sizeof bytes);
    skip(sizeof bytes);
    return bigEndian(bytes);
  }

  // `count` bytes as one number. Only the low 32 bits are kept.
  std::uint32_t significant(std::size_t count) {
    if (!has(count)) return 0;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; i++)
      value = value << 8 | static_cast<unsigned char>(at_[i]);
    skip(count);
    return value;
  }

  // An integer body. Kept: it may claim more than four bytes; the last four
  // make the number.
  std::uint32_t integer() {
    std::uint32_t value = 0;
    if (left_ >= kIntegerRoom) {
      if (const char* behind = loadInteger(at_, &value)) {
        moveTo(behind);
        return value;
      }
    }
    return significant(number<std::uint8_t>());
  }

  // Takes over the bytes that a value's own decode() read; 0 means that it
  // failed.
  void read(std::size_t bytes) {
    if (bytes == 0) return fail();
    skip(bytes);
  }

  void skip(std::size_t bytes) {
    if (left_ < bytes) return fail();
    at_ += bytes;
    left_ -= bytes;
  }

  // Goes on after the bytes that were read at at().
  void moveTo(const char* behind) {
    skip(static_cast<std::size_t>(behind - at_));
  }

  // After a failure nothing fits any more, and nothing is left.
  void fail() {
    at_ = nullptr;
    left_ = 0;
  }
  bool ok() const { return at_ != nullptr; }

  // A value's decode() must not change its buffer, but its parameter is not
  // const.
  char* at() const { return const_cast<char*>(at_); }
  unsigned left() const { return static_cast<unsigned>(left_); }

  // Bytes read, 0 after a failure.
  unsigned used() const {
    return ok() ? static_cast<unsigned>(at_ - begin_) : 0;
  }

 private:
  const char* at_;
  std::size_t left_;
  const char* begin_;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_WIRE_H
