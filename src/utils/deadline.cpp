#include "orvamesh/utils/deadline.h"

#include <climits>

namespace ORVA::MESH::SDK {

Deadline::Deadline(std::chrono::nanoseconds duration) {
  const auto now = Clock::now();
  // The sum would overflow the clock's representation: treat it as never.
  if (duration > Clock::time_point::max() - now) {
    never_ = true;
    return;
  }
  when_ = now + std::chrono::duration_cast<Clock::duration>(duration);
}

Deadline Deadline::Never() {
  Deadline deadline;
  deadline.never_ = true;
  return deadline;
}

bool Deadline::Expired() const { return !never_ && Clock::now() >= when_; }

Deadline::Clock::duration Deadline::Remaining() const {
  if (never_) return Clock::duration::max();
  const auto now = Clock::now();
  return now >= when_ ? Clock::duration::zero() : when_ - now;
}

int Deadline::PollTimeoutMs() const {
  if (never_) return -1;
  const auto left = Remaining();
  const auto ms = std::chrono::ceil<std::chrono::milliseconds>(left).count();
  return ms > INT_MAX ? INT_MAX : static_cast<int>(ms);
}

}  // namespace ORVA::MESH::SDK
