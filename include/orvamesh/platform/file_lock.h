#pragma once
// The network utility library's advisory file lock: an exclusive flock(2) on a lock file,
// shared by every process that locks the same path. The lock file (not its directory) is
// created when missing. Lock blocks until the lock is free. The path is used as given.
// Move-only; destruction releases a lock still held.
#include <string>

#include "orvamesh/export.h"

namespace orva::net::utils {

class ORVA_EXPORT FileLock {
 public:
  explicit FileLock(std::string path);
  ~FileLock();
  FileLock(FileLock&& other) noexcept;
  FileLock& operator=(FileLock&& other) noexcept;
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  // False when the file cannot be opened or locked (or this object holds it already).
  bool Lock();
  // Blocks for no time: false when another holder has the lock.
  bool TryLock();
  // False when this object holds no lock or the kernel refuses to release it.
  bool Unlock();
  bool IsLocked() const noexcept { return fd_ != -1; }
  const std::string& Path() const noexcept { return path_; }

 private:
  bool Acquire(int operation);

  std::string path_;
  int fd_ = -1;
};

}  // namespace orva::net::utils
