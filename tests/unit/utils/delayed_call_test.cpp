#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "orvamesh/utils/delayed_call.h"
#include "support/log_capture.h"
#include "support/wait_until.h"

namespace {

using ORVA::MESH::SDK::DelayedCall;
using namespace std::chrono;

TEST(DelayedCall, RunsCallsInTheOrderOfTheirTimesNotOfTheirScheduling) {
  std::vector<int> order;  // written by the calls' thread only, read once `done` says all ran
  std::atomic<size_t> done{0};
  DelayedCall calls;
  auto record = [&](int n) {
    return [&, n] {
      order.push_back(n);
      ++done;
    };
  };
  const auto start = steady_clock::now();
  calls.Schedule(milliseconds(60), record(3));
  calls.Schedule(milliseconds(20), record(1));
  calls.Schedule(milliseconds(40), record(2));
  calls.Schedule(milliseconds(40), record(22));  // same moment: scheduling order
  ASSERT_TRUE(orva::test::WaitUntil([&] { return done == 4; }));
  EXPECT_GE(steady_clock::now() - start, milliseconds(60));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 22, 3}));
}

TEST(DelayedCall, CancelTakesBackOnlyWhatHasNotRunAndAThrowingCallIsLoggedWhileTheThreadGoesOn) {
  orva::test::LogCapture log;
  std::atomic<int> ran{0};
  DelayedCall calls;
  const auto soon = calls.Schedule(milliseconds(0), [&] { ++ran; });
  const auto later = calls.Schedule(milliseconds(10000), [&] { ran += 100; });
  calls.Schedule(milliseconds(1), [] { throw std::runtime_error("boom"); });
  calls.Schedule(milliseconds(5), [&] { ran += 10; });
  ASSERT_TRUE(orva::test::WaitUntil([&] { return ran == 11; }));
  EXPECT_TRUE(log.Contains("failed: boom"));
  EXPECT_FALSE(calls.Cancel(soon)) << "already ran";
  EXPECT_TRUE(calls.Cancel(later));
  EXPECT_FALSE(calls.Cancel(later));
  EXPECT_FALSE(calls.Cancel(12345));
}

size_t Threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

TEST(DelayedCall, DestructionCancelsTheRestAndLeavesNoThread) {
  const size_t before = Threads();
  std::atomic<int> ran{0};
  for (int i = 0; i < 200; ++i) {
    DelayedCall calls;
    calls.Schedule(seconds(3600), [&] { ++ran; });
  }
  EXPECT_EQ(ran, 0);
  // An emulator may remove a joined thread from /proc a moment after the join returns.
  EXPECT_TRUE(orva::test::WaitUntil([&] { return Threads() == before; })) << Threads() << " vs " << before;
}

}  // namespace
