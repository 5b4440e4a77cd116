#include "client/async/directory.h"

#include <iterator>

namespace ostrel {

void Discovery::next() {
  guarded([&] {
    const DiscoveryAttempt& attempt = kDiscoveryAttempts[attempt_++];
    RequestOptions options;
    options.principal = Oid();
    ask(discoveryOf(attempt.seconds, attempt.ttl,
                    [this](Result<Endpoint>&& found) {
                      allAnswered();
                      const bool again =
                          !found && found.error().kind() == Failure::noAnswer &&
                          attempt_ < std::size(kDiscoveryAttempts);
                      if (again) return next();
                      finish(std::move(found));
                    }),
        options);
  });
}

Ticket startDiscovery(ClientState& state, Handler<Endpoint> end) {
  Ticket ticket;
  auto owned = std::make_unique<Discovery>(state, std::move(end));
  Discovery* discovery = owned.get();
  state.enter(std::move(owned));
  state.name(discovery, &ticket);
  try {
    discovery->next();
  } catch (...) {
    discovery->forget(state);
    throw;
  }
  return ticket;
}

void DirectorySearch::start() {
  guarded([&] {
    keep([this] {
      return startDiscovery(
          state_, [this](const Result<Endpoint>& server) { found(server); });
    });
  });
}

void DirectorySearch::found(const Result<Endpoint>& server) {
  allAnswered();
  if (!server) return finish(server.error());
  guarded([&] {
    ask(directorySearchOf(*server, classOid_, terms_, std::move(second_),
                          [this](Result<Found>&& answer) {
                            allAnswered();
                            finish(std::move(answer));
                          }),
        options_);
  });
}

}  // namespace ostrel
