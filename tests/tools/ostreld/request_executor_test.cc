#include "requests/request_executor.h"

#include <new>
#include <optional>

#include "requests/answer_bytes.h"
#include "requests/answer_cache.h"
#include "server_test.h"
#include "store/sqlite_store.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using namespace std::chrono_literals;
using namespace std::string_literals;

constexpr std::size_t kLongestAnswer = 2000;

class RequestExecutorTest : public ServerTest {
 protected:
  RequestExecutorTest() { restart(); }

  static std::string createRequest(unsigned id) {
    veskOid oid("59.200.0.0");
    veskCreatePDU request(oid, newList());
    request.requestId.value = id;
    const std::string bytes = *encoded(request);
    request.clear();
    return bytes;
  }

  // A program's next message, unless its id is given.
  static std::string setRequest(unsigned id, int value) {
    veskOid oid("59.200.0.1");
    veskSetPDU request(oid, with(newList(), "59.200.1", new veskInt(value)));
    request.requestId.value = id;
    const std::string bytes = *encoded(request);
    request.clear();
    return bytes;
  }

  std::string handle(const std::string& bytes, sockaddr_in from = local()) {
    return handle(bytes, nextMessage++, from);
  }
  std::string handle(const std::string& bytes, std::uint16_t id,
                     sockaddr_in from = local()) {
    begin(bytes, id, from);
    const std::vector<std::string> answers = finish();
    EXPECT_LE(answers.size(), 1U);
    return answers.empty() ? "" : answers[0];
  }

  // A message of a batch, and the answers when that is over.
  void begin(const std::string& bytes, std::uint16_t id,
             sockaddr_in from = local()) {
    Message message = {from, id, bytes};
    executor->handle(message, now);
  }
  void begin(const std::string& bytes) { begin(bytes, nextMessage++); }
  std::vector<std::string> finish() {
    executor->finishBatch();
    while (executor->work(now + 1h)) {
    }
    return answers();
  }
  std::vector<std::string> answers() {
    std::vector<std::string> result;
    for (Answer& each : executor->takeAnswers())
      result.push_back(std::move(each.bytes));
    return result;
  }
  static std::vector<int> codes(const std::vector<std::string>& answers) {
    std::vector<int> result;
    for (const std::string& each : answers)
      result.push_back(dynamic_cast<veskPDU&>(*decoded(each)).status.value);
    return result;
  }
  static std::string verifyRequest(unsigned id, const char* object) {
    veskOid oid(object);
    veskVerifyPDU request(oid);
    request.requestId.value = id;
    return *encoded(request);
  }

  // Has 59.6 tell 127.0.0.1:9000 of new objects of 59.200.
  void watch() {
    auto* list = with(newList(), "59.6.1", new veskOid("59.200"));
    with(list, "59.6.2", new veskAid(kEventCreated));
    with(list, "59.6.3", new veskAddress("127.0.0.1"));
    with(list, "59.6.4", new veskUnsignedShort(9000));
    ASSERT_NE(created("59.6.0.0", list), "");
  }

  void restart() {
    executor.emplace(&store, &registrations, &router, &counters,
                     RequestLimits{kLongestAnswer, budget});
  }

  std::size_t objects() {
    return texts(*search("59.200", newList())->list).size();
  }

  // The value of 59.200.1 in 59.200.0.1.
  std::string value() { return texts(*get("59.200.0.1")->list).at(0); }

  RequestExecutor::Time now = std::chrono::steady_clock::now();
  std::uint16_t nextMessage = 0;
  Counters counters;
  std::chrono::milliseconds budget{10000};
  std::optional<RequestExecutor> executor;
};

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

// A policy that tells everything apart: 192.0.2.0/24 may read, 127.0.0.0/8 may
// change in the name of one principal.
class PolicedTest : public RequestExecutorTest {
 protected:
  PolicedTest() {
    Policy policy = Policy::writers({"59.110.1.1000"});
    policy.allow({*parseNetwork("192.0.2.0/24")});
    policy.allowWrite({*parseNetwork("127.0.0.0/8")});
    policed.emplace(&stored, &registrations, policy);
    executor.emplace(&store, &registrations, &*policed, &counters,
                     RequestLimits{kLongestAnswer, budget});
  }
  static std::string createBy(const char* principal) {
    veskOid oid("59.200.0.0");
    veskCreatePDU request(oid, newList());
    request.principal.set(principal);
    const std::string bytes = *encoded(request);
    request.clear();
    return bytes;
  }
  std::optional<RequestRouter> policed;
};

TEST_F(PolicedTest, WhoMayNotReadIsNotAnswered) {
  const sockaddr_in stranger = addressOf("198.51.100.1", 4000);
  EXPECT_EQ(handle(verifyRequest(1, "59.200.0.1"), stranger), "");
  EXPECT_EQ(counters.value(Counter::kReadingRefused), 1U);
  EXPECT_NE(handle(verifyRequest(1, "59.200.0.1"), remote()), "");
  EXPECT_NE(handle(verifyRequest(1, "59.200.0.1"), local()), "");
}

TEST_F(PolicedTest, WhoMayNotChangeIsToldSo) {
  const auto code = [&](const char* principal, const sockaddr_in& from) {
    return codes({handle(createBy(principal), from)})[0];
  };
  EXPECT_EQ(code("59.110.1.1000", remote()), kPermissionDenied);
  EXPECT_EQ(code("59.110.1.1001", local()), kPermissionDenied);
  EXPECT_EQ(counters.value(Counter::kChangesRefused), 2U);
  EXPECT_EQ(code("59.110.1.1000", local()), 0);
  EXPECT_FALSE(executor->inBatch());
}

// The log leaves out lines that other tests wrote a moment ago.
TEST_F(PolicedTest, ARefusalIsLoggedOnceInTenSecondsForEachAddress) {
  testing::internal::CaptureStderr();
  handle(createBy("59.110.1.2001"));
  handle(createBy("59.110.1.2002"));
  handle(createBy("59.110.1.2000"), remote());
  now += 10s;
  handle(createBy("59.110.1.2003"));
  handle(verifyRequest(1, "59.200.0.1"), addressOf("198.51.100.1", 4001));
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_THAT(log, HasSubstr("refused create 59.200.0.0 by 127.0.0.1:4000 as "
                             "59.110.1.2001: 5(Permission Denied)\n"));
  EXPECT_THAT(log, Not(HasSubstr("59.110.1.2002")));
  EXPECT_THAT(log, HasSubstr("by 192.0.2.7:4000 as 59.110.1.2000: 5"));
  EXPECT_THAT(log, HasSubstr("as 59.110.1.2003: 5(Permission Denied) "
                             "(1 more before)\n"));
  EXPECT_THAT(log, HasSubstr("refused verify 59.200.0.1 by 198.51.100.1:4001 "
                             "as Invalid: dropped\n"));
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
  EXPECT_THAT(codes(finish()), ElementsAre(kInternalError));
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

TEST(AnswerCacheTest, DropsTheOldestBeyondItsBound) {
  AnswerCache cache;
  const AnswerCache::Time now{};
  const std::string half(AnswerCache::kMostBytes / 2, 'x');
  cache.keep("first", half, now);
  cache.keep("second", half, now);
  EXPECT_EQ(cache.find("first", now), nullptr);
  ASSERT_NE(cache.find("second", now), nullptr);
  EXPECT_LE(cache.bytes(), AnswerCache::kMostBytes);
}

}  // namespace
}  // namespace ostrel::tools::server
