#include "requests/request_executor.h"

#include "net/rate_limit.h"
#include "server_test.h"

namespace ostrel::tools::server {
namespace {

using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

constexpr std::size_t kLongestAnswer = 2000;

class RequestExecutorTest : public ServerTest {
 protected:
  RequestExecutorTest()
      : executor(&store, &registrations, &router, kLongestAnswer) {}

  static std::string createRequest(unsigned id) {
    veskOid oid("59.200.0.0");
    veskCreatePDU request(oid, newList());
    request.requestId.value = id;
    const std::string bytes = *encoded(request);
    request.clear();
    return bytes;
  }

  std::string handle(const std::string& bytes, sockaddr_in from = local()) {
    return executor.handle(from, bytes, now);
  }

  std::size_t objects() {
    return texts(*search("59.200", newList())->list).size();
  }

  AnswerCache::Time now = std::chrono::steady_clock::now();
  RequestExecutor executor;
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

TEST_F(RequestExecutorTest, AnswersAreForgottenAfterAWhile) {
  handle(createRequest(1));
  now += 59s;
  handle(createRequest(1));
  EXPECT_EQ(objects(), 1U);
  now += 3s;
  handle(createRequest(1));
  EXPECT_EQ(objects(), 2U);
}

TEST_F(RequestExecutorTest, ARequestIsNotExecutedAgainAfterARestart) {
  const std::string first = handle(createRequest(1));
  RequestExecutor restarted(&store, &registrations, &router, kLongestAnswer);
  EXPECT_EQ(restarted.handle(local(), createRequest(1), now), first);
  EXPECT_EQ(objects(), 1U);
}

TEST_F(RequestExecutorTest, OtherAnswersDoNotPushOutTheAnswerToAChange) {
  const std::string first = handle(createRequest(1));
  veskOid object("59.200.0.1");
  veskVerifyPDU request(object);
  for (unsigned i = 0; i < AnswerCache::kMostBytes / AnswerCache::kEntryBytes;
       ++i) {
    request.requestId.value = i;
    handle(*encoded(request));
  }
  EXPECT_EQ(handle(createRequest(1)), first);
  EXPECT_EQ(objects(), 1U);
}

TEST_F(RequestExecutorTest, WhatIsNoRequestIsNotAnswered) {
  EXPECT_EQ(handle(""), "");
  EXPECT_EQ(handle("nonsense"), "");
  EXPECT_EQ(handle(std::string("\x03\x00", 2)), "");
  veskVerifyRespPDU response(0);
  EXPECT_EQ(handle(*encoded(response)), "");
  EXPECT_EQ(handle(createRequest(1) + "x"), "");
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
  auto* list = with(newList(), "59.6.1", new veskOid("59.200"));
  with(list, "59.6.2", new veskAid(kEventCreated));
  with(list, "59.6.3", new veskAddress("127.0.0.1"));
  with(list, "59.6.4", new veskUnsignedShort(9000));
  ASSERT_NE(created("59.6.0.0", list), "");
  store.noMoreAnswers = true;
  handle(createRequest(1));
  EXPECT_THAT(registrations.takeOutgoing(), IsEmpty());
  EXPECT_EQ(objects(), 0U);
  store.noMoreAnswers = false;
  handle(createRequest(1));
  EXPECT_THAT(registrations.takeOutgoing(), SizeIs(1));
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

TEST(RateLimitTest, LetsABurstThroughAndThenTheRate) {
  RateLimit limit(10);
  RateLimit::Time now{};
  const in_addr sender = remote().sin_addr;
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(limit.allows(sender, now));
  EXPECT_FALSE(limit.allows(sender, now));
  EXPECT_TRUE(limit.allows(local().sin_addr, now));
  now += 100ms;
  EXPECT_TRUE(limit.allows(sender, now));
  EXPECT_FALSE(limit.allows(sender, now));
}

TEST(RateLimitTest, LongAnswersCostMore) {
  RateLimit limit(10);
  RateLimit::Time now{};
  const in_addr sender = remote().sin_addr;
  EXPECT_TRUE(limit.allows(sender, now));
  limit.charge(sender, 1456 * 19);
  EXPECT_FALSE(limit.allows(sender, now));
  now += 1s;
  EXPECT_FALSE(limit.allows(sender, now));
  now += 200ms;
  EXPECT_TRUE(limit.allows(sender, now));
}

TEST(RateLimitTest, ZeroIsNoLimit) {
  RateLimit limit(0);
  for (int i = 0; i < 1000; ++i)
    EXPECT_TRUE(limit.allows(remote().sin_addr, {}));
}

}  // namespace
}  // namespace ostrel::tools::server
