#pragma once
// Runs callables after their delays on one thread of its own: retries, time-outs of a setup
// step, a reboot a few seconds after the answer went out. Cancel() takes back a call that has
// not started; destruction cancels what is left and joins the thread. A callable that throws
// is logged and the thread goes on.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT DelayedCall {
 public:
  using Id = uint64_t;

  DelayedCall();
  ~DelayedCall();
  DelayedCall(const DelayedCall&) = delete;
  DelayedCall& operator=(const DelayedCall&) = delete;

  // Calls at the same moment run in the order they were scheduled.
  Id Schedule(std::chrono::milliseconds delay, std::function<void()> fn);
  // True when the call had not started yet and now never will.
  bool Cancel(Id id);

 private:
  using Clock = std::chrono::steady_clock;
  void Run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::multimap<Clock::time_point, Id> due_;
  std::map<Id, std::function<void()>> calls_;
  Id nextId_ = 1;
  bool stop_ = false;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace ORVA::MESH::SDK
