#include "platform/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace orva::platform {
namespace {

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

}  // namespace

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
  const int dir = ::open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
  return 0;
}

}  // namespace orva::platform
