#include "utils/posix_seam.h"

#include <sys/socket.h>
#include <unistd.h>

namespace ORVA::MESH::SDK::Seam {

PosixCalls& Posix() noexcept {
  static PosixCalls calls{
      ::pthread_mutex_lock,        ::pthread_mutex_unlock,  ::pthread_setcancelstate,
      ::pthread_rwlockattr_init,   ::pthread_rwlockattr_setkind_np,
      ::pthread_rwlockattr_destroy, ::pthread_rwlock_init,  ::pthread_rwlock_wrlock,
      ::pthread_rwlock_rdlock,     ::pthread_rwlock_unlock, ::pthread_rwlock_destroy,
      ::epoll_create1,             ::epoll_ctl,             ::epoll_pwait,
      ::pipe2,                     ::close,                 ::socket,
  };
  return calls;
}

}  // namespace ORVA::MESH::SDK::Seam
