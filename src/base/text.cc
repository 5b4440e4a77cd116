#include "base/text.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace ostrel {
namespace {

constexpr std::size_t kFirstCapacity = 32;
constexpr std::size_t kNumberLength = 10;  // digits of 4294967295

char* reallocate(char* bytes, std::size_t capacity) {
  void* grown = std::realloc(bytes, capacity);
  if (grown == nullptr) throw std::bad_alloc();
  return static_cast<char*>(grown);
}

}  // namespace

Text::~Text() { std::free(bytes_); }

char* Text::grow(std::size_t more) {
  // One byte beyond the length is always there for the NUL.
  const std::size_t needed = length_ + more + 1;
  if (capacity_ < needed) {
    std::size_t capacity = capacity_ == 0 ? kFirstCapacity : capacity_ * 2;
    if (capacity < needed) capacity = needed;
    bytes_ = reallocate(bytes_, capacity);
    capacity_ = capacity;
  }
  return bytes_ + length_;
}

Text& Text::add(const char* bytes, std::size_t count) {
  if (count == 0) return *this;
  std::memcpy(grow(count), bytes, count);
  length_ += count;
  return *this;
}

Text& Text::add(const char* text) { return add(text, std::strlen(text)); }

Text& Text::add(std::uint32_t number) {
  char digits[kNumberLength];
  std::size_t first = kNumberLength;
  do {
    digits[--first] = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  return add(digits + first, kNumberLength - first);
}

Text& Text::add(std::int32_t number) {
  const auto magnitude = static_cast<std::uint32_t>(number);
  if (number >= 0) return add(magnitude);
  return add("-", 1).add(0u - magnitude);
}

Text& Text::take(char* text) {
  if (text == nullptr) return *this;
  const std::unique_ptr<char, void (*)(void*)> taken(text, std::free);
  return add(text);
}

Text& Text::cutTo(std::size_t length) {
  if (length < length_) length_ = length;
  return *this;
}

char* Text::release() {
  *grow(0) = '\0';
  char* text = bytes_;
  bytes_ = nullptr;
  length_ = 0;
  capacity_ = 0;
  return text;
}

char* copyText(const char* bytes, std::size_t count) {
  char* text = reallocate(nullptr, count + 1);
  if (count != 0) std::memcpy(text, bytes, count);
  text[count] = '\0';
  return text;
}

}  // namespace ostrel
