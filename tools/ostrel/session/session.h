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
#include <vector>

#include "session/exchange.h"
#include "session/failures.h"
#include "session/trace.h"
#include "terminal/output.h"

namespace ostrel::tools::cli {

// An object server that is asked.
struct Target {
  Endpoint at;
  std::string name;  // for people: the port where that is not the usual one
};

class Session {
 public:
  explicit Session(Output& output);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The object servers that are asked: those of --server and --servers, each
  // once, or this host. A name that cannot be resolved is handed to `lost` with
  // the failure, or throws it where it is the only one.
  using Lost = std::function<void(const std::string& name, const Failure&)>;
  const std::vector<Target>& servers(const Lost& lost);

  // The only one of them, for commands that ask one. Throws Failure when there
  // are several.
  Endpoint server() { return Endpoint(objectServer()); }

  // The same for people, with the port where that is not the usual one.
  std::string serverName();

  // The directory servers that are asked: those of --directory, or the one that
  // was found.
  std::vector<Target> directories(const Lost& lost);
  void useDirectory(const Target& found) { directory_ = found; }

  // What asks many things at once; made at the first call.
  Client& client();

  // How long its requests wait, and in whose name they are made. Looks the
  // user's principal up at the first call, and throws Failure as that does.
  RequestOptions requestOptions();
  RequestOptions requestOptions(const Endpoint& to);  // to another server

  // The times of the command line alone.
  RequestOptions times() const;

  // Lets the client work until `done` is true, or nothing is outstanding. What
  // is waited for is shown when that takes long. Throws Failure when a signal
  // came, and what handlers throw.
  using Shown = std::function<std::string()>;
  void drive(const std::function<bool()>& done, const Shown& what = {});

  // Has `begin(client, options)` make a request and waits until it has ended.
  // With --dry-run shows it instead and returns nothing. Throws Failure: a
  // signal came, or the request failed.
  template <class Begin>
  auto get(const Endpoint& to, Begin begin) {
    auto request = begin(client(), requestOptions(to));
    using Answer = std::optional<decltype(request.wait())>;
    if (output_.settings().dryRun) {
      show(request);
      return Answer();
    }
    await(request, [&] { return to.text(); });
    Answer answer(request.wait());
    if (!*answer) throw failureOf(answer->error(), to);
    return answer;
  }

  // Waits until a request has ended; `what` is who is waited for. Whatever ends
  // the wait, nothing of the request is left.
  void await(Ticket& request, const Shown& what);

  // The same until something else is done.
  void await(const std::function<bool()>& done, const Shown& what);

  // Shows what was asked for instead of sending it, for --dry-run.
  void show(Ticket& request);

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
  void noteDryRun();
  long sentAgain();
  Oid principal(const Endpoint& to);
  Oid findPrincipal(const Endpoint& to);
  Owned<veskPDU> exchange(const sockaddr_in& to, veskPDU& request);
  sockaddr_in lookUp(const std::string& server, std::uint16_t usualPort);
  const sockaddr_in& objectServer();
  std::vector<Target> lookUpAll(const std::string& names,
                                std::uint16_t usualPort, const Lost& lost);
  bool tap(const ostrel::Datagram& datagram);

  Output& output_;
  Trace trace_;
  Exchange exchange_;
  bool announcedDryRun_ = false;
  bool shown_ = false;  // the request of a dry run was whole
  std::vector<Target> servers_;
  std::optional<Target> directory_;
  std::optional<sockaddr_in> server_;
  std::optional<Oid> principal_;
  std::unique_ptr<Client> client_;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_SESSION_SESSION_H
