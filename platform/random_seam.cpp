#include "platform/random_seam.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "orvamesh/base/log.h"
#include "orvamesh/platform/system_root.h"

namespace ORVA::MESH::SDK::Seam {

RandomCalls& Random() noexcept {
  static RandomCalls calls{::getrandom};
  return calls;
}

}  // namespace ORVA::MESH::SDK::Seam

namespace orva::platform {
namespace {

using ORVA::MESH::SDK::Seam::Random;

bool ReadKernelRandom(unsigned int& seed) {
  for (;;) {
    const ssize_t got = Random().getrandom(&seed, sizeof seed, GRND_NONBLOCK);
    if (got == static_cast<ssize_t>(sizeof seed)) return true;
    if (got < 0 && errno == EINTR) continue;
    return false;
  }
}

bool ReadRandomDevice(unsigned int& seed) {
  const std::string path = orva::platform::SystemRoot::Path("/dev/urandom");
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    ORVA_LOG_ERR("Failed to open %s, errno: %d", path.c_str(), errno);
    return false;
  }
  size_t have = 0;
  auto* bytes = reinterpret_cast<unsigned char*>(&seed);
  while (have < sizeof seed) {
    const ssize_t got = ::read(fd, bytes + have, sizeof seed - have);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    have += static_cast<size_t>(got);
  }
  ::close(fd);
  if (have != sizeof seed) {
    ORVA_LOG_ERR("Failed to read %zu random bytes from %s", sizeof seed, path.c_str());
    return false;
  }
  return true;
}

}  // namespace

bool SeedRandom() {
  unsigned int seed = 0;
  if (!ReadKernelRandom(seed) && !ReadRandomDevice(seed)) return false;
  std::srand(seed);
  return true;
}

}  // namespace orva::platform
