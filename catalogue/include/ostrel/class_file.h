// Class files: from text to descriptions and back, and which changes of a class
// are allowed. docs/classes.md explains the format to those who write them.

#ifndef OSTREL_CLASS_FILE_H
#define OSTREL_CLASS_FILE_H

#include <ostrel/class_description.h>
#include <ostrel/export.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace ostrel {

// Where something stands; lines and columns count from 1, 0 is "nowhere".
struct FilePlace {
  std::string file;
  std::uint32_t line = 0;
  std::uint32_t column = 0;
};

// What is wrong with class files, or worth a remark.
struct ClassMistake {
  FilePlace place;
  std::string text;     // what failed, why, and what to do
  bool isNote = false;  // the file can be used all the same

  // "lamp.toml:3:8: TEXT", with "note: " before the text of a note. Control
  // characters of the file are escaped.
  OSTREL_API std::string line() const;
};
using ClassMistakes = std::vector<ClassMistake>;

OSTREL_API bool hasMistake(const ClassMistakes& mistakes);  // not only notes

// A description and where its parts stand.
struct ClassFile {
  ClassDescription description;
  std::string file;

  // By the path of a part, "attribute.state.type" for instance.
  std::map<std::string, FilePlace, std::less<>> places;

  // Of the part, or of what it is a part of.
  OSTREL_API FilePlace place(std::string_view path) const;
};

// The descriptions of the files in which at least a name and a number could be
// read, mistaken ones among them: look at the mistakes before using any.
struct ClassFiles {
  std::vector<ClassFile> files;
  ClassMistakes mistakes;  // all of them, to a limit of 100 for each file
};

enum class ClassSource : std::uint8_t {
  author,  // what is not known is a mistake
  server,  // which may be newer: what is not known is left out, with a note
};

// A text longer than this many bytes is refused.
constexpr std::size_t kLongestClassFile = std::size_t{256} << 10;

// Reads one class. `file` is only named in messages.
OSTREL_API ClassFiles parseClass(std::string_view text, const std::string& file,
                                 ClassSource source = ClassSource::author);

// Reads the files, and of each folder those that end in ".toml", by name.
OSTREL_API ClassFiles readClassFiles(const std::vector<std::string>& paths);

// The class file that says this, always the same for equal descriptions:
// parseClass() makes an equal description of it.
OSTREL_API std::string canonicalText(const ClassDescription& description);

// The 64-bit FNV-1a hash of a text: of the canonical text it says whether two
// descriptions are equal.
OSTREL_API std::uint64_t classHash(std::string_view canonicalText) noexcept;

// What forbids `now` to take the place of `before`; empty when nothing does.
// Places are those of `now`.
OSTREL_API ClassMistakes compareClasses(const ClassFile& before,
                                        const ClassFile& now);

}  // namespace ostrel

#endif  // OSTREL_CLASS_FILE_H
