// One request of the asynchronous client, from its call to its completion: what
// the caller says, what the engine keeps, and how it ended.

#ifndef OSTREL_SRC_CALL_H
#define OSTREL_SRC_CALL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "client/engine/linked_list.h"
#include "client/engine/timer_wheel.h"
#include "model/answers.h"

namespace ostrel {

// An IPv4 address and a port in host order.
struct PeerAddress {
  std::uint32_t host = 0;
  std::uint16_t port = 0;

  bool operator==(const PeerAddress& other) const {
    return host == other.host && port == other.port;
  }
  bool operator<(const PeerAddress& other) const {
    return host != other.host ? host < other.host : port < other.port;
  }
};

// Requests of different kinds take servers differently long.
enum class Traffic : std::uint8_t { kPlain, kSearch, kAction };
constexpr std::size_t kTraffics = 3;

// How a request ended.
enum class Ended : std::uint8_t {
  kAnswered,
  kNoAnswer,
  kPortClosed,
  kUndecodable,  // what came is not an answer to it
  kUnsendable,
  kCancelled,
};

// An object whose changes keep their order: the numbers of its identifier.
using ObjectNumbers = std::array<std::uint32_t, 4>;

struct ServerState;
struct ObjectChain;

class Call : private Timer {
 public:
  Call() = default;
  virtual ~Call() = default;
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // What the caller says before Engine::add(), and leaves alone then.
  PeerAddress to;
  Traffic traffic = Traffic::kPlain;
  std::uint8_t tag = 0;      // of the PDU
  bool multicast = false;    // anybody may answer
  std::uint8_t ttl = 0;      // of a multicast
  bool change = false;       // keeps its order with others of `object`
  bool smallAnswer = false;  // an answer is a small datagram
  bool ready = true;         // false: sent after Engine::makeReady() only
  std::uint16_t transmissions = 0;  // at most; 0: as the engine's options say
  Kinds answers = kAnyKind;
  ObjectNumbers object = {};
  Moment deadline = 0;   // from the call; 0: none of its own
  Moment firstWait = 0;  // 0: as the options and the estimates say
  std::string rest;      // the PDU's bytes behind its request id

  // How it ended.
  Ended ended = Ended::kCancelled;
  int error = 0;           // errno
  std::uint16_t sent = 0;  // transmissions
  PeerAddress answeredBy;
  std::string answer;  // the PDU's bytes; empty unless kAnswered

  std::uint32_t id() const { return id_; }

 private:
  friend class Engine;
  friend struct ServerState;
  friend struct ObjectChain;

  enum class State : std::uint8_t {
    kNew,
    kQueued,   // in its server's queue
    kUrgent,   // in its server's queue of those that have been blocked
    kParked,   // its turn has come, but it is blocked
    kSending,  // in the engine's list of what is to be sent
    kPaced,    // its next fragments are sent later
    kWaiting,  // for the answer
    kDone,     // in the engine's list of completions
  };

  bool isUnderWay() const {
    return state_ >= State::kSending && state_ <= State::kWaiting;
  }

  State state_ = State::kNew;
  bool probing_ = false;   // sent to a server that had just given up
  bool measured_ = false;  // the time of its answer is known
  bool unknown_ = false;   // charged as one to a server that is unknown
  std::uint8_t backOff_ = 0;
  std::uint16_t messageId_ = 0;  // of this transmission
  std::uint16_t fragment_ = 0;   // the next one to send
  std::uint16_t granted_ = 0;    // fragments that may be sent now
  std::uint32_t id_ = 0;
  std::uint32_t charge_ = 0;  // bytes of the receive buffer
  std::uint32_t cost_ = 0;    // bytes of the queue
  ServerState* server_ = nullptr;
  ObjectChain* chain_ = nullptr;
  Moment called_ = 0;
  Moment firstSent_ = 0;
  Moment lastSent_ = 0;
  Moment wait_ = 0;      // the present one
  Moment due_ = 0;       // when it ends
  Moment lapse_ = 0;     // when nothing is expected any more for now
  Moment end_ = 0;       // of all waiting
  Links<Call> place_;    // in the list that its state names
  Links<Call> beside_;   // among those under way at its server
  Links<Call> inChain_;  // among the changes of its object
};

}  // namespace ostrel

#endif  // OSTREL_SRC_CALL_H
