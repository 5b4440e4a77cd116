// What becomes of every operation when a call of the system fails: each walk
// repeats the life of both handlers, with an operation, and lets a later call
// of one kind fail each time, with each error that it may have, until there is
// none left to fail. Nothing may crash, leak or stay open.

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "support/operations.h"

namespace {

using fake::Call;
using fake::Operation;
using fake::Scene;

constexpr int kNoError = 0;
constexpr int kNetworkError = 10;
constexpr int kCodingError = 11;
constexpr int kAddressError = 12;

struct Failure {
  Call call;
  int error;
};

const Failure kFailures[] = {
    {Call::kAllocate, ENOMEM},
    {Call::kOpen, EMFILE},
    {Call::kOpen, ENOBUFS},
    {Call::kOpen, EACCES},
    {Call::kBind, EADDRINUSE},
    {Call::kBind, EACCES},
    {Call::kSetSendBuffer, ENOBUFS},
    {Call::kSetReceiveBuffer, ENOBUFS},
    {Call::kSetMulticastTtl, EINVAL},
    {Call::kSocketName, ENOBUFS},
    {Call::kClose, EINTR},
    {Call::kClose, EIO},
    {Call::kIdentify, ENOMEM},
    {Call::kSend, ENETUNREACH},
    {Call::kSend, EHOSTUNREACH},
    {Call::kSend, EPERM},
    {Call::kSend, ENOBUFS},
    {Call::kSend, EINTR},
    {Call::kSend, EAGAIN},
    {Call::kSend, ECONNREFUSED},
    {Call::kSend, EMSGSIZE},
    {Call::kSend, ENOMEM},
    {Call::kPeek, EINTR},
    {Call::kPeek, EAGAIN},
    {Call::kPeek, ECONNREFUSED},
    {Call::kPeek, ENOMEM},
    {Call::kReceive, EINTR},
    {Call::kReceive, EAGAIN},
    {Call::kReceive, ECONNREFUSED},
    {Call::kReceive, ENOMEM},
    {Call::kDiscard, EINTR},
    {Call::kDiscard, EAGAIN},
    {Call::kWait, EINTR},
    {Call::kWait, EINVAL},
    {Call::kWait, ENOMEM},
    {Call::kHostName, EFAULT},
    {Call::kResolve, EAGAIN},
};

class FailingSystem : public ::testing::TestWithParam<Operation> {
 protected:
  // Runs the operation with the call after `skip` others of its kind failing.
  // Returns whether there was such a call.
  bool run(const Failure& failure, unsigned skip) {
    fake::Platform& system = fake::platform();
    system.reset();
    system.failNext(failure.call, failure.error, 1, skip);
    int code = -99;
    {
      Scene scene;
      GetParam().prepare(scene);
      const std::string before = scene.caller.text();
      code = GetParam().call(scene);
      if (code != kNoError) {
        // A host that does not know its address has none to ask or to tell.
        EXPECT_TRUE(code == kNetworkError || code == kCodingError ||
                    code == kAddressError)
            << code;
        EXPECT_EQ(scene.caller.text(), before);
      }
    }
    for (const auto& [descriptor, socket] : system.sockets) {
      EXPECT_FALSE(socket.open) << descriptor;
    }
    return system.count(failure.call) > skip;
  }
};

INSTANTIATE_TEST_SUITE_P(Operations, FailingSystem,
                         ::testing::ValuesIn(fake::kOperations),
                         [](const auto& row) { return row.param.name; });

TEST_P(FailingSystem, EndsEveryOperationCleanly) {
  // A failed open() says so.
  ::testing::internal::CaptureStderr();
  for (const Failure& failure : kFailures) {
    SCOPED_TRACE("call " + std::to_string(static_cast<int>(failure.call)) +
                 ", errno " + std::to_string(failure.error));
    unsigned n = 0;
    while (run(failure, n)) n++;
  }
  ::testing::internal::GetCapturedStderr();
}

}  // namespace
