#include "client/exchange.h"

#include <ostrel/tags.h>

#include <algorithm>
#include <cstdint>

#include "base/platform.h"
#include "transport/incoming.h"

namespace ostrel {
namespace {

constexpr std::int64_t kMicroseconds = 1000000;  // in a second
constexpr long kLongestWait = 1000000;           // seconds; then another begins

// How many datagrams are taken after a wait has ended, before the timers are
// looked at: those that may be queued. The receive buffer holds fewer.
constexpr unsigned kMostQueued = 1024;

// The address in a value; null when it is no IPv4 address, with the cause in
// errno.
const in_addr* addressOf(veskAddress* value) {
  errno = EDESTADDRREQ;
  if (value == nullptr) return nullptr;
  unsigned family = 0;
  const in_addr* address = value->get(&family);
  if (family == kIPv4) return address;
  if (family != kNoFamily) errno = EAFNOSUPPORT;
  return nullptr;
}

}  // namespace

// One request from its sending to its end. However it ends, the handler
// forgets the request: its owner may free it then.
class Exchange {
 public:
  Exchange(veskTransactionHandler& handler, int socket, veskPDU& request,
           Wanted wanted, veskAddress* from = nullptr)
      : handler_(handler),
        socket_(socket),
        request_(request),
        kinds_(wanted == Wanted::kAnything ? kAnyKind : answersTo(request.tag)),
        from_(from) {}
  ~Exchange() {
    const KeepErrno keep;
    handler_.flush(request_.requestId.value);
  }
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  int send(const in_addr& address, unsigned short port);

  // Waits for the next answer, or until no answer can come any more.
  Ending next();

 private:
  // Lets the handler do what is due. Returns whether a request gave up.
  bool tick(Ending* ending);

  veskTransactionHandler& handler_;
  int socket_;
  veskPDU& request_;
  Kinds kinds_;        // of other answers the header is enough
  veskAddress* from_;  // null: nobody asks who answered
  sockaddr_in sender_ = {};

  std::int64_t waitsUntil_ = 0;  // when the handler is asked what is due
  bool waiting_ = false;         // whether it has been asked at all
};

int Exchange::send(const in_addr& address, unsigned short port) {
  sockaddr_in destination = {};
  destination.sin_family = AF_INET;
  destination.sin_port = htons(port);
  destination.sin_addr = address;
  return handler_.send(&destination, &request_);
}

bool Exchange::tick(Ending* ending) {
  long seconds = 0;
  handler_.tick(&seconds, &ending->code, &ending->gaveUp);
  waiting_ = true;
  waitsUntil_ =
      platform::elapsed() + std::min(seconds, kLongestWait) * kMicroseconds;
  return ending->gaveUp != nullptr;
}

Ending Exchange::next() {
  Ending end = {kNoError, true};
  if (!waiting_ && tick(&end)) return end;
  for (unsigned late = 0;;) {
    const std::int64_t left =
        std::max<std::int64_t>(waitsUntil_ - platform::elapsed(), 0);
    int ready = 0;
    if (late < kMostQueued) {
      ready = platform::waitReadable(socket_,
                                     static_cast<long>(left / kMicroseconds),
                                     static_cast<long>(left % kMicroseconds));
    }
    if (ready < 0) return {kNetworkError, true};
    if (ready == 0) {
      // Not after each datagram: the handler's clock has whole seconds, so a
      // time-out may seem to be over too early. And not while datagrams are
      // queued: the answer may be among them.
      if (tick(&end)) return end;
      late = 0;
      continue;
    }
    if (left == 0) late++;

    veskPDU* pdu = nullptr;
    bool awaited = false;
    const int code = handler_.receive(&sender_, &pdu, kinds_, &awaited);
    Arrived<veskPDU> answer(pdu);
    if (from_ != nullptr) *from_ = sender_.sin_addr;
    if (answer != nullptr) return {kNoError, true, std::move(answer)};
    // The answer has arrived, but there is no memory for it.
    if (awaited && code == kNetworkError) return {code, true};
  }
}

Ending askObjectServer(veskTransactionHandler& handler, int socket,
                       veskAddress* server, veskPDU& request, Wanted wanted) {
  const in_addr* address = addressOf(server);
  if (address == nullptr) return {kAddressError};
  Exchange exchange(handler, socket, request, wanted);
  const int code = exchange.send(*address, kObjectServerPort);
  if (code != kNoError) return {code};
  return exchange.next();
}

// Storing the sender's address takes memory.
Ending askDirectory(veskTransactionHandler& handler, int socket,
                    veskAddress* server, veskPDU& request, veskAddress* from,
                    bool firstAnswer, Wanted wanted) try {
  const in_addr group = {htonl(kDirectoryGroup)};
  const in_addr* address = server == nullptr ? &group : addressOf(server);
  if (address == nullptr) return {kAddressError};
  Exchange exchange(handler, socket, request, wanted, from);
  if (exchange.send(*address, kDirectoryPort) != kNoError)
    return {kNetworkError};

  Arrived<veskPDU> firstError;
  for (;;) {
    Ending ending = exchange.next();
    if (ending.answer == nullptr) {
      if (ending.gaveUp == nullptr || firstError == nullptr) return ending;
      return {firstError->status.value, true, std::move(firstError)};
    }
    ending.code = ending.answer->status.value;
    if (ending.code == kNoError || firstAnswer || server != nullptr)
      return ending;
    if (firstError == nullptr) firstError = std::move(ending.answer);
  }
} catch (const std::bad_alloc&) {
  errno = ENOMEM;
  return {kNetworkError, true};
}

void moveElements(veskList* from, veskList* to) {
  to->clear(0);
  appendElements(from, to);
}

// The nodes themselves move: new ones would take memory, and if that ran out,
// the caller's list would already have lost its elements.
void appendElements(veskList* from, veskList* to) {
  if (from->count == 0) return;
  listPointer* first = from->head.next;
  listPointer* last = from->head.prev;
  first->prev = to->head.prev;
  last->next = &to->head;
  first->prev->next = first;
  to->head.prev = last;
  to->count += from->count;
  to->cursorNode = nullptr;
  from->head.next = from->head.prev = &from->head;
  from->count = 0;
  from->cursorNode = nullptr;
}

void moveErrors(veskList* from, veskList* to) {
  if (from->count == 0 || to == nullptr) return;
  to->destroyDecodedElements();
  moveElements(from, to);
}

}  // namespace ostrel
