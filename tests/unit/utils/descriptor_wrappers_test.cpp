#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "orvamesh/utils/epoll_wrapper.h"
#include "orvamesh/base/exception.h"
#include "orvamesh/utils/pipe_wrapper.h"
#include "orvamesh/utils/rwlock.h"
#include "orvamesh/utils/socket_wrapper.h"
#include "support/log_capture.h"
#include "support/wait_until.h"
#include "utils/posix_seam.h"

namespace {

using namespace ORVA::MESH::SDK;
using Exception::RuntimeException;
using orva::test::LogCapture;

std::string WhatOf(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "<no exception>";
}

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

epoll_event InEvent(int fd) {
  epoll_event e{};
  e.events = EPOLLIN;
  e.data.fd = fd;
  return e;
}

TEST(EpollWrapper, WaitTimesOutWithAnEmptyVector) {
  EpollWrapper epoll(EPOLL_CLOEXEC);
  PipeWrapper pipe(O_CLOEXEC);
  epoll.AddFd(pipe.GetReadFd(), InEvent(pipe.GetReadFd()));
  EXPECT_TRUE(epoll.Wait(4, 10).empty());
}

TEST(EpollWrapper, ReturnsOnlyTheReadyEvents) {
  EpollWrapper epoll(EPOLL_CLOEXEC);
  PipeWrapper pipe(O_CLOEXEC);
  epoll.AddFd(pipe.GetReadFd(), InEvent(pipe.GetReadFd()));
  ASSERT_EQ(write(pipe.GetWriteFd(), "x", 1), 1);
  auto events = epoll.PWait(8, 1000, nullptr);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].data.fd, pipe.GetReadFd());
}

TEST(EpollWrapper, DeletingADescriptorNeverAddedThrowsAndLeavesTheSetAlone) {
  EpollWrapper epoll(EPOLL_CLOEXEC);
  PipeWrapper pipe(O_CLOEXEC);
  epoll.AddFd(pipe.GetReadFd(), InEvent(pipe.GetReadFd()));
  std::string what = WhatOf([&] { epoll.DelFd(pipe.GetWriteFd()); });
  EXPECT_NE(what.find("utils/epoll_wrapper:EpollCtl:"), std::string::npos) << what;
  EXPECT_NE(what.find(": Fail to call epoll_ctl, errno: [2]"), std::string::npos) << what;
  EXPECT_EQ(epoll.GetRegisteredFds(), std::set<int>{pipe.GetReadFd()});
}

TEST(EpollWrapper, AddingTwiceThrowsAndKeepsOneEntry) {
  EpollWrapper epoll(EPOLL_CLOEXEC);
  PipeWrapper pipe(O_CLOEXEC);
  epoll.AddFd(pipe.GetReadFd(), InEvent(pipe.GetReadFd()));
  EXPECT_THROW(epoll.AddFd(pipe.GetReadFd(), InEvent(pipe.GetReadFd())), RuntimeException);
  EXPECT_EQ(epoll.GetRegisteredFds().size(), 1u);
  epoll.ClearFd();
  EXPECT_TRUE(epoll.GetRegisteredFds().empty());
}

TEST(EpollWrapper, CreationFailureCarriesTheErrno) {
  std::string what = WhatOf([] { EpollWrapper bad(-1); });
  EXPECT_NE(what.find("Fail to create epoll, errno: [22]"), std::string::npos) << what;
}

TEST(EpollWrapper, ASignalInterruptingTheWaitThrowsWithErrno4) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigemptyset(&action.sa_mask);
  struct sigaction previous {};
  ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);

  EpollWrapper epoll(EPOLL_CLOEXEC);
  std::atomic<bool> started{false};
  std::string what;
  std::thread waiter([&] {
    started = true;
    what = WhatOf([&] { epoll.Wait(1, 5000); });
  });
  ASSERT_TRUE(orva::test::WaitUntil([&] { return started.load(); }));
  // The signal may arrive before the thread sits in epoll_pwait; keep knocking until it left.
  pthread_t handle = waiter.native_handle();
  std::atomic<bool> done{false};
  std::thread knocker([&] {
    while (!done) {
      pthread_kill(handle, SIGUSR1);
      usleep(2000);
    }
  });
  waiter.join();
  done = true;
  knocker.join();
  sigaction(SIGUSR1, &previous, nullptr);
  EXPECT_NE(what.find("epoll_pwait failed, errno: [4]"), std::string::npos) << what;
}

TEST(EpollWrapper, DestructorDeregistersAndClosesWithoutThrowing) {
  int epollFd;
  PipeWrapper pipe(O_CLOEXEC);
  {
    EpollWrapper epoll(EPOLL_CLOEXEC);
    epoll.AddFd(pipe.GetReadFd(), InEvent(pipe.GetReadFd()));
    epollFd = epoll.GetFd();
  }
  EXPECT_FALSE(IsOpen(epollFd));
}

TEST(EpollWrapper, AMovedFromWrapperOwnsNothing) {
  EpollWrapper first(EPOLL_CLOEXEC);
  int fd = first.GetFd();
  EpollWrapper second(std::move(first));
  EXPECT_EQ(first.GetFd(), -1);
  EXPECT_EQ(second.GetFd(), fd);
  EXPECT_TRUE(IsOpen(fd));
}

TEST(PipeWrapper, ClosingTheWriteEndTwiceIsHarmlessAndTheReadEndSeesHangUp) {
  PipeWrapper pipe(O_CLOEXEC);
  EpollWrapper epoll(EPOLL_CLOEXEC);
  epoll.AddFd(pipe.GetReadFd(), InEvent(pipe.GetReadFd()));
  pipe.CloseWriteFd();
  EXPECT_NO_THROW(pipe.CloseWriteFd());
  EXPECT_EQ(pipe.GetWriteFd(), -1);
  auto events = epoll.Wait(1, 1000);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_TRUE(events[0].events & EPOLLHUP);
}

TEST(PipeWrapper, ACloseThatFailsThrowsAndKeepsTheDescriptor) {
  PipeWrapper pipe(O_CLOEXEC);
  int readFd = pipe.GetReadFd();
  {
    Seam::ScopedPosixOverride seam;
    seam->close = [](int) {
      errno = EIO;
      return -1;
    };
    std::string what = WhatOf([&] { pipe.CloseReadFd(); });
    EXPECT_NE(what.find("utils/pipe_wrapper:_CloseReadFd:"), std::string::npos) << what;
    EXPECT_NE(what.find("Fail to close pipe read fd, errno: [5]"), std::string::npos) << what;
  }
  EXPECT_EQ(pipe.GetReadFd(), readFd);
}

TEST(PipeWrapper, ADestructorWhoseCloseFailsLogsAndDoesNotThrow) {
  int fds[2];
  LogCapture failing;
  Seam::ScopedPosixOverride seam;
  auto* pipe = new PipeWrapper(O_CLOEXEC);
  fds[0] = pipe->GetReadFd();
  fds[1] = pipe->GetWriteFd();
  seam->close = [](int) {
    errno = EBADF;
    return -1;
  };
  EXPECT_NO_FATAL_FAILURE(delete pipe);
  auto lines = failing.Matching("Unhandled exception in destructor: ");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].text.find("Fail to close pipe read fd, errno: [9]"), std::string::npos);
  EXPECT_NE(lines[1].text.find("Fail to close pipe write fd, errno: [9]"), std::string::npos);
  ::close(fds[0]);
  ::close(fds[1]);
}

TEST(PipeWrapper, CreationFailureCarriesTheErrno) {
  std::string what = WhatOf([] { PipeWrapper bad(-1); });
  EXPECT_NE(what.find("Fail to open pipe, errno: [22]"), std::string::npos) << what;
}

TEST(SocketWrapper, OpensAndClosesItsDescriptor) {
  int fd;
  {
    SocketWrapper socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    fd = socket.GetFd();
    EXPECT_TRUE(IsOpen(fd));
  }
  EXPECT_FALSE(IsOpen(fd));
}

TEST(SocketWrapper, CreationFailureCarriesTheErrno) {
  std::string what = WhatOf([] { SocketWrapper bad(-7, SOCK_DGRAM, 0); });
  EXPECT_NE(what.find("utils/socket_wrapper:SocketWrapper:"), std::string::npos) << what;
  EXPECT_NE(what.find("Fail to open socket, errno: [97]"), std::string::npos) << what;
}

TEST(SocketWrapper, ACloseFailureInTheDestructorIsLogged) {
  LogCapture capture;
  int fd;
  {
    SocketWrapper socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    fd = socket.GetFd();
    Seam::ScopedPosixOverride seam;
    seam->close = [](int) {
      errno = EIO;
      return -1;
    };
    SocketWrapper moved(std::move(socket));
  }
  EXPECT_TRUE(capture.Contains("Fail to close socket fd, errno: [5]"));
  ::close(fd);
}

struct RwFailure {
  const char* name;
  void (*arrange)(Seam::PosixCalls&);
  void (*act)(RWLock&);
  const char* message;
};

class RWLockFailure : public ::testing::TestWithParam<RwFailure> {};

TEST_P(RWLockFailure, ThrowsTheCodeInBrackets) {
  RWLock lock;
  Seam::ScopedPosixOverride seam;
  GetParam().arrange(Seam::Posix());
  std::string what = WhatOf([&] { GetParam().act(lock); });
  EXPECT_NE(what.find("utils/rwlock:"), std::string::npos) << what;
  EXPECT_NE(what.find(GetParam().message), std::string::npos) << what;
}

INSTANTIATE_TEST_SUITE_P(
    Operations, RWLockFailure,
    ::testing::Values(
        RwFailure{"WriteLock", [](Seam::PosixCalls& c) { c.rwlock_wrlock = [](pthread_rwlock_t*) { return EDEADLK; }; },
                  [](RWLock& l) { l.WriteLock(); }, "WriteLock:"},
        RwFailure{"WriteLockMessage", [](Seam::PosixCalls& c) { c.rwlock_wrlock = [](pthread_rwlock_t*) { return EDEADLK; }; },
                  [](RWLock& l) { l.WriteLock(); }, "Write lock failed with errno [35]"},
        RwFailure{"ReadLock", [](Seam::PosixCalls& c) { c.rwlock_rdlock = [](pthread_rwlock_t*) { return EAGAIN; }; },
                  [](RWLock& l) { l.ReadLock(); }, "Read lock failed with errno [11]"},
        RwFailure{"Unlock", [](Seam::PosixCalls& c) { c.rwlock_unlock = [](pthread_rwlock_t*) { return EPERM; }; },
                  [](RWLock& l) { l.Unlock(); }, "Unlock failed with errno [1]"},
        RwFailure{"CancelState", [](Seam::PosixCalls& c) { c.setcancelstate = [](int, int*) { return EINVAL; }; },
                  [](RWLock&) { int old; RWLock::SetCancelState(PTHREAD_CANCEL_DISABLE, &old); },
                  "Fail to set pthread cancel to [1]: [22]"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(RWLock, ReadersShareAndWritersExclude) {
  RWLock lock;
  lock.ReadLock();
  lock.ReadLock();
  lock.Unlock();
  lock.Unlock();
  lock.WriteLock();
  lock.Unlock();
}

TEST(RWLock, InitFailuresThrowWithTheirCall) {
  Seam::ScopedPosixOverride seam;
  seam->rwlock_init = [](pthread_rwlock_t*, const pthread_rwlockattr_t*) { return EAGAIN; };
  EXPECT_NE(WhatOf([] { RWLock lock; }).find("pthread_rwlock_init failed with errno [11]"), std::string::npos);
  seam->rwlockattr_init = [](pthread_rwlockattr_t*) { return ENOMEM; };
  EXPECT_NE(WhatOf([] { RWLockAttrNonPortable attr; }).find("pthread_rwlockattr_init failed with errno [12]"),
            std::string::npos);
  seam->rwlockattr_init = ::pthread_rwlockattr_init;
  EXPECT_NE(WhatOf([] { RWLockAttrNonPortable attr(12345); }).find("pthread_rwlockattr_setkind_np failed with errno [22]"),
            std::string::npos);
}

TEST(RWLock, AFailingDestroyLogsOneLineAndThrowsNothing) {
  LogCapture capture;
  Seam::ScopedPosixOverride seam;
  {
    RWLock lock;
    seam->rwlock_destroy = [](pthread_rwlock_t*) { return EBUSY; };
  }
  auto lines = capture.Lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].priority, LOG_ERR);
  EXPECT_NE(lines[0].text.find(" Unhandled exception: utils/rwlock:~RWLock:"), std::string::npos) << lines[0].text;
  EXPECT_NE(lines[0].text.find("pthread_rwlock_destroy failed with errno [16]"), std::string::npos);
}

TEST(RWLockAttrNonPortable, AcceptsTheGlibcPreferenceKinds) {
  EXPECT_NO_THROW(RWLockAttrNonPortable attr(PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP));
  RWLockAttrNonPortable attr(PTHREAD_RWLOCK_PREFER_READER_NP);
  RWLock lock(attr);
  lock.WriteLock();
  lock.Unlock();
}

}  // namespace
