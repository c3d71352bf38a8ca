#include "orvamesh/dbus/mesh_dbus_client.h"

namespace ORVA::MESH::SDK::Dbus {

using namespace Client;

MeshDBusClient::MeshDBusClient(const std::string& busName, const std::string& objectPath)
    : client_(busName, objectPath) {}

MeshDBusClient::~MeshDBusClient() = default;

ERROR_CODE MeshDBusClient::StartScanImpl() { return client_.StartScan(); }
ERROR_CODE MeshDBusClient::StopScanImpl() { return client_.StopScan(); }
Result<std::string> MeshDBusClient::GetNodeNameImpl(NodeId nodeId) { return client_.GetNodeName(nodeId); }
ERROR_CODE MeshDBusClient::SetNodeNameImpl(NodeId nodeId, const std::string& name) { return client_.SetNodeName(nodeId, name); }
Result<ScanResult> MeshDBusClient::GetScanResultImpl() { return client_.GetScanResult(); }
Result<MeshSystemStatus> MeshDBusClient::GetMeshSystemStatusImpl() { return client_.GetMeshSystemStatus(); }
ERROR_CODE MeshDBusClient::RemoveNodesImpl(const NodeIdList& nodeIds) { return client_.RemoveNodes(nodeIds); }
Result<SetupNodeProgress> MeshDBusClient::GetSetupNodeProgressImpl() { return client_.GetSetupNodeProgress(); }
ERROR_CODE MeshDBusClient::StopSetupNodeImpl() { return client_.StopSetupNode(); }
ERROR_CODE MeshDBusClient::StartSetupNodeImpl(const SetupNodeInfo& info) { return client_.StartSetupNode(info); }
ERROR_CODE MeshDBusClient::NoticeWPSResultImpl(const WPSResultInfo& info) { return client_.NoticeWPSResult(info); }
Result<JoinReturnInfo> MeshDBusClient::WirelessJoinNetworkImpl(const JoinNetworkInfo& info) { return client_.WirelessJoinNetwork(info); }
Result<JoinReturnInfo> MeshDBusClient::EthernetJoinNetworkImpl(const JoinNetworkInfo& info) { return client_.EthernetJoinNetwork(info); }
ERROR_CODE MeshDBusClient::NotifyJoinReturnInfoSentImpl() { return client_.NotifyJoinReturnSent(); }
ERROR_CODE MeshDBusClient::RebootNodeImpl(NodeId nodeId) { return client_.RebootNode(nodeId); }
Result<SystemUtilizationMap> MeshDBusClient::GetDataSystemUtilizationImpl() { return client_.GetDataSystemUtilization(); }
Result<DevicesMap> MeshDBusClient::GetDataDevicesImpl() { return client_.GetDataDevices(); }
Result<NetworkInfoMap> MeshDBusClient::GetDataNetworkInfoImpl() { return client_.GetDataNetworkInfo(); }
Result<MeshTopologyMap> MeshDBusClient::GetDataMeshTopologyImpl() { return client_.GetDataMeshTopology(); }
Result<NodeIdList> MeshDBusClient::GetNodeIdsImpl() { return client_.GetNodeIds(); }
Result<NodeInfoMap> MeshDBusClient::GetNodeInfosImpl() { return client_.GetNodeInfos(); }
Result<NodeMACInfoMap> MeshDBusClient::GetRepeaterMacsImpl() { return client_.GetRepeaterMacs(); }
Result<RepeaterAccessInfoMap> MeshDBusClient::GetRepeaterAccessInfosImpl() { return client_.GetRepeaterAccessInfos(); }
ERROR_CODE MeshDBusClient::SwitchDebugLogLevelImpl(bool enabled) { return client_.SwitchDebugLogLevel(enabled); }
Result<bool> MeshDBusClient::GetDebugLogLevelImpl() { return client_.GetDebugLogLevel(); }
Result<bool> MeshDBusClient::GetRegionLockImpl() { return client_.GetRegionLock(); }
Result<LedBlinkingMap> MeshDBusClient::GetLedBlinkingsImpl(const NodeIdList& nodeIds) { return client_.GetLedBlinkings(nodeIds); }
Result<LedConfigMap> MeshDBusClient::GetLedConfigsImpl(const NodeIdList& nodeIds) { return client_.GetLedConfigs(nodeIds); }
ERROR_CODE MeshDBusClient::SetLedBlinkingsImpl(const LedBlinkingMap& blinkings) { return client_.SetLedBlinkings(blinkings); }
ERROR_CODE MeshDBusClient::SetLedConfigsImpl(const LedConfigMap& configs) { return client_.SetLedConfigs(configs); }
Result<bool> MeshDBusClient::GetIeee1905ToBroadcastImpl() { return client_.GetIeee1905ToBroadcast(); }
ERROR_CODE MeshDBusClient::SetIeee1905ToBroadcastImpl(bool enabled) { return client_.SetIeee1905ToBroadcast(enabled); }
Result<bool> MeshDBusClient::Get5GBackhaulSwappedImpl() { return client_.Get5GBackhaulSwapped(); }
ERROR_CODE MeshDBusClient::Set5GBackhaulSwappedImpl(bool enabled) { return client_.Set5GBackhaulSwapped(enabled); }
// No daemon method: the feature is off on every mesh.
Result<bool> MeshDBusClient::GetHyfiMitigationEnabledImpl() { return {ERROR_CODE::NONE, false}; }
ERROR_CODE MeshDBusClient::SetHyfiMitigationEnabledImpl(bool) { return ERROR_CODE::NONE; }
Result<NodeCapabilityList> MeshDBusClient::GetNodeCapabilitiesImpl() { return client_.GetNodeCapabilities(); }
ERROR_CODE MeshDBusClient::PrepareRestoreImpl() { return client_.PrepareRestore(); }
ERROR_CODE MeshDBusClient::TriggerSynchronizeImpl() { return client_.TriggerSynchronize(); }
ERROR_CODE MeshDBusClient::UserConfirmWifiAdjustImpl() { return client_.UserConfirmWifiAdjust(); }
ERROR_CODE MeshDBusClient::BeforeTopologyChangeImpl(const Json::Value& change) { return client_.BeforeTopologyChange(change); }
ERROR_CODE MeshDBusClient::AfterTopologyChangeImpl(const Json::Value& change) { return client_.AfterTopologyChange(change); }
ERROR_CODE MeshDBusClient::IgmpSnoopingPreChangeImpl() { return client_.IgmpSnoopingPreChange(); }
ERROR_CODE MeshDBusClient::IgmpSnoopingPostChangeImpl() { return client_.IgmpSnoopingPostChange(); }
ERROR_CODE MeshDBusClient::StartSystemUpdateImpl() { return client_.StartSystemUpdate(); }
Result<SystemUpdateProgress> MeshDBusClient::GetSystemUpdateProgressImpl() { return client_.GetSystemUpdateProgress(); }
Result<SystemUpdateProgress> MeshDBusClient::GetSystemUpdateProgressV2Impl() { return client_.GetSystemUpdateProgressV2(); }
ERROR_CODE MeshDBusClient::TriggerBackhaulStatusUpdateImpl() { return client_.TriggerBackhaulStatusUpdate(); }
ERROR_CODE MeshDBusClient::TriggerCustomTopologyScanImpl(const NodeIdList& nodeIds) { return client_.TriggerCustomTopologyScan(nodeIds); }
Result<CustomTopologyScanResultMap> MeshDBusClient::GetCustomTopologyScanResultImpl() { return client_.GetCustomTopologyScanResult(); }
Result<CustomTopologyListMap> MeshDBusClient::ListCustomTopologyImpl() { return client_.ListCustomTopology(); }
ERROR_CODE MeshDBusClient::SetCustomTopologyConfigImpl(const CustomTopologySetMap& configs) { return client_.SetCustomTopologyConfig(configs); }

MeshDBusSignalReceiver::MeshDBusSignalReceiver(std::shared_ptr<SignalHandleSpec> spec,
                                               const std::string& busName, const std::string& objectPath)
    : MeshSignalReceiver(std::move(spec)), receiver_(busName, objectPath) {}

MeshDBusSignalReceiver::~MeshDBusSignalReceiver() = default;

void MeshDBusSignalReceiver::StartReceiving() { receiver_.StartReceiving(); }
void MeshDBusSignalReceiver::StopReceiving() { receiver_.StopReceiving(); }
void MeshDBusSignalReceiver::BindDummy(std::function<void()> handler) {
  receiver_.SetDummyHandler(std::move(handler));
}

}  // namespace ORVA::MESH::SDK::Dbus

// The factories of the client module hand out the D-Bus transport. They live here, with what
// they build, so that the client module never includes the transport above it.
namespace ORVA::MESH::SDK::Client {

std::shared_ptr<MeshClient> MeshClientFactory::GetClient() {
  static const std::shared_ptr<MeshClient> client =
      std::make_shared<Dbus::MeshDBusClient>(Dbus::kMeshBusName, Dbus::kMeshObjectPath);
  return client;
}

std::shared_ptr<MeshSignalReceiver> MeshSignalReceiverFactory::GetReceiver(
    const std::shared_ptr<SignalHandleSpec>& spec) {
  auto receiver = std::make_shared<Dbus::MeshDBusSignalReceiver>(spec, Dbus::kMeshBusName, Dbus::kMeshObjectPath);
  receiver->BindHandler();
  return receiver;
}

}  // namespace ORVA::MESH::SDK::Client
