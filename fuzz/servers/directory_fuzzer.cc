// Hostile clients of a directory and hostile object servers behind it. What
// clients send is answered as asked.h says; an answer names servers that the
// directory has, beside each object one; nothing is sent to anybody else; every
// search ends, and then nothing is held of it.

#include <ostrel/elements.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "../bounds.h"
#include "../script.h"
#include "asked.h"
#include "directory/merged_search.h"
#include "fake_udp_socket.h"
#include "support/log.h"

namespace {

using fuzz::FakeNetwork;
using fuzz::Name;
using fuzz::require;
using namespace ostrel::tools::server;
using namespace std::chrono_literals;

constexpr std::size_t kLongestAnswer = 4000;

// What may be held in the end, in bytes: for each message that came, room in
// tables that do not shrink, and for any.
constexpr std::size_t kLeftForEach = 1024;
constexpr std::size_t kLeftForAny = 65536;

std::vector<sockaddr_in> servers() {
  return {fuzz::clientAt("127.0.0.11", 5135),
          fuzz::clientAt("127.0.0.12", 5135),
          fuzz::clientAt("127.0.0.12", 5136)};
}

class Target {
 public:
  Target(fuzz::Script& script, fuzz::MemoryBound& memory)
      : script_(script), memory_(memory) {
    FakeNetwork::reset();
    search_.setServers(servers());
    held_ = fuzz::Memory::held;
  }
  ~Target() { FakeNetwork::reset(); }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  void play() {
    while (!script_.done()) {
      const unsigned action = script_.number(1);
      const sockaddr_in& client = kClients[action >> 3 & 3];
      switch (action & 7) {
        case 0:
          pass(std::chrono::milliseconds(script_.number(2)));
          break;
        case 1:
          handle(client, script_.bytes(script_.number(2)));
          break;
        case 2:
          handle(client, fuzz::requestIn(script_));
          break;
        case 3:  // as a client, or as a server
          deliver(action & 0x80 ? servers()[action >> 5 & 1] : client,
                  script_.bytes(script_.number(1)));
          break;
        case 4:
          FakeNetwork::failure = action & 8 ? EAGAIN : EPERM;
          break;
        case 5:
          setServers(action >> 3 & 3);
          break;
        default:
          answer(action);
          break;
      }
    }
    settle();
  }

 private:
  using Time = MergedSearch::Time;

  void pass(std::chrono::milliseconds time) {
    now_ += time;
    search_.tick(now_);
    checkSent();
  }

  void setServers(unsigned count) {
    std::vector<sockaddr_in> some = servers();
    some.resize(count);
    search_.setServers(some);
  }

  void handle(const sockaddr_in& from, const std::string& bytes) {
    memory_.arrived(bytes.size());
    arrived_ += bytes.size();
    messages_++;
    asked_.note(from, bytes);
    search_.handle({from, 0, bytes, now_}, now_);
    checkSent();
  }

  // One of the requests that were sent is answered: by whom it went to, or, now
  // and then, by somebody else; with its id, or with any bytes.
  void answer(unsigned action) {
    if (FakeNetwork::sent.empty()) return;
    const auto at = script_.number(1) % FakeNetwork::sent.size();
    const Parcel asked = FakeNetwork::sent[at];
    std::string bytes = script_.bytes(1);
    if (action & 0x10) {
      const auto header = ostrel::tools::headerIn(asked.bytes);
      bytes += *ostrel::tools::encoded(header->status) +
               *ostrel::tools::encoded(header->requestId) +
               *ostrel::tools::encoded(header->principal);
    }
    bytes += script_.bytes(script_.number(2));
    const sockaddr_in from = action & 0x20 ? kClients[3] : asked.to;
    for (const std::string& each : fuzz::datagramsOf(nextMessage_++, bytes))
      deliver(from, each);
  }

  void deliver(const sockaddr_in& from, const std::string& datagram) {
    memory_.arrived(datagram.size());
    arrived_ += datagram.size();
    FakeNetwork::arriving.push_back({from, datagram});
    while (search_.receive(now_)) {
    }
    checkSent();
  }

  void checkSent() {
    const std::vector<sockaddr_in> all = servers();
    for (const Parcel& each : FakeNetwork::sent) {
      const bool known =
          std::any_of(all.begin(), all.end(), [&](const sockaddr_in& server) {
            return ostrel::tools::sameEndpoint(server, each.to);
          });
      require(known, "object servers are asked alone");
    }
    if (FakeNetwork::sent.size() > kRemembered)
      FakeNetwork::sent.erase(FakeNetwork::sent.begin(),
                              FakeNetwork::sent.end() - kRemembered);
  }

  // An answer that the directory gives.
  void take(const sockaddr_in& to, const std::string& bytes) {
    Name name;
    asked_.check(to, bytes, &name);
    const auto value = ostrel::tools::decoded(bytes);
    auto* found = dynamic_cast<veskDSsearchRespPDU*>(value.get());
    if (found == nullptr) return;
    require(found->list->count == found->list2->count,
            "each object has the address of its server");
    const std::vector<sockaddr_in> all = servers();
    for (auto* each : ostrel::Elements<veskAddress>(*found->list2)) {
      const in_addr* address = each == nullptr ? nullptr : each->get(nullptr);
      require(
          address != nullptr && std::any_of(all.begin(), all.end(),
                                            [&](const sockaddr_in& server) {
                                              return server.sin_addr.s_addr ==
                                                     address->s_addr;
                                            }),
          "an answer names servers that were asked");
    }
  }

  // Nobody sends any more, and all times pass.
  void settle() {
    FakeNetwork::failure = 0;
    for (int i = 0; i < 4; ++i) pass(100s);
    require(!search_.tick(now_), "every search ends");
    FakeNetwork::reset();
    asked_.clear();
    const auto held = static_cast<std::size_t>(
        std::max<std::ptrdiff_t>(0, fuzz::Memory::held - held_));
    require(held <= kLeftForAny + kLeftForEach * messages_,
            "memory returns to where it was");
  }

  static constexpr std::size_t kRemembered = 64;
  static const std::array<sockaddr_in, 4> kClients;

  fuzz::Script& script_;
  fuzz::MemoryBound& memory_;
  fuzz::Asked asked_{kLongestAnswer};
  Counters counters_;
  UdpSocket socket_{ostrel::tools::loopbackAddress(), 0};
  Asking asking_{&socket_, kLongestAnswer, &counters_};
  MergedSearch search_{
      &asking_, kLongestAnswer,
      [this](const sockaddr_in& to, std::string& bytes) { take(to, bytes); },
      &counters_};

  Time now_ = Time{} + 1000h;
  std::uint16_t nextMessage_ = 0;
  std::size_t messages_ = 0;
  std::size_t arrived_ = 0;
  std::ptrdiff_t held_ = 0;  // in the beginning
};

const std::array<sockaddr_in, 4> Target::kClients = {
    fuzz::clientAt("127.0.0.1", 4000), fuzz::clientAt("127.0.0.1", 4001),
    fuzz::clientAt("127.0.0.2", 4000), fuzz::clientAt("192.0.2.7", 4000)};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  setLogLevel(Level::kError);
  const fuzz::TimeBound time(size);
  fuzz::MemoryBound memory(size, fuzz::kMemoryForScript);
  fuzz::Script script(data, size);
  Target(script, memory).play();
  return 0;
}
