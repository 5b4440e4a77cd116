// The object server without its socket: from the bytes of a request to the
// bytes of its answer, with everything that makes an answer a promise. One
// transaction for each request, on the disk before there is an answer; one
// execution, however often the request arrives.

#ifndef OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_EXECUTOR_H
#define OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_EXECUTOR_H

#include <cstddef>
#include <string>

#include "net/udp_socket.h"
#include "objects/registrations.h"
#include "requests/repeats.h"
#include "requests/request_router.h"
#include "store/store.h"

namespace ostrel::tools::server {

class RequestExecutor {
 public:
  using Time = Repeats::Time;

  // What is given has to outlive this object. An answer that would be longer
  // than `longestAnswer` bytes is a refusal instead.
  RequestExecutor(Store* store, Registrations* registrations,
                  RequestRouter* router, std::size_t longestAnswer);

  // The answer's bytes; empty when there is nothing to answer.
  std::string handle(const Message& message, Time now);

  // Forgets answers to changes that are old enough; to be called at times.
  // Throws StoreError.
  void tick(Time now);

 private:
  // A request, as it arrived and as it was understood.
  struct Asked {
    const RequestKind& kind;
    veskPDU& pdu;
    const Message& message;
    Time now;
  };

  std::string read(const Asked& asked);
  std::string change(const Asked& asked);

  Store* store_;
  Registrations* registrations_;
  RequestRouter* router_;
  std::size_t longestAnswer_;
  Repeats repeats_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_REQUESTS_REQUEST_EXECUTOR_H
