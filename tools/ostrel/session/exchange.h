// A request and what comes back, over the library's transaction handler. Unlike
// veskQueryHandler it can be watched and interrupted while it waits: it shows
// what it sends and receives, and how long it has been waiting.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_EXCHANGE_H
#define OSTREL_TOOLS_OSTREL_SESSION_EXCHANGE_H

#include <netinet/in.h>
#include <ostrel/transaction.h>
#include <ostrel/veskPDU.h>

#include <functional>
#include <string>

#include "common/owned.h"
#include "session/trace.h"
#include "session/waiting.h"
#include "terminal/output.h"

namespace ostrel::tools::cli {

// A request on its way.
struct Course {
  const sockaddr_in& to;
  veskPDU& request;
  long timeout;           // seconds until it is sent again
  int retries;            // how often it is
  std::string wait = "";  // what a long wait is for, where that is not what
                          // was asked for
};

class Exchange {
 public:
  // Both have to outlive this object.
  Exchange(Output& output, Trace& trace);
  ~Exchange();
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  // Lets multicasts cross so many networks.
  void setHops(int hops);

  // Sends a request, and again when it is time, and hands over each answer
  // until `take` returns true. Throws Failure: it cannot be sent, nobody
  // answered or listens there, or a signal came.
  using Take =
      std::function<bool(const sockaddr_in& from, Owned<veskPDU> answer)>;
  void run(const Course& course, const Take& take);

 private:
  // How far a request has come.
  struct Progress {
    Stopwatch watch;
    long sentAgain = 0;
    bool announced = false;
  };

  void open();
  void send(const Course& course);
  void endWhenRefused(const Course& course);
  void sendAgain(const Course& course, Progress* progress);
  void show(const Course& course, Progress* progress);
  bool receive(const Take& take);

  Output& output_;
  Trace& trace_;
  veskTransactionHandler handler_;
  int socket_ = -1;
};

// The answer as a Response. Throws Failure when it is of another class, or its
// status is neither 0 nor -1.
[[noreturn]] void throwWrongClass(veskPDU& answer);
void checkStatus(veskPDU& answer);
template <class Response>
Owned<Response> checked(Owned<veskPDU> answer) {
  auto response = takeAs<Response>(answer);
  if (response == nullptr) throwWrongClass(*answer);
  checkStatus(*response);
  return response;
}

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_EXCHANGE_H
