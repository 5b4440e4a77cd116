// Texts with a format of their own: addresses of interfaces and networks, and
// unique identifiers.

#ifndef OSTREL_CATALOGUE_FORMATS_H
#define OSTREL_CATALOGUE_FORMATS_H

#include <ostrel/class_description.h>

#include <optional>
#include <string>
#include <string_view>

namespace ostrel {

// The canonical form, or nothing when the text is not of this format. Any text
// has the format "none".
std::optional<std::string> canonicalForm(ValueFormat format,
                                         std::string_view text);

// An example, for messages.
const char* formatExample(ValueFormat format);

// Four decimal numbers from 0 to 255, without leading zeros.
bool isIpv4(std::string_view text);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_FORMATS_H
