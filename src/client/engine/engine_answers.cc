// What an arriving datagram means. An answer counts when it has the id of a
// request that is under way and comes from the address and port that was asked;
// everything else is counted.

#include <ostrel/tags.h>

#include <algorithm>
#include <cerrno>

#include "client/engine/engine.h"
#include "value/wire.h"

namespace ostrel {
namespace {

constexpr std::size_t kMostEvents = 1024;
constexpr unsigned kExpectedFragments = 20;  // a server pauses after so many

// How a PDU begins.
struct Start {
  std::uint8_t tag = 0;
  std::uint32_t id = 0;
};

std::uint32_t chargeOfDatagram(std::size_t message) {
  const std::size_t size = kFragmentHeader + message;
  if (size <= 64) return kSmallCharge;
  return size <= 600 ? kMiddleCharge : kFullCharge;
}

// A member's tag is ignored, as in decoding.
bool readStart(const char* bytes, std::size_t size, Start* start) {
  ByteReader reader(bytes, size);
  start->tag = reader.number<std::uint8_t>();
  reader.number<std::uint8_t>();
  reader.integer();  // the status
  reader.number<std::uint8_t>();
  start->id = reader.integer();
  return reader.ok();
}

}  // namespace

Engine::Engine(const EngineOptions& options, const IdKey& key, Moment now)
    : options_(options), numbers_(key), wheel_(now), now_(now) {}

Engine::~Engine() {
  endAll();
  while (nextCompletion() != nullptr) {
  }
}

void Engine::receive(const PeerAddress& from, const char* bytes,
                     std::size_t size, Moment now) {
  now_ = std::max(now_, now);
  counters_.datagramsReceived++;
  FragmentHeader header;
  if (!readFragmentHeader(bytes, size, &header)) {
    counters_.malformed++;
    return;
  }
  stirred_ = true;
  const char* data = bytes + kFragmentHeader;
  const std::size_t length = size - kFragmentHeader;
  try {
    if (header.count == 1) {
      takeMessage(from, data, length, nullptr, now_);
    } else {
      takeFragment(from, header, data, length, now_);
    }
  } catch (const std::bad_alloc&) {
    // As if it had been lost: the request is sent again.
    counters_.noMemory++;
  }
}

// The request that a message answers; null when it answers none.
Call* Engine::match(const PeerAddress& from, std::uint32_t id) {
  Call* request = ids_.find(id);
  if (request == nullptr) {
    counters_.unmatched++;
    return nullptr;
  }
  if (request->multicast || request->to == from) return request;
  counters_.wrongSender++;
  return nullptr;
}

// A whole message. `whole` has its bytes when they may be moved.
void Engine::takeMessage(const PeerAddress& from, const char* bytes,
                         std::size_t size, std::string* whole, Moment now) {
  Start start;
  if (!readStart(bytes, size, &start)) {
    counters_.malformed++;
    return;
  }
  if (start.tag == kTagEventPDU) {
    takeEvent(from, bytes, size);
    return;
  }
  Call* request = match(from, start.id);
  if (request == nullptr) return;
  const bool right = (kindOf(start.tag) & request->answers) != 0;
  if (!right && request->multicast) {
    // Another may answer better.
    counters_.unmatched++;
    return;
  }
  if (right && whole != nullptr) {
    request->answer = std::move(*whole);
  } else if (right) {
    request->answer.assign(bytes, size);
  }
  request->answeredBy = from;
  answered(request, now);
  if (whole == nullptr) learnCharge(request, chargeOfDatagram(size));
  if (right) {
    end(request, Ended::kAnswered, 0);
  } else {
    end(request, Ended::kUndecodable, EBADMSG);
  }
}

void Engine::answered(Call* request, Moment now) {
  if (request->multicast) return;
  ServerState* server = request->server_;
  server->lastSign = now;
  server->answered = true;
  server->silent = false;
  measure(request, now);
}

bool Engine::isAsked(const PeerAddress& from) const {
  const auto found = servers_.find(std::uint64_t{from.host} << 16 | from.port);
  if (found != servers_.end() && found->second.underWay > 0) return true;
  return watched_.count(from.host) != 0;
}

// Only the first fragment of a message says which request it answers. Before it
// is there the others prove nothing.
void Engine::takeFragment(const PeerAddress& from, const FragmentHeader& header,
                          const char* data, std::size_t size, Moment now) {
  counters_.fragmentsReceived++;
  if (!isAsked(from)) {
    counters_.unasked++;
    return;
  }
  Partial* partial = partials_.store(from, header, data, size, now);
  if (partialsExpire_ == kNever) partialsExpire_ = now + kSecond;
  if (partial == nullptr) return;
  Start start;
  const bool isFirst = header.number == 0;
  if (isFirst) {
    const bool readable = readStart(data, size, &start);
    partial->event =
        readable && start.tag == kTagEventPDU && watched_.count(from.host) != 0;
    Call* request = nullptr;
    if (!partial->event && readable) request = match(from, start.id);
    if (!partial->event && request == nullptr) {
      partials_.drop(partial);
      return;
    }
    if (request != nullptr) {
      partial->request = start.id;
      answered(request, now);
      const unsigned others = header.count - 1U;
      const std::uint32_t expected =
          std::min(others, kExpectedFragments) * kFullCharge;
      charge(request, expected);
      learnCharge(request, kFullCharge + expected);
    }
    partial->claimed = true;
  }
  if (partial->claimed && !partial->event) {
    Call* request = ids_.find(partial->request);
    if (request == nullptr) {
      partials_.drop(partial);
      return;
    }
    request->server_->lastSign = now;
    if (!isFirst) uncharge(request, kFullCharge);
    signOfLife(request, now);
  }
  if (partial->parts.size() < partial->count) return;
  std::string whole = partials_.take(partial);
  takeMessage(from, whole.data(), whole.size(), &whole, now);
}

void Engine::takeEvent(const PeerAddress& from, const char* bytes,
                       std::size_t size) {
  if (watched_.count(from.host) == 0) {
    counters_.unasked++;
    return;
  }
  if (events_.size() >= kMostEvents) {
    counters_.eventsDropped++;
    return;
  }
  events_.push_back({from, std::string(bytes, size)});
  counters_.events++;
}

bool Engine::nextEvent(ArrivedEvent* event) {
  if (events_.empty()) return false;
  *event = std::move(events_.front());
  events_.pop_front();
  return true;
}

void Engine::unwatchHost(std::uint32_t host) {
  const auto found = watched_.find(host);
  if (found == watched_.end()) return;
  if (--found->second == 0) watched_.erase(found);
}

// A report quotes the beginning of the datagram, as much as the reporter liked.
void Engine::portClosed(const PeerAddress& to, const char* bytes,
                        std::size_t size) {
  ByteReader reader(bytes, size);
  const auto version = reader.number<std::uint16_t>();
  reader.skip(sizeof(std::uint16_t));  // message id
  reader.skip(sizeof(std::uint16_t));  // count
  const auto number = reader.number<std::uint16_t>();
  reader.skip(2 * sizeof(std::uint32_t));  // total, offset
  Start start;
  Call* request = nullptr;
  if (reader.ok() && version == kFragmentVersion && number == 0 &&
      readStart(reader.at(), reader.left(), &start))
    request = ids_.find(start.id);
  if (request == nullptr || !(request->to == to) || request->multicast ||
      request->tag != start.tag) {
    counters_.otherRefusals++;
    return;
  }
  if (options_.retryClosedPort) return;
  request->server_->silent = true;
  end(request, Ended::kPortClosed, ECONNREFUSED);
}

}  // namespace ostrel
