// Looking for a directory server, and asking one.

#ifndef OSTREL_SRC_DIRECTORY_H
#define OSTREL_SRC_DIRECTORY_H

#include <vector>

#include "client/async/composite.h"

namespace ostrel {

class Discovery : public Composite<Endpoint> {
 public:
  Discovery(ClientState& state, Handler<Endpoint> end)
      : Composite(state, "search for a directory server", std::move(end)) {}

  // Makes the next attempt.
  void next();

 private:
  unsigned attempt_ = 0;
};

class DirectorySearch : public Composite<Found> {
 public:
  DirectorySearch(ClientState& state, const Oid& classOid,
                  std::vector<Term> terms, Values second,
                  RequestOptions options, Handler<Found> end)
      : Composite(state, "directory search", std::move(end)),
        classOid_(classOid),
        terms_(std::move(terms)),
        second_(std::move(second)),
        options_(std::move(options)) {}

  // Looks for a server, then asks it.
  void start();

 private:
  void found(const Result<Endpoint>& server);

  Oid classOid_;
  std::vector<Term> terms_;
  Values second_;
  RequestOptions options_;
};

// Begins looking. Returns the ticket.
Ticket startDiscovery(ClientState& state, Handler<Endpoint> end);

}  // namespace ostrel

#endif  // OSTREL_SRC_DIRECTORY_H
