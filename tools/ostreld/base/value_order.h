// What the servers need around the library's values: owners, bytes, texts and
// the order of numbers of different classes.

#ifndef OSTREL_TOOLS_OSTRELD_BASE_VALUES_H
#define OSTREL_TOOLS_OSTRELD_BASE_VALUES_H

#include <netinet/in.h>
#include <ostrel/type.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskPDU.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ostrel::tools::server {

struct DestroyValue {
  void operator()(veskType* value) const;
};

// Owns a value with all that is inside it; a PDU with its lists.
template <class Value>
using Owned = std::unique_ptr<Value, DestroyValue>;

template <class Value, class... Arguments>
Owned<Value> make(Arguments&&... arguments) {
  return Owned<Value>(new Value(std::forward<Arguments>(arguments)...));
}

// A list that owns its elements.
class OwnedList : public veskList {
 public:
  OwnedList() = default;
  OwnedList(const OwnedList&) = delete;
  OwnedList& operator=(const OwnedList&) = delete;
  ~OwnedList() override { clear(1); }

  // Hands all elements over to another list, which becomes their owner.
  void moveTo(veskList* other);
};

// Calls visit(position, element) for each element; an element may be null.
template <class Visit>
void forEach(veskList& list, Visit visit) {
  unsigned i = 0;
  for (listPointer* node = list.head.next; node != &list.head;
       node = node->next) {
    visit(i++, static_cast<veskType*>(node->data));
  }
}

// No value is stored or copied that is longer.
constexpr std::size_t kLongestValue = 16 << 20;

// The value's encoding, or nothing when it has none or is longer than `limit`
// bytes.
std::optional<std::string> encoded(veskType& value, std::size_t limit);

// The value whose encoding the bytes are, all of them; null when they are none.
Owned<veskType> decoded(std::string_view bytes);

// A copy with all that it holds.
Owned<veskType> copyOf(veskType& value);

// The printed form.
std::string text(veskType& value);
std::string text(in_addr address);
std::string text(const sockaddr_in& address);

// How two values stand to one another. Numbers, truth values and times compare
// by value whatever their classes; texts and bytes byte by byte; addresses as
// numbers; identifiers component by component. Values that cannot be ordered
// (a text and a number, a NaN) are merely different.
enum class Order { kLess, kEqual, kGreater, kDifferent };
Order compareValues(veskType& left, veskType& right);

// Whether a text or bytes hold the other's, or a list has such an element.
bool containsValue(veskType& whole, veskType& part);

// Whether the address may be one machine's: no multicast, no broadcast, not
// 0.0.0.0.
bool isUnicast(in_addr address);

// The value as a number, if it is one of the numeric classes.
std::optional<double> numberIn(veskType& value);

// The class of an object; the identifier itself if it names a class.
veskOid classOf(const veskOid& oid);
bool isClass(const veskOid& oid);

// The error for one item of a list.
void addError(veskList* errors, unsigned index, int code);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_BASE_VALUES_H
