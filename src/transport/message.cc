// PDU to message and back.

#include <ostrel/codes.h>
#include <ostrel/message.h>
#include <ostrel/veskPDU.h>

#include <cerrno>
#include <cstdlib>

#include "base/platform.h"
#include "transport/incoming.h"

namespace {

constexpr unsigned kFirstBufferSize = 1024;

char* newBuffer(unsigned size) {
  return static_cast<char*>(ostrel::platform::allocate(size));
}

}  // namespace

veskMessageHandler::veskMessageHandler()
    : encodeBuffer(nullptr), encodeBufferSize(kFirstBufferSize) {}

veskMessageHandler::~veskMessageHandler() {
  std::free(encodeBuffer);
  dropPartialMessages();
}

int veskMessageHandler::open(unsigned short port) {
  return veskDatagramHandler::open(port);
}

int veskMessageHandler::close() { return veskDatagramHandler::close(); }

int veskMessageHandler::send(const sockaddr_in* to, veskPDU* pdu) {
  const unsigned length = encode(pdu);
  if (length == 0) return ostrel::kCodingError;
  const int sent = veskDatagramHandler::send(to, encodeBuffer, length);
  return sent == 1 ? ostrel::kNoError : ostrel::kNetworkError;
}

// Encodes into the buffer, which grows until the PDU fits. Returns the bytes
// written, or 0.
unsigned veskMessageHandler::encode(veskPDU* pdu) {
  if (encodeBuffer == nullptr) encodeBuffer = newBuffer(encodeBufferSize);
  const unsigned sizeBefore = encodeBufferSize;
  while (encodeBuffer != nullptr) {
    const unsigned length = pdu->encode(encodeBuffer, encodeBufferSize);
    if (length != 0) return length;
    const bool hopeless = encodeBufferSize >= ostrel::kLongestMessage;
    // Then the PDU is at fault, not the size of the buffer.
    if (hopeless) errno = EINVAL;
    if (hopeless && encodeBufferSize == sizeBefore) return 0;
    std::free(encodeBuffer);
    encodeBuffer = nullptr;
    if (hopeless) {
      encodeBufferSize = sizeBefore;  // what was grown for it is given back
      return 0;
    }
    encodeBufferSize =
        encodeBufferSize == 0 ? kFirstBufferSize : encodeBufferSize * 2;
    encodeBuffer = newBuffer(encodeBufferSize);
  }
  errno = ENOMEM;
  return 0;
}

int veskMessageHandler::recv(sockaddr_in* from, veskPDU** pdu) {
  ostrel::Incoming message;
  const int code = receive(from, &message);
  return message.arrived() ? message.decode(pdu) : code;
}

// Takes one datagram off the socket and, when that completes a message, hands
// the message over. Returns the code of what happened when it does not.
int veskMessageHandler::receive(sockaddr_in* from, ostrel::Incoming* message) {
  void* data = nullptr;
  bool owned = false;
  const unsigned length = take(from, &data, &owned);
  if (length != 0) {
    message->set(static_cast<char*>(data), length);
    return ostrel::kNoError;
  }
  if (owned) std::free(data);
  passOverWhatIsStuck();
  return errno == ENODATA ? ostrel::kNoError : ostrel::kNetworkError;
}
