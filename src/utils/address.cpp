#include "orvamesh/utils/address.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "orvamesh/base/log.h"

#include <netlink/netlink.h>
#include <netlink/route/route.h>
#include <netlink/socket.h>

namespace ORVA::MESH::SDK {

namespace {

// Closes the netlink socket on every way out of the dump.
class NetlinkSocket {
 public:
  NetlinkSocket() : fd_(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {}
  ~NetlinkSocket() {
    if (fd_ != -1) ::close(fd_);
  }
  NetlinkSocket(const NetlinkSocket&) = delete;
  NetlinkSocket& operator=(const NetlinkSocket&) = delete;
  int Fd() const { return fd_; }

 private:
  int fd_;
};

bool IsLinkLocal(const in6_addr& address) { return IN6_IS_ADDR_LINKLOCAL(&address); }

// The usable link-local addresses of one interface, in the kernel's order. Tentative addresses
// (duplicate address detection still running) and ones that failed detection cannot be bound
// yet, so they are left out.
bool DumpLinkLocal(unsigned int index, std::vector<in6_addr>& found) {
  NetlinkSocket socket;
  if (socket.Fd() == -1) {
    ORVA_LOG_ERR("Fail to open netlink socket, errno: [%d]", errno);
    return false;
  }
  struct {
    nlmsghdr header;
    ifaddrmsg message;
  } request{};
  request.header.nlmsg_len = NLMSG_LENGTH(sizeof(ifaddrmsg));
  request.header.nlmsg_type = RTM_GETADDR;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.header.nlmsg_seq = 1;
  request.message.ifa_family = AF_INET6;
  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  if (::sendto(socket.Fd(), &request, request.header.nlmsg_len, 0,
               reinterpret_cast<sockaddr*>(&kernel), sizeof(kernel)) == -1) {
    ORVA_LOG_ERR("Fail to send netlink address dump request, errno: [%d]", errno);
    return false;
  }
  std::vector<char> buffer(32768);
  for (;;) {
    ssize_t length = ::recv(socket.Fd(), buffer.data(), buffer.size(), 0);
    if (length == -1 && errno == EINTR) continue;
    if (length <= 0) {
      ORVA_LOG_ERR("Fail to receive netlink address dump, errno: [%d]", errno);
      return false;
    }
    for (auto* header = reinterpret_cast<nlmsghdr*>(buffer.data());
         NLMSG_OK(header, static_cast<unsigned int>(length)); header = NLMSG_NEXT(header, length)) {
      if (header->nlmsg_type == NLMSG_DONE) return true;
      if (header->nlmsg_type == NLMSG_ERROR) {
        const auto* error = static_cast<const nlmsgerr*>(NLMSG_DATA(header));
        ORVA_LOG_ERR("Netlink address dump refused, errno: [%d]", -error->error);
        return false;
      }
      if (header->nlmsg_type != RTM_NEWADDR) continue;
      const auto* message = static_cast<const ifaddrmsg*>(NLMSG_DATA(header));
      if (message->ifa_family != AF_INET6 || message->ifa_index != index) continue;
      unsigned int flags = message->ifa_flags;
      const in6_addr* address = nullptr;
      int attributesLength = static_cast<int>(IFA_PAYLOAD(header));
      for (auto* attribute = IFA_RTA(message); RTA_OK(attribute, attributesLength);
           attribute = RTA_NEXT(attribute, attributesLength)) {
        if (attribute->rta_type == IFA_FLAGS && RTA_PAYLOAD(attribute) >= sizeof(uint32_t)) {
          std::memcpy(&flags, RTA_DATA(attribute), sizeof(uint32_t));
        } else if (attribute->rta_type == IFA_ADDRESS && RTA_PAYLOAD(attribute) >= sizeof(in6_addr)) {
          address = static_cast<const in6_addr*>(RTA_DATA(attribute));
        }
      }
      if (address == nullptr || !IsLinkLocal(*address)) continue;
      if ((flags & (IFA_F_TENTATIVE | IFA_F_DADFAILED)) != 0) continue;
      found.push_back(*address);
    }
  }
}

}  // namespace

std::optional<orva::net::utils::IPAddress> Address::GetInterfaceIPv6LinkLocal(
    const std::string& interfaceName) {
  unsigned int index = ::if_nametoindex(interfaceName.c_str());
  if (index == 0) {
    ORVA_LOG_ERR("Interface [%s] does not exist", interfaceName.c_str());
    return std::nullopt;
  }
  std::vector<in6_addr> found;
  if (!DumpLinkLocal(index, found) || found.empty()) return std::nullopt;
  return orva::net::utils::IPAddress(found.front());
}

std::optional<orva::net::utils::IPAddress> Address::GetIPv6DefaultGateway(const std::string& interfaceName) {
  const int index = static_cast<int>(::if_nametoindex(interfaceName.c_str()));
  if (index == 0) return std::nullopt;
  std::unique_ptr<nl_sock, decltype(&nl_socket_free)> socket(nl_socket_alloc(), &nl_socket_free);
  nl_cache* cache = nullptr;
  if (!socket || nl_connect(socket.get(), NETLINK_ROUTE) < 0 ||
      rtnl_route_alloc_cache(socket.get(), AF_INET6, 0, &cache) < 0) {
    ORVA_LOG_ERR("Fail to read the IPv6 routing table");
    return std::nullopt;
  }
  std::unique_ptr<nl_cache, decltype(&nl_cache_free)> routes(cache, &nl_cache_free);
  for (nl_object* o = nl_cache_get_first(routes.get()); o != nullptr; o = nl_cache_get_next(o)) {
    auto* route = reinterpret_cast<rtnl_route*>(o);
    nl_addr* dst = rtnl_route_get_dst(route);
    if (rtnl_route_get_table(route) != RT_TABLE_MAIN || (dst != nullptr && nl_addr_get_prefixlen(dst) != 0)) continue;
    for (int n = 0; n < rtnl_route_get_nnexthops(route); ++n) {
      rtnl_nexthop* hop = rtnl_route_nexthop_n(route, n);
      nl_addr* gateway = rtnl_route_nh_get_gateway(hop);
      if (rtnl_route_nh_get_ifindex(hop) != index || gateway == nullptr || nl_addr_get_len(gateway) != sizeof(in6_addr)) continue;
      in6_addr address;
      std::memcpy(&address, nl_addr_get_binary_addr(gateway), sizeof address);
      return orva::net::utils::IPAddress(address);
    }
  }
  return std::nullopt;
}

}  // namespace ORVA::MESH::SDK
