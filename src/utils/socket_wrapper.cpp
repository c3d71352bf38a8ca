#include "orvamesh/utils/socket_wrapper.h"

#include <cerrno>
#include <string>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "utils/posix_seam.h"

namespace ORVA::MESH::SDK {

SocketWrapper::SocketWrapper(int domain, int type, int protocol) {
  fd_ = Seam::Posix().socket(domain, type, protocol);
  if (fd_ == -1) {
    ORVA_THROW(Exception::RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("Fail to open socket", errno));
  }
}

SocketWrapper::~SocketWrapper() { Release(); }

SocketWrapper::SocketWrapper(SocketWrapper&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }

SocketWrapper& SocketWrapper::operator=(SocketWrapper&& other) noexcept {
  if (this != &other) {
    Release();
    fd_ = other.fd_;
    other.fd_ = -1;
  }
  return *this;
}

void SocketWrapper::Release() noexcept {
  if (fd_ == -1) return;
  if (Seam::Posix().close(fd_) == -1) {
    ORVA_LOG_ERR("Fail to close socket fd, errno: [%d]", errno);
  }
  fd_ = -1;
}

}  // namespace ORVA::MESH::SDK
