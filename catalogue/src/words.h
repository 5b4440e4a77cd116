// Words of class files: what is a name or a number, and what was meant.

#ifndef OSTREL_CATALOGUE_WORDS_H
#define OSTREL_CATALOGUE_WORDS_H

#include <ostrel/class_description.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrel {

// A letter from a to z, then up to 31 more of these, digits or hyphens.
bool isName(std::string_view word);
constexpr const char* kNameRule =
    "a name is a letter from a to z and up to 31 letters, digits and hyphens";

// Decimal, without sign or leading zeros, up to 4294967295.
std::optional<std::uint32_t> decimalNumber(std::string_view text);

// Exactly so many numbers with dots between.
std::optional<std::vector<std::uint32_t>> dottedNumbers(std::string_view text,
                                                        std::size_t least,
                                                        std::size_t most);
std::optional<ClassId> classIdFrom(std::string_view text);
std::optional<MemberId> memberIdFrom(std::string_view text);

// " (did you mean 'values'?)" when one of the candidates is nearly the word,
// else empty.
std::string suggestion(std::string_view word,
                       const std::vector<std::string_view>& candidates);

// 'word', with control characters escaped and a long one cut.
std::string quoted(std::string_view word);
std::string printable(std::string_view text);

// "a, b or c".
std::string joined(const std::vector<std::string_view>& words);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_WORDS_H
