// The socket of a client: carries the engine's datagrams out and hands arriving
// ones and reports of closed ports to it. It decides nothing.

#ifndef OSTREL_SRC_ASYNC_SOCKET_H
#define OSTREL_SRC_ASYNC_SOCKET_H

#include <ostrel/client.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "base/platform_async.h"
#include "client/engine/engine.h"

namespace ostrel {

class EngineSocket {
 public:
  EngineSocket() = default;
  ~EngineSocket();
  EngineSocket(const EngineSocket&) = delete;
  EngineSocket& operator=(const EngineSocket&) = delete;

  // Opens a socket on a random port. Returns 0 or an errno.
  int open();
  void close();

  int descriptor() const { return descriptor_; }
  std::uint16_t port() const { return port_; }

  // What the receive buffer holds, in bytes.
  std::size_t receiveBytes() const { return receiveBytes_; }

  // Sends what the engine has, as much as the system takes.
  void send(Engine& engine);
  // Whether it took less, and there is something to do when the socket can be
  // written.
  bool isBlocked() const { return blocked_; }

  // What is shown each datagram on its way, and says whether it goes on.
  using Tap = UniqueFunction<bool(const Datagram&)>;
  void setTap(Tap tap) { tap_ = std::move(tap); }

  // Takes up to so many batches of datagrams. Returns whether more may be
  // there.
  bool receive(Engine& engine, unsigned batches);

 private:
  static constexpr std::size_t kRoom = 2048;  // more than any datagram needs

  bool takeReports(Engine& engine);
  void setTtl(std::uint8_t ttl);
  std::size_t prepare(Engine& engine);
  bool mayGo(const Outgoing& datagram);
  bool mayCome(const platform::Arrival& arrival);

  int descriptor_ = -1;
  std::uint16_t port_ = 0;
  std::size_t receiveBytes_ = 0;
  bool blocked_ = false;
  std::uint8_t ttl_ = 0;
  std::uint32_t dropped_ = 0;
  static constexpr std::size_t kFewest = 4;
  std::size_t wanted_ = kFewest;  // datagrams of the next call
  Outgoing batch_[platform::kMostAtOnce];
  platform::Departure departures_[platform::kMostAtOnce];
  platform::Arrival arrivals_[platform::kMostAtOnce];
  std::unique_ptr<char[]> rooms_;
  Tap tap_;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_ASYNC_SOCKET_H
