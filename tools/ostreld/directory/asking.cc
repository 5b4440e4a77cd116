#include "directory/asking.h"

#include <ostrel/codes.h>
#include <ostrel/encoding.h>

#include <random>

#include "common/addresses.h"
#include "common/encoding.h"
#include "support/limits.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

std::uint64_t endpointKey(const sockaddr_in& endpoint) {
  constexpr unsigned kPortBits = 16;
  return std::uint64_t{endpoint.sin_addr.s_addr} << kPortBits |
         endpoint.sin_port;
}

// The PDU that a message begins with; null when there is none, or one of which
// decoding makes too much.
Owned<veskPDU> pduIn(const std::string& message) {
  const auto measured =
      measureValue(message.data(), static_cast<unsigned>(message.size()));
  if (!measured || measured->values > kMostValues) return nullptr;
  Decoding decoding = decode(message);
  return decoding.used == 0 ? nullptr : takeAs<veskPDU>(decoding.value);
}

}  // namespace

// Answers are matched by number: one that cannot be guessed keeps whoever
// forges a server's address from answering.
Asking::Asking(UdpSocket* socket, std::size_t longestAnswer, Counters* counters)
    : socket_(socket),
      counters_(counters),
      reassembly_(longestAnswer, counters),
      nextId_(std::random_device()()) {}

int Asking::ask(const sockaddr_in& server, veskPDU* request, Time now) {
  const std::uint32_t id = nextId_++;
  request->requestId.value = id;
  auto bytes = encoded(*request);
  if (!bytes) return kCodingError;
  const Question question = {server, std::move(*bytes), now + patience_.timeout,
                             patience_.timeout, patience_.retries};
  if (!send(question)) return kNetworkError;
  due_.emplace(question.due, id);
  awaited_[endpointKey(server)]++;
  questions_.emplace(id, question);
  return kNoError;
}

// What the system has no room for now is sent again like what was lost.
bool Asking::send(const Question& question) {
  Parcel parcel = socket_->parcel(question.server, question.bytes);
  return socket_->send(&parcel, parcel.left()) || UdpSocket::isBusy(errno);
}

bool Asking::isAwaited(const sockaddr_in& from) const {
  return awaited_.count(endpointKey(from)) != 0;
}

void Asking::end(std::uint32_t id) {
  const auto question = questions_.find(id);
  due_.erase({question->second.due, id});
  const auto awaited = awaited_.find(endpointKey(question->second.server));
  if (--awaited->second == 0) awaited_.erase(awaited);
  questions_.erase(question);
}

bool Asking::receive(Time now, Owned<veskPDU>* answer) {
  answer->reset();
  Datagram datagram;
  if (!socket_->receive(&datagram)) return false;
  if (!isAwaited(datagram.from)) {
    counters_->add(Counter::kMalformed);
    if (!awaited_.empty()) {
      log(Level::kWarning, "an answer came from " +
                               addressText(datagram.from.sin_addr) +
                               ", which was not asked there");
    }
    return true;
  }
  Message message;
  if (!reassembly_.take(datagram.from, datagram.bytes, now, nullptr, &message))
    return true;
  Owned<veskPDU> pdu = pduIn(message.bytes);
  if (pdu == nullptr) {
    counters_->add(Counter::kMalformed);
    return true;
  }
  const auto question = questions_.find(pdu->requestId.value);
  if (question == questions_.end() ||
      !sameEndpoint(question->second.server, message.from))
    return true;
  end(question->first);
  *answer = std::move(pdu);
  return true;
}

std::optional<std::uint32_t> Asking::tick(Time now) {
  reassembly_.expire(now);
  while (!due_.empty() && due_.begin()->first <= now) {
    const std::uint32_t id = due_.begin()->second;
    Question& question = questions_.at(id);
    if (question.retriesLeft == 0 || !send(question)) {
      end(id);
      return id;
    }
    due_.erase(due_.begin());
    question.retriesLeft--;
    question.timeout *= 2;
    question.due = now + question.timeout;
    due_.emplace(question.due, id);
  }
  return std::nullopt;
}

std::optional<Asking::Time> Asking::nextDue() const {
  if (due_.empty()) return std::nullopt;
  return due_.begin()->first;
}

}  // namespace ostrel::tools::server
