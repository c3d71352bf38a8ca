#pragma once
// The typed client of the mesh daemon's D-Bus interface: one operation per method, named like
// the method, over the generated proxy. Each returns the daemon's answer as a client error
// code (NONE, or the refusal the daemon sent) and, for methods with a result, the decoded
// value, meaningful only with NONE. Faults (no daemon, a broken bus, an undecodable payload)
// are exceptions.
//
// The JSON payloads of the topology-change methods travel as the value's styled text
// (Json::Value::toStyledString), not as an archive.
#include <gio/gio.h>
#include <json/value.h>

#include <functional>
#include <string>

#include "orvamesh/client/error_code.h"
#include "orvamesh/client/mesh_records.h"
#include "orvamesh/dbus/gdbus_client.h"
#include "orvamesh/dbus/mesh_dbus_codegen.h"
#include "orvamesh/dbus/mesh_gdbus_serialize.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Dbus {

// The mesh interface on the system bus.
inline constexpr const char* kMeshBusName = "com.velanto.mesh";
inline constexpr const char* kMeshObjectPath = "/com/velanto/mesh/v1";

class ORVA_EXPORT MeshGDBusClient : public GDBusClient<OrvaMesh> {
 public:
  using ERROR_CODE = Client::ERROR_CODE;
  template <typename T>
  using Result = Client::Result<T>;
  using NodeId = Client::NodeId;

  // Connects to the system bus and registers the mesh error domain (under the object path)
  // once per process. Throws when the bus cannot be reached.
  MeshGDBusClient(const std::string& busName, const std::string& objectPath);

  ERROR_CODE StartScan();
  ERROR_CODE StopScan();
  ERROR_CODE SetNodeName(NodeId nodeId, const std::string& name);
  Result<std::string> GetNodeName(NodeId nodeId);
  Result<Client::ScanResult> GetScanResult();
  Result<Client::MeshSystemStatus> GetMeshSystemStatus();
  ERROR_CODE RemoveNodes(const Client::NodeIdList& nodeIds);
  Result<Client::SetupNodeProgress> GetSetupNodeProgress();
  ERROR_CODE StopSetupNode();
  ERROR_CODE StartSetupNode(const Client::SetupNodeInfo& info);
  ERROR_CODE NoticeWPSResult(const Client::WPSResultInfo& info);
  Result<Client::JoinReturnInfo> WirelessJoinNetwork(const Client::JoinNetworkInfo& info);
  Result<Client::JoinReturnInfo> EthernetJoinNetwork(const Client::JoinNetworkInfo& info);
  ERROR_CODE NotifyJoinReturnSent();
  ERROR_CODE RebootNode(NodeId nodeId);
  Result<Client::SystemUtilizationMap> GetDataSystemUtilization();
  Result<Client::DevicesMap> GetDataDevices();
  Result<Client::NetworkInfoMap> GetDataNetworkInfo();
  Result<Client::MeshTopologyMap> GetDataMeshTopology();
  Result<Client::NodeIdList> GetNodeIds();
  Result<Client::NodeInfoMap> GetNodeInfos();
  Result<Client::NodeMACInfoMap> GetRepeaterMacs();
  Result<Client::RepeaterAccessInfoMap> GetRepeaterAccessInfos();
  ERROR_CODE BeforeTopologyChange(const Json::Value& change);
  ERROR_CODE AfterTopologyChange(const Json::Value& change);
  ERROR_CODE IgmpSnoopingPreChange();
  ERROR_CODE IgmpSnoopingPostChange();
  ERROR_CODE StartSystemUpdate();
  Result<Client::SystemUpdateProgress> GetSystemUpdateProgress();
  Result<Client::SystemUpdateProgress> GetSystemUpdateProgressV2();
  ERROR_CODE SwitchDebugLogLevel(bool enabled);
  Result<bool> GetDebugLogLevel();
  Result<bool> GetRegionLock();
  Result<Client::LedBlinkingMap> GetLedBlinkings(const Client::NodeIdList& nodeIds);
  Result<Client::LedConfigMap> GetLedConfigs(const Client::NodeIdList& nodeIds);
  ERROR_CODE SetLedBlinkings(const Client::LedBlinkingMap& blinkings);
  ERROR_CODE SetLedConfigs(const Client::LedConfigMap& configs);
  Result<bool> GetIeee1905ToBroadcast();
  ERROR_CODE SetIeee1905ToBroadcast(bool enabled);
  Result<bool> Get5GBackhaulSwapped();
  ERROR_CODE Set5GBackhaulSwapped(bool enabled);
  Result<Client::NodeCapabilityList> GetNodeCapabilities();
  ERROR_CODE PrepareRestore();
  ERROR_CODE TriggerSynchronize();
  ERROR_CODE TriggerBackhaulStatusUpdate();
  ERROR_CODE TriggerCustomTopologyScan(const Client::NodeIdList& nodeIds);
  Result<Client::CustomTopologyScanResultMap> GetCustomTopologyScanResult();
  Result<Client::CustomTopologyListMap> ListCustomTopology();
  ERROR_CODE SetCustomTopologyConfig(const Client::CustomTopologySetMap& configs);
  ERROR_CODE UserConfirmWifiAdjust();

  GQuark GetErrorDomain() const noexcept { return quark_; }

 private:
  template <typename Callable>
  ERROR_CODE Call(Callable&& call);

  GQuark quark_ = 0;
};

// Serves "DummySignal" of the mesh interface from a main loop in the caller's thread.
class ORVA_EXPORT MeshGDBusSignalReceiver : public GDBusSignalReceiver<OrvaMesh> {
 public:
  MeshGDBusSignalReceiver(const std::string& busName, const std::string& objectPath);

  void SetDummyHandler(std::function<void()> handler);
  // Blocks until StopReceiving().
  void StartReceiving();
  void StopReceiving();

 private:
  std::function<void()> dummyHandler_;
};

}  // namespace ORVA::MESH::SDK::Dbus
