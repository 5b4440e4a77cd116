// The types that a class file can give an attribute: a row for each.

#ifndef OSTREL_CATALOGUE_TYPE_TABLE_H
#define OSTREL_CATALOGUE_TYPE_TABLE_H

#include <ostrel/class_description.h>

#include <string_view>
#include <vector>

namespace ostrel {

// What types have in common: how a value is read and what may limit it.
enum class TypeFamily : std::uint8_t {
  whole,
  fraction,
  truth,
  text,
  bytes,
  objectId,
  memberId,
  address,
  time,
  list,
  description,
};

struct TypeRow {
  const char* name;
  Tag tag;
  TypeFamily family;
  double least;  // of numbers
  double most;
};

// Null for what is no type of a class file.
const TypeRow* typeRow(std::string_view name);
const TypeRow* typeRow(Tag tag);

// Of a list the type of its elements, else the type itself; null when unknown.
const TypeRow* elementRow(const ValueDescription& description);

// All names, for suggestions.
std::vector<std::string_view> typeNames();

// Words that no class may be called: types, gauge and counter among them.
bool isTypeWord(std::string_view word);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_TYPE_TABLE_H
