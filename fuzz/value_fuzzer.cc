// Any value: whatever the bytes, decodeCreate consumes no more than it was
// given, and what decodes encodes again, prints, compares, copies and is freed.
// The invariants and their exceptions stand in support/value_invariants.h.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/value_invariants.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string bytes(data, data + size);
  const char* broken = ostrel::test::brokenInvariant(bytes);
  if (broken != nullptr) {
    std::fprintf(stderr, "broken: %s\n", broken);
    std::abort();
  }
  return 0;
}
