#include "orvamesh/utils/mutex.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include "support/log_capture.h"
#include "utils/posix_seam.h"

namespace {

using ORVA::MESH::SDK::Mutex;
using orva::test::LogCapture;
namespace Seam = ORVA::MESH::SDK::Seam;

int CurrentCancelState() {
  int state = -1;
  int ignored;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
  pthread_setcancelstate(state, &ignored);
  return state;
}

// A pending pthread_cancel acts only where the state allows it, so the state is what is checked.
TEST(CallWithLock, RunsTheCallableWithCancellationDisabledAndRestoresItAndTheMutexAlsoWhenItThrows) {
  Mutex mutex;
  int stateInside = -1;
  EXPECT_TRUE(Mutex::CallWithLock(mutex, [&] { stateInside = CurrentCancelState(); }));
  EXPECT_EQ(stateInside, PTHREAD_CANCEL_DISABLE);
  EXPECT_EQ(CurrentCancelState(), PTHREAD_CANCEL_ENABLE);
  EXPECT_THROW(Mutex::CallWithLock(mutex, [] { throw 7; }), int) << "any exception passes unchanged";
  EXPECT_EQ(CurrentCancelState(), PTHREAD_CANCEL_ENABLE);
  // Non-recursive: this would deadlock if a throwing call had left the mutex held.
  EXPECT_TRUE(Mutex::CallWithLock(mutex, [] {}));
}

TEST(CallWithLock, ALockOrCancelStateFailureRunsNothingAndLogsWhy) {
  const std::pair<void (*)(Seam::PosixCalls&), const char*> cases[] = {
      {[](Seam::PosixCalls& c) { c.mutex_lock = [](pthread_mutex_t*) { return EINVAL; }; },
       "Fail to lock mutex [22]"},
      {[](Seam::PosixCalls& c) { c.setcancelstate = [](int, int*) { return EINVAL; }; },
       "Fail to set pthread cancel to [1]: [22]"},
  };
  for (const auto& [arrange, log] : cases) {
    LogCapture capture;
    Mutex mutex;
    Seam::ScopedPosixOverride seam;
    arrange(Seam::Posix());
    bool ran = false;
    EXPECT_FALSE(Mutex::CallWithLock(mutex, [&] { ran = true; }));
    EXPECT_FALSE(ran);
    EXPECT_EQ(CurrentCancelState(), PTHREAD_CANCEL_ENABLE);
    EXPECT_TRUE(capture.Contains(log)) << log;
  }
}

TEST(CallWithLock, AnUnlockFailureIsLoggedButTheCallStillSucceeds) {
  LogCapture capture;
  Mutex mutex;
  {
    Seam::ScopedPosixOverride seam;
    seam->mutex_unlock = [](pthread_mutex_t*) { return EPERM; };
    EXPECT_TRUE(Mutex::CallWithLock(mutex, [] {}));
  }
  EXPECT_TRUE(capture.Contains("Fail to unlock mutex [1]"));
  mutex.Unlock();  // the real unlock the seam swallowed
}

}  // namespace
