// What the tests of the catalogue share: a class file to break, and mistakes as
// lines.

#ifndef OSTREL_TESTS_CATALOGUE_CATALOGUE_SUPPORT_H
#define OSTREL_TESTS_CATALOGUE_CATALOGUE_SUPPORT_H

#include <ostrel/catalogue.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ostrel::test {

constexpr const char* kLamp = R"(name = "lamp"
id = "59.200"
revision = 2
text = "A lamp."
key = "name"
columns = ["name", "power"]
reserved = { ids = ["59.200.9"], names = ["colour"] }

[attribute.name]
id = "59.200.1"
type = "string"
length = [1, 32]

[attribute.power]
id = "59.200.2"
type = "int"
range = [0, 9]
default = "off"
[attribute.power.values]
off = 0
on = { value = 1, text = "It burns." }

[action.blink]
id = "59.200.30"
arguments = [
  { name = "lamp", type = "oid", class = "lamp" },
  { name = "seconds", type = "int" },
]

[event.broke]
id = "59.200.50"
)";

// The text with its first `from` replaced.
inline std::string with(std::string text, const std::string& from,
                        const std::string& to) {
  const std::size_t at = text.find(from);
  if (at == text.npos) throw std::logic_error("there is no " + from);
  return text.replace(at, from.size(), to);
}

inline std::vector<std::string> linesOf(const ClassMistakes& mistakes) {
  std::vector<std::string> lines;
  for (const ClassMistake& mistake : mistakes) lines.push_back(mistake.line());
  return lines;
}

inline ClassFile fileOf(const std::string& text,
                        const std::string& name = "lamp.toml") {
  const ClassFiles read = parseClass(text, name);
  for (const std::string& line : linesOf(read.mistakes))
    throw std::logic_error(line);
  return read.files.at(0);
}

// Several texts as files "0.toml", "1.toml" and so on.
inline ClassFiles filesOf(const std::vector<std::string>& texts,
                          ClassSource source = ClassSource::author) {
  ClassFiles all;
  for (const std::string& text : texts) {
    const std::string name = std::to_string(all.files.size()) + ".toml";
    for (ClassFile& file : parseClass(text, name, source).files)
      all.files.push_back(std::move(file));
  }
  return all;
}

inline Catalogue catalogueOf(const std::vector<std::string>& texts) {
  Catalogue catalogue;
  for (const std::string& line : linesOf(catalogue.add(filesOf(texts))))
    throw std::logic_error(line);
  return catalogue;
}

}  // namespace ostrel::test

#endif  // OSTREL_TESTS_CATALOGUE_CATALOGUE_SUPPORT_H
