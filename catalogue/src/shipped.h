// The class files that are compiled in.

#ifndef OSTREL_CATALOGUE_SHIPPED_H
#define OSTREL_CATALOGUE_SHIPPED_H

#include <string_view>
#include <vector>

namespace ostrel {

struct ShippedFile {
  const char* name;  // "host.toml"
  std::string_view text;
};

// Made by the build from the folder classes/.
const std::vector<ShippedFile>& shippedFiles();

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_SHIPPED_H
