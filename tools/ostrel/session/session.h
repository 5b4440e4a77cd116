// One request and its answer, over the library's transaction handler. Unlike
// veskQueryHandler it can be watched and interrupted while it waits: it shows
// what it sends and receives, and how long it has been waiting.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_SESSION_H
#define OSTREL_TOOLS_OSTREL_SESSION_SESSION_H

#include <netinet/in.h>
#include <ostrel/codes.h>
#include <ostrel/transaction.h>
#include <ostrel/veskPDU.h>

#include <functional>
#include <optional>
#include <string>

#include "common/addresses.h"
#include "format/value_text.h"
#include "session/trace.h"
#include "terminal/output.h"

namespace ostrel::tools::cli {

// An IPv4 host by name or address. Shows progress; throws Failure.
in_addr resolve(const std::string& host, Output& output);

class Session {
 public:
  explicit Session(Output& output);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The object server that is asked: --server, or this host.
  in_addr server();

  // Sends a request to an object server and waits for its answer, which is a
  // Response. With --dry-run shows the request instead and returns null.
  // Throws Failure: nobody answered, the answer is of another class, or its
  // status is neither 0 nor -1.
  template <class Response>
  Arrived<Response> ask(veskPDU& request) {
    return askAt<Response>(server(), kObjectServerPort, request);
  }
  template <class Response>
  Arrived<Response> askAt(in_addr host, unsigned short port, veskPDU& request) {
    Arrived<veskPDU> answer = exchange(host, port, request);
    if (answer == nullptr) return nullptr;
    auto* response = dynamic_cast<Response*>(answer.get());
    if (response == nullptr) throwWrongClass(*answer);
    answer.release();
    Arrived<Response> owned(response);
    checkStatus(*owned);
    return owned;
  }

  // Sends a request to the directory service's group, across `hops` networks,
  // and hands over each answer until `take` returns true or `seconds` are over.
  // Returns whether `take` ended it. With --dry-run shows the request instead.
  using Take = std::function<bool(in_addr from, veskPDU& answer)>;
  bool gather(veskPDU& request, int hops, long seconds, const Take& take);

  // Waits until a socket can be read, at most a second. Returns whether it can.
  // Throws Failure when a signal came.
  static bool waitFor(int socket);

  Output& output() { return output_; }
  Trace& trace() { return trace_; }

 private:
  struct Course {
    const sockaddr_in& to;
    veskPDU& request;
    long timeout;
    int retries;
  };

  void open();
  void wouldSend(const sockaddr_in& to, veskPDU& request);
  veskOid principal(const sockaddr_in& to);
  veskOid lookUpPrincipal();
  Arrived<veskPDU> exchange(in_addr host, unsigned short port,
                            veskPDU& request);
  bool run(const Course& course, const Take& take);
  [[noreturn]] void throwNoAnswer(const Course& course, int code);
  [[noreturn]] static void throwWrongClass(veskPDU& answer);
  static void checkStatus(veskPDU& answer);

  Output& output_;
  Trace trace_;
  veskTransactionHandler handler_;
  int socket_ = -1;
  bool announcedDryRun_ = false;
  bool lookingUp_ = false;   // the requests are those of the lookup
  bool lookupOnce_ = false;  // and are sent once
  std::optional<in_addr> server_;
  std::optional<veskOid> principal_;
};

// What to do about a return code, in a sentence; may be empty.
std::string hintFor(int code);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_SESSION_H
