#pragma once
// Watches the Ethernet port that carries a node's uplink: the port's carrier as the kernel
// reports it, and whether the IPv6 default gateway (from the routing table, or given) answers
// a ping every interval. Changes of UPLINK_STATE reach the callback with their reason, on the
// monitor's threads; the caller is never blocked. A callback that throws is logged and the
// monitor goes on.
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include "orvamesh/export.h"
#include "orvamesh/monitor/uplink_state.h"
#include "orvamesh/platform/ip_address.h"

namespace ORVA::MESH::SDK::Monitor {

struct ORVA_EXPORT UplinkMonitorOptions {
  std::chrono::milliseconds interval{1000};
  std::chrono::milliseconds timeout{500};  // of each ping, at most the interval
  unsigned missesToLeaveUp = 3;            // N
  unsigned answersToReturn = 2;            // M
  // None: the gateway of the IPv6 default route through the port, looked up for every ping.
  std::optional<orva::net::utils::IPAddress> gateway;
};

class ORVA_EXPORT EthernetUplinkMonitor {
 public:
  using Callback = std::function<void(const UplinkChange&)>;

  EthernetUplinkMonitor(std::string port, UplinkMonitorOptions options = {});
  ~EthernetUplinkMonitor();
  EthernetUplinkMonitor(const EthernetUplinkMonitor&) = delete;
  EthernetUplinkMonitor& operator=(const EthernetUplinkMonitor&) = delete;

  // Throws InvalidArgumentException for a port that does not exist, RuntimeException when
  // the netlink socket cannot be opened. The state starts DOWN until the port's carrier is known.
  void Start(Callback callback);
  // Signals both threads, then joins them.
  void Stop() noexcept;
  UPLINK_STATE GetState() const noexcept;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ORVA::MESH::SDK::Monitor
