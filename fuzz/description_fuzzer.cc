// Any description of a class, or of a part of one.

#include <ostrel/tags.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "any_value.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  ostrel::fuzz::checkValue(ostrel::fuzz::withTagBetween(
      ostrel::kTagArgumentDesc, ostrel::kTagObjectDesc,
      std::string(data, data + size)));
  return 0;
}
