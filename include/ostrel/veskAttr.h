// Attributes, attribute value operations and objects, and the functions that
// build lists of attributes.

#ifndef OSTREL_VESKATTR_H
#define OSTREL_VESKATTR_H

#include <ostrel/type.h>

// An attribute identifier and, unless `value` is null, a value (tag 23).
//
// Constructors copy the value that they are given; the caller keeps it. The
// destructor frees the value, a list with its elements. Comparison is that of
// veskType: by tag alone.
class OSTREL_API veskAttribute : public veskType {
 public:
  veskAttribute() : veskType(ostrel::kTagAttribute), value(nullptr) {}
  veskAttribute(veskAid* aid)  // no value
      : veskType(ostrel::kTagAttribute), id(*aid), value(nullptr) {}
  veskAttribute(veskAid* id, veskType* value);
  veskAttribute(veskAttribute* other);
  veskAttribute(const veskAttribute& other);
  ~veskAttribute() override;

  unsigned encode(char* buffer, unsigned length) override;

  // Use it on a new attribute: a value that it already holds is replaced and
  // not freed. When decoding the value fails, `value` is what decodeCreate()
  // left: null, or the part that was read.
  unsigned decode(char* buffer, unsigned length) override;

  // The identifier, " = " and the value; never more than 1023 characters.
  char* getString() override;
  veskType* dup() override;

  using veskType::operator=;
  veskAttribute& operator=(const veskAttribute&) = delete;

  veskAid id;
  veskType* value;  // owned; null: none
};

// An attribute with an operation code (tag 24), mostly used in searches.
// Servers give the codes their meaning; the library itself uses 1, equals.
class OSTREL_API veskAttributeValueOp : public veskAttribute {
 public:
  // Without `op` the code is 1; of another only the low 8 bits are kept.
  veskAttributeValueOp();
  veskAttributeValueOp(veskAid* id);
  veskAttributeValueOp(veskAid* id, veskType* value);
  veskAttributeValueOp(veskAid* id, veskType* value, int op);

  // Kept: this one leaves the tag at 23, though the code is encoded.
  veskAttributeValueOp(veskAttribute* attr);
  veskAttributeValueOp(veskAttribute* attr, int op);
  veskAttributeValueOp(veskAttributeValueOp* other);
  veskAttributeValueOp(const veskAttributeValueOp& other);

  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;

  // The attribute, " op = " and the code as a number from 0 to 255; never more
  // than 1023 characters.
  char* getString() override;
  veskType* dup() override;

  using veskType::operator=;

  veskChar op;
};

// An object identifier and a list of attributes (tag 25).
//
// The destructor frees the list with its elements, unless the pointer is null.
// Kept: a copy shares its source's list. Before the second of them is
// destroyed, replace its `attributeList` or set it to null.
class OSTREL_API veskObject : public veskType {
 public:
  veskObject();                               // no identifier, an empty list
  veskObject(veskOid* oid);                   // an empty list
  veskObject(veskOid* oid, veskList* attrs);  // takes the list itself
  veskObject(veskObject* other);
  ~veskObject() override;

  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;

  // The identifier, " : " and the list; never more than 8249 characters.
  char* getString() override;
  veskType* dup() override;

  veskObject(const veskObject&) = delete;
  using veskType::operator=;
  veskObject& operator=(const veskObject&) = delete;

  veskOid oid;
  veskList* attributeList;  // owned; see above
};

// Appends an attribute to a list. The name is the dotted text of an attribute
// identifier; the list owns the new attribute. The value may be null; it is
// copied and stays the caller's.
OSTREL_API void veskAppendAttr(veskList* list, const char* name,
                               veskType* value);

// The same, but the value itself goes into the attribute and belongs to it.
OSTREL_API void veskAtAppendAttr(veskList* list, const char* name,
                                 veskType* value);

// Appends an attribute without a value for each name up to the null pointer
// that ends the array: the form in which a get names what it wants.
OSTREL_API void veskMakeAttrList(const char* const* names, veskList* list);

#endif  // OSTREL_VESKATTR_H
