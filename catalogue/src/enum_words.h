// How the choices of class files are written, in the order of their numbers.

#ifndef OSTREL_CATALOGUE_ENUM_WORDS_H
#define OSTREL_CATALOGUE_ENUM_WORDS_H

#include <ostrel/class_description.h>

#include <string_view>
#include <vector>

namespace ostrel {

// Of each the first word is never written: it is what holds without the key.
inline const std::vector<std::string_view> kFormatWords{
    "none", "mac", "ipv6", "cidr", "uuid", "uint64"};
inline const std::vector<std::string_view> kKindWords{
    "none", "gauge", "counter", "id", "state", "text"};
inline const std::vector<std::string_view> kStatusWords{"current", "deprecated",
                                                        "obsolete"};

// These begin at 1.
inline const std::vector<std::string_view> kAccessWords{
    "read-only", "read-write", "create-only"};
inline const std::vector<std::string_view> kStorageWords{"persistent",
                                                         "volatile"};

template <class Enum>
std::string_view wordOf(const std::vector<std::string_view>& words, Enum value,
                        std::size_t first = 0) {
  return words[static_cast<std::size_t>(value) - first];
}

template <class Enum>
Enum enumAt(std::size_t position, std::size_t first = 0) {
  return static_cast<Enum>(position + first);
}

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_ENUM_WORDS_H
