#include "net/server_loop.h"

#include <algorithm>
#include <csignal>
#include <new>
#include <utility>

#include "support/log.h"
#include "support/service_manager.h"

namespace ostrel::tools::server {
namespace {

using Milliseconds = std::chrono::milliseconds;

// A part of the rate that events leave for requests.
constexpr std::size_t kSparePart = 10;

std::chrono::steady_clock::time_point timeNow() {
  return std::chrono::steady_clock::now();
}

}  // namespace

ServerLoop::ServerLoop(const ServerOptions& options)
    : socket_(options.listen, options.port),
      rate_(options.requestsPerSecond),
      answerBytes_(options.answerBytesPerSecond),
      eventBytes_(options.eventBytesPerSecond),
      reassembly_(options.longestRequest, &counters_),
      outbox_(&socket_, &answerBytes_, &counters_),
      events_(&socket_, &rate_, options.requestsPerSecond / kSparePart,
              &eventBytes_, &counters_),
      sockets_{&socket_} {}

int ServerLoop::run() {
  Watchdog watchdog;
  tellReady();
  listDescriptors();
  for (;;) {
    try {
      if (!turn(&watchdog)) return 0;
    } catch (const std::bad_alloc&) {
      // What it was for is lost as on the network; the server goes on.
      counters_.add(Counter::kOutOfMemory);
      if (ended()) return 0;
    }
  }
}

// Returns false when the server has to end.
bool ServerLoop::turn(Watchdog* watchdog) {
  now_ = timeNow();
  const int milliseconds = watchdog->alive(runTimers(), now_);
  outbox_.sendDue(now_);
  flush();
  reassembly_.expire(now_);
  wait(milliseconds);
  now_ = timeNow();
  if (isReady(0) && ended()) return false;
  takeAll();
  // What does not depend on the batch does not wait for the disk.
  flush();
  now_ = timeNow();
  finishBatch(now_);
  flush();
  working_ = work(now_ + kTurn);
  flush();
  return true;
}

void ServerLoop::flush() {
  outbox_.flush(now_);
  events_.flush();
}

void ServerLoop::setRates(const ServerOptions& options) {
  std::pair<RateLimit*, RateLimit> rates[] = {
      {&rate_, RateLimit(options.requestsPerSecond)},
      {&answerBytes_, RateLimit(options.answerBytesPerSecond)},
      {&eventBytes_, RateLimit(options.eventBytesPerSecond)},
  };
  for (auto& [present, next] : rates)
    if (present->perSecond() != next.perSecond()) *present = std::move(next);
  events_.setSpare(options.requestsPerSecond / kSparePart);
}

void ServerLoop::listDescriptors() {
  ready_ = {{signals_.descriptor(), POLLIN, 0}};
  for (const UdpSocket* socket : sockets_)
    ready_.push_back({socket->descriptor(), POLLIN, 0});
  for (const int descriptor : descriptors_)
    ready_.push_back({descriptor, POLLIN, 0});
}

void ServerLoop::wait(int milliseconds) {
  if (const auto due = outbox_.nextDue()) {
    const auto left = std::chrono::ceil<Milliseconds>(*due - timeNow());
    const auto soon = std::clamp(left, Milliseconds(0), Outbox::kRest);
    milliseconds = std::min(milliseconds, static_cast<int>(soon.count()));
  }
  const bool more =
      std::any_of(sockets_.begin(), sockets_.end(),
                  [](const UdpSocket* socket) { return socket->hasMore(); });
  if (working_ || more) milliseconds = 0;
  // What was ready before is not when this fails.
  for (pollfd& each : ready_) each.revents = 0;
  poll(ready_.data(), ready_.size(), milliseconds);
}

bool ServerLoop::ended() {
  while (const int signal = signals_.take()) {
    if (signal != SIGHUP) {
      log(Level::kInfo, "ended by a signal");
      tellStopping();
      return true;
    }
    tellReloading();
    reload();
    tellReady();
  }
  return false;
}

void ServerLoop::takeAll() {
  std::size_t at = 1;
  for (UdpSocket* socket : sockets_)
    if (isReady(at++) || socket->hasMore()) takeRequests(*socket);
  for (; at < ready_.size(); ++at)
    if (isReady(at)) return receive();
}

void ServerLoop::takeRequests(UdpSocket& socket) {
  const Time end = now_ + kLongestBatch;
  Message request;
  Datagram datagram;
  for (int i = 1; i <= kBatch && socket.receive(&datagram); ++i) {
    if (!reassembly_.take(datagram.from, datagram.bytes, now_, &rate_,
                          &request))
      continue;
    counters_.add(Counter::kRequests);
    request.arrived = datagram.arrived;
    handle(request, now_);
    now_ = timeNow();
    if (now_ >= end) break;
  }
}

void ServerLoop::answer(const sockaddr_in& to, std::string& bytes) {
  if (bytes.empty()) return;
  rate_.spend(to.sin_addr, now_, bytes.size() / kFragmentData);
  outbox_.send(to, bytes, now_);
}

void ServerLoop::sendEvent(const sockaddr_in& to, in_addr askedBy,
                           const std::string& bytes) {
  events_.send(to, askedBy, bytes, now_);
}

}  // namespace ostrel::tools::server
