// A message as it arrived, before it is decoded. Its first bytes tell which
// request it answers, and its kind. An answer that matches no request is only
// checked, by walking over its bytes, which takes no memory.

#ifndef OSTREL_SRC_INCOMING_H
#define OSTREL_SRC_INCOMING_H

#include <ostrel/veskPDU.h>

#include <cstdint>

#include "model/answers.h"

namespace ostrel {

// Owns the message's bytes.
class Incoming {
 public:
  Incoming() = default;
  ~Incoming();
  Incoming(const Incoming&) = delete;
  Incoming& operator=(const Incoming&) = delete;

  // Takes over bytes from malloc.
  void set(char* bytes, unsigned length);
  bool arrived() const { return bytes_ != nullptr; }

  // Whether it is one of these kinds.
  bool is(Kinds kinds) const { return (kindOf(tag_) & kinds) != 0; }

  // Whether it begins like an answer. If so, *requestId is the id of the
  // request.
  bool isAnswer(std::uint32_t* requestId) const;

  // Hand over the PDU, or its header alone. Both return 0; 11 when the whole
  // message is no PDU or does not decode (errno EBADMSG); 10 when memory runs
  // out (ENOMEM). *pdu is null unless they return 0.
  int decode(veskPDU** pdu);
  int decodeHeader(veskPDU** pdu);

  // The code that decode() would return with unlimited memory.
  int judge() const;

 private:
  bool isPDU() const;

  char* bytes_ = nullptr;
  unsigned length_ = 0;
  unsigned tag_ = 0;
};

}  // namespace ostrel

#endif  // OSTREL_SRC_INCOMING_H
