// Values that hold other values, for tests: lists, attributes, PDUs, with the
// way to release each; and a value that counts how often it is freed.

#ifndef OSTREL_TESTS_SUPPORT_HOLDERS_H
#define OSTREL_TESTS_SUPPORT_HOLDERS_H

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>

#include "ostrel/veskAttr.h"
#include "ostrel/veskError.h"
#include "ostrel/veskPDU.h"
#include "support/value_table.h"

namespace ostrel::test {

inline veskList* listOf(std::initializer_list<veskType*> elements) {
  auto* list = new veskList;
  for (veskType* element : elements) list->append(element);
  return list;
}

// An attribute that adopts its value.
inline veskAttribute* attributeOf(const char* name, veskType* value) {
  auto* attribute = new veskAttribute;
  attribute->id = name;
  attribute->value = value;
  return attribute;
}

// Two attributes: 59.6.1 without a value, and 59.6.2 with the number 5. Their
// bytes as a list, and their text.
inline veskList* twoAttributes() {
  return listOf(
      {attributeOf("59.6.1", nullptr), attributeOf("59.6.2", new veskInt(5))});
}
constexpr char kTwoAttributes[] =
    "80 43 01 02 17 0B 01 01 3B 01 06 01 01 00 "
    "17 0B 01 01 3B 01 06 01 02 01 03 01 05 ";
constexpr char kTwoAttributesText[] = "59.6.1 = , 59.6.2 = 5";

// Item 2 failed with code 5.
inline veskList* oneError() { return listOf({new veskError(2, 5)}); }
constexpr char kOneError[] = "80 43 01 01 1A 43 01 02 03 01 05 ";
constexpr char kOneErrorText[] = "index 2 : 5(Permission Denied)";

// For a PDU whose lists are its own.
inline void clearAndDelete(veskType* value) {
  if (auto* pdu = dynamic_cast<veskPDU*>(value)) pdu->clear();
  delete value;
}

// For a copy that shares the lists of its source.
inline void deleteAlone(veskType* value) { delete value; }

// A PDU that is cleared and deleted when it goes out of scope.
template <class Pdu = veskPDU>
class OwnedPdu {
 public:
  explicit OwnedPdu(Pdu* pdu) : pdu_(pdu) {}
  ~OwnedPdu() { clearAndDelete(pdu_); }
  OwnedPdu(const OwnedPdu&) = delete;
  OwnedPdu& operator=(const OwnedPdu&) = delete;

  Pdu& operator*() const { return *pdu_; }
  Pdu* operator->() const { return pdu_; }
  Pdu* get() const { return pdu_; }

 private:
  Pdu* pdu_;
};

// A table row for a PDU.
template <class Pdu>
ValueRow pduRow(std::string name, std::string bytes, std::string text,
                unsigned room, std::function<Pdu*()> make) {
  return rowFrom<Pdu>(std::move(name), std::move(bytes), std::move(text),
                      std::move(make))
      .needs(room)
      .releasedWith(clearAndDelete, deleteAlone);
}

// The same for a class that has no default constructor and no place in the
// factory.
inline ValueRow barePduRow(std::string name, std::string bytes,
                           std::string text, unsigned room,
                           std::function<veskType*()> make,
                           std::function<veskType*()> blank) {
  ValueRow row;
  row.name = std::move(name);
  row.make = std::move(make);
  row.blank = std::move(blank);
  row.bytes = std::move(bytes);
  row.text = std::move(text);
  row.room = room;
  row.inFactory = false;
  row.release = clearAndDelete;
  row.releaseCopy = deleteAlone;
  return row;
}

template <class Pdu>
Pdu* numbered(unsigned requestId, Pdu* pdu) {
  pdu->requestId.value = requestId;
  return pdu;
}

// Counts how many of its copies are alive.
class Counted : public veskType {
 public:
  explicit Counted(int* alive) : alive_(alive) { ++*alive_; }
  ~Counted() override { --*alive_; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  veskType* dup() override { return new Counted(alive_); }

 private:
  int* alive_;
};

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_SUPPORT_HOLDERS_H
