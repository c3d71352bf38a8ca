// The netlink half of Address: addresses and interface facts through libnl-route.
#include <linux/if_addr.h>
#include <net/if.h>
#include <netlink/errno.h>
#include <netlink/netlink.h>
#include <netlink/route/addr.h>
#include <netlink/route/link.h>
#include <netlink/socket.h>

#include <cstring>
#include <memory>
#include <thread>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/address.h"

namespace ORVA::MESH::SDK {
namespace {

using orva::net::utils::IPAddress;
using Socket = std::unique_ptr<nl_sock, decltype(&nl_socket_free)>;
using Cache = std::unique_ptr<nl_cache, decltype(&nl_cache_free)>;
using NlAddress = std::unique_ptr<nl_addr, decltype(&nl_addr_put)>;

constexpr unsigned kLowerUp = 1u << 16;  // IFF_LOWER_UP; <linux/if.h> clashes with <net/if.h>

Socket Connect() {
  Socket socket(nl_socket_alloc(), &nl_socket_free);
  if (!socket) ORVA_THROW_IN(Exception::RuntimeException, "Address", "Fail to allocate a netlink socket");
  const int rc = nl_connect(socket.get(), NETLINK_ROUTE);
  if (rc < 0) ORVA_THROW_IN(Exception::RuntimeException, "Address", std::string("Fail to connect to routing netlink: ") + nl_geterror(rc));
  return socket;
}

int IndexOf(const std::string& name) {
  const int index = static_cast<int>(::if_nametoindex(name.c_str()));
  if (index == 0) ORVA_THROW_IN(Exception::InvalidArgumentException, "Address", "Interface [" + name + "] does not exist");
  return index;
}

IPAddress IpOf(nl_addr* a) {
  if (a != nullptr && nl_addr_get_family(a) == AF_INET6 && nl_addr_get_len(a) == sizeof(in6_addr)) {
    in6_addr v6;
    std::memcpy(&v6, nl_addr_get_binary_addr(a), sizeof v6);
    return IPAddress(v6);
  }
  if (a != nullptr && nl_addr_get_family(a) == AF_INET && nl_addr_get_len(a) == sizeof(in_addr)) {
    in_addr v4;
    std::memcpy(&v4, nl_addr_get_binary_addr(a), sizeof v4);
    return IPAddress(v4);
  }
  return IPAddress();
}

NlAddress NlOf(const IPAddress& address, uint8_t prefixLength) {
  unsigned char bytes[16];
  in6_addr v6;
  in_addr v4;
  size_t size = 0;
  if (address.IsIPv6() && address.ToIn6Addr(v6)) {
    std::memcpy(bytes, &v6, size = sizeof v6);
  } else if (address.IsIPv4() && address.ToInAddr(v4)) {
    std::memcpy(bytes, &v4, size = sizeof v4);
  } else {
    ORVA_THROW_IN(Exception::InvalidArgumentException, "Address", "[" + address.ToString() + "] is no IP address");
  }
  NlAddress out(nl_addr_build(address.GetAddressFamily(), bytes, size), &nl_addr_put);
  if (!out) ORVA_THROW_IN(Exception::RuntimeException, "Address", "Fail to build a netlink address");
  nl_addr_set_prefixlen(out.get(), prefixLength);
  return out;
}

using AddrRequest = std::unique_ptr<rtnl_addr, decltype(&rtnl_addr_put)>;

// The address of an add or delete request: interface, local address and prefix length.
AddrRequest Request(int index, const IPAddress& address, uint8_t prefixLength) {
  AddrRequest request(rtnl_addr_alloc(), &rtnl_addr_put);
  if (!request) ORVA_THROW_IN(Exception::RuntimeException, "Address", "Fail to allocate a netlink address request");
  NlAddress local = NlOf(address, prefixLength);
  rtnl_addr_set_ifindex(request.get(), index);
  rtnl_addr_set_local(request.get(), local.get());
  rtnl_addr_set_prefixlen(request.get(), prefixLength);
  return request;
}

std::optional<InterfaceAddress> Find(const std::string& name, const IPAddress& address) {
  for (const auto& a : Address::List(name)) {
    if (a.address == address) return a;
  }
  return std::nullopt;
}

}  // namespace

bool InterfaceAddress::Tentative() const noexcept { return (flags & IFA_F_TENTATIVE) != 0; }
bool InterfaceAddress::Deprecated() const noexcept { return (flags & IFA_F_DEPRECATED) != 0; }

std::vector<InterfaceAddress> Address::List(const std::string& interfaceName) {
  const int index = IndexOf(interfaceName);
  Socket socket = Connect();
  nl_cache* raw = nullptr;
  const int rc = rtnl_addr_alloc_cache(socket.get(), &raw);
  if (rc < 0) ORVA_THROW_IN(Exception::RuntimeException, "List", std::string("Fail to read addresses: ") + nl_geterror(rc));
  Cache cache(raw, &nl_cache_free);
  std::vector<InterfaceAddress> out;
  for (nl_object* o = nl_cache_get_first(cache.get()); o != nullptr; o = nl_cache_get_next(o)) {
    auto* a = reinterpret_cast<rtnl_addr*>(o);
    if (rtnl_addr_get_ifindex(a) != index) continue;
    out.push_back({IpOf(rtnl_addr_get_local(a)), static_cast<uint8_t>(rtnl_addr_get_prefixlen(a)),
                   static_cast<uint8_t>(rtnl_addr_get_scope(a)), rtnl_addr_get_flags(a)});
  }
  return out;
}

InterfaceInfo Address::GetInterface(const std::string& interfaceName) {
  const int index = IndexOf(interfaceName);
  Socket socket = Connect();
  rtnl_link* raw = nullptr;
  const int rc = rtnl_link_get_kernel(socket.get(), index, nullptr, &raw);
  if (rc < 0) ORVA_THROW_IN(Exception::RuntimeException, "GetInterface", std::string("Fail to read the interface: ") + nl_geterror(rc));
  std::unique_ptr<rtnl_link, decltype(&rtnl_link_put)> link(raw, &rtnl_link_put);
  InterfaceInfo info;
  info.index = index;
  info.name = interfaceName;
  nl_addr* mac = rtnl_link_get_addr(link.get());
  if (mac != nullptr && nl_addr_get_len(mac) == 6) {
    ether_addr bytes;
    std::memcpy(bytes.ether_addr_octet, nl_addr_get_binary_addr(mac), 6);
    info.mac = Mac(bytes);
  }
  const unsigned flags = rtnl_link_get_flags(link.get());
  info.up = (flags & IFF_UP) != 0;
  info.carrier = (flags & kLowerUp) != 0;
  info.operState = rtnl_link_get_operstate(link.get());
  info.mtu = rtnl_link_get_mtu(link.get());
  info.master = rtnl_link_get_master(link.get());
  return info;
}

void Address::Add(const std::string& interfaceName, const IPAddress& address, uint8_t prefixLength) {
  const int index = IndexOf(interfaceName);
  Socket socket = Connect();
  const AddrRequest request = Request(index, address, prefixLength);
  const int rc = rtnl_addr_add(socket.get(), request.get(), 0);
  if (rc < 0 && rc != -NLE_EXIST) {
    ORVA_THROW_IN(Exception::RuntimeException, "Add", "Fail to add [" + address.ToString() + "] to [" + interfaceName + "]: " + nl_geterror(rc));
  }
}

void Address::Delete(const std::string& interfaceName, const IPAddress& address, uint8_t prefixLength) {
  const int index = IndexOf(interfaceName);
  Socket socket = Connect();
  const AddrRequest request = Request(index, address, prefixLength);
  const int rc = rtnl_addr_delete(socket.get(), request.get(), 0);
  if (rc == -NLE_NOADDR || rc == -NLE_OBJ_NOTFOUND) {
    ORVA_THROW_IN(Exception::IpAddressNotExistException, "Delete",
                  "[" + address.ToString() + "/" + std::to_string(prefixLength) + "] is not on [" + interfaceName + "]");
  }
  if (rc < 0) {
    ORVA_THROW_IN(Exception::RuntimeException, "Delete", "Fail to delete [" + address.ToString() + "] from [" + interfaceName + "]: " + nl_geterror(rc));
  }
}

bool Address::WaitUsable(const std::string& interfaceName, const IPAddress& address, const Deadline& deadline) {
  for (;;) {
    const auto found = Find(interfaceName, address);
    if (!found) {
      ORVA_THROW_IN(Exception::IpAddressNotExistException, "WaitUsable",
                    "[" + address.ToString() + "] is not on [" + interfaceName + "]");
    }
    if (!found->Tentative()) return true;
    if (deadline.Expired()) return false;
    // Detection takes a second or so; a short nap between looks costs nothing meanwhile.
    std::this_thread::sleep_for(std::min<Deadline::Clock::duration>(std::chrono::milliseconds(20), deadline.Remaining()));
  }
}

}  // namespace ORVA::MESH::SDK
