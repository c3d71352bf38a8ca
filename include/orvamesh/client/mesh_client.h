#pragma once
// The mesh daemon as management programs see it: one operation per request the daemon
// understands. Each returns ERROR_CODE::NONE (with the result, for operations that have one)
// when the daemon did it, another ERROR_CODE when the daemon refused, and throws
// Exception::MeshClientException, with the cause nested, for every fault on the way
// (no daemon on the bus, a broken bus, an undecodable answer).
//
// Take the process's one client from MeshClientFactory::GetClient(); its calls are
// serialised, so concurrent callers wait for each other's round trip.
#include <json/value.h>

#include <memory>
#include <string>

#include "orvamesh/client/error_code.h"
#include "orvamesh/client/mesh_records.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Client {

class ORVA_EXPORT MeshClient {
 public:
  virtual ~MeshClient();

  ERROR_CODE StartScan();
  ERROR_CODE StopScan();
  Result<std::string> GetNodeName(NodeId nodeId);
  ERROR_CODE SetNodeName(NodeId nodeId, const std::string& name);
  Result<ScanResult> GetScanResult();
  Result<MeshSystemStatus> GetMeshSystemStatus();
  ERROR_CODE RemoveNodes(const NodeIdList& nodeIds);
  Result<SetupNodeProgress> GetSetupNodeProgress();
  ERROR_CODE StopSetupNode();
  ERROR_CODE StartSetupNode(const SetupNodeInfo& info);
  ERROR_CODE NoticeWPSResult(const WPSResultInfo& info);
  Result<JoinReturnInfo> WirelessJoinNetwork(const JoinNetworkInfo& info);
  Result<JoinReturnInfo> EthernetJoinNetwork(const JoinNetworkInfo& info);
  ERROR_CODE NotifyJoinReturnInfoSent();
  ERROR_CODE RebootNode(NodeId nodeId);
  Result<SystemUtilizationMap> GetDataSystemUtilization();
  Result<DevicesMap> GetDataDevices();
  Result<NetworkInfoMap> GetDataNetworkInfo();
  Result<MeshTopologyMap> GetDataMeshTopology();
  Result<NodeIdList> GetNodeIds();
  Result<NodeInfoMap> GetNodeInfos();
  Result<NodeMACInfoMap> GetRepeaterMacs();
  Result<RepeaterAccessInfoMap> GetRepeaterAccessInfos();
  ERROR_CODE SwitchDebugLogLevel(bool enabled);
  Result<bool> GetDebugLogLevel();
  Result<bool> GetRegionLock();
  Result<LedBlinkingMap> GetLedBlinkings(const NodeIdList& nodeIds);
  Result<LedConfigMap> GetLedConfigs(const NodeIdList& nodeIds);
  ERROR_CODE SetLedBlinkings(const LedBlinkingMap& blinkings);
  ERROR_CODE SetLedConfigs(const LedConfigMap& configs);
  Result<bool> GetIeee1905ToBroadcast();
  ERROR_CODE SetIeee1905ToBroadcast(bool enabled);
  Result<bool> Get5GBackhaulSwapped();
  ERROR_CODE Set5GBackhaulSwapped(bool enabled);
  Result<bool> GetHyfiMitigationEnabled();
  ERROR_CODE SetHyfiMitigationEnabled(bool enabled);
  Result<NodeCapabilityList> GetNodeCapabilities();
  ERROR_CODE PrepareRestore();
  ERROR_CODE TriggerSynchronize();
  ERROR_CODE UserConfirmWifiAdjust();
  ERROR_CODE BeforeTopologyChange(const Json::Value& change);
  ERROR_CODE AfterTopologyChange(const Json::Value& change);
  ERROR_CODE IgmpSnoopingPreChange();
  ERROR_CODE IgmpSnoopingPostChange();
  ERROR_CODE StartSystemUpdate();
  Result<SystemUpdateProgress> GetSystemUpdateProgress();
  Result<SystemUpdateProgress> GetSystemUpdateProgressV2();
  ERROR_CODE TriggerBackhaulStatusUpdate();
  ERROR_CODE TriggerCustomTopologyScan(const NodeIdList& nodeIds);
  Result<CustomTopologyScanResultMap> GetCustomTopologyScanResult();
  Result<CustomTopologyListMap> ListCustomTopology();
  ERROR_CODE SetCustomTopologyConfig(const CustomTopologySetMap& configs);

 protected:
  MeshClient() = default;
  MeshClient(const MeshClient&) = delete;
  MeshClient& operator=(const MeshClient&) = delete;

  virtual ERROR_CODE StartScanImpl() = 0;
  virtual ERROR_CODE StopScanImpl() = 0;
  virtual Result<std::string> GetNodeNameImpl(NodeId nodeId) = 0;
  virtual ERROR_CODE SetNodeNameImpl(NodeId nodeId, const std::string& name) = 0;
  virtual Result<ScanResult> GetScanResultImpl() = 0;
  virtual Result<MeshSystemStatus> GetMeshSystemStatusImpl() = 0;
  virtual ERROR_CODE RemoveNodesImpl(const NodeIdList& nodeIds) = 0;
  virtual Result<SetupNodeProgress> GetSetupNodeProgressImpl() = 0;
  virtual ERROR_CODE StopSetupNodeImpl() = 0;
  virtual ERROR_CODE StartSetupNodeImpl(const SetupNodeInfo& info) = 0;
  virtual ERROR_CODE NoticeWPSResultImpl(const WPSResultInfo& info) = 0;
  virtual Result<JoinReturnInfo> WirelessJoinNetworkImpl(const JoinNetworkInfo& info) = 0;
  virtual Result<JoinReturnInfo> EthernetJoinNetworkImpl(const JoinNetworkInfo& info) = 0;
  virtual ERROR_CODE NotifyJoinReturnInfoSentImpl() = 0;
  virtual ERROR_CODE RebootNodeImpl(NodeId nodeId) = 0;
  virtual Result<SystemUtilizationMap> GetDataSystemUtilizationImpl() = 0;
  virtual Result<DevicesMap> GetDataDevicesImpl() = 0;
  virtual Result<NetworkInfoMap> GetDataNetworkInfoImpl() = 0;
  virtual Result<MeshTopologyMap> GetDataMeshTopologyImpl() = 0;
  virtual Result<NodeIdList> GetNodeIdsImpl() = 0;
  virtual Result<NodeInfoMap> GetNodeInfosImpl() = 0;
  virtual Result<NodeMACInfoMap> GetRepeaterMacsImpl() = 0;
  virtual Result<RepeaterAccessInfoMap> GetRepeaterAccessInfosImpl() = 0;
  virtual ERROR_CODE SwitchDebugLogLevelImpl(bool enabled) = 0;
  virtual Result<bool> GetDebugLogLevelImpl() = 0;
  virtual Result<bool> GetRegionLockImpl() = 0;
  virtual Result<LedBlinkingMap> GetLedBlinkingsImpl(const NodeIdList& nodeIds) = 0;
  virtual Result<LedConfigMap> GetLedConfigsImpl(const NodeIdList& nodeIds) = 0;
  virtual ERROR_CODE SetLedBlinkingsImpl(const LedBlinkingMap& blinkings) = 0;
  virtual ERROR_CODE SetLedConfigsImpl(const LedConfigMap& configs) = 0;
  virtual Result<bool> GetIeee1905ToBroadcastImpl() = 0;
  virtual ERROR_CODE SetIeee1905ToBroadcastImpl(bool enabled) = 0;
  virtual Result<bool> Get5GBackhaulSwappedImpl() = 0;
  virtual ERROR_CODE Set5GBackhaulSwappedImpl(bool enabled) = 0;
  virtual Result<bool> GetHyfiMitigationEnabledImpl() = 0;
  virtual ERROR_CODE SetHyfiMitigationEnabledImpl(bool enabled) = 0;
  virtual Result<NodeCapabilityList> GetNodeCapabilitiesImpl() = 0;
  virtual ERROR_CODE PrepareRestoreImpl() = 0;
  virtual ERROR_CODE TriggerSynchronizeImpl() = 0;
  virtual ERROR_CODE UserConfirmWifiAdjustImpl() = 0;
  virtual ERROR_CODE BeforeTopologyChangeImpl(const Json::Value& change) = 0;
  virtual ERROR_CODE AfterTopologyChangeImpl(const Json::Value& change) = 0;
  virtual ERROR_CODE IgmpSnoopingPreChangeImpl() = 0;
  virtual ERROR_CODE IgmpSnoopingPostChangeImpl() = 0;
  virtual ERROR_CODE StartSystemUpdateImpl() = 0;
  virtual Result<SystemUpdateProgress> GetSystemUpdateProgressImpl() = 0;
  virtual Result<SystemUpdateProgress> GetSystemUpdateProgressV2Impl() = 0;
  virtual ERROR_CODE TriggerBackhaulStatusUpdateImpl() = 0;
  virtual ERROR_CODE TriggerCustomTopologyScanImpl(const NodeIdList& nodeIds) = 0;
  virtual Result<CustomTopologyScanResultMap> GetCustomTopologyScanResultImpl() = 0;
  virtual Result<CustomTopologyListMap> ListCustomTopologyImpl() = 0;
  virtual ERROR_CODE SetCustomTopologyConfigImpl(const CustomTopologySetMap& configs) = 0;
};

class ORVA_EXPORT MeshClientFactory {
 public:
  // The process's one client, created on first use for the mesh daemon on the system bus.
  // A failure to create it (no system bus) propagates unwrapped; the next call tries again.
  static std::shared_ptr<MeshClient> GetClient();
};

}  // namespace ORVA::MESH::SDK::Client
