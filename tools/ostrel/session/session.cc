#include "session/session.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "common/addresses.h"
#include "format/value_text.h"
#include "session/host_lookup.h"
#include "session/principal.h"
#include "session/waiting.h"
#include "terminal/signals.h"

namespace ostrel::tools::cli {

Session::Session(Output& output)
    : output_(output), trace_(output), exchange_(output, trace_) {
  catchSignals();
}

const sockaddr_in& Session::objectServer() {
  if (!server_) {
    const std::string& name = output_.settings().server;
    server_ = name.empty() ? endpoint(loopbackAddress(), kObjectServerPort)
                           : lookUp(name, kObjectServerPort);
  }
  return *server_;
}

Client& Session::client() {
  if (client_ == nullptr) client_ = std::make_unique<Client>();
  return *client_;
}

RequestOptions Session::requestOptions() {
  const Settings& settings = output_.settings();
  RequestOptions options;
  options.principal = Oid(principal(objectServer()));
  // These are the client's own, which it shortens for servers that answer.
  if (settings.timeout == kUsualTimeout && settings.retries == kUsualRetries)
    return options;
  options.firstWait = std::chrono::seconds(settings.timeout);
  options.transmissions = settings.retries + 1;
  return options;
}

void Session::drive(const std::function<bool()>& done) {
  Client& asked = client();
  const int descriptor = asked.descriptor();
  if (descriptor < 0)
    throw Failure(kSetup, std::string("cannot wait for answers: ") +
                              std::strerror(errno));
  while (!done() && asked.outstanding() != 0) {
    asked.process();
    if (!done() && asked.outstanding() != 0) waitFor(descriptor);
  }
}

std::string Session::serverName() {
  return serverText(objectServer(), kObjectServerPort);
}

std::optional<sockaddr_in> Session::directory() {
  const std::string& name = output_.settings().directory;
  if (name.empty()) return std::nullopt;
  return lookUp(name, kDirectoryPort);
}

sockaddr_in Session::lookUp(const std::string& server,
                            std::uint16_t usualPort) {
  const auto name = parseServerName(server);
  if (!name)
    throw Failure(kUsage, "'" + escaped(server) + "' is no HOST or HOST:PORT");
  return endpoint(resolve(name->host, output_),
                  name->port != 0 ? name->port : usualPort);
}

veskOid Session::principal(const sockaddr_in& to) {
  if (!principal_) principal_ = findPrincipal(to);
  return *principal_;
}

veskOid Session::findPrincipal(const sockaddr_in& to) {
  const std::string& given = output_.settings().principal;
  if (given == "none") return veskOid();
  if (!given.empty()) return parseOid(given);
  if (output_.settings().dryRun) return veskOid();
  return lookUpPrincipal(exchange_, output_, to);
}

void Session::wouldSend(const sockaddr_in& to, veskPDU& request) {
  trace_.wouldSend(to, request);
  if (announcedDryRun_) return;
  announcedDryRun_ = true;
  const bool given = !output_.settings().principal.empty();
  output_.note(std::string("ostrel: not sent: the request identifier") +
               (given ? " is" : " and the principal are") +
               " chosen when it is");
}

Owned<veskPDU> Session::exchange(const sockaddr_in& to, veskPDU& request) {
  const Settings& settings = output_.settings();
  request.principal = principal(to);
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
