// Any value, from any bytes: as the stated classes read it, and as one that
// owns itself.

#include <cstddef>
#include <cstdint>
#include <string>

#include "any_value.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string bytes(data, data + size);
  ostrel::fuzz::checkValue(bytes);
  ostrel::fuzz::checkOwnValue(bytes);
  return 0;
}
