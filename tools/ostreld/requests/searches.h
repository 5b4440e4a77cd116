// Searches under way. Each goes on in turns, so that other requests are
// answered meanwhile; what takes more work than its budget is given up.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_SEARCHES_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_SEARCHES_H

#include <ostrel/veskPDU.h>

#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "common/owned.h"
#include "net/udp_socket.h"
#include "objects/search.h"
#include "requests/request_router.h"
#include "support/counters.h"
#include "support/limits.h"

namespace ostrel::tools::server {

// An answer and where it goes.
struct Answer {
  sockaddr_in to;
  std::string bytes;
};

// What one request may cost.
struct RequestLimits {
  std::size_t longestAnswer = 256 << 10;    // bytes
  std::chrono::milliseconds budget{10000};  // of work
  std::size_t mostValues = kMostValues;     // in the request
};

class Searches {
 public:
  using Time = Search::Time;

  // How many are under way, in all and for one address, and the bytes of their
  // requests and of what they have found. Further ones are dropped as if lost.
  static constexpr std::size_t kMost = 256;
  static constexpr std::size_t kMostOfOne = 128;
  static constexpr std::size_t kMostBytes = 64 << 20;

  // What is given has to outlive this object.
  Searches(RequestRouter* router, Counters* counters, RequestLimits limits);
  ~Searches();

  // Searches under way keep the bound of their answers.
  void setLimits(const RequestLimits& limits) { limits_ = limits; }

  // Begins a search, unless there are too many.
  void add(Message&& message, Owned<veskSearchPDU> request);

  // Whether the same is being searched: it has one answer.
  bool has(const Message& message) const;

  // Goes on until then; a search that has just begun comes first, the others
  // take turns. Appends the answers of those that ended. Returns whether there
  // are any left.
  bool work(Time until, std::vector<Answer>* answers);

 private:
  struct UnderWay;

  static std::size_t costOf(const Message& message);
  bool hasRoomFor(const Message& message) const;
  bool step(UnderWay* each, Time until);
  std::string finish(UnderWay* each);

  RequestRouter* router_;
  Counters* counters_;
  RequestLimits limits_;
  std::list<std::unique_ptr<UnderWay>> underWay_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_SEARCHES_H
