#include "orvamesh/dbus/mesh_gdbus_client.h"

#include "orvamesh/dbus/gdbus_common.h"
#include "orvamesh/dbus/mesh_gdbus_error_code.h"
#include "dbus/payload_iarchive.h"

namespace ORVA::MESH::SDK::Dbus {

using namespace Client;
using ERROR_CODE = Client::ERROR_CODE;

namespace {

ERROR_CODE RefusalToClientCode(int32_t code) {
  return ToClientErrorCode(MeshGDBusCommon::UnmarshalErrorCodeFromGInt(code));
}

Result<std::string> TakeString(ERROR_CODE code, gchar* text) {
  Result<std::string> result{code, std::string()};
  if (text != nullptr) {
    if (code == ERROR_CODE::NONE) result.second = text;
    g_free(text);
  }
  return result;
}

template <typename T>
Result<T> Decoded(ERROR_CODE code, const GVariantWrapper& out) {
  // A refusal leaves the payload unset, also one whose error name maps to NONE.
  if (code != ERROR_CODE::NONE || !out.IsSet()) return {code, T{}};
  return {code, Detail::DecodePayload<T>(out)};
}

}  // namespace

MeshGDBusClient::MeshGDBusClient(const std::string& busName, const std::string& objectPath)
    : GDBusClient<OrvaMesh>(busName, objectPath, G_BUS_TYPE_SYSTEM, &orva_mesh_proxy_new_for_bus_sync),
      quark_(GDBusCommon::InitGDBusQuark(objectPath, MeshGDBusCommon::ErrorCodeToErrorEntry())) {}

template <typename Callable>
ERROR_CODE MeshGDBusClient::Call(Callable&& call) {
  int32_t code = 0;
  if (InvokeMethod(call, quark_, code)) return ERROR_CODE::NONE;
  return RefusalToClientCode(code);
}

ERROR_CODE MeshGDBusClient::StartScan() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_start_scan_sync(proxy, cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::StopScan() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_stop_scan_sync(proxy, cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::SetNodeName(NodeId nodeId, const std::string& name) {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_set_node_name_sync(proxy, nodeId, name.c_str(), cancellable, error);
  });
  return code;
}

Result<std::string> MeshGDBusClient::GetNodeName(NodeId nodeId) {
  gchar* out = nullptr;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_node_name_sync(proxy, nodeId, &out, cancellable, error);
  });
  return TakeString(code, out);
}

Result<ScanResult> MeshGDBusClient::GetScanResult() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_scan_result_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<ScanResult>(code, out);
}

Result<MeshSystemStatus> MeshGDBusClient::GetMeshSystemStatus() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_mesh_system_status_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<MeshSystemStatus>(code, out);
}

ERROR_CODE MeshGDBusClient::RemoveNodes(const NodeIdList& nodeIds) {
  GVariantWrapper inNodeIds = ObjectToGVariant(nodeIds);
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_remove_nodes_sync(proxy, inNodeIds.GetGVariant(), cancellable, error);
  });
  return code;
}

Result<SetupNodeProgress> MeshGDBusClient::GetSetupNodeProgress() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_setup_node_progress_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<SetupNodeProgress>(code, out);
}

ERROR_CODE MeshGDBusClient::StopSetupNode() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_stop_setup_node_sync(proxy, cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::StartSetupNode(const SetupNodeInfo& info) {
  GVariantWrapper inInfo = ObjectToGVariant(info);
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_start_setup_node_sync(proxy, inInfo.GetGVariant(), cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::NoticeWPSResult(const WPSResultInfo& info) {
  GVariantWrapper inInfo = ObjectToGVariant(info);
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_notice_wpsresult_sync(proxy, inInfo.GetGVariant(), cancellable, error);
  });
  return code;
}

Result<JoinReturnInfo> MeshGDBusClient::WirelessJoinNetwork(const JoinNetworkInfo& info) {
  GVariantWrapper inInfo = ObjectToGVariant(info);
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_wireless_join_network_sync(proxy, inInfo.GetGVariant(), out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<JoinReturnInfo>(code, out);
}

Result<JoinReturnInfo> MeshGDBusClient::EthernetJoinNetwork(const JoinNetworkInfo& info) {
  GVariantWrapper inInfo = ObjectToGVariant(info);
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_ethernet_join_network_sync(proxy, inInfo.GetGVariant(), out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<JoinReturnInfo>(code, out);
}

ERROR_CODE MeshGDBusClient::NotifyJoinReturnSent() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_notify_join_return_sent_sync(proxy, cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::RebootNode(NodeId nodeId) {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_reboot_node_sync(proxy, nodeId, cancellable, error);
  });
  return code;
}

Result<SystemUtilizationMap> MeshGDBusClient::GetDataSystemUtilization() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_data_system_utilization_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<SystemUtilizationMap>(code, out);
}

Result<DevicesMap> MeshGDBusClient::GetDataDevices() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_data_devices_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<DevicesMap>(code, out);
}

Result<NetworkInfoMap> MeshGDBusClient::GetDataNetworkInfo() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_data_network_info_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<NetworkInfoMap>(code, out);
}

Result<MeshTopologyMap> MeshGDBusClient::GetDataMeshTopology() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_data_mesh_topology_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<MeshTopologyMap>(code, out);
}

Result<NodeIdList> MeshGDBusClient::GetNodeIds() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_node_ids_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<NodeIdList>(code, out);
}

Result<NodeInfoMap> MeshGDBusClient::GetNodeInfos() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_node_infos_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<NodeInfoMap>(code, out);
}

Result<NodeMACInfoMap> MeshGDBusClient::GetRepeaterMacs() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_repeater_macs_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<NodeMACInfoMap>(code, out);
}

Result<RepeaterAccessInfoMap> MeshGDBusClient::GetRepeaterAccessInfos() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_repeater_access_infos_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<RepeaterAccessInfoMap>(code, out);
}

ERROR_CODE MeshGDBusClient::BeforeTopologyChange(const Json::Value& change) {
  GVariantWrapper inChange = BytesToGVariant(change.toStyledString());
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_before_topology_change_sync(proxy, inChange.GetGVariant(), cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::AfterTopologyChange(const Json::Value& change) {
  GVariantWrapper inChange = BytesToGVariant(change.toStyledString());
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_after_topology_change_sync(proxy, inChange.GetGVariant(), cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::IgmpSnoopingPreChange() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_igmp_snooping_pre_change_sync(proxy, cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::IgmpSnoopingPostChange() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_igmp_snooping_post_change_sync(proxy, cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::StartSystemUpdate() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_start_system_update_sync(proxy, cancellable, error);
  });
  return code;
}

Result<SystemUpdateProgress> MeshGDBusClient::GetSystemUpdateProgress() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_system_update_progress_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<SystemUpdateProgress>(code, out);
}

Result<SystemUpdateProgress> MeshGDBusClient::GetSystemUpdateProgressV2() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_system_update_progress_v2_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<SystemUpdateProgress>(code, out);
}

ERROR_CODE MeshGDBusClient::SwitchDebugLogLevel(bool enabled) {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_switch_debug_log_level_sync(proxy, enabled, cancellable, error);
  });
  return code;
}

Result<bool> MeshGDBusClient::GetDebugLogLevel() {
  gboolean out = FALSE;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_debug_log_level_sync(proxy, &out, cancellable, error);
  });
  return {code, code == ERROR_CODE::NONE && out != FALSE};
}

Result<bool> MeshGDBusClient::GetRegionLock() {
  gboolean out = FALSE;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_region_lock_sync(proxy, &out, cancellable, error);
  });
  return {code, code == ERROR_CODE::NONE && out != FALSE};
}

Result<LedBlinkingMap> MeshGDBusClient::GetLedBlinkings(const NodeIdList& nodeIds) {
  GVariantWrapper inNodeIds = ObjectToGVariant(nodeIds);
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_led_blinkings_sync(proxy, inNodeIds.GetGVariant(), out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<LedBlinkingMap>(code, out);
}

Result<LedConfigMap> MeshGDBusClient::GetLedConfigs(const NodeIdList& nodeIds) {
  GVariantWrapper inNodeIds = ObjectToGVariant(nodeIds);
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_led_configs_sync(proxy, inNodeIds.GetGVariant(), out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<LedConfigMap>(code, out);
}

ERROR_CODE MeshGDBusClient::SetLedBlinkings(const LedBlinkingMap& blinkings) {
  GVariantWrapper inBlinkings = ObjectToGVariant(blinkings);
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_set_led_blinkings_sync(proxy, inBlinkings.GetGVariant(), cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::SetLedConfigs(const LedConfigMap& configs) {
  GVariantWrapper inConfigs = ObjectToGVariant(configs);
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_set_led_configs_sync(proxy, inConfigs.GetGVariant(), cancellable, error);
  });
  return code;
}

Result<bool> MeshGDBusClient::GetIeee1905ToBroadcast() {
  gboolean out = FALSE;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_ieee1905_to_broadcast_sync(proxy, &out, cancellable, error);
  });
  return {code, code == ERROR_CODE::NONE && out != FALSE};
}

ERROR_CODE MeshGDBusClient::SetIeee1905ToBroadcast(bool enabled) {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_set_ieee1905_to_broadcast_sync(proxy, enabled, cancellable, error);
  });
  return code;
}

Result<bool> MeshGDBusClient::Get5GBackhaulSwapped() {
  gboolean out = FALSE;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get5_gbackhaul_swapped_sync(proxy, &out, cancellable, error);
  });
  return {code, code == ERROR_CODE::NONE && out != FALSE};
}

ERROR_CODE MeshGDBusClient::Set5GBackhaulSwapped(bool enabled) {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_set5_gbackhaul_swapped_sync(proxy, enabled, cancellable, error);
  });
  return code;
}

Result<NodeCapabilityList> MeshGDBusClient::GetNodeCapabilities() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_node_capabilities_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<NodeCapabilityList>(code, out);
}

ERROR_CODE MeshGDBusClient::PrepareRestore() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_prepare_restore_sync(proxy, cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::TriggerSynchronize() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_trigger_synchronize_sync(proxy, cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::TriggerBackhaulStatusUpdate() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_trigger_backhaul_status_update_sync(proxy, cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::TriggerCustomTopologyScan(const NodeIdList& nodeIds) {
  GVariantWrapper inNodeIds = ObjectToGVariant(nodeIds);
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_trigger_custom_topology_scan_sync(proxy, inNodeIds.GetGVariant(), cancellable, error);
  });
  return code;
}

Result<CustomTopologyScanResultMap> MeshGDBusClient::GetCustomTopologyScanResult() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_get_custom_topology_scan_result_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<CustomTopologyScanResultMap>(code, out);
}

Result<CustomTopologyListMap> MeshGDBusClient::ListCustomTopology() {
  GVariantWrapper out;
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_list_custom_topology_sync(proxy, out.LateInitWithRaw(), cancellable, error);
  });
  return Decoded<CustomTopologyListMap>(code, out);
}

ERROR_CODE MeshGDBusClient::SetCustomTopologyConfig(const CustomTopologySetMap& configs) {
  GVariantWrapper inConfigs = ObjectToGVariant(configs);
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_set_custom_topology_config_sync(proxy, inConfigs.GetGVariant(), cancellable, error);
  });
  return code;
}

ERROR_CODE MeshGDBusClient::UserConfirmWifiAdjust() {
  const ERROR_CODE code = Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
    return orva_mesh_call_user_confirm_wifi_adjust_sync(proxy, cancellable, error);
  });
  return code;
}
MeshGDBusSignalReceiver::MeshGDBusSignalReceiver(const std::string& busName, const std::string& objectPath)
    : GDBusSignalReceiver<OrvaMesh>(busName, objectPath, G_BUS_TYPE_SYSTEM,
                                    &orva_mesh_proxy_new_for_bus_sync) {}

void MeshGDBusSignalReceiver::SetDummyHandler(std::function<void()> handler) {
  dummyHandler_ = std::move(handler);
}

void MeshGDBusSignalReceiver::StartReceiving() {
  GDBusSignalReceiver<OrvaMesh>::StartReceiving({{"DummySignal", [this] {
                                                    if (dummyHandler_) dummyHandler_();
                                                  }}});
}

void MeshGDBusSignalReceiver::StopReceiving() { GDBusSignalReceiver<OrvaMesh>::StopReceiving(); }

}  // namespace ORVA::MESH::SDK::Dbus
