#pragma once
// The mesh client and signal receiver over D-Bus: the implementations that the client
// factories hand out. The two Hyfi-mitigation operations have no daemon method and are
// answered here, without a call: the getter with (NONE, false), the setter with NONE.
#include <functional>
#include <memory>
#include <string>

#include "orvamesh/client/mesh_client.h"
#include "orvamesh/client/mesh_signal_receiver.h"
#include "orvamesh/dbus/mesh_gdbus_client.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Dbus {

class ORVA_EXPORT MeshDBusClient : public Client::MeshClient {
 public:
  using ERROR_CODE = Client::ERROR_CODE;
  template <typename T>
  using Result = Client::Result<T>;
  using NodeId = Client::NodeId;

  MeshDBusClient(const std::string& busName, const std::string& objectPath);
  ~MeshDBusClient() override;

 protected:
  ERROR_CODE StartScanImpl() override;
  ERROR_CODE StopScanImpl() override;
  Result<std::string> GetNodeNameImpl(NodeId nodeId) override;
  ERROR_CODE SetNodeNameImpl(NodeId nodeId, const std::string& name) override;
  Result<Client::ScanResult> GetScanResultImpl() override;
  Result<Client::MeshSystemStatus> GetMeshSystemStatusImpl() override;
  ERROR_CODE RemoveNodesImpl(const Client::NodeIdList& nodeIds) override;
  Result<Client::SetupNodeProgress> GetSetupNodeProgressImpl() override;
  ERROR_CODE StopSetupNodeImpl() override;
  ERROR_CODE StartSetupNodeImpl(const Client::SetupNodeInfo& info) override;
  ERROR_CODE NoticeWPSResultImpl(const Client::WPSResultInfo& info) override;
  Result<Client::JoinReturnInfo> WirelessJoinNetworkImpl(const Client::JoinNetworkInfo& info) override;
  Result<Client::JoinReturnInfo> EthernetJoinNetworkImpl(const Client::JoinNetworkInfo& info) override;
  ERROR_CODE NotifyJoinReturnInfoSentImpl() override;
  ERROR_CODE RebootNodeImpl(NodeId nodeId) override;
  Result<Client::SystemUtilizationMap> GetDataSystemUtilizationImpl() override;
  Result<Client::DevicesMap> GetDataDevicesImpl() override;
  Result<Client::NetworkInfoMap> GetDataNetworkInfoImpl() override;
  Result<Client::MeshTopologyMap> GetDataMeshTopologyImpl() override;
  Result<Client::NodeIdList> GetNodeIdsImpl() override;
  Result<Client::NodeInfoMap> GetNodeInfosImpl() override;
  Result<Client::NodeMACInfoMap> GetRepeaterMacsImpl() override;
  Result<Client::RepeaterAccessInfoMap> GetRepeaterAccessInfosImpl() override;
  ERROR_CODE SwitchDebugLogLevelImpl(bool enabled) override;
  Result<bool> GetDebugLogLevelImpl() override;
  Result<bool> GetRegionLockImpl() override;
  Result<Client::LedBlinkingMap> GetLedBlinkingsImpl(const Client::NodeIdList& nodeIds) override;
  Result<Client::LedConfigMap> GetLedConfigsImpl(const Client::NodeIdList& nodeIds) override;
  ERROR_CODE SetLedBlinkingsImpl(const Client::LedBlinkingMap& blinkings) override;
  ERROR_CODE SetLedConfigsImpl(const Client::LedConfigMap& configs) override;
  Result<bool> GetIeee1905ToBroadcastImpl() override;
  ERROR_CODE SetIeee1905ToBroadcastImpl(bool enabled) override;
  Result<bool> Get5GBackhaulSwappedImpl() override;
  ERROR_CODE Set5GBackhaulSwappedImpl(bool enabled) override;
  Result<bool> GetHyfiMitigationEnabledImpl() override;
  ERROR_CODE SetHyfiMitigationEnabledImpl(bool enabled) override;
  Result<Client::NodeCapabilityList> GetNodeCapabilitiesImpl() override;
  ERROR_CODE PrepareRestoreImpl() override;
  ERROR_CODE TriggerSynchronizeImpl() override;
  ERROR_CODE UserConfirmWifiAdjustImpl() override;
  ERROR_CODE BeforeTopologyChangeImpl(const Json::Value& change) override;
  ERROR_CODE AfterTopologyChangeImpl(const Json::Value& change) override;
  ERROR_CODE IgmpSnoopingPreChangeImpl() override;
  ERROR_CODE IgmpSnoopingPostChangeImpl() override;
  ERROR_CODE StartSystemUpdateImpl() override;
  Result<Client::SystemUpdateProgress> GetSystemUpdateProgressImpl() override;
  Result<Client::SystemUpdateProgress> GetSystemUpdateProgressV2Impl() override;
  ERROR_CODE TriggerBackhaulStatusUpdateImpl() override;
  ERROR_CODE TriggerCustomTopologyScanImpl(const Client::NodeIdList& nodeIds) override;
  Result<Client::CustomTopologyScanResultMap> GetCustomTopologyScanResultImpl() override;
  Result<Client::CustomTopologyListMap> ListCustomTopologyImpl() override;
  ERROR_CODE SetCustomTopologyConfigImpl(const Client::CustomTopologySetMap& configs) override;

 private:
  MeshGDBusClient client_;
};

class ORVA_EXPORT MeshDBusSignalReceiver : public Client::MeshSignalReceiver {
 public:
  MeshDBusSignalReceiver(std::shared_ptr<Client::SignalHandleSpec> spec, const std::string& busName,
                         const std::string& objectPath);
  ~MeshDBusSignalReceiver() override;

  void StartReceiving() override;
  void StopReceiving() override;
  void BindDummy(std::function<void()> handler) override;

 private:
  MeshGDBusSignalReceiver receiver_;
};

}  // namespace ORVA::MESH::SDK::Dbus
