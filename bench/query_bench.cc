// Round trips of veskQueryHandler::get against other clients of the same server
// process, everything on one processor: bare system calls, the transport's
// system calls by hand, and the transport itself. All ask with the same bytes
// and take short turns; each ratio is the median of the turns' ratios.
//
// Object servers have port 5135: run it where that is free, for instance in a
// network namespace with scripts/in-netns.

#include <benchmark/benchmark.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskQuery.h>

#include <vector>

#include "base/platform.h"
#include "round_trips.h"

namespace {

using namespace round_trips;

constexpr const char* kPrincipal = "59.110.1.1";

class Query {
 public:
  explicit Query(Question& question) : question_(question) {
    handler_.currentAccess = kPrincipal;
    handler_.currentAccess.id = ostrel::platform::effectiveUser();
    handler_.transactionHandler->nextRequestId = kFirstId;
  }

  // The values are freed, as those of the transport's answer are.
  void roundTrip() {
    check(handler_.get(&server_, question_.oid, question_.list, nullptr) == 0,
          "get");
    listPointer* end = &question_.list.head;
    for (listPointer* node = end->next; node != end; node = node->next) {
      auto* attribute =
          static_cast<veskAttribute*>(static_cast<veskType*>(node->data));
      delete attribute->value;
      attribute->value = nullptr;
    }
  }

 private:
  Question& question_;
  veskAddress server_{"127.0.0.1"};
  veskQueryHandler handler_;
};

// The argument is the number of attributes.
void getRoundTrips(benchmark::State& state) {
  pinToOneProcessor();
  const int attributes = static_cast<int>(state.range(0));
  const Server server(attributes, kObjectServerPort);
  Question question(attributes, kPrincipal);
  Bare bare(server, question);
  ByHand byHand(server, question);
  Transport transport(server, question);
  Query query(question);
  nanosecondsForEach(bare);
  nanosecondsForEach(byHand);
  nanosecondsForEach(transport);
  nanosecondsForEach(query);
  std::vector<double> queries, toBare, toByHand, toTransport;
  for (auto step : state) {
    static_cast<void>(step);
    const double besideBare = nanosecondsForEach(bare);
    const double besideByHand = nanosecondsForEach(byHand);
    const double besideTransport = nanosecondsForEach(transport);
    queries.push_back(nanosecondsForEach(query));
    toBare.push_back(queries.back() / besideBare);
    toByHand.push_back(queries.back() / besideByHand);
    toTransport.push_back(queries.back() / besideTransport);
  }
  const double each = median(queries);
  state.counters["get_ns"] = each;
  state.counters["gets_per_second"] = 1e9 / each;
  state.counters["to_bare"] = median(toBare);
  state.counters["to_byHand"] = median(toByHand);
  state.counters["to_transport"] = median(toTransport);
}
BENCHMARK(getRoundTrips)
    ->Arg(1)
    ->Arg(10)
    ->Arg(50)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3);

}  // namespace
