#include "support/kernel_feature.h"

#include <linux/ethtool.h>
#include <linux/netlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace orva::test {
namespace {

std::string Missing(const char* what, int error) {
  return std::string(what) + " does not work here (" + std::strerror(error) +
         "); qemu-user does not emulate it, a real kernel does";
}

// Unsupported means the call itself is unknown, not that its arguments were refused.
bool Unsupported(int error) { return error == ENOSYS || error == ENOPROTOOPT || error == EPROTONOSUPPORT; }

std::string EthtoolMissing() {
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ethtool_value value{};
  value.cmd = ETHTOOL_GLINK;
  ifreq request{};
  std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
  request.ifr_data = reinterpret_cast<char*>(&value);
  const int error = ::ioctl(fd, SIOCETHTOOL, &request) == 0 ? 0 : errno;
  ::close(fd);
  return Unsupported(error) ? Missing("the SIOCETHTOOL ioctl", error) : "";
}

std::string MulticastIfMissing() {
  const int fd = ::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const int index = 1;
  const int error = ::setsockopt(fd, IPPROTO_IPV6, IPV6_MULTICAST_IF, &index, sizeof index) == 0 ? 0 : errno;
  ::close(fd);
  return Unsupported(error) ? Missing("the socket option IPV6_MULTICAST_IF", error) : "";
}

std::string NetfilterMissing() {
  const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_NETFILTER);
  if (fd < 0) return Missing("a NETLINK_NETFILTER socket", errno);
  ::close(fd);
  return "";
}

// qemu-user converts only the link, address and route messages it knows and drops the bridge
// family's; there is no cheap probe, so the test environment says when it runs under one.
std::string BridgeEventsMissing() {
  const char* emulator = std::getenv("ORVAMESH_TEST_EMULATOR");
  if (emulator == nullptr || *emulator == '\0') return "";
  return std::string("bridge netlink events do not cross the emulator ") + emulator +
         "; a real kernel delivers them";
}

}  // namespace

std::string KernelFeatureMissing(KernelFeature feature) {
  switch (feature) {
    case KernelFeature::kEthtoolIoctl: return EthtoolMissing();
    case KernelFeature::kIpv6MulticastIf: return MulticastIfMissing();
    case KernelFeature::kNetfilterNetlink: return NetfilterMissing();
    case KernelFeature::kBridgeNetlinkEvents: return BridgeEventsMissing();
  }
  return "";
}

}  // namespace orva::test
