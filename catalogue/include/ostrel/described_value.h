// Values that a description says something about: read from text by their type,
// checked, and printed. Nothing is guessed: a text is what its description says
// or it is refused.

#ifndef OSTREL_DESCRIBED_VALUE_H
#define OSTREL_DESCRIBED_VALUE_H

#include <ostrel/catalogue.h>
#include <ostrel/class_description.h>
#include <ostrel/export.h>
#include <ostrel/type.h>

#include <memory>
#include <string>
#include <string_view>

namespace ostrel {

// A value, or why there is none: what failed, why, and what to write instead.
struct DescribedValue {
  std::unique_ptr<veskType, FreeValue> value;
  std::string mistake;  // empty when there is a value

  explicit operator bool() const { return value != nullptr; }
};

// Reads a value of the described type:
//   whole numbers     decimal, or a name of the description's values
//   float, double     decimal, with an exponent if need be
//   bool              true, false
//   string            as it stands; with a format its canonical form is kept
//   opaque            two hexadecimal digits for each byte; with the format
//                     uint64 a decimal number
//   oid, aid, addr    numbers with dots between
//   time              2026-11-22T10:47:00Z, +01:00 in place of Z, or @SECONDS
//                     since 1970
//   list              elements with commas between; a backslash before a comma,
//                     a backslash or a quote that is part of one; "" is an
//                     empty element, nothing at all the empty list
// An identifier with a reference has to be of that class or one derived from
// it, if the catalogue knows the class.
OSTREL_API DescribedValue readValue(const ValueDescription& description,
                                    std::string_view text,
                                    const Catalogue* catalogue = nullptr);

// The text of which readValue() makes an equal value; of a value that is not of
// the described type its own text.
OSTREL_API std::string printValue(const ValueDescription& description,
                                  veskType& value);

// The value as the description declares it: itself, or for whole numbers the
// same number in the declared type. A copy; `value` stays as it is.
OSTREL_API DescribedValue declaredValue(const ValueDescription& description,
                                        veskType& value,
                                        const Catalogue* catalogue = nullptr);

}  // namespace ostrel

#endif  // OSTREL_DESCRIBED_VALUE_H
