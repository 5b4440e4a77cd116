#include "value/members.h"

namespace ostrel {

unsigned encodeMembers(unsigned used, char* buffer, unsigned length,
                       const Members& members) {
  if (used == 0) return 0;
  for (const Member& member : members) {
    if (member.value == nullptr) return 0;
    const unsigned wrote = member.value->encode(buffer + used, length - used);
    if (wrote == 0) return 0;
    used += wrote;
  }
  return used;
}

unsigned decodeMembers(unsigned used, char* buffer, unsigned length,
                       const Members& members) {
  if (used == 0) return 0;
  for (const Member& member : members) {
    if (member.value == nullptr) return 0;
    const unsigned read = member.value->decode(buffer + used, length - used);
    if (read == 0) return 0;
    used += read;
  }
  return used;
}

void joinMembers(Text* text, const char* separator, const Members& members) {
  for (const Member& member : members) {
    if (text->length() != 0) text->add(separator);
    if (member.value != nullptr) text->take(member.value->getString());
  }
}

}  // namespace ostrel
