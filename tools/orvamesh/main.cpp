// orvamesh: the mesh daemon's operations from a shell, one subcommand per client operation.
// Results are JSON on standard output; refusals, faults and usage errors go to standard error
// and set distinct exit statuses (see kUsage). The client talks to the system bus; --bus
// ADDRESS points it at another bus by setting DBUS_SYSTEM_BUS_ADDRESS before the first call.
#include <json/writer.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "../common/front_door.h"
#include "cli.h"
#include "orvamesh/client/error_code.h"
#include "orvamesh/client/mesh_client.h"
#include "orvamesh/dbus/mesh_gdbus_client.h"
#include "orvamesh/scan/topology_builder.h"
#include "orvamesh/utils/led_mode.h"

namespace orvacli {
namespace {

using ORVA::MESH::SDK::LED_MODE;
using ORVA::MESH::SDK::LedConfig;
using ORVA::MESH::SDK::Mac;
namespace Scan = ORVA::MESH::SDK::Scan;
using Client::ERROR_CODE;
using Client::MeshClient;

constexpr const char* kGlobalOptions = " bus compact! verbose!";
// Where libdbus and GDBus look for the system bus when DBUS_SYSTEM_BUS_ADDRESS is not set.
constexpr const char* kSystemBusDefault = "unix:path=/var/run/dbus/system_bus_socket";

constexpr const char* kStatuses =
    "Exit status:\n"
    "  0   done (NONE)\n"
    "  1   a followed setup or update failed without a code, or was stopped\n"
    "  2   bad command line or input file\n"
    "  3   transport fault: no bus, no daemon, an undecodable answer (the cause on stderr;\n"
    "      --verbose adds the library's nested messages)\n"
    "  11  UNKNOWN_ERROR                      17  CURRENTLY_UNAVAILABLE\n"
    "  12  SERVER_INTERNAL_ERROR              18  NODE_NOT_EXIST\n"
    "  13  SETUP_IN_PROGRESS                  19  NODE_ALREADY_EXIST\n"
    "  14  REMOVAL_IN_PROGRESS                20  SETUP_REJECT_PLATFORM_INCOMPATIBLE\n"
    "  15  SCANNING_IN_PROGRESS               21  SETUP_REJECT_CAP_NEED_UPGRADE\n"
    "  16  UPGRADE_IN_PROGRESS\n";

struct Context;

struct Command {
  std::string name;
  std::string synopsis;  // after the subcommand's name
  std::string help;
  std::string options;
  std::function<int(Context&)> run;
};

struct Context {
  const Command& command;
  Args args;
  bool compact = false;
  std::shared_ptr<MeshClient> client;

  MeshClient& Mesh() {
    if (!client) {
      try {
        client = Client::MeshClientFactory::GetClient();
      } catch (const std::exception& e) {
        throw TransportFault(e);
      }
    }
    return *client;
  }
};

// Runs one client operation; every fault it throws becomes a transport fault.
template <typename F>
auto Call(Context& ctx, F&& operation) -> decltype(operation(ctx.Mesh())) {
  MeshClient& mesh = ctx.Mesh();
  try {
    return operation(mesh);
  } catch (const std::exception& e) {
    throw TransportFault(e);
  }
}

void Print(const Context& ctx, const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = ctx.compact ? "" : "  ";
  builder["emitUTF8"] = true;
  std::cout << Json::writeString(builder, value) << std::endl;
}

int Refused(const Context& ctx, ERROR_CODE code) {
  std::string name;
  try {
    name = Client::ErrorCodeToSemanticString(code);
  } catch (const std::exception&) {
    name = "code " + Client::ErrorCodeToNumericalString(code);
  }
  std::cerr << "orvamesh: " << ctx.command.name << ": refused: " << name << std::endl;
  return kExitRefusalBase + static_cast<int>(code);
}

int Done(const Context& ctx, ERROR_CODE code) { return code == ERROR_CODE::NONE ? kExitOk : Refused(ctx, code); }

// A started operation's code; with --follow, once it has started, `follow` takes over.
template <typename F>
int DoneOrFollow(Context& ctx, ERROR_CODE code, F&& follow) {
  if (code != ERROR_CODE::NONE || !ctx.args.Flag("follow")) return Done(ctx, code);
  return follow(ctx);
}

template <typename T>
int Show(const Context& ctx, const Client::Result<T>& result) {
  if (result.first != ERROR_CODE::NONE) return Refused(ctx, result.first);
  Print(ctx, ToJson(result.second));
  return kExitOk;
}

void NeedPositional(const Context& ctx, size_t min, size_t max) {
  const size_t count = ctx.args.Positional().size();
  if (count < min) throw UsageError("missing argument");
  if (count > max) throw UsageError("unexpected argument '" + ctx.args.Positional()[max] + "'");
}

// --- command families ---------------------------------------------------------------------

Command Plain(std::string name, std::string help, ERROR_CODE (MeshClient::*op)()) {
  return {name, "", std::move(help), "", [op](Context& ctx) {
            NeedPositional(ctx, 0, 0);
            return Done(ctx, Call(ctx, [op](MeshClient& m) { return (m.*op)(); }));
          }};
}

// An operation without arguments that runs on after the call; with --follow, `follow` takes over
// once it has started.
Command Followed(std::string name, std::string help, ERROR_CODE (MeshClient::*start)(),
                 std::function<int(Context&)> follow) {
  return {name, "[--follow]", std::move(help), "follow!", [start, follow](Context& ctx) {
            NeedPositional(ctx, 0, 0);
            return DoneOrFollow(ctx, Call(ctx, [start](MeshClient& m) { return (m.*start)(); }), follow);
          }};
}

template <typename T>
Command Getter(std::string name, std::string help, Client::Result<T> (MeshClient::*op)()) {
  return {name, "", std::move(help), "", [op](Context& ctx) {
            NeedPositional(ctx, 0, 0);
            return Show(ctx, Call(ctx, [op](MeshClient& m) { return (m.*op)(); }));
          }};
}

Command Switch(std::string name, std::string help, ERROR_CODE (MeshClient::*op)(bool)) {
  return {name, "on|off", std::move(help), "", [op](Context& ctx) {
            NeedPositional(ctx, 1, 1);
            const bool on = ParseSwitch(ctx.args.Positional()[0]);
            return Done(ctx, Call(ctx, [op, on](MeshClient& m) { return (m.*op)(on); }));
          }};
}

// --- following long operations ------------------------------------------------------------

struct Progress {
  std::string stage;
  int percent = 0;
  bool done = false;
  bool failed = false;
  bool idle = false;
  ERROR_CODE lastError = ERROR_CODE::NONE;
};

void DrawBar(const Progress& p) {
  constexpr int kWidth = 30;
  const int filled = p.percent * kWidth / 100;
  std::printf("\r[%s%s] %3d%% %-12s", std::string(static_cast<size_t>(filled), '#').c_str(),
              std::string(static_cast<size_t>(kWidth - filled), '.').c_str(), p.percent, p.stage.c_str());
  std::fflush(stdout);
}

// Polls until the operation ends: a bar on a terminal, one line per change otherwise.
int Follow(Context& ctx, const std::function<Client::Result<Progress>(MeshClient&)>& poll) {
  const bool terminal = ::isatty(STDOUT_FILENO) == 1;
  std::string last;
  for (;;) {
    auto [code, p] = Call(ctx, poll);
    if (code != ERROR_CODE::NONE) return Refused(ctx, code);
    const std::string line = p.stage + " " + std::to_string(p.percent) + "%";
    if (terminal) {
      DrawBar(p);
    } else if (line != last) {
      std::cout << line << std::endl;
    }
    last = line;
    if (p.done || p.failed || p.idle) {
      if (terminal) std::printf("\n");
      if (p.done) return kExitOk;
      if (p.failed && p.lastError != ERROR_CODE::NONE) return Refused(ctx, p.lastError);
      std::cerr << "orvamesh: " << ctx.command.name << ": " << (p.failed ? "failed" : "stopped before the end")
                << std::endl;
      return kExitUnfinished;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
}

// --follow for operations whose progress is a result rather than a stage: polls until the
// result says the work is over, then prints that last result.
template <typename T>
int WaitFor(Context& ctx, Client::Result<T> (MeshClient::*poll)(), bool (*finished)(const T&)) {
  for (;;) {
    const auto result = Call(ctx, [poll](MeshClient& m) { return (m.*poll)(); });
    if (result.first != ERROR_CODE::NONE || finished(result.second)) return Show(ctx, result);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
}

bool ScanOver(const Client::ScanResult& r) { return !r.inProgress; }
bool RemovalOver(const Client::MeshSystemStatus& s) { return !s.removalInProgress; }
bool TopologyScanOver(const Client::CustomTopologyScanResultMap& results) {
  for (const auto& [id, result] : results) {
    if (!result.done) return false;
  }
  return true;
}

Client::Result<Progress> SetupProgress(MeshClient& m) {
  auto [code, s] = m.GetSetupNodeProgress();
  Progress p;
  p.stage = Client::SetupStageToString(s.stage);
  p.percent = s.percent;
  p.done = s.stage == Client::SETUP_STAGE::DONE;
  p.failed = s.stage == Client::SETUP_STAGE::FAILED;
  p.idle = s.stage == Client::SETUP_STAGE::IDLE;
  p.lastError = s.lastError;
  return {code, p};
}

Client::Result<Progress> UpdateProgress(MeshClient& m) {
  auto [code, s] = m.GetSystemUpdateProgressV2();
  Progress p;
  p.stage = Client::UpdateStageToString(s.stage);
  p.percent = s.percent;
  p.done = s.stage == Client::UPDATE_STAGE::DONE;
  p.failed = s.stage == Client::UPDATE_STAGE::FAILED;
  p.idle = s.stage == Client::UPDATE_STAGE::IDLE;
  p.lastError = s.lastError;
  return {code, p};
}

// --- topology -----------------------------------------------------------------------------

std::string DotText(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

// The library's topology builder turns the daemon's uplinks into the tree, so a loop or a
// duplicate MAC in the daemon's answer shows up as unreachable nodes or a clear error.
Scan::Topology BuildTopology(const Client::NodeInfoMap& nodes) {
  return Scan::TopologyBuilder::Build(Scan::ScanResult::FromNodeInfos(nodes));
}

std::map<Mac, const Client::NodeInfo*> ByMac(const Client::NodeInfoMap& nodes) {
  std::map<Mac, const Client::NodeInfo*> out;
  for (const auto& [id, node] : nodes) out[node.mac] = &node;
  return out;
}

void PrintDot(const Client::NodeInfoMap& nodes, const Scan::Topology& topology) {
  std::cout << "digraph mesh {\n  node [shape=box, style=rounded];\n";
  for (const auto& [id, node] : nodes) {
    std::cout << "  n" << id << " [label=\"" << DotText(node.name) << "\\n" << Client::NodeRoleToString(node.role)
              << " " << id << ", " << DotText(node.modelUnique) << "\""
              << (node.online ? "" : ", style=\"rounded,dashed\"") << "];\n";
  }
  const auto byMac = ByMac(nodes);
  for (const auto& [mac, place] : topology.GetNodes()) {
    if (mac == topology.GetRoot()) continue;
    const Client::NodeInfo& child = *byMac.at(mac);
    std::cout << "  n" << byMac.at(place.parent)->id << " -> n" << child.id << " [label=\""
              << Client::BackhaulTypeToString(child.backhaul) << " " << child.backhaulQuality << "\"];\n";
  }
  std::cout << "}" << std::endl;
}

Json::Value Subtree(const std::map<Mac, const Client::NodeInfo*>& byMac, const Scan::Topology& topology, const Mac& mac) {
  const Client::NodeInfo& node = *byMac.at(mac);
  Json::Value out(Json::objectValue);
  out["id"] = node.id;
  out["name"] = node.name;
  out["role"] = Client::NodeRoleToString(node.role);
  out["backhaul"] = Client::BackhaulTypeToString(node.backhaul);
  out["online"] = node.online;
  out["children"] = Json::Value(Json::arrayValue);
  for (const auto& [child, place] : topology.GetNodes()) {
    if (!(child == topology.GetRoot()) && place.parent == mac) out["children"].append(Subtree(byMac, topology, child));
  }
  return out;
}

int Topology(Context& ctx) {
  NeedPositional(ctx, 0, 0);
  auto [code, nodes] = Call(ctx, [](MeshClient& m) { return m.GetNodeInfos(); });
  if (code != ERROR_CODE::NONE) return Refused(ctx, code);
  const Scan::Topology topology = BuildTopology(nodes);
  if (ctx.args.Flag("dot")) {
    PrintDot(nodes, topology);
    return kExitOk;
  }
  // The controller's tree first, then each node that no uplink reaches as a tree of its own.
  const auto byMac = ByMac(nodes);
  Json::Value roots(Json::arrayValue);
  roots.append(Subtree(byMac, topology, topology.GetRoot()));
  for (const auto& mac : topology.GetUnreachable()) roots.append(Subtree(byMac, topology, mac));
  Print(ctx, roots);
  return kExitOk;
}

// --- map arguments ------------------------------------------------------------------------

// "ID=VALUE" words.
std::pair<Client::NodeId, std::string> SplitAssignment(const std::string& word) {
  const auto eq = word.find('=');
  if (eq == std::string::npos) throw UsageError("'" + word + "' is not of the form ID=VALUE");
  return {ParseNodeId(word.substr(0, eq)), word.substr(eq + 1)};
}

Client::NodeId JsonKeyToId(const std::string& key) {
  try {
    return ParseNodeId(key);
  } catch (const UsageError&) {
    throw UsageError("JSON key '" + key + "' is no node id");
  }
}

int SetLedBlinkings(Context& ctx) {
  Client::LedBlinkingMap blinkings;
  const Json::Value json = JsonInput(ctx.args);
  if (!json.isNull()) {
    if (!json.isObject()) throw UsageError("the JSON input must be an object of node id -> true/false");
    for (const auto& key : json.getMemberNames()) {
      if (!json[key].isBool()) throw UsageError("node " + key + ": expected true or false");
      blinkings[JsonKeyToId(key)] = json[key].asBool();
    }
  }
  for (const auto& word : ctx.args.Positional()) {
    auto [id, value] = SplitAssignment(word);
    blinkings[id] = ParseSwitch(value);
  }
  if (blinkings.empty()) throw UsageError("nothing to set");
  return Done(ctx, Call(ctx, [&](MeshClient& m) { return m.SetLedBlinkings(blinkings); }));
}

int SetLedConfigs(Context& ctx) {
  Client::LedConfigMap configs;
  const Json::Value json = JsonInput(ctx.args);
  if (!json.isNull()) {
    if (!json.isObject()) throw UsageError("the JSON input must be an object of node id -> LED settings");
    for (const auto& key : json.getMemberNames()) {
      LedConfig config;
      if (config.Deserialize(json[key]) != 0) {
        throw UsageError("node " + key + ": LED settings need \"mode\" 0..2 and a \"schedule\" of 0 or 168 characters");
      }
      configs[JsonKeyToId(key)] = config;
    }
  }
  const auto ids = ParseNodeIds(ctx.args.Positional());
  const std::string* mode = ctx.args.Option("mode");
  const std::string* blinking = ctx.args.Option("blinking");
  const std::string* schedule = ctx.args.Option("schedule");
  if (!ids.empty()) {
    if (mode == nullptr && blinking == nullptr && schedule == nullptr) {
      throw UsageError("say what to change: --mode, --blinking or --schedule");
    }
    LED_MODE newMode = LED_MODE::UNKNOWN;
    if (mode != nullptr) {
      newMode = ORVA::MESH::SDK::stringToLedMode(*mode);
      if (newMode == LED_MODE::UNKNOWN) throw UsageError("--mode must be schedule, sleep or normal, not '" + *mode + "'");
    }
    if (schedule != nullptr && !schedule->empty() && schedule->size() != 168) {
      throw UsageError("--schedule needs 168 characters (one per hour of the week) or none, not " +
                       std::to_string(schedule->size()));
    }
    const bool newBlinking = blinking != nullptr && ParseSwitch(*blinking);
    // The options change only what they name: the rest is read from the daemon first.
    auto [code, current] = Call(ctx, [&](MeshClient& m) { return m.GetLedConfigs(ids); });
    if (code != ERROR_CODE::NONE) return Refused(ctx, code);
    for (auto id : ids) {
      LedConfig config = current[id];
      if (mode != nullptr) config.mode = newMode;
      if (blinking != nullptr) config.blinking = newBlinking;
      if (schedule != nullptr) config.schedule = *schedule;
      configs[id] = config;
    }
  } else if (mode != nullptr || blinking != nullptr || schedule != nullptr) {
    throw UsageError("--mode, --blinking and --schedule need the node ids to change");
  }
  if (configs.empty()) throw UsageError("nothing to set");
  return Done(ctx, Call(ctx, [&](MeshClient& m) { return m.SetLedConfigs(configs); }));
}

int SetCustomTopologyConfig(Context& ctx) {
  Client::CustomTopologySetMap configs;
  const Json::Value json = JsonInput(ctx.args);
  if (!json.isNull()) {
    if (!json.isObject()) throw UsageError("the JSON input must be an object of node id -> {uplink, backhaul}");
    for (const auto& key : json.getMemberNames()) {
      try {
        configs[JsonKeyToId(key)] = Client::CustomTopologySetInfo::FromJson(json[key]);
      } catch (const UsageError&) {
        throw;
      } catch (const std::exception& e) {
        throw UsageError("node " + key + ": " + WithoutLocation(e.what()));
      }
    }
  }
  for (const auto& word : ctx.args.Positional()) {
    auto [id, value] = SplitAssignment(word);
    Json::Value entry(Json::objectValue);
    const auto colon = value.find(':');
    entry["uplink"] = ParseNodeId(value.substr(0, colon));
    if (colon != std::string::npos) SetFieldFromWord(entry, Client::CustomTopologySetInfo{}.ToJson(), "backhaul", value.substr(colon + 1));
    try {
      configs[id] = Client::CustomTopologySetInfo::FromJson(entry);
    } catch (const std::exception& e) {
      throw UsageError("'" + word + "': " + WithoutLocation(e.what()));
    }
  }
  if (configs.empty()) throw UsageError("nothing to set");
  return Done(ctx, Call(ctx, [&](MeshClient& m) { return m.SetCustomTopologyConfig(configs); }));
}

int TopologyChange(Context& ctx, ERROR_CODE (MeshClient::*op)(const Json::Value&)) {
  NeedPositional(ctx, 0, 1);
  Json::Value change = JsonInput(ctx.args);
  if (!ctx.args.Positional().empty()) {
    if (!change.isNull()) throw UsageError("give the change as an argument or with --file/--data, not both");
    change = ParseJsonText(ctx.args.Positional()[0], "the argument");
  }
  if (change.isNull()) throw UsageError("missing the change (JSON)");
  return Done(ctx, Call(ctx, [&](MeshClient& m) { return (m.*op)(change); }));
}

// --- the table ----------------------------------------------------------------------------

template <typename R>
R NeedMac(R record, const ORVA::MESH::SDK::Mac& mac, const char* option) {
  if (!mac.IsValid() || mac == ORVA::MESH::SDK::Mac()) throw UsageError(std::string(option) + " needs a MAC address (aa:bb:cc:dd:ee:ff)");
  return record;
}

const std::vector<Command>& Commands() {
  using M = MeshClient;
  static const std::vector<Command> commands = {
      Followed("start-scan",
               "Starts a scan for nodes that could join the mesh.\n"
               "With --follow, waits for its end and prints the result.",
               &M::StartScan, [](Context& ctx) { return WaitFor(ctx, &M::GetScanResult, &ScanOver); }),
      Plain("stop-scan", "Stops a running scan.", &M::StopScan),
      {"get-node-name", "ID", "Prints a node's name.", "",
       [](Context& ctx) {
         NeedPositional(ctx, 1, 1);
         const auto id = ParseNodeId(ctx.args.Positional()[0]);
         return Show(ctx, Call(ctx, [&](M& m) { return m.GetNodeName(id); }));
       }},
      {"set-node-name", "ID NAME", "Renames a node.", "",
       [](Context& ctx) {
         NeedPositional(ctx, 2, 2);
         const auto id = ParseNodeId(ctx.args.Positional()[0]);
         return Done(ctx, Call(ctx, [&](M& m) { return m.SetNodeName(id, ctx.args.Positional()[1]); }));
       }},
      Getter("get-scan-result", "Prints the nodes found by the last scan.", &M::GetScanResult),
      Getter("get-mesh-system-status", "Prints the mesh's state and what it is busy with.", &M::GetMeshSystemStatus),
      {"remove-nodes", "ID... [--follow]",
       "Removes nodes from the mesh.\n"
       "With --follow, waits until the removal is over and prints the mesh's state.",
       "follow!",
       [](Context& ctx) {
         NeedPositional(ctx, 1, SIZE_MAX);
         const auto ids = ParseNodeIds(ctx.args.Positional());
         return DoneOrFollow(ctx, Call(ctx, [&](M& m) { return m.RemoveNodes(ids); }),
                             [](Context& c) { return WaitFor(c, &M::GetMeshSystemStatus, &RemovalOver); });
       }},
      Getter("get-setup-node-progress", "Prints the progress of the node setup.", &M::GetSetupNodeProgress),
      Plain("stop-setup-node", "Stops a running node setup.", &M::StopSetupNode),
      {"start-setup-node", "--mac MAC [--serial S] [--link TYPE] [--name NAME] [--file PATH|--data JSON] [--follow]",
       "Adds a scanned node to the mesh. --link is NONE, ETHERNET, WIFI_2G, WIFI_5G or WIFI_6G.\n"
       "With --follow, shows the setup's progress until it ends.",
       RecordOptions<Client::SetupNodeInfo>() + " follow!",
       [](Context& ctx) {
         NeedPositional(ctx, 0, 0);
         const auto info = RecordFromArgs<Client::SetupNodeInfo>(ctx.args);
         NeedMac(info, info.mac, "--mac");
         return DoneOrFollow(ctx, Call(ctx, [&](M& m) { return m.StartSetupNode(info); }),
                             [](Context& c) { return Follow(c, &SetupProgress); });
       }},
      {"notice-wps-result", "--success on|off --station MAC [--interface IF] [--file PATH|--data JSON]",
       "Tells the daemon how a WPS session ended.", RecordOptions<Client::WPSResultInfo>(),
       [](Context& ctx) {
         NeedPositional(ctx, 0, 0);
         const auto info = RecordFromArgs<Client::WPSResultInfo>(ctx.args);
         NeedMac(info, info.station, "--station");
         return Done(ctx, Call(ctx, [&](M& m) { return m.NoticeWPSResult(info); }));
       }},
      {"wireless-join-network",
       "--mac MAC [--model-unique M] [--serial S] [--firmware-version V] [--public-key K] [--file PATH|--data JSON]",
       "Asks to join a node over Wi-Fi; prints the controller's answer.", RecordOptions<Client::JoinNetworkInfo>(),
       [](Context& ctx) {
         NeedPositional(ctx, 0, 0);
         const auto info = RecordFromArgs<Client::JoinNetworkInfo>(ctx.args);
         NeedMac(info, info.mac, "--mac");
         return Show(ctx, Call(ctx, [&](M& m) { return m.WirelessJoinNetwork(info); }));
       }},
      {"ethernet-join-network",
       "--mac MAC [--model-unique M] [--serial S] [--firmware-version V] [--public-key K] [--file PATH|--data JSON]",
       "Asks to join a node over Ethernet; prints the controller's answer.", RecordOptions<Client::JoinNetworkInfo>(),
       [](Context& ctx) {
         NeedPositional(ctx, 0, 0);
         const auto info = RecordFromArgs<Client::JoinNetworkInfo>(ctx.args);
         NeedMac(info, info.mac, "--mac");
         return Show(ctx, Call(ctx, [&](M& m) { return m.EthernetJoinNetwork(info); }));
       }},
      Plain("notify-join-return-info-sent", "Tells the daemon that the join answer reached the node.",
            &M::NotifyJoinReturnInfoSent),
      {"reboot-node", "ID", "Reboots a node.", "",
       [](Context& ctx) {
         NeedPositional(ctx, 1, 1);
         const auto id = ParseNodeId(ctx.args.Positional()[0]);
         return Done(ctx, Call(ctx, [&](M& m) { return m.RebootNode(id); }));
       }},
      Getter("get-data-system-utilization", "Prints each node's CPU, memory and uptime, by node MAC.",
             &M::GetDataSystemUtilization),
      Getter("get-data-devices", "Prints the client devices of each node, by node MAC.", &M::GetDataDevices),
      Getter("get-data-network-info", "Prints each node's addresses, by node MAC.", &M::GetDataNetworkInfo),
      Getter("get-data-mesh-topology", "Prints the mesh's links (node MAC -> uplink MAC) by link type.",
             &M::GetDataMeshTopology),
      Getter("get-node-ids", "Prints the ids of the mesh's nodes.", &M::GetNodeIds),
      Getter("get-node-infos", "Prints every node, by id.", &M::GetNodeInfos),
      Getter("get-repeater-macs", "Prints the addresses each repeater uses, by id.", &M::GetRepeaterMacs),
      Getter("get-repeater-access-infos", "Prints how to reach each repeater, by id.", &M::GetRepeaterAccessInfos),
      Switch("switch-debug-log-level", "Turns the daemon's debug log on or off.", &M::SwitchDebugLogLevel),
      Getter("get-debug-log-level", "Prints whether the daemon's debug log is on.", &M::GetDebugLogLevel),
      Getter("get-region-lock", "Prints whether the Wi-Fi region is locked.", &M::GetRegionLock),
      {"get-led-blinkings", "[ID...]", "Prints whether each node's LED blinks (all nodes without ids).", "",
       [](Context& ctx) {
         const auto ids = ParseNodeIds(ctx.args.Positional());
         return Show(ctx, Call(ctx, [&](M& m) { return m.GetLedBlinkings(ids); }));
       }},
      {"get-led-configs", "[ID...]", "Prints each node's LED settings (all nodes without ids).", "",
       [](Context& ctx) {
         const auto ids = ParseNodeIds(ctx.args.Positional());
         return Show(ctx, Call(ctx, [&](M& m) { return m.GetLedConfigs(ids); }));
       }},
      {"set-led-blinkings", "ID=on|off... [--file PATH|--data JSON]",
       "Makes nodes' LEDs blink or stop. JSON input: {\"ID\": true, ...}.", "file data", &SetLedBlinkings},
      {"set-led-configs", "ID... [--mode schedule|sleep|normal] [--blinking on|off] [--schedule TEXT] | --file PATH|--data JSON",
       "Changes LED settings. With ids, changes only the named settings of those nodes.\n"
       "JSON input: {\"ID\": {\"blinking\": false, \"mode\": 2, \"schedule\": \"\"}, ...} (mode 0 schedule,\n"
       "1 sleep, 2 normal; a schedule has 168 characters, one per hour of the week).",
       "file data mode blinking schedule", &SetLedConfigs},
      Getter("get-ieee1905-to-broadcast", "Prints whether IEEE 1905 messages are broadcast.",
             &M::GetIeee1905ToBroadcast),
      Switch("set-ieee1905-to-broadcast", "Turns broadcasting of IEEE 1905 messages on or off.",
             &M::SetIeee1905ToBroadcast),
      Getter("get-5g-backhaul-swapped", "Prints whether the 5 GHz backhaul radios are swapped.",
             &M::Get5GBackhaulSwapped),
      Switch("set-5g-backhaul-swapped", "Swaps the 5 GHz backhaul radios, or not.", &M::Set5GBackhaulSwapped),
      Getter("get-hyfi-mitigation-enabled", "Prints whether Hy-Fi mitigation is on (answered by the library).",
             &M::GetHyfiMitigationEnabled),
      Switch("set-hyfi-mitigation-enabled", "Accepted and ignored by the library.", &M::SetHyfiMitigationEnabled),
      Getter("get-node-capabilities", "Prints what each node supports.", &M::GetNodeCapabilities),
      Plain("prepare-restore", "Prepares the mesh for a configuration restore.", &M::PrepareRestore),
      Plain("trigger-synchronize", "Synchronizes the configuration to every node.", &M::TriggerSynchronize),
      Plain("user-confirm-wifi-adjust", "Confirms a proposed Wi-Fi adjustment.", &M::UserConfirmWifiAdjust),
      {"before-topology-change", "[JSON] [--file PATH|--data JSON]", "Announces a topology change.", "file data",
       [](Context& ctx) { return TopologyChange(ctx, &M::BeforeTopologyChange); }},
      {"after-topology-change", "[JSON] [--file PATH|--data JSON]", "Reports a finished topology change.",
       "file data", [](Context& ctx) { return TopologyChange(ctx, &M::AfterTopologyChange); }},
      Plain("igmp-snooping-pre-change", "Announces a change of IGMP snooping.", &M::IgmpSnoopingPreChange),
      Plain("igmp-snooping-post-change", "Reports a finished change of IGMP snooping.", &M::IgmpSnoopingPostChange),
      Followed("start-system-update",
               "Starts the firmware update of the whole mesh. With --follow, shows its progress until it ends.",
               &M::StartSystemUpdate, [](Context& ctx) { return Follow(ctx, &UpdateProgress); }),
      Getter("get-system-update-progress", "Prints the update's progress.", &M::GetSystemUpdateProgress),
      Getter("get-system-update-progress-v2", "Prints the update's progress with each node's share.",
             &M::GetSystemUpdateProgressV2),
      Plain("trigger-backhaul-status-update", "Refreshes the backhaul status of every node.",
            &M::TriggerBackhaulStatusUpdate),
      {"trigger-custom-topology-scan", "[ID...] [--follow]",
       "Looks for possible uplinks of nodes (all repeaters without ids).\n"
       "With --follow, waits until every node's scan is done and prints the uplinks found.",
       "follow!",
       [](Context& ctx) {
         const auto ids = ParseNodeIds(ctx.args.Positional());
         return DoneOrFollow(ctx, Call(ctx, [&](M& m) { return m.TriggerCustomTopologyScan(ids); }),
                             [](Context& c) { return WaitFor(c, &M::GetCustomTopologyScanResult, &TopologyScanOver); });
       }},
      Getter("get-custom-topology-scan-result", "Prints the possible uplinks found, by node id.",
             &M::GetCustomTopologyScanResult),
      Getter("list-custom-topology", "Prints each repeater's uplink and whether the user chose it.",
             &M::ListCustomTopology),
      {"set-custom-topology-config", "ID=UPLINK[:BACKHAUL]... [--file PATH|--data JSON]",
       "Chooses nodes' uplinks. JSON input: {\"ID\": {\"uplink\": 1, \"backhaul\": \"ETHERNET\"}, ...}.",
       "file data", &SetCustomTopologyConfig},
      {"topology", "[--dot]",
       "Prints the mesh as a tree (JSON), or with --dot as a Graphviz graph (orvamesh topology --dot | dot -Tsvg).",
       "dot!", &Topology},
  };
  return commands;
}

const Command* FindCommand(const std::string& name) {
  for (const auto& command : Commands()) {
    if (command.name == name) return &command;
  }
  return nullptr;
}

void PrintCommandHelp(const Command& command) {
  std::cout << "Usage: orvamesh [--bus ADDRESS] [--compact] [--verbose] " << command.name
            << (command.synopsis.empty() ? "" : " " + command.synopsis) << "\n\n"
            << command.help << "\n\n" << kStatuses;
}

void PrintHelp(std::ostream& out) {
  out << "Usage: orvamesh [--bus ADDRESS] [--compact] [--verbose] SUBCOMMAND [ARGS]\n"
         "       orvamesh SUBCOMMAND --help\n"
         "       orvamesh --version\n\n"
         "Calls the mesh daemon (com.velanto.mesh) on the system bus and prints the result as JSON.\n"
         "  --bus ADDRESS  use the bus at ADDRESS (sets DBUS_SYSTEM_BUS_ADDRESS)\n"
         "  --compact      one-line JSON\n"
         "  --verbose      with a transport fault, also the library's nested messages\n\n"
         "Subcommands:\n";
  for (const auto& command : Commands()) {
    out << "  " << command.name << std::string(command.name.size() < 32 ? 32 - command.name.size() : 1, ' ')
        << command.help.substr(0, command.help.find('\n')) << "\n";
  }
  out << "\n" << kStatuses;
}

// "file data follow!" -> {"--file", "--data", "--follow"}.
std::vector<std::string> OptionWords(const std::string& spec) {
  std::vector<std::string> out;
  std::istringstream names(spec);
  for (std::string name; names >> name;) out.push_back("--" + (name.back() == '!' ? name.substr(0, name.size() - 1) : name));
  return out;
}

orvatools::Manual OrvameshManual() {
  std::ostringstream help;
  PrintHelp(help);
  orvatools::Manual manual{"orvamesh", "call the mesh daemon from the command line", help.str(), {},
                           {"--bus", "--compact", "--verbose", "--help", "--version"}, {"--bus"}};
  for (const auto& command : Commands()) {
    manual.subcommands.push_back({command.name, command.synopsis, command.help.substr(0, command.help.find('\n')),
                                  OptionWords(command.options + kGlobalOptions)});
  }
  return manual;
}

int Main(int argc, char** argv) {
  if (orvatools::AnswerManual(argc, argv, &OrvameshManual)) return kExitOk;
  std::vector<std::string> words(argv + 1, argv + argc);
  // Options before the subcommand.
  size_t at = 0;
  std::string bus;
  bool compact = false;
  bool verbose = false;
  for (; at < words.size() && (words[at].rfind("--", 0) == 0 || words[at] == "-h"); ++at) {
    if (words[at] == "--help" || words[at] == "-h") {
      PrintHelp(std::cout);
      return kExitOk;
    } else if (words[at] == "--version") {
      orvatools::PrintVersion("orvamesh");
      return kExitOk;
    } else if (words[at] == "--compact") {
      compact = true;
    } else if (words[at] == "--verbose") {
      verbose = true;
    } else if (words[at] == "--bus") {
      if (at + 1 >= words.size()) {
        std::cerr << "orvamesh: --bus needs a D-Bus address (unix:path=...)" << std::endl;
        return kExitUsage;
      }
      bus = words[++at];
    } else if (words[at].rfind("--bus=", 0) == 0) {
      bus = words[at].substr(6);
    } else {
      std::cerr << "orvamesh: unknown option " << words[at] << "\nTry 'orvamesh --help'." << std::endl;
      return kExitUsage;
    }
  }
  if (at >= words.size()) {
    PrintHelp(std::cerr);
    return kExitUsage;
  }
  if (words[at] == "help") {
    const Command* command = at + 1 < words.size() ? FindCommand(words[at + 1]) : nullptr;
    if (command != nullptr) PrintCommandHelp(*command); else PrintHelp(std::cout);
    return kExitOk;
  }
  const Command* command = FindCommand(words[at]);
  if (command == nullptr) {
    std::cerr << "orvamesh: unknown subcommand '" << words[at] << "'\nTry 'orvamesh --help' for the list."
              << std::endl;
    return kExitUsage;
  }
  try {
    Context ctx{*command, Args({words.begin() + static_cast<long>(at) + 1, words.end()},
                               command->options + kGlobalOptions), false, nullptr};
    if (ctx.args.Flag("help")) {
      PrintCommandHelp(*command);
      return kExitOk;
    }
    if (const std::string* value = ctx.args.Option("bus")) bus = *value;
    ctx.compact = compact || ctx.args.Flag("compact");
    verbose = verbose || ctx.args.Flag("verbose");
    if (!bus.empty()) ::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.c_str(), 1);
    return command->run(ctx);
  } catch (const UsageError& e) {
    std::cerr << "orvamesh: " << command->name << ": " << e.what() << "\nTry 'orvamesh " << command->name
              << " --help'." << std::endl;
    return kExitUsage;
  } catch (const TransportFault& e) {
    const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    std::cerr << "orvamesh: " << command->name << ": transport fault: cannot use the mesh daemon \""
              << ORVA::MESH::SDK::Dbus::kMeshBusName << "\" on the bus "
              << (address != nullptr && *address != '\0' ? address : kSystemBusDefault) << ": " << e.what()
              << std::endl;
    if (verbose) std::cerr << e.Chain() << std::endl;
    return kExitTransport;
  }
}

}  // namespace
}  // namespace orvacli

int main(int argc, char** argv) {
  try {
    return orvatools::FinishOutput("orvamesh", orvacli::Main(argc, argv));
  } catch (const std::exception& e) {
    std::cerr << "orvamesh: " << e.what() << std::endl;
    return orvacli::kExitUnfinished;
  }
}
