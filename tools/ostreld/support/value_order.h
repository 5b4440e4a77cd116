// How values stand to one another, numbers of different classes included.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_VALUE_ORDER_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_VALUE_ORDER_H

#include <ostrel/type.h>

namespace ostrel::tools::server {

// How two values stand to one another. Numbers, truth values and times compare
// by value whatever their classes; texts and bytes byte by byte; addresses as
// numbers; identifiers component by component. Values that cannot be ordered
// (a text and a number, a NaN) are merely different.
enum class Order { kLess, kEqual, kGreater, kDifferent };
Order compareValues(veskType& left, veskType& right);

// Whether a text or bytes hold the other's, or a list has such an element.
bool containsValue(veskType& whole, veskType& part);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_VALUE_ORDER_H
