#include "shipped.h"

#include <ostrel/catalogue.h>

#include <string>
#include <utility>

namespace ostrel {
namespace {

Catalogue readShipped() {
  ClassFiles all;
  for (const ShippedFile& file : shippedFiles()) {
    ClassFiles read =
        parseClass(file.text, std::string("shipped:") + file.name);
    for (ClassFile& each : read.files) all.files.push_back(std::move(each));
    for (ClassMistake& each : read.mistakes)
      all.mistakes.push_back(std::move(each));
  }
  // A test sees to it that there are no mistakes.
  Catalogue catalogue;
  catalogue.add(all);
  return catalogue;
}

}  // namespace

const Catalogue& shippedClasses() {
  static const Catalogue catalogue = readShipped();
  return catalogue;
}

}  // namespace ostrel
