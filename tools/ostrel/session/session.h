// What a command asks servers with: knows the server, the principal and the
// options of the command line.

#ifndef OSTREL_TOOLS_OSTREL_SESSION_SESSION_H
#define OSTREL_TOOLS_OSTREL_SESSION_SESSION_H

#include <netinet/in.h>
#include <ostrel/client.h>
#include <ostrel/codes.h>
#include <ostrel/veskPDU.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "session/exchange.h"
#include "session/trace.h"
#include "terminal/output.h"

namespace ostrel::tools::cli {

class Session {
 public:
  explicit Session(Output& output);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The object server that is asked: --server, or this host.
  Endpoint server() { return Endpoint(objectServer()); }

  // The same for people, with the port where that is not the usual one.
  std::string serverName();

  // The directory server that is asked; nothing when it has to be found.
  std::optional<sockaddr_in> directory();

  // What asks many things at once; made at the first call.
  Client& client();

  // How long its requests wait, and in whose name they are made. Looks the
  // user's principal up at the first call, and throws Failure as that does.
  RequestOptions requestOptions();

  // Lets the client work until `done` is true, or nothing is outstanding.
  // Throws Failure when a signal came, and what handlers throw.
  void drive(const std::function<bool()>& done);

  // Sends a request to an object server and waits for its answer, which is a
  // Response. With --dry-run shows the request instead and returns null.
  // Throws Failure: nobody answered, the answer is of another class, or its
  // status is neither 0 nor -1.
  template <class Response>
  Owned<Response> ask(veskPDU& request) {
    return askAt<Response>(objectServer(), request);
  }
  template <class Response>
  Owned<Response> askAt(const sockaddr_in& to, veskPDU& request) {
    Owned<veskPDU> answer = exchange(to, request);
    if (answer == nullptr) return nullptr;
    return checked<Response>(std::move(answer));
  }

  // Sends a request to the directory service's group, across `hops` networks,
  // and hands over each answer until `take` returns true or `seconds` are over.
  // Returns whether `take` ended it. With --dry-run shows the request instead.
  using Take = std::function<bool(in_addr from, veskPDU& answer)>;
  bool gather(veskPDU& request, int hops, long seconds, const Take& take);

  Output& output() { return output_; }
  Trace& trace() { return trace_; }

 private:
  void wouldSend(const sockaddr_in& to, veskPDU& request);
  veskOid principal(const sockaddr_in& to);
  veskOid findPrincipal(const sockaddr_in& to);
  Owned<veskPDU> exchange(const sockaddr_in& to, veskPDU& request);
  sockaddr_in lookUp(const std::string& server, std::uint16_t usualPort);
  const sockaddr_in& objectServer();

  Output& output_;
  Trace trace_;
  Exchange exchange_;
  bool announcedDryRun_ = false;
  std::optional<sockaddr_in> server_;
  std::optional<veskOid> principal_;
  std::unique_ptr<Client> client_;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_SESSION_H
