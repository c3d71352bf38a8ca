#include <gtest/gtest.h>

#include <climits>

#include "orvamesh/utils/deadline.h"

namespace {

using ORVA::MESH::SDK::Deadline;
using namespace std::chrono;

TEST(Deadline, GivesPollTimeoutsThatNeitherOverflowNorGoNegative) {
  struct Case {
    const char* name;
    Deadline deadline;
    bool expired;
    int lowMs, highMs;  // the poll timeout lies between
  } cases[] = {
      {"past", Deadline(-seconds(5)), true, 0, 0},
      {"zero", Deadline(nanoseconds(0)), true, 0, 0},
      {"a fraction of a millisecond rounds up", Deadline(microseconds(300)), false, 1, 1},
      {"longer than an int of milliseconds", Deadline(hours(24 * 365)), false, INT_MAX, INT_MAX},
      {"too long for the clock", Deadline(nanoseconds::max()), false, -1, -1},
      {"never", Deadline::Never(), false, -1, -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.deadline.Expired(), c.expired) << c.name;
    const int ms = c.deadline.PollTimeoutMs();
    EXPECT_GE(ms, c.lowMs) << c.name;
    EXPECT_LE(ms, c.highMs) << c.name;
    EXPECT_GE(c.deadline.Remaining(), Deadline::Clock::duration::zero()) << c.name;
  }
}

}  // namespace
