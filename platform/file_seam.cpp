#include "platform/file_seam.h"

#include <sys/file.h>

namespace orva::platform {

FileCallTable& FileCalls() noexcept {
  static FileCallTable calls{&::flock};
  return calls;
}

}  // namespace orva::platform
