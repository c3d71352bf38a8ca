#pragma once
// The Ethernet ports' side of the kernel's link events: for each watched port, its carrier and,
// when it has one, the speed and duplex the link came up with (asked through ethtool when the
// link changes). Reports only when one of the three changed, on the receiver's thread.
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Driver {

struct ORVA_EXPORT PortEvent {
  std::string port;
  bool carrier = false;
  uint32_t speedMbps = 0;  // 0: unknown or no link
  bool fullDuplex = false;
};

class ORVA_EXPORT PortEventReceiver {
 public:
  // No ports: every interface that reports a link.
  explicit PortEventReceiver(std::set<std::string> ports = {});
  ~PortEventReceiver();
  PortEventReceiver(const PortEventReceiver&) = delete;
  PortEventReceiver& operator=(const PortEventReceiver&) = delete;

  // The current state of each port comes first, then every change.
  void Start(std::function<void(const PortEvent&)> callback);
  void Stop() noexcept;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ORVA::MESH::SDK::Driver
