// Scripts for the engine of the asynchronous client: let time pass, see what is
// sent, hand in an answer.

#ifndef OSTREL_TESTS_CLIENT_ENGINE_SCRIPT_H
#define OSTREL_TESTS_CLIENT_ENGINE_SCRIPT_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/engine/engine.h"
#include "support/fragments.h"

namespace script {

using ostrel::Call;
using ostrel::Ended;
using ostrel::Engine;
using ostrel::EngineOptions;
using ostrel::IdKey;
using ostrel::kMillisecond;
using ostrel::kNever;
using ostrel::kSecond;
using ostrel::Moment;
using ostrel::PeerAddress;
using ostrel::Traffic;

constexpr IdKey kKey = {0x0123456789abcdef, 0xfedcba9876543210, 77, 0};
constexpr Moment kStart = 1000 * kSecond;

inline PeerAddress server(unsigned n) {
  return {0xc6120000U + n, ostrel::kObjectServerPort};
}

// A datagram that was sent.
struct Sent {
  Moment at;  // since the start
  PeerAddress to;
  std::string bytes;
  std::uint8_t ttl;

  unsigned messageId() const {
    return static_cast<unsigned>(fake::numberAt(bytes, 2, 2));
  }
  // The header's member that has the request id: 43, a length, bytes.
  std::string idMember() const {
    const std::size_t size = 2 + static_cast<unsigned char>(bytes.at(16 + 4));
    return bytes.substr(16 + 3, size);
  }
  std::uint32_t id() const {
    const std::string member = idMember();
    return static_cast<std::uint32_t>(
        fake::numberAt(member, 2, static_cast<int>(member.size()) - 2));
  }
};

// How a request ended.
struct Done {
  Moment at;
  unsigned name;
  Ended ended;
  int error;
  std::string answer;
  unsigned transmissions;
};

struct Named : Call {
  unsigned name = 0;
};

class Wire {
 public:
  explicit Wire(const EngineOptions& options = {})
      : engine(options, kKey, kStart) {}

  // A get of an object with an empty list and no principal.
  std::unique_ptr<Named> get(const PeerAddress& to, unsigned name = 0) {
    auto request = std::make_unique<Named>();
    request->name = name;
    request->to = to;
    request->tag = 31;
    request->answers = ostrel::kindOf(39);
    request->rest = fake::raw("0A 00 0A 01 01 3B 01 06 00 00 80 43 00");
    return request;
  }
  // A remove, which changes the object with this last number.
  std::unique_ptr<Named> change(const PeerAddress& to, unsigned object,
                                unsigned name = 0) {
    auto request = get(to, name);
    request->tag = 30;
    request->answers = ostrel::kindOf(43);
    request->change = true;
    request->smallAnswer = true;
    request->object = {59, 7, 0, object};
    request->rest = fake::raw("0A 00 0A 01 01 3B 01 07 00 01 01");
    return request;
  }

  Call* add(std::unique_ptr<Call> request) {
    return engine.add(std::move(request), now);
  }
  Call* ask(const PeerAddress& to, unsigned name = 0) {
    return add(get(to, name));
  }

  // Does what is due now.
  void pump() {
    engine.tick(now);
    ostrel::Outgoing batch[16];
    while (const std::size_t count = engine.peek(batch, 16)) {
      for (std::size_t i = 0; i < count; ++i) {
        std::string bytes(batch[i].head, batch[i].headSize);
        bytes.append(batch[i].data, batch[i].size);
        sent.push_back({now - kStart, batch[i].to, bytes, batch[i].ttl});
      }
      engine.sent(batch, count, now);
    }
    while (auto request = engine.nextCompletion()) {
      auto* named = static_cast<Named*>(request.get());
      done.push_back({now - kStart, named->name, named->ended, named->error,
                      named->answer, named->sent});
    }
  }

  // Lets time pass, stopping where something is due.
  void advance(Moment time) {
    const Moment until = now + time;
    pump();
    while (engine.nextDue() <= until) {
      now = std::max(now, engine.nextDue());
      pump();
    }
    now = until;
  }

  void receive(const PeerAddress& from, const std::string& bytes) {
    engine.receive(from, bytes.data(), bytes.size(), now);
    pump();
  }

  // A whole message with the id of a datagram that was sent in place of "ID".
  std::string message(const Sent& to, std::string hex) {
    const std::size_t at = hex.find("ID");
    if (at != std::string::npos)
      hex.replace(at, 2, fake::digits(to.idMember()));
    return fake::raw(hex.c_str());
  }
  // The shortest answer to a get.
  std::string found(const Sent& to) {
    return message(to, "27 03 00 ID 0A 00 80 43 00 80 43 00");
  }
  std::string removed(const Sent& to) {
    return message(to, "2B 03 00 ID 0A 00");
  }
  void answer(const Sent& to, const std::string& message) {
    const PeerAddress from = to.to;
    for (const std::string& bytes : fake::fragments(nextMessage++, message))
      receive(from, bytes);
  }
  // By position: answering may grow `sent`.
  void answerGet(std::size_t i) {
    const Sent to = sent.at(i);
    answer(to, found(to));
  }
  void answerRemove(std::size_t i) {
    const Sent to = sent.at(i);
    answer(to, removed(to));
  }

  // When datagrams were sent, in milliseconds since the start.
  std::vector<Moment> times() const {
    std::vector<Moment> result;
    for (const Sent& datagram : sent)
      result.push_back(datagram.at / kMillisecond);
    return result;
  }
  std::vector<unsigned> names() const {
    std::vector<unsigned> result;
    for (const Done& end : done) result.push_back(end.name);
    return result;
  }

  Moment now = kStart;
  Engine engine;
  std::vector<Sent> sent;
  std::vector<Done> done;
  unsigned nextMessage = 500;
};

}  // namespace script

#endif  // OSTREL_TESTS_CLIENT_ENGINE_SCRIPT_H
