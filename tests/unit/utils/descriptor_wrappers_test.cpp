#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/epoll_wrapper.h"
#include "orvamesh/utils/pipe_wrapper.h"
#include "orvamesh/utils/rwlock.h"
#include "orvamesh/utils/socket_wrapper.h"
#include "support/log_capture.h"
#include "support/thrown_text.h"
#include "utils/posix_seam.h"

namespace {

using namespace ORVA::MESH::SDK;
using orva::test::LogCapture;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
constexpr auto WhatOf = orva::test::ThrownText<std::exception>;

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

template <int kErrno>
int FailingClose(int) {
  errno = kErrno;
  return -1;
}

// An epoll set watching the read end of a pipe.
class EpollOnPipe : public ::testing::Test {
 protected:
  void SetUp() override {
    in_.events = EPOLLIN;
    in_.data.fd = pipe_.GetReadFd();
    epoll_.AddFd(pipe_.GetReadFd(), in_);
  }
  PipeWrapper pipe_{O_CLOEXEC};
  EpollWrapper epoll_{EPOLL_CLOEXEC};
  epoll_event in_{};
};

TEST_F(EpollOnPipe, WaitsForReadyEventsOnlyAndSeesTheHangUpOfAWriteEndClosedTwice) {
  EXPECT_TRUE(epoll_.Wait(4, 10).empty());
  ASSERT_EQ(write(pipe_.GetWriteFd(), "x", 1), 1);
  auto events = epoll_.PWait(8, 1000, nullptr);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].data.fd, pipe_.GetReadFd());
  pipe_.CloseWriteFd();
  EXPECT_NO_THROW(pipe_.CloseWriteFd());
  events = epoll_.Wait(1, 1000);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_TRUE(events[0].events & EPOLLHUP);
}

TEST_F(EpollOnPipe, ThrowsOnBadRegistrationsAndLeavesTheSetAlone) {
  EXPECT_THAT(WhatOf([&] { epoll_.DelFd(pipe_.GetWriteFd()); }),
              ContainsRegex("utils/epoll_wrapper:EpollCtl:[0-9]+: Fail to call epoll_ctl, errno: \\[2\\]"));
  EXPECT_THROW(epoll_.AddFd(pipe_.GetReadFd(), in_), Exception::RuntimeException);
  EXPECT_EQ(epoll_.GetRegisteredFds(), std::set<int>{pipe_.GetReadFd()});
  epoll_.ClearFd();
  EXPECT_TRUE(epoll_.GetRegisteredFds().empty());
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

TEST(DescriptorWrappers, AFailingSystemCallThrowsWithItsErrno) {
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { EpollWrapper bad(-1); }, "Fail to create epoll, errno: \\[22\\]"},
      {[] { PipeWrapper bad(-1); }, "Fail to open pipe, errno: \\[22\\]"},
      {[] { SocketWrapper bad(-7, SOCK_DGRAM, 0); },
       "utils/socket_wrapper:SocketWrapper:.*Fail to open socket, errno: \\[97\\]"},
      {[] {
         EpollWrapper epoll(EPOLL_CLOEXEC);
         Seam::ScopedPosixOverride seam;
         seam->epoll_pwait = [](int, epoll_event*, int, int, const sigset_t*) {
           errno = EINTR;
           return -1;
         };
         epoll.Wait(1, 0);
       },
       "epoll_pwait failed, errno: \\[4\\]"},
  };
  for (const auto& [call, message] : cases) EXPECT_THAT(WhatOf(call), ContainsRegex(message));
}

TEST(PipeWrapper, AFailingCloseThrowsAndKeepsTheDescriptorButFromTheDestructorIsOnlyLogged) {
  LogCapture capture;
  auto* pipe = new PipeWrapper(O_CLOEXEC);
  const int fds[2] = {pipe->GetReadFd(), pipe->GetWriteFd()};
  {
    Seam::ScopedPosixOverride seam;
    seam->close = FailingClose<EIO>;
    EXPECT_THAT(WhatOf([&] { pipe->CloseReadFd(); }),
                ContainsRegex("utils/pipe_wrapper:_CloseReadFd:.*Fail to close pipe read fd, errno: \\[5\\]"));
    EXPECT_EQ(pipe->GetReadFd(), fds[0]);
    seam->close = FailingClose<EBADF>;
    EXPECT_NO_FATAL_FAILURE(delete pipe);
  }
  auto lines = capture.Matching("Unhandled exception in destructor: ");
  ASSERT_EQ(lines.size(), 2u) << "both ends";
  EXPECT_THAT(lines[0].text, HasSubstr("Fail to close pipe read fd, errno: [9]"));
  ::close(fds[0]);
  ::close(fds[1]);
}

TEST(SocketWrapper, TheLastOwnerClosesTheDescriptor) {
  int fd;
  {
    SocketWrapper socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    fd = socket.GetFd();
    SocketWrapper moved(std::move(socket));
    EXPECT_TRUE(IsOpen(fd));
  }
  EXPECT_FALSE(IsOpen(fd));
}

TEST(RWLock, EachFailingCallThrowsTheCodeInBrackets) {
  const struct {
    void (*arrange)(Seam::PosixCalls&);
    void (*act)();
    const char* message;
  } cases[] = {
      {[](Seam::PosixCalls& c) { c.rwlock_wrlock = [](pthread_rwlock_t*) { return EDEADLK; }; },
       [] { RWLock().WriteLock(); }, "WriteLock:[0-9]+: Write lock failed with errno \\[35\\]"},
      {[](Seam::PosixCalls& c) { c.setcancelstate = [](int, int*) { return EINVAL; }; },
       [] { RWLock::SetCancelState(PTHREAD_CANCEL_DISABLE, nullptr); },
       "Fail to set pthread cancel to \\[1\\]: \\[22\\]"},
      {[](Seam::PosixCalls& c) {
         c.rwlock_init = [](pthread_rwlock_t*, const pthread_rwlockattr_t*) { return EAGAIN; };
       },
       [] { RWLock lock; }, "pthread_rwlock_init failed with errno \\[11\\]"},
      {[](Seam::PosixCalls&) {}, [] { RWLockAttrNonPortable attr(12345); },
       "pthread_rwlockattr_setkind_np failed with errno \\[22\\]"},
  };
  for (const auto& c : cases) {
    Seam::ScopedPosixOverride seam;
    c.arrange(Seam::Posix());
    EXPECT_THAT(WhatOf(c.act), ContainsRegex(std::string("utils/rwlock:.*") + c.message));
  }
}

TEST(RWLock, AFailingDestroyLogsOneLineAndThrowsNothing) {
  LogCapture capture;
  Seam::ScopedPosixOverride seam;
  {
    RWLock lock;
    seam->rwlock_destroy = [](pthread_rwlock_t*) { return EBUSY; };
  }
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_THAT(capture.Lines()[0].text, HasSubstr("pthread_rwlock_destroy failed with errno [16]"));
}

TEST(RWLock, ReadersShare) {
  RWLockAttrNonPortable attr(PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
  RWLock lock(attr);
  lock.ReadLock();
  lock.ReadLock();  // would wait forever behind an exclusive lock
  lock.Unlock();
  lock.Unlock();
  lock.WriteLock();
  lock.Unlock();
}

}  // namespace
