#pragma once
// Watches one Linux bridge: its ports with their carrier, ports joining and leaving, and the
// forwarding table (which MAC was learned on which port). A MAC learned on another port than
// before is reported as a move; one that moves again within the loop window, or right after it
// was learned, as a possible loop. The daemon uses it to notice a wired backhaul appearing and
// a loop forming. Callbacks run on the monitor's thread; one that throws is logged.
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include "orvamesh/driver/netlink_events.h"
#include "orvamesh/export.h"
#include "orvamesh/mac.h"

namespace ORVA::MESH::SDK::Monitor {

struct ORVA_EXPORT BridgePortState {
  std::string name;
  bool carrier = false;
};

struct ORVA_EXPORT MacMove {
  Mac mac;
  int fromPort = 0;
  int toPort = 0;
  bool possibleLoop = false;
};

class ORVA_EXPORT BridgeMonitor {
 public:
  explicit BridgeMonitor(std::string bridge, std::chrono::milliseconds loopWindow = std::chrono::seconds(2));
  ~BridgeMonitor();
  BridgeMonitor(const BridgeMonitor&) = delete;
  BridgeMonitor& operator=(const BridgeMonitor&) = delete;

  // Set before Start().
  void OnPort(std::function<void(const Driver::BridgePortEvent&)> callback);
  void OnMove(std::function<void(const MacMove&)> callback);

  // Throws InvalidArgumentException when the bridge does not exist.
  void Start();
  void Stop() noexcept;

  // Port index -> state, and MAC -> port index, as last reported.
  std::map<int, BridgePortState> Ports() const;
  std::map<Mac, int> Fdb() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ORVA::MESH::SDK::Monitor
