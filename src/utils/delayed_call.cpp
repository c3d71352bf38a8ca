#include "orvamesh/utils/delayed_call.h"

#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK {

DelayedCall::DelayedCall() : thread_([this] { Run(); }) {}

DelayedCall::~DelayedCall() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
    calls_.clear();
    due_.clear();
  }
  changed_.notify_all();
  thread_.join();
}

DelayedCall::Id DelayedCall::Schedule(std::chrono::milliseconds delay, std::function<void()> fn) {
  std::lock_guard<std::mutex> lock(mutex_);
  const Id id = nextId_++;
  calls_.emplace(id, std::move(fn));
  due_.emplace(Clock::now() + delay, id);
  changed_.notify_all();
  return id;
}

bool DelayedCall::Cancel(Id id) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (calls_.erase(id) == 0) return false;
  for (auto it = due_.begin(); it != due_.end(); ++it) {
    if (it->second == id) {
      due_.erase(it);
      break;
    }
  }
  return true;
}

void DelayedCall::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    if (due_.empty()) {
      changed_.wait(lock);
      continue;
    }
    const auto next = due_.begin();
    if (Clock::now() < next->first) {
      // A copy: Cancel may erase the entry while this thread waits. Woken early by a new,
      // sooner call or by the destructor, the loop looks again.
      const Clock::time_point when = next->first;
      changed_.wait_until(lock, when);
      continue;
    }
    const Id id = next->second;
    due_.erase(next);
    auto call = calls_.find(id);
    if (call == calls_.end()) continue;
    std::function<void()> fn = std::move(call->second);
    calls_.erase(call);
    lock.unlock();
    try {
      fn();
    } catch (const std::exception& e) {
      ORVA_LOG_ERR("delayed call %llu failed: %s", static_cast<unsigned long long>(id), e.what());
    } catch (...) {
      ORVA_LOG_ERR("delayed call %llu failed", static_cast<unsigned long long>(id));
    }
    lock.lock();
  }
}

}  // namespace ORVA::MESH::SDK
