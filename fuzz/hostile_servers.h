// Servers whose answers are in a fuzzer's script: as many to each request as it
// says, with the request's id or any bytes at all, late or at once.

#ifndef OSTREL_FUZZ_HOSTILE_SERVERS_H
#define OSTREL_FUZZ_HOSTILE_SERVERS_H

#include <functional>
#include <string>

#include "bounds.h"
#include "script.h"
#include "support/fake_platform.h"
#include "support/fragments.h"

namespace fuzz {

class HostileServers {
 public:
  HostileServers(Script& script, MemoryBound& memory)
      : script_(script), memory_(memory) {}
  HostileServers(const HostileServers&) = delete;
  HostileServers& operator=(const HostileServers&) = delete;

  void add(const char* address, unsigned short port) {
    fake::platform().addPeer(address, port, answers());
  }
  void add(const char* address, unsigned short port, const char* group) {
    fake::platform().addPeer(address, port, group, 1, answers());
  }

  // A message in the script: any bytes, or a header with this id (the member
  // that holds it) and any bytes behind.
  std::string message(const std::string& id) {
    const unsigned kind = script_.number(1);
    if (kind == 0) return script_.bytes(script_.number(2));
    std::string bytes(1, static_cast<char>(kind));
    const unsigned status = script_.number(1);
    if (status == 0) {
      bytes += std::string("\x03\x00", 2);
    } else if (status == 0xff) {
      bytes += "\x03\x04\xff\xff\xff\xff";
    } else {
      bytes += "\x03\x01";
      bytes += static_cast<char>(status);
    }
    bytes += id + std::string("\x0A\x00", 2);
    return bytes + script_.bytes(script_.number(2));
  }

  // What a server must not send: by default nothing is forbidden.
  std::function<bool(const std::string& message)> mustNotSend;

 private:
  fake::Script answers() {
    return [this](fake::Peer& peer, const fake::Datagram& datagram) {
      const std::string request = assembler_.take(datagram);
      if (!request.empty()) answer(peer, datagram.from, idOf(request));
    };
  }

  void answer(const fake::Peer& peer, const sockaddr_in& to,
              const std::string& id) {
    if (script_.done()) return;
    const unsigned plan = script_.number(1);
    const std::int64_t delay = (plan >> 2 & 7) * fake::Platform::kSecond;
    fake::platform().policy = [delay](const fake::Datagram& sent) {
      return std::vector<fake::Delivery>{{delay, sent.bytes}};
    };
    for (unsigned i = 0; i < (plan & 3); ++i) {
      const std::string bytes = message(id);
      if (mustNotSend && mustNotSend(bytes)) continue;
      memory_.arrived(bytes.size());
      fake::sendMessage(peer, to, nextMessage_++ & 0xffff, bytes);
    }
    fake::platform().policy = nullptr;
  }

  // The header's member behind tag and status: 43, a length, so many bytes.
  static std::string idOf(const std::string& request) {
    const std::size_t at = 3 + static_cast<unsigned char>(request.at(2));
    const std::size_t size = static_cast<unsigned char>(request.at(at + 1));
    return request.substr(at, 2 + size);
  }

  Script& script_;
  MemoryBound& memory_;
  fake::Assembler assembler_;
  unsigned nextMessage_ = 0;
};

}  // namespace fuzz

#endif  // OSTREL_FUZZ_HOSTILE_SERVERS_H
