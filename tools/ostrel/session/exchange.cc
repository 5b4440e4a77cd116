#include "session/exchange.h"

#include <ostrel/codes.h>
#include <ostrel/message.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <random>

#include "common/addresses.h"
#include "format/pdu_text.h"
#include "session/refusals.h"

namespace ostrel::tools::cli {
namespace {

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

// The request was not sent; `cause` is the errno of that.
[[noreturn]] void throwNotSent(const Course& course, int code, int cause) {
  if (code == kCodingError)
    throw Failure(kSetup,
                  "the request is too large to be sent: " + codeText(code), "",
                  code);
  throw Failure(
      kSetup,
      "cannot send to " + endpointText(course.to) + ": " + std::strerror(cause),
      "Check the network, and the address given with --server.", code);
}

// What to do about a server that is not there, up to the end of the sentence.
std::string missingHint(const Course& course) {
  return std::string(dynamic_cast<veskDSsearchPDU*>(&course.request) != nullptr
                         ? "Is a directory server running there (ostreld "
                           "directory)?"
                         : "Is an object server running there (ostreld "
                           "serve)?") +
         " --server names another host";
}

// The request has given up; `cause` is the errno of that.
[[noreturn]] void throwNoAnswer(const Course& course, int code, int cause) {
  if (cause != ETIMEDOUT)
    throw Failure(kSetup,
                  "cannot send to " + endpointText(course.to) +
                      " again: " + codeText(code),
                  "", code);
  throw Failure(kNoAnswer,
                "no answer from " + endpointText(course.to) + ": " +
                    codeText(code, cause),
                missingHint(course) + "; --timeout and --retries wait longer.",
                code);
}

}  // namespace

Exchange::Exchange(Output& output, Trace& trace)
    : output_(output), trace_(trace) {}

Exchange::~Exchange() {
  output_.endProgress();
  if (socket_ >= 0) handler_.close();
}

void Exchange::open() {
  if (socket_ >= 0) return;
  socket_ = handler_.open();
  if (socket_ < 0)
    throw Failure(kSetup,
                  std::string("cannot open a socket: ") + std::strerror(errno),
                  "", kNetworkError);
  keepRefusals(socket_);
  std::random_device random;
  handler_.nextRequestId = random();
}

void Exchange::setHops(int hops) {
  open();
  const auto limit = static_cast<unsigned char>(hops);
  if (setsockopt(socket_, IPPROTO_IP, IP_MULTICAST_TTL, &limit, sizeof limit) !=
      0)
    throw Failure(kSetup,
                  std::string("cannot multicast: ") + std::strerror(errno));
}

void Exchange::run(const Course& course, const Take& take) {
  open();
  handler_.initialTimeout = course.timeout;
  handler_.retries = course.retries;
  Progress progress;
  const Pending pending(handler_, course.request);
  send(course);
  do {
    endWhenRefused(course);
    sendAgain(course, &progress);
    show(course, &progress);
  } while (!waitFor(socket_) || !receive(take));
  output_.endProgress();
}

void Exchange::send(const Course& course) {
  const int code = handler_.send(&course.to, &course.request);
  const int cause = errno;
  if (output_.settings().trace) trace_.sent(course.to, course.request);
  if (code == kNoError) return;
  // The second of several fragments fails when the first was refused.
  endWhenRefused(course);
  throwNotSent(course, code, cause);
}

// Throws when nobody listens where the request went.
void Exchange::endWhenRefused(const Course& course) {
  if (!takeRefusals(socket_, course.to)) return;
  output_.endProgress();
  throw Failure(
      kNoAnswer,
      "no answer from " + endpointText(course.to) + ": the port is closed",
      missingHint(course) + ".", kNetworkError);
}

// Does what is due. Throws when the request has given up.
void Exchange::sendAgain(const Course& course, Progress* progress) {
  long next = 0;
  int code = kNoError;
  veskPDU* over = nullptr;
  const unsigned short before = handler_.messageHandler->nextMessageId;
  handler_.tick(&next, &code, &over);
  const int cause = errno;
  if (over != nullptr) {
    endWhenRefused(course);
    output_.endProgress();
    throwNoAnswer(course, code, cause);
  }
  if (handler_.messageHandler->nextMessageId == before) return;
  ++progress->sentAgain;
  if (output_.settings().trace) trace_.sent(course.to, course.request);
}

void Exchange::show(const Course& course, Progress* progress) {
  if (!progress->watch.isLong()) return;
  const std::string again =
      progress->sentAgain != 0
          ? ", sent again " + plural(progress->sentAgain, "time")
          : "";
  output_.progress("waiting for " + endpointText(course.to) + ", " +
                   progress->watch.secondsText() + again);
  // People see this where there is no terminal, too.
  if (course.wait.empty() || progress->announced) return;
  output_.announce(course.wait);
  progress->announced = true;
}

bool Exchange::receive(const Take& take) {
  if (output_.settings().trace) trace_.arriving(socket_);
  veskPDU* arrived = nullptr;
  sockaddr_in from = {};
  handler_.recv(&from, &arrived);
  // What is no answer, or cannot be read, does not end the wait.
  return arrived != nullptr && take(from, Owned<veskPDU>(arrived));
}

void throwWrongClass(veskPDU& answer) {
  throw Failure(kDecode,
                std::string("the answer is a ") + pduName(answer) +
                    ", which does not belong to the request",
                "--trace shows what was received.", kCodingError);
}

void checkStatus(veskPDU& answer) {
  const int code = answer.status.value;
  if (code == kNoError || code == kArgListError) return;
  throw Failure(kRefused, codeText(code), hintFor(code), code);
}

}  // namespace ostrel::tools::cli
