// What becomes of the asynchronous client when a call of the system or an
// allocation fails: each walk repeats the same life of a client and lets a
// later call fail each time. Every handler runs once at most, nothing stays
// open, and nothing leaks.

#include <gtest/gtest.h>
#include <ostrel/client.h>

#include <cerrno>
#include <cstdlib>
#include <new>

#include "support/hex_pieces.h"
#include "support/servers.h"

namespace {

// Which allocation of the library fails.
bool armed = false;
unsigned long skip = 0;
bool failed = false;

void* take(std::size_t size) {
  if (armed && !fake::inside() && !failed && skip-- == 0) {
    failed = true;
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void* operator new(std::size_t size) {
  void* block = take(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return take(size);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace {

using fake::Call;
using fake::platform;
using namespace ostrel;

struct Failure {
  Call call;
  int error;
};

const Failure kFailures[] = {
    {Call::kOpen, EMFILE},
    {Call::kBind, EADDRINUSE},
    {Call::kSocketName, ENOBUFS},
    {Call::kSetSendBuffer, ENOBUFS},
    {Call::kSetReceiveBuffer, ENOBUFS},
    {Call::kSetMulticastTtl, EINVAL},
    {Call::kSend, ENETUNREACH},
    {Call::kSend, EPERM},
    {Call::kSend, EAGAIN},
    {Call::kSend, ENOBUFS},
    {Call::kSend, EINTR},
    {Call::kSend, ECONNREFUSED},
    {Call::kSend, EMSGSIZE},
    {Call::kReceive, EINTR},
    {Call::kReceive, ECONNREFUSED},
    {Call::kReceive, ENOMEM},
    {Call::kWait, EINTR},
    {Call::kWait, EINVAL},
    {Call::kClose, EIO},
    {Call::kRandom, ENOSYS},
    {Call::kLocalAddress, ENETUNREACH},
    {Call::kOpenWakeup, EMFILE},
    {Call::kOpenReadiness, EMFILE},
    {Call::kSetTimer, EINVAL},
};

struct Tally {
  unsigned taken = 0;
  unsigned ended = 0;
};

template <class T>
Handler<T> counted(Tally& tally) {
  return [&tally](Result<T>&&) { tally.ended++; };
}

// One operation of each kind, with servers that answer.
void live(Tally& tally) {
  const Endpoint server("192.0.2.1");
  const Oid oid("59.6.0.1");
  const auto count = [&tally](const Ticket& ticket) {
    tally.taken += ticket ? 1U : 0U;
  };
  Client client;
  try {
    client.descriptor();
    client.poster();
    count(client.get(server, oid, {"59.6.1"}, counted<Attributes>(tally)));
    count(client.set(server, oid, {{"59.6.1", 5}}, counted<Done>(tally)));
    count(client.search(
        server, "59.7.0.0", {}, [](auto&&) { return true; },
        counted<Done>(tally)));
    count(client.discover(counted<Endpoint>(tally)));
    count(client.watch(
        server, oid, "59.6.0", [](Event&&) {}, counted<Done>(tally)));
  } catch (const std::bad_alloc&) {
    // Nothing of that call was taken.
  }
  for (int i = 0; i < 60; ++i) {
    try {
      client.process();
    } catch (const std::bad_alloc&) {
      // It may be called again.
    }
    platform().advance(0.5);
  }
}

class AsyncFailing : public ::testing::Test {
 protected:
  // Runs a life with servers that answer as the requests come.
  void run(Tally& tally) {
    fake::Server local("127.0.0.1", 5135);
    fake::Server directory("192.0.2.5", 5136, "224.0.1.2", 1);
    fake::platform().addPeer(
        "192.0.2.1", 5135, [](fake::Peer& peer, const fake::Datagram& asked) {
          const std::string id = fake::requestId(asked.bytes.substr(16));
          std::string pdu;
          switch (asked.bytes.at(16)) {
            case 0x1f:
              pdu = "27" SUCCESS NONE ONE
                    "17 0B 01 01 3B 01 06 01 05 01 0C 02 03 E8";
              break;
            case 0x20:
              pdu = "28" SUCCESS NONE;
              break;
            case 0x21:
              pdu = "29" SUCCESS NONE NONE;
              break;
            case 0x1c:
              pdu = "25" SUCCESS NONE NEW_OBJECT;
              break;
            default:
              pdu = "2B" SUCCESS;
          }
          pdu.replace(pdu.find("ID"), 2, id);
          fake::sendMessage(peer, asked.from, 7, fake::raw(pdu.c_str()));
        });
    for (int i = 0; i < 4; ++i) local.then("29" SUCCESS NONE NONE);
    for (int i = 0; i < 4; ++i) directory.then("2F" SUCCESS NONE NONE NONE);
    armed = true;
    live(tally);
    armed = false;
  }
  void expectClean(const Tally& tally) {
    EXPECT_EQ(tally.ended, tally.taken);
    for (const auto& [descriptor, socket] : platform().sockets)
      EXPECT_FALSE(socket.open) << descriptor;
    EXPECT_TRUE(platform().descriptors.empty());
  }
};

TEST_F(AsyncFailing, EveryRequestEndsOnceWhateverCallOfTheSystemFails) {
  for (const Failure& failure : kFailures) {
    for (unsigned n = 0;; ++n) {
      SCOPED_TRACE("call " + std::to_string(static_cast<int>(failure.call)) +
                   ", errno " + std::to_string(failure.error) + ", number " +
                   std::to_string(n));
      platform().reset();
      platform().failNext(failure.call, failure.error, 1, n);
      skip = ~0UL;
      failed = false;
      Tally tally;
      run(tally);
      expectClean(tally);
      EXPECT_EQ(tally.taken, 5U);
      if (platform().count(failure.call) <= n) break;
    }
  }
}

TEST_F(AsyncFailing, EveryRequestEndsOnceWhateverAllocationFails) {
  for (unsigned long n = 0;; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    platform().reset();
    platform().recording = false;
    skip = n;
    failed = false;
    Tally tally;
    try {
      run(tally);
    } catch (const std::bad_alloc&) {
      // No memory for the client itself.
      armed = false;
    }
    armed = false;
    expectClean(tally);
    if (!failed) {
      EXPECT_EQ(tally.taken, 5U);
      break;
    }
  }
}

}  // namespace
