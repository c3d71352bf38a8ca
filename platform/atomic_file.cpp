#include "platform/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "orvamesh/base/exception.h"

namespace orva::platform {
namespace {

using ORVA::MESH::SDK::Exception::RuntimeException;

bool WriteAll(int fd, const std::string& content) {
  std::size_t done = 0;
  while (done < content.size()) {
    const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

// The temporary file's name, complete on disk with its final mode.
std::string WriteTemporary(const std::string& path, const std::string& content, mode_t mode) {
  std::string tmp = path + ".XXXXXX";
  const int fd = ::mkstemp(&tmp[0]);
  ORVA_THROW_ERRNO_IF(fd == -1, RuntimeException, "Failed to create a file beside [" + path + "]");
  const bool ok = ::fchmod(fd, mode) == 0 && WriteAll(fd, content) && ::fsync(fd) == 0;
  const int savedErrno = errno;
  ::close(fd);
  if (!ok) {
    ::unlink(tmp.c_str());
    errno = savedErrno;
    ORVA_THROW_ERRNO_IF(true, RuntimeException, "Failed to write [" + path + "]");
  }
  return tmp;
}

}  // namespace

void WriteFilesAtomically(const std::vector<std::pair<std::string, std::string>>& files, mode_t mode) {
  std::vector<std::string> temporaries;
  try {
    for (const auto& [path, content] : files) temporaries.push_back(WriteTemporary(path, content, mode));
  } catch (...) {
    for (const std::string& tmp : temporaries) ::unlink(tmp.c_str());
    throw;
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (::rename(temporaries[i].c_str(), files[i].first.c_str()) != 0) {
      const int savedErrno = errno;
      for (std::size_t j = i; j < files.size(); ++j) ::unlink(temporaries[j].c_str());
      errno = savedErrno;
      ORVA_THROW_ERRNO_IF(true, RuntimeException, "Failed to replace [" + files[i].first + "]");
    }
  }
}

}  // namespace orva::platform
