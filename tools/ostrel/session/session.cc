#include "session/session.h"

#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <string_view>

#include "common/addresses.h"
#include "format/value_text.h"
#include "session/host_lookup.h"
#include "session/principal.h"
#include "session/waiting.h"
#include "terminal/signals.h"

namespace ostrel::tools::cli {
namespace {

// Requests under way at a server: it writes changes together that wait at the
// same time, so that loads gain from more than the client's usual eight.
constexpr unsigned kUnderWay = 64;

}  // namespace

Session::Session(Output& output)
    : output_(output), trace_(output), exchange_(output, trace_) {
  catchSignals();
}

const sockaddr_in& Session::objectServer() {
  if (server_) return *server_;
  if (servers({}).size() > 1)
    throw Failure(kUsage, "this command asks one server",
                  "Run it for each of the servers.");
  server_ = servers_[0].at.socketAddress();
  return *server_;
}

const std::vector<Target>& Session::servers(const Lost& lost) {
  if (!servers_.empty()) return servers_;
  const std::string& names = output_.settings().server;
  servers_ = lookUpAll(names.empty() ? addressText(loopbackAddress()) : names,
                       kObjectServerPort, lost);
  return servers_;
}

std::vector<Target> Session::directories(const Lost& lost) {
  if (directory_) return {*directory_};
  return lookUpAll(output_.settings().directory, kDirectoryPort, lost);
}

// The same server by two names is asked once: it would carry out twice what was
// asked for.
std::vector<Target> Session::lookUpAll(const std::string& names,
                                       std::uint16_t usualPort,
                                       const Lost& lost) {
  std::vector<Target> found;
  std::set<Endpoint> known;
  const std::vector<std::string> all = serverNames(names);
  for (const std::string& name : all) {
    try {
      const sockaddr_in address = lookUp(name, usualPort);
      if (known.insert(Endpoint(address)).second)
        found.push_back({Endpoint(address), serverText(address, usualPort)});
    } catch (const Failure& failure) {
      if (all.size() == 1 || !lost || failure.exit == kInterrupted) throw;
      lost(name, failure);
    }
  }
  return found;
}

Client& Session::client() {
  if (client_ != nullptr) return *client_;
  ClientOptions options;
  options.perServer = kUnderWay;
  client_ = std::make_unique<Client>(options);
  if (output_.settings().trace || output_.settings().dryRun)
    client_->onDatagram(
        [this](const ostrel::Datagram& datagram) { return tap(datagram); });
  return *client_;
}

bool Session::tap(const ostrel::Datagram& datagram) {
  if (!output_.settings().dryRun) {
    trace_.passing(datagram);
    return true;
  }
  if (trace_.wouldSend(datagram)) shown_ = true;
  return false;
}

void Session::show(Ticket& request) {
  shown_ = false;
  drive([this, &request] { return shown_ || request.done(); });
  request.forget();
  noteDryRun();
}

void Session::await(Ticket& request, const Shown& what) {
  try {
    await([&] { return request.done(); }, what);
  } catch (...) {
    request.forget();
    throw;
  }
}

void Session::await(const std::function<bool()>& done, const Shown& what) {
  const long before = sentAgain();
  drive(done, [&] {
    const long again = sentAgain() - before;
    return what() + (again != 0 ? ", sent again " + plural(again, "time") : "");
  });
}

long Session::sentAgain() {
  long count = 0;
  client().eachCounter([&](const char* name, std::uint64_t value) {
    if (std::string_view(name) == "retransmissions")
      count = static_cast<long>(value);
  });
  return count;
}

RequestOptions Session::times() const {
  const Settings& settings = output_.settings();
  RequestOptions options;
  // These are the client's own, which it shortens for servers that answer.
  if (settings.timeout == kUsualTimeout && settings.retries == kUsualRetries)
    return options;
  options.firstWait = std::chrono::seconds(settings.timeout);
  options.transmissions = settings.retries + 1;
  return options;
}

RequestOptions Session::requestOptions() {
  const std::vector<Target>& all = servers({});
  return requestOptions(all.size() == 1 ? all[0].at : Endpoint());
}

RequestOptions Session::requestOptions(const Endpoint& to) {
  RequestOptions options = times();
  options.principal = principal(to);
  return options;
}

void Session::drive(const std::function<bool()>& done, const Shown& what) {
  Client& asked = client();
  const int descriptor = asked.descriptor();
  if (descriptor < 0)
    throw Failure(kSetup, std::string("cannot wait for answers: ") +
                              std::strerror(errno));
  const Stopwatch watch;
  while (!done() && asked.outstanding() != 0) {
    asked.process();
    if (done() || asked.outstanding() == 0) break;
    if (what && watch.isLong())
      output_.progress("waiting for " + what() + ", " + watch.secondsText());
    waitFor(descriptor);
  }
  output_.endProgress();
}

std::string Session::serverName() {
  return serverText(objectServer(), kObjectServerPort);
}

sockaddr_in Session::lookUp(const std::string& server,
                            std::uint16_t usualPort) {
  const auto name = parseServerName(server);
  if (!name)
    throw Failure(kUsage, "'" + escaped(server) + "' is no HOST or HOST:PORT");
  return endpoint(resolve(name->host, output_),
                  name->port != 0 ? name->port : usualPort);
}

Oid Session::principal(const Endpoint& to) {
  if (!principal_) principal_ = findPrincipal(to);
  return *principal_;
}

Oid Session::findPrincipal(const Endpoint& to) {
  const std::string& given = output_.settings().principal;
  if (given == "none") return {};
  if (!given.empty()) return parseOid(given);
  if (output_.settings().dryRun) return {};
  return lookUpPrincipal(*this, to);
}

void Session::wouldSend(const sockaddr_in& to, veskPDU& request) {
  trace_.wouldSend(to, request);
  noteDryRun();
}

void Session::noteDryRun() {
  if (announcedDryRun_) return;
  announcedDryRun_ = true;
  const bool given = !output_.settings().principal.empty();
  output_.note(std::string("ostrel: not sent: the request identifier") +
               (given ? " is" : " and the principal are") +
               " chosen when it is");
}

Owned<veskPDU> Session::exchange(const sockaddr_in& to, veskPDU& request) {
  const Settings& settings = output_.settings();
  request.principal = principal(Endpoint(to)).vesk();
  if (settings.dryRun) {
    wouldSend(to, request);
    return nullptr;
  }
  Owned<veskPDU> answer;
  exchange_.run({to, request, settings.timeout, settings.retries},
                [&](const sockaddr_in&, Owned<veskPDU> arrived) {
                  answer = std::move(arrived);
                  return true;
                });
  return answer;
}

bool Session::gather(veskPDU& request, int hops, long seconds,
                     const Take& take) {
  const sockaddr_in to = endpoint(directoryGroup(), kDirectoryPort);
  if (output_.settings().dryRun) {
    wouldSend(to, request);
    return true;
  }
  exchange_.setHops(hops);
  try {
    exchange_.run({to, request, seconds, 0},
                  [&](const sockaddr_in& from, Owned<veskPDU> answer) {
                    return take(from.sin_addr, *answer);
                  });
    return true;
  } catch (const Failure& failure) {
    if (failure.exit != kNoAnswer) throw;
    return false;
  }
}

}  // namespace ostrel::tools::cli
