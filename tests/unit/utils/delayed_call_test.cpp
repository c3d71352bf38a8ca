#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "orvamesh/utils/delayed_call.h"
#include "support/log_capture.h"
#include "support/wait_until.h"

namespace {

using ORVA::MESH::SDK::DelayedCall;
using namespace std::chrono;

TEST(DelayedCall, RunsCallsInTheOrderOfTheirTimesNotOfTheirScheduling) {
  std::mutex mutex;
  std::vector<int> order;
  DelayedCall calls;
  auto record = [&](int n) {
    return [&, n] {
      std::lock_guard<std::mutex> lock(mutex);
      order.push_back(n);
    };
  };
  const auto start = steady_clock::now();
  calls.Schedule(milliseconds(60), record(3));
  calls.Schedule(milliseconds(20), record(1));
  calls.Schedule(milliseconds(40), record(2));
  calls.Schedule(milliseconds(40), record(22));  // same moment: scheduling order
  ASSERT_TRUE(orva::test::WaitUntil([&] {
    std::lock_guard<std::mutex> lock(mutex);
    return order.size() == 4;
  }));
  EXPECT_GE(steady_clock::now() - start, milliseconds(60));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 22, 3}));
}

TEST(DelayedCall, CancelTakesBackOnlyWhatHasNotRun) {
  std::atomic<int> ran{0};
  DelayedCall calls;
  const auto soon = calls.Schedule(milliseconds(0), [&] { ++ran; });
  const auto later = calls.Schedule(milliseconds(10000), [&] { ran += 100; });
  ASSERT_TRUE(orva::test::WaitUntil([&] { return ran == 1; }));
  EXPECT_FALSE(calls.Cancel(soon)) << "already ran";
  EXPECT_TRUE(calls.Cancel(later));
  EXPECT_FALSE(calls.Cancel(later));
  EXPECT_FALSE(calls.Cancel(12345));
}

TEST(DelayedCall, AThrowingCallIsLoggedAndTheThreadGoesOn) {
  orva::test::LogCapture log;
  std::atomic<bool> after{false};
  DelayedCall calls;
  calls.Schedule(milliseconds(0), [] { throw std::runtime_error("boom"); });
  calls.Schedule(milliseconds(5), [&] { after = true; });
  ASSERT_TRUE(orva::test::WaitUntil([&] { return after.load(); }));
  EXPECT_TRUE(log.Contains("failed: boom"));
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
