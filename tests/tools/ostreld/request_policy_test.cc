// Who is answered, who may change, and what the log says of the others.

#include "executor_test.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

using testing::HasSubstr;
using testing::Not;

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

TEST_F(PolicedTest, ARefusalIsLoggedOnceInTenSecondsForEachAddress) {
  logRepeats();  // what other tests were refused
  testing::internal::CaptureStderr();
  handle(createBy("59.110.1.2001"));
  handle(createBy("59.110.1.2002"));
  handle(createBy("59.110.1.2000"), remote());
  handle(verifyRequest(1, "59.200.0.1"), addressOf("198.51.100.1", 4001));
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_THAT(log, HasSubstr("refused 127.0.0.1:4000 as 59.110.1.2001: create "
                             "59.200.0.0: 5(Permission Denied)\n"));
  EXPECT_THAT(log, Not(HasSubstr("59.110.1.2002")));
  EXPECT_THAT(log, HasSubstr("refused 192.0.2.7:4000 as 59.110.1.2000: "
                             "create 59.200.0.0: 5"));
  EXPECT_THAT(log, HasSubstr("refused 198.51.100.1:4001: verify 59.200.0.1: "
                             "dropped\n"));
}

}  // namespace
}  // namespace ostrel::tools::server
