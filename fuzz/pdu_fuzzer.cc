// Any PDU: every input is read as one of the requests and responses.

#include <ostrel/tags.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "any_value.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  ostrel::fuzz::checkValue(
      ostrel::fuzz::withTagBetween(ostrel::kTagFirstPDU, ostrel::kTagLastPDU,
                                   std::string(data, data + size)));
  return 0;
}
