// Many servers at once, without waiting: the interface for new programs.
//
//   ostrel::Client client;
//   for (const ostrel::Endpoint& server : servers)
//     client.get(server, "59.1.0.1", {"59.1.4", "59.1.5"},
//                [server](const ostrel::Result<ostrel::Attributes>& load) {
//                  if (!load) return report(server, load.error());
//                  std::cout << server << ' ' << load->at("59.1.5") << '\n';
//                });
//   client.run();
//
// Requests are made by calls that return at once; their handlers run later, in
// run() or process(). Each request ends exactly once, by an answer or an error,
// unless it is forgotten.
//
// Calls throw std::bad_alloc when there is no memory for the request; then
// nothing has been taken. A client belongs to one thread. Only a Poster may be
// used by others.

#ifndef OSTREL_CLIENT_H
#define OSTREL_CLIENT_H

#include <ostrel/attributes.h>
#include <ostrel/export.h>
#include <ostrel/function.h>
#include <ostrel/identifier.h>
#include <ostrel/result.h>
#include <ostrel/value.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace ostrel {

using Millis = std::chrono::milliseconds;

// Takes the result of a request; run once. A function that takes a
// `const Result<T>&` fits.
template <class T>
using Handler = UniqueFunction<void(Result<T>&&)>;

// For one request. Zero or empty: as the client's options say.
struct RequestOptions {
  // From the call, time in the queue included. When it is given, it alone says
  // when waiting ends.
  Millis deadline{0};
  // To the second transmission, doubled for each further one. When it is given,
  // nothing is estimated; with `transmissions` it also says when waiting ends.
  Millis firstWait{0};
  int transmissions = 0;  // at most
  // In whose name; an invalid identifier: in nobody's. Without one, in the name
  // of the program's user, which is looked up once.
  std::optional<Oid> principal{};
};

struct ClientOptions {
  Millis firstWait{3000};        // for servers that have not answered yet
  Millis shortestWait{100};      // for others, however fast they are
  Millis inAll{21000};           // from the first transmission to giving up
  int transmissions = 6;         // at most
  bool adaptive = true;          // false: all servers as if they were unknown
  unsigned perServer = 8;        // requests under way for each server
  unsigned perServerSilent = 1;  // for one that was just given up
  unsigned inFlight = 0;  // answers expected at once; 0: what the receive
                          // buffer holds
  // What may wait in queues. More is refused: unsendable, ENOBUFS.
  std::size_t queued = 100000;
  std::size_t queuedBytes = std::size_t{64} << 20;
  // A machine that says that nobody listens ends a request at once: portClosed.
  // True: such reports are ignored, and the request is sent again in its time.
  bool retryClosedPort = false;
};

struct SearchOptions {
  RequestOptions request{};
  // With these attributes, none: all; std::nullopt: identifiers alone.
  std::optional<std::vector<Aid>> wanted{};
  unsigned page = 500;  // objects in a page at most
};

// Identifiers of attributes: in braces, or a vector. In braces they are no
// std::initializer_list, as g++ 12 cannot keep one across co_await.
class Aids {
 public:
  Aids() noexcept = default;
  Aids(std::vector<Aid> list) noexcept : list_(std::move(list)) {}
  template <class... Each,
            std::enable_if_t<(sizeof...(Each) > 0) &&
                                 (std::is_convertible_v<Each, Aid> && ...),
                             int> = 0>
  Aids(Each&&... each) {
    list_.reserve(sizeof...(each));
    (list_.emplace_back(std::forward<Each>(each)), ...);
  }
  const std::vector<Aid>& list() const noexcept { return list_; }

 private:
  std::vector<Aid> list_;
};

// What a watch tells.
struct Event {
  Endpoint server;
  Oid oid;  // the object
  Aid event;
  Values arguments;  // attributes, mostly
  // Events may have been missed until now; the rest is empty then.
  bool gap = false;
};

// What a directory server answers to a search.
struct Found {
  Values objects;  // identifiers
  Values second;   // of each the address of its server
  Endpoint answeredBy;
};

// A datagram that a client is about to send, or has received. Its bytes are
// those of the wire and live as long as the call that shows them.
struct Datagram {
  bool received = false;
  Endpoint peer;
  std::string_view bytes;
};

class Client;
struct ClientState;

// A request, whatever it returns. See Request.
class OSTREL_API Ticket {
 public:
  Ticket() noexcept = default;

  // False: the client was closing. Nothing was taken, and no handler will run.
  explicit operator bool() const noexcept { return taken_; }

  // The request ends as cancelled, later, from the loop. Nothing happens when
  // it has ended.
  void cancel();

  // Destroys the handler now, uncalled, and drops the request: for owners that
  // go away. Nothing happens when it has ended.
  void forget();

  // Whether it has ended, or was forgotten.
  bool done() const noexcept;

 protected:
  friend struct ClientState;

  // Runs the loop until the request has ended. Returns 0; EDEADLK in a handler.
  int drive();

  std::weak_ptr<ClientState> client_;
  std::uint32_t slot_ = 0;
  std::uint32_t generation_ = 0;
  bool taken_ = false;
};

// Names one request that returns a T. It may outlive the client. Dropping it
// changes nothing.
template <class T>
class Request : public Ticket {
 public:
  Request() noexcept = default;

  // Runs the loop until the request has ended, other handlers included, and
  // returns its result. For requests without a handler, once. Failure::misuse
  // when this is called in a handler, for a request that has a handler, whose
  // result was taken, or that was forgotten or never taken.
  Result<T> wait() {
    const auto misuse = [](int error) {
      return Result<T>(Error(Failure::misuse, kNetworkError, error));
    };
    if (!taken_ || cell_ == nullptr) return misuse(EINVAL);
    const int error = drive();
    if (error != 0) return misuse(error);
    if (!cell_->result) return misuse(EINVAL);
    std::optional<Result<T>> taken;
    taken.swap(cell_->result);
    return std::move(*taken);
  }

  // Gives a request without a handler one. If it has ended already, the handler
  // runs here and now. False: the request has a handler.
  bool then(Handler<T> handler) {
    if (cell_ == nullptr) return false;
    if (!cell_->result) {
      cell_->handler = std::move(handler);
      return true;
    }
    std::optional<Result<T>> taken;
    taken.swap(cell_->result);
    handler(std::move(*taken));
    return true;
  }

 private:
  friend struct ClientState;

  struct Cell {
    std::optional<Result<T>> result;
    Handler<T> handler;
  };
  std::shared_ptr<Cell> cell_;  // null: the request has a handler
};

// Hands work to a client, from any thread. Copyable.
class OSTREL_API Poster {
 public:
  Poster() noexcept = default;

  // Has the client's thread do this, in run() or process(). False: the client
  // is gone or closing, or cannot be waked; the work is destroyed.
  bool post(UniqueFunction<void()> work) const;

  // Ends run(), or the next call of it. Safe in signal handlers.
  void stop() const noexcept;

 private:
  friend class Client;
  friend struct ClientState;
  struct Shared;
  std::shared_ptr<Shared> shared_;
};

class OSTREL_API Client {
 public:
  // Without a socket requests end as unsendable, with the cause.
  explicit Client(const ClientOptions& options = {});
  ~Client();  // as close(); what handlers throw then is dropped
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Requests to object servers, in their order for each server. Two changes of
  // one object (set, remove, action) are never under way together.
  //
  // An empty list of attributes asks for all. Where the server says that some
  // items failed, the result is a success, and itemErrors() says which.
  Request<Attributes> get(const Endpoint& server, Oid oid, Aids wanted,
                          Handler<Attributes> handler = {},
                          RequestOptions options = {});
  Request<Done> set(const Endpoint& server, Oid oid, Attributes attributes,
                    Handler<Done> handler = {}, RequestOptions options = {});
  // The new object's identifier; not valid when item errors say that none was
  // made.
  Request<Oid> create(const Endpoint& server, Oid classOid,
                      Attributes attributes, Handler<Oid> handler = {},
                      RequestOptions options = {});
  Request<Oid> clone(const Endpoint& server, Oid oid, Attributes attributes,
                     Handler<Oid> handler = {}, RequestOptions options = {});
  Request<Done> remove(const Endpoint& server, Oid oid,
                       Handler<Done> handler = {}, RequestOptions options = {});
  Request<Done> verify(const Endpoint& server, Oid oid,
                       Handler<Done> handler = {}, RequestOptions options = {});
  // The object is not sent: the server finds it from the action, the principal
  // and the arguments. Here it says what must not be changed at the same time.
  Request<Done> action(const Endpoint& server, Oid oid, Aid action,
                       Values arguments, Handler<Done> handler = {},
                       RequestOptions options = {});

  // All objects of a class that meet the terms, page by page. The next page is
  // asked for when `page` has returned true; `end` comes once. A server that
  // knows no pages is asked for all at once, then for the attributes of each;
  // objects or attributes that it refuses to show are item errors, each with
  // the position of the object among those found.
  Request<Done> search(const Endpoint& server, Oid classOid,
                       std::vector<Term> terms,
                       UniqueFunction<bool(std::vector<Object>&&)> page,
                       Handler<Done> end = {}, SearchOptions options = {});

  // Asks a directory server. An invalid endpoint: the one that is found first.
  Request<Found> searchDirectory(const Endpoint& directory, Oid classOid,
                                 std::vector<Term> terms, Values second = {},
                                 Handler<Found> handler = {},
                                 RequestOptions options = {});
  // Looks for a directory server by multicast, at first near by.
  Request<Endpoint> discover(Handler<Endpoint> handler = {});

  // Events of an object, or of a class, from now on: registers, renews, and
  // registers again when the server has lost the registration. `event` "59.6.0"
  // stands for creation, change and removal. `end` says why it ended: refused
  // registration, cancel() or close(). cancel() unregisters.
  Request<Done> watch(const Endpoint& server, Oid oid, Aid event,
                      UniqueFunction<void(Event&&)> handler,
                      Handler<Done> end = {}, RequestOptions options = {});

  // Until nothing is outstanding, or stop(). In a handler this does nothing.
  // What a handler throws comes out; its request is done, and the client goes
  // on when this is called again.
  void run();

  // Does what is due and never blocks; runs `most` handlers at most. Returns
  // how many. With more due, descriptor() stays readable. In a handler: 0.
  std::size_t process(std::size_t most = 256);

  // One descriptor as long as the client lives, readable when process() has
  // something to do; made at the first call. -1 with the cause in errno; ENOSYS
  // on systems that have none: use nextWait() and run().
  int descriptor();

  // How long until process() has something to do even if nothing arrives;
  // nothing: for ever.
  std::optional<Millis> nextWait() const;

  // Ends all requests as cancelled and takes no more. In a handler: after it
  // has returned.
  void close();

  Poster poster() const;

  // Requests that have not ended; those that have not been sent.
  std::size_t outstanding() const noexcept;
  std::size_t queued() const noexcept;

  // What the client counts, by name.
  void eachCounter(
      UniqueFunction<void(const char* name, std::uint64_t count)> each) const;

  // Shows each datagram before it is sent, and each that arrives before it is
  // judged: for traces, and for tests with losses. Where `tap` returns false
  // the datagram is lost. It must not call the client. With a tap datagrams are
  // sent one at a time. An empty function ends it.
  void onDatagram(UniqueFunction<bool(const Datagram&)> tap);

  // Answers by the time that they took: at position n those of up to 2 to the
  // power of n microseconds. Those to requests that were sent twice are left
  // out.
  std::array<std::uint64_t, 32> roundTrips() const;

 private:
  std::shared_ptr<ClientState> state_;  // a loop keeps it while it runs
};

}  // namespace ostrel

#endif  // OSTREL_CLIENT_H
