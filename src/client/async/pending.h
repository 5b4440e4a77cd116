// A single request of a client: what becomes of its answer.

#ifndef OSTREL_SRC_PENDING_H
#define OSTREL_SRC_PENDING_H

#include <ostrel/client.h>

#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "client/engine/call.h"

namespace ostrel {

// What a ticket names.
class Operation {
 public:
  Operation() = default;
  virtual ~Operation() = default;
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  // Ends as cancelled, later, from the loop.
  virtual void cancel(ClientState& state) = 0;
  // Goes away now, uncalled.
  virtual void forget(ClientState& state) = 0;
  // Ends as cancelled now: the client closes, and no request of it is left.
  virtual void close(ClientState&) {}
  // What setAlarm() asked for.
  virtual void alarm(ClientState&) {}

  static constexpr std::uint32_t kNoSlot = ~std::uint32_t{0};
  std::uint32_t slotNumber = kNoSlot;
};

class Pending : public Call, public Operation {
 public:
  void cancel(ClientState& state) override;
  void forget(ClientState& state) override;

  // Makes the result of what came, then destroys itself, then has the handler
  // run.
  virtual void complete(std::unique_ptr<Pending> self) = 0;

  // The error that it ended with; of an answer, the server's code.
  Error failure(int status = 0) const;

  const char* verb = "";
  Oid oid;
};

// The header of an answer that has been read, and what is behind.
struct AnswerBytes {
  int status = 0;
  const char* members = nullptr;
  std::size_t size = 0;
};
bool readAnswer(const std::string& answer, AnswerBytes* read);

// Each makes the result of a successful answer's members. False: they are not
// what they should be.
template <class T>
using ReadMembers = bool (*)(const Pending& pending, const AnswerBytes& bytes,
                             T* value, std::vector<ItemError>* errors);

template <class T>
class PendingOf : public Pending {
 public:
  PendingOf(ReadMembers<T> readMembers, Handler<T> handler)
      : readMembers_(readMembers), handler_(std::move(handler)) {}

  void complete(std::unique_ptr<Pending> self) override {
    Handler<T> handler = std::move(handler_);
    Result<T> result = resultOf();
    self.reset();
    handler(std::move(result));
  }

 private:
  Result<T> resultOf() try {
    if (ended != Ended::kAnswered) return failure();
    AnswerBytes bytes;
    T value{};
    std::vector<ItemError> errors;
    const bool readable = readAnswer(answer, &bytes);
    if (readable && bytes.status != kNoError && bytes.status != kArgListError)
      return failure(bytes.status);
    if (readable && readMembers_(*this, bytes, &value, &errors)) {
      // A part failed, and the server does not say which.
      if (bytes.status == kArgListError && errors.empty())
        errors.push_back({0, Aid(), kArgListError});
      return Result<T>(std::move(value), std::move(errors));
    }
    ended = Ended::kUndecodable;
    error = EBADMSG;
    return failure();
  } catch (const std::bad_alloc&) {
    ended = Ended::kUndecodable;
    error = ENOMEM;
    return failure();
  }

  ReadMembers<T> readMembers_;
  Handler<T> handler_;
};

// The requests, complete but for their options.
std::unique_ptr<PendingOf<Attributes>> getOf(const Endpoint& server,
                                             const Oid& oid,
                                             const std::vector<Aid>& wanted,
                                             Handler<Attributes> handler);
// The same, whatever elements the answer has.
std::unique_ptr<PendingOf<Values>> getAllOf(const Endpoint& server,
                                            const Oid& oid,
                                            Handler<Values> handler);
std::unique_ptr<PendingOf<Done>> setOf(const Endpoint& server, const Oid& oid,
                                       const Attributes& attributes,
                                       Handler<Done> handler);
std::unique_ptr<PendingOf<Oid>> createOf(const Endpoint& server, const Oid& oid,
                                         const Attributes& attributes,
                                         Handler<Oid> handler);
std::unique_ptr<PendingOf<Oid>> cloneOf(const Endpoint& server, const Oid& oid,
                                        const Attributes& attributes,
                                        Handler<Oid> handler);
std::unique_ptr<PendingOf<Done>> removeOf(const Endpoint& server,
                                          const Oid& oid,
                                          Handler<Done> handler);
std::unique_ptr<PendingOf<Done>> verifyOf(const Endpoint& server,
                                          const Oid& oid,
                                          Handler<Done> handler);
std::unique_ptr<PendingOf<Done>> actionOf(const Endpoint& server,
                                          const Oid& oid, const Aid& action,
                                          Values arguments,
                                          Handler<Done> handler);
std::unique_ptr<PendingOf<Values>> searchOf(const Endpoint& server,
                                            const Oid& classOid,
                                            const std::vector<Term>& terms,
                                            Handler<Values> handler);
std::unique_ptr<PendingOf<Found>> directorySearchOf(
    const Endpoint& directory, const Oid& classOid,
    const std::vector<Term>& terms, Values second, Handler<Found> handler);
std::unique_ptr<PendingOf<Endpoint>> discoveryOf(long seconds, std::uint8_t ttl,
                                                 Handler<Endpoint> handler);

// A principal as it stands in front of a request's members.
std::string principalBytes(const Oid& principal);

}  // namespace ostrel

#endif  // OSTREL_SRC_PENDING_H
