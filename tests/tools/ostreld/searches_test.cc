#include "requests/searches.h"

#include <new>

#include "executor_test.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class SearchesTest : public RequestExecutorTest {
 protected:
  // Takes a moment for each object that is looked at.
  class Slow : public ObjectManager {
   public:
    std::vector<veskOid> classes() override { return {veskOid("59.300")}; }
    int list(veskOid&, veskList* oids) override {
      for (unsigned i = 1; i <= count; ++i) {
        auto* oid = new veskOid("59.300.0.0");
        oid->component[3] = i;
        oids->append(oid);
      }
      return 0;
    }
    int read(veskOid&, veskList*) override {
      if (noMemory) throw std::bad_alloc();
      const auto end = std::chrono::steady_clock::now() + 1ms;
      while (std::chrono::steady_clock::now() < end) {
      }
      return 0;
    }
    unsigned count = 20;
    bool noMemory = false;
  };
  SearchesTest() { router.add(&slow); }

  // One that finds nothing in the slow class.
  static std::string slowSearch(unsigned id) {
    return searchRequest(id, "59.300",
                         condition(newList(), "59.300.1", nullptr, 7));
  }
  static std::string searchRequest(unsigned id, const char* where,
                                   veskList* conditions) {
    veskOid oid(where);
    veskSearchPDU request(oid, conditions, 1U);
    request.requestId.value = id;
    const std::string bytes = *encoded(request);
    request.clear();
    return bytes;
  }
  // A turn of so many milliseconds.
  bool work(int milliseconds) {
    return executor->work(std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(milliseconds));
  }
  static std::vector<std::string> found(const std::string& answer) {
    return texts(*dynamic_cast<veskSearchRespPDU&>(*decoded(answer)).list);
  }

  Slow slow;
};

TEST_F(SearchesTest, AnAnswerIsWhatTheWholePDUEncodes) {
  for (unsigned i = 1; i <= 3; ++i) handle(createRequest(i));
  for (const char* where : {"59.200", "59.400", "59.200.0.2", "0.0.0.0"}) {
    slow.count = 1;
    const std::string bytes = searchRequest(9, where, newList());
    const auto request = decoded(bytes);
    auto& pdu = dynamic_cast<veskSearchPDU&>(*request);
    const auto whole = router.answer(*kindOf(pdu), pdu, local());
    EXPECT_EQ(handle(bytes), encoded(*whole)) << where;
  }
}

TEST_F(SearchesTest, OthersAreAnsweredWhileASearchGoesOn) {
  begin(slowSearch(1));
  EXPECT_TRUE(work(5));
  begin(verifyRequest(2, "59.200.0.1"));
  EXPECT_THAT(codes(answers()), ElementsAre(kNoSuchName));
  EXPECT_TRUE(work(5));
  EXPECT_FALSE(work(1000));
  EXPECT_THAT(codes(answers()), ElementsAre(0));
}

TEST_F(SearchesTest, AShortSearchDoesNotWaitForLongOnes) {
  begin(slowSearch(1));
  begin(slowSearch(2));
  EXPECT_TRUE(work(2));
  begin(searchRequest(3, "59.200", newList()));
  EXPECT_TRUE(work(2));
  EXPECT_THAT(answers(), SizeIs(1));
}

TEST_F(SearchesTest, ASearchThatIsAskedAgainIsAnsweredOnce) {
  begin(slowSearch(1), 7);
  EXPECT_TRUE(work(2));
  begin(slowSearch(1), 8);
  EXPECT_FALSE(work(1000));
  EXPECT_THAT(answers(), SizeIs(1));
  EXPECT_EQ(counters.value(Counter::kRepeats), 1U);
}

TEST_F(SearchesTest, ASearchBeyondItsBudgetIsGivenUp) {
  budget = 3ms;
  restart();
  begin(slowSearch(1));
  while (work(1)) {
  }
  EXPECT_THAT(codes(answers()), ElementsAre(kInternalError));
  EXPECT_EQ(counters.value(Counter::kOutOfTime), 1U);
}

TEST_F(SearchesTest, ASearchWithoutMemoryCostsNoOther) {
  slow.noMemory = true;
  handle(createRequest(1));
  begin(slowSearch(2));
  begin(searchRequest(3, "59.200", newList()));
  EXPECT_THAT(codes(finish()), UnorderedElementsAre(kInternalError, 0));
  EXPECT_EQ(counters.value(Counter::kOutOfMemory), 1U);
}

TEST_F(SearchesTest, SearchesUnderWayAreBounded) {
  for (unsigned i = 0; i < Searches::kMostOfOne + 1; ++i) begin(slowSearch(i));
  EXPECT_EQ(counters.value(Counter::kOverRate), 1U);
  for (unsigned i = 0; i < Searches::kMostOfOne + 1; ++i)
    begin(slowSearch(i), 0, remote());
  EXPECT_EQ(counters.value(Counter::kOverRate), 2U);
  begin(slowSearch(1), 0, addressOf("192.0.2.8", 4000));
  EXPECT_EQ(counters.value(Counter::kOverRate), 3U);
}

TEST_F(SearchesTest, ASearchThatFindsMoreThanAnAnswerHoldsIsGivenUp) {
  slow.count = 1000;
  begin(searchRequest(1, "59.300", newList()));
  EXPECT_THAT(codes(finish()), ElementsAre(kTooManyResults));
}

TEST_F(SearchesTest, ASearchSeesEachObjectAsItIsWhenItComesToIt) {
  for (unsigned i = 1; i <= 3; ++i) handle(createRequest(i));
  begin(searchRequest(9, "59.200", newList()));
  EXPECT_EQ(remove("59.200.0.2"), 0);
  EXPECT_FALSE(work(1000));
  const auto answer = answers();
  ASSERT_THAT(answer, SizeIs(1));
  EXPECT_THAT(found(answer[0]), ElementsAre("59.200.0.1", "59.200.0.3"));
}

}  // namespace
}  // namespace ostrel::tools::server
