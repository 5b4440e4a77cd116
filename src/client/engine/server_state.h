// What the engine knows about one server: how long it takes to answer, what is
// under way there, and what queues for it. And the order of the changes of one
// object there.

#ifndef OSTREL_SRC_SERVER_STATE_H
#define OSTREL_SRC_SERVER_STATE_H

#include <cstddef>
#include <cstdint>

#include "client/engine/call.h"
#include "client/engine/round_trip.h"

namespace ostrel {

struct ServerState {
  using Queue = LinkedList<Call, &Call::place_>;
  enum class Ring : std::uint8_t { kNone, kKnown, kUnknown, kIdle };

  PeerAddress address;
  RoundTrip trips[kTraffics];
  std::uint32_t usualCharge[kTraffics] = {};  // of answers; 0: not known
  bool answered = false;                      // ever
  bool silent = false;  // gave up, and has not answered since
  Ring ring = Ring::kNone;
  unsigned underWay = 0;
  unsigned waiting = 0;         // in both queues and parked
  Moment lastSign = INT64_MIN;  // when it was last heard
  Moment paceBegan = INT64_MIN / 2;
  unsigned paced = 0;  // fragments sent since
  Queue queue;         // in the order of the calls
  Queue urgent;        // those whose turn had come when they were blocked
  LinkedList<Call, &Call::beside_> current;
  Links<ServerState> links;

  // Whether it may be expected to answer.
  bool isKnown() const { return answered && !silent; }
  RoundTrip& tripsOf(const Call* request) {
    return trips[static_cast<std::size_t>(request->traffic)];
  }
};

using ServerRing = LinkedList<ServerState, &ServerState::links>;

struct ObjectKey {
  PeerAddress server;
  ObjectNumbers object;
  bool operator==(const ObjectKey& other) const {
    return server == other.server && object == other.object;
  }
};

struct HashObjectKey {
  std::size_t operator()(const ObjectKey& key) const {
    std::uint64_t hash = std::uint64_t{key.server.host} << 16 | key.server.port;
    for (const std::uint32_t number : key.object)
      hash = (hash ^ number) * 0x9e3779b97f4a7c15 ^ hash >> 29;
    return static_cast<std::size_t>(hash ^ hash >> 32);
  }
};

// The changes of one object that have been called and are not done. Only the
// first may be under way.
struct ObjectChain {
  ObjectKey key;
  LinkedList<Call, &Call::inChain_> changes;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_SERVER_STATE_H
