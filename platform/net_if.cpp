#include "platform/net_if.h"

#include <dirent.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "orvamesh/platform/system_root.h"

namespace orva::platform {

bool IsInterfaceName(const std::string& name) {
  if (name.empty() || name.size() >= IFNAMSIZ || name == "." || name == "..") return false;
  return std::none_of(name.begin(), name.end(), [](unsigned char c) {
    return c <= 0x20 || c == 0x7f || c == '/' || c == ':';
  });
}

int NetIfUp(const std::string& ifname) {
  if (ifname.empty() || ifname.size() >= IFNAMSIZ) return -1;
  int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd == -1) return -1;
  struct ifreq req;
  std::memset(&req, 0, sizeof req);
  std::memcpy(req.ifr_name, ifname.c_str(), ifname.size());
  int rc = -1;
  if (::ioctl(fd, SIOCGIFFLAGS, &req) == 0) {
    if (req.ifr_flags & IFF_UP) {
      rc = 0;
    } else {
      req.ifr_flags = static_cast<short>(req.ifr_flags | IFF_UP);
      rc = ::ioctl(fd, SIOCSIFFLAGS, &req) == 0 ? 0 : -1;
    }
  }
  ::close(fd);
  return rc;
}

std::string BridgeMemberDir(const std::string& bridge) {
  return SystemRoot::Path("/sys/class/net/" + bridge + "/brif/");
}

int ListBridgeMembers(const std::string& bridge, std::vector<std::string>& members) {
  members.clear();
  if (bridge.empty() || bridge.find('/') != std::string::npos) return -1;
  DIR* dir = ::opendir(BridgeMemberDir(bridge).c_str());
  if (dir == nullptr) return -1;
  while (struct dirent* entry = ::readdir(dir)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") members.push_back(name);
  }
  ::closedir(dir);
  std::sort(members.begin(), members.end());
  return 0;
}

}  // namespace orva::platform
