#include "common/utf8.h"

#include <algorithm>
#include <iterator>

namespace ostrel::tools {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

constexpr Range kControls[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},
    {0x061C, 0x061C},  // turns the direction of writing, as the last two
    {0x200E, 0x200F}, {0x2028, 0x202E},
    {0x2066, 0x2069},
};

constexpr Range kHidden[] = {
    {0xAD, 0xAD},  // a hyphen that is there at the end of a line alone
    {0x180E, 0x180E},   {0x200B, 0x200D},
    {0x2060, 0x206F},   {0xFE00, 0xFE0F},  // variants
    {0xFEFF, 0xFEFF},   {0xFFF9, 0xFFFB},
    {0xE0000, 0xE0FFF},  // tags and more variants
};

unsigned byteAt(std::string_view bytes, std::size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

// The range of a character's second byte: shorter forms of the same character,
// surrogates and what lies beyond U+10FFFF are not well-formed.
bool isSecondByte(unsigned first, unsigned second) {
  unsigned low = 0x80, high = 0xbf;
  if (first == 0xe0) low = 0xa0;
  if (first == 0xed) high = 0x9f;
  if (first == 0xf0) low = 0x90;
  if (first == 0xf4) high = 0x8f;
  return second >= low && second <= high;
}

// The number of a well-formed character.
char32_t numberOf(std::string_view character) {
  constexpr unsigned kFirstBits[] = {0x7f, 0x1f, 0x0f, 0x07};
  char32_t number = byteAt(character, 0) & kFirstBits[character.size() - 1];
  for (std::size_t i = 1; i < character.size(); ++i)
    number = number << 6 | (byteAt(character, i) & 0x3f);
  return number;
}

template <std::size_t kCount>
bool isIn(const Range (&ranges)[kCount], char32_t number) {
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [&](const Range& range) {
                       return number >= range.first && number <= range.last;
                     });
}

}  // namespace

std::size_t utf8Length(std::string_view bytes) {
  if (bytes.empty()) return 0;
  const unsigned first = byteAt(bytes, 0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xc2 && first <= 0xdf   ? 2
                             : first >= 0xe0 && first <= 0xef ? 3
                             : first >= 0xf0 && first <= 0xf4 ? 4
                                                              : 0;
  if (length == 0 || bytes.size() < length) return 0;
  if (!isSecondByte(first, byteAt(bytes, 1))) return 0;
  for (std::size_t i = 2; i < length; ++i)
    if ((byteAt(bytes, i) & 0xc0) != 0x80) return 0;
  return length;
}

bool isUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t length = utf8Length(bytes);
    if (length == 0) return false;
    bytes.remove_prefix(length);
  }
  return true;
}

bool isControl(std::string_view character) {
  return isIn(kControls, numberOf(character));
}

bool isHidden(std::string_view character) {
  const char32_t number = numberOf(character);
  return isIn(kControls, number) || isIn(kHidden, number);
}

}  // namespace ostrel::tools
