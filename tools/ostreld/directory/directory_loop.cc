#include "directory/directory_loop.h"

#include <ifaddrs.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "common/addresses.h"
#include "directory/asking.h"
#include "directory/merged_search.h"
#include "directory/server_addresses.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

constexpr std::chrono::milliseconds kIdle{60000};

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

class DirectoryServer : public ServerLoop {
 public:
  DirectoryServer(const DirectoryOptions& options,
                  const RereadDirectoryOptions& reread)
      : ServerLoop(options),
        options_(options),
        reread_(reread),
        askingSocket_(options.listen, 0),
        asking_(&askingSocket_, options.longestAnswer, &counters()),
        search_(
            &asking_, options.longestAnswer,
            [this](const sockaddr_in& to, std::string& bytes) {
              answer(to, bytes);
            },
            &counters()) {
    wakeFor(askingSocket_.descriptor());
    take(options);
    if (options.multicast) hearGroup();
  }

 private:
  void handle(Message& request, Time now) override {
    search_.handle(request, now);
  }

  int runTimers() override {
    const Time now = std::chrono::steady_clock::now();
    const auto due = search_.tick(now);
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(due ? *due - now : kIdle);
    return static_cast<int>(
        std::clamp(left, std::chrono::milliseconds(0), kIdle).count());
  }

  void receive() override {
    const Time now = std::chrono::steady_clock::now();
    // What was taken off the socket does not wake the server again.
    for (int i = 0; i < kBatch || askingSocket_.hasMore(); ++i)
      if (!search_.receive(now)) return;
  }

  // What cannot be read leaves everything as it was.
  void reload() override {
    // Whoever sent the signal wants to see what came of it, every time.
    logRepeats();
    try {
      reread_([this](const DirectoryOptions& options) { take(options); });
    } catch (const std::exception& error) {
      log(Level::kError, std::string(error.what()) + "; nothing was changed");
    }
  }

  // What can change while the server runs.
  void take(const DirectoryOptions& options) {
    const auto servers = allServers(options.servers, options.serverFile);
    for (const sockaddr_in& server : servers)
      log(Level::kInfo, "asks the object server " + endpointText(server));
    if (servers.empty()) log(Level::kWarning, "knows no object server");
    setRates(options);
    search_.setServers(servers);
    asking_.setPatience(
        {std::chrono::seconds(options.timeout), options.retries});
  }

  // Without the group the directory still answers whoever knows its address.
  void hearGroup() {
    UdpSocket* receiver = groupReceiver();
    if (receiver == nullptr) return;
    for (const in_addr& interface : groupInterfaces())
      join(receiver, interface);
  }

  bool listensEverywhere() const {
    return options_.listen.s_addr == htonl(INADDR_ANY);
  }

  std::vector<in_addr> groupInterfaces() const {
    std::vector<in_addr> interfaces = options_.interfaces;
    if (interfaces.empty() && listensEverywhere()) interfaces = allInterfaces();
    if (interfaces.empty()) interfaces = {options_.listen};
    return interfaces;
  }

  // A socket on one address gets nothing that is sent to a group, so there has
  // to be another. Null when that cannot be had.
  UdpSocket* groupReceiver() {
    if (listensEverywhere()) return &socket();
    try {
      group_ = std::make_unique<UdpSocket>(UdpSocket::Group{directoryGroup()},
                                           ntohs(socket().address().sin_port));
    } catch (const std::runtime_error& error) {
      log(Level::kWarning, error.what());
      return nullptr;
    }
    listenAlso(group_.get());
    return group_.get();
  }

  static void join(UdpSocket* receiver, in_addr interface) {
    const in_addr group = directoryGroup();
    const bool joined = receiver->join(group, interface);
    const std::string cause = joined ? "" : std::strerror(errno);
    const std::string where =
        addressText(group) + " on " + addressText(interface);
    if (joined)
      log(Level::kInfo, "hears the group " + where);
    else
      log(Level::kWarning, "cannot join " + where + ": " + cause);
  }

  DirectoryOptions options_;
  RereadDirectoryOptions reread_;
  std::unique_ptr<UdpSocket> group_;
  UdpSocket askingSocket_;
  Asking asking_;
  MergedSearch search_;
};

}  // namespace

int serveDirectory(const DirectoryOptions& options,
                   const RereadDirectoryOptions& reread) {
  DirectoryServer server(options, reread);
  log(Level::kInfo, "directory server on " + endpointText(server.address()));
  return server.run();
}

}  // namespace ostrel::tools::server
