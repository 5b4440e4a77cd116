#include "session/principal.h"

#include <ostrel/codes.h>
#include <ostrel/names.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <utility>

#include "session/lookup_memory.h"
#include "session/session.h"
#include "session/waiting.h"

namespace ostrel::tools::cli {
namespace {

const Endpoint kThisHost("127.0.0.1");

// Waits for what the object server of this host is asked, without a principal.
class LocalServer {
 public:
  LocalServer(Session& session, bool once) : session_(session) {
    options_ = session.times();
    options_.principal = Oid();
    if (!once) return;
    options_.firstWait =
        std::chrono::seconds(session.output().settings().timeout);
    options_.transmissions = 1;
  }

  const RequestOptions& options() const { return options_; }

  template <class T>
  T resultOf(Request<T> request) {
    session_.await(request, [this] {
      // People see this where there is no terminal, too.
      if (!announced_)
        session_.output().announce("looking up this user's principal at " +
                                   kThisHost.text() +
                                   " (--principal none does without)");
      announced_ = true;
      return kThisHost.text();
    });
    Result<T> result = request.wait();
    if (!result) throw failureOf(result.error(), kThisHost);
    return *std::move(result);
  }

 private:
  Session& session_;
  RequestOptions options_;
  bool announced_ = false;
};

// As the library's own lookup does: the object for the user, and the principal
// that its first attribute names.
Oid principalOf(unsigned user, Session& session, LocalServer server) {
  SearchOptions options;
  options.request = server.options();
  Oid object;
  server.resultOf(session.client().search(
      kThisHost, kPrincipalClass,
      {Term(kPrincipalUserId, ostrel::Value(static_cast<std::int32_t>(user)))},
      [&](std::vector<Object>&& found) {
        object = found[0].oid;
        return false;
      },
      {}, options));
  if (!object.valid()) return {};
  const Attributes all = server.resultOf(
      session.client().get(kThisHost, object, {}, {}, server.options()));
  if (all.empty()) return object;
  const Oid named = all[0].value.as<Oid>().value_or(Oid());
  return named.valid() ? named : object;
}

}  // namespace

Oid lookUpPrincipal(Session& session, const Endpoint& to) {
  Output& output = session.output();
  const auto without = [&](const std::string& why) {
    output.announce("the request goes out without a principal: " + why);
    output.hint("--principal none does not look for one.");
    return Oid();
  };
  const bool sameServer = to == kThisHost;
  const auto age = failedLookupAge();
  // The same server is asked anyway, so it can be asked for this, too.
  if (age && !sameServer)
    return without("the lookup failed " + plural(*age, "second") + " ago");
  try {
    const Oid found =
        principalOf(geteuid(), session, LocalServer(session, !sameServer));
    if (age) forgetFailedLookup();
    return found;
  } catch (const Failure& failure) {
    if (failure.exit == kInterrupted ||
        (failure.exit == kNoAnswer && sameServer))
      throw;
    if (!sameServer) rememberFailedLookup();
    return without(failure.what());
  }
}

}  // namespace ostrel::tools::cli
