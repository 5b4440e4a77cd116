#include "bytes.h"

#include <gtest/gtest.h>
#include <algorithm>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ostrel/type.h"

namespace ostrel::test {

namespace {

constexpr char kUntouched = '\xA5';
constexpr std::size_t kFirstRoom = 64;
constexpr std::size_t kLargestRoom = std::size_t{64} << 20;

int digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

[[noreturn]] void refuseDigits(std::string_view digits) {
  std::fprintf(stderr, "not a run of hex pairs: %.*s\n",
               static_cast<int>(digits.size()), digits.data());
  std::abort();
}

}  // namespace

Bytes& Bytes::operator+=(const Bytes& more) {
  insert(end(), more.begin(), more.end());
  return *this;
}

void PrintTo(const Bytes& bytes, std::ostream* out) {
  *out << bytes.size() << " bytes: " << toHex(bytes);
}

Bytes hex(std::string_view digits) {
  Bytes result;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (digits[i] == ' ' || digits[i] == '\n') continue;
    const int high = digitValue(digits[i]);
    const int low = i + 1 < digits.size() ? digitValue(digits[i + 1]) : -1;
    if (high < 0 || low < 0) refuseDigits(digits);
    result.push_back(static_cast<unsigned char>(high * 16 + low));
    ++i;
  }
  return result;
}

std::string toHex(const unsigned char* data, std::size_t size) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  for (std::size_t i = 0; i < size; ++i) {
    if (i != 0) result += ' ';
    result += kDigits[data[i] >> 4];
    result += kDigits[data[i] & 0x0F];
  }
  return result;
}

std::string toHex(const Bytes& bytes) {
  return toHex(bytes.data(), bytes.size());
}

Bytes repeated(const Bytes& unit, std::size_t count) {
  Bytes result;
  result.reserve(unit.size() * count);
  for (std::size_t i = 0; i < count; ++i) result += unit;
  return result;
}

Bytes prefix(const Bytes& bytes, std::size_t size) {
  return Bytes(bytes.begin(),
               bytes.begin() + static_cast<std::ptrdiff_t>(size));
}

ExactBuffer::ExactBuffer(std::size_t size)
    : block_(new char[size == 0 ? 1 : size]),
      size_(size),
      data_(block_.get() + (size == 0 ? 1 : 0)) {
  std::memset(block_.get(), kUntouched, size == 0 ? 1 : size);
}

ExactBuffer::ExactBuffer(const Bytes& content) : ExactBuffer(content.size()) {
  if (!content.empty()) std::memcpy(data_, content.data(), content.size());
}

Bytes ExactBuffer::first(std::size_t count) const {
  EXPECT_LE(count, size_);
  Bytes result(count < size_ ? count : size_);
  if (!result.empty()) std::memcpy(result.data(), data_, result.size());
  return result;
}

Encoded encodeInto(veskType& value, std::size_t room) {
  ExactBuffer buffer(room);
  const Bytes before = buffer.first(room);
  const unsigned used = value.encode(buffer.data(), buffer.size());
  if (used != 0) {
    const Bytes after = buffer.first(room);
    const auto behind = static_cast<std::ptrdiff_t>(used);
    EXPECT_TRUE(std::equal(before.begin() + behind, before.end(),
                           after.begin() + behind))
        << "changed behind the " << used
        << " bytes that it wrote: " << toHex(after);
  }
  return {used, buffer.first(used)};
}

Bytes encoded(veskType& value) {
  for (std::size_t room = kFirstRoom; room <= kLargestRoom; room *= 2) {
    Encoded result = encodeInto(value, room);
    if (result.used != 0) return result.bytes;
  }
  return {};
}

unsigned decodeFrom(veskType& value, const Bytes& bytes) {
  ExactBuffer buffer(bytes);
  return value.decode(buffer.data(), buffer.size());
}

std::string textOf(veskType& value) {
  const OwnedText text(value.getString());
  EXPECT_FALSE(text.isNull());
  return text.isNull() ? "(null)" : text.get();
}

OwnedText::~OwnedText() { std::free(text_); }

}  // namespace ostrel::test
