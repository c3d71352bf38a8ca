#include "orvamesh/driver/ioctl_helper.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Driver {
namespace {

int RealIoctl(int fd, unsigned long request, struct iwreq* req) { return ::ioctl(fd, request, req); }

std::atomic<IOCTLHelper::Call> gCall{&RealIoctl};

}  // namespace

IOCTLHelper::Call IOCTLHelper::SetCall(Call call) { return gCall.exchange(call != nullptr ? call : &RealIoctl); }

int IOCTLHelper::getIOCTLParam(const std::string& ifname, unsigned long request, struct iwreq& req) {
  if (ifname.empty() || ifname.size() >= IFNAMSIZ) return -1;
  std::memset(req.ifr_name, 0, sizeof req.ifr_name);
  std::memcpy(req.ifr_name, ifname.c_str(), ifname.size());
  int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd == -1) return -1;
  int rc = gCall.load()(fd, request, &req);
  ::close(fd);
  return rc < 0 ? -1 : 0;
}

namespace {

using Exception::RuntimeException;

// An ifreq for the interface on a throw-away socket; closes the socket on every way out.
class Request {
 public:
  explicit Request(const std::string& ifname) : name_(ifname) {
    if (ifname.empty() || ifname.size() >= IFNAMSIZ || ifname.find('/') != std::string::npos) {
      ORVA_THROW_IN(Exception::InvalidArgumentException, "IOCTLHelper", "[" + ifname + "] is no interface name");
    }
    std::memset(&req_, 0, sizeof req_);
    std::memcpy(req_.ifr_name, ifname.c_str(), ifname.size());
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ORVA_THROW_ERRNO_IF(fd_ < 0, RuntimeException, "Fail to open a socket for [" + ifname + "]");
  }
  ~Request() { ::close(fd_); }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  ifreq& Get() { return req_; }
  void Issue(unsigned long request, const char* what) {
    ORVA_THROW_ERRNO_IF(::ioctl(fd_, request, &req_) < 0, RuntimeException, std::string("Fail to ") + what + " of [" + name_ + "]");
  }

 private:
  std::string name_;
  ifreq req_;
  int fd_ = -1;
};

}  // namespace

void IOCTLHelper::SetUp(const std::string& ifname, bool up) {
  Request request(ifname);
  request.Issue(SIOCGIFFLAGS, "read the flags");
  if (up) {
    request.Get().ifr_flags = static_cast<short>(request.Get().ifr_flags | IFF_UP);
  } else {
    request.Get().ifr_flags = static_cast<short>(request.Get().ifr_flags & ~IFF_UP);
  }
  request.Issue(SIOCSIFFLAGS, "set the flags");
}

bool IOCTLHelper::IsUp(const std::string& ifname) {
  Request request(ifname);
  request.Issue(SIOCGIFFLAGS, "read the flags");
  return (request.Get().ifr_flags & IFF_UP) != 0;
}

Mac IOCTLHelper::GetHardwareAddress(const std::string& ifname) {
  Request request(ifname);
  request.Issue(SIOCGIFHWADDR, "read the hardware address");
  ether_addr bytes;
  std::memcpy(bytes.ether_addr_octet, request.Get().ifr_hwaddr.sa_data, 6);
  return Mac(bytes);
}

int IOCTLHelper::GetIndex(const std::string& ifname) {
  Request request(ifname);
  request.Issue(SIOCGIFINDEX, "read the index");
  return request.Get().ifr_ifindex;
}

EthernetLinkSettings IOCTLHelper::GetEthernetLink(const std::string& ifname) {
  EthernetLinkSettings settings;
  {
    Request request(ifname);
    ethtool_value link{};
    link.cmd = ETHTOOL_GLINK;
    request.Get().ifr_data = reinterpret_cast<char*>(&link);
    request.Issue(SIOCETHTOOL, "read the link state");
    settings.linkDetected = link.data != 0;
  }
  Request request(ifname);
  ethtool_cmd cmd{};
  cmd.cmd = ETHTOOL_GSET;
  request.Get().ifr_data = reinterpret_cast<char*>(&cmd);
  request.Issue(SIOCETHTOOL, "read the link settings");
  const uint32_t speed = ethtool_cmd_speed(&cmd);
  settings.speedMbps = speed == static_cast<uint32_t>(SPEED_UNKNOWN) ? 0 : speed;
  settings.fullDuplex = cmd.duplex == DUPLEX_FULL;
  return settings;
}

}  // namespace ORVA::MESH::SDK::Driver
