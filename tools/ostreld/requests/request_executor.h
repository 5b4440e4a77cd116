// The object server without its socket: from the bytes of a request to the
// bytes of its answer, with everything that makes an answer a promise. One
// transaction for each request, on the disk before there is an answer; one
// execution, however often the request arrives.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_EXECUTOR_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_EXECUTOR_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "objects/registrations.h"
#include "requests/answer_cache.h"
#include "requests/request_router.h"
#include "store/store.h"

namespace ostrel::tools::server {

class RequestExecutor {
 public:
  // What is given has to outlive this object. An answer that would be longer
  // than `longestAnswer` bytes is a refusal instead.
  RequestExecutor(Store* store, Registrations* registrations,
                  RequestRouter* router, std::size_t longestAnswer);

  // The answer's bytes; empty when there is nothing to answer.
  std::string handle(const sockaddr_in& from, std::string_view request,
                     AnswerCache::Time now);

  // Forgets answers to changes that are old enough; to be called at times.
  // Throws StoreError.
  void tick(AnswerCache::Time now);

 private:
  // A request, where it came from and what it is remembered by.
  struct Asked {
    const RequestKind& kind;
    veskPDU& pdu;
    const sockaddr_in& from;
    const std::string& key;
    AnswerCache::Time now;
  };

  std::string read(const Asked& asked);
  std::string change(const Asked& asked);
  std::int64_t seconds(AnswerCache::Time now) const;

  Store* store_;
  Registrations* registrations_;
  RequestRouter* router_;
  std::size_t longestAnswer_;
  AnswerCache answers_;

  // Calendar time of the two clocks' common beginning: while the server runs, a
  // change of the calendar's time moves nothing.
  std::chrono::seconds start_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_EXECUTOR_H
