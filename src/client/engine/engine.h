// The protocol of the asynchronous client, without a socket and without a
// clock: time and datagrams go in, datagrams and completions come out. Nothing
// is called back.
//
// The owner calls tick() with the time, sends what peek() shows and says so
// with sent(), hands over what arrives, and takes completions, in any order.
// The units: engine_queue.cc says who is sent next, engine_times.cc when it is
// sent again, engine_answers.cc what an arriving datagram means.

#ifndef OSTREL_SRC_ENGINE_H
#define OSTREL_SRC_ENGINE_H

#include <ostrel/codes.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>

#include "client/engine/call.h"
#include "client/engine/id_table.h"
#include "client/engine/partials.h"
#include "client/engine/request_ids.h"
#include "client/engine/server_state.h"
#include "client/engine/timer_wheel.h"

namespace ostrel {

struct EngineOptions {
  Moment firstWait = 3 * kSecond;
  Moment shortestWait = 100 * kMillisecond;
  Moment inAll = 21 * kSecond;
  unsigned transmissions = 6;
  bool adaptive = true;
  unsigned perServer = 8;
  unsigned perServerSilent = 1;
  std::size_t receiveBytes = 212992;  // memory of the receive buffer
  std::size_t queued = 100000;
  std::size_t queuedBytes = 64U << 20;
  bool retryClosedPort = false;
};

// What a datagram takes of the receive buffer: a full one, one of at most 600
// bytes, and one of at most 64.
constexpr std::uint32_t kFullCharge = 2304;
constexpr std::uint32_t kMiddleCharge = 1280;
constexpr std::uint32_t kSmallCharge = 832;

// One datagram: a few bytes of its own, and some of its request's.
struct Outgoing {
  // Fragment header, then of the first fragment the PDU's tag, status and id.
  static constexpr std::size_t kMostHead = kFragmentHeader + 9;

  Call* request = nullptr;
  PeerAddress to;
  std::uint8_t ttl = 0;  // of a multicast; else 0
  std::uint8_t headSize = 0;
  char head[kMostHead];
  const char* data = nullptr;
  std::size_t size = 0;
};

// An event of a server that is watched.
struct ArrivedEvent {
  PeerAddress from;
  std::string message;
};

struct EngineCounters {
  std::uint64_t requests = 0;
  std::uint64_t answered = 0;
  std::uint64_t noAnswer = 0;
  std::uint64_t cancelled = 0;
  std::uint64_t undecodable = 0;
  std::uint64_t unsendable = 0;
  std::uint64_t overfull = 0;  // refused as the queue was full
  std::uint64_t datagramsSent = 0;
  std::uint64_t retransmissions = 0;
  std::uint64_t datagramsReceived = 0;
  std::uint64_t fragmentsReceived = 0;
  std::uint64_t malformed = 0;
  std::uint64_t unasked = 0;      // from a peer that nothing was asked
  std::uint64_t unmatched = 0;    // no such request: late, repeated or forged
  std::uint64_t wrongSender = 0;  // a request's id, but another's address
  std::uint64_t events = 0;
  std::uint64_t eventsDropped = 0;
  std::uint64_t portsClosed = 0;
  std::uint64_t otherRefusals = 0;  // reports that name no request
  std::uint64_t partialsDropped = 0;
  std::uint64_t kernelDrops = 0;
  std::uint64_t noMemory = 0;
};

class Engine {
 public:
  static constexpr std::size_t kBuckets = 32;

  Engine(const EngineOptions& options, const IdKey& key, Moment now);
  ~Engine();  // destroys what is left; nothing completes
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // Takes over a request. It completes once unless taken out. Throws
  // std::bad_alloc, and then has taken nothing.
  Call* add(std::unique_ptr<Call> request, Moment now);

  // What a request waited for before it may be sent is there.
  void makeReady(Call* request);

  // Takes a request out, wherever it is; it does not complete.
  std::unique_ptr<Call> takeOut(Call* request);

  // Completes a request that may not go on. Does nothing to one that is done.
  void end(Call* request, Ended how, int error);

  // Completes all as cancelled.
  void endAll();

  // Lets happen what is due.
  void tick(Moment now);
  // When tick() has something to do next; kNever: nothing until a call.
  Moment nextDue() const;
  // Whether there is something to send, or a completion to take.
  bool hasOutgoing() const { return !outgoing_.empty(); }
  bool hasCompletions() const { return !done_.empty(); }

  // Shows the next datagrams to send, `most` at most. They point into requests,
  // and are good until the next call of anything else than sent().
  std::size_t peek(Outgoing* datagrams, std::size_t most);
  // The first so many that peek() showed have been sent.
  void sent(const Outgoing* datagrams, std::size_t count, Moment now);
  // This one cannot be sent.
  void unsendable(const Outgoing& datagram, int error);

  void receive(const PeerAddress& from, const char* bytes, std::size_t size,
               Moment now);
  // A datagram to this peer met a closed port. `bytes` are what the report
  // quotes of it.
  void portClosed(const PeerAddress& to, const char* bytes, std::size_t size);
  // The kernel has dropped so many datagrams for want of room.
  void kernelDropped(std::uint64_t count);
  // Whether everything that has arrived was handed over. If not, an answer that
  // seems to be late may lie in the receive buffer.
  void setDrained(bool drained) { drained_ = drained; }
  void setReceiveBytes(std::size_t bytes) { options_.receiveBytes = bytes; }

  // The next completion; null when there is none.
  std::unique_ptr<Call> nextCompletion();

  // Events are taken from these hosts alone.
  void watchHost(std::uint32_t host) { watched_[host]++; }
  void unwatchHost(std::uint32_t host);
  bool hasEvents() const { return !events_.empty(); }
  bool nextEvent(ArrivedEvent* event);

  std::size_t outstanding() const { return outstanding_; }
  std::size_t queued() const { return queued_; }
  std::size_t underWay() const { return ids_.size(); }
  std::size_t servers() const { return servers_.size(); }
  const EngineCounters& counters() const { return counters_; }
  const std::uint64_t* roundTrips() const { return roundTrips_; }
  const EngineOptions& options() const { return options_; }

  // Bytes that a request of this size takes.
  static std::size_t costOf(const Call& request);

 private:
  // engine_queue.cc
  ServerState* serverOf(const PeerAddress& address);
  void pruneIdle();
  void leaveChain(Call* request);
  bool isBlocked(const Call* request) const;
  void unblock(Call* request);
  void offer(ServerState* server);
  void withdraw(ServerState* server);
  ServerState* nextServer();
  Call* nextOf(ServerState* server);
  void fill();
  void begin(Call* request);
  std::uint32_t chargeOf(const Call* request) const;
  void learnCharge(const Call* request, std::uint32_t bytes);
  void charge(Call* request, std::uint32_t bytes);
  void uncharge(Call* request, std::uint32_t bytes);
  void detach(Call* request);

  // engine_times.cc
  void enqueue(Call* request);
  void grant(Call* request, Moment now);
  void transmitted(Call* request, Moment now);
  Moment firstWaitOf(const Call* request) const;
  unsigned mostTransmissions(const Call* request) const;
  void arrange(Call* request);
  void expired(Call* request, Moment now);
  void giveUp(Call* request, Moment now);
  void failQueue(ServerState* server, Moment now);
  void measure(Call* request, Moment now);
  void retime(ServerState* server, Traffic traffic);
  Moment lapseOf(const Call* request) const;
  void signOfLife(Call* request, Moment now);
  bool isAdaptive(const Call* request) const;

  // engine_answers.cc
  void takeMessage(const PeerAddress& from, const char* bytes, std::size_t size,
                   std::string* whole, Moment now);
  void takeFragment(const PeerAddress& from, const FragmentHeader& header,
                    const char* data, std::size_t size, Moment now);
  void takeEvent(const PeerAddress& from, const char* bytes, std::size_t size);
  Call* match(const PeerAddress& from, std::uint32_t id);
  bool isAsked(const PeerAddress& from) const;
  void answered(Call* request, Moment now);

  EngineOptions options_;
  RequestIds numbers_;
  TimerWheel wheel_;
  IdTable<Call> ids_;
  Partials partials_;
  Moment partialsExpire_ = kNever;
  Moment now_;
  std::unordered_map<std::uint64_t, ServerState> servers_;
  std::unordered_map<ObjectKey, ObjectChain, HashObjectKey> chains_;
  std::unordered_map<std::uint32_t, unsigned> watched_;
  ServerRing known_;    // servers with something to send that have answered
  ServerRing unknown_;  // and that have not, or gave up
  ServerRing idle_;     // servers with nothing to do, the oldest first
  bool knownIsNext_ = true;
  bool drained_ = true;
  bool stirred_ = false;     // tick() has something to do
  std::size_t charged_ = 0;  // bytes of the receive buffer
  std::uint32_t usualCharge_[kTraffics] = {};
  Moment carefulUntil_ = 0;
  std::size_t chargedUnknown_ = 0;  // of these for servers that are unknown
  LinkedList<Call, &Call::place_> outgoing_;
  LinkedList<Call, &Call::place_> parked_;
  LinkedList<Call, &Call::place_> done_;
  std::deque<ArrivedEvent> events_;
  std::size_t outstanding_ = 0;
  std::size_t queued_ = 0;
  std::size_t queuedBytes_ = 0;
  RoundTrip overall_;  // of all servers
  EngineCounters counters_;
  std::uint64_t roundTrips_[kBuckets] = {};
};

}  // namespace ostrel

#endif  // OSTREL_SRC_ENGINE_H
