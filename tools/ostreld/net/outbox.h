// Answers on their way out of a server: short ones at once, those of one
// datagram together, and long ones in bursts with a rest after each, so that
// receivers keep up. Nothing waits for them.

#ifndef OSTREL_TOOLS_OSTRELD_NET_OUTBOX_H
#define OSTREL_TOOLS_OSTRELD_NET_OUTBOX_H

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "net/rate_limit.h"
#include "net/udp_socket.h"
#include "support/counters.h"

namespace ostrel::tools::server {

class Outbox {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // The longest answer, in bytes, that leaves at once. Of a longer one a burst
  // leaves, and another after each rest.
  static constexpr std::size_t kQuickMessage = 19 * kFragmentData;
  static constexpr std::size_t kBurst = 20;  // datagrams
  static constexpr std::chrono::milliseconds kRest{100};

  // When to try again where the system, or the address's bytes in a second,
  // had no room.
  static constexpr std::chrono::milliseconds kRetry{20};

  // How many wait, in all and for one address; more are dropped as if lost.
  static constexpr std::size_t kMost = 64;
  static constexpr std::size_t kMostOfOne = 4;

  // What is given has to outlive this object. `bytes` bounds what an address
  // gets in a second.
  Outbox(UdpSocket* socket, RateLimit* bytes, Counters* counters)
      : socket_(socket), bytes_(bytes), counters_(counters) {}

  // Sends a short answer now, or with the next flush(), and a long one later. A
  // short one waits too when there is no room for it now.
  void send(const sockaddr_in& to, std::string& answer, Time now);

  // Sends what send() put off, with one call of the system. To be called before
  // anything is waited for.
  void flush(Time now);

  // Sends what is due: a few bursts, to those who wait longest.
  void sendDue(Time now);

  // When sendDue() has something to do; never, when nothing waits.
  std::optional<Time> nextDue() const;

 private:
  // Answers of one datagram that leave together.
  static constexpr std::size_t kTogether = 16;

  // Bursts in a turn, so that requests have theirs soon.
  static constexpr int kBurstsOfTurn = 4;

  struct Waiting {
    Parcel parcel;
    Time due;
  };

  enum class Sent { kAll, kPart, kNoRoom, kBusy, kFailed };
  Sent sendBurst(Parcel* parcel, std::size_t most, Time now);
  void putBack(Parcel parcel, int cause, Time now);
  void wait(Parcel parcel, Time due, Counter otherwise);
  bool isFirst(std::size_t at) const;
  std::size_t earliest() const;
  void finish(std::size_t at, Time now);

  UdpSocket* socket_;
  RateLimit* bytes_;
  Counters* counters_;
  std::vector<Parcel> ready_;  // one datagram each; their bytes are spent
  std::deque<Waiting> waiting_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_OUTBOX_H
