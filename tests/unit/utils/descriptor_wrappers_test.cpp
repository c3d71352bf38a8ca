#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <regex>
#include <string>
#include <thread>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/epoll_wrapper.h"
#include "orvamesh/utils/pipe_wrapper.h"
#include "orvamesh/utils/rwlock.h"
#include "orvamesh/utils/socket_wrapper.h"
#include "support/log_capture.h"
#include "support/thrown_text.h"
#include "support/wait_until.h"
#include "utils/posix_seam.h"

namespace {

using namespace ORVA::MESH::SDK;
using orva::test::LogCapture;
constexpr auto WhatOf = orva::test::ThrownText<std::exception>;

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

// Makes close() fail with `code` for the lifetime of the seam.
void FailClose(Seam::ScopedPosixOverride& seam, int code) {
  static int failure;
  failure = code;
  seam->close = [](int) {
    errno = failure;
    return -1;
  };
}

// An epoll set watching the read end of a pipe.
class EpollOnPipe : public ::testing::Test {
 protected:
  void SetUp() override { epoll_.AddFd(pipe_.GetReadFd(), InEvent()); }
  epoll_event InEvent() {
    epoll_event e{};
    e.events = EPOLLIN;
    e.data.fd = pipe_.GetReadFd();
    return e;
  }
  PipeWrapper pipe_{O_CLOEXEC};
  EpollWrapper epoll_{EPOLL_CLOEXEC};
};

TEST_F(EpollOnPipe, WaitsForTheReadyEventsOnlyAndTimesOutEmpty) {
  EXPECT_TRUE(epoll_.Wait(4, 10).empty());
  ASSERT_EQ(write(pipe_.GetWriteFd(), "x", 1), 1);
  auto events = epoll_.PWait(8, 1000, nullptr);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].data.fd, pipe_.GetReadFd());
}

TEST_F(EpollOnPipe, ThrowsOnBadRegistrationsAndLeavesTheSetAlone) {
  std::string what = WhatOf([&] { epoll_.DelFd(pipe_.GetWriteFd()); });
  EXPECT_NE(what.find("utils/epoll_wrapper:EpollCtl:"), std::string::npos) << what;
  EXPECT_NE(what.find(": Fail to call epoll_ctl, errno: [2]"), std::string::npos) << what;
  EXPECT_THROW(epoll_.AddFd(pipe_.GetReadFd(), InEvent()), Exception::RuntimeException);
  EXPECT_EQ(epoll_.GetRegisteredFds(), std::set<int>{pipe_.GetReadFd()});
  epoll_.ClearFd();
  EXPECT_TRUE(epoll_.GetRegisteredFds().empty());
}

TEST_F(EpollOnPipe, ClosingTheWriteEndTwiceIsHarmlessAndTheReadEndSeesHangUp) {
  pipe_.CloseWriteFd();
  EXPECT_NO_THROW(pipe_.CloseWriteFd());
  EXPECT_EQ(pipe_.GetWriteFd(), -1);
  auto events = epoll_.Wait(1, 1000);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_TRUE(events[0].events & EPOLLHUP);
}

TEST_F(EpollOnPipe, AMovedWrapperKeepsTheDescriptorAndItsDestructorClosesIt) {
  const int fd = epoll_.GetFd();
  {
    EpollWrapper moved(std::move(epoll_));
    EXPECT_EQ(epoll_.GetFd(), -1);
    EXPECT_EQ(moved.GetFd(), fd);
    EXPECT_TRUE(IsOpen(fd));
  }
  EXPECT_FALSE(IsOpen(fd));
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

TEST(DescriptorWrappers, CreationFailureCarriesTheErrno) {
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { EpollWrapper bad(-1); }, "Fail to create epoll, errno: \\[22\\]"},
      {[] { PipeWrapper bad(-1); }, "Fail to open pipe, errno: \\[22\\]"},
      {[] { SocketWrapper bad(-7, SOCK_DGRAM, 0); },
       "utils/socket_wrapper:SocketWrapper:.*Fail to open socket, errno: \\[97\\]"},
  };
  for (const auto& [create, message] : cases) {
    const std::string what = WhatOf(create);
    EXPECT_TRUE(std::regex_search(what, std::regex(message))) << what;
  }
}

TEST(PipeWrapper, ACloseThatFailsThrowsAndKeepsTheDescriptor) {
  PipeWrapper pipe(O_CLOEXEC);
  int readFd = pipe.GetReadFd();
  {
    Seam::ScopedPosixOverride seam;
    FailClose(seam, EIO);
    std::string what = WhatOf([&] { pipe.CloseReadFd(); });
    EXPECT_NE(what.find("utils/pipe_wrapper:_CloseReadFd:"), std::string::npos) << what;
    EXPECT_NE(what.find("Fail to close pipe read fd, errno: [5]"), std::string::npos) << what;
  }
  EXPECT_EQ(pipe.GetReadFd(), readFd);
}

TEST(PipeWrapper, ADestructorWhoseCloseFailsLogsAndDoesNotThrow) {
  LogCapture failing;
  Seam::ScopedPosixOverride seam;
  auto* pipe = new PipeWrapper(O_CLOEXEC);
  const int fds[2] = {pipe->GetReadFd(), pipe->GetWriteFd()};
  FailClose(seam, EBADF);
  EXPECT_NO_FATAL_FAILURE(delete pipe);
  auto lines = failing.Matching("Unhandled exception in destructor: ");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].text.find("Fail to close pipe read fd, errno: [9]"), std::string::npos);
  EXPECT_NE(lines[1].text.find("Fail to close pipe write fd, errno: [9]"), std::string::npos);
  ::close(fds[0]);
  ::close(fds[1]);
}

TEST(SocketWrapper, ClosesItsDescriptorAndLogsACloseFailure) {
  int fd;
  {
    SocketWrapper socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    fd = socket.GetFd();
    EXPECT_TRUE(IsOpen(fd));
  }
  EXPECT_FALSE(IsOpen(fd));
  LogCapture capture;
  {
    SocketWrapper socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    fd = socket.GetFd();
    Seam::ScopedPosixOverride seam;
    FailClose(seam, EIO);
    SocketWrapper moved(std::move(socket));
  }
  EXPECT_TRUE(capture.Contains("Fail to close socket fd, errno: [5]"));
  ::close(fd);
}

TEST(RWLock, EachFailingCallThrowsTheCodeInBrackets) {
  const struct {
    void (*arrange)(Seam::PosixCalls&);
    void (*act)(RWLock&);
    const char* message;
  } cases[] = {
      {[](Seam::PosixCalls& c) { c.rwlock_wrlock = [](pthread_rwlock_t*) { return EDEADLK; }; },
       [](RWLock& l) { l.WriteLock(); }, "WriteLock:[0-9]+: Write lock failed with errno \\[35\\]"},
      {[](Seam::PosixCalls& c) { c.rwlock_rdlock = [](pthread_rwlock_t*) { return EAGAIN; }; },
       [](RWLock& l) { l.ReadLock(); }, "Read lock failed with errno \\[11\\]"},
      {[](Seam::PosixCalls& c) { c.rwlock_unlock = [](pthread_rwlock_t*) { return EPERM; }; },
       [](RWLock& l) { l.Unlock(); }, "Unlock failed with errno \\[1\\]"},
      {[](Seam::PosixCalls& c) { c.setcancelstate = [](int, int*) { return EINVAL; }; },
       [](RWLock&) {
         int old;
         RWLock::SetCancelState(PTHREAD_CANCEL_DISABLE, &old);
       },
       "Fail to set pthread cancel to \\[1\\]: \\[22\\]"},
  };
  for (const auto& c : cases) {
    RWLock lock;
    Seam::ScopedPosixOverride seam;
    c.arrange(Seam::Posix());
    std::string what = WhatOf([&] { c.act(lock); });
    EXPECT_TRUE(std::regex_search(what, std::regex(std::string("utils/rwlock:.*") + c.message))) << what;
  }
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

TEST(RWLock, ReadersShareUnderEitherGlibcPreference) {
  EXPECT_NO_THROW(RWLockAttrNonPortable attr(PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP));
  RWLockAttrNonPortable attr(PTHREAD_RWLOCK_PREFER_READER_NP);
  RWLock plain, preferReaders(attr);
  for (RWLock* lock : {&plain, &preferReaders}) {
    lock->ReadLock();
    lock->ReadLock();
    lock->Unlock();
    lock->Unlock();
    lock->WriteLock();
    lock->Unlock();
  }
}

}  // namespace
