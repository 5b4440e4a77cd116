// Hostile servers against each operation of the asynchronous client: every
// request ends once, however it is answered, nothing leaks, and what is kept
// for a server is bounded.

#include <ostrel/client.h>

#include <string>

#include "hostile_servers.h"

namespace {

using fuzz::require;
using namespace ostrel;

struct Ends {
  unsigned asked = 0;
  unsigned ended = 0;
};

template <class T>
Handler<T> counted(Ends& ends) {
  ends.asked++;
  return [&ends](Result<T>&& result) {
    ends.ended++;
    if (!result) require(!result.error().text().empty(), "errors have a text");
  };
}

void perform(unsigned operation, Client& client, Ends& ends) {
  const Endpoint server("192.0.2.1");
  const Oid oid("59.6.0.1");
  SearchOptions options;
  if ((operation & 0x10) != 0) options.wanted = {Aid("59.6.1")};
  switch (operation % 10) {
    case 0:
      client.get(server, oid, {"59.6.1"}, counted<Attributes>(ends));
      break;
    case 1:
      client.set(server, oid, {{"59.6.1", 5}}, counted<Done>(ends));
      break;
    case 2:
      client.create(server, "59.6.0.0", {}, counted<Oid>(ends));
      break;
    case 3:
      client.clone(server, oid, {}, counted<Oid>(ends));
      break;
    case 4:
      client.remove(server, oid, counted<Done>(ends));
      break;
    case 5:
      client.action(server, oid, "59.6.2", {}, counted<Done>(ends));
      break;
    case 6:
      client.search(
          server, "59.6.0.0", {}, [](auto&&) { return true; },
          counted<Done>(ends), options);
      break;
    case 7:
      client.searchDirectory({}, "59.6.0.0", {}, {}, counted<Found>(ends));
      break;
    case 8:
      client.watch(
          server, oid, "59.6.0", [](Event&&) {}, counted<Done>(ends));
      break;
    default:
      client.discover(counted<Endpoint>(ends));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const fuzz::TimeBound time(size);
  fuzz::MemoryBound memory(size, fuzz::kMemoryForScript);
  fuzz::Script script(data, size);
  fake::platform().reset();
  fake::platform().recording = false;
  fuzz::HostileServers servers(script, memory);
  servers.add("127.0.0.1", 5135);
  servers.add("192.0.2.1", 5135);
  servers.add("192.0.2.1", 5136, "224.0.1.2");
  Ends ends;
  {
    Client client;
    while (!script.done()) {
      perform(script.number(1), client, ends);
      for (unsigned turns = script.number(1) & 7; turns > 0; --turns) {
        client.process();
        fake::platform().advance(0.5);
      }
    }
    // What a minute and a half does not end, the end of the client does.
    for (int i = 0; i < 200; ++i) {
      client.process();
      fake::platform().advance(0.5);
    }
  }
  require(ends.ended == ends.asked, "every request ends once");
  return 0;
}
