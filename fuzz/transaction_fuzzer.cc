// A hostile network against a transaction handler with requests pending: what
// recv() hands over is a PDU with the id of a request that was pending, codes
// are those of the transport, and nothing leaks or is freed twice.

#include <ostrel/message.h>
#include <ostrel/transaction.h>
#include <ostrel/veskPDU.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "bounds.h"
#include "script.h"
#include "support/fake_platform.h"
#include "support/fragments.h"

namespace {

using fuzz::require;

class Target {
 public:
  explicit Target(fuzz::MemoryBound& memory)
      : memory_(memory), oid_("59.6.0.0") {
    system_.reset();
    system_.recording = false;
    socket_ = handler_.open();
  }
  ~Target() { handler_.pending.clear(1); }

  void play(fuzz::Script& script) {
    while (!script.done()) step(script);
    while (system_.queued(socket_) > 0) recv();
  }

 private:
  void step(fuzz::Script& script) {
    const unsigned action = script.number(1);
    switch (action & 7) {
      case 0:
        send(action);
        return;
      case 1:
        tick(script.number(1));
        return;
      case 2:
        flush(script.number(1));
        return;
      case 3:
        handler_.nextRequestId = script.number(4);
        return;
      case 4:
        deliver(script.bytes(script.number(1)));
        break;
      default:  // a whole message
        for (const std::string& bytes :
             fake::fragments(action, script.bytes(script.number(2)))) {
          deliver(bytes);
        }
        break;
    }
    while (system_.queued(socket_) > 0) recv();
  }

  void send(unsigned action) {
    if (requests_.size() >= 24) return;
    const sockaddr_in to =
        fake::endpoint((action & 8) != 0 ? "224.0.1.2" : "192.0.2.1", 5135);
    if ((action & 16) != 0) system_.failNext(fake::Call::kSend, ENETUNREACH);
    // The same PDU may be sent while it is pending.
    if ((action & 32) == 0 || requests_.empty()) {
      requests_.push_back(std::make_unique<veskRemovePDU>(oid_));
    }
    isCode(handler_.send(&to, requests_.back().get()));
  }

  void tick(unsigned seconds) {
    system_.advance(seconds);
    for (int more = 1; more == 1;) {
      long next = 0;
      int err = 0;
      veskPDU* pdu = nullptr;
      more = handler_.tick(&next, &err, &pdu);
      isCode(err);
      require((err != 0) == (pdu != nullptr), "a code comes with its request");
    }
  }

  void flush(unsigned id) {
    const bool was = isPending(id);
    require(handler_.flush(id) == (was ? 1 : 0), "flush finds what is pending");
  }

  void recv() {
    veskPDU* pdu = nullptr;
    const unsigned before = handler_.pending.count;
    std::vector<std::uint32_t> ids;
    for (unsigned i = 0; i < before; ++i) ids.push_back(idAt(i));
    const int code = handler_.recv(nullptr, &pdu);
    isCode(code);
    if (pdu == nullptr) {
      require(handler_.pending.count == before, "no answer ends no request");
      return;
    }
    require(code == 0, "an answer comes without an error");
    bool matched = false;
    for (const std::uint32_t id : ids) matched |= id == pdu->requestId.value;
    require(matched, "answers have the id of a pending request");
    veskType::destroyDecoded(pdu);
  }

  void deliver(const std::string& bytes) {
    memory_.arrived(bytes.size());
    system_.deliver(fake::endpoint("192.0.2.1", 5135), socket_, bytes);
  }
  std::uint32_t idAt(unsigned i) {
    return static_cast<pendingRequest*>(handler_.pending.index(i)->data)
        ->request->requestId.value;
  }
  bool isPending(std::uint32_t id) {
    for (unsigned i = 0; i < handler_.pending.count; ++i) {
      if (idAt(i) == id) return true;
    }
    return false;
  }
  static void isCode(int code) {
    require(code == 0 || code == 10 || code == 11, "a code of the transport");
  }

  fuzz::MemoryBound& memory_;
  fake::Platform& system_ = fake::platform();
  veskTransactionHandler handler_;
  int socket_ = -1;
  veskOid oid_;
  std::vector<std::unique_ptr<veskRemovePDU>> requests_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const fuzz::TimeBound time(size);
  fuzz::MemoryBound memory(size, fuzz::kMemoryForScript);
  fuzz::Script script(data, size);
  Target target(memory);
  target.play(script);
  return 0;
}
