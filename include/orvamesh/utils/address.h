#pragma once
// Addresses of the node's own interfaces, asked of the kernel over rtnetlink so that the answer
// is that of the calling thread's network namespace.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/mac.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/utils/deadline.h"

namespace ORVA::MESH::SDK {

struct ORVA_EXPORT InterfaceAddress {
  orva::net::utils::IPAddress address;
  uint8_t prefixLength = 0;
  uint8_t scope = 0;   // RT_SCOPE_UNIVERSE, RT_SCOPE_LINK, RT_SCOPE_HOST
  uint32_t flags = 0;  // IFA_F_*
  bool Tentative() const noexcept;
  bool Deprecated() const noexcept;
};

struct ORVA_EXPORT InterfaceInfo {
  int index = 0;
  std::string name;
  Mac mac;
  bool up = false;
  bool carrier = false;
  uint8_t operState = 0;  // IF_OPER_*
  unsigned mtu = 0;
  int master = 0;         // 0: none
};

class ORVA_EXPORT Address {
 public:
  // Everything below asks the kernel over routing netlink, in the calling thread's network
  // namespace. A missing interface is an InvalidArgumentException naming it.
  static std::vector<InterfaceAddress> List(const std::string& interfaceName);
  static InterfaceInfo GetInterface(const std::string& interfaceName);
  // Adding an address the interface has already is no error. RuntimeException with the
  // kernel's reason otherwise.
  static void Add(const std::string& interfaceName, const orva::net::utils::IPAddress& address, uint8_t prefixLength);
  // IpAddressNotExistException when the interface has no such address.
  static void Delete(const std::string& interfaceName, const orva::net::utils::IPAddress& address, uint8_t prefixLength);
  // Waits until duplicate address detection has finished for the address: true once it is
  // usable, false at the deadline. IpAddressNotExistException when it is not there at all
  // (or failed detection and was removed).
  static bool WaitUsable(const std::string& interfaceName, const orva::net::utils::IPAddress& address,
                         const Deadline& deadline);

  // The interface's IPv6 link-local address (without a zone), or none when the interface does
  // not exist or has no usable one. When it has several, the first the kernel
  // lists is taken. Addresses still under duplicate address detection (or that failed it)
  // cannot be bound yet and do not count.
  static std::optional<orva::net::utils::IPAddress> GetInterfaceIPv6LinkLocal(
      const std::string& interfaceName);
  // The gateway of the main table's IPv6 default route through the interface (the router
  // that announced itself there), or none when there is no such route.
  static std::optional<orva::net::utils::IPAddress> GetIPv6DefaultGateway(const std::string& interfaceName);
};

}  // namespace ORVA::MESH::SDK
