#include "orvamesh/platform/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/file_seam.h"

namespace orva::net::utils {

FileLock::FileLock(std::string path) : path_(std::move(path)) {}

FileLock::~FileLock() { Unlock(); }

FileLock::FileLock(FileLock&& other) noexcept : path_(std::move(other.path_)), fd_(other.fd_) {
  other.fd_ = -1;
}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
  if (this != &other) {
    Unlock();
    path_ = std::move(other.path_);
    fd_ = other.fd_;
    other.fd_ = -1;
  }
  return *this;
}

bool FileLock::Lock() { return Acquire(LOCK_EX); }

bool FileLock::TryLock() { return Acquire(LOCK_EX | LOCK_NB); }

bool FileLock::Acquire(int operation) {
  if (fd_ != -1 || path_.empty()) return false;
  int fd = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd == -1) return false;
  int rc;
  while ((rc = orva::platform::FileCalls().flock(fd, operation)) == -1 && errno == EINTR) {
  }
  if (rc == -1) {
    ::close(fd);
    return false;
  }
  fd_ = fd;
  return true;
}

bool FileLock::Unlock() {
  if (fd_ == -1) return false;
  bool ok = orva::platform::FileCalls().flock(fd_, LOCK_UN) == 0;
  // Closing the descriptor drops the lock whatever flock answered; the caller still learns
  // of the refusal.
  ::close(fd_);
  fd_ = -1;
  return ok;
}

}  // namespace orva::net::utils
