#include "support/private_bus.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "support/child.h"
#include "platform/process_runner.h"
#include "support/wait_until.h"

namespace orva::test {

namespace {
constexpr const char* kDaemon = "/usr/bin/dbus-daemon";

bool Accepts(const std::string& path) {
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  const bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
  ::close(fd);
  return ok;
}
}  // namespace

std::string PrivateBusUnavailableReason() {
  if (::access(kDaemon, X_OK) != 0) return std::string(kDaemon) + " is not installed";
  return {};
}

PrivateBus::PrivateBus() {
  const std::string socket = dir_.Join("bus");
  const std::string config = dir_.WriteFile("bus.conf", R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)" + socket + R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)");
  // The program path is absolute on purpose: tests never use a fixture system root here.
  pid_ = SpawnTied({kDaemon, "--config-file=" + config, "--nofork", "--nopidfile"});
  if (pid_ <= 0) throw std::runtime_error("cannot start dbus-daemon");
  if (!WaitUntil([&] { return Accepts(socket); }, std::chrono::seconds(20))) {
    Kill();
    throw std::runtime_error("dbus-daemon did not come up at " + socket);
  }
  address_ = "unix:path=" + socket;
}

PrivateBus::~PrivateBus() { Kill(); }

void PrivateBus::Kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  orva::platform::WaitProgram(pid_);
  pid_ = -1;
}

PrivateBus& SharedPrivateBus() {
  static PrivateBus bus;
  static const bool exported = ::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1) == 0;
  (void)exported;
  return bus;
}

}  // namespace orva::test
