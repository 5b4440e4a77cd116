// Records that describe a class of objects: its attributes, its actions and
// events, and their arguments. They are values like any other and print as a
// nested text, "object NAME {" and so on.
//
// What holds for all five: constructors from lists take over the elements, as
// the assignment of lists does, not the list; no destructor frees an element
// of a list or a default value. Those belong to whoever made them: empty the
// lists with clear(1) and delete each `defval` before, or use
// veskType::destroyDecoded() for a record that decodeCreate() made. dup()
// copies the elements of lists. Comparison is that of veskType: by tag alone.

#ifndef OSTREL_OBJECTDESC_H
#define OSTREL_OBJECTDESC_H

#include <ostrel/type.h>

// An argument of an action or event (tag 16).
class OSTREL_API veskArgumentDesc : public veskType {
 public:
  veskArgumentDesc();
  veskArgumentDesc(veskString& name, veskUnsignedInt& type);
  veskArgumentDesc(const char* name, unsigned int type);

  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;

  veskString name;
  veskUnsignedInt type;  // the type of its value, as a number
};

// An attribute of a class (tag 17).
class OSTREL_API veskAttributeDesc : public veskType {
 public:
  veskAttributeDesc();

  // Points at the given default value, which stays the caller's.
  veskAttributeDesc(veskString& name, veskAid& id, veskUnsignedInt& type,
                    veskType& defval, veskUnsignedInt& access,
                    veskUnsignedInt& storage, veskBool& requiredOnCreate);

  // Makes a copy of the default value, or a null value when there is none.
  veskAttributeDesc(const char* name, veskAid& id, unsigned int type,
                    veskType* defval, unsigned int access, unsigned int storage,
                    unsigned int requiredOnCreate);
  veskAttributeDesc(const veskAttributeDesc& other);  // as dup()

  using veskType::operator=;
  veskAttributeDesc& operator=(const veskAttributeDesc&) = delete;

  unsigned encode(char* buffer, unsigned length) override;

  // Kept: reads only the tag of the default value, so only a description with a
  // null default value comes back as it was. The record gets a new plain value
  // for it. The former default value is not freed: delete it before, or keep
  // your own pointer to it.
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;

  // Kept: the copy points at the same default value.
  veskType* dup() override;

  veskString name;
  veskAid id;
  veskUnsignedInt type;
  veskType* defval;  // a null value stands for no default; the pointer is null
                     // only after decode() has run out of memory
  veskUnsignedInt access;
  veskUnsignedInt storage;
  veskBool requiredOnCreate;
};

// An action of a class (tag 18).
class OSTREL_API veskActionDesc : public veskType {
 public:
  veskActionDesc();
  veskActionDesc(veskString& name, veskAid& id, veskList& arguments);
  veskActionDesc(const char* name, veskAid& id, veskList& arguments);

  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;

  veskString name;
  veskAid id;
  veskList arguments;  // of veskArgumentDesc
};

// An event of a class (tag 19).
class OSTREL_API veskEventDesc : public veskType {
 public:
  veskEventDesc();
  veskEventDesc(veskString& name, veskAid& id, veskList& arguments);
  veskEventDesc(const char* name, veskAid& id, veskList& arguments);

  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;

  veskString name;
  veskAid id;
  veskList arguments;  // of veskArgumentDesc
};

// A class of objects (tag 20).
class OSTREL_API veskObjectDesc : public veskType {
 public:
  veskObjectDesc();
  veskObjectDesc(veskString& name, veskOid& id, veskOid& derivedFrom,
                 veskList& attributes, veskList& actions, veskList& events);

  unsigned encode(char* buffer, unsigned length) override;
  unsigned decode(char* buffer, unsigned length) override;
  char* getString() override;
  veskType* dup() override;
  using veskType::operator=;

  veskString name;
  veskOid id;
  veskOid derivedFrom;
  veskList attributes;  // of veskAttributeDesc
  veskList actions;     // of veskActionDesc
  veskList events;      // of veskEventDesc
};

#endif  // OSTREL_OBJECTDESC_H
