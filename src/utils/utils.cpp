#include "orvamesh/utils/utils.h"

#include <fcntl.h>
#include <json/json.h>
#include <signal.h>

#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "orvamesh/platform/api_runner.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "orvamesh/utils/response.h"
#include "platform/random_seam.h"

namespace ORVA::MESH::SDK::Utils {

// --- randomness -------------------------------------------------------------------------

int GenRandomSeed() { return orva::platform::SeedRandom() ? 0 : -1; }


// --- interfaces and system facts ---------------------------------------------------------

int GetIfMAC(const std::string& interfaceName, std::string& mac) {
  ifreq request{};
  if (interfaceName.empty() || interfaceName.size() >= sizeof(request.ifr_name)) {
    ORVA_LOG_ERR("Invalid interface name [%s]", interfaceName.c_str());
    return -1;
  }
  int fd = ::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd == -1) fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd == -1) {
    ORVA_LOG_ERR("Fail to open socket for [%s], errno: [%d]", interfaceName.c_str(), errno);
    return -1;
  }
  std::memcpy(request.ifr_name, interfaceName.c_str(), interfaceName.size() + 1);
  int rc = ::ioctl(fd, SIOCGIFHWADDR, &request);
  int savedErrno = errno;
  ::close(fd);
  if (rc == -1) {
    ORVA_LOG_ERR("Fail to get MAC address of [%s], errno: [%d]", interfaceName.c_str(), savedErrno);
    return -1;
  }
  if (request.ifr_hwaddr.sa_family != ARPHRD_ETHER) {
    ORVA_LOG_ERR("Interface [%s] has no Ethernet address, hardware type [%d]", interfaceName.c_str(),
                 request.ifr_hwaddr.sa_family);
    return -1;
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(request.ifr_hwaddr.sa_data);
  char text[18];
  std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                bytes[3], bytes[4], bytes[5]);
  mac = text;
  return 0;
}

int GetSystemUptime(unsigned long& seconds) {
  const std::string path = orva::platform::SystemRoot::Path("/proc/uptime");
  // One read(2) of a short file: an RE reads it for every probe it answers.
  char buffer[64];
  ssize_t got = -1;
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd >= 0) {
    do {
      got = ::read(fd, buffer, sizeof buffer - 1);
    } while (got < 0 && errno == EINTR);
    ::close(fd);
  }
  // The first blank-separated word, as a stream would read it.
  const std::string_view text(buffer, got > 0 ? static_cast<size_t>(got) : 0);
  const size_t start = std::min(text.find_first_not_of(" \t\n"), text.size());
  const std::string first(text.substr(start, text.find_first_of(" \t\n", start) - start));
  if (first.empty()) {
    ORVA_LOG_ERR("Fail to read uptime from [%s]", path.c_str());
    return -1;
  }
  // Only the whole seconds matter; parsing them by hand avoids the locale's decimal point.
  unsigned long value = 0;
  size_t digits = 0;
  for (; digits < first.size() && std::isdigit(static_cast<unsigned char>(first[digits])); ++digits) {
    value = value * 10 + static_cast<unsigned long>(first[digits] - '0');
  }
  if (digits == 0 || digits > 15 || (digits < first.size() && first[digits] != '.')) {
    ORVA_LOG_ERR("Ill-formed uptime [%s] in [%s]", first.c_str(), path.c_str());
    return -1;
  }
  seconds = value;
  return 0;
}


// --- threads and web API ------------------------------------------------------------------

namespace {

std::string CompactJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

}  // namespace

int AddIPv6LinkLocalZoneIndex(const std::string& host, std::string& out,
                              const std::string& ifname) {
  if (ifname.empty()) {
    ORVA_LOG_ERR("Cannot pass empty string as interface name");
    return -1;
  }
  try {
    out = orva::net::utils::IPAddress::AppendIPv6LinkLocalIndex(host, ifname);
    return 0;
  } catch (const std::exception& error) {
    ORVA_LOG_ERR("Cannot add the zone of [%s] to [%s]: %s", ifname.c_str(), host.c_str(),
                 error.what());
    return -1;
  }
}

int CreatePThread(pthread_t* tid, void* (*body)(void*), void* arg, bool detached,
                  size_t stackSize) {
  pthread_attr_t attr;
  int rc = pthread_attr_init(&attr);
  if (rc != 0) return rc;
  if (stackSize > 0) rc = pthread_attr_setstacksize(&attr, stackSize);
  if (rc == 0 && detached) rc = pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  if (rc == 0) {
    // The new thread inherits the mask: signals stay with the threads that handle them.
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    rc = pthread_sigmask(SIG_SETMASK, &all, &previous);
    if (rc == 0) {
      pthread_t thread;
      rc = pthread_create(&thread, &attr, body, arg);
      pthread_sigmask(SIG_SETMASK, &previous, nullptr);
      if (rc == 0 && tid != nullptr) *tid = thread;
    }
  }
  pthread_attr_destroy(&attr);
  return rc;
}

int ExecWebAPI(Json::Value& answer, bool& success, const std::string& api, int version,
               const std::string& method, const Json::Value& params) {
  success = false;
  answer = Json::Value();
  bool made = false;
  try {
    made = orva::platform::ApiRunner::Exec(answer, api, version, method, params, "admin");
  } catch (const std::exception& error) {
    // An in-process backend that throws has not made the call.
    ORVA_LOG_ERR("Local webapi backend failed: %s", error.what());
  }
  const Response response(answer, api, version, method);
  if (!made || !response.IsValid()) {
    ORVA_LOG_ERR("Fail to get Webapi response api=[%s] method=[%s] version= [%d] param=[%s], "
                 "result:[%s]",
                 api.c_str(), method.c_str(), version, CompactJson(params).c_str(),
                 CompactJson(answer).c_str());
    return -1;
  }
  if (!response.IsSuccess()) {
    ORVA_LOG_ERR("Fail to execute [%s][%s][%s]: [%d]", api.c_str(), method.c_str(),
                 CompactJson(params).c_str(), response.GetErrorCode());
    return 0;
  }
  success = true;
  return 0;
}



}  // namespace ORVA::MESH::SDK::Utils
