#include "requests/repeats.h"

#include <cstdlib>

namespace ostrel::tools::server {
namespace {

using std::chrono::milliseconds;

template <class Clock>
milliseconds sinceBeginning() {
  return std::chrono::floor<milliseconds>(Clock::now().time_since_epoch());
}

// Half of the ids are above an id and half below it, since they wrap.
constexpr std::uint16_t kMostAhead = 0x7FFF;

}  // namespace

Repeats::Repeats(Store* store)
    : store_(store),
      start_(sinceBeginning<std::chrono::system_clock>() -
             sinceBeginning<std::chrono::steady_clock>()) {}

std::string Repeats::keyOf(const sockaddr_in& from, std::string_view request) {
  std::string key;
  key.reserve(sizeof from.sin_addr + sizeof from.sin_port + request.size());
  key.append(reinterpret_cast<const char*>(&from.sin_addr),
             sizeof from.sin_addr);
  key.append(reinterpret_cast<const char*>(&from.sin_port),
             sizeof from.sin_port);
  key.append(request);
  return key;
}

std::int64_t Repeats::milliseconds(Time time) const {
  const auto passed =
      std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch());
  return (start_ + passed).count();
}

std::optional<std::string> Repeats::answerTo(std::string_view key,
                                             std::uint16_t message,
                                             Time arrived) {
  auto given = store_->answer(key);
  if (!given) return std::nullopt;
  // Between two runs of the server the calendar may have been set back a
  // little.
  const std::chrono::milliseconds passed(
      std::abs(milliseconds(arrived) - given->arrived));
  const bool repeated = given->message
                            ? areRepeats(*given->message, message, passed)
                            : passed <= kLife;
  if (!repeated) return std::nullopt;
  return std::move(given->bytes);
}

bool Repeats::areRepeats(std::uint16_t former, std::uint16_t message,
                         std::chrono::milliseconds passed) {
  const auto ahead = static_cast<std::uint16_t>(message - former);
  if (ahead == 0) return passed <= kOnTheWay;
  return ahead <= kMostAhead && passed <= kLife;
}

void Repeats::keep(std::string_view key, std::uint16_t message, Time arrived,
                   std::string_view answer) {
  store_->keepAnswer(key,
                     {message, milliseconds(arrived), std::string(answer)});
}

void Repeats::forget(Time now) {
  const std::int64_t present = milliseconds(now);
  store_->forgetAnswers(present - kLife.count(), present + kLife.count());
}

}  // namespace ostrel::tools::server
