#include "client/async/watch.h"

#include <ostrel/names.h>

#include <algorithm>

#include "base/platform.h"
#include "client/async/value_codec.h"

namespace ostrel {
namespace {

constexpr Moment kLookEach = 55 * kSecond;  // and the answer within a minute
constexpr Moment kRetryAfter = 5 * kSecond;
constexpr Moment kRenewEach = 1800 * kSecond;

// Of the events of every object, those that 59.6.0 stands for.
bool isOrdinary(const Aid& event) {
  return event == kEventCreated || event == kEventChanged ||
         event == kEventRemoved;
}

// An object stands for itself, a class for its objects, 0.0.0.0 for all.
bool covers(const Oid& watched, const Oid& oid) {
  if (watched == oid || watched == kEverything) return true;
  return watched == oid.classOid();
}

}  // namespace

Watch::Watch(ClientState& state, const Endpoint& server, const Oid& oid,
             const Aid& event, Tell tell, RequestOptions options,
             Handler<Done> end)
    : Composite(state, "watch", std::move(end)),
      server_(server),
      oid_(oid),
      event_(event),
      tell_(std::move(tell)),
      options_(std::move(options)) {
  state_.watches.push_back(this);
  try {
    state_.engine.watchHost(server_.address());
  } catch (...) {
    state_.watches.pop_back();
    throw;
  }
}

Watch::~Watch() {
  auto& all = state_.watches;
  all.erase(std::remove(all.begin(), all.end(), this), all.end());
  state_.engine.unwatchHost(server_.address());
}

void Watch::start() {
  guarded([&] {
    in_addr own = {};
    platform::localAddress(server_.socketAddress(), &own);
    const Attributes attributes{
        {kHostAddress, Value(server_.socketAddress().sin_addr)},
        {kRegistrationObject, Value(oid_)},
        {kRegistrationEvent, Value(event_)},
        {kRegistrationAddress, Value(own)},
        {kRegistrationPort, Value(state_.socket.port())}};
    ask(createOf(server_, kRegistrationClass, attributes,
                 [this](Result<Oid>&& made) { registered(std::move(made)); }),
        options_);
  });
}

void Watch::registered(Result<Oid>&& made) {
  allAnswered();
  if (made && made->valid()) {
    registration_ = *made;
    everRegistered_ = true;
    renewedAt_ = platform::elapsed();
    expiry_ = 0;
    if (!survives([this] { heard(); })) return;
    look();
    return;
  }
  // The first time that is the end. Later the server may only be away.
  const bool passing = !made && made.error().kind() != Failure::refused;
  if (everRegistered_ && passing) {
    setAlarm(platform::elapsed() + kRetryAfter);
    return;
  }
  if (!made) return finish(made.error());
  const int code =
      made.itemErrors().empty() ? kInternalError : made.itemErrors()[0].code;
  finish(Error(Failure::refused, code, 0, false,
               "watch of " + oid_.text() + " at " + server_.text()));
}

void Watch::alarm(ClientState& state) {
  if (cancelled_) return Composite::alarm(state);
  if (isAsking()) return;
  if (registration_.valid()) {
    look();
  } else {
    start();
  }
}

// Asks when the registration expires, which also tells whether it is there.
void Watch::look() {
  guarded([&] {
    if (!canLook_) {
      ask(verifyOf(server_, registration_,
                   [this](const Result<Done>& there) {
                     allAnswered();
                     verified(there);
                   }),
          options_);
      return;
    }
    ask(getOf(server_, registration_, {kRegistrationExpiry},
              [this](Result<Attributes>&& expiry) {
                allAnswered();
                looked(std::move(expiry));
              }),
        options_);
  });
}

void Watch::looked(Result<Attributes>&& expiry) {
  if (!expiry) {
    const Error& error = expiry.error();
    if (error.kind() != Failure::refused) return unheard();
    if (error.code() == kNoSuchName) return lost();
    // A server that does not show it.
    canLook_ = false;
    return look();
  }
  const Value* time = expiry->find(kRegistrationExpiry);
  const auto seconds =
      time != nullptr ? time->to<std::uint32_t>() : Value().to<std::uint32_t>();
  if (!seconds) {
    canLook_ = false;
    return look();
  }
  const Moment now = platform::elapsed();
  expiry_ = *seconds;
  if (!survives([this] { heard(); })) return;
  const Moment passed = now - renewedAt_;
  if (passed >= kRenewEach)
    return renew(expiry_ + static_cast<std::uint32_t>(passed / kSecond));
  setAlarm(now + kLookEach);
}

void Watch::verified(const Result<Done>& there) {
  if (!there) {
    if (there.error().kind() == Failure::refused) return lost();
    return unheard();
  }
  if (!survives([this] { heard(); })) return;
  setAlarm(platform::elapsed() + kLookEach);
}

// What the server sent meanwhile may have been lost like the answer.
void Watch::unheard() {
  missed_ = true;
  setAlarm(platform::elapsed() + kRetryAfter);
}

void Watch::lost() {
  missed_ = true;
  registration_ = Oid();
  start();
}

void Watch::heard() {
  if (!missed_) return;
  missed_ = false;
  tellGap();
}

// Sets a later time of expiry.
void Watch::renew(std::uint32_t expiry) {
  guarded([&] {
    renewing_ = true;
    const Attributes attributes{{kRegistrationExpiry, Value::time(expiry)}};
    ask(setOf(server_, registration_, attributes,
              [this](const Result<Done>& done) {
                renewing_ = false;
                allAnswered();
                if (done) {
                  renewedAt_ = platform::elapsed();
                  setAlarm(renewedAt_ + kLookEach);
                } else if (done.error().kind() == Failure::refused) {
                  lost();
                } else {
                  unheard();
                }
              }),
        options_);
  });
}

bool Watch::take(const Endpoint& from, const Oid& oid, const Aid& event,
                 const Values& arguments) {
  if (from.address() != server_.address()) return false;
  if (event == kEventExpiry) {
    if (oid != registration_ || renewing_) return false;
    std::uint32_t expiry = 0;
    if (!arguments.empty())
      expiry = arguments[0].to<std::uint32_t>().value_or(0U);
    if (expiry == 0) return false;
    dropRequests();
    state_.clearAlarms(this);
    renew(expiry + kRegistrationSeconds);
    return false;
  }
  const bool wanted =
      event == event_ || (event_ == kEventAny && isOrdinary(event));
  if (!wanted || !covers(oid_, oid)) return false;
  Event told;
  told.server = server_;
  told.oid = oid;
  told.event = event;
  told.arguments = arguments;
  return tell(std::move(told));
}

void Watch::tellGap() {
  Event event;
  event.server = server_;
  event.gap = true;
  tell(std::move(event));
}

// The handler may forget the watch, so it is not called where it lies.
bool Watch::tell(Event&& event) {
  if (!tell_) return false;
  Tell call = std::move(tell_);
  Ticket self;
  state_.name(this, &self);
  ClientState& state = state_;
  struct PutBack {
    ~PutBack() {
      if (state.find(self) != nullptr) watch->tell_ = std::move(call);
    }
    ClientState& state;
    const Ticket& self;
    Watch* watch;
    Tell& call;
  } const putBack{state, self, this, call};
  call(std::move(event));
  return true;
}

void Watch::unregister() {
  if (!registration_.valid() || state_.closed) return;
  const bool closing = std::exchange(state_.closing, false);
  try {
    RequestOptions options = options_;
    options.transmissions = 2;
    state_.ask(removeOf(server_, registration_, [](const Result<Done>&) {}),
               options);
  } catch (const std::bad_alloc&) {
    // Then it expires.
  }
  state_.closing = closing;
  registration_ = Oid();
}

std::size_t tellWatches(ClientState& state, const ArrivedEvent& event) {
  AnswerBytes bytes;
  if (!readAnswer(event.message, &bytes)) return 0;
  ByteReader reader(bytes.members, bytes.size);
  Oid oid;
  Aid aid;
  Values arguments;
  DecodeLimits limits;
  read(reader, &oid);
  read(reader, &aid);
  read(reader, &arguments, limits);
  if (!reader.ok()) return 0;
  const Endpoint from(event.from.host, event.from.port);
  std::size_t count = 0;
  // Handlers may end watches and make new ones.
  std::vector<Ticket> tickets;
  for (const Watch* watch : state.watches) {
    tickets.emplace_back();
    state.name(watch, &tickets.back());
  }
  for (const Ticket& ticket : tickets) {
    auto* watch = static_cast<Watch*>(state.find(ticket));
    if (watch != nullptr && watch->take(from, oid, aid, arguments)) count++;
  }
  return count;
}

void tellGaps(ClientState& state) {
  const EngineCounters& counters = state.engine.counters();
  const std::uint64_t drops = counters.eventsDropped + counters.kernelDrops;
  if (drops == state.toldDrops) return;
  state.toldDrops = drops;
  std::vector<Ticket> tickets;
  for (const Watch* watch : state.watches) {
    tickets.emplace_back();
    state.name(watch, &tickets.back());
  }
  const InHandler running(state);
  for (const Ticket& ticket : tickets) {
    auto* watch = static_cast<Watch*>(state.find(ticket));
    if (watch != nullptr) watch->tellGap();
  }
}

void unregisterWatches(ClientState& state) {
  if (state.watches.empty() || state.socket.descriptor() < 0) return;
  const std::vector<Watch*> all = state.watches;
  for (Watch* watch : all) watch->unregister();
  state.exchange();
}

}  // namespace ostrel
