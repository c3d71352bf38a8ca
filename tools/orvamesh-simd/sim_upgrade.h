#pragma once
// The simulated mesh's firmware update: the library's own group update (leaves first, the CAP
// last, two nodes at once, a group-update file) over nodes whose "writer" takes a few steps.
// It runs on a thread of its own; the daemon's tick reads its progress.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "orvamesh/client/mesh_records.h"
#include "orvamesh/mac.h"

namespace orvasim {

class SimUpgrade {
 public:
  struct Node {
    ORVA::MESH::SDK::Client::NodeId id;
    ORVA::MESH::SDK::Client::NodeId uplink;  // 0 for the controller
  };

  SimUpgrade(const std::vector<Node>& nodes, const std::string& targetVersion, std::chrono::milliseconds step);
  // Stops the update at the next step and waits for its thread.
  ~SimUpgrade();
  SimUpgrade(const SimUpgrade&) = delete;
  SimUpgrade& operator=(const SimUpgrade&) = delete;

  // Each node's percent, 0..100.
  std::map<ORVA::MESH::SDK::Client::NodeId, uint8_t> NodePercent() const;
  bool Finished() const { return finished_.load(); }

  // Waits one step, or less when the update is stopped; false once stopped.
  bool Step();

 private:
  void Run(const std::vector<Node>& nodes, const std::string& targetVersion);

  std::chrono::milliseconds step_;
  std::string directory_;  // holds the group-update file while the update runs
  mutable std::mutex mutex_;
  std::condition_variable stopped_;
  bool stop_ = false;  // guarded by mutex_
  std::map<ORVA::MESH::SDK::Client::NodeId, uint8_t> percent_;
  std::atomic<bool> finished_{false};
  std::thread thread_;
};

}  // namespace orvasim
