#pragma once
// Owner of one epoll instance and of the set of descriptors registered in it. Used by one
// thread at a time (the IO thread that waits on it), so it takes no lock. Move-only.
#include <signal.h>
#include <sys/epoll.h>

#include <set>
#include <vector>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT EpollWrapper {
 public:
  // epoll_create1(flags); throws RuntimeException on failure.
  explicit EpollWrapper(int flags);
  // Deregisters every recorded descriptor, then closes the instance. Never throws.
  ~EpollWrapper();
  EpollWrapper(const EpollWrapper&) = delete;
  EpollWrapper& operator=(const EpollWrapper&) = delete;
  EpollWrapper(EpollWrapper&& other) noexcept;
  EpollWrapper& operator=(EpollWrapper&& other) noexcept;

  void AddFd(int fd, const epoll_event& event);
  void ModFd(int fd, const epoll_event& event);
  void DelFd(int fd);
  // DelFd for every registered descriptor, in ascending order.
  void ClearFd();
  // The common epoll_ctl call; the registered set changes only after it succeeded.
  void EpollCtl(int op, int fd, const epoll_event* event);

  // Waits up to `timeout` ms (-1: forever) for at most `maxEvents` events and returns the
  // ready ones; empty on a time-out. A failure, an interrupting signal included, throws:
  // callers decide whether to retry.
  std::vector<epoll_event> Wait(int maxEvents, int timeout) const;
  std::vector<epoll_event> PWait(int maxEvents, int timeout, const sigset_t* sigmask) const;

  int GetFd() const noexcept { return epollFd_; }
  const std::set<int>& GetRegisteredFds() const noexcept { return fds_; }

 private:
  void Release() noexcept;

  int epollFd_ = -1;
  std::set<int> fds_;
};

}  // namespace ORVA::MESH::SDK
