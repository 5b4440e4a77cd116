// Which part of its results a search asks for, and in which form: the operation
// codes that say nothing of objects.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_PAGE_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_PAGE_H

#include <ostrel/veskAttr.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "common/owned.h"
#include "objects/manager.h"

namespace ostrel::tools::server {

// Attributes that a page may ask for.
constexpr std::size_t kMostPageAttributes = 1024;

// The operation code of a condition; a plain attribute has that of "equals".
unsigned operatorOf(veskAttribute& condition);

// Whether such an operation code is one of a page.
bool isOfPage(unsigned operation);

// Checks what stands beside a page's operation code: 0, or an error's code.
int checkOfPage(veskAttribute& condition);

struct Page {
  Page() = default;

  // What checked conditions ask for.
  explicit Page(const veskList& conditions);

  bool asked = false;
  std::optional<veskOid> after;
  std::optional<std::uint32_t> limit;
  bool attributes = false;  // results are objects with these, or all:
  OwnedList wanted;         // attributes without values, none of them twice
};

// The encoding of an object with what it has of the wanted attributes. Nothing
// when that is longer than `longest` bytes, or cannot be read.
std::optional<std::string> encodedObject(ObjectManager& manager, veskOid& oid,
                                         veskList& wanted, std::size_t longest);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_PAGE_H
