// Composites as members in a fixed order: from that order follows how they are
// encoded, decoded and printed.

#ifndef OSTREL_SRC_MEMBERS_H
#define OSTREL_SRC_MEMBERS_H

#include <ostrel/type.h>

#include <cstddef>

#include "base/text.h"

namespace ostrel {

// One member: a value, or the pointer to a list, which may be null.
struct Member {
  Member() = default;
  Member(veskType& held) : value(&held) {}
  Member(veskList*& pointer) : value(pointer), list(&pointer) {}

  veskType* value = nullptr;
  veskList** list = nullptr;
};

// Refers to the members; they must outlive it.
class Members {
 public:
  template <class... Each>
  Members(Each&... each) : members_{Member(each)...}, count_(sizeof...(each)) {}

  const Member* begin() const { return members_; }
  const Member* end() const { return members_ + count_; }

 private:
  static constexpr std::size_t kMost = 7;
  Member members_[kMost];
  std::size_t count_;
};

// Encodes the members one after another, after the `used` bytes that are in the
// buffer already. Returns all bytes written; 0 when `used` is 0, or as soon as
// a member is null or fails.
unsigned encodeMembers(unsigned used, char* buffer, unsigned length,
                       const Members& members);

// The same for decoding.
unsigned decodeMembers(unsigned used, char* buffer, unsigned length,
                       const Members& members);

// Adds the members' texts, each with the separator before it unless it is the
// first in the text. A null list has no text.
void joinMembers(Text* text, const char* separator, const Members& members);

}  // namespace ostrel

#endif  // OSTREL_SRC_MEMBERS_H
