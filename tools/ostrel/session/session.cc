#include "session/session.h"

#include <string>

#include "common/addresses.h"
#include "format/value_text.h"
#include "session/host_lookup.h"
#include "session/principal.h"
#include "terminal/signals.h"

namespace ostrel::tools::cli {

Session::Session(Output& output)
    : output_(output), trace_(output), exchange_(output, trace_) {
  catchSignals();
}

in_addr Session::server() {
  if (!server_) {
    const std::string& name = output_.settings().server;
    server_ = name.empty() ? loopbackAddress() : resolve(name, output_);
  }
  return *server_;
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

Owned<veskPDU> Session::exchange(in_addr host, std::uint16_t port,
                                 veskPDU& request) {
  const Settings& settings = output_.settings();
  const sockaddr_in to = endpoint(host, port);
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
