#include "orvamesh/utils/utils.h"

#include <fcntl.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/utils/log.h"
#include "utils/random_seam.h"

namespace ORVA::MESH::SDK::Utils {

// --- randomness -------------------------------------------------------------------------

namespace {

bool ReadKernelRandom(unsigned int& seed) {
  for (;;) {
    const ssize_t got = Seam::Random().getrandom(&seed, sizeof seed, GRND_NONBLOCK);
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

int GenRandomSeed() {
  unsigned int seed = 0;
  if (!ReadKernelRandom(seed) && !ReadRandomDevice(seed)) return -1;
  std::srand(seed);
  return 0;
}


// --- interfaces and system facts ---------------------------------------------------------

int GetIfMAC(const std::string& interfaceName, std::string& mac) {
  ifreq request{};
  if (interfaceName.empty() || interfaceName.size() >= sizeof(request.ifr_name)) {
    ORVA_LOG_ERR("Invalid interface name [%s]", interfaceName.c_str());
    return -1;
  }
  int fd = ::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd == -1) fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd == -1) {
    ORVA_LOG_ERR("Fail to open socket for [%s], errno: [%d]", interfaceName.c_str(), errno);
    return -1;
  }
  std::memcpy(request.ifr_name, interfaceName.c_str(), interfaceName.size() + 1);
  int rc = ::ioctl(fd, SIOCGIFHWADDR, &request);
  int savedErrno = errno;
  ::close(fd);
  if (rc == -1) {
    ORVA_LOG_ERR("Fail to get MAC address of [%s], errno: [%d]", interfaceName.c_str(), savedErrno);
    return -1;
  }
  if (request.ifr_hwaddr.sa_family != ARPHRD_ETHER) {
    ORVA_LOG_ERR("Interface [%s] has no Ethernet address, hardware type [%d]", interfaceName.c_str(),
                 request.ifr_hwaddr.sa_family);
    return -1;
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(request.ifr_hwaddr.sa_data);
  char text[18];
  std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                bytes[3], bytes[4], bytes[5]);
  mac = text;
  return 0;
}

int GetSystemUptime(unsigned long& seconds) {
  const std::string path = orva::platform::SystemRoot::Path("/proc/uptime");
  std::ifstream file(path);
  std::string first;
  if (!(file >> first)) {
    ORVA_LOG_ERR("Fail to read uptime from [%s]", path.c_str());
    return -1;
  }
  // Only the whole seconds matter; parsing them by hand avoids the locale's decimal point.
  unsigned long value = 0;
  size_t digits = 0;
  for (; digits < first.size() && std::isdigit(static_cast<unsigned char>(first[digits])); ++digits) {
    value = value * 10 + static_cast<unsigned long>(first[digits] - '0');
  }
  if (digits == 0 || digits > 15 || (digits < first.size() && first[digits] != '.')) {
    ORVA_LOG_ERR("Ill-formed uptime [%s] in [%s]", first.c_str(), path.c_str());
    return -1;
  }
  seconds = value;
  return 0;
}


// --- threads and web API ------------------------------------------------------------------



}  // namespace ORVA::MESH::SDK::Utils
