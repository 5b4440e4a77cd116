#include <ostrel/client.h>

#include <algorithm>

#include "base/platform.h"
#include "client/async/client_state.h"
#include "client/async/directory.h"
#include "client/async/search.h"
#include "client/async/watch.h"

namespace ostrel {
namespace {

struct Counter {
  const char* name;
  std::uint64_t EngineCounters::*count;
};

constexpr Counter kCounters[] = {
    {"requests", &EngineCounters::requests},
    {"answered", &EngineCounters::answered},
    {"no_answer", &EngineCounters::noAnswer},
    {"cancelled", &EngineCounters::cancelled},
    {"undecodable", &EngineCounters::undecodable},
    {"unsendable", &EngineCounters::unsendable},
    {"queue_full", &EngineCounters::overfull},
    {"port_closed", &EngineCounters::portsClosed},
    {"datagrams_sent", &EngineCounters::datagramsSent},
    {"retransmissions", &EngineCounters::retransmissions},
    {"datagrams_received", &EngineCounters::datagramsReceived},
    {"fragments_received", &EngineCounters::fragmentsReceived},
    {"malformed", &EngineCounters::malformed},
    {"unasked", &EngineCounters::unasked},
    {"unmatched", &EngineCounters::unmatched},
    {"wrong_sender", &EngineCounters::wrongSender},
    {"events", &EngineCounters::events},
    {"events_dropped", &EngineCounters::eventsDropped},
    {"other_reports", &EngineCounters::otherRefusals},
    {"incomplete_dropped", &EngineCounters::partialsDropped},
    {"kernel_dropped", &EngineCounters::kernelDrops},
    {"no_memory", &EngineCounters::noMemory},
};

// Enters an operation of several requests and begins it.
template <class Kind, class T, class... Parts>
Request<T> begin(ClientState& state, void (Kind::*start)(), Handler<T> handler,
                 Parts&&... parts) {
  Request<T> request;
  if (state.closing) return request;
  handler = ClientState::orCell(std::move(handler), &request);
  auto owned = std::make_unique<Kind>(state, std::forward<Parts>(parts)...,
                                      std::move(handler));
  Kind* operation = owned.get();
  state.enter(std::move(owned));
  state.name(operation, &request);
  try {
    (operation->*start)();
  } catch (...) {
    operation->forget(state);
    throw;
  }
  return request;
}

}  // namespace

void Ticket::cancel() {
  const std::shared_ptr<ClientState> state = client_.lock();
  if (state == nullptr) return;
  if (Operation* operation = state->find(*this)) operation->cancel(*state);
}

void Ticket::forget() {
  const std::shared_ptr<ClientState> state = client_.lock();
  if (state == nullptr) return;
  if (Operation* operation = state->find(*this)) operation->forget(*state);
}

bool Ticket::done() const noexcept {
  const std::shared_ptr<ClientState> state = client_.lock();
  return state == nullptr || state->find(*this) == nullptr;
}

int Ticket::drive() {
  const std::shared_ptr<ClientState> state = client_.lock();
  return state == nullptr ? 0 : state->drive(*this);
}

Client::Client(const ClientOptions& options)
    : state_(std::make_shared<ClientState>(options)) {}

Client::~Client() {
  try {
    state_->close();
  } catch (...) {
    // All handlers have run; nobody is left to tell.
  }
}

Request<Attributes> Client::get(const Endpoint& server, Oid oid, Aids wanted,
                                Handler<Attributes> handler,
                                RequestOptions options) {
  return state_->request(
      [&](Handler<Attributes> end) {
        return getOf(server, oid, wanted.list(), std::move(end));
      },
      std::move(handler), options);
}

Request<Done> Client::set(const Endpoint& server, Oid oid,
                          Attributes attributes, Handler<Done> handler,
                          RequestOptions options) {
  return state_->request(
      [&](Handler<Done> end) {
        return setOf(server, oid, attributes, std::move(end));
      },
      std::move(handler), options);
}

Request<Oid> Client::create(const Endpoint& server, Oid classOid,
                            Attributes attributes, Handler<Oid> handler,
                            RequestOptions options) {
  return state_->request(
      [&](Handler<Oid> end) {
        return createOf(server, classOid, attributes, std::move(end));
      },
      std::move(handler), options);
}

Request<Oid> Client::clone(const Endpoint& server, Oid oid,
                           Attributes attributes, Handler<Oid> handler,
                           RequestOptions options) {
  return state_->request(
      [&](Handler<Oid> end) {
        return cloneOf(server, oid, attributes, std::move(end));
      },
      std::move(handler), options);
}

Request<Done> Client::remove(const Endpoint& server, Oid oid,
                             Handler<Done> handler, RequestOptions options) {
  return state_->request(
      [&](Handler<Done> end) { return removeOf(server, oid, std::move(end)); },
      std::move(handler), options);
}

Request<Done> Client::verify(const Endpoint& server, Oid oid,
                             Handler<Done> handler, RequestOptions options) {
  return state_->request(
      [&](Handler<Done> end) { return verifyOf(server, oid, std::move(end)); },
      std::move(handler), options);
}

Request<Done> Client::action(const Endpoint& server, Oid oid, Aid action,
                             Values arguments, Handler<Done> handler,
                             RequestOptions options) {
  return state_->request(
      [&](Handler<Done> end) {
        return actionOf(server, oid, action, std::move(arguments),
                        std::move(end));
      },
      std::move(handler), options);
}

Request<Done> Client::search(const Endpoint& server, Oid classOid,
                             std::vector<Term> terms,
                             UniqueFunction<bool(std::vector<Object>&&)> page,
                             Handler<Done> end, SearchOptions options) {
  return begin<Search, Done>(*state_, &Search::next, std::move(end), server,
                             classOid, std::move(terms), std::move(page),
                             std::move(options));
}

Request<Found> Client::searchDirectory(const Endpoint& directory, Oid classOid,
                                       std::vector<Term> terms, Values second,
                                       Handler<Found> handler,
                                       RequestOptions options) {
  if (!directory.valid()) {
    return begin<DirectorySearch, Found>(
        *state_, &DirectorySearch::start, std::move(handler), classOid,
        std::move(terms), std::move(second), std::move(options));
  }
  return state_->request(
      [&](Handler<Found> end) {
        return directorySearchOf(directory, classOid, terms, std::move(second),
                                 std::move(end));
      },
      std::move(handler), options);
}

Request<Endpoint> Client::discover(Handler<Endpoint> handler) {
  return begin<Discovery, Endpoint>(*state_, &Discovery::next,
                                    std::move(handler));
}

Request<Done> Client::watch(const Endpoint& server, Oid oid, Aid event,
                            UniqueFunction<void(Event&&)> handler,
                            Handler<Done> end, RequestOptions options) {
  return begin<Watch, Done>(*state_, &Watch::start, std::move(end), server, oid,
                            event, std::move(handler), std::move(options));
}

void Client::run() { state_->run(); }

std::size_t Client::process(std::size_t most) { return state_->process(most); }

int Client::descriptor() { return state_->descriptor(); }

std::optional<Millis> Client::nextWait() const {
  const Moment due = state_->nextDue();
  if (due == kNever) return std::nullopt;
  const Moment wait = std::max<Moment>(due - platform::elapsed(), 0);
  return Millis((wait + kMillisecond - 1) / kMillisecond);
}

void Client::close() { state_->close(); }

Poster Client::poster() const {
  state_->openWakeup();
  Poster poster;
  poster.shared_ = state_->shared;
  return poster;
}

std::size_t Client::outstanding() const noexcept { return state_->inUse; }

std::size_t Client::queued() const noexcept { return state_->engine.queued(); }

void Client::eachCounter(
    UniqueFunction<void(const char* name, std::uint64_t count)> each) const {
  const EngineCounters& counters = state_->engine.counters();
  for (const Counter& counter : kCounters)
    each(counter.name, counters.*counter.count);
}

void Client::onDatagram(UniqueFunction<bool(const Datagram&)> tap) {
  state_->socket.setTap(std::move(tap));
}

std::array<std::uint64_t, 32> Client::roundTrips() const {
  static_assert(Engine::kBuckets == 32);
  std::array<std::uint64_t, 32> result{};
  std::copy_n(state_->engine.roundTrips(), Engine::kBuckets, result.begin());
  return result;
}

}  // namespace ostrel
