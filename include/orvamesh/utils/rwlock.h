#pragma once
// A pthread read-write lock. Unlike Mutex, its operations throw RuntimeException on failure.
#include <pthread.h>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

// Attribute object for RWLock, optionally carrying glibc's reader/writer preference
// (PTHREAD_RWLOCK_PREFER_READER_NP, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP, ...).
class ORVA_EXPORT RWLockAttrNonPortable {
 public:
  RWLockAttrNonPortable();
  explicit RWLockAttrNonPortable(int preference);
  ~RWLockAttrNonPortable();
  RWLockAttrNonPortable(const RWLockAttrNonPortable&) = delete;
  RWLockAttrNonPortable& operator=(const RWLockAttrNonPortable&) = delete;

  const pthread_rwlockattr_t* Get() const noexcept { return &attr_; }

 private:
  void Destroy(const char* function);
  pthread_rwlockattr_t attr_;
};

class ORVA_EXPORT RWLock {
 public:
  // Platform default preference.
  RWLock();
  explicit RWLock(const RWLockAttrNonPortable& attr);
  ~RWLock();
  RWLock(const RWLock&) = delete;
  RWLock& operator=(const RWLock&) = delete;

  void WriteLock();
  void ReadLock();
  void Unlock();
  static void SetCancelState(int state, int* oldState);

 private:
  void Destroy(const char* function);
  pthread_rwlock_t lock_;
};

}  // namespace ORVA::MESH::SDK
