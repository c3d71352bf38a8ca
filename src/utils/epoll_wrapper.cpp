#include "orvamesh/utils/epoll_wrapper.h"

#include <cerrno>
#include <string>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "utils/posix_seam.h"

namespace ORVA::MESH::SDK {

using Exception::RuntimeException;

namespace {
std::string Errno(int err) { return "[" + std::to_string(err) + "]"; }
}  // namespace

EpollWrapper::EpollWrapper(int flags) {
  epollFd_ = Seam::Posix().epoll_create1(flags);
  if (epollFd_ == -1) ORVA_THROW(RuntimeException, "Fail to create epoll, errno: " + Errno(errno));
}

EpollWrapper::~EpollWrapper() { Release(); }

EpollWrapper::EpollWrapper(EpollWrapper&& other) noexcept
    : epollFd_(other.epollFd_), fds_(std::move(other.fds_)) {
  other.epollFd_ = -1;
  other.fds_.clear();
}

EpollWrapper& EpollWrapper::operator=(EpollWrapper&& other) noexcept {
  if (this != &other) {
    Release();
    epollFd_ = other.epollFd_;
    fds_ = std::move(other.fds_);
    other.epollFd_ = -1;
    other.fds_.clear();
  }
  return *this;
}

void EpollWrapper::Release() noexcept {
  if (epollFd_ == -1) return;
  try {
    ClearFd();
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("Exception during deregistering fd in interest list: %s", e.what());
  } catch (...) {
    ORVA_LOG_ERR("Unknown exception during deregistering fd in interest list");
  }
  if (Seam::Posix().close(epollFd_) == -1) {
    ORVA_LOG_ERR("Fail to close epoll fd, errno: [%d]", errno);
  }
  epollFd_ = -1;
}

void EpollWrapper::AddFd(int fd, const epoll_event& event) {
  EpollCtl(EPOLL_CTL_ADD, fd, &event);
  fds_.insert(fd);
}

void EpollWrapper::ModFd(int fd, const epoll_event& event) { EpollCtl(EPOLL_CTL_MOD, fd, &event); }

void EpollWrapper::DelFd(int fd) {
  EpollCtl(EPOLL_CTL_DEL, fd, nullptr);
  fds_.erase(fd);
}

void EpollWrapper::ClearFd() {
  // Copy first: DelFd shrinks the set we would otherwise be walking.
  const std::set<int> registered = fds_;
  for (int fd : registered) DelFd(fd);
}

void EpollWrapper::EpollCtl(int op, int fd, const epoll_event* event) {
  epoll_event copy{};
  if (event != nullptr) copy = *event;
  if (Seam::Posix().epoll_ctl(epollFd_, op, fd, event != nullptr ? &copy : nullptr) == -1) {
    ORVA_THROW(RuntimeException, "Fail to call epoll_ctl, errno: " + Errno(errno));
  }
}

std::vector<epoll_event> EpollWrapper::Wait(int maxEvents, int timeout) const {
  return PWait(maxEvents, timeout, nullptr);
}

std::vector<epoll_event> EpollWrapper::PWait(int maxEvents, int timeout, const sigset_t* sigmask) const {
  std::vector<epoll_event> events(maxEvents > 0 ? static_cast<size_t>(maxEvents) : 0);
  int ready = Seam::Posix().epoll_pwait(epollFd_, events.data(), maxEvents, timeout, sigmask);
  if (ready == -1) ORVA_THROW(RuntimeException, "epoll_pwait failed, errno: " + Errno(errno));
  events.resize(static_cast<size_t>(ready));
  return events;
}

}  // namespace ORVA::MESH::SDK
