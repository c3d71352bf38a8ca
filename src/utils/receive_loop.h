#pragma once
// The IO thread of a receiver: waits on one descriptor and a stop pipe with epoll and calls the
// owner's handler whenever the descriptor reports an event. The thread starts with every signal
// blocked, so signals go to the program's own threads and never interrupt the wait; Stop()
// closes the pipe's write end and joins. Owned by each receiver (netlink receivers, the ping
// session's callers, and the wired scan listener and response receiver through their shared
// scan_wired/datagram_receiver.h); the receiver keeps its own exception locations and log
// lines, since its handler and end hook are its own code.
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <pthread.h>

#include "orvamesh/utils/epoll_wrapper.h"
#include "orvamesh/utils/pipe_wrapper.h"

namespace ORVA::MESH::SDK::Detail {

class ReceiveLoop {
 public:
  // Called on the IO thread with the descriptor's epoll events; false ends the loop (the
  // descriptor failed or the peer went away), after which IsRunning() is false.
  using Handler = std::function<bool(uint32_t events)>;
  // Called on the IO thread as its last act, whether stopped or ended by the handler.
  using EndHook = std::function<void()>;

  ReceiveLoop() = default;
  ~ReceiveLoop();
  ReceiveLoop(const ReceiveLoop&) = delete;
  ReceiveLoop& operator=(const ReceiveLoop&) = delete;

  // Throws Exception::RuntimeException when the thread, the pipe or the epoll set cannot be
  // made; nothing is left running then.
  void Start(int fd, Handler handler, EndHook onEnd = nullptr);
  // Idempotent; waits for a handler that is running to return.
  void Stop() noexcept;
  // False before Start, after Stop, and once the handler has ended the loop.
  bool IsRunning() const noexcept { return running_.load(); }

 private:
  static void* Entry(void* self);
  void Run() noexcept;

  Handler handler_;
  EndHook onEnd_;
  int fd_ = -1;
  std::unique_ptr<PipeWrapper> stop_;
  std::unique_ptr<EpollWrapper> epoll_;
  pthread_t thread_{};
  bool started_ = false;  // touched by the owner's thread only
  std::atomic<bool> running_{false};
};

}  // namespace ORVA::MESH::SDK::Detail
