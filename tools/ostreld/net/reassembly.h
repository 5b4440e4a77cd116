// Puts messages together from their fragments, for servers. What a header
// claims costs nothing: only bytes that have arrived take memory, and each
// sender's address has a bounded share of it. Does no I/O.

#ifndef OSTREL_TOOLS_OSTRELD_NET_REASSEMBLY_H
#define OSTREL_TOOLS_OSTRELD_NET_REASSEMBLY_H

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

#include "net/fragment.h"
#include "net/message.h"
#include "net/rate_limit.h"
#include "support/counters.h"

namespace ostrel::tools::server {

class Reassembly {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Incomplete messages: their number, and the bytes that they take, in all and
  // for one address. Beyond that one goes: of the address that has most, and
  // there of the port that has most, the one that has waited longest for
  // another of its fragments. Where several have as many, it is the one of
  // which least has arrived. So whoever goes on sending keeps what was sent,
  // however many messages others begin, and loses what they sent in vain
  // before.
  static constexpr std::size_t kMost = 1024;
  static constexpr std::size_t kMostOfOne = 256;
  static constexpr std::size_t kMostBytes = 128 << 20;
  static constexpr std::size_t kMostBytesOfOne = 16 << 20;

  // Nor more bytes than so many of the longest messages have.
  static constexpr std::size_t kLongest = 128;
  static constexpr std::size_t kLongestOfOne = 16;

  // How long a message may stay incomplete, from its first fragment.
  static constexpr std::chrono::seconds kLife{60};

  // What a fragment costs besides its bytes, about.
  static constexpr std::size_t kFragmentCost = 128;

  // A message of more than `longest` bytes is not taken. The counters have to
  // outlive this object.
  Reassembly(std::size_t longest, Counters* counters);

  // Takes a datagram. Returns whether it completes a message. One that begins a
  // message, whole or not, costs its sender one of the rate, if there is one;
  // whatever is refused is counted.
  bool take(const sockaddr_in& from, std::string_view datagram, Time now,
            RateLimit* rate, Message* message);

  // Drops what has been incomplete for too long; to be called at times.
  void expire(Time now);

  std::size_t count() const { return partials_.size(); }
  std::size_t bytes() const { return bytes_; }

 private:
  // What an address holds.
  struct Share {
    std::size_t count = 0;
    std::size_t bytes = 0;
  };
  struct Piece {
    std::uint32_t offset;
    std::string bytes;
  };
  struct Partial {
    Message message;  // without its bytes
    std::uint16_t count;
    std::uint32_t total;
    Time expires;
    Share* share;                           // of its sender's address
    std::map<std::uint16_t, Piece> pieces;  // by number
    std::size_t bytes;
  };
  using Partials = std::list<Partial>;  // what waits longest comes first

  bool mayBegin(const sockaddr_in& from, std::size_t total, Time now,
                RateLimit* rate);
  void open(const sockaddr_in& from, const Fragment& fragment, Time now);
  bool add(std::uint64_t key, const Fragment& fragment, std::string_view data);
  static void finish(const Partial& partial, Message* message);
  void makeRoom(in_addr address, std::size_t bytes);
  void dropOf(in_addr address, bool byBytes);
  template <class Size>
  Partials::iterator victim(bool byBytes, Size size);
  in_addr largest(bool byBytes);
  void forget(Partials::iterator partial);
  bool refuse(Counter why);

  std::size_t longest_;
  std::size_t mostBytes_;
  std::size_t mostBytesOfOne_;
  Counters* counters_;
  Partials partials_;
  std::unordered_map<std::uint64_t, Partials::iterator> byKey_;
  std::unordered_map<std::uint32_t, Share> shares_;  // by address
  std::size_t bytes_ = 0;
  Time nextSweep_{};
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_NET_REASSEMBLY_H
