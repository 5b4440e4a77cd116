#include "transport/incoming.h"

#include <ostrel/codes.h>
#include <ostrel/tags.h>

#include <cerrno>
#include <cstdlib>
#include <new>

#include "value/owners.h"
#include "value/walk.h"
#include "value/wire.h"

namespace ostrel {
namespace {

int undecodable() {
  errno = EBADMSG;
  return kCodingError;
}

int outOfMemory() {
  errno = ENOMEM;
  return kNetworkError;
}

}  // namespace

Incoming::~Incoming() {
  const KeepErrno keep;
  std::free(bytes_);
}

void Incoming::set(char* bytes, unsigned length) {
  bytes_ = bytes;
  length_ = length;
  tag_ = ByteReader(bytes, length).number<std::uint8_t>();
}

bool Incoming::isPDU() const {
  return tag_ >= kTagFirstPDU && tag_ <= kTagLastPDU;
}

bool Incoming::isAnswer(std::uint32_t* requestId) const {
  ByteReader reader(bytes_, length_);
  reader.number<std::uint8_t>();
  // A member's tag is ignored, as in decoding.
  reader.number<std::uint8_t>();
  reader.integer();  // the status
  reader.number<std::uint8_t>();
  *requestId = reader.integer();
  return isPDU() && reader.ok();
}

int Incoming::judge() const {
  return isPDU() && walkValue(bytes_, length_) != 0 ? kNoError : undecodable();
}

int Incoming::decode(veskPDU** pdu) {
  *pdu = nullptr;
  if (!isPDU()) return undecodable();
  veskType* value = nullptr;
  unsigned used = 0;
  try {
    used = veskType::decodeCreate(bytes_, length_, &value);
  } catch (const std::bad_alloc&) {
    veskType::destroyDecoded(value);
    return outOfMemory();
  }
  if (used == 0) {
    veskType::destroyDecoded(value);
    return undecodable();
  }
  // decodeCreate() has just chosen the class by this tag.
  *pdu = static_cast<veskPDU*>(value);
  return kNoError;
}

int Incoming::decodeHeader(veskPDU** pdu) {
  *pdu = nullptr;
  const int code = judge();
  if (code != kNoError) return code;
  Scoped<veskPDU> header(new (std::nothrow) veskPDU(tag_));
  if (header == nullptr) return outOfMemory();
  if (header->decode(bytes_, length_) == 0) return undecodable();
  *pdu = header.release();
  return kNoError;
}

}  // namespace ostrel
