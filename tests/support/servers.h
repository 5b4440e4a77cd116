// Scripted servers, for tests of the client layer. They work on bytes: the id
// of a request is at a fixed place, and an answer is a hex literal.

#ifndef OSTREL_TESTS_SUPPORT_SERVERS_H
#define OSTREL_TESTS_SUPPORT_SERVERS_H

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/fake_platform.h"
#include "support/fragments.h"

namespace fake {

constexpr unsigned short kObjectPort = 5135;
constexpr unsigned short kDirectoryPort = 5136;

// A request as it reached a server.
struct Request {
  sockaddr_in from;
  std::string pdu;  // all its bytes in hex
  std::string id;   // the member of the header that holds its id, in hex
  double at;        // seconds since the test began
};

// Header of a PDU: tag, status (03, length, bytes), id (43, length, bytes).
inline std::string requestId(const std::string& pdu) {
  const std::size_t at = 3 + static_cast<unsigned char>(pdu.at(2));
  const std::size_t size = 2 + static_cast<unsigned char>(pdu.at(at + 1));
  return digits(pdu.substr(at, size));
}

// A literal in which the request's id replaces each "ID".
inline std::string withId(std::string answer, const Request& request) {
  for (std::size_t at = answer.find("ID"); at != std::string::npos;
       at = answer.find("ID", at)) {
    answer.replace(at, 2, request.id);
  }
  return answer;
}

// What a server does with one request.
using Answer = std::function<void(const Peer&, const Request&)>;

// A message, written in hex with "ID" for the request's id.
inline Answer answer(const std::string& message) {
  return [message](const Peer& peer, const Request& request) {
    sendMessage(peer, request.from, 7, raw(withId(message, request).c_str()));
  };
}

// A datagram of any bytes; its header need not be right.
inline Answer datagram(const std::string& bytes) {
  return [bytes](const Peer& peer, const Request& request) {
    peer.send(request.from, raw(bytes.c_str()));
  };
}

inline Answer silence() {
  return [](const Peer&, const Request&) {};
}

inline Answer both(Answer first, Answer second) {
  return [=](const Peer& peer, const Request& request) {
    first(peer, request);
    second(peer, request);
  };
}

// The same, some seconds later.
inline Answer delayed(double seconds, Answer later) {
  return [=](const Peer& peer, const Request& request) {
    const Policy before = platform().policy;
    const auto delay =
        static_cast<std::int64_t>(seconds * double{Platform::kSecond});
    platform().policy = [delay](const Datagram& sent) {
      return std::vector<Delivery>{{delay, sent.bytes}};
    };
    later(peer, request);
    platform().policy = before;
  };
}

// Answers one request after another from a list. When its answers are used up,
// it stays silent.
class Server {
 public:
  Server(const char* address, unsigned short port)
      : began_(platform().clock),
        peer_(platform().addPeer(address, port, script())) {}
  Server(const char* address, unsigned short port, const char* group, int hops)
      : began_(platform().clock),
        peer_(platform().addPeer(address, port, group, hops, script())) {}
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  Server& then(Answer next) {
    answers_.push_back(std::move(next));
    return *this;
  }
  Server& then(const char* message) { return then(answer(message)); }

  Peer& peer() { return peer_; }
  std::size_t unused() const { return answers_.size(); }

  // The times at which requests came.
  std::vector<double> times() const {
    std::vector<double> result;
    for (const Request& request : requests) result.push_back(request.at);
    return result;
  }

  std::vector<Request> requests;

 private:
  Script script() {
    return [this](Peer& peer, const Datagram& datagram) {
      const std::string pdu = assembler_.take(datagram);
      if (pdu.empty()) return;
      requests.push_back({datagram.from, digits(pdu), requestId(pdu),
                          static_cast<double>(platform().clock - began_) /
                              double{Platform::kSecond}});
      if (answers_.empty()) return;
      const Answer next = answers_.front();
      answers_.pop_front();
      next(peer, requests.back());
    };
  }

  std::int64_t began_;
  Assembler assembler_;
  std::deque<Answer> answers_;
  Peer& peer_;
};

}  // namespace fake

#endif  // OSTREL_TESTS_SUPPORT_SERVERS_H
