// Hostile senders against receive(), hostile servers against the requests of
// the event handler: what is no event changes nothing of the caller's, failed
// requests change no record, and nothing leaks or is freed twice.

#include <ostrel/veskEvent.h>

#include <cstdlib>
#include <string>

#include "hostile_servers.h"

namespace {

using fuzz::require;

std::string textOf(veskType& value) {
  char* text = value.getString();
  std::string result = text == nullptr ? "" : text;
  std::free(text);
  return result;
}

class Target {
 public:
  Target(fuzz::Script& script, fuzz::MemoryBound& memory)
      : script_(script), memory_(memory), servers_(script, memory) {
    servers_.add("127.0.0.1", 5135);
    servers_.add("192.0.2.1", 5135);
    servers_.add("192.0.2.10", 5135);
    handler_.open();
  }
  ~Target() {
    handler_.events.clear(1);
    handler_.principalCache.clear(1);
  }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  void play() {
    while (!script_.done()) {
      const unsigned action = script_.number(1);
      if ((action & 0x80) != 0) fake::platform().user++;  // looks it up
      switch (action & 7) {
        case 0:
          reg();
          break;
        case 1:
          unreg();
          break;
        case 2:
          deliver(script_.bytes(script_.number(1)));
          break;
        default:
          for (const std::string& bytes :
               fake::fragments(action, servers_.message({"\x43\x00", 2})))
            deliver(bytes);
          break;
      }
      require(handler_.transactionHandler->pending.count == 0,
              "every request is forgotten");
    }
  }

 private:
  void deliver(const std::string& bytes) {
    memory_.arrived(bytes.size());
    fake::platform().deliver(fake::endpoint("192.0.2.1", 4444),
                             handler_.eventSocket, bytes);
    receive();
  }

  void receive() {
    veskAddress from("10.0.0.1");
    veskOid oid("1.1.1.1");
    veskAid event("1.1.1");
    veskList args;
    const std::string records = textOf(handler_.events);
    const int code = handler_.receive(&from, &oid, &event, &args);
    require(code == 0 || code == 10, "receive returns 0 or 10");
    require(textOf(handler_.events) == records, "receive changes no record");
    if (from == "10.0.0.1") {
      require(event.valid == 0, "without an event it reads Invalid");
      require(oid == "1.1.1.1" && args.count == 0,
              "without an event nothing else changes");
    } else {
      require(code == 0 && from == "192.0.2.1", "an event has its sender");
    }
    args.destroyDecodedElements();
  }

  void reg() {
    veskOid oid("59.7.0.1");
    veskAid event("59.7.5");
    veskOid regOid("1.1.1.1");
    veskList errors;
    const unsigned before = handler_.events.count;
    const int code = handler_.reg(oid, event, &regOid, &errors, nullptr);
    const unsigned made = handler_.events.count - before;
    require(made <= 1, "a registration is one record");
    require(made == 0 || code == 0 || code == -1, "a failure makes no record");
    require(made == 0 || errors.count == 0, "errors mean no record");
    errors.destroyDecodedElements();
  }

  void unreg() {
    veskOid regOid("59.6.0.3");
    if (handler_.events.count != 0)
      regOid = handler_.events.at<veskObject>(0)->oid;
    const unsigned before = handler_.events.count;
    handler_.unreg(regOid, nullptr);
    require(before - handler_.events.count <= 1, "one record goes at most");
  }

  fuzz::Script& script_;
  fuzz::MemoryBound& memory_;
  fuzz::HostileServers servers_;
  veskEventHandler handler_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const fuzz::TimeBound time(size);
  fuzz::MemoryBound memory(size, fuzz::kMemoryForScript);
  fuzz::Script script(data, size);
  fake::platform().reset();
  fake::platform().recording = false;
  Target(script, memory).play();
  return 0;
}
