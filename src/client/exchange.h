// How an exchange ends: with an answer that is owned and has a known class, or
// with a code. OSrequest and DSrequest return the same as raw pointers.

#ifndef OSTREL_SRC_EXCHANGE_H
#define OSTREL_SRC_EXCHANGE_H

#include <ostrel/codes.h>
#include <ostrel/names.h>
#include <ostrel/transaction.h>
#include <ostrel/type.h>
#include <ostrel/veskPDU.h>

#include <cerrno>
#include <new>
#include <utility>

#include "value/owners.h"
#include "value/values.h"

namespace ostrel {

// Runs work that may run out of memory. Returns its code; or 10 with errno
// ENOMEM when memory ran out, so that nothing is thrown at a program.
template <class Work>
int orOutOfMemory(Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return kNetworkError;
  }
}

// How an exchange ended.
struct Ending {
  int code;
  bool sent = false;          // whether there was anything to wait for
  Arrived<veskPDU> answer{};  // null: none came, and `code` says why
  veskPDU* gaveUp = nullptr;  // a request that gave up; its owner's as before
};

// Which answers the caller wants whole. The handlers need only the header of an
// answer of the wrong kind: it tells that an answer came.
enum class Wanted { kAnything, kItsKind };

// The exchanges behind OSrequest and DSrequest.
Ending askObjectServer(veskTransactionHandler& handler, int socket,
                       veskAddress* server, veskPDU& request, Wanted wanted);
Ending askDirectory(veskTransactionHandler& handler, int socket,
                    veskAddress* server, veskPDU& request, veskAddress* from,
                    bool firstAnswer, Wanted wanted);

// An answer of the class that belongs to the request.
template <class Response>
struct Reply {
  int code;                    // of the exchange, or the answer's status
  Arrived<Response> answer{};  // null when there is none of that class

  // Whether the answer holds something to move to the caller.
  bool succeeded() const {
    return answer != nullptr && (code == kNoError || code == kArgListError);
  }
};

// Answers are matched by their request id alone, so any PDU may come back for
// any request. An answer of another class is refused here.
template <class Response>
Reply<Response> replyOf(Ending ending) {
  if (ending.code != kNoError) return {ending.code};
  Response* response = as<Response>(ending.answer.get());
  if (response == nullptr) {
    ending.answer.reset();
    errno = EBADMSG;
    return {kCodingError};
  }
  static_cast<void>(ending.answer.release());  // now response
  return {response->status.value, Arrived<Response>(response)};
}

// Moves the elements of a list that arrived to a caller's list, whose former
// elements are dropped and not freed. These functions take no memory.
void moveElements(veskList* from, veskList* to);

// The same, but the former elements stay; the others follow them.
void appendElements(veskList* from, veskList* to);

// As moveElements(), for a list of errors, but the former elements are freed.
// When there are no errors, or `to` is null, nothing changes.
void moveErrors(veskList* from, veskList* to);

// The first element of a list as a T, or null.
template <class T>
T* firstOf(veskList* list) {
  return list->count == 0 ? nullptr : list->at<T>(0);
}

}  // namespace ostrel

#endif  // OSTREL_SRC_EXCHANGE_H
