#include "common/printed.h"

#include <cstdlib>

namespace ostrel::tools {

std::string takeText(char* text) {
  std::string result = text != nullptr ? text : "";
  std::free(text);
  return result;
}

std::string printed(veskType& value) { return takeText(value.getString()); }

}  // namespace ostrel::tools
