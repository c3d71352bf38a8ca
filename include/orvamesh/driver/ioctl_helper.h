#pragma once
// Interface requests through ioctl(2) on one interface: wireless-extension queries, the
// interface's flags, hardware address and index, and the Ethernet link settings through the
// ethtool ioctl. The wireless request goes through a replaceable function so tests can play a
// driver that answers (or refuses) SIOCGIWAP on a wired link.
#include <linux/wireless.h>

#include <cstdint>
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/mac.h"

namespace ORVA::MESH::SDK::Driver {

struct ORVA_EXPORT EthernetLinkSettings {
  uint32_t speedMbps = 0;  // 0: unknown (no link, or a driver that does not say)
  bool fullDuplex = false;
  bool linkDetected = false;
};

class ORVA_EXPORT IOCTLHelper {
 public:
  using Call = int (*)(int fd, unsigned long request, struct iwreq* req);

  // Fills req.ifr_name with ifname and issues the request: 0, or -1 on any failure.
  static int getIOCTLParam(const std::string& ifname, unsigned long request, struct iwreq& req);

  // The call in force (ioctl(2) unless a test replaced it); returns the previous one.
  static Call SetCall(Call call);

  // Each of these throws InvalidArgumentException for a name that is no interface name, and
  // RuntimeException carrying the errno when the kernel refuses.
  static void SetUp(const std::string& ifname, bool up);
  static bool IsUp(const std::string& ifname);
  static Mac GetHardwareAddress(const std::string& ifname);
  static int GetIndex(const std::string& ifname);
  static EthernetLinkSettings GetEthernetLink(const std::string& ifname);
};

}  // namespace ORVA::MESH::SDK::Driver
