#include "directory/directory_loop.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <ostrel/message.h>
#include <ostrel/transaction.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>

#include "base/log.h"
#include "directory/merged_search.h"
#include "directory/server_addresses.h"
#include "net/rate_limit.h"
#include "net/signals.h"
#include "net/udp_socket.h"

namespace ostrel::tools::server {
namespace {

constexpr int kBatch = 64;
constexpr int kMillisecondsPerSecond = 1000;
constexpr int kShortestWait = 20;  // milliseconds; due times are whole seconds

// The addresses of all interfaces that are up.
std::vector<in_addr> allInterfaces() {
  std::vector<in_addr> result;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return result;
  for (const ifaddrs* each = list; each != nullptr; each = each->ifa_next) {
    if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != AF_INET ||
        (each->ifa_flags & IFF_UP) == 0U) {
      continue;
    }
    result.push_back(
        reinterpret_cast<const sockaddr_in*>(each->ifa_addr)->sin_addr);
  }
  freeifaddrs(list);
  return result;
}

class DirectoryServer {
 public:
  explicit DirectoryServer(const DirectoryOptions& options)
      : options_(options),
        socket_(options.listen, options.port, options.longestRequest),
        directory_(&handler_, options.longestAnswer,
                   [this](const sockaddr_in& to, std::string& answer) {
                     rate_.charge(to.sin_addr, answer.size());
                     outbox_.send(to, answer);
                   }),
        rate_(options.requestsPerSecond),
        outbox_(&socket_) {
    if (handler_.open() < 0)
      throw std::runtime_error("no socket for asking object servers");
    handler_.initialTimeout = options.timeout;
    handler_.retries = options.retries;
    // Answers are matched by number: one that cannot be guessed keeps strangers
    // from answering.
    handler_.nextRequestId = std::random_device()();
    directory_.setServers(readAll());
    if (options.multicast) joinGroup();
  }

  int run() {
    for (;;) {
      const long next = directory_.tick();
      pollfd ready[] = {{socket_.socket, POLLIN, 0},
                        {handler_.messageHandler->socket, POLLIN, 0},
                        {signals_.descriptor(), POLLIN, 0},
                        {group_ ? group_->socket : -1, POLLIN, 0}};
      const auto wait = static_cast<int>(next * kMillisecondsPerSecond);
      poll(ready, std::size(ready),
           outbox_.empty() ? std::max(kShortestWait, wait) : 0);
      if (ended()) return 0;
      for (int i = 0; i < kBatch && directory_.receive(); ++i) {
      }
      if (!takeRequests(socket_)) return 0;
      if (group_ && !takeRequests(*group_)) return 0;
      outbox_.sendNext();
    }
  }

  sockaddr_in address() const { return socket_.address(); }

 private:
  std::vector<sockaddr_in> readAll() {
    std::vector<sockaddr_in> servers;
    for (const std::string& entry : options_.servers)
      servers.push_back(parseServer(entry));
    if (!options_.serverFile.empty()) {
      for (const sockaddr_in& server : readServers(options_.serverFile))
        servers.push_back(server);
    }
    for (const sockaddr_in& server : servers)
      log(Level::kInfo, "asks the object server " + text(server));
    if (servers.empty()) log(Level::kWarning, "knows no object server");
    return servers;
  }

  // A file that cannot be read leaves the servers as they were.
  void reload() {
    // Whoever sent the signal wants to see what came of it, every time.
    logRepeats();
    try {
      directory_.setServers(readAll());
    } catch (const std::runtime_error& error) {
      log(Level::kError, std::string(error.what()) + "; nothing was changed");
    }
  }

  bool ended() {
    while (const int signal = signals_.take()) {
      if (signal != SIGHUP) {
        log(Level::kInfo, "ended by a signal");
        return true;
      }
      reload();
    }
    return false;
  }

  // Without the group the directory still answers whoever knows its address.
  void joinGroup() {
    in_addr group = {};
    inet_pton(AF_INET, kDirectoryGroup, &group);
    UdpSocket* receiver = &socket_;
    std::vector<in_addr> interfaces = options_.interfaces;
    const bool everywhere = options_.listen.s_addr == htonl(INADDR_ANY);
    if (interfaces.empty() && everywhere) interfaces = allInterfaces();
    if (interfaces.empty()) interfaces = {options_.listen};
    if (!everywhere) {
      // A socket on one address gets nothing that is sent to a group.
      try {
        group_ = std::make_unique<UdpSocket>(UdpSocket::Group{group},
                                             ntohs(socket_.address().sin_port),
                                             options_.longestRequest);
      } catch (const std::runtime_error& error) {
        log(Level::kWarning, error.what());
        return;
      }
      receiver = group_.get();
    }
    for (const in_addr& interface : interfaces) {
      if (receiver->join(group, interface)) {
        log(Level::kInfo, std::string("hears the group ") + kDirectoryGroup +
                              " on " + text(interface));
      } else {
        log(Level::kWarning, "cannot join " + std::string(kDirectoryGroup) +
                                 " on " + text(interface) + ": " +
                                 std::strerror(errno));
      }
    }
  }

  // Returns whether the server goes on.
  bool takeRequests(UdpSocket& socket) {
    for (int i = 0; i < kBatch; ++i) {
      sockaddr_in from = {};
      std::string request;
      const auto taken = socket.take(&from, &request);
      if (taken == UdpSocket::Taken::kNothing) break;
      if (taken == UdpSocket::Taken::kPart) continue;
      const auto now = std::chrono::steady_clock::now();
      if (rate_.allows(from.sin_addr, now)) {
        directory_.handle(from, request, now);
      } else {
        log(Level::kDebug, "too many requests of " + text(from));
      }
      if (ended()) return false;
    }
    return true;
  }

  Signals signals_;
  DirectoryOptions options_;
  UdpSocket socket_;
  std::unique_ptr<UdpSocket> group_;
  veskTransactionHandler handler_;
  Directory directory_;
  RateLimit rate_;
  Outbox outbox_;
};

}  // namespace

int serveDirectory(const DirectoryOptions& options) {
  DirectoryServer server(options);
  log(Level::kInfo, "directory server on " + text(server.address()));
  return server.run();
}

}  // namespace ostrel::tools::server
