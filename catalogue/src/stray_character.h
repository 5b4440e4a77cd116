// Characters that TOML does not allow where they stand, found before parsing:
// the parser makes wrong assumptions about them.

#ifndef OSTREL_CATALOGUE_STRAY_CHARACTER_H
#define OSTREL_CATALOGUE_STRAY_CHARACTER_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace ostrel {

struct TextPlace {
  std::uint32_t line;  // from 1
  std::uint32_t column;
};

// The first byte beyond ASCII that is neither in a text nor in a comment, or
// that begins what goes on behind a backslash at the end of a line. Only as far
// as the text is TOML: what follows a mistake is never parsed.
std::optional<TextPlace> strayCharacter(std::string_view text);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_STRAY_CHARACTER_H
