#include "bulk/interval.h"

#include <charconv>
#include <cstdint>

namespace ostrel::tools::cli {
namespace {

struct Unit {
  std::string_view name;
  std::int64_t milliseconds;
};
constexpr Unit kUnits[] = {
    {"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}};

constexpr std::int64_t kShortest = 10;
constexpr std::int64_t kLongest = 24 * std::int64_t{3600000};

}  // namespace

std::optional<std::chrono::milliseconds> parseInterval(std::string_view text) {
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc()) return std::nullopt;
  const std::string_view name(read.ptr,
                              static_cast<std::size_t>(end - read.ptr));
  for (const Unit& unit : kUnits) {
    const std::int64_t all = number * unit.milliseconds;
    if (name == unit.name && all >= kShortest && all <= kLongest)
      return std::chrono::milliseconds(all);
  }
  return std::nullopt;
}

}  // namespace ostrel::tools::cli
