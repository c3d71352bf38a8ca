#include "orvamesh/data/file_lock_wrapper.h"

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK::Data {

FileLockWrapper::FileLockWrapper(const std::string& path) : path_(path), lock_(path) {
  if (!lock_.Lock()) ORVA_THROW(Exception::RuntimeException, "Fail to acquire filelock [" + path_ + "]");
}

void FileLockWrapper::Release() {
  if (!lock_.Unlock()) ORVA_THROW(Exception::RuntimeException, "Fail to release filelock [" + path_ + "]");
}

FileLockWrapper::~FileLockWrapper() {
  try {
    Release();
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("Exception in filelock dtor, filelock may not be released: %s", e.what());
  } catch (...) {
    ORVA_LOG_ERR("Non-standard exception in filelock dtor, filelock may not be released");
  }
}

}  // namespace ORVA::MESH::SDK::Data
