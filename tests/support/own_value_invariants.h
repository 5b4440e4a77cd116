// What holds of any bytes that are read as a value that owns itself. The fuzzer
// aborts when an invariant is broken, the property tests report it.

#ifndef OSTREL_TESTS_SUPPORT_OWN_VALUE_INVARIANTS_H
#define OSTREL_TESTS_SUPPORT_OWN_VALUE_INVARIANTS_H

#include <cstring>
#include <memory>
#include <string>

#include "ostrel/attributes.h"
#include "ostrel/value.h"
#include "value/walk.h"

namespace ostrel::test {

// Decodes from a heap block of exactly that size.
template <class T = Value>
Result<T> decodedWhole(const std::string& bytes,
                       std::size_t most = kMostValues) {
  const std::unique_ptr<char[]> block(new char[bytes.size()]);
  if (!bytes.empty()) std::memcpy(block.get(), bytes.data(), bytes.size());
  return T::decode({block.get(), bytes.size()}, most);
}

// What T::decode() reads is written, and is read again as the same.
template <class T>
const char* brokenPartInvariant(const std::string& bytes) {
  const Result<T> part = decodedWhole<T>(bytes);
  if (!part) return nullptr;
  const Result<T> again = decodedWhole<T>(part->encode());
  if (!again || *again != *part) return "a part changed";
  if (again->text() != part->text()) return "the text of a part changed";
  return nullptr;
}

// The stated interface reads what is written, and a copy from there stays the
// same. The first may differ: a PDU is kept as the bytes that arrived, which
// the stated classes write in their own way.
inline const char* brokenStatedInvariant(const Value& value) {
  const Value::VeskPointer stated = value.toVesk();
  if (stated == nullptr) return "no stated class reads what decoded";
  if (stated->tag != value.type()) return "a stated value has another tag";
  const Value copy = Value::from(stated.get());
  const Value again = Value::from(copy.toVesk().get());
  return copy == again ? nullptr : "a copy of a stated value differs";
}

// Names the invariant that these bytes break, or returns null. They are read
// exactly where the stated classes read them.
inline const char* brokenOwnInvariant(const std::string& bytes) {
  const unsigned used =
      walkValue(bytes.data(), static_cast<unsigned>(bytes.size()));
  const Result<Value> value = decodedWhole(bytes.substr(0, used));
  if (static_cast<bool>(value) != (used != 0)) return "decoding disagrees";
  if (used < bytes.size() && decodedWhole(bytes)) return "more was decoded";
  if (!value) return nullptr;
  const std::string encoding = value->encode();
  if (encoding.size() > used) return "the encoding grew";
  const Result<Value> again = decodedWhole(encoding);
  if (!again || *again != *value) return "the value changed";
  if (again->encode() != encoding) return "the encoding is not stable";
  const Value copy = *value;
  if (copy != *value || copy.text() != again->text()) return "a copy differs";
  if (const char* broken = brokenStatedInvariant(*value)) return broken;
  if (const char* broken = brokenPartInvariant<Attributes>(encoding))
    return broken;
  return brokenPartInvariant<Object>(encoding);
}

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_SUPPORT_OWN_VALUE_INVARIANTS_H
