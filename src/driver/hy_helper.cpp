#include "orvamesh/driver/hy_helper.h"

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "platform/text.h"
#include "platform/config_file.h"
#include "platform/net_if.h"
#include "platform/node_settings.h"
#include "platform/pid_file.h"
#include "platform/process_runner.h"

namespace ORVA::MESH::SDK::Driver {
namespace {

using orva::platform::SystemRoot;

constexpr char kHyctl[] = "/usr/sbin/hyctl";
constexpr char kStart[] = "/sbin/start";
constexpr char kStop[] = "/sbin/stop";
constexpr char kInterfaceSection[] = "INTERFACE";
const char* const kLbdSections[] = {"WLANIF2G", "WLANIF5G", "STAMON", "BANDMON", "STEERALG"};
const char* const kVlanKeys[] = {"SwitchCpuPort", "SwitchLanVid", "VlanIds"};

int Hyctl(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {kHyctl};
  argv.insert(argv.end(), args.begin(), args.end());
  return orva::platform::ExecWait(argv);
}

int Job(const char* jobManager, const std::string& service) {
  return orva::platform::ExecWait({jobManager, service}, orva::platform::kJobManagerFlags);
}

// "a:b" -> a, b; both must be non-empty.
bool SplitPair(const std::string& item, std::string& first, std::string& second) {
  std::string::size_type colon = item.find(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 == item.size()) return false;
  first = item.substr(0, colon);
  second = item.substr(colon + 1);
  return second.find(':') == std::string::npos;
}

}  // namespace

HyHelper::HyHelper(bool cap, bool guest) : cap_(cap), guest_(guest), service_(guest ? "hyd_guest" : "hyd") {
  Mutex::CallWithLock(mutex_, [&] { InitConf(); });
  // A daemon left from an earlier run must not keep an old configuration.
  Job(kStop, service_);
}

// ---- public operations: the twin under the mutex -------------------------------------------

#define ORVA_HY_LOCKED(expression) return Mutex::ResultWithLock(mutex_, -1, [&] { return (expression); })

int HyHelper::StartHyd() { ORVA_HY_LOCKED(StartHydImpl()); }
int HyHelper::StopHyd() { ORVA_HY_LOCKED(StopHydImpl()); }
int HyHelper::RestartHyd() { ORVA_HY_LOCKED(RestartHydImpl()); }
int HyHelper::ReloadHydConfig() { ORVA_HY_LOCKED(ReloadHydConfigImpl()); }
int HyHelper::AttachHyfiBridge(bool attach) { ORVA_HY_LOCKED(AttachHyfiBridgeImpl(attach)); }
int HyHelper::SetIGMPSnooping() { ORVA_HY_LOCKED(SetIGMPSnoopingImpl()); }
int HyHelper::SetBr(const std::string& bridge, bool writeToFile) { ORVA_HY_LOCKED(SetBrImpl(bridge, writeToFile)); }
int HyHelper::GetIfRelay(const std::string& name, bool& relay) { ORVA_HY_LOCKED(GetIfRelayImpl(name, relay)); }
int HyHelper::SetIfRelay(const std::string& name, bool relay, bool writeToFile) {
  ORVA_HY_LOCKED(SetIfRelayImpl(name, relay, writeToFile));
}
int HyHelper::SetIfList(const std::vector<HyIf>& list, bool writeToFile) {
  ORVA_HY_LOCKED(SetIfListImpl(list, writeToFile));
}
int HyHelper::SetWlanList(const std::vector<HyIf>& list, bool writeToFile) {
  ORVA_HY_LOCKED(SetWlanListImpl(list, writeToFile));
}
int HyHelper::SetToFile() { ORVA_HY_LOCKED(SetToFileImpl()); }

int HyHelper::GetBr(std::string& bridge) {
  ORVA_HY_LOCKED((bridge = bridge_, bridge_.empty() ? kNotInitialized : 0));
}

int HyHelper::GetIfRadioName(const std::string& name, std::string& radio) {
  ORVA_HY_LOCKED([&] {
    auto found = ifaces_.find(name);
    if (found == ifaces_.end()) return kNoSuchIf;
    radio = found->second.radioName;
    return 0;
  }());
}

int HyHelper::SetIfRadioName(const std::string& name, const std::string& radio, bool writeToFile) {
  ORVA_HY_LOCKED([&] {
    auto found = ifaces_.find(name);
    if (found == ifaces_.end()) {
      ORVA_LOG_ERR("Ifname: %s is not found in map_ifaces", name.c_str());
      return kNoSuchIf;
    }
    found->second.radioName = radio;
    auto wlan = wlans_.find(name);
    if (wlan != wlans_.end()) wlan->second.radioName = radio;
    return writeToFile ? WriteWlanList() : 0;
  }());
}

int HyHelper::GetIfGrp(const std::string& name, HY_IF_GRP& group) {
  ORVA_HY_LOCKED([&] {
    auto found = ifaces_.find(name);
    if (found == ifaces_.end()) return kNoSuchIf;
    group = found->second.group;
    return 0;
  }());
}

int HyHelper::SetIfGrp(const std::string& name, HY_IF_GRP group) {
  ORVA_HY_LOCKED([&] {
    auto found = ifaces_.find(name);
    if (found == ifaces_.end()) {
      ORVA_LOG_ERR("Ifname: %s is not found in map_ifaces", name.c_str());
      return kNoSuchIf;
    }
    found->second.group = group;
    return 0;
  }());
}

int HyHelper::GetIfList(std::vector<HyIf>& out) { ORVA_HY_LOCKED((out = IfList(), 0)); }
int HyHelper::GetIfNoRelayList(std::vector<HyIf>& out) { ORVA_HY_LOCKED((out = NoRelayList(), 0)); }
int HyHelper::GetWlanList(std::vector<HyIf>& out) { ORVA_HY_LOCKED((out = WlanList(), 0)); }

int HyHelper::AddIf(const HyIf& member, bool writeToFile) {
  ORVA_HY_LOCKED([&] {
    if (member.name.empty()) return kListNotSet;
    ifaces_[member.name] = member;
    if (!writeToFile) return 0;
    int result = WriteIfList();
    return result != 0 ? result : SetIfNoRelayListToFile();
  }());
}

int HyHelper::DelIf(const HyIf& member, bool writeToFile) {
  ORVA_HY_LOCKED([&] {
    if (ifaces_.erase(member.name) == 0) {
      ORVA_LOG_ERR("Ifname: %s is not found in map_ifaces", member.name.c_str());
      return kNoSuchIf;
    }
    wlans_.erase(member.name);
    if (!writeToFile) return 0;
    int result = WriteIfList();
    if (result == 0) result = SetIfNoRelayListToFile();
    return result != 0 ? result : WriteWlanList();
  }());
}

#undef ORVA_HY_LOCKED

// ---- configuration file ------------------------------------------------------------------

int HyHelper::InitConf() {
  const char* role = cap_ ? "cap" : "re";
  const std::string file = guest_ ? "hyd_guest.conf" : "hyd.conf";
  confPath_ = SystemRoot::Path("/usr/orva/etc/mesh/" + file);
  defaultPath_ = SystemRoot::Path(std::string("/usr/orva/etc.defaults/mesh/") + role + "/" + file);
  if (ReplaceConfFileFromDef() != 0) ORVA_LOG_ERR("Failed to replace %s from default conf", confPath_.c_str());
  if (confPath_.empty()) {
    ORVA_LOG_ERR("conf_filename is empty");
    return -1;
  }
  return ReloadHydConfigImpl();
}

int HyHelper::ReplaceConfFileFromDef() {
  std::ifstream in(defaultPath_, std::ios::binary);
  if (!orva::platform::FileExist(defaultPath_) || !in) {
    ORVA_LOG_ERR("Failed to find default conf file [%s]", defaultPath_.c_str());
    return kNoDefaultConf;
  }
  std::ostringstream content;
  content << in.rdbuf();
  std::ofstream out(confPath_, std::ios::binary | std::ios::trunc);
  out << content.str();
  out.flush();
  return out ? 0 : -1;
}

int HyHelper::WriteKey(const std::string& key, const std::string& value) {
  return orva::platform::FileSetKeyValue(confPath_, key, value, orva::platform::ValueQuoting::kPlain) == 0
             ? 0
             : kWriteFailed;
}

std::vector<HyIf> HyHelper::IfList() const {
  std::vector<HyIf> list;
  for (const auto& entry : ifaces_) list.push_back(entry.second);
  return list;
}

std::vector<HyIf> HyHelper::NoRelayList() const {
  std::vector<HyIf> list;
  for (const auto& entry : ifaces_) {
    if (!entry.second.relay) list.push_back(entry.second);
  }
  return list;
}

std::vector<HyIf> HyHelper::WlanList() const {
  std::vector<HyIf> list;
  for (const auto& entry : wlans_) list.push_back(entry.second);
  return list;
}

int HyHelper::SetBrImpl(const std::string& bridge, bool writeToFile) {
  bridge_ = bridge;
  return writeToFile ? WriteKey("HybridBridgeInterfaceName", bridge) : 0;
}

int HyHelper::WriteIfList() {
  std::string text;
  ListToStr(IfList(), text);
  return WriteKey("ManagedInterfacesList", text);
}

int HyHelper::WriteWlanList() {
  std::string text;
  int rc = WlanListToStr(WlanList(), text);
  if (rc != 0) return rc;
  return WriteKey("WlanInterfaces", text);
}

int HyHelper::SetIfListImpl(const std::vector<HyIf>& list, bool writeToFile) {
  ifaces_.clear();
  for (const HyIf& member : list) ifaces_[member.name] = member;
  return writeToFile ? WriteIfList() : 0;
}

int HyHelper::SetWlanListImpl(const std::vector<HyIf>& list, bool writeToFile) {
  wlans_.clear();
  for (const HyIf& member : list) wlans_[member.name] = member;
  return writeToFile ? WriteWlanList() : 0;
}

int HyHelper::SetIfNoRelayListToFile() {
  std::string text;
  if (NoRelayListToStr(NoRelayList(), text) != 0) {
    ORVA_LOG_ERR("Failed to get string of no relay interface list");
    return kListNotSet;
  }
  if (WriteKey("NoRelayGroupList", text) != 0) return kWriteFailed;
  if (orva::platform::FileSetSectionValue(confPath_, kInterfaceSection, "ForceGroupRelaying", cap_ ? "0" : "1") != 0) {
    return kWriteFailed;
  }
  return 0;
}

int HyHelper::SetToFileImpl() {
  if (bridge_.empty()) {
    ORVA_LOG_ERR("Not initialized");
    return kNotInitialized;
  }
  int first = 0;
  auto note = [&first](int rc, const char* message) {
    if (rc == 0) return;
    ORVA_LOG_ERR("%s", message);
    if (first == 0) first = rc;
  };
  note(WriteKey("HybridBridgeInterfaceName", bridge_), "Failed to set bridge name to file");
  note(WriteIfList(), "Failed to set if list to file");
  note(SetIfNoRelayListToFile(), "Failed to set if no relay list to file");
  note(WriteWlanList(), "Failed to set wlan list to file");
  return first;
}

int HyHelper::SetVlanToFile() {
  const std::string path =
      SystemRoot::Path(guest_ ? "/usr/orva/etc/switchvlan_guest.conf" : "/usr/orva/etc/switchvlan.conf");
  if (!orva::platform::FileExist(path)) {
    ORVA_LOG_ERR("switchvlan [%s] config does not exist", path.c_str());
    return -1;
  }
  for (const char* key : kVlanKeys) {
    char value[1024];
    if (orva::platform::FileGetKeyValue(path, key, value, sizeof value) < 1) {
      ORVA_LOG_ERR("Failed to get value of key [%s]", key);
      return -1;
    }
    if (orva::platform::FileSetSectionValue(confPath_, kInterfaceSection, key, value) != 0) {
      ORVA_LOG_ERR("Failed to set value of key [%s]", key);
      return -1;
    }
  }
  return 0;
}

int HyHelper::ReloadLbdConfig() {
  const std::string path = SystemRoot::Path(guest_ ? "/usr/orva/etc/wifi/lbd.guest.conf" : "/usr/orva/etc/wifi/lbd.conf");
  int result = 0;
  for (const char* section : kLbdSections) {
    std::vector<std::pair<std::string, std::string>> entries;
    if (orva::platform::FileGetSection(path, section, entries) != 0) {
      ORVA_LOG_INFO("Failed to read section [%s]", section);
      continue;
    }
    for (const auto& [key, value] : entries) {
      if (orva::platform::FileSetSectionValue(confPath_, section, key, value) != 0) {
        ORVA_LOG_ERR("Failed to set key value to section [%s][%s][%s]", section, key.c_str(), value.c_str());
        result = kWriteFailed;
      }
    }
  }
  return result;
}

namespace {

// How a bridge member enters hyd's lists, by a part of its name; the first rule that matches
// wins ("bwlan" before "wlan"), and members that match none stay out.
struct MemberRule {
  const char* part;
  decltype(HyIf::type) type;
  decltype(HyIf::group) group;
  bool broadcast;
  bool wifi;        // also in the wlan list, with its radio's name
  bool keepsRelay;  // a relay setting made earlier survives the rebuild; otherwise no relay
};

const MemberRule kMemberRules[] = {
    {"sta1", Interface::IF_TYPE_WLAN_VLAN, HY_IF_GRP_0, true, false, false},
    {"sta0", Interface::IF_TYPE_WLAN_VLAN, HY_IF_GRP_0, false, false, false},
    {"bwlan", Interface::IF_TYPE_WLAN_VLAN, HY_IF_GRP_1, true, true, true},
    {"wlan", Interface::IF_TYPE_WLAN, HY_IF_GRP_1, true, true, true},
    {"eth", Interface::IF_TYPE_ETHER, HY_IF_GRP_1, true, false, true},
};

const MemberRule* RuleFor(const std::string& name) {
  for (const MemberRule& rule : kMemberRules) {
    if (name.find(rule.part) != std::string::npos) return &rule;
  }
  return nullptr;
}

}  // namespace

std::string HyHelper::HydBridge() const {
  if (guest_) return "gbr0";
  int topology = 0;
  if (cap_ && orvawireless::wifi::utils::ReadTopology(topology) == 0 && topology == 2) return "lbr0";
  return "br0";
}

int HyHelper::ReloadHydConfigImpl() {
  const std::string bridge = HydBridge();
  if (SetBrImpl(bridge, true) != 0) ORVA_LOG_ERR("Failed to set bridge name to file");

  if (!orva::platform::FileExist(orva::platform::BridgeMemberDir(bridge))) {
    ORVA_LOG_ERR("Bridge %s is not exist", bridge.c_str());
    return kNoBridge;
  }
  std::vector<std::string> names;
  if (orva::platform::ListBridgeMembers(bridge, names) != 0) {
    ORVA_LOG_ERR("Failed to enum slaves of bridge %s", bridge.c_str());
    return kNoSuchIf;
  }

  std::vector<HyIf> members;
  std::vector<HyIf> wlans;
  for (const std::string& name : names) {
    const MemberRule* rule = RuleFor(name);
    if (rule == nullptr) continue;
    HyIf member;
    member.name = name;
    member.type = rule->type;
    member.group = rule->group;
    member.broadcast = rule->broadcast;
    if (rule->wifi) Interface::GetVAPNameByIfName(name, true, member.radioName);
    member.relay = false;
    if (rule->keepsRelay) {
      bool relay = true;
      if (GetIfRelayImpl(name, relay) != 0) {
        ORVA_LOG_ERR("Failed to get relay config for %s", name.c_str());
        relay = true;
      }
      member.relay = relay;
    }
    if (orva::platform::NetIfUp(name) != 0) ORVA_LOG_ERR("Failed to linkup interface %s", name.c_str());
    members.push_back(member);
    if (rule->wifi) wlans.push_back(member);
  }
  return WriteHydLists(members, wlans);
}

int HyHelper::WriteHydLists(const std::vector<HyIf>& members, const std::vector<HyIf>& wlans) {
  if (SetIfListImpl(members, true) != 0) {
    ORVA_LOG_ERR("Failed to set interface list");
    return kListNotSet;
  }
  if (SetWlanListImpl(wlans, true) != 0) {
    ORVA_LOG_ERR("Failed to set wlan interface list");
    return kListNotSet;
  }
  if (SetIfNoRelayListToFile() != 0) {
    ORVA_LOG_ERR("Failed to set no relay interface list");
    return kListNotSet;
  }
  if (SetVlanToFile() != 0) ORVA_LOG_ERR("Failed to set vlan config");
  if (ReloadLbdConfig() != 0) ORVA_LOG_ERR("Failed to reload lbd config");
  return 0;
}

// ---- the daemon ----------------------------------------------------------------------------

int HyHelper::StartHydImpl() {
  if (started_) return 0;
  int rc = ReloadHydConfigImpl();
  if (rc != 0) return rc;
  if (!cap_ && Hyctl({"setbrmode", bridge_, "grprel"}) < 0) return kBrModeFailed;
  if (Hyctl({"setmc", bridge_, "retag", "disable"}) < 0) {
    ORVA_LOG_ERR("Failed to disable multicast retag [%s]", bridge_.c_str());
    return kRetagFailed;
  }
  if (SetIGMPSnoopingImpl() != 0) {
    ORVA_LOG_ERR("Failed to set IGMP snooping");
    return kIgmpSnoopingFailed;
  }
  for (const auto& [name, member] : ifaces_) {
    if (Hyctl({"setifgrp", bridge_, name, std::to_string(member.group), member.relay ? "r" : "n"}) < 0) {
      return kIfGroupFailed;
    }
    if (Hyctl({"setifbcast", bridge_, name, member.broadcast ? "enable" : "disable"}) < 0) return kIfBcastFailed;
  }
  Job(kStop, service_);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));  // let the old daemon let go of the bridge
  if (Job(kStart, service_) < 0) return kStartFailed;
  started_ = true;
  return 0;
}

int HyHelper::StopHydImpl() {
  if (!started_) return 0;
  if (bridge_.empty()) return kNotInitialized;
  if (Job(kStop, service_) < 0) ORVA_LOG_ERR("Failed to %s %s", kStop, service_.c_str());
  started_ = false;
  return 0;
}

int HyHelper::RestartHydImpl() {
  int rc = StopHydImpl();
  return rc != 0 ? rc : StartHydImpl();
}

int HyHelper::SetIGMPSnoopingImpl() {
  if (bridge_.empty()) return kNotInitialized;
  bool enabled = false;
  unsigned aging = 0;
  if (orva::net::DI<orva::net::IgmpSnooping>::Make()->Get(bridge_, enabled, aging) != 0) {
    ORVA_LOG_ERR("Failed to read the IGMP snooping setting of %s", bridge_.c_str());
    return kIgmpSnoopingFailed;
  }
  ORVA_LOG_DEBUG("Setting IGMPSnooping of %s to %d, aging %d", bridge_.c_str(), enabled ? 1 : 0,
                 static_cast<int>(aging));
  const std::string timeouts = aging != 0 ? "enable" : "disable";
  const std::vector<std::vector<std::string>> commands = {
      {"setmc", bridge_, "state", enabled ? "enable" : "disable"},
      {"setmc", bridge_, "timeout", "GroupSpecificQueries", timeouts},
      {"setmc", bridge_, "timeout", "GroupMembershipInterval", timeouts},
  };
  for (const auto& command : commands) {
    if (Hyctl(command) < 0) return kIgmpSnoopingFailed;
  }
  if (aging != 0 && Hyctl({"setmc", bridge_, "aging", std::to_string(aging)}) < 0) return kIgmpSnoopingFailed;
  return 0;
}

int HyHelper::AttachHyfiBridgeImpl(bool attach) {
  std::string lan;
  if (orva::net::DI<orva::net::Lan>::Make()->GetBridgeName(lan) != 0) {
    ORVA_LOG_ERR("Failed to get the LAN bridge name");
    return -1;
  }
  if (Hyctl({attach ? "attach" : "detach", lan}) < 0) {
    if (attach) {
      ORVA_LOG_ERR("Failed to hyctl attach %s", lan.c_str());
    } else {
      ORVA_LOG_ERR("Failed to hyctl detach %s", lan.c_str());
    }
    return -1;
  }
  return 0;
}

int HyHelper::GetIfRelayImpl(const std::string& name, bool& relay) {
  auto found = ifaces_.find(name);
  if (found == ifaces_.end()) return kNoSuchIf;
  relay = found->second.relay;
  return 0;
}

int HyHelper::SetIfRelayImpl(const std::string& name, bool relay, bool writeToFile) {
  auto found = ifaces_.find(name);
  if (found == ifaces_.end()) {
    ORVA_LOG_ERR("Ifname: %s is not found in map_ifaces", name.c_str());
    return kNoSuchIf;
  }
  found->second.relay = relay;
  auto wlan = wlans_.find(name);
  if (wlan != wlans_.end()) wlan->second.relay = relay;
  if (!writeToFile) return 0;
  int rc = SetIfNoRelayListToFile();
  if (rc != 0) ORVA_LOG_ERR("Failed to set if no relay to file");
  return rc;
}

// ---- text forms ----------------------------------------------------------------------------

int HyHelper::ListToStr(const std::vector<HyIf>& list, std::string& out) {
  std::vector<std::string> items;
  for (const HyIf& member : list) {
    std::string type;
    if (Interface::GetIfTypeName(member.type, type) != 0) type = "UNKNOWN";
    items.push_back(member.name + ":" + type);
  }
  out = orva::platform::JoinText(items, ',');
  return 0;
}

int HyHelper::NoRelayListToStr(const std::vector<HyIf>& list, std::string& out) {
  std::vector<std::string> items;
  for (const HyIf& member : list) {
    if (!member.relay) items.push_back(member.name);
  }
  out = orva::platform::JoinText(items, ',');
  return 0;
}

int HyHelper::WlanListToStr(const std::vector<HyIf>& list, std::string& out) {
  std::vector<std::string> items;
  for (const HyIf& member : list) {
    std::string vap;
    if (member.radioName.empty() || Interface::GetVAPNameByIfName(member.name, false, vap) != 0) {
      ORVA_LOG_ERR("No radio name for wlan interface %s", member.name.c_str());
      return kListNotSet;
    }
    items.push_back(member.radioName + ":" + vap);
  }
  out = orva::platform::JoinText(items, ',');
  return 0;
}

int HyHelper::StrToList(const std::string& text, std::vector<std::string>& names,
                        std::vector<Interface::IF_TYPE>& types) {
  names.clear();
  types.clear();
  for (const std::string& item : orva::platform::SplitText(text, ',')) {
    std::string name, typeName;
    Interface::IF_TYPE type;
    if (!SplitPair(item, name, typeName) || Interface::GetIfTypeByTypeName(typeName, type) != 0) return -1;
    names.push_back(name);
    types.push_back(type);
  }
  return 0;
}

int HyHelper::StrToNoRelayList(const std::string& text, std::vector<std::string>& names) {
  names = orva::platform::SplitText(text, ',');
  for (const std::string& name : names) {
    if (name.empty()) return -1;
  }
  return 0;
}

int HyHelper::StrToWlanList(const std::string& text, std::vector<std::string>& radios, std::vector<std::string>& vaps) {
  radios.clear();
  vaps.clear();
  for (const std::string& item : orva::platform::SplitText(text, ',')) {
    std::string radio, vap;
    if (!SplitPair(item, radio, vap)) return -1;
    radios.push_back(radio);
    vaps.push_back(vap);
  }
  return 0;
}

}  // namespace ORVA::MESH::SDK::Driver
