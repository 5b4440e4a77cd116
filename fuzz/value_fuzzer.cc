// Any value, from any bytes.

#include <cstddef>
#include <cstdint>
#include <string>

#include "any_value.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  ostrel::fuzz::checkValue(std::string(data, data + size));
  return 0;
}
