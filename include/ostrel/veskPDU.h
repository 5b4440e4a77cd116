// Requests and responses: a header and members in a fixed order. A PDU is a
// value and does no I/O; veskType::decodeCreate() makes one from bytes.
//
// What holds for every PDU:
// - A PDU points at its lists. Its destructor leaves them alone; clear() frees
//   them with their elements and sets the pointers to null. So what a program
//   lends to a request stays the program's. A PDU that arrived is freed with
//   veskType::destroyDecoded().
// - Default constructors make empty lists, for decode() to fill. Constructors
//   that take a list keep the pointer.
// - Kept: a copy, by dup() or constructor, shares its source's lists; clear()
//   at most one of the two. PDUs are not assigned to each other.
// - encode() and decode() handle the header and then the members in their wire
//   order, and return 0 as soon as one fails or a list is null. getString()
//   joins requestId, status, principal and the members with " : ".
// - Comparison is that of veskType: by tag alone.

#ifndef OSTREL_VESKPDU_H
#define OSTREL_VESKPDU_H

#include <ostrel/type.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskError.h>

// The header that all PDUs share.
class OSTREL_API veskPDU : public veskType {
 public:
  veskPDU(unsigned int tag);  // status 0, request id 0, no principal
  veskPDU(unsigned int tag, veskOid& principal);
  veskPDU(veskPDU* from, unsigned int tag);  // copies from's header
  veskPDU(const veskPDU& other) = default;
  veskPDU& operator=(const veskPDU&) = delete;

  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;

  // Kept: of a plain header this has tag 27 whatever its own tag.
  veskType* dup() override;
  using veskType::operator=;

  // Frees the PDU's lists with their elements, and sets the pointers to null.
  // The header alone has none.
  virtual void clear();

  veskInt status;             // a return code; 0 in requests
  veskUnsignedInt requestId;  // set when a request is sent; its answer has it
  veskOid principal;          // on whose behalf; invalid when not given
};

// Makes an object with the attributes of `list` in the class `oid` (tag 28).
class OSTREL_API veskCreatePDU : public veskPDU {
 public:
  veskCreatePDU();
  veskCreatePDU(veskCreatePDU* from);
  veskCreatePDU(veskOid& oid, veskList* list);
  veskCreatePDU(veskOid& oid, veskList* list, veskOid& principal);
  veskCreatePDU(veskObject& object);  // its identifier, a copy of its list
  veskCreatePDU(veskObject& object, veskOid& principal);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskOid oid;
  veskList* list;
};

// Copies the object `oid`, with the attributes of `list` instead of its own
// (tag 29).
class OSTREL_API veskClonePDU : public veskCreatePDU {
 public:
  veskClonePDU();
  veskClonePDU(veskClonePDU* from);
  veskClonePDU(veskOid& oid, veskList* list);
  veskClonePDU(veskOid& oid, veskList* list, veskOid& principal);
  veskClonePDU(veskObject& object);
  veskClonePDU(veskObject& object, veskOid& principal);
  veskType* dup() override;
  using veskType::operator=;
};

// Removes the object `oid` (tag 30).
class OSTREL_API veskRemovePDU : public veskPDU {
 public:
  veskRemovePDU();
  veskRemovePDU(veskRemovePDU* from);
  veskRemovePDU(veskOid& oid);
  veskRemovePDU(veskOid& oid, veskOid& principal);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;

  veskOid oid;
};

// Asks for the attributes of `list` of the object `oid` (tag 31).
class OSTREL_API veskGetPDU : public veskPDU {
 public:
  veskGetPDU();
  veskGetPDU(veskGetPDU* from);
  veskGetPDU(veskOid& oid, veskList* list);
  veskGetPDU(veskOid& oid, veskList* list, veskOid& principal);
  veskGetPDU(veskObject& object);  // its identifier, a copy of its list
  veskGetPDU(veskObject& object, veskOid& principal);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskOid oid;
  veskList* list;
};

// Writes the attributes of `list` to the object `oid` (tag 32).
class OSTREL_API veskSetPDU : public veskGetPDU {
 public:
  veskSetPDU();
  veskSetPDU(veskSetPDU* from);
  veskSetPDU(veskOid& oid, veskList* list);
  veskSetPDU(veskOid& oid, veskList* list, veskOid& principal);
  veskSetPDU(veskObject& object);
  veskSetPDU(veskObject& object, veskOid& principal);
  veskType* dup() override;
  using veskType::operator=;
};

// Looks for the objects in `oid` whose attributes fit `list` (tag 33).
class OSTREL_API veskSearchPDU : public veskPDU {
 public:
  veskSearchPDU();  // flag 1
  veskSearchPDU(veskSearchPDU* from);
  veskSearchPDU(veskOid& oid, veskList* list, unsigned int flag);
  veskSearchPDU(veskOid& oid, veskList* list, unsigned int flag,
                veskOid& principal);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskOid oid;
  veskList* list;
  veskBool flag;
};

// Reports the event `aid` of the object `oid` (tag 34).
class OSTREL_API veskEventPDU : public veskPDU {
 public:
  veskEventPDU();
  veskEventPDU(veskEventPDU* from);
  veskEventPDU(veskOid& oid, veskAid& aid, veskList* list);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskOid oid;
  veskAid aid;
  veskList* list;  // the event's arguments
};

// Has the action `aid` done (tag 35). Kept: `oid` is neither encoded nor
// printed. A receiver finds the target from the principal, the action and the
// arguments.
class OSTREL_API veskActionPDU : public veskPDU {
 public:
  veskActionPDU();
  veskActionPDU(veskActionPDU* from);
  veskActionPDU(veskOid& oid, veskAid& aid, veskList* list);
  veskActionPDU(veskOid& oid, veskAid& aid, veskList* list, veskOid& principal);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskOid oid;
  veskAid aid;
  veskList* list;  // the action's arguments
};

// Asks whether the object `oid` is there (tag 44).
class OSTREL_API veskVerifyPDU : public veskPDU {
 public:
  veskVerifyPDU();
  veskVerifyPDU(veskVerifyPDU* from);
  veskVerifyPDU(veskOid& oid);
  veskVerifyPDU(veskOid& oid, veskOid& principal);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;

  veskOid oid;
};

// A search that the directory service answers (tag 46). An empty one, as the
// default constructor makes it, discovers directory servers.
class OSTREL_API veskDSsearchPDU : public veskPDU {
 public:
  veskDSsearchPDU();
  veskDSsearchPDU(veskDSsearchPDU* from);
  veskDSsearchPDU(veskOid& oid, veskList* list, veskList* list2);
  veskDSsearchPDU(veskOid& oid, veskList* list, veskList* list2,
                  veskOid& principal);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskOid oid;
  veskList* list;
  veskList* list2;
};

// Shared by responses with a list of errors. `code` goes into `status`; a list
// that is not given, or null, is made empty.
class OSTREL_API veskRespPDU : public veskPDU {
 public:
  veskRespPDU(unsigned int tag, veskList* errors);
  veskRespPDU(veskRespPDU* from, unsigned int tag);

  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;

  // Kept: of this class itself it has tag 36 whatever its own tag.
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskList* errors;  // a veskError for each item that failed
};

// Answers a create (tag 37). Prints without its errors.
class OSTREL_API veskCreateRespPDU : public veskRespPDU {
 public:
  veskCreateRespPDU();
  veskCreateRespPDU(veskCreateRespPDU* from);
  veskCreateRespPDU(int code);
  veskCreateRespPDU(int code, veskList* errors);
  veskCreateRespPDU(int code, veskOid& oid, veskList* errors);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;

  veskOid oid;  // the new object
};

// Answers a clone (tag 38).
class OSTREL_API veskCloneRespPDU : public veskCreateRespPDU {
 public:
  veskCloneRespPDU();
  veskCloneRespPDU(veskCloneRespPDU* from);
  veskCloneRespPDU(int code);
  veskCloneRespPDU(int code, veskList* errors);
  veskCloneRespPDU(int code, veskOid& oid, veskList* errors);
  veskType* dup() override;
  using veskType::operator=;
};

// Answers a get (tag 39).
class OSTREL_API veskGetRespPDU : public veskRespPDU {
 public:
  veskGetRespPDU();
  veskGetRespPDU(veskGetRespPDU* from);
  veskGetRespPDU(int code);
  veskGetRespPDU(veskList* list);
  veskGetRespPDU(int code, veskList* list, veskList* errors);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskList* list;  // the attributes with their values
};

// Answers a set (tag 40).
class OSTREL_API veskSetRespPDU : public veskRespPDU {
 public:
  veskSetRespPDU();
  veskSetRespPDU(veskSetRespPDU* from);
  veskSetRespPDU(int code);
  veskSetRespPDU(int code, veskList* errors);
  veskType* dup() override;
  using veskType::operator=;
};

// Answers an action. Kept: it has and sends tag 40, so it arrives as a
// veskSetRespPDU. Tag 42 is decoded, but never sent.
class OSTREL_API veskActionRespPDU : public veskSetRespPDU {
 public:
  veskActionRespPDU();
  veskActionRespPDU(veskActionRespPDU* from);
  veskActionRespPDU(int code);
  veskActionRespPDU(int code, veskList* errors);
  veskType* dup() override;
  using veskType::operator=;
};

// Answers a search (tag 41).
class OSTREL_API veskSearchRespPDU : public veskRespPDU {
 public:
  veskSearchRespPDU();
  veskSearchRespPDU(veskSearchRespPDU* from);
  veskSearchRespPDU(int code);
  veskSearchRespPDU(int code, veskList* errors);
  veskSearchRespPDU(int code, veskList* list, veskList* errors);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskList* list;  // what was found
};

// Answers a remove (tag 43).
class OSTREL_API veskRemoveRespPDU : public veskPDU {
 public:
  veskRemoveRespPDU();
  veskRemoveRespPDU(veskRemoveRespPDU* from);
  veskRemoveRespPDU(int code);
  veskType* dup() override;
  using veskType::operator=;
};

// Answers a verify (tag 45).
class OSTREL_API veskVerifyRespPDU : public veskPDU {
 public:
  veskVerifyRespPDU();
  veskVerifyRespPDU(veskVerifyRespPDU* from);
  veskVerifyRespPDU(int code);
  veskType* dup() override;
  using veskType::operator=;
};

// Answers a search of the directory service (tag 47). Kept: `list2` is encoded
// before `list` and printed after it.
class OSTREL_API veskDSsearchRespPDU : public veskRespPDU {
 public:
  veskDSsearchRespPDU();
  veskDSsearchRespPDU(veskDSsearchRespPDU* from);
  veskDSsearchRespPDU(int code);
  veskDSsearchRespPDU(int code, veskList* list2);
  veskDSsearchRespPDU(int code, veskList* list, veskList* errors);
  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  void clear() override;
  using veskType::operator=;

  veskList* list;
  veskList* list2;
};

#endif  // OSTREL_VESKPDU_H
