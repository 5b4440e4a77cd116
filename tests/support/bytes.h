// Bytes for tests: hex literals, buffers that end exactly where their heap
// block ends, a matcher that shows both sides in hex, and a guard for text that
// the library hands out. Knows nothing of any class but veskType.

#ifndef OSTREL_TESTS_SUPPORT_BYTES_H
#define OSTREL_TESTS_SUPPORT_BYTES_H

#include <gmock/gmock.h>

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

class veskType;

namespace ostrel::test {

// A byte string that GoogleTest prints in hex.
struct Bytes : std::vector<unsigned char> {
  using std::vector<unsigned char>::vector;

  // The bytes of `more` after these ones.
  Bytes& operator+=(const Bytes& more);
};

void PrintTo(const Bytes& bytes, std::ostream* out);

// Reads pairs of hex digits; white space between pairs is skipped. Anything
// else stops the test program, so that no test runs with a mistyped table.
Bytes hex(std::string_view digits);

// Upper-case pairs with a space between them: "03 01 05".
std::string toHex(const unsigned char* data, std::size_t size);
std::string toHex(const Bytes& bytes);

// `count` copies of `unit`, one after another.
Bytes repeated(const Bytes& unit, std::size_t count);

// The first `size` of these bytes.
Bytes prefix(const Bytes& bytes, std::size_t size);

// A heap block of exactly the given size, so that the address checks see one
// byte read or written past its end. An empty one points past the end of a
// block of one byte, for the same reason.
class ExactBuffer {
 public:
  // Filled with a byte that no table starts with.
  explicit ExactBuffer(std::size_t size);
  explicit ExactBuffer(const Bytes& content);

  char* data() { return data_; }
  unsigned size() const { return static_cast<unsigned>(size_); }
  Bytes first(std::size_t count) const;

 private:
  std::unique_ptr<char[]> block_;
  std::size_t size_;
  char* data_;
};

// The result of one encode.
struct Encoded {
  unsigned used;  // as returned
  Bytes bytes;    // the first `used` bytes of the buffer
};

// Encodes into a heap block of exactly `room` bytes. The running test fails
// when a byte after those that were written has changed.
Encoded encodeInto(veskType& value, std::size_t room);

// The value's encoding, in a buffer that grows until it is large enough, or no
// bytes when the value does not encode in 64 MiB.
Bytes encoded(veskType& value);

// Decodes from a heap block of exactly these bytes.
unsigned decodeFrom(veskType& value, const Bytes& bytes);

// The value's text, released; a null pointer fails the running test and reads
// as "(null)".
std::string textOf(veskType& value);

// Takes text that the library allocated; releases it with free.
class OwnedText {
 public:
  explicit OwnedText(char* text) : text_(text) {}
  ~OwnedText();
  OwnedText(const OwnedText&) = delete;
  OwnedText& operator=(const OwnedText&) = delete;

  const char* get() const { return text_; }
  bool isNull() const { return text_ == nullptr; }

 private:
  char* text_;
};

// EXPECT_THAT(bytes, IsHex("03 01 05")); a failure shows both sides in hex.
MATCHER_P(IsHex, digits, "is " + toHex(hex(digits))) {
  *result_listener << "which is " << toHex(arg);
  return arg == hex(digits);
}

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_SUPPORT_BYTES_H
