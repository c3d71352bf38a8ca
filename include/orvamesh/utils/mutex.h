#pragma once
// The library's one pattern for guarding an object's state: a public operation runs its
// private twin through Mutex::CallWithLock, which disables thread cancellation for the whole
// locked section so that a cancelled thread can never leave the mutex held. The mutex is not
// recursive: private twins call each other without locking again.
#include <pthread.h>

#include <type_traits>
#include <utility>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT Mutex {
 public:
  Mutex() noexcept = default;
  virtual ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  Mutex(Mutex&&) = delete;
  Mutex& operator=(Mutex&&) = delete;

  // Both return false and write one error line when pthread refuses.
  bool Lock();
  bool Unlock();
  // pthread_setcancelstate for the calling thread; false and one error line on failure.
  static bool SetCancelState(int state, int* oldState);

  // Runs `callable` with the mutex held and cancellation disabled. Returns false, without
  // running it, when cancellation cannot be disabled or the mutex cannot be locked. An
  // exception from the callable is rethrown unchanged after the mutex is released and the
  // caller's cancel state restored.
  template <typename Callable>
  static bool CallWithLock(Mutex& mutex, Callable&& callable) {
    using Fn = std::remove_reference_t<Callable>;
    return CallWithLockImpl(
        mutex, [](void* context) { (*static_cast<Fn*>(context))(); },
        const_cast<void*>(static_cast<const void*>(std::addressof(callable))));
  }

  // The callable's result under the lock, or `onLockFailure` when the lock could not be taken
  // (CallWithLock has logged why): the one way helpers turn a failed lock into a result.
  template <typename R, typename Callable>
  static R ResultWithLock(Mutex& mutex, R onLockFailure, Callable&& callable) {
    R result = onLockFailure;
    CallWithLock(mutex, [&] { result = callable(); });
    return result;
  }

 private:
  // Kept out of line so each callable only instantiates a one-line trampoline.
  static bool CallWithLockImpl(Mutex& mutex, void (*run)(void*), void* context);

  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace ORVA::MESH::SDK
