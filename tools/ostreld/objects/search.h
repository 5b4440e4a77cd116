// Which objects a search finds: the operation codes and what they mean.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_SEARCH_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_SEARCH_H

#include "objects/manager.h"

namespace ostrel::tools::server {

// Conditions that a search may have.
constexpr unsigned kMostConditions = 64;

// Checks the conditions of a search: attributes with an identifier, a known
// code and, but for "is there", a value. Returns 0, or -1 with an entry of
// `errors` for each that is not so; those beyond kMostConditions are not.
int checkConditions(veskList& conditions, veskList* errors);

// Whether attributes fulfil all conditions, which were checked before.
bool matches(veskList& attributes, veskList& conditions);

// Appends the objects of a class that fulfil all conditions, each a new
// veskOid, in ascending order. A given object stands for itself alone.
int search(ObjectManager& manager, veskOid& oid, veskList& conditions,
           veskList* found);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_SEARCH_H
