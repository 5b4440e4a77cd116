// Names of classes, attributes and events that clients and servers agree on,
// each as the text from which a veskOid or veskAid is made; and the operation
// codes of searches.

#ifndef OSTREL_NAMES_H
#define OSTREL_NAMES_H

#include <cstdint>

namespace ostrel {

// The machine on which a server runs.
constexpr const char* kHostClass = "59.1.0.0";
constexpr const char* kHostAddress = "59.1.1";  // veskAddress

// A registration for events: an object that a client creates, renews by setting
// its expiry time, and removes.
constexpr const char* kRegistrationClass = "59.6.0.0";
constexpr const char* kRegistrationObject = "59.6.1";   // veskOid; or a class
constexpr const char* kRegistrationEvent = "59.6.2";    // veskAid
constexpr const char* kRegistrationAddress = "59.6.3";  // veskAddress: where to
constexpr const char* kRegistrationPort = "59.6.4";     // veskUnsignedShort
constexpr const char* kRegistrationExpiry = "59.6.5";   // veskTime

// How long a registration lives, and what a renewal adds.
constexpr std::uint32_t kRegistrationSeconds = 3600;

// Events: of a registration that is about to end, and of every other object.
constexpr const char* kEventExpiry = "59.6.6";
constexpr const char* kEventAny = "59.6.0";  // in a registration: all of these
constexpr const char* kEventCreated = "59.6.7";
constexpr const char* kEventChanged = "59.6.8";
constexpr const char* kEventRemoved = "59.6.9";

// A user on whose behalf requests are made.
constexpr const char* kPrincipalClass = "59.110.0.0";
constexpr const char* kPrincipalOid = "59.110.1";       // veskOid: itself
constexpr const char* kPrincipalUserId = "59.110.2";    // veskInt
constexpr const char* kPrincipalLogin = "59.110.3";     // veskString
constexpr const char* kPrincipalFullName = "59.110.4";  // veskString

// The identifier that stands for every class and object.
constexpr const char* kEverything = "0.0.0.0";

// What the code of a veskAttributeValueOp asks of an object's attribute. A
// plain veskAttribute asks for "equals".
//
// The last three ask nothing of objects but for a page of the results, each at
// most once in a search. Their attribute is the invalid identifier, veskAid().
// A server that does not know them refuses the search: -1, with 2 or 4 for each
// of them.
enum SearchOperator : std::uint8_t {
  kOperatorEquals = 1,
  kOperatorNotEqual = 2,  // there, and not equal
  kOperatorLess = 3,      // the object's value is less than the given one
  kOperatorLessOrEqual = 4,
  kOperatorGreater = 5,
  kOperatorGreaterOrEqual = 6,
  kOperatorPresent = 7,   // needs no value
  kOperatorContains = 8,  // part of a text or of bytes, element of a list

  kOperatorAfter = 16,       // a veskOid: results behind it, in ascending order
  kOperatorLimit = 17,       // a whole number: so many results at most
  kOperatorAttributes = 18,  // a veskList of veskAid: results are veskObjects
                             // with these attributes, for none with all
};

// The flag that every veskSearchPDU has.
constexpr unsigned kSearchFlag = 1;

}  // namespace ostrel

#endif  // OSTREL_NAMES_H
