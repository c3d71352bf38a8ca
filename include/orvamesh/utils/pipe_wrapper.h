#pragma once
// Owner of a pipe whose two ends may be used from different threads: the IO threads wait on
// the read end while another thread closes the write end to stop them (closing makes the read
// end report hang-up). The descriptors are guarded by a Mutex; -1 marks a closed end.
#include "orvamesh/export.h"
#include "orvamesh/utils/mutex.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT PipeWrapper {
 public:
  // pipe2(flags); throws RuntimeException on failure.
  explicit PipeWrapper(int flags);
  // Closes the read end, then the write end. Never throws.
  ~PipeWrapper();
  PipeWrapper(const PipeWrapper&) = delete;
  PipeWrapper& operator=(const PipeWrapper&) = delete;

  int GetReadFd();
  int GetWriteFd();
  // Closing an end that is already closed does nothing.
  void CloseReadFd();
  void CloseWriteFd();

 private:
  int _GetReadFd();
  int _GetWriteFd();
  void _CloseReadFd();
  void _CloseWriteFd();

  Mutex mutex_;
  int readFd_ = -1;
  int writeFd_ = -1;
};

}  // namespace ORVA::MESH::SDK
