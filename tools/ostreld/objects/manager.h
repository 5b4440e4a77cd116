// Object managers: how a program serves classes of objects. A manager whose
// objects cannot be changed from outside implements classes(), list() and
// read() and nothing else; docs/object-managers.md shows one.
//
// Every int is a return code: 0, or what is put into the answer's status.
// Identifiers that managers are given are valid, and their class is one of
// the manager's own.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_MANAGER_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_MANAGER_H

#include <netinet/in.h>
#include <ostrel/codes.h>
#include <ostrel/type.h>
#include <ostrel/veskAttr.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "common/owned.h"

namespace ostrel::tools::server {

// Who asks: the sender of the request and the principal that it names.
struct Asker {
  sockaddr_in address = {};
  veskOid principal;
  bool administrator = false;  // may end what others registered
};

class ObjectManager {
 public:
  virtual ~ObjectManager() = default;

  // The classes that it has objects of, "59.1.0.0" for instance. A server
  // asks once, when the manager is added.
  virtual std::vector<veskOid> classes() = 0;

  // Appends the identifiers of all objects of a class, each a new veskOid, in
  // ascending order.
  virtual int list(veskOid& classOid, veskList* oids) = 0;

  // The same, but only those behind `after`, an object of the class or the
  // class itself, and `most` of them at the most. The list is empty before.
  // Unless overridden, it chooses from what list() gives.
  virtual int listPage(veskOid& classOid, veskOid& after, std::size_t most,
                       veskList* oids);

  // Appends all attributes of an object. They may be veskOmAttributes, which
  // point at values that the manager keeps: those have to stay as they are
  // until the manager is called again. Returns 1 when there is no such object,
  // and has then appended nothing.
  virtual int read(veskOid& oid, veskList* attributes) = 0;

  // Writes attributes to an object: those that can be written are, and each of
  // the others gives an entry of `errors` and the result -1. Unless overridden,
  // nothing can be written: 6 for each of them.
  virtual int set(const Asker& asker, veskOid& oid, veskList& attributes,
                  veskList* errors);

  // Makes an object of a class and stores its identifier, which no object had
  // before, in *created. With an entry in `errors` nothing was made. Unless
  // overridden, nothing can be made: 6.
  virtual int create(const Asker& asker, veskOid& classOid,
                     veskList& attributes, veskOid* created, veskList* errors);

  // Removes an object. Unless overridden, nothing can be removed: 6.
  virtual int remove(const Asker& asker, veskOid& oid);

  // Does an action of one of its classes. Unless overridden, it has none: 8.
  virtual int action(const Asker& asker, veskAid& action, veskList& arguments,
                     veskList* errors);

  // What follows from the calls above; a manager overrides it where it has a
  // quicker way.

  // 0 when the object is there, else 1.
  virtual int verify(veskOid& oid);

  // Appends the wanted attributes in the order of `wanted`, all of them when
  // that is empty. What is missing becomes an attribute without a value, an
  // entry of `errors` and the result -1. The attributes point at values that
  // stay until the next call.
  virtual int get(veskOid& oid, veskList& wanted, veskList* attributes,
                  veskList* errors);

  // The first of its classes behind that one.
  virtual std::optional<veskOid> classAfter(veskOid& classOid);

  // Hands over the objects of a class behind `after`, an object of the class or
  // the class itself, in ascending order, each with its value of an attribute
  // or null; until there are no more or `each` returns false. Neither changes
  // anything meanwhile. Unless overridden, there is no such way: returns false.
  using Each = std::function<bool(veskOid& oid, veskType* value)>;
  virtual bool scan(veskOid& classOid, veskOid& after, veskAid& id,
                    const Each& each);

  // Whether an object has an attribute whose value passes the test.
  using Test = std::function<bool(veskType& value)>;
  virtual bool holds(veskOid& oid, veskAid& id, const Test& test);

  // The objects of a class, in ascending order, of which some may meet the
  // condition with this operation code, and no other can. Nothing when there
  // are more than `most`, or no index knows; unless overridden, there is none.
  virtual std::optional<std::vector<veskOid>> candidates(
      veskOid& classOid, veskAttribute& condition, unsigned operation,
      std::size_t most);

  // As create(), in the class of an object that is there, with that object's
  // attributes, where the given ones do not replace them. When an attribute of
  // that object is refused and no given one is, the result is that code.
  virtual int clone(const Asker& asker, veskOid& oid, veskList& attributes,
                    veskOid* created, veskList* errors);

 private:
  OwnedList held_;  // what the last get() read
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_MANAGER_H
