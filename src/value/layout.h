// What an encoded value consists of, class by class: enough to walk over its
// bytes without making it. The rows stand in tag_table.cc.

#ifndef OSTREL_SRC_LAYOUT_H
#define OSTREL_SRC_LAYOUT_H

#include <cstddef>
#include <initializer_list>

namespace ostrel {

// The parts of an encoded value. Each begins with a tag unless it says
// otherwise. The first is the value's own; those of members are ignored, since
// the layout gives the class of each member.
enum Part : unsigned char {
  kEnd,
  kTag,        // nothing but the tag
  kOne,        // so many bytes
  kTwo,        //
  kFour,       //
  kEight,      //
  kInteger,    // an integer body; as a member, an unsigned int
  kSigned,     // the same as a member that is an int
  kTruth,      // the same as a member that is a bool
  kCounted,    // an integer with its tag, and so many bytes
  kOid,        // a validity, and the components if it is not 0
  kAid,        //
  kAddress,    // a family and its address
  kPDUHeader,  // status, request id, principal
  kList,       // an integer with its tag, and so many values
  kOptional,   // no tag: a flag, and a value if it is not 0
  // Kept: a description reads only the tag of its default value.
  kDefault,
};

constexpr std::size_t kMostParts = 8;

struct Layout {
  constexpr Layout() = default;
  constexpr Layout(std::initializer_list<Part> order) {
    std::size_t i = 0;
    for (const Part part : order) {
      parts[i++] = part;
      nests = nests || part == kList || part == kOptional || part == kDefault;
    }
  }

  Part parts[kMostParts + 1] = {};  // ends with kEnd; empty: no such tag
  bool nests = false;  // values may lie inside: one level of nesting
};

}  // namespace ostrel

#endif  // OSTREL_SRC_LAYOUT_H
