// The trail of what was refused: who asked, for what, and why not.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_REFUSALS_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_REFUSALS_H

#include <netinet/in.h>
#include <ostrel/veskPDU.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "requests/request_router.h"

namespace ostrel::tools::server {

class Refusals {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // An address has one line in this time; the next one counts what came
  // between. Addresses beyond the bound have none: nobody fills a disk.
  static constexpr std::chrono::seconds kQuiet{10};
  static constexpr std::size_t kMostAddresses = 1024;

  // Logs that a request was refused with a code; 0: it was dropped.
  void note(const RequestKind& kind, veskPDU& request, const sockaddr_in& from,
            int code, Time now);

 private:
  struct Address {
    Time logged;
    unsigned more;  // since then
  };

  bool mayLog(in_addr address, Time now, unsigned* more);

  std::map<std::uint32_t, Address> addresses_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_REFUSALS_H
