// Units in which lock time-outs are counted.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace Tenbrook::System {

// A time-out of this many units waits without limit, whatever the unit.
inline constexpr uint64_t kWaitForever = ~uint64_t{0};

class TimeUnit {
 public:
  static constexpr TimeUnit sSeconds() { return TimeUnit(1'000'000'000); }
  static constexpr TimeUnit sMilliseconds() { return TimeUnit(1'000'000); }

  // `count` units as a duration; nullopt for kWaitForever. A count too large for the
  // clock saturates at the largest duration it holds.
  std::optional<std::chrono::nanoseconds> duration(uint64_t count) const {
    if (count == kWaitForever) return std::nullopt;
    constexpr uint64_t kMax = static_cast<uint64_t>(std::chrono::nanoseconds::max().count());
    if (count > kMax / nanoseconds_) return std::chrono::nanoseconds::max();
    return std::chrono::nanoseconds(static_cast<int64_t>(count * nanoseconds_));
  }

 private:
  explicit constexpr TimeUnit(uint64_t nanoseconds) : nanoseconds_(nanoseconds) {}
  uint64_t nanoseconds_;
};

}  // namespace Tenbrook::System
