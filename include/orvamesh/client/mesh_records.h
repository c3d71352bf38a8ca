#pragma once
// The records that cross the mesh D-Bus interface, one definition shared by the daemon and
// every client. Each record lists its fields once, in Fields(); that list is the field order
// of the Boost archive on the bus, of equality and of the JSON object. Changing a list
// (order, type, adding a field) changes the wire format: the daemon and its clients must be
// built from the same header. No class version travels on the bus.
//
// JSON: ToJson() writes every field under the key given in kFieldNames; enumerations as their
// upper-case names, MAC addresses as text, error codes as numbers. FromJson() keeps the default
// of an absent key and throws InvalidArgumentException for a value of the wrong type or an
// unknown name.
#include <json/value.h>

#include <boost/serialization/level.hpp>
#include <boost/serialization/map.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/tracking.hpp>
#include <boost/serialization/vector.hpp>
#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "orvamesh/client/error_code.h"
#include "orvamesh/export.h"
#include "orvamesh/mac.h"
#include "orvamesh/node/led_config.h"

namespace ORVA::MESH::SDK::Client {

using NodeId = uint32_t;

enum class NODE_ROLE : uint8_t { UNKNOWN = 0, CAP = 1, RE = 2 };
// How a node reaches its uplink.
enum class BACKHAUL_TYPE : uint8_t { NONE = 0, ETHERNET = 1, WIFI_2G = 2, WIFI_5G = 3, WIFI_6G = 4 };
enum class SETUP_STAGE : uint8_t {
  IDLE = 0, PREPARING = 1, WPS = 2, JOINING = 3, CONFIGURING = 4, DONE = 5, FAILED = 6
};
enum class UPDATE_STAGE : uint8_t {
  IDLE = 0, CHECKING = 1, DOWNLOADING = 2, UPGRADING = 3, REBOOTING = 4, DONE = 5, FAILED = 6
};

ORVA_EXPORT const char* NodeRoleToString(NODE_ROLE value);
ORVA_EXPORT const char* BackhaulTypeToString(BACKHAUL_TYPE value);
ORVA_EXPORT const char* SetupStageToString(SETUP_STAGE value);
ORVA_EXPORT const char* UpdateStageToString(UPDATE_STAGE value);

namespace Detail {
template <typename Archive, typename Tuple>
void SerializeFields(Archive& archive, Tuple&& fields) {
  std::apply([&archive](auto&... field) { ((archive & field), ...); }, fields);
}
}  // namespace Detail

// The members every record shares; `Record` lists its fields in a static Fields(self).
#define ORVA_MESH_RECORD(Record)                                                   \
  template <typename Archive>                                                      \
  void serialize(Archive& archive, const unsigned int) {                           \
    Detail::SerializeFields(archive, Fields(*this));                               \
  }                                                                                \
  friend bool operator==(const Record& a, const Record& b) {                       \
    return Fields(a) == Fields(b);                                                 \
  }                                                                                \
  friend bool operator!=(const Record& a, const Record& b) { return !(a == b); }   \
  Json::Value ToJson() const;                                                      \
  static Record FromJson(const Json::Value& json)

// A node found by a scan and not yet part of the mesh.
struct ORVA_EXPORT ScanCandidate {
  Mac mac;
  std::string modelUnique;
  std::string serial;
  std::string firmwareVersion;
  BACKHAUL_TYPE link = BACKHAUL_TYPE::NONE;  // how it was found
  int32_t rssi = 0;                          // dBm; 0 for wired candidates
  bool compatible = false;                   // may join this mesh

  static constexpr std::array<const char*, 7> kFieldNames = {
      "mac", "modelUnique", "serial", "firmwareVersion", "link", "rssi", "compatible"};
  template <typename Self>
  static auto Fields(Self& s) {
    return std::tie(s.mac, s.modelUnique, s.serial, s.firmwareVersion, s.link, s.rssi, s.compatible);
  }
  ORVA_MESH_RECORD(ScanCandidate);
};

struct ORVA_EXPORT ScanResult {
  bool inProgress = false;
  std::vector<ScanCandidate> candidates;

  static constexpr std::array<const char*, 2> kFieldNames = {"inProgress", "candidates"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.inProgress, s.candidates); }
  ORVA_MESH_RECORD(ScanResult);
};

struct ORVA_EXPORT MeshSystemStatus {
  bool meshReady = false;
  bool setupInProgress = false;
  bool removalInProgress = false;
  bool scanningInProgress = false;
  bool upgradeInProgress = false;
  uint32_t nodeCount = 0;
  uint32_t onlineCount = 0;

  static constexpr std::array<const char*, 7> kFieldNames = {
      "meshReady", "setupInProgress", "removalInProgress", "scanningInProgress",
      "upgradeInProgress", "nodeCount", "onlineCount"};
  template <typename Self>
  static auto Fields(Self& s) {
    return std::tie(s.meshReady, s.setupInProgress, s.removalInProgress, s.scanningInProgress,
                    s.upgradeInProgress, s.nodeCount, s.onlineCount);
  }
  ORVA_MESH_RECORD(MeshSystemStatus);
};

struct ORVA_EXPORT SetupNodeProgress {
  SETUP_STAGE stage = SETUP_STAGE::IDLE;
  uint8_t percent = 0;
  Mac node;                                   // the node being set up
  NodeId nodeId = 0;                          // 0 until the node has joined
  ERROR_CODE lastError = ERROR_CODE::NONE;

  static constexpr std::array<const char*, 5> kFieldNames = {"stage", "percent", "node", "nodeId",
                                                             "lastError"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.stage, s.percent, s.node, s.nodeId, s.lastError); }
  ORVA_MESH_RECORD(SetupNodeProgress);
};

// Which scanned node to add, and how.
struct ORVA_EXPORT SetupNodeInfo {
  Mac mac;
  std::string serial;
  BACKHAUL_TYPE link = BACKHAUL_TYPE::NONE;
  std::string name;                           // the name the new node gets

  static constexpr std::array<const char*, 4> kFieldNames = {"mac", "serial", "link", "name"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.mac, s.serial, s.link, s.name); }
  ORVA_MESH_RECORD(SetupNodeInfo);
};

struct ORVA_EXPORT WPSResultInfo {
  bool success = false;
  Mac station;                                // the station that completed WPS
  std::string interface;

  static constexpr std::array<const char*, 3> kFieldNames = {"success", "station", "interface"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.success, s.station, s.interface); }
  ORVA_MESH_RECORD(WPSResultInfo);
};

// What a joining node tells the controller about itself.
struct ORVA_EXPORT JoinNetworkInfo {
  Mac mac;
  std::string modelUnique;
  std::string serial;
  std::string firmwareVersion;
  std::string publicKey;

  static constexpr std::array<const char*, 5> kFieldNames = {"mac", "modelUnique", "serial",
                                                             "firmwareVersion", "publicKey"};
  template <typename Self>
  static auto Fields(Self& s) {
    return std::tie(s.mac, s.modelUnique, s.serial, s.firmwareVersion, s.publicKey);
  }
  ORVA_MESH_RECORD(JoinNetworkInfo);
};

// The controller's answer to a joining node.
struct ORVA_EXPORT JoinReturnInfo {
  NodeId nodeId = 0;
  std::string meshId;
  std::string credential;
  std::string controllerAddress;

  static constexpr std::array<const char*, 4> kFieldNames = {"nodeId", "meshId", "credential",
                                                             "controllerAddress"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.nodeId, s.meshId, s.credential, s.controllerAddress); }
  ORVA_MESH_RECORD(JoinReturnInfo);
};

struct ORVA_EXPORT SystemUtilization {
  uint8_t cpuPercent = 0;
  uint64_t memoryTotalKiB = 0;
  uint64_t memoryFreeKiB = 0;
  uint32_t uptimeSeconds = 0;

  static constexpr std::array<const char*, 4> kFieldNames = {"cpuPercent", "memoryTotalKiB",
                                                             "memoryFreeKiB", "uptimeSeconds"};
  template <typename Self>
  static auto Fields(Self& s) {
    return std::tie(s.cpuPercent, s.memoryTotalKiB, s.memoryFreeKiB, s.uptimeSeconds);
  }
  ORVA_MESH_RECORD(SystemUtilization);
};

// A client device attached to a node.
struct ORVA_EXPORT Device {
  Mac mac;
  std::string hostName;
  std::string ipv4;
  std::string interface;
  bool wireless = false;
  int32_t rssi = 0;                           // dBm; 0 for wired devices

  static constexpr std::array<const char*, 6> kFieldNames = {"mac", "hostName", "ipv4",
                                                             "interface", "wireless", "rssi"};
  template <typename Self>
  static auto Fields(Self& s) {
    return std::tie(s.mac, s.hostName, s.ipv4, s.interface, s.wireless, s.rssi);
  }
  ORVA_MESH_RECORD(Device);
};

struct ORVA_EXPORT NetworkInfo {
  std::string ipv4;
  std::string netmask;
  std::string gateway;
  std::vector<std::string> dns;
  std::vector<std::string> ipv6;

  static constexpr std::array<const char*, 5> kFieldNames = {"ipv4", "netmask", "gateway", "dns",
                                                             "ipv6"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.ipv4, s.netmask, s.gateway, s.dns, s.ipv6); }
  ORVA_MESH_RECORD(NetworkInfo);
};

struct ORVA_EXPORT NodeInfo {
  NodeId id = 0;
  std::string name;
  NODE_ROLE role = NODE_ROLE::UNKNOWN;
  std::string modelUnique;
  std::string serial;
  std::string firmwareVersion;
  Mac mac;
  std::vector<std::string> addresses;
  NodeId uplink = 0;                          // 0 for the controller
  BACKHAUL_TYPE backhaul = BACKHAUL_TYPE::NONE;
  int32_t backhaulQuality = 0;                // 0..100
  bool online = false;

  static constexpr std::array<const char*, 12> kFieldNames = {
      "id", "name", "role", "modelUnique", "serial", "firmwareVersion", "mac", "addresses",
      "uplink", "backhaul", "backhaulQuality", "online"};
  template <typename Self>
  static auto Fields(Self& s) {
    return std::tie(s.id, s.name, s.role, s.modelUnique, s.serial, s.firmwareVersion, s.mac,
                    s.addresses, s.uplink, s.backhaul, s.backhaulQuality, s.online);
  }
  ORVA_MESH_RECORD(NodeInfo);
};

// The addresses a repeater uses, all derived from its device address.
struct ORVA_EXPORT NodeMACInfo {
  Mac device;
  Mac backhaul;
  Mac backhaulStation;
  Mac guest;

  static constexpr std::array<const char*, 4> kFieldNames = {"device", "backhaul", "backhaulStation",
                                                             "guest"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.device, s.backhaul, s.backhaulStation, s.guest); }
  ORVA_MESH_RECORD(NodeMACInfo);
};

// How to reach a repeater for remote commands.
struct ORVA_EXPORT RepeaterAccessInfo {
  std::string address;                        // IPv6 link-local
  std::string interface;
  std::string user;
  uint16_t sshPort = 22;

  static constexpr std::array<const char*, 4> kFieldNames = {"address", "interface", "user",
                                                             "sshPort"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.address, s.interface, s.user, s.sshPort); }
  ORVA_MESH_RECORD(RepeaterAccessInfo);
};

struct ORVA_EXPORT NodeCapability {
  NodeId nodeId = 0;
  std::vector<std::string> features;          // e.g. "ledSchedule", "customTopology"

  static constexpr std::array<const char*, 2> kFieldNames = {"nodeId", "features"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.nodeId, s.features); }
  ORVA_MESH_RECORD(NodeCapability);
};

struct ORVA_EXPORT SystemUpdateProgress {
  UPDATE_STAGE stage = UPDATE_STAGE::IDLE;
  uint8_t percent = 0;                        // of the whole mesh
  std::string targetVersion;
  std::map<NodeId, uint8_t> nodePercent;
  ERROR_CODE lastError = ERROR_CODE::NONE;

  static constexpr std::array<const char*, 5> kFieldNames = {"stage", "percent", "targetVersion",
                                                             "nodePercent", "lastError"};
  template <typename Self>
  static auto Fields(Self& s) {
    return std::tie(s.stage, s.percent, s.targetVersion, s.nodePercent, s.lastError);
  }
  ORVA_MESH_RECORD(SystemUpdateProgress);
};

// Uplinks a node could use, found by a custom topology scan.
struct ORVA_EXPORT CustomTopologyScanResultInfo {
  bool done = false;
  std::map<NodeId, int32_t> uplinkQuality;    // candidate uplink -> quality 0..100

  static constexpr std::array<const char*, 2> kFieldNames = {"done", "uplinkQuality"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.done, s.uplinkQuality); }
  ORVA_MESH_RECORD(CustomTopologyScanResultInfo);
};

// A node's current uplink and whether the user chose it.
struct ORVA_EXPORT CustomTopologyListInfo {
  NodeId uplink = 0;
  BACKHAUL_TYPE backhaul = BACKHAUL_TYPE::NONE;
  bool custom = false;

  static constexpr std::array<const char*, 3> kFieldNames = {"uplink", "backhaul", "custom"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.uplink, s.backhaul, s.custom); }
  ORVA_MESH_RECORD(CustomTopologyListInfo);
};

// The uplink the user chooses for a node.
struct ORVA_EXPORT CustomTopologySetInfo {
  NodeId uplink = 0;
  BACKHAUL_TYPE backhaul = BACKHAUL_TYPE::NONE;

  static constexpr std::array<const char*, 2> kFieldNames = {"uplink", "backhaul"};
  template <typename Self>
  static auto Fields(Self& s) { return std::tie(s.uplink, s.backhaul); }
  ORVA_MESH_RECORD(CustomTopologySetInfo);
};

#undef ORVA_MESH_RECORD

// The payloads of the operations, named once for the client, the transport and the daemon.
using NodeIdList = std::vector<NodeId>;
using SystemUtilizationMap = std::map<std::string, SystemUtilization>;
using DevicesMap = std::map<std::string, std::vector<Device>>;
using NetworkInfoMap = std::map<std::string, NetworkInfo>;
using MeshTopologyMap = std::map<std::string, std::map<Mac, Mac>>;
using NodeInfoMap = std::map<NodeId, NodeInfo>;
using NodeMACInfoMap = std::map<NodeId, NodeMACInfo>;
using RepeaterAccessInfoMap = std::map<NodeId, RepeaterAccessInfo>;
using LedBlinkingMap = std::map<NodeId, bool>;
using LedConfigMap = std::map<NodeId, LedConfig>;
using NodeCapabilityList = std::vector<NodeCapability>;
using CustomTopologyScanResultMap = std::map<NodeId, CustomTopologyScanResultInfo>;
using CustomTopologyListMap = std::map<NodeId, CustomTopologyListInfo>;
using CustomTopologySetMap = std::map<NodeId, CustomTopologySetInfo>;

// An operation's code and its value; the value is meaningful only with ERROR_CODE::NONE.
template <typename T>
using Result = std::pair<ERROR_CODE, T>;

}  // namespace ORVA::MESH::SDK::Client

// LedConfig belongs to the LED settings and carries no archive member of its own; on the bus
// its fields travel in declaration order: blinking, mode (32-bit), schedule.
namespace boost::serialization {
template <typename Archive>
void serialize(Archive& archive, ::ORVA::MESH::SDK::LedConfig& config, const unsigned int) {
  archive & config.blinking;
  archive & config.mode;
  archive & config.schedule;
}
}  // namespace boost::serialization

// Plain field data: no class version or object tracking in the archive.
#define ORVA_MESH_RECORD_TRAITS(Record)                                                     \
  BOOST_CLASS_IMPLEMENTATION(::ORVA::MESH::SDK::Client::Record, boost::serialization::object_serializable) \
  BOOST_CLASS_TRACKING(::ORVA::MESH::SDK::Client::Record, boost::serialization::track_never)
ORVA_MESH_RECORD_TRAITS(ScanCandidate)
ORVA_MESH_RECORD_TRAITS(ScanResult)
ORVA_MESH_RECORD_TRAITS(MeshSystemStatus)
ORVA_MESH_RECORD_TRAITS(SetupNodeProgress)
ORVA_MESH_RECORD_TRAITS(SetupNodeInfo)
ORVA_MESH_RECORD_TRAITS(WPSResultInfo)
ORVA_MESH_RECORD_TRAITS(JoinNetworkInfo)
ORVA_MESH_RECORD_TRAITS(JoinReturnInfo)
ORVA_MESH_RECORD_TRAITS(SystemUtilization)
ORVA_MESH_RECORD_TRAITS(Device)
ORVA_MESH_RECORD_TRAITS(NetworkInfo)
ORVA_MESH_RECORD_TRAITS(NodeInfo)
ORVA_MESH_RECORD_TRAITS(NodeMACInfo)
ORVA_MESH_RECORD_TRAITS(RepeaterAccessInfo)
ORVA_MESH_RECORD_TRAITS(NodeCapability)
ORVA_MESH_RECORD_TRAITS(SystemUpdateProgress)
ORVA_MESH_RECORD_TRAITS(CustomTopologyScanResultInfo)
ORVA_MESH_RECORD_TRAITS(CustomTopologyListInfo)
ORVA_MESH_RECORD_TRAITS(CustomTopologySetInfo)
ORVA_MESH_RECORD_TRAITS(LedConfig)
#undef ORVA_MESH_RECORD_TRAITS

// The entries of the record maps are plain pairs too: without this every entry would go
// through the archive's class registry on its way in, which dominated decoding a node list.
#define ORVA_MESH_ENTRY_TRAITS(Map)                                                               \
  BOOST_CLASS_IMPLEMENTATION(::ORVA::MESH::SDK::Client::Map::value_type, boost::serialization::object_serializable) \
  BOOST_CLASS_TRACKING(::ORVA::MESH::SDK::Client::Map::value_type, boost::serialization::track_never)
ORVA_MESH_ENTRY_TRAITS(SystemUtilizationMap)
ORVA_MESH_ENTRY_TRAITS(NetworkInfoMap)
ORVA_MESH_ENTRY_TRAITS(NodeInfoMap)
ORVA_MESH_ENTRY_TRAITS(NodeMACInfoMap)
ORVA_MESH_ENTRY_TRAITS(RepeaterAccessInfoMap)
ORVA_MESH_ENTRY_TRAITS(LedConfigMap)
ORVA_MESH_ENTRY_TRAITS(CustomTopologyScanResultMap)
ORVA_MESH_ENTRY_TRAITS(CustomTopologyListMap)
ORVA_MESH_ENTRY_TRAITS(CustomTopologySetMap)
#undef ORVA_MESH_ENTRY_TRAITS

