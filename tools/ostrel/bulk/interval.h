// How often something is done, as people write it: "500ms", "10s", "5m", "1h".

#ifndef OSTREL_TOOLS_OSTREL_BULK_INTERVAL_H
#define OSTREL_TOOLS_OSTREL_BULK_INTERVAL_H

#include <chrono>
#include <optional>
#include <string_view>

namespace ostrel::tools::cli {

// From 10 ms to a day; nothing for any other text.
std::optional<std::chrono::milliseconds> parseInterval(std::string_view text);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_BULK_INTERVAL_H
