#include "driver/ioctl_helper.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

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

}  // namespace ORVA::MESH::SDK::Driver
