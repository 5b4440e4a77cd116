// Sending requests, matching answers, retransmission.

#include <ostrel/codes.h>
#include <ostrel/message.h>
#include <ostrel/transaction.h>
#include <ostrel/veskPDU.h>

#include <cerrno>
#include <memory>
#include <new>

#include "base/pool.h"
#include "base/seconds.h"
#include "transport/incoming.h"
#include "transport/pending_index.h"

namespace {

constexpr long kInitialTimeout = 3;
constexpr int kRetries = 2;

int isMulticast(const sockaddr_in& address) {
  return IN_MULTICAST(ntohl(address.sin_addr.s_addr)) ? 1 : 0;
}

}  // namespace

void* pendingRequest::operator new(std::size_t size) {
  return ostrel::Pool::allocate(size);
}

void* pendingRequest::operator new(std::size_t size,
                                   const std::nothrow_t&) noexcept {
  try {
    return ostrel::Pool::allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void pendingRequest::operator delete(void* block, std::size_t size) noexcept {
  ostrel::Pool::release(block, size);
}

veskTransactionHandler::veskTransactionHandler()
    : messageHandler(nullptr),
      nextRequestId(0),
      initialTimeout(kInitialTimeout),
      retries(kRetries),
      index_(nullptr) {
  auto index = std::make_unique<ostrel::PendingIndex>(pending);
  messageHandler = new veskMessageHandler;
  index_ = index.release();
}

veskTransactionHandler::~veskTransactionHandler() {
  delete messageHandler;
  delete index_;
}

int veskTransactionHandler::open() { return messageHandler->open(0); }

int veskTransactionHandler::send(const sockaddr_in* to, veskPDU* pdu) {
  index_->beforeStamp(pdu);
  pdu->requestId = veskUnsignedInt(nextRequestId++);
  const int code = messageHandler->send(to, pdu);
  if (code != ostrel::kNoError) return code;
  return remember(initialTimeout,
                  new (std::nothrow) pendingRequest{*to, pdu, initialTimeout,
                                                    retries, isMulticast(*to)});
}

// Makes a record pending. Returns 0; or 10 when there is no memory, with the
// record freed.
int veskTransactionHandler::remember(long seconds, pendingRequest* record) {
  try {
    if (record == nullptr) throw std::bad_alloc();
    index_->insert(seconds, record);
  } catch (const std::bad_alloc&) {
    delete record;
    errno = ENOMEM;
    return ostrel::kNetworkError;
  }
  return ostrel::kNoError;
}

int veskTransactionHandler::recv(sockaddr_in* from, veskPDU** pdu) {
  bool awaited = false;
  return receive(from, pdu, ostrel::kAnyKind, &awaited);
}

// As recv(), but for an answer of none of these `kinds` it hands over only the
// header, as a plain veskPDU. *awaited receives whether the message answers a
// pending request.
int veskTransactionHandler::receive(sockaddr_in* from, veskPDU** pdu,
                                    std::uint64_t kinds, bool* awaited) {
  *pdu = nullptr;
  *awaited = false;
  ostrel::Incoming message;
  int code = messageHandler->receive(from, &message);
  if (!message.arrived()) return code;
  timeoutEntry* entry = nullptr;
  std::uint32_t id = 0;
  if (message.isAnswer(&id)) entry = index_->find(id, nextRequestId);
  if (entry == nullptr) return message.judge();
  *awaited = true;
  code = message.is(kinds) ? message.decode(pdu) : message.decodeHeader(pdu);
  if (code != ostrel::kNoError) return code;
  const auto* record = static_cast<pendingRequest*>(entry->data);
  if (record->multicast == 0) delete index_->remove(entry);
  return code;
}

int veskTransactionHandler::tick(long* next, int* err, veskPDU** pdu) {
  *err = ostrel::kNoError;
  *pdu = nullptr;
  while (pending.tick(next) == 1) {
    pendingRequest* record = index_->pop();
    veskPDU* request = record->request;
    int code = ostrel::kNetworkError;
    if (record->retriesLeft > 0) {
      code = messageHandler->send(&record->destination, request);
    } else {
      errno = ETIMEDOUT;
    }
    if (code != ostrel::kNoError) {
      delete record;
    } else {
      record->timeout = ostrel::addSeconds(record->timeout, record->timeout);
      record->retriesLeft--;
      code = remember(record->timeout, record);
    }
    if (code != ostrel::kNoError) {
      *err = code;
      *pdu = request;
      return pending.tick(next);
    }
  }
  return 0;
}

int veskTransactionHandler::flush(unsigned int id) {
  timeoutEntry* entry = index_->find(id, nextRequestId);
  if (entry == nullptr) return 0;
  delete index_->remove(entry);
  return 1;
}

int veskTransactionHandler::close() { return messageHandler->close(); }
