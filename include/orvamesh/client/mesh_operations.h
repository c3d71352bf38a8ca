#pragma once
// Every operation of the mesh client, in one list that the client, its D-Bus transport and the
// tools all expand, so that an operation cannot be added to one of them and forgotten in another.
// The order is the order of MeshClient's virtual operations, which is part of the ABI: append
// new operations at the end.
//
//   REMOTE(Return, Operation, (Parameters), (Arguments), DBusMethod, proxy_call)
//     an operation that calls the daemon's D-Bus method DBusMethod through the generated
//     orva_mesh_call_<proxy_call>_sync;
//   LOCAL(Return, Operation, (Parameters), (Arguments))
//     an operation the library answers without calling the daemon.
//
// Types are spelled with their namespace (Client::), as the list is expanded in several.
#include <json/value.h>

#include <string>

#include "orvamesh/client/error_code.h"
#include "orvamesh/client/mesh_records.h"

// clang-format off
#define ORVA_MESH_CLIENT_OPERATIONS(REMOTE, LOCAL) \
  REMOTE(Client::ERROR_CODE, StartScan, (), (), StartScan, start_scan) \
  REMOTE(Client::ERROR_CODE, StopScan, (), (), StopScan, stop_scan) \
  REMOTE(Client::Result<std::string>, GetNodeName, (Client::NodeId nodeId), (nodeId), GetNodeName, get_node_name) \
  REMOTE(Client::ERROR_CODE, SetNodeName, (Client::NodeId nodeId, const std::string& name), (nodeId, name), SetNodeName, set_node_name) \
  REMOTE(Client::Result<Client::ScanResult>, GetScanResult, (), (), GetScanResult, get_scan_result) \
  REMOTE(Client::Result<Client::MeshSystemStatus>, GetMeshSystemStatus, (), (), GetMeshSystemStatus, get_mesh_system_status) \
  REMOTE(Client::ERROR_CODE, RemoveNodes, (const Client::NodeIdList& nodeIds), (nodeIds), RemoveNodes, remove_nodes) \
  REMOTE(Client::Result<Client::SetupNodeProgress>, GetSetupNodeProgress, (), (), GetSetupNodeProgress, get_setup_node_progress) \
  REMOTE(Client::ERROR_CODE, StopSetupNode, (), (), StopSetupNode, stop_setup_node) \
  REMOTE(Client::ERROR_CODE, StartSetupNode, (const Client::SetupNodeInfo& info), (info), StartSetupNode, start_setup_node) \
  REMOTE(Client::ERROR_CODE, NoticeWPSResult, (const Client::WPSResultInfo& info), (info), NoticeWPSResult, notice_wpsresult) \
  REMOTE(Client::Result<Client::JoinReturnInfo>, WirelessJoinNetwork, (const Client::JoinNetworkInfo& info), (info), WirelessJoinNetwork, wireless_join_network) \
  REMOTE(Client::Result<Client::JoinReturnInfo>, EthernetJoinNetwork, (const Client::JoinNetworkInfo& info), (info), EthernetJoinNetwork, ethernet_join_network) \
  REMOTE(Client::ERROR_CODE, NotifyJoinReturnInfoSent, (), (), NotifyJoinReturnSent, notify_join_return_sent) \
  REMOTE(Client::ERROR_CODE, RebootNode, (Client::NodeId nodeId), (nodeId), RebootNode, reboot_node) \
  REMOTE(Client::Result<Client::SystemUtilizationMap>, GetDataSystemUtilization, (), (), GetDataSystemUtilization, get_data_system_utilization) \
  REMOTE(Client::Result<Client::DevicesMap>, GetDataDevices, (), (), GetDataDevices, get_data_devices) \
  REMOTE(Client::Result<Client::NetworkInfoMap>, GetDataNetworkInfo, (), (), GetDataNetworkInfo, get_data_network_info) \
  REMOTE(Client::Result<Client::MeshTopologyMap>, GetDataMeshTopology, (), (), GetDataMeshTopology, get_data_mesh_topology) \
  REMOTE(Client::Result<Client::NodeIdList>, GetNodeIds, (), (), GetNodeIds, get_node_ids) \
  REMOTE(Client::Result<Client::NodeInfoMap>, GetNodeInfos, (), (), GetNodeInfos, get_node_infos) \
  REMOTE(Client::Result<Client::NodeMACInfoMap>, GetRepeaterMacs, (), (), GetRepeaterMacs, get_repeater_macs) \
  REMOTE(Client::Result<Client::RepeaterAccessInfoMap>, GetRepeaterAccessInfos, (), (), GetRepeaterAccessInfos, get_repeater_access_infos) \
  REMOTE(Client::ERROR_CODE, SwitchDebugLogLevel, (bool enabled), (enabled), SwitchDebugLogLevel, switch_debug_log_level) \
  REMOTE(Client::Result<bool>, GetDebugLogLevel, (), (), GetDebugLogLevel, get_debug_log_level) \
  REMOTE(Client::Result<bool>, GetRegionLock, (), (), GetRegionLock, get_region_lock) \
  REMOTE(Client::Result<Client::LedBlinkingMap>, GetLedBlinkings, (const Client::NodeIdList& nodeIds), (nodeIds), GetLedBlinkings, get_led_blinkings) \
  REMOTE(Client::Result<Client::LedConfigMap>, GetLedConfigs, (const Client::NodeIdList& nodeIds), (nodeIds), GetLedConfigs, get_led_configs) \
  REMOTE(Client::ERROR_CODE, SetLedBlinkings, (const Client::LedBlinkingMap& blinkings), (blinkings), SetLedBlinkings, set_led_blinkings) \
  REMOTE(Client::ERROR_CODE, SetLedConfigs, (const Client::LedConfigMap& configs), (configs), SetLedConfigs, set_led_configs) \
  REMOTE(Client::Result<bool>, GetIeee1905ToBroadcast, (), (), GetIeee1905ToBroadcast, get_ieee1905_to_broadcast) \
  REMOTE(Client::ERROR_CODE, SetIeee1905ToBroadcast, (bool enabled), (enabled), SetIeee1905ToBroadcast, set_ieee1905_to_broadcast) \
  REMOTE(Client::Result<bool>, Get5GBackhaulSwapped, (), (), Get5GBackhaulSwapped, get5_gbackhaul_swapped) \
  REMOTE(Client::ERROR_CODE, Set5GBackhaulSwapped, (bool enabled), (enabled), Set5GBackhaulSwapped, set5_gbackhaul_swapped) \
  LOCAL(Client::Result<bool>, GetHyfiMitigationEnabled, (), ()) \
  LOCAL(Client::ERROR_CODE, SetHyfiMitigationEnabled, (bool enabled), (enabled)) \
  REMOTE(Client::Result<Client::NodeCapabilityList>, GetNodeCapabilities, (), (), GetNodeCapabilities, get_node_capabilities) \
  REMOTE(Client::ERROR_CODE, PrepareRestore, (), (), PrepareRestore, prepare_restore) \
  REMOTE(Client::ERROR_CODE, TriggerSynchronize, (), (), TriggerSynchronize, trigger_synchronize) \
  REMOTE(Client::ERROR_CODE, UserConfirmWifiAdjust, (), (), UserConfirmWifiAdjust, user_confirm_wifi_adjust) \
  REMOTE(Client::ERROR_CODE, BeforeTopologyChange, (const Json::Value& change), (change), BeforeTopologyChange, before_topology_change) \
  REMOTE(Client::ERROR_CODE, AfterTopologyChange, (const Json::Value& change), (change), AfterTopologyChange, after_topology_change) \
  REMOTE(Client::ERROR_CODE, IgmpSnoopingPreChange, (), (), IgmpSnoopingPreChange, igmp_snooping_pre_change) \
  REMOTE(Client::ERROR_CODE, IgmpSnoopingPostChange, (), (), IgmpSnoopingPostChange, igmp_snooping_post_change) \
  REMOTE(Client::ERROR_CODE, StartSystemUpdate, (), (), StartSystemUpdate, start_system_update) \
  REMOTE(Client::Result<Client::SystemUpdateProgress>, GetSystemUpdateProgress, (), (), GetSystemUpdateProgress, get_system_update_progress) \
  REMOTE(Client::Result<Client::SystemUpdateProgress>, GetSystemUpdateProgressV2, (), (), GetSystemUpdateProgressV2, get_system_update_progress_v2) \
  REMOTE(Client::ERROR_CODE, TriggerBackhaulStatusUpdate, (), (), TriggerBackhaulStatusUpdate, trigger_backhaul_status_update) \
  REMOTE(Client::ERROR_CODE, TriggerCustomTopologyScan, (const Client::NodeIdList& nodeIds), (nodeIds), TriggerCustomTopologyScan, trigger_custom_topology_scan) \
  REMOTE(Client::Result<Client::CustomTopologyScanResultMap>, GetCustomTopologyScanResult, (), (), GetCustomTopologyScanResult, get_custom_topology_scan_result) \
  REMOTE(Client::Result<Client::CustomTopologyListMap>, ListCustomTopology, (), (), ListCustomTopology, list_custom_topology) \
  REMOTE(Client::ERROR_CODE, SetCustomTopologyConfig, (const Client::CustomTopologySetMap& configs), (configs), SetCustomTopologyConfig, set_custom_topology_config)
// clang-format on

// Only the operations that call the daemon: one per D-Bus method of the interface.
#define ORVA_MESH_DBUS_METHODS(REMOTE) ORVA_MESH_CLIENT_OPERATIONS(REMOTE, ORVA_MESH_NO_OPERATION)
#define ORVA_MESH_NO_OPERATION(...)
