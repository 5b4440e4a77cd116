// Calendar time for registrations. Tests let it run faster than the world's.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_CLOCK_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_CLOCK_H

#include <cstdint>
#include <ctime>

namespace ostrel::tools::server {

class Clock {
 public:
  virtual ~Clock() = default;

  // Seconds since 1970.
  virtual double now() const = 0;

  // The same in whole seconds, as times travel.
  std::uint32_t seconds() const { return static_cast<std::uint32_t>(now()); }
};

// Begins with the machine's time and then runs on by itself, `rate` times as
// fast: whoever sets the machine's clock moves nothing. Time goes on while the
// machine sleeps.
class SystemClock : public Clock {
 public:
  using Reading = double (*)();  // seconds

  explicit SystemClock(double rate = 1, Reading wall = wallTime,
                       Reading running = runningTime)
      : rate_(rate), running_(running), began_(wall()), start_(running()) {}

  double now() const override { return began_ + (running_() - start_) * rate_; }

 private:
  static double read(clockid_t clock) {
    constexpr double kNanoseconds = 1e9;
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) +
           static_cast<double>(time.tv_nsec) / kNanoseconds;
  }
  static double wallTime() { return read(CLOCK_REALTIME); }
  static double runningTime() { return read(CLOCK_BOOTTIME); }

  double rate_;
  Reading running_;
  double began_;
  double start_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_CLOCK_H
