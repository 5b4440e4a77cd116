// Tables of values with their bytes and text. Each row goes through encode,
// decode, print, copy and compare, through every shorter input and every
// shorter buffer, always in heap blocks of the exact size.
//
//   const ValueRow kRows[] = {
//       row<veskInt>("IntFive", "03 01 05", "5", 5).needs(6),
//   };
//   class IntTable : public testing::TestWithParam<ValueRow> {};
//   TEST_P(IntTable, RowHolds) { checkRow(GetParam()); }
//   INSTANTIATE_TEST_SUITE_P(Values, IntTable, testing::ValuesIn(kRows),
//                            rowName);

#ifndef OSTREL_TESTS_SUPPORT_VALUE_TABLE_H
#define OSTREL_TESTS_SUPPORT_VALUE_TABLE_H

#include <gtest/gtest.h>

#include <functional>
#include <iosfwd>
#include <string>
#include <utility>

#include "ostrel/type.h"

namespace ostrel::test {

// Frees a value that a test built, decoded or copied: a list with its elements,
// lists inside lists too. Null is accepted.
void releaseValue(veskType* value);

// A value that is released with releaseValue when it goes out of scope.
class OwnedValue {
 public:
  explicit OwnedValue(veskType* value) : value_(value) {}
  ~OwnedValue() { releaseValue(value_); }
  OwnedValue(OwnedValue&& other) noexcept
      : value_(std::exchange(other.value_, nullptr)) {}
  OwnedValue(const OwnedValue&) = delete;
  OwnedValue& operator=(const OwnedValue&) = delete;

  veskType& operator*() const { return *value_; }
  veskType* operator->() const { return value_; }
  veskType* get() const { return value_; }
  bool isNull() const { return value_ == nullptr; }

 private:
  veskType* value_;
};

struct ValueRow {
  std::string name;  // letters and digits; part of the test's name
  std::function<veskType*()> make;   // the value
  std::function<veskType*()> blank;  // an object that its bytes decode into
  std::string bytes;                 // its whole encoding, in hex
  std::string text;                  // what getString gives
  unsigned room = 0;                 // the shortest buffer that encode accepts
  bool inFactory = true;             // decodeCreate makes this class
  bool equalsItself = true;          // what == says of two such values
  std::function<void(veskType*)> release = releaseValue;
  std::function<void(veskType*)> releaseCopy = releaseValue;

  // The shortest buffer, where it is longer than the bytes written.
  ValueRow&& needs(unsigned bufferSize) &&;
  // The factory refuses the tag.
  ValueRow&& notInFactory() &&;
  // Two such values are never equal under ==.
  ValueRow&& neverEqual() &&;
  // How the value and its copy are released, if not by releaseValue.
  ValueRow&& releasedWith(std::function<void(veskType*)> value,
                          std::function<void(veskType*)> copy) &&;
};

void PrintTo(const ValueRow& row, std::ostream* out);

// A row for a value that `make` builds and whose bytes decode into a T.
template <class T>
ValueRow rowFrom(std::string name, std::string bytes, std::string text,
                 std::function<veskType*()> make) {
  ValueRow result;
  result.name = std::move(name);
  result.make = std::move(make);
  result.blank = [] { return static_cast<veskType*>(new T); };
  result.bytes = std::move(bytes);
  result.text = std::move(text);
  return result;
}

// A row for T(arguments...).
template <class T, class... Arguments>
ValueRow row(std::string name, std::string bytes, std::string text,
             Arguments... arguments) {
  return rowFrom<T>(std::move(name), std::move(bytes), std::move(text), [=] {
    return static_cast<veskType*>(new T(arguments...));
  });
}

// Everything that a row claims, as expectations of the running test.
void checkRow(const ValueRow& row);

// Parts of checkRow, for rows that cannot pass all of it.
void checkEncoding(const ValueRow& row);
void checkShortBuffers(const ValueRow& row);
void checkDecoding(const ValueRow& row);
void checkShortInputs(const ValueRow& row);
void checkFactory(const ValueRow& row);
void checkText(const ValueRow& row);
void checkCopy(const ValueRow& row);

// Names a parameterised test after its row.
std::string rowName(const testing::TestParamInfo<ValueRow>& info);

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_SUPPORT_VALUE_TABLE_H
