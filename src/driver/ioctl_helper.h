#pragma once
// Wireless-extensions requests on one interface. The request goes through a replaceable
// function so tests can play a driver that answers (or refuses) SIOCGIWAP on a wired link.
#include <linux/wireless.h>

#include <string>

namespace ORVA::MESH::SDK::Driver {

class IOCTLHelper {
 public:
  using Call = int (*)(int fd, unsigned long request, struct iwreq* req);

  // Fills req.ifr_name with ifname and issues the request: 0, or -1 on any failure.
  static int getIOCTLParam(const std::string& ifname, unsigned long request, struct iwreq& req);

  // The call in force (ioctl(2) unless a test replaced it); returns the previous one.
  static Call SetCall(Call call);
};

}  // namespace ORVA::MESH::SDK::Driver
