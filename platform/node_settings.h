#pragma once
// The platform settings the hybrid daemon helper asks for, which the maker's wireless and
// network libraries keep on a router. Here they live in one key="value" file under the system
// root, "/usr/orva/etc/node_settings.conf":
//
//   wifi_topology="2"           mesh topology number (0 when missing)
//   lan_bridge="br0"            the LAN bridge ("br0" when missing)
//   igmp_snooping="1"           IGMP snooping on ("1") or off ("0"; on when missing)
//   igmp_snooping_aging="260"   aging in seconds, 0 = none (0 when missing)
//   igmp_snooping.<bridge>=..., igmp_snooping_aging.<bridge>=...
//                               per-bridge values, taking precedence over the two above
//
// A value that is present but not a number (or out of range) is an error, never a guess.
#include <memory>
#include <string>

namespace orva::platform {

// Where the settings live (below the system root).
std::string NodeSettingsPath();

}  // namespace orva::platform

namespace orvawireless::wifi::utils {
// The topology number: 0 and the value, or -1 when the setting cannot be read.
int ReadTopology(int& topology);
}  // namespace orvawireless::wifi::utils

namespace orva::net {

class IgmpSnooping {
 public:
  // The setting for one bridge; -1 when the file or a value cannot be read.
  int Get(const std::string& bridge, bool& enabled, unsigned& aging) const;
};

class Lan {
 public:
  // The LAN bridge name: 0 and the name, or -1.
  int GetBridgeName(std::string& name) const;
};

// The maker's libraries hand out their services through a small factory.
template <typename Service>
struct DI {
  static std::shared_ptr<Service> Make() { return std::make_shared<Service>(); }
};

}  // namespace orva::net
