#pragma once
// A point in time on the monotonic clock by which a wait must end, so that a loop of waits
// (retries, interrupted polls, partial reads) is bounded as a whole and not per wait.
#include <chrono>
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT Deadline {
 public:
  using Clock = std::chrono::steady_clock;  // CLOCK_MONOTONIC

  // From now on; a negative duration has already expired, and one too long to add to the
  // clock (std::chrono::milliseconds::max(), say) never expires.
  explicit Deadline(std::chrono::nanoseconds duration);
  static Deadline Never();

  bool Expired() const;
  bool IsNever() const noexcept { return never_; }
  // What is left, never negative (Clock::duration::max() for a deadline that never comes).
  Clock::duration Remaining() const;
  // For poll(2) and epoll_wait(2): -1 (wait for ever) only for Never(); otherwise the
  // milliseconds left, rounded up so that a wait never ends before the deadline and never spins
  // at 0 with time still left, and at most INT_MAX.
  int PollTimeoutMs() const;

 private:
  Deadline() = default;
  Clock::time_point when_{};
  bool never_ = false;
};

}  // namespace ORVA::MESH::SDK
