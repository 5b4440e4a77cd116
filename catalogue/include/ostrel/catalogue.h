// Many classes: found by name and by number, with what they take over from the
// classes that they derive from.

#ifndef OSTREL_CATALOGUE_H
#define OSTREL_CATALOGUE_H

#include <ostrel/class_description.h>
#include <ostrel/class_file.h>
#include <ostrel/export.h>
#include <ostrel/objectdesc.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ostrel {

// A copy shares the descriptions. Pointers that the calls return stay valid as
// long as a catalogue that has the class; null means "no such thing".
class OSTREL_API Catalogue {
 public:
  Catalogue() = default;  // empty

  // Adds classes, if they agree with one another and with those that are here
  // already; otherwise, or when `files` brings mistakes, adds none. Returns all
  // mistakes and notes, those of `files` first. With ClassSource::server a
  // class that is named but not there is no mistake.
  ClassMistakes add(const ClassFiles& files,
                    ClassSource source = ClassSource::author);

  std::vector<const ClassFile*> files() const;           // by number
  std::vector<const ClassDescription*> classes() const;  // by number
  const ClassDescription* find(ClassId id) const;
  const ClassDescription* find(std::string_view name) const;

  // The class, its base, the base of that and so on.
  std::vector<const ClassDescription*> lineage(
      const ClassDescription& of) const;
  bool derives(const ClassDescription& of, const ClassDescription& base) const;

  // With those of the bases: all, by number; one, by its name or a former one.
  std::vector<const AttributeDescription*> attributes(
      const ClassDescription& of) const;
  const AttributeDescription* attribute(const ClassDescription& of,
                                        std::string_view name) const;
  const ActionDescription* action(const ClassDescription& of,
                                  std::string_view name) const;
  const EventDescription* event(const ClassDescription& of,
                                std::string_view name) const;

  // By number alone, of whatever class.
  const AttributeDescription* attribute(const MemberId& id) const;
  const ActionDescription* action(const MemberId& id) const;
  const EventDescription* event(const MemberId& id) const;

  // The names of what identifiers stand for, "lamp" and "lamp.power"; empty
  // where no description has them or they are not valid.
  std::string name(const veskOid& classOid) const;
  std::string name(const veskAid& member) const;

  // Of the class, or of the nearest base that has one.
  std::string key(const ClassDescription& of) const;
  std::vector<std::string> columns(const ClassDescription& of) const;

 private:
  const ClassFile* fileOf(std::string_view name) const;

  std::map<ClassId, std::shared_ptr<const ClassFile>> classes_;
  std::map<std::string, ClassId, std::less<>> ids_;
};

// The classes that every server has: host, registration, class and principal.
// They are compiled in.
OSTREL_API const Catalogue& shippedClasses();

// Frees a value with everything in it.
struct FreeValue {
  void operator()(veskType* value) const { veskType::destroyDecoded(value); }
};

// The description as it travels: numbers for type, access and storage as
// docs/classes.md has them, null default values, and only what the class has of
// its own. The base is not valid where there is none or the catalogue does not
// know it.
using ObjectDescPointer = std::unique_ptr<veskObjectDesc, FreeValue>;
OSTREL_API ObjectDescPointer objectDesc(const Catalogue& catalogue,
                                        const ClassDescription& description);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_H
