#pragma once
// What the kernel's routing netlink reports, as values: links, addresses, neighbours, bridge
// ports and bridge forwarding entries.
#include <cstdint>
#include <string>
#include "orvamesh/export.h"
#include "orvamesh/mac.h"
#include "orvamesh/platform/ip_address.h"

namespace ORVA::MESH::SDK::Driver {

// ADDED also for what the first dump of a receiver finds.
enum class NETLINK_CHANGE : uint8_t { ADDED = 0, CHANGED = 1, REMOVED = 2 };

ORVA_EXPORT const char* NetlinkChangeToString(NETLINK_CHANGE change);

struct ORVA_EXPORT LinkEvent {
  NETLINK_CHANGE change = NETLINK_CHANGE::ADDED;
  int index = 0;
  std::string name;
  bool up = false;       // administratively (IFF_UP)
  bool carrier = false;  // IFF_LOWER_UP
  uint8_t operState = 0; // IF_OPER_*
  unsigned mtu = 0;
  Mac mac;
  int master = 0;        // the bridge (or bond) it belongs to, 0 for none
};

struct ORVA_EXPORT AddressEvent {
  NETLINK_CHANGE change = NETLINK_CHANGE::ADDED;
  int index = 0;
  orva::net::utils::IPAddress address;
  uint8_t prefixLength = 0;
  uint8_t scope = 0;     // RT_SCOPE_*
  uint32_t flags = 0;    // IFA_F_*
  bool Tentative() const noexcept;
  bool Deprecated() const noexcept;
};

struct ORVA_EXPORT NeighbourEvent {
  NETLINK_CHANGE change = NETLINK_CHANGE::ADDED;
  int index = 0;
  orva::net::utils::IPAddress address;
  Mac mac;
  uint16_t state = 0;    // NUD_*
};

struct ORVA_EXPORT BridgePortEvent {
  NETLINK_CHANGE change = NETLINK_CHANGE::ADDED;  // ADDED: joined, REMOVED: left
  int index = 0;
  std::string name;
  int bridge = 0;
  bool carrier = false;
};

struct ORVA_EXPORT FdbEvent {
  NETLINK_CHANGE change = NETLINK_CHANGE::ADDED;
  int port = 0;
  int bridge = 0;
  Mac mac;
};

}  // namespace ORVA::MESH::SDK::Driver
