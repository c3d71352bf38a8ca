#pragma once
// Waits on a condition instead of sleeping a fixed time: polls `predicate` with a short
// back-off until it holds or `timeout` passes. Returns the last result.
#include <chrono>
#include <thread>

namespace orva::test {

template <typename Predicate>
bool WaitUntil(Predicate&& predicate, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  auto pause = std::chrono::milliseconds(1);
  for (;;) {
    if (predicate()) return true;
    if (std::chrono::steady_clock::now() >= deadline) return predicate();
    std::this_thread::sleep_for(pause);
    if (pause < std::chrono::milliseconds(50)) pause *= 2;
  }
}

}  // namespace orva::test
