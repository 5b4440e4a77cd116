// What the scalar classes share: each of them forwards to one of these. A
// scalar is a tag and either a body of fixed width or an integer body.

#ifndef OSTREL_SRC_SCALAR_H
#define OSTREL_SRC_SCALAR_H

#include <ostrel/type.h>

#include <cstdint>
#include <cstring>
#include <limits>

#include "base/text.h"
#include "value/values.h"
#include "value/wire.h"

namespace ostrel {

template <class Scalar>
int equalScalars(Scalar& self, veskType& other) {
  if (self.veskType::operator==(other) == 0) return 0;
  Scalar* same = as<Scalar>(other);
  return same != nullptr && self.value == same->value;
}

template <class Scalar>
int compareNarrow(Scalar& self, veskType& other) {
  if (self.veskType::compare(other) != 0) return 1;
  Scalar* same = as<Scalar>(other);
  return same == nullptr ? 1 : self.value - same->value;
}

// A difference as an int: without its fraction; the nearest int when it is out
// of range; 0 when it is not a number.
template <class Number>
int wholeDifference(Number a, Number b) {
  // Some processors compute with extra digits; volatile drops them.
  const volatile Number rounded = a - b;
  const Number difference = rounded;
  constexpr Number kLimit = 2147483648.0;
  if (difference != difference) return 0;
  if (difference >= kLimit) return std::numeric_limits<int>::max();
  if (difference <= -kLimit) return std::numeric_limits<int>::min();
  return static_cast<int>(difference);
}

template <class Scalar>
int compareFloating(Scalar& self, veskType& other) {
  if (self.veskType::compare(other) != 0) return 1;
  Scalar* same = as<Scalar>(other);
  return same == nullptr ? 1 : wholeDifference(self.value, same->value);
}

// Four classes hold a 32-bit number, and a value of one may have the tag of
// another. They are compared by that number.
inline bool isInteger(veskType& value, std::uint32_t* number) {
  if (auto* held = as<veskUnsignedInt>(value)) {
    *number = held->value;
  } else if (auto* wide = as<veskUnsignedLong>(value)) {
    *number = wide->value;
  } else if (auto* negative = as<veskInt>(value)) {
    *number = static_cast<std::uint32_t>(negative->value);
  } else if (auto* both = as<veskLong>(value)) {
    *number = static_cast<std::uint32_t>(both->value);
  } else {
    return false;
  }
  return true;
}

inline int wrappedDifference(std::uint32_t a, std::uint32_t b) {
  return static_cast<int>(a - b);
}

template <class Integer>
int compareIntegers(Integer& self, veskType& other) {
  if (self.veskType::compare(other) != 0) return 1;
  std::uint32_t theirs = 0;
  if (!isInteger(other, &theirs)) return 1;
  return wrappedDifference(static_cast<std::uint32_t>(self.value), theirs);
}

// A program's class may override compare(), so the numbers are compared as
// well.
template <class Integer>
int equalIntegers(Integer& self, veskType& other) {
  if (self.veskType::operator==(other) == 0) return 0;
  std::uint32_t theirs = 0;
  return isInteger(other, &theirs) &&
         static_cast<std::uint32_t>(self.value) == theirs;
}

template <class Number>
unsigned encodeFixed(std::uint8_t tag, Number value, char* buffer,
                     unsigned length) {
  ByteWriter writer(buffer, length);
  writer.number(tag);
  writer.number(value);
  return writer.used();
}

template <class Number, class Value>
unsigned decodeFixed(std::uint8_t* tag, Value* value, char* buffer,
                     unsigned length) {
  static_assert(sizeof(Number) == sizeof(Value), "the wire fixes the width");
  ByteReader reader(buffer, length);
  if (!reader.has(1)) return 0;
  *tag = reader.number<std::uint8_t>();
  const Number body = reader.number<Number>();
  if (reader.ok()) std::memcpy(value, &body, sizeof body);
  return reader.used();
}

// The bit pattern of a floating-point number. Passed by value, a signalling NaN
// would become a quiet one on some 32-bit processors.
template <class Bits, class Number>
Bits bitsOf(const Number& value) {
  static_assert(sizeof(Bits) == sizeof(Number), "a pattern has all the bits");
  Bits bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

// A copy with the same bit pattern.
template <class Scalar>
veskType* copyFloating(const Scalar& self) {
  auto* copy = new Scalar;
  std::memcpy(&copy->value, &self.value, sizeof self.value);
  return copy;
}

inline unsigned encodeInteger(std::uint8_t tag, std::uint32_t value,
                              char* buffer, unsigned length) {
  ByteWriter writer(buffer, length);
  writer.number(tag);
  writer.integer(value);
  return writer.used();
}

// A tag and an integer body. A failure leaves the value unchanged.
template <class Value>
inline void readInteger(ByteReader& reader, std::uint8_t* tag, Value* value) {
  if (!reader.has(1)) return;
  *tag = reader.number<std::uint8_t>();
  const std::uint32_t body = reader.integer();
  if (reader.ok()) *value = static_cast<Value>(body);
}

template <class Value>
unsigned decodeInteger(std::uint8_t* tag, Value* value, char* buffer,
                       unsigned length) {
  ByteReader reader(buffer, length);
  readInteger(reader, tag, value);
  return reader.used();
}

inline char* numberText(std::int32_t value) {
  return Text().add(value).release();
}
inline char* numberText(std::uint32_t value) {
  return Text().add(value).release();
}

inline char* characterText(char character) { return copyText(&character, 1); }

}  // namespace ostrel

#endif  // OSTREL_SRC_SCALAR_H
