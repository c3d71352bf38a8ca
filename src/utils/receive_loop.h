#pragma once
// The IO thread of a receiver: waits on one descriptor and a stop pipe with epoll and calls the
// owner's handler whenever the descriptor is readable. The thread starts with every signal
// blocked, so signals go to the program's own threads and never interrupt the wait; Stop()
// closes the pipe's write end and joins. Owned by each receiver (netlink receivers, the ping
// session's callers); the receiver keeps its own exception locations and log lines.
#include <atomic>
#include <functional>
#include <memory>
#include <pthread.h>

#include "orvamesh/utils/epoll_wrapper.h"
#include "orvamesh/utils/pipe_wrapper.h"

namespace ORVA::MESH::SDK::Detail {

class ReceiveLoop {
 public:
  // Called on the IO thread when the descriptor is readable; false ends the loop (the
  // descriptor failed or the peer went away), after which IsRunning() is false.
  using Handler = std::function<bool()>;

  ReceiveLoop() = default;
  ~ReceiveLoop();
  ReceiveLoop(const ReceiveLoop&) = delete;
  ReceiveLoop& operator=(const ReceiveLoop&) = delete;

  // Throws Exception::RuntimeException when the thread, the pipe or the epoll set cannot be
  // made; nothing is left running then.
  void Start(int fd, Handler handler);
  // Idempotent; waits for a handler that is running to return.
  void Stop() noexcept;
  // False before Start, after Stop, and once the handler has ended the loop.
  bool IsRunning() const noexcept { return running_.load(); }

 private:
  static void* Entry(void* self);
  void Run() noexcept;

  Handler handler_;
  int fd_ = -1;
  std::unique_ptr<PipeWrapper> stop_;
  std::unique_ptr<EpollWrapper> epoll_;
  pthread_t thread_{};
  bool started_ = false;  // touched by the owner's thread only
  std::atomic<bool> running_{false};
};

}  // namespace ORVA::MESH::SDK::Detail
