// What a class file says, as plain values: copied, compared and moved like a
// number, and nobody frees anything. class_file.h makes them from text and
// writes them; catalogue.h keeps many and answers questions about them.

#ifndef OSTREL_CLASS_DESCRIPTION_H
#define OSTREL_CLASS_DESCRIPTION_H

#include <ostrel/export.h>
#include <ostrel/tags.h>
#include <ostrel/type.h>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace ostrel {

// The number of a class, "59.200".
struct ClassId {
  std::uint32_t group = 0;
  std::uint32_t number = 0;

  OSTREL_API std::string text() const;
  OSTREL_API veskOid vesk() const;  // 59.200.0.0
};

// The number of an attribute, action or event, "59.200.1".
struct MemberId {
  ClassId owner;
  std::uint32_t number = 0;

  OSTREL_API std::string text() const;
  OSTREL_API veskAid vesk() const;
};

inline bool operator==(const ClassId& a, const ClassId& b) {
  return a.group == b.group && a.number == b.number;
}
inline bool operator!=(const ClassId& a, const ClassId& b) { return !(a == b); }
inline bool operator<(const ClassId& a, const ClassId& b) {
  return std::tie(a.group, a.number) < std::tie(b.group, b.number);
}
inline bool operator==(const MemberId& a, const MemberId& b) {
  return a.owner == b.owner && a.number == b.number;
}
inline bool operator!=(const MemberId& a, const MemberId& b) {
  return !(a == b);
}
inline bool operator<(const MemberId& a, const MemberId& b) {
  return std::tie(a.owner, a.number) < std::tie(b.owner, b.number);
}

// How a text or opaque value is written, beyond its type.
enum class ValueFormat : std::uint8_t {
  none,
  mac,     // string: fe:54:00:00:00:01
  ipv6,    // string: as RFC 5952 has it
  cidr,    // string: an IPv4 or IPv6 address, a slash and a length
  uuid,    // string: lower case
  uint64,  // opaque of 8 bytes, the most significant first
};

enum class MemberKind : std::uint8_t { none, gauge, counter, id, state, text };
enum class MemberStatus : std::uint8_t { current, deprecated, obsolete };

// Each has the number that stands for it on the wire.
enum class MemberAccess : std::uint8_t {
  readOnly = 1,
  readWrite = 2,
  createOnly = 3,
};
enum class MemberStorage : std::uint8_t { persistent = 1, transient = 2 };

// Both ends are allowed.
struct ValueRange {
  double least = 0;
  double most = 0;
};
struct LengthRange {
  std::uint32_t least = 0;
  std::uint32_t most = 0;
};

// A whole number that has a name.
struct ValueName {
  std::string name;
  std::int64_t value = 0;
  std::string text;
};

// What a value may be. Of a list, all but the length speaks of its elements.
struct ValueDescription {
  Tag type = kTagNull;
  Tag element = kTagNull;  // of a list
  std::string unit;
  std::optional<ValueRange> range;
  std::optional<LengthRange> length;  // bytes; elements of a list
  std::vector<ValueName> values;      // by value; empty: any
  ValueFormat format = ValueFormat::none;
  std::string reference;  // the name of the class that it identifies
};

struct AttributeDescription : ValueDescription {
  std::string name;
  MemberId id;
  std::string text;
  MemberKind kind = MemberKind::none;
  std::optional<std::string> defaultText;  // as readValue() takes it
  MemberAccess access = MemberAccess::readWrite;
  bool required = false;
  std::vector<std::string> formerNames;
  MemberStatus status = MemberStatus::current;
  MemberStorage storage = MemberStorage::persistent;
};

struct ArgumentDescription : ValueDescription {
  std::string name;
  std::string text;
};

// An action or an event. The arguments are told apart by their positions.
struct ActionDescription {
  std::string name;
  MemberId id;
  std::string text;
  std::vector<ArgumentDescription> arguments;
  std::vector<std::string> formerNames;
  MemberStatus status = MemberStatus::current;
};
using EventDescription = ActionDescription;

// Attributes, actions, events and reserved numbers are ordered by number,
// reserved names by name. What a base has is not repeated here.
struct ClassDescription {
  std::string name;
  ClassId id;
  std::uint32_t revision = 1;
  std::string text;
  std::string derivedFrom;  // the name of the base; empty: none
  std::string key;          // the attribute that names an object
  std::vector<std::string> columns;
  std::vector<MemberId> reservedIds;
  std::vector<std::string> reservedNames;
  std::vector<AttributeDescription> attributes;
  std::vector<ActionDescription> actions;
  std::vector<EventDescription> events;
};

OSTREL_API bool operator==(const ValueRange& a, const ValueRange& b);
OSTREL_API bool operator==(const LengthRange& a, const LengthRange& b);
OSTREL_API bool operator==(const ValueName& a, const ValueName& b);
OSTREL_API bool operator==(const AttributeDescription& a,
                           const AttributeDescription& b);
OSTREL_API bool operator==(const ArgumentDescription& a,
                           const ArgumentDescription& b);
OSTREL_API bool operator==(const ActionDescription& a,
                           const ActionDescription& b);
OSTREL_API bool operator==(const ClassDescription& a,
                           const ClassDescription& b);
inline bool operator!=(const ClassDescription& a, const ClassDescription& b) {
  return !(a == b);
}

// How a type is written in a class file, "int"; "unknown" for what a class
// file cannot have.
OSTREL_API const char* classTypeName(Tag type) noexcept;

}  // namespace ostrel

#endif  // OSTREL_CLASS_DESCRIPTION_H
