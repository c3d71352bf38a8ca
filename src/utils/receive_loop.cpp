#include "utils/receive_loop.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/epoll.h>

#include <cerrno>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK::Detail {

ReceiveLoop::~ReceiveLoop() { Stop(); }

void ReceiveLoop::Start(int fd, Handler handler, EndHook onEnd) {
  if (started_) ORVA_THROW(Exception::LogicException, "The receive loop is already running");
  handler_ = std::move(handler);
  onEnd_ = std::move(onEnd);
  fd_ = fd;
  stop_ = std::make_unique<PipeWrapper>(O_CLOEXEC);
  epoll_ = std::make_unique<EpollWrapper>(EPOLL_CLOEXEC);
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = fd;
  epoll_->AddFd(fd, event);
  event.data.fd = stop_->GetReadFd();
  epoll_->AddFd(stop_->GetReadFd(), event);

  sigset_t all, previous;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &previous);
  running_ = true;
  const int rc = ::pthread_create(&thread_, nullptr, &ReceiveLoop::Entry, this);
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  if (rc != 0) {
    running_ = false;
    epoll_.reset();
    stop_.reset();
    ORVA_THROW(Exception::RuntimeException, Exception::WithErrno("Fail to start the receive thread", rc));
  }
  started_ = true;
}

void ReceiveLoop::Stop() noexcept {
  if (!started_) return;
  try {
    stop_->CloseWriteFd();
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
  ::pthread_join(thread_, nullptr);
  started_ = false;
  running_ = false;
  epoll_.reset();
  stop_.reset();
}

void* ReceiveLoop::Entry(void* self) {
  static_cast<ReceiveLoop*>(self)->Run();
  return nullptr;
}

void ReceiveLoop::Run() noexcept {
  const int stopFd = stop_->GetReadFd();
  try {
    for (bool go = true; go;) {
      epoll_event events[2];
      // Blocked signals cannot interrupt the wait, but a stop and continue of the process can.
      const int ready = ::epoll_wait(epoll_->GetFd(), events, 2, -1);
      if (ready < 0 && errno == EINTR) continue;
      ORVA_THROW_ERRNO_IF(ready < 0, Exception::RuntimeException, "epoll_wait failed");
      uint32_t fdEvents = 0;
      for (int i = 0; i < ready; ++i) {
        if (events[i].data.fd == stopFd) go = false;
        if (events[i].data.fd == fd_) fdEvents |= events[i].events;
      }
      if (go && fdEvents != 0) go = handler_(fdEvents);
    }
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("receive loop ended: %s", e.what());
  }
  running_ = false;
  if (onEnd_) onEnd_();
}

}  // namespace ORVA::MESH::SDK::Detail
