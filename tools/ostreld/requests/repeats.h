// Changes that arrive again. A datagram may be doubled on its way, and a client
// that got no answer sends its request again; neither is to be executed twice.
// What tells them from a new request that has the same bytes is the id of the
// message: a sender counts it up with each message and each retransmission.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_REPEATS_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_REPEATS_H

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "store/store.h"

namespace ostrel::tools::server {

class Repeats {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // How long a message with a higher id is a retransmission: longer than a
  // client goes on asking with the library's own schedule.
  static constexpr std::chrono::milliseconds kLife{60000};

  // How long a message with the same id is a duplicate.
  static constexpr std::chrono::milliseconds kOnTheWay{100};

  // The store has to outlive this object.
  explicit Repeats(Store* store);

  // What tells requests apart: the sender and every byte, among them the
  // request id.
  static std::string keyOf(const sockaddr_in& from, std::string_view request);

  // Whether two messages with the same bytes are one request: of the ids of the
  // first and of the later message, and the time between them.
  static bool areRepeats(std::uint16_t former, std::uint16_t message,
                         std::chrono::milliseconds passed);

  // The answer that was given, when the message is a repeat. Throws StoreError,
  // as the others do.
  std::optional<std::string> answerTo(std::string_view key,
                                      std::uint16_t message, Time arrived);

  // Keeps the answer to what was executed, in place of a former one.
  void keep(std::string_view key, std::uint16_t message, Time arrived,
            std::string_view answer);

  // Forgets answers that are old enough.
  void forget(Time now);

 private:
  std::int64_t milliseconds(Time time) const;

  Store* store_;

  // Calendar time of the two clocks' common beginning: while the server runs, a
  // change of the calendar's time moves nothing.
  std::chrono::milliseconds start_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_REPEATS_H
