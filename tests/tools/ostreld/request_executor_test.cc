#include "requests/request_executor.h"

#include <new>

#include "executor_test.h"
#include "requests/answer_bytes.h"
#include "store/sqlite_store.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

TEST_F(RequestExecutorTest, ARequestThatIsSentAgainIsExecutedOnce) {
  const std::string first = handle(createRequest(1));
  EXPECT_FALSE(first.empty());
  EXPECT_EQ(handle(createRequest(1)), first);
  EXPECT_EQ(objects(), 1U);
}

TEST_F(RequestExecutorTest, AnotherIdSenderOrPortIsAnotherRequest) {
  handle(createRequest(1));
  handle(createRequest(2));
  handle(createRequest(1), addressOf("127.0.0.2", 4000));
  handle(createRequest(1), addressOf("127.0.0.1", 4001));
  EXPECT_EQ(objects(), 4U);
}

TEST_F(RequestExecutorTest, ADuplicateOnTheWayIsExecutedOnce) {
  const std::string first = handle(createRequest(1), 7);
  now += 1ms;
  EXPECT_EQ(handle(createRequest(1), 7), first);
  now += 49ms;
  EXPECT_EQ(handle(createRequest(1), 7), first);
  now += 50ms;
  EXPECT_EQ(handle(createRequest(1), 7), first);
  EXPECT_EQ(objects(), 1U);
}

TEST_F(RequestExecutorTest, RetransmissionsAreExecutedOnce) {
  const std::string first = handle(createRequest(1), 7);
  now += 3s;
  EXPECT_EQ(handle(createRequest(1), 8), first);
  now += 6s;
  EXPECT_EQ(handle(createRequest(1), 9), first);
  now += 51s;
  EXPECT_EQ(handle(createRequest(1), 7 + 32767), first);
  EXPECT_EQ(objects(), 1U);
}

TEST_F(RequestExecutorTest, ARetransmissionAfterAMinuteIsANewRequest) {
  handle(createRequest(1), 7);
  now += 60001ms;
  handle(createRequest(1), 8);
  EXPECT_EQ(objects(), 2U);
}

TEST_F(RequestExecutorTest, ARetransmissionDoesNotHideADuplicateOfTheFirst) {
  const std::string first = handle(createRequest(1), 7);
  now += 20ms;
  EXPECT_EQ(handle(createRequest(1), 8), first);
  now += 20ms;
  EXPECT_EQ(handle(createRequest(1), 7), first);
  now += 3s;
  EXPECT_EQ(handle(createRequest(1), 8), first);
  EXPECT_EQ(objects(), 1U);
}

TEST_F(RequestExecutorTest, ASenderThatBeginsAnewIsANewRequest) {
  handle(createRequest(1), 7);
  now += 300ms;
  handle(createRequest(1), 7);
  EXPECT_EQ(objects(), 2U);
  now += 30s;
  const std::string third = handle(createRequest(1), 7);
  EXPECT_EQ(objects(), 3U);
  // Whose retransmission is a repeat of the last.
  now += 3s;
  EXPECT_EQ(handle(createRequest(1), 8), third);
  EXPECT_EQ(objects(), 3U);
}

TEST_F(RequestExecutorTest, ALowerMessageIdIsANewRequest) {
  handle(createRequest(1), 7);
  handle(createRequest(1), 6);
  EXPECT_EQ(objects(), 2U);
  handle(createRequest(1), 6 + 32768);
  EXPECT_EQ(objects(), 3U);
}

TEST_F(RequestExecutorTest, MessageIdsWrap) {
  const std::string first = handle(createRequest(1), 65535);
  now += 3s;
  EXPECT_EQ(handle(createRequest(1), 0), first);
  EXPECT_EQ(handle(createRequest(1), 254), first);
  EXPECT_EQ(objects(), 1U);
  handle(createRequest(1), 65534);
  EXPECT_EQ(objects(), 2U);
}

TEST_F(RequestExecutorTest, RepeatsAreToldAfterARestartOfTheServer) {
  const std::string first = handle(createRequest(1), 7);
  restart();
  now += 50ms;
  EXPECT_EQ(handle(createRequest(1), 7), first);
  restart();
  now += 3s;
  EXPECT_EQ(handle(createRequest(1), 8), first);
  EXPECT_EQ(objects(), 1U);
  restart();
  handle(createRequest(1), 7);
  EXPECT_EQ(objects(), 2U);
}

TEST_F(RequestExecutorTest, ARepeatIsToldAfterTheCalendarWasSetBackALittle) {
  const std::string first = handle(createRequest(1), 7);
  now -= 2s;
  restart();
  EXPECT_EQ(handle(createRequest(1), 8), first);
  EXPECT_EQ(objects(), 1U);
}

TEST_F(RequestExecutorTest, HandlersThatBeginAnewAreAllExecuted) {
  handle(createRequest(1));
  for (const int each : {1, 2, 1}) {
    now += 101ms;
    handle(setRequest(0, each), 0);
    EXPECT_EQ(value(), "59.200.1 = " + std::to_string(each));
  }
}

// A program that has just begun may have the port of one that has just ended.
TEST_F(RequestExecutorTest, ASenderThatBeginsAnewInABatchIsExecuted) {
  handle(createRequest(1));
  begin(setRequest(0, 1), 5);
  begin(setRequest(0, 2), 6);
  begin(setRequest(0, 1), 4);
  EXPECT_THAT(codes(finish()), ElementsAre(0, 0, 0));
  EXPECT_EQ(value(), "59.200.1 = 1");
  begin(setRequest(0, 3), 5);
  begin(setRequest(0, 3), 5);
  begin(setRequest(0, 3), 6);
  EXPECT_THAT(codes(finish()), ElementsAre(0));
}

TEST_F(RequestExecutorTest, AReadIsNeverAnsweredFromAnOldAnswer) {
  handle(createRequest(1));
  veskOid object("59.200.0.1");
  veskVerifyPDU request(object);
  const std::string bytes = *encoded(request);
  const std::string there = handle(bytes, 7);
  EXPECT_EQ(remove("59.200.0.1"), 0);
  EXPECT_NE(handle(bytes, 7), there);
  EXPECT_NE(handle(bytes, 8), there);
}

TEST_F(RequestExecutorTest, AnswersAreForgottenInTheStore) {
  handle(createRequest(1), 7);
  executor->tick(now + 59s);
  const std::string key = Repeats::keyOf(local(), createRequest(1));
  EXPECT_TRUE(store.answer(key));
  executor->tick(now + 61s);
  EXPECT_FALSE(store.answer(key));
}

TEST_F(RequestExecutorTest, WhatIsNoRequestIsNotAnswered) {
  EXPECT_EQ(handle(""), "");
  EXPECT_EQ(handle("nonsense"), "");
  EXPECT_EQ(handle(std::string("\x03\x00", 2)), "");
  veskVerifyRespPDU response(0);
  EXPECT_EQ(handle(*encoded(response)), "");
  EXPECT_EQ(handle(createRequest(1) + "x"), "");
}

// Requests of this class: a set of 59.200.1 with a list of so many nulls.
std::string setOfNulls(unsigned count) {
  veskOid object("59.200.0.1");
  auto* nulls = newList();
  for (unsigned i = 0; i < count; ++i) nulls->append(new veskType);
  veskSetPDU request(object, with(newList(), "59.200.1", nulls));
  request.requestId.value = 7;
  const std::string bytes = *encoded(request);
  request.clear();
  return bytes;
}

TEST_F(RequestExecutorTest, ARequestWithTooManyValuesIsRefused) {
  executor.emplace(&store, &registrations, &router, &counters,
                   RequestLimits{kLongestAnswer, 10s, 100});
  handle(createRequest(1));
  // The PDU, the attribute and the list are values as well.
  EXPECT_EQ(handle(setOfNulls(97)),
            "\x28\x03\x00\x43\x01\x07\x0A\x00\x80\x43\x00"s);
  EXPECT_EQ(handle(setOfNulls(98)),
            "\x28\x03\x01\x02\x43\x01\x07\x0A\x00\x80\x43\x00"s);
}

TEST_F(RequestExecutorTest, AnswersCarryNoTagsOfStrangers) {
  handle(createRequest(1));
  // A set of 59.200.1 to "abc", whose length has a tag that no class has.
  EXPECT_EQ(handle("\x20\x03\x00\x43\x01\x02\x0A\x00"
                   "\x0A\x01\x01\x3B\x01\xC8\x00\x01\x01\x80\x43\x01\x01"
                   "\x17\x0B\x01\x01\x3B\x01\xC8\x01\x01\x01"
                   "\x09\x8F\x01\x03\x61\x62\x63"s),
            "\x28\x03\x00\x43\x01\x02\x0A\x00\x80\x43\x00"s);
  EXPECT_EQ(handle("\x1F\x03\x00\x43\x01\x03\x0A\x00"
                   "\x0A\x01\x01\x3B\x01\xC8\x00\x01\x01\x80\x43\x00"s),
            "\x27\x03\x00\x43\x01\x03\x0A\x00\x80\x43\x00"
            "\x80\x43\x01\x01\x17\x0B\x01\x01\x3B\x01\xC8\x01\x01\x01"
            "\x09\x43\x01\x03\x61\x62\x63"s);
}

TEST_F(RequestExecutorTest, AnAnswerThatIsTooLongBecomesAnError) {
  const std::string longText(kLongestAnswer, 'x');
  const std::string oid =
      created("59.200.0.0",
              with(newList(), "59.200.1", new veskString(longText.c_str())));
  veskOid object(oid.c_str());
  veskGetPDU request(object, newList());
  request.requestId.value = 5;
  const auto answer = decoded(handle(*encoded(request)));
  request.clear();
  auto* response = dynamic_cast<veskGetRespPDU*>(answer.get());
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(response->status.value, kInternalError);
  EXPECT_EQ(response->requestId.value, 5U);
}

TEST_F(RequestExecutorTest, AChangeWhoseAnswerIsTooLongIsNotMade) {
  const std::string oid =
      created("59.200.0.0", with(newList(), "59.200.1", new veskInt(1)));
  veskOid object(oid.c_str());
  auto* list = with(newList(), "59.200.1", new veskInt(2));
  // Each of these gives an error.
  for (std::size_t i = 0; i < kLongestAnswer; ++i) list->append(new veskType);
  veskSetPDU request(object, list);
  const auto answer = decoded(handle(*encoded(request)));
  request.clear();
  EXPECT_EQ(dynamic_cast<veskPDU&>(*answer).status.value, kInternalError);
  EXPECT_EQ(texts(*get(oid)->list), std::vector<std::string>{"59.200.1 = 1"});
}

TEST_F(RequestExecutorTest,
       AFailureOfTheStoreIsADatabaseErrorAndChangesNothing) {
  store.noMoreObjects = true;
  const auto answer = decoded(handle(createRequest(1)));
  auto* response = dynamic_cast<veskCreateRespPDU*>(answer.get());
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(response->status.value, kDatabaseError);
  store.noMoreObjects = false;
  // The failure is not what the request is answered with for ever.
  EXPECT_EQ(objects(), 0U);
  handle(createRequest(1));
  EXPECT_EQ(objects(), 1U);
}

TEST_F(RequestExecutorTest, AChangeThatWasNotKeptRaisesNoEvent) {
  watch();
  store.noMoreAnswers = true;
  handle(createRequest(1));
  EXPECT_THAT(registrations.takeOutgoing(), IsEmpty());
  EXPECT_EQ(objects(), 0U);
  store.noMoreAnswers = false;
  handle(createRequest(1));
  EXPECT_THAT(registrations.takeOutgoing(), SizeIs(1));
}

TEST_F(RequestExecutorTest, AnswersToABatchComeWhenItIsKept) {
  begin(createRequest(1));
  begin(createRequest(2));
  EXPECT_TRUE(executor->inBatch());
  EXPECT_THAT(answers(), IsEmpty());
  EXPECT_THAT(codes(finish()), ElementsAre(0, 0));
  EXPECT_FALSE(executor->inBatch());
  EXPECT_EQ(objects(), 2U);
}

TEST_F(RequestExecutorTest, ReadsWaitForChangesBeforeThemAlone) {
  begin(verifyRequest(1, "59.200.0.1"));
  EXPECT_THAT(codes(answers()), ElementsAre(kNoSuchName));
  begin(createRequest(2));
  begin(verifyRequest(3, "59.200.0.1"));
  EXPECT_THAT(answers(), IsEmpty());
  EXPECT_THAT(codes(finish()), ElementsAre(0, 0));
}

TEST_F(RequestExecutorTest, WhatFailsInABatchSpoilsNothingElse) {
  begin(createRequest(1));
  store.noMoreObjects = true;
  begin(createRequest(2));
  store.noMoreObjects = false;
  begin(createRequest(3));
  EXPECT_THAT(codes(finish()), UnorderedElementsAre(0, kDatabaseError, 0));
  EXPECT_EQ(objects(), 2U);
  EXPECT_EQ(counters.value(Counter::kStoreErrors), 1U);
}

TEST_F(RequestExecutorTest, WhatIsRefusedInABatchLeavesNoTrace) {
  handle(createRequest(1));
  watch();
  store.noMoreAnswers = true;
  begin(createRequest(2));
  store.noMoreAnswers = false;
  begin(createRequest(3));
  EXPECT_THAT(codes(finish()), UnorderedElementsAre(0, kDatabaseError));
  // The number of the one that failed is given again.
  EXPECT_EQ(verify("59.200.0.2"), 0);
  EXPECT_EQ(verify("59.200.0.3"), kNoSuchName);
  EXPECT_THAT(registrations.takeOutgoing(), SizeIs(1));
}

TEST_F(RequestExecutorTest, ABatchThatIsNotKeptIsADatabaseErrorForAll) {
  watch();
  begin(createRequest(1));
  begin(verifyRequest(2, "59.200.0.1"));
  begin(createRequest(3));
  store.noMoreCommits = true;
  EXPECT_THAT(codes(finish()),
              ElementsAre(kDatabaseError, kDatabaseError, kDatabaseError));
  store.noMoreCommits = false;
  EXPECT_THAT(registrations.takeOutgoing(), IsEmpty());
  EXPECT_EQ(objects(), 0U);
  EXPECT_THAT(codes({handle(createRequest(1))}), ElementsAre(0));
  EXPECT_EQ(objects(), 1U);
}

TEST_F(RequestExecutorTest, ARepeatInItsOwnBatchIsAnsweredOnce) {
  begin(createRequest(1), 7);
  begin(createRequest(1), 7);
  begin(createRequest(1), 8);
  EXPECT_THAT(finish(), SizeIs(1));
  EXPECT_EQ(objects(), 1U);
  EXPECT_EQ(counters.value(Counter::kRepeats), 2U);
}

TEST_F(RequestExecutorTest, ARepeatOfAFormerBatchDoesNotFailWithThePresent) {
  const std::string first = handle(createRequest(1), 7);
  begin(createRequest(2), 8);
  begin(createRequest(1), 9);
  EXPECT_THAT(answers(), ElementsAre(first));
  store.noMoreCommits = true;
  EXPECT_THAT(codes(finish()), ElementsAre(kDatabaseError));
}

TEST_F(RequestExecutorTest, ABatchEndsBeforeItHoldsTooMuch) {
  const std::string text(1 << 20, 'x');
  veskOid oid("59.200.0.0");
  for (unsigned i = 0; i < 16; ++i) {
    veskCreatePDU request(
        oid, with(newList(), "59.200.1", new veskString(text.c_str())));
    request.requestId.value = i;
    begin(*encoded(request));
    request.clear();
  }
  EXPECT_FALSE(executor->inBatch());
  EXPECT_THAT(answers(), SizeIs(16));
}

class MemoryTest : public RequestExecutorTest {
 protected:
  // Writes, and then has no memory left.
  class Forgetful : public StoredObjects {
   public:
    using StoredObjects::StoredObjects;
    std::vector<veskOid> classes() override { return {veskOid("59.300")}; }
    int create(const Asker& asker, veskOid& classOid, veskList& attributes,
               veskOid* made, veskList* errors) override {
      StoredObjects::create(asker, classOid, attributes, made, errors);
      throw std::bad_alloc();
    }
  };
  MemoryTest() : forgetful(&store) { router.add(&forgetful); }

  Forgetful forgetful;
};

TEST_F(MemoryTest, RunningOutOfMemoryCostsOneRequest) {
  veskOid oid("59.300.0.0");
  veskCreatePDU request(oid, newList());
  request.requestId.value = 2;
  const std::string bytes = *encoded(request);
  request.clear();
  begin(createRequest(1));
  begin(bytes);
  begin(createRequest(3));
  EXPECT_THAT(codes(finish()), UnorderedElementsAre(0, kInternalError, 0));
  EXPECT_EQ(counters.value(Counter::kOutOfMemory), 1U);
  EXPECT_EQ(verify("59.200.0.2"), 0);
  EXPECT_FALSE(store.has(veskOid("59.300.0.1")));
}

// Some failures make SQLite undo more than the savepoint.
TEST(RequestsAndAFullDisk, NothingIsAcknowledgedThatWasNotMade) {
  SqliteStore store(kInMemory);
  StoredObjects objects(&store);
  FakeClock clock;
  Registrations registrations(&objects, &clock);
  RequestRouter router(&objects, &registrations, Policy());
  Counters counters;
  RequestExecutor executor(&store, &registrations, &router, &counters, {});
  const std::int64_t pages = store.database().number("PRAGMA page_count");
  const std::string limit =
      "PRAGMA max_page_count = " + std::to_string(pages + 40);
  store.database().execute(limit.c_str());
  const std::string text(20000, 'x');
  veskOid classOid("59.200.0.0");
  const auto now = std::chrono::steady_clock::now();
  for (unsigned i = 0; i < 20; ++i) {
    auto* list = newList();
    // Every third one is long.
    if (i % 3 == 2) with(list, "59.200.1", new veskString(text.c_str()));
    veskCreatePDU request(classOid, list);
    request.requestId.value = i;
    Message message = {local(), static_cast<std::uint16_t>(i),
                       *encoded(request)};
    request.clear();
    executor.handle(message, now);
  }
  executor.finishBatch();
  std::size_t made = 0;
  std::size_t failed = 0;
  for (const Answer& answer : executor.takeAnswers()) {
    const auto pdu = decoded(answer.bytes);
    auto& response = dynamic_cast<veskCreateRespPDU&>(*pdu);
    (response.status.value == kDatabaseError ? failed : made)++;
    EXPECT_EQ(store.has(response.oid), response.status.value == 0);
  }
  EXPECT_EQ(made + failed, 20U);
  EXPECT_GT(failed, 0U);
  EXPECT_EQ(store.objects(classOid).size(), made);
}

TEST(RefusalBytes, TellAnUndecodedRequestByItsFirstBytes) {
  const std::string request("\x21\x03\x00\x43\x01\x05\x0A\x00 and more", 17);
  const auto answer = decoded(refusalBytes(request, kInternalError));
  auto* refused = dynamic_cast<veskSearchRespPDU*>(answer.get());
  ASSERT_NE(refused, nullptr);
  EXPECT_EQ(refused->requestId.value, 5U);
  EXPECT_EQ(refused->status.value, kInternalError);
  for (std::size_t i = 0; i < 6; ++i)
    EXPECT_EQ(refusalBytes(request.substr(0, i), kInternalError), "") << i;
  EXPECT_EQ(refusalBytes("\x29" + request.substr(1), kInternalError), "");
}

}  // namespace
}  // namespace ostrel::tools::server
