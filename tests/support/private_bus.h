#pragma once
// A private dbus-daemon for one test program, standing in for the system bus: the library's
// system-bus code runs unchanged against it because DBUS_SYSTEM_BUS_ADDRESS points at it.
// Start it before the library first touches the bus (GIO reads the variable once per shared
// connection). Everything lives in a TempDir; the daemon is killed and reaped on destruction.
#include <sys/types.h>

#include <memory>
#include <string>

#include "support/temp_dir.h"

namespace orva::test {

class PrivateBus {
 public:
  // Starts dbus-daemon with a session-style configuration and waits until it accepts
  // connections. Throws std::runtime_error when it cannot.
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& Address() const { return address_; }
  // Kills the daemon (SIGKILL) and reaps it: every connection to it breaks at once.
  void Kill();

 private:
  TempDir dir_;
  std::string address_;
  pid_t pid_ = -1;
};

// Empty when a private bus can run here; otherwise why not.
std::string PrivateBusUnavailableReason();

// The program's one private bus, started on first use, with DBUS_SYSTEM_BUS_ADDRESS set.
PrivateBus& SharedPrivateBus();

#define ORVA_REQUIRE_PRIVATE_BUS()                                                   \
  do {                                                                               \
    const std::string orvaBusReason = ::orva::test::PrivateBusUnavailableReason();   \
    if (!orvaBusReason.empty()) GTEST_SKIP() << orvaBusReason;                       \
  } while (0)

}  // namespace orva::test
