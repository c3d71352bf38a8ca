#include "orvamesh/utils/rwlock.h"

#include <string>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "utils/posix_seam.h"

namespace ORVA::MESH::SDK {

using Exception::RuntimeException;

namespace {
std::string Code(int rc) { return "[" + std::to_string(rc) + "]"; }
}  // namespace

// The destructors log in these words (not the generic destructor line): they are what the
// router's log filters look for.
#define ORVA_RWLOCK_DESTRUCTOR_GUARD(call)                              \
  try {                                                                 \
    call;                                                               \
  } catch (const std::exception& e) {                                   \
    ORVA_LOG_ERR("Unhandled exception: %s", e.what());                  \
  } catch (...) {                                                       \
    ORVA_LOG_ERR("Non-standard unhandled exception");                   \
  }

RWLockAttrNonPortable::RWLockAttrNonPortable() {
  int rc = Seam::Posix().rwlockattr_init(&attr_);
  if (rc != 0) ORVA_THROW(RuntimeException, "pthread_rwlockattr_init failed with errno " + Code(rc));
}

RWLockAttrNonPortable::RWLockAttrNonPortable(int preference) : RWLockAttrNonPortable() {
  int rc = Seam::Posix().rwlockattr_setkind_np(&attr_, preference);
  if (rc != 0) {
    ::pthread_rwlockattr_destroy(&attr_);
    ORVA_THROW(RuntimeException, "pthread_rwlockattr_setkind_np failed with errno " + Code(rc));
  }
}

void RWLockAttrNonPortable::Destroy(const char* function) {
  int rc = Seam::Posix().rwlockattr_destroy(&attr_);
  if (rc != 0) {
    ORVA_THROW_IN(RuntimeException, function, "pthread_rwlockattr_destroy failed with errno " + Code(rc));
  }
}

RWLockAttrNonPortable::~RWLockAttrNonPortable() { ORVA_RWLOCK_DESTRUCTOR_GUARD(Destroy(__func__)) }

RWLock::RWLock() : RWLock(RWLockAttrNonPortable()) {}

RWLock::RWLock(const RWLockAttrNonPortable& attr) {
  int rc = Seam::Posix().rwlock_init(&lock_, attr.Get());
  if (rc != 0) ORVA_THROW(RuntimeException, "pthread_rwlock_init failed with errno " + Code(rc));
}

void RWLock::Destroy(const char* function) {
  int rc = Seam::Posix().rwlock_destroy(&lock_);
  if (rc != 0) {
    ORVA_THROW_IN(RuntimeException, function, "pthread_rwlock_destroy failed with errno " + Code(rc));
  }
}

RWLock::~RWLock() { ORVA_RWLOCK_DESTRUCTOR_GUARD(Destroy(__func__)) }

void RWLock::WriteLock() {
  int rc = Seam::Posix().rwlock_wrlock(&lock_);
  if (rc != 0) ORVA_THROW(RuntimeException, "Write lock failed with errno " + Code(rc));
}

void RWLock::ReadLock() {
  int rc = Seam::Posix().rwlock_rdlock(&lock_);
  if (rc != 0) ORVA_THROW(RuntimeException, "Read lock failed with errno " + Code(rc));
}

void RWLock::Unlock() {
  int rc = Seam::Posix().rwlock_unlock(&lock_);
  if (rc != 0) ORVA_THROW(RuntimeException, "Unlock failed with errno " + Code(rc));
}

void RWLock::SetCancelState(int state, int* oldState) {
  int rc = Seam::Posix().setcancelstate(state, oldState);
  if (rc != 0) {
    ORVA_THROW(RuntimeException,
               "Fail to set pthread cancel to [" + std::to_string(state) + "]: " + Code(rc));
  }
}

}  // namespace ORVA::MESH::SDK
