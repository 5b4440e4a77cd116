// Text that grows, and the one maker of text that callers own.

#ifndef OSTREL_SRC_TEXT_H
#define OSTREL_SRC_TEXT_H

#include <cstddef>
#include <cstdint>

namespace ostrel {

// Collects text in memory from malloc. Every function returns the text, so
// that calls may be chained.
class Text {
 public:
  Text() = default;
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  ~Text();

  Text& add(const char* text);
  Text& add(const char* bytes, std::size_t count);
  Text& add(std::uint32_t number);
  Text& add(std::int32_t number);

  // Adds a text that came from getString() and frees it; null adds nothing.
  Text& take(char* text);

  // Drops everything after the first `length` characters.
  Text& cutTo(std::size_t length);

  std::size_t length() const { return length_; }

  // The text with a NUL at its end. The caller frees it; this object is empty
  // afterwards.
  char* release();

 private:
  char* grow(std::size_t more);

  char* bytes_ = nullptr;
  std::size_t length_ = 0;
  std::size_t capacity_ = 0;
};

// A copy of `count` bytes with a NUL after them, from malloc.
char* copyText(const char* bytes, std::size_t count);

}  // namespace ostrel

#endif  // OSTREL_SRC_TEXT_H
