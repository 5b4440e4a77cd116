// Lists of attributes in requests and objects: which can be written, which is
// meant by an identifier, and the errors for single items.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_ATTRIBUTES_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_ATTRIBUTES_H

#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/veskAttr.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace ostrel::tools::server {

// Attributes by their identifiers; of two with one identifier the first. The
// list has to outlive the index.
class AttributeIndex {
 public:
  explicit AttributeIndex(const veskList& attributes);

  // Null when there is none.
  veskAttribute* find(const veskAid& id) const;

 private:
  std::map<std::array<std::uint32_t, 3>, veskAttribute*> attributes_;
};

// The first attribute of a list that has this identifier; null when none has.
veskAttribute* find(const veskList& attributes, veskAid& id);

// Its value as a Value; null when there is none, or of another class.
template <class Value>
Value* valueOf(const veskList& attributes, const char* name) {
  veskAid id(name);
  veskAttribute* attribute = find(attributes, id);
  return attribute == nullptr ? nullptr
                              : dynamic_cast<Value*>(attribute->value);
}

// The code for an element of a list of attributes that are to be written: 0,
// or 4 when it is no attribute with an identifier, or 2 when it has no value
// that can be kept. Stores what is to be kept, in its canonical form.
int writable(veskAttribute* attribute, std::string* bytes);

// The same code where the bytes do not matter.
int writable(veskAttribute* attribute);

// Appends an error for each element that is not writable. Returns 0, or -1 when
// there was one.
int checkWritable(const veskList& attributes, veskList* errors);

// The error for one item of a list.
void addError(veskList* errors, unsigned index, int code);

// Appends an error for each position whose code, as `check(position, element)`
// gives it, is not 0. Returns 0, or -1 when there was one.
template <class Value, class Check>
int checkEach(const veskList& list, veskList* errors, Check check) {
  int result = kNoError;
  unsigned i = 0;
  for (Value* element : Elements<Value>(list)) {
    const int code = check(i, element);
    if (code != kNoError) {
      addError(errors, i, code);
      result = kArgListError;
    }
    ++i;
  }
  return result;
}

// The class of an object; the identifier itself if it names a class.
veskOid classOf(const veskOid& oid);
bool isClass(const veskOid& oid);

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_ATTRIBUTES_H
