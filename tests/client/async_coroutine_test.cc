// Coroutines that await requests. Compiled as C++20.

#include <gmock/gmock.h>
#include <ostrel/coroutine.h>

#include <memory>
#include <stdexcept>

#include "support/hex_pieces.h"
#include "support/servers.h"

namespace {

using namespace ostrel;
using fake::platform;

constexpr const char* kAddress = "192.0.2.1";
constexpr const char* kOid = "59.6.0.1";
#define VERIFIED "2D" SUCCESS
#define FOUND "27" SUCCESS NONE ONE "17 0B 01 01 3B 01 06 01 01 01 03 01 05"

RequestOptions nobody() {
  RequestOptions options;
  options.principal = Oid();
  return options;
}

class AsyncCoroutine : public ::testing::Test {
 protected:
  AsyncCoroutine() { platform().reset(); }
};

Task<int> readTwice(Client& client) {
  const auto first = co_await client.get(kAddress, kOid, {}, {}, nobody());
  const auto second = co_await client.get(kAddress, kOid, {}, {}, nobody());
  if (!first || !second) co_return - 1;
  co_return first->at("59.6.1").to<int>().value_or(0) +
      second->at("59.6.1").to<int>().value_or(0);
}

TEST_F(AsyncCoroutine, RequestsAreAwaitedOneAfterTheOther) {
  fake::Server server(kAddress, 5135);
  server.then(FOUND).then(FOUND);
  Client client;
  Task<int> task = readTwice(client);
  EXPECT_FALSE(task.done());
  EXPECT_EQ(runUntil(client, task), 10);
  EXPECT_EQ(server.requests.size(), 2U);
}

Task<int> readSideBySide(Client& client) {
  auto [first, second] =
      co_await all(client.get(kAddress, kOid, {}, {}, nobody()),
                   client.verify(kAddress, kOid, {}, nobody()));
  co_return first&& second ? 1 : 0;
}

TEST_F(AsyncCoroutine, AllRunsRequestsSideBySide) {
  fake::Server server(kAddress, 5135);
  server.then(fake::delayed(1, fake::answer(FOUND)))
      .then(fake::delayed(1, fake::answer(VERIFIED)));
  Client client;
  Task<int> task = readSideBySide(client);
  EXPECT_EQ(runUntil(client, task), 1);
  ASSERT_EQ(server.requests.size(), 2U);
  EXPECT_LT(server.requests[1].at, 0.5);
}

Task<std::size_t> verifyMany(Client& client, unsigned count) {
  std::vector<Request<Done>> requests;
  for (unsigned i = 0; i < count; ++i)
    requests.push_back(client.verify(kAddress, kOid, {}, nobody()));
  std::size_t answered = 0;
  for (const Result<Done>& done : co_await all(std::move(requests)))
    answered += done ? 1U : 0U;
  co_return answered;
}

TEST_F(AsyncCoroutine, AllTakesAnyNumberOfOneKind) {
  fake::Server server(kAddress, 5135);
  for (int i = 0; i < 20; ++i) server.then(VERIFIED);
  Client client;
  Task<std::size_t> task = verifyMany(client, 20);
  EXPECT_EQ(runUntil(client, task), 20U);
}

// Destroyed when its coroutine is.
struct Guard {
  explicit Guard(int* destroyed) : destroyed_(destroyed) {}
  ~Guard() { ++*destroyed_; }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;
  int* destroyed_;
};

Task<void> verifyOnce(Client& client, int* destroyed, int* done) {
  const Guard guard(destroyed);
  const auto result = co_await client.verify(kAddress, kOid, {}, nobody());
  ++*done;
}

TEST_F(AsyncCoroutine, DestroyingATaskForgetsWhatItAwaits) {
  Client client;
  int destroyed = 0;
  int done = 0;
  {
    const Task<void> task = verifyOnce(client, &destroyed, &done);
    EXPECT_EQ(client.outstanding(), 1U);
  }
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(client.outstanding(), 0U);
  client.run();
  EXPECT_EQ(done, 0);
}

Task<void> verifyBoth(Client& client, int* destroyed, int* done) {
  std::vector<Task<void>> tasks;
  tasks.push_back(verifyOnce(client, destroyed, done));
  tasks.push_back(verifyOnce(client, destroyed, done));
  co_await all(std::move(tasks));
}

TEST_F(AsyncCoroutine, TasksInsideATaskGoWithIt) {
  Client client;
  int destroyed = 0;
  int done = 0;
  {
    const Task<void> task = verifyBoth(client, &destroyed, &done);
    EXPECT_EQ(client.outstanding(), 2U);
  }
  EXPECT_EQ(destroyed, 2);
  EXPECT_EQ(client.outstanding(), 0U);
}

TEST_F(AsyncCoroutine, TasksAreAwaitedLikeRequests) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED).then(VERIFIED);
  Client client;
  int destroyed = 0;
  int done = 0;
  Task<void> task = verifyBoth(client, &destroyed, &done);
  runUntil(client, task);
  EXPECT_EQ(done, 2);
}

Task<int> failing(Client& client) {
  const auto result = co_await client.verify(kAddress, kOid, {}, nobody());
  if (result) throw std::runtime_error("as it happens");
  co_return 1;
}

TEST_F(AsyncCoroutine, WhatACoroutineThrowsComesOutOfItsTask) {
  fake::Server server(kAddress, 5135);
  server.then(VERIFIED);
  Client client;
  Task<int> task = failing(client);
  EXPECT_THROW(runUntil(client, task), std::runtime_error);
}

Task<Failure> failureOf(Client& client) {
  const auto result = co_await client.verify(kAddress, kOid, {}, nobody());
  co_return result.error().kind();
}

TEST_F(AsyncCoroutine, CloseEndsWhatIsAwaitedAsCancelled) {
  Client client;
  Task<Failure> task = failureOf(client);
  client.close();
  ASSERT_TRUE(task.done());
  EXPECT_EQ(task.get(), Failure::cancelled);
  // And what is asked afterwards.
  Task<Failure> late = failureOf(client);
  ASSERT_TRUE(late.done());
  EXPECT_EQ(late.get(), Failure::cancelled);
}

Task<Failure> awaitedTooLate(Client& client) {
  auto request = client.verify(
      kAddress, kOid, [](auto&&) {}, nobody());
  const auto result = co_await std::move(request);
  co_return result.error().kind();
}

TEST_F(AsyncCoroutine, ARequestWithAHandlerCannotBeAwaited) {
  Client client;
  Task<Failure> task = awaitedTooLate(client);
  ASSERT_TRUE(task.done());
  EXPECT_EQ(task.get(), Failure::misuse);
}

TEST_F(AsyncCoroutine, ATaskThatWaitsForSomethingElseIsReported) {
  Client client;
  Client other;
  Task<Failure> task = failureOf(other);
  EXPECT_THROW(runUntil(client, task), std::logic_error);
}

}  // namespace
