#include "orvamesh/utils/mutex.h"

#include "orvamesh/base/log.h"
#include "utils/posix_seam.h"

namespace ORVA::MESH::SDK {

Mutex::~Mutex() { ::pthread_mutex_destroy(&mutex_); }

bool Mutex::Lock() {
  int rc = Seam::Posix().mutex_lock(&mutex_);
  if (rc != 0) {
    ORVA_LOG_ERR("Fail to lock mutex [%d]", rc);
    return false;
  }
  return true;
}

bool Mutex::Unlock() {
  int rc = Seam::Posix().mutex_unlock(&mutex_);
  if (rc != 0) {
    ORVA_LOG_ERR("Fail to unlock mutex [%d]", rc);
    return false;
  }
  return true;
}

bool Mutex::SetCancelState(int state, int* oldState) {
  int rc = Seam::Posix().setcancelstate(state, oldState);
  if (rc != 0) {
    ORVA_LOG_ERR("Fail to set pthread cancel to [%d]: [%d]", state, rc);
    return false;
  }
  return true;
}

bool Mutex::CallWithLockImpl(Mutex& mutex, void (*run)(void*), void* context) {
  int oldState = PTHREAD_CANCEL_ENABLE;
  if (!SetCancelState(PTHREAD_CANCEL_DISABLE, &oldState)) {
    ORVA_LOG_ERR("Fail to disable pthread cancel");
    return false;
  }
  // Puts the caller's cancel state back, and unlocks once locked, however `run` leaves.
  struct Release {
    Mutex* locked;
    int cancelState;
    ~Release() {
      if (locked != nullptr && !locked->Unlock()) ORVA_LOG_ERR("Fail to unlock mutex");
      int ignored;
      if (!SetCancelState(cancelState, &ignored)) ORVA_LOG_ERR("Fail to restore original pthread cancel state");
    }
  } release{nullptr, oldState};
  if (!mutex.Lock()) {
    ORVA_LOG_ERR("Fail to lock mutex");
    return false;
  }
  release.locked = &mutex;
  run(context);
  return true;
}

}  // namespace ORVA::MESH::SDK
