#include "directory/merged_search.h"

#include <ostrel/message.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <utility>

#include "directory/server_addresses.h"
#include "net_test.h"
#include "server_test.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using namespace std::chrono_literals;

constexpr std::size_t kLongestAnswer = 4000;
constexpr std::chrono::milliseconds kTimeout{1000};

// An object server that the test plays: a socket on loopback.
class ScriptedServer {
 public:
  ScriptedServer() {
    messages_.open(0);
    socklen_t length = sizeof address;
    getsockname(messages_.socket, reinterpret_cast<sockaddr*>(&address),
                &length);
    address.sin_addr = loopbackAddress();
  }

  // The next request; null when there is none.
  Owned<veskPDU> take() {
    char byte = 0;
    if (recv(messages_.socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0)
      return nullptr;
    veskPDU* pdu = nullptr;
    messages_.recv(&client_, &pdu);
    return Owned<veskPDU>(pdu);
  }

  // Answers the next request with these objects.
  void answer(std::vector<const char*> objects, int code = 0) {
    const auto request = take();
    ASSERT_NE(request, nullptr);
    veskSearchRespPDU response(code);
    response.requestId = request->requestId;
    for (const char* object : objects)
      response.list->append(new veskOid(object));
    messages_.send(&client_, &response);
    response.clear();
  }

  void answerWith(veskPDU& response) {
    const auto request = take();
    ASSERT_NE(request, nullptr);
    response.requestId = request->requestId;
    messages_.send(&client_, &response);
    response.clear();
  }

  // Answers the next request with objects that have a text of that length.
  void answerWithText(std::vector<const char*> objects, std::size_t length) {
    veskSearchRespPDU response(0);
    for (const char* object : objects) {
      veskOid oid(object);
      auto* held = new veskObject(&oid);
      const std::string text(length, 'x');
      with(held->attributeList, "59.200.1", new veskString(text.c_str()));
      response.list->append(held);
    }
    answerWith(response);
  }

  // Answers the next request with another's id.
  void answerAs(unsigned id, veskPDU& response) {
    ASSERT_NE(take(), nullptr);
    response.requestId.value = id;
    messages_.send(&client_, &response);
    response.clear();
  }

  sockaddr_in address = {};

 private:
  veskMessageHandler messages_;
  sockaddr_in client_ = {};
};

class MergedSearchTest : public testing::Test {
 protected:
  MergedSearchTest()
      : socket(loopbackAddress(), 0),
        asking(&socket, kLongestAnswer, &counters),
        directory(
            &asking, kLongestAnswer,
            [this](const sockaddr_in& to, std::string& bytes) {
              // As the server does with what is long.
              sent.push_back({to, std::move(bytes)});
            },
            &counters) {
    asking.setPatience({kTimeout, 1});
    directory.setServers({first.address, second.address});
  }

  static std::string searchBytes(unsigned id, veskList* servers = newList()) {
    veskOid oid("59.200");
    auto* list = condition(newList(), "59.200.1", new veskString("a"), 1);
    veskDSsearchPDU request(oid, list, servers);
    request.requestId.value = id;
    const std::string bytes = *encoded(request);
    request.clear();
    return bytes;
  }

  // A search for a page: behind an object, of so many results.
  static std::string pageBytes(const char* after, unsigned limit) {
    veskOid oid("59.200");
    veskAid none;
    veskOid place(after);
    veskUnsignedInt count(limit);
    auto* list = newList();
    list->append(new veskAttributeValueOp(&none, &place, kOperatorAfter));
    list->append(new veskAttributeValueOp(&none, &count, kOperatorLimit));
    veskDSsearchPDU request(oid, list, newList());
    const std::string bytes = *encoded(request);
    request.clear();
    return bytes;
  }

  void handle(const std::string& bytes) {
    directory.handle({local(), 0, bytes}, now);
  }

  void receiveAll() {
    // The call after one that saw all looks again.
    for (int i = 0; i < 2; ++i)
      while (directory.receive(now)) {
      }
  }

  // Lets time pass until the servers that say nothing are given up.
  void waitForAll() {
    while (const auto due = directory.tick(now)) now = *due;
  }

  // The one answer that was sent.
  Owned<veskDSsearchRespPDU> answer() {
    EXPECT_THAT(sent, SizeIs(1));
    Owned<veskType> value = sent.size() == 1 ? decoded(sent[0].bytes) : nullptr;
    auto typed = takeAs<veskDSsearchRespPDU>(value);
    EXPECT_NE(typed, nullptr);
    if (typed == nullptr) typed.reset(new veskDSsearchRespPDU);
    return typed;
  }

  struct Sent {
    sockaddr_in to;
    std::string bytes;
  };

  ScriptedServer first;
  ScriptedServer second;
  std::vector<Sent> sent;
  MergedSearch::Time now{1h};
  Counters counters;
  UdpSocket socket;
  Asking asking;
  MergedSearch directory;
};

TEST_F(MergedSearchTest, AnEmptySearchIsAnsweredAtOnce) {
  veskDSsearchPDU discovery;
  discovery.requestId.value = 9;
  handle(*encoded(discovery));
  discovery.clear();
  const auto found = answer();
  EXPECT_EQ(found->status.value, 0);
  EXPECT_EQ(found->requestId.value, 9U);
  EXPECT_EQ(first.take(), nullptr);
}

TEST_F(MergedSearchTest, MergesTheAnswersInTheOrderOfTheServers) {
  handle(searchBytes(1));
  second.answer({"59.200.0.7"});
  receiveAll();
  EXPECT_THAT(sent, IsEmpty());
  first.answer({"59.200.0.1", "59.200.0.2"});
  receiveAll();
  const auto found = answer();
  EXPECT_EQ(found->status.value, 0);
  EXPECT_THAT(texts(*found->list),
              ElementsAre("59.200.0.1", "59.200.0.2", "59.200.0.7"));
  EXPECT_THAT(texts(*found->list2),
              ElementsAre("127.0.0.1", "127.0.0.1", "127.0.0.1"));
  EXPECT_THAT(texts(*found->errors), IsEmpty());
}

TEST_F(MergedSearchTest, PassesTheConditionsOn) {
  handle(searchBytes(1));
  const auto request = first.take();
  auto* search = dynamic_cast<veskSearchPDU*>(request.get());
  ASSERT_NE(search, nullptr);
  EXPECT_EQ(text(search->oid), "59.200.0.0");
  EXPECT_THAT(texts(*search->list), ElementsAre("59.200.1 = a op = 1"));
}

TEST_F(MergedSearchTest, ASilentServerIsGivenUpAndNamed) {
  handle(searchBytes(1));
  first.answer({"59.200.0.1"});
  receiveAll();
  testing::internal::CaptureStderr();
  waitForAll();
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr(text(second.address) + " did not answer"));
  const auto found = answer();
  EXPECT_EQ(found->status.value, 0);
  EXPECT_THAT(texts(*found->list), ElementsAre("59.200.0.1"));
  EXPECT_THAT(errorsIn(*found->errors), ElementsAre(Pair(1, kNetworkError)));
  EXPECT_EQ(directory.tick(now), std::nullopt);
}

TEST_F(MergedSearchTest, FailsOnlyWhenEveryServerFails) {
  handle(searchBytes(1));
  first.answer({}, kOidFormat);
  second.answer({}, kOidFormat);
  receiveAll();
  EXPECT_EQ(answer()->status.value, kOidFormat);
}

TEST_F(MergedSearchTest, AServersOwnCodeTellsMoreThanSilence) {
  handle(searchBytes(1));
  second.answer({}, kArgListError);
  receiveAll();
  waitForAll();
  const auto found = answer();
  EXPECT_EQ(found->status.value, kArgListError);
  EXPECT_THAT(errorsIn(*found->errors),
              ElementsAre(Pair(0, kNetworkError), Pair(1, kArgListError)));
}

TEST_F(MergedSearchTest,
       ASilentServerIsAskedAgainAndEachTimeWaitedForTwiceAsLong) {
  handle(searchBytes(1));
  EXPECT_EQ(directory.tick(now), now + kTimeout);
  const auto request = first.take();
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(first.take(), nullptr);
  now += kTimeout;
  EXPECT_EQ(directory.tick(now), now + 2 * kTimeout);
  const auto again = first.take();
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->requestId.value, request->requestId.value);
  EXPECT_THAT(sent, IsEmpty());
  now += 2 * kTimeout;
  EXPECT_EQ(directory.tick(now), std::nullopt);
  EXPECT_EQ(first.take(), nullptr);
  EXPECT_EQ(answer()->status.value, kNetworkError);
}

TEST_F(MergedSearchTest, AnAnswerMakesNoOtherServerDueEarlier) {
  handle(searchBytes(1));
  now += kTimeout / 2;
  first.answer({"59.200.0.1"});
  receiveAll();
  EXPECT_EQ(directory.tick(now), now + kTimeout / 2);
  second.take();
  EXPECT_EQ(second.take(), nullptr);
}

TEST_F(MergedSearchTest, AnAnswerFromAnotherAddressIsNamedAndIgnored) {
  handle(searchBytes(1));
  veskSearchRespPDU response(0);
  const auto request = first.take();
  ASSERT_NE(request, nullptr);
  response.requestId = request->requestId;
  veskMessageHandler stranger;
  stranger.open(0);
  const sockaddr_in asker = socket.address();
  stranger.send(&asker, &response);
  response.clear();
  testing::internal::CaptureStderr();
  receiveAll();
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("which was not asked"));
  second.answer({"59.200.0.2"});
  receiveAll();
  EXPECT_THAT(sent, IsEmpty());
  now += kTimeout;
  directory.tick(now);
  first.answer({"59.200.0.1"});
  receiveAll();
  EXPECT_THAT(texts(*answer()->list), ElementsAre("59.200.0.1", "59.200.0.2"));
}

TEST_F(MergedSearchTest, AServerThatWasNotAskedThisIsIgnored) {
  handle(searchBytes(1));
  const auto request = first.take();
  ASSERT_NE(request, nullptr);
  // The second one answers what the first one was asked.
  veskSearchRespPDU response(0);
  second.answerAs(request->requestId.value, response);
  receiveAll();
  EXPECT_THAT(sent, IsEmpty());
  EXPECT_NE(directory.tick(now), std::nullopt);
}

TEST_F(MergedSearchTest, NothingIsKeptOfAnAnswerThatIsTooLong) {
  handle(searchBytes(1));
  first.answer(std::vector<const char*>(1000, "59.200.0.1"));
  second.answer({});
  testing::internal::CaptureStderr();
  receiveAll();
  testing::internal::GetCapturedStderr();
  EXPECT_GT(counters.value(Counter::kTooLong), 0U);
  EXPECT_THAT(sent, IsEmpty());
}

TEST_F(MergedSearchTest, StrangersAreNotHeardWhenNobodyWasAsked) {
  const sockaddr_in asker = socket.address();
  testing::internal::CaptureStderr();
  Peer stranger;
  for (int i = 0; i < 100; ++i) stranger.send(asker, std::string(3000, 's'));
  receiveAll();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_GT(counters.value(Counter::kMalformed), 0U);
}

TEST_F(MergedSearchTest, AnAnswerOfAnotherKindCountsAsFailure) {
  handle(searchBytes(1));
  veskVerifyRespPDU wrong(0);
  first.answerWith(wrong);
  veskSearchRespPDU strange(0);
  strange.list->append(new veskInt(5));
  strange.list->append(new veskOid("59.200.0.3"));
  second.answerWith(strange);
  receiveAll();
  const auto found = answer();
  EXPECT_THAT(texts(*found->list), ElementsAre("59.200.0.3"));
  EXPECT_THAT(texts(*found->list2), SizeIs(1));
  EXPECT_THAT(errorsIn(*found->errors), ElementsAre(Pair(0, kCodingError)));
}

TEST_F(MergedSearchTest, ARequestThatIsSentAgainMeanwhileAsksNobodyTwice) {
  handle(searchBytes(1));
  handle(searchBytes(1));
  first.answer({"59.200.0.1"});
  EXPECT_EQ(first.take(), nullptr);
  second.answer({});
  receiveAll();
  EXPECT_THAT(sent, SizeIs(1));
  EXPECT_EQ(counters.value(Counter::kRepeats), 1U);
}

TEST_F(MergedSearchTest, AnAnsweredSearchIsNeverAnsweredFromTheOldAnswer) {
  for (const char* object : {"59.200.0.1", "59.200.0.2"}) {
    handle(searchBytes(1));
    first.answer({object});
    second.answer({});
    receiveAll();
    EXPECT_THAT(texts(*answer()->list), ElementsAre(object));
    sent.clear();
  }
}

TEST_F(MergedSearchTest, SearchesRunSideBySide) {
  handle(searchBytes(1));
  handle(searchBytes(2));
  for (ScriptedServer* server : {&first, &second}) {
    server->answer({"59.200.0.1"});
    server->answer({"59.200.0.1"});
  }
  receiveAll();
  EXPECT_THAT(sent, SizeIs(2));
}

TEST_F(MergedSearchTest, TheSecondListChoosesServers) {
  auto* nobody = newList();
  nobody->append(new veskAddress("192.0.2.1"));
  handle(searchBytes(1, nobody));
  EXPECT_EQ(first.take(), nullptr);
  EXPECT_THAT(texts(*answer()->list), IsEmpty());
  sent.clear();
  auto* here = newList();
  here->append(new veskAddress("127.0.0.1"));
  handle(searchBytes(2, here));
  first.answer({"59.200.0.1"});
  second.answer({});
  receiveAll();
  EXPECT_THAT(texts(*answer()->list), ElementsAre("59.200.0.1"));
}

TEST_F(MergedSearchTest, WhatIsForAnObjectServerIsRefused) {
  veskOid oid("59.200.0.1");
  veskVerifyPDU request(oid);
  handle(*encoded(request));
  ASSERT_THAT(sent, SizeIs(1));
  const auto value = decoded(sent[0].bytes);
  auto* response = dynamic_cast<veskVerifyRespPDU*>(value.get());
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(response->status.value, kNoObjectManager);
}

TEST_F(MergedSearchTest, PassesOnWhichPageIsAskedFor) {
  handle(pageBytes("59.200.0.7", 2));
  for (ScriptedServer* server : {&first, &second}) {
    const auto request = server->take();
    auto* search = dynamic_cast<veskSearchPDU*>(request.get());
    ASSERT_NE(search, nullptr);
    EXPECT_THAT(
        texts(*search->list),
        ElementsAre("Invalid = 59.200.0.7 op = 16", "Invalid = 2 op = 17"));
  }
}

TEST_F(MergedSearchTest, APageIsInTheOrderOfIdentifiersThenOfServers) {
  handle(pageBytes("0.0.0.0", 10));
  first.answer({"59.200.0.1", "59.200.0.3", "59.200.0.4"});
  second.answer({"59.200.0.1", "59.200.0.2", "59.200.0.4"});
  receiveAll();
  EXPECT_THAT(texts(*answer()->list),
              ElementsAre("59.200.0.1", "59.200.0.1", "59.200.0.2",
                          "59.200.0.3", "59.200.0.4", "59.200.0.4"));
}

TEST_F(MergedSearchTest, APageEndsWhereTheFirstServersPageEnds) {
  handle(pageBytes("0.0.0.0", 10));
  first.answer({"59.200.0.1", "59.200.0.5"});
  second.answer({"59.200.0.2", "59.200.0.5", "59.200.0.6"});
  receiveAll();
  EXPECT_THAT(texts(*answer()->list), ElementsAre("59.200.0.1", "59.200.0.2",
                                                  "59.200.0.5", "59.200.0.5"));
}

TEST_F(MergedSearchTest, AServerThatHasNoMoreEndsNoPage) {
  handle(pageBytes("59.200.0.4", 10));
  first.answer({});
  second.answer({"59.200.0.5", "59.200.0.6"});
  receiveAll();
  EXPECT_THAT(texts(*answer()->list), ElementsAre("59.200.0.5", "59.200.0.6"));
}

TEST_F(MergedSearchTest, OneIdentifierIsNotSplitAtTheLimit) {
  handle(pageBytes("0.0.0.0", 2));
  first.answer({"59.200.0.1", "59.200.0.2"});
  second.answer({"59.200.0.2", "59.200.0.3"});
  receiveAll();
  EXPECT_THAT(texts(*answer()->list),
              ElementsAre("59.200.0.1", "59.200.0.2", "59.200.0.2"));
}

TEST_F(MergedSearchTest, NothingOfAPageStandsBeforeItsPlace) {
  handle(pageBytes("59.200.0.4", 9));
  first.answer({"59.200.0.3", "59.200.0.4", "59.200.0.5"});
  second.answer({});
  receiveAll();
  EXPECT_THAT(texts(*answer()->list), ElementsAre("59.200.0.5"));
}

TEST_F(MergedSearchTest, AServerThatKnowsNoPagesIsAnError) {
  handle(pageBytes("0.0.0.0", 9));
  first.answer({}, kArgListError);
  second.answer({"59.200.0.5"});
  receiveAll();
  const auto found = answer();
  EXPECT_EQ(found->status.value, 0);
  EXPECT_THAT(texts(*found->list), ElementsAre("59.200.0.5"));
  EXPECT_THAT(errorsIn(*found->errors), ElementsAre(Pair(0, kArgListError)));
}

TEST_F(MergedSearchTest, AnObjectThatNoAnswerHoldsIsNamed) {
  handle(pageBytes("0.0.0.0", 9));
  first.answerWithText({"59.200.0.1"}, 1990);
  second.answerWithText({"59.200.0.1"}, 1990);
  receiveAll();
  EXPECT_THAT(texts(*answer()->list), ElementsAre("59.200.0.1", "59.200.0.1"));
  sent.clear();
  handle(pageBytes("59.200.0.1", 9));
  first.answerWithText({"59.200.0.2"}, 1990);
  second.answerWithText({"59.200.0.3"}, 1990);
  receiveAll();
  EXPECT_THAT(texts(*answer()->list),
              ElementsAre(HasSubstr("59.200.0.2 : 59.200.1 = xxx")));
}

TEST_F(MergedSearchTest, AnswersAndNonsenseAreNotAnswered) {
  veskDSsearchRespPDU response(0);
  handle(*encoded(response));
  response.clear();
  handle("nonsense");
  EXPECT_THAT(sent, IsEmpty());
}

TEST_F(MergedSearchTest, AnAnswerThatIsTooLongBecomesAnError) {
  handle(searchBytes(1));
  // Each fits; together they do not, with an address beside each object.
  first.answer(std::vector<const char*>(250, "59.200.0.1"));
  second.answer(std::vector<const char*>(250, "59.200.0.1"));
  receiveAll();
  EXPECT_EQ(answer()->status.value, kTooManyResults);
}

TEST_F(MergedSearchTest, SearchesAtATimeAreBounded) {
  const auto asked = [&](const sockaddr_in& from) {
    for (unsigned i = 0; i <= MergedSearch::kMostQueries; ++i)
      directory.handle({from, 0, searchBytes(i)}, now);
    unsigned count = 0;
    while (first.take() != nullptr) count++;
    while (second.take() != nullptr) {
    }
    return count;
  };
  EXPECT_EQ(asked(addressOf("127.0.0.1", 1)), 16U);
  EXPECT_EQ(asked(addressOf("127.0.0.1", 2)), 16U);
  EXPECT_EQ(asked(addressOf("127.0.0.1", 3)), 16U);
  EXPECT_EQ(asked(addressOf("127.0.0.1", 4)), 0U);
  EXPECT_EQ(asked(addressOf("127.0.0.2", 1)), 16U);
  EXPECT_EQ(asked(addressOf("127.0.0.3", 1)), 0U);
}

TEST_F(MergedSearchTest, WithoutServersNothingIsFound) {
  directory.setServers({});
  handle(searchBytes(1));
  EXPECT_EQ(answer()->status.value, 0);
}

TEST(ServerListTest, HasAddressesAndPorts) {
  EXPECT_EQ(text(parseServer("127.0.0.2")), "127.0.0.2:5135");
  EXPECT_EQ(text(parseServer("127.0.0.2:6000")), "127.0.0.2:6000");
  for (const char* entry : {"127.0.0.2:0", "127.0.0.2:70000", "127.0.0.2:"})
    EXPECT_THROW(parseServer(entry), std::invalid_argument) << entry;
}

TEST(ServerListTest, EachAddressIsOneMachines) {
  for (const char* entry : {"224.0.0.77", "255.255.255.255", "0.0.0.0"})
    EXPECT_THROW(parseServer(entry), std::invalid_argument) << entry;
}

TEST(ServerListTest, AFolderIsNoFile) {
  EXPECT_THROW(readServerFile("/tmp"), std::runtime_error);
}

// Whether the name is known without asking any other machine.
bool isInHostsFile(const std::string& name) {
  std::ifstream hosts("/etc/hosts");
  for (std::string word; hosts >> word;) {
    if (word == name) return true;
  }
  return false;
}

TEST(ServerListTest, NamesStandForTheirAddresses) {
  if (!isInHostsFile("localhost"))
    GTEST_SKIP() << "/etc/hosts does not name localhost";
  EXPECT_EQ(text(parseServer("localhost")), "127.0.0.1:5135");
  EXPECT_EQ(text(parseServer("localhost:7")), "127.0.0.1:7");
}

TEST(ServerListTest, FilesHaveCommentsAndErrorsHaveLines) {
  char path[] = "/tmp/ostreld-servers-XXXXXX";
  close(mkstemp(path));
  std::ofstream(path) << "# all of them\n\n127.0.0.1  # here\r\n127.0.0.3:7\n";
  std::vector<std::string> servers;
  for (const sockaddr_in& server : readServerFile(path))
    servers.push_back(text(server));
  EXPECT_THAT(servers, ElementsAre("127.0.0.1:5135", "127.0.0.3:7"));
  std::ofstream(path) << "127.0.0.1\n127.0.0.1:x\n";
  try {
    readServerFile(path);
    FAIL() << "read";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("line 2"));
  }
  unlink(path);
  EXPECT_THROW(readServerFile(path), std::runtime_error);
}

TEST(ServerListTest, AServerIsAskedOnce) {
  EXPECT_THAT(withoutRepeats({local(), remote(), local()}), SizeIs(2));
}

}  // namespace
}  // namespace ostrel::tools::server
