#pragma once
// Owner of one socket descriptor. The classes that own a SocketWrapper (through a shared
// pointer) read the descriptor directly with GetFd(). Move-only.
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT SocketWrapper {
 public:
  // socket(domain, type, protocol); throws RuntimeException on failure.
  SocketWrapper(int domain, int type, int protocol);
  // Closes the socket; a failure is logged, never thrown.
  ~SocketWrapper();
  SocketWrapper(const SocketWrapper&) = delete;
  SocketWrapper& operator=(const SocketWrapper&) = delete;
  SocketWrapper(SocketWrapper&& other) noexcept;
  SocketWrapper& operator=(SocketWrapper&& other) noexcept;

  int GetFd() const noexcept { return fd_; }

 private:
  void Release() noexcept;
  int fd_ = -1;
};

}  // namespace ORVA::MESH::SDK
