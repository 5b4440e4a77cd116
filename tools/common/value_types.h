// The classes of values that have a name: what people type and programs
// compare. A new one is a line here; what follows from its `value`, or from the
// functions for its shape, is then there in both programs.

#ifndef OSTREL_TOOLS_COMMON_VALUE_TYPES_H
#define OSTREL_TOOLS_COMMON_VALUE_TYPES_H

#include <ostrel/veskAttr.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <tuple>

namespace ostrel::tools {

template <class Class>
struct ValueType {
  using Type = Class;
  const char* name;
  std::uint8_t tag;
};

// A class stands behind the one that it derives from.
inline constexpr std::tuple kValueTypes{
    ValueType<veskInt>{"int", kTagInt},
    ValueType<veskUnsignedInt>{"uint", kTagUnsignedInt},
    ValueType<veskLong>{"long", kTagLong},
    ValueType<veskUnsignedLong>{"ulong", kTagUnsignedLong},
    ValueType<veskShort>{"short", kTagShort},
    ValueType<veskUnsignedShort>{"ushort", kTagUnsignedShort},
    ValueType<veskChar>{"char", kTagChar},
    ValueType<veskUnsignedChar>{"uchar", kTagUnsignedChar},
    ValueType<veskFloat>{"float", kTagFloat},
    ValueType<veskDouble>{"double", kTagDouble},
    ValueType<veskBool>{"bool", kTagBool},
    ValueType<veskGauge>{"gauge", kTagGauge},
    ValueType<veskCounter>{"counter", kTagCounter},
    ValueType<veskTime>{"time", kTagTime},
    ValueType<veskString>{"string", kTagString},
    ValueType<veskOid>{"oid", kTagOid},
    ValueType<veskAid>{"aid", kTagAid},
    ValueType<veskAddress>{"addr", kTagAddress},
    ValueType<veskOpaque>{"opaque", kTagOpaque},
    ValueType<veskList>{"list", kTagList},
    ValueType<veskAttribute>{"attr", kTagAttribute},
};

// A table with what `make` gives for each type, in the order of kValueTypes.
template <class Make>
constexpr auto valueTypeTable(Make make) {
  return std::apply([&](auto... types) { return std::array{make(types)...}; },
                    kValueTypes);
}

// The row of such a table that a value belongs to; nothing for null and for
// what has no name.
std::optional<std::size_t> valueTypeRow(veskType& value);

// The value as a number, if it is of one of the numeric classes.
std::optional<double> numberIn(veskType& value);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_VALUE_TYPES_H
