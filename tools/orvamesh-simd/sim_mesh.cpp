#include "sim_mesh.h"

#include "orvamesh/client/local_utilization.h"

#include "orvamesh/scan/topology_builder.h"

#include <json/reader.h>

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>

namespace orvasim {

using ORVA::MESH::SDK::LedConfig;
using ORVA::MESH::SDK::LED_MODE;
using ORVA::MESH::SDK::Mac;
using Client::BACKHAUL_TYPE;
using Client::NODE_ROLE;
using Client::SETUP_STAGE;
using Client::UPDATE_STAGE;

namespace {

std::runtime_error Invalid(const std::string& where, const std::string& what) {
  return std::runtime_error(where + ": " + what);
}

// Runs a record's FromJson and names the place of a failure.
template <typename R>
R Read(const Json::Value& json, const std::string& where) {
  try {
    return R::FromJson(json);
  } catch (const std::exception& e) {
    throw Invalid(where, e.what());
  }
}

bool ReadBool(const Json::Value& root, const char* key, bool fallback) {
  if (!root.isMember(key)) return fallback;
  if (!root[key].isBool()) throw Invalid(key, "expected true or false");
  return root[key].asBool();
}

std::string ReadString(const Json::Value& root, const char* key, const std::string& fallback) {
  if (!root.isMember(key)) return fallback;
  if (!root[key].isString()) throw Invalid(key, "expected a string");
  return root[key].asString();
}

SimNode ReadNode(const Json::Value& json, const std::string& where) {
  SimNode node;
  // The node's own record, without the simulator's keys beside it; any other key is refused.
  Json::Value info = json;
  for (const char* extra : {"led", "features", "devices", "network", "utilization"}) info.removeMember(extra);
  node.info = Read<Client::NodeInfo>(info, where);
  if (json.isMember("led") && node.led.Deserialize(json["led"]) != 0) {
    throw Invalid(where, "invalid \"led\" (needs \"mode\" 0..2 and a schedule of 0 or 168 characters)");
  }
  node.blinking = ReadBool(json, "blinking", false);
  if (json.isMember("features")) {
    if (!json["features"].isArray()) throw Invalid(where, "\"features\" is not an array");
    for (const auto& feature : json["features"]) {
      if (!feature.isString()) throw Invalid(where, "\"features\" holds a non-string");
      node.features.push_back(feature.asString());
    }
  }
  if (json.isMember("devices")) {
    if (!json["devices"].isArray()) throw Invalid(where, "\"devices\" is not an array");
    for (const auto& device : json["devices"]) {
      node.devices.push_back(Read<Client::Device>(device, where + " device"));
    }
  }
  if (json.isMember("network")) node.network = Read<Client::NetworkInfo>(json["network"], where + " network");
  if (json.isMember("utilization")) {
    node.utilization = Read<Client::SystemUtilization>(json["utilization"], where + " utilization");
  }
  return node;
}

// The derived address, or the device address where the OUI has no image.
Mac Derived(const Mac& device, const std::map<std::string, std::string>& mapping,
            int (*convert)(const Mac&, Mac&)) {
  std::string oui;
  Mac out;
  if (Mac::ExtractOUI(device, oui) == 0 && mapping.count(oui) != 0 && convert(device, out) == 0) return out;
  return device;
}

}  // namespace

SimMesh::SimMesh(const Json::Value& root, std::chrono::milliseconds updateStep) : updateStep_(updateStep) {
  if (!root.isObject()) throw Invalid("mesh file", "the top level is not a JSON object");
  meshId_ = ReadString(root, "meshId", "orvamesh-sim");
  availableVersion_ = ReadString(root, "availableVersion", "");
  debugLogLevel = ReadBool(root, "debugLogLevel", false);
  regionLock = ReadBool(root, "regionLock", false);
  ieee1905ToBroadcast = ReadBool(root, "ieee1905ToBroadcast", false);
  backhaul5GSwapped = ReadBool(root, "backhaul5GSwapped", false);

  const Json::Value& nodes = root["nodes"];
  if (!nodes.isArray() || nodes.empty()) throw Invalid("nodes", "needs an array of at least one node");
  std::set<NodeId> ids;
  std::set<Mac> macs;
  for (Json::ArrayIndex i = 0; i < nodes.size(); ++i) {
    const std::string where = "nodes[" + std::to_string(i) + "]";
    SimNode node = ReadNode(nodes[i], where);
    if (node.info.id == 0) throw Invalid(where, "\"id\" must be a number above 0");
    if (!ids.insert(node.info.id).second) throw Invalid(where, "duplicate id " + std::to_string(node.info.id));
    if (!node.info.mac.IsValid()) throw Invalid(where, "\"mac\" is no MAC address");
    if (!macs.insert(node.info.mac).second) throw Invalid(where, "duplicate mac " + node.info.mac.ToString());
    nodes_.push_back(std::move(node));
  }
  const auto controllers = std::count_if(nodes_.begin(), nodes_.end(),
                                         [](const SimNode& n) { return n.info.role == NODE_ROLE::CAP; });
  if (controllers != 1) throw Invalid("nodes", "exactly one node needs \"role\": \"CAP\"");
  for (const SimNode& node : nodes_) {
    const std::string where = "node " + std::to_string(node.info.id);
    if (node.info.role == NODE_ROLE::CAP) {
      if (node.info.uplink != 0) throw Invalid(where, "the controller has no uplink (0)");
      continue;
    }
    // Every repeater reaches the controller through existing nodes, without loops.
    if (!ReachesController(node.info.id)) throw Invalid(where, "\"uplink\" does not lead to the controller");
  }
  if (root.isMember("neighbours")) {
    if (!root["neighbours"].isArray()) throw Invalid("neighbours", "not an array");
    for (Json::ArrayIndex i = 0; i < root["neighbours"].size(); ++i) {
      const std::string where = "neighbours[" + std::to_string(i) + "]";
      auto candidate = Read<Client::ScanCandidate>(root["neighbours"][i], where);
      if (!candidate.mac.IsValid()) throw Invalid(where, "\"mac\" is no MAC address");
      neighbours_.push_back(std::move(candidate));
    }
  }
}

bool SimMesh::TakeChanged() {
  const bool changed = changed_;
  changed_ = false;
  return changed;
}

ERROR_CODE SimMesh::BusyCode() const {
  switch (work_) {
    case Work::kScan:
    case Work::kTopologyScan: return ERROR_CODE::SCANNING_IN_PROGRESS;
    case Work::kSetup: return ERROR_CODE::SETUP_IN_PROGRESS;
    case Work::kRemoval: return ERROR_CODE::REMOVAL_IN_PROGRESS;
    case Work::kUpdate: return ERROR_CODE::UPGRADE_IN_PROGRESS;
    case Work::kNone: break;
  }
  return ERROR_CODE::NONE;
}

SimNode* SimMesh::Find(NodeId id) {
  for (auto& node : nodes_) {
    if (node.info.id == id) return &node;
  }
  return nullptr;
}

const SimNode* SimMesh::Find(NodeId id) const { return const_cast<SimMesh*>(this)->Find(id); }

const SimNode* SimMesh::FindByMac(const Mac& mac) const {
  for (const auto& node : nodes_) {
    if (node.info.mac == mac) return &node;
  }
  return nullptr;
}

bool SimMesh::AllExist(const Client::NodeIdList& ids) const {
  return std::all_of(ids.begin(), ids.end(), [this](NodeId id) { return Find(id) != nullptr; });
}

NodeId SimMesh::ControllerId() const {
  for (const auto& node : nodes_) {
    if (node.info.role == NODE_ROLE::CAP) return node.info.id;
  }
  return 0;
}

NodeId SimMesh::NextId() const {
  NodeId top = 0;
  for (const auto& node : nodes_) top = std::max(top, node.info.id);
  return top + 1;
}

bool SimMesh::ReachesController(NodeId id) const { return InSubtree(id, ControllerId()); }

bool SimMesh::InSubtree(NodeId candidate, NodeId id) const {
  for (size_t steps = 0; steps <= nodes_.size(); ++steps) {
    if (candidate == id) return true;
    const SimNode* node = Find(candidate);
    if (node == nullptr || node->info.uplink == 0) return false;
    candidate = node->info.uplink;
  }
  return false;
}

void SimMesh::Tick() {
  ++ticks_;
  switch (work_) {
    case Work::kNone: return;
    case Work::kScan:
      // One neighbour shows up per step; the scan ends one step after the last.
      if (scanFound_ < neighbours_.size()) {
        ++scanFound_;
        changed_ = true;
      } else {
        scanInProgress_ = false;
        work_ = Work::kNone;
        changed_ = true;
      }
      return;
    case Work::kSetup: {
      setup_.percent = static_cast<uint8_t>(std::min(100, ticks_ * 100 / kSetupTicks));
      setup_.stage = setup_.percent < 20   ? SETUP_STAGE::PREPARING
                     : setup_.percent < 40 ? SETUP_STAGE::WPS
                     : setup_.percent < 70 ? SETUP_STAGE::JOINING
                     : setup_.percent < 100 ? SETUP_STAGE::CONFIGURING
                                            : SETUP_STAGE::DONE;
      if (setup_.stage == SETUP_STAGE::DONE) FinishSetup();
      return;
    }
    case Work::kRemoval:
      if (ticks_ >= kRemovalTicks) FinishRemoval();
      return;
    case Work::kUpdate:
      TickUpdate();
      return;
    case Work::kTopologyScan:
      if (ticks_ >= kTopologyScanTicks) FinishTopologyScan();
      return;
  }
}

ERROR_CODE SimMesh::StartScan() {
  if (Busy()) return BusyCode();
  work_ = Work::kScan;
  ticks_ = 0;
  scanFound_ = 0;
  scanInProgress_ = true;
  changed_ = true;
  return ERROR_CODE::NONE;
}

ERROR_CODE SimMesh::StopScan() {
  if (work_ == Work::kScan) {
    work_ = Work::kNone;
    scanInProgress_ = false;
    changed_ = true;
  }
  return ERROR_CODE::NONE;
}

Result<std::string> SimMesh::GetNodeName(NodeId id) const {
  const SimNode* node = Find(id);
  if (node == nullptr) return {ERROR_CODE::NODE_NOT_EXIST, {}};
  return {ERROR_CODE::NONE, node->info.name};
}

ERROR_CODE SimMesh::SetNodeName(NodeId id, const std::string& name) {
  SimNode* node = Find(id);
  if (node == nullptr) return ERROR_CODE::NODE_NOT_EXIST;
  if (node->info.name != name) changed_ = true;
  node->info.name = name;
  return ERROR_CODE::NONE;
}

Client::ScanResult SimMesh::GetScanResult() const {
  Client::ScanResult result;
  result.inProgress = scanInProgress_;
  result.candidates.assign(neighbours_.begin(), neighbours_.begin() + std::min(scanFound_, neighbours_.size()));
  return result;
}

Client::MeshSystemStatus SimMesh::GetMeshSystemStatus() const {
  Client::MeshSystemStatus status;
  status.meshReady = true;
  status.setupInProgress = work_ == Work::kSetup;
  status.removalInProgress = work_ == Work::kRemoval;
  status.scanningInProgress = work_ == Work::kScan || work_ == Work::kTopologyScan;
  status.upgradeInProgress = work_ == Work::kUpdate;
  status.nodeCount = static_cast<uint32_t>(nodes_.size());
  status.onlineCount = static_cast<uint32_t>(
      std::count_if(nodes_.begin(), nodes_.end(), [](const SimNode& n) { return n.info.online; }));
  return status;
}

ERROR_CODE SimMesh::RemoveNodes(const Client::NodeIdList& ids) {
  if (Busy()) return BusyCode();
  if (!AllExist(ids)) return ERROR_CODE::NODE_NOT_EXIST;
  if (std::find(ids.begin(), ids.end(), ControllerId()) != ids.end()) return ERROR_CODE::SERVER_INTERNAL_ERROR;
  if (ids.empty()) return ERROR_CODE::NONE;
  removing_ = ids;
  work_ = Work::kRemoval;
  ticks_ = 0;
  changed_ = true;
  return ERROR_CODE::NONE;
}

void SimMesh::FinishRemoval() {
  const NodeId controller = ControllerId();
  for (NodeId id : removing_) {
    nodes_.erase(std::remove_if(nodes_.begin(), nodes_.end(), [id](const SimNode& n) { return n.info.id == id; }),
                 nodes_.end());
  }
  // Nodes that hung below a removed one fall back to the controller.
  for (auto& node : nodes_) {
    if (node.info.uplink != 0 && Find(node.info.uplink) == nullptr) {
      node.info.uplink = controller;
      node.customUplink = false;
    }
  }
  removing_.clear();
  work_ = Work::kNone;
  changed_ = true;
}

ERROR_CODE SimMesh::StopSetupNode() {
  if (work_ == Work::kSetup) {
    work_ = Work::kNone;
    setup_ = Client::SetupNodeProgress{};
    changed_ = true;
  }
  return ERROR_CODE::NONE;
}

ERROR_CODE SimMesh::StartSetupNode(const Client::SetupNodeInfo& info) {
  if (Busy()) return BusyCode();
  if (FindByMac(info.mac) != nullptr) return ERROR_CODE::NODE_ALREADY_EXIST;
  auto candidate = std::find_if(neighbours_.begin(), neighbours_.end(),
                                [&](const Client::ScanCandidate& c) { return c.mac == info.mac; });
  if (candidate == neighbours_.end()) return ERROR_CODE::NODE_NOT_EXIST;
  if (!candidate->compatible) return ERROR_CODE::SETUP_REJECT_PLATFORM_INCOMPATIBLE;
  setupRequest_ = info;
  setup_ = Client::SetupNodeProgress{};
  setup_.stage = SETUP_STAGE::PREPARING;
  setup_.node = info.mac;
  work_ = Work::kSetup;
  ticks_ = 0;
  changed_ = true;
  return ERROR_CODE::NONE;
}

void SimMesh::FinishSetup() {
  auto candidate = std::find_if(neighbours_.begin(), neighbours_.end(),
                                [&](const Client::ScanCandidate& c) { return c.mac == setupRequest_.mac; });
  SimNode node;
  node.info.id = NextId();
  node.info.name = setupRequest_.name.empty() ? "Node " + std::to_string(node.info.id) : setupRequest_.name;
  node.info.role = NODE_ROLE::RE;
  node.info.mac = setupRequest_.mac;
  node.info.serial = setupRequest_.serial;
  node.info.uplink = ControllerId();
  node.info.backhaul = setupRequest_.link;
  node.info.backhaulQuality = 80;
  node.info.online = true;
  if (candidate != neighbours_.end()) {
    node.info.modelUnique = candidate->modelUnique;
    if (node.info.serial.empty()) node.info.serial = candidate->serial;
    node.info.firmwareVersion = candidate->firmwareVersion;
    if (node.info.backhaul == BACKHAUL_TYPE::NONE) node.info.backhaul = candidate->link;
    const size_t index = static_cast<size_t>(candidate - neighbours_.begin());
    neighbours_.erase(candidate);
    if (index < scanFound_) --scanFound_;
  }
  if (const SimNode* controller = Find(ControllerId())) node.features = controller->features;
  setup_.nodeId = node.info.id;
  nodes_.push_back(std::move(node));
  work_ = Work::kNone;
  changed_ = true;
}

ERROR_CODE SimMesh::NoticeWPSResult(const Client::WPSResultInfo&) { return ERROR_CODE::NONE; }

Result<Client::JoinReturnInfo> SimMesh::JoinNetwork(const Client::JoinNetworkInfo& info) const {
  if (Busy()) return {BusyCode(), {}};
  if (FindByMac(info.mac) != nullptr) return {ERROR_CODE::NODE_ALREADY_EXIST, {}};
  Client::JoinReturnInfo answer;
  answer.nodeId = NextId();
  answer.meshId = meshId_;
  answer.credential = "sim-" + (info.serial.empty() ? info.mac.ToString() : info.serial);
  const SimNode* controller = Find(ControllerId());
  if (controller != nullptr && !controller->info.addresses.empty()) {
    answer.controllerAddress = controller->info.addresses.front();
  }
  return {ERROR_CODE::NONE, answer};
}

ERROR_CODE SimMesh::RebootNode(NodeId id) const {
  return Find(id) == nullptr ? ERROR_CODE::NODE_NOT_EXIST : ERROR_CODE::NONE;
}

Client::SystemUtilizationMap SimMesh::GetDataSystemUtilization() const {
  Client::SystemUtilizationMap out;
  for (const auto& node : nodes_) out[node.info.mac.ToString()] = node.utilization;
  ORVA::MESH::SDK::Utils::SystemLoad load;
  const SimNode* controller = Find(ControllerId());
  if (controller != nullptr && sampler_.Sample(load) == 0) {
    out[controller->info.mac.ToString()] = Client::ToSystemUtilization(load);
  }
  return out;
}

Client::DevicesMap SimMesh::GetDataDevices() const {
  Client::DevicesMap out;
  for (const auto& node : nodes_) out[node.info.mac.ToString()] = node.devices;
  return out;
}

Client::NetworkInfoMap SimMesh::GetDataNetworkInfo() const {
  Client::NetworkInfoMap out;
  for (const auto& node : nodes_) out[node.info.mac.ToString()] = node.network;
  return out;
}

// The map a daemon carries: the library's topology tree of the nodes' uplinks.
Client::MeshTopologyMap SimMesh::GetDataMeshTopology() const {
  return ORVA::MESH::SDK::Scan::TopologyBuilder::Build(ORVA::MESH::SDK::Scan::ScanResult::FromNodeInfos(GetNodeInfos()))
      .ToMeshTopologyMap();
}

Client::NodeIdList SimMesh::GetNodeIds() const {
  Client::NodeIdList ids;
  for (const auto& node : nodes_) ids.push_back(node.info.id);
  std::sort(ids.begin(), ids.end());
  return ids;
}

Client::NodeInfoMap SimMesh::GetNodeInfos() const {
  Client::NodeInfoMap out;
  for (const auto& node : nodes_) out[node.info.id] = node.info;
  return out;
}

Client::NodeMACInfoMap SimMesh::GetRepeaterMacs() const {
  Client::NodeMACInfoMap out;
  for (const auto& node : nodes_) {
    if (node.info.role != NODE_ROLE::RE) continue;
    Client::NodeMACInfo macs;
    macs.device = node.info.mac;
    macs.backhaul = Derived(node.info.mac, Mac::GetOrvaBackhaulPrefixMapping(), &Mac::ConvertToOrvaBackhaulPrefix);
    macs.backhaulStation =
        Derived(node.info.mac, Mac::GetOrvaBackhaulSTAPrefixMapping(), &Mac::ConvertToOrvaBackhaulSTAPrefix);
    macs.guest = Derived(node.info.mac, Mac::GetOrvaGuestPrefixMapping(), &Mac::ConvertToOrvaGuestPrefix);
    out[node.info.id] = macs;
  }
  return out;
}

Client::RepeaterAccessInfoMap SimMesh::GetRepeaterAccessInfos() const {
  Client::RepeaterAccessInfoMap out;
  for (const auto& node : nodes_) {
    if (node.info.role != NODE_ROLE::RE) continue;
    Client::RepeaterAccessInfo access;
    for (const auto& address : node.info.addresses) {
      if (address.rfind("fe80:", 0) == 0) {
        access.address = address;
        break;
      }
    }
    access.interface = "br-lan";
    access.user = "root";
    out[node.info.id] = access;
  }
  return out;
}

Result<Client::LedBlinkingMap> SimMesh::GetLedBlinkings(const Client::NodeIdList& ids) const {
  if (!AllExist(ids)) return {ERROR_CODE::NODE_NOT_EXIST, {}};
  Client::LedBlinkingMap out;
  for (const auto& node : nodes_) {
    if (ids.empty() || std::find(ids.begin(), ids.end(), node.info.id) != ids.end()) {
      out[node.info.id] = node.blinking;
    }
  }
  return {ERROR_CODE::NONE, out};
}

Result<Client::LedConfigMap> SimMesh::GetLedConfigs(const Client::NodeIdList& ids) const {
  if (!AllExist(ids)) return {ERROR_CODE::NODE_NOT_EXIST, {}};
  Client::LedConfigMap out;
  for (const auto& node : nodes_) {
    if (ids.empty() || std::find(ids.begin(), ids.end(), node.info.id) != ids.end()) {
      out[node.info.id] = node.led;
    }
  }
  return {ERROR_CODE::NONE, out};
}

ERROR_CODE SimMesh::SetLedBlinkings(const Client::LedBlinkingMap& blinkings) {
  for (const auto& [id, on] : blinkings) {
    if (Find(id) == nullptr) return ERROR_CODE::NODE_NOT_EXIST;
  }
  for (const auto& [id, on] : blinkings) Find(id)->blinking = on;
  if (!blinkings.empty()) changed_ = true;
  return ERROR_CODE::NONE;
}

ERROR_CODE SimMesh::SetLedConfigs(const Client::LedConfigMap& configs) {
  for (const auto& [id, config] : configs) {
    if (Find(id) == nullptr) return ERROR_CODE::NODE_NOT_EXIST;
    const auto mode = static_cast<int32_t>(config.mode);
    const bool modeOk = mode >= 0 && mode <= static_cast<int32_t>(LED_MODE::NORMAL);
    const bool scheduleOk = config.schedule.empty() || config.schedule.size() == 168;
    if (!modeOk || !scheduleOk) return ERROR_CODE::SERVER_INTERNAL_ERROR;
    if (config.mode == LED_MODE::SCHEDULE && config.schedule.empty()) return ERROR_CODE::SERVER_INTERNAL_ERROR;
  }
  for (const auto& [id, config] : configs) Find(id)->led = config;
  if (!configs.empty()) changed_ = true;
  return ERROR_CODE::NONE;
}

Client::NodeCapabilityList SimMesh::GetNodeCapabilities() const {
  Client::NodeCapabilityList out;
  for (const auto& node : nodes_) out.push_back({node.info.id, node.features});
  return out;
}

ERROR_CODE SimMesh::PrepareRestore() const { return Busy() ? BusyCode() : ERROR_CODE::NONE; }

ERROR_CODE SimMesh::TopologyChange(const std::string& jsonText, bool before) {
  Json::Value change;
  Json::CharReaderBuilder builder;
  std::string errors;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  if (!reader->parse(jsonText.data(), jsonText.data() + jsonText.size(), &change, &errors)) {
    return ERROR_CODE::SERVER_INTERNAL_ERROR;
  }
  topologyChanging_ = before;
  return ERROR_CODE::NONE;
}

ERROR_CODE SimMesh::StartSystemUpdate() {
  if (Busy()) return BusyCode();
  if (availableVersion_.empty()) return ERROR_CODE::CURRENTLY_UNAVAILABLE;
  update_ = Client::SystemUpdateProgress{};
  update_.stage = UPDATE_STAGE::CHECKING;
  update_.targetVersion = availableVersion_;
  for (const auto& node : nodes_) update_.nodePercent[node.info.id] = 0;
  work_ = Work::kUpdate;
  ticks_ = 0;
  changed_ = true;
  return ERROR_CODE::NONE;
}

// The image is "checked" and "downloaded" over the first ticks; then the library's group update
// writes the nodes, leaves first, and the mesh's percent follows theirs.
void SimMesh::TickUpdate() {
  constexpr int kDownloadTicks = kUpdateTicks / 2;
  if (!upgrade_) {
    update_.percent = static_cast<uint8_t>(std::min(40, ticks_ * 40 / kDownloadTicks));
    update_.stage = ticks_ < 2 ? UPDATE_STAGE::CHECKING : UPDATE_STAGE::DOWNLOADING;
    if (ticks_ < kDownloadTicks) return;
    std::vector<SimUpgrade::Node> nodes;
    for (const auto& node : nodes_) nodes.push_back({node.info.id, Find(node.info.uplink) ? node.info.uplink : 0});
    upgrade_ = std::make_unique<SimUpgrade>(nodes, update_.targetVersion, updateStep_);
    update_.stage = UPDATE_STAGE::UPGRADING;
    return;
  }
  update_.nodePercent = upgrade_->NodePercent();
  unsigned sum = 0;
  for (const auto& entry : update_.nodePercent) sum += entry.second;
  update_.percent = static_cast<uint8_t>(40 + 60 * sum / (100 * std::max<size_t>(1, update_.nodePercent.size())));
  if (!upgrade_->Finished()) return;
  upgrade_.reset();
  update_.stage = UPDATE_STAGE::DONE;
  update_.percent = 100;
  for (auto& node : nodes_) {
    if (update_.nodePercent[node.info.id] == 100) node.info.firmwareVersion = update_.targetVersion;
  }
  work_ = Work::kNone;
  changed_ = true;
}

Client::SystemUpdateProgress SimMesh::GetSystemUpdateProgress(bool perNode) const {
  Client::SystemUpdateProgress progress = update_;
  if (!perNode) progress.nodePercent.clear();
  return progress;
}

ERROR_CODE SimMesh::TriggerCustomTopologyScan(const Client::NodeIdList& ids) {
  if (Busy()) return BusyCode();
  if (!AllExist(ids)) return ERROR_CODE::NODE_NOT_EXIST;
  topologyScan_.clear();
  for (const auto& node : nodes_) {
    const bool wanted = ids.empty() ? node.info.role == NODE_ROLE::RE
                                    : std::find(ids.begin(), ids.end(), node.info.id) != ids.end();
    if (wanted) topologyScan_[node.info.id] = Client::CustomTopologyScanResultInfo{};
  }
  work_ = Work::kTopologyScan;
  ticks_ = 0;
  changed_ = true;
  return ERROR_CODE::NONE;
}

void SimMesh::FinishTopologyScan() {
  for (auto& [id, result] : topologyScan_) {
    result.done = true;
    // Every node outside the scanned node's own subtree could carry it; closer ones better.
    for (const auto& other : nodes_) {
      if (InSubtree(other.info.id, id)) continue;
      result.uplinkQuality[other.info.id] = static_cast<int32_t>(95 - (other.info.id * 7 + id * 3) % 40);
    }
  }
  work_ = Work::kNone;
  changed_ = true;
}

Client::CustomTopologyListMap SimMesh::ListCustomTopology() const {
  Client::CustomTopologyListMap out;
  for (const auto& node : nodes_) {
    if (node.info.role != NODE_ROLE::RE) continue;
    out[node.info.id] = {node.info.uplink, node.info.backhaul, node.customUplink};
  }
  return out;
}

ERROR_CODE SimMesh::SetCustomTopologyConfig(const Client::CustomTopologySetMap& configs) {
  if (Busy()) return BusyCode();
  for (const auto& [id, config] : configs) {
    const SimNode* node = Find(id);
    if (node == nullptr || Find(config.uplink) == nullptr) return ERROR_CODE::NODE_NOT_EXIST;
    if (node->info.role == NODE_ROLE::CAP) return ERROR_CODE::SERVER_INTERNAL_ERROR;
  }
  // Several changes may form a loop only together, so the whole new tree is checked.
  const std::vector<SimNode> before = nodes_;
  for (const auto& [id, config] : configs) {
    SimNode* node = Find(id);
    node->info.uplink = config.uplink;
    if (config.backhaul != BACKHAUL_TYPE::NONE) node->info.backhaul = config.backhaul;
    node->customUplink = true;
  }
  for (const auto& node : nodes_) {
    if (!ReachesController(node.info.id)) {
      nodes_ = before;
      return ERROR_CODE::SERVER_INTERNAL_ERROR;
    }
  }
  if (!configs.empty()) changed_ = true;
  return ERROR_CODE::NONE;
}

}  // namespace orvasim
