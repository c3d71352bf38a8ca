#include "platform/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "orvamesh/base/exception.h"

namespace orva::platform {
namespace {

using ORVA::MESH::SDK::Exception::RuntimeException;

bool WriteAll(int fd, const std::string& content) {
  size_t done = 0;
  while (done < content.size()) {
    const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

std::string DirectoryOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}


// The temporary file's name, complete on disk with its final mode.
std::string WriteTemporary(const std::string& path, const std::string& content, mode_t mode) {
  std::string tmp = path + ".XXXXXX";
  const int fd = ::mkstemp(&tmp[0]);
  ORVA_THROW_ERRNO_IF(fd == -1, RuntimeException, "Failed to create a file beside [" + path + "]");
  // The server reading these may run under a group of its own: a replaced file keeps its owners.
  struct stat old{};
  const bool owned = ::stat(path.c_str(), &old) != 0 || ::fchown(fd, old.st_uid, old.st_gid) == 0;
  const bool ok = owned && ::fchmod(fd, mode) == 0 && WriteAll(fd, content) && ::fsync(fd) == 0;
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

void SyncDirectoryOf(const std::string& path) {
  const int dir = ::open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
}

int WriteFileAtomically(const std::string& path, const std::string& content, mode_t mode) {
  const std::string temporary = path + ".tmp." + std::to_string(::getpid());
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode);
  if (fd < 0) return -1;
  // The mode given wins over the umask: these files are often meant to be group-readable.
  bool ok = ::fchmod(fd, mode) == 0 && WriteAll(fd, content) && ::fsync(fd) == 0;
  int saved = errno;
  ::close(fd);
  if (ok && ::rename(temporary.c_str(), path.c_str()) != 0) {
    ok = false;
    saved = errno;
  }
  if (!ok) {
    ::unlink(temporary.c_str());
    errno = saved;
    return -1;
  }
  SyncDirectoryOf(path);
  return 0;
}

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
    SyncDirectoryOf(files[i].first);
  }
}

}  // namespace orva::platform
