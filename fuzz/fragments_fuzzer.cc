// A run of datagrams from several senders, true and false ones, with time
// passing and calls failing in between: each is taken off the socket, what is
// held of incomplete messages stays within its bounds, and nothing leaks.

#include <ostrel/datagram.h>

#include <cerrno>
#include <cstdlib>

#include "bounds.h"
#include "script.h"
#include "support/fake_platform.h"
#include "support/fragments.h"

namespace {

using fuzz::require;

constexpr std::size_t kLargestDatagram = 2016;

// A fragment of a small message, so that messages complete now and then.
std::string smallFragment(fuzz::Script& script) {
  const unsigned id = script.number(1) % 4;
  const unsigned count = script.number(1);
  const unsigned number = script.number(1);
  const std::uint32_t total = script.number(2);
  const std::uint32_t offset = script.number(2);
  return fake::fragment(
      id, count, number, total, offset,
      std::string(script.number(2) % (kLargestDatagram - fake::kHeader), 'd'));
}

// A datagram with any header, or less than one.
std::string anyDatagram(fuzz::Script& script) {
  const std::size_t size = script.number(1);
  const std::string header = script.bytes(std::min(size, fake::kHeader));
  return header + std::string(size - header.size(), 'd');
}

void takeOne(veskDatagramHandler& handler) {
  const std::size_t queued = fake::platform().queued(handler.socket);
  void* data = nullptr;
  sockaddr_in from = {};
  const unsigned length = handler.recv(&from, &data);
  const std::size_t left = fake::platform().queued(handler.socket);
  if (length > 0) {
    // Every byte is there and may be read.
    const std::string message(static_cast<char*>(data), length);
    require(
        message.find_first_not_of(std::string("d\0", 2)) == std::string::npos,
        "a message holds what arrived, and zeros");
    std::free(data);
  } else if (errno == EBADMSG) {
    std::free(data);
  } else if (errno == EMSGSIZE && data != nullptr) {
    // The caller's, unless a message that is put together holds it.
    bool held = false;
    for (unsigned i = 0; i < handler.reassemblyList.count; ++i) {
      held |= static_cast<veskDatagramReassemblyEntry*>(
                  handler.reassemblyList.index(i)->data)
                  ->buffer == data;
    }
    if (!held) std::free(data);
  }
  require(left + 1 == queued || (left == queued && errno != 0),
          "each call takes one datagram, unless it failed");
}

void checkBounds(veskDatagramHandler& handler) {
  std::uint64_t held = 0;
  for (unsigned i = 0; i < handler.reassemblyList.count; ++i) {
    const auto* entry = static_cast<veskDatagramReassemblyEntry*>(
        handler.reassemblyList.index(i)->data);
    held += entry->totalLength + entry->fragmentCount;
  }
  require(
      handler.reassemblyList.count <= veskDatagramHandler::kMaxPartialMessages,
      "so many messages at most");
  require(held <= veskDatagramHandler::kMaxPartialBytes,
          "so many bytes at most");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const fuzz::TimeBound time(size);
  fuzz::MemoryBound memory(size, fuzz::kMemoryForScript);
  fake::Platform& system = fake::platform();
  system.reset();
  system.recording = false;
  veskDatagramHandler handler;
  handler.open(0);
  const char* senders[] = {"192.0.2.1", "192.0.2.2", "192.0.2.3", "192.0.2.4"};
  fuzz::Script script(data, size);
  while (!script.done()) {
    const unsigned action = script.number(1);
    const sockaddr_in from = fake::endpoint(senders[action & 3], 5135);
    switch (action >> 2 & 7) {
      case 0:
        system.advance(script.number(1));
        continue;
      case 1:
        system.failNext(fake::Call::kReceive, EIO);
        break;
      case 2:
        system.failNext(fake::Call::kPeek, EINTR);
        break;
      case 3:
        system.failNext(fake::Call::kAllocate, ENOMEM, 1, action >> 5 & 1);
        break;
      case 4:
        system.deliver(from, handler.socket, anyDatagram(script));
        break;
      default:
        system.deliver(from, handler.socket, smallFragment(script));
        break;
    }
    if (system.queued(handler.socket) == 0) continue;
    memory.arrived(kLargestDatagram);
    takeOne(handler);
    checkBounds(handler);
  }
  while (system.queued(handler.socket) > 0) takeOne(handler);
  handler.dropPartialMessages();
  return 0;
}
