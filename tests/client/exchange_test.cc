// What is left to do when an exchange has ended: telling answers from other
// PDUs, and moving their lists to the caller. The exchange itself is tested
// through OSrequest and DSrequest.

#include "client/exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/veskError.h>

#include <cerrno>
#include <utility>

#include "support/bytes.h"
#include "support/holders.h"
#include "support/servers.h"

namespace {

using ostrel::Arrived;
using ostrel::askDirectory;
using ostrel::askObjectServer;
using ostrel::Ending;
using ostrel::orOutOfMemory;
using ostrel::replyOf;
using ostrel::Wanted;
using ostrel::test::Counted;
using ostrel::test::textOf;

constexpr int kNoError = 0;
constexpr int kArgListError = -1;
constexpr int kNetworkError = 10;
constexpr int kCodingError = 11;
constexpr int kAddressError = 12;

// An answer as it arrives, made from its bytes.
Arrived<veskPDU> arrived(const char* digits) {
  ostrel::test::ExactBuffer bytes(ostrel::test::hex(digits));
  veskType* value = nullptr;
  EXPECT_EQ(veskType::decodeCreate(bytes.data(), bytes.size(), &value),
            bytes.size());
  return Arrived<veskPDU>(dynamic_cast<veskPDU*>(value));
}

const char kGot[] = "27 03 00 43 01 05 0A 00 80 43 00 80 43 01 01 03 01 07";
const char kGotInPart[] =
    "27 03 04 FF FF FF FF 43 01 05 0A 00 80 43 00 80 43 00";
const char kRefused[] = "27 03 01 05 43 01 05 0A 00 80 43 00 80 43 00";
const char kFound[] = "29 03 00 43 01 05 0A 00 80 43 00 80 43 01 01 03 01 07";

// --- replies

TEST(ReplyOf, HandsOutAnAnswerOfTheRequestsClass) {
  errno = 0;
  const auto reply = replyOf<veskGetRespPDU>({kNoError, true, arrived(kGot)});
  ASSERT_NE(reply.answer, nullptr);
  EXPECT_EQ(textOf(*reply.answer->list), "7");
  EXPECT_EQ(reply.code, kNoError);
  EXPECT_TRUE(reply.succeeded());
  EXPECT_EQ(errno, 0);
}

TEST(ReplyOf, SucceededInPartWhenSingleItemsDid) {
  const auto reply =
      replyOf<veskGetRespPDU>({kNoError, true, arrived(kGotInPart)});
  EXPECT_EQ(reply.code, kArgListError);
  EXPECT_TRUE(reply.succeeded());
}

TEST(ReplyOf, HandsOutARefusalThatHasNotSucceeded) {
  const auto reply =
      replyOf<veskGetRespPDU>({kNoError, true, arrived(kRefused)});
  EXPECT_NE(reply.answer, nullptr);
  EXPECT_EQ(reply.code, 5);
  EXPECT_FALSE(reply.succeeded());
}

TEST(ReplyOf, IsACodingErrorForAnAnswerOfAnotherClass) {
  errno = 0;
  const auto reply = replyOf<veskGetRespPDU>({kNoError, true, arrived(kFound)});
  EXPECT_EQ(reply.answer, nullptr);
  EXPECT_EQ(reply.code, kCodingError);
  EXPECT_FALSE(reply.succeeded());
  EXPECT_EQ(errno, EBADMSG);
}

// A tag is only a claim.
TEST(ReplyOf, IsACodingErrorForAHeaderWithTheRightTag) {
  Arrived<veskPDU> header(new veskPDU(ostrel::kTagGetRespPDU));
  errno = 0;
  const auto reply =
      replyOf<veskGetRespPDU>({kNoError, true, std::move(header)});
  EXPECT_EQ(reply.answer, nullptr);
  EXPECT_EQ(reply.code, kCodingError);
  EXPECT_EQ(errno, EBADMSG);
}

TEST(ReplyOf, IsACodingErrorWithoutAnAnswer) {
  errno = 0;
  const auto reply = replyOf<veskGetRespPDU>({kNoError, true});
  EXPECT_EQ(reply.answer, nullptr);
  EXPECT_EQ(reply.code, kCodingError);
  EXPECT_EQ(errno, EBADMSG);
}

TEST(ReplyOf, PassesOnWhyAnExchangeFailed) {
  errno = ETIMEDOUT;
  const auto reply = replyOf<veskGetRespPDU>({kNetworkError, true});
  EXPECT_EQ(reply.answer, nullptr);
  EXPECT_EQ(reply.code, kNetworkError);
  EXPECT_FALSE(reply.succeeded());
  EXPECT_EQ(errno, ETIMEDOUT);
}

TEST(ReplyOf, FreesTheAnswerOfAnExchangeThatFailed) {
  const auto reply = replyOf<veskGetRespPDU>({5, true, arrived(kRefused)});
  EXPECT_EQ(reply.answer, nullptr);
  EXPECT_EQ(reply.code, 5);
}

TEST(OrOutOfMemory, IsTheWorksCode) {
  errno = 0;
  EXPECT_EQ(orOutOfMemory([] { return kAddressError; }), kAddressError);
  EXPECT_EQ(errno, 0);
}

TEST(OrOutOfMemory, IsANetworkErrorWhenMemoryRanOut) {
  errno = 0;
  EXPECT_EQ(orOutOfMemory([]() -> int { throw std::bad_alloc(); }),
            kNetworkError);
  EXPECT_EQ(errno, ENOMEM);
}

// --- lists that change hands

class Lists : public ::testing::Test {
 protected:
  // The text of both, which walks them; walking them from behind finds the
  // same elements.
  std::string text() {
    for (veskList* list : {&from, &to}) {
      unsigned backwards = 0;
      for (auto* node = list->head.prev; node != &list->head; node = node->prev)
        EXPECT_EQ(node, list->index(list->count - ++backwards));
      EXPECT_EQ(backwards, list->count);
    }
    return textOf(from) + " | " + textOf(to);
  }

  veskInt one{1};
  veskInt two{2};
  veskInt three{3};
  veskInt four{4};
  veskList from;
  veskList to;
};

TEST_F(Lists, AppendPutsTheElementsBehindThoseThatAreThere) {
  to.append(&one);
  to.append(&two);
  from.append(&three);
  from.append(&four);
  ostrel::appendElements(&from, &to);
  EXPECT_EQ(text(), " | 1, 2, 3, 4");
}

TEST_F(Lists, AppendFillsAnEmptyList) {
  from.append(&one);
  ostrel::appendElements(&from, &to);
  EXPECT_EQ(text(), " | 1");
}

TEST_F(Lists, AppendOfAnEmptyListChangesNothing) {
  to.append(&one);
  ostrel::appendElements(&from, &to);
  EXPECT_EQ(text(), " | 1");
}

TEST_F(Lists, MoveDropsTheFormerElementsAndFreesNone) {
  to.append(&one);
  to.append(&two);
  from.append(&three);
  ostrel::moveElements(&from, &to);
  EXPECT_EQ(text(), " | 3");
}

TEST_F(Lists, MoveOfAnEmptyListEmptiesTheOther) {
  to.append(&one);
  ostrel::moveElements(&from, &to);
  EXPECT_EQ(text(), " | ");
}

// A list remembers the node that was asked for last.
TEST_F(Lists, AreReadByIndexAsBefore) {
  for (veskInt* number : {&one, &two, &three}) from.append(number);
  to.append(&four);
  EXPECT_EQ(from.at<veskInt>(1), &two);
  EXPECT_EQ(to.at<veskInt>(0), &four);
  ostrel::appendElements(&from, &to);
  EXPECT_EQ(to.at<veskInt>(0), &four);
  EXPECT_EQ(to.at<veskInt>(2), &two);
  for (veskInt* number : {&three, &one, &two}) from.append(number);
  EXPECT_EQ(from.at<veskInt>(1), &one);
  EXPECT_EQ(text(), "3, 1, 2 | 4, 1, 2, 3");
}

TEST_F(Lists, MoveOfErrorsFreesTheFormerOnes) {
  int alive = 0;
  to.append(new Counted(&alive));
  to.append(new Counted(&alive));
  from.append(new veskError(2, 5));
  ostrel::moveErrors(&from, &to);
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(text(), " | index 2 : 5(Permission Denied)");
  to.clear(1);
}

// The former errors may be a peer's, with lists inside PDUs.
TEST_F(Lists, MoveOfErrorsFreesTheFormerOnesWhole) {
  veskPDU* former = arrived(kGot).release();
  to.append(former);
  from.append(&one);
  ostrel::moveErrors(&from, &to);
  EXPECT_EQ(text(), " | 1");
}

TEST_F(Lists, MoveOfNoErrorsKeepsTheFormerOnes) {
  to.append(&one);
  ostrel::moveErrors(&from, &to);
  EXPECT_EQ(text(), " | 1");
}

TEST_F(Lists, ErrorsStayWhereTheyAreWhenThereIsNowhereToPutThem) {
  from.append(&one);
  ostrel::moveErrors(&from, nullptr);
  EXPECT_EQ(text(), "1 | ");
}

TEST_F(Lists, FirstOfIsTheFirstElementOfThatClass) {
  from.append(&one);
  from.append(&two);
  EXPECT_EQ(ostrel::firstOf<veskInt>(&from), &one);
}

TEST_F(Lists, FirstOfIsNullForAnElementOfAnotherClass) {
  veskString text("a");
  from.append(&text);
  from.append(&one);
  EXPECT_EQ(ostrel::firstOf<veskInt>(&from), nullptr);
}

TEST_F(Lists, FirstOfIsNullForANullElementAndForAnEmptyList) {
  EXPECT_EQ(ostrel::firstOf<veskInt>(&from), nullptr);
  from.append(static_cast<veskType*>(nullptr));
  EXPECT_EQ(ostrel::firstOf<veskInt>(&from), nullptr);
}

// --- endings

class Endings : public ::testing::Test {
 protected:
  Endings() : system((fake::platform().reset(), fake::platform())) {
    socket = handler.open();
  }
  ~Endings() override { EXPECT_EQ(handler.pending.count, 0U); }

  Ending ask(veskAddress* whom, Wanted wanted = Wanted::kAnything) {
    errno = 0;
    return askObjectServer(handler, socket, whom, request, wanted);
  }

  fake::Platform& system;
  veskTransactionHandler handler;
  int socket = -1;
  veskAddress address{"192.0.2.1"};
  fake::Server server{"192.0.2.1", fake::kObjectPort};
  veskRemovePDU request;
};

TEST_F(Endings, HoldTheAnswer) {
  server.then("2B 03 01 05 ID 0A 00");
  const Ending ending = ask(&address);
  EXPECT_TRUE(ending.sent);
  EXPECT_EQ(ending.code, kNoError);
  ASSERT_NE(ending.answer, nullptr);
  EXPECT_EQ(ending.answer->status.value, 5);
  EXPECT_EQ(ending.gaveUp, nullptr);
}

TEST_F(Endings, NameTheRequestThatGaveUp) {
  const Ending ending = ask(&address);
  EXPECT_TRUE(ending.sent);
  EXPECT_EQ(ending.code, kNetworkError);
  EXPECT_EQ(ending.answer, nullptr);
  EXPECT_EQ(ending.gaveUp, &request);
  EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(Endings, WithoutAnAddressNothingIsSent) {
  veskAddress none;
  for (veskAddress* nowhere : {static_cast<veskAddress*>(nullptr), &none}) {
    const Ending ending = ask(nowhere);
    EXPECT_FALSE(ending.sent);
    EXPECT_EQ(ending.code, kAddressError);
    EXPECT_EQ(errno, EDESTADDRREQ);
  }
  EXPECT_TRUE(system.sent.empty());
}

TEST_F(Endings, AnAddressOfAnotherFamilyIsNotSupported) {
  veskAddress other;
  other.family = 7;
  const Ending ending = ask(&other);
  EXPECT_FALSE(ending.sent);
  EXPECT_EQ(ending.code, kAddressError);
  EXPECT_EQ(errno, EAFNOSUPPORT);
}

// What nobody wants is not worth the memory for all its members.
TEST_F(Endings, HoldOnlyTheHeaderOfAnAnswerOfAnotherKind) {
  const char* const found = "29 03 00 ID 0A 00 80 43 00 80 43 01 01 03 01 07";
  server.then(found).then(found);
  const Ending any = ask(&address);
  EXPECT_NE(dynamic_cast<veskSearchRespPDU*>(any.answer.get()), nullptr);
  const Ending ofItsKind = ask(&address, Wanted::kItsKind);
  ASSERT_NE(ofItsKind.answer, nullptr);
  EXPECT_EQ(dynamic_cast<veskSearchRespPDU*>(ofItsKind.answer.get()), nullptr);
}

TEST_F(Endings, OfADirectoryTellTheAnswersStatus) {
  fake::Server directory("192.0.2.1", fake::kDirectoryPort);
  directory.then("2B 03 01 05 ID 0A 00");
  veskAddress from;
  const Ending ending = askDirectory(handler, socket, &address, request, &from,
                                     false, Wanted::kAnything);
  EXPECT_EQ(ending.code, 5);
  EXPECT_NE(ending.answer, nullptr);
  EXPECT_EQ(textOf(from), "192.0.2.1");
}

}  // namespace
