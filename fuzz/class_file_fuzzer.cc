// Any class file: what is read without a mistake has a canonical text that says
// the same, may take its own place, and can be described to every peer.

#include <ostrel/catalogue.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bounds.h"

namespace {

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

void check(std::string_view text, ostrel::ClassSource source) {
  const ostrel::ClassFiles read = ostrel::parseClass(text, "fuzz", source);
  for (const ostrel::ClassMistake& mistake : read.mistakes)
    require(!mistake.line().empty(), "a mistake has a line");
  ostrel::Catalogue catalogue = ostrel::shippedClasses();
  const bool good = !hasMistake(catalogue.add(read, source));
  for (const ostrel::ClassFile& file : read.files) {
    const bool follows = compareClasses(file, file).empty();
    require(follows || !good, "a class follows itself");
    // A text that a server sent may lack what the canonical text needs.
    if (!good || source == ostrel::ClassSource::server) continue;
    const std::string canonical = canonicalText(file.description);
    const ostrel::ClassFiles again = ostrel::parseClass(canonical, "again");
    require(!hasMistake(again.mistakes), "canonical text can be read");
    require(again.files.at(0).description == file.description,
            "canonical text says the same");
    require(canonicalText(again.files[0].description) == canonical,
            "canonical text is stable");
    const auto description = objectDesc(catalogue, file.description);
    char* shown = description->getString();
    require(shown != nullptr, "a description prints");
    std::free(shown);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const fuzz::TimeBound time(size);
  const std::string text(data, data + size);
  check(text, ostrel::ClassSource::author);
  check(text, ostrel::ClassSource::server);
  return 0;
}
