#include "orvamesh/utils/mutex.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <regex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/log_capture.h"
#include "support/wait_until.h"
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

TEST(CallWithLock, RunsTheCallableWithCancellationDisabledAndRestoresItAndTheMutexAlsoWhenItThrows) {
  Mutex mutex;
  int stateInside = -1;
  EXPECT_TRUE(Mutex::CallWithLock(mutex, [&] { stateInside = CurrentCancelState(); }));
  EXPECT_EQ(stateInside, PTHREAD_CANCEL_DISABLE);
  EXPECT_EQ(CurrentCancelState(), PTHREAD_CANCEL_ENABLE);
  EXPECT_THROW(Mutex::CallWithLock(mutex, [] { throw std::out_of_range("inside"); }), std::out_of_range);
  EXPECT_THROW(Mutex::CallWithLock(mutex, [] { throw 7; }), int) << "not only standard exceptions pass unchanged";
  EXPECT_EQ(CurrentCancelState(), PTHREAD_CANCEL_ENABLE);
  // Non-recursive: this would deadlock if a throwing call had left the mutex held.
  EXPECT_TRUE(Mutex::CallWithLock(mutex, [] {}));
}

TEST(CallWithLock, SerialisesSectionsFromSeveralThreads) {
  Mutex mutex;
  long counter = 0;  // deliberately not atomic: the mutex is what protects it
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) Mutex::CallWithLock(mutex, [&] { ++counter; });
  };
  std::thread a(work), b(work), c(work);
  a.join();
  b.join();
  c.join();
  EXPECT_EQ(counter, 60000);
}

struct CancelArgs {
  Mutex* mutex;
  std::atomic<bool> inside{false}, release{false}, sectionDone{false};
};

// Kept out of line: the frame that holds the callable must return normally, so that the
// cancellation unwinds only through frames without address-taken locals (ASan cannot clean
// those up after a forced unwind).
__attribute__((noinline)) void RunSectionUntilReleased(CancelArgs* a) {
  Mutex::CallWithLock(*a->mutex, [a] {
    a->inside = true;
    while (!a->release) {
      pthread_testcancel();  // a cancellation point that must not act here
      usleep(1000);
    }
    a->sectionDone = true;
  });
}

void* CancelledThread(void* p) {
  auto* a = static_cast<CancelArgs*>(p);
  RunSectionUntilReleased(a);
  pthread_testcancel();  // cancellation is enabled again: the thread ends here
  return nullptr;
}

TEST(CallWithLock, ACancelledThreadFinishesTheLockedSectionBeforeItDies) {
  Mutex mutex;
  CancelArgs args{&mutex};
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, nullptr, CancelledThread, &args), 0);
  ASSERT_TRUE(orva::test::WaitUntil([&] { return args.inside.load(); }));
  ASSERT_EQ(pthread_cancel(thread), 0);
  args.release = true;
  void* result = nullptr;
  ASSERT_EQ(pthread_join(thread, &result), 0);
  EXPECT_EQ(result, PTHREAD_CANCELED) << "cancelled as soon as the section ended";
  EXPECT_TRUE(args.sectionDone.load());
  // And the mutex was released on the way.
  EXPECT_TRUE(Mutex::CallWithLock(mutex, [] {}));
}

TEST(CallWithLock, ALockOrCancelStateFailureRunsNothingAndLogsWhy) {
  const struct {
    void (*arrange)(Seam::PosixCalls&);
    std::vector<std::string> logs;  // in order, one a line
  } cases[] = {
      {[](Seam::PosixCalls& c) { c.mutex_lock = [](pthread_mutex_t*) { return EINVAL; }; },
       {"utils/mutex:.* Fail to lock mutex \\[22\\]", " Fail to lock mutex"}},
      {[](Seam::PosixCalls& c) { c.setcancelstate = [](int, int*) { return EINVAL; }; },
       {"Fail to set pthread cancel to \\[1\\]: \\[22\\]", "Fail to disable pthread cancel"}},
  };
  for (const auto& c : cases) {
    LogCapture capture;
    Mutex mutex;
    Seam::ScopedPosixOverride seam;
    c.arrange(Seam::Posix());
    bool ran = false;
    EXPECT_FALSE(Mutex::CallWithLock(mutex, [&] { ran = true; }));
    EXPECT_FALSE(ran);
    EXPECT_EQ(CurrentCancelState(), PTHREAD_CANCEL_ENABLE);
    const auto texts = capture.Texts();
    ASSERT_EQ(texts.size(), c.logs.size()) << c.logs[0];
    for (size_t i = 0; i < texts.size(); ++i) {
      EXPECT_TRUE(std::regex_search(texts[i], std::regex(c.logs[i]))) << texts[i];
    }
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
