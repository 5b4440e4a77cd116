#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskError.h>
#include <ostrel/veskQuery.h>

#include <cerrno>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "base/platform.h"
#include "support/bytes.h"
#include "support/hex_pieces.h"
#include "support/servers.h"

namespace {

using fake::answer;
using fake::both;
using fake::Call;
using fake::delayed;
using ostrel::test::textOf;
using ostrel::test::toHex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

constexpr int kNoError = 0;
constexpr int kArgListError = -1;
constexpr int kNetworkError = 10;
constexpr int kCodingError = 11;
constexpr int kAddressError = 12;
constexpr int kInternalError = 255;

constexpr long kUser = 1000;
constexpr unsigned char kFirstTtl = 4;

// Pieces of PDUs.
#define ASKED                                   \
  " 80 43 01 02"                                \
  " 17 0B 01 01 3B 01 06 01 01 00" /* 59.6.1 */ \
  " 17 0B 01 01 3B 01 06 01 02 00" /* 59.6.2 */
#define VALUES                                                     \
  " 80 43 01 02"                                                   \
  " 17 0B 01 01 3B 01 06 01 01 01 03 01 05"       /* 59.6.1 = 5 */ \
  " 17 0B 01 01 3B 01 06 01 02 01 09 43 01 01 78" /* 59.6.2 = x */
#define NO_VALUES " 80 43 01 02 17 0B 00 00 17 0B 00 00 "
#define OBJECTS ONE OBJECT

// What a caller passes, with something in every list that must not get lost.
struct Caller {
  Caller() {
    const char* const names[] = {"59.6.1", "59.6.2", nullptr};
    veskMakeAttrList(names, &attrs);
    errors.append(new veskError(7, 7));
    results.append(new veskInt(77));
    list2.append(new veskInt(2));
    results2.append(new veskInt(22));
  }
  ~Caller() {
    for (veskList* list : {&attrs, &errors, &results, &list2, &results2})
      list->clear(1);
  }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  void expectListsUntouched() {
    EXPECT_EQ(textOf(attrs), "59.6.1 = , 59.6.2 = ");
    EXPECT_EQ(textOf(errors), "index 7 : 7(Required Attribute)");
    EXPECT_EQ(textOf(results), "77");
    EXPECT_EQ(textOf(list2), "2");
    EXPECT_EQ(textOf(results2), "22");
    EXPECT_EQ(textOf(newOid), "1.1.1.1");
  }

  veskAddress address{"192.0.2.1"};
  veskOid object{"59.6.0.1"};
  veskOid newOid{"1.1.1.1"};
  veskList attrs;
  veskList errors;
  veskList results;
  veskList list2;
  veskList results2;
  veskAddress answeredBy;
};

class QueryHandler : public ::testing::Test {
 protected:
  QueryHandler() : system((fake::platform().reset(), fake::platform())) {}

  fake::Platform& system;
  Caller caller;
};

// QueryHandler in the name of a known principal, so that none is looked up.
class SignedIn : public QueryHandler {
 protected:
  SignedIn() {
    handler.currentAccess = "59.110.1.1";
    handler.currentAccess.id = kUser;
  }
  ~SignedIn() override {
    EXPECT_EQ(handler.transactionHandler->pending.count, 0U);
  }

  int get() {
    return handler.get(&caller.address, caller.object, caller.attrs,
                       &caller.errors);
  }
  int create() {
    return handler.create(&caller.address, caller.object, caller.attrs,
                          caller.newOid, &caller.errors);
  }
  int search(int scope = 1) {
    return handler.search(&caller.address, caller.object, caller.attrs,
                          caller.results, scope, &caller.errors);
  }
  int searchDirectory() {
    return handler.DSsearch(&caller.address, caller.object, caller.attrs,
                            caller.results, caller.list2, &caller.answeredBy,
                            &caller.results2, &caller.errors);
  }
  int searchAnyDirectory() {
    return handler.DSsearch(nullptr, caller.object, caller.attrs,
                            caller.results, caller.list2, &caller.answeredBy,
                            &caller.results2, &caller.errors);
  }

  veskQueryHandler handler;
  fake::Server server{"192.0.2.1", fake::kObjectPort};
  fake::Server directory{"192.0.2.1", fake::kDirectoryPort};
};

// --- what the constructor, comminit and the destructor do

TEST_F(QueryHandler, IsReadyOnceItIsMade) {
  const veskQueryHandler handler;
  EXPECT_GE(handler.socket, 100);
  EXPECT_EQ(handler.spareWord, 0);
  EXPECT_EQ(handler.principalCache.count, 0U);
  EXPECT_EQ(handler.currentAccess.valid, 0U);
  EXPECT_EQ(handler.transactionHandler->initialTimeout, 3);
  EXPECT_EQ(handler.transactionHandler->retries, 2);
}

TEST_F(QueryHandler, MulticastsAcrossFourNetworksAtFirst) {
  const veskQueryHandler handler;
  EXPECT_EQ(system.sockets.at(handler.socket).ttl, kFirstTtl);
}

TEST_F(QueryHandler, ComminitReplacesTheFormerHandler) {
  veskQueryHandler handler;
  const int first = handler.socket;
  EXPECT_EQ(handler.comminit(), kNoError);
  EXPECT_THAT(system.closed, ElementsAre(first));
  EXPECT_NE(handler.socket, first);
  EXPECT_TRUE(system.sockets.at(handler.socket).open);
}

TEST_F(QueryHandler, ComminitLeavesANumberThatOthersClosedAlone) {
  veskQueryHandler handler;
  ostrel::platform::closeSocket(handler.socket);
  system.closed.clear();
  system.nextDescriptor = handler.socket;  // free again
  EXPECT_EQ(handler.comminit(), kNoError);
  EXPECT_THAT(system.closed, ::testing::IsEmpty());
  EXPECT_TRUE(system.sockets.at(handler.socket).open);
}

TEST_F(QueryHandler, ComminitFailsWithoutASocket) {
  veskQueryHandler handler;
  system.failNext(Call::kOpen, EMFILE);
  EXPECT_EQ(handler.comminit(), kNetworkError);
  EXPECT_EQ(errno, EMFILE);
  EXPECT_EQ(handler.socket, -1);
}

TEST_F(QueryHandler, ComminitFailsWhenTheTimeToLiveIsRefused) {
  veskQueryHandler handler;
  system.failNext(Call::kSetMulticastTtl, EPERM);
  EXPECT_EQ(handler.comminit(), kNetworkError);
  EXPECT_EQ(errno, EPERM);
  EXPECT_GE(handler.socket, 0);
}

TEST_F(QueryHandler, ClosesItsSocketInTheEnd) {
  int socket = -1;
  {
    const veskQueryHandler handler;
    socket = handler.socket;
  }
  EXPECT_THAT(system.closed, ElementsAre(socket));
}

TEST_F(QueryHandler, KeepsTheRecordsOfTheCacheAliveInTheEnd) {
  auto* record = new idMap;
  record->id = 5;
  {
    veskQueryHandler handler;
    handler.principalCache.append(record);
  }
  EXPECT_EQ(record->id, 5);
  delete record;
}

// --- what all operations have in common

struct Operation {
  const char* name;
  int (*call)(veskQueryHandler& handler, Caller& caller, veskList* errors);
  const char* tag;      // of the request
  const char* members;  // of the request, behind its header
  const char* answerTag;
  const char* answerMembers;
  const char* wrong;  // an answer that belongs to another operation
  bool directory = false;
};

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

const Operation kOperations[] = {
    {"get",
     [](veskQueryHandler& handler, Caller& c, veskList* errors) {
       return handler.get(&c.address, c.object, c.attrs, errors);
     },
     "1F", OBJECT ASKED, "27", NONE NO_VALUES, "29" SUCCESS NONE NONE},
    {"set",
     [](veskQueryHandler& handler, Caller& c, veskList* errors) {
       return handler.set(&c.address, c.object, c.attrs, errors);
     },
     "20", OBJECT ASKED, "28", NONE, "2B" SUCCESS},
    {"create",
     [](veskQueryHandler& handler, Caller& c, veskList* errors) {
       return handler.create(&c.address, c.object, c.attrs, c.newOid, errors);
     },
     "1C", OBJECT ASKED, "25", NONE NEW_OBJECT, "27" SUCCESS NONE NONE},
    {"clone",
     [](veskQueryHandler& handler, Caller& c, veskList* errors) {
       return handler.clone(&c.address, c.object, c.attrs, c.newOid, errors);
     },
     "1D", OBJECT ASKED, "26", NONE NEW_OBJECT, "25" SUCCESS NONE NEW_OBJECT},
    {"remove",
     [](veskQueryHandler& handler, Caller& c, veskList*) {
       return handler.remove(&c.address, c.object);
     },
     "1E", OBJECT, "2B", "", "2D" SUCCESS},
    {"verify",
     [](veskQueryHandler& handler, Caller& c, veskList*) {
       return handler.verify(&c.address, c.object);
     },
     "2C", OBJECT, "2D", "", "2C" SUCCESS OBJECT},
    {"search",
     [](veskQueryHandler& handler, Caller& c, veskList* errors) {
       return handler.search(&c.address, c.object, c.attrs, c.results, 1,
                             errors);
     },
     "21", OBJECT ASKED "07 01 01", "29", NONE NONE, "27" SUCCESS NONE OBJECTS},
    {"DSsearch",
     [](veskQueryHandler& handler, Caller& c, veskList* errors) {
       return handler.DSsearch(&c.address, c.object, c.attrs, c.results,
                               c.list2, &c.answeredBy, &c.results2, errors);
     },
     "2E", OBJECT ASKED " 80 43 01 01 03 01 02", "2F", NONE NONE NONE,
     "29" SUCCESS NONE OBJECTS, true},
};

class EveryOperation : public SignedIn,
                       public ::testing::WithParamInterface<Operation> {
 protected:
  int run() { return GetParam().call(handler, caller, &caller.errors); }

  fake::Server& asked() { return GetParam().directory ? directory : server; }

  // A whole answer with the given status and id.
  static std::string reply(const std::string& status) {
    return GetParam().answerTag + status + GetParam().answerMembers;
  }
};

TEST_P(EveryOperation, SendsItsRequestInTheNameOfThePrincipal) {
  handler.transactionHandler->nextRequestId = 0x1234;
  asked().then(answer(reply(SUCCESS)));
  run();
  ASSERT_THAT(asked().requests, SizeIs(1));
  EXPECT_EQ(asked().requests[0].pdu,
            toHex(ostrel::test::hex(GetParam().tag +
                                    std::string("03 00 43 02 12 34") +
                                    PRINCIPAL + GetParam().members)));
  ASSERT_THAT(system.sent, SizeIs(1));
  EXPECT_EQ(fake::text(system.sent[0].to),
            GetParam().directory ? "192.0.2.1:5136" : "192.0.2.1:5135");
}

TEST_P(EveryOperation, SucceedsWithStatusZero) {
  asked().then(answer(reply(SUCCESS)));
  EXPECT_EQ(run(), kNoError);
}

TEST_P(EveryOperation, AcceptsNoListForErrors) {
  asked().then(answer(reply(SUCCESS)));
  EXPECT_EQ(GetParam().call(handler, caller, nullptr), kNoError);
}

TEST_P(EveryOperation, ReturnsMinusOneAsItComes) {
  asked().then(answer(reply(PARTIAL)));
  EXPECT_EQ(run(), kArgListError);
}

TEST_P(EveryOperation, ReturnsAnyOtherStatusAndMovesNothing) {
  asked().then(answer(reply(REFUSED)));
  EXPECT_EQ(run(), 5);
  caller.expectListsUntouched();
}

TEST_P(EveryOperation, TakesNoAnswerOfAnotherClass) {
  asked().then(answer(GetParam().wrong));
  EXPECT_EQ(run(), kCodingError);
  EXPECT_EQ(errno, EBADMSG);
  caller.expectListsUntouched();
}

TEST_P(EveryOperation, WaitsOnAfterAnAnswerOfAnotherClassThatDoesNotDecode) {
  const std::string wrong = GetParam().wrong;
  asked().then(
      both(answer(wrong.substr(0, wrong.find_last_of("0123456789") - 1)),
           answer(reply(SUCCESS))));
  EXPECT_EQ(run(), kNoError);
}

TEST_P(EveryOperation, TakesNoRequestForAnAnswer) {
  asked().then("2E" SUCCESS NOBODY NONE NONE);
  EXPECT_EQ(run(), kCodingError);
  caller.expectListsUntouched();
}

TEST_P(EveryOperation, WaitsOnAfterWhatAnswersNothing) {
  const std::string right = reply(SUCCESS);
  const std::string otherId = reply(" 03 00 43 03 01 E2 40 0A 00 ");
  for (const std::string& message :
       {otherId, std::string("09 43 01 01 78"), right.substr(0, 9)}) {
    asked().then(both(answer(message), answer(right)));
    EXPECT_EQ(run(), kNoError) << message;
  }
}

TEST_P(EveryOperation, GivesUpAfter21SecondsAndThreeTransmissions) {
  const long began = system.seconds();
  EXPECT_EQ(run(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(system.seconds() - began, 21);
  EXPECT_THAT(asked().times(), ElementsAre(0, 3, 9));
  caller.expectListsUntouched();
}

TEST_P(EveryOperation, TakesALateAnswer) {
  asked().then(delayed(20, answer(reply(SUCCESS))));
  EXPECT_EQ(run(), kNoError);
}

TEST_P(EveryOperation, DropsASecondAnswer) {
  asked()
      .then(both(answer(reply(SUCCESS)), answer(reply(REFUSED))))
      .then(answer(reply(PARTIAL)));
  EXPECT_EQ(run(), kNoError);
  EXPECT_EQ(run(), kArgListError);
}

TEST_P(EveryOperation, FailsWhenSendingFails) {
  system.failNext(Call::kSend, ENETUNREACH);
  EXPECT_EQ(run(), kNetworkError);
  EXPECT_EQ(errno, ENETUNREACH);
  caller.expectListsUntouched();
}

TEST_P(EveryOperation, FailsWhenWaitingFails) {
  system.failNext(Call::kWait, EINTR);
  EXPECT_EQ(run(), kNetworkError);
  EXPECT_EQ(errno, EINTR);
  caller.expectListsUntouched();
}

TEST_P(EveryOperation, FailsWithoutAnIPv4Address) {
  caller.address = "somewhere";
  EXPECT_EQ(run(), kAddressError);
  EXPECT_THAT(system.sent, IsEmpty());
  caller.expectListsUntouched();
}

TEST_P(EveryOperation, KeepsTakingDescriptorZeroForNoSocket) {
  const int socket = handler.socket;
  handler.socket = 0;
  errno = ETIMEDOUT;
  EXPECT_EQ(run(), kNetworkError);
  EXPECT_EQ(errno, EBADF);
  EXPECT_THAT(system.sent, IsEmpty());
  handler.socket = socket;
}

TEST_P(EveryOperation, FailsInTheExchangeWhenTheSocketDidNotOpen) {
  system.failNext(Call::kOpen, EMFILE);
  handler.comminit();
  EXPECT_EQ(run(), kNetworkError);
  EXPECT_EQ(errno, EBADF);
  EXPECT_THAT(system.sent, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Queries, EveryOperation,
                         ::testing::ValuesIn(kOperations), [](const auto& row) {
                           return std::string(row.param.name);
                         });

// --- get

TEST_F(SignedIn, GetMovesTheValuesIntoTheCallersAttributes) {
  server.then("27" SUCCESS NONE VALUES);
  EXPECT_EQ(get(), kNoError);
  EXPECT_EQ(textOf(caller.attrs), "59.6.1 = 5, 59.6.2 = x");
  EXPECT_EQ(textOf(caller.errors), "index 7 : 7(Required Attribute)");
}

TEST_F(SignedIn, GetMovesByPositionWhateverTheIdentifiers) {
  server.then("27" SUCCESS NONE
              " 80 43 01 02"
              " 17 0B 00 01 03 01 05"
              " 17 0B 01 01 09 01 09 01 09 01 80 43 01 01 03 01 06");
  EXPECT_EQ(get(), kNoError);
  EXPECT_EQ(textOf(caller.attrs), "59.6.1 = 5, 59.6.2 = 6");
}

TEST_F(SignedIn, GetTakesWhatComesBackWithAPartialSuccess) {
  server.then("27" PARTIAL ERRORS
              " 80 43 01 02"
              " 17 0B 01 01 3B 01 06 01 01 01 03 01 05"
              " 17 0B 01 01 3B 01 06 01 02 00");
  EXPECT_EQ(get(), kArgListError);
  EXPECT_EQ(textOf(caller.attrs), "59.6.1 = 5, 59.6.2 = ");
  EXPECT_EQ(textOf(caller.errors), "index 1 : 5(Permission Denied)");
}

TEST_F(SignedIn, GetDropsErrorsThatNobodyAskedFor) {
  server.then("27" PARTIAL ERRORS VALUES);
  EXPECT_EQ(handler.get(&caller.address, caller.object, caller.attrs, nullptr),
            kArgListError);
  EXPECT_EQ(textOf(caller.attrs), "59.6.1 = 5, 59.6.2 = x");
}

TEST_F(SignedIn, GetFreesWhatComesBackBeyondWhatWasAskedFor) {
  server.then("27" SUCCESS NONE
              " 80 43 01 04"
              " 17 0B 00 01 03 01 05 17 0B 00 01 03 01 06"
              " 17 0B 00 01 09 43 01 02 61 62"
              " 1F 03 00 43 00 0A 00 0A 00 80 43 01 01 03 01 01");
  EXPECT_EQ(get(), kNoError);
  EXPECT_EQ(textOf(caller.attrs), "59.6.1 = 5, 59.6.2 = 6");
}

TEST_F(SignedIn, GetTakesNothingWhenOneElementIsNoAttribute) {
  server.then("27" SUCCESS ERRORS " 80 43 01 02 17 0B 00 01 03 01 05 03 01 06");
  EXPECT_EQ(get(), kCodingError);
  EXPECT_EQ(errno, EBADMSG);
  caller.expectListsUntouched();
}

TEST_F(SignedIn, GetTakesNothingIntoWhatIsNoAttribute) {
  caller.attrs.append(new veskInt(1));
  server.then("27" SUCCESS NONE
              " 80 43 01 03 17 0B 00 01 03 01 05 17 0B 00 00 17 0B 00 00");
  EXPECT_EQ(get(), kCodingError);
  EXPECT_EQ(textOf(caller.attrs), "59.6.1 = , 59.6.2 = , 1");
}

TEST_F(SignedIn, GetKeepsFormerValuesAlive) {
  auto* former = new veskInt(99);
  auto* attribute = caller.attrs.at<veskAttribute>(0);
  attribute->value = former;
  server.then("27" SUCCESS NONE VALUES);
  EXPECT_EQ(get(), kNoError);
  EXPECT_EQ(textOf(caller.attrs), "59.6.1 = 5, 59.6.2 = x");
  EXPECT_EQ(former->value, 99);
  delete former;
}

TEST_F(SignedIn, GetKeepsStoppingTheProcessWhenTooLittleComesBack) {
  EXPECT_DEATH(
      {
        server.then("27" SUCCESS NONE " 80 43 01 01 17 0B 00 01 03 01 05");
        get();
      },
      "i < count");
}

TEST_F(SignedIn, GetOfNothingMovesNothing) {
  caller.attrs.clear(1);
  server.then("27" SUCCESS NONE VALUES);
  EXPECT_EQ(get(), kNoError);
  EXPECT_EQ(caller.attrs.count, 0U);
}

TEST_F(SignedIn, GetTakesAnswersOfManyFragments) {
  std::string message = "27" SUCCESS NONE
                        " 80 43 01 02"
                        " 17 0B 00 00"
                        " 17 0B 00 01 09 43 02 27 10";
  for (int i = 0; i < 10000; ++i) message += " 78";
  server.then(answer(message));
  EXPECT_EQ(get(), kNoError);
  EXPECT_EQ(textOf(*caller.attrs.at<veskAttribute>(1)->value),
            std::string(10000, 'x'));
}

// --- set

TEST_F(SignedIn, SetHandsBackErrors) {
  server.then("28" PARTIAL ERRORS);
  EXPECT_EQ(
      handler.set(&caller.address, caller.object, caller.attrs, &caller.errors),
      kArgListError);
  EXPECT_EQ(textOf(caller.errors), "index 1 : 5(Permission Denied)");
  EXPECT_EQ(textOf(caller.attrs), "59.6.1 = , 59.6.2 = ");
}

TEST_F(SignedIn, SetTakesAnActionsAnswerForItsOwn) {
  server.then("2A" SUCCESS NONE);
  EXPECT_EQ(handler.set(&caller.address, caller.object, caller.attrs, nullptr),
            kNoError);
}

// --- create and clone

TEST_F(SignedIn, CreateHandsBackTheNewObject) {
  server.then("25" SUCCESS NONE NEW_OBJECT);
  EXPECT_EQ(create(), kNoError);
  EXPECT_EQ(textOf(caller.newOid), "59.6.0.9");
  EXPECT_EQ(textOf(caller.errors), "index 7 : 7(Required Attribute)");
}

TEST_F(SignedIn, CreateHandsBackTheNewObjectWithMinusOneAndNoErrors) {
  server.then("25" PARTIAL NONE NEW_OBJECT);
  EXPECT_EQ(create(), kArgListError);
  EXPECT_EQ(textOf(caller.newOid), "59.6.0.9");
}

TEST_F(SignedIn, CreateWithErrorsLeavesTheIdentifierAsItWas) {
  server.then("25" PARTIAL ERRORS NEW_OBJECT);
  EXPECT_EQ(create(), kArgListError);
  EXPECT_EQ(textOf(caller.newOid), "1.1.1.1");
  EXPECT_EQ(textOf(caller.errors), "index 1 : 5(Permission Denied)");
}

TEST_F(SignedIn, CreateWithErrorsThatNobodyAskedForDropsThem) {
  server.then("25" SUCCESS ERRORS NEW_OBJECT);
  EXPECT_EQ(handler.create(&caller.address, caller.object, caller.attrs,
                           caller.newOid, nullptr),
            kNoError);
  EXPECT_EQ(textOf(caller.newOid), "1.1.1.1");
}

TEST_F(SignedIn, CloneHandsBackTheNewObjectOrErrors) {
  server.then("26" SUCCESS NONE NEW_OBJECT).then("26" PARTIAL ERRORS OBJECT);
  EXPECT_EQ(handler.clone(&caller.address, caller.object, caller.attrs,
                          caller.newOid, &caller.errors),
            kNoError);
  EXPECT_EQ(textOf(caller.newOid), "59.6.0.9");
  EXPECT_EQ(handler.clone(&caller.address, caller.object, caller.attrs,
                          caller.newOid, &caller.errors),
            kArgListError);
  EXPECT_EQ(textOf(caller.newOid), "59.6.0.9");
  EXPECT_EQ(textOf(caller.errors), "index 1 : 5(Permission Denied)");
}

// --- search

TEST_F(SignedIn, SearchHandsBackWhatWasFound) {
  caller.results.clear(1);
  server.then("29" SUCCESS NONE OBJECTS);
  EXPECT_EQ(search(), kNoError);
  EXPECT_EQ(textOf(caller.results), "59.6.0.1");
}

TEST_F(SignedIn, SearchKeepsFormerResultsAlive) {
  auto* former = caller.results.at<veskInt>(0);
  server.then("29" SUCCESS NONE OBJECTS);
  EXPECT_EQ(search(), kNoError);
  EXPECT_EQ(textOf(caller.results), "59.6.0.1");
  EXPECT_EQ(former->value, 77);
  delete former;
}

TEST_F(SignedIn, SearchThatFindsNothingLeavesTheResultsAsTheyWere) {
  server.then("29" SUCCESS NONE NONE);
  EXPECT_EQ(search(), kNoError);
  EXPECT_EQ(textOf(caller.results), "77");
}

TEST_F(SignedIn, SearchKeepsEmptyingTheErrorsEvenWithoutAny) {
  server.then("29" SUCCESS NONE NONE).then("29" PARTIAL ERRORS NONE);
  EXPECT_EQ(search(), kNoError);
  EXPECT_EQ(caller.errors.count, 0U);
  EXPECT_EQ(search(), kArgListError);
  EXPECT_EQ(textOf(caller.errors), "index 1 : 5(Permission Denied)");
}

// A peer may put anything among its errors, lists inside PDUs too.
TEST_F(SignedIn, FormerErrorsAreFreedWholeWhateverAPeerPutThere) {
#define NESTED \
  " 80 43 01 01 28 03 00 43 00 0A 00 80 43 01 01 09 43 01 03 61 62 63 "
  server.then("29" PARTIAL NESTED NONE)
      .then("29" PARTIAL NESTED NONE)
      .then("29" SUCCESS NONE NONE);
#undef NESTED
  EXPECT_EQ(search(), kArgListError);
  EXPECT_EQ(search(), kArgListError);
  EXPECT_EQ(caller.errors.count, 1U);
  EXPECT_EQ(search(), kNoError);
  EXPECT_EQ(caller.errors.count, 0U);
}

TEST_F(SignedIn, SearchKeepsIgnoringItsScope) {
  for (const int scope : {0, 1, 2, -1}) {
    handler.transactionHandler->nextRequestId = 5;
    server.then("29" SUCCESS NONE NONE);
    EXPECT_EQ(search(scope), kNoError);
  }
  ASSERT_THAT(server.requests, SizeIs(4));
  for (const fake::Request& request : server.requests)
    EXPECT_EQ(request.pdu, server.requests[0].pdu);
  EXPECT_EQ(server.requests[0].pdu.substr(server.requests[0].pdu.size() - 8),
            "07 01 01");
}

// --- DSsearch with a given server

TEST_F(SignedIn, DirectorySearchHandsBackBothLists) {
  caller.results.clear(1);
  directory.then("2F" SUCCESS ERRORS " 80 43 01 01 03 01 04" OBJECTS);
  EXPECT_EQ(searchDirectory(), kNoError);
  EXPECT_EQ(textOf(caller.results), "59.6.0.1");
  EXPECT_EQ(textOf(caller.results2), "4");
  EXPECT_EQ(caller.answeredBy == "192.0.2.1", 1);
}

TEST_F(SignedIn, DirectorySearchKeepsErrorsBackWhenThereIsASecondList) {
  directory.then("2F" SUCCESS ERRORS " 80 43 01 01 03 01 04" NONE);
  EXPECT_EQ(searchDirectory(), kNoError);
  EXPECT_EQ(textOf(caller.errors), "index 7 : 7(Required Attribute)");
  EXPECT_EQ(textOf(caller.results), "77");
}

TEST_F(SignedIn, DirectorySearchHandsBackErrorsWithoutASecondList) {
  directory.then("2F" SUCCESS ERRORS NONE NONE)
      .then("2F" SUCCESS NONE NONE NONE);
  EXPECT_EQ(searchDirectory(), kNoError);
  EXPECT_EQ(textOf(caller.errors), "index 1 : 5(Permission Denied)");
  EXPECT_EQ(textOf(caller.results2), "22");
  EXPECT_EQ(searchDirectory(), kNoError);
  EXPECT_EQ(caller.errors.count, 0U);
}

TEST_F(SignedIn, DirectorySearchDropsASecondListThatNobodyAskedFor) {
  directory.then("2F" SUCCESS NONE " 80 43 01 01 03 01 04" NONE);
  EXPECT_EQ(handler.DSsearch(&caller.address, caller.object, caller.attrs,
                             caller.results, caller.list2, &caller.answeredBy,
                             nullptr, nullptr),
            kNoError);
}

TEST_F(SignedIn, DirectorySearchKeepsMinusOneFromMovingAnything) {
  caller.answeredBy = "10.0.0.1";
  directory.then("2F" PARTIAL ERRORS NONE OBJECTS)
      .then("2F" REFUSED NONE NONE NONE)
      .then("29" SUCCESS NONE NONE);
  EXPECT_EQ(searchDirectory(), kArgListError);
  caller.expectListsUntouched();
  EXPECT_EQ(caller.answeredBy == "10.0.0.1", 1);
  EXPECT_EQ(searchDirectory(), 5);
  EXPECT_EQ(caller.answeredBy == "10.0.0.1", 1);
  EXPECT_EQ(searchDirectory(), kCodingError);
  EXPECT_EQ(caller.answeredBy == "192.0.2.1", 1);
  caller.expectListsUntouched();
}

TEST_F(SignedIn, DirectorySearchTakesItsOwnServerForTheAnswer) {
  directory.then("2F" SUCCESS NONE NONE NONE);
  EXPECT_EQ(handler.DSsearch(&caller.address, caller.object, caller.attrs,
                             caller.results, caller.list2, &caller.address,
                             nullptr, nullptr),
            kNoError);
  EXPECT_EQ(caller.address == "192.0.2.1", 1);
}

TEST_F(SignedIn, DirectorySearchWithAServerLeavesTheTimeToLiveAlone) {
  system.settings.clear();
  directory.then("2F" SUCCESS NONE NONE NONE);
  EXPECT_EQ(searchDirectory(), kNoError);
  EXPECT_THAT(system.settings, IsEmpty());
}

// --- DSsearch that looks for a server first

class Discovery : public SignedIn {
 protected:
  // How far multicasts reach belongs to the process: attempt 3 makes it again
  // what every test begins with.
  ~Discovery() override {
    system.reset();
    fake::Server far("192.0.2.99", fake::kDirectoryPort, kGroup, kFirstTtl);
    far.then(kFound);
    veskQueryHandler other;
    other.DSsearch(nullptr, caller.object, caller.attrs, caller.results,
                   caller.list2, &caller.answeredBy, nullptr, nullptr);
  }

  // The times-to-live set since the test began, and those of what was sent.
  std::vector<int> ttlsSet() const {
    std::vector<int> result;
    for (const fake::Platform::Setting& setting : system.settings) {
      if (setting.call == Call::kSetMulticastTtl)
        result.push_back(setting.value);
    }
    return result;
  }
  std::vector<int> ttlsSent() const {
    std::vector<int> result;
    for (const fake::Datagram& datagram : system.sent)
      result.push_back(datagram.ttl);
    return result;
  }

  static constexpr const char* kGroup = "224.0.1.2";
  static constexpr const char* kFound = "2F" SUCCESS NONE NONE NONE;
};

TEST_F(Discovery, TriesFurtherAndFurtherFor16Seconds) {
  fake::Server tooFar("192.0.2.50", fake::kDirectoryPort, kGroup, 9);
  const std::int64_t began = system.clock;
  EXPECT_EQ(searchAnyDirectory(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(system.clock - began, 16 * fake::Platform::kSecond);
  ASSERT_THAT(system.sent, SizeIs(4));
  const std::vector<std::int64_t> times = {0, 3, 6, 11};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(system.sent[i].at - began, times[i] * fake::Platform::kSecond);
    EXPECT_EQ(fake::text(system.sent[i].to), "224.0.1.2:5136");
  }
  EXPECT_THAT(ttlsSent(), ElementsAre(1, 2, 4, 8));
  EXPECT_THAT(ttlsSet(), ElementsAre(4, 1, 2, 4, 8));
  caller.expectListsUntouched();
}

TEST_F(Discovery, SendsAnEmptySearchInNobodysName) {
  fake::Server near("192.0.2.50", fake::kDirectoryPort, kGroup, 1);
  near.then(kFound);
  searchAnyDirectory();
  ASSERT_FALSE(near.requests.empty());
  EXPECT_EQ(near.requests[0].pdu,
            "2E 03 00 43 00 0A 00 0A 00 80 43 00 80 43 00");
}

TEST_F(Discovery, ThatFailsKeepsTheLastTimeoutAndNoRetries) {
  searchAnyDirectory();
  EXPECT_EQ(handler.transactionHandler->initialTimeout, 5);
  EXPECT_EQ(handler.transactionHandler->retries, 0);
}

TEST_F(Discovery, ThatFailsKeepsItsTimeToLiveForHandlersToCome) {
  searchAnyDirectory();
  const veskQueryHandler other;
  EXPECT_EQ(system.sockets.at(other.socket).ttl, 8);
}

TEST_F(Discovery, SearchesTheServerThatAnsweredFirst) {
  fake::Server found("192.0.2.50", fake::kDirectoryPort, kGroup, 2);
  found.then(kFound).then("2F" SUCCESS NONE NONE OBJECTS);
  caller.results.clear(1);
  EXPECT_EQ(searchAnyDirectory(), kNoError);
  EXPECT_EQ(textOf(caller.results), "59.6.0.1");
  EXPECT_EQ(caller.answeredBy == "192.0.2.50", 1);
  EXPECT_THAT(ttlsSent(), ElementsAre(1, 2, 2));
  EXPECT_EQ(fake::text(system.sent[2].to), "192.0.2.50:5136");
  ASSERT_THAT(found.requests, SizeIs(2));
  EXPECT_NE(found.requests[1].pdu.find("3B 01 6E 01 01 01 01"),
            std::string::npos);  // the principal
}

TEST_F(Discovery, ThatSucceedsRestoresTimeoutAndRetries) {
  handler.transactionHandler->initialTimeout = 2;
  handler.transactionHandler->retries = 1;
  fake::Server found("192.0.2.50", fake::kDirectoryPort, kGroup, 4);
  found.then(kFound);  // and then nothing
  const std::int64_t began = system.clock;
  EXPECT_EQ(searchAnyDirectory(), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(handler.transactionHandler->initialTimeout, 2);
  EXPECT_EQ(handler.transactionHandler->retries, 1);
  // Two attempts of 3 seconds in vain, then intervals of 2 and 4.
  EXPECT_EQ(system.clock - began, (3 + 3 + 2 + 4) * fake::Platform::kSecond);
  EXPECT_EQ(caller.answeredBy.family, 0);
}

TEST_F(Discovery, EndsWithAnyAnswerWhateverItsStatusOrClass) {
  for (const char* message : {"2F" REFUSED NONE NONE NONE, "2B" SUCCESS,
                              "2F" PARTIAL NONE NONE NONE}) {
    fake::Server found("192.0.2.50", fake::kDirectoryPort, kGroup, 1);
    found.then(message).then("2F" SUCCESS NONE NONE NONE);
    EXPECT_EQ(searchAnyDirectory(), kNoError) << message;
    EXPECT_EQ(found.unused(), 0U);
    found.peer().groups.clear();
    found.peer().address = fake::endpoint("192.0.2.51", 1);
  }
}

TEST_F(Discovery, EndsWithAnAnswerThatReportsANetworkError) {
  fake::Server found("192.0.2.50", fake::kDirectoryPort, kGroup, 2);
  found.then("2F 03 01 0A ID 0A 00" NONE NONE NONE);
  EXPECT_EQ(searchAnyDirectory(), kNetworkError);
  EXPECT_NE(errno, ETIMEDOUT);
  EXPECT_THAT(ttlsSent(), ElementsAre(1, 2));
}

TEST_F(Discovery, EndsWhenSendingFails) {
  system.failNext(Call::kSend, ENETUNREACH, 1, 1);
  EXPECT_EQ(searchAnyDirectory(), kNetworkError);
  EXPECT_EQ(errno, ENETUNREACH);
  EXPECT_THAT(ttlsSet(), ElementsAre(4, 1, 2));
}

TEST_F(Discovery, EndsWhenAnOlderRequestCannotBeSentAgain) {
  const sockaddr_in nobody = fake::endpoint("192.0.2.9", fake::kObjectPort);
  veskRemovePDU older(caller.object);
  handler.transactionHandler->initialTimeout = 2;
  handler.transactionHandler->send(&nobody, &older);
  system.failNext(Call::kSend, ENETDOWN, 1, 1);
  EXPECT_EQ(searchAnyDirectory(), kNetworkError);
  EXPECT_EQ(errno, ENETDOWN);
  EXPECT_THAT(ttlsSet(), ElementsAre(4, 1));
}

TEST_F(Discovery, EndsWhenTheTimeToLiveIsRefused) {
  system.failNext(Call::kSetMulticastTtl, EPERM, 1, 1);
  EXPECT_EQ(searchAnyDirectory(), kNetworkError);
  EXPECT_EQ(errno, EPERM);
  EXPECT_THAT(ttlsSet(), ElementsAre(4, 1, 2));
  EXPECT_EQ(handler.transactionHandler->initialTimeout, 3);
  EXPECT_EQ(handler.transactionHandler->retries, 0);
}

TEST_F(Discovery, DropsAnAnswerToAnAttemptThatIsOver) {
  fake::Server slow("192.0.2.50", fake::kDirectoryPort, kGroup, 1);
  slow.then(delayed(4, answer(kFound)));
  EXPECT_EQ(searchAnyDirectory(), kNetworkError);
  EXPECT_THAT(ttlsSent(), ElementsAre(1, 2, 4, 8));
}

// --- the principal

// An object server on this host that knows principals. Principal 1 belongs to
// object 9 and user 1000.
#define FOUND_9 "29" SUCCESS NONE ONE PRINCIPAL_OBJECT
#define NAMES_1 "27" SUCCESS NONE ONE PRINCIPAL
#define NAMES_2 "27" SUCCESS NONE " 80 43 01 01 0A 01 01 3B 01 6E 01 01 01 02 "

class Principals : public QueryHandler {
 protected:
  ~Principals() override { handler.principalCache.clear(1); }

  // Removes an object; returns the principal in the request, in hex.
  std::string principalOfNextRequest() {
    server.then("2B" SUCCESS);
    EXPECT_EQ(handler.remove(&caller.address, caller.object), kNoError);
    const std::string& pdu = server.requests.back().pdu;
    const std::string before = "1E 03 00 " + server.requests.back().id + " ";
    const std::string object = toHex(ostrel::test::hex(OBJECT));
    return pdu.substr(before.size(),
                      pdu.size() - before.size() - object.size() - 1);
  }

  veskQueryHandler handler;
  fake::Server server{"192.0.2.1", fake::kObjectPort};
  fake::Server local{"127.0.0.1", fake::kObjectPort};
};

const char kPrincipal1[] = "0A 01 01 3B 01 6E 01 01 01 01";
const char kPrincipal2[] = "0A 01 01 3B 01 6E 01 01 01 02";

TEST_F(Principals, AreLookedUpOnceForEachUser) {
  local.then(FOUND_9).then(NAMES_1);
  EXPECT_EQ(principalOfNextRequest(), kPrincipal1);
  EXPECT_EQ(principalOfNextRequest(), kPrincipal1);
  EXPECT_THAT(local.requests, SizeIs(2));
  EXPECT_EQ(handler.principalCache.count, 1U);

  system.user = 2000;
  local.then(FOUND_9).then(NAMES_2);
  EXPECT_EQ(principalOfNextRequest(), kPrincipal2);
  EXPECT_THAT(local.requests, SizeIs(4));
  EXPECT_EQ(handler.principalCache.count, 2U);

  system.user = kUser;
  EXPECT_EQ(principalOfNextRequest(), kPrincipal1);
  system.user = 2000;
  EXPECT_EQ(principalOfNextRequest(), kPrincipal2);
  EXPECT_THAT(local.requests, SizeIs(4));
  EXPECT_EQ(handler.principalCache.count, 2U);
}

TEST_F(Principals, AreCopiedIntoTheCacheWithTheirUser) {
  local.then(FOUND_9).then(NAMES_1);
  EXPECT_EQ(handler.setAccess(), kNoError);
  ASSERT_EQ(handler.principalCache.count, 1U);
  auto* record = static_cast<idMap*>(handler.principalCache.index(0)->data);
  EXPECT_NE(record, &handler.currentAccess);
  EXPECT_EQ(record->id, kUser);
  EXPECT_EQ(textOf(*record), "59.110.1.1");
  EXPECT_EQ(handler.currentAccess.id, kUser);
  EXPECT_EQ(textOf(handler.currentAccess), "59.110.1.1");
}

TEST_F(Principals, ThatDoNotExistAreNotLookedUpAgain) {
  local.then("29" SUCCESS NONE NONE);
  EXPECT_EQ(principalOfNextRequest(), "0A 00");
  EXPECT_EQ(principalOfNextRequest(), "0A 00");
  EXPECT_THAT(local.requests, SizeIs(1));
}

TEST_F(Principals, ThatCannotBeFoundLeaveTheRequestWithoutOne) {
  const std::int64_t began = system.clock;
  EXPECT_EQ(principalOfNextRequest(), "0A 00");
  EXPECT_EQ(system.clock - began, 30 * fake::Platform::kSecond);
  EXPECT_EQ(handler.principalCache.count, 0U);
  local.then(FOUND_9).then(NAMES_1);
  EXPECT_EQ(principalOfNextRequest(), kPrincipal1);
}

TEST_F(Principals, ThatCannotBeFoundLeaveTheFormerOne) {
  local.then(FOUND_9).then(NAMES_1);
  EXPECT_EQ(principalOfNextRequest(), kPrincipal1);
  system.user = 2000;
  local.then("29" REFUSED NONE NONE).then("29" REFUSED NONE NONE);
  EXPECT_EQ(principalOfNextRequest(), kPrincipal1);
  EXPECT_EQ(handler.setAccess(), 5);
  EXPECT_EQ(textOf(handler.currentAccess), "59.110.1.1");
  EXPECT_EQ(handler.currentAccess.id, kUser);
}

TEST_F(Principals, FoundInPartAreNotUsed) {
  local.then(FOUND_9).then("27" REFUSED NONE NONE);
  EXPECT_EQ(handler.setAccess(), 5);
  EXPECT_EQ(handler.currentAccess.valid, 0U);
  EXPECT_EQ(handler.principalCache.count, 0U);
}

TEST_F(Principals, DoNotDisturbTheTimeoutsOfTheRequest) {
  EXPECT_EQ(handler.remove(&caller.address, caller.object), kNetworkError);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_THAT(server.times(), ElementsAre(30, 33, 39));
}

// --- checkAttrLists and checkPDUs

class AttributeLists : public QueryHandler {
 protected:
  ~AttributeLists() override {
    expected.clear(1);
    got.clear(1);
  }

  veskQueryHandler handler;
  veskList expected;
  veskList got;
};

TEST_F(AttributeLists, OfDifferentLengthAreReported) {
  const char* const two[] = {"59.6.1", "59.6.2", nullptr};
  const char* const three[] = {"59.6.1", "59.6.2", "59.6.3", nullptr};
  veskMakeAttrList(two, &expected);
  veskMakeAttrList(three, &got);
  CaptureStderr();
  EXPECT_EQ(handler.checkAttrLists(&expected, &got), kInternalError);
  EXPECT_EQ(GetCapturedStderr(),
            "ostrelQueryHandler: attr list count 2 != 3\n");
}

TEST_F(AttributeLists, AreComparedPositionByPosition) {
  const char* const wanted[] = {"59.6.1", "59.6.2", "59.6.3", nullptr};
  const char* const found[] = {"59.6.1", "59.6.3", "59.6", nullptr};
  veskMakeAttrList(wanted, &expected);
  veskMakeAttrList(found, &got);
  CaptureStderr();
  EXPECT_EQ(handler.checkAttrLists(&expected, &got), kInternalError);
  EXPECT_EQ(GetCapturedStderr(),
            "ostrelQueryHandler: Attr 1: Should be 59.6.2 != 59.6.3\n"
            "ostrelQueryHandler: Attr 2: Should be 59.6.3 != 59.6.0\n");
}

TEST_F(AttributeLists, WithTheSameIdentifiersPass) {
  const char* const names[] = {"59.6.1", "x", nullptr};
  veskMakeAttrList(names, &expected);
  veskMakeAttrList(names, &got);
  got.at<veskAttribute>(0)->value = new veskInt(5);
  CaptureStderr();
  EXPECT_EQ(handler.checkAttrLists(&expected, &got), kNoError);
  EXPECT_EQ(GetCapturedStderr(), "");
}

TEST_F(AttributeLists, WithSomethingElseAmongThemDiffer) {
  const char* const names[] = {"59.6.1", nullptr};
  veskMakeAttrList(names, &expected);
  got.append(new veskInt(5));
  CaptureStderr();
  EXPECT_EQ(handler.checkAttrLists(&expected, &got), kInternalError);
  EXPECT_EQ(handler.checkAttrLists(&got, &got), kInternalError);
  EXPECT_EQ(GetCapturedStderr(),
            "ostrelQueryHandler: Attr 0: Should be 59.6.1 != Invalid\n"
            "ostrelQueryHandler: Attr 0: Should be Invalid != Invalid\n");
}

TEST_F(AttributeLists, ThatAreEmptyPass) {
  EXPECT_EQ(handler.checkAttrLists(&expected, &got), kNoError);
}

TEST_F(AttributeLists, KeepsPDUsUnchecked) {
  veskGetPDU request;
  EXPECT_EQ(handler.checkPDUs(&request, nullptr), kNoError);
  request.clear();
}

}  // namespace
