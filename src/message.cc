// PDU to message and back.

#include <ostrel/message.h>
#include <ostrel/tags.h>
#include <ostrel/veskPDU.h>

#include <cerrno>
#include <cstdlib>

#include "codes.h"
#include "platform.h"

namespace {

constexpr unsigned kFirstBufferSize = 1024;

// What the fragments of one message hold at most. A PDU that does not encode in
// so much room never will.
constexpr unsigned kLargestMessage = 65535U * 1456U;

bool isPDU(const veskType& value) {
  return value.tag >= ostrel::kTagFirstPDU && value.tag <= ostrel::kTagLastPDU;
}

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
    const bool hopeless = encodeBufferSize >= kLargestMessage;
    // The PDU is at fault then, not the size.
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
  void* data = nullptr;
  bool owned = false;
  const unsigned length = take(from, &data, &owned);
  if (length == 0) {
    if (owned) std::free(data);
    passOverWhatIsStuck();
    return errno == ENODATA ? ostrel::kNoError : ostrel::kNetworkError;
  }
  veskType* value = nullptr;
  const unsigned used =
      veskType::decodeCreate(static_cast<char*>(data), length, &value);
  std::free(data);
  if (used != 0 && isPDU(*value)) {
    // The tag is the one that decodeCreate() has just chosen the class by.
    *pdu = static_cast<veskPDU*>(value);
    return ostrel::kNoError;
  }
  *pdu = nullptr;
  veskType::destroyDecoded(value);
  errno = EBADMSG;
  return ostrel::kCodingError;
}
