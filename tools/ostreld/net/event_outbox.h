// Events on their way out of a server, within what their address may get.
// Whoever registered chose that address, and it need not be theirs: so an event
// costs both of them, and what is beyond the bounds is dropped, never kept.

#ifndef OSTREL_TOOLS_OSTRELD_NET_EVENT_OUTBOX_H
#define OSTREL_TOOLS_OSTRELD_NET_EVENT_OUTBOX_H

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "net/rate_limit.h"
#include "net/udp_socket.h"
#include "support/counters.h"

namespace ostrel::tools::server {

class EventOutbox {
 public:
  using Time = RateLimit::Time;

  // Events leave together; so many at the most.
  static constexpr std::size_t kMost = 256;

  // What is given has to outlive this object. `rate` counts datagrams, `bytes`
  // the bytes of events to an address. A part of the rate, `spare` datagrams in
  // a second, is left for requests: events alone do not make a server deaf to
  // an address.
  EventOutbox(UdpSocket* socket, RateLimit* rate, std::size_t spare,
              RateLimit* bytes, Counters* counters)
      : socket_(socket),
        rate_(rate),
        spare_(spare),
        bytes_(bytes),
        counters_(counters) {}

  void setSpare(std::size_t spare) { spare_ = spare; }

  // Takes an event, which leaves with flush() at the latest; or drops it.
  void send(const sockaddr_in& to, in_addr askedBy, const std::string& bytes,
            Time now);

  void flush();

 private:
  bool allows(const sockaddr_in& to, in_addr askedBy, std::size_t bytes,
              Time now);

  UdpSocket* socket_;
  RateLimit* rate_;
  std::size_t spare_;
  RateLimit* bytes_;
  Counters* counters_;
  std::vector<Parcel> ready_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_EVENT_OUTBOX_H
