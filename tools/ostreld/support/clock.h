// Calendar time for registrations. Tests let it run faster than the world's.

#ifndef OSTREL_TOOLS_OSTRELD_SUPPORT_CLOCK_H
#define OSTREL_TOOLS_OSTRELD_SUPPORT_CLOCK_H

#include <chrono>
#include <cstdint>

namespace ostrel::tools::server {

class Clock {
 public:
  virtual ~Clock() = default;

  // Seconds since 1970.
  virtual double now() const = 0;

  // The same in whole seconds, as times travel.
  std::uint32_t seconds() const { return static_cast<std::uint32_t>(now()); }
};

// The machine's time, or one that began with it and runs `rate` times as fast.
class SystemClock : public Clock {
 public:
  explicit SystemClock(double rate = 1)
      : rate_(rate),
        wallStart_(std::chrono::system_clock::now()),
        start_(std::chrono::steady_clock::now()) {}

  double now() const override {
    using Seconds = std::chrono::duration<double>;
    if (rate_ == 1) {
      return Seconds(std::chrono::system_clock::now().time_since_epoch())
          .count();
    }
    const Seconds passed = std::chrono::steady_clock::now() - start_;
    return Seconds(wallStart_.time_since_epoch()).count() +
           passed.count() * rate_;
  }

 private:
  double rate_;
  std::chrono::system_clock::time_point wallStart_;
  std::chrono::steady_clock::time_point start_;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_SUPPORT_CLOCK_H
