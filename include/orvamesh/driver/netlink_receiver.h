#pragma once
// Follows the kernel's routing netlink on a thread of its own and calls the registered
// callbacks with typed events. At start it first reports the current state (every link,
// address, ... as ADDED), so a subscriber never misses what was there before it came; when
// the socket's buffer overruns (ENOBUFS) it asks for the whole state again rather than lose
// track. Callbacks run on the receiver's thread and must not stop the receiver; one that
// throws is logged and the receiver goes on.
#include <functional>
#include <memory>
#include "orvamesh/driver/netlink_events.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Driver {

class ORVA_EXPORT NetlinkReceiver {
 public:
  enum Groups : unsigned { kLinks = 1, kAddresses = 2, kNeighbours = 4, kBridge = 8, kAll = 15 };

  explicit NetlinkReceiver(unsigned groups);
  ~NetlinkReceiver();
  NetlinkReceiver(const NetlinkReceiver&) = delete;
  NetlinkReceiver& operator=(const NetlinkReceiver&) = delete;

  // Set before Start(); a LogicException while running.
  void OnLink(std::function<void(const LinkEvent&)> callback);
  void OnAddress(std::function<void(const AddressEvent&)> callback);
  void OnNeighbour(std::function<void(const NeighbourEvent&)> callback);
  void OnBridgePort(std::function<void(const BridgePortEvent&)> callback);
  void OnFdb(std::function<void(const FdbEvent&)> callback);

  // Throws RuntimeException when the netlink socket cannot be opened.
  void Start();
  void Stop() noexcept;
  // False before Start, after Stop, and when the socket failed for good.
  bool IsRunning() const noexcept;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ORVA::MESH::SDK::Driver
