#include "orvamesh/utils/pipe_wrapper.h"

#include <cerrno>
#include <string>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "utils/posix_seam.h"

namespace ORVA::MESH::SDK {

using Exception::RuntimeException;

PipeWrapper::PipeWrapper(int flags) {
  int fds[2] = {-1, -1};
  if (Seam::Posix().pipe2(fds, flags) == -1) {
    ORVA_THROW(RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("Fail to open pipe", errno));
  }
  readFd_ = fds[0];
  writeFd_ = fds[1];
}

PipeWrapper::~PipeWrapper() {
  try {
    CloseReadFd();
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
  try {
    CloseWriteFd();
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
}

int PipeWrapper::GetReadFd() {
  int fd = -1;
  if (!Mutex::CallWithLock(mutex_, [&] { fd = _GetReadFd(); })) {
    ORVA_THROW(RuntimeException, "Fail to get read FD");
  }
  return fd;
}

int PipeWrapper::GetWriteFd() {
  int fd = -1;
  if (!Mutex::CallWithLock(mutex_, [&] { fd = _GetWriteFd(); })) {
    ORVA_THROW(RuntimeException, "Fail to get write FD");
  }
  return fd;
}

void PipeWrapper::CloseReadFd() {
  if (!Mutex::CallWithLock(mutex_, [&] { _CloseReadFd(); })) {
    ORVA_THROW(RuntimeException, "Fail to close read FD");
  }
}

void PipeWrapper::CloseWriteFd() {
  if (!Mutex::CallWithLock(mutex_, [&] { _CloseWriteFd(); })) {
    ORVA_THROW(RuntimeException, "Fail to close write FD");
  }
}

int PipeWrapper::_GetReadFd() { return readFd_; }

int PipeWrapper::_GetWriteFd() { return writeFd_; }

void PipeWrapper::_CloseReadFd() {
  if (readFd_ == -1) return;
  if (Seam::Posix().close(readFd_) == -1) {
    ORVA_THROW(RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("Fail to close pipe read fd", errno));
  }
  readFd_ = -1;
}

void PipeWrapper::_CloseWriteFd() {
  if (writeFd_ == -1) return;
  if (Seam::Posix().close(writeFd_) == -1) {
    ORVA_THROW(RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("Fail to close pipe write fd", errno));
  }
  writeFd_ = -1;
}

}  // namespace ORVA::MESH::SDK
