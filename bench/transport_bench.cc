// Round trips through the transaction handler against the same system calls
// made by hand, everything on one processor. Both talk to the same server
// process, in short turns, so that whatever else the machine does meets both;
// the ratio is the median of the turns' ratios.

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "answer_content.h"
#include "round_trips.h"

namespace {

using namespace round_trips;

// The argument is the number of attributes in the answer.
void roundTripsAgainstByHand(benchmark::State& state) {
  pinToOneProcessor();
  const Server server(static_cast<int>(state.range(0)));
  Question question;
  ByHand byHand(server, question);
  Transport transport(server, question);
  nanosecondsForEach(byHand);
  nanosecondsForEach(transport);
  std::vector<double> hand, library, ratios;
  for (auto step : state) {
    static_cast<void>(step);
    hand.push_back(nanosecondsForEach(byHand));
    library.push_back(nanosecondsForEach(transport));
    ratios.push_back(library.back() / hand.back());
  }
  state.counters["byHand_ns"] = median(hand);
  state.counters["transport_ns"] = median(library);
  state.counters["ratio"] = median(ratios);
  state.counters["datagrams"] = static_cast<double>(server.datagrams());
}
BENCHMARK(roundTripsAgainstByHand)
    ->Arg(0)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3);

// What answerBytes() writes.
ostrel::bench::Content answerContent(unsigned attributes) {
  using ostrel::bench::Kind;
  ostrel::bench::Content content;
  content.requestId = kFirstId;
  for (unsigned i = 0; i < attributes; ++i) {
    ostrel::bench::Item item;
    item.number = i + 1;
    item.kind = i % 2 == 0 ? Kind::kInteger : Kind::kShortText;
    item.bits = 1000 * i;
    item.text = kShortText;
    content.items.push_back(item);
  }
  return content;
}

class ByHandAndRead {
 public:
  ByHandAndRead(const Server& server, Question& question, int attributes)
      : byHand_(server, question),
        limit_(ostrel::bench::makeLimit(
            answerContent(static_cast<unsigned>(attributes)))) {
    if (limit_->bytes() != answerBytes(attributes))
      ostrel::bench::stop("the limit's bytes are not the server's");
  }

  void roundTrip() {
    byHand_.roundTrip();
    limit_->decode();
  }

 private:
  ByHand byHand_;
  std::unique_ptr<ostrel::bench::System> limit_;
};

// The least that the ratio above can be for a client that reads its answers:
// the calls by hand, and the same answer read by answer_limit.cc.
void readingAgainstByHand(benchmark::State& state) {
  pinToOneProcessor();
  const int attributes = static_cast<int>(state.range(0));
  const Server server(attributes);
  Question question;
  ByHand byHand(server, question);
  ByHandAndRead reading(server, question, attributes);
  nanosecondsForEach(byHand);
  nanosecondsForEach(reading);
  std::vector<double> ratios;
  for (auto step : state) {
    static_cast<void>(step);
    const double hand = nanosecondsForEach(byHand);
    ratios.push_back(nanosecondsForEach(reading) / hand);
  }
  state.counters["ratio"] = median(ratios);
}
BENCHMARK(readingAgainstByHand)
    ->Arg(10)
    ->Arg(100)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3);

// The argument is the number of requests that stay pending meanwhile; the ratio
// is to the same with 10 of them.
void roundTripsAmongOutstanding(benchmark::State& state) {
  pinToOneProcessor();
  const Server server(10);
  Question question;
  Transport few(server, question);
  few.leavePending(10);
  Transport many(server, question);
  many.leavePending(static_cast<unsigned>(state.range(0)));
  std::vector<double> amongMany, ratios;
  for (auto step : state) {
    static_cast<void>(step);
    const double amongFew = nanosecondsForEach(few);
    amongMany.push_back(nanosecondsForEach(many));
    ratios.push_back(amongMany.back() / amongFew);
  }
  state.counters["transport_ns"] = median(amongMany);
  state.counters["ratio"] = median(ratios);
}
BENCHMARK(roundTripsAmongOutstanding)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3);

}  // namespace
