// Encode, decode and print of lists of 10, 100 and 1000 mixed values. The
// counter "each" is the time for one value.

#include <benchmark/benchmark.h>
#include <ostrel/type.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

// More than any of the values asks for.
constexpr std::size_t kRoomForEach = 64;
constexpr std::size_t kRoomForList = 16;

constexpr char kShortText[] = "twelve chars";
constexpr char kLongText[] =
    "sixty-four characters of text, as descriptions of things have it";
static_assert(sizeof kShortText - 1 == 12);
static_assert(sizeof kLongText - 1 == 64);

// The kinds take turns, so that no two neighbours are alike.
veskType* mixedValue(unsigned i) {
  switch (i % 10) {
    case 0:
      return new veskInt(static_cast<int>(i * 65537));
    case 1:
      return new veskString(kShortText, sizeof kShortText - 1);
    case 2:
      return new veskUnsignedInt(i);
    case 3:
      return new veskOid("59.6.3.7");
    case 4:
      return new veskBool(i & 1);
    case 5:
      return new veskAddress("10.0.0.1");
    case 6:
      return new veskDouble(i / 3.0);
    case 7:
      return new veskTime(1000000000 + i);
    case 8:
      return new veskString(kLongText, 48);
    default:
      return new veskAid("59.6.2");
  }
}

// A list of mixed values, freed with its elements.
class MixedList {
 public:
  explicit MixedList(std::int64_t count) {
    for (unsigned i = 0; i < count; ++i) list_.append(mixedValue(i));
  }
  ~MixedList() { list_.clear(1); }
  MixedList(const MixedList&) = delete;
  MixedList& operator=(const MixedList&) = delete;

  veskList& list() { return list_; }

 private:
  veskList list_;
};

std::vector<char> bufferFor(std::int64_t count) {
  return std::vector<char>(kRoomForList +
                           kRoomForEach * static_cast<std::size_t>(count));
}

unsigned sizeOf(const std::vector<char>& buffer) {
  return static_cast<unsigned>(buffer.size());
}

void countEach(benchmark::State& state) {
  state.counters["each"] =
      benchmark::Counter(static_cast<double>(state.range(0)),
                         benchmark::Counter::kIsIterationInvariantRate |
                             benchmark::Counter::kInvert);
}

void encodeList(benchmark::State& state) {
  MixedList mixed(state.range(0));
  std::vector<char> buffer = bufferFor(state.range(0));
  for (auto _ : state) {
    const unsigned used = mixed.list().encode(buffer.data(), sizeOf(buffer));
    if (used == 0) state.SkipWithError("does not encode");
    benchmark::ClobberMemory();
  }
  countEach(state);
}

void decodeAndFreeList(benchmark::State& state) {
  MixedList mixed(state.range(0));
  std::vector<char> buffer = bufferFor(state.range(0));
  const unsigned used = mixed.list().encode(buffer.data(), sizeOf(buffer));
  for (auto _ : state) {
    veskType* value = nullptr;
    if (veskType::decodeCreate(buffer.data(), used, &value) != used) {
      state.SkipWithError("does not decode");
    }
    veskType::destroyDecoded(value);
  }
  countEach(state);
}

void printList(benchmark::State& state) {
  MixedList mixed(state.range(0));
  for (auto _ : state) {
    char* text = mixed.list().getString();
    benchmark::DoNotOptimize(text);
    std::free(text);
  }
  countEach(state);
}

BENCHMARK(encodeList)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(decodeAndFreeList)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(printList)->Arg(10)->Arg(100)->Arg(1000);

}  // namespace
