// The server's parts with what executes their requests, asked with bytes.

#ifndef OSTREL_TESTS_TOOLS_OSTRELD_EXECUTOR_TEST_H
#define OSTREL_TESTS_TOOLS_OSTRELD_EXECUTOR_TEST_H

#include <chrono>
#include <optional>

#include "requests/request_executor.h"
#include "server_test.h"

namespace ostrel::tools::server {

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

}  // namespace ostrel::tools::server

#endif  // OSTREL_TESTS_TOOLS_OSTRELD_EXECUTOR_TEST_H
