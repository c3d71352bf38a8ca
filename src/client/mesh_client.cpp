#include "orvamesh/client/mesh_client.h"

#include <exception>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Client {

namespace {
constexpr const char* kUnhandled = "Unhandled exception, underlying exception wrapped in std::nested_exception";
constexpr const char* kUnrecognized =
    "Unrecognized exception, underlying exception wrapped in std::nested_exception";

// Called inside a catch block: the exception being handled becomes the nested one.
[[noreturn]] void WrapCurrent(const Exception::ExceptionLocation& location, const char* message) {
  std::throw_with_nested(Exception::MeshClientException(location, message));
}
}  // namespace

// The location names the public operation (__func__), never the transport below it.
#define ORVA_GUARDED(call)                          \
  try {                                             \
    return call;                                    \
  } catch (const std::exception&) {                 \
    WrapCurrent(ORVA_LOCATION(), kUnhandled);       \
  } catch (...) {                                   \
    WrapCurrent(ORVA_LOCATION(), kUnrecognized);    \
  }

MeshClient::~MeshClient() = default;

ERROR_CODE MeshClient::StartScan() { ORVA_GUARDED(StartScanImpl()); }
ERROR_CODE MeshClient::StopScan() { ORVA_GUARDED(StopScanImpl()); }
Result<std::string> MeshClient::GetNodeName(NodeId nodeId) { ORVA_GUARDED(GetNodeNameImpl(nodeId)); }
ERROR_CODE MeshClient::SetNodeName(NodeId nodeId, const std::string& name) { ORVA_GUARDED(SetNodeNameImpl(nodeId, name)); }
Result<ScanResult> MeshClient::GetScanResult() { ORVA_GUARDED(GetScanResultImpl()); }
Result<MeshSystemStatus> MeshClient::GetMeshSystemStatus() { ORVA_GUARDED(GetMeshSystemStatusImpl()); }
ERROR_CODE MeshClient::RemoveNodes(const NodeIdList& nodeIds) { ORVA_GUARDED(RemoveNodesImpl(nodeIds)); }
Result<SetupNodeProgress> MeshClient::GetSetupNodeProgress() { ORVA_GUARDED(GetSetupNodeProgressImpl()); }
ERROR_CODE MeshClient::StopSetupNode() { ORVA_GUARDED(StopSetupNodeImpl()); }
ERROR_CODE MeshClient::StartSetupNode(const SetupNodeInfo& info) { ORVA_GUARDED(StartSetupNodeImpl(info)); }
ERROR_CODE MeshClient::NoticeWPSResult(const WPSResultInfo& info) { ORVA_GUARDED(NoticeWPSResultImpl(info)); }
Result<JoinReturnInfo> MeshClient::WirelessJoinNetwork(const JoinNetworkInfo& info) { ORVA_GUARDED(WirelessJoinNetworkImpl(info)); }
Result<JoinReturnInfo> MeshClient::EthernetJoinNetwork(const JoinNetworkInfo& info) { ORVA_GUARDED(EthernetJoinNetworkImpl(info)); }
ERROR_CODE MeshClient::NotifyJoinReturnInfoSent() { ORVA_GUARDED(NotifyJoinReturnInfoSentImpl()); }
ERROR_CODE MeshClient::RebootNode(NodeId nodeId) { ORVA_GUARDED(RebootNodeImpl(nodeId)); }
Result<SystemUtilizationMap> MeshClient::GetDataSystemUtilization() { ORVA_GUARDED(GetDataSystemUtilizationImpl()); }
Result<DevicesMap> MeshClient::GetDataDevices() { ORVA_GUARDED(GetDataDevicesImpl()); }
Result<NetworkInfoMap> MeshClient::GetDataNetworkInfo() { ORVA_GUARDED(GetDataNetworkInfoImpl()); }
Result<MeshTopologyMap> MeshClient::GetDataMeshTopology() { ORVA_GUARDED(GetDataMeshTopologyImpl()); }
Result<NodeIdList> MeshClient::GetNodeIds() { ORVA_GUARDED(GetNodeIdsImpl()); }
Result<NodeInfoMap> MeshClient::GetNodeInfos() { ORVA_GUARDED(GetNodeInfosImpl()); }
Result<NodeMACInfoMap> MeshClient::GetRepeaterMacs() { ORVA_GUARDED(GetRepeaterMacsImpl()); }
Result<RepeaterAccessInfoMap> MeshClient::GetRepeaterAccessInfos() { ORVA_GUARDED(GetRepeaterAccessInfosImpl()); }
ERROR_CODE MeshClient::SwitchDebugLogLevel(bool enabled) { ORVA_GUARDED(SwitchDebugLogLevelImpl(enabled)); }
Result<bool> MeshClient::GetDebugLogLevel() { ORVA_GUARDED(GetDebugLogLevelImpl()); }
Result<bool> MeshClient::GetRegionLock() { ORVA_GUARDED(GetRegionLockImpl()); }
Result<LedBlinkingMap> MeshClient::GetLedBlinkings(const NodeIdList& nodeIds) { ORVA_GUARDED(GetLedBlinkingsImpl(nodeIds)); }
Result<LedConfigMap> MeshClient::GetLedConfigs(const NodeIdList& nodeIds) { ORVA_GUARDED(GetLedConfigsImpl(nodeIds)); }
ERROR_CODE MeshClient::SetLedBlinkings(const LedBlinkingMap& blinkings) { ORVA_GUARDED(SetLedBlinkingsImpl(blinkings)); }
ERROR_CODE MeshClient::SetLedConfigs(const LedConfigMap& configs) { ORVA_GUARDED(SetLedConfigsImpl(configs)); }
Result<bool> MeshClient::GetIeee1905ToBroadcast() { ORVA_GUARDED(GetIeee1905ToBroadcastImpl()); }
ERROR_CODE MeshClient::SetIeee1905ToBroadcast(bool enabled) { ORVA_GUARDED(SetIeee1905ToBroadcastImpl(enabled)); }
Result<bool> MeshClient::Get5GBackhaulSwapped() { ORVA_GUARDED(Get5GBackhaulSwappedImpl()); }
ERROR_CODE MeshClient::Set5GBackhaulSwapped(bool enabled) { ORVA_GUARDED(Set5GBackhaulSwappedImpl(enabled)); }
Result<bool> MeshClient::GetHyfiMitigationEnabled() { ORVA_GUARDED(GetHyfiMitigationEnabledImpl()); }
ERROR_CODE MeshClient::SetHyfiMitigationEnabled(bool enabled) { ORVA_GUARDED(SetHyfiMitigationEnabledImpl(enabled)); }
Result<NodeCapabilityList> MeshClient::GetNodeCapabilities() { ORVA_GUARDED(GetNodeCapabilitiesImpl()); }
ERROR_CODE MeshClient::PrepareRestore() { ORVA_GUARDED(PrepareRestoreImpl()); }
ERROR_CODE MeshClient::TriggerSynchronize() { ORVA_GUARDED(TriggerSynchronizeImpl()); }
ERROR_CODE MeshClient::UserConfirmWifiAdjust() { ORVA_GUARDED(UserConfirmWifiAdjustImpl()); }
ERROR_CODE MeshClient::BeforeTopologyChange(const Json::Value& change) { ORVA_GUARDED(BeforeTopologyChangeImpl(change)); }
ERROR_CODE MeshClient::AfterTopologyChange(const Json::Value& change) { ORVA_GUARDED(AfterTopologyChangeImpl(change)); }
ERROR_CODE MeshClient::IgmpSnoopingPreChange() { ORVA_GUARDED(IgmpSnoopingPreChangeImpl()); }
ERROR_CODE MeshClient::IgmpSnoopingPostChange() { ORVA_GUARDED(IgmpSnoopingPostChangeImpl()); }
ERROR_CODE MeshClient::StartSystemUpdate() { ORVA_GUARDED(StartSystemUpdateImpl()); }
Result<SystemUpdateProgress> MeshClient::GetSystemUpdateProgress() { ORVA_GUARDED(GetSystemUpdateProgressImpl()); }
Result<SystemUpdateProgress> MeshClient::GetSystemUpdateProgressV2() { ORVA_GUARDED(GetSystemUpdateProgressV2Impl()); }
ERROR_CODE MeshClient::TriggerBackhaulStatusUpdate() { ORVA_GUARDED(TriggerBackhaulStatusUpdateImpl()); }
ERROR_CODE MeshClient::TriggerCustomTopologyScan(const NodeIdList& nodeIds) { ORVA_GUARDED(TriggerCustomTopologyScanImpl(nodeIds)); }
Result<CustomTopologyScanResultMap> MeshClient::GetCustomTopologyScanResult() { ORVA_GUARDED(GetCustomTopologyScanResultImpl()); }
Result<CustomTopologyListMap> MeshClient::ListCustomTopology() { ORVA_GUARDED(ListCustomTopologyImpl()); }
ERROR_CODE MeshClient::SetCustomTopologyConfig(const CustomTopologySetMap& configs) { ORVA_GUARDED(SetCustomTopologyConfigImpl(configs)); }

#undef ORVA_GUARDED

}  // namespace ORVA::MESH::SDK::Client
