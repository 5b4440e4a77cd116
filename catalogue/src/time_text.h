// Points in time as text, in the proleptic Gregorian calendar and always with a
// zone.

#ifndef OSTREL_CATALOGUE_TIME_TEXT_H
#define OSTREL_CATALOGUE_TIME_TEXT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ostrel {

// "2026-11-22T10:47:00Z".
std::string timeText(std::uint32_t seconds);

// A date, T or a space, hours and minutes with or without seconds, and Z or a
// distance to it, +01:00; or @ and the seconds since 1970. On failure *mistake
// says what is wrong.
std::optional<std::uint32_t> timeFrom(std::string_view text,
                                      std::string* mistake);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_TIME_TEXT_H
