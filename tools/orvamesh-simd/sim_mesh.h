#pragma once
// The simulated mesh behind orvamesh-simd: the nodes of a mesh file and the daemon's long
// operations (scan, node setup, removal, system update, custom topology scan). No bus code
// here: the daemon's front end turns D-Bus calls into these operations and calls Tick() from
// its main loop while Busy().
//
// One long operation runs at a time. Starting another one while it runs is refused with the
// code of the running one (SCANNING_IN_PROGRESS, SETUP_IN_PROGRESS, REMOVAL_IN_PROGRESS,
// UPGRADE_IN_PROGRESS); unknown node ids are NODE_NOT_EXIST; requests the mesh cannot carry
// out (an invalid LED setting, a topology loop, removing the controller) SERVER_INTERNAL_ERROR.
#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orvamesh/client/mesh_records.h"
#include "orvamesh/node/led_config.h"
#include "orvamesh/utils/utilization_sampler.h"
#include "sim_upgrade.h"

namespace orvasim {

namespace Client = ORVA::MESH::SDK::Client;
using Client::ERROR_CODE;
using Client::NodeId;
using Client::Result;

struct SimNode {
  Client::NodeInfo info;
  ORVA::MESH::SDK::LedConfig led;
  bool blinking = false;
  std::vector<std::string> features;
  std::vector<Client::Device> devices;
  Client::NetworkInfo network;
  Client::SystemUtilization utilization;
  bool customUplink = false;
};

class SimMesh {
 public:
  // Steps each long operation takes.
  static constexpr int kSetupTicks = 10;
  static constexpr int kRemovalTicks = 4;
  static constexpr int kUpdateTicks = 20;
  static constexpr int kTopologyScanTicks = 4;

  // Throws std::runtime_error naming what is wrong with the mesh file's content. A node's
  // simulated firmware writer takes one `updateStep` per fifth of its update.
  explicit SimMesh(const Json::Value& root, std::chrono::milliseconds updateStep = std::chrono::milliseconds(200));

  // Advances the running operation by one step.
  void Tick();
  bool Busy() const { return work_ != Work::kNone; }
  // True once after every change a client could see (the daemon then emits its signal).
  bool TakeChanged();

  ERROR_CODE StartScan();
  ERROR_CODE StopScan();
  Result<std::string> GetNodeName(NodeId id) const;
  ERROR_CODE SetNodeName(NodeId id, const std::string& name);
  Client::ScanResult GetScanResult() const;
  Client::MeshSystemStatus GetMeshSystemStatus() const;
  ERROR_CODE RemoveNodes(const Client::NodeIdList& ids);
  Client::SetupNodeProgress GetSetupNodeProgress() const { return setup_; }
  ERROR_CODE StopSetupNode();
  ERROR_CODE StartSetupNode(const Client::SetupNodeInfo& info);
  ERROR_CODE NoticeWPSResult(const Client::WPSResultInfo& info);
  Result<Client::JoinReturnInfo> JoinNetwork(const Client::JoinNetworkInfo& info) const;
  ERROR_CODE RebootNode(NodeId id) const;
  Client::SystemUtilizationMap GetDataSystemUtilization() const;
  Client::DevicesMap GetDataDevices() const;
  Client::NetworkInfoMap GetDataNetworkInfo() const;
  Client::MeshTopologyMap GetDataMeshTopology() const;
  Client::NodeIdList GetNodeIds() const;
  Client::NodeInfoMap GetNodeInfos() const;
  Client::NodeMACInfoMap GetRepeaterMacs() const;
  Client::RepeaterAccessInfoMap GetRepeaterAccessInfos() const;
  Result<Client::LedBlinkingMap> GetLedBlinkings(const Client::NodeIdList& ids) const;
  Result<Client::LedConfigMap> GetLedConfigs(const Client::NodeIdList& ids) const;
  ERROR_CODE SetLedBlinkings(const Client::LedBlinkingMap& blinkings);
  ERROR_CODE SetLedConfigs(const Client::LedConfigMap& configs);
  Client::NodeCapabilityList GetNodeCapabilities() const;
  ERROR_CODE PrepareRestore() const;
  ERROR_CODE TopologyChange(const std::string& jsonText, bool before);
  ERROR_CODE StartSystemUpdate();
  // The first form reports the mesh as a whole only; the second also each node's share.
  Client::SystemUpdateProgress GetSystemUpdateProgress(bool perNode) const;
  ERROR_CODE TriggerCustomTopologyScan(const Client::NodeIdList& ids);
  Client::CustomTopologyScanResultMap GetCustomTopologyScanResult() const { return topologyScan_; }
  Client::CustomTopologyListMap ListCustomTopology() const;
  ERROR_CODE SetCustomTopologyConfig(const Client::CustomTopologySetMap& configs);

  // Plain switches.
  bool debugLogLevel = false;
  bool regionLock = false;
  bool ieee1905ToBroadcast = false;
  bool backhaul5GSwapped = false;
  void MarkChanged() { changed_ = true; }

 private:
  enum class Work { kNone, kScan, kSetup, kRemoval, kUpdate, kTopologyScan };

  ERROR_CODE BusyCode() const;
  SimNode* Find(NodeId id);
  const SimNode* Find(NodeId id) const;
  const SimNode* FindByMac(const ORVA::MESH::SDK::Mac& mac) const;
  bool AllExist(const Client::NodeIdList& ids) const;
  NodeId ControllerId() const;
  NodeId NextId() const;
  bool ReachesController(NodeId id) const;
  // True when `candidate` is `id` or lies below it.
  bool InSubtree(NodeId candidate, NodeId id) const;
  void FinishSetup();
  void FinishRemoval();
  void FinishTopologyScan();
  void TickUpdate();

  std::vector<SimNode> nodes_;
  // The controller is the machine the simulator runs on; its load is measured, not invented.
  mutable ORVA::MESH::SDK::Utils::UtilizationSampler sampler_;
  std::vector<Client::ScanCandidate> neighbours_;  // nodes within reach, found by a scan
  std::string meshId_;
  std::string availableVersion_;

  Work work_ = Work::kNone;
  int ticks_ = 0;
  bool changed_ = false;

  size_t scanFound_ = 0;
  bool scanInProgress_ = false;
  Client::SetupNodeInfo setupRequest_;
  Client::SetupNodeProgress setup_;
  Client::NodeIdList removing_;
  Client::SystemUpdateProgress update_;
  std::chrono::milliseconds updateStep_;
  std::unique_ptr<SimUpgrade> upgrade_;  // the nodes' part of a running system update
  Client::CustomTopologyScanResultMap topologyScan_;
  bool topologyChanging_ = false;
};

}  // namespace orvasim
