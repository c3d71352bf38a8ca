#pragma once
// A scoped cross-process lock: the platform file lock on `path`, taken by the constructor and
// released by the destructor. Construction throws Exception::RuntimeException
// "Fail to acquire filelock [<path>]" when the lock cannot be had; a failed release is logged,
// never thrown.
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/platform/file_lock.h"

namespace ORVA::MESH::SDK::Data {

class ORVA_EXPORT FileLockWrapper {
 public:
  explicit FileLockWrapper(const std::string& path);
  ~FileLockWrapper();
  FileLockWrapper(const FileLockWrapper&) = delete;
  FileLockWrapper& operator=(const FileLockWrapper&) = delete;

 private:
  void Release();

  std::string path_;
  orva::net::utils::FileLock lock_;
};

}  // namespace ORVA::MESH::SDK::Data
