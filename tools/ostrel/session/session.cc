#include "session/session.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <ostrel/message.h>
#include <ostrel/names.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <random>
#include <thread>
#include <utility>

#include "format/pdu_text.h"
#include "terminal/signals.h"

namespace ostrel::tools::cli {
namespace {

// From then on a wait is announced, in seconds.
constexpr double kSilence = 1;

// The progress line is written again this often.
constexpr int kPollMilliseconds = 1000;

// How often a signal is looked for while a name is looked up.
constexpr auto kLookupTurn = std::chrono::milliseconds(50);

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start)
      .count();
}

std::string plural(long count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// Has the handler forget a request, whichever way its exchange ends.
class Pending {
 public:
  Pending(veskTransactionHandler& handler, veskPDU& request)
      : handler_(handler), request_(request) {}
  ~Pending() { handler_.flush(request_.requestId.value); }
  Pending(const Pending&) = delete;
  Pending& operator=(const Pending&) = delete;

 private:
  veskTransactionHandler& handler_;
  veskPDU& request_;
};

// Where principals are looked up.
sockaddr_in localServer() {
  in_addr local = {};
  local.s_addr = htonl(INADDR_LOOPBACK);
  return endpoint(local, kObjectServerPort);
}

struct Lookup {
  int code;  // of getaddrinfo()
  in_addr address;
};

Lookup lookUp(const std::string& host) {
  addrinfo wanted = {};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  const int code = getaddrinfo(host.c_str(), nullptr, &wanted, &found);
  if (code != 0) return {code, {}};
  sockaddr_in address;
  std::memcpy(&address, found->ai_addr, sizeof address);
  freeaddrinfo(found);
  return {code, address.sin_addr};
}

// A name server may take long, and no signal ends that: it is asked beside.
Lookup lookUpPatiently(const std::string& host, Output& output) {
  std::promise<Lookup> promise;
  std::future<Lookup> result = promise.get_future();
  std::thread([host, promised = std::move(promise)]() mutable {
    promised.set_value(lookUp(host));
  }).detach();
  const auto start = std::chrono::steady_clock::now();
  while (result.wait_for(kLookupTurn) != std::future_status::ready) {
    if (interrupted())
      throw Failure(kInterrupted, "interrupted while the host '" +
                                      escaped(host) + "' was looked up");
    const double waited = secondsSince(start);
    if (waited >= kSilence)
      output.progress("looking up the host '" + escaped(host) + "', " +
                      plural(static_cast<long>(waited), "second"));
  }
  output.endProgress();
  return result.get();
}

}  // namespace

in_addr resolve(const std::string& host, Output& output) {
  in_addr address = {};
  if (inet_pton(AF_INET, host.c_str(), &address) == 1) return address;
  const Lookup found = lookUpPatiently(host, output);
  if (found.code != 0)
    throw Failure(kSetup,
                  "there is no IPv4 address for the host '" + escaped(host) +
                      "': " + gai_strerror(found.code),
                  "Give --server the host's address, such as 10.0.0.1.");
  return found.address;
}

Session::Session(Output& output) : output_(output), trace_(output) {
  catchSignals();
}

Session::~Session() {
  output_.endProgress();
  if (socket_ >= 0) handler_.close();
}

in_addr Session::server() {
  if (!server_) {
    const std::string& name = output_.settings().server;
    server_ = resolve(name.empty() ? "127.0.0.1" : name, output_);
  }
  return *server_;
}

veskOid Session::principal(const sockaddr_in& to) {
  const std::string& given = output_.settings().principal;
  if (principal_) return *principal_;
  if (given == "none" || (given.empty() && output_.settings().dryRun)) {
    principal_ = veskOid();
    return *principal_;
  }
  if (!given.empty()) {
    principal_ = parseOid(given);
    return *principal_;
  }
  principal_ = veskOid();  // what the lookup's own requests carry
  const bool sameServer = to.sin_addr.s_addr == localServer().sin_addr.s_addr &&
                          to.sin_port == localServer().sin_port;
  // A server elsewhere does without the principal, so that nobody waits long.
  lookupOnce_ = !sameServer;
  lookingUp_ = true;
  try {
    principal_ = lookUpPrincipal();
  } catch (const Failure& failure) {
    if (failure.exit == kInterrupted ||
        (failure.exit == kNoAnswer && sameServer))
      throw;
    output_.announce("the request goes out without a principal: " +
                     std::string(failure.what()));
    output_.hint("--principal none does not look for one.");
  }
  lookingUp_ = false;
  return *principal_;
}

// Asks the object server of this host, as the library's own lookup does.
veskOid Session::lookUpPrincipal() {
  const in_addr local = localServer().sin_addr;
  veskOid principals(kPrincipalClass);
  veskAid userId(kPrincipalUserId);
  veskInt user(static_cast<int>(geteuid()));
  Owned<veskList> terms(new veskList);
  terms->append(new veskAttributeValueOp(&userId, &user,
                                         static_cast<int>(kOperatorEquals)));
  veskSearchPDU search(principals, terms.get(), kSearchFlag);
  const auto found = askAt<veskSearchRespPDU>(local, kObjectServerPort, search);
  auto* object =
      found->list->count != 0 ? found->list->at<veskOid>(0) : nullptr;
  if (object == nullptr) return veskOid();

  veskList everything;
  veskGetPDU get(*object, &everything);
  const auto answer = askAt<veskGetRespPDU>(local, kObjectServerPort, get);
  auto* first =
      answer->list->count != 0 ? answer->list->at<veskAttribute>(0) : nullptr;
  auto* named =
      first != nullptr ? dynamic_cast<veskOid*>(first->value) : nullptr;
  return named != nullptr ? *named : *object;
}

void Session::open() {
  if (socket_ >= 0) return;
  socket_ = handler_.open();
  if (socket_ < 0)
    throw Failure(kSetup,
                  std::string("cannot open a socket: ") + std::strerror(errno),
                  "", kNetworkError);
  std::random_device random;
  handler_.nextRequestId = random();
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

Arrived<veskPDU> Session::exchange(in_addr host, unsigned short port,
                                   veskPDU& request) {
  const Settings& settings = output_.settings();
  const sockaddr_in to = endpoint(host, port);
  request.principal = principal(to);
  if (settings.dryRun) {
    wouldSend(to, request);
    return nullptr;
  }
  const bool once = lookingUp_ && lookupOnce_;
  Arrived<veskPDU> answer;
  const Course course = {to, request, settings.timeout,
                         once ? 0 : settings.retries};
  run(course, [&](in_addr, veskPDU& arrived) {
    answer.reset(&arrived);
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
  open();
  const unsigned char limit = static_cast<unsigned char>(hops);
  if (setsockopt(socket_, IPPROTO_IP, IP_MULTICAST_TTL, &limit, sizeof limit) !=
      0)
    throw Failure(kSetup,
                  std::string("cannot multicast: ") + std::strerror(errno));
  const Course course = {to, request, seconds, 0};
  try {
    return run(course, [&](in_addr from, veskPDU& arrived) {
      const Arrived<veskPDU> answer(&arrived);
      return take(from, *answer);
    });
  } catch (const Failure& failure) {
    if (failure.exit != kNoAnswer) throw;
    return false;
  }
}

// Sends a request, and again when it is time, until `take`, which owns each
// answer that it is given, returns true. Throws when the request has given up.
bool Session::run(const Course& course, const Take& take) {
  open();
  handler_.initialTimeout = course.timeout;
  handler_.retries = course.retries;
  const auto start = std::chrono::steady_clock::now();
  const int sent = handler_.send(&course.to, &course.request);
  const int cause = errno;
  const Pending pending(handler_, course.request);
  if (output_.settings().trace) trace_.sent("sent", course.to, course.request);
  if (sent == kCodingError)
    throw Failure(kSetup,
                  "the request is too large to be sent: " + codeText(sent), "",
                  sent);
  if (sent != kNoError)
    throw Failure(kSetup,
                  "cannot send to " + endpointText(course.to) + ": " +
                      std::strerror(cause),
                  "Check the network, and the address given with --server.",
                  sent);

  long again = 0;
  bool announced = false;
  while (true) {
    long next = 0;
    int code = kNoError;
    veskPDU* over = nullptr;
    const unsigned short before = handler_.messageHandler->nextMessageId;
    handler_.tick(&next, &code, &over);
    if (over != nullptr) {
      const int reason = errno;
      output_.endProgress();
      errno = reason;
      throwNoAnswer(course, code);
    }
    if (handler_.messageHandler->nextMessageId != before) {
      ++again;
      if (output_.settings().trace)
        trace_.sent("sent again", course.to, course.request);
    }
    const double waited = secondsSince(start);
    if (waited >= kSilence) {
      output_.progress(
          "waiting for " + endpointText(course.to) + ", " +
          plural(static_cast<long>(waited), "second") +
          (again != 0 ? ", sent again " + plural(again, "time") : ""));
      // People also see it where there is no terminal: the wait is not for
      // what they asked.
      if (lookingUp_ && !announced) {
        output_.announce("looking up this user's principal at " +
                         endpointText(course.to) +
                         " (--principal none does without)");
        announced = true;
      }
    }
    if (!waitFor(socket_)) continue;

    if (output_.settings().trace) trace_.arriving(socket_);
    veskPDU* arrived = nullptr;
    sockaddr_in from = {};
    handler_.recv(&from, &arrived);
    // What is no answer, or cannot be read, does not end the wait.
    if (arrived != nullptr && take(from.sin_addr, *arrived)) break;
  }
  output_.endProgress();
  return true;
}

bool Session::waitFor(int socket) {
  pollfd ends[] = {{socket, POLLIN, 0}, {signalEnd(), POLLIN, 0}};
  const int ready = poll(ends, 2, kPollMilliseconds);
  if (interrupted())
    throw Failure(kInterrupted, "interrupted before the answer came",
                  "A request that was sent may have been carried out.");
  if (ready < 0 && errno != EINTR)
    throw Failure(kSetup, std::string("cannot wait: ") + std::strerror(errno));
  return ready > 0 && ends[0].revents != 0;
}

void Session::throwNoAnswer(const Course& course, int code) {
  // The library's text depends on errno, which the caller has kept.
  const int cause = errno;
  if (cause != ETIMEDOUT)
    throw Failure(kSetup,
                  "cannot send to " + endpointText(course.to) +
                      " again: " + codeText(code),
                  "", code);
  const std::string text = codeText(code, cause);
  const bool directory = ntohs(course.to.sin_port) == kDirectoryPort;
  throw Failure(
      kNoAnswer, "no answer from " + endpointText(course.to) + ": " + text,
      directory ? "Is a directory server running there (ostreld directory)? "
                  "--timeout and --retries wait longer."
                : "Is an object server running there (ostreld serve)? --server "
                  "names another host, --timeout and --retries wait longer.",
      code);
}

void Session::throwWrongClass(veskPDU& answer) {
  throw Failure(kDecode,
                std::string("the answer is a ") + pduName(answer) +
                    ", which does not belong to the request",
                "--trace shows what was received.", kCodingError);
}

void Session::checkStatus(veskPDU& answer) {
  const int code = answer.status.value;
  if (code == kNoError || code == kArgListError) return;
  throw Failure(kRefused, codeText(code), hintFor(code), code);
}

std::string hintFor(int code) {
  switch (code) {
    case 1:
      return "There is no such object, class or attribute there: ostrel search "
             "CLASS lists the objects of a class.";
    case 2:
      return "The value or its type does not fit: ostrel set --help lists the "
             "types.";
    case 3:
    case 4:
      return "The server cannot use this identifier.";
    case 5:
      return "The server's policy does not let this principal write: "
             "--principal names another.";
    case 6:
      return "The object does not allow this operation.";
    case 7:
      return "An attribute that the class requires is missing.";
    case 8:
      return "No program at that server serves this class or action.";
    case 9:
      return "The server cannot use its store: its log may tell why.";
    case kNetworkError:
      return "The server could not reach another one: its log may tell why.";
    case kCodingError:
      return "The server could not read or write a message: --trace shows what "
             "was sent.";
    case 12:
      return "The server cannot use an address that it was given.";
    case kInternalError:
      return "The server failed: its log may tell why.";
    case kNoError:
    case kArgListError:
      return "";
    default:
      return "The code is the server's own: its documentation may tell more.";
  }
}

}  // namespace ostrel::tools::cli
