// Attributes for object managers: they point at values that the manager keeps
// and never own them. On the wire and in text they are the attributes of
// veskAttr.h.

#ifndef OSTREL_VESKOMATTR_H
#define OSTREL_VESKOMATTR_H

#include <ostrel/veskAttr.h>

// Points at its value (tag 23). The value must live as long as anything
// points at it; a value that arrives by decode() is the caller's to delete.
// dup() gives a veskAttribute with a copy of the value.
class OSTREL_API veskOmAttribute : public veskAttribute {
 public:
  veskOmAttribute();             // no identifier, no value
  veskOmAttribute(veskAid* id);  // no value
  veskOmAttribute(veskAid* id, veskType* value);
  veskOmAttribute(veskOmAttribute* other);
  veskOmAttribute(const veskOmAttribute& other);
  ~veskOmAttribute() override;

  using veskType::operator=;
};

// A value operation that points at its value (tag 24).
// Kept: dup() gives a veskAttribute without the operation code.
class OSTREL_API veskOmAttributeValueOp : public veskOmAttribute {
 public:
  // Without `op` the code is 1; of another only the low 8 bits are kept.
  veskOmAttributeValueOp();
  veskOmAttributeValueOp(veskAid* id);
  veskOmAttributeValueOp(veskAid* id, veskType* value);
  veskOmAttributeValueOp(veskAid* id, veskType* value, int op);

  // Kept: this one leaves the tag at 23.
  veskOmAttributeValueOp(veskOmAttribute* attr);
  veskOmAttributeValueOp(veskOmAttribute* attr, int op);
  veskOmAttributeValueOp(veskOmAttributeValueOp* other);
  veskOmAttributeValueOp(const veskOmAttributeValueOp& other);

  unsigned encode(char* buffer, unsigned length) override;

  // Kept: reads the code at a later position than encode() writes it: later by
  // the length of the value or, without a value, by one byte. Fails when that
  // is outside the input. Only veskAttributeValueOp reads back what encode()
  // wrote. A value that arrived is in `value` even when the code fails.
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;

  using veskType::operator=;

  veskChar op;
};

// Appends an attribute that points at the value, which may be null and stays
// the caller's. Kept: the order of the arguments is not that of
// veskAppendAttr().
OSTREL_API void veskAppendOmAttr(const char* name, veskType* value,
                                 veskList* list);

// Appends an attribute without a value for each name up to the null pointer
// that ends the array.
OSTREL_API void veskMakeOmAttrList(const char* const* names, veskList* list);

#endif  // OSTREL_VESKOMATTR_H
