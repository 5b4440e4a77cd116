// Instructions for each attribute, by callgrind: every operation of every
// system is run a fixed number of times and its count written to a file of its
// own, named operation/system/attributes/rounds by the file's "desc: Trigger"
// line. Run by scripts/bench, with --tool=callgrind --instr-atstart=no.

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <cstdint>
#include <string>

#include "answer_content.h"

namespace ostrel::bench {
namespace {

constexpr unsigned kCounts[] = {10, 100, 1000};

// Enough rounds that starting and stopping count for nothing, and before them
// enough that whatever is kept for later is there.
constexpr unsigned kAttributesInAll = 20000;
constexpr unsigned kRoundsBefore = 8;

using Operation = void (*)(System&);

void build(System& system) { system.build(); }
void encode(System& system) { system.encode(); }
void decode(System& system) { system.decode(); }
void decodeAndRead(System& system) {
  std::uint64_t sum = system.decodeAndRead();
  benchmark::DoNotOptimize(sum);
}

void measure(const std::string& operationName, const NamedSystem& named,
             unsigned count, Operation operation) {
  const unsigned rounds = kAttributesInAll / count;
  const std::string name = operationName + "/" + named.name + "/" +
                           std::to_string(count) + "/" + std::to_string(rounds);
  const auto system = checkedSystem(named.make, cycling(count));
  for (unsigned round = 0; round < kRoundsBefore; round++) operation(*system);
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  for (unsigned round = 0; round < rounds; round++) operation(*system);
  CALLGRIND_DUMP_STATS_AT(name.c_str());
  CALLGRIND_STOP_INSTRUMENTATION;
}

void measureAll() {
  for (const NamedSystem& system : kSystems) {
    for (const unsigned count : kCounts) {
      if (system.builds) measure("build", system, count, build);
      if (system.encodes) measure("encode", system, count, encode);
      measure("decode", system, count, decode);
      measure("decode-read", system, count, decodeAndRead);
    }
  }
}

}  // namespace
}  // namespace ostrel::bench

int main() {
  if (RUNNING_ON_VALGRIND == 0)
    ostrel::bench::stop("answer_instructions runs under callgrind alone");
  ostrel::bench::measureAll();
  return 0;
}
