#pragma once
// Addresses of the node's own interfaces, asked of the kernel over rtnetlink so that the answer
// is that of the calling thread's network namespace.
#include <optional>
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/platform/ip_address.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT Address {
 public:
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
