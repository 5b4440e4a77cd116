#include "support/clock.h"

#include <gtest/gtest.h>

namespace ostrel::tools::server {
namespace {

double wall = 0;
double running = 0;

SystemClock clockWithRate(double rate) {
  return SystemClock(
      rate, [] { return wall; }, [] { return running; });
}

TEST(SystemClock, BeginsWithTheMachinesTime) {
  wall = 1000000;
  running = 70;
  EXPECT_EQ(clockWithRate(1).now(), 1000000);
  EXPECT_NEAR(SystemClock().now(), static_cast<double>(std::time(nullptr)), 2);
}

TEST(SystemClock, GoesOnWhenTheMachinesTimeIsSet) {
  wall = 1000000;
  running = 70;
  const SystemClock clock = clockWithRate(1);
  running += 10;
  for (const double set : {1000000.0 - 86400, 1000000.0 + 86400}) {
    wall = set;
    EXPECT_EQ(clock.now(), 1000010);
  }
}

TEST(SystemClock, RunsSoManyTimesAsFast) {
  wall = 1000000;
  running = 70;
  const SystemClock clock = clockWithRate(900);
  running += 2;
  EXPECT_EQ(clock.now(), 1001800);
}

}  // namespace
}  // namespace ostrel::tools::server
