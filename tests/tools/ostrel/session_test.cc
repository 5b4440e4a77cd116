#include "session/session.h"

#include <gtest/gtest.h>
#include <ostrel/message.h>
#include <sys/socket.h>

#include <csignal>
#include <functional>
#include <thread>

#include "common/addresses.h"
#include "format/value_text.h"
#include "terminal/signals.h"

namespace ostrel::tools::cli {
namespace {

// An object server on loopback that takes a stated number of requests and gives
// each the answer that the test says; null: none.
class Peer {
 public:
  using Answer = std::function<Owned<veskPDU>(veskPDU& request)>;

  explicit Peer(Answer answer, int requests = 1) : answer_(std::move(answer)) {
    messages_.open(0);
    // Whatever goes wrong, the test ends.
    const timeval patience = {5, 0};
    setsockopt(messages_.socket, SOL_SOCKET, SO_RCVTIMEO, &patience,
               sizeof patience);
    thread_ = std::thread([this, requests] {
      for (int i = 0; i < requests; ++i) serve();
    });
  }
  ~Peer() { thread_.join(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  std::uint16_t port() const {
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    getsockname(messages_.socket, reinterpret_cast<sockaddr*>(&address),
                &length);
    return ntohs(address.sin_port);
  }

 private:
  void serve() {
    sockaddr_in from = {};
    veskPDU* arrived = nullptr;
    if (messages_.recv(&from, &arrived) != kNoError) return;
    const Owned<veskPDU> request(arrived);
    const Owned<veskPDU> answer = answer_(*request);
    if (answer == nullptr) return;
    answer->requestId = request->requestId;
    messages_.send(&from, answer.get());
  }

  veskMessageHandler messages_;
  Answer answer_;
  std::thread thread_;
};

class SessionTest : public testing::Test {
 protected:
  SessionTest() { settings.principal = "none"; }

  // What asking whether an object is there comes to, at that port.
  Owned<veskVerifyRespPDU> verify(std::uint16_t port) {
    veskOid oid("59.200.0.1");
    veskVerifyPDU request(oid);
    return session().askAt<veskVerifyRespPDU>(endpoint(loopbackAddress(), port),
                                              request);
  }

  // The failure that it ends with.
  Failure failureOf(std::uint16_t port) {
    try {
      verify(port);
    } catch (const Failure& failure) {
      return failure;
    }
    return Failure(kDone, "there was no failure");
  }

  Session& session() {
    if (!session_) session_.emplace(output_);
    return *session_;
  }

  Settings settings;

 private:
  Output output_{settings};
  std::optional<Session> session_;
};

Owned<veskPDU> nothing(veskPDU&) { return nullptr; }

TEST_F(SessionTest, HandsOverTheAnswer) {
  Peer peer([](veskPDU&) { return make<veskVerifyRespPDU>(0); });
  const auto answer = verify(peer.port());
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer->status.value, 0);
}

TEST_F(SessionTest, TakesAServersCodeForARefusal) {
  Peer peer(
      [](veskPDU&) { return make<veskVerifyRespPDU>(kPermissionDenied); });
  const Failure failure = failureOf(peer.port());
  EXPECT_EQ(failure.exit, kRefused);
  EXPECT_EQ(failure.code, kPermissionDenied);
  EXPECT_STREQ(failure.what(), "5(Permission Denied)");
  EXPECT_EQ(failure.hint,
            "The server's policy does not let this principal write: "
            "--principal names another.");
}

TEST_F(SessionTest, TakesErrorsOfItemsForAnAnswer) {
  Peer peer([](veskPDU&) { return make<veskVerifyRespPDU>(kArgListError); });
  EXPECT_NE(verify(peer.port()), nullptr);
}

TEST_F(SessionTest, RefusesAnAnswerOfAnotherClass) {
  Peer peer([](veskPDU&) { return make<veskRemoveRespPDU>(0); });
  const Failure failure = failureOf(peer.port());
  EXPECT_EQ(failure.exit, kDecode);
  EXPECT_STREQ(failure.what(),
               "the answer is a removeResponse, which does not belong to the "
               "request");
}

TEST_F(SessionTest, SendsAgainWhatWasNotAnswered) {
  settings.timeout = 1;
  settings.retries = 1;
  int requests = 0;
  Peer peer(
      [&](veskPDU&) -> Owned<veskPDU> {
        return ++requests == 2 ? make<veskVerifyRespPDU>(0) : nullptr;
      },
      2);
  EXPECT_NE(verify(peer.port()), nullptr);
}

TEST_F(SessionTest, GivesUpASilentServer) {
  settings.timeout = 0;
  settings.retries = 0;
  Peer peer(nothing);
  const std::string where = "127.0.0.1:" + std::to_string(peer.port());
  const Failure failure = failureOf(peer.port());
  EXPECT_EQ(failure.exit, kNoAnswer);
  EXPECT_EQ(failure.code, kNetworkError);
  EXPECT_EQ(failure.what(),
            "no answer from " + where + ": 10(Network Error): timed out");
}

// A port of loopback where nobody listens.
std::uint16_t closedPort() {
  veskMessageHandler messages;
  messages.open(0);
  sockaddr_in address = {};
  socklen_t length = sizeof address;
  getsockname(messages.socket, reinterpret_cast<sockaddr*>(&address), &length);
  messages.close();
  return ntohs(address.sin_port);
}

TEST_F(SessionTest, DoesNotWaitForAClosedPort) {
  settings.timeout = 3600;
  const std::uint16_t port = closedPort();
  const Failure failure = failureOf(port);
  EXPECT_EQ(failure.exit, kNoAnswer);
  EXPECT_EQ(failure.code, kNetworkError);
  EXPECT_EQ(failure.what(), "no answer from 127.0.0.1:" + std::to_string(port) +
                                ": the port is closed");
  EXPECT_EQ(failure.hint,
            "Is an object server running there (ostreld serve)? --server names "
            "another host.");
}

TEST_F(SessionTest, TellsOfAClosedPortWhenThereAreSeveralFragments) {
  settings.timeout = 3600;
  Owned<veskList> list(new veskList);
  list->append(
      parseAttribute("59.200.1=" + std::string(5000, 'x'), 0).release());
  veskOid oid("59.200.0.1");
  veskSetPDU request(oid, list.get());
  try {
    session().askAt<veskSetRespPDU>(endpoint(loopbackAddress(), closedPort()),
                                    request);
    FAIL() << "somebody answered";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, kNoAnswer) << failure.what();
  }
}

TEST_F(SessionTest, AsksAnotherServerAfterAClosedPort) {
  EXPECT_EQ(failureOf(closedPort()).exit, kNoAnswer);
  Peer peer([](veskPDU&) { return make<veskVerifyRespPDU>(0); });
  EXPECT_NE(verify(peer.port()), nullptr);
}

TEST_F(SessionTest, EndsTheWaitWhenASignalComes) {
  Peer peer(nothing);
  session().client().verify(endpoint(loopbackAddress(), closedPort()),
                            "59.200.0.1", {}, session().requestOptions());
  std::raise(SIGINT);
  EXPECT_EQ(failureOf(peer.port()).exit, kInterrupted);
  try {
    session().drive([] { return false; });
    ADD_FAILURE() << "the client went on";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, kInterrupted);
  }
  forgetSignals();
}

TEST_F(SessionTest, SendsThePrincipalThatIsGiven) {
  settings.principal = "59.110.1.5";
  std::string principal;
  {
    Peer peer([&](veskPDU& request) {
      principal = oidText(request.principal);
      return make<veskVerifyRespPDU>(0);
    });
    verify(peer.port());
  }
  EXPECT_EQ(principal, "59.110.1.5");
}

TEST_F(SessionTest, ShowsWhatADryRunWouldSend) {
  settings.dryRun = true;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(verify(5135), nullptr);
  EXPECT_EQ(verify(5135), nullptr);
  const std::string shown =
      "would send to 127.0.0.1:5135\n"
      "  verify 0, status 0(No Error), principal none\n"
      "    oid: 59.200.0.1\n"
      "    2c030043000a000a01013b01c8000101\n";
  EXPECT_EQ(testing::internal::GetCapturedStdout(), shown + shown);
  // Once is enough.
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ostrel: not sent: the request identifier is chosen when it is\n");
}

TEST_F(SessionTest, AsksThisHostUnlessTold) {
  EXPECT_EQ(session().server().text(), "127.0.0.1:5135");
}

TEST_F(SessionTest, AsksTheServerThatIsNamed) {
  settings.server = "127.0.0.9";
  EXPECT_EQ(session().server().text(), "127.0.0.9:5135");
  EXPECT_EQ(session().serverName(), "127.0.0.9");
}

TEST_F(SessionTest, AsksAtThePortThatIsNamed) {
  Peer peer([](veskPDU&) { return make<veskVerifyRespPDU>(0); });
  settings.server = "127.0.0.1:" + std::to_string(peer.port());
  veskOid oid("59.200.0.1");
  veskVerifyPDU request(oid);
  EXPECT_NE(session().ask<veskVerifyRespPDU>(request), nullptr);
  EXPECT_EQ(session().serverName(), settings.server);
}

TEST_F(SessionTest, LeavesTimesThatNobodyGaveToTheClient) {
  const RequestOptions options = session().requestOptions();
  EXPECT_EQ(options.firstWait, Millis(0));
  EXPECT_EQ(options.transmissions, 0);
}

TEST_F(SessionTest, HandsTimesThatAreGivenToTheClient) {
  settings.timeout = 5;
  const RequestOptions options = session().requestOptions();
  EXPECT_EQ(options.firstWait, Millis(5000));
  EXPECT_EQ(options.transmissions, 3);
}

TEST_F(SessionTest, HandsThePrincipalToTheClient) {
  const auto none = session().requestOptions().principal;
  ASSERT_TRUE(none.has_value());
  EXPECT_FALSE(none->valid());
}

TEST_F(SessionTest, HandsThePrincipalThatIsGivenToTheClient) {
  settings.principal = "59.110.1.5";
  EXPECT_EQ(session().requestOptions().principal, Oid("59.110.1.5"));
}

TEST_F(SessionTest, DrivesTheClientUntilItIsDone) {
  Peer peer([](veskPDU&) { return make<veskVerifyRespPDU>(0); });
  settings.server = "127.0.0.1:" + std::to_string(peer.port());
  bool there = false;
  session().client().verify(
      session().server(), "59.200.0.1",
      [&](const Result<Done>& done) { there = static_cast<bool>(done); },
      session().requestOptions());
  session().drive([] { return false; });
  EXPECT_TRUE(there);
}

TEST_F(SessionTest, KnowsTheDirectoriesThatAreNamed) {
  settings.directory = "127.0.0.9,127.0.0.8:7";
  const auto all = session().directories({});
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].at.text(), "127.0.0.9:5136");
  EXPECT_EQ(all[0].name, "127.0.0.9");
  EXPECT_EQ(all[1].name, "127.0.0.8:7");
}

TEST_F(SessionTest, AsksAServerWithSeveralNamesOnce) {
  settings.server = "127.0.0.1,localhost,127.0.0.2,127.0.0.1:5135";
  const auto& all = session().servers({});
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].name, "127.0.0.1");
  EXPECT_EQ(all[1].name, "127.0.0.2");
}

TEST_F(SessionTest, GoesOnWithoutServersThatCannotBeResolved) {
  settings.server = "127.0.0.2,no.such.host.invalid";
  std::string lost;
  const auto& all =
      session().servers([&](const std::string& name, const Failure& failure) {
        lost = name;
        EXPECT_EQ(failure.exit, kSetup);
      });
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(lost, "no.such.host.invalid");
}

TEST_F(SessionTest, RefusesSeveralServersWhereOneIsAsked) {
  settings.server = "127.0.0.2,127.0.0.3";
  try {
    session().server();
    FAIL() << "there were several";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, kUsage);
  }
}

TEST_F(SessionTest, ShowsAnAnswerInATrace) {
  settings.trace = true;
  Peer peer([](veskPDU&) { return make<veskVerifyRespPDU>(0); });
  testing::internal::CaptureStderr();
  const Endpoint to("127.0.0.1:" + std::to_string(peer.port()));
  EXPECT_TRUE(session().get(to, [&](Client& client, RequestOptions options) {
    return client.verify(to, "59.200.0.1", {}, options);
  }));
  const std::string shown = testing::internal::GetCapturedStderr();
  EXPECT_EQ(shown.find("sent to " + to.text() + "\n  verify "), 0U) << shown;
  EXPECT_NE(shown.find("received from " + to.text() + "\n  verifyResponse "),
            shown.npos)
      << shown;
}

TEST_F(SessionTest, ThrowsWhyTheClientFailed) {
  const Endpoint to("127.0.0.1:" + std::to_string(closedPort()));
  try {
    session().get(to, [&](Client& client, RequestOptions options) {
      return client.verify(to, "59.200.0.1", {}, options);
    });
    FAIL() << "somebody answered";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, kNoAnswer);
    EXPECT_EQ(failure.code, kNetworkError);
    EXPECT_EQ(failure.what(),
              "no answer from " + to.text() + ": the port is closed");
  }
}

}  // namespace
}  // namespace ostrel::tools::cli
