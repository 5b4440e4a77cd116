#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/access.h>

#include <cerrno>
#include <limits>
#include <string>

#include "support/bytes.h"
#include "support/hex_pieces.h"
#include "support/servers.h"

namespace {

using fake::answer;
using fake::both;
using fake::Call;
using fake::delayed;
using ostrel::test::textOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr int kNoError = 0;
constexpr int kArgListError = -1;
constexpr int kNetworkError = 10;
constexpr int kCodingError = 11;

// The principal object 59.110.0.9 names the principal 59.110.1.1.
const char kFound[] = "29" SUCCESS NONE ONE PRINCIPAL_OBJECT;
const char kNamed[] = "27" SUCCESS NONE ONE PRINCIPAL;

class PrincipalLookup : public ::testing::Test {
 protected:
  PrincipalLookup() : system((fake::platform().reset(), fake::platform())) {
    socket = handler.open();
  }
  ~PrincipalLookup() override {
    EXPECT_EQ(handler.pending.count, 0U);
    EXPECT_EQ(handler.initialTimeout, 3);
    EXPECT_EQ(handler.retries, 2);
  }

  int lookUp(long id = 1000) {
    return getPrincipalOid(id, &result, 0, &handler, socket);
  }

  fake::Platform& system;
  veskTransactionHandler handler;
  int socket = -1;
  veskOid result{"1.2.3.4"};
  fake::Server server{"127.0.0.1", fake::kObjectPort};
};

TEST_F(PrincipalLookup, FindsWhatThePrincipalObjectNames) {
  server.then(kFound).then(kNamed);
  EXPECT_EQ(lookUp(), kNoError);
  EXPECT_EQ(textOf(result), "59.110.1.1");
}

TEST_F(PrincipalLookup, SearchesThenReadsAllAttributes) {
  server.then(kFound).then(kNamed);
  lookUp();
  ASSERT_THAT(server.requests, SizeIs(2));
  EXPECT_EQ(server.requests[0].pdu,
            "21 03 00 43 00 0A 00 "
            "0A 01 01 3B 01 6E 00 00 "  // 59.110.0.0
            "80 43 01 01 "
            "18 0B 01 01 3B 01 6E 01 02 01 03 02 03 E8 01 01 "  // op 1
            "07 01 01");
  EXPECT_EQ(server.requests[1].pdu,
            "1F 03 00 43 01 01 0A 00 "
            "0A 01 01 3B 01 6E 00 01 09 80 43 00");
  for (const fake::Datagram& datagram : system.sent)
    EXPECT_EQ(fake::text(datagram.to), "127.0.0.1:5135");
}

TEST_F(PrincipalLookup, SearchesForTheLow32BitsOfTheUserId) {
  struct {
    long id;
    const char* bytes;
  } const rows[] = {
      {0, " 03 00 "},
      {-2, " 03 04 FF FF FF FE "},
      {2147483647L, " 03 04 7F FF FF FF "},
      {static_cast<long>(0xfffffffeUL), " 03 04 FF FF FF FE "},
  };
  for (const auto& row : rows) {
    server.then("29" SUCCESS NONE NONE);
    EXPECT_EQ(lookUp(row.id), kNoError);
    EXPECT_NE(server.requests.back().pdu.find(row.bytes), std::string::npos)
        << server.requests.back().pdu;
  }
  if (std::numeric_limits<long>::digits > 32) {
    server.then("29" SUCCESS NONE NONE);
    lookUp(std::numeric_limits<long>::max() - 1);
    EXPECT_NE(server.requests.back().pdu.find(" 03 04 FF FF FF FE "),
              std::string::npos);
  }
}

TEST_F(PrincipalLookup, TakesTheValueOfAnAttributeToo) {
  server.then(kFound).then(
      "27" SUCCESS NONE " 80 43 01 01 17 0B 01 01 3B 01 6E 01 01 01" PRINCIPAL);
  EXPECT_EQ(lookUp(), kNoError);
  EXPECT_EQ(textOf(result), "59.110.1.1");
}

TEST_F(PrincipalLookup, TakesTheObjectItselfWhenNothingElseIsNamed) {
  const char* const lists[] = {
      NONE,
      " 80 43 01 02 03 01 05" PRINCIPAL,       // the first counts
      " 80 43 01 01 17 0B 00 00",              // no value
      " 80 43 01 01 17 0B 00 01 03 01 05",     // another value
      " 80 43 01 01 80 43 01 01" PRINCIPAL,    // inside a list
      " 80 43 01 01 0B 01 01 3B 01 6E 01 02",  // no object
  };
  for (const char* list : lists) {
    result = "1.2.3.4";
    server.then(kFound).then(answer(std::string("27" SUCCESS NONE) + list));
    EXPECT_EQ(lookUp(), kNoError) << list;
    EXPECT_EQ(textOf(result), "59.110.0.9") << list;
  }
}

TEST_F(PrincipalLookup, OfAUserWithoutOneIsNoErrorAndChangesNothing) {
  const char* const lists[] = {
      NONE,
      " 80 43 01 01 03 01 05",
      " 80 43 01 02 03 01 05" PRINCIPAL_OBJECT,
  };
  for (const char* list : lists) {
    server.then(answer(std::string("29" SUCCESS NONE) + list));
    EXPECT_EQ(lookUp(), kNoError) << list;
    EXPECT_EQ(textOf(result), "1.2.3.4") << list;
  }
  EXPECT_THAT(server.requests, SizeIs(3));
}

TEST_F(PrincipalLookup, IsSentOnceAndGivenUpAfter30Seconds) {
  const std::int64_t began = system.clock;
  EXPECT_EQ(lookUp(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(system.clock - began, 30 * fake::Platform::kSecond);
  EXPECT_THAT(server.times(), ElementsAre(0));
  EXPECT_EQ(textOf(result), "1.2.3.4");
}

TEST_F(PrincipalLookup, PutsBackWhateverTimeoutsTheHandlerHad) {
  handler.initialTimeout = 7;
  handler.retries = 1;
  lookUp();
  EXPECT_EQ(handler.initialTimeout, 7);
  EXPECT_EQ(handler.retries, 1);
  handler.initialTimeout = 3;
  handler.retries = 2;
}

TEST_F(PrincipalLookup, ReturnsTheStatusOfTheSearch) {
  server.then("29" REFUSED NONE NONE).then("29" PARTIAL NONE NONE);
  EXPECT_EQ(lookUp(), 5);
  EXPECT_EQ(lookUp(), kArgListError);
  EXPECT_EQ(textOf(result), "1.2.3.4");
  EXPECT_THAT(server.requests, SizeIs(2));
}

TEST_F(PrincipalLookup, TakesNoAnswerOfAnotherClassForTheSearch) {
  server.then("27" SUCCESS NONE ONE PRINCIPAL_OBJECT);
  EXPECT_EQ(lookUp(), kCodingError);
  EXPECT_EQ(textOf(result), "1.2.3.4");
}

TEST_F(PrincipalLookup, WithoutAnAnswerToTheGetHasTheObject) {
  server.then(kFound);
  EXPECT_EQ(lookUp(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(textOf(result), "59.110.0.9");
  EXPECT_THAT(server.times(), ElementsAre(0, 0));
}

TEST_F(PrincipalLookup, ReturnsTheStatusOfTheGetWithTheObject) {
  server.then(kFound)
      .then("27" REFUSED NONE ONE PRINCIPAL)
      .then(kFound)
      .then("27" PARTIAL NONE ONE PRINCIPAL);
  EXPECT_EQ(lookUp(), 5);
  EXPECT_EQ(textOf(result), "59.110.0.9");
  result = "1.2.3.4";
  EXPECT_EQ(lookUp(), kArgListError);
  EXPECT_EQ(textOf(result), "59.110.0.9");
}

TEST_F(PrincipalLookup, TakesNoAnswerOfAnotherClassForTheGet) {
  server.then(kFound).then(kFound);
  EXPECT_EQ(lookUp(), kCodingError);
  EXPECT_EQ(textOf(result), "59.110.0.9");
}

TEST_F(PrincipalLookup, WaitsOnAfterWhatAnswersNothing) {
  server.then(both(answer("29 03 00 43 01 63 0A 00" NONE ONE PRINCIPAL_OBJECT),
                   both(answer("03 01 05"), answer(kFound))));
  server.then(delayed(25, answer(kNamed)));
  EXPECT_EQ(lookUp(), kNoError);
  EXPECT_EQ(textOf(result), "59.110.1.1");
}

TEST_F(PrincipalLookup, FailsWhenSendingFails) {
  system.failNext(Call::kSend, ENETDOWN);
  EXPECT_EQ(lookUp(), kNetworkError);
  EXPECT_EQ(errno, ENETDOWN);
  server.then(kFound);
  system.failNext(Call::kSend, ENETDOWN, 1, 1);
  EXPECT_EQ(lookUp(), kNetworkError);
  EXPECT_EQ(errno, ENETDOWN);
  EXPECT_EQ(textOf(result), "59.110.0.9");
}

TEST_F(PrincipalLookup, OpensAHandlerOfItsOwnWhenNoneIsGiven) {
  server.then(kFound).then(kNamed);
  const std::size_t before = system.sockets.size();
  EXPECT_EQ(getPrincipalOid(1000, &result, 0, nullptr, -1), kNoError);
  EXPECT_EQ(textOf(result), "59.110.1.1");
  EXPECT_EQ(system.sockets.size(), before + 1);
  EXPECT_THAT(system.closed, SizeIs(1));
  EXPECT_EQ(getPrincipalOid(1000, &result, 0, nullptr, -1), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_THAT(system.closed, SizeIs(2));
}

TEST_F(PrincipalLookup, FailsWhenNoHandlerCanBeOpened) {
  system.failNext(Call::kOpen, EMFILE);
  EXPECT_EQ(getPrincipalOid(1000, &result, 0, nullptr, -1), kNetworkError);
  EXPECT_EQ(errno, EMFILE);
  EXPECT_EQ(textOf(result), "1.2.3.4");
  EXPECT_THAT(server.requests, IsEmpty());
}

TEST(IdMap, StartsWithoutAnIdentifier) {
  idMap map;
  EXPECT_EQ(map.valid, 0U);
  EXPECT_EQ(map.id, 0);
}

TEST(IdMap, CopiesIdentifierAndUser) {
  idMap map;
  map = "59.110.1.1";
  map.id = 1000;
  idMap copy(map);
  EXPECT_EQ(textOf(copy), "59.110.1.1");
  EXPECT_EQ(copy.id, 1000);
  idMap assigned;
  assigned = map;
  EXPECT_EQ(textOf(assigned), "59.110.1.1");
  EXPECT_EQ(assigned.id, 1000);
}

TEST(IdMap, TakesAnIdentifierAndKeepsItsUser) {
  idMap map;
  map.id = 1000;
  const veskOid principal("59.110.1.1");
  map = principal;
  EXPECT_EQ(textOf(map), "59.110.1.1");
  EXPECT_EQ(map.id, 1000);
}

}  // namespace
