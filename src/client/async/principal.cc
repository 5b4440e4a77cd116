// In whose name requests are made: the principal of the program's user, which
// the object server of this machine knows. It is looked up once. Requests that
// need it wait, others do not.

#include <ostrel/names.h>

#include <cerrno>
#include <new>

#include "base/platform.h"
#include "client/async/client_state.h"

namespace ostrel {
namespace {

// How long requests go without a principal after it could not be looked up.
constexpr Moment kFailureKept = 300 * kSecond;

constexpr std::uint32_t kLocalHost = 0x7f000001;

RequestOptions inNobodysName() {
  RequestOptions options;
  options.principal = Oid();
  return options;
}

// The identifier that is the first element of a list, or the value of an
// attribute there; not valid when there is none.
Oid firstIdentifier(const Values& list) {
  if (list.empty()) return {};
  if (const auto attribute = list.front().as<Attribute>())
    return attribute->value.as<Oid>().value_or(Oid());
  return list.front().as<Oid>().value_or(Oid());
}

// The second of two requests: all attributes of the principal's object.
void readObject(ClientState& state, const Oid& object) {
  state.ask(getAllOf(Endpoint(kLocalHost), object,
                     [&state, object](const Result<Values>& all) {
                       const Oid named = all ? firstIdentifier(*all) : Oid();
                       state.learnPrincipal(named.valid() ? named : object,
                                            true);
                     }),
            inNobodysName());
}

void lookUp(ClientState& state) {
  // The low 32 bits, as an int.
  const auto user = static_cast<std::int32_t>(
      static_cast<std::uint32_t>(platform::effectiveUser()));
  const Term term(kPrincipalUserId, Value(user));
  state.ask(searchOf(Endpoint(kLocalHost), kPrincipalClass, {term},
                     [&state](const Result<Values>& found) {
                       if (!found) return state.learnPrincipal(Oid(), false);
                       // Nobody is an answer, too.
                       if (found->empty())
                         return state.learnPrincipal({}, true);
                       const auto object = found->front().as<Oid>();
                       if (!object) return state.learnPrincipal(Oid(), false);
                       if (!state.closing) readObject(state, *object);
                     }),
            inNobodysName());
}

}  // namespace

void ClientState::needPrincipal(Pending* pending) {
  const bool failedLately =
      lookup == Lookup::kFailed && platform::elapsed() < lookupFailedUntil;
  if (lookup == Lookup::kKnown || failedLately) {
    pending->rest = principalBytes(principal) + pending->rest;
    return;
  }
  pending->ready = false;
}

void ClientState::learnPrincipal(const Oid& found, bool known) {
  principal = found;
  lookup = known ? Lookup::kKnown : Lookup::kFailed;
  lookupFailedUntil = platform::elapsed() + kFailureKept;
  std::vector<Alarm> held;
  held.swap(heldForPrincipal);
  for (const Alarm& one : held) {
    const Slot& slot = slots[one.slot];
    if (slot.generation != one.generation || slot.operation == nullptr)
      continue;
    auto* pending = static_cast<Pending*>(slot.operation);
    try {
      pending->rest.insert(0, principalBytes(principal));
      engine.makeReady(pending);
    } catch (const std::bad_alloc&) {
      engine.end(pending, Ended::kUnsendable, ENOMEM);
    }
  }
}

void ClientState::holdForPrincipal(Pending* pending) {
  heldForPrincipal.push_back(
      {pending->slotNumber, slots[pending->slotNumber].generation});
  if (lookup == Lookup::kUnderWay) return;
  lookup = Lookup::kUnderWay;
  try {
    lookUp(*this);
  } catch (const std::bad_alloc&) {
    learnPrincipal(Oid(), false);
  }
}

}  // namespace ostrel
