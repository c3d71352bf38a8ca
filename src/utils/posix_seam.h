#pragma once
// A thin seam over the POSIX calls whose failures cannot be provoked for real (a mutex that
// refuses to unlock, a close() that fails). The library calls them through Posix(); tests
// swap single entries with ScopedPosixOverride to reach the error paths. Not installed.
#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>

#include "platform/seam.h"

namespace ORVA::MESH::SDK::Seam {

struct PosixCalls {
  int (*mutex_lock)(pthread_mutex_t*);
  int (*mutex_unlock)(pthread_mutex_t*);
  int (*setcancelstate)(int, int*);
  int (*rwlockattr_init)(pthread_rwlockattr_t*);
  int (*rwlockattr_setkind_np)(pthread_rwlockattr_t*, int);
  int (*rwlockattr_destroy)(pthread_rwlockattr_t*);
  int (*rwlock_init)(pthread_rwlock_t*, const pthread_rwlockattr_t*);
  int (*rwlock_wrlock)(pthread_rwlock_t*);
  int (*rwlock_rdlock)(pthread_rwlock_t*);
  int (*rwlock_unlock)(pthread_rwlock_t*);
  int (*rwlock_destroy)(pthread_rwlock_t*);
  int (*epoll_create1)(int);
  int (*epoll_ctl)(int, int, int, struct epoll_event*);
  int (*epoll_pwait)(int, struct epoll_event*, int, int, const sigset_t*);
  int (*pipe2)(int*, int);
  int (*close)(int);
  int (*socket)(int, int, int);
};

// The calls in force; the real libc/libpthread functions unless a test overrode some.
PosixCalls& Posix() noexcept;

using ScopedPosixOverride = ::orva::platform::ScopedOverride<PosixCalls, &Posix>;

}  // namespace ORVA::MESH::SDK::Seam
