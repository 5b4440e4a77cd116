// A get's answer with 1 to 1000 attributes: building, encoding, decoding and
// printing it, beside systems that carry the same content. Benchmarks are
// named operation/system/attributes; scripts/bench makes the table. The counter
// `additions` says how free the core was just before and after, whichever is
// less.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "answer_content.h"

namespace ostrel::bench {
namespace {

constexpr unsigned kCounts[] = {1, 10, 100, 1000};

// Answers with their kinds in so many different orders, taken in turn, are
// more than a branch predictor remembers; one of them it learns.
constexpr unsigned kShuffles = 32;
constexpr unsigned kShuffledCount = 100;

using Systems = std::vector<std::unique_ptr<System>>;
using Operation = std::function<void(System&)>;

Systems setUp(SystemMaker make, const std::vector<Content>& contents) {
  Systems systems;
  for (const Content& content : contents)
    systems.push_back(checkedSystem(make, content));
  return systems;
}

void decodeAndRead(System& system) {
  std::uint64_t sum = system.decodeAndRead();
  benchmark::DoNotOptimize(sum);
}

// Whether repeating an operation takes ever more memory: a system that does not
// free what it makes has no figure.
bool leaks(const Systems& systems, const Operation& operation) {
  constexpr std::size_t kRounds = 16;
  constexpr std::size_t kSmallestBlock = 16;
  const auto runAll = [&] {
    for (std::size_t round = 0; round < kRounds; round++) {
      for (const auto& system : systems) operation(*system);
    }
  };
  runAll();
  const std::size_t before = mallinfo2().uordblks;
  runAll();
  const std::size_t after = mallinfo2().uordblks;
  return after >= before + kRounds * systems.size() * kSmallestBlock;
}

// How many additions a nanosecond sees that need not wait for each other: about
// two thirds as many, or fewer, when somebody else computes on the core's
// second thread.
double additions() {
  using Clock = std::chrono::steady_clock;
  constexpr unsigned kRounds = 200000;
  unsigned a = 0, b = 0, c = 0, d = 0;
  const auto start = Clock::now();
  for (unsigned round = 0; round < kRounds; round++) {
    benchmark::DoNotOptimize(++a);
    benchmark::DoNotOptimize(++b);
    benchmark::DoNotOptimize(++c);
    benchmark::DoNotOptimize(++d);
  }
  const std::chrono::duration<double, std::nano> took = Clock::now() - start;
  return 4 * kRounds / took.count();
}

void run(benchmark::State& state, SystemMaker make,
         const std::vector<Content>& contents, const Operation& operation) {
  const Systems systems = setUp(make, contents);
  if (leaks(systems, operation))
    state.SkipWithError("does not free its memory");
  std::size_t turn = 0;
  const double before = additions();
  for (auto _ : state) {
    operation(*systems[turn]);
    if (++turn == systems.size()) turn = 0;
  }
  state.counters["additions"] = std::min(before, additions());
}

void add(const std::string& operationName, const NamedSystem& system,
         const std::string& suffix, const std::vector<Content>& contents,
         const Operation& operation) {
  const std::string name = operationName + "/" + system.name + "/" + suffix;
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    run(state, system.make, contents, operation);
  });
}

void addAll(const NamedSystem& system, const std::string& suffix,
            const std::vector<Content>& contents) {
  if (system.builds) {
    add("build", system, suffix, contents, &System::build);
    add("build-names", system, suffix, contents, &System::buildFromNames);
  }
  if (system.encodes) add("encode", system, suffix, contents, &System::encode);
  add("decode", system, suffix, contents, &System::decode);
  add("decode-read", system, suffix, contents, decodeAndRead);
  if (system.make == makeOstrel)
    add("print", system, suffix, contents, &System::print);
}

void registerAll() {
  for (const unsigned count : kCounts) {
    for (const NamedSystem& system : kSystems)
      addAll(system, std::to_string(count), {cycling(count)});
  }
  std::vector<Content> shuffles;
  for (unsigned seed = 1; seed <= kShuffles; seed++)
    shuffles.push_back(shuffled(kShuffledCount, seed));
  for (const NamedSystem& system : kSystems) {
    addAll(system, "shuffled", {shuffles.front()});
    addAll(system, "shuffled-1000", {shuffled(kMostItems, 1)});
    addAll(system, "reshuffled", shuffles);
  }
}

}  // namespace
}  // namespace ostrel::bench

int main(int argc, char** argv) {
  ostrel::bench::registerAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
